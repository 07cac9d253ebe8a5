// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

class CzMainWindow;

/// Takes the window through the stops of a tour (docs/file-formats.md) and saves a picture of it at each:
/// stop "bayer" as bayer.png in the folder, which is made. Says on standard error what goes wrong, and goes
/// on; false then.
bool goOnTour(CzMainWindow& window, const QString& tour, const QString& folder);
