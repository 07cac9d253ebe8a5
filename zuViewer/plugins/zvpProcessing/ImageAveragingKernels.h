// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <cstdint>

class CzHistoData;

// Sums over several pictures, their mean, means of rows and columns, and the difference to a mean.
//
// Pictures have samples of 8, 16 or 32 bits, unsigned, or floats; each has its own pitch. A picture whose
// data is null, whose pitch has no room for its lines, or that does not fit the other picture is refused:
// false, and nothing is written. Without lines or pixels there is nothing to do, which is no failure.

/// What AverageLines() does; every other number does as little as LinesAsTheyAre.
enum EzLineAveraging : std::int32_t {
    LinesAsTheyAre = 0,
    RowMeans = 1,
    ColumnMeans = 2,
};

/// Whether sums of pictures of a format leave out the fourth sample of a pixel: in interleaved colours.
bool hasUnsummedSample(const SzPicBufInfo& format);

/// The format of the sums of pictures of a format, with a pitch that the allocator chooses. Interleaved
/// colours whose four sums have 4 or 8 bytes together get three channels; the sums of 8- and 16-bit samples
/// have more bytes, and keep all four.
SzPicBufInfo sumFormat(SzPicBufInfo format);

/// Adds each sample of a picture to its sum. Integers have sums of 32 bits, which wrap around; floats have
/// floats.
///
/// Where pixels have an unsummed sample, the sums of the other three lie packed at the beginning of their
/// line.
///
/// The sums must have the picture's storage format, at least its size, and its channels (three are enough for
/// colours).
bool AccumulatePicture(const SzPicBuf& source, SzPicBuf& sums);

/// Writes the sums divided by count into a picture: integers without their fraction, and cut to the sample
/// type. The fourth sample of colours, which has no sum, stays as it was. Refreshes floatMin and floatMax of
/// floats.
///
/// False when count is 0, or the picture is smaller than the sums or laid out differently.
bool DivideSums(const SzPicBuf& sums, SzPicBuf& output, std::uint32_t count);

// The following take a row for width × channels samples in succession. In a planar picture it therefore runs
// on over the padding, which counts as 0 and stays as it is, into the following lines and planes. Of these
// pictures count as coloured: those with three channels, and interleaved ones with four, isColor and 8- or
// 16-bit samples.

/// Replaces each row (RowMeans) or column (ColumnMeans) of each channel by its mean, rounded half up. Floats
/// get the half of that rounding too: their means are too large by about a half.
///
/// Row means leave the fourth sample of coloured pictures alone, column means treat it like the others.
bool AverageLines(SzPicBuf& picture, std::int32_t mode);

/// Sets each sample to the mean of its channel in the histogram, rounded half up (floats: plus 0.5), and the
/// fourth sample of coloured pictures to full scale. False when the histogram has too few channels.
bool FillWithChannelMeans(SzPicBuf& picture, const CzHistoData& histogram);

/// Subtracts the average and adds its means (as FillWithChannelMeans() rounds them) instead, sample by
/// sample, within 0 and the full scale of the average; floats without bounds. The fourth sample of coloured
/// pictures stays. Refreshes floatMin and floatMax of floats.
///
/// False when the histogram has too few channels, or the picture is smaller than the average or of another
/// layout.
bool SubtractFromAverage(const SzPicBuf& average, SzPicBuf& picture, const CzHistoData& histogram);
