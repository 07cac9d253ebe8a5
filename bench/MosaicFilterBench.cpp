// SPDX-License-Identifier: GPL-3.0-or-later
// The statistics of a mosaic picture, against reading it and, where OpenCV is installed, its erode, dilate
// and blur.
#include "BenchPicture.h"
#include "InstructionSet.h"
#include "MemcpyRatio.h"
#include "OpenCv.h"
#include "PicBufAPI.h"

#include <QRect>

#include <omp.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace {

using Filter = bool (*)(const SzPicBuf&, const QRect&, int, int, SzPicBuf&);

constexpr Filter smallest = &CzPicBufAPI::FilterMinOnMosaicPicBuf;
constexpr Filter largest = &CzPicBufAPI::FilterMaxOnMosaicPicBuf;
constexpr Filter average = &CzPicBufAPI::FilterAvgOnMosaicPicBuf;
constexpr Filter normalized = &CzPicBufAPI::FilterNormalizeOnMosaicPicBuf;

#ifdef ZU_BENCH_OPENCV

constexpr bool hasOpenCv = true;

/// The same window: it begins at the sample.
void slideWithOpenCv(const SzPicBuf& destination, const SzPicBuf& source, Filter filter, int cell) {
    cv::setNumThreads(1);
    cv::Mat result = matOf(destination);
    const cv::Point anchor(0, 0);
    if (filter == average)
        cv::blur(matOf(source), result, cv::Size(cell, cell), anchor);
    else if (filter == smallest)
        cv::erode(matOf(source), result, cv::Mat::ones(cell, cell, CV_8U), anchor);
    else
        cv::dilate(matOf(source), result, cv::Mat::ones(cell, cell, CV_8U), anchor);
}

#else

constexpr bool hasOpenCv = false;
void slideWithOpenCv(const SzPicBuf&, const SzPicBuf&, Filter, int) {}

#endif

/// Samples without regularity, up to the largest.
void fillWithNoise(const SzPicBuf& picture) {
    std::uint32_t state = 1;
    for (std::uint64_t i = 0; i < picture.dataSize(); ++i) {
        state = state * 1664525U + 1013904223U;
        picture.data[i] = static_cast<std::uint8_t>(state >> 24);
    }
}

QRect all(const SzPicBuf& picture) {
    return {0, 0, static_cast<int>(picture.width), static_cast<int>(picture.height)};
}

struct Format {
    std::uint32_t width;
    std::uint32_t height;
    EzImageDataType type;
};

/// The windows, and OpenCV's, by turns, each on one core. "times_opencv" says how many times as fast as
/// OpenCV they are.
void sliding(benchmark::State& state, Format format, Filter filter, int cell, EzFrames where) {
    const BenchPicture source(format.width, format.height, 1, format.type);
    BenchPicture result(format.width, format.height, 1, format.type);
    fillWithNoise(source.buffer);
    FrameRing frames(source.buffer, where);
    omp_set_num_threads(1);
    const auto filtered = [&] {
        return filter(frames.next(), all(source.buffer), cell, cell, result.buffer);
    };
    if (!filtered())
        return state.SkipWithError("the filter refused the pictures");
    const bool openCvToo = hasOpenCv && filter != normalized; // which it has no function for
    std::vector<double> filterSeconds;
    std::vector<double> openCvSeconds;
    for ([[maybe_unused]] auto iteration : state) {
        filterSeconds.push_back(secondsOf(filtered));
        if (openCvToo)
            openCvSeconds.push_back(
                secondsOf([&] { slideWithOpenCv(result.buffer, frames.next(), filter, cell); }));
        state.SetIterationTime(filterSeconds.back());
    }
    const double filterMedian = medianOf(filterSeconds);
    state.counters["filter_ms"] = filterMedian * 1e3;
    if (openCvToo) {
        const double openCv = medianOf(openCvSeconds);
        state.counters["opencv_ms"] = openCv * 1e3;
        state.counters["times_opencv"] = openCv / filterMedian;
    }
}

