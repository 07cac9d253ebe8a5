// SPDX-License-Identifier: GPL-3.0-or-later
// Colour and near-infrared pictures out of an RGB-NIR picture, against a copy of source and destination and,
// where OpenCV is installed, against its bilinear conversion of a Bayer picture; and how close the colours
// come to a known scene.
#include "BenchPicture.h"
#include "ImageData.h"
#include "MemcpyRatio.h"
#include "OpenCv.h"
#include "PictureView.h"
#include "RgbNirDemosaicKernels.h"
#include "Scenes.h"

#include <omp.h>

#include <cmath>

namespace {

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;
constexpr auto uint32 = EzImageDataType::UInt32;

#ifdef ZU_BENCH_OPENCV

/// Three channels of the source's depth.
class OpenCvColour {
public:
    double secondsOf(const SzPicBuf& raw, int threads) {
        cv::setNumThreads(threads);
        const cv::Mat bayer = matOf(raw);
        return ::secondsOf([&] { cv::cvtColor(bayer, m_colour, cv::COLOR_BayerBG2BGR); });
    }

private:
    cv::Mat m_colour;
};

constexpr bool hasOpenCv = true;

#else

class OpenCvColour {
public:
    double secondsOf(const SzPicBuf&, int) { return 0.0; }
};

constexpr bool hasOpenCv = false;

#endif

/// Measures convert against copies of as many bytes as source and destination have, and colours of 8 and 16
/// bits against OpenCV, all by turns, so that they see the same machine. Counters: the median times, "ratio",
/// convert's by the copies', and "times_opencv", how many times as fast as OpenCV it is.
template <class Convert>
void measure(benchmark::State& state, SzPicBuf& destination, const SzPicBuf& source, Convert&& convert) {
    const bool besideOpenCv = hasOpenCv && destination.channels == 4 && source.dataType != uint32;
    const auto threads = static_cast<int>(state.range(0));
    omp_set_num_threads(threads);
    if (!convert())
        return state.SkipWithError("the kernel refused the pictures");
    std::vector<std::uint8_t> sourceCopy(source.dataSize());
    std::vector<std::uint8_t> destinationCopy(destination.dataSize());
    OpenCvColour openCv;
    if (besideOpenCv)
        openCv.secondsOf(source, threads); // allocates
    std::vector<double> kernelSeconds;
    std::vector<double> copySeconds;
    std::vector<double> openCvSeconds;
    for ([[maybe_unused]] auto iteration : state) {
        kernelSeconds.push_back(secondsOf(convert));
        copySeconds.push_back(secondsOf([&] {
            std::memcpy(sourceCopy.data(), source.data, sourceCopy.size());
            std::memcpy(destinationCopy.data(), destination.data, destinationCopy.size());
            benchmark::DoNotOptimize(sourceCopy.data());
            benchmark::DoNotOptimize(destinationCopy.data());
        }));
        if (besideOpenCv)
            openCvSeconds.push_back(openCv.secondsOf(source, threads));
        state.SetIterationTime(kernelSeconds.back());
    }
    const double kernel = medianOf(kernelSeconds);
    const double copy = medianOf(copySeconds);
    state.counters["kernel_ms"] = kernel * 1e3;
    state.counters["memcpy_ms"] = copy * 1e3;
    state.counters["ratio"] = kernel / copy;
    if (besideOpenCv) {
        const double other = medianOf(openCvSeconds);
        state.counters["opencv_ms"] = other * 1e3;
        state.counters["times_opencv"] = other / kernel;
    }
}

/// Blue, green, red and alpha, as the element makes them.
void rgbNirColour(benchmark::State& state, std::uint32_t width, std::uint32_t height, EzImageDataType type) {
    BenchPicture source(width, height, 1, type);
    BenchPicture colour(width, height, 4, uint8);
    source.buffer.bitDepth = type == uint8 ? 8 : type == uint16 ? 12 : 24;
    measure(state, colour.buffer, source.buffer,
            [&] { return interpolateColour(colour.buffer, source.buffer, SzCellPositions()); });
}

void rgbNirNearInfrared(benchmark::State& state, std::uint32_t width, std::uint32_t height,
                        EzImageDataType type) {
    const BenchPicture source(width, height, 1, type);
    BenchPicture nir(width, height, 1, type);
    measure(state, nir.buffer, source.buffer,
            [&] { return interpolateNearInfrared(nir.buffer, source.buffer, SzCellPositions()); });
}

void threads(benchmark::internal::Benchmark* bench) {
    bench->ArgName("threads")->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(rgbNirColour, 2048x2048_8bit, 2048, 2048, uint8)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirColour, 2048x2048_16bit, 2048, 2048, uint16)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirColour, 2048x2048_32bit, 2048, 2048, uint32)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirColour, 4096x3000_8bit, 4096, 3000, uint8)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirColour, 4096x3000_16bit, 4096, 3000, uint16)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirColour, 4096x3000_32bit, 4096, 3000, uint32)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirNearInfrared, 2048x2048_8bit, 2048, 2048, uint8)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirNearInfrared, 2048x2048_16bit, 2048, 2048, uint16)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirNearInfrared, 2048x2048_32bit, 2048, 2048, uint32)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirNearInfrared, 4096x3000_8bit, 4096, 3000, uint8)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirNearInfrared, 4096x3000_16bit, 4096, 3000, uint16)->Apply(threads);
