// SPDX-License-Identifier: GPL-3.0-or-later
#include "GenerateCommand.h"

#include "CommandLine.h"
#include "Console.h"
#include "ImageData.h"
#include "PictureFile.h"
#include "Scenes.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <memory>
#include <vector>

namespace {

/// The format that a file's name asks for; empty when it asks for none that is written.
std::optional<EzPictureFormat> formatOf(const QString& file) {
    const QString suffix = QFileInfo(file).suffix().toLower();
    if (suffix == QLatin1String("tif") || suffix == QLatin1String("tiff"))
        return EzPictureFormat::Tiff;
    if (suffix == QLatin1String("png"))
        return EzPictureFormat::Png;
    return std::nullopt;
}

bool parseSize(const QString& text, SzSceneSettings& settings) {
    static const QRegularExpression pattern(QStringLiteral("^([1-9][0-9]{0,4})x([1-9][0-9]{0,4})$"));
    const QRegularExpressionMatch match = pattern.match(text);
    settings.width = match.captured(1).toUInt();
    settings.height = match.captured(2).toUInt();
    return match.hasMatch();
}

} // namespace

EzExitCode generateCommand(const QStringList& arguments) {
    const QCommandLineOption output({"o", "output"}, "The picture file, *.tif or *.png.", "file");
    const QCommandLineOption size("size", "Width and height in pixels, 1280x1024 unless given.", "WxH",
                                  "1280x1024");
    const QCommandLineOption seed("seed", "Another seed, another noise; 1 unless given.", "N", "1");
    const QCommandLineOption frames("frames", "Write <N> frames as the pages of one TIFF.", "N", "1");
    const QCommandLineOption bitDepth("bit-depth", "Significant bits, 8 to 16; the scene's own unless given.",
                                      "N");
    const QCommandLineOption saltAndPepper(
        "salt-and-pepper",
        "Percent of the samples, 0 to 100, that are all black or all white; 0 unless given.", "N", "0");
    CzCommandLine line("generate", QStringLiteral("SCENE -o FILE"),
                       QStringLiteral("Writes a synthetic raw picture with its sidecar. Scenes: %1.")
                           .arg(sceneNames().join(QLatin1String(", "))));
    for (const QCommandLineOption& option : {output, size, seed, frames, bitDepth, saltAndPepper})
        line.add(option);
    if (const auto code = line.parse(arguments, 1, 1))
        return *code;

    const QString scene = line.operands().first();
    if (!sceneNames().contains(scene)) {
        say(QStringLiteral("The scene '%1' is unknown; expected one of %2.")
                .arg(scene, sceneNames().join(QLatin1String(", "))));
        return EzExitCode::Misuse;
    }
    const QString path = line.value(output);
    const std::optional<EzPictureFormat> format = formatOf(path);
    if (!format) {
        say(QStringLiteral(
                "-o '%1' names no picture file to write; expected a name that ends in .tif or .png.")
                .arg(path));
        return EzExitCode::Misuse;
    }
    SzSceneSettings settings;
    if (!parseSize(line.value(size), settings)) {
        say(QStringLiteral("--size '%1' is no size; expected WIDTHxHEIGHT, each from 1 to 99999.")
                .arg(line.value(size)));
        return EzExitCode::Misuse;
    }
    const auto seedNumber = line.number(seed, 0, std::numeric_limits<std::uint32_t>::max());
    const auto frameCount = line.number(frames, 1, 9999);
    const auto percent = line.number(saltAndPepper, 0, 100);
    if (!seedNumber || !frameCount || !percent)
        return EzExitCode::Misuse;
    settings.seed = *seedNumber;
    settings.saltAndPepper = *percent;
    if (line.isSet(bitDepth)) {
        const auto bits = line.number(bitDepth, 8, 16);
        if (!bits)
            return EzExitCode::Misuse;
        settings.bitDepth = *bits;
    }
    if (*frameCount > 1 && *format != EzPictureFormat::Tiff) {
        say(QStringLiteral("'%1' cannot hold %2 frames; expected a name that ends in .tif.")
                .arg(path, QString::number(*frameCount)));
        return EzExitCode::Misuse;
    }

    // All frames are in memory, twice while they are written.
    constexpr std::uint64_t mostPixels = std::uint64_t{1} << 31;
    const std::uint64_t framePixels = std::uint64_t{settings.width} * settings.height;
    if (framePixels * *frameCount > mostPixels) {
        say(QStringLiteral("%1 frames of %2 are too much for one file; expected %3 pixels in all at most.")
                .arg(QString::number(*frameCount), line.value(size), QString::number(mostPixels)));
        return EzExitCode::Misuse;
    }

    std::vector<std::unique_ptr<CzImageData>> pictures;
    QVector<const CzImageData*> pages;
    for (settings.frame = 1; settings.frame <= *frameCount; ++settings.frame) {
        pictures.push_back(renderScene(scene, settings));
        if (!pictures.back()) {
            say(QStringLiteral("There is not enough memory for %1 frames of %2.")
                    .arg(QString::number(*frameCount), line.value(size)));
            return EzExitCode::Failed;
        }
        pages.append(pictures.back().get());
    }
    QString error;
    const bool written = pages.size() == 1 ? writePicture(path, *format, *pages.first(), &error)
                                           : writePictures(path, pages, &error);
    if (!written)
        say(error);
    return written ? EzExitCode::Success : EzExitCode::Failed;
}
