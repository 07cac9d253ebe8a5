// SPDX-License-Identifier: GPL-3.0-or-later
#include "LutKernels.h"

#include "InstructionSet.h"
#include "PicBufGeometry.h"
#include "PictureView.h"
#include "ShownChannels.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace {

// Look-ups are loads, one by one: instructions that gather several of them take longer than so many loads.
// What limits a loop is its other work, hence the unrolling.

/// Where a sample's entry is.
template <class T>
std::size_t entryOf(T sample) {
    if constexpr (sizeof(T) > 2)
        return std::min<T>(sample, sampleValues - 1);
    else
        return sample;
}

template <class In, class Out>
void lookUpLine(const In* in, Out* out, const std::uint16_t* samples, std::size_t count) {
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i)
        out[i] = static_cast<Out>(samples[entryOf(in[i])]);
}

/// Two bytes at a time, whatever the order of bytes in larger numbers.
void lookUpPairs(const std::uint8_t* in, std::uint8_t* out, const std::uint16_t* pairs, std::size_t count) {
    const std::size_t even = count & ~std::size_t{1};
#pragma GCC unroll 8
    for (std::size_t i = 0; i < even; i += 2) {
        std::uint16_t pair;
        std::memcpy(&pair, in + i, sizeof pair);
        std::memcpy(out + i, pairs + pair, sizeof pair);
    }
    if (even != count)
        out[even] = static_cast<std::uint8_t>(pairs[in[even]]);
}

#ifdef __x86_64__

/// With instructions that look 32 bytes up in 16 entries each. They take the lowest 4 bits of a byte, and
/// give 0 for one above 127. Counted down by 16 entries at a time and stopped at the end below 0, a byte so
/// finds an entry in each part of the table up to its own: parts hold what changes from the one before, and
/// add up.
[[gnu::target("avx2")]] void lookUpByShuffles(const std::uint8_t* in, std::uint8_t* out,
                                              const std::uint8_t* bytes, std::size_t count) {
    constexpr int halfOfParts = 8; // each for 128 bytes
    __m256i parts[2 * halfOfParts];
    for (int i = 0; i < 2 * halfOfParts; ++i) {
        __m128i part;
        std::memcpy(&part, bytes + i * sizeof part, sizeof part);
        if (i % halfOfParts != 0) {
            __m128i before;
            std::memcpy(&before, bytes + (i - 1) * sizeof before, sizeof before);
            part = _mm_xor_si128(part, before);
        }
        parts[i] = _mm256_broadcastsi128_si256(part);
    }
    const __m256i partSize = _mm256_set1_epi8(16);
    std::size_t i = 0;
    for (; i + sizeof(__m256i) <= count; i += sizeof(__m256i)) {
        __m256i samples;
        std::memcpy(&samples, in + i, sizeof samples);
        __m256i place = _mm256_and_si256(samples, _mm256_set1_epi8(127));
        __m256i low = _mm256_shuffle_epi8(parts[0], place);
        __m256i high = _mm256_shuffle_epi8(parts[halfOfParts], place);
#pragma GCC unroll 8
        for (int part = 1; part < halfOfParts; ++part) {
            place = _mm256_subs_epi8(place, partSize);
            low = _mm256_xor_si256(low, _mm256_shuffle_epi8(parts[part], place));
            high = _mm256_xor_si256(high, _mm256_shuffle_epi8(parts[halfOfParts + part], place));
        }
        const __m256i result = _mm256_blendv_epi8(low, high, samples); // by the highest bit
        std::memcpy(out + i, &result, sizeof result);
    }
    for (; i < count; ++i)
        out[i] = bytes[in[i]];
}

#endif

#ifndef __clang__ // which cannot choose among the words of a vector by another one

/// 32 words of 16 bits.
using Words = std::uint16_t __attribute__((vector_size(64)));

/// The bytes that the words (0 ... 255) become: the whole table is held in registers, two bytes to a word.
[[gnu::always_inline]] inline void lookUpWords(const Words* table, const Words& bytes, Words& result) {
    const Words place = bytes >> 1;
    const Words low = __builtin_shuffle(table[0], table[1], place);
    const Words high = __builtin_shuffle(table[2], table[3], place);
    result = (bytes < 128 ? low : high) >> ((bytes & 1) << 3) & 0xFF;
}

/// Made for registers of 64 bytes, with instructions that choose among their words.
void lookUpInRegisters(const std::uint8_t* in, std::uint8_t* out, const std::uint8_t* bytes,
                       std::size_t count) {
    Words table[4];
    std::memcpy(table, bytes, sizeof table);
    std::size_t i = 0;
    for (; i + sizeof(Words) <= count; i += sizeof(Words)) {
        Words words;
        std::memcpy(&words, in + i, sizeof words);
        Words low;
        Words high;
        lookUpWords(table, words & 0xFF, low);
        lookUpWords(table, words >> 8, high);
        words = low | high << 8;
        std::memcpy(out + i, &words, sizeof words);
    }
    for (; i < count; ++i)
        out[i] = bytes[in[i]];
}

#endif

template <class In>
void lookUpPixelLine(const In* in, std::uint8_t* out, const Pixel* pixels, std::size_t count) {
#pragma GCC unroll 8
    for (std::size_t i = 0; i < count; ++i)
        std::memcpy(out + i * sizeof(Pixel), &pixels[entryOf(in[i])], sizeof(Pixel));
}

