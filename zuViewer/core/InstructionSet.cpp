// SPDX-License-Identifier: GPL-3.0-or-later
#include "InstructionSet.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

EzInstructionSet ofThisMachine() {
#ifdef __x86_64__
    // Each level by its own features: the names of the levels are newer than some of the compilers in use.
    const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                      __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
                      __builtin_cpu_supports("popcnt");
    const bool avx512 = avx2 && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                        __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                        __builtin_cpu_supports("avx512vl");
    if (avx512)
        return EzInstructionSet::Avx512;
    if (avx2)
        return EzInstructionSet::Avx2;
#endif
    return EzInstructionSet::Portable;
}

EzInstructionSet ofEnvironment() {
    const char* name = std::getenv("ZU_INSTRUCTION_SET");
    if (name && std::strcmp(name, "portable") == 0)
        return EzInstructionSet::Portable;
    if (name && std::strcmp(name, "avx2") == 0)
        return EzInstructionSet::Avx2;
    return EzInstructionSet::Avx512;
}

std::atomic<EzInstructionSet>& current() {
    static std::atomic<EzInstructionSet> set{std::min(ofThisMachine(), ofEnvironment())};
    return set;
}

} // namespace

EzInstructionSet instructionSet() {
    return current().load(std::memory_order_relaxed);
}

void limitInstructionSet(EzInstructionSet most) {
    current().store(std::min(ofThisMachine(), most), std::memory_order_relaxed);
}
