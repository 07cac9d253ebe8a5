// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureRenderer.h"

#include "FFTImageData.h"
#include "PictureView.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

namespace {

using Zone = CzHsiCameraParams::CzFilterZone;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// Samples that a range is measured from, at most.
constexpr int rangeGrid = 224; // in each direction
/// Of these so many are left out at either end.
constexpr double outliers = 0.001;

QString tr(const char* text) {
    return QCoreApplication::translate("PictureRenderer", text);
}

// ---- Samples ----

/// The parts of a spectrum are floats.
template <class Function>
bool withSamples(EzImageDataType dataType, Function&& function) {
    return dataType == EzImageDataType::SpectrumFloat32 ? function(float{})
                                                        : withSampleType(dataType, function);
}

bool isInside(const SzPicBuf& picture, int x, int y) {
    return picture.data && x >= 0 && y >= 0 && x < static_cast<int>(picture.width) &&
           y < static_cast<int>(picture.height);
}

/// One channel of a picture, interleaved or planar.
template <class T>
class Channel {
public:
    Channel(const SzPicBuf& picture, std::uint32_t channel) {
        const bool planar = picture.storageFormat == EzDataStorageFormat::Planar;
        m_lines = planar ? planeView<const T>(picture, channel) : view<const T>(picture);
        m_offset = planar ? 0 : channel;
    }

