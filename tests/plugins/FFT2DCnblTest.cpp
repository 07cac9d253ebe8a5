// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT2DCnbl.h"

#include "ElementTest.h"
#include "FFT2DWidget.h"
#include "FFTImageData.h"

#include <QDomDocument>
#include <QMetaClassInfo>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

namespace {

using Element = LooseElement<CzFFT2DCnbl>;
using Floats = std::vector<float>;

constexpr auto none = EzColorFilterArray::None;
constexpr auto rggb = EzColorFilterArray::BayerRGGB;
constexpr auto mosaic = EzColorFilterArray::Hyperspectral;
constexpr auto uint8 = EzImageDataType::UInt8;
constexpr auto uint16 = EzImageDataType::UInt16;

class FFT2D : public ElementTest<Element> {
protected:
    /// Sets the element up for pictures of this format.
    void start(const SzPicBufInfo& format, const CzImageMetadata& metadata = CzImageMetadata()) {
        element.setInput(format, metadata);
        element.setupStop();
        element.setupStart();
        if (!element.pool)
            element.usePool(2, pictureFormat(64, 64, 1, EzImageDataType::Float32));
    }

    /// The spectrum of a numbered frame; null when none comes out.
    std::unique_ptr<CzFFTImageData> process(const SzPicBufInfo& format,
                                            const CzImageMetadata& metadata = CzImageMetadata()) {
        return ElementTest::process<CzFFTImageData>(numberedFrame(format, metadata));
    }

    bool load(const QString& channel) { return ElementTest::load({{"channel", channel}}); }

    void expectSpectrum(const CzFFTImageData* output, const Floats& real, const Floats& imaginary) {
        ASSERT_TRUE(output);
        EXPECT_EQ(samplesOf<float>(output->picBuf()), real);
        EXPECT_EQ(samplesOf<float>(output->picBufIm()), imaginary);
    }
};

// ---- Identity ----

TEST_F(FFT2D, introducesItself) {
    QString topic;
    EXPECT_TRUE(element.hasHelp());
    EXPECT_EQ(element.help(topic),
              "Performs the 2D Fast Fourier Transform on the given input image channel.");
    EXPECT_EQ(static_cast<int>(element.flags()), 9);
    EXPECT_EQ(element.maxPredecessors(), 1);
    const QMetaObject& metaObject = CzFFT2DCnbl::staticMetaObject;
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("CustomName")).value(),
                 "Fast Fourier Transform 2D");
    EXPECT_STREQ(metaObject.classInfo(metaObject.indexOfClassInfo("UniqueID")).value(),
                 "org.zuviewer.CzFFT2DCnbl");
}

TEST_F(FFT2D, captionNamesTheChannelOfTheInputAtTheLastStart) {
    EXPECT_EQ(element.channel(), -1);
    EXPECT_EQ(element.caption(), "FFT 2D(Channel -1)");
    start(pictureFormat(8, 8));
    EXPECT_EQ(element.caption(), "FFT 2D(Mono)");
    start(pictureFormat(8, 8, 1, uint8, rggb));
    element.setChannel(2);
    EXPECT_EQ(element.caption(), "FFT 2D(Green 2)");
    element.setInput(pictureFormat(8, 8, 3));
    EXPECT_EQ(element.caption(), "FFT 2D(Green 2)");
    start(pictureFormat(8, 8, 1, uint8, mosaic), hyperspectral({filterZone(4, 4)}));
    element.setChannel(7);
    EXPECT_EQ(element.caption(), "FFT 2D(band 7)");
}

TEST_F(FFT2D, isConfigurableUnlessThereIsNoChannelToChoose) {
    EXPECT_TRUE(element.isConfigurable());
    start(pictureFormat(8, 8));
    EXPECT_FALSE(element.isConfigurable());
    start(pictureFormat(8, 8, 1, uint8, rggb));
    EXPECT_TRUE(element.isConfigurable());
    start(pictureFormat(8, 8, 3));
    EXPECT_TRUE(element.isConfigurable());
    SzPicBufInfo packed = pictureFormat(8, 8);
    packed.storageFormat = EzDataStorageFormat::HostPacked;
    start(packed);
    EXPECT_FALSE(element.isConfigurable()); // remembered, though it is refused
}

TEST_F(FFT2D, duplicateHasTheChannelAndNothingElse) {
    start(pictureFormat(8, 8, 1, uint8, rggb));
    element.setChannel(3);
    const std::unique_ptr<CzChainable> copy(element.duplicate());
    auto* const twin = qobject_cast<CzFFT2DCnbl*>(copy.get());
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->channel(), 3);
    EXPECT_EQ(twin->caption(), "FFT 2D(Channel 3)");
}

