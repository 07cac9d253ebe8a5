// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QCoreApplication>
#include <QString>
#include <QStringList>
#include <QVector>

class CzPlugin;

/// Loads plug-in modules through Qt's plug-in loader and initialises them. GUI thread.
class ZUCORE_EXPORT CzPluginLoader {
    Q_DECLARE_TR_FUNCTIONS(CzPluginLoader)
public:
    CzPluginLoader();
    /// Finishes the plug-ins. The libraries stay loaded: elements and widgets may still need their code.
    ~CzPluginLoader();

    /// Loads every library of a folder, in the order of their names. One sentence per file that was refused
    /// (no plug-in, another interface, made for a newer core, failed to initialise) is added to errors(); the
    /// others load. Files that are no libraries by their name are passed over. False when the folder does not
    /// exist or a file was refused.
    bool loadFolder(const QString& folder);

    /// Loads one file.
    bool loadFile(const QString& file);

    const QVector<CzPlugin*>& plugins() const { return m_plugins; }
    const QStringList& errors() const { return m_errors; }

    /// Loads the folders that ZUVIEWER_PLUGIN_PATH names (separated as in PATH) or, without it, the one where
    /// an installed program has its plug-ins: ../lib/zuviewer/plugins, as seen from the program's own folder.
    /// False as above.
    bool loadUsualFolders();

private:
    QVector<CzPlugin*> m_plugins;
    QStringList m_errors;
};
