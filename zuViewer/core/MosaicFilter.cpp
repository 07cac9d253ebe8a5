// SPDX-License-Identifier: GPL-3.0-or-later
// Statistics of mosaic pictures, cell by cell or in a window of a cell's size at every sample.
//
// A window is combined column by column first: the line of a window's columns stays in the cache while it is
// combined to windows. The first step costs nearly the same for cells of all heights. The second one doubles
// the width: in the lanes of vectors for widths of 4, 8 and 16, otherwise with one more pass over the line
// for each time. Both work with whole lines (so that they can be vectorised) and combine nothing but the
// samples of the window, in the same order everywhere: a sum of floats does not depend on its neighbours, and
// nothing on the number of threads.
#include "ExactDivision.h"
#include "InstructionSet.h"
#include "PicBufAPI.h"
#include "PicBufGeometry.h"
#include "PictureView.h"
#include "Prefetch.h"
#include "Unsigned.h"

#include <QRect>

#include <omp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

namespace {

// ---- What is made of the samples of a window ----
//
// load() makes a value of a sample, combine() one value of two, or so for each lane of two vectors, store() a
// sample of the combined value; remove() undoes combine(), where that leaves no trace.

/// Integers are compared as they are.
template <class T>
struct Ordered {
    using Key = T;
    static Key keyOf(T sample, Key /*ofNotANumber*/) { return sample; }
    static T sampleOf(Key key) { return key; }
};

/// Floats as integers of the same order: −0 before 0, and one key of choice for all that is not a number.
template <>
struct Ordered<float> {
    using Key = std::int32_t;
    static constexpr std::int32_t magnitude = 0x7fffffff;
    static constexpr std::int32_t infinity = 0x7f800000;

    static Key keyOf(float sample, Key ofNotANumber) {
        std::int32_t bits;
        std::memcpy(&bits, &sample, sizeof bits);
        const Key key = bits < 0 ? bits ^ magnitude : bits;
        return (bits & magnitude) > infinity ? ofNotANumber : key;
    }
    static float sampleOf(Key key) {
        const std::int32_t bits = key < 0 ? key ^ magnitude : key;
        float sample;
        std::memcpy(&sample, &bits, sizeof sample);
        return sample;
    }
};

/// 16 bits as numbers with a sign, in the same order: SSE2 has a minimum and a maximum of those only.
struct OrderedWithSign {
    using Key = std::int16_t;
    static Key keyOf(std::uint16_t sample, Key /*ofNotANumber*/) { return static_cast<Key>(sample ^ 0x8000); }
    static std::uint16_t sampleOf(Key key) { return static_cast<std::uint16_t>(key ^ 0x8000); }
};

/// What is not a number counts as the largest: it is the smallest only where there is nothing else. (The
/// largest and the smallest key themselves are not numbers.)
template <class T, class Order = Ordered<T>>
struct Smallest {
    using Sample = T;
    using Value = typename Order::Key;
    static constexpr bool canRemove = false;
    Smallest() = default;
    template <class Other>
    Smallest(Smallest<T, Other> /*sameInAnotherOrder*/) {}
    static Value load(T sample) { return Order::keyOf(sample, std::numeric_limits<Value>::max()); }
    template <class V>
    static V combine(V a, V b) {
        return b < a ? b : a;
    }
    static T store(Value value) { return Order::sampleOf(value); }
};

template <class T, class Order = Ordered<T>>
struct Largest {
    using Sample = T;
    using Value = typename Order::Key;
    static constexpr bool canRemove = false;
    Largest() = default;
    template <class Other>
    Largest(Largest<T, Other> /*sameInAnotherOrder*/) {}
    static Value load(T sample) { return Order::keyOf(sample, std::numeric_limits<Value>::min()); }
    template <class V>
    static V combine(V a, V b) {
        return b > a ? b : a;
    }
    static T store(Value value) { return Order::sampleOf(value); }
};

/// What is best made of samples in a portable kernel.
template <class R>
struct Portable {
    using Type = R;
};

template <template <class, class> class Extreme>
struct Portable<Extreme<std::uint16_t, Ordered<std::uint16_t>>> {
    using Type = Extreme<std::uint16_t, OrderedWithSign>;
};

/// Sums of 64 bits are rare: of large cells, and of samples of 32 bits.
struct PlainDivision {
    std::uint64_t divisor;
    std::uint64_t operator()(std::uint64_t dividend) const { return dividend / divisor; }
};

/// Of integers, halves rounded up. Sum holds the sum of all samples and half their number.
template <class T, class Sum>
struct Mean {
    using Sample = T;
    using Value = Sum;
    using Division =
        std::conditional_t<std::is_same_v<Sum, std::uint64_t>, PlainDivision, ExactDivision<Sum>>;
    static constexpr bool canRemove = true;
    explicit Mean(std::uint64_t count)
        : half(static_cast<Sum>(count / 2))
        , division{static_cast<Sum>(count)}
        , inverse(static_cast<std::uint16_t>(65536 / count)) {
        if ((count & (count - 1)) == 0)
            while (count >> shift > 1)
                ++shift;
    }
    static Sum load(T sample) { return sample; }
    template <class V>
    static V combine(V a, V b) {
        return static_cast<V>(a + b);
    }
    static Sum remove(Sum a, Sum b) { return static_cast<Sum>(a - b); }
    T store(Sum sum) const {
        const auto dividend = static_cast<Sum>(sum + half);
        if constexpr (std::is_same_v<Sum, std::uint32_t>)
            if (shift > 0)
                return static_cast<T>(dividend >> shift);
        if constexpr (std::is_same_v<Sum, std::uint16_t>)
            if (shift > 0)
                return static_cast<T>((std::uint32_t{dividend} * inverse) >> 16);
        return static_cast<T>(division(dividend));
    }

    Sum half;
    Division division;
    // What divides as well, and faster, where the number is a power of two: a shift, and for 16 bits, where
    // compilers need several instructions for it, the upper half of a product.
    unsigned shift = 0;
    std::uint16_t inverse;
};

template <>
struct Mean<float, double> {
    using Sample = float;
    using Value = double;
    static constexpr bool canRemove = false; // rounding leaves traces, and so does what is not finite
    explicit Mean(std::uint64_t number) : count(static_cast<double>(number)) {}
    static double load(float sample) { return static_cast<double>(sample); }
    template <class V>
    static V combine(V a, V b) {
        return a + b;
    }
    float store(double sum) const { return static_cast<float>(sum / count); }

