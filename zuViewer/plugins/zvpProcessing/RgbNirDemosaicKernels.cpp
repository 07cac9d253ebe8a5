// SPDX-License-Identifier: GPL-3.0-or-later
#include "RgbNirDemosaicKernels.h"

#include "InstructionSet.h"
#include "PictureView.h"
#include "Prefetch.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>

namespace {

// ---- Means and shifts ----

// Sums of 32-bit samples wrap. Those of smaller ones do not, and their means are formed without wider
// numbers.

/// For which processors have an instruction.
template <class T>
T meanRoundedUp(T a, T b) {
    return static_cast<T>((a + b + 1) >> 1);
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
        const T ab = meanRoundedUp(a, b);
        const T cd = meanRoundedUp(c, d);
        const T mean = static_cast<T>((ab & cd) + ((ab ^ cd) >> 1));
        // One or two halves too much: they count where no half was lost in their mean.
        const int isRounded = (a ^ b) | (c ^ d);
        return static_cast<T>(mean - (isRounded & ~(ab ^ cd) & 1));
    }
}

/// Shifts nothing.
template <class T>
struct Unshifted {
    T operator()(T value) const { return value; }
};

/// Shifts right, by at least one bit. As many bits as the type has and more give 0.
template <class T>
class ShiftedRight {
public:
    explicit ShiftedRight(std::uint32_t bits)
        : m_isAll(bits >= allBits)
        , m_bits(m_isAll ? 0 : bits)
        , m_factor(m_isAll ? T{0} : static_cast<T>(T{1} << (allBits - bits))) {}

    T operator()(T value) const {
        if constexpr (sizeof(T) == sizeof(std::uint32_t))
            return m_isAll ? 0 : value >> m_bits;
        else // which, unlike a shift of such small numbers, becomes one instruction for many of them
            return static_cast<T>((std::uint32_t{value} * m_factor) >> allBits);
    }

private:
    static constexpr std::uint32_t allBits = 8 * sizeof(T);
    bool m_isAll;
    std::uint32_t m_bits;
    T m_factor;
};

// ---- Lines ----

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the first of two bytes is the lower one");

/// Narrows two values that lie side by side.
template <class Out, class In>
void writePair(Out* out, In first, In second) {
    if constexpr (sizeof(Out) < sizeof(In)) {
        const auto pair = static_cast<std::uint16_t>((first & 255) | second << 8);
        std::memcpy(out, &pair, sizeof pair);
    } else {
        out[0] = first;
        out[1] = second;
    }
}

/// Sets the even columns of a line and the odd ones apart.
template <class In>
void splitLine(const In* __restrict line, std::size_t pairs, In* __restrict even, In* __restrict odd) {
    for (std::size_t i = 0; i < pairs; ++i) {
        even[i] = line[2 * i];
        odd[i] = line[2 * i + 1];
    }
}

/// From the samples of a filter, which sits in this line in every second column, each followed by the value
/// of the column to the right of it. Reads one sample more than pairs.
template <class Out, class In, class Shift>
void interpolateInLine(Out* __restrict out, const In* __restrict line, std::size_t pairs, Shift shift) {
    for (std::size_t i = 0; i < pairs; ++i)
        writePair(out + 2 * i, shift(line[i]), shift(meanOfTwo(line[i], line[i + 1])));
}

/// The same between two lines with the filter.
template <class Out, class In, class Shift>
void interpolateBetweenLines(Out* __restrict out, const In* __restrict above, const In* __restrict below,
                             std::size_t pairs, Shift shift) {
    for (std::size_t i = 0; i < pairs; ++i)
        writePair(out + 2 * i, shift(meanOfTwo(above[i], below[i])),
                  shift(meanOfFour(above[i], below[i], above[i + 1], below[i + 1])));
}

// ---- Parts of a picture ----

/// Lines that follow each other on one thread.
constexpr std::size_t stripHeight = 32;

/// Bytes of a line that are kept split. Whole lines are best, since memory is fastest in order; those of most
/// cameras fit.
constexpr std::size_t splitBytes = 16384;

/// Columns whose values are interpolated at a time: few enough to stay in the fastest cache. Even.
constexpr std::size_t spanWidth = 512;

