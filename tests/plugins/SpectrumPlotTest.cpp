// SPDX-License-Identifier: GPL-3.0-or-later
#include "SpectrumPlot.h"

#include "TestPictures.h"

#include <QApplication>
#include <QFontMetrics>
#include <QImage>
#include <QTest>
#include <qcustomplot.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

std::vector<QCPAxis*> axesOf(QCustomPlot& plot) {
    return {plot.xAxis, plot.xAxis2, plot.yAxis, plot.yAxis2};
}

/// A plot's picture, with old bytes in it before.
QImage drawn(SpectrumPlot& plot, int width, int height, const QVector<double>& amplitudes, double lower,
             double upper) {
    SzPicBufInfo format = pictureFormat(std::uint32_t(width), std::uint32_t(height), 4);
    format.isColor = true;
    format.linePitch = (format.linePitch + 255) / 256 * 256;
    SzPicBuf picture;
    EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, format, false));
    const int lineBytes = 4 * width;
    for (int y = 0; y < height; ++y)
        std::fill_n(picture.data + std::size_t(y) * picture.linePitch, lineBytes, std::uint8_t{0x55});
    QVector<double> x(amplitudes.size());
    for (int i = 0; i < x.size(); ++i)
        x[i] = i / (2.0 * x.size());
    EXPECT_TRUE(plot.draw(picture, x, amplitudes, lower, upper));
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y)
        std::copy_n(picture.data + std::size_t(y) * picture.linePitch, lineBytes, image.scanLine(y));
    CzPicBufAPI::FreePicBuf(picture, true);
    return image;
}

QVector<double> decay(int points) {
    QVector<double> amplitudes(points);
    for (int i = 0; i < points; ++i)
        amplitudes[i] = 100.0 * std::exp(-i * 5.0 / points);
    return amplitudes;
}

// ---- How it begins ----

TEST(SpectrumPlotLook, axesAreLabelledInTheColoursOfTheApplication) {
    SpectrumPlot spectrum;
    QCustomPlot& plot = spectrum.plot();
    const QPalette palette = QApplication::palette();
    const QColor text = palette.color(QPalette::WindowText);
    EXPECT_EQ(plot.parent(), nullptr);
    EXPECT_TRUE(plot.isHidden());
    EXPECT_TRUE(plot.plottingHints().testFlag(QCP::phFastPolylines));
    ASSERT_EQ(plot.graphCount(), 1);
    EXPECT_EQ(plot.graph()->pen().color(), text);
    EXPECT_EQ(plot.xAxis->label(), "periods/pixel");
    EXPECT_EQ(plot.xAxis2->label(), "pixels/period");
    EXPECT_EQ(plot.yAxis->label(), "amplitude");
    for (QCPAxis* const axis : {plot.xAxis, plot.xAxis2, plot.yAxis}) {
        EXPECT_TRUE(axis->visible());
        EXPECT_TRUE(axis->ticks());
        EXPECT_TRUE(axis->tickLabels());
        EXPECT_EQ(axis->basePen(), plot.graph()->pen());
        EXPECT_EQ(axis->tickPen(), plot.graph()->pen());
        EXPECT_EQ(axis->subTickPen(), plot.graph()->pen());
        EXPECT_EQ(axis->labelColor(), text);
        EXPECT_EQ(axis->tickLabelColor(), text);
        EXPECT_EQ(axis->labelFont(), axis->tickLabelFont());
        EXPECT_DOUBLE_EQ(axis->labelFont().pointSizeF(), QCustomPlot().xAxis->labelFont().pointSizeF() + 1.0);
    }
    EXPECT_TRUE(plot.yAxis2->visible());
    EXPECT_FALSE(plot.yAxis2->ticks());
    EXPECT_FALSE(plot.yAxis2->subTicks());
    EXPECT_FALSE(plot.yAxis2->tickLabels());
    EXPECT_EQ(plot.yAxis2->basePen(), plot.graph()->pen());
    EXPECT_EQ(drawn(spectrum, 200, 100, {}, 0, 1).pixelColor(0, 0), palette.color(QPalette::Base));
}

TEST(SpectrumPlotLook, replotThatTheLibraryQueuesIsCancelled) {
    SpectrumPlot spectrum;
    int replots = 0;
    QObject::connect(&spectrum.plot(), &QCustomPlot::afterReplot, [&] { ++replots; });
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    EXPECT_EQ(replots, 0);
}