TEST_F(FFT2D, takesPicturesFromOneImageProvider) {
    CzFFT2DCnbl provider;
    QObject other;
    EXPECT_TRUE(element.acceptsPredecessor(&provider));
    EXPECT_FALSE(element.acceptsPredecessor(&other));
    EXPECT_FALSE(element.acceptsPredecessor(nullptr));
    EXPECT_EQ(element.maxPredecessors(), 1);
}

TEST_F(FFT2D, captionOfABandBeyondTheFirstZoneIsMono) {
    start(pictureFormat(8, 8, 1, uint8, mosaic), hyperspectral({filterZone(2, 2), filterZone(2, 2)}));
    element.setChannel(3);
    EXPECT_EQ(element.caption(), "FFT 2D(band 3)");
    element.setChannel(4);
    EXPECT_EQ(element.caption(), "FFT 2D(Mono)");
}

TEST_F(FFT2D, makesItsOwnWidget) {
    const std::unique_ptr<QWidget> widget(element.createConfigWidget());
    EXPECT_TRUE(qobject_cast<CzFFT2DWidget*>(widget.get()));
}

// ---- Settings ----

TEST_F(FFT2D, savesItsChannelAndLoadsItBack) {
    const QDomElement settings = saved();
    EXPECT_EQ(settings.attribute("channel"), "-1");
    EXPECT_EQ(settings.attributes().count(), 2); // and its identifier
    EXPECT_TRUE(load("5"));
    EXPECT_EQ(element.channel(), 5);
    EXPECT_TRUE(load("-2147483648"));
    EXPECT_EQ(element.channel(), std::numeric_limits<std::int32_t>::min());
    EXPECT_TRUE(load("nonsense"));
    EXPECT_EQ(element.channel(), 0);
}

TEST_F(FFT2D, withoutItsAttributeLoadingFailsAndTheChannelStays) {
    element.setChannel(4);
    EXPECT_FALSE(element.loadSettings(document.createElement("chainable")));
    EXPECT_EQ(element.channel(), 4);
}

TEST_F(FFT2D, resultOfTheHostsLoadingCounts) {
    EXPECT_FALSE(ElementTest::load({{"channel", "2"}, {"state", "neither"}}));
    EXPECT_EQ(element.channel(), 2);
}

// ---- Output format ----

TEST_F(FFT2D, outputIsOnePlainChannelOfFloats) {
    SzPicBufInfo input = pictureFormat(65, 7, 3, uint16);
    input.bitDepth = 12;
    input.isColor = true;
    input.reserved = 88;
    SzPicBufInfo expected = input;
    expected.channels = 1;
    expected.bitDepth = 32;
    expected.dataType = EzImageDataType::SpectrumFloat32;
    expected.isColor = false;
    expected.linePitch = 512;
    EXPECT_EQ(outputFormat(input), expected);
    EXPECT_EQ(static_cast<int>(outputFormat(input).dataType), 5);
}

TEST_F(FFT2D, linesArePaddedToMultiplesOf256Bytes) {
    for (const auto& [width, pitch] : {std::pair{1U, 256U}, {64U, 256U}, {65U, 512U}, {640U, 2560U}})
        EXPECT_EQ(outputFormat(pictureFormat(width, 3)).linePitch, pitch);
}

TEST_F(FFT2D, chosenSubPlanesAreHalfAsLargeTheWholePictureIsNot) {
    const SzPicBufInfo input = pictureFormat(13, 9, 1, uint8, rggb);
    EXPECT_EQ(outputFormat(input).width, 13U);
    EXPECT_EQ(outputFormat(input).height, 9U);
    EXPECT_EQ(outputFormat(input).colorFilterArray, none);
    for (const std::int32_t channel : {0, 3}) {
        element.setChannel(channel);
        EXPECT_EQ(outputFormat(input).width, 6U);
        EXPECT_EQ(outputFormat(input).height, 4U);
        EXPECT_EQ(outputFormat(pictureFormat(13, 9, 3)).width, 13U);
    }
}

TEST_F(FFT2D, chosenBandsHaveOnePixelPerCellTheWholePictureHasAll) {
    const SzPicBufInfo input = pictureFormat(21, 13, 1, uint8, mosaic);
    const CzImageMetadata metadata = hyperspectral({filterZone(5, 4)});
    EXPECT_EQ(outputFormat(input, metadata).width, 21U);
    element.setChannel(0);
    EXPECT_EQ(outputFormat(input, metadata).width, 4U);
    EXPECT_EQ(outputFormat(input, metadata).height, 3U);
}

