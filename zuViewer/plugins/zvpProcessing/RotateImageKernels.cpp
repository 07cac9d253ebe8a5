// SPDX-License-Identifier: GPL-3.0-or-later
#include "RotateImageKernels.h"

#include "Prefetch.h"

#include <omp.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <vector>

namespace {

/// Where the pitch is a multiple of this, the pixels of a column share one set of the fastest cache and drive
/// each other out. Such a picture is turned into a scratch with another pitch, then copied ...
constexpr std::size_t collidingPitch = 4096;
/// ... unless it is larger than this: the C library would map the scratch anew for every frame, which costs
/// more.
constexpr std::size_t largestScratch = std::size_t{32} << 20;

/// Rows that a thread turns together, so that each cache line of the destination takes several pixels at
/// once.
constexpr std::size_t rowsTogether = 8;

/// Stands for a number of samples that is not known to the compiler.
constexpr std::size_t anyNumber = 0;

template <std::size_t samples, class T>
void copyPixel(T* out, const T* in, std::size_t channels) {
    if constexpr (samples == anyNumber) {
        for (std::size_t i = 0; i < channels; ++i)
            out[i] = in[i];
    } else {
        std::memcpy(out, in, samples * sizeof(T));
    }
}

/// Makes so many rows of the source, from row y on, columns of the destination.
template <EzQuarterTurn turn, std::size_t samples, std::size_t rows, class T>
void turnRows(PictureView<T> destination, PictureView<const T> source, std::size_t y) {
    constexpr bool clockwise = turn == EzQuarterTurn::Clockwise;
    constexpr std::size_t samplesPerCacheLine = cacheLine / sizeof(T);
    const std::size_t width = source.width;
    const std::size_t channels = samples == anyNumber ? source.channels : samples;

    // From the left column to the right.
    std::array<const T*, rows> in;
    for (std::size_t i = 0; i < rows; ++i)
        in[i] = source.data + (clockwise ? y + rows - 1 - i : y + i) * width * channels;
    const std::size_t left = (clockwise ? destination.width - rows - y : y) * channels;
    // Where the next rows will go, which mostly are below these.
    const std::size_t end = std::size_t{destination.width} * channels;
    const std::size_t ahead = clockwise ? left - std::min(left, samplesPerCacheLine)
                                        : std::min(left + rows * channels + samplesPerCacheLine, end);
    for (std::size_t x = 0; x < width; ++x) {
        T* const line = destination.row(clockwise ? x : width - 1 - x);
        __builtin_prefetch(line + ahead, 1);
        for (std::size_t i = 0; i < rows; ++i)
            copyPixel<samples>(line + left + i * channels, in[i] + x * channels, channels);
    }
}

/// Deals out groups of neighbouring rows. Each thread has a part of the picture of its own, which it takes
/// from the top; then it helps the others, from the bottoms of theirs. Neighbouring groups end in the same
/// cache lines: two threads that write to them at the same time take several times as long as one alone.
class GroupDealer {
public:
    GroupDealer(std::size_t groups, std::size_t threads) : m_parts(threads) {
        for (std::size_t i = 0; i < threads; ++i) {
            m_parts[i].top = groups * i / threads;
            m_parts[i].bottom = groups * (i + 1) / threads;
            m_parts[i].left = static_cast<std::ptrdiff_t>(m_parts[i].bottom - m_parts[i].top);
        }
    }

