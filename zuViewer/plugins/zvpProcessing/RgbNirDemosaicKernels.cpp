// SPDX-License-Identifier: GPL-3.0-or-later
#include "RgbNirDemosaicKernels.h"

#include "InstructionSet.h"
#include "PictureView.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace {

/// Columns whose values are computed before they are stored: few enough for the fastest cache, and an even
/// number, so that all blocks begin at the same place of the cell.
constexpr std::size_t blockColumns = 512;

template <class T>
using Block = std::array<T, blockColumns>;

/// All bits set for every second column; from its second entry on, for the other columns.
template <class T>
constexpr auto everySecondColumn = [] {
    std::array<T, blockColumns + 1> columns{};
    for (std::size_t i = 1; i < columns.size(); i += 2)
        columns[i] = static_cast<T>(~T{0});
    return columns;
}();

template <class T>
constexpr std::array<T, blockColumns> noColumn{};

// Sums of smaller samples than 32 bits do not wrap, so their means can be formed without wider numbers.

template <class T>
T meanOfTwo(T a, T b) {
    if constexpr (sizeof(T) == sizeof(std::uint32_t))
        return (a + b) >> 1;
    else
        return static_cast<T>((a & b) + ((a ^ b) >> 1));
}

template <class T>
T meanOfFour(T a, T b, T c, T d) {
    if constexpr (sizeof(T) == sizeof(std::uint32_t)) {
        return (a + b + c + d) >> 2;
    } else {
        const T quarters = static_cast<T>((a >> 2) + (b >> 2) + (c >> 2) + (d >> 2));
        const T rest = static_cast<T>((a & 3) + (b & 3) + (c & 3) + (d & 3));
        return static_cast<T>(quarters + (rest >> 2));
    }
}

/// One filter as a line of the output sees it. In some columns the filter sits in this very column, in the
/// others it sits left and right.
template <class T>
struct FilterLine {
    const T* above;       ///< the nearest lines with the filter,
    const T* below;       ///< one and the same where there is but one
    const T* besides;     ///< of the columns of a block, all bits set where the filter sits left and right
    std::size_t leftFrom; ///< column that the left-most pixel takes its value from
    std::size_t rightFrom;
};

template <class T>
FilterLine<T> filterLine(PictureView<const T> source, std::size_t y, std::uint32_t phase) {
    const std::size_t width = source.width;
    const std::size_t height = source.height;
    if (width < 2 || height < 2)
        return {source.row(y), source.row(y), noColumn<T>.data(), 0, width - 1};

    const std::size_t columnParity = phase == 0 || phase == 2 ? 0 : 1;
    const std::size_t rowParity = phase >= 2 ? 1 : 0;
    const bool top = y == 0;
    const bool bottom = y == height - 1;
    std::size_t above = y;
    std::size_t below = y;
    if ((y & 1) != rowParity) {
        above = top ? 1 : y - 1;
        below = bottom ? height - 2 : y + 1;
    }
    const std::size_t rightBesides = (width - 1 - columnParity) & 1;
    const std::size_t leftBesides = top || bottom ? columnParity : rightBesides; // inside, as at the right
    return {source.row(above), source.row(below), everySecondColumn<T>.data() + columnParity, leftBesides,
            width - 1 - rightBesides};
}

/// The value in a column with the filter.
template <class T>
T valueAt(const FilterLine<T>& line, std::size_t x) {
    return line.above == line.below ? line.above[x] : meanOfTwo(line.above[x], line.below[x]);
}