TEST(SpectrumPlotLook, gridIsDottedAndItsZeroLineFollowsTheScale) {
    SpectrumPlot spectrum;
    QCustomPlot& plot = spectrum.plot();
    const QPen zeroLine = QCustomPlot().yAxis->grid()->zeroLinePen();
    EXPECT_EQ(plot.xAxis->grid()->pen().style(), Qt::DotLine);
    EXPECT_EQ(plot.yAxis->grid()->pen().style(), Qt::DotLine);
    EXPECT_FALSE(spectrum.isLogarithmicY());
    EXPECT_EQ(plot.yAxis->grid()->zeroLinePen(), zeroLine);
    EXPECT_TRUE(plot.yAxis->subTicks());
    spectrum.setLogarithmicY(true);
    EXPECT_TRUE(spectrum.isLogarithmicY());
    EXPECT_EQ(plot.yAxis->scaleType(), QCPAxis::stLogarithmic);
    EXPECT_EQ(plot.yAxis->grid()->zeroLinePen(), plot.yAxis->grid()->pen());
    EXPECT_FALSE(plot.yAxis->subTicks());
    spectrum.setLogarithmicY(false);
    EXPECT_EQ(plot.yAxis->scaleType(), QCPAxis::stLinear);
    EXPECT_EQ(plot.yAxis->grid()->zeroLinePen(), zeroLine);
    EXPECT_TRUE(plot.yAxis->subTicks());
}

TEST(SpectrumPlotLook, gridsAreShownOrHiddenEachForItself) {
    SpectrumPlot spectrum;
    EXPECT_TRUE(spectrum.isGridXShown());
    EXPECT_TRUE(spectrum.isGridYShown());
    spectrum.setGridXShown(false);
    EXPECT_FALSE(spectrum.isGridXShown());
    EXPECT_TRUE(spectrum.isGridYShown());
    EXPECT_FALSE(spectrum.plot().xAxis->grid()->visible());
    spectrum.setGridXShown(true);
    spectrum.setGridYShown(false);
    EXPECT_TRUE(spectrum.isGridXShown());
    EXPECT_FALSE(spectrum.isGridYShown());
    EXPECT_FALSE(spectrum.plot().yAxis->grid()->visible());
}

// ---- Scaled to the picture ----

struct Scaled {
    int width, height;
    double font, pen;
    int tick, subTick, margin;
};

class SpectrumPlotScale : public testing::TestWithParam<Scaled> {};
INSTANTIATE_TEST_SUITE_P(All, SpectrumPlotScale,
                         testing::Values(Scaled{640, 480, 15.0, 1.0, 4, 1, 80},
                                         Scaled{1280, 1024, 20.48, 1.28, 8, 3, 160},
                                         Scaled{100, 64, 15.0, 1.0, 1, 1, 12}),
                         [](const auto& test) {
                             return std::to_string(test.param.width) + "x" +
                                    std::to_string(test.param.height);
                         });

TEST_P(SpectrumPlotScale, fontsPensTicksAndMargin) {
    const Scaled& expected = GetParam();
    SpectrumPlot spectrum;
    spectrum.prepare(3000, 2000); // of an earlier picture
    spectrum.prepare(expected.width, expected.height);
    QCustomPlot& plot = spectrum.plot();
    for (QCPAxis* const axis : axesOf(plot)) {
        EXPECT_DOUBLE_EQ(axis->labelFont().pointSizeF(), expected.font);
        EXPECT_DOUBLE_EQ(axis->tickLabelFont().pointSizeF(), expected.font);
        EXPECT_DOUBLE_EQ(axis->basePen().widthF(), expected.pen);
        EXPECT_DOUBLE_EQ(axis->tickPen().widthF(), expected.pen);
        EXPECT_DOUBLE_EQ(axis->subTickPen().widthF(), expected.pen);
        EXPECT_EQ(axis->basePen().color(), plot.graph()->pen().color());
        EXPECT_EQ(axis->tickLengthIn(), expected.tick);
        EXPECT_EQ(axis->tickLengthOut(), 0);
    }
    for (QCPAxis* const axis : {plot.xAxis, plot.yAxis}) {
        EXPECT_EQ(axis->subTickLengthIn(), expected.subTick);
        EXPECT_EQ(axis->subTickLengthOut(), 0);
        EXPECT_DOUBLE_EQ(axis->grid()->pen().widthF(), expected.pen);
        EXPECT_EQ(axis->grid()->pen().style(), Qt::DotLine);
    }
    EXPECT_EQ(plot.axisRect()->margins().left(), expected.margin);
    EXPECT_EQ(plot.axisRect()->autoMargins(), QCP::msRight | QCP::msTop | QCP::msBottom);
    const QImage image = drawn(spectrum, expected.width, expected.height, decay(50), 0, 100);
    EXPECT_EQ(plot.axisRect()->left(), expected.margin);
}

