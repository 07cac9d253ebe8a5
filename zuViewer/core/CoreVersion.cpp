// SPDX-License-Identifier: GPL-3.0-or-later
#include "CoreVersion.h"

void zuCoreVersion(int& major, int& minor, int& build) {
    major = ZU_VERSION_MAJOR;
    minor = ZU_VERSION_MINOR;
    build = ZU_VERSION_PATCH;
}
