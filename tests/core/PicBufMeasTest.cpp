// SPDX-License-Identifier: GPL-3.0-or-later
#include "PicBufMeas.h"

#include "ImageData.h"
#include "support/InstructionSets.h"
#include "support/Pictures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using Flag = CzHistoData::EzHistoDataFlag;
using Flags = QFlags<Flag>;

const Flags everything = Flag::Bins | Flag::MinMax | Flag::Mean | Flag::Deviation;

CzHistoData measured(const SzPicBuf& picture, Flags flags = everything, const QRect& region = QRect()) {
    CzHistoData histogram;
    EXPECT_TRUE(CzPicBufMeas::measureHistogram(histogram, picture, region, flags));
    return histogram;
}

HeapPicture mono(const std::vector<double>& samples, EzImageDataType type = EzImageDataType::UInt8,
                 std::uint32_t bitDepth = 0) {
    SzPicBufInfo format = pictureFormat(static_cast<std::uint32_t>(samples.size()), 1, 1, type);
    if (bitDepth != 0)
        format.bitDepth = bitDepth;
    HeapPicture picture(format);
    fillSamples(*picture, [&](std::uint32_t x, std::uint32_t, std::uint32_t) { return samples[x]; });
    return picture;
}

// ---- Against a plain computation ----

class Histogram : public EachInstructionSet {};
INSTANTIATE_TEST_SUITE_P(Levels, Histogram, instructionSets, instructionSetName);

TEST_P(Histogram, isTheOneOfAPlainComputationForEveryTypeLayoutAndPitch) {
    for (const SzPicBufInfo& format : pictureFormats(kernelSampleTypes(), {1, 2, 3, 4, 5, 49}))
        for (const bool isColor : {false, true}) {
            SCOPED_TRACE(formatName(format) + (isColor ? " colour" : ""));
            SzPicBufInfo coloured = format;
            coloured.isColor = isColor;
            const HeapPicture picture = patternPicture(coloured);
            const bool reversed = format.channels == 3 || (format.channels == 4 && isColor);
            const std::uint32_t channels = reversed ? 3 : format.channels;
            const CzHistoData histogram = measured(*picture);
            ASSERT_EQ(histogram.channels.size(), static_cast<int>(channels));
            const std::uint32_t shift = bytesPerSample(format.dataType) == 4 ? 16 : 0;
            EXPECT_EQ(histogram.binShift, shift);
            EXPECT_EQ(histogram.binCount, format.bitDepth == 8 ? 256U : 65536U);
            for (std::uint32_t channel = 0; channel < channels; ++channel) {
                std::vector<double> samples;
                for (std::uint32_t y = 0; y < format.height; ++y)
                    for (std::uint32_t x = 0; x < format.width; ++x)
                        samples.push_back(sampleAt(*picture, x, y, reversed ? 2 - channel : channel));
                const auto count = static_cast<double>(samples.size());
                double sum = 0;
                QVector<std::uint32_t> bins(static_cast<int>(histogram.binCount));
                for (const double sample : samples) {
                    sum += sample;
                    ++bins[static_cast<int>(std::floor(std::max(sample, 0.0) / std::exp2(shift)))];
                }
                double squares = 0;
                for (const double sample : samples)
                    squares += std::pow(sample - sum / count, 2);
                const CzHistoData::SzChannel& actual = histogram.channels.at(static_cast<int>(channel));
                EXPECT_EQ(actual.bins, bins);
                EXPECT_EQ(actual.minimum, *std::min_element(samples.begin(), samples.end()));
                EXPECT_EQ(actual.maximum, *std::max_element(samples.begin(), samples.end()));
                EXPECT_DOUBLE_EQ(actual.mean, sum / count);
                EXPECT_NEAR(actual.deviation, std::sqrt(squares / count), 1e-9 * actual.deviation);
            }
        }
}

/// Counts sample by sample, what exceeds the depth as its largest; the picture's lines are packed.
template <class T>
std::vector<std::vector<std::uint32_t>> plainCounts(const SzPicBuf& picture) {
    std::vector<std::vector<std::uint32_t>> counts(
        picture.channels, std::vector<std::uint32_t>(std::size_t{1} << picture.bitDepth));
    const auto* const samples = reinterpret_cast<const T*>(picture.data);
    for (std::size_t i = 0; i < std::size_t{picture.width} * picture.height * picture.channels; ++i)
        ++counts[i % picture.channels][std::min<std::size_t>(samples[i], counts[0].size() - 1)];
    return counts;
}

