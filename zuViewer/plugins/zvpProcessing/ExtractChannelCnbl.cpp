// SPDX-License-Identifier: GPL-3.0-or-later
#include "ExtractChannelCnbl.h"

#include "ChannelKernels.h"
#include "ElementSupport.h"
#include "ExtractChannelWidget.h"

#include <QMutexLocker>

namespace {

constexpr Setting<int> channelSetting{"channelIdx", 0};

/// The format and, when outputMetadata is not null, the metadata of the picture with this channel. Outputs
/// may be the inputs themselves.
void negotiate(std::uint32_t channelIdx, const SzPicBufInfo& input, SzPicBufInfo& output,
               const CzImageMetadata& inputMetadata, CzImageMetadata* outputMetadata) {
    const bool raw = isRaw(input);
    output = input;
    output.channels = 1;
    output.isColor = false;
    if (outputMetadata)
        *outputMetadata = inputMetadata;

    if (raw && input.colorFilterArray < EzColorFilterArray::Hyperspectral) {
        output.width = input.width / 2;
        output.height = input.height / 2;
        output.colorFilterArray = EzColorFilterArray::None;
        if (outputMetadata)
            outputMetadata->colorFilterArray = EzColorFilterArray::None;
    } else if (raw && input.colorFilterArray == EzColorFilterArray::Hyperspectral) {
        const auto band = static_cast<int>(effectiveChannelIndex(channelIdx, input, inputMetadata));
        const auto* const zone = inputMetadata.hsiCameraParams.filterZoneWithTotalBandIdx(band, nullptr);
        if (zone)
            setBandSize(output, *zone);
        output.colorFilterArray = EzColorFilterArray::None;
        if (outputMetadata) {
            outputMetadata->colorFilterArray = EzColorFilterArray::None;
            outputMetadata->hsiCameraParams = CzHsiCameraParams();
            outputMetadata->mosaicName.clear();
        }
    }
    output.linePitch = alignedLinePitch(output, 4);
}

/// Copies one channel. False when part of the output was not written.
bool extract(SzPicBuf& output, const SzPicBuf& input, const CzImageMetadata& metadata,
             std::uint32_t channel) {
    if (!isRaw(input))
        return CzPicBufAPI::ExtractChannel(input, output, channel);
    // The metadata decide, not the picture: without a valid sensor, hyperspectral pictures count as Bayer.
    if (metadata.colorFilterArray == EzColorFilterArray::Hyperspectral && metadata.hsiCameraParams.isValid())
        return extractHsiBand(output, input, metadata, static_cast<int>(channel));
    return extractBayerPlane(output, input, channel);
}

} // namespace

// ---- Parameters ----

CzExtractChannelCnbl::CzExtractChannelCnbl()
    : CzImageProvider(EzChainableFlag::ConvertsPictures | EzChainableFlag::ReadsPaddedLines)
    , m_channelIdx(channelSetting.defaultValue) {}

std::uint32_t CzExtractChannelCnbl::channelIdx() const {
    QMutexLocker lock(&mutex);
    return m_channelIdx;
}

QString CzExtractChannelCnbl::selectedChannelName() const {
    QMutexLocker lock(&mutex);
    return m_selectedChannelName;
}

void CzExtractChannelCnbl::setChannel(std::uint32_t channelIdx, const QString& name) {
    changeStopped(*this, [&] {
        QMutexLocker lock(&mutex);
        m_selectedChannelName = name;
        m_channelIdx = channelIdx;
    });
}

SzChannelCatalogue CzExtractChannelCnbl::currentChannels(int& selectedId) {
    SzChannelWords words;
    words.red = tr("Red");
    words.green = tr("Green");
    words.blue = tr("Blue");
    words.cyan = tr("Cyan");
    words.magenta = tr("Magenta");
    words.yellow = tr("Yellow");
    words.mono = tr("Mono");
    words.channel = tr("Channel");

    SzPicBufInfo format; // stays without channels while the input is not known
    CzImageMetadata metadata;
    currentInputImageInfo(format, &metadata);
    selectedId = static_cast<int>(effectiveChannelIndex(channelIdx(), format, metadata));
    return channelCatalogue(format, metadata, words);
}

// ---- Identity ----

QString CzExtractChannelCnbl::caption() {
    return tr("Extract");
}

bool CzExtractChannelCnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzExtractChannelCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzExtractChannelCnbl::duplicate() {
    auto* const copy = new CzExtractChannelCnbl;
    copy->m_channelIdx = channelIdx();
    return copy;
}

QWidget* CzExtractChannelCnbl::createConfigWidget() {
    return new CzExtractChannelWidget(this);
}

bool CzExtractChannelCnbl::isConfigurable() {
    return true;
}

void CzExtractChannelCnbl::simpleStateConfigButtons(QList<CzSimpleStateConfigButton>& buttons,
                                                    bool& exclusive) {
    int selectedId = 0;
    const SzChannelCatalogue channels = currentChannels(selectedId);
    if (channels.ids.size() >= 2 && channels.ids.size() <= 4)
        appendExclusiveButtons(buttons, exclusive, channels.names, channels.ids, selectedId);
}

void CzExtractChannelCnbl::simpleStateConfigButtonPressed(int id) {
    setChannel(static_cast<std::uint32_t>(id), QString());
}

bool CzExtractChannelCnbl::hasHelp() const {
    return true;
}

QString CzExtractChannelCnbl::help(QString&) {
    return tr("Extracts one channel from the input image.<br>"
              "Can be used for extracting RAW channels and HSI bands too.");
}

// ---- Settings ----

bool CzExtractChannelCnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    const bool saved = CzImageProvider::saveSettings(document, element);
    writeSetting(element, channelSetting, channelIdx());
    return saved;
}

bool CzExtractChannelCnbl::loadSettings(const QDomElement& element) {
    const bool loaded = CzImageProvider::loadSettings(element);
    const std::optional<int> channelIdx = readSetting(element, channelSetting);
    if (!channelIdx)
        return false;
    QMutexLocker lock(&mutex);
    m_channelIdx = static_cast<std::uint32_t>(*channelIdx);
    return loaded;
}

// ---- Processing ----

bool CzExtractChannelCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                           const CzImageMetadata* inputMetadata,
                                           CzImageMetadata* outputMetadata) {
    negotiate(channelIdx(), input, output, inputMetadata ? *inputMetadata : CzImageMetadata(),
              outputMetadata);
    return true;
}

IzChainData* CzExtractChannelCnbl::processData(IzChainData* input) {
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image)
        return input;

    const std::uint32_t chosen = channelIdx();
    const SzPicBuf& picture = image->picBuf();
    const CzImageMetadata& metadata = image->imageMetadata();
    SzPicBufInfo format;
    CzImageMetadata outputMetadata;
    negotiate(chosen, picture, format, metadata, &outputMetadata);
    OutputPicture output(memoryPool, this, format);
    if (!output)
        return nullptr;

    const std::uint32_t channel = effectiveChannelIndex(chosen, picture, metadata);
    if (!extract(*output, picture, metadata, channel)) {
        // What was not written still shows an older frame. This is rare: start over with a clear picture.
        clearPicture(*output);
        extract(*output, picture, metadata, channel);
    }
    if (isRaw(picture) && picture.dataType == EzImageDataType::Float32)
        CzPicBufAPI::CalcFloatDataMinMax(*output, output->floatMin, output->floatMax, false);
    return output.deliver(image, outputMetadata);
}
