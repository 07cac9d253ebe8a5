// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFTImageData.h"
#include "PicBufAPI.h"
#include "PictureTestFiles.h"

#include <QDir>
#include <QFile>
#include <QImage>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <tiffio.h>

#include <array>
#include <cmath>
#include <csignal>
#include <limits>

using testing::HasSubstr;

namespace {

constexpr auto interleaved = EzDataStorageFormat::Interleaved;
constexpr auto planar = EzDataStorageFormat::Planar;

double patternValue(EzImageDataType dataType, std::uint32_t channel, std::uint32_t x, std::uint32_t y) {
    const double value = 3 + x * 11 + y * 17 + channel * 41;
    switch (dataType) {
    case EzImageDataType::UInt8:
        return static_cast<std::uint8_t>(value);
    case EzImageDataType::UInt16:
        return 65535 - value;
    case EzImageDataType::UInt32:
        return 4294967295.0 - value;
    default:
        return value / 16 - 20;
    }
}

SzPicBufInfo makeFormat(std::uint32_t width, std::uint32_t height, std::uint32_t channels,
                        EzImageDataType dataType, EzDataStorageFormat storage = interleaved) {
    SzPicBufInfo format;
    format.width = width;
    format.height = height;
    format.channels = channels;
    format.dataType = dataType;
    format.storageFormat = storage;
    format.bitDepth = 8 * bytesPerSample(dataType);
    format.linePitch = static_cast<std::uint32_t>(packedLineBytes(format));
    return format;
}

std::unique_ptr<CzImageData> patternPicture(const SzPicBufInfo& format) {
    auto frame = makePicture(
        format, [&](auto channel, auto x, auto y) { return patternValue(format.dataType, channel, x, y); });
    SzPicBuf& picture = frame->picBuf();
    if (format.dataType == EzImageDataType::Float32 || format.dataType == EzImageDataType::SpectrumFloat32)
        CzPicBufAPI::CalcFloatDataMinMax(picture, picture.floatMin, picture.floatMax, false);
    return frame;
}

/// Reads a written picture with the sidecar that was written beside it.
std::unique_ptr<CzImageData> readBack(const QString& path, int page = 0) {
    SzSidecar sidecar;
    QString error;
    QStringList warnings;
    EXPECT_TRUE(readSidecar(sidecarPath(path), sidecar, &error, &warnings)) << qPrintable(error);
    auto frame = readPage(path, page, sidecar, &error);
    EXPECT_TRUE(frame) << qPrintable(error);
    return frame;
}

void expectSamePixels(const SzPicBuf& actual, const SzPicBuf& expected) {
    for (std::uint32_t channel = 0; channel < expected.channels; ++channel)
        for (std::uint32_t y = 0; y < expected.height; ++y)
            for (std::uint32_t x = 0; x < expected.width; ++x)
                ASSERT_EQ(sampleAt(actual, channel, x, y), sampleAt(expected, channel, x, y))
                    << "channel " << channel << " of " << x << ", " << y;
}

void expectSamePicture(const CzImageData& actual, const CzImageData& expected) {
    ASSERT_TRUE(actual.picBuf() == expected.picBuf()) << "the formats differ";
    EXPECT_EQ(actual.picBuf().floatMin, expected.picBuf().floatMin);
    EXPECT_EQ(actual.picBuf().floatMax, expected.picBuf().floatMax);
    EXPECT_TRUE(actual.imageMetadata() == expected.imageMetadata());
    expectSamePixels(actual.picBuf(), expected.picBuf());
}

class PictureWriting : public testing::Test {
protected:
    PictureFolder m_folder;
};

TEST_F(PictureWriting, TiffsAndTheirSidecarsGiveThePictureBack) {
    const QString path = m_folder.path("a.tif");
    for (const auto dataType : {EzImageDataType::UInt8, EzImageDataType::UInt16, EzImageDataType::UInt32,
                                EzImageDataType::Float32, EzImageDataType::SpectrumFloat32})
        for (const auto storage : {interleaved, planar})
            for (const std::uint32_t channels : {1U, 2U, 3U, 4U, 7U})
                for (const bool isColor : {false, true})
                    for (const std::uint32_t padding : {0U, 12U})
                        for (const auto& [width, height] : {std::pair{1U, 1U}, {13U, 9U}}) {
                            SCOPED_TRACE(testing::Message()
                                         << static_cast<int>(dataType) << ", " << channels
                                         << " channels, storage " << static_cast<int>(storage) << ", padding "
                                         << padding);
                            SzPicBufInfo format = makeFormat(width, height, channels, dataType, storage);
                            format.linePitch += padding;
                            format.isColor = isColor;
                            format.bitDepth = 5;
                            const auto frame = patternPicture(format);
                            QString error;
                            ASSERT_TRUE(writePicture(path, EzPictureFormat::Tiff, *frame, &error))
                                << qPrintable(error);
                            const auto back = readBack(path);
                            ASSERT_TRUE(back);
                            expectSamePicture(*back, *frame);
                        }
}

TEST_F(PictureWriting, PngsAndTheirSidecarsGiveThePictureBack) {
    const QString path = m_folder.path("a.png");
    for (const auto dataType : {EzImageDataType::UInt8, EzImageDataType::UInt16})
        for (const std::uint32_t channels : {1U, 3U, 4U})
            for (const bool isColor : {false, true})
                for (const std::uint32_t padding : {0U, 6U})
                    for (const auto& [width, height] : {std::pair{1U, 1U}, {13U, 9U}}) {
                        SCOPED_TRACE(testing::Message() << static_cast<int>(dataType) << ", " << channels
                                                        << " channels, colour " << isColor);
                        SzPicBufInfo format = makeFormat(width, height, channels, dataType);
                        format.linePitch += padding;
                        format.isColor = isColor;
                        format.colorFilterArray = EzColorFilterArray::BayerBGGR;
                        const auto frame = patternPicture(format);
                        QString error;
                        ASSERT_TRUE(writePicture(path, EzPictureFormat::Png, *frame, &error))
                            << qPrintable(error);
                        const auto back = readBack(path);
                        ASSERT_TRUE(back);
                        expectSamePicture(*back, *frame);
                    }
}

TEST_F(PictureWriting, PngKeepsColourUnderAFourthSampleOfZero) {
    const QString path = m_folder.path("a.png");
    const SzPicBufInfo format = makeFormat(5, 1, 4, EzImageDataType::UInt16);
    const auto frame = makePicture(
        format, [](auto channel, auto x, auto) { return channel == 3 ? 0 : 1000 * (x + channel); });
    ASSERT_TRUE(writePicture(path, EzPictureFormat::Png, *frame, nullptr));
    expectSamePixels(readBack(path)->picBuf(), frame->picBuf());
}

TEST_F(PictureWriting, ColourFilesHoldRedFirst) {
    SzPicBufInfo format = makeFormat(2, 1, 3, EzImageDataType::UInt8);
    format.isColor = true;
    const auto frame = makePicture(format, [](auto channel, auto, auto) { return 10 * (channel + 1); });
    const QString png = m_folder.path("a.png");
    ASSERT_TRUE(writePicture(png, EzPictureFormat::Png, *frame, nullptr));
    EXPECT_EQ(QImage(png).pixel(1, 0), qRgb(30, 20, 10));

    const QString path = m_folder.path("a.tif");
    ASSERT_TRUE(writePicture(path, EzPictureFormat::Tiff, *frame, nullptr));
    TIFF* tiff = TIFFOpen(QFile::encodeName(path).constData(), "r");
    ASSERT_TRUE(tiff);
    std::uint16_t photometric = 0;
    TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric);
    EXPECT_EQ(photometric, PHOTOMETRIC_RGB);
    std::array<std::uint8_t, 6> line{};
    EXPECT_EQ(TIFFReadScanline(tiff, line.data(), 0, 0), 1);
    EXPECT_EQ(line, (std::array<std::uint8_t, 6>{30, 20, 10, 30, 20, 10}));
    TIFFClose(tiff);
}

