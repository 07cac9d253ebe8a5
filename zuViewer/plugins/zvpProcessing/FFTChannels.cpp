// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFTChannels.h"

#include "ChannelCatalogue.h"
#include "ChannelKernels.h"
#include "FFT2DCnbl.h"

#include <QListWidget>

#include <cstdint>

namespace {

/// Bands of the first zone by the size of its cell, whether or not all of them are described.
std::uint64_t bandCount(const CzHsiCameraParams& sensor) {
    if (sensor.zones.isEmpty())
        return 0;
    const CzHsiCameraParams::CzFilterZone& zone = sensor.zones.first();
    return std::uint64_t{zone.cellWidth} * zone.cellHeight;
}

QString bandName(std::int32_t band, const CzHsiCameraParams* sensor) {
    if (!sensor || band < 0 || static_cast<std::uint64_t>(band) >= bandCount(*sensor) ||
        band >= sensor->zones.first().bands.size())
        return CzFFT2DCnbl::tr("Mono");
    return sensor->zones.first().bands.at(band).name();
}

QString mosaicChannelName(std::int32_t channel, const SzPicBufInfo& format, const CzHsiCameraParams* sensor) {
    const QString mono = CzFFT2DCnbl::tr("Mono");
    const QString red = CzFFT2DCnbl::tr("Red");
    const QString green = CzFFT2DCnbl::tr("Green");
    const QString blue = CzFFT2DCnbl::tr("Blue");
    const auto first = [](const QString& color) { return color + QStringLiteral(" 1"); };
    const auto second = [](const QString& color) { return color + QStringLiteral(" 2"); };
    const auto named = [&](const QStringList& names) { return names.value(channel, mono); };
    switch (format.colorFilterArray) {
    case EzColorFilterArray::BayerRGGB:
        return named({red, first(green), second(green), blue});
    case EzColorFilterArray::BayerGRBG:
        return named({first(green), red, blue, second(green)});
    case EzColorFilterArray::BayerGBRG:
        return named({first(green), blue, red, second(green)});
    case EzColorFilterArray::BayerBGGR:
        return named({blue, first(green), second(green), red});
    case EzColorFilterArray::CMYG:
        return named({CzFFT2DCnbl::tr("Cyan"), CzFFT2DCnbl::tr("Magenta"), CzFFT2DCnbl::tr("Yellow"), green});
    case EzColorFilterArray::RGBR:
        return named({first(red), green, blue, second(red)});
    case EzColorFilterArray::Hyperspectral:
        return bandName(channel, sensor);
    default:
        return QString();
    }
}

bool extract(SzPicBuf& destination, const SzPicBuf& picture, const CzImageMetadata& metadata,
             std::int32_t channel) {
    const auto index = static_cast<std::uint32_t>(channel);
    switch (picture.colorFilterArray) {
    case EzColorFilterArray::None:
        return CzPicBufAPI::ExtractChannel(picture, destination, index);
    case EzColorFilterArray::Hyperspectral:
        return extractHsiBand(destination, picture, metadata, channel);
    default:
        return extractBayerPlane(destination, picture, index);
    }
}

} // namespace

// ---- Names ----

QString channelName(std::int32_t channel, const SzPicBufInfo& format, const CzHsiCameraParams* sensor) {
    if (isRaw(format))
        return mosaicChannelName(channel, format, sensor);
    if (format.channels == 1)
        return CzFFT2DCnbl::tr("Mono");
    if (!format.isColor)
        return QStringLiteral("%1 %2").arg(CzFFT2DCnbl::tr("Channel"), QString::number(channel));
    switch (channel) {
    case 1:
        return CzFFT2DCnbl::tr("Green");
    case 2:
        return CzFFT2DCnbl::tr("Blue");
    default:
        return CzFFT2DCnbl::tr("Red");
    }
}

