// SPDX-License-Identifier: GPL-3.0-or-later
#include "MosaicStatFilterChnbl.h"

#include "ElementTest.h"
#include "MosaicStatFilterWidget.h"

#include <QDomDocument>
#include <QMetaClassInfo>
#include <QPointer>

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr auto none = EzColorFilterArray::None;
constexpr auto rggb = EzColorFilterArray::BayerRGGB;
constexpr auto mosaic = EzColorFilterArray::Hyperspectral;
constexpr std::int32_t minimum = CzMosaicStatFilterChnbl::Minimum;
constexpr std::int32_t maximum = CzMosaicStatFilterChnbl::Maximum;
constexpr std::int32_t average = CzMosaicStatFilterChnbl::Average;
constexpr std::int32_t normalize = CzMosaicStatFilterChnbl::Normalize;

const QString notRaw = "The input image is not in RAW format.";
const QString notSimple = "Only the simple mosaic HSI images are supported.";
const QString failed = "The processing failed.";

/// Lets a test leave a message behind.
class Element : public LooseElement<CzMosaicStatFilterChnbl> {
public:
    using CzMosaicStatFilterChnbl::setErrorMessage;
};

SzPicBufInfo bayerFormat(std::uint32_t width, std::uint32_t height,
                         EzImageDataType type = EzImageDataType::UInt8) {
    return pictureFormat(width, height, 1, type, rggb);
}

SzPicBufInfo mosaicFormat(std::uint32_t width, std::uint32_t height) {
    return pictureFormat(width, height, 1, EzImageDataType::UInt8, mosaic);
}

CzHsiCameraParams::CzFilterZone zoneWithRegion(std::uint32_t cellWidth, std::uint32_t cellHeight, int left,
                                               int top, int right, int bottom) {
    auto zone = filterZone(cellWidth, cellHeight);
    zone.left = left;
    zone.top = top;
    zone.right = right;
    zone.bottom = bottom;
    return zone;
}

class MosaicStatFilter : public ElementTest<Element> {
protected:
    void choose(std::int32_t statFilter, bool interpolation) {
        element.setStatFilter(statFilter);
        element.setInterpolation(interpolation);
    }

    /// Expects a frame to be passed on as it is, and the pool to be full again.
    void expectPassedOn(const SzPicBufInfo& format, const CzImageMetadata& metadata, const QString& message) {
        usePool();
        const int free = element.pool->freeBuffers();
        const auto frame = numberedFrame(format, metadata);
        const auto same = numberedFrame(format, metadata);
        EXPECT_EQ(element.processData(frame.get()), frame.get());
        EXPECT_EQ(element.errorMessage(), message);
        EXPECT_EQ(element.pool->freeBuffers(), free);
        EXPECT_EQ(samplesOf<std::uint8_t>(frame->picBuf()), samplesOf<std::uint8_t>(same->picBuf()));
        EXPECT_EQ(static_cast<const SzPicBufInfo&>(frame->picBuf()), format);
    }

    bool load(const std::optional<QString>& statFilter, const std::optional<QString>& interpolation) {
        Attributes attributes;
        if (statFilter)
            attributes.emplace_back("statFilter", *statFilter);
        if (interpolation)
            attributes.emplace_back("interpolation", *interpolation);
        return ElementTest::load(attributes);
    }

    void usePool() {
        if (!element.pool)
            element.usePool(2, pictureFormat(1024, 64, 1, EzImageDataType::Float64));
    }
};

// ---- Identity ----

TEST_F(MosaicStatFilter, introducesItself) {
    EXPECT_TRUE(element.isConfigurable());
    EXPECT_EQ(element.maxPredecessors(), 1);
    EXPECT_EQ(static_cast<int>(element.flags()), 13);
    const QMetaObject& metaObject = CzMosaicStatFilterChnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(), "Mosaic Filter");
}

TEST_F(MosaicStatFilter, identifierIsThatOfTheClassWhoseNameEndsUnlikeTheOthers) {
    const QMetaObject& metaObject = CzMosaicStatFilterChnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.className(), "CzMosaicStatFilterChnbl");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.CzMosaicStatFilterChnbl");
}