/// Some columns of a line, at most spanWidth where their values are kept. The first is an even one.
struct Span {
    std::size_t y;
    std::size_t left;
    std::size_t right; ///< behind the last one
};

/// One filter as a line of the output sees it: in every second column it sits in that very column, in the
/// others to the left and to the right.
struct FilterLine {
    std::size_t above;  ///< the nearest lines with the filter,
    std::size_t below;  ///< one and the same where there is but one
    std::size_t column; ///< 0: in even columns, 1: in odd ones
    std::size_t first;  ///< column that the left-most pixel takes its value from
    std::size_t last;   ///< the right-most pixel's
};

/// Of a picture of at least 2 × 2 pixels.
FilterLine filterLine(std::size_t width, std::size_t height, std::size_t y, std::uint32_t phase) {
    const std::size_t column = phase == 0 || phase == 2 ? 0 : 1;
    const std::size_t row = phase >= 2 ? 1 : 0;
    const std::size_t right = width - 1;
    const std::size_t bottom = height - 1;
    const bool isBorder = y == 0 || y == bottom;

    std::size_t above = y;
    std::size_t below = y;
    if ((y & 1) != row) {
        above = y == 0 ? 1 : y - 1;
        below = y == bottom ? y - 1 : y + 1;
    }
    const std::size_t besideRight = (right - column) & 1;
    const std::size_t besideLeft = isBorder ? column : besideRight; // inside, as if it were the right column
    return {above, below, column, besideLeft, right - besideRight};
}

/// A range of columns of a raw picture, out of which come the values of its filters. As long as lines are
/// asked for in order, each line of the picture is split but once.
template <class In>
class Tile {
public:
    static constexpr std::size_t maxWidth = splitBytes / sizeof(In);

    /// left is even.
    Tile(PictureView<const In> source, std::size_t left)
        : m_source(source), m_left(left), m_right(std::min<std::size_t>(source.width, left + maxWidth)) {}

    std::size_t left() const { return m_left; }
    std::size_t right() const { return m_right; }

    /// Writes the values of a filter, shifted and narrowed, the first of them at out. The span lies in the
    /// tile. Values come in pairs: where the picture goes on beside the span, the values of the pixels before
    /// and behind it may be written too.
    template <class Out>
    void interpolate(Out* out, const Span& span, std::uint32_t phase, std::uint32_t shift) {
        if (shift == 0)
            interpolate(out, span, phase, Unshifted<In>());
        else
            interpolate(out, span, phase, ShiftedRight<In>(shift));
    }

private:
    /// What the tile has in its even and its odd columns, and in those beside it. Columns outside of the
    /// picture have any values: only its left- and right-most pixels look at them.
    struct SplitLine {
        std::size_t y = std::numeric_limits<std::size_t>::max();
        std::array<In, maxWidth / 2 + 2> even;
        std::array<In, maxWidth / 2 + 2> odd; // from the column before the tile on
    };

    template <class Out, class Shift>
    void interpolate(Out* out, const Span& span, std::uint32_t phase, Shift shift) {
        if (m_source.width < 2 || m_source.height < 2) {
            for (std::size_t x = span.left; x < span.right; ++x)
                *out++ = static_cast<Out>(shift(m_source.row(span.y)[x]));
            return;
        }
        const FilterLine line = filterLine(m_source.width, m_source.height, span.y, phase);
        const bool beginsPicture = span.left == 0;
        const bool endsPicture = span.right == m_source.width;
        // Pairs begin in a column with the filter, and go on until all of the span is written.
        const std::size_t begin = span.left + line.column - (line.column == 0 || beginsPicture ? 0 : 2);
        const std::size_t end = endsPicture ? span.right : span.right + 1;
        const std::size_t pairs = (end - begin) / 2;
        const std::size_t first = (begin + line.column - m_left) / 2;
        Out* const firstPair = line.column == 0 ? out : beginsPicture ? out + 1 : out - 1;
        const In* const above = columns(line.above, line.column) + first;
        if (line.above == line.below)
            forInstructionSet<&interpolateInLine<Out, In, Shift>>(firstPair, above, pairs, shift);
        else
            forInstructionSet<&interpolateBetweenLines<Out, In, Shift>>(
                firstPair, above, columns(line.below, line.column) + first, pairs, shift);
        if (beginsPicture)
            out[0] = static_cast<Out>(shift(borderValue(line, line.first)));
        if (endsPicture)
            out[span.right - span.left - 1] = static_cast<Out>(shift(borderValue(line, line.last)));
    }

