// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFTChannels.h"

#include "TestPictures.h"

#include <QListWidget>

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr auto none = EzColorFilterArray::None;
constexpr auto mosaic = EzColorFilterArray::Hyperspectral;
constexpr auto rggb = EzColorFilterArray::BayerRGGB;

SzPicBufInfo raw(std::uint32_t filter) {
    return pictureFormat(8, 6, 1, EzImageDataType::UInt8, static_cast<EzColorFilterArray>(filter));
}

SzPicBufInfo colour(std::uint32_t channels) {
    SzPicBufInfo format = pictureFormat(8, 6, channels);
    format.isColor = true;
    return format;
}

QStringList names(const SzPicBufInfo& format, int first, int last,
                  const CzHsiCameraParams* sensor = nullptr) {
    QStringList list;
    for (int channel = first; channel <= last; ++channel)
        list.append(channelName(channel, format, sensor));
    return list;
}

// ---- Names ----

TEST(FFTChannelName, subPlanesOfMosaicsAreNamedByTheirPlaceAndTheWholeIsMono) {
    EXPECT_EQ(names(raw(1), -1, 4), (QStringList{"Mono", "Red", "Green 1", "Green 2", "Blue", "Mono"}));
    EXPECT_EQ(names(raw(2), -1, 4), (QStringList{"Mono", "Green 1", "Red", "Blue", "Green 2", "Mono"}));
    EXPECT_EQ(names(raw(3), -1, 4), (QStringList{"Mono", "Green 1", "Blue", "Red", "Green 2", "Mono"}));
    EXPECT_EQ(names(raw(4), -1, 4), (QStringList{"Mono", "Blue", "Green 1", "Green 2", "Red", "Mono"}));
    EXPECT_EQ(names(raw(5), -1, 4), (QStringList{"Mono", "Cyan", "Magenta", "Yellow", "Green", "Mono"}));
    EXPECT_EQ(names(raw(6), -1, 4), (QStringList{"Mono", "Red 1", "Green", "Blue", "Red 2", "Mono"}));
    EXPECT_EQ(channelName(std::numeric_limits<int>::max(), raw(1), nullptr), "Mono");
    EXPECT_EQ(channelName(std::numeric_limits<int>::min(), raw(1), nullptr), "Mono");
}

TEST(FFTChannelName, unknownFilterArraysHaveNone) {
    EXPECT_EQ(names(raw(8), -1, 1), (QStringList{"", "", ""}));
}

TEST(FFTChannelName, bandsAreNamedByTheirIndexInTheFirstZoneAlone) {
    CzHsiCameraParams sensor;
    sensor.zones = {filterZone(2, 1), filterZone(3, 3)};
    EXPECT_EQ(names(raw(7), -1, 2, &sensor), (QStringList{"Mono", "band 0", "band 1", "Mono"}));
    sensor.zones.clear();
    EXPECT_EQ(names(raw(7), 0, 0, &sensor), QStringList{"Mono"});
    EXPECT_EQ(names(raw(7), 0, 0), QStringList{"Mono"});
}

TEST(FFTChannelName, bandsThatTheSensorDoesNotListAreMono) {
    CzHsiCameraParams sensor;
    sensor.zones = {filterZone(2, 2)};
    sensor.zones[0].bands.resize(3);
    EXPECT_EQ(channelName(3, raw(7), &sensor), "Mono");
    sensor.zones[0].cellWidth = sensor.zones[0].cellHeight = std::numeric_limits<std::uint32_t>::max();
    EXPECT_EQ(channelName(2, raw(7), &sensor), "band 2");
    EXPECT_EQ(channelName(3, raw(7), &sensor), "Mono");
    sensor.zones[0].cellWidth = 0;
    EXPECT_EQ(channelName(0, raw(7), &sensor), "Mono");
}

TEST(FFTChannelName, picturesOfOneChannelThatAreNotRawAreMono) {
    EXPECT_EQ(names(raw(0), -1, 1), (QStringList{"Mono", "Mono", "Mono"}));
    SzPicBufInfo packed = raw(1);
    packed.storageFormat = EzDataStorageFormat::HostPacked;
    EXPECT_EQ(names(packed, 0, 1), (QStringList{"Mono", "Mono"}));
}

