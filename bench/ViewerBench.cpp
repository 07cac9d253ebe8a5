// SPDX-License-Identifier: GPL-3.0-or-later

// What showing pictures costs: a view of a picture, and a chain that is looked at while it runs.

#include "Chain.h"
#include "ChainPanel.h"
#include "FrameSource.h"
#include "ImageData.h"
#include "MainWindow.h"
#include "PicBufAPI.h"
#include "PictureRenderer.h"
#include "PictureView.h"
#include "support/ScriptedElement.h"

#include <QEventLoop>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <thread>

namespace {

std::unique_ptr<CzImageData> picture(std::uint32_t width, std::uint32_t height, EzImageDataType type,
                                     EzColorFilterArray filters = EzColorFilterArray::None) {
    SzPicBuf buffer;
    CzPicBufAPI::AllocPicBufFromHeap(buffer, width, height, 1, type, 0, 0, EzDataStorageFormat::Interleaved,
                                     filters, false, false);
    std::memset(buffer.data, 77, buffer.dataSize());
    auto image = std::make_unique<CzImageData>();
    image->setPicBuf(buffer);
    return image;
}

/// All of a picture in a view of 1280 × 800 pixels, range included.
void view(benchmark::State& state, EzImageDataType type, EzColorFilterArray filters,
          SzDisplaySettings::EzRange range) {
    const auto width = static_cast<std::uint32_t>(state.range(0));
    const auto height = static_cast<std::uint32_t>(state.range(1));
    const auto shown = picture(width, height, type, filters);
    SzDisplaySettings settings;
    settings.range = range;
    const QSize size(1280, 800);
    const double scale = std::min(double(size.width()) / width, double(size.height()) / height);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            renderPicture(*shown, settings, displayRange(*shown, settings), {QPointF(0, 0), scale, size}));
    state.counters["pixels_of_the_view"] = std::floor(width * scale) * std::floor(height * scale);
}

/// The picture fills the view either way; one has eight times the pixels.
void twoSizes(benchmark::internal::Benchmark* measured) {
    measured->ArgNames({"width", "height"})
        ->Args({4800, 2560})
        ->Args({1700, 907})
        ->Unit(benchmark::kMillisecond);
}

using EzRange = SzDisplaySettings::EzRange;
BENCHMARK_CAPTURE(view, grey16, EzImageDataType::UInt16, EzColorFilterArray::None, EzRange::Full)
    ->Apply(twoSizes);
BENCHMARK_CAPTURE(view, grey16automatic, EzImageDataType::UInt16, EzColorFilterArray::None,
                  EzRange::Automatic)
    ->Apply(twoSizes);
BENCHMARK_CAPTURE(view, bayer16, EzImageDataType::UInt16, EzColorFilterArray::BayerRGGB, EzRange::Full)
    ->Apply(twoSizes);

// ---- A chain that is looked at ----

/// Passes pictures on after some work on one core: so many passes over the samples.
std::unique_ptr<CzChainable> workingElement(int passes) {
    auto element = std::make_unique<ScriptedElement>();
    element->process = [passes](ScriptedElement&, IzChainData* input) {
        const SzPicBuf& buffer = static_cast<CzImageData*>(input)->picBuf();
        std::uint64_t sum = 0;
        for (int pass = 0; pass < passes; ++pass)
            for (std::uint32_t y = 0; y < buffer.height; ++y) {
                const std::uint16_t* const row = ::view<const std::uint16_t>(buffer).row(y);
                for (std::uint32_t x = 0; x < buffer.width; ++x)
                    sum += row[x] ^ sum >> 3;
            }
        benchmark::DoNotOptimize(sum);
        return input;
    };
    return element;
}

/// Endless frames, as fast as the chain takes them. The pixels are the same ones again and again.
class Frames {
public:
    explicit Frames(CzFrameSource& source) : m_source(source), m_thread([this] { push(); }) {}
    ~Frames() {
        m_ends = true;
        m_source.close();
        m_thread.join();
    }

private:
    void push() {
        const auto original = picture(1280, 1024, EzImageDataType::UInt16);
        for (int frameNo = 1; !m_ends; ++frameNo) {
            std::unique_ptr<CzImageData> frame(original->clone(nullptr));
            frame->picBuf().frameNo = frameNo;
            m_source.push(std::move(frame));
        }
    }

    CzFrameSource& m_source;
    std::atomic<bool> m_ends{false};
    std::thread m_thread;
};

/// Handles events for a while.
void handleEvents(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Frames per second that a chain ends with while it is fed as fast as it takes them.
double framesPerSecond(CzChain& chain) {
    chain.source().open();
    chain.source().setQueue(CzFrameSource::EzOverflow::Wait, 2);
    const Frames frames(chain.source());
    handleEvents(300); // until it is in full swing
    const std::uint64_t before = chain.counters().framesOut;
    const auto begin = std::chrono::steady_clock::now();
    handleEvents(1000);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    return static_cast<double>(chain.counters().framesOut - before) / seconds.count();
}

double framesPerSecondAlone(int passes) {
    CzChain chain;
    chain.append(workingElement(passes).release());
    chain.start();
    return framesPerSecond(chain);
}

/// With the window open on the result.
double framesPerSecondWithTheView(int passes) {
    CzMainWindow window;
    window.resize(1700, 1100);
    window.show();
    CzChainSession& session = window.session();
    session.insert(0, workingElement(passes));
    window.chainPanel().selectElement(0);
    session.setRunning(true);
    const double measured = framesPerSecond(session.chain());
    session.setRunning(false);
    while (session.state() != CzChainSession::EzState::Stopped)
        handleEvents(5);
    return measured;
}

/// By turns, so that both see the same machine.
void chainWithTheViewOpen(benchmark::State& state) {
    const auto passes = static_cast<int>(state.range(0));
    double alone = 0.0;
    double seen = 0.0;
    for (auto _ : state) {
        alone += framesPerSecondAlone(passes);
        seen += framesPerSecondWithTheView(passes);
    }
    const auto runs = static_cast<double>(state.iterations());
    state.counters["fps_alone"] = alone / runs;
    state.counters["fps_with_view"] = seen / runs;
    state.counters["part_that_is_left"] = seen / alone;
}
BENCHMARK(chainWithTheViewOpen)
    ->ArgName("passes")
    ->Arg(8)
    ->Arg(1)
    ->Iterations(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
