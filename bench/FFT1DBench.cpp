// SPDX-License-Identifier: GPL-3.0-or-later
// The profile of a picture, against reading it, and the element that plots its spectrum, on one core.
#include "BenchPicture.h"
#include "FFT1DCnbl.h"
#include "FFT1DKernels.h"
#include "InstructionSet.h"
#include "MemcpyRatio.h"
#include "MemoryPool.h"

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Reads count words.
void readWords(const std::uint64_t* words, std::uint64_t* sum, std::size_t count) {
    std::uint64_t all = 0;
    for (std::size_t i = 0; i < count; ++i)
        all ^= words[i];
    *sum = all;
}

void fillWithNoise(SzPicBuf& picture, std::uint32_t bits) {
    std::mt19937 random;
    withSampleType(picture.dataType, [&](auto sample) {
        using T = decltype(sample);
        std::generate_n(reinterpret_cast<T*>(picture.data), std::size_t{picture.width} * picture.height,
                        [&] { return static_cast<T>(random() & ((1U << bits) - 1)); });
        return true;
    });
}

/// By turns. Counters: the median times, and "percent", how fast the profile is made in percent of reading
/// the picture.
void profile(benchmark::State& state, EzImageDataType type, std::uint32_t bits, bool ofRows, EzFrames where) {
    BenchPicture source(4096, 3000, 1, type);
    fillWithNoise(source.buffer, bits);
    FrameRing frames(source.buffer, where);
    std::vector<float> means(4096);
    std::vector<double> kernel;
    std::vector<double> stream;
    for ([[maybe_unused]] auto iteration : state) {
        kernel.push_back(secondsOf([&] {
            meanProfile(frames.next(), ofRows, means.data(), means.size());
            benchmark::DoNotOptimize(means.data());
        }));
        stream.push_back(secondsOf([&] {
            std::uint64_t sum = 0;
            forInstructionSet<&readWords>(reinterpret_cast<const std::uint64_t*>(frames.next().data), &sum,
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

/// White noise, whose spectrum is a line that goes up and down at every point: the worst that the plot can
/// meet. Counters: the median time of a frame, "frames_per_second", and "plot_percent", the plot's share:
/// what is left without the profile, by turns.
void frame(benchmark::State& state) {
    BenchPicture source(1280, 1024, 1, EzImageDataType::UInt16);
    fillWithNoise(source.buffer, 12);
    const bool ofRows = state.range(0) == 1;
    BenchElement element(source.buffer);
    element.setTranstype(ofRows ? 1 : 0);
    element.setIncludeDC(false);
    element.setupStart();

    std::vector<float> means(1280);
    std::vector<double> frames;
    std::vector<double> profiles;
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
        profiles.push_back(
            secondsOf([&] { meanProfile(source.buffer, ofRows, means.data(), means.size()); }));
        state.SetIterationTime(frames.back());
    }
    element.setupStop();
    state.counters["frame_ms"] = medianOf(frames) * 1e3;
    state.counters["frames_per_second"] = 1.0 / medianOf(frames);
    state.counters["plot_percent"] = 100.0 * (1.0 - medianOf(profiles) / medianOf(frames));
}

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;

[[maybe_unused]] const bool profilesRegistered = [] {
    for (const bool ofRows : {true, false})
        for (const auto& [bits, type] :
             {std::pair(8U, uint8), std::pair(12U, uint16), std::pair(16U, uint16)})
            for (const EzFrames where : {EzFrames::FromMemory, EzFrames::FromCache}) {
                std::string title = ofRows ? "profile/rows_" : "profile/columns_";
                title += std::to_string(bits) + "bit";
                title += where == EzFrames::FromCache ? "/cached" : "";
                benchmark::RegisterBenchmark(title.c_str(), &profile, type, bits, ofRows, where)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond);
            }
    return true;
}();

BENCHMARK(frame)
    ->Name("spectrumPlot")
    ->ArgName("rowMeans")
    ->Arg(1)
    ->Arg(0)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
