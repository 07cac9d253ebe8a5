// SPDX-License-Identifier: GPL-3.0-or-later
// zucontactsheet: rows of two pictures with captions, before and after, painted into one PNG.
#include "ImageData.h"
#include "PicBufAPI.h"
#include "PictureFile.h"
#include "PictureView.h"
#include "Scenes.h"
#include "Sidecar.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QFontMetrics>
#include <QImage>
#include <QLoggingCategory>
#include <QPainter>
#include <QPainterPath>
#include <QSaveFile>
#include <QTextCodec>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

namespace {

struct Tile {
    QImage image;
    QString caption;
};

struct Row {
    QString label;
    Tile before;
    Tile after;
};

void say(const QString& sentence) {
    std::fprintf(stderr, "zucontactsheet: %s\n", qUtf8Printable(sentence));
}

// ---- Pictures ----

/// Fits the samples of a deep picture, which are linear and often dark, to the eye: the bright parts become
/// full scale, and a power curve lifts the mean towards the middle.
template <class T>
void brighten(const PictureView<T>& lines, double fullScale) {
    const std::size_t lineSamples = std::size_t{lines.width} * lines.channels;
    std::vector<T> samples;
    for (std::size_t y = 0; y < lines.height; ++y)
        samples.insert(samples.end(), lines.row(y), lines.row(y) + lineSamples);
    // A few samples may be brighter still: hot pixels and reflections do not keep a picture dark.
    const auto bright = samples.begin() + std::ptrdiff_t(double(samples.size() - 1) * 0.998);
    std::nth_element(samples.begin(), bright, samples.end());
    const double white = std::clamp(double(*bright), 1.0, fullScale);
    const auto relative = [white](T sample) { return std::min(double(sample) / white, 1.0); };

    double sum = 0.0;
    for (const T sample : samples)
        sum += relative(sample);
    constexpr double pleasantMean = 0.4;
    const double mean = std::clamp(sum / double(samples.size()), 1e-6, 1.0);
    const double power = std::clamp(std::log(pleasantMean) / std::log(mean), 1.0 / 2.4, 1.0);
    for (std::size_t y = 0; y < lines.height; ++y)
        std::transform(lines.row(y), lines.row(y) + lineSamples, lines.row(y), [&](T sample) {
            return T(std::floor(fullScale * std::pow(relative(sample), power) + 0.5));
        });
}

/// Brightens a picture of integers with more than 8 bits in place. Whether it did.
bool brighten(SzPicBuf& picture) {
    if (picture.bitDepth <= 8 || picture.dataType == EzImageDataType::Float32 ||
        picture.dataType == EzImageDataType::SpectrumFloat32 ||
        picture.storageFormat == EzDataStorageFormat::Planar)
        return false;
    return withSampleType(picture.dataType, [&](auto sample) {
        using T = decltype(sample);
        const unsigned bits = std::min(picture.bitDepth, 8u * unsigned(sizeof(T)));
        brighten(view<T>(picture), std::exp2(bits) - 1.0);
        return true;
    });
}

/// Replaces the real part of a spectrum by the logarithm of its amplitudes: they differ by many powers of
/// ten. Black is their median, which is noise in most pictures.
void showAmplitudes(SzPicBuf& real, const SzPicBuf& imaginary) {
    const auto amplitudes = view<float>(real);
    const auto others = view<const float>(imaginary);
    std::vector<float> all;
    for (std::size_t y = 0; y < amplitudes.height; ++y) {
        std::transform(amplitudes.row(y), amplitudes.row(y) + amplitudes.width, others.row(y),
                       amplitudes.row(y), [](float re, float im) { return std::log1p(std::hypot(re, im)); });
        all.insert(all.end(), amplitudes.row(y), amplitudes.row(y) + amplitudes.width);
    }
    const auto median = all.begin() + std::ptrdiff_t(all.size() / 2);
    std::nth_element(all.begin(), median, all.end());
    for (std::size_t y = 0; y < amplitudes.height; ++y)
        std::transform(amplitudes.row(y), amplitudes.row(y) + amplitudes.width, amplitudes.row(y),
                       [black = *median](float amplitude) { return std::max(amplitude, black); });
}

QString describe(const SzPicBufInfo& format, bool brightened) {
    QStringList parts{QStringLiteral("%1 × %2").arg(format.width).arg(format.height)};
    static const char* const filterArrays[] = {
        "", "Bayer RGGB", "Bayer GRBG", "Bayer GBRG", "Bayer BGGR", "CMYG", "RGBR", "hyperspectral mosaic"};
    const auto filterArray = std::size_t(format.colorFilterArray);
    if (isRaw(format) && filterArray < std::size(filterArrays))
        parts.append(QLatin1String(filterArrays[filterArray]));
    else if (format.isColor)
        parts.append(QStringLiteral("colour"));
    else
        parts.append(format.channels == 1 ? QStringLiteral("grey")
                                          : QStringLiteral("%1 channels").arg(format.channels));
    if (format.dataType == EzImageDataType::SpectrumFloat32)
        parts.append(QStringLiteral("amplitudes, logarithmic"));
    else
        parts.append(format.dataType == EzImageDataType::Float32
                         ? QStringLiteral("float")
                         : QStringLiteral("%1 bit").arg(format.bitDepth));
    if (brightened)
        parts.append(QStringLiteral("shown brighter"));
    return parts.join(QStringLiteral(" · "));
}

/// The picture as it is shown; null, when memory is short.
QImage toImage(const SzPicBuf& picture) {
    SzPicBufInfo format = picture;
    format.channels = 4;
    format.bitDepth = 8;
    format.linePitch = 0;
    format.dataType = EzImageDataType::UInt8;
    format.storageFormat = EzDataStorageFormat::Interleaved;
    format.colorFilterArray = EzColorFilterArray::None;
    format.isColor = true;
    SzPicBuf bgra;
    QImage image;
    if (CzPicBufAPI::AllocPicBufFromHeap(bgra, format, true) && CzPicBufAPI::ConvertPicToRGB(picture, bgra))
        image =
            QImage(bgra.data, int(bgra.width), int(bgra.height), int(bgra.linePitch), QImage::Format_RGB32)
                .copy();
    CzPicBufAPI::FreePicBuf(bgra, true);
    return image;
}

/// The first picture of a file, or its spectrum; empty, and it was said, when it cannot be shown.
std::optional<Tile> loadTile(const QString& path) {
    QString error;
    QStringList warnings;
    SzSidecar sidecar;
    if (QFileInfo::exists(sidecarPath(path)) && !readSidecar(sidecarPath(path), sidecar, &error, &warnings)) {
        say(error);
        return std::nullopt;
    }
    const auto reader = CzPictureReader::open(path, &error);
    const auto picture = reader ? reader->read(0, sidecar, &error) : nullptr;
    if (!picture) {
        say(error);
        return std::nullopt;
    }
    if (picture->picBuf().dataType == EzImageDataType::SpectrumFloat32 && reader->pageCount() == 2) {
        const auto imaginary = reader->read(1, sidecar, &error);
        if (!imaginary) {
            say(error);
            return std::nullopt;
        }
        showAmplitudes(picture->picBuf(), imaginary->picBuf());
    }
    const bool brightened = brighten(picture->picBuf());
    Tile tile{toImage(picture->picBuf()),
              QFileInfo(path).fileName() + QStringLiteral("\n") + describe(picture->picBuf(), brightened)};
    if (!tile.image.isNull())
        return tile;
    say(QStringLiteral("%1: the picture cannot be shown.").arg(path));
    return std::nullopt;
}

/// A scene as the camera application would show it, and a detail of what the sensor delivers.
Row sceneRow(const QString& scene) {
    constexpr int detailWidth = 48;
    constexpr int detailHeight = 36;
    const auto picture = renderScene(scene, SzSceneSettings());
    SzPicBuf& raw = picture->picBuf();
    const SzPicBufInfo format = raw;
    const bool brightened = brighten(raw);
    Row row{scene, {toImage(raw), QStringLiteral("Scene\n") + describe(format, brightened)}, {}};
    raw.colorFilterArray = EzColorFilterArray::None;
    const QRect detail(int(raw.width - detailWidth) / 2, int(raw.height - detailHeight) / 2, detailWidth,
                       detailHeight);
    row.after = {toImage(raw).copy(detail),
                 QStringLiteral("Samples in the middle\n%1 × %2").arg(detailWidth).arg(detailHeight)};
    return row;
}

// ---- Painting ----

const QColor pageColor(0x1d, 0x21, 0x27);
const QColor cardColor(0x29, 0x2f, 0x37);
const QColor frameColor(0x14, 0x17, 0x1b);
const QColor labelColor(0xf2, 0xf4, 0xf7);
const QColor captionColor(0xa9, 0xb3, 0xc1);
const QColor accentColor(0x5a, 0xb0, 0xf2);

constexpr QSize pictureSize(400, 320);
constexpr int margin = 28;  ///< around the page and between cards
constexpr int padding = 18; ///< inside a card
constexpr int gap = 44;     ///< between the two pictures, where the arrow stands
constexpr int labelHeight = 34;
constexpr int captionHeight = 44;
constexpr QSize cardSize(2 * (padding + pictureSize.width()) + gap,
                         2 * padding + labelHeight + pictureSize.height() + captionHeight);

QFont font(int pixels, bool bold) {
    QFont result(QStringLiteral("DejaVu Sans"));
    result.setPixelSize(pixels);
    result.setBold(bold);
    return result;
}

void drawTile(QPainter& painter, const Tile& tile, const QPoint& topLeft) {
    const QRect box(topLeft, pictureSize);
    painter.fillRect(box, frameColor);
    // Pixels that are much enlarged stay visible as such.
    const bool enlarged = 3 * tile.image.width() <= box.width() && 3 * tile.image.height() <= box.height();
    const QImage image = tile.image.scaled(box.size(), Qt::KeepAspectRatio,
                                           enlarged ? Qt::FastTransformation : Qt::SmoothTransformation);
    painter.drawImage(box.x() + (box.width() - image.width()) / 2,
                      box.y() + (box.height() - image.height()) / 2, image);
    painter.setFont(font(13, false));
    painter.setPen(captionColor);
    QRect line(box.left(), box.bottom() + 8, box.width(), 18);
    for (const QString& text : tile.caption.split(QLatin1Char('\n'))) {
        painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter,
                         painter.fontMetrics().elidedText(text, Qt::ElideMiddle, line.width()));
        line.translate(0, line.height());
    }
}