TEST_F(FFT2D, planarPicturesManyComponentsAndDeepSamplesAreRefusedAndNothingIsWritten) {
    SzPicBufInfo planar = pictureFormat(4, 4, 3);
    planar.storageFormat = EzDataStorageFormat::Planar;
    for (const SzPicBufInfo& refused :
         {planar, pictureFormat(4, 4, 5), pictureFormat(4, 4, 1, EzImageDataType::UInt32),
          pictureFormat(4, 4, 1, EzImageDataType::Float32),
          pictureFormat(4, 4, 1, EzImageDataType::Float64)}) {
        SzPicBufInfo output = pictureFormat(1, 2);
        const CzImageMetadata before = hyperspectral({filterZone(2, 2)});
        CzImageMetadata metadata = before;
        EXPECT_FALSE(element.outputImageInfo(refused, output, &before, &metadata));
        EXPECT_EQ(output, pictureFormat(1, 2));
        EXPECT_EQ(metadata, before);
    }
}

TEST_F(FFT2D, formatAcceptsSmallSamplesThatProcessingDoesNot) {
    for (const std::uint32_t number : {0U, 1U, 3U, 9U}) {
        const auto type = static_cast<EzImageDataType>(number);
        EXPECT_EQ(outputFormat(pictureFormat(4, 4, 1, type)).width, 4U);
        start(pictureFormat(4, 4, 1, type));
        const auto frame = numberedFrame(pictureFormat(4, 4, 1, type));
        EXPECT_EQ(element.processData(frame.get()), frame.get());
    }
}

TEST_F(FFT2D, metadataForgetTheMosaicWhenBothAreGiven) {
    const SzPicBufInfo input = pictureFormat(8, 8, 1, uint8, mosaic);
    const CzImageMetadata before = hyperspectral({filterZone(4, 4)});
    CzImageMetadata after = before;
    SzPicBufInfo output;
    EXPECT_TRUE(element.outputImageInfo(input, output, &before, &after));
    EXPECT_EQ(after, CzImageMetadata());
    after = before;
    EXPECT_TRUE(element.outputImageInfo(input, output, nullptr, &after));
    EXPECT_EQ(after, before);
}

TEST_F(FFT2D, formatIsAnsweredInPlace) {
    SzPicBufInfo format = pictureFormat(12, 8, 1, uint8, mosaic);
    CzImageMetadata metadata = hyperspectral({filterZone(4, 4)});
    element.setChannel(0);
    EXPECT_TRUE(element.outputImageInfo(format, format, &metadata, &metadata));
    EXPECT_EQ(format.width, 3U);
    EXPECT_EQ(format.height, 2U);
    EXPECT_EQ(metadata, CzImageMetadata());
}

// ---- Start and stop ----

TEST_F(FFT2D, firstStartKeepsALoadedChannelLaterOnesResetItWhenTheInputChanges) {
    load("3");
    start(pictureFormat(8, 8, 1, uint8, rggb));
    EXPECT_EQ(element.channel(), 3);
    start(pictureFormat(20, 10, 1, uint16, rggb));
    EXPECT_EQ(element.channel(), 3);
    start(pictureFormat(8, 8, 1, uint8, EzColorFilterArray::BayerBGGR));
    EXPECT_EQ(element.channel(), -1);
    start(pictureFormat(8, 8, 3));
    EXPECT_EQ(element.channel(), 0);
    element.setChannel(2);
    start(pictureFormat(8, 8, 4));
    EXPECT_EQ(element.channel(), 0);
}

TEST_F(FFT2D, startWithoutAKnownInputDoesNotCountAsTheFirst) {
    load("3");
    element.setupStart();
    EXPECT_EQ(element.caption(), "FFT 2D(Channel 3)");
    start(pictureFormat(8, 8, 1, uint8, rggb));
    EXPECT_EQ(element.channel(), 3);
}

TEST_F(FFT2D, plainPicturesForceChannelZeroEvenAtTheFirstStart) {
    start(pictureFormat(8, 8));
    EXPECT_EQ(element.channel(), 0);
}

TEST_F(FFT2D, stoppingAndStartingInAnyOrderDoesNoHarm) {
    element.setupStop();
    start(pictureFormat(2, 2, 1, uint8, rggb));
    element.setupStart();
    EXPECT_TRUE(process(pictureFormat(2, 2, 1, uint8, rggb)));
    element.setupStop();
    element.setupStop();
    EXPECT_FALSE(process(pictureFormat(2, 2, 1, uint8, rggb)));
    EXPECT_EQ(element.pool->freeBuffers(), 2);
}

