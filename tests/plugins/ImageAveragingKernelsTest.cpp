// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImageAveragingKernels.h"

#include "HistoData.h"
#include "TestPictures.h"
#include "support/InstructionSets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr auto interleaved = EzDataStorageFormat::Interleaved;
constexpr auto planar = EzDataStorageFormat::Planar;

template <class T>
constexpr EzImageDataType typeOf = EzImageDataType::Float32;
template <>
constexpr EzImageDataType typeOf<std::uint8_t> = EzImageDataType::UInt8;
template <>
constexpr EzImageDataType typeOf<std::uint16_t> = EzImageDataType::UInt16;
template <>
constexpr EzImageDataType typeOf<std::uint32_t> = EzImageDataType::UInt32;

template <class T>
using SumOf = std::conditional_t<std::is_same_v<T, float>, float, std::uint32_t>;

constexpr int untouched = 238;

/// A picture in memory of exactly its size.
template <class T>
class Pixels {
public:
    Pixels(std::uint32_t width, std::uint32_t height, std::uint32_t channels = 1,
           EzDataStorageFormat storage = interleaved, bool isColor = false, std::uint32_t paddingSamples = 0,
           T padding = T(untouched))
        : m_padding(padding) {
        picture.width = width;
        picture.height = height;
        picture.channels = channels;
        picture.bitDepth = 8 * sizeof(T);
        picture.dataType = typeOf<T>;
        picture.storageFormat = storage;
        picture.isColor = isColor;
        m_lineSamples = storage == planar ? width : width * channels;
        m_pitchSamples = m_lineSamples + paddingSamples;
        m_lines = storage == planar ? height * channels : height;
        picture.linePitch = static_cast<std::uint32_t>(m_pitchSamples * sizeof(T));
        m_memory.assign(m_lines * m_pitchSamples, padding);
        picture.data = reinterpret_cast<std::uint8_t*>(m_memory.data());
        set(std::vector<T>(m_lines * m_lineSamples, T(untouched)));
    }
    Pixels(const Pixels&) = delete;
    Pixels& operator=(const Pixels&) = delete;

    /// Line by line, plane by plane, without the padding.
    std::vector<T> samples() const {
        std::vector<T> result;
        for (std::size_t line = 0; line < m_lines; ++line)
            result.insert(result.end(), m_memory.begin() + line * m_pitchSamples,
                          m_memory.begin() + line * m_pitchSamples + m_lineSamples);
        return result;
    }

    void set(const std::vector<T>& samples) {
        ASSERT_EQ(samples.size(), m_lines * m_lineSamples);
        for (std::size_t line = 0; line < m_lines; ++line)
            std::copy_n(samples.begin() + line * m_lineSamples, m_lineSamples,
                        m_memory.begin() + line * m_pitchSamples);
    }

    /// Noise over the whole range, or over that of so many bits; floats in steps of 1/8, whose sums are
    /// exact.
    void fillWithNoise(unsigned seed, unsigned bits = 32) {
        std::mt19937 random(seed);
        std::vector<T> noise(m_lines * m_lineSamples);
        for (T& sample : noise)
            sample = std::is_same_v<T, float> ? static_cast<T>(static_cast<int>(random() % 16001) - 8000) / 8
                                              : static_cast<T>(random() >> (32 - bits));
        set(noise);
    }

    /// A sample by its place in the picture.
    T& at(std::size_t x, std::size_t y, std::size_t channel) {
        return picture.storageFormat == planar
                   ? m_memory[(channel * picture.height + y) * m_pitchSamples + x]
                   : m_memory[y * m_pitchSamples + x * picture.channels + channel];
    }
    /// A sample by its place in a line of the memory, or in those after it.
    T& inLine(std::size_t line, std::size_t i) { return m_memory[line * m_pitchSamples + i]; }

    bool paddingIsUntouched() const {
        for (std::size_t i = 0; i < m_memory.size(); ++i)
            if (i % m_pitchSamples >= m_lineSamples && m_memory[i] != m_padding)
                return false;
        return true;
    }

    SzPicBuf picture;

private:
    T m_padding;
    std::size_t m_lineSamples;
    std::size_t m_pitchSamples;
    std::size_t m_lines;
    std::vector<T> m_memory;
};

/// The histogram of a picture with these means.
CzHistoData histogramOf(const std::vector<double>& means) {
    CzHistoData histogram;
    for (const double mean : means) {
        CzHistoData::SzChannel channel;
        channel.mean = mean;
        histogram.channels.append(channel);
    }
    return histogram;
}

struct Layout {
    std::uint32_t width, height, channels;
    EzDataStorageFormat storage;
    bool isColor;
    std::uint32_t padding;
};

std::string text(const Layout& layout) {
    return std::to_string(layout.width) + " x " + std::to_string(layout.height) + " x " +
           std::to_string(layout.channels) + (layout.storage == planar ? " planar" : " interleaved") +
           (layout.isColor ? " colour" : "") + ", padded by " + std::to_string(layout.padding);
}

std::vector<Layout> layouts() {
    std::vector<Layout> all;
    for (const auto& [width, height] :
         {std::pair{1U, 1U}, {1U, 7U}, {7U, 1U}, {3U, 5U}, {33U, 17U}, {401U, 3U}})
        for (const std::uint32_t channels : {1U, 2U, 3U, 4U, 5U})
            for (const EzDataStorageFormat storage : {interleaved, planar})
                for (const bool isColor : {false, true})
                    for (const std::uint32_t padding : {0U, 3U})
                        all.push_back({width, height, channels, storage, isColor, padding});
    return all;
}

template <class T>
Pixels<T> pixels(const Layout& layout, std::uint32_t padding, T paddingSample = T(untouched)) {
    return Pixels<T>(layout.width, layout.height, layout.channels, layout.storage, layout.isColor, padding,
                     paddingSample);
}

// Which fourth samples are special, as two tables that differ where samples have 32 bits.

bool sumsSkipFourth(const Layout& layout) {
    return layout.storage == interleaved && layout.isColor && layout.channels == 4;
}

template <class T>
bool linesSkipFourth(const Layout& layout) {
    return sumsSkipFourth(layout) && sizeof(T) < 4;
}

/// Index of the histogram channel that a sample belongs to.
template <class T>
std::uint32_t histogramChannel(const Layout& layout, std::uint32_t sample) {
    const bool colour = layout.channels == 3 || linesSkipFourth<T>(layout);
    return colour ? 2 - sample : sample;
}

template <class T>
testing::AssertionResult areSamples(const std::vector<T>& actual, const std::vector<T>& expected) {
    if (actual.size() != expected.size())
        return testing::AssertionFailure() << actual.size() << " samples";
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const double difference = static_cast<double>(actual[i]) - static_cast<double>(expected[i]);
        // Floats, here of up to a thousand, may be summed in any order.
        const double tolerance = std::is_same_v<T, float> ? 1e-3 : 0.0;
        if (!(std::abs(difference) <= tolerance))
            return testing::AssertionFailure()
                   << "sample " << i << " is " << double(actual[i]) << " instead of " << double(expected[i]);
    }
    return testing::AssertionSuccess();
}

/// (sum + ⌊n / 2⌋) ÷ n with 32-bit sums.
template <class T>
T meanOf(const std::vector<T>& samples) {
    const auto n = static_cast<std::uint32_t>(samples.size());
    if constexpr (std::is_same_v<T, float>) {
        float sum = 0;
        for (const T sample : samples)
            sum += sample;
        return (sum + static_cast<float>(n / 2)) / static_cast<float>(n);
    } else {
        std::uint64_t sum = n / 2;
        for (const T sample : samples)
            sum += sample;
        return static_cast<T>(sum % 4294967296U / n);
    }
}

