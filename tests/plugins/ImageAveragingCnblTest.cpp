// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImageAveragingCnbl.h"

#include "AveratingConfigurationWgt.h"
#include "Chain.h"
#include "ElementTest.h"
#include "FrameSource.h"

#include <QDomDocument>
#include <QMetaClassInfo>
#include <QPointer>
#include <QRegularExpression>
#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;

using Element = LooseElement<CzImageAveragingCnbl>;
using Bytes = std::vector<std::uint8_t>;

/// All samples of a picture, line by line and plane by plane.
template <class T>
std::vector<T> allSamples(const SzPicBuf& picture) {
    const bool planes = picture.storageFormat == EzDataStorageFormat::Planar;
    const std::size_t lineSamples = packedLineBytes(picture) / sizeof(T);
    std::vector<T> samples;
    for (std::size_t line = 0; line < std::size_t{picture.height} * (planes ? picture.channels : 1); ++line) {
        const T* const row = reinterpret_cast<const T*>(picture.data + line * picture.linePitch);
        samples.insert(samples.end(), row, row + lineSamples);
    }
    return samples;
}

/// A frame whose samples, repeated as often as needed, are these.
template <class T>
std::unique_ptr<CzImageData> frameOf(const SzPicBufInfo& format, const std::vector<T>& samples,
                                     int frameNo = 1) {
    auto frame = numberedFrame(format);
    SzPicBuf& picture = frame->picBuf();
    picture.frameNo = frameNo;
    const bool planes = picture.storageFormat == EzDataStorageFormat::Planar;
    const std::size_t lineSamples = packedLineBytes(picture) / sizeof(T);
    std::size_t next = 0;
    for (std::size_t line = 0; line < std::size_t{picture.height} * (planes ? picture.channels : 1); ++line)
        for (std::size_t i = 0; i < lineSamples; ++i)
            reinterpret_cast<T*>(picture.data + line * picture.linePitch)[i] =
                samples[next++ % samples.size()];
    return frame;
}

SzPicBufInfo colourFormat() {
    SzPicBufInfo format = pictureFormat(2, 1, 4);
    format.isColor = true;
    return format;
}

QStringList criticalMessages;

/// Keeps what is logged as critical meanwhile.
class CriticalLog {
public:
    CriticalLog()
        : m_before(
              qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
                  if (type == QtCriticalMsg)
                      criticalMessages.append(message);
              })) {
        criticalMessages.clear();
    }
    ~CriticalLog() { qInstallMessageHandler(m_before); }

private:
    QtMessageHandler m_before;
};

class Averaging : public ElementTest<Element> {
protected:
    /// Sets the element up for pictures of a format, as a chain that starts does.
    void start(const SzPicBufInfo& input) {
        format = input;
        element.setInput(format);
        element.usePool(4, pictureFormat(32, 32, 4)); // large enough for all of them
        element.setupStart();
    }

    void start(int averageCount, bool subtract = false, int lineAveraging = 0) {
        element.setAverageCount(averageCount);
        element.setSubtractFromAverage(subtract);
        element.setLineAveraging(lineAveraging);
        start(pictureFormat(2, 2));
    }

    /// What comes out for a frame; an input that nothing comes out for must be left alone.
    std::unique_ptr<CzImageData> process(std::unique_ptr<CzImageData> frame) {
        const QPointer<CzImageData> input = frame.get();
        IzChainData* const output = element.processData(frame.get());
        if (!output) {
            EXPECT_FALSE(input.isNull()) << "was deleted although nothing came out";
            return nullptr;
        }
        EXPECT_EQ(input.isNull(), output != frame.get()) << "is deleted when another object comes out";
        frame.release();
        return std::unique_ptr<CzImageData>(qobject_cast<CzImageData*>(output));
    }

    /// The samples that come out for a frame with these, none when nothing comes out.
    Bytes samples(const Bytes& in, int frameNo = 1) {
        const auto output = process(frameOf(format, in, frameNo));
        return output ? allSamples<std::uint8_t>(output->picBuf()) : Bytes();
    }
    Bytes still(const Bytes& in) { return samples(in, 0); }

    SzPicBufInfo format;
};

// ---- Identity ----

TEST_F(Averaging, introducesItself) {
    EXPECT_EQ(element.caption(), "Averaging (3)");
    EXPECT_EQ(element.maxPredecessors(), 1);
    EXPECT_TRUE(element.isConfigurable());
    EXPECT_EQ(static_cast<int>(element.flags()), 8);
    const QMetaObject& metaObject = CzImageAveragingCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(), "Image Averaging");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.CzImageAveragingCnbl");
}

TEST_F(Averaging, helpKeepsItsSpelling) {
    QString topic;
    EXPECT_TRUE(element.hasHelp());
    EXPECT_EQ(
        element.help(topic),
        "This object averages the user defined amounf of images into one output image.When all the "
        "images are averaged then the output is sent to the rest of the processing chain and next serie "
        "of the input images is averaged. <br>Warning:<ul><li> The output framerate is decreased by the "
        "number of averaged input images.</li><li> The static images are not averaged.</li></ul>");
}

