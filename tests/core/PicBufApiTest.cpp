// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBufAPI.h"

#include "MemoryPool.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace {

/// A picture in memory of the test's own, so that every byte around the samples can be looked at.
class Canvas {
public:
    explicit Canvas(const SzPicBufInfo& format) {
        m_picture.setPicFormat(format);
        m_bytes.assign(m_picture.dataSize() + 2 * margin, untouched);
        m_picture.data = m_bytes.data() + margin;
    }

    SzPicBuf& operator*() { return m_picture; }
    SzPicBuf* operator->() { return &m_picture; }

    /// Whether nothing but samples was written.
    bool surroundingsUntouched() const {
        std::vector<std::uint8_t> bytes = m_bytes;
        const std::size_t lineBytes = packedLineBytes(m_picture);
        for (std::size_t line = margin; line < bytes.size() - margin; line += m_picture.linePitch)
            std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(line), lineBytes, untouched);
        return allUntouched(bytes);
    }

    /// Whether nothing at all was written.
    bool allUntouched() const { return allUntouched(m_bytes); }

private:
    static constexpr std::size_t margin = 64;
    static constexpr std::uint8_t untouched = 0xa5;

    static bool allUntouched(const std::vector<std::uint8_t>& bytes) {
        return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == untouched; });
    }

    std::vector<std::uint8_t> m_bytes;
    SzPicBuf m_picture;
};

SzPicBufInfo withPitch(SzPicBufInfo format, std::uint32_t linePitch) {
    format.linePitch = linePitch;
    return format;
}

// ---- Allocation ----

TEST(AllocPicBufFromHeap, PixelsAreAlignedAndZeroInEveryFormat) {
    for (const SzPicBufInfo& format : pictureFormats(allSampleTypes(), {1, 2, 3, 4, 5})) {
        SCOPED_TRACE(formatName(format));
        HeapPicture picture(format);
        ASSERT_NE(picture->data, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(picture->data) % 64, 0U);
        EXPECT_EQ(static_cast<const SzPicBufInfo&>(*picture), format);
        const std::uint64_t sampleBytes = bytesPerSample(format.dataType);
        std::uint64_t sum = 0;
        for (std::uint32_t y = 0; y < format.height; ++y)
            for (std::uint32_t x = 0; x < format.width; ++x)
                for (std::uint32_t channel = 0; channel < format.channels; ++channel)
                    for (std::uint64_t byte = 0; byte < sampleBytes; ++byte)
                        sum += sampleAddress(*picture, x, y, channel)[byte];
        EXPECT_EQ(sum, 0U);
    }
}

TEST(AllocPicBufFromHeap, AnOpenPitchBecomesThePackedLineRoundedUpTo16) {
    const auto chosenPitch = [](std::uint32_t width, std::uint32_t channels, EzImageDataType dataType,
                                EzDataStorageFormat storageFormat) {
        const HeapPicture picture(withPitch(pictureFormat(width, 2, channels, dataType, storageFormat), 0));
        return picture->linePitch;
    };
    const auto interleaved = EzDataStorageFormat::Interleaved;
    const auto planar = EzDataStorageFormat::Planar;
    EXPECT_EQ(chosenPitch(1, 1, EzImageDataType::UInt8, interleaved), 16U);
    EXPECT_EQ(chosenPitch(16, 1, EzImageDataType::UInt8, interleaved), 16U);
    EXPECT_EQ(chosenPitch(17, 1, EzImageDataType::UInt8, interleaved), 32U);
    EXPECT_EQ(chosenPitch(7, 3, EzImageDataType::UInt16, interleaved), 48U);
    EXPECT_EQ(chosenPitch(7, 3, EzImageDataType::UInt16, planar), 16U);
    EXPECT_EQ(chosenPitch(3, 1, EzImageDataType::Float64, interleaved), 32U);
}

