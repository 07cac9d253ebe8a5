// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChannelCatalogue.h"

#include "ChannelKernels.h"
#include "ImageMetadata.h"

#include <algorithm>
#include <limits>

namespace {

QString numbered(const QString& word, std::uint32_t number) {
    return QStringLiteral("%1 %2").arg(word, QString::number(number));
}

SzChannelCatalogue samples(const SzPicBufInfo& format, const SzChannelWords& words) {
    if (format.isColor && (format.channels == 3 || format.channels == 4))
        return {{words.red, words.green, words.blue}, {2, 1, 0}};
    SzChannelCatalogue catalogue;
    for (std::uint32_t channel = 0; channel < format.channels; ++channel)
        catalogue.append(numbered(words.channel, channel), static_cast<int>(channel));
    return catalogue;
}

SzChannelCatalogue bands(const CzHsiCameraParams& sensor) {
    SzChannelCatalogue catalogue;
    int firstBandOfZone = 0;
    for (const CzHsiCameraParams::CzFilterZone& zone : sensor.zones) {
        for (const int band : zone.sortedBandIdxs(false))
            catalogue.append(zone.bands.at(band).name(), firstBandOfZone + band);
        firstBandOfZone += zone.bands.size();
    }
    return catalogue;
}

} // namespace

void SzChannelCatalogue::append(const QString& name, int id) {
    names.append(name);
    ids.append(id);
}

SzChannelCatalogue channelCatalogue(const SzPicBufInfo& format, const CzImageMetadata& metadata,
                                    const SzChannelWords& words) {
    if (format.channels != 1)
        return samples(format, words);
    if (!isRaw(format))
        return {{words.mono}, {0}};

    const QStringList bayerNames{words.red, numbered(words.green, 1), numbered(words.green, 2), words.blue};
    switch (format.colorFilterArray) {
    case EzColorFilterArray::BayerRGGB:
        return {bayerNames, {0, 1, 2, 3}};
    case EzColorFilterArray::BayerGRBG:
        return {bayerNames, {1, 0, 3, 2}};
    case EzColorFilterArray::BayerGBRG:
        return {bayerNames, {2, 0, 3, 1}};
    case EzColorFilterArray::BayerBGGR:
        return {bayerNames, {3, 1, 2, 0}};
    case EzColorFilterArray::CMYG:
        return {{words.cyan, words.magenta, words.yellow, words.green}, {0, 1, 2, 3}};
    case EzColorFilterArray::RGBR:
        return {{numbered(words.red, 1), words.green, words.blue, numbered(words.red, 2)}, {0, 1, 2, 3}};
    case EzColorFilterArray::Hyperspectral:
        return bands(metadata.hsiCameraParams);
    default:
        return {};
    }
}

std::uint32_t effectiveChannelIndex(std::uint32_t channelIdx, const SzPicBufInfo& format,
                                    const CzImageMetadata& metadata) {
    std::uint32_t count = format.channels;
    if (isRaw(format)) {
        if (format.colorFilterArray < EzColorFilterArray::Hyperspectral)
            return std::min(channelIdx, 3U);
        if (format.colorFilterArray == EzColorFilterArray::Hyperspectral)
            count = static_cast<std::uint32_t>(metadata.hsiCameraParams.totalBandCountInAllZones());
    }
    return count == 0 ? channelIdx : std::min(channelIdx, count - 1);
}

void setBandSize(SzPicBufInfo& format, const CzHsiCameraParams::CzFilterZone& zone) {
    if (zone.cellWidth == 0 || zone.cellHeight == 0)
        return;
    std::int64_t width = format.width;
    std::int64_t height = format.height;
    if (zone.hasRegion()) {
        width = std::int64_t{zone.right} - zone.left + 1;
        height = std::int64_t{zone.bottom} - zone.top + 1;
    }
    constexpr std::int64_t largest = std::numeric_limits<std::uint32_t>::max();
    format.width = static_cast<std::uint32_t>(std::min(width / zone.cellWidth, largest));
    format.height = static_cast<std::uint32_t>(std::min(height / zone.cellHeight, largest));
}

bool extractHsiBand(SzPicBuf& destination, const SzPicBuf& source, const CzImageMetadata& metadata,
                    int totalBandIdx) {
    CzHsiCameraParams::SzBandIdx place;
    const CzHsiCameraParams::CzFilterZone* const zone =
        metadata.hsiCameraParams.filterZoneWithTotalBandIdx(totalBandIdx, &place);
    if (!zone)
        return false;

    SzBandLayout layout;
    layout.band = static_cast<std::uint32_t>(place.bandIdx);
    layout.cellWidth = zone->cellWidth;
    layout.cellHeight = zone->cellHeight;
    layout.blockWidth = zone->blockWidth;
    layout.blockHeight = zone->blockHeight;
    if (zone->hasRegion()) {
        layout.left = zone->left;
        layout.top = zone->top;
    }
    return extractBand(destination, source, layout);
}
