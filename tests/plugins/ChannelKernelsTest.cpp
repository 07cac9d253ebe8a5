// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChannelKernels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr int untouched = 238;

/// Samples in memory of exactly their size, so that the address sanitizer sees any step beyond.
template <class T>
struct Samples {
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t padding; ///< samples behind each line
    std::vector<T> memory;

    Samples(std::uint32_t w, std::uint32_t h, std::uint32_t pad = 0)
        : width(w), height(h), padding(pad), memory(std::size_t{w + pad} * h, T(untouched)) {}

    /// Fills pixels and padding with values that differ from their neighbours and from untouched.
    Samples& numbered() {
        for (std::size_t i = 0; i < memory.size(); ++i)
            memory[i] = static_cast<T>(i % 199 + 1);
        return *this;
    }
    std::size_t pitch() const { return (width + padding) * sizeof(T); }
    T& at(std::uint32_t x, std::uint32_t y) { return memory[std::size_t{y} * (width + padding) + x]; }

    PictureView<T> view() { return {memory.data(), width, height, 1, pitch()}; }
    PictureView<const T> constView() const { return {memory.data(), width, height, 1, pitch()}; }

    SzPicBuf picture(EzImageDataType dataType) {
        SzPicBuf buffer;
        buffer.width = width;
        buffer.height = height;
        buffer.linePitch = static_cast<std::uint32_t>(pitch());
        buffer.channels = 1;
        buffer.bitDepth = 8 * sizeof(T);
        buffer.dataType = dataType;
        buffer.data = reinterpret_cast<std::uint8_t*>(memory.data());
        return buffer;
    }
};

SzBandLayout ordinary(std::uint32_t band, std::uint32_t cellWidth, std::uint32_t cellHeight,
                      std::int32_t left = 0, std::int32_t top = 0) {
    return {band, cellWidth, cellHeight, 1, 1, left, top};
}

template <class T>
class ChannelKernels : public testing::Test {};

using SampleTypes = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t, float>;
TYPED_TEST_SUITE(ChannelKernels, SampleTypes);

// ---- Bayer planes ----

TYPED_TEST(ChannelKernels, subPlanesAreTheFourParitiesOfRowAndColumn) {
    Samples<TypeParam> source(4, 4);
    source.memory = {11, 12, 13, 14, //
                     21, 22, 23, 24, //
                     31, 32, 33, 34, //
                     41, 42, 43, 44};
    const std::vector<std::vector<int>> expected = {
        {11, 13, 31, 33}, {12, 14, 32, 34}, {21, 23, 41, 43}, {22, 24, 42, 44}};
    for (std::uint32_t plane = 0; plane < 4; ++plane) {
        Samples<TypeParam> out(2, 2);
        EXPECT_TRUE(extractBayerPlane(out.view(), source.constView(), plane));
        EXPECT_THAT(out.memory, ElementsAreArray(expected[plane])) << "plane " << plane;
    }
}

TYPED_TEST(ChannelKernels, everyPixelOfAPlaneLandsInHalfItsPlaceForAllSizesAndPitches) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes = {{385, 289}, {64, 3}, {33, 2}};
    for (std::uint32_t w = 1; w <= 7; ++w)
        for (std::uint32_t h = 1; h <= 7; ++h)
            sizes.emplace_back(w, h);
    for (const auto& [w, h] : sizes) {
        for (const std::uint32_t padding : {0U, 1U, 5U}) {
            auto source = Samples<TypeParam>(w, h, padding).numbered();
            for (std::uint32_t plane = 0; plane < 4; ++plane) {
                SCOPED_TRACE(testing::Message()
                             << w << " x " << h << " padded by " << padding << ", plane " << plane);
                Samples<TypeParam> out(w / 2, h / 2, 3);
                Samples<TypeParam> expected(w / 2, h / 2, 3);
                for (std::uint32_t y = 0; y < h; ++y)
                    for (std::uint32_t x = 0; x < w; ++x)
                        if (y % 2 == plane / 2 && x % 2 == plane % 2 && x / 2 < w / 2 && y / 2 < h / 2)
                            expected.at(x / 2, y / 2) = source.at(x, y);
                EXPECT_TRUE(extractBayerPlane(out.view(), source.constView(), plane));
                EXPECT_EQ(out.memory, expected.memory);
            }
        }
    }
}

