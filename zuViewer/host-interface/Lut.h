// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <QVector>

#include <cstdint>
#include <memory>

class CzImageMetadata;

/// A look-up table: a contrast stretch with a gamma curve, to samples of any depth or to RGB with a palette.
/// Set the public members, allocate, apply. One thread at a time.
///
/// A sample v becomes dstMin + (dstMax − dstMin) × t^(1 / gamma), rounded half up, where t is
/// (v − srcMin) / (srcMax − srcMin), cut to 0 … 1. Every sample is mapped, the padding of colours too. There
/// is a result for all that may be set:
///
/// - gamma of 0, below 0, infinite or not a number: counts as 1.
/// - srcMax equal to srcMin, as in the range of a constant picture, or below it: a step. Samples up to srcMin
///   become dstMin, so a constant picture all of it; those above become dstMax.
/// - srcMin and srcMax at the ends of 64 bits: as they are. The difference is exact, and then rounded to a
///   double.
/// - dstMin and dstMax beyond what the destination can hold: cut to its smallest and largest sample. dstMin
///   may lie above dstMax.
/// - Samples above 2^bitDepth − 1, as 8 bits in a 16-bit container may have: mapped like 2^bitDepth − 1.
/// - bitDepth of 0 or above 16: alloc() and allocRgb() fail, and so does alloc() for such an outBitDepth.
/// - outBitDepth that the destination's samples are too small for, as 12 of 8-bit ones: apply() fails.
/// - pseudoColorIdx of −1, −2, 99 or any other number without a palette: grey.
class ZUCORE_EXPORT CzLut {
public:
    /// The stretch of all channels.
    class ZUCORE_EXPORT CzCompContrast {
    public:
        std::int64_t srcMin = 0;
        std::int64_t srcMax = 0;
        std::int64_t dstMin = 0;
        std::int64_t dstMax = 0;
        double gamma = 1.0; ///< not positive or not finite counts as 1
    };

    /// Palette of an RGB table of single-channel sources: viridis, plasma, inferno, magma, cividis, turbo.
    /// Any other number is grey.
    std::int32_t pseudoColorIdx = -1;
    std::uint32_t outBitDepth = 0; ///< of the samples that alloc() maps to
    std::uint32_t outChannels = 0; ///< those of the source
    /// One record from the start, which leaves samples as they are; only the first is used.
    QVector<CzCompContrast> compContrasts;

    /// A table for sources of this depth and layout.
    CzLut(std::uint32_t bitDepth, std::uint32_t channels, bool isColor);
    ~CzLut();

    /// Builds a table to outBitDepth and outChannels. False, and no table, unless both depths are 1 … 16 and
    /// the channels those of the source, one at least.
    bool alloc();

    /// Builds a table to RGB pixels of bitsPerPixel bits (32: blue, green, red, alpha 255), whose range is 0
    /// … 255 whatever dstMin and dstMax are. Single channels become grey or a palette's colours (samples of
    /// raw pictures each for itself); colours stay what they are, and of other channels the first becomes
    /// blue, the middle one green and the last one red. False, and no table, for other depths than 1 … 16 and
    /// other pixels than 32 bits.
    bool allocRgb(std::uint32_t bitsPerPixel);

    /// Maps source into destination, allocated by the caller, of the same size. Samples are 8-, 16- or 32-bit
    /// unsigned integers; RGB pixels are interleaved 8-bit samples, other destinations hold outBitDepth and
    /// lie in memory as the source does. The table needs no metadata. False, and nothing written, when it
    /// does not fit the pictures.
    bool apply(SzPicBuf* destination, const SzPicBuf* source, const CzImageMetadata* metadata);

    /// Whether there is a table and it was made for these depths, channels and colours.
    bool isCompatibleWith(const SzPicBuf* destination, const SzPicBuf* source);

    /// Number of palettes.
    static int pseudoColorLutCount();

private:
    struct Private;
    std::unique_ptr<Private> d;
};
