// SPDX-License-Identifier: GPL-3.0-or-later
#include "RgbNirDemosaicKernels.h"

#include "InstructionSet.h"
#include "PictureView.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace {

// Sums of 32-bit samples wrap. Those of smaller ones do not, and their means are formed without wider
// numbers: from the mean that is rounded up, for which processors have an instruction.

template <class T>
T meanRoundedUp(T a, T b) {
    return static_cast<T>((std::uint32_t{a} + b + 1) >> 1);
}

template <class T>
T meanOfTwo(T a, T b) {
    if constexpr (sizeof(T) == sizeof(std::uint32_t))
        return (a + b) >> 1;
    else
        return static_cast<T>(meanRoundedUp(a, b) - ((a ^ b) & 1));
}

template <class T>
T meanOfFour(T a, T b, T c, T d) {
    if constexpr (sizeof(T) == sizeof(std::uint32_t)) {
        return (a + b + c + d) >> 2;
    } else {
        const T ab = meanOfTwo(a, b);
        const T cd = meanOfTwo(c, d);
        // Three halves were lost: together enough for a one.
        const int allOdd = (a ^ b) & (c ^ d) & (ab ^ cd);
        return static_cast<T>(meanOfTwo(ab, cd) + (allOdd & 1));
    }
}

/// All bits set, or none.
template <class T>
T maskOf(bool set) {
    return static_cast<T>(-static_cast<int>(set));
}

/// a, or b where the mask is set.
template <class T>
T choose(T a, T b, T mask) {
    return static_cast<T>(a ^ ((a ^ b) & mask));
}

/// Shifts values of the input down to the depth of the output. What would shift all bits out of the type,
/// which the language leaves open, is done by the mask.
template <class In>
struct Shift {
    std::uint32_t bits = 0;
    In mask = maskOf<In>(true);

    Shift(const SzPicBufInfo& output, const SzPicBufInfo& input) {
        const std::uint32_t surplus = input.bitDepth - std::min(input.bitDepth, output.bitDepth);
        if (surplus < 8 * sizeof(In))
            bits = surplus;
        else
            mask = 0;
    }
    In operator()(In value) const { return static_cast<In>((value & mask) >> bits); }
};

/// One filter as a line of the output sees it: in every second column it sits in that very column, in the
/// others to the left and to the right.
template <class T>
struct FilterLine {
    const T* above;    ///< the nearest lines with the filter,
    const T* below;    ///< one and the same where there is but one
    T inOddColumns;    ///< mask
    std::size_t first; ///< column that the left-most pixel takes its value from
    std::size_t last;  ///< the right-most pixel's

    T isBetweenLines() const { return maskOf<T>(above != below); }
    /// The value in a column with the filter.
    T at(std::size_t x) const { return above == below ? above[x] : meanOfTwo(above[x], below[x]); }
};

/// Of a source of at least 2 × 2 pixels.
template <class T>
FilterLine<T> filterLine(PictureView<const T> source, std::size_t y, std::uint32_t phase) {
    const std::size_t column = phase == 0 || phase == 2 ? 0 : 1;
    const std::size_t row = phase >= 2 ? 1 : 0;
    const std::size_t right = source.width - 1;
    const std::size_t bottom = source.height - 1;
    const bool isBorder = y == 0 || y == bottom;

    std::size_t above = y;
    std::size_t below = y;
    if ((y & 1) != row) {
        above = y == 0 ? 1 : y - 1;
        below = y == bottom ? y - 1 : y + 1;
    }
    const std::size_t besideRight = (right - column) & 1;
    const std::size_t besideLeft = isBorder ? column : besideRight; // inside, as if it were the right column
    return {source.row(above), source.row(below), maskOf<T>(column == 1), besideLeft, right - besideRight};
}

/// Writes a line of one filter's values, the first at out, as far as they go into count pixels.
template <class Out, class In>
void sampleLine(Out* out, std::size_t count, std::size_t channels, FilterLine<In> line, std::size_t width,
                Shift<In> shift) {
    const auto between = [&](auto value) {
        const std::size_t end = std::min(count, width - 1);
        In column = 1;
        if (channels == 1)
            for (std::size_t x = 1; x < end; ++x, ++column)
                out[x] = static_cast<Out>(shift(value(x, column)));
        else
            for (std::size_t x = 1; x < end; ++x, ++column)
                out[x * channels] = static_cast<Out>(shift(value(x, column)));
    };
    const auto isBeside = [&](In column) { // the column's last bit, as a mask
        return static_cast<In>(-(column & 1) ^ line.inOddColumns);
    };
    const In* const above = line.above;
    const In* const below = line.below;
    if (above == below)
        between([&](std::size_t x, In column) {
            return choose(above[x], meanOfTwo(above[x - 1], above[x + 1]), isBeside(column));
        });
    else
        between([&](std::size_t x, In column) {
            return choose(meanOfTwo(above[x], below[x]),
                          meanOfFour(above[x - 1], above[x + 1], below[x - 1], below[x + 1]),
                          isBeside(column));
        });
    out[0] = static_cast<Out>(shift(line.at(line.first)));
    if (count == width)
        out[(width - 1) * channels] = static_cast<Out>(shift(line.at(line.last)));
}

