// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageData.h"

/// The result of a Fourier transform: the real part is the object's picture, the imaginary part a second one
/// of the same format. It owns both.
class ZUCORE_EXPORT CzFFTImageData : public CzImageData {
    Q_OBJECT
public:
    explicit CzFFTImageData(QObject* parent = nullptr);
    ~CzFFTImageData() override;

    CzFFTImageData* clone(QObject* parent) const override;
    CzFFTImageData* clone(void* pool, QObject* parent) const override;
    bool isFromMemoryPool(void* pool) const override;

    /// Takes over the real part. An imaginary part that does not fit it any more is released.
    void setPicBuf(const SzPicBuf& real) override;

    /// Takes over the imaginary part. False, and the buffer stays the caller's, when it has no pixels or not
    /// the size and sample type of the real part.
    bool setPicBufIm(const SzPicBuf& imaginary);

    const SzPicBuf& picBufIm() const { return m_imaginary; }

private:
    SzPicBuf m_imaginary;
};
