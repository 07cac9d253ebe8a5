// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT.h"

#include "support/InstructionSets.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace {

using Complex = std::complex<double>;

constexpr double pi = 3.14159265358979323846;

/// What a sample at position contributes to a frequency.
Complex phase(std::int64_t frequency, std::int64_t position, std::int64_t length) {
    // Reduced before it becomes inexact.
    const std::int64_t turns = ((frequency * position) % length + length) % length;
    return std::polar(1.0, -2.0 * pi * static_cast<double>(turns) / static_cast<double>(length));
}

/// The definition, frequency index − ⌊N / 2⌋ at each index.
std::vector<Complex> plainTransform(const std::vector<float>& samples) {
    const auto length = static_cast<std::int64_t>(samples.size());
    std::vector<Complex> result(samples.size());
    for (std::int64_t i = 0; i < length; ++i)
        for (std::int64_t x = 0; x < length; ++x)
            result[std::size_t(i)] += double(samples[std::size_t(x)]) * phase(i - length / 2, x, length);
    return result;
}

/// A transform of one line, freed with its scope.
class Line {
public:
    explicit Line(int length) : allocated(CzFFT::Alloc1D(length, a, b, c)) {
        real.assign(allocated ? std::size_t(length) : 0, 9.0F);
        imaginary = real;
    }
    ~Line() { CzFFT::Free1D(a, b, c); }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    bool calculate(std::vector<float> samples) {
        return CzFFT::Calc1D(samples.data(), real.data(), imaginary.data(), a, b, c);
    }

    void* a = this; // not null, so that a refusal shows
    void* b = this;
    void* c = this;
    bool allocated;
    std::vector<float> real;
    std::vector<float> imaginary;
};

