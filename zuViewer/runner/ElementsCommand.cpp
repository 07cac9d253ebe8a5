// SPDX-License-Identifier: GPL-3.0-or-later
#include "ElementsCommand.h"

#include "Chainable.h"
#include "CommandLine.h"
#include "Console.h"
#include "PluginLoader.h"
#include "Plugins.h"
#include "RTTI.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTextDocumentFragment>

#include <memory>

namespace {

struct CatalogueEntry {
    QString uniqueId;
    QString name;
    QString help; ///< plain text
    QMap<QString, QString> settings;
};

CatalogueEntry describe(const QString& uniqueId) {
    const CzRTTI* registry = CzRTTI::instance();
    CatalogueEntry entry{uniqueId, CzRTTI::customName(*registry->findClass(uniqueId)), {}, {}};
    const std::unique_ptr<CzChainable> element(registry->createChainable(uniqueId));
    if (element) {
        QString topic;
        if (element->hasHelp())
            entry.help = QTextDocumentFragment::fromHtml(element->help(topic)).toPlainText();
        entry.settings = settingsOf(*element);
    }
    return entry;
}

QString toText(const CatalogueEntry& entry) {
    QString text = QStringLiteral("%1\n    %2\n").arg(entry.uniqueId, entry.name);
    for (const QString& line : entry.help.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        text += QStringLiteral("    %1\n").arg(line);
    for (auto setting = entry.settings.begin(); setting != entry.settings.end(); ++setting)
        text += QStringLiteral("    %1=%2\n").arg(setting.key(), setting.value());
    return text;
}

QJsonObject toJson(const CatalogueEntry& entry) {
    QJsonObject settings;
    for (auto setting = entry.settings.begin(); setting != entry.settings.end(); ++setting)
        settings.insert(setting.key(), setting.value());
    return {{"uniqueId", entry.uniqueId}, {"name", entry.name}, {"help", entry.help}, {"settings", settings}};
}

} // namespace

EzExitCode elementsCommand(const QStringList& arguments) {
    const QCommandLineOption json("json", "Print the catalogue as JSON.");
    CzCommandLine line(
        "elements", "[ID]",
        "Lists the elements that chains can be made of, or one of them: identifier, name, help "
        "and settings with their defaults.");
    line.add(json);
    if (const auto code = line.parse(arguments, 0, 1))
        return *code;

    CzPluginLoader plugins;
    loadPlugins(plugins);
    QStringList ids = elementIds();
    if (!line.operands().isEmpty()) {
        const QString id = findElementId(line.operands().first());
        if (id.isEmpty())
            return EzExitCode::Misuse;
        ids = QStringList{id};
    }

    QStringList texts;
    QJsonArray objects;
    for (const QString& id : qAsConst(ids)) {
        const CatalogueEntry entry = describe(id);
        texts.append(toText(entry));
        objects.append(toJson(entry));
    }
    return line.isSet(json) ? printResult(QJsonObject{{"elements", objects}})
                            : printResult(texts.join(QLatin1Char('\n')));
}
