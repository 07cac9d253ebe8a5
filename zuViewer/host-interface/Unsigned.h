// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// The unsigned integer of this many bytes: 1, 2, 4 or 8.
template <std::size_t bytes>
using Unsigned =
    std::conditional_t<bytes == 1, std::uint8_t,
                       std::conditional_t<bytes == 2, std::uint16_t,
                                          std::conditional_t<bytes == 4, std::uint32_t, std::uint64_t>>>;
