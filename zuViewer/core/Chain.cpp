// SPDX-License-Identifier: GPL-3.0-or-later
#include "Chain.h"

#include "ChainPrivate.h"
#include "ChainablePrivate.h"
#include "FrameSourcePrivate.h"
#include "ImageData.h"
#include "PicBufStorage.h"

#include <algorithm>
#include <exception>
#include <system_error>

using namespace std::chrono;

namespace {

bool link(CzChainable& from, CzChainable& to) {
    if (!to.addPrecedessor(&from))
        return false;
    if (from.addSuccessor(&to))
        return true;
    to.removePrecedessor(&from);
    return false;
}

void unlink(CzChainable& from, CzChainable& to) {
    from.removeSuccessor(&to);
    to.removePrecedessor(&from);
}

/// What an observer throws goes to the log.
void callObserver(int frameNo, const std::function<void()>& observer) {
    try {
        observer();
    } catch (const std::exception& e) {
        qCritical("The observer of frame %d failed: %s", frameNo, e.what());
    } catch (...) {
        qCritical("The observer of frame %d failed.", frameNo);
    }
}

} // namespace

// ---- Worker ----

void CzChain::Private::work() {
    workerId = std::this_thread::get_id();
    setUp();
    auto due = steady_clock::now();
    while (auto frame = source.d->take(due)) {
        due = std::max(due + framePeriod(), steady_clock::now());
        process(std::move(frame));
    }
    tearDown();
    workerId = std::thread::id();

    const std::lock_guard lock(source.d->mutex);
    running = false;
    source.d->idle.notify_all();
}

nanoseconds CzChain::Private::framePeriod() const {
    double fps = source.maxFps();
    for (const CzChainable* element : elements)
        if (element->maxFps() > 0.0)
            fps = fps > 0.0 ? std::min(fps, element->maxFps()) : element->maxFps();
    constexpr double longestPeriod = 24 * 60 * 60; // in seconds: what follows cannot overflow
    return fps > 0.0 ? duration_cast<nanoseconds>(duration<double>(std::min(1.0 / fps, longestPeriod)))
                     : nanoseconds::zero();
}

/// Over all links of the chain, as the allocator lays the pictures out.
std::uint64_t CzChain::Private::largestPictureBytes() {
    std::uint64_t largest = 0;
    const auto consider = [&](CzImageProvider& provider) {
        SzPicBuf output;
        if (provider.currentOutputImageInfo(output, nullptr) && layOutPicture(output) > 0)
            largest = std::max(largest, output.dataSize());
    };
    consider(source);
    for (CzChainable* element : elements)
        if (auto* const provider = qobject_cast<CzImageProvider*>(element))
            consider(*provider);
    return largest;
}

void CzChain::Private::setUp() {
    setupRequested = false;
    setUpFormatVersion = source.d->formatVersion();
    int buffers = poolSize;
    for (CzChainable* element : elements) {
        element->d->stateOfRun = element->d->state;
        buffers += std::max(0, element->recommendedAdditionalBuffersInMemoryPool());
    }
    setPool(CzMemoryPool::create(buffers, largestPictureBytes()));
    poolExhaustionsSeen = 0;

    for (CzChainable* element : elements) {
        element->memoryPool = pool->handle();
        element->guarded([element] { element->setupStart(); });
    }
}

void CzChain::Private::tearDown() {
    for (CzChainable* element : elements) {
        element->guarded([element] { element->setupStop(); });
        element->onFreePoolBuffers(pool->handle());
        element->memoryPool = nullptr;
    }
    poolWasExhausted();
    setPool(nullptr);
}

void CzChain::Private::setPool(std::shared_ptr<CzMemoryPool> fresh) {
    const std::lock_guard lock(source.d->mutex);
    pool.swap(fresh);
}

bool CzChain::Private::poolWasExhausted() {
    const std::uint64_t exhaustions = pool->exhaustions();
    const std::uint64_t fresh = exhaustions - poolExhaustionsSeen;
    if (fresh == 0)
        return false;
    poolExhaustionsSeen = exhaustions;
    const std::lock_guard lock(source.d->mutex);
    source.d->counters.poolExhaustions += fresh;
    return true;
}

