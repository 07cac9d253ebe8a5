// SPDX-License-Identifier: GPL-3.0-or-later
#include "TiffFile.h"

#include "ImageData.h"
#include "PictureSamples.h"
#include "PictureText.h"

#include <QFile>
#include <QFileInfo>

#include <tiffio.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

using TiffHandle = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

/// libtiff's messages: the first error becomes the reason, warnings are of no use to anybody. Some begin with
/// the file's name, which the reader's sentence has already.
[[gnu::format(printf, 4, 0)]] int keepFirstMessage(TIFF* tiff, void* message, const char*, const char* format,
                                                   va_list arguments) {
    auto& text = *static_cast<QString*>(message);
    if (!text.isEmpty())
        return 1;
    text = QString::vasprintf(format, arguments);
    const QString name = tiff ? QFile::decodeName(TIFFFileName(tiff)) + QLatin1String(": ") : QString();
    if (text.startsWith(name))
        text.remove(0, name.size());
    return 1;
}

int ignoreMessage(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

/// Calls open with options that keep libtiff from writing to the terminal.
template <class Open>
TiffHandle openQuietly(QString* message, Open&& open) {
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                   &TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), &keepFirstMessage, message);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), &ignoreMessage, nullptr);
    return {open(options.get()), &TIFFClose};
}

template <class T>
T tag(TIFF* tiff, std::uint32_t name) {
    T value{};
    TIFFGetFieldDefaulted(tiff, name, &value);
    return value;
}

/// Upper limit of what one byte of a file stands for in the picture: deflate reaches 1032, JPEG little more.
std::uint32_t compressionRatio(std::uint16_t compression) {
    switch (compression) {
    case COMPRESSION_NONE:
        return 1;
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
    case COMPRESSION_JPEG:
        return 2000;
    default:
        return 65536;
    }
}

class TiffReader : public CzPictureReader {
public:
    /// False, with the reason in message(), when it is no TIFF.
    bool open(const QString& path) {
        m_path = path;
        m_fileBytes = static_cast<std::uint64_t>(QFileInfo(path).size());
        const QByteArray name = QFile::encodeName(path);
        // Not mapped into memory: a file that shrinks while it is read must be an error, not a signal.
        m_tiff = openQuietly(&m_message, [&](TIFFOpenOptions* options) {
            return TIFFOpenExt(name.constData(), "rm", options);
        });
        if (!m_tiff)
            return false;
        m_message.clear();
        m_pageCount = static_cast<int>(TIFFNumberOfDirectories(m_tiff.get()));
        if (m_pageCount > 0 && !m_message.isEmpty()) {
            // The chain of pages breaks off, perhaps in the last link of a page that is whole. What should
            // follow counts as one page, which cannot be read.
            m_pageCount += TIFFSetDirectory(tiff(), static_cast<tdir_t>(m_pageCount)) != 0 ? 2 : 1;
            m_selectedPage = -1;
        }
        return m_pageCount > 0;
    }

    QString message() const { return m_message; }

    int pageCount() const override { return m_pageCount; }

    std::unique_ptr<CzImageData> read(int page, const SzSidecar& sidecar, QString* error) override {
        m_message.clear();
        QString problem;
        std::unique_ptr<CzImageData> frame = readPage(page, sidecar, &problem);
        if (!frame && error) {
            const QString& reason = problem.isEmpty() ? m_message : problem;
            *error = SzPictureText::tr("%1, page %2: %3")
                         .arg(m_path, QString::number(page + 1),
                              reason.isEmpty() ? SzPictureText::tr("cannot be read") : reason);
        }
        return frame;
    }

private:
    TIFF* tiff() const { return m_tiff.get(); }

    /// One page after the other is the usual order, and much cheaper than finding each from the start. What
    /// libtiff calls current after a page that it could not read is none.
    bool selectPage(int page) {
        if (page < 0 || page >= m_pageCount)
            return false;
        if (page == m_selectedPage)
            return true;
        const bool isNext = m_selectedPage >= 0 && page == m_selectedPage + 1;
        const bool selected =
            (isNext ? TIFFReadDirectory(tiff()) : TIFFSetDirectory(tiff(), static_cast<tdir_t>(page))) != 0;
        m_selectedPage = selected ? page : -1;
        return selected;
    }

