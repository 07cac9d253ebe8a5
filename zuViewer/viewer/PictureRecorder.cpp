// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureRecorder.h"

#include "ChainData.h"
#include "PictureFile.h"

#include <QDir>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace {

/// Pictures that wait for the disk, at most.
constexpr std::size_t patience = 32;

constexpr int noSequence = 0;

struct Job {
    std::shared_ptr<const IzChainData> picture;
    QString path;
    int sequence = noSequence;
};

/// Number of the last picture in the folder of a sequence; 0 when there is none.
int lastNumber(const QString& folder) {
    int last = 0;
    for (const QString& name : QDir(folder).entryList({QStringLiteral("*.tif")}, QDir::Files))
        last = std::max(last, name.section(QLatin1Char('.'), 0, 0).toInt());
    return last;
}

} // namespace

struct CzPictureRecorder::Private {
    explicit Private(CzPictureRecorder& owner) : recorder(owner) {}

    void work();
    void add(Job job) {
        jobs.push_back(std::move(job));
        changed.notify_all();
    }
    /// What could not be written ends the sequence that it belongs to: a full disk would fail with every
    /// picture.
    void giveUp(int sequence);

    CzPictureRecorder& recorder;
    mutable std::mutex mutex; // guards what follows; never held while a picture is copied or written
    std::condition_variable changed;
    std::deque<Job> jobs; ///< the first one is at work
    bool ends = false;
    bool recording = false;
    int sequence = noSequence; ///< the last that was started
    QString folder;
    int number = 0; ///< of the last picture
    int recorded = 0;
    int dropped = 0;
    std::thread worker;
};

void CzPictureRecorder::Private::giveUp(int failed) {
    const auto isOfSequence = [failed](const Job& job) { return job.sequence == failed; };
    const auto lost = std::remove_if(jobs.begin(), jobs.end(), isOfSequence);
    if (failed == sequence) {
        recording = false;
        dropped += static_cast<int>(jobs.end() - lost) + 1;
    }
    jobs.erase(lost, jobs.end());
}

void CzPictureRecorder::Private::work() {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return ends || !jobs.empty(); });
        if (jobs.empty())
            return;
        Job job = jobs.front();
        lock.unlock();
        const bool png = job.path.endsWith(QLatin1String(".png"), Qt::CaseInsensitive);
        QString error;
        const bool written =
            writePicture(job.path, png ? EzPictureFormat::Png : EzPictureFormat::Tiff, *job.picture, &error);
        lock.lock();
        jobs.pop_front(); // only now: it counted as waiting
        if (written && job.sequence == sequence && sequence != noSequence)
            ++recorded;
        if (!written && job.sequence != noSequence)
            giveUp(job.sequence);
        lock.unlock();
        if (!written)
            emit recorder.failed(error);
        else if (job.sequence == noSequence)
            emit recorder.saved(job.path);
        job.picture.reset();
        lock.lock();
    }
}

CzPictureRecorder::CzPictureRecorder(QObject* parent) : QObject(parent), d(std::make_unique<Private>(*this)) {
    d->worker = std::thread([this] { d->work(); });
}

CzPictureRecorder::~CzPictureRecorder() {
    {
        const std::lock_guard lock(d->mutex);
        d->ends = true;
        d->changed.notify_all();
    }
    d->worker.join();
}

void CzPictureRecorder::save(std::shared_ptr<const IzChainData> picture, const QString& path) {
    const std::lock_guard lock(d->mutex);
    d->add({std::move(picture), path, noSequence});
}

bool CzPictureRecorder::start(const QString& folder) {
    if (!QDir().mkpath(folder)) {
        emit failed(tr("The folder '%1' cannot be made.").arg(QDir::toNativeSeparators(folder)));
        return false;
    }
    const int number = lastNumber(folder);
    const std::lock_guard lock(d->mutex);
    d->folder = folder;
    d->number = number;
    d->recorded = d->dropped = 0;
    ++d->sequence;
    d->recording = true;
    return true;
}

void CzPictureRecorder::stop() {
    const std::lock_guard lock(d->mutex);
    d->recording = false;
}

bool CzPictureRecorder::isRecording() const {
    const std::lock_guard lock(d->mutex);
    return d->recording;
}

void CzPictureRecorder::offer(const IzChainData& result) {
    int sequence = noSequence;
    {
        const std::lock_guard lock(d->mutex);
        if (!d->recording)
            return;
        if (d->jobs.size() >= patience) {
            ++d->dropped;
            return;
        }
        sequence = d->sequence;
    }
    std::shared_ptr<const IzChainData> copy(result.clone(nullptr));
    const std::lock_guard lock(d->mutex);
    if (!d->recording || sequence != d->sequence)
        return;
    if (!copy) {
        ++d->dropped;
        return;
    }
    const QString name = QStringLiteral("%1.tif").arg(++d->number, 5, 10, QLatin1Char('0'));
    d->add({std::move(copy), QDir(d->folder).filePath(name), sequence});
}

int CzPictureRecorder::recorded() const {
    const std::lock_guard lock(d->mutex);
    return d->recorded;
}

int CzPictureRecorder::dropped() const {
    const std::lock_guard lock(d->mutex);
    return d->dropped;
}
