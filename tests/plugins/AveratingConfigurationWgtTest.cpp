// SPDX-License-Identifier: GPL-3.0-or-later
#include "AveratingConfigurationWgt.h"

#include "Chain.h"
#include "FrameSource.h"
#include "ImageAveragingCnbl.h"
#include "TestPictures.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QRadioButton>
#include <QSpinBox>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <memory>

namespace {

/// Counts the starts and stops of its chain.
class CountingElement : public CzImageAveragingCnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzImageAveragingCnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzImageAveragingCnbl::onChainStopped(chain);
        ++stops;
        subtractedAtStop = subtractFromAverage();
    }
    int starts = 0;
    int stops = 0;
    bool subtractedAtStop = false;
};

/// The widget on the screen, and the user in front of it.
class ShownWidget {
public:
    explicit ShownWidget(CzImageAveragingCnbl& element)
        : widget(element.createConfigWidget())
        , count(widget->findChild<QSpinBox*>("spinAverageCount"))
        , subtract(widget->findChild<QCheckBox*>("chkSubtract"))
        , none(widget->findChild<QRadioButton*>("rbNone"))
        , rows(widget->findChild<QRadioButton*>("rbRows"))
        , columns(widget->findChild<QRadioButton*>("rbCols")) {
        widget->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(widget.get()));
    }

    static void click(QAbstractButton* button) {
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, QPoint(8, button->height() / 2));
    }

    std::unique_ptr<QWidget> widget;
    QSpinBox* count;
    QCheckBox* subtract;
    QRadioButton* none;
    QRadioButton* rows;
    QRadioButton* columns;
};

// ---- What it shows ----

TEST(AveratingConfigurationWgt, isLaidOutInThreeRows) {
    CzImageAveragingCnbl element;
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_STREQ(widget->metaObject()->className(), "CzAveratingConfigurationWgt");
    EXPECT_EQ(widget->windowTitle(), "Image Averaging");
    auto* const layout = qobject_cast<QGridLayout*>(widget->layout());
    ASSERT_TRUE(layout);
    ASSERT_EQ(layout->count(), 4);
    const auto* const label = qobject_cast<QLabel*>(layout->itemAtPosition(0, 0)->widget());
    const auto* const count = qobject_cast<QSpinBox*>(layout->itemAtPosition(0, 1)->widget());
    const auto* const subtract = qobject_cast<QCheckBox*>(layout->itemAtPosition(1, 0)->widget());
    const auto* const lines = qobject_cast<QGroupBox*>(layout->itemAtPosition(2, 0)->widget());
    ASSERT_TRUE(label && count && subtract && lines);
    EXPECT_EQ(label->text(), "Number of images to average:");
    EXPECT_EQ(count->minimum(), 1);
    EXPECT_EQ(count->maximum(), std::numeric_limits<int>::max());
    EXPECT_EQ(subtract->text(), "Subtract image from average");
    EXPECT_EQ(layout->itemAtPosition(1, 1)->widget(), subtract) << "spans both columns";
    EXPECT_EQ(lines->title(), "Line Averaging");
    EXPECT_EQ(layout->itemAtPosition(2, 1)->widget(), lines) << "spans both columns";

    const auto* const buttons = qobject_cast<QVBoxLayout*>(lines->layout());
    ASSERT_TRUE(buttons);
    ASSERT_EQ(buttons->count(), 3);
    const QStringList names{"rbNone", "rbRows", "rbCols"};
    const QStringList texts{"None", "Rows", "Columns"};
    for (int i = 0; i < 3; ++i) {
        const auto* const button = qobject_cast<QRadioButton*>(buttons->itemAt(i)->widget());
        ASSERT_TRUE(button);
        EXPECT_EQ(button->objectName(), names.at(i));
        EXPECT_EQ(button->text(), texts.at(i));
    }
}

TEST(AveratingConfigurationWgt, showsTheParametersOfTheElementAndOpeningChangesNothing) {
    CzImageAveragingCnbl element;
    for (const int mode : {0, 1, 2, 3, -1}) {
        element.setAverageCount(mode + 5);
        element.setSubtractFromAverage(mode == 1);
        element.setLineAveraging(mode);
        const ShownWidget shown(element);
        EXPECT_EQ(shown.count->value(), mode + 5);
        EXPECT_EQ(shown.subtract->isChecked(), mode == 1);
        EXPECT_EQ(shown.rows->isChecked(), mode == 1);
        EXPECT_EQ(shown.columns->isChecked(), mode == 2);
        EXPECT_EQ(shown.none->isChecked(), mode != 1 && mode != 2);
        EXPECT_EQ(element.averageCount(), mode + 5);
        EXPECT_EQ(element.lineAveraging(), mode);
    }
}

