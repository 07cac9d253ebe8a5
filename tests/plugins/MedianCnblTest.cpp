// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianCnbl.h"

#include "Chain.h"
#include "ElementTest.h"
#include "FrameSource.h"
#include "MedianWidget.h"

#include <QDomDocument>
#include <QMetaClassInfo>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <vector>

namespace {

constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;
constexpr auto rggb = EzColorFilterArray::BayerRGGB;
constexpr auto mosaic = EzColorFilterArray::Hyperspectral;
const QString failed = "The processing failed.";

class Element : public LooseElement<CzMedianCnbl> {
public:
    using CzMedianCnbl::medianBuffer;
    using CzMedianCnbl::planesIn;
    using CzMedianCnbl::planesOut;
};

class Median : public ElementTest<Element> {
protected:
    void startFor(const SzPicBufInfo& format, const CzImageMetadata& metadata = CzImageMetadata()) {
        element.setInput(format, metadata);
        element.setupStart();
    }

    void usePool() {
        if (!element.pool)
            element.usePool(1, pictureFormat(64, 64, 4, uint16));
    }

    /// What the element makes of a picture in a run that was set up for it.
    std::unique_ptr<CzImageData> processInRun(std::unique_ptr<CzImageData> frame) {
        startFor(frame->picBuf(), frame->imageMetadata());
        return process(std::move(frame));
    }

    /// Sends a frame through that has to come out as the same object with this message.
    void expectPassedOn(std::unique_ptr<CzImageData> frame, const QString& message) {
        EXPECT_EQ(element.processData(frame.get()), frame.get());
        EXPECT_EQ(element.errorMessage(), message);
    }

    /// Sends a frame through that cannot be filtered: it stays as it was, and the pool gets its buffer back.
    void expectFailure(std::unique_ptr<CzImageData> frame) {
        usePool();
        const SzPicBuf picture = frame->picBuf();
        const auto pixels = [&] {
            return picture.data ? std::vector<std::uint8_t>(picture.data, picture.data + picture.dataSize())
                                : std::vector<std::uint8_t>();
        };
        const std::vector<std::uint8_t> before = pixels();
        EXPECT_EQ(element.processData(frame.get()), frame.get());
        EXPECT_EQ(element.errorMessage(), failed);
        EXPECT_EQ(pixels(), before);
        SzPicBuf buffer;
        EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromPool(element.pool->handle(), nullptr, buffer,
                                                     pictureFormat(64, 64, 4, uint16), false));
        CzPicBufAPI::FreePicBuf(buffer, false);
    }

    QString sizeLoadedFrom(const QString& kernelSize) {
        EXPECT_TRUE(load({{"kernelSize", kernelSize}}));
        return saved("kernelSize");
    }
};

template <class T>
std::unique_ptr<CzImageData> noise(const SzPicBufInfo& format,
                                   const CzImageMetadata& metadata = CzImageMetadata()) {
    auto frame = numberedFrame(format, metadata);
    std::mt19937 random(1);
    const PictureView<T> pixels = view<T>(frame->picBuf());
    for (std::uint32_t y = 0; y < pixels.height; ++y)
        for (std::uint32_t x = 0; x < pixels.width * pixels.channels; ++x)
            pixels.row(y)[x] = static_cast<T>(random());
    return frame;
}

/// The samples of an interleaved picture, line by line without padding.
template <class T>
std::vector<T> allSamplesOf(const SzPicBuf& picture) {
    const PictureView<const T> pixels = view<const T>(picture);
    std::vector<T> samples;
    for (std::uint32_t y = 0; y < pixels.height; ++y)
        samples.insert(samples.end(), pixels.row(y),
                       pixels.row(y) + std::size_t{pixels.width} * pixels.channels);
    return samples;
}

