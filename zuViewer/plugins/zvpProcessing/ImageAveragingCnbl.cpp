// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImageAveragingCnbl.h"

#include "AveratingConfigurationWgt.h"
#include "ImageAveragingKernels.h"
#include "PicBufMeas.h"

#include <QDebug>
#include <QMutexLocker>
#include <QRect>
#include <QThread>

#include <limits>
#include <optional>

namespace {

constexpr Setting<int> countSetting{"averageCount", 3};
constexpr Setting<int> subtractSetting{"subtractFromAverage", 0};
// Saved chains find it under this spelling.
constexpr Setting<int> lineSetting{"lineAveraing", LinesAsTheyAre};

void logFailedAllocation(int line) {
    qCritical().noquote().nospace()
        << "0x" << QString::number(reinterpret_cast<quintptr>(QThread::currentThreadId()), 16)
        << " zuViewer/plugins/zvpProcessing/ImageAveragingCnbl L" << line << ": "
        << QStringLiteral("CzImageAveragingCnbl::setupStart(): %1").arg(QStringLiteral("Allocation failed."));
}

bool measureMeans(CzHistoData& histogram, const SzPicBuf& picture) {
    using Flag = CzHistoData::EzHistoDataFlag;
    return CzPicBufMeas::measureHistogram(histogram, picture, QRect(),
                                          Flag::MinMax | Flag::Mean | Flag::Deviation);
}

/// Clears what no kernel writes and what would still show an older frame.
void clearUnsummedSamples(SzPicBuf& picture) {
    if (hasUnsummedSample(picture))
        CzPicBufAPI::FillChannelWithValue(picture, 3, 0);
}

} // namespace

// ---- Parameters ----

CzImageAveragingCnbl::CzImageAveragingCnbl()
    : CzImageProvider(EzChainableFlag::ConvertsPictures)
    , m_parameters{countSetting.defaultValue, subtractSetting.defaultValue != 0, lineSetting.defaultValue} {}

int CzImageAveragingCnbl::averageCount() const {
    return parameters().averageCount;
}

void CzImageAveragingCnbl::setAverageCount(int count) {
    QMutexLocker lock(&mutex);
    m_parameters.averageCount = count;
}

bool CzImageAveragingCnbl::subtractFromAverage() const {
    return parameters().subtractFromAverage;
}

void CzImageAveragingCnbl::setSubtractFromAverage(bool subtract) {
    QMutexLocker lock(&mutex);
    m_parameters.subtractFromAverage = subtract;
    m_averageReady = false;
}

int CzImageAveragingCnbl::lineAveraging() const {
    return parameters().lineAveraging;
}

void CzImageAveragingCnbl::setLineAveraging(int mode) {
    QMutexLocker lock(&mutex);
    m_parameters.lineAveraging = mode;
}

CzImageAveragingCnbl::Parameters CzImageAveragingCnbl::parameters() const {
    QMutexLocker lock(&mutex);
    return m_parameters;
}

bool CzImageAveragingCnbl::averageReady() const {
    QMutexLocker lock(&mutex);
    return m_averageReady;
}

// ---- Identity ----

QString CzImageAveragingCnbl::caption() {
    return tr("Averaging (%1)").arg(averageCount());
}

bool CzImageAveragingCnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzImageAveragingCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzImageAveragingCnbl::duplicate() {
    auto* const copy = new CzImageAveragingCnbl;
    copy->m_parameters = parameters();
    return copy;
}

QWidget* CzImageAveragingCnbl::createConfigWidget() {
    return new CzAveratingConfigurationWgt(this);
}

bool CzImageAveragingCnbl::isConfigurable() {
    return true;
}

bool CzImageAveragingCnbl::hasHelp() const {
    return true;
}

QString CzImageAveragingCnbl::help(QString&) {
    return tr("This object averages the user defined amounf of images into one output image."
              "When all the images are averaged then the output is sent to the rest of the processing chain "
              "and next serie of the input images is averaged. <br>Warning:<ul>"
              "<li> The output framerate is decreased by the number of averaged input images.</li>"
              "<li> The static images are not averaged.</li></ul>");
}

// ---- Settings ----

bool CzImageAveragingCnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    const bool saved = CzImageProvider::saveSettings(document, element);
    const Parameters current = parameters();
    writeSetting(element, countSetting, current.averageCount);
    writeSetting(element, subtractSetting, current.subtractFromAverage ? 1 : 0);
    writeSetting(element, lineSetting, current.lineAveraging);
    return saved;
}

bool CzImageAveragingCnbl::loadSettings(const QDomElement& element) {
    bool loaded = CzImageProvider::loadSettings(element);
    Parameters read = parameters();
    const QString countKey = QLatin1String(countSetting.key);
    const bool countFound = element.hasAttribute(countKey);
    if (countFound) // decides by itself, whatever the base class found
        read.averageCount = element.attribute(countKey).toInt(&loaded);
    const QString subtractKey = QLatin1String(subtractSetting.key);
    if (element.hasAttribute(subtractKey))
        read.subtractFromAverage = element.attribute(subtractKey) != QLatin1String("0");
    read.lineAveraging = readSetting(element, lineSetting).value_or(read.lineAveraging);

    QMutexLocker lock(&mutex);
    m_parameters = read;
    return loaded && countFound;
}