TEST(FFTChannelName, coloursAreNamedInTheOrderOfTheirIndexNotOfTheirStorage) {
    for (const std::uint32_t channels : {2U, 3U, 4U})
        EXPECT_EQ(names(colour(channels), -1, 3), (QStringList{"Red", "Red", "Green", "Blue", "Red"}));
}

TEST(FFTChannelName, otherComponentsAreNumbered) {
    EXPECT_EQ(names(pictureFormat(8, 6, 3), -1, 1), (QStringList{"Channel -1", "Channel 0", "Channel 1"}));
    EXPECT_EQ(names(SzPicBufInfo(), -1, -1), QStringList{"Channel -1"});
}

// ---- Lists ----

QStringList listed(const SzPicBufInfo& format, const CzImageMetadata& metadata = CzImageMetadata()) {
    return selectableChannels(format, metadata).values();
}

QList<int> indexes(const SzPicBufInfo& format, const CzImageMetadata& metadata = CzImageMetadata()) {
    return selectableChannels(format, metadata).keys();
}

TEST(FFTChannelList, mosaicsHaveFiveEntriesOfWhichTheFirstIsTheWholePicture) {
    for (std::uint32_t filter = 1; filter <= 6; ++filter) {
        EXPECT_EQ(indexes(raw(filter)), (QList<int>{-1, 0, 1, 2, 3}));
        EXPECT_EQ(listed(raw(filter)).first(), "Mono");
    }
    EXPECT_EQ(listed(raw(2)), (QStringList{"Mono", "Green 1", "Red", "Blue", "Green 2"}));
}

TEST(FFTChannelList, coloursStandInTheOrderOfTheirIndexAndTheFourthComponentIsNone) {
    EXPECT_EQ(listed(colour(3)), (QStringList{"Red", "Green", "Blue"}));
    EXPECT_EQ(listed(colour(4)), (QStringList{"Red", "Green", "Blue"}));
    EXPECT_EQ(indexes(colour(4)), (QList<int>{0, 1, 2}));
    EXPECT_EQ(listed(pictureFormat(8, 6, 4)),
              (QStringList{"Channel 0", "Channel 1", "Channel 2", "Channel 3"}));
    EXPECT_EQ(listed(colour(2)), (QStringList{"Red", "Green"}));
}

TEST(FFTChannelList, plainPictureHasOneEntryAndUnknownInputNone) {
    EXPECT_EQ(listed(raw(0)), QStringList{"Mono"});
    EXPECT_EQ(indexes(raw(0)), QList<int>{0});
    EXPECT_EQ(listed(SzPicBufInfo()), QStringList());
}

TEST(FFTChannelList, bandsAreNamedByARunningIndexWhateverTheirWavelength) {
    auto zone = filterZone(3, 1);
    zone.bands = {CzHsiCameraParams::CzBand("far", 900), CzHsiCameraParams::CzBand("near", 500),
                  CzHsiCameraParams::CzBand("middle", 700)};
    const CzImageMetadata metadata = hyperspectral({zone, filterZone(4, 4)});
    EXPECT_EQ(listed(raw(7), metadata), (QStringList{"Mono", "far", "near", "middle"}));
    EXPECT_EQ(indexes(raw(7), metadata), (QList<int>{-1, 0, 1, 2}));
    EXPECT_EQ(listed(raw(7)), QStringList{"Mono"}); // a mosaic that nobody describes
}

