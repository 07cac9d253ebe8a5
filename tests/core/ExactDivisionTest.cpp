// SPDX-License-Identifier: GPL-3.0-or-later
#include "ExactDivision.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <set>

namespace {

TEST(ExactDivision, every16BitNumberByDivisorsOfEverySize) {
    for (std::uint32_t divisor = ExactDivision<std::uint16_t>::leastDivisor; divisor <= 65535;
         divisor = divisor < 1100 ? divisor + 1 : divisor * 9 / 8) {
        const ExactDivision<std::uint16_t> divide(static_cast<std::uint16_t>(divisor));
        std::uint32_t wrong = 0;
        for (std::uint32_t dividend = 0; dividend <= 65535; ++dividend)
            wrong += divide(static_cast<std::uint16_t>(dividend)) != dividend / divisor;
        EXPECT_EQ(wrong, 0U) << "divided by " << divisor;
    }
}

TEST(ExactDivision, firstAndLast32BitNumberOfManyQuotients) {
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    std::set<std::uint64_t> divisors{most - 1, most};
    for (std::uint64_t divisor = 1; divisor <= 4100; ++divisor)
        divisors.insert(divisor);
    for (int bits = 12; bits < 32; ++bits)
        for (const int offset : {-1, 0, 1})
            divisors.insert((std::uint64_t{1} << bits) + static_cast<std::uint64_t>(offset));
    for (const std::uint64_t divisor : divisors) {
        const ExactDivision<std::uint32_t> divide(static_cast<std::uint32_t>(divisor));
        const std::uint64_t quotients = most / divisor;
        std::uint32_t wrong = divide(static_cast<std::uint32_t>(most)) != quotients;
        for (std::uint64_t quotient = quotients; quotient > 0; quotient -= quotient / 16 + 1) {
            const auto first = static_cast<std::uint32_t>(quotient * divisor);
            wrong += divide(first) != quotient;
            wrong += divide(first - 1) != quotient - 1;
        }
        EXPECT_EQ(wrong, 0U) << "divided by " << divisor;
    }
}

TEST(ExactDivision, every32BitNumberWithA16BitQuotientByTheSizesOfCellsUpTo16x16) {
    std::set<std::uint32_t> divisors;
    for (std::uint32_t width = 1; width <= 16; ++width)
        for (std::uint32_t height = 1; height <= 16; ++height)
            divisors.insert(width * height);
    for (const std::uint32_t divisor : divisors) {
        const ExactDivision<std::uint32_t> divide(divisor);
        std::uint32_t wrong = 0;
        for (std::uint32_t quotient = 0; quotient <= 65535; ++quotient)
            for (std::uint32_t rest = 0; rest < divisor; ++rest)
                wrong += divide(quotient * divisor + rest) != quotient;
        EXPECT_EQ(wrong, 0U) << "divided by " << divisor;
    }
}

} // namespace
