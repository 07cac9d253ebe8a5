// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureRenderer.h"

#include "FFTImageData.h"
#include "Scenes.h"
#include "ViewerFixture.h"
#include "support/InstructionSets.h"

#include <cmath>
#include <limits>

namespace {

using EzRange = SzDisplaySettings::EzRange;
using Zone = CzHsiCameraParams::CzFilterZone;

constexpr QRgb transparent = 0;
constexpr QRgb red = 0xFFFF0000U;
const double nan = std::numeric_limits<double>::quiet_NaN();
const double infinity = std::numeric_limits<double>::infinity();

SzViewport whole(const CzImageData& picture) {
    return {QPointF(0, 0), 1.0,
            QSize(static_cast<int>(picture.picBuf().width), static_cast<int>(picture.picBuf().height))};
}

/// The whole picture, a screen pixel per pixel, with the range that the settings ask for.
QImage rendered(const CzImageData& picture, const SzDisplaySettings& settings = {}) {
    return renderPicture(picture, settings, displayRange(picture, settings), whole(picture));
}

/// Where a sample lies in a range, from 0 to 255, without rounding.
double exactByte(double sample, const SzDisplayRange& range) {
    return std::clamp(255.0 * (sample - range.black) / (range.white - range.black), 0.0, 255.0);
}

testing::AssertionResult hasColour(QRgb pixel, double redByte, double greenByte, double blueByte) {
    const auto isNear = [](int actual, double exact) { return std::abs(actual - exact) <= 0.5 + 1e-9; };
    if (qAlpha(pixel) == 255 && isNear(qRed(pixel), redByte) && isNear(qGreen(pixel), greenByte) &&
        isNear(qBlue(pixel), blueByte))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << std::hex << pixel << std::dec << " instead of red " << redByte
                                       << ", green " << greenByte << ", blue " << blueByte;
}

SzDisplaySettings manual(double black, double white) {
    SzDisplaySettings settings;
    settings.range = EzRange::Manual;
    settings.manual = {black, white};
    return settings;
}

SzDisplaySettings automatic() {
    SzDisplaySettings settings;
    settings.range = EzRange::Automatic;
    return settings;
}

/// A grey picture with these samples, line by line.
std::unique_ptr<CzImageData> floatPicture(std::uint32_t width, std::uint32_t height,
                                          const std::vector<double>& samples) {
    auto picture = blackPicture(pictureFormat(width, height, 1, EzImageDataType::Float32));
    for (std::uint32_t i = 0; i < samples.size(); ++i)
        setSample(picture->picBuf(), i % width, i / width, 0, samples[i]);
    return picture;
}

// ---- Values ----

TEST(PictureRenderer, ShowsEverySampleTypeLayoutAndNumberOfChannels) {
    for (const SzPicBufInfo& format : pictureFormats(kernelSampleTypes(), {1, 2, 3, 4, 5})) {
        SCOPED_TRACE(formatName(format));
        const auto picture = picturePattern(format);
        const SzPicBuf& buffer = picture->picBuf();
        const bool isFloat = format.dataType == EzImageDataType::Float32;
        const double largest = std::ldexp(1.0, static_cast<int>(format.bitDepth)) - 1;
        const SzDisplaySettings settings = isFloat ? manual(-700, 900) : manual(0.1 * largest, 0.8 * largest);
        const QImage image = rendered(*picture, settings);
        const std::uint32_t last = format.channels - 1;
        for (std::uint32_t y = 0; y < format.height; ++y)
            for (std::uint32_t x = 0; x < format.width; ++x) {
                const auto byte = [&](std::uint32_t channel) {
                    return exactByte(sampleAt(buffer, x, y, channel), settings.manual);
                };
                ASSERT_TRUE(hasColour(image.pixel(int(x), int(y)), byte(last), byte(last / 2), byte(0)))
                    << x << ", " << y;
            }
    }
}

class PictureRendererKernels : public EachInstructionSet {};
INSTANTIATE_TEST_SUITE_P(, PictureRendererKernels, instructionSets, instructionSetName);

TEST_P(PictureRendererKernels, MakeTheSamePixelsWithEveryInstructionSet) {
    for (const SzPicBufInfo& format :
         pictureFormats({EzImageDataType::UInt16, EzImageDataType::Float32}, {1, 3})) {
        const auto picture = picturePattern(format);
        setSample(picture->picBuf(), 0, 0, 0, format.dataType == EzImageDataType::Float32 ? nan : 0);
        for (const SzDisplaySettings& settings : {manual(-300, 20000), manual(5, 5)}) {
            const QImage image = rendered(*picture, settings);
            limitInstructionSet(EzInstructionSet::Portable);
            const QImage portable = rendered(*picture, settings);
            limitInstructionSet(GetParam());
            ASSERT_EQ(image, portable) << formatName(format);
        }
    }
}

TEST(PictureRenderer, ShowsBlueGreenRedSamplesInTheirColours) {
    for (const std::uint32_t channels : {3U, 4U})
        for (const auto storage : {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar}) {
            SzPicBufInfo format = pictureFormat(5, 3, channels, EzImageDataType::UInt8, storage, 3);
            format.isColor = true;
            const auto picture = picturePattern(format);
            const QImage image = rendered(*picture);
            for (std::uint32_t y = 0; y < 3; ++y)
                for (std::uint32_t x = 0; x < 5; ++x)
                    ASSERT_TRUE(hasColour(image.pixel(int(x), int(y)), sampleAt(picture->picBuf(), x, y, 2),
                                          sampleAt(picture->picBuf(), x, y, 1),
                                          sampleAt(picture->picBuf(), x, y, 0)));
        }
}

TEST(PictureRenderer, FullRangeEndsAtTheBitDepth) {
    for (const auto& [type, bitDepth, end] : {std::tuple{EzImageDataType::UInt8, 0U, 255.0},
                                              {EzImageDataType::UInt8, 1U, 1.0},
                                              {EzImageDataType::UInt16, 12U, 4095.0},
                                              {EzImageDataType::UInt16, 40U, 65535.0},
                                              {EzImageDataType::UInt32, 0U, 4294967295.0},
                                              {EzImageDataType::UInt32, 32U, 4294967295.0}}) {
        SzPicBufInfo format = pictureFormat(2, 1, 1, type);
        format.bitDepth = bitDepth;
        auto picture = blackPicture(format);
        setSample(picture->picBuf(), 1, 0, 0, end);
        const SzDisplayRange range = displayRange(*picture, SzDisplaySettings());
        EXPECT_EQ(range.black, 0.0);
        EXPECT_EQ(range.white, end);
        EXPECT_EQ(rendered(*picture).pixel(0, 0), 0xFF000000U);
        EXPECT_EQ(rendered(*picture).pixel(1, 0), 0xFFFFFFFFU);
    }
}

TEST(PictureRenderer, TellsNeighboursOf32BitSamplesApart) {
    auto picture = blackPicture(pictureFormat(3, 1, 1, EzImageDataType::UInt32));
    for (std::uint32_t x = 0; x < 3; ++x)
        setSample(picture->picBuf(), x, 0, 0, 4000000000.0 + x);
    const QImage image = rendered(*picture, manual(4000000000.0, 4000000002.0));
    EXPECT_TRUE(hasColour(image.pixel(0, 0), 0, 0, 0));
    EXPECT_TRUE(hasColour(image.pixel(1, 0), 127.5, 127.5, 127.5));
    EXPECT_TRUE(hasColour(image.pixel(2, 0), 255, 255, 255));
}

TEST(PictureRenderer, ARangeWithoutExtentIsAStep) {
    auto picture = floatPicture(3, 1, {4.9, 5.0, 5.1});
    for (const SzDisplaySettings& settings : {manual(5, 5), manual(5, 4)}) {
        const QImage image = rendered(*picture, settings);
        EXPECT_EQ(image.pixel(0, 0), 0xFF000000U);
        EXPECT_EQ(image.pixel(1, 0), 0xFF000000U);
        EXPECT_EQ(image.pixel(2, 0), 0xFFFFFFFFU);
    }
}

TEST(PictureRenderer, WhatIsNotANumberIsTransparentAndWhatIsInfiniteIsAtTheEnd) {
    const auto picture = floatPicture(4, 1, {nan, infinity, -infinity, 0.5});
    const QImage image = rendered(*picture, manual(0, 1));
    EXPECT_EQ(image.pixel(0, 0), transparent);
    EXPECT_EQ(image.pixel(1, 0), 0xFFFFFFFFU);
    EXPECT_EQ(image.pixel(2, 0), 0xFF000000U);
    EXPECT_TRUE(hasColour(image.pixel(3, 0), 127.5, 127.5, 127.5));
}

TEST(PictureRenderer, AColourThatIsNotANumberIsMissingInItsPixel) {
    SzPicBufInfo format = pictureFormat(1, 1, 3, EzImageDataType::Float32);
    format.isColor = true;
    auto picture = blackPicture(format);
    setSample(picture->picBuf(), 0, 0, 0, 1.0);
    setSample(picture->picBuf(), 0, 0, 1, 0.5);
    setSample(picture->picBuf(), 0, 0, 2, nan);
    EXPECT_TRUE(hasColour(rendered(*picture, manual(0, 1)).pixel(0, 0), 0, 127.5, 255));
}

TEST(PictureRenderer, StretchesTheLargestRangeThatFloatsHave) {
    constexpr double largest = std::numeric_limits<float>::max();
    const auto picture = floatPicture(3, 1, {-largest, 0.0, largest});
    const QImage image = rendered(*picture, automatic());
    EXPECT_TRUE(hasColour(image.pixel(0, 0), 0, 0, 0));
    EXPECT_TRUE(hasColour(image.pixel(1, 0), 127.5, 127.5, 127.5));
    EXPECT_TRUE(hasColour(image.pixel(2, 0), 255, 255, 255));
}

TEST(PictureRenderer, ShowsSampleTypesThatAreNotKnownAsNothing) {
    for (const auto type : {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16,
                            EzImageDataType::Float16, EzImageDataType::Float64}) {
        const auto picture = picturePattern(pictureFormat(3, 2, 1, type));
        EXPECT_EQ(rendered(*picture, automatic()).pixel(1, 1), transparent) << sampleTypeName(type);
    }
    EXPECT_EQ(renderPicture(CzImageData(), {}, {0, 1}, {QPointF(0, 0), 1.0, QSize(2, 2)}).pixel(1, 1),
              transparent);
}

// ---- Ranges ----

TEST(DisplayRange, AutomaticLeavesAFewOutliersOut) {
    auto picture = blackPicture(pictureFormat(100, 100, 1, EzImageDataType::UInt16));
    fillSamples(picture->picBuf(), [](std::uint32_t x, std::uint32_t y, std::uint32_t) {
        return 1000.0 + 10 * ((x + y) % 100);
    });
    setSample(picture->picBuf(), 50, 50, 0, 65535);
    setSample(picture->picBuf(), 60, 60, 0, 0);
    const SzDisplayRange range = displayRange(*picture, automatic());
    EXPECT_EQ(range.black, 1000.0);
    EXPECT_EQ(range.white, 1990.0);
}

TEST(DisplayRange, AutomaticSeesEveryPlaceOfACell) {
    // Four times the grid: plain steps of 4 would meet one band of sixteen.
    for (const std::uint32_t brightX : {0U, 1U, 2U, 3U})
        for (const std::uint32_t brightY : {0U, 1U, 2U, 3U}) {
            auto picture = blackPicture(pictureFormat(896, 896, 1, EzImageDataType::UInt8));
            fillSamples(picture->picBuf(), [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
                return x % 4 == brightX && y % 4 == brightY ? 200.0 : 10.0;
            });
            const SzDisplayRange range = displayRange(*picture, automatic());
            EXPECT_EQ(range.black, 10.0);
            EXPECT_EQ(range.white, 200.0) << brightX << ", " << brightY;
        }
}

TEST(DisplayRange, CountsNumbersOnly) {
    const SzDisplayRange range =
        displayRange(*floatPicture(5, 1, {nan, -2.5, infinity, 7.5, -infinity}), automatic());
    EXPECT_EQ(range.black, -2.5);
    EXPECT_EQ(range.white, 7.5);
    const SzDisplayRange none = displayRange(*floatPicture(2, 1, {nan, infinity}), automatic());
    EXPECT_EQ(none.black, 0.0);
    EXPECT_EQ(none.white, 1.0);
}

TEST(DisplayRange, FullIsAutomaticForFloats) {
    const SzDisplayRange range = displayRange(*floatPicture(3, 1, {-1, 2, 3}), SzDisplaySettings());
    EXPECT_EQ(range.black, -1.0);
    EXPECT_EQ(range.white, 3.0);
}

TEST(DisplayRange, ManualIsTaken) {
    const SzDisplayRange range = displayRange(*floatPicture(3, 1, {-1, 2, 3}), manual(0.25, 0.5));
    EXPECT_EQ(range.black, 0.25);
    EXPECT_EQ(range.white, 0.5);
}

// ---- Bayer ----

TEST(PictureRenderer, InterpolatesBayerPicturesAsTheConversionDoes) {
    for (const EzImageDataType type :
         {EzImageDataType::UInt8, EzImageDataType::UInt16, EzImageDataType::UInt32})
        for (const auto pattern : {EzColorFilterArray::BayerRGGB, EzColorFilterArray::BayerGRBG,
                                   EzColorFilterArray::BayerGBRG, EzColorFilterArray::BayerBGGR})
            for (const auto& [width, height] : pictureSizes())
                for (const auto storage : {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar}) {
                    SzPicBufInfo format = pictureFormat(width, height, 1, type, storage, 3);
                    format.colorFilterArray = pattern;
                    SCOPED_TRACE(formatName(format));
                    const auto picture = picturePattern(format);
                    HeapPicture converted(pictureFormat(width, height, 3, EzImageDataType::UInt8));
                    ASSERT_TRUE(CzPicBufAPI::ConvertPicToRGB(picture->picBuf(), *converted));
                    const QImage image = rendered(*picture);
                    // The conversion cuts samples to 8 bits before it takes averages.
                    const double tolerance = type == EzImageDataType::UInt8 ? 0.0 : 2.0;
                    for (std::uint32_t y = 0; y < height; ++y)
                        for (std::uint32_t x = 0; x < width; ++x) {
                            const QRgb pixel = image.pixel(int(x), int(y));
                            ASSERT_NEAR(qRed(pixel), sampleAt(*converted, x, y, 2), tolerance);
                            ASSERT_NEAR(qGreen(pixel), sampleAt(*converted, x, y, 1), tolerance);
                            ASSERT_NEAR(qBlue(pixel), sampleAt(*converted, x, y, 0), tolerance);
                        }
                }
}

TEST(PictureRenderer, ShowsTheRawSamplesOfBayerPicturesWhenAskedTo) {
    SzPicBufInfo format = pictureFormat(4, 3, 1, EzImageDataType::UInt8);
    format.colorFilterArray = EzColorFilterArray::BayerGRBG;
    const auto picture = picturePattern(format);
    EXPECT_TRUE(hasMosaicColours(*picture));
    SzDisplaySettings settings;
    settings.demosaic = false;
    const QImage image = rendered(*picture, settings);
    for (std::uint32_t y = 0; y < 3; ++y)
        for (std::uint32_t x = 0; x < 4; ++x) {
            const double sample = sampleAt(picture->picBuf(), x, y);
            EXPECT_TRUE(hasColour(image.pixel(int(x), int(y)), sample, sample, sample));
        }
}

// ---- Hyperspectral mosaics ----

/// What a band shows, painted the other way round: each sample of the band over its whole cell.
std::vector<std::vector<double>> bandByCells(const SzPicBuf& picture, const Zone& zone, int band) {
    std::vector<std::vector<double>> shown(picture.height, std::vector<double>(picture.width, nan));
    const int left = zone.hasRegion() ? zone.left : 0;
    const int top = zone.hasRegion() ? zone.top : 0;
    const int right = zone.hasRegion() ? zone.right : int(picture.width) - 1;
    const int bottom = zone.hasRegion() ? zone.bottom : int(picture.height) - 1;
    const int cellPixelsX = int(zone.cellWidth * zone.blockWidth);
    const int cellPixelsY = int(zone.cellHeight * zone.blockHeight);
    for (int cellY = top; cellY <= bottom; cellY += cellPixelsY)
        for (int cellX = left; cellX <= right; cellX += cellPixelsX) {
            const int bandX = cellX + band % int(zone.cellWidth) * int(zone.blockWidth);
            const int bandY = cellY + band / int(zone.cellWidth) * int(zone.blockHeight);
            if (bandX > right || bandY > bottom || bandX >= int(picture.width) ||
                bandY >= int(picture.height))
                continue; // the zone ends in the cell
            for (int y = cellY; y < cellY + cellPixelsY; ++y)
                for (int x = cellX; x < cellX + cellPixelsX; ++x)
                    if (x <= right && y <= bottom && x < int(picture.width) && y < int(picture.height))
                        shown[std::size_t(y)][std::size_t(x)] =
                            sampleAt(picture, std::uint32_t(bandX), std::uint32_t(bandY));
        }
    return shown;
}

void expectBand(const CzImageData& picture, const Zone& zone, int band, int totalBand) {
    SCOPED_TRACE(totalBand);
    SzDisplaySettings settings;
    settings.band = totalBand;
    const QImage image = rendered(picture, settings);
    const auto expected = bandByCells(picture.picBuf(), zone, band);
    const SzDisplayRange range = displayRange(picture, settings);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const double sample = expected[std::size_t(y)][std::size_t(x)];
            const double byte = exactByte(sample, range);
            if (std::isnan(sample))
                ASSERT_EQ(image.pixel(x, y), transparent) << x << ", " << y;
            else
                ASSERT_TRUE(hasColour(image.pixel(x, y), byte, byte, byte)) << x << ", " << y;
        }
}