/// All sample types, layouts and pitches at every instruction set against a plain computation.
class AveragingKernels : public EachInstructionSet {
protected:
    template <class Check>
    static void forAllTypesAndLayouts(Check&& check) {
        for (const Layout& layout : layouts()) {
            SCOPED_TRACE(text(layout));
            check(std::uint8_t{}, layout);
            check(std::uint16_t{}, layout);
            check(std::uint32_t{}, layout);
            check(float{}, layout);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Levels, AveragingKernels, instructionSets, instructionSetName);

TEST_P(AveragingKernels, sumsGrowByTheSamplesAtTheirPlaceInEveryTypeLayoutAndPitch) {
    forAllTypesAndLayouts([](auto sample, const Layout& layout) {
        using T = decltype(sample);
        for (const std::uint32_t sumPadding : {0U, 5U}) {
            auto source = pixels<T>(layout, layout.padding);
            source.fillWithNoise(1);
            auto sums = pixels<SumOf<T>>(layout, sumPadding);
            sums.fillWithNoise(2);
            auto expected = pixels<SumOf<T>>(layout, sumPadding);
            expected.set(sums.samples());
            const bool packed = sumsSkipFourth(layout);
            for (std::size_t y = 0; y < layout.height; ++y)
                for (std::size_t x = 0; x < layout.width; ++x)
                    for (std::size_t c = 0; c < (packed ? 3 : layout.channels); ++c)
                        (packed ? expected.inLine(y, 3 * x + c) : expected.at(x, y, c)) += source.at(x, y, c);
            EXPECT_TRUE(AccumulatePicture(source.picture, sums.picture));
            EXPECT_EQ(sums.samples(), expected.samples());
            EXPECT_TRUE(sums.paddingIsUntouched());
        }
    });
}

TEST_P(AveragingKernels, quotientsAreWrittenAtTheirPlaceInEveryTypeLayoutAndPitch) {
    forAllTypesAndLayouts([](auto sample, const Layout& layout) {
        using T = decltype(sample);
        for (const auto& [count, bits] : {std::pair{1U, 32U},
                                          {3U, 32U},
                                          {16U, 32U},
                                          {4294967295U, 32U},
                                          {1U, 31U},
                                          {3U, 31U},
                                          {16U, 31U},
                                          {1U, 15U},
                                          {3U, 15U},
                                          {16U, 15U}}) {
            auto sums = pixels<SumOf<T>>(layout, 5);
            sums.fillWithNoise(3, bits);
            auto output = pixels<T>(layout, layout.padding);
            auto expected = pixels<T>(layout, layout.padding);
            const bool packed = sumsSkipFourth(layout);
            for (std::size_t y = 0; y < layout.height; ++y)
                for (std::size_t x = 0; x < layout.width; ++x)
                    for (std::size_t c = 0; c < (packed ? 3 : layout.channels); ++c)
                        expected.at(x, y, c) =
                            static_cast<T>((packed ? sums.inLine(y, 3 * x + c) : sums.at(x, y, c)) /
                                           static_cast<SumOf<T>>(count));
            EXPECT_TRUE(DivideSums(sums.picture, output.picture, count));
            EXPECT_EQ(output.samples(), expected.samples());
            EXPECT_TRUE(output.paddingIsUntouched());
        }
    });
}

// The following take planes for interleaved rows, which run on into the lines after them, one row after the
// other: each changes what the next one finds. Padding in between counts as 0.

TEST_P(AveragingKernels, rowsBecomeTheirMeansInEveryTypeLayoutAndPitch) {
    forAllTypesAndLayouts([](auto sample, const Layout& layout) {
        using T = decltype(sample);
        auto expected = pixels<T>(layout, layout.padding, T(0));
        expected.fillWithNoise(4);
        const std::vector<T> noise = expected.samples();
        for (std::size_t y = 0; y < layout.height; ++y)
            for (std::size_t c = 0; c < layout.channels; ++c) {
                if (c == 3 && linesSkipFourth<T>(layout))
                    continue;
                std::vector<T> row;
                for (std::size_t x = 0; x < layout.width; ++x)
                    row.push_back(expected.inLine(y, x * layout.channels + c));
                for (std::size_t x = 0; x < layout.width; ++x)
                    expected.inLine(y, x * layout.channels + c) = meanOf(row);
            }
        auto picture = pixels<T>(layout, layout.padding);
        picture.set(noise);
        EXPECT_TRUE(AverageLines(picture.picture, RowMeans));
        EXPECT_TRUE(areSamples(picture.samples(), expected.samples()));
        EXPECT_TRUE(picture.paddingIsUntouched());
    });
}

TEST_P(AveragingKernels, columnsBecomeTheirMeansInEveryTypeLayoutAndPitch) {
    forAllTypesAndLayouts([](auto sample, const Layout& layout) {
        using T = decltype(sample);
        auto expected = pixels<T>(layout, layout.padding, T(0));
        expected.fillWithNoise(5);
        const std::vector<T> noise = expected.samples();
        std::vector<T> means;
        for (std::size_t i = 0; i < std::size_t{layout.width} * layout.channels; ++i) {
            std::vector<T> column;
            for (std::size_t y = 0; y < layout.height; ++y)
                column.push_back(expected.inLine(y, i));
            means.push_back(meanOf(column));
        }
        for (std::size_t y = 0; y < layout.height; ++y)
            for (std::size_t i = 0; i < means.size(); ++i)
                expected.inLine(y, i) = means[i];
        auto picture = pixels<T>(layout, layout.padding);
        picture.set(noise);
        EXPECT_TRUE(AverageLines(picture.picture, ColumnMeans));
        EXPECT_TRUE(areSamples(picture.samples(), expected.samples()));
        EXPECT_TRUE(picture.paddingIsUntouched());
    });
}

TEST_P(AveragingKernels, samplesBecomeTheMeansOfTheirChannelsInEveryTypeLayoutAndPitch) {
    const std::vector<double> means{10.4, 99.5, 42.0, 7.6, 200.25};
    forAllTypesAndLayouts([&](auto sample, const Layout& layout) {
        using T = decltype(sample);
        auto picture = pixels<T>(layout, layout.padding);
        picture.picture.bitDepth = 7;
        auto expected = pixels<T>(layout, layout.padding);
        for (std::size_t y = 0; y < layout.height; ++y)
            for (std::uint32_t x = 0; x < layout.width; ++x)
                for (std::uint32_t c = 0; c < layout.channels; ++c) {
                    T& value = expected.inLine(y, x * layout.channels + c);
                    if (c == 3 && linesSkipFourth<T>(layout))
                        value = 127;
                    else
                        value = static_cast<T>(means[histogramChannel<T>(layout, c)] + 0.5);
                }
        EXPECT_TRUE(FillWithChannelMeans(picture.picture, histogramOf(means)));
        EXPECT_EQ(picture.samples(), expected.samples());
        EXPECT_TRUE(picture.paddingIsUntouched());
    });
}

TEST_P(AveragingKernels, averageIsSubtractedWithinTheFullScaleInEveryTypeLayoutAndPitch) {
    const std::vector<double> means{100.5, 17.0, 33.3, 4.0, 60.0};
    forAllTypesAndLayouts([&](auto sample, const Layout& layout) {
        using T = decltype(sample);
        for (const std::uint32_t averagePadding : {0U, 5U}) {
            auto subtrahend = pixels<T>(layout, averagePadding, T(0));
            subtrahend.fillWithNoise(6);
            auto average = pixels<T>(layout, averagePadding);
            average.set(subtrahend.samples());
            average.picture.bitDepth = 8 * sizeof(T) - 2;
            auto expected = pixels<T>(layout, layout.padding, T(0));
            expected.fillWithNoise(7);
            auto picture = pixels<T>(layout, layout.padding);
            picture.set(expected.samples());
            const double fullScale = std::exp2(8 * sizeof(T) - 2) - 1;
            for (std::size_t y = 0; y < layout.height; ++y)
                for (std::uint32_t x = 0; x < layout.width; ++x)
                    for (std::uint32_t c = 0; c < layout.channels; ++c) {
                        if (c == 3 && linesSkipFourth<T>(layout))
                            continue;
                        const std::size_t i = std::size_t{x} * layout.channels + c;
                        const double mean = means[histogramChannel<T>(layout, c)] + 0.5;
                        double value = static_cast<double>(expected.inLine(y, i)) -
                                       static_cast<double>(subtrahend.inLine(y, i));
                        if (std::is_same_v<T, float>)
                            value += mean;
                        else
                            value = std::min(std::max(value + std::floor(mean), 0.0), fullScale);
                        expected.inLine(y, i) = static_cast<T>(value);
                    }
            EXPECT_TRUE(SubtractFromAverage(average.picture, picture.picture, histogramOf(means)));
            EXPECT_TRUE(areSamples(picture.samples(), expected.samples()));
            EXPECT_TRUE(picture.paddingIsUntouched());
        }
    });
}

TEST_P(AveragingKernels, differencesOf8BitsAreThoseOfPlainArithmeticForEverySampleAverageAndMean) {
    std::vector<std::uint8_t> averages;
    std::vector<std::uint8_t> samples;
    for (int i = 0; i < 65536; ++i) {
        averages.push_back(static_cast<std::uint8_t>(i / 256));
        samples.push_back(static_cast<std::uint8_t>(i % 256));
    }
    for (const std::uint32_t channels : {1U, 2U}) {
        Pixels<std::uint8_t> average(65536 / channels, 1, channels);
        Pixels<std::uint8_t> picture(65536 / channels, 1, channels);
        average.set(averages);
        for (const std::uint32_t depth : {0U, 1U, 7U, 8U}) {
            average.picture.bitDepth = depth;
            const int limit = (1 << depth) - 1;
            for (int mean = 0; mean < 256; mean += depth == 8 ? 1 : 17) {
                picture.set(samples);
                ASSERT_TRUE(SubtractFromAverage(average.picture, picture.picture,
                                                histogramOf(std::vector<double>(channels, mean))));
                std::vector<std::uint8_t> expected;
                for (std::size_t i = 0; i < samples.size(); ++i)
                    expected.push_back(static_cast<std::uint8_t>(
                        std::min(std::max(samples[i] - averages[i] + mean, 0), limit)));
                ASSERT_EQ(picture.samples(), expected) << "mean " << mean << ", " << depth << " bits";
            }
        }
    }
}

TEST_P(AveragingKernels, differencesOf16BitsAreThoseOfPlainArithmeticAtEveryEdge) {
    const std::vector<int> edges{0, 1, 2, 255, 4095, 4096, 32766, 32767, 32768, 32769, 65534, 65535};
    std::vector<std::uint16_t> averages;
    std::vector<std::uint16_t> samples;
    for (const int average : edges)
        for (const int sample : edges) {
            averages.push_back(static_cast<std::uint16_t>(average));
            samples.push_back(static_cast<std::uint16_t>(sample));
        }
    for (const std::uint32_t channels : {1U, 2U, 3U}) {
        const auto width = static_cast<std::uint32_t>(samples.size()) / channels;
        Pixels<std::uint16_t> average(width, 1, channels);
        Pixels<std::uint16_t> picture(width, 1, channels);
        average.set(averages);
        for (const std::uint32_t depth : {0U, 1U, 12U, 15U, 16U}) {
            average.picture.bitDepth = depth;
            for (const int mean : edges) {
                picture.set(samples);
                ASSERT_TRUE(SubtractFromAverage(average.picture, picture.picture,
                                                histogramOf(std::vector<double>(channels, mean))));
                std::vector<std::uint16_t> expected;
                for (std::size_t i = 0; i < samples.size(); ++i)
                    expected.push_back(static_cast<std::uint16_t>(
                        std::min(std::max(samples[i] - averages[i] + mean, 0), (1 << depth) - 1)));
                ASSERT_EQ(picture.samples(), expected) << "mean " << mean << ", " << depth << " bits";
            }
        }
    }
}

TEST_P(AveragingKernels, brightestRowsOfAnyLengthAreAddedUpWithoutOverflow) {
    for (const std::uint32_t width : {1U, 63U, 511U, 1023U, 1024U, 1025U, 3000U, 70000U}) {
        Pixels<std::uint8_t> bytes(width, 1);
        bytes.set(std::vector<std::uint8_t>(width, 255));
        ASSERT_TRUE(AverageLines(bytes.picture, RowMeans));
        EXPECT_THAT(bytes.samples(), Each(255)) << width;
        bytes.inLine(0, width - 1) = 0;
        bytes.inLine(0, 0) = 0;
        const std::vector<std::uint8_t> before = bytes.samples();
        ASSERT_TRUE(AverageLines(bytes.picture, RowMeans));
        EXPECT_THAT(bytes.samples(), Each(meanOf(before))) << width;
        Pixels<std::uint16_t> words(width, 1);
        words.set(std::vector<std::uint16_t>(width, 60000));
        ASSERT_TRUE(AverageLines(words.picture, RowMeans));
        EXPECT_THAT(words.samples(), Each(60000)) << width;
    }
}

template <class T>
void expectRowMeans(std::uint32_t width, std::uint32_t channels, bool isColour) {
    const Layout layout{width, 2, channels, interleaved, isColour, 1};
    SCOPED_TRACE(text(layout) + ", " + std::to_string(sizeof(T)) + " bytes");
    auto picture = pixels<T>(layout, layout.padding);
    picture.fillWithNoise(width);
    auto expected = pixels<T>(layout, layout.padding);
    expected.set(picture.samples());
    for (std::size_t y = 0; y < layout.height; ++y)
        for (std::size_t c = 0; c < (isColour ? 3 : channels); ++c) {
            std::vector<T> row;
            for (std::size_t x = 0; x < width; ++x)
                row.push_back(picture.at(x, y, c));
            for (std::size_t x = 0; x < width; ++x)
                expected.at(x, y, c) = meanOf(row);
        }
    EXPECT_TRUE(AverageLines(picture.picture, RowMeans));
    EXPECT_EQ(picture.samples(), expected.samples());
    EXPECT_TRUE(picture.paddingIsUntouched());
}

TEST_P(AveragingKernels, rowsThatEndAroundVectorsAndPortionsBecomeTheirMeans) {
    for (const std::uint32_t end : {16U, 64U, 256U, 1024U, 8192U})
        for (const std::uint32_t width : {end - 1, end, end + 1, end + 37}) {
            expectRowMeans<std::uint8_t>(width, 1, false);
            expectRowMeans<std::uint16_t>(width, 1, false);
            expectRowMeans<std::uint8_t>(width, 4, false);
            expectRowMeans<std::uint16_t>(width, 4, false);
            expectRowMeans<std::uint8_t>(width, 4, true);
            expectRowMeans<std::uint16_t>(width, 4, true);
        }
}

template <class T>
void expectColumnMeans(std::uint32_t width, std::uint32_t height) {
    const Layout layout{width, height, 1, interleaved, false, 1};
    SCOPED_TRACE(text(layout) + ", " + std::to_string(sizeof(T)) + " bytes");
    auto picture = pixels<T>(layout, layout.padding);
    picture.fillWithNoise(width);
    auto expected = pixels<T>(layout, layout.padding);
    for (std::size_t x = 0; x < width; ++x) {
        std::vector<T> column;
        for (std::size_t y = 0; y < height; ++y)
            column.push_back(picture.at(x, y, 0));
        for (std::size_t y = 0; y < height; ++y)
            expected.at(x, y, 0) = meanOf(column);
    }
    EXPECT_TRUE(AverageLines(picture.picture, ColumnMeans));
    EXPECT_TRUE(areSamples(picture.samples(), expected.samples()));
    EXPECT_TRUE(picture.paddingIsUntouched());
}

TEST_P(AveragingKernels, columnsOfPicturesThatEndAroundBlocksBecomeTheirMeans) {
    for (const std::uint32_t width : {31U, 32U, 33U, 63U, 64U, 65U, 127U, 128U, 129U, 300U})
        for (const std::uint32_t height : {1U, 7U, 8U, 9U, 16U, 23U}) {
            expectColumnMeans<std::uint8_t>(width, height);
            expectColumnMeans<std::uint16_t>(width, height);
            expectColumnMeans<std::uint32_t>(width, height);
            expectColumnMeans<float>(width, height);
        }
}

/// Larger than what is taken for being in the cache.
TEST_P(AveragingKernels, columnsOfLargePicturesBecomeTheirMeans) {
    constexpr std::uint32_t width = 3001;
    constexpr std::uint32_t height = 2803;
    std::vector<std::uint8_t> samples(std::size_t{width} * height);
    std::vector<std::uint32_t> sums(width, height / 2);
    std::uint32_t noise = 1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        noise = noise * 1664525U + 1013904223U;
        samples[i] = static_cast<std::uint8_t>(noise >> 24);
        sums[i % width] += samples[i];
    }
    SzPicBuf picture;
    picture.data = samples.data();
    picture.width = width;
    picture.height = height;
    picture.channels = 1;
    picture.linePitch = width;
    picture.dataType = EzImageDataType::UInt8;
    ASSERT_TRUE(AverageLines(picture, ColumnMeans));
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < samples.size(); ++i)
        wrong += samples[i] != sums[i % width] / height;
    EXPECT_EQ(wrong, 0U);
}

