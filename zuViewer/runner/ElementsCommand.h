// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExitCode.h"

#include <QStringList>

/// zurun elements: the catalogue of elements.
EzExitCode elementsCommand(const QStringList& arguments);
