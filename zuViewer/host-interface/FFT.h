// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

/// Forward Fourier transforms, not normalised: index i of the result holds frequency i − ⌊N / 2⌋ in each
/// dimension. A constant input gives exactly 0 everywhere but at frequency 0.
///
/// The three pointers are a transform's plans and work memory: made by Alloc, opaque to the caller, used by
/// one thread at a time, given back by Free, which null pointers do not trouble. Alloc measures which way is
/// fastest for lengths that are new on this machine, for 0.3 seconds at most. Alloc and Free may be called
/// from any thread.
class ZUCORE_EXPORT CzFFT {
public:
    /// Transform of length real samples. False, and the pointers null, for a length below 1 or beyond any
    /// picture's, or without memory.
    static bool Alloc1D(int length, void*& a, void*& b, void*& c);
    /// input, real and imaginary hold length samples each; input stays as it is. False, and nothing written,
    /// when a pointer is null.
    static bool Calc1D(float* input, float* real, float* imaginary, void* a, void* b, void* c);
    static void Free1D(void* a, void* b, void* c);

    /// Transform of one-channel pictures of the format's width, height and sample type, whatever its line
    /// pitch and channels. False, and the pointers null, for samples that are not unsigned with 8 or 16 bits,
    /// sizes that are 0 or beyond any picture's, or without memory.
    static bool Alloc2D(const SzPicBufInfo& format, void*& a, void*& b, void*& c);
    /// input, real and imaginary have one channel and the transform's size, input its sample type, the others
    /// 4 bytes per sample, which become 32-bit floats. Large pictures are transformed on all cores, always
    /// with the same result. False, and nothing written, when a picture does not fit or a pointer is null.
    static bool Calc2D(const SzPicBuf& input, SzPicBuf& real, SzPicBuf& imaginary, void* a, void* b, void* c);
    static void Free2D(void* a, void* b, void* c);
};
