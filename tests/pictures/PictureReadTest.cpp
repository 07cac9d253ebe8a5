// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureTestFiles.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tiffio.h>

#include <array>
#include <cstdio>
#include <tuple>

using testing::HasSubstr;

namespace {

std::vector<double> allSamples(const SzPicBuf& picture) {
    std::vector<double> samples;
    for (std::uint32_t y = 0; y < picture.height; ++y)
        for (std::uint32_t x = 0; x < picture.width; ++x)
            for (std::uint32_t channel = 0; channel < picture.channels; ++channel)
                samples.push_back(sampleAt(picture, channel, x, y));
    return samples;
}

using Samples = std::vector<double>;

std::vector<TiffTag> greyTags(std::uint32_t width, std::uint32_t height, std::uint32_t bits) {
    return {{256, 4, width}, {257, 4, height}, {258, 3, bits},  {259, 3, 1},
            {262, 3, 1},     {277, 3, 1},      {278, 4, height}};
}

QByteArray imageFile(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    EXPECT_TRUE(image.save(&buffer, format, 95));
    return bytes;
}

class PictureReading : public testing::Test {
protected:
    PictureFolder m_folder;

    std::string refusalOf(const QByteArray& bytes) {
        return refusal(m_folder.write(QStringLiteral("file"), bytes)).toStdString();
    }
};

// ---- PNM ----

TEST_F(PictureReading, PgmGivesItsSamplesInPackedRows) {
    const auto frame = readPage(m_folder.write("a.pgm", "P5\n3 2\n255\n\x01\x02\x03\x04\x05\xff"));
    ASSERT_TRUE(frame);
    const SzPicBuf& picture = frame->picBuf();
    EXPECT_EQ(picture.width, 3U);
    EXPECT_EQ(picture.height, 2U);
    EXPECT_EQ(picture.linePitch, 3U);
    EXPECT_EQ(picture.channels, 1U);
    EXPECT_EQ(picture.dataType, EzImageDataType::UInt8);
    EXPECT_EQ(picture.storageFormat, EzDataStorageFormat::Interleaved);
    EXPECT_EQ(picture.bitDepth, 8U);
    EXPECT_EQ(picture.frameNo, 0);
    EXPECT_FALSE(picture.isColor);
    EXPECT_EQ(allSamples(picture), (Samples{1, 2, 3, 4, 5, 255}));
}

TEST_F(PictureReading, SixteenBitPgmIsBigEndianAndItsMaximumGivesTheBitDepth) {
    const auto frame = readPage(m_folder.write("a.pgm", QByteArray("P5 2 1 4095\n\x0f\xff\x01\x02", 16)));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->picBuf().dataType, EzImageDataType::UInt16);
    EXPECT_EQ(frame->picBuf().bitDepth, 12U);
    EXPECT_EQ(allSamples(frame->picBuf()), (Samples{4095, 258}));
}

TEST_F(PictureReading, BitDepthCoversAnyPnmMaximum) {
    for (const auto& [maximum, depth] :
         {std::pair{1, 1U}, {15, 4U}, {16, 5U}, {255, 8U}, {256, 9U}, {65535, 16U}}) {
        const auto frame =
            readPage(m_folder.write("a.pgm", QByteArray("P2 1 1 ") + QByteArray::number(maximum) + " 1\n"));
        ASSERT_TRUE(frame) << maximum;
        EXPECT_EQ(frame->picBuf().bitDepth, depth) << maximum;
    }
}

TEST_F(PictureReading, TheSidecarsBitDepthBeatsThePnmMaximum) {
    SzSidecar sidecar;
    sidecar.bitDepth = 10;
    const auto frame = readPage(m_folder.write("a.pgm", "P2 1 1 4095 7\n"), 0, sidecar);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->picBuf().bitDepth, 10U);
}

TEST_F(PictureReading, PpmIsColourAndBlueComesFirstInMemory) {
    for (const QByteArray& bytes :
         {QByteArray("P6 2 1 255\n\x01\x02\x03\x04\x05\x06"), QByteArray("P3 2 1 255\n1 2 3 4 5 6\n")}) {
        QString error;
        const auto frame = readPage(m_folder.write("a.ppm", bytes), 0, {}, &error);
        ASSERT_TRUE(frame) << qPrintable(error);
        EXPECT_TRUE(frame->picBuf().isColor);
        EXPECT_EQ(frame->picBuf().channels, 3U);
        EXPECT_EQ(allSamples(frame->picBuf()), (Samples{3, 2, 1, 6, 5, 4}));
    }
}

TEST_F(PictureReading, WithoutColourTheSamplesKeepFileOrder) {
    SzSidecar sidecar;
    sidecar.isColor = false;
    const auto frame = readPage(m_folder.write("a.ppm", "P3 2 1 4095\n1 2 3 4 5 4000\n"), 0, sidecar);
    ASSERT_TRUE(frame);
    EXPECT_FALSE(frame->picBuf().isColor);
    EXPECT_EQ(allSamples(frame->picBuf()), (Samples{1, 2, 3, 4, 5, 4000}));
}

