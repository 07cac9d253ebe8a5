// SPDX-License-Identifier: GPL-3.0-or-later
#include "RotateImageCnbl.h"

#include "Chain.h"
#include "ElementTest.h"
#include "FrameSource.h"
#include "RotateConfigurationWidget.h"

#include <QDomDocument>
#include <QMetaClassInfo>
#include <QPointer>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <limits>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace {

std::vector<bool> flagsOfPoolRequests;

} // namespace

// The linker sends this program's calls of CzPicBufAPI::AllocPicBufFromPool here, under its own two names.
bool poolRequest(void* pool, QObject* owner, SzPicBuf& buffer, const SzPicBufInfo& format, bool flag) __asm__(
    "__wrap__ZN11CzPicBufAPI19AllocPicBufFromPoolEPvP7QObjectR8SzPicBufRK12SzPicBufInfob");
bool forwardedPoolRequest(
    void* pool, QObject* owner, SzPicBuf& buffer, const SzPicBufInfo& format,
    bool flag) __asm__("__real__ZN11CzPicBufAPI19AllocPicBufFromPoolEPvP7QObjectR8SzPicBufRK12SzPicBufInfob");

bool poolRequest(void* pool, QObject* owner, SzPicBuf& buffer, const SzPicBufInfo& format, bool flag) {
    flagsOfPoolRequests.push_back(flag);
    return forwardedPoolRequest(pool, owner, buffer, format, flag);
}

namespace {

using Element = LooseElement<CzRotateImageCnbl>;
using Bytes = std::vector<std::uint8_t>;

constexpr auto rggb = EzColorFilterArray::BayerRGGB;
constexpr auto grbg = EzColorFilterArray::BayerGRBG;
constexpr auto gbrg = EzColorFilterArray::BayerGBRG;
constexpr auto bggr = EzColorFilterArray::BayerBGGR;
constexpr auto mosaic = EzColorFilterArray::Hyperspectral;

class Rotate : public ElementTest<Element> {
protected:
    EzColorFilterArray turned(EzColorFilterArray arrangement) {
        return outputFormat(pictureFormat(8, 6, 1, EzImageDataType::UInt8, arrangement)).colorFilterArray;
    }
};

// ---- Identity ----

TEST_F(Rotate, introducesItself) {
    EXPECT_EQ(element.caption(), "Rotate");
    EXPECT_TRUE(element.isConfigurable());
    EXPECT_EQ(static_cast<int>(element.flags()), 8);
    const QMetaObject& metaObject = CzRotateImageCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(), "Rotate");
}

TEST_F(Rotate, identifierBeginsWithASmallLetterUnlikeTheClass) {
    const QMetaObject& metaObject = CzRotateImageCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.className(), "CzRotateImageCnbl");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.czRotateImageCnbl");
}

TEST_F(Rotate, hasNoHelp) {
    QString topic;
    EXPECT_FALSE(element.hasHelp());
    EXPECT_EQ(element.help(topic), QString());
}

TEST_F(Rotate, beginsClockwise) {
    EXPECT_TRUE(element.clockwise());
}

TEST_F(Rotate, directionIsStoredWithAndWithoutRestart) {
    for (const bool restart : {false, true}) {
        element.setDirection(false, restart);
        EXPECT_FALSE(element.clockwise());
        element.setDirection(true, restart);
        EXPECT_TRUE(element.clockwise());
        EXPECT_TRUE(element.mutexIsFree());
    }
}

TEST_F(Rotate, duplicateTurnsTheSameWay) {
    for (const bool clockwise : {false, true}) {
        element.setDirection(clockwise, false);
        const std::unique_ptr<CzChainable> copy(element.duplicate());
        auto* const twin = qobject_cast<CzRotateImageCnbl*>(copy.get());
        ASSERT_TRUE(twin);
        EXPECT_EQ(twin->clockwise(), clockwise);
    }
}

TEST_F(Rotate, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzRotateConfigurationWidget*>(widget.get()));
}

// ---- Quick buttons ----

