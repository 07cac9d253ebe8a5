// SPDX-License-Identifier: GPL-3.0-or-later
#include "PngFile.h"

#include "ImageData.h"
#include "OnePageReader.h"
#include "PictureSamples.h"
#include "PictureText.h"

#include <QtEndian>

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

/// A file in memory for libpng, and what libpng says of it.
struct PngInput {
    const char* bytes;
    std::size_t size;
    std::size_t position;
    char message[256];
};

void readBytes(png_structp png, png_bytep target, std::size_t count) {
    auto& input = *static_cast<PngInput*>(png_get_io_ptr(png));
    if (count > input.size - input.position)
        png_error(png, "the file ends early");
    std::memcpy(target, input.bytes + input.position, count);
    input.position += count;
}

[[noreturn]] void keepMessage(png_structp png, png_const_charp message) {
    auto& input = *static_cast<PngInput*>(png_get_error_ptr(png));
    std::snprintf(input.message, sizeof input.message, "%s", message);
    png_longjmp(png, 1);
}

void ignoreMessage(png_structp, png_const_charp) {}

/// Decodes the picture into its rows, samples in file order, palettes as the colours that they stand for.
/// libpng leaves by longjmp when something is wrong: nothing here may have a destructor.
bool decode(PngInput& input, png_bytepp rows, std::size_t rowBytes) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &input, &keepMessage, &ignoreMessage);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    volatile bool done = false;
    if (info && setjmp(png_jmpbuf(png)) == 0) {
        png_set_read_fn(png, &input, &readBytes);
        png_read_info(png, info);
        if (png_get_color_type(png, info) == PNG_COLOR_TYPE_PALETTE) {
            png_set_palette_to_rgb(png);
            if (png_get_valid(png, info, PNG_INFO_tRNS) != 0)
                png_set_tRNS_to_alpha(png);
        }
        if (Q_BYTE_ORDER == Q_LITTLE_ENDIAN && png_get_bit_depth(png, info) == 16)
            png_set_swap(png);
        png_set_interlace_handling(png);
        png_read_update_info(png, info);
        if (png_get_rowbytes(png, info) != rowBytes)
            png_error(png, "the header does not fit the samples");
        png_read_image(png, rows);
        png_read_end(png, nullptr);
        done = true;
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return done;
}

// Deflate reaches 1032 bytes for one.
constexpr std::uint32_t highestRatio = 2000;

/// Whether a PNG has a chunk of this type before its samples.
bool hasPngChunk(const QByteArray& file, const QByteArray& type) {
    qint64 position = 8;
    while (position + 8 <= file.size()) {
        const QByteArray found = file.mid(static_cast<int>(position) + 4, 4);
        if (found == type)
            return true;
        if (found == "IDAT")
            return false;
        position += 12 + qint64{qFromBigEndian<quint32>(file.constData() + position)};
    }
    return false;
}

bool readFormat(const QByteArray& file, SzFileFormat& format, QString* problem) {
    if (file.size() < 33 || file.mid(12, 4) != "IHDR") {
        *problem = SzPictureText::tr("the PNG header is incomplete");
        return false;
    }
    format.width = qFromBigEndian<quint32>(file.constData() + 16);
    format.height = qFromBigEndian<quint32>(file.constData() + 20);
    const auto bits = static_cast<std::uint8_t>(file.at(24));
    const auto colorType = static_cast<std::uint8_t>(file.at(25));
    const bool hasColorKey = hasPngChunk(file, QByteArrayLiteral("tRNS"));
    format.isColor = (colorType & PNG_COLOR_MASK_COLOR) != 0;
    switch (colorType) {
    case PNG_COLOR_TYPE_GRAY:
        format.channels = 1;
        break;
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        format.channels = 2;
        break;
    case PNG_COLOR_TYPE_PALETTE:
        format.channels = hasColorKey ? 4 : 3;
        break;
    case PNG_COLOR_TYPE_RGB:
        format.channels = 3;
        break;
    case PNG_COLOR_TYPE_RGB_ALPHA:
        format.channels = 4;
        break;
    default:
        *problem = SzPictureText::tr("PNG has no colour type %1").arg(colorType);
        return false;
    }
    if (bits != 8 && bits != 16 && colorType != PNG_COLOR_TYPE_PALETTE) {
        *problem = SzPictureText::tr("%1-bit samples are not supported, only 8 and 16 bits").arg(bits);
        return false;
    }
    if (hasColorKey && colorType != PNG_COLOR_TYPE_PALETTE) {
        *problem = SzPictureText::tr("a transparent colour is not supported, only an alpha channel");
        return false;
    }
    format.dataType = bits == 16 ? EzImageDataType::UInt16 : EzImageDataType::UInt8;
    format.bitDepth = bits == 16 ? 16 : 8;
    constexpr std::uint32_t longestSide = 1000000; // as far as libpng goes
    if (format.width == 0 || format.height == 0 || format.width > longestSide ||
        format.height > longestSide) {
        *problem = SzPictureText::tr("%1 × %2 pixels are not supported, only 1 to %3 each way")
                       .arg(format.width)
                       .arg(format.height)
                       .arg(longestSide);
        return false;
    }
    // Of a palette's picture a byte may hold eight pixels, and each becomes four samples.
    const std::uint32_t ratio = colorType == PNG_COLOR_TYPE_PALETTE ? highestRatio * 32 : highestRatio;
    if (!isPlausible(format.bytes(), static_cast<std::uint64_t>(file.size()), ratio)) {
        *problem = SzPictureText::tr("the file is too short for %1 × %2 pixels")
                       .arg(format.width)
                       .arg(format.height);
        return false;
    }
    return true;
}

class PngReader : public CzOnePageReader {
    bool readFormat(QString* problem) override { return ::readFormat(m_file, m_format, problem); }

    std::unique_ptr<CzImageData> decode(const SzSidecar& sidecar, QString* problem) override {
        std::unique_ptr<CzImageData> frame = makeFrame(m_format, sidecar, problem);
        if (!frame)
            return nullptr;
        const std::size_t rowBytes = m_format.bytes() / m_format.height;
        // Not touched before it is used: a file that claims too much fails before it takes memory.
        const std::unique_ptr<std::uint8_t, decltype(&std::free)> samples(
            static_cast<std::uint8_t*>(std::calloc(m_format.height, rowBytes)), &std::free);
        if (!samples) {
            *problem =
                SzPictureText::tr("no memory for %1 × %2 pixels").arg(m_format.width).arg(m_format.height);
            return nullptr;
        }
        std::vector<png_bytep> rows;
        for (std::size_t y = 0; y < m_format.height; ++y)
            rows.push_back(samples.get() + y * rowBytes);
        PngInput input{m_file.constData(), static_cast<std::size_t>(m_file.size()), 0, {}};
        if (!::decode(input, rows.data(), rowBytes)) {
            *problem = QString::fromLocal8Bit(input.message);
            return nullptr;
        }
        for (std::uint32_t y = 0; y < m_format.height; ++y)
            storePixels(frame->picBuf(), 0, y, m_format.width, rows[y]);
        return frame;
    }
};

} // namespace

std::unique_ptr<CzPictureReader> openPng(const QString& path, QString* problem) {
    auto reader = std::make_unique<PngReader>();
    return reader->open(path, problem) ? std::move(reader) : nullptr;
}