TEST(PictureRenderer, ShowsEachBandOfEveryZoneAlone) {
    for (const EzImageDataType type :
         {EzImageDataType::UInt8, EzImageDataType::UInt16, EzImageDataType::UInt32}) {
        const auto picture = picturePattern(mosaicFormat(23, 17, type));
        // A zone with patches of several pixels; one that ends in cells, and beyond the picture.
        const QVector<Zone> zones{mosaicZone(2, 3, 2, 1, QRect(1, 2, 9, 14)),
                                  mosaicZone(3, 2, 1, 1, QRect(11, 1, 40, 40))};
        picture->setImageMetadata(mosaicMetadata(zones));
        int total = 0;
        for (const Zone& zone : zones)
            for (int band = 0; band < zone.bands.size(); ++band)
                expectBand(*picture, zone, band, total++);
    }
}

TEST(PictureRenderer, AZoneWithoutARegionIsTheWholePicture) {
    const auto picture = picturePattern(mosaicFormat(11, 9, EzImageDataType::UInt16));
    const Zone zone = mosaicZone(5, 5, 1, 1, QRect());
    picture->setImageMetadata(mosaicMetadata({zone}));
    for (int band = 0; band < 25; ++band)
        expectBand(*picture, zone, band, band);
}

TEST(PictureRenderer, ShowsTheMosaicAsItIsForBandsThatItDoesNotHave) {
    const auto picture = picturePattern(mosaicFormat(8, 8, EzImageDataType::UInt8));
    picture->setImageMetadata(mosaicMetadata({mosaicZone(2, 2, 1, 1, QRect())}));
    EXPECT_FALSE(hasMosaicColours(*picture));
    for (const int band : {-1, 4, 1000000}) {
        SzDisplaySettings settings;
        settings.band = band;
        const double sample = sampleAt(picture->picBuf(), 3, 5);
        EXPECT_TRUE(hasColour(rendered(*picture, settings).pixel(3, 5), sample, sample, sample));
    }
}

