// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

/// Bytes that memory comes in.
constexpr std::size_t cacheLine = 64;

/// How near to the processor memory is wanted.
enum class EzCache {
    First, ///< some 32 KiB: for what is used next
    Second ///< some hundred KiB: for what is used after that
};

/// Has memory fetched that will be read soon, so that a kernel does not wait for it. The processor does so by
/// itself only while a kernel reads on and on in a line: not over the work between two lines, nor from one
/// page of the memory to the next. Asking for more than some KiB at once is waiting, too: better ask for as
/// much as is being worked on. Memory that does not exist may be asked for.
template <EzCache cache = EzCache::First>
inline void prefetch(const void* memory, std::size_t bytes) {
    const auto* const begin = static_cast<const std::uint8_t*>(memory);
    for (std::size_t i = 0; i < bytes; i += cacheLine)
        if constexpr (cache == EzCache::First)
            __builtin_prefetch(begin + i, 0, 3);
        else
            __builtin_prefetch(begin + i, 0, 2);
}