template <class T>
void expectPlainCounts(std::uint32_t width, std::uint32_t height, std::uint32_t channels,
                       const std::function<T(std::size_t)>& sampleOf,
                       std::uint32_t bitDepth = 8 * sizeof(T)) {
    const EzImageDataType type = sizeof(T) == 1 ? EzImageDataType::UInt8 : EzImageDataType::UInt16;
    SzPicBufInfo format = pictureFormat(width, height, channels, type);
    format.linePitch = width * channels * static_cast<std::uint32_t>(sizeof(T));
    format.bitDepth = bitDepth;
    SCOPED_TRACE(formatName(format));
    HeapPicture picture(format);
    for (std::size_t i = 0; i < std::size_t{width} * height * channels; ++i)
        reinterpret_cast<T*>(picture->data)[i] = sampleOf(i);
    const CzHistoData histogram = measured(*picture);
    const auto expected = plainCounts<T>(*picture);
    ASSERT_EQ(histogram.channels.size(), static_cast<int>(channels));
    for (std::uint32_t channel = 0; channel < channels; ++channel) {
        const std::uint32_t place = channels == 3 ? 2 - channel : channel;
        const QVector<std::uint32_t>& bins = histogram.channels[static_cast<int>(channel)].bins;
        EXPECT_TRUE(std::equal(expected[place].begin(), expected[place].end(), bins.begin(), bins.end()))
            << channel;
    }
}

template <class T>
class HistogramCounts : public testing::Test {};
using CountedTypes = testing::Types<std::uint8_t, std::uint16_t>;
TYPED_TEST_SUITE(HistogramCounts, CountedTypes);

TYPED_TEST(HistogramCounts, areThoseOfEachSampleForRunsOfAnyLength) {
    // Each line is a run of equal pixels and one other: lengths around powers of two are where counters end.
    for (std::uint32_t channels = 1; channels <= 4; ++channels)
        for (const std::uint32_t length : {254U, 255U, 256U, 257U, 510U, 511U, 512U, 513U, 514U, 1023U, 1024U,
                                           1025U, 4099U, 65535U, 65536U, 65537U})
            for (const std::uint32_t height : {1U, 3U})
                expectPlainCounts<TypeParam>(length, height, channels, [=](std::size_t i) {
                    const bool isLast = i / channels % length == length - 1;
                    return static_cast<TypeParam>(isLast ? ~(i % channels) : 7 * (i % channels));
                });
}

TYPED_TEST(HistogramCounts, areThoseOfEachSampleInNoise) {
    for (std::uint32_t channels = 1; channels <= 4; ++channels) {
        std::mt19937 random(channels);
        expectPlainCounts<TypeParam>(997, 301, channels,
                                     [&](std::size_t) { return static_cast<TypeParam>(random()); });
    }
}

// Up to 13 bits there are more counters for each value than beyond: runs, so that counters end, and what no
// sensor of that depth sends.
TEST(HistogramCountsOfDepths, areThoseOfEachSampleWithFewAndWithManyValues) {
    for (const std::uint32_t bitDepth : {1U, 12U, 13U, 14U})
        for (std::uint32_t channels = 1; channels <= 4; ++channels)
            for (const std::uint32_t width : {1U, 2U, 3U, 5U, 1023U, 4099U}) {
                std::mt19937 random(width);
                expectPlainCounts<std::uint16_t>(
                    width, 7, channels,
                    [&](std::size_t i) {
                        return static_cast<std::uint16_t>(i % 4096 < 3000 ? i % channels : random());
                    },
                    bitDepth);
            }
}

// ---- By hand ----

