// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QVector>

/// Where an axis has its ticks, and what is written there.
struct SzTicks {
    QVector<double> positions; ///< not descending
    QVector<QString> labels;   ///< as many
};

/// Ticks of the amplitude axis for a range, at most 1000. None when a bound is not finite, when there would
/// be more, or when a linear range ends below 0.
SzTicks amplitudeTicks(double lower, double upper, bool logarithmic);

/// A number in superscript digits; empty for negative ones.
QString superscript(int number);
