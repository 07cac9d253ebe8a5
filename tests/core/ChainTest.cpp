// SPDX-License-Identifier: GPL-3.0-or-later
#include "Chain.h"

#include "FFTImageData.h"
#include "FrameSource.h"
#include "ImageData.h"
#include "MemoryPool.h"
#include "PicBufAPI.h"
#include "support/ScriptedElement.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QSemaphore>
#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

SzPicBufInfo format(std::uint32_t width, std::uint32_t height, std::uint32_t linePitch = 0) {
    SzPicBufInfo info;
    info.width = width;
    info.height = height;
    info.linePitch = linePitch;
    info.channels = 1;
    info.bitDepth = 8;
    info.dataType = EzImageDataType::UInt8;
    return info;
}

std::unique_ptr<CzImageData> frame(int frameNo, const SzPicBufInfo& info = format(8, 4)) {
    SzPicBuf picture;
    EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, info, false));
    for (std::uint32_t y = 0; y < info.height; ++y)
        for (std::uint32_t x = 0; x < info.width; ++x)
            picture.data[y * picture.linePitch + x] = static_cast<std::uint8_t>(frameNo + int(10 * y + x));
    picture.frameNo = frameNo;
    auto data = std::make_unique<CzImageData>();
    data->setPicBuf(picture);
    return data;
}

/// Takes a pool picture in place of the input, or gives up with null.
IzChainData* replaceFromPool(ScriptedElement& element, IzChainData* input) {
    SzPicBuf output;
    if (!CzPicBufAPI::AllocPicBufFromPool(element.pool(), &element, output,
                                          static_cast<CzImageData*>(input)->picBuf(), false))
        return nullptr;
    output.copyPicAdditionalData(static_cast<CzImageData*>(input)->picBuf());
    delete input;
    auto* const result = new CzImageData;
    result->setPicBuf(output);
    return result;
}

bool addsUp(const SzChainCounters& c) {
    return c.framesIn == c.framesOut + c.framesConsumed + c.framesDropped + c.framesFailed;
}

class ChainTest : public testing::Test {
protected:
    ScriptedElement*
    add(CzChainable::EzChainableFlags flags = CzChainable::EzChainableFlag::ReadsPaddedLines) {
        auto* const element = new ScriptedElement(flags);
        EXPECT_TRUE(chain.append(element));
        return element;
    }

    void observe() {
        chain.setFrameObserver([this](const SzFrameReport& report) {
            numbers.push_back(report.frameNo);
            statuses.push_back(report.status);
            further.push_back(report.further);
            messages.push_back(report.elements.isEmpty() ? QString() : report.elements.first().errorMessage);
        });
    }

    void runFrames(int count) {
        ASSERT_TRUE(chain.start());
        for (int i = 1; i <= count; ++i)
            ASSERT_TRUE(chain.source().push(frame(i)));
        ASSERT_TRUE(chain.waitUntilIdle());
        chain.stop();
    }

    /// An element that tells when it has a frame, and waits for leave to go on.
    ScriptedElement* addGate() {
        ScriptedElement* const element = add();
        element->process = [this](ScriptedElement&, IzChainData* input) {
            atWork.release();
            goOn.acquire();
            return input;
        };
        return element;
    }

    /// Stops the chain with a frame in the gate, which gets leave while stop() waits for it.
    void stopWithTheFrameAtHand() {
        atWork.acquire();
        std::thread release([this] {
            QThread::msleep(20);
            goOn.release();
        });
        chain.stop();
        release.join();
    }

    QSemaphore atWork;
    QSemaphore goOn;
    CzChain chain;
    std::vector<int> numbers;
    std::vector<EzFrameStatus> statuses;
    std::vector<bool> further;
    std::vector<QString> messages;
};

TEST_F(ChainTest, AnEmptyChainDeliversEveryFrameInOrder) {
    observe();
    runFrames(5);
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(5U, chain.counters().framesIn);
    EXPECT_EQ(5U, chain.counters().framesOut);
}

TEST_F(ChainTest, StartAndStopReturnAtOnceWhenThereIsNothingToDo) {
    EXPECT_TRUE(chain.stopped());
    chain.stop();
    EXPECT_TRUE(chain.start());
    EXPECT_TRUE(chain.start());
    EXPECT_FALSE(chain.stopped());
    chain.stop();
    chain.stop();
    EXPECT_TRUE(chain.stopped());
}

TEST_F(ChainTest, ElementsWorkOnTheChainsOwnThread) {
    QThread* setup = nullptr;
    QThread* work = nullptr;
    ScriptedElement* const element = add();
    element->onSetupStart = [&] { setup = QThread::currentThread(); };
    element->process = [&](ScriptedElement&, IzChainData* input) {
        work = QThread::currentThread();
        return input;
    };
    runFrames(1);
    EXPECT_NE(nullptr, work);
    EXPECT_EQ(setup, work);
    EXPECT_NE(QThread::currentThread(), work);
}

TEST_F(ChainTest, NullFromAnElementConsumesTheFrameAndReleasesTheInput) {
    observe();
    QPointer<IzChainData> input;
    ScriptedElement* const element = add();
    element->process = [&](ScriptedElement&, IzChainData* data) {
        input = data;
        return nullptr;
    };
    runFrames(1);
    EXPECT_TRUE(input.isNull());
    EXPECT_THAT(statuses, ElementsAre(EzFrameStatus::Consumed));
    EXPECT_EQ(1U, chain.counters().framesConsumed);
    EXPECT_EQ(0U, chain.counters().framesFailed);
}

