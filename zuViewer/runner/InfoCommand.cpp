// SPDX-License-Identifier: GPL-3.0-or-later
#include "InfoCommand.h"

#include "Chain.h"
#include "ChainFile.h"
#include "ChainSetup.h"
#include "CommandLine.h"
#include "Console.h"
#include "FrameSource.h"
#include "Inputs.h"
#include "PluginLoader.h"
#include "Plugins.h"

#include <QJsonArray>
#include <QJsonObject>

#include <optional>

namespace {

/// The format on a link of the chain; empty where it is not known.
using Link = std::optional<SzPicBufInfo>;

QString dataTypeName(EzImageDataType dataType) {
    switch (dataType) {
    case EzImageDataType::Undefined:
        return QStringLiteral("undefined");
    case EzImageDataType::Int8:
        return QStringLiteral("8-bit signed");
    case EzImageDataType::UInt8:
        return QStringLiteral("8-bit");
    case EzImageDataType::Int16:
        return QStringLiteral("16-bit signed");
    case EzImageDataType::UInt16:
        return QStringLiteral("16-bit");
    case EzImageDataType::SpectrumFloat32:
        return QStringLiteral("spectrum");
    case EzImageDataType::UInt32:
        return QStringLiteral("32-bit");
    case EzImageDataType::Float32:
        return QStringLiteral("float");
    case EzImageDataType::Float64:
        return QStringLiteral("64-bit float");
    case EzImageDataType::Float16:
        return QStringLiteral("16-bit float");
    }
    return QStringLiteral("type %1").arg(quint32(dataType));
}

QString filterArrayName(EzColorFilterArray filterArray) {
    switch (filterArray) {
    case EzColorFilterArray::None:
        return QString();
    case EzColorFilterArray::BayerRGGB:
        return QStringLiteral("Bayer RGGB");
    case EzColorFilterArray::BayerGRBG:
        return QStringLiteral("Bayer GRBG");
    case EzColorFilterArray::BayerGBRG:
        return QStringLiteral("Bayer GBRG");
    case EzColorFilterArray::BayerBGGR:
        return QStringLiteral("Bayer BGGR");
    case EzColorFilterArray::CMYG:
        return QStringLiteral("CMYG");
    case EzColorFilterArray::RGBR:
        return QStringLiteral("RGBR");
    case EzColorFilterArray::Hyperspectral:
        return QStringLiteral("hyperspectral mosaic");
    }
    return QStringLiteral("filter array %1").arg(quint32(filterArray));
}

/// As in "1280 x 1024, 1 channel, 16-bit (12 significant), Bayer RGGB, lines of 2560 bytes".
QString toText(const Link& link) {
    if (!link)
        return QStringLiteral("unknown");
    QStringList parts{QStringLiteral("%1 x %2").arg(link->width).arg(link->height),
                      link->channels == 1 ? QStringLiteral("1 channel")
                                          : QStringLiteral("%1 channels").arg(link->channels)};
    QString type = dataTypeName(link->dataType);
    if (link->bitDepth != 8 * bytesPerSample(link->dataType))
        type += QStringLiteral(" (%1 significant)").arg(link->bitDepth);
    parts.append(type);
    if (link->storageFormat == EzDataStorageFormat::Planar)
        parts.append(QStringLiteral("planar"));
    if (link->storageFormat == EzDataStorageFormat::HostPacked)
        parts.append(QStringLiteral("host-packed"));
    if (link->isColor)
        parts.append(QStringLiteral("colour"));
    if (link->colorFilterArray != EzColorFilterArray::None)
        parts.append(filterArrayName(link->colorFilterArray));
    parts.append(QStringLiteral("lines of %1 bytes").arg(link->linePitch));
    return parts.join(QLatin1String(", "));
}

/// With the keys and values of a sidecar.
QJsonValue toJson(const Link& link) {
    if (!link)
        return QJsonValue();
    return QJsonObject{{"width", qint64(link->width)},
                       {"height", qint64(link->height)},
                       {"linePitch", qint64(link->linePitch)},
                       {"channels", qint64(link->channels)},
                       {"bitDepth", qint64(link->bitDepth)},
                       {"dataType", qint64(link->dataType)},
                       {"storageFormat", qint64(link->storageFormat)},
                       {"colorFilterArray", qint64(link->colorFilterArray)},
                       {"isColor", link->isColor}};
}

Link outputOf(CzChainable* element) {
    auto* provider = qobject_cast<CzImageProvider*>(element);
    SzPicBufInfo format;
    if (provider && provider->currentOutputImageInfo(format, nullptr))
        return format;
    return std::nullopt;
}

QString infoText(const CzChain& chain) {
    QString text = QStringLiteral("     %1\n").arg(toText(outputOf(&chain.source())));
    for (int i = 0; i < chain.elements().size(); ++i) {
        CzChainable* element = chain.elements().at(i);
        const bool bypassed = element->state() == EzChainableState::Bypassed;
        text += QStringLiteral("%1  %2%3\n     %4\n")
                    .arg(QString::number(i).rightJustified(3), element->caption(),
                         bypassed ? QStringLiteral(" (bypassed)") : QString(), toText(outputOf(element)));
    }
    return text;
}

QJsonObject infoJson(const CzChain& chain, const CzChainFile& file) {
    QJsonArray elements;
    for (int i = 0; i < chain.elements().size(); ++i) {
        CzChainable* element = chain.elements().at(i);
        elements.append(QJsonObject{{"uniqueId", file.uniqueId(i)},
                                    {"caption", element->caption()},
                                    {"bypassed", element->state() == EzChainableState::Bypassed},
                                    {"output", toJson(outputOf(element))}});
    }
    return {{"input", toJson(outputOf(&chain.source()))}, {"elements", elements}};
}

} // namespace

EzExitCode infoCommand(const QStringList& arguments) {
    const QCommandLineOption json("json", "Print as JSON, with the keys of a sidecar.");
    CzCommandLine line("info", "CHAIN INPUT",
                       "Shows each element's caption and the format on every link for the first picture of "
                       "INPUT, without running the chain.");
    line.add(json);
    if (const auto code = line.parse(arguments, 2, 2))
        return *code;

    CzPluginLoader plugins;
    loadPlugins(plugins);
    const QString chainPath = line.operands().first();
    CzChainFile file;
    CzChain chain;
    if (!readChain(chainPath, {}, file) || !buildChain(chainPath, file, chain))
        return EzExitCode::Misuse;

    QVector<SzInputFile> files;
    const EzExitCode resolved = resolveInputs(line.operands().mid(1), QString(), files);
    if (resolved != EzExitCode::Success)
        return resolved;
    const std::optional<SzInputFrame> frame = CzInputSequence(files, 1).next();
    if (!frame || !frame->picture) {
        if (frame)
            say(frame->error);
        return EzExitCode::Failed;
    }
    for (const QString& warning : frame->warnings)
        say(warning);
    chain.source().setFormat(frame->picture->picBuf(), frame->picture->imageMetadata());

    const EzExitCode printed =
        line.isSet(json) ? printResult(infoJson(chain, file)) : printResult(infoText(chain));
    return allElementsKnown(file) ? printed : EzExitCode::Misuse;
}