TEST(FFTChannelList, hasAnEntryForEachBandThatIsDescribedAndSelectsWithinTheCell) {
    auto zone = filterZone(2, 2);
    zone.bands.append(CzHsiCameraParams::CzBand("too many", 999));
    const CzImageMetadata more = hyperspectral({zone});
    EXPECT_EQ(listed(raw(7), more), (QStringList{"Mono", "band 0", "band 1", "band 2", "band 3", "Mono"}));
    EXPECT_EQ(selectedChannel(3, raw(7), more), 3);
    EXPECT_EQ(selectedChannel(4, raw(7), more), -1); // the cell has but four

    zone.bands.resize(2);
    const CzImageMetadata fewer = hyperspectral({zone});
    EXPECT_EQ(listed(raw(7), fewer), (QStringList{"Mono", "band 0", "band 1"}));
    EXPECT_EQ(selectedChannel(3, raw(7), fewer), 3); // has no entry
    EXPECT_EQ(selectedChannel(4, raw(7), fewer), -1);
    QListWidget list;
    fillChannelList(list, selectableChannels(raw(7), fewer), 3);
    EXPECT_EQ(list.currentRow(), -1);

    zone.cellWidth = 0;
    const CzImageMetadata noCell = hyperspectral({zone});
    EXPECT_EQ(listed(raw(7), noCell), (QStringList{"Mono", "Mono", "Mono"}));
    EXPECT_EQ(selectedChannel(0, raw(7), noCell), -1);
    zone.cellWidth = zone.cellHeight = std::numeric_limits<std::uint32_t>::max();
    const CzImageMetadata vast = hyperspectral({zone});
    EXPECT_EQ(listed(raw(7), vast), (QStringList{"Mono", "band 0", "band 1"}));
    EXPECT_EQ(selectedChannel(std::numeric_limits<std::int32_t>::max(), raw(7), vast),
              std::numeric_limits<std::int32_t>::max());
}

TEST(FFTChannelList, channelBeyondTheLastSelectsTheWholeMosaicOrTheFirstComponent) {
    const CzImageMetadata bands = hyperspectral({filterZone(2, 2)});
    EXPECT_EQ(selectedChannel(3, raw(1), {}), 3);
    EXPECT_EQ(selectedChannel(4, raw(1), {}), -1);
    EXPECT_EQ(selectedChannel(-1, raw(1), {}), -1);
    EXPECT_EQ(selectedChannel(3, raw(7), bands), 3);
    EXPECT_EQ(selectedChannel(4, raw(7), bands), -1);
    EXPECT_EQ(selectedChannel(2, colour(4), {}), 2);
    EXPECT_EQ(selectedChannel(3, colour(4), {}), 0);
    EXPECT_EQ(selectedChannel(-1, colour(3), {}), 0);
    EXPECT_EQ(selectedChannel(7, raw(0), {}), 0);
}

TEST(FFTChannelList, entriesCarryTheirChannelAndTheSelectedOneIsCurrent) {
    QListWidget list;
    fillChannelList(list, selectableChannels(raw(1), {}), 2);
    ASSERT_EQ(list.count(), 5);
    for (int row = 0; row < 5; ++row)
        EXPECT_EQ(list.item(row)->data(Qt::UserRole), QVariant(row - 1));
    EXPECT_EQ(list.currentRow(), 3);
    EXPECT_EQ(list.currentItem()->text(), "Green 2");
}

TEST(FFTChannelList, channelWithoutAnEntryMakesNoneCurrent) {
    QListWidget list;
    fillChannelList(list, selectableChannels(raw(1), {}), selectedChannel(-5, raw(1), {}));
    EXPECT_EQ(list.currentRow(), -1);
}

// ---- Formats ----

TEST(FFTChannelFormat, interleavedPicturesOfUpToFourSmallComponentsCanBeTransformed) {
    for (std::uint32_t type = 0; type <= 10; ++type)
        for (std::uint32_t channels = 0; channels <= 6; ++channels)
            for (std::uint32_t storage = 1; storage <= 3; ++storage) {
                SzPicBufInfo format = pictureFormat(8, 6, channels, static_cast<EzImageDataType>(type));
                format.storageFormat = static_cast<EzDataStorageFormat>(storage);
                const bool small = bytesPerSample(format.dataType) <= 2;
                EXPECT_EQ(isTransformable(format), small && channels < 5 && storage == 1);
            }
}

TEST(FFTChannelFormat, componentsAreCutOutAndSubPlanesThatWereChosen) {
    EXPECT_FALSE(isCutOut(raw(0), 0));
    EXPECT_FALSE(isCutOut(raw(0), -1));
    EXPECT_FALSE(isCutOut(raw(1), -1));
    EXPECT_TRUE(isCutOut(raw(1), 0));
    EXPECT_TRUE(isCutOut(colour(3), -1));
    EXPECT_TRUE(isCutOut(pictureFormat(8, 6, 2), 0));
}

