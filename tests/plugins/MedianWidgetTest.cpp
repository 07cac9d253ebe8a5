// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianWidget.h"

#include "Chain.h"
#include "FrameSource.h"
#include "MedianCnbl.h"
#include "TestPictures.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSpinBox>
#include <QTest>

#include <gtest/gtest.h>

#include <climits>
#include <memory>

namespace {

/// Counts the starts and stops of its chain.
class CountingElement : public CzMedianCnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzMedianCnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzMedianCnbl::onChainStopped(chain);
        ++stops;
        radiusAtStop = radius();
    }
    int starts = 0;
    int stops = 0;
    int radiusAtStop = 0;
};

/// The widget on the screen.
class ShownWidget {
public:
    explicit ShownWidget(CzMedianCnbl& element)
        : widget(element.createConfigWidget())
        , spin(widget->findChild<QSpinBox*>("spinRadius"))
        , label(widget->findChild<QLabel*>("lblKernelSize")) {
        widget->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(widget.get()));
    }

    std::unique_ptr<QWidget> widget;
    QSpinBox* spin;
    QLabel* label;
};

// ---- What it shows ----

TEST(MedianWidget, isOneRowOfSpinBoxAndLabel) {
    LooseElement<CzMedianCnbl> element;
    const ShownWidget shown(element);
    EXPECT_EQ(shown.widget->windowTitle(), "Median Filter");
    const auto* const form = qobject_cast<QFormLayout*>(shown.widget->layout());
    ASSERT_TRUE(form);
    ASSERT_EQ(form->rowCount(), 1);
    const auto* const caption = qobject_cast<QLabel*>(form->itemAt(0, QFormLayout::LabelRole)->widget());
    ASSERT_TRUE(caption);
    EXPECT_EQ(caption->text(), "Kernel size:");
    const auto* const box = qobject_cast<QHBoxLayout*>(form->itemAt(0, QFormLayout::FieldRole)->layout());
    ASSERT_TRUE(box);
    ASSERT_EQ(box->count(), 2);
    EXPECT_EQ(box->itemAt(0)->widget(), shown.spin);
    EXPECT_EQ(box->itemAt(1)->widget(), shown.label);
}

TEST(MedianWidget, showsTheKernelSizeAndOpeningChangesNothing) {
    LooseElement<CzMedianCnbl> element;
    element.setRadius(3);
    const ShownWidget shown(element);
    EXPECT_EQ(shown.spin->value(), 7);
    EXPECT_EQ(shown.spin->singleStep(), 2);
    EXPECT_EQ(shown.label->text(), "7x7");
    EXPECT_EQ(element.radius(), 3);
}

TEST(MedianWidget, spinBoxGoesFromThreeTo2048WhileNoInputIsKnown) {
    LooseElement<CzMedianCnbl> element;
    const ShownWidget shown(element);
    EXPECT_EQ(shown.spin->minimum(), 3);
    EXPECT_EQ(shown.spin->maximum(), 2048);
}

TEST(MedianWidget, spinBoxGoesToTheWholePicturesSmallerSideAlsoForMosaics) {
    for (const EzColorFilterArray filter : {EzColorFilterArray::None, EzColorFilterArray::BayerRGGB}) {
        LooseElement<CzMedianCnbl> element;
        element.setInput(pictureFormat(1000, 600, 1, EzImageDataType::UInt8, filter));
        EXPECT_EQ(ShownWidget(element).spin->maximum(), 600);
        element.setInput(pictureFormat(600, 1000, 1, EzImageDataType::UInt8, filter));
        EXPECT_EQ(ShownWidget(element).spin->maximum(), 600);
        element.setInput(pictureFormat(9000, 4000000000U, 1, EzImageDataType::UInt8, filter));
        EXPECT_EQ(ShownWidget(element).spin->maximum(), 2048);
    }
}

TEST(MedianWidget, pictureSmallerThanTheSmallestKernelLeavesNoChoice) {
    LooseElement<CzMedianCnbl> element;
    element.setInput(pictureFormat(2, 600));
    const ShownWidget shown(element);
    EXPECT_EQ(shown.spin->minimum(), 3);
    EXPECT_EQ(shown.spin->maximum(), 3);
    EXPECT_EQ(shown.label->text(), "3x3");
}

