// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DKernels.h"

#include "InstructionSet.h"
#include "Prefetch.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace {

/// Whole numbers up to here have a single-precision number each, so that sums of samples are exact in any
/// order.
constexpr std::uint32_t largestExact = 1U << 24;

// ---- Means of rows ----

/// The sum of count samples in whichever order is fastest.
template <class T>
std::uint64_t exactSum(const T* samples, std::size_t count) {
    using Partial = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
    constexpr std::size_t lanes = 64;
    constexpr std::size_t steps = 256; // before a partial sum could overflow
    std::uint64_t sum = 0;
    std::size_t x = 0;
    while (x + lanes <= count) {
        Partial partials[lanes] = {};
        const std::size_t end = x + std::min(steps, (count - x) / lanes) * lanes;
        for (; x < end; x += lanes)
            for (std::size_t i = 0; i < lanes; ++i)
                partials[i] = static_cast<Partial>(partials[i] + samples[x + i]);
        for (const Partial partial : partials)
            sum += partial;
    }
    for (; x < count; ++x)
        sum += samples[x];
    return sum;
}

// Where sums are not exact, the samples of a row have to be added one by one. So the sums of many rows are
// made side by side, a row in each lane of a vector: eight samples each of four rows are turned into columns,
// by pairs of samples. A vector holds as many such blocks as there are 16 bytes in it, one group of rows
// below the other.

constexpr std::size_t groupRows = 4;
constexpr std::size_t columnsAtOnce = 8;
constexpr std::size_t blockBytes = columnsAtOnce * sizeof(std::uint16_t);

/// Rows that are added side by side: while an addition waits for the one before it, those of other rows go
/// on.
constexpr std::size_t rowsAtOnce = 16;
constexpr std::size_t groupsAtOnce = rowsAtOnce / groupRows;
/// The lower half of them is a cache line of samples behind the upper one. Rows often begin a multiple of
/// 4096 bytes apart, so that the same columns of more of them would not fit into the fastest cache together.
constexpr std::size_t lag = cacheLine / sizeof(std::uint16_t);
constexpr std::size_t lagOf(std::size_t row) {
    return row < rowsAtOnce / 2 ? 0 : lag;
}

template <std::size_t groups>
struct SzVectors {
    typedef std::uint32_t Pairs __attribute__((vector_size(16 * groups))); ///< the left sample below
    typedef std::int32_t Integers __attribute__((vector_size(16 * groups)));
    typedef float Floats __attribute__((vector_size(16 * groups)));
};
template <std::size_t groups>
using Pairs = typename SzVectors<groups>::Pairs;
template <std::size_t groups>
using Integers = typename SzVectors<groups>::Integers;
template <std::size_t groups>
using Floats = typename SzVectors<groups>::Floats;

/// Eight samples of one row of each group, so many bytes behind the given ones.
template <std::size_t groups, std::size_t... group>
[[gnu::always_inline]] inline void load(const std::uint8_t* const* samples, std::size_t offset,
                                        Pairs<groups>& row, std::index_sequence<group...> /*all*/) {
    __extension__ typedef unsigned __int128 Eight;
    typedef Eight Eights __attribute__((vector_size(groups * blockBytes)));
    const auto eightAt = [](const std::uint8_t* memory) {
        Eight eight;
        std::memcpy(&eight, memory, sizeof eight);
        return eight;
    };
    row = reinterpret_cast<Pairs<groups>>(Eights{eightAt(samples[group] + offset)...});
}

/// Interleaves the pairs of a with those of b in each 16 bytes: the first two of both, and the others.
template <std::size_t groups, std::size_t... i>
[[gnu::always_inline]] inline void interleave(const Pairs<groups>& a, const Pairs<groups>& b,
                                              Pairs<groups>& low, Pairs<groups>& high,
                                              std::index_sequence<i...>) {
    low = __builtin_shufflevector(a, b, (i / 4 * 4 + i % 4 / 2 + i % 2 * 4 * groups)...);
    high = __builtin_shufflevector(a, b, (i / 4 * 4 + 2 + i % 4 / 2 + i % 2 * 4 * groups)...);
}

