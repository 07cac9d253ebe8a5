// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <vector>

/// Seconds that function takes, once.
template <class Function>
double secondsOf(Function&& function) {
    const auto begin = std::chrono::steady_clock::now();
    function();
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

inline double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Measures kernel, which returns whether it did its work, against a copy of the whole source picture, by
/// turns, so that both see the same machine. The memory of all pictures was touched before. Use with
/// UseManualTime(). Counters, over all iterations: the median times "kernel_ms" and "memcpy_ms", and "ratio",
/// kernel by copy: 1 is as fast as the copy.
template <class Kernel>
void measureAgainstMemcpy(benchmark::State& state, const SzPicBuf& source, Kernel&& kernel) {
    if (!kernel())
        return state.SkipWithError("the kernel refused the pictures or left some of its output unwritten");
    std::vector<std::uint8_t> copy(source.dataSize());
    std::vector<double> kernelSeconds;
    std::vector<double> copySeconds;
    for ([[maybe_unused]] auto iteration : state) {
        kernelSeconds.push_back(secondsOf(kernel));
        copySeconds.push_back(secondsOf([&] {
            std::memcpy(copy.data(), source.data, copy.size());
            benchmark::DoNotOptimize(copy.data());
        }));
        state.SetIterationTime(kernelSeconds.back());
    }
    const double kernelMedian = medianOf(kernelSeconds);
    const double copyMedian = medianOf(copySeconds);
    state.counters["kernel_ms"] = kernelMedian * 1e3;
    state.counters["memcpy_ms"] = copyMedian * 1e3;
    state.counters["ratio"] = kernelMedian / copyMedian;
}
