// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureWidget.h"

#include "ViewerFixture.h"

#include <QApplication>
#include <QMouseEvent>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QToolTip>
#include <QWheelEvent>

#include <cmath>
#include <functional>
#include <vector>

namespace {

using EzMode = CzPictureWidget::EzMode;

const QSize viewSize(400, 300);

/// A grey picture whose samples tell the place: x mod 16 × 16 + y mod 16.
CzLinkTap::Picture placePicture(std::uint32_t width, std::uint32_t height) {
    auto picture = blackPicture(pictureFormat(width, height, 1, EzImageDataType::UInt8));
    fillSamples(picture->picBuf(),
                [](std::uint32_t x, std::uint32_t y, std::uint32_t) { return double(x % 16 * 16 + y % 16); });
    return picture;
}

class PictureWidget : public testing::Test {
protected:
    PictureWidget() {
        widget.resize(viewSize);
        showOnScreen(widget);
    }

    void move(const QPoint& to, Qt::MouseButtons buttons = Qt::NoButton) {
        QMouseEvent event(QEvent::MouseMove, to, Qt::NoButton, buttons, Qt::NoModifier);
        QApplication::sendEvent(&widget, &event);
    }

    void drag(const QPoint& from, const QPoint& to) {
        QTest::mousePress(&widget, Qt::LeftButton, Qt::NoModifier, from);
        move((from + to) / 2, Qt::LeftButton);
        move(to, Qt::LeftButton);
        QTest::mouseRelease(&widget, Qt::LeftButton, Qt::NoModifier, to);
    }

    void turnWheel(int steps, const QPoint& at) {
        QWheelEvent event(at, widget.mapToGlobal(at), QPoint(), QPoint(0, 120 * steps), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&widget, &event);
    }

    /// What the widget says lies there; (-1, -1): nothing.
    QPoint pixelAt(const QPoint& position) {
        QSignalSpy moved(&widget, &CzPictureWidget::cursorMoved);
        move(position);
        m_inBefore = moved.last().at(2).toBool();
        return {moved.last().at(0).toInt(), moved.last().at(1).toInt()};
    }
    bool isBefore(const QPoint& position) {
        pixelAt(position);
        return m_inBefore;
    }

    /// What is painted there tells the same place as the widget does.
    testing::AssertionResult paintsWhatItTells(const QPoint& position) {
        const QPoint pixel = pixelAt(position);
        const int painted = qGray(widget.image().pixel(position * widget.devicePixelRatio()));
        const int expected = pixel.x() % 16 * 16 + pixel.y() % 16;
        if (pixel.x() >= 0 && painted == expected)
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "at " << position.x() << ", " << position.y() << " is pixel " << pixel.x() << ", "
               << pixel.y() << ", and painted is " << painted;
    }

