// SPDX-License-Identifier: GPL-3.0-or-later
#include "SpectrumTicks.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using Positions = QVector<double>;
using Labels = QVector<QString>;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

SzTicks linear(double upper, double lower = 0.0) {
    return amplitudeTicks(lower, upper, false);
}

SzTicks logarithmic(double lower, double upper) {
    return amplitudeTicks(lower, upper, true);
}

void expectPositions(const SzTicks& ticks, const Positions& expected) {
    ASSERT_EQ(ticks.positions.size(), expected.size());
    ASSERT_EQ(ticks.labels.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i)
        EXPECT_DOUBLE_EQ(ticks.positions.at(i), expected.at(i)) << i;
}

// ---- Linear ----

TEST(LinearTicks, ofTheUsualRange) {
    const SzTicks ticks = linear(400000);
    expectPositions(ticks, {0, 100000, 200000, 300000, 400000});
    EXPECT_EQ(ticks.labels, (Labels{"0", "100000", "200000", "300000", "400000"}));
}

TEST(LinearTicks, stepIsTheNextRoundNumberWithoutTwoAndFiveBelowTen) {
    expectPositions(linear(12), {0, 10});
    expectPositions(linear(4), {0, 1, 2, 3, 4});
    expectPositions(linear(9.9), {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}); // a fifth, rounded down, is 1
    expectPositions(linear(10), {0, 10});
    expectPositions(linear(54), {0, 10, 20, 30, 40, 50});
    expectPositions(linear(55), {0, 20, 40}); // 11 becomes 20
}

TEST(LinearTicks, everyRungCoversWhatLiesAboveTheOneBeforeIt) {
    const std::vector<double> rungs{1,    10,   20,    50,    100,   200,    500,    1000,
                                    2000, 5000, 10000, 20000, 50000, 100000, 200000, 500000};
    for (std::size_t i = 0; i < rungs.size(); ++i) {
        EXPECT_EQ(linear(5 * rungs[i]).positions.at(1), rungs[i]);
        const double next = i + 1 < rungs.size() ? rungs[i + 1] : 1000000;
        const SzTicks above = linear(5 * (rungs[i] + 1));
        EXPECT_EQ(above.positions.at(1), next) << rungs[i];
    }
}

TEST(LinearTicks, stepsBeyondTheLadderAreAMillion) {
    expectPositions(linear(2600000), {0, 1000000, 2000000});
    EXPECT_EQ(linear(10000000).positions.size(), 11);
    EXPECT_EQ(linear(10000000).labels.last(), "10000000");
}

TEST(LinearTicks, rangesBelowOneHaveASingleOneAndNegativeOnesNone) {
    expectPositions(linear(0), {0});
    expectPositions(linear(0.9), {0});
    expectPositions(linear(-0.0), {0});
    expectPositions(linear(-0.1), {});
    expectPositions(linear(-1000000), {});
}

TEST(LinearTicks, lowerBoundPlaysNoPart) {
    expectPositions(linear(4, -1000), {0, 1, 2, 3, 4});
    expectPositions(linear(4, 3), {0, 1, 2, 3, 4});
}

TEST(LinearTicks, thatNobodyCouldReadAreNone) {
    EXPECT_EQ(linear(999999999).positions.size(), 1000);
    EXPECT_EQ(linear(1000000000).positions.size(), 0);
    EXPECT_EQ(linear(1e300).positions.size(), 0);
    EXPECT_EQ(linear(std::numeric_limits<double>::max()).positions.size(), 0);
}

TEST(Ticks, ofBoundsThatAreNotFiniteAreNone) {
    for (const bool isLogarithmic : {false, true})
        for (const double bound : {infinity, -infinity, notANumber}) {
            EXPECT_EQ(amplitudeTicks(0, bound, isLogarithmic).positions.size(), 0);
            EXPECT_EQ(amplitudeTicks(bound, 100, isLogarithmic).positions.size(), 0);
        }
}

// ---- Logarithmic ----

TEST(LogarithmicTicks, areThePowersOfTenUpToTheLargerLogarithm) {
    const SzTicks ticks = logarithmic(0.5, 2000);
    expectPositions(ticks, {1, 10, 100, 1000});
    EXPECT_EQ(ticks.labels, (Labels{"1", "10", QStringLiteral("10\u00B2"), QStringLiteral("10\u00B3")}));
}

TEST(LogarithmicTicks, smallLowerBoundCountsByItsDistanceFromOne) {
    expectPositions(logarithmic(0.001, 10), {1, 10, 100, 1000}); // no negative exponents above 0
}

TEST(LogarithmicTicks, lowerBoundBelowZeroIsTakenForAnExponent) {
    const SzTicks ticks = logarithmic(-2, 100);
    expectPositions(ticks, {0.01, 0.1, 1, 10, 100});
    EXPECT_EQ(ticks.labels, (Labels{QStringLiteral("10-\u00B2"), QStringLiteral("10-\u00B9"), "1", "10",
                                    QStringLiteral("10\u00B2")}));
    expectPositions(logarithmic(-2.9, 10), {0.01, 0.1, 1, 10});
    expectPositions(logarithmic(0, 10), {1, 10});
    expectPositions(logarithmic(-0.5, 10), {1, 10});
}

TEST(LogarithmicTicks, stepIsAFifthOfTheLargestExponentRoundedDown) {
    expectPositions(logarithmic(1, 1e9), {1, 10, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9});
    expectPositions(logarithmic(1, 1e10), {1, 1e2, 1e4, 1e6, 1e8, 1e10});
    EXPECT_EQ(logarithmic(1, 1e10).labels.at(1), QStringLiteral("10\u00B2"));
    EXPECT_EQ(logarithmic(1, 1e10).labels.at(5), QStringLiteral("10\u00B9\u2070"));
    expectPositions(logarithmic(-5, 1e10), {1e-4, 1e-2, 1, 1e2, 1e4, 1e6, 1e8, 1e10});
    expectPositions(logarithmic(1, 1e300), {1, 1e60, 1e120, 1e180, 1e240, 1e300});
}

TEST(LogarithmicTicks, boundsAtOrBelowZeroHaveNoLogarithm) {
    expectPositions(logarithmic(0, 0), {1});
    expectPositions(logarithmic(0, -7), {1});
    expectPositions(logarithmic(1, 1), {1});
}

TEST(LogarithmicTicks, thatNobodyCouldReadAreNone) {
    EXPECT_EQ(logarithmic(-1e6, 100).positions.size(), 0);
    EXPECT_EQ(logarithmic(-1e300, 100).positions.size(), 0);
    EXPECT_EQ(logarithmic(-999, 1).positions.size(), 1000);
    EXPECT_EQ(logarithmic(-1000, 1).positions.size(), 0);
}

// ---- Superscripts ----

TEST(Superscript, everyDigitHasItsOwn) {
    EXPECT_EQ(superscript(1234567890),
              QStringLiteral("\u00B9\u00B2\u00B3\u2074\u2075\u2076\u2077\u2078\u2079\u2070"));
    EXPECT_EQ(superscript(0), QStringLiteral("\u2070"));
    EXPECT_EQ(superscript(300), QStringLiteral("\u00B3\u2070\u2070"));
}

TEST(Superscript, negativeNumbersHaveNone) {
    EXPECT_EQ(superscript(-1), QString());
    EXPECT_EQ(superscript(std::numeric_limits<int>::min()), QString());
}

} // namespace
