// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <cstdint>

class QObject;
class QRect;

/// Operations on picture buffers. They return success, and a buffer that an operation refuses to fill is left
/// as it was, unless something else is said. Any thread, as long as no other one touches the same buffers.
class ZUCORE_EXPORT CzPicBufAPI {
public:
    // Allocation. Pixels are 64-byte aligned. A linePitch of 0 becomes the packed line rounded up to 16
    // bytes; a given one is kept exactly, or refused when it is shorter than a line or no multiple of the
    // sample size. Sizes that are zero or absurd (more than 8 GiB) are refused. A buffer that owns pixels
    // gives them back first. Afterwards it has the format, with the chosen pitch, and no additional data; a
    // refused one has null data. format may be the buffer itself.

    /// Takes a buffer of the given format out of a chain's pool, never waiting; false when the pool has none.
    /// Fresh memory is zero, a buffer that was in use before holds what its last user left there. owner and
    /// the flag are for the host's records.
    static bool AllocPicBufFromPool(void* pool, QObject* owner, SzPicBuf& buffer, const SzPicBufInfo& format,
                                    bool flag);

    /// Allocates a private buffer, all zero. Give it back with FreePicBuf().
    static bool AllocPicBufFromHeap(SzPicBuf& buffer, const SzPicBufInfo& format, bool flag);

    /// The same with the format field by field. A bitDepth of 0 is the sample type's own, a linePitch of 0 is
    /// chosen.
    static bool AllocPicBufFromHeap(SzPicBuf& buffer, std::uint32_t width, std::uint32_t height,
                                    std::uint32_t channels, EzImageDataType dataType, std::uint32_t bitDepth,
                                    std::uint32_t linePitch, EzDataStorageFormat storageFormat,
                                    EzColorFilterArray colorFilterArray, bool isColor, bool flag);

    /// Gives the pixels back to where they came from, or to nobody, and leaves data null. Safe to repeat.
    static bool FreePicBuf(SzPicBuf& buffer, bool flag);

    /// Whether the buffer's pixels belong to this pool.
    static bool isFromPool(const SzPicBuf& buffer, void* pool);

    /// Copies pixels, and floatMin and floatMax with them, between buffers of the same size, channels, sample
    /// type and storage format; each has its own pitch.
    static bool CopyPicBuf(SzPicBuf& destination, const SzPicBuf& source, bool flag);

    /// Copies one channel of an interleaved (or planar) picture into a one-channel picture of the same size
    /// and sample size. False when there is no such channel. floatMin and floatMax stay: call
    /// CalcFloatDataMinMax() where they matter.
    static bool ExtractChannel(const SzPicBuf& source, SzPicBuf& destination, std::uint32_t channel);

    /// Sets every sample of one channel to value (cut to 8 bits for 8-bit samples). 8-, 16- or 32-bit
    /// unsigned integers or 32-bit floats.
    static bool FillChannelWithValue(SzPicBuf& buffer, std::uint32_t channel, std::uint16_t value);

    /// Smallest and largest sample of a float picture; samples that are not a number do not count, and
    /// without any other both are 0. minimum and maximum may be the buffer's own. False for anything but
    /// 32-bit floats and spectra.
    static bool CalcFloatDataMinMax(const SzPicBuf& buffer, float& minimum, float& maximum, bool flag);

    /// Converts a picture of 8-, 16- or 32-bit unsigned integers, 32-bit floats or one part of a spectrum
    /// into an interleaved 8-bit picture of the same size with 3 (BGR) or 4 channels (BGR and 255).
    ///
    /// Samples first: integers are shifted to 8 bits, or scaled up when they have fewer; a bitDepth of 0 or
    /// beyond the sample type is the type's own, samples beyond the depth are white. Floats are stretched
    /// from floatMin … floatMax, spectra from their own smallest and largest sample; without a range
    /// everything above floatMin is white. Not a number is black. Then colours: colour pictures keep theirs,
    /// of others the first channel becomes blue, the middle one green, the last one red. Raw Bayer pictures
    /// are interpolated bilinearly, mirrored at their borders; other mosaics, and pictures of less than a
    /// Bayer cell, are grey.
    static bool ConvertPicToRGB(const SzPicBuf& source, SzPicBuf& destination);

    // Median over squares of (2 × radius + 1) × (2 × radius + 1) samples, of each channel by itself; samples
    // outside the picture are those of its border, repeated outwards. 8- and 16-bit unsigned samples, any
    // number of channels, interleaved or planar; any radius from 0 (a copy) on, also beyond the picture's
    // size. On as many threads as OpenMP allows the caller, fewer for small pictures; the result does not
    // depend on their number. Small squares by networks of minima and maxima, larger ones by histograms that
    // slide (T. S. Huang, G. J. Yang and G. Y. Tang 1979; S. Perreault and P. Hébert 2007).

    /// Allocates memory in which Median() works on pictures of this format, whose bitDepth says how many
    /// values its samples may have. It belongs to the caller, serves any number of pictures, one at a time,
    /// and goes back with MedianFreeBuffer(). False, and *workBuffer is null, for a negative radius, another
    /// sample type, a size that no picture has, or without memory.
    static bool MedianAllocBuffer(const SzPicBufInfo& format, int radius, void** workBuffer);
    /// Null is nothing.
    static void MedianFreeBuffer(void* workBuffer);
    /// destination has the size, channels, sample type and storage format of source, each its own pitch; it
    /// may be the same picture. workBuffer is of MedianAllocBuffer(), for whatever format and radius, or
    /// null: where it is too small, memory is allocated for the time of the call. False, and nothing is
    /// written, for a negative radius or any other pictures; false as well without memory, and then
    /// destination may be written in part.
    static bool Median(const SzPicBuf& source, SzPicBuf& destination, int radius, void* workBuffer);

    // Statistics of a mosaic picture over region, in cells of cellWidth × cellHeight samples, on all cores. A
    // destination of the region's size divided by the cell's holds one value per cell; one of the source's
    // size the statistic of the cell-sized window that begins at each sample, shifted back into the region at
    // its right and bottom edges, and 0 outside the region. Source and destination are different pictures of
    // one channel and the same sample type: 8-, 16- or 32-bit unsigned integers or 32-bit floats. False, and
    // nothing is written, for anything else, for cells of 0, a region that is not inside the source or has no
    // whole cell, or any other size.

    /// Averages of integers round halves up.
    static bool FilterAvgOnMosaicPicBuf(const SzPicBuf& source, const QRect& region, int cellWidth,
                                        int cellHeight, SzPicBuf& destination);
    /// Largest samples; of floats, what is not a number does not count unless there is nothing else.
    static bool FilterMaxOnMosaicPicBuf(const SzPicBuf& source, const QRect& region, int cellWidth,
                                        int cellHeight, SzPicBuf& destination);
    /// Smallest samples, in the same way.
    static bool FilterMinOnMosaicPicBuf(const SzPicBuf& source, const QRect& region, int cellWidth,
                                        int cellHeight, SzPicBuf& destination);
    /// Stretches the samples of each whole cell to [0, 2^bitDepth − 1], halves rounded up; a bitDepth of 0 or
    /// beyond the sample type is the type's own. Flat cells become 0, samples outside whole cells are copied
    /// (also where there is no whole cell at all). destination has the size of source. Of floats, what is not
    /// a number stays none and does not count; an infinity is one end of the range, and what is finite in its
    /// cell becomes the other end, or the middle between −∞ and ∞.
    static bool FilterNormalizeOnMosaicPicBuf(const SzPicBuf& source, const QRect& region, int cellWidth,
                                              int cellHeight, SzPicBuf& destination);
};
