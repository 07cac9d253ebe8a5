// SPDX-License-Identifier: GPL-3.0-or-later
#include "FramePlayer.h"

#include "Chain.h"
#include "FrameSource.h"
#include "FrameSupply.h"
#include "ImageData.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

using namespace std::chrono;

namespace {

constexpr double longestPeriod = 3600; // in seconds

// How many frames wait in front of the chain.
constexpr int waitingFrames = 2;

// How often people are told what the worker does: it may send thousands of frames per second.
constexpr int tellPeriodMs = 20;

/// The next number from the start on, also after very many.
int countOn(int number, int start) {
    return number == std::numeric_limits<int>::max() ? start : number + 1;
}

} // namespace

struct CzFramePlayer::Private {
    explicit Private(CzFrameSource& destination) : source(destination) {}

    void work();
    /// Waits until a frame is due; its index, or none when the player ends.
    std::optional<int> nextDue(std::unique_lock<std::mutex>& lock);
    /// The index behind the present one; none at the end.
    std::optional<int> following() const;
    /// Where an index lies in the supply, counted around; none when there are no frames.
    std::optional<int> placeOf(int index) const;
    bool send(std::unique_ptr<CzImageData> frame);
    /// What becomes of frames that the chain has no time for. Under the mutex.
    void chooseOverflow();

    CzFrameSource& source;

    mutable std::mutex mutex; // guards what follows; never held while a frame is made or sent
    std::condition_variable changed;
    std::shared_ptr<CzFrameSupply> supply;
    std::uint64_t supplyNo = 0;
    double rate = 25.0;
    bool looped = true;
    bool playing = false;
    bool sending = false;
    bool ends = false;
    std::optional<int> wanted; ///< a single frame, out of turn
    int current = -1;          ///< the frame that is being sent, or was last
    int sent = -1;
    int failures = 0; ///< frames in a row that could not be made
    QString error;    ///< of the last of them, until it is told
    steady_clock::time_point due;

    // The worker's.
    int frameNo = 0;
    std::thread worker;

    // The GUI thread's.
    bool toldPlaying = false;
    int toldPosition = -1;
};

// ---- Worker ----

std::optional<int> CzFramePlayer::Private::following() const {
    const std::optional<int> count = supply->count();
    if (!count)
        return countOn(current, 0);
    if (current + 1 < *count)
        return current + 1;
    return looped && *count > 0 ? std::optional<int>(0) : std::nullopt;
}

std::optional<int> CzFramePlayer::Private::nextDue(std::unique_lock<std::mutex>& lock) {
    while (!ends) {
        const auto now = steady_clock::now();
        if (supply && wanted)
            return std::exchange(wanted, std::nullopt);
        if (!supply || !playing) {
            changed.wait(lock);
            due = steady_clock::now();
        } else if (now < due) {
            changed.wait_until(lock, due);
        } else if (const std::optional<int> next = following()) {
            const auto period = duration<double>(std::min(1.0 / rate, longestPeriod));
            due = std::max(due + duration_cast<steady_clock::duration>(period), now);
            return next;
        } else {
            playing = false;
        }
    }
    return std::nullopt;
}

void CzFramePlayer::Private::work() {
    std::unique_lock<std::mutex> lock(mutex);
    while (const std::optional<int> index = nextDue(lock)) {
        const std::shared_ptr<CzFrameSupply> from = supply;
        const std::uint64_t fromNo = supplyNo;
        current = *index;
        lock.unlock();
        QString reason;
        std::unique_ptr<CzImageData> frame = from->frame(*index, &reason);
        lock.lock();
        if (fromNo != supplyNo)
            continue; // nobody wants it any more
        if (frame) {
            failures = 0;
            sending = true;
            lock.unlock();
            if (!from->isStill(*index))
                frame->picBuf().frameNo = frameNo = countOn(frameNo, 1);
            const bool taken = send(std::move(frame));
            lock.lock();
            sending = false;
            changed.notify_all();
            if (!taken) { // the source is closed, until another supply is there
                changed.wait(lock, [&] { return ends || fromNo != supplyNo; });
                continue;
            }
        } else {
            error = reason;
            if (++failures >= from->count().value_or(1))
                playing = false; // none can be made
        }
        sent = *index;
    }
}

bool CzFramePlayer::Private::send(std::unique_ptr<CzImageData> frame) {
    // A chain that stands still learns here what it will get, for its elements' settings. While it runs each
    // frame tells it in its turn: elements must not be set up for another frame than the one they are given.
    const CzChain* const chain = source.chain();
    if ((!chain || chain->stopped()) && source.waitingFrames() == 0)
        source.setFormat(frame->picBuf(), frame->imageMetadata());
    return source.push(std::move(frame));
}