TEST_F(Rotate, hasOneButtonPerDirectionWithTheChosenOneChecked) {
    for (const bool clockwise : {true, false}) {
        element.setDirection(clockwise, false);
        QList<CzChainable::CzSimpleStateConfigButton> buttons;
        bool exclusive = false;
        element.simpleStateConfigButtons(buttons, exclusive);
        EXPECT_TRUE(exclusive);
        ASSERT_EQ(buttons.size(), 2);
        EXPECT_EQ(buttons.at(0).caption(), "CCW");
        EXPECT_EQ(buttons.at(0).id(), 0);
        EXPECT_EQ(buttons.at(0).checked(), !clockwise);
        EXPECT_EQ(buttons.at(1).caption(), "CW");
        EXPECT_EQ(buttons.at(1).id(), 1);
        EXPECT_EQ(buttons.at(1).checked(), clockwise);
    }
}

TEST_F(Rotate, pressedButtonOneIsClockwiseAndAnyOtherNumberCounterclockwise) {
    for (const int id : {0, 2, -1, 77, std::numeric_limits<int>::min()}) {
        element.simpleStateConfigButtonPressed(1);
        EXPECT_TRUE(element.clockwise());
        element.simpleStateConfigButtonPressed(id);
        EXPECT_FALSE(element.clockwise()) << id;
    }
}

// ---- Settings ----

TEST_F(Rotate, directionIsNotSaved) {
    element.setDirection(false, false);
    const QDomElement settings = saved();
    EXPECT_EQ(settings.attributes().count(), 1);
    EXPECT_EQ(settings.attribute("uniqueId"), "org.zuviewer.czRotateImageCnbl");
}

TEST_F(Rotate, savedAndLoadedItIsClockwiseAgain) {
    element.setDirection(false, false);
    const QDomElement settings = saved();
    CzRotateImageCnbl loaded;
    EXPECT_TRUE(loaded.loadSettings(settings));
    EXPECT_TRUE(loaded.clockwise());
}

TEST_F(Rotate, loadingLeavesTheDirectionOfAnExistingElement) {
    element.setDirection(false, false);
    EXPECT_TRUE(element.loadSettings(saved()));
    EXPECT_FALSE(element.clockwise());
}

// ---- Output format ----

TEST_F(Rotate, widthAndHeightChangePlacesAndTheLinesAreTight) {
    SzPicBufInfo output = outputFormat(pictureFormat(640, 480));
    EXPECT_EQ(output.width, 480U);
    EXPECT_EQ(output.height, 640U);
    EXPECT_EQ(output.linePitch, 480U);

    SzPicBufInfo input = pictureFormat(7, 5, 3, EzImageDataType::UInt16);
    input.linePitch = 64;
    input.bitDepth = 12;
    input.isColor = true;
    input.reserved = 88;
    SzPicBufInfo expected = input;
    expected.width = 5;
    expected.height = 7;
    expected.linePitch = 30;
    for (const bool clockwise : {true, false}) {
        element.setDirection(clockwise, false);
        EXPECT_EQ(outputFormat(input), expected);
    }
}

TEST_F(Rotate, arrangementsTurnWithThePicture) {
    EXPECT_EQ(turned(rggb), grbg);
    EXPECT_EQ(turned(grbg), bggr);
    EXPECT_EQ(turned(gbrg), rggb);
    EXPECT_EQ(turned(bggr), gbrg);
    element.setDirection(false, false);
    EXPECT_EQ(turned(rggb), gbrg);
    EXPECT_EQ(turned(grbg), rggb);
    EXPECT_EQ(turned(gbrg), bggr);
    EXPECT_EQ(turned(bggr), grbg);
}

TEST_F(Rotate, arrangementsAreTheirOwnAfterFourTurnsTheSameWay) {
    for (const bool clockwise : {true, false}) {
        element.setDirection(clockwise, false);
        for (const EzColorFilterArray arrangement : {rggb, grbg, gbrg, bggr})
            EXPECT_EQ(turned(turned(turned(turned(arrangement)))), arrangement);
    }
}

TEST_F(Rotate, whatIsNoBayerArrangementStays) {
    for (const bool clockwise : {true, false}) {
        element.setDirection(clockwise, false);
        for (const std::uint32_t other : {0U, 5U, 6U, 7U, 8U, 4294967295U})
            EXPECT_EQ(turned(static_cast<EzColorFilterArray>(other)), static_cast<EzColorFilterArray>(other));
    }
}

