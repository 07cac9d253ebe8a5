// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFTImageData.h"
#include "HistogramPlot.h"
#include "PixelSpectrumPlot.h"
#include "ViewerFixture.h"

#include <QSignalSpy>
#include <QTest>
#include <qcustomplot.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace {

/// All samples of one value.
CzLinkTap::Picture flatPicture(double value, std::uint32_t channels = 1) {
    SzPicBufInfo format = pictureFormat(64, 48, channels, EzImageDataType::UInt8);
    format.isColor = channels == 3;
    auto picture = blackPicture(format);
    fillSamples(picture->picBuf(),
                [value](auto, auto, std::uint32_t channel) { return value + double(channel); });
    return picture;
}

TEST(HistogramPlot, CountsInTheBackground) {
    CzHistogramPlot plot;
    QSignalSpy changed(&plot, &CzHistogramPlot::changed);
    plot.setPicture(flatPicture(10, 3));
    EXPECT_TRUE(changed.isEmpty());
    ASSERT_TRUE(waitFor([&] { return !changed.isEmpty(); }));
    ASSERT_EQ(plot.histogram().channels.size(), 3);
    for (int colour = 0; colour < 3; ++colour) // red, green, blue
        EXPECT_EQ(plot.histogram().channels.at(colour).bins.at(12 - colour), 64U * 48U);
}

TEST(HistogramPlot, OfManyPicturesCountsTheNewest) {
    CzHistogramPlot plot;
    QSignalSpy changed(&plot, &CzHistogramPlot::changed);
    for (int i = 0; i < 100; ++i)
        plot.setPicture(flatPicture(i));
    ASSERT_TRUE(waitFor([&] {
        return !plot.histogram().channels.isEmpty() && plot.histogram().channels.first().bins.at(99) > 0;
    }));
    EXPECT_LE(changed.size(), 2);
}

TEST(HistogramPlot, IsEmptyWithoutAPictureAlsoWhenOneIsBeingCounted) {
    CzHistogramPlot plot;
    QSignalSpy changed(&plot, &CzHistogramPlot::changed);
    plot.setPicture(flatPicture(10));
    plot.setPicture(nullptr);
    ASSERT_TRUE(waitFor([&] { return changed.size() == 2; }));
    EXPECT_TRUE(plot.histogram().channels.isEmpty());
    plot.setPicture(flatPicture(20));
    ASSERT_TRUE(waitFor([&] { return !plot.histogram().channels.isEmpty(); }));
    EXPECT_EQ(plot.histogram().channels.first().bins.at(20), 64U * 48U);
}

/// The bins that are not empty, as the sample at their begin and their count.
std::vector<std::pair<double, std::uint32_t>> filledBins(const SzPlottedHistogram& histogram, int channel) {
    std::vector<std::pair<double, std::uint32_t>> filled;
    const QVector<std::uint32_t>& bins = histogram.counts.channels.at(channel).bins;
    for (int i = 0; i < bins.size(); ++i)
        if (bins.at(i) > 0)
            filled.emplace_back(histogram.first + i * histogram.binWidth, bins.at(i));
    return filled;
}

TEST(HistogramPlot, CountsFloatsBetweenTheSmallestAndTheLargest) {
    auto picture = blackPicture(pictureFormat(5, 1, 2, EzImageDataType::Float32));
    const double infinity = std::numeric_limits<double>::infinity();
    const std::vector<double> values{-0.001, 0.003, 0.001, infinity, std::nan("")};
    fillSamples(picture->picBuf(), [&](std::uint32_t x, auto, std::uint32_t channel) {
        return channel == 0 ? values[x] : 0.003;
    });
    CzHistogramPlot plot;
    QSignalSpy changed(&plot, &CzHistogramPlot::changed);
    plot.setPicture(std::move(picture));
    ASSERT_TRUE(waitFor([&] { return !changed.isEmpty(); }));
    ASSERT_EQ(plot.histogram().channels.size(), 2);
    EXPECT_NEAR(plot.plotted().first, -0.001, 1e-9);
    EXPECT_NEAR(plot.plotted().first + plot.histogram().binCount * plot.plotted().binWidth, 0.003, 1e-9);
    const auto first = filledBins(plot.plotted(), 0);
    ASSERT_EQ(first.size(), 3U); // neither infinities nor what is not a number
    EXPECT_NEAR(first[1].first, 0.001, plot.plotted().binWidth);
    const auto second = filledBins(plot.plotted(), 1);
    ASSERT_EQ(second.size(), 1U);
    EXPECT_EQ(second[0].second, 5U); // the largest is in the last bin
    EXPECT_EQ(plot.plotted().samples, QStringLiteral("sample"));
}

