// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

constexpr std::size_t paletteCount = 6;

/// viridis, plasma, inferno, magma, cividis, turbo: the colour of each 8-bit value as 0xRRGGBB.
extern const std::array<std::array<std::uint32_t, 256>, paletteCount> palettes;