TEST_F(PictureReading, RawPicturesOneAfterAnotherArePages) {
    const QString path =
        m_folder.write("a.pnm", QByteArray("P5 1 1 255\n\x07P5 2 1 255\n\x08\x09P6 1 1 255\n\x01\x02\x03\n"));
    const auto reader = CzPictureReader::open(path, nullptr);
    ASSERT_TRUE(reader);
    ASSERT_EQ(reader->pageCount(), 3);
    EXPECT_EQ(allSamples(reader->read(2, {}, nullptr)->picBuf()), (Samples{3, 2, 1}));
    EXPECT_EQ(allSamples(reader->read(0, {}, nullptr)->picBuf()), (Samples{7}));
    EXPECT_EQ(allSamples(reader->read(1, {}, nullptr)->picBuf()), (Samples{8, 9}));
    QString error;
    EXPECT_FALSE(reader->read(3, {}, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("page 4"));
}

TEST_F(PictureReading, ABrokenPnmPageLeavesTheOnesBeforeIt) {
    const auto reader =
        CzPictureReader::open(m_folder.write("a.pgm", "P5 1 1 255\n\x07P5 20 10 255\n\x08\x09"), nullptr);
    ASSERT_TRUE(reader);
    ASSERT_EQ(reader->pageCount(), 2);
    EXPECT_EQ(allSamples(reader->read(0, {}, nullptr)->picBuf()), (Samples{7}));
    QString error;
    EXPECT_FALSE(reader->read(1, {}, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("page 2: the file is too short for 20 × 10 pixels"));
}

TEST_F(PictureReading, BitmapsAndArbitraryMapsAreRefused) {
    EXPECT_THAT(refusalOf("P4 8 1\n\x55"), HasSubstr("P4 is not supported"));
    EXPECT_THAT(refusalOf("P1 1 1 1"), HasSubstr("P1 is not supported"));
    EXPECT_THAT(refusalOf("P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nMAXVAL 255\nENDHDR\n\x01"),
                HasSubstr("P7 is not supported"));
}

TEST_F(PictureReading, PnmThatIsTooShortOrWrongIsRefused) {
    EXPECT_THAT(refusalOf("P5 65536 32768 255\n\x01"), HasSubstr("too short for 65536 × 32768 pixels"));
    EXPECT_THAT(refusalOf("P2 40000 40000 255\n1 2 3\n"), HasSubstr("too short"));
    EXPECT_NE(refusalOf("P5 0 0 255\n"), "");
    EXPECT_NE(refusalOf("P5 1 1 0\n\x01"), "");
    EXPECT_NE(refusalOf("P5 1 1 65536\n\x01\x01\x01\x01"), "");
    EXPECT_NE(refusalOf("P5 2147483647 2147483647 255\n"), "");
    EXPECT_NE(refusalOf("P5 99999999999999999999 1 255\n"), "");
    EXPECT_NE(refusalOf("P2 2 1 255\n1 x\n"), "");
    EXPECT_NE(refusalOf("P2 2 1 255\n1 25"), ""); // may have been 255
}

// ---- TIFF ----

TEST_F(PictureReading, HandMadeTiffGivesItsSamples) {
    const QByteArray strip("\x01\x00\x02\x10\xff\x0f\x00\x80", 8);
    const auto frame = readPage(m_folder.write("a.tif", tiffFile(greyTags(2, 2, 16), strip)));
    ASSERT_TRUE(frame);
    const SzPicBuf& picture = frame->picBuf();
    EXPECT_EQ(picture.dataType, EzImageDataType::UInt16);
    EXPECT_EQ(picture.bitDepth, 16U);
    EXPECT_EQ(picture.linePitch, 4U);
    EXPECT_EQ(allSamples(picture), (Samples{1, 0x1002, 0x0fff, 0x8000}));
}

TEST_F(PictureReading, WhiteAsZeroStaysAsTheSamplesAre) {
    auto tags = greyTags(2, 1, 8);
    tags[4].value = 0;
    const auto frame = readPage(m_folder.write("a.tif", tiffFile(tags, "\x05\xfa")));
    ASSERT_TRUE(frame);
    EXPECT_EQ(allSamples(frame->picBuf()), (Samples{5, 250}));
}

TEST_F(PictureReading, TiffOfSamplesThatCannotBeHeldIsRefused) {
    const QByteArray strip(64, '\1');
    for (const int bits : {1, 2, 4, 12, 24, 64}) {
        const std::string sentence =
            refusalOf(tiffFile(greyTags(2, 2, static_cast<std::uint32_t>(bits)), strip));
        EXPECT_THAT(sentence, HasSubstr(std::to_string(bits) + "-bit samples are not supported"));
        EXPECT_THAT(sentence, HasSubstr("page 1"));
    }
    const auto withFormat = [&](std::uint32_t bits, std::uint32_t sampleFormat) {
        auto tags = greyTags(2, 2, bits);
        tags.push_back({339, 3, sampleFormat});
        return refusalOf(tiffFile(tags, strip));
    };
    EXPECT_THAT(withFormat(16, 2), HasSubstr("16-bit signed samples"));
    EXPECT_THAT(withFormat(64, 3), HasSubstr("64-bit floating-point samples"));
    EXPECT_THAT(withFormat(16, 3), HasSubstr("16-bit floating-point samples"));
    EXPECT_THAT(withFormat(32, 5), HasSubstr("complex samples"));
    EXPECT_THAT(withFormat(64, 6), HasSubstr("complex samples"));
}

TEST_F(PictureReading, TiffColoursThatCannotBeHeldAreRefused) {
    const QByteArray strip(64, '\1');
    const auto withPhotometric = [&](std::uint32_t photometric) {
        auto tags = greyTags(2, 2, 8);
        tags[4].value = photometric;
        tags[5].value = 3;
        return refusalOf(tiffFile(tags, strip));
    };
    EXPECT_THAT(withPhotometric(4), HasSubstr("mask"));
    EXPECT_THAT(withPhotometric(6), HasSubstr("YCbCr"));
    EXPECT_THAT(withPhotometric(8), HasSubstr("L*a*b*"));

    const QString palettePath = m_folder.path("palette.tif");
    TIFF* tiff = TIFFOpen(QFile::encodeName(palettePath).constData(), "w");
    ASSERT_TRUE(tiff);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 2);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE);
    std::array<std::uint16_t, 256> ramp{};
    TIFFSetField(tiff, TIFFTAG_COLORMAP, ramp.data(), ramp.data(), ramp.data());
    std::array<std::uint8_t, 2> line{};
    ASSERT_EQ(TIFFWriteScanline(tiff, line.data(), 0, 0), 1);
    TIFFClose(tiff);
    EXPECT_THAT(refusal(palettePath).toStdString(), HasSubstr("palette"));

    auto tags = greyTags(2, 2, 8);
    tags[3].value = 34925; // LZMA that is none
    EXPECT_NE(refusalOf(tiffFile(tags, strip)), "");
    tags[3].value = 54321;
    EXPECT_THAT(refusalOf(tiffFile(tags, strip)), HasSubstr("compression scheme 54321"));
}

