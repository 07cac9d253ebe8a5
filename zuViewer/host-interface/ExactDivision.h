// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

/// Divides many numbers by the same one, which is known at run time only: exact and rounded down, for every
/// dividend and every divisor from leastDivisor on. Needs no division instruction, so that a loop over
/// dividends can be vectorised.
///
/// After Granlund and Montgomery, "Division by Invariant Integers using Multiplication" (1994). A factor that
/// is right for all dividends needs one bit more than they have: it is held without its highest bit.
template <class T>
class ExactDivision;

template <>
class ExactDivision<std::uint32_t> {
public:
    static constexpr std::uint32_t leastDivisor = 1;

    explicit ExactDivision(std::uint32_t divisor) {
        unsigned bits = 0; // of the smallest power of two that is not less than the divisor
        while ((std::uint64_t{1} << bits) < divisor)
            ++bits;
        m_factor = static_cast<std::uint32_t>((((std::uint64_t{1} << bits) - divisor) << 32) / divisor + 1);
        m_firstShift = bits > 0 ? 1 : 0;
        m_lastShift = bits - m_firstShift;
    }

    std::uint32_t operator()(std::uint32_t dividend) const {
        const auto high = static_cast<std::uint32_t>((std::uint64_t{dividend} * m_factor) >> 32);
        return (high + ((dividend - high) >> m_firstShift)) >> m_lastShift;
    }

private:
    std::uint32_t m_factor;
    unsigned m_firstShift;
    unsigned m_lastShift;
};

/// C++ shifts 16 bits as an int, and so would vectors, at half the speed, where the shift is not a constant:
/// the last one is the upper half of a product instead.
template <>
class ExactDivision<std::uint16_t> {
public:
    static constexpr std::uint16_t leastDivisor = 3;

    explicit ExactDivision(std::uint16_t divisor) {
        unsigned bits = 2; // of the smallest power of two that is not less than the divisor
        while ((1U << bits) < divisor)
            ++bits;
        m_factor = static_cast<std::uint16_t>((((1U << bits) - divisor) << 16) / divisor + 1);
        m_lastFactor = static_cast<std::uint16_t>(1U << (17 - bits)); // shifts by bits − 1
    }

    std::uint16_t operator()(std::uint16_t dividend) const {
        const std::uint16_t high = upperHalf(dividend, m_factor);
        const auto rest = static_cast<std::uint16_t>(static_cast<std::uint16_t>(dividend - high) >> 1);
        return upperHalf(static_cast<std::uint16_t>(high + rest), m_lastFactor);
    }

private:
    static std::uint16_t upperHalf(std::uint16_t a, std::uint16_t b) {
        return static_cast<std::uint16_t>((std::uint32_t{a} * b) >> 16);
    }

    std::uint16_t m_factor;
    std::uint16_t m_lastFactor;
};
