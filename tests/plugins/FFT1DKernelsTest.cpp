// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DKernels.h"

#include "TestPictures.h"
#include "support/InstructionSets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace {

using Floats = std::vector<float>;
using Doubles = std::vector<double>;

/// A picture in memory of exactly its size, so that the address sanitizer sees every step beyond.
template <class T>
struct ExactPicture {
    ExactPicture(std::uint32_t width, std::uint32_t height, std::uint32_t paddingSamples)
        : pitch(width + paddingSamples)
        , samples(std::size_t{pitch} * (height - 1) + width)
        , view{samples.data(), width, height, 1, pitch * sizeof(T)} {
        std::mt19937 random(width * 1000 + height);
        for (T& sample : samples)
            sample = static_cast<T>(random());
    }
    T at(std::size_t x, std::size_t y) const { return samples[y * pitch + x]; }

    std::uint32_t pitch;
    std::vector<T> samples;
    PictureView<const T> view;
};

bool sameBits(const Floats& a, const Floats& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

template <class T>
Floats plainRowMeans(const ExactPicture<T>& picture) {
    Floats means;
    for (std::uint32_t y = 0; y < picture.view.height; ++y) {
        volatile float sum = 0.0F; // one addition after the other
        for (std::uint32_t x = 0; x < picture.view.width; ++x)
            sum = sum + static_cast<float>(picture.at(x, y));
        means.push_back(sum / static_cast<float>(picture.view.width));
    }
    return means;
}

template <class T>
Floats plainColumnMeans(const ExactPicture<T>& picture) {
    Floats means;
    for (std::uint32_t x = 0; x < picture.view.width; ++x) {
        volatile float sum = 0.0F;
        for (std::uint32_t y = 0; y < picture.view.height; ++y)
            sum = sum + static_cast<float>(picture.at(x, y));
        means.push_back(sum / static_cast<float>(picture.view.height));
    }
    return means;
}

class FFT1DProfile : public EachInstructionSet {
protected:
    template <class T>
    static void compareWithThePlainSums() {
        for (const auto& [width, height] : {std::pair{1U, 1U},
                                            {1U, 7U},
                                            {7U, 1U},
                                            {2U, 8U},
                                            {3U, 5U},
                                            {8U, 8U},
                                            {9U, 17U},
                                            {16U, 16U},
                                            {17U, 9U},
                                            {33U, 23U},
                                            {640U, 33U},
                                            {41U, 640U},
                                            {643U, 8U},
                                            {523U, 31U},
                                            {601U, 77U}})
            for (const std::uint32_t padding : {0U, 3U}) {
                const ExactPicture<T> picture(width, height, padding);
                Floats rows(height, -1.0F);
                Floats columns(width, -1.0F);
                rowMeans(picture.view, rows.data());
                columnMeans(picture.view, columns.data());
                EXPECT_TRUE(sameBits(rows, plainRowMeans(picture))) << width << " x " << height;
                EXPECT_TRUE(sameBits(columns, plainColumnMeans(picture))) << width << " x " << height;
            }
    }
};
INSTANTIATE_TEST_SUITE_P(All, FFT1DProfile, instructionSets, instructionSetName);

TEST_P(FFT1DProfile, hasTheBitsOfSumsThatAreMadeStrictlyInOrder) {
    compareWithThePlainSums<std::uint8_t>();
    compareWithThePlainSums<std::uint16_t>();
}

/// Rows and columns whose sums pass the last number up to which single precision is exact, and such that do
/// not.
TEST_P(FFT1DProfile, hasTheSameBitsWhereSumsAreExactAndWhereTheyAreNot) {
    for (const auto& [width, height] : {std::pair{70001U, 9U}, {9U, 70001U}, {65793U, 3U}, {3U, 65793U}}) {
        ExactPicture<std::uint8_t> picture(width, height, 0);
        for (std::uint8_t& sample : picture.samples)
            sample = static_cast<std::uint8_t>(255 - sample % 3);
        Floats rows(height);
        Floats columns(width);
        rowMeans(picture.view, rows.data());
        columnMeans(picture.view, columns.data());
        EXPECT_TRUE(sameBits(rows, plainRowMeans(picture))) << width << " x " << height;
        EXPECT_TRUE(sameBits(columns, plainColumnMeans(picture))) << width << " x " << height;
    }
    for (const auto& [width, height] : {std::pair{4100U, 29U}, {4100U, 32U}, {4095U, 75U}})
        for (const std::uint32_t factor : {1U, 16U}) {
            ExactPicture<std::uint16_t> picture(width, height, 5);
            for (std::size_t i = 0; i < picture.samples.size(); ++i) // bright and dark rows in one group
                picture.samples[i] =
                    static_cast<std::uint16_t>(picture.samples[i] % (i % 8200 < 4100 ? 4096 : 64) * factor);
            Floats rows(height);
            rowMeans(picture.view, rows.data());
            EXPECT_TRUE(sameBits(rows, plainRowMeans(picture))) << width << " x " << height << ", " << factor;
        }
}

TEST_P(FFT1DProfile, ofLongRowsLosesWhatSinglePrecisionLoses) {
    // 2^24 + 1 has no single-precision number: ones that are added to 2^24 are lost one by one.
    constexpr std::uint32_t width = 257 + 100;
    constexpr std::uint32_t height = 40;
    ExactPicture<std::uint16_t> picture(width, height, 0);
    std::fill(picture.samples.begin(), picture.samples.end(), std::uint16_t{1});
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < 256; ++x)
            picture.samples[y * width + x] = 65535;
        picture.samples[y * width + 256] = 256; // 2^24 by now
    }
    Floats means(height);
    rowMeans(picture.view, means.data());
    for (const float mean : means)
        EXPECT_EQ(mean, 16777216.0F / width);
}