    /// The value of a filter in a column where it sits.
    In borderValue(const FilterLine& line, std::size_t x) const {
        const In above = m_source.row(line.above)[x];
        return line.above == line.below ? above : meanOfTwo(above, m_source.row(line.below)[x]);
    }

    /// The even columns of line y (parity 0), or the odd ones (1).
    const In* columns(std::size_t y, std::size_t parity) {
        SplitLine& line = m_lines[y % m_lines.size()];
        if (line.y != y) {
            line.y = y;
            const In* const samples = m_source.row(y);
            const std::size_t pairs = (m_right - m_left) / 2;
            const std::size_t last = m_source.width - 1;
            line.odd[0] = samples[m_left == 0 ? 0 : m_left - 1];
            forInstructionSet<&splitLine<In>>(samples + m_left, pairs, line.even.data(), line.odd.data() + 1);
            line.even[pairs] = samples[std::min(m_left + 2 * pairs, last)];
            line.odd[pairs + 1] = samples[std::min(m_left + 2 * pairs + 1, last)];
        }
        return parity == 0 ? line.even.data() : line.odd.data();
    }

    PictureView<const In> m_source;
    std::size_t m_left;
    std::size_t m_right;
    std::array<SplitLine, 3> m_lines; // as many as the values of one line come from
};

/// Calls function(tile, y) for all of the picture, on all threads.
template <class In, class Function>
void forEachLine(PictureView<const In> source, Function&& function) {
#pragma omp parallel for schedule(static)
    for (std::size_t top = 0; top < source.height; top += stripHeight) {
        const std::size_t bottom = std::min<std::size_t>(source.height, top + stripHeight);
        for (std::size_t left = 0; left < source.width; left += Tile<In>::maxWidth) {
            Tile<In> tile(source, left);
            for (std::size_t y = top; y < bottom; ++y)
                function(tile, y);
        }
    }
}

/// Calls function(span) for line y of a tile.
template <class In, class Function>
void forEachSpan(const Tile<In>& tile, std::size_t y, Function&& function) {
    for (std::size_t left = tile.left(); left < tile.right(); left += spanWidth)
        function(Span{y, left, std::min(tile.right(), left + spanWidth)});
}

/// Room for the values of a span and of one pixel at each of its ends.
template <class Out>
class SpanValues {
public:
    Out* data() { return m_values.data() + 1; }

private:
    std::array<Out, spanWidth + 2> m_values;
};

// ---- Pixels ----

using Bytes = std::uint8_t __attribute__((vector_size(16)));
using BytePairs = std::uint16_t __attribute__((vector_size(16)));

