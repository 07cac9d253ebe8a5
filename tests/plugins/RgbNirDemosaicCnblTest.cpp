// SPDX-License-Identifier: GPL-3.0-or-later
#include "RgbNirDemosaicCnbl.h"

#include "Chain.h"
#include "ElementTest.h"
#include "FrameSource.h"
#include "RgbNirDemosaicWidget.h"

#include <QDomDocument>
#include <QMetaClassInfo>
#include <QMutexLocker>
#include <QPointer>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace {

/// Lets a test hold the mutex.
class Element : public LooseElement<CzRgbNirDemosaicCnbl> {
public:
    QMutex* heldMutex() { return &mutex; }
};

using Bytes = std::vector<std::uint8_t>;

constexpr auto mosaic = EzColorFilterArray::Hyperspectral;
constexpr int rgb = CzRgbNirDemosaicCnbl::rgbChannel;
constexpr int nir = CzRgbNirDemosaicCnbl::nirChannel;

SzPicBufInfo rawFormat(std::uint32_t width, std::uint32_t height,
                       EzImageDataType type = EzImageDataType::UInt8) {
    return pictureFormat(width, height, 1, type, mosaic);
}

/// A raw picture of these samples, all of them.
template <class T>
std::unique_ptr<CzImageData> rawFrame(const SzPicBufInfo& format, const std::vector<T>& samples,
                                      const CzImageMetadata& metadata = CzImageMetadata()) {
    auto frame = numberedFrame(format, metadata);
    const auto pixels = view<T>(frame->picBuf());
    for (std::uint32_t y = 0; y < format.height; ++y)
        std::copy_n(samples.begin() + y * format.width, format.width, pixels.row(y));
    return frame;
}

/// Metadata of an RGB-NIR sensor with these bands in its first zone.
CzImageMetadata sensor(const QStringList& names) {
    auto zone = filterZone(2, 2);
    zone.bands.clear();
    for (const QString& name : names)
        zone.bands.append(CzHsiCameraParams::CzBand(name));
    CzImageMetadata metadata = hyperspectral({zone});
    metadata.hsiCameraParams.rgbNir = true;
    return metadata;
}

/// The samples of a picture, line by line without padding.
Bytes bytesOf(const SzPicBuf& picture) {
    Bytes bytes;
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        const std::uint8_t* const line = picture.data + std::size_t{y} * picture.linePitch;
        bytes.insert(bytes.end(), line, line + packedLineBytes(picture));
    }
    return bytes;
}

class RgbNirDemosaic : public ElementTest<Element> {
protected:
    bool load(const QString& channel) { return ElementTest::load({{"channel", channel}}); }

    /// The one value of the near-infrared picture and the colours, of a picture that has 10, 20, 30 and 40 at
    /// the four places of its cell.
    int nearInfraredOf(const CzImageMetadata& metadata) {
        element.setChannel(nir, false);
        const auto output = process(rawFrame<std::uint8_t>(rawFormat(2, 2), {10, 20, 30, 40}, metadata));
        return output ? output->picBuf().data[0] : -1;
    }
    Bytes coloursOf(const CzImageMetadata& metadata) {
        element.setChannel(rgb, false);
        const auto output = process(rawFrame<std::uint8_t>(rawFormat(2, 2), {10, 20, 30, 40}, metadata));
        return output ? Bytes(output->picBuf().data, output->picBuf().data + 4) : Bytes();
    }
};

// ---- Identity ----

TEST_F(RgbNirDemosaic, introducesItself) {
    QString topic;
    EXPECT_EQ(element.caption(), "RGB-NIR Demosaic");
    EXPECT_TRUE(element.hasHelp());
    EXPECT_EQ(
        element.help(topic),
        "Extracts RGB or NIR part of captured RGB-NIR image.<br>RGB debayering without taking NIR pixels "
        "into account, NIR channel interpolated to match input image dimensions.");
    EXPECT_TRUE(element.isConfigurable());
    EXPECT_EQ(element.maxPredecessors(), 1);
    EXPECT_EQ(static_cast<int>(element.flags()), 9);
    const QMetaObject& metaObject = CzRgbNirDemosaicCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(),
                 "RGB-NIR Processing");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.CzRgbNirDemosaicCnbl");
}