TEST(PictureRenderer, StandsZonesThatNoSensorHas) {
    const auto picture = picturePattern(mosaicFormat(8, 8, EzImageDataType::UInt8));
    constexpr auto lowest = std::numeric_limits<std::int32_t>::min();
    constexpr auto highest = std::numeric_limits<std::int32_t>::max();
    Zone far = mosaicZone(2, 2, 1, 1, QRect());
    far.left = far.top = lowest;
    far.right = far.bottom = highest;
    Zone beyond = far;
    beyond.left = beyond.top = highest;
    Zone large = mosaicZone(2, 2, 1, 1, QRect());
    large.blockWidth = large.blockHeight = std::numeric_limits<std::uint32_t>::max();
    Zone empty = far;
    empty.cellWidth = 0;
    for (const Zone& zone : {far, beyond, large, empty}) {
        picture->setImageMetadata(mosaicMetadata({zone}));
        for (int band = 0; band < 4; ++band) {
            SzDisplaySettings settings = automatic();
            settings.band = band;
            EXPECT_EQ(rendered(*picture, settings).size(), QSize(8, 8));
        }
    }
    // The first band of a patch that covers all.
    picture->setImageMetadata(mosaicMetadata({large}));
    SzDisplaySettings settings;
    settings.band = 0;
    const double first = sampleAt(picture->picBuf(), 0, 0);
    EXPECT_TRUE(hasColour(rendered(*picture, settings).pixel(7, 7), first, first, first));
}