TEST(FFT1DMeanProfile, ofRowsOrColumnsByHand) {
    auto frame = numberedFrame(pictureFormat(3, 2)); // 1 2 3 / 4 5 6
    Floats profile(3, 9.0F);
    EXPECT_TRUE(meanProfile(frame->picBuf(), false, profile.data(), 3));
    EXPECT_EQ(profile, (Floats{2.5F, 3.5F, 4.5F}));
    EXPECT_TRUE(meanProfile(frame->picBuf(), true, profile.data(), 2));
    EXPECT_EQ(profile, (Floats{2, 5, 4.5F}));
}

TEST(FFT1DMeanProfile, writesWhatFitsAndZerosBeyond) {
    SzPicBufInfo format = pictureFormat(3, 2, 1, EzImageDataType::UInt16);
    format.linePitch = 32;
    auto frame = numberedFrame(format);
    Floats profile(5, 9.0F);
    EXPECT_TRUE(meanProfile(frame->picBuf(), true, profile.data(), 5));
    EXPECT_EQ(profile, (Floats{2, 5, 0, 0, 0}));
    profile.assign(2, 9.0F);
    EXPECT_TRUE(meanProfile(frame->picBuf(), true, profile.data(), 1));
    EXPECT_EQ(profile, (Floats{2, 9}));
    EXPECT_TRUE(meanProfile(frame->picBuf(), false, profile.data(), 1));
    EXPECT_EQ(profile, (Floats{2.5F, 9}));
    EXPECT_TRUE(meanProfile(frame->picBuf(), false, nullptr, 0));
}

TEST(FFT1DMeanProfile, otherPicturesAreRefused) {
    float profile = 9.0F;
    EXPECT_FALSE(meanProfile(numberedFrame(pictureFormat(3, 2, 3))->picBuf(), true, &profile, 1));
    EXPECT_FALSE(meanProfile(numberedFrame(pictureFormat(3, 2, 1, EzImageDataType::UInt32))->picBuf(), true,
                             &profile, 1));
    SzPicBuf empty;
    empty.setPicFormat(pictureFormat(3, 2));
    EXPECT_FALSE(meanProfile(empty, true, &profile, 1));
    auto frame = numberedFrame(pictureFormat(3, 2, 1, EzImageDataType::UInt16));
    for (const std::uint32_t pitch : {0U, 4U, 7U}) { // shorter than a line, or with half a sample
        SzPicBuf wrong = frame->picBuf();
        wrong.linePitch = pitch;
        EXPECT_FALSE(meanProfile(wrong, true, &profile, 1)) << pitch;
        EXPECT_FALSE(meanProfile(wrong, false, &profile, 1)) << pitch;
    }
    EXPECT_EQ(profile, 9.0F);
}

TEST(FFT1DAmplitudes, areRootsOfSquaresAndTheirRangeIsTracked) {
    const Floats real{9, 9, 3, 0, -8};
    const Floats imaginary{9, 9, 4, 0, 6};
    Doubles amplitudes(3, 9.0);
    const SzAmplitudeRange range =
        spectrumAmplitudes(real.data(), imaginary.data(), 5, 2, amplitudes.data(), 3);
    EXPECT_EQ(amplitudes, (Doubles{5, 0, 10}));
    EXPECT_EQ(range.smallest, 0.0);
    EXPECT_EQ(range.largest, 10.0);
}

TEST(FFT1DAmplitudes, squareInSingleAndTakeTheRootInDoublePrecision) {
    const Floats real{3.3F, 1e-30F, 1e30F};
    const Floats imaginary{1.7F, 0.0F, 0.0F};
    Doubles amplitudes(3);
    spectrumAmplitudes(real.data(), imaginary.data(), 3, 0, amplitudes.data(), 3);
    volatile float re = 3.3F * 3.3F;
    volatile float im = 1.7F * 1.7F;
    const float squares = re + im;
    EXPECT_EQ(amplitudes[0], std::sqrt(static_cast<double>(squares)));
    EXPECT_NE(amplitudes[0], std::hypot(3.3, 1.7));
    EXPECT_EQ(amplitudes[1], 0.0); // its square is too small for single precision
    EXPECT_EQ(amplitudes[2], std::numeric_limits<double>::infinity());
}

TEST(FFT1DAmplitudes, withoutAnyTheRangeIsEmpty) {
    const SzAmplitudeRange range = spectrumAmplitudes(nullptr, nullptr, 1, 1, nullptr, 0);
    EXPECT_EQ(range.smallest, std::numeric_limits<double>::max());
    EXPECT_EQ(range.largest, 0.0);
}

TEST(FFT1DAmplitudes, moreThanThereIsRoomForAreDroppedAndPlacesBeyondTheSpectrumAreZero) {
    const Floats real{1, 2, 3, 4, 100};
    const Floats imaginary(5, 0.0F);
    Doubles two(2, 9.0);
    EXPECT_EQ(spectrumAmplitudes(real.data(), imaginary.data(), 5, 2, two.data(), 2).largest, 4.0);
    EXPECT_EQ(two, (Doubles{3, 4}));
    Doubles four(4, 9.0);
    EXPECT_EQ(spectrumAmplitudes(real.data(), imaginary.data(), 5, 3, four.data(), 4).smallest, 4.0);
    EXPECT_EQ(four, (Doubles{4, 100, 0, 0}));
}

} // namespace
