// SPDX-License-Identifier: GPL-3.0-or-later
#include "FramePlayer.h"

#include "FrameSource.h"
#include "FrameSupply.h"
#include "ImageData.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

using namespace std::chrono;

namespace {

constexpr double longestPeriod = 3600; // in seconds

// How many frames wait in front of the chain.
constexpr int waitingFrames = 2;

} // namespace

struct CzFramePlayer::Private {
    Private(CzFramePlayer& owner, CzFrameSource& destination) : player(owner), source(destination) {}

    void work();
    /// Waits until a frame is due; its index, or none when the player ends.
    std::optional<int> nextDue(std::unique_lock<std::mutex>& lock);
    /// The index behind the present one; none at the end.
    std::optional<int> following() const;
    void send(int index, CzFrameSupply& supply);

    CzFramePlayer& player;
    CzFrameSource& source;

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::shared_ptr<CzFrameSupply> supply;
    std::uint64_t supplyNo = 0;
    double rate = 25.0;
    bool looped = true;
    bool playing = false;
    bool ends = false;
    int position = -1;
    std::optional<int> wanted; ///< a single frame, out of turn

    // The worker's.
    int frameNo = 0;
    steady_clock::time_point due;

    std::thread worker;
};

// ---- Worker ----

std::optional<int> CzFramePlayer::Private::following() const {
    const std::optional<int> count = supply->count();
    const int next = position + 1;
    if (!count)
        return next < 0 ? 0 : next;
    if (next < *count)
        return next;
    return looped && *count > 0 ? std::optional<int>(0) : std::nullopt;
}

std::optional<int> CzFramePlayer::Private::nextDue(std::unique_lock<std::mutex>& lock) {
    while (!ends) {
        if (supply && wanted)
            return std::exchange(wanted, std::nullopt);
        if (!supply || !playing) {
            changed.wait(lock);
            due = steady_clock::now();
            continue;
        }
        const std::optional<int> next = following();
        if (!next) {
            playing = false;
            lock.unlock();
            emit player.playingChanged(false);
            lock.lock();
        } else if (steady_clock::now() >= due || changed.wait_until(lock, due) == std::cv_status::timeout) {
            const auto period = duration<double>(std::min(1.0 / rate, longestPeriod));
            due = std::max(due + duration_cast<steady_clock::duration>(period), steady_clock::now());
            return next;
        }
    }
    return std::nullopt;
}

void CzFramePlayer::Private::work() {
    std::unique_lock<std::mutex> lock(mutex);
    while (const std::optional<int> index = nextDue(lock)) {
        const std::shared_ptr<CzFrameSupply> current = supply;
        const std::uint64_t currentNo = supplyNo;
        lock.unlock();
        send(*index, *current);
        lock.lock();
        if (currentNo != supplyNo)
            continue;
        position = *index;
        lock.unlock();
        emit player.positionChanged(*index);
        lock.lock();
    }
}

void CzFramePlayer::Private::send(int index, CzFrameSupply& current) {
    QString error;
    std::unique_ptr<CzImageData> frame = current.frame(index, &error);
    if (!frame) {
        emit player.failed(error);
        return;
    }
    frame->picBuf().frameNo = current.isStill(index) ? 0 : ++frameNo;
    // Announced, so that a chain that has not started yet knows what it will get.
    source.setFormat(frame->picBuf(), frame->imageMetadata());
    source.push(std::move(frame));
}

// ---- GUI thread ----

CzFramePlayer::CzFramePlayer(CzFrameSource& source, QObject* parent)
    : QObject(parent), d(std::make_unique<Private>(*this, source)) {
    d->worker = std::thread([this] { d->work(); });
}

CzFramePlayer::~CzFramePlayer() {
    {
        const std::lock_guard lock(d->mutex);
        d->ends = true;
        d->changed.notify_all();
    }
    d->source.close(); // for a worker that waits for room
    d->worker.join();
}

void CzFramePlayer::setSupply(std::shared_ptr<CzFrameSupply> supply) {
    d->source.close(); // whoever waits for room with a frame of the old supply
    {
        const std::lock_guard lock(d->mutex);
        d->supply = std::move(supply);
        ++d->supplyNo;
        d->position = -1;
        d->wanted.reset();
        const bool live = d->supply && d->supply->isLive();
        d->source.setQueue(live ? CzFrameSource::EzOverflow::DropOldest : CzFrameSource::EzOverflow::Wait,
                           waitingFrames);
        d->changed.notify_all();
    }
    d->source.open();
}

std::shared_ptr<CzFrameSupply> CzFramePlayer::supply() const {
    const std::lock_guard lock(d->mutex);
    return d->supply;
}

void CzFramePlayer::setRate(double framesPerSecond) {
    const std::lock_guard lock(d->mutex);
    d->rate = framesPerSecond;
    d->due = steady_clock::now();
    d->changed.notify_all();
}

double CzFramePlayer::rate() const {
    const std::lock_guard lock(d->mutex);
    return d->rate;
}

void CzFramePlayer::setLooped(bool looped) {
    const std::lock_guard lock(d->mutex);
    d->looped = looped;
}

bool CzFramePlayer::isLooped() const {
    const std::lock_guard lock(d->mutex);
    return d->looped;
}

void CzFramePlayer::play() {
    {
        const std::lock_guard lock(d->mutex);
        if (d->playing || !d->supply)
            return;
        if (!d->following())
            d->position = -1; // once more from the start
        d->playing = true;
        d->changed.notify_all();
    }
    emit playingChanged(true);
}

void CzFramePlayer::pause() {
    {
        const std::lock_guard lock(d->mutex);
        if (!std::exchange(d->playing, false))
            return;
    }
    emit playingChanged(false);
}

bool CzFramePlayer::isPlaying() const {
    const std::lock_guard lock(d->mutex);
    return d->playing;
}

void CzFramePlayer::step(int frames) {
    pause();
    seek(position() + frames);
}

void CzFramePlayer::seek(int index) {
    const std::lock_guard lock(d->mutex);
    if (!d->supply)
        return;
    if (const std::optional<int> count = d->supply->count())
        d->wanted = (index % *count + *count) % *count;
    else
        d->wanted = std::max(index, 0);
    d->changed.notify_all();
}

void CzFramePlayer::repeat() {
    if (const int index = position(); index >= 0)
        seek(index);
}

int CzFramePlayer::position() const {
    const std::lock_guard lock(d->mutex);
    return d->position;
}
