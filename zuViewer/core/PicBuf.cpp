// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBuf.h"

#include "PicBufGeometry.h"

#include <limits>

bool operator==(const SzPicBufInfo& a, const SzPicBufInfo& b) {
    return a.width == b.width && a.height == b.height && a.linePitch == b.linePitch &&
           a.channels == b.channels && a.bitDepth == b.bitDepth && a.reserved == b.reserved &&
           a.dataType == b.dataType && a.storageFormat == b.storageFormat &&
           a.colorFilterArray == b.colorFilterArray && a.isColor == b.isColor;
}

void SzPicBuf::setPicFormat(const SzPicBufInfo& format) {
    static_cast<SzPicBufInfo&>(*this) = format;
}

void SzPicBuf::copyPicAdditionalData(const SzPicBuf& source) {
    frameNo = source.frameNo;
    timeStampNs = source.timeStampNs;
}

std::uint64_t SzPicBuf::dataSize() const {
    const std::uint64_t lines = lineCount(*this);
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    return lines > 0 && linePitch > most / lines ? most : lines * linePitch;
}
