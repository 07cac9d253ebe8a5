// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <type_traits>

/// Divides many numbers by the same one, which is known at run time only: exact and rounded down, for every
/// dividend and every divisor but 0. Needs no division instruction, so that a loop over dividends can be
/// vectorised.
///
/// After Granlund and Montgomery, "Division by Invariant Integers using Multiplication" (1994). A factor that
/// is right for all dividends needs one bit more than they have: it is held without its highest bit.
template <class T>
class ExactDivision {
    static_assert(std::is_same_v<T, std::uint16_t> || std::is_same_v<T, std::uint32_t>);
    using Wide = std::conditional_t<sizeof(T) == 2, std::uint32_t, std::uint64_t>;
    static constexpr unsigned width = 8 * sizeof(T);

public:
    explicit ExactDivision(T divisor) {
        unsigned bits = 0; // of the smallest power of two that is not less than the divisor
        while ((Wide{1} << bits) < divisor)
            ++bits;
        m_factor = static_cast<T>((((Wide{1} << bits) - divisor) << width) / divisor + 1);
        m_firstShift = bits > 0 ? 1 : 0;
        m_lastShift = bits - m_firstShift;
    }

    T operator()(T dividend) const {
        const auto high = static_cast<T>((Wide{dividend} * m_factor) >> width);
        const auto rest = static_cast<T>(static_cast<T>(dividend - high) >> m_firstShift);
        return static_cast<T>(static_cast<T>(high + rest) >> m_lastShift);
    }

private:
    T m_factor;
    unsigned m_firstShift;
    unsigned m_lastShift;
};
