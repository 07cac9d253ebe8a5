// SPDX-License-Identifier: GPL-3.0-or-later
#include "RotateImageKernels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr auto clockwise = EzQuarterTurn::Clockwise;
constexpr auto counterclockwise = EzQuarterTurn::Counterclockwise;

constexpr int untouched = 238;

/// Samples in memory of exactly their size, so that the address sanitizer sees any step beyond.
template <class T>
struct Samples {
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t channels;
    std::uint32_t padding; ///< samples behind each line
    std::vector<T> memory;

    Samples(std::uint32_t w, std::uint32_t h, std::uint32_t c = 1, std::uint32_t pad = 0)
        : width(w), height(h), channels(c), padding(pad), memory(lineSamples() * h, T(untouched)) {}

    /// Fills pixels and padding with values that differ from their neighbours and from untouched.
    Samples& numbered() {
        for (std::size_t i = 0; i < memory.size(); ++i)
            memory[i] = static_cast<T>(i % 199 + 1);
        return *this;
    }
    std::size_t lineSamples() const { return std::size_t{width} * channels + padding; }
    T& at(std::size_t x, std::size_t y, std::size_t sample = 0) {
        return memory[y * lineSamples() + x * channels + sample];
    }

    PictureView<T> view() { return {memory.data(), width, height, channels, lineSamples() * sizeof(T)}; }
    PictureView<const T> constView() const {
        return {memory.data(), width, height, channels, lineSamples() * sizeof(T)};
    }

    SzPicBuf picture(EzImageDataType dataType) {
        SzPicBuf buffer;
        buffer.width = width;
        buffer.height = height;
        buffer.linePitch = static_cast<std::uint32_t>(lineSamples() * sizeof(T));
        buffer.channels = channels;
        buffer.bitDepth = 8 * sizeof(T);
        buffer.dataType = dataType;
        buffer.data = reinterpret_cast<std::uint8_t*>(memory.data());
        return buffer;
    }
};

template <class T>
bool rotate(PictureView<T> destination, PictureView<const T> source, EzQuarterTurn turn) {
    return turn == clockwise ? rotateImage<clockwise>(destination, source)
                             : rotateImage<counterclockwise>(destination, source);
}

