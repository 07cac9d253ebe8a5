// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBufAPI.h"

/// Replaces a buffer that is held by another one, releasing the one held before. One with the same pixels
/// only brings its format and data: the pixels stay owned as they were.
inline void takeOver(SzPicBuf& held, const SzPicBuf& given) {
    if (held.data != given.data) {
        CzPicBufAPI::FreePicBuf(held, true);
        held = given;
        return;
    }
    held.setPicFormat(given);
    held.copyPicAdditionalData(given);
    held.floatMin = given.floatMin;
    held.floatMax = given.floatMax;
}

/// Makes copy a deep copy of source in memory that allocate(copy) provides. Of a buffer without pixels only
/// the format and data are copied. False when there is no memory.
template <class Allocate>
bool deepCopy(const SzPicBuf& source, SzPicBuf& copy, Allocate&& allocate) {
    copy.setPicFormat(source);
    if (source.data && !(allocate(copy) && CzPicBufAPI::CopyPicBuf(copy, source, true)))
        return false;
    copy.copyPicAdditionalData(source);
    copy.floatMin = source.floatMin;
    copy.floatMax = source.floatMax;
    return true;
}

inline bool deepCopyToHeap(const SzPicBuf& source, SzPicBuf& copy) {
    return deepCopy(source, copy,
                    [](SzPicBuf& buffer) { return CzPicBufAPI::AllocPicBufFromHeap(buffer, buffer, true); });
}

inline bool deepCopyToPool(const SzPicBuf& source, SzPicBuf& copy, void* pool) {
    return deepCopy(source, copy, [pool](SzPicBuf& buffer) {
        return CzPicBufAPI::AllocPicBufFromPool(pool, nullptr, buffer, buffer, true);
    });
}
