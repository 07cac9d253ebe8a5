// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DCnbl.h"

#include "FFT1DKernels.h"
#include "FFT1DWidget.h"
#include "TestPictures.h"

#include <QDomDocument>
#include <QMetaClassInfo>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

namespace {

using Element = LooseElement<CzFFT1DCnbl>;

constexpr auto rggb = EzColorFilterArray::BayerRGGB;
constexpr auto mosaic = EzColorFilterArray::Hyperspectral;
constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;

/// An element's settings with a few of them changed or, where the value is null, left out.
QDomElement settingsWith(QDomDocument& document, const QMap<QString, QString>& changes) {
    QDomElement settings = document.createElement("chainable");
    CzFFT1DCnbl().saveSettings(document, settings);
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        settings.removeAttribute(change.key());
        if (!change.value().isNull())
            settings.setAttribute(change.key(), change.value());
    }
    return settings;
}

bool load(CzFFT1DCnbl& element, const QMap<QString, QString>& changes) {
    QDomDocument document;
    return element.loadSettings(settingsWith(document, changes));
}

class FFT1D : public testing::Test {
protected:
    Element element;

    void start(const SzPicBufInfo& format, const CzImageMetadata& metadata = CzImageMetadata()) {
        element.setInput(format, metadata);
        element.setupStop();
        element.setupStart();
        if (!element.pool)
            element.usePool(2, pictureFormat(128, 128, 4));
    }

    /// The plot of a frame; null when none comes out.
    std::unique_ptr<CzImageData> process(std::unique_ptr<CzImageData> frame) {
        auto* const output = element.processData(frame.get());
        if (!output)
            return nullptr;
        EXPECT_NE(output, frame.release());
        return std::unique_ptr<CzImageData>(qobject_cast<CzImageData*>(output));
    }

    std::unique_ptr<CzImageData> process(const SzPicBufInfo& format,
                                         const CzImageMetadata& metadata = CzImageMetadata()) {
        return process(numberedFrame(format, metadata));
    }

    /// What a plot of these amplitudes looks like.
    static std::vector<std::uint32_t> expectedPlot(std::uint32_t width, std::uint32_t height,
                                                   const QVector<double>& amplitudes, double lower,
                                                   double upper, bool isLogarithmic = false) {
        SpectrumPlot plot;
        plot.setLogarithmicY(isLogarithmic);
        plot.prepare(static_cast<int>(width), static_cast<int>(height));
        QVector<double> x;
        for (int i = 0; i < amplitudes.size(); ++i)
            x.append(i / (2.0 * amplitudes.size()));
        SzPicBufInfo format = pictureFormat(width, height, 4);
        format.linePitch = (format.linePitch + 255) / 256 * 256;
        HeapPicture picture;
        EXPECT_TRUE(picture.allocate(format));
        plot.draw(*picture, x, amplitudes, lower, upper);
        return pixels(*picture);
    }

    static std::vector<std::uint32_t> pixels(const SzPicBuf& picture) {
        std::vector<std::uint32_t> all;
        for (std::uint32_t y = 0; y < picture.height; ++y) {
            const auto* const line =
                reinterpret_cast<const std::uint32_t*>(picture.data + std::size_t{y} * picture.linePitch);
            all.insert(all.end(), line, line + picture.width);
        }
        return all;
    }

    /// A frame of one row whose samples are given.
    static std::unique_ptr<CzImageData> row(const std::vector<std::uint8_t>& samples) {
        auto frame = numberedFrame(pictureFormat(static_cast<std::uint32_t>(samples.size()), 1));
        std::copy(samples.begin(), samples.end(), frame->picBuf().data);
        return frame;
    }
};

// ---- Identity ----

TEST_F(FFT1D, introducesItself) {
    QString topic;
    EXPECT_TRUE(element.hasHelp());
    EXPECT_EQ(element.help(topic),
              "Performs the 1D Fast Fourier Transform on the rows or columns of the input image.");
    EXPECT_TRUE(element.isConfigurable());
    EXPECT_EQ(static_cast<int>(element.flags()), 9);
    const QMetaObject& metaObject = CzFFT1DCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(),
                 "Fast Fourier Transform 1D");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.CzFFT1DCnbl");
}

