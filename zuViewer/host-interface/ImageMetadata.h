// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HsiCameraParams.h"
#include "PicBuf.h"

#include <QString>

/// What is known about a picture beyond its format. A plain value.
class ZUCORE_EXPORT CzImageMetadata {
public:
    EzColorFilterArray colorFilterArray = EzColorFilterArray::None; ///< of the sensor that took the picture
    CzHsiCameraParams hsiCameraParams;                              ///< of that sensor, where it has a mosaic
    QString mosaicName; ///< for people; empty when there is no mosaic

    /// Brings the metadata in line with a new format: takes over its colour filter array, and forgets the
    /// sensor's mosaic when the picture has none any more. Null changes nothing.
    void updateFromPicBufInfo(const SzPicBufInfo* format);

    bool operator==(const CzImageMetadata& other) const;
    bool operator!=(const CzImageMetadata& other) const { return !(*this == other); }
};
