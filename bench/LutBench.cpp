// SPDX-License-Identifier: GPL-3.0-or-later
// Look-up tables and histograms, against a copy of the source and, where OpenCV is installed, against the
// same work by OpenCV.
#include "BenchPicture.h"
#include "ImageData.h"
#include "InstructionSet.h"
#include "Lut.h"
#include "MemcpyRatio.h"
#include "OpenCv.h"
#include "PicBufMeas.h"
#include "PictureView.h"
#include "Scenes.h"

#include <QRect>

#include <omp.h>

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Size = std::pair<std::uint32_t, std::uint32_t>;
constexpr Size small{2048, 2048};
constexpr Size large{4000, 3000};
constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;

enum class EzContents {
    Scene, ///< what a camera sees: neighbours are alike; 12 bits of 16-bit samples
    Noise  ///< every sample anew, over all 8 or 16 bits: the worst for caches
};

/// What is looked up, and how.
struct Case {
    Size size;
    EzImageDataType type;
    std::uint32_t channels;
    EzContents contents;

    std::uint32_t bitDepth() const { return type == uint8 ? 8 : contents == EzContents::Scene ? 12 : 16; }
};

/// A camera's scene of this size and depth, rendered once.
const SzPicBuf& scene(const Size& size, std::uint32_t bitDepth) {
    static std::map<std::pair<Size, std::uint32_t>, std::unique_ptr<CzImageData>> scenes;
    std::unique_ptr<CzImageData>& image = scenes[{size, bitDepth}];
    if (!image) {
        SzSceneSettings settings;
        settings.width = size.first;
        settings.height = size.second;
        settings.bitDepth = bitDepth;
        image = renderScene(QStringLiteral("mono"), settings);
    }
    return image->picBuf();
}

/// A picture for a case.
class LutPicture : public BenchPicture {
public:
    explicit LutPicture(const Case& what)
        : BenchPicture(what.size.first, what.size.second, what.channels, what.type) {
        buffer.bitDepth = what.bitDepth();
        buffer.isColor = what.channels == 3;
        if (what.contents == EzContents::Noise)
            fillWithNoise();
        else
            fillWithScene();
    }

private:
    void fillWithNoise() {
        std::mt19937 random(1);
        auto* const words = reinterpret_cast<std::uint32_t*>(buffer.data);
        for (std::size_t i = 0; i < buffer.dataSize() / sizeof *words; ++i)
            words[i] = static_cast<std::uint32_t>(random());
    }

    /// Each channel holds the same scene.
    void fillWithScene() {
        const SzPicBuf& mono = scene({buffer.width, buffer.height}, buffer.bitDepth);
        if (mono.dataType != buffer.dataType)
            throw std::logic_error("the scene has other samples");
        withSampleType(buffer.dataType, [&](auto sample) {
            using T = decltype(sample);
            for (std::size_t y = 0; y < buffer.height; ++y)
                for (std::size_t i = 0; i < std::size_t{buffer.width} * buffer.channels; ++i)
                    view<T>(buffer).row(y)[i] = view<const T>(mono).row(y)[i / buffer.channels];
            return true;
        });
    }
};

// ---- The same by OpenCV, on one thread ----

#ifdef ZU_BENCH_OPENCV

void mapWithOpenCv(const SzPicBuf& source, const SzPicBuf& destination,
                   const std::vector<std::uint8_t>& table) {
    cv::setNumThreads(1);
    const cv::Mat bytes(1, 256, CV_8U, const_cast<std::uint8_t*>(table.data()));
    cv::Mat output = matOf(destination);
    cv::LUT(matOf(source), bytes, output);
}

void countWithOpenCv(const SzPicBuf& source) {
    cv::setNumThreads(1);
    const cv::Mat picture = matOf(source);
    const int bins = 1 << source.bitDepth;
    const float range[] = {0.0F, static_cast<float>(bins)};
    const float* ranges = range;
    for (int channel = 0; channel < picture.channels(); ++channel) {
        cv::Mat histogram;
        cv::calcHist(&picture, 1, &channel, cv::Mat(), histogram, 1, &bins, &ranges);
        benchmark::DoNotOptimize(histogram.data);
    }
}

#endif