TEST_F(PictureReading, SmallTiffThatClaimsToBeHugeIsRefused) {
    for (const std::uint32_t compression : {1U, 5U, 8U, 32773U, 50000U}) {
        auto tags = greyTags(65536, 32768, 8);
        tags[3].value = compression;
        const std::string sentence = refusalOf(tiffFile(tags, QByteArray(64, '\1')));
        EXPECT_NE(sentence, "") << compression;
    }
    EXPECT_THAT(refusalOf(tiffFile(greyTags(65536, 32768, 8), "\x01")),
                HasSubstr("too short for 65536 × 32768 pixels"));
    EXPECT_NE(refusalOf(tiffFile(greyTags(0xFFFFFFFFU, 0xFFFFFFFFU, 32), "\x01")), "");
    EXPECT_NE(refusalOf(tiffFile(greyTags(0, 0, 8), "\x01")), "");
}

TEST_F(PictureReading, CorruptTiffPrintsNothing) {
    auto tags = greyTags(20, 20, 8);
    tags[3].value = 5;
    const QString garbage = m_folder.write("lzw.tif", tiffFile(tags, QByteArray(300, '\xA5')));
    const QString noDirectory = m_folder.write("none.tif", QByteArray("II\x2a\0\x10\0\0\0", 8));
    const QString header = m_folder.write("header.tif", QByteArray("II\x2a\0", 4));
    testing::internal::CaptureStderr();
    const QStringList sentences = {refusal(garbage), refusal(noDirectory), refusal(header)};
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    for (const QString& sentence : sentences) {
        EXPECT_NE(sentence, QString());
        EXPECT_THAT(sentence.toStdString(), HasSubstr(m_folder.folder().toStdString()));
    }
}

struct TiffVariant {
    EzImageDataType dataType;
    std::uint16_t channels;
    std::uint16_t planarConfig;
    std::uint16_t compression;
    std::uint32_t tileWidth; ///< 0: strips
    const char* mode;        ///< of TIFFOpen: byte order, BigTIFF
};

double variantValue(EzImageDataType dataType, std::uint32_t channel, std::uint32_t x, std::uint32_t y) {
    const double value = 1 + x * 7 + y * 131 + channel * 50;
    switch (dataType) {
    case EzImageDataType::UInt8:
        return static_cast<std::uint8_t>(value);
    case EzImageDataType::UInt16:
        return value + 0x8000;
    case EzImageDataType::UInt32:
        return value + 4000000000.0;
    default:
        return -value / 8;
    }
}

class TiffReading : public testing::TestWithParam<TiffVariant> {
protected:
    static constexpr std::uint32_t width = 37;
    static constexpr std::uint32_t height = 21;
    PictureFolder m_folder;

    /// Writes the variant block by block with libtiff.
    QString writeVariant(const TiffVariant& variant) {
        const QString path = m_folder.path("variant.tif");
        TIFF* tiff = TIFFOpen(QFile::encodeName(path).constData(), variant.mode);
        EXPECT_TRUE(tiff);
        const std::uint32_t bytes = bytesPerSample(variant.dataType);
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, variant.channels);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8 * bytes);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT,
                     variant.dataType == EzImageDataType::Float32 ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, variant.planarConfig);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, variant.compression);
        const bool tiled = variant.tileWidth != 0;
        const std::uint32_t blockWidth = tiled ? variant.tileWidth : width;
        const std::uint32_t blockHeight = tiled ? 16 : 4; // 21 lines: the last block is a partial one
        if (tiled) {
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, blockWidth);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, blockHeight);
        } else {
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, blockHeight);
        }
        const bool planar = variant.planarConfig == PLANARCONFIG_SEPARATE;
        const std::uint32_t blockChannels = planar ? 1 : variant.channels;
        for (std::uint32_t plane = 0; plane < variant.channels / blockChannels; ++plane)
            for (std::uint32_t top = 0; top < height; top += blockHeight)
                for (std::uint32_t left = 0; left < width; left += blockWidth) {
                    SzPicBufInfo format;
                    format.width = blockWidth;
                    format.height = blockHeight;
                    format.channels = blockChannels;
                    format.dataType = variant.dataType;
                    format.linePitch = static_cast<std::uint32_t>(packedLineBytes(format));
                    const auto block = makePicture(format, [&](auto channel, auto x, auto y) {
                        return variantValue(variant.dataType, plane + channel, left + x, top + y);
                    });
                    const std::uint32_t lines = tiled ? blockHeight : std::min(blockHeight, height - top);
                    void* data = block->picBuf().data;
                    const tmsize_t size = static_cast<tmsize_t>(lines) * format.linePitch;
                    if (tiled)
                        EXPECT_EQ(TIFFWriteEncodedTile(
                                      tiff,
                                      TIFFComputeTile(tiff, left, top, 0, static_cast<std::uint16_t>(plane)),
                                      data, size),
                                  size);
                    else
                        EXPECT_EQ(TIFFWriteEncodedStrip(
                                      tiff, TIFFComputeStrip(tiff, top, static_cast<std::uint16_t>(plane)),
                                      data, size),
                                  size);
                }
        TIFFClose(tiff);
        return path;
    }
};

