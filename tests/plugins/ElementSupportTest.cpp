// SPDX-License-Identifier: GPL-3.0-or-later
#include "ElementSupport.h"

#include "ImageProvider.h"
#include "TestPictures.h"

#include <QDomDocument>
#include <QPointer>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

/// The least that an element can be.
class PlainElement : public CzImageProvider {
public:
    PlainElement() : CzImageProvider(EzChainableFlag::ConvertsPictures) {}

    void report(const QString& message) { reportOnce(*this, &PlainElement::setErrorMessage, message); }

    QString caption() override { return QStringLiteral("Plain"); }
    bool acceptsPredecessor(QObject*) override { return true; }
    int maxPredecessors() override { return 1; }
    CzChainable* duplicate() override { return new PlainElement; }
    QWidget* createConfigWidget() override { return nullptr; }
    bool isConfigurable() override { return false; }
    bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output, const CzImageMetadata*,
                         CzImageMetadata*) override {
        output = input;
        return true;
    }
    IzChainData* processData(IzChainData* input) override { return input; }
};

// ---- Settings ----

class Settings : public testing::Test {
protected:
    QDomDocument document;
    QDomElement element = document.createElement(QStringLiteral("chainable"));

    void set(const char* text) { element.setAttribute(QStringLiteral("key"), QString::fromLatin1(text)); }
};

TEST_F(Settings, missingAttributeReadsAsNothing) {
    EXPECT_EQ(readSetting(element, Setting<int>{"key", 3}), std::nullopt);
}

TEST_F(Settings, integersAreWrittenAndReadAsDecimalNumbers) {
    constexpr Setting<int> setting{"key", 3};
    writeSetting(element, setting, -17);
    EXPECT_EQ(element.attribute(QStringLiteral("key")), QStringLiteral("-17"));
    EXPECT_EQ(readSetting(element, setting), -17);
}

TEST_F(Settings, valueIsWrittenInItsOwnType) {
    writeSetting(element, Setting<int>{"key", 0}, 4294967295U);
    EXPECT_EQ(element.attribute(QStringLiteral("key")), QStringLiteral("4294967295"));
}

TEST_F(Settings, longIntegersKeepAllDigits) {
    constexpr Setting<qlonglong> setting{"key", 0};
    writeSetting(element, setting, std::numeric_limits<qlonglong>::min());
    EXPECT_EQ(element.attribute(QStringLiteral("key")), QStringLiteral("-9223372036854775808"));
    EXPECT_EQ(readSetting(element, setting), std::numeric_limits<qlonglong>::min());
}

TEST_F(Settings, fractionsComeBackExactly) {
    constexpr Setting<double> setting{"key", 1.0};
    for (const double value : {0.1, 1.0 / 3.0, -2.5e-7, 1e300}) {
        writeSetting(element, setting, value);
        EXPECT_EQ(readSetting(element, setting), value);
    }
}

TEST_F(Settings, textThatIsNoNumberOfTheTypeReadsAsZeroNotAsTheDefault) {
    for (const char* text : {"", "many", "1.5", "0x10", "99999999999"}) {
        set(text);
        EXPECT_EQ(readSetting(element, Setting<int>{"key", 3}), 0) << text;
    }
    set("99999999999999999999");
    EXPECT_EQ(readSetting(element, Setting<qlonglong>{"key", 3}), 0);
    set("1,5");
    EXPECT_EQ(readSetting(element, Setting<double>{"key", 3.0}), 0.0);
}

// ---- Stop, store, restart (with a chain: see the tests of the widgets) ----

TEST(ChangeStopped, storesOutsideOfAnyChain) {
    PlainElement element;
    int stored = 0;
    changeStopped(element, [&] { ++stored; });
    EXPECT_EQ(stored, 1);
}

// ---- Buttons ----

