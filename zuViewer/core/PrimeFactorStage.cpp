// SPDX-License-Identifier: GPL-3.0-or-later
#include "PrimeFactorStage.h"

#include "InstructionSet.h"

#include <cmath>
#include <cstring>
#include <utility>

namespace {

/// FFTW has fast code for prime factors up to here.
constexpr int largestFastPrime = 13;
/// The work grows with the square of the prime; from here on FFTW's ways, which do not, are faster.
constexpr int largestPrime = 61;

/// Real and imaginary parts in a row.
constexpr std::size_t rowFloats = 2 * PrimeFactorStage::linesAtOnce;

constexpr std::size_t mostPairs = largestPrime / 2;

struct SzStage {
    std::size_t prime;
    std::size_t rest;
    const float* factors;
};

template <std::size_t lanes>
struct SzVector {
    typedef float Floats __attribute__((vector_size(4 * lanes)));
};
template <std::size_t lanes>
using Floats = typename SzVector<lanes>::Floats;

template <std::size_t lanes>
[[gnu::always_inline]] inline void load(const float* row, Floats<lanes>& values) {
    values = *reinterpret_cast<const Floats<lanes>*>(row);
}

template <std::size_t lanes>
[[gnu::always_inline]] inline void store(float* row, const Floats<lanes>& values) {
    *reinterpret_cast<Floats<lanes>*>(row) = values;
}

/// Each complex value by −i.
template <std::size_t lanes, std::size_t... i>
[[gnu::always_inline]] inline void timesMinusI(Floats<lanes>& values, std::index_sequence<i...>) {
    const Floats<lanes> signs = {(i % 2 == 0 ? 1.0F : -1.0F)...};
    values = __builtin_shufflevector(values, values, (i ^ 1)...) * signs;
}

/// Frequencies m to m + count − 1 and those opposite to them, out of the sums and the differences of opposite
/// samples.
template <std::size_t lanes, std::size_t count>
[[gnu::always_inline]] inline void addUp(const SzStage& stage, std::size_t m, const Floats<lanes>& first,
                                         const Floats<lanes>* sums, const Floats<lanes>* differences,
                                         float* out, std::size_t outStep) {
    const std::size_t pairs = stage.prime / 2;
    Floats<lanes> even[count];
    Floats<lanes> odd[count];
    for (std::size_t i = 0; i < count; ++i) {
        even[i] = first;
        odd[i] = Floats<lanes>{};
    }
    const float* factors = stage.factors + (m - 1) * 2 * pairs;
    for (std::size_t k = 0; k < pairs; ++k)
        for (std::size_t i = 0; i < count; ++i) {
            even[i] += factors[2 * (i * pairs + k)] * sums[k];
            odd[i] += factors[2 * (i * pairs + k) + 1] * differences[k];
        }
    for (std::size_t i = 0; i < count; ++i) {
        timesMinusI<lanes>(odd[i], std::make_index_sequence<lanes>());
        store<lanes>(out + (m + i) * outStep, even[i] + odd[i]);
        store<lanes>(out + (stage.prime - m - i) * outStep, even[i] - odd[i]);
    }
}

template <std::size_t lanes>
void applyStage(SzStage stage, const float* in, float* out) {
    const std::size_t length = stage.prime * stage.rest;
    const std::size_t pairs = stage.prime / 2;
    const std::size_t outStep = stage.rest * rowFloats;
    for (std::size_t i = 0; i < stage.rest; ++i)
        for (std::size_t lane = 0; lane < rowFloats; lane += lanes) {
            const auto row = [&](std::size_t k) {
                return in + (stage.rest * k + stage.prime * i) % length * rowFloats + lane;
            };
            Floats<lanes> first;
            load<lanes>(row(0), first);
            Floats<lanes> all = first;
            Floats<lanes> sums[mostPairs];
            Floats<lanes> differences[mostPairs];
            for (std::size_t k = 0; k < pairs; ++k) {
                Floats<lanes> a;
                Floats<lanes> b;
                load<lanes>(row(k + 1), a);
                load<lanes>(row(stage.prime - k - 1), b);
                sums[k] = a + b;
                differences[k] = a - b;
                all += sums[k];
            }
            float* const results = out + i * rowFloats + lane;
            store<lanes>(results, all);
            std::size_t m = 1;
            for (; m + 1 <= pairs; m += 2)
                addUp<lanes, 2>(stage, m, first, sums, differences, results, outStep);
            if (m <= pairs)
                addUp<lanes, 1>(stage, m, first, sums, differences, results, outStep);
        }
}

} // namespace

std::unique_ptr<const PrimeFactorStage> PrimeFactorStage::forLength(int length) {
    int rest = length;
    for (int factor = 2; factor <= largestFastPrime; ++factor)
        while (rest % factor == 0)
            rest /= factor;
    for (int factor = 2; factor * factor <= rest; ++factor)
        if (rest % factor == 0)
            return nullptr;
    if (rest == 1 || rest > largestPrime)
        return nullptr;
    return std::unique_ptr<const PrimeFactorStage>(new PrimeFactorStage(rest, length / rest));
}

PrimeFactorStage::PrimeFactorStage(int prime, int rest)
    : m_prime(static_cast<std::size_t>(prime)), m_rest(static_cast<std::size_t>(rest)) {
    const double step = 2.0 * std::acos(-1.0) / prime;
    for (int m = 1; m <= prime / 2; ++m)
        for (int k = 1; k <= prime / 2; ++k) {
            m_factors.push_back(static_cast<float>(std::cos(step * (m * k % prime))));
            m_factors.push_back(static_cast<float>(std::sin(step * (m * k % prime))));
        }
}

void PrimeFactorStage::apply(const fftwf_complex* in, fftwf_complex* out) const {
    forInstructionSets<&applyStage<4>, &applyStage<8>, &applyStage<16>>(
        SzStage{m_prime, m_rest, m_factors.data()}, &std::as_const(in[0][0]), &out[0][0]);
}
