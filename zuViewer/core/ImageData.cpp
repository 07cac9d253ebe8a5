// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImageData.h"

#include "PicBufAPI.h"
#include "PictureOwnership.h"

#include <memory>

IzChainData::IzChainData(QObject* parent) : QObject(parent) {}

IzChainData::~IzChainData() = default;

CzImageData::CzImageData(QObject* parent) : IzChainData(parent) {}

CzImageData::~CzImageData() {
    CzPicBufAPI::FreePicBuf(m_picBuf, true);
}

int CzImageData::frameNo() const {
    return m_picBuf.frameNo;
}

CzImageData* CzImageData::clone(QObject* parent) const {
    auto copy = std::make_unique<CzImageData>(parent);
    if (!deepCopyToHeap(m_picBuf, copy->m_picBuf))
        return nullptr;
    copy->m_imageMetadata = m_imageMetadata;
    return copy.release();
}

CzImageData* CzImageData::clone(void* pool, QObject* parent) const {
    auto copy = std::make_unique<CzImageData>(parent);
    if (!deepCopyToPool(m_picBuf, copy->m_picBuf, pool))
        return nullptr;
    copy->m_imageMetadata = m_imageMetadata;
    return copy.release();
}

bool CzImageData::isFromMemoryPool(void* pool) const {
    return CzPicBufAPI::isFromPool(m_picBuf, pool);
}

const SzPicBuf& CzImageData::picBuf() const {
    return m_picBuf;
}

SzPicBuf& CzImageData::picBuf() {
    return m_picBuf;
}

void CzImageData::setPicBuf(const SzPicBuf& picBuf) {
    takeOver(m_picBuf, picBuf);
}

const CzImageMetadata& CzImageData::imageMetadata() const {
    return m_imageMetadata;
}

void CzImageData::setImageMetadata(const CzImageMetadata& metadata) {
    m_imageMetadata = metadata;
}
