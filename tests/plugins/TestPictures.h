// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures, pools and elements with a known input, for the tests of the plug-in.
#pragma once

#include "ImageData.h"
#include "MemoryPool.h"
#include "PicBufAPI.h"
#include "PictureView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

inline SzPicBufInfo pictureFormat(std::uint32_t width, std::uint32_t height, std::uint32_t channels = 1,
                                  EzImageDataType dataType = EzImageDataType::UInt8,
                                  EzColorFilterArray filter = EzColorFilterArray::None) {
    SzPicBufInfo format;
    format.width = width;
    format.height = height;
    format.channels = channels;
    format.dataType = dataType;
    format.bitDepth = 8 * bytesPerSample(dataType);
    format.colorFilterArray = filter;
    format.linePitch = width * bytesPerPixel(format);
    return format;
}

/// A frame on the heap whose samples count up from 1 line by line (modulo 251), padding not counted.
inline std::unique_ptr<CzImageData> numberedFrame(const SzPicBufInfo& format,
                                                  const CzImageMetadata& metadata = CzImageMetadata()) {
    SzPicBuf picture;
    EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, format, false));
    withSampleType(picture.dataType, [&](auto sample) {
        using T = decltype(sample);
        const PictureView<T> pixels = view<T>(picture);
        for (std::uint32_t y = 0; y < pixels.height; ++y)
            for (std::uint32_t x = 0; x < pixels.width * pixels.channels; ++x)
                pixels.row(y)[x] =
                    static_cast<T>((std::uint64_t{y} * pixels.width * pixels.channels + x) % 251 + 1);
        return true;
    });
    picture.frameNo = 42;
    picture.timeStampNs = 4711;
    auto frame = std::make_unique<CzImageData>();
    frame->setPicBuf(picture);
    frame->setImageMetadata(metadata);
    return frame;
}

/// The samples of a one-channel picture, line by line without padding.
template <class T>
std::vector<T> samplesOf(const SzPicBuf& picture) {
    const PictureView<const T> pixels = view<const T>(picture);
    std::vector<T> samples;
    for (std::uint32_t y = 0; y < pixels.height; ++y)
        samples.insert(samples.end(), pixels.row(y), pixels.row(y) + pixels.width);
    return samples;
}

/// Bands named and ordered as they lie in the cell.
inline CzHsiCameraParams::CzFilterZone filterZone(std::uint32_t cellWidth, std::uint32_t cellHeight) {
    CzHsiCameraParams::CzFilterZone zone;
    zone.cellWidth = cellWidth;
    zone.cellHeight = cellHeight;
    zone.blockWidth = zone.blockHeight = 1;
    for (std::uint32_t band = 0; band < cellWidth * cellHeight; ++band)
        zone.bands.append(CzHsiCameraParams::CzBand(QStringLiteral("band %1").arg(band), 400.0 + band));
    return zone;
}

inline CzImageMetadata hyperspectral(const QVector<CzHsiCameraParams::CzFilterZone>& zones) {
    CzImageMetadata metadata;
    metadata.colorFilterArray = EzColorFilterArray::Hyperspectral;
    metadata.hsiCameraParams.zones = zones;
    metadata.mosaicName = QStringLiteral("mosaic");
    return metadata;
}

/// An element outside of any chain: the test says what arrives, and where the output comes from.
template <class Element>
class LooseElement : public Element {
public:
    bool currentInputImageInfo(SzPicBufInfo& format, CzImageMetadata* metadata) override {
        if (!m_inputIsKnown)
            return false;
        format = m_format;
        if (metadata)
            *metadata = m_metadata;
        return true;
    }

    void setInput(const SzPicBufInfo& format, const CzImageMetadata& metadata = CzImageMetadata()) {
        m_format = format;
        m_metadata = metadata;
        m_inputIsKnown = true;
    }

    void forgetInput() { m_inputIsKnown = false; }

    /// A pool of so many buffers, each of them full of old pixels.
    void usePool(int buffers, const SzPicBufInfo& largest) {
        pool = CzMemoryPool::create(buffers, packedLineBytes(largest) * largest.height);
        Element::memoryPool = pool->handle();
        std::vector<SzPicBuf> used(static_cast<std::size_t>(buffers));
        for (SzPicBuf& picture : used) {
            ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromPool(pool->handle(), this, picture, largest, false));
            std::fill(picture.data, picture.data + picture.dataSize(), std::uint8_t{0xEE});
        }
        for (SzPicBuf& picture : used)
            CzPicBufAPI::FreePicBuf(picture, false);
    }

    bool mutexIsFree() {
        const bool taken = Element::mutex.tryLock();
        if (taken)
            Element::mutex.unlock();
        return taken;
    }

    std::shared_ptr<CzMemoryPool> pool;

private:
    SzPicBufInfo m_format;
    CzImageMetadata m_metadata;
    bool m_inputIsKnown = false;
};

/// A data object that is no picture.
class OtherData : public IzChainData {
public:
    int frameNo() const override { return 0; }
    IzChainData* clone(QObject*) const override { return nullptr; }
    IzChainData* clone(void*, QObject*) const override { return nullptr; }
    bool isFromMemoryPool(void*) const override { return false; }
};
