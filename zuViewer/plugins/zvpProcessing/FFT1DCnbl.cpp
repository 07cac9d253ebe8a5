// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DCnbl.h"

#include "FFT1DKernels.h"
#include "FFT1DWidget.h"

#include <QMutexLocker>

namespace {

constexpr Setting<int> channelSetting{"channel", -1};
constexpr Setting<int> transtypeSetting{"transtype", 1};
constexpr Setting<int> includeDCSetting{"includeDC", 1};
constexpr Setting<int> logarithmicYSetting{"logarY", 0};
constexpr Setting<int> gridXSetting{"gridX", 1};
constexpr Setting<int> gridYSetting{"gridY", 1};
constexpr Setting<int> autoScaleYSetting{"autoScaleY", 1};
constexpr Setting<double> minYSetting{"minY", 0.0};
constexpr Setting<double> maxYSetting{"maxY", 400000.0};

constexpr std::uint32_t lineAlignment = 256; // bytes

/// The format of the plot and, when both are given, the metadata. False, and nothing written, for pictures
/// that cannot be transformed. Outputs may be the inputs themselves.
bool negotiate(const SzPicBufInfo& input, SzPicBufInfo& output, const CzImageMetadata* inputMetadata,
               CzImageMetadata* outputMetadata) {
    if (!isTransformable(input))
        return false;
    output = input;
    output.channels = 4;
    output.bitDepth = 8;
    output.dataType = EzImageDataType::UInt8;
    output.storageFormat = EzDataStorageFormat::Interleaved;
    output.colorFilterArray = EzColorFilterArray::None;
    output.isColor = true;
    output.linePitch = alignedLinePitch(output, lineAlignment);
    if (inputMetadata && outputMetadata)
        *outputMetadata = withoutMosaic(*inputMetadata);
    return true;
}

/// The format of the chosen channel of the input.
SzPicBufInfo channelFormat(const SzPicBufInfo& input, const CzImageMetadata& metadata, std::int32_t channel) {
    SzPicBufInfo format = channelSize(input, &metadata, channel);
    format.channels = 1;
    format.colorFilterArray = EzColorFilterArray::None;
    format.isColor = false;
    format.linePitch = alignedLinePitch(format, lineAlignment);
    return format;
}

/// Reads a parameter and hands it to apply. False when there is none.
template <class T, class Apply>
bool load(const QDomElement& element, const Setting<T>& setting, Apply&& apply) {
    const std::optional<T> value = readSetting(element, setting);
    if (value)
        apply(*value);
    return value.has_value();
}

} // namespace

// ---- Parameters ----

CzFFT1DCnbl::CzFFT1DCnbl()
    : CzImageProvider(EzChainableFlag::ConvertsPictures | EzChainableFlag::ReadsPaddedLines)
    , m_transtype(transtypeSetting.defaultValue)
    , m_includeDC(includeDCSetting.defaultValue != 0)
    , m_autoScaleY(autoScaleYSetting.defaultValue != 0)
    , m_minY(minYSetting.defaultValue)
    , m_maxY(maxYSetting.defaultValue) {
    m_channel.channel = channelSetting.defaultValue;
    m_plot.setLogarithmicY(logarithmicYSetting.defaultValue != 0);
    m_plot.setGridXShown(gridXSetting.defaultValue != 0);
    m_plot.setGridYShown(gridYSetting.defaultValue != 0);
}

std::int32_t CzFFT1DCnbl::channel() const {
    QMutexLocker lock(&mutex);
    return m_channel.channel;
}

void CzFFT1DCnbl::setChannel(std::int32_t channel) {
    QMutexLocker lock(&mutex);
    m_channel.channel = channel;
}

std::int32_t CzFFT1DCnbl::transtype() const {
    QMutexLocker lock(&mutex);
    return m_transtype;
}

void CzFFT1DCnbl::setTranstype(std::int32_t transtype) {
    QMutexLocker lock(&mutex);
    m_transtype = transtype;
}

bool CzFFT1DCnbl::includeDC() const {
    QMutexLocker lock(&mutex);
    return m_includeDC;
}

void CzFFT1DCnbl::setIncludeDC(bool include) {
    QMutexLocker lock(&mutex);
    m_includeDC = include;
}

bool CzFFT1DCnbl::logarithmicY() const {
    QMutexLocker lock(&mutex);
    return m_plot.isLogarithmicY();
}