/// Adds the columns of one block per group, from left to right. Blocks begin at an offset in bytes from the
/// given samples of their groups' first rows.
template <std::size_t groups, class Sums>
[[gnu::always_inline]] inline void addBlocks(const std::uint8_t* const* samples, std::size_t offset,
                                             std::size_t pitch, Sums& sums) {
    constexpr auto all = std::make_index_sequence<4 * groups>();
    Pairs<groups> rows[groupRows];
    for (std::size_t y = 0; y < groupRows; ++y)
        load<groups>(samples, offset + y * pitch, rows[y], std::make_index_sequence<groups>());
    // Two rounds of interleaving each row with the second after it turn rows into columns.
    for (int round = 0; round < 2; ++round) {
        Pairs<groups> interleaved[groupRows];
        interleave<groups>(rows[0], rows[2], interleaved[0], interleaved[1], all);
        interleave<groups>(rows[1], rows[3], interleaved[2], interleaved[3], all);
        std::copy_n(interleaved, groupRows, rows);
    }
    for (const Pairs<groups>& column : rows) {
        sums += __builtin_convertvector(reinterpret_cast<Integers<groups>>(column & 0xffff), Sums);
        sums += __builtin_convertvector(reinterpret_cast<Integers<groups>>(column >> 16), Sums);
    }
}

template <class T>
float addSamples(float sum, const T* samples, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x)
        sum += static_cast<float>(samples[x]);
    return sum;
}

/// Adds a cache line of samples of each of rowsAtOnce rows to sums of integers or floats. Given are the
/// samples of the groups' first rows; the pitch is in bytes. Has as many bytes fetched ahead.
template <std::size_t groups, class Sums>
[[gnu::always_inline]] inline void addLines(const std::uint8_t* const* samples, std::size_t pitch,
                                            const std::uint8_t*& ahead, Sums* sums) {
    for (std::size_t offset = 0; offset < cacheLine; offset += blockBytes) {
        prefetch(ahead, rowsAtOnce * blockBytes);
        ahead += rowsAtOnce * blockBytes;
        for (std::size_t group = 0; group < groupsAtOnce; group += groups)
            addBlocks<groups>(samples + group, offset, pitch, sums[group / groups]);
    }
}

/// The sums of rowsAtOnce rows from first on, one sample after the other.
template <std::size_t groups>
void sumSideBySide(PictureView<const std::uint16_t> picture, std::size_t first, float* sums) {
    const auto bytesAt = [&](std::size_t row, std::size_t column) {
        return reinterpret_cast<const std::uint8_t*>(picture.row(first + row) + column);
    };
    const std::size_t inLines = picture.width / lag * lag;
    const std::uint8_t* ahead = bytesAt(rowsAtOnce, 0); // the next rows, in the order of the memory
    constexpr std::size_t lanes = groups * groupRows;
    constexpr std::size_t vectors = rowsAtOnce / lanes;
    Integers<groups> exactSums[vectors] = {};
    Floats<groups> vectorSums[vectors];

    // Where one half of the rows is inside the picture and the other not yet, or no more.
    const auto addEdge = [&](std::size_t column, auto* sumsSoFar) {
        std::uint16_t lines[rowsAtOnce][lag] = {}; // adds 0, which changes no sum
        const std::uint8_t* inLine[groupsAtOnce];
        for (std::size_t row = 0; row < rowsAtOnce; ++row) {
            const std::size_t ownColumn = column - lagOf(row);
            if (ownColumn < inLines) // a column left of the picture is a very large number
                std::memcpy(lines[row], bytesAt(row, ownColumn), cacheLine);
        }
        for (std::size_t group = 0; group < groupsAtOnce; ++group)
            inLine[group] = reinterpret_cast<const std::uint8_t*>(lines[group * groupRows]);
        addLines<groups>(inLine, cacheLine, ahead, sumsSoFar);
    };
    addEdge(0, exactSums);
    const std::uint8_t* samples[groupsAtOnce];
    for (std::size_t group = 0; group < groupsAtOnce; ++group)
        samples[group] = bytesAt(group * groupRows, lag - lagOf(group * groupRows));
    std::size_t column = lag;
    const auto addUpTo = [&](std::size_t end, auto* sumsSoFar) __attribute__((always_inline)) {
        for (; column < end; column += lag) {
            addLines<groups>(samples, picture.pitch, ahead, sumsSoFar);
            for (const std::uint8_t*& ofGroup : samples)
                ofGroup += cacheLine;
        }
    };
    // As long as sums are exact, they are faster made of integers.
    const auto exactLines = [&] {
        std::int32_t largest = 0;
        for (const Integers<groups>& vector : exactSums)
            for (std::size_t lane = 0; lane < lanes; ++lane)
                largest = std::max(largest, vector[lane]);
        return (largestExact - static_cast<std::uint32_t>(largest)) / (lag * 65535);
    };
    for (std::size_t lines = exactLines(); lines > 0 && column < inLines; lines = exactLines())
        addUpTo(std::min(inLines, column + lines * lag), exactSums);
    for (std::size_t i = 0; i < vectors; ++i)
        vectorSums[i] = __builtin_convertvector(exactSums[i], Floats<groups>);
    addUpTo(inLines, vectorSums);
    addEdge(column, vectorSums);

    for (std::size_t row = 0; row < rowsAtOnce; ++row)
        sums[first + row] = addSamples(vectorSums[row / lanes][row % lanes],
                                       picture.row(first + row) + inLines, picture.width - inLines);
}

