// SPDX-License-Identifier: GPL-3.0-or-later
#include "ExtractChannelCnbl.h"

#include "ElementTest.h"
#include "ExtractChannelWidget.h"

#include <QDomDocument>
#include <QMetaClassInfo>
#include <QPointer>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

namespace {

using Element = LooseElement<CzExtractChannelCnbl>;
using Bytes = std::vector<std::uint8_t>;

constexpr auto rggb = EzColorFilterArray::BayerRGGB;
constexpr auto mosaic = EzColorFilterArray::Hyperspectral;

class ExtractChannel : public ElementTest<Element> {
protected:
    bool load(const QString& channelIdx) { return ElementTest::load({{"channelIdx", channelIdx}}); }
};

// ---- Identity ----

TEST_F(ExtractChannel, introducesItself) {
    QString topic;
    EXPECT_EQ(element.caption(), "Extract");
    EXPECT_TRUE(element.hasHelp());
    EXPECT_EQ(element.help(topic), "Extracts one channel from the input image.<br>"
                                   "Can be used for extracting RAW channels and HSI bands too.");
    EXPECT_TRUE(element.isConfigurable());
    EXPECT_EQ(static_cast<int>(element.flags()), 9);
    const QMetaObject& metaObject = CzExtractChannelCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(), "Extract Channel");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.CzExtractChannelCnbl");
}

TEST_F(ExtractChannel, beginsWithChannelZeroAndNoName) {
    EXPECT_EQ(element.channelIdx(), 0U);
    EXPECT_EQ(element.selectedChannelName(), QString());
}

TEST_F(ExtractChannel, duplicateHasTheChannelButNotItsName) {
    element.setChannel(3, "Blue");
    const std::unique_ptr<CzChainable> copy(element.duplicate());
    auto* const twin = qobject_cast<CzExtractChannelCnbl*>(copy.get());
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->channelIdx(), 3U);
    EXPECT_EQ(twin->selectedChannelName(), QString());
}

TEST_F(ExtractChannel, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzExtractChannelWidget*>(widget.get()));
}

// ---- Quick buttons ----

TEST_F(ExtractChannel, colourPictureHasThreeButtonsWithTheEffectiveChannelChecked) {
    SzPicBufInfo format = pictureFormat(8, 8, 3);
    format.isColor = true;
    element.setInput(format);
    element.setChannel(9, QString());
    QList<CzChainable::CzSimpleStateConfigButton> buttons;
    bool exclusive = false;
    element.simpleStateConfigButtons(buttons, exclusive);
    ASSERT_EQ(buttons.size(), 3);
    EXPECT_TRUE(exclusive);
    EXPECT_EQ(buttons.at(0).caption(), "Red");
    EXPECT_EQ(buttons.at(0).id(), 2);
    EXPECT_TRUE(buttons.at(0).checked());
    EXPECT_EQ(buttons.at(1).caption(), "Green");
    EXPECT_EQ(buttons.at(1).id(), 1);
    EXPECT_FALSE(buttons.at(1).checked());
    EXPECT_EQ(buttons.at(2).caption(), "Blue");
    EXPECT_EQ(buttons.at(2).id(), 0);
    EXPECT_FALSE(buttons.at(2).checked());
}

TEST_F(ExtractChannel, twoToFourChannelsHaveButtonsOthersNone) {
    for (const bool startsExclusive : {false, true}) {
        for (std::uint32_t channels = 0; channels <= 6; ++channels) {
            element.setInput(pictureFormat(8, 8, channels));
            QList<CzChainable::CzSimpleStateConfigButton> buttons;
            bool exclusive = startsExclusive;
            element.simpleStateConfigButtons(buttons, exclusive);
            const bool expected = channels >= 2 && channels <= 4;
            EXPECT_EQ(buttons.size(), expected ? static_cast<int>(channels) : 0) << channels;
            EXPECT_EQ(exclusive, expected || startsExclusive) << channels;
        }
    }
}