// ---- Pictures ----

TEST_F(FFT2D, twoByTwoPixelsByHand) {
    start(pictureFormat(2, 2));
    const auto output = process(pictureFormat(2, 2)); // 1 2 / 3 4
    expectSpectrum(output.get(), {0, -4, -2, 10}, {0, 0, 0, 0});
    EXPECT_EQ(output->frameNo(), 42);
    EXPECT_EQ(output->picBuf().timeStampNs, 4711);
    EXPECT_EQ(output->picBufIm().frameNo, 42);
    EXPECT_EQ(output->picBufIm().timeStampNs, 4711);
    EXPECT_EQ(SzPicBufInfo(output->picBuf()), outputFormat(pictureFormat(2, 2)));
    EXPECT_EQ(SzPicBufInfo(output->picBufIm()), SzPicBufInfo(output->picBuf()));
    EXPECT_TRUE(output->isFromMemoryPool(element.pool->handle()));
}

TEST_F(FFT2D, sixteenBitsAndPaddedLines) {
    SzPicBufInfo format = pictureFormat(2, 2, 1, uint16);
    format.linePitch = 64;
    start(format);
    expectSpectrum(process(format).get(), {0, -4, -2, 10}, {0, 0, 0, 0});
}

TEST_F(FFT2D, oddSizesHaveFrequencyZeroInTheMiddle) {
    start(pictureFormat(3, 1));
    const auto output = process(pictureFormat(3, 1)); // 1 2 3
    ASSERT_TRUE(output);
    EXPECT_NEAR(samplesOf<float>(output->picBuf())[0], -1.5F, 1e-6F);
    EXPECT_EQ(samplesOf<float>(output->picBuf())[1], 6.0F);
    EXPECT_NEAR(samplesOf<float>(output->picBufIm())[2], 0.8660254F, 1e-6F);
    EXPECT_NEAR(samplesOf<float>(output->picBufIm())[0], -0.8660254F, 1e-6F);
}

TEST_F(FFT2D, colourComponentZeroIsTheFirstThatIsStored) {
    SzPicBufInfo format = pictureFormat(2, 1, 3); // 1 2 3, 4 5 6
    format.isColor = true;
    start(format);
    expectSpectrum(process(format).get(), {-3, 5}, {0, 0});
    element.setChannel(2);
    expectSpectrum(process(format).get(), {-3, 9}, {0, 0});
}

TEST_F(FFT2D, wholeMosaicOrOneSubPlane) {
    const SzPicBufInfo format = pictureFormat(4, 2, 1, uint8, rggb); // 1 2 3 4 / 5 6 7 8
    start(format);
    auto whole = process(format);
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->picBuf().width, 4U);
    EXPECT_EQ(samplesOf<float>(whole->picBuf())[6], 36.0F);
    whole.reset(); // its buffers are needed again

    for (const auto& [channel, real] :
         {std::pair{0, Floats{-2, 4}}, {1, Floats{-2, 6}}, {2, Floats{-2, 12}}, {3, Floats{-2, 14}}}) {
        element.setChannel(channel);
        start(format);
        expectSpectrum(process(format).get(), real, {0, 0});
    }
}

TEST_F(FFT2D, bandOfAMosaicInEightAndSixteenBits) {
    for (const EzImageDataType type : {uint8, uint16}) {
        const SzPicBufInfo format = pictureFormat(4, 2, 1, type, mosaic); // 1 2 3 4 / 5 6 7 8
        const CzImageMetadata metadata = hyperspectral({filterZone(2, 2)});
        load("3");
        start(format, metadata);
        element.setChannel(3);
        start(format, metadata);
        const auto output = process(format, metadata);
        expectSpectrum(output.get(), {-2, 14}, {0, 0});
        EXPECT_EQ(output->imageMetadata(), CzImageMetadata());
    }
}

TEST_F(FFT2D, zonesOrCellsOfZeroGiveASpectrumOfNothing) {
    auto noCell = filterZone(2, 2);
    noCell.cellWidth = noCell.cellHeight = 0;
    for (const CzImageMetadata& metadata : {hyperspectral({}), hyperspectral({noCell})}) {
        const SzPicBufInfo format = pictureFormat(3, 1, 1, uint8, mosaic);
        start(format, metadata);
        element.setChannel(0);
        start(format, metadata);
        expectSpectrum(process(format, metadata).get(), {0, 0, 0}, {0, 0, 0});
    }
}

