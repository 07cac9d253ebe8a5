// SPDX-License-Identifier: GPL-3.0-or-later
#include "MosaicStatFilterChnbl.h"

#include "ElementSupport.h"
#include "MosaicStatFilterWidget.h"

#include <QMutexLocker>
#include <QRect>

#include <algorithm>
#include <limits>

namespace {

constexpr Setting<int> statFilterSetting{"statFilter", CzMosaicStatFilterChnbl::Average};
constexpr Setting<int> interpolationSetting{"interpolation", 1};

/// The pixels to look at, inclusive, and the repeating cell that covers them.
struct Pattern {
    std::int64_t left = 0;
    std::int64_t top = 0;
    std::int64_t right;
    std::int64_t bottom;
    std::int64_t width = 2;
    std::int64_t height = 2;

    /// A Bayer cell on the whole picture.
    explicit Pattern(const SzPicBufInfo& picture)
        : right(std::int64_t{picture.width} - 1), bottom(std::int64_t{picture.height} - 1) {}

    void setZone(const CzHsiCameraParams::CzFilterZone& zone) {
        width = zone.cellWidth;
        height = zone.cellHeight;
        if (!zone.hasRegion())
            return;
        left = zone.left;
        top = zone.top;
        right = zone.right;
        bottom = zone.bottom;
    }
};

/// For the format, which the metadata decide: without a valid sensor, a mosaic is taken sample by sample.
Pattern negotiatedPattern(const SzPicBufInfo& input, const CzImageMetadata* metadata) {
    Pattern pattern(input);
    if (!metadata || metadata->colorFilterArray != EzColorFilterArray::Hyperspectral)
        return pattern;
    if (metadata->hsiCameraParams.isValid())
        pattern.setZone(metadata->hsiCameraParams.zones.first());
    else
        pattern.width = pattern.height = 1;
    return pattern;
}

/// For the pixels, which the picture itself decides: without a zone, the cell is one of 0 × 0.
Pattern patternOf(const SzPicBuf& picture, const CzImageMetadata& metadata) {
    Pattern pattern(picture);
    if (picture.colorFilterArray == EzColorFilterArray::Hyperspectral)
        pattern.setZone(metadata.hsiCameraParams.zones.value(0));
    return pattern;
}

std::uint32_t cellCount(std::int64_t first, std::int64_t last, std::int64_t cell) {
    constexpr std::int64_t largest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min((last - first + 1) / cell, largest));
}

/// The format and, where there are both, the metadata of the filtered picture. Outputs may be the inputs
/// themselves.
void negotiate(std::int32_t statFilter, bool interpolation, const SzPicBufInfo& input, SzPicBufInfo& output,
               const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) {
    const Pattern pattern = negotiatedPattern(input, inputMetadata);
    const bool raw = isRaw(input);
    output = input;
    if (inputMetadata && outputMetadata)
        *outputMetadata = *inputMetadata;
    if (!raw)
        return;

    output.storageFormat = EzDataStorageFormat::Interleaved;
    output.isColor = false;
    if (statFilter != CzMosaicStatFilterChnbl::Normalize) {
        output.colorFilterArray = EzColorFilterArray::None;
        if (!interpolation) {
            output.width = cellCount(pattern.left, pattern.right, pattern.width);
            output.height = cellCount(pattern.top, pattern.bottom, pattern.height);
        }
        if (inputMetadata && outputMetadata) {
            outputMetadata->colorFilterArray = EzColorFilterArray::None;
            outputMetadata->hsiCameraParams = CzHsiCameraParams();
            outputMetadata->mosaicName.clear();
        }
    }
    output.linePitch = alignedLinePitch(output, 256);
}

/// False, and the output not written, when the host refuses or there is no such filter.
bool filter(std::int32_t statFilter, const SzPicBuf& input, const Pattern& pattern, SzPicBuf& output) {
    using Filter = bool (*)(const SzPicBuf&, const QRect&, int, int, SzPicBuf&);
    constexpr Filter filters[] = {
        &CzPicBufAPI::FilterMinOnMosaicPicBuf, &CzPicBufAPI::FilterMaxOnMosaicPicBuf,
        &CzPicBufAPI::FilterAvgOnMosaicPicBuf, &CzPicBufAPI::FilterNormalizeOnMosaicPicBuf};
    if (statFilter < 0 || statFilter >= CzMosaicStatFilterChnbl::statFilterCount)
        return false;
    const QRect area(QPoint(static_cast<int>(pattern.left), static_cast<int>(pattern.top)),
                     QPoint(static_cast<int>(pattern.right), static_cast<int>(pattern.bottom)));
    return filters[statFilter](input, area, static_cast<int>(pattern.width), static_cast<int>(pattern.height),
                               output);
}

} // namespace

// ---- Parameters ----

CzMosaicStatFilterChnbl::CzMosaicStatFilterChnbl()
    : CzImageProvider(EzChainableFlag::ConvertsPictures | EzChainableFlag::WantsRawPictures |
                      EzChainableFlag::ReadsPaddedLines)
    , m_parameters{statFilterSetting.defaultValue, interpolationSetting.defaultValue != 0} {}

CzMosaicStatFilterChnbl::Parameters CzMosaicStatFilterChnbl::parameters() const {
    QMutexLocker lock(&mutex);
    return m_parameters;
}

std::int32_t CzMosaicStatFilterChnbl::statFilter() const {
    return parameters().statFilter;
}

void CzMosaicStatFilterChnbl::setStatFilter(std::int32_t statFilter) {
    if (statFilter == this->statFilter())
        return;
    changeStopped(*this, [&] {
        QMutexLocker lock(&mutex);
        m_parameters.statFilter = statFilter;
    });
}

