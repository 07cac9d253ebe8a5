// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBufAPI.h"

#include <cstdint>
#include <cstring>

/// A tightly packed, interleaved picture on the heap whose memory was touched.
class BenchPicture {
public:
    BenchPicture(std::uint32_t width, std::uint32_t height, std::uint32_t channels, EzImageDataType type) {
        const std::uint32_t pitch = width * channels * bytesPerSample(type);
        CzPicBufAPI::AllocPicBufFromHeap(buffer, width, height, channels, type, 0, pitch,
                                         EzDataStorageFormat::Interleaved, EzColorFilterArray::None, false,
                                         false);
        std::memset(buffer.data, 1, buffer.dataSize());
    }
    ~BenchPicture() { CzPicBufAPI::FreePicBuf(buffer, true); }
    BenchPicture(const BenchPicture&) = delete;
    BenchPicture& operator=(const BenchPicture&) = delete;

    SzPicBuf buffer;
};
