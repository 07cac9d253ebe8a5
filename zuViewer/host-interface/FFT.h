// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

/// Forward Fourier transforms, not normalised: index i of the result holds frequency i − ⌊N / 2⌋ in each
/// dimension. The three pointers are a transform's plans and work memory: made by Alloc, opaque to the
/// caller, used by one thread at a time, given back by Free. Alloc and Free may be called from any thread.
class ZUCORE_EXPORT CzFFT {
public:
    /// Transform of length real samples. False, and the pointers null, for a length below 1 or without
    /// memory.
    static bool Alloc1D(int length, void*& a, void*& b, void*& c);
    /// input, real and imaginary hold length samples each. False when the transform was never allocated.
    static bool Calc1D(float* input, float* real, float* imaginary, void* a, void* b, void* c);
    static void Free1D(void* a, void* b, void* c);

    /// Transform of one-channel pictures of the format's size and sample type.
    static bool Alloc2D(const SzPicBufInfo& format, void*& a, void*& b, void*& c);
    /// real and imaginary are allocated 4-byte pictures of the input's size. False when the input does not
    /// fit the transform or it was never allocated.
    static bool Calc2D(const SzPicBuf& input, SzPicBuf& real, SzPicBuf& imaginary, void* a, void* b, void* c);
    static void Free2D(void* a, void* b, void* c);
};