TEST_F(FFT1D, captionNamesChannelAndDirection) {
    EXPECT_EQ(element.caption(), "FFT 1D(Channel -1, cols)");
    start(pictureFormat(8, 8));
    EXPECT_EQ(element.caption(), "FFT 1D(Mono, cols)");
    element.setTranstype(0);
    EXPECT_EQ(element.caption(), "FFT 1D(Mono, rows)");
    element.setTranstype(2);
    EXPECT_EQ(element.caption(), "FFT 1D(Mono, cols)");
    start(pictureFormat(8, 8, 1, uint8, rggb));
    element.setChannel(1);
    EXPECT_EQ(element.caption(), "FFT 1D(Green 1, cols)");
}

TEST_F(FFT1D, beginsWithItsDefaults) {
    EXPECT_EQ(element.channel(), -1);
    EXPECT_EQ(element.transtype(), 1);
    EXPECT_TRUE(element.includeDC());
    EXPECT_FALSE(element.logarithmicY());
    EXPECT_TRUE(element.gridX());
    EXPECT_TRUE(element.gridY());
    EXPECT_TRUE(element.autoScaleY());
    EXPECT_EQ(element.minY(), 0.0);
    EXPECT_EQ(element.maxY(), 400000.0);
}

TEST_F(FFT1D, duplicateHasChannelAndDirectionAndForgetsEverythingElse) {
    EXPECT_TRUE(load(element, {{"channel", "3"},
                               {"transtype", "0"},
                               {"includeDC", "0"},
                               {"logarY", "1"},
                               {"gridX", "0"},
                               {"gridY", "0"},
                               {"autoScaleY", "0"},
                               {"minY", "1.5"},
                               {"maxY", "2.5"}}));
    const std::unique_ptr<CzChainable> copy(element.duplicate());
    auto* const twin = qobject_cast<CzFFT1DCnbl*>(copy.get());
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->channel(), 3);
    EXPECT_EQ(twin->transtype(), 0);
    EXPECT_TRUE(twin->includeDC());
    EXPECT_FALSE(twin->logarithmicY());
    EXPECT_TRUE(twin->gridX());
    EXPECT_TRUE(twin->gridY());
    EXPECT_TRUE(twin->autoScaleY());
    EXPECT_EQ(twin->minY(), 0.0);
    EXPECT_EQ(twin->maxY(), 400000.0);
}

TEST_F(FFT1D, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzFFT1DWidget*>(widget.get()));
}

// ---- Settings ----

TEST_F(FFT1D, savesNineSettings) {
    QDomDocument document;
    const QDomElement settings = settingsWith(document, {});
    EXPECT_EQ(settings.attributes().count(), 10); // and its identifier
    EXPECT_EQ(settings.attribute("channel"), "-1");
    EXPECT_EQ(settings.attribute("transtype"), "1");
    for (const char* const key : {"includeDC", "gridX", "gridY", "autoScaleY"})
        EXPECT_EQ(settings.attribute(key), "1") << key;
    EXPECT_EQ(settings.attribute("logarY"), "0");
    EXPECT_EQ(settings.attribute("minY").toDouble(), 0.0);
    EXPECT_EQ(settings.attribute("maxY").toDouble(), 400000.0);
}

TEST_F(FFT1D, loadsWhatItSaved) {
    EXPECT_TRUE(load(element, {{"channel", "-7"},
                               {"transtype", "2"},
                               {"includeDC", "0"},
                               {"logarY", "1"},
                               {"gridX", "0"},
                               {"gridY", "0"},
                               {"autoScaleY", "0"},
                               {"minY", "-1234.0625"},
                               {"maxY", "1e300"}}));
    QDomDocument document;
    QDomElement settings = document.createElement("chainable");
    EXPECT_TRUE(element.saveSettings(document, settings));
    CzFFT1DCnbl other;
    EXPECT_TRUE(other.loadSettings(settings));
    EXPECT_EQ(other.channel(), -7);
    EXPECT_EQ(other.transtype(), 2);
    EXPECT_FALSE(other.includeDC());
    EXPECT_TRUE(other.logarithmicY());
    EXPECT_FALSE(other.gridX());
    EXPECT_FALSE(other.gridY());
    EXPECT_FALSE(other.autoScaleY());
    EXPECT_EQ(other.minY(), -1234.0625);
    EXPECT_EQ(other.maxY(), 1e300);
}

