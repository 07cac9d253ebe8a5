// SPDX-License-Identifier: GPL-3.0-or-later
#include "HsiCameraParams.h"
#include "ImageMetadata.h"
#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

namespace {

using Band = CzHsiCameraParams::CzBand;
using Zone = CzHsiCameraParams::CzFilterZone;

Zone zone(std::uint32_t cellWidth, std::uint32_t cellHeight) {
    Zone result;
    result.cellWidth = cellWidth;
    result.cellHeight = cellHeight;
    result.blockWidth = 1;
    result.blockHeight = 1;
    for (std::uint32_t band = 0; band < cellWidth * cellHeight; ++band)
        result.bands.append(Band(QStringLiteral("band %1").arg(band), 400.0 + 10.0 * band));
    return result;
}

CzHsiCameraParams sensor(const QVector<Zone>& zones) {
    CzHsiCameraParams params;
    params.zones = zones;
    return params;
}

TEST(HsiCameraParams, DefaultDescribesNoSensor) {
    const CzHsiCameraParams params;
    EXPECT_FALSE(params.isValid());
    EXPECT_FALSE(params.isSimpleMosaicFilter());
    EXPECT_FALSE(params.isRgbNirCamera());
    EXPECT_EQ(params.totalBandCountInAllZones(), 0);
    EXPECT_EQ(params.filterZoneWithTotalBandIdx(0, nullptr), nullptr);
}

TEST(HsiCameraParams, ACellWithABandForEveryPositionIsASensor) {
    EXPECT_TRUE(sensor({zone(4, 4)}).isValid());
    EXPECT_TRUE(sensor({zone(1, 1)}).isValid());
    EXPECT_TRUE(sensor({zone(4, 4), zone(5, 5)}).isValid());
}

TEST(HsiCameraParams, AnyImpossibleZoneInvalidatesTheSensor) {
    const std::vector<std::function<void(Zone&)>> damages = {
        [](Zone& z) { z.cellWidth = 0; },
        [](Zone& z) { z.cellHeight = 0; },
        [](Zone& z) { z.blockWidth = 0; },
        [](Zone& z) { z.blockHeight = 0; },
        [](Zone& z) { z.bands.removeLast(); },
        [](Zone& z) { z.bands.append(Band()); },
        [](Zone& z) { z.cellWidth = z.cellHeight = 65536; }, // 2^32 positions are not 0
        [](Zone& z) {
            z.cellWidth = 0;
            z.bands.clear();
        },
    };
    for (std::size_t i = 0; i < damages.size(); ++i) {
        Zone damaged = zone(4, 4);
        damages[i](damaged);
        EXPECT_FALSE(sensor({damaged}).isValid()) << "damage " << i;
        EXPECT_FALSE(sensor({zone(4, 4), damaged}).isValid()) << "damage " << i;
        EXPECT_FALSE(sensor({damaged}).isSimpleMosaicFilter()) << "damage " << i;
    }
}

TEST(HsiCameraParams, SimpleMosaicHasOneZoneAndBlocksOfOnePixel) {
    Zone simple = zone(4, 4);
    EXPECT_TRUE(sensor({simple}).isSimpleMosaicFilter());
    simple.left = 10;
    simple.top = 10;
    simple.right = 99;
    simple.bottom = 99;
    EXPECT_TRUE(sensor({simple}).isSimpleMosaicFilter()) << "the region may be a part of the sensor";
    EXPECT_FALSE(sensor({simple, simple}).isSimpleMosaicFilter());
    Zone wide = simple;
    wide.blockWidth = 2;
    EXPECT_FALSE(sensor({wide}).isSimpleMosaicFilter());
    Zone high = simple;
    high.blockHeight = 2;
    EXPECT_FALSE(sensor({high}).isSimpleMosaicFilter());
}

TEST(HsiCameraParams, RgbNirIsStoredNotGuessed) {
    Zone rgbNir = zone(2, 2);
    rgbNir.bands = {Band(QStringLiteral("NIR")), Band(QStringLiteral("B")), Band(QStringLiteral("R")),
                    Band(QStringLiteral("G"))};
    CzHsiCameraParams params = sensor({rgbNir});
    EXPECT_FALSE(params.isRgbNirCamera());
    params.rgbNir = true;
    EXPECT_TRUE(params.isRgbNirCamera());
}

TEST(HsiCameraParams, BandsAreCountedOverAllZones) {
    Zone without;
    const CzHsiCameraParams params = sensor({zone(4, 4), without, zone(2, 3)});
    EXPECT_EQ(params.totalBandCountInAllZones(), 22);

    const auto place = [&](int totalBandIdx) {
        CzHsiCameraParams::SzBandIdx idx;
        const Zone* const found = params.filterZoneWithTotalBandIdx(totalBandIdx, &idx);
        EXPECT_EQ(found, &params.zones.at(idx.zoneIdx)) << totalBandIdx;
        EXPECT_EQ(params.filterZoneWithTotalBandIdx(totalBandIdx, nullptr), found);
        return std::make_pair(idx.zoneIdx, idx.bandIdx);
    };
    EXPECT_EQ(place(0), std::make_pair(0, 0));
    EXPECT_EQ(place(15), std::make_pair(0, 15));
    EXPECT_EQ(place(16), std::make_pair(2, 0));
    EXPECT_EQ(place(21), std::make_pair(2, 5));
}

TEST(HsiCameraParams, ThereIsNoBandBeyondAllZones) {
    const CzHsiCameraParams params = sensor({zone(4, 4)});
    for (const int totalBandIdx :
         {-1, 16, 17, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        CzHsiCameraParams::SzBandIdx idx{77, 88};
        EXPECT_EQ(params.filterZoneWithTotalBandIdx(totalBandIdx, &idx), nullptr) << totalBandIdx;
        EXPECT_EQ(idx.zoneIdx, 77);
        EXPECT_EQ(idx.bandIdx, 88);
    }
}

TEST(HsiCameraParams, BandsSortByWavelengthAndEqualOnesKeepTheirOrder) {
    Zone unsorted;
    for (const double wavelength : {600.0, 470.0, 600.0, 850.0, 0.0, 470.0})
        unsorted.bands.append(Band(QString(), wavelength));
    EXPECT_EQ(unsorted.sortedBandIdxs(false), (QVector<int>{4, 1, 5, 0, 2, 3}));
    EXPECT_EQ(unsorted.sortedBandIdxs(true), (QVector<int>{3, 0, 2, 1, 5, 4}));
    EXPECT_EQ(Zone().sortedBandIdxs(false), QVector<int>());
}

TEST(HsiCameraParams, AWavelengthThatIsNotANumberCountsAsUnknown) {
    Zone odd;
    for (const double wavelength : {500.0, std::numeric_limits<double>::quiet_NaN(), 400.0})
        odd.bands.append(Band(QString(), wavelength));
    EXPECT_EQ(odd.sortedBandIdxs(false), (QVector<int>{1, 2, 0}));
    EXPECT_EQ(odd.sortedBandIdxs(true), (QVector<int>{0, 2, 1}));
}

TEST(HsiCameraParams, ARegionHasAtLeastOnePixel) {
    Zone region;
    EXPECT_FALSE(region.hasRegion());
    region.right = region.bottom = 0;
    EXPECT_TRUE(region.hasRegion());
    region.left = 1;
    EXPECT_FALSE(region.hasRegion());
    region.left = 0;
    region.top = 1;
    EXPECT_FALSE(region.hasRegion());
}

TEST(HsiCameraParams, EveryFieldCountsForEquality) {
    const std::vector<std::function<void(CzHsiCameraParams&)>> changes = {
        [](CzHsiCameraParams& p) { p.rgbNir = true; },
        [](CzHsiCameraParams& p) { p.zones.clear(); },
        [](CzHsiCameraParams& p) { p.zones[0].id = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].cellWidth = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].cellHeight = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].blockWidth = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].blockHeight = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].left = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].top = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].right = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].bottom = 9; },
        [](CzHsiCameraParams& p) { p.zones[0].bands.removeLast(); },
        [](CzHsiCameraParams& p) { p.zones[0].bands[0] = Band(QStringLiteral("other"), 400.0); },
        [](CzHsiCameraParams& p) { p.zones[0].bands[0] = Band(QStringLiteral("band 0"), 401.0); },
    };
    const CzHsiCameraParams params = sensor({zone(2, 2)});
    EXPECT_TRUE(params == sensor({zone(2, 2)}));
    for (std::size_t i = 0; i < changes.size(); ++i) {
        CzHsiCameraParams other = params;
        changes[i](other);
        EXPECT_TRUE(params != other) << "change " << i;
    }
}

