// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureView.h"

#include <cstdint>

/// Where one band of a mosaic lies. A cell of cellWidth × cellHeight bands repeats over the picture; each
/// band has a patch of blockWidth × blockHeight pixels in it.
struct SzBandLayout {
    std::uint32_t band = 0;       ///< counted row by row in the cell
    std::uint32_t cellWidth = 0;  ///< bands per row of the cell
    std::uint32_t cellHeight = 0; ///< bands per column of the cell
    std::uint32_t blockWidth = 1; ///< pixels; 1 × 1 is an ordinary mosaic
    std::uint32_t blockHeight = 1;
    std::int32_t left = 0; ///< where the first cell begins, pixels
    std::int32_t top = 0;
};

// All kernels read and write one sample per pixel, store nothing outside destination and read nothing outside
// source. They return true when they wrote every sample of the destination; what they did not write is left
// as it was. The typed ones exist for 8-, 16- and 32-bit unsigned integers and floats.

/// Copies one sub-plane of a 2 × 2 mosaic: the pixels of row parity subPlane / 2 and column parity
/// subPlane mod 2. Source row y becomes destination row y / 2, of ⌈width / 2⌉ samples.
///
/// When the width and the column are odd, the last sample of a row is the element behind the line's last
/// pixel: padding, or the next line's first pixel. Behind a picture without padding there is none: that
/// sample is not written.
///
/// A subPlane beyond 3 begins that much further down; nothing is written when that is below the picture.
template <class T>
bool extractBayerPlane(PictureView<T> destination, PictureView<const T> source, std::uint32_t subPlane);

/// Copies one band, one sample per cell (ordinary mosaic) or one patch per cell (blocks).
///
/// Ordinary mosaic: where the destination asks for samples outside the picture, it gets the band's nearest
/// sample inside. Blocks: such samples are not written. Nothing is written when the band has no sample inside
/// the picture, or the layout a cell or a block of 0.
template <class T>
bool extractBand(PictureView<T> destination, PictureView<const T> source, const SzBandLayout& layout);

// The same for picture buffers. Nothing is written unless both have data and the same sample type, one of the
// four.
bool extractBayerPlane(SzPicBuf& destination, const SzPicBuf& source, std::uint32_t subPlane);
bool extractBand(SzPicBuf& destination, const SzPicBuf& source, const SzBandLayout& layout);