TEST(MedianWidget, largerRadiusThanTheSpinBoxHoldsStaysTheElements) {
    LooseElement<CzMedianCnbl> element;
    element.setInput(pictureFormat(20, 20));
    element.setRadius(40);
    const ShownWidget shown(element);
    EXPECT_EQ(shown.spin->value(), 20);
    EXPECT_EQ(shown.label->text(), "19x19");
    EXPECT_EQ(element.radius(), 40);
}

// ---- What a change does ----

TEST(MedianWidget, evenValueCountsAsTheOddOneBelow) {
    LooseElement<CzMedianCnbl> element;
    const ShownWidget shown(element);
    shown.spin->setValue(8);
    EXPECT_EQ(shown.label->text(), "7x7");
    EXPECT_EQ(element.radius(), 3);
    shown.spin->setValue(101);
    EXPECT_EQ(shown.label->text(), "101x101");
    EXPECT_EQ(element.radius(), 50);
}

TEST(MedianWidget, arrowKeyChangesTheKernelByTwo) {
    LooseElement<CzMedianCnbl> element;
    const ShownWidget shown(element);
    QTest::keyClick(shown.spin, Qt::Key_Up);
    EXPECT_EQ(shown.spin->value(), 5);
    EXPECT_EQ(element.radius(), 2);
}

TEST(MedianWidget, widgetFitsItsLabel) {
    LooseElement<CzMedianCnbl> element;
    const ShownWidget shown(element);
    shown.spin->setValue(1001);
    EXPECT_EQ(shown.widget->size(), shown.widget->sizeHint());
}

TEST(MedianWidget, slotIsFoundByItsName) {
    LooseElement<CzMedianCnbl> element;
    const ShownWidget shown(element);
    ASSERT_TRUE(QMetaObject::invokeMethod(shown.widget.get(), "onSpinRadiusValueChanged", Q_ARG(int, 9)));
    EXPECT_EQ(element.radius(), 4);
    EXPECT_EQ(
        CzMedianWidget::staticMetaObject.methodCount() - CzMedianWidget::staticMetaObject.methodOffset(), 1);
}

TEST(MedianWidget, slotTakesAnyNumber) {
    LooseElement<CzMedianCnbl> element;
    const ShownWidget shown(element);
    const auto radiusFor = [&](int value) {
        element.setRadius(7);
        EXPECT_TRUE(
            QMetaObject::invokeMethod(shown.widget.get(), "onSpinRadiusValueChanged", Q_ARG(int, value)));
        EXPECT_EQ(shown.label->text(), "3x3"); // the spin box's
        return element.radius();
    };
    for (const int value : {2, 1, 0, -1, -7, INT_MIN})
        EXPECT_EQ(radiusFor(value), 0) << value;
    EXPECT_EQ(radiusFor(INT_MAX), 1073741823);
}

// ---- In a chain ----

class MedianWidgetInChain : public testing::Test {
protected:
    MedianWidgetInChain() {
        chain.append(element);
        chain.source().setFormat(pictureFormat(30, 20), CzImageMetadata());
    }

    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
};

TEST_F(MedianWidgetInChain, changeStopsARunningChainStoresAndStartsItAgain) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    shown.spin->setValue(5);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_EQ(element->radiusAtStop, 1);
    EXPECT_EQ(element->radius(), 2);
    chain.stop();
}

TEST_F(MedianWidgetInChain, changeToTheSameKernelRestartsNothing) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    shown.spin->setValue(4);
    EXPECT_EQ(shown.label->text(), "3x3");
    EXPECT_EQ(element->stops, 0);
    EXPECT_EQ(element->starts, 1);
    EXPECT_EQ(element->radius(), 1);
    chain.stop();
}

TEST_F(MedianWidgetInChain, changeDoesNotStartAStoppedChain) {
    const ShownWidget shown(*element);
    shown.spin->setValue(9);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    EXPECT_EQ(element->radius(), 4);
}

} // namespace
