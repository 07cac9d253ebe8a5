// SPDX-License-Identifier: GPL-3.0-or-later
// What the networks that are written in the build have in common.
#pragma once

#include "InstructionSet.h"
#include "MedianNetworks.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

/// The code for squares of k × k samples:
///
///     static constexpr std::size_t lines; // of work that it uses
///     template <class Vector, class Sample, std::size_t lineSize>
///     static void findMedians(const Sample* const* rows, Sample* medians, std::size_t vectors, Sample*
///     work);
template <int k>
struct MedianNetwork;

// A vector that is returned must not go from code for one instruction set to code for another.

template <class Vector, class Sample>
[[gnu::always_inline]] inline Vector load(const Sample* samples) {
    Vector vector;
    std::memcpy(&vector, samples, sizeof vector);
    return vector;
}

template <class Vector, class Sample>
inline void store(const Vector& vector, Sample* samples) {
    std::memcpy(samples, &vector, sizeof vector);
}

/// Medians as samples, from ordered ones.
template <class Vector, class Sample>
inline void storeMedian(const Vector& vector, Sample* samples) {
    store(vector ^ static_cast<OrderedSample<Sample>>(orderedFlip<Sample>), samples);
}

template <class Vector>
[[gnu::always_inline]] inline Vector least(const Vector& a, const Vector& b) {
    return a < b ? a : b;
}

template <class Vector>
[[gnu::always_inline]] inline Vector most(const Vector& a, const Vector& b) {
    return a < b ? b : a;
}

/// Medians are found in blocks, so that all lines of work stay in the first-level cache. Vectors have
/// vectorSize bytes: larger ones than a register would be computed in memory.
template <int k, class Sample, std::size_t vectorSize>
struct SzMedianBlock {
    typedef OrderedSample<Sample> Vector __attribute__((vector_size(vectorSize)));
    static constexpr std::size_t lanes = vectorSize / sizeof(Sample);
    static constexpr std::size_t most = std::size_t{24 * 1024} / vectorSize / MedianNetwork<k>::lines;
    static constexpr std::size_t vectors = std::clamp<std::size_t>(most, 4, 32);
    /// The columns right of a block, and what the last vector reads beyond them.
    static constexpr std::size_t beyond = (k - 1 + lanes - 1) / lanes + 1;
    static constexpr std::size_t lineSize = (vectors + beyond) * lanes;
    static constexpr std::size_t work = (MedianNetwork<k>::lines + 1) * lineSize;
};

template <int k, class Sample, std::size_t vectorSize>
void findMediansOfLine(const Sample* const* rows, Sample* out, std::size_t outStep, std::size_t width,
                       Sample* work) {
    using Block = SzMedianBlock<k, Sample, vectorSize>;
    Sample* const medians = work + MedianNetwork<k>::lines * Block::lineSize;
    for (std::size_t x = 0; x < width; x += Block::vectors * Block::lanes) {
        const std::size_t count = std::min(Block::vectors * Block::lanes, width - x);
        const std::size_t vectors = (count + Block::lanes - 1) / Block::lanes;
        const bool writesOut = outStep == 1 && count == vectors * Block::lanes;
        const Sample* blockRows[k];
        for (int i = 0; i < k; ++i)
            blockRows[i] = rows[i] + x;
        MedianNetwork<k>::template findMedians<typename Block::Vector, Sample, Block::lineSize>(
            blockRows, writesOut ? out + x : medians, vectors, work);
        if (!writesOut)
            copySamples(out + x * outStep, outStep, medians, 1, count);
    }
}

template <int k, class Sample>
std::size_t medianLineWork() {
    return std::max({SzMedianBlock<k, Sample, 16>::work, SzMedianBlock<k, Sample, 32>::work,
                     SzMedianBlock<k, Sample, largestMedianVector>::work});
}

template <int k, class Sample>
void medianLine(const Sample* const* rows, Sample* out, std::size_t outStep, std::size_t width,
                Sample* work) {
    forInstructionSets<&findMediansOfLine<k, Sample, 16>, &findMediansOfLine<k, Sample, 32>,
                       &findMediansOfLine<k, Sample, largestMedianVector>>(rows, out, outStep, width, work);
}