TEST_F(Averaging, captionShowsTheNumberOfPicturesInDecimal) {
    element.setAverageCount(2147483647);
    EXPECT_EQ(element.caption(), "Averaging (2147483647)");
    element.setAverageCount(-5);
    EXPECT_EQ(element.caption(), "Averaging (-5)");
}

TEST_F(Averaging, acceptsAnySourceOfPictures) {
    QObject other;
    EXPECT_FALSE(element.acceptsPredecessor(&other));
    EXPECT_FALSE(element.acceptsPredecessor(nullptr));
    CzImageAveragingCnbl another;
    EXPECT_TRUE(element.acceptsPredecessor(&another));
}

TEST_F(Averaging, parametersBeginWithThreePicturesAndNothingElse) {
    EXPECT_EQ(element.averageCount(), 3);
    EXPECT_FALSE(element.subtractFromAverage());
    EXPECT_EQ(element.lineAveraging(), 0);
}

TEST_F(Averaging, duplicateHasTheSameParameters) {
    element.setAverageCount(7);
    element.setSubtractFromAverage(true);
    element.setLineAveraging(2);
    const std::unique_ptr<CzChainable> copy(element.duplicate());
    auto* const twin = qobject_cast<CzImageAveragingCnbl*>(copy.get());
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->averageCount(), 7);
    EXPECT_TRUE(twin->subtractFromAverage());
    EXPECT_EQ(twin->lineAveraging(), 2);
    EXPECT_TRUE(element.mutexIsFree());
}

TEST_F(Averaging, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzAveratingConfigurationWgt*>(widget.get()));
    EXPECT_EQ(widget->parent(), nullptr);
}

// ---- Settings ----

TEST_F(Averaging, savesThreeIntegersOneOfThemUnderItsOldSpelling) {
    element.setAverageCount(16);
    element.setSubtractFromAverage(true);
    element.setLineAveraging(2);
    const QDomElement saved = ElementTest::saved();
    EXPECT_EQ(saved.attributes().count(), 4); // with the host's identifier
    EXPECT_EQ(saved.attribute("averageCount"), "16");
    EXPECT_EQ(saved.attribute("subtractFromAverage"), "1");
    EXPECT_EQ(saved.attribute("lineAveraing"), "2");

    CzImageAveragingCnbl loaded;
    EXPECT_TRUE(loaded.loadSettings(saved));
    EXPECT_EQ(loaded.caption(), element.caption());
    EXPECT_TRUE(loaded.subtractFromAverage());
    EXPECT_EQ(loaded.lineAveraging(), 2);

    element.setSubtractFromAverage(false);
    EXPECT_EQ(ElementTest::saved("subtractFromAverage"), "0");
}

TEST_F(Averaging, settingsWithoutTheCountAreReadYetReportedAsFailed) {
    EXPECT_FALSE(load({{"lineAveraing", "2"}, {"subtractFromAverage", "1"}}));
    EXPECT_EQ(element.lineAveraging(), 2);
    EXPECT_TRUE(element.subtractFromAverage());
    EXPECT_EQ(element.averageCount(), 3);
    EXPECT_FALSE(load({}));
    EXPECT_EQ(element.lineAveraging(), 2);
    EXPECT_TRUE(element.subtractFromAverage());
}

TEST_F(Averaging, countAloneIsEnough) {
    EXPECT_TRUE(load({{"averageCount", "5"}}));
    EXPECT_EQ(element.averageCount(), 5);
    EXPECT_EQ(element.lineAveraging(), 0);
}

TEST_F(Averaging, rightSpellingOfTheLineModeIsNotRead) {
    EXPECT_TRUE(load({{"averageCount", "5"}, {"lineAveraging", "2"}}));
    EXPECT_EQ(element.lineAveraging(), 0);
}

TEST_F(Averaging, readableCountOverwritesTheFailureOfTheHostsOwnSettings) {
    EXPECT_FALSE(CzImageAveragingCnbl().CzImageProvider::loadSettings(settings({{"state", "x"}})));
    EXPECT_TRUE(load({{"state", "x"}, {"averageCount", "4"}}));
    EXPECT_EQ(element.averageCount(), 4);
    EXPECT_FALSE(load({{"state", "x"}, {"lineAveraing", "1"}}));
}

TEST_F(Averaging, countThatIsNoNumberIsStoredAsZeroAndReportedAsFailed) {
    for (const QString text : {"many", "", "1.5", "99999999999"}) {
        element.setAverageCount(3);
        EXPECT_FALSE(load({{"averageCount", text}, {"lineAveraing", "1"}}));
        EXPECT_EQ(element.averageCount(), 0);
        EXPECT_EQ(element.lineAveraging(), 1) << "is read nevertheless";
    }
}

TEST_F(Averaging, loadedValuesAreNotCheckedForTheirRange) {
    EXPECT_TRUE(load({{"averageCount", "-7"}, {"lineAveraing", "9"}}));
    EXPECT_EQ(element.averageCount(), -7);
    EXPECT_EQ(element.lineAveraging(), 9);
}

TEST_F(Averaging, lineModeThatIsNoNumberIsNoneWithoutFailure) {
    element.setLineAveraging(2);
    EXPECT_TRUE(load({{"averageCount", "3"}, {"lineAveraing", "rows"}}));
    EXPECT_EQ(element.lineAveraging(), 0);
}

