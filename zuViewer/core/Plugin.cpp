// SPDX-License-Identifier: GPL-3.0-or-later
#include "Plugin.h"

#include "CoreVersion.h"

CzPlugin::~CzPlugin() = default;

void CzPlugin::finish() {}

void CzPlugin::loadSettings(QSettings*) {}

void CzPlugin::saveSettings(QSettings*) {}

QString CzPlugin::copyrightNotice() const {
    return {};
}

QString CzPlugin::version() const {
    int major = 0;
    int minor = 0;
    int build = 0;
    zuCoreVersion(major, minor, build);
    return QStringLiteral("%1.%2.%3").arg(major).arg(minor).arg(build);
}

void CzPlugin::activeViewChanged(int) {}

void CzPlugin::viewAboutToClose(int) {}

void CzPlugin::newCameraConnected(void*) {}

void CzPlugin::cameraDisconnected(void*) {}

void CzPlugin::viewGotNewImage(int, const CzImageData*) {}

bool CzPlugin::viewMouseBtnPressEvent(int, QGraphicsSceneMouseEvent*) {
    return false;
}

bool CzPlugin::viewMouseMoveEvent(int, QGraphicsSceneMouseEvent*) {
    return false;
}

bool CzPlugin::viewMouseBtnReleaseEvent(int, QGraphicsSceneMouseEvent*) {
    return false;
}

bool CzPlugin::viewMouseDoubleClickEvent(int, QGraphicsSceneMouseEvent*) {
    return false;
}

bool CzPlugin::customCommand(const QString&, int, int, void*, void*) {
    return false;
}
