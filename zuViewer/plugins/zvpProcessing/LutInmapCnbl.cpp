// SPDX-License-Identifier: GPL-3.0-or-later
#include "LutInmapCnbl.h"

#include "ElementSupport.h"
#include "LutInmapCnblWidget.h"
#include "PicBufMeas.h"

#include <QMutexLocker>
#include <QRect>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace {

constexpr Setting<int> mapToRgbSetting{"MapToRGB", 0};
constexpr Setting<int> pseudoColorSetting{"PseudoColor", 0};
constexpr Setting<int> autoMinMaxSetting{"AutoMinMax", 1};
constexpr Setting<double> autoToleranceSetting{"AutoTolerance", 2};
constexpr Setting<qlonglong> srcMinSetting{"SrcMin", 0};
constexpr Setting<qlonglong> srcMaxSetting{"SrcMax", 255};
constexpr Setting<double> gammaSetting{"Gamma", 1.0};

/// The histogram is measured again after more than this.
constexpr int measurementIntervalMs = 125;

/// Stands for a measurement long ago, as a null time would not.
const QTime longAgo(0, 0, 0, 0);

/// Cut off after the point, and to what an integer can hold.
std::int32_t truncated(double value) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(value))
        return 0;
    return static_cast<std::int32_t>(std::clamp<double>(value, Limits::min(), Limits::max()));
}

/// So many per mille of the samples, cut off after the point, and to what an integer can hold.
std::uint64_t perMilleOf(std::uint64_t samples, std::int32_t tolerance) {
    constexpr double beyond = 18446744073709551616.0; // of 64 bits
    const double threshold = tolerance > 0 ? tolerance * static_cast<double>(samples) / 1000 : 0.0;
    return threshold < beyond ? static_cast<std::uint64_t>(threshold)
                              : std::numeric_limits<std::uint64_t>::max();
}

/// The first of the bins at which their running sum exceeds threshold.
template <class Iterator>
Iterator whereSumExceeds(std::uint64_t threshold, Iterator begin, Iterator end) {
    std::uint64_t sum = 0;
    return std::find_if(begin, end, [&](std::uint32_t count) { return (sum += count) > threshold; });
}

/// The ends of a channel's range, as bins.
std::pair<int, int> rangeOfBins(const QVector<std::uint32_t>& bins, std::uint64_t threshold) {
    const auto lowest = whereSumExceeds(threshold, bins.begin(), bins.end());
    const int low = lowest == bins.end() ? 0 : static_cast<int>(lowest - bins.begin());
    const auto end = bins.rend() - low; // down to the low bin, itself included
    const auto highest = whereSumExceeds(threshold, bins.rbegin(), end);
    return {low, highest == end ? 0 : static_cast<int>(bins.rend() - highest) - 1};
}

/// The largest sample of a depth, of whatever depth.
std::int64_t largestSample(std::uint32_t bitDepth) {
    return bitDepth < 63 ? (std::int64_t{1} << bitDepth) - 1 : std::numeric_limits<std::int64_t>::max();
}

/// A table for pictures of this format; null when there is none for it.
std::unique_ptr<CzLut> makeTable(const CzLutInmapCnbl::SzSettings& settings, const SzPicBufInfo& input) {
    auto lut = std::make_unique<CzLut>(input.bitDepth, input.channels, input.isColor);
    lut->pseudoColorIdx = settings.pseudoColor;
    CzLut::CzCompContrast& contrast = lut->compContrasts.first();
    contrast.srcMin = settings.srcMin;
    contrast.srcMax = settings.srcMax;
    contrast.gamma = settings.gamma;
    if (settings.mapToRgb)
        return lut->allocRgb(32) ? std::move(lut) : nullptr;
    lut->outBitDepth = input.bitDepth;
    lut->outChannels = input.channels;
    contrast.dstMin = 0;
    contrast.dstMax = largestSample(input.bitDepth);
    return lut->alloc() ? std::move(lut) : nullptr;
}

/// What becomes of a picture that no table fits.
void convertWithoutTable(bool mapToRgb, SzPicBuf& output, const SzPicBuf& input) {
    const bool converted = mapToRgb ? CzPicBufAPI::ConvertPicToRGB(input, output)
                                    : CzPicBufAPI::CopyPicBuf(output, input, false);
    if (converted)
        return;
    clearPicture(output); // which would still show an older frame
    if (mapToRgb)
        CzPicBufAPI::FillChannelWithValue(output, 3, 255);
}