TEST_F(Averaging, everyTextButZeroSwitchesSubtractionOn) {
    for (const auto& [text, expected] :
         {std::pair{"0", false}, {"1", true}, {"", true}, {"false", true}, {"00", true}}) {
        EXPECT_TRUE(load({{"averageCount", "3"}, {"subtractFromAverage", text}}));
        EXPECT_EQ(element.subtractFromAverage(), expected) << text;
    }
}

// ---- Output format ----

TEST_F(Averaging, outputHasTheFormatAndTheMetadataOfTheInput) {
    SzPicBufInfo input = pictureFormat(7, 5, 1, EzImageDataType::Float64, EzColorFilterArray::Hyperspectral);
    input.linePitch = 64;
    input.reserved = 88;
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    SzPicBufInfo output;
    CzImageMetadata outputMetadata;
    EXPECT_TRUE(element.outputImageInfo(input, output, &metadata, &outputMetadata));
    EXPECT_EQ(output, input);
    EXPECT_EQ(outputMetadata, metadata);
    EXPECT_TRUE(element.outputImageInfo(input, output, nullptr, &outputMetadata));
    EXPECT_EQ(outputMetadata, CzImageMetadata());
    EXPECT_TRUE(element.outputImageInfo(output, output, nullptr, nullptr));
    EXPECT_EQ(output, input);
}

// ---- Averages ----

TEST_F(Averaging, threeLivePicturesGiveTheirMeanTruncated) {
    start(pictureFormat(2, 2));
    EXPECT_EQ(samples({10, 0, 255, 1}, 1), Bytes());
    EXPECT_EQ(samples({10, 0, 255, 2}, 2), Bytes());
    EXPECT_EQ(samples({11, 1, 255, 3}, 3), (Bytes{10, 0, 255, 2}));
    // The next series begins with nothing.
    EXPECT_EQ(samples({9, 9, 9, 9}, 4), Bytes());
    EXPECT_EQ(samples({9, 9, 9, 9}, 5), Bytes());
    EXPECT_EQ(samples({9, 9, 9, 9}, 6), (Bytes{9, 9, 9, 9}));
}

TEST_F(Averaging, everySampleTypeAndLayoutIsAveraged) {
    for (const EzImageDataType type :
         {EzImageDataType::UInt8, EzImageDataType::UInt16, EzImageDataType::UInt32, EzImageDataType::Float32})
        for (const std::uint32_t channels : {1U, 2U, 3U, 4U, 5U})
            for (const auto storage : {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar}) {
                SzPicBufInfo input = pictureFormat(3, 5, channels, type);
                input.storageFormat = storage;
                input.linePitch += 12;
                start(input);
                withSampleType(type, [&](auto sample) {
                    using T = decltype(sample);
                    EXPECT_FALSE(process(frameOf<T>(input, {1, 20, 30})));
                    EXPECT_FALSE(process(frameOf<T>(input, {2, 20, 60})));
                    const auto output = process(frameOf<T>(input, {3, 23, 90}));
                    EXPECT_TRUE(output);
                    if (!output)
                        return false;
                    EXPECT_EQ(static_cast<const SzPicBufInfo&>(output->picBuf()), input);
                    EXPECT_EQ(allSamples<T>(output->picBuf()),
                              allSamples<T>(frameOf<T>(input, {2, 21, 60})->picBuf()));
                    return true;
                });
                element.setupStop();
            }
}

TEST_F(Averaging, sixteenPicturesOf16BitsAreSummedIn32Bits) {
    element.setAverageCount(16);
    start(pictureFormat(2, 2, 1, EzImageDataType::UInt16));
    for (int i = 1; i < 16; ++i)
        EXPECT_FALSE(process(frameOf<std::uint16_t>(format, {65535, 60000, 0, 1}, i)));
    const auto output = process(frameOf<std::uint16_t>(format, {65535, 60000, 15, 1}, 16));
    ASSERT_TRUE(output);
    EXPECT_THAT(allSamples<std::uint16_t>(output->picBuf()), ElementsAre(65535, 60000, 0, 1));
}

TEST_F(Averaging, alphaOfAnAverageIsZeroSoThatNoOldFrameShows) {
    element.setAverageCount(2);
    start(colourFormat());
    EXPECT_EQ(samples({1, 2, 3, 200, 5, 6, 7, 201}), Bytes());
    EXPECT_EQ(samples({3, 4, 5, 200, 7, 8, 9, 201}), (Bytes{2, 3, 4, 0, 6, 7, 8, 0}));
}

TEST_F(Averaging, onePictureIsCopiedWhateverItsSampleType) {
    for (const int count : {1, 0, -3}) {
        start(count);
        EXPECT_EQ(samples({1, 2, 3, 4}), (Bytes{1, 2, 3, 4}));
    }
    element.setLineAveraging(1);
    start(pictureFormat(2, 2, 1, EzImageDataType::Float64)); // its lines are left as they are
    const auto output = process(numberedFrame(format));
    ASSERT_TRUE(output);
    EXPECT_TRUE(output->isFromMemoryPool(element.pool->handle()));
    EXPECT_EQ(allSamples<double>(output->picBuf()), allSamples<double>(numberedFrame(format)->picBuf()));
}

