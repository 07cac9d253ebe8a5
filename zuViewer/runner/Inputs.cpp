// SPDX-License-Identifier: GPL-3.0-or-later
#include "Inputs.h"

#include "Console.h"

#include <QFileInfo>

namespace {

bool readSidecarOrSay(const QString& path, SzSidecar& sidecar) {
    QString error;
    QStringList warnings;
    const bool read = readSidecar(path, sidecar, &error, &warnings);
    for (const QString& warning : warnings)
        say(warning);
    if (!read)
        say(error);
    return read;
}

} // namespace

EzExitCode resolveInputs(const QStringList& arguments, const QString& metadataFile,
                         QVector<SzInputFile>& files) {
    SzSidecar common;
    if (!metadataFile.isEmpty() && !readSidecarOrSay(metadataFile, common))
        return EzExitCode::Misuse;

    EzExitCode result = EzExitCode::Success;
    for (const QString& argument : arguments) {
        QStringList paths{argument};
        if (QFileInfo(argument).isDir()) {
            QString error;
            paths = pictureFilesIn(argument, &error);
            if (paths.isEmpty() && error.isEmpty())
                error =
                    QStringLiteral("The folder '%1' holds no pictures; expected TIFF, PNG, PNM or JPEG files")
                        .arg(argument);
            if (!error.isEmpty()) {
                say(error);
                result = EzExitCode::Failed;
            }
        }
        for (const QString& path : qAsConst(paths)) {
            SzInputFile file{path, common};
            const QFileInfo own(sidecarPath(path));
            const bool hasOwn = own.exists() || own.isSymLink(); // a link that leads nowhere is a mistake
            if (metadataFile.isEmpty() && hasOwn && !readSidecarOrSay(own.filePath(), file.sidecar))
                return EzExitCode::Misuse;
            files.append(file);
        }
    }
    return result;
}

CzInputSequence::CzInputSequence(const QVector<SzInputFile>& files, std::optional<std::uint32_t> frameLimit)
    : m_files(files), m_frameLimit(frameLimit) {}

CzInputSequence::~CzInputSequence() = default;

std::optional<SzInputFrame> CzInputSequence::next() {
    if (m_files.isEmpty() || (m_frameLimit && m_frames >= *m_frameLimit))
        return std::nullopt;
    if (m_page >= m_pageCount) {
        if (m_fileIndex + 1 == m_files.size() && !m_frameLimit)
            return std::nullopt;
        openNextFile();
    }
    const SzInputFile& file = m_files.at(m_fileIndex);
    SzInputFrame frame;
    frame.file = file.path;
    frame.page = m_page + 1;
    frame.frameNo = file.sidecar.still ? 0 : ++m_liveFrames;
    if (m_reader)
        frame.picture = m_reader->read(m_page, file.sidecar, &frame.error);
    else
        frame.error = m_openError;
    if (frame.picture) {
        frame.picture->picBuf().frameNo = frame.frameNo;
        for (const QString& warning : regionWarnings(file.sidecar.hsi, frame.picture->picBuf()))
            frame.warnings.append(QStringLiteral("%1: %2").arg(file.path, warning));
    }
    ++m_page;
    ++m_frames;
    return frame;
}

std::uint64_t CzInputSequence::expectedFrames() const {
    if (m_frameLimit)
        return *m_frameLimit;
    const int unopenedFiles = m_files.size() - m_fileIndex - 1;
    return m_pagesOfOpenedFiles + std::uint64_t(unopenedFiles);
}

void CzInputSequence::openNextFile() {
    m_page = 0;
    const int index = (m_fileIndex + 1) % m_files.size();
    // The only file starts again without being opened anew.
    if (index == m_fileIndex && m_reader)
        return;
    m_fileIndex = index;
    m_openError.clear();
    m_reader = CzPictureReader::open(m_files.at(index).path, &m_openError);
    m_pageCount = m_reader ? std::max(1, m_reader->pageCount()) : 1;
    m_pagesOfOpenedFiles += std::uint64_t(m_pageCount);
}
