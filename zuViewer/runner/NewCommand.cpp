// SPDX-License-Identifier: GPL-3.0-or-later
#include "NewCommand.h"

#include "ChainFile.h"
#include "CommandLine.h"
#include "Console.h"
#include "PluginLoader.h"
#include "Plugins.h"

#include <limits>

EzExitCode newCommand(const QStringList& arguments) {
    CzCommandLine line("new", "ID...",
                       "Prints a chain file of these elements with their default settings. An ID is an "
                       "identifier in full or its last part, as 'zurun elements' lists them.");
    if (const auto code = line.parse(arguments, 1, std::numeric_limits<int>::max()))
        return *code;

    CzPluginLoader plugins;
    loadPlugins(plugins);
    CzChainFile file;
    for (const QString& operand : line.operands()) {
        const QString id = findElementId(operand);
        if (id.isEmpty())
            return EzExitCode::Misuse;
        if (!file.appendDefault(id)) {
            say(QStringLiteral("The class '%1' makes no elements of its own.").arg(id));
            return EzExitCode::Misuse;
        }
    }
    return printResult(file.toXml());
}
