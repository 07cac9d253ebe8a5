// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

/// The version of the zuCore library that is loaded, which may be newer than the one compiled against.
ZUCORE_EXPORT void zuCoreVersion(int& major, int& minor, int& build);
