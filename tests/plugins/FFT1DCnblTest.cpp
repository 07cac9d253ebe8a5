// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DCnbl.h"

#include "ElementTest.h"
#include "FFT1DKernels.h"
#include "FFT1DWidget.h"

#include <QApplication>
#include <QDomDocument>
#include <QMetaClassInfo>
#include <qcustomplot.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
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

bool loadChanged(CzFFT1DCnbl& element, const QMap<QString, QString>& changes) {
    QDomDocument document;
    return element.loadSettings(settingsWith(document, changes));
}

class FFT1D : public ElementTest<Element> {
protected:
    void start(const SzPicBufInfo& format, const CzImageMetadata& metadata = CzImageMetadata()) {
        element.setInput(format, metadata);
        element.setupStop();
        element.setupStart();
        if (!element.pool)
            element.usePool(2, pictureFormat(128, 128, 4));
    }

    using ElementTest::process;
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

    /// The element's own plot, the only one that there is between two calls.
    static QCustomPlot& plot() {
        QCustomPlot* found = nullptr;
        for (QWidget* const widget : QApplication::topLevelWidgets())
            if (auto* const candidate = qobject_cast<QCustomPlot*>(widget)) {
                EXPECT_EQ(found, nullptr);
                found = candidate;
            }
        return *found;
    }

    /// What is plotted: as many positions as amplitudes.
    static std::vector<double> plottedX() {
        std::vector<double> all;
        for (const QCPGraphData& point : *plot().graph()->data())
            all.push_back(point.key);
        return all;
    }
    static std::vector<double> plottedAmplitudes() {
        std::vector<double> all;
        for (const QCPGraphData& point : *plot().graph()->data())
            all.push_back(point.value);
        return all;
    }