/// The turned picture by the plain rule, asked from the side of the destination.
template <class T>
Samples<T> expectedTurn(Samples<T> source, EzQuarterTurn turn, std::uint32_t padding) {
    Samples<T> expected(source.height, source.width, source.channels, padding);
    for (std::uint32_t y = 0; y < expected.height; ++y)
        for (std::uint32_t x = 0; x < expected.width; ++x)
            for (std::uint32_t s = 0; s < source.channels; ++s)
                expected.at(x, y, s) = turn == clockwise ? source.at(y, source.height - 1 - x, s)
                                                         : source.at(source.width - 1 - y, x, s);
    return expected;
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

template <class T>
class RotateKernels : public testing::Test {};

using SampleTypes = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t, float>;
TYPED_TEST_SUITE(RotateKernels, SampleTypes);

// ---- The two turns ----

TYPED_TEST(RotateKernels, clockwiseEveryRowBecomesAColumnFromTheRightEdgeOn) {
    Samples<TypeParam> source(3, 2);
    source.memory = {1, 2, 3, //
                     4, 5, 6};
    Samples<TypeParam> out(2, 3);
    EXPECT_TRUE(rotateImage<clockwise>(out.view(), source.constView()));
    EXPECT_THAT(out.memory, ElementsAre(4, 1, //
                                        5, 2, //
                                        6, 3));
}

TYPED_TEST(RotateKernels, counterclockwiseEveryRowBecomesAColumnFromTheLeftEdgeOnAndBottomUp) {
    Samples<TypeParam> source(3, 2);
    source.memory = {1, 2, 3, //
                     4, 5, 6};
    Samples<TypeParam> out(2, 3);
    EXPECT_TRUE(rotateImage<counterclockwise>(out.view(), source.constView()));
    EXPECT_THAT(out.memory, ElementsAre(3, 6, //
                                        2, 5, //
                                        1, 4));
}

TYPED_TEST(RotateKernels, pixelsKeepTheirSamplesTogetherAndInOrder) {
    Samples<TypeParam> source(2, 2, 3);
    source.memory = {11, 12, 13, 21, 22, 23, //
                     31, 32, 33, 41, 42, 43};
    Samples<TypeParam> out(2, 2, 3);
    EXPECT_TRUE(rotateImage<clockwise>(out.view(), source.constView()));
    EXPECT_THAT(out.memory, ElementsAre(31, 32, 33, 11, 12, 13, //
                                        41, 42, 43, 21, 22, 23));
    EXPECT_TRUE(rotateImage<counterclockwise>(out.view(), source.constView()));
    EXPECT_THAT(out.memory, ElementsAre(21, 22, 23, 41, 42, 43, //
                                        11, 12, 13, 31, 32, 33));
}

TYPED_TEST(RotateKernels, onePixelStaysWhereItIs) {
    for (const EzQuarterTurn turn : {clockwise, counterclockwise}) {
        Samples<TypeParam> source(1, 1, 4);
        source.memory = {1, 2, 3, 4};
        Samples<TypeParam> out(1, 1, 4);
        EXPECT_TRUE(rotate(out.view(), source.constView(), turn));
        EXPECT_THAT(out.memory, ElementsAre(1, 2, 3, 4));
    }
}

TYPED_TEST(RotateKernels, everyPixelLandsInItsPlaceForAllSizesChannelsAndPitches) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes = {{385, 289}, {3, 64}, {64, 3}, {33, 20}};
    for (std::uint32_t w = 1; w <= 6; ++w)
        for (std::uint32_t h = 1; h <= 6; ++h)
            sizes.emplace_back(w, h);
    for (const auto& [w, h] : sizes)
        for (const std::uint32_t channels : {1U, 2U, 3U, 4U, 5U})
            for (const std::uint32_t padding : {0U, 3U})
                for (const EzQuarterTurn turn : {clockwise, counterclockwise}) {
                    SCOPED_TRACE(testing::Message() << w << " x " << h << " x " << channels << " padded by "
                                                    << padding << ", turn " << int(turn));
                    const auto source = Samples<TypeParam>(w, h, channels).numbered();
                    Samples<TypeParam> out(h, w, channels, padding);
                    EXPECT_TRUE(rotate(out.view(), source.constView(), turn));
                    EXPECT_EQ(out.memory, expectedTurn(source, turn, padding).memory);
                }
}

TYPED_TEST(RotateKernels, fourTurnsTheSameWayAreTheIdentityAndSoIsOneBackAndForth) {
    const auto source = Samples<TypeParam>(13, 7, 3).numbered();
    for (const EzQuarterTurn turn : {clockwise, counterclockwise}) {
        Samples<TypeParam> upright = source;
        for (int i = 0; i < 4; ++i) {
            Samples<TypeParam> turned(upright.height, upright.width, 3);
            ASSERT_TRUE(rotate(turned.view(), std::as_const(upright).constView(), turn));
            upright = turned;
        }
        EXPECT_EQ(upright.memory, source.memory);
    }
    Samples<TypeParam> forth(7, 13, 3);
    Samples<TypeParam> back(13, 7, 3);
    ASSERT_TRUE(rotateImage<clockwise>(forth.view(), source.constView()));
    ASSERT_TRUE(rotateImage<counterclockwise>(back.view(), std::as_const(forth).constView()));
    EXPECT_EQ(back.memory, source.memory);
}

// ---- Rows and threads ----

TYPED_TEST(RotateKernels, everyRowIsTurnedWhetherOrNotTheThreadsDivideTheHeight) {
    std::vector<std::uint32_t> heights{31, 64, 100, 129, 200};
    for (std::uint32_t height = 1; height <= 20; ++height)
        heights.push_back(height);
    for (int threads = 1; threads <= 8; ++threads) {
        const Threads running(threads);
        for (const std::uint32_t height : heights)
            for (const EzQuarterTurn turn : {clockwise, counterclockwise}) {
                SCOPED_TRACE(testing::Message() << height << " rows on " << threads << " threads");
                const auto source = Samples<TypeParam>(3, height).numbered();
                Samples<TypeParam> out(height, 3);
                EXPECT_TRUE(rotate(out.view(), source.constView(), turn));
                EXPECT_EQ(out.memory, expectedTurn(source, turn, 0).memory);
            }
    }
}

