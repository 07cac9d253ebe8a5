// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureRecorder.h"

#include "FFTImageData.h"
#include "PictureFile.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace {

/// What a picture takes beside its pixels, about.
constexpr std::uint64_t pictureOverhead = 4096;

/// A recording.
struct Sequence {
    QString folder;
    std::int64_t number = -1; ///< of the last picture; the worker's: -1 until it writes the first one
    bool isRunning = true;
    int waiting = 0; ///< pictures that are not written yet
    int recorded = 0;
    int dropped = 0;
    QString error; ///< why it ended by itself
};

/// A picture of a sequence, or one of its own, which is shown anyway.
struct Job {
    std::shared_ptr<const IzChainData> picture;
    std::shared_ptr<Sequence> sequence; ///< null: a picture of its own
    std::uint64_t bytes = 0;            ///< of a sequence's copy
    QString path;                       ///< of a picture of its own
    EzExistingFile existing;            ///< what is there already
};

bool isPng(const QString& path) {
    return path.endsWith(QLatin1String(".png"), Qt::CaseInsensitive);
}

bool isTiff(const QString& path) {
    return path.endsWith(QLatin1String(".tif"), Qt::CaseInsensitive) ||
           path.endsWith(QLatin1String(".tiff"), Qt::CaseInsensitive);
}

std::uint64_t bytesOf(const IzChainData& data) {
    std::uint64_t bytes = pictureOverhead;
    if (const auto* const image = qobject_cast<const CzImageData*>(&data))
        bytes += image->picBuf().dataSize();
    if (const auto* const spectrum = qobject_cast<const CzFFTImageData*>(&data))
        bytes += spectrum->picBufIm().dataSize();
    return bytes;
}

/// Number of the last picture in the folder of a sequence; 0 when there is none.
int lastNumber(const QString& folder) {
    int last = 0;
    for (const QString& name : QDir(folder).entryList({QStringLiteral("*.tif")}, QDir::Files))
        last = std::max(last, name.section(QLatin1Char('.'), 0, 0).toInt());
    return last;
}

/// Whether there is a file, or a link that may lead nowhere.
bool isThere(const QString& path) {
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

bool isFree(const QString& picture) {
    return !isThere(picture) && !isThere(sidecarPath(picture));
}

/// Writes a picture of a sequence under the next number that is free: other sequences and programs may write
/// into its folder as well.
bool writeNext(Sequence& sequence, const IzChainData& picture, QString* error) {
    if (sequence.number < 0)
        sequence.number = lastNumber(sequence.folder);
    for (;;) {
        const QString name = QStringLiteral("%1.tif").arg(++sequence.number, 5, 10, QLatin1Char('0'));
        const QString path = QDir(sequence.folder).filePath(name);
        if (!isFree(path))
            continue;
        if (writePicture(path, EzPictureFormat::Tiff, picture, error, EzExistingFile::Keep))
            return true;
        if (isFree(path)) // it was not the name that it failed for
            return false;
    }
}

bool write(const Job& job, QString* error) {
    if (job.sequence)
        return writeNext(*job.sequence, *job.picture, error);
    const auto format = isPng(job.path) ? EzPictureFormat::Png : EzPictureFormat::Tiff;
    return writePicture(job.path, format, *job.picture, error, job.existing);
}

} // namespace

struct CzPictureRecorder::Private {
    Private(CzPictureRecorder& owner, std::uint64_t room) : recorder(owner), memory(room) {}

    void work();
    void add(Job job) {
        jobs.push_back(std::move(job));
        changed.notify_all();
    }
    bool isRecording() const { return sequence && sequence->isRunning; }
    bool hasRoomFor(std::uint64_t bytes) const { return waiting < 2 || waitingBytes + bytes <= memory; }
    /// A picture of a sequence is written, or given up.
    void finish(const Job& job) {
        --waiting;
        waitingBytes -= job.bytes;
        --job.sequence->waiting;
    }
    /// What could not be written ends the sequence that it belongs to: a full disk would fail with every
    /// picture.
    void giveUp(Sequence& sequence, const QString& error);
    /// Stops the recording. Tells, once the lock is released, when nothing of it waits any more.
    void endSequence(std::unique_lock<std::mutex>& lock);
    void tellEnd(const Sequence& ended) {
        emit recorder.recordingEnded(ended.recorded, ended.dropped, ended.error);
    }

    CzPictureRecorder& recorder;
    const std::uint64_t memory;
    mutable std::mutex mutex; // guards what follows; never held while a picture is copied or written
    std::condition_variable changed;
    std::deque<Job> jobs;   ///< the first one is at work
    bool isTelling = false; ///< what became of a picture
    bool ends = false;
    std::shared_ptr<Sequence> sequence; ///< the last that was started
    int waiting = 0;                    ///< pictures of all sequences
    std::uint64_t waitingBytes = 0;
    std::thread worker;
};

