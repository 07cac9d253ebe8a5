// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureRecorder.h"

#include "ChainData.h"
#include "PictureFile.h"

#include <QDir>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace {

/// Pictures that wait for the disk, at most.
constexpr std::size_t patience = 32;

struct Job {
    std::shared_ptr<const IzChainData> picture;
    QString path;
    bool isOfSequence = false;
};

} // namespace

struct CzPictureRecorder::Private {
    explicit Private(CzPictureRecorder& owner) : recorder(owner) {}

    void work();
    void add(Job job) {
        jobs.push_back(std::move(job));
        changed.notify_all();
    }

    CzPictureRecorder& recorder;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::deque<Job> jobs;
    bool ends = false;
    bool recording = false;
    QString folder;
    int offered = 0;
    int recorded = 0;
    int dropped = 0;
    std::thread worker;
};

void CzPictureRecorder::Private::work() {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return ends || !jobs.empty(); });
        if (jobs.empty())
            return;
        const Job job = jobs.front();
        lock.unlock();
        const bool png = job.path.endsWith(QLatin1String(".png"), Qt::CaseInsensitive);
        QString error;
        const bool written =
            writePicture(job.path, png ? EzPictureFormat::Png : EzPictureFormat::Tiff, *job.picture, &error);
        lock.lock();
        jobs.pop_front(); // only now: it counted as waiting
        if (written && job.isOfSequence)
            ++recorded;
        if (!written && job.isOfSequence)
            recording = false; // a full disk would fail with every picture
        lock.unlock();
        if (!written)
            emit recorder.failed(error);
        else if (!job.isOfSequence)
            emit recorder.saved(job.path);
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
    d->add({std::move(picture), path, false});
}

bool CzPictureRecorder::start(const QString& folder) {
    if (!QDir().mkpath(folder)) {
        emit failed(tr("The folder '%1' cannot be made.").arg(QDir::toNativeSeparators(folder)));
        return false;
    }
    const std::lock_guard lock(d->mutex);
    d->folder = folder;
    d->offered = d->recorded = d->dropped = 0;
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
    {
        const std::lock_guard lock(d->mutex);
        if (!d->recording)
            return;
        if (d->jobs.size() >= patience) {
            ++d->dropped;
            return;
        }
    }
    std::shared_ptr<const IzChainData> copy(result.clone(nullptr));
    const std::lock_guard lock(d->mutex);
    if (!copy) {
        ++d->dropped;
        return;
    }
    const QString name = QStringLiteral("%1.tif").arg(++d->offered, 5, 10, QLatin1Char('0'));
    d->add({std::move(copy), QDir(d->folder).filePath(name), true});
}

int CzPictureRecorder::recorded() const {
    const std::lock_guard lock(d->mutex);
    return d->recorded;
}

int CzPictureRecorder::dropped() const {
    const std::lock_guard lock(d->mutex);
    return d->dropped;
}