TYPED_TEST(RotateKernels, pitchesWhoseColumnsCollideInTheCacheGiveTheSamePicture) {
    for (const std::size_t pitch : {2048U, 4096U, 8192U, 12288U})
        for (const EzQuarterTurn turn : {clockwise, counterclockwise})
            for (const std::uint32_t channels : {1U, 2U, 3U, 4U}) {
                SCOPED_TRACE(testing::Message()
                             << "pitch " << pitch << ", " << channels << " channels, turn " << int(turn));
                const auto lineSamples = static_cast<std::uint32_t>(pitch / sizeof(TypeParam));
                const auto packed = Samples<TypeParam>(5, lineSamples / channels, channels).numbered();
                const auto padding = lineSamples - packed.height * channels;
                Samples<TypeParam> out(packed.height, 5, channels, padding);
                EXPECT_TRUE(rotate(out.view(), packed.constView(), turn));
                EXPECT_EQ(out.memory, expectedTurn(packed, turn, padding).memory);

                const auto narrow = Samples<TypeParam>(9, 2, channels).numbered();
                Samples<TypeParam> padded(2, 9, channels, lineSamples - 2 * channels);
                EXPECT_TRUE(rotate(padded.view(), narrow.constView(), turn));
                EXPECT_EQ(padded.memory, expectedTurn(narrow, turn, padded.padding).memory);
            }
}

TYPED_TEST(RotateKernels, largePicturesWhoseColumnsCollideAreTurnedInPlace) {
    constexpr std::uint32_t pitch = 4096 * 1024; // ten lines are too large for a scratch
    const auto source = Samples<TypeParam>(10, 2).numbered();
    Samples<TypeParam> out(2, 10, 1, pitch / sizeof(TypeParam) - 2);
    EXPECT_TRUE(rotateImage<clockwise>(out.view(), source.constView()));
    Samples<TypeParam> pixels(2, 10);
    for (std::uint32_t y = 0; y < 10; ++y)
        for (std::uint32_t x = 0; x < 2; ++x)
            pixels.at(x, y) = out.at(x, y);
    EXPECT_EQ(pixels.memory, expectedTurn(source, clockwise, 0).memory);
}

// ---- What is read and written ----

TYPED_TEST(RotateKernels, pitchOfTheSourceIsIgnoredSoThatPaddedPicturesComeOutSheared) {
    Samples<TypeParam> source(2, 3, 1, 1);
    source.memory = {1, 2, 70, //
                     3, 4, 80, //
                     5, 6, 90};
    Samples<TypeParam> out(3, 2);
    EXPECT_TRUE(rotateImage<clockwise>(out.view(), source.constView()));
    EXPECT_THAT(out.memory, ElementsAre(4, 70, 1, //
                                        80, 3, 2));
    EXPECT_TRUE(rotateImage<counterclockwise>(out.view(), source.constView()));
    EXPECT_THAT(out.memory, ElementsAre(2, 3, 80, //
                                        1, 70, 4));
}

TYPED_TEST(RotateKernels, nothingBehindAsManySamplesAsThePackedPictureHasIsRead) {
    const auto packed = Samples<TypeParam>(5, 4).numbered(); // exactly its size: the sanitizer watches
    PictureView<const TypeParam> claimed = packed.constView();
    claimed.pitch += 16 * sizeof(TypeParam);
    for (const EzQuarterTurn turn : {clockwise, counterclockwise}) {
        Samples<TypeParam> out(4, 5);
        EXPECT_TRUE(rotate(out.view(), claimed, turn));
        EXPECT_EQ(out.memory, expectedTurn(packed, turn, 0).memory);
    }
}

