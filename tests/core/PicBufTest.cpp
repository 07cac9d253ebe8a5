// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBuf.h"

#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace {

TEST(PicBufInfo, DefaultIsEmptyAndInterleaved) {
    const SzPicBufInfo format;
    EXPECT_EQ(format.width, 0U);
    EXPECT_EQ(format.height, 0U);
    EXPECT_EQ(format.linePitch, 0U);
    EXPECT_EQ(format.channels, 0U);
    EXPECT_EQ(format.bitDepth, 0U);
    EXPECT_EQ(format.reserved, 0U);
    EXPECT_EQ(format.dataType, EzImageDataType::Undefined);
    EXPECT_EQ(format.storageFormat, EzDataStorageFormat::Interleaved);
    EXPECT_EQ(format.colorFilterArray, EzColorFilterArray::None);
    EXPECT_FALSE(format.isColor);
}

TEST(PicBufInfo, EveryFieldCountsForEquality) {
    const std::vector<std::function<void(SzPicBufInfo&)>> changes = {
        [](SzPicBufInfo& f) { f.width = 9; },
        [](SzPicBufInfo& f) { f.height = 9; },
        [](SzPicBufInfo& f) { f.linePitch = 9; },
        [](SzPicBufInfo& f) { f.channels = 9; },
        [](SzPicBufInfo& f) { f.bitDepth = 9; },
        [](SzPicBufInfo& f) { f.reserved = 9; },
        [](SzPicBufInfo& f) { f.dataType = EzImageDataType::Float64; },
        [](SzPicBufInfo& f) { f.storageFormat = EzDataStorageFormat::Planar; },
        [](SzPicBufInfo& f) { f.colorFilterArray = EzColorFilterArray::CMYG; },
        [](SzPicBufInfo& f) { f.isColor = true; },
    };
    const SzPicBufInfo format = pictureFormat(4, 3, 1, EzImageDataType::UInt16);
    SzPicBufInfo same = format;
    EXPECT_TRUE(format == same);
    EXPECT_FALSE(format != same);
    for (std::size_t i = 0; i < changes.size(); ++i) {
        SzPicBufInfo other = format;
        changes[i](other);
        EXPECT_TRUE(format != other) << "change " << i;
        EXPECT_FALSE(format == other) << "change " << i;
    }
}

TEST(PicBufInfo, SampleSizesFollowTheTypeNumbers) {
    const std::uint32_t sizes[] = {1, 1, 1, 2, 2, 4, 4, 4, 8, 2, 1, 1};
    for (std::uint32_t number = 0; number < 12; ++number) {
        SzPicBufInfo format;
        format.dataType = static_cast<EzImageDataType>(number);
        format.channels = 3;
        EXPECT_EQ(bytesPerSample(format.dataType), sizes[number]) << number;
        EXPECT_EQ(bytesPerPixel(format), 3 * sizes[number]) << number;
    }
}

TEST(PicBufInfo, PackedLineHoldsAllSamplesOrThoseOfOnePlane) {
    SzPicBufInfo format = pictureFormat(5, 2, 3, EzImageDataType::UInt16);
    EXPECT_EQ(packedLineBytes(format), 30U);
    format.storageFormat = EzDataStorageFormat::Planar;
    EXPECT_EQ(packedLineBytes(format), 10U);
}

TEST(PicBufInfo, PackedLineNeverWraps) {
    SzPicBufInfo format;
    format.width = UINT32_MAX;
    format.channels = 1;
    format.dataType = EzImageDataType::Float64;
    EXPECT_EQ(packedLineBytes(format), 34359738360ULL); // (2^32 − 1) × 8
    format.channels = UINT32_MAX;
    EXPECT_EQ(packedLineBytes(format), UINT64_MAX);
    format.dataType = EzImageDataType::UInt8;
    EXPECT_EQ(packedLineBytes(format), 18446744065119617025ULL); // (2^32 − 1)²
}