TEST_F(FFT1D, numbersOtherThanZeroAreTrueAndWordsAreFalse) {
    EXPECT_TRUE(
        load(element, {{"includeDC", "many"}, {"gridX", "-3"}, {"logarY", "2"}, {"autoScaleY", "true"}}));
    EXPECT_FALSE(element.includeDC());
    EXPECT_TRUE(element.gridX());
    EXPECT_TRUE(element.logarithmicY());
    EXPECT_FALSE(element.autoScaleY());
    EXPECT_TRUE(load(element, {{"channel", "word"}, {"minY", "word"}}));
    EXPECT_EQ(element.channel(), 0);
    EXPECT_EQ(element.minY(), 0.0);
}

TEST_F(FFT1D, loadingGoesOnBehindAMissingSetting) {
    const QStringList keys{"channel", "transtype",  "includeDC", "logarY", "gridX",
                           "gridY",   "autoScaleY", "minY",      "maxY"};
    const QMap<QString, QString> others{{"channel", "2"},    {"transtype", "0"}, {"includeDC", "0"},
                                        {"logarY", "1"},     {"gridX", "0"},     {"gridY", "0"},
                                        {"autoScaleY", "0"}, {"minY", "5"},      {"maxY", "6"}};
    for (const QString& missing : keys) {
        QMap<QString, QString> changes = others;
        changes[missing] = QString();
        CzFFT1DCnbl fresh;
        EXPECT_FALSE(load(fresh, changes)) << missing.toStdString();
        QDomDocument document;
        QDomElement settings = document.createElement("chainable");
        fresh.saveSettings(document, settings);
        const QDomElement defaults = settingsWith(document, {});
        for (const QString& key : keys)
            EXPECT_EQ(settings.attribute(key).toDouble(),
                      key == missing ? defaults.attribute(key).toDouble() : others.value(key).toDouble())
                << key.toStdString() << " without " << missing.toStdString();
    }
}

TEST_F(FFT1D, resultOfTheHostsLoadingCounts) {
    EXPECT_FALSE(load(element, {{"state", "neither"}, {"channel", "2"}}));
    EXPECT_EQ(element.channel(), 2);
}

// ---- Output format ----

TEST_F(FFT1D, outputIsAColourPictureOfTheInputsSizeWhateverTheChannel) {
    SzPicBufInfo input = pictureFormat(641, 480, 1, uint16, mosaic);
    input.reserved = 88;
    SzPicBufInfo expected = input;
    expected.channels = 4;
    expected.bitDepth = 8;
    expected.dataType = uint8;
    expected.colorFilterArray = EzColorFilterArray::None;
    expected.isColor = true;
    expected.linePitch = 2816;
    const CzImageMetadata before = hyperspectral({filterZone(4, 4)});
    for (const std::int32_t channel : {-1, 3}) {
        element.setChannel(channel);
        SzPicBufInfo output;
        CzImageMetadata after = before;
        EXPECT_TRUE(element.outputImageInfo(input, output, &before, &after));
        EXPECT_EQ(output, expected);
        EXPECT_EQ(after, CzImageMetadata());
    }
    SzPicBufInfo format = pictureFormat(640, 480);
    EXPECT_TRUE(element.outputImageInfo(format, format, nullptr, nullptr)); // in place
    EXPECT_EQ(format.linePitch, 2560U);
    EXPECT_EQ(format.channels, 4U);
}