TEST_F(RgbNirDemosaic, acceptsWhatGivesPictures) {
    CzRgbNirDemosaicCnbl provider;
    QObject other;
    EXPECT_TRUE(element.acceptsPredecessor(&provider));
    EXPECT_FALSE(element.acceptsPredecessor(&other));
    EXPECT_FALSE(element.acceptsPredecessor(nullptr));
}

TEST_F(RgbNirDemosaic, beginsWithColour) {
    EXPECT_EQ(element.channel(), 0);
}

TEST_F(RgbNirDemosaic, channelIsStoredWithAndWithoutRestartWithoutTheMutex) {
    const QMutexLocker held(element.heldMutex());
    for (const bool restart : {false, true})
        for (const int channel : {1, 0, 2, -1}) {
            element.setChannel(channel, restart);
            EXPECT_EQ(element.channel(), channel);
        }
}

TEST_F(RgbNirDemosaic, duplicateMakesTheSamePicture) {
    for (const int channel : {0, 1, 2}) {
        element.setChannel(channel, false);
        const std::unique_ptr<CzChainable> copy(element.duplicate());
        auto* const twin = qobject_cast<CzRgbNirDemosaicCnbl*>(copy.get());
        ASSERT_TRUE(twin);
        EXPECT_EQ(twin->channel(), channel);
    }
}

TEST_F(RgbNirDemosaic, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    ASSERT_TRUE(qobject_cast<CzRgbNirDemosaicWidget*>(widget.get()));
    EXPECT_EQ(widget->parent(), nullptr);
}

// ---- Quick buttons ----

TEST_F(RgbNirDemosaic, hasTwoButtonsWithTheChosenPictureChecked) {
    for (const int channel : {0, 1, 2, -1}) {
        element.setChannel(channel, false);
        QList<CzChainable::CzSimpleStateConfigButton> buttons;
        bool exclusive = false;
        element.simpleStateConfigButtons(buttons, exclusive);
        EXPECT_TRUE(exclusive);
        ASSERT_EQ(buttons.size(), 2);
        EXPECT_EQ(buttons.at(0).caption(), "RGB");
        EXPECT_EQ(buttons.at(0).id(), 0);
        EXPECT_EQ(buttons.at(0).checked(), channel == 0);
        EXPECT_EQ(buttons.at(1).caption(), "NIR");
        EXPECT_EQ(buttons.at(1).id(), 1);
        EXPECT_EQ(buttons.at(1).checked(), channel == 1);
    }
}

TEST_F(RgbNirDemosaic, pressedButtonOneIsNearInfraredAndAnyOtherNumberColour) {
    for (const int id : {0, 2, -1, 77, std::numeric_limits<int>::min()}) {
        element.simpleStateConfigButtonPressed(1);
        EXPECT_EQ(element.channel(), 1);
        element.simpleStateConfigButtonPressed(id);
        EXPECT_EQ(element.channel(), 0) << id;
    }
}

// ---- Settings ----

TEST_F(RgbNirDemosaic, channelIsSavedAsANumberAndLoadedAgain) {
    EXPECT_EQ(saved("channel"), "0");
    element.setChannel(1, false);
    EXPECT_EQ(saved("channel"), "1");
    EXPECT_TRUE(load("0"));
    EXPECT_EQ(element.channel(), 0);
    EXPECT_TRUE(load("1"));
    EXPECT_EQ(element.channel(), 1);
}

TEST_F(RgbNirDemosaic, missingChannelFailsAndKeepsTheOldOne) {
    element.setChannel(1, false);
    EXPECT_FALSE(ElementTest::load({}));
    EXPECT_EQ(element.channel(), 1);
}

