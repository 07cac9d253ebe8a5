// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HsiCameraParams.h"
#include "PicBuf.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>

class CzImageMetadata;

/// The words that channel names are made of. Each element translates them in its own context, where the
/// translation tools see them.
struct SzChannelWords {
    QString red;
    QString green;
    QString blue;
    QString cyan;
    QString magenta;
    QString yellow;
    QString mono;
    QString channel;
};

/// The channels of a picture in display order: name i belongs to identifier i. The identifier is what
/// elements store and kernels take.
struct SzChannelCatalogue {
    QStringList names;
    QList<int> ids;

    void append(const QString& name, int id);
};

/// What the user can choose from: colour components, numbered samples, the sub-planes of a raw 2 × 2 mosaic
/// or the bands of a hyperspectral one. Empty for a format without channels.
SzChannelCatalogue channelCatalogue(const SzPicBufInfo& format, const CzImageMetadata& metadata,
                                    const SzChannelWords& words);

/// Brings a stored channel index into range: beyond the last channel it means the last. Unchanged for a
/// picture without channels.
std::uint32_t effectiveChannelIndex(std::uint32_t channelIdx, const SzPicBufInfo& format,
                                    const CzImageMetadata& metadata);

/// Sets width and height to those of one band: one pixel per cell of the zone, or of the whole picture where
/// the zone has no region of its own. A zone without a cell leaves the size as it is.
void setBandSize(SzPicBufInfo& format, const CzHsiCameraParams::CzFilterZone& zone);

/// Copies a band, counted over all zones of the metadata's sensor, out of a raw picture of the same sample
/// type; see extractBand() for samples outside the picture. True when every sample of the destination was
/// written; nothing is when there is no such band.
bool extractHsiBand(SzPicBuf& destination, const SzPicBuf& source, const CzImageMetadata& metadata,
                    int totalBandIdx);
