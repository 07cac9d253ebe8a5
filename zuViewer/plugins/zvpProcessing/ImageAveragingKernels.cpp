// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImageAveragingKernels.h"

#include "DivisionByFours.h"
#include "ElementSupport.h"
#include "ExactDivision.h"
#include "HistoData.h"
#include "InstructionSet.h"
#include "PictureView.h"
#include "Prefetch.h"
#include "Unsigned.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <numeric>
#include <type_traits>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

template <class T>
using SumOf = std::conditional_t<std::is_floating_point_v<T>, float, std::uint32_t>;

template <class T>
constexpr EzImageDataType sumType =
    std::is_floating_point_v<T> ? EzImageDataType::Float32 : EzImageDataType::UInt32;

// ---- Formats ----

bool isPlanar(const SzPicBufInfo& format) {
    return format.storageFormat == EzDataStorageFormat::Planar;
}

bool isSummable(const SzPicBufInfo& format) {
    return isPlanar(format) || format.storageFormat == EzDataStorageFormat::Interleaved;
}

bool isUsable(const SzPicBuf& picture) {
    return picture.data && picture.linePitch >= packedLineBytes(picture) &&
           picture.linePitch % bytesPerSample(picture.dataType) == 0;
}

/// Whether sums, their width and height aside, are laid out as those of this picture are.
template <class T>
bool areSumsOf(const SzPicBufInfo& sums, const SzPicBufInfo& picture) {
    return sums.dataType == sumType<T> && sums.storageFormat == picture.storageFormat &&
           (sums.channels == picture.channels || (hasUnsummedSample(picture) && sums.channels == 3));
}

/// Narrower than hasUnsummedSample(): pixels of 32-bit samples are no colours here, but four channels.
bool isColoured(const SzPicBufInfo& format) {
    return format.channels == 3 ||
           (format.channels == 4 && format.storageFormat == EzDataStorageFormat::Interleaved &&
            format.isColor && (bytesPerPixel(format) == 4 || bytesPerPixel(format) == 8));
}

bool hasAlpha(const SzPicBufInfo& format) {
    return format.channels == 4 && isColoured(format);
}

/// The largest sample of a bit depth.
template <class T>
T fullScale(std::uint32_t bitDepth) {
    constexpr std::uint64_t largest = std::numeric_limits<T>::max();
    return static_cast<T>(bitDepth >= 32 ? largest : std::min((std::uint64_t{1} << bitDepth) - 1, largest));
}

// ---- Division ----

class FloatDivider {
public:
    explicit FloatDivider(std::uint32_t divisor) : m_divisor(static_cast<float>(divisor)) {}
    float operator()(float dividend) const { return dividend / m_divisor; }

private:
    float m_divisor;
};

template <class T>
using DividerOf = std::conditional_t<std::is_floating_point_v<T>, FloatDivider, ExactDivision<std::uint32_t>>;

// ---- Lines ----

template <class T>
void addSamples(const T* __restrict samples, SumOf<T>* __restrict sums, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        sums[i] += samples[i];
}

template <class T>
void divideSums(const SumOf<T>* __restrict sums, T* __restrict means, std::size_t count,
                DividerOf<T> divide) {
    for (std::size_t i = 0; i < count; ++i)
        means[i] = static_cast<T>(divide(sums[i]));
}

/// Holds the sum of some samples, up to 257.
template <class T>
using PartialSumOf = std::conditional_t<sizeof(T) == 1, std::uint16_t, SumOf<T>>;

/// Adds up lines that begin step samples after one another, so many together at a time.
template <std::size_t together, class T>
void addLines(const T* __restrict line, std::size_t step, std::size_t lines, SumOf<T>* __restrict sums,
              std::size_t samples) {
    for (; lines >= together; lines -= together, line += together * step)
        for (std::size_t i = 0; i < samples; ++i) {
            PartialSumOf<T> sum = 0;
#pragma GCC unroll 16
            for (std::size_t y = 0; y < together; ++y)
                sum = static_cast<PartialSumOf<T>>(sum + line[y * step + i]);
            sums[i] += sum;
        }
    for (; lines > 0; --lines, line += step)
        addSamples(line, sums, samples);
}

/// Work on pixels is done in blocks of several, long enough to be vectorised whatever the number of channels.
/// Samples, unless a single pixel has more.
constexpr std::size_t longestBlockOfSums = 96;
constexpr std::size_t longestBlockOfMeans = 384;

/// A pixel's samples doubled and doubled again, so that a block can be folded half onto half.
std::size_t blockLength(std::size_t channels, std::size_t longest) {
    std::size_t length = channels;
    while (length * 2 <= longest)
        length *= 2;
    return length;
}

