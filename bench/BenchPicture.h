// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBufAPI.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

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

/// Where a picture is when a kernel gets it.
enum class EzFrames {
    FromMemory, ///< as a camera's, each another one
    FromCache   ///< always the same: where its last use left it, if there is room for it
};

/// Copies of a picture by turns. Out of memory: so many that they are four times as large as the last cache,
/// which is the rule of the STREAM benchmark (McCalpin, 1995).
class FrameRing {
public:
    FrameRing(const SzPicBuf& frame, EzFrames frames) {
        const auto lastCache = std::max<long>(sysconf(_SC_LEVEL3_CACHE_SIZE), 32L << 20);
        const auto bytes = frames == EzFrames::FromMemory ? 4 * static_cast<std::uint64_t>(lastCache) : 1;
        const std::uint64_t count = (bytes + frame.dataSize() - 1) / frame.dataSize();
        for (std::uint64_t i = 0; i < count; ++i) {
            m_frames.push_back(
                std::make_unique<BenchPicture>(frame.width, frame.height, frame.channels, frame.dataType));
            SzPicBuf& copy = m_frames.back()->buffer;
            std::memcpy(copy.data, frame.data, frame.dataSize());
            copy.bitDepth = frame.bitDepth;
            copy.isColor = frame.isColor;
        }
    }

    SzPicBuf& next() {
        m_next = (m_next + 1) % m_frames.size();
        return m_frames[m_next]->buffer;
    }

private:
    std::vector<std::unique_ptr<BenchPicture>> m_frames;
    std::size_t m_next = 0;
};