    double count;
};

// ---- Lines ----

/// Windows that are made at once.
constexpr std::size_t blockOfWindows = 64;

/// What may be read behind the last value of a line: the rest of a block, and a vector more.
template <class Value>
constexpr std::size_t valuesReadBeyond = blockOfWindows + cacheLine / sizeof(Value);

/// Values from one line of scratch to the next: each begins a cache line, and may be read beyond its end.
template <class Value>
constexpr std::size_t scratchPitch(std::size_t width) {
    constexpr std::size_t values = cacheLine / sizeof(Value);
    return ((width + valuesReadBeyond<Value>) / values + 1) * values;
}

/// The values of a line of samples, made in scratch.
template <class R>
inline const typename R::Value* loadLine(const typename R::Sample* __restrict line,
                                         typename R::Value* __restrict scratch, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x)
        scratch[x] = R::load(line[x]);
    return scratch;
}

/// The values of a line of samples: themselves where they are values already, otherwise made in scratch.
template <class R>
inline const typename R::Value* valuesOf(const typename R::Sample* line,
                                         typename R::Value* __restrict scratch, std::size_t count) {
    if constexpr (std::is_same_v<typename R::Sample, typename R::Value>)
        return line;
    else
        return loadLine<R>(line, scratch, count);
}

/// Combines each value with a sample. The result may be the values themselves.
template <class R>
inline void combineLine(const typename R::Value* values, const typename R::Sample* __restrict line,
                        typename R::Value* result, std::size_t count) {
#pragma omp simd
    for (std::size_t x = 0; x < count; ++x)
        result[x] = R::combine(values[x], R::load(line[x]));
}

/// Combines at each of count places so many parts, step apart, and so many single values behind them.
template <class R, std::size_t parts, std::size_t singles, class Value, class Result, class Store>
inline void combineParts(const Value* __restrict part, std::size_t step, const Value* __restrict values,
                         std::size_t count, Result* __restrict result, Store store) {
    const auto combineAt = [=](std::size_t x) {
        Value value = part[x];
        if constexpr (parts >= 2)
            value = R::combine(value, part[x + step]);
        if constexpr (parts == 4)
            value = R::combine(value, R::combine(part[x + 2 * step], part[x + 3 * step]));
        for (std::size_t i = 0; i < singles; ++i)
            value = R::combine(value, values[x + parts * step + i]);
        result[x] = store(value);
    };
    // A line of windows is hardly ever a multiple of a vector. What is left over, one by one, would take as
    // long as many vectors: the last whole block is moved back into the line instead.
    const std::size_t inBlocks = count - count % blockOfWindows;
    for (std::size_t x = 0; x < inBlocks; ++x)
        combineAt(x);
    for (std::size_t x = count < blockOfWindows ? 0 : count - blockOfWindows; x < count; ++x)
        combineAt(x);
}

template <class R, std::size_t parts, class Value, class Result, class Store>
inline void combineParts(const Value* part, std::size_t step, const Value* values, std::size_t singles,
                         std::size_t count, Result* result, Store store) {
    switch (singles) {
    case 0:
        return combineParts<R, parts, 0>(part, step, values, count, result, store);
    case 1:
        return combineParts<R, parts, 1>(part, step, values, count, result, store);
    case 2:
        return combineParts<R, parts, 2>(part, step, values, count, result, store);
    default:
        return combineParts<R, parts, 3>(part, step, values, count, result, store);
    }
}

/// What begins at each of count values and has the length of window. Each pass makes windows of two shorter
/// ones and perhaps one value more, the last of four and up to three. first and second have room for as many
/// values as there are, count + window − 1.
template <class R, class Value, class Result, class Store>
inline void combineWindows(const Value* values, std::size_t window, std::size_t count, Value* first,
                           Value* second, Result* result, Store store) {
    if (window < 4)
        return combineParts<R, 1>(values, 1, values, window - 1, count, result, store);
    unsigned shift = 2;
    while (window >> shift > 1)
        ++shift;
    const auto same = [](Value value) { return value; };
    const Value* part = values;
    while (shift > 2) {
        --shift;
        const std::size_t length = window >> (shift + 1);
        const std::size_t next = window >> shift;
        const std::size_t windows = count + window - next;
        if (next % 2 == 0)
            combineParts<R, 2, 0>(part, length, values, windows, first, same);
        else
            combineParts<R, 2, 1>(part, length, values, windows, first, same);
        part = first;
        std::swap(first, second);
    }
    combineParts<R, 4>(part, window >> 2, values, window % 4, count, result, store);
}

// ---- Windows in the lanes of vectors ----

template <class Lane, std::size_t bytes>
using Vector [[gnu::vector_size(bytes)]] = Lane;

template <std::size_t first, class V, std::size_t... i>
[[gnu::always_inline]] inline V lanesFrom(V left, V right, std::index_sequence<i...> /*all*/) {
    return __builtin_shufflevector(left, right, (first + i)...);
}

/// As many lanes as one vector has, from the given one on, of two vectors beside each other.
template <std::size_t first, class Lane, std::size_t bytes>
[[gnu::always_inline]] inline Vector<Lane, bytes> lanesFrom(Vector<Lane, bytes> left,
                                                            Vector<Lane, bytes> right) {
    constexpr std::size_t firstBit = 8 * first * sizeof(Lane);
    if constexpr (bytes == 16 && firstBit < 64) {
        // SSE2 has no such instruction for single bytes, but shifts in each half of a vector.
        using Halves = Vector<std::uint64_t, bytes>;
        const auto halves = reinterpret_cast<Halves>(left);
        const Halves nextHalves = __builtin_shufflevector(halves, reinterpret_cast<Halves>(right), 1, 2);
        return reinterpret_cast<Vector<Lane, bytes>>((halves >> firstBit) | (nextHalves << (64 - firstBit)));
    } else {
        return lanesFrom<first>(left, right, std::make_index_sequence<bytes / sizeof(Lane)>());
    }
}

/// Makes windows of twice the length: of those that begin in a vector's lanes, after those of the vector to
/// the right of it.
template <class R, std::size_t length, std::size_t vectorBytes>
class Doubling {
public:
    using Lanes = Vector<typename R::Value, vectorBytes>;

    [[gnu::always_inline]] Lanes operator()(Lanes windows) {
        Lanes later;
        if constexpr (length < lanes)
            later = lanesFrom<length, typename R::Value, vectorBytes>(windows, m_toTheRight[0]);
        else
            later = m_toTheRight[vectors - 1];
        for (std::size_t i = vectors - 1; i > 0; --i)
            m_toTheRight[i] = m_toTheRight[i - 1];
        m_toTheRight[0] = windows;
        return R::combine(windows, later);
    }

private:
    static constexpr std::size_t lanes = vectorBytes / sizeof(typename R::Value);
    static constexpr std::size_t vectors = (length + lanes - 1) / lanes;
    Lanes m_toTheRight[vectors]{};
};

