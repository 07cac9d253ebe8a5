// SPDX-License-Identifier: GPL-3.0-or-later

// One source, several plug-ins that a loader meets: TEST_PLUGIN_IID, TEST_PLUGIN_INITIALIZES and
// TEST_PLUGIN_MAJOR tell them apart.

#include "Plugin.h"
#include "RTTI.h"
#include "support/ScriptedElement.h"

#include <stdexcept>

[[maybe_unused]] static bool throwing() {
    throw std::runtime_error("no");
}

class TestPlugin : public QObject, public CzPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID TEST_PLUGIN_IID)
    Q_INTERFACES(CzPlugin)
public:
    bool initialize() override {
        CzRTTI::instance()->registerClass(this, ScriptedElement::staticMetaObject,
                                          QStringLiteral("CzChainable"));
        return TEST_PLUGIN_INITIALIZES;
    }
    QString pluginName() override { return QStringLiteral("Test"); }
    QString vendorName() override { return QStringLiteral("Tests"); }
    QString pluginDescription() override { return QStringLiteral("For tests"); }
    void coreVersion(int& major, int& minor, int& build) override {
        major = TEST_PLUGIN_MAJOR;
        minor = 0;
        build = 0;
    }
    QString vendorUrl() override { return QString(); }
};

#include "TestPlugin.moc"