TEST(ExclusiveButtons, areAppendedInOrderWithTheChosenOneChecked) {
    QList<CzChainable::CzSimpleStateConfigButton> buttons;
    buttons.append({QStringLiteral("before"), 9, true});
    bool exclusive = false;
    appendExclusiveButtons(buttons, exclusive, {QStringLiteral("A"), QStringLiteral("B")}, {5, 3}, 3);
    EXPECT_TRUE(exclusive);
    ASSERT_EQ(buttons.size(), 3);
    EXPECT_EQ(buttons.at(1).caption(), QStringLiteral("A"));
    EXPECT_EQ(buttons.at(1).id(), 5);
    EXPECT_FALSE(buttons.at(1).checked());
    EXPECT_EQ(buttons.at(2).caption(), QStringLiteral("B"));
    EXPECT_EQ(buttons.at(2).id(), 3);
    EXPECT_TRUE(buttons.at(2).checked());
}

// ---- Line pitch ----

TEST(AlignedLinePitch, roundsALineUpToTheAlignment) {
    const auto pitch = [](std::uint32_t width, EzImageDataType type, std::uint32_t channels,
                          std::uint32_t alignment) {
        return alignedLinePitch(pictureFormat(width, 1, channels, type), alignment);
    };
    EXPECT_EQ(pitch(1, EzImageDataType::UInt8, 1, 4), 4U);
    EXPECT_EQ(pitch(4, EzImageDataType::UInt8, 1, 4), 4U);
    EXPECT_EQ(pitch(5, EzImageDataType::UInt8, 1, 4), 8U);
    EXPECT_EQ(pitch(3, EzImageDataType::UInt16, 1, 4), 8U);
    EXPECT_EQ(pitch(3, EzImageDataType::Float32, 1, 4), 12U);
    EXPECT_EQ(pitch(3, EzImageDataType::UInt16, 3, 4), 20U);
    EXPECT_EQ(pitch(1, EzImageDataType::Float32, 1, 256), 256U);
    EXPECT_EQ(pitch(64, EzImageDataType::Float32, 1, 256), 256U);
    EXPECT_EQ(pitch(65, EzImageDataType::Float32, 1, 256), 512U);
    EXPECT_EQ(pitch(0, EzImageDataType::UInt8, 1, 4), 0U);
}

TEST(AlignedLinePitch, lineTooLongFor32BitsGivesAPitchThatIsTooShortForIt) {
    SzPicBufInfo format = pictureFormat(1, 1, 1, EzImageDataType::UInt16);
    format.width = std::numeric_limits<std::uint32_t>::max();
    EXPECT_EQ(alignedLinePitch(format, 4), 0xfffffffcU);
    EXPECT_EQ(alignedLinePitch(format, 256), 0xffffff00U);
    format.dataType = EzImageDataType::UInt8;
    EXPECT_EQ(alignedLinePitch(format, 4), 0xfffffffcU);
}

// ---- Messages ----

TEST(ReportOnce, firstMessageStays) {
    PlainElement element;
    element.report(QStringLiteral("first"));
    EXPECT_EQ(element.errorMessage(), QStringLiteral("first"));
    element.report(QStringLiteral("second"));
    EXPECT_EQ(element.errorMessage(), QStringLiteral("first"));
}

// ---- Pictures ----

/// Lines full of old bytes, cleared as the picture that a format describes; lineBytes of each are samples.
void expectClears(const SzPicBufInfo& format, std::size_t lines, std::size_t lineBytes) {
    std::vector<std::uint8_t> memory(lines * format.linePitch, 0xEE);
    SzPicBuf picture;
    picture.setPicFormat(format);
    picture.data = memory.data();
    clearPicture(picture);
    for (std::size_t i = 0; i < memory.size(); ++i)
        EXPECT_EQ(memory[i], i % format.linePitch < lineBytes ? 0 : 0xEE) << i;
}

TEST(ClearPicture, clearsTheSamplesOfAllChannelsAndNothingElse) {
    SzPicBufInfo format = pictureFormat(3, 2, 2, EzImageDataType::UInt16);
    format.linePitch = 16;
    expectClears(format, 2, 12);
    format.storageFormat = EzDataStorageFormat::Planar;
    format.linePitch = 8;
    expectClears(format, 4, 6);
}

