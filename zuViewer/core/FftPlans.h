// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QString>

#include <fftw3.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <type_traits>

/// Forward transforms of one dimension, in single precision and out of place.
enum class EzFftKind {
    RealLine,    ///< of length real samples, with a result for each frequency from 0 on: ⌊length / 2⌋ + 1
    ComplexLine, ///< of length complex values
    EightLines,  ///< eight of them side by side: a row with one value of each after the other
};

struct FftMemoryDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
using FftMemory = std::unique_ptr<void, FftMemoryDeleter>;

/// Transforms read and write memory that begins at multiples of this, in bytes.
constexpr std::size_t fftAlignment = 64;

constexpr std::size_t fftAligned(std::size_t bytes) {
    return (bytes + fftAlignment - 1) / fftAlignment * fftAlignment;
}

/// Aligned memory; null when there is none, or when more is asked for than any picture takes.
inline FftMemory allocateFftMemory(std::size_t bytes) {
    constexpr std::size_t most = std::size_t{1} << 34;
    return FftMemory(bytes > most ? nullptr : std::aligned_alloc(fftAlignment, fftAligned(bytes)));
}

/// Transforms that are longer are refused: no picture has as many pixels in a line, and planning them takes
/// seconds.
constexpr int longestFft = 1 << 24;

using FftPlan = std::shared_ptr<std::remove_pointer_t<fftwf_plan>>;

/// How long the plans of one transform may take together when it is set up, in seconds.
constexpr double fftPlanningSeconds = 0.3;

/// The plan for a length, measured when it is first asked for, and kept for as long as the process lives,
/// unless many others were asked for since. Measuring takes no longer than seconds, give or take one run of
/// the transform, and what it took is taken off them. Where the time runs out the plan is a guess that may be
/// half as fast, and whoever asks next tries again, three times in all. Null for a length that is refused or
/// without memory. Any thread; the plan may be executed by any number of threads at once, in memory that is
/// aligned.
ZUCORE_EXPORT FftPlan fftPlan(EzFftKind kind, int length, double& seconds);

/// Where the planner's experience is kept, so that no length that was measured to the end is measured again
/// on this machine.
ZUCORE_EXPORT QString fftWisdomFile();