/// Repeats the first pixel of a row or block over all of it.
template <class T>
void repeatPixel(T* pixels, std::size_t channels, std::size_t samples) {
    for (std::size_t done = channels; done < samples; done *= 2)
        std::memcpy(pixels + done, pixels, std::min(done, samples - done) * sizeof(T));
}

/// Adds up the pixels of a row, of one sample or four. The sums are those of the samples of a pixel.
template <std::size_t vectorSize, std::size_t channels, class T>
void sumRow(const T* row, std::size_t samples, std::uint32_t (&sums)[channels]) {
    typedef Unsigned<2 * sizeof(T)> Twos __attribute__((vector_size(vectorSize)));
    typedef Unsigned<4 * sizeof(T)> Fours __attribute__((vector_size(vectorSize)));
    typedef Unsigned<4 * sizeof(T)> Part __attribute__((vector_size(16)));
    constexpr unsigned bits = 8 * sizeof(T);
    constexpr std::size_t together = 2; // so many vectors do not wait for each other
    constexpr std::size_t block = together * vectorSize / sizeof(T);
    constexpr std::size_t mostBlocks = 256 / together; // the sums of more bytes would not fit their lanes
    Fours fours[4] = {};
    std::size_t done = 0;
    while (done + block <= samples) {
        // The sums of both samples of a lane and those of its upper ones yield those of the lower ones: that
        // takes fewer operations than parting all samples.
        Twos both[together] = {};
        Twos upper[together] = {};
        const std::size_t end = std::min(samples / block * block, done + mostBlocks * block);
        for (; done < end; done += block) {
#pragma GCC unroll 2
            for (std::size_t i = 0; i < together; ++i) {
                Twos in;
                std::memcpy(&in, row + done + i * (vectorSize / sizeof(T)), sizeof in);
                both[i] += in;
                upper[i] += in >> bits;
            }
        }
        for (std::size_t i = 1; i < together; ++i) {
            both[0] += both[i];
            upper[0] += upper[i];
        }
        const auto first = reinterpret_cast<Fours>(both[0] - (upper[0] << bits));
        const auto second = reinterpret_cast<Fours>(upper[0]);
        constexpr Unsigned<4 * sizeof(T)> lower = std::numeric_limits<Unsigned<2 * sizeof(T)>>::max();
        fours[0] += first & lower;
        fours[1] += second & lower;
        fours[2] += first >> (2 * bits);
        fours[3] += second >> (2 * bits);
    }
    for (std::size_t i = channels; i < 4; ++i)
        fours[i % channels] += fours[i];
    for (std::size_t i = 0; i < channels; ++i) {
        Part parts[vectorSize / sizeof(Part)];
        std::memcpy(parts, &fours[i], sizeof parts);
        const Part sum = std::accumulate(std::begin(parts), std::end(parts), Part{});
        for (std::size_t lane = 0; lane < sizeof sum / (4 * sizeof(T)); ++lane)
            sums[i] += static_cast<std::uint32_t>(sum[lane]);
    }
    for (; done < samples; ++done)
        sums[done % channels] += row[done];
}

/// Adds up the pixels of a row. The sums, one for each sample of a pixel, come first in a block of this
/// length.
template <class T>
void sumPixels(const T* row, std::size_t samples, SumOf<T>* sums, std::size_t channels, std::size_t length) {
    std::fill_n(sums, length, SumOf<T>{0});
    const std::size_t blocks = samples / length;
    addLines<16>(row, length, blocks, sums, length);
    addSamples(row + blocks * length, sums, samples % length);
    while (length > channels) {
        length /= 2;
        addSamples(sums + length, sums, length);
    }
}

using Vector8 = std::uint8_t __attribute__((vector_size(16)));
using Vector16 = std::uint16_t __attribute__((vector_size(16)));
template <class T>
using Vector = std::conditional_t<sizeof(T) == 1, Vector8, Vector16>;

/// The colours of a few pixels, three samples each, with room for a fourth after each.
inline Vector8 spread(Vector8 colours) {
    return __builtin_shufflevector(colours, colours, 0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11);
}
inline Vector16 spread(Vector16 colours) {
    return __builtin_shufflevector(colours, colours, 0, 1, 2, 2, 3, 4, 5, 5);
}

/// Pixels whose samples are set together, and samples that are read for them: more than three each.
constexpr std::size_t coloursTogether = 128;
template <class T>
constexpr std::size_t readColours = 3 * coloursTogether + sizeof(Vector<T>) / sizeof(T);

