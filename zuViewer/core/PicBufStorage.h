// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <cstdint>
#include <memory>

class CzMemoryPool;

/// Pictures that need more memory than this, slack included, are refused: no sensor is that large, a damaged
/// file may well claim to be.
constexpr std::uint64_t maxPictureBytes = std::uint64_t{8} << 30;

/// Checks a format for allocation, and chooses its pitch where that is 0. Returns the bytes to allocate: all
/// lines, and a slack of one more line and 64 bytes. 0, and the format untouched, when it is refused.
std::uint64_t layOutPicture(SzPicBufInfo& format);

/// The memory of one picture and who takes it back.
///
/// Under the address sanitizer nothing of it may be touched but the samples of the picture that it was
/// opened for.
struct PicBufStorage {
    PicBufStorage() = default;
    ~PicBufStorage();
    PicBufStorage(const PicBufStorage&) = delete;
    PicBufStorage& operator=(const PicBufStorage&) = delete;

    /// Replaces the memory by fresh, zeroed memory of this size. False, and without memory, when there is
    /// none.
    bool allocate(std::uint64_t bytes);

    /// Allows access to the samples of a picture of this format, which must fit.
    void open(const SzPicBufInfo& format);
    /// Forbids all access.
    void close();

    std::uint8_t* data = nullptr; ///< 64-byte aligned
    std::uint64_t capacity = 0;   ///< bytes from data on

    /// Keeps the pool alive while one of its buffers is in flight; null for memory of its own.
    std::shared_ptr<CzMemoryPool> pool;

private:
    void free();

    void* m_block = nullptr; ///< what calloc returned
};