    static void expectAmplitudes(const std::vector<double>& expected, double tolerance = 1e-4) {
        const std::vector<double> found = plottedAmplitudes();
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i)
            EXPECT_NEAR(found[i], expected[i], tolerance) << i;
    }

    static void expectRange(double lower, double upper) {
        EXPECT_NEAR(plot().yAxis->range().lower, lower, 1e-3);
        EXPECT_NEAR(plot().yAxis->range().upper, upper, 1e-3);
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

    /// The amplitude of a frequency, from its definition.
    static double amplitudeOf(const std::vector<std::uint8_t>& samples, int frequency) {
        constexpr double pi = 3.14159265358979323846;
        std::complex<double> sum;
        for (std::size_t x = 0; x < samples.size(); ++x)
            sum += std::polar(double(samples[x]), -2 * pi * frequency * double(x) / double(samples.size()));
        return std::abs(sum);
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
    EXPECT_TRUE(loadChanged(element, {{"channel", "3"},
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

TEST_F(FFT1D, takesPicturesFromOneImageProvider) {
    CzFFT1DCnbl provider;
    QObject other;
    EXPECT_TRUE(element.acceptsPredecessor(&provider));
    EXPECT_FALSE(element.acceptsPredecessor(&other));
    EXPECT_FALSE(element.acceptsPredecessor(nullptr));
    EXPECT_EQ(element.maxPredecessors(), 1);
}

TEST_F(FFT1D, captionOfABandBeyondTheFirstZoneIsMono) {
    start(pictureFormat(8, 8, 1, uint8, mosaic), hyperspectral({filterZone(2, 2), filterZone(2, 2)}));
    element.setChannel(3);
    EXPECT_EQ(element.caption(), "FFT 1D(band 3, cols)");
    element.setChannel(4);
    EXPECT_EQ(element.caption(), "FFT 1D(Mono, cols)");
}

TEST_F(FFT1D, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzFFT1DWidget*>(widget.get()));
}

// ---- Settings ----

TEST_F(FFT1D, savesNineSettings) {
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
    EXPECT_TRUE(loadChanged(element, {{"channel", "-7"},
                                      {"transtype", "2"},
                                      {"includeDC", "0"},
                                      {"logarY", "1"},
                                      {"gridX", "0"},
                                      {"gridY", "0"},
                                      {"autoScaleY", "0"},
                                      {"minY", "-1234.0625"},
                                      {"maxY", "1e300"}}));
    CzFFT1DCnbl other;
    EXPECT_TRUE(other.loadSettings(saved()));
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
    EXPECT_TRUE(loadChanged(
        element, {{"includeDC", "many"}, {"gridX", "-3"}, {"logarY", "2"}, {"autoScaleY", "true"}}));
    EXPECT_FALSE(element.includeDC());
    EXPECT_TRUE(element.gridX());
    EXPECT_TRUE(element.logarithmicY());
    EXPECT_FALSE(element.autoScaleY());
    EXPECT_TRUE(loadChanged(element, {{"channel", "word"}, {"minY", "word"}}));
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
        EXPECT_FALSE(loadChanged(fresh, changes)) << missing.toStdString();
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
    EXPECT_FALSE(loadChanged(element, {{"state", "neither"}, {"channel", "2"}}));
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
    loadChanged(element, {{"channel", "3"}});
    element.setupStart(); // no input is known: not the first one
    start(pictureFormat(8, 8, 1, uint8, rggb));
    EXPECT_EQ(element.channel(), 3);
    start(pictureFormat(8, 8, 1, uint8, EzColorFilterArray::BayerBGGR));
    EXPECT_EQ(element.channel(), -1);
    start(pictureFormat(8, 8, 3));
    EXPECT_EQ(element.channel(), 0);
}

// ---- Plots ----

struct Plotted {
    int length;
    bool includeDC;
    std::vector<int> frequencies;
};

TEST_F(FFT1D, plotsTheFrequenciesFromZeroOnWithoutTheLastOrFromOneOn) {
    element.setTranstype(0);
    for (const Plotted& expected : {Plotted{1, true, {}},
                                    {1, false, {}},
                                    {2, true, {0}},
                                    {2, false, {}},
                                    {3, true, {0}},
                                    {3, false, {1}},
                                    {4, true, {0, 1}},
                                    {4, false, {1}},
                                    {5, true, {0, 1}}, // the last one is dropped
                                    {5, false, {1, 2}},
                                    {6, true, {0, 1, 2}},
                                    {6, false, {1, 2}},
                                    {7, true, {0, 1, 2}},
                                    {7, false, {1, 2, 3}}}) {
        SCOPED_TRACE(std::to_string(expected.length) + (expected.includeDC ? " with 0" : " without 0"));
        const std::vector<std::uint8_t> all{10, 0, 200, 7, 90, 33, 1};
        const std::vector<std::uint8_t> samples(all.begin(), all.begin() + expected.length);
        element.setIncludeDC(expected.includeDC);
        start(pictureFormat(std::uint32_t(expected.length), 1));
        ASSERT_TRUE(process(row(samples)));
        std::vector<double> amplitudes;
        for (const int frequency : expected.frequencies)
            amplitudes.push_back(amplitudeOf(samples, frequency));
        expectAmplitudes(amplitudes);
        if (amplitudes.empty())
            continue;
        const auto [smallest, largest] = std::minmax_element(amplitudes.begin(), amplitudes.end());
        if (amplitudes.size() > 1)
            expectRange(*smallest, *largest);
    }
}

TEST_F(FFT1D, pointsShareTheWholeAxisWhateverTheirFrequency) {
    element.setTranstype(0);
    for (const auto& [width, includeDC, points] :
         {std::tuple{640U, true, 320}, {640U, false, 319}, {641U, true, 320}, {641U, false, 320}}) {
        element.setIncludeDC(includeDC);
        start(pictureFormat(width, 4));
        element.usePool(2, pictureFormat(704, 4, 4));
        ASSERT_TRUE(process(pictureFormat(width, 4)));
        const std::vector<double> x = plottedX();
        ASSERT_EQ(x.size(), std::size_t(points));
        for (int i = 0; i < points; ++i)
            EXPECT_EQ(x[std::size_t(i)], i / (2.0 * points)) << width << " at " << i;
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
    ASSERT_TRUE(process(stripes(64, 48)));
    std::vector<double> amplitudes(32, 0.0);
    amplitudes[0] = 20.0 * 64;
    amplitudes[16] = 320.0 * std::sqrt(2.0); // a fourth of the samples' frequency
    expectAmplitudes(amplitudes);
    expectRange(0, 1280);

    element.setIncludeDC(false);
    start(pictureFormat(64, 48));
    ASSERT_TRUE(process(stripes(64, 48)));
    amplitudes = std::vector<double>(31, 0.0);
    amplitudes[15] = 320.0 * std::sqrt(2.0);
    expectAmplitudes(amplitudes);
    expectRange(0, 320.0 * std::sqrt(2.0));
}

TEST_F(FFT1D, meanOfColumnsOfTheSamePictureIsFlat) {
    element.setTranstype(1);
    start(pictureFormat(64, 48));
    ASSERT_TRUE(process(stripes(64, 48)));
    std::vector<double> amplitudes(24, 0.0);
    amplitudes[0] = 20.0 * 48;
    expectAmplitudes(amplitudes, 0.0);
    expectRange(0, 960);
}

TEST_F(FFT1D, constantPictureWithoutItsMeanHasNoAmplitudeAtAll) {
    element.setIncludeDC(false);
    start(pictureFormat(64, 48));
    auto frame = numberedFrame(pictureFormat(64, 48));
    std::fill_n(frame->picBuf().data, 64 * 48, std::uint8_t{77});
    ASSERT_TRUE(process(std::move(frame)));
    expectAmplitudes(std::vector<double>(23, 0.0), 0.0);
    expectRange(0, 1); // an axis cannot have the range from 0 to 0
}

TEST_F(FFT1D, pictureIsThatOfItsPlot) {
    element.setTranstype(0);
    start(pictureFormat(320, 240));
    element.usePool(2, pictureFormat(320, 240, 4));
    const auto output = process(stripes(320, 240));
    ASSERT_TRUE(output);
    EXPECT_GT(plot().axisRect()->width(), 100);
    QVector<double> amplitudes(160, 0.0);
    amplitudes[0] = 20.0 * 320;
    amplitudes[80] = 1600.0 * std::sqrt(2.0);
    EXPECT_EQ(pixels(output->picBuf()), expectedPlot(320, 240, amplitudes, 0, 6400));
    EXPECT_NE(pixels(output->picBuf()), expectedPlot(320, 240, QVector<double>(160, 0.0), 0, 6400));
}

TEST_F(FFT1D, amplitudeAxisHasTheFixedRangeWhereThePlotDoesNotChooseIt) {
    start(pictureFormat(64, 48));
    EXPECT_TRUE(
        loadChanged(element, {{"channel", "0"}, {"autoScaleY", "0"}, {"minY", "-5"}, {"maxY", "2500"}}));
    ASSERT_TRUE(process(stripes(64, 48)));
    expectRange(-5, 2500);
    element.setMinY(100.0);
    ASSERT_TRUE(process(stripes(64, 48)));
    expectRange(100, 2500);
    element.setAutoScaleY(true);
    ASSERT_TRUE(process(stripes(64, 48)));
    expectRange(0, 960);
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
    const SzPicBufInfo format = pictureFormat(320, 240);
    start(format);
    element.usePool(2, pictureFormat(320, 240, 4));
    const auto shown = [&] { return pixels(process(format)->picBuf()); };
    const auto plain = shown();
    element.setAutoScaleY(false);
    EXPECT_NE(shown(), plain);
    element.setAutoScaleY(true);
    EXPECT_EQ(shown(), plain);
    element.setLogarithmicY(true);
    EXPECT_NE(shown(), plain);
    element.setLogarithmicY(false);
    EXPECT_EQ(shown(), plain);
    element.setGridX(false);
    const auto withoutGridX = shown();
    EXPECT_NE(withoutGridX, plain);
    element.setGridX(true);
    element.setGridY(false);
    EXPECT_NE(shown(), plain);
    EXPECT_NE(shown(), withoutGridX);
    element.setGridY(true);
    EXPECT_EQ(shown(), plain);
}

TEST_F(FFT1D, subPlanesAreAnalysedInTheirOwnSize) {
    // 64 x 8: the profile of a plane has half of its rows.
    const SzPicBufInfo bayer = pictureFormat(64, 8, 1, uint8, rggb);
    loadChanged(element, {{"channel", "2"}, {"transtype", "1"}});
    start(bayer);
    auto frame = numberedFrame(bayer);
    for (std::uint32_t y = 0; y < 8; ++y)
        for (std::uint32_t x = 0; x < 64; ++x)
            frame->picBuf().data[y * 64 + x] = y == 1 && x % 2 == 0 ? 60 : 0; // a pulse in plane 2 alone
    ASSERT_TRUE(process(std::move(frame)));
    expectAmplitudes({60, 60}, 0.0);
    element.setChannel(1);
    start(bayer);
    ASSERT_TRUE(process(bayer));
    EXPECT_EQ(plottedAmplitudes().size(), 2U);
    EXPECT_GT(plottedAmplitudes()[0], 60.0);
    element.setChannel(-1);
    start(bayer);
    ASSERT_TRUE(process(bayer));
    EXPECT_EQ(plottedAmplitudes().size(), 4U);
}

TEST_F(FFT1D, bandsAreAnalysedInTheirOwnSize) {
    for (const EzImageDataType type : {uint8, uint16}) {
        const SzPicBufInfo format = pictureFormat(4, 8, 1, type, mosaic); // 1 2 3 4 / 5 6 7 8 / ...
        const CzImageMetadata metadata = hyperspectral({filterZone(4, 2)});
        start(format, metadata);
        element.setChannel(5); // the second column of every other row: 6, 14, 22, 30
        start(format, metadata);
        ASSERT_TRUE(process(format, metadata));
        expectAmplitudes({72, 16 * std::sqrt(2.0)});
    }
}

TEST_F(FFT1D, colourComponentsAreAnalysedInTheOrderInWhichTheyAreStored) {
    const SzPicBufInfo format = pictureFormat(2, 2, 3); // 1 2 3, 4 5 6 / 7 8 9, 10 11 12
    for (const auto& [channel, sum] : {std::pair{0, 11.0}, {1, 13.0}, {2, 15.0}}) {
        start(format);
        element.setChannel(channel);
        ASSERT_TRUE(process(format));
        expectAmplitudes({sum}); // of the means of both rows
    }
}

TEST_F(FFT1D, channelsThatTheInputDoesNotHaveAreFlat) {
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
    const CzImageMetadata bands = hyperspectral({filterZone(2, 2)});
    struct Case {
        SzPicBufInfo format;
        std::int32_t channel;
    };
    for (const Case& test :
         {Case{pictureFormat(8, 8, 3), 3}, Case{pictureFormat(8, 8, 3), most},
          Case{pictureFormat(8, 8, 1, uint8, rggb), 16}, Case{pictureFormat(8, 8, 1, uint8, rggb), most},
          Case{pictureFormat(8, 8, 1, uint16, mosaic), 4},
          Case{pictureFormat(8, 8, 1, uint16, mosaic), most}}) {
        start(test.format, bands);
        element.setChannel(test.channel);
        start(test.format, bands);
        ASSERT_TRUE(process(test.format, bands));
        for (const double amplitude : plottedAmplitudes())
            EXPECT_EQ(amplitude, 0.0) << test.channel;
    }
    // Below 0 a mosaic is analysed as it is, and other pictures have channel 0.
    for (const SzPicBufInfo& format : {pictureFormat(8, 8, 1, uint8, rggb), pictureFormat(8, 8)}) {
        start(format);
        element.setChannel(least);
        start(format);
        ASSERT_TRUE(process(format));
        ASSERT_EQ(plottedAmplitudes().size(), 4U);
        EXPECT_EQ(plottedAmplitudes()[0], 8 * 32.5); // 1 to 64
    }
}

TEST_F(FFT1D, zonesOrCellsOfZeroAreFlatInTheSizeOfThePicture) {
    auto noCell = filterZone(2, 2);
    noCell.cellWidth = noCell.cellHeight = 0;
    auto narrow = filterZone(2, 2);
    narrow.cellWidth = 0;
    for (const CzImageMetadata& metadata :
         {CzImageMetadata(), hyperspectral({}), hyperspectral({noCell}), hyperspectral({narrow})}) {
        const SzPicBufInfo format = pictureFormat(6, 8, 1, uint8, mosaic);
        start(format, metadata);
        element.setChannel(0);
        start(format, metadata);
        ASSERT_TRUE(process(format, metadata));
        expectAmplitudes({0, 0, 0, 0}, 0.0);
    }
}

TEST_F(FFT1D, cellLargerThanThePictureLeavesNothingToAnalyse) {
    const SzPicBufInfo format = pictureFormat(6, 8, 1, uint8, mosaic);
    const CzImageMetadata metadata = hyperspectral({filterZone(16, 16)});
    start(format, metadata);
    element.setChannel(0);
    start(format, metadata);
    EXPECT_FALSE(process(format, metadata));
    EXPECT_EQ(element.pool->freeBuffers(), 2);
}

TEST_F(FFT1D, typeTwoHasOneValuePerRowYetTheLengthOfTheWidth) {
    element.setTranstype(2);
    element.setIncludeDC(false);
    // Rows of 1 2 3 4 5 6, 7 8 ...: means 3.5 and 9.5, and nothing in the other four places.
    start(pictureFormat(6, 2));
    ASSERT_TRUE(process(pictureFormat(6, 2)));
    expectAmplitudes({std::abs(3.5 + std::polar(9.5, -3.14159265358979 / 3)),
                      std::abs(3.5 + std::polar(9.5, -2 * 3.14159265358979 / 3))});
    // Rows of 1, 2, ...: of six means the first two.
    element.setIncludeDC(true);
    start(pictureFormat(2, 6)); // 1 2 / 3 4: 1.5 and 3.5
    ASSERT_TRUE(process(pictureFormat(2, 6)));
    expectAmplitudes({5.0});
}

TEST_F(FFT1D, lengthsOfOneAndTwoGivePlotsWithOnePointOrNone) {
    for (const std::int32_t transtype : {0, 1, 2})
        for (const bool includeDC : {true, false})
            for (const std::uint32_t length : {1U, 2U}) {
                element.setTranstype(transtype);
                element.setIncludeDC(includeDC);
                const SzPicBufInfo format =
                    transtype == 1 ? pictureFormat(40, length) : pictureFormat(length, 40);
                start(format);
                ASSERT_TRUE(process(format));
                EXPECT_EQ(plottedX(),
                          length == 2 && includeDC ? std::vector<double>{0.0} : std::vector<double>{});
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
            EXPECT_TRUE(loadChanged(element, {{"autoScaleY", "0"},
                                              {"logarY", isLogarithmic ? "1" : "0"},
                                              {"channel", "0"},
                                              {"minY", bound}}));
            EXPECT_TRUE(process(pictureFormat(64, 48))) << bound;
            EXPECT_TRUE(loadChanged(element, {{"autoScaleY", "0"}, {"channel", "0"}, {"maxY", bound}}));
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
    EXPECT_TRUE(loadChanged(element, {{"includeDC", "0"}, {"transtype", "0"}, {"channel", "0"}}));
    EXPECT_TRUE(process(pictureFormat(64, 48)));
    EXPECT_TRUE(loadChanged(element, {{"transtype", "0"}, {"channel", "0"}}));
    start(pictureFormat(48, 64));
    EXPECT_TRUE(loadChanged(element, {{"transtype", "1"}, {"channel", "0"}}));
    EXPECT_TRUE(process(pictureFormat(48, 64)));
    start(pictureFormat(64, 48, 1, uint8, rggb));
    EXPECT_TRUE(loadChanged(element, {{"channel", "3"}}));
    EXPECT_FALSE(process(pictureFormat(64, 48, 1, uint8, rggb))); // there is no buffer for a plane
    EXPECT_EQ(element.pool->freeBuffers(), 2);
}

// ---- Failures ----

TEST_F(FFT1D, otherSampleTypesPassOnWithOneMessage) {
    start(pictureFormat(4, 4, 1, EzImageDataType::UInt32));
    for (const std::uint32_t number : {0U, 1U, 3U, 5U, 6U, 7U, 8U, 9U}) {
        const auto type = static_cast<EzImageDataType>(number);
        const auto frame = numberedFrame(pictureFormat(4, 4, 1, type));
        EXPECT_EQ(element.processData(frame.get()), frame.get());
        EXPECT_EQ(element.errorMessage(), "The input image data type is not supported.");
    }
}

TEST_F(FFT1D, formatAcceptsSmallSamplesThatProcessingDoesNot) {
    for (const std::uint32_t number : {0U, 1U, 3U, 9U}) {
        const SzPicBufInfo format = pictureFormat(4, 4, 1, static_cast<EzImageDataType>(number));
        SzPicBufInfo output;
        EXPECT_TRUE(element.outputImageInfo(format, output, nullptr, nullptr)) << number;
        EXPECT_EQ(output.dataType, uint8);
        start(format);
        const auto frame = numberedFrame(format);
        EXPECT_EQ(element.processData(frame.get()), frame.get()) << number;
    }
}

TEST_F(FFT1D, firstMessageStays) {
    class ReportingElement : public Element {
    public:
        using Element::setErrorMessage;
    };
    ReportingElement reporting;
    reporting.setErrorMessage("something earlier");
    const auto frame = numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt32));
    EXPECT_EQ(reporting.processData(frame.get()), frame.get());
    EXPECT_EQ(reporting.errorMessage(), "something earlier");
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
    loadChanged(element, {{"channel", "0"}});
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