/// Sets the first three samples of the four of each pixel. Reads up to a vector behind the last colour.
template <class T>
void setColours(T* row, const T* colours, std::size_t pixels) {
    std::size_t x = 0;
    if constexpr (sizeof(T) < 4) {
        constexpr std::size_t lanes = sizeof(Vector<T>) / sizeof(T);
        Vector<T> kept{};
        for (std::size_t i = 3; i < lanes; i += 4)
            kept[i] = std::numeric_limits<T>::max();
        for (; x + lanes / 4 <= pixels; x += lanes / 4) {
            Vector<T> in;
            Vector<T> out;
            std::memcpy(&in, colours + 3 * x, sizeof in);
            std::memcpy(&out, row + 4 * x, sizeof out);
            out = (out & kept) | (spread(in) & ~kept);
            std::memcpy(row + 4 * x, &out, sizeof out);
        }
    }
    for (; x < pixels; ++x)
        std::copy_n(colours + 3 * x, 3, row + 4 * x);
}

// ---- Accumulating ----

#ifdef __SSE2__
template <class T>
__m128i load(const T* samples) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
}
#endif

template <class T>
void addPlane(PictureView<const T> source, PictureView<SumOf<T>> sums) {
    const std::size_t samples = std::size_t{source.width} * source.channels;
    for (std::size_t y = 0; y < source.height; ++y)
        addSamples(source.row(y), sums.row(y), samples);
}

#ifdef __SSE2__
/// Adds the colours of four pixels of 8 bits: twelve sums.
inline void addFourPixels(const std::uint8_t* pixels, std::uint32_t* sums) {
    const __m128i in = load(pixels);
    const __m128i zero = _mm_setzero_si128();
    // Alpha goes, first between the pixels of each half, then between the halves.
    const __m128i halves =
        _mm_or_si128(_mm_and_si128(in, _mm_set1_epi64x(0xffffff)),
                     _mm_srli_epi64(_mm_and_si128(in, _mm_set1_epi64x(0xffffff00000000)), 8));
    const __m128i colours =
        _mm_or_si128(_mm_move_epi64(halves), _mm_slli_si128(_mm_srli_si128(halves, 8), 6));
    const __m128i firstEight = _mm_unpacklo_epi8(colours, zero);
    const __m128i lastFour = _mm_unpackhi_epi8(colours, zero);
    const __m128i widened[] = {_mm_unpacklo_epi16(firstEight, zero), _mm_unpackhi_epi16(firstEight, zero),
                               _mm_unpacklo_epi16(lastFour, zero)};
    for (std::size_t i = 0; i < std::size(widened); ++i)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(sums + 4 * i),
                         _mm_add_epi32(load(sums + 4 * i), widened[i]));
}
#endif

/// Fours of pixels are for plain x86-64, where the compiler adds pixel by pixel.
template <class T, bool byFours>
void addColours(PictureView<const T> source, PictureView<SumOf<T>> sums) {
    for (std::size_t y = 0; y < source.height; ++y) {
        const T* __restrict in = source.row(y);
        SumOf<T>* __restrict out = sums.row(y);
        std::size_t x = 0;
#ifdef __SSE2__
        if constexpr (byFours && sizeof(T) == 1)
            for (; x + 4 <= source.width; x += 4, in += 16, out += 12)
                addFourPixels(in, out);
#endif
        for (; x < source.width; ++x, in += 4, out += 3)
            for (std::size_t i = 0; i < 3; ++i)
                out[i] += in[i];
    }
}

// ---- Dividing ----

template <class T>
void dividePlane(PictureView<const SumOf<T>> sums, PictureView<T> output, DividerOf<T> divide,
                 DivisionByFours<T> byFours) {
    const std::size_t samples = std::size_t{sums.width} * output.channels;
    for (std::size_t y = 0; y < sums.height; ++y) {
        const std::size_t done = 4 * byFours.template divideRow<4>(sums.row(y), output.row(y), samples / 4);
        divideSums(sums.row(y) + done, output.row(y) + done, samples - done, divide);
    }
}

template <class T>
void divideColours(PictureView<const SumOf<T>> sums, PictureView<T> output, DividerOf<T> divide,
                   DivisionByFours<T> byFours) {
    T means[readColours<T>] = {};
    const std::size_t followed = std::max(sums.width, 1U) - 1; // pixels with a sum behind their own
    for (std::size_t y = 0; y < sums.height; ++y)
        for (std::size_t x = byFours.template divideRow<3>(sums.row(y), output.row(y), followed);
             x < sums.width; x += coloursTogether) {
            const std::size_t pixels = std::min(coloursTogether, sums.width - x);
            divideSums(sums.row(y) + 3 * x, means, 3 * pixels, divide);
            setColours(output.row(y) + 4 * x, means, pixels);
        }
}

