// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lut.h"

#include "support/InstructionSets.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace {

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;
constexpr auto uint32 = EzImageDataType::UInt32;
constexpr auto interleaved = EzDataStorageFormat::Interleaved;
constexpr auto planar = EzDataStorageFormat::Planar;
constexpr std::int64_t smallest64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest64 = std::numeric_limits<std::int64_t>::max();

using Color = std::array<int, 4>; ///< red, green, blue, alpha

/// A picture of one line.
HeapPicture line(const std::vector<double>& samples, EzImageDataType type, std::uint32_t bitDepth) {
    SzPicBufInfo format = pictureFormat(static_cast<std::uint32_t>(samples.size()), 1, 1, type);
    format.bitDepth = bitDepth;
    HeapPicture picture(format);
    fillSamples(*picture, [&](std::uint32_t x, std::uint32_t, std::uint32_t) { return samples[x]; });
    return picture;
}

HeapPicture rgbPicture(const SzPicBufInfo& source, std::uint32_t padding = 0) {
    HeapPicture picture(pictureFormat(source.width, source.height, 4, uint8, interleaved, padding));
    picture->isColor = true;
    return picture;
}

Color colorAt(const SzPicBuf& picture, std::uint32_t x, std::uint32_t y) {
    const auto sample = [&](std::uint32_t channel) {
        return int{rawSample<std::uint8_t>(picture, x, y, channel)};
    };
    return {sample(2), sample(1), sample(0), sample(3)};
}

/// A table of one channel that keeps the depth.
class SameDepth : public CzLut {
public:
    SameDepth(std::uint32_t bitDepth, std::int64_t srcMin, std::int64_t srcMax, double gamma = 1.0)
        : CzLut(bitDepth, 1, false) {
        outBitDepth = bitDepth;
        outChannels = 1;
        compContrasts[0].srcMin = srcMin;
        compContrasts[0].srcMax = srcMax;
        compContrasts[0].gamma = gamma;
        EXPECT_TRUE(alloc());
    }
};

/// What a table makes of samples.
std::vector<int> mapped(CzLut& lut, const std::vector<double>& samples, EzImageDataType type,
                        std::uint32_t bitDepth) {
    const HeapPicture source = line(samples, type, bitDepth);
    const HeapPicture result = line(std::vector<double>(samples.size()), type, lut.outBitDepth);
    SzPicBuf destination = *result;
    EXPECT_TRUE(lut.apply(&destination, &*source, nullptr));
    std::vector<int> values;
    for (std::uint32_t x = 0; x < destination.width; ++x)
        values.push_back(static_cast<int>(sampleAt(destination, x, 0)));
    return values;
}

std::vector<int> mapped(CzLut&& lut, const std::vector<double>& samples, EzImageDataType type,
                        std::uint32_t bitDepth) {
    return mapped(lut, samples, type, bitDepth);
}

/// All samples of a depth, one after the other.
std::vector<double> allSamples(std::uint32_t bitDepth) {
    std::vector<double> samples(std::size_t{1} << bitDepth);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<double>(i);
    return samples;
}

/// The stretch without gamma in whole numbers, half rounded up.
int stretched(std::int64_t sample, std::int64_t srcMin, std::int64_t srcMax, std::int64_t dstMax) {
    if (srcMax <= srcMin)
        return static_cast<int>(sample <= srcMin ? 0 : dstMax);
    const std::int64_t range = srcMax - srcMin;
    const std::int64_t place = std::min(std::max<std::int64_t>(sample - srcMin, 0), range);
    return static_cast<int>((2 * dstMax * place + range) / (2 * range));
}

// ---- The formula ----

TEST(LutFormula, rangeIsStretchedToTheWholeOutputAndHalvesRoundUp) {
    // 255 × 5 / 10 = 127.5
    EXPECT_EQ(mapped(SameDepth(8, 10, 20), {0, 9, 10, 11, 15, 19, 20, 21, 255}, uint8, 8),
              (std::vector<int>{0, 0, 0, 26, 128, 230, 255, 255, 255}));
    EXPECT_EQ(mapped(SameDepth(12, 0, 4095), {0, 1, 2048, 4095}, uint16, 12),
              (std::vector<int>{0, 1, 2048, 4095}));
    EXPECT_EQ(mapped(SameDepth(16, 0, 255), {0, 1, 128, 255, 256, 65535}, uint16, 16),
              (std::vector<int>{0, 257, 32896, 65535, 65535, 65535}));
}

