// SPDX-License-Identifier: GPL-3.0-or-later
#include "TestElements.h"

#include "ChainData.h"
#include "CoreVersion.h"
#include "ImageMetadata.h"
#include "RTTI.h"

#include <QDomElement>

#include <chrono>
#include <stdexcept>
#include <thread>

CzTroubleCnbl::CzTroubleCnbl() : CzImageProvider(EzChainableFlag::ReadsPaddedLines) {}

QString CzTroubleCnbl::caption() {
    return QStringLiteral("Trouble at %1").arg(m_throwAt);
}

bool CzTroubleCnbl::acceptsPredecessor(QObject*) {
    return true;
}

int CzTroubleCnbl::maxPredecessors() {
    return 1;
}

CzChainable* CzTroubleCnbl::duplicate() {
    return new CzTroubleCnbl;
}

QWidget* CzTroubleCnbl::createConfigWidget() {
    return nullptr;
}

bool CzTroubleCnbl::isConfigurable() {
    return false;
}

bool CzTroubleCnbl::saveSettings(QDomDocument& document, QDomElement& element) const {
    element.setAttribute(QStringLiteral("throwAt"), m_throwAt);
    element.setAttribute(QStringLiteral("consumeAt"), m_consumeAt);
    element.setAttribute(QStringLiteral("reportAt"), m_reportAt);
    element.setAttribute(QStringLiteral("hangAt"), m_hangAt);
    element.setAttribute(QStringLiteral("doubleAt"), m_doubleAt);
    element.setAttribute(QStringLiteral("refuseStart"), int(m_refuseStart));
    return CzImageProvider::saveSettings(document, element);
}

bool CzTroubleCnbl::loadSettings(const QDomElement& element) {
    m_throwAt = element.attribute(QStringLiteral("throwAt"), QStringLiteral("-1")).toInt();
    m_consumeAt = element.attribute(QStringLiteral("consumeAt"), QStringLiteral("-1")).toInt();
    m_reportAt = element.attribute(QStringLiteral("reportAt"), QStringLiteral("-1")).toInt();
    m_hangAt = element.attribute(QStringLiteral("hangAt"), QStringLiteral("-1")).toInt();
    m_doubleAt = element.attribute(QStringLiteral("doubleAt"), QStringLiteral("-1")).toInt();
    m_refuseStart = element.attribute(QStringLiteral("refuseStart")).toInt() != 0;
    return CzImageProvider::loadSettings(element) && element.hasAttribute(QStringLiteral("throwAt"));
}

bool CzTroubleCnbl::hasHelp() const {
    return true;
}

QString CzTroubleCnbl::help(QString&) {
    return QStringLiteral("Makes <b>trouble</b> &amp; more.<br>On purpose.");
}

bool CzTroubleCnbl::init(QString* errorText) {
    if (m_refuseStart && errorText)
        *errorText = QStringLiteral("No, thank you.");
    return !m_refuseStart && CzImageProvider::init(errorText);
}

IzChainData* CzTroubleCnbl::processData(IzChainData* input) {
    if (input->frameNo() == m_throwAt)
        throw std::runtime_error("thrown on purpose");
    if (input->frameNo() == m_reportAt)
        setErrorMessage(QStringLiteral("Reported on purpose."));
    if (input->frameNo() == m_hangAt)
        std::this_thread::sleep_for(std::chrono::minutes(1));
    if (input->frameNo() == m_doubleAt)
        addToOutputData(input->clone(nullptr));
    return input->frameNo() == m_consumeAt ? nullptr : input;
}

bool CzTroubleCnbl::outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                                    const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) {
    output = input;
    if (inputMetadata && outputMetadata)
        *outputMetadata = *inputMetadata;
    return true;
}

bool CzTestPlugin::initialize() {
    CzRTTI::instance()->registerClass(this, CzTroubleCnbl::staticMetaObject, QStringLiteral("CzChainable"));
    return true;
}

QString CzTestPlugin::pluginName() {
    return QStringLiteral("Test elements");
}

QString CzTestPlugin::vendorName() {
    return QStringLiteral("zuViewer Project");
}

QString CzTestPlugin::pluginDescription() {
    return QStringLiteral("Elements for the tests of the runner.");
}

void CzTestPlugin::coreVersion(int& major, int& minor, int& build) {
    zuCoreVersion(major, minor, build);
}

QString CzTestPlugin::vendorUrl() {
    return QStringLiteral("https://zuviewer.example");
}
