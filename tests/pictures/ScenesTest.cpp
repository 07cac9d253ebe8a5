// SPDX-License-Identifier: GPL-3.0-or-later
#include "Scenes.h"

#include "ImageData.h"
#include "PictureView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <vector>

namespace {

std::vector<std::uint32_t> samplesOf(const CzImageData& frame) {
    std::vector<std::uint32_t> samples;
    withSampleType(frame.picBuf().dataType, [&](auto sample) {
        const auto lines = view<const decltype(sample)>(frame.picBuf());
        for (std::uint32_t y = 0; y < lines.height; ++y)
            for (std::uint32_t x = 0; x < lines.width; ++x)
                samples.push_back(static_cast<std::uint32_t>(lines.row(y)[x]));
        return true;
    });
    return samples;
}

SzSceneSettings small(std::uint32_t seed = 1, std::uint32_t frame = 1) {
    SzSceneSettings settings;
    settings.width = 161;
    settings.height = 127;
    settings.seed = seed;
    settings.frame = frame;
    return settings;
}

class Scenes : public testing::TestWithParam<QString> {};

TEST_P(Scenes, TheSameSeedGivesTheSamePictureAndAnotherADifferentOne) {
    const auto samples = samplesOf(*renderScene(GetParam(), small()));
    EXPECT_EQ(samplesOf(*renderScene(GetParam(), small())), samples);
    EXPECT_NE(samplesOf(*renderScene(GetParam(), small(2))), samples);
    EXPECT_NE(samplesOf(*renderScene(GetParam(), small(1, 2))), samples);
}

TEST_P(Scenes, EveryBitDepthFillsItsRangeUpToSaturation) {
    for (const std::uint32_t bitDepth : {0U, 8U, 9U, 10U, 12U, 14U, 16U}) {
        SzSceneSettings settings = small();
        settings.bitDepth = bitDepth;
        const auto frame = renderScene(GetParam(), settings);
        const SzPicBuf& picture = frame->picBuf();
        if (bitDepth != 0) {
            EXPECT_EQ(picture.bitDepth, bitDepth);
        }
        EXPECT_EQ(picture.dataType, picture.bitDepth > 8 ? EzImageDataType::UInt16 : EzImageDataType::UInt8);
        EXPECT_EQ(picture.linePitch, packedLineBytes(picture));
        const auto samples = samplesOf(*frame);
        const std::uint32_t highest = (1U << picture.bitDepth) - 1;
        EXPECT_EQ(*std::max_element(samples.begin(), samples.end()), highest);
        EXPECT_LT(*std::min_element(samples.begin(), samples.end()), highest / 16);
        const auto saturated = std::count(samples.begin(), samples.end(), highest);
        EXPECT_GT(saturated, 3);
        EXPECT_LT(saturated, static_cast<std::ptrdiff_t>(samples.size() / 50));
    }
}

TEST_P(Scenes, SaltAndPepperFallsOnThePartThatIsAskedFor) {
    const auto plain = samplesOf(*renderScene(GetParam(), small()));
    for (const std::uint32_t percent : {0U, 20U, 100U}) {
        SzSceneSettings settings = small();
        settings.saltAndPepper = percent;
        const auto frame = renderScene(GetParam(), settings);
        const std::uint32_t white = (1U << frame->picBuf().bitDepth) - 1;
        const auto samples = samplesOf(*frame);
        std::size_t salt = 0;
        std::size_t pepper = 0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            if (samples[i] == plain[i])
                continue;
            EXPECT_TRUE(samples[i] == 0 || samples[i] == white) << samples[i];
            ++(samples[i] == 0 ? pepper : salt);
        }
        // Some fall on samples that are so already.
        const double half = double(samples.size()) * percent / 200;
        EXPECT_NEAR(double(salt), half, half / 10);
        EXPECT_NEAR(double(pepper), half, half / 10);
    }
}

TEST_P(Scenes, AnySizeCanBeRendered) {
    for (const auto& [width, height] :
         {std::pair{1U, 1U}, {1U, 40U}, {40U, 1U}, {2U, 2U}, {7U, 5U}, {33000U, 2U}}) {
        SzSceneSettings settings;
        settings.width = width;
        settings.height = height;
        const auto frame = renderScene(GetParam(), settings);
        ASSERT_TRUE(frame) << width << " × " << height;
        EXPECT_EQ(frame->picBuf().width, width);
        EXPECT_EQ(frame->picBuf().height, height);
    }
    SzSceneSettings empty;
    empty.width = 0;
    EXPECT_FALSE(renderScene(GetParam(), empty));
}