/// Work, a copy of the source and OpenCV's by turns, so that they see the same machine. Counters as of
/// measureAgainstMemcpy(), and "times_opencv": how many times as fast as OpenCV.
void measure(benchmark::State& state, const SzPicBuf& source, const std::function<bool()>& work,
             [[maybe_unused]] const std::function<void()>& openCv) {
    if (!work())
        return state.SkipWithError("the pictures were refused");
    std::vector<std::uint8_t> copy(source.dataSize());
    std::vector<double> seconds;
    std::vector<double> copySeconds;
    std::vector<double> openCvSeconds;
    for ([[maybe_unused]] auto iteration : state) {
        seconds.push_back(secondsOf(work));
        copySeconds.push_back(secondsOf([&] {
            std::memcpy(copy.data(), source.data, copy.size());
            benchmark::DoNotOptimize(copy.data());
        }));
        if (openCv)
            openCvSeconds.push_back(secondsOf(openCv));
        state.SetIterationTime(seconds.back());
    }
    state.counters["ms"] = medianOf(seconds) * 1e3;
    state.counters["memcpy_ms"] = medianOf(copySeconds) * 1e3;
    state.counters["ratio"] = medianOf(seconds) / medianOf(copySeconds);
    if (!openCvSeconds.empty())
        state.counters["times_opencv"] = medianOf(openCvSeconds) / medianOf(seconds);
}

void mapSamples(benchmark::State& state, const Case& what, int threads) {
    omp_set_num_threads(threads);
    const LutPicture source(what);
    LutPicture destination(what);
    CzLut lut(what.bitDepth(), what.channels, source.buffer.isColor);
    lut.outBitDepth = what.bitDepth();
    lut.outChannels = what.channels;
    lut.compContrasts[0].srcMin = 10;
    lut.alloc();
    std::function<void()> openCv;
#ifdef ZU_BENCH_OPENCV
    const std::vector<std::uint8_t> table(256, 7);
    if (what.type == uint8)
        openCv = [&] { mapWithOpenCv(source.buffer, destination.buffer, table); };
#endif
    measure(
        state, source.buffer, [&] { return lut.apply(&destination.buffer, &source.buffer, nullptr); },
        openCv);
}

void mapToRgb(benchmark::State& state, const Case& what, int threads) {
    omp_set_num_threads(threads);
    const LutPicture source(what);
    BenchPicture destination(what.size.first, what.size.second, 4, uint8);
    CzLut lut(what.bitDepth(), what.channels, source.buffer.isColor);
    lut.pseudoColorIdx = 0;
    lut.allocRgb(32);
    measure(state, source.buffer, [&] { return lut.apply(&destination.buffer, &source.buffer, nullptr); },
            {});
}

void histogram(benchmark::State& state, const Case& what, int threads) {
    omp_set_num_threads(threads);
    const LutPicture source(what);
    using Flag = CzHistoData::EzHistoDataFlag;
    const auto everything =
        Flag::Bins | Flag::MinMax | Flag::Mean | Flag::Deviation; // as the element asks for
    std::function<void()> openCv;
#ifdef ZU_BENCH_OPENCV
    openCv = [&] { countWithOpenCv(source.buffer); }; // bins alone
#endif
    measure(
        state, source.buffer,
        [&] {
            CzHistoData result;
            return CzPicBufMeas::measureHistogram(result, source.buffer, QRect(), everything);
        },
        openCv);
}

/// A table for 16 bits, new for every range.
void newTable(benchmark::State& state, double gamma) {
    CzLut lut(16, 1, false);
    lut.outBitDepth = 16;
    lut.outChannels = 1;
    lut.compContrasts[0].gamma = gamma;
    for ([[maybe_unused]] auto iteration : state)
        if (!lut.alloc())
            state.SkipWithError("no table");
}

using Operation = void (*)(benchmark::State&, const Case&, int);

const bool registered = [] {
    const int allThreads = omp_get_max_threads();
    const std::pair<const char*, Operation> operations[] = {
        {"lutSamples", &mapSamples}, {"lutRgb", &mapToRgb}, {"histogram", &histogram}};
    for (const auto& [name, operation] : operations)
        for (const Size& size : {small, large})
            for (const EzImageDataType type : {uint8, uint16})
                for (const std::uint32_t channels : {1U, 3U})
                    for (const EzContents contents : {EzContents::Scene, EzContents::Noise})
                        for (const int threads : {1, allThreads}) {
                            if (operation == &histogram && threads != 1)
                                continue;
                            const Case what{size, type, channels, contents};
                            std::string title = name;
                            title += '/' + std::to_string(size.first) + 'x' + std::to_string(size.second);
                            title += type == uint8 ? "_8bit" : "_16bit";
                            title += channels == 3 ? "_3channels" : "";
                            title += contents == EzContents::Noise ? "_noise" : "";
                            title += '/' + std::to_string(threads);
                            benchmark::RegisterBenchmark(title.c_str(), operation, what, threads)
                                ->UseManualTime()
                                ->Unit(benchmark::kMillisecond);
                        }
    for (const double gamma : {1.0, 2.2})
        benchmark::RegisterBenchmark(gamma == 1.0 ? "lutTable" : "lutTable/gamma", &newTable, gamma)
            ->Unit(benchmark::kMicrosecond);
    return true;
}();

} // namespace