TEST(HistogramRules, flagsSayWhatIsMeasured) {
    const HeapPicture picture = mono({1, 3});
    const CzHistoData means = measured(*picture, Flag::Mean);
    EXPECT_EQ(means.binCount, 0U);
    ASSERT_EQ(means.channels.size(), 1);
    EXPECT_TRUE(means.channels[0].bins.isEmpty());
    EXPECT_EQ(means.channels[0].mean, 2.0);
    EXPECT_EQ(means.channels[0].maximum, 0.0);
    EXPECT_EQ(means.channels[0].deviation, 0.0);

    const CzHistoData extremes = measured(*picture, Flag::MinMax);
    EXPECT_EQ(extremes.channels[0].minimum, 1.0);
    EXPECT_EQ(extremes.channels[0].maximum, 3.0);
    EXPECT_EQ(extremes.channels[0].mean, 0.0);

    const CzHistoData deviation = measured(*picture, Flag::Deviation);
    EXPECT_EQ(deviation.channels[0].deviation, 1.0);
    EXPECT_EQ(deviation.channels[0].mean, 0.0);

    const CzHistoData bins = measured(*picture, Flag::Bins);
    EXPECT_EQ(bins.channels[0].bins.size(), 256);
    EXPECT_EQ(bins.channels[0].bins[3], 1U);
    EXPECT_EQ(measured(*picture, Flags()).channels.size(), 1);
}

TEST(HistogramRules, thereAreAsManyBinsAsSampleValuesUpTo16Bits) {
    const auto layout = [](EzImageDataType type, std::uint32_t bitDepth) {
        const CzHistoData histogram = measured(*mono({1}, type, bitDepth));
        EXPECT_EQ(histogram.channels[0].bins.size(), static_cast<int>(histogram.binCount));
        return std::pair(histogram.binCount, histogram.binShift);
    };
    EXPECT_EQ(layout(EzImageDataType::UInt8, 8), std::pair(256U, 0U));
    EXPECT_EQ(layout(EzImageDataType::UInt8, 1), std::pair(2U, 0U));
    EXPECT_EQ(layout(EzImageDataType::UInt16, 12), std::pair(4096U, 0U));
    EXPECT_EQ(layout(EzImageDataType::UInt16, 16), std::pair(65536U, 0U));
    EXPECT_EQ(layout(EzImageDataType::UInt32, 17), std::pair(65536U, 1U));
    EXPECT_EQ(layout(EzImageDataType::UInt32, 32), std::pair(65536U, 16U));
    EXPECT_EQ(layout(EzImageDataType::UInt8, 12), std::pair(256U, 0U));
    EXPECT_EQ(layout(EzImageDataType::UInt32, 4294967295U), std::pair(65536U, 16U));
    HeapPicture noDepth = mono({1}, EzImageDataType::UInt16);
    noDepth->bitDepth = 0;
    EXPECT_EQ(measured(*noDepth).binCount, 65536U);
}

TEST(HistogramRules, samplesBeyondTheLastBinCountInIt) {
    const CzHistoData histogram = measured(*mono({14, 15, 16, 255}, EzImageDataType::UInt8, 4));
    EXPECT_EQ(histogram.channels[0].bins[14], 1U);
    EXPECT_EQ(histogram.channels[0].bins[15], 3U);
    EXPECT_EQ(histogram.channels[0].maximum, 255.0);
}

TEST(HistogramRules, floatsAreBinnedByTheirIntegerPartAndWhatIsNoNumberDoesNotCount) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const auto bins = measured(*mono({-5, 0.5, 2.9, 2.1, 3e9, 1e30, infinity, -infinity, std::nan("")},
                                     EzImageDataType::Float32, 16))
                          .channels[0]
                          .bins;
    EXPECT_EQ(bins[0], 3U);
    EXPECT_EQ(bins[2], 2U);
    EXPECT_EQ(bins[65535], 3U);

    const CzHistoData::SzChannel some =
        measured(*mono({std::nan(""), 2, 4, std::nan("")}, EzImageDataType::Float32)).channels[0];
    EXPECT_EQ(some.minimum, 2.0);
    EXPECT_EQ(some.maximum, 4.0);
    EXPECT_EQ(some.mean, 3.0);
    EXPECT_EQ(some.deviation, 1.0);
    const CzHistoData::SzChannel none = measured(*mono({std::nan("")}, EzImageDataType::Float32)).channels[0];
    EXPECT_EQ(none.minimum, 0.0);
    EXPECT_EQ(none.maximum, 0.0);
    EXPECT_EQ(none.mean, 0.0);
    EXPECT_EQ(none.deviation, 0.0);
}

TEST(HistogramRules, deviationOfAConstantPictureIsExactlyZero) {
    for (const double value : {65535.0, 4294967295.0, 1.0}) {
        const HeapPicture picture = mono(std::vector<double>(1001, value), EzImageDataType::UInt32);
        EXPECT_EQ(measured(*picture).channels[0].deviation, 0.0);
        EXPECT_EQ(measured(*picture).channels[0].mean, value);
    }
}