TEST_F(ExtractChannel, monoPictureAndUnknownInputHaveNoButtons) {
    QList<CzChainable::CzSimpleStateConfigButton> buttons;
    bool exclusive = false;
    element.simpleStateConfigButtons(buttons, exclusive);
    element.setInput(pictureFormat(8, 8));
    element.simpleStateConfigButtons(buttons, exclusive);
    EXPECT_TRUE(buttons.isEmpty());
    EXPECT_FALSE(exclusive);
}

TEST_F(ExtractChannel, bayerAndSmallMosaicHaveButtons) {
    QList<CzChainable::CzSimpleStateConfigButton> buttons;
    bool exclusive = false;
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb));
    element.simpleStateConfigButtons(buttons, exclusive);
    EXPECT_EQ(buttons.size(), 4);
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, mosaic),
                     hyperspectral({filterZone(2, 2)}));
    element.simpleStateConfigButtons(buttons, exclusive);
    EXPECT_EQ(buttons.size(), 8);
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, mosaic),
                     hyperspectral({filterZone(4, 4)}));
    element.simpleStateConfigButtons(buttons, exclusive);
    EXPECT_EQ(buttons.size(), 8);
}

TEST_F(ExtractChannel, pressedButtonChoosesItsChannelAndForgetsTheName) {
    element.setChannel(0, "Blue");
    element.simpleStateConfigButtonPressed(2);
    EXPECT_EQ(element.channelIdx(), 2U);
    EXPECT_EQ(element.selectedChannelName(), QString());
}

// ---- Settings ----

TEST_F(ExtractChannel, savesItsChannelAndLoadsItBack) {
    element.setChannel(5, "Channel 5");
    EXPECT_EQ(saved("channelIdx"), "5");
    EXPECT_TRUE(load("3"));
    EXPECT_EQ(element.channelIdx(), 3U);
}

TEST_F(ExtractChannel, nameIsNotSaved) {
    element.setChannel(1, "Green");
    const QDomElement settings = saved();
    EXPECT_EQ(settings.attributes().count(), 2); // identifier and channel
    EXPECT_TRUE(settings.hasAttribute("uniqueId"));
}

TEST_F(ExtractChannel, withoutItsAttributeLoadingFailsAndTheChannelStays) {
    element.setChannel(4, "Channel 4");
    EXPECT_FALSE(ElementTest::load({}));
    EXPECT_EQ(element.channelIdx(), 4U);
}

TEST_F(ExtractChannel, loadedChannelIsStoredUnchecked) {
    EXPECT_TRUE(load("1000000"));
    EXPECT_EQ(element.channelIdx(), 1000000U);
    EXPECT_TRUE(load("nonsense"));
    EXPECT_EQ(element.channelIdx(), 0U);
}

TEST_F(ExtractChannel, negativeChannelBecomesAHugeUnsignedOne) {
    EXPECT_TRUE(load("-1"));
    EXPECT_EQ(element.channelIdx(), 4294967295U);
    EXPECT_EQ(saved("channelIdx"), "4294967295");
    EXPECT_EQ(outputFormat(pictureFormat(8, 8, 1, EzImageDataType::UInt8, mosaic),
                           hyperspectral({filterZone(4, 2)}))
                  .width,
              2U);
}

TEST_F(ExtractChannel, channelIsSavedUnsignedButReadSignedSoThatOneBeyondComesBackAsZero) {
    element.setChannel(2147483648U, QString());
    EXPECT_EQ(saved("channelIdx"), "2147483648");
    EXPECT_TRUE(load(saved("channelIdx")));
    EXPECT_EQ(element.channelIdx(), 0U);
}

TEST_F(ExtractChannel, resultOfTheHostsLoadingCounts) {
    EXPECT_FALSE(ElementTest::load({{"channelIdx", "2"}, {"state", "neither"}}));
    EXPECT_EQ(element.channelIdx(), 2U);
}

// ---- Output format ----

