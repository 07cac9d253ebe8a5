// SPDX-License-Identifier: GPL-3.0-or-later
// One channel out of a 12-megapixel picture, against a copy of that picture.
#include "BenchPicture.h"
#include "ChannelKernels.h"
#include "MemcpyRatio.h"

#include <string>
#include <utility>

namespace {

constexpr std::uint32_t width = 4000;
constexpr std::uint32_t height = 3000;

void bayerPlane(benchmark::State& state, EzImageDataType type) {
    const BenchPicture source(width, height, 1, type);
    BenchPicture plane(width / 2, height / 2, 1, type);
    measureAgainstMemcpy(state, source.buffer,
                         [&] { return extractBayerPlane(plane.buffer, source.buffer, 3); });
}

void mosaicBand(benchmark::State& state, EzImageDataType type, std::uint32_t cell) {
    const BenchPicture source(width, height, 1, type);
    BenchPicture band(width / cell, height / cell, 1, type);
    const SzBandLayout layout{cell * cell - 1, cell, cell, 1, 1, 0, 0};
    measureAgainstMemcpy(state, source.buffer,
                         [&] { return extractBand(band.buffer, source.buffer, layout); });
}

void sampleOfPixel(benchmark::State& state, EzImageDataType type, std::uint32_t channels) {
    const BenchPicture source(width, height, channels, type);
    BenchPicture channel(width, height, 1, type);
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
