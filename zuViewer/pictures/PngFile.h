// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureFile.h"

/// Opens a PNG: grey, grey with alpha, RGB and RGBA of 8 and 16 bits as 1 to 4 samples, palettes as the
/// colours that they stand for. Grey of less than 8 bits and colour-key transparency are refused. Null, with
/// the reason in problem, when it cannot be read.
std::unique_ptr<CzPictureReader> openPng(const QString& path, QString* problem);