TEST(LutFormula, everySampleOfEveryRangeIsExactWithoutGamma) {
    const std::pair<std::int64_t, std::int64_t> ranges[] = {{0, 255},   {0, 1},     {1, 171},   {85, 255},
                                                            {254, 255}, {-100, 70}, {30, 1000}, {-7, 300},
                                                            {-9, -3},   {256, 300}};
    for (const auto& [srcMin, srcMax] : ranges) {
        const std::vector<int> values = mapped(SameDepth(8, srcMin, srcMax), allSamples(8), uint8, 8);
        for (int sample = 0; sample < 256; ++sample)
            EXPECT_EQ(values[static_cast<std::size_t>(sample)], stretched(sample, srcMin, srcMax, 255))
                << sample << " of " << srcMin << " ... " << srcMax;
    }
    for (const auto& [srcMin, srcMax] :
         {std::pair<std::int64_t, std::int64_t>{0, 65535}, {1000, 1770}, {3, 65000}}) {
        const std::vector<int> values = mapped(SameDepth(16, srcMin, srcMax), allSamples(16), uint16, 16);
        for (int sample = 0; sample < 65536; ++sample)
            ASSERT_EQ(values[static_cast<std::size_t>(sample)], stretched(sample, srcMin, srcMax, 65535))
                << sample << " of " << srcMin << " ... " << srcMax;
    }
}

TEST(LutFormula, gammaBendsTheRange) {
    // sqrt(0.25) = 0.5 and 0.5² = 0.25
    EXPECT_EQ(mapped(SameDepth(8, 0, 200, 2.0), {0, 50, 200}, uint8, 8), (std::vector<int>{0, 128, 255}));
    EXPECT_EQ(mapped(SameDepth(8, 0, 200, 0.5), {0, 100, 200}, uint8, 8), (std::vector<int>{0, 64, 255}));
    for (const double gamma : {0.1, 0.45, 2.2, 10.0}) {
        const std::vector<int> values = mapped(SameDepth(12, 100, 3000, gamma), allSamples(12), uint16, 12);
        for (int sample = 0; sample < 4096; ++sample) {
            const long double place = std::min(std::max((sample - 100) / 2900.0L, 0.0L), 1.0L);
            const long double value = 4095.0L * std::pow(place, 1.0L / static_cast<long double>(gamma));
            ASSERT_EQ(values[static_cast<std::size_t>(sample)], static_cast<int>(std::floor(value + 0.5L)))
                << sample << ", gamma " << gamma;
        }
    }
}

TEST(LutFormula, gammaThatIsNotPositiveAndFiniteCountsAsOne) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::vector<int> expected = mapped(SameDepth(8, 20, 200), allSamples(8), uint8, 8);
    for (const double gamma : {0.0, -0.0, -1.0, infinity, -infinity, std::nan("")})
        EXPECT_EQ(mapped(SameDepth(8, 20, 200, gamma), allSamples(8), uint8, 8), expected) << gamma;
}

TEST(LutFormula, extremeGammasMakeSteps) {
    // The largest curve lifts everything above srcMin, the smallest presses everything below srcMax.
    EXPECT_EQ(mapped(SameDepth(8, 10, 20, std::numeric_limits<double>::max()), {10, 11, 19, 20}, uint8, 8),
              (std::vector<int>{0, 255, 255, 255}));
    EXPECT_EQ(
        mapped(SameDepth(8, 10, 20, std::numeric_limits<double>::denorm_min()), {10, 11, 19, 20}, uint8, 8),
        (std::vector<int>{0, 0, 0, 255}));
}

TEST(LutFormula, steepCurveThroughARangeBeyondDoublesEndsAtItsEnds) {
    // Rounded, 130 lies beyond srcMax, and endless times an output without a range would be no number.
    SameDepth lut(8, -(std::int64_t{1} << 60) - 129, 131, std::numeric_limits<double>::denorm_min());
    lut.compContrasts[0].dstMin = 7;
    lut.compContrasts[0].dstMax = 7;
    ASSERT_TRUE(lut.alloc());
    EXPECT_EQ(mapped(lut, {0, 130, 255}, uint8, 8), (std::vector<int>{7, 7, 7}));
}