constexpr std::size_t blockWords = 32;

/// Reads so many blocks of words as fast as the memory gives them: no word waits for the one before it.
void readBlocks(const std::uint64_t* words, std::size_t blocks, std::uint64_t* all) {
    std::uint64_t columns[blockWords] = {};
    for (std::size_t block = 0; block < blocks; ++block)
        for (std::size_t i = 0; i < blockWords; ++i)
            columns[i] |= words[block * blockWords + i];
    *all = std::accumulate(std::begin(columns), std::end(columns), std::uint64_t{}, std::bit_or<>());
}

/// All sizes measured here are whole blocks.
void readAll(const SzPicBuf& picture) {
    std::uint64_t all = 0;
    forInstructionSet<&readBlocks>(reinterpret_cast<const std::uint64_t*>(picture.data),
                                   std::size_t{picture.dataSize()} / (blockWords * sizeof all), &all);
    benchmark::DoNotOptimize(all);
}

/// One value per cell, and reading the source, by turns, each on one core. "of_reading" says how fast it is,
/// as a part of the speed of reading.
void perCell(benchmark::State& state, Format format, Filter filter, int cell, EzFrames where) {
    const BenchPicture source(format.width, format.height, 1, format.type);
    const auto step = static_cast<std::uint32_t>(cell);
    BenchPicture result(format.width / step, format.height / step, 1, format.type);
    fillWithNoise(source.buffer);
    FrameRing frames(source.buffer, where);
    omp_set_num_threads(1);
    const auto filtered = [&] {
        return filter(frames.next(), all(source.buffer), cell, cell, result.buffer);
    };
    if (!filtered())
        return state.SkipWithError("the filter refused the pictures");
    std::vector<double> filterSeconds;
    std::vector<double> readSeconds;
    for ([[maybe_unused]] auto iteration : state) {
        filterSeconds.push_back(secondsOf(filtered));
        readSeconds.push_back(secondsOf([&] { readAll(frames.next()); }));
        state.SetIterationTime(filterSeconds.back());
    }
    const double filterMedian = medianOf(filterSeconds);
    const double readMedian = medianOf(readSeconds);
    state.counters["filter_ms"] = filterMedian * 1e3;
    state.counters["read_ms"] = readMedian * 1e3;
    state.counters["of_reading"] = readMedian / filterMedian;
}

bool registerBenchmarks() {
    const std::pair<const char*, Format> formats[] = {
        {"2048x2048_8bit", {2048, 2048, EzImageDataType::UInt8}},
        {"2048x2048_16bit", {2048, 2048, EzImageDataType::UInt16}},
        {"4096x3000_8bit", {4096, 3000, EzImageDataType::UInt8}},
        {"4096x3000_16bit", {4096, 3000, EzImageDataType::UInt16}}};
    const std::pair<const char*, Filter> filters[] = {
        {"min", smallest}, {"max", largest}, {"avg", average}, {"normalize", normalized}};
    for (const auto& [formatName, format] : formats)
        for (const auto& [filterName, filter] : filters)
            for (const int cell : {2, 4, 5, 16}) {
                const std::string name =
                    std::string(filterName) + '/' + formatName + "/cell:" + std::to_string(cell);
                const auto add = [&](const std::string& title, auto* measured, auto... more) {
                    benchmark::RegisterBenchmark(title.c_str(), measured, format, filter, cell, more...)
                        ->UseManualTime()
                        ->Unit(benchmark::kMillisecond);
                };
                const auto addBoth = [&](const std::string& title, auto* measured) {
                    add(title, measured, EzFrames::FromMemory);
                    add(title + "/cached", measured, EzFrames::FromCache);
                };
                if (filter == normalized) {
                    addBoth("mosaic/" + name,
                            &sliding); // one value per sample, out of the cell that it lies in
                    continue;
                }
                addBoth("mosaicSliding/" + name, &sliding);
                addBoth("mosaicPerCell/" + name, &perCell);
            }
    return true;
}

[[maybe_unused]] const bool registered = registerBenchmarks();

} // namespace
