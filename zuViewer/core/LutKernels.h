// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

// Look-ups of whole pictures, on all cores where the picture is large. The pictures have pixels, equal sizes
// and samples of 8-, 16- or 32-bit unsigned integers; whoever calls sees to it.

/// Entries of a table that serves all 8- and 16-bit samples. Larger samples count as the last one.
constexpr std::size_t sampleValues = 65536;

/// Blue, green, red and alpha, as they lie in memory.
using Pixel = std::array<std::uint8_t, 4>;

/// Maps bytes to bytes.
class ByteTable {
public:
    /// For the first 256 entries of a table of bytes.
    explicit ByteTable(const std::vector<std::uint16_t>& samples);

    /// Maps count bytes in the fastest way that this machine has.
    void map(const std::uint8_t* in, std::uint8_t* out, std::size_t count) const;

private:
    std::array<std::uint8_t, 256> m_bytes;
    std::vector<std::uint16_t> m_pairs; // what two neighbouring bytes become
};

/// Maps every sample; both pictures have the same channels and storage format, and the destination's samples
/// hold what the table does.
void lookUpSamples(SzPicBuf& destination, const SzPicBuf& source, const std::vector<std::uint16_t>& samples);

/// The same for pictures of bytes.
void lookUpBytes(SzPicBuf& destination, const SzPicBuf& source, const ByteTable& bytes);

/// Maps the samples of a one-channel picture to those of an interleaved 8-bit picture of 4 channels.
void lookUpPixels(SzPicBuf& destination, const SzPicBuf& source, const std::vector<Pixel>& pixels);

/// Maps the shown channels of a picture to blue, green and red of an interleaved 8-bit picture of 4 channels,
/// whose alpha becomes 255. The table holds bytes.
void lookUpColors(SzPicBuf& destination, const SzPicBuf& source, const std::vector<std::uint8_t>& bytes);