TEST(SpectrumPlotAxes, frequenciesFromZeroToAHalf) {
    SpectrumPlot spectrum;
    spectrum.prepare(640, 480);
    QCustomPlot& plot = spectrum.plot();
    EXPECT_EQ(plot.xAxis->range(), QCPRange(0, 0.5));
    EXPECT_EQ(plot.xAxis2->range(), QCPRange(0, 0.5));
    auto* const frequencies = dynamic_cast<QCPAxisTickerText*>(plot.xAxis->ticker().data());
    ASSERT_TRUE(frequencies);
    double position = 0.0;
    for (const char* const label : {"0", "0.1", "0.2", "0.3", "0.4", "0.5"}) {
        EXPECT_EQ(frequencies->ticks().value(position), QLatin1String(label));
        position += 0.1;
    }
    EXPECT_EQ(frequencies->ticks().size(), 6);
}

TEST(SpectrumPlotAxes, frequenciesAreWrittenAsTheUserWritesThem) {
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German));
    SpectrumPlot spectrum;
    spectrum.prepare(640, 480);
    QLocale::setDefault(before);
    EXPECT_EQ(dynamic_cast<QCPAxisTickerText*>(spectrum.plot().xAxis->ticker().data())->ticks().value(0.1),
              "0,1");
}

TEST(SpectrumPlotAxes, periodsStandBeyondTheirAxisSoThatNoneIsSeen) {
    SpectrumPlot spectrum;
    spectrum.prepare(640, 480);
    auto* const periods = dynamic_cast<QCPAxisTickerText*>(spectrum.plot().xAxis2->ticker().data());
    ASSERT_TRUE(periods);
    const QMap<double, QString> expected{
        {2.0, "2"}, {2.5, "2.5"}, {10.0 / 3.0, "3.33"},
        {5.0, "5"}, {10.0, "10"}, {std::numeric_limits<double>::max(), QStringLiteral("\u221E")}};
    EXPECT_EQ(periods->ticks(), expected);
    EXPECT_GT(periods->ticks().firstKey(), spectrum.plot().xAxis2->range().upper);
}

TEST(SpectrumPlotAxes, thereIsAFontWithInfinityAndSuperscripts) {
    const QFontMetrics metrics(SpectrumPlot().plot().xAxis->labelFont());
    for (const QChar character :
         QStringLiteral("\u221E\u2070\u00B9\u00B2\u00B3\u2074\u2075\u2076\u2077\u2078\u2079"))
        EXPECT_TRUE(metrics.inFont(character)) << std::hex << character.unicode();
}

// ---- Pictures ----

TEST(SpectrumPlotPicture, isOpaqueAndCoversEverythingThatWasThere) {
    SpectrumPlot spectrum;
    spectrum.prepare(320, 240);
    const QImage image = drawn(spectrum, 320, 240, decay(100), 0, 100);
    for (int y = 0; y < 240; ++y)
        for (int x = 0; x < 320; ++x) {
            ASSERT_EQ(qAlpha(image.pixel(x, y)), 255);
            ASSERT_NE(image.pixel(x, y), 0x55555555U);
        }
}

TEST(SpectrumPlotPicture, highestAmplitudeReachesTheTopOfItsRange) {
    SpectrumPlot spectrum;
    spectrum.prepare(640, 480);
    spectrum.setGridXShown(false);
    spectrum.setGridYShown(false);
    QVector<double> amplitudes(320, 0.0);
    amplitudes[160] = 50.0;
    const QImage image = drawn(spectrum, 640, 480, amplitudes, 0, 100);
    const QRect axes = spectrum.plot().axisRect()->rect();
    const int middle = axes.left() + qRound(0.5 * axes.width());
    int highest = image.height();
    for (int y = axes.bottom() - 2; y > axes.top() + 2; --y)
        for (int x = middle - 3; x <= middle + 3; ++x)
            if (qGray(image.pixel(x, y)) < 200)
                highest = std::min(highest, y);
    EXPECT_NEAR(highest, axes.center().y(), 3);
}

