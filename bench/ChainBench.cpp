// SPDX-License-Identifier: GPL-3.0-or-later

// What a chain costs by itself, with small pictures: the worker alone, when all frames wait already, and with
// the hand-over from the thread that pushes them.

#include "Chain.h"
#include "FrameSource.h"
#include "ImageData.h"
#include "PicBufAPI.h"
#include "support/ScriptedElement.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

std::unique_ptr<CzImageData> smallFrame(int frameNo) {
    SzPicBuf picture;
    CzPicBufAPI::AllocPicBufFromHeap(picture, 64, 64, 1, EzImageDataType::UInt8, 8, 64,
                                     EzDataStorageFormat::Interleaved, EzColorFilterArray::None, false,
                                     false);
    picture.frameNo = frameNo;
    auto frame = std::make_unique<CzImageData>();
    frame->setPicBuf(picture);
    return frame;
}

constexpr int frameCount = 2000;

/// A chain of elements that pass every picture on as it is. It counts what it delivers.
class PassingChain {
public:
    PassingChain(int elementCount, EzChainableState elementState) {
        for (int i = 0; i < elementCount; ++i) {
            auto* const element = new ScriptedElement;
            element->setState(elementState);
            chain.append(element);
        }
        chain.source().setQueue(CzFrameSource::EzOverflow::Wait, frameCount);
        chain.setFrameObserver(
            [this](const SzFrameReport& report) { m_delivered += report.output != nullptr; });
    }

    /// Reports the time per frame, unless frames were lost.
    void finish(benchmark::State& state) {
        chain.stop();
        const auto frames = static_cast<std::uint64_t>(state.iterations()) * frameCount;
        if (m_delivered != frames)
            state.SkipWithError("frames were lost");
        state.counters["s_per_frame"] = benchmark::Counter(
            static_cast<double>(frames), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    }

    CzChain chain;

private:
    std::uint64_t m_delivered = 0;
};

std::vector<std::unique_ptr<CzImageData>> smallFrames() {
    std::vector<std::unique_ptr<CzImageData>> frames;
    for (int i = 1; i <= frameCount; ++i)
        frames.push_back(smallFrame(i));
    return frames;
}

/// From the start of the chain until the last of the waiting frames is through.
void workThroughWaitingFrames(benchmark::State& state, EzChainableState elementState) {
    PassingChain passing(static_cast<int>(state.range(0)), elementState);
    for (auto _ : state) {
        state.PauseTiming();
        passing.chain.stop();
        for (auto& frame : smallFrames())
            passing.chain.source().push(std::move(frame));
        state.ResumeTiming();
        passing.chain.start();
        passing.chain.waitUntilIdle();
    }
    passing.finish(state);
}

/// From the first push until the last frame is through: the worker, never far behind, is woken again and
/// again.
void pushIntoRunningChain(benchmark::State& state) {
    PassingChain passing(0, EzChainableState::Processing);
    passing.chain.start();
    for (auto _ : state) {
        state.PauseTiming();
        auto frames = smallFrames();
        state.ResumeTiming();
        for (auto& frame : frames)
            passing.chain.source().push(std::move(frame));
        passing.chain.waitUntilIdle();
    }
    passing.finish(state);
}

void inRealTime(benchmark::internal::Benchmark* measured) {
    measured->ArgName("elements")->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(workThroughWaitingFrames, empty, EzChainableState::Processing)->Apply(inRealTime)->Arg(0);
BENCHMARK_CAPTURE(workThroughWaitingFrames, bypassed, EzChainableState::Bypassed)->Apply(inRealTime)->Arg(10);
BENCHMARK_CAPTURE(workThroughWaitingFrames, passing, EzChainableState::Processing)
    ->Apply(inRealTime)
    ->Arg(10);
BENCHMARK(pushIntoRunningChain)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