TEST_F(ChainTest, NullFromAnElementThatDeletedItsInputIsNoDoubleDeletion) {
    add()->process = [](ScriptedElement&, IzChainData* data) {
        delete data;
        return nullptr;
    };
    runFrames(2);
    EXPECT_EQ(2U, chain.counters().framesConsumed);
}

TEST_F(ChainTest, AnExceptionFailsTheFrameAndBecomesTheElementsMessage) {
    observe();
    add()->process = [](ScriptedElement&, IzChainData* data) -> IzChainData* {
        if (data->frameNo() == 2)
            throw std::runtime_error("two is bad");
        return data;
    };
    runFrames(3);
    EXPECT_THAT(statuses,
                ElementsAre(EzFrameStatus::Delivered, EzFrameStatus::Failed, EzFrameStatus::Delivered));
    EXPECT_TRUE(messages[0].isEmpty());
    EXPECT_TRUE(messages[1].contains("two is bad"));
    EXPECT_EQ(1U, chain.counters().framesFailed);
    EXPECT_TRUE(addsUp(chain.counters()));
}

TEST_F(ChainTest, AnExceptionIsTheElementsMessageWhateverItReportedBefore) {
    observe();
    add()->process = [](ScriptedElement& self, IzChainData*) -> IzChainData* {
        self.report("an older message");
        throw std::runtime_error("two is bad");
    };
    runFrames(1);
    EXPECT_TRUE(messages[0].contains("two is bad")) << messages[0].toStdString();
}

TEST_F(ChainTest, AFailureBehindAnElementThatQueuesFramesIsCountedBesideWhatCameOut) {
    observe();
    add()->process = [](ScriptedElement& self, IzChainData* input) {
        self.addToOutputData(input->clone(nullptr));
        return input;
    };
    int calls = 0;
    add()->process = [&](ScriptedElement&, IzChainData* input) -> IzChainData* {
        if (++calls == 1)
            throw std::runtime_error("the first one is bad");
        return input;
    };
    runFrames(1);
    EXPECT_THAT(statuses, ElementsAre(EzFrameStatus::Delivered, EzFrameStatus::Failed));
    EXPECT_EQ(1U, chain.counters().framesFailed);
    EXPECT_TRUE(addsUp(chain.counters()));
}

TEST_F(ChainTest, ExceptionsWhileSettingUpAndDownBecomeTheElementsMessage) {
    ScriptedElement* const element = add();
    element->onSetupStart = [] { throw std::runtime_error("no plan"); };
    element->onSetupStop = [] { throw 5; };
    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.source().push(frame(1)));
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_TRUE(element->errorMessage().contains("no plan"));
    chain.stop();
    EXPECT_EQ(QStringLiteral("The element failed."), element->errorMessage());
    EXPECT_EQ(1U, chain.counters().framesOut);
}

TEST_F(ChainTest, AnExceptionWhileNegotiatingIsAnUnknownFormat) {
    ScriptedElement* const element = add();
    ScriptedElement* const next = add();
    element->negotiate = [](SzPicBufInfo) -> SzPicBufInfo { throw std::runtime_error("no format"); };
    runFrames(1);
    EXPECT_EQ(1U, chain.counters().framesOut);
    SzPicBufInfo info;
    EXPECT_FALSE(next->currentInputImageInfo(info, nullptr));
    EXPECT_TRUE(element->errorMessage().contains("no format"));
    EXPECT_TRUE(next->errorMessage().isEmpty()) << "it did nothing wrong";
}

TEST_F(ChainTest, AnObserverThatThrowsIsLoggedAndTheChainGoesOn) {
    int calls = 0;
    chain.setFrameObserver([&](const SzFrameReport&) {
        ++calls;
        throw std::runtime_error("no disk");
    });
    static QStringList log; // the worker's
    const QtMessageHandler before = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString& message) { log.append(message); });
    runFrames(2);
    qInstallMessageHandler(before);
    EXPECT_EQ(2, calls);
    EXPECT_EQ(
        (QStringList{"The observer of frame 1 failed: no disk", "The observer of frame 2 failed: no disk"}),
        log);
    EXPECT_EQ(2U, chain.counters().framesOut);
}

TEST_F(ChainTest, AnExhaustedPoolFailsTheFrameWithAWord) {
    observe();
    std::vector<SzPicBuf> hoard;
    add()->process = [&](ScriptedElement& self, IzChainData* input) {
        for (SzPicBuf buffer;
             CzPicBufAPI::AllocPicBufFromPool(self.pool(), &self, buffer, format(8, 4), false);
             buffer = SzPicBuf())
            hoard.push_back(buffer);
        return replaceFromPool(self, input);
    };
    runFrames(1);
    EXPECT_EQ(16U, hoard.size());
    EXPECT_EQ(2U, chain.counters().poolExhaustions);
    EXPECT_THAT(statuses, ElementsAre(EzFrameStatus::Failed));
    EXPECT_EQ(QStringLiteral("The memory pool has no free picture."), messages[0]);
    EXPECT_EQ(1U, chain.counters().framesFailed);
    // Buffers in flight keep their pool alive after the chain stopped.
    for (SzPicBuf& buffer : hoard) {
        buffer.data[0] = 1;
        EXPECT_TRUE(CzPicBufAPI::FreePicBuf(buffer, false));
    }
}