// ---- Line averaging ----

/// Planes are walked as if their samples were interleaved.
template <class T>
PictureView<T> walk(const SzPicBuf& picture) {
    PictureView<T> lines = view<T>(picture);
    lines.channels = picture.channels;
    return lines;
}

/// For pixels of one sample or four, of 8 or 16 bits each.
template <std::size_t vectorSize, std::size_t channels, class T>
void setRowsToMeans(PictureView<T> picture, [[maybe_unused]] bool keepAlpha) {
    typedef T Samples __attribute__((vector_size(vectorSize)));
    constexpr std::size_t lanes = vectorSize / sizeof(T);
    constexpr std::size_t portion = 1024 / sizeof(T); // more than that in advance is waiting
    const std::size_t samples = std::size_t{picture.width} * channels;
    const DividerOf<T> divide(picture.width);
    const std::uint32_t half = picture.width / 2;
    Samples kept{};
    for (std::size_t i = 3; keepAlpha && i < lanes; i += 4)
        kept[i] = std::numeric_limits<T>::max();
    for (std::size_t y = 0; y < picture.height; ++y) {
        T* const row = picture.row(y);
        std::uint32_t sums[channels] = {};
        sumRow<vectorSize>(static_cast<const T*>(row), samples, sums);
        T mean[channels];
        for (std::size_t i = 0; i < channels; ++i)
            mean[i] = static_cast<T>(divide(sums[i] + half));
        typedef Unsigned<sizeof mean> Pixels __attribute__((vector_size(vectorSize)));
        Unsigned<sizeof mean> pixel;
        std::memcpy(&pixel, mean, sizeof pixel);
        const Samples means = reinterpret_cast<Samples>(Pixels{} + pixel) & ~kept;
        // The next row is fetched while this one is written: each is read as a whole before, and waiting for
        // the memory would cost more than the sum.
        const T* const next = picture.row(y + 1);
        for (std::size_t begin = 0; begin < samples; begin += portion) {
            const std::size_t end = std::min(samples, begin + portion);
            prefetch(next + begin, (end - begin) * sizeof(T));
            if (sizeof pixel == 1) {
                std::memset(row + begin, mean[0], end - begin);
                continue;
            }
            std::size_t i = begin;
            for (; i + lanes <= end; i += lanes) {
                Samples out;
                std::memcpy(&out, row + i, sizeof out);
                out = (out & kept) | means;
                std::memcpy(row + i, &out, sizeof out);
            }
            for (; i < end; ++i)
                row[i] = static_cast<T>((row[i] & kept[i % lanes]) | means[i % lanes]);
        }
    }
}

template <class T>
void setAnyRowsToMeans(PictureView<T> picture, SumOf<T>* sums, std::size_t length) {
    const std::size_t channels = picture.channels;
    const DividerOf<T> divide(picture.width);
    const auto half = static_cast<SumOf<T>>(picture.width / 2);
    for (std::size_t y = 0; y < picture.height; ++y) {
        T* const row = picture.row(y);
        const std::size_t samples = picture.width * channels;
        sumPixels(static_cast<const T*>(row), samples, sums, channels, length);
        prefetch(picture.row(y + 1), std::min(samples * sizeof(T), std::size_t{16384}));
        for (std::size_t i = 0; i < channels; ++i)
            row[i] = static_cast<T>(divide(sums[i] + half));
        if (channels == 1)
            std::fill_n(row, samples, row[0]);
        else
            repeatPixel(row, channels, samples);
    }
}

template <std::size_t channels, class T>
void averageRowsOf(PictureView<T> picture, bool keepAlpha) {
    forInstructionSets<&setRowsToMeans<16, channels, T>, &setRowsToMeans<32, channels, T>,
                       &setRowsToMeans<64, channels, T>>(picture, keepAlpha);
}

template <class T>
void averageRows(PictureView<T> picture, [[maybe_unused]] bool keepAlpha) {
    if constexpr (sizeof(T) < 4) {
        if (picture.channels == 1)
            return averageRowsOf<1>(picture, false);
        if (picture.channels == 4)
            return averageRowsOf<4>(picture, keepAlpha);
    }
    const std::size_t length = blockLength(picture.channels, longestBlockOfSums);
    std::vector<SumOf<T>> sums(length);
    forInstructionSet<&setAnyRowsToMeans<T>>(picture, sums.data(), length);
}

