// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageData.h"
#include "PictureFile.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

/// A folder of its own for each test.
class PictureFolder {
public:
    QString path(const QString& name) const { return m_dir.filePath(name); }
    QString folder() const { return m_dir.path(); }

    /// Writes a file and returns its path.
    QString write(const QString& name, const QByteArray& bytes) const;

private:
    QTemporaryDir m_dir;
};

/// Reads one page; null with the sentence in error.
std::unique_ptr<CzImageData> readPage(const QString& path, int page = 0, const SzSidecar& sidecar = {},
                                      QString* error = nullptr);

/// The sentence with which a file is refused, by open() or by read(); empty when its first page can be read.
QString refusal(const QString& path);

/// One sample as a number, looked up with plain pointer arithmetic.
double sampleAt(const SzPicBuf& picture, std::uint32_t channel, std::uint32_t x, std::uint32_t y);
void setSample(SzPicBuf& picture, std::uint32_t channel, std::uint32_t x, std::uint32_t y, double value);

/// A frame of the given format, its samples set to value(channel, x, y).
std::unique_ptr<CzImageData>
makePicture(const SzPicBufInfo& format,
            const std::function<double(std::uint32_t channel, std::uint32_t x, std::uint32_t y)>& value);

/// Chunk by chunk: a PNG with these header fields, chunks before the samples, and lines without filter bytes.
QByteArray pngFile(std::uint32_t width, const std::vector<QByteArray>& lines, int bits, int colorType,
                   const QByteArray& extraChunks = {});
QByteArray pngChunk(const QByteArray& type, const QByteArray& data);

/// A little-endian TIFF of one strip: the tags are (number, type, value), in rising order; offset and length
/// of the strip are added.
struct TiffTag {
    std::uint16_t number;
    std::uint16_t type; ///< 3: 16-bit, 4: 32-bit
    std::uint32_t value;
};
QByteArray tiffFile(std::vector<TiffTag> tags, const QByteArray& strip);
