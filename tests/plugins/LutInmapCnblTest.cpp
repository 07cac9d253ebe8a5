// SPDX-License-Identifier: GPL-3.0-or-later
#include "LutInmapCnbl.h"

#include "Chain.h"
#include "ElementTest.h"
#include "FrameSource.h"
#include "HistoData.h"
#include "LutInmapCnblWidget.h"

#include <QDomDocument>
#include <QMetaClassInfo>
#include <QPointer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;
using Settings = CzLutInmapCnbl::SzSettings;

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;
constexpr std::int64_t smallest64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest64 = std::numeric_limits<std::int64_t>::max();

/// One line.
SzPicBufInfo lineFormat(std::size_t width, EzImageDataType type = uint8, std::uint32_t bitDepth = 8,
                        std::uint32_t channels = 1) {
    SzPicBufInfo format = pictureFormat(static_cast<std::uint32_t>(width), 1, channels, type);
    format.bitDepth = bitDepth;
    return format;
}

/// A frame of one line with these samples.
template <class T>
std::unique_ptr<CzImageData> lineOf(const std::vector<T>& samples, const SzPicBufInfo& format,
                                    const CzImageMetadata& metadata = CzImageMetadata()) {
    auto frame = numberedFrame(format, metadata);
    std::copy(samples.begin(), samples.end(), reinterpret_cast<T*>(frame->picBuf().data));
    return frame;
}

std::unique_ptr<CzImageData> lineOf(const Bytes& samples) {
    return lineOf(samples, lineFormat(samples.size()));
}

std::unique_ptr<CzImageData> lineOf(const Words& samples, std::uint32_t bitDepth) {
    return lineOf(samples, lineFormat(samples.size(), uint16, bitDepth));
}

/// All samples of a picture of one line.
template <class T>
std::vector<T> samplesOfLine(const SzPicBuf& picture) {
    const auto* const samples = reinterpret_cast<const T*>(picture.data);
    return {samples, samples + picture.width * picture.channels};
}

void expectSame(const Settings& actual, const Settings& expected) {
    EXPECT_EQ(actual.mapToRgb, expected.mapToRgb);
    EXPECT_EQ(actual.pseudoColor, expected.pseudoColor);
    EXPECT_EQ(actual.autoMinMax, expected.autoMinMax);
    EXPECT_EQ(actual.autoTolerance, expected.autoTolerance);
    EXPECT_EQ(actual.srcMin, expected.srcMin);
    EXPECT_EQ(actual.srcMax, expected.srcMax);
    EXPECT_EQ(actual.gamma, expected.gamma);
}

class LutMapping : public ElementTest<LooseElement<CzLutInmapCnbl>> {
protected:
    LutMapping() {
        element.setClock([this] { return now; });
    }

    /// A fixed range, or the automatic one without tolerance.
    void setRange(std::int64_t srcMin, std::int64_t srcMax) {
        Settings settings = element.settings();
        settings.autoMinMax = false;
        settings.srcMin = srcMin;
        settings.srcMax = srcMax;
        element.setSettings(settings);
    }
    void setAutomatic(std::int32_t tolerance = 0) {
        Settings settings = element.settings();
        settings.autoMinMax = true;
        settings.autoTolerance = tolerance;
        element.setSettings(settings);
    }
    void setMapToRgb(std::int32_t palette) {
        Settings settings = element.settings();
        settings.mapToRgb = true;
        settings.pseudoColor = palette;
        element.setSettings(settings);
    }

    /// What comes out for a line of these samples.
    Bytes mapped(const Bytes& samples) {
        return samplesOfLine<std::uint8_t>(process(lineOf(samples))->picBuf());
    }
    Words mapped(const Words& samples, std::uint32_t bitDepth) {
        return samplesOfLine<std::uint16_t>(process(lineOf(samples, bitDepth))->picBuf());
    }

    void wait(int milliseconds) { now = now.addMSecs(milliseconds); }

    QTime now{12, 0, 0, 0};
};

// ---- Identity ----

TEST_F(LutMapping, introducesItself) {
    EXPECT_EQ(element.caption(), "LUT Mapping");
    EXPECT_EQ(element.maxPredecessors(), 1);
    EXPECT_TRUE(element.isConfigurable());
    EXPECT_TRUE(element.hasHelp());
    QString topic = "topic";
    EXPECT_EQ(element.help(topic), "Maximizes or changes contrast, applies LUTs.");
    EXPECT_EQ(topic, "topic");
    EXPECT_EQ(static_cast<int>(element.flags()), 9);
    const QMetaObject& metaObject = CzLutInmapCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(), "LUT Mapping");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.CzLutInmapCnbl");
    QList<CzChainable::CzSimpleStateConfigButton> buttons;
    bool exclusive = false;
    element.simpleStateConfigButtons(buttons, exclusive);
    EXPECT_TRUE(buttons.isEmpty());
}

TEST_F(LutMapping, acceptsImageProvidersOnly) {
    CzLutInmapCnbl provider;
    QObject other;
    EXPECT_TRUE(element.acceptsPredecessor(&provider));
    EXPECT_FALSE(element.acceptsPredecessor(&other));
    EXPECT_FALSE(element.acceptsPredecessor(nullptr));
}

TEST_F(LutMapping, widgetBelongsToTheCallerAndHasNoParent) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzLutInmapCnblWidget*>(widget.get()));
    EXPECT_EQ(widget->parent(), nullptr);
}

TEST_F(LutMapping, newElementFindsTheRangeWithTwoPerMilleBeyondEachEnd) {
    expectSame(element.settings(), {false, 0, true, 2, 0, 255, 1.0});
}