TYPED_TEST(ChannelKernels, oddWidthAndEvenColumnGiveHalfTheWidthRoundedUp) {
    Samples<TypeParam> source(3, 1);
    source.memory = {1, 2, 3};
    Samples<TypeParam> out(2, 1);
    EXPECT_TRUE(extractBayerPlane(out.view(), source.constView(), 0));
    EXPECT_THAT(out.memory, ElementsAre(1, 3));
}

TYPED_TEST(ChannelKernels, oddWidthAndOddColumnEndWithTheFirstPixelOfTheNextLine) {
    Samples<TypeParam> source(3, 2);
    source.memory = {1, 2, 3, //
                     4, 5, 6};
    Samples<TypeParam> out(2, 1);
    EXPECT_TRUE(extractBayerPlane(out.view(), source.constView(), 1));
    EXPECT_THAT(out.memory, ElementsAre(2, 4));
}

TYPED_TEST(ChannelKernels, oddWidthAndOddColumnEndWithThePaddingOfTheirLine) {
    Samples<TypeParam> source(3, 2, 1);
    source.memory = {1, 2, 3, 70, //
                     4, 5, 6, 80};
    Samples<TypeParam> out(2, 1);
    EXPECT_TRUE(extractBayerPlane(out.view(), source.constView(), 1));
    EXPECT_THAT(out.memory, ElementsAre(2, 70));
    EXPECT_TRUE(extractBayerPlane(out.view(), source.constView(), 3));
    EXPECT_THAT(out.memory, ElementsAre(5, 80));
}

TYPED_TEST(ChannelKernels, behindTheLastLineOfAPackedPictureThereIsNoSample) {
    Samples<TypeParam> source(3, 2);
    source.memory = {1, 2, 3, //
                     4, 5, 6};
    Samples<TypeParam> out(2, 1);
    EXPECT_FALSE(extractBayerPlane(out.view(), source.constView(), 3));
    EXPECT_THAT(out.memory, ElementsAre(5, untouched));

    Samples<TypeParam> onePixel(1, 1);
    Samples<TypeParam> one(1, 1);
    EXPECT_FALSE(extractBayerPlane(one.view(), onePixel.numbered().constView(), 1));
    EXPECT_THAT(one.memory, ElementsAre(untouched));
}

TYPED_TEST(ChannelKernels, planeOfOnePixelIsThatPixel) {
    Samples<TypeParam> source(1, 1);
    source.memory = {9};
    Samples<TypeParam> out(1, 1);
    EXPECT_TRUE(extractBayerPlane(out.view(), source.constView(), 0));
    EXPECT_THAT(out.memory, ElementsAre(9));
}

TYPED_TEST(ChannelKernels, planeThatBeginsBelowThePictureWritesNothing) {
    auto source = Samples<TypeParam>(4, 1).numbered();
    for (const std::uint32_t plane : {2U, 3U, 4U, 1000U, 0x7fffffffU, 0xfffffffeU, 0xffffffffU}) {
        Samples<TypeParam> out(2, 1);
        EXPECT_FALSE(extractBayerPlane(out.view(), source.constView(), plane));
        EXPECT_THAT(out.memory, Each(untouched));
    }
}

TYPED_TEST(ChannelKernels, planeBeyondThreeBeginsFurtherDown) {
    Samples<TypeParam> source(2, 4);
    source.memory = {1, 2, //
                     3, 4, //
                     5, 6, //
                     7, 8};
    Samples<TypeParam> out(1, 2);
    EXPECT_FALSE(extractBayerPlane(out.view(), source.constView(), 7));
    EXPECT_THAT(out.memory, ElementsAre(untouched, 8));
}

TYPED_TEST(ChannelKernels, planeIsClippedToASmallerDestinationAndLeavesTheRestOfALarger) {
    auto source = Samples<TypeParam>(6, 6).numbered();
    Samples<TypeParam> small(2, 1, 1);
    EXPECT_TRUE(extractBayerPlane(small.view(), source.constView(), 0));
    EXPECT_THAT(small.memory, ElementsAre(source.at(0, 0), source.at(2, 0), untouched));

    Samples<TypeParam> large(4, 4);
    EXPECT_FALSE(extractBayerPlane(large.view(), source.constView(), 3));
    EXPECT_THAT(large.memory, ElementsAre(source.at(1, 1), source.at(3, 1), source.at(5, 1), untouched, //
                                          source.at(1, 3), source.at(3, 3), source.at(5, 3), untouched, //
                                          source.at(1, 5), source.at(3, 5), source.at(5, 5), untouched, //
                                          untouched, untouched, untouched, untouched));
}