TEST(FFTChannelFormat, subPlanesHaveHalfTheSizeRoundedDownAndTheWholeHasAll) {
    for (const std::uint32_t filter : {1U, 2U, 3U, 4U, 5U, 6U, 8U}) {
        SzPicBufInfo format = raw(filter);
        format.width = 13;
        format.height = 9;
        EXPECT_EQ(channelSize(format, nullptr, 0).width, 6U);
        EXPECT_EQ(channelSize(format, nullptr, 0).height, 4U);
        EXPECT_EQ(channelSize(format, nullptr, -1).width, 13U);
        EXPECT_EQ(channelSize(format, nullptr, -1).height, 9U);
    }
    EXPECT_EQ(channelSize(raw(0), nullptr, 2).width, 8U);
}

TEST(FFTChannelFormat, bandsHaveOnePixelPerCellOfTheFirstZone) {
    SzPicBufInfo format = raw(7);
    format.width = 103;
    format.height = 58;
    auto zone = filterZone(5, 4);
    CzImageMetadata metadata = hyperspectral({zone, filterZone(2, 2)});
    EXPECT_EQ(channelSize(format, &metadata, 99).width, 20U);
    EXPECT_EQ(channelSize(format, &metadata, 99).height, 14U);
    EXPECT_EQ(channelSize(format, &metadata, -1).width, 103U);
    zone.left = 10;
    zone.top = 20;
    zone.right = 33;  // 24 columns
    zone.bottom = 42; // 23 lines
    metadata = hyperspectral({zone});
    EXPECT_EQ(channelSize(format, &metadata, 0).width, 4U);
    EXPECT_EQ(channelSize(format, &metadata, 0).height, 5U);
    zone.right = 9; // no region: the whole picture
    metadata = hyperspectral({zone});
    EXPECT_EQ(channelSize(format, &metadata, 0).width, 20U);
}

TEST(FFTChannelFormat, mosaicsWithoutAZoneOrACellKeepTheirSize) {
    auto noCell = filterZone(2, 2);
    noCell.cellWidth = 0;
    for (const CzImageMetadata& metadata : {CzImageMetadata(), hyperspectral({}), hyperspectral({noCell})}) {
        EXPECT_EQ(channelSize(raw(7), &metadata, 0).width, 8U);
        EXPECT_EQ(channelSize(raw(7), &metadata, 0).height, 6U);
    }
    EXPECT_EQ(channelSize(raw(7), nullptr, 0).width, 8U);
}

// ---- Starts ----

TEST(FFTChannelStart, firstOneKeepsTheChannelThatWasLoaded) {
    SzFFTChannel channel;
    channel.channel = 3;
    channel.start(raw(1), {});
    EXPECT_EQ(channel.channel, 3);
    EXPECT_EQ(channel.format, raw(1));
    EXPECT_EQ(channel.name(), "Blue");
}

TEST(FFTChannelStart, laterOnesForgetItWhenComponentsOrFilterArrayChange) {
    for (const SzPicBufInfo& other : {raw(2), raw(7), colour(3)}) {
        SzFFTChannel channel;
        channel.start(raw(1), {});
        channel.channel = 3;
        SzPicBufInfo larger = raw(1);
        larger.width = 100;
        channel.start(larger, {});
        EXPECT_EQ(channel.channel, 3);
        channel.start(other, {});
        EXPECT_EQ(channel.channel, other.colorFilterArray == none ? 0 : -1);
    }
}

TEST(FFTChannelStart, picturesWithoutAFilterArrayHaveAChannelAtLeast) {
    SzFFTChannel channel;
    channel.start(raw(0), {});
    EXPECT_EQ(channel.channel, 0);
    channel.channel = 17;
    channel.start(raw(0), {});
    EXPECT_EQ(channel.channel, 17);
    channel.channel = -8;
    channel.start(raw(0), {});
    EXPECT_EQ(channel.channel, 0);
}