TYPED_TEST(RotateKernels, picturesWithoutPixelsAreTurnedIntoSuch) {
    const TypeParam read = 7;
    TypeParam written = untouched;
    for (const auto& [w, h, channels] : {std::tuple{0U, 0U, 1U}, {0U, 3U, 1U}, {3U, 0U, 1U}, {3U, 9U, 0U}})
        for (const EzQuarterTurn turn : {clockwise, counterclockwise})
            for (const std::size_t pitch : {64U, 4096U}) {
                const PictureView<const TypeParam> source{&read, w, h, channels, pitch};
                EXPECT_TRUE(rotate(PictureView<TypeParam>{&written, h, w, channels, pitch}, source, turn));
                EXPECT_EQ(written, TypeParam(untouched));
            }
}

// ---- What does not fit ----

TYPED_TEST(RotateKernels, destinationOfAnotherSizeOrNumberOfChannelsIsLeftAsItWas) {
    const auto source = Samples<TypeParam>(4, 3, 2).numbered();
    for (const EzQuarterTurn turn : {clockwise, counterclockwise})
        for (Samples<TypeParam> out :
             {Samples<TypeParam>(4, 3, 2), Samples<TypeParam>(2, 4, 2), Samples<TypeParam>(4, 4, 2),
              Samples<TypeParam>(3, 3, 2), Samples<TypeParam>(3, 5, 2), Samples<TypeParam>(3, 4, 3),
              Samples<TypeParam>(3, 4, 1, 3)}) {
            EXPECT_FALSE(rotate(out.view(), source.constView(), turn));
            EXPECT_THAT(out.memory, Each(untouched));
        }
}

TYPED_TEST(RotateKernels, pitchShorterThanALineIsRefused) {
    const auto source = Samples<TypeParam>(4, 3, 3).numbered();
    Samples<TypeParam> out(3, 4, 3);
    for (const std::size_t missing : {std::size_t{1}, sizeof(TypeParam), 9 * sizeof(TypeParam)}) {
        PictureView<const TypeParam> shortSource = source.constView();
        shortSource.pitch = 12 * sizeof(TypeParam) - missing;
        EXPECT_FALSE(rotateImage<clockwise>(out.view(), shortSource));
        PictureView<TypeParam> shortDestination = out.view();
        shortDestination.pitch = 9 * sizeof(TypeParam) - missing;
        EXPECT_FALSE(rotateImage<clockwise>(shortDestination, source.constView()));
    }
    EXPECT_THAT(out.memory, Each(untouched));
}

TYPED_TEST(RotateKernels, sizesBeyondAllBoundsAreRefusedWithoutOverflow) {
    constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    TypeParam sample = 1;
    for (const EzQuarterTurn turn : {clockwise, counterclockwise})
        for (const std::size_t pitch : {std::size_t{0}, std::size_t{most}}) {
            const PictureView<TypeParam> out{&sample, most, most, most, pitch};
            EXPECT_FALSE(rotate(out, PictureView<const TypeParam>{&sample, most, most, most, pitch}, turn));
        }
}

TYPED_TEST(RotateKernels, picturesWithoutDataAreRefused) {
    auto source = Samples<TypeParam>(2, 2).numbered();
    Samples<TypeParam> out(2, 2);
    PictureView<const TypeParam> noSource = source.constView();
    noSource.data = nullptr;
    PictureView<TypeParam> noDestination = out.view();
    noDestination.data = nullptr;
    for (const EzQuarterTurn turn : {clockwise, counterclockwise}) {
        EXPECT_FALSE(rotate(out.view(), noSource, turn));
        EXPECT_FALSE(rotate(noDestination, source.constView(), turn));
    }
    EXPECT_THAT(out.memory, Each(untouched));
}

// ---- Picture buffers ----

template <class T>
void expectTurnsPictures(EzImageDataType dataType) {
    auto source = Samples<T>(3, 2, 2).numbered();
    for (const EzQuarterTurn turn : {clockwise, counterclockwise}) {
        Samples<T> turned(2, 3, 2, 1);
        SzPicBuf out = turned.picture(dataType);
        EXPECT_TRUE(rotateImage(out, source.picture(dataType), turn));
        EXPECT_EQ(turned.memory, expectedTurn(source, turn, 1).memory);
    }
}

TEST(RotateKernelsOnPictures, turnTheFourSampleTypesBothWays) {
    expectTurnsPictures<std::uint8_t>(EzImageDataType::UInt8);
    expectTurnsPictures<std::uint16_t>(EzImageDataType::UInt16);
    expectTurnsPictures<std::uint32_t>(EzImageDataType::UInt32);
    expectTurnsPictures<float>(EzImageDataType::Float32);
}

