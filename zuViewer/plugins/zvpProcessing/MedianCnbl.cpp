// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianCnbl.h"

#include "ChannelCatalogue.h"
#include "ChannelKernels.h"
#include "MedianWidget.h"

#include <QMutexLocker>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

constexpr Setting<int> kernelSizeSetting{"kernelSize", 3};

/// Even sizes count as the next smaller odd one, everything up to 2 as the smallest kernel.
int radiusOf(int kernelSize) {
    return (std::max(kernelSize, 3) - 1) / 2;
}

int kernelSizeOf(int radius) {
    return 2 * radius + 1;
}

/// Channels and layout do not matter.
bool isSupported(const SzPicBufInfo& format) {
    return format.dataType == EzImageDataType::UInt8 || format.dataType == EzImageDataType::UInt16;
}

bool isMosaic(const SzPicBufInfo& format) {
    return format.colorFilterArray != EzColorFilterArray::None;
}

bool isHyperspectral(const SzPicBufInfo& format) {
    return format.colorFilterArray == EzColorFilterArray::Hyperspectral;
}

/// The format of one plane of a mosaic, or of any other picture as it is. Every mosaic is halved, whatever
/// its cell: planes of larger cells exceed the picture.
SzPicBufInfo planeFormat(const SzPicBufInfo& format) {
    SzPicBufInfo plane = format;
    plane.linePitch = 0;
    if (isMosaic(format)) {
        plane.width = format.width >> 1;
        plane.height = format.height >> 1;
        plane.channels = 1;
    }
    return plane;
}

/// Columns and rows of the cell that repeats over a mosaic.
struct SzPattern {
    std::uint32_t width;
    std::uint32_t height;

    std::size_t planeCount() const { return std::size_t{width} * height; }
};

/// That of a hyperspectral sensor without zones has no planes.
SzPattern patternOf(const SzPicBufInfo& format, const CzImageMetadata& metadata) {
    if (!isHyperspectral(format))
        return {2, 2};
    const auto& zones = metadata.hsiCameraParams.zones;
    return zones.isEmpty() ? SzPattern{0, 0} : SzPattern{zones.first().cellWidth, zones.first().cellHeight};
}

/// Whether the planes that were made for a run are those of this picture.
bool fits(const std::vector<HeapPicture>& planes, const SzPattern& pattern, const SzPicBufInfo& plane) {
    return !planes.empty() && planes.size() == pattern.planeCount() && planes.front()->width == plane.width &&
           planes.front()->height == plane.height && planes.front()->dataType == plane.dataType;
}

bool extractPlane(SzPicBuf& plane, const SzPicBuf& picture, const CzImageMetadata& metadata, int number) {
    if (isHyperspectral(picture))
        return extractHsiBand(plane, picture, metadata, number);
    return extractBayerPlane(plane, picture, static_cast<std::uint32_t>(number));
}

/// How many of a plane's samples have a place in the picture, from its upper left corner on. The pattern
/// begins in the picture's corner, whatever region of the sensor the plane came from.
struct SzInside {
    std::uint64_t columns;
    std::uint64_t lines;
};

SzInside insideOf(const SzPicBuf& picture, const SzPicBufInfo& plane, const SzPattern& pattern,
                  std::size_t number) {
    const auto count = [](std::uint64_t size, std::uint64_t first, std::uint64_t step) {
        return first < size ? (size - first + step - 1) / step : 0;
    };
    const std::uint64_t samples = packedLineBytes(picture) / bytesPerSample(picture.dataType);
    const std::uint64_t columns = count(samples, number % pattern.width * picture.channels, pattern.width);
    const std::uint64_t lines = count(picture.height, number / pattern.width, pattern.height);
    return {std::min<std::uint64_t>(plane.width, columns), std::min<std::uint64_t>(plane.height, lines)};
}

