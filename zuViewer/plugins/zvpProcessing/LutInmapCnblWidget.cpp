// SPDX-License-Identifier: GPL-3.0-or-later
#include "LutInmapCnblWidget.h"

#include "ElementSupport.h"
#include "Lut.h"
#include "LutInmapCnbl.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QPixmap>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr std::uint32_t stripWidth = 80; // pixels
constexpr std::uint32_t stripHeight = 16;

/// What a spin box can show of a number.
int asInt(double value) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<double>(value, Limits::min(), Limits::max()));
}

/// Rows from black to almost white, of all samples that a palette's preview shows. Without data when there is
/// no memory.
SzPicBuf greyRamp() {
    SzPicBuf ramp;
    if (!CzPicBufAPI::AllocPicBufFromHeap(ramp, stripWidth, stripHeight, 1, EzImageDataType::UInt8, 0, 0,
                                          EzDataStorageFormat::Interleaved, EzColorFilterArray::None, false,
                                          false))
        return ramp;
    for (std::uint32_t y = 0; y < stripHeight; ++y)
        for (std::uint32_t x = 0; x < stripWidth; ++x)
            ramp.data[y * ramp.linePitch + x] = static_cast<std::uint8_t>(255 * x / stripWidth);
    return ramp;
}

/// The ramp in the colours of a palette; none when there is no memory.
QImage paletteStrip(const SzPicBuf& ramp, int palette) {
    QImage strip(stripWidth, stripHeight, QImage::Format_RGB32);
    SzPicBuf pixels;
    pixels.width = stripWidth;
    pixels.height = stripHeight;
    pixels.linePitch = static_cast<std::uint32_t>(strip.bytesPerLine());
    pixels.channels = 4;
    pixels.bitDepth = 8;
    pixels.dataType = EzImageDataType::UInt8;
    pixels.storageFormat = EzDataStorageFormat::Interleaved;
    pixels.isColor = true;
    pixels.data = strip.bits();

    CzLut lut(8, 1, false);
    lut.pseudoColorIdx = palette;
    const bool mapped = lut.allocRgb(32) && lut.apply(&pixels, &ramp, nullptr);
    return mapped ? strip : QImage();
}

} // namespace

