// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT2DCnbl.h"

#include "FFT2DWidget.h"

#include <QMutexLocker>

namespace {

constexpr Setting<int> channelSetting{"channel", -1};

/// The format of the parts of the spectrum and, when both are given, the metadata. False, and nothing
/// written, for pictures that cannot be transformed. Outputs may be the inputs themselves.
bool negotiate(std::int32_t channel, const SzPicBufInfo& input, SzPicBufInfo& output,
               const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) {
    if (!isTransformable(input))
        return false;
    output = channelSize(input, inputMetadata, channel);
    output.channels = 1;
    output.bitDepth = 32;
    output.dataType = EzImageDataType::SpectrumFloat32;
    output.storageFormat = EzDataStorageFormat::Interleaved;
    output.colorFilterArray = EzColorFilterArray::None;
    output.isColor = false;
    output.linePitch = alignedLinePitch(output, 256);
    if (inputMetadata && outputMetadata)
        *outputMetadata = withoutMosaic(*inputMetadata);
    return true;
}

} // namespace

// ---- Parameters ----

CzFFT2DCnbl::CzFFT2DCnbl()
    : CzImageProvider(EzChainableFlag::ConvertsPictures | EzChainableFlag::ReadsPaddedLines) {
    m_channel.channel = channelSetting.defaultValue;
}

std::int32_t CzFFT2DCnbl::channel() const {
    QMutexLocker lock(&mutex);
    return m_channel.channel;
}

void CzFFT2DCnbl::setChannel(std::int32_t channel) {
    changeStopped(*this, [&] {
        QMutexLocker lock(&mutex);
        m_channel.channel = channel;
    });
}

// ---- Identity ----

QString CzFFT2DCnbl::caption() {
    QMutexLocker lock(&mutex);
    return tr("FFT 2D(%1)").arg(m_channel.name());
}

bool CzFFT2DCnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzFFT2DCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzFFT2DCnbl::duplicate() {
    auto* const copy = new CzFFT2DCnbl;
    copy->m_channel.channel = channel();
    return copy;
}

QWidget* CzFFT2DCnbl::createConfigWidget() {
    return new CzFFT2DWidget(this);
}

bool CzFFT2DCnbl::isConfigurable() {
    QMutexLocker lock(&mutex);
    const SzPicBufInfo& input = m_channel.format;
    return input.channels != 1 || input.colorFilterArray != EzColorFilterArray::None;
}

bool CzFFT2DCnbl::hasHelp() const {
    return true;
}

QString CzFFT2DCnbl::help(QString&) {
    return tr("Performs the 2D Fast Fourier Transform on the given input image channel.");
}

// ---- Settings ----

bool CzFFT2DCnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    const bool saved = CzImageProvider::saveSettings(document, element);
    writeSetting(element, channelSetting, channel());
    return saved;
}

bool CzFFT2DCnbl::loadSettings(const QDomElement& element) {
    const bool loaded = CzImageProvider::loadSettings(element);
    const std::optional<int> channel = readSetting(element, channelSetting);
    if (!channel)
        return false;
    QMutexLocker lock(&mutex);
    m_channel.channel = *channel;
    return loaded;
}

// ---- Processing ----

bool CzFFT2DCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                  const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) {
    return negotiate(channel(), input, output, inputMetadata, outputMetadata);
}

void CzFFT2DCnbl::setupStart() {
    setupStop();
    SzPicBufInfo input;
    CzImageMetadata metadata;
    if (!currentInputImageInfo(input, &metadata))
        return;
    std::int32_t channel = 0;
    {
        QMutexLocker lock(&mutex);
        m_channel.start(input, metadata);
        channel = m_channel.channel;
    }

    SzPicBufInfo samples; // of the channel: the spectrum's size and the input's type
    if (!negotiate(channel, input, samples, &metadata, nullptr))
        return;
    samples.linePitch = 0;
    samples.bitDepth = input.bitDepth;
    samples.dataType = input.dataType;
    CzFFT::Alloc2D(samples, m_work.a, m_work.b, m_work.c);
    if (isCutOut(input, channel))
        m_extracted.allocate(samples);
}

void CzFFT2DCnbl::setupStop() {
    m_work.free();
    m_extracted.free();
}

IzChainData* CzFFT2DCnbl::processData(IzChainData* input) {
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image || state() == EzChainableState::Bypassed)
        return input;

    const std::int32_t chosen = channel();
    const SzPicBuf& picture = image->picBuf();
    const CzImageMetadata& metadata = image->imageMetadata();
    if (picture.dataType != EzImageDataType::UInt8 && picture.dataType != EzImageDataType::UInt16) {
        reportOnce(*this, &CzFFT2DCnbl::setErrorMessage, tr("The input image data type is not supported."));
        return input;
    }
    SzPicBufInfo format;
    CzImageMetadata outputMetadata;
    if (!negotiate(chosen, picture, format, &metadata, &outputMetadata))
        return nullptr;
    OutputPicture real(memoryPool, this, format);
    if (!real)
        return nullptr;
    OutputPicture imaginary(memoryPool, this, format);
    if (!imaginary)
        return nullptr;

    const SzPicBuf* const samples = channelSamples(picture, metadata, chosen, *m_extracted);
    if (!samples || !CzFFT::Calc2D(*samples, *real, *imaginary, m_work.a, m_work.b, m_work.c))
        return nullptr;
    return real.deliver(image, outputMetadata, imaginary);
}