TEST(PictureRenderer, ShowsRgbNirPicturesInTheColoursOfTheirCells) {
    const auto picture = renderScene(QStringLiteral("rgbnir"), {64, 48});
    ASSERT_TRUE(picture);
    EXPECT_TRUE(hasMosaicColours(*picture));
    const auto& bands = picture->imageMetadata().hsiCameraParams.zones.first().bands;
    const SzDisplayRange range{0, 4095};
    const QImage image = rendered(*picture);
    const auto byte = [&](const char* name, int x, int y) {
        for (int band = 0; band < 4; ++band)
            if (bands.at(band).name() == QLatin1String(name))
                return exactByte(sampleAt(picture->picBuf(), std::uint32_t(x / 2 * 2 + band % 2),
                                          std::uint32_t(y / 2 * 2 + band / 2)),
                                 range);
        return nan;
    };
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ASSERT_TRUE(hasColour(image.pixel(x, y), byte("R", x, y), byte("G", x, y), byte("B", x, y)));

    // Without one of the bands there are no colours.
    CzImageMetadata metadata = picture->imageMetadata();
    metadata.hsiCameraParams.zones.first().bands[0] = CzHsiCameraParams::CzBand(QStringLiteral("?"));
    metadata.hsiCameraParams.zones.first().bands[1] = CzHsiCameraParams::CzBand(QStringLiteral("?"));
    picture->setImageMetadata(metadata);
    EXPECT_FALSE(hasMosaicColours(*picture));
    const double sample = exactByte(sampleAt(picture->picBuf(), 5, 5), range);
    EXPECT_TRUE(hasColour(rendered(*picture).pixel(5, 5), sample, sample, sample));
}