/// What combineWindows() makes of windows of 4, 8 or 16 values, without storing any shorter windows. Reads
/// less than valuesReadBeyond values behind those of the windows, which may be anything.
template <class R, std::size_t vectorBytes, std::size_t window, class Value, class Result, class Store>
inline void combineInLanes(const Value* __restrict values, std::size_t count, Result* __restrict result,
                           Store store) {
    constexpr std::size_t lanes = vectorBytes / sizeof(Value);
    constexpr bool storedAsTheyAre = std::is_same_v<Value, Result>;
    static_assert(!(storedAsTheyAre && R::canRemove), "sums are divided");
    constexpr std::size_t block = storedAsTheyAre ? lanes : blockOfWindows;
    const auto vectorAt = [](const Value* from) __attribute__((always_inline)) {
        Vector<Value, vectorBytes> vector;
        std::memcpy(&vector, from, vectorBytes);
        return vector;
    };
    Doubling<R, 1, vectorBytes> two;
    Doubling<R, 2, vectorBytes> four;
    Doubling<R, 4, vectorBytes> eight;
    Doubling<R, 8, vectorBytes> sixteen;
    const auto windowsAt = [&](const Value* from) __attribute__((always_inline)) {
        Vector<Value, vectorBytes> windows = vectorAt(from);
        if constexpr (vectorBytes == cacheLine) // nearly all others would be parts of two cache lines
            windows = four(two(windows));
        else
            windows = R::combine(R::combine(windows, vectorAt(from + 1)),
                                 R::combine(vectorAt(from + 2), vectorAt(from + 3)));
        if constexpr (window >= 8)
            windows = eight(windows);
        if constexpr (window >= 16)
            windows = sixteen(windows);
        return windows;
    };
    const auto combineBlock = [&](const Value* from, Result* to) {
        if constexpr (storedAsTheyAre) {
            const auto windows = windowsAt(from);
            std::memcpy(to, &windows, vectorBytes);
        } else {
            Value windows[block];
            for (std::size_t i = block; i > 0; i -= lanes) {
                const auto some = windowsAt(from + i - lanes);
                std::memcpy(windows + i - lanes, &some, vectorBytes);
            }
            for (std::size_t i = 0; i < block; ++i)
                to[i] = store(windows[i]);
        }
    };

    const std::size_t rest = count % block;
    std::size_t begin = count - rest;
    // What is to the right of the first vector that counts.
    for (std::size_t i = (window - 2) / lanes + 1; i > 0; --i)
        windowsAt(values + begin + (rest > 0 ? block : 0) + (i - 1) * lanes);
    if (rest > 0) {
        Result last[block];
        combineBlock(values + begin, last);
        std::copy_n(last, rest, result + begin);
    }
    while (begin > 0) {
        begin -= block;
        combineBlock(values + begin, result + begin);
    }
}

// ---- In advance ----

/// Has lines fetched that will be read or written, bit by bit, in the order of the memory: whatever the order
/// in which they will be used, it is the one in which memory is fastest. T is const for a source.
template <class T>
class FetchAhead {
public:
    /// Nothing.
    FetchAhead() = default;
    /// So many lines from the line top on, and of each so many samples.
    FetchAhead(PictureView<T> picture, std::size_t width, std::size_t top, std::size_t lines)
        : m_picture(picture), m_width(width), m_line(top), m_end(top + lines) {}

    /// The next samples, or what is left of their line.
    void fetch(std::size_t samples) {
        if (m_line == m_end)
            return;
        prefetch(m_picture.row(m_line) + m_x, samples * sizeof(T));
        m_x += samples;
        if (m_x >= m_width) {
            m_x = 0;
            ++m_line;
        }
    }

private:
    PictureView<T> m_picture{};
    std::size_t m_width = 0;
    std::size_t m_line = 0;
    std::size_t m_end = 0;
    std::size_t m_x = 0;
};

/// Lines of no more than half a page stay in the first cache as a whole.
template <class T>
constexpr bool isShortLine(std::size_t width) {
    return width * sizeof(T) <= 2048;
}

/// The lines that will be read and written for windows that begin in so many lines, from the line top on or
/// as many of them as have windows.
template <class T>
class FetchWindowsAhead {
public:
    FetchWindowsAhead(PictureView<const T> source, PictureView<T> destination, std::size_t cellHeight,
                      std::size_t top, std::size_t lines) {
        const std::size_t withWindows = std::min(lines, source.height - cellHeight + 1 - top);
        m_source = {source, source.width, top + cellHeight - 1, withWindows};
        if (!isShortLine<T>(source.width)) // those come in time by themselves where they are written only
            m_destination = {destination, source.width, top, withWindows};
    }

    void fetch(std::size_t samples) {
        m_source.fetch(samples);
        m_destination.fetch(samples);
    }

private:
    FetchAhead<const T> m_source;
    FetchAhead<T> m_destination;
};

// ---- A window at every sample ----

/// A part of a line.
struct Strip {
    std::size_t left;
    std::size_t windows; ///< that begin there, side by side
    std::size_t width;   ///< in samples: as many as they need, or some more
    std::size_t repeats; ///< places behind the windows that have none and repeat the last one
};

/// Calls function(strip) for strips of a line that together have all its windows, from left to right: what is
/// made of a strip stays in the first cache, and as much can be fetched meanwhile.
template <class Sample, class Function>
inline void forEachStrip(std::size_t width, std::size_t cellWidth, Function&& function) {
    constexpr std::size_t stripBytes = 1024;
    constexpr std::size_t inCacheLine = cacheLine / sizeof(Sample);
    const std::size_t most =
        isShortLine<Sample>(width) ? width : std::max(stripBytes / sizeof(Sample), 8 * cellWidth);
    const std::size_t windows = width - cellWidth + 1;
    for (Strip strip{}; strip.left < windows; strip.left += strip.windows) {
        strip.windows = std::min(most, windows - strip.left);
        // Whole vectors where there are samples enough: what is left over, one by one, would take as long.
        const std::size_t needed = strip.windows + cellWidth - 1;
        strip.width = std::min((needed + inCacheLine - 1) / inCacheLine * inCacheLine, width - strip.left);
        strip.repeats = strip.left + strip.windows < windows ? 0 : cellWidth - 1;
        function(strip);
    }
}