TEST_F(Rotate, arrangementTurnsAlikeForEvenAndOddSizes) {
    EXPECT_EQ(outputFormat(pictureFormat(7, 5, 1, EzImageDataType::UInt8, rggb)).colorFilterArray, grbg);
}

TEST_F(Rotate, metadataFollowTheOutput) {
    const SzPicBufInfo bayer = pictureFormat(8, 6, 1, EzImageDataType::UInt8, rggb);
    SzPicBufInfo output;
    CzImageMetadata result;
    CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    EXPECT_TRUE(element.outputImageInfo(bayer, output, &metadata, &result));
    CzImageMetadata expected = metadata;
    expected.colorFilterArray = grbg;
    EXPECT_EQ(result, expected);

    // A mosaic keeps its description as it is; a picture without an array forgets it.
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(8, 6, 1, EzImageDataType::UInt8, mosaic), output,
                                        &metadata, &result));
    EXPECT_EQ(result, metadata);
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(8, 6), output, &metadata, &result));
    EXPECT_EQ(result, CzImageMetadata());
}

TEST_F(Rotate, formatIsAnsweredWithoutMetadataToo) {
    SzPicBufInfo output;
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(20, 10), output, nullptr, nullptr));
    EXPECT_EQ(output.width, 10U);
    CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    EXPECT_TRUE(element.outputImageInfo(pictureFormat(8, 6, 1, EzImageDataType::UInt8, bggr), output, nullptr,
                                        &metadata));
    CzImageMetadata expected;
    expected.colorFilterArray = gbrg;
    EXPECT_EQ(metadata, expected);
}

TEST_F(Rotate, formatIsAnsweredInPlace) {
    SzPicBufInfo format = pictureFormat(640, 480, 1, EzImageDataType::UInt16, gbrg);
    CzImageMetadata metadata;
    metadata.colorFilterArray = gbrg;
    EXPECT_TRUE(element.outputImageInfo(format, format, &metadata, &metadata));
    EXPECT_EQ(format, pictureFormat(480, 640, 1, EzImageDataType::UInt16, rggb));
    EXPECT_EQ(metadata.colorFilterArray, rggb);
}

TEST_F(Rotate, formatIsAnsweredForSampleTypesThatAreNotTurned) {
    const SzPicBufInfo output = outputFormat(pictureFormat(5, 3, 1, EzImageDataType::Float64));
    EXPECT_EQ(output.width, 3U);
    EXPECT_EQ(output.linePitch, 24U);
}

TEST_F(Rotate, linesTooLongForAPitchGiveOneThatThePoolRefuses) {
    SzPicBufInfo input = pictureFormat(1, 1, 1, EzImageDataType::UInt16);
    input.height = 4294967295U;
    EXPECT_EQ(outputFormat(input).linePitch, 4294967295U);
}

// ---- What comes out with nothing ----