/// The sums of the rows from first to end − 1, at most rowsAtOnce; perhaps once more those of rows above.
template <std::size_t groups, class T>
void sumInOrder(PictureView<const T> picture, std::size_t first, std::size_t end, float* sums) {
    if constexpr (sizeof(T) == sizeof(std::uint16_t))
        if (picture.height >= rowsAtOnce)
            return sumSideBySide<groups>(picture, end - rowsAtOnce, sums);
    for (std::size_t y = first; y < end; ++y)
        sums[y] = addSamples(0.0F, picture.row(y), picture.width);
}

template <std::size_t groups, class T>
void sumRows(PictureView<const T> picture, float* sums) {
    bool exact = true; // at first a guess: as those of the rows above were
    for (std::size_t first = 0; first < picture.height; first += rowsAtOnce) {
        const std::size_t end = std::min<std::size_t>(first + rowsAtOnce, picture.height);
        for (std::size_t y = first; y < end && exact; ++y) {
            const std::uint64_t sum = exactSum(picture.row(y), picture.width);
            exact = sum <= largestExact;
            sums[y] = static_cast<float>(sum);
        }
        if (exact)
            continue;
        sumInOrder<groups>(picture, first, end, sums);
        exact = *std::max_element(sums + first, sums + end) <= static_cast<float>(largestExact);
    }
}

// ---- Means of columns ----

/// Rows that are added together: the sums are loaded and stored less often.
constexpr std::size_t rowsTogether = 8;

/// Adds the rows from y to end − 1 to the sums of their columns, one after the other.
template <class Sum, class T>
void addRows(PictureView<const T> picture, std::size_t y, std::size_t end, Sum* __restrict sums) {
    const std::size_t width = picture.width;
    for (; y + rowsTogether <= end; y += rowsTogether) {
        const T* rows[rowsTogether];
        for (std::size_t i = 0; i < rowsTogether; ++i)
            rows[i] = picture.row(y + i);
        const auto addColumns = [&](std::size_t begin, std::size_t count) {
#pragma omp simd
            for (std::size_t x = begin; x < begin + count; ++x) {
                Sum sum = sums[x];
                for (std::size_t i = 0; i < rowsTogether; ++i)
                    sum = static_cast<Sum>(sum + static_cast<Sum>(rows[i][x]));
                sums[x] = sum;
            }
        };
        constexpr std::size_t inCacheLine = cacheLine / sizeof(T);
        const T* ahead = picture.row(y + rowsTogether); // in the order of the memory
        std::size_t x = 0;
        for (; x + inCacheLine <= width; x += inCacheLine) {
            prefetch(ahead, rowsTogether * cacheLine);
            ahead += rowsTogether * inCacheLine;
            addColumns(x, inCacheLine);
        }
        addColumns(x, width - x);
    }
    for (; y < end; ++y) {
        const T* __restrict row = picture.row(y);
        for (std::size_t x = 0; x < width; ++x)
            sums[x] = static_cast<Sum>(sums[x] + static_cast<Sum>(row[x]));
    }
}

