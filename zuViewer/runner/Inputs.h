// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExitCode.h"
#include "ImageData.h"
#include "PictureFile.h"
#include "Sidecar.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <cstdint>
#include <memory>
#include <optional>

/// A picture file and what is known about its pictures beforehand.
struct SzInputFile {
    QString path;
    SzSidecar sidecar;
};

/// The picture files that the INPUT arguments stand for: a file for itself, a folder for the pictures in it
/// in natural order. Each comes with its sidecar, or with the one in metadataFile when that is not empty.
///
/// Says what is wrong. The result is Misuse when a sidecar is wrong or metadataFile cannot be read, Failed
/// when a folder holds no pictures; the other inputs are complete then. Whether a file can be read shows when
/// it is opened.
EzExitCode resolveInputs(const QStringList& arguments, const QString& metadataFile,
                         QVector<SzInputFile>& files);

/// One frame of the sequence that the inputs form.
struct SzInputFrame {
    QString file;
    int page = 1;                         ///< in the file, from 1 on
    int frameNo = 0;                      ///< 0 for a still picture, live frames count from 1
    std::unique_ptr<CzImageData> picture; ///< null when it could not be read
    QString error;                        ///< why not: one sentence
    QStringList warnings;                 ///< what is odd about it: a sentence each
};

/// The pages of all input files, one after another, as one sequence of frames. One page is in memory at a
/// time, and one file open.
class CzInputSequence {
public:
    /// frameLimit: how many frames to give, the files being read again from the first on when they have
    /// fewer; without one each page once.
    CzInputSequence(const QVector<SzInputFile>& files, std::optional<std::uint32_t> frameLimit);
    ~CzInputSequence();

    /// The next frame; empty after the last. A file that cannot be opened counts as one frame that cannot be
    /// read.
    std::optional<SzInputFrame> next();

    /// How many frames there will be in all, as far as the files are known by now.
    std::uint64_t expectedFrames() const;

private:
    void openNextFile();

    QVector<SzInputFile> m_files;
    std::optional<std::uint32_t> m_frameLimit;
    int m_fileIndex = -1;
    std::unique_ptr<CzPictureReader> m_reader; ///< of the current file; null when it could not be opened
    QString m_openError;
    int m_pageCount = 0; ///< of the current file
    int m_page = 0;      ///< the next one, from 0 on
    std::uint64_t m_frames = 0;
    std::uint64_t m_pagesOfOpenedFiles = 0;
    int m_liveFrames = 0;
};
