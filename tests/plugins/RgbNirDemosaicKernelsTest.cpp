// SPDX-License-Identifier: GPL-3.0-or-later
#include "RgbNirDemosaicKernels.h"

#include "PictureView.h"
#include "support/InstructionSets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <omp.h>

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr int untouched = 238;
constexpr std::uint32_t notFound = std::numeric_limits<std::uint32_t>::max();

template <class T>
constexpr EzImageDataType dataTypeOf = sizeof(T) == 1   ? EzImageDataType::UInt8
                                       : sizeof(T) == 2 ? EzImageDataType::UInt16
                                                        : EzImageDataType::UInt32;

/// A picture in memory of exactly its size, so that the address sanitizer sees any step beyond.
template <class T>
struct Picture {
    std::vector<T> memory;
    SzPicBuf buffer;

    Picture(std::uint32_t width, std::uint32_t height, std::uint32_t channels = 1, std::uint32_t padding = 0)
        : memory(std::size_t{width * channels + padding} * height, T(untouched)) {
        buffer.width = width;
        buffer.height = height;
        buffer.channels = channels;
        buffer.linePitch = static_cast<std::uint32_t>((width * channels + padding) * sizeof(T));
        buffer.dataType = dataTypeOf<T>;
        buffer.bitDepth = 8 * sizeof(T);
        buffer.data = reinterpret_cast<std::uint8_t*>(memory.data());
    }
    Picture(std::uint32_t width, std::uint32_t height, std::vector<T> samples) : Picture(width, height) {
        memory = std::move(samples);
        buffer.data = reinterpret_cast<std::uint8_t*>(memory.data());
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    /// Noise over the whole range of the sample type.
    Picture& noise() {
        std::uint32_t state = 12345;
        for (T& sample : memory) {
            state = state * 1664525 + 1013904223;
            sample = static_cast<T>(state >> (32 - 8 * sizeof(T)));
        }
        return *this;
    }
    Picture& depth(std::uint32_t bits) {
        buffer.bitDepth = bits;
        return *this;
    }
    std::uint32_t at(std::uint32_t x, std::uint32_t y) const {
        return memory[y * (buffer.linePitch / sizeof(T)) + x];
    }
    std::vector<int> pixels(std::uint32_t channel = 0) const {
        std::vector<int> samples;
        for (std::uint32_t y = 0; y < buffer.height; ++y)
            for (std::uint32_t x = 0; x < buffer.width; ++x)
                samples.push_back(static_cast<int>(at(x * buffer.channels + channel, y)));
        return samples;
    }
};

/// The value of one pixel by the plain rule: the mean of the nearest places of the filter that exist.
template <class In>
std::uint32_t expectedValue(const Picture<In>& in, std::uint32_t phase, int x, int y) {
    const int width = static_cast<int>(in.buffer.width);
    const int height = static_cast<int>(in.buffer.height);
    if (width < 2 || height < 2)
        return in.at(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
    const int column = phase == 0 || phase == 2 ? 0 : 1;
    const int row = phase >= 2 ? 1 : 0;
    const bool oddlyClassed = x == 0 && y > 0 && y < height - 1;
    const int reach = (oddlyClassed ? width - 1 - column : x + column) % 2;
    const bool inLine = (y + row) % 2 == 0;
    std::uint32_t sum = 0;
    std::uint32_t count = 0;
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx)
            if ((dy == 0) == inLine && (dx == 0) == (reach == 0) && x + dx >= 0 && x + dx < width &&
                y + dy >= 0 && y + dy < height) {
                sum += in.at(static_cast<std::uint32_t>(x + dx), static_cast<std::uint32_t>(y + dy));
                ++count;
            }
    return sum / count; // after wrapping; count is 1, 2 or 4
}

/// What ought to be in the memory of an output of these dimensions.
template <class Out, class In>
std::vector<Out> expectedMemory(const SzPicBuf& output, std::uint32_t channel, const Picture<In>& in,
                                std::uint32_t phase, std::uint32_t shift = 0) {
    const std::size_t rowSamples = output.linePitch / sizeof(Out);
    std::vector<Out> memory(rowSamples * output.height, Out(untouched));
    for (std::uint32_t y = 0; y < output.height; ++y)
        for (std::uint32_t x = 0; x < output.width; ++x) {
            const std::uint64_t value = expectedValue(in, phase, static_cast<int>(x), static_cast<int>(y));
            memory[y * rowSamples + x * output.channels + channel] = static_cast<Out>(value >> shift);
        }
    return memory;
}

/// Runs with so many threads and puts the number back.
class Threads {
public:
    explicit Threads(int count) : m_before(omp_get_max_threads()) { omp_set_num_threads(count); }
    ~Threads() { omp_set_num_threads(m_before); }
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

private:
    int m_before;
};

template <class Out, class In>
struct Pair {
    using Output = Out;
    using Input = In;
};

template <class Types>
class CellChannel : public testing::Test {};

using TypePairs = testing::Types<Pair<std::uint8_t, std::uint8_t>, Pair<std::uint8_t, std::uint16_t>,
                                 Pair<std::uint8_t, std::uint32_t>, Pair<std::uint16_t, std::uint16_t>,
                                 Pair<std::uint32_t, std::uint32_t>>;
TYPED_TEST_SUITE(CellChannel, TypePairs);

/// Interpolates a picture given by its samples, without any shift.
template <class Types>
std::vector<int> interpolated(std::uint32_t width, std::uint32_t height, std::uint32_t phase,
                              std::vector<typename Types::Input> samples) {
    using Out = typename Types::Output;
    Picture<typename Types::Input> in(width, height, std::move(samples));
    Picture<Out> out(width, height);
    in.depth(8);
    out.depth(8);
    EXPECT_TRUE((InterpolateCellChannel<Out, typename Types::Input>(out.buffer, 0, in.buffer, phase)));
    return out.pixels();
}

// ---- Position classes ----

TYPED_TEST(CellChannel, innerPixelsAreTheSampleOrMeansOfTheNearestTwoOrFour) {
    // The filter at the top left: its samples are 10, 20, 30 and so on, all others 1.
    EXPECT_EQ((interpolated<TypeParam>(5, 5, 0, {10, 1, 20, 1, 30, //
                                                 1,  1, 1,  1, 1,  //
                                                 40, 1, 50, 1, 60, //
                                                 1,  1, 1,  1, 1,  //
                                                 70, 1, 80, 1, 90})),
              (std::vector<int>{10, 15, 20, 25, 30, //
                                25, 30, 35, 40, 45, //
                                40, 45, 50, 55, 60, //
                                55, 60, 65, 70, 75, //
                                70, 75, 80, 85, 90}));
}

TYPED_TEST(CellChannel, filterInTheMiddleReachesAllBordersAndCornersAsACopy) {
    // The only place of the filter at the bottom right of the cell.
    EXPECT_EQ((interpolated<TypeParam>(3, 3, 3,
                                       {1, 2, 3,  //
                                        4, 90, 6, //
                                        7, 8, 9})),
              (std::vector<int>{90, 90, 90, //
                                90, 90, 90, //
                                90, 90, 90}));
}

TYPED_TEST(CellChannel, bordersTakeTheMeanOfTheTwoNeighboursThatExist) {
    // The filter at the top right: columns 1 and 3, rows 0, 2 and 4.
    EXPECT_EQ((interpolated<TypeParam>(5, 5, 1, {1, 10, 1, 30,  1, //
                                                 1, 1,  1, 1,   1, //
                                                 1, 50, 1, 70,  1, //
                                                 1, 1,  1, 1,   1, //
                                                 1, 90, 1, 110, 1})),
              (std::vector<int>{10, 10, 20,  30,  30, //
                                30, 30, 40,  50,  50, //
                                50, 50, 60,  70,  70, //
                                70, 70, 80,  90,  90, //
                                90, 90, 100, 110, 110}));
    // The filter at the bottom left: columns 0, 2 and 4, rows 1 and 3.
    EXPECT_EQ((interpolated<TypeParam>(5, 5, 2, {1,  1, 1,  1, 1,   //
                                                 10, 1, 30, 1, 50,  //
                                                 1,  1, 1,  1, 1,   //
                                                 70, 1, 90, 1, 110, //
                                                 1,  1, 1,  1, 1})),
              (std::vector<int>{10, 20, 30, 40,  50,  //
                                10, 20, 30, 40,  50,  //
                                40, 50, 60, 70,  80,  //
                                70, 80, 90, 100, 110, //
                                70, 80, 90, 100, 110}));
}

TYPED_TEST(CellChannel, cornersCopyTheirOneNeighbourOrTheirOwnSample) {
    // Every sample has a value of its own: row and column.
    constexpr int size = 4;
    std::vector<typename TypeParam::Input> samples;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            samples.push_back(static_cast<typename TypeParam::Input>(10 * y + x));
    const auto corners = [&](std::uint32_t phase) {
        const std::vector<int> pixels = interpolated<TypeParam>(size, size, phase, samples);
        return std::vector<int>{pixels[0], pixels[3], pixels[12], pixels[15]};
    };
    EXPECT_EQ(corners(0), (std::vector<int>{0, 2, 20, 22}));
    EXPECT_EQ(corners(1), (std::vector<int>{1, 3, 21, 23}));
    EXPECT_EQ(corners(2), (std::vector<int>{10, 12, 30, 32}));
    EXPECT_EQ(corners(3), (std::vector<int>{11, 13, 31, 33}));
}

TYPED_TEST(CellChannel, bordersBetweenCornersTakeEachClassFromTheNeighboursThatExist) {
    // The filter has 20 y + 2 x, the others have 200.
    const auto expectBorders = [](int size) {
        const int last = size - 1;
        for (const std::uint32_t phase : {0U, 1U, 2U, 3U}) {
            SCOPED_TRACE(testing::Message() << size << " x " << size << ", phase " << phase);
            const int column = phase % 2 == 0 ? 0 : 1;
            const int row = phase < 2 ? 0 : 1;
            std::vector<typename TypeParam::Input> samples;
            for (int y = 0; y < size; ++y)
                for (int x = 0; x < size; ++x)
                    samples.push_back(static_cast<typename TypeParam::Input>(
                        y % 2 == row && x % 2 == column ? 20 * y + 2 * x : 200));
            const auto pixels = interpolated<TypeParam>(static_cast<std::uint32_t>(size),
                                                        static_cast<std::uint32_t>(size), phase, samples);
            const auto at = [&](int x, int y) { return pixels[static_cast<std::size_t>(y * size + x)]; };
            for (int i = 1; i < last; ++i) { // means of both sides are what would be in the middle
                EXPECT_EQ(at(i, 0), 20 * row + 2 * i);
                EXPECT_EQ(at(i, last), 20 * (last % 2 == row ? last : last - 1) + 2 * i);
                EXPECT_EQ(at(last, i), 20 * i + 2 * (last % 2 == column ? last : last - 1));
                EXPECT_EQ(at(0, i), size % 2 == 0 ? 200 : 20 * i + 2 * column);
            }
        }
    };
    expectBorders(4);
    expectBorders(5);
}

TYPED_TEST(CellChannel, evenSizesEndBesideTheFilter) {
    EXPECT_EQ((interpolated<TypeParam>(2, 2, 0, {1, 2, 3, 4})), (std::vector<int>{1, 1, 1, 1}));
    EXPECT_EQ((interpolated<TypeParam>(2, 2, 1, {1, 2, 3, 4})), (std::vector<int>{2, 2, 2, 2}));
    EXPECT_EQ((interpolated<TypeParam>(2, 2, 2, {1, 2, 3, 4})), (std::vector<int>{3, 3, 3, 3}));
    EXPECT_EQ((interpolated<TypeParam>(2, 2, 3, {1, 2, 3, 4})), (std::vector<int>{4, 4, 4, 4}));
    // Rows 0 and 2, columns 0 and 2 of 4 x 3; the left column is a story of its own.
    EXPECT_EQ((interpolated<TypeParam>(4, 3, 0,
                                       {10, 1, 20, 1, //
                                        1, 5, 1, 1,   //
                                        30, 1, 40, 1})),
              (std::vector<int>{10, 15, 20, 20, //
                                1, 25, 30, 30,  //
                                30, 35, 40, 40}));
}

// ---- The left column ----

TYPED_TEST(CellChannel, oddWidthKeepsTheLeftColumnOfAPictureThatIsEvenForTheFilter) {
    for (const std::uint32_t height : {2U, 3U, 4U, 5U}) {
        std::vector<typename TypeParam::Input> samples(5 * height, 0);
        for (std::uint32_t y = 0; y < height; y += 2)
            for (std::uint32_t x = 0; x < 5; x += 2)
                samples[y * 5 + x] = 100;
        EXPECT_THAT((interpolated<TypeParam>(5, height, 0, samples)), Each(100));
    }
}

TYPED_TEST(CellChannel, evenWidthGivesInnerRowsOfTheLeftColumnTheClassOfTheRightMostColumn) {
    std::vector<typename TypeParam::Input> samples(6 * 5, 0);
    for (std::uint32_t y = 0; y < 5; y += 2)
        for (std::uint32_t x = 0; x < 6; x += 2)
            samples[y * 6 + x] = 100;
    EXPECT_EQ((interpolated<TypeParam>(6, 5, 0, samples)), (std::vector<int>{100, 100, 100, 100, 100, 100, //
                                                                             0,   100, 100, 100, 100, 100, //
                                                                             0,   100, 100, 100, 100, 100, //
                                                                             0,   100, 100, 100, 100, 100, //
                                                                             100, 100, 100, 100, 100, 100}));
}

TYPED_TEST(CellChannel, evenWidthTakesTheLeftColumnForTheFiltersOwnWhereItIsBeside) {
    // The filter in odd columns and even rows: inner pixels of column 0 are classed as on it or between.
    EXPECT_EQ((interpolated<TypeParam>(2, 5, 1,
                                       {1, 50, //
                                        3, 51, //
                                        5, 60, //
                                        9, 61, //
                                        7, 70})),
              (std::vector<int>{50, 50, //
                                3, 55,  // the mean of 1 and 5
                                5, 60,  // the sample itself
                                6, 65,  // the mean of 5 and 7
                                70, 70}));
}

// ---- Every size and phase against the plain rule ----

class CellChannelVersions : public EachInstructionSet {
protected:
    using Sizes = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