TEST_F(RgbNirDemosaic, textThatIsNoNumberLoadsAsColourAndNumbersAreNotChecked) {
    for (const char* text : {"", "NIR", "1.5", "0x1", "99999999999"}) {
        element.setChannel(1, false);
        EXPECT_TRUE(load(text)) << text;
        EXPECT_EQ(element.channel(), 0) << text;
    }
    for (const int channel : {2, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_TRUE(load(QString::number(channel)));
        EXPECT_EQ(element.channel(), channel);
        EXPECT_EQ(saved("channel"), QString::number(channel));
    }
}

// ---- Output format ----

TEST_F(RgbNirDemosaic, colourIsFourInterleavedEightBitChannelsOfTheSameSize) {
    SzPicBufInfo input = rawFormat(641, 480, EzImageDataType::UInt16);
    input.bitDepth = 12;
    input.linePitch = 2048;
    input.storageFormat = EzDataStorageFormat::Planar;
    input.reserved = 88;
    SzPicBufInfo expected = pictureFormat(641, 480, 4);
    expected.linePitch = 2564;
    expected.isColor = true;
    expected.reserved = 88;
    EXPECT_EQ(outputFormat(input), expected);
    EXPECT_EQ(outputFormat(rawFormat(640, 480)).linePitch, 2560U);
}

TEST_F(RgbNirDemosaic, nearInfraredKeepsFormatAndPitchWithoutTheArray) {
    SzPicBufInfo input = rawFormat(641, 480, EzImageDataType::UInt16);
    input.bitDepth = 10;
    input.linePitch = 2048;
    input.reserved = 88;
    SzPicBufInfo expected = input;
    expected.colorFilterArray = EzColorFilterArray::None;
    for (const int channel : {1, 2, -1}) { // and any other number
        element.setChannel(channel, false);
        EXPECT_EQ(outputFormat(input), expected);
    }
}

TEST_F(RgbNirDemosaic, metadataForgetTheMosaic) {
    for (const int channel : {0, 1, 2}) {
        element.setChannel(channel, false);
        const CzImageMetadata metadata = sensor({"NIR", "B", "R", "G"});
        SzPicBufInfo output;
        CzImageMetadata result = metadata;
        EXPECT_TRUE(element.outputImageInfo(rawFormat(4, 4), output, &metadata, &result));
        EXPECT_EQ(result, CzImageMetadata());
    }
}

/// Formats that are not raw pictures.
std::vector<SzPicBufInfo> otherFormats() {
    SzPicBufInfo colour = pictureFormat(4, 4, 3);
    colour.isColor = true;
    SzPicBufInfo threeRaw = pictureFormat(4, 4, 3, EzImageDataType::UInt8, mosaic);
    SzPicBufInfo packed = rawFormat(4, 4);
    packed.storageFormat = EzDataStorageFormat::HostPacked;
    return {colour, threeRaw, packed, pictureFormat(4, 4)};
}

TEST_F(RgbNirDemosaic, formatAndMetadataOfWhatIsNotRawStay) {
    for (const int channel : {0, 1, 2})
        for (const SzPicBufInfo& input : otherFormats()) {
            element.setChannel(channel, false);
            const CzImageMetadata metadata = sensor({"NIR", "B", "R", "G"});
            SzPicBufInfo output;
            CzImageMetadata result;
            EXPECT_TRUE(element.outputImageInfo(input, output, &metadata, &result));
            EXPECT_EQ(output, input);
            EXPECT_EQ(result, metadata);
        }
}

TEST_F(RgbNirDemosaic, formatIsAnsweredWithoutMetadataToo) {
    SzPicBufInfo output;
    EXPECT_TRUE(element.outputImageInfo(rawFormat(20, 10), output, nullptr, nullptr));
    EXPECT_EQ(output.channels, 4U);
    CzImageMetadata metadata = sensor({"NIR"});
    EXPECT_TRUE(element.outputImageInfo(rawFormat(20, 10), output, nullptr, &metadata));
    EXPECT_EQ(metadata, CzImageMetadata());
}

TEST_F(RgbNirDemosaic, formatIsAnsweredInPlace) {
    SzPicBufInfo format = rawFormat(20, 10, EzImageDataType::UInt32);
    CzImageMetadata metadata = sensor({"NIR", "B", "R", "G"});
    EXPECT_TRUE(element.outputImageInfo(format, format, &metadata, &metadata));
    EXPECT_EQ(format.channels, 4U);
    EXPECT_EQ(format.linePitch, 80U);
    EXPECT_EQ(metadata, CzImageMetadata());
}

TEST_F(RgbNirDemosaic, everyArrangementCountsAsRaw) {
    for (const std::uint32_t arrangement : {1U, 4U, 5U, 7U, 8U, 4294967295U}) {
        SzPicBufInfo input = rawFormat(4, 4);
        input.colorFilterArray = static_cast<EzColorFilterArray>(arrangement);
        EXPECT_EQ(outputFormat(input).channels, 4U);
        EXPECT_EQ(outputFormat(input).colorFilterArray, EzColorFilterArray::None);
    }
}

TEST_F(RgbNirDemosaic, linesTooLongForAPitchGiveOneThatThePoolRefuses) {
    SzPicBufInfo input = rawFormat(1, 1);
    input.width = 4294967295U;
    EXPECT_EQ(outputFormat(input).linePitch, 4294967292U);
}

// ---- What passes through ----

TEST_F(RgbNirDemosaic, whatIsNotRawPassesAsTheSameObjectWithoutAMessage) {
    element.usePool(1, pictureFormat(8, 8, 4));
    for (const int channel : {0, 1, 2})
        for (const SzPicBufInfo& format : otherFormats()) {
            element.setChannel(channel, false);
            const auto frame = numberedFrame(format);
            EXPECT_EQ(element.processData(frame.get()), frame.get());
            EXPECT_EQ(frame->picBuf().data[0], 1);
        }
    EXPECT_EQ(element.pool->freeBuffers(), 1);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(RgbNirDemosaic, anythingButAPicturePassesThrough) {
    OtherData data;
    EXPECT_EQ(element.processData(&data), &data);
    EXPECT_EQ(element.processData(nullptr), nullptr);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(RgbNirDemosaic, exhaustedPoolGivesNullWithoutAMessageAndDoesNotReleaseTheInput) {
    const auto frame = numberedFrame(rawFormat(4, 4));
    const QPointer<CzImageData> input = frame.get();
    for (const int channel : {0, 1}) {
        element.setChannel(channel, false);
        EXPECT_EQ(element.processData(frame.get()), nullptr);
        ASSERT_FALSE(input.isNull());
    }
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(RgbNirDemosaic, processesInTheBypassedStateTooWhenCalled) {
    element.setState(EzChainableState::Bypassed);
    EXPECT_EQ(coloursOf(CzImageMetadata()), (Bytes{20, 40, 30, 255}));
}

// ---- Where the filters sit ----

TEST_F(RgbNirDemosaic, withoutAnRgbNirSensorTheCellIsNearInfraredBlueRedGreen) {
    CzImageMetadata noRgbNir = sensor({"G", "R", "B", "NIR"});
    noRgbNir.hsiCameraParams.rgbNir = false;
    for (const CzImageMetadata& metadata : {CzImageMetadata(), noRgbNir}) {
        EXPECT_EQ(nearInfraredOf(metadata), 10);
        EXPECT_EQ(coloursOf(metadata), (Bytes{20, 40, 30, 255}));
    }
}

TEST_F(RgbNirDemosaic, sensorsBandsSayWhereTheFiltersSit) {
    EXPECT_EQ(nearInfraredOf(sensor({"NIR", "B", "R", "G"})), 10);
    EXPECT_EQ(coloursOf(sensor({"NIR", "B", "R", "G"})), (Bytes{20, 40, 30, 255}));
    EXPECT_EQ(nearInfraredOf(sensor({"G", "R", "B", "NIR"})), 40);
    EXPECT_EQ(coloursOf(sensor({"G", "R", "B", "NIR"})), (Bytes{30, 10, 20, 255}));
    EXPECT_EQ(nearInfraredOf(sensor({"R", "G", "NIR", "B"})), 30);
    EXPECT_EQ(coloursOf(sensor({"R", "G", "NIR", "B"})), (Bytes{40, 20, 10, 255}));
}

TEST_F(RgbNirDemosaic, bandThatIsMissingCountsAsTheBottomRightOne) {
    EXPECT_EQ(nearInfraredOf(sensor({"B", "R", "G", "IR"})), 40);
    EXPECT_EQ(coloursOf(sensor({"NIR", "B"})), (Bytes{20, 40, 40, 255}));
    EXPECT_EQ(nearInfraredOf(sensor({})), 40);
    EXPECT_EQ(coloursOf(sensor({})), (Bytes{40, 40, 40, 255}));
    CzImageMetadata noZones;
    noZones.hsiCameraParams.rgbNir = true;
    EXPECT_EQ(nearInfraredOf(noZones), 40);
    EXPECT_EQ(coloursOf(noZones), (Bytes{40, 40, 40, 255}));
}

TEST_F(RgbNirDemosaic, bandNamesAreComparedExactlyAndTheFirstOneCounts) {
    EXPECT_EQ(nearInfraredOf(sensor({"nir", "NIR ", "NIR", "NIR"})), 30);
    EXPECT_EQ(nearInfraredOf(sensor({"NIR1", "NI", "Nir", ""})), 40);
    EXPECT_EQ(coloursOf(sensor({"b", "B", "r", "R"})), (Bytes{20, 40, 40, 255}));
    EXPECT_EQ(coloursOf(sensor({"Blue", "Green", "Red", "B"})), (Bytes{40, 40, 40, 255}));
    EXPECT_EQ(coloursOf(sensor({"G", "G", "R", "B"})), (Bytes{40, 10, 30, 255}));
}

TEST_F(RgbNirDemosaic, onlyTheFirstZoneCountsAndPlacesBeyondTheCellAreTheBottomRight) {
    CzImageMetadata metadata = sensor({"R", "G", "NIR", "B"});
    metadata.hsiCameraParams.zones.append(sensor({"NIR", "B", "R", "G"}).hsiCameraParams.zones.first());
    EXPECT_EQ(nearInfraredOf(metadata), 30);
    EXPECT_EQ(nearInfraredOf(sensor({"", "", "", "", "", "NIR"})), 40);
}

// ---- What comes out ----

TEST_F(RgbNirDemosaic, colourPictureOfEachSampleTypeIsShiftedToEightBits) {
    for (const std::uint32_t depth : {8U, 12U, 16U}) {
        SzPicBufInfo format = rawFormat(2, 2, EzImageDataType::UInt16);
        format.bitDepth = depth;
        const auto unit = static_cast<std::uint16_t>(1U << (depth - 8));
        const auto output = process(rawFrame<std::uint16_t>(
            format, {static_cast<std::uint16_t>(10 * unit), static_cast<std::uint16_t>(20 * unit),
                     static_cast<std::uint16_t>(30 * unit), static_cast<std::uint16_t>(40 * unit)}));
        ASSERT_TRUE(output);
        EXPECT_EQ(bytesOf(output->picBuf()),
                  (Bytes{20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255}));
    }
    SzPicBufInfo format = rawFormat(2, 2, EzImageDataType::UInt32);
    format.bitDepth = 24;
    const auto output =
        process(rawFrame<std::uint32_t>(format, {10U << 16, 20U << 16, 30U << 16, 40U << 16}));
    ASSERT_TRUE(output);
    EXPECT_EQ(bytesOf(output->picBuf()),
              (Bytes{20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255}));
}

TEST_F(RgbNirDemosaic, nearInfraredPictureKeepsTypeDepthAndValues) {
    element.setChannel(nir, false);
    SzPicBufInfo format = rawFormat(3, 3, EzImageDataType::UInt16);
    format.bitDepth = 10;
    const auto output = process(rawFrame<std::uint16_t>(format, {1000, 0, 500, //
                                                                 0, 0, 0,      //
                                                                 200, 0, 100}));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().bitDepth, 10U);
    EXPECT_EQ(samplesOf<std::uint16_t>(output->picBuf()), (std::vector<std::uint16_t>{1000, 750, 500, //
                                                                                      600, 450, 300,  //
                                                                                      200, 150, 100}));
    const auto wide =
        process(rawFrame<std::uint32_t>(rawFormat(2, 2, EzImageDataType::UInt32), {4000000000U, 0, 0, 0}));
    ASSERT_TRUE(wide);
    EXPECT_EQ(samplesOf<std::uint32_t>(wide->picBuf()), std::vector<std::uint32_t>(4, 4000000000U));
}

TEST_F(RgbNirDemosaic, paddedInputIsReadLineByLine) {
    SzPicBufInfo format = rawFormat(2, 2);
    format.linePitch = 11;
    for (const int channel : {0, 1}) {
        element.setChannel(channel, false);
        const auto output = process(rawFrame<std::uint8_t>(format, {10, 20, 30, 40}));
        ASSERT_TRUE(output);
        EXPECT_EQ(output->picBuf().linePitch, channel == 0 ? 8U : 11U);
        EXPECT_EQ(bytesOf(output->picBuf()),
                  channel == 0 ? (Bytes{20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255})
                               : Bytes(4, 10));
    }
}

TEST_F(RgbNirDemosaic, outputTakesOverAdditionalDataAndTheInputIsGone) {
    for (const int channel : {0, 1, 2}) {
        element.setChannel(channel, false);
        auto frame = numberedFrame(rawFormat(4, 2), sensor({"NIR", "B", "R", "G"}));
        const QPointer<CzImageData> input = frame.get();
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);
        EXPECT_TRUE(input.isNull());
        EXPECT_EQ(output->frameNo(), 42);
        EXPECT_EQ(output->picBuf().timeStampNs, 4711);
        EXPECT_EQ(output->imageMetadata(), CzImageMetadata());
        EXPECT_TRUE(output->isFromMemoryPool(element.pool->handle()));
        EXPECT_EQ(static_cast<const SzPicBufInfo&>(output->picBuf()), outputFormat(rawFormat(4, 2)));
    }
}

TEST_F(RgbNirDemosaic, sampleTypesWithoutKernelAreDeliveredBlackWithTheirAlphaAndShowNoOldFrame) {
    for (const EzImageDataType type :
         {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16,
          EzImageDataType::SpectrumFloat32, EzImageDataType::Float32, EzImageDataType::Float64,
          EzImageDataType::Float16, static_cast<EzImageDataType>(77)}) {
        element.setChannel(rgb, false);
        const auto colour = process(numberedFrame(rawFormat(2, 1, type)));
        ASSERT_TRUE(colour);
        EXPECT_EQ(bytesOf(colour->picBuf()), (Bytes{0, 0, 0, 255, 0, 0, 0, 255}));
        for (const int channel : {1, 2}) {
            element.setChannel(channel, false);
            const auto mono = process(numberedFrame(rawFormat(2, 1, type)));
            ASSERT_TRUE(mono);
            EXPECT_EQ(mono->picBuf().dataType, type);
            EXPECT_EQ(bytesOf(mono->picBuf()), Bytes(2 * bytesPerSample(type), 0));
        }
    }
    EXPECT_EQ(element.errorMessage(), QString());
}

// ---- A number that only saved chains have ----

TEST_F(RgbNirDemosaic, loadedChannelTwoWritesColoursIntoOneChannelAndDropsWhatLeavesTheRow) {
    ASSERT_TRUE(load("2"));
    const auto output = process(rawFrame<std::uint8_t>(rawFormat(4, 2), {10, 20, 11, 21, //
                                                                         30, 40, 32, 42}));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().channels, 1U);
    // Blue of the first pixel, green of the first, then red from the first on.
    EXPECT_EQ(bytesOf(output->picBuf()), (Bytes{20, 40, 30, 31, //
                                                20, 40, 30, 31}));
}

TEST_F(RgbNirDemosaic, loadedChannelTwoWritesBytesIntoLargerSamplesUnshiftedAndClearsTheRest) {
    ASSERT_TRUE(load("2"));
    SzPicBufInfo format = rawFormat(4, 2, EzImageDataType::UInt16);
    format.bitDepth = 12;
    format.linePitch = 14;
    const auto output = process(rawFrame<std::uint16_t>(format, {0x110, 0x120, 0x110, 0x120, //
                                                                 0x130, 0x140, 0x132, 0x142}));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().bitDepth, 12U);
    // The low bytes: blue, green, then the red of all four pixels.
    EXPECT_EQ(bytesOf(output->picBuf()), (Bytes{0x20, 0x40, 0x30, 0x31, 0x32, 0x32, 0, 0, //
                                                0x20, 0x40, 0x30, 0x31, 0x32, 0x32, 0, 0}));
}