/// Prefetching is worth its instructions where the sums take as long as the memory: in the small vectors of
/// SSE2, and where the picture is larger than so many bytes. A smaller one that is still in the cache would
/// take up to a quarter more time.
template <std::size_t cached, class T>
void sumColumns(PictureView<const T> picture, SumOf<T>* sums, T* means, std::size_t samples) {
    // No more of them: lines often lie so that they drive each other out of the fastest cache.
    constexpr std::size_t together = 8;
    const std::size_t step = picture.pitch / sizeof(T);
    std::size_t y = 0;
    if (picture.pitch * picture.height > cached)
        for (; y + together <= picture.height; y += together) {
            constexpr std::size_t block = 128 / sizeof(T);
            const T* const line = picture.row(y);
            std::size_t x = 0;
            for (; x + block <= samples; x += block) {
                for (std::size_t i = 0; i < together; ++i)
                    prefetch<EzCache::Second>(line + (together + i) * step + x, block * sizeof(T));
                addLines<together>(line + x, step, together, sums + x, block);
            }
            addLines<together>(line + x, step, together, sums + x, samples - x);
        }
    addLines<together>(picture.row(y), step, picture.height - y, sums, samples);
    const auto half = static_cast<SumOf<T>>(picture.height / 2);
    for (std::size_t i = 0; i < samples; ++i)
        sums[i] += half;
    divideSums(static_cast<const SumOf<T>*>(sums), means, samples, DividerOf<T>(picture.height));
}

template <class T>
void averageColumns(PictureView<T> picture) {
    const std::size_t samples = std::size_t{picture.width} * picture.channels;
    std::vector<SumOf<T>> sums(samples);
    std::vector<T> means(samples);
    const PictureView<const T> source{picture.data, picture.width, picture.height, picture.channels,
                                      picture.pitch};
    constexpr std::size_t cached = 8 << 20;
    forInstructionSets<&sumColumns<0, T>, &sumColumns<cached, T>, &sumColumns<cached, T>>(
        source, sums.data(), means.data(), samples);
    for (std::size_t y = 0; y < picture.height; ++y)
        std::memcpy(picture.row(y), means.data(), samples * sizeof(T));
}

// ---- Channel means ----

/// Channels that the histogram of a picture must have.
std::uint32_t meansOf(const SzPicBufInfo& format) {
    return isColoured(format) ? 3 : format.channels;
}

bool hasMeansOf(const SzPicBufInfo& format, const CzHistoData& histogram) {
    return static_cast<std::uint32_t>(histogram.channels.size()) >= meansOf(format);
}

template <class T>
T roundedMean(double mean) {
    const double rounded = mean + 0.5;
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(rounded);
    } else {
        constexpr T largest = std::numeric_limits<T>::max();
        if (!(rounded >= 0.0)) // nor when it is not a number
            return 0;
        return rounded >= static_cast<double>(largest) ? largest : static_cast<T>(rounded);
    }
}

/// The samples of a block of pixels. They begin where vectors do, since those that lie across two lines of
/// the cache are read at half the speed, and need no memory of the heap for any usual number of channels.
template <class T>
class Block {
public:
    explicit Block(std::size_t length)
        : m_length(length), m_many(length > longestBlockOfMeans ? length : 0) {}

    std::size_t length() const { return m_length; }
    T* data() { return m_many.empty() ? m_few : m_many.data(); }
    const T* data() const { return m_many.empty() ? m_few : m_many.data(); }

private:
    alignas(64) T m_few[longestBlockOfMeans] = {};
    std::size_t m_length;
    std::vector<T> m_many;
};

/// The means of a histogram over a block of pixels of this format, with alpha in their fourth sample if they
/// have one.
template <class T>
Block<T> blockOfMeans(const SzPicBufInfo& format, const CzHistoData& histogram, T alpha) {
    const std::uint32_t means = meansOf(format);
    Block<T> block(blockLength(format.channels, longestBlockOfMeans));
    for (std::uint32_t i = 0; i < means; ++i) {
        // Pixels are blue, green, red, histograms red, green, blue.
        const std::uint32_t channel = isColoured(format) ? 2 - i : i;
        block.data()[i] = roundedMean<T>(histogram.channels.at(static_cast<int>(channel)).mean);
    }
    if (hasAlpha(format))
        block.data()[3] = alpha;
    repeatPixel(block.data(), format.channels, block.length());
    return block;
}

template <class T>
void fill(PictureView<T> picture, const T* means) {
    const std::size_t samples = std::size_t{picture.width} * picture.channels;
    for (std::size_t y = 0; y < picture.height; ++y) {
        std::copy_n(means, picture.channels, picture.row(y));
        repeatPixel(picture.row(y), picture.channels, samples);
    }
}

// ---- Subtracting ----

