// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImageProvider.h"

#include "ImageMetadata.h"
#include "MemoryPool.h"
#include "PicBufStorage.h"

namespace {

/// What leaves the element's predecessor, as it leaves it.
bool arrivingImageInfo(const CzImageProvider& element, SzPicBufInfo& format, CzImageMetadata& metadata) {
    auto* const provider = qobject_cast<CzImageProvider*>(element.predecessor());
    return provider && provider->currentOutputImageInfo(format, &metadata);
}

} // namespace

CzImageProvider::CzImageProvider(QFlags<CzChainable::EzChainableFlag> flags) : CzChainable(flags) {}

CzImageProvider::~CzImageProvider() = default;

bool CzImageProvider::init(QString*) {
    m_initialized = true;
    return true;
}

bool CzImageProvider::initialized() {
    return m_initialized;
}

bool CzImageProvider::currentOutputImageInfo(SzPicBufInfo& format, CzImageMetadata* metadata) {
    SzPicBufInfo output;
    CzImageMetadata outputMetadata;
    if (state() == EzChainableState::Bypassed) {
        if (!arrivingImageInfo(*this, output, outputMetadata))
            return false;
    } else {
        SzPicBufInfo input;
        CzImageMetadata inputMetadata;
        bool accepted = false;
        const auto ask = [&] { accepted = outputImageInfo(input, output, &inputMetadata, &outputMetadata); };
        if (!currentInputImageInfo(input, &inputMetadata) || !guarded(ask) || !accepted)
            return false;
    }
    format = output;
    if (metadata)
        *metadata = outputMetadata;
    return true;
}

bool CzImageProvider::currentInputImageInfo(SzPicBufInfo& format, CzImageMetadata* metadata) {
    SzPicBufInfo input;
    CzImageMetadata inputMetadata;
    if (!arrivingImageInfo(*this, input, inputMetadata))
        return false;
    if (!flags().testFlag(EzChainableFlag::ReadsPaddedLines))
        input.linePitch = static_cast<std::uint32_t>(packedLineBytes(input));
    format = input;
    if (metadata)
        *metadata = inputMetadata;
    return true;
}

int CzImageProvider::queryImagesCountInMemoryPool(const SzPicBufInfo& format, void* pool) {
    SzPicBufInfo laidOut = format;
    if (!pool || layOutPicture(laidOut) == 0)
        return 0;
    return static_cast<CzMemoryPool*>(pool)->freeBuffers();
}
