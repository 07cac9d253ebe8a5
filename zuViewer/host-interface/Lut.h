// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <QVector>

#include <cstdint>
#include <memory>

class CzImageMetadata;

/// A look-up table: a contrast stretch with a gamma curve, to samples of any depth or to RGB with a palette.
/// Set the public members, allocate, apply. One thread at a time.
class ZUCORE_EXPORT CzLut {
public:
    /// The stretch of one channel. srcMax ≤ srcMin makes a step.
    class ZUCORE_EXPORT CzCompContrast {
    public:
        std::int64_t srcMin = 0;
        std::int64_t srcMax = 0;
        std::int64_t dstMin = 0;
        std::int64_t dstMax = 0;
        double gamma = 1.0; ///< not positive or not finite counts as 1
    };

    std::int32_t pseudoColorIdx = -1; ///< palette of an RGB table; grey when there is none of that number
    std::uint32_t outBitDepth = 0;
    std::uint32_t outChannels = 0;
    QVector<CzCompContrast> compContrasts; ///< one record from the start; only the first is used

    /// A table for sources of this depth and layout.
    CzLut(std::uint32_t bitDepth, std::uint32_t channels, bool isColor);
    ~CzLut();

    /// Builds a table to outBitDepth and outChannels. False for depths without a table, or without memory.
    bool alloc();

    /// Builds a table to RGB pixels of bitsPerPixel bits (32: blue, green, red, alpha) with the palette
    /// applied.
    bool allocRgb(std::uint32_t bitsPerPixel);

    /// Maps source into destination, allocated by the caller, of the same size. metadata may be null. False
    /// when the table does not fit the pictures.
    bool apply(SzPicBuf* destination, const SzPicBuf* source, const CzImageMetadata* metadata);

    /// Whether the table fits this pair of pictures.
    bool isCompatibleWith(const SzPicBuf* destination, const SzPicBuf* source);

    /// Number of palettes.
    static int pseudoColorLutCount();

private:
    struct Private;
    std::unique_ptr<Private> d;
};
