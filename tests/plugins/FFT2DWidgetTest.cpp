// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT2DWidget.h"

#include "Chain.h"
#include "FFT2DCnbl.h"
#include "FrameSource.h"
#include "TestPictures.h"

#include <QListWidget>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <vector>

namespace {

constexpr auto rggb = EzColorFilterArray::BayerRGGB;

/// Counts the starts and stops of its chain.
class CountingElement : public CzFFT2DCnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzFFT2DCnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzFFT2DCnbl::onChainStopped(chain);
        ++stops;
        channelAtStop = channel();
    }
    int starts = 0;
    int stops = 0;
    std::int32_t channelAtStop = 0;
};

/// The widget on the screen, and the user in front of it.
class ShownWidget {
public:
    explicit ShownWidget(CzFFT2DCnbl& element)
        : widget(element.createConfigWidget()), list(widget->findChild<QListWidget*>("lstChannel")) {
        widget->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(widget.get()));
    }

    void click(int row) const {
        const QRect item = list->visualItemRect(list->item(row));
        ASSERT_TRUE(list->viewport()->rect().contains(item.center()));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, item.center());
    }

    QStringList names() const {
        QStringList texts;
        for (int row = 0; row < list->count(); ++row)
            texts.append(list->item(row)->text());
        return texts;
    }

    std::unique_ptr<QWidget> widget;
    QListWidget* list;
};

// ---- What it shows ----

TEST(FFT2DWidget, listsTheWholeMosaicAndItsSubPlanes) {
    LooseElement<CzFFT2DCnbl> element;
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb));
    const ShownWidget shown(element);
    EXPECT_EQ(shown.widget->windowTitle(), "FFT 2D");
    EXPECT_EQ(shown.names(), (QStringList{"Mono", "Red", "Green 1", "Green 2", "Blue"}));
    for (int row = 0; row < 5; ++row)
        EXPECT_EQ(shown.list->item(row)->data(Qt::UserRole), QVariant(row - 1));
    EXPECT_EQ(shown.list->currentRow(), 0);
    EXPECT_EQ(element.channel(), -1); // opening it changes nothing
}

TEST(FFT2DWidget, plainPictureHasOneEntryUnknownInputNone) {
    LooseElement<CzFFT2DCnbl> element;
    EXPECT_EQ(ShownWidget(element).list->count(), 0);
    element.setInput(pictureFormat(8, 8));
    const ShownWidget shown(element);
    EXPECT_EQ(shown.names(), QStringList{"Mono"});
    EXPECT_EQ(shown.list->currentRow(), 0);
    EXPECT_EQ(element.channel(), -1);
}

TEST(FFT2DWidget, currentItemIsInView) {
    LooseElement<CzFFT2DCnbl> element;
    element.setInput(pictureFormat(80, 80, 1, EzImageDataType::UInt8, EzColorFilterArray::Hyperspectral),
                     hyperspectral({filterZone(8, 8)}));
    element.setChannel(60);
    const ShownWidget shown(element);
    EXPECT_EQ(shown.list->count(), 65);
    EXPECT_EQ(shown.list->currentItem()->text(), "band 60");
    EXPECT_TRUE(shown.list->viewport()->rect().contains(
        shown.list->visualItemRect(shown.list->currentItem()).center()));
}

// ---- What a click does ----

TEST(FFT2DWidget, clickChoosesTheChannelOutsideOfAnyChain) {
    LooseElement<CzFFT2DCnbl> element;
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb));
    const ShownWidget shown(element);
    shown.click(4);
    EXPECT_EQ(element.channel(), 3);
    shown.click(0);
    EXPECT_EQ(element.channel(), -1);
}

TEST(FFT2DWidget, slotIgnoresCallsThatAreNotTheListsAndRowsWithoutItem) {
    LooseElement<CzFFT2DCnbl> element;
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb));
    element.setChannel(1);
    const ShownWidget shown(element);
    ASSERT_TRUE(QMetaObject::invokeMethod(shown.widget.get(), "on_lstChannelClicked", Q_ARG(int, 0)));
    shown.list->setCurrentRow(-1);
    EXPECT_EQ(element.channel(), 1);
}

// ---- In a chain ----

class FFT2DInChain : public testing::Test {
protected:
    FFT2DInChain() {
        chain.append(element);
        chain.source().setFormat(format, CzImageMetadata());
        chain.setFrameObserver([this](const SzFrameReport& report) {
            const auto* const image = qobject_cast<const CzImageData*>(report.output);
            const std::lock_guard lock(outputsMutex);
            outputs.push_back(image ? samplesOf<float>(image->picBuf()) : std::vector<float>());
        });
    }

    void pushFrame() {
        EXPECT_TRUE(chain.source().push(numberedFrame(format)));
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    }

    SzPicBufInfo format = pictureFormat(4, 2, 1, EzImageDataType::UInt8, rggb);
    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
    std::mutex outputsMutex;
    std::vector<std::vector<float>> outputs;
};

TEST_F(FFT2DInChain, clickStopsARunningChainStoresAndStartsItAgain) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    pushFrame();
    shown.click(2);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_EQ(element->channelAtStop, -1);
    EXPECT_EQ(element->channel(), 1);
    pushFrame();
    chain.stop();
    ASSERT_EQ(outputs.size(), 2U);
    EXPECT_EQ(outputs[0].size(), 8U);
    EXPECT_EQ(outputs[1], (std::vector<float>{-2, 6}));
}

TEST_F(FFT2DInChain, clickDoesNotStartAStoppedChain) {
    const ShownWidget shown(*element);
    shown.click(1);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    EXPECT_EQ(element->channel(), 0);
}

TEST_F(FFT2DInChain, changedInputResetsTheChannelInMidRunAndLosesNoFrame) {
    element->setChannel(3);
    ASSERT_TRUE(chain.start());
    pushFrame();
    EXPECT_EQ(outputs.back().size(), 2U);
    format.colorFilterArray = EzColorFilterArray::BayerBGGR;
    pushFrame();
    EXPECT_EQ(outputs.back().size(), 8U);
    EXPECT_EQ(element->channel(), -1);
    chain.stop();
    EXPECT_EQ(chain.counters().framesOut, 2U);
}

TEST_F(FFT2DInChain, frameWhoseTransformFailsIsConsumedWithoutAMessage) {
    format = pictureFormat(1, 1, 1, EzImageDataType::UInt8, rggb); // its sub-planes have no pixels
    chain.source().setFormat(format, CzImageMetadata());
    element->setChannel(3);
    ASSERT_TRUE(chain.start());
    pushFrame();
    chain.stop();
    const SzChainCounters counters = chain.counters();
    EXPECT_EQ(counters.framesIn, 1U);
    EXPECT_EQ(counters.framesConsumed, 1U);
    EXPECT_EQ(counters.framesOut + counters.framesDropped + counters.framesFailed, 0U);
    EXPECT_EQ(counters.poolExhaustions, 0U);
    EXPECT_EQ(element->errorMessage(), QString());
}

} // namespace
