// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFTImageData.h"
#include "PicBufAPI.h"
#include "PictureFile.h"
#include "RunnerFixture.h"

#include <QImage>

namespace {

class ContactSheetTest : public RunnerTest {
protected:
    SzProgramResult contactSheet(const QStringList& arguments) const {
        return execute(QStringLiteral(ZUCONTACTSHEET_PROGRAM), arguments);
    }

    int pixelsOf(const QImage& image, QRgb color) const {
        int count = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                count += image.pixel(x, y) == color ? 1 : 0;
        return count;
    }
};

} // namespace

TEST_F(ContactSheetTest, ShowsBothPicturesOfARow) {
    writeFile("magenta.ppm", QByteArray("P6\n1 1\n255\n") + "\xff\x01\xff");
    writeFile("yellow.ppm", QByteArray("P6\n2 1\n255\n") + "\xff\xff\x01\xff\xff\x01");
    const SzProgramResult result = contactSheet({"-o", "s.png", "Title", "magenta.ppm", "yellow.ppm"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QImage sheet(path("s.png"));
    // Square and twice as wide as high, each as large as 400 × 320 allows.
    EXPECT_EQ(pixelsOf(sheet, qRgb(255, 1, 255)), 320 * 320);
    EXPECT_EQ(pixelsOf(sheet, qRgb(255, 255, 1)), 400 * 200);
}

TEST_F(ContactSheetTest, BrightensDarkDeepPictures) {
    // 16-bit samples of a 12-bit sensor, brightest 255 of 4095.
    writeFile("dark.pgm", QByteArray("P5\n1 1\n65535\n") + QByteArray("\x00\xff", 2));
    writeFile("dark.pgm.json", R"({"bitDepth": 12})");
    ASSERT_EQ(contactSheet({"-o", "s.png", "Title", "dark.pgm", "dark.pgm"}).exitCode, 0);
    EXPECT_GE(pixelsOf(QImage(path("s.png")), qRgb(255, 255, 255)), 2 * 320 * 320);
}

TEST_F(ContactSheetTest, ShowsTheAmplitudesOfASpectrum) {
    // A spectrum of which three frequencies are noise and one is not, though its real part is 0.
    CzFFTImageData spectrum;
    SzPicBufInfo format;
    format.width = 4;
    format.height = format.channels = 1;
    format.bitDepth = 32;
    format.dataType = EzImageDataType::SpectrumFloat32;
    SzPicBuf real;
    SzPicBuf imaginary;
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(real, format, false));
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(imaginary, format, false));
    reinterpret_cast<float*>(real.data)[0] = 1.0F;
    reinterpret_cast<float*>(real.data)[1] = -1.0F;
    reinterpret_cast<float*>(imaginary.data)[2] = -1e6F;
    reinterpret_cast<float*>(imaginary.data)[3] = 1.0F;
    spectrum.setPicBuf(real);
    ASSERT_TRUE(spectrum.setPicBufIm(imaginary));
    QString error;
    ASSERT_TRUE(writePicture(path("f.tif"), EzPictureFormat::Tiff, spectrum, &error)) << error.toStdString();
    ASSERT_EQ(contactSheet({"-o", "s.png", "Title", "f.tif", "f.tif"}).exitCode, 0);
    const QImage sheet(path("s.png"));
    EXPECT_EQ(pixelsOf(sheet, qRgb(255, 255, 255)), 2 * 100 * 100);
    EXPECT_GE(pixelsOf(sheet, qRgb(0, 0, 0)), 2 * 3 * 100 * 100);
}

TEST_F(ContactSheetTest, ShowsAllScenes) {
    ASSERT_EQ(contactSheet({"-o", "s.png", "--scenes"}).exitCode, 0);
    const QImage sheet(path("s.png"));
    EXPECT_GT(sheet.width(), 1600);
    EXPECT_GT(sheet.height(), 1200);
}

TEST_F(ContactSheetTest, TellsWhatIsWrong) {
    writeRamp("a.tif", 4, 4, 1);
    for (const QStringList& arguments :
         {QStringList{}, QStringList{"-o", "s.png"}, QStringList{"-o", "s.png", "Title", "a.tif"},
          QStringList{"Title", "a.tif", "a.tif"},
          QStringList{"-o", "s.png", "--scenes", "T", "a.tif", "a.tif"}}) {
        const SzProgramResult result = contactSheet(arguments);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.sentences().size(), 1);
    }
    const SzProgramResult result = contactSheet({"-o", "s.png", "Title", "a.tif", "nowhere.tif"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 1);
    EXPECT_FALSE(exists("s.png"));
    EXPECT_EQ(contactSheet({"-o", "a.tif/s.png", "Title", "a.tif", "a.tif"}).exitCode, 1);
}