    CzPictureWidget widget;

private:
    bool m_inBefore = false;
};

TEST_F(PictureWidget, FitsTheWholePictureAndStaysSoWhenItIsResized) {
    widget.setPictures(placePicture(200, 100));
    EXPECT_TRUE(widget.isFitted());
    EXPECT_DOUBLE_EQ(widget.scale(), 2.0);
    EXPECT_EQ(pixelAt({0, 50}), QPoint(0, 0));
    EXPECT_EQ(pixelAt({399, 249}), QPoint(199, 99));
    EXPECT_EQ(pixelAt({399, 250}), QPoint(-1, -1));
    widget.resize(400, 150);
    EXPECT_DOUBLE_EQ(widget.scale(), 1.5);
    EXPECT_EQ(pixelAt({50, 0}), QPoint(0, 0));
    EXPECT_EQ(pixelAt({49, 0}), QPoint(-1, -1));
}

TEST_F(PictureWidget, FitsPicturesBetweenTheSmallestAndTheLargestScale) {
    widget.setPictures(placePicture(1, 1));
    EXPECT_DOUBLE_EQ(widget.scale(), 64.0);
    EXPECT_EQ(pixelAt({200, 150}), QPoint(0, 0));
    widget.setPictures(placePicture(200000, 2));
    EXPECT_DOUBLE_EQ(widget.scale(), 1.0 / 256);
}

TEST_F(PictureWidget, ShowsPicturesThatAreThinnerThanAScreenPixel) {
    const int size = 8192;
    for (const EzMode mode : {EzMode::Single, EzMode::SideBySide}) {
        widget.setMode(mode);
        const int middle = mode == EzMode::Single ? 200 : 300;
        for (const int thickness : {1, 3}) {
            widget.setPictures(placePicture(std::uint32_t(thickness), size),
                               placePicture(std::uint32_t(thickness), size));
            widget.fit();
            EXPECT_DOUBLE_EQ(widget.scale(), 300.0 / size);
            for (const int y : {0, 77, 299}) {
                EXPECT_TRUE(paintsWhatItTells({middle, y}));
                EXPECT_EQ(pixelAt({middle, y}), QPoint(thickness / 2, int((y + 0.5) / widget.scale())));
                EXPECT_EQ(pixelAt({middle - 1, y}), QPoint(-1, -1));
                EXPECT_EQ(pixelAt({middle + 1, y}), QPoint(-1, -1));
            }
            widget.setPictures(placePicture(size, std::uint32_t(thickness)),
                               placePicture(size, std::uint32_t(thickness)));
            widget.fit();
            EXPECT_TRUE(paintsWhatItTells({middle, 150}));
            EXPECT_EQ(pixelAt({middle, 150}).y(), thickness / 2);
            EXPECT_EQ(pixelAt({middle, 149}), QPoint(-1, -1));
            EXPECT_EQ(pixelAt({middle, 151}), QPoint(-1, -1));
        }
    }
    // As small as it can be, and moved into a corner.
    widget.setMode(EzMode::Single);
    widget.setPictures(placePicture(1, 1));
    turnWheel(-100, {200, 150});
    ASSERT_DOUBLE_EQ(widget.scale(), 1.0 / 256);
    EXPECT_EQ(pixelAt({200, 150}), QPoint(0, 0));
    for (int i = 0; i < 2; ++i)
        drag({10, 10}, {390, 290});
    EXPECT_EQ(pixelAt({399, 299}), QPoint(0, 0));
    for (int i = 0; i < 4; ++i)
        drag({390, 290}, {10, 10});
    EXPECT_EQ(pixelAt({0, 0}), QPoint(0, 0));
}

TEST_F(PictureWidget, PaintsThePixelThatItTells) {
    widget.setPictures(placePicture(130, 70));
    for (const double scale : {0.3, 1.0, 3.0, 17.0}) {
        widget.zoomTo(scale, QPointF(200, 150));
        for (const QPoint& position : {QPoint(200, 150), QPoint(190, 145), QPoint(215, 157)})
            EXPECT_TRUE(paintsWhatItTells(position)) << scale;
    }
}

TEST_F(PictureWidget, TheWheelKeepsThePixelUnderTheCursor) {
    widget.setPictures(placePicture(997, 803)); // no cursor is on a pixel's edge
    for (const QPoint& cursor : {QPoint(200, 150), QPoint(30, 10), QPoint(380, 290), QPoint(15, 280)}) {
        widget.fit();
        const QPoint pixel = pixelAt(cursor);
        ASSERT_GE(pixel.x(), 0);
        for (const int step : {1, -1}) // as close as can be, then as far away
            for (int i = 0; i < 60; ++i) {
                turnWheel(step, cursor);
                EXPECT_EQ(pixelAt(cursor), pixel) << widget.scale();
                EXPECT_TRUE(paintsWhatItTells(cursor)) << widget.scale();
            }
        EXPECT_DOUBLE_EQ(widget.scale(), 1.0 / 256);
    }
}

TEST_F(PictureWidget, ZoomsNoFurtherThanTheLimits) {
    widget.setPictures(placePicture(100, 100));
    turnWheel(100, {200, 150});
    EXPECT_DOUBLE_EQ(widget.scale(), 64.0);
    turnWheel(-100, {200, 150});
    turnWheel(-100, {200, 150});
    EXPECT_DOUBLE_EQ(widget.scale(), 1.0 / 256);
    EXPECT_FALSE(widget.isFitted());
}

TEST_F(PictureWidget, AWheelThatTurnsSidewardsDoesNothing) {
    widget.setPictures(placePicture(100, 100));
    turnWheel(0, {200, 150});
    EXPECT_TRUE(widget.isFitted());
}

TEST_F(PictureWidget, DraggingMovesThePictureWithTheCursor) {
    widget.setPictures(placePicture(1000, 800));
    widget.zoomTo(2.0, QPointF(200, 150));
    const QPoint pixel = pixelAt({250, 100});
    QSignalSpy clicked(&widget, &CzPictureWidget::pixelClicked);
    drag({250, 100}, {100, 220});
    EXPECT_EQ(pixelAt({100, 220}), pixel);
    EXPECT_TRUE(paintsWhatItTells({100, 220}));
    EXPECT_TRUE(clicked.isEmpty());
    EXPECT_FALSE(widget.isFitted());
}

TEST_F(PictureWidget, DraggingDoesNotLoseThePicture) {
    widget.setPictures(placePicture(100, 100));
    for (int i = 0; i < 20; ++i)
        drag({10, 10}, {390, 290});
    EXPECT_EQ(pixelAt({399, 299}), QPoint(0, 0));
    for (int i = 0; i < 40; ++i)
        drag({390, 290}, {10, 10});
    EXPECT_EQ(pixelAt({0, 0}), QPoint(99, 99));
}

TEST_F(PictureWidget, AClickTellsThePixel) {
    widget.setPictures(placePicture(200, 150));
    QSignalSpy clicked(&widget, &CzPictureWidget::pixelClicked);
    QTest::mouseClick(&widget, Qt::LeftButton, Qt::NoModifier, {101, 63});
    ASSERT_EQ(clicked.size(), 1);
    EXPECT_EQ(clicked.first(), (QVariantList{50, 31, false}));
    QTest::mouseClick(&widget, Qt::RightButton, Qt::NoModifier, {101, 63});
    EXPECT_EQ(clicked.size(), 1);
}

TEST_F(PictureWidget, AClickBesideThePictureTellsNothing) {
    widget.setPictures(placePicture(100, 10));
    QSignalSpy clicked(&widget, &CzPictureWidget::pixelClicked);
    QTest::mouseClick(&widget, Qt::LeftButton, Qt::NoModifier, {200, 5});
    EXPECT_TRUE(clicked.isEmpty());
}

TEST_F(PictureWidget, ADoubleClickChangesBetweenFitAndPixelByPixelAtItsPlace) {
    widget.setPictures(placePicture(4000, 3000));
    const QPoint pixel = pixelAt({100, 200});
    QSignalSpy clicked(&widget, &CzPictureWidget::pixelClicked);
    const auto doubleClick = [this] {
        QTest::mouseClick(&widget, Qt::LeftButton, Qt::NoModifier, {100, 200});
        QTest::mouseDClick(&widget, Qt::LeftButton, Qt::NoModifier, {100, 200});
    };
    doubleClick();
    EXPECT_DOUBLE_EQ(widget.scale(), 1.0);
    EXPECT_LE((pixelAt({100, 200}) - pixel).manhattanLength(), 20); // was one of the 10 × 10 that it showed
    for (const QVariantList& click : clicked) // by its first press, and by nothing that follows it
        EXPECT_EQ(QPoint(click.at(0).toInt(), click.at(1).toInt()), pixel);
    doubleClick();
    EXPECT_TRUE(widget.isFitted());
}

TEST_F(PictureWidget, KeysZoomMoveAndFit) {
    widget.setPictures(placePicture(1000, 800));
    QTest::keyClick(&widget, Qt::Key_1);
    EXPECT_DOUBLE_EQ(widget.scale(), 1.0);
    const QPoint middle = pixelAt({200, 150});
    EXPECT_EQ(middle, QPoint(500, 400));
    QTest::keyClick(&widget, Qt::Key_Right);
    EXPECT_EQ(pixelAt({200, 150}), middle + QPoint(40, 0));
    QTest::keyClick(&widget, Qt::Key_Down);
    EXPECT_EQ(pixelAt({200, 150}), middle + QPoint(40, 40));
    QTest::keyClick(&widget, Qt::Key_Left);
    QTest::keyClick(&widget, Qt::Key_Up);
    EXPECT_EQ(pixelAt({200, 150}), middle);
    QTest::keyClick(&widget, Qt::Key_Plus);
    EXPECT_DOUBLE_EQ(widget.scale(), 1.25);
    EXPECT_EQ(pixelAt({200, 150}), middle);
    QTest::keyClick(&widget, Qt::Key_Minus);
    EXPECT_DOUBLE_EQ(widget.scale(), 1.0);
    QTest::keyClick(&widget, Qt::Key_F);
    EXPECT_TRUE(widget.isFitted());
}

TEST_F(PictureWidget, ForgetsThePlaceForAPictureOfAnotherSizeOnly) {
    widget.setPictures(placePicture(1000, 800));
    widget.zoomTo(4.0, QPointF(30, 40));
    const QPoint pixel = pixelAt({200, 150});
    widget.setPictures(nullptr);
    widget.setPictures(placePicture(1000, 800));
    EXPECT_EQ(pixelAt({200, 150}), pixel);
    widget.setPictures(placePicture(500, 300));
    EXPECT_EQ(pixelAt({200, 150}), QPoint(250, 150));
    EXPECT_DOUBLE_EQ(widget.scale(), 4.0);
}

TEST_F(PictureWidget, LeavingTellsThatNoPixelIsUnderTheCursor) {
    widget.setPictures(placePicture(200, 150));
    QSignalSpy moved(&widget, &CzPictureWidget::cursorMoved);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&widget, &leave);
    ASSERT_EQ(moved.size(), 1);
    EXPECT_EQ(moved.first().at(0).toInt(), -1);
}