TEST_P(AveragingKernels, brightestPixelsOfFourSamplesAreAddedUpWithoutOverflow) {
    for (const std::uint32_t width : {1U, 255U, 4096U, 70000U}) {
        Pixels<std::uint8_t> bytes(width, 1, 4);
        bytes.set(std::vector<std::uint8_t>(4 * width, 255));
        ASSERT_TRUE(AverageLines(bytes.picture, RowMeans));
        EXPECT_THAT(bytes.samples(), Each(255)) << width;
        Pixels<std::uint16_t> words(width, 1, 4);
        words.set(std::vector<std::uint16_t>(4 * width, 60000));
        ASSERT_TRUE(AverageLines(words.picture, RowMeans));
        EXPECT_THAT(words.samples(), Each(60000)) << width;
    }
}

TEST_P(AveragingKernels, quotientsAreThoseOfIntegerDivisionForEveryDivisorAndAtEveryEdge) {
    std::vector<std::uint32_t> divisors{32768,      32769,      65535,      65536,      65537,
                                        2147483647, 2147483648, 2147483649, 4294967294, 4294967295};
    for (std::uint32_t divisor = 1; divisor <= 4100; ++divisor)
        divisors.push_back(divisor);
    std::mt19937 random(8);
    for (int i = 0; i < 500; ++i)
        divisors.push_back(random() >> (random() % 31) | 1);
    Pixels<std::uint32_t> sums(100, 1);
    Pixels<std::uint32_t> output(100, 1);
    for (const std::uint32_t divisor : divisors) {
        std::vector<std::uint32_t> dividends{0, 1, 65535, 65536, 2147483647, 2147483648, 4294967295};
        const std::uint32_t most = 4294967295U / divisor;
        while (dividends.size() + 3 <= 100) {
            const std::uint32_t quotient = dividends.size() < 50
                                               ? most - std::min<std::uint32_t>(most, dividends.size() - 7)
                                               : random() % (std::uint64_t{most} + 1);
            for (const int offset : {-1, 0, 1})
                dividends.push_back(quotient * divisor + static_cast<std::uint32_t>(offset));
        }
        dividends.resize(100);
        std::vector<std::uint32_t> expected;
        for (const std::uint32_t dividend : dividends)
            expected.push_back(dividend / divisor);
        sums.set(dividends);
        ASSERT_TRUE(DivideSums(sums.picture, output.picture, divisor));
        ASSERT_EQ(output.samples(), expected) << "divided by " << divisor;
    }
}

