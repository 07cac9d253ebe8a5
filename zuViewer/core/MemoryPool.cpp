// SPDX-License-Identifier: GPL-3.0-or-later
#include "MemoryPool.h"

#include "PicBufStorage.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace {

/// Room in every buffer for the slack of the largest picture, whose pitch the pool does not know.
constexpr std::uint64_t reservedSlackBytes = 64 * 1024;

} // namespace

struct CzMemoryPool::Private {
    Private(int buffers, std::uint64_t bufferBytes)
        : storages(static_cast<std::size_t>(std::max(buffers, 0)))
        , usualBytes(std::min(bufferBytes, maxPictureBytes - reservedSlackBytes) + reservedSlackBytes) {
        free.reserve(storages.size());
        for (PicBufStorage& storage : storages)
            free.push_back(&storage);
    }

    std::vector<PicBufStorage> storages;
    const std::uint64_t usualBytes;

    mutable std::mutex mutex;         // guards what follows, and is never held while memory is made or freed
    std::vector<PicBufStorage*> free; ///< the one given back last comes last: it is still warm in the cache
    std::uint64_t exhaustions = 0;
};

std::shared_ptr<CzMemoryPool> CzMemoryPool::create(int buffers, std::uint64_t bufferBytes) {
    return std::shared_ptr<CzMemoryPool>(new CzMemoryPool(buffers, bufferBytes));
}

CzMemoryPool::CzMemoryPool(int buffers, std::uint64_t bufferBytes)
    : d(std::make_unique<Private>(buffers, bufferBytes)) {}

CzMemoryPool::~CzMemoryPool() = default;

int CzMemoryPool::size() const {
    return static_cast<int>(d->storages.size());
}

int CzMemoryPool::freeBuffers() const {
    const std::lock_guard<std::mutex> lock(d->mutex);
    return static_cast<int>(d->free.size());
}

std::uint64_t CzMemoryPool::exhaustions() const {
    const std::lock_guard<std::mutex> lock(d->mutex);
    return d->exhaustions;
}

PicBufStorage* CzMemoryPool::take(std::uint64_t bytes) {
    PicBufStorage* storage = nullptr;
    {
        const std::lock_guard<std::mutex> lock(d->mutex);
        if (d->free.empty()) {
            ++d->exhaustions;
            return nullptr;
        }
        const auto fits = [bytes](const PicBufStorage* candidate) { return candidate->capacity >= bytes; };
        const auto warmest = std::find_if(d->free.rbegin(), d->free.rend(), fits);
        const auto chosen = warmest == d->free.rend() ? d->free.begin() : std::prev(warmest.base());
        storage = *chosen;
        d->free.erase(chosen);
    }
    if (storage->capacity < bytes && !storage->allocate(std::max(bytes, d->usualBytes))) {
        const std::lock_guard<std::mutex> lock(d->mutex);
        d->free.insert(d->free.begin(), storage);
        ++d->exhaustions;
        return nullptr;
    }
    storage->pool = shared_from_this();
    return storage;
}

void CzMemoryPool::giveBack(PicBufStorage* storage) {
    const std::shared_ptr<CzMemoryPool> alive = std::move(storage->pool); // outlives the lock
    storage->close();
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->free.push_back(storage);
}
