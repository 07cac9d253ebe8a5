// SPDX-License-Identifier: GPL-3.0-or-later
#include "ExtractChannelWidget.h"

#include "Chain.h"
#include "ExtractChannelCnbl.h"
#include "FrameSource.h"
#include "TestPictures.h"

#include <QDomDocument>
#include <QListWidget>
#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace {

SzPicBufInfo colourFormat() {
    SzPicBufInfo format = pictureFormat(4, 2, 3);
    format.isColor = true;
    return format;
}

/// Counts the starts and stops of its chain.
class CountingElement : public CzExtractChannelCnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzExtractChannelCnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzExtractChannelCnbl::onChainStopped(chain);
        ++stops;
        channelAtStop = channelIdx();
    }
    int starts = 0;
    int stops = 0;
    std::uint32_t channelAtStop = 0;
};

/// The widget on the screen, and the user in front of it.
class ShownWidget {
public:
    explicit ShownWidget(CzExtractChannelCnbl& element)
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

TEST(ExtractChannelWidget, listsTheChannelsWithTheirIdentifiers) {
    LooseElement<CzExtractChannelCnbl> element;
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, EzColorFilterArray::BayerGBRG));
    const ShownWidget shown(element);
    EXPECT_EQ(shown.widget->windowTitle(), "Extract Channel");
    EXPECT_EQ(shown.names(), (QStringList{"Red", "Green 1", "Green 2", "Blue"}));
    const std::vector<int> ids{2, 0, 3, 1};
    for (int row = 0; row < 4; ++row)
        EXPECT_EQ(shown.list->item(row)->data(Qt::UserRole), QVariant(ids[static_cast<std::size_t>(row)]));
    EXPECT_EQ(shown.list->currentRow(), 1);
}

TEST(ExtractChannelWidget, monoPictureHasOneEntry) {
    LooseElement<CzExtractChannelCnbl> element;
    element.setInput(pictureFormat(8, 8));
    const ShownWidget shown(element);
    EXPECT_EQ(shown.names(), QStringList{"Mono"});
    EXPECT_EQ(shown.list->currentRow(), 0);
}

TEST(ExtractChannelWidget, unknownInputHasNoEntries) {
    LooseElement<CzExtractChannelCnbl> element;
    const ShownWidget shown(element);
    EXPECT_EQ(shown.list->count(), 0);
    EXPECT_EQ(shown.list->currentRow(), -1);
}

TEST(ExtractChannelWidget, effectiveChannelIsCurrentAndOpeningChangesNothing) {
    LooseElement<CzExtractChannelCnbl> element;
    element.setInput(colourFormat());
    element.setChannel(9, "as it was");
    const ShownWidget shown(element);
    EXPECT_EQ(shown.list->currentItem()->text(), "Red"); // identifier 2, the last
    EXPECT_EQ(element.channelIdx(), 9U);
    EXPECT_EQ(element.selectedChannelName(), "as it was");
}

TEST(ExtractChannelWidget, firstRowIsCurrentWhenTheEffectiveChannelHasNone) {
    LooseElement<CzExtractChannelCnbl> element;
    SzPicBufInfo format = colourFormat();
    format.channels = 4;
    element.setInput(format);
    element.setChannel(3, QString()); // the padding sample
    const ShownWidget shown(element);
    EXPECT_EQ(shown.list->currentRow(), 0);
    EXPECT_EQ(element.channelIdx(), 3U);
}

TEST(ExtractChannelWidget, currentItemIsInView) {
    LooseElement<CzExtractChannelCnbl> element;
    element.setInput(pictureFormat(80, 80, 1, EzImageDataType::UInt8, EzColorFilterArray::Hyperspectral),
                     hyperspectral({filterZone(8, 8)}));
    element.setChannel(60, QString());
    const ShownWidget shown(element);
    EXPECT_TRUE(shown.list->viewport()->rect().contains(
        shown.list->visualItemRect(shown.list->currentItem()).center()));
}

// ---- What a click does ----

TEST(ExtractChannelWidget, clickChoosesChannelAndNameOutsideOfAnyChain) {
    LooseElement<CzExtractChannelCnbl> element;
    element.setInput(colourFormat());
    const ShownWidget shown(element);
    shown.click(1);
    EXPECT_EQ(element.channelIdx(), 1U);
    EXPECT_EQ(element.selectedChannelName(), "Green");
    shown.click(0);
    EXPECT_EQ(element.channelIdx(), 2U);
    EXPECT_EQ(element.selectedChannelName(), "Red");
}

TEST(ExtractChannelWidget, slotIgnoresCallsThatAreNotTheListsAndRowsWithoutItem) {
    LooseElement<CzExtractChannelCnbl> element;
    element.setInput(colourFormat());
    element.setChannel(1, "as it was");
    const ShownWidget shown(element);
    ASSERT_TRUE(QMetaObject::invokeMethod(shown.widget.get(), "on_lstChannelClicked", Q_ARG(int, 0)));
    shown.list->setCurrentRow(-1);
    EXPECT_EQ(element.channelIdx(), 1U);
    EXPECT_EQ(element.selectedChannelName(), "as it was");
}