/// The quotients of a row of sums are those of integer division, cut to T.
template <class T>
void expectQuotients(const std::vector<std::uint32_t>& dividends, std::uint32_t divisor, bool isColour) {
    Pixels<std::uint32_t> sums(static_cast<std::uint32_t>(dividends.size()), 1);
    sums.set(dividends);
    const auto width = static_cast<std::uint32_t>(dividends.size() / (isColour ? 3 : 1));
    sums.picture.width = width;
    sums.picture.channels = isColour ? 3 : 1;
    sums.picture.isColor = isColour;
    Pixels<T> output(width, 1, isColour ? 4 : 1, interleaved, isColour);
    std::vector<T> expected;
    for (std::size_t i = 0; i < std::size_t{width} * sums.picture.channels; ++i) {
        expected.push_back(static_cast<T>(dividends[i] / divisor));
        if (isColour && i % 3 == 2)
            expected.push_back(T(untouched));
    }
    ASSERT_TRUE(DivideSums(sums.picture, output.picture, divisor));
    ASSERT_EQ(output.samples(), expected) << "divided by " << divisor;
}

TEST_P(AveragingKernels, quotientsOfEverySumOf15BitsAreThoseOfIntegerDivision) {
    std::vector<std::uint32_t> all(32768);
    std::iota(all.begin(), all.end(), 0U);
    std::vector<std::uint32_t> divisors{1000, 4095, 16383, 16384, 16385, 32766, 32767, 32768, 32769, 65536};
    for (std::uint32_t divisor = 1; divisor <= 260; ++divisor)
        divisors.push_back(divisor);
    for (const std::uint32_t divisor : divisors) {
        expectQuotients<std::uint8_t>(all, divisor, divisor % 2 == 0);
        expectQuotients<std::uint16_t>(all, divisor, divisor % 2 != 0);
    }
}

TEST_P(AveragingKernels, quotientsAroundEveryMultipleAreThoseOfIntegerDivisionWhateverTheLargestSum) {
    std::mt19937 random(11);
    std::vector<std::uint32_t> divisors{1,   2,   3,    7,          15,         16,        255,
                                        256, 257, 1000, 2147483647, 2147483648, 4294967295};
    for (const std::uint32_t divisor : {32767U, 32768U, 32769U, 65535U, 65536U, 65537U})
        divisors.push_back(divisor);
    for (int i = 0; i < 200; ++i)
        divisors.push_back(random() >> (random() % 31) | 1);
    for (const std::uint32_t divisor : divisors)
        for (const std::uint32_t most : {32767U, 32768U, 65535U, 2147483647U, 2147483648U, 4294967295U}) {
            std::vector<std::uint32_t> dividends{0, 1, most, most - 1};
            while (dividends.size() < 300) {
                const std::uint32_t quotient = random() % (std::uint64_t{most / divisor} + 1);
                for (const std::uint32_t below : {0U, 1U})
                    dividends.push_back(std::max(quotient * divisor, below) - below);
            }
            expectQuotients<std::uint8_t>(dividends, divisor, false);
            expectQuotients<std::uint8_t>(dividends, divisor, true);
            expectQuotients<std::uint16_t>(dividends, divisor, false);
            expectQuotients<std::uint16_t>(dividends, divisor, true);
        }
}

TEST_P(AveragingKernels, rowsAreDividedRightWhateverTheRowsBeforeThem) {
    constexpr std::uint32_t width = 37;
    const std::vector<std::uint32_t> brightest{100,        32767,      32768, 200, 2147483647,
                                               2147483648, 4294967295, 300,   3};
    Pixels<std::uint32_t> sums(width, static_cast<std::uint32_t>(brightest.size()));
    std::vector<std::uint32_t> dividends;
    for (const std::uint32_t sum : brightest)
        for (std::uint32_t x = 0; x < width; ++x)
            dividends.push_back(x == 20 ? sum : x);
    sums.set(dividends);
    Pixels<std::uint8_t> output(width, static_cast<std::uint32_t>(brightest.size()));
    ASSERT_TRUE(DivideSums(sums.picture, output.picture, 3));
    std::vector<std::uint8_t> expected;
    for (const std::uint32_t sum : dividends)
        expected.push_back(static_cast<std::uint8_t>(sum / 3));
    EXPECT_EQ(output.samples(), expected);
}

TEST_P(AveragingKernels, floatSumsGiveTheSameBitsAtEveryInstructionSet) {
    Pixels<float> picture(1000, 3);
    std::vector<float> noise(3000);
    std::mt19937 random(9);
    for (float& sample : noise)
        sample = static_cast<float>(random()) / 4294967296.0F;
    const auto results = [&] {
        std::vector<float> all;
        for (const std::int32_t mode : {RowMeans, ColumnMeans}) {
            picture.set(noise);
            EXPECT_TRUE(AverageLines(picture.picture, mode));
            const std::vector<float> samples = picture.samples();
            all.insert(all.end(), samples.begin(), samples.end());
        }
        return all;
    };
    const std::vector<float> here = results();
    limitInstructionSet(EzInstructionSet::Portable);
    EXPECT_EQ(here, results());
}

// ---- Deliberate differences between the operations ----

