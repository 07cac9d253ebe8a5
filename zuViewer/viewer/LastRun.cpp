// SPDX-License-Identifier: GPL-3.0-or-later
#include "LastRun.h"

#include <QSettings>

namespace {

const QString uncleanKey = QStringLiteral("run/unclean");

void mark(bool unclean) {
    QSettings settings;
    settings.setValue(uncleanKey, unclean);
    settings.sync(); // nobody will do so after a crash
}

} // namespace

CzLastRun::CzLastRun() : m_wasUnclean(QSettings().value(uncleanKey).toBool()) {
    mark(true);
}

CzLastRun::~CzLastRun() {
    mark(false);
}