/// A line of windows, from the values of their columns, behind which valuesReadBeyond values may be read.
/// Scratch: two lines of values.
template <class R, std::size_t vectorBytes>
inline void slideAlong(R reduction, const typename R::Value* columns, const Strip& strip,
                       std::size_t cellWidth, typename R::Sample* out, typename R::Value* scratch) {
    const auto store = [=](typename R::Value value) { return reduction.store(value); };
    const std::size_t windows = strip.windows;
    if (cellWidth == 16)
        combineInLanes<R, vectorBytes, 16>(columns, windows, out, store);
    else if (cellWidth == 8)
        combineInLanes<R, vectorBytes, 8>(columns, windows, out, store);
    else if (cellWidth == 4 && vectorBytes == cacheLine) // with shorter vectors a pass is as fast
        combineInLanes<R, vectorBytes, 4>(columns, windows, out, store);
    else
        combineWindows<R>(columns, cellWidth, windows, scratch,
                          scratch + scratchPitch<typename R::Value>(strip.width), out, store);
    std::fill(out + windows, out + windows + strip.repeats, out[windows - 1]);
}

/// The windows that begin in the lines top … end − 1, end at most top + cellHeight, after van Herk and Gil
/// and Werman: a window reaches from its first line to the line top + cellHeight (a suffix), and from there
/// over the first of the lines that follow (a prefix). Scratch: cellHeight + 4 lines of values. With each
/// line, as much is fetched ahead.
template <class R, std::size_t vectorBytes>
inline void slideBySuffixes(R reduction, PictureView<const typename R::Sample> source,
                            PictureView<typename R::Sample> destination, const Strip& strip,
                            std::size_t cellWidth, std::size_t cellHeight, std::size_t top, std::size_t end,
                            typename R::Value* __restrict scratch,
                            FetchWindowsAhead<typename R::Sample>& ahead) {
    using Value = typename R::Value;
    const std::size_t width = strip.width;
    const std::size_t pitch = scratchPitch<Value>(width);
    const std::size_t last = cellHeight - 1;
    Value* const columns = scratch;
    Value* const longestPrefix = scratch + pitch;
    Value* const windows = scratch + 2 * pitch;
    Value* const suffixes = scratch + 4 * pitch; // the one that begins at a line has the line's number ...
    const Value* const lastSuffix = // ... but the last may be the line itself, unless windows are made of it
        last > 0 ? valuesOf<R>(source.row(top + last), suffixes + last * pitch, width)
                 : loadLine<R>(source.row(top), suffixes, width);
    const auto suffix = [&](std::size_t line) -> const Value* {
        return line == last ? lastSuffix : suffixes + line * pitch;
    };

    for (std::size_t line = last; line-- > 0;)
        combineLine<R>(suffix(line + 1), source.row(top + line), suffixes + line * pitch, width);
    ahead.fetch(width);
    slideAlong<R, vectorBytes>(reduction, suffix(0), strip, cellWidth, destination.row(top), windows);

    const Value* prefix = nullptr;
    for (std::size_t line = 1; line < end - top; ++line) {
        const typename R::Sample* __restrict const next = source.row(top + last + line);
        const Value* const shortened = suffix(line);
        ahead.fetch(width);
        if (!prefix) {
            combineLine<R>(shortened, next, columns, width);
            prefix = valuesOf<R>(next, longestPrefix, width);
        } else {
#pragma omp simd
            for (std::size_t x = 0; x < width; ++x) {
                const Value longer = R::combine(prefix[x], R::load(next[x]));
                longestPrefix[x] = longer;
                columns[x] = R::combine(shortened[x], longer);
            }
            prefix = longestPrefix;
        }
        slideAlong<R, vectorBytes>(reduction, columns, strip, cellWidth, destination.row(top + line),
                                   windows);
    }
}

/// The windows that begin in the lines top … end − 1, by running sums. Scratch: three lines of values.
template <class R, std::size_t vectorBytes>
inline void slideBySums(R reduction, PictureView<const typename R::Sample> source,
                        PictureView<typename R::Sample> destination, std::size_t cellWidth,
                        std::size_t cellHeight, std::size_t top, std::size_t end,
                        typename R::Value* __restrict scratch) {
    using Value = typename R::Value;
    const std::size_t width = source.width;
    Value* const columns = scratch;
    Value* const windows = scratch + scratchPitch<Value>(width);
    std::fill(columns, columns + width, Value{});
    for (std::size_t line = top; line < top + cellHeight; ++line)
        combineLine<R>(columns, source.row(line), columns, width);
    for (std::size_t line = top;; ++line) {
        FetchWindowsAhead<typename R::Sample> ahead(source, destination, cellHeight, line + 1, 1);
        forEachStrip<typename R::Sample>(width, cellWidth, [&](const Strip& strip) {
            ahead.fetch(strip.width);
            slideAlong<R, vectorBytes>(reduction, columns + strip.left, strip, cellWidth,
                                       destination.row(line) + strip.left, windows);
        });
        if (line + 1 == end)
            return;
        const typename R::Sample* __restrict const next = source.row(line + cellHeight);
        const typename R::Sample* __restrict const gone = source.row(line);
        for (std::size_t x = 0; x < width; ++x)
            columns[x] = R::remove(R::combine(columns[x], R::load(next[x])), R::load(gone[x]));
    }
}

template <class R, std::size_t vectorBytes>
void slideBlock(R reduction, PictureView<const typename R::Sample> source,
                PictureView<typename R::Sample> destination, std::size_t cellWidth, std::size_t cellHeight,
                std::size_t top, std::size_t end, std::byte* scratch) {
    using Sample = typename R::Sample;
    auto* const values = reinterpret_cast<typename R::Value*>(scratch);
    if constexpr (R::canRemove) {
        slideBySums<R, vectorBytes>(reduction, source, destination, cellWidth, cellHeight, top, end, values);
    } else {
        FetchWindowsAhead<Sample> nextBlock(source, destination, cellHeight, end, end - top);
        forEachStrip<Sample>(source.width, cellWidth, [&](const Strip& strip) {
            PictureView<const Sample> from = source; // lines from the strip on
            PictureView<Sample> to = destination;
            from.data += strip.left;
            to.data += strip.left;
            slideBySuffixes<R, vectorBytes>(reduction, from, to, strip, cellWidth, cellHeight, top, end,
                                            values, nextBlock);
        });
    }
}

// ---- One value per cell ----