TEST(LutFormula, rangeThatIsEmptyOrReversedIsAStepAboveItsMinimum) {
    for (const std::int64_t srcMax : {100, 99, 0, -5})
        EXPECT_EQ(mapped(SameDepth(8, 100, srcMax), {0, 99, 100, 101, 255}, uint8, 8),
                  (std::vector<int>{0, 0, 0, 255, 255}));
    EXPECT_EQ(mapped(SameDepth(8, -1, -1), {0, 255}, uint8, 8), (std::vector<int>{255, 255}));
    EXPECT_EQ(mapped(SameDepth(8, 255, 0), {0, 255}, uint8, 8), (std::vector<int>{0, 0}));
    EXPECT_EQ(mapped(SameDepth(8, 9000, 0), {0, 255}, uint8, 8), (std::vector<int>{0, 0}));
}

TEST(LutFormula, rangesAtTheEndsOf64BitsAreDefined) {
    EXPECT_EQ(mapped(SameDepth(8, smallest64, largest64), {0, 255}, uint8, 8), (std::vector<int>{128, 128}));
    EXPECT_EQ(mapped(SameDepth(8, largest64, smallest64), {0, 255}, uint8, 8), (std::vector<int>{0, 0}));
    EXPECT_EQ(mapped(SameDepth(8, smallest64, smallest64), {0, 255}, uint8, 8), (std::vector<int>{255, 255}));
    EXPECT_EQ(mapped(SameDepth(8, largest64, largest64), {0, 255}, uint8, 8), (std::vector<int>{0, 0}));
    EXPECT_EQ(mapped(SameDepth(8, smallest64, 0), {0, 255}, uint8, 8), (std::vector<int>{255, 255}));
    EXPECT_EQ(mapped(SameDepth(8, 0, largest64), {0, 255}, uint8, 8), (std::vector<int>{0, 0}));
    // Ends that doubles cannot tell apart.
    EXPECT_EQ(mapped(SameDepth(8, smallest64, smallest64 + 1), {0, 255}, uint8, 8),
              (std::vector<int>{255, 255}));
    EXPECT_EQ(mapped(SameDepth(8, smallest64, largest64, 2.0), {0, 255}, uint8, 8),
              (std::vector<int>{180, 180}));
}

TEST(LutFormula, whatTheOutputCannotHoldIsCut) {
    SameDepth lut(8, 0, 100);
    lut.compContrasts[0].dstMin = -100;
    lut.compContrasts[0].dstMax = 400;
    ASSERT_TRUE(lut.alloc());
    EXPECT_EQ(mapped(lut, {0, 10, 20, 21, 70, 71, 72, 100}, uint8, 8),
              (std::vector<int>{0, 0, 0, 5, 250, 255, 255, 255}));
    lut.compContrasts[0].dstMin = smallest64;
    lut.compContrasts[0].dstMax = largest64;
    ASSERT_TRUE(lut.alloc());
    EXPECT_EQ(mapped(lut, {0, 40, 60, 100}, uint8, 8), (std::vector<int>{0, 0, 255, 255}));
}

TEST(LutFormula, outputMayRunBackwards) {
    SameDepth lut(8, 0, 255);
    lut.compContrasts[0].dstMin = 255;
    lut.compContrasts[0].dstMax = 0;
    ASSERT_TRUE(lut.alloc());
    EXPECT_EQ(mapped(lut, {0, 1, 100, 255}, uint8, 8), (std::vector<int>{255, 254, 155, 0}));
}

TEST(LutFormula, newTableLeavesSamplesAsTheyAre) {
    for (const std::uint32_t bitDepth : {1U, 7U, 8U, 12U, 16U}) {
        CzLut lut(bitDepth, 1, false);
        ASSERT_EQ(lut.compContrasts.size(), 1);
        lut.outBitDepth = bitDepth;
        lut.outChannels = 1;
        ASSERT_TRUE(lut.alloc());
        const std::vector<int> values =
            mapped(lut, allSamples(bitDepth), bitDepth > 8 ? uint16 : uint8, bitDepth);
        for (std::size_t sample = 0; sample < values.size(); ++sample)
            ASSERT_EQ(values[sample], static_cast<int>(sample));
    }
}