TEST(AllocPicBufFromHeap, AGivenPitchIsKeptOrRefused) {
    const SzPicBufInfo format = pictureFormat(5, 3, 1, EzImageDataType::UInt16);
    for (const std::uint32_t pitch : {10U, 12U, 14U, 1000U})
        EXPECT_EQ(HeapPicture(withPitch(format, pitch))->linePitch, pitch);
    for (const std::uint32_t pitch : {1U, 8U, 9U, 11U, 13U}) {
        SzPicBuf refused;
        EXPECT_FALSE(CzPicBufAPI::AllocPicBufFromHeap(refused, withPitch(format, pitch), false)) << pitch;
        EXPECT_EQ(refused.data, nullptr);
    }
}

TEST(AllocPicBufFromHeap, RefusesSizesThatNoPictureHas) {
    const SzPicBufInfo good = pictureFormat(4, 4, 2, EzImageDataType::UInt16);
    std::vector<SzPicBufInfo> formats(10, good);
    formats[0].width = 0;
    formats[1].height = 0;
    formats[2].channels = 0;
    formats[3].channels = 0;
    formats[3].storageFormat = EzDataStorageFormat::Planar;
    formats[4].width = formats[4].height = 200000; // 149 GiB
    formats[5].width = UINT32_MAX;                 // a line of more than 2^32 bytes
    formats[6].width = formats[6].height = formats[6].channels = UINT32_MAX;
    formats[7] = formats[6];
    formats[7].storageFormat = EzDataStorageFormat::Planar;
    formats[7].dataType = EzImageDataType::Float64;
    formats[8].height = formats[8].channels = UINT32_MAX;
    formats[8].storageFormat = EzDataStorageFormat::Planar;
    formats[9].width = 1U << 17; // 2^17 × 2^31 × 2^16 bytes: 0 in 64 bits
    formats[9].height = 1U << 31;
    formats[9].channels = 1U << 16;
    formats[9].dataType = EzImageDataType::UInt8;
    formats[9].storageFormat = EzDataStorageFormat::Planar;
    for (SzPicBufInfo& format : formats) {
        format.linePitch = 0;
        SCOPED_TRACE(formatName(format));
        SzPicBuf buffer;
        EXPECT_FALSE(CzPicBufAPI::AllocPicBufFromHeap(buffer, format, false));
        EXPECT_EQ(buffer.data, nullptr);
        EXPECT_EQ(static_cast<const SzPicBufInfo&>(buffer), format);
        EXPECT_TRUE(CzPicBufAPI::FreePicBuf(buffer, true));
    }
}

TEST(AllocPicBufFromHeap, EightGibibytesAreTheLimit) {
    // Nothing is allocated here: the picture and its slack of one more line exceed the limit by a line.
    SzPicBuf buffer;
    SzPicBufInfo format = pictureFormat(1U << 20, 1U << 13, 1, EzImageDataType::UInt8);
    EXPECT_FALSE(CzPicBufAPI::AllocPicBufFromHeap(buffer, format, false));
    format = withPitch(pictureFormat(1, 1, 1, EzImageDataType::UInt8), UINT32_MAX);
    format.height = 2; // twice 4 GiB and the slack
    EXPECT_FALSE(CzPicBufAPI::AllocPicBufFromHeap(buffer, format, false));
}

TEST(AllocPicBufFromHeap, TakesItsFormatFromTheBufferItself) {
    SzPicBuf buffer;
    buffer.setPicFormat(pictureFormat(9, 4, 1, EzImageDataType::UInt16));
    buffer.linePitch = 0;
    buffer.bitDepth = 12;
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(buffer, buffer, false));
    EXPECT_EQ(buffer.width, 9U);
    EXPECT_EQ(buffer.height, 4U);
    EXPECT_EQ(buffer.bitDepth, 12U);
    EXPECT_EQ(buffer.linePitch, 32U);
    // Again, with the pixels it now owns: they are given back, which the leak check watches.
    fillPattern(buffer);
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(buffer, buffer, true));
    EXPECT_TRUE(samePixels(buffer, *HeapPicture(buffer)));
    CzPicBufAPI::FreePicBuf(buffer, true);
}

TEST(AllocPicBufFromHeap, ARefusedBufferHasLostItsPixels) {
    SzPicBuf buffer;
    ASSERT_TRUE(
        CzPicBufAPI::AllocPicBufFromHeap(buffer, pictureFormat(4, 4, 1, EzImageDataType::UInt8), false));
    EXPECT_FALSE(CzPicBufAPI::AllocPicBufFromHeap(buffer, SzPicBufInfo(), false));
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_EQ(buffer.width, 0U);
}