// By value, unlike those of the standard library, which the compiler does not always vectorise.

template <class T>
T smaller(T a, T b) {
    return a < b ? a : b;
}

template <class T>
T larger(T a, T b) {
    return a > b ? a : b;
}

/// sample − subtrahend + mean, within 0 and the limit. Never leaves the range of T on the way: of wider
/// numbers a vector would hold half as many.
template <class T>
T difference(T sample, T subtrahend, T mean, T limit) {
    const T most = larger(sample, subtrahend);
    const auto above = static_cast<T>(most - subtrahend);
    const auto below = static_cast<T>(most - sample); // one of the two is 0
    const auto lowered = static_cast<T>(larger(mean, below) - below);
    const auto room = static_cast<T>(~above);
    return smaller(static_cast<T>(smaller(lowered, room) + above), limit);
}

/// What holds for the samples of a block.
template <class T>
struct Subtraction {
    const T* means;
    const T* subtracted; // all bits set, or none where the average is not subtracted
    const T* limits;
    std::size_t length;
    bool isAlike;      // whether each 16 bytes of the block are like the first ones
    bool isSaturating; // whether subtractSaturating() is used
};

#ifdef __SSE2__

template <class T>
__m128i saturatingSum(__m128i a, __m128i b) {
    return sizeof(T) == 1 ? _mm_adds_epu8(a, b) : _mm_adds_epu16(a, b);
}

template <class T>
__m128i saturatingDifference(__m128i a, __m128i b) {
    return sizeof(T) == 1 ? _mm_subs_epu8(a, b) : _mm_subs_epu16(a, b);
}

/// difference() for a vector of samples: of the mean, of which average samples are subtracted, and the limit.
template <class T>
void subtractVector(const T* average, T* picture, __m128i mean, __m128i subtracted, __m128i limit) {
    const __m128i sample = load(picture);
    const __m128i subtrahend = _mm_and_si128(load(average), subtracted);
    const __m128i above = saturatingDifference<T>(sample, subtrahend);
    const __m128i below = saturatingDifference<T>(subtrahend, sample); // one of the two is 0
    const __m128i sum = saturatingSum<T>(saturatingDifference<T>(mean, below), above);
    const __m128i beyond = saturatingDifference<T>(sum, limit);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(picture), saturatingDifference<T>(sum, beyond));
}

#endif

/// Subtracts from as many samples of a block as it can, from the first on, and returns how many these were:
/// only those of 8 and 16 bits, and only where nothing beyond SSE2 is used. That has saturation, which plain
/// C++ is not compiled to, and no smaller and no larger of two samples of 16 bits.
template <class T>
std::size_t subtractSaturating([[maybe_unused]] const T* __restrict average,
                               [[maybe_unused]] T* __restrict picture, [[maybe_unused]] std::size_t samples,
                               [[maybe_unused]] const Subtraction<T>& block) {
    std::size_t done = 0;
#ifdef __SSE2__
    constexpr std::size_t together = sizeof(__m128i) / sizeof(T);
    if constexpr (sizeof(T) <= 2) {
        if (!block.isSaturating)
            return 0;
        if (block.isAlike) {
            const __m128i mean = load(block.means);
            const __m128i subtracted = load(block.subtracted);
            const __m128i limit = load(block.limits);
#pragma GCC unroll 4
            for (; done + together <= samples; done += together)
                subtractVector(average + done, picture + done, mean, subtracted, limit);
        } else {
            for (; done + together <= samples; done += together)
                subtractVector(average + done, picture + done, load(block.means + done),
                               load(block.subtracted + done), load(block.limits + done));
        }
    }
#endif
    return done;
}

template <class T>
void subtractLine(const T* __restrict average, T* __restrict picture, std::size_t samples, T mean, T limit) {
    for (std::size_t i = 0; i < samples; ++i)
        picture[i] = difference(picture[i], average[i], mean, limit);
}

template <class T>
void subtractBlock(const T* __restrict average, T* __restrict picture, std::size_t samples,
                   const T* __restrict means, const T* __restrict subtracted, const T* __restrict limits) {
    for (std::size_t i = 0; i < samples; ++i)
        picture[i] = difference(picture[i], static_cast<T>(average[i] & subtracted[i]), means[i], limits[i]);
}

