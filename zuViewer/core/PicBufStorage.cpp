// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBufStorage.h"

#include "PicBufGeometry.h"

#include <cstddef>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) // gcc
#define ZU_ADDRESS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) // clang
#define ZU_ADDRESS_SANITIZER
#endif
#endif
#if defined(ZU_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

namespace {

constexpr std::uint64_t dataAlignment = 64;
constexpr std::uint64_t chosenPitchAlignment = 16;
constexpr std::uint64_t slackBytes = 64;

#if defined(ZU_ADDRESS_SANITIZER)
constexpr bool guardsMemory = true;
void forbid(const std::uint8_t* begin, std::uint64_t bytes) {
    __asan_poison_memory_region(begin, bytes);
}
void allow(const std::uint8_t* begin, std::uint64_t bytes) {
    __asan_unpoison_memory_region(begin, bytes);
}
#else
constexpr bool guardsMemory = false;
void forbid(const std::uint8_t*, std::uint64_t) {}
void allow(const std::uint8_t*, std::uint64_t) {}
#endif

constexpr std::uint64_t roundUp(std::uint64_t value, std::uint64_t multiple) {
    return (value + multiple - 1) / multiple * multiple;
}

/// Bytes to allocate for a number of aligned ones.
constexpr std::uint64_t blockBytes(std::uint64_t bytes) {
    return bytes + dataAlignment - 1;
}

/// Bytes of a line that kernels may use. A kernel that takes every second sample of a line of odd width reads
/// one sample behind it, and one that takes a planar picture as interleaved uses the samples of all channels
/// in the lines of the first plane: each only where the pitch has room for that.
std::uint64_t usableLineBytes(const SzPicBufInfo& format) {
    const std::uint64_t packed = packedLineBytes(format);
    std::uint64_t more = packed;
    if (format.storageFormat == EzDataStorageFormat::Planar)
        more *= format.channels;
    else if (format.channels == 1 && format.width % 2 == 1)
        more += bytesPerSample(format.dataType);
    return more <= format.linePitch ? more : packed;
}

} // namespace

std::uint64_t layOutPicture(SzPicBufInfo& format) {
    const std::uint64_t packed = packedLineBytes(format);
    if (packed == 0 || packed > maxPictureBytes)
        return 0;
    const std::uint64_t pitch =
        format.linePitch == 0 ? roundUp(packed, chosenPitchAlignment) : format.linePitch;
    if (pitch < packed || pitch > UINT32_MAX || pitch % bytesPerSample(format.dataType) != 0)
        return 0;

    const std::uint64_t lines = lineCount(format);
    if (lines == 0 || lines > maxPictureBytes / pitch)
        return 0;
    const std::uint64_t bytes = lines * pitch + pitch + slackBytes;
    if (bytes > maxPictureBytes)
        return 0;
    format.linePitch = static_cast<std::uint32_t>(pitch);
    return bytes;
}

PicBufStorage::~PicBufStorage() {
    free();
}

bool PicBufStorage::allocate(std::uint64_t bytes) {
    free();
    // calloc hands out large blocks untouched, so that zeroing them costs nothing until they are used.
    m_block = std::calloc(1, blockBytes(bytes));
    if (!m_block)
        return false;
    forbid(static_cast<std::uint8_t*>(m_block), blockBytes(bytes));
    data = reinterpret_cast<std::uint8_t*>(roundUp(reinterpret_cast<std::uintptr_t>(m_block), dataAlignment));
    capacity = bytes;
    return true;
}

void PicBufStorage::open(const SzPicBufInfo& format) {
    if (!guardsMemory)
        return;
    for (std::uint64_t line = 0; line < lineCount(format); ++line)
        allow(data + line * format.linePitch, usableLineBytes(format));
}

void PicBufStorage::close() {
    forbid(data, capacity);
}

void PicBufStorage::free() {
    if (!m_block)
        return;
    allow(static_cast<std::uint8_t*>(m_block), blockBytes(capacity));
    std::free(m_block);
    m_block = nullptr;
    data = nullptr;
    capacity = 0;
}
