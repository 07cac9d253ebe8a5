// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Chainable.h"
#include "PicBuf.h"

class CzImageMetadata;

/// An element that outputs pictures. Knows the formats on both sides of it, while the chain runs and while it
/// is stopped.
class ZUCORE_EXPORT CzImageProvider : public CzChainable {
    Q_OBJECT
public:
    explicit CzImageProvider(QFlags<CzChainable::EzChainableFlag> flags);
    ~CzImageProvider() override;

    bool init(QString* errorText) override;
    bool initialized() override;

    // ---- Virtual operations, in the order of their slots ----

    /// The format and, when outputMetadata is not null, the metadata that this element makes of an input;
    /// false when it cannot process it. Free of side effects. Any thread.
    virtual bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                 const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) = 0;

    /// The format that the element outputs now: of its current input, or that input itself when it is
    /// bypassed. metadata may be null. False, and the arguments untouched, while it is not known. Any thread.
    virtual bool currentOutputImageInfo(SzPicBufInfo& format, CzImageMetadata* metadata);

    /// The format that arrives from the predecessor: tightly packed for elements that do not read padded
    /// lines. metadata may be null. False, and the arguments untouched, while none is known. Any thread.
    virtual bool currentInputImageInfo(SzPicBufInfo& format, CzImageMetadata* metadata);

    /// How many pictures of this format a pool could hand out now.
    virtual int queryImagesCountInMemoryPool(const SzPicBufInfo& format, void* pool);

private:
    bool m_initialized = false;
};
