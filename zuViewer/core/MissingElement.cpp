// SPDX-License-Identifier: GPL-3.0-or-later
#include "MissingElement.h"

#include <QLabel>

CzMissingElement::CzMissingElement(const QString& uniqueId, const QString& xml)
    : CzImageProvider({}), m_uniqueId(uniqueId), m_xml(xml) {}

QString CzMissingElement::caption() {
    return tr("Missing: %1").arg(m_uniqueId);
}

bool CzMissingElement::acceptsPredecessor(QObject*) {
    return true;
}

int CzMissingElement::maxPredecessors() {
    return 1;
}

CzChainable* CzMissingElement::duplicate() {
    return new CzMissingElement(m_uniqueId, m_xml);
}

bool CzMissingElement::init(QString* errorText) {
    if (errorText)
        *errorText = tr("The element %1 is missing: no plug-in that was loaded knows it.").arg(m_uniqueId);
    return false;
}

QWidget* CzMissingElement::createConfigWidget() {
    return new QLabel(caption());
}

bool CzMissingElement::isConfigurable() {
    return false;
}

bool CzMissingElement::outputImageInfo(const SzPicBufInfo&, SzPicBufInfo&, const CzImageMetadata*,
                                       CzImageMetadata*) {
    return false;
}

IzChainData* CzMissingElement::processData(IzChainData* input) {
    return input;
}
