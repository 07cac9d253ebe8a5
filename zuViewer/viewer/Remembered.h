// SPDX-License-Identifier: GPL-3.0-or-later
// What the program remembers from one run to the next, in the settings.
#pragma once

#include "Scenes.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

class QMainWindow;

/// A chain, by its file, its text or both.
struct SzRememberedChain {
    QString path;    ///< empty: it has no file
    QByteArray text; ///< when it differs from its file, or has none; empty: the file says it all
};

/// What was played, and how.
struct SzRememberedSource {
    QStringList paths; ///< of files and folders; empty: a synthetic camera, or nothing
    QString scene;
    SzSceneSettings camera; ///< its size, noise and motion
    double rate = 25.0;     ///< frames per second; 0: as fast as possible
    bool looped = true;
};

/// What was processed, and with which chain.
struct SzRememberedWork {
    SzRememberedChain chain;
    SzRememberedSource source;
};

/// Written when it returns: nobody will do so after a crash.
void rememberWork(const SzRememberedWork& work);
SzRememberedWork rememberedWork();

/// Keeps the remembered chain, if it was not saved, when another one is about to take its place.
void setRememberedChainAside();
/// The one that was set aside last; neither path nor text: none.
SzRememberedChain chainSetAside();
void forgetChainSetAside();

/// The files of chains, the last one first.
void rememberChainFile(const QString& path);
QStringList rememberedChainFiles();

/// The places and sizes of a window and its parts.
void rememberLayout(const QMainWindow& window);
void restoreRememberedLayout(QMainWindow& window);
