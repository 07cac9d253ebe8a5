// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureFile.h"

#include <cstdint>
#include <vector>

/// Opens a TIFF: 8-, 16- or 32-bit unsigned samples or 32-bit floats, any number of them, in strips or tiles,
/// under any compression that libtiff decodes. The samples are taken as they are, whether small means black
/// or white. Null, with the reason in
/// problem, when it cannot be read.
std::unique_ptr<CzPictureReader> openTiff(const QString& path, QString* problem);

/// Encodes pictures as the pages of one TIFF, without compression. False, with the reason in problem, for
/// samples that are not the above.
bool encodeTiff(const QVector<const SzPicBuf*>& pages, std::vector<std::uint8_t>& file, QString* problem);
