// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureFile.h"

#include "FFTImageData.h"
#include "ImageData.h"
#include "PictureText.h"
#include "PngFile.h"
#include "PnmFile.h"
#include "QtImageFile.h"
#include "TiffFile.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QUuid>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <system_error>

namespace {

bool fail(QString* error, const QString& path, const QString& problem) {
    if (error)
        *error = QStringLiteral("%1: %2").arg(path, problem);
    return false;
}

/// Adds a picture, or the two parts of a spectrum, to the pages of a file.
void appendPages(const CzImageData& frame, QVector<const SzPicBuf*>& pages) {
    pages.append(&frame.picBuf());
    if (const auto* spectrum = qobject_cast<const CzFFTImageData*>(&frame))
        pages.append(&spectrum->picBufIm());
}

/// Gives a file another name, if no file has it by then.
bool renameIfFree(const QString& from, const QString& to) {
    const QByteArray present = QFile::encodeName(from);
    const QByteArray wanted = QFile::encodeName(to);
    if (::renameat2(AT_FDCWD, present.constData(), AT_FDCWD, wanted.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // Some network disks cannot look and rename at once.
    const QFileInfo info(to);
    if (info.exists() || info.isSymLink()) {
        errno = EEXIST;
        return false;
    }
    return std::rename(present.constData(), wanted.constData()) == 0;
}

/// Whether the disk has all of a file. What cannot be asked counts as had.
bool isOnDisk(const QFileDevice& file) {
    return ::fsync(file.handle()) == 0 || errno == EINVAL || errno == ENOTSUP;
}

/// A file that is complete before it takes its place. One that must not replace another goes by a name of its
/// own until then.
class NewFile {
public:
    NewFile(const QString& path, EzExistingFile existing)
        : m_path(path)
        , m_existing(existing)
        , m_file(existing == EzExistingFile::Replace
                     ? path
                     : QStringLiteral("%1.%2.part").arg(path, QUuid::createUuid().toString(QUuid::Id128))) {}

    bool write(const char* bytes, qint64 size) {
        return m_file.open(QIODevice::WriteOnly) && m_file.write(bytes, size) == size && m_file.flush() &&
               (isOnDisk(m_file) || failed());
    }
    bool takePlace() {
        if (!m_file.commit())
            return false;
        if (m_existing == EzExistingFile::Replace || renameIfFree(m_file.fileName(), m_path))
            return true;
        failed();
        QFile::remove(m_file.fileName());
        return false;
    }

    bool explain(QString* error) const {
        return fail(error, m_path,
                    SzPictureText::tr("cannot be written: %1")
                        .arg(m_problem.isEmpty() ? m_file.errorString() : m_problem));
    }

private:
    bool failed() {
        m_problem = qt_error_string();
        return false;
    }

    QString m_path;
    EzExistingFile m_existing;
    QSaveFile m_file;
    QString m_problem; ///< that the file itself does not know of
};

/// Writes a picture file and its sidecar. Both are complete before either takes its place.
bool writeFiles(const QString& path, const char* bytes, std::uint64_t size, const CzImageData& described,
                QString* error, EzExistingFile existing) {
    const QByteArray description = sidecarText(described.picBuf(), described.imageMetadata());
    NewFile picture(path, existing);
    NewFile sidecar(sidecarPath(path), existing);
    if (!picture.write(bytes, static_cast<qint64>(size)))
        return picture.explain(error);
    if (!sidecar.write(description.constData(), description.size()))
        return sidecar.explain(error);
    if (!picture.takePlace())
        return picture.explain(error);
    if (sidecar.takePlace())
        return true;
    if (existing == EzExistingFile::Keep)
        QFile::remove(path);
    return sidecar.explain(error);
}

bool writeTiff(const QString& path, const QVector<const SzPicBuf*>& pages, const CzImageData& described,
               QString* error, EzExistingFile existing) {
    std::vector<std::uint8_t> file;
    QString problem;
    if (!encodeTiff(pages, file, &problem))
        return fail(error, path, problem);
    return writeFiles(path, reinterpret_cast<const char*>(file.data()), file.size(), described, error,
                      existing);
}

bool isPnm(const QByteArray& magic) {
    return magic.size() >= 2 && magic.at(0) == 'P' && magic.at(1) >= '1' && magic.at(1) <= '7';
}

/// Opens a file by the reader that its first bytes ask for. Null, with the reason in problem, when there is
/// none.
std::unique_ptr<CzPictureReader> openByContent(const QString& path, QString* problem) {
    const QFileInfo info(path);
    if (info.exists() && !info.isFile()) { // a pipe could make the program wait for ever
        *problem = SzPictureText::tr("expected a regular file");
        return nullptr;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = SzPictureText::tr("cannot be read: %1").arg(file.errorString());
        return nullptr;
    }
    const QByteArray magic = file.read(8);
    for (const QByteArray& tiff : {QByteArrayLiteral("II\x2a\0"), QByteArrayLiteral("MM\0\x2a"),
                                   QByteArrayLiteral("II\x2b\0"), QByteArrayLiteral("MM\0\x2b")})
        if (magic.startsWith(tiff))
            return openTiff(path, problem);
    if (magic == "\x89PNG\r\n\x1a\n")
        return openPng(path, problem);
    if (magic.startsWith("\xff\xd8\xff"))
        return openJpeg(path, problem);
    if (isPnm(magic) && QByteArrayLiteral("2356").contains(magic.at(1)))
        return openPnm(path, problem);

    if (magic.isEmpty())
        *problem = SzPictureText::tr("the file is empty");
    else if (isPnm(magic))
        *problem = SzPictureText::tr("P%1 is not supported, only grey and colour PNM (P2, P3, P5, P6)")
                       .arg(QLatin1Char(magic.at(1)));
    else
        *problem = SzPictureText::tr("not a TIFF, PNG, PNM or JPEG picture");
    return nullptr;
}

} // namespace

std::unique_ptr<CzPictureReader> CzPictureReader::open(const QString& path, QString* error) {
    QString problem;
    std::unique_ptr<CzPictureReader> reader = openByContent(path, &problem);
    if (!reader)
        fail(error, path, problem);
    return reader;
}

QStringList pictureFilesIn(const QString& folder, QString* error) {
    static const QStringList suffixes = {QStringLiteral("tif"), QStringLiteral("tiff"), QStringLiteral("png"),
                                         QStringLiteral("pgm"), QStringLiteral("ppm"),  QStringLiteral("pnm"),
                                         QStringLiteral("jpg"), QStringLiteral("jpeg")};
    // Qt would pass over links that lead nowhere and names that are not UTF-8; here they are listed, and fail
    // when they are read.
    QStringList names;
    std::error_code code;
    std::filesystem::directory_iterator entry(QFile::encodeName(folder).constData(), code);
    for (; !code && entry != std::filesystem::directory_iterator(); entry.increment(code)) {
        const QString name = QFile::decodeName(entry->path().filename().c_str());
        std::error_code unknown; // of what cannot be found out
        const bool isPicture = suffixes.contains(QFileInfo(name).suffix(), Qt::CaseInsensitive);
        if (isPicture && !name.startsWith(QLatin1Char('.')) && !entry->is_directory(unknown))
            names.append(name);
    }
    if (code)
        fail(error, folder,
             SzPictureText::tr("cannot be read: %1").arg(QString::fromStdString(code.message())));

    // The same order everywhere, whatever language the user speaks; names that count as equal ("1", "01") are
    // told apart by their characters.
    QCollator collator{QLocale(QLocale::English, QLocale::UnitedStates)};
    collator.setNumericMode(true);
    std::sort(names.begin(), names.end(), [&](const QString& a, const QString& b) {
        const int order = collator.compare(a, b);
        return order != 0 ? order < 0 : a < b;
    });
    for (QString& name : names)
        name = QDir(folder).filePath(name);
    return names;
}

bool writePicture(const QString& path, EzPictureFormat format, const IzChainData& frame, QString* error,
                  EzExistingFile existing) {
    const auto* picture = qobject_cast<const CzImageData*>(&frame);
    if (!picture)
        return fail(error, path, SzPictureText::tr("only pictures can be written"));
    QVector<const SzPicBuf*> pages;
    appendPages(*picture, pages);
    if (format == EzPictureFormat::Tiff)
        return writeTiff(path, pages, *picture, error, existing);

    QByteArray file;
    QString problem;
    if (!encodePng(*pages.first(), file, &problem))
        return fail(error, path, problem);
    return writeFiles(path, file.constData(), static_cast<std::uint64_t>(file.size()), *picture, error,
                      existing);
}

bool writePictures(const QString& path, const QVector<const CzImageData*>& pages, QString* error) {
    if (pages.isEmpty())
        return fail(error, path, SzPictureText::tr("there is no picture to write"));
    QVector<const SzPicBuf*> pictures;
    for (int i = 0; i < pages.size(); ++i) {
        // One sidecar describes them all; where their lines begin in memory is not in the file.
        SzPicBufInfo format = pages.at(i)->picBuf();
        format.linePitch = pages.first()->picBuf().linePitch;
        if (format != pages.first()->picBuf() ||
            pages.at(i)->imageMetadata() != pages.first()->imageMetadata())
            return fail(error, path,
                        SzPictureText::tr("picture %1 is not of the first one's format").arg(i + 1));
        appendPages(*pages.at(i), pictures);
    }
    return writeTiff(path, pictures, *pages.first(), error, EzExistingFile::Replace);
}
