// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

/// What the processor can do beyond plain x86-64, in levels of which each includes those before it.
enum class EzInstructionSet {
    Portable, ///< every x86-64 (SSE2), and every other processor
    Avx2,     ///< x86-64-v3
    Avx512    ///< x86-64-v4
};

/// The best that this machine has, or what the environment variable ZU_INSTRUCTION_SET ("portable", "avx2",
/// "avx512") or limitInstructionSet() asked for where that is less. Safe from any thread.
ZUCORE_EXPORT EzInstructionSet instructionSet();

/// Uses no more than this from now on, so that tests and benchmarks see each level on one machine. Takes
/// effect with the next call of a kernel; safe from any thread.
ZUCORE_EXPORT void limitInstructionSet(EzInstructionSet most);

namespace instructionset {

template <auto Kernel, class... Arguments>
[[gnu::flatten]] auto portable(Arguments... arguments) {
    return Kernel(arguments...);
}

#ifdef __x86_64__
template <auto Kernel, class... Arguments>
[[gnu::flatten, gnu::target("arch=x86-64-v3")]] auto avx2(Arguments... arguments) {
    return Kernel(arguments...);
}

template <auto Kernel, class... Arguments>
[[gnu::flatten, gnu::target("arch=x86-64-v4")]] auto avx512(Arguments... arguments) {
    return Kernel(arguments...);
}
#endif

} // namespace instructionset

/// Calls the function for the best instruction set that instructionSet() allows, compiled for it. For kernels
/// whose vectors have the width of the instruction set's; see forInstructionSet().
template <auto Portable, auto Avx2, auto Avx512, class... Arguments>
auto forInstructionSets(Arguments... arguments) {
#ifdef __x86_64__
    switch (instructionSet()) {
    case EzInstructionSet::Avx512:
        return instructionset::avx512<Avx512>(arguments...);
    case EzInstructionSet::Avx2:
        return instructionset::avx2<Avx2>(arguments...);
    case EzInstructionSet::Portable:
        break;
    }
#endif
    return instructionset::portable<Portable>(arguments...);
}

/// Calls Kernel, a function that is written once in plain C++ and compiled for each instruction set, in the
/// best version that instructionSet() allows. All that it calls is inlined into the versions, so it has to be
/// defined in the same file; what cannot be inlined stays portable. Arguments are passed by value.
///
///     forInstructionSet<&sumOf<std::uint16_t>>(samples);
template <auto Kernel, class... Arguments>
auto forInstructionSet(Arguments... arguments) {
    return forInstructionSets<Kernel, Kernel, Kernel>(arguments...);
}
