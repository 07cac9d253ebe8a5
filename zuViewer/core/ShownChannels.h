// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <array>
#include <cstdint>

/// The channels that are shown as blue, green and red: those of a colour picture, the first, the middle and
/// the last one of any other.
inline std::array<std::uint32_t, 3> shownChannels(const SzPicBufInfo& format) {
    if (format.isColor && (format.channels == 3 || format.channels == 4))
        return {0, 1, 2};
    return {0, (format.channels - 1) / 2, format.channels - 1};
}