TEST_F(ExtractChannel, outputHasOneChannelWithoutColourAndPaddedLines) {
    SzPicBufInfo input = pictureFormat(5, 7, 3, EzImageDataType::UInt16);
    input.bitDepth = 12;
    input.isColor = true;
    input.reserved = 88;
    SzPicBufInfo expected = input;
    expected.channels = 1;
    expected.isColor = false;
    expected.linePitch = 12;
    EXPECT_EQ(outputFormat(input), expected);
}

TEST_F(ExtractChannel, bayerPictureIsHalvedAndIsNoMosaicAnyMore) {
    for (std::uint32_t filter = 1; filter <= 6; ++filter) {
        const SzPicBufInfo input =
            pictureFormat(1280, 1024, 1, EzImageDataType::UInt8, static_cast<EzColorFilterArray>(filter));
        const SzPicBufInfo output = outputFormat(input);
        EXPECT_EQ(output.width, 640U);
        EXPECT_EQ(output.height, 512U);
        EXPECT_EQ(output.linePitch, 640U);
        EXPECT_EQ(output.colorFilterArray, EzColorFilterArray::None);
    }
}

TEST_F(ExtractChannel, oddBayerSizesRoundDown) {
    const SzPicBufInfo output = outputFormat(pictureFormat(13, 9, 1, EzImageDataType::UInt16, rggb));
    EXPECT_EQ(output.width, 6U);
    EXPECT_EQ(output.height, 4U);
    EXPECT_EQ(output.linePitch, 12U);
    EXPECT_EQ(outputFormat(pictureFormat(14, 8, 1, EzImageDataType::UInt8, rggb)).linePitch, 8U);
}

TEST_F(ExtractChannel, bayerMetadataLoseTheFilterArrayAlone) {
    CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
    metadata.colorFilterArray = rggb;
    CzImageMetadata expected = metadata;
    expected.colorFilterArray = EzColorFilterArray::None;
    EXPECT_EQ(outputMetadata(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb), metadata), expected);
}

TEST_F(ExtractChannel, bandHasOnePixelPerCellOfTheRegionOrThePicture) {
    const SzPicBufInfo input = pictureFormat(103, 58, 1, EzImageDataType::UInt8, mosaic);
    auto zone = filterZone(5, 4);
    SzPicBufInfo output = outputFormat(input, hyperspectral({zone}));
    EXPECT_EQ(output.width, 20U);
    EXPECT_EQ(output.height, 14U);
    EXPECT_EQ(output.linePitch, 20U);
    EXPECT_EQ(output.colorFilterArray, EzColorFilterArray::None);

    zone.left = 10;
    zone.top = 20;
    zone.right = 33;  // 24 columns
    zone.bottom = 42; // 23 lines
    output = outputFormat(input, hyperspectral({zone}));
    EXPECT_EQ(output.width, 4U);
    EXPECT_EQ(output.height, 5U);

    zone.right = 9;
    output = outputFormat(input, hyperspectral({zone}));
    EXPECT_EQ(output.width, 20U);
    EXPECT_EQ(output.height, 14U);
}

TEST_F(ExtractChannel, sizeIsThatOfTheZoneOfTheEffectiveBand) {
    const SzPicBufInfo input = pictureFormat(40, 40, 1, EzImageDataType::UInt8, mosaic);
    const CzImageMetadata metadata = hyperspectral({filterZone(4, 4), filterZone(5, 5)});
    EXPECT_EQ(outputFormat(input, metadata).width, 10U);
    element.setChannel(15, QString());
    EXPECT_EQ(outputFormat(input, metadata).width, 10U);
    element.setChannel(16, QString());
    EXPECT_EQ(outputFormat(input, metadata).width, 8U);
    element.setChannel(999, QString());
    EXPECT_EQ(outputFormat(input, metadata).width, 8U);
}

TEST_F(ExtractChannel, bandMetadataForgetTheMosaic) {
    EXPECT_EQ(outputMetadata(pictureFormat(8, 8, 1, EzImageDataType::UInt8, mosaic),
                             hyperspectral({filterZone(4, 4)})),
              CzImageMetadata());
}