TEST_F(LutMapping, duplicateHasAllSettingsAndFindsItsOwnRange) {
    const Settings settings{true, 3, true, 7, -4, 99, 2.5};
    element.setSettings(settings);
    const std::unique_ptr<CzChainable> copy(element.duplicate());
    auto* const duplicate = qobject_cast<CzLutInmapCnbl*>(copy.get());
    ASSERT_TRUE(duplicate);
    EXPECT_EQ(duplicate->metaObject(), &CzLutInmapCnbl::staticMetaObject);
    EXPECT_EQ(duplicate->parent(), nullptr);
    expectSame(duplicate->settings(), settings);
}

TEST_F(LutMapping, duplicateMapsByTheSettingsItGotAndNotByTheTableOfTheFirst) {
    setRange(0, 100);
    EXPECT_EQ(mapped({10, 50}), (Bytes{26, 128}));
    CzChain chain;
    chain.append(element.duplicate());
    setRange(0, 50);
    EXPECT_EQ(mapped({10, 50}), (Bytes{51, 255}));

    chain.source().setFormat(lineFormat(2), CzImageMetadata());
    Bytes output;
    chain.setFrameObserver([&](const SzFrameReport& report) {
        if (const auto* const image = qobject_cast<const CzImageData*>(report.output))
            output = samplesOfLine<std::uint8_t>(image->picBuf());
    });
    ASSERT_TRUE(chain.start());
    EXPECT_TRUE(chain.source().push(lineOf(Bytes{10, 50})));
    EXPECT_TRUE(chain.waitUntilIdle(10000));
    chain.stop();
    EXPECT_EQ(output, (Bytes{26, 128}));
}

// ---- Settings ----

TEST_F(LutMapping, savesItsSevenSettings) {
    element.setSettings({true, -1, false, 12, -9000000000, 9000000000, 0.5});
    const QDomElement settings = saved();
    EXPECT_EQ(settings.attribute("MapToRGB"), "1");
    EXPECT_EQ(settings.attribute("PseudoColor"), "-1");
    EXPECT_EQ(settings.attribute("AutoMinMax"), "0");
    EXPECT_EQ(settings.attribute("AutoTolerance"), "12");
    EXPECT_EQ(settings.attribute("SrcMin"), "-9000000000");
    EXPECT_EQ(settings.attribute("SrcMax"), "9000000000");
    EXPECT_EQ(settings.attribute("Gamma"), "0.5");
    EXPECT_EQ(settings.attributes().count(), 1 + 7); // the base class's identifier
}

TEST_F(LutMapping, failureOfTheBaseClassIsReportedAfterTheSettingsWereRead) {
    setRange(0, 100);
    EXPECT_EQ(mapped({10, 50}), (Bytes{26, 128}));
    EXPECT_FALSE(load({{"state", "sleeping"}, {"SrcMax", "50"}, {"PseudoColor", "3"}}));
    expectSame(element.settings(), {false, 3, false, 2, 0, 50, 1.0});
    EXPECT_EQ(mapped({10, 50}), (Bytes{51, 255}));
}

TEST_F(LutMapping, settingsSurviveSavingAndLoading) {
    const Settings settings{true, 4, false, -3, smallest64, largest64, 0.1};
    element.setSettings(settings);
    const QDomElement written = saved();
    CzLutInmapCnbl other;
    EXPECT_TRUE(other.loadSettings(written));
    expectSame(other.settings(), settings);
    EXPECT_EQ(other.caption(), element.caption());
}

TEST_F(LutMapping, missingKeysAreNoFailureAndKeepWhatTheyName) {
    const Settings settings{true, 4, false, 8, 10, 20, 3.0};
    element.setSettings(settings);
    EXPECT_TRUE(load({}));
    expectSame(element.settings(), settings);
    EXPECT_TRUE(load({{"SrcMax", "30"}}));
    expectSame(element.settings(), {true, 4, false, 8, 10, 30, 3.0});
    EXPECT_TRUE(load({{"srcmin", "1"}, {"MapToRgb", "0"}})); // other keys
    expectSame(element.settings(), {true, 4, false, 8, 10, 30, 3.0});
}

TEST_F(LutMapping, booleansAreTrueWhenGreaterThanZero) {
    for (const auto& [text, expected] : std::vector<std::pair<QString, bool>>{{"1", true},
                                                                              {"2", true},
                                                                              {"2147483647", true},
                                                                              {"0", false},
                                                                              {"-1", false},
                                                                              {"", false},
                                                                              {"true", false},
                                                                              {"1.0", false},
                                                                              {"2147483648", false}}) {
        EXPECT_TRUE(load({{"MapToRGB", text}, {"AutoMinMax", text}}));
        EXPECT_EQ(element.settings().mapToRgb, expected) << text.toStdString();
        EXPECT_EQ(element.settings().autoMinMax, expected) << text.toStdString();
    }
}

TEST_F(LutMapping, toleranceIsReadAsAFloatingPointNumberAndTruncated) {
    for (const auto& [text, expected] : std::vector<std::pair<QString, std::int32_t>>{{"2.9", 2},
                                                                                      {"-2.9", -2},
                                                                                      {"0.99", 0},
                                                                                      {"1e2", 100},
                                                                                      {"7", 7},
                                                                                      {"", 0},
                                                                                      {"2,5", 0},
                                                                                      {"many", 0},
                                                                                      {"nan", 0},
                                                                                      {"1e300", 2147483647},
                                                                                      {"-1e300", -2147483648},
                                                                                      {"inf", 2147483647}}) {
        EXPECT_TRUE(load({{"AutoTolerance", text}}));
        EXPECT_EQ(element.settings().autoTolerance, expected) << text.toStdString();
    }
}

TEST_F(LutMapping, textThatIsNoNumberReadsAsZeroAndNothingIsRangeChecked) {
    EXPECT_TRUE(load({{"PseudoColor", "red"}, {"SrcMin", "1.5"}, {"SrcMax", ""}, {"Gamma", "x"}}));
    expectSame(element.settings(), {false, 0, true, 2, 0, 0, 0.0});
    EXPECT_TRUE(load({{"PseudoColor", "99"},
                      {"SrcMin", "9223372036854775807"},
                      {"SrcMax", "-9223372036854775808"},
                      {"Gamma", "-1e300"}}));
    expectSame(element.settings(), {false, 99, true, 2, largest64, smallest64, -1e300});
    EXPECT_TRUE(load({{"SrcMin", "9223372036854775808"}}));
    EXPECT_EQ(element.settings().srcMin, 0);
}