Bytes lowerInterleaved(Bytes a, Bytes b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
Bytes upperInterleaved(Bytes a, Bytes b) {
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}
BytePairs lowerInterleaved(BytePairs a, BytePairs b) {
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
BytePairs upperInterleaved(BytePairs a, BytePairs b) {
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

Bytes load(const std::uint8_t* from) {
    Bytes bytes;
    std::memcpy(&bytes, from, sizeof bytes);
    return bytes;
}
void store(std::uint8_t* to, BytePairs pairs) {
    std::memcpy(to, &pairs, sizeof pairs);
}

/// Makes pixels of blue, green, red and 255, and has the memory of the next ones fetched, as many as these.
void writePixels(std::uint8_t* __restrict out, const std::uint8_t* __restrict blue,
                 const std::uint8_t* __restrict green, const std::uint8_t* __restrict red, std::size_t count,
                 const std::uint8_t* next) {
    std::size_t x = 0;
    for (; x + sizeof(Bytes) <= count; x += sizeof(Bytes)) {
        __builtin_prefetch(next + 4 * x, 1);
        const Bytes b = load(blue + x);
        const Bytes g = load(green + x);
        const Bytes r = load(red + x);
        const Bytes a = ~Bytes{};
        const auto bg0 = reinterpret_cast<BytePairs>(lowerInterleaved(b, g));
        const auto bg1 = reinterpret_cast<BytePairs>(upperInterleaved(b, g));
        const auto ra0 = reinterpret_cast<BytePairs>(lowerInterleaved(r, a));
        const auto ra1 = reinterpret_cast<BytePairs>(upperInterleaved(r, a));
        store(out + 4 * x, lowerInterleaved(bg0, ra0));
        store(out + 4 * x + 16, upperInterleaved(bg0, ra0));
        store(out + 4 * x + 32, lowerInterleaved(bg1, ra1));
        store(out + 4 * x + 48, upperInterleaved(bg1, ra1));
    }
    for (; x < count; ++x) {
        out[4 * x] = blue[x];
        out[4 * x + 1] = green[x];
        out[4 * x + 2] = red[x];
        out[4 * x + 3] = 255;
    }
}

/// Whether both pictures have data and the same size, and lines of Out and In fit into their pitches.
template <class Out, class In>
bool fit(const SzPicBuf& output, const SzPicBuf& input) {
    return output.data && input.data && output.width == input.width && output.height == input.height &&
           output.linePitch >= packedLineBytes(output) && output.linePitch % sizeof(Out) == 0 &&
           input.linePitch >= std::uint64_t{input.width} * sizeof(In) && input.linePitch % sizeof(In) == 0;
}

/// By how many bits values of the input are deeper than those of the output.
std::uint32_t shiftBetween(const SzPicBufInfo& output, const SzPicBufInfo& input) {
    return input.bitDepth - std::min(input.bitDepth, output.bitDepth);
}

} // namespace

template <class Out, class In>
bool InterpolateCellChannel(SzPicBuf& output, std::uint32_t channel, const SzPicBuf& input,
                            std::uint32_t phase) {
    if (!fit<Out, In>(output, input))
        return false;
    const PictureView<const In> source = view<const In>(input);
    const std::size_t rowSamples = packedLineBytes(output) / sizeof(Out);
    if (channel >= rowSamples)
        return true; // behind every row, which also excludes rows without samples
    const std::size_t pixels = (rowSamples - channel - 1) / output.channels + 1;
    const std::size_t count = std::min<std::size_t>(source.width, pixels);
    const std::size_t channels = output.channels;
    const std::uint32_t shift = shiftBetween(output, input);
    forEachLine(source, [&](Tile<In>& tile, std::size_t y) {
        Out* const row = reinterpret_cast<Out*>(output.data + y * output.linePitch) + channel;
        if (channels == 1 && count == source.width)
            return tile.interpolate(row + tile.left(), {y, tile.left(), tile.right()}, phase, shift);
        SpanValues<Out> values;
        forEachSpan(tile, y, [&](const Span& span) {
            tile.interpolate(values.data(), span, phase, shift);
            for (std::size_t x = span.left; x < std::min(count, span.right); ++x)
                row[x * channels] = values.data()[x - span.left];
        });
    });
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
    if (!fit<std::uint8_t, In>(output, input))
        return false;
    const PictureView<const In> source = view<const In>(input);
    const PictureView<std::uint8_t> pixels = view<std::uint8_t>(output);
    const std::uint32_t shift = shiftBetween(output, input);
    const std::size_t bottom = source.height - 1;
    forEachLine(source, [&](Tile<In>& tile, std::size_t y) {
        const In* const toBeSplit = source.row(std::min(y + 2, bottom));
        std::uint8_t* const row = pixels.row(y);
        const std::uint8_t* const nextRow = pixels.row(std::min(y + 1, bottom));
        SpanValues<std::uint8_t> blue;
        SpanValues<std::uint8_t> green;
        SpanValues<std::uint8_t> red;
        forEachSpan(tile, y, [&](const Span& span) {
            const std::size_t width = span.right - span.left;
            prefetch(toBeSplit + span.left, width * sizeof(In));
            tile.interpolate(blue.data(), span, cell.blue, shift);
            tile.interpolate(green.data(), span, cell.green, shift);
            tile.interpolate(red.data(), span, cell.red, shift);
            forInstructionSet<&writePixels>(row + span.left * 4, blue.data(), green.data(), red.data(), width,
                                            nextRow + span.left * 4);
        });
    });
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
