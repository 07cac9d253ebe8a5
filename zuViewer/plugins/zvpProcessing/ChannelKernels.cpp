// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChannelKernels.h"

#include "Prefetch.h"

#include <algorithm>

namespace {

/// Picture sizes are 32 bits wide, products of two of them 64: nothing overflows below.
using Coordinate = std::int64_t;

/// Steps larger than any picture are all the same, and sums with them stay far from overflow.
constexpr Coordinate beyondAnyPicture = Coordinate{1} << 40;

Coordinate stepOf(std::uint32_t a, Coordinate b) {
    return b > beyondAnyPicture / a ? beyondAnyPicture : a * b;
}

/// Which of the samples at origin, origin + step, origin + 2 · step ... lie inside 0 ... size − 1: numbers
/// first ... end − 1.
struct SzSampleRange {
    Coordinate first;
    Coordinate end;

    bool isEmpty() const { return first >= end; }
    Coordinate nearest(Coordinate number) const { return std::clamp(number, first, end - 1); }
};

SzSampleRange samplesInside(Coordinate origin, Coordinate step, Coordinate size) {
    return {origin < 0 ? (step - 1 - origin) / step : 0, origin < size ? (size - 1 - origin) / step + 1 : 0};
}

template <int step, class T>
void copyEvery(T* out, const T* in, Coordinate count) {
    for (Coordinate x = 0; x < count; ++x)
        out[x] = in[x * step];
}

/// Steps known to the compiler become vector shuffles: those of Bayer and of the common mosaics are.
template <class T>
void copyEvery(Coordinate step, T* out, const T* in, Coordinate count) {
    switch (step) {
    case 2:
        return copyEvery<2>(out, in, count);
    case 4:
        return copyEvery<4>(out, in, count);
    default:
        for (Coordinate x = 0; x < count; ++x)
            out[x] = in[x * step];
    }
}

/// Asks for a line before its turn: over the lines between, the processor does not see it coming.
template <class T>
void prefetchLine(PictureView<const T> source, Coordinate y) {
    if (y < source.height)
        prefetch(source.row(static_cast<std::size_t>(y)), source.width * sizeof(T));
}

template <class T>
bool extractOrdinaryBand(PictureView<T> destination, PictureView<const T> source, Coordinate firstColumn,
                         Coordinate firstRow, const SzBandLayout& layout) {
    const Coordinate stepX = layout.cellWidth;
    const Coordinate stepY = layout.cellHeight;
    const SzSampleRange columns = samplesInside(firstColumn, stepX, source.width);
    const SzSampleRange rows = samplesInside(firstRow, stepY, source.height);
    if (columns.isEmpty() || rows.isEmpty())
        return false;

    const Coordinate width = destination.width;
    const Coordinate begin = std::min(columns.first, width);
    const Coordinate end = std::clamp(columns.end, begin, width);
    for (Coordinate y = 0; y < destination.height; ++y) {
        const Coordinate row = firstRow + rows.nearest(y) * stepY;
        prefetchLine(source, row + stepY);
        const T* in = source.row(static_cast<std::size_t>(row));
        T* out = destination.row(static_cast<std::size_t>(y));
        const T* const firstInside = in + (firstColumn + columns.first * stepX);
        const T* const lastInside = in + (firstColumn + (columns.end - 1) * stepX);
        std::fill(out, out + begin, *firstInside);
        copyEvery(stepX, out + begin, firstInside, end - begin);
        std::fill(out + end, out + width, *lastInside);
    }
    return true;
}

template <class T>
bool extractBlockBand(PictureView<T> destination, PictureView<const T> source, Coordinate firstColumn,
                      Coordinate firstRow, const SzBandLayout& layout) {
    const Coordinate blockWidth = layout.blockWidth;
    const Coordinate blockHeight = layout.blockHeight;
    const Coordinate stepX = stepOf(layout.cellWidth, blockWidth);
    // The block height enters the row advance twice: the patches of every blockHeight-th cell follow one
    // another.
    const Coordinate stepY = stepOf(layout.blockHeight, stepOf(layout.cellHeight, blockHeight));

    std::uint64_t written = 0;
    Coordinate patchRow = firstRow;
    for (Coordinate top = 0; top < destination.height && patchRow < source.height;
         top += blockHeight, patchRow += stepY) {
        // Rows and columns of the patch that lie in both pictures.
        const Coordinate rowBegin = std::max<Coordinate>(0, -patchRow);
        const Coordinate rowEnd = std::min({blockHeight, destination.height - top, source.height - patchRow});
        for (Coordinate r = rowBegin; r < rowEnd; ++r) {
            const T* in = source.row(static_cast<std::size_t>(patchRow + r));
            T* out = destination.row(static_cast<std::size_t>(top + r));
            Coordinate patchColumn = firstColumn;
            for (Coordinate left = 0; left < destination.width && patchColumn < source.width;
                 left += blockWidth, patchColumn += stepX) {
                const Coordinate begin = std::max<Coordinate>(0, -patchColumn);
                const Coordinate end =
                    std::min({blockWidth, destination.width - left, source.width - patchColumn});
                if (begin < end) {
                    std::copy(in + (patchColumn + begin), in + (patchColumn + end), out + (left + begin));
                    written += static_cast<std::uint64_t>(end - begin);
                }
            }
        }
    }
    return written == std::uint64_t{destination.width} * destination.height;
}

/// Calls kernel with the typed views of two pictures that hold the same kind of samples.
template <class Kernel>
bool withViews(SzPicBuf& destination, const SzPicBuf& source, Kernel&& kernel) {
    if (!destination.data || !source.data || destination.dataType != source.dataType)
        return false;
    return withSampleType(source.dataType, [&](auto sample) {
        using T = decltype(sample);
        return kernel(view<T>(destination), view<const T>(source));
    });
}

} // namespace