/// Combines so many lines and, unless they are the first ones, the values. load(line, x) makes the value of
/// place x.
template <class R, bool first, std::size_t lines, class Load>
inline void combineSomeLines(PictureView<const typename R::Sample> source, std::size_t top, std::size_t width,
                             typename R::Value* __restrict values, Load load) {
    const typename R::Sample* line[lines];
    for (std::size_t i = 0; i < lines; ++i)
        line[i] = source.row(top + i);
    const auto pair = [&](std::size_t i, std::size_t x) {
        return i + 1 < lines ? R::combine(load(line[i], x), load(line[i + 1], x)) : load(line[i], x);
    };
#pragma omp simd
    for (std::size_t x = 0; x < width; ++x) {
        typename R::Value value = first ? pair(0, x) : R::combine(values[x], pair(0, x));
        for (std::size_t i = 2; i < lines; i += 2)
            value = R::combine(value, pair(i, x));
        values[x] = value;
    }
}

constexpr std::size_t mostLinesInAPass = 5;

template <class R, bool first, class Load>
inline void combineSomeLines(PictureView<const typename R::Sample> source, std::size_t top, std::size_t lines,
                             std::size_t width, typename R::Value* values, Load load) {
    switch (lines) {
    case 1:
        return combineSomeLines<R, first, 1>(source, top, width, values, load);
    case 2:
        return combineSomeLines<R, first, 2>(source, top, width, values, load);
    case 3:
        return combineSomeLines<R, first, 3>(source, top, width, values, load);
    case 4:
        return combineSomeLines<R, first, 4>(source, top, width, values, load);
    default:
        return combineSomeLines<R, first, mostLinesInAPass>(source, top, width, values, load);
    }
}

/// Combines so many lines, and has as many others fetched, so many samples of each.
template <class R, class Load>
inline void combineLines(PictureView<const typename R::Sample> source, std::size_t top, std::size_t lines,
                         std::size_t width, typename R::Value* values, Load load,
                         FetchAhead<const typename R::Sample>& ahead, std::size_t samples) {
    for (std::size_t line = 0; line < lines;) {
        const std::size_t left = lines - line;
        const std::size_t pass = left > mostLinesInAPass ? 4 : left;
        for (std::size_t i = 0; i < pass; ++i)
            ahead.fetch(samples);
        if (line == 0)
            combineSomeLines<R, true>(source, top, pass, width, values, load);
        else
            combineSomeLines<R, false>(source, top + line, pass, width, values, load);
        line += pass;
    }
}

/// Combines so many values each. A step that the compiler knows can be vectorised.
template <class R, std::size_t step, class Value, class Result, class Store>
inline void combineEvery(const Value* __restrict values, std::size_t count, Result* __restrict result,
                         Store store) {
    for (std::size_t i = 0; i < count; ++i) {
        Value value = values[i * step];
        if constexpr (step >= 2)
            value = R::combine(value, values[i * step + 1]);
        if constexpr (step == 4)
            value = R::combine(value, R::combine(values[i * step + 2], values[i * step + 3]));
        result[i] = store(value);
    }
}

template <class Lane, std::size_t bytes, std::size_t... i>
[[gnu::always_inline]] inline Vector<Lane, bytes> everyFifthLane(Vector<Lane, bytes> lanes,
                                                                 std::index_sequence<i...> /*all*/) {
    return __builtin_shufflevector(lanes, lanes, (5 * i % sizeof...(i))...);
}

/// The lanes 0, 5, 10 ..., modulo their number: all of them.
template <class Lane, std::size_t bytes>
[[gnu::always_inline]] inline Vector<Lane, bytes> everyFifthLane(Vector<Lane, bytes> lanes) {
    if constexpr (bytes == 16 && sizeof(Lane) <= 2) {
        // SSE2 cannot do so at once. Seen as lines of four bytes or of two lanes of 16 bits, each column is
        // turned by its number.
        using Lines = Vector<std::uint32_t, bytes>;
        constexpr std::uint32_t laterTwo = 0xffff0000;
        auto lines = reinterpret_cast<Lines>(lanes);
        lines = (lines & ~laterTwo) | (__builtin_shufflevector(lines, lines, 2, 3, 0, 1) & laterTwo);
        if constexpr (sizeof(Lane) == 1) {
            constexpr std::uint32_t odd = 0xff00ff00;
            lines = (lines & ~odd) | (__builtin_shufflevector(lines, lines, 1, 2, 3, 0) & odd);
        }
        return reinterpret_cast<Vector<Lane, bytes>>(lines);
    } else {
        return everyFifthLane<Lane, bytes>(lanes, std::make_index_sequence<bytes / sizeof(Lane)>());
    }
}

/// Combines five values each, in place: 5 is the cell of many sensors. Of the windows that begin in five
/// vectors, those that are cells begin in different lanes, so that one vector takes them all up. Reads four
/// values more, and uses nothing of them.
template <class R, std::size_t vectorBytes, class Value>
inline void combineFives(Value* values, std::size_t count) {
    using Lane = Unsigned<sizeof(Value)>;
    constexpr std::size_t lanes = vectorBytes / sizeof(Lane);
    struct Masks {
        Lane ofCells[5][lanes];
    };
    static constexpr Masks masks = [] {
        Masks result{};
        for (std::size_t i = 0; i < lanes; ++i)
            result.ofCells[5 * i / lanes][5 * i % lanes] = static_cast<Lane>(-1);
        return result;
    }();
    const auto vectorAt = [](const auto* memory) {
        Vector<std::decay_t<decltype(*memory)>, vectorBytes> vector;
        std::memcpy(&vector, memory, sizeof vector);
        return vector;
    };
    const auto windowsAt = [&](const auto* value, auto at) {
        return R::combine(
            R::combine(R::combine(at(value), at(value + 1)), R::combine(at(value + 2), at(value + 3))),
            at(value + 4));
    };
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        Vector<Lane, vectorBytes> cells{};
        for (std::size_t part = 0; part < 5; ++part)
            cells |= reinterpret_cast<Vector<Lane, vectorBytes>>(
                         windowsAt(values + 5 * i + part * lanes, vectorAt)) &
                     vectorAt(masks.ofCells[part]);
        cells = everyFifthLane<Lane, vectorBytes>(cells);
        std::memcpy(values + i, &cells, sizeof cells);
    }
    for (; i < count; ++i)
        values[i] = windowsAt(values + 5 * i, [](const Value* value) { return *value; });
}

