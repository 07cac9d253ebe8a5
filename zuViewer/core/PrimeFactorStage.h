// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <fftw3.h>

#include <cstddef>
#include <memory>
#include <vector>

/// The part of a transform's length that FFTW has no fast code for: one prime factor from 17 on, as in 1088,
/// which is 17 · 64 and the height of many sensors. The prime-factor algorithm (Good, 1958; Thomas, 1963)
/// splits the transform into transforms of the prime, which are made here, and of the rest, which are left to
/// FFTW; nothing has to be multiplied between them.
///
/// Lines are transformed side by side: a row holds one value of each. Unchangeable, for any number of threads
/// at once.
class PrimeFactorStage {
public:
    static constexpr std::size_t linesAtOnce = 8;

    /// Null for lengths that are better transformed as a whole: without such a prime factor, or with more of
    /// them or one of which FFTW's own way is faster.
    static std::unique_ptr<const PrimeFactorStage> forLength(int length);

    std::size_t prime() const { return m_prime; }
    std::size_t rest() const { return m_rest; }

    /// Transforms the prime factor of as many rows as the length: in, in their order; out, prime() blocks of
    /// rest() rows, each of which is to be transformed on its own. Both aligned for FFTW, and not the same.
    void apply(const fftwf_complex* in, fftwf_complex* out) const;

    /// In which row a frequency is found after that.
    std::size_t rowOf(std::size_t frequency) const {
        return frequency % m_prime * m_rest + frequency % m_rest;
    }

private:
    PrimeFactorStage(int prime, int rest);

    std::size_t m_prime;
    std::size_t m_rest;
    std::vector<float> m_factors; ///< of frequency m and sample k, from 1 to prime / 2: cosine and sine of mk
};