TEST(AveragingRules, meanOfPicturesIsTruncatedButMeanOfARowIsRoundedHalfUp) {
    Pixels<std::uint8_t> picture(2, 1);
    Pixels<std::uint32_t> sums(2, 1);
    sums.set({0, 0});
    for (const std::uint8_t value : {10, 10, 11}) {
        picture.set({value, value});
        ASSERT_TRUE(AccumulatePicture(picture.picture, sums.picture));
    }
    ASSERT_TRUE(DivideSums(sums.picture, picture.picture, 3));
    EXPECT_THAT(picture.samples(), Each(10)); // 10.33
    sums.set({32, 32});
    ASSERT_TRUE(DivideSums(sums.picture, picture.picture, 3));
    EXPECT_THAT(picture.samples(), Each(10)); // 10.67

    picture.set({10, 11});
    ASSERT_TRUE(AverageLines(picture.picture, RowMeans));
    EXPECT_THAT(picture.samples(), Each(11)); // 10.5
    Pixels<std::uint8_t> column(1, 2);
    column.set({10, 11});
    ASSERT_TRUE(AverageLines(column.picture, ColumnMeans));
    EXPECT_THAT(column.samples(), Each(11));
}

TEST(AveragingRules, lineMeansOfFloatsKeepTheRoundingTermOfIntegers) {
    Pixels<float> row(4, 1);
    row.set({0, 0, 0, 0});
    ASSERT_TRUE(AverageLines(row.picture, RowMeans));
    EXPECT_THAT(row.samples(), Each(0.5F));
    Pixels<float> column(1, 5);
    column.set({1, 1, 1, 1, 1});
    ASSERT_TRUE(AverageLines(column.picture, ColumnMeans));
    EXPECT_THAT(column.samples(), Each(1.4F));
}

TEST(AveragingRules, meanOfFloatPicturesIsNotRounded) {
    Pixels<float> sums(2, 1);
    sums.set({1.0F, -7.5F});
    Pixels<float> output(2, 1);
    ASSERT_TRUE(DivideSums(sums.picture, output.picture, 4));
    EXPECT_THAT(output.samples(), ElementsAre(0.25F, -1.875F));
}

TEST(AveragingRules, fillAndSubtractionAddAHalfToTheMeansOfFloatsToo) {
    Pixels<float> picture(1, 1);
    ASSERT_TRUE(FillWithChannelMeans(picture.picture, histogramOf({2.0})));
    EXPECT_THAT(picture.samples(), ElementsAre(2.5F));
    Pixels<float> average(1, 1);
    average.set({10});
    picture.set({4});
    ASSERT_TRUE(SubtractFromAverage(average.picture, picture.picture, histogramOf({2.0})));
    EXPECT_THAT(picture.samples(), ElementsAre(-3.5F)); // not kept above 0 either
}

TEST(AveragingRules, sumsHave32BitsAndTheChannelsOfThePicture) {
    for (const auto& [type, expected] : {std::pair{EzImageDataType::UInt8, EzImageDataType::UInt32},
                                         {EzImageDataType::UInt16, EzImageDataType::UInt32},
                                         {EzImageDataType::UInt32, EzImageDataType::UInt32},
                                         {EzImageDataType::Float32, EzImageDataType::Float32}})
        for (const std::uint32_t channels : {1U, 3U, 4U, 5U})
            for (const bool isColor : {false, true})
                for (const EzDataStorageFormat storage : {interleaved, planar}) {
                    SzPicBufInfo format;
                    format.width = 7;
                    format.height = 5;
                    format.linePitch = 1000;
                    format.channels = channels;
                    format.dataType = type;
                    format.bitDepth = 12;
                    format.storageFormat = storage;
                    format.isColor = isColor;
                    SzPicBufInfo sums = format;
                    sums.linePitch = 0;
                    sums.dataType = expected;
                    if (type == EzImageDataType::UInt8 || type == EzImageDataType::UInt16)
                        sums.bitDepth = 32;
                    EXPECT_EQ(sumFormat(format), sums);
                }
}

TEST(AveragingRules, sumsOfColoursHaveThreeChannelsWhereFourSumsHaveFourOrEightBytes) {
    // Of sample types that are never summed: those that are have sums of 16 bytes.
    SzPicBufInfo format;
    format.channels = 4;
    format.isColor = true;
    for (const auto& [type, expected] : {std::pair{EzImageDataType::Undefined, 3U},
                                         {EzImageDataType::Int8, 3U},
                                         {EzImageDataType::Int16, 3U},
                                         {EzImageDataType::Float16, 3U},
                                         {EzImageDataType::SpectrumFloat32, 4U},
                                         {EzImageDataType::Float64, 4U}}) {
        format.dataType = type;
        EXPECT_EQ(sumFormat(format).channels, expected);
        SzPicBufInfo other = format;
        other.isColor = false;
        EXPECT_EQ(sumFormat(other).channels, 4U);
        other = format;
        other.storageFormat = planar;
        EXPECT_EQ(sumFormat(other).channels, 4U);
        other = format;
        other.channels = 1;
        EXPECT_EQ(sumFormat(other).channels, 1U);
    }
}

TEST(AveragingRules, colourSumsOf8BitsArePackedThreeByThree) {
    Pixels<std::uint8_t> source(2, 1, 4, interleaved, true);
    source.set({1, 2, 3, 200, 4, 5, 6, 201});
    for (const std::uint32_t sumChannels : {3U, 4U}) {
        Pixels<std::uint32_t> sums(2, 1, sumChannels, interleaved, true);
        sums.set(std::vector<std::uint32_t>(2 * sumChannels, 10));
        ASSERT_TRUE(AccumulatePicture(source.picture, sums.picture));
        std::vector<std::uint32_t> expected{11, 12, 13, 14, 15, 16};
        expected.resize(2 * sumChannels, 10);
        EXPECT_EQ(sums.samples(), expected);
    }
}

TEST(AveragingRules, pixelsWithA32BitAlphaAreColoursToSumsButFourChannelsToEverythingElse) {
    Pixels<std::uint32_t> picture(2, 1, 4, interleaved, true);
    picture.set({1, 2, 3, 200, 5, 6, 7, 100});
    Pixels<std::uint32_t> sums(2, 1, 4, interleaved, true);
    sums.set(std::vector<std::uint32_t>(8, 0));
    ASSERT_TRUE(AccumulatePicture(picture.picture, sums.picture));
    EXPECT_THAT(sums.samples(), ElementsAre(1, 2, 3, 5, 6, 7, 0, 0));

    ASSERT_TRUE(AverageLines(picture.picture, RowMeans));
    EXPECT_THAT(picture.samples(), ElementsAre(3, 4, 5, 150, 3, 4, 5, 150));
    EXPECT_FALSE(FillWithChannelMeans(picture.picture, histogramOf({1, 2, 3})));
    ASSERT_TRUE(FillWithChannelMeans(picture.picture, histogramOf({1, 2, 3, 4})));
    EXPECT_THAT(picture.samples(), ElementsAre(1, 2, 3, 4, 1, 2, 3, 4));
    EXPECT_FALSE(SubtractFromAverage(picture.picture, picture.picture, histogramOf({1, 2, 3})));
}

TEST(AveragingRules, fourChannelsThatAreNoColourAreFourChannelsToAllOperations) {
    Pixels<std::uint8_t> picture(1, 1, 4);
    picture.set({1, 2, 3, 4});
    Pixels<std::uint32_t> sums(1, 1, 4);
    sums.set({0, 0, 0, 0});
    ASSERT_TRUE(AccumulatePicture(picture.picture, sums.picture));
    EXPECT_THAT(sums.samples(), ElementsAre(1, 2, 3, 4));
    EXPECT_FALSE(FillWithChannelMeans(picture.picture, histogramOf({1, 2, 3})));
    ASSERT_TRUE(FillWithChannelMeans(picture.picture, histogramOf({5, 6, 7, 8})));
    EXPECT_THAT(picture.samples(), ElementsAre(5, 6, 7, 8));
}