CzImageMetadata mosaicMetadata() {
    CzImageMetadata metadata;
    metadata.colorFilterArray = EzColorFilterArray::Hyperspectral;
    metadata.hsiCameraParams = sensor({zone(4, 4)});
    metadata.mosaicName = QStringLiteral("snapshot 4x4");
    return metadata;
}

TEST(ImageMetadata, APictureWithoutMosaicForgetsTheSensors) {
    CzImageMetadata metadata = mosaicMetadata();
    const SzPicBufInfo format = pictureFormat(4, 4, 1, EzImageDataType::UInt8);
    metadata.updateFromPicBufInfo(&format);
    EXPECT_EQ(metadata, CzImageMetadata());
}

TEST(ImageMetadata, APictureWithMosaicKeepsTheSensors) {
    SzPicBufInfo format = pictureFormat(4, 4, 1, EzImageDataType::UInt8);
    for (const auto colorFilterArray : {EzColorFilterArray::Hyperspectral, EzColorFilterArray::BayerBGGR}) {
        CzImageMetadata metadata = mosaicMetadata();
        format.colorFilterArray = colorFilterArray;
        metadata.updateFromPicBufInfo(&format);
        EXPECT_EQ(metadata.colorFilterArray, colorFilterArray);
        EXPECT_EQ(metadata.hsiCameraParams, mosaicMetadata().hsiCameraParams);
        EXPECT_EQ(metadata.mosaicName, mosaicMetadata().mosaicName);
    }
}

TEST(ImageMetadata, NoFormatChangesNothing) {
    CzImageMetadata metadata = mosaicMetadata();
    metadata.updateFromPicBufInfo(nullptr);
    EXPECT_EQ(metadata, mosaicMetadata());
}

TEST(ImageMetadata, EveryFieldCountsForEquality) {
    const CzImageMetadata metadata = mosaicMetadata();
    CzImageMetadata other = metadata;
    EXPECT_TRUE(metadata == other);
    other.colorFilterArray = EzColorFilterArray::RGBR;
    EXPECT_TRUE(metadata != other);
    other = metadata;
    other.hsiCameraParams.rgbNir = true;
    EXPECT_TRUE(metadata != other);
    other = metadata;
    other.mosaicName.clear();
    EXPECT_TRUE(metadata != other);
}

} // namespace
