// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Plugin.h"

#include <QObject>

/// What the module shows the host: its name, and the classes of its elements.
class CzProcessingPlugin : public QObject, public CzPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CzProcessingPlugin_iid)
    Q_INTERFACES(CzPlugin)
public:
    CzProcessingPlugin();

    bool initialize() override;
    QString pluginName() override;
    QString vendorName() override;
    QString pluginDescription() override;
    void coreVersion(int& major, int& minor, int& build) override;
    QString vendorUrl() override;
};
