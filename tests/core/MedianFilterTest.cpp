// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianHistograms.h"
#include "PicBufAPI.h"
#include "support/InstructionSets.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <climits>
#include <numeric>
#include <random>
#include <tuple>

namespace {

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;

/// How often each of size positions is met by a window around centre whose outside positions count for the
/// nearest inside.
std::vector<std::uint64_t> weights(std::int64_t centre, std::int64_t radius, std::int64_t size) {
    std::vector<std::uint64_t> result(static_cast<std::size_t>(size), 0);
    for (std::int64_t i = std::max<std::int64_t>(0, centre - radius);
         i <= std::min(size - 1, centre + radius); ++i)
        result[static_cast<std::size_t>(i)] = 1;
    result.front() += static_cast<std::uint64_t>(std::max<std::int64_t>(0, radius - centre));
    result.back() += static_cast<std::uint64_t>(std::max<std::int64_t>(0, centre + radius - size + 1));
    return result;
}

/// The median by sorting all samples of the window, each with its weight.
double sortedMedian(const SzPicBuf& picture, std::uint32_t x, std::uint32_t y, std::uint32_t channel,
                    std::int64_t radius) {
    const auto columns = weights(x, radius, picture.width);
    const auto lines = weights(y, radius, picture.height);
    std::vector<std::pair<double, std::uint64_t>> samples;
    for (std::uint32_t line = 0; line < picture.height; ++line)
        for (std::uint32_t column = 0; column < picture.width; ++column)
            if (const std::uint64_t weight = columns[column] * lines[line])
                samples.emplace_back(sampleAt(picture, column, line, channel), weight);
    std::sort(samples.begin(), samples.end());
    const auto side = static_cast<std::uint64_t>(2 * radius + 1);
    std::uint64_t rank = side * side / 2;
    for (const auto& [value, weight] : samples) {
        if (rank < weight)
            return value;
        rank -= weight;
    }
    ADD_FAILURE() << "the weights do not fill the window";
    return -1;
}

/// Looks at every pixel, or at every so many in a line.
testing::AssertionResult isMedianOf(const SzPicBuf& actual, const SzPicBuf& source, int radius,
                                    std::uint32_t every = 1) {
    for (std::uint32_t channel = 0; channel < source.channels; ++channel)
        for (std::uint32_t y = 0; y < source.height; ++y)
            for (std::uint32_t x = 0; x < source.width; x += every)
                if (const double expected = sortedMedian(source, x, y, channel, radius);
                    sampleAt(actual, x, y, channel) != expected)
                    return testing::AssertionFailure()
                           << "radius " << radius << ", x " << x << ", y " << y << ", channel " << channel
                           << ": " << sampleAt(actual, x, y, channel) << " instead of " << expected << " ("
                           << formatName(source) << ")";
    return testing::AssertionSuccess();
}

void expectMedian(const SzPicBuf& source, int radius, void* work = nullptr) {
    HeapPicture result(source);
    ASSERT_TRUE(CzPicBufAPI::Median(source, *result, radius, work));
    EXPECT_TRUE(isMedianOf(*result, source, radius));
}

/// So many values of the sample type's range, or as many as there are pixels, all over the picture.
HeapPicture shuffledValues(std::uint32_t width, std::uint32_t height, std::uint32_t values,
                           EzImageDataType type = uint16) {
    HeapPicture picture(pictureFormat(width, height, 1, type));
    fillSamples(*picture, [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
        return (x + width * y) * 7919U % values;
    });
    return picture;
}

class Median : public EachInstructionSet {};
INSTANTIATE_TEST_SUITE_P(, Median, instructionSets, instructionSetName);

TEST_P(Median, removesASingleOutlierAndKeepsAnEdge) {
    HeapPicture picture(pictureFormat(6, 5, 1, uint8));
    fillSamples(*picture, [](std::uint32_t x, std::uint32_t y, std::uint32_t) {
        return x == 1 && y == 2 ? 255 : x < 3 ? 10 : 20;
    });
    HeapPicture result(*picture);
    ASSERT_TRUE(CzPicBufAPI::Median(*picture, *result, 1, nullptr));
    for (std::uint32_t y = 0; y < 5; ++y)
        for (std::uint32_t x = 0; x < 6; ++x)
            EXPECT_EQ(sampleAt(*result, x, y), x < 3 ? 10 : 20) << x << ", " << y;
}

TEST_P(Median, bordersAreRepeatedOutwards) {
    HeapPicture picture(pictureFormat(3, 1, 1, uint8));
    setRawSample<std::uint8_t>(*picture, 0, 0, 0, 9);
    setRawSample<std::uint8_t>(*picture, 1, 0, 0, 1);
    setRawSample<std::uint8_t>(*picture, 2, 0, 0, 5);
    HeapPicture result(*picture);
    ASSERT_TRUE(CzPicBufAPI::Median(*picture, *result, 1, nullptr));
    // Around the first pixel the window sees 9 9 1 in each of its three lines, and so on.
    EXPECT_EQ(sampleAt(*result, 0, 0), 9);
    EXPECT_EQ(sampleAt(*result, 1, 0), 5);
    EXPECT_EQ(sampleAt(*result, 2, 0), 5);
}

TEST_P(Median, equalsAPlainSortForAllLayoutsAndSizes) {
    for (const SzPicBufInfo& format : pictureFormats({uint8, uint16}, {1, 3}))
        for (const int radius : {0, 1, 4}) {
            const HeapPicture picture = patternPicture(format);
            expectMedian(*picture, radius);
        }
}

TEST_P(Median, equalsAPlainSortForEachSmallRadius) {
    for (const EzImageDataType type : {uint8, uint16})
        for (int radius = 0; radius <= 16; ++radius) {
            const HeapPicture picture = patternPicture(pictureFormat(37, 11, 1, type));
            expectMedian(*picture, radius);
        }
}

TEST_P(Median, squaresMayBeLargerThanThePicture) {
    for (const EzImageDataType type : {uint8, uint16}) {
        const HeapPicture picture = patternPicture(pictureFormat(9, 6, 2, type));
        for (const int radius : {7, 126, 127, 128, 32766, 32767, 32768, 65536, INT_MAX})
            expectMedian(*picture, radius);
    }
}

TEST_P(Median, findsItAmongAnyNumberOfDifferentValues) {
    // Around the limits at which the histograms get another tier.
    for (const std::uint32_t values : {1U, 2U, 16U, 17U, 256U, 257U, 4096U, 4097U}) {
        HeapPicture picture(pictureFormat(90, 46, 1, uint16));
        fillSamples(*picture, [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
            return (x + y * 90) * 7919U % values * 14 + 5;
        });
        for (const int radius : {1, 6, 9}) {
            HeapPicture result(*picture);
            ASSERT_TRUE(CzPicBufAPI::Median(*picture, *result, radius, nullptr));
            EXPECT_TRUE(isMedianOf(*result, *picture, radius, 5));
        }
    }
}

TEST_P(Median, equalsAPlainSortWhereTheFullRangeIsUsed) {
    // The picture's 4209 values are spread over almost all 16 bits.
    HeapPicture picture(pictureFormat(69, 61, 1, uint16));
    fillSamples(*picture, [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
        return (x + 69 * (y * 17 % 61)) * 15U + y % 15;
    });
    for (const int radius : {8, 9, 10, 11, 12, 13, 23, 24, 40, 127, 128}) {
        HeapPicture result(*picture);
        ASSERT_TRUE(CzPicBufAPI::Median(*picture, *result, radius, nullptr));
        EXPECT_TRUE(isMedianOf(*result, *picture, radius, 17));
    }
}

TEST_P(Median, equalsAPlainSortForLargeSquaresOf12Bits) {
    HeapPicture picture(pictureFormat(69, 61, 1, uint16));
    fillSamples(*picture, [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
        return (x + 69 * (y * 17 % 61)) * 7919U % 4096;
    });
    for (const int radius : {8, 23, 24, 40, 128}) {
        HeapPicture result(*picture);
        ASSERT_TRUE(CzPicBufAPI::Median(*picture, *result, radius, nullptr));
        EXPECT_TRUE(isMedianOf(*result, *picture, radius, 17));
    }
}

TEST_P(Median, extremeSamplesAreOrdinaryOnes) {
    for (const EzImageDataType type : {uint8, uint16}) {
        HeapPicture picture(pictureFormat(40, 30, 1, type));
        const std::uint32_t largest = type == uint8 ? 255 : 65535;
        std::mt19937 random(1);
        fillSamples(*picture,
                    [&](std::uint32_t, std::uint32_t, std::uint32_t) { return random() % 2 * largest; });
        for (const int radius : {1, 3, 20})
            expectMedian(*picture, radius);
    }
}

TEST_P(Median, blocksOfALineMeetWithoutASeam) {
    for (const EzImageDataType type : {uint8, uint16})
        for (const std::uint32_t width : {127U, 128U, 129U, 300U}) {
            const HeapPicture picture = patternPicture(pictureFormat(width, 3, 1, type));
            for (int radius = 1; radius <= 7; ++radius)
                expectMedian(*picture, radius);
        }
}

TEST_P(Median, stripsMeetWithoutASeam) {
    // By networks, which have no strips, and by histograms of one to four tiers.
    for (const std::uint32_t values : {200U, 3000U, 60000U}) {
        const HeapPicture picture = shuffledValues(1100, 3, values);
        for (const int radius : {2, 20, 30})
            expectMedian(*picture, radius);
    }
}

TEST_P(Median, sumsOfColumnsCountInWideWindows) {
    // Windows of 261 columns begin and end anywhere in the groups of 8 and 64 columns of which there are
    // sums.
    for (const std::uint32_t values : {3000U, 60000U}) {
        const HeapPicture picture = shuffledValues(500, 13, values);
        for (const int radius : {24, 127, 128, 130}) {
            HeapPicture result(*picture);
            ASSERT_TRUE(CzPicBufAPI::Median(*picture, *result, radius, nullptr));
            EXPECT_TRUE(isMedianOf(*result, *picture, radius, 29));
        }
    }
}

TEST_P(Median, valuesThatComeBackAfterManyLinesAreCountedAfresh) {
    // 50 dark lines, 50 bright ones, 50 dark ones: further apart than the windows reach.
    HeapPicture picture(pictureFormat(70, 150, 1, uint16));
    fillSamples(*picture, [](std::uint32_t x, std::uint32_t y, std::uint32_t) {
        return y / 50 % 2 * 40000 + (x + 70 * y) * 7919U % 20011;
    });
    for (const int radius : {13, 24}) {
        HeapPicture result(*picture);
        ASSERT_TRUE(CzPicBufAPI::Median(*picture, *result, radius, nullptr));
        EXPECT_TRUE(isMedianOf(*result, *picture, radius, 23));
    }
}

TEST(MedianFilter, doesNotDependOnTheNumberOfThreads) {
    // Large enough for three threads: by networks, and by histograms of one to four tiers without sums of
    // columns and with them.
    struct Case {
        EzImageDataType type;
        std::uint32_t values;
        int radius;
    };
    const int before = omp_get_max_threads();
    for (const Case& one :
         {Case{uint8, 200, 4}, Case{uint8, 200, 20}, Case{uint16, 3000, 3}, Case{uint16, 60000, 3},
          Case{uint16, 60000, 9}, Case{uint16, 3000, 20}, Case{uint16, 3000, 30}, Case{uint16, 3000, 130},
          Case{uint16, 60000, 20}, Case{uint16, 60000, 30}, Case{uint16, 60000, 130}}) {
        SCOPED_TRACE(testing::Message() << one.values << " values, radius " << one.radius);
        const HeapPicture picture = shuffledValues(660, 200, one.values, one.type);
        HeapPicture expected(*picture);
        omp_set_num_threads(1);
        ASSERT_TRUE(CzPicBufAPI::Median(*picture, *expected, one.radius, nullptr));
        for (const int threads : {2, 3}) {
            omp_set_num_threads(threads);
            HeapPicture several(*picture);
            EXPECT_TRUE(CzPicBufAPI::Median(*picture, *several, one.radius, nullptr));
            EXPECT_TRUE(samePixels(*several, *expected));
        }
        HeapPicture inPlace(*picture);
        ASSERT_TRUE(CzPicBufAPI::CopyPicBuf(*inPlace, *picture, false));
        EXPECT_TRUE(CzPicBufAPI::Median(*inPlace, *inPlace, one.radius, nullptr));
        EXPECT_TRUE(samePixels(*inPlace, *expected));
    }
    omp_set_num_threads(before);
}

TEST(MedianFilter, histogramsWorkInAnyBufferAgainAndAgain) {
    // Buffers for more or fewer values, other radii and another size, each with what the last picture left in
    // it.
    const HeapPicture few = shuffledValues(300, 20, 3000);
    const HeapPicture many = shuffledValues(300, 20, 60000);
    SzPicBufInfo format = *few;
    for (const auto& [bitDepth, radius, width] : {std::tuple{12U, 20, 300U},
                                                  {12U, 30, 300U},
                                                  {16U, 20, 300U},
                                                  {16U, 30, 300U},
                                                  {16U, 130, 300U},
                                                  {16U, 30, 20U}}) {
        format.bitDepth = bitDepth;
        format.width = width;
        void* buffer = nullptr;
        ASSERT_TRUE(CzPicBufAPI::MedianAllocBuffer(format, radius, &buffer));
        for (const SzPicBuf& picture : {*few, *many, *few})
            for (const int filtered : {20, 30, 130}) {
                HeapPicture expected(picture);
                HeapPicture result(picture);
                ASSERT_TRUE(CzPicBufAPI::Median(picture, *expected, filtered, nullptr));
                ASSERT_TRUE(CzPicBufAPI::Median(picture, *result, filtered, buffer));
                EXPECT_TRUE(samePixels(*result, *expected));
            }
        CzPicBufAPI::MedianFreeBuffer(buffer);
    }
}

TEST(MedianFilter, worksWithItsBufferWithAnothersAndWithNone) {
    const SzPicBufInfo format = pictureFormat(60, 30, 1, uint16);
    const HeapPicture picture = patternPicture(format);
    const SzPicBufInfo other = pictureFormat(3, 2, 1, uint8);
    for (const auto& [bufferFormat, radius] :
         {std::pair{format, 3}, std::pair{format, 1}, std::pair{other, 1}}) {
        void* buffer = nullptr;
        ASSERT_TRUE(CzPicBufAPI::MedianAllocBuffer(bufferFormat, radius, &buffer));
        ASSERT_TRUE(buffer);
        expectMedian(*picture, 3, buffer);
        expectMedian(*picture, 5, buffer);
        CzPicBufAPI::MedianFreeBuffer(buffer);
    }
    CzPicBufAPI::MedianFreeBuffer(nullptr);
}

TEST(MedianFilter, mayWorkInPlace) {
    const HeapPicture picture = patternPicture(pictureFormat(33, 17, 3, uint8));
    HeapPicture expected(*picture);
    HeapPicture inPlace(*picture);
    ASSERT_TRUE(CzPicBufAPI::CopyPicBuf(*inPlace, *picture, false));
    ASSERT_TRUE(CzPicBufAPI::Median(*picture, *expected, 2, nullptr));
    ASSERT_TRUE(CzPicBufAPI::Median(*inPlace, *inPlace, 2, nullptr));
    EXPECT_TRUE(samePixels(*inPlace, *expected));
}

TEST(MedianFilter, eachPictureHasItsOwnPitch) {
    // The host guards the padding against writes where the address sanitizer is at work.
    const HeapPicture picture = patternPicture(pictureFormat(13, 9, 1, uint8));
    HeapPicture padded(pictureFormat(13, 9, 1, uint8, EzDataStorageFormat::Interleaved, 6));
    ASSERT_TRUE(CzPicBufAPI::Median(*picture, *padded, 1, nullptr));
    EXPECT_TRUE(isMedianOf(*padded, *picture, 1));
}

TEST(MedianFilter, refusesWhatItCannotFilterAndLeavesTheDestinationAlone) {
    const SzPicBufInfo format = pictureFormat(8, 8, 2, uint8);
    const HeapPicture picture = patternPicture(format);
    HeapPicture result(format);
    EXPECT_FALSE(CzPicBufAPI::Median(*picture, *result, -1, nullptr));
    EXPECT_FALSE(CzPicBufAPI::Median(*picture, *result, INT_MIN, nullptr));
    EXPECT_FALSE(CzPicBufAPI::Median(SzPicBuf(), *result, 1, nullptr));
    for (const SzPicBufInfo& otherFormat :
         {pictureFormat(7, 8, 2, uint8), pictureFormat(8, 9, 2, uint8), pictureFormat(8, 8, 1, uint8),
          pictureFormat(8, 8, 2, uint16), pictureFormat(8, 8, 2, uint8, EzDataStorageFormat::Planar)}) {
        HeapPicture other(otherFormat);
        EXPECT_FALSE(CzPicBufAPI::Median(*picture, *other, 1, nullptr)) << formatName(otherFormat);
    }
    EXPECT_EQ(std::accumulate(result->data, result->data + result->dataSize(), 0), 0);
    SzPicBuf nothing;
    EXPECT_FALSE(CzPicBufAPI::Median(*picture, nothing, 1, nullptr));
}

TEST(MedianFilter, refusesSampleTypesOtherThan8And16BitUnsigned) {
    for (const EzImageDataType type : allSampleTypes()) {
        const bool expected = type == uint8 || type == uint16;
        const SzPicBufInfo format = pictureFormat(8, 8, 1, type);
        HeapPicture picture(format);
        HeapPicture result(format);
        EXPECT_EQ(CzPicBufAPI::Median(*picture, *result, 1, nullptr), expected) << formatName(format);
        void* buffer = nullptr;
        EXPECT_EQ(CzPicBufAPI::MedianAllocBuffer(format, 1, &buffer), expected);
        EXPECT_EQ(buffer != nullptr, expected);
        CzPicBufAPI::MedianFreeBuffer(buffer);
    }
}

TEST(MedianFilter, buffersOfImpossibleSizesAreRefused) {
    int place = 0;
    void* buffer = &place;
    EXPECT_FALSE(CzPicBufAPI::MedianAllocBuffer(pictureFormat(0, 8, 1, uint8), 1, &buffer));
    EXPECT_EQ(buffer, nullptr);
    EXPECT_FALSE(CzPicBufAPI::MedianAllocBuffer(pictureFormat(8, 0, 1, uint8), 1, &buffer));
    EXPECT_FALSE(
        CzPicBufAPI::MedianAllocBuffer(pictureFormat(4000000000U, 4000000000U, 1, uint8), 1, &buffer));
    EXPECT_FALSE(CzPicBufAPI::MedianAllocBuffer(pictureFormat(8, 8, 1, uint8), -1, &buffer));
    EXPECT_FALSE(CzPicBufAPI::MedianAllocBuffer(pictureFormat(8, 8, 1, uint8), 1, nullptr));
    SzPicBufInfo odd = pictureFormat(8, 8, 1, uint16);
    odd.bitDepth = 99;
    EXPECT_TRUE(CzPicBufAPI::MedianAllocBuffer(odd, INT_MAX, &buffer));
    CzPicBufAPI::MedianFreeBuffer(buffer);
}

TEST(MedianHistograms, memoryIsBoundedAtEveryRadiusAndDepthForAnyNumberOfThreads) {
    for (const std::int64_t width : {1, 2048, 20000})
        for (const std::int64_t radius : {0, 1, 24, 127, 128, 1023, 5000, 32768, INT_MAX})
            for (const std::size_t codes : {256U, 4096U, 65536U})
                for (const int threads : {1, 2, 64}) {
                    const SzMedianHistogramPlan plan = medianHistogramPlan(width, radius, codes, threads);
                    EXPECT_GE(plan.threads, 1);
                    EXPECT_LE(plan.threads, threads);
                    EXPECT_LE(plan.bytesPerStrip * static_cast<std::size_t>(plan.threads),
                              std::size_t{1} << 30);
                }
}

TEST(MedianHistograms, oneThreadIsLeftWhereEvenItsStripTakesMuchMemory) {
    const SzMedianHistogramPlan plan = medianHistogramPlan(1000000, INT_MAX, 4096, 64);
    EXPECT_GT(plan.bytesPerStrip, std::size_t{1} << 30);
    EXPECT_EQ(plan.threads, 1);
}

TEST(MedianHistograms, pagesThatTakeTurnsGiveTheSame) {
    // Without sums of columns, and with those of 8 and of 64.
    const std::int64_t width = 300;
    const std::int64_t height = 12;
    std::vector<std::uint8_t> high(static_cast<std::size_t>(width * height));
    std::vector<std::uint8_t> low(high.size());
    std::mt19937 random(7);
    for (std::size_t i = 0; i < high.size(); ++i) {
        high[i] = static_cast<std::uint8_t>(random());
        low[i] = static_cast<std::uint8_t>(random());
    }
    for (const int radius : {4, 30, 130}) {
        const auto medians = [&](int pageSlots) {
            SzMedianHistogramPlan plan = medianHistogramPlan(width, radius, 65536, 1);
            EXPECT_EQ(plan.pageSlots, 256);
            plan.pageSlots = pageSlots;
            std::vector<std::uint16_t> result(high.size());
            const std::align_val_t alignment{128};
            auto* const work = static_cast<std::byte*>(::operator new(plan.bytesPerStrip, alignment));
            std::fill_n(work, plan.bytesPerStrip, std::byte{0xEE});
            medianByHistograms(
                {high.data(), low.data(), width, height}, plan, work,
                [&](std::int64_t x, std::int64_t y, const std::uint16_t* codes, std::int64_t count) {
                    std::copy_n(codes, count, result.begin() + y * width + x);
                });
            ::operator delete(work, alignment);
            return result;
        };
        const std::vector<std::uint16_t> expected = medians(256);
        EXPECT_EQ(medians(16), expected);
        EXPECT_EQ(medians(2), expected);
        EXPECT_EQ(medians(1), expected);
    }
}

} // namespace