TEST(PicBufInfo, RawIsOneChannelBehindAFilterInAnOpenLayout) {
    SzPicBufInfo format = pictureFormat(4, 4, 1, EzImageDataType::UInt8);
    EXPECT_FALSE(isRaw(format));
    format.colorFilterArray = EzColorFilterArray::Hyperspectral;
    EXPECT_TRUE(isRaw(format));
    format.storageFormat = EzDataStorageFormat::Planar;
    EXPECT_TRUE(isRaw(format));
    format.storageFormat = EzDataStorageFormat::HostPacked;
    EXPECT_FALSE(isRaw(format));
    format.storageFormat = EzDataStorageFormat::Interleaved;
    format.channels = 3;
    EXPECT_FALSE(isRaw(format));
}

TEST(PicBuf, DataSizeCountsPaddingAndPlanes) {
    SzPicBuf picture;
    EXPECT_EQ(picture.dataSize(), 0U);
    picture.setPicFormat(pictureFormat(5, 7, 3, EzImageDataType::UInt16));
    picture.linePitch = 48;
    EXPECT_EQ(picture.dataSize(), 336U);
    picture.storageFormat = EzDataStorageFormat::Planar;
    EXPECT_EQ(picture.dataSize(), 1008U);
}

TEST(PicBuf, DataSizeIs64BitsWideAndNeverWraps) {
    SzPicBuf picture;
    picture.linePitch = 100000;
    picture.height = 100000;
    picture.channels = 3;
    EXPECT_EQ(picture.dataSize(), 10000000000ULL);
    picture.storageFormat = EzDataStorageFormat::Planar;
    EXPECT_EQ(picture.dataSize(), 30000000000ULL);
    picture.linePitch = picture.height = picture.channels = UINT32_MAX;
    EXPECT_EQ(picture.dataSize(), UINT64_MAX);
}

TEST(PicBuf, SetPicFormatLeavesPixelsAndAdditionalDataAlone) {
    HeapPicture picture(pictureFormat(4, 4, 1, EzImageDataType::UInt8));
    std::uint8_t* const data = picture->data;
    picture->frameNo = 5;
    picture->timeStampNs = 6;
    picture->floatMin = 7.0F;
    picture->floatMax = 8.0F;
    const SzPicBufInfo other = pictureFormat(2, 2, 3, EzImageDataType::Float32);
    picture->setPicFormat(other);
    EXPECT_EQ(static_cast<const SzPicBufInfo&>(*picture), other);
    EXPECT_EQ(picture->data, data);
    EXPECT_EQ(picture->frameNo, 5);
    EXPECT_EQ(picture->timeStampNs, 6);
    EXPECT_EQ(picture->floatMin, 7.0F);
    EXPECT_EQ(picture->floatMax, 8.0F);
}

TEST(PicBuf, AdditionalDataIsWhatTravelsWithTheFrame) {
    SzPicBuf source;
    source.frameNo = 42;
    source.timeStampNs = 1234567890123LL;
    source.floatMin = -1.0F;
    source.floatMax = 1.0F;
    source.width = 9;
    SzPicBuf destination;
    destination.floatMin = 3.0F;
    destination.floatMax = 4.0F;
    destination.copyPicAdditionalData(source);
    EXPECT_EQ(destination.frameNo, 42);
    EXPECT_EQ(destination.timeStampNs, 1234567890123LL);
    EXPECT_EQ(destination.floatMin, 3.0F) << "belongs to the pixels";
    EXPECT_EQ(destination.floatMax, 4.0F);
    EXPECT_EQ(destination.width, 0U);
    EXPECT_EQ(destination.data, nullptr);
}

TEST(PicBuf, CopiesOfFormatAndAdditionalDataOwnNothing) {
    HeapPicture owner = patternPicture(pictureFormat(5, 3, 1, EzImageDataType::UInt8));
    const HeapPicture expected = patternPicture(*owner);

    SzPicBuf other;
    other.setPicFormat(*owner);
    other.copyPicAdditionalData(*owner);
    other.data = owner->data;
    EXPECT_TRUE(CzPicBufAPI::FreePicBuf(other, true));

    EXPECT_EQ(other.data, nullptr);
    EXPECT_TRUE(samePixels(*owner, *expected));
}

} // namespace