TEST(AllocPicBufFromHeap, StartsWithoutAdditionalData) {
    SzPicBuf buffer;
    buffer.frameNo = 4;
    buffer.timeStampNs = 5;
    buffer.floatMin = 6.0F;
    buffer.floatMax = 7.0F;
    ASSERT_TRUE(
        CzPicBufAPI::AllocPicBufFromHeap(buffer, pictureFormat(4, 4, 1, EzImageDataType::UInt8), false));
    EXPECT_EQ(buffer.frameNo, 0);
    EXPECT_EQ(buffer.timeStampNs, 0);
    EXPECT_EQ(buffer.floatMin, 0.0F);
    EXPECT_EQ(buffer.floatMax, 0.0F);
    CzPicBufAPI::FreePicBuf(buffer, true);
}

TEST(AllocPicBufFromHeap, TakesAFormatFieldByField) {
    SzPicBuf buffer;
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(buffer, 80, 16, 1, EzImageDataType::UInt8, 0, 0,
                                                 EzDataStorageFormat::Interleaved, EzColorFilterArray::None,
                                                 false, false));
    EXPECT_EQ(static_cast<const SzPicBufInfo&>(buffer), pictureFormat(80, 16, 1, EzImageDataType::UInt8));

    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(buffer, 5, 2, 3, EzImageDataType::UInt16, 12, 14,
                                                 EzDataStorageFormat::Planar, EzColorFilterArray::CMYG, true,
                                                 false));
    SzPicBufInfo expected = pictureFormat(5, 2, 3, EzImageDataType::UInt16, EzDataStorageFormat::Planar, 2);
    expected.bitDepth = 12;
    expected.colorFilterArray = EzColorFilterArray::CMYG;
    expected.isColor = true;
    EXPECT_EQ(static_cast<const SzPicBufInfo&>(buffer), expected);
    CzPicBufAPI::FreePicBuf(buffer, true);
}

TEST(AllocPicBufFromHeap, AnOpenBitDepthIsTheSampleTypesOwn) {
    const std::uint32_t depths[] = {8, 8, 8, 16, 16, 32, 32, 32, 64, 16};
    for (const EzImageDataType dataType : allSampleTypes()) {
        SzPicBuf buffer;
        ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(buffer, 2, 2, 1, dataType, 0, 0,
                                                     EzDataStorageFormat::Interleaved,
                                                     EzColorFilterArray::None, false, false));
        EXPECT_EQ(buffer.bitDepth, depths[static_cast<std::uint32_t>(dataType)]) << sampleTypeName(dataType);
        CzPicBufAPI::FreePicBuf(buffer, true);
    }
}

TEST(FreePicBuf, MayBeRepeatedAndKeepsTheFormat) {
    HeapPicture picture(pictureFormat(4, 4, 1, EzImageDataType::UInt8));
    const SzPicBufInfo format = *picture;
    EXPECT_TRUE(CzPicBufAPI::FreePicBuf(*picture, true));
    EXPECT_EQ(picture->data, nullptr);
    EXPECT_EQ(static_cast<const SzPicBufInfo&>(*picture), format);
    EXPECT_TRUE(CzPicBufAPI::FreePicBuf(*picture, true));
    EXPECT_TRUE(CzPicBufAPI::FreePicBuf(*picture, false));
}

TEST(FreePicBuf, LetsGoOfPixelsThatAreNobodys) {
    std::uint8_t pixels[4] = {};
    SzPicBuf buffer;
    buffer.data = pixels;
    EXPECT_TRUE(CzPicBufAPI::FreePicBuf(buffer, true));
    EXPECT_EQ(buffer.data, nullptr);
}

#if defined(__SANITIZE_ADDRESS__)

bool forbidden(const std::uint8_t* address) {
    return __asan_address_is_poisoned(address) != 0;
}