TEST(ExtractChannelWidget, valueArrivesUnderTheLock) {
    class LockableElement : public LooseElement<CzExtractChannelCnbl> {
    public:
        QMutex& lock() { return mutex; }
    };
    LockableElement element;
    element.setInput(colourFormat());
    const ShownWidget shown(element);

    std::atomic<bool> locked = false;
    std::atomic<bool> released = false;
    std::thread worker([&] {
        element.lock().lock();
        locked = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        released = true;
        element.lock().unlock();
    });
    while (!locked)
        std::this_thread::yield();
    shown.click(1);
    EXPECT_TRUE(released);
    worker.join();
    EXPECT_EQ(element.channelIdx(), 1U);
}

// ---- In a chain ----

class ExtractChannelInChain : public testing::Test {
protected:
    ExtractChannelInChain() {
        chain.append(element);
        chain.source().setFormat(colourFormat(), CzImageMetadata());
        chain.setFrameObserver([this](const SzFrameReport& report) {
            const auto* const image = qobject_cast<const CzImageData*>(report.output);
            const std::lock_guard lock(outputsMutex);
            outputs.push_back(image ? samplesOf<std::uint8_t>(image->picBuf()) : std::vector<std::uint8_t>());
        });
    }

    void pushFrame() {
        EXPECT_TRUE(chain.source().push(numberedFrame(colourFormat())));
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    }

    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
    std::mutex outputsMutex;
    std::vector<std::vector<std::uint8_t>> outputs;
};

TEST_F(ExtractChannelInChain, clickStopsARunningChainStoresAndStartsItAgain) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    pushFrame();
    shown.click(0);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_EQ(element->channelAtStop, 0U);
    EXPECT_EQ(element->channelIdx(), 2U);
    pushFrame();
    chain.stop();
    ASSERT_EQ(outputs.size(), 2U);
    EXPECT_EQ(outputs[0], (std::vector<std::uint8_t>{1, 4, 7, 10, 13, 16, 19, 22}));
    EXPECT_EQ(outputs[1], (std::vector<std::uint8_t>{3, 6, 9, 12, 15, 18, 21, 24}));
}

TEST_F(ExtractChannelInChain, clickDoesNotStartAStoppedChain) {
    const ShownWidget shown(*element);
    shown.click(1);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    EXPECT_EQ(element->stops, 0);
    EXPECT_EQ(element->channelIdx(), 1U);
}

TEST_F(ExtractChannelInChain, valueIsStoredAndTheChainRestartedEvenWhenItIsTheSame) {
    const ShownWidget shown(*element); // "Blue", identifier 0, is current
    element->setChannel(2, QString());
    ASSERT_TRUE(chain.start());
    shown.click(0);
    EXPECT_EQ(element->channelIdx(), 2U);
    EXPECT_EQ(element->selectedChannelName(), "Red");
    EXPECT_EQ(element->starts, 2);
    chain.stop();
}

TEST_F(ExtractChannelInChain, pressedButtonRestartsARunningChainOnly) {
    element->simpleStateConfigButtonPressed(1);
    EXPECT_EQ(element->starts, 0);
    ASSERT_TRUE(chain.start());
    element->simpleStateConfigButtonPressed(2);
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    pushFrame();
    chain.stop();
    EXPECT_EQ(outputs.at(0).at(0), 3);
}

TEST_F(ExtractChannelInChain, oldAndNewChannelsNeverMixWhileSettingsAreLoadedInMidRun) {
    // Loading does not stop the chain: each frame is wholly of one zone, in size and content.
    const SzPicBufInfo format =
        pictureFormat(40, 40, 1, EzImageDataType::UInt8, EzColorFilterArray::Hyperspectral);
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2), filterZone(4, 4)});
    chain.source().setFormat(format, metadata);
    ASSERT_TRUE(chain.start());
    std::atomic<bool> done = false;
    std::thread loader([&] {
        QDomDocument document;
        QDomElement settings = document.createElement("chainable");
        for (int i = 0; !done; ++i) {
            settings.setAttribute("channelIdx", i % 2 == 0 ? 0 : 4);
            EXPECT_TRUE(element->loadSettings(settings));
        }
    });
    for (int i = 0; i < 2000; ++i)
        EXPECT_TRUE(chain.source().push(numberedFrame(format, metadata)));
    EXPECT_TRUE(chain.waitUntilIdle(60000));
    done = true;
    loader.join();
    chain.stop();
    ASSERT_EQ(outputs.size(), 2000U);
    for (const auto& output : outputs) {
        ASSERT_TRUE(output.size() == 400 || output.size() == 100);
        EXPECT_EQ(output[1], output.size() == 400 ? 3 : 5);
    }
}

} // namespace