/// The same pixels with what their windows reach, as a picture that owns nothing. Planes of large cells hold
/// much more, which would be filtered for nothing.
SzPicBuf reached(const SzPicBuf& plane, const SzInside& inside, int radius) {
    SzPicBuf part;
    part.setPicFormat(plane);
    part.data = plane.data;
    const auto reach = static_cast<std::uint64_t>(radius);
    part.width = static_cast<std::uint32_t>(std::min<std::uint64_t>(plane.width, inside.columns + reach));
    part.height = static_cast<std::uint32_t>(std::min<std::uint64_t>(plane.height, inside.lines + reach));
    return part;
}

/// Puts what lies inside the picture of a plane back between the others.
template <class T>
void scatterPlane(const SzPicBuf& picture, const SzPicBuf& plane, const SzPattern& pattern,
                  std::size_t number, const SzInside& inside) {
    const PictureView<T> lines = view<T>(picture);
    const PictureView<const T> samples = view<const T>(plane);
    const std::size_t firstColumn = number % pattern.width * picture.channels;
    const std::size_t firstLine = number / pattern.width;
    for (std::size_t y = 0; y < inside.lines; ++y) {
        const T* const in = samples.row(y);
        T* const out = lines.row(firstLine + y * pattern.height) + firstColumn;
        for (std::size_t x = 0; x < inside.columns; ++x)
            out[x * pattern.width] = in[x];
    }
}

void scatterPlane(const SzPicBuf& picture, const SzPicBuf& plane, const SzPattern& pattern,
                  std::size_t number, const SzInside& inside) {
    if (picture.dataType == EzImageDataType::UInt8)
        scatterPlane<std::uint8_t>(picture, plane, pattern, number, inside);
    else
        scatterPlane<std::uint16_t>(picture, plane, pattern, number, inside);
}

/// Whether the planes together hold every sample of the picture. The last line or column of an odd size is in
/// none of them.
bool coverPicture(const SzPicBufInfo& plane, const SzPattern& pattern, const SzPicBufInfo& picture) {
    return picture.channels == 1 && std::uint64_t{plane.width} * pattern.width >= picture.width &&
           std::uint64_t{plane.height} * pattern.height >= picture.height;
}

} // namespace

// ---- Parameters ----

CzMedianCnbl::CzMedianCnbl()
    : CzImageProvider(EzChainableFlag::ConvertsPictures | EzChainableFlag::ReadsPaddedLines)
    , m_radius(radiusOf(kernelSizeSetting.defaultValue)) {}

CzMedianCnbl::~CzMedianCnbl() {
    freeRunResources();
}

int CzMedianCnbl::radius() const {
    QMutexLocker lock(&mutex);
    return m_radius;
}

void CzMedianCnbl::setRadius(int radius) {
    if (radius == this->radius())
        return;
    changeStopped(*this, [&] {
        QMutexLocker lock(&mutex);
        m_radius = radius;
    });
}

// ---- Identity ----

QString CzMedianCnbl::caption() {
    return tr("Median") + QStringLiteral(" (%1x%1)").arg(kernelSizeOf(radius()));
}

bool CzMedianCnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzMedianCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzMedianCnbl::duplicate() {
    auto* const copy = new CzMedianCnbl;
    copy->m_radius = radius();
    return copy;
}

QWidget* CzMedianCnbl::createConfigWidget() {
    return new CzMedianWidget(this);
}

bool CzMedianCnbl::isConfigurable() {
    return true;
}

bool CzMedianCnbl::hasHelp() const {
    return true;
}

QString CzMedianCnbl::help(QString&) {
    return tr("Performs the median filtering with given kernel size.");
}

// ---- Settings ----

bool CzMedianCnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    const bool saved = CzImageProvider::saveSettings(document, element);
    writeSetting(element, kernelSizeSetting, kernelSizeOf(radius()));
    return saved;
}

bool CzMedianCnbl::loadSettings(const QDomElement& element) {
    const bool loaded = CzImageProvider::loadSettings(element);
    const std::optional<int> kernelSize = readSetting(element, kernelSizeSetting);
    if (!kernelSize)
        return false;
    QMutexLocker lock(&mutex);
    m_radius = radiusOf(*kernelSize);
    return loaded;
}

// ---- Processing ----

