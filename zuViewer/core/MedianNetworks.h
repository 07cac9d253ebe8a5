// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"
#include "PictureView.h"

#include <cstddef>
#include <cstdint>

/// The largest radius for which there are networks.
constexpr int largestMedianNetworkRadius = 7;

/// One channel of a picture, of which samples are step apart.
template <class T>
struct SzMedianChannel {
    PictureView<T> lines;
    std::size_t first;
    std::size_t step;

    T* row(std::size_t y) const { return lines.row(y) + first; }
};

/// Bytes of work memory for medianByNetworks().
template <class T>
std::size_t medianNetworkBytes(std::size_t width, std::size_t height, int threads);

/// Writes the median of the (2 × radius + 1)-square around each sample, borders repeated outwards; radius is
/// at least 1. The time does not depend on the samples. work is aligned to 64; destination may be the source.
template <class T>
void medianByNetworks(const SzMedianChannel<T>& destination, const SzMedianChannel<const T>& source,
                      int radius, int threads, std::byte* work);