// ---- Spectra ----

TEST(PictureRenderer, ShowsSpectraAsTheLogarithmOfTheirMagnitude) {
    const SzPicBufInfo format =
        pictureFormat(4, 3, 1, EzImageDataType::SpectrumFloat32, EzDataStorageFormat::Interleaved, 2);
    CzFFTImageData spectrum;
    HeapPicture real = patternPicture(format, 1);
    HeapPicture imaginary = patternPicture(format, 2);
    spectrum.setPicBuf(real.release());
    const auto magnitudes = [&](bool both) {
        std::vector<double> values;
        for (std::uint32_t y = 0; y < 3; ++y)
            for (std::uint32_t x = 0; x < 4; ++x) {
                const double re = sampleAt(spectrum.picBuf(), x, y);
                const double im = both ? sampleAt(spectrum.picBufIm(), x, y) : 0.0;
                values.push_back(std::log(1.0 + std::sqrt(re * re + im * im)));
            }
        return values;
    };
    const auto expectShown = [&](const std::vector<double>& values) {
        const SzDisplayRange range{*std::min_element(values.begin(), values.end()),
                                   *std::max_element(values.begin(), values.end())};
        const QImage image = rendered(spectrum);
        for (int i = 0; i < 12; ++i) {
            const double byte = exactByte(values[std::size_t(i)], range);
            EXPECT_TRUE(hasColour(image.pixel(i % 4, i / 4), byte, byte, byte)) << i;
        }
    };
    expectShown(magnitudes(false)); // the imaginary part is missing
    SzPicBuf second = imaginary.release();
    ASSERT_TRUE(spectrum.setPicBufIm(second));
    expectShown(magnitudes(true));
}

