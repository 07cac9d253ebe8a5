// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

/// Lines of all planes, which follow one another at the same pitch. Never wraps.
inline std::uint64_t lineCount(const SzPicBufInfo& format) {
    const bool planar = format.storageFormat == EzDataStorageFormat::Planar;
    return std::uint64_t{format.height} * (planar ? format.channels : 1);
}

/// Whether there are pixels, lying as a format can describe them.
inline bool hasPixels(const SzPicBuf& picture) {
    return picture.data && lineCount(picture) > 0 && packedLineBytes(picture) > 0 &&
           picture.linePitch >= packedLineBytes(picture) &&
           picture.linePitch % bytesPerSample(picture.dataType) == 0;
}

/// Whether two pictures have as many pixels per line and as many lines.
inline bool sameSize(const SzPicBufInfo& a, const SzPicBufInfo& b) {
    return a.width == b.width && a.height == b.height;
}