    /// The next group for a thread; none when all are taken.
    std::optional<std::size_t> take(std::size_t thread) {
        for (std::size_t i = 0; i < m_parts.size(); ++i) {
            Part& part = m_parts[(thread + i) % m_parts.size()];
            if (part.left.load(std::memory_order_relaxed) > 0 &&
                part.left.fetch_sub(1, std::memory_order_relaxed) > 0)
                return i == 0 ? part.top++ : --part.bottom;
        }
        return std::nullopt;
    }

private:
    struct alignas(cacheLine) Part {
        std::atomic<std::ptrdiff_t> left; // groups that nobody has taken, or less than 0
        std::size_t top;                  // the next group of the owner, which alone uses it
        std::atomic<std::size_t> bottom;  // below the next group of the helpers
    };
    std::vector<Part> m_parts;
};

template <EzQuarterTurn turn, std::size_t samples, class T>
void turnAllRows(PictureView<T> destination, PictureView<const T> source) {
    const std::size_t height = source.height;
    const auto threads = static_cast<std::size_t>(omp_get_max_threads());
    // Smaller ones only where there would not be one for each thread.
    const std::size_t groupRows = std::clamp(height / threads, std::size_t{1}, rowsTogether);
    GroupDealer dealer((height + groupRows - 1) / groupRows, threads);
    const auto turnGroup = [&](std::size_t group) {
        const std::size_t first = group * groupRows;
        const std::size_t end = std::min(first + groupRows, height);
        if (end - first == rowsTogether)
            return turnRows<turn, samples, rowsTogether>(destination, source, first);
        for (std::size_t y = first; y < end; ++y)
            turnRows<turn, samples, 1>(destination, source, y);
    };
#pragma omp parallel
    {
        // A thread's share grows row by row. It turns a whole group with the first row of one, and so at
        // least as many groups as its share fills: together the threads turn them all.
        std::size_t share = 0;
#pragma omp for schedule(dynamic) nowait
        for (std::size_t row = 0; row < height; ++row) {
            if (share++ % groupRows != 0)
                continue;
            if (const auto group = dealer.take(static_cast<std::size_t>(omp_get_thread_num())))
                turnGroup(*group);
        }
    }
}

template <EzQuarterTurn turn, class T>
void turnPicture(PictureView<T> destination, PictureView<const T> source) {
    switch (source.channels) {
    case 1:
        return turnAllRows<turn, 1>(destination, source);
    case 3:
        return turnAllRows<turn, 3>(destination, source);
    case 4:
        return turnAllRows<turn, 4>(destination, source);
    default:
        return turnAllRows<turn, anyNumber>(destination, source);
    }
}

template <class T>
void copyLines(PictureView<T> destination, PictureView<T> source) {
    const std::size_t lineBytes = std::size_t{destination.width} * destination.channels * sizeof(T);
#pragma omp parallel for schedule(static)
    for (std::size_t y = 0; y < destination.height; ++y)
        std::memcpy(destination.row(y), source.row(y), lineBytes);
}

/// Whether lines of so many pixels fit into the pitch. Without products, which might overflow.
template <class T>
bool hasRoomForLines(PictureView<T> picture) {
    return picture.width == 0 || picture.pitch / sizeof(T) / picture.width >= picture.channels;
}

} // namespace

template <EzQuarterTurn turn, class T>
bool rotateImage(PictureView<T> destination, PictureView<const T> source) {
    if (!destination.data || !source.data || destination.width != source.height ||
        destination.height != source.width || destination.channels != source.channels ||
        !hasRoomForLines(destination) || !hasRoomForLines(source))
        return false;

    PictureView<T> scratch = destination;
    scratch.pitch += cacheLine;
    std::unique_ptr<T[]> memory;
    if (destination.pitch % collidingPitch == 0 && scratch.height <= largestScratch / scratch.pitch)
        memory.reset(new (std::nothrow) T[scratch.pitch * scratch.height / sizeof(T)]);
    if (!memory) {
        turnPicture<turn>(destination, source);
        return true;
    }
    scratch.data = memory.get();
    turnPicture<turn>(scratch, source);
    copyLines(destination, scratch);
    return true;
}

constexpr auto clockwise = EzQuarterTurn::Clockwise;
constexpr auto counterclockwise = EzQuarterTurn::Counterclockwise;
template bool rotateImage<clockwise>(PictureView<std::uint8_t>, PictureView<const std::uint8_t>);
template bool rotateImage<clockwise>(PictureView<std::uint16_t>, PictureView<const std::uint16_t>);
template bool rotateImage<clockwise>(PictureView<std::uint32_t>, PictureView<const std::uint32_t>);
template bool rotateImage<clockwise>(PictureView<float>, PictureView<const float>);
template bool rotateImage<counterclockwise>(PictureView<std::uint8_t>, PictureView<const std::uint8_t>);
template bool rotateImage<counterclockwise>(PictureView<std::uint16_t>, PictureView<const std::uint16_t>);
template bool rotateImage<counterclockwise>(PictureView<std::uint32_t>, PictureView<const std::uint32_t>);
template bool rotateImage<counterclockwise>(PictureView<float>, PictureView<const float>);

bool rotateImage(SzPicBuf& destination, const SzPicBuf& source, EzQuarterTurn turn) {
    if (destination.dataType != source.dataType)
        return false;
    return withSampleType(source.dataType, [&](auto sample) {
        using T = decltype(sample);
        PictureView<const T> from = view<const T>(source);
        PictureView<T> to = view<T>(destination);
        if (source.storageFormat == EzDataStorageFormat::Planar) {
            // The same bytes, taken as lines that hold the samples of all channels.
            from.channels = source.channels;
            from.pitch *= source.channels;
        }
        if (destination.storageFormat == EzDataStorageFormat::Planar)
            to.channels = destination.channels; // all in the lines of the first plane
        return turn == clockwise ? rotateImage<clockwise>(to, from) : rotateImage<counterclockwise>(to, from);
    });
}