TEST(SpectrumPlotPicture, amplitudeAxisHasTheTicksOfItsRangeOrTheLibrarys) {
    SpectrumPlot spectrum;
    spectrum.prepare(640, 480);
    const auto textTicker = [&] {
        return dynamic_cast<QCPAxisTickerText*>(spectrum.plot().yAxis->ticker().data());
    };
    drawn(spectrum, 640, 480, decay(10), 0, 400000);
    ASSERT_TRUE(textTicker());
    EXPECT_EQ(textTicker()->ticks().size(), 5);
    EXPECT_EQ(spectrum.plot().yAxis->range(), QCPRange(0, 400000));
    drawn(spectrum, 640, 480, decay(10), 0, 0.5);
    EXPECT_FALSE(textTicker());
    drawn(spectrum, 640, 480, decay(10), 0, infinity);
    EXPECT_FALSE(textTicker());
    spectrum.setLogarithmicY(true);
    drawn(spectrum, 640, 480, decay(10), 0.5, 2000);
    ASSERT_TRUE(textTicker());
    EXPECT_EQ(textTicker()->ticks().size(), 4);
}

TEST(SpectrumPlotPicture, rangesThatNoAxisCanHaveDoNotShowAnEarlierOne) {
    for (const bool isLogarithmic : {false, true})
        for (const auto& [lower, upper] : {std::pair{0.0, 0.0},
                                           {std::numeric_limits<double>::max(), 0.0},
                                           {5.0, 5.0},
                                           {0.0, infinity},
                                           {-infinity, 0.0},
                                           {std::nan(""), 1.0},
                                           {0.0, std::nan("")},
                                           {-1e300, 1e300}}) {
            SpectrumPlot fresh;
            fresh.setLogarithmicY(isLogarithmic);
            fresh.prepare(160, 120);
            SpectrumPlot used;
            used.setLogarithmicY(isLogarithmic);
            used.prepare(160, 120);
            drawn(used, 160, 120, decay(60), 0, 77777);
            EXPECT_EQ(drawn(used, 160, 120, {0, 0, 0}, lower, upper),
                      drawn(fresh, 160, 120, {0, 0, 0}, lower, upper))
                << lower << " ... " << upper;
        }
}

TEST(SpectrumPlotPicture, hostileRangesAreDrawnInNoTime) {
    SpectrumPlot spectrum;
    spectrum.prepare(160, 120);
    for (const bool isLogarithmic : {false, true}) {
        spectrum.setLogarithmicY(isLogarithmic);
        for (const auto& [lower, upper] : {std::pair{-1e6, 100.0},
                                           {-1e6, -1e5},
                                           {1e6, 1e7},
                                           {0.0, 1e249},
                                           {-1e249, 1e249},
                                           {1e-249, 1e249},
                                           {10.0, 5.0},
                                           {-1e6, 1e7},
                                           {0.0, 1e300},
                                           {100.0, 100.0 + 1e-12}})
            EXPECT_FALSE(drawn(spectrum, 160, 120, decay(60), lower, upper).isNull());
    }
    EXPECT_FALSE(drawn(spectrum, 160, 120, {infinity, std::nan(""), 1e300, -1e300}, 0, 1).isNull());
}

TEST(SpectrumPlotPicture, tinyPicturesAreDrawnToo) {
    for (const bool isLogarithmic : {false, true})
        for (int size = 1; size <= 64; size += size < 8 ? 1 : 7) {
            SpectrumPlot spectrum;
            spectrum.setLogarithmicY(isLogarithmic);
            for (const auto& [width, height] : {std::pair{size, size}, {size, 1}, {1, size}, {200, size}}) {
                spectrum.prepare(width, height);
                const QImage image = drawn(spectrum, width, height, decay(size / 2), 0, 100);
                EXPECT_EQ(qAlpha(image.pixel(width - 1, height - 1)), 255);
            }
        }
}

