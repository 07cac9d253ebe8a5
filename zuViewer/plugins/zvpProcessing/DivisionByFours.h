// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "InstructionSet.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Divides rows of sums, four by four, by a number that is known at run time only; exact and rounded down. T
/// is the sample type of the quotients, which are cut to it.
///
/// Only for unsigned samples of 8 and 16 bits, and where AVX-512 is not used. With less the compiler spends
/// most of a loop over ExactDivision on moving 32-bit factors, products and quotients between lanes; this
/// leaves them where they are. Four of its instructions are such that plain C++ is not compiled to.
template <class T, class = void>
class DivisionByFours {
public:
    explicit DivisionByFours(std::uint32_t) {}

    /// Divides as many fours of sums as it can from the first on, and returns how many these were. Fours
    /// begin step sums after one another. With a step of 3 only three of each are divided, the fourth sample
    /// stays; the sum behind them must be readable nevertheless.
    template <std::size_t step, class Sum>
    std::size_t divideRow(const Sum*, T*, std::size_t) {
        return 0;
    }
};

#ifdef __SSE2__

namespace divisionbyfours {

using Sums = std::uint32_t __attribute__((vector_size(16)));
using Products = std::uint64_t __attribute__((vector_size(16)));
using Quotients = std::uint16_t __attribute__((vector_size(16)));
using Bytes = std::uint8_t __attribute__((vector_size(16)));

/// factor = ⌈2^shift ÷ divisor⌉, with no more than bits + 1 bits. ⌊sum × factor ÷ 2^shift⌋ is the quotient of
/// each sum that has no more than bits: the factor is too large by less than 1, which adds less than
/// 2^bits ÷ 2^shift ≤ 1 ÷ divisor, too little to reach the next whole number.
struct Reciprocal {
    Reciprocal(unsigned bits, std::uint32_t divisor) : shift(bits) {
        while ((std::uint64_t{1} << (shift - bits)) < divisor)
            ++shift;
        factor = ((std::uint64_t{1} << shift) + divisor - 1) / divisor;
    }
    unsigned shift;
    std::uint64_t factor;
};

/// For sums of no more than 31 bits.
class Wide {
public:
    static constexpr unsigned bits = 31;

    /// The fourth quotient of each four is 0 where it is not wanted.
    Wide(std::uint32_t divisor, bool fourthToo) {
        const Reciprocal reciprocal(bits, divisor);
        m_evenFactor = m_oddFactor = Products{} + reciprocal.factor;
        m_oddFactor[1] *= fourthToo ? 1 : 0;
        m_shift = reciprocal.shift;
    }
    [[gnu::always_inline]] Quotients operator()(Sums first, Sums second) const {
        return reinterpret_cast<Quotients>(__builtin_shufflevector(
            reinterpret_cast<Sums>(pairs(first)), reinterpret_cast<Sums>(pairs(second)), 0, 2, 4, 6));
    }

private:
    /// The quotients of two sums in the lower half of each lane.
    [[gnu::always_inline]] Products pairs(Sums sums) const {
        const auto even = reinterpret_cast<Products>(sums);
        return ((products(even, m_evenFactor) >> m_shift) & 0xffffU) |
               ((products(even >> 32U, m_oddFactor) >> (m_shift - 16)) & 0xffff0000U);
    }
    /// Of the lower halves.
    [[gnu::always_inline]] static Products products(Products sums, Products factor) {
        return reinterpret_cast<Products>(
            _mm_mul_epu32(reinterpret_cast<__m128i>(sums), reinterpret_cast<__m128i>(factor)));
    }

    Products m_evenFactor;
    Products m_oddFactor;
    unsigned m_shift;
};

/// For sums of no more than 15 bits, such as those of up to 128 pictures of 8 bits.
class Narrow {
public:
    static constexpr unsigned bits = 15;
    static bool canDivideBy(std::uint32_t divisor) { return divisor > 1 && divisor <= 1U << bits; }

