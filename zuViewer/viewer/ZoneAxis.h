// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HsiCameraParams.h"

#include <cstdint>
#include <limits>

/// Columns or rows of a filter zone: which band patch a pixel lies in. Band b of the zone is at column b mod
/// cellWidth, row b / cellWidth of the cell. For zones of valid sensors, whatever their region; 64 bits hold
/// every place.
class CzZoneAxis {
public:
    static CzZoneAxis columns(const CzHsiCameraParams::CzFilterZone& zone) {
        return {zone.hasRegion(), zone.left, zone.right, zone.cellWidth, zone.blockWidth};
    }
    static CzZoneAxis rows(const CzHsiCameraParams::CzFilterZone& zone) {
        return {zone.hasRegion(), zone.top, zone.bottom, zone.cellHeight, zone.blockHeight};
    }

    bool contains(std::int64_t at) const { return at >= m_first && at <= m_last; }

    /// The patch that a pixel of the zone lies in, counted in its cell.
    std::int64_t patch(std::int64_t at) const { return (at - m_first) / m_block % m_cell; }

    /// First pixel of another patch of the same cell; may lie outside the zone, which can end in a cell.
    std::int64_t patchBegin(std::int64_t at, std::int64_t other) const {
        const std::int64_t cellPixels = m_cell * m_block;
        return m_first + (at - m_first) / cellPixels * cellPixels + other * m_block;
    }

private:
    CzZoneAxis(bool hasRegion, std::int64_t first, std::int64_t last, std::int64_t cell, std::int64_t block)
        : m_first(hasRegion ? first : 0)
        , m_last(hasRegion ? last : std::numeric_limits<std::int64_t>::max())
        , m_cell(cell)
        , m_block(block) {}

    std::int64_t m_first;
    std::int64_t m_last;
    std::int64_t m_cell;
    std::int64_t m_block;
};