TEST_F(PictureWriting, PlanarPicturesStayPlanarInTiff) {
    const QString path = m_folder.path("a.tif");
    ASSERT_TRUE(writePicture(path, EzPictureFormat::Tiff,
                             *patternPicture(makeFormat(4, 3, 2, EzImageDataType::UInt16, planar)), nullptr));
    TIFF* tiff = TIFFOpen(QFile::encodeName(path).constData(), "r");
    ASSERT_TRUE(tiff);
    std::uint16_t config = 0;
    TIFFGetField(tiff, TIFFTAG_PLANARCONFIG, &config);
    EXPECT_EQ(config, PLANARCONFIG_SEPARATE);
    TIFFClose(tiff);
}

TEST_F(PictureWriting, TheSensorComesBack) {
    SzPicBufInfo format = makeFormat(4, 2, 1, EzImageDataType::UInt16);
    format.colorFilterArray = EzColorFilterArray::None;
    const auto frame = patternPicture(format);
    CzImageMetadata metadata;
    metadata.colorFilterArray = EzColorFilterArray::Hyperspectral;
    metadata.mosaicName = QStringLiteral("2 × 1");
    CzHsiCameraParams::CzFilterZone zone;
    zone.cellWidth = 2;
    zone.cellHeight = 1;
    zone.blockWidth = 1;
    zone.blockHeight = 1;
    zone.right = 3;
    zone.bottom = 1;
    zone.bands = {CzHsiCameraParams::CzBand(QStringLiteral("a"), 500),
                  CzHsiCameraParams::CzBand(QStringLiteral("b"), 510.25)};
    metadata.hsiCameraParams.zones = {zone};
    frame->setImageMetadata(metadata);
    const QString path = m_folder.path("a.tif");
    ASSERT_TRUE(writePicture(path, EzPictureFormat::Tiff, *frame, nullptr));
    expectSamePicture(*readBack(path), *frame);
}

