// SPDX-License-Identifier: GPL-3.0-or-later
#include "RgbNirDemosaicWidget.h"

#include "Chain.h"
#include "FrameSource.h"
#include "RgbNirDemosaicCnbl.h"
#include "TestPictures.h"

#include <QLabel>
#include <QRadioButton>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <vector>

namespace {

SzPicBufInfo rawFormat() {
    return pictureFormat(2, 2, 1, EzImageDataType::UInt8, EzColorFilterArray::Hyperspectral);
}

/// Counts the starts and stops of its chain.
class CountingElement : public CzRgbNirDemosaicCnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzRgbNirDemosaicCnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzRgbNirDemosaicCnbl::onChainStopped(chain);
        ++stops;
        channelAtStop = channel();
    }
    int starts = 0;
    int stops = 0;
    int channelAtStop = -1;
};

/// The widget on the screen, and the user in front of it.
class ShownWidget {
public:
    explicit ShownWidget(CzRgbNirDemosaicCnbl& element)
        : widget(element.createConfigWidget())
        , rgbButton(widget->findChild<QRadioButton*>("rbRgb"))
        , nirButton(widget->findChild<QRadioButton*>("rbNir")) {
        widget->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(widget.get()));
    }

    static void click(QRadioButton* button) {
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, QPoint(8, button->height() / 2));
    }

    std::unique_ptr<QWidget> widget;
    QRadioButton* rgbButton;
    QRadioButton* nirButton;
};

// ---- What it shows ----

TEST(RgbNirDemosaicWidget, hasTwoButtonsAndAHint) {
    CzRgbNirDemosaicCnbl element;
    const CzRgbNirDemosaicWidget widget(&element);
    EXPECT_EQ(widget.windowTitle(), "RGB-NIR Demosaic");
    const auto* const layout = qobject_cast<QVBoxLayout*>(widget.layout());
    ASSERT_TRUE(layout);
    ASSERT_EQ(layout->count(), 3);
    const auto* const rgb = qobject_cast<QRadioButton*>(layout->itemAt(0)->widget());
    const auto* const nir = qobject_cast<QRadioButton*>(layout->itemAt(1)->widget());
    const auto* const hint = qobject_cast<QLabel*>(layout->itemAt(2)->widget());
    ASSERT_TRUE(rgb && nir && hint);
    EXPECT_EQ(rgb->text(), "RGB");
    EXPECT_EQ(nir->text(), "NIR");
    EXPECT_EQ(hint->text(), "Expects input images in RAW format");
}

TEST(RgbNirDemosaicWidget, showsNearInfraredForOneAndColourForAnyOtherNumberAndOpeningChangesNothing) {
    CzRgbNirDemosaicCnbl element;
    for (const int channel : {0, 1, 2, -1}) {
        element.setChannel(channel, false);
        const ShownWidget shown(element);
        EXPECT_EQ(shown.nirButton->isChecked(), channel == 1);
        EXPECT_EQ(shown.rgbButton->isChecked(), channel != 1);
        EXPECT_EQ(element.channel(), channel);
    }
}

// ---- What a click does ----

TEST(RgbNirDemosaicWidget, clickChoosesThePictureOutsideOfAnyChain) {
    CzRgbNirDemosaicCnbl element;
    const ShownWidget shown(element);
    ShownWidget::click(shown.nirButton);
    EXPECT_EQ(element.channel(), 1);
    EXPECT_FALSE(shown.rgbButton->isChecked());
    ShownWidget::click(shown.rgbButton);
    EXPECT_EQ(element.channel(), 0);
    EXPECT_FALSE(shown.nirButton->isChecked());
}

TEST(RgbNirDemosaicWidget, clickOnTheCheckedButtonReplacesANumberThatIsNoChoice) {
    CzRgbNirDemosaicCnbl element;
    element.setChannel(2, false);
    const ShownWidget shown(element);
    ShownWidget::click(shown.rgbButton);
    EXPECT_EQ(element.channel(), 0);
}

TEST(RgbNirDemosaicWidget, slotIgnoresCallsThatAreNoButtons) {
    CzRgbNirDemosaicCnbl element;
    element.setChannel(1, false);
    CzRgbNirDemosaicWidget widget(&element);
    ASSERT_TRUE(QMetaObject::invokeMethod(&widget, "on_rbChannelClicked"));
    EXPECT_EQ(element.channel(), 1);
    QLabel label;
    QObject::connect(&label, SIGNAL(linkActivated(QString)), &widget, SLOT(on_rbChannelClicked()));
    emit label.linkActivated("somewhere");
    EXPECT_EQ(element.channel(), 1);
}

TEST(RgbNirDemosaicWidget, slotTellsTheButtonsApartByTheirTextAlone) {
    CzRgbNirDemosaicCnbl element;
    CzRgbNirDemosaicWidget widget(&element);
    QRadioButton other("NIR");
    QObject::connect(&other, SIGNAL(clicked(bool)), &widget, SLOT(on_rbChannelClicked()));
    other.click();
    EXPECT_EQ(element.channel(), 1);
    other.setText("nir");
    other.click();
    EXPECT_EQ(element.channel(), 0);
}

// ---- In a chain ----

class RgbNirWidgetInChain : public testing::Test {
protected:
    RgbNirWidgetInChain() {
        chain.append(element);
        chain.source().setFormat(rawFormat(), CzImageMetadata());
        chain.setFrameObserver([this](const SzFrameReport& report) {
            const auto* const image = qobject_cast<const CzImageData*>(report.output);
            const std::lock_guard lock(channelsMutex);
            channels.push_back(image ? image->picBuf().channels : 0);
        });
    }

    void pushFrame() {
        EXPECT_TRUE(chain.source().push(numberedFrame(rawFormat())));
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    }

    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
    std::mutex channelsMutex;
    std::vector<std::uint32_t> channels; ///< of what came out
};

TEST_F(RgbNirWidgetInChain, clickStopsARunningChainStoresAndStartsItAgain) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    pushFrame();
    ShownWidget::click(shown.nirButton);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_EQ(element->channelAtStop, 0);
    EXPECT_EQ(element->channel(), 1);
    pushFrame();
    chain.stop();
    EXPECT_EQ(channels, (std::vector<std::uint32_t>{4, 1}));
}

TEST_F(RgbNirWidgetInChain, clickDoesNotStartAStoppedChain) {
    const ShownWidget shown(*element);
    ShownWidget::click(shown.nirButton);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    EXPECT_EQ(element->channel(), 1);
}

TEST_F(RgbNirWidgetInChain, clickRestartsARunningChainEvenWithoutAChange) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    ShownWidget::click(shown.rgbButton);
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_FALSE(chain.stopped());
    chain.stop();
}

TEST_F(RgbNirWidgetInChain, pressedButtonRestartsARunningChainOnlyEvenWithoutAChange) {
    element->simpleStateConfigButtonPressed(1);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    ASSERT_TRUE(chain.start());
    element->simpleStateConfigButtonPressed(0);
    EXPECT_EQ(element->channelAtStop, 1);
    element->simpleStateConfigButtonPressed(0);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 2);
    EXPECT_EQ(element->starts, 3);
    chain.stop();
}

TEST_F(RgbNirWidgetInChain, choiceWithoutRestartLeavesTheChainRunning) {
    ASSERT_TRUE(chain.start());
    pushFrame();
    element->setChannel(1, false);
    EXPECT_EQ(element->stops, 0);
    pushFrame();
    chain.stop();
    EXPECT_EQ(channels, (std::vector<std::uint32_t>{4, 1}));
}

} // namespace
