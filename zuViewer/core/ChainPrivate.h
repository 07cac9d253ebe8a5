// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Chain.h"
#include "FrameSource.h"
#include "MemoryPool.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

struct CzChain::Private {
    explicit Private(CzChain& owner) : chain(owner) {}

    // Worker.
    void work();
    void setUp();
    void tearDown();
    void process(std::unique_ptr<CzImageData> frame);
    void deliver(SzFrameReport report);
    std::chrono::nanoseconds framePeriod() const;

    std::uint64_t largestPictureBytes();
    bool stopRequested();
    bool onWorker() const { return std::this_thread::get_id() == workerId; }

    /// Whether an element asked the pool in vain since the last call.
    bool poolWasExhausted();

    CzChain& chain;
    CzFrameSource source;
    QVector<CzChainable*> elements;
    int poolSize = 16;
    std::function<void(const SzFrameReport&)> observer;
    QString errorMessage;

    std::thread worker;
    std::atomic<std::thread::id> workerId; ///< of the thread that runs work(), none while nobody does
    std::atomic<bool> running{false};
    std::atomic<bool> setupRequested{false};

    // The worker's.
    std::shared_ptr<CzMemoryPool> pool;
    std::uint64_t poolExhaustionsSeen = 0;
    std::uint64_t setUpFormatVersion = 0;
    bool frameFailed = false;
};
