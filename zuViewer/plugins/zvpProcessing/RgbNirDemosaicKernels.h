// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <cstdint>

/// Where the filters of an RGB-NIR sensor sit in its 2 × 2 cell: 0 top left, 1 top right, 2 bottom left,
/// 3 bottom right. Everything above counts as 3, also the −1 of a filter that was not found.
struct SzCellPositions {
    std::uint32_t nir = 0;
    std::uint32_t blue = 1;
    std::uint32_t red = 2;
    std::uint32_t green = 3;
};

/// Interpolates the samples behind one filter of a raw picture, the one at position phase of the 2 × 2 cell,
/// for all pixels, and writes them into sample number channel of each pixel of an interleaved output. The
/// rows are shared out among all threads of OpenMP.
///
/// Between its places the filter's value is the mean of the two or four nearest ones, of those that exist at
/// the borders of the picture; a single one is copied. Sums are unsigned 32-bit numbers, which wrap with
/// 32-bit samples, and means are truncated. The pixels of the left column, but for its two corners, count as
/// if they were in a column like the right-most one: with an even width they take what the column beside
/// them has. In pictures of less than 2 × 2 pixels each sample is its own value.
///
/// Values are shifted right by as many bits as the output's bitDepth is below the input's (32 and more give
/// 0), then cut to the output's sample type. What would come to lie behind the samples of a row is dropped.
///
/// False, and nothing is written, unless both have data and the same width and height, and their pitches have
/// room for their rows and are multiples of their samples.
///
/// Exists for <8-bit, 8-bit>, <8, 16>, <8, 32>, <16, 16> and <32, 32> unsigned integers. Neither looks at the
/// pictures' dataType: where the output's samples are larger than Out, its rows are taken as rows of Out.
template <class Out, class In>
bool InterpolateCellChannel(SzPicBuf& output, std::uint32_t channel, const SzPicBuf& input,
                            std::uint32_t phase);

/// A colour picture: 8-bit blue, green and red in samples 0, 1 and 2, bit by bit as three calls of
/// InterpolateCellChannel make them, one after another. Where the output has four 8-bit channels, they come
/// in one pass, and the fourth becomes 255.
///
/// True when every sample of such an output was written. False for any other output, which has got what the
/// three calls write into it, and when nothing was written: for pictures that InterpolateCellChannel refuses,
/// and for inputs of other samples than 8-, 16- or 32-bit unsigned integers.
bool interpolateColour(SzPicBuf& output, const SzPicBuf& input, const SzCellPositions& cell);

/// A near-infrared picture, in sample 0 of an output of the input's sample type. False, and nothing is
/// written, for pictures that InterpolateCellChannel refuses, and for inputs of other samples than 8-, 16- or
/// 32-bit unsigned integers.
bool interpolateNearInfrared(SzPicBuf& output, const SzPicBuf& input, const SzCellPositions& cell);
