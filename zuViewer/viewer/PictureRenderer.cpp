// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureRenderer.h"

#include "InstructionSet.h"
#include "PictureLines.h"
#include "PictureSampling.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

/// Columns, and rows, that a range is measured from at most.
constexpr int rangeGrid = 224;
/// The part of all samples that is left out at either end.
constexpr double outliers = 0.001;

/// A little more, or rounding could leave out the screen pixels at both edges of what is as thick as one.
constexpr double oneScreenPixel = 1.0 + 1e-9;

constexpr QRgb saturatedColour = 0xFFFF0000U;

/// Places spread over a line of so many pixels. They walk through the cells of any mosaic.
std::vector<int> spreadPlaces(std::uint32_t pixels) {
    const std::int64_t size = shownPixels(pixels);
    const std::int64_t count = std::min<std::int64_t>(size, rangeGrid);
    std::vector<int> places;
    for (std::int64_t i = 0; i < count; ++i)
        places.push_back(static_cast<int>(i * size / count + i % (size / count)));
    return places;
}

/// shownPixel() for one axis: which of so many pixels is shown by screen pixel i; -1: none.
int shownPlace(int i, double begin, double scale, std::uint32_t size) {
    const int pixels = shownPixels(size);
    if (pixels * scale < oneScreenPixel)
        return std::floor((pixels / 2.0 - begin) * scale) == i ? pixels / 2 : -1;
    const double at = std::floor(begin + (i + 0.5) / scale);
    return at >= 0.0 && at < pixels ? static_cast<int>(at) : -1;
}

/// Which pixels of the picture a line of the view shows.
struct Places {
    /// count: screen pixels; begin: what is at the first one's edge, in pixels of the picture.
    Places(int count, double begin, double scale, std::uint32_t pixels) : first(count) {
        for (int i = 0; i < count; ++i) {
            const int place = shownPlace(i, begin, scale, pixels);
            if (place < 0)
                continue;
            first = std::min(first, i);
            shown.push_back(place);
        }
    }

    int first; ///< screen pixel that shows the first of them
    std::vector<int> shown;
};

/// Adds one byte to each pixel: where the sample lies between black and what is 255 / scale above it.
void addBrightness(const double* __restrict samples, std::size_t count, double black, double scale,
                   unsigned shift, QRgb* __restrict pixels) {
    for (std::size_t i = 0; i < count; ++i) {
        const double stretched = (samples[i] - black) * scale;
        const double atLeast0 = stretched > 0.0 ? stretched : 0.0; // also when it is not a number
        const double byte = atLeast0 < 255.0 ? atLeast0 : 255.0;
        pixels[i] |= static_cast<QRgb>(static_cast<int>(byte + 0.5)) << shift;
    }
}

/// The same for a range without extent.
void addStep(const double* __restrict samples, std::size_t count, double black, unsigned shift,
             QRgb* __restrict pixels) {
    for (std::size_t i = 0; i < count; ++i)
        pixels[i] |= (samples[i] > black ? 255U : 0U) << shift;
}

void add(const std::vector<double>& samples, const SzDisplayRange& range, unsigned shift, QRgb* pixels) {
    if (range.white > range.black)
        forInstructionSet<&addBrightness>(samples.data(), samples.size(), range.black,
                                          255.0 / (range.white - range.black), shift, pixels);
    else
        forInstructionSet<&addStep>(samples.data(), samples.size(), range.black, shift, pixels);
}

/// The present row as pixels of the screen.
void paint(const CzPictureLines& lines, const SzDisplayRange& range, QRgb* pixels) {
    const std::size_t count = lines.samples(0).size();
    std::fill_n(pixels, count, 0xFF000000U);
    if (lines.colours() == 1) {
        add(lines.samples(0), range, 0, pixels);
        for (std::size_t i = 0; i < count; ++i)
            pixels[i] |= (pixels[i] & 0xFFU) * 0x010100U;
    } else {
        for (int colour = 0; colour < 3; ++colour) // red first
            add(lines.samples(colour), range, 16U - 8U * static_cast<unsigned>(colour), pixels);
    }
}

