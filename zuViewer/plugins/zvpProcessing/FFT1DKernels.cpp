// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DKernels.h"

#include "InstructionSet.h"

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
// made side by side: blocks of eight rows are transposed, and each column of a block is added to all eight. A
// vector holds as many blocks as there are 16 bytes in it, one group of rows below the other.

constexpr std::size_t groupRows = 8;
constexpr std::size_t columnsAtOnce = 8;

/// Columns by which each group of rows is behind the one above it: a cache line of 16-bit samples. Rows often
/// begin a multiple of 4096 bytes apart, so that the same columns of all of them would not fit into the cache
/// together.
constexpr std::size_t lag = 32;

template <std::size_t groups>
struct SzVectors {
    typedef std::uint16_t Words __attribute__((vector_size(16 * groups)));
    typedef std::int32_t Integers __attribute__((vector_size(16 * groups)));
    typedef float Floats __attribute__((vector_size(16 * groups)));
};
template <std::size_t groups>
using Words = typename SzVectors<groups>::Words;
template <std::size_t groups>
using Integers = typename SzVectors<groups>::Integers;
template <std::size_t groups>
using Floats = typename SzVectors<groups>::Floats;

/// The sums of the rows of all groups.
template <std::size_t groups>
struct SzSums {
    Floats<groups> upper{}; ///< of the first four rows of each
    Floats<groups> lower{}; ///< of the others

    float ofRow(std::size_t group, std::size_t row) const {
        return row < 4 ? upper[4 * group + row] : lower[4 * group + row - 4];
    }
};

/// Some samples of each of eight rows.
template <class T>
struct SzBlock {
    const T* samples;
    std::size_t pitch; ///< in bytes

    const T* row(std::size_t y) const {
        return reinterpret_cast<const T*>(reinterpret_cast<const std::uint8_t*>(samples) + y * pitch);
    }
};

template <std::size_t half, std::size_t... i>
[[gnu::always_inline]] inline void join(const Words<half>& a, const Words<half>& b, Words<2 * half>& both,
                                        std::index_sequence<i...>) {
    both = __builtin_shufflevector(a, b, i...);
}

/// The samples of one row of each block.
template <std::size_t groups, class T>
[[gnu::always_inline]] inline void load(const SzBlock<T>* blocks, std::size_t y, Words<groups>& row) {
    if constexpr (groups > 1) {
        constexpr std::size_t half = groups / 2;
        Words<half> a;
        Words<half> b;
        load<half>(blocks, y, a);
        load<half>(blocks + half, y, b);
        join<half>(a, b, row, std::make_index_sequence<8 * groups>());
    } else {
        T samples __attribute__((vector_size(columnsAtOnce * sizeof(T))));
        std::memcpy(&samples, blocks->row(y), sizeof samples);
        row = __builtin_convertvector(samples, Words<1>);
    }
}

/// Interleaves the words of a with those of b in each 16 bytes: the first four of both, and the others.
template <std::size_t groups, std::size_t... i>
[[gnu::always_inline]] inline void interleave(const Words<groups>& a, const Words<groups>& b,
                                              Words<groups>& low, Words<groups>& high,
                                              std::index_sequence<i...>) {
    low = __builtin_shufflevector(a, b, (i / 8 * 8 + i % 8 / 2 + i % 2 * 8 * groups)...);
    high = __builtin_shufflevector(a, b, (i / 8 * 8 + 4 + i % 8 / 2 + i % 2 * 8 * groups)...);
}