    const T* row(int y) const { return m_lines.row(static_cast<std::size_t>(y)) + m_offset; }
    std::size_t step() const { return m_lines.channels; }
    T at(int x, int y) const { return row(y)[static_cast<std::size_t>(x) * step()]; }

private:
    PictureView<const T> m_lines{};
    std::size_t m_offset = 0;
};

/// The largest sample of an integer picture; 0 for floats.
double largestSample(const SzPicBufInfo& format) {
    if (format.dataType == EzImageDataType::Float32 || format.dataType == EzImageDataType::SpectrumFloat32)
        return 0.0;
    const std::uint32_t bits = 8 * bytesPerSample(format.dataType);
    const std::uint32_t depth = format.bitDepth == 0 ? bits : std::min(format.bitDepth, bits);
    return std::ldexp(1.0, static_cast<int>(depth)) - 1.0;
}

// ---- Mosaics ----

bool isBayer(const SzPicBufInfo& format) {
    return isRaw(format) && format.colorFilterArray >= EzColorFilterArray::BayerRGGB &&
           format.colorFilterArray <= EzColorFilterArray::BayerBGGR;
}

/// Column (bit 0) and row (bit 1) of the red sample in the cell.
int redPlace(EzColorFilterArray colorFilterArray) {
    return static_cast<int>(colorFilterArray) - static_cast<int>(EzColorFilterArray::BayerRGGB);
}

bool hasMosaic(const CzImageData& picture) {
    const CzImageMetadata& metadata = picture.imageMetadata();
    return isRaw(picture.picBuf()) && metadata.hsiCameraParams.isValid();
}

bool contains(const Zone& zone, int x, int y) {
    return !zone.hasRegion() || (x >= zone.left && x <= zone.right && y >= zone.top && y <= zone.bottom);
}

/// A place in a zone's mosaic.
struct CellPlace {
    int cellX = 0; ///< first pixel of the cell
    int cellY = 0;
    int band = 0; ///< of the zone's, counted row by row in the cell
};

CellPlace placeIn(const Zone& zone, int x, int y) {
    const int left = zone.hasRegion() ? zone.left : 0;
    const int top = zone.hasRegion() ? zone.top : 0;
    const auto patchX = (x - left) / static_cast<int>(zone.blockWidth);
    const auto patchY = (y - top) / static_cast<int>(zone.blockHeight);
    const auto cellWidth = static_cast<int>(zone.cellWidth);
    const auto cellHeight = static_cast<int>(zone.cellHeight);
    return {left + patchX / cellWidth * cellWidth * static_cast<int>(zone.blockWidth),
            top + patchY / cellHeight * cellHeight * static_cast<int>(zone.blockHeight),
            patchY % cellHeight * cellWidth + patchX % cellWidth};
}

/// First pixel of a band's patch in a cell.
QPoint patchOf(const Zone& zone, const CellPlace& cell, int band) {
    const auto cellWidth = static_cast<int>(zone.cellWidth);
    return {cell.cellX + band % cellWidth * static_cast<int>(zone.blockWidth),
            cell.cellY + band / cellWidth * static_cast<int>(zone.blockHeight)};
}

const Zone* zoneAt(const CzHsiCameraParams& sensor, int x, int y) {
    const auto found = std::find_if(sensor.zones.begin(), sensor.zones.end(),
                                    [&](const Zone& zone) { return contains(zone, x, y); });
    return found == sensor.zones.end() ? nullptr : &*found;
}

/// Places of red, green and blue in the cell of an RGB-NIR sensor; empty for other sensors.
std::optional<std::array<int, 3>> colourBands(const CzImageData& picture) {
    const CzHsiCameraParams& sensor = picture.imageMetadata().hsiCameraParams;
    if (!hasMosaic(picture) || !sensor.isRgbNirCamera())
        return std::nullopt;
    std::array<int, 3> places{-1, -1, -1};
    const QVector<CzHsiCameraParams::CzBand>& bands = sensor.zones.first().bands;
    for (int i = 0; i < bands.size(); ++i)
        for (std::size_t colour = 0; colour < 3; ++colour)
            if (bands.at(i).name().compare(QLatin1String(std::array{"red", "green", "blue"}[colour]),
                                           Qt::CaseInsensitive) == 0)
                places[colour] = i;
    if (std::count(places.begin(), places.end(), -1) > 0)
        return std::nullopt;
    return places;
}

// ---- Lines of a picture as colours ----

/// The pixels of one screen line.
struct Line {
    explicit Line(std::size_t pixels) : red(pixels), green(pixels), blue(pixels) {}
    std::vector<float> red, green, blue; ///< not a number: nothing is there
};

/// Fills a line with the pixels at columns xs of picture row y; all are inside the picture.
using FillLine = std::function<void(int y, const std::vector<int>& xs, Line& line)>;

template <class T>
FillLine channelLines(const SzPicBuf& picture) {
    const std::uint32_t last = picture.channels - 1;
    const bool colour = picture.isColor && picture.channels >= 3;
    // As every conversion to colours has it: of other pictures the first channel is blue, the last red.
    const Channel<T> blue(picture, 0);
    const Channel<T> green(picture, colour ? 1 : last / 2);
    const Channel<T> red(picture, colour ? 2 : last);
    return [=](int y, const std::vector<int>& xs, Line& line) {
        const auto fill = [&](const Channel<T>& channel, std::vector<float>& values) {
            const T* const row = channel.row(y);
            for (std::size_t i = 0; i < xs.size(); ++i)
                values[i] = static_cast<float>(row[static_cast<std::size_t>(xs[i]) * channel.step()]);
        };
        fill(red, line.red);
        if (last == 0) {
            line.green = line.blue = line.red;
            return;
        }
        fill(green, line.green);
        fill(blue, line.blue);
    };
}

/// Bilinear, mirrored at the borders.
template <class T>
FillLine bayerLines(const SzPicBuf& picture) {
    const Channel<T> raw(picture, 0);
    const int redAt = redPlace(picture.colorFilterArray);
    const auto mirror = [](int at, std::uint32_t size) {
        const int last = static_cast<int>(size) - 1;
        return at < 0 ? std::min(1, last) : at > last ? std::max(last - 1, 0) : at;
    };
    const std::uint32_t width = picture.width;
    const std::uint32_t height = picture.height;
    return [=](int y, const std::vector<int>& xs, Line& line) {
        const T* const here = raw.row(y);
        const T* const above = raw.row(mirror(y - 1, height));
        const T* const below = raw.row(mirror(y + 1, height));
        const bool redRow = (y & 1) == redAt >> 1;
        for (std::size_t i = 0; i < xs.size(); ++i) {
            const int x = xs[i];
            const int left = mirror(x - 1, width);
            const int right = mirror(x + 1, width);
            const bool redColumn = (x & 1) == (redAt & 1);
            const auto f = [](T sample) { return static_cast<float>(sample); };
            const float own = f(here[x]);
            const float beside = (f(here[left]) + f(here[right])) / 2;
            const float across = (f(above[x]) + f(below[x])) / 2;
            if (redRow == redColumn) { // red or blue
                const float other = (f(above[left]) + f(above[right]) + f(below[left]) + f(below[right])) / 4;
                line.red[i] = redRow ? own : other;
                line.green[i] = (beside + across) / 2;
                line.blue[i] = redRow ? other : own;
            } else {
                line.red[i] = redRow ? beside : across;
                line.green[i] = own;
                line.blue[i] = redRow ? across : beside;
            }
        }
    };
}

/// Bands of the cell that a pixel lies in, as red, green and blue.
template <class T>
FillLine bandLines(const SzPicBuf& picture, const Zone& zone, std::array<int, 3> bands) {
    const Channel<T> raw(picture, 0);
    const auto at = [raw, width = static_cast<int>(picture.width),
                     height = static_cast<int>(picture.height)](QPoint place) {
        const bool inside = place.x() >= 0 && place.y() >= 0 && place.x() < width && place.y() < height;
        return inside ? static_cast<float>(raw.at(place.x(), place.y())) : static_cast<float>(notANumber);
    };
    return [=](int y, const std::vector<int>& xs, Line& line) {
        for (std::size_t i = 0; i < xs.size(); ++i) {
            if (!contains(zone, xs[i], y)) {
                line.red[i] = line.green[i] = line.blue[i] = static_cast<float>(notANumber);
                continue;
            }
            const CellPlace cell = placeIn(zone, xs[i], y);
            line.red[i] = at(patchOf(zone, cell, bands[0]));
            line.green[i] = at(patchOf(zone, cell, bands[1]));
            line.blue[i] = at(patchOf(zone, cell, bands[2]));
        }
    };
}

FillLine spectrumLines(const SzPicBuf& real, const SzPicBuf& imaginary) {
    const Channel<float> re(real, 0);
    const std::optional<Channel<float>> im =
        imaginary.data ? std::optional<Channel<float>>(Channel<float>(imaginary, 0)) : std::nullopt;
    return [=](int y, const std::vector<int>& xs, Line& line) {
        for (std::size_t i = 0; i < xs.size(); ++i)
            line.red[i] = std::log1p(std::hypot(re.at(xs[i], y), im ? im->at(xs[i], y) : 0.0F));
        line.green = line.blue = line.red;
    };
}

/// Empty when the picture cannot be shown.
FillLine linesOf(const CzImageData& image, const SzDisplaySettings& settings) {
    const SzPicBuf& picture = image.picBuf();
    FillLine lines;
    if (!picture.data || picture.width == 0 || picture.height == 0 || picture.channels == 0)
        return lines;
    if (picture.dataType == EzImageDataType::SpectrumFloat32) {
        const auto* const spectrum = qobject_cast<const CzFFTImageData*>(&image);
        return spectrumLines(picture, spectrum ? spectrum->picBufIm() : SzPicBuf());
    }
    const CzHsiCameraParams& sensor = image.imageMetadata().hsiCameraParams;
    CzHsiCameraParams::SzBandIdx band;
    const Zone* const bandZone =
        hasMosaic(image) ? sensor.filterZoneWithTotalBandIdx(settings.band, &band) : nullptr;
    const auto colours = settings.demosaic ? colourBands(image) : std::nullopt;
    withSampleType(picture.dataType, [&](auto sample) {
        using T = decltype(sample);
        if (bandZone)
            lines = bandLines<T>(picture, *bandZone, {band.bandIdx, band.bandIdx, band.bandIdx});
        else if (colours)
            lines = bandLines<T>(picture, sensor.zones.first(), *colours);
        else if (settings.demosaic && isBayer(picture))
            lines = bayerLines<T>(picture);
        else
            lines = channelLines<T>(picture);
        return true;
    });
    return lines;
}

// ---- Text ----

QString number(double value) {
    return QLocale::c().toString(value, 'g', std::floor(value) == value && std::abs(value) < 1e10 ? 10 : 6);
}

QString colourAt(EzColorFilterArray colorFilterArray, int x, int y) {
    const int red = redPlace(colorFilterArray);
    const bool redColumn = (x & 1) == (red & 1);
    const bool redRow = (y & 1) == red >> 1;
    return redColumn != redRow ? tr("green") : redRow ? tr("red") : tr("blue");
}

} // namespace

