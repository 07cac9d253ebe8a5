// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HistoData.h"
#include "PicBuf.h"

#include <QRect>

class CzImageData;

/// Measurements on pictures. Safe from any thread, as long as nobody writes the picture.
class ZUCORE_EXPORT CzPicBufMeas {
public:
    /// Fills a histogram over a region of the picture, clipped to it; an empty region is the whole picture.
    /// False, and an empty histogram, when the picture is null, has no data or a sample type without
    /// histogram.
    static bool measureHistogram(CzHistoData& histogram, const CzImageData* picture, const QRect& region,
                                 QFlags<CzHistoData::EzHistoDataFlag> flags);
    static bool measureHistogram(CzHistoData& histogram, const SzPicBuf& picture, const QRect& region,
                                 QFlags<CzHistoData::EzHistoDataFlag> flags);
};