template <class T>
void subtractSamples(PictureView<const T> average, PictureView<T> picture, Subtraction<T> block) {
    const std::size_t samples = std::size_t{average.width} * average.channels;
    for (std::size_t y = 0; y < average.height; ++y) {
        const T* const a = average.row(y);
        T* const p = picture.row(y);
        if (average.channels == 1 && !block.isSaturating) {
            subtractLine(a, p, samples, block.means[0], block.limits[0]);
            continue;
        }
        for (std::size_t i = 0; i < samples; i += block.length) {
            const std::size_t count = std::min(block.length, samples - i);
            if (block.isSaturating) { // wider vectors are through before the next line could come
                prefetch(average.row(y + 1) + i, count * sizeof(T));
                prefetch(picture.row(y + 1) + i, count * sizeof(T));
            }
            const std::size_t done = subtractSaturating(a + i, p + i, count, block);
            subtractBlock(a + i + done, p + i + done, count - done, block.means + done,
                          block.subtracted + done, block.limits + done);
        }
    }
}

void subtractFloats(PictureView<const float> average, PictureView<float> picture,
                    const float* __restrict means, std::size_t length) {
    const std::size_t samples = std::size_t{average.width} * average.channels;
    for (std::size_t y = 0; y < average.height; ++y)
        for (std::size_t i = 0; i < samples; i += length) {
            const float* __restrict a = average.row(y) + i;
            float* __restrict p = picture.row(y) + i;
            const std::size_t count = std::min(length, samples - i);
            for (std::size_t j = 0; j < count; ++j)
                p[j] = p[j] - a[j] + means[j];
        }
}

template <class T>
void subtract(const SzPicBuf& average, SzPicBuf& picture, const CzHistoData& histogram) {
    const Block<T> means = blockOfMeans<T>(average, histogram, 0);
    if constexpr (std::is_floating_point_v<T>) {
        forInstructionSet<&subtractFloats>(walk<const T>(average), walk<T>(picture), means.data(),
                                           means.length());
    } else {
        constexpr T largest = std::numeric_limits<T>::max();
        Block<T> subtracted(means.length());
        Block<T> limits(means.length());
        for (std::size_t i = 0; i < means.length(); ++i) {
            const bool kept = hasAlpha(average) && i % 4 == 3;
            subtracted.data()[i] = kept ? 0 : largest;
            limits.data()[i] = kept ? largest : fullScale<T>(average.bitDepth);
        }
        const bool isSaturating = sizeof(T) <= 2 && instructionSet() == EzInstructionSet::Portable;
        const bool isAlike = 16 / sizeof(T) % average.channels == 0;
        const Subtraction<T> block{means.data(),   subtracted.data(), limits.data(),
                                   means.length(), isAlike,           isSaturating};
        forInstructionSet<&subtractSamples<T>>(walk<const T>(average), walk<T>(picture), block);
    }
}

// ---- Planes with padded lines ----

/// Whether rows that run on into the following lines meet padding.
bool rowsMeetPadding(const SzPicBuf& picture) {
    return isPlanar(picture) && picture.channels > 1 && picture.linePitch != packedLineBytes(picture);
}

/// A copy of a picture, at the same places, whose padding is 0 and may be used.
class UsablePadding {
public:
    explicit UsablePadding(const SzPicBuf& picture) : m_memory(picture.dataSize()) {
        copy.setPicFormat(picture);
        copy.data = m_memory.data();
        CzPicBufAPI::CopyPicBuf(copy, picture, false);
    }
    UsablePadding(const UsablePadding&) = delete;
    UsablePadding& operator=(const UsablePadding&) = delete;

    SzPicBuf copy;

private:
    std::vector<std::uint8_t> m_memory;
};

/// Calls function with the picture, or with such a copy in its place.
template <class Function>
void withUsablePadding(SzPicBuf& picture, Function&& function) {
    if (!rowsMeetPadding(picture))
        return function(picture);
    UsablePadding padded(picture);
    function(padded.copy);
    CzPicBufAPI::CopyPicBuf(picture, padded.copy, false);
}

template <class Function>
void withUsablePadding(const SzPicBuf& picture, Function&& function) {
    if (!rowsMeetPadding(picture))
        return function(picture);
    const UsablePadding padded(picture);
    function(padded.copy);
}

bool hasNoPixels(const SzPicBufInfo& format) {
    return format.width == 0 || format.height == 0 || format.channels == 0;
}

/// Brings floatMin and floatMax of a float picture up to date.
void refreshRange(SzPicBuf& picture) {
    if (picture.dataType == EzImageDataType::Float32)
        CzPicBufAPI::CalcFloatDataMinMax(picture, picture.floatMin, picture.floatMax, false);
}

} // namespace

bool hasUnsummedSample(const SzPicBufInfo& format) {
    return format.storageFormat == EzDataStorageFormat::Interleaved && format.channels == 4 && format.isColor;
}