TEST_F(Averaging, linesOfTheAverageAreAveraged) {
    start(2, false, 1);
    EXPECT_EQ(samples({10, 11, 4, 8}), Bytes());
    EXPECT_EQ(samples({10, 11, 4, 8}), (Bytes{11, 11, 6, 6}));
    start(1, false, 2);
    EXPECT_EQ(samples({10, 11, 5, 8}), (Bytes{8, 10, 8, 10}));
    start(1, false, 3);
    EXPECT_EQ(samples({10, 11, 5, 8}), (Bytes{10, 11, 5, 8}));
}

TEST_F(Averaging, rangeOfFloatsIsThatOfTheAverage) {
    element.setAverageCount(2);
    start(pictureFormat(2, 2, 1, EzImageDataType::Float32));
    EXPECT_FALSE(process(frameOf<float>(format, {1, 2, 3, 4})));
    const auto output = process(frameOf<float>(format, {2, 2, 3, 5}));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().floatMin, 1.5F);
    EXPECT_EQ(output->picBuf().floatMax, 4.5F);
}

TEST_F(Averaging, everyOutputTakesOverTheLastInputsAdditionalDataAndMetadata) {
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    for (const bool subtract : {false, true})
        for (const bool still : {false, true}) {
            start(1, subtract, 1);
            samples({1, 2, 3, 4}); // what is subtracted
            format.colorFilterArray = EzColorFilterArray::Hyperspectral;
            auto frame = numberedFrame(format, metadata);
            frame->picBuf().frameNo = still ? 0 : 42;
            const auto output = process(std::move(frame));
            ASSERT_TRUE(output);
            EXPECT_EQ(output->frameNo(), still ? 0 : 42);
            EXPECT_EQ(output->picBuf().timeStampNs, 4711);
            EXPECT_EQ(output->picBuf().colorFilterArray, EzColorFilterArray::Hyperspectral);
            EXPECT_EQ(output->imageMetadata(), metadata);
            EXPECT_TRUE(output->isFromMemoryPool(element.pool->handle()));
        }
}

// ---- Subtraction ----

TEST_F(Averaging, subtractionGivesNothingUntilTheFirstAverageThenOneOutputPerInput) {
    start(4, true);
    for (int i = 1; i <= 4; ++i)
        EXPECT_EQ(samples({100, 100, 100, 100}, i), Bytes());
    for (int i = 5; i <= 12; ++i)
        EXPECT_EQ(samples({100, 110, 90, 100}, i).size(), 4U) << i;
}

TEST_F(Averaging, differenceIsCentredOnTheMeanOfTheAverage) {
    start(2, true);
    EXPECT_EQ(samples({10, 20, 30, 41}), Bytes());
    EXPECT_EQ(samples({10, 20, 30, 41}), Bytes()); // mean 25.25
    EXPECT_EQ(samples({10, 21, 30, 240}), (Bytes{25, 26, 25, 224}));
}

TEST_F(Averaging, pendingOutputIsMeasuredAgainstThePreviousAverage) {
    start(2, true);
    samples({10, 10, 10, 10});
    EXPECT_EQ(samples({10, 10, 10, 10}), Bytes());                 // average 10
    EXPECT_EQ(samples({50, 50, 50, 50}), (Bytes{50, 50, 50, 50})); // − 10 + 10
    EXPECT_EQ(samples({50, 60, 50, 40}), (Bytes{50, 60, 50, 40})); // completes 50 55 50 45, against 10
    EXPECT_EQ(samples({50, 50, 50, 50}), (Bytes{50, 45, 50, 55})); // − that + 50
}

TEST_F(Averaging, withOnePicturePerAverageEachFrameIsComparedWithTheOneBefore) {
    start(1, true);
    EXPECT_EQ(samples({10, 20, 30, 40}, 1), Bytes());
    // The input still has to become the average after its own output was made.
    EXPECT_EQ(samples({10, 20, 30, 50}, 2), (Bytes{25, 25, 25, 35}));
    EXPECT_EQ(samples({10, 20, 30, 50}, 3), (Bytes{28, 28, 28, 28})); // mean 27.5
}

TEST_F(Averaging, inputIsStillThereToBecomeTheAverageAfterItsPendingOutputWasMade) {
    start(1, true);
    EXPECT_EQ(samples({10, 20, 30, 40}, 1), Bytes());
    EXPECT_EQ(samples({90, 90, 90, 90}, 2).size(), 4U);
    EXPECT_EQ(samples({91, 90, 90, 90}, 3), (Bytes{91, 90, 90, 90})); // against the input before
}

TEST_F(Averaging, linesOfTheDifferenceAreAveragedButNotOfTheAverageItself) {
    start(1, true, 1);
    EXPECT_EQ(samples({10, 20, 30, 40}, 1), Bytes());
    EXPECT_EQ(samples({10, 20, 30, 40}, 2), (Bytes{25, 25, 25, 25}));
    EXPECT_EQ(samples({20, 20, 30, 44}, 3), (Bytes{30, 30, 27, 27}));
}