TEST(AveratingConfigurationWgt, countThatNoSpinBoxCanShowStaysAsItWasLoaded) {
    CzImageAveragingCnbl element;
    element.setAverageCount(-7);
    const ShownWidget shown(element);
    EXPECT_EQ(shown.count->value(), 1);
    EXPECT_EQ(element.averageCount(), -7);
}

// ---- What the user does ----

TEST(AveratingConfigurationWgt, controlsSetTheirParametersOutsideOfAnyChain) {
    CzImageAveragingCnbl element;
    const ShownWidget shown(element);
    QTest::keyClick(shown.count, Qt::Key_Up);
    EXPECT_EQ(element.averageCount(), 4);
    shown.count->setValue(2147483647);
    EXPECT_EQ(element.averageCount(), 2147483647);
    ShownWidget::click(shown.subtract);
    EXPECT_TRUE(element.subtractFromAverage());
    ShownWidget::click(shown.subtract);
    EXPECT_FALSE(element.subtractFromAverage());
    ShownWidget::click(shown.columns);
    EXPECT_EQ(element.lineAveraging(), 2);
    ShownWidget::click(shown.rows);
    EXPECT_EQ(element.lineAveraging(), 1);
    ShownWidget::click(shown.none);
    EXPECT_EQ(element.lineAveraging(), 0);
}

TEST(AveratingConfigurationWgt, lineModeIsTakenFromTheSendersNameAndAnyOtherSenderChangesNothing) {
    CzImageAveragingCnbl element;
    CzAveratingConfigurationWgt widget(&element);
    element.setLineAveraging(2);
    ASSERT_TRUE(QMetaObject::invokeMethod(&widget, "onRbLineAvgClicked", Q_ARG(bool, true)));
    EXPECT_EQ(element.lineAveraging(), 2);
    QCheckBox other;
    QObject::connect(&other, SIGNAL(clicked(bool)), &widget, SLOT(onRbLineAvgClicked(bool)));
    other.setObjectName("rbSomething");
    other.click();
    EXPECT_EQ(element.lineAveraging(), 2);
    other.setObjectName("rbRows");
    other.click();
    other.click(); // checked or not
    EXPECT_EQ(element.lineAveraging(), 1);
}

// ---- In a chain ----

class AveratingWidgetInChain : public testing::Test {
protected:
    AveratingWidgetInChain() {
        chain.append(element);
        chain.source().setFormat(pictureFormat(3, 2), CzImageMetadata());
        chain.setFrameObserver([this](const SzFrameReport& report) { outputs += report.output ? 1 : 0; });
    }

    void pushFrame() {
        EXPECT_TRUE(chain.source().push(numberedFrame(pictureFormat(3, 2))));
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    }

    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
    std::atomic<int> outputs{0};
};

TEST_F(AveratingWidgetInChain, subtractionStopsARunningChainStoresAndStartsItAgain) {
    const ShownWidget shown(*element);
    shown.count->setValue(1);
    ASSERT_TRUE(chain.start());
    pushFrame();
    EXPECT_EQ(outputs, 1);
    ShownWidget::click(shown.subtract);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_FALSE(element->subtractedAtStop);
    EXPECT_TRUE(element->subtractFromAverage());
    pushFrame();
    EXPECT_EQ(outputs, 1) << "the first one only makes the average";
    pushFrame();
    EXPECT_EQ(outputs, 2);
    chain.stop();
}

TEST_F(AveratingWidgetInChain, subtractionDoesNotStartAStoppedChain) {
    const ShownWidget shown(*element);
    ShownWidget::click(shown.subtract);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    EXPECT_TRUE(element->subtractFromAverage());
}

TEST_F(AveratingWidgetInChain, countAndLineModeDoNotDisturbARunningChain) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    pushFrame();
    pushFrame();
    EXPECT_EQ(outputs, 0);
    shown.count->setValue(2);
    ShownWidget::click(shown.rows);
    pushFrame();
    EXPECT_EQ(outputs, 1) << "the counter exceeds the new count";
    EXPECT_EQ(element->stops, 0);
    EXPECT_EQ(element->starts, 1);
    chain.stop();
}

} // namespace