TEST_F(Rotate, anythingButAPictureGivesNullInsteadOfPassingOnAndIsNotReleased) {
    auto* const data = new OtherData;
    const QPointer<OtherData> input = data;
    EXPECT_EQ(element.processData(data), nullptr);
    ASSERT_FALSE(input.isNull());
    delete data;
    EXPECT_EQ(element.processData(nullptr), nullptr);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(Rotate, bypassedItGivesNullInsteadOfPassingOnAndDoesNotReleaseTheInput) {
    element.setState(EzChainableState::Bypassed);
    element.usePool(1, pictureFormat(4, 4));
    const auto frame = numberedFrame(pictureFormat(4, 4));
    const QPointer<CzImageData> input = frame.get();
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    ASSERT_FALSE(input.isNull());
    EXPECT_EQ(frame->picBuf().data[0], 1);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(Rotate, pictureWithoutDataGivesNull) {
    element.usePool(1, pictureFormat(4, 4));
    CzImageData frame;
    SzPicBuf picture;
    picture.setPicFormat(pictureFormat(4, 4));
    frame.setPicBuf(picture);
    EXPECT_EQ(element.processData(&frame), nullptr);
    EXPECT_EQ(element.pool->freeBuffers(), 1);
}

TEST_F(Rotate, sampleTypesWithoutKernelGiveNullAndTheirPoolBufferBack) {
    element.usePool(1, pictureFormat(8, 8, 1, EzImageDataType::Float64));
    for (const EzImageDataType type :
         {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16,
          EzImageDataType::SpectrumFloat32, EzImageDataType::Float64, EzImageDataType::Float16,
          static_cast<EzImageDataType>(77)}) {
        flagsOfPoolRequests.clear();
        const auto frame = numberedFrame(pictureFormat(4, 4, 1, type));
        EXPECT_EQ(element.processData(frame.get()), nullptr);
        EXPECT_EQ(flagsOfPoolRequests.size(), 1U);
        EXPECT_EQ(element.pool->freeBuffers(), 1);
        EXPECT_TRUE(frame->picBuf().data);
        EXPECT_EQ(element.errorMessage(), QString());
    }
}

TEST_F(Rotate, exhaustedOrMissingPoolGivesNullWithoutAMessage) {
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

TEST_F(Rotate, pitchShorterThanALineGivesNull) {
    // The host never allocates such a picture; one that is nobody's may claim anything.
    Bytes memory(8, 1);
    SzPicBuf picture;
    picture.setPicFormat(pictureFormat(4, 4));
    picture.linePitch = 2;
    picture.data = memory.data();
    CzImageData frame;
    frame.setPicBuf(picture);
    element.usePool(1, pictureFormat(4, 4));
    EXPECT_EQ(element.processData(&frame), nullptr);
    EXPECT_EQ(element.pool->freeBuffers(), 1);
}

// ---- Processing ----

TEST_F(Rotate, topLeftPixelGoesToTheTopRightOrTheBottomLeft) {
    const SzPicBufInfo format = pictureFormat(640, 480);
    element.usePool(1, format);
    for (const bool clockwise : {true, false}) {
        element.setDirection(clockwise, false);
        auto frame = numberedFrame(format);
        std::fill(frame->picBuf().data, frame->picBuf().data + frame->picBuf().dataSize(), std::uint8_t{0});
        frame->picBuf().data[0] = 255;
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);
        EXPECT_EQ(output->picBuf().width, 480U);
        EXPECT_EQ(output->picBuf().height, 640U);
        EXPECT_EQ(output->picBuf().linePitch, 480U);
        Bytes expected(480 * 640, 0);
        expected[clockwise ? 479 : 639 * 480] = 255;
        EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), expected);
    }
}

TEST_F(Rotate, turnsEverySampleTypeBothWays) {
    for (const EzImageDataType type : {EzImageDataType::UInt8, EzImageDataType::UInt16,
                                       EzImageDataType::UInt32, EzImageDataType::Float32}) {
        for (const bool clockwise : {true, false}) {
            element.setDirection(clockwise, false);
            const auto output = process(numberedFrame(pictureFormat(3, 2, 1, type)));
            ASSERT_TRUE(output);
            withSampleType(type, [&](auto sample) {
                using T = decltype(sample);
                EXPECT_EQ(samplesOf<T>(output->picBuf()), clockwise ? (std::vector<T>{4, 1, 5, 2, 6, 3})
                                                                    : (std::vector<T>{3, 6, 2, 5, 1, 4}));
                return true;
            });
        }
    }
}

TEST_F(Rotate, colourPixelsKeepTheirSamplesTogetherAndInOrder) {
    SzPicBufInfo format = pictureFormat(2, 1, 3);
    format.isColor = true;
    for (const bool clockwise : {true, false}) {
        element.setDirection(clockwise, false);
        const auto output = process(numberedFrame(format));
        ASSERT_TRUE(output);
        const SzPicBuf& picture = output->picBuf();
        EXPECT_TRUE(picture.isColor);
        EXPECT_EQ(picture.linePitch, 3U);
        EXPECT_EQ(Bytes(picture.data, picture.data + 6),
                  clockwise ? (Bytes{1, 2, 3, 4, 5, 6}) : (Bytes{4, 5, 6, 1, 2, 3}));
    }
}