TEST_F(Averaging, alphaOfADifferenceIsTheInputs) {
    element.setSubtractFromAverage(true);
    element.setAverageCount(1);
    start(colourFormat());
    EXPECT_EQ(samples({10, 20, 30, 200, 10, 20, 30, 201}), Bytes());
    EXPECT_EQ(samples({10, 21, 30, 7, 10, 20, 31, 8}), (Bytes{10, 21, 30, 7, 10, 20, 31, 8}));
}

TEST_F(Averaging, averageIsForgottenWhenSubtractionIsSwitched) {
    start(1, true);
    samples({10, 10, 10, 10}, 1);
    element.setSubtractFromAverage(true);
    EXPECT_EQ(samples({10, 10, 10, 10}, 2), Bytes());
    EXPECT_EQ(samples({10, 10, 10, 10}, 3).size(), 4U);
}

TEST_F(Averaging, startForgetsSeriesAndAverage) {
    start(2, true);
    samples({10, 10, 10, 10});
    samples({10, 10, 10, 10});
    samples({10, 10, 10, 10});
    element.setupStop();
    element.setupStart();
    EXPECT_EQ(samples({10, 10, 10, 10}), Bytes());
    EXPECT_EQ(samples({10, 10, 10, 10}), Bytes());
    EXPECT_EQ(samples({10, 10, 10, 10}).size(), 4U);
}

TEST_F(Averaging, coloursOf32BitsWithAlphaAreAveragedButNeverSubtracted) {
    // Their histogram has three channels, the subtraction wants four.
    SzPicBufInfo deep = pictureFormat(2, 1, 4, EzImageDataType::UInt32);
    deep.isColor = true;
    element.setAverageCount(1);
    element.setSubtractFromAverage(true);
    start(deep);
    for (int i = 1; i <= 3; ++i)
        EXPECT_FALSE(process(frameOf<std::uint32_t>(deep, {1, 2, 3, 4}, i)));
    EXPECT_FALSE(process(frameOf<std::uint32_t>(deep, {1, 2, 3, 4}, 0)));
    EXPECT_EQ(element.pool->freeBuffers(), 4);
    element.setSubtractFromAverage(false);
    EXPECT_TRUE(process(frameOf<std::uint32_t>(deep, {1, 2, 3, 4}, 4)));
}

// ---- Still pictures ----

TEST_F(Averaging, stillPicturePassesThroughAsTheSameObjectYetCountsInTheSeries) {
    start(3);
    auto frame = frameOf<std::uint8_t>(format, {9, 9, 9, 9}, 0);
    CzImageData* const input = frame.get();
    const auto output = process(std::move(frame));
    EXPECT_EQ(output.get(), input);
    EXPECT_EQ(samples({3, 3, 3, 3}, 1), Bytes());
    EXPECT_EQ(samples({3, 3, 3, 3}, 2), (Bytes{5, 5, 5, 5})); // (9 + 3 + 3) ÷ 3
}

TEST_F(Averaging, stillPicturesNeverCompleteASeriesButTheNextLiveOneDoes) {
    start(2);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(still({12, 12, 12, 12}).size(), 4U);
    EXPECT_EQ(samples({0, 0, 0, 0}), (Bytes{10, 10, 10, 10})); // 60 ÷ 6
}

TEST_F(Averaging, stillPicturesCountInASeriesThatWillBeSubtracted) {
    start(2, true);
    EXPECT_EQ(still({10, 10, 10, 10}), (Bytes{10, 10, 10, 10}));
    EXPECT_EQ(samples({20, 20, 20, 40}, 1), Bytes()); // completes 15 15 15 25, mean 17.5
    EXPECT_EQ(samples({15, 15, 15, 20}, 2), (Bytes{18, 18, 18, 13}));
}

TEST_F(Averaging, linesOfAStillPictureAreAveragedInACopy) {
    start(3, false, 1);
    EXPECT_EQ(still({10, 11, 4, 8}), (Bytes{11, 11, 6, 6}));
    EXPECT_EQ(element.pool->freeBuffers(), 4);
    element.setLineAveraging(7); // no mode at all: a copy still
    auto frame = frameOf<std::uint8_t>(format, {1, 2, 3, 4}, 0);
    const QPointer<CzImageData> input = frame.get();
    EXPECT_EQ(allSamples<std::uint8_t>(process(std::move(frame))->picBuf()), (Bytes{1, 2, 3, 4}));
    EXPECT_TRUE(input.isNull());
}

TEST_F(Averaging, stillPictureBecomesItsOwnMeanWhenTheAverageIsSubtracted) {
    start(3, true);
    EXPECT_EQ(still({10, 20, 30, 42}), (Bytes{26, 26, 26, 26})); // 25.5
    start(colourFormat());
    EXPECT_EQ(still({1, 2, 3, 9, 3, 4, 5, 9}), (Bytes{2, 3, 4, 255, 2, 3, 4, 255}));
}