TEST(HistogramRules, regionIsClippedToThePicture) {
    SzPicBufInfo format = pictureFormat(4, 3, 2, EzImageDataType::UInt8, EzDataStorageFormat::Interleaved, 3);
    HeapPicture picture(format);
    fillSamples(*picture, [](std::uint32_t x, std::uint32_t y, std::uint32_t channel) {
        return 10.0 * y + x + 100.0 * channel;
    });
    const auto means = [&](const QRect& region) {
        const CzHistoData histogram = measured(*picture, everything, region);
        return std::vector<double>{histogram.channels[0].mean, histogram.channels[1].mean};
    };
    EXPECT_THAT(means(QRect(1, 1, 2, 1)), ElementsAre(11.5, 111.5));
    EXPECT_THAT(means(QRect(3, 2, 100, 100)), ElementsAre(23.0, 123.0));
    EXPECT_THAT(means(QRect(-5, -5, 6, 6)), ElementsAre(0.0, 100.0));
    EXPECT_THAT(means(QRect()), ElementsAre(11.5, 111.5));
    EXPECT_THAT(means(QRect(2, 2, 0, 1)), ElementsAre(11.5, 111.5)); // empty: all
}

TEST(HistogramRules, regionOfAPlanarPictureIsTheSameInEachPlane) {
    HeapPicture picture(pictureFormat(4, 3, 3, EzImageDataType::UInt16, EzDataStorageFormat::Planar, 2));
    fillSamples(*picture, [](std::uint32_t x, std::uint32_t y, std::uint32_t channel) {
        return 10.0 * y + x + 1000.0 * channel;
    });
    const CzHistoData histogram = measured(*picture, everything, QRect(1, 2, 1, 1));
    ASSERT_EQ(histogram.channels.size(), 3);
    EXPECT_EQ(histogram.channels[0].mean, 2021.0); // red comes last in the picture
    EXPECT_EQ(histogram.channels[2].mean, 21.0);
}

// ---- What has no histogram ----

TEST(HistogramRules, whatCannotBeMeasuredGivesFalseAndAnEmptyHistogram) {
    const auto refused = [](const SzPicBuf& picture, const QRect& region = QRect()) {
        CzHistoData histogram = measured(*mono({1, 2}));
        return !CzPicBufMeas::measureHistogram(histogram, picture, region, everything) &&
               histogram.channels.isEmpty() && histogram.binCount == 0 && histogram.binShift == 0;
    };
    EXPECT_TRUE(refused(SzPicBuf()));
    HeapPicture picture = mono({1, 2});
    EXPECT_TRUE(refused(*picture, QRect(2, 0, 5, 5)));
    EXPECT_TRUE(refused(*picture, QRect(0, -3, 2, 3)));
    const std::vector<EzImageDataType> measurable = kernelSampleTypes();
    for (const EzImageDataType type : allSampleTypes()) {
        const bool isMeasurable = std::count(measurable.begin(), measurable.end(), type) != 0;
        EXPECT_EQ(refused(*HeapPicture(pictureFormat(2, 2, 1, type))), !isMeasurable);
    }
    SzPicBuf changed = *picture;
    changed.width = 0;
    EXPECT_TRUE(refused(changed));
    changed = *picture;
    changed.linePitch = 1;
    EXPECT_TRUE(refused(changed));
    changed = *picture;
    changed.channels = 0;
    EXPECT_TRUE(refused(changed));
}

TEST(HistogramRules, pictureObjectsAreMeasuredLikeTheirPictures) {
    CzHistoData histogram = measured(*mono({7}));
    const CzImageData* const nothing = nullptr;
    EXPECT_FALSE(CzPicBufMeas::measureHistogram(histogram, nothing, QRect(), everything));
    EXPECT_TRUE(histogram.channels.isEmpty());
    CzImageData image;
    EXPECT_FALSE(CzPicBufMeas::measureHistogram(histogram, &image, QRect(), everything));
    image.setPicBuf(mono({3, 5}).release());
    EXPECT_TRUE(CzPicBufMeas::measureHistogram(histogram, &image, QRect(), everything));
    EXPECT_EQ(histogram.channels[0].mean, 4.0);
}

} // namespace