TEST_F(ChainTest, AnExhaustionThatAnElementGotOverFailsNoLaterFrame) {
    observe();
    add()->process = [&](ScriptedElement& self, IzChainData* input) -> IzChainData* {
        if (input->frameNo() == 2)
            return nullptr;
        std::vector<SzPicBuf> all;
        for (SzPicBuf buffer;
             CzPicBufAPI::AllocPicBufFromPool(self.pool(), &self, buffer, format(8, 4), false);
             buffer = SzPicBuf())
            all.push_back(buffer);
        for (SzPicBuf& buffer : all)
            CzPicBufAPI::FreePicBuf(buffer, false);
        return input;
    };
    runFrames(2);
    EXPECT_THAT(statuses, ElementsAre(EzFrameStatus::Delivered, EzFrameStatus::Consumed));
    EXPECT_EQ(1U, chain.counters().poolExhaustions);
}

TEST_F(ChainTest, AnExhaustionThatAnElementGotOverIsNotBlamedOnTheNextOne) {
    observe();
    add()->process = [](ScriptedElement& self, IzChainData* input) {
        std::vector<SzPicBuf> all;
        for (SzPicBuf buffer;
             CzPicBufAPI::AllocPicBufFromPool(self.pool(), &self, buffer, format(8, 4), false);
             buffer = SzPicBuf())
            all.push_back(buffer);
        for (SzPicBuf& buffer : all)
            CzPicBufAPI::FreePicBuf(buffer, false);
        return input;
    };
    ScriptedElement* const consumer = add();
    consumer->process = [](ScriptedElement&, IzChainData*) { return nullptr; };
    runFrames(1);
    EXPECT_THAT(statuses, ElementsAre(EzFrameStatus::Consumed));
    EXPECT_TRUE(consumer->errorMessage().isEmpty());
    EXPECT_EQ(1U, chain.counters().poolExhaustions);
}

TEST_F(ChainTest, StartClearsTheMessagesOfTheLastRun) {
    ScriptedElement* const element = add();
    element->report("old");
    ASSERT_TRUE(chain.start());
    EXPECT_TRUE(element->errorMessage().isEmpty());
    chain.stop();
}

TEST_F(ChainTest, AnElementThatCannotRunRefusesTheStartWithItsReason) {
    ScriptedElement* const element = add();
    element->initResult = false;
    EXPECT_FALSE(chain.start());
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(QStringLiteral("not today"), chain.errorMessage());
    element->initResult = true;
    EXPECT_TRUE(chain.start());
    EXPECT_TRUE(chain.errorMessage().isEmpty());
}

TEST_F(ChainTest, ABypassedElementIsSkippedAndItsOutputFormatIsItsInputs) {
    ScriptedElement* const element = add();
    element->negotiate = [](SzPicBufInfo input) {
        input.width *= 2;
        return input;
    };
    element->process = [](ScriptedElement&, IzChainData*) -> IzChainData* {
        throw std::logic_error("called");
    };
    chain.source().setFormat(format(8, 4, 8), {});
    SzPicBufInfo output;
    ASSERT_TRUE(element->currentOutputImageInfo(output, nullptr));
    EXPECT_EQ(16U, output.width);

    element->setState(EzChainableState::Bypassed);
    ASSERT_TRUE(element->currentOutputImageInfo(output, nullptr));
    EXPECT_EQ(8U, output.width);
    observe();
    runFrames(2);
    EXPECT_THAT(statuses, ElementsAre(EzFrameStatus::Delivered, EzFrameStatus::Delivered));
}

TEST_F(ChainTest, ChangingTheStateOfARunningElementSetsTheChainUpAgain) {
    ScriptedElement* const element = add();
    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.source().push(frame(1)));
    ASSERT_TRUE(chain.waitUntilIdle());
    const int before = element->setupStarts;
    element->setState(EzChainableState::Bypassed);
    ASSERT_TRUE(chain.source().push(frame(2)));
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_EQ(before + 1, element->setupStarts);
    chain.stop();
    EXPECT_EQ(element->setupStarts, element->setupStops);
}

TEST_F(ChainTest, TheFrameAtHandIsFinishedInTheStateThatItBeganWith) {
    addGate();
    ScriptedElement* const element = add();
    std::vector<EzChainableState> seen;
    element->process = [&](ScriptedElement& self, IzChainData* input) {
        seen.push_back(self.state());
        return input;
    };
    ASSERT_TRUE(chain.start());
    chain.source().push(frame(1));
    atWork.acquire();
    element->setState(EzChainableState::Bypassed);
    EXPECT_EQ(EzChainableState::Bypassed, element->state()) << "for everyone but the worker";
    chain.source().push(frame(2));
    goOn.release(2);
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_THAT(seen, ElementsAre(EzChainableState::Processing));
    EXPECT_EQ(2U, chain.counters().framesOut);
}

TEST_F(ChainTest, SwitchingAndAskingFromOutsideWhileFramesFlowLosesNothing) {
    std::vector<ScriptedElement*> elements;
    for (int i = 0; i < 3; ++i) {
        elements.push_back(add());
        elements.back()->process = [](ScriptedElement& self, IzChainData* input) -> IzChainData* {
            // Some elements drop what reaches them while they are switched off.
            return self.state() == EzChainableState::Bypassed ? nullptr : replaceFromPool(self, input);
        };
    }
    constexpr int kFrames = 2000;
    ASSERT_TRUE(chain.start());
    std::atomic<bool> done{false};
    std::thread viewer([&] {
        while (!done) {
            SzPicBufInfo info;
            CzImageMetadata metadata;
            for (ScriptedElement* element : elements) {
                element->currentInputImageInfo(info, &metadata);
                element->currentOutputImageInfo(info, &metadata);
                EXPECT_TRUE(element->errorMessage().isEmpty());
            }
            chain.counters();
            std::this_thread::yield();
        }
    });
    std::thread camera([&] {
        for (int i = 1; i <= kFrames; ++i)
            chain.source().push(frame(i, format(8, i % 50 < 25 ? 4 : 5)));
        done = true;
    });
    for (int turn = 0; !done; ++turn) {
        elements[std::size_t(turn % 3)]->setState(EzChainableState(turn / 3 % 2));
        std::this_thread::yield();
    }
    camera.join();
    viewer.join();
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_EQ(std::uint64_t(kFrames), chain.counters().framesOut);
}