TEST_F(ExtractChannel, mosaicWithoutAZoneOrACellKeepsItsSize) {
    const SzPicBufInfo input = pictureFormat(21, 10, 1, EzImageDataType::UInt8, mosaic);
    auto noCell = filterZone(2, 2);
    noCell.cellWidth = noCell.cellHeight = 0;
    for (const CzImageMetadata& metadata : {CzImageMetadata(), hyperspectral({}), hyperspectral({noCell})}) {
        const SzPicBufInfo output = outputFormat(input, metadata);
        EXPECT_EQ(output.width, 21U);
        EXPECT_EQ(output.height, 10U);
        EXPECT_EQ(output.linePitch, 24U);
        EXPECT_EQ(output.colorFilterArray, EzColorFilterArray::None);
    }
}

TEST_F(ExtractChannel, unknownFilterArrayStaysWithItsSizeAndMetadata) {
    const SzPicBufInfo input =
        pictureFormat(21, 10, 1, EzImageDataType::UInt8, static_cast<EzColorFilterArray>(8));
    const SzPicBufInfo output = outputFormat(input);
    EXPECT_EQ(output.width, 21U);
    EXPECT_EQ(output.height, 10U);
    EXPECT_EQ(output.colorFilterArray, input.colorFilterArray);
    CzImageMetadata metadata;
    metadata.colorFilterArray = input.colorFilterArray;
    EXPECT_EQ(outputMetadata(input, metadata), metadata);
}

TEST_F(ExtractChannel, picturesThatAreNotRawKeepSizeAndFilterArray) {
    SzPicBufInfo packed = pictureFormat(20, 10, 1, EzImageDataType::UInt8, rggb);
    packed.storageFormat = EzDataStorageFormat::HostPacked;
    for (const SzPicBufInfo& input : {packed, pictureFormat(20, 10, 3, EzImageDataType::UInt8, rggb)}) {
        const SzPicBufInfo output = outputFormat(input);
        EXPECT_EQ(output.width, 20U);
        EXPECT_EQ(output.height, 10U);
        EXPECT_EQ(output.colorFilterArray, rggb);
        EXPECT_EQ(output.storageFormat, input.storageFormat);
    }
}

TEST_F(ExtractChannel, formatIsAnsweredWithoutMetadataToo) {
    SzPicBufInfo output;
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(20, 10, 1, EzImageDataType::UInt8, mosaic), output,
                                        nullptr, nullptr));
    EXPECT_EQ(output.width, 20U);
    CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(20, 10, 3), output, nullptr, &metadata));
    EXPECT_EQ(metadata, CzImageMetadata());
}

TEST_F(ExtractChannel, formatIsAnsweredInPlace) {
    SzPicBufInfo format = pictureFormat(1280, 1024, 1, EzImageDataType::UInt8, rggb);
    CzImageMetadata metadata;
    metadata.colorFilterArray = rggb;
    EXPECT_TRUE(element.outputImageInfo(format, format, &metadata, &metadata));
    EXPECT_EQ(format.width, 640U);
    EXPECT_EQ(format.height, 512U);
    EXPECT_EQ(format.colorFilterArray, EzColorFilterArray::None);
    EXPECT_EQ(metadata.colorFilterArray, EzColorFilterArray::None);

    format = pictureFormat(20, 10, 3, EzImageDataType::UInt8, rggb);
    const SzPicBufInfo expected = outputFormat(format);
    EXPECT_TRUE(element.outputImageInfo(format, format, &metadata, &metadata));
    EXPECT_EQ(format, expected);
}

