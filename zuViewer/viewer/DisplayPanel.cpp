// SPDX-License-Identifier: GPL-3.0-or-later
#include "DisplayPanel.h"

#include "ImageData.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>

#include <algorithm>

namespace {

constexpr double largestSample = 4294967295.0;

/// The bands of a mosaic in the order of their numbers; empty for other pictures.
QStringList bandsOf(const CzLinkTap::Picture& picture) {
    QStringList names;
    if (!picture || !isRaw(picture->picBuf()) || !picture->imageMetadata().hsiCameraParams.isValid())
        return names;
    for (const CzHsiCameraParams::CzFilterZone& zone : picture->imageMetadata().hsiCameraParams.zones)
        for (const CzHsiCameraParams::CzBand& band : zone.bands)
            names.append(band.name());
    return names;
}

} // namespace

CzDisplayPanel::CzDisplayPanel(QWidget* parent) : QWidget(parent) {
    m_mode = new QComboBox;
    m_mode->setObjectName(QStringLiteral("mode"));
    m_mode->addItem(tr("Result"), int(CzPictureWidget::EzMode::Single));
    m_mode->addItem(tr("Before | After"), int(CzPictureWidget::EzMode::SideBySide));
    m_mode->addItem(tr("Split"), int(CzPictureWidget::EzMode::Split));
    m_range = new QComboBox;
    m_range->setObjectName(QStringLiteral("range"));
    m_range->addItem(tr("Full range"), int(SzDisplaySettings::EzRange::Full));
    m_range->addItem(tr("Automatic range"), int(SzDisplaySettings::EzRange::Automatic));
    m_range->addItem(tr("Manual range"), int(SzDisplaySettings::EzRange::Manual));
    m_black = new QDoubleSpinBox;
    m_black->setObjectName(QStringLiteral("black"));
    m_white = new QDoubleSpinBox;
    m_white->setObjectName(QStringLiteral("white"));
    for (QDoubleSpinBox* const spin : {m_black, m_white}) {
        spin->setRange(-largestSample, largestSample);
        spin->setDecimals(1);
        spin->setKeyboardTracking(false);
        spin->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
        spin->setMaximumWidth(110);
    }
    m_white->setValue(255.0);
    m_demosaic = new QCheckBox(tr("&Colours of mosaics"));
    m_demosaic->setObjectName(QStringLiteral("demosaic"));
    m_demosaic->setChecked(true);
    m_band = new QComboBox;
    m_band->setObjectName(QStringLiteral("band"));
    m_saturated = new QCheckBox(tr("&Mark saturated"));
    m_saturated->setObjectName(QStringLiteral("saturated"));

    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 2, 4, 2);
    layout->addWidget(m_mode);
    layout->addWidget(m_range);
    layout->addWidget(m_black);
    layout->addWidget(m_white);
    layout->addWidget(m_demosaic);
    layout->addWidget(m_band);
    layout->addWidget(m_saturated);
    layout->addStretch();

    const auto tell = [this] {
        const bool manual = settings().range == SzDisplaySettings::EzRange::Manual;
        m_black->setVisible(manual);
        m_white->setVisible(manual);
        emit changed();
    };
    for (QComboBox* const combo : {m_mode, m_range, m_band})
        connect(combo, QOverload<int>::of(&QComboBox::currentIndexChanged), this, tell);
    for (QDoubleSpinBox* const spin : {m_black, m_white})
        connect(spin, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, tell);
    connect(m_demosaic, &QCheckBox::toggled, this, tell);
    connect(m_saturated, &QCheckBox::toggled, this, tell);
    setPicture(nullptr);
    tell();
}

SzDisplaySettings CzDisplayPanel::settings() const {
    SzDisplaySettings settings;
    settings.range = SzDisplaySettings::EzRange(m_range->currentData().toInt());
    settings.manual = {m_black->value(), m_white->value()};
    settings.demosaic = m_demosaic->isChecked();
    settings.band = m_band->currentIndex() - 1;
    settings.markSaturated = m_saturated->isChecked();
    return settings;
}

CzPictureWidget::EzMode CzDisplayPanel::mode() const {
    return CzPictureWidget::EzMode(m_mode->currentData().toInt());
}

void CzDisplayPanel::setPicture(const CzLinkTap::Picture& picture) {
    const QStringList names = bandsOf(picture);
    m_demosaic->setVisible(picture && isRaw(picture->picBuf()));
    m_band->setVisible(!names.isEmpty());
    if (names == m_bandNames && m_band->count() > 0)
        return;
    m_bandNames = names;
    const int before = m_band->currentIndex();
    {
        const QSignalBlocker quiet(m_band);
        m_band->clear();
        m_band->addItem(tr("All bands"));
        m_band->addItems(names);
        m_band->setCurrentIndex(before >= 0 && before < m_band->count() ? before : 0);
    }
    if (m_band->currentIndex() != before)
        emit changed();
}

void CzDisplayPanel::stepBand(int bands) {
    if (!m_bandNames.isEmpty())
        m_band->setCurrentIndex(std::clamp(m_band->currentIndex() + bands, 0, m_band->count() - 1));
}