TEST(LutFormula, samplesBeyondTheDepthAreTheLargestOne) {
    EXPECT_EQ(mapped(SameDepth(4, 0, 10), {10, 15, 16, 255}, uint8, 4), (std::vector<int>{15, 15, 15, 15}));
    EXPECT_EQ(mapped(SameDepth(4, 0, 30), {15, 16, 255}, uint8, 4), (std::vector<int>{8, 8, 8}));
    EXPECT_EQ(mapped(SameDepth(12, 0, 8190), {4095, 4096, 65535}, uint16, 12),
              (std::vector<int>{2048, 2048, 2048}));
    EXPECT_EQ(mapped(SameDepth(8, 0, 510), {255, 256, 65535}, uint16, 8), (std::vector<int>{128, 128, 128}));
    EXPECT_EQ(mapped(SameDepth(16, 0, 131070), {65535, 65536, 4294967295.0}, uint32, 16),
              (std::vector<int>{32768, 32768, 32768}));
}

TEST(LutFormula, depthMayChange) {
    CzLut lut(12, 1, false);
    lut.outBitDepth = 8;
    lut.outChannels = 1;
    lut.compContrasts[0].dstMax = 255;
    ASSERT_TRUE(lut.alloc());
    const HeapPicture source = line({0, 8, 9, 2048, 4095, 60000}, uint16, 12);
    HeapPicture destination = line(std::vector<double>(6), uint8, 8);
    ASSERT_TRUE(lut.apply(&*destination, &*source, nullptr));
    // 8 × 255 / 4095 = 0.498, 9 × 255 / 4095 = 0.56
    EXPECT_TRUE(samePixels(*destination, *line({0, 0, 1, 128, 255, 255}, uint8, 8)));
}

// ---- Every layout ----

class Lut : public EachInstructionSet {};
INSTANTIATE_TEST_SUITE_P(Levels, Lut, instructionSets, instructionSetName);

/// Formats of the integer types, with a depth that leaves some bits of larger samples unused.
std::vector<SzPicBufInfo> integerFormats() {
    std::vector<SzPicBufInfo> formats = pictureFormats({uint8, uint16, uint32}, {1, 2, 3, 4, 5});
    for (SzPicBufInfo& format : formats)
        format.bitDepth = format.dataType == uint8 ? 8 : format.dataType == uint16 ? 12 : 16;
    return formats;
}

TEST_P(Lut, mapsEverySampleInEveryLayout) {
    for (const SzPicBufInfo& format : integerFormats())
        for (const bool isColor : {false, true}) {
            SCOPED_TRACE(formatName(format));
            HeapPicture source = patternPicture(format);
            source->isColor = isColor;
            const std::int64_t largest = (std::int64_t{1} << format.bitDepth) - 1;
            CzLut lut(format.bitDepth, format.channels, isColor);
            lut.outBitDepth = format.bitDepth;
            lut.outChannels = format.channels;
            lut.compContrasts[0].srcMin = largest / 5;
            lut.compContrasts[0].srcMax = largest / 2;
            ASSERT_TRUE(lut.alloc());
            HeapPicture expected(format);
            fillSamples(*expected, [&](std::uint32_t x, std::uint32_t y, std::uint32_t channel) {
                const auto sample = static_cast<std::int64_t>(sampleAt(*source, x, y, channel));
                return stretched(sample, largest / 5, largest / 2, largest);
            });
            SzPicBufInfo other = format; // another pitch
            other.linePitch += 3 * bytesPerSample(format.dataType);
            HeapPicture destination(other);
            ASSERT_TRUE(lut.apply(&*destination, &*source, nullptr));
            EXPECT_TRUE(samePixels(*destination, *expected));
        }
}

TEST_P(Lut, mapsEverySampleToRgbInEveryLayout) {
    for (const SzPicBufInfo& format : integerFormats())
        for (const bool isColor : {false, true}) {
            SCOPED_TRACE(formatName(format) + (isColor ? " colour" : ""));
            HeapPicture source = patternPicture(format);
            source->isColor = isColor;
            const std::int64_t largest = (std::int64_t{1} << format.bitDepth) - 1;
            CzLut lut(format.bitDepth, format.channels, isColor);
            lut.compContrasts[0].srcMin = largest / 5;
            lut.compContrasts[0].srcMax = largest / 2;
            ASSERT_TRUE(lut.allocRgb(32));
            HeapPicture destination = rgbPicture(format, 5);
            ASSERT_TRUE(lut.apply(&*destination, &*source, nullptr));

            // Red, green, blue.
            const std::array<std::array<std::uint32_t, 3>, 6> others = {
                {{}, {0, 0, 0}, {1, 0, 0}, {2, 1, 0}, {3, 1, 0}, {4, 2, 0}}};
            const bool hasColors = isColor && format.channels == 4;
            const auto shown = hasColors ? std::array<std::uint32_t, 3>{2, 1, 0} : others[format.channels];
            for (std::uint32_t y = 0; y < format.height; ++y)
                for (std::uint32_t x = 0; x < format.width; ++x) {
                    Color expected = {0, 0, 0, 255};
                    for (std::size_t i = 0; i < 3; ++i)
                        expected[i] = stretched(static_cast<std::int64_t>(sampleAt(*source, x, y, shown[i])),
                                                largest / 5, largest / 2, 255);
                    ASSERT_EQ(colorAt(*destination, x, y), expected) << x << ", " << y;
                }
        }
}

