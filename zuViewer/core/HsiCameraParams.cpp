// SPDX-License-Identifier: GPL-3.0-or-later
#include "HsiCameraParams.h"

#include <algorithm>
#include <cmath>
#include <numeric>

CzHsiCameraParams::CzBand::CzBand(const QString& name, double wavelength)
    : m_name(name), m_wavelength(wavelength) {}

bool CzHsiCameraParams::CzBand::operator==(const CzBand& other) const {
    return m_name == other.m_name && m_wavelength == other.m_wavelength;
}

QVector<int> CzHsiCameraParams::CzFilterZone::sortedBandIdxs(bool descending) const {
    // A wavelength that is not a number has no place in any order: it counts as unknown.
    const auto wavelength = [this](int idx) {
        const double value = bands[idx].wavelength();
        return std::isnan(value) ? 0.0 : value;
    };
    QVector<int> idxs(bands.size());
    std::iota(idxs.begin(), idxs.end(), 0);
    std::stable_sort(idxs.begin(), idxs.end(), [&](int a, int b) {
        return descending ? wavelength(a) > wavelength(b) : wavelength(a) < wavelength(b);
    });
    return idxs;
}

bool CzHsiCameraParams::CzFilterZone::operator==(const CzFilterZone& other) const {
    return id == other.id && cellWidth == other.cellWidth && cellHeight == other.cellHeight &&
           blockWidth == other.blockWidth && blockHeight == other.blockHeight && left == other.left &&
           top == other.top && right == other.right && bottom == other.bottom && bands == other.bands;
}

bool CzHsiCameraParams::isValid() const {
    const auto describesCell = [](const CzFilterZone& zone) {
        return zone.cellWidth > 0 && zone.cellHeight > 0 && zone.blockWidth > 0 && zone.blockHeight > 0 &&
               static_cast<std::uint64_t>(zone.bands.size()) ==
                   std::uint64_t{zone.cellWidth} * zone.cellHeight;
    };
    return !zones.isEmpty() && std::all_of(zones.begin(), zones.end(), describesCell);
}

bool CzHsiCameraParams::isSimpleMosaicFilter() const {
    return isValid() && zones.size() == 1 && zones[0].blockWidth == 1 && zones[0].blockHeight == 1;
}

int CzHsiCameraParams::totalBandCountInAllZones() const {
    return std::accumulate(zones.begin(), zones.end(), 0,
                           [](int count, const CzFilterZone& zone) { return count + zone.bands.size(); });
}

const CzHsiCameraParams::CzFilterZone* CzHsiCameraParams::filterZoneWithTotalBandIdx(int totalBandIdx,
                                                                                     SzBandIdx* idx) const {
    if (totalBandIdx < 0)
        return nullptr;
    int bandIdx = totalBandIdx;
    for (int zoneIdx = 0; zoneIdx < zones.size(); ++zoneIdx) {
        const CzFilterZone& zone = zones[zoneIdx];
        if (bandIdx < zone.bands.size()) {
            if (idx)
                *idx = {zoneIdx, bandIdx};
            return &zone;
        }
        bandIdx -= zone.bands.size();
    }
    return nullptr;
}

bool CzHsiCameraParams::operator==(const CzHsiCameraParams& other) const {
    return rgbNir == other.rgbNir && zones == other.zones;
}
