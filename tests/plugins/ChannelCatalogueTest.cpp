// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChannelCatalogue.h"

#include "ImageMetadata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace {

using Band = CzHsiCameraParams::CzBand;
using Zone = CzHsiCameraParams::CzFilterZone;

const SzChannelWords words = {"Rouge", "Vert", "Bleu", "Cyan", "Magenta", "Jaune", "Gris", "Canal"};

SzPicBufInfo raw(EzColorFilterArray filter) {
    SzPicBufInfo format;
    format.width = 64;
    format.height = 48;
    format.channels = 1;
    format.bitDepth = 8;
    format.dataType = EzImageDataType::UInt8;
    format.colorFilterArray = filter;
    return format;
}

SzPicBufInfo withSamples(std::uint32_t channels, bool isColor) {
    SzPicBufInfo format = raw(EzColorFilterArray::None);
    format.channels = channels;
    format.isColor = isColor;
    return format;
}

/// A zone of width x height bands whose wavelengths fall from first on.
Zone fallingZone(std::uint32_t width, std::uint32_t height, double first, const QString& prefix) {
    Zone zone;
    zone.cellWidth = width;
    zone.cellHeight = height;
    zone.blockWidth = zone.blockHeight = 1;
    for (std::uint32_t band = 0; band < width * height; ++band)
        zone.bands.append(Band(prefix + QString::number(band), first - band));
    return zone;
}

CzImageMetadata sensor(const QVector<Zone>& zones) {
    CzImageMetadata metadata;
    metadata.colorFilterArray = EzColorFilterArray::Hyperspectral;
    metadata.hsiCameraParams.zones = zones;
    return metadata;
}

void expectChannels(const SzPicBufInfo& format, const QStringList& names, const QList<int>& ids) {
    const SzChannelCatalogue catalogue = channelCatalogue(format, CzImageMetadata(), words);
    EXPECT_EQ(catalogue.names, names);
    EXPECT_EQ(catalogue.ids, ids);
}

// ---- Catalogue ----

TEST(ChannelCatalogue, colourComponentsAreListedRedFirstAlthoughStoredBlueFirst) {
    expectChannels(withSamples(3, true), {"Rouge", "Vert", "Bleu"}, {2, 1, 0});
}

TEST(ChannelCatalogue, fourthSampleOfAColourPictureIsNoChannel) {
    expectChannels(withSamples(4, true), {"Rouge", "Vert", "Bleu"}, {2, 1, 0});
}

TEST(ChannelCatalogue, samplesThatAreNoColoursAreNumberedFromZero) {
    expectChannels(withSamples(3, false), {"Canal 0", "Canal 1", "Canal 2"}, {0, 1, 2});
    expectChannels(withSamples(2, false), {"Canal 0", "Canal 1"}, {0, 1});
}

TEST(ChannelCatalogue, colourFlagCountsForThreeAndFourSamplesOnly) {
    expectChannels(withSamples(2, true), {"Canal 0", "Canal 1"}, {0, 1});
    expectChannels(withSamples(5, true), {"Canal 0", "Canal 1", "Canal 2", "Canal 3", "Canal 4"},
                   {0, 1, 2, 3, 4});
}

TEST(ChannelCatalogue, severalSamplesAreNeverARawPicture) {
    SzPicBufInfo format = withSamples(3, false);
    format.colorFilterArray = EzColorFilterArray::BayerRGGB;
    expectChannels(format, {"Canal 0", "Canal 1", "Canal 2"}, {0, 1, 2});
}

TEST(ChannelCatalogue, formatWithoutChannelsHasNone) {
    expectChannels(SzPicBufInfo(), {}, {});
}

TEST(ChannelCatalogue, oneSampleWithoutFilterIsMono) {
    expectChannels(raw(EzColorFilterArray::None), {"Gris"}, {0});
}

