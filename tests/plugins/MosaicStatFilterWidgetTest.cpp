// SPDX-License-Identifier: GPL-3.0-or-later
#include "MosaicStatFilterWidget.h"

#include "Chain.h"
#include "FrameSource.h"
#include "MosaicStatFilterChnbl.h"
#include "TestPictures.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t minimum = CzMosaicStatFilterChnbl::Minimum;
constexpr std::int32_t maximum = CzMosaicStatFilterChnbl::Maximum;
constexpr std::int32_t average = CzMosaicStatFilterChnbl::Average;
constexpr std::int32_t normalize = CzMosaicStatFilterChnbl::Normalize;

/// Counts the starts and stops of its chain.
class CountingElement : public CzMosaicStatFilterChnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzMosaicStatFilterChnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzMosaicStatFilterChnbl::onChainStopped(chain);
        ++stops;
        captionAtStop = caption();
    }
    int starts = 0;
    int stops = 0;
    QString captionAtStop;
};

/// The widget on the screen, and the user in front of it.
class ShownWidget {
public:
    explicit ShownWidget(CzMosaicStatFilterChnbl& element)
        : widget(element.createConfigWidget())
        , filter(widget->findChild<QComboBox*>("cboFilter"))
        , interpolation(widget->findChild<QCheckBox*>("chkInterpolation")) {
        widget->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(widget.get()));
    }

    /// By the keyboard, from the first item down.
    void pick(int row) const {
        QTest::keyClick(filter, Qt::Key_Home);
        for (int i = 0; i < row; ++i)
            QTest::keyClick(filter, Qt::Key_Down);
    }
    void click() const {
        QTest::mouseClick(interpolation, Qt::LeftButton, Qt::NoModifier,
                          QPoint(8, interpolation->height() / 2));
    }

    std::unique_ptr<QWidget> widget;
    QComboBox* filter;
    QCheckBox* interpolation;
};

// ---- What it shows ----

TEST(MosaicStatFilterWidget, isAFormWithTheFiltersAboveALineWithTheInterpolation) {
    CzMosaicStatFilterChnbl element;
    const CzMosaicStatFilterWidget widget(&element);
    EXPECT_EQ(widget.windowTitle(), "Mosaic Filter");
    EXPECT_EQ(widget.parent(), nullptr);
    const auto* const layout = qobject_cast<QVBoxLayout*>(widget.layout());
    ASSERT_TRUE(layout);
    ASSERT_EQ(layout->count(), 2);

    const auto* const form = qobject_cast<QFormLayout*>(layout->itemAt(0)->layout());
    ASSERT_TRUE(form);
    ASSERT_EQ(form->rowCount(), 1);
    const auto* const label = qobject_cast<QLabel*>(form->itemAt(0, QFormLayout::LabelRole)->widget());
    const auto* const filter = qobject_cast<QComboBox*>(form->itemAt(0, QFormLayout::FieldRole)->widget());
    ASSERT_TRUE(label && filter);
    EXPECT_EQ(label->text(), "Filter");
    ASSERT_EQ(filter->count(), 4);
    const char* const names[] = {"Minimum", "Maximum", "Average", "Normalize"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(filter->itemText(i), names[i]);
        EXPECT_EQ(filter->itemData(i), i);
    }

    const auto* const line = qobject_cast<QHBoxLayout*>(layout->itemAt(1)->layout());
    ASSERT_TRUE(line);
    ASSERT_EQ(line->count(), 2);
    const auto* const words = qobject_cast<QLabel*>(line->itemAt(0)->widget());
    const auto* const interpolation = qobject_cast<QCheckBox*>(line->itemAt(1)->widget());
    ASSERT_TRUE(words && interpolation);
    EXPECT_EQ(words->text(), "Interpolation");
    EXPECT_EQ(interpolation->text(), QString());
}

TEST(MosaicStatFilterWidget, showsTheParametersOfTheElementAndOpeningChangesNothing) {
    CzMosaicStatFilterChnbl element;
    for (const std::int32_t filter : {minimum, maximum, average, normalize})
        for (const bool interpolation : {false, true}) {
            element.setStatFilter(filter);
            element.setInterpolation(interpolation);
            const ShownWidget shown(element);
            EXPECT_EQ(shown.filter->currentData(), filter);
            EXPECT_EQ(shown.interpolation->isChecked(), interpolation);
            EXPECT_EQ(shown.interpolation->isEnabled(), filter != normalize);
            EXPECT_EQ(element.statFilter(), filter);
            EXPECT_EQ(element.interpolation(), interpolation);
        }
}

