// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ChainData.h"
#include "ImageMetadata.h"
#include "PicBuf.h"

/// One picture with its metadata. It owns the picture: a buffer that was handed over with setPicBuf() goes
/// back to its pool or to the heap when the object is deleted, whatever thread deletes it.
class ZUCORE_EXPORT CzImageData : public IzChainData {
    Q_OBJECT
public:
    explicit CzImageData(QObject* parent = nullptr);
    ~CzImageData() override;

    int frameNo() const override;
    CzImageData* clone(QObject* parent) const override;
    CzImageData* clone(void* pool, QObject* parent) const override;
    bool isFromMemoryPool(void* pool) const override;

    virtual const SzPicBuf& picBuf() const;
    virtual SzPicBuf& picBuf();

    /// Takes over the buffer, which the caller must not free any more; the one held before is released.
    virtual void setPicBuf(const SzPicBuf& picBuf);

    virtual const CzImageMetadata& imageMetadata() const;
    virtual void setImageMetadata(const CzImageMetadata& metadata);

private:
    SzPicBuf m_picBuf;
    CzImageMetadata m_imageMetadata;
};