TEST(HistogramPlot, CountsTheLogarithmOfTheMagnitudeOfSpectra) {
    const SzPicBufInfo format = pictureFormat(3, 1, 1, EzImageDataType::SpectrumFloat32);
    auto spectrum = std::make_shared<CzFFTImageData>();
    HeapPicture real(format);
    HeapPicture imaginary(format);
    fillSamples(*real, [](std::uint32_t x, auto, auto) { return x == 0 ? 0.0 : 3e6; });
    fillSamples(*imaginary, [](std::uint32_t x, auto, auto) { return x == 0 ? 0.0 : -4e6; });
    spectrum->setPicBuf(real.release());
    SzPicBuf second = imaginary.release();
    ASSERT_TRUE(spectrum->setPicBufIm(second));
    CzHistogramPlot plot;
    QSignalSpy changed(&plot, &CzHistogramPlot::changed);
    plot.setPicture(spectrum);
    ASSERT_TRUE(waitFor([&] { return !changed.isEmpty(); }));
    const auto filled = filledBins(plot.plotted(), 0);
    ASSERT_EQ(filled.size(), 2U);
    EXPECT_EQ(filled[0], std::pair(0.0, 1U));
    EXPECT_NEAR(filled[1].first, std::log(1.0 + 5e6), 1.01 * plot.plotted().binWidth);
    EXPECT_EQ(filled[1].second, 2U);
    EXPECT_TRUE(plot.plotted().samples.contains(QStringLiteral("log")));
}

TEST(HistogramPlot, ShowsFlatFloatsAndSaysWhenThereIsNothingToCount) {
    CzHistogramPlot plot;
    QSignalSpy changed(&plot, &CzHistogramPlot::changed);
    for (const double value : {0.0, -7.0, 1e30, std::nan("")}) {
        auto picture = blackPicture(pictureFormat(3, 2, 1, EzImageDataType::Float32));
        fillSamples(picture->picBuf(), [value](auto, auto, auto) { return value; });
        changed.clear();
        plot.setPicture(std::move(picture));
        ASSERT_TRUE(waitFor([&] { return !changed.isEmpty(); }));
        if (std::isnan(value)) {
            EXPECT_TRUE(plot.histogram().channels.isEmpty());
            EXPECT_EQ(plot.plotted().samples, QStringLiteral("no sample is a number"));
        } else {
            const auto filled = filledBins(plot.plotted(), 0);
            ASSERT_EQ(filled.size(), 1U) << value;
            EXPECT_NEAR(filled[0].first, value, 0.01 * std::max(1.0, std::abs(value)));
            EXPECT_EQ(filled[0].second, 6U);
        }
    }
}

TEST(HistogramPlot, StandsPicturesThatHaveNone) {
    CzHistogramPlot plot;
    QSignalSpy changed(&plot, &CzHistogramPlot::changed);
    plot.setPicture(blackPicture(pictureFormat(3, 3, 1, EzImageDataType::Float64)));
    ASSERT_TRUE(waitFor([&] { return changed.size() == 1; }));
    plot.setPicture(std::make_shared<CzImageData>());
    ASSERT_TRUE(waitFor([&] { return changed.size() == 2; }));
    EXPECT_TRUE(plot.histogram().channels.isEmpty());
}

TEST(HistogramPlot, DrawsAllSampleTypes) {
    for (const EzImageDataType type : kernelSampleTypes()) {
        CzHistogramPlot plot;
        plot.resize(300, 200);
        QSignalSpy changed(&plot, &CzHistogramPlot::changed);
        plot.setPicture(picturePattern(pictureFormat(33, 17, 2, type)));
        ASSERT_TRUE(waitFor([&] { return !changed.isEmpty(); }));
        EXPECT_FALSE(plot.grab().isNull());
    }
}