TEST_F(ChainTest, AnotherFormatInMidRunSetsTheElementsUpAgain) {
    std::vector<std::uint32_t> widths;
    ScriptedElement* const element = add();
    element->onSetupStart = [&] {
        SzPicBufInfo input;
        if (element->currentInputImageInfo(input, nullptr))
            widths.push_back(input.width);
    };
    chain.source().setFormat(frame(1)->picBuf(), {});
    ASSERT_TRUE(chain.start());
    for (const std::uint32_t width : {8U, 8U, 5U, 5U, 8U})
        ASSERT_TRUE(chain.source().push(frame(1, format(width, 4))));
    ASSERT_TRUE(chain.waitUntilIdle());
    chain.stop();
    EXPECT_THAT(widths, ElementsAre(8U, 5U, 8U));
    EXPECT_EQ(5U, chain.counters().framesOut);
}

TEST_F(ChainTest, WhatTheElementsAreToldIsTheFormatOfTheFrameAtHandWhateverWasAnnounced) {
    std::uint32_t told = 0;
    ScriptedElement* const element = add();
    element->process = [&](ScriptedElement& self, IzChainData* input) {
        SzPicBufInfo info;
        EXPECT_TRUE(self.currentInputImageInfo(info, nullptr));
        told = info.width;
        return input;
    };
    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.source().push(frame(1)));
    ASSERT_TRUE(chain.waitUntilIdle());
    const int before = element->setupStarts;
    chain.source().setFormat(format(5, 4), {});
    ASSERT_TRUE(chain.source().push(frame(2)));
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_EQ(8U, told);
    EXPECT_EQ(before + 1, element->setupStarts);
}

TEST_F(ChainTest, OtherMetadataInMidRunSetTheElementsUpAgain) {
    ScriptedElement* const element = add();
    auto first = frame(1);
    chain.source().setFormat(first->picBuf(), {});
    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.source().push(std::move(first)));
    auto second = frame(2);
    CzImageMetadata metadata;
    metadata.hsiCameraParams.rgbNir = true;
    second->setImageMetadata(metadata);
    ASSERT_TRUE(chain.source().push(std::move(second)));
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_EQ(2, element->setupStarts);
}

TEST_F(ChainTest, AnElementThatDoesNotReadPaddedLinesIsToldOfAndHandedPackedPictures) {
    ScriptedElement* const element = add(CzChainable::EzChainableFlags());
    std::uint32_t pitch = 0;
    std::uint8_t sample = 0;
    int frameNo = 0;
    element->process = [&](ScriptedElement&, IzChainData* input) {
        const SzPicBuf& picture = static_cast<CzImageData*>(input)->picBuf();
        pitch = picture.linePitch;
        sample = picture.data[3 * picture.linePitch + 4];
        frameNo = input->frameNo();
        return input;
    };
    const SzPicBufInfo padded = format(5, 4, 32);
    chain.source().setFormat(padded, {});
    SzPicBufInfo input;
    ASSERT_TRUE(element->currentInputImageInfo(input, nullptr));
    EXPECT_EQ(5U, input.linePitch);

    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.source().push(frame(7, padded)));
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_EQ(5U, pitch);
    EXPECT_EQ(7 + 30 + 4, sample);
    EXPECT_EQ(7, frameNo);
}

/// A spectrum whose lines are padded; without imaginary part unless asked for.
std::unique_ptr<CzFFTImageData> paddedSpectrum(int frameNo, bool withImaginary) {
    SzPicBufInfo info = format(3, 2, 32);
    info.dataType = EzImageDataType::SpectrumFloat32;
    SzPicBuf real;
    EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(real, info, false));
    real.frameNo = frameNo;
    auto spectrum = std::make_unique<CzFFTImageData>();
    spectrum->setPicBuf(real);
    if (withImaginary) {
        SzPicBuf imaginary;
        EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(imaginary, info, false));
        imaginary.data[32 + 2 * 4] = 42;
        EXPECT_TRUE(spectrum->setPicBufIm(imaginary));
    }
    return spectrum;
}

TEST_F(ChainTest, ASpectrumIsPackedWithItsImaginaryPartIfItHasOne) {
    std::vector<bool> complete;
    add(CzChainable::EzChainableFlags())->process = [&](ScriptedElement&, IzChainData* input) {
        auto* const spectrum = qobject_cast<CzFFTImageData*>(input);
        EXPECT_NE(nullptr, spectrum);
        EXPECT_EQ(12U, spectrum->picBuf().linePitch);
        complete.push_back(spectrum->picBufIm().data);
        if (complete.back()) {
            EXPECT_EQ(12U, spectrum->picBufIm().linePitch);
            EXPECT_EQ(42, spectrum->picBufIm().data[12 + 2 * 4]);
        }
        return input;
    };
    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.source().push(paddedSpectrum(1, true)));
    ASSERT_TRUE(chain.source().push(paddedSpectrum(2, false)));
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_THAT(complete, ElementsAre(true, false));
    EXPECT_EQ(2U, chain.counters().framesOut);
}