TEST(AveragingRules, meansOfColoursAreTakenInReverseOrder) {
    Pixels<std::uint8_t> bgr(1, 1, 3);
    ASSERT_TRUE(FillWithChannelMeans(bgr.picture, histogramOf({1, 2, 3}))); // red, green, blue
    EXPECT_THAT(bgr.samples(), ElementsAre(3, 2, 1));
    Pixels<std::uint16_t> bgra(1, 1, 4, interleaved, true);
    ASSERT_TRUE(FillWithChannelMeans(bgra.picture, histogramOf({1, 2, 3})));
    EXPECT_THAT(bgra.samples(), ElementsAre(3, 2, 1, 65535));
    Pixels<std::uint8_t> average(1, 1, 3);
    average.set({0, 0, 0});
    bgr.set({10, 10, 10});
    ASSERT_TRUE(SubtractFromAverage(average.picture, bgr.picture, histogramOf({1, 2, 3})));
    EXPECT_THAT(bgr.samples(), ElementsAre(13, 12, 11));
    Pixels<std::uint8_t> two(1, 1, 2);
    ASSERT_TRUE(FillWithChannelMeans(two.picture, histogramOf({1, 2})));
    EXPECT_THAT(two.samples(), ElementsAre(1, 2));
}

template <class T>
class AlphaRules : public testing::Test {
protected:
    AlphaRules() : picture(2, 2, 4, interleaved, true) {
        picture.set({1, 1, 1, 50, 3, 3, 3, 60, //
                     5, 5, 5, 70, 7, 7, 7, 80});
    }
    std::vector<int> alphas() {
        return {picture.at(0, 0, 3), picture.at(1, 0, 3), picture.at(0, 1, 3), picture.at(1, 1, 3)};
    }
    Pixels<T> picture;
};
using AlphaTypes = testing::Types<std::uint8_t, std::uint16_t>;
TYPED_TEST_SUITE(AlphaRules, AlphaTypes);

TYPED_TEST(AlphaRules, rowMeansLeaveAlphaAlone) {
    ASSERT_TRUE(AverageLines(this->picture.picture, RowMeans));
    EXPECT_THAT(this->alphas(), ElementsAre(50, 60, 70, 80));
    EXPECT_EQ(this->picture.at(1, 0, 0), 2);
}

TYPED_TEST(AlphaRules, columnMeansAverageAlphaToo) {
    ASSERT_TRUE(AverageLines(this->picture.picture, ColumnMeans));
    EXPECT_THAT(this->alphas(), ElementsAre(60, 70, 60, 70));
}

TYPED_TEST(AlphaRules, fillSetsAlphaToFullScale) {
    this->picture.picture.bitDepth = 7;
    ASSERT_TRUE(FillWithChannelMeans(this->picture.picture, histogramOf({1, 2, 3})));
    EXPECT_THAT(this->alphas(), Each(127));
}

TYPED_TEST(AlphaRules, divisionLeavesAlphaAsItWas) {
    Pixels<std::uint32_t> sums(2, 2, 4, interleaved, true);
    ASSERT_TRUE(DivideSums(sums.picture, this->picture.picture, 2));
    EXPECT_THAT(this->alphas(), ElementsAre(50, 60, 70, 80));
    EXPECT_EQ(this->picture.at(1, 1, 2), untouched / 2);
}

TYPED_TEST(AlphaRules, subtractionLeavesAlphaAsItWasEvenBeyondTheFullScale) {
    Pixels<TypeParam> average(2, 2, 4, interleaved, true);
    average.picture.bitDepth = 4;
    ASSERT_TRUE(SubtractFromAverage(average.picture, this->picture.picture, histogramOf({1, 2, 3})));
    EXPECT_THAT(this->alphas(), ElementsAre(50, 60, 70, 80));
}

TEST(AveragingRules, columnModeTakesPlanesForInterleavedRows) {
    Pixels<std::uint8_t> planes(2, 2, 2, planar);
    planes.set({10, 20, //
                30, 40, //
                50, 60, //
                70, 80});
    ASSERT_TRUE(AverageLines(planes.picture, ColumnMeans));
    // The rows are 10 20 30 40 and 30 40 50 60.
    EXPECT_THAT(planes.samples(), ElementsAre(20, 30, //
                                              20, 30, //
                                              40, 50, //
                                              70, 80));
}

TEST(AveragingRules, rowModeTakesPlanesForInterleavedRows) {
    Pixels<std::uint8_t> planes(2, 2, 2, planar);
    planes.set({10, 20, //
                30, 40, //
                50, 60, //
                70, 80});
    ASSERT_TRUE(AverageLines(planes.picture, RowMeans));
    // The rows are 10 20 30 40, of which 20 30 20 30 is left, and 20 30 50 60, of which 35 45 35 45 is.
    EXPECT_THAT(planes.samples(), ElementsAre(20, 30, //
                                              35, 45, //
                                              35, 45, //
                                              70, 80));
}

TEST(AveragingRules, rowsThroughPlanesFindZerosInTheirPaddingAndLeaveItAsItIs) {
    Pixels<std::uint8_t> planes(2, 1, 2, planar, false, 1);
    planes.set({10, 20, //
                30, 40});
    ASSERT_TRUE(AverageLines(planes.picture, RowMeans));
    EXPECT_THAT(planes.samples(), ElementsAre(5, 25,    //
                                              25, 40)); // the row is 10 20 0 30: means of 10 0 and 20 30
    EXPECT_TRUE(planes.paddingIsUntouched());
}

TEST(AveragingRules, planesOfThreeChannelsAreFilledAndSubtractedLikeInterleavedRows) {
    Pixels<std::uint8_t> planes(1, 2, 3, planar);
    planes.set({9, 9, 9, 9, 9, 9});
    ASSERT_TRUE(FillWithChannelMeans(planes.picture, histogramOf({1, 2, 3})));
    EXPECT_THAT(planes.samples(), ElementsAre(3, 3, 2, 1, 9, 9)); // the second row over the first one's rest
    Pixels<std::uint8_t> average(1, 2, 3, planar);
    average.set({1, 1, 1, 1, 1, 1});
    planes.set({10, 10, 10, 10, 10, 10});
    ASSERT_TRUE(SubtractFromAverage(average.picture, planes.picture, histogramOf({1, 2, 3})));
    EXPECT_THAT(planes.samples(), ElementsAre(12, 13, 11, 10, 10, 10)); // what two rows share changes twice
}

TEST(AveragingRules, sumsWrapAroundInsteadOfSaturating) {
    Pixels<std::uint32_t> source(2, 1);
    source.set({4294967295U, 2});
    Pixels<std::uint32_t> sums(2, 1);
    sums.set({3, 4294967295U});
    ASSERT_TRUE(AccumulatePicture(source.picture, sums.picture));
    EXPECT_THAT(sums.samples(), ElementsAre(2, 1));
}

TEST(AveragingRules, rowSumsWrapAroundAt32Bits) {
    Pixels<std::uint32_t> picture(3, 1);
    picture.set({4294967295U, 4294967295U, 5});
    ASSERT_TRUE(AverageLines(picture.picture, RowMeans));
    EXPECT_THAT(picture.samples(), Each(1)); // (2^33 + 3 + 1) mod 2^32, by 3
}

TEST(AveragingRules, quotientsAreCutToTheSampleTypeInsteadOfClamped) {
    Pixels<std::uint32_t> sums(1, 1);
    sums.set({1000});
    Pixels<std::uint8_t> output(1, 1);
    ASSERT_TRUE(DivideSums(sums.picture, output.picture, 2));
    EXPECT_THAT(output.samples(), ElementsAre(500 % 256));
}

TEST(AveragingRules, differencesStayWithinTheDepthOfTheAverageNotOfThePicture) {
    Pixels<std::uint16_t> average(3, 1);
    average.picture.bitDepth = 12;
    average.set({0, 4095, 100});
    Pixels<std::uint16_t> picture(3, 1);
    picture.picture.bitDepth = 16;
    picture.set({4000, 0, 100});
    ASSERT_TRUE(SubtractFromAverage(average.picture, picture.picture, histogramOf({200.4})));
    EXPECT_THAT(picture.samples(), ElementsAre(4095, 0, 200));
}

TEST(AveragingRules, differencesOf32BitSamplesDoNotOverflow) {
    constexpr std::uint32_t most = 4294967295U;
    Pixels<std::uint32_t> average(4, 1);
    average.set({0, most, most, 0});
    Pixels<std::uint32_t> picture(4, 1);
    picture.set({most, 0, most, 0});
    ASSERT_TRUE(SubtractFromAverage(average.picture, picture.picture, histogramOf({most - 0.5})));
    EXPECT_THAT(picture.samples(), ElementsAre(most, 0, most, most));
}

