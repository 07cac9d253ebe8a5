// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExitCode.h"

#include <QStringList>

/// zurun info: captions and formats of a chain for a picture, without running it.
EzExitCode infoCommand(const QStringList& arguments);