TEST_F(ChainTest, APackedCopyThatThePoolHasNoRoomForFailsTheFrame) {
    observe();
    for (const int buffers : {0, 1}) {
        chain.setPoolSize(buffers);
        ASSERT_EQ(0, chain.elements().size());
        ScriptedElement* const element = add(CzChainable::EzChainableFlags());
        ASSERT_TRUE(chain.start());
        ASSERT_TRUE(chain.source().push(paddedSpectrum(1, true)));
        ASSERT_TRUE(chain.waitUntilIdle());
        EXPECT_EQ(QStringLiteral("The memory pool has no free picture."), element->errorMessage());
        chain.stop();
        delete chain.take(0);
    }
    EXPECT_THAT(statuses, ElementsAre(EzFrameStatus::Failed, EzFrameStatus::Failed));
}

TEST_F(ChainTest, FormatsAreKnownWhileTheChainIsStopped) {
    ScriptedElement* const element = add();
    SzPicBufInfo info = format(1, 1);
    CzImageMetadata metadata;
    EXPECT_FALSE(element->currentInputImageInfo(info, &metadata));
    EXPECT_EQ(1U, info.width) << "untouched while nothing is known";

    CzImageMetadata sensor;
    sensor.mosaicName = "4 x 4";
    chain.source().setFormat(format(640, 480), sensor);
    ASSERT_TRUE(element->currentInputImageInfo(info, &metadata));
    EXPECT_EQ(640U, info.width);
    EXPECT_EQ(QStringLiteral("4 x 4"), metadata.mosaicName);
    EXPECT_TRUE(element->currentInputImageInfo(info, nullptr));
}

TEST_F(ChainTest, AWaitingSourceLosesNoFrameWhateverThePace) {
    observe();
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 2);
    add()->process = [](ScriptedElement&, IzChainData* input) {
        QThread::usleep(200);
        return input;
    };
    runFrames(200);
    ASSERT_EQ(200U, numbers.size());
    for (int i = 0; i < 200; ++i)
        EXPECT_EQ(i + 1, numbers[static_cast<std::size_t>(i)]);
    EXPECT_EQ(0U, chain.counters().framesDropped);
}

TEST_F(ChainTest, ALiveSourceDropsTheOldestWaitingFramesAndCountsThem) {
    observe();
    chain.source().setQueue(CzFrameSource::EzOverflow::DropOldest, 2);
    addGate();
    ASSERT_TRUE(chain.start());
    chain.source().push(frame(1));
    atWork.acquire();
    for (int i = 2; i <= 6; ++i)
        EXPECT_TRUE(chain.source().push(frame(i)));
    goOn.release(3);
    ASSERT_TRUE(chain.waitUntilIdle());
    chain.stop();
    EXPECT_THAT(numbers, ElementsAre(1, 5, 6));
    EXPECT_EQ(6U, chain.counters().framesIn);
    EXPECT_EQ(3U, chain.counters().framesDropped);
    EXPECT_TRUE(addsUp(chain.counters()));
}

TEST_F(ChainTest, StopFinishesTheFrameAtHandAndKeepsWaitingFilesForTheNextStart) {
    observe();
    ScriptedElement* const element = addGate();
    chain.source().setFormat(frame(1)->picBuf(), {});
    ASSERT_TRUE(chain.start());
    for (int i = 1; i <= 3; ++i)
        chain.source().push(frame(i));
    stopWithTheFrameAtHand();
    EXPECT_THAT(numbers, ElementsAre(1));
    EXPECT_EQ(1, element->setupStops);
    EXPECT_TRUE(addsUp(chain.counters()));

    goOn.release(2);
    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.waitUntilIdle());
    chain.stop();
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3));
}

TEST_F(ChainTest, StopCountsTheWaitingFramesOfALiveSourceAsDropped) {
    chain.source().setQueue(CzFrameSource::EzOverflow::DropOldest, 8);
    addGate();
    ASSERT_TRUE(chain.start());
    for (int i = 1; i <= 4; ++i)
        chain.source().push(frame(i));
    stopWithTheFrameAtHand();
    EXPECT_EQ(3U, chain.counters().framesDropped);
    EXPECT_EQ(4U, chain.counters().framesIn);
    EXPECT_TRUE(addsUp(chain.counters()));
    EXPECT_EQ(0, chain.source().waitingFrames());
}

TEST_F(ChainTest, FramesThatAreClearedAreCountedAsDroppedAndMakeRoom) {
    observe();
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 2);
    addGate();
    ASSERT_TRUE(chain.start());
    chain.source().push(frame(1));
    atWork.acquire();
    chain.source().push(frame(2));
    chain.source().push(frame(3));
    std::thread waiting([this] { EXPECT_TRUE(chain.source().push(frame(4))); });
    chain.source().clear();
    waiting.join();
    goOn.release(2);
    ASSERT_TRUE(chain.waitUntilIdle());
    chain.source().clear();
    chain.stop();
    EXPECT_THAT(numbers, ElementsAre(1, 4));
    EXPECT_EQ(2U, chain.counters().framesDropped);
    EXPECT_TRUE(addsUp(chain.counters()));
}

TEST_F(ChainTest, ClearingAStoppedChainsSourceLeavesNothingToWaitFor) {
    chain.source().push(frame(1));
    EXPECT_FALSE(chain.waitUntilIdle(0));
    chain.source().clear();
    EXPECT_TRUE(chain.waitUntilIdle(0));
    EXPECT_EQ(0, chain.source().waitingFrames());
    EXPECT_EQ(1U, chain.counters().framesDropped);
}