TEST_F(MosaicStatFilter, beginsWithTheInterpolatedAverage) {
    EXPECT_EQ(element.statFilter(), 2);
    EXPECT_TRUE(element.interpolation());
    EXPECT_EQ(element.caption(), "Mosaic Average (interpolation)");
}

TEST_F(MosaicStatFilter, captionNamesTheFilterAndTheInterpolationUnlessItNormalizes) {
    const std::pair<std::int32_t, QString> names[] = {
        {minimum, "Mosaic Minimum"}, {maximum, "Mosaic Maximum"}, {average, "Mosaic Average"}};
    for (const auto& [filter, name] : names) {
        choose(filter, false);
        EXPECT_EQ(element.caption(), name);
        choose(filter, true);
        EXPECT_EQ(element.caption(), name + " (interpolation)");
    }
    for (const bool interpolation : {false, true}) {
        choose(normalize, interpolation);
        EXPECT_EQ(element.caption(), "Mosaic Normalize");
    }
}

TEST_F(MosaicStatFilter, unknownFilterHasNoName) {
    for (const std::int32_t unknown : {-1, 4, std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_EQ(CzMosaicStatFilterChnbl::filterName(unknown), QString());
        choose(unknown, false);
        EXPECT_EQ(element.caption(), "Mosaic ");
    }
}

TEST_F(MosaicStatFilter, helpKeepsItsSpellings) {
    QString topic = "topic";
    EXPECT_TRUE(element.hasHelp());
    EXPECT_EQ(
        element.help(topic),
        "Applies a statistic filter on the input image.<ul><li><b>Minimum</b>: the output image contains the "
        "minimum from each hyperpixel.</li><li><b>Maximum</b>: the output image contains the maximum from "
        "each hyperpixel.</li><li><b>Averaging</b>: the output image contains the average from each "
        "hyperpixel.</li><li><b>Normalize</b>: each hyperpixel is normalized to [0; "
        "maxIntensityValue].</li></ul>If the <b>Interpolation</b> option is checked then the output image "
        "will have size of the input image decreased by one hyperpixel in width and height. The "
        "<b>mormalized</b> image has always the same size as the input image.");
    EXPECT_EQ(topic, "topic");
}

TEST_F(MosaicStatFilter, duplicateHasTheFilterButAlwaysInterpolates) {
    choose(maximum, false);
    const std::unique_ptr<CzChainable> copy(element.duplicate());
    auto* const twin = qobject_cast<CzMosaicStatFilterChnbl*>(copy.get());
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->statFilter(), maximum);
    EXPECT_TRUE(twin->interpolation());
}

TEST_F(MosaicStatFilter, acceptsImageProvidersOnly) {
    CzMosaicStatFilterChnbl other;
    QObject stranger;
    EXPECT_TRUE(element.acceptsPredecessor(&other));
    EXPECT_FALSE(element.acceptsPredecessor(&stranger));
    EXPECT_FALSE(element.acceptsPredecessor(nullptr));
}

TEST_F(MosaicStatFilter, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzMosaicStatFilterWidget*>(widget.get()));
}

// ---- Settings ----

TEST_F(MosaicStatFilter, savesBothParametersAsIntegers) {
    for (const bool interpolation : {false, true}) {
        choose(maximum, interpolation);
        const QDomElement settings = saved();
        EXPECT_EQ(settings.attribute("statFilter"), "1");
        EXPECT_EQ(settings.attribute("interpolation"), interpolation ? "1" : "0");
        EXPECT_EQ(settings.attributes().count(), 3); // and the identifier
        CzMosaicStatFilterChnbl loaded;
        EXPECT_TRUE(loaded.loadSettings(settings));
        EXPECT_EQ(loaded.caption(), element.caption());
    }
}

TEST_F(MosaicStatFilter, withoutAFilterNeitherParameterIsLoaded) {
    choose(maximum, false);
    EXPECT_FALSE(load({}, "1"));
    EXPECT_EQ(element.statFilter(), maximum);
    EXPECT_FALSE(element.interpolation());
    EXPECT_FALSE(load({}, {}));
}