// ---- Processing ----

bool CzImageAveragingCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                           const CzImageMetadata* inputMetadata,
                                           CzImageMetadata* outputMetadata) {
    output = input;
    if (outputMetadata)
        *outputMetadata = inputMetadata ? *inputMetadata : CzImageMetadata();
    return true;
}

void CzImageAveragingCnbl::setupStart() {
    SzPicBufInfo input;
    currentInputImageInfo(input, nullptr);
    if (!m_sums.allocate(sumFormat(input), true))
        logFailedAllocation(__LINE__);
    m_frameCounter = 0;
    if (subtractFromAverage() && !m_average.allocate(input))
        logFailedAllocation(__LINE__);
    QMutexLocker lock(&mutex);
    m_averageReady = false;
}

void CzImageAveragingCnbl::setupStop() {
    m_sums.free();
    m_average.free();
}

IzChainData* CzImageAveragingCnbl::processData(IzChainData* input) {
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image)
        return input;

    const Parameters current = parameters();
    if (!addToSeries(image->picBuf(), current))
        return nullptr;
    if (image->frameNo() == 0)
        return processStill(image, current);
    return current.subtractFromAverage ? subtract(image, current) : average(image, current);
}

/// Counts a picture, and sums it up unless it is an average by itself.
bool CzImageAveragingCnbl::addToSeries(const SzPicBuf& picture, const Parameters& current) {
    if (current.averageCount <= 1) {
        m_frameCounter = 1;
        return true;
    }
    if (!AccumulatePicture(picture, *m_sums))
        return false;
    if (m_frameCounter < std::numeric_limits<std::int32_t>::max()) // still pictures alone count without end
        ++m_frameCounter;
    return true;
}

/// Makes the average of a complete series, of which picture is the last one, and begins the next. On failure
/// the series goes on.
bool CzImageAveragingCnbl::completeSeries(SzPicBuf& average, const SzPicBuf& picture,
                                          const Parameters& current) {
    if (current.averageCount <= 1)
        return CzPicBufAPI::CopyPicBuf(average, picture, true);
    clearUnsummedSamples(average);
    if (!DivideSums(*m_sums, average, static_cast<std::uint32_t>(m_frameCounter)))
        return false;
    clearPicture(*m_sums);
    m_frameCounter = 0;
    return true;
}

IzChainData* CzImageAveragingCnbl::average(CzImageData* image, const Parameters& current) {
    if (m_frameCounter < current.averageCount)
        return nullptr;
    const SzPicBuf& picture = image->picBuf();
    OutputPicture output(memoryPool, this, picture);
    if (!output || !completeSeries(*output, picture, current))
        return nullptr;
    AverageLines(*output, current.lineAveraging);
    return output.deliver(image, image->imageMetadata());
}

IzChainData* CzImageAveragingCnbl::subtract(CzImageData* image, const Parameters& current) {
    const SzPicBuf& picture = image->picBuf();
    // Against the average before this picture's own.
    std::optional<OutputPicture> difference;
    if (averageReady()) {
        difference.emplace(memoryPool, this, picture);
        if (!*difference)
            return nullptr;
        if (CzPicBufAPI::CopyPicBuf(**difference, picture, true) &&
            SubtractFromAverage(*m_average, **difference, m_histogram))
            AverageLines(**difference, current.lineAveraging);
        else
            difference.reset(); // yet the series goes on
    }

    if (m_frameCounter >= current.averageCount) {
        if (!completeSeries(*m_average, picture, current))
            return nullptr;
        measureMeans(m_histogram, *m_average);
        QMutexLocker lock(&mutex);
        m_averageReady = true;
    }
    return difference ? difference->deliver(image, image->imageMetadata()) : nullptr;
}

/// A still picture passes on, except for its lines, or becomes its own mean: the sum it went into is not
/// asked.
IzChainData* CzImageAveragingCnbl::processStill(CzImageData* image, const Parameters& current) {
    if (!current.subtractFromAverage && current.lineAveraging == LinesAsTheyAre)
        return image;
    const SzPicBuf& picture = image->picBuf();
    if (current.subtractFromAverage)
        measureMeans(m_histogram, picture);
    OutputPicture output(memoryPool, this, picture);
    if (!output)
        return nullptr;
    if (current.subtractFromAverage) {
        if (output->storageFormat == EzDataStorageFormat::Planar)
            clearPicture(*output); // not all of it will be written
        if (!FillWithChannelMeans(*output, m_histogram))
            return nullptr;
    } else if (!CzPicBufAPI::CopyPicBuf(*output, picture, true)) {
        return nullptr;
    }
    AverageLines(*output, current.lineAveraging);
    return output.deliver(image, image->imageMetadata());
}