TEST_P(Lut, mapsEveryByteAtEveryPlaceOfALine) {
    CzLut lut(8, 1, false);
    lut.outBitDepth = 8;
    lut.outChannels = 1;
    lut.compContrasts[0].dstMin = 255; // the negative: every byte has another one
    lut.compContrasts[0].dstMax = 0;
    ASSERT_TRUE(lut.alloc());
    for (std::uint32_t width = 1; width < 200; ++width) {
        HeapPicture source(pictureFormat(width, 256, 1, uint8));
        fillSamples(*source,
                    [](std::uint32_t x, std::uint32_t y, std::uint32_t) { return (x * 37 + y) % 256; });
        HeapPicture expected(*source);
        fillSamples(*expected,
                    [](std::uint32_t x, std::uint32_t y, std::uint32_t) { return 255 - (x * 37 + y) % 256; });
        HeapPicture destination(*source);
        ASSERT_TRUE(lut.apply(&*destination, &*source, nullptr));
        ASSERT_TRUE(samePixels(*destination, *expected)) << width;
    }
}

/// Whether pictures that are large enough for all cores come out as their single lines do.
void expectLinesOfTheirOwn(CzLut& lut, const SzPicBufInfo& format, const SzPicBufInfo& mappedFormat) {
    SCOPED_TRACE(formatName(format));
    HeapPicture source(format); // of packed lines
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < source->dataSize(); ++i)
        source->data[i] = static_cast<std::uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    HeapPicture whole(mappedFormat);
    ASSERT_TRUE(lut.apply(&*whole, &*source, nullptr));
    SzPicBufInfo lineFormat = mappedFormat;
    lineFormat.height = 1;
    HeapPicture lineByItself(lineFormat);
    SzPicBuf sourceLine = *source;
    sourceLine.height = 1;
    for (std::size_t y = 0; y < format.height; ++y) {
        sourceLine.data = source->data + y * format.linePitch;
        ASSERT_TRUE(lut.apply(&*lineByItself, &sourceLine, nullptr));
        const std::uint8_t* const line = whole->data + y * mappedFormat.linePitch;
        ASSERT_EQ(std::memcmp(lineByItself->data, line, packedLineBytes(lineFormat)), 0) << y;
    }
}

TEST_P(Lut, largePicturesAreMappedAsTheirLinesAre) {
    for (const SzPicBufInfo& format :
         {pictureFormat(2003, 2001, 1, uint8), pictureFormat(2003, 2001, 1, uint16),
          pictureFormat(1203, 1201, 3, uint16)}) {
        CzLut lut(format.bitDepth, format.channels, false);
        lut.outBitDepth = format.bitDepth;
        lut.outChannels = format.channels;
        lut.compContrasts[0].gamma = 2.0;
        ASSERT_TRUE(lut.alloc());
        expectLinesOfTheirOwn(lut, format, format);
        lut.pseudoColorIdx = 5;
        ASSERT_TRUE(lut.allocRgb(32));
        expectLinesOfTheirOwn(lut, format, *rgbPicture(format));
    }
}

// ---- RGB ----

/// The colours of a line of all bytes.
std::vector<Color> paletteColors(std::int32_t palette) {
    CzLut lut(8, 1, false);
    lut.pseudoColorIdx = palette;
    EXPECT_TRUE(lut.allocRgb(32));
    const HeapPicture source = line(allSamples(8), uint8, 8);
    HeapPicture destination = rgbPicture(*source);
    EXPECT_TRUE(lut.apply(&*destination, &*source, nullptr));
    std::vector<Color> colors;
    for (std::uint32_t x = 0; x < 256; ++x)
        colors.push_back(colorAt(*destination, x, 0));
    return colors;
}

