// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Chain.h"
#include "Manifest.h"
#include "PictureFile.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <cstdint>
#include <deque>

class CzProgress;
struct SzInputFrame;

/// What became of the frames of a run.
struct SzRunCounts {
    std::uint64_t delivered = 0; ///< came out, and nobody asked to write them
    std::uint64_t written = 0;
    std::uint64_t consumed = 0;
    std::uint64_t failed = 0; ///< in reading, in the chain or in writing

    std::uint64_t frames() const { return delivered + written + consumed + failed; }
};

/// Keeps the record of a run: writes what comes out of the chain, with a line of the manifest for every input
/// frame in input order, and says each thing that goes wrong once.
///
/// begin() belongs to the thread that reads, finish() to the chain's worker; the rest is for before the chain
/// starts and after it stopped.
class CzRunRecord {
public:
    /// folder: where the results go; empty: nowhere. elementIds: of the chain's elements, in their order.
    CzRunRecord(const QString& folder, EzPictureFormat format, const QStringList& elementIds,
                CzProgress& progress);

    /// Makes the folder and begins the manifest. False, and it was said, when that cannot be done.
    bool open();

    /// The next frame of the input, before it enters the chain. One that could not be read never does, and
    /// has its line at once: no other frame may be in the chain then.
    void begin(const SzInputFrame& frame, std::uint64_t expectedFrames);

    /// The chain's word on the oldest frame that entered it.
    void finish(const SzFrameReport& report);

    /// Ends the record with the manifest's last line. A frame on which the chain gave no word has failed.
    void close();

    /// Whether anything at all went wrong.
    bool failed() const { return m_failed; }

    const SzRunCounts& counts() const { return m_counts; }
    double seconds() const { return m_seconds; }

    /// An element's time in milliseconds, as the mean over all frames that entered the chain.
    double meanMilliseconds(int element) const;
    /// The first error message that an element reported; empty when it reported none.
    QString firstError(int element) const { return m_elements.at(element).firstError; }

private:
    struct Pending {
        QString file;
        int page;
        int frameNo;

        QString place() const;
    };
    struct Element {
        QString uniqueId;
        double milliseconds;
        QString firstError;
    };

    Pending takePending();
    void addReports(const Pending& frame, const SzFrameReport& report);
    bool writeOutput(const QString& name, const IzChainData& output);
    void addFailed(const Pending& frame, const QVector<SzElementReport>& elements);
    void addLine(const Pending& frame, const char* status, const QString& output,
                 const QVector<SzElementReport>& elements);
    void addLine(const QJsonObject& line);
    void showProgress();
    void fail(const QString& sentence);

    const QString m_folder;
    const EzPictureFormat m_format;
    CzProgress& m_progress;
    QElapsedTimer m_clock;
    QSet<QString> m_saidOfInputs;

    QMutex m_mutex; ///< guards the next two, through which the threads meet
    std::deque<Pending> m_pending;
    std::uint64_t m_expectedFrames = 0;

    Pending m_reported; ///< the frame that was reported last
    CzManifest m_manifest;
    SzRunCounts m_counts;
    std::uint64_t m_reports = 0;
    QVector<Element> m_elements;
    bool m_unexplainedFailure = false;
    std::uint64_t m_writeErrors = 0;
    bool m_failed = false;
    double m_seconds = 0.0;
};
