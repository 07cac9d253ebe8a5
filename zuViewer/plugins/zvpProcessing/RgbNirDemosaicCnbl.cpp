// SPDX-License-Identifier: GPL-3.0-or-later
#include "RgbNirDemosaicCnbl.h"

#include "ElementSupport.h"
#include "RgbNirDemosaicKernels.h"
#include "RgbNirDemosaicWidget.h"

namespace {

constexpr int rgbChannel = CzRgbNirDemosaicCnbl::rgbChannel;
constexpr int nirChannel = CzRgbNirDemosaicCnbl::nirChannel;

constexpr Setting<int> channelSetting{"channel", rgbChannel};

/// Where the band of this name sits in the cell; −1, as the kernels take it, when there is none.
std::uint32_t positionOf(const QString& name, const QVector<CzHsiCameraParams::CzBand>& bands) {
    for (int i = 0; i < bands.size(); ++i)
        if (bands.at(i).name() == name)
            return static_cast<std::uint32_t>(i);
    return static_cast<std::uint32_t>(-1);
}

/// As the sensor describes itself; the usual cell when the metadata describe no RGB-NIR sensor.
SzCellPositions cellPositions(const CzHsiCameraParams& sensor) {
    SzCellPositions cell;
    if (sensor.isRgbNirCamera()) {
        const auto bands = sensor.zones.value(0).bands;
        cell.nir = positionOf(QStringLiteral("NIR"), bands);
        cell.blue = positionOf(QStringLiteral("B"), bands);
        cell.red = positionOf(QStringLiteral("R"), bands);
        cell.green = positionOf(QStringLiteral("G"), bands);
    }
    return cell;
}

/// The format and, when outputMetadata is not null, the metadata of the picture that this choice makes.
/// Outputs may be the inputs themselves.
void negotiate(int channel, const SzPicBufInfo& input, SzPicBufInfo& output,
               const CzImageMetadata& inputMetadata, CzImageMetadata* outputMetadata) {
    const bool raw = isRaw(input);
    output = input;
    if (outputMetadata)
        *outputMetadata = inputMetadata;
    if (!raw)
        return;

    if (channel == rgbChannel) {
        output.channels = 4;
        output.bitDepth = 8;
        output.dataType = EzImageDataType::UInt8;
        output.storageFormat = EzDataStorageFormat::Interleaved;
        output.isColor = true;
        output.linePitch = alignedLinePitch(output, 4);
    }
    output.colorFilterArray = EzColorFilterArray::None;
    if (outputMetadata) {
        outputMetadata->colorFilterArray = EzColorFilterArray::None;
        outputMetadata->hsiCameraParams = CzHsiCameraParams();
        outputMetadata->mosaicName.clear();
    }
}

/// False when part of the output was not written.
bool demosaic(int channel, SzPicBuf& output, const SzPicBuf& input, const SzCellPositions& cell) {
    return channel == nirChannel ? interpolateNearInfrared(output, input, cell)
                                 : interpolateColour(output, input, cell);
}

} // namespace

// ---- Parameters ----

CzRgbNirDemosaicCnbl::CzRgbNirDemosaicCnbl()
    : CzImageProvider(EzChainableFlag::ConvertsPictures | EzChainableFlag::ReadsPaddedLines)
    , m_channel(channelSetting.defaultValue) {}

int CzRgbNirDemosaicCnbl::channel() const {
    return m_channel;
}

void CzRgbNirDemosaicCnbl::setChannel(int channel, bool restartChain) {
    if (restartChain)
        changeStopped(*this, [&] { m_channel = channel; });
    else
        m_channel = channel;
}

// ---- Identity ----

QString CzRgbNirDemosaicCnbl::caption() {
    return tr("RGB-NIR Demosaic");
}

bool CzRgbNirDemosaicCnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzRgbNirDemosaicCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzRgbNirDemosaicCnbl::duplicate() {
    auto* const copy = new CzRgbNirDemosaicCnbl;
    copy->m_channel = channel();
    return copy;
}

QWidget* CzRgbNirDemosaicCnbl::createConfigWidget() {
    return new CzRgbNirDemosaicWidget(this);
}

bool CzRgbNirDemosaicCnbl::isConfigurable() {
    return true;
}

void CzRgbNirDemosaicCnbl::simpleStateConfigButtons(QList<CzSimpleStateConfigButton>& buttons,
                                                    bool& exclusive) {
    appendExclusiveButtons(buttons, exclusive, {tr("RGB"), tr("NIR")}, {rgbChannel, nirChannel}, channel());
}

void CzRgbNirDemosaicCnbl::simpleStateConfigButtonPressed(int id) {
    setChannel(id == nirChannel ? nirChannel : rgbChannel, true);
}

bool CzRgbNirDemosaicCnbl::hasHelp() const {
    return true;
}

QString CzRgbNirDemosaicCnbl::help(QString&) {
    return tr(
        "Extracts RGB or NIR part of captured RGB-NIR image.<br>"
        "RGB debayering without taking NIR pixels into account, NIR channel interpolated to match input "
        "image dimensions.");
}

// ---- Settings ----

bool CzRgbNirDemosaicCnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    const bool saved = CzImageProvider::saveSettings(document, element);
    writeSetting(element, channelSetting, channel());
    return saved;
}

bool CzRgbNirDemosaicCnbl::loadSettings(const QDomElement& element) {
    const bool loaded = CzImageProvider::loadSettings(element);
    const std::optional<int> channel = readSetting(element, channelSetting);
    if (!channel)
        return false;
    m_channel = *channel;
    return loaded;
}

// ---- Processing ----

bool CzRgbNirDemosaicCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                           const CzImageMetadata* inputMetadata,
                                           CzImageMetadata* outputMetadata) {
    negotiate(channel(), input, output, inputMetadata ? *inputMetadata : CzImageMetadata(), outputMetadata);
    return true;
}

IzChainData* CzRgbNirDemosaicCnbl::processData(IzChainData* input) {
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image || !isRaw(image->picBuf()))
        return input;

    const int channel = this->channel();
    const SzPicBuf& picture = image->picBuf();
    const CzImageMetadata& metadata = image->imageMetadata();
    SzPicBufInfo format;
    CzImageMetadata outputMetadata;
    negotiate(channel, picture, format, metadata, &outputMetadata);
    OutputPicture output(memoryPool, this, format);
    if (!output)
        return nullptr;

    const SzCellPositions cell = cellPositions(metadata.hsiCameraParams);
    if (!demosaic(channel, *output, picture, cell)) {
        // What was not written still shows an older frame. This is rare: start over with a clear picture.
        clearPicture(*output);
        if (channel != nirChannel)
            CzPicBufAPI::FillChannelWithValue(*output, 3, 255);
        demosaic(channel, *output, picture, cell);
    }
    return output.deliver(image, outputMetadata);
}