TYPED_TEST(ChannelKernels, picturesWithoutPixelsAreLeftAlone) {
    auto source = Samples<TypeParam>(4, 4).numbered();
    Samples<TypeParam> nothing(0, 0);
    EXPECT_TRUE(extractBayerPlane(nothing.view(), source.constView(), 0));
    EXPECT_TRUE(extractBand(nothing.view(), source.constView(), ordinary(0, 2, 2)));
    Samples<TypeParam> out(2, 2);
    EXPECT_FALSE(extractBayerPlane(out.view(), nothing.constView(), 0));
    EXPECT_FALSE(extractBand(out.view(), nothing.constView(), ordinary(0, 2, 2)));
    EXPECT_FALSE(extractBand(out.view(), nothing.constView(), {0, 2, 2, 2, 2, 0, 0}));
    EXPECT_THAT(out.memory, Each(untouched));
}

// ---- Bands of ordinary mosaics ----

TYPED_TEST(ChannelKernels, bandIsTheSamplesAtItsPlaceInEveryCell) {
    Samples<TypeParam> source(6, 4);
    source.memory = {11, 12, 13, 14, 15, 16, //
                     21, 22, 23, 24, 25, 26, //
                     31, 32, 33, 34, 35, 36, //
                     41, 42, 43, 44, 45, 46};
    Samples<TypeParam> out(2, 2);
    // Cells of 3 x 2: band 4 sits in their second row, second column.
    EXPECT_TRUE(extractBand(out.view(), source.constView(), ordinary(4, 3, 2)));
    EXPECT_THAT(out.memory, ElementsAre(22, 25, 42, 45));
}

TYPED_TEST(ChannelKernels, bandBeginsAtTheRegion) {
    Samples<TypeParam> source(6, 4);
    source.memory = {11, 12, 13, 14, 15, 16, //
                     21, 22, 23, 24, 25, 26, //
                     31, 32, 33, 34, 35, 36, //
                     41, 42, 43, 44, 45, 46};
    Samples<TypeParam> out(2, 1);
    EXPECT_TRUE(extractBand(out.view(), source.constView(), ordinary(3, 2, 2, 2, 1)));
    EXPECT_THAT(out.memory, ElementsAre(34, 36));
}

TYPED_TEST(ChannelKernels, everyPixelOfABandLandsInThePlaceOfItsCell) {
    for (const auto& [cw, ch] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
             {1, 1}, {2, 2}, {4, 4}, {5, 5}, {3, 2}, {2, 5}}) {
        for (const std::uint32_t padding : {0U, 3U}) {
            auto source = Samples<TypeParam>(38, 29, padding).numbered();
            for (std::uint32_t band = 0; band < cw * ch; ++band) {
                SCOPED_TRACE(testing::Message() << cw << " x " << ch << ", band " << band);
                Samples<TypeParam> out(38 / cw, 29 / ch, 2);
                Samples<TypeParam> expected(38 / cw, 29 / ch, 2);
                for (std::uint32_t y = 0; y < 29; ++y)
                    for (std::uint32_t x = 0; x < 38; ++x)
                        if (y % ch * cw + x % cw == band && x / cw < 38 / cw && y / ch < 29 / ch)
                            expected.at(x / cw, y / ch) = source.at(x, y);
                EXPECT_TRUE(extractBand(out.view(), source.constView(), ordinary(band, cw, ch)));
                EXPECT_EQ(out.memory, expected.memory);
            }
        }
    }
}

TYPED_TEST(ChannelKernels, bandRepeatsItsLastSampleWhereTheDestinationIsLargerThanThePicture) {
    Samples<TypeParam> source(5, 3);
    source.memory = {11, 12, 13, 14, 15, //
                     21, 22, 23, 24, 25, //
                     31, 32, 33, 34, 35};
    Samples<TypeParam> out(4, 3);
    // Band 1 of 2 x 2 cells lies in columns 1 and 3, rows 0 and 2.
    EXPECT_TRUE(extractBand(out.view(), source.constView(), ordinary(1, 2, 2)));
    EXPECT_THAT(out.memory, ElementsAre(12, 14, 14, 14, //
                                        32, 34, 34, 34, //
                                        32, 34, 34, 34));
}