TEST_F(PictureWriting, InfiniteFloatsComeBack) {
    const auto frame = patternPicture(makeFormat(3, 2, 1, EzImageDataType::Float32));
    SzPicBuf& picture = frame->picBuf();
    setSample(picture, 0, 0, 0, -std::numeric_limits<double>::infinity());
    setSample(picture, 0, 1, 0, std::numeric_limits<double>::infinity());
    setSample(picture, 0, 2, 1, std::numeric_limits<double>::quiet_NaN());
    CzPicBufAPI::CalcFloatDataMinMax(picture, picture.floatMin, picture.floatMax, false);
    const QString path = m_folder.path("a.tif");
    ASSERT_TRUE(writePicture(path, EzPictureFormat::Tiff, *frame, nullptr));
    const auto back = readBack(path);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->picBuf().floatMin, picture.floatMin);
    EXPECT_EQ(back->picBuf().floatMax, picture.floatMax);
    EXPECT_EQ(sampleAt(back->picBuf(), 0, 0, 0), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(sampleAt(back->picBuf(), 0, 2, 1)));
}

TEST_F(PictureWriting, ASpectrumBecomesTwoPages) {
    const SzPicBufInfo format = makeFormat(5, 4, 1, EzImageDataType::SpectrumFloat32);
    CzFFTImageData spectrum;
    for (const bool isReal : {true, false}) {
        SzPicBuf part;
        part.setPicFormat(format);
        ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(part, format, true));
        for (std::uint32_t y = 0; y < 4; ++y)
            for (std::uint32_t x = 0; x < 5; ++x)
                setSample(part, 0, x, y, (isReal ? 1 : -1) * (x + 0.5 * y));
        if (isReal)
            spectrum.setPicBuf(part);
        else
            ASSERT_TRUE(spectrum.setPicBufIm(part));
    }
    const QString path = m_folder.path("a.tif");
    QString error;
    ASSERT_TRUE(writePicture(path, EzPictureFormat::Tiff, spectrum, &error)) << qPrintable(error);
    EXPECT_EQ(CzPictureReader::open(path, nullptr)->pageCount(), 2);
    const auto real = readBack(path, 0);
    const auto imaginary = readBack(path, 1);
    EXPECT_EQ(real->picBuf().dataType, EzImageDataType::SpectrumFloat32);
    expectSamePixels(real->picBuf(), spectrum.picBuf());
    expectSamePixels(imaginary->picBuf(), spectrum.picBufIm());
    EXPECT_FALSE(writePicture(m_folder.path("a.png"), EzPictureFormat::Png, spectrum, &error));
}