/// A transform of a picture and its result, freed with their scope.
class Picture {
public:
    explicit Picture(const SzPicBufInfo& format, std::uint32_t paddingSamples = 0) {
        allocated = CzFFT::Alloc2D(format, a, b, c);
        const SzPicBufInfo result =
            pictureFormat(format.width, format.height, 1, EzImageDataType::SpectrumFloat32,
                          EzDataStorageFormat::Interleaved, paddingSamples);
        real = HeapPicture(result);
        imaginary = HeapPicture(result);
    }
    ~Picture() { CzFFT::Free2D(a, b, c); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    bool calculate(const SzPicBuf& input) { return CzFFT::Calc2D(input, *real, *imaginary, a, b, c); }

    Complex at(std::uint32_t x, std::uint32_t y) const {
        return {double(rawSample<float>(*real, x, y)), double(rawSample<float>(*imaginary, x, y))};
    }

    void* a = this;
    void* b = this;
    void* c = this;
    bool allocated;
    HeapPicture real;
    HeapPicture imaginary;
};

/// The definition in two dimensions, one after the other.
std::vector<std::vector<Complex>> plainTransform(const SzPicBuf& input) {
    const auto width = std::int64_t(input.width);
    const auto height = std::int64_t(input.height);
    std::vector<std::vector<Complex>> rows(input.height, std::vector<Complex>(input.width));
    for (std::int64_t y = 0; y < height; ++y)
        for (std::int64_t i = 0; i < width; ++i)
            for (std::int64_t x = 0; x < width; ++x)
                rows[std::size_t(y)][std::size_t(i)] +=
                    sampleAt(input, std::uint32_t(x), std::uint32_t(y)) * phase(i - width / 2, x, width);
    std::vector<std::vector<Complex>> result(input.height, std::vector<Complex>(input.width));
    for (std::int64_t j = 0; j < height; ++j)
        for (std::int64_t i = 0; i < width; ++i)
            for (std::int64_t y = 0; y < height; ++y)
                result[std::size_t(j)][std::size_t(i)] +=
                    rows[std::size_t(y)][std::size_t(i)] * phase(j - height / 2, y, height);
    return result;
}

std::vector<float> randomLine(int length) {
    std::mt19937 random(static_cast<unsigned>(length));
    std::vector<float> samples(static_cast<std::size_t>(length));
    for (float& sample : samples)
        sample = static_cast<float>(random() % 65536) / 16.0F;
    return samples;
}

// ---- Lines ----

TEST(Fft1D, FourSamplesByHand) {
    Line line(4);
    ASSERT_TRUE(line.allocated);
    ASSERT_TRUE(line.calculate({1, 2, 3, 4}));
    EXPECT_EQ(line.real, (std::vector<float>{-2, -2, 10, -2}));
    EXPECT_EQ(line.imaginary, (std::vector<float>{0, -2, 0, 2}));
}

TEST(Fft1D, ZeroFrequencyOfOddLengthsLiesInTheMiddle) {
    Line line(5);
    ASSERT_TRUE(line.calculate({1, 0, 0, 0, 0})); // all frequencies alike
    for (const float value : line.real)
        EXPECT_NEAR(value, 1.0F, 1e-6F);
    ASSERT_TRUE(line.calculate({2, 2, 2, 2, 2}));
    EXPECT_EQ(line.real, (std::vector<float>{0, 0, 10, 0, 0}));
    EXPECT_EQ(line.imaginary, (std::vector<float>{0, 0, 0, 0, 0}));
}

TEST(Fft1D, OneAndTwoSamples) {
    Line one(1);
    ASSERT_TRUE(one.calculate({7}));
    EXPECT_EQ(one.real, std::vector<float>{7});
    EXPECT_EQ(one.imaginary, std::vector<float>{0});
    Line two(2);
    ASSERT_TRUE(two.calculate({7, 4}));
    EXPECT_EQ(two.real, (std::vector<float>{3, 11}));
    EXPECT_EQ(two.imaginary, (std::vector<float>{0, 0}));
}

TEST(Fft1D, EveryLengthAgreesWithTheDefinition) {
    for (const int length : {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 31, 64, 97, 100, 385}) {
        const std::vector<float> samples = randomLine(length);
        const std::vector<Complex> expected = plainTransform(samples);
        Line line(length);
        ASSERT_TRUE(line.calculate(samples));
        for (std::size_t i = 0; i < samples.size(); ++i) {
            EXPECT_NEAR(line.real[i], expected[i].real(), 0.004 * length) << length << " at " << i;
            EXPECT_NEAR(line.imaginary[i], expected[i].imag(), 0.004 * length) << length << " at " << i;
        }
    }
}

TEST(Fft1D, ConstantLineIsExactlyZeroButForFrequencyZero) {
    for (const int length : {2, 3, 7, 640, 1023})
        for (const float value : {1.0F, 0.1F, 65535.0F, 12345.678F}) {
            Line line(length);
            ASSERT_TRUE(line.calculate(std::vector<float>(std::size_t(length), value)));
            for (int i = 0; i < length; ++i) {
                EXPECT_EQ(line.imaginary[std::size_t(i)], 0.0F);
                const float expected = i == length / 2 ? line.real[std::size_t(i)] : 0.0F;
                EXPECT_EQ(line.real[std::size_t(i)], expected) << length << " at " << i;
            }
            EXPECT_FLOAT_EQ(line.real[std::size_t(length / 2)], static_cast<float>(length) * value);
        }
}

TEST(Fft1D, LargeMeanLeavesTheSmallWaveAsItIs) {
    constexpr int length = 1024;
    std::vector<float> samples(length);
    for (int i = 0; i < length; ++i)
        samples[std::size_t(i)] = static_cast<float>(60000.0 + std::cos(2 * pi * 8 * i / length));
    Line line(length);
    ASSERT_TRUE(line.calculate(samples));
    EXPECT_NEAR(line.real[length / 2 + 8], 512.0, 0.5);
    EXPECT_NEAR(line.real[length / 2 - 8], 512.0, 0.5);
    for (int i = 0; i < length; ++i) {
        const bool isPeak = std::abs(std::abs(i - length / 2) - 4) == 4; // of the mean or of the wave
        EXPECT_TRUE(isPeak || std::abs(line.real[std::size_t(i)]) < 0.5F) << i;
    }
}

TEST(Fft1D, InputStaysAsItIs) {
    std::vector<float> samples{1, 5, 2, 8, 3};
    Line line(5);
    ASSERT_TRUE(
        CzFFT::Calc1D(samples.data(), line.real.data(), line.imaginary.data(), line.a, line.b, line.c));
    EXPECT_EQ(samples, (std::vector<float>{1, 5, 2, 8, 3}));
}

TEST(Fft1D, LengthsBelowOneAndBeyondAnyPictureAreRefused) {
    for (const int length : {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        const Line line(length);
        EXPECT_FALSE(line.allocated);
        EXPECT_EQ(line.a, nullptr);
        EXPECT_EQ(line.b, nullptr);
        EXPECT_EQ(line.c, nullptr);
    }
}

TEST(Fft1D, WhatWasNeverAllocatedCalculatesNothing) {
    float samples[4] = {1, 2, 3, 4};
    float real[4] = {9, 9, 9, 9};
    float imaginary[4] = {9, 9, 9, 9};
    EXPECT_FALSE(CzFFT::Calc1D(samples, real, imaginary, nullptr, nullptr, nullptr));
    EXPECT_EQ(real[2], 9.0F);
    Line line(4);
    EXPECT_FALSE(CzFFT::Calc1D(nullptr, real, imaginary, line.a, line.b, line.c));
    EXPECT_FALSE(CzFFT::Calc1D(samples, nullptr, imaginary, line.a, line.b, line.c));
    EXPECT_FALSE(CzFFT::Calc1D(samples, real, nullptr, line.a, line.b, line.c));
    CzFFT::Free1D(nullptr, nullptr, nullptr);
}

// ---- Pictures ----

class Fft2D : public EachInstructionSet {};
INSTANTIATE_TEST_SUITE_P(All, Fft2D, instructionSets, instructionSetName);

void expectDefinition(const SzPicBuf& input, std::uint32_t padding) {
    SCOPED_TRACE(formatName(input));
    Picture picture(input, padding);
    ASSERT_TRUE(picture.allocated);
    ASSERT_TRUE(picture.calculate(input));
    const auto expected = plainTransform(input);
    const double largest = std::ldexp(1.0, int(input.bitDepth)) * input.width * input.height;
    for (std::uint32_t y = 0; y < input.height; ++y)
        for (std::uint32_t x = 0; x < input.width; ++x)
            ASSERT_LT(std::abs(picture.at(x, y) - expected[y][x]), 3e-7 * largest) << x << ", " << y;
}

TEST_P(Fft2D, EverySizeSampleTypeAndPitchAgreesWithTheDefinition) {
    auto sizes = pictureSizes();
    sizes.insert(sizes.end(),
                 {{1, 2}, {2, 1}, {2, 3}, {5, 4}, {15, 6}, {17, 32}, {31, 18}, {34, 1}, {48, 9}});
    for (const EzImageDataType type : {EzImageDataType::UInt8, EzImageDataType::UInt16})
        for (const auto& [width, height] : sizes)
            for (const std::uint32_t padding : {0U, 5U}) {
                const HeapPicture input = patternPicture(
                    pictureFormat(width, height, 1, type, EzDataStorageFormat::Interleaved, padding));
                expectDefinition(*input, padding);
            }
}

// Once alone, with a factor beside it, and twice or beside another one, which is one too many.
TEST_P(Fft2D, HeightsWithLargePrimeFactorsAgreeWithTheDefinition) {
    for (const std::uint32_t height : {17U, 34U, 85U,  68U, 38U, 23U,  58U, 93U,  74U,  41U,
                                       86U, 47U, 106U, 59U, 61U, 122U, 67U, 134U, 289U, 323U})
        for (const std::uint32_t width : {1U, 21U}) {
            const HeapPicture input =
                patternPicture(pictureFormat(width, height, 1, EzImageDataType::UInt16));
            expectDefinition(*input, 0);
        }
}

TEST_P(Fft2D, ConstantPictureIsExactlyZeroButForFrequencyZero) {
    for (const auto& [width, height] : {std::pair{1U, 1U}, {2U, 3U}, {5U, 4U}, {33U, 17U}, {64U, 48U}})
        for (const double value : {0.0, 1.0, 77.0, 65535.0}) {
            HeapPicture input(pictureFormat(width, height, 1, EzImageDataType::UInt16));
            fillSamples(*input, [&](auto...) { return value; });
            Picture picture(*input);
            ASSERT_TRUE(picture.calculate(*input));
            for (std::uint32_t y = 0; y < height; ++y)
                for (std::uint32_t x = 0; x < width; ++x)
                    EXPECT_EQ(picture.at(x, y), Complex(x == width / 2 && y == height / 2
                                                            ? static_cast<float>(value * width * height)
                                                            : 0.0F))
                        << width << " x " << height << " at " << x << ", " << y;
        }
}

TEST_P(Fft2D, StripesOfPeriodEightHaveTheirPeaksAtAnEighthOfTheSize) {
    constexpr std::uint32_t width = 64;
    constexpr std::uint32_t height = 40;
    HeapPicture input(pictureFormat(width, height, 1, EzImageDataType::UInt8));
    fillSamples(*input,
                [](std::uint32_t x, auto...) { return std::round(128 + 100 * std::cos(2 * pi * x / 8)); });
    Picture picture(*input);
    ASSERT_TRUE(picture.calculate(*input));
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x) {
            const double amplitude = std::abs(picture.at(x, y)) / (width * height);
            const bool isMean = y == height / 2 && x == width / 2;
            const bool isPeak = y == height / 2 && (x == width / 2 - 8 || x == width / 2 + 8);
            EXPECT_NEAR(amplitude, isMean ? 128.0 : isPeak ? 50.0 : 0.0, 0.5) << x << ", " << y;
        }
}

TEST_P(Fft2D, OppositeFrequenciesAreConjugates) {
    for (const auto& [width, height] : {std::pair{34U, 18U}, {33U, 17U}, {33U, 18U}, {34U, 17U}}) {
        const HeapPicture input = patternPicture(pictureFormat(width, height, 1, EzImageDataType::UInt8));
        Picture picture(*input);
        ASSERT_TRUE(picture.calculate(*input));
        for (std::uint32_t y = 0; y < height; ++y)
            for (std::uint32_t x = 0; x < width; ++x) {
                const std::uint32_t oppositeX = (2 * (width / 2) + width - x) % width;
                const std::uint32_t oppositeY = (2 * (height / 2) + height - y) % height;
                const double largest = 256.0 * width * height;
                EXPECT_LT(std::abs(picture.at(x, y) - std::conj(picture.at(oppositeX, oppositeY))),
                          3e-7 * largest);
            }
    }
}

TEST_P(Fft2D, NoNumberOfThreadsChangesABit) {
    for (const std::uint32_t height : {509U, 510U}) { // 510 is 17 · 30
        const HeapPicture input = patternPicture(pictureFormat(701, height, 1, EzImageDataType::UInt16));
        const int before = omp_get_max_threads();
        omp_set_num_threads(1);
        Picture one(*input);
        ASSERT_TRUE(one.calculate(*input));
        for (const int threads : {2, 3, 8}) {
            omp_set_num_threads(threads);
            Picture several(*input);
            omp_set_num_threads(threads == 3 ? 1 : threads); // may differ between allocation and use
            ASSERT_TRUE(several.calculate(*input));
            EXPECT_TRUE(samePixels(*several.real, *one.real)) << threads;
            EXPECT_TRUE(samePixels(*several.imaginary, *one.imaginary)) << threads;
        }
        omp_set_num_threads(before);
    }
}

TEST(Fft2DLimits, ZeroFrequencyOfABrightLargePictureIsTheSumOfItsSamples) {
    HeapPicture input(pictureFormat(70000, 3, 1, EzImageDataType::UInt16));
    fillSamples(*input, [](auto...) { return 65535.0; });
    setSample(*input, 69999, 2, 0, 0.0);
    Picture picture(*input);
    ASSERT_TRUE(picture.calculate(*input));
    EXPECT_EQ(picture.at(35000, 1), Complex(static_cast<float>(65535.0 * 209999)));
}

TEST(Fft2DLimits, OtherSampleTypesAndEmptyOrAbsurdSizesAreRefused) {
    std::vector<SzPicBufInfo> refused;
    for (const EzImageDataType type : allSampleTypes())
        if (type != EzImageDataType::UInt8 && type != EzImageDataType::UInt16)
            refused.push_back(pictureFormat(4, 4, 1, type));
    constexpr std::uint32_t huge = std::numeric_limits<std::uint32_t>::max();
    constexpr std::uint32_t large = 1U << 24;
    for (const auto& [width, height] :
         {std::pair{0U, 4U}, {4U, 0U}, {0U, 0U}, {huge, 1U}, {1U, huge}, {huge, huge}, {large, large}})
        refused.push_back(pictureFormat(width, height, 1, EzImageDataType::UInt8));
    for (const SzPicBufInfo& format : refused) {
        int marker = 0;
        void* a = &marker;
        void* b = &marker;
        void* c = &marker;
        EXPECT_FALSE(CzFFT::Alloc2D(format, a, b, c)) << formatName(format);
        EXPECT_EQ(a, nullptr);
        EXPECT_EQ(b, nullptr);
        EXPECT_EQ(c, nullptr);
        CzFFT::Free2D(a, b, c);
    }
}

TEST(Fft2DLimits, PicturesThatDoNotFitTheTransformAreRefusedAndNothingIsWritten) {
    const SzPicBufInfo format = pictureFormat(6, 4, 1, EzImageDataType::UInt8);
    const HeapPicture input = patternPicture(format);
    Picture picture(format);
    ASSERT_TRUE(picture.allocated);
    fillSamples(*picture.real, [](auto...) { return 9.0; });
    fillSamples(*picture.imaginary, [](auto...) { return 9.0; });

    for (const SzPicBufInfo& other :
         {pictureFormat(7, 4, 1, EzImageDataType::UInt8), pictureFormat(5, 4, 1, EzImageDataType::UInt8),
          pictureFormat(6, 5, 1, EzImageDataType::UInt8), pictureFormat(6, 4, 3, EzImageDataType::UInt8),
          pictureFormat(6, 4, 1, EzImageDataType::UInt16), pictureFormat(6, 4, 1, EzImageDataType::Int8)})
        EXPECT_FALSE(picture.calculate(*patternPicture(other))) << formatName(other);
    SzPicBuf noData = *input;
    noData.data = nullptr;
    EXPECT_FALSE(picture.calculate(noData));

    for (const SzPicBufInfo& other : {pictureFormat(7, 4, 1, EzImageDataType::SpectrumFloat32),
                                      pictureFormat(6, 3, 1, EzImageDataType::SpectrumFloat32),
                                      pictureFormat(6, 4, 2, EzImageDataType::SpectrumFloat32),
                                      pictureFormat(6, 4, 1, EzImageDataType::UInt16)}) {
        HeapPicture wrong(other);
        EXPECT_FALSE(CzFFT::Calc2D(*input, *wrong, *picture.imaginary, picture.a, picture.b, picture.c));
        EXPECT_FALSE(CzFFT::Calc2D(*input, *picture.real, *wrong, picture.a, picture.b, picture.c));
    }
    EXPECT_FALSE(CzFFT::Calc2D(*input, *picture.real, *picture.imaginary, nullptr, nullptr, nullptr));

    for (std::uint32_t y = 0; y < 4; ++y)
        for (std::uint32_t x = 0; x < 6; ++x)
            EXPECT_EQ(picture.at(x, y), Complex(9.0, 9.0));
    EXPECT_TRUE(picture.calculate(*input));
}

TEST(Fft2DLimits, ManyThreadsAllocateTransformAndFreeAtOnce) {
    std::vector<std::thread> users;
    std::vector<int> correct(4, 0);
    for (std::size_t user = 0; user < correct.size(); ++user)
        users.emplace_back([user, &correct] {
            for (std::uint32_t round = 0; round < 12; ++round) {
                const std::uint32_t size = 8 + (round * 5 + std::uint32_t(user)) % 23;
                HeapPicture input(pictureFormat(size, size + 1, 1, EzImageDataType::UInt8));
                setSample(*input, 0, 0, 0, 100.0); // all frequencies alike
                Picture picture(*input);
                Line line(static_cast<int>(size));
                std::vector<float> pulse(size);
                pulse[0] = 3.0F;
                if (!picture.calculate(*input) || !line.calculate(pulse))
                    continue;
                bool alike = true;
                for (std::uint32_t x = 0; x < size; ++x)
                    alike = alike && std::abs(picture.at(x, x) - 100.0) < 1e-3 &&
                            std::abs(line.real[x] - 3.0F) < 1e-4F;
                correct[user] += alike ? 1 : 0;
            }
        });
    for (std::thread& user : users)
        user.join();
    for (const int count : correct)
        EXPECT_EQ(count, 12);
}

} // namespace
