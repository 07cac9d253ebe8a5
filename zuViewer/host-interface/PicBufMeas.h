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
    /// False, and an empty histogram, when the picture is null or has no data, a sample type other than 8-,
    /// 16- or 32-bit unsigned integers and 32-bit floats, or no pixel in the region.
    ///
    /// Pictures of up to 16 bits have a bin for each sample value, deeper ones 65536 bins; a bitDepth of 0 or
    /// beyond the sample type is the type's own. Floats are binned by their integer part, below 0 into the
    /// first bin. Samples that are not a number do not count.
    static bool measureHistogram(CzHistoData& histogram, const CzImageData* picture, const QRect& region,
                                 QFlags<CzHistoData::EzHistoDataFlag> flags);
    static bool measureHistogram(CzHistoData& histogram, const SzPicBuf& picture, const QRect& region,
                                 QFlags<CzHistoData::EzHistoDataFlag> flags);
};