/// The median of the samples that lie in steps of the cell around (x, y), the border ones repeated; of those
/// columns and lines that belong to a whole number of cells.
template <class T>
T bandMedian(const SzPicBuf& picture, std::int64_t x, std::int64_t y, std::int64_t stepX, std::int64_t stepY,
             std::int64_t columns, std::int64_t lines, std::int64_t radius) {
    const PictureView<const T> pixels = view<const T>(picture);
    std::vector<T> samples;
    for (std::int64_t j = -radius; j <= radius; ++j)
        for (std::int64_t i = -radius; i <= radius; ++i) {
            std::int64_t column = x + i * stepX;
            std::int64_t line = y + j * stepY;
            while (column < 0)
                column += stepX;
            while (column >= columns)
                column -= stepX;
            while (line < 0)
                line += stepY;
            while (line >= lines)
                line -= stepY;
            samples.push_back(pixels.row(static_cast<std::size_t>(line))[column]);
        }
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

template <class T>
void expectBandMedians(const SzPicBuf& output, const SzPicBuf& input, std::uint32_t stepX,
                       std::uint32_t stepY, std::uint32_t columns, std::uint32_t lines, int radius) {
    for (std::uint32_t y = 0; y < output.height; ++y)
        for (std::uint32_t x = 0; x < output.width; ++x) {
            const T expected = x < columns && y < lines
                                   ? bandMedian<T>(input, x, y, stepX, stepY, columns, lines, radius)
                                   : T{0}; // in no plane
            ASSERT_EQ(view<const T>(output).row(y)[x], expected) << x << ", " << y;
        }
}

// ---- Identity ----

TEST_F(Median, introducesItself) {
    QString topic;
    EXPECT_TRUE(element.hasHelp());
    EXPECT_EQ(element.help(topic), "Performs the median filtering with given kernel size.");
    EXPECT_TRUE(element.isConfigurable());
    EXPECT_EQ(element.maxPredecessors(), 1);
    EXPECT_EQ(static_cast<int>(element.flags()), 9);
    const QMetaObject& metaObject = CzMedianCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(), "Median Filter");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.CzMedianCnbl");
}

TEST_F(Median, captionTellsTheKernelSizeOnceForEachSide) {
    EXPECT_EQ(element.caption(), "Median (3x3)");
    element.setRadius(2);
    EXPECT_EQ(element.caption(), "Median (5x5)");
    element.setRadius(55);
    EXPECT_EQ(element.caption(), "Median (111x111)");
}

TEST_F(Median, followsImageProvidersOnly) {
    CzMedianCnbl other;
    QObject object;
    EXPECT_TRUE(element.acceptsPredecessor(&other));
    EXPECT_FALSE(element.acceptsPredecessor(&object));
    EXPECT_FALSE(element.acceptsPredecessor(nullptr));
}

TEST_F(Median, duplicateHasTheRadiusAndNothingOfTheRun) {
    element.setRadius(4);
    startFor(pictureFormat(8, 8, 1, uint8, rggb));
    const std::unique_ptr<CzChainable> copy(element.duplicate());
    auto* const twin = qobject_cast<CzMedianCnbl*>(copy.get());
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->radius(), 4);
    EXPECT_TRUE((twin->*&Element::planesIn)().empty());
    EXPECT_TRUE((twin->*&Element::planesOut)().empty());
    EXPECT_EQ((twin->*&Element::medianBuffer)(), nullptr);
}

TEST_F(Median, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzMedianWidget*>(widget.get()));
}

// ---- Settings ----

TEST_F(Median, evenKernelSizesLoadAsTheNextSmallerOddOne) {
    EXPECT_EQ(sizeLoadedFrom("8"), "7");
    EXPECT_EQ(sizeLoadedFrom("4"), "3");
    EXPECT_EQ(sizeLoadedFrom("7"), "7");
}

TEST_F(Median, everythingUpToTwoNegativeAndTextLoadsAsThree) {
    for (const char* text :
         {"2", "1", "0", "-1", "-7", "-2147483648", "", "five", "3.5", "0x9", "99999999999"}) {
        element.setRadius(9);
        EXPECT_EQ(sizeLoadedFrom(text), "3") << text;
    }
}