void CzFFT1DCnbl::setLogarithmicY(bool logarithmic) {
    QMutexLocker lock(&mutex);
    m_plot.setLogarithmicY(logarithmic);
}

bool CzFFT1DCnbl::gridX() const {
    QMutexLocker lock(&mutex);
    return m_plot.isGridXShown();
}

void CzFFT1DCnbl::setGridX(bool shown) {
    QMutexLocker lock(&mutex);
    m_plot.setGridXShown(shown);
}

bool CzFFT1DCnbl::gridY() const {
    QMutexLocker lock(&mutex);
    return m_plot.isGridYShown();
}

void CzFFT1DCnbl::setGridY(bool shown) {
    QMutexLocker lock(&mutex);
    m_plot.setGridYShown(shown);
}

bool CzFFT1DCnbl::autoScaleY() const {
    QMutexLocker lock(&mutex);
    return m_autoScaleY;
}

void CzFFT1DCnbl::setAutoScaleY(bool automatic) {
    QMutexLocker lock(&mutex);
    m_autoScaleY = automatic;
}

double CzFFT1DCnbl::minY() const {
    QMutexLocker lock(&mutex);
    return m_minY;
}

void CzFFT1DCnbl::setMinY(double amplitude) {
    QMutexLocker lock(&mutex);
    m_minY = amplitude;
}

double CzFFT1DCnbl::maxY() const {
    QMutexLocker lock(&mutex);
    return m_maxY;
}

void CzFFT1DCnbl::setMaxY(double amplitude) {
    QMutexLocker lock(&mutex);
    m_maxY = amplitude;
}

CzFFT1DCnbl::Parameters CzFFT1DCnbl::parameters() const {
    QMutexLocker lock(&mutex);
    return {m_channel.channel, m_transtype, m_includeDC, m_autoScaleY, m_minY, m_maxY};
}

// ---- Identity ----

QString CzFFT1DCnbl::caption() {
    QMutexLocker lock(&mutex);
    return tr("FFT 1D(%1, %2)").arg(m_channel.name(), m_transtype != 0 ? tr("cols") : tr("rows"));
}

bool CzFFT1DCnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzFFT1DCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzFFT1DCnbl::duplicate() {
    // The plot of the copy looks as that of a new element.
    auto* const copy = new CzFFT1DCnbl;
    copy->m_channel.channel = channel();
    copy->m_transtype = transtype();
    return copy;
}

QWidget* CzFFT1DCnbl::createConfigWidget() {
    return new CzFFT1DWidget(this);
}

bool CzFFT1DCnbl::isConfigurable() {
    return true;
}

bool CzFFT1DCnbl::hasHelp() const {
    return true;
}

QString CzFFT1DCnbl::help(QString&) {
    return tr("Performs the 1D Fast Fourier Transform on the rows or columns of the input image.");
}

// ---- Settings ----

bool CzFFT1DCnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    const bool saved = CzImageProvider::saveSettings(document, element);
    const Parameters current = parameters();
    writeSetting(element, channelSetting, current.channel);
    writeSetting(element, transtypeSetting, current.transtype);
    writeSetting(element, includeDCSetting, current.includeDC ? 1 : 0);
    writeSetting(element, logarithmicYSetting, logarithmicY() ? 1 : 0);
    writeSetting(element, gridXSetting, gridX() ? 1 : 0);
    writeSetting(element, gridYSetting, gridY() ? 1 : 0);
    writeSetting(element, autoScaleYSetting, current.autoScaleY ? 1 : 0);
    writeSetting(element, minYSetting, current.minY);
    writeSetting(element, maxYSetting, current.maxY);
    return saved;
}

bool CzFFT1DCnbl::loadSettings(const QDomElement& element) {
    bool loaded = CzImageProvider::loadSettings(element);
    // What is missing keeps its value; what follows is read all the same.
    loaded &= load(element, channelSetting, [this](int value) { setChannel(value); });
    loaded &= load(element, transtypeSetting, [this](int value) { setTranstype(value); });
    loaded &= load(element, includeDCSetting, [this](int value) { setIncludeDC(value != 0); });
    loaded &= load(element, logarithmicYSetting, [this](int value) { setLogarithmicY(value != 0); });
    loaded &= load(element, gridXSetting, [this](int value) { setGridX(value != 0); });
    loaded &= load(element, gridYSetting, [this](int value) { setGridY(value != 0); });
    loaded &= load(element, autoScaleYSetting, [this](int value) { setAutoScaleY(value != 0); });
    loaded &= load(element, minYSetting, [this](double value) { setMinY(value); });
    loaded &= load(element, maxYSetting, [this](double value) { setMaxY(value); });
    return loaded;
}

