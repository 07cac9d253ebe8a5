// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExitCode.h"

#include <QStringList>

/// zurun new: a chain file with default settings.
EzExitCode newCommand(const QStringList& arguments);
