// SPDX-License-Identifier: GPL-3.0-or-later
// The spectrum of a picture, against FFTW's own transform of as many floats and a pass over the result, and,
// where OpenCV is installed, against its dft.
#include "BenchPicture.h"
#include "FFT.h"
#include "MemcpyRatio.h"
#include "OpenCv.h"

#include <fftw3.h>
#include <omp.h>

#include <cstddef>
#include <random>
#include <vector>

namespace {

constexpr auto spectrumFloat32 = EzImageDataType::SpectrumFloat32;

/// FFTW's real-to-complex transform of a picture of floats, measured without a limit of time.
class PlainTransform {
public:
    PlainTransform(std::uint32_t width, std::uint32_t height)
        : m_samples(fftwf_alloc_real(std::size_t{width} * height))
        , m_spectrum(fftwf_alloc_complex(std::size_t{width / 2 + 1} * height)) {
        fftwf_set_timelimit(FFTW_NO_TIMELIMIT);
        m_plan = fftwf_plan_dft_r2c_2d(static_cast<int>(height), static_cast<int>(width), m_samples,
                                       m_spectrum, FFTW_MEASURE);
        std::mt19937 random;
        std::generate_n(m_samples, std::size_t{width} * height,
                        [&] { return static_cast<float>(random() % 4096); });
    }
    ~PlainTransform() {
        fftwf_destroy_plan(m_plan);
        fftwf_free(m_samples);
        fftwf_free(m_spectrum);
    }
    PlainTransform(const PlainTransform&) = delete;
    PlainTransform& operator=(const PlainTransform&) = delete;

    void execute() { fftwf_execute(m_plan); }
    float* samples() { return m_samples; }

private:
    float* m_samples;
    fftwf_complex* m_spectrum;
    fftwf_plan m_plan;
};

#ifdef ZU_BENCH_OPENCV

constexpr bool hasOpenCv = true;

void transformWithOpenCv(float* samples, std::uint32_t width, std::uint32_t height, int threads) {
    cv::setNumThreads(threads);
    static cv::Mat spectrum;
    cv::dft(cv::Mat(static_cast<int>(height), static_cast<int>(width), CV_32F, samples), spectrum,
            cv::DFT_COMPLEX_OUTPUT);
}

#else

constexpr bool hasOpenCv = false;
void transformWithOpenCv(float*, std::uint32_t, std::uint32_t, int) {}

#endif

/// All by turns, so that they see the same machine. Counters: the median times, "ratio", the transform's by
/// FFTW's plus the pass, and "times_opencv", how many times as fast as OpenCV it is.
void calc2D(benchmark::State& state, std::uint32_t width, std::uint32_t height, EzImageDataType type) {
    const auto threads = static_cast<int>(state.range(0));
    omp_set_num_threads(threads);
    BenchPicture source(width, height, 1, type);
    std::mt19937 random;
    std::generate_n(source.buffer.data, source.buffer.dataSize(),
                    [&] { return std::uint8_t(random() % 16); });
    BenchPicture real(width, height, 1, spectrumFloat32);
    BenchPicture imaginary(width, height, 1, spectrumFloat32);
    PlainTransform plain(width, height);
    void* a = nullptr;
    void* b = nullptr;
    void* c = nullptr;
    const double planning = secondsOf([&] { CzFFT::Alloc2D(source.buffer, a, b, c); });
    if (!CzFFT::Calc2D(source.buffer, real.buffer, imaginary.buffer, a, b, c))
        return state.SkipWithError("the pictures were refused");

    std::vector<double> ours;
    std::vector<double> fftw;
    std::vector<double> pass;
    std::vector<double> openCv;
    for ([[maybe_unused]] auto iteration : state) {
        ours.push_back(
            secondsOf([&] { CzFFT::Calc2D(source.buffer, real.buffer, imaginary.buffer, a, b, c); }));
        fftw.push_back(secondsOf([&] { plain.execute(); }));
        pass.push_back(secondsOf([&] {
            std::memcpy(real.buffer.data, plain.samples(), real.buffer.dataSize());
            std::memcpy(imaginary.buffer.data, plain.samples(), imaginary.buffer.dataSize());
        }));
        openCv.push_back(secondsOf([&] { transformWithOpenCv(plain.samples(), width, height, threads); }));
        state.SetIterationTime(ours.back());
    }
    CzFFT::Free2D(a, b, c);
    state.counters["planning_ms"] = planning * 1e3;
    state.counters["transform_ms"] = medianOf(ours) * 1e3;
    state.counters["fftw_ms"] = medianOf(fftw) * 1e3;
    state.counters["pass_ms"] = medianOf(pass) * 1e3;
    state.counters["ratio"] = medianOf(ours) / (medianOf(fftw) + medianOf(pass));
    if (hasOpenCv)
        state.counters["times_opencv"] = medianOf(openCv) / medianOf(ours);
}

void threadCounts(benchmark::internal::Benchmark* bench) {
    bench->ArgName("threads")->Arg(1)->Arg(2)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(calc2D, 2048x2048_8bit, 2048, 2048, EzImageDataType::UInt8)->Apply(threadCounts);
BENCHMARK_CAPTURE(calc2D, 2048x2048_16bit, 2048, 2048, EzImageDataType::UInt16)->Apply(threadCounts);
BENCHMARK_CAPTURE(calc2D, 2048x1088_8bit, 2048, 1088, EzImageDataType::UInt8)->Apply(threadCounts);
BENCHMARK_CAPTURE(calc2D, 2048x1088_16bit, 2048, 1088, EzImageDataType::UInt16)->Apply(threadCounts);

} // namespace
