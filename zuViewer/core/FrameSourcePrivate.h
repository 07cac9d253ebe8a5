// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Chain.h"
#include "FrameSource.h"
#include "ImageData.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

/// The queue between whoever pushes frames and the worker, with everything that is counted or waited for
/// along with it: all under one lock.
struct CzFrameSource::Private {
    /// Waits for the next frame, but not before due; null when the stop was requested. The queue then counts
    /// as busy until finished().
    std::unique_ptr<CzImageData> take(std::chrono::steady_clock::time_point due);

    /// Counts the frames that wait as dropped and hands them out, to be deleted without the lock. With the
    /// lock held.
    std::deque<std::unique_ptr<CzImageData>> drop();

    std::mutex mutex;
    std::condition_variable frameArrived;
    std::condition_variable roomFree;
    std::condition_variable idle;
    std::condition_variable pushersGone;

    EzOverflow overflow = EzOverflow::Wait;
    std::size_t capacity = 4;
    std::deque<std::unique_ptr<CzImageData>> frames;
    bool closed = false;
    int waitingPushers = 0;

    /// Counts the changes of the format.
    std::uint64_t formatVersion() {
        const std::lock_guard lock(mutex);
        return formatChanges;
    }
    std::uint64_t formatChanges = 0;
    bool formatKnown = false;
    SzPicBufInfo format;
    CzImageMetadata metadata;

    bool stopRequested = false;
    bool busy = false;
    SzChainCounters counters;
};