CzLutInmapCnblWidget::CzLutInmapCnblWidget(CzLutInmapCnbl* element)
    : m_element(element)
    , m_autoMinMax(new QCheckBox(tr("Auto min-max")))
    , m_mapToRgb(new QCheckBox(tr("Map to RGB")))
    , m_pseudoColor(new QComboBox)
    , m_minLabel(new QLabel(tr("Min:")))
    , m_maxLabel(new QLabel(tr("Max:")))
    , m_pseudoColorLabel(new QLabel(tr("Pseudocolor:")))
    , m_toleranceLabel(new QLabel(tr("Tolerance:")))
    , m_perMilleLabel(new QLabel(tr("‰")))
    , m_min(new QSpinBox)
    , m_max(new QSpinBox)
    , m_gamma(new QDoubleSpinBox)
    , m_tolerance(new QDoubleSpinBox) {
    setWindowTitle(m_element->caption());
    SzPicBufInfo input;
    m_element->currentInputImageInfo(input, nullptr);
    const double sampleValues = std::ldexp(1.0, asInt(input.bitDepth));
    const CzLutInmapCnbl::SzSettings settings = m_element->settings();

    m_autoMinMax->setObjectName(QStringLiteral("chkAutoMinMax"));
    m_autoMinMax->setChecked(settings.autoMinMax);
    m_tolerance->setObjectName(QStringLiteral("spinTolerance"));
    m_tolerance->setRange(0.0, 100.0);
    m_tolerance->setDecimals(1);
    m_tolerance->setValue(settings.autoTolerance);
    auto* const automatic = new QHBoxLayout;
    automatic->addWidget(m_autoMinMax);
    automatic->addWidget(m_toleranceLabel);
    automatic->addWidget(m_tolerance);
    automatic->addWidget(m_perMilleLabel);

    m_min->setObjectName(QStringLiteral("spinMin"));
    m_min->setRange(0, asInt(sampleValues - 2));
    m_min->setValue(asInt(static_cast<double>(settings.srcMin)));
    m_gamma->setObjectName(QStringLiteral("spinGamma"));
    m_gamma->setRange(0.1, 10.0);
    m_gamma->setSingleStep(0.1);
    m_gamma->setValue(settings.gamma);
    m_max->setObjectName(QStringLiteral("spinMax"));
    m_max->setRange(1, asInt(sampleValues - 1));
    m_max->setValue(asInt(static_cast<double>(settings.srcMax)));
    auto* const range = new QHBoxLayout;
    range->addWidget(m_minLabel);
    range->addWidget(m_min);
    range->addWidget(new QLabel(tr("Gamma:")));
    range->addWidget(m_gamma);
    range->addWidget(m_maxLabel);
    range->addWidget(m_max);

    auto* const line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);

    m_mapToRgb->setObjectName(QStringLiteral("chkMapToRgb"));
    m_mapToRgb->setChecked(settings.mapToRgb);
    m_pseudoColor->setObjectName(QStringLiteral("cmbPseudoColor"));
    fillPalettes();
    m_pseudoColor->setCurrentIndex(asInt(settings.pseudoColor + 1.0));
    auto* const palette = new QHBoxLayout;
    palette->addWidget(m_pseudoColorLabel);
    palette->addWidget(m_pseudoColor);

    auto* const layout = new QVBoxLayout(this);
    layout->addLayout(automatic);
    layout->addLayout(range);
    layout->addWidget(line);
    layout->addWidget(m_mapToRgb);
    layout->addLayout(palette);
    if (input.channels > 1) { // a palette colours a single one
        m_pseudoColorLabel->hide();
        m_pseudoColor->hide();
    }

    enableControls();
    connect(m_autoMinMax, SIGNAL(clicked(bool)), this, SLOT(enableControls()));
    connect(m_mapToRgb, SIGNAL(clicked(bool)), this, SLOT(enableControls()));
    connect(m_autoMinMax, SIGNAL(clicked(bool)), this, SLOT(sendToChainable()));
    connect(m_tolerance, SIGNAL(valueChanged(double)), this, SLOT(sendToChainable()));
    connect(m_min, SIGNAL(valueChanged(int)), this, SLOT(sendToChainable()));
    connect(m_max, SIGNAL(valueChanged(int)), this, SLOT(sendToChainable()));
    connect(m_gamma, SIGNAL(valueChanged(double)), this, SLOT(sendToChainable()));
    connect(m_mapToRgb, SIGNAL(clicked(bool)), this, SLOT(sendToChainable()));
    connect(m_pseudoColor, SIGNAL(currentIndexChanged(int)), this, SLOT(sendToChainable()));
}

/// A preview of each palette behind one of none.
void CzLutInmapCnblWidget::fillPalettes() {
    m_pseudoColor->setMinimumWidth(90);
    m_pseudoColor->setIconSize(QSize(stripWidth, stripHeight));
    SzPicBuf ramp = greyRamp();
    for (int palette = -1; palette < CzLut::pseudoColorLutCount(); ++palette)
        m_pseudoColor->addItem(QPixmap::fromImage(paletteStrip(ramp, palette)), QString());
    CzPicBufAPI::FreePicBuf(ramp, true);
}

void CzLutInmapCnblWidget::enableControls() {
    const bool automatic = m_autoMinMax->isChecked();
    m_toleranceLabel->setEnabled(automatic);
    m_tolerance->setEnabled(automatic);
    m_perMilleLabel->setEnabled(automatic);
    m_minLabel->setEnabled(!automatic);
    m_min->setEnabled(!automatic);
    m_maxLabel->setEnabled(!automatic);
    m_max->setEnabled(!automatic);
    m_pseudoColorLabel->setEnabled(m_mapToRgb->isChecked());
    m_pseudoColor->setEnabled(m_mapToRgb->isChecked());
}

void CzLutInmapCnblWidget::sendToChainable() {
    changeStopped(*m_element, [this] {
        CzLutInmapCnbl::SzSettings settings;
        settings.autoMinMax = m_autoMinMax->isChecked();
        settings.autoTolerance = static_cast<std::int32_t>(m_tolerance->value()); // whole per mille
        settings.srcMin = m_min->value();
        settings.gamma = m_gamma->value();
        settings.srcMax = m_max->value();
        settings.mapToRgb = m_mapToRgb->isChecked();
        settings.pseudoColor = m_pseudoColor->currentIndex() - 1;
        if (settings.srcMin >= settings.srcMax) // the box keeps what the user is typing
            settings.srcMin = settings.srcMax - 1;
        m_element->setSettings(settings);
    });
}