TEST_F(RgbNirDemosaic, loadedChannelTwoOnOnePixel) {
    ASSERT_TRUE(load("2"));
    EXPECT_EQ(bytesOf(process(rawFrame<std::uint8_t>(rawFormat(1, 1), {7}))->picBuf()), Bytes{7});
    const auto wide = process(rawFrame<std::uint32_t>(rawFormat(1, 1, EzImageDataType::UInt32), {0x1234}));
    EXPECT_EQ(bytesOf(wide->picBuf()), (Bytes{0x34, 0x34, 0x34, 0}));
}

// ---- Between threads ----

/// A frame that tells whenever the element looks at it.
class WatchedFrame : public CzImageData {
public:
    const SzPicBuf& picBuf() const override {
        lookedAt();
        return CzImageData::picBuf();
    }
    SzPicBuf& picBuf() override {
        lookedAt();
        return CzImageData::picBuf();
    }
    const CzImageMetadata& imageMetadata() const override {
        lookedAt();
        return CzImageData::imageMetadata();
    }
    std::function<void()> lookedAt = [] {};
};

TEST_F(RgbNirDemosaic, choiceThatChangesInTheMiddleOfAFrameCountsForNothingOrAllOfIt) {
    // At each moment in turn, the last of them after all that the element does.
    bool last = false;
    for (int moment = 0; !last; ++moment) {
        SCOPED_TRACE(moment);
        element.setChannel(rgb, false);
        auto raw = rawFrame<std::uint8_t>(rawFormat(2, 2), {10, 20, 30, 40});
        auto frame = std::make_unique<WatchedFrame>();
        frame->setPicBuf(std::exchange(raw->picBuf(), SzPicBuf()));
        int looks = 0;
        frame->lookedAt = [&] {
            if (looks++ == moment)
                element.setChannel(nir, false);
        };
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);
        last = looks <= moment;
        const bool colour = output->picBuf().channels == 4;
        EXPECT_TRUE(colour || !last);
        EXPECT_EQ(bytesOf(output->picBuf()),
                  colour ? (Bytes{20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255})
                         : Bytes(4, 10));
    }
}

TEST(RgbNirDemosaicInChain, everyBufferGoesBackAndNoFrameIsLost) {
    CzChain chain;
    chain.append(new CzRgbNirDemosaicCnbl);
    chain.source().setFormat(rawFormat(2, 2), CzImageMetadata());
    std::vector<Bytes> outputs;
    chain.setFrameObserver([&](const SzFrameReport& report) {
        if (const auto* const image = qobject_cast<const CzImageData*>(report.output))
            outputs.push_back(bytesOf(image->picBuf()));
    });
    ASSERT_TRUE(chain.start());
    for (int i = 0; i < 40; ++i) {
        EXPECT_TRUE(chain.source().push(rawFrame<std::uint8_t>(rawFormat(2, 2), {10, 20, 30, 40})));
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    }
    chain.stop();
    EXPECT_EQ(outputs,
              std::vector<Bytes>(40, {20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255, 20, 40, 30, 255}));
}

} // namespace
