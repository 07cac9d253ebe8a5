// SPDX-License-Identifier: GPL-3.0-or-later
// The profile of a picture, against reading it, and the element that plots its spectrum, on one core.
#include "BenchPicture.h"
#include "FFT1DCnbl.h"
#include "FFT1DKernels.h"
#include "InstructionSet.h"
#include "MemcpyRatio.h"
#include "MemoryPool.h"

#include <omp.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace {

/// Reads count words.
void readWords(const std::uint64_t* words, std::uint64_t* sum, std::size_t count) {
    std::uint64_t all = 0;
    for (std::size_t i = 0; i < count; ++i)
        all ^= words[i];
    *sum = all;
}

/// By turns. Counters: the median times, and "percent", how fast the profile is made in percent of reading
/// the picture.
void profile(benchmark::State& state, EzImageDataType type, bool ofRows) {
    BenchPicture source(4096, 3000, 1, type);
    std::mt19937 random;
    std::generate_n(source.buffer.data, source.buffer.dataSize(), [&] { return std::uint8_t(random()); });
    std::vector<float> means(4096);
    std::vector<double> kernel;
    std::vector<double> stream;
    for ([[maybe_unused]] auto iteration : state) {
        kernel.push_back(secondsOf([&] {
            meanProfile(source.buffer, ofRows, means.data(), means.size());
            benchmark::DoNotOptimize(means.data());
        }));
        stream.push_back(secondsOf([&] {
            std::uint64_t sum = 0;
            forInstructionSet<&readWords>(reinterpret_cast<const std::uint64_t*>(source.buffer.data), &sum,
                                          std::size_t(source.buffer.dataSize() / sizeof(std::uint64_t)));
            benchmark::DoNotOptimize(sum);
        }));
        state.SetIterationTime(kernel.back());
    }
    state.counters["kernel_ms"] = medianOf(kernel) * 1e3;
    state.counters["stream_ms"] = medianOf(stream) * 1e3;
    state.counters["percent"] = 100.0 * medianOf(stream) / medianOf(kernel);
}

/// An element whose input is known, with a pool of its own.
class BenchElement : public CzFFT1DCnbl {
public:
    explicit BenchElement(const SzPicBufInfo& input)
        : m_input(input)
        , m_pool(CzMemoryPool::create(2, std::uint64_t{input.width} * input.height * 4 + 4096)) {
        memoryPool = m_pool->handle();
    }
    bool currentInputImageInfo(SzPicBufInfo& format, CzImageMetadata*) override {
        format = m_input;
        return true;
    }

private:
    SzPicBufInfo m_input;
    std::shared_ptr<CzMemoryPool> m_pool;
};

/// Counters: the median time of a frame, "frames_per_second", and "plot_percent", the plot's share of it.
void frame(benchmark::State& state) {
    omp_set_num_threads(1);
    BenchPicture source(1280, 1024, 1, EzImageDataType::UInt16);
    std::mt19937 random;
    std::generate_n(source.buffer.data, source.buffer.dataSize(),
                    [&] { return std::uint8_t(random() % 16); });
    BenchElement element(source.buffer);
    element.setTranstype(state.range(0) == 0 ? 0 : 1);
    element.setupStart();

    SpectrumPlot plot;
    plot.prepare(1280, 1024);
    QVector<double> x(512);
    QVector<double> amplitudes(512);
    for (int i = 0; i < x.size(); ++i) {
        x[i] = i / (2.0 * x.size());
        amplitudes[i] = 1000.0 + random() % 100000;
    }
    BenchPicture picture(1280, 1024, 4, EzImageDataType::UInt8);

    std::vector<double> frames;
    std::vector<double> plots;
    for ([[maybe_unused]] auto iteration : state) {
        SzPicBuf copy;
        CzPicBufAPI::AllocPicBufFromHeap(copy, source.buffer, false);
        CzPicBufAPI::CopyPicBuf(copy, source.buffer, false);
        auto* const input = new CzImageData;
        input->setPicBuf(copy);
        IzChainData* output = nullptr;
        frames.push_back(secondsOf([&] { output = element.processData(input); }));
        delete output;
        if (!output)
            return state.SkipWithError("no plot came out");
        plots.push_back(secondsOf([&] { plot.draw(picture.buffer, x, amplitudes, 0.0, 100000.0); }));
        state.SetIterationTime(frames.back());
    }
    element.setupStop();
    state.counters["frame_ms"] = medianOf(frames) * 1e3;
    state.counters["frames_per_second"] = 1.0 / medianOf(frames);
    state.counters["plot_percent"] = 100.0 * medianOf(plots) / medianOf(frames);
}

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;

BENCHMARK_CAPTURE(profile, rows_4096x3000_8bit, uint8, true)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(profile, rows_4096x3000_16bit, uint16, true)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(profile, columns_4096x3000_8bit, uint8, false)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(profile, columns_4096x3000_16bit, uint16, false)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(frame)
    ->Name("spectrumPlot/1280x1024_16bit")
    ->ArgName("columns")
    ->Arg(1)
    ->Arg(0)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
