// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBufAPI.h"
#include "PictureView.h"
#include "support/InstructionSets.h"
#include "support/Pictures.h"

#include <QRect>

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace {

using Filter = bool (*)(const SzPicBuf&, const QRect&, int, int, SzPicBuf&);

constexpr Filter smallest = &CzPicBufAPI::FilterMinOnMosaicPicBuf;
constexpr Filter largest = &CzPicBufAPI::FilterMaxOnMosaicPicBuf;
constexpr Filter average = &CzPicBufAPI::FilterAvgOnMosaicPicBuf;
constexpr Filter normalize = &CzPicBufAPI::FilterNormalizeOnMosaicPicBuf;
constexpr Filter statistics[] = {smallest, largest, average};
constexpr Filter filters[] = {smallest, largest, average, normalize};

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;
constexpr auto uint32 = EzImageDataType::UInt32;
constexpr auto float32 = EzImageDataType::Float32;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

SzPicBufInfo mosaicFormat(std::uint32_t width, std::uint32_t height, EzImageDataType type = uint8,
                          std::uint32_t paddingSamples = 0) {
    return pictureFormat(width, height, 1, type, EzDataStorageFormat::Interleaved, paddingSamples);
}

QRect all(const SzPicBufInfo& picture) {
    return {0, 0, static_cast<int>(picture.width), static_cast<int>(picture.height)};
}

/// A picture of these samples, line by line.
HeapPicture picture(std::uint32_t width, EzImageDataType type, const std::vector<double>& samples) {
    HeapPicture result(mosaicFormat(width, static_cast<std::uint32_t>(samples.size()) / width, type, 3));
    fillSamples(*result,
                [&](std::uint32_t x, std::uint32_t y, std::uint32_t) { return samples[y * width + x]; });
    return result;
}

std::vector<double> samplesOf(const SzPicBuf& picture) {
    std::vector<double> samples;
    for (std::uint32_t y = 0; y < picture.height; ++y)
        for (std::uint32_t x = 0; x < picture.width; ++x)
            samples.push_back(sampleAt(picture, x, y));
    return samples;
}

/// A picture whose samples show whether they were written.
HeapPicture blank(const SzPicBufInfo& format) {
    return patternPicture(format, 99);
}

/// What a filter makes of all of a picture, in a picture of this size.
std::vector<double> filtered(Filter filter, const HeapPicture& source, int cellWidth, int cellHeight,
                             std::uint32_t width, std::uint32_t height) {
    HeapPicture result = blank(mosaicFormat(width, height, source->dataType, 5));
    EXPECT_TRUE(filter(*source, all(*source), cellWidth, cellHeight, *result));
    return samplesOf(*result);
}

std::vector<double> perCell(Filter filter, const HeapPicture& source, int cellWidth, int cellHeight) {
    return filtered(filter, source, cellWidth, cellHeight, source->width / static_cast<unsigned>(cellWidth),
                    source->height / static_cast<unsigned>(cellHeight));
}

std::vector<double> sliding(Filter filter, const HeapPicture& source, int cellWidth, int cellHeight) {
    return filtered(filter, source, cellWidth, cellHeight, source->width, source->height);
}

// ---- By the plain rules ----

/// What there is to know about a window. Sums of whole numbers, and of floats of few bits, are exact in a
/// double.
struct Window {
    double low = infinity;
    double high = -infinity;
    double sum = 0.0;
    double count = 0.0;
};

double statistic(Filter filter, const Window& window, EzImageDataType type) {
    if (filter == smallest)
        return window.low;
    if (filter == largest)
        return window.high;
    return type == float32 ? static_cast<double>(static_cast<float>(window.sum / window.count))
                           : std::floor((2.0 * window.sum + window.count) / (2.0 * window.count));
}

/// Stretched to a largest value, halves rounded up.
double stretched(double sample, const Window& cell, double largestValue, EzImageDataType type) {
    if (cell.low == cell.high)
        return 0.0;
    if (type == float32)
        return static_cast<double>(
            static_cast<float>((sample - cell.low) / (cell.high - cell.low) * largestValue));
    const auto range = static_cast<std::uint64_t>(cell.high - cell.low);
    const std::uint64_t product =
        static_cast<std::uint64_t>(sample - cell.low) * static_cast<std::uint64_t>(largestValue);
    const std::uint64_t rest = product % range;
    return static_cast<double>(product / range + (rest >= range - rest ? 1 : 0));
}

/// The windows of a region, each looked at sample by sample.
class PlainRules {
public:
    PlainRules(const SzPicBuf& source, const QRect& region, int cellWidth, int cellHeight)
        : m_source(source)
        , m_samples(samplesOf(source))
        , m_region(region)
        , m_cellWidth(cellWidth)
        , m_cellHeight(cellHeight) {}

    HeapPicture perCell(Filter filter) const {
        HeapPicture expected(mosaicFormat(static_cast<unsigned>(m_region.width() / m_cellWidth),
                                          static_cast<unsigned>(m_region.height() / m_cellHeight),
                                          m_source.dataType));
        fillSamples(*expected, [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
            return statistic(filter,
                             windowAt(m_region.left() + static_cast<int>(x) * m_cellWidth,
                                      m_region.top() + static_cast<int>(y) * m_cellHeight),
                             m_source.dataType);
        });
        return expected;
    }

    HeapPicture sliding(Filter filter) const {
        HeapPicture expected(mosaicFormat(m_source.width, m_source.height, m_source.dataType));
        fillSamples(*expected, [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
            if (!m_region.contains(static_cast<int>(x), static_cast<int>(y)))
                return 0.0;
            return statistic(filter,
                             windowAt(std::min(static_cast<int>(x), m_region.right() + 1 - m_cellWidth),
                                      std::min(static_cast<int>(y), m_region.bottom() + 1 - m_cellHeight)),
                             m_source.dataType);
        });
        return expected;
    }

    HeapPicture normalized() const {
        HeapPicture expected(mosaicFormat(m_source.width, m_source.height, m_source.dataType));
        const double largestValue = std::exp2(m_source.bitDepth) - 1.0;
        fillSamples(*expected, [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
            const double sample = m_samples[y * m_source.width + x];
            if (!m_region.contains(static_cast<int>(x), static_cast<int>(y)))
                return sample;
            const int left = static_cast<int>(x) - (static_cast<int>(x) - m_region.left()) % m_cellWidth;
            const int top = static_cast<int>(y) - (static_cast<int>(y) - m_region.top()) % m_cellHeight;
            if (left + m_cellWidth > m_region.right() + 1 || top + m_cellHeight > m_region.bottom() + 1)
                return sample;
            return stretched(sample, windowAt(left, top), largestValue, m_source.dataType);
        });
        return expected;
    }

private:
    Window windowAt(int left, int top) const {
        Window window;
        for (int y = top; y < top + m_cellHeight; ++y)
            for (int x = left; x < left + m_cellWidth; ++x) {
                const double sample =
                    m_samples[static_cast<unsigned>(y) * m_source.width + static_cast<unsigned>(x)];
                window.low = std::min(window.low, sample);
                window.high = std::max(window.high, sample);
                window.sum += sample;
                window.count += 1.0;
            }
        return window;
    }

    const SzPicBuf& m_source;
    std::vector<double> m_samples;
    QRect m_region;
    int m_cellWidth;
    int m_cellHeight;
};

/// Runs all filters on a region and compares every sample.
void expectPlainResults(const SzPicBuf& source, const QRect& region, int cellWidth, int cellHeight) {
    SCOPED_TRACE(testing::Message() << formatName(source) << ", cell " << cellWidth << 'x' << cellHeight
                                    << ", region " << region.left() << ',' << region.top() << ' '
                                    << region.width() << 'x' << region.height());
    const PlainRules rules(source, region, cellWidth, cellHeight);
    const bool hasCells = region.width() >= cellWidth && region.height() >= cellHeight;
    for (const Filter filter : statistics) {
        HeapPicture windows = blank(mosaicFormat(source.width, source.height, source.dataType, 7));
        if (!hasCells) {
            EXPECT_FALSE(filter(source, region, cellWidth, cellHeight, *windows));
            continue;
        }
        EXPECT_TRUE(filter(source, region, cellWidth, cellHeight, *windows));
        EXPECT_TRUE(samePixels(*windows, *rules.sliding(filter)));

        HeapPicture cells =
            blank(mosaicFormat(static_cast<unsigned>(region.width() / cellWidth),
                               static_cast<unsigned>(region.height() / cellHeight), source.dataType, 1));
        EXPECT_TRUE(filter(source, region, cellWidth, cellHeight, *cells));
        EXPECT_TRUE(samePixels(*cells, *rules.perCell(filter)));
    }
    HeapPicture normalized = blank(mosaicFormat(source.width, source.height, source.dataType, 2));
    EXPECT_TRUE(normalize(source, region, cellWidth, cellHeight, *normalized));
    EXPECT_TRUE(samePixels(*normalized, *rules.normalized()));
}

class MosaicFilter : public EachInstructionSet {};

INSTANTIATE_TEST_SUITE_P(Levels, MosaicFilter, instructionSets, instructionSetName);

TEST_P(MosaicFilter, everyCellUpTo16x16OnARegionWithOffsetsAndRemainders) {
    for (const EzImageDataType type : kernelSampleTypes()) {
        const HeapPicture source = patternPicture(mosaicFormat(39, 36, type, 3));
        for (int cellWidth = 1; cellWidth <= 16; ++cellWidth)
            for (int cellHeight = 1; cellHeight <= 16; ++cellHeight)
                expectPlainResults(*source, QRect(3, 2, 35, 33), cellWidth, cellHeight);
    }
}

TEST_P(MosaicFilter, everySizeFrom1x1) {
    const std::pair<int, int> cells[] = {{1, 1}, {2, 2}, {3, 2}, {4, 4}, {5, 5}, {1, 7}, {9, 1}};
    for (const EzImageDataType type : kernelSampleTypes())
        for (std::uint32_t width = 1; width <= 11; ++width)
            for (std::uint32_t height = 1; height <= 11; ++height) {
                const HeapPicture source = patternPicture(mosaicFormat(width, height, type));
                for (const auto& [cellWidth, cellHeight] : cells)
                    expectPlainResults(*source, all(*source), cellWidth, cellHeight);
            }
}

TEST_P(MosaicFilter, everyWidthAroundWholeVectors) {
    const std::pair<int, int> cells[] = {{2, 2}, {4, 4}, {4, 1}, {5, 5}, {8, 3}, {16, 2}, {16, 1}};
    for (const EzImageDataType type : kernelSampleTypes())
        for (std::uint32_t width = 62; width <= 134; ++width) {
            const HeapPicture source = patternPicture(mosaicFormat(width, 6, type, 1));
            for (const auto& [cellWidth, cellHeight] : cells)
                expectPlainResults(*source, all(*source), cellWidth, cellHeight);
        }
}

TEST_P(MosaicFilter, everyWidthBetweenACellAndSeveralOfThem) {
    for (const EzImageDataType type : kernelSampleTypes())
        for (const int cellWidth : {4, 8, 16})
            for (int width = cellWidth; width <= 34; ++width) {
                const HeapPicture source =
                    patternPicture(mosaicFormat(static_cast<std::uint32_t>(width), 4, type, 1));
                for (const int cellHeight : {1, 3})
                    expectPlainResults(*source, all(*source), cellWidth, cellHeight);
            }
}

TEST_P(MosaicFilter, valuesOfCellsInLinesOfSeveralBlocks) {
    for (const EzImageDataType type : kernelSampleTypes())
        for (const int cell : {1, 2, 3, 4, 5, 8, 10, 16, 32})
            for (const unsigned cells : {64U, 65U, 287U, 545U}) {
                const auto side = static_cast<unsigned>(cell);
                const HeapPicture source =
                    patternPicture(mosaicFormat(side * cells + side / 2, 2 * side, type));
                const PlainRules rules(*source, all(*source), cell, cell);
                for (const Filter filter : statistics) {
                    HeapPicture values = blank(mosaicFormat(cells, 2, type, 3));
                    EXPECT_TRUE(filter(*source, all(*source), cell, cell, *values));
                    EXPECT_TRUE(samePixels(*values, *rules.perCell(filter))) << cell << ", " << cells;
                }
            }
}

TEST_P(MosaicFilter, windowsInLinesOfSeveralStrips) {
    const std::pair<int, int> cells[] = {{2, 2}, {4, 3}, {5, 3}, {8, 1}, {16, 4}, {130, 2}};
    for (const EzImageDataType type : kernelSampleTypes())
        for (const std::uint32_t width : {1039U, 2310U}) {
            const HeapPicture source = patternPicture(mosaicFormat(width, 9, type, 1));
            for (const auto& [cellWidth, cellHeight] : cells)
                expectPlainResults(*source, all(*source), cellWidth, cellHeight);
        }
}

TEST_P(MosaicFilter, everyRegionOfASmallPicture) {
    for (const EzImageDataType type : kernelSampleTypes()) {
        const HeapPicture source = patternPicture(mosaicFormat(6, 5, type));
        for (int left = 0; left < 6; ++left)
            for (int top = 0; top < 5; ++top)
                for (int width = 1; width <= 6 - left; ++width)
                    for (int height = 1; height <= 5 - top; ++height)
                        expectPlainResults(*source, QRect(left, top, width, height), 2, 2);
    }
}

TEST_P(MosaicFilter, windowsOfAnyLengthUpToTheWholePicture) {
    for (const EzImageDataType type : kernelSampleTypes()) {
        const HeapPicture source = patternPicture(mosaicFormat(70, 4, type));
        for (int cell = 17; cell <= 70; cell += 3)
            expectPlainResults(*source, all(*source), cell, 2);
        const HeapPicture tall = patternPicture(mosaicFormat(4, 70, type));
        for (int cell = 17; cell <= 70; cell += 3)
            expectPlainResults(*tall, all(*tall), 2, cell);
    }
}

// ---- By hand ----

TEST_P(MosaicFilter, oneValuePerCell) {
    const HeapPicture source = picture(5, uint8, {9, 1, 4, 4,   200, //
                                                  3, 7, 4, 6,   200, //
                                                  0, 0, 1, 2,   200, //
                                                  0, 1, 3, 255, 200});
    EXPECT_EQ(perCell(smallest, source, 2, 2), (std::vector<double>{1, 4, 0, 1}));
    EXPECT_EQ(perCell(largest, source, 2, 2), (std::vector<double>{9, 6, 1, 255}));
    // 20 / 4, 18 / 4 = 4.5, 1 / 4, 261 / 4 = 65.25
    EXPECT_EQ(perCell(average, source, 2, 2), (std::vector<double>{5, 5, 0, 65}));
}

TEST_P(MosaicFilter, aWindowBeginsAtItsSampleAndIsShiftedBackAtTheRightAndAtTheBottom) {
    const HeapPicture source = picture(3, uint16,
                                       {1, 2, 3, //
                                        4, 5, 6, //
                                        7, 8, 9});
    EXPECT_EQ(sliding(smallest, source, 2, 2), (std::vector<double>{1, 2, 2, 4, 5, 5, 4, 5, 5}));
    EXPECT_EQ(sliding(largest, source, 2, 2), (std::vector<double>{5, 6, 6, 8, 9, 9, 8, 9, 9}));
    EXPECT_EQ(sliding(average, source, 2, 2), (std::vector<double>{3, 4, 4, 6, 7, 7, 6, 7, 7}));
    EXPECT_EQ(sliding(average, source, 3, 1), (std::vector<double>{2, 2, 2, 5, 5, 5, 8, 8, 8}));
}

TEST_P(MosaicFilter, outsideOfTheRegionIsZeroWhereAWindowSlides) {
    const HeapPicture source = picture(4, uint8,
                                       {9, 9, 9, 9, //
                                        9, 1, 2, 9, //
                                        9, 3, 4, 9, //
                                        9, 9, 9, 9});
    HeapPicture result = blank(mosaicFormat(4, 4));
    ASSERT_TRUE(largest(*source, QRect(1, 1, 2, 2), 2, 1, *result));
    EXPECT_EQ(samplesOf(*result), (std::vector<double>{0, 0, 0, 0, //
                                                       0, 2, 2, 0, //
                                                       0, 4, 4, 0, //
                                                       0, 0, 0, 0}));
}

TEST_P(MosaicFilter, averagesRoundHalvesUp) {
    for (const EzImageDataType type : {uint8, uint16, uint32}) {
        EXPECT_EQ(perCell(average, picture(2, type, {0, 1}), 2, 1), std::vector<double>{1});
        EXPECT_EQ(perCell(average, picture(2, type, {0, 0, 0, 1}), 2, 2), std::vector<double>{0});
        EXPECT_EQ(perCell(average, picture(3, type, {0, 0, 2}), 3, 1), std::vector<double>{1});
    }
    EXPECT_EQ(perCell(average, picture(2, float32, {0, 1}), 2, 1), std::vector<double>{0.5});
}

TEST_P(MosaicFilter, cellsOf1x1GiveThePictureBack) {
    for (const EzImageDataType type : kernelSampleTypes())
        for (const Filter filter : statistics) {
            const HeapPicture source = patternPicture(mosaicFormat(67, 3, type));
            EXPECT_EQ(sliding(filter, source, 1, 1), samplesOf(*source));
        }
}

TEST_P(MosaicFilter, normalizedCellsReachFromZeroToTheLargestValueOfTheDepth) {
    HeapPicture source = picture(5, uint8,
                                 {10, 40, 7, 7, 3, //
                                  20, 30, 7, 7, 3, //
                                  1, 2, 3, 4, 5});
    EXPECT_EQ(sliding(normalize, source, 2, 2), (std::vector<double>{0, 255, 0, 0, 3,  //
                                                                     85, 170, 0, 0, 3, //
                                                                     1, 2, 3, 4, 5}));
    source->bitDepth = 4;
    EXPECT_EQ(sliding(normalize, source, 2, 2), (std::vector<double>{0, 15, 0, 0, 3, //
                                                                     5, 10, 0, 0, 3, //
                                                                     1, 2, 3, 4, 5}));
    source->bitDepth = 1;                                                           // 10 / 30, 20 / 30
    EXPECT_EQ(sliding(normalize, source, 2, 2), (std::vector<double>{0, 1, 0, 0, 3, //
                                                                     0, 1, 0, 0, 3, //
                                                                     1, 2, 3, 4, 5}));
}

TEST_P(MosaicFilter, normalizedSamplesRoundHalvesUp) {
    HeapPicture source = picture(3, uint16, {100, 101, 102});
    source->bitDepth = 12; // 4095 / 2 = 2047.5
    EXPECT_EQ(sliding(normalize, source, 3, 1), (std::vector<double>{0, 2048, 4095}));
}

TEST_P(MosaicFilter, depthOfZeroOrBeyondTheSamplesIsTheirOwn) {
    for (const std::uint32_t depth : {0U, 9U, 17U, 32U, 33U, 64U, 4294967295U}) {
        HeapPicture source = picture(2, uint8, {3, 4});
        source->bitDepth = depth;
        EXPECT_EQ(sliding(normalize, source, 2, 1), (std::vector<double>{0, 255}));
    }
    for (const std::uint32_t depth : {0U, 32U, 33U, 4294967295U}) {
        HeapPicture source = picture(3, uint32, {0, 2147483648.0, 4294967295.0});
        source->bitDepth = depth;
        EXPECT_EQ(sliding(normalize, source, 3, 1), (std::vector<double>{0, 2147483648.0, 4294967295.0}));
        HeapPicture real = picture(2, float32, {-1, 1});
        real->bitDepth = depth;
        EXPECT_EQ(sliding(normalize, real, 2, 1), (std::vector<double>{0, 4294967296.0}));
    }
}

TEST_P(MosaicFilter, everyPairOf8BitSamplesIsStretchedExactly) {
    // Cells of 0, the range and a sample between them.
    for (int range = 1; range <= 255; ++range) {
        std::vector<double> samples;
        for (int sample = 0; sample <= range; ++sample)
            samples.insert(samples.end(), {0.0, static_cast<double>(range), static_cast<double>(sample)});
        const std::vector<double> result = sliding(normalize, picture(3, uint8, samples), 3, 1);
        for (int sample = 0; sample <= range; ++sample)
            EXPECT_EQ(result[static_cast<std::size_t>(sample) * 3 + 2],
                      (2 * sample * 255 + range) / (2 * range));
    }
}

// ---- Exact division ----

/// Averages of every sum that so many samples can have: along lines of samples each of which is by 1 larger
/// than the one that is count before it, the sum of a window grows by 1 from sample to sample.
template <class T>
void expectEverySumRounded(EzImageDataType type, std::uint32_t count) {
    constexpr std::uint32_t largestSample = std::numeric_limits<T>::max();
    constexpr std::uint32_t sumsPerLine = 4096;
    const std::uint32_t largestSum = largestSample * count;
    const SzPicBufInfo format = mosaicFormat(sumsPerLine + count - 1, largestSum / sumsPerLine + 1, type);
    const HeapPicture source(format);
    HeapPicture result(format);
    for (std::uint32_t y = 0; y < format.height; ++y)
        for (std::uint32_t x = 0; x < format.width; ++x)
            view<T>(*source).row(y)[x] =
                static_cast<T>(std::min((y * sumsPerLine + x) / count, largestSample));
    ASSERT_TRUE(average(*source, all(format), static_cast<int>(count), 1, *result));
    std::uint32_t wrong = 0;
    for (std::uint32_t sum = 0; sum <= largestSum; ++sum)
        wrong += view<const T>(*result).row(sum / sumsPerLine)[sum % sumsPerLine] !=
                 (2 * sum + count) / (2 * count);
    EXPECT_EQ(wrong, 0U) << count << " samples";
}

TEST_P(MosaicFilter, everySumOf8BitSamplesIsDividedExactlyInCellsOfUpTo256Samples) {
    for (std::uint32_t count = 1; count <= 256; ++count)
        expectEverySumRounded<std::uint8_t>(uint8, count);
}

TEST_P(MosaicFilter, everySumOf16BitSamplesIsDividedExactlyInSquareCellsAndAwkwardOnes) {
    for (const std::uint32_t count : {1U, 2U, 2U * 2, 2U * 4, 3U * 3, 4U * 4, 5U * 5, 4U * 8, 7U * 9, 8U * 8,
                                      8U * 16, 11U * 13, 15U * 15, 16U * 16})
        expectEverySumRounded<std::uint16_t>(uint16, count);
}

// ---- Numbers that are hard to hold ----

TEST_P(MosaicFilter, averagesOfTheLargestSamplesStayTheLargestInCellsOfAnySize) {
    const std::pair<EzImageDataType, double> types[] = {
        {uint8, 255.0}, {uint16, 65535.0}, {uint32, 4294967295.0}};
    for (const auto& [type, value] : types)
        // 16² and 256² are limits of sums; of 363² samples even half their number takes more than 16 bits.
        for (const std::uint32_t cell : {15U, 16U, 17U, 255U, 256U, 257U, 363U, 512U}) {
            HeapPicture source(mosaicFormat(cell, cell, type));
            fillSamples(*source, [v = value](auto...) { return v; });
            const int size = static_cast<int>(cell);
            EXPECT_EQ(perCell(average, source, size, size), std::vector<double>{value}) << size;
            EXPECT_EQ(sliding(average, source, size, size),
                      std::vector<double>(std::size_t{cell} * cell, value));
        }
}

TEST_P(MosaicFilter, whatIsNotANumberIsNeitherSmallestNorLargest) {
    const HeapPicture source = picture(4, float32,
                                       {nan, 3, nan, -nan, //
                                        -2, -nan, nan, nan});
    EXPECT_EQ(perCell(smallest, source, 2, 2)[0], -2.0);
    EXPECT_EQ(perCell(largest, source, 2, 2)[0], 3.0);
    EXPECT_TRUE(std::isnan(perCell(smallest, source, 2, 2)[1]));
    EXPECT_TRUE(std::isnan(perCell(largest, source, 2, 2)[1]));
}

TEST_P(MosaicFilter, infinitiesAreNumbersAndMinusZeroIsBelowZero) {
    const HeapPicture source = picture(2, float32, {-infinity, infinity, 0.0, -0.0});
    EXPECT_EQ(perCell(smallest, source, 2, 1)[0], -infinity);
    EXPECT_EQ(perCell(largest, source, 2, 1)[0], infinity);
    EXPECT_TRUE(std::signbit(perCell(smallest, source, 2, 1)[1]));
    EXPECT_FALSE(std::signbit(perCell(largest, source, 2, 1)[1]));
}

TEST_P(MosaicFilter, averageIsNotANumberOnlyInTheWindowsThatHoldOne) {
    const std::vector<double> result =
        sliding(average, picture(6, float32, {1, 3, nan, 5, infinity, 7}), 2, 1);
    EXPECT_EQ(result[0], 2.0);
    EXPECT_TRUE(std::isnan(result[1]));
    EXPECT_TRUE(std::isnan(result[2]));
    EXPECT_EQ(result[3], infinity);
    EXPECT_EQ(result[4], infinity);

    const std::vector<double> down = sliding(average, picture(1, float32, {nan, 1, 1e30, 2, 4}), 1, 2);
    EXPECT_TRUE(std::isnan(down[0]));
    EXPECT_EQ(down[3], 3.0); // nothing is left of the larger number above
}

TEST_P(MosaicFilter, normalizedWhatIsNotANumberStaysNoneAndDoesNotDisturbItsCell) {
    HeapPicture source = picture(3, float32, {nan, 1, 3});
    source->bitDepth = 8;
    const std::vector<double> result = sliding(normalize, source, 3, 1);
    EXPECT_TRUE(std::isnan(result[0]));
    EXPECT_EQ(result[1], 0.0);
    EXPECT_EQ(result[2], 255.0);
}

TEST_P(MosaicFilter, normalizedInfinitiesAreTheEndsAndWhatIsFiniteTheOtherEndOrTheMiddle) {
    HeapPicture source = picture(3, float32,
                                 {1, infinity, 3,                  //
                                  -infinity, 1, 3,                 //
                                  -infinity, 1e38, infinity,       //
                                  infinity, infinity, infinity,    //
                                  -infinity, -infinity, -infinity, //
                                  0.0, -0.0, 0.0});
    source->bitDepth = 8;
    EXPECT_EQ(sliding(normalize, source, 3, 1), (std::vector<double>{0, 255, 0,     //
                                                                     0, 255, 255,   //
                                                                     0, 127.5, 255, //
                                                                     0, 0, 0,       //
                                                                     0, 0, 0,       //
                                                                     0, 0, 0}));
}

TEST_P(MosaicFilter, normalizedCellsWithInfinitiesKeepWhatIsNotANumber) {
    HeapPicture source = picture(3, float32,
                                 {nan, infinity, infinity, //
                                  nan, -infinity, 5,       //
                                  nan, -nan, nan});
    source->bitDepth = 8;
    const std::vector<double> result = sliding(normalize, source, 3, 1);
    for (const std::size_t place : {0, 3, 6, 7, 8})
        EXPECT_TRUE(std::isnan(result[place])) << place;
    EXPECT_EQ(result[1], 0.0); // flat
    EXPECT_EQ(result[2], 0.0);
    EXPECT_EQ(result[4], 0.0);
    EXPECT_EQ(result[5], 255.0);
}

TEST_P(MosaicFilter, rangesBeyondAFloatAreStretchedAsWell) {
    constexpr double most = std::numeric_limits<float>::max();
    HeapPicture source = picture(3, float32, {-most, 0, most});
    source->bitDepth = 1;
    EXPECT_EQ(sliding(normalize, source, 3, 1), (std::vector<double>{0, 0.5, 1}));
}

/// Large enough for all threads. Sums of the floats are rounded, so that their order would show.
HeapPicture pictureForThreads(EzImageDataType type) {
    HeapPicture source = patternPicture(mosaicFormat(300, 241, type));
    if (type == float32)
        fillSamples(*source, [&](std::uint32_t x, std::uint32_t y, std::uint32_t) {
            return static_cast<double>(
                static_cast<float>(std::sin(x * 100.0 + y) * std::exp2((x * 7 + y * 3) % 60)));
        });
    return source;
}

TEST_P(MosaicFilter, anyNumberOfThreadsGivesTheSame) {
    for (const EzImageDataType type : kernelSampleTypes()) {
        const HeapPicture source = pictureForThreads(type);
        for (const Filter filter : filters) {
            omp_set_num_threads(1);
            const std::vector<double> one = sliding(filter, source, 5, 4);
            for (const int threads : {2, 3, 8, 64}) {
                omp_set_num_threads(threads);
                EXPECT_EQ(sliding(filter, source, 5, 4), one) << threads;
            }
            omp_set_num_threads(omp_get_num_procs());
        }
    }
}

TEST_P(MosaicFilter, anyNumberOfThreadsGivesTheSameValuesPerCell) {
    for (const EzImageDataType type : kernelSampleTypes()) {
        const HeapPicture source = pictureForThreads(type);
        for (const Filter filter : statistics)
            for (const int cell : {2, 4, 5, 16}) {
                omp_set_num_threads(1);
                const std::vector<double> one = perCell(filter, source, cell, cell);
                for (const int threads : {2, 3, 8, 64}) {
                    omp_set_num_threads(threads);
                    EXPECT_EQ(perCell(filter, source, cell, cell), one) << cell << ", " << threads;
                }
                omp_set_num_threads(omp_get_num_procs());
            }
    }
}

TEST_P(MosaicFilter, everyCellOfAPictureThatIsLargerThanTheCaches) {
    constexpr std::uint32_t cellWidth = 5;
    constexpr std::uint32_t cellHeight = 3;
    const HeapPicture source(mosaicFormat(cellWidth * 821 + 4, cellHeight * 1400 + 2));
    const auto samples = view<std::uint8_t>(*source);
    const auto sampleOfCell = [](std::uint32_t x, std::uint32_t y) {
        return static_cast<std::uint8_t>(7 * x + 13 * y);
    };
    for (std::uint32_t y = 0; y < samples.height; ++y)
        for (std::uint32_t x = 0; x < samples.width; ++x)
            samples.row(y)[x] = sampleOfCell(x / cellWidth, y / cellHeight);
    for (const Filter filter : statistics) {
        HeapPicture cells = blank(mosaicFormat(821, 1400));
        ASSERT_TRUE(filter(*source, all(*source), cellWidth, cellHeight, *cells));
        std::uint32_t wrong = 0;
        for (std::uint32_t y = 0; y < cells->height; ++y)
            for (std::uint32_t x = 0; x < cells->width; ++x)
                wrong += view<const std::uint8_t>(*cells).row(y)[x] != sampleOfCell(x, y);
        EXPECT_EQ(wrong, 0U);
    }
}

// ---- Refused ----

/// Whether all filters, or all but normalize, refuse and leave the destination as it was.
void expectRefused(const SzPicBuf& source, const QRect& region, int cellWidth, int cellHeight,
                   const SzPicBufInfo& destinationFormat, bool normalizeToo = true) {
    for (const Filter filter : filters) {
        if (filter == normalize && !normalizeToo)
            continue;
        HeapPicture destination = patternPicture(destinationFormat, 5);
        EXPECT_FALSE(filter(source, region, cellWidth, cellHeight, *destination));
        EXPECT_TRUE(samePixels(*destination, *patternPicture(destinationFormat, 5)));
    }
}

TEST(MosaicFilterRefuses, cellsWithoutSamples) {
    const HeapPicture source = patternPicture(mosaicFormat(8, 8));
    for (const auto& [width, height] : {std::pair{0, 0}, {0, 2}, {2, 0}, {-1, 2}, {2, -2147483647 - 1}})
        expectRefused(*source, all(*source), width, height, mosaicFormat(8, 8));
}

TEST(MosaicFilterRefuses, regionsThatAreNotInsideTheSource) {
    const HeapPicture source = patternPicture(mosaicFormat(8, 8));
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int most = std::numeric_limits<int>::max();
    for (const QRect& region :
         {QRect(-1, 0, 4, 4), QRect(0, -1, 4, 4), QRect(5, 0, 4, 4), QRect(0, 5, 4, 4), QRect(8, 8, 2, 2),
          QRect(0, 0, 0, 4), QRect(0, 0, 4, 0), QRect(), QRect(QPoint(least, least), QPoint(most, most)),
          QRect(QPoint(most, most), QPoint(least, least)), QRect(QPoint(0, 0), QPoint(most, most))})
        expectRefused(*source, region, 2, 2, mosaicFormat(8, 8));
}

TEST(MosaicFilterRefuses, destinationsOfAnotherSize) {
    const HeapPicture source = patternPicture(mosaicFormat(9, 8));
    for (const auto& [width, height] : {std::pair{5U, 4U}, {4U, 5U}, {9U, 4U}, {4U, 8U}, {3U, 4U}, {10U, 8U}})
        expectRefused(*source, all(*source), 2, 2, mosaicFormat(width, height));
    // One value per cell is nothing that normalizes.
    HeapPicture cells = patternPicture(mosaicFormat(4, 4), 5);
    EXPECT_FALSE(normalize(*source, all(*source), 2, 2, *cells));
    EXPECT_TRUE(samePixels(*cells, *patternPicture(mosaicFormat(4, 4), 5)));
}

TEST(MosaicFilterRefuses, pixelsOfSeveralSamplesAndOtherSampleTypes) {
    const SzPicBufInfo three = pictureFormat(8, 8, 3, uint8);
    expectRefused(*patternPicture(three), QRect(0, 0, 8, 8), 2, 2, mosaicFormat(8, 8));
    expectRefused(*patternPicture(mosaicFormat(8, 8)), QRect(0, 0, 8, 8), 2, 2, three);
    for (const EzImageDataType type : allSampleTypes()) {
        if (type != uint16)
            expectRefused(*patternPicture(mosaicFormat(8, 8, type)), QRect(0, 0, 8, 8), 2, 2,
                          mosaicFormat(8, 8, uint16));
        const auto known = kernelSampleTypes();
        if (std::find(known.begin(), known.end(), type) == known.end())
            expectRefused(*patternPicture(mosaicFormat(8, 8, type)), QRect(0, 0, 8, 8), 2, 2,
                          mosaicFormat(8, 8, type));
    }
}

TEST(MosaicFilterRefuses, picturesWithoutPixelsOrWithLinesThatOverlap) {
    HeapPicture good = patternPicture(mosaicFormat(8, 8));
    SzPicBuf empty;
    SzPicBuf overlapping;
    overlapping.setPicFormat(*good);
    overlapping.data = good->data;
    overlapping.linePitch = 7;
    for (const Filter filter : filters)
        for (SzPicBuf* bad : {&empty, &overlapping}) {
            EXPECT_FALSE(filter(*bad, all(*good), 2, 2, *good));
            EXPECT_FALSE(filter(*good, all(*good), 2, 2, *bad));
        }
    EXPECT_TRUE(samePixels(*good, *patternPicture(mosaicFormat(8, 8))));
}

TEST(MosaicFilterRefuses, regionsWithoutAWholeCellAndNormalizeCopiesThem) {
    const HeapPicture source = patternPicture(mosaicFormat(8, 8));
    for (const auto& [width, height] :
         {std::pair{9, 2}, {2, 9}, {9, 9}, {512, 256}, {131072, 131072}, {2147483647, 2147483647}}) {
        expectRefused(*source, all(*source), width, height, mosaicFormat(8, 8), false);
        HeapPicture copied = patternPicture(mosaicFormat(8, 8), 5);
        EXPECT_TRUE(normalize(*source, all(*source), width, height, *copied));
        EXPECT_TRUE(samePixels(*copied, *source));
    }
}

} // namespace