void CzChain::Private::process(std::unique_ptr<CzImageData> frame) {
    source.setFormat(frame->picBuf(), frame->imageMetadata());
    if (setupRequested || setUpFormatVersion != source.d->formatVersion()) {
        tearDown();
        setUp();
    }

    const int frameNo = frame->frameNo();
    frameAtHand = frameNo;
    frameFailed = false;
    for (CzChainable* element : elements)
        element->d->milliseconds = 0.0;
    // Each element hands its output to the next one and calls it, down to the last.
    source.addToOutputData(frame.release());

    CzChainable& last = elements.isEmpty() ? source : *elements.last();
    SzFrameReport report;
    report.frameNo = frameNo;
    while (IzChainData* const output = last.data(&chain, 0)) {
        last.discardData(&chain, 0);
        const std::unique_ptr<IzChainData> guard(output);
        report.output = output;
        deliver(report);
        report.further = true;
    }
    if (!report.further || frameFailed) {
        report.status = frameFailed ? EzFrameStatus::Failed : EzFrameStatus::Consumed;
        report.output = nullptr;
        deliver(report);
    }

    poolWasExhausted(); // by an element that helped itself: no reason to fail a later frame
    frameAtHand = 0;
    const std::lock_guard lock(source.d->mutex);
    source.d->busy = false;
    source.d->idle.notify_all();
}

void CzChain::Private::deliver(SzFrameReport report) {
    {
        const std::lock_guard lock(source.d->mutex);
        SzChainCounters& counters = source.d->counters;
        ++counters.framesIn;
        ++(report.status == EzFrameStatus::Delivered  ? counters.framesOut
           : report.status == EzFrameStatus::Consumed ? counters.framesConsumed
                                                      : counters.framesFailed);
    }
    if (!observer)
        return;
    report.elements.reserve(elements.size());
    for (const CzChainable* element : elements)
        report.elements.append({element->d->milliseconds, element->errorMessage()});
    callObserver(report.frameNo, [&] { observer(report); });
}

void CzChain::Private::observe(const CzChainable& element, const IzChainData& output) const {
    if (!linkObserver)
        return;
    const int link = &element == &source ? 0 : 1 + elements.indexOf(const_cast<CzChainable*>(&element));
    callObserver(output.frameNo(), [&] { linkObserver(link, output); });
}

bool CzChain::Private::stopRequested() {
    const std::lock_guard lock(source.d->mutex);
    return source.d->stopRequested;
}

// ---- Start and stop ----

CzChain::CzChain(QObject* parent) : QObject(parent), d(std::make_unique<Private>(*this)) {
    d->source.CzChainable::d->chain = this;
}

CzChain::~CzChain() {
    d->source.close();
    stop();
    qDeleteAll(d->elements);
}

bool CzChain::stopped() const {
    return !d->running;
}

bool CzChain::start() {
    const bool goesOn = d->running && !d->stopRequested();
    if (goesOn || d->onWorker())
        return goesOn;
    stop(); // joins a worker that ends by itself

    d->errorMessage.clear();
    for (CzChainable* element : d->elements) {
        QString reason;
        if (!element->init(&reason)) {
            d->errorMessage = reason.isEmpty() ? tr("%1 cannot run.").arg(element->caption()) : reason;
            return false;
        }
    }
    for (CzChainable* element : d->elements)
        element->onChainStarted(this);

    {
        const std::lock_guard lock(d->source.d->mutex);
        d->source.d->stopRequested = false;
        d->running = true;
    }
    try {
        d->worker = std::thread([this] { d->work(); });
    } catch (const std::system_error& e) {
        d->running = false;
        d->errorMessage = tr("The worker cannot start: %1").arg(QString::fromLocal8Bit(e.what()));
    }
    return d->running;
}

