// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QFlags>
#include <QVector>

#include <cstdint>

/// A histogram as CzPicBufMeas::measureHistogram() fills it. What was not asked for is empty or 0.
class ZUCORE_EXPORT CzHistoData {
public:
    /// What to measure.
    enum class EzHistoDataFlag : std::uint32_t { Bins = 1, MinMax = 2, Mean = 4, Deviation = 8 };
    Q_DECLARE_FLAGS(EzHistoDataFlags, EzHistoDataFlag)

    /// One channel. Without samples everything is 0.
    struct SzChannel {
        QVector<std::uint32_t> bins; ///< samples per bin; the last bin also counts what lies beyond it
        double minimum = 0.0;
        double maximum = 0.0;
        double mean = 0.0;
        double deviation = 0.0; ///< standard deviation of the samples, not an estimate for more of them
    };

    std::uint32_t binCount = 0; ///< per channel
    std::uint32_t binShift = 0; ///< bin b stands for the samples from b << binShift on

    /// Colour pictures: red, green, blue. Others: one per sample of a pixel.
    QVector<SzChannel> channels;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(CzHistoData::EzHistoDataFlags)
