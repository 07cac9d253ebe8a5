// SPDX-License-Identifier: GPL-3.0-or-later
#include "RotateConfigurationWidget.h"

#include "Chain.h"
#include "FrameSource.h"
#include "RotateImageCnbl.h"
#include "TestPictures.h"

#include <QRadioButton>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Counts the starts and stops of its chain.
class CountingElement : public CzRotateImageCnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzRotateImageCnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzRotateImageCnbl::onChainStopped(chain);
        ++stops;
        clockwiseAtStop = clockwise();
    }
    int starts = 0;
    int stops = 0;
    bool clockwiseAtStop = false;
};

/// The widget on the screen, and the user in front of it.
class ShownWidget {
public:
    explicit ShownWidget(CzRotateImageCnbl& element)
        : widget(element.createConfigWidget())
        , clockButton(widget->findChild<QRadioButton*>("clockButton"))
        , counterClockButton(widget->findChild<QRadioButton*>("counterClockButton")) {
        widget->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(widget.get()));
    }

    static void click(QRadioButton* button) {
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, QPoint(8, button->height() / 2));
    }

    std::unique_ptr<QWidget> widget;
    QRadioButton* clockButton;
    QRadioButton* counterClockButton;
};

// ---- What it shows ----

TEST(RotateConfigurationWidget, isBuiltLikeItsForm) {
    CzRotateImageCnbl element;
    const CzRotateConfigurationWidget widget(&element);
    EXPECT_EQ(widget.windowTitle(), "Rotation Configuration");
    EXPECT_EQ(widget.objectName(), "CzRotateConfigurationWidget");
    EXPECT_EQ(widget.size(), QSize(131, 64));
    const auto* const layout = qobject_cast<QVBoxLayout*>(widget.layout());
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->objectName(), "verticalLayout");
    ASSERT_EQ(layout->count(), 2);
    const auto* const clock = qobject_cast<QRadioButton*>(layout->itemAt(0)->widget());
    const auto* const counterClock = qobject_cast<QRadioButton*>(layout->itemAt(1)->widget());
    ASSERT_TRUE(clock && counterClock);
    EXPECT_EQ(clock->objectName(), "clockButton");
    EXPECT_EQ(clock->text(), "Clockwise");
    EXPECT_EQ(counterClock->objectName(), "counterClockButton");
    EXPECT_EQ(counterClock->text(), "Counterclockwise");
}

TEST(RotateConfigurationWidget, belongsToItsParent) {
    CzRotateImageCnbl element;
    QWidget parent;
    const auto* const widget = new CzRotateConfigurationWidget(&element, &parent);
    EXPECT_EQ(widget->parent(), &parent);
}

TEST(RotateConfigurationWidget, showsTheDirectionOfTheElementAndOpeningChangesNothing) {
    CzRotateImageCnbl element;
    for (const bool clockwise : {true, false}) {
        element.setDirection(clockwise, false);
        const ShownWidget shown(element);
        EXPECT_EQ(shown.clockButton->isChecked(), clockwise);
        EXPECT_EQ(shown.counterClockButton->isChecked(), !clockwise);
        EXPECT_EQ(element.clockwise(), clockwise);
    }
}

// ---- What a click does ----

TEST(RotateConfigurationWidget, clickChoosesTheDirectionOutsideOfAnyChain) {
    CzRotateImageCnbl element;
    const ShownWidget shown(element);
    ShownWidget::click(shown.counterClockButton);
    EXPECT_FALSE(element.clockwise());
    EXPECT_FALSE(shown.clockButton->isChecked());
    ShownWidget::click(shown.clockButton);
    EXPECT_TRUE(element.clockwise());
    EXPECT_FALSE(shown.counterClockButton->isChecked());
}

TEST(RotateConfigurationWidget, slotsAreFoundByNameAndTakeAnUncheckedButtonForTheOtherDirection) {
    CzRotateImageCnbl element;
    CzRotateConfigurationWidget widget(&element);
    const auto invoke = [&](const char* slot, bool checked) {
        ASSERT_TRUE(QMetaObject::invokeMethod(&widget, slot, Q_ARG(bool, checked)));
    };
    invoke("on_clockButton_clicked", false);
    EXPECT_FALSE(element.clockwise());
    invoke("on_clockButton_clicked", true);
    EXPECT_TRUE(element.clockwise());
    invoke("on_counterClockButton_clicked", true);
    EXPECT_FALSE(element.clockwise());
    invoke("on_counterClockButton_clicked", false);
    EXPECT_TRUE(element.clockwise());
}

// ---- In a chain ----

class RotateWidgetInChain : public testing::Test {
protected:
    RotateWidgetInChain() {
        chain.append(element);
        chain.source().setFormat(pictureFormat(3, 2), CzImageMetadata());
        chain.setFrameObserver([this](const SzFrameReport& report) {
            const auto* const image = qobject_cast<const CzImageData*>(report.output);
            const std::lock_guard lock(outputsMutex);
            outputs.push_back(image ? samplesOf<std::uint8_t>(image->picBuf()) : Bytes());
        });
    }

    void pushFrame() {
        EXPECT_TRUE(chain.source().push(numberedFrame(pictureFormat(3, 2))));
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    }

    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
    std::mutex outputsMutex;
    std::vector<Bytes> outputs;
};

TEST_F(RotateWidgetInChain, clickStopsARunningChainStoresAndStartsItAgain) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    pushFrame();
    ShownWidget::click(shown.counterClockButton);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_TRUE(element->clockwiseAtStop);
    EXPECT_FALSE(element->clockwise());
    pushFrame();
    chain.stop();
    EXPECT_EQ(outputs, (std::vector<Bytes>{{4, 1, 5, 2, 6, 3}, {3, 6, 2, 5, 1, 4}}));
}

TEST_F(RotateWidgetInChain, clickDoesNotStartAStoppedChain) {
    const ShownWidget shown(*element);
    ShownWidget::click(shown.counterClockButton);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    EXPECT_EQ(element->stops, 0);
    EXPECT_FALSE(element->clockwise());
}

TEST_F(RotateWidgetInChain, sameDirectionDoesNotDisturbARunningChain) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    ShownWidget::click(shown.clockButton);
    element->simpleStateConfigButtonPressed(1);
    EXPECT_EQ(element->stops, 0);
    EXPECT_EQ(element->starts, 1);
    chain.stop();
}

TEST_F(RotateWidgetInChain, pressedButtonRestartsARunningChainOnly) {
    element->simpleStateConfigButtonPressed(0);
    EXPECT_EQ(element->starts, 0);
    ASSERT_TRUE(chain.start());
    element->simpleStateConfigButtonPressed(1);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_FALSE(element->clockwiseAtStop);
    pushFrame();
    chain.stop();
    EXPECT_EQ(outputs, (std::vector<Bytes>{{4, 1, 5, 2, 6, 3}}));
}

TEST_F(RotateWidgetInChain, directionWithoutRestartCountsFromTheNextPictureOn) {
    ASSERT_TRUE(chain.start());
    pushFrame();
    element->setDirection(false, false);
    pushFrame();
    EXPECT_EQ(element->stops, 0);
    chain.stop();
    EXPECT_EQ(outputs, (std::vector<Bytes>{{4, 1, 5, 2, 6, 3}, {3, 6, 2, 5, 1, 4}}));
}

} // namespace