TEST_F(MosaicStatFilter, filterThatIsNoNumberBecomesZeroAndInterpolationIsNotLookedAt) {
    for (const char* text : {"many", "", "1.5", "0x2", "4294967296"}) {
        choose(maximum, false);
        EXPECT_FALSE(load(text, "1")) << text;
        EXPECT_EQ(element.statFilter(), minimum);
        EXPECT_FALSE(element.interpolation());
    }
}

TEST_F(MosaicStatFilter, interpolationMayBeMissing) {
    choose(maximum, false);
    EXPECT_TRUE(load("3", {}));
    EXPECT_EQ(element.statFilter(), normalize);
    EXPECT_FALSE(element.interpolation());
}

TEST_F(MosaicStatFilter, everyNumberButZeroInterpolatesAndTextCountsAsZero) {
    const std::pair<const char*, bool> texts[] = {{"0", false}, {"1", true},    {"-1", true},
                                                  {"2", true},  {"yes", false}, {"", false}};
    for (const auto& [text, interpolation] : texts) {
        choose(average, !interpolation);
        EXPECT_TRUE(load("2", text));
        EXPECT_EQ(element.interpolation(), interpolation) << text;
    }
}

TEST_F(MosaicStatFilter, filterNumberIsNotChecked) {
    for (const std::int32_t number : {-1, 4, 1000, std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_TRUE(load(QString::number(number), "0"));
        EXPECT_EQ(element.statFilter(), number);
        EXPECT_FALSE(element.interpolation());
    }
}

TEST_F(MosaicStatFilter, resultOfTheHostsLoadingCounts) {
    EXPECT_FALSE(ElementTest::load({{"statFilter", "1"}, {"interpolation", "0"}, {"state", "neither"}}));
    EXPECT_EQ(element.statFilter(), maximum);
    EXPECT_FALSE(element.interpolation());
}

// ---- Output format ----

TEST_F(MosaicStatFilter, bayerPictureIsHalvedWithoutInterpolationAndKeepsItsSizeWithIt) {
    for (const std::int32_t filter : {minimum, maximum, average}) {
        choose(filter, false);
        SzPicBufInfo expected = pictureFormat(500, 300);
        expected.linePitch = 512;
        EXPECT_EQ(outputFormat(bayerFormat(1000, 600)), expected);
        choose(filter, true);
        expected = pictureFormat(1000, 600);
        expected.linePitch = 1024;
        EXPECT_EQ(outputFormat(bayerFormat(1000, 600)), expected);
    }
}

TEST_F(MosaicStatFilter, normalizedPictureKeepsItsSizeAndArrangement) {
    for (const bool interpolation : {false, true}) {
        choose(normalize, interpolation);
        SzPicBufInfo expected = bayerFormat(1000, 600);
        expected.linePitch = 1024;
        EXPECT_EQ(outputFormat(bayerFormat(1000, 600)), expected);
    }
}

TEST_F(MosaicStatFilter, linesArePaddedTo256Bytes) {
    const auto pitch = [this](std::uint32_t width, EzImageDataType type) {
        return outputFormat(bayerFormat(width, 2, type)).linePitch;
    };
    EXPECT_EQ(pitch(1, EzImageDataType::UInt8), 256U);
    EXPECT_EQ(pitch(256, EzImageDataType::UInt8), 256U);
    EXPECT_EQ(pitch(257, EzImageDataType::UInt8), 512U);
    EXPECT_EQ(pitch(128, EzImageDataType::UInt16), 256U);
    EXPECT_EQ(pitch(129, EzImageDataType::UInt16), 512U);
    EXPECT_EQ(pitch(65, EzImageDataType::UInt32), 512U);
    EXPECT_EQ(pitch(64, EzImageDataType::Float32), 256U);
    EXPECT_EQ(pitch(33, EzImageDataType::Float64), 512U);
}

TEST_F(MosaicStatFilter, outputIsInterleavedAndKeepsDepthAndType) {
    SzPicBufInfo input = bayerFormat(20, 10, EzImageDataType::UInt16);
    input.bitDepth = 12;
    input.storageFormat = EzDataStorageFormat::Planar;
    input.isColor = true;
    input.linePitch = 64;
    for (const std::int32_t filter : {minimum, normalize}) {
        choose(filter, true);
        const SzPicBufInfo output = outputFormat(input);
        EXPECT_EQ(output.channels, 1U);
        EXPECT_EQ(output.bitDepth, 12U);
        EXPECT_EQ(output.dataType, EzImageDataType::UInt16);
        EXPECT_EQ(output.storageFormat, EzDataStorageFormat::Interleaved);
        EXPECT_FALSE(output.isColor);
    }
}

TEST_F(MosaicStatFilter, whatIsNotRawKeepsFormatAndMetadata) {
    choose(average, false);
    SzPicBufInfo hostPacked = bayerFormat(7, 5);
    hostPacked.storageFormat = EzDataStorageFormat::HostPacked;
    const CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
    for (const SzPicBufInfo& format :
         {pictureFormat(7, 5), pictureFormat(7, 5, 3, EzImageDataType::UInt8, rggb), hostPacked}) {
        EXPECT_EQ(outputFormat(format, metadata), format);
        EXPECT_EQ(outputMetadata(format, metadata), metadata);
    }
}

TEST_F(MosaicStatFilter, formatHasOnePixelPerCellOfTheRegionOfTheFirstZone) {
    choose(average, false);
    const auto size = [this](const CzImageMetadata& metadata) {
        const SzPicBufInfo output = outputFormat(mosaicFormat(103, 58), metadata);
        return std::pair{output.width, output.height};
    };
    EXPECT_EQ(size(hyperspectral({filterZone(5, 4)})), std::pair(20U, 14U));
    EXPECT_EQ(size(hyperspectral({zoneWithRegion(5, 4, 10, 20, 33, 42), filterZone(2, 2)})), // 24 x 23
              std::pair(4U, 5U));
}

TEST_F(MosaicStatFilter, regionOfAZoneThatIsIllFormedIsTheWholePicture) {
    choose(average, false);
    for (const auto& zone : {zoneWithRegion(5, 4, 34, 20, 33, 42), zoneWithRegion(5, 4, 10, 43, 33, 42)}) {
        const SzPicBufInfo output = outputFormat(mosaicFormat(103, 58), hyperspectral({zone}));
        EXPECT_EQ(output.width, 20U);
        EXPECT_EQ(output.height, 14U);
    }
}

TEST_F(MosaicStatFilter, formatTakesASensorThatIsNotValidSampleBySample) {
    choose(average, false);
    auto wrongBands = zoneWithRegion(4, 4, 0, 0, 7, 7);
    wrongBands.bands.removeLast();
    for (const CzImageMetadata& metadata :
         {hyperspectral({}), hyperspectral({wrongBands}), hyperspectral({filterZone(0, 0)})}) {
        const SzPicBufInfo output = outputFormat(mosaicFormat(13, 9), metadata);
        EXPECT_EQ(output.width, 13U);
        EXPECT_EQ(output.height, 9U);
    }
}

TEST_F(MosaicStatFilter, formatGoesByTheMetadataNotByThePicture) {
    choose(average, false);
    // A Bayer picture of a hyperspectral sensor, and a mosaic of which nothing else is known.
    EXPECT_EQ(outputFormat(bayerFormat(40, 40), hyperspectral({filterZone(4, 5)})).width, 10U);
    EXPECT_EQ(outputFormat(bayerFormat(40, 40), hyperspectral({filterZone(4, 5)})).height, 8U);
    CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
    metadata.colorFilterArray = none;
    EXPECT_EQ(outputFormat(mosaicFormat(40, 40), metadata).width, 20U);
    SzPicBufInfo output;
    EXPECT_TRUE(element.outputImageInfo(mosaicFormat(40, 40), output, nullptr, nullptr));
    EXPECT_EQ(output.width, 20U);
}

TEST_F(MosaicStatFilter, regionsAndSizesBeyondAllSensorsAreAnswered) {
    choose(average, false);
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    const SzPicBufInfo output =
        outputFormat(mosaicFormat(8, 8), hyperspectral({zoneWithRegion(1, 4, least, least, most, most)}));
    EXPECT_EQ(output.width, 4294967295U); // one less than there are
    EXPECT_EQ(output.height, 1073741824U);
    EXPECT_EQ(output.linePitch, 4294967040U);
    choose(average, true);
    EXPECT_EQ(outputFormat(bayerFormat(4294967295U, 1)).linePitch, 4294967040U); // which the pool refuses
}

TEST_F(MosaicStatFilter, metadataForgetTheMosaicUnlessItIsNormalized) {
    const CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
    for (const std::int32_t filter : {minimum, maximum, average, 77}) {
        choose(filter, true);
        EXPECT_EQ(outputMetadata(mosaicFormat(8, 8), metadata), CzImageMetadata());
        EXPECT_EQ(outputMetadata(bayerFormat(8, 8), metadata), CzImageMetadata());
    }
    choose(normalize, true);
    EXPECT_EQ(outputMetadata(mosaicFormat(8, 8), metadata), metadata);
}

TEST_F(MosaicStatFilter, metadataAreLeftAloneWhereThereAreNoneOfTheInput) {
    SzPicBufInfo output;
    CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
    EXPECT_TRUE(element.outputImageInfo(bayerFormat(8, 8), output, nullptr, &metadata));
    EXPECT_EQ(metadata, hyperspectral({filterZone(4, 4)}));
}

TEST_F(MosaicStatFilter, formatIsAnsweredInPlace) {
    choose(average, false);
    SzPicBufInfo format = mosaicFormat(16, 8);
    CzImageMetadata metadata = hyperspectral({filterZone(4, 2)});
    EXPECT_TRUE(element.outputImageInfo(format, format, &metadata, &metadata));
    EXPECT_EQ(format.width, 4U);
    EXPECT_EQ(format.height, 4U);
    EXPECT_EQ(metadata, CzImageMetadata());
}

// ---- What comes out with nothing ----

TEST_F(MosaicStatFilter, anythingButAPictureGivesNullInsteadOfPassingOnAndIsNotReleased) {
    auto* const data = new OtherData;
    const QPointer<OtherData> input = data;
    EXPECT_EQ(element.processData(data), nullptr);
    ASSERT_FALSE(input.isNull());
    delete data;
    EXPECT_EQ(element.processData(nullptr), nullptr);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(MosaicStatFilter, bypassedItGivesNullInsteadOfPassingOnAndDoesNotReleaseTheInput) {
    usePool();
    element.setState(EzChainableState::Bypassed);
    const auto frame = numberedFrame(bayerFormat(4, 4));
    const QPointer<CzImageData> input = frame.get();
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    ASSERT_FALSE(input.isNull());
    EXPECT_EQ(frame->picBuf().data[0], 1);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(MosaicStatFilter, exhaustedOrMissingPoolGivesNullWithoutAMessage) {
    const SzPicBufInfo format = bayerFormat(4, 4);
    const auto frame = numberedFrame(format);
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    element.usePool(1, pictureFormat(256, 8));
    const auto first = process(numberedFrame(format));
    ASSERT_TRUE(first);
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    EXPECT_EQ(frame->picBuf().data[0], 1);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(MosaicStatFilter, formatWithoutPixelsGivesNullWithoutAMessage) {
    usePool();
    choose(average, false);
    const auto frame = numberedFrame(bayerFormat(1, 4)); // no cell beside another
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    EXPECT_EQ(element.errorMessage(), QString());
}

// ---- What passes through ----

TEST_F(MosaicStatFilter, picturesThatAreNotRawPassOnWithAMessage) {
    SzPicBufInfo hostPacked = bayerFormat(4, 4);
    hostPacked.storageFormat = EzDataStorageFormat::HostPacked;
    for (const SzPicBufInfo& format :
         {pictureFormat(4, 4), pictureFormat(4, 4, 3, EzImageDataType::UInt8, rggb), hostPacked}) {
        element.setErrorMessage(QString());
        expectPassedOn(format, CzImageMetadata(), notRaw);
        expectPassedOn(format, CzImageMetadata(), notRaw);
    }
}

TEST_F(MosaicStatFilter, sensorsThatAreNoSimpleMosaicPassOnWithAMessage) {
    auto blocks = filterZone(2, 2);
    blocks.blockWidth = 2;
    auto wrongBands = filterZone(2, 2);
    wrongBands.bands.removeLast();
    for (const CzImageMetadata& metadata :
         {CzImageMetadata(), hyperspectral({}), hyperspectral({blocks}), hyperspectral({wrongBands}),
          hyperspectral({filterZone(0, 0)}), hyperspectral({filterZone(2, 2), filterZone(2, 2)})}) {
        element.setErrorMessage(QString());
        expectPassedOn(mosaicFormat(8, 8), metadata, notSimple);
    }
}

TEST_F(MosaicStatFilter, mosaicWithoutAZoneIsRefusedAsNoSimpleOneByEveryFilter) {
    for (const std::int32_t filter : {minimum, maximum, average, normalize})
        for (const bool interpolation : {false, true}) {
            choose(filter, interpolation);
            expectPassedOn(mosaicFormat(8, 8), hyperspectral({}), notSimple);
        }
}

TEST_F(MosaicStatFilter, unknownFilterFailsAndItsBufferGoesBack) {
    for (const std::int32_t unknown : {-1, 4, std::numeric_limits<std::int32_t>::max()}) {
        element.setErrorMessage(QString());
        choose(unknown, false);
        expectPassedOn(bayerFormat(8, 8), CzImageMetadata(), failed);
    }
}

TEST_F(MosaicStatFilter, metadataThatDisagreeWithThePictureMakeItFail) {
    choose(average, false);
    // The format has one pixel per cell of 4 x 4, the Bayer picture itself cells of 2 x 2.
    expectPassedOn(bayerFormat(8, 8), hyperspectral({filterZone(4, 4)}), failed);
    // The other way round.
    element.setErrorMessage(QString());
    CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
    metadata.colorFilterArray = rggb;
    expectPassedOn(mosaicFormat(8, 8), metadata, failed);
}

TEST_F(MosaicStatFilter, withInterpolationThePictureDecidesAboutItsCellWhateverTheMetadataSay) {
    choose(maximum, true);
    const auto output = process(numberedFrame(bayerFormat(4, 4), hyperspectral({filterZone(4, 4)})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()),
              (Bytes{6, 7, 8, 8, 10, 11, 12, 12, 14, 15, 16, 16, 14, 15, 16, 16}));
}

TEST_F(MosaicStatFilter, regionOutsideThePictureFails) {
    choose(average, true);
    for (const auto& zone : {zoneWithRegion(2, 2, -1, 0, 5, 5), zoneWithRegion(2, 2, 0, 0, 8, 5),
                             zoneWithRegion(2, 2, 100, 100, 200, 200)}) {
        element.setErrorMessage(QString());
        expectPassedOn(mosaicFormat(8, 8), hyperspectral({zone}), failed);
    }
}

TEST_F(MosaicStatFilter, sampleTypesThatNobodyComputesWithFail) {
    for (const EzImageDataType type :
         {EzImageDataType::Int8, EzImageDataType::Int16, EzImageDataType::Float64,
          EzImageDataType::SpectrumFloat32, static_cast<EzImageDataType>(77)}) {
        element.setErrorMessage(QString());
        expectPassedOn(bayerFormat(4, 4, type), CzImageMetadata(), failed);
    }
}

TEST_F(MosaicStatFilter, pictureWithoutDataFails) {
    usePool();
    CzImageData frame;
    SzPicBuf picture;
    picture.setPicFormat(bayerFormat(4, 4));
    frame.setPicBuf(picture);
    EXPECT_EQ(element.processData(&frame), &frame);
    EXPECT_EQ(element.errorMessage(), failed);
    EXPECT_EQ(element.pool->freeBuffers(), 2);
}

TEST_F(MosaicStatFilter, firstMessageStaysUntilAPictureComesThroughAndThenItIsForgotten) {
    expectPassedOn(pictureFormat(4, 4), CzImageMetadata(), notRaw);
    expectPassedOn(mosaicFormat(4, 4), CzImageMetadata(), notRaw); // the first reason
    for (const std::int32_t filter : {minimum, maximum, average, normalize}) {
        choose(filter, true);
        element.setErrorMessage("Something else.");
        EXPECT_TRUE(process(numberedFrame(bayerFormat(4, 4))));
        EXPECT_EQ(element.errorMessage(), QString());
    }
    expectPassedOn(mosaicFormat(4, 4), CzImageMetadata(), notSimple);
}

// ---- Processing ----

TEST_F(MosaicStatFilter, everyFilterOnEverySampleType) {
    for (const EzImageDataType type : {EzImageDataType::UInt8, EzImageDataType::UInt16,
                                       EzImageDataType::UInt32, EzImageDataType::Float32}) {
        const auto expectOutput = [&](std::int32_t filter, bool interpolation,
                                      const std::vector<int>& expected) {
            choose(filter, interpolation);
            SzPicBufInfo format = bayerFormat(4, 2, type); // 1 2 3 4, 5 6 7 8
            format.bitDepth = 4;
            const auto output = process(numberedFrame(format));
            ASSERT_TRUE(output);
            EXPECT_EQ(output->picBuf().width, interpolation || filter == normalize ? 4U : 2U);
            withSampleType(type, [&, out = &output->picBuf()](auto sample) {
                using T = decltype(sample);
                EXPECT_EQ(samplesOf<T>(*out), std::vector<T>(expected.begin(), expected.end()));
                return true;
            });
        };
        const bool real = type == EzImageDataType::Float32;
        expectOutput(minimum, false, {1, 3});
        expectOutput(maximum, false, {6, 8});
        if (!real)
            expectOutput(average, false, {4, 6}); // 3.5, 5.5
        expectOutput(minimum, true, {1, 2, 3, 3, 1, 2, 3, 3});
        expectOutput(maximum, true, {6, 7, 8, 8, 6, 7, 8, 8});
        if (!real)
            expectOutput(average, true, {4, 5, 6, 6, 4, 5, 6, 6});
        for (const bool interpolation : {false, true})
            expectOutput(normalize, interpolation, {0, 3, 0, 3, 12, 15, 12, 15});
    }
}

TEST_F(MosaicStatFilter, cellsLieOnTheRegionOfTheSensor) {
    choose(maximum, false);
    const CzImageMetadata metadata = hyperspectral({zoneWithRegion(2, 3, 1, 1, 6, 3)}); // three cells
    const auto output = process(numberedFrame(mosaicFormat(8, 5), metadata));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().width, 3U);
    EXPECT_EQ(output->picBuf().height, 1U);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{27, 29, 31}));
    EXPECT_EQ(output->imageMetadata(), CzImageMetadata());
}

TEST_F(MosaicStatFilter, aroundTheRegionNoOldFrameShows) {
    const CzImageMetadata metadata = hyperspectral({zoneWithRegion(2, 2, 1, 1, 2, 2)});
    choose(minimum, true);
    const auto windows = process(numberedFrame(mosaicFormat(4, 4), metadata));
    ASSERT_TRUE(windows);
    EXPECT_EQ(samplesOf<std::uint8_t>(windows->picBuf()),
              (Bytes{0, 0, 0, 0, 0, 6, 6, 0, 0, 6, 6, 0, 0, 0, 0, 0}));
    choose(normalize, true);
    const auto normalized = process(numberedFrame(mosaicFormat(4, 4), metadata));
    ASSERT_TRUE(normalized);
    EXPECT_EQ(samplesOf<std::uint8_t>(normalized->picBuf()),
              (Bytes{1, 2, 3, 4, 5, 0, 51, 8, 9, 204, 255, 12, 13, 14, 15, 16}));
}

TEST_F(MosaicStatFilter, regionThatIsIllFormedIsTheWholePictureForThePixelsToo) {
    choose(maximum, false);
    for (const auto& zone : {zoneWithRegion(2, 2, 3, 0, 2, 1), zoneWithRegion(2, 2, 0, 1, 3, 0)}) {
        const auto output = process(numberedFrame(mosaicFormat(4, 2), hyperspectral({zone})));
        ASSERT_TRUE(output);
        EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{6, 8}));
    }
}