TEST_F(Rotate, rawPictureStaysRawInFormatAndMetadata) {
    CzImageMetadata metadata;
    metadata.colorFilterArray = rggb;
    const auto output =
        process(numberedFrame(pictureFormat(2, 2, 1, EzImageDataType::UInt8, rggb), metadata));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{3, 1, 4, 2})); // the red sample is the second
    EXPECT_EQ(output->picBuf().colorFilterArray, grbg);
    EXPECT_EQ(output->imageMetadata().colorFilterArray, grbg);
}

TEST_F(Rotate, fourTurnsTheSameWayAreTheIdentity) {
    element.usePool(2, pictureFormat(6, 4, 1, EzImageDataType::UInt16));
    const SzPicBufInfo format = pictureFormat(6, 4, 1, EzImageDataType::UInt16, gbrg);
    for (const bool clockwise : {true, false}) {
        element.setDirection(clockwise, false);
        auto frame = numberedFrame(format);
        const auto original = samplesOf<std::uint16_t>(frame->picBuf());
        for (int i = 0; i < 4; ++i) {
            frame = process(std::move(frame));
            ASSERT_TRUE(frame);
        }
        EXPECT_EQ(static_cast<const SzPicBufInfo&>(frame->picBuf()), format);
        EXPECT_EQ(samplesOf<std::uint16_t>(frame->picBuf()), original);
        EXPECT_EQ(frame->imageMetadata().colorFilterArray, gbrg);
    }
}

TEST_F(Rotate, poolIsAskedWithTrueAsTheLastArgument) {
    element.usePool(1, pictureFormat(4, 4));
    flagsOfPoolRequests.clear();
    EXPECT_TRUE(process(numberedFrame(pictureFormat(4, 4))));
    EXPECT_EQ(flagsOfPoolRequests, std::vector<bool>{true});
}

TEST_F(Rotate, outputTakesOverAdditionalDataAndMetadataAndTheInputIsGone) {
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    auto frame = numberedFrame(pictureFormat(4, 2, 1, EzImageDataType::UInt8, mosaic), metadata);
    const QPointer<CzImageData> input = frame.get();
    const auto output = process(std::move(frame));
    ASSERT_TRUE(output);
    EXPECT_TRUE(input.isNull());
    EXPECT_EQ(output->frameNo(), 42);
    EXPECT_EQ(output->picBuf().timeStampNs, 4711);
    EXPECT_EQ(output->imageMetadata(), metadata);
    EXPECT_TRUE(output->isFromMemoryPool(element.pool->handle()));
}

TEST_F(Rotate, smallestAndLargestSampleTravelAsTheyAre) {
    for (const EzImageDataType type : {EzImageDataType::Float32, EzImageDataType::UInt8}) {
        auto frame = numberedFrame(pictureFormat(4, 2, 1, type));
        frame->picBuf().floatMin = -3.5F; // not what the pixels say: it is not measured anew
        frame->picBuf().floatMax = 99.0F;
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);
        EXPECT_EQ(output->picBuf().floatMin, -3.5F);
        EXPECT_EQ(output->picBuf().floatMax, 99.0F);
    }
}

TEST_F(Rotate, inputPitchIsIgnoredSoThatAPaddedPictureComesOutShearedWithinItself) {
    // Memory that is nobody's, exactly as large as the picture: nothing behind it is read.
    Bytes memory{1, 2, 70, //
                 3, 4, 80, //
                 5, 6, 90};
    auto frame = std::make_unique<CzImageData>();
    SzPicBuf picture;
    picture.setPicFormat(pictureFormat(2, 3));
    picture.linePitch = 3;
    picture.data = memory.data();
    frame->setPicBuf(picture);
    const auto output = process(std::move(frame));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().linePitch, 3U);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), (Bytes{4, 70, 1, 80, 3, 2}));
}

