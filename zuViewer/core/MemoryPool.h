// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <cstdint>
#include <memory>

/// A fixed number of picture buffers that a chain's elements take and give back, from any thread, without
/// waiting.
///
/// A buffer's memory is made when it is first taken and kept; one that is too small for a picture is made
/// anew. Buffers in flight keep the pool's memory alive after the last owner of the pool is gone.
class ZUCORE_EXPORT CzMemoryPool : public std::enable_shared_from_this<CzMemoryPool> {
public:
    /// buffers: how many; bufferBytes: the size of the largest picture that is expected, for each
    /// (SzPicBuf::dataSize()).
    static std::shared_ptr<CzMemoryPool> create(int buffers, std::uint64_t bufferBytes);
    ~CzMemoryPool();

    CzMemoryPool(const CzMemoryPool&) = delete;
    CzMemoryPool& operator=(const CzMemoryPool&) = delete;

    /// What CzPicBufAPI::AllocPicBufFromPool() takes for a pool; valid as long as the pool lives.
    void* handle() { return this; }

    int size() const;                  ///< buffers in all
    int freeBuffers() const;           ///< buffers that could be taken now
    std::uint64_t exhaustions() const; ///< how often somebody asked in vain since the pool was made

private:
    CzMemoryPool(int buffers, std::uint64_t bufferBytes);

    friend class CzPicBufAPI;

    /// A buffer of at least this many bytes, in flight until it is given back; null when there is none.
    struct PicBufStorage* take(std::uint64_t bytes);
    void giveBack(struct PicBufStorage* storage);

    struct Private;
    std::unique_ptr<Private> d;
};
