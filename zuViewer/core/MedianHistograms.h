// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <cstddef>
#include <cstdint>

/// One channel of a picture, packed. Samples are dense codes: the values that occur, numbered in their order.
struct SzMedianCodes {
    const std::uint16_t* codes;
    std::uint16_t* medians;
    std::int64_t width;
    std::int64_t height;
};

/// How the medians of a channel are found: in vertical strips, each with the histograms of its columns in
/// work memory of its own. Where histograms of all codes would take too much memory, each strip is run
/// several times, each time with the deeper tiers of some codes only.
struct SzMedianHistogramPlan {
    int tiers;                ///< of 16 bins; the last one's bins are single codes
    std::int64_t radius;      ///< half the side of the square, rounded down
    std::int64_t stripWidth;  ///< columns per strip
    std::int64_t pagesPerRun; ///< bins of the first tier whose deeper tiers are held at a time
    std::size_t bytesPerStrip;
    int threads;
};

/// codeCount is at most 65536, the sizes and threads at least 1.
ZUCORE_EXPORT SzMedianHistogramPlan medianHistogramPlan(std::int64_t width, std::int64_t radius,
                                                        std::size_t codeCount, int threads);

/// Writes the median of the (2 × radius + 1)-square around each code, borders repeated outwards. work has
/// threads × bytesPerStrip bytes, aligned to 64. The cost per pixel hardly depends on the radius.
ZUCORE_EXPORT void medianByHistograms(const SzMedianCodes& channel, const SzMedianHistogramPlan& plan,
                                      std::byte* work);