TEST(GuardedMemory, SamplesAreOpenPaddingAndSlackAreNot) {
    HeapPicture picture(withPitch(pictureFormat(4, 3, 4, EzImageDataType::UInt8), 40));
    for (std::uint32_t y = 0; y < 3; ++y)
        for (std::uint32_t byte = 0; byte < 40; ++byte)
            EXPECT_EQ(forbidden(picture->data + y * 40 + byte), byte >= 16) << y << ", " << byte;
    for (std::uint32_t byte = 0; byte < 40 + 64; ++byte)
        EXPECT_TRUE(forbidden(picture->data + picture->dataSize() + byte)) << byte;
}

TEST(GuardedMemory, NothingBeforeTheFirstSampleIsOpen) {
    const HeapPicture picture(pictureFormat(5, 3, 1, EzImageDataType::UInt8));
    for (int byte = 1; byte <= 64; ++byte)
        EXPECT_TRUE(forbidden(picture->data - byte)) << byte;
}

/// A read that the compiler cannot leave out.
std::uint8_t readByte(const std::uint8_t* address) {
    return *const_cast<const volatile std::uint8_t*>(address);
}

TEST(GuardedMemoryDeathTest, AReadOutsideTheSamplesEndsTheProgram) {
    const HeapPicture picture(withPitch(pictureFormat(4, 3, 4, EzImageDataType::UInt8), 40));
    EXPECT_EQ(readByte(picture->data + 2 * 40 + 15), 0);
    EXPECT_DEATH(readByte(picture->data + 16), "use-after-poison") << "padding";
    EXPECT_DEATH(readByte(picture->data + 3 * 40), "use-after-poison") << "slack";
    EXPECT_DEATH(readByte(picture->data - 1), "use-after-poison|heap-buffer-overflow");

    const auto pool = CzMemoryPool::create(1, 1000);
    SzPicBuf buffer;
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromPool(pool->handle(), nullptr, buffer, *picture, false));
    const std::uint8_t* const data = buffer.data;
    EXPECT_EQ(readByte(data), 0);
    CzPicBufAPI::FreePicBuf(buffer, false);
    EXPECT_DEATH(readByte(data), "use-after-poison") << "a pool buffer that was given back";
}

TEST(GuardedMemory, ALineOfOddWidthAndOneChannelEndsOneSampleLater) {
    HeapPicture padded(withPitch(pictureFormat(7, 2, 1, EzImageDataType::UInt16), 32));
    EXPECT_FALSE(forbidden(padded->data + 14));
    EXPECT_FALSE(forbidden(padded->data + 15));
    EXPECT_TRUE(forbidden(padded->data + 16));
    EXPECT_FALSE(forbidden(padded->data + 32 + 15));
    EXPECT_TRUE(forbidden(padded->data + 32 + 16));

    HeapPicture tight(withPitch(pictureFormat(7, 2, 1, EzImageDataType::UInt16), 14));
    EXPECT_FALSE(forbidden(tight->data + 27));
    EXPECT_TRUE(forbidden(tight->data + 28)) << "slack";

    HeapPicture even(withPitch(pictureFormat(8, 2, 1, EzImageDataType::UInt16), 32));
    EXPECT_TRUE(forbidden(even->data + 16));
}

TEST(GuardedMemory, AllPlanesAreOpen) {
    HeapPicture picture(
        withPitch(pictureFormat(8, 2, 3, EzImageDataType::UInt8, EzDataStorageFormat::Planar), 16));
    for (std::uint32_t line = 0; line < 6; ++line) {
        EXPECT_FALSE(forbidden(picture->data + line * 16 + 7)) << line;
        EXPECT_TRUE(forbidden(picture->data + line * 16 + 8)) << line;
    }
}

TEST(GuardedMemory, OfAPoolBufferOnlyThePictureInItIsOpen) {
    const auto pool = CzMemoryPool::create(1, 1000);
    SzPicBuf buffer;
    const auto take = [&](std::uint32_t width) {
        return CzPicBufAPI::AllocPicBufFromPool(
            pool->handle(), nullptr, buffer,
            withPitch(pictureFormat(width, 2, 1, EzImageDataType::UInt8), 64), false);
    };
    ASSERT_TRUE(take(64));
    const std::uint8_t* const data = buffer.data;
    EXPECT_FALSE(forbidden(data + 127));
    CzPicBufAPI::FreePicBuf(buffer, false);
    for (std::uint32_t byte = 0; byte < 128; ++byte)
        EXPECT_TRUE(forbidden(data + byte)) << byte;

    ASSERT_TRUE(take(8));
    ASSERT_EQ(buffer.data, data);
    EXPECT_FALSE(forbidden(data + 7));
    EXPECT_TRUE(forbidden(data + 8)) << "open for the picture before";
    EXPECT_FALSE(forbidden(data + 64 + 7));
    EXPECT_TRUE(forbidden(data + 64 + 8));
    CzPicBufAPI::FreePicBuf(buffer, false);
}