TEST_F(Averaging, linesOfTheMeanOfAStillPictureAreAveragedAsWell) {
    element.setSubtractFromAverage(true);
    element.setLineAveraging(1);
    start(pictureFormat(2, 2, 1, EzImageDataType::Float32));
    const auto output = process(frameOf<float>(format, {1, 2, 3, 4}, 0));
    ASSERT_TRUE(output);
    // The mean, 2.5, plus a half, and the half that line means of floats have too many.
    EXPECT_THAT(allSamples<float>(output->picBuf()), Each(3.5F));
}

TEST_F(Averaging, planesOfAStillPictureThatAreNotFilledShowNoOldFrame) {
    element.setSubtractFromAverage(true);
    SzPicBufInfo planes = pictureFormat(1, 3, 2);
    planes.storageFormat = EzDataStorageFormat::Planar;
    planes.linePitch = 1;
    start(planes);
    EXPECT_EQ(still({10, 10, 10, 20, 20, 20}), (Bytes{10, 10, 10, 20, 0, 0}));
}

TEST_F(Averaging, followingDifferencesAreCentredOnTheMeanOfAStillPicture) {
    start(1, true);
    samples({10, 10, 10, 10}, 1);
    still({100, 100, 100, 100});
    EXPECT_EQ(samples({10, 10, 10, 11}, 2), (Bytes{100, 100, 100, 101}));
}

// ---- Parameters changed in the middle of a series ----

TEST_F(Averaging, smallerCountCompletesASeriesAtTheNextPictureDividedByHowManyThereWere) {
    start(10);
    samples({10, 10, 10, 10}, 1);
    samples({20, 20, 20, 20}, 2);
    element.setAverageCount(2);
    EXPECT_EQ(samples({60, 60, 60, 60}, 3), (Bytes{30, 30, 30, 30}));
}

TEST_F(Averaging, largerCountLetsASeriesGoOn) {
    start(2);
    samples({10, 10, 10, 10}, 1);
    element.setAverageCount(3);
    EXPECT_EQ(samples({20, 20, 20, 20}, 2), Bytes());
    EXPECT_EQ(samples({60, 60, 60, 60}, 3), (Bytes{30, 30, 30, 30}));
}

TEST_F(Averaging, lineModeIsTheOneOfTheMomentASeriesIsComplete) {
    start(2, false, 1);
    samples({10, 20, 30, 40}, 1);
    element.setLineAveraging(2);
    EXPECT_EQ(samples({10, 20, 30, 40}, 2), (Bytes{20, 30, 20, 30}));
}

TEST_F(Averaging, countOfOneInMidSeriesCopiesAndTheSumsStayForLater) {
    start(4);
    samples({10, 10, 10, 10}, 1);
    samples({10, 10, 10, 10}, 2);
    element.setAverageCount(1);
    EXPECT_EQ(samples({77, 77, 77, 77}, 3), (Bytes{77, 77, 77, 77}));
    element.setAverageCount(2);
    // The copied picture counts as one, and its sum is that of the two before it.
    EXPECT_EQ(samples({10, 10, 10, 10}, 4), (Bytes{15, 15, 15, 15}));
}

// ---- Failures ----

TEST_F(Averaging, anythingButAPicturePassesOn) {
    start(1);
    OtherData data;
    EXPECT_EQ(element.processData(&data), &data);
    EXPECT_EQ(element.processData(nullptr), nullptr);
}

TEST_F(Averaging, bypassedItAveragesNevertheless) {
    start(1);
    element.setState(EzChainableState::Bypassed);
    EXPECT_EQ(samples({1, 2, 3, 4}), (Bytes{1, 2, 3, 4}));
}

TEST_F(Averaging, unsupportedPicturesGiveNullWithoutAMessageAndDoNotCount) {
    start(2);
    samples({10, 10, 10, 10}, 1);
    for (const EzImageDataType type :
         {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16,
          EzImageDataType::SpectrumFloat32, EzImageDataType::Float64, EzImageDataType::Float16}) {
        EXPECT_FALSE(process(numberedFrame(pictureFormat(2, 2, 1, type))));
        auto stillFrame = numberedFrame(pictureFormat(2, 2, 1, type));
        stillFrame->picBuf().frameNo = 0;
        EXPECT_FALSE(process(std::move(stillFrame)));
    }
    SzPicBufInfo hostPacked = format;
    hostPacked.storageFormat = EzDataStorageFormat::HostPacked;
    EXPECT_FALSE(process(numberedFrame(hostPacked)));
    EXPECT_EQ(element.errorMessage(), QString());
    EXPECT_EQ(samples({20, 20, 20, 20}, 2), (Bytes{15, 15, 15, 15}));
}

TEST_F(Averaging, pictureThatDoesNotFitTheRunGivesNullAndDoesNotCount) {
    start(2);
    samples({10, 10, 10, 10}, 1);
    EXPECT_FALSE(process(numberedFrame(pictureFormat(3, 2))));
    EXPECT_FALSE(process(numberedFrame(pictureFormat(2, 3))));
    EXPECT_FALSE(process(numberedFrame(pictureFormat(2, 2, 3))));
    EXPECT_FALSE(process(numberedFrame(pictureFormat(2, 2, 1, EzImageDataType::Float32))));
    SzPicBufInfo planes = pictureFormat(2, 2);
    planes.storageFormat = EzDataStorageFormat::Planar;
    EXPECT_FALSE(process(numberedFrame(planes)));
    EXPECT_EQ(samples({20, 20, 20, 20}, 2), (Bytes{15, 15, 15, 15}));
}