TEST_F(Median, loadedKernelSizeHasNoUpperBound) {
    EXPECT_EQ(sizeLoadedFrom("100001"), "100001");
    EXPECT_EQ(sizeLoadedFrom("2147483647"), "2147483647");
    EXPECT_EQ(element.radius(), 1073741823);
    EXPECT_EQ(element.caption(), "Median (2147483647x2147483647)");
}

TEST_F(Median, withoutItsAttributeLoadingFailsAndTheRadiusStays) {
    element.setRadius(6);
    EXPECT_FALSE(load({}));
    EXPECT_EQ(element.radius(), 6);
}

TEST_F(Median, resultOfTheHostsLoadingCounts) {
    QDomElement node = settings({{"kernelSize", "5"}});
    node.setAttribute("state", "neither");
    EXPECT_FALSE(element.loadSettings(node));
    EXPECT_EQ(element.radius(), 2);
}

// ---- Format ----

TEST_F(Median, outputHasTheInputsFormatAndMetadata) {
    SzPicBufInfo input = pictureFormat(5, 7, 1, uint16, mosaic);
    input.linePitch = 32;
    input.bitDepth = 12;
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    SzPicBufInfo output;
    CzImageMetadata outputMetadata;
    EXPECT_TRUE(element.outputImageInfo(input, output, &metadata, &outputMetadata));
    EXPECT_EQ(output, input);
    EXPECT_EQ(outputMetadata, metadata);
    EXPECT_TRUE(element.outputImageInfo(input, output, &metadata, nullptr));
    EXPECT_TRUE(element.outputImageInfo(input, output, nullptr, &outputMetadata));
    EXPECT_EQ(outputMetadata, CzImageMetadata());
    EXPECT_TRUE(element.outputImageInfo(input, input, &metadata, nullptr));
    EXPECT_EQ(output, input);
}

// ---- Start and stop ----

TEST_F(Median, picturesWithoutMosaicNeedNoPlanes) {
    startFor(pictureFormat(8, 6, 3));
    EXPECT_TRUE(element.planesIn().empty());
    EXPECT_TRUE(element.planesOut().empty());
}

TEST_F(Median, planesAreHalfThePictureForEveryMosaicTheHyperspectralOneIncluded) {
    for (std::uint32_t filter = 1; filter <= 7; ++filter) {
        const auto arrangement = static_cast<EzColorFilterArray>(filter);
        startFor(pictureFormat(21, 13, 1, uint16, arrangement), hyperspectral({filterZone(4, 4)}));
        ASSERT_FALSE(element.planesIn().empty()) << filter;
        for (const auto* planes : {&element.planesIn(), &element.planesOut()})
            for (const HeapPicture& plane : *planes) {
                const SzPicBuf& picture = *plane;
                EXPECT_EQ(picture.width, 10U);
                EXPECT_EQ(picture.height, 6U);
                EXPECT_EQ(picture.channels, 1U);
                EXPECT_EQ(picture.linePitch, 32U);
                EXPECT_EQ(picture.colorFilterArray, arrangement);
            }
        element.setupStop();
    }
}

TEST_F(Median, planeCountIsThatOfTheFirstZonesCellOrFour) {
    startFor(pictureFormat(40, 40, 1, uint8, EzColorFilterArray::CMYG), hyperspectral({filterZone(5, 5)}));
    EXPECT_EQ(element.planesIn().size(), 4U);
    startFor(pictureFormat(40, 40, 1, uint8, mosaic), hyperspectral({filterZone(5, 4), filterZone(2, 2)}));
    EXPECT_EQ(element.planesIn().size(), 20U);
    EXPECT_EQ(element.planesOut().size(), 20U);
    startFor(pictureFormat(40, 40, 1, uint8, mosaic), hyperspectral({}));
    EXPECT_TRUE(element.planesIn().empty());
}

TEST_F(Median, stopFreesPlanesAndScratchAndMayComeTwiceOrWithoutAStart) {
    element.setupStop();
    startFor(pictureFormat(8, 8, 1, uint8, rggb));
    EXPECT_EQ(element.planesIn().size(), 4U);
    EXPECT_TRUE(element.medianBuffer());
    element.setupStop();
    element.setupStop();
    EXPECT_TRUE(element.planesIn().empty());
    EXPECT_TRUE(element.planesOut().empty());
    EXPECT_FALSE(element.medianBuffer());
}