TEST(OutputPicture, goesBackToThePoolUnlessDelivered) {
    const auto pool = CzMemoryPool::create(1, 100);
    {
        OutputPicture output(pool->handle(), nullptr, pictureFormat(10, 10));
        ASSERT_TRUE(output);
        EXPECT_EQ(output->width, 10U);
        EXPECT_EQ(pool->freeBuffers(), 0);
    }
    EXPECT_EQ(pool->freeBuffers(), 1);
}

TEST(OutputPicture, isNoneWhenThePoolIsExhaustedOrMissing) {
    const auto pool = CzMemoryPool::create(1, 100);
    OutputPicture first(pool->handle(), nullptr, pictureFormat(10, 10));
    OutputPicture second(pool->handle(), nullptr, pictureFormat(10, 10));
    OutputPicture third(nullptr, nullptr, pictureFormat(10, 10));
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
    EXPECT_FALSE(third);
}

TEST(OutputPicture, deliveryHandsOverPictureMetadataAndAdditionalDataAndDeletesTheInput) {
    const auto pool = CzMemoryPool::create(1, 100);
    QPointer<CzImageData> input = numberedFrame(pictureFormat(10, 10)).release();
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    std::unique_ptr<CzImageData> delivered;
    {
        OutputPicture output(pool->handle(), nullptr, pictureFormat(5, 5));
        ASSERT_TRUE(output);
        output->floatMin = 1.5F;
        (*output).data[0] = 77;
        delivered.reset(output.deliver(input, metadata));
    }
    EXPECT_TRUE(input.isNull());
    ASSERT_TRUE(delivered);
    EXPECT_EQ(delivered->picBuf().width, 5U);
    EXPECT_EQ(delivered->picBuf().data[0], 77);
    EXPECT_EQ(delivered->picBuf().timeStampNs, 4711);
    EXPECT_EQ(delivered->picBuf().floatMin, 1.5F);
    EXPECT_EQ(delivered->frameNo(), 42);
    EXPECT_EQ(delivered->imageMetadata(), metadata);
    EXPECT_TRUE(delivered->isFromMemoryPool(pool->handle()));
    EXPECT_EQ(pool->freeBuffers(), 0);
    delivered.reset();
    EXPECT_EQ(pool->freeBuffers(), 1);
}

TEST(HeapPicture, allocatesAClearPictureOfItsFormat) {
    HeapPicture picture;
    EXPECT_FALSE(picture);
    SzPicBufInfo format = pictureFormat(5, 3, 1, EzImageDataType::UInt16);
    format.linePitch = 0;
    ASSERT_TRUE(picture.allocate(format));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->width, 5U);
    EXPECT_EQ(picture->dataType, EzImageDataType::UInt16);
    EXPECT_GE(picture->linePitch, 10U);
    EXPECT_EQ(samplesOf<std::uint16_t>(*picture), std::vector<std::uint16_t>(15, 0));
}

TEST(HeapPicture, refusedFormatLeavesNoPicture) {
    HeapPicture picture;
    ASSERT_TRUE(picture.allocate(pictureFormat(5, 3)));
    EXPECT_FALSE(picture.allocate(pictureFormat(0, 3)));
    EXPECT_FALSE(picture);
}

TEST(HeapPicture, movesItsPicture) {
    HeapPicture first;
    ASSERT_TRUE(first.allocate(pictureFormat(5, 3)));
    const std::uint8_t* const data = first->data;
    HeapPicture second(std::move(first));
    EXPECT_FALSE(first); // NOLINT: empty by contract
    EXPECT_EQ(second->data, data);
    HeapPicture third;
    third = std::move(second);
    EXPECT_EQ(third->data, data);
    third.free();
    EXPECT_FALSE(third);
    third.free();
}

} // namespace
