// SPDX-License-Identifier: GPL-3.0-or-later
#include "MedianWidget.h"

#include "MedianCnbl.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSpinBox>

#include <algorithm>
#include <cstdint>

CzMedianWidget::CzMedianWidget(CzMedianCnbl* element)
    : m_element(element), m_spinRadius(new QSpinBox), m_label(new QLabel) {
    setWindowTitle(tr("Median Filter"));
    m_spinRadius->setObjectName(QStringLiteral("spinRadius"));
    m_label->setObjectName(QStringLiteral("lblKernelSize"));

    // Of the whole picture, also where planes of half its size are filtered.
    std::uint32_t maximum = 2048;
    SzPicBufInfo format;
    CzImageMetadata metadata;
    if (m_element->currentInputImageInfo(format, &metadata))
        maximum = std::min({maximum, format.width, format.height});
    m_spinRadius->setSingleStep(2);
    m_spinRadius->setRange(3, static_cast<int>(maximum));
    m_spinRadius->setValue(2 * m_element->radius() + 1);

    auto* const size = new QHBoxLayout;
    size->addWidget(m_spinRadius);
    size->addWidget(m_label);
    auto* const layout = new QFormLayout(this);
    layout->addRow(tr("Kernel size:"), size);
    connect(m_spinRadius, SIGNAL(valueChanged(int)), this, SLOT(onSpinRadiusValueChanged(int)));
    updateLabel();
}

void CzMedianWidget::onSpinRadiusValueChanged(int value) {
    m_element->setRadius((std::max(value, 1) - 1) / 2);
    updateLabel();
}

void CzMedianWidget::updateLabel() {
    m_label->setText(QStringLiteral("%1x%1").arg(2 * ((m_spinRadius->value() - 1) / 2) + 1));
    adjustSize();
}