TEST_F(Median, startAllocatesNothingForUnknownOrUnsupportedInput) {
    element.setupStart();
    EXPECT_TRUE(element.planesIn().empty());
    EXPECT_FALSE(element.medianBuffer());
    startFor(pictureFormat(8, 8, 1, EzImageDataType::UInt32, rggb));
    EXPECT_TRUE(element.planesIn().empty());
    EXPECT_FALSE(element.medianBuffer());
}

TEST_F(Median, startAllocatesNoPlanesForASensorThatCannotBe) {
    auto zone = filterZone(2, 2);
    zone.cellWidth = zone.cellHeight = 100000; // ten thousand million planes
    startFor(pictureFormat(8, 8, 1, uint8, mosaic), hyperspectral({zone}));
    EXPECT_TRUE(element.planesIn().empty());
}

TEST_F(Median, planesThatCannotBeAllocatedLeaveNoneAndFramesPassOnWithAMessage) {
    const SzPicBufInfo format = pictureFormat(8, 8, 1, uint16, rggb);
    startFor(format);
    startFor(pictureFormat(4000000000U, 4000000000U, 1, uint16, rggb));
    EXPECT_TRUE(element.planesIn().empty());
    EXPECT_TRUE(element.planesOut().empty());
    expectFailure(numberedFrame(format));
    startFor(format);
    EXPECT_TRUE(process(numberedFrame(format)));
}

// ---- A frame: what passes on ----

TEST_F(Median, nothingAndOtherDataPassOnWithoutAWord) {
    OtherData data;
    EXPECT_EQ(element.processData(nullptr), nullptr);
    EXPECT_EQ(element.processData(&data), &data);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(Median, bypassedElementPassesPicturesOn) {
    element.setState(EzChainableState::Bypassed);
    expectPassedOn(numberedFrame(pictureFormat(8, 8, 1, EzImageDataType::Float32)), QString());
}

TEST_F(Median, sampleTypeAloneDecidesWhatIsSupported) {
    const QString message = "The input image data type is not supported.";
    for (std::uint32_t number = 0; number <= 10; ++number) {
        const auto type = static_cast<EzImageDataType>(number);
        for (const std::uint32_t channels : {1U, 2U, 5U})
            for (const EzDataStorageFormat storage :
                 {EzDataStorageFormat::Interleaved, EzDataStorageFormat::Planar,
                  EzDataStorageFormat::HostPacked}) {
                Element fresh;
                SzPicBufInfo format = pictureFormat(6, 5, channels, type);
                format.storageFormat = storage;
                fresh.setInput(format);
                fresh.setupStart();
                fresh.usePool(1, pictureFormat(64, 64, 4, uint16));
                auto frame = std::make_unique<CzImageData>();
                SzPicBuf picture;
                ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, format, false));
                frame->setPicBuf(picture);
                IzChainData* const output = fresh.processData(frame.get());
                const bool supported = type == uint8 || type == uint16;
                ASSERT_TRUE(output);
                EXPECT_EQ(output != frame.get(), supported) << number;
                EXPECT_EQ(fresh.errorMessage(), supported ? QString() : message) << number;
                if (output != frame.get()) {
                    frame.release(); // taken
                    delete output;
                }
            }
    }
}

TEST_F(Median, simpleMosaicsOnly) {
    const QString message = "Only the simple mosaic HSI images are supported.";
    auto blocks = filterZone(2, 2);
    blocks.blockWidth = 2;
    const SzPicBufInfo format = pictureFormat(8, 8, 1, uint8, mosaic);
    for (const CzImageMetadata& metadata :
         {CzImageMetadata(), hyperspectral({}), hyperspectral({filterZone(2, 2), filterZone(2, 2)}),
          hyperspectral({blocks}), hyperspectral({filterZone(0, 0)})}) {
        startFor(format, metadata);
        expectPassedOn(numberedFrame(format, metadata), message);
    }
    // The picture's arrangement counts, not the metadata's.
    EXPECT_TRUE(processInRun(numberedFrame(pictureFormat(8, 8), hyperspectral({}))));
}