TEST_F(Averaging, inputThatNothingComesOutForIsLeftToTheHost) {
    start(3, true);
    auto frame = frameOf<std::uint8_t>(format, {1, 2, 3, 4}, 1);
    const QPointer<CzImageData> input = frame.get();
    for (int i = 0; i < 3; ++i) { // two that are summed up, and the one that completes the series
        EXPECT_EQ(element.processData(frame.get()), nullptr);
        ASSERT_FALSE(input.isNull());
    }
    EXPECT_EQ(allSamples<std::uint8_t>(frame->picBuf()), (Bytes{1, 2, 3, 4}));
    frame->picBuf().storageFormat = EzDataStorageFormat::HostPacked; // refused
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    ASSERT_FALSE(input.isNull());
}

TEST_F(Averaging, failedDivisionLetsTheSeriesGrow) {
    start(2);
    samples({10, 10, 10, 10}, 1);
    // Fits the sums, but the sums do not fit an output of its size.
    EXPECT_FALSE(process(frameOf<std::uint8_t>(pictureFormat(1, 2), {2, 2}, 2)));
    EXPECT_EQ(element.pool->freeBuffers(), 4);
    EXPECT_EQ(samples({20, 20, 20, 20}, 3), (Bytes{10, 10, 10, 10})); // 32 and 30 ÷ 3
}

