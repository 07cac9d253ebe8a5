// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureView.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

/// The largest radius for which there are networks for this sample type.
template <class T>
constexpr int largestMedianNetworkRadius = sizeof(T) == 1 ? 8 : 12;

/// One channel of a picture, of which samples are step apart.
template <class T>
struct SzMedianChannel {
    PictureView<T> lines;
    std::size_t first;
    std::size_t step;

    T* row(std::size_t y) const { return lines.row(y) + first; }
};

/// Bytes of work memory for medianByNetworks().
template <class T>
std::size_t medianNetworkBytes(std::size_t width, int radius, int threads);

/// Writes the median of the (2 × radius + 1)-square around each sample, borders repeated outwards; radius is
/// at least 1. The time does not depend on the samples. work is aligned to 64; destination may be the source.
template <class T>
void medianByNetworks(const SzMedianChannel<T>& destination, const SzMedianChannel<const T>& source,
                      int radius, int threads, std::byte* work);

/// Bytes of the largest vectors that the networks compute with.
constexpr std::size_t largestMedianVector = 64;

/// What the networks compare. Every processor has minima and maxima of unsigned bytes, but of signed words:
/// an ordered sample is one with these bits flipped, taken as this type.
template <class Sample>
using OrderedSample = std::conditional_t<sizeof(Sample) == 1, std::uint8_t, std::int16_t>;
template <class Sample>
constexpr Sample orderedFlip = sizeof(Sample) == 1 ? 0 : 0x8000;

/// Medians of the k × k samples around those of a line, from k rows of ordered samples that begin k / 2
/// samples further left and end at least medianRowSlack bytes behind the last sample's window. work has
/// medianLineWork() samples.
template <int k, class Sample>
void medianLine(const Sample* const* rows, Sample* out, std::size_t outStep, std::size_t width, Sample* work);
constexpr std::size_t medianRowSlack = 2 * largestMedianVector;

template <int k, class Sample>
std::size_t medianLineWork();

template <class Sample>
void copySamples(Sample* out, std::size_t outStep, const Sample* in, std::size_t inStep, std::size_t count) {
    if (outStep == 1 && inStep == 1) {
        std::copy_n(in, count, out);
        return;
    }
    for (std::size_t i = 0; i < count; ++i)
        out[i * outStep] = in[i * inStep];
}