/// Of samples that lie step apart.
template <class In>
[[gnu::always_inline]] inline void lookUpColorLine(const std::array<const In*, 3>& colors, std::size_t step,
                                                   std::uint8_t* out, const std::uint8_t* bytes,
                                                   std::size_t count) {
    const auto [blue, green, red] = colors;
    for (std::size_t i = 0; i < count; ++i) {
        const Pixel pixel = {bytes[entryOf(blue[i * step])], bytes[entryOf(green[i * step])],
                             bytes[entryOf(red[i * step])], 255};
        std::memcpy(out + i * sizeof pixel, &pixel, sizeof pixel);
    }
}

/// Calls line(y) for each line, on all cores where there are many samples. A millisecond of work and less is
/// done sooner on one core, at least where others have to wait for theirs.
template <class Line>
void forEachLine(std::uint64_t lines, std::uint64_t samplesPerLine, Line&& line) {
    constexpr std::uint64_t manySamples = 4000000;
#pragma omp parallel for schedule(static) if (lines * samplesPerLine > manySamples)
    for (std::uint64_t y = 0; y < lines; ++y)
        line(y);
}

template <class T>
T* lineOf(const SzPicBuf& picture, std::uint64_t line) {
    return reinterpret_cast<T*>(picture.data + line * picture.linePitch);
}

/// Samples in each of the lines of all planes.
std::size_t samplesPerLine(const SzPicBuf& picture) {
    return static_cast<std::size_t>(packedLineBytes(picture) / bytesPerSample(picture.dataType));
}

/// Calls function with the sample type of an integer picture.
template <class Function>
void withIntegerType(EzImageDataType dataType, Function&& function) {
    withSampleType(dataType, [&](auto sample) {
        if constexpr (std::is_integral_v<decltype(sample)>)
            function(sample);
        return true;
    });
}

} // namespace

ByteTable::ByteTable(const std::vector<std::uint16_t>& samples) : m_pairs(sampleValues) {
    for (std::size_t first = 0; first < m_bytes.size(); ++first) {
        m_bytes[first] = static_cast<std::uint8_t>(samples[first]);
        for (std::size_t second = 0; second < m_bytes.size(); ++second)
            m_pairs[first << 8 | second] = static_cast<std::uint16_t>(samples[first] << 8 | samples[second]);
    }
}

void ByteTable::map(const std::uint8_t* in, std::uint8_t* out, std::size_t count) const {
#ifndef __clang__
    if (instructionSet() == EzInstructionSet::Avx512)
        return forInstructionSet<&lookUpInRegisters>(in, out, m_bytes.data(), count);
#endif
#ifdef __x86_64__
    if (instructionSet() >= EzInstructionSet::Avx2)
        return lookUpByShuffles(in, out, m_bytes.data(), count);
#endif
    lookUpPairs(in, out, m_pairs.data(), count);
}

void lookUpSamples(SzPicBuf& destination, const SzPicBuf& source, const std::vector<std::uint16_t>& samples) {
    const std::size_t count = samplesPerLine(source);
    withIntegerType(source.dataType, [&](auto in) {
        withIntegerType(destination.dataType, [&](auto out) {
            using In = decltype(in);
            using Out = decltype(out);
            forEachLine(lineCount(source), count, [&](std::uint64_t y) {
                lookUpLine(lineOf<const In>(source, y), lineOf<Out>(destination, y), samples.data(), count);
            });
        });
    });
}

void lookUpBytes(SzPicBuf& destination, const SzPicBuf& source, const ByteTable& bytes) {
    const std::size_t count = samplesPerLine(source);
    forEachLine(lineCount(source), count, [&](std::uint64_t y) {
        bytes.map(lineOf<const std::uint8_t>(source, y), lineOf<std::uint8_t>(destination, y), count);
    });
}

void lookUpPixels(SzPicBuf& destination, const SzPicBuf& source, const std::vector<Pixel>& pixels) {
    withIntegerType(source.dataType, [&](auto in) {
        using In = decltype(in);
        forEachLine(source.height, source.width, [&](std::uint64_t y) {
            lookUpPixelLine(lineOf<const In>(source, y), lineOf<std::uint8_t>(destination, y), pixels.data(),
                            source.width);
        });
    });
}

void lookUpColors(SzPicBuf& destination, const SzPicBuf& source, const std::vector<std::uint8_t>& bytes) {
    const bool planar = source.storageFormat == EzDataStorageFormat::Planar;
    const std::size_t step = planar ? 1 : source.channels;
    withIntegerType(source.dataType, [&](auto in) {
        using In = decltype(in);
        forEachLine(source.height, std::uint64_t{source.width} * 3, [&](std::uint64_t y) {
            std::array<const In*, 3> colors;
            const auto shown = shownChannels(source);
            std::transform(shown.begin(), shown.end(), colors.begin(), [&](std::uint32_t channel) {
                return planar ? planeView<const In>(source, channel).row(y)
                              : lineOf<const In>(source, y) + channel;
            });
            std::uint8_t* const out = lineOf<std::uint8_t>(destination, y);
            if (step == 3) // known to the compiler
                lookUpColorLine(colors, 3, out, bytes.data(), source.width);
            else
                lookUpColorLine(colors, step, out, bytes.data(), source.width);
        });
    });
}