TEST_F(ExtractChannel, extremeRegionsGiveDefinedSizes) {
    const SzPicBufInfo input = pictureFormat(20, 10, 1, EzImageDataType::UInt8, mosaic);
    auto zone = filterZone(1, 1);
    zone.left = zone.top = std::numeric_limits<std::int32_t>::min();
    zone.right = zone.bottom = std::numeric_limits<std::int32_t>::max();
    const SzPicBufInfo output = outputFormat(input, hyperspectral({zone}));
    EXPECT_EQ(output.width, 4294967295U);
    EXPECT_EQ(output.height, 4294967295U);
    EXPECT_EQ(output.linePitch, 4294967292U);

    element.usePool(1, input);
    const auto frame = numberedFrame(input, hyperspectral({zone}));
    EXPECT_EQ(element.processData(frame.get()), nullptr);
}

// ---- Processing ----

TEST_F(ExtractChannel, anythingButAPicturePassesUntouched) {
    OtherData data;
    EXPECT_EQ(element.processData(&data), &data);
    EXPECT_EQ(element.processData(nullptr), nullptr);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(ExtractChannel, monoPictureComesOutWithTheSameContent) {
    const auto output = process(numberedFrame(pictureFormat(5, 3)));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().linePitch, 8U);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()),
              (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
}

TEST_F(ExtractChannel, outputTakesOverAdditionalDataAndMetadataAndTheInputIsGone) {
    CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    auto frame = numberedFrame(pictureFormat(4, 2, 1, EzImageDataType::UInt8, mosaic), metadata);
    const QPointer<CzImageData> input = frame.get();
    const auto output = process(std::move(frame));
    ASSERT_TRUE(output);
    EXPECT_TRUE(input.isNull());
    EXPECT_EQ(output->frameNo(), 42);
    EXPECT_EQ(output->picBuf().timeStampNs, 4711);
    EXPECT_EQ(output->imageMetadata(), CzImageMetadata());
    EXPECT_TRUE(output->isFromMemoryPool(element.pool->handle()));
}

TEST_F(ExtractChannel, choosesOneSampleOfEachPixel) {
    element.setChannel(1, QString());
    const auto output = process(numberedFrame(pictureFormat(2, 2, 3)));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{2, 5, 8, 11}));
}

TEST_F(ExtractChannel, storedNineOnThreeChannelsExtractsTheLastAndStaysSaved) {
    EXPECT_TRUE(load("9"));
    const auto output = process(numberedFrame(pictureFormat(2, 2, 3)));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{3, 6, 9, 12}));
    EXPECT_EQ(saved("channelIdx"), "9");
}

TEST_F(ExtractChannel, copiesABayerPlaneOfAnySampleType) {
    element.setChannel(2, QString());
    for (const EzImageDataType type : {EzImageDataType::UInt8, EzImageDataType::UInt16,
                                       EzImageDataType::UInt32, EzImageDataType::Float32}) {
        const auto output = process(numberedFrame(pictureFormat(5, 4, 1, type, rggb)));
        ASSERT_TRUE(output);
        withSampleType(type, [&](auto sample) {
            using T = decltype(sample);
            EXPECT_EQ(samplesOf<T>(output->picBuf()), (std::vector<T>{6, 8, 16, 18}));
            return true;
        });
    }
}

TEST_F(ExtractChannel, readsPaddedLines) {
    SzPicBufInfo format = pictureFormat(4, 2, 1, EzImageDataType::UInt8, rggb);
    format.linePitch = 16;
    const auto output = process(numberedFrame(format));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{1, 3}));
}

TEST_F(ExtractChannel, copiesABandOfAnySampleType) {
    element.setChannel(5, QString());
    const CzImageMetadata metadata = hyperspectral({filterZone(3, 2)});
    for (const EzImageDataType type : {EzImageDataType::UInt8, EzImageDataType::UInt16,
                                       EzImageDataType::UInt32, EzImageDataType::Float32}) {
        const auto output = process(numberedFrame(pictureFormat(6, 4, 1, type, mosaic), metadata));
        ASSERT_TRUE(output);
        withSampleType(type, [&](auto sample) {
            using T = decltype(sample);
            EXPECT_EQ(samplesOf<T>(output->picBuf()), (std::vector<T>{9, 12, 21, 24}));
            return true;
        });
    }
}

