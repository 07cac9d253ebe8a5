// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DKernels.h"

#include "InstructionSet.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

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

// Where sums are not exact, the samples of a row have to be added one by one. So the sums of eight rows are
// made side by side: blocks of eight rows are transposed, and each column of a block is added to all eight.

constexpr std::size_t rowsAtOnce = 8;
constexpr std::size_t blockBytes = 16; ///< of each row

using Bytes = std::uint8_t __attribute__((vector_size(blockBytes)));
using Words = std::uint16_t __attribute__((vector_size(blockBytes)));
using Integers = std::int32_t __attribute__((vector_size(4 * rowsAtOnce)));
using Sums = float __attribute__((vector_size(4 * rowsAtOnce)));

template <class T>
struct BlockRow;
template <>
struct BlockRow<std::uint8_t> {
    using Type = Bytes;
};
template <>
struct BlockRow<std::uint16_t> {
    using Type = Words;
};

[[gnu::always_inline]] inline Bytes interleaveLow(Bytes a, Bytes b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}

[[gnu::always_inline]] inline Bytes interleaveHigh(Bytes a, Bytes b) {
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}

[[gnu::always_inline]] inline Words interleaveLow(Words a, Words b) {
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}

[[gnu::always_inline]] inline Words interleaveHigh(Words a, Words b) {
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

/// One column of eight samples.
void addColumns(Sums& sums, const Words& column) {
    sums += __builtin_convertvector(__builtin_convertvector(column, Integers), Sums);
}

/// Two columns, the left one first.
void addColumns(Sums& sums, const Bytes& columns) {
    addColumns(sums, reinterpret_cast<Words>(interleaveLow(columns, Bytes{})));
    addColumns(sums, reinterpret_cast<Words>(interleaveHigh(columns, Bytes{})));
}

template <class T>
void addBlock(Sums& sums, const T* block, std::size_t pitch) {
    using Row = typename BlockRow<T>::Type;
    Row rows[rowsAtOnce];
    for (std::size_t i = 0; i < rowsAtOnce; ++i)
        std::memcpy(&rows[i], reinterpret_cast<const std::uint8_t*>(block) + i * pitch, blockBytes);
    // Three rounds of interleaving each row with the fourth after it turn rows into columns.
    for (int round = 0; round < 3; ++round) {
        Row interleaved[rowsAtOnce];
        for (std::size_t i = 0; i < rowsAtOnce / 2; ++i) {
            interleaved[2 * i] = interleaveLow(rows[i], rows[i + rowsAtOnce / 2]);
            interleaved[2 * i + 1] = interleaveHigh(rows[i], rows[i + rowsAtOnce / 2]);
        }
        std::copy_n(interleaved, rowsAtOnce, rows);
    }
    for (std::size_t i = 0; i < rowsAtOnce; ++i)
        addColumns(sums, rows[i]);
}

template <class T>
float addSamples(float sum, const T* samples, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x)
        sum += static_cast<float>(samples[x]);
    return sum;
}

/// The sums of eight rows, one sample after the other.
template <class T>
void sumEightRows(PictureView<const T> picture, std::size_t first, float* sums) {
    constexpr std::size_t columnsAtOnce = blockBytes / sizeof(T);
    const std::size_t inBlocks = picture.width / columnsAtOnce * columnsAtOnce;
    Sums ofRows{};
    for (std::size_t x = 0; x < inBlocks; x += columnsAtOnce)
        addBlock(ofRows, picture.row(first) + x, picture.pitch);
    for (std::size_t i = 0; i < rowsAtOnce; ++i)
        sums[i] = addSamples(ofRows[i], picture.row(first + i) + inBlocks, picture.width - inBlocks);
}

template <class T>
void sumRows(PictureView<const T> picture, float* sums) {
    for (std::size_t first = 0; first < picture.height; first += rowsAtOnce) {
        const std::size_t rows = std::min<std::size_t>(rowsAtOnce, picture.height - first);
        bool exact = true;
        for (std::size_t i = 0; i < rows && exact; ++i) {
            const std::uint64_t sum = exactSum(picture.row(first + i), picture.width);
            exact = sum <= largestExact;
            sums[first + i] = static_cast<float>(sum);
        }
        if (exact)
            continue;
        if (rows == rowsAtOnce)
            sumEightRows(picture, first, sums + first);
        else
            for (std::size_t y = first; y < picture.height; ++y)
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
    forInstructionSet<&sumRows<T>>(picture, means);
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
