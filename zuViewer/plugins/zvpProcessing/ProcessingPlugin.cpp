// SPDX-License-Identifier: GPL-3.0-or-later
#include "ProcessingPlugin.h"

#include "CoreVersion.h"
#include "ExtractChannelCnbl.h"
#include "FFT1DCnbl.h"
#include "FFT2DCnbl.h"
#include "ImageAveragingCnbl.h"
#include "LutInmapCnbl.h"
#include "MedianCnbl.h"
#include "MosaicStatFilterChnbl.h"
#include "RTTI.h"
#include "RgbNirDemosaicCnbl.h"
#include "RotateImageCnbl.h"

CzProcessingPlugin::CzProcessingPlugin() = default;

bool CzProcessingPlugin::initialize() {
    // The order in which the host lists the elements.
    const QMetaObject* const elements[] = {
        &CzExtractChannelCnbl::staticMetaObject, &CzImageAveragingCnbl::staticMetaObject,
        &CzLutInmapCnbl::staticMetaObject,       &CzMosaicStatFilterChnbl::staticMetaObject,
        &CzMedianCnbl::staticMetaObject,         &CzFFT2DCnbl::staticMetaObject,
        &CzFFT1DCnbl::staticMetaObject,          &CzRotateImageCnbl::staticMetaObject,
        &CzRgbNirDemosaicCnbl::staticMetaObject,
    };
    for (const QMetaObject* element : elements)
        CzRTTI::instance()->registerClass(this, *element, QStringLiteral("CzChainable"));
    return true;
}

QString CzProcessingPlugin::pluginName() {
    return tr("Image Processing");
}

QString CzProcessingPlugin::vendorName() {
    return QStringLiteral("zuViewer Project");
}

QString CzProcessingPlugin::pluginDescription() {
    return tr("This plugin implements a set of image processing objects.");
}

void CzProcessingPlugin::coreVersion(int& major, int& minor, int& build) {
    zuCoreVersion(major, minor, build);
}

QString CzProcessingPlugin::vendorUrl() {
    return QStringLiteral("https://zuviewer.example");
}
