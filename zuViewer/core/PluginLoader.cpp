// SPDX-License-Identifier: GPL-3.0-or-later
#include "PluginLoader.h"

#include "CoreVersion.h"
#include "Plugin.h"
#include "RTTI.h"

#include <QDir>
#include <QJsonObject>
#include <QLibrary>
#include <QPluginLoader>

#include <tuple>

namespace {

const QString kInterface = QStringLiteral(CzProcessingPlugin_iid);

/// Why the plug-in cannot be used with this core; empty when it can.
QString initializationError(CzPlugin& plugin) {
    std::tuple<int, int, int> needed;
    std::tuple<int, int, int> present;
    plugin.coreVersion(std::get<0>(needed), std::get<1>(needed), std::get<2>(needed));
    zuCoreVersion(std::get<0>(present), std::get<1>(present), std::get<2>(present));
    if (needed > present) {
        const auto text = [](const std::tuple<int, int, int>& version) {
            return QStringLiteral("%1.%2.%3")
                .arg(std::get<0>(version))
                .arg(std::get<1>(version))
                .arg(std::get<2>(version));
        };
        return CzPluginLoader::tr("it needs core version %1, this is %2").arg(text(needed), text(present));
    }
    bool initialized = false;
    try {
        initialized = plugin.initialize();
    } catch (...) { // whatever it throws, the others load
    }
    if (initialized)
        return {};
    CzRTTI::instance()->unregisterClasses(&plugin);
    return CzPluginLoader::tr("its initialisation failed");
}

} // namespace

CzPluginLoader::CzPluginLoader() = default;

CzPluginLoader::~CzPluginLoader() {
    for (CzPlugin* plugin : m_plugins) {
        CzRTTI::instance()->unregisterClasses(plugin);
        plugin->finish();
    }
}

bool CzPluginLoader::loadFolder(const QString& folder) {
    const QDir directory(folder);
    if (!directory.exists()) {
        m_errors.append(tr("%1: there is no such plug-in folder.").arg(QDir::toNativeSeparators(folder)));
        return false;
    }
    bool allLoaded = true;
    for (const QString& name : directory.entryList(QDir::Files, QDir::Name))
        if (QLibrary::isLibrary(name))
            allLoaded &= loadFile(directory.absoluteFilePath(name));
    return allLoaded;
}

bool CzPluginLoader::loadFile(const QString& file) {
    const auto refuse = [&](const QString& reason) {
        m_errors.append(tr("%1 was not loaded: %2.").arg(QDir::toNativeSeparators(file), reason));
        return false;
    };

    QPluginLoader loader(file);
    const QString interface = loader.metaData().value(QLatin1String("IID")).toString();
    if (interface.isEmpty())
        return refuse(tr("it is no plug-in"));
    if (interface != kInterface)
        return refuse(tr("its interface is %1, not %2").arg(interface, kInterface));

    QObject* const instance = loader.instance();
    if (!instance)
        return refuse(loader.errorString());
    auto* const plugin = qobject_cast<CzPlugin*>(instance);
    if (!plugin) {
        loader.unload();
        return refuse(tr("it does not offer %1").arg(QLatin1String(qobject_interface_iid<CzPlugin*>())));
    }
    if (m_plugins.contains(plugin))
        return true;
    const QString error = initializationError(*plugin);
    if (!error.isEmpty()) {
        loader.unload();
        return refuse(error);
    }
    m_plugins.append(plugin);
    return true;
}

bool CzPluginLoader::loadUsualFolders() {
    QStringList folders =
        qEnvironmentVariable("ZUVIEWER_PLUGIN_PATH").split(QDir::listSeparator(), Qt::SkipEmptyParts);
    if (folders.isEmpty())
        folders.append(
            QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../" ZU_PLUGIN_DIR)));
    bool allLoaded = true;
    for (const QString& folder : qAsConst(folders))
        allLoaded &= loadFolder(folder);
    return allLoaded;
}