TEST_F(Median, firstMessageStaysAndIsNotClearedBySuccess) {
    const QString message = "Only the simple mosaic HSI images are supported.";
    expectPassedOn(numberedFrame(pictureFormat(8, 8, 1, uint8, mosaic)), message);
    expectPassedOn(numberedFrame(pictureFormat(8, 8, 1, EzImageDataType::Float32)), message);
    EXPECT_TRUE(processInRun(numberedFrame(pictureFormat(8, 8))));
    EXPECT_EQ(element.errorMessage(), message);
}

TEST_F(Median, exhaustedPoolDropsThePictureWithoutAMessage) {
    element.usePool(1, pictureFormat(8, 8));
    SzPicBuf taken;
    ASSERT_TRUE(
        CzPicBufAPI::AllocPicBufFromPool(element.pool->handle(), nullptr, taken, pictureFormat(8, 8), false));
    const auto frame = numberedFrame(pictureFormat(8, 8));
    EXPECT_EQ(element.processData(frame.get()), nullptr);
    EXPECT_EQ(element.errorMessage(), QString());
    CzPicBufAPI::FreePicBuf(taken, false);
}

// ---- A frame: pixels ----

TEST_F(Median, monoPictureIsFiltered) {
    auto frame = noise<std::uint16_t>(pictureFormat(9, 7, 1, uint16));
    const auto original = noise<std::uint16_t>(pictureFormat(9, 7, 1, uint16));
    element.setRadius(2);
    const auto output = processInRun(std::move(frame));
    ASSERT_TRUE(output);
    expectBandMedians<std::uint16_t>(output->picBuf(), original->picBuf(), 1, 1, 9, 7, 2);
    EXPECT_EQ(output->picBuf().frameNo, 42);
    EXPECT_EQ(output->picBuf().timeStampNs, 4711);
}

TEST_F(Median, metadataTravelAlong) {
    const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
    const auto output = processInRun(numberedFrame(pictureFormat(8, 8, 1, uint8, mosaic), metadata));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->imageMetadata(), metadata);
    EXPECT_EQ(output->picBuf().colorFilterArray, mosaic);
}

TEST_F(Median, coloursOfABayerPictureAreNeverMixed) {
    // Four constant planes: any mixing would show.
    auto frame = numberedFrame(pictureFormat(12, 10, 1, uint8, rggb));
    const PictureView<std::uint8_t> pixels = view<std::uint8_t>(frame->picBuf());
    for (std::uint32_t y = 0; y < 10; ++y)
        for (std::uint32_t x = 0; x < 12; ++x)
            pixels.row(y)[x] = static_cast<std::uint8_t>(10 + 60 * (y % 2) + 30 * (x % 2));
    const auto expected = samplesOf<std::uint8_t>(frame->picBuf());
    element.setRadius(3);
    const auto output = processInRun(std::move(frame));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), expected);
}

TEST_F(Median, eachColourOfABayerPictureIsFilteredByItselfAndTheOddLineAndColumnAreCleared) {
    for (const auto& [width, height] : {std::pair{12U, 8U}, {13U, 9U}, {3U, 3U}, {2U, 2U}}) {
        const SzPicBufInfo format8 = pictureFormat(width, height, 1, uint8, rggb);
        auto output = processInRun(noise<std::uint8_t>(format8));
        ASSERT_TRUE(output);
        expectBandMedians<std::uint8_t>(output->picBuf(), noise<std::uint8_t>(format8)->picBuf(), 2, 2,
                                        width / 2 * 2, height / 2 * 2, 1);
        output.reset();
        element.setupStop();
        const SzPicBufInfo format16 = pictureFormat(width, height, 1, uint16, rggb);
        output = processInRun(noise<std::uint16_t>(format16));
        ASSERT_TRUE(output);
        expectBandMedians<std::uint16_t>(output->picBuf(), noise<std::uint16_t>(format16)->picBuf(), 2, 2,
                                         width / 2 * 2, height / 2 * 2, 1);
        element.setupStop();
    }
}