/// The format and, when outputMetadata is not null, the metadata of the picture that comes out. Outputs may
/// be the inputs themselves.
void negotiate(bool mapToRgb, const SzPicBufInfo& input, SzPicBufInfo& output,
               const CzImageMetadata& inputMetadata, CzImageMetadata* outputMetadata) {
    // The picture and its metadata may disagree.
    const bool wasMosaic = input.colorFilterArray == EzColorFilterArray::Hyperspectral ||
                           inputMetadata.colorFilterArray == EzColorFilterArray::Hyperspectral;
    output = input;
    if (outputMetadata)
        *outputMetadata = inputMetadata;
    if (!mapToRgb)
        return;

    output.channels = 4;
    output.bitDepth = 8;
    output.dataType = EzImageDataType::UInt8;
    output.storageFormat = EzDataStorageFormat::Interleaved;
    output.colorFilterArray = EzColorFilterArray::None;
    output.isColor = true;
    output.linePitch = alignedLinePitch(output, 4);
    if (outputMetadata) {
        outputMetadata->colorFilterArray = EzColorFilterArray::None;
        if (wasMosaic) {
            outputMetadata->hsiCameraParams = CzHsiCameraParams();
            outputMetadata->mosaicName.clear();
        }
    }
}

} // namespace

std::optional<SzSampleRange> automaticRange(const CzHistoData& histogram, std::int32_t tolerance) {
    if (histogram.channels.isEmpty())
        return std::nullopt;
    const QVector<std::uint32_t>& first = histogram.channels.first().bins;
    const std::uint64_t threshold =
        perMilleOf(std::accumulate(first.begin(), first.end(), std::uint64_t{0}), tolerance);

    auto [low, high] = rangeOfBins(first, threshold);
    for (const CzHistoData::SzChannel& channel : histogram.channels) {
        const auto [channelLow, channelHigh] = rangeOfBins(channel.bins, threshold);
        low = std::min(low, channelLow);
        high = std::max(high, channelHigh);
    }
    return SzSampleRange{std::int64_t{low} << histogram.binShift, std::int64_t{high} << histogram.binShift};
}

// ---- Parameters ----

CzLutInmapCnbl::CzLutInmapCnbl()
    : CzImageProvider(EzChainableFlag::ConvertsPictures | EzChainableFlag::ReadsPaddedLines)
    , m_settings{mapToRgbSetting.defaultValue > 0,   pseudoColorSetting.defaultValue,
                 autoMinMaxSetting.defaultValue > 0, truncated(autoToleranceSetting.defaultValue),
                 srcMinSetting.defaultValue,         srcMaxSetting.defaultValue,
                 gammaSetting.defaultValue} {}

CzLutInmapCnbl::~CzLutInmapCnbl() = default;

CzLutInmapCnbl::SzSettings CzLutInmapCnbl::settings() const {
    QMutexLocker lock(&mutex);
    return m_settings;
}

void CzLutInmapCnbl::setSettings(const SzSettings& settings) {
    QMutexLocker lock(&mutex);
    m_settings = settings;
    m_changed = true;
}

void CzLutInmapCnbl::setClock(std::function<QTime()> clock) {
    m_clock = std::move(clock);
}

// ---- Identity ----

QString CzLutInmapCnbl::caption() {
    return tr("LUT Mapping");
}

bool CzLutInmapCnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzLutInmapCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzLutInmapCnbl::duplicate() {
    auto* const copy = new CzLutInmapCnbl;
    copy->m_settings = settings();
    return copy;
}

QWidget* CzLutInmapCnbl::createConfigWidget() {
    return new CzLutInmapCnblWidget(this);
}

bool CzLutInmapCnbl::isConfigurable() {
    return true;
}

bool CzLutInmapCnbl::hasHelp() const {
    return true;
}

QString CzLutInmapCnbl::help(QString&) {
    return tr("Maximizes or changes contrast, applies LUTs.");
}

// ---- Settings ----