std::optional<int> CzFramePlayer::Private::placeOf(int index) const {
    const std::optional<int> count = supply ? supply->count() : 0;
    if (!count)
        return std::max(index, 0);
    return *count > 0 ? std::optional<int>((index % *count + *count) % *count) : std::nullopt;
}

void CzFramePlayer::Private::chooseOverflow() {
    // As fast as the chain takes them is never too fast, for a camera either.
    const bool drops = supply && supply->isLive() && std::isfinite(rate);
    source.setQueue(drops ? CzFrameSource::EzOverflow::DropOldest : CzFrameSource::EzOverflow::Wait,
                    waitingFrames);
}

// ---- GUI thread ----

CzFramePlayer::CzFramePlayer(CzFrameSource& source, QObject* parent)
    : QObject(parent), d(std::make_unique<Private>(source)) {
    d->worker = std::thread([this] { d->work(); });
    connect(&m_tellTimer, &QTimer::timeout, this, &CzFramePlayer::tell);
    m_tellTimer.start(tellPeriodMs);
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
    exchangeSupply(std::move(supply), false);
}

void CzFramePlayer::replaceSupply(std::shared_ptr<CzFrameSupply> supply) {
    exchangeSupply(std::move(supply), true);
}

void CzFramePlayer::exchangeSupply(std::shared_ptr<CzFrameSupply> supply, bool goesOn) {
    d->source.close(); // for a worker that waits for room with a frame of the supply before
    std::unique_lock lock(d->mutex);
    d->changed.wait(lock, [this] { return !d->sending; });
    d->supply.swap(supply); // the one before goes after the lock
    ++d->supplyNo;
    if (goesOn) {
        d->wanted = d->placeOf(std::max(d->wanted.value_or(d->current), 0));
    } else {
        d->wanted.reset();
        d->due = steady_clock::now();
    }
    d->current = d->sent = d->toldPosition = -1;
    d->failures = 0;
    d->error.clear();
    d->source.clear(); // of the supply before
    d->chooseOverflow();
    d->source.open();
    d->changed.notify_all();
}

std::shared_ptr<CzFrameSupply> CzFramePlayer::supply() const {
    const std::lock_guard lock(d->mutex);
    return d->supply;
}

void CzFramePlayer::setRate(double framesPerSecond) {
    const std::lock_guard lock(d->mutex);
    d->rate = framesPerSecond;
    d->due = steady_clock::now();
    d->chooseOverflow();
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

void CzFramePlayer::play() {
    {
        const std::lock_guard lock(d->mutex);
        if (d->playing || !d->supply)
            return;
        if (!d->following())
            d->current = -1; // once more from the start
        d->failures = 0;
        d->playing = true;
        d->changed.notify_all();
    }
    tell();
}

void CzFramePlayer::pause() {
    {
        const std::lock_guard lock(d->mutex);
        d->playing = false;
    }
    tell();
}

bool CzFramePlayer::isPlaying() const {
    const std::lock_guard lock(d->mutex);
    return d->playing;
}

void CzFramePlayer::step(int frames) {
    pause();
    int from = 0;
    {
        const std::lock_guard lock(d->mutex);
        from = d->wanted.value_or(d->current);
    }
    seek(from < 0 && frames < 0 ? frames : from + frames);
}

void CzFramePlayer::seek(int index) {
    const std::lock_guard lock(d->mutex);
    d->wanted = d->placeOf(index);
    d->changed.notify_all();
}

void CzFramePlayer::repeat() {
    const std::lock_guard lock(d->mutex);
    if (!d->wanted && d->current >= 0)
        d->wanted = d->current;
    d->changed.notify_all();
}

int CzFramePlayer::position() const {
    const std::lock_guard lock(d->mutex);
    return d->sent;
}

void CzFramePlayer::tell() {
    bool playing = false;
    int position = -1;
    QString error;
    {
        const std::lock_guard lock(d->mutex);
        playing = d->playing;
        position = d->sent;
        error.swap(d->error);
    }
    const bool isPlayingNews = playing != std::exchange(d->toldPlaying, playing);
    const bool isPositionNews = position != std::exchange(d->toldPosition, position);
    if (isPositionNews)
        emit positionChanged(position);
    if (isPlayingNews)
        emit playingChanged(playing);
    if (!error.isEmpty())
        emit failed(error);
}
