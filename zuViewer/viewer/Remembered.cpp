// SPDX-License-Identifier: GPL-3.0-or-later
#include "Remembered.h"

#include <QFileInfo>
#include <QMainWindow>
#include <QSettings>

namespace {

constexpr int recentChains = 8;

const QString geometryKey = QStringLiteral("window/geometry");
const QString layoutKey = QStringLiteral("window/layout");
const QString recentKey = QStringLiteral("chains/recent");
const QString lastChain = QStringLiteral("chains/last");
const QString chainAside = QStringLiteral("chains/aside");
const QString sourcePathsKey = QStringLiteral("source/paths");
const QString sourceSceneKey = QStringLiteral("source/scene");

void writeChain(QSettings& settings, const QString& key, const SzRememberedChain& chain) {
    settings.setValue(key + QLatin1String("Path"), chain.path);
    settings.setValue(key + QLatin1String("Text"), chain.text);
}

SzRememberedChain readChain(const QSettings& settings, const QString& key) {
    return {settings.value(key + QLatin1String("Path")).toString(),
            settings.value(key + QLatin1String("Text")).toByteArray()};
}

} // namespace

void rememberWork(const SzRememberedWork& work) {
    QSettings settings;
    writeChain(settings, lastChain, work.chain);
    settings.setValue(sourcePathsKey, work.sourcePaths);
    settings.setValue(sourceSceneKey, work.sourceScene);
    settings.sync();
}

SzRememberedWork rememberedWork() {
    const QSettings settings;
    return {readChain(settings, lastChain), settings.value(sourcePathsKey).toStringList(),
            settings.value(sourceSceneKey).toString()};
}

void setRememberedChainAside() {
    QSettings settings;
    if (const SzRememberedChain chain = readChain(settings, lastChain); !chain.text.isEmpty())
        writeChain(settings, chainAside, chain);
}

SzRememberedChain chainSetAside() {
    return readChain(QSettings(), chainAside);
}

void forgetChainSetAside() {
    QSettings settings;
    writeChain(settings, chainAside, {});
}

void rememberChainFile(const QString& path) {
    QSettings settings;
    QStringList recent = settings.value(recentKey).toStringList();
    const QString absolute = QFileInfo(path).absoluteFilePath();
    recent.removeAll(absolute);
    recent.prepend(absolute);
    settings.setValue(recentKey, QStringList(recent.mid(0, recentChains)));
}

QStringList rememberedChainFiles() {
    return QSettings().value(recentKey).toStringList();
}

void rememberLayout(const QMainWindow& window) {
    QSettings settings;
    settings.setValue(geometryKey, window.saveGeometry());
    settings.setValue(layoutKey, window.saveState());
}

void restoreRememberedLayout(QMainWindow& window) {
    const QSettings settings;
    window.restoreGeometry(settings.value(geometryKey).toByteArray());
    window.restoreState(settings.value(layoutKey).toByteArray());
}