/// The values of columns begin to end − 1, which have columns on both sides.
template <class T>
void interpolateBetween(T* values, const FilterLine<T>& line, std::size_t begin, std::size_t end) {
    const T* const above = line.above + begin;
    const T* const below = line.below + begin;
    const T* const besides = line.besides + begin % blockColumns;
    const std::size_t count = end - begin;
    if (above == below) {
        for (std::size_t i = 0; i < count; ++i) {
            const T mean = meanOfTwo(above[i - 1], above[i + 1]);
            values[i] = static_cast<T>(above[i] ^ ((above[i] ^ mean) & besides[i]));
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            const T two = meanOfTwo(above[i], below[i]);
            const T four = meanOfFour(above[i - 1], above[i + 1], below[i - 1], below[i + 1]);
            values[i] = static_cast<T>(two ^ ((two ^ four) & besides[i]));
        }
    }
}

/// The values of a block of count columns from column x on.
template <class T>
void interpolateBlock(Block<T>& values, const FilterLine<T>& line, std::size_t x, std::size_t count,
                      std::size_t width) {
    const std::size_t begin = std::max<std::size_t>(x, 1);
    const std::size_t end = std::min(x + count, width - 1);
    if (begin < end)
        interpolateBetween(values.data() + (begin - x), line, begin, end);
    if (x + count == width)
        values[width - 1 - x] = valueAt(line, line.rightFrom);
    if (x == 0)
        values[0] = valueAt(line, line.leftFrom);
}

/// Shifts values of the input down to the depth of the output. What would shift all bits out of the type,
/// which the language leaves open, is done by the mask.
template <class In>
struct Shift {
    std::uint32_t bits = 0;
    In mask = static_cast<In>(~In{0});

    Shift(const SzPicBufInfo& output, const SzPicBufInfo& input) {
        const std::uint32_t surplus = input.bitDepth - std::min(input.bitDepth, output.bitDepth);
        if (surplus < 8 * sizeof(In))
            bits = surplus;
        else
            mask = 0;
    }
    In operator()(In value) const { return static_cast<In>((value & mask) >> bits); }
};

/// Writes the values of one filter, the first at out, as far as they go into count pixels.
template <class Out, class In>
void sampleLine(Out* out, std::size_t count, std::size_t channels, FilterLine<In> line, std::size_t width,
                Shift<In> shift) {
    Block<In> values;
    for (std::size_t x = 0; x < count; x += blockColumns) {
        const std::size_t columns = std::min(width - x, blockColumns);
        interpolateBlock(values, line, x, columns, width);
        const std::size_t stored = std::min(count - x, columns);
        Out* const samples = out + x * channels;
        if (channels == 1)
            for (std::size_t i = 0; i < stored; ++i)
                samples[i] = static_cast<Out>(shift(values[i]));
        else
            for (std::size_t i = 0; i < stored; ++i)
                samples[i * channels] = static_cast<Out>(shift(values[i]));
    }
}

/// Writes a line of blue, green, red and 255.
template <class In>
void colourLine(std::uint8_t* out, FilterLine<In> blue, FilterLine<In> green, FilterLine<In> red,
                std::size_t width, Shift<In> shift) {
    Block<In> blues;
    Block<In> greens;
    Block<In> reds;
    for (std::size_t x = 0; x < width; x += blockColumns) {
        const std::size_t columns = std::min(width - x, blockColumns);
        interpolateBlock(blues, blue, x, columns, width);
        interpolateBlock(greens, green, x, columns, width);
        interpolateBlock(reds, red, x, columns, width);
        std::uint8_t* const pixels = out + x * 4;
        for (std::size_t i = 0; i < columns; ++i) {
            const std::uint32_t pixel = (shift(blues[i]) & 255U) | (shift(greens[i]) & 255U) << 8 |
                                        (shift(reds[i]) & 255U) << 16 | 255U << 24;
            std::memcpy(pixels + i * 4, &pixel, 4);
        }
    }
}

/// Whether both pictures have data and the same size, and their pitches have room for their rows, those of
/// the input being of type In.
template <class In>
bool fit(const SzPicBuf& output, const SzPicBuf& input) {
    return output.data && input.data && output.width == input.width && output.height == input.height &&
           output.linePitch >= packedLineBytes(output) &&
           input.linePitch >= std::uint64_t{input.width} * sizeof(In);
}

} // namespace

