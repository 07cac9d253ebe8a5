// SPDX-License-Identifier: GPL-3.0-or-later
// Image averaging, against streaming the memory that it touches and, where OpenCV is installed, against the
// same work by OpenCV.
#include "BenchPicture.h"
#include "HistoData.h"
#include "ImageAveragingKernels.h"
#include "InstructionSet.h"
#include "MemcpyRatio.h"
#include "OpenCv.h"

#include <algorithm>
#include <functional>
#include <string>
#include <utility>

namespace {

using Size = std::pair<std::uint32_t, std::uint32_t>;
constexpr Size small{2048, 2048};
constexpr Size large{4096, 3000};
constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;

// ---- The memory alone ----

/// Reads count words.
void readWords(const std::uint64_t* words, std::uint64_t* sum, std::size_t count) {
    std::uint64_t all = 0;
    for (std::size_t i = 0; i < count; ++i)
        all ^= words[i];
    *sum = all;
}

/// Reads and writes count words.
void changeWords(std::uint64_t* words, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        words[i] ^= 0x0101010101010101U;
}

/// Writes count words.
void writeWords(std::uint64_t* words, std::size_t count) {
    std::fill_n(words, count, 0x0101010101010101U);
}

std::uint64_t* wordsOf(const SzPicBuf& picture, std::size_t line) {
    return reinterpret_cast<std::uint64_t*>(picture.data + line * picture.linePitch);
}

/// Reads the lines of one picture and changes those of another, by turns as a kernel does.
void readAndChange(const SzPicBuf& read, const SzPicBuf& changed) {
    std::uint64_t sum = 0;
    for (std::size_t y = 0; y < changed.height; ++y) {
        forInstructionSet<&readWords>(wordsOf(read, y), &sum, read.linePitch / 8);
        benchmark::DoNotOptimize(sum);
        forInstructionSet<&changeWords>(wordsOf(changed, y), changed.linePitch / 8);
    }
}

/// Reads so many lines, then writes them, until the picture is through.
void readThenWrite(const SzPicBuf& picture, std::size_t lines) {
    std::uint64_t sum = 0;
    for (std::size_t y = 0; y < picture.height; y += lines) {
        for (std::size_t i = 0; i < lines; ++i)
            forInstructionSet<&readWords>(wordsOf(picture, y + i), &sum, picture.linePitch / 8);
        benchmark::DoNotOptimize(sum);
        for (std::size_t i = 0; i < lines; ++i)
            forInstructionSet<&writeWords>(wordsOf(picture, y + i), picture.linePitch / 8);
    }
}

// ---- The same by OpenCV ----

#ifdef ZU_BENCH_OPENCV

constexpr bool hasOpenCv = true;

cv::Mat sumsOf(const SzPicBuf& picture, int depth) {
    return {static_cast<int>(picture.height), static_cast<int>(picture.width),
            CV_MAKETYPE(depth, static_cast<int>(picture.channels)), picture.data, picture.linePitch};
}

// Each on one thread, as the kernels are.

void accumulateWithOpenCv(const SzPicBuf& source, const SzPicBuf& sums) {
    cv::setNumThreads(1);
    cv::Mat all = sumsOf(sums, CV_32F); // it has no sums of integers
    cv::accumulate(matOf(source), all);
}

void divideWithOpenCv(const SzPicBuf& sums, const SzPicBuf& output, std::uint32_t count) {
    cv::setNumThreads(1);
    cv::Mat mean = matOf(output);
    cv::divide(sumsOf(sums, CV_32S), cv::Scalar::all(count), mean, 1.0, mean.depth());
}

void averageLinesWithOpenCv(const SzPicBuf& picture, std::int32_t mode) {
    cv::setNumThreads(1);
    cv::Mat lines = matOf(picture);
    cv::Mat mean;
    cv::reduce(lines, mean, mode == RowMeans ? 1 : 0, cv::REDUCE_AVG, lines.depth() == CV_8U ? -1 : CV_32F);
    mean.convertTo(mean, lines.depth()); // it has no means of 16-bit integers
    if (mode == RowMeans)
        cv::repeat(mean, 1, lines.cols, lines);
    else
        cv::repeat(mean, lines.rows, 1, lines);
}

#else

constexpr bool hasOpenCv = false;
void accumulateWithOpenCv(const SzPicBuf&, const SzPicBuf&) {}
void divideWithOpenCv(const SzPicBuf&, const SzPicBuf&, std::uint32_t) {}
void averageLinesWithOpenCv(const SzPicBuf&, std::int32_t) {}

#endif

/// Kernel and memory by turns, so that they see the same machine; then, by turns too, kernel and OpenCV: what
/// OpenCV leaves in the caches would slow down the kernel that runs after it, but not the memory after that.
/// Counters: the median times; "ratio", the kernel's by that of the memory alone; "rate", the inverse in
/// percent; "times_opencv", how many times as fast as OpenCV the kernel is.
void measure(benchmark::State& state, const std::function<bool()>& kernel,
             const std::function<void()>& memory, const std::function<void()>& openCv = {}) {
    if (!kernel())
        return state.SkipWithError("the kernel refused the pictures");
    std::vector<double> kernelSeconds;
    std::vector<double> memorySeconds;
    for ([[maybe_unused]] auto iteration : state) {
        kernelSeconds.push_back(secondsOf(kernel));
        memorySeconds.push_back(secondsOf(memory));
        state.SetIterationTime(kernelSeconds.back());
    }
    const double kernelMedian = medianOf(kernelSeconds);
    const double memoryMedian = medianOf(memorySeconds);
    state.counters["kernel_ms"] = kernelMedian * 1e3;
    state.counters["memory_ms"] = memoryMedian * 1e3;
    state.counters["ratio"] = kernelMedian / memoryMedian;
    state.counters["rate"] = memoryMedian / kernelMedian * 100;
    if (!openCv || !hasOpenCv)
        return;
    kernelSeconds.clear();
    std::vector<double> openCvSeconds;
    for (int turn = 0; turn < 15; ++turn) {
        kernelSeconds.push_back(secondsOf(kernel));
        openCvSeconds.push_back(secondsOf(openCv));
    }
    const double openCvMedian = medianOf(openCvSeconds);
    state.counters["opencv_ms"] = openCvMedian * 1e3;
    state.counters["times_opencv"] = openCvMedian / medianOf(kernelSeconds);
}

/// One channel, or blue, green, red and alpha.
class AveragedPicture : public BenchPicture {
public:
    AveragedPicture(Size size, EzImageDataType type, std::uint32_t channels)
        : BenchPicture(size.first, size.second, channels, type) {
        buffer.isColor = channels == 4;
    }
};

/// Alpha has no sums.
class Sums : public AveragedPicture {
public:
    Sums(Size size, std::uint32_t channels)
        : AveragedPicture(size, EzImageDataType::UInt32, channels == 4 ? 3 : channels) {}