SzPicBufInfo sumFormat(SzPicBufInfo format) {
    if (format.dataType == EzImageDataType::UInt8 || format.dataType == EzImageDataType::UInt16) {
        format.dataType = EzImageDataType::UInt32;
        format.bitDepth = 32;
    }
    format.linePitch = 0;
    if (hasAlpha(format))
        format.channels = 3;
    return format;
}

bool AccumulatePicture(const SzPicBuf& source, SzPicBuf& sums) {
    if (!isUsable(source) || !isUsable(sums) || !isSummable(source) || source.width > sums.width ||
        source.height > sums.height)
        return false;
    return withSampleType(source.dataType, [&](auto sample) {
        using T = decltype(sample);
        if (!areSumsOf<T>(sums, source))
            return false;
        if (hasUnsummedSample(source))
            forInstructionSets<&addColours<T, true>, &addColours<T, false>, &addColours<T, false>>(
                view<const T>(source), view<SumOf<T>>(sums));
        else if (isPlanar(source))
            for (std::uint32_t plane = 0; plane < source.channels; ++plane)
                forInstructionSet<&addPlane<T>>(planeView<const T>(source, plane),
                                                planeView<SumOf<T>>(sums, plane));
        else
            forInstructionSet<&addPlane<T>>(view<const T>(source), view<SumOf<T>>(sums));
        return true;
    });
}

bool DivideSums(const SzPicBuf& sums, SzPicBuf& output, std::uint32_t count) {
    if (!isUsable(sums) || !isUsable(output) || !isSummable(output) || count == 0 ||
        sums.width > output.width || sums.height > output.height)
        return false;
    const bool divided = withSampleType(output.dataType, [&](auto sample) {
        using T = decltype(sample);
        if (!areSumsOf<T>(sums, output))
            return false;
        const DividerOf<T> divide(count);
        const DivisionByFours<T> byFours(count);
        if (hasUnsummedSample(output))
            forInstructionSet<&divideColours<T>>(view<const SumOf<T>>(sums), view<T>(output), divide,
                                                 byFours);
        else if (isPlanar(output))
            for (std::uint32_t plane = 0; plane < sums.channels; ++plane)
                forInstructionSet<&dividePlane<T>>(planeView<const SumOf<T>>(sums, plane),
                                                   planeView<T>(output, plane), divide, byFours);
        else
            forInstructionSet<&dividePlane<T>>(view<const SumOf<T>>(sums), view<T>(output), divide, byFours);
        return true;
    });
    if (divided)
        refreshRange(output);
    return divided;
}

bool AverageLines(SzPicBuf& picture, std::int32_t mode) {
    if (mode != RowMeans && mode != ColumnMeans)
        return true;
    return withSampleType(picture.dataType, [&](auto sample) {
        using T = decltype(sample);
        if (!isUsable(picture))
            return false;
        if (hasNoPixels(picture))
            return true;
        withUsablePadding(picture, [&](SzPicBuf& lines) {
            if (mode == RowMeans)
                averageRows(walk<T>(lines), hasAlpha(lines));
            else
                averageColumns(walk<T>(lines));
        });
        return true;
    });
}

bool FillWithChannelMeans(SzPicBuf& picture, const CzHistoData& histogram) {
    return withSampleType(picture.dataType, [&](auto sample) {
        using T = decltype(sample);
        if (!hasMeansOf(picture, histogram) || !isUsable(picture))
            return false;
        if (hasNoPixels(picture))
            return true;
        T alpha{};
        if constexpr (std::is_integral_v<T>)
            alpha = fullScale<T>(picture.bitDepth);
        const Block<T> means = blockOfMeans<T>(picture, histogram, alpha);
        withUsablePadding(picture, [&](SzPicBuf& lines) { fill(walk<T>(lines), means.data()); });
        return true;
    });
}

bool SubtractFromAverage(const SzPicBuf& average, SzPicBuf& picture, const CzHistoData& histogram) {
    const bool sameLayout = picture.dataType == average.dataType && picture.channels == average.channels &&
                            picture.storageFormat == average.storageFormat &&
                            picture.width >= average.width && picture.height >= average.height;
    if (!sameLayout || !hasMeansOf(average, histogram) || !isUsable(average) || !isUsable(picture))
        return false;
    const bool subtracted = withSampleType(average.dataType, [&](auto sample) {
        using T = decltype(sample);
        if (hasNoPixels(average))
            return true;
        withUsablePadding(average, [&](const SzPicBuf& from) {
            withUsablePadding(picture, [&](SzPicBuf& lines) { subtract<T>(from, lines, histogram); });
        });
        return true;
    });
    if (subtracted)
        refreshRange(picture);
    return subtracted;
}