TEST(LutPalettes, areViridisPlasmaInfernoMagmaCividisAndTurbo) {
    ASSERT_EQ(CzLut::pseudoColorLutCount(), 6);
    struct Known {
        Color first, middle, last;
    };
    const Known known[] = {{{68, 1, 84, 255}, {33, 145, 140, 255}, {253, 231, 37, 255}},
                           {{13, 8, 135, 255}, {204, 71, 120, 255}, {240, 249, 33, 255}},
                           {{0, 0, 4, 255}, {188, 55, 84, 255}, {252, 255, 164, 255}},
                           {{0, 0, 4, 255}, {183, 55, 121, 255}, {252, 253, 191, 255}},
                           {{0, 34, 78, 255}, {125, 124, 120, 255}, {254, 232, 56, 255}},
                           {{48, 18, 59, 255}, {164, 252, 60, 255}, {122, 4, 3, 255}}};
    for (std::int32_t palette = 0; palette < 6; ++palette) {
        const std::vector<Color> colors = paletteColors(palette);
        EXPECT_EQ(colors[0], known[palette].first) << palette;
        EXPECT_EQ(colors[128], known[palette].middle) << palette;
        EXPECT_EQ(colors[255], known[palette].last) << palette;
    }
}

TEST(LutPalettes, runSmoothly) {
    for (std::int32_t palette = 0; palette < 6; ++palette) {
        const std::vector<Color> colors = paletteColors(palette);
        for (std::size_t i = 1; i < colors.size(); ++i)
            for (std::size_t channel = 0; channel < 4; ++channel)
                EXPECT_LE(std::abs(colors[i][channel] - colors[i - 1][channel]), 8) << palette << ", " << i;
    }
}

TEST(LutPalettes, thoseThatAreMeantToGetBrighterAllTheWay) {
    for (std::int32_t palette = 0; palette < 5; ++palette) { // turbo is a rainbow
        const std::vector<Color> colors = paletteColors(palette);
        const auto brightness = [&](std::size_t i) {
            return 0.2126 * colors[i][0] + 0.7152 * colors[i][1] + 0.0722 * colors[i][2];
        };
        for (std::size_t i = 8; i < colors.size(); ++i)
            EXPECT_GT(brightness(i), brightness(i - 8)) << palette << ", " << i;
    }
}

TEST(LutPalettes, numbersWithoutAPaletteAreGrey) {
    for (const std::int32_t palette : {-1, -2, 6, 99, std::numeric_limits<std::int32_t>::min(),
                                       std::numeric_limits<std::int32_t>::max()}) {
        const std::vector<Color> colors = paletteColors(palette);
        for (int i = 0; i < 256; ++i)
            EXPECT_EQ(colors[static_cast<std::size_t>(i)], (Color{i, i, i, 255})) << palette;
    }
}

TEST(LutPalettes, serveSingleChannelsOnly) {
    HeapPicture source(pictureFormat(1, 1, 3, uint8));
    fillSamples(*source, [](std::uint32_t, std::uint32_t, std::uint32_t channel) { return 10.0 * channel; });
    CzLut lut(8, 3, false);
    lut.pseudoColorIdx = 0;
    ASSERT_TRUE(lut.allocRgb(32));
    HeapPicture destination = rgbPicture(*source);
    ASSERT_TRUE(lut.apply(&*destination, &*source, nullptr));
    EXPECT_EQ(colorAt(*destination, 0, 0), (Color{20, 10, 0, 255}));
}

TEST(LutRgb, rangeIsFrom0To255WhateverTheRecordSays) {
    CzLut lut(12, 1, false);
    lut.compContrasts[0] = {1000, 2000, 77, 99, 1.0};
    lut.outBitDepth = 3;
    lut.outChannels = 9;
    ASSERT_TRUE(lut.allocRgb(32));
    const HeapPicture source = line({0, 1000, 1500, 2000, 4095}, uint16, 12);
    HeapPicture destination = rgbPicture(*source);
    ASSERT_TRUE(lut.apply(&*destination, &*source, nullptr));
    const int expected[] = {0, 0, 128, 255, 255};
    for (std::uint32_t x = 0; x < 5; ++x)
        EXPECT_EQ(colorAt(*destination, x, 0), (Color{expected[x], expected[x], expected[x], 255}));
}

TEST(LutRgb, samplesOfRawPicturesAreMappedEachForItself) {
    HeapPicture source = line({0, 85, 170, 255}, uint8, 8);
    source->colorFilterArray = EzColorFilterArray::BayerRGGB;
    CzLut lut(8, 1, false);
    ASSERT_TRUE(lut.allocRgb(32));
    HeapPicture destination = rgbPicture(*source);
    ASSERT_TRUE(lut.apply(&*destination, &*source, nullptr));
    for (std::uint32_t x = 0; x < 4; ++x)
        EXPECT_EQ(colorAt(*destination, x, 0)[0], static_cast<int>(85 * x));
}