TEST_F(Rotate, planarPictureIsTurnedAsIfItsSamplesWereInterleavedAndShowsNoOldFrame) {
    SzPicBufInfo format = pictureFormat(2, 2, 3);
    format.storageFormat = EzDataStorageFormat::Planar;
    format.linePitch = 2;
    auto frame = numberedFrame(format);
    for (std::uint8_t i = 0; i < 12; ++i)
        frame->picBuf().data[i] = i + 1;
    const auto output = process(std::move(frame));
    ASSERT_TRUE(output);
    const SzPicBuf& picture = output->picBuf();
    EXPECT_EQ(picture.storageFormat, EzDataStorageFormat::Planar);
    EXPECT_EQ(picture.linePitch, 6U);
    // The lines of the first plane hold all samples; a plane's own pixels are the first two of each.
    EXPECT_EQ(Bytes(picture.data, picture.data + 12), (Bytes{7, 8, 9, 1, 2, 3, 10, 11, 12, 4, 5, 6}));
    for (std::uint32_t plane = 1; plane < 3; ++plane) {
        const auto lines = planeView<const std::uint8_t>(picture, plane);
        EXPECT_EQ((Bytes{lines.row(0)[0], lines.row(0)[1], lines.row(1)[0], lines.row(1)[1]}), Bytes(4, 0));
    }
}

TEST_F(Rotate, everyBufferGoesBackToThePool) {
    element.usePool(1, pictureFormat(8, 8));
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(process(numberedFrame(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb))));
    EXPECT_EQ(element.pool->freeBuffers(), 1);
    EXPECT_TRUE(element.mutexIsFree());
}

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

/// Whether a turned frame of 2 x 2 pixels was clockwise; pixels, format and metadata agree about it.
bool wasClockwise(const CzImageData& output) {
    const bool clockwise = output.picBuf().colorFilterArray == grbg;
    EXPECT_EQ(output.picBuf().colorFilterArray, clockwise ? grbg : gbrg);
    EXPECT_EQ(output.imageMetadata().colorFilterArray, output.picBuf().colorFilterArray);
    EXPECT_EQ(samplesOf<std::uint8_t>(output.picBuf()),
              clockwise ? (Bytes{3, 1, 4, 2}) : (Bytes{2, 4, 1, 3}));
    return clockwise;
}

TEST_F(Rotate, directionThatChangesInTheMiddleOfAFrameCountsForNothingOrAllOfIt) {
    // At each moment in turn, the last of them after all that the element does.
    bool last = false;
    for (int moment = 0; !last; ++moment) {
        SCOPED_TRACE(moment);
        element.setDirection(true, false);
        auto numbered = numberedFrame(pictureFormat(2, 2, 1, EzImageDataType::UInt8, rggb));
        auto frame = std::make_unique<WatchedFrame>();
        frame->setPicBuf(std::exchange(numbered->picBuf(), SzPicBuf()));
        int looks = 0;
        frame->lookedAt = [&] {
            if (looks++ == moment)
                element.setDirection(false, false);
        };
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);
        last = looks <= moment;
        EXPECT_EQ(element.clockwise(), last);
        EXPECT_TRUE(wasClockwise(*output) || !last);
    }
}

TEST_F(Rotate, directionIsReadOncePerFrameWhileAnotherThreadChangesIt) {
    std::atomic<bool> done = false;
    std::thread user([&] {
        for (int i = 0; !done; ++i)
            element.setDirection(i % 2 == 0, false);
    });
    std::array<int, 2> frames{};
    while (frames[0] + frames[1] < 500 || frames[0] == 0 || frames[1] == 0) {
        const auto output = process(numberedFrame(pictureFormat(2, 2, 1, EzImageDataType::UInt8, rggb)));
        EXPECT_TRUE(output);
        if (!output)
            break;
        ++frames[wasClockwise(*output)];
    }
    done = true;
    user.join();
}

TEST(RotateInChain, paddedPicturesArriveTightlyPackedAndComeOutUpright) {
    CzChain chain;
    chain.append(new CzRotateImageCnbl);
    SzPicBufInfo format = pictureFormat(3, 2);
    format.linePitch = 16;
    chain.source().setFormat(format, CzImageMetadata());
    Bytes turned;
    chain.setFrameObserver([&](const SzFrameReport& report) {
        if (const auto* const image = qobject_cast<const CzImageData*>(report.output))
            turned = samplesOf<std::uint8_t>(image->picBuf());
    });
    ASSERT_TRUE(chain.start());
    EXPECT_TRUE(chain.source().push(numberedFrame(format)));
    EXPECT_TRUE(chain.waitUntilIdle(10000));
    chain.stop();
    EXPECT_EQ(turned, (Bytes{4, 1, 5, 2, 6, 3}));
}

} // namespace
