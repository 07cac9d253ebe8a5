// SPDX-License-Identifier: GPL-3.0-or-later
#include "SpectrumTicks.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double mostTicks = 1000;

/// The next round number from a step on. Below 10 there is only 1.
double roundStep(double step) {
    constexpr double rungs[] = {1,    10,   20,    50,    100,   200,    500,    1000,
                                2000, 5000, 10000, 20000, 50000, 100000, 200000, 500000};
    if (step < 0.0)
        return step;
    const auto* const rung = std::lower_bound(std::begin(rungs), std::end(rungs), step);
    return rung == std::end(rungs) ? 1000000.0 : *rung;
}

SzTicks linearTicks(double upper) {
    const double step = roundStep(std::floor(upper / 5.0));
    if (upper < 0.0 || std::floor(upper / step) >= mostTicks)
        return {};
    SzTicks ticks;
    for (int i = 0; i * step <= upper; ++i) {
        ticks.positions.append(i * step);
        ticks.labels.append(QString::number(static_cast<qint64>(i * step)));
    }
    return ticks;
}

/// Of a bound of a logarithmic axis; those that have none count as 1.
double logarithm(double bound) {
    return bound > 0.0 ? std::log10(bound) : 0.0;
}

SzTicks logarithmicTicks(double lower, double upper) {
    const double highest = std::max(std::abs(logarithm(lower)), std::abs(logarithm(upper)));
    const int step = std::max(1, static_cast<int>(highest / 5.0));
    // Where the range reaches below 0, its lower bound is taken for an exponent.
    const double lowest = lower <= 0.0 ? lower : 0.0;
    if (std::floor(highest / step) + std::floor(-lowest / step) >= mostTicks)
        return {};

    SzTicks ticks;
    for (int exponent = static_cast<int>(std::floor(-lowest / step)) * -step; exponent < 0;
         exponent += step) {
        ticks.positions.append(std::pow(10.0, exponent));
        ticks.labels.append(QStringLiteral("10-%1").arg(superscript(-exponent)));
    }
    for (int exponent = 0; exponent <= highest; exponent += step) {
        ticks.positions.append(std::pow(10.0, exponent));
        ticks.labels.append(exponent == 0   ? QStringLiteral("1")
                            : exponent == 1 ? QStringLiteral("10")
                                            : QStringLiteral("10%1").arg(superscript(exponent)));
    }
    return ticks;
}

} // namespace

SzTicks amplitudeTicks(double lower, double upper, bool logarithmic) {
    if (!std::isfinite(lower) || !std::isfinite(upper))
        return {};
    return logarithmic ? logarithmicTicks(lower, upper) : linearTicks(upper);
}

QString superscript(int number) {
    constexpr char16_t digits[] = u"\u2070\u00B9\u00B2\u00B3\u2074\u2075\u2076\u2077\u2078\u2079";
    QString result;
    for (const QChar character : QString::number(number)) {
        if (!character.isDigit())
            return QString();
        result.append(QChar(digits[character.digitValue()]));
    }
    return result;
}