TEST_P(TiffReading, EverySampleArrivesInBothLayouts) {
    const TiffVariant& variant = GetParam();
    const QString path = writeVariant(variant);
    for (const auto storage : {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar}) {
        SzSidecar sidecar;
        sidecar.storageFormat = storage;
        sidecar.linePitch = 4 * width * 6;
        QString error;
        const auto frame = readPage(path, 0, sidecar, &error);
        ASSERT_TRUE(frame) << qPrintable(error);
        const SzPicBuf& picture = frame->picBuf();
        EXPECT_EQ(picture.dataType, variant.dataType);
        EXPECT_EQ(picture.storageFormat, storage);
        EXPECT_EQ(picture.linePitch, 4 * width * 6);
        ASSERT_EQ(picture.channels, variant.channels);
        for (std::uint32_t channel = 0; channel < picture.channels; ++channel)
            for (std::uint32_t y = 0; y < height; ++y)
                for (std::uint32_t x = 0; x < width; ++x)
                    ASSERT_EQ(sampleAt(picture, channel, x, y), variantValue(variant.dataType, channel, x, y))
                        << channel << ", " << x << ", " << y;
        if (variant.dataType == EzImageDataType::Float32) {
            EXPECT_EQ(picture.floatMax, -0.125F); // (1 + 0) / 8
            EXPECT_EQ(picture.floatMin, static_cast<float>(variantValue(
                                            variant.dataType, picture.channels - 1, width - 1, height - 1)));
        }
    }
}

constexpr auto U8 = EzImageDataType::UInt8;
constexpr auto U16 = EzImageDataType::UInt16;
constexpr auto U32 = EzImageDataType::UInt32;
constexpr auto F32 = EzImageDataType::Float32;

INSTANTIATE_TEST_SUITE_P(
    Variants, TiffReading,
    testing::Values(TiffVariant{U8, 1, PLANARCONFIG_CONTIG, COMPRESSION_NONE, 0, "w"},
                    TiffVariant{U8, 3, PLANARCONFIG_SEPARATE, COMPRESSION_PACKBITS, 0, "wl"},
                    TiffVariant{U8, 5, PLANARCONFIG_CONTIG, COMPRESSION_LZW, 16, "wb"},
                    TiffVariant{U16, 1, PLANARCONFIG_CONTIG, COMPRESSION_NONE, 0, "wb"},
                    TiffVariant{U16, 1, PLANARCONFIG_CONTIG, COMPRESSION_ADOBE_DEFLATE, 32, "w8"},
                    TiffVariant{U16, 4, PLANARCONFIG_SEPARATE, COMPRESSION_LZW, 16, "w"},
                    TiffVariant{U16, 3, PLANARCONFIG_CONTIG, COMPRESSION_ZSTD, 0, "w"},
                    TiffVariant{U32, 1, PLANARCONFIG_CONTIG, COMPRESSION_NONE, 16, "wb"},
                    TiffVariant{U32, 2, PLANARCONFIG_SEPARATE, COMPRESSION_NONE, 0, "w8"},
                    TiffVariant{F32, 1, PLANARCONFIG_CONTIG, COMPRESSION_ADOBE_DEFLATE, 0, "w"},
                    TiffVariant{F32, 3, PLANARCONFIG_CONTIG, COMPRESSION_NONE, 64, "wb"},
                    TiffVariant{F32, 6, PLANARCONFIG_SEPARATE, COMPRESSION_LZMA, 0, "w"}));

TEST_F(PictureReading, TiffRgbIsColourWithThreeOrFourSamples) {
    for (const std::uint32_t channels : {3U, 4U, 5U}) {
        auto tags = greyTags(1, 1, 8);
        tags[4].value = 2;
        tags[5].value = channels;
        const auto frame = readPage(m_folder.write(
            "a.tif", tiffFile(tags, QByteArray("\x01\x02\x03\x04\x05").left(static_cast<int>(channels)))));
        ASSERT_TRUE(frame) << channels;
        EXPECT_EQ(frame->picBuf().isColor, channels < 5);
        const Samples expected = channels == 3   ? Samples{3, 2, 1}
                                 : channels == 4 ? Samples{3, 2, 1, 4}
                                                 : Samples{1, 2, 3, 4, 5};
        EXPECT_EQ(allSamples(frame->picBuf()), expected);
    }
}

TEST_F(PictureReading, TiffJpegInYCbCrBecomesColour) {
    const QString path = m_folder.path("jpeg.tif");
    TIFF* tiff = TIFFOpen(QFile::encodeName(path).constData(), "w");
    ASSERT_TRUE(tiff);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, 24);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 17);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_YCBCR);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_JPEG);
    TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 16);
    std::array<std::uint8_t, 24 * 3> line{};
    for (std::size_t i = 0; i < line.size(); ++i)
        line[i] = std::array<std::uint8_t, 3>{200, 100, 50}[i % 3];
    for (std::uint32_t y = 0; y < 17; ++y)
        ASSERT_EQ(TIFFWriteScanline(tiff, line.data(), y, 0), 1);
    TIFFClose(tiff);

    const auto frame = readPage(path);
    ASSERT_TRUE(frame);
    EXPECT_TRUE(frame->picBuf().isColor);
    for (const auto& [x, y] : {std::pair{0U, 0U}, {23U, 16U}}) {
        EXPECT_NEAR(sampleAt(frame->picBuf(), 0, x, y), 50, 4);
        EXPECT_NEAR(sampleAt(frame->picBuf(), 1, x, y), 100, 4);
        EXPECT_NEAR(sampleAt(frame->picBuf(), 2, x, y), 200, 4);
    }
}