    Narrow(std::uint32_t divisor, bool fourthToo) {
        const Reciprocal reciprocal(bits, divisor);
        m_factor = Quotients{} + static_cast<std::uint16_t>(reciprocal.factor);
        if (!fourthToo)
            m_factor[3] = m_factor[7] = 0;
        m_shift = reciprocal.shift - 16;
    }
    [[gnu::always_inline]] Quotients operator()(Sums first, Sums second) const {
        const __m128i sums =
            _mm_packs_epi32(reinterpret_cast<__m128i>(first), reinterpret_cast<__m128i>(second));
        const __m128i high = _mm_mulhi_epu16(sums, reinterpret_cast<__m128i>(m_factor));
        return reinterpret_cast<Quotients>(high) >> m_shift;
    }

private:
    Quotients m_factor;
    unsigned m_shift;
};

} // namespace divisionbyfours

template <class T>
class DivisionByFours<T, std::enable_if_t<std::is_integral_v<T> && sizeof(T) < 4>> {
public:
    explicit DivisionByFours(std::uint32_t divisor)
        : m_divisor(divisor)
        , m_isUsed(instructionSet() != EzInstructionSet::Avx512)
        , m_isNarrow(sizeof(T) == 1 && Narrow::canDivideBy(divisor)) {}

    template <std::size_t step>
    std::size_t divideRow(const std::uint32_t* sums, T* quotients, std::size_t fours) {
        std::size_t done = 0;
        if (m_isUsed && m_isNarrow) {
            done = divide<step>(sums, quotients, fours, Narrow(m_divisor, step == 4));
            m_isNarrow = done > 0; // where one row is too bright, others will be
        }
        if (m_isUsed && done == 0)
            done = divide<step>(sums, quotients, fours, Wide(m_divisor, step == 4));
        return done;
    }

private:
    using Narrow = divisionbyfours::Narrow;
    using Wide = divisionbyfours::Wide;
    using Sums = divisionbyfours::Sums;
    using Samples = std::conditional_t<sizeof(T) == 1, divisionbyfours::Bytes, divisionbyfours::Quotients>;

    /// Divides the fours that fill whole vectors of samples. 0 when a sum has too many bits: then the
    /// quotients are wrong.
    template <std::size_t step, class Division>
    static std::size_t divide(const std::uint32_t* __restrict sums, T* __restrict quotients,
                              std::size_t fours, Division division) {
        constexpr std::size_t together = sizeof(Samples) / (4 * sizeof(T));
        Samples kept{};
        for (std::size_t i = 3; step == 3 && i < 4 * together; i += 4)
            kept[i] = std::numeric_limits<T>::max();
        Sums all{};
        std::size_t done = 0;
#pragma GCC unroll 2
        for (; done + together <= fours; done += together) {
            Sums in[together];
            for (std::size_t i = 0; i < together; ++i) {
                std::memcpy(&in[i], sums + step * (done + i), sizeof in[i]);
                all |= in[i];
            }
            Samples out;
            if constexpr (sizeof(T) == 1)
                out = reinterpret_cast<Samples>(
                    _mm_packus_epi16(reinterpret_cast<__m128i>(division(in[0], in[1]) & 0xffU),
                                     reinterpret_cast<__m128i>(division(in[2], in[3]) & 0xffU)));
            else
                out = division(in[0], in[1]);
            if constexpr (step == 3) {
                Samples before;
                std::memcpy(&before, quotients + 4 * done, sizeof before);
                out |= before & kept; // instead of a quotient of 0
            }
            std::memcpy(quotients + 4 * done, &out, sizeof out);
        }
        const std::uint32_t bits = all[0] | all[1] | all[2] | all[3];
        return bits >> Division::bits == 0 ? done : 0;
    }

    std::uint32_t m_divisor;
    bool m_isUsed;
    bool m_isNarrow; // as long as no sum was too large for it
};

#endif
