// SPDX-License-Identifier: GPL-3.0-or-later
// One channel out of a 12-megapixel picture, against a copy of that picture.
#include "ChannelKernels.h"
#include "MemcpyRatio.h"
#include "PicBufAPI.h"

#include <string>
#include <utility>

namespace {

constexpr std::uint32_t width = 4000;
constexpr std::uint32_t height = 3000;

/// A picture on the heap whose memory was touched.
class Picture {
public:
    Picture(std::uint32_t w, std::uint32_t h, std::uint32_t channels, EzImageDataType type) {
        CzPicBufAPI::AllocPicBufFromHeap(buffer, w, h, channels, type, 0, 0, EzDataStorageFormat::Interleaved,
                                         EzColorFilterArray::None, false, false);
        std::memset(buffer.data, 1, buffer.dataSize());
    }
    ~Picture() { CzPicBufAPI::FreePicBuf(buffer, true); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    SzPicBuf buffer;
};

void bayerPlane(benchmark::State& state, EzImageDataType type) {
    const Picture source(width, height, 1, type);
    Picture plane(width / 2, height / 2, 1, type);
    measureAgainstMemcpy(state, source.buffer,
                         [&] { return extractBayerPlane(plane.buffer, source.buffer, 3); });
}

void mosaicBand(benchmark::State& state, EzImageDataType type, std::uint32_t cell) {
    const Picture source(width, height, 1, type);
    Picture band(width / cell, height / cell, 1, type);
    const SzBandLayout layout{cell * cell - 1, cell, cell, 1, 1, 0, 0};
    measureAgainstMemcpy(state, source.buffer,
                         [&] { return extractBand(band.buffer, source.buffer, layout); });
}

void sampleOfPixel(benchmark::State& state, EzImageDataType type, std::uint32_t channels) {
    const Picture source(width, height, channels, type);
    Picture channel(width, height, 1, type);
    measureAgainstMemcpy(state, source.buffer,
                         [&] { return CzPicBufAPI::ExtractChannel(source.buffer, channel.buffer, 1); });
}

/// Each of them for each sample type.
bool registerBenchmarks() {
    const std::pair<const char*, EzImageDataType> sampleTypes[] = {{"8bit", EzImageDataType::UInt8},
                                                                   {"16bit", EzImageDataType::UInt16},
                                                                   {"32bit", EzImageDataType::UInt32},
                                                                   {"float", EzImageDataType::Float32}};
    for (const auto& [typeName, type] : sampleTypes) {
        const auto add = [name = typeName, type = type](const std::string& what, auto function,
                                                        auto... arguments) {
            benchmark::RegisterBenchmark((what + '/' + name).c_str(), function, type, arguments...)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        };
        add("extractBayerPlane", bayerPlane);
        add("extractBand/4x4", mosaicBand, 4);
        add("extractBand/5x5", mosaicBand, 5);
        add("ExtractChannel/3channels", sampleOfPixel, 3);
        add("ExtractChannel/4channels", sampleOfPixel, 4);
    }
    return true;
}

[[maybe_unused]] const bool registered = registerBenchmarks();

} // namespace