TEST_F(MosaicStatFilter, paddedAndPlanarInputIsReadByItsPitch) {
    choose(maximum, false);
    SzPicBufInfo format = bayerFormat(4, 2);
    format.linePitch = 32;
    for (const auto storage : {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar}) {
        format.storageFormat = storage;
        const auto output = process(numberedFrame(format));
        ASSERT_TRUE(output);
        EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{6, 8}));
        EXPECT_EQ(output->picBuf().linePitch, 256U);
    }
}

TEST_F(MosaicStatFilter, normalizedPictureIsStillAMosaicInFormatAndMetadata) {
    choose(normalize, false);
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    const auto output = process(numberedFrame(mosaicFormat(4, 2), metadata));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().colorFilterArray, mosaic);
    EXPECT_EQ(output->imageMetadata(), metadata);
}

TEST_F(MosaicStatFilter, outputTakesOverAdditionalDataAndTheInputIsGone) {
    auto frame = numberedFrame(bayerFormat(4, 2));
    const QPointer<CzImageData> input = frame.get();
    const auto output = process(std::move(frame));
    ASSERT_TRUE(output);
    EXPECT_TRUE(input.isNull());
    EXPECT_EQ(output->frameNo(), 42);
    EXPECT_EQ(output->picBuf().timeStampNs, 4711);
    EXPECT_TRUE(output->isFromMemoryPool(element.pool->handle()));
}