TYPED_TEST(ChannelKernels, bandOfARegionLeftOfAndAboveThePictureBeginsWithItsFirstSampleInside) {
    Samples<TypeParam> source(4, 2);
    source.memory = {11, 12, 13, 14, //
                     21, 22, 23, 24};
    Samples<TypeParam> out(4, 3);
    // From column -3 in steps of 2: -3, -1, 1, 3. From row -2 in steps of 2: -2, 0, 2.
    EXPECT_TRUE(extractBand(out.view(), source.constView(), ordinary(0, 2, 2, -3, -2)));
    EXPECT_THAT(out.memory, ElementsAre(12, 12, 12, 14, //
                                        12, 12, 12, 14, //
                                        12, 12, 12, 14));
}

TYPED_TEST(ChannelKernels, destinationThatEndsBeforeTheFirstSampleInsideRepeatsIt) {
    Samples<TypeParam> source(2, 1);
    source.memory = {11, 12};
    Samples<TypeParam> out(2, 1);
    EXPECT_TRUE(extractBand(out.view(), source.constView(), ordinary(0, 1, 1, -5, 0)));
    EXPECT_THAT(out.memory, ElementsAre(11, 11));
}

TYPED_TEST(ChannelKernels, bandIsClippedToASmallerDestination) {
    auto source = Samples<TypeParam>(8, 8).numbered();
    Samples<TypeParam> out(1, 2, 2);
    EXPECT_TRUE(extractBand(out.view(), source.constView(), ordinary(3, 2, 2)));
    EXPECT_THAT(out.memory, ElementsAre(source.at(1, 1), untouched, untouched, //
                                        source.at(1, 3), untouched, untouched));
}

TYPED_TEST(ChannelKernels, bandWithoutASampleInsideThePictureWritesNothing) {
    auto source = Samples<TypeParam>(4, 4).numbered();
    for (const SzBandLayout& layout :
         {ordinary(7, 8, 8), ordinary(32, 8, 8), ordinary(0, 2, 2, 4, 0), ordinary(0, 2, 2, 0, 4),
          ordinary(0, 100, 1, -50, 0), ordinary(0, 1, 100, 0, -50)}) {
        Samples<TypeParam> out(2, 2);
        EXPECT_FALSE(extractBand(out.view(), source.constView(), layout));
        EXPECT_THAT(out.memory, Each(untouched));
    }
}

// ---- Bands of block mosaics ----

TYPED_TEST(ChannelKernels, blockBandCopiesPatchesAndAdvancesByTheSquaredBlockHeight) {
    // Cells of 2 x 1 bands, patches of 2 x 2 pixels: the second band's patches begin in columns 2 and 6. The
    // row advance is 2 x 1 x 2 = 4, so the patches in rows 2 and 3 are passed over.
    Samples<TypeParam> source(8, 6);
    source.memory = {11, 12, 13, 14, 15, 16, 17, 18, //
                     21, 22, 23, 24, 25, 26, 27, 28, //
                     31, 32, 33, 34, 35, 36, 37, 38, //
                     41, 42, 43, 44, 45, 46, 47, 48, //
                     51, 52, 53, 54, 55, 56, 57, 58, //
                     61, 62, 63, 64, 65, 66, 67, 68};
    Samples<TypeParam> out(4, 4);
    EXPECT_TRUE(extractBand(out.view(), source.constView(), {1, 2, 1, 2, 2, 0, 0}));
    EXPECT_THAT(out.memory, ElementsAre(13, 14, 17, 18, //
                                        23, 24, 27, 28, //
                                        53, 54, 57, 58, //
                                        63, 64, 67, 68));
}

TYPED_TEST(ChannelKernels, blockBandBeginsAtItsPatchOfTheCellInTheRegion) {
    // Cells of 2 x 2 bands, patches of 1 x 2: band 3 begins in column 1 + 1, row 2 + 1 of the region at (1,
    // 1).
    Samples<TypeParam> source(5, 6);
    source.memory = {11, 12, 13, 14, 15, //
                     21, 22, 23, 24, 25, //
                     31, 32, 33, 34, 35, //
                     41, 42, 43, 44, 45, //
                     51, 52, 53, 54, 55, //
                     61, 62, 63, 64, 65};
    Samples<TypeParam> out(2, 2);
    EXPECT_TRUE(extractBand(out.view(), source.constView(), {3, 2, 2, 1, 2, 1, 1}));
    EXPECT_THAT(out.memory, ElementsAre(43, 45, //
                                        53, 55));
}