/// The value of each of so many cells beside each other. Scratch: four times the values of a line of them.
template <class R, std::size_t vectorBytes, class Result, class Store>
inline void combineCells(PictureView<const typename R::Sample> source, std::size_t cellWidth,
                         std::size_t cellHeight, std::size_t top, std::size_t cells,
                         typename R::Value* scratch, Result* __restrict result, Store store,
                         FetchAhead<const typename R::Sample>& ahead) {
    using Sample = typename R::Sample;
    using Value = typename R::Value;
    const auto combineDown = [&](std::size_t width, auto load) {
        combineLines<R>(source, top, cellHeight, width, scratch, load, ahead, cells * cellWidth);
    };
    std::size_t step = cellWidth; // values in a cell when its lines have been combined
    if constexpr (R::canRemove && sizeof(Value) == 2 * sizeof(Sample)) {
        if (cellWidth % 2 == 0) {
            // Two neighbours fill one value: it is split and summed without moving anything sideways.
            step /= 2;
            combineDown(cells * step, [](const Sample* line, std::size_t x) {
                Value both;
                std::memcpy(&both, line + 2 * x, sizeof both);
                return static_cast<Value>(static_cast<Sample>(both) + (both >> (8 * sizeof(Sample))));
            });
        }
    }
    if (step == cellWidth)
        combineDown(cells * step, [](const Sample* line, std::size_t x) { return R::load(line[x]); });
    const auto same = [](Value value) { return value; };
    const std::size_t width = cells * step;
    Value* const second = scratch + width;
    switch (step) {
    case 1:
        return combineEvery<R, 1>(scratch, cells, result, store);
    case 2:
        return combineEvery<R, 2>(scratch, cells, result, store);
    case 4:
        return combineEvery<R, 4>(scratch, cells, result, store);
    case 5:
        std::fill(second, second + 4, Value{});
        combineFives<R, vectorBytes>(scratch, cells);
        return combineEvery<R, 1>(scratch, cells, result, store);
    case 8:
        combineEvery<R, 2>(scratch, cells * 4, second, same);
        return combineEvery<R, 4>(second, cells, result, store);
    case 16:
        combineEvery<R, 4>(scratch, cells * 4, second, same);
        return combineEvery<R, 4>(second, cells, result, store);
    default:
        break;
    }
    Value* const windows = scratch + 3 * width;
    combineWindows<R>(scratch, step, width - step + 1, second, scratch + 2 * width, windows, same);
    for (std::size_t i = 0; i < cells; ++i) // first what is done one by one
        scratch[i] = windows[i * step];
    combineEvery<R, 1>(scratch, cells, result, store);
}

/// Cells beside each other that are combined at once. Some hundred bytes of each of their lines and all that
/// is made of them stay in the first cache, and as much can be fetched meanwhile without waiting for it.
template <class Sample>
std::size_t cellsAtOnce(std::size_t cellWidth) {
    constexpr std::size_t lineBytes = 512;
    std::size_t cells = 16; // whole vectors in any case
    while (2 * cells * cellWidth * sizeof(Sample) <= lineBytes)
        cells *= 2;
    return cells;
}

/// A line of cells. Scratch: four lines of values of the cells that are combined at once.
template <class R, std::size_t vectorBytes>
void reduceCells(R reduction, PictureView<const typename R::Sample> source,
                 PictureView<typename R::Sample> destination, std::size_t cellWidth, std::size_t cellHeight,
                 std::size_t cellLine, std::byte* scratch) {
    using Sample = typename R::Sample;
    using Value = typename R::Value;
    const std::size_t cells = destination.width;
    const std::size_t block = std::min(cellsAtOnce<Sample>(cellWidth), cells);
    const std::size_t next = cellLine + 1;
    FetchAhead<const Sample> nextLines(source, cells * cellWidth, next * cellHeight,
                                       next < destination.height ? cellHeight : 0);
    for (std::size_t done = 0; done < cells; done += block) {
        const std::size_t first = std::min(done, cells - block); // the last block is a whole one, too
        PictureView<const Sample> part = source;
        part.data += first * cellWidth;
        combineCells<R, vectorBytes>(
            part, cellWidth, cellHeight, cellLine * cellHeight, block, reinterpret_cast<Value*>(scratch),
            destination.row(cellLine) + first, [&](Value value) { return reduction.store(value); },
            nextLines);
    }
}

// ---- Cells stretched to the full range ----

/// What sample becomes when low … high is stretched to 0 … largest, rounded to the nearest, halves up; 0 in a
/// flat cell. The quotients of 8- and 16-bit samples are exact in floating point: numerators and
/// denominators are, and no quotient is nearer to an integer above it than can be told apart.
inline std::uint8_t stretched(std::uint8_t sample, std::uint8_t low, std::uint8_t high, double largest) {
    const int range = std::max(high - low, 1);
    const int product = (sample - low) * static_cast<int>(largest) + range / 2;
    return static_cast<std::uint8_t>(
        static_cast<int>(static_cast<float>(product) / static_cast<float>(range)));
}

inline std::uint16_t stretched(std::uint16_t sample, std::uint16_t low, std::uint16_t high, double largest) {
    const int range = std::max(high - low, 1);
    const double numerator = static_cast<double>(sample - low) * largest + static_cast<double>(range / 2);
    return static_cast<std::uint16_t>(static_cast<int>(numerator / static_cast<double>(range)));
}

inline std::uint32_t stretched(std::uint32_t sample, std::uint32_t low, std::uint32_t high, double largest) {
    const std::uint64_t range = std::max(high - low, 1U);
    const std::uint64_t product = std::uint64_t{sample - low} * static_cast<std::uint32_t>(largest);
    return static_cast<std::uint32_t>((product + range / 2) / range);
}

/// In place of an infinity: a number beside which every float is next to nothing. What is not a number stays
/// none.
inline double withoutInfinity(float sample) {
    constexpr double far = 1e300;
    const auto value = static_cast<double>(sample);
    return value > far ? far : value < -far ? -far : value;
}

inline float stretched(float sample, float low, float high, double largest) {
    const double lowest = withoutInfinity(low);
    const double range = withoutInfinity(high) - lowest;
    const double part = (withoutInfinity(sample) - lowest) / (range > 0.0 ? range : 1.0);
    return static_cast<float>(part * largest);
}