/// partials holds as many as there are columns.
template <class T>
void sumColumns(PictureView<const T> picture, float* __restrict sums,
                [[maybe_unused]] std::uint16_t* __restrict partials) {
    const std::size_t width = picture.width;
    std::fill_n(sums, width, 0.0F);
    if constexpr (sizeof(T) == 1) {
        constexpr std::size_t rowsOfPartials = 256; // before a partial sum could overflow
        if (picture.height <= largestExact / 255) {
            for (std::size_t y = 0; y < picture.height; y += rowsOfPartials) {
                std::fill_n(partials, width, std::uint16_t{0});
                addRows(picture, y, std::min<std::size_t>(y + rowsOfPartials, picture.height), partials);
                for (std::size_t x = 0; x < width; ++x)
                    sums[x] += static_cast<float>(partials[x]);
            }
            return;
        }
    }
    addRows(picture, 0, picture.height, sums);
}

void divide(float* sums, std::size_t count, std::uint32_t divisor) {
    std::transform(sums, sums + count, sums,
                   [divisor](float sum) { return sum / static_cast<float>(divisor); });
}

template <class T>
std::size_t profileOf(PictureView<const T> picture, bool ofRows, float* profile, std::size_t count) {
    if (ofRows) {
        picture.height = static_cast<std::uint32_t>(std::min<std::size_t>(picture.height, count));
        rowMeans(picture, profile);
        return picture.height;
    }
    picture.width = static_cast<std::uint32_t>(std::min<std::size_t>(picture.width, count));
    columnMeans(picture, profile);
    return picture.width;
}

} // namespace

template <class T>
void rowMeans(PictureView<const T> picture, float* means) {
    // Vectors of 64 bytes lose more by waiting for the memory than they gain.
    forInstructionSets<&sumRows<1, T>, &sumRows<2, T>, &sumRows<2, T>>(picture, means);
    divide(means, picture.height, picture.width);
}

template <class T>
void columnMeans(PictureView<const T> picture, float* means) {
    std::vector<std::uint16_t> partials(sizeof(T) == 1 ? picture.width : 0);
    forInstructionSet<&sumColumns<T>>(picture, means, partials.data());
    divide(means, picture.width, picture.height);
}

template void rowMeans(PictureView<const std::uint8_t>, float*);
template void rowMeans(PictureView<const std::uint16_t>, float*);
template void columnMeans(PictureView<const std::uint8_t>, float*);
template void columnMeans(PictureView<const std::uint16_t>, float*);

bool meanProfile(const SzPicBuf& picture, bool ofRows, float* profile, std::size_t count) {
    if (!picture.data || picture.channels != 1 || picture.width == 0 || picture.height == 0 ||
        picture.linePitch < packedLineBytes(picture) ||
        picture.linePitch % bytesPerSample(picture.dataType) != 0)
        return false;
    std::size_t written = 0;
    if (picture.dataType == EzImageDataType::UInt8)
        written = profileOf(view<const std::uint8_t>(picture), ofRows, profile, count);
    else if (picture.dataType == EzImageDataType::UInt16)
        written = profileOf(view<const std::uint16_t>(picture), ofRows, profile, count);
    else
        return false;
    std::fill(profile + written, profile + count, 0.0F);
    return true;
}

SzAmplitudeRange spectrumAmplitudes(const float* real, const float* imaginary, int length, int first,
                                    double* amplitudes, int count) {
    SzAmplitudeRange range{std::numeric_limits<double>::max(), 0.0};
    const int inside = std::clamp(length - first, 0, count);
    for (int i = 0; i < inside; ++i) {
        const float re = real[first + i];
        const float im = imaginary[first + i];
        const float squares = re * re + im * im;
        const double amplitude = re == 0.0F && im == 0.0F ? 0.0 : std::sqrt(static_cast<double>(squares));
        amplitudes[i] = amplitude;
        range.smallest = std::min(range.smallest, amplitude);
        range.largest = std::max(range.largest, amplitude);
    }
    std::fill(amplitudes + inside, amplitudes + count, 0.0);
    return range;
}
