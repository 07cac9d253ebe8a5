// SPDX-License-Identifier: GPL-3.0-or-later
#include "ElementSupport.h"

#include "FFTImageData.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

void appendExclusiveButtons(QList<CzChainable::CzSimpleStateConfigButton>& buttons, bool& exclusive,
                            const QStringList& captions, const QList<int>& ids, int checkedId) {
    for (int i = 0; i < ids.size(); ++i)
        buttons.append({captions.at(i), ids.at(i), ids.at(i) == checkedId});
    exclusive = true;
}

std::uint32_t alignedLinePitch(const SzPicBufInfo& format, std::uint32_t alignment) {
    const std::uint64_t mask = ~std::uint64_t{alignment - 1};
    const std::uint64_t packed = std::uint64_t{format.width} * bytesPerPixel(format);
    const std::uint64_t largest = std::numeric_limits<std::uint32_t>::max() & mask;
    return static_cast<std::uint32_t>(std::min((packed + alignment - 1) & mask, largest));
}

void reportOnce(CzChainable& element, void (CzChainable::*setErrorMessage)(const QString&),
                const QString& message) {
    if (element.errorMessage().isEmpty())
        (element.*setErrorMessage)(message);
}

void clearPicture(SzPicBuf& picture) {
    const bool planar = picture.storageFormat == EzDataStorageFormat::Planar;
    const std::uint64_t lines = std::uint64_t{picture.height} * (planar ? picture.channels : 1);
    for (std::uint64_t line = 0; line < lines; ++line)
        std::memset(picture.data + line * picture.linePitch, 0, packedLineBytes(picture));
}

OutputPicture::OutputPicture(void* memoryPool, QObject* owner, const SzPicBufInfo& format, bool flag) {
    CzPicBufAPI::AllocPicBufFromPool(memoryPool, owner, m_picture, format, flag);
}

OutputPicture::~OutputPicture() {
    CzPicBufAPI::FreePicBuf(m_picture, false);
}

CzImageData* OutputPicture::deliver(CzImageData* input, const CzImageMetadata& metadata) {
    // Complete before the input goes: whatever throws up to there leaves the input to the host.
    auto output = std::make_unique<CzImageData>();
    output->setImageMetadata(metadata);
    m_picture.copyPicAdditionalData(input->picBuf());
    output->setPicBuf(std::exchange(m_picture, SzPicBuf()));
    delete input;
    return output.release();
}

CzImageData* OutputPicture::deliver(CzImageData* input, const CzImageMetadata& metadata,
                                    OutputPicture& imaginary) {
    auto output = std::make_unique<CzFFTImageData>();
    output->setImageMetadata(metadata);
    m_picture.copyPicAdditionalData(input->picBuf());
    imaginary.m_picture.copyPicAdditionalData(input->picBuf());
    output->setPicBuf(std::exchange(m_picture, SzPicBuf()));
    if (output->setPicBufIm(imaginary.m_picture))
        imaginary.m_picture = SzPicBuf();
    delete input;
    return output.release();
}

HeapPicture::~HeapPicture() {
    free();
}

HeapPicture::HeapPicture(HeapPicture&& other) noexcept
    : m_picture(std::exchange(other.m_picture, SzPicBuf())) {}

HeapPicture& HeapPicture::operator=(HeapPicture&& other) noexcept {
    std::swap(m_picture, other.m_picture);
    return *this;
}

bool HeapPicture::allocate(const SzPicBufInfo& format, bool flag) {
    free();
    m_picture.setPicFormat(format);
    return CzPicBufAPI::AllocPicBufFromHeap(m_picture, m_picture, flag);
}

void HeapPicture::free() {
    CzPicBufAPI::FreePicBuf(m_picture, true);
}
