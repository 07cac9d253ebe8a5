// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExitCode.h"

#include <QStringList>

/// zurun generate: synthetic raw pictures.
EzExitCode generateCommand(const QStringList& arguments);
