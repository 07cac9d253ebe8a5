// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunCommand.h"

#include "Chain.h"
#include "ChainFile.h"
#include "ChainSetup.h"
#include "CommandLine.h"
#include "Console.h"
#include "FrameSource.h"
#include "Inputs.h"
#include "Interruption.h"
#include "PluginLoader.h"
#include "Plugins.h"
#include "Progress.h"
#include "RunRecord.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include <limits>

namespace {

bool isOutputName(const QString& name) {
    static const QRegularExpression pattern(QStringLiteral("^[0-9]{5,}\\.(tif|png)$"));
    return pattern.match(name).hasMatch();
}

/// The first input file that an output could overwrite, by its name or through a link; empty when there is
/// none.
QString inputInTheWay(const QVector<SzInputFile>& files, const QString& outputFolder) {
    if (outputFolder.isEmpty())
        return QString();
    const QDir folder(outputFolder);
    QHash<QString, QString> inputs; // by the place where they really are
    for (const SzInputFile& file : files) {
        const QFileInfo input(file.path);
        if (input.absoluteDir() == folder && isOutputName(input.fileName()))
            return file.path;
        if (input.exists())
            inputs.insert(input.canonicalFilePath(), file.path);
    }
    for (const QFileInfo& output : folder.entryInfoList(QDir::Files))
        if (isOutputName(output.fileName()) && inputs.contains(output.canonicalFilePath()))
            return inputs.value(output.canonicalFilePath());
    return QString();
}

/// Sends the frames through the chain, until the last one or a signal, and waits for those that entered it.
/// Misuse when the chain does not start, Failed when the results have no place; it was said why.
EzExitCode run(CzChain& chain, CzInputSequence& inputs, CzRunRecord& record, CzProgress& progress,
               const CzInterruption& interruption) {
    const auto runsFor = [&](const SzInputFrame& frame) {
        if (!frame.picture || !chain.stopped())
            return true;
        // The elements set themselves up for the first frame's format.
        chain.source().setFormat(frame.picture->picBuf(), frame.picture->imageMetadata());
        if (chain.start())
            return true;
        progress.say(QStringLiteral("The chain does not start: %1").arg(chain.errorMessage()));
        return false;
    };
    std::optional<SzInputFrame> frame = inputs.next();
    // A chain that does not start leaves the results of an earlier run alone.
    if (frame && !runsFor(*frame))
        return EzExitCode::Misuse;
    if (!record.open())
        return EzExitCode::Failed;

    EzExitCode result = EzExitCode::Success;
    for (; frame && interruption.signal() == 0; frame = inputs.next()) {
        if (!runsFor(*frame)) {
            result = EzExitCode::Misuse;
            break;
        }
        if (!frame->picture)
            chain.waitUntilIdle(); // its line in the record follows those of the frames before it
        record.begin(*frame, inputs.expectedFrames());
        if (frame->picture)
            chain.source().push(std::move(frame->picture));
    }
    chain.waitUntilIdle();
    chain.stop();
    record.close();
    return result;
}

QString summaryText(const CzChain& chain, const CzRunRecord& record, const QString& folder) {
    const SzRunCounts& counts = record.counts();
    const double framesPerSecond = record.seconds() > 0 ? double(counts.frames()) / record.seconds() : 0.0;
    QString text =
        QStringLiteral("%1 %2 in %3 s (%4 frames/s): ")
            .arg(QString::number(counts.frames()),
                 counts.frames() == 1 ? QStringLiteral("frame") : QStringLiteral("frames"),
                 QString::number(record.seconds(), 'f', 3), QString::number(framesPerSecond, 'f', 1));
    text += folder.isEmpty()
                ? QStringLiteral("%1 delivered").arg(counts.delivered)
                : QStringLiteral("%1 written to '%2'").arg(QString::number(counts.written), folder);
    text += QStringLiteral(", %1 consumed, %2 failed\n").arg(counts.consumed).arg(counts.failed);
    for (int i = 0; i < chain.elements().size(); ++i) {
        text += QStringLiteral("%1  %2 ms  %3")
                    .arg(QString::number(i).rightJustified(3),
                         QString::number(record.meanMilliseconds(i), 'f', 3).rightJustified(10),
                         chain.elements().at(i)->caption());
        if (!record.firstError(i).isEmpty())
            text += QStringLiteral("  [%1]").arg(record.firstError(i));
        text += QLatin1Char('\n');
    }
    return text;
}

QJsonObject summaryJson(const CzChain& chain, const CzChainFile& file, const CzRunRecord& record,
                        const QString& folder) {
    const SzRunCounts& counts = record.counts();
    QJsonArray elements;
    for (int i = 0; i < chain.elements().size(); ++i)
        elements.append(QJsonObject{{"uniqueId", file.uniqueId(i)},
                                    {"caption", chain.elements().at(i)->caption()},
                                    {"meanMs", record.meanMilliseconds(i)},
                                    {"error", record.firstError(i)}});
    return {{"output", folder.isEmpty() ? QJsonValue() : QJsonValue(folder)},
            {"frames", qint64(counts.frames())},
            {"delivered", qint64(counts.delivered)},
            {"written", qint64(counts.written)},
            {"consumed", qint64(counts.consumed)},
            {"failed", qint64(counts.failed)},
            {"seconds", record.seconds()},
            {"elements", elements}};
}

} // namespace