TEST_F(MosaicStatFilter, smallestAndLargestSampleOfFloatsAreThoseOfTheOutput) {
    choose(average, false);
    auto frame = numberedFrame(bayerFormat(4, 2, EzImageDataType::Float32));
    frame->picBuf().floatMin = -3.5F;
    frame->picBuf().floatMax = 99.0F;
    const auto output = process(std::move(frame));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().floatMin, 3.5F);
    EXPECT_EQ(output->picBuf().floatMax, 5.5F);
}

TEST_F(MosaicStatFilter, everyBufferGoesBackToThePool) {
    usePool();
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(process(numberedFrame(bayerFormat(8, 8))));
    EXPECT_EQ(element.pool->freeBuffers(), 2);
    EXPECT_TRUE(element.mutexIsFree());
}

TEST_F(MosaicStatFilter, parametersAreReadOncePerFrameWhileAnotherThreadChangesThem) {
    choose(minimum, true);
    std::atomic<bool> done = false;
    std::thread user([&] {
        for (int i = 0; !done; ++i) {
            element.setInterpolation(i % 2 == 0);
            element.setStatFilter(i % 2 == 0 ? minimum : normalize);
        }
    });
    // Format, metadata and pixels agree, whichever parameters they were made with.
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    for (int i = 0; i < 500; ++i) {
        const auto output = process(numberedFrame(mosaicFormat(4, 2), metadata));
        EXPECT_TRUE(output);
        if (!output)
            break;
        const Bytes samples = samplesOf<std::uint8_t>(output->picBuf());
        const bool normalized = output->picBuf().colorFilterArray == mosaic;
        EXPECT_EQ(output->imageMetadata(), normalized ? metadata : CzImageMetadata());
        if (normalized)
            EXPECT_EQ(samples, (Bytes{0, 51, 0, 51, 204, 255, 204, 255}));
        else if (output->picBuf().width == 2)
            EXPECT_EQ(samples, (Bytes{1, 3}));
        else
            EXPECT_EQ(samples, (Bytes{1, 2, 3, 3, 1, 2, 3, 3}));
    }
    done = true;
    user.join();
}

} // namespace
