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
    void setPool(std::shared_ptr<CzMemoryPool> fresh);

    /// An element hands this output on.
    void observe(const CzChainable& element, const IzChainData& output) const;

    bool onWorker() const { return std::this_thread::get_id() == workerId; }

    /// Whether an element asked the pool in vain since the last call.
    bool poolWasExhausted();

    CzChain& chain;
    CzFrameSource source;
    QVector<CzChainable*> elements;
    int poolSize = 16;
    std::function<void(const SzFrameReport&)> observer;
    std::function<void(int, const IzChainData&)> linkObserver;
    QString errorMessage;

    std::thread worker;
    std::atomic<std::thread::id> workerId; ///< of the thread that runs work(), none while nobody does
    std::atomic<bool> running{false};
    std::atomic<bool> setupRequested{false};

    /// While one lives, others see this element at work.
    class AtWork {
    public:
        AtWork(CzChain* chain, const CzChainable& element) : m_chain(chain) {
            if (!m_chain)
                return;
            m_chain->d->atWorkSince = std::chrono::steady_clock::now();
            m_before = m_chain->d->atWork.exchange(&element);
        }
        ~AtWork() {
            if (m_chain)
                m_chain->d->atWork = m_before; // an element that called the next one goes on
        }
        AtWork(const AtWork&) = delete;
        AtWork& operator=(const AtWork&) = delete;

    private:
        CzChain* m_chain;
        const CzChainable* m_before = nullptr;
    };

    // What the worker is at, for others to read.
    std::atomic<const CzChainable*> atWork{nullptr};
    std::atomic<std::chrono::steady_clock::time_point> atWorkSince{};
    std::atomic<int> frameAtHand{0};

    // The worker's.
    std::shared_ptr<CzMemoryPool> pool; ///< changes under the source's lock
    std::uint64_t poolExhaustionsSeen = 0;
    std::uint64_t setUpFormatVersion = 0;
    bool frameFailed = false;
};
