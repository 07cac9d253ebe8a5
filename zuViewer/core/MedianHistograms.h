// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <cstddef>
#include <cstdint>
#include <functional>

/// One channel of a picture, packed. Samples are dense codes: the values that occur, numbered in their order.
struct SzMedianCodes {
    const std::uint8_t* high; ///< code >> lowBits
    const std::uint8_t* low;  ///< the lowBits below; unused when there are none
    std::int64_t width;
    std::int64_t height;
};

/// How the medians of a channel are found: in vertical strips, each with the histograms of its columns in
/// work memory of its own.
struct SzMedianHistogramPlan {
    int lowBits;         ///< 0, 4 or 8: codes have 8 bits more
    bool hasGroups;      ///< sums of 8 neighbouring columns are held, too
    bool hasLargeGroups; ///< and of 64
    std::int64_t radius; ///< half the side of the square, rounded down
    std::int64_t stripWidth;
    int pageSlots; ///< values of the high byte whose low bits are counted at a time
    std::size_t bytesPerStrip;
    int threads; ///< fewer than asked for where their strips would take more than 1 GiB
};

/// With more codes than this, deep tiers are brought up to date only where medians lie, which takes time.
constexpr std::size_t mostMedianCodesWithoutPages = 4096;

/// codeCount is at most 65536, the sizes and threads at least 1.
ZUCORE_EXPORT SzMedianHistogramPlan medianHistogramPlan(std::int64_t width, std::int64_t radius,
                                                        std::size_t codeCount, int threads);

/// Takes the medians of count pixels of line y from x on. Called from several threads.
using MedianSink =
    std::function<void(std::int64_t x, std::int64_t y, const std::uint16_t* codes, std::int64_t count)>;

/// Finds the median of the (2 × radius + 1)-square around each code, borders repeated outwards, on
/// plan.threads threads. channel, radius, codes and threads are those of the plan. work has threads ×
/// bytesPerStrip bytes, aligned to 128.
///
/// The time per pixel hardly depends on the radius where there are 256 codes at most. With more of them it
/// depends on the picture, too: the counts of a deep tier's node are summed up afresh, column by column or
/// group by group, wherever neighbouring medians lie in different nodes.
///
/// After T. S. Huang, G. J. Yang and G. Y. Tang, "A fast two-dimensional median filtering algorithm", 1979,
/// and S. Perreault and P. Hébert, "Median filtering in constant time", 2007.
ZUCORE_EXPORT void medianByHistograms(const SzMedianCodes& channel, const SzMedianHistogramPlan& plan,
                                      std::byte* work, const MedianSink& sink);