TEST_F(LutMapping, loadingDropsTheTableAlsoWithoutAnyKey) {
    setAutomatic();
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    wait(10);
    EXPECT_EQ(mapped({10, 40}), (Bytes{0, 255})); // the old range: too soon for another one
    EXPECT_EQ(mapped({15, 20}), (Bytes{128, 255}));
    EXPECT_TRUE(load({}));
    EXPECT_EQ(mapped({15, 20}), (Bytes{0, 255}));
}

// ---- The automatic range ----

/// A histogram of these bins per channel.
CzHistoData histogramOf(const std::vector<std::vector<std::uint32_t>>& channels, std::uint32_t shift = 0) {
    CzHistoData histogram;
    histogram.binShift = shift;
    for (const auto& bins : channels) {
        CzHistoData::SzChannel channel;
        for (const std::uint32_t count : bins)
            channel.bins.append(count);
        histogram.binCount = static_cast<std::uint32_t>(bins.size());
        histogram.channels.append(channel);
    }
    return histogram;
}

std::pair<std::int64_t, std::int64_t> rangeOf(const CzHistoData& histogram, std::int32_t tolerance) {
    const auto range = automaticRange(histogram, tolerance);
    EXPECT_TRUE(range);
    return range ? std::pair(range->smallest, range->largest) : std::pair(std::int64_t{-1}, std::int64_t{-1});
}

using Range = std::pair<std::int64_t, std::int64_t>;

TEST(AutomaticRange, endsWhereTheRunningSumsExceedTheThresholdStrictly) {
    // 1000 samples: 2 per mille are 2 of them.
    const CzHistoData histogram = histogramOf({{0, 1, 1, 500, 495, 2, 1, 0}});
    EXPECT_EQ(rangeOf(histogram, 0), Range(1, 6));
    EXPECT_EQ(rangeOf(histogram, 1), Range(2, 5));
    EXPECT_EQ(rangeOf(histogram, 2), Range(3, 5));
    EXPECT_EQ(rangeOf(histogram, 3), Range(3, 4));
    // Of a million samples, 2000 may lie beyond either end, and no more.
    EXPECT_EQ(rangeOf(histogramOf({{2000, 996000, 2000}}), 2), Range(1, 1));
    EXPECT_EQ(rangeOf(histogramOf({{2001, 995998, 2001}}), 2), Range(0, 2));
}

TEST(AutomaticRange, thresholdIsCutOffAfterThePoint) {
    // 2 per mille of 1499 samples are 2.998.
    EXPECT_EQ(rangeOf(histogramOf({{3, 1493, 3}}), 2), Range(0, 2));
    EXPECT_EQ(rangeOf(histogramOf({{3, 1494, 3}}), 2), Range(1, 1)); // 3 of 1500
}

TEST(AutomaticRange, thresholdOfTheFirstChannelServesAllOfThem) {
    // 10 per mille of 1000 are 10; the second channel has 100 samples, of which 1 would be 10 per mille.
    EXPECT_EQ(rangeOf(histogramOf({{0, 0, 1000, 0, 0}, {10, 0, 80, 0, 10}}), 10), Range(2, 2));
    EXPECT_EQ(rangeOf(histogramOf({{0, 0, 1000, 0, 0}, {11, 0, 78, 0, 11}}), 10), Range(0, 4));
    EXPECT_EQ(rangeOf(histogramOf({{10, 0, 80, 0, 10}, {0, 0, 1000, 0, 0}}), 10), Range(0, 4));
}

TEST(AutomaticRange, spansAllChannels) {
    EXPECT_EQ(rangeOf(histogramOf({{0, 0, 5, 5, 0, 0}, {0, 5, 5, 0, 0, 0}, {0, 0, 0, 5, 5, 0}}), 0),
              Range(1, 4));
    EXPECT_EQ(rangeOf(histogramOf({{0, 5, 0, 0, 5, 0}, {0, 0, 5, 5, 0, 0}}), 0), Range(1, 4));
}

TEST(AutomaticRange, withoutToleranceOrSamplesTheThresholdIsZero) {
    for (const std::int32_t tolerance : {0, -1, -2147483647 - 1})
        EXPECT_EQ(rangeOf(histogramOf({{0, 1, 100000, 1, 0}}), tolerance), Range(1, 3));
    // An empty first channel sets the threshold, and its range: 0 at either end.
    EXPECT_EQ(rangeOf(histogramOf({{0, 0, 0, 0}, {0, 1, 1000, 0}}), 1000), Range(0, 2));
}

TEST(AutomaticRange, endThatIsNeverReachedIsZero) {
    // 600 per mille of 10 are 6: from below it is exceeded in bin 3, from above in bin 1, below that.
    EXPECT_EQ(rangeOf(histogramOf({{0, 3, 3, 4, 0}}), 600), Range(3, 0)); // reversed
    EXPECT_EQ(rangeOf(histogramOf({{0, 3, 3, 4, 0}}), 1000), Range(0, 0));
    EXPECT_EQ(rangeOf(histogramOf({{0, 3, 3, 4, 0}}), 2147483647), Range(0, 0));
    EXPECT_EQ(rangeOf(histogramOf({{0, 0, 9, 0, 0}}), 500), Range(2, 2));
    EXPECT_EQ(rangeOf(histogramOf({{0, 0, 0, 0}}), 2), Range(0, 0));
}