/// Gives a colour to the pixels of whose samples any is of a kind.
template <class IsOfKind>
void mark(const CzPictureLines& lines, QRgb colour, QRgb* pixels, IsOfKind&& isOfKind) {
    for (int c = 0; c < lines.colours(); ++c) {
        const std::vector<double>& samples = lines.samples(c);
        for (std::size_t i = 0; i < samples.size(); ++i)
            pixels[i] = isOfKind(samples[i]) ? colour : pixels[i];
    }
}

/// Makes the pixels transparent that have no sample which is a number.
void clearNothing(const CzPictureLines& lines, QRgb* pixels) {
    for (std::size_t i = 0; i < lines.samples(0).size(); ++i) {
        bool isNothing = true;
        for (int c = 0; c < lines.colours(); ++c)
            isNothing = isNothing && std::isnan(lines.samples(c)[i]);
        pixels[i] = isNothing ? 0U : pixels[i];
    }
}

} // namespace

SzDisplayRange displayRange(const CzImageData& image, const SzDisplaySettings& settings) {
    const SzPicBuf& picture = image.picBuf();
    const double largest = largestSample(picture);
    if (settings.range == SzDisplaySettings::EzRange::Manual)
        return settings.manual;
    if (settings.range == SzDisplaySettings::EzRange::Full && largest > 0.0)
        return {0.0, largest};

    std::vector<double> values;
    CzPictureLines lines(image, settings, spreadPlaces(picture.width));
    for (const int y : lines.colours() > 0 ? spreadPlaces(picture.height) : std::vector<int>()) {
        lines.goTo(y);
        for (int colour = 0; colour < lines.colours(); ++colour)
            std::copy_if(lines.samples(colour).begin(), lines.samples(colour).end(),
                         std::back_inserter(values), [](double value) { return std::isfinite(value); });
    }
    if (values.empty())
        return {0.0, 1.0};
    const auto leftOut = static_cast<std::ptrdiff_t>(outliers * static_cast<double>(values.size()));
    const auto sampleAtRank = [&values](std::ptrdiff_t rank) {
        std::nth_element(values.begin(), values.begin() + rank, values.end());
        return values[static_cast<std::size_t>(rank)];
    };
    const auto last = static_cast<std::ptrdiff_t>(values.size()) - 1;
    return {sampleAtRank(leftOut), sampleAtRank(last - leftOut)};
}

QPoint shownPixel(const SzPicBufInfo& picture, const SzViewport& viewport, const QPoint& screenPixel) {
    const int x = shownPlace(screenPixel.x(), viewport.topLeft.x(), viewport.scale, picture.width);
    const int y = shownPlace(screenPixel.y(), viewport.topLeft.y(), viewport.scale, picture.height);
    return x < 0 || y < 0 ? QPoint(-1, -1) : QPoint(x, y);
}

QImage renderPicture(const CzImageData& image, const SzDisplaySettings& settings, const SzDisplayRange& range,
                     const SzViewport& viewport) {
    QImage screen(viewport.size, QImage::Format_ARGB32_Premultiplied);
    screen.fill(Qt::transparent);
    const SzPicBuf& picture = image.picBuf();
    const Places columns(screen.width(), viewport.topLeft.x(), viewport.scale, picture.width);
    const Places rows(screen.height(), viewport.topLeft.y(), viewport.scale, picture.height);
    CzPictureLines lines(image, settings, columns.shown);
    if (lines.colours() == 0)
        return screen;

    const double largest = largestSample(picture);
    const bool marks = settings.markSaturated && largest > 0.0;
    const QRgb* before = nullptr;
    int rowBefore = -1;
    for (std::size_t i = 0; i < rows.shown.size(); ++i) {
        QRgb* const pixels =
            reinterpret_cast<QRgb*>(screen.scanLine(rows.first + static_cast<int>(i))) + columns.first;
        if (rows.shown[i] == rowBefore) { // magnified
            std::copy_n(before, columns.shown.size(), pixels);
        } else {
            lines.goTo(rows.shown[i]);
            paint(lines, range, pixels);
            if (marks)
                mark(lines, saturatedColour, pixels, [=](double sample) { return sample >= largest; });
            if (lines.mayBeNothing())
                clearNothing(lines, pixels);
        }
        before = pixels;
        rowBefore = rows.shown[i];
    }
    return screen;
}