template <class Out, class In>
bool InterpolateCellChannel(SzPicBuf& output, std::uint32_t channel, const SzPicBuf& input,
                            std::uint32_t phase) {
    if (!fit<In>(output, input))
        return false;
    const PictureView<const In> source = view<const In>(input);
    const std::size_t rowSamples = packedLineBytes(output) / sizeof(Out);
    if (channel >= rowSamples)
        return true; // behind every row, which also excludes pictures without pixels
    const std::size_t pixels = (rowSamples - channel - 1) / output.channels + 1;
    const std::size_t count = std::min<std::size_t>(source.width, pixels);
    const Shift<In> shift(output, input);
#pragma omp parallel for schedule(static)
    for (std::size_t y = 0; y < source.height; ++y) {
        Out* const row = reinterpret_cast<Out*>(output.data + y * output.linePitch);
        forInstructionSet<&sampleLine<Out, In>>(row + channel, count, std::size_t{output.channels},
                                                filterLine(source, y, phase), std::size_t{source.width},
                                                shift);
    }
    return true;
}

using std::uint16_t;
using std::uint32_t;
using std::uint8_t;
template bool InterpolateCellChannel<uint8_t, uint8_t>(SzPicBuf&, uint32_t, const SzPicBuf&, uint32_t);
template bool InterpolateCellChannel<uint8_t, uint16_t>(SzPicBuf&, uint32_t, const SzPicBuf&, uint32_t);
template bool InterpolateCellChannel<uint8_t, uint32_t>(SzPicBuf&, uint32_t, const SzPicBuf&, uint32_t);
template bool InterpolateCellChannel<uint16_t, uint16_t>(SzPicBuf&, uint32_t, const SzPicBuf&, uint32_t);
template bool InterpolateCellChannel<uint32_t, uint32_t>(SzPicBuf&, uint32_t, const SzPicBuf&, uint32_t);

namespace {

template <class In>
bool colourPicture(SzPicBuf& output, const SzPicBuf& input, const SzCellPositions& cell) {
    if (!fit<In>(output, input))
        return false;
    const PictureView<const In> source = view<const In>(input);
    const PictureView<std::uint8_t> pixels = view<std::uint8_t>(output);
    const Shift<In> shift(output, input);
#pragma omp parallel for schedule(static)
    for (std::size_t y = 0; y < source.height; ++y)
        forInstructionSet<&colourLine<In>>(pixels.row(y), filterLine(source, y, cell.blue),
                                           filterLine(source, y, cell.green), filterLine(source, y, cell.red),
                                           std::size_t{source.width}, shift);
    return true;
}

/// Whether every pixel is a group of four 8-bit samples.
bool isBgra(const SzPicBufInfo& format) {
    return format.channels == 4 && format.dataType == EzImageDataType::UInt8 &&
           format.storageFormat != EzDataStorageFormat::Planar;
}

} // namespace

bool interpolateColour(SzPicBuf& output, const SzPicBuf& input, const SzCellPositions& cell) {
    return withSampleType(input.dataType, [&](auto sample) {
        using In = decltype(sample);
        if constexpr (std::is_integral_v<In>) {
            if (isBgra(output))
                return colourPicture<In>(output, input, cell);
            InterpolateCellChannel<std::uint8_t, In>(output, 0, input, cell.blue);
            InterpolateCellChannel<std::uint8_t, In>(output, 1, input, cell.green);
            InterpolateCellChannel<std::uint8_t, In>(output, 2, input, cell.red);
        }
        return false;
    });
}

bool interpolateNearInfrared(SzPicBuf& output, const SzPicBuf& input, const SzCellPositions& cell) {
    return withSampleType(input.dataType, [&](auto sample) {
        using T = decltype(sample);
        if constexpr (std::is_integral_v<T>)
            return InterpolateCellChannel<T, T>(output, 0, input, cell.nir);
        else
            return false;
    });
}
