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

/// Rows that are added side by side: while an addition waits for the one before it, those of other rows go
/// on.
constexpr std::size_t rowsAtOnce = 32;
/// Each eight of them are a cache line of samples behind the eight above. Rows often begin a multiple of 4096
/// bytes apart, so that the same columns of more of them would not fit into the fastest cache together.
constexpr std::size_t lagRows = 8;
constexpr std::size_t lag = cacheLine / sizeof(std::uint16_t);

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

/// Some samples of each of four rows.
struct SzBlock {
    const std::uint16_t* samples;
    std::size_t pitch; ///< in bytes

    const std::uint8_t* row(std::size_t y) const {
        return reinterpret_cast<const std::uint8_t*>(samples) + y * pitch;
    }
};

template <std::size_t half, std::size_t... i>
[[gnu::always_inline]] inline void join(const Pairs<half>& a, const Pairs<half>& b, Pairs<2 * half>& both,
                                        std::index_sequence<i...>) {
    both = __builtin_shufflevector(a, b, i...);
}

/// The samples of one row of each block.
template <std::size_t groups>
[[gnu::always_inline]] inline void load(const SzBlock* blocks, std::size_t y, Pairs<groups>& row) {
    if constexpr (groups > 1) {
        constexpr std::size_t half = groups / 2;
        Pairs<half> a;
        Pairs<half> b;
        load<half>(blocks, y, a);
        load<half>(blocks + half, y, b);
        join<half>(a, b, row, std::make_index_sequence<4 * groups>());
    } else {
        std::memcpy(&row, blocks->row(y), sizeof row);
    }
}

/// Interleaves the pairs of a with those of b in each 16 bytes: the first two of both, and the others.
template <std::size_t groups, std::size_t... i>
[[gnu::always_inline]] inline void interleave(const Pairs<groups>& a, const Pairs<groups>& b,
                                              Pairs<groups>& low, Pairs<groups>& high,
                                              std::index_sequence<i...>) {
    low = __builtin_shufflevector(a, b, (i / 4 * 4 + i % 4 / 2 + i % 2 * 4 * groups)...);
    high = __builtin_shufflevector(a, b, (i / 4 * 4 + 2 + i % 4 / 2 + i % 2 * 4 * groups)...);
}

/// Adds the columns of one block per group, from left to right.
template <std::size_t groups>
[[gnu::always_inline]] inline void addBlocks(const SzBlock* blocks, Floats<groups>& sums) {
    constexpr auto all = std::make_index_sequence<4 * groups>();
    Pairs<groups> rows[groupRows];
    for (std::size_t y = 0; y < groupRows; ++y)
        load<groups>(blocks, y, rows[y]);
    // Two rounds of interleaving each row with the second after it turn rows into columns.
    for (int round = 0; round < 2; ++round) {
        Pairs<groups> interleaved[groupRows];
        interleave<groups>(rows[0], rows[2], interleaved[0], interleaved[1], all);
        interleave<groups>(rows[1], rows[3], interleaved[2], interleaved[3], all);
        std::copy_n(interleaved, groupRows, rows);
    }
    for (const Pairs<groups>& column : rows) {
        sums += __builtin_convertvector(reinterpret_cast<Integers<groups>>(column & 0xffff), Floats<groups>);
        sums += __builtin_convertvector(reinterpret_cast<Integers<groups>>(column >> 16), Floats<groups>);
    }
}

template <class T>
float addSamples(float sum, const T* samples, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x)
        sum += static_cast<float>(samples[x]);
    return sum;
}

/// The sums of rowsAtOnce rows from first on, one sample after the other.
template <std::size_t groups>
void sumSideBySide(PictureView<const std::uint16_t> picture, std::size_t first, float* sums) {
    constexpr std::size_t setRows = groups * groupRows;
    constexpr std::size_t sets = rowsAtOnce / setRows;
    constexpr std::uint16_t nothing[lag] = {}; // adds 0, which changes no sum
    const std::size_t inLines = picture.width / lag * lag;
    // The next rows are fetched in the order of the memory, as many bytes as are being added.
    const std::uint16_t* ahead = picture.row(first + rowsAtOnce);

    Floats<groups> setSums[sets] = {};
    for (std::size_t x = 0; x < inLines + (rowsAtOnce / lagRows - 1) * lag; x += lag)
        for (std::size_t set = 0; set < sets; ++set) {
            SzBlock blocks[groups];
            for (std::size_t group = 0; group < groups; ++group) {
                const std::size_t y = set * setRows + group * groupRows;
                const std::size_t behind = y / lagRows * lag;
                const bool isInside = x >= behind && x < inLines + behind;
                blocks[group] = isInside ? SzBlock{picture.row(first + y) + (x - behind), picture.pitch}
                                         : SzBlock{nothing, 0};
            }
            prefetch<EzCache::Second>(ahead, setRows * cacheLine);
            ahead += setRows * lag;
            for (std::size_t column = 0; column < lag; column += columnsAtOnce) {
                addBlocks<groups>(blocks, setSums[set]);
                for (SzBlock& block : blocks)
                    block.samples += columnsAtOnce;
            }
        }
    for (std::size_t i = 0; i < rowsAtOnce; ++i)
        sums[first + i] = addSamples(setSums[i / setRows][i % setRows], picture.row(first + i) + inLines,
                                     picture.width - inLines);
}

template <std::size_t groups, class T>
void sumRows(PictureView<const T> picture, float* sums) {
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
        if constexpr (sizeof(T) == sizeof(std::uint16_t))
            if (picture.height >= rowsAtOnce) {
                sumSideBySide<groups>(picture, end - rowsAtOnce, sums);
                continue;
            }
        for (std::size_t y = first; y < end; ++y)
            sums[y] = addSamples(0.0F, picture.row(y), picture.width);
    }
}

// ---- Means of columns ----

/// Rows that are added together: the sums are loaded and stored less often.
constexpr std::size_t rowsTogether = 4;

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
            prefetch<EzCache::Second>(ahead, rowsTogether * cacheLine);
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