TEST(RotateKernelsOnPictures, refuseEveryOtherSampleType) {
    for (const EzImageDataType type :
         {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16,
          EzImageDataType::SpectrumFloat32, EzImageDataType::Float64, EzImageDataType::Float16,
          static_cast<EzImageDataType>(77)}) {
        auto source = Samples<double>(2, 2).numbered();
        Samples<double> turned(2, 2);
        SzPicBuf out = turned.picture(type);
        EXPECT_FALSE(rotateImage(out, source.picture(type), clockwise));
        EXPECT_FALSE(rotateImage(out, source.picture(type), counterclockwise));
        EXPECT_THAT(turned.memory, Each(untouched));
    }
}

TEST(RotateKernelsOnPictures, refuseDifferentSampleTypesEvenOfTheSameSize) {
    auto source = Samples<float>(2, 2).numbered();
    Samples<float> turned(2, 2);
    SzPicBuf out = turned.picture(EzImageDataType::UInt32);
    EXPECT_FALSE(rotateImage(out, source.picture(EzImageDataType::Float32), clockwise));
    EXPECT_THAT(turned.memory, Each(untouched));
}

TEST(RotateKernelsOnPictures, refusePicturesWithoutData) {
    auto source = Samples<std::uint8_t>(2, 2).numbered();
    Samples<std::uint8_t> turned(2, 2);
    const SzPicBuf in = source.picture(EzImageDataType::UInt8);
    SzPicBuf out = turned.picture(EzImageDataType::UInt8);
    SzPicBuf nothing = out;
    nothing.data = nullptr;
    EXPECT_FALSE(rotateImage(nothing, in, clockwise));
    EXPECT_FALSE(rotateImage(out, nothing, clockwise));
    EXPECT_THAT(turned.memory, Each(untouched));
}

TEST(RotateKernelsOnPictures, planesCountAsOnePictureOfInterleavedSamples) {
    // Two planes of 2 x 2 pixels.
    Samples<std::uint8_t> planes(2, 4);
    planes.memory = {1, 2, //
                     3, 4, //
                     5, 6, //
                     7, 8};
    SzPicBuf in = planes.picture(EzImageDataType::UInt8);
    in.height = 2;
    in.channels = 2;
    in.storageFormat = EzDataStorageFormat::Planar;
    // Pixels 1 2, 3 4, 5 6 and 7 8, which fill the first of two planes with lines of twice their width.
    Samples<std::uint8_t> turned(2, 4, 1, 2);
    SzPicBuf out = turned.picture(EzImageDataType::UInt8);
    out.height = 2;
    out.channels = 2;
    out.storageFormat = EzDataStorageFormat::Planar;
    EXPECT_TRUE(rotateImage(out, in, clockwise));
    EXPECT_THAT(turned.memory, ElementsAre(5, 6, 1, 2,                                 //
                                           7, 8, 3, 4,                                 //
                                           untouched, untouched, untouched, untouched, //
                                           untouched, untouched, untouched, untouched));

    Samples<std::uint8_t> tight(2, 4);
    out.data = tight.memory.data();
    out.linePitch = 2;
    EXPECT_FALSE(rotateImage(out, in, clockwise));
    EXPECT_THAT(tight.memory, Each(untouched));
}

TEST(RotateKernelsOnPictures, floatsAreCopiedBitByBit) {
    const std::vector<std::uint32_t> bits{0x7fa00001U, 0x80000000U, 0x00000001U, 0xff800000U};
    Samples<float> source(2, 2);
    std::memcpy(source.memory.data(), bits.data(), 16);
    Samples<float> turned(2, 2);
    ASSERT_TRUE(rotateImage<clockwise>(turned.view(), source.constView()));
    std::vector<std::uint32_t> turnedBits(4);
    std::memcpy(turnedBits.data(), turned.memory.data(), 16);
    EXPECT_THAT(turnedBits, ElementsAreArray({bits[2], bits[0], bits[3], bits[1]}));
}

} // namespace