    std::unique_ptr<CzImageData> readPage(int page, const SzSidecar& sidecar, QString* problem) {
        SzFileFormat format;
        if (!selectPage(page) || !readFormat(format, problem))
            return nullptr;
        std::unique_ptr<CzImageData> frame = makeFrame(format, sidecar, problem);
        if (!frame || !readSamples(frame->picBuf()))
            return nullptr;
        finishFrame(*frame);
        return frame;
    }

    /// What cannot be held is refused here, before there is any memory to take.
    bool readFormat(SzFileFormat& format, QString* problem) {
        const auto bits = tag<std::uint16_t>(tiff(), TIFFTAG_BITSPERSAMPLE);
        const auto sampleFormat = tag<std::uint16_t>(tiff(), TIFFTAG_SAMPLEFORMAT);
        const auto compression = tag<std::uint16_t>(tiff(), TIFFTAG_COMPRESSION);
        const bool planar = tag<std::uint16_t>(tiff(), TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
        std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
        TIFFGetField(tiff(), TIFFTAG_PHOTOMETRIC, &photometric);
        TIFFGetField(tiff(), TIFFTAG_IMAGEWIDTH, &format.width);
        TIFFGetField(tiff(), TIFFTAG_IMAGELENGTH, &format.height);
        format.channels = tag<std::uint16_t>(tiff(), TIFFTAG_SAMPLESPERPIXEL);
        format.bitDepth = bits;

        if (format.width == 0 || format.height == 0 || format.channels == 0)
            return refuse(problem, SzPictureText::tr("a picture without pixels"));
        const bool isUnsigned = sampleFormat == SAMPLEFORMAT_UINT || sampleFormat == SAMPLEFORMAT_VOID;
        if (isUnsigned && bits == 8)
            format.dataType = EzImageDataType::UInt8;
        else if (isUnsigned && bits == 16)
            format.dataType = EzImageDataType::UInt16;
        else if (isUnsigned && bits == 32)
            format.dataType = EzImageDataType::UInt32;
        else if (sampleFormat == SAMPLEFORMAT_IEEEFP && bits == 32)
            format.dataType = EzImageDataType::Float32;
        else
            return refuse(problem,
                          SzPictureText::tr("%1 are not supported, only unsigned ones of 8, 16 or 32 bits "
                                            "and floats of 32")
                              .arg(sampleName(bits, sampleFormat)));

        if (!TIFFIsCODECConfigured(compression))
            return refuse(problem,
                          SzPictureText::tr("compression scheme %1 is not supported").arg(compression));
        switch (photometric) {
        case PHOTOMETRIC_PALETTE:
            return refuse(problem, SzPictureText::tr("palette pictures are not supported"));
        case PHOTOMETRIC_MASK:
            return refuse(problem, SzPictureText::tr("transparency masks are not supported"));
        case PHOTOMETRIC_YCBCR:
            // The JPEG decoder makes RGB of it; for anything else the chroma samples would have to be spread.
            if (compression != COMPRESSION_JPEG || planar || format.channels != 3)
                return refuse(problem,
                              SzPictureText::tr("YCbCr colour is supported with JPEG compression only"));
            TIFFSetField(tiff(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            format.isColor = true;
            break;
        case PHOTOMETRIC_CIELAB:
        case PHOTOMETRIC_ICCLAB:
        case PHOTOMETRIC_ITULAB:
        case PHOTOMETRIC_LOGL:
        case PHOTOMETRIC_LOGLUV:
            return refuse(problem, SzPictureText::tr("L*a*b* and logarithmic colour are not supported"));
        case PHOTOMETRIC_RGB:
            format.isColor = format.channels == 3 || format.channels == 4;
            break;
        default:
            break;
        }

        const std::uint32_t ratio = compressionRatio(compression);
        const bool tiled = TIFFIsTiled(tiff()) != 0;
        const std::uint64_t blockBytes = tiled ? TIFFTileSize64(tiff()) : TIFFStripSize64(tiff());
        if (blockBytes == 0 || blockBytes > std::uint64_t{std::numeric_limits<std::int32_t>::max()})
            return refuse(problem, SzPictureText::tr("strips or tiles of that size are not supported"));
        if (!isPlausible(format.bytes(), m_fileBytes, ratio) || !isPlausible(blockBytes, m_fileBytes, ratio))
            return refuse(problem, SzPictureText::tr("the file is too short for %1 × %2 pixels")
                                       .arg(format.width)
                                       .arg(format.height));
        return true;
    }

    static bool refuse(QString* problem, const QString& text) {
        *problem = text;
        return false;
    }

    static QString sampleName(std::uint16_t bits, std::uint16_t sampleFormat) {
        QString kind = SzPictureText::tr("samples");
        switch (sampleFormat) {
        case SAMPLEFORMAT_INT:
            kind = SzPictureText::tr("signed samples");
            break;
        case SAMPLEFORMAT_IEEEFP:
            kind = SzPictureText::tr("floating-point samples");
            break;
        case SAMPLEFORMAT_COMPLEXINT:
        case SAMPLEFORMAT_COMPLEXIEEEFP:
            kind = SzPictureText::tr("complex samples");
            break;
        default:
            break;
        }
        return SzPictureText::tr("%1-bit %2").arg(bits).arg(kind);
    }

    /// Strips and tiles are both blocks in a grid; a strip is as wide as the picture.
    bool readSamples(SzPicBuf& picture) {
        const bool tiled = TIFFIsTiled(tiff()) != 0;
        const bool planar = tag<std::uint16_t>(tiff(), TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
        std::uint32_t blockWidth = picture.width;
        std::uint32_t blockHeight = picture.height;
        if (tiled) {
            TIFFGetField(tiff(), TIFFTAG_TILEWIDTH, &blockWidth);
            TIFFGetField(tiff(), TIFFTAG_TILELENGTH, &blockHeight);
        } else {
            blockHeight = std::min(blockHeight, tag<std::uint32_t>(tiff(), TIFFTAG_ROWSPERSTRIP));
        }
        if (blockWidth == 0 || blockHeight == 0)
            return false;

        const std::size_t blockSamples = planar ? 1 : picture.channels;
        const std::size_t lineBytes = blockSamples * bytesPerSample(picture.dataType) * blockWidth;
        std::vector<std::uint8_t> block(
            static_cast<std::size_t>(tiled ? TIFFTileSize64(tiff()) : TIFFVStripSize64(tiff(), blockHeight)));
        if (block.size() < lineBytes * blockHeight)
            return false;

        for (std::uint32_t plane = 0; plane < (planar ? picture.channels : 1); ++plane) {
            for (std::uint64_t y = 0; y < picture.height; y += blockHeight) {
                const auto top = static_cast<std::uint32_t>(y);
                const std::uint32_t lines = std::min(blockHeight, picture.height - top);
                for (std::uint64_t x = 0; x < picture.width; x += blockWidth) {
                    const auto left = static_cast<std::uint32_t>(x);
                    const std::uint32_t count = std::min(blockWidth, picture.width - left);
                    if (!readBlock(tiled, left, top, plane, lineBytes * (tiled ? blockHeight : lines), block))
                        return false;
                    for (std::uint32_t line = 0; line < lines; ++line) {
                        const std::uint8_t* source = block.data() + line * lineBytes;
                        if (planar)
                            storeSamples(picture, plane, left, top + line, count, source,
                                         bytesPerSample(picture.dataType));
                        else
                            storePixels(picture, left, top + line, count, source);
                    }
                }
            }
        }
        return true;
    }

    bool readBlock(bool tiled, std::uint32_t x, std::uint32_t y, std::uint32_t plane, std::size_t bytes,
                   std::vector<std::uint8_t>& block) {
        const auto sample = static_cast<std::uint16_t>(plane);
        const auto size = static_cast<tmsize_t>(bytes);
        const tmsize_t got =
            tiled ? TIFFReadEncodedTile(tiff(), TIFFComputeTile(tiff(), x, y, 0, sample), block.data(), size)
                  : TIFFReadEncodedStrip(tiff(), TIFFComputeStrip(tiff(), y, sample), block.data(), size);
        if (got >= size)
            return true;
        if (m_message.isEmpty() || m_message.startsWith(QLatin1String("Read error")))
            m_message = SzPictureText::tr("the samples end early");
        return false;
    }

    QString m_path;
    std::uint64_t m_fileBytes = 0;
    QString m_message; ///< declared before the handle, whose closing may still report
    TiffHandle m_tiff{nullptr, &TIFFClose};
    int m_pageCount = 0;
    int m_selectedPage = 0; ///< −1: none
};

/// A file in memory for libtiff to write into. It reads, too: a page is linked into the one before.
struct MemoryFile {
    std::vector<std::uint8_t>& bytes;
    std::uint64_t position = 0;

    static tmsize_t read(thandle_t handle, void* destination, tmsize_t count) {
        auto& file = *static_cast<MemoryFile*>(handle);
        if (file.position >= file.bytes.size())
            return 0;
        const std::uint64_t rest = file.bytes.size() - file.position;
        const std::uint64_t taken = std::min(rest, static_cast<std::uint64_t>(count));
        std::memcpy(destination, file.bytes.data() + file.position, taken);
        file.position += taken;
        return static_cast<tmsize_t>(taken);
    }

    static tmsize_t write(thandle_t handle, void* source, tmsize_t count) {
        auto& file = *static_cast<MemoryFile*>(handle);
        const auto* begin = static_cast<const std::uint8_t*>(source);
        const std::uint64_t end = file.position + static_cast<std::uint64_t>(count);
        if (file.position == file.bytes.size()) {
            file.bytes.insert(file.bytes.end(), begin, begin + count);
        } else {
            if (end > file.bytes.size())
                file.bytes.resize(end);
            std::memcpy(file.bytes.data() + file.position, source, static_cast<std::size_t>(count));
        }
        file.position = end;
        return count;
    }

    static toff_t seek(thandle_t handle, toff_t offset, int whence) {
        auto& file = *static_cast<MemoryFile*>(handle);
        if (whence == SEEK_CUR)
            offset += file.position;
        else if (whence == SEEK_END)
            offset += file.bytes.size();
        file.position = offset;
        return offset;
    }

    static toff_t size(thandle_t handle) { return static_cast<MemoryFile*>(handle)->bytes.size(); }
    static int close(thandle_t) { return 0; }
};

bool isWritable(const SzPicBuf& picture) {
    switch (picture.dataType) {
    case EzImageDataType::UInt8:
    case EzImageDataType::UInt16:
    case EzImageDataType::UInt32:
    case EzImageDataType::Float32:
    case EzImageDataType::SpectrumFloat32:
        return picture.data && picture.width > 0 && picture.height > 0 && picture.channels > 0 &&
               picture.channels <= std::numeric_limits<std::uint16_t>::max();
    default:
        return false;
    }
}

/// Lines per strip, for strips of about a quarter of a megabyte.
std::uint32_t stripLines(const SzPicBuf& picture, std::uint64_t lineBytes) {
    const std::uint64_t lines = std::max<std::uint64_t>(1, (std::uint64_t{1} << 18) / lineBytes);
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(lines, picture.height));
}

bool writePage(TIFF* tiff, const SzPicBuf& picture, int page, int pageCount) {
    const bool planar = picture.storageFormat == EzDataStorageFormat::Planar;
    const bool isFloat =
        picture.dataType == EzImageDataType::Float32 || picture.dataType == EzImageDataType::SpectrumFloat32;
    const bool isRgb = picture.isColor && (picture.channels == 3 || picture.channels == 4);
    const std::uint32_t sampleBytes = bytesPerSample(picture.dataType);
    const std::uint64_t lineBytes = packedLineBytes(picture);
    const std::uint32_t linesPerStrip = stripLines(picture, lineBytes);

    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, picture.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, picture.height);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, picture.channels);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8 * sampleBytes);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, isRgb ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, linesPerStrip);
    const std::vector<std::uint16_t> extraSamples(picture.channels - (isRgb ? 3 : 1),
                                                  EXTRASAMPLE_UNSPECIFIED);
    if (!extraSamples.empty())
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, static_cast<int>(extraSamples.size()), extraSamples.data());
    if (pageCount > 1) {
        TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
        if (pageCount <= std::numeric_limits<std::uint16_t>::max())
            TIFFSetField(tiff, TIFFTAG_PAGENUMBER, page, pageCount);
    }

    std::vector<std::uint8_t> strip(lineBytes * linesPerStrip);
    std::uint32_t index = 0;
    for (std::uint32_t plane = 0; plane < (planar ? picture.channels : 1); ++plane) {
        for (std::uint64_t top = 0; top < picture.height; top += linesPerStrip) {
            const std::uint64_t lines = std::min<std::uint64_t>(linesPerStrip, picture.height - top);
            for (std::uint64_t line = 0; line < lines; ++line) {
                const auto y = static_cast<std::uint32_t>(top + line);
                std::uint8_t* destination = strip.data() + line * lineBytes;
                if (planar)
                    fetchSamples(picture, plane, y, destination, sampleBytes);
                else
                    fetchPixels(picture, y, destination);
            }
            const auto bytes = static_cast<tmsize_t>(lines * lineBytes);
            if (TIFFWriteEncodedStrip(tiff, index++, strip.data(), bytes) != bytes)
                return false;
        }
    }
    return TIFFWriteDirectory(tiff) != 0;
}

} // namespace

