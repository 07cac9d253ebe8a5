// SPDX-License-Identifier: GPL-3.0-or-later
// A picture turned by 90 degrees, against a copy of it and, where OpenCV is installed, against its rotate.
#include "BenchPicture.h"
#include "MemcpyRatio.h"
#include "OpenCv.h"
#include "RotateImageKernels.h"

#include <omp.h>

namespace {

#ifdef ZU_BENCH_OPENCV

constexpr bool hasOpenCv = true;

void rotateWithOpenCv(const SzPicBuf& destination, const SzPicBuf& source, EzQuarterTurn turn, int threads) {
    cv::setNumThreads(threads);
    cv::Mat turned = matOf(destination);
    cv::rotate(matOf(source), turned,
               turn == EzQuarterTurn::Clockwise ? cv::ROTATE_90_CLOCKWISE : cv::ROTATE_90_COUNTERCLOCKWISE);
}

#else

constexpr bool hasOpenCv = false;
void rotateWithOpenCv(const SzPicBuf&, const SzPicBuf&, EzQuarterTurn, int) {}

#endif

/// All by turns, so that they see the same machine. Counters: the median times, "ratio", the kernel's by the
/// copy's, and "times_opencv", how many times as fast as OpenCV the kernel is.
void rotate(benchmark::State& state, std::uint32_t width, std::uint32_t height, EzImageDataType type,
            std::uint32_t channels) {
    const auto threads = static_cast<int>(state.range(0));
    const auto turn = state.range(1) == 1 ? EzQuarterTurn::Clockwise : EzQuarterTurn::Counterclockwise;
    const BenchPicture source(width, height, channels, type);
    BenchPicture turned(height, width, channels, type);
    omp_set_num_threads(threads);

    if (!rotateImage(turned.buffer, source.buffer, turn))
        return state.SkipWithError("the kernel refused the pictures");
    std::vector<double> kernelSeconds;
    std::vector<double> copySeconds;
    std::vector<double> openCvSeconds;
    for ([[maybe_unused]] auto iteration : state) {
        kernelSeconds.push_back(secondsOf([&] { rotateImage(turned.buffer, source.buffer, turn); }));
        copySeconds.push_back(secondsOf(
            [&] { std::memcpy(turned.buffer.data, source.buffer.data, source.buffer.dataSize()); }));
        openCvSeconds.push_back(
            secondsOf([&] { rotateWithOpenCv(turned.buffer, source.buffer, turn, threads); }));
        state.SetIterationTime(kernelSeconds.back());
    }
    const double kernel = medianOf(kernelSeconds);
    const double copy = medianOf(copySeconds);
    state.counters["kernel_ms"] = kernel * 1e3;
    state.counters["memcpy_ms"] = copy * 1e3;
    state.counters["ratio"] = kernel / copy;
    if (hasOpenCv) {
        const double openCv = medianOf(openCvSeconds);
        state.counters["opencv_ms"] = openCv * 1e3;
        state.counters["times_opencv"] = openCv / kernel;
    }
}

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;

void directionsAndThreads(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"threads", "clockwise"})
        ->ArgsProduct({{1, 2}, {1, 0}})
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(rotate, 2048x2048_8bit, 2048, 2048, uint8, 1)->Apply(directionsAndThreads);
BENCHMARK_CAPTURE(rotate, 2048x2048_8bit_3channels, 2048, 2048, uint8, 3)->Apply(directionsAndThreads);
BENCHMARK_CAPTURE(rotate, 2048x2048_16bit, 2048, 2048, uint16, 1)->Apply(directionsAndThreads);
BENCHMARK_CAPTURE(rotate, 2048x2048_16bit_3channels, 2048, 2048, uint16, 3)->Apply(directionsAndThreads);
BENCHMARK_CAPTURE(rotate, 4096x3000_8bit, 4096, 3000, uint8, 1)->Apply(directionsAndThreads);
BENCHMARK_CAPTURE(rotate, 4096x3000_8bit_3channels, 4096, 3000, uint8, 3)->Apply(directionsAndThreads);
BENCHMARK_CAPTURE(rotate, 4096x3000_16bit, 4096, 3000, uint16, 1)->Apply(directionsAndThreads);
BENCHMARK_CAPTURE(rotate, 4096x3000_16bit_3channels, 4096, 3000, uint16, 3)->Apply(directionsAndThreads);

} // namespace
