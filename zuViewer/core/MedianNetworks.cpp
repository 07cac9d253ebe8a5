// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianNetworks.h"

#include <omp.h>

#include <array>
#include <utility>

namespace {

/// What is written in the build, by radius.
template <class T>
struct SzNetwork {
    decltype(&medianLine<3, T>) medianLine;
    decltype(&medianLineWork<3, T>) work;
};

template <class T, int... radius>
constexpr auto networksOf(std::integer_sequence<int, radius...>) {
    return std::array{SzNetwork<T>{&medianLine<2 * radius + 3, T>, &medianLineWork<2 * radius + 3, T>}...};
}

template <class T>
constexpr auto networks = networksOf<T>(std::make_integer_sequence<int, largestMedianNetworkRadius<T>>());

template <class T>
const SzNetwork<T>& networkOf(int radius) {
    return networks<T>[static_cast<std::size_t>(radius - 1)];
}

/// Lines of a channel with their borders repeated, and what a network reads beyond.
template <class T>
std::size_t paddedWidth(std::size_t width, int radius) {
    constexpr std::size_t lanes = largestMedianVector / sizeof(T);
    const std::size_t samples = width + 2 * static_cast<std::size_t>(radius) + medianRowSlack / sizeof(T);
    return (samples + lanes - 1) / lanes * lanes;
}

/// The padded lines that a thread holds: those of the window, and those below its own part of the picture.
std::size_t linesPerThread(int radius) {
    return static_cast<std::size_t>(3 * radius + 1);
}

template <class T>
std::size_t samplesPerThread(std::size_t width, int radius) {
    return linesPerThread(radius) * paddedWidth<T>(width, radius) + networkOf<T>(radius).work();
}

} // namespace

template <class T>
std::size_t medianNetworkBytes(std::size_t width, int radius, int threads) {
    return static_cast<std::size_t>(threads) * samplesPerThread<T>(width, radius) * sizeof(T);
}

template <class T>
void medianByNetworks(const SzMedianChannel<T>& destination, const SzMedianChannel<const T>& source,
                      int radius, int threads, std::byte* work) {
    const std::size_t width = source.lines.width;
    const auto height = static_cast<std::int64_t>(source.lines.height);
    const std::size_t padded = paddedWidth<T>(width, radius);
    const std::int64_t side = 2 * radius + 1;
#pragma omp parallel num_threads(threads)
    {
        // Each thread has a part of the lines. It reads what it needs of its neighbours' before any of them
        // writes, as the destination may be the source.
        const std::int64_t thread = omp_get_thread_num();
        const std::int64_t begin = height * thread / omp_get_num_threads();
        const std::int64_t end = height * (thread + 1) / omp_get_num_threads();
        T* const lines = reinterpret_cast<T*>(work) +
                         static_cast<std::size_t>(thread) * samplesPerThread<T>(width, radius);
        T* const lineWork = lines + linesPerThread(radius) * padded;
        const auto lineOf = [&](std::int64_t y) {
            const std::int64_t line = y < end ? y % side : side + y - end;
            return lines + static_cast<std::size_t>(line) * padded;
        };
        const auto read = [&](std::int64_t y) {
            T* const line = lineOf(y);
            const T* const in = source.row(static_cast<std::size_t>(y));
            std::fill_n(line, radius, in[0]);
            copySamples(line + radius, 1, in, source.step, width);
            std::fill(line + radius + width, line + padded, in[(width - 1) * source.step]);
            if constexpr (orderedFlip<T> != 0)
                for (std::size_t x = 0; x < padded; ++x)
                    line[x] ^= orderedFlip<T>;
        };
        std::fill_n(lineWork, networkOf<T>(radius).work(), T{0});
        if (begin < end) {
            for (std::int64_t y = std::max<std::int64_t>(0, begin - radius);
                 y < std::min(end, begin + radius); ++y)
                read(y);
            for (std::int64_t y = end; y < std::min(height, end + radius); ++y)
                read(y);
        }
#pragma omp barrier
        for (std::int64_t y = begin; y < end; ++y) {
            if (y + radius < end)
                read(y + radius);
            const T* rows[2 * largestMedianNetworkRadius<T> + 1];
            for (int i = 0; i < side; ++i)
                rows[i] = lineOf(std::clamp<std::int64_t>(y + i - radius, 0, height - 1));
            networkOf<T>(radius).medianLine(rows, destination.row(static_cast<std::size_t>(y)),
                                            destination.step, width, lineWork);
        }
    }
}

template std::size_t medianNetworkBytes<std::uint8_t>(std::size_t, int, int);
template std::size_t medianNetworkBytes<std::uint16_t>(std::size_t, int, int);
template void medianByNetworks(const SzMedianChannel<std::uint8_t>&,
                               const SzMedianChannel<const std::uint8_t>&, int, int, std::byte*);
template void medianByNetworks(const SzMedianChannel<std::uint16_t>&,
                               const SzMedianChannel<const std::uint16_t>&, int, int, std::byte*);
