// SPDX-License-Identifier: GPL-3.0-or-later
#include "FrameSource.h"

#include "FrameSourcePrivate.h"

#include <QLabel>

#include <algorithm>
#include <chrono>
#include <utility>

using namespace std::chrono;

std::unique_ptr<CzImageData> CzFrameSource::Private::take(steady_clock::time_point due) {
    std::unique_lock lock(mutex);
    // Waiting for a moment that is over would still take the timer's slack, some 50 µs per frame.
    if (due > steady_clock::now())
        frameArrived.wait_until(lock, due, [this] { return stopRequested; });
    frameArrived.wait(lock, [this] { return stopRequested || !frames.empty(); });
    if (stopRequested)
        return nullptr;
    auto frame = std::move(frames.front());
    frames.pop_front();
    busy = true;
    roomFree.notify_one();
    return frame;
}

std::deque<std::unique_ptr<CzImageData>> CzFrameSource::Private::drop() {
    counters.framesIn += frames.size();
    counters.framesDropped += frames.size();
    roomFree.notify_all();
    if (!busy)
        idle.notify_all();
    return std::exchange(frames, {});
}

CzFrameSource::CzFrameSource()
    : CzImageProvider(EzChainableFlag::ReadsPaddedLines), d(std::make_unique<Private>()) {}

CzFrameSource::~CzFrameSource() {
    close();
}

void CzFrameSource::setQueue(EzOverflow overflow, int capacity) {
    const std::lock_guard lock(d->mutex);
    d->overflow = overflow;
    d->capacity = static_cast<std::size_t>(std::max(capacity, 1));
    d->roomFree.notify_all();
}

void CzFrameSource::setFormat(const SzPicBufInfo& format, const CzImageMetadata& metadata) {
    const std::lock_guard lock(d->mutex);
    if (d->formatKnown && d->format == format && d->metadata == metadata)
        return;
    ++d->formatChanges;
    d->format = format;
    d->metadata = metadata;
    d->formatKnown = true;
}

bool CzFrameSource::push(std::unique_ptr<CzImageData> frame) {
    if (!frame)
        return false;
    if (frame->picBuf().timeStampNs == 0)
        frame->picBuf().timeStampNs = nanoseconds(steady_clock::now().time_since_epoch()).count();

    std::unique_ptr<CzImageData> oldest; // the last one dropped is deleted after the lock is gone
    std::unique_lock lock(d->mutex);
    const auto hasRoom = [this] { return d->frames.size() < d->capacity; };
    ++d->waitingPushers;
    d->roomFree.wait(lock, [&] { return d->closed || hasRoom() || d->overflow != EzOverflow::Wait; });
    if (--d->waitingPushers == 0)
        d->pushersGone.notify_all();
    while (!d->closed && !hasRoom()) {
        oldest = std::move(d->frames.front());
        d->frames.pop_front();
        ++d->counters.framesIn;
        ++d->counters.framesDropped;
    }
    if (d->closed)
        return false;
    d->frames.push_back(std::move(frame));
    d->frameArrived.notify_one();
    return true;
}

void CzFrameSource::close() {
    std::unique_lock lock(d->mutex);
    d->closed = true;
    d->roomFree.notify_all();
    d->pushersGone.wait(lock, [this] { return d->waitingPushers == 0; });
}

void CzFrameSource::open() {
    const std::lock_guard lock(d->mutex);
    d->closed = false;
}

void CzFrameSource::clear() {
    std::deque<std::unique_ptr<CzImageData>> dropped; // deleted after the lock is gone
    const std::lock_guard lock(d->mutex);
    dropped = d->drop();
}

int CzFrameSource::waitingFrames() const {
    const std::lock_guard lock(d->mutex);
    return static_cast<int>(d->frames.size());
}

bool CzFrameSource::currentOutputImageInfo(SzPicBufInfo& format, CzImageMetadata* metadata) {
    const std::lock_guard lock(d->mutex);
    if (!d->formatKnown)
        return false;
    format = d->format;
    if (metadata)
        *metadata = d->metadata;
    return true;
}

bool CzFrameSource::currentInputImageInfo(SzPicBufInfo&, CzImageMetadata*) {
    return false;
}

QString CzFrameSource::caption() {
    return tr("Source");
}

bool CzFrameSource::acceptsPredecessor(QObject*) {
    return false;
}

int CzFrameSource::maxPredecessors() {
    return 0;
}

CzChainable* CzFrameSource::duplicate() {
    return new CzFrameSource;
}

QWidget* CzFrameSource::createConfigWidget() {
    return new QLabel(tr("The source has no settings."));
}

bool CzFrameSource::isConfigurable() {
    return false;
}

IzChainData* CzFrameSource::processData(IzChainData* input) {
    return input;
}

bool CzFrameSource::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                    const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) {
    output = input;
    if (inputMetadata && outputMetadata)
        *outputMetadata = *inputMetadata;
    return true;
}