EzExitCode runCommand(const QStringList& arguments) {
    const QCommandLineOption output({"o", "output"},
                                    "Write the results and manifest.jsonl to <folder>, which is made when it "
                                    "does not exist. Without it nothing is written.",
                                    "folder");
    const QCommandLineOption frames("frames", "Repeat or cut the input to <N> frames.", "N");
    const QCommandLineOption metadata(
        "metadata", "Describe all pictures by this sidecar instead of their own ones.", "file");
    const QCommandLineOption set("set",
                                 "Change a setting before the run, as in 0.kernelSize=5 for the first "
                                 "element. May be repeated.",
                                 "INDEX.KEY=VALUE");
    const QCommandLineOption format("format", "Write tiff (unless given) or png.", "tiff|png", "tiff");
    const QCommandLineOption json("json", "Print the summary as JSON.");

    CzCommandLine line("run", "CHAIN INPUT...",
                       "Runs pictures through a chain, in order, as one live sequence. An INPUT is a picture "
                       "file or a folder of them.");
    for (const QCommandLineOption& option : {output, frames, metadata, set, format, json})
        line.add(option);
    if (const auto code = line.parse(arguments, 2, std::numeric_limits<int>::max()))
        return *code;

    std::optional<std::uint32_t> frameLimit;
    if (line.isSet(frames)) {
        frameLimit = line.number(frames, 1, std::numeric_limits<int>::max());
        if (!frameLimit)
            return EzExitCode::Misuse;
    }
    const QString formatName = line.value(format);
    if (formatName != QLatin1String("tiff") && formatName != QLatin1String("png")) {
        say(QStringLiteral("--format '%1' is unknown; expected tiff or png.").arg(formatName));
        return EzExitCode::Misuse;
    }
    const QString folder = line.value(output);
    for (const QCommandLineOption& option : {output, metadata}) {
        if (line.isSet(option) && line.value(option).isEmpty()) {
            say(QStringLiteral("--%1 names no %2.").arg(option.names().last(), option.valueName()));
            return EzExitCode::Misuse;
        }
    }

    CzPluginLoader plugins;
    loadPlugins(plugins);
    const QString chainPath = line.operands().first();
    CzChainFile file;
    CzChain chain;
    if (!readChain(chainPath, line.values(set), file) || !buildChain(chainPath, file, chain) ||
        !allElementsKnown(file))
        return EzExitCode::Misuse;

    QVector<SzInputFile> files;
    const EzExitCode resolved = resolveInputs(line.operands().mid(1), line.value(metadata), files);
    if (resolved == EzExitCode::Misuse)
        return resolved;
    const QString endangered = inputInTheWay(files, folder);
    if (!endangered.isEmpty()) {
        say(QStringLiteral(
                "The input '%1' could be overwritten by a result; expected another folder after -o.")
                .arg(endangered));
        return EzExitCode::Misuse;
    }

    QStringList elementIds;
    for (int i = 0; i < file.count(); ++i)
        elementIds.append(file.uniqueId(i));
    CzProgress progress;
    CzRunRecord record(folder,
                       formatName == QLatin1String("png") ? EzPictureFormat::Png : EzPictureFormat::Tiff,
                       elementIds, progress);
    chain.setFrameObserver([&record](const SzFrameReport& report) { record.finish(report); });
    CzInputSequence inputs(files, frameLimit);
    const CzInterruption interruption;
    const EzExitCode ran = run(chain, inputs, record, progress, interruption);
    if (ran != EzExitCode::Success)
        return ran;
    if (interruption.signal() != 0)
        say(QStringLiteral("Interrupted: the frames that had been read by then are done, the rest is not."));

    const EzExitCode printed = line.isSet(json) ? printResult(summaryJson(chain, file, record, folder))
                                                : printResult(summaryText(chain, record, folder));
    if (interruption.signal() != 0)
        return interruptedBy(interruption.signal());
    return record.failed() ? EzExitCode::Failed : std::max(resolved, printed);
}
