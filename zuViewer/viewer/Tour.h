// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

class CzMainWindow;

/// Takes the window through the stops of a tour and saves a picture of it at each: stop "bayer" as bayer.png
/// in the folder, which is made. Says on standard error what goes wrong, and goes on; false then.
///
/// The tour is a JSON list of stops; every key but the name is optional:
///
///     [{ "name": "bayer", "chain": "a.zuchain", "scene": "bayer", "pictures": ["a.tif"], "frames": 20,
///        "select": 1, "dock": "sensor", "mode": 2, "range": 1, "band": 3, "saturated": true,
///        "click": [100, 80] }]
///
/// Files are relative to the tour's own; chainText takes the place of a chain's file; frames: how many to
/// wait for; select: the element, -1 being the source; dock: the part that comes to the front; mode, range,
/// band: places in the window's own lists, which are 0 otherwise; click: a pixel of the picture.
bool goOnTour(CzMainWindow& window, const QString& tour, const QString& folder);