TEST(ChannelCatalogue, rawPictureInTheHostsOwnLayoutIsMono) {
    for (const std::uint32_t filter : {1U, 5U, 7U, 9U}) {
        SzPicBufInfo format = raw(static_cast<EzColorFilterArray>(filter));
        format.storageFormat = EzDataStorageFormat::HostPacked;
        expectChannels(format, {"Gris"}, {0});
    }
}

TEST(ChannelCatalogue, rawPictureInAPlaneIsRaw) {
    SzPicBufInfo format = raw(EzColorFilterArray::BayerRGGB);
    format.storageFormat = EzDataStorageFormat::Planar;
    expectChannels(format, {"Rouge", "Vert 1", "Vert 2", "Bleu"}, {0, 1, 2, 3});
}

TEST(ChannelCatalogue, bayerPlanesAreNamedByTheirArrangement) {
    const QStringList names{"Rouge", "Vert 1", "Vert 2", "Bleu"};
    expectChannels(raw(EzColorFilterArray::BayerRGGB), names, {0, 1, 2, 3});
    expectChannels(raw(EzColorFilterArray::BayerGRBG), names, {1, 0, 3, 2});
    expectChannels(raw(EzColorFilterArray::BayerGBRG), names, {2, 0, 3, 1});
    expectChannels(raw(EzColorFilterArray::BayerBGGR), names, {3, 1, 2, 0});
}

TEST(ChannelCatalogue, otherTwoByTwoMosaicsListTheirPlanesInOrder) {
    expectChannels(raw(EzColorFilterArray::CMYG), {"Cyan", "Magenta", "Jaune", "Vert"}, {0, 1, 2, 3});
    expectChannels(raw(EzColorFilterArray::RGBR), {"Rouge 1", "Vert", "Bleu", "Rouge 2"}, {0, 1, 2, 3});
}

TEST(ChannelCatalogue, unknownFilterArrayHasNoChannels) {
    expectChannels(raw(static_cast<EzColorFilterArray>(8)), {}, {});
}

TEST(ChannelCatalogue, hyperspectralPictureWithoutASensorHasNoChannels) {
    expectChannels(raw(EzColorFilterArray::Hyperspectral), {}, {});
}

TEST(ChannelCatalogue, bandsAreListedByWavelengthWithinTheirZone) {
    const CzImageMetadata metadata = sensor({fallingZone(2, 1, 500.0, "a"), fallingZone(2, 2, 900.0, "b")});
    const auto catalogue = channelCatalogue(raw(EzColorFilterArray::Hyperspectral), metadata, words);
    EXPECT_EQ(catalogue.names, (QStringList{"a1", "a0", "b3", "b2", "b1", "b0"}));
    EXPECT_EQ(catalogue.ids, (QList<int>{1, 0, 5, 4, 3, 2}));
}

TEST(ChannelCatalogue, bandsAreCountedOnOverAllZones) {
    Zone second = fallingZone(4, 4, 700.0, "b");
    std::reverse(second.bands.begin(), second.bands.end());
    const CzImageMetadata metadata = sensor({fallingZone(4, 4, 600.0, "a"), second});
    const auto catalogue = channelCatalogue(raw(EzColorFilterArray::Hyperspectral), metadata, words);
    ASSERT_EQ(catalogue.ids.size(), 32);
    ASSERT_EQ(catalogue.names.size(), 32);
    EXPECT_EQ(catalogue.ids.at(16), 16);
    EXPECT_EQ(catalogue.names.at(16), "b15");
}

TEST(ChannelCatalogue, bandsThatASensorDoesNotNameAreNotCounted) {
    Zone first = fallingZone(2, 2, 600.0, "a");
    first.bands.removeLast();
    const CzImageMetadata metadata = sensor({first, fallingZone(1, 1, 900.0, "b")});
    const SzPicBufInfo format = raw(EzColorFilterArray::Hyperspectral);
    EXPECT_EQ(channelCatalogue(format, metadata, words).ids, (QList<int>{2, 1, 0, 3}));
    EXPECT_EQ(effectiveChannelIndex(4, format, metadata), 3U);
}

