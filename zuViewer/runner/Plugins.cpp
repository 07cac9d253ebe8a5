// SPDX-License-Identifier: GPL-3.0-or-later
#include "Plugins.h"

#include "Chainable.h"
#include "Console.h"
#include "PluginLoader.h"
#include "RTTI.h"

#include <QDomDocument>
#include <QRegularExpression>

void loadPlugins(CzPluginLoader& loader) {
    loader.loadUsualFolders();
    for (const QString& error : loader.errors())
        say(error);
}

QStringList elementIds() {
    QStringList ids;
    const auto classes = CzRTTI::instance()->classes(QStringLiteral("CzChainable"));
    for (const QMetaObject* metaObject : classes)
        ids.append(CzRTTI::uniqueId(*metaObject));
    return ids;
}

QMap<QString, QString> settingsOf(const CzChainable& element) {
    QDomDocument document;
    QDomElement xml = document.createElement(QStringLiteral("chainable"));
    element.saveSettings(document, xml);
    QMap<QString, QString> settings;
    const QDomNamedNodeMap attributes = xml.attributes();
    for (int i = 0; i < attributes.count(); ++i) {
        const QDomAttr attribute = attributes.item(i).toAttr();
        if (attribute.name() != QLatin1String("uniqueId") && attribute.name() != QLatin1String("state"))
            settings.insert(attribute.name(), attribute.value());
    }
    return settings;
}

QString findElementId(const QString& name) {
    const QStringList ids = elementIds();
    if (ids.contains(name))
        return name;
    const QStringList found =
        ids.filter(QRegularExpression(QStringLiteral("\\.%1$").arg(QRegularExpression::escape(name))));
    if (found.size() == 1)
        return found.first();
    if (found.isEmpty())
        say(QStringLiteral("There is no element '%1'; expected one of %2.")
                .arg(name, ids.isEmpty() ? QStringLiteral("none at all: no plug-in is loaded")
                                         : ids.join(QLatin1String(", "))));
    else
        say(QStringLiteral("'%1' could be %2; expected the identifier in full.")
                .arg(name, found.join(QLatin1String(" or "))));
    return QString();
}