TEST_P(Scenes, MetadataDescribeTheSensor) {
    const auto frame = renderScene(GetParam(), small(1, 5));
    EXPECT_EQ(frame->frameNo(), 5);
    EXPECT_EQ(frame->picBuf().channels, 1U);
    EXPECT_EQ(frame->imageMetadata().colorFilterArray, frame->picBuf().colorFilterArray);
    const CzHsiCameraParams& sensor = frame->imageMetadata().hsiCameraParams;
    const bool isMosaic = frame->picBuf().colorFilterArray == EzColorFilterArray::Hyperspectral;
    EXPECT_EQ(sensor.isSimpleMosaicFilter(), isMosaic);
    EXPECT_EQ(frame->imageMetadata().mosaicName.isEmpty(), !isMosaic);
    if (isMosaic) {
        EXPECT_EQ(sensor.zones.at(0).right, 160);
        EXPECT_EQ(sensor.zones.at(0).bottom, 126);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Scenes, testing::ValuesIn(sceneNames()),
                         [](const auto& scene) { return scene.param.toStdString(); });

TEST(SceneSensors, AreTheOnesTheirNamesPromise) {
    const auto bayer = renderScene("bayer", small());
    EXPECT_EQ(bayer->picBuf().colorFilterArray, EzColorFilterArray::BayerRGGB);
    EXPECT_EQ(bayer->picBuf().bitDepth, 12U);

    const auto rgbNir = renderScene("rgbnir", small());
    const CzHsiCameraParams& sensor = rgbNir->imageMetadata().hsiCameraParams;
    EXPECT_TRUE(sensor.isRgbNirCamera());
    EXPECT_EQ(rgbNir->picBuf().bitDepth, 12U);
    ASSERT_EQ(sensor.totalBandCountInAllZones(), 4);
    const QStringList names = {"NIR", "B", "R", "G"};
    for (int band = 0; band < 4; ++band)
        EXPECT_EQ(sensor.zones.at(0).bands.at(band).name(), names.at(band));

    for (const auto& [scene, cell, first, last] :
         {std::tuple{"hsi4x4", 4U, 470.0, 620.0}, std::tuple{"hsi5x5", 5U, 675.0, 960.0}}) {
        const auto frame = renderScene(scene, small());
        EXPECT_EQ(frame->picBuf().bitDepth, 10U);
        const auto& zone = frame->imageMetadata().hsiCameraParams.zones.at(0);
        EXPECT_EQ(zone.cellWidth, cell);
        EXPECT_EQ(zone.cellHeight, cell);
        const QVector<int> order = zone.sortedBandIdxs(false);
        ASSERT_EQ(order.size(), static_cast<int>(cell * cell));
        EXPECT_NEAR(zone.bands.at(order.first()).wavelength(), first, 0.01);
        EXPECT_NEAR(zone.bands.at(order.last()).wavelength(), last, 0.01);
    }
    EXPECT_FALSE(renderScene("unknown", small()));
}

TEST(SceneLight, LeavesAreBrightInTheNearInfraredAlone) {
    SzSceneSettings settings;
    settings.width = 320;
    settings.height = 256;
    const auto frame = renderScene("rgbnir", settings);
    const auto lines = view<const std::uint16_t>(frame->picBuf());
    // The lowest lines are meadow: even ones hold NIR and blue, odd ones red and green.
    double sums[4] = {};
    for (std::uint32_t y = 250; y < 256; ++y)
        for (std::uint32_t x = 0; x < 320; ++x)
            sums[y % 2 * 2 + x % 2] += lines.row(y)[x];
    EXPECT_GT(sums[0], 2.5 * sums[3]);
    EXPECT_GT(sums[3], sums[2]);
    EXPECT_GT(sums[2], 0.5 * sums[1]);
}

TEST(SceneNoise, ItsVarianceGrowsWithTheLight) {
    // Mean and variance of each pixel over frames of a scene in which nothing moves.
    constexpr int frames = 60;
    std::vector<double> sums;
    std::vector<double> squares;
    for (int frame = 1; frame <= frames; ++frame) {
        const auto samples = samplesOf(*renderScene("mono", small(3, static_cast<std::uint32_t>(frame))));
        sums.resize(samples.size());
        squares.resize(samples.size());
        for (std::size_t i = 0; i < samples.size(); ++i) {
            sums[i] += samples[i];
            squares[i] += double(samples[i]) * samples[i];
        }
    }
    std::map<int, std::pair<double, int>> variances; // by classes of 512 in the mean
    for (std::size_t i = 0; i < sums.size(); ++i) {
        const double mean = sums[i] / frames;
        auto& [sum, count] = variances[static_cast<int>(mean / 512)];
        sum += (squares[i] - sums[i] * mean) / (frames - 1);
        ++count;
    }
    // 12 bits over 11000 electrons above a black level of 64: a variance of gain² × (electrons + 6²).
    constexpr double gain = (4095.0 - 64) / 11000;
    int compared = 0;
    for (const auto& [level, statistic] : variances)
        if (level < 6 && statistic.second > 200) {
            const double electrons = (level * 512 + 256 - 64) / gain;
            EXPECT_NEAR(statistic.first / statistic.second / (gain * gain * (electrons + 36)), 1.0, 0.6)
                << level;
            ++compared;
        }
    EXPECT_GE(compared, 4);
}

TEST(SceneSequence, ThingsMoveOverAStillBackground) {
    const auto first = samplesOf(*renderScene("sequence", small(1, 1)));
    const auto later = samplesOf(*renderScene("sequence", small(1, 16)));
    const auto stillFirst = samplesOf(*renderScene("mono", small(1, 1)));
    const auto stillLater = samplesOf(*renderScene("mono", small(1, 16)));
    const auto bigChanges = [](const auto& a, const auto& b) {
        std::size_t count = 0;
        for (std::size_t i = 0; i < a.size(); ++i)
            count += std::abs(int(a[i]) - int(b[i])) > 1000 ? 1U : 0U;
        return count;
    };
    EXPECT_EQ(bigChanges(stillFirst, stillLater), 0U);
    EXPECT_GT(bigChanges(first, later), first.size() / 200);
    EXPECT_LT(bigChanges(first, later), first.size() / 5);
}

TEST_P(Scenes, DifferByTheirNoiseAlone) {
    SzSceneSettings first = small(1, 1);
    SzSceneSettings second = small(1, 2);
    first.noise = second.noise = 0.0F;
    EXPECT_EQ(samplesOf(*renderScene(GetParam(), first)) == samplesOf(*renderScene(GetParam(), second)),
              !sceneMoves(GetParam(), first));
    first.moves = second.moves = true;
    EXPECT_TRUE(sceneMoves(GetParam(), first));
    EXPECT_NE(samplesOf(*renderScene(GetParam(), first)), samplesOf(*renderScene(GetParam(), second)));
}

TEST(SceneNoise, GrowsWithItsFactor) {
    SzSceneSettings settings = small();
    const auto deviation = [&](float noise) {
        settings.noise = 0.0F;
        const auto exact = samplesOf(*renderScene("mono", settings));
        settings.noise = noise;
        const auto noisy = samplesOf(*renderScene("mono", settings));
        double squares = 0;
        int count = 0;
        for (std::size_t i = 0; i < exact.size(); ++i)
            if (exact[i] > 600 && exact[i] < 3000) { // far from both ends
                const double change = double(noisy[i]) - double(exact[i]);
                squares += change * change;
                ++count;
            }
        EXPECT_GT(count, 5000);
        return std::sqrt(squares / count);
    };
    EXPECT_NEAR(deviation(3.0F) / deviation(1.0F), 3.0, 0.05);
}

TEST(SceneSequence, IsNoisierThanAStill) {
    const auto meanChange = [](const QString& scene) {
        const auto a = samplesOf(*renderScene(scene, small(1, 1)));
        const auto b = samplesOf(*renderScene(scene, small(1, 2)));
        std::vector<int> changes;
        for (std::size_t i = 0; i < a.size(); ++i)
            changes.push_back(std::abs(int(a[i]) - int(b[i])));
        std::nth_element(changes.begin(), changes.begin() + changes.size() / 2, changes.end());
        return changes[changes.size() / 2];
    };
    EXPECT_GT(meanChange("sequence"), 3 * meanChange("mono"));
}

TEST(SceneStripes, RepeatEveryTwentyPixels) {
    SzSceneSettings settings = small();
    settings.width = 200;
    const auto samples = samplesOf(*renderScene("stripes", settings));
    std::vector<double> columns(settings.width, 0.0);
    for (std::size_t y = settings.height / 2; y < settings.height; ++y) // below the mirror
        for (std::size_t x = 0; x < settings.width; ++x)
            columns[x] += samples[y * settings.width + x];
    double darkest = columns[10];
    double brightest = columns[0];
    for (std::size_t x = 0; x < settings.width; ++x) {
        double& outermost = x % 20 < 10 ? brightest : darkest; // black comes first
        outermost = x % 20 < 10 ? std::max(outermost, columns[x]) : std::min(outermost, columns[x]);
    }
    EXPECT_GT(darkest, 5 * brightest);
}

TEST(SceneDefocus, KeepsTheLightAndLosesTheDetail) {
    SzSceneSettings settings;
    settings.width = 400;
    settings.height = 320; // discs of a radius of 3 pixels
    const auto sharp = samplesOf(*renderScene("mono", settings));
    const auto blurred = samplesOf(*renderScene("defocus", settings));
    const auto sumOf = [](const auto& samples) {
        return std::accumulate(samples.begin(), samples.end(), 0.0);
    };
    EXPECT_NEAR(sumOf(blurred) / sumOf(sharp), 1.0, 0.01);
    const auto detailOf = [](const auto& samples) {
        double sum = 0.0;
        for (std::size_t i = 1; i < samples.size(); ++i)
            sum += std::abs(double(samples[i]) - double(samples[i - 1]));
        return sum;
    };
    EXPECT_LT(detailOf(blurred), 0.5 * detailOf(sharp));
}

} // namespace