TEST_F(Median, pictureWithoutAWholeCellIsCleared) {
    for (const auto& [width, height] : {std::pair{1U, 1U}, {1U, 7U}, {7U, 1U}}) {
        const auto output = processInRun(numberedFrame(pictureFormat(width, height, 1, uint8, rggb)));
        ASSERT_TRUE(output);
        EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), std::vector<std::uint8_t>(width * height, 0));
    }
}

TEST_F(Median, eachBandOfAHyperspectralPictureIsFilteredByItselfUpToTheEdges) {
    // The planes are larger than the bands; sizes that are no multiple of the cell.
    for (const std::uint32_t cell : {2U, 3U, 4U, 5U})
        for (const auto& [width, height] : {std::pair{20U, 20U}, {22U, 18U}, {26U, 14U}})
            for (const int radius : {1, 2}) {
                const CzImageMetadata metadata = hyperspectral({filterZone(cell, cell)});
                const SzPicBufInfo format = pictureFormat(width, height, 1, uint16, mosaic);
                element.setRadius(radius);
                const auto output = processInRun(noise<std::uint16_t>(format, metadata));
                ASSERT_TRUE(output);
                expectBandMedians<std::uint16_t>(output->picBuf(), noise<std::uint16_t>(format)->picBuf(),
                                                 cell, cell, width, height, radius);
                element.setupStop();
            }
}

TEST_F(Median, planesAreHalvedEvenWhereACellIsNarrowerSoThatTheRestIsCleared) {
    const CzImageMetadata metadata = hyperspectral({filterZone(1, 1)});
    auto frame = numberedFrame(pictureFormat(4, 4, 1, uint8, mosaic), metadata);
    std::fill_n(frame->picBuf().data, 16, std::uint8_t{7});
    const auto output = processInRun(std::move(frame));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()),
              (std::vector<std::uint8_t>{7, 7, 0, 0, 7, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Median, planesArePutBackWithoutRegardToTheRegionThatTheyCameFrom) {
    // The region begins at the second column: each band is put where its left neighbour was.
    auto zone = filterZone(2, 2);
    zone.left = 1;
    zone.top = 0;
    zone.right = 7;
    zone.bottom = 7;
    const CzImageMetadata metadata = hyperspectral({zone});
    auto frame = numberedFrame(pictureFormat(8, 8, 1, uint8, mosaic), metadata);
    for (std::uint32_t i = 0; i < 64; ++i)
        frame->picBuf().data[i] = i % 2 == 0 ? 10 : 20;
    const auto output = processInRun(std::move(frame));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->picBuf().data[0], 20);
    EXPECT_EQ(output->picBuf().data[1], 10);
}

TEST_F(Median, bandWithoutSamplesInThePictureShowsNoOldFrame) {
    auto zone = filterZone(2, 2);
    zone.left = zone.top = 100;
    zone.right = zone.bottom = 107;
    const SzPicBufInfo format = pictureFormat(8, 8, 1, uint8, mosaic);
    startFor(format, hyperspectral({filterZone(2, 2)}));
    EXPECT_TRUE(process(noise<std::uint8_t>(format, hyperspectral({filterZone(2, 2)}))));
    const auto output = process(numberedFrame(format, hyperspectral({zone})));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()), std::vector<std::uint8_t>(64, 0));
}

TEST_F(Median, mosaicOfSeveralChannelsIsClearedWhereNoPlaneIs) {
    // The planes take the first samples of each line; they go to every second pixel's first sample.
    auto frame = numberedFrame(pictureFormat(4, 4, 3, uint8, rggb));
    std::fill_n(frame->picBuf().data, 48, std::uint8_t{9});
    const auto output = processInRun(std::move(frame));
    ASSERT_TRUE(output);
    const auto row = view<const std::uint8_t>(output->picBuf()).row(3);
    EXPECT_EQ(std::vector<std::uint8_t>(row, row + 12),
              (std::vector<std::uint8_t>{9, 0, 9, 9, 0, 9, 0, 0, 0, 0, 0, 0}));
}