bool CzMedianCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                   const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) {
    output = input;
    if (outputMetadata)
        *outputMetadata = inputMetadata ? *inputMetadata : CzImageMetadata();
    return true;
}

void CzMedianCnbl::setupStart() {
    SzPicBufInfo format;
    CzImageMetadata metadata;
    if (!currentInputImageInfo(format, &metadata) || !isSupported(format))
        return;
    const SzPicBufInfo plane = planeFormat(format);
    freeRunResources();
    CzPicBufAPI::MedianAllocBuffer(plane, radius(), &m_medianBuffer); // without it filtering is slower
    if (!isMosaic(format))
        return;
    if (isHyperspectral(format) && !metadata.hsiCameraParams.isValid())
        return; // no picture of such a sensor is filtered, and its cell may have any size
    const std::size_t planeCount = patternOf(format, metadata).planeCount();
    std::vector<HeapPicture> planesIn(planeCount);
    std::vector<HeapPicture> planesOut(planeCount);
    for (std::vector<HeapPicture>* planes : {&planesIn, &planesOut})
        for (HeapPicture& picture : *planes)
            if (!picture.allocate(plane))
                return;
    m_planesIn = std::move(planesIn);
    m_planesOut = std::move(planesOut);
}

void CzMedianCnbl::setupStop() {
    freeRunResources();
}

void CzMedianCnbl::freeRunResources() {
    CzPicBufAPI::MedianFreeBuffer(m_medianBuffer);
    m_medianBuffer = nullptr;
    m_planesIn.clear();
    m_planesOut.clear();
}

IzChainData* CzMedianCnbl::processData(IzChainData* input) {
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image || state() == EzChainableState::Bypassed)
        return input;

    const int radius = this->radius();
    const SzPicBuf& picture = image->picBuf();
    const CzImageMetadata& metadata = image->imageMetadata();
    if (!isSupported(picture)) {
        reportOnce(*this, &CzMedianCnbl::setErrorMessage, tr("The input image data type is not supported."));
        return input;
    }
    if (isHyperspectral(picture) && !metadata.hsiCameraParams.isSimpleMosaicFilter()) {
        reportOnce(*this, &CzMedianCnbl::setErrorMessage,
                   tr("Only the simple mosaic HSI images are supported."));
        return input;
    }

    OutputPicture output(memoryPool, this, picture);
    if (!output)
        return nullptr;
    const bool filtered = isMosaic(picture) ? filterPlanes(*output, picture, metadata, radius)
                                            : CzPicBufAPI::Median(picture, *output, radius, m_medianBuffer);
    if (!filtered) {
        reportOnce(*this, &CzMedianCnbl::setErrorMessage, tr("The processing failed."));
        return input;
    }
    return output.deliver(image, metadata);
}

bool CzMedianCnbl::filterPlanes(SzPicBuf& output, const SzPicBuf& input, const CzImageMetadata& metadata,
                                int radius) {
    const SzPicBufInfo plane = planeFormat(input);
    const SzPattern pattern = patternOf(input, metadata);
    if (!input.data || input.linePitch < packedLineBytes(input))
        return false;
    if (!coverPicture(plane, pattern, input))
        clearPicture(output);
    if (plane.width == 0 || plane.height == 0)
        return true; // too small for a plane
    if (!fits(m_planesIn, pattern, plane))
        return false;
    for (std::size_t i = 0; i < m_planesIn.size(); ++i) {
        const SzInside inside = insideOf(input, plane, pattern, i);
        if (inside.columns == 0 || inside.lines == 0)
            continue;
        SzPicBuf in = reached(*m_planesIn[i], inside, radius);
        SzPicBuf out = reached(*m_planesOut[i], inside, radius);
        if (!extractPlane(in, input, metadata, static_cast<int>(i)))
            clearPicture(in); // the picture has no sample of this band: no older frame may show
        if (!CzPicBufAPI::Median(in, out, radius, m_medianBuffer))
            return false;
        scatterPlane(output, out, pattern, i, inside);
    }
    return true;
}