void CzPictureRecorder::Private::giveUp(Sequence& failed, const QString& error) {
    failed.isRunning = false;
    failed.error = error;
    ++failed.dropped;
    const auto isLost = [&](const Job& job) { return job.sequence.get() == &failed; };
    for (const Job& job : jobs)
        if (isLost(job)) {
            finish(job);
            ++failed.dropped;
        }
    jobs.erase(std::remove_if(jobs.begin(), jobs.end(), isLost), jobs.end());
}

void CzPictureRecorder::Private::endSequence(std::unique_lock<std::mutex>& lock) {
    if (!isRecording())
        return;
    sequence->isRunning = false;
    if (sequence->waiting > 0)
        return; // the worker will tell
    const Sequence ended = *sequence;
    lock.unlock();
    tellEnd(ended);
    lock.lock();
}

void CzPictureRecorder::Private::work() {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return ends || !jobs.empty(); });
        if (jobs.empty())
            return;
        Job job = jobs.front();
        lock.unlock();
        QString error;
        const bool written = write(job, &error);
        lock.lock();
        jobs.pop_front(); // only now: it counted as waiting
        bool isLast = false;
        Sequence ended;
        if (job.sequence) {
            finish(job);
            if (written)
                ++job.sequence->recorded;
            else
                giveUp(*job.sequence, error);
            isLast = !job.sequence->isRunning && job.sequence->waiting == 0;
            ended = *job.sequence;
        }
        isTelling = true;
        lock.unlock();
        if (isLast)
            tellEnd(ended);
        else if (!job.sequence && written)
            emit recorder.saved(job.path);
        else if (!job.sequence)
            emit recorder.failed(error);
        job.picture.reset();
        lock.lock();
        isTelling = false;
    }
}

CzPictureRecorder::CzPictureRecorder(std::uint64_t memory, QObject* parent)
    : QObject(parent), d(std::make_unique<Private>(*this, memory)) {
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
    if (!isPng(path) && !isTiff(path)) {
        emit failed(
            tr("'%1' is not written: pictures are saved as *.tif or *.png. Choose a name that ends so.")
                .arg(QDir::toNativeSeparators(path)));
        return;
    }
    const auto existing = isFree(path) ? EzExistingFile::Keep : EzExistingFile::Replace;
    const std::lock_guard lock(d->mutex);
    d->add({std::move(picture), nullptr, 0, path, existing});
}

bool CzPictureRecorder::start(const QString& folder) {
    if (!QDir().mkpath(folder)) {
        emit failed(tr("The folder '%1' cannot be made.").arg(QDir::toNativeSeparators(folder)));
        return false;
    }
    auto fresh = std::make_shared<Sequence>();
    fresh->folder = folder;
    std::unique_lock lock(d->mutex);
    d->endSequence(lock);
    d->sequence = std::move(fresh);
    return true;
}

void CzPictureRecorder::stop() {
    std::unique_lock lock(d->mutex);
    d->endSequence(lock);
}

bool CzPictureRecorder::isRecording() const {
    const std::lock_guard lock(d->mutex);
    return d->isRecording();
}

bool CzPictureRecorder::isWriting() const {
    const std::lock_guard lock(d->mutex);
    return !d->jobs.empty() || d->isTelling;
}

void CzPictureRecorder::offer(const IzChainData& result) {
    std::shared_ptr<Sequence> sequence;
    const std::uint64_t bytes = bytesOf(result);
    {
        const std::lock_guard lock(d->mutex);
        if (!d->isRecording())
            return;
        sequence = d->sequence;
        if (!d->hasRoomFor(bytes)) {
            ++sequence->dropped;
            return;
        }
    }
    std::shared_ptr<const IzChainData> copy(result.clone(nullptr));
    const std::lock_guard lock(d->mutex);
    if (!sequence->isRunning)
        return;
    if (!copy) {
        ++sequence->dropped;
        return;
    }
    ++d->waiting;
    d->waitingBytes += bytes;
    ++sequence->waiting;
    d->add({std::move(copy), sequence, bytes, QString(), EzExistingFile::Keep});
}

int CzPictureRecorder::recorded() const {
    const std::lock_guard lock(d->mutex);
    return d->sequence ? d->sequence->recorded : 0;
}

int CzPictureRecorder::dropped() const {
    const std::lock_guard lock(d->mutex);
    return d->sequence ? d->sequence->dropped : 0;
}