TEST_F(ChainTest, StopOnTheWorkerOnlyAsksForTheStop) {
    add()->process = [this](ScriptedElement&, IzChainData* input) {
        chain.stop();
        return input;
    };
    ASSERT_TRUE(chain.start());
    chain.source().push(frame(1));
    chain.waitUntilIdle();
    for (int i = 0; i < 1000 && !chain.stopped(); ++i)
        QThread::msleep(1);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(1U, chain.counters().framesOut);
    EXPECT_TRUE(chain.start()) << "a worker that ended by itself does not hinder the next start";
}

TEST_F(ChainTest, StartAfterAStopOnTheWorkerWaitsForItAndStartsAgain) {
    QSemaphore asked;
    add()->process = [&](ScriptedElement&, IzChainData* input) {
        if (input->frameNo() == 1) {
            chain.stop();
            asked.release();
            QThread::msleep(20);
        }
        return input;
    };
    ASSERT_TRUE(chain.start());
    chain.source().push(frame(1));
    asked.acquire();
    EXPECT_TRUE(chain.start());
    EXPECT_FALSE(chain.stopped());
    chain.source().push(frame(2));
    EXPECT_TRUE(chain.waitUntilIdle());
    EXPECT_EQ(2U, chain.counters().framesOut);
}

TEST_F(ChainTest, StopWhileSettingUpIsHeard) {
    for (int i = 0; i < 200; ++i) {
        CzChain own;
        auto* const element = new ScriptedElement;
        element->onSetupStart = [&] { own.stop(); };
        ASSERT_TRUE(own.append(element));
        own.start();
        for (int ms = 0; ms < 1000 && !own.stopped(); ++ms)
            QThread::msleep(1);
        ASSERT_TRUE(own.stopped());
    }
}

TEST(ChainEnd, WhoeverWaitsInPushIsGoneWhenTheChainIs) {
    for (int i = 0; i < 100; ++i) {
        auto chain = std::make_unique<CzChain>();
        CzFrameSource& source = chain->source();
        source.setQueue(CzFrameSource::EzOverflow::Wait, 1);
        ASSERT_TRUE(source.push(frame(1)));
        std::atomic<bool> begun{false};
        bool taken = true;
        std::thread camera([&] {
            auto second = frame(2);
            begun = true;
            taken = source.push(std::move(second));
        });
        while (!begun)
            std::this_thread::yield();
        QThread::msleep(1);
        chain.reset();
        camera.join();
        EXPECT_FALSE(taken);
    }
}

TEST_F(ChainTest, OpeningAgainAtOnceStillRefusesWhoeverWaited) {
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 1);
    ASSERT_TRUE(chain.source().push(frame(1)));
    std::atomic<bool> begun{false};
    bool taken = true;
    std::thread camera([&] {
        auto second = frame(2);
        begun = true;
        taken = chain.source().push(std::move(second));
    });
    while (!begun)
        std::this_thread::yield();
    QThread::msleep(20);
    chain.source().close();
    chain.source().open();
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 2); // room for whoever still waits
    camera.join();
    EXPECT_FALSE(taken);
}

TEST_F(ChainTest, ASourceThatBecomesLiveLetsNobodyWait) {
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 1);
    ASSERT_TRUE(chain.source().push(frame(1)));
    std::atomic<bool> begun{false};
    std::atomic<bool> taken{false};
    std::thread camera([&] {
        auto second = frame(2);
        begun = true;
        taken = chain.source().push(std::move(second));
    });
    while (!begun)
        std::this_thread::yield();
    QThread::msleep(20);
    chain.source().setQueue(CzFrameSource::EzOverflow::DropOldest, 1);
    for (int i = 0; i < 1000 && !taken; ++i)
        QThread::msleep(1);
    EXPECT_TRUE(taken);
    EXPECT_EQ(1U, chain.counters().framesDropped);
    chain.source().close();
    camera.join();
}

TEST_F(ChainTest, ClosingTheSourceFreesWhoeverWaitsForRoom) {
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 1);
    ASSERT_TRUE(chain.source().push(frame(1)));
    std::thread closer([this] {
        QThread::msleep(20);
        chain.source().close();
    });
    EXPECT_FALSE(chain.source().push(frame(2)));
    closer.join();
    EXPECT_FALSE(chain.source().push(frame(3)));
    chain.source().open();
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 2);
    EXPECT_TRUE(chain.source().push(frame(4)));
    EXPECT_FALSE(chain.source().push(nullptr));
}

TEST_F(ChainTest, WaitUntilIdleGivesUpWhenTheChainStops) {
    chain.source().push(frame(1));
    EXPECT_FALSE(chain.waitUntilIdle()) << "nobody will ever take the frame";
    EXPECT_FALSE(chain.waitUntilIdle(0));
}

TEST_F(ChainTest, FramesAreStampedWhenTheyEnter) {
    std::int64_t stamp = 0;
    std::int64_t own = 0;
    chain.setFrameObserver([&](const SzFrameReport& report) {
        const std::int64_t ns = static_cast<const CzImageData*>(report.output)->picBuf().timeStampNs;
        (report.frameNo == 1 ? stamp : own) = ns;
    });
    ASSERT_TRUE(chain.start());
    chain.source().push(frame(1));
    auto stamped = frame(2);
    stamped->picBuf().timeStampNs = 42;
    chain.source().push(std::move(stamped));
    ASSERT_TRUE(chain.waitUntilIdle());
    chain.stop();
    EXPECT_GT(stamp, 0);
    EXPECT_EQ(42, own);
}

