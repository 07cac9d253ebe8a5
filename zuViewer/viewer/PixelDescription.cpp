// SPDX-License-Identifier: GPL-3.0-or-later
#include "PixelDescription.h"

#include "FFTImageData.h"
#include "PictureSampling.h"
#include "ZoneAxis.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace {

using Zone = CzHsiCameraParams::CzFilterZone;

struct Text {
    Q_DECLARE_TR_FUNCTIONS(PixelDescription)
};

QString number(double value) {
    const bool isWhole = std::floor(value) == value && std::abs(value) < 1e10;
    return QLocale::c().toString(value, 'g', isWhole ? 10 : 6);
}

QString bayerColour(EzColorFilterArray colorFilterArray, int x, int y) {
    const bool redRow = isRedRow(colorFilterArray, y);
    if (redRow != isRedColumn(colorFilterArray, x))
        return Text::tr("green");
    return redRow ? Text::tr("red") : Text::tr("blue");
}

/// The zone that a pixel lies in; null when there is none.
const Zone* zoneAt(const CzImageData& picture, int x, int y) {
    if (!hasZones(picture))
        return nullptr;
    const QVector<Zone>& zones = picture.imageMetadata().hsiCameraParams.zones;
    const auto found = std::find_if(zones.begin(), zones.end(), [&](const Zone& zone) {
        return CzZoneAxis::columns(zone).contains(x) && CzZoneAxis::rows(zone).contains(y);
    });
    return found == zones.end() ? nullptr : &*found;
}

} // namespace

double sampleAt(const CzImageData& image, int x, int y, int channel) {
    const SzPicBuf& picture = image.picBuf();
    double value = notANumber;
    if (isInside(picture, x, y) && channel >= 0 && channel < shownPixels(picture.channels))
        withShownSampleType(picture.dataType, [&](auto sample) {
            using T = decltype(sample);
            const CzChannelView<T> samples(picture, static_cast<std::uint32_t>(channel));
            value = static_cast<double>(samples.at(x, y));
            return true;
        });
    return value;
}

QString describePixel(const CzImageData& image, int x, int y) {
    const SzPicBuf& picture = image.picBuf();
    if (!isInside(picture, x, y))
        return QString();

    const QString place = Text::tr("x %1, y %2").arg(x).arg(y);
    const auto* const spectrum = qobject_cast<const CzFFTImageData*>(&image);
    if (spectrum && spectrum->picBufIm().data) {
        const double re = sampleAt(image, x, y, 0);
        const double im = static_cast<double>(CzChannelView<float>(spectrum->picBufIm(), 0).at(x, y));
        return Text::tr("%1: magnitude %2, phase %3°")
            .arg(place, number(std::hypot(re, im)), number(std::atan2(im, re) * 180.0 / M_PI));
    }
    if (!withShownSampleType(picture.dataType, [](auto) { return true; }))
        return Text::tr("%1: samples of a type that cannot be shown").arg(place);

    QStringList values;
    const bool colour = hasColourSamples(picture);
    for (int c = 0; c < shownPixels(picture.channels); ++c)
        values.append(number(sampleAt(image, x, y, colour && c < 3 ? 2 - c : c)));
    const QString text = Text::tr("%1: %2").arg(place, values.join(QStringLiteral(", ")));

    if (isBayer(picture))
        return Text::tr("%1 (%2)").arg(text, bayerColour(picture.colorFilterArray, x, y));
    if (const Zone* const zone = zoneAt(image, x, y)) {
        const auto column = static_cast<int>(CzZoneAxis::columns(*zone).patch(x));
        const auto row = static_cast<int>(CzZoneAxis::rows(*zone).patch(y));
        return Text::tr("%1 (column %2, row %3 of the cell: %4)")
            .arg(text)
            .arg(column)
            .arg(row)
            .arg(zone->bands.value(row * static_cast<int>(zone->cellWidth) + column).name());
    }
    return text;
}

QVector<SzSpectrumPoint> spectrumAt(const CzImageData& image, int x, int y) {
    QVector<SzSpectrumPoint> points;
    const SzPicBuf& picture = image.picBuf();
    const Zone* const zone = isInside(picture, x, y) ? zoneAt(image, x, y) : nullptr;
    if (!zone)
        return points;
    const CzZoneAxis columns = CzZoneAxis::columns(*zone);
    const CzZoneAxis rows = CzZoneAxis::rows(*zone);
    const auto cellWidth = static_cast<int>(zone->cellWidth);
    for (const int band : zone->sortedBandIdxs(false)) {
        const std::int64_t bandX = columns.patchBegin(x, band % cellWidth);
        const std::int64_t bandY = rows.patchBegin(y, band / cellWidth);
        if (!columns.contains(bandX) || !rows.contains(bandY) || bandX < 0 || bandY < 0 ||
            bandX >= picture.width || bandY >= picture.height)
            continue;
        points.append({zone->bands.at(band).name(), zone->bands.at(band).wavelength(),
                       sampleAt(image, static_cast<int>(bandX), static_cast<int>(bandY), 0)});
    }
    return points;
}