/// The same, whatever the size of the source.
template <class Out, class In>
void interpolateLine(Out* out, std::size_t count, std::size_t channels, PictureView<const In> source,
                     std::size_t y, std::uint32_t phase, Shift<In> shift) {
    if (source.width >= 2 && source.height >= 2)
        return forInstructionSet<&sampleLine<Out, In>>(out, count, channels, filterLine(source, y, phase),
                                                       std::size_t{source.width}, shift);
    for (std::size_t x = 0; x < count; ++x)
        out[x * channels] = static_cast<Out>(shift(source.row(y)[x]));
}

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "a pixel's blue is the lowest byte");

template <class In>
void writePixel(std::uint8_t* out, In blue, In green, In red) {
    const std::uint32_t pixel = (blue & 255U) | (green & 255U) << 8 | (red & 255U) << 16 | 255U << 24;
    std::memcpy(out, &pixel, sizeof pixel);
}

/// Writes line y of blue, green, red and 255, neither the first nor the last of the picture. All filters
/// share the values in it and between it and its neighbours, of which each takes its own.
template <class In>
void colourLine(std::uint8_t* out, PictureView<const In> source, std::size_t y, FilterLine<In> blue,
                FilterLine<In> green, FilterLine<In> red, Shift<In> shift) {
    const In* const here = source.row(y);
    const In* const above = source.row(y - 1);
    const In* const below = source.row(y + 1);
    const In blueBetween = blue.isBetweenLines();
    const In greenBetween = green.isBetweenLines();
    const In redBetween = red.isBetweenLines();
    const std::size_t last = source.width - 1;
    In column = 1;
    for (std::size_t x = 1; x < last; ++x, ++column) {
        const In on = here[x];
        const In horizontal = meanOfTwo(here[x - 1], here[x + 1]);
        const In vertical = meanOfTwo(above[x], below[x]);
        const In diagonal = meanOfFour(above[x - 1], above[x + 1], below[x - 1], below[x + 1]);
        const In isOdd = static_cast<In>(-(column & 1));
        const auto valueOf = [&](In between, In inOddColumns) {
            return shift(choose(choose(on, vertical, between), choose(horizontal, diagonal, between),
                                static_cast<In>(isOdd ^ inOddColumns)));
        };
        writePixel(out + x * 4, valueOf(blueBetween, blue.inOddColumns),
                   valueOf(greenBetween, green.inOddColumns), valueOf(redBetween, red.inOddColumns));
    }
    writePixel(out, shift(blue.at(blue.first)), shift(green.at(green.first)), shift(red.at(red.first)));
    writePixel(out + last * 4, shift(blue.at(blue.last)), shift(green.at(green.last)),
               shift(red.at(red.last)));
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
        return true; // behind every row, which also excludes rows without samples
    const std::size_t pixels = (rowSamples - channel - 1) / output.channels + 1;
    const std::size_t count = std::min<std::size_t>(source.width, pixels);
    const Shift<In> shift(output, input);
#pragma omp parallel for schedule(static)
    for (std::size_t y = 0; y < source.height; ++y) {
        Out* const row = reinterpret_cast<Out*>(output.data + y * output.linePitch);
        interpolateLine(row + channel, count, output.channels, source, y, phase, shift);
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

/// Colours of an output whose pixels are four 8-bit samples.
template <class In>
bool colourPicture(SzPicBuf& output, const SzPicBuf& input, const SzCellPositions& cell) {
    if (!fit<In>(output, input))
        return false;
    const PictureView<const In> source = view<const In>(input);
    const PictureView<std::uint8_t> pixels = view<std::uint8_t>(output);
    const std::size_t width = source.width;
    const Shift<In> shift(output, input);
#pragma omp parallel for schedule(static)
    for (std::size_t y = 0; y < source.height; ++y) {
        std::uint8_t* const row = pixels.row(y);
        const bool isBorder = y == 0 || y == source.height - 1;
        if (!isBorder && width >= 2) {
            forInstructionSet<&colourLine<In>>(row, source, y, filterLine(source, y, cell.blue),
                                               filterLine(source, y, cell.green),
                                               filterLine(source, y, cell.red), shift);
        } else {
            interpolateLine(row, width, 4, source, y, cell.blue, shift);
            interpolateLine(row + 1, width, 4, source, y, cell.green, shift);
            interpolateLine(row + 2, width, 4, source, y, cell.red, shift);
            for (std::size_t x = 0; x < width; ++x)
                row[x * 4 + 3] = 255;
        }
    }
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