std::unique_ptr<CzPictureReader> openTiff(const QString& path, QString* problem) {
    auto reader = std::make_unique<TiffReader>();
    if (reader->open(path))
        return reader;
    *problem = reader->message().isEmpty() ? SzPictureText::tr("holds no page") : reader->message();
    return nullptr;
}

bool encodeTiff(const QVector<const SzPicBuf*>& pages, std::vector<std::uint8_t>& file, QString* problem) {
    std::uint64_t bytes = 0;
    for (const SzPicBuf* page : pages) {
        if (!isWritable(*page)) {
            *problem =
                SzPictureText::tr("a TIFF takes 1 to 65535 unsigned samples of 8, 16 or 32 bits or floats of "
                                  "32 per pixel, not %1 of data type %2")
                    .arg(page->channels)
                    .arg(static_cast<std::uint32_t>(page->dataType));
            return false;
        }
        bytes += std::uint64_t{page->width} * page->height * bytesPerPixel(*page);
    }

    // Tags and strip tables on top of the samples stay far below a hundredth of them plus a kilobyte a page.
    const std::uint64_t estimate = bytes + bytes / 100 + 1024 * static_cast<std::uint64_t>(pages.size());
    const bool big = estimate > std::numeric_limits<std::uint32_t>::max();
    file.clear();
    file.reserve(estimate);
    MemoryFile memory{file};
    QString message;
    bool written = true;
    {
        const TiffHandle tiff = openQuietly(&message, [&](TIFFOpenOptions* options) {
            return TIFFClientOpenExt("memory", big ? "w8" : "w", &memory, &MemoryFile::read,
                                     &MemoryFile::write, &MemoryFile::seek, &MemoryFile::close,
                                     &MemoryFile::size, nullptr, nullptr, options);
        });
        for (int i = 0; tiff && written && i < pages.size(); ++i)
            written = writePage(tiff.get(), *pages.at(i), i, pages.size());
        written = written && tiff;
    }
    if (!written || !message.isEmpty()) {
        *problem = message.isEmpty() ? SzPictureText::tr("encoding failed") : message;
        return false;
    }
    return true;
}
