// SPDX-License-Identifier: GPL-3.0-or-later
#include "DisplayPanel.h"

#include "Scenes.h"
#include "ViewerFixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

namespace {

using EzRange = SzDisplaySettings::EzRange;

class DisplayPanel : public testing::Test {
protected:
    DisplayPanel() { showOnScreen(panel); }

    /// Chooses with the keyboard.
    void choose(QComboBox& list, const QString& text) {
        list.setFocus();
        QTest::keyClick(&list, Qt::Key_Home);
        while (list.currentText() != text && list.currentIndex() + 1 < list.count())
            QTest::keyClick(&list, Qt::Key_Down);
        ASSERT_EQ(list.currentText(), text);
    }

    CzLinkTap::Picture mosaic(std::uint32_t cellWidth, std::uint32_t cellHeight) {
        auto picture = picturePattern(mosaicFormat(20, 20, EzImageDataType::UInt16));
        picture->setImageMetadata(mosaicMetadata({mosaicZone(cellWidth, cellHeight, 1, 1, QRect())}));
        return picture;
    }

    CzDisplayPanel panel;
    QComboBox& mode = childOf<QComboBox>(panel, "mode");
    QComboBox& range = childOf<QComboBox>(panel, "range");
    QDoubleSpinBox& black = childOf<QDoubleSpinBox>(panel, "black");
    QDoubleSpinBox& white = childOf<QDoubleSpinBox>(panel, "white");
    QCheckBox& demosaic = childOf<QCheckBox>(panel, "demosaic");
    QComboBox& band = childOf<QComboBox>(panel, "band");
    QCheckBox& saturated = childOf<QCheckBox>(panel, "saturated");
};

TEST_F(DisplayPanel, BeginsWithTheFullRangeInColourAndOnePicture) {
    EXPECT_EQ(panel.mode(), CzPictureWidget::EzMode::Single);
    EXPECT_EQ(panel.settings().range, EzRange::Full);
    EXPECT_TRUE(panel.settings().demosaic);
    EXPECT_EQ(panel.settings().band, -1);
    EXPECT_FALSE(panel.settings().markSaturated);
}

TEST_F(DisplayPanel, TellsEachChoice) {
    QSignalSpy changed(&panel, &CzDisplayPanel::changed);
    choose(mode, QStringLiteral("Split"));
    EXPECT_EQ(panel.mode(), CzPictureWidget::EzMode::Split);
    choose(range, QStringLiteral("Automatic range"));
    EXPECT_EQ(panel.settings().range, EzRange::Automatic);
    QTest::mouseClick(&saturated, Qt::LeftButton, Qt::NoModifier, QPoint(8, saturated.height() / 2));
    EXPECT_TRUE(panel.settings().markSaturated);
    EXPECT_GE(changed.size(), 3);
}

TEST_F(DisplayPanel, AManualRangeBeginsWithTheOneThatIsShown) {
    auto picture = blackPicture(pictureFormat(2, 1, 1, EzImageDataType::UInt16));
    setSample(picture->picBuf(), 0, 0, 0, 300);
    setSample(picture->picBuf(), 1, 0, 0, 700);
    panel.setPictures(std::move(picture));
    EXPECT_FALSE(black.isVisible());
    choose(range, QStringLiteral("Automatic range"));
    choose(range, QStringLiteral("Manual range"));
    EXPECT_TRUE(black.isVisible());
    EXPECT_EQ(panel.settings().manual.black, 300.0);
    EXPECT_EQ(panel.settings().manual.white, 700.0);
    QSignalSpy changed(&panel, &CzDisplayPanel::changed);
    white.selectAll();
    QTest::keyClicks(&white, QStringLiteral("650"));
    QTest::keyClick(&white, Qt::Key_Return);
    EXPECT_EQ(panel.settings().manual.white, 650.0);
    EXPECT_EQ(changed.size(), 1);
}

TEST_F(DisplayPanel, FloatsHaveManualRangesWithDecimals) {
    auto picture = blackPicture(pictureFormat(2, 1, 1, EzImageDataType::Float32));
    setSample(picture->picBuf(), 0, 0, 0, 0.125);
    setSample(picture->picBuf(), 1, 0, 0, 0.75);
    panel.setPictures(std::move(picture));
    choose(range, QStringLiteral("Manual range"));
    EXPECT_EQ(panel.settings().manual.black, 0.125);
    EXPECT_EQ(panel.settings().manual.white, 0.75);
}

TEST_F(DisplayPanel, AManualRangeIsTypedWhilePicturesRun) {
    for (const EzImageDataType type : {EzImageDataType::UInt16, EzImageDataType::Float32}) {
        unsigned seed = 0;
        const auto nextPicture = [&] {
            panel.setPictures(picturePattern(pictureFormat(8, 8, 1, type), ++seed));
        };
        nextPicture();
        choose(range, QStringLiteral("Automatic range"));
        choose(range, QStringLiteral("Manual range"));
        white.setFocus();
        white.selectAll();
        for (const char key : {'6', '5', '0'}) {
            QTest::keyClick(&white, key);
            nextPicture();
        }
        EXPECT_EQ(white.cleanText(), QStringLiteral("650"));
        QTest::keyClick(&white, Qt::Key_Return);
        EXPECT_EQ(panel.settings().manual.white, 650.0);
    }
}

TEST_F(DisplayPanel, ManualLimitsOfFloatsHaveTheDigitsThatTheirRangeNeeds) {
    const auto show = [&](double smallest, double largest) {
        auto picture = blackPicture(pictureFormat(2, 1, 1, EzImageDataType::Float32));
        setSample(picture->picBuf(), 0, 0, 0, smallest);
        setSample(picture->picBuf(), 1, 0, 0, largest);
        panel.setPictures(std::move(picture));
        choose(range, QStringLiteral("Full range"));
        choose(range, QStringLiteral("Manual range"));
    };
    show(1.25e-6, 3.5e-6);
    EXPECT_NEAR(panel.settings().manual.black, 1.25e-6, 1e-9);
    EXPECT_NEAR(panel.settings().manual.white, 3.5e-6, 1e-9);
    EXPECT_EQ(black.text(), QStringLiteral("1.25e-06"));
    show(-2e12, 3e12);
    EXPECT_NEAR(panel.settings().manual.white, 3e12, 1e6);
    EXPECT_EQ(white.text(), QStringLiteral("3e+12"));
    show(7.0, 7.0);
    EXPECT_EQ(panel.settings().manual.white, 7.0);
    show(0.0, 0.0);
    EXPECT_EQ(panel.settings().manual.white, panel.settings().manual.black);

    // As small as anybody likes, and in the same notation.
    white.selectAll();
    QTest::keyClicks(&white, QStringLiteral("-1.5e-7"));
    QTest::keyClick(&white, Qt::Key_Return);
    EXPECT_EQ(panel.settings().manual.white, -1.5e-7);
    EXPECT_EQ(white.text(), QStringLiteral("-1.5e-07"));
}

TEST_F(DisplayPanel, ManualLimitsStepByAPartOfTheirRange) {
    const auto show = [&](EzImageDataType type, double smallest, double largest) {
        auto picture = blackPicture(pictureFormat(2, 1, 1, type));
        setSample(picture->picBuf(), 0, 0, 0, smallest);
        setSample(picture->picBuf(), 1, 0, 0, largest);
        panel.setPictures(std::move(picture));
        choose(range, QStringLiteral("Automatic range"));
        choose(range, QStringLiteral("Manual range"));
    };
    const auto press = [](QDoubleSpinBox& limit, Qt::Key key, int times = 1) {
        for (int i = 0; i < times; ++i)
            QTest::keyClick(&limit, key);
        return limit.text();
    };
    show(EzImageDataType::Float32, 0.0, 0.75);
    EXPECT_EQ(press(white, Qt::Key_Up), QStringLiteral("0.751"));
    EXPECT_EQ(press(black, Qt::Key_Up, 3), QStringLiteral("0.003"));
    EXPECT_EQ(press(black, Qt::Key_Down, 3), QStringLiteral("0"));
    EXPECT_EQ(panel.settings().manual.black, 0.0);
    show(EzImageDataType::Float32, 0.0, 3e12);
    EXPECT_EQ(press(white, Qt::Key_Up), QStringLiteral("3.01e+12"));
    show(EzImageDataType::Float32, -2.5e-6, -1.25e-6);
    EXPECT_EQ(press(black, Qt::Key_Down), QStringLiteral("-2.51e-06"));
    show(EzImageDataType::Float32, 0.0, 0.0);
    EXPECT_EQ(press(white, Qt::Key_Up), QStringLiteral("1"));
    white.selectAll(); // another range has other steps
    QTest::keyClicks(&white, QStringLiteral("0.02"));
    QTest::keyClick(&white, Qt::Key_Return);
    EXPECT_EQ(press(white, Qt::Key_Up), QStringLiteral("0.0201"));

    show(EzImageDataType::UInt16, 300.0, 700.0);
    EXPECT_EQ(press(black, Qt::Key_Down), QStringLiteral("299"));
    EXPECT_EQ(press(white, Qt::Key_Up), QStringLiteral("701"));
}

TEST_F(DisplayPanel, AllOfAManualLimitIsSeen) {
    const auto expectSeen = [](QDoubleSpinBox& limit) {
        const auto& line = childOf<QLineEdit>(limit, "qt_spinbox_lineedit");
        constexpr int margins = 2 * 2; // of the line edit
        EXPECT_TRUE(waitFor([&] {
            return line.fontMetrics().horizontalAdvance(line.text()) + margins <= line.width();
        })) << line.text().toStdString();
    };
    const auto expectLimits = [&](EzImageDataType type, double smallest, double largest) {
        auto picture = blackPicture(pictureFormat(2, 1, 1, type));
        setSample(picture->picBuf(), 0, 0, 0, smallest);
        setSample(picture->picBuf(), 1, 0, 0, largest);
        panel.setPictures(std::move(picture));
        choose(range, QStringLiteral("Full range"));
        choose(range, QStringLiteral("Automatic range"));
        choose(range, QStringLiteral("Manual range"));
        EXPECT_LT(panel.settings().manual.black, panel.settings().manual.white);
        expectSeen(black);
        expectSeen(white);
    };
    expectLimits(EzImageDataType::Float32, -1e-6, -1.0000123e-12);
    expectLimits(EzImageDataType::Float32, -1.2345678e-38, 1.2345678e-38);
    expectLimits(EzImageDataType::Float32, -3.4e38, 3.4e38);
    expectLimits(EzImageDataType::Float32, -123456.789, -123456.7);
    expectLimits(EzImageDataType::UInt32, 4294967290.0, 4294967295.0);
    EXPECT_EQ(white.text(), QStringLiteral("4294967295"));
}

TEST_F(DisplayPanel, SaysWhatMarkingCannotShow) {
    EXPECT_TRUE(saturated.toolTip().contains(QStringLiteral("Zoomed out")));
}

TEST_F(DisplayPanel, OffersColoursOnlyWhereThereAreSome) {
    panel.setPictures(mosaic(4, 4));
    EXPECT_FALSE(demosaic.isVisible());
    panel.setPictures(renderScene(QStringLiteral("rgbnir"), {32, 32}));
    EXPECT_TRUE(demosaic.isVisible());
    panel.setPictures(renderScene(QStringLiteral("mono"), {32, 32}));
    EXPECT_FALSE(demosaic.isVisible());
    panel.setPictures(renderScene(QStringLiteral("bayer"), {32, 32}));
    EXPECT_TRUE(demosaic.isVisible());
    QTest::mouseClick(&demosaic, Qt::LeftButton, Qt::NoModifier, QPoint(8, demosaic.height() / 2));
    EXPECT_FALSE(panel.settings().demosaic);
}

TEST_F(DisplayPanel, OffersTheBandsOfAllZones) {
    EXPECT_FALSE(band.isVisible());
    auto picture = picturePattern(mosaicFormat(20, 20, EzImageDataType::UInt8));
    picture->setImageMetadata(mosaicMetadata(
        {mosaicZone(2, 2, 1, 1, QRect(0, 0, 10, 20)), mosaicZone(3, 1, 1, 1, QRect(10, 0, 10, 20))}));
    panel.setPictures(std::move(picture));
    ASSERT_TRUE(band.isVisible());
    ASSERT_EQ(band.count(), 1 + 4 + 3);
    EXPECT_EQ(band.itemText(5), QStringLiteral("band 0"));
    panel.setPictures(renderScene(QStringLiteral("mono"), {32, 32}));
    EXPECT_FALSE(band.isVisible());
}

TEST_F(DisplayPanel, OffersWhatThePictureBeforeHas) {
    const CzLinkTap::Picture grey = renderScene(QStringLiteral("mono"), {32, 32});
    panel.setPictures(grey, mosaic(2, 1));
    EXPECT_FALSE(demosaic.isVisible());
    ASSERT_TRUE(band.isVisible());
    EXPECT_EQ(band.count(), 1 + 2);
    panel.stepBand(1);
    EXPECT_EQ(panel.settings().band, 0);
    panel.setPictures(grey, renderScene(QStringLiteral("bayer"), {32, 32}));
    EXPECT_TRUE(demosaic.isVisible());
    EXPECT_FALSE(band.isVisible());
    panel.setPictures(mosaic(3, 2), mosaic(2, 1));
    EXPECT_EQ(band.count(), 1 + 6) << "those after";
    panel.setPictures(nullptr, mosaic(2, 1));
    EXPECT_EQ(band.count(), 1 + 2);
    panel.setPictures(grey);
    EXPECT_FALSE(band.isVisible()) << "the one before is not shown any more";
}

TEST_F(DisplayPanel, StepsThroughTheBandsAndStopsAtTheEnds) {
    panel.stepBand(1);
    EXPECT_EQ(panel.settings().band, -1); // no picture with bands
    panel.setPictures(mosaic(2, 1));
    QSignalSpy changed(&panel, &CzDisplayPanel::changed);
    for (const int expected : {0, 1, 1}) {
        panel.stepBand(1);
        EXPECT_EQ(panel.settings().band, expected);
    }
    for (const int expected : {0, -1, -1}) {
        panel.stepBand(-1);
        EXPECT_EQ(panel.settings().band, expected);
    }
    EXPECT_EQ(changed.size(), 4);
}

TEST_F(DisplayPanel, KeepsTheBandThroughPicturesWithoutBands) {
    panel.setPictures(mosaic(4, 4));
    panel.stepBand(6);
    panel.setPictures(nullptr);
    panel.setPictures(renderScene(QStringLiteral("mono"), {32, 32}));
    panel.setPictures(mosaic(4, 4));
    EXPECT_EQ(panel.settings().band, 5);
}

TEST_F(DisplayPanel, KeepsTheBandOfTheSameNameOfAnotherSensor) {
    panel.setPictures(mosaic(4, 4));
    panel.stepBand(6);
    panel.setPictures(mosaic(3, 2));
    EXPECT_EQ(panel.settings().band, 5);
    QSignalSpy changed(&panel, &CzDisplayPanel::changed);
    panel.setPictures(mosaic(2, 2)); // has no such band
    EXPECT_EQ(panel.settings().band, -1);
    EXPECT_EQ(changed.size(), 1);
}

} // namespace
