// SPDX-License-Identifier: GPL-3.0-or-later
// zurun: pictures through a saved chain, without a window.
#include "CommandLine.h"
#include "Console.h"
#include "CoreVersion.h"
#include "ElementsCommand.h"
#include "GenerateCommand.h"
#include "InfoCommand.h"
#include "NewCommand.h"
#include "RunCommand.h"

#include <QApplication>
#include <QLocale>
#include <QLoggingCategory>
#include <QTextCodec>

#include <clocale>

namespace {

struct Command {
    const char* name;
    const char* description;
    EzExitCode (*function)(const QStringList& arguments);
};

constexpr Command commands[] = {
    {"run", "Runs pictures through a chain and writes the results.", runCommand},
    {"info", "Shows the captions and formats of a chain for a picture.", infoCommand},
    {"elements", "Lists the elements that chains can be made of.", elementsCommand},
    {"new", "Prints a chain file with default settings.", newCommand},
    {"generate", "Writes a synthetic raw picture.", generateCommand},
};

QString helpText() {
    QString text = QStringLiteral("Usage: zurun COMMAND [options] ...\n"
                                  "Runs pictures through a saved chain of processing elements.\n\n"
                                  "Commands:\n");
    for (const Command& command : commands)
        text += QStringLiteral("  %1 %2\n").arg(QLatin1String(command.name), -10).arg(command.description);
    text +=
        QStringLiteral("\n'zurun COMMAND --help' explains a command, 'zurun --version' tells the version.\n\n"
                       "Exit code: 0; 1 when a frame, an element or a file failed and the rest was done; 2 "
                       "when the\ncommand line, the chain or a sidecar is wrong; 128 and the signal's number "
                       "when a run\nwas interrupted (130 by Ctrl-C).\n\n"
                       "ZUVIEWER_PLUGIN_PATH names the folders with plug-ins, in place of the installed "
                       "ones.\n");
    return text;
}

QString versionText() {
    int major = 0;
    int minor = 0;
    int build = 0;
    zuCoreVersion(major, minor, build);
    return QStringLiteral("zurun %1.%2.%3\n").arg(major).arg(minor).arg(build);
}

EzExitCode dispatch(const QStringList& arguments) {
    const QString name = arguments.value(1);
    if (name == QLatin1String("--help") || name == QLatin1String("-h"))
        return printResult(helpText());
    if (name == QLatin1String("--version") || name == QLatin1String("-v"))
        return printResult(versionText());
    for (const Command& command : commands) {
        if (name == QLatin1String(command.name))
            return command.function(arguments);
    }
    say(name.isEmpty()
            ? QStringLiteral("A command is missing; 'zurun --help' lists them.")
            : QStringLiteral("The command '%1' is unknown; 'zurun --help' lists those there are.").arg(name));
    return EzExitCode::Misuse;
}

} // namespace

int main(int argc, char** argv) {
    // Elements may own widgets and draw text, but nothing is ever shown, with a display or without.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Outside of a session Qt remarks that XDG_RUNTIME_DIR is missing, which nothing here uses.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false"));
    QApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QString());
    // Numbers are read and written with a point, wherever the user lives.
    std::setlocale(LC_NUMERIC, "C");
    QLocale::setDefault(QLocale::c());
    // File names are UTF-8, also where the locale admits to ASCII only.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    return int(dispatch(QApplication::arguments()));
}