TEST_F(FFT1D, planarPicturesManyComponentsAndDeepSamplesAreRefusedAndNothingIsWritten) {
    SzPicBufInfo planar = pictureFormat(4, 4, 3);
    planar.storageFormat = EzDataStorageFormat::Planar;
    for (const SzPicBufInfo& refused :
         {planar, pictureFormat(4, 4, 5), pictureFormat(4, 4, 1, EzImageDataType::UInt32)}) {
        SzPicBufInfo output = pictureFormat(1, 2);
        EXPECT_FALSE(element.outputImageInfo(refused, output, nullptr, nullptr));
        EXPECT_EQ(output, pictureFormat(1, 2));
    }
}

// ---- Start ----

TEST_F(FFT1D, firstStartKeepsALoadedChannelLaterOnesResetItWhenTheInputChanges) {
    load(element, {{"channel", "3"}});
    element.setupStart(); // no input is known: not the first one
    start(pictureFormat(8, 8, 1, uint8, rggb));
    EXPECT_EQ(element.channel(), 3);
    start(pictureFormat(8, 8, 1, uint8, EzColorFilterArray::BayerBGGR));
    EXPECT_EQ(element.channel(), -1);
    start(pictureFormat(8, 8, 3));
    EXPECT_EQ(element.channel(), 0);
}

// ---- Plots ----

TEST_F(FFT1D, oddLengthDropsTheLastAmplitudeWithTheMeanAndNoneWithoutIt) {
    // A pulse: every frequency alike, frequency 0 included.
    const std::vector<std::uint8_t> pulse{100, 0, 0, 0, 0};
    element.setTranstype(0);
    element.setAutoScaleY(false);
    element.setMaxY(200.0);
    for (const bool includeDC : {true, false}) {
        element.setIncludeDC(includeDC);
        start(pictureFormat(5, 1));
        const auto output = process(row(pulse));
        ASSERT_TRUE(output);
        EXPECT_EQ(pixels(output->picBuf()), expectedPlot(5, 1, {100, 100}, 0, 200));
    }
}

/// A picture whose columns are bright in turn: a wave of two pixels on a mean.
std::unique_ptr<CzImageData> stripes(std::uint32_t width, std::uint32_t height) {
    auto frame = numberedFrame(pictureFormat(width, height));
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            frame->picBuf().data[y * frame->picBuf().linePitch + x] = x % 4 < 2 ? 30 : 10;
    return frame;
}

TEST_F(FFT1D, meanOfRowsShowsTheWaveAlongTheRowsFromFrequencyZeroOn) {
    element.setTranstype(0);
    start(pictureFormat(64, 48));
    const auto output = process(stripes(64, 48));
    ASSERT_TRUE(output);
    QVector<double> amplitudes(32, 0.0);
    amplitudes[0] = 20.0 * 64;
    amplitudes[16] = std::sqrt(2.0F * 320.0F * 320.0F); // a fourth of the samples' frequency
    EXPECT_EQ(pixels(output->picBuf()), expectedPlot(64, 48, amplitudes, 0, 1280));

    element.setIncludeDC(false);
    start(pictureFormat(64, 48));
    const auto withoutMean = process(stripes(64, 48));
    amplitudes = QVector<double>(31, 0.0);
    amplitudes[15] = std::sqrt(2.0F * 320.0F * 320.0F);
    EXPECT_EQ(pixels(withoutMean->picBuf()), expectedPlot(64, 48, amplitudes, 0, amplitudes[15]));
}

TEST_F(FFT1D, meanOfColumnsOfTheSamePictureIsFlat) {
    element.setTranstype(1);
    start(pictureFormat(64, 48));
    QVector<double> amplitudes(24, 0.0);
    amplitudes[0] = 20.0 * 48;
    EXPECT_EQ(pixels(process(stripes(64, 48))->picBuf()), expectedPlot(64, 48, amplitudes, 0, 960));
}