// ---- Bit depths ----

TEST(AveragingDepths, everyBitDepthGivesADefinedFullScale) {
    const std::vector<std::pair<std::uint32_t, std::uint32_t>> fullScales{
        {0, 0}, {1, 1}, {8, 255}, {15, 32767}, {16, 65535}, {31, 65535}, {32, 65535}, {4294967295U, 65535}};
    for (const auto& [depth, expected] : fullScales) {
        Pixels<std::uint16_t> bgra(1, 1, 4, interleaved, true);
        bgra.picture.bitDepth = depth;
        ASSERT_TRUE(FillWithChannelMeans(bgra.picture, histogramOf({0, 0, 0})));
        EXPECT_EQ(bgra.at(0, 0, 3), expected) << depth;

        Pixels<std::uint16_t> average(1, 1);
        average.picture.bitDepth = depth;
        average.set({0});
        Pixels<std::uint16_t> picture(1, 1);
        picture.set({65535});
        ASSERT_TRUE(SubtractFromAverage(average.picture, picture.picture, histogramOf({0})));
        EXPECT_THAT(picture.samples(), ElementsAre(expected)) << depth;
    }
    for (const std::uint32_t depth : {32U, 33U}) {
        Pixels<std::uint32_t> average(1, 1);
        average.picture.bitDepth = depth;
        average.set({0});
        Pixels<std::uint32_t> picture(1, 1);
        picture.set({4294967295U});
        ASSERT_TRUE(SubtractFromAverage(average.picture, picture.picture, histogramOf({0})));
        EXPECT_THAT(picture.samples(), ElementsAre(4294967295U)) << depth;
    }
}

TEST(AveragingDepths, meansThatNoSampleCanHaveAreBroughtIntoItsRange) {
    Pixels<std::uint8_t> picture(1, 1);
    for (const auto& [mean, expected] : {std::pair{-3.0, 0},
                                         {255.4, 255},
                                         {256.0, 255},
                                         {1e300, 255},
                                         {std::nan(""), 0},
                                         {254.5, 255},
                                         {254.4, 254}}) {
        ASSERT_TRUE(FillWithChannelMeans(picture.picture, histogramOf({mean})));
        EXPECT_THAT(picture.samples(), ElementsAre(expected)) << mean;
    }
    Pixels<std::uint32_t> large(1, 1);
    ASSERT_TRUE(FillWithChannelMeans(large.picture, histogramOf({4294967295.0})));
    EXPECT_THAT(large.samples(), ElementsAre(4294967295U));
}

// ---- Floats ----

TEST(AveragingFloats, divisionAndSubtractionRefreshTheRangeButLineMeansAndFillDoNot) {
    Pixels<float> average(2, 1);
    average.set({6, 8});
    Pixels<float> picture(2, 1);
    const auto range = [&] { return std::pair(picture.picture.floatMin, picture.picture.floatMax); };
    ASSERT_TRUE(DivideSums(average.picture, picture.picture, 2));
    EXPECT_EQ(range(), std::pair(3.0F, 4.0F));
    ASSERT_TRUE(SubtractFromAverage(average.picture, picture.picture, histogramOf({0})));
    EXPECT_EQ(range(), std::pair(-3.5F, -2.5F));
    ASSERT_TRUE(FillWithChannelMeans(picture.picture, histogramOf({70})));
    ASSERT_TRUE(AverageLines(picture.picture, RowMeans));
    ASSERT_TRUE(AverageLines(picture.picture, ColumnMeans));
    EXPECT_EQ(range(), std::pair(-3.5F, -2.5F));
}

// ---- What is refused ----

/// Pictures that an operation must refuse, or has nothing to do on.
class AveragingRefusals : public testing::Test {
protected:
    Pixels<std::uint8_t> picture{4, 3, 2};
    Pixels<std::uint32_t> sums{4, 3, 2};
    const CzHistoData histogram = histogramOf({1, 2});

    void expectUntouched() {
        EXPECT_THAT(picture.samples(), Each(untouched));
        EXPECT_THAT(sums.samples(), Each(untouched));
    }
};

TEST_F(AveragingRefusals, otherSampleTypesAreRefusedByEveryOperation) {
    for (const std::uint32_t type : {0U, 1U, 3U, 5U, 8U, 9U, 10U, 77U}) {
        Pixels<double> memory(4, 3, 2);
        SzPicBuf& other = memory.picture;
        other.dataType = EzImageDataType(type);
        SzPicBuf otherSums = sums.picture;
        EXPECT_FALSE(AccumulatePicture(other, sums.picture));
        EXPECT_FALSE(DivideSums(sums.picture, other, 1));
        EXPECT_FALSE(AverageLines(other, RowMeans));
        EXPECT_FALSE(AverageLines(other, ColumnMeans));
        EXPECT_FALSE(FillWithChannelMeans(other, histogram));
        EXPECT_FALSE(SubtractFromAverage(other, other, histogram));
        otherSums.dataType = EzImageDataType(type);
        EXPECT_FALSE(AccumulatePicture(picture.picture, otherSums));
        EXPECT_FALSE(DivideSums(otherSums, picture.picture, 1));
        EXPECT_THAT(memory.samples(), Each(untouched));
        other.width = 0;
        EXPECT_FALSE(AverageLines(other, RowMeans));
    }
    expectUntouched();
}

TEST_F(AveragingRefusals, modesThatAreNoneDoNothingWithoutFailureWhateverThePicture) {
    for (const std::int32_t mode : {0, 3, -1, 2147483647}) {
        SzPicBuf nothing;
        EXPECT_TRUE(AverageLines(nothing, mode));
        EXPECT_TRUE(AverageLines(picture.picture, mode));
    }
    expectUntouched();
}

TEST_F(AveragingRefusals, otherStorageFormatsAreNotSummedOrDivided) {
    for (const std::uint32_t storage : {0U, 3U, 4U}) {
        picture.picture.storageFormat = sums.picture.storageFormat = EzDataStorageFormat(storage);
        EXPECT_FALSE(AccumulatePicture(picture.picture, sums.picture));
        EXPECT_FALSE(DivideSums(sums.picture, picture.picture, 1));
    }
    expectUntouched();
}

TEST_F(AveragingRefusals, otherStorageFormatsHaveTheirLinesAveragedAndFilledAsInterleaved) {
    picture.picture.storageFormat = EzDataStorageFormat::HostPacked;
    ASSERT_TRUE(FillWithChannelMeans(picture.picture, histogram));
    ASSERT_TRUE(AverageLines(picture.picture, RowMeans));
    picture.picture.storageFormat = interleaved;
    EXPECT_THAT(std::vector<std::uint8_t>(picture.picture.data, picture.picture.data + 4),
                ElementsAre(1, 2, 1, 2));
}

TEST_F(AveragingRefusals, picturesWithoutDataAreRefused) {
    SzPicBuf noPicture = picture.picture;
    SzPicBuf noSums = sums.picture;
    noPicture.data = noSums.data = nullptr;
    EXPECT_FALSE(AccumulatePicture(noPicture, sums.picture));
    EXPECT_FALSE(AccumulatePicture(picture.picture, noSums));
    EXPECT_FALSE(DivideSums(noSums, picture.picture, 1));
    EXPECT_FALSE(DivideSums(sums.picture, noPicture, 1));
    EXPECT_FALSE(AverageLines(noPicture, RowMeans));
    EXPECT_FALSE(AverageLines(noPicture, ColumnMeans));
    EXPECT_FALSE(FillWithChannelMeans(noPicture, histogram));
    EXPECT_FALSE(SubtractFromAverage(noPicture, picture.picture, histogram));
    EXPECT_FALSE(SubtractFromAverage(picture.picture, noPicture, histogram));
    EXPECT_FALSE(AccumulatePicture(SzPicBuf(), noSums));
    expectUntouched();
}