// ---- What has no table, and what a table does not fit ----

TEST(LutLimits, tablesAreForDepthsFrom1To16) {
    for (const std::uint32_t bitDepth : {0U, 17U, 31U, 32U, 33U, 64U, 4294967295U}) {
        CzLut source(bitDepth, 1, false);
        ASSERT_EQ(source.compContrasts.size(), 1);
        source.outBitDepth = 8;
        source.outChannels = 1;
        EXPECT_FALSE(source.alloc()) << bitDepth;
        EXPECT_FALSE(source.allocRgb(32)) << bitDepth;
        CzLut destination(8, 1, false);
        destination.outBitDepth = bitDepth;
        destination.outChannels = 1;
        EXPECT_FALSE(destination.alloc()) << bitDepth;
    }
    for (std::uint32_t bitDepth = 1; bitDepth <= 16; ++bitDepth)
        SameDepth(bitDepth, 0, 1);
}

TEST(LutLimits, channelsAreThoseOfTheSource) {
    CzLut lut(8, 3, true);
    lut.outBitDepth = 8;
    for (const std::uint32_t channels : {0U, 1U, 4U}) {
        lut.outChannels = channels;
        EXPECT_FALSE(lut.alloc());
    }
    lut.outChannels = 3;
    EXPECT_TRUE(lut.alloc());
    CzLut none(8, 0, false);
    none.outBitDepth = 8;
    EXPECT_FALSE(none.alloc());
    EXPECT_FALSE(none.allocRgb(32));
}

TEST(LutLimits, rgbPixelsHave32Bits) {
    CzLut lut(8, 1, false);
    for (const std::uint32_t bits : {0U, 8U, 24U, 33U, 64U})
        EXPECT_FALSE(lut.allocRgb(bits));
    EXPECT_TRUE(lut.allocRgb(32));
}

TEST(LutLimits, withoutARecordThereIsNoTable) {
    SameDepth lut(8, 0, 255);
    lut.compContrasts.clear();
    EXPECT_FALSE(lut.alloc());
    EXPECT_FALSE(lut.allocRgb(32));
    const HeapPicture source = line({1}, uint8, 8);
    HeapPicture destination = line({7}, uint8, 8);
    EXPECT_FALSE(lut.apply(&*destination, &*source, nullptr)); // the table of before is gone
    EXPECT_EQ(sampleAt(*destination, 0, 0), 7);
}

TEST(LutLimits, onlyTheFirstRecordCounts) {
    SameDepth lut(8, 0, 255);
    lut.compContrasts.append({0, 1, 9, 9, 3.0});
    ASSERT_TRUE(lut.alloc());
    EXPECT_EQ(mapped(lut, {1, 200}, uint8, 8), (std::vector<int>{1, 200}));
}

TEST(LutLimits, tableFitsItsDepthsChannelsAndColours) {
    CzLut lut(12, 3, true);
    lut.outBitDepth = 10;
    lut.outChannels = 3;
    SzPicBuf source;
    source.setPicFormat(pictureFormat(4, 4, 3, uint16));
    source.bitDepth = 12;
    source.isColor = true;
    SzPicBuf destination = source;
    destination.bitDepth = 10;
    EXPECT_FALSE(lut.isCompatibleWith(&destination, &source)) << "there is no table yet";
    ASSERT_TRUE(lut.alloc());
    EXPECT_TRUE(lut.isCompatibleWith(&destination, &source));
    EXPECT_FALSE(lut.isCompatibleWith(nullptr, &source));
    EXPECT_FALSE(lut.isCompatibleWith(&destination, nullptr));

    SzPicBuf other = source;
    other.bitDepth = 11;
    EXPECT_FALSE(lut.isCompatibleWith(&destination, &other));
    other = source;
    other.channels = 4;
    EXPECT_FALSE(lut.isCompatibleWith(&destination, &other));
    other = source;
    other.isColor = false;
    EXPECT_FALSE(lut.isCompatibleWith(&destination, &other));
    other = destination;
    other.bitDepth = 12;
    EXPECT_FALSE(lut.isCompatibleWith(&other, &source));
    other = destination;
    other.channels = 4;
    EXPECT_FALSE(lut.isCompatibleWith(&other, &source));

    ASSERT_TRUE(lut.allocRgb(32));
    EXPECT_FALSE(lut.isCompatibleWith(&destination, &source));
    other.bitDepth = 8;
    EXPECT_TRUE(lut.isCompatibleWith(&other, &source));
    other.channels = 3;
    EXPECT_FALSE(lut.isCompatibleWith(&other, &source));
}

