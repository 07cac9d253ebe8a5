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
const QString widthKey = QStringLiteral("source/width");
const QString heightKey = QStringLiteral("source/height");
const QString noiseKey = QStringLiteral("source/noise");
const QString movesKey = QStringLiteral("source/moves");
const QString rateKey = QStringLiteral("source/rate");
const QString loopedKey = QStringLiteral("source/looped");

void writeChain(QSettings& settings, const QString& key, const SzRememberedChain& chain) {
    settings.setValue(key + QLatin1String("Path"), chain.path);
    settings.setValue(key + QLatin1String("Text"), chain.text);
}

SzRememberedChain readChain(const QSettings& settings, const QString& key) {
    return {settings.value(key + QLatin1String("Path")).toString(),
            settings.value(key + QLatin1String("Text")).toByteArray()};
}

void writeSource(QSettings& settings, const SzRememberedSource& source) {
    settings.setValue(sourcePathsKey, source.paths);
    settings.setValue(sourceSceneKey, source.scene);
    settings.setValue(widthKey, source.camera.width);
    settings.setValue(heightKey, source.camera.height);
    settings.setValue(noiseKey, static_cast<double>(source.camera.noise)); // as text
    settings.setValue(movesKey, source.camera.moves);
    settings.setValue(rateKey, source.rate);
    settings.setValue(loopedKey, source.looped);
}

SzRememberedSource readSource(const QSettings& settings) {
    SzRememberedSource source;
    source.paths = settings.value(sourcePathsKey).toStringList();
    source.scene = settings.value(sourceSceneKey).toString();
    source.camera.width = settings.value(widthKey, source.camera.width).toUInt();
    source.camera.height = settings.value(heightKey, source.camera.height).toUInt();
    source.camera.noise = settings.value(noiseKey, source.camera.noise).toFloat();
    source.camera.moves = settings.value(movesKey, source.camera.moves).toBool();
    source.rate = settings.value(rateKey, source.rate).toDouble();
    source.looped = settings.value(loopedKey, source.looped).toBool();
    return source;
}

} // namespace

void rememberWork(const SzRememberedWork& work) {
    QSettings settings;
    writeChain(settings, lastChain, work.chain);
    writeSource(settings, work.source);
    settings.sync();
}

SzRememberedWork rememberedWork() {
    const QSettings settings;
    return {readChain(settings, lastChain), readSource(settings)};
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