#endif

// ---- Copying ----

TEST(CopyPicBuf, CopiesSamplesBetweenPitchesAndNothingElse) {
    for (const SzPicBufInfo& format : pictureFormats(allSampleTypes(), {1, 3, 4})) {
        SCOPED_TRACE(formatName(format));
        const HeapPicture source = patternPicture(format);
        const std::uint32_t packed = static_cast<std::uint32_t>(packedLineBytes(format));
        for (const std::uint32_t padding : {0U, 16U}) {
            Canvas destination(withPitch(format, packed + padding));
            ASSERT_TRUE(CzPicBufAPI::CopyPicBuf(*destination, *source, false));
            EXPECT_TRUE(samePixels(*destination, *source));
            EXPECT_TRUE(destination.surroundingsUntouched());
        }
    }
}

TEST(CopyPicBuf, TakesTheRangeOfTheSamplesAlong) {
    HeapPicture source(pictureFormat(2, 2, 1, EzImageDataType::Float32));
    source->floatMin = -3.0F;
    source->floatMax = 9.0F;
    source->frameNo = 4;
    HeapPicture destination(*source);
    ASSERT_TRUE(CzPicBufAPI::CopyPicBuf(*destination, *source, false));
    EXPECT_EQ(destination->floatMin, -3.0F);
    EXPECT_EQ(destination->floatMax, 9.0F);
    EXPECT_EQ(destination->frameNo, 0) << "belongs to the frame";
}

TEST(CopyPicBuf, APictureMayBeCopiedOntoItself) {
    HeapPicture picture = patternPicture(pictureFormat(33, 5, 3, EzImageDataType::UInt16));
    ASSERT_TRUE(CzPicBufAPI::CopyPicBuf(*picture, *picture, false));
    EXPECT_TRUE(samePixels(*picture, *patternPicture(*picture)));
}

TEST(CopyPicBuf, RefusesPicturesThatDoNotFit) {
    const SzPicBufInfo format = pictureFormat(4, 4, 3, EzImageDataType::UInt16);
    const HeapPicture source = patternPicture(format);
    std::vector<SzPicBufInfo> others = {
        pictureFormat(3, 4, 3, EzImageDataType::UInt16),
        pictureFormat(4, 3, 3, EzImageDataType::UInt16),
        pictureFormat(4, 4, 4, EzImageDataType::UInt16),
        pictureFormat(4, 4, 3, EzImageDataType::Int16),
        pictureFormat(4, 4, 3, EzImageDataType::UInt16, EzDataStorageFormat::Planar),
    };
    for (const SzPicBufInfo& other : others) {
        Canvas destination(other);
        EXPECT_FALSE(CzPicBufAPI::CopyPicBuf(*destination, *source, false)) << formatName(other);
        EXPECT_TRUE(destination.allUntouched());
    }
    SzPicBuf empty;
    empty.setPicFormat(format);
    Canvas destination(format);
    EXPECT_FALSE(CzPicBufAPI::CopyPicBuf(empty, *source, false));
    EXPECT_FALSE(CzPicBufAPI::CopyPicBuf(*destination, empty, false));
    EXPECT_FALSE(CzPicBufAPI::CopyPicBuf(empty, empty, false));
    EXPECT_TRUE(destination.allUntouched());

    // A line that reaches into the next one, or samples that no processor could address.
    for (const std::uint32_t pitch : {22U, 25U}) {
        SzPicBuf broken = *source;
        broken.linePitch = pitch;
        EXPECT_FALSE(CzPicBufAPI::CopyPicBuf(*destination, broken, false));
        EXPECT_TRUE(destination.allUntouched());
    }
}

// ---- Channels ----

