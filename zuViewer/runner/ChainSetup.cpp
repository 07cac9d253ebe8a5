// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainSetup.h"

#include "Chain.h"
#include "ChainFile.h"
#include "Chainable.h"
#include "Console.h"
#include "Plugins.h"
#include "RTTI.h"

#include <QRegularExpression>

#include <cmath>
#include <memory>

namespace {

bool isNumber(const QString& text) {
    bool ok = false;
    const double number = text.toDouble(&ok);
    return ok && std::isfinite(number);
}

/// Why an element of this class has no such setting; empty when it has. Only a loaded class can tell.
QString settingError(const QString& uniqueId, const QString& key, const QString& value) {
    const std::unique_ptr<CzChainable> element(CzRTTI::instance()->createChainable(uniqueId));
    if (!element || key == QLatin1String("state"))
        return QString();
    const QMap<QString, QString> settings = settingsOf(*element);
    if (!settings.contains(key))
        return QStringLiteral("expected a setting of '%1' before '=': %2")
            .arg(uniqueId, settings.isEmpty() ? QStringLiteral("it has none")
                                              : QStringList(settings.keys()).join(QLatin1String(", ")));
    if (isNumber(settings.value(key)) && !isNumber(value))
        return QStringLiteral("expected a number after '='");
    return QString();
}

QString changeError(const QString& path, const QString& change, CzChainFile& file) {
    static const QRegularExpression pattern(QStringLiteral(R"(^(\d+)\.([^=.]+)=(.*)$)"));
    const QRegularExpressionMatch match = pattern.match(change);
    if (!match.hasMatch())
        return QStringLiteral("expected INDEX.KEY=VALUE, such as 0.kernelSize=5");
    bool ok = false;
    const int index = match.captured(1).toInt(&ok);
    if (file.count() == 0)
        return QStringLiteral("'%1' has no elements").arg(path);
    if (!ok || index >= file.count())
        return QStringLiteral("expected the number of an element of '%1', from 0 to %2")
            .arg(path, QString::number(file.count() - 1));
    const QString key = match.captured(2);
    const QString value = match.captured(3);
    QString error = settingError(file.uniqueId(index), key, value);
    if (error.isEmpty() && !file.setAttribute(index, key, value, &error) && error.isEmpty())
        error = QStringLiteral("it cannot be set");
    return error;
}

} // namespace

bool readChain(const QString& path, const QStringList& changes, CzChainFile& file) {
    QString error;
    if (!file.read(path, &error)) {
        say(error);
        return false;
    }
    for (const QString& change : changes) {
        error = changeError(path, change, file);
        if (!error.isEmpty()) {
            say(QStringLiteral("--set %1: %2.").arg(change, error));
            return false;
        }
    }
    return true;
}

bool buildChain(const QString& path, const CzChainFile& file, CzChain& chain) {
    QStringList warnings;
    QString error;
    const bool built = file.appendTo(chain, &warnings, &error);
    for (const QString& warning : warnings)
        say(QStringLiteral("%1: %2").arg(path, warning));
    if (!built)
        say(QStringLiteral("%1: %2").arg(path, error));
    return built;
}

bool allElementsKnown(const CzChainFile& file) {
    for (int i = 0; i < file.count(); ++i) {
        if (!CzRTTI::instance()->findClass(file.uniqueId(i)))
            return false;
    }
    return true;
}
