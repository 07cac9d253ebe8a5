// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureLines.h"

#include "FFTImageData.h"
#include "PictureSampling.h"
#include "ZoneAxis.h"

#include <utility>

namespace {

using Zone = CzHsiCameraParams::CzFilterZone;

constexpr std::int64_t nowhere = -1;

/// Places of red, green and blue in the cell of an RGB-NIR sensor; empty for other sensors.
std::vector<int> colourBands(const CzImageData& picture) {
    const CzHsiCameraParams& sensor = picture.imageMetadata().hsiCameraParams;
    if (!hasZones(picture) || !sensor.isRgbNirCamera())
        return {};
    std::vector<int> places;
    const QVector<CzHsiCameraParams::CzBand>& bands = sensor.zones.first().bands;
    for (const auto* const name : {"R", "G", "B"}) {
        const auto found = std::find_if(bands.begin(), bands.end(), [name](const auto& band) {
            return band.name() == QLatin1String(name);
        });
        if (found == bands.end())
            return {};
        places.push_back(static_cast<int>(found - bands.begin()));
    }
    return places;
}

} // namespace

bool hasMosaicColours(const CzImageData& picture) {
    return isBayer(picture.picBuf()) || !colourBands(picture).empty();
}

CzPictureLines::CzPictureLines(const CzImageData& image, const SzDisplaySettings& settings,
                               std::vector<int> columns)
    : m_columns(std::move(columns)) {
    const SzPicBuf& picture = image.picBuf();
    if (!picture.data || picture.width == 0 || picture.height == 0 || picture.channels == 0)
        return;
    if (picture.dataType == EzImageDataType::SpectrumFloat32) {
        const auto* const spectrum = qobject_cast<const CzFFTImageData*>(&image);
        useSpectrum(picture, spectrum ? spectrum->picBufIm() : SzPicBuf());
        return;
    }
    const CzHsiCameraParams& sensor = image.imageMetadata().hsiCameraParams;
    CzHsiCameraParams::SzBandIdx band;
    const Zone* const zone =
        hasZones(image) ? sensor.filterZoneWithTotalBandIdx(settings.band, &band) : nullptr;
    const std::vector<int> colours = settings.demosaic ? colourBands(image) : std::vector<int>();
    const bool interpolates =
        settings.demosaic && isBayer(picture) && picture.width >= 2 && picture.height >= 2;
    const bool ofBands = zone || !colours.empty();
    m_mayBeNothing = ofBands || picture.dataType == EzImageDataType::Float32;
    withSampleType(picture.dataType, [&](auto sample) {
        using T = decltype(sample);
        if (zone)
            useBands<T>(picture, *zone, {band.bandIdx});
        else if (!colours.empty())
            useBands<T>(picture, sensor.zones.first(), colours);
        else if (interpolates)
            useBayer<T>(picture);
        else
            useChannels<T>(picture);
        return true;
    });
}

void CzPictureLines::setColours(int colours) {
    m_colours = colours;
    for (int i = 0; i < colours; ++i)
        m_samples[static_cast<std::size_t>(i)].assign(m_columns.size(), notANumber);
}

template <class T>
void CzPictureLines::useChannels(const SzPicBuf& picture) {
    // As every conversion to colours has it: where they are no colours, the last channel is red, the middle
    // one green, the first one blue.
    const std::uint32_t last = picture.channels - 1;
    const std::array<std::uint32_t, 3> shown =
        hasColourSamples(picture) ? std::array{2U, 1U, 0U} : std::array{last, last / 2, 0U};
    setColours(last == 0 ? 1 : 3);
    std::vector<CzChannelView<T>> channels;
    for (int i = 0; i < m_colours; ++i)
        channels.emplace_back(picture, shown[static_cast<std::size_t>(i)]);
    m_fill = [this, channels](int y) {
        for (std::size_t c = 0; c < channels.size(); ++c) {
            const T* const row = channels[c].row(y);
            const std::size_t step = channels[c].step();
            for (std::size_t i = 0; i < m_columns.size(); ++i)
                m_samples[c][i] = static_cast<double>(row[static_cast<std::size_t>(m_columns[i]) * step]);
        }
    };
}