TEST_F(ExtractChannel, bandBeyondTheLastIsTheLast) {
    element.setChannel(77, QString());
    const auto output = process(numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt8, mosaic),
                                              hyperspectral({filterZone(2, 2)})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{6, 8, 14, 16}));
}

TEST_F(ExtractChannel, metadataDecideBandOrPlaneNotThePicture) {
    // A Bayer picture whose metadata describe a mosaic: bands of 1 x 2 cells into the halved output.
    element.setChannel(1, QString());
    auto output = process(numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt8, rggb),
                                        hyperspectral({filterZone(1, 2)})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{5, 6, 13, 14}));

    // A mosaic picture whose metadata speak of Bayer: a plane into the size of a band.
    CzImageMetadata metadata = hyperspectral({filterZone(4, 1)});
    metadata.colorFilterArray = rggb;
    output.reset();
    output = process(numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt8, mosaic), metadata));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{2, 10, 0, 0}));
}

TEST_F(ExtractChannel, pictureDecidesWhetherItIsRawNotTheMetadata) {
    const auto output = process(numberedFrame(pictureFormat(4, 2), hyperspectral({filterZone(2, 2)})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(ExtractChannel, mosaicWithoutAValidSensorIsTakenForBayerInFullSize) {
    const auto output = process(numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt8, mosaic)));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{1, 3, 0, 0,  //
                                                                9, 11, 0, 0, //
                                                                0, 0, 0, 0,  //
                                                                0, 0, 0, 0}));
}

TEST_F(ExtractChannel, mosaicWithAnInvalidSensorIsTakenForBayerEvenWhenTheSensorHasTheBand) {
    element.setChannel(1, QString());
    auto zone = filterZone(4, 1);
    zone.bands.removeLast();
    const auto output =
        process(numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt8, mosaic), hyperspectral({zone})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{2, 10, 0, 0})); // the size is the band's
}

TEST_F(ExtractChannel, unknownFilterArrayGivesTheFirstPlane) {
    element.setChannel(3, QString());
    const auto output = process(
        numberedFrame(pictureFormat(2, 2, 1, EzImageDataType::UInt8, static_cast<EzColorFilterArray>(9))));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{1, 0, 0, 0}));
}

TEST_F(ExtractChannel, noOldFrameShowsWhereNothingIsWritten) {
    // Blocks: only part of the output is written.
    auto blocks = filterZone(2, 1);
    blocks.blockWidth = blocks.blockHeight = 2;
    auto output = process(
        numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt8, mosaic), hyperspectral({blocks})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{1, 2, 5, 6, 0, 0, 0, 0}));

    // A zone beside the picture: nothing is.
    auto elsewhere = filterZone(2, 2);
    elsewhere.left = elsewhere.top = 100;
    elsewhere.right = elsewhere.bottom = 103;
    output.reset();
    output = process(
        numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt8, mosaic), hyperspectral({elsewhere})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{0, 0, 0, 0}));
}

TEST_F(ExtractChannel, sampleTypesWithoutKernelGiveAClearPicture) {
    for (const EzImageDataType type :
         {EzImageDataType::Int8, EzImageDataType::Int16, EzImageDataType::Float64}) {
        for (const CzImageMetadata& metadata : {CzImageMetadata(), hyperspectral({filterZone(2, 2)})}) {
            const auto output = process(numberedFrame(pictureFormat(4, 4, 1, type, mosaic), metadata));
            ASSERT_TRUE(output);
            SzPicBuf bytes = output->picBuf();
            EXPECT_EQ(bytes.dataType, type);
            bytes.width *= bytesPerPixel(bytes);
            bytes.dataType = EzImageDataType::UInt8;
            for (const std::uint8_t byte : samplesOf<std::uint8_t>(bytes))
                EXPECT_EQ(byte, 0);
        }
    }
}