bool CzLutInmapCnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    const bool saved = CzImageProvider::saveSettings(document, element);
    const SzSettings current = settings();
    writeSetting(element, mapToRgbSetting, current.mapToRgb ? 1 : 0);
    writeSetting(element, pseudoColorSetting, current.pseudoColor);
    writeSetting(element, autoMinMaxSetting, current.autoMinMax ? 1 : 0);
    writeSetting(element, autoToleranceSetting, current.autoTolerance);
    writeSetting(element, srcMinSetting, qlonglong{current.srcMin});
    writeSetting(element, srcMaxSetting, qlonglong{current.srcMax});
    writeSetting(element, gammaSetting, current.gamma);
    return saved;
}

bool CzLutInmapCnbl::loadSettings(const QDomElement& element) {
    const bool loaded = CzImageProvider::loadSettings(element);
    SzSettings read = settings();
    if (const auto value = readSetting(element, mapToRgbSetting))
        read.mapToRgb = *value > 0;
    if (const auto value = readSetting(element, pseudoColorSetting))
        read.pseudoColor = *value;
    if (const auto value = readSetting(element, autoMinMaxSetting))
        read.autoMinMax = *value > 0;
    if (const auto value = readSetting(element, autoToleranceSetting))
        read.autoTolerance = truncated(*value);
    if (const auto value = readSetting(element, srcMinSetting))
        read.srcMin = *value;
    if (const auto value = readSetting(element, srcMaxSetting))
        read.srcMax = *value;
    if (const auto value = readSetting(element, gammaSetting))
        read.gamma = *value;
    setSettings(read);
    return loaded;
}

// ---- Processing ----

bool CzLutInmapCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                     const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) {
    negotiate(settings().mapToRgb, input, output, inputMetadata ? *inputMetadata : CzImageMetadata(),
              outputMetadata);
    return true;
}

IzChainData* CzLutInmapCnbl::processData(IzChainData* input) {
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image)
        return input;

    SzSettings current = takeSettings();
    const SzPicBuf& picture = image->picBuf();
    SzPicBufInfo format;
    CzImageMetadata metadata;
    negotiate(current.mapToRgb, picture, format, image->imageMetadata(), &metadata);
    OutputPicture output(memoryPool, this, format);
    if (!output)
        return nullptr;

    if (m_lut && !m_lut->isCompatibleWith(&*output, &picture))
        dropTable();
    if (current.autoMinMax) {
        const QTime now = m_clock();
        if (measurementIsDue(now)) {
            m_histogramTimer = now;
            findRange(*image, current);
        }
    }
    if (!m_lut)
        m_lut = makeTable(current, picture);
    if (!m_lut || !m_lut->apply(&*output, &picture, &image->imageMetadata()))
        convertWithoutTable(current.mapToRgb, *output, picture);
    return output.deliver(image, metadata);
}

/// The settings of the moment; a table that was made with other ones is dropped.
CzLutInmapCnbl::SzSettings CzLutInmapCnbl::takeSettings() {
    QMutexLocker lock(&mutex);
    if (std::exchange(m_changed, false))
        dropTable();
    return m_settings;
}

void CzLutInmapCnbl::dropTable() {
    m_lut.reset();
    m_histogramTimer = longAgo;
}

bool CzLutInmapCnbl::measurementIsDue(const QTime& now) const {
    if (m_histogramTimer == longAgo) // also in the first moments of a day
        return true;
    constexpr int day = 24 * 60 * 60 * 1000;
    const int elapsed = m_histogramTimer.msecsTo(now);
    return (elapsed < 0 ? elapsed + day : elapsed) > measurementIntervalMs;
}

/// Takes the range from the picture. A table with another one goes; the timer, just started, stays.
void CzLutInmapCnbl::findRange(const CzImageData& image, SzSettings& current) {
    using Flag = CzHistoData::EzHistoDataFlag;
    CzHistoData histogram;
    CzPicBufMeas::measureHistogram(histogram, &image, QRect(),
                                   Flag::Bins | Flag::MinMax | Flag::Mean | Flag::Deviation);
    const auto range = automaticRange(histogram, current.autoTolerance);
    if (!range || (range->smallest == current.srcMin && range->largest == current.srcMax))
        return;
    current.srcMin = range->smallest;
    current.srcMax = range->largest;
    m_lut.reset();
    QMutexLocker lock(&mutex);
    if (!m_changed) { // meanwhile by the user, who decides
        m_settings.srcMin = current.srcMin;
        m_settings.srcMax = current.srcMax;
    }
}