SzDisplayRange displayRange(const CzImageData& picture, const SzDisplaySettings& settings) {
    const SzPicBuf& buffer = picture.picBuf();
    const double largest = largestSample(buffer);
    if (settings.range == SzDisplaySettings::EzRange::Manual)
        return settings.manual;
    if (settings.range == SzDisplaySettings::EzRange::Full && largest > 0.0)
        return {0.0, largest};

    const FillLine fill = linesOf(picture, settings);
    if (!fill)
        return {0.0, 1.0};
    const auto places = [](std::uint32_t size) {
        const int count = std::min(static_cast<int>(size), rangeGrid);
        std::vector<int> at(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i)
            at[static_cast<std::size_t>(i)] = static_cast<int>((2 * static_cast<std::uint64_t>(i) + 1) *
                                                               size / (2U * static_cast<unsigned>(count)));
        return at;
    };
    const std::vector<int> xs = places(buffer.width);
    Line line(xs.size());
    std::vector<float> values;
    for (const int y : places(buffer.height)) {
        fill(y, xs, line);
        for (const auto* const colour : {&line.red, &line.green, &line.blue})
            std::copy_if(colour->begin(), colour->end(), std::back_inserter(values),
                         [](float value) { return std::isfinite(value); });
    }
    if (values.empty())
        return {0.0, 1.0};
    const auto leftOut = static_cast<std::ptrdiff_t>(outliers * static_cast<double>(values.size()));
    std::nth_element(values.begin(), values.begin() + leftOut, values.end());
    const double black = values[static_cast<std::size_t>(leftOut)];
    std::nth_element(values.begin(), values.end() - 1 - leftOut, values.end());
    const double white = *(values.end() - 1 - leftOut);
    return {black, white};
}

