// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExitCode.h"

#include <QStringList>

/// zurun run: pictures through a chain, results to files.
EzExitCode runCommand(const QStringList& arguments);