TEST_F(FFT1D, constantPictureWithoutItsMeanHasNoAmplitudeAndARangeOfNothing) {
    element.setIncludeDC(false);
    start(pictureFormat(64, 48));
    auto frame = numberedFrame(pictureFormat(64, 48));
    std::fill_n(frame->picBuf().data, 64 * 48, std::uint8_t{77});
    EXPECT_EQ(pixels(process(std::move(frame))->picBuf()),
              expectedPlot(64, 48, QVector<double>(23, 0.0), 0.0, 0.0));
}

TEST_F(FFT1D, sixteenBitsPaddedLinesAndFrameData) {
    SzPicBufInfo format = pictureFormat(64, 48, 1, uint16);
    format.linePitch = 256;
    element.setTranstype(0);
    start(format);
    const auto output = process(format);
    ASSERT_TRUE(output);
    EXPECT_EQ(output->frameNo(), 42);
    EXPECT_EQ(output->picBuf().timeStampNs, 4711);
    SzPicBufInfo expected;
    ASSERT_TRUE(element.outputImageInfo(format, expected, nullptr, nullptr));
    EXPECT_EQ(SzPicBufInfo(output->picBuf()), expected);
    EXPECT_EQ(pixels(output->picBuf()), [&] {
        start(pictureFormat(64, 48));
        return pixels(process(pictureFormat(64, 48))->picBuf());
    }());
}

TEST_F(FFT1D, fixedRangeLogarithmicScaleAndGridsShowInThePicture) {
    start(pictureFormat(100, 80));
    const auto plain = pixels(process(pictureFormat(100, 80))->picBuf());
    element.setAutoScaleY(false);
    EXPECT_NE(pixels(process(pictureFormat(100, 80))->picBuf()), plain);
    element.setAutoScaleY(true);
    EXPECT_EQ(pixels(process(pictureFormat(100, 80))->picBuf()), plain);
    element.setLogarithmicY(true);
    EXPECT_NE(pixels(process(pictureFormat(100, 80))->picBuf()), plain);
    element.setLogarithmicY(false);
    element.setGridX(false);
    const auto withoutGridX = pixels(process(pictureFormat(100, 80))->picBuf());
    EXPECT_NE(withoutGridX, plain);
    element.setGridX(true);
    EXPECT_EQ(pixels(process(pictureFormat(100, 80))->picBuf()), plain);
}

TEST_F(FFT1D, colourComponentsSubPlanesAndBandsAreAnalysedInTheirOwnSize) {
    // 8 x 4: the profile of a plane has half of its rows.
    load(element, {{"channel", "2"}, {"transtype", "1"}});
    const SzPicBufInfo bayer = pictureFormat(64, 8, 1, uint8, rggb);
    start(bayer);
    auto frame = numberedFrame(bayer);
    for (std::uint32_t y = 0; y < 8; ++y)
        for (std::uint32_t x = 0; x < 64; ++x)
            frame->picBuf().data[y * 64 + x] = y == 1 && x % 2 == 0 ? 60 : 0; // a pulse in plane 2 alone
    EXPECT_EQ(pixels(process(std::move(frame))->picBuf()), expectedPlot(64, 8, {60, 60}, 60, 60));

    element.setChannel(1);
    start(bayer);
    EXPECT_TRUE(process(bayer));

    const SzPicBufInfo bands = pictureFormat(64, 8, 1, uint16, mosaic);
    const CzImageMetadata metadata = hyperspectral({filterZone(4, 2)});
    start(bands, metadata);
    element.setChannel(5);
    start(bands, metadata);
    EXPECT_TRUE(process(bands, metadata));

    start(pictureFormat(16, 8, 3));
    element.setChannel(2);
    start(pictureFormat(16, 8, 3));
    EXPECT_TRUE(process(pictureFormat(16, 8, 3)));
}