/// Adds the columns of one block per group, from left to right.
template <std::size_t groups, class T>
[[gnu::always_inline]] inline void addBlocks(const SzBlock<T>* blocks, SzSums<groups>& sums) {
    constexpr auto words = std::make_index_sequence<8 * groups>();
    Words<groups> rows[groupRows];
    for (std::size_t y = 0; y < groupRows; ++y)
        load<groups>(blocks, y, rows[y]);
    // Three rounds of interleaving each row with the fourth after it turn rows into columns.
    for (int round = 0; round < 3; ++round) {
        Words<groups> interleaved[groupRows];
        for (std::size_t i = 0; i < groupRows / 2; ++i)
            interleave<groups>(rows[i], rows[i + groupRows / 2], interleaved[2 * i], interleaved[2 * i + 1],
                               words);
        std::copy_n(interleaved, groupRows, rows);
    }
    for (const Words<groups>& column : rows) {
        Words<groups> upper;
        Words<groups> lower;
        interleave<groups>(column, Words<groups>{}, upper, lower, words);
        sums.upper += __builtin_convertvector(reinterpret_cast<Integers<groups>>(upper), Floats<groups>);
        sums.lower += __builtin_convertvector(reinterpret_cast<Integers<groups>>(lower), Floats<groups>);
    }
}

template <class T>
float addSamples(float sum, const T* samples, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x)
        sum += static_cast<float>(samples[x]);
    return sum;
}

/// The sums of rows from first on, as many as the groups have, one sample after the other. Where there are
/// not so many, the last eight, which there are at least, make up for them.
template <std::size_t groups, class T>
void sumGroups(PictureView<const T> picture, std::size_t first, float* sums) {
    constexpr T nothing[columnsAtOnce] = {}; // adds 0, which changes no sum
    const std::size_t inBlocks = picture.width / columnsAtOnce * columnsAtOnce;
    std::size_t firstRows[groups];
    for (std::size_t group = 0; group < groups; ++group)
        firstRows[group] = std::min<std::size_t>(first + group * groupRows, picture.height - groupRows);

    SzSums<groups> blockSums;
    for (std::size_t x = 0; x < inBlocks + (groups - 1) * lag; x += columnsAtOnce) {
        SzBlock<T> blocks[groups];
        for (std::size_t group = 0; group < groups; ++group) {
            const bool isInside = x >= group * lag && x - group * lag < inBlocks;
            blocks[group] = isInside
                                ? SzBlock<T>{picture.row(firstRows[group]) + (x - group * lag), picture.pitch}
                                : SzBlock<T>{nothing, 0};
        }
        addBlocks<groups>(blocks, blockSums);
    }
    for (std::size_t group = 0; group < groups; ++group)
        for (std::size_t i = 0; i < groupRows; ++i) {
            const std::size_t y = firstRows[group] + i;
            sums[y] =
                addSamples(blockSums.ofRow(group, i), picture.row(y) + inBlocks, picture.width - inBlocks);
        }
}

template <std::size_t groups, class T>
void sumRows(PictureView<const T> picture, float* sums) {
    constexpr std::size_t rowsAtOnce = groups * groupRows;
    for (std::size_t first = 0; first < picture.height; first += rowsAtOnce) {
        const std::size_t end = std::min<std::size_t>(first + rowsAtOnce, picture.height);
        bool exact = true;
        for (std::size_t y = first; y < end && exact; ++y) {
            const std::uint64_t sum = exactSum(picture.row(y), picture.width);
            exact = sum <= largestExact;
            sums[y] = static_cast<float>(sum);
        }
        if (exact)
            continue;
        if (picture.height >= groupRows)
            sumGroups<groups>(picture, first, sums);
        else
            for (std::size_t y = first; y < end; ++y)
                sums[y] = addSamples(0.0F, picture.row(y), picture.width);
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
#pragma omp simd
        for (std::size_t x = 0; x < width; ++x) {
            Sum sum = sums[x];
            for (std::size_t i = 0; i < rowsTogether; ++i)
                sum = static_cast<Sum>(sum + static_cast<Sum>(rows[i][x]));
            sums[x] = sum;
        }
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
    forInstructionSets<&sumRows<1, T>, &sumRows<2, T>, &sumRows<4, T>>(picture, means);
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