TEST_F(PictureReading, TiffPagesCanBeReadInAnyOrder) {
    const QString path = m_folder.path("pages.tif");
    TIFF* tiff = TIFFOpen(QFile::encodeName(path).constData(), "w");
    ASSERT_TRUE(tiff);
    for (std::uint8_t page = 0; page < 4; ++page) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page + 1);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, 1);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        std::array<std::uint8_t, 4> line{};
        line.fill(static_cast<std::uint8_t>(10 + page));
        ASSERT_EQ(TIFFWriteEncodedStrip(tiff, 0, line.data(), page + 1), page + 1);
        ASSERT_EQ(TIFFWriteDirectory(tiff), 1);
    }
    TIFFClose(tiff);
    const auto reader = CzPictureReader::open(path, nullptr);
    ASSERT_TRUE(reader);
    ASSERT_EQ(reader->pageCount(), 4);
    for (const int page : {0, 1, 2, 3, 1, 3, 3, 0}) {
        const auto frame = reader->read(page, {}, nullptr);
        ASSERT_TRUE(frame) << page;
        EXPECT_EQ(allSamples(frame->picBuf()), Samples(static_cast<std::size_t>(page + 1), 10.0 + page));
    }
    QString error;
    EXPECT_FALSE(reader->read(4, {}, &error));
    EXPECT_THAT(error.toStdString(), HasSubstr("page 5"));
    EXPECT_FALSE(reader->read(-1, {}, &error));
}

TEST_F(PictureReading, ABrokenPageStaysRefusedAndTheOthersReadable) {
    // Three pages of the same strip; the second one's directory claims a width of 0 and a wrong sample count.
    auto tags = greyTags(2, 1, 8);
    const QByteArray good = tiffFile(tags, "\x05\x06");
    tags[0].value = 0;
    tags[5].value = 0;
    const auto directory = [&](const QByteArray& file) { return file.mid(10); };
    const QByteArray bad = tiffFile(tags, "\x05\x06");
    QByteArray file = good.left(10) + directory(good) + directory(bad) + directory(good);
    const int size = directory(good).size();
    for (const int page : {0, 1}) {
        const QByteArray next(1, static_cast<char>(10 + (page + 1) * size));
        file.replace(10 + (page + 1) * size - 4, 1, next);
    }
    ASSERT_LT(10 + 2 * size, 256);
    const auto reader = CzPictureReader::open(m_folder.write("a.tif", file), nullptr);
    ASSERT_TRUE(reader);
    ASSERT_EQ(reader->pageCount(), 3);
    for (const int page : {0, 1, 1, 2, 1, 0, 1, 2}) {
        QString error;
        const auto frame = reader->read(page, {}, &error);
        ASSERT_EQ(frame != nullptr, page != 1) << qPrintable(error);
        if (frame)
            EXPECT_EQ(allSamples(frame->picBuf()), (Samples{5, 6}));
        else
            EXPECT_THAT(error.toStdString(), HasSubstr("page 2"));
    }
}