bool CzMosaicStatFilterChnbl::interpolation() const {
    return parameters().interpolation;
}

void CzMosaicStatFilterChnbl::setInterpolation(bool interpolation) {
    if (interpolation == this->interpolation())
        return;
    changeStopped(*this, [&] {
        QMutexLocker lock(&mutex);
        m_parameters.interpolation = interpolation;
    });
}

QString CzMosaicStatFilterChnbl::filterName(std::int32_t statFilter) {
    switch (statFilter) {
    case Minimum:
        return tr("Minimum");
    case Maximum:
        return tr("Maximum");
    case Average:
        return tr("Average");
    case Normalize:
        return tr("Normalize");
    default:
        return {};
    }
}

// ---- Identity ----

QString CzMosaicStatFilterChnbl::caption() {
    const Parameters current = parameters();
    QString text = tr("Mosaic") + QStringLiteral(" %1").arg(filterName(current.statFilter));
    if (current.interpolation && current.statFilter != Normalize)
        text += QStringLiteral(" (") + tr("interpolation") + QLatin1Char(')');
    return text;
}

bool CzMosaicStatFilterChnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzMosaicStatFilterChnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzMosaicStatFilterChnbl::duplicate() {
    // The copy interpolates, like every new element.
    auto* const copy = new CzMosaicStatFilterChnbl;
    copy->m_parameters.statFilter = statFilter();
    return copy;
}

QWidget* CzMosaicStatFilterChnbl::createConfigWidget() {
    return new CzMosaicStatFilterWidget(this);
}

bool CzMosaicStatFilterChnbl::isConfigurable() {
    return true;
}

bool CzMosaicStatFilterChnbl::hasHelp() const {
    return true;
}

QString CzMosaicStatFilterChnbl::help(QString&) {
    return tr("Applies a statistic filter on the input image."
              "<ul>"
              "<li><b>Minimum</b>: the output image contains the minimum from each hyperpixel.</li>"
              "<li><b>Maximum</b>: the output image contains the maximum from each hyperpixel.</li>"
              "<li><b>Averaging</b>: the output image contains the average from each hyperpixel.</li>"
              "<li><b>Normalize</b>: each hyperpixel is normalized to [0; maxIntensityValue].</li>"
              "</ul>"
              "If the <b>Interpolation</b> option is checked then the output image will have size of the "
              "input image decreased by one hyperpixel in width and height. "
              "The <b>mormalized</b> image has always the same size as the input image.");
}

// ---- Settings ----

bool CzMosaicStatFilterChnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    const bool saved = CzImageProvider::saveSettings(document, element);
    const Parameters current = parameters();
    writeSetting(element, statFilterSetting, current.statFilter);
    writeSetting(element, interpolationSetting, current.interpolation ? 1 : 0);
    return saved;
}

bool CzMosaicStatFilterChnbl::loadSettings(const QDomElement& element) {
    const bool loaded = CzImageProvider::loadSettings(element);
    const std::optional<int> statFilter = readSetting(element, statFilterSetting);
    if (!statFilter)
        return false;
    bool isNumber = false;
    element.attribute(QLatin1String(statFilterSetting.key)).toInt(&isNumber);
    const std::optional<int> interpolation = readSetting(element, interpolationSetting);
    QMutexLocker lock(&mutex);
    m_parameters.statFilter = *statFilter; // 0 when it is no number
    if (isNumber && interpolation)
        m_parameters.interpolation = *interpolation != 0;
    return loaded && isNumber;
}

// ---- Processing ----

bool CzMosaicStatFilterChnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                              const CzImageMetadata* inputMetadata,
                                              CzImageMetadata* outputMetadata) {
    const Parameters current = parameters();
    negotiate(current.statFilter, current.interpolation, input, output, inputMetadata, outputMetadata);
    return true;
}

IzChainData* CzMosaicStatFilterChnbl::processData(IzChainData* input) {
    // What other elements pass on ends here: the host releases it.
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image || state() == EzChainableState::Bypassed)
        return nullptr;

    const Parameters current = parameters();
    const SzPicBuf& picture = image->picBuf();
    const CzImageMetadata& metadata = image->imageMetadata();
    if (!isRaw(picture)) {
        reportOnce(*this, &CzMosaicStatFilterChnbl::setErrorMessage,
                   tr("The input image is not in RAW format."));
        return input;
    }
    if (picture.colorFilterArray == EzColorFilterArray::Hyperspectral &&
        !metadata.hsiCameraParams.isSimpleMosaicFilter()) {
        reportOnce(*this, &CzMosaicStatFilterChnbl::setErrorMessage,
                   tr("Only the simple mosaic HSI images are supported."));
        return input;
    }

    SzPicBufInfo format;
    CzImageMetadata outputMetadata;
    negotiate(current.statFilter, current.interpolation, picture, format, &metadata, &outputMetadata);
    OutputPicture output(memoryPool, this, format);
    if (!output)
        return nullptr;
    if (!filter(current.statFilter, picture, patternOf(picture, metadata), *output)) {
        reportOnce(*this, &CzMosaicStatFilterChnbl::setErrorMessage, tr("The processing failed."));
        return input;
    }
    if (output->dataType == EzImageDataType::Float32)
        CzPicBufAPI::CalcFloatDataMinMax(*output, output->floatMin, output->floatMax, false);
    // Unlike other elements: one picture that came through, and what was wrong before is forgotten.
    if (!errorMessage().isEmpty())
        setErrorMessage(QString());
    return output.deliver(image, outputMetadata);
}