TEST_F(PictureWidget, PaintsWithTheSettingsOfTheDisplay) {
    auto picture = blackPicture(pictureFormat(4, 3, 1, EzImageDataType::UInt8));
    fillSamples(picture->picBuf(), [](auto, auto, auto) { return 100.0; });
    widget.setPictures(std::move(picture));
    SzDisplaySettings settings;
    settings.range = SzDisplaySettings::EzRange::Manual;
    settings.manual = {0, 100};
    widget.setDisplay(settings);
    EXPECT_EQ(widget.grab().toImage().pixel(200, 150), 0xFFFFFFFFU);
}

TEST_F(PictureWidget, SaysWhatToDoWhileThereIsNoPicture) {
    widget.setPlaceholder(QStringLiteral("Take one"));
    const QImage empty = widget.image();
    bool hasText = false;
    for (int y = 0; y < empty.height(); ++y)
        for (int x = 0; x < empty.width(); ++x)
            hasText = hasText || empty.pixel(x, y) != empty.pixel(0, 0);
    EXPECT_TRUE(hasText);
    turnWheel(3, {20, 20});
    drag({10, 10}, {200, 200});
    QTest::mouseDClick(&widget, Qt::LeftButton);
    QTest::keyClick(&widget, Qt::Key_1);
    widget.setPictures(std::make_shared<CzImageData>()); // without pixels
    EXPECT_EQ(pixelAt({200, 150}), QPoint(-1, -1));
}