TEST_F(AveragingRefusals, picturesWithoutPixelsAreNoFailureAndNothingIsWritten) {
    for (const auto& [width, height] : {std::pair{0U, 3U}, {4U, 0U}, {0U, 0U}})
        for (const EzDataStorageFormat storage : {interleaved, planar}) {
            SzPicBuf empty = picture.picture;
            empty.width = width;
            empty.height = height;
            empty.storageFormat = storage;
            SzPicBuf emptySums = sums.picture;
            emptySums.storageFormat = storage;
            EXPECT_TRUE(AccumulatePicture(empty, emptySums));
            emptySums.width = width;
            emptySums.height = height;
            EXPECT_TRUE(AccumulatePicture(empty, emptySums));
            EXPECT_TRUE(DivideSums(emptySums, empty, 1));
            EXPECT_TRUE(AverageLines(empty, RowMeans));
            EXPECT_TRUE(AverageLines(empty, ColumnMeans));
            EXPECT_TRUE(FillWithChannelMeans(empty, histogram));
            EXPECT_TRUE(SubtractFromAverage(empty, empty, histogram));
        }
    expectUntouched();
}

TEST_F(AveragingRefusals, picturesThatDoNotFitTheSumsAreRefused) {
    Pixels<std::uint8_t> wider(5, 3, 2);
    Pixels<std::uint8_t> higher(4, 4, 2);
    Pixels<std::uint8_t> deeper(4, 3, 3);
    Pixels<std::uint8_t> flatter(4, 3, 1);
    Pixels<std::uint8_t> planes(4, 3, 2, planar);
    Pixels<float> floats(4, 3, 2);
    for (const SzPicBuf* other : {&wider.picture, &higher.picture, &deeper.picture, &flatter.picture,
                                  &planes.picture, &floats.picture})
        EXPECT_FALSE(AccumulatePicture(*other, sums.picture));
    Pixels<std::uint32_t> fewSums(4, 3, 1);
    Pixels<std::uint32_t> manySums(4, 3, 3);
    Pixels<std::uint32_t> planesOfSums(4, 3, 2, planar);
    Pixels<float> floatSums(4, 3, 2);
    for (SzPicBuf* other : {&fewSums.picture, &manySums.picture, &planesOfSums.picture, &floatSums.picture})
        EXPECT_FALSE(AccumulatePicture(picture.picture, *other));
    EXPECT_THAT(manySums.samples(), Each(untouched));
    expectUntouched();
}

TEST_F(AveragingRefusals, outputsThatTheSumsDoNotFitAreRefused) {
    Pixels<std::uint8_t> narrower(3, 3, 2);
    Pixels<std::uint8_t> lower(4, 2, 2);
    Pixels<std::uint8_t> deeper(4, 3, 3);
    Pixels<std::uint8_t> flatter(4, 3, 1);
    Pixels<std::uint8_t> planes(4, 3, 2, planar);
    for (Pixels<std::uint8_t>* output : {&narrower, &lower, &deeper, &flatter, &planes}) {
        EXPECT_FALSE(DivideSums(sums.picture, output->picture, 1));
        EXPECT_THAT(output->samples(), Each(untouched));
    }
    Pixels<float> floats(4, 3, 2);
    EXPECT_FALSE(DivideSums(sums.picture, floats.picture, 1));
    EXPECT_FALSE(DivideSums(floats.picture, picture.picture, 1));
    expectUntouched();
}

TEST_F(AveragingRefusals, smallerPicturesAreSummedAndLargerOutputsWrittenAtTheTopLeft) {
    Pixels<std::uint8_t> small(2, 1, 2);
    small.set({1, 2, 3, 4});
    ASSERT_TRUE(AccumulatePicture(small.picture, sums.picture));
    EXPECT_EQ(sums.at(1, 0, 1), untouched + 4U);
    EXPECT_EQ(sums.at(2, 0, 0), unsigned(untouched));
    EXPECT_EQ(sums.at(0, 1, 0), unsigned(untouched));
    Pixels<std::uint8_t> large(5, 4, 2);
    ASSERT_TRUE(DivideSums(sums.picture, large.picture, 2));
    EXPECT_EQ(large.at(3, 2, 1), untouched / 2);
    EXPECT_EQ(large.at(4, 2, 0), untouched);
    EXPECT_EQ(large.at(0, 3, 0), untouched);
}

TEST_F(AveragingRefusals, picturesThatDoNotFitTheAverageAreRefused) {
    Pixels<std::uint8_t> narrower(3, 3, 2);
    Pixels<std::uint8_t> lower(4, 2, 2);
    Pixels<std::uint8_t> deeper(4, 3, 3);
    Pixels<std::uint8_t> planes(4, 3, 2, planar);
    for (Pixels<std::uint8_t>* other : {&narrower, &lower, &deeper, &planes}) {
        EXPECT_FALSE(SubtractFromAverage(picture.picture, other->picture, histogram));
        EXPECT_THAT(other->samples(), Each(untouched));
    }
    Pixels<std::uint16_t> wide(4, 3, 2);
    EXPECT_FALSE(SubtractFromAverage(picture.picture, wide.picture, histogram));
    EXPECT_FALSE(SubtractFromAverage(wide.picture, picture.picture, histogram));
    expectUntouched();
}

TEST_F(AveragingRefusals, histogramsOfTooFewChannelsAreRefused) {
    for (const auto& means : {std::vector<double>{}, {1}}) {
        EXPECT_FALSE(FillWithChannelMeans(picture.picture, histogramOf(means)));
        EXPECT_FALSE(SubtractFromAverage(picture.picture, picture.picture, histogramOf(means)));
    }
    Pixels<std::uint8_t> bgra(1, 1, 4, interleaved, true);
    EXPECT_FALSE(FillWithChannelMeans(bgra.picture, histogramOf({1, 2})));
    EXPECT_TRUE(FillWithChannelMeans(bgra.picture, histogramOf({1, 2, 3})));
    expectUntouched();
}

TEST_F(AveragingRefusals, pitchesWithoutRoomForALineAreRefused) {
    const auto shortened = [](SzPicBuf other, std::uint32_t pitch) {
        other.linePitch = pitch;
        return other;
    };
    constexpr std::uint32_t most = 4294967295U;
    for (const std::uint32_t pitch : {0U, 1U, 7U}) {
        SzPicBuf other = shortened(picture.picture, pitch);
        SzPicBuf otherSums = shortened(sums.picture, pitch == 7 ? 33 : pitch);
        EXPECT_FALSE(AccumulatePicture(other, sums.picture));
        EXPECT_FALSE(AccumulatePicture(picture.picture, otherSums));
        EXPECT_FALSE(DivideSums(otherSums, picture.picture, 1));
        EXPECT_FALSE(DivideSums(sums.picture, other, 1));
        EXPECT_FALSE(AverageLines(other, RowMeans));
        EXPECT_FALSE(AverageLines(other, ColumnMeans));
        EXPECT_FALSE(FillWithChannelMeans(other, histogram));
        EXPECT_FALSE(SubtractFromAverage(other, picture.picture, histogram));
        EXPECT_FALSE(SubtractFromAverage(picture.picture, other, histogram));
        other.width = other.height = most;
        EXPECT_FALSE(AverageLines(other, RowMeans));
        EXPECT_FALSE(FillWithChannelMeans(other, histogram));
    }
    expectUntouched();
}

TEST_F(AveragingRefusals, divisionByZeroIsRefused) {
    EXPECT_FALSE(DivideSums(sums.picture, picture.picture, 0));
    Pixels<float> floats(1, 1);
    EXPECT_FALSE(DivideSums(floats.picture, floats.picture, 0));
    expectUntouched();
}

TEST(AveragingMemory, pixelsOfMoreSamplesThanABlockAreHandled) {
    for (const std::uint32_t channels : {384U, 385U, 1000U}) {
        Pixels<std::uint16_t> picture(3, 2, channels);
        picture.fillWithNoise(10);
        std::vector<double> means(channels);
        for (std::uint32_t i = 0; i < channels; ++i)
            means[i] = i;
        std::vector<std::uint16_t> expected;
        for (std::uint32_t i = 0; i < 6 * channels; ++i)
            expected.push_back(static_cast<std::uint16_t>(i % channels));
        ASSERT_TRUE(AverageLines(picture.picture, RowMeans));
        ASSERT_TRUE(FillWithChannelMeans(picture.picture, histogramOf(means)));
        EXPECT_EQ(picture.samples(), expected);
        ASSERT_TRUE(SubtractFromAverage(picture.picture, picture.picture, histogramOf(means)));
        EXPECT_EQ(picture.samples(), expected);
    }
}

} // namespace