/// The samples of one channel, one by one.
HeapPicture channelOf(const SzPicBuf& source, std::uint32_t channel) {
    HeapPicture result(pictureFormat(source.width, source.height, 1, source.dataType));
    const std::size_t size = bytesPerSample(source.dataType);
    for (std::uint32_t y = 0; y < source.height; ++y)
        for (std::uint32_t x = 0; x < source.width; ++x)
            std::memcpy(sampleAddress(*result, x, y, 0), sampleAddress(source, x, y, channel), size);
    return result;
}

TEST(ExtractChannel, CopiesEveryChannelOfEveryFormat) {
    for (const SzPicBufInfo& format : pictureFormats(allSampleTypes(), {1, 2, 3, 4, 5, 16})) {
        SCOPED_TRACE(formatName(format));
        const HeapPicture source = patternPicture(format);
        for (std::uint32_t channel = 0; channel < format.channels; ++channel) {
            const std::uint32_t padding = channel % 2 * 3;
            Canvas destination(pictureFormat(format.width, format.height, 1, format.dataType,
                                             EzDataStorageFormat::Interleaved, padding));
            ASSERT_TRUE(CzPicBufAPI::ExtractChannel(*source, *destination, channel));
            EXPECT_TRUE(samePixels(*destination, *channelOf(*source, channel))) << "channel " << channel;
            EXPECT_TRUE(destination.surroundingsUntouched());
        }
    }
}

TEST(ExtractChannel, KeepsEveryWidthInOrder) {
    for (const std::uint32_t channels : {2U, 3U, 4U})
        for (std::uint32_t width = 1; width <= 70; ++width) {
            const HeapPicture source =
                patternPicture(pictureFormat(width, 2, channels, EzImageDataType::UInt8));
            for (std::uint32_t channel = 0; channel < channels; ++channel) {
                Canvas destination(pictureFormat(width, 2, 1, EzImageDataType::UInt8));
                ASSERT_TRUE(CzPicBufAPI::ExtractChannel(*source, *destination, channel));
                ASSERT_TRUE(samePixels(*destination, *channelOf(*source, channel)))
                    << width << " wide, channel " << channel << " of " << channels;
                ASSERT_TRUE(destination.surroundingsUntouched());
            }
        }
}

TEST(ExtractChannel, TakesTheHostsLayoutForInterleaved) {
    const HeapPicture source =
        patternPicture(pictureFormat(7, 3, 3, EzImageDataType::UInt16, EzDataStorageFormat::HostPacked));
    HeapPicture destination(pictureFormat(7, 3, 1, EzImageDataType::UInt16, EzDataStorageFormat::HostPacked));
    ASSERT_TRUE(CzPicBufAPI::ExtractChannel(*source, *destination, 2));
    EXPECT_TRUE(samePixels(*destination, *channelOf(*source, 2)));
}

TEST(ExtractChannel, MovesSamplesOfOneSizeWhateverTheirType) {
    const HeapPicture source = patternPicture(pictureFormat(7, 3, 3, EzImageDataType::UInt32));
    HeapPicture destination(pictureFormat(7, 3, 1, EzImageDataType::Float32));
    destination->floatMin = 3.0F;
    destination->floatMax = 4.0F;
    ASSERT_TRUE(CzPicBufAPI::ExtractChannel(*source, *destination, 1));
    EXPECT_EQ(rawSample<std::uint32_t>(*destination, 6, 2), rawSample<std::uint32_t>(*source, 6, 2, 1));
    EXPECT_EQ(destination->floatMin, 3.0F) << "left to CalcFloatDataMinMax";
    EXPECT_EQ(destination->floatMax, 4.0F);
}

