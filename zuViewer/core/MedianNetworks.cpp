// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianNetworks.h"

#include "InstructionSet.h"

#include <omp.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace {

template <class Sample>
struct VectorOf {
    typedef Sample Type __attribute__((vector_size(32)));
};

template <class Sample>
constexpr std::size_t lanesOf = 32 / sizeof(Sample);

/// Medians that are found at a time, so that all lines of work stay in the cache.
template <class Vector, class Sample>
constexpr std::size_t medianBlockSize = 4 * lanesOf<Sample>;

/// A line of work holds the columns right of the block, too, and what a vector reads beyond them.
template <class Vector, class Sample>
constexpr std::size_t medianBlockLine = 6 * lanesOf<Sample>;

template <class Vector, class Sample>
inline Vector load(const Sample* samples) {
    Vector vector;
    std::memcpy(&vector, samples, sizeof vector);
    return vector;
}

template <class Vector, class Sample>
inline void store(const Vector& vector, Sample* samples) {
    std::memcpy(samples, &vector, sizeof vector);
}

template <class Vector>
inline Vector least(const Vector& a, const Vector& b) {
    return a < b ? a : b;
}

template <class Vector>
inline Vector most(const Vector& a, const Vector& b) {
    return a < b ? b : a;
}

// medianBlock() for each size of square, and mostLines, the lines of work that they use at most.
#include "MedianNetworks.inc"

template <class Sample>
using BlockVector = typename VectorOf<Sample>::Type;

template <class Sample>
constexpr std::size_t blockSize = medianBlockSize<BlockVector<Sample>, Sample>;

/// Samples of a line with its borders repeated, up to the last one that a block reads.
template <class Sample>
std::size_t paddedWidth(std::size_t width) {
    return (width + blockSize<Sample> - 1) / blockSize<Sample> * blockSize<Sample> + 2 * lanesOf<Sample>;
}

template <class Sample>
constexpr std::size_t workSamples = mostLines* medianBlockLine<BlockVector<Sample>, Sample>;

template <class Sample>
void copySamples(Sample* out, std::size_t outStep, const Sample* in, std::size_t inStep, std::size_t count) {
    if (outStep == 1 && inStep == 1) {
        std::copy_n(in, count, out);
        return;
    }
    for (std::size_t i = 0; i < count; ++i)
        out[i * outStep] = in[i * inStep];
}

/// One line of medians; width is a multiple of the block's.
template <int k, class Sample>
void medianLine(const Sample* const* rows, Sample* medians, std::size_t width, Sample* work) {
    for (std::size_t x = 0; x < width; x += blockSize<Sample>) {
        const Sample* blockRows[k];
        for (int i = 0; i < k; ++i)
            blockRows[i] = rows[i] + x;
        medianBlock<BlockVector<Sample>>(std::integral_constant<int, k>(), blockRows, medians + x, work);
    }
}

template <class Sample>
void medianLine(int radius, const Sample* const* rows, Sample* medians, std::size_t width, Sample* work) {
    switch (radius) {
    case 1:
        return forInstructionSet<&medianLine<3, Sample>>(rows, medians, width, work);
    case 2:
        return forInstructionSet<&medianLine<5, Sample>>(rows, medians, width, work);
    case 3:
        return forInstructionSet<&medianLine<7, Sample>>(rows, medians, width, work);
    case 4:
        return forInstructionSet<&medianLine<9, Sample>>(rows, medians, width, work);
    case 5:
        return forInstructionSet<&medianLine<11, Sample>>(rows, medians, width, work);
    case 6:
        return forInstructionSet<&medianLine<13, Sample>>(rows, medians, width, work);
    default:
        return forInstructionSet<&medianLine<15, Sample>>(rows, medians, width, work);
    }
}

} // namespace

template <class T>
std::size_t medianNetworkBytes(std::size_t width, std::size_t height, int threads) {
    return (height * paddedWidth<T>(width) +
            static_cast<std::size_t>(threads) * (paddedWidth<T>(width) + workSamples<T>)) *
           sizeof(T);
}

template <class T>
void medianByNetworks(const SzMedianChannel<T>& destination, const SzMedianChannel<const T>& source,
                      int radius, int threads, std::byte* work) {
    const std::size_t width = source.lines.width;
    const auto height = static_cast<std::int64_t>(source.lines.height);
    const std::size_t padded = paddedWidth<T>(width);
    auto* const plane = reinterpret_cast<T*>(work);
    T* const ofThreads = plane + source.lines.height * padded;
#pragma omp parallel num_threads(threads)
    {
#pragma omp for
        for (std::int64_t y = 0; y < height; ++y) {
            T* const line = plane + static_cast<std::size_t>(y) * padded;
            const T* const in = source.row(static_cast<std::size_t>(y));
            std::fill_n(line, radius, in[0]);
            copySamples(line + radius, 1, in, source.step, width);
            std::fill(line + radius + width, line + padded, in[(width - 1) * source.step]);
        }
        T* const medians =
            ofThreads + static_cast<std::size_t>(omp_get_thread_num()) * (padded + workSamples<T>);
        T* const lines = medians + padded;
        std::fill_n(lines, workSamples<T>, T{0});
#pragma omp for
        for (std::int64_t y = 0; y < height; ++y) {
            const T* rows[2 * largestMedianNetworkRadius + 1];
            for (int i = 0; i <= 2 * radius; ++i)
                rows[i] = plane +
                          static_cast<std::size_t>(std::clamp<std::int64_t>(y + i - radius, 0, height - 1)) *
                              padded;
            medianLine<T>(radius, rows, medians, padded - 2 * lanesOf<T>, lines);
            copySamples(destination.row(static_cast<std::size_t>(y)), destination.step, medians, 1, width);
        }
    }
}

template std::size_t medianNetworkBytes<std::uint8_t>(std::size_t, std::size_t, int);
template std::size_t medianNetworkBytes<std::uint16_t>(std::size_t, std::size_t, int);
template void medianByNetworks(const SzMedianChannel<std::uint8_t>&,
                               const SzMedianChannel<const std::uint8_t>&, int, int, std::byte*);
template void medianByNetworks(const SzMedianChannel<std::uint16_t>&,
                               const SzMedianChannel<const std::uint16_t>&, int, int, std::byte*);