TEST_F(ChainTest, ReportsTellTheTimeOfEachElement) {
    std::vector<double> times;
    add()->process = [](ScriptedElement&, IzChainData* input) {
        QThread::msleep(5);
        return input;
    };
    add();
    chain.setFrameObserver([&](const SzFrameReport& report) {
        for (const SzElementReport& element : report.elements)
            times.push_back(element.milliseconds);
    });
    runFrames(1);
    ASSERT_EQ(2U, times.size());
    EXPECT_GE(times[0], 5.0) << "its own work";
    EXPECT_LT(times[1], times[0]) << "without that of the others";
}

TEST_F(ChainTest, TheSlowestElementSetsThePace) {
    add()->setMaxFps(100.0);
    add()->setMaxFps(200.0);
    QElapsedTimer timer;
    timer.start();
    runFrames(4);
    EXPECT_GE(timer.elapsed(), 30) << "three pauses of 10 ms between four frames";
}

TEST_F(ChainTest, APaceOfNextToNothingIsNoPaceOfItsOwn) {
    add()->setMaxFps(1e-300);
    ASSERT_TRUE(chain.start());
    chain.source().push(frame(1));
    ASSERT_TRUE(chain.waitUntilIdle());
    chain.source().push(frame(2));
    EXPECT_FALSE(chain.waitUntilIdle(50));
    chain.stop();
    EXPECT_EQ(1U, chain.counters().framesOut);
}

TEST_F(ChainTest, PoolBuffersHoldThePicturesOfEveryLinkFromTheStart) {
    const SzPicBufInfo large = format(1000, 500); // its pitch is still to be chosen
    chain.source().setFormat(large, {});
    ScriptedElement* const element = add();
    element->negotiate = [](SzPicBufInfo) { return format(1, 1); };
    element->onSetupStart = [&] {
        SzPicBuf buffer;
        ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromPool(element->pool(), element, buffer, format(1, 1), false));
        const std::uint8_t* const data = buffer.data;
        ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromPool(element->pool(), element, buffer, large, false));
        EXPECT_EQ(data, buffer.data) << "made anew";
        CzPicBufAPI::FreePicBuf(buffer, false);
    };
    ASSERT_TRUE(chain.start());
    chain.stop();
    EXPECT_EQ(1, element->setupStarts);
}

TEST_F(ChainTest, AFormatThatNobodyCanAllocateCostsTheOthersNothing) {
    add()->process = replaceFromPool;
    add()->negotiate = [](SzPicBufInfo input) {
        input.width = input.height = 4000000000U;
        input.linePitch = 4000000000U;
        return input;
    };
    observe();
    runFrames(1);
    EXPECT_THAT(statuses, ElementsAre(EzFrameStatus::Delivered)) << messages[0].toStdString();
}

TEST_F(ChainTest, ThePoolHoldsTheRecommendedBuffersOnTopOfItsOwn) {
    int free = 0;
    chain.setPoolSize(3);
    ScriptedElement* const element = add();
    element->additionalBuffers = 4;
    element->process = [&](ScriptedElement& self, IzChainData* input) {
        free = self.queryImagesCountInMemoryPool(static_cast<CzImageData*>(input)->picBuf(), self.pool());
        EXPECT_EQ(0, self.queryImagesCountInMemoryPool(SzPicBufInfo(), self.pool()));
        EXPECT_EQ(0, self.queryImagesCountInMemoryPool(format(8, 4, 7), self.pool())) << "a pitch too short";
        EXPECT_EQ(0, self.queryImagesCountInMemoryPool(format(4000000000U, 4000000000U), self.pool()));
        return input;
    };
    runFrames(1);
    EXPECT_EQ(7, free);
    EXPECT_EQ(0, element->queryImagesCountInMemoryPool(format(8, 4), nullptr));
}

TEST_F(ChainTest, TheLinkObserverSeesEveryOutputOfEveryLink) {
    add()->process = [](ScriptedElement&, IzChainData* input) -> IzChainData* {
        return input->frameNo() == 2 ? nullptr : input;
    };
    ScriptedElement* const bypassed = add();
    bypassed->setState(EzChainableState::Bypassed);
    std::vector<std::pair<int, int>> seen;
    chain.setLinkObserver([&](int link, const IzChainData& output) {
        seen.emplace_back(link, output.frameNo());
        if (output.frameNo() == 3)
            throw std::runtime_error("the log's business");
    });
    runFrames(3);
    EXPECT_THAT(seen, ElementsAre(std::pair(0, 1), std::pair(1, 1), std::pair(2, 1), std::pair(0, 2), //
                                  std::pair(0, 3), std::pair(1, 3), std::pair(2, 3)));
    EXPECT_EQ(2U, chain.counters().framesOut);
}

TEST_F(ChainTest, TheElementThatDoesNotComeBackIsKnownWithItsFrame) {
    add();
    ScriptedElement* const gate = addGate();
    EXPECT_EQ(-1, chain.workerState().element);
    EXPECT_EQ(0, chain.workerState().poolBuffers);
    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.source().push(frame(7)));
    atWork.acquire();
    const SzWorkerState state = chain.workerState();
    EXPECT_EQ(1, state.element);
    EXPECT_EQ(gate, chain.elements().at(state.element));
    EXPECT_EQ(7, state.frameNo);
    EXPECT_EQ(16, state.poolBuffers);
    EXPECT_EQ(16, state.freePoolBuffers);
    QThread::msleep(2);
    EXPECT_GE(chain.workerState().milliseconds, state.milliseconds + 2.0);
    goOn.release();
    ASSERT_TRUE(chain.waitUntilIdle());
    EXPECT_EQ(-1, chain.workerState().element);
    chain.stop();
}