// ---- Saturated samples ----

TEST(PictureRenderer, MarksWhatIsAtTheEndOfTheBitDepth) {
    SzPicBufInfo format = pictureFormat(4, 1, 1, EzImageDataType::UInt16);
    format.bitDepth = 12;
    auto picture = blackPicture(format);
    for (const auto& [x, sample] : {std::pair{1U, 4094.0}, {2U, 4095.0}, {3U, 5000.0}})
        setSample(picture->picBuf(), x, 0, 0, sample);
    SzDisplaySettings settings;
    EXPECT_NE(rendered(*picture, settings).pixel(2, 0), red);
    settings.markSaturated = true;
    const QImage image = rendered(*picture, settings);
    EXPECT_NE(image.pixel(0, 0), red);
    EXPECT_NE(image.pixel(1, 0), red);
    EXPECT_EQ(image.pixel(2, 0), red);
    EXPECT_EQ(image.pixel(3, 0), red);
}

TEST(PictureRenderer, MarksAPixelOfWhichOneColourIsSaturatedButNotItsPadding) {
    SzPicBufInfo format = pictureFormat(4, 1, 4, EzImageDataType::UInt8);
    format.isColor = true;
    auto picture = blackPicture(format);
    for (std::uint32_t x = 0; x < 4; ++x)
        setSample(picture->picBuf(), x, 0, x, 255); // blue, green, red, padding
    SzDisplaySettings settings;
    settings.markSaturated = true;
    const QImage image = rendered(*picture, settings);
    for (int x = 0; x < 3; ++x)
        EXPECT_EQ(image.pixel(x, 0), red) << x;
    EXPECT_EQ(image.pixel(3, 0), 0xFF000000U);
}