TEST_F(FFT1D, typeTwoHasOneValuePerRowYetTheLengthOfTheWidth) {
    element.setAutoScaleY(false);
    element.setMaxY(1000.0);
    for (const auto& [width, height] : {std::pair{8U, 4U}, {4U, 8U}}) {
        element.setTranstype(2);
        start(pictureFormat(width, height));
        auto frame = numberedFrame(pictureFormat(width, height));
        std::vector<float> profile(width);
        ASSERT_TRUE(meanProfile(frame->picBuf(), true, profile.data(), width));
        EXPECT_EQ(profile[width - 1] == 0.0F, width > height);
        const auto output = process(std::move(frame));
        ASSERT_TRUE(output);

        // The same as that profile as the one row of a picture would give.
        std::vector<float> real(width);
        std::vector<float> imaginary(width);
        void* a = nullptr;
        void* b = nullptr;
        void* c = nullptr;
        ASSERT_TRUE(CzFFT::Alloc1D(static_cast<int>(width), a, b, c));
        ASSERT_TRUE(CzFFT::Calc1D(profile.data(), real.data(), imaginary.data(), a, b, c));
        CzFFT::Free1D(a, b, c);
        QVector<double> amplitudes(static_cast<int>(width) / 2);
        spectrumAmplitudes(real.data(), imaginary.data(), static_cast<int>(width),
                           static_cast<int>(width) / 2, amplitudes.data(), amplitudes.size());
        EXPECT_EQ(pixels(output->picBuf()), expectedPlot(width, height, amplitudes, 0, 1000));
    }
}

TEST_F(FFT1D, lengthsOfOneAndTwoGivePlotsWithoutALine) {
    element.setTranstype(0);
    for (const bool includeDC : {true, false})
        for (const std::uint32_t width : {1U, 2U}) {
            element.setIncludeDC(includeDC);
            start(pictureFormat(width, 40));
            const auto output = process(pictureFormat(width, 40));
            ASSERT_TRUE(output);
            if (width == 2 && includeDC)
                continue; // one point
            EXPECT_EQ(pixels(output->picBuf()),
                      expectedPlot(width, 40, {}, std::numeric_limits<double>::max(), 0.0));
        }
}

TEST_F(FFT1D, picturesOfEverySmallSizeAreDrawn) {
    for (std::uint32_t size = 1; size <= 64; size += size < 6 ? 1 : 19)
        for (const auto& [width, height] : {std::pair{size, size}, {size, 3U}, {3U, size}}) {
            start(pictureFormat(width, height));
            EXPECT_TRUE(process(pictureFormat(width, height))) << width << " x " << height;
        }
}

TEST_F(FFT1D, hostileRangesAreDrawn) {
    start(pictureFormat(64, 48));
    element.setAutoScaleY(false);
    for (const bool isLogarithmic : {false, true})
        for (const char* const bound : {"nan", "inf", "-inf", "1e300", "-1e300", "-1000000", "0"}) {
            EXPECT_TRUE(load(element, {{"autoScaleY", "0"},
                                       {"logarY", isLogarithmic ? "1" : "0"},
                                       {"channel", "0"},
                                       {"minY", bound}}));
            EXPECT_TRUE(process(pictureFormat(64, 48))) << bound;
            EXPECT_TRUE(load(element, {{"autoScaleY", "0"}, {"channel", "0"}, {"maxY", bound}}));
            EXPECT_TRUE(process(pictureFormat(64, 48))) << bound;
        }
}

TEST_F(FFT1D, pictureDrawnOnAWorkerIsTheOneThatIsDrawnAgain) {
    std::unique_ptr<CzImageData> onWorker;
    std::thread worker([&] {
        start(pictureFormat(120, 100));
        onWorker = process(pictureFormat(120, 100));
    });
    worker.join();
    ASSERT_TRUE(onWorker);
    EXPECT_EQ(pixels(process(pictureFormat(120, 100))->picBuf()), pixels(onWorker->picBuf()));
}