// ---- Samples ----

class FFTChannelSamples : public testing::Test {
protected:
    /// The channel out of a numbered picture, into a buffer full of old bytes.
    std::vector<std::uint8_t> samples(const SzPicBufInfo& format, std::int32_t channel,
                                      const CzImageMetadata& metadata = CzImageMetadata()) {
        frame = numberedFrame(format, metadata);
        SzPicBufInfo size = channelSize(format, &metadata, channel);
        size.channels = 1;
        size.linePitch = 0;
        EXPECT_TRUE(extracted.allocate(size));
        std::fill(extracted->data, extracted->data + packedLineBytes(size), std::uint8_t{0xEE});
        const SzPicBuf* const found = channelSamples(frame->picBuf(), metadata, channel, *extracted);
        if (!found)
            return {};
        EXPECT_EQ(found == &*extracted, isCutOut(format, channel));
        return samplesOf<std::uint8_t>(*found);
    }

    std::unique_ptr<CzImageData> frame;
    HeapPicture extracted;
};

using Bytes = std::vector<std::uint8_t>;

TEST_F(FFTChannelSamples, areThePicturesOwnWhereNothingIsCutOut) {
    EXPECT_EQ(samples(pictureFormat(3, 1), 0), (Bytes{1, 2, 3}));
    EXPECT_EQ(samples(pictureFormat(2, 2, 1, EzImageDataType::UInt8, rggb), -1), (Bytes{1, 2, 3, 4}));
}

TEST_F(FFTChannelSamples, areComponentsInTheOrderInWhichTheyAreStored) {
    EXPECT_EQ(samples(pictureFormat(3, 1, 3), 0), (Bytes{1, 4, 7}));
    EXPECT_EQ(samples(pictureFormat(3, 1, 3), 2), (Bytes{3, 6, 9}));
}

TEST_F(FFTChannelSamples, areSubPlanesAndBands) {
    EXPECT_EQ(samples(pictureFormat(4, 4, 1, EzImageDataType::UInt8, rggb), 1), (Bytes{2, 4, 10, 12}));
    EXPECT_EQ(
        samples(pictureFormat(4, 4, 1, EzImageDataType::UInt8, mosaic), 2, hyperspectral({filterZone(2, 2)})),
        (Bytes{5, 7, 13, 15}));
}

TEST_F(FFTChannelSamples, thatThePictureDoesNotHaveAreZero) {
    EXPECT_EQ(samples(pictureFormat(2, 1, 3), 3), (Bytes{0, 0}));
    EXPECT_EQ(samples(pictureFormat(2, 1, 3), -7), (Bytes{0, 0}));
    EXPECT_EQ(samples(pictureFormat(4, 4, 1, EzImageDataType::UInt8, rggb), 1000), (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(
        samples(pictureFormat(4, 2, 1, EzImageDataType::UInt8, mosaic), 4, hyperspectral({filterZone(2, 2)})),
        (Bytes{0, 0}));
    EXPECT_EQ(samples(pictureFormat(2, 1, 3, EzImageDataType::UInt8, mosaic), -1), (Bytes{0, 0}));
    EXPECT_EQ(samples(pictureFormat(2, 1, 1, EzImageDataType::UInt8, mosaic), 0), (Bytes{0, 0}));
}

TEST_F(FFTChannelSamples, areNoneWhereTheBufferDoesNotFitThePicture) {
    const SzPicBufInfo format = pictureFormat(4, 4, 1, EzImageDataType::UInt8, rggb);
    frame = numberedFrame(format);
    SzPicBuf nothing;
    EXPECT_EQ(channelSamples(frame->picBuf(), {}, 0, nothing), nullptr);
    for (const SzPicBufInfo& other :
         {pictureFormat(3, 2), pictureFormat(2, 3), pictureFormat(2, 2, 1, EzImageDataType::UInt16)}) {
        ASSERT_TRUE(extracted.allocate(other));
        EXPECT_EQ(channelSamples(frame->picBuf(), {}, 0, *extracted), nullptr);
    }
}

} // namespace