TEST_F(PictureWidget, StandsEveryModeWithOnePictureMissing) {
    const CzLinkTap::Picture picture = placePicture(40, 30);
    for (const EzMode mode : {EzMode::Single, EzMode::SideBySide, EzMode::Split}) {
        widget.setMode(mode);
        for (const auto& [after, before] : {std::pair{picture, CzLinkTap::Picture()},
                                            {CzLinkTap::Picture(), picture},
                                            {picture, picture}}) {
            widget.setPictures(after, before);
            widget.image();
            pixelAt({100, 100});
            pixelAt({300, 100});
        }
    }
}

// ---- Two pictures ----

TEST_F(PictureWidget, SideBySideShowsTheSamePlaceTwice) {
    widget.setMode(EzMode::SideBySide);
    widget.setPictures(placePicture(100, 100), placePicture(100, 100));
    EXPECT_DOUBLE_EQ(widget.scale(), 2.0);
    EXPECT_EQ(pixelAt({0, 50}), QPoint(0, 0));
    EXPECT_TRUE(isBefore({0, 50}));
    EXPECT_EQ(pixelAt({200, 50}), QPoint(0, 0));
    EXPECT_FALSE(isBefore({200, 50}));
    for (const QPoint& cursor : {QPoint(40, 80), QPoint(270, 200)}) {
        const QPoint pixel = pixelAt(cursor);
        turnWheel(5, cursor);
        EXPECT_EQ(pixelAt(cursor), pixel);
        EXPECT_TRUE(paintsWhatItTells(cursor));
    }
    EXPECT_EQ(pixelAt({70, 130}), pixelAt({270, 130}));
}