// ---- Processing ----

bool CzFFT1DCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                  const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) {
    return negotiate(input, output, inputMetadata, outputMetadata);
}

void CzFFT1DCnbl::setupStart() {
    setupStop();
    SzPicBufInfo input;
    CzImageMetadata metadata;
    if (!currentInputImageInfo(input, &metadata))
        return;
    {
        QMutexLocker lock(&mutex);
        m_channel.start(input, metadata);
    }
    const Parameters current = parameters();
    SzPicBufInfo output;
    if (!negotiate(input, output, &metadata, nullptr))
        return;

    m_samples = channelFormat(input, metadata, current.channel);
    // Every number but 1 takes its length from the width, though all but 0 have one value per row.
    const std::uint32_t samples = current.transtype == 1 ? m_samples.height : m_samples.width;
    const int length = static_cast<int>(samples);
    if (CzFFT::Alloc1D(length, m_work.a, m_work.b, m_work.c)) {
        m_profile.resize(samples);
        m_real.resize(samples);
        m_imaginary.resize(samples);
        const int points = length / 2 - (length % 2 == 0 && !current.includeDC ? 1 : 0);
        m_amplitudes.resize(points);
        m_x.resize(points);
        for (int i = 0; i < points; ++i)
            m_x[i] = i / (2.0 * points); // the points share the whole axis
    }
    if (isCutOut(input, current.channel))
        m_extracted.allocate(m_samples);

    QMutexLocker lock(&mutex);
    m_plot.prepare(static_cast<int>(output.width), static_cast<int>(output.height));
}

void CzFFT1DCnbl::setupStop() {
    m_work.free();
    m_extracted.free();
    for (std::vector<float>* const values : {&m_profile, &m_real, &m_imaginary})
        *values = std::vector<float>();
}

IzChainData* CzFFT1DCnbl::processData(IzChainData* input) {
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image || state() == EzChainableState::Bypassed)
        return input;

    const Parameters current = parameters();
    const SzPicBuf& picture = image->picBuf();
    const CzImageMetadata& metadata = image->imageMetadata();
    if (picture.dataType != EzImageDataType::UInt8 && picture.dataType != EzImageDataType::UInt16) {
        reportOnce(*this, &CzFFT1DCnbl::setErrorMessage, tr("The input image data type is not supported."));
        return input;
    }
    SzPicBufInfo format;
    CzImageMetadata outputMetadata;
    if (!negotiate(picture, format, &metadata, &outputMetadata))
        return nullptr;
    OutputPicture output(memoryPool, this, format);
    if (!output)
        return nullptr;

    const SzPicBuf* const samples = channelSamples(picture, metadata, current.channel, *m_extracted);
    if (!samples || !transform(*samples, current) || !plot(*output, current))
        return nullptr;
    return output.deliver(image, outputMetadata);
}

/// False for samples of another size than at the start, and where the start could not make the transform.
bool CzFFT1DCnbl::transform(const SzPicBuf& samples, const Parameters& current) {
    return samples.width == m_samples.width && samples.height == m_samples.height &&
           meanProfile(samples, current.transtype != 0, m_profile.data(), m_profile.size()) &&
           CzFFT::Calc1D(m_profile.data(), m_real.data(), m_imaginary.data(), m_work.a, m_work.b, m_work.c);
}

bool CzFFT1DCnbl::plot(SzPicBuf& picture, const Parameters& current) {
    const auto length = static_cast<int>(m_profile.size());
    const SzAmplitudeRange range = spectrumAmplitudes(m_real.data(), m_imaginary.data(), length,
                                                      length / 2 + (current.includeDC ? 0 : 1),
                                                      m_amplitudes.data(), m_amplitudes.size());
    const double lower = current.autoScaleY ? range.smallest : current.minY;
    const double upper = current.autoScaleY ? range.largest : current.maxY;
    // The plot is the one thing that both threads use.
    QMutexLocker lock(&mutex);
    return m_plot.draw(picture, m_x, m_amplitudes, lower, upper);
}