QImage renderPicture(const CzImageData& image, const SzDisplaySettings& settings, const SzDisplayRange& range,
                     const SzViewport& viewport) {
    QImage screen(viewport.size, QImage::Format_ARGB32_Premultiplied);
    screen.fill(Qt::transparent);
    const SzPicBuf& picture = image.picBuf();
    const FillLine fill = linesOf(image, settings);
    if (!fill || screen.isNull() || !(viewport.scale > 0.0))
        return screen;

    // Which pixel of the picture each screen pixel shows: the one under its middle.
    const auto placesOf = [&](int count, double begin, std::uint32_t size, int& first) {
        std::vector<int> places;
        first = count;
        for (int i = 0; i < count; ++i) {
            const double at = std::floor(begin + (i + 0.5) / viewport.scale);
            if (at < 0.0 || at >= size)
                continue;
            first = std::min(first, i);
            places.push_back(static_cast<int>(at));
        }
        return places;
    };
    int firstX = 0;
    int firstY = 0;
    const std::vector<int> xs = placesOf(screen.width(), viewport.topLeft.x(), picture.width, firstX);
    const std::vector<int> ys = placesOf(screen.height(), viewport.topLeft.y(), picture.height, firstY);

    const auto black = static_cast<float>(range.black);
    const bool hasRange = range.white > range.black;
    const auto scale = static_cast<float>(hasRange ? 255.0 / (range.white - range.black) : 0.0);
    const auto brightness = [=](float value) {
        if (!hasRange)
            return value > black ? 255U : 0U;
        const float stretched = (value - black) * scale;
        return static_cast<unsigned>(stretched > 0.0F ? std::min(stretched, 255.0F) + 0.5F : 0.0F);
    };

    const double largest = largestSample(picture);
    const bool marks = settings.markSaturated && largest > 0.0;
    Line line(xs.size());
    int lastY = -1;
    for (std::size_t i = 0; i < ys.size(); ++i) {
        auto* const pixels = reinterpret_cast<QRgb*>(screen.scanLine(firstY + static_cast<int>(i))) + firstX;
        if (ys[i] == lastY) { // magnified
            const auto* const before =
                reinterpret_cast<const QRgb*>(screen.constScanLine(firstY + static_cast<int>(i) - 1)) +
                firstX;
            std::copy_n(before, xs.size(), pixels);
            continue;
        }
        lastY = ys[i];
        fill(ys[i], xs, line);
        for (std::size_t x = 0; x < xs.size(); ++x) {
            if (std::isnan(line.red[x]))
                continue; // no zone of the mosaic, or not a number
            pixels[x] = 0xFF000000U | brightness(line.red[x]) << 16 | brightness(line.green[x]) << 8 |
                        brightness(line.blue[x]);
        }
        if (!marks)
            continue;
        withSampleType(picture.dataType, [&](auto sample) {
            using T = decltype(sample);
            for (std::uint32_t c = 0; c < picture.channels; ++c) {
                if (picture.isColor && c == 3)
                    break; // padding
                const Channel<T> channel(picture, c);
                for (std::size_t x = 0; x < xs.size(); ++x)
                    if (static_cast<double>(channel.at(xs[x], ys[i])) >= largest)
                        pixels[x] = 0xFFFF0000U;
            }
            return true;
        });
    }
    return screen;
}

