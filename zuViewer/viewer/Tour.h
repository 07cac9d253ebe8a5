// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

class CzMainWindow;

/// Takes the window through the stops of a tour and saves a picture of it at each: stop "bayer" as bayer.png
/// in the folder, which is made. Says on standard error what goes wrong, and goes on; false then.
///
/// The tour is a JSON list of stops; every key but the name is optional:
///
///     [{ "name": "bayer", "scene": "bayer", "pictures": ["a.tif"], "chain": "a.zuchain", "select": 1,
///        "mode": 2, "range": 1, "band": 3, "click": [100, 80], "frames": 20 }]
///
/// Files are relative to the tour's own; select: the element, -1 being the source; mode, range: places in
/// the window's own lists; frames: how many to wait for.
bool goOnTour(CzMainWindow& window, const QString& tour, const QString& folder);
