// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureFile.h"

/// Opens a PGM or PPM (P2, P3, P5, P6): 8-bit samples up to a maximum of 255, else 16-bit ones. Several
/// pictures one after another, as the raw formats allow, are pages. Null, with the reason in
/// problem, when it cannot be read.
std::unique_ptr<CzPictureReader> openPnm(const QString& path, QString* problem);
