// SPDX-License-Identifier: GPL-3.0-or-later
#include "QtImageFile.h"

#include "ImageData.h"
#include "OnePageReader.h"
#include "PictureSamples.h"
#include "PictureText.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

#include <limits>
#include <mutex>

namespace {

// What Qt's decoders say in the current thread while somebody listens; else null.
thread_local QString* decoderMessage = nullptr;
QtMessageHandler nextMessageHandler = nullptr;

void keepFirstDecoderMessage(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (!decoderMessage)
        nextMessageHandler(type, context, text);
    else if (decoderMessage->isEmpty() && !text.contains(QLatin1String("warning")))
        *decoderMessage = text;
}

/// Qt's decoders hand the reason of a failure to the message handler and report no more than that there was
/// one. While this exists, the first error in the current thread is kept, and no warning gets to the
/// terminal.
class DecoderListener {
public:
    DecoderListener() {
        static std::once_flag installed;
        std::call_once(installed, [] {
            nextMessageHandler = qInstallMessageHandler(nullptr);
            qInstallMessageHandler(&keepFirstDecoderMessage);
        });
        decoderMessage = &m_message;
    }
    ~DecoderListener() { decoderMessage = nullptr; }
    DecoderListener(const DecoderListener&) = delete;
    DecoderListener& operator=(const DecoderListener&) = delete;

    bool heardProblem() const { return !m_message.isEmpty(); }

    QString problem(const QImageReader& reader) const {
        return heardProblem() ? m_message : reader.errorString();
    }

private:
    QString m_message;
};

class JpegReader : public CzOnePageReader {
    bool readFormat(QString* problem) override {
        // The decoder would fill up what is missing with grey. These markers do not occur inside the samples.
        if (m_file.lastIndexOf("\xff\xd9") < m_file.lastIndexOf("\xff\xda")) {
            *problem = SzPictureText::tr("the file ends early");
            return false;
        }
        QBuffer buffer(&m_file);
        QImageReader reader(&buffer, "jpeg");
        reader.setDecideFormatFromContent(false);
        const DecoderListener listener;
        const QSize size = reader.size();
        if (size.isEmpty()) {
            *problem = listener.problem(reader);
            return false;
        }
        m_format.width = static_cast<std::uint32_t>(size.width());
        m_format.height = static_cast<std::uint32_t>(size.height());
        m_format.isColor = reader.imageFormat() != QImage::Format_Grayscale8;
        m_format.channels = m_format.isColor ? 3 : 1;
        m_format.dataType = EzImageDataType::UInt8;
        m_format.bitDepth = 8;
        constexpr std::uint32_t highestRatio = 2000; // about 1400 bytes are reached for one
        if (!isPlausible(m_format.bytes(), static_cast<std::uint64_t>(m_file.size()), highestRatio)) {
            *problem = SzPictureText::tr("the file is too short for %1 × %2 pixels")
                           .arg(m_format.width)
                           .arg(m_format.height);
            return false;
        }
        return true;
    }

    std::unique_ptr<CzImageData> decode(const SzSidecar& sidecar, QString* problem) override {
        QBuffer buffer(&m_file);
        QImageReader reader(&buffer, "jpeg");
        reader.setDecideFormatFromContent(false);
        const DecoderListener listener;
        QImage image = reader.read();
        if (image.isNull() || listener.heardProblem()) { // corrupt data may still have made a picture
            *problem = listener.problem(reader);
            return nullptr;
        }
        image = image.convertToFormat(m_format.isColor ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
        if (image.isNull() || static_cast<std::uint32_t>(image.width()) != m_format.width ||
            static_cast<std::uint32_t>(image.height()) != m_format.height) {
            *problem =
                SzPictureText::tr("no memory for %1 × %2 pixels").arg(m_format.width).arg(m_format.height);
            return nullptr;
        }
        std::unique_ptr<CzImageData> frame = makeFrame(m_format, sidecar, problem);
        for (std::uint32_t y = 0; frame && y < m_format.height; ++y)
            storePixels(frame->picBuf(), 0, y, m_format.width, image.constScanLine(static_cast<int>(y)));
        return frame;
    }
};

} // namespace

std::unique_ptr<CzPictureReader> openJpeg(const QString& path, QString* problem) {
    auto reader = std::make_unique<JpegReader>();
    return reader->open(path, problem) ? std::move(reader) : nullptr;
}

bool encodePng(const SzPicBuf& picture, QByteArray& file, QString* problem) {
    const bool isWide = picture.dataType == EzImageDataType::UInt16;
    QImage::Format imageFormat = QImage::Format_Invalid;
    if (isWide || picture.dataType == EzImageDataType::UInt8) {
        if (picture.channels == 1)
            imageFormat = isWide ? QImage::Format_Grayscale16 : QImage::Format_Grayscale8;
        else if (picture.channels == 3)
            imageFormat = isWide ? QImage::Format_RGBX64 : QImage::Format_RGB888;
        else if (picture.channels == 4)
            imageFormat = isWide ? QImage::Format_RGBA64 : QImage::Format_RGBA8888;
    }
    const bool isPlanar = picture.storageFormat == EzDataStorageFormat::Planar && picture.channels > 1;
    if (imageFormat == QImage::Format_Invalid || isPlanar || !picture.data) {
        *problem = SzPictureText::tr(
                       "a PNG takes 1, 3 or 4 interleaved samples of 8 or 16 bits per pixel, not %1%2 of "
                       "data type %3")
                       .arg(picture.channels)
                       .arg(isPlanar ? SzPictureText::tr(" planar ones") : QString())
                       .arg(static_cast<std::uint32_t>(picture.dataType));
        return false;
    }
    constexpr std::uint32_t highestSize = std::numeric_limits<std::int32_t>::max();
    QImage image;
    if (picture.width <= highestSize && picture.height <= highestSize)
        image = QImage(static_cast<int>(picture.width), static_cast<int>(picture.height), imageFormat);
    if (image.isNull()) {
        *problem =
            SzPictureText::tr("%1 × %2 pixels are too many for a PNG").arg(picture.width).arg(picture.height);
        return false;
    }
    if (imageFormat == QImage::Format_RGBX64)
        image.fill(Qt::white); // the fourth sample has to be there, and opaque
    const std::size_t step = static_cast<std::size_t>(image.depth()) / 8;
    for (std::uint32_t y = 0; y < picture.height; ++y)
        for (std::uint32_t sample = 0; sample < picture.channels; ++sample)
            fetchSamples(picture, sample, y,
                         image.scanLine(static_cast<int>(y)) + sample * bytesPerSample(picture.dataType),
                         step);

    QBuffer buffer(&file);
    QImageWriter writer(&buffer, "png");
    writer.setCompression(11); // zlib's level 1: more takes several times as long and hardly shortens noise
    if (!writer.write(image)) {
        *problem = writer.errorString();
        return false;
    }
    return true;
}
