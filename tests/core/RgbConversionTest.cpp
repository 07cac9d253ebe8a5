// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBufAPI.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <vector>

namespace {

using Pixel = std::array<int, 3>; ///< blue, green, red

HeapPicture rgbPicture(const SzPicBufInfo& source, std::uint32_t channels, std::uint32_t padding = 0) {
    return HeapPicture(pictureFormat(source.width, source.height, channels, EzImageDataType::UInt8,
                                     EzDataStorageFormat::Interleaved, padding));
}

Pixel pixelAt(const SzPicBuf& picture, std::uint32_t x, std::uint32_t y) {
    return {rawSample<std::uint8_t>(picture, x, y, 0), rawSample<std::uint8_t>(picture, x, y, 1),
            rawSample<std::uint8_t>(picture, x, y, 2)};
}

/// What a sample looks like in 8 bits, worked out in doubles.
int shown(const SzPicBuf& picture, double sample) {
    if (picture.dataType == EzImageDataType::Float32) {
        const double range = double{picture.floatMax} - double{picture.floatMin};
        const double stretched = std::floor((sample - double{picture.floatMin}) / range * 255.0 + 0.5);
        return static_cast<int>(std::fmin(std::fmax(stretched, 0.0), 255.0));
    }
    const double largest = std::ldexp(1.0, static_cast<int>(picture.bitDepth)) - 1.0;
    const double clipped = std::fmin(sample, largest);
    return static_cast<int>(picture.bitDepth < 8 ? std::floor(clipped * 255.0 / largest + 0.5)
                                                 : std::floor(clipped * 256.0 / (largest + 1.0)));
}

/// Converts a one-channel picture of one sample.
int shownSample(EzImageDataType dataType, std::uint32_t bitDepth, double sample) {
    HeapPicture source(pictureFormat(1, 1, 1, dataType));
    source->bitDepth = bitDepth;
    setSample(*source, 0, 0, 0, sample);
    HeapPicture destination = rgbPicture(*source, 3);
    EXPECT_TRUE(CzPicBufAPI::ConvertPicToRGB(*source, *destination));
    const Pixel pixel = pixelAt(*destination, 0, 0);
    EXPECT_EQ(pixel, (Pixel{pixel[0], pixel[0], pixel[0]}));
    return pixel[0];
}

TEST(ConvertPicToRGB, ShowsChannelsInEveryFormat) {
    for (const bool isColor : {false, true})
        for (SzPicBufInfo format : pictureFormats(kernelSampleTypes(), {1, 2, 3, 4, 5})) {
            format.isColor = isColor;
            SCOPED_TRACE(formatName(format));
            HeapPicture source = patternPicture(format);
            source->floatMin = -800.0F;
            source->floatMax = 900.0F;

            // Colour pictures have their colours first; of others first, middle and last channel are shown.
            const std::array<std::array<std::uint32_t, 3>, 6> others = {
                {{}, {0, 0, 0}, {0, 0, 1}, {0, 1, 2}, {0, 1, 3}, {0, 2, 4}}};
            const bool hasColors = isColor && (format.channels == 3 || format.channels == 4);
            const auto channels = hasColors ? std::array<std::uint32_t, 3>{0, 1, 2} : others[format.channels];

            for (const std::uint32_t destinationChannels : {3U, 4U}) {
                HeapPicture destination = rgbPicture(format, destinationChannels, 5);
                ASSERT_TRUE(CzPicBufAPI::ConvertPicToRGB(*source, *destination));
                for (std::uint32_t y = 0; y < format.height; ++y)
                    for (std::uint32_t x = 0; x < format.width; ++x) {
                        Pixel expected;
                        for (std::size_t i = 0; i < 3; ++i)
                            expected[i] = shown(*source, sampleAt(*source, x, y, channels[i]));
                        ASSERT_EQ(pixelAt(*destination, x, y), expected) << x << ", " << y;
                        if (destinationChannels == 4) {
                            ASSERT_EQ(sampleAt(*destination, x, y, 3), 255.0);
                        }
                    }
            }
        }
}

TEST(ConvertPicToRGB, EveryBitDepthReachesFromBlackToWhite) {
    for (const EzImageDataType dataType :
         {EzImageDataType::UInt8, EzImageDataType::UInt16, EzImageDataType::UInt32})
        for (std::uint32_t bitDepth = 1; bitDepth <= 8 * bytesPerSample(dataType); ++bitDepth) {
            SCOPED_TRACE(testing::Message() << sampleTypeName(dataType) << ", " << bitDepth << " bits");
            const double largest = std::ldexp(1.0, static_cast<int>(bitDepth)) - 1.0;
            EXPECT_EQ(shownSample(dataType, bitDepth, 0.0), 0);
            EXPECT_EQ(shownSample(dataType, bitDepth, largest), 255);
        }
}

TEST(ConvertPicToRGB, EverySampleOfFewBitsIsScaledUp) {
    for (const EzImageDataType dataType :
         {EzImageDataType::UInt8, EzImageDataType::UInt16, EzImageDataType::UInt32})
        for (int bitDepth = 1; bitDepth <= 8; ++bitDepth) {
            const int largest = (1 << bitDepth) - 1;
            for (int sample = 0; sample <= largest; ++sample)
                EXPECT_EQ(shownSample(dataType, static_cast<std::uint32_t>(bitDepth), sample),
                          (2 * 255 * sample + largest) / (2 * largest)) // rounded half up
                    << sample << " of " << bitDepth << " bits";
        }
}

TEST(ConvertPicToRGB, ManyBitsAreShiftedAway) {
    EXPECT_EQ(shownSample(EzImageDataType::UInt16, 12, 0x0aff), 0xaf);
    EXPECT_EQ(shownSample(EzImageDataType::UInt16, 16, 0x12ff), 0x12);
    EXPECT_EQ(shownSample(EzImageDataType::UInt32, 9, 511), 255);
    EXPECT_EQ(shownSample(EzImageDataType::UInt32, 9, 255), 127);
    EXPECT_EQ(shownSample(EzImageDataType::UInt32, 31, 0x7effffff), 0xfd);
    EXPECT_EQ(shownSample(EzImageDataType::UInt32, 32, 0x80ffffff), 0x80);
}

TEST(ConvertPicToRGB, SamplesBeyondTheBitDepthAreWhite) {
    EXPECT_EQ(shownSample(EzImageDataType::UInt8, 4, 16), 255);
    EXPECT_EQ(shownSample(EzImageDataType::UInt8, 1, 255), 255);
    EXPECT_EQ(shownSample(EzImageDataType::UInt16, 8, 300), 255);
    EXPECT_EQ(shownSample(EzImageDataType::UInt16, 12, 4096), 255);
    EXPECT_EQ(shownSample(EzImageDataType::UInt16, 12, 65535), 255);
    EXPECT_EQ(shownSample(EzImageDataType::UInt32, 12, 4294967295.0), 255);
}

TEST(ConvertPicToRGB, AnUnknownOrImpossibleBitDepthIsTheSampleTypesOwn) {
    for (const std::uint32_t bitDepth : {0U, 33U, 64U, 1000U, UINT32_MAX}) {
        EXPECT_EQ(shownSample(EzImageDataType::UInt8, bitDepth, 77), 77) << bitDepth;
        EXPECT_EQ(shownSample(EzImageDataType::UInt16, bitDepth, 0x4d00), 0x4d) << bitDepth;
        EXPECT_EQ(shownSample(EzImageDataType::UInt32, bitDepth, 0x4d000000), 0x4d) << bitDepth;
    }
    EXPECT_EQ(shownSample(EzImageDataType::UInt8, 12, 77), 77);
    EXPECT_EQ(shownSample(EzImageDataType::UInt16, 32, 0x4d00), 0x4d);
}

/// Converts one line of floats with the given range.
std::vector<int> shownFloats(const std::vector<float>& samples, float minimum, float maximum) {
    HeapPicture source(
        pictureFormat(static_cast<std::uint32_t>(samples.size()), 1, 1, EzImageDataType::Float32));
    fillSamples(*source, [&](std::uint32_t x, auto, auto) { return double{samples[x]}; });
    source->floatMin = minimum;
    source->floatMax = maximum;
    HeapPicture destination = rgbPicture(*source, 3);
    EXPECT_TRUE(CzPicBufAPI::ConvertPicToRGB(*source, *destination));
    std::vector<int> bytes;
    for (std::uint32_t x = 0; x < source->width; ++x)
        bytes.push_back(pixelAt(*destination, x, 0)[0]);
    return bytes;
}

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float largestFloat = std::numeric_limits<float>::max();
constexpr float tiniestFloat = std::numeric_limits<float>::denorm_min();

TEST(ConvertPicToRGB, FloatsAreStretchedFromTheirRange) {
    EXPECT_EQ(shownFloats({-10.0F, -1.0F, 0.0F, 1.0F, 10.0F}, -1.0F, 1.0F),
              (std::vector<int>{0, 0, 128, 255, 255}));
    EXPECT_EQ(shownFloats({0.0F, 0.49F, 0.5F, 1.49F, 254.6F}, 0.0F, 255.0F),
              (std::vector<int>{0, 0, 1, 1, 255}));
    EXPECT_EQ(shownFloats({-infinity, infinity, notANumber}, 0.0F, 1.0F), (std::vector<int>{0, 255, 0}));
}

TEST(ConvertPicToRGB, TheLargestAndTheTiniestRangeOfFloatsWork) {
    EXPECT_EQ(shownFloats({-largestFloat, 0.0F, largestFloat}, -largestFloat, largestFloat),
              (std::vector<int>{0, 128, 255}));
    EXPECT_EQ(shownFloats({0.0F, tiniestFloat, 1.0F}, 0.0F, tiniestFloat), (std::vector<int>{0, 255, 255}));
}

TEST(ConvertPicToRGB, FloatsWithoutARangeAreBlackOrWhite) {
    const std::vector<float> samples = {-infinity, -1.0F, 2.0F, 2.5F, infinity, notANumber};
    const std::vector<int> above2 = {0, 0, 0, 255, 255, 0};
    EXPECT_EQ(shownFloats(samples, 2.0F, 2.0F), above2);
    EXPECT_EQ(shownFloats(samples, 2.0F, 1.0F), above2);
    EXPECT_EQ(shownFloats(samples, 2.0F, infinity), above2);
    EXPECT_EQ(shownFloats(samples, 2.0F, notANumber), above2);
    EXPECT_EQ(shownFloats(samples, -infinity, 2.0F), (std::vector<int>{0, 255, 255, 255, 255, 0}));
    EXPECT_EQ(shownFloats(samples, notANumber, 2.0F), (std::vector<int>{0, 0, 0, 0, 0, 0}));
}

TEST(ConvertPicToRGB, SpectraAreStretchedFromTheirOwnExtremes) {
    HeapPicture source(pictureFormat(4, 1, 1, EzImageDataType::SpectrumFloat32));
    const double samples[] = {-2.0, double{notANumber}, 0.0, 2.0};
    fillSamples(*source, [&](std::uint32_t x, auto, auto) { return samples[x]; });
    source->floatMin = 100.0F;
    source->floatMax = 200.0F;
    HeapPicture destination = rgbPicture(*source, 4);
    ASSERT_TRUE(CzPicBufAPI::ConvertPicToRGB(*source, *destination));
    EXPECT_EQ(pixelAt(*destination, 0, 0), (Pixel{0, 0, 0}));
    EXPECT_EQ(pixelAt(*destination, 1, 0), (Pixel{0, 0, 0}));
    EXPECT_EQ(pixelAt(*destination, 2, 0), (Pixel{128, 128, 128}));
    EXPECT_EQ(pixelAt(*destination, 3, 0), (Pixel{255, 255, 255}));
    EXPECT_EQ(source->floatMin, 100.0F);
}

// ---- Bayer ----

struct Arrangement {
    EzColorFilterArray colorFilterArray;
    const char* cell; ///< left to right, top to bottom
};
const Arrangement arrangements[] = {{EzColorFilterArray::BayerRGGB, "RGGB"},
                                    {EzColorFilterArray::BayerGRBG, "GRBG"},
                                    {EzColorFilterArray::BayerGBRG, "GBRG"},
                                    {EzColorFilterArray::BayerBGGR, "BGGR"}};

/// Channel of the sample at (x, y): blue 0, green 1, red 2. Coordinates may be −1.
int colorAt(const Arrangement& arrangement, int x, int y) {
    const char letter = arrangement.cell[(y & 1) * 2 + (x & 1)];
    return letter == 'B' ? 0 : letter == 'G' ? 1 : 2;
}

/// Where a coordinate beyond a border is mirrored to.
std::uint32_t mirrored(int coordinate, std::uint32_t size) {
    const int last = static_cast<int>(size) - 1;
    return static_cast<std::uint32_t>(coordinate < 0      ? -coordinate
                                      : coordinate > last ? 2 * last - coordinate
                                                          : coordinate);
}

/// Each colour of a pixel is its own sample, or the average of the samples of that colour around it.
Pixel interpolated(const SzPicBuf& source, const Arrangement& arrangement, int x, int y) {
    const auto byteAt = [&](int column, int row) {
        return shown(source, sampleAt(source, mirrored(column, source.width), mirrored(row, source.height)));
    };
    Pixel pixel;
    for (int color = 0; color < 3; ++color) {
        if (colorAt(arrangement, x, y) == color) {
            pixel[static_cast<std::size_t>(color)] = byteAt(x, y);
            continue;
        }
        int sum = 0;
        int count = 0;
        for (int row = y - 1; row <= y + 1; ++row)
            for (int column = x - 1; column <= x + 1; ++column)
                if (colorAt(arrangement, column, row) == color) {
                    sum += byteAt(column, row);
                    ++count;
                }
        pixel[static_cast<std::size_t>(color)] = (2 * sum + count) / (2 * count);
    }
    return pixel;
}

TEST(ConvertPicToRGB, BayerPicturesAreInterpolatedBilinearly) {
    const std::pair<std::uint32_t, std::uint32_t> sizes[] = {{2, 2}, {3, 2}, {2, 3}, {3, 3},
                                                             {4, 4}, {5, 3}, {8, 6}, {33, 17}};
    for (const Arrangement& arrangement : arrangements)
        for (const EzImageDataType dataType : kernelSampleTypes())
            for (const auto storageFormat : {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar})
                for (const auto& [width, height] : sizes) {
                    SzPicBufInfo format = pictureFormat(width, height, 1, dataType, storageFormat, 3);
                    format.colorFilterArray = arrangement.colorFilterArray;
                    if (dataType == EzImageDataType::UInt16)
                        format.bitDepth = 12;
                    SCOPED_TRACE(formatName(format));
                    HeapPicture source = patternPicture(format);
                    source->floatMin = -1000.0F;
                    source->floatMax = 1000.0F;
                    for (const std::uint32_t channels : {3U, 4U}) {
                        HeapPicture destination = rgbPicture(format, channels, 2);
                        ASSERT_TRUE(CzPicBufAPI::ConvertPicToRGB(*source, *destination));
                        for (std::uint32_t y = 0; y < height; ++y)
                            for (std::uint32_t x = 0; x < width; ++x) {
                                ASSERT_EQ(pixelAt(*destination, x, y),
                                          interpolated(*source, arrangement, static_cast<int>(x),
                                                       static_cast<int>(y)))
                                    << x << ", " << y;
                                if (channels == 4) {
                                    ASSERT_EQ(sampleAt(*destination, x, y, 3), 255.0);
                                }
                            }
                    }
                }
}

TEST(ConvertPicToRGB, OneBayerCellByHand) {
    SzPicBufInfo format = pictureFormat(2, 2, 1, EzImageDataType::UInt8);
    format.colorFilterArray = EzColorFilterArray::BayerRGGB;
    HeapPicture source(format);
    setSample(*source, 0, 0, 0, 10); // red
    setSample(*source, 1, 0, 0, 20); // green
    setSample(*source, 0, 1, 0, 31); // green
    setSample(*source, 1, 1, 0, 40); // blue
    HeapPicture destination = rgbPicture(format, 3);
    ASSERT_TRUE(CzPicBufAPI::ConvertPicToRGB(*source, *destination));
    EXPECT_EQ(pixelAt(*destination, 0, 0), (Pixel{40, 26, 10})); // 25.5 rounds up
    EXPECT_EQ(pixelAt(*destination, 1, 0), (Pixel{40, 20, 10}));
    EXPECT_EQ(pixelAt(*destination, 0, 1), (Pixel{40, 31, 10}));
    EXPECT_EQ(pixelAt(*destination, 1, 1), (Pixel{40, 26, 10}));
}

TEST(ConvertPicToRGB, AnEvenlyColouredSceneStaysEvenUpToTheBorders) {
    const Pixel scene = {11, 99, 201};
    for (const Arrangement& arrangement : arrangements) {
        SzPicBufInfo format = pictureFormat(7, 5, 1, EzImageDataType::UInt8);
        format.colorFilterArray = arrangement.colorFilterArray;
        HeapPicture source(format);
        fillSamples(*source, [&](std::uint32_t x, std::uint32_t y, auto) {
            return scene[static_cast<std::size_t>(
                colorAt(arrangement, static_cast<int>(x), static_cast<int>(y)))];
        });
        HeapPicture destination = rgbPicture(format, 3);
        ASSERT_TRUE(CzPicBufAPI::ConvertPicToRGB(*source, *destination));
        for (std::uint32_t y = 0; y < 5; ++y)
            for (std::uint32_t x = 0; x < 7; ++x)
                EXPECT_EQ(pixelAt(*destination, x, y), scene) << arrangement.cell << " " << x << ", " << y;
    }
}

void expectGrey(const SzPicBufInfo& format) {
    SCOPED_TRACE(formatName(format));
    const HeapPicture source = patternPicture(format);
    HeapPicture destination = rgbPicture(format, 3);
    ASSERT_TRUE(CzPicBufAPI::ConvertPicToRGB(*source, *destination));
    for (std::uint32_t y = 0; y < format.height; ++y)
        for (std::uint32_t x = 0; x < format.width; ++x) {
            const int grey = static_cast<int>(sampleAt(*source, x, y));
            ASSERT_EQ(pixelAt(*destination, x, y), (Pixel{grey, grey, grey})) << x << ", " << y;
        }
}

TEST(ConvertPicToRGB, OtherMosaicsAndLessThanABayerCellAreGrey) {
    SzPicBufInfo format = pictureFormat(5, 4, 1, EzImageDataType::UInt8);
    for (const auto colorFilterArray :
         {EzColorFilterArray::CMYG, EzColorFilterArray::RGBR, EzColorFilterArray::Hyperspectral,
          static_cast<EzColorFilterArray>(99)}) {
        format.colorFilterArray = colorFilterArray;
        expectGrey(format);
    }
    for (const auto& [width, height] :
         std::vector<std::pair<std::uint32_t, std::uint32_t>>{{1, 1}, {1, 2}, {2, 1}, {1, 7}, {7, 1}})
        for (const Arrangement& arrangement : arrangements) {
            SzPicBufInfo thin = pictureFormat(width, height, 1, EzImageDataType::UInt8);
            thin.colorFilterArray = arrangement.colorFilterArray;
            expectGrey(thin);
        }
    format.colorFilterArray = EzColorFilterArray::BayerRGGB;
    format.storageFormat = EzDataStorageFormat::HostPacked;
    expectGrey(format);
}

// ---- Refusals ----

TEST(ConvertPicToRGB, RefusesDestinationsThatAreNoRgbPictureOfThatSize) {
    const HeapPicture source = patternPicture(pictureFormat(4, 4, 3, EzImageDataType::UInt8));
    for (const SzPicBufInfo& format :
         {pictureFormat(3, 4, 3, EzImageDataType::UInt8), pictureFormat(4, 5, 3, EzImageDataType::UInt8),
          pictureFormat(4, 4, 1, EzImageDataType::UInt8), pictureFormat(4, 4, 2, EzImageDataType::UInt8),
          pictureFormat(4, 4, 5, EzImageDataType::UInt8), pictureFormat(4, 4, 3, EzImageDataType::Int8),
          pictureFormat(4, 4, 3, EzImageDataType::UInt16),
          pictureFormat(4, 4, 3, EzImageDataType::UInt8, EzDataStorageFormat::Planar),
          pictureFormat(4, 4, 3, EzImageDataType::UInt8, EzDataStorageFormat::HostPacked)}) {
        HeapPicture destination = patternPicture(format, 7);
        EXPECT_FALSE(CzPicBufAPI::ConvertPicToRGB(*source, *destination)) << formatName(format);
        EXPECT_TRUE(samePixels(*destination, *patternPicture(format, 7))) << formatName(format);
    }
    SzPicBuf empty;
    empty.setPicFormat(*source);
    HeapPicture destination = rgbPicture(*source, 3);
    EXPECT_FALSE(CzPicBufAPI::ConvertPicToRGB(*source, empty));
    EXPECT_FALSE(CzPicBufAPI::ConvertPicToRGB(empty, *destination));
}

TEST(ConvertPicToRGB, RefusesSampleTypesThatNobodyComputesWith) {
    for (const EzImageDataType dataType :
         {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16, EzImageDataType::Float64,
          EzImageDataType::Float16}) {
        const HeapPicture source(pictureFormat(4, 4, 1, dataType));
        HeapPicture destination = patternPicture(pictureFormat(4, 4, 3, EzImageDataType::UInt8), 7);
        EXPECT_FALSE(CzPicBufAPI::ConvertPicToRGB(*source, *destination)) << sampleTypeName(dataType);
        EXPECT_TRUE(samePixels(*destination, *patternPicture(*destination, 7)));
    }
}

} // namespace
