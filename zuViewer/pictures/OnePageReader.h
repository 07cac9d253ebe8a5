// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureFile.h"
#include "PictureSamples.h"

#include <QByteArray>
#include <QString>

#include <memory>

/// Reads a file of one picture, which it holds in memory as it lies on the disk.
class CzOnePageReader : public CzPictureReader {
public:
    /// False, with the reason in problem, when it is no such file or its picture cannot be held.
    bool open(const QString& path, QString* problem);

    int pageCount() const override { return 1; }
    std::unique_ptr<CzImageData> read(int page, const SzSidecar& sidecar, QString* error) override;

protected:
    CzOnePageReader() = default;
    /// Looks at the file's header; sets m_format, or problem when false.
    virtual bool readFormat(QString* problem) = 0;
    /// Null, with the reason in problem, when the samples cannot be had.
    virtual std::unique_ptr<CzImageData> decode(const SzSidecar& sidecar, QString* problem) = 0;

    QByteArray m_file;
    SzFileFormat m_format;

private:
    QString m_path;
};