TEST_F(PictureWriting, SeveralPicturesBecomeThePagesOfATiff) {
    const QString path = m_folder.path("a.tif");
    std::vector<std::unique_ptr<CzImageData>> frames;
    QVector<const CzImageData*> pages;
    for (int page = 0; page < 3; ++page) {
        frames.push_back(makePicture(makeFormat(3, 2, 1, EzImageDataType::UInt16),
                                     [&](auto, auto x, auto y) { return 1000 * page + x + 10 * y; }));
        frames.back()->picBuf().frameNo = page + 1;
        pages.append(frames.back().get());
    }
    QString error;
    ASSERT_TRUE(writePictures(path, pages, &error)) << qPrintable(error);
    const auto reader = CzPictureReader::open(path, &error);
    ASSERT_TRUE(reader) << qPrintable(error);
    ASSERT_EQ(reader->pageCount(), 3);
    for (int page = 0; page < 3; ++page)
        expectSamePicture(*readBack(path, page), *frames[static_cast<std::size_t>(page)]);
}

TEST_F(PictureWriting, PagesOfDifferentFormatsAreRefused) {
    const auto first = patternPicture(makeFormat(3, 2, 1, EzImageDataType::UInt16));
    const auto second = patternPicture(makeFormat(3, 3, 1, EzImageDataType::UInt16));
    QString error;
    EXPECT_FALSE(writePictures(m_folder.path("a.tif"), {first.get(), second.get()}, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("a.tif: picture 2 is not of the first one's format"));
    EXPECT_FALSE(writePictures(m_folder.path("a.tif"), {}, &error));
    EXPECT_EQ(QDir(m_folder.folder()).entryList(QDir::Files), QStringList());
}

TEST_F(PictureWriting, WhatAFormatCannotHoldIsRefused) {
    const auto sentence = [&](EzPictureFormat file, const SzPicBufInfo& format) {
        QString error;
        EXPECT_FALSE(writePicture(m_folder.path("a"), file, *patternPicture(format), &error));
        return error.toStdString();
    };
    using Type = EzImageDataType;
    EXPECT_THAT(sentence(EzPictureFormat::Png, makeFormat(2, 2, 1, Type::UInt32)), HasSubstr("data type 6"));
    EXPECT_THAT(sentence(EzPictureFormat::Png, makeFormat(2, 2, 1, Type::Float32)), HasSubstr("data type 7"));
    EXPECT_THAT(sentence(EzPictureFormat::Png, makeFormat(2, 2, 2, Type::UInt8)), HasSubstr("not 2 of"));
    EXPECT_THAT(sentence(EzPictureFormat::Png, makeFormat(2, 2, 5, Type::UInt8)), HasSubstr("not 5 of"));
    EXPECT_THAT(sentence(EzPictureFormat::Png, makeFormat(2, 2, 3, Type::UInt8, planar)),
                HasSubstr("not 3 planar ones"));
    QString error;
    EXPECT_FALSE(writePicture(m_folder.path("a"), EzPictureFormat::Tiff, CzImageData(), &error));
    SzPicBufInfo doubles = makeFormat(2, 2, 1, Type::UInt16);
    doubles.dataType = Type::Float64;
    doubles.linePitch = 16;
    SzPicBuf picture;
    picture.setPicFormat(doubles);
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, doubles, true));
    CzImageData frame;
    frame.setPicBuf(picture);
    EXPECT_FALSE(writePicture(m_folder.path("a"), EzPictureFormat::Tiff, frame, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("data type 8"));
    EXPECT_EQ(QDir(m_folder.folder()).entryList(QDir::Files), QStringList());
}