/// Bilinear; beyond the borders the picture is mirrored at its outermost samples, which keeps the pattern.
template <class T>
void CzPictureLines::useBayer(const SzPicBuf& picture) {
    setColours(3);
    const CzChannelView<T> raw(picture, 0);
    const EzColorFilterArray pattern = picture.colorFilterArray;
    const auto mirrored = [](int at, int size) { return at < 0 ? 1 : at == size ? size - 2 : at; };
    const int height = shownPixels(picture.height);
    struct Place {
        std::size_t shown; ///< place in the line that is shown
        std::size_t left, here, right;
    };
    // Apart, as nobody can predict which comes next.
    std::vector<Place> redColumns;
    std::vector<Place> otherColumns;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const int x = m_columns[i];
        const int width = shownPixels(picture.width);
        (isRedColumn(pattern, x) ? redColumns : otherColumns)
            .push_back({i, static_cast<std::size_t>(mirrored(x - 1, width)), static_cast<std::size_t>(x),
                        static_cast<std::size_t>(mirrored(x + 1, width))});
    }
    m_fill = [=](int y) {
        const T* const here = raw.row(y);
        const T* const above = raw.row(mirrored(y - 1, height));
        const T* const below = raw.row(mirrored(y + 1, height));
        const bool redRow = isRedRow(pattern, y);
        // The colour of this row's samples that are not green, and the other one.
        double* const own = m_samples[redRow ? 0 : 2].data();
        double* const green = m_samples[1].data();
        double* const other = m_samples[redRow ? 2 : 0].data();
        const auto sum = [](T a, T b) { return static_cast<double>(a) + static_cast<double>(b); };
        for (const Place& at : redRow ? redColumns : otherColumns) {
            own[at.shown] = static_cast<double>(here[at.here]);
            green[at.shown] = (sum(here[at.left], here[at.right]) + sum(above[at.here], below[at.here])) / 4;
            other[at.shown] =
                (sum(above[at.left], above[at.right]) + sum(below[at.left], below[at.right])) / 4;
        }
        for (const Place& at : redRow ? otherColumns : redColumns) {
            own[at.shown] = sum(here[at.left], here[at.right]) / 2;
            green[at.shown] = static_cast<double>(here[at.here]);
            other[at.shown] = sum(above[at.here], below[at.here]) / 2;
        }
    };
}

/// Each pixel shows what the bands measured in its cell.
template <class T>
void CzPictureLines::useBands(const SzPicBuf& picture, const Zone& zone, const std::vector<int>& bands) {
    setColours(static_cast<int>(bands.size()));
    const CzChannelView<T> raw(picture, 0);
    const CzZoneAxis rows = CzZoneAxis::rows(zone);
    const auto cellWidth = static_cast<int>(zone.cellWidth);
    // Where the band's sample is for a pixel of the zone, in one direction.
    const auto placeOf = [](const CzZoneAxis& axis, int at, int patch, std::uint32_t size) {
        if (!axis.contains(at))
            return nowhere;
        const std::int64_t place = axis.patchBegin(at, patch);
        return axis.contains(place) && place >= 0 && place < size ? place : nowhere;
    };
    std::vector<std::vector<std::int64_t>> columns; // of each band's samples
    for (const int band : bands) {
        columns.emplace_back();
        for (const int x : m_columns)
            columns.back().push_back(placeOf(CzZoneAxis::columns(zone), x, band % cellWidth, picture.width));
    }
    m_fill = [=, height = picture.height](int y) {
        for (std::size_t c = 0; c < bands.size(); ++c) {
            const std::int64_t bandRow = placeOf(rows, y, bands[c] / cellWidth, height);
            if (bandRow == nowhere) {
                std::fill(m_samples[c].begin(), m_samples[c].end(), notANumber);
                continue;
            }
            const T* const row = raw.row(bandRow);
            for (std::size_t i = 0; i < m_columns.size(); ++i) {
                const std::int64_t x = columns[c][i];
                m_samples[c][i] = x == nowhere ? notANumber : static_cast<double>(row[x]);
            }
        }
    };
}

void CzPictureLines::useSpectrum(const SzPicBuf& real, const SzPicBuf& imaginary) {
    setColours(1);
    const CzChannelView<float> re(real, 0);
    const bool hasImaginary = imaginary.data != nullptr;
    const CzChannelView<float> im(hasImaginary ? imaginary : real, 0);
    m_fill = [=](int y) {
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            const double imaginaryPart = hasImaginary ? static_cast<double>(im.at(m_columns[i], y)) : 0.0;
            m_samples[0][i] =
                std::log1p(std::hypot(static_cast<double>(re.at(m_columns[i], y)), imaginaryPart));
        }
    };
}