TEST_F(Median, paddedLinesAreFilteredLikePackedOnes) {
    for (const EzColorFilterArray filter : {EzColorFilterArray::None, rggb, mosaic})
        for (const std::uint32_t channels : {1U, 2U, 3U}) {
            const CzImageMetadata metadata = hyperspectral({filterZone(3, 2)});
            const SzPicBufInfo packed = pictureFormat(12, 8, channels, uint16, filter);
            SzPicBufInfo padded = packed;
            padded.linePitch += 10;
            const auto expected = processInRun(noise<std::uint16_t>(packed, metadata));
            ASSERT_TRUE(expected);
            const std::vector<std::uint16_t> samples = allSamplesOf<std::uint16_t>(expected->picBuf());
            element.usePool(2, pictureFormat(64, 64, 4, uint16));
            const auto output = processInRun(noise<std::uint16_t>(padded, metadata));
            ASSERT_TRUE(output);
            EXPECT_EQ(output->picBuf().linePitch, padded.linePitch);
            EXPECT_EQ(allSamplesOf<std::uint16_t>(output->picBuf()), samples);
        }
}

TEST_F(Median, planarMosaicOfOneChannelIsFilteredLikeAnInterleavedOne) {
    for (const EzColorFilterArray filter : {rggb, mosaic}) {
        SzPicBufInfo format = pictureFormat(12, 8, 1, uint8, filter);
        format.storageFormat = EzDataStorageFormat::Planar;
        const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
        const auto output = processInRun(noise<std::uint8_t>(format, metadata));
        ASSERT_TRUE(output);
        EXPECT_EQ(output->picBuf().storageFormat, EzDataStorageFormat::Planar);
        expectBandMedians<std::uint8_t>(output->picBuf(), noise<std::uint8_t>(format)->picBuf(), 2, 2, 12, 8,
                                        1);
    }
}

TEST_F(Median, planarMosaicOfSeveralChannelsIsFilteredInItsFirstPlaneAndClearedElsewhere) {
    // Columns of the cell are as many samples apart as a pixel has: the right ones go to every second sample
    // from the fourth on.
    SzPicBufInfo format = pictureFormat(4, 4, 3, uint8, rggb);
    format.storageFormat = EzDataStorageFormat::Planar;
    format.linePitch = 4;
    auto frame = std::make_unique<CzImageData>();
    SzPicBuf picture;
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, format, false));
    std::fill_n(picture.data, 48, std::uint8_t{9});
    frame->setPicBuf(picture);
    const auto output = processInRun(std::move(frame));
    ASSERT_TRUE(output);
    std::vector<std::uint8_t> expected(48, 0);
    for (std::size_t y = 0; y < 4; ++y)
        for (const std::size_t x : {0U, 2U, 3U})
            expected[4 * y + x] = 9;
    const std::uint8_t* const data = output->picBuf().data;
    EXPECT_EQ(std::vector<std::uint8_t>(data, data + 48), expected);
}

TEST_F(Median, largeCellsInASmallPictureAreFilteredWhereTheyHaveSamples) {
    // The cell is larger than the picture, so that each band has one sample at most.
    const CzImageMetadata metadata = hyperspectral({filterZone(8, 8)});
    const SzPicBufInfo format = pictureFormat(5, 6, 1, uint8, mosaic);
    const auto output = processInRun(noise<std::uint8_t>(format, metadata));
    ASSERT_TRUE(output);
    EXPECT_EQ(samplesOf<std::uint8_t>(output->picBuf()),
              samplesOf<std::uint8_t>(noise<std::uint8_t>(format)->picBuf()));
}