TEST(ChannelCatalogue, wordThatLooksLikeAPlaceholderIsNotReplaced) {
    SzChannelWords odd = words;
    odd.channel = "%2";
    EXPECT_EQ(channelCatalogue(withSamples(2, false), CzImageMetadata(), odd).names,
              (QStringList{"%2 0", "%2 1"}));
}

// ---- Effective index ----

std::uint32_t effective(std::uint32_t channelIdx, const SzPicBufInfo& format,
                        const CzImageMetadata& metadata = CzImageMetadata()) {
    return effectiveChannelIndex(channelIdx, format, metadata);
}

constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();

TEST(EffectiveChannelIndex, beyondTheLastSampleMeansTheLast) {
    EXPECT_EQ(effective(0, withSamples(3, true)), 0U);
    EXPECT_EQ(effective(2, withSamples(3, true)), 2U);
    EXPECT_EQ(effective(3, withSamples(3, true)), 2U);
    EXPECT_EQ(effective(7, withSamples(3, false)), 2U);
    EXPECT_EQ(effective(3, withSamples(4, true)), 3U);
    EXPECT_EQ(effective(largest, withSamples(5, false)), 4U);
}

TEST(EffectiveChannelIndex, monoPictureHasOnlyZero) {
    EXPECT_EQ(effective(0, raw(EzColorFilterArray::None)), 0U);
    EXPECT_EQ(effective(5, raw(EzColorFilterArray::None)), 0U);
}

TEST(EffectiveChannelIndex, twoByTwoMosaicsHaveFourPlanes) {
    for (std::uint32_t filter = 1; filter <= 6; ++filter) {
        const SzPicBufInfo format = raw(static_cast<EzColorFilterArray>(filter));
        EXPECT_EQ(effective(2, format), 2U);
        EXPECT_EQ(effective(3, format), 3U);
        EXPECT_EQ(effective(7, format), 3U);
        EXPECT_EQ(effective(largest, format), 3U);
    }
}

TEST(EffectiveChannelIndex, rawPictureInTheHostsOwnLayoutHasOnlyZero) {
    SzPicBufInfo format = raw(EzColorFilterArray::BayerRGGB);
    format.storageFormat = EzDataStorageFormat::HostPacked;
    EXPECT_EQ(effective(3, format), 0U);
}

TEST(EffectiveChannelIndex, unknownFilterArrayHasOnlyZero) {
    EXPECT_EQ(effective(3, raw(static_cast<EzColorFilterArray>(8))), 0U);
}

TEST(EffectiveChannelIndex, hyperspectralPictureHasTheBandsOfAllZones) {
    const CzImageMetadata metadata = sensor({fallingZone(4, 4, 600.0, "a"), fallingZone(3, 3, 900.0, "b")});
    const SzPicBufInfo format = raw(EzColorFilterArray::Hyperspectral);
    EXPECT_EQ(effective(24, format, metadata), 24U);
    EXPECT_EQ(effective(25, format, metadata), 24U);
    EXPECT_EQ(effective(largest, format, metadata), 24U);
}

TEST(EffectiveChannelIndex, withoutChannelsOrBandsTheIndexStays) {
    EXPECT_EQ(effective(9, SzPicBufInfo()), 9U);
    EXPECT_EQ(effective(largest, SzPicBufInfo()), largest);
    EXPECT_EQ(effective(9, raw(EzColorFilterArray::Hyperspectral)), 9U);
}

// ---- Bands ----

/// One-channel 8-bit picture over a vector.
SzPicBuf overMemory(std::vector<std::uint8_t>& memory, std::uint32_t width, std::uint32_t height) {
    SzPicBuf picture;
    picture.setPicFormat(raw(EzColorFilterArray::Hyperspectral));
    picture.width = picture.linePitch = width;
    picture.height = height;
    picture.data = memory.data();
    return picture;
}