TEST(ExtractChannel, RefusesWhatDoesNotFit) {
    const HeapPicture source = patternPicture(pictureFormat(4, 4, 3, EzImageDataType::UInt16));
    const SzPicBufInfo good = pictureFormat(4, 4, 1, EzImageDataType::UInt16);
    Canvas destination(good);
    for (const std::uint32_t channel : {3U, 4U, UINT32_MAX})
        EXPECT_FALSE(CzPicBufAPI::ExtractChannel(*source, *destination, channel)) << channel;
    EXPECT_TRUE(destination.allUntouched());

    for (const SzPicBufInfo& other :
         {pictureFormat(3, 4, 1, EzImageDataType::UInt16), pictureFormat(4, 5, 1, EzImageDataType::UInt16),
          pictureFormat(4, 4, 2, EzImageDataType::UInt16), pictureFormat(4, 4, 1, EzImageDataType::UInt8)}) {
        Canvas wrong(other);
        EXPECT_FALSE(CzPicBufAPI::ExtractChannel(*source, *wrong, 0)) << formatName(other);
        EXPECT_TRUE(wrong.allUntouched());
    }
    SzPicBuf empty;
    empty.setPicFormat(good);
    EXPECT_FALSE(CzPicBufAPI::ExtractChannel(*source, empty, 0));
    EXPECT_FALSE(CzPicBufAPI::ExtractChannel(empty, *destination, 0));
    EXPECT_TRUE(destination.allUntouched());
}

TEST(FillChannelWithValue, SetsOneChannelAndLeavesTheOthers) {
    for (const SzPicBufInfo& format : pictureFormats(kernelSampleTypes(), {1, 2, 3, 4, 5})) {
        SCOPED_TRACE(formatName(format));
        for (std::uint32_t channel = 0; channel < format.channels; ++channel) {
            Canvas picture(format);
            fillPattern(*picture);
            ASSERT_TRUE(CzPicBufAPI::FillChannelWithValue(*picture, channel, 200));
            HeapPicture expected = patternPicture(format);
            for (std::uint32_t y = 0; y < format.height; ++y)
                for (std::uint32_t x = 0; x < format.width; ++x)
                    setSample(*expected, x, y, channel, 200);
            EXPECT_TRUE(samePixels(*picture, *expected)) << "channel " << channel;
            EXPECT_TRUE(picture.surroundingsUntouched());
        }
    }
}

TEST(FillChannelWithValue, CutsTheValueTo8BitsFor8BitSamplesOnly) {
    for (const EzImageDataType dataType : kernelSampleTypes()) {
        HeapPicture picture(pictureFormat(1, 1, 1, dataType));
        ASSERT_TRUE(CzPicBufAPI::FillChannelWithValue(*picture, 0, 0xabcd));
        EXPECT_EQ(sampleAt(*picture, 0, 0), dataType == EzImageDataType::UInt8 ? 0xcd : 0xabcd);
    }
}

TEST(FillChannelWithValue, RefusesMissingChannelsPixelsAndForeignSampleTypes) {
    Canvas picture(pictureFormat(4, 4, 3, EzImageDataType::UInt8));
    EXPECT_FALSE(CzPicBufAPI::FillChannelWithValue(*picture, 3, 1));
    EXPECT_FALSE(CzPicBufAPI::FillChannelWithValue(*picture, UINT32_MAX, 1));
    EXPECT_TRUE(picture.allUntouched());
    SzPicBuf empty;
    empty.setPicFormat(*picture);
    EXPECT_FALSE(CzPicBufAPI::FillChannelWithValue(empty, 0, 1));
    for (const EzImageDataType dataType :
         {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16,
          EzImageDataType::SpectrumFloat32, EzImageDataType::Float64, EzImageDataType::Float16}) {
        Canvas foreign(pictureFormat(4, 4, 1, dataType));
        EXPECT_FALSE(CzPicBufAPI::FillChannelWithValue(*foreign, 0, 1)) << sampleTypeName(dataType);
        EXPECT_TRUE(foreign.allUntouched());
    }
}

// ---- Range of floats ----

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