TEST(AutomaticRange, downwardSumIncludesTheBinOfTheLowEndAndNoFurther) {
    // 450 per mille of 20 are 9: exceeded in bin 2 from below, and in bin 2 from above.
    EXPECT_EQ(rangeOf(histogramOf({{2, 0, 9, 9, 0}}), 450), Range(2, 2));
    // 500 per mille of 20 are 10: exceeded in bin 2 from below, from above nowhere down to it.
    EXPECT_EQ(rangeOf(histogramOf({{10, 0, 8, 2, 0}}), 500), Range(2, 0));
}

TEST(AutomaticRange, constantPictureHasOneValueForBothEnds) {
    EXPECT_EQ(rangeOf(histogramOf({{0, 0, 0, 777, 0}}), 2), Range(3, 3));
    EXPECT_EQ(rangeOf(histogramOf({{0, 0, 0, 777, 0}}, 5), 2), Range(96, 96));
}

TEST(AutomaticRange, isShiftedByTheBinShiftIn64Bits) {
    std::vector<std::uint32_t> bins(65536);
    bins[1] = bins[65535] = 1;
    EXPECT_EQ(rangeOf(histogramOf({bins}, 16), 0), Range(65536, 4294901760));
}

TEST(AutomaticRange, withoutChannelsThereIsNoneAndWithoutBinsItIsZero) {
    EXPECT_FALSE(automaticRange(CzHistoData(), 2));
    EXPECT_EQ(rangeOf(histogramOf({{}}), 2), Range(0, 0));
    EXPECT_EQ(rangeOf(histogramOf({{}, {0, 3}}), 0), Range(0, 1));
}

TEST(AutomaticRange, countsBeyond32BitsAreSummedUp) {
    EXPECT_EQ(rangeOf(histogramOf({{4294967295U, 4294967295U, 4294967295U, 4294967295U}}), 250), Range(1, 2));
}

TEST(AutomaticRange, thresholdBeyond64BitsIsNeverExceeded) {
    const std::vector<std::uint32_t> bins(4096, 4294967295U); // times two million: more than 2^64
    EXPECT_EQ(rangeOf(histogramOf({bins}), 2147483647), Range(0, 0));
}

// ---- Formats ----

TEST_F(LutMapping, formatAndMetadataStayWithoutRgb) {
    SzPicBufInfo input = pictureFormat(7, 5, 1, uint16, EzColorFilterArray::Hyperspectral);
    input.bitDepth = 12;
    input.linePitch = 32;
    const CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
    SzPicBufInfo output;
    CzImageMetadata outputMetadata;
    EXPECT_TRUE(element.outputImageInfo(input, output, &metadata, &outputMetadata));
    EXPECT_EQ(output, input);
    EXPECT_EQ(outputMetadata, metadata);
}

TEST_F(LutMapping, rgbIsAlwaysFourChannelsOf8BitWhateverTheInput) {
    setMapToRgb(0);
    for (const EzImageDataType type : {uint8, uint16, EzImageDataType::Float32, EzImageDataType::Float64})
        for (const std::uint32_t channels : {0U, 1U, 3U, 4U, 9U})
            for (const auto storageFormat : {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar,
                                             EzDataStorageFormat::HostPacked}) {
                SzPicBufInfo input =
                    pictureFormat(7, 5, channels, type,
                                  channels == 1 ? EzColorFilterArray::BayerGBRG : EzColorFilterArray::None);
                input.storageFormat = storageFormat;
                input.linePitch += 64;
                input.reserved = 77;
                SzPicBufInfo expected = input;
                expected.channels = 4;
                expected.bitDepth = 8;
                expected.dataType = uint8;
                expected.storageFormat = EzDataStorageFormat::Interleaved;
                expected.colorFilterArray = EzColorFilterArray::None;
                expected.isColor = true;
                expected.linePitch = 28;
                SzPicBufInfo output;
                EXPECT_TRUE(element.outputImageInfo(input, output, nullptr, nullptr));
                EXPECT_EQ(output, expected);
            }
}

TEST_F(LutMapping, rgbLinesAreAlignedTo4BytesNot256) {
    setMapToRgb(0);
    for (const std::uint32_t width : {0U, 1U, 63U, 65U, 4096U}) {
        SzPicBufInfo output;
        EXPECT_TRUE(element.outputImageInfo(pictureFormat(width, 3), output, nullptr, nullptr));
        EXPECT_EQ(output.linePitch, 4 * width);
    }
    // Too long for 32 bits: too short for the line, so that no picture is allocated.
    SzPicBufInfo output;
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(0x40000001, 3), output, nullptr, nullptr));
    EXPECT_EQ(output.linePitch, 0xFFFFFFFCU);
}

TEST_F(LutMapping, rgbIsNoMosaicAnyMore) {
    setMapToRgb(0);
    SzPicBufInfo output;
    CzImageMetadata outputMetadata;
    const CzImageMetadata mosaic = hyperspectral({filterZone(4, 4)});
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(8, 8, 1, uint8, EzColorFilterArray::Hyperspectral),
                                        output, &mosaic, &outputMetadata));
    EXPECT_EQ(outputMetadata, CzImageMetadata());

    CzImageMetadata bayer;
    bayer.colorFilterArray = EzColorFilterArray::BayerBGGR;
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(8, 8, 1, uint8, EzColorFilterArray::BayerBGGR), output,
                                        &bayer, &outputMetadata));
    EXPECT_EQ(outputMetadata.colorFilterArray, EzColorFilterArray::None);
}