TYPED_TEST(ChannelKernels, blocksOneLineHighAdvanceByTheCellHeight) {
    Samples<TypeParam> source(4, 4);
    source.memory = {11, 12, 13, 14, //
                     21, 22, 23, 24, //
                     31, 32, 33, 34, //
                     41, 42, 43, 44};
    Samples<TypeParam> out(2, 2);
    // Cells of 2 x 2 bands, patches of 2 x 1: band 2 is in rows 1 and 3, columns 0 and 1.
    EXPECT_TRUE(extractBand(out.view(), source.constView(), {2, 2, 2, 2, 1, 0, 0}));
    EXPECT_THAT(out.memory, ElementsAre(21, 22, 41, 42));
}

TYPED_TEST(ChannelKernels, blockBandLeavesWhatLiesOutsideThePictureAsItWas) {
    Samples<TypeParam> source(7, 3);
    source.memory = {11, 12, 13, 14, 15, 16, 17, //
                     21, 22, 23, 24, 25, 26, 27, //
                     31, 32, 33, 34, 35, 36, 37};
    Samples<TypeParam> out(5, 5, 1);
    // Patches of 3 x 2 at columns 0 and 6, rows 0 and 4: the second patch has one column inside.
    EXPECT_FALSE(extractBand(out.view(), source.constView(), {0, 2, 1, 3, 2, 0, 0}));
    EXPECT_THAT(out.memory, ElementsAre(11, 12, 13, 17, untouched, untouched,                             //
                                        21, 22, 23, 27, untouched, untouched,                             //
                                        untouched, untouched, untouched, untouched, untouched, untouched, //
                                        untouched, untouched, untouched, untouched, untouched, untouched, //
                                        untouched, untouched, untouched, untouched, untouched, untouched));
}

TYPED_TEST(ChannelKernels, blockBandLeftOfAndAboveThePictureWritesWhatLiesInside) {
    Samples<TypeParam> source(3, 2);
    source.memory = {11, 12, 13, //
                     21, 22, 23};
    Samples<TypeParam> out(4, 2);
    // One patch of 2 x 2 per 2 x 1 cell, the first at (-1, -1), the next at (3, -1): one pixel inside.
    EXPECT_FALSE(extractBand(out.view(), source.constView(), {0, 2, 1, 2, 2, -1, -1}));
    EXPECT_THAT(out.memory, ElementsAre(untouched, untouched, untouched, untouched, //
                                        untouched, 11, untouched, untouched));
}

// ---- What no sensor can have ----

TYPED_TEST(ChannelKernels, cellsAndBlocksOfZeroWriteNothing) {
    auto source = Samples<TypeParam>(4, 4).numbered();
    for (const SzBandLayout& layout :
         {SzBandLayout{0, 0, 0, 1, 1, 0, 0}, SzBandLayout{0, 0, 2, 1, 1, 0, 0},
          SzBandLayout{0, 2, 0, 1, 1, 0, 0}, SzBandLayout{0, 2, 2, 0, 1, 0, 0},
          SzBandLayout{0, 2, 2, 1, 0, 0, 0}, SzBandLayout{0, 0, 0, 0, 0, 0, 0}}) {
        Samples<TypeParam> out(2, 2);
        EXPECT_FALSE(extractBand(out.view(), source.constView(), layout));
        EXPECT_THAT(out.memory, Each(untouched));
    }
}

TYPED_TEST(ChannelKernels, extremeLayoutsStayInsideBothPictures) {
    constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t greatest = std::numeric_limits<std::int32_t>::max();
    auto source = Samples<TypeParam>(5, 5).numbered();
    for (const std::uint32_t band : {0U, 1U, 0x7fffffffU})
        for (const std::uint32_t cell : {1U, 2U, most})
            for (const std::uint32_t block : {1U, 2U, 65536U, most})
                for (const std::int32_t origin : {least, -1, 0, 1, greatest}) {
                    Samples<TypeParam> out(3, 3, 1);
                    extractBand(out.view(), source.constView(),
                                {band, cell, cell, block, block, origin, origin});
                    extractBand(out.view(), source.constView(), {band, cell, 1, 1, block, origin, 0});
                    extractBand(out.view(), source.constView(), {band, 1, cell, block, 1, 0, origin});
                    for (std::uint32_t y = 0; y < 3; ++y)
                        EXPECT_EQ(out.at(3, y), TypeParam(untouched));
                }
}

