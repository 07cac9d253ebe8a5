// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImageMetadata.h"

void CzImageMetadata::updateFromPicBufInfo(const SzPicBufInfo* format) {
    if (!format)
        return;
    colorFilterArray = format->colorFilterArray;
    if (colorFilterArray == EzColorFilterArray::None) {
        hsiCameraParams = CzHsiCameraParams();
        mosaicName.clear();
    }
}

bool CzImageMetadata::operator==(const CzImageMetadata& other) const {
    return colorFilterArray == other.colorFilterArray && hsiCameraParams == other.hsiCameraParams &&
           mosaicName == other.mosaicName;
}