    template <class Out, class In>
    static void expectPlainRule(const Sizes& sizes, const std::vector<std::uint32_t>& channelCounts) {
        for (const auto& [width, height] : sizes)
            for (const std::uint32_t phase : {0U, 1U, 2U, 3U})
                for (const std::uint32_t channels : channelCounts)
                    for (const std::uint32_t padding : {0U, 3U}) {
                        SCOPED_TRACE(testing::Message()
                                     << width << " x " << height << ", phase " << phase << ", " << channels
                                     << " channels, padded by " << padding);
                        Picture<In> in(width, height, 1, padding);
                        in.noise();
                        Picture<Out> out(width, height, channels, padding);
                        const std::uint32_t channel = channels - 1;
                        const auto expected = expectedMemory<Out>(out.buffer, channel, in, phase,
                                                                  8 * (sizeof(In) - sizeof(Out)));
                        EXPECT_TRUE((InterpolateCellChannel<Out, In>(out.buffer, channel, in.buffer, phase)));
                        EXPECT_EQ(out.memory, expected);
                    }
    }

    static void expectPlainRuleOfAllTypes(const Sizes& sizes,
                                          const std::vector<std::uint32_t>& channelCounts) {
        const Threads running(1); // many small pictures
        expectPlainRule<std::uint8_t, std::uint8_t>(sizes, channelCounts);
        expectPlainRule<std::uint8_t, std::uint16_t>(sizes, channelCounts);
        expectPlainRule<std::uint8_t, std::uint32_t>(sizes, channelCounts);
        expectPlainRule<std::uint16_t, std::uint16_t>(sizes, channelCounts);
        expectPlainRule<std::uint32_t, std::uint32_t>(sizes, channelCounts);
    }
};

INSTANTIATE_TEST_SUITE_P(Levels, CellChannelVersions, instructionSets, instructionSetName);

TEST_P(CellChannelVersions, followThePlainRuleForEverySizePhaseAndPitch) {
    Sizes sizes = {{385, 9},  {511, 4},  {512, 3},  {513, 4}, {514, 5},
                   {1023, 3}, {1024, 4}, {1025, 3}, {1026, 3}};
    for (std::uint32_t width = 1; width <= 6; ++width)
        for (std::uint32_t height = 1; height <= 6; ++height)
            sizes.emplace_back(width, height);
    expectPlainRuleOfAllTypes(sizes, {1, 3, 4});
}

TEST_P(CellChannelVersions, followThePlainRuleInHighPicturesThatThreadsShare) {
    expectPlainRuleOfAllTypes({{6, 31}, {5, 32}, {6, 33}, {5, 34}, {6, 65}}, {1, 4});
}

TEST_P(CellChannelVersions, followThePlainRuleInLinesTooWideToBeWorkedOnAsAWhole) {
    const Threads running(1);
    expectPlainRule<std::uint8_t, std::uint8_t>({{16383, 3}, {16384, 3}, {16385, 3}, {16386, 3}}, {1});
    expectPlainRule<std::uint8_t, std::uint16_t>({{8191, 3}, {8192, 3}, {8193, 3}, {8194, 3}}, {1});
    expectPlainRule<std::uint16_t, std::uint16_t>({{8191, 3}, {8192, 3}, {8193, 3}, {8194, 3}}, {1});
    expectPlainRule<std::uint8_t, std::uint32_t>({{4095, 3}, {4096, 3}, {4097, 3}, {4098, 3}}, {1, 2});
    expectPlainRule<std::uint32_t, std::uint32_t>({{4095, 3}, {4096, 3}, {4097, 3}, {4098, 3}}, {1, 2});
}

TYPED_TEST(CellChannel, phaseAboveThreeIsThree) {
    using In = typename TypeParam::Input;
    using Out = typename TypeParam::Output;
    Picture<In> in(7, 6);
    in.noise();
    Picture<Out> expected(7, 6);
    InterpolateCellChannel<Out, In>(expected.buffer, 0, in.buffer, 3);
    for (const std::uint32_t phase : {4U, 5U, 6U, 8U, 0x80000000U, notFound - 1, notFound}) {
        Picture<Out> out(7, 6);
        EXPECT_TRUE((InterpolateCellChannel<Out, In>(out.buffer, 0, in.buffer, phase)));
        EXPECT_EQ(out.memory, expected.memory) << phase;
    }
}

TYPED_TEST(CellChannel, resultDoesNotDependOnTheNumberOfThreads) {
    using In = typename TypeParam::Input;
    using Out = typename TypeParam::Output;
    Picture<In> in(37, 230);
    in.noise();
    const Picture<Out> shape(37, 230);
    const auto expected = expectedMemory<Out>(shape.buffer, 0, in, 1, 8 * (sizeof(In) - sizeof(Out)));
    for (const int threads : {1, 2, 3, 8}) {
        const Threads running(threads);
        Picture<Out> out(37, 230);
        EXPECT_TRUE((InterpolateCellChannel<Out, In>(out.buffer, 0, in.buffer, 1)));
        EXPECT_EQ(out.memory, expected) << threads;
    }
}

// ---- Means, shifts and narrowing ----

TYPED_TEST(CellChannel, meansAreTruncated) {
    // Diagonal 3 + 4 + 4 + 4 = 15; 3 and 4 to the sides.
    EXPECT_EQ((interpolated<TypeParam>(3, 3, 0, {3, 0, 4, 0, 0, 0, 4, 0, 4})),
              (std::vector<int>{3, 3, 4, 3, 3, 4, 4, 4, 4}));
}

TEST(CellChannelArithmetic, largestSamplesOfEightAndSixteenBitsKeepTheirMean) {
    Picture<std::uint8_t> in8(3, 3, std::vector<std::uint8_t>(9, 255));
    Picture<std::uint8_t> out8(3, 3);
    Picture<std::uint16_t> in16(3, 3, std::vector<std::uint16_t>(9, 65535));
    Picture<std::uint16_t> out16(3, 3);
    for (const std::uint32_t phase : {0U, 1U, 2U, 3U}) {
        InterpolateCellChannel<std::uint8_t, std::uint8_t>(out8.buffer, 0, in8.buffer, phase);
        InterpolateCellChannel<std::uint16_t, std::uint16_t>(out16.buffer, 0, in16.buffer, phase);
        EXPECT_THAT(out8.memory, Each(255));
        EXPECT_THAT(out16.memory, Each(65535));
    }
}

/// The middle pixel of 3 x 3 with these corners.
template <class T>
int meanOfCorners(T a, T b, T c, T d) {
    Picture<T> in(3, 3, {a, 0, b, 0, 0, 0, c, 0, d});
    Picture<T> out(3, 3);
    InterpolateCellChannel<T, T>(out.buffer, 0, in.buffer, 0);
    return out.memory[4];
}

TEST(CellChannelArithmetic, meanOfFourIsExactForEveryRemainderAtBothEndsOfTheRange) {
    const Threads running(1);
    for (const int base : {0, 120, 251})
        for (int i = 0; i < 625; ++i) {
            const int a = base + i % 5;
            const int b = base + i / 5 % 5;
            const int c = base + i / 25 % 5;
            const int d = base + i / 125;
            const auto cut8 = [](int value) { return static_cast<std::uint8_t>(value); };
            const auto cut16 = [](int value) { return static_cast<std::uint16_t>(value * 257); };
            const int expected8 = (a + b + c + d) / 4;
            const int expected16 = (a + b + c + d) * 257 / 4;
            ASSERT_EQ(meanOfCorners(cut8(a), cut8(b), cut8(c), cut8(d)), expected8);
            ASSERT_EQ(meanOfCorners(cut16(a), cut16(b), cut16(c), cut16(d)), expected16);
        }
}

TEST(CellChannelArithmetic, sumsOfThirtyTwoBitSamplesWrap) {
    const std::uint32_t most = 0xffffffffU;
    const std::uint32_t half = 0x80000000U;
    Picture<std::uint32_t> in(3, 3,
                              {most, 0, most, //
                               0, 0, 0,       //
                               half, 0, half});
    Picture<std::uint32_t> out(3, 3);
    EXPECT_TRUE((InterpolateCellChannel<std::uint32_t, std::uint32_t>(out.buffer, 0, in.buffer, 0)));
    EXPECT_THAT(out.memory, ElementsAre(most, 0x7fffffffU, most,               //
                                        0x3fffffffU, 0x3fffffffU, 0x3fffffffU, //
                                        half, 0U, half));
    // The top row copies the single line below it: no sum, nothing wraps.
    Picture<std::uint32_t> copied(3, 3);
    EXPECT_TRUE((InterpolateCellChannel<std::uint32_t, std::uint32_t>(
        copied.buffer, 0, Picture<std::uint32_t>(3, 3, {0, 0, 0, most, 0, half, 0, 0, 0}).buffer, 2)));
    EXPECT_THAT(copied.memory, ElementsAre(most, 0x3fffffffU, half, //
                                           most, 0x3fffffffU, half, //
                                           most, 0x3fffffffU, half));
}

TEST(CellChannelArithmetic, twelveBitsBecomeEightByAShiftAfterTheMean) {
    Picture<std::uint16_t> in(3, 2,
                              {0x0ff, 0, 0x102, //
                               0, 0, 0});
    in.depth(12);
    Picture<std::uint8_t> out(3, 2);
    EXPECT_TRUE((InterpolateCellChannel<std::uint8_t, std::uint16_t>(out.buffer, 0, in.buffer, 0)));
    // The mean of 0x0ff and 0x102 is 0x100: 0x10. Shifted before, it would be 0x0f.
    EXPECT_THAT(out.memory, ElementsAre(0x0f, 0x10, 0x10, 0x0f, 0x10, 0x10));
}

TEST(CellChannelArithmetic, outputAsDeepAsTheInputOrDeeperIsNotShifted) {
    Picture<std::uint16_t> in(2, 2, {1023, 1023, 1023, 1023});
    for (const std::uint32_t depth : {10U, 11U, 16U, 4294967295U}) {
        Picture<std::uint16_t> out(2, 2);
        in.depth(10);
        out.depth(depth);
        InterpolateCellChannel<std::uint16_t, std::uint16_t>(out.buffer, 0, in.buffer, 0);
        EXPECT_THAT(out.memory, Each(1023)) << depth;
    }
}

TYPED_TEST(CellChannel, shiftsOfAllBitsAndMoreGiveZero) {
    using In = typename TypeParam::Input;
    using Out = typename TypeParam::Output;
    constexpr std::uint32_t bits = 8 * sizeof(In);
    Picture<In> in(3, 3, std::vector<In>(9, std::numeric_limits<In>::max()));
    for (const std::uint32_t shift : {bits - 1, bits, bits + 1, 31U, 32U, 33U, 64U, 4294967295U}) {
        Picture<Out> out(3, 3);
        in.depth(shift);
        out.depth(0);
        EXPECT_TRUE((InterpolateCellChannel<Out, In>(out.buffer, 0, in.buffer, 0)));
        EXPECT_EQ(out.memory[0], shift == bits - 1 ? 1 : 0) << shift; // the sample itself
        if (shift >= bits) {
            EXPECT_THAT(out.memory, Each(0)) << shift;
        }
    }
}

TEST(CellChannelArithmetic, whatIsTooLargeForTheOutputWraps) {
    Picture<std::uint16_t> in16(3, 3, std::vector<std::uint16_t>(9, 0x1234));
    Picture<std::uint8_t> out(3, 3);
    in16.depth(8);
    InterpolateCellChannel<std::uint8_t, std::uint16_t>(out.buffer, 0, in16.buffer, 3);
    EXPECT_THAT(out.memory, Each(0x34));
    in16.depth(12);
    InterpolateCellChannel<std::uint8_t, std::uint16_t>(out.buffer, 0, in16.buffer, 3);
    EXPECT_THAT(out.memory, Each(0x23));
    Picture<std::uint32_t> in32(3, 3, std::vector<std::uint32_t>(9, 0x12345678));
    in32.depth(16);
    InterpolateCellChannel<std::uint8_t, std::uint32_t>(out.buffer, 0, in32.buffer, 3);
    EXPECT_THAT(out.memory, Each(0x56));
}

// ---- Small pictures ----

TYPED_TEST(CellChannel, picturesBelowTwoByTwoAreTheirOwnSamplesShifted) {
    using In = typename TypeParam::Input;
    using Out = typename TypeParam::Output;
    for (const auto& [width, height] :
         std::vector<std::pair<std::uint32_t, std::uint32_t>>{{1, 1}, {1, 5}, {5, 1}, {1100, 1}})
        for (const std::uint32_t phase : {0U, 1U, 2U, 3U, notFound}) {
            std::vector<In> samples(std::size_t{width} * height);
            for (std::size_t i = 0; i < samples.size(); ++i)
                samples[i] = static_cast<In>(i * 8 % 256);
            Picture<In> in(width, height, samples);
            Picture<Out> out(width, height);
            in.depth(11);
            out.depth(8);
            EXPECT_TRUE((InterpolateCellChannel<Out, In>(out.buffer, 0, in.buffer, phase)));
            for (std::size_t i = 0; i < samples.size(); ++i)
                EXPECT_EQ(out.memory[i], i % 32) << phase;
        }
}

// ---- What is written ----

TYPED_TEST(CellChannel, storesBehindTheSamplesOfARowAreDropped) {
    using In = typename TypeParam::Input;
    using Out = typename TypeParam::Output;
    for (const std::uint32_t padding : {0U, 4U})
        for (const std::uint32_t channels : {1U, 2U})
            for (const std::uint32_t channel : {2U, 3U, 9U, 10U, 11U, notFound}) {
                Picture<In> in(5, 3);
                in.noise().depth(8);
                Picture<Out> out(5, 3, channels, padding);
                out.depth(8);
                const std::uint32_t rowSamples = 5 * channels;
                std::vector<Out> expected(out.memory);
                for (std::uint32_t y = 0; y < 3; ++y)
                    for (std::uint32_t x = 0; x < 5; ++x)
                        if (std::uint64_t{x} * channels + channel < rowSamples)
                            expected[y * (rowSamples + padding) + x * channels + channel] = static_cast<Out>(
                                expectedValue(in, 0, static_cast<int>(x), static_cast<int>(y)));
                EXPECT_TRUE((InterpolateCellChannel<Out, In>(out.buffer, channel, in.buffer, 0)));
                EXPECT_EQ(out.memory, expected) << channel;
            }
}

TEST(CellChannelOnPictures, rowsOfLargerSamplesAreTakenAsRowsOfTheKernelsOwn) {
    Picture<std::uint16_t> in(3, 1, {1, 2, 3});
    Picture<std::uint16_t> out(3, 1); // six bytes
    InterpolateCellChannel<std::uint8_t, std::uint16_t>(out.buffer, 2, in.buffer, 0);
    const std::vector<std::uint8_t> bytes(out.buffer.data, out.buffer.data + 6);
    EXPECT_THAT(bytes, ElementsAre(untouched, 0, 1, 2, 3, 0));
}

TYPED_TEST(CellChannel, picturesThatDoNotFitAreRefusedAndLeftAlone) {
    using In = typename TypeParam::Input;
    using Out = typename TypeParam::Output;
    Picture<In> in(4, 3);
    Picture<Out> out(4, 3, 2);
    const auto refused = [&](SzPicBuf output, const SzPicBuf& input) {
        return !InterpolateCellChannel<Out, In>(output, 0, input, 0);
    };
    const auto changed = [](SzPicBuf picture, auto change) {
        change(picture);
        return picture;
    };
    EXPECT_TRUE(refused(changed(out.buffer, [](SzPicBuf& p) { p.data = nullptr; }), in.buffer));
    EXPECT_TRUE(refused(out.buffer, changed(in.buffer, [](SzPicBuf& p) { p.data = nullptr; })));
    EXPECT_TRUE(refused(changed(out.buffer, [](SzPicBuf& p) { p.width = 3; }), in.buffer));
    EXPECT_TRUE(refused(changed(out.buffer, [](SzPicBuf& p) { p.height = 2; }), in.buffer));
    EXPECT_TRUE(refused(changed(out.buffer, [](SzPicBuf& p) { p.linePitch -= sizeof(Out); }), in.buffer));
    EXPECT_TRUE(refused(out.buffer, changed(in.buffer, [](SzPicBuf& p) { p.linePitch -= sizeof(In); })));
    EXPECT_TRUE(refused(changed(out.buffer, [](SzPicBuf& p) { p.channels = notFound; }), in.buffer));
    if (sizeof(Out) > 1) {
        EXPECT_TRUE(refused(changed(out.buffer, [](SzPicBuf& p) { ++p.linePitch; }), in.buffer));
    }
    if (sizeof(In) > 1) {
        EXPECT_TRUE(refused(out.buffer, changed(in.buffer, [](SzPicBuf& p) { ++p.linePitch; })));
    }
    EXPECT_THAT(out.memory, Each(untouched));
}

TYPED_TEST(CellChannel, picturesWithoutPixelsStaySo) {
    using In = typename TypeParam::Input;
    using Out = typename TypeParam::Output;
    Picture<In> in(4, 3);
    Picture<Out> out(4, 3);
    for (const auto& [width, height, channels] :
         std::vector<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>>{
             {0, 0, 1}, {0, 3, 1}, {4, 0, 1}, {4, 3, 0}}) {
        SzPicBuf input = in.buffer;
        SzPicBuf output = out.buffer;
        input.width = output.width = width;
        input.height = output.height = height;
        output.channels = channels;
        InterpolateCellChannel<Out, In>(output, 0, input, 0);
        EXPECT_THAT(out.memory, Each(untouched));
    }
}

// ---- Colour and near-infrared pictures ----

class ColourVersions : public EachInstructionSet {
protected:
    /// The three kernel calls, and 255.
    template <class In>
    static std::vector<std::uint8_t> threeCalls(const Picture<In>& in, const SzCellPositions& cell,
                                                std::uint32_t padding) {
        Picture<std::uint8_t> out(in.buffer.width, in.buffer.height, 4, padding);
        InterpolateCellChannel<std::uint8_t, In>(out.buffer, 0, in.buffer, cell.blue);
        InterpolateCellChannel<std::uint8_t, In>(out.buffer, 1, in.buffer, cell.green);
        InterpolateCellChannel<std::uint8_t, In>(out.buffer, 2, in.buffer, cell.red);
        for (std::uint32_t y = 0; y < in.buffer.height; ++y)
            for (std::uint32_t x = 0; x < in.buffer.width; ++x)
                out.memory[y * out.buffer.linePitch + x * 4 + 3] = 255;
        return out.memory;
    }

