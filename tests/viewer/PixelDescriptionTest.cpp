// SPDX-License-Identifier: GPL-3.0-or-later
#include "PixelDescription.h"

#include "FFTImageData.h"
#include "ViewerFixture.h"

#include <cmath>
#include <limits>

namespace {

using Zone = CzHsiCameraParams::CzFilterZone;

TEST(SampleAt, TellsEverySampleAsItIsInMemory) {
    std::vector<EzImageDataType> types = kernelSampleTypes();
    types.push_back(EzImageDataType::SpectrumFloat32);
    for (const SzPicBufInfo& format : pictureFormats(types, {1, 3, 5})) {
        SCOPED_TRACE(formatName(format));
        const auto picture = picturePattern(format);
        for (std::uint32_t y = 0; y < format.height; ++y)
            for (std::uint32_t x = 0; x < format.width; ++x)
                for (std::uint32_t c = 0; c < format.channels; ++c)
                    ASSERT_EQ(sampleAt(*picture, int(x), int(y), int(c)),
                              sampleAt(picture->picBuf(), x, y, c));
    }
}

TEST(SampleAt, IsNotANumberOutsideThePicture) {
    const auto picture = picturePattern(pictureFormat(3, 2, 2, EzImageDataType::UInt8));
    for (const auto& [x, y, channel] : {std::tuple{-1, 0, 0},
                                        {3, 0, 0},
                                        {0, -1, 0},
                                        {0, 2, 0},
                                        {0, 0, -1},
                                        {0, 0, 2},
                                        {1 << 30, 1 << 30, 0}})
        EXPECT_TRUE(std::isnan(sampleAt(*picture, x, y, channel)));
    EXPECT_TRUE(std::isnan(sampleAt(CzImageData(), 0, 0, 0)));
}

TEST(DescribePixel, TellsPlaceAndSamplesOfAllChannels) {
    auto picture =
        blackPicture(pictureFormat(4, 3, 5, EzImageDataType::UInt16, EzDataStorageFormat::Planar, 1));
    for (std::uint32_t c = 0; c < 5; ++c)
        setSample(picture->picBuf(), 2, 1, c, 100 * c + 1);
    EXPECT_EQ(describePixel(*picture, 2, 1), QStringLiteral("x 2, y 1: 1, 101, 201, 301, 401"));
    EXPECT_EQ(describePixel(*picture, 4, 1), QString());
    EXPECT_EQ(describePixel(*picture, -1, -1), QString());
}

TEST(DescribePixel, TellsColoursAsRedGreenBlueAndWhatIsBeside) {
    SzPicBufInfo format = pictureFormat(1, 1, 4, EzImageDataType::UInt8);
    format.isColor = true;
    auto picture = blackPicture(format);
    for (std::uint32_t c = 0; c < 4; ++c)
        setSample(picture->picBuf(), 0, 0, c, 10 * c + 10);
    EXPECT_EQ(describePixel(*picture, 0, 0), QStringLiteral("x 0, y 0: 30, 20, 10, 40"));
}

TEST(DescribePixel, TellsAllDigitsOfIntegersAndFloatsReadably) {
    auto integers = blackPicture(pictureFormat(1, 1, 1, EzImageDataType::UInt32));
    setSample(integers->picBuf(), 0, 0, 0, 4294967295.0);
    EXPECT_EQ(describePixel(*integers, 0, 0), QStringLiteral("x 0, y 0: 4294967295"));
    auto floats = blackPicture(pictureFormat(3, 1, 1, EzImageDataType::Float32));
    setSample(floats->picBuf(), 0, 0, 0, 1.0 / 3);
    setSample(floats->picBuf(), 1, 0, 0, std::numeric_limits<double>::quiet_NaN());
    setSample(floats->picBuf(), 2, 0, 0, -std::numeric_limits<double>::infinity());
    EXPECT_EQ(describePixel(*floats, 0, 0), QStringLiteral("x 0, y 0: 0.333333"));
    EXPECT_EQ(describePixel(*floats, 1, 0), QStringLiteral("x 1, y 0: nan"));
    EXPECT_EQ(describePixel(*floats, 2, 0), QStringLiteral("x 2, y 0: -inf"));
}

TEST(DescribePixel, TellsTheColourOfEachBayerSample) {
    const QStringList cells{QStringLiteral("red green green blue"), QStringLiteral("green red blue green"),
                            QStringLiteral("green blue red green"), QStringLiteral("blue green green red")};
    for (int pattern = 0; pattern < 4; ++pattern) {
        SzPicBufInfo format = pictureFormat(4, 4, 1, EzImageDataType::UInt8);
        format.colorFilterArray = static_cast<EzColorFilterArray>(pattern + 1);
        const auto picture = blackPicture(format);
        const QStringList colours = cells.at(pattern).split(QLatin1Char(' '));
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(describePixel(*picture, 2 + i % 2, 2 + i / 2),
                      QStringLiteral("x %1, y %2: 0 (%3)").arg(2 + i % 2).arg(2 + i / 2).arg(colours.at(i)));
    }
}

TEST(DescribePixel, TellsThePlaceInTheCellOfTheZone) {
    const auto picture = blackPicture(mosaicFormat(20, 20, EzImageDataType::UInt8));
    picture->setImageMetadata(mosaicMetadata(
        {mosaicZone(2, 2, 1, 1, QRect(0, 0, 10, 20)), mosaicZone(3, 2, 2, 3, QRect(11, 1, 9, 19))}));
    EXPECT_EQ(describePixel(*picture, 3, 2),
              QStringLiteral("x 3, y 2: 0 (column 1, row 0 of the cell: band 1)"));
    // (17 − 11) / 2 = patch 3, the first of the next cell; (5 − 1) / 3 = patch 1.
    EXPECT_EQ(describePixel(*picture, 17, 5),
              QStringLiteral("x 17, y 5: 0 (column 0, row 1 of the cell: band 3)"));
    EXPECT_EQ(describePixel(*picture, 10, 5), QStringLiteral("x 10, y 5: 0")); // in no zone
}

TEST(DescribePixel, TellsMagnitudeAndPhaseOfSpectra) {
    const SzPicBufInfo format = pictureFormat(1, 1, 1, EzImageDataType::SpectrumFloat32);
    CzFFTImageData spectrum;
    HeapPicture real(format);
    HeapPicture imaginary(format);
    setSample(*real, 0, 0, 0, 0.0);
    setSample(*imaginary, 0, 0, 0, -2.5);
    spectrum.setPicBuf(real.release());
    SzPicBuf second = imaginary.release();
    ASSERT_TRUE(spectrum.setPicBufIm(second));
    EXPECT_EQ(describePixel(spectrum, 0, 0), QStringLiteral("x 0, y 0: magnitude 2.5, phase -90°"));
}

TEST(DescribePixel, SaysWhenSamplesCannotBeShown) {
    const auto picture = blackPicture(pictureFormat(1, 1, 1, EzImageDataType::Float64));
    EXPECT_EQ(describePixel(*picture, 0, 0),
              QStringLiteral("x 0, y 0: samples of a type that cannot be shown"));
}

// ---- Spectra of pixels ----

TEST(SpectrumAt, TellsTheBandsOfTheCellByTheirWavelength) {
    const auto picture = picturePattern(mosaicFormat(9, 9, EzImageDataType::UInt16));
    picture->setImageMetadata(mosaicMetadata({mosaicZone(2, 2, 2, 1, QRect(1, 1, 8, 8))}));
    const QVector<SzSpectrumPoint> spectrum = spectrumAt(*picture, 8, 4); // in the cell from (5, 3) on
    ASSERT_EQ(spectrum.size(), 4);
    for (int i = 0; i < 4; ++i) {
        const int band = 3 - i; // wavelengths fall with the number
        EXPECT_EQ(spectrum.at(i).band, QStringLiteral("band %1").arg(band));
        EXPECT_EQ(spectrum.at(i).wavelength, 900.0 - 10 * band);
        EXPECT_EQ(spectrum.at(i).value,
                  sampleAt(picture->picBuf(), std::uint32_t(5 + band % 2 * 2), std::uint32_t(3 + band / 2)));
    }
}

TEST(SpectrumAt, LeavesOutBandsBeyondTheZoneAndThePicture) {
    const auto picture = picturePattern(mosaicFormat(7, 7, EzImageDataType::UInt8));
    // The zone ends in a cell at its right, the picture at the bottom.
    picture->setImageMetadata(mosaicMetadata({mosaicZone(2, 2, 1, 1, QRect(0, 0, 5, 100))}));
    const QVector<SzSpectrumPoint> spectrum = spectrumAt(*picture, 4, 6);
    ASSERT_EQ(spectrum.size(), 1);
    EXPECT_EQ(spectrum.first().band, QStringLiteral("band 0"));
    EXPECT_EQ(spectrum.first().value, sampleAt(picture->picBuf(), 4, 6));
}

TEST(SpectrumAt, IsEmptyWhereThereIsNoMosaic) {
    const auto picture = picturePattern(mosaicFormat(7, 7, EzImageDataType::UInt8));
    EXPECT_TRUE(spectrumAt(*picture, 1, 1).isEmpty());
    picture->setImageMetadata(mosaicMetadata({mosaicZone(2, 2, 1, 1, QRect(0, 0, 4, 4))}));
    EXPECT_EQ(spectrumAt(*picture, 3, 3).size(), 4);
    EXPECT_TRUE(spectrumAt(*picture, 4, 3).isEmpty());
    EXPECT_TRUE(spectrumAt(*picture, -1, 0).isEmpty());
    EXPECT_TRUE(spectrumAt(*picture, 0, 7).isEmpty());
    const auto grey = picturePattern(pictureFormat(7, 7, 1, EzImageDataType::UInt8));
    grey->setImageMetadata(picture->imageMetadata());
    EXPECT_TRUE(spectrumAt(*grey, 1, 1).isEmpty());
}

} // namespace