TEST_F(LutMapping, rgbIsNoMosaicAnyMoreAlsoWherePictureAndMetadataDisagree) {
    setMapToRgb(0);
    const auto rgbMetadata = [this](EzColorFilterArray ofPicture, EzColorFilterArray ofMetadata) {
        CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
        metadata.colorFilterArray = ofMetadata;
        SzPicBufInfo output;
        CzImageMetadata outputMetadata;
        EXPECT_TRUE(element.outputImageInfo(pictureFormat(8, 8, 1, uint8, ofPicture), output, &metadata,
                                            &outputMetadata));
        EXPECT_EQ(output.colorFilterArray, EzColorFilterArray::None);
        EXPECT_EQ(outputMetadata.colorFilterArray, EzColorFilterArray::None);
        const auto frame = process(numberedFrame(pictureFormat(8, 8, 1, uint8, ofPicture), metadata));
        EXPECT_EQ(frame->imageMetadata(), outputMetadata);
        return outputMetadata;
    };
    constexpr auto mosaic = EzColorFilterArray::Hyperspectral;
    constexpr auto bayer = EzColorFilterArray::BayerRGGB;
    constexpr auto none = EzColorFilterArray::None;
    for (const auto other : {none, bayer}) {
        EXPECT_EQ(rgbMetadata(mosaic, other), CzImageMetadata());
        EXPECT_EQ(rgbMetadata(other, mosaic), CzImageMetadata());
    }
    // Where neither says so, there was none, and what is told of a sensor stays.
    CzImageMetadata kept = hyperspectral({filterZone(4, 4)});
    kept.colorFilterArray = none;
    EXPECT_EQ(rgbMetadata(bayer, none), kept);
    EXPECT_EQ(rgbMetadata(none, bayer), kept);
}

TEST_F(LutMapping, withoutInputMetadataTheOutputsAreEmpty) {
    for (const bool rgb : {false, true}) {
        if (rgb)
            setMapToRgb(0);
        SzPicBufInfo output;
        CzImageMetadata outputMetadata = hyperspectral({filterZone(4, 4)});
        EXPECT_TRUE(element.outputImageInfo(pictureFormat(8, 8, 1, uint8, EzColorFilterArray::Hyperspectral),
                                            output, nullptr, &outputMetadata));
        EXPECT_EQ(outputMetadata, CzImageMetadata());
    }
}

TEST_F(LutMapping, outputsMayBeTheInputs) {
    setMapToRgb(0);
    for (const bool metadataKnow : {true, false}) {
        SzPicBufInfo format = pictureFormat(9, 3, 1, uint16, EzColorFilterArray::Hyperspectral);
        CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
        if (!metadataKnow)
            metadata.colorFilterArray = EzColorFilterArray::None;
        EXPECT_TRUE(element.outputImageInfo(format, format, &metadata, &metadata));
        EXPECT_EQ(format.linePitch, 36U);
        EXPECT_EQ(metadata, CzImageMetadata());
    }
}

// ---- A frame ----

TEST_F(LutMapping, whatIsNoPictureComesBack) {
    OtherData other;
    EXPECT_EQ(element.processData(&other), &other);
    EXPECT_EQ(element.processData(nullptr), nullptr);
    EXPECT_TRUE(element.errorMessage().isEmpty());
}

TEST_F(LutMapping, exhaustedPoolDropsTheFrameAndKeepsTheInput) {
    const auto frame = lineOf(Bytes{1, 2});
    element.usePool(0, frame->picBuf());
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    EXPECT_EQ(samplesOfLine<std::uint8_t>(frame->picBuf()), (Bytes{1, 2}));
}

TEST_F(LutMapping, outputTakesOverAdditionalDataAndTheInputIsGone) {
    for (const bool rgb : {false, true}) {
        if (rgb)
            setMapToRgb(1);
        CzImageMetadata metadata;
        metadata.mosaicName = "kept";
        auto frame = lineOf(Bytes{1, 2}, lineFormat(2), metadata);
        const QPointer<CzImageData> input = frame.get();
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);
        EXPECT_TRUE(input.isNull());
        EXPECT_EQ(output->frameNo(), 42);
        EXPECT_EQ(output->picBuf().timeStampNs, 4711);
        EXPECT_EQ(output->imageMetadata(), metadata);
        EXPECT_TRUE(output->isFromMemoryPool(element.pool->handle()));
        SzPicBufInfo expected;
        element.outputImageInfo(lineFormat(2), expected, nullptr, nullptr);
        EXPECT_EQ(static_cast<const SzPicBufInfo&>(output->picBuf()), expected);
    }
}

TEST_F(LutMapping, mapsTheRangeToTheWholeDepth) {
    setRange(10, 20);
    EXPECT_EQ(mapped({0, 10, 11, 15, 20, 255}), (Bytes{0, 0, 26, 128, 255, 255}));
    setRange(100, 300);
    EXPECT_EQ(mapped({0, 100, 200, 300, 4095}, 12), (Words{0, 0, 2048, 4095, 4095}));
}

TEST_F(LutMapping, mapsPaddedPlanarAndColourPictures) {
    setRange(0, 100);
    SzPicBufInfo format = pictureFormat(3, 2);
    format.linePitch = 11;
    auto output = process(numberedFrame(format)); // 1 ... 6
    EXPECT_EQ(output->picBuf().linePitch, 11U);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{3, 5, 8, 10, 13, 15}));

    format = lineFormat(2, uint8, 8, 4);
    format.isColor = true;
    output = process(lineOf(Bytes{0, 50, 100, 255, 10, 20, 30, 0}, format));
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{0, 128, 255, 255, 26, 51, 77, 0}));

    format = lineFormat(2, uint8, 8, 3);
    format.storageFormat = EzDataStorageFormat::Planar;
    format.linePitch = 2;
    output = process(lineOf(Bytes{0, 50, 100, 255, 10, 20}, format));
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{0, 128, 255, 255, 26, 51}));
}

TEST_F(LutMapping, mapsTheHostsOwnLayoutLineByLine) {
    setRange(0, 100);
    SzPicBufInfo format = lineFormat(2, uint8, 8, 3);
    format.storageFormat = EzDataStorageFormat::HostPacked;
    auto output = process(lineOf(Bytes{0, 50, 100, 255, 10, 20}, format));
    EXPECT_EQ(output->picBuf().storageFormat, EzDataStorageFormat::HostPacked);
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{0, 128, 255, 255, 26, 51}));
    setMapToRgb(-1);
    output = process(lineOf(Bytes{0, 50, 100, 255, 10, 20}, format));
    EXPECT_EQ(output->picBuf().storageFormat, EzDataStorageFormat::Interleaved);
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{0, 128, 255, 255, 255, 26, 51, 255}));
}