TYPED_TEST(ChannelKernels, hugeBlockOverThePictureCopiesThePicture) {
    auto source = Samples<TypeParam>(5, 5).numbered();
    Samples<TypeParam> out(5, 5);
    constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max();
    EXPECT_TRUE(extractBand(out.view(), source.constView(), {0, most, most, most, most, 0, 0}));
    EXPECT_EQ(out.memory, source.memory);
}

// ---- Picture buffers ----

template <class T>
void expectExtractsFromPictures(EzImageDataType dataType) {
    auto source = Samples<T>(4, 4, 1).numbered();
    Samples<T> plane(2, 2);
    const SzPicBuf in = source.picture(dataType);
    SzPicBuf out = plane.picture(dataType);
    EXPECT_TRUE(extractBayerPlane(out, in, 1));
    EXPECT_THAT(plane.memory,
                ElementsAre(source.at(1, 0), source.at(3, 0), source.at(1, 2), source.at(3, 2)));
    EXPECT_TRUE(extractBand(out, in, ordinary(2, 2, 2)));
    EXPECT_THAT(plane.memory,
                ElementsAre(source.at(0, 1), source.at(2, 1), source.at(0, 3), source.at(2, 3)));
}

TEST(ChannelKernelsOnPictures, computeWithTheFourSampleTypes) {
    expectExtractsFromPictures<std::uint8_t>(EzImageDataType::UInt8);
    expectExtractsFromPictures<std::uint16_t>(EzImageDataType::UInt16);
    expectExtractsFromPictures<std::uint32_t>(EzImageDataType::UInt32);
    expectExtractsFromPictures<float>(EzImageDataType::Float32);
}

TEST(ChannelKernelsOnPictures, refuseEveryOtherSampleType) {
    for (const EzImageDataType type :
         {EzImageDataType::Undefined, EzImageDataType::Int8, EzImageDataType::Int16,
          EzImageDataType::SpectrumFloat32, EzImageDataType::Float64, EzImageDataType::Float16,
          static_cast<EzImageDataType>(77)}) {
        auto source = Samples<double>(4, 4).numbered();
        Samples<double> plane(2, 2);
        const SzPicBuf in = source.picture(type);
        SzPicBuf out = plane.picture(type);
        EXPECT_FALSE(extractBayerPlane(out, in, 0));
        EXPECT_FALSE(extractBand(out, in, ordinary(0, 2, 2)));
        EXPECT_THAT(plane.memory, Each(untouched));
    }
}

TEST(ChannelKernelsOnPictures, refuseDifferentSampleTypesEvenOfTheSameSize) {
    auto source = Samples<float>(4, 4).numbered();
    Samples<float> plane(2, 2);
    const SzPicBuf in = source.picture(EzImageDataType::Float32);
    SzPicBuf out = plane.picture(EzImageDataType::UInt32);
    EXPECT_FALSE(extractBayerPlane(out, in, 0));
    EXPECT_FALSE(extractBand(out, in, ordinary(0, 2, 2)));
    EXPECT_THAT(plane.memory, Each(untouched));
}

TEST(ChannelKernelsOnPictures, refusePicturesWithoutData) {
    auto source = Samples<std::uint8_t>(4, 4).numbered();
    Samples<std::uint8_t> plane(2, 2);
    const SzPicBuf in = source.picture(EzImageDataType::UInt8);
    SzPicBuf out = plane.picture(EzImageDataType::UInt8);
    SzPicBuf nothing = out;
    nothing.data = nullptr;
    EXPECT_FALSE(extractBayerPlane(nothing, in, 0));
    EXPECT_FALSE(extractBand(nothing, in, ordinary(0, 2, 2)));
    EXPECT_FALSE(extractBayerPlane(out, nothing, 0));
    EXPECT_FALSE(extractBand(out, nothing, ordinary(0, 2, 2)));
    EXPECT_THAT(plane.memory, Each(untouched));
}

TEST(ChannelKernelsOnPictures, floatsAreCopiedBitByBit) {
    const std::uint32_t signallingNan = 0x7fa00001U;
    Samples<float> source(2, 2);
    std::memcpy(source.memory.data(), &signallingNan, sizeof signallingNan);
    Samples<float> plane(1, 1);
    ASSERT_TRUE(extractBayerPlane(plane.view(), source.constView(), 0));
    EXPECT_EQ(std::memcmp(plane.memory.data(), &signallingNan, sizeof signallingNan), 0);
}

} // namespace