TEST_F(PictureReading, PagesThatWereCutOffAreMissed) {
    std::vector<std::unique_ptr<CzImageData>> frames;
    QVector<const CzImageData*> pages;
    SzPicBufInfo format;
    format.width = 5;
    format.height = 4;
    format.linePitch = 5;
    format.channels = 1;
    format.bitDepth = 8;
    format.dataType = EzImageDataType::UInt8;
    for (int page = 0; page < 3; ++page) {
        frames.push_back(makePicture(format, [](auto, auto x, auto) { return x; }));
        pages.append(frames.back().get());
    }
    ASSERT_TRUE(writePictures(m_folder.path("whole.tif"), pages, nullptr));
    QFile file(m_folder.path("whole.tif"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray whole = file.readAll();
    for (int size = 0; size < whole.size(); ++size) {
        QString error;
        const auto reader = CzPictureReader::open(m_folder.write("cut.tif", whole.left(size)), &error);
        int readable = 0;
        for (int page = 0; reader && page < reader->pageCount(); ++page)
            readable += reader->read(page, {}, &error) != nullptr;
        ASSERT_LT(readable, reader ? reader->pageCount() : 1) << size;
        ASSERT_NE(error, QString()) << size;
        ASSERT_EQ(error.count("cut.tif"), 1) << qPrintable(error);
    }
}

TEST_F(PictureReading, SentencesNameTheFileOnceWhateverItsName) {
    const QString name = QStringLiteral("%1 %2 %3");
    for (const QByteArray& bytes :
         {QByteArray("II\x2a\0\x08\0\0\0", 8), QByteArray("P5 1 1 30\n\xff"),
          tiffFile(greyTags(0, 1, 8), "x"), pngFile(1, {QByteArray("\1")}, 8, 0).chopped(20)}) {
        const QString sentence = refusal(m_folder.write(name, bytes));
        EXPECT_TRUE(sentence.startsWith(m_folder.folder() + '/' + name)) << qPrintable(sentence);
        EXPECT_EQ(sentence.count(name), 1) << qPrintable(sentence);
    }
}

// ---- PNG ----

TEST_F(PictureReading, PngKeepsEveryBit) {
    struct Case {
        int bits;
        int colorType;
        QByteArray line;
        Samples expected;
    };
    const QByteArray linearGamma = pngChunk("gAMA", QByteArray("\x00\x01\x86\xa0", 4));
    for (const Case& png :
         {Case{8, 0, QByteArray("\x01\xfe"), {1, 254}},
          Case{16, 0, QByteArray("\x01\x02\xff\xfe"), {0x0102, 0xfffe}},
          Case{8, 2, QByteArray("\x01\x02\x03\xfa\xfb\xfc"), {3, 2, 1, 0xfc, 0xfb, 0xfa}},
          Case{16,
               2,
               QByteArray("\x01\x02\x03\x04\x05\x06\xf1\xf2\xf3\xf4\xf5\xf6"),
               {0x0506, 0x0304, 0x0102, 0xf5f6, 0xf3f4, 0xf1f2}},
          // A fourth sample of 0 leaves the others as they are.
          Case{8, 6, QByteArray("\x01\x02\x03\x00\xfa\xfb\xfc\x80", 8), {3, 2, 1, 0, 0xfc, 0xfb, 0xfa, 0x80}},
          Case{16,
               6,
               QByteArray("\x01\x02\x03\x04\x05\x06\x00\x00\xf1\xf2\xf3\xf4\xf5\xf6\x12\x34", 16),
               {0x0506, 0x0304, 0x0102, 0, 0xf5f6, 0xf3f4, 0xf1f2, 0x1234}},
          Case{8, 4, QByteArray("\x11\x00\x22\x80", 4), {0x11, 0, 0x22, 0x80}},
          Case{16, 4, QByteArray("\x11\x12\x00\x00\x22\x23\x80\x81", 8), {0x1112, 0, 0x2223, 0x8081}}})
        for (const QByteArray& gamma : {QByteArray(), linearGamma}) {
            const auto frame =
                readPage(m_folder.write("a.png", pngFile(2, {png.line}, png.bits, png.colorType, gamma)));
            ASSERT_TRUE(frame) << png.bits << " bits, colour type " << png.colorType;
            EXPECT_EQ(frame->picBuf().bitDepth, static_cast<std::uint32_t>(png.bits));
            EXPECT_EQ(frame->picBuf().isColor, (png.colorType & 2) != 0);
            EXPECT_EQ(allSamples(frame->picBuf()), png.expected)
                << png.bits << " bits, colour type " << png.colorType;
        }
}

TEST_F(PictureReading, PngPalettesBecomeTheirColours) {
    const QByteArray palette = pngChunk("PLTE", QByteArray("\x01\x02\x03\x0a\x0b\x0c", 6));
    const auto frame =
        readPage(m_folder.write("a.png", pngFile(2, {QByteArray("\x01\x00", 2)}, 8, 3, palette)));
    ASSERT_TRUE(frame);
    EXPECT_TRUE(frame->picBuf().isColor);
    EXPECT_EQ(allSamples(frame->picBuf()), (Samples{12, 11, 10, 3, 2, 1}));
    const auto small = readPage(m_folder.write("a.png", pngFile(3, {QByteArray("\x40", 1)}, 1, 3, palette)));
    ASSERT_TRUE(small);
    EXPECT_EQ(allSamples(small->picBuf()), (Samples{3, 2, 1, 12, 11, 10, 3, 2, 1}));
    const QByteArray alpha = palette + pngChunk("tRNS", QByteArray("\x00", 1));
    const auto transparent =
        readPage(m_folder.write("a.png", pngFile(2, {QByteArray("\x01\x00", 2)}, 8, 3, alpha)));
    ASSERT_TRUE(transparent);
    EXPECT_EQ(allSamples(transparent->picBuf()), (Samples{12, 11, 10, 255, 3, 2, 1, 0}));
}

TEST_F(PictureReading, PngThatCannotBeHeldIsRefused) {
    EXPECT_THAT(refusalOf(pngFile(5, {QByteArray("\xa0")}, 1, 0)),
                HasSubstr("1-bit samples are not supported"));
    EXPECT_THAT(refusalOf(pngFile(2, {QByteArray("\xa1")}, 4, 0)),
                HasSubstr("4-bit samples are not supported"));
    const QByteArray key = pngChunk("tRNS", QByteArray(6, '\1'));
    EXPECT_THAT(refusalOf(pngFile(1, {QByteArray(6, '\1')}, 16, 2, key)), HasSubstr("transparent colour"));
    EXPECT_THAT(refusalOf(pngFile(1, {QByteArray(6, '\1')}, 8, 7)), HasSubstr("no colour type 7"));
    EXPECT_THAT(refusalOf(pngFile(0x7fffffff, {QByteArray(6, '\1')}, 8, 0)),
                HasSubstr("2147483647 × 1 pixels are not supported"));
}

TEST_F(PictureReading, PngThatCannotBeDecodedIsRefusedWithTheReasonAlone) {
    QByteArray bytes = pngFile(4, std::vector<QByteArray>(4, QByteArray(4, '\2')), 8, 0);
    const int samples = bytes.indexOf("IDAT") + 8;
    bytes[samples] = static_cast<char>(~bytes.at(samples));
    testing::internal::CaptureStderr();
    EXPECT_THAT(refusalOf(bytes), HasSubstr("page 1: "));
    EXPECT_THAT(refusalOf(pngFile(4, {QByteArray(4, '\2')}, 8, 0).chopped(20)),
                HasSubstr("the file ends early"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// ---- JPEG ----

TEST_F(PictureReading, JpegIsGreyOrColour) {
    QImage image(16, 8, QImage::Format_RGB32);
    image.fill(QColor(200, 100, 50));
    const auto colour = readPage(m_folder.write("a.jpg", imageFile(image, "jpeg")));
    ASSERT_TRUE(colour);
    EXPECT_TRUE(colour->picBuf().isColor);
    EXPECT_NEAR(sampleAt(colour->picBuf(), 0, 15, 7), 50, 3);
    EXPECT_NEAR(sampleAt(colour->picBuf(), 2, 15, 7), 200, 3);
    QImage greyImage(16, 8, QImage::Format_Grayscale8);
    greyImage.fill(77);
    const auto grey = readPage(m_folder.write("a.jpg", imageFile(greyImage, "jpeg")));
    ASSERT_TRUE(grey);
    EXPECT_EQ(grey->picBuf().channels, 1U);
    EXPECT_EQ(sampleAt(grey->picBuf(), 0, 3, 3), 77);
}

TEST_F(PictureReading, JpegThatEndsEarlyIsRefusedInsteadOfFilledUp) {
    QImage image(64, 64, QImage::Format_Grayscale8);
    image.fill(77);
    EXPECT_THAT(refusalOf(imageFile(image, "jpeg").chopped(10)), HasSubstr("ends early"));
}

TEST_F(PictureReading, JpegWithCorruptSamplesIsRefusedWithTheReasonAlone) {
    QImage image(64, 64, QImage::Format_Grayscale8);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            image.setPixelColor(x, y, QColor((x * y) % 256, (x * y) % 256, (x * y) % 256));
    QByteArray bytes = imageFile(image, "jpeg");
    bytes.replace(bytes.size() - 200, 4,
                  "\xff\xd0\xff\xd5"); // marks where to start anew, where there is none
    testing::internal::CaptureStderr();
    EXPECT_THAT(refusalOf(bytes), HasSubstr("page 1: Corrupt JPEG data"));
    EXPECT_THAT(refusalOf("\xff\xd8\xff\xd9"), HasSubstr("no image"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// ---- All formats ----

TEST_F(PictureReading, TheFirstBytesDecideTheFormatNotTheSuffix) {
    EXPECT_TRUE(readPage(m_folder.write("a.tif", pngFile(1, {QByteArray("\x01")}, 8, 0))));
    EXPECT_TRUE(readPage(m_folder.write("a.png", "P5 1 1 255\n\x01")));
    EXPECT_TRUE(readPage(m_folder.write("a", tiffFile(greyTags(1, 1, 8), "\x01"))));
}

TEST_F(PictureReading, WhatIsNoPictureIsRefusedWithItsName) {
    EXPECT_THAT(refusal(m_folder.path("missing.tif")).toStdString(), HasSubstr("missing.tif: "));
    EXPECT_THAT(refusal(m_folder.folder()).toStdString(), HasSubstr(m_folder.folder().toStdString()));
    EXPECT_THAT(refusalOf(""), HasSubstr("file: the file is empty"));
    EXPECT_THAT(refusalOf("hello"), HasSubstr("not a TIFF, PNG, PNM or JPEG picture"));
    EXPECT_EQ(CzPictureReader::open(m_folder.path("missing.tif"), nullptr), nullptr);
}

TEST_F(PictureReading, NoTruncationOfAFileGoesUnnoticed) {
    QImage image(9, 7, QImage::Format_Grayscale8);
    image.fill(77);
    std::vector<TiffTag> tags = greyTags(9, 7, 8);
    const QByteArray samples(63, '\x2a');
    for (const QByteArray& whole :
         {tiffFile(tags, samples), QByteArray("P5 9 7 255\n") + samples,
          QByteArray("P2 2 2 4095\n1 2 3 4095\n"),
          pngFile(9, std::vector<QByteArray>(7, QByteArray(9, '\x2a')), 8, 0), imageFile(image, "jpeg")}) {
        ASSERT_EQ(refusalOf(whole), "");
        for (int size = 0; size < whole.size(); ++size) {
            const QString path = m_folder.write("cut", whole.left(size));
            QString error;
            const auto frame = readPage(path, 0, {}, &error);
            ASSERT_NE(frame == nullptr, error.isEmpty()) << size;
            ASSERT_FALSE(error.contains('\n')) << qPrintable(error);
        }
    }
}

TEST_F(PictureReading, AnyFlippedByteGivesAPictureOrASentence) {
    std::vector<TiffTag> tags = greyTags(9, 7, 8);
    const QByteArray samples(63, '\x2a');
    for (const QByteArray& whole : {tiffFile(tags, samples), QByteArray("P6 3 7 255\n") + samples,
                                    pngFile(9, std::vector<QByteArray>(7, QByteArray(9, '\x2a')), 8, 0)})
        for (int i = 0; i < whole.size(); ++i)
            for (const char value : {'\x00', '\x01', '\x7f', '\xff'}) {
                QByteArray bytes = whole;
                bytes[i] = value;
                refusalOf(bytes); // checks that it is one or the other
            }
}

// ---- Layout and description ----

TEST_F(PictureReading, TheSidecarSaysHowThePictureLiesInMemory) {
    const QString path = m_folder.write("a.ppm", "P3 2 2 255\n1 2 3 4 5 6 7 8 9 10 11 12\n");
    SzSidecar sidecar;
    sidecar.storageFormat = EzDataStorageFormat::Planar;
    sidecar.linePitch = 5;
    const auto frame = readPage(path, 0, sidecar);
    ASSERT_TRUE(frame);
    const SzPicBuf& picture = frame->picBuf();
    EXPECT_EQ(picture.linePitch, 5U);
    const std::array<std::uint8_t, 12> expected = {3, 6, 9, 12, 2, 5, 8, 11, 1, 4, 7, 10};
    for (std::size_t line = 0; line < 6; ++line) // three planes of two lines, five bytes apart
        for (std::size_t x = 0; x < 2; ++x)
            EXPECT_EQ(picture.data[line * 5 + x], expected[line * 2 + x]) << line << ", " << x;
}

TEST_F(PictureReading, APitchOfZeroIsPacked) {
    SzSidecar sidecar;
    sidecar.linePitch = 0;
    const auto frame = readPage(m_folder.write("a.pgm", "P2 3 2 1000\n1 2 3 4 5 6\n"), 0, sidecar);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->picBuf().linePitch, 6U);
}

TEST_F(PictureReading, APitchThatDoesNotFitIsRefused) {
    const QString path = m_folder.write("a.pgm", "P2 3 2 1000\n1 2 3 4 5 6\n");
    const auto sentence = [&](std::uint32_t pitch) {
        SzSidecar sidecar;
        sidecar.linePitch = pitch;
        QString error;
        EXPECT_FALSE(readPage(path, 0, sidecar, &error));
        return error.toStdString();
    };
    EXPECT_THAT(sentence(5), HasSubstr("the sidecar's linePitch of 5 is too short for lines of 6 bytes"));
    EXPECT_THAT(sentence(7), HasSubstr("no multiple of the samples' 2 bytes"));
}

TEST_F(PictureReading, HostileDescriptionsAreLoadedAsTheyStand) {
    SzSidecar sidecar;
    sidecar.bitDepth = 40;
    sidecar.colorFilterArray = static_cast<EzColorFilterArray>(9);
    sidecar.storageFormat = static_cast<EzDataStorageFormat>(77);
    sidecar.isColor = true;
    const auto frame = readPage(m_folder.write("a.pgm", "P2 3 1 255\n1 2 3\n"), 0, sidecar);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->picBuf().bitDepth, 40U);
    EXPECT_EQ(static_cast<int>(frame->picBuf().colorFilterArray), 9);
    EXPECT_EQ(static_cast<int>(frame->picBuf().storageFormat), 77);
    EXPECT_TRUE(frame->picBuf().isColor);
    EXPECT_EQ(allSamples(frame->picBuf()), (Samples{1, 2, 3}));
}

TEST_F(PictureReading, TheSidecarDescribesTheSensor) {
    SzSidecar sidecar;
    QString error;
    ASSERT_TRUE(parseSidecar(R"({"colorFilterArray": 0, "sensorColorFilterArray": 7, "mosaicName": "test",
        "hsi": {"zones": [{"cell": [1, 1], "bands": [{"name": "x", "wavelength": 500}]}]}})",
                             sidecar, &error, nullptr));
    const auto frame = readPage(m_folder.write("a.pgm", "P2 1 1 255 1\n"), 0, sidecar);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->picBuf().colorFilterArray, EzColorFilterArray::None);
    const CzImageMetadata& metadata = frame->imageMetadata();
    EXPECT_EQ(metadata.colorFilterArray, EzColorFilterArray::Hyperspectral);
    EXPECT_EQ(metadata.mosaicName, "test");
    ASSERT_EQ(metadata.hsiCameraParams.zones.size(), 1);
    EXPECT_EQ(metadata.hsiCameraParams.zones.at(0).bands.at(0).name(), "x");

    sidecar.sensorColorFilterArray.reset();
    sidecar.colorFilterArray = EzColorFilterArray::BayerGBRG;
    const auto bayer = readPage(m_folder.path("a.pgm"), 0, sidecar);
    ASSERT_TRUE(bayer);
    EXPECT_EQ(bayer->picBuf().colorFilterArray, EzColorFilterArray::BayerGBRG);
    EXPECT_EQ(bayer->imageMetadata().colorFilterArray, EzColorFilterArray::BayerGBRG);
}

TEST_F(PictureReading, FoldersListTheirPicturesInNaturalOrder) {
    for (const char* name : {"p10.tif", "p9.TIF", "p1.png", "p01.png", "a.jpeg", "B.pgm", "p9.tif.json",
                             "notes.txt", "x.tiff", "y.ppm", "z.pnm", "w.jpg"})
        m_folder.write(QLatin1String(name), "x");
    ASSERT_TRUE(QDir(m_folder.folder()).mkdir("p2.tif"));
    QStringList names;
    for (const QString& path : pictureFilesIn(m_folder.folder(), nullptr)) {
        EXPECT_TRUE(path.startsWith(m_folder.folder() + '/'));
        names += path.section('/', -1);
    }
    EXPECT_EQ(names, (QStringList{"a.jpeg", "B.pgm", "p01.png", "p1.png", "p9.TIF", "p10.tif", "w.jpg",
                                  "x.tiff", "y.ppm", "z.pnm"}));
    QString error;
    EXPECT_EQ(pictureFilesIn(m_folder.path("missing"), &error), QStringList());
    EXPECT_THAT(error.toStdString(), HasSubstr("missing: cannot be read: No such file or directory"));
}

TEST_F(PictureReading, FoldersKeepQuietAboutNothingThatHasAPicturesName) {
    const QByteArray odd = QFile::encodeName(m_folder.folder()) + "/\xff.tif"; // no UTF-8
    std::fclose(std::fopen(odd.constData(), "w"));
    ASSERT_TRUE(QFile::link("nowhere", m_folder.path("link.tif")));
    ASSERT_EQ(mkfifo(QFile::encodeName(m_folder.path("pipe.tif")).constData(), 0600), 0);
    const QStringList paths = pictureFilesIn(m_folder.folder(), nullptr);
    ASSERT_EQ(paths.size(), 3);
    for (const QString& path : paths)
        EXPECT_NE(refusal(path), QString());
    std::remove(odd.constData()); // which Qt cannot
    EXPECT_THAT(refusal(m_folder.path("pipe.tif")).toStdString(), HasSubstr("expected a regular file"));
}

} // namespace