TEST(LutLimits, setMembersCountFromTheNextAllocationOn) {
    SameDepth lut(8, 0, 255);
    lut.outBitDepth = 4;
    lut.outChannels = 3;
    lut.compContrasts[0].srcMax = 1;
    const HeapPicture source = line({1, 200}, uint8, 8);
    HeapPicture destination = line({0, 0}, uint8, 8);
    ASSERT_TRUE(lut.apply(&*destination, &*source, nullptr));
    EXPECT_TRUE(samePixels(*destination, *source));
}

TEST(LutLimits, picturesThatDoNotFitAreLeftAsTheyWere) {
    SameDepth lut(8, 0, 255);
    const HeapPicture source = patternPicture(pictureFormat(5, 4, 1, uint8));
    const auto refused = [&](CzLut& table, const SzPicBufInfo& format, const SzPicBuf& input) {
        HeapPicture destination = patternPicture(format, 7);
        return !table.apply(&*destination, &input, nullptr) &&
               samePixels(*destination, *patternPicture(format, 7));
    };
    EXPECT_FALSE(refused(lut, pictureFormat(5, 4, 1, uint8), *source));
    EXPECT_TRUE(refused(lut, pictureFormat(4, 4, 1, uint8), *source));
    EXPECT_TRUE(refused(lut, pictureFormat(5, 5, 1, uint8), *source));
    EXPECT_TRUE(refused(lut, pictureFormat(5, 4, 2, uint8), *source));
    EXPECT_TRUE(refused(lut, pictureFormat(5, 4, 1, uint8, planar), *source)); // in another layout
    EXPECT_TRUE(refused(lut, pictureFormat(5, 4, 1, uint8), SzPicBuf()));
    SzPicBuf empty = *source;
    empty.data = nullptr;
    EXPECT_TRUE(refused(lut, pictureFormat(5, 4, 1, uint8), empty));
    EXPECT_FALSE(lut.apply(&empty, &*source, nullptr));
    EXPECT_FALSE(lut.apply(nullptr, &*source, nullptr));
    EXPECT_FALSE(lut.apply(&empty, nullptr, nullptr));
    for (const EzImageDataType type : allSampleTypes()) {
        if (type == uint8 || type == uint16 || type == uint32)
            continue;
        SzPicBufInfo format = pictureFormat(5, 4, 1, type);
        format.bitDepth = 8;
        EXPECT_TRUE(refused(lut, pictureFormat(5, 4, 1, uint8), *HeapPicture(format)))
            << sampleTypeName(type);
        EXPECT_TRUE(refused(lut, format, *source)) << sampleTypeName(type);
    }
}

TEST(LutLimits, destinationsThatCannotHoldTheDepthAreRefused) {
    SameDepth lut(12, 0, 4095);
    const HeapPicture source = line({1, 4000}, uint16, 12);
    HeapPicture destination = line({7, 7}, uint8, 12);
    EXPECT_FALSE(lut.apply(&*destination, &*source, nullptr));
    EXPECT_EQ(sampleAt(*destination, 0, 0), 7);
}

TEST(LutLimits, rgbDestinationsAreInterleavedBytes) {
    CzLut lut(8, 1, false);
    ASSERT_TRUE(lut.allocRgb(32));
    const HeapPicture source = patternPicture(pictureFormat(5, 4, 1, uint8));
    const SzPicBufInfo planes = pictureFormat(5, 4, 4, uint8, planar);
    HeapPicture destination = patternPicture(planes, 7);
    EXPECT_FALSE(lut.apply(&*destination, &*source, nullptr));
    EXPECT_TRUE(samePixels(*destination, *patternPicture(planes, 7)));
    SzPicBufInfo words = pictureFormat(5, 4, 4, uint16);
    words.bitDepth = 8;
    destination = patternPicture(words, 7);
    EXPECT_FALSE(lut.apply(&*destination, &*source, nullptr));
    EXPECT_TRUE(samePixels(*destination, *patternPicture(words, 7)));
}

} // namespace