void drawArrow(QPainter& painter, const QPointF& center) {
    painter.setPen(QPen(accentColor, 2.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QPointF points[] = {center + QPointF(-4, -8), center + QPointF(4, 0), center + QPointF(-4, 8)};
    painter.drawPolyline(points, int(std::size(points)));
}

void drawRow(QPainter& painter, const Row& row, const QPoint& topLeft) {
    QPainterPath card;
    card.addRoundedRect(QRectF(topLeft, cardSize), 10, 10);
    painter.fillPath(card, cardColor);
    const QPoint inner = topLeft + QPoint(padding, padding);
    painter.setFont(font(18, true));
    painter.setPen(labelColor);
    const QRect line(inner, QSize(cardSize.width() - 2 * padding, labelHeight - 10));
    painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter,
                     painter.fontMetrics().elidedText(row.label, Qt::ElideRight, line.width()));
    const QPoint left = inner + QPoint(0, labelHeight);
    const QPoint right = left + QPoint(pictureSize.width() + gap, 0);
    drawTile(painter, row.before, left);
    drawTile(painter, row.after, right);
    drawArrow(painter, QPointF(left) + QPointF(pictureSize.width() + gap / 2.0, pictureSize.height() / 2.0));
}

QImage paintSheet(const std::vector<Row>& rows) {
    const int columns = rows.size() > 3 ? 2 : 1;
    const int lines = (int(rows.size()) + columns - 1) / columns;
    QImage sheet(margin + columns * (cardSize.width() + margin),
                 margin + lines * (cardSize.height() + margin), QImage::Format_RGB32);
    sheet.fill(pageColor);
    QPainter painter(&sheet);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < int(rows.size()); ++i)
        drawRow(painter, rows[std::size_t(i)],
                {margin + (i % columns) * (cardSize.width() + margin),
                 margin + (i / columns) * (cardSize.height() + margin)});
    return sheet;
}