TEST(MosaicStatFilterWidget, unknownFilterShowsTheFirstOneAndStays) {
    CzMosaicStatFilterChnbl element;
    element.setStatFilter(77);
    const ShownWidget shown(element);
    EXPECT_EQ(shown.filter->currentIndex(), 0);
    EXPECT_TRUE(shown.interpolation->isEnabled());
    EXPECT_EQ(element.statFilter(), 77);
}

// ---- What a change does ----

TEST(MosaicStatFilterWidget, changesTheElementOutsideOfAnyChain) {
    CzMosaicStatFilterChnbl element;
    const ShownWidget shown(element);
    for (const std::int32_t filter : {maximum, normalize, average, minimum}) {
        shown.pick(filter);
        EXPECT_EQ(element.statFilter(), filter);
        EXPECT_EQ(shown.interpolation->isEnabled(), filter != normalize);
    }
    shown.click();
    EXPECT_FALSE(element.interpolation());
    shown.click();
    EXPECT_TRUE(element.interpolation());
}

TEST(MosaicStatFilterWidget, interpolationCannotBeClickedWhileNormalizing) {
    CzMosaicStatFilterChnbl element;
    const ShownWidget shown(element);
    shown.pick(normalize);
    shown.click();
    EXPECT_TRUE(element.interpolation());
    EXPECT_TRUE(shown.interpolation->isChecked());
}

TEST(MosaicStatFilterWidget, hasTwoSlotsThatAreFoundByName) {
    CzMosaicStatFilterChnbl element;
    CzMosaicStatFilterWidget widget(&element);
    const QMetaObject& metaObject = *widget.metaObject();
    EXPECT_EQ(metaObject.methodCount() - metaObject.methodOffset(), 2);
    ASSERT_TRUE(QMetaObject::invokeMethod(&widget, "onStatCurrentIndexChanged", Q_ARG(int, 3)));
    EXPECT_EQ(element.statFilter(), normalize);
    EXPECT_FALSE(widget.findChild<QCheckBox*>("chkInterpolation")->isEnabled());
    widget.findChild<QCheckBox*>("chkInterpolation")->setChecked(false); // as code does, without a click
    EXPECT_TRUE(element.interpolation());
    ASSERT_TRUE(QMetaObject::invokeMethod(&widget, "onInterpolationStateClicked"));
    EXPECT_FALSE(element.interpolation());
}

// ---- In a chain ----

class MosaicStatFilterWidgetInChain : public testing::Test {
protected:
    MosaicStatFilterWidgetInChain() {
        chain.append(element);
        chain.source().setFormat(format, CzImageMetadata());
        chain.setFrameObserver([this](const SzFrameReport& report) {
            const auto* const image = qobject_cast<const CzImageData*>(report.output);
            const std::lock_guard lock(outputsMutex);
            outputs.push_back(image ? samplesOf<std::uint8_t>(image->picBuf()) : Bytes());
        });
    }

    void pushFrame() {
        EXPECT_TRUE(chain.source().push(numberedFrame(format)));
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    }

    const SzPicBufInfo format =
        pictureFormat(4, 2, 1, EzImageDataType::UInt8, EzColorFilterArray::BayerRGGB); // 1 2 3 4, 5 6 7 8
    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
    std::mutex outputsMutex;
    std::vector<Bytes> outputs;
};

TEST_F(MosaicStatFilterWidgetInChain, changesStopARunningChainStoreAndStartItAgain) {
    element->setInterpolation(false);
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    pushFrame();
    QTest::keyClick(shown.filter, Qt::Key_Up); // from average to maximum
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_EQ(element->captionAtStop, "Mosaic Average");
    pushFrame();
    shown.click();
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 2);
    EXPECT_EQ(element->starts, 3);
    EXPECT_EQ(element->captionAtStop, "Mosaic Maximum");
    pushFrame();
    chain.stop();
    EXPECT_EQ(outputs, (std::vector<Bytes>{{4, 6}, {6, 8}, {6, 7, 8, 8, 6, 7, 8, 8}}));
}

TEST_F(MosaicStatFilterWidgetInChain, changesDoNotStartAStoppedChain) {
    const ShownWidget shown(*element);
    shown.pick(maximum);
    shown.click();
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    EXPECT_EQ(element->stops, 0);
    EXPECT_EQ(element->caption(), "Mosaic Maximum");
}

TEST_F(MosaicStatFilterWidgetInChain, whatIsTheSameDoesNotDisturbARunningChain) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    EXPECT_TRUE(
        QMetaObject::invokeMethod(shown.widget.get(), "onStatCurrentIndexChanged", Q_ARG(int, average)));
    EXPECT_TRUE(QMetaObject::invokeMethod(shown.widget.get(), "onInterpolationStateClicked"));
    EXPECT_EQ(element->stops, 0);
    EXPECT_EQ(element->starts, 1);
    chain.stop();
}

} // namespace
