// SPDX-License-Identifier: GPL-3.0-or-later
// The median over squares, against OpenCV's medianBlur where it is installed and can do the size.
#include "BenchPicture.h"
#include "MemcpyRatio.h"
#include "OpenCv.h"
#include "PicBufAPI.h"
#include "PictureView.h"

#include <omp.h>

#include <cmath>
#include <random>

namespace {

#ifdef ZU_BENCH_OPENCV

/// OpenCV filters 16-bit pictures up to 5 × 5, and 8-bit ones of any size.
bool isOpenCvAble(EzImageDataType type, int side) {
    return type == EzImageDataType::UInt8 || side <= 5;
}

void medianWithOpenCv(const SzPicBuf& destination, const SzPicBuf& source, int side, int threads) {
    cv::setNumThreads(threads);
    cv::Mat filtered = matOf(destination);
    cv::medianBlur(matOf(source), filtered, side);
}

#else

bool isOpenCvAble(EzImageDataType, int) {
    return false;
}
void medianWithOpenCv(const SzPicBuf&, const SzPicBuf&, int, int) {}

#endif

/// A scene of soft structures with noise: neighbours are alike, but not the same.
template <class T>
void fillScene(SzPicBuf& picture, std::uint32_t bitDepth) {
    std::mt19937 random(1);
    const double white = double((1U << bitDepth) - 1);
    const PictureView<T> pixels = view<T>(picture);
    for (std::uint32_t y = 0; y < pixels.height; ++y)
        for (std::uint32_t x = 0; x < pixels.width; ++x) {
            const double structure = 0.5 + 0.2 * std::sin(x * 0.011) + 0.2 * std::sin(y * 0.017 + x * 0.003);
            const double noise = 0.08 * (double(random() % 1000) / 1000 - 0.5);
            pixels.row(y)[x] = static_cast<T>((structure + noise) * white);
        }
}

/// By turns, so that both see the same machine. Counters: megapixels per second, the median times and
/// "times_opencv", how many times as fast as OpenCV.
void median(benchmark::State& state, EzImageDataType type, std::uint32_t bitDepth) {
    const auto side = static_cast<int>(state.range(0));
    const auto threads = static_cast<int>(state.range(1));
    BenchPicture source(2048, 2048, 1, type);
    BenchPicture filtered(2048, 2048, 1, type);
    if (type == EzImageDataType::UInt8)
        fillScene<std::uint8_t>(source.buffer, bitDepth);
    else
        fillScene<std::uint16_t>(source.buffer, bitDepth);
    source.buffer.bitDepth = bitDepth;
    omp_set_num_threads(threads);

    void* work = nullptr;
    if (!CzPicBufAPI::MedianAllocBuffer(source.buffer, side / 2, &work))
        return state.SkipWithError("no work memory");
    bool isFiltered = true;
    const bool withOpenCv = isOpenCvAble(type, side);
    std::vector<double> seconds;
    std::vector<double> openCvSeconds;
    for ([[maybe_unused]] auto iteration : state) {
        seconds.push_back(secondsOf([&] {
            isFiltered = CzPicBufAPI::Median(source.buffer, filtered.buffer, side / 2, work) && isFiltered;
        }));
        if (withOpenCv)
            openCvSeconds.push_back(
                secondsOf([&] { medianWithOpenCv(filtered.buffer, source.buffer, side, threads); }));
        state.SetIterationTime(seconds.back());
    }
    CzPicBufAPI::MedianFreeBuffer(work);
    if (!isFiltered)
        return state.SkipWithError("the median failed");
    const double time = medianOf(seconds);
    state.counters["MP_per_s"] = 2048.0 * 2048.0 / time / 1e6;
    if (withOpenCv) {
        state.counters["opencv_ms"] = medianOf(openCvSeconds) * 1e3;
        state.counters["times_opencv"] = medianOf(openCvSeconds) / time;
    }
}

void sidesAndThreads(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"side", "threads"})
        ->ArgsProduct({{3, 5, 7, 9, 11, 13, 15, 17, 25, 31, 63, 101, 255}, {1, 2}})
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(median, 2048x2048_8bit, EzImageDataType::UInt8, 8)->Apply(sidesAndThreads);
BENCHMARK_CAPTURE(median, 2048x2048_12of16bit, EzImageDataType::UInt16, 12)->Apply(sidesAndThreads);
BENCHMARK_CAPTURE(median, 2048x2048_16bit, EzImageDataType::UInt16, 16)->Apply(sidesAndThreads);

} // namespace