class ExtractHsiBand : public testing::Test {
protected:
    std::vector<std::uint8_t> sourceMemory = {11, 12, 13, 14, //
                                              21, 22, 23, 24, //
                                              31, 32, 33, 34, //
                                              41, 42, 43, 44};
    std::vector<std::uint8_t> memory = {90, 91, 92, 93};
    SzPicBuf source = overMemory(sourceMemory, 4, 4);
    SzPicBuf destination = overMemory(memory, 2, 2);

    bool extract(const CzImageMetadata& metadata, int band) {
        return extractHsiBand(destination, source, metadata, band);
    }
    void expectUntouched() { EXPECT_EQ(memory, (std::vector<std::uint8_t>{90, 91, 92, 93})); }
};

TEST_F(ExtractHsiBand, copiesTheBandOfTheOnlyZone) {
    EXPECT_TRUE(extract(sensor({fallingZone(2, 2, 500.0, "a")}), 1));
    EXPECT_EQ(memory, (std::vector<std::uint8_t>{12, 14, 32, 34}));
}

TEST_F(ExtractHsiBand, countsOnIntoTheSecondZoneAndItsRegion) {
    Zone second = fallingZone(1, 2, 900.0, "b");
    second.left = 2;
    second.top = 0;
    second.right = 3;
    second.bottom = 3;
    EXPECT_TRUE(extract(sensor({fallingZone(2, 2, 500.0, "a"), second}), 5));
    EXPECT_EQ(memory, (std::vector<std::uint8_t>{23, 24, 43, 44}));
}

TEST_F(ExtractHsiBand, ignoresARegionThatIsNoneAndItsOrigin) {
    Zone zone = fallingZone(2, 2, 500.0, "a");
    zone.left = 3;
    zone.top = 1;
    zone.right = 2;
    zone.bottom = 3;
    EXPECT_TRUE(extract(sensor({zone}), 0));
    EXPECT_EQ(memory, (std::vector<std::uint8_t>{11, 13, 31, 33}));
}

TEST_F(ExtractHsiBand, takesBlocksFromTheZone) {
    Zone zone = fallingZone(2, 1, 500.0, "a");
    zone.blockWidth = 2;
    zone.blockHeight = 2;
    EXPECT_TRUE(extract(sensor({zone}), 1));
    EXPECT_EQ(memory, (std::vector<std::uint8_t>{13, 14, 23, 24}));
}

TEST_F(ExtractHsiBand, bandBeyondAllZonesLeavesTheDestinationUntouched) {
    const CzImageMetadata metadata = sensor({fallingZone(2, 2, 500.0, "a"), fallingZone(1, 1, 900.0, "b")});
    for (const int band : {5, 1000, std::numeric_limits<int>::max(), -1, std::numeric_limits<int>::min()})
        EXPECT_FALSE(extract(metadata, band));
    EXPECT_FALSE(extract(CzImageMetadata(), 0));
    expectUntouched();
}

TEST_F(ExtractHsiBand, sensorsThatCannotExistLeaveTheDestinationUntouched) {
    Zone noCell = fallingZone(2, 2, 500.0, "a");
    noCell.cellWidth = noCell.cellHeight = 0;
    EXPECT_FALSE(extract(sensor({noCell}), 1));
    Zone noBlock = fallingZone(2, 2, 500.0, "a");
    noBlock.blockWidth = noBlock.blockHeight = 0;
    EXPECT_FALSE(extract(sensor({noBlock}), 1));
    Zone elsewhere = fallingZone(2, 2, 500.0, "a");
    elsewhere.left = elsewhere.top = 1000;
    elsewhere.right = elsewhere.bottom = 1100;
    EXPECT_FALSE(extract(sensor({elsewhere}), 1));
    expectUntouched();
}

TEST_F(ExtractHsiBand, moreBandsThanCellPositionsContinueBelowTheCell) {
    Zone zone = fallingZone(2, 3, 500.0, "a");
    zone.cellHeight = 1;
    zone.cellWidth = 2;
    EXPECT_TRUE(extract(sensor({zone}), 5)); // column 1, row 2
    EXPECT_EQ(memory, (std::vector<std::uint8_t>{32, 34, 42, 44}));
}

} // namespace