void CzChain::stop() {
    requestStop();
    if (d->onWorker() || !d->worker.joinable())
        return;
    d->worker.join();

    for (CzChainable* element : d->elements)
        element->onChainStopped(this);
    CzFrameSource::Private& queue = *d->source.d;
    std::deque<std::unique_ptr<CzImageData>> dropped; // deleted after the lock is gone
    const std::lock_guard lock(queue.mutex);
    // What a camera saw before the stop is of no use after it; files wait for the next start.
    if (queue.overflow == CzFrameSource::EzOverflow::DropOldest)
        dropped = queue.drop();
}

QString CzChain::errorMessage() const {
    return d->errorMessage;
}

void CzChain::requestStop() {
    const std::lock_guard lock(d->source.d->mutex);
    d->source.d->stopRequested = true;
    d->source.d->frameArrived.notify_all();
}

bool CzChain::waitUntilIdle(int timeoutMs) const {
    CzFrameSource::Private& queue = *d->source.d;
    const auto idle = [&] { return !queue.busy && queue.frames.empty(); };
    const auto settled = [&] { return idle() || !d->running; };
    std::unique_lock lock(queue.mutex);
    if (timeoutMs < 0)
        queue.idle.wait(lock, settled);
    else
        queue.idle.wait_for(lock, milliseconds(timeoutMs), settled);
    return idle();
}

SzChainCounters CzChain::counters() const {
    const std::lock_guard lock(d->source.d->mutex);
    return d->source.d->counters;
}

// ---- Composition ----

bool CzChain::insert(int index, CzChainable* element) {
    if (!stopped() || !element || element->chain() || index < 0 || index > d->elements.size())
        return false;
    CzChainable& before = index == 0 ? d->source : *d->elements.at(index - 1);
    CzChainable* const after = before.successor();

    if (after)
        unlink(before, *after);
    if (link(before, *element)) {
        if (!after || link(*element, *after)) {
            d->elements.insert(index, element);
            element->d->chain = this;
            return true;
        }
        unlink(before, *element);
    }
    if (after)
        link(before, *after);
    return false;
}

bool CzChain::append(CzChainable* element) {
    return insert(d->elements.size(), element);
}

CzChainable* CzChain::take(int index) {
    if (!stopped() || index < 0 || index >= d->elements.size())
        return nullptr;
    CzChainable* const element = d->elements.at(index);
    CzChainable& before = *element->predecessor();
    CzChainable* const after = element->successor();
    if (after && !after->acceptsPredecessor(&before))
        return nullptr;
    unlink(before, *element);
    if (after) {
        unlink(*element, *after);
        link(before, *after);
    }
    d->elements.removeAt(index);
    element->d->chain = nullptr;
    return element;
}

const QVector<CzChainable*>& CzChain::elements() const {
    return d->elements;
}

CzFrameSource& CzChain::source() const {
    return d->source;
}

void CzChain::setPoolSize(int buffers) {
    if (stopped())
        d->poolSize = std::max(0, buffers);
}

void CzChain::setFrameObserver(std::function<void(const SzFrameReport&)> observer) {
    if (stopped())
        d->observer = std::move(observer);
}

void CzChain::setLinkObserver(std::function<void(int, const IzChainData&)> observer) {
    if (stopped())
        d->linkObserver = std::move(observer);
}

SzWorkerState CzChain::workerState() const {
    SzWorkerState state;
    // In this order: an element that has just begun must not seem to be at it since the one before it was.
    if (const CzChainable* const element = d->atWork) {
        const auto since = d->atWorkSince.load();
        state.element = d->elements.indexOf(const_cast<CzChainable*>(element));
        state.frameNo = d->frameAtHand;
        state.milliseconds = duration<double, std::milli>(steady_clock::now() - since).count();
    }
    std::shared_ptr<CzMemoryPool> pool;
    {
        const std::lock_guard lock(d->source.d->mutex);
        pool = d->pool;
    }
    if (pool) {
        state.poolBuffers = pool->size();
        state.freePoolBuffers = pool->freeBuffers();
    }
    return state;
}