TEST_F(LutMapping, bendsTheRangeByItsGamma) {
    Settings settings = element.settings();
    settings.autoMinMax = false;
    settings.srcMax = 200;
    settings.gamma = 2.0;
    element.setSettings(settings);
    EXPECT_EQ(mapped({0, 50, 200}), (Bytes{0, 128, 255}));
}

TEST_F(LutMapping, alwaysMapsAlsoWhereAHostThatSwitchedItOffWouldAskIt) {
    setRange(10, 20);
    element.setState(EzChainableState::Bypassed);
    EXPECT_EQ(mapped({15, 20}), (Bytes{128, 255}));
}

TEST_F(LutMapping, mapsToRgbWithThePaletteOrGrey) {
    setRange(100, 355);
    setMapToRgb(0);
    auto output = process(lineOf(Words{100, 355, 228}, 12));
    EXPECT_EQ(output->picBuf().channels, 4U);
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()),
              (Bytes{84, 1, 68, 255, 37, 231, 253, 255, 140, 145, 33, 255}));
    for (const std::int32_t palette : {-1, -2, 99}) {
        setMapToRgb(palette);
        output = process(lineOf(Words{100, 355, 228}, 12));
        EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()),
                  (Bytes{0, 0, 0, 255, 255, 255, 255, 255, 128, 128, 128, 255}));
    }
}

TEST_F(LutMapping, coloursStayColoursInRgb) {
    setRange(0, 100);
    setMapToRgb(0);
    SzPicBufInfo format = lineFormat(2, uint8, 8, 3);
    format.isColor = true;
    const auto output = process(lineOf(Bytes{0, 50, 100, 10, 20, 30}, format));
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{0, 128, 255, 255, 26, 51, 77, 255}));
}

// ---- The table's life ----

TEST_F(LutMapping, automaticRangeIsFoundForTheFirstFrame) {
    setAutomatic();
    EXPECT_EQ(mapped({10, 20, 15}), (Bytes{0, 255, 128}));
    EXPECT_EQ(element.settings().srcMin, 10);
    EXPECT_EQ(element.settings().srcMax, 20);
    EXPECT_EQ(saved().attribute("SrcMin"), "10");
    EXPECT_EQ(saved().attribute("SrcMax"), "20");
}

TEST_F(LutMapping, automaticRangeAllowsForTheTolerance) {
    Bytes samples(1000, 100);
    samples[0] = samples[1] = 1;
    samples[2] = samples[3] = 250;
    samples[4] = 200;
    mapped(samples);
    EXPECT_EQ(element.settings().srcMin, 100);
    EXPECT_EQ(element.settings().srcMax, 200);
    setAutomatic(1);
    mapped(samples);
    EXPECT_EQ(element.settings().srcMin, 1);
    EXPECT_EQ(element.settings().srcMax, 250);
}

TEST_F(LutMapping, rangeIsFoundAgainAfterMoreThan125Milliseconds) {
    setAutomatic();
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    wait(100);
    EXPECT_EQ(mapped({15, 30}), (Bytes{128, 255}));
    wait(25);
    EXPECT_EQ(mapped({15, 30}), (Bytes{128, 255})) << "125 ms are not more than 125 ms";
    wait(1);
    EXPECT_EQ(mapped({15, 30}), (Bytes{0, 255}));
    wait(125);
    EXPECT_EQ(mapped({20, 40}), (Bytes{85, 255})) << "the timer was restarted by the measurement";
    wait(1);
    EXPECT_EQ(mapped({20, 40}), (Bytes{0, 255}));
}

TEST_F(LutMapping, measurementThatFindsTheSameRangeRestartsTheTimer) {
    setAutomatic();
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    wait(126);
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    wait(125);
    EXPECT_EQ(mapped({15, 30}), (Bytes{128, 255}));
}

TEST_F(LutMapping, fixedRangeIsNeverMeasured) {
    setRange(0, 100);
    EXPECT_EQ(mapped({10, 20}), (Bytes{26, 51}));
    wait(1000);
    EXPECT_EQ(mapped({10, 20}), (Bytes{26, 51}));
    EXPECT_EQ(element.settings().srcMax, 100);
}

TEST_F(LutMapping, timeRunsOnOverMidnight) {
    setAutomatic();
    now = QTime(23, 59, 59, 900);
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    now = QTime(0, 0, 0, 25);
    EXPECT_EQ(mapped({15, 30}), (Bytes{128, 255}));
    now = QTime(0, 0, 0, 26);
    EXPECT_EQ(mapped({15, 30}), (Bytes{0, 255}));
}

TEST_F(LutMapping, firstFrameIsMeasuredAtAnyTimeOfDay) {
    setAutomatic();
    now = QTime(0, 0, 0, 3);
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
}

TEST_F(LutMapping, clockThatIsSetBackDoesNotStopMeasuring) {
    setAutomatic();
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    now = QTime(11, 0, 0, 0);
    EXPECT_EQ(mapped({15, 30}), (Bytes{0, 255}));
}

TEST_F(LutMapping, changedSettingsDropTheTableAndMeasureAtOnce) {
    setAutomatic();
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    EXPECT_EQ(mapped({15, 30}), (Bytes{128, 255}));
    setAutomatic();
    EXPECT_EQ(mapped({15, 30}), (Bytes{0, 255}));
}

TEST_F(LutMapping, inputThatDoesNotFitTheTableDropsItAndMeasuresAtOnce) {
    setAutomatic();
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    EXPECT_EQ(mapped({1000, 2000, 1500}, 16), (Words{0, 65535, 32768})); // another depth
    SzPicBufInfo format = lineFormat(2, uint16, 16, 3);
    const auto threeChannels = process(lineOf(Words{10, 20, 30, 30, 20, 10}, format));
    EXPECT_EQ(samplesOfLine<std::uint16_t>(threeChannels->picBuf()),
              (Words{0, 32768, 65535, 65535, 32768, 0}));
    format.isColor = true;
    const auto colours = process(lineOf(Words{40, 50, 60, 60, 50, 40}, format));
    EXPECT_EQ(samplesOfLine<std::uint16_t>(colours->picBuf()), (Words{0, 32768, 65535, 65535, 32768, 0}));
}