QMap<int, QString> selectableChannels(const SzPicBufInfo& format, const CzImageMetadata& metadata) {
    const CzHsiCameraParams& sensor = metadata.hsiCameraParams;
    int first = 0;
    int count = 0;
    if (isRaw(format)) {
        first = -1;
        if (format.colorFilterArray != EzColorFilterArray::Hyperspectral)
            count = 4;
        else if (!sensor.zones.isEmpty())
            count = sensor.zones.first().sortedBandIdxs(false).size();
    } else {
        count = static_cast<int>(format.channels);
        if (format.isColor && count == 4)
            count = 3; // the fourth is no colour
    }
    QMap<int, QString> channels;
    for (int channel = first; channel < count; ++channel)
        channels.insert(channel, channelName(channel, format, &sensor));
    return channels;
}

std::int32_t selectedChannel(std::int32_t channel, const SzPicBufInfo& format,
                             const CzImageMetadata& metadata) {
    if (!isRaw(format))
        return selectableChannels(format, metadata).contains(channel) ? channel : 0;
    const bool hyperspectral = format.colorFilterArray == EzColorFilterArray::Hyperspectral;
    const std::uint64_t count = hyperspectral ? bandCount(metadata.hsiCameraParams) : 4;
    return channel < 0 || static_cast<std::uint64_t>(channel) < count ? channel : -1;
}

void fillChannelList(QListWidget& list, const QMap<int, QString>& channels, std::int32_t selected) {
    for (auto channel = channels.begin(); channel != channels.end(); ++channel) {
        auto* const item = new QListWidgetItem(channel.value(), &list);
        item->setData(Qt::UserRole, channel.key());
        if (channel.key() == selected)
            list.setCurrentItem(item);
    }
}

// ---- Formats ----

bool isTransformable(const SzPicBufInfo& format) {
    return format.storageFormat == EzDataStorageFormat::Interleaved && format.channels < 5 &&
           bytesPerSample(format.dataType) <= 2;
}

bool isCutOut(const SzPicBufInfo& format, std::int32_t channel) {
    return format.channels > 1 || (format.colorFilterArray != EzColorFilterArray::None && channel >= 0);
}

SzPicBufInfo channelSize(const SzPicBufInfo& format, const CzImageMetadata* metadata, std::int32_t channel) {
    SzPicBufInfo size = format;
    if (channel < 0 || format.colorFilterArray == EzColorFilterArray::None)
        return size;
    if (format.colorFilterArray != EzColorFilterArray::Hyperspectral) {
        size.width = format.width / 2;
        size.height = format.height / 2;
    } else if (metadata && !metadata->hsiCameraParams.zones.isEmpty()) {
        setBandSize(size, metadata->hsiCameraParams.zones.first());
    }
    return size;
}

CzImageMetadata withoutMosaic(const CzImageMetadata& metadata) {
    CzImageMetadata plain = metadata;
    plain.colorFilterArray = EzColorFilterArray::None;
    plain.hsiCameraParams = CzHsiCameraParams();
    plain.mosaicName.clear();
    return plain;
}

// ---- An element's channel ----

void SzFFTChannel::start(const SzPicBufInfo& input, const CzImageMetadata& inputMetadata) {
    if (!isFirstStart &&
        (input.colorFilterArray != format.colorFilterArray || input.channels != format.channels))
        channel = -1;
    isFirstStart = false;
    format = input;
    metadata = inputMetadata;
    if (format.colorFilterArray == EzColorFilterArray::None && channel < 0)
        channel = 0;
}

QString SzFFTChannel::name() const {
    return channelName(channel, format, &metadata.hsiCameraParams);
}

const SzPicBuf* channelSamples(const SzPicBuf& picture, const CzImageMetadata& metadata, std::int32_t channel,
                               SzPicBuf& extracted) {
    if (!isCutOut(picture, channel))
        return &picture;
    const SzPicBufInfo size = channelSize(picture, &metadata, channel);
    if (!extracted.data || extracted.dataType != picture.dataType || extracted.width != size.width ||
        extracted.height != size.height)
        return nullptr;
    if (!extract(extracted, picture, metadata, channel)) {
        // What was not written still shows an older frame. This is rare: start over with a clear picture.
        clearPicture(extracted);
        extract(extracted, picture, metadata, channel);
    }
    return &extracted;
}