double sampleAt(const CzImageData& image, int x, int y, int channel) {
    const SzPicBuf& picture = image.picBuf();
    double value = notANumber;
    if (isInside(picture, x, y) && channel >= 0 && channel < static_cast<int>(picture.channels))
        withSamples(picture.dataType, [&](auto sample) {
            using T = decltype(sample);
            value = static_cast<double>(Channel<T>(picture, static_cast<std::uint32_t>(channel)).at(x, y));
            return true;
        });
    return value;
}

QString describePixel(const CzImageData& image, int x, int y) {
    const SzPicBuf& picture = image.picBuf();
    if (!isInside(picture, x, y))
        return QString();

    QString text = tr("x %1, y %2").arg(x).arg(y);
    const auto* const spectrum = qobject_cast<const CzFFTImageData*>(&image);
    if (spectrum && spectrum->picBufIm().data) {
        const double re = sampleAt(image, x, y, 0);
        const double im = static_cast<double>(Channel<float>(spectrum->picBufIm(), 0).at(x, y));
        return text + tr(": magnitude %1, phase %2°")
                          .arg(number(std::hypot(re, im)), number(std::atan2(im, re) * 180.0 / M_PI));
    }
    QStringList values;
    const bool colour = picture.isColor && picture.channels >= 3;
    const int channels = colour ? 3 : static_cast<int>(picture.channels);
    for (int c = 0; c < channels; ++c)
        values.append(number(sampleAt(image, x, y, colour ? 2 - c : c)));
    text += QStringLiteral(": ") + values.join(QStringLiteral(", "));

    if (isBayer(picture))
        return text + QStringLiteral(" (%1)").arg(colourAt(picture.colorFilterArray, x, y));
    if (const Zone* const zone =
            hasMosaic(image) ? zoneAt(image.imageMetadata().hsiCameraParams, x, y) : nullptr) {
        const int band = placeIn(*zone, x, y).band;
        const auto cellWidth = static_cast<int>(zone->cellWidth);
        text += tr(" (column %1, row %2 of the cell: %3)")
                    .arg(band % cellWidth)
                    .arg(band / cellWidth)
                    .arg(zone->bands.value(band).name());
    }
    return text;
}

QVector<SzSpectrumPoint> spectrumAt(const CzImageData& image, int x, int y) {
    QVector<SzSpectrumPoint> points;
    const Zone* const zone = hasMosaic(image) && isInside(image.picBuf(), x, y)
                                 ? zoneAt(image.imageMetadata().hsiCameraParams, x, y)
                                 : nullptr;
    if (!zone)
        return points;
    const CellPlace cell = placeIn(*zone, x, y);
    for (const int band : zone->sortedBandIdxs(false)) {
        const QPoint patch = patchOf(*zone, cell, band);
        const double value = sampleAt(image, patch.x(), patch.y(), 0);
        if (!std::isnan(value)) // of cells that the picture cuts
            points.append({zone->bands.at(band).name(), zone->bands.at(band).wavelength(), value});
    }
    return points;
}