TEST_F(PictureWidget, ShowsAPictureBeforeOfAnotherSizeAsLarge) {
    widget.setMode(EzMode::SideBySide);
    widget.setPictures(placePicture(100, 100), placePicture(200, 200)); // every second pixel was left out
    EXPECT_EQ(pixelAt({199, 249}), QPoint(199, 199));
    EXPECT_EQ(pixelAt({399, 249}), QPoint(99, 99));
    turnWheel(6, {250, 100});
    const QPoint after = pixelAt({250, 100});
    const QPoint before = pixelAt({50, 100});
    EXPECT_EQ(before / 2, after); // rounds half up
    EXPECT_TRUE(paintsWhatItTells({50, 100}));
    // Turned by a quarter: all of it is to be seen.
    widget.fit();
    widget.setPictures(placePicture(100, 50), placePicture(50, 100));
    EXPECT_EQ(pixelAt({100, 101}), QPoint(25, 1));
    EXPECT_EQ(pixelAt({100, 198}), QPoint(25, 98));
    EXPECT_EQ(pixelAt({100, 99}), QPoint(-1, -1));
}

TEST_F(PictureWidget, SplitShowsOnePlaceBeforeAndAfter) {
    widget.setMode(EzMode::Split);
    widget.setPictures(placePicture(200, 150), placePicture(200, 150));
    EXPECT_EQ(pixelAt({100, 150}), QPoint(50, 75));
    EXPECT_TRUE(isBefore({100, 150}));
    EXPECT_EQ(pixelAt({300, 150}), QPoint(150, 75));
    EXPECT_FALSE(isBefore({300, 150}));
    EXPECT_TRUE(paintsWhatItTells({100, 150}));
    EXPECT_TRUE(paintsWhatItTells({300, 150}));
}

TEST_F(PictureWidget, TheLineOfTheSplitCanBeDragged) {
    widget.setMode(EzMode::Split);
    widget.setPictures(placePicture(200, 150), placePicture(200, 150));
    move({200, 20});
    EXPECT_EQ(widget.cursor().shape(), Qt::SplitHCursor);
    QSignalSpy clicked(&widget, &CzPictureWidget::pixelClicked);
    drag({201, 20}, {320, 60});
    EXPECT_TRUE(isBefore({315, 150}));
    EXPECT_FALSE(isBefore({325, 150}));
    EXPECT_TRUE(widget.isFitted());
    EXPECT_TRUE(clicked.isEmpty());
    move({100, 20});
    EXPECT_EQ(widget.cursor().shape(), Qt::ArrowCursor);
    drag({320, 20}, {-500, 20}); // and never gets lost
    drag({0, 20}, {200, 20});
    EXPECT_TRUE(isBefore({195, 150}));
}

TEST_F(PictureWidget, AClickTellsWhetherItWasBefore) {
    widget.setMode(EzMode::Split);
    widget.setPictures(placePicture(200, 150), placePicture(200, 150));
    QSignalSpy clicked(&widget, &CzPictureWidget::pixelClicked);
    QTest::mouseClick(&widget, Qt::LeftButton, Qt::NoModifier, {100, 150});
    ASSERT_EQ(clicked.size(), 1);
    EXPECT_TRUE(clicked.first().at(2).toBool());
}