/// Where something else than the background was drawn.
QRect inked(const QImage& image) {
    const QRgb background = QApplication::palette().color(QPalette::Base).rgb();
    QRect ink;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixel(x, y) != background && image.pixel(x, y) != 0x55555555U)
                ink |= QRect(x, y, 1, 1);
    return ink;
}

TEST(SpectrumPlotPicture, showsNoOldBytesBeyondWhatQtCanDrawAtOnce) {
    for (const auto& [width, height] : {std::pair{1, 40000}, {40000, 1}, {32768, 2}}) {
        SpectrumPlot spectrum;
        spectrum.prepare(width, height);
        const QImage image = drawn(spectrum, width, height, {}, 0, 1);
        bool isOpaque = true;
        bool hasOldBytes = false;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                isOpaque = isOpaque && qAlpha(image.pixel(x, y)) == 255;
                hasOldBytes = hasOldBytes || image.pixel(x, y) == 0x55555555U;
            }
        EXPECT_TRUE(isOpaque) << width << " x " << height;
        EXPECT_FALSE(hasOldBytes) << width << " x " << height;
    }
}

TEST(SpectrumPlotPicture, frameReachesTheEndsOfAVeryWideOne) {
    SpectrumPlot spectrum;
    spectrum.prepare(40000, 100);
    const QRect ink = inked(drawn(spectrum, 40000, 100, decay(50), 0, 100));
    EXPECT_GT(ink.right(), 39900); // the line on the right
}

TEST(SpectrumPlotPicture, isTheSameWhetherQtCanDrawItAtOnceOrNot) {
    // Two parts; what lies in the first one is also drawn alone.
    SpectrumPlot spectrum;
    spectrum.prepare(17000, 60);
    const QImage parts = drawn(spectrum, 17000, 60, decay(50), 0, 100);
    QImage whole(17000, 60, QImage::Format_ARGB32_Premultiplied);
    QCPPainter painter(&whole);
    spectrum.plot().toPainter(&painter, 17000, 60);
    painter.end();
    EXPECT_EQ(parts, whole.convertToFormat(QImage::Format_ARGB32));
}

TEST(SpectrumPlotPicture, sizesThatNoImageHasAreRefusedAndNothingIsDrawn) {
    SpectrumPlot spectrum;
    std::uint32_t pixel = 0x55555555U;
    SzPicBuf picture;
    picture.data = reinterpret_cast<std::uint8_t*>(&pixel);
    for (const auto& [width, height, pitch] :
         {std::tuple{1U, 1U, 1U << 31}, {1U, 1U << 31, 4U}, {1U << 31, 1U, 4U}}) {
        picture.width = width;
        picture.height = height;
        picture.linePitch = pitch;
        EXPECT_FALSE(spectrum.draw(picture, {}, {}, 0, 1));
    }
    EXPECT_EQ(pixel, 0x55555555U);
    picture.data = nullptr;
}

TEST(SpectrumPlotPicture, isOpaqueWhateverTheApplicationsColours) {
    const QPalette before = QApplication::palette();
    QPalette glass = before;
    glass.setColor(QPalette::Base, QColor(10, 200, 30, 40));
    glass.setColor(QPalette::WindowText, QColor(200, 10, 30, 60));
    QApplication::setPalette(glass);
    SpectrumPlot spectrum;
    QApplication::setPalette(before);
    spectrum.prepare(160, 120);
    const QImage image = drawn(spectrum, 160, 120, decay(60), 0, 100);
    EXPECT_EQ(image.pixelColor(0, 0), QColor(10, 200, 30));
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 160; ++x)
            ASSERT_EQ(qAlpha(image.pixel(x, y)), 255);
}

TEST(SpectrumPlotPicture, isTheSameDrawnAgainOnWhateverThread) {
    SpectrumPlot spectrum;
    for (const bool isLogarithmic : {false, true}) {
        spectrum.setLogarithmicY(isLogarithmic);
        spectrum.prepare(640, 480);
        QImage onWorker;
        std::thread worker([&] { onWorker = drawn(spectrum, 640, 480, decay(320), 0.01, 100); });
        worker.join();
        EXPECT_EQ(drawn(spectrum, 640, 480, decay(320), 0.01, 100), onWorker);
        EXPECT_EQ(drawn(spectrum, 640, 480, decay(320), 0.01, 100), onWorker);
    }
}

} // namespace