TEST(CalcFloatDataMinMax, FindsTheExtremesWhereverTheyAre) {
    for (const SzPicBufInfo& format :
         pictureFormats({EzImageDataType::Float32, EzImageDataType::SpectrumFloat32}, {1, 3, 4})) {
        SCOPED_TRACE(formatName(format));
        HeapPicture picture(format);
        for (std::uint32_t y = 0; y < format.height; ++y)
            for (std::uint32_t x = 0; x < format.width; ++x) {
                const std::uint32_t channel = (x + y) % format.channels;
                fillSamples(*picture, [](auto, auto, auto) { return 2.5; });
                setSample(*picture, x, y, channel, -7.25);
                float minimum = 0.0F;
                float maximum = 0.0F;
                const bool alone = format.width * format.height * format.channels == 1;
                ASSERT_TRUE(CzPicBufAPI::CalcFloatDataMinMax(*picture, minimum, maximum, false));
                ASSERT_EQ(minimum, -7.25F);
                ASSERT_EQ(maximum, alone ? -7.25F : 2.5F);
                setSample(*picture, x, y, channel, 1e30);
                ASSERT_TRUE(CzPicBufAPI::CalcFloatDataMinMax(*picture, minimum, maximum, false));
                ASSERT_EQ(minimum, alone ? 1e30F : 2.5F);
                ASSERT_EQ(maximum, 1e30F);
            }
    }
}

TEST(CalcFloatDataMinMax, WritesIntoThePicturesOwnFields) {
    HeapPicture picture = patternPicture(pictureFormat(33, 17, 1, EzImageDataType::Float32));
    double smallest = 1e9;
    double largest = -1e9;
    for (std::uint32_t y = 0; y < 17; ++y)
        for (std::uint32_t x = 0; x < 33; ++x) {
            smallest = std::min(smallest, sampleAt(*picture, x, y));
            largest = std::max(largest, sampleAt(*picture, x, y));
        }
    ASSERT_TRUE(CzPicBufAPI::CalcFloatDataMinMax(*picture, picture->floatMin, picture->floatMax, false));
    EXPECT_EQ(picture->floatMin, static_cast<float>(smallest));
    EXPECT_EQ(picture->floatMax, static_cast<float>(largest));
}

TEST(CalcFloatDataMinMax, SkipsWhatIsNotANumber) {
    HeapPicture picture(pictureFormat(19, 1, 1, EzImageDataType::Float32));
    float minimum = 5.0F;
    float maximum = 6.0F;
    fillSamples(*picture, [](auto, auto, auto) { return double{notANumber}; });
    ASSERT_TRUE(CzPicBufAPI::CalcFloatDataMinMax(*picture, minimum, maximum, false));
    EXPECT_EQ(minimum, 0.0F);
    EXPECT_EQ(maximum, 0.0F);

    for (std::uint32_t x = 0; x < 19; ++x) {
        fillSamples(*picture, [](auto, auto, auto) { return double{notANumber}; });
        setSample(*picture, x, 0, 0, 3.0);
        ASSERT_TRUE(CzPicBufAPI::CalcFloatDataMinMax(*picture, minimum, maximum, false));
        EXPECT_EQ(minimum, 3.0F) << x;
        EXPECT_EQ(maximum, 3.0F) << x;
    }
}

TEST(CalcFloatDataMinMax, InfinitiesAreNumbers) {
    HeapPicture picture(pictureFormat(9, 1, 1, EzImageDataType::Float32));
    for (const float value : {infinity, -infinity}) {
        fillSamples(*picture, [&](auto, auto, auto) { return double{value}; });
        float minimum = 0.0F;
        float maximum = 0.0F;
        ASSERT_TRUE(CzPicBufAPI::CalcFloatDataMinMax(*picture, minimum, maximum, false));
        EXPECT_EQ(minimum, value);
        EXPECT_EQ(maximum, value);
    }
}

TEST(CalcFloatDataMinMax, RefusesEverythingButFloats) {
    float minimum = 5.0F;
    float maximum = 6.0F;
    for (const EzImageDataType dataType : allSampleTypes()) {
        if (dataType == EzImageDataType::Float32 || dataType == EzImageDataType::SpectrumFloat32)
            continue;
        const HeapPicture picture(pictureFormat(4, 4, 1, dataType));
        EXPECT_FALSE(CzPicBufAPI::CalcFloatDataMinMax(*picture, minimum, maximum, false))
            << sampleTypeName(dataType);
    }
    SzPicBuf empty;
    empty.setPicFormat(pictureFormat(4, 4, 1, EzImageDataType::Float32));
    EXPECT_FALSE(CzPicBufAPI::CalcFloatDataMinMax(empty, minimum, maximum, false));
    EXPECT_EQ(minimum, 5.0F);
    EXPECT_EQ(maximum, 6.0F);
}

} // namespace