TEST_F(FFT2D, channelsThatTheInputDoesNotHaveGiveASpectrumOfNothing) {
    for (const std::int32_t channel :
         {3, 1000, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()}) {
        start(pictureFormat(2, 1, 3));
        element.setChannel(channel);
        expectSpectrum(process(pictureFormat(2, 1, 3)).get(), {0, 0}, {0, 0});
    }
}

// ---- Failures ----

TEST_F(FFT2D, otherSampleTypesPassOnWithOneMessage) {
    start(pictureFormat(4, 4, 1, EzImageDataType::UInt32));
    for (const std::uint32_t number : {0U, 1U, 3U, 5U, 6U, 7U, 8U, 9U}) {
        const auto type = static_cast<EzImageDataType>(number);
        const auto frame = numberedFrame(pictureFormat(4, 4, 1, type));
        EXPECT_EQ(element.processData(frame.get()), frame.get());
        EXPECT_EQ(element.errorMessage(), "The input image data type is not supported.");
    }
}

TEST_F(FFT2D, firstMessageStays) {
    class ReportingElement : public Element {
    public:
        using Element::setErrorMessage;
    };
    ReportingElement reporting;
    reporting.setErrorMessage("something earlier");
    const auto frame = numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt32));
    EXPECT_EQ(reporting.processData(frame.get()), frame.get());
    EXPECT_EQ(reporting.errorMessage(), "something earlier");
}

TEST_F(FFT2D, whatIsNoPictureAndWhatABypassedElementGetsPassOn) {
    EXPECT_EQ(element.processData(nullptr), nullptr);
    OtherData other;
    EXPECT_EQ(element.processData(&other), &other);
    start(pictureFormat(4, 4));
    element.setState(EzChainableState::Bypassed);
    const auto frame = numberedFrame(pictureFormat(4, 4));
    EXPECT_EQ(element.processData(frame.get()), frame.get());
    const auto unsupported = numberedFrame(pictureFormat(4, 4, 1, EzImageDataType::UInt32));
    EXPECT_EQ(element.processData(unsupported.get()), unsupported.get());
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(FFT2D, exhaustedPoolGivesNothingAndKeepsNothing) {
    start(pictureFormat(4, 4));
    for (int buffers = 0; buffers < 2; ++buffers) {
        element.usePool(buffers, pictureFormat(64, 64));
        EXPECT_FALSE(process(pictureFormat(4, 4)));
        EXPECT_EQ(element.pool->freeBuffers(), buffers);
    }
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(FFT2D, picturesThatDifferFromTheOneAtTheStartGiveNothingAndBothBuffersGoBack) {
    start(pictureFormat(6, 4, 1, uint8, rggb));
    const auto expectNothing = [&](const SzPicBufInfo& format) {
        EXPECT_FALSE(process(format));
        EXPECT_EQ(element.pool->freeBuffers(), 2);
        EXPECT_EQ(element.errorMessage(), QString());
    };
    for (const std::int32_t channel : {-1, 1}) {
        element.setChannel(channel);
        start(pictureFormat(6, 4, 1, uint8, rggb));
        EXPECT_TRUE(process(pictureFormat(6, 4, 1, uint8, rggb)));
        expectNothing(pictureFormat(8, 4, 1, uint8, rggb));
        expectNothing(pictureFormat(6, 8, 1, uint8, rggb));
        expectNothing(pictureFormat(6, 4, 1, uint16, rggb));
        expectNothing(pictureFormat(2, 2, 1, uint8, rggb));
        expectNothing(pictureFormat(6, 4, 3));
    }
}

TEST_F(FFT2D, pictureWithoutAStartPlanarOrTooSmallGivesNothing) {
    element.usePool(2, pictureFormat(64, 64));
    EXPECT_FALSE(process(pictureFormat(4, 4)));
    SzPicBufInfo planar = pictureFormat(4, 4);
    planar.storageFormat = EzDataStorageFormat::Planar;
    start(planar);
    EXPECT_FALSE(process(planar));
    load("0");
    start(pictureFormat(1, 1, 1, uint8, rggb)); // half of it
    element.setChannel(0);
    start(pictureFormat(1, 1, 1, uint8, rggb));
    EXPECT_FALSE(process(pictureFormat(1, 1, 1, uint8, rggb)));
    EXPECT_EQ(element.pool->freeBuffers(), 2);
    EXPECT_EQ(element.errorMessage(), QString());
}

TEST_F(FFT2D, everyBufferGoesBackToThePool) {
    start(pictureFormat(8, 8, 1, uint8, rggb));
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(process(pictureFormat(8, 8, 1, uint8, rggb)));
    EXPECT_EQ(element.pool->freeBuffers(), 2);
    EXPECT_TRUE(element.mutexIsFree());
}

} // namespace