/// Scratch: four lines of keys, and one each for low and high, of the source's width.
template <class T, std::size_t vectorBytes>
void normalizeCells(PictureView<const T> source, PictureView<T> destination, std::size_t cellWidth,
                    std::size_t cellHeight, std::size_t cellLine, double largest,
                    typename Ordered<T>::Key* scratch, T* low, T* high) {
    const std::size_t cells = source.width / cellWidth;
    const std::size_t width = cells * cellWidth;
    const std::size_t top = cellLine * cellHeight;
    // Cell by cell into the end of the lines, then sample by sample.
    T* const lowest = low + (width - cells);
    T* const highest = high + (width - cells);
    FetchAhead<const T> nothing;
    combineCells<Smallest<T>, vectorBytes>(source, cellWidth, cellHeight, top, cells, scratch, lowest,
                                           &Smallest<T>::store, nothing);
    combineCells<Largest<T>, vectorBytes>(source, cellWidth, cellHeight, top, cells, scratch, highest,
                                          &Largest<T>::store, nothing);
    const auto spread = [&](auto step) {
        for (std::size_t cell = 0; cell < cells; ++cell) {
            const T lowestOfCell = lowest[cell];
            const T highestOfCell = highest[cell];
            for (std::size_t i = 0; i < step; ++i) {
                low[cell * step + i] = lowestOfCell;
                high[cell * step + i] = highestOfCell;
            }
        }
    };
    if (cellWidth == 2)
        spread(std::integral_constant<std::size_t, 2>());
    else if (cellWidth == 4)
        spread(std::integral_constant<std::size_t, 4>());
    else
        spread(cellWidth);
    const T* __restrict const lows = low;
    const T* __restrict const highs = high;
    for (std::size_t line = top; line < top + cellHeight; ++line) {
        const T* __restrict const in = source.row(line);
        T* __restrict const out = destination.row(line);
        for (std::size_t x = 0; x < width; ++x)
            out[x] = stretched(in[x], lows[x], highs[x], largest);
    }
}

// ---- Pictures ----

/// The samples of a picture that are looked at, and the cell.
struct Area {
    std::size_t left;
    std::size_t top;
    std::size_t width;
    std::size_t height;
    std::size_t cellWidth;
    std::size_t cellHeight;

    std::size_t samples() const { return width * height; }
    std::size_t cellsPerLine() const { return width / cellWidth; }
    std::size_t cellLines() const { return height / cellHeight; }
};

/// Empty when the pictures are none that the filters compute with.
std::optional<Area> areaOf(const SzPicBuf& source, const QRect& region, int cellWidth, int cellHeight,
                           const SzPicBuf& destination) {
    if (!hasPixels(source) || !hasPixels(destination) || source.channels != 1 || destination.channels != 1 ||
        source.dataType != destination.dataType)
        return std::nullopt;
    if (cellWidth <= 0 || cellHeight <= 0 || region.left() < 0 || region.top() < 0 ||
        region.right() < region.left() || region.bottom() < region.top() ||
        static_cast<std::uint32_t>(region.right()) >= source.width ||
        static_cast<std::uint32_t>(region.bottom()) >= source.height)
        return std::nullopt;
    Area area;
    area.left = static_cast<std::size_t>(region.left());
    area.top = static_cast<std::size_t>(region.top());
    area.width = static_cast<std::size_t>(region.right()) - area.left + 1;
    area.height = static_cast<std::size_t>(region.bottom()) - area.top + 1;
    area.cellWidth = static_cast<std::size_t>(cellWidth);
    area.cellHeight = static_cast<std::size_t>(cellHeight);
    return area;
}

/// The lines of a one-channel picture inside the area.
template <class T>
PictureView<T> areaView(const SzPicBuf& picture, const Area& area) {
    PictureView<T> lines = view<T>(picture);
    lines.data = lines.row(area.top) + area.left;
    lines.width = static_cast<std::uint32_t>(area.width);
    lines.height = static_cast<std::uint32_t>(area.height);
    return lines;
}

/// Calls function(line, begin, end) for what lies around a part of a picture.
template <class Function>
void forEachRunAround(const SzPicBuf& picture, const Area& area, std::size_t width, std::size_t height,
                      Function&& function) {
    for (std::size_t y = 0; y < picture.height; ++y) {
        const bool beside = y >= area.top && y - area.top < height;
        function(y, std::size_t{0}, beside ? area.left : picture.width);
        if (beside)
            function(y, area.left + width, std::size_t{picture.width});
    }
}

/// Threads for so many samples: all, unless waking them would take longer than the work.
std::size_t threadsFor(std::size_t samples) {
    constexpr std::size_t fewSamples = 1 << 16;
    return samples < fewSamples ? 1 : static_cast<std::size_t>(omp_get_max_threads());
}

/// Calls work(i, scratch) for each i below count, on so many threads, each with a scratch of so many bytes of
/// its own; false when there is no memory for them.
template <class Work>
bool forEachOnThreads(std::size_t threadCount, std::size_t count, std::size_t scratchBytes, Work&& work) {
    if (count == 0)
        return true;
    const auto threads = static_cast<int>(std::min(count, threadCount));
    constexpr std::align_val_t alignment{cacheLine}; // no two threads write to the same cache line
    const auto release = [](std::byte* memory) { ::operator delete(memory, alignment); };
    const std::size_t perThread = (scratchBytes + cacheLine - 1) / cacheLine * cacheLine;
    const std::size_t bytes = perThread * static_cast<std::size_t>(threads);
    const std::unique_ptr<std::byte, decltype(release)> scratch(
        static_cast<std::byte*>(::operator new(bytes, alignment, std::nothrow)), release);
    if (!scratch)
        return false;
#pragma omp parallel for num_threads(threads) schedule(static)
    for (std::size_t i = 0; i < count; ++i)
        work(i, scratch.get() + perThread * static_cast<std::size_t>(omp_get_thread_num()));
    return true;
}

template <class R, class T = typename R::Sample>
bool slide(R reduction, const SzPicBuf& source, const Area& area, SzPicBuf& destination) {
    using Value = typename R::Value;
    const auto in = areaView<const T>(source, area);
    const auto out = areaView<T>(destination, area);
    const std::size_t lines = area.height - area.cellHeight + 1;
    const std::size_t threads = threadsFor(area.samples());
    const std::size_t blockLines = R::canRemove ? (lines + threads - 1) / threads : area.cellHeight;
    const std::size_t blocks = (lines + blockLines - 1) / blockLines;
    const std::size_t scratchLines = R::canRemove ? 3 : area.cellHeight + 4;
    const std::size_t scratchBytes = scratchLines * scratchPitch<Value>(area.width) * sizeof(Value);
    const auto slideOne = [&](std::size_t block, std::byte* scratch) {
        const std::size_t top = block * blockLines;
        forInstructionSets<&slideBlock<typename Portable<R>::Type, 16>, &slideBlock<R, 32>,
                           &slideBlock<R, 64>>(reduction, in, out, area.cellWidth, area.cellHeight, top,
                                               std::min(top + blockLines, lines), scratch);
    };
    if (!forEachOnThreads(threads, blocks, scratchBytes, slideOne))
        return false;
    for (std::size_t y = lines; y < area.height; ++y)
        std::memcpy(out.row(y), out.row(lines - 1), area.width * sizeof(T));
    const auto whole = view<T>(destination);
    forEachRunAround(destination, area, area.width, area.height,
                     [&](std::size_t y, std::size_t begin, std::size_t end) {
                         std::fill(whole.row(y) + begin, whole.row(y) + end, T{});
                     });
    return true;
}