BENCHMARK_CAPTURE(rgbNirNearInfrared, 4096x3000_32bit, 4096, 3000, uint32)->Apply(threads);

// ---- Quality ----

/// All four filters at every pixel of a 12-bit scene: each pixel is the mean of what four cells of a camera
/// with four times the width and height see.
class KnownScene {
public:
    KnownScene(std::uint32_t width, std::uint32_t height) : m_width(width), m_samples(width * height * 4) {
        SzSceneSettings settings;
        settings.width = width * 4;
        settings.height = height * 4;
        const auto frame = renderScene(QStringLiteral("rgbnir"), settings);
        const auto fine = view<const std::uint16_t>(frame->picBuf());
        for (std::uint32_t y = 0; y < height; ++y)
            for (std::uint32_t x = 0; x < width; ++x)
                for (std::uint32_t position = 0; position < 4; ++position) {
                    const std::uint32_t left = x * 4 + position % 2;
                    const std::uint16_t* const upper = fine.row(y * 4 + position / 2) + left;
                    const std::uint16_t* const lower = fine.row(y * 4 + position / 2 + 2) + left;
                    const int sum = upper[0] + upper[2] + lower[0] + lower[2];
                    m_samples[(std::size_t{y} * width + x) * 4 + position] =
                        static_cast<std::uint16_t>((sum + 2) / 4);
                }
    }

    std::uint16_t at(std::uint32_t x, std::uint32_t y, std::uint32_t position) const {
        return m_samples[(std::size_t{y} * m_width + x) * 4 + position];
    }

private:
    std::uint32_t m_width;
    std::vector<std::uint16_t> m_samples;
};

/// Peak signal to noise in decibels: of a channel of picture, against the scene as deep as the picture.
template <class T>
double psnr(const SzPicBuf& picture, std::uint32_t channel, const KnownScene& scene, std::uint32_t position) {
    const auto pixels = view<const T>(picture);
    double squares = 0.0;
    for (std::uint32_t y = 0; y < picture.height; ++y)
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            const int expected = scene.at(x, y, position) >> (12 - picture.bitDepth);
            const double difference = pixels.row(y)[x * picture.channels + channel] - expected;
            squares += difference * difference;
        }
    const double peak = std::exp2(picture.bitDepth) - 1.0;
    return 10.0 * std::log10(peak * peak * picture.width * picture.height / squares);
}

/// Samples a known scene through the cell, interpolates it and compares.
void rgbNirQuality(benchmark::State& state) {
    constexpr std::uint32_t width = 640;
    constexpr std::uint32_t height = 512;
    const KnownScene scene(width, height);
    BenchPicture raw(width, height, 1, uint16);
    BenchPicture nir(width, height, 1, uint16);
    BenchPicture colour(width, height, 4, uint8);
    raw.buffer.bitDepth = nir.buffer.bitDepth = 12;
    const auto samples = view<std::uint16_t>(raw.buffer);
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            samples.row(y)[x] = scene.at(x, y, y % 2 * 2 + x % 2);

    const SzCellPositions cell;
    for ([[maybe_unused]] auto iteration : state) {
        interpolateColour(colour.buffer, raw.buffer, cell);
        interpolateNearInfrared(nir.buffer, raw.buffer, cell);
    }
    state.counters["blue_dB"] = psnr<std::uint8_t>(colour.buffer, 0, scene, cell.blue);
    state.counters["green_dB"] = psnr<std::uint8_t>(colour.buffer, 1, scene, cell.green);
    state.counters["red_dB"] = psnr<std::uint8_t>(colour.buffer, 2, scene, cell.red);
    state.counters["nir_dB"] = psnr<std::uint16_t>(nir.buffer, 0, scene, cell.nir);
}

BENCHMARK(rgbNirQuality)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