TEST_F(ChainTest, AnElementThatIsSetUpIsAtWorkOnNoFrame) {
    add()->onSetupStart = [this] {
        atWork.release();
        goOn.acquire();
    };
    ASSERT_TRUE(chain.start());
    atWork.acquire();
    EXPECT_EQ(0, chain.workerState().element);
    EXPECT_EQ(0, chain.workerState().frameNo);
    goOn.release();
    chain.stop();
}

TEST_F(ChainTest, ARequestedStopDoesNotWaitForTheFrameAtHand) {
    addGate();
    ASSERT_TRUE(chain.start());
    ASSERT_TRUE(chain.source().push(frame(1)));
    atWork.acquire();
    chain.requestStop();
    EXPECT_FALSE(chain.stopped());
    goOn.release();
    while (!chain.stopped())
        QThread::msleep(1);
    chain.stop();
    EXPECT_EQ(1U, chain.counters().framesOut);
    EXPECT_TRUE(chain.start());
    chain.requestStop();
}

TEST_F(ChainTest, ARunningChainCannotBeRecomposed) {
    add();
    ASSERT_TRUE(chain.start());
    ScriptedElement extra;
    EXPECT_FALSE(chain.append(&extra));
    EXPECT_EQ(nullptr, chain.take(0));
    EXPECT_EQ(1, chain.elements().size());
}

TEST_F(ChainTest, ElementsAreInsertedAndTakenAnywhere) {
    ScriptedElement* const first = add();
    ScriptedElement* const last = add();
    auto* const middle = new ScriptedElement;
    ASSERT_TRUE(chain.insert(1, middle));
    EXPECT_THAT(chain.elements(), ElementsAre(first, middle, last));
    EXPECT_EQ(first, middle->predecessor());
    EXPECT_EQ(last, middle->successor());
    EXPECT_EQ(&chain, middle->chain());

    const std::unique_ptr<CzChainable> taken(chain.take(1));
    EXPECT_EQ(middle, taken.get());
    EXPECT_EQ(nullptr, middle->chain());
    EXPECT_EQ(nullptr, middle->predecessor());
    EXPECT_EQ(nullptr, middle->successor());
    EXPECT_EQ(first, last->predecessor());
    EXPECT_FALSE(chain.insert(3, middle));
    EXPECT_FALSE(chain.insert(-1, middle));
    EXPECT_EQ(nullptr, chain.take(2));
    runFrames(1);
    EXPECT_EQ(1U, chain.counters().framesOut);
}

TEST_F(ChainTest, AnElementBetweenTwoThatDoNotFitEachOtherStays) {
    ScriptedElement* const first = add();
    ScriptedElement* const middle = add();
    ScriptedElement* const last = add();
    last->accepts = false;
    EXPECT_EQ(nullptr, chain.take(1));
    EXPECT_THAT(chain.elements(), ElementsAre(first, middle, last));
    EXPECT_EQ(middle, last->predecessor());
    EXPECT_EQ(&chain, middle->chain());
    runFrames(1);
    EXPECT_EQ(1U, chain.counters().framesOut);
}

TEST_F(ChainTest, AnElementThatRefusesItsPredecessorStaysOutside) {
    ScriptedElement* const first = add();
    ScriptedElement* const last = add();
    ScriptedElement picky;
    picky.accepts = false;
    EXPECT_FALSE(chain.insert(1, &picky));
    EXPECT_EQ(nullptr, picky.chain());
    EXPECT_EQ(last, first->successor()) << "the line is as it was";
    EXPECT_EQ(first, last->predecessor());
}

TEST_F(ChainTest, NothingFollowsADataConsumer) {
    add()->consumer = true;
    ScriptedElement late;
    EXPECT_FALSE(chain.append(&late));
}

TEST_F(ChainTest, AnElementThatQueuesFramesOfItsOwnKeepsTheCountersAddingUp) {
    observe();
    add()->process = [](ScriptedElement& self, IzChainData* input) {
        self.addToOutputData(input->clone(nullptr));
        return input;
    };
    runFrames(2);
    EXPECT_EQ(4U, chain.counters().framesOut);
    EXPECT_THAT(numbers, ElementsAre(1, 1, 2, 2));
    EXPECT_THAT(further, ElementsAre(false, true, false, true));
    EXPECT_TRUE(addsUp(chain.counters()));
}

TEST_F(ChainTest, AThousandStartsAndStopsWithFramesInFlightLoseNothing) {
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 3);
    for (int i = 0; i < 3; ++i)
        add()->process = replaceFromPool;
    constexpr int kFrames = 2000;
    std::thread camera([this] {
        for (int i = 1; i <= kFrames; ++i)
            if (!chain.source().push(frame(i)))
                return;
    });
    int restarts = 0;
    while (restarts < 1000 || chain.counters().framesIn < kFrames) {
        ASSERT_TRUE(chain.start());
        if (restarts % 3 == 0)
            QThread::usleep(100);
        chain.stop();
        ++restarts;
    }
    camera.join();
    EXPECT_EQ(std::uint64_t(kFrames), chain.counters().framesOut);
    EXPECT_TRUE(addsUp(chain.counters()));
    EXPECT_EQ(0U, chain.counters().poolExhaustions);
    for (CzChainable* element : chain.elements())
        EXPECT_EQ(static_cast<ScriptedElement*>(element)->setupStarts,
                  static_cast<ScriptedElement*>(element)->setupStops);
}

} // namespace
