// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureFile.h"

/// Opens a JPEG, grey or colour. Null, with the reason in
/// problem, when it cannot be read.
std::unique_ptr<CzPictureReader> openJpeg(const QString& path, QString* problem);

/// Encodes an interleaved picture of 1, 3 or 4 unsigned 8- or 16-bit samples as PNG. False, with the reason
/// in problem, for any other.
bool encodePng(const SzPicBuf& picture, QByteArray& file, QString* problem);