TEST_F(Median, samplesOfAPlaneThatAreNotPutBackCountInTheirNeighboursMedians) {
    // The region begins two cells left of the picture: of each band's plane, 100 100 100 50 70 20 20 20, the
    // first four samples are put back.
    auto zone = filterZone(4, 1);
    zone.left = -8;
    zone.top = 0;
    zone.right = 15;
    zone.bottom = 3;
    auto frame = numberedFrame(pictureFormat(16, 4, 1, uint8, mosaic), hyperspectral({zone}));
    const int samples[] = {100, 50, 70, 20};
    for (std::uint32_t i = 0; i < 64; ++i)
        frame->picBuf().data[i] = static_cast<std::uint8_t>(samples[i % 16 / 4] + i % 4);
    const auto output = processInRun(std::move(frame));
    ASSERT_TRUE(output);
    const std::uint8_t* const row = output->picBuf().data;
    for (int band = 0; band < 4; ++band)
        EXPECT_EQ((std::vector<int>{row[band], row[4 + band], row[8 + band], row[12 + band]}),
                  (std::vector<int>{100 + band, 100 + band, 100 + band, 70 + band}));
}

// ---- Pictures and runs that do not belong together ----

TEST_F(Median, mosaicOutsideOfItsRunPassesOnWithAMessage) {
    const SzPicBufInfo format = pictureFormat(8, 8, 1, uint8, rggb);
    const auto expectFiltered = [&] {
        const auto output = process(noise<std::uint8_t>(format));
        ASSERT_TRUE(output);
        expectBandMedians<std::uint8_t>(output->picBuf(), noise<std::uint8_t>(format)->picBuf(), 2, 2, 8, 8,
                                        1);
    };
    expectFailure(numberedFrame(format)); // no run
    startFor(format);
    expectFiltered();
    expectFailure(numberedFrame(pictureFormat(10, 8, 1, uint8, rggb)));
    expectFailure(numberedFrame(pictureFormat(8, 10, 1, uint8, rggb)));
    expectFailure(numberedFrame(pictureFormat(8, 8, 1, uint16, rggb)));
    expectFailure(numberedFrame(pictureFormat(8, 8, 1, uint8, mosaic), hyperspectral({filterZone(3, 3)})));
    expectFiltered();
    EXPECT_EQ(element.errorMessage(), failed); // stays
}

TEST_F(Median, failureIsReportedOnceAndDoesNotReplaceAnEarlierMessage) {
    usePool();
    const QString message = "The input image data type is not supported.";
    expectPassedOn(numberedFrame(pictureFormat(8, 8, 1, EzImageDataType::Float32)), message);
    expectPassedOn(numberedFrame(pictureFormat(8, 8, 1, uint8, rggb)), message);
}

TEST_F(Median, pictureWithoutMosaicNeedsNoRun) {
    const SzPicBufInfo format = pictureFormat(8, 6, 1, uint16);
    const auto output = process(noise<std::uint16_t>(format));
    ASSERT_TRUE(output);
    expectBandMedians<std::uint16_t>(output->picBuf(), noise<std::uint16_t>(format)->picBuf(), 1, 1, 8, 6, 1);
}

TEST_F(Median, pictureWithoutDataPassesOnWithAMessage) {
    for (const EzColorFilterArray filter : {EzColorFilterArray::None, rggb}) {
        auto frame = std::make_unique<CzImageData>();
        SzPicBuf picture;
        picture.setPicFormat(pictureFormat(8, 8, 1, uint8, filter));
        frame->setPicBuf(picture);
        startFor(picture);
        expectFailure(std::move(frame));
    }
}

TEST_F(Median, settingsLoadedInMidRunChangeTheRadiusButNotTheScratch) {
    const SzPicBufInfo format = pictureFormat(30, 20, 1, uint16, rggb);
    startFor(format);
    const void* const scratch = element.medianBuffer();
    EXPECT_TRUE(scratch);
    ASSERT_TRUE(element.loadSettings(settings({{"kernelSize", "9"}})));
    const auto output = process(noise<std::uint16_t>(format));
    ASSERT_TRUE(output);
    expectBandMedians<std::uint16_t>(output->picBuf(), noise<std::uint16_t>(format)->picBuf(), 2, 2, 30, 20,
                                     4);
    EXPECT_EQ(element.medianBuffer(), scratch);
}

} // namespace