TEST(PictureRenderer, MarksWhereTheShownBandIsSaturated) {
    auto picture = blackPicture(mosaicFormat(4, 2, EzImageDataType::UInt8));
    picture->setImageMetadata(mosaicMetadata({mosaicZone(2, 2, 1, 1, QRect())}));
    setSample(picture->picBuf(), 2, 0, 0, 255); // band 0 of the second cell
    SzDisplaySettings settings;
    settings.markSaturated = true;
    settings.band = 0;
    EXPECT_EQ(rendered(*picture, settings).pixel(3, 1), red);
    EXPECT_NE(rendered(*picture, settings).pixel(1, 1), red);
    settings.band = 1;
    EXPECT_NE(rendered(*picture, settings).pixel(2, 0), red);
}

TEST(PictureRenderer, MarksNoFloats) {
    SzDisplaySettings settings = manual(0, 1);
    settings.markSaturated = true;
    EXPECT_EQ(rendered(*floatPicture(1, 1, {1e30}), settings).pixel(0, 0), 0xFFFFFFFFU);
}

// ---- Views ----

TEST(PictureRenderer, EachScreenPixelShowsThePixelUnderItsMiddle) {
    const auto picture = picturePattern(pictureFormat(300, 260, 1, EzImageDataType::UInt8));
    for (const double scale : {1.0 / 256, 0.1, 0.5, 0.77, 1.0, 1.5, 2.0, 7.3, 64.0})
        for (const QPointF& topLeft : {QPointF(0, 0), QPointF(-20.25, 30.5), QPointF(250.9, 240.1),
                                       QPointF(-10000, 5), QPointF(299.99, 259.99)}) {
            const QSize size(97, 53);
            const QImage image = renderPicture(*picture, {}, {0, 255}, {topLeft, scale, size});
            ASSERT_EQ(image.size(), size);
            for (int y = 0; y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x) {
                    const double atX = topLeft.x() + (x + 0.5) / scale;
                    const double atY = topLeft.y() + (y + 0.5) / scale;
                    if (atX < 0 || atY < 0 || atX >= 300 || atY >= 260) {
                        ASSERT_EQ(image.pixel(x, y), transparent);
                    } else {
                        const double sample =
                            sampleAt(picture->picBuf(), std::uint32_t(atX), std::uint32_t(atY));
                        ASSERT_TRUE(hasColour(image.pixel(x, y), sample, sample, sample))
                            << scale << " at " << x << ", " << y;
                    }
                }
        }
}