TEST_F(LutMapping, frameWithoutABufferMeasuresNothing) {
    setAutomatic();
    const auto frame = lineOf(Bytes{1, 2});
    element.usePool(0, frame->picBuf());
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    EXPECT_EQ(element.settings().srcMin, 0);
    EXPECT_EQ(element.settings().srcMax, 255);
}

TEST_F(LutMapping, rangeOfDeepPicturesIsShiftedAndSavedAlthoughTheyHaveNoTable) {
    setAutomatic();
    const auto output = process(lineOf(std::vector<std::uint32_t>{0x12345678, 0xABCDEF01},
                                       lineFormat(2, EzImageDataType::UInt32, 32)));
    EXPECT_EQ(samplesOfLine<std::uint32_t>(output->picBuf()),
              (std::vector<std::uint32_t>{0x12345678, 0xABCDEF01}));
    EXPECT_EQ(saved().attribute("SrcMin"), QString::number(0x12340000));
    EXPECT_EQ(saved().attribute("SrcMax"), QString::number(0xABCD0000));
}

TEST_F(LutMapping, pictureWithoutAHistogramKeepsTheRange) {
    setAutomatic();
    Settings settings = element.settings();
    settings.srcMin = 7;
    settings.srcMax = 8;
    element.setSettings(settings);
    const auto output = process(numberedFrame(lineFormat(2, EzImageDataType::Int16, 16)));
    ASSERT_TRUE(output);
    EXPECT_EQ(element.settings().srcMin, 7);
    EXPECT_EQ(element.settings().srcMax, 8);
}

TEST_F(LutMapping, histogramWithoutACountMakesTheRangeZero) {
    setAutomatic();
    const std::vector<float> nothing(2, std::numeric_limits<float>::quiet_NaN());
    process(lineOf(nothing, lineFormat(2, EzImageDataType::Float32, 16)));
    EXPECT_EQ(element.settings().srcMin, 0);
    EXPECT_EQ(element.settings().srcMax, 0);
}

TEST_F(LutMapping, pictureAfterOneWithoutATableKeepsTheFoundRangeUntilTheTimeIsUp) {
    setAutomatic();
    process(lineOf(std::vector<std::uint32_t>{0x00640000, 0x00C80000},
                   lineFormat(2, EzImageDataType::UInt32, 32)));
    EXPECT_EQ(element.settings().srcMin, 0x00640000);
    wait(125);
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 0})) << "there was no table that could have been dropped";
    wait(1);
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
}

TEST_F(LutMapping, constantPictureIsBlackByItsStep) {
    setAutomatic();
    EXPECT_EQ(mapped({77, 77}), (Bytes{0, 0}));
    EXPECT_EQ(element.settings().srcMin, 77);
    EXPECT_EQ(element.settings().srcMax, 77);
    EXPECT_EQ(mapped({77, 78}), (Bytes{0, 255}));
}

TEST_F(LutMapping, settingsThatChangeWhileARangeIsFoundAreKept) {
    setAutomatic();
    int calls = 0;
    element.setClock([&] {
        if (calls++ == 0)
            setRange(0, 100); // the user, in the middle of a frame
        return now;
    });
    EXPECT_EQ(mapped({10, 20}), (Bytes{0, 255}));
    EXPECT_EQ(element.settings().srcMin, 0);
    EXPECT_EQ(element.settings().srcMax, 100);
    EXPECT_EQ(mapped({10, 20}), (Bytes{26, 51}));
}

// ---- Pictures without a table ----

/// Depths and sample types that no table serves.
std::vector<SzPicBufInfo> formatsWithoutTable() {
    std::vector<SzPicBufInfo> formats;
    for (const auto& [type, bitDepth] :
         std::vector<std::pair<EzImageDataType, std::uint32_t>>{{uint8, 0},
                                                                {uint16, 0},
                                                                {uint8, 12},
                                                                {uint16, 17},
                                                                {EzImageDataType::UInt32, 32},
                                                                {EzImageDataType::UInt32, 4294967295U},
                                                                {EzImageDataType::Float32, 32},
                                                                {EzImageDataType::Float32, 12},
                                                                {EzImageDataType::Int16, 12},
                                                                {EzImageDataType::Int8, 8},
                                                                {EzImageDataType::Float64, 64},
                                                                {EzImageDataType::SpectrumFloat32, 32}})
        formats.push_back(lineFormat(3, type, bitDepth));
    return formats;
}

TEST_F(LutMapping, pictureThatHasNoTableIsCopiedWithoutAWord) {
    for (const bool automatic : {true, false})
        for (const SzPicBufInfo& format : formatsWithoutTable()) {
            if (automatic)
                setAutomatic();
            else
                setRange(0, 1);
            Bytes samples(packedLineBytes(format));
            std::iota(samples.begin(), samples.end(), std::uint8_t{1});
            auto frame = lineOf(samples, format);
            frame->picBuf().floatMin = -3.0F;
            frame->picBuf().floatMax = 9.0F;
            const auto output = process(std::move(frame));
            ASSERT_TRUE(output);
            EXPECT_EQ(static_cast<const SzPicBufInfo&>(output->picBuf()), format);
            EXPECT_EQ(Bytes(output->picBuf().data, output->picBuf().data + packedLineBytes(format)), samples);
            EXPECT_EQ(output->picBuf().floatMin, -3.0F);
            EXPECT_EQ(output->picBuf().floatMax, 9.0F);
            EXPECT_TRUE(element.errorMessage().isEmpty());
        }
}