    void set(std::uint32_t sum) {
        std::fill_n(reinterpret_cast<std::uint32_t*>(buffer.data), buffer.dataSize() / sizeof sum, sum);
    }
};

CzHistoData means() {
    CzHistoData histogram;
    histogram.channels.resize(3);
    return histogram;
}

void accumulate(benchmark::State& state, Size size, EzImageDataType type, std::uint32_t channels,
                EzFrames where) {
    const AveragedPicture source(size, type, channels);
    FrameRing frames(source.buffer, where);
    Sums sums(size, channels);
    const BenchPicture openCvSums(size.first, size.second, channels, EzImageDataType::Float32);
    measure(
        state, [&] { return AccumulatePicture(frames.next(), sums.buffer); },
        [&] { readAndChange(frames.next(), sums.buffer); },
        [&] { accumulateWithOpenCv(frames.next(), openCvSums.buffer); });
}

/// The sums stay where they are from frame to frame.
void divide(benchmark::State& state, Size size, EzImageDataType type, std::uint32_t channels, EzFrames) {
    constexpr std::uint32_t count = 15; // no power of two, which would be easy
    Sums sums(size, channels);
    sums.set(count * (type == uint8 ? 255 : 65535));
    AveragedPicture output(size, type, channels);
    // It reads and writes as many bytes as the kernel reads and writes together.
    std::vector<std::uint8_t> copy((sums.buffer.dataSize() + output.buffer.dataSize()) / 2);
    const BenchPicture openCvSums(size.first, size.second, channels, EzImageDataType::UInt32);
    measure(
        state, [&] { return DivideSums(sums.buffer, output.buffer, count); },
        [&] {
            std::memcpy(copy.data(), sums.buffer.data, copy.size());
            benchmark::DoNotOptimize(copy.data());
        },
        [&] { divideWithOpenCv(openCvSums.buffer, output.buffer, count); });
}

void averageLines(benchmark::State& state, Size size, EzImageDataType type, std::uint32_t channels,
                  EzFrames where, std::int32_t mode) {
    const AveragedPicture picture(size, type, channels);
    FrameRing frames(picture.buffer, where);
    measure(
        state, [&] { return AverageLines(frames.next(), mode); },
        [&] { readThenWrite(frames.next(), mode == RowMeans ? 1 : size.second); },
        [&] { averageLinesWithOpenCv(frames.next(), mode); });
}

void averageRows(benchmark::State& state, Size size, EzImageDataType type, std::uint32_t channels,
                 EzFrames where) {
    averageLines(state, size, type, channels, where, RowMeans);
}

void averageColumns(benchmark::State& state, Size size, EzImageDataType type, std::uint32_t channels,
                    EzFrames where) {
    averageLines(state, size, type, channels, where, ColumnMeans);
}

/// The average is that of the series.
void subtract(benchmark::State& state, Size size, EzImageDataType type, std::uint32_t channels,
              EzFrames where) {
    const AveragedPicture average(size, type, channels);
    FrameRing frames(average.buffer, where);
    const CzHistoData histogram = means();
    measure(
        state, [&] { return SubtractFromAverage(average.buffer, frames.next(), histogram); },
        [&] { readAndChange(average.buffer, frames.next()); });
}

using Operation = void (*)(benchmark::State&, Size, EzImageDataType, std::uint32_t, EzFrames);

const bool registered = [] {
    const std::pair<const char*, Operation> operations[] = {{"accumulate", &accumulate},
                                                            {"divide", &divide},
                                                            {"averageRows", &averageRows},
                                                            {"averageColumns", &averageColumns},
                                                            {"subtract", &subtract}};
    for (const auto& [name, operation] : operations)
        for (const Size& size : {small, large})
            for (const EzImageDataType type : {uint8, uint16})
                for (const std::uint32_t channels : {1U, 4U})
                    for (const EzFrames where : {EzFrames::FromMemory, EzFrames::FromCache}) {
                        if (operation == &divide && where == EzFrames::FromMemory)
                            continue;
                        std::string title = name;
                        title += '/' + std::to_string(size.first) + 'x' + std::to_string(size.second);
                        title += type == uint8 ? "_8bit" : "_16bit";
                        title += channels == 4 ? "_bgra" : "";
                        title += operation != &divide && where == EzFrames::FromCache ? "/cached" : "";
                        benchmark::RegisterBenchmark(title.c_str(), operation, size, type, channels, where)
                            ->UseManualTime()
                            ->Iterations(size == small ? 201
                                                       : 31) // not searched for: that would run OpenCV again
                            ->Unit(benchmark::kMillisecond);
                    }
    return true;
}();

} // namespace