template <class R, class T = typename R::Sample>
bool reduce(R reduction, const SzPicBuf& source, const Area& area, SzPicBuf& destination) {
    const auto in = areaView<const T>(source, area);
    const auto out = view<T>(destination);
    const std::size_t cells = std::min(cellsAtOnce<T>(area.cellWidth), area.cellsPerLine());
    const std::size_t scratchBytes = 4 * cells * area.cellWidth * sizeof(typename R::Value);
    const auto reduceOne = [&](std::size_t cellLine, std::byte* scratch) {
        forInstructionSets<&reduceCells<typename Portable<R>::Type, 16>, &reduceCells<R, 32>,
                           &reduceCells<R, 64>>(reduction, in, out, area.cellWidth, area.cellHeight, cellLine,
                                                scratch);
    };
    return forEachOnThreads(threadsFor(area.samples()), out.height, scratchBytes, reduceOne);
}

/// Which of the two the destination asks for by its size.
template <class R>
bool reduceOrSlide(R reduction, const SzPicBuf& source, const Area& area, SzPicBuf& destination) {
    if (area.cellsPerLine() == 0 || area.cellLines() == 0)
        return false;
    if (destination.width == area.cellsPerLine() && destination.height == area.cellLines())
        return reduce(reduction, source, area, destination);
    return sameSize(source, destination) && slide(reduction, source, area, destination);
}

template <template <class, class> class R>
bool filterExtreme(const SzPicBuf& source, const QRect& region, int cellWidth, int cellHeight,
                   SzPicBuf& destination) {
    const auto area = areaOf(source, region, cellWidth, cellHeight, destination);
    return area && withSampleType(source.dataType, [&](auto sample) {
               return reduceOrSlide(R<decltype(sample), Ordered<decltype(sample)>>(), source, *area,
                                    destination);
           });
}

/// Whether the rounded sum of so many samples fits.
template <class T, class Sum>
bool sumFits(std::uint64_t count) {
    constexpr std::uint64_t largestSample = std::numeric_limits<T>::max();
    constexpr std::uint64_t largestSum = std::numeric_limits<Sum>::max();
    return count <= largestSum / largestSample && count * largestSample + count / 2 <= largestSum;
}

} // namespace

bool CzPicBufAPI::FilterMinOnMosaicPicBuf(const SzPicBuf& source, const QRect& region, int cellWidth,
                                          int cellHeight, SzPicBuf& destination) {
    return filterExtreme<Smallest>(source, region, cellWidth, cellHeight, destination);
}

bool CzPicBufAPI::FilterMaxOnMosaicPicBuf(const SzPicBuf& source, const QRect& region, int cellWidth,
                                          int cellHeight, SzPicBuf& destination) {
    return filterExtreme<Largest>(source, region, cellWidth, cellHeight, destination);
}

bool CzPicBufAPI::FilterAvgOnMosaicPicBuf(const SzPicBuf& source, const QRect& region, int cellWidth,
                                          int cellHeight, SzPicBuf& destination) {
    const auto area = areaOf(source, region, cellWidth, cellHeight, destination);
    return area && withSampleType(source.dataType, [&](auto sample) {
               using T = decltype(sample);
               const std::uint64_t count = area->cellWidth * area->cellHeight;
               const auto filter = [&](auto sum) {
                   return reduceOrSlide(Mean<T, decltype(sum)>(count), source, *area, destination);
               };
               // The narrowest sums are the fastest ones.
               if constexpr (std::is_same_v<T, float>) {
                   return filter(double{});
               } else {
                   if constexpr (sizeof(T) < sizeof(std::uint16_t))
                       if (count >= ExactDivision<std::uint16_t>::leastDivisor &&
                           sumFits<T, std::uint16_t>(count))
                           return filter(std::uint16_t{});
                   if constexpr (sizeof(T) < sizeof(std::uint32_t))
                       if (sumFits<T, std::uint32_t>(count))
                           return filter(std::uint32_t{});
                   return filter(std::uint64_t{});
               }
           });
}

bool CzPicBufAPI::FilterNormalizeOnMosaicPicBuf(const SzPicBuf& source, const QRect& region, int cellWidth,
                                                int cellHeight, SzPicBuf& destination) {
    const auto area = areaOf(source, region, cellWidth, cellHeight, destination);
    if (!area || !sameSize(source, destination))
        return false;
    const std::size_t width = area->cellsPerLine() * area->cellWidth;
    const std::size_t height = width == 0 ? 0 : area->cellLines() * area->cellHeight;
    return withSampleType(source.dataType, [&](auto sample) {
        using T = decltype(sample);
        const unsigned sampleBits = 8 * sizeof(T);
        const unsigned bits = source.bitDepth == 0 ? sampleBits : std::min(source.bitDepth, sampleBits);
        const auto largest = static_cast<double>((std::uint64_t{1} << bits) - 1);
        const auto in = areaView<const T>(source, *area);
        const auto out = areaView<T>(destination, *area);
        const std::size_t lineBytes = width * sizeof(T);
        const auto normalizeOne = [&](std::size_t cellLine, std::byte* scratch) {
            forInstructionSets<&normalizeCells<T, 16>, &normalizeCells<T, 32>, &normalizeCells<T, 64>>(
                in, out, area->cellWidth, area->cellHeight, cellLine, largest,
                reinterpret_cast<typename Ordered<T>::Key*>(scratch), // as large as T
                reinterpret_cast<T*>(scratch + 4 * lineBytes), reinterpret_cast<T*>(scratch + 5 * lineBytes));
        };
        if (!forEachOnThreads(threadsFor(area->samples()), height / area->cellHeight, 6 * lineBytes,
                              normalizeOne))
            return false;
        const auto from = view<const T>(source);
        const auto to = view<T>(destination);
        forEachRunAround(source, *area, width, height,
                         [&](std::size_t y, std::size_t begin, std::size_t end) {
                             std::copy(from.row(y) + begin, from.row(y) + end, to.row(y) + begin);
                         });
        return true;
    });
}