TEST(PictureRenderer, ShowsALineOfAPictureThatIsThinnerThanAScreenPixel) {
    const QSize size(9, 7);
    for (const auto& [width, height] : {std::pair{1, 1}, {3, 1}, {1, 200}, {3, 200}, {200, 1}, {200, 4}})
        for (const double scale : {1.0 / 256, 0.02, 0.2})
            // Its middle, in screen pixels: also a little before and behind an edge, and beside the view.
            for (const QPointF& middle :
                 {QPointF(4.5, 3.5), QPointF(4.999, 3.001), QPointF(5.001, 2.999), QPointF(0.01, 0.01),
                  QPointF(8.99, 6.99), QPointF(-0.01, 3.5), QPointF(4.5, 7.01), QPointF(-1000, 3.5)}) {
                const auto picture = picturePattern(
                    pictureFormat(std::uint32_t(width), std::uint32_t(height), 1, EzImageDataType::UInt8));
                const QPointF topLeft = QPointF(width, height) / 2 - middle / scale;
                const QImage image = renderPicture(*picture, {}, {0, 255}, {topLeft, scale, size});
                // Where a line of so many pixels is seen at this place; -1: nowhere.
                const auto seen = [scale = scale](double begin, double at, int pixels, int i) {
                    if (pixels * scale <= 1.0)
                        return std::floor(at) == i ? pixels / 2 : -1;
                    const double under = begin + (i + 0.5) / scale;
                    return under >= 0 && under < pixels ? int(under) : -1;
                };
                for (int y = 0; y < size.height(); ++y)
                    for (int x = 0; x < size.width(); ++x) {
                        const int column = seen(topLeft.x(), middle.x(), width, x);
                        const int row = seen(topLeft.y(), middle.y(), height, y);
                        if (column < 0 || row < 0) {
                            ASSERT_EQ(image.pixel(x, y), transparent) << x << ", " << y;
                        } else {
                            const int shown = qRed(image.pixel(x, y));
                            ASSERT_EQ(shown,
                                      sampleAt(picture->picBuf(), std::uint32_t(column), std::uint32_t(row)))
                                << width << " x " << height << " at " << x << ", " << y;
                        }
                    }
            }
}

TEST(PictureRenderer, RoundingLeavesNothingOutThatIsAsThickAsAScreenPixel) {
    constexpr int view = 110;
    for (int pixels = 1; pixels <= 400; ++pixels) {
        const auto picture =
            picturePattern(pictureFormat(std::uint32_t(pixels), 1, 1, EzImageDataType::UInt8));
        const double scale = double(view) / (view * pixels);
        const QPointF topLeft(pixels / 2.0 - view / 2 / scale, 0.0);
        const QImage image = renderPicture(*picture, {}, {0, 255}, {topLeft, scale, QSize(view, 1)});
        int shown = 0;
        for (int x = 0; x < view; ++x)
            shown += image.pixel(x, 0) != transparent ? 1 : 0;
        EXPECT_EQ(shown, 1) << pixels;
    }
}

TEST(PictureRenderer, StandsViewsThatShowNothing) {
    const auto picture = picturePattern(pictureFormat(3, 3, 1, EzImageDataType::UInt8));
    EXPECT_TRUE(renderPicture(*picture, {}, {0, 255}, {QPointF(0, 0), 1.0, QSize(0, 5)}).isNull());
    for (const double scale : {0.0, -1.0, nan}) {
        const QImage image = renderPicture(*picture, {}, {0, 255}, {QPointF(1, 1), scale, QSize(2, 2)});
        EXPECT_EQ(image.size(), QSize(2, 2));
    }
    EXPECT_EQ(renderPicture(*picture, {}, {0, 255}, {QPointF(nan, infinity), 1.0, QSize(2, 2)}).pixel(0, 0),
              transparent);
}

} // namespace
