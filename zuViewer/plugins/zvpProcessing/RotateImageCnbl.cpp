// SPDX-License-Identifier: GPL-3.0-or-later
#include "RotateImageCnbl.h"

#include "ElementSupport.h"
#include "RotateConfigurationWidget.h"
#include "RotateImageKernels.h"

#include <QMutexLocker>

#include <utility>

namespace {

constexpr int counterclockwiseButton = 0;
constexpr int clockwiseButton = 1;

EzColorFilterArray turned(EzColorFilterArray arrangement, bool clockwise) {
    switch (arrangement) {
    case EzColorFilterArray::BayerRGGB:
        return clockwise ? EzColorFilterArray::BayerGRBG : EzColorFilterArray::BayerGBRG;
    case EzColorFilterArray::BayerGRBG:
        return clockwise ? EzColorFilterArray::BayerBGGR : EzColorFilterArray::BayerRGGB;
    case EzColorFilterArray::BayerGBRG:
        return clockwise ? EzColorFilterArray::BayerRGGB : EzColorFilterArray::BayerBGGR;
    case EzColorFilterArray::BayerBGGR:
        return clockwise ? EzColorFilterArray::BayerGBRG : EzColorFilterArray::BayerGRBG;
    default:
        return arrangement;
    }
}

/// The format and, when outputMetadata is not null, the metadata of the turned picture.
void negotiate(bool clockwise, const SzPicBufInfo& input, SzPicBufInfo& output,
               const CzImageMetadata& inputMetadata, CzImageMetadata* outputMetadata) {
    output = input;
    std::swap(output.width, output.height);
    output.linePitch = alignedLinePitch(output, 1);
    output.colorFilterArray = turned(output.colorFilterArray, clockwise);
    if (outputMetadata) {
        *outputMetadata = inputMetadata;
        outputMetadata->updateFromPicBufInfo(&output);
    }
}

} // namespace

// ---- Parameters ----

CzRotateImageCnbl::CzRotateImageCnbl() : CzImageProvider(EzChainableFlag::ConvertsPictures) {}

bool CzRotateImageCnbl::clockwise() const {
    QMutexLocker lock(&mutex);
    return m_clockwise;
}

void CzRotateImageCnbl::setDirection(bool clockwise, bool restartChain) {
    const auto store = [&] {
        QMutexLocker lock(&mutex);
        m_clockwise = clockwise;
    };
    if (!restartChain)
        store();
    else if (clockwise != this->clockwise())
        changeStopped(*this, store);
}

// ---- Identity ----

QString CzRotateImageCnbl::caption() {
    return tr("Rotate");
}

bool CzRotateImageCnbl::acceptsPredecessor(QObject* candidate) {
    return qobject_cast<CzImageProvider*>(candidate);
}

int CzRotateImageCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzRotateImageCnbl::duplicate() {
    auto* const copy = new CzRotateImageCnbl;
    copy->m_clockwise = clockwise();
    return copy;
}

QWidget* CzRotateImageCnbl::createConfigWidget() {
    return new CzRotateConfigurationWidget(this);
}

bool CzRotateImageCnbl::isConfigurable() {
    return true;
}

void CzRotateImageCnbl::simpleStateConfigButtons(QList<CzSimpleStateConfigButton>& buttons, bool& exclusive) {
    appendExclusiveButtons(buttons, exclusive, {tr("CCW"), tr("CW")},
                           {counterclockwiseButton, clockwiseButton},
                           clockwise() ? clockwiseButton : counterclockwiseButton);
}

void CzRotateImageCnbl::simpleStateConfigButtonPressed(int id) {
    setDirection(id == clockwiseButton, true);
}

// ---- Processing ----

bool CzRotateImageCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                        const CzImageMetadata* inputMetadata,
                                        CzImageMetadata* outputMetadata) {
    negotiate(clockwise(), input, output, inputMetadata ? *inputMetadata : CzImageMetadata(), outputMetadata);
    return true;
}

IzChainData* CzRotateImageCnbl::processData(IzChainData* input) {
    // What other elements pass on ends here: the host releases it.
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image || state() == EzChainableState::Bypassed || !image->picBuf().data)
        return nullptr;

    const bool clockwise = this->clockwise();
    const SzPicBuf& picture = image->picBuf();
    SzPicBufInfo format;
    CzImageMetadata metadata;
    negotiate(clockwise, picture, format, image->imageMetadata(), &metadata);
    OutputPicture output(memoryPool, this, format, true);
    if (!output)
        return nullptr;

    if (picture.storageFormat == EzDataStorageFormat::Planar)
        clearPicture(*output); // only its first plane will be written
    if (!rotateImage(*output, picture,
                     clockwise ? EzQuarterTurn::Clockwise : EzQuarterTurn::Counterclockwise))
        return nullptr;
    output->floatMin = picture.floatMin;
    output->floatMax = picture.floatMax;
    return output.deliver(image, metadata);
}