    template <class In>
    static void expectThreeCalls(const std::vector<std::uint32_t>& widths,
                                 const std::vector<std::uint32_t>& heights) {
        const Threads running(1); // many small pictures
        for (const std::uint32_t width : widths)
            for (const std::uint32_t height : heights)
                for (const SzCellPositions cell : {SzCellPositions(), SzCellPositions{3, 2, 1, 0},
                                                   SzCellPositions{notFound, 4, notFound, 1}})
                    for (const std::uint32_t depth : {0U, 5U, 8U, 10U, 12U, 16U, 32U, 40U}) {
                        SCOPED_TRACE(testing::Message() << width << " x " << height << ", depth " << depth);
                        Picture<In> in(width, height, 1, 3);
                        in.noise().depth(depth);
                        Picture<std::uint8_t> out(width, height, 4, 5);
                        EXPECT_TRUE(interpolateColour(out.buffer, in.buffer, cell));
                        EXPECT_EQ(out.memory, threeCalls(in, cell, 5));
                    }
    }
};

INSTANTIATE_TEST_SUITE_P(Levels, ColourVersions, instructionSets, instructionSetName);

TEST_P(ColourVersions, onePassIsBitByBitWhatThreeCallsMake) {
    const std::vector<std::uint32_t> widths = {1, 2, 3, 4, 5, 33, 511, 512, 513, 514, 1026};
    const std::vector<std::uint32_t> heights = {1, 2, 3, 4, 5, 6, 33};
    expectThreeCalls<std::uint8_t>(widths, heights);
    expectThreeCalls<std::uint16_t>(widths, heights);
    expectThreeCalls<std::uint32_t>(widths, heights);
}

TEST_P(ColourVersions, onePassIsBitByBitWhatThreeCallsMakeInVeryWidePictures) {
    expectThreeCalls<std::uint8_t>({16385, 16386}, {3});
    expectThreeCalls<std::uint16_t>({8193, 8194}, {3});
    expectThreeCalls<std::uint32_t>({4097, 4098}, {3});
}

TEST(InterpolateColour, pixelsAreBlueGreenRedAnd255) {
    Picture<std::uint8_t> in(2, 2,
                             {1, 20, //
                              30, 40});
    Picture<std::uint8_t> out(2, 2, 4);
    EXPECT_TRUE(interpolateColour(out.buffer, in.buffer, SzCellPositions()));
    EXPECT_THAT(out.memory, ElementsAre(20, 40, 30, 255, 20, 40, 30, 255, //
                                        20, 40, 30, 255, 20, 40, 30, 255));
}

TEST(InterpolateColour, resultDoesNotDependOnTheNumberOfThreads) {
    Picture<std::uint16_t> in(37, 230);
    in.noise();
    std::vector<std::vector<std::uint8_t>> results;
    for (const int threads : {1, 2, 3, 8}) {
        const Threads running(threads);
        Picture<std::uint8_t> out(37, 230, 4);
        EXPECT_TRUE(interpolateColour(out.buffer, in.buffer, SzCellPositions()));
        results.push_back(out.memory);
    }
    EXPECT_THAT(results, Each(results.front()));
}

TEST(InterpolateColour, inOneChannelTheLastCallsWinAndWhatLeavesTheRowIsDropped) {
    // Blue 20, green 40 and red 30 everywhere. Columns 0 and 1 keep what later calls do not reach.
    Picture<std::uint8_t> in(4, 2,
                             {1, 20, 1, 20, //
                              30, 40, 30, 40});
    Picture<std::uint8_t> out(4, 2, 1, 3);
    EXPECT_FALSE(interpolateColour(out.buffer, in.buffer, SzCellPositions()));
    EXPECT_THAT(out.memory, ElementsAre(20, 40, 30, 30, untouched, untouched, untouched, //
                                        20, 40, 30, 30, untouched, untouched, untouched));
}

TEST(InterpolateColour, otherSampleTypesAreRefused) {
    for (const auto type : {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16,
                            EzImageDataType::SpectrumFloat32, EzImageDataType::Float32,
                            EzImageDataType::Float64, EzImageDataType::Float16}) {
        Picture<std::uint32_t> in(4, 4, 1, 4);
        in.buffer.dataType = type;
        Picture<std::uint32_t> out(4, 4, 1, 4);
        EXPECT_FALSE(interpolateColour(out.buffer, in.buffer, SzCellPositions()));
        out.buffer.dataType = type;
        EXPECT_FALSE(interpolateNearInfrared(out.buffer, in.buffer, SzCellPositions()));
        EXPECT_THAT(out.memory, Each(untouched));
    }
}

TEST(InterpolateColour, picturesThatDoNotFitAreRefusedAndLeftAlone) {
    Picture<std::uint16_t> in(4, 4);
    Picture<std::uint8_t> out(4, 3, 4);
    EXPECT_FALSE(interpolateColour(out.buffer, in.buffer, SzCellPositions()));
    in.buffer.height = 3;
    in.buffer.linePitch = 7;
    EXPECT_FALSE(interpolateColour(out.buffer, in.buffer, SzCellPositions()));
    in.buffer.data = nullptr;
    EXPECT_FALSE(interpolateColour(out.buffer, in.buffer, SzCellPositions()));
    EXPECT_THAT(out.memory, Each(untouched));
}

template <class T>
void expectNearInfrared() {
    Picture<T> in(7, 6, 1, 2);
    in.noise().depth(5);
    for (const std::uint32_t phase : {0U, 1U, 2U, 3U}) {
        SzCellPositions cell;
        cell.nir = phase;
        Picture<T> out(7, 6, 1, 1);
        out.depth(5);
        EXPECT_TRUE(interpolateNearInfrared(out.buffer, in.buffer, cell));
        EXPECT_EQ(out.memory, expectedMemory<T>(out.buffer, 0, in, phase));
    }
}

TEST(InterpolateNearInfrared, keepsSampleTypeAndDepth) {
    expectNearInfrared<std::uint8_t>();
    expectNearInfrared<std::uint16_t>();
    expectNearInfrared<std::uint32_t>();
}

TEST(InterpolateNearInfrared, neverTakesColoursAndColoursNeverTakeIt) {
    Picture<std::uint8_t> in(7, 7);
    for (std::uint32_t y = 0; y < 7; ++y)
        for (std::uint32_t x = 0; x < 7; ++x)
            in.memory[y * 7 + x] = x % 2 == 0 && y % 2 == 0 ? 200 : 50;
    Picture<std::uint8_t> nir(7, 7);
    Picture<std::uint8_t> colour(7, 7, 3);
    interpolateNearInfrared(nir.buffer, in.buffer, SzCellPositions());
    interpolateColour(colour.buffer, in.buffer, SzCellPositions());
    EXPECT_THAT(nir.memory, Each(200));
    EXPECT_THAT(colour.memory, Each(50));
}

} // namespace