TEST_F(PictureWidget, TellsThePixelUnderTheCursorAfterEachChangeOfTheView) {
    widget.setPictures(placePicture(1000, 800));
    const QPoint cursor(120, 90);
    QCursor::setPos(widget.mapToGlobal(cursor));
    ASSERT_TRUE(waitFor([&] { return widget.underMouse(); }));
    const std::vector<std::function<void()>> changes{
        [&] { QTest::keyClick(&widget, Qt::Key_1); },
        [&] { QTest::keyClick(&widget, Qt::Key_Right); },
        [&] { QTest::keyClick(&widget, Qt::Key_Down); },
        [&] { QTest::keyClick(&widget, Qt::Key_Plus); },
        [&] { QTest::keyClick(&widget, Qt::Key_F); },
        [&] { widget.setMode(EzMode::SideBySide); },
        [&] { widget.resize(600, 300); },
        [&] { widget.showPixelByPixel(); },
        [&] { widget.fit(); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        QSignalSpy moved(&widget, &CzPictureWidget::cursorMoved);
        changes[i]();
        ASSERT_TRUE(waitFor([&] { return !moved.isEmpty(); })) << i;
        const QPoint told(moved.last().at(0).toInt(), moved.last().at(1).toInt());
        EXPECT_EQ(told, pixelAt(cursor)) << i;
    }
    QCursor::setPos(QGuiApplication::primaryScreen()->geometry().bottomRight()); // for those that follow
}

TEST_F(PictureWidget, AToolTipThatIsSeenFollowsItsText) {
    widget.setToolTip(QStringLiteral("one"));
    widget.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&widget));
    QCursor::setPos(widget.mapToGlobal({120, 90}));
    ASSERT_TRUE(waitFor([] { return QToolTip::text() == QStringLiteral("one"); }));
    widget.setToolTip(QStringLiteral("two"));
    EXPECT_EQ(QToolTip::text(), QStringLiteral("two"));
    widget.setToolTip(QString());
    EXPECT_TRUE(waitFor([] { return !QToolTip::isVisible(); }));
    QCursor::setPos(QGuiApplication::primaryScreen()->geometry().bottomRight()); // for those that follow
}

// ---- Dense screens ----

TEST_F(PictureWidget, CountsScreenPixelsOnDenseScreens) {
    if (widget.devicePixelRatioF() == 1.0) { // once more in a process with such a screen
        QProcess dense;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_SCALE_FACTOR"), QStringLiteral("2"));
        dense.setProcessEnvironment(environment);
        dense.setProcessChannelMode(QProcess::MergedChannels);
        dense.start(QCoreApplication::applicationFilePath(),
                    {QStringLiteral("--gtest_filter=PictureWidget.CountsScreenPixelsOnDenseScreens")});
        ASSERT_TRUE(dense.waitForFinished(60000));
        const QByteArray output = dense.readAll();
        EXPECT_EQ(dense.exitCode(), 0) << output.constData();
        EXPECT_TRUE(output.contains("1 test.")) << output.constData();
        return;
    }
    ASSERT_EQ(widget.devicePixelRatioF(), 2.0);
    widget.setPictures(placePicture(400, 300));
    EXPECT_DOUBLE_EQ(widget.scale(), 2.0); // 400 × 300 points are 800 × 600 pixels
    EXPECT_EQ(widget.image().size(), QSize(800, 600));
    QTest::keyClick(&widget, Qt::Key_1);
    EXPECT_DOUBLE_EQ(widget.scale(), 1.0);
    const QPoint pixel = pixelAt({200, 150});
    EXPECT_EQ(pixelAt({201, 151}), pixel + QPoint(2, 2));
    // Every screen pixel shows another pixel of the picture.
    const QImage image = widget.image();
    const auto sampleOf = [](const QPoint& place) { return place.x() % 16 * 16 + place.y() % 16; };
    const QPoint first = pixelAt({150, 120});
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(qGray(image.pixel(300 + x, 240 + y)), sampleOf(first + QPoint(x, y)));
    turnWheel(4, {160, 170});
    EXPECT_TRUE(paintsWhatItTells({160, 170}));
}

} // namespace
