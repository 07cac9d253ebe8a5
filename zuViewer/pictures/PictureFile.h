// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"
#include "Sidecar.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>

class CzImageData;
class IzChainData;

/// Reads the pictures of a file: TIFF (several pages are several pictures), PNG, PNM or JPEG. Nothing is
/// scaled on the way. One thread at a time.
class CzPictureReader {
public:
    /// Opens a file. Null, with one sentence that names it in error, when it is no picture that can be read.
    static std::unique_ptr<CzPictureReader> open(const QString& path, QString* error);
    virtual ~CzPictureReader() = default;

    virtual int pageCount() const = 0;

    /// Reads one page into a new frame on the heap, laid out in memory and described as the sidecar says; the
    /// frame number is 0. Null, with one sentence that names file and page in error, when that fails.
    virtual std::unique_ptr<CzImageData> read(int page, const SzSidecar& sidecar, QString* error) = 0;
};

/// The picture files of a folder in natural order ("9" before "10"), with their paths; empty when there are
/// none. When the folder cannot be read, or not to its end, error says so in one sentence; otherwise it is
/// left alone.
QStringList pictureFilesIn(const QString& folder, QString* error);

enum class EzPictureFormat { Tiff, Png };

/// What becomes of a picture file, or a sidecar, that is in the place of the one to be written.
enum class EzExistingFile {
    Replace,
    Keep, ///< the other one is not written
};

/// Writes a picture with its sidecar, each file complete or not at all. A Fourier spectrum becomes a TIFF of
/// two pages, real and imaginary. False, with one sentence that names the file in error, when it cannot be
/// written; PNG refuses what it cannot hold without loss.
bool writePicture(const QString& path, EzPictureFormat format, const IzChainData& frame, QString* error,
                  EzExistingFile existing = EzExistingFile::Replace);

/// Writes several pictures as the pages of one TIFF, with one sidecar, that of the first.
bool writePictures(const QString& path, const QVector<const CzImageData*>& pages, QString* error);
