// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFTImageData.h"

#include "PicBufAPI.h"
#include "PicBufGeometry.h"
#include "PictureOwnership.h"

#include <memory>

namespace {

bool fitTogether(const SzPicBuf& real, const SzPicBuf& imaginary) {
    return sameSize(real, imaginary) && real.dataType == imaginary.dataType;
}

} // namespace

CzFFTImageData::CzFFTImageData(QObject* parent) : CzImageData(parent) {}

CzFFTImageData::~CzFFTImageData() {
    CzPicBufAPI::FreePicBuf(m_imaginary, true);
}

CzFFTImageData* CzFFTImageData::clone(QObject* parent) const {
    auto copy = std::make_unique<CzFFTImageData>(parent);
    if (!deepCopyToHeap(picBuf(), copy->picBuf()) || !deepCopyToHeap(m_imaginary, copy->m_imaginary))
        return nullptr;
    copy->setImageMetadata(imageMetadata());
    return copy.release();
}

CzFFTImageData* CzFFTImageData::clone(void* pool, QObject* parent) const {
    auto copy = std::make_unique<CzFFTImageData>(parent);
    if (!deepCopyToPool(picBuf(), copy->picBuf(), pool) ||
        !deepCopyToPool(m_imaginary, copy->m_imaginary, pool))
        return nullptr;
    copy->setImageMetadata(imageMetadata());
    return copy.release();
}

bool CzFFTImageData::isFromMemoryPool(void* pool) const {
    return CzImageData::isFromMemoryPool(pool) || CzPicBufAPI::isFromPool(m_imaginary, pool);
}

void CzFFTImageData::setPicBuf(const SzPicBuf& real) {
    CzImageData::setPicBuf(real);
    if (!fitTogether(picBuf(), m_imaginary)) {
        CzPicBufAPI::FreePicBuf(m_imaginary, true);
        m_imaginary = SzPicBuf();
    }
}

bool CzFFTImageData::setPicBufIm(const SzPicBuf& imaginary) {
    if (!picBuf().data || !imaginary.data || !fitTogether(picBuf(), imaginary))
        return false;
    takeOver(m_imaginary, imaginary);
    return true;
}
