// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QString>
#include <QVector>

#include <cstdint>

/// Description of a mosaic sensor, hyperspectral or RGB-NIR: filter zones, each a region of the sensor
/// covered by a repeating cell of filter patches, one band each.
class ZUCORE_EXPORT CzHsiCameraParams {
public:
    /// One spectral band.
    class ZUCORE_EXPORT CzBand {
    public:
        CzBand() = default;
        explicit CzBand(const QString& name, double wavelength = 0.0);

        QString name() const { return m_name; }
        double wavelength() const { return m_wavelength; } ///< nanometres; 0 when unknown

        bool operator==(const CzBand& other) const;

    private:
        QString m_name;
        double m_wavelength = 0.0;
    };

    /// The place of a band: which zone, and which of the zone's bands.
    struct SzBandIdx {
        std::int32_t zoneIdx = -1;
        std::int32_t bandIdx = -1;
    };

    /// One filter zone. Band b of its list sits at column b mod cellWidth, row b / cellWidth of the cell.
    class ZUCORE_EXPORT CzFilterZone {
    public:
        std::uint32_t id = 0;          ///< the host's own
        std::uint32_t cellWidth = 0;   ///< bands per row of the repeating cell
        std::uint32_t cellHeight = 0;  ///< bands per column of the repeating cell
        std::uint32_t blockWidth = 0;  ///< pixels per row of one band's patch; 1 for an ordinary mosaic
        std::uint32_t blockHeight = 0; ///< pixels per column of one band's patch
        std::int32_t left = 0;         ///< region on the sensor, inclusive pixel coordinates
        std::int32_t top = 0;
        std::int32_t right = -1;
        std::int32_t bottom = -1;
        QVector<CzBand> bands;

        /// Whether the region has pixels: left ≤ right and top ≤ bottom. Without one the zone is the whole
        /// picture.
        bool hasRegion() const { return left <= right && top <= bottom; }

        /// Indices into bands in the order of their wavelength, shortest first (longest first when
        /// descending); equal wavelengths keep their order.
        QVector<int> sortedBandIdxs(bool descending) const;

        bool operator==(const CzFilterZone& other) const;
    };

    QVector<CzFilterZone> zones;
    bool rgbNir = false; ///< stored with the sensor, not derived from its band names

    /// Whether the record describes a sensor: at least one zone, every cell and block at least 1 × 1, as many
    /// bands as cell positions.
    bool isValid() const;

    /// Valid, with one zone and blocks of 1 × 1. The region may be a part of the sensor.
    bool isSimpleMosaicFilter() const;

    bool isRgbNirCamera() const { return rgbNir; }

    /// Number of bands over all zones.
    int totalBandCountInAllZones() const;

    /// The zone that holds band number totalBandIdx, counted over all zones in their order, and the band's
    /// place in idx (which may be null). Null, and idx untouched, when there is no such band. The zone is
    /// owned by this record.
    const CzFilterZone* filterZoneWithTotalBandIdx(int totalBandIdx, SzBandIdx* idx) const;

    bool operator==(const CzHsiCameraParams& other) const;
    bool operator!=(const CzHsiCameraParams& other) const { return !(*this == other); }
};