TEST_F(Averaging, exhaustedPoolGivesNullAndTheSeriesGoesOn) {
    start(2);
    samples({10, 10, 10, 10}, 1);
    SzPicBuf taken[4];
    for (SzPicBuf& picture : taken)
        ASSERT_TRUE(
            CzPicBufAPI::AllocPicBufFromPool(element.pool->handle(), &element, picture, format, false));
    EXPECT_EQ(samples({20, 20, 20, 20}, 2), Bytes());
    for (SzPicBuf& picture : taken)
        CzPicBufAPI::FreePicBuf(picture, false);
    EXPECT_EQ(samples({60, 60, 60, 60}, 3), (Bytes{30, 30, 30, 30}));
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(Averaging, exhaustedPoolGivesNullWhateverTheOutputWouldBe) {
    start(1, true);
    samples({10, 10, 10, 10}, 1);
    SzPicBuf taken[4];
    for (SzPicBuf& picture : taken)
        ASSERT_TRUE(
            CzPicBufAPI::AllocPicBufFromPool(element.pool->handle(), &element, picture, format, false));
    EXPECT_EQ(samples({20, 20, 20, 20}, 2), Bytes());
    EXPECT_EQ(still({20, 20, 20, 20}), Bytes());
    element.setSubtractFromAverage(false);
    EXPECT_EQ(samples({20, 20, 20, 20}, 3), Bytes());
    element.setLineAveraging(1);
    EXPECT_EQ(still({20, 20, 20, 20}), Bytes());
    for (SzPicBuf& picture : taken)
        CzPicBufAPI::FreePicBuf(picture, false);
}

TEST_F(Averaging, seriesIsNotCompletedByAPictureWhoseDifferenceHasNoRoomInThePool) {
    start(2, true);
    samples({10, 10, 10, 10}, 1);
    samples({10, 10, 10, 10}, 2);
    samples({40, 40, 40, 40}, 3);
    SzPicBuf taken[4];
    for (SzPicBuf& picture : taken)
        ASSERT_TRUE(
            CzPicBufAPI::AllocPicBufFromPool(element.pool->handle(), &element, picture, format, false));
    EXPECT_EQ(samples({40, 40, 40, 40}, 4), Bytes());
    for (SzPicBuf& picture : taken)
        CzPicBufAPI::FreePicBuf(picture, false);
    EXPECT_EQ(samples({40, 40, 40, 70}, 5),
              (Bytes{40, 40, 40, 70})); // against 10 still, completes 40 40 40 50
    EXPECT_EQ(samples({40, 40, 40, 50}, 6), (Bytes{43, 43, 43, 43})); // mean 42.5
}

TEST_F(Averaging, failedSubtractionGivesNullYetTheSeriesGoesOn) {
    start(2, true);
    samples({10, 10, 10, 10}, 1);
    samples({10, 10, 10, 10}, 2);
    EXPECT_FALSE(process(frameOf<std::uint8_t>(pictureFormat(1, 2), {30, 30}, 3)));
    EXPECT_EQ(element.pool->freeBuffers(), 4);
    EXPECT_EQ(samples({30, 30, 30, 30}, 4), (Bytes{30, 30, 30, 30})); // against 10 still
    EXPECT_EQ(samples({30, 30, 30, 30}, 5), (Bytes{23, 38, 23, 38})); // against 30 15 30 15, mean 22.5
}

TEST_F(Averaging, subtractionSwitchedOnWithoutRestartFailsUntilTheNextStart) {
    start(2);
    EXPECT_TRUE(load({{"averageCount", "2"}, {"subtractFromAverage", "1"}}));
    for (int i = 1; i <= 6; ++i)
        EXPECT_EQ(samples({10, 10, 10, 10}, i), Bytes());
    element.setAverageCount(1);
    EXPECT_EQ(samples({10, 10, 10, 10}, 7), Bytes());
    EXPECT_EQ(samples({10, 10, 10, 10}, 8), Bytes());
    EXPECT_EQ(element.pool->freeBuffers(), 4);
    element.setupStop();
    element.setupStart();
    EXPECT_EQ(samples({10, 10, 10, 10}, 9), Bytes());
    EXPECT_EQ(samples({10, 10, 10, 10}, 10).size(), 4U);
}

TEST_F(Averaging, failedAllocationIsLoggedAndTheStartIsNotRefused) {
    const CriticalLog log;
    SzPicBufInfo absurd = pictureFormat(4294967295U, 4294967295U);
    absurd.linePitch = 0;
    element.setInput(absurd);
    element.setSubtractFromAverage(true);
    element.setupStart();
    ASSERT_EQ(criticalMessages.size(), 2); // the sums and the average
    const QRegularExpression line(
        QStringLiteral("^0x%1 zuViewer/plugins/zvpProcessing/ImageAveragingCnbl L[1-9][0-9]*: "
                       "CzImageAveragingCnbl::setupStart\\(\\): Allocation failed\\.$")
            .arg(reinterpret_cast<quintptr>(QThread::currentThreadId()), 0, 16));
    for (const QString& message : criticalMessages)
        EXPECT_TRUE(line.match(message).hasMatch()) << message.toStdString();
    EXPECT_NE(criticalMessages[0], criticalMessages[1]) << "the lines differ";
    EXPECT_EQ(element.errorMessage(), QString());

    element.usePool(1, pictureFormat(2, 2));
    for (int i = 0; i < 4; ++i)
        EXPECT_FALSE(process(numberedFrame(pictureFormat(2, 2))));
    element.setupStop();
}

TEST_F(Averaging, startWithoutAKnownInputCannotAllocateAndSaysSo) {
    const CriticalLog log;
    element.setupStart();
    EXPECT_EQ(criticalMessages.size(), 1) << "the average is allocated only for subtraction";
    element.setSubtractFromAverage(true);
    element.setupStart();
    EXPECT_EQ(criticalMessages.size(), 3);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(Averaging, startWithoutAKnownInputForgetsTheRunBefore) {
    start(2);
    samples({10, 10, 10, 10}, 1);
    const CriticalLog log;
    element.forgetInput();
    element.setupStart();
    EXPECT_EQ(samples({10, 10, 10, 10}, 2), Bytes()) << "there are no sums";
    start(2);
    EXPECT_EQ(samples({20, 20, 20, 20}, 3), Bytes());
    EXPECT_EQ(samples({20, 20, 20, 20}, 4), (Bytes{20, 20, 20, 20}));
}

TEST_F(Averaging, stopWithoutStartAndTwiceDoesNoHarm) {
    element.setupStop();
    start(2);
    element.setupStart();
    element.setupStop();
    element.setupStop();
    EXPECT_EQ(samples({1, 1, 1, 1}), Bytes());
    EXPECT_EQ(samples({1, 1, 1, 1}), Bytes()) << "there are no sums";
}

TEST_F(Averaging, pictureWithoutDataGivesNull) {
    for (const int count : {1, 2})
        for (const bool subtract : {false, true})
            for (const int frameNo : {0, 1}) {
                start(count, subtract, 1);
                auto frame = std::make_unique<CzImageData>();
                SzPicBuf picture;
                picture.setPicFormat(format);
                picture.frameNo = frameNo;
                frame->setPicBuf(picture);
                EXPECT_FALSE(process(std::move(frame)));
                EXPECT_EQ(element.pool->freeBuffers(), 4);
            }
}

// ---- In a chain ----

TEST(AveragingInChain, oneOutputPerSeriesAndTheOthersAreConsumed) {
    CzChain chain;
    auto* const element = new CzImageAveragingCnbl; // the chain's
    element->setAverageCount(4);
    ASSERT_TRUE(chain.append(element));
    std::vector<Bytes> outputs;
    chain.setFrameObserver([&](const SzFrameReport& report) {
        if (const auto* const image = qobject_cast<const CzImageData*>(report.output))
            outputs.push_back(allSamples<std::uint8_t>(image->picBuf()));
    });
    SzPicBufInfo padded = pictureFormat(3, 1, 3);
    padded.linePitch = 32;
    chain.source().setFormat(padded, CzImageMetadata());
    ASSERT_TRUE(chain.start());
    for (int i = 1; i <= 10; ++i)
        ASSERT_TRUE(chain.source().push(frameOf<std::uint8_t>(padded, {std::uint8_t(i), 100, 200}, i)));
    ASSERT_TRUE(chain.waitUntilIdle(10000));
    chain.stop();
    EXPECT_THAT(outputs, ElementsAre(Bytes{2, 100, 200, 2, 100, 200, 2, 100, 200},
                                     Bytes{6, 100, 200, 6, 100, 200, 6, 100, 200}));
    EXPECT_EQ(chain.counters().framesOut, 2U);
    EXPECT_EQ(chain.counters().framesConsumed, 8U);
}

} // namespace