template <class T>
bool extractBayerPlane(PictureView<T> destination, PictureView<const T> source, std::uint32_t subPlane) {
    const Coordinate firstColumn = subPlane % 2;
    const Coordinate firstRow = subPlane / 2;
    const Coordinate count = std::min<Coordinate>((Coordinate{source.width} + 1) / 2, destination.width);
    const bool endsBehindLine = count > 0 && firstColumn + 2 * (count - 1) >= source.width;
    const bool hasPadding = (std::size_t{source.width} + 1) * sizeof(T) <= source.pitch;

    std::uint64_t written = 0;
    for (Coordinate y = firstRow; y < source.height && y / 2 < destination.height; y += 2) {
        prefetchLine(source, y + 2);
        const bool lastIsMissing = endsBehindLine && !hasPadding && y + 1 == source.height;
        const Coordinate samples = lastIsMissing ? count - 1 : count;
        copyEvery<2>(destination.row(static_cast<std::size_t>(y / 2)),
                     source.row(static_cast<std::size_t>(y)) + firstColumn, samples);
        written += static_cast<std::uint64_t>(samples);
    }
    return written == std::uint64_t{destination.width} * destination.height;
}

template <class T>
bool extractBand(PictureView<T> destination, PictureView<const T> source, const SzBandLayout& layout) {
    if (layout.cellWidth == 0 || layout.cellHeight == 0 || layout.blockWidth == 0 || layout.blockHeight == 0)
        return false;
    const Coordinate firstColumn = stepOf(layout.blockWidth, layout.band % layout.cellWidth) + layout.left;
    const Coordinate firstRow = stepOf(layout.blockHeight, layout.band / layout.cellWidth) + layout.top;
    const bool ordinary = layout.blockWidth == 1 && layout.blockHeight == 1;
    return ordinary ? extractOrdinaryBand(destination, source, firstColumn, firstRow, layout)
                    : extractBlockBand(destination, source, firstColumn, firstRow, layout);
}

template bool extractBayerPlane(PictureView<std::uint8_t>, PictureView<const std::uint8_t>, std::uint32_t);
template bool extractBayerPlane(PictureView<std::uint16_t>, PictureView<const std::uint16_t>, std::uint32_t);
template bool extractBayerPlane(PictureView<std::uint32_t>, PictureView<const std::uint32_t>, std::uint32_t);
template bool extractBayerPlane(PictureView<float>, PictureView<const float>, std::uint32_t);
template bool extractBand(PictureView<std::uint8_t>, PictureView<const std::uint8_t>, const SzBandLayout&);
template bool extractBand(PictureView<std::uint16_t>, PictureView<const std::uint16_t>, const SzBandLayout&);
template bool extractBand(PictureView<std::uint32_t>, PictureView<const std::uint32_t>, const SzBandLayout&);
template bool extractBand(PictureView<float>, PictureView<const float>, const SzBandLayout&);

bool extractBayerPlane(SzPicBuf& destination, const SzPicBuf& source, std::uint32_t subPlane) {
    return withViews(destination, source,
                     [&](auto out, auto in) { return extractBayerPlane(out, in, subPlane); });
}

bool extractBand(SzPicBuf& destination, const SzPicBuf& source, const SzBandLayout& layout) {
    return withViews(destination, source, [&](auto out, auto in) { return extractBand(out, in, layout); });
}