TEST_F(ExtractChannel, regionLargerThanThePictureRepeatsTheLastSamples) {
    auto zone = filterZone(2, 2);
    zone.left = zone.top = 0;
    zone.right = 5;
    zone.bottom = 5;
    const auto output =
        process(numberedFrame(pictureFormat(4, 2, 1, EzImageDataType::UInt8, mosaic), hyperspectral({zone})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{1, 3, 3, 1, 3, 3, 1, 3, 3}));
}

TEST_F(ExtractChannel, floatPlanesAndBandsCarryTheirSmallestAndLargestSample) {
    element.setChannel(3, QString());
    auto output = process(numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::Float32, rggb)));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().floatMin, 6.0F);
    EXPECT_EQ(output->picBuf().floatMax, 16.0F);

    output.reset();
    output = process(numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::Float32, mosaic),
                                   hyperspectral({filterZone(4, 1)})));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().floatMin, 4.0F);
    EXPECT_EQ(output->picBuf().floatMax, 16.0F);
}

TEST_F(ExtractChannel, floatSampleOfAPixelCarriesNoRange) {
    const auto output = process(numberedFrame(pictureFormat(2, 2, 3, EzImageDataType::Float32)));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<float>(output->picBuf()), (std::vector<float>{1, 4, 7, 10}));
    EXPECT_EQ(output->picBuf().floatMin, 0.0F);
    EXPECT_EQ(output->picBuf().floatMax, 0.0F);
}

TEST_F(ExtractChannel, outputOfNoWidthIsRefusedByThePoolAndNothingComesOut) {
    const SzPicBufInfo format = pictureFormat(1, 1, 1, EzImageDataType::UInt8, rggb);
    EXPECT_EQ(outputFormat(format).width, 0U);
    element.usePool(1, pictureFormat(8, 8));
    const auto frame = numberedFrame(format);
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    EXPECT_EQ(frame->picBuf().data[0], 1);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(ExtractChannel, exhaustedOrMissingPoolDropsThePictureWithoutAMessage) {
    const SzPicBufInfo format = pictureFormat(4, 4);
    const auto frame = numberedFrame(format);
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    element.usePool(1, format);
    const auto first = process(numberedFrame(format));
    ASSERT_TRUE(first);
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    EXPECT_EQ(frame->picBuf().data[0], 1);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST(ExtractChannelFormat, answerOfOutputImageInfoIsNotTested) {
    class RefusingElement : public Element {
    public:
        bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                             const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) override {
            Element::outputImageInfo(input, output, inputMetadata, outputMetadata);
            return false;
        }
    };
    RefusingElement element;
    element.usePool(1, pictureFormat(4, 4));
    auto* const input = numberedFrame(pictureFormat(2, 1)).release();
    const std::unique_ptr<IzChainData> output(element.processData(input));
    auto* const image = qobject_cast<CzImageData*>(output.get());
    ASSERT_TRUE(image);
    EXPECT_EQ(samplesOf<std::uint8_t>(image->picBuf()), (Bytes{1, 2}));
}

TEST_F(ExtractChannel, stateIsNotTested) {
    element.setState(EzChainableState::Bypassed);
    const auto output = process(numberedFrame(pictureFormat(2, 1, 3)));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{1, 4}));
}

TEST_F(ExtractChannel, pictureWithoutDataGivesAClearPicture) {
    for (const EzColorFilterArray filter : {EzColorFilterArray::None, rggb, mosaic}) {
        auto frame = std::make_unique<CzImageData>();
        SzPicBuf picture;
        picture.setPicFormat(pictureFormat(4, 4, 1, EzImageDataType::UInt8, filter));
        frame->setPicBuf(picture);
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);
        for (const std::uint8_t sample : samplesOf<std::uint8_t>(output->picBuf()))
            EXPECT_EQ(sample, 0);
    }
}

TEST_F(ExtractChannel, everyBufferGoesBackToThePool) {
    element.usePool(1, pictureFormat(8, 8));
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(process(numberedFrame(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb))));
    EXPECT_EQ(element.pool->freeBuffers(), 1);
    EXPECT_TRUE(element.mutexIsFree());
}

} // namespace