TEST_F(FFT1D, settingsLoadedInMidRunCountWithoutHarm) {
    start(pictureFormat(64, 48));
    EXPECT_TRUE(load(element, {{"includeDC", "0"}, {"transtype", "0"}, {"channel", "0"}}));
    EXPECT_TRUE(process(pictureFormat(64, 48)));
    EXPECT_TRUE(load(element, {{"transtype", "0"}, {"channel", "0"}}));
    start(pictureFormat(48, 64));
    EXPECT_TRUE(load(element, {{"transtype", "1"}, {"channel", "0"}}));
    EXPECT_TRUE(process(pictureFormat(48, 64)));
    start(pictureFormat(64, 48, 1, uint8, rggb));
    EXPECT_TRUE(load(element, {{"channel", "3"}}));
    EXPECT_FALSE(process(pictureFormat(64, 48, 1, uint8, rggb))); // there is no buffer for a plane
    EXPECT_EQ(element.pool->freeBuffers(), 2);
}

// ---- Failures ----

TEST_F(FFT1D, otherSampleTypesPassOnWithOneMessage) {
    start(pictureFormat(4, 4, 1, EzImageDataType::UInt32));
    for (const EzImageDataType type :
         {EzImageDataType::UInt32, EzImageDataType::Float32, EzImageDataType::Int8}) {
        const auto frame = numberedFrame(pictureFormat(4, 4, 1, type));
        EXPECT_EQ(element.processData(frame.get()), frame.get());
        EXPECT_EQ(element.errorMessage(), "The input image data type is not supported.");
    }
}

TEST_F(FFT1D, whatIsNoPictureAndWhatABypassedElementGetsPassOn) {
    EXPECT_EQ(element.processData(nullptr), nullptr);
    OtherData other;
    EXPECT_EQ(element.processData(&other), &other);
    start(pictureFormat(4, 4));
    element.setState(EzChainableState::Bypassed);
    const auto frame = numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt32));
    EXPECT_EQ(element.processData(frame.get()), frame.get());
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(FFT1D, exhaustedPoolGivesNothing) {
    element.usePool(0, pictureFormat(64, 64));
    start(pictureFormat(4, 4));
    EXPECT_FALSE(process(pictureFormat(4, 4)));
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(FFT1D, picturesThatDifferFromTheOneAtTheStartGiveNothingAndTheBufferGoesBack) {
    for (const std::int32_t channel : {-1, 1}) {
        start(pictureFormat(6, 4, 1, uint8, rggb));
        element.setChannel(channel);
        start(pictureFormat(6, 4, 1, uint8, rggb));
        EXPECT_TRUE(process(pictureFormat(6, 4, 1, uint8, rggb)));
        for (const SzPicBufInfo& other :
             {pictureFormat(8, 4, 1, uint8, rggb), pictureFormat(6, 8, 1, uint8, rggb),
              pictureFormat(2, 2, 1, uint8, rggb), pictureFormat(100, 100, 1, uint8, rggb)}) {
            EXPECT_FALSE(process(other));
            EXPECT_EQ(element.pool->freeBuffers(), 2);
        }
    }
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(FFT1D, withoutAStartOrALengthNothingComesOut) {
    element.usePool(2, pictureFormat(64, 64));
    EXPECT_FALSE(process(pictureFormat(4, 4)));
    SzPicBufInfo planar = pictureFormat(4, 4);
    planar.storageFormat = EzDataStorageFormat::Planar;
    start(planar);
    EXPECT_FALSE(process(planar));
    load(element, {{"channel", "0"}});
    start(pictureFormat(1, 1, 1, uint8, rggb)); // half of it
    element.setChannel(0);
    start(pictureFormat(1, 1, 1, uint8, rggb));
    EXPECT_FALSE(process(pictureFormat(1, 1, 1, uint8, rggb)));
    start(pictureFormat(4, 4));
    element.setupStop();
    element.setupStop();
    EXPECT_FALSE(process(pictureFormat(4, 4)));
    EXPECT_EQ(element.pool->freeBuffers(), 2);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(FFT1D, everyBufferGoesBackToThePoolAndTheLockIsFree) {
    start(pictureFormat(8, 8, 1, uint8, rggb));
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(process(pictureFormat(8, 8, 1, uint8, rggb)));
    EXPECT_EQ(element.pool->freeBuffers(), 2);
    EXPECT_TRUE(element.mutexIsFree());
}

} // namespace
