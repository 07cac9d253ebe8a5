// SPDX-License-Identifier: GPL-3.0-or-later
#include "LastRun.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

namespace {

QString runningFile() {
    const QDir folder = QFileInfo(QSettings().fileName()).dir();
    folder.mkpath(QStringLiteral("."));
    return folder.filePath(QStringLiteral("running.lock"));
}

} // namespace

CzLastRun::CzLastRun() : m_running(runningFile()) {
    m_running.setStaleLockTime(0); // runs may be long: only those whose process is gone have ended
    const bool isLeftOver = QFile::exists(runningFile());
    m_wasUnclean = m_running.tryLock() && isLeftOver;
}
