// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistogramPlot.h"
#include "SpectrumPlot.h"
#include "ViewerFixture.h"

#include <QSignalSpy>
#include <QTest>

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

TEST(HistogramPlot, StandsPicturesThatHaveNone) {
    CzHistogramPlot plot;
    QSignalSpy changed(&plot, &CzHistogramPlot::changed);
    plot.setPicture(blackPicture(pictureFormat(3, 3, 1, EzImageDataType::SpectrumFloat32)));
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

TEST(SpectrumPlot, DrawsBandsWithAndWithoutWavelengths) {
    CzSpectrumPlot plot;
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
    CzSpectrumPlot plot;
    plot.resize(300, 200);
    QPalette dark;
    dark.setColor(QPalette::Base, QColor(20, 20, 20));
    dark.setColor(QPalette::Text, QColor(240, 240, 240));
    plot.setPalette(dark);
    QCoreApplication::processEvents();
    EXPECT_EQ(plot.grab().toImage().pixelColor(1, 1), QColor(20, 20, 20));
}

} // namespace