bool save(const QImage& sheet, const QString& path) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && sheet.save(&file, "PNG") && file.commit())
        return true;
    say(QStringLiteral("%1: %2.").arg(path, file.errorString()));
    return false;
}

} // namespace

int main(int argc, char** argv) {
    constexpr int failed = 1;
    constexpr int misuse = 2;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Outside of a session Qt remarks that XDG_RUNTIME_DIR is missing, which nothing here uses.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false"));
    const QApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QString());
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));

    const QCommandLineOption output({"o", "output"}, "The PNG file to write.", "file");
    const QCommandLineOption scenes("scenes", "Show the synthetic scenes instead of files.");
    QCommandLineParser line;
    line.setApplicationDescription("Paints pictures before and after with their captions into one PNG.");
    line.addHelpOption();
    line.addOptions({output, scenes});
    line.addPositionalArgument("LABEL BEFORE AFTER", "A row: its title and two picture files.",
                               "[LABEL BEFORE AFTER]...");
    if (!line.parse(QApplication::arguments())) {
        say(line.errorText());
        return misuse;
    }
    if (line.isSet("help"))
        return std::fputs(qUtf8Printable(line.helpText()), stdout) < 0 ? failed : 0;
    const QStringList operands = line.positionalArguments();
    if (!line.isSet(output) || operands.size() % 3 != 0 || operands.isEmpty() != line.isSet(scenes)) {
        say("Expected: zucontactsheet -o FILE.png LABEL BEFORE AFTER ..., or --scenes in place of the rows.");
        return misuse;
    }

    std::vector<Row> rows;
    if (line.isSet(scenes)) {
        for (const QString& scene : sceneNames())
            rows.push_back(sceneRow(scene));
    }
    for (int i = 0; i < operands.size(); i += 3) {
        const std::optional<Tile> before = loadTile(operands.at(i + 1));
        const std::optional<Tile> after = loadTile(operands.at(i + 2));
        if (!before || !after)
            return failed;
        rows.push_back({operands.at(i), *before, *after});
    }
    return save(paintSheet(rows), line.value(output)) ? 0 : failed;
}
