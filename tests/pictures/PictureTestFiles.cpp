// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureTestFiles.h"

#include "PicBufAPI.h"

#include <QFile>
#include <QtEndian>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

QString PictureFolder::write(const QString& name, const QByteArray& bytes) const {
    QFile file(path(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(file.write(bytes), bytes.size());
    return file.fileName();
}

std::unique_ptr<CzImageData> readPage(const QString& path, int page, const SzSidecar& sidecar,
                                      QString* error) {
    const std::unique_ptr<CzPictureReader> reader = CzPictureReader::open(path, error);
    return reader ? reader->read(page, sidecar, error) : nullptr;
}

QString refusal(const QString& path) {
    QString error;
    const auto frame = readPage(path, 0, {}, &error);
    EXPECT_EQ(frame == nullptr, !error.isEmpty()) << qPrintable(path) << ": " << qPrintable(error);
    return error;
}

namespace {

std::uint8_t* sampleAddress(const SzPicBuf& picture, std::uint32_t channel, std::uint32_t x,
                            std::uint32_t y) {
    const std::size_t bytes = bytesPerSample(picture.dataType);
    if (picture.storageFormat == EzDataStorageFormat::Planar) {
        std::uint8_t* plane = picture.data + std::size_t{channel} * picture.height * picture.linePitch;
        return plane + std::size_t{y} * picture.linePitch + x * bytes;
    }
    std::uint8_t* line = picture.data + std::size_t{y} * picture.linePitch;
    return line + std::size_t{x} * picture.channels * bytes + channel * bytes;
}

template <class T>
double load(const std::uint8_t* address) {
    T value;
    std::memcpy(&value, address, sizeof value);
    return static_cast<double>(value);
}

template <class T>
void save(std::uint8_t* address, double number) {
    const T value = static_cast<T>(number);
    std::memcpy(address, &value, sizeof value);
}

std::uint32_t crc32(const QByteArray& bytes) {
    std::uint32_t crc = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    return ~crc;
}

QByteArray bigEndian(std::uint32_t value) {
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

template <class T>
void appendLittleEndian(QByteArray& bytes, T value) {
    QByteArray number(sizeof value, '\0');
    qToLittleEndian(value, number.data());
    bytes += number;
}

} // namespace

double sampleAt(const SzPicBuf& picture, std::uint32_t channel, std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* address = sampleAddress(picture, channel, x, y);
    switch (picture.dataType) {
    case EzImageDataType::UInt8:
        return load<std::uint8_t>(address);
    case EzImageDataType::UInt16:
        return load<std::uint16_t>(address);
    case EzImageDataType::UInt32:
        return load<std::uint32_t>(address);
    default:
        return load<float>(address);
    }
}

void setSample(SzPicBuf& picture, std::uint32_t channel, std::uint32_t x, std::uint32_t y, double value) {
    std::uint8_t* address = sampleAddress(picture, channel, x, y);
    switch (picture.dataType) {
    case EzImageDataType::UInt8:
        return save<std::uint8_t>(address, value);
    case EzImageDataType::UInt16:
        return save<std::uint16_t>(address, value);
    case EzImageDataType::UInt32:
        return save<std::uint32_t>(address, value);
    default:
        return save<float>(address, value);
    }
}

std::unique_ptr<CzImageData>
makePicture(const SzPicBufInfo& format,
            const std::function<double(std::uint32_t channel, std::uint32_t x, std::uint32_t y)>& value) {
    SzPicBuf picture;
    picture.setPicFormat(format);
    EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, format, true));
    for (std::uint32_t channel = 0; channel < format.channels; ++channel)
        for (std::uint32_t y = 0; y < format.height; ++y)
            for (std::uint32_t x = 0; x < format.width; ++x)
                setSample(picture, channel, x, y, value(channel, x, y));
    auto frame = std::make_unique<CzImageData>();
    frame->setPicBuf(picture);
    CzImageMetadata metadata;
    metadata.colorFilterArray = format.colorFilterArray;
    frame->setImageMetadata(metadata);
    return frame;
}

QByteArray pngChunk(const QByteArray& type, const QByteArray& data) {
    return bigEndian(static_cast<std::uint32_t>(data.size())) + type + data + bigEndian(crc32(type + data));
}

QByteArray pngFile(std::uint32_t width, const std::vector<QByteArray>& lines, int bits, int colorType,
                   const QByteArray& extraChunks) {
    QByteArray samples;
    for (const QByteArray& line : lines)
        samples += '\0' + line;
    QByteArray header = bigEndian(width) + bigEndian(static_cast<std::uint32_t>(lines.size()));
    header.append(static_cast<char>(bits)).append(static_cast<char>(colorType)).append(3, '\0');
    return QByteArrayLiteral("\x89PNG\r\n\x1a\n") + pngChunk("IHDR", header) + extraChunks +
           pngChunk("IDAT", qCompress(samples).mid(4)) + pngChunk("IEND", {});
}

QByteArray tiffFile(std::vector<TiffTag> tags, const QByteArray& strip) {
    constexpr std::uint16_t stripOffsets = 273;
    constexpr std::uint16_t stripByteCounts = 279;
    tags.push_back({stripOffsets, 4, 8});
    tags.push_back({stripByteCounts, 4, static_cast<std::uint32_t>(strip.size())});
    std::sort(tags.begin(), tags.end(),
              [](const TiffTag& a, const TiffTag& b) { return a.number < b.number; });
    QByteArray padded = strip;
    if (padded.size() % 2 != 0)
        padded += '\0';
    QByteArray file = QByteArrayLiteral("II\x2a\0");
    appendLittleEndian(file, static_cast<std::uint32_t>(8 + padded.size()));
    file += padded;
    appendLittleEndian(file, static_cast<std::uint16_t>(tags.size()));
    for (const TiffTag& tag : tags) {
        appendLittleEndian(file, tag.number);
        appendLittleEndian(file, tag.type);
        appendLittleEndian(file, std::uint32_t{1});
        appendLittleEndian(file, tag.value);
    }
    appendLittleEndian(file, std::uint32_t{0});
    return file;
}