TEST_F(LutMapping, pictureThatHasNoTableIsConvertedPlainlyToRgb) {
    setRange(0, 1);
    setMapToRgb(0);
    auto output = process(lineOf(std::vector<std::uint32_t>{0x12345678, 0xABCDEF01},
                                 lineFormat(2, EzImageDataType::UInt32, 32)));
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()),
              (Bytes{0x12, 0x12, 0x12, 255, 0xAB, 0xAB, 0xAB, 255}));
    output = process(lineOf(Bytes{0, 200}, lineFormat(2, uint8, 0)));
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{0, 0, 0, 255, 200, 200, 200, 255}));
    auto floats = lineOf(std::vector<float>{-1.0F, 1.0F}, lineFormat(2, EzImageDataType::Float32, 32));
    floats->picBuf().floatMin = -1.0F;
    floats->picBuf().floatMax = 1.0F;
    output = process(std::move(floats));
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{0, 0, 0, 255, 255, 255, 255, 255}));
    SzPicBufInfo bayer = pictureFormat(2, 2, 1, uint8, EzColorFilterArray::BayerRGGB);
    bayer.bitDepth = 0;
    output = process(lineOf(Bytes{200, 100, 100, 50}, bayer));
    EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{50, 100, 200, 255, 50, 100, 200, 255}));
    EXPECT_TRUE(element.errorMessage().isEmpty());
}

TEST_F(LutMapping, whatCannotBeConvertedEitherIsBlackAndShowsNoOldFrame) {
    setMapToRgb(0);
    for (const EzImageDataType type :
         {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16, EzImageDataType::Float64,
          EzImageDataType::Float16, static_cast<EzImageDataType>(77)}) {
        const auto output = process(numberedFrame(lineFormat(2, type, 8)));
        ASSERT_TRUE(output);
        EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()), (Bytes{0, 0, 0, 255, 0, 0, 0, 255}));
    }
}

TEST_F(LutMapping, pictureWithoutPixelsComesOutBlackAndKeepsTheRange) {
    for (const bool rgb : {false, true}) {
        if (rgb)
            setMapToRgb(0);
        setAutomatic();
        SzPicBuf nothing;
        nothing.setPicFormat(lineFormat(2));
        auto frame = std::make_unique<CzImageData>();
        frame->setPicBuf(nothing);
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);
        EXPECT_EQ(samplesOfLine<std::uint8_t>(output->picBuf()),
                  rgb ? (Bytes{0, 0, 0, 255, 0, 0, 0, 255}) : (Bytes{0, 0}));
        EXPECT_EQ(element.settings().srcMin, 0);
        EXPECT_EQ(element.settings().srcMax, 255);
        EXPECT_TRUE(element.errorMessage().isEmpty());
    }
    // A format without pixels gets no buffer.
    auto frame = std::make_unique<CzImageData>();
    EXPECT_EQ(element.processData(frame.get()), nullptr);
}

// ---- Settings that only saved chains have ----

TEST_F(LutMapping, gammaThatIsNoneCountsAsOne) {
    for (const QString text : {"0", "-1", "nan", "inf", "-inf", "1e999"}) {
        ASSERT_TRUE(load({{"AutoMinMax", "0"}, {"SrcMax", "100"}, {"Gamma", text}}));
        EXPECT_EQ(mapped({0, 50, 100}), (Bytes{0, 128, 255})) << text.toStdString();
    }
}

TEST_F(LutMapping, reversedEmptyAndEndlessRangesAreDefined) {
    const auto mapping = [this](const QString& srcMin, const QString& srcMax) {
        EXPECT_TRUE(load({{"AutoMinMax", "0"}, {"SrcMin", srcMin}, {"SrcMax", srcMax}}));
        return mapped({0, 100, 101, 255});
    };
    EXPECT_EQ(mapping("100", "50"), (Bytes{0, 0, 255, 255}));
    EXPECT_EQ(mapping("100", "100"), (Bytes{0, 0, 255, 255}));
    EXPECT_EQ(mapping("-9223372036854775808", "9223372036854775807"), (Bytes{128, 128, 128, 128}));
    EXPECT_EQ(mapping("9223372036854775807", "-9223372036854775808"), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(mapping("-9223372036854775808", "-9223372036854775808"), (Bytes{255, 255, 255, 255}));
}

TEST_F(LutMapping, endlessToleranceMakesTheRangeZero) {
    ASSERT_TRUE(load({{"AutoTolerance", "1e300"}}));
    EXPECT_EQ(mapped({0, 10, 20}), (Bytes{0, 255, 255}));
    EXPECT_EQ(element.settings().srcMin, 0);
    EXPECT_EQ(element.settings().srcMax, 0);
}

TEST_F(LutMapping, samplesBeyondTheDepthAreTheLargestOne) {
    setRange(0, 8190);
    EXPECT_EQ(mapped({4095, 4096, 65535}, 12), (Words{2048, 2048, 2048}));
    setRange(0, 510);
    EXPECT_EQ(mapped({255, 256, 65535}, 8), (Words{128, 128, 128})); // 8 bits in a 16-bit container
}

// ---- In a chain ----

TEST(LutMappingInChain, everyBufferGoesBackAndNoFrameIsLost) {
    CzChain chain;
    chain.append(new CzLutInmapCnbl);
    chain.source().setFormat(lineFormat(2), CzImageMetadata());
    std::vector<Bytes> outputs;
    chain.setFrameObserver([&](const SzFrameReport& report) {
        if (const auto* const image = qobject_cast<const CzImageData*>(report.output))
            outputs.push_back(samplesOfLine<std::uint8_t>(image->picBuf()));
    });
    ASSERT_TRUE(chain.start());
    for (int i = 0; i < 40; ++i) {
        EXPECT_TRUE(chain.source().push(lineOf(Bytes{10, 20})));
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    }
    chain.stop();
    EXPECT_EQ(outputs, std::vector<Bytes>(40, Bytes{0, 255}));
}

} // namespace