/// Whether no two labels of an axis touch each other.
testing::AssertionResult labelsAreApart(QCPAxis& axis) {
    const QFontMetrics metrics(axis.tickLabelFont());
    const bool isUpright = axis.orientation() == Qt::Vertical;
    double end = -1e9;
    int shown = 0;
    QVector<std::pair<double, double>> places; // middle and half the extent
    for (int i = 0; i < axis.tickVector().size(); ++i) {
        if (!axis.range().contains(axis.tickVector().at(i)))
            continue;
        const QString label = axis.tickVectorLabels().at(i);
        places.append({axis.coordToPixel(axis.tickVector().at(i)),
                       (isUpright ? metrics.height() : metrics.horizontalAdvance(label)) / 2.0});
    }
    std::sort(places.begin(), places.end());
    for (const auto& [middle, half] : places) {
        if (middle - half < end)
            return testing::AssertionFailure() << (isUpright ? "y" : "x") << " label " << shown;
        end = middle + half;
        ++shown;
    }
    if (shown < 1)
        return testing::AssertionFailure() << "no label";
    return testing::AssertionSuccess();
}

TEST(HistogramPlot, TickLabelsHaveRoom) {
    for (const QSize& size : {QSize(360, 230), QSize(180, 120), QSize(1200, 700)})
        for (const SzPicBufInfo& format : {pictureFormat(640, 480, 5, EzImageDataType::UInt16),
                                           pictureFormat(1, 1, 1, EzImageDataType::UInt8),
                                           pictureFormat(64, 48, 1, EzImageDataType::Float32),
                                           pictureFormat(1024, 1024, 1, EzImageDataType::UInt8)}) {
            CzHistogramPlot plot;
            plot.resize(size);
            showOnScreen(plot);
            QSignalSpy changed(&plot, &CzHistogramPlot::changed);
            plot.setPicture(picturePattern(format));
            ASSERT_TRUE(waitFor([&] { return !changed.isEmpty(); }));
            auto& shown = *plot.findChild<QCustomPlot*>();
            shown.replot();
            for (QCPAxis* const axis : {shown.xAxis, shown.yAxis})
                EXPECT_TRUE(labelsAreApart(*axis)) << formatName(format) << " in " << size.width();
        }
}

QVector<SzSpectrumPoint> threeBands(bool withWavelengths) {
    return {{QStringLiteral("a"), withWavelengths ? 400.0 : 0.0, 10},
            {QStringLiteral("b"), withWavelengths ? 500.0 : 0.0, 30},
            {QStringLiteral("c"), withWavelengths ? 700.0 : 0.0, 20}};
}

/// How many pixels are not of the ground.
int drawnPixels(QWidget& plot) {
    QCoreApplication::processEvents(); // which draw it
    const QImage image = plot.grab().toImage();
    int drawn = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            drawn += image.pixel(x, y) != image.pixel(1, 1);
    return drawn;
}

TEST(PixelSpectrumPlot, DrawsBandsWithAndWithoutWavelengths) {
    CzPixelSpectrumPlot plot;
    plot.resize(300, 200);
    const int empty = drawnPixels(plot);
    for (const bool withWavelengths : {true, false}) {
        plot.setSpectrum(threeBands(withWavelengths), QStringLiteral("x 1, y 2"));
        EXPECT_EQ(plot.spectrum().size(), 3);
        EXPECT_GT(drawnPixels(plot), empty);
    }
    plot.setSpectrum({{QStringLiteral("only"), 500.0, 0.0}}, QString()); // no extent in either direction
    EXPECT_FALSE(plot.grab().isNull());
}

TEST(Plots, HaveTheColoursOfDarkThemes) {
    CzPixelSpectrumPlot plot;
    plot.resize(300, 200);
    QPalette dark;
    dark.setColor(QPalette::Base, QColor(20, 20, 20));
    dark.setColor(QPalette::Text, QColor(240, 240, 240));
    plot.setPalette(dark);
    QCoreApplication::processEvents();
    EXPECT_EQ(plot.grab().toImage().pixelColor(1, 1), QColor(20, 20, 20));
}

} // namespace