TEST_F(PictureWriting, APathThatCannotBeWrittenGivesASentence) {
    m_folder.write("file", "x");
    const auto frame = patternPicture(makeFormat(2, 2, 1, EzImageDataType::UInt8));
    for (const auto format : {EzPictureFormat::Tiff, EzPictureFormat::Png}) {
        QString error;
        EXPECT_FALSE(writePicture(m_folder.path("file/a.tif"), format, *frame, &error));
        EXPECT_THAT(error.toStdString(), HasSubstr("file/a.tif: "));
        EXPECT_FALSE(writePicture(m_folder.path("missing/a.tif"), format, *frame, nullptr));
    }
}

TEST_F(PictureWriting, ASidecarThatCannotBeWrittenLeavesThePictureAsItWas) {
    const QString path = m_folder.write("a.tif", "old");
    ASSERT_TRUE(QDir(m_folder.folder()).mkdir("a.tif.json"));
    QString error;
    EXPECT_FALSE(writePicture(path, EzPictureFormat::Tiff,
                              *patternPicture(makeFormat(2, 2, 1, EzImageDataType::UInt8)), &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("a.tif.json: "));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "old");
}

TEST_F(PictureWriting, WhatIsToBeKeptIsNotReplaced) {
    const auto frame = patternPicture(makeFormat(2, 2, 1, EzImageDataType::UInt8));
    for (const auto& [name, format] :
         {std::pair{"a.tif", EzPictureFormat::Tiff}, {"a.png", EzPictureFormat::Png}}) {
        const QString path = m_folder.path(name);
        QString error;
        ASSERT_TRUE(writePicture(path, format, *frame, &error, EzExistingFile::Keep)) << qPrintable(error);
        expectSamePicture(*readBack(path), *frame);
        m_folder.write(name, "other");
        ASSERT_TRUE(QFile::remove(sidecarPath(path)));
        EXPECT_FALSE(writePicture(path, format, *frame, &error, EzExistingFile::Keep));
        EXPECT_THAT(error.toStdString(), HasSubstr(std::string(name) + ": "));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), "other");
    }
    EXPECT_EQ(QDir(m_folder.folder()).entryList(QDir::Files), QStringList({"a.png", "a.tif"}));
}

TEST_F(PictureWriting, ADescriptionThatIsToBeKeptKeepsThePictureAway) {
    m_folder.write("a.tif.json", "other");
    QString error;
    EXPECT_FALSE(writePicture(m_folder.path("a.tif"), EzPictureFormat::Tiff,
                              *patternPicture(makeFormat(2, 2, 1, EzImageDataType::UInt8)), &error,
                              EzExistingFile::Keep));
    EXPECT_THAT(error.toStdString(), HasSubstr("a.tif.json: "));
    EXPECT_EQ(QDir(m_folder.folder()).entryList(QDir::Files), QStringList("a.tif.json"));
}

TEST_F(PictureWriting, AFullDiskLeavesWhatWasThere) {
    const QString path = m_folder.write("a.tif", "old");
    const auto frame = patternPicture(makeFormat(300, 300, 1, EzImageDataType::UInt16));
    // The kernel's limit on file sizes fails a write as a full disk does.
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit small = before;
    small.rlim_cur = 10000;
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    QString error;
    const bool written = writePicture(path, EzPictureFormat::Tiff, *frame, &error);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(written);
    EXPECT_THAT(error.toStdString(), HasSubstr("a.tif: "));
    EXPECT_EQ(QDir(m_folder.folder()).entryList(QDir::Files), QStringList("a.tif"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "old");
}

} // namespace
