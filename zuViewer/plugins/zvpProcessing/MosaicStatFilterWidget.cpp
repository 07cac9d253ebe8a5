// SPDX-License-Identifier: GPL-3.0-or-later
#include "MosaicStatFilterWidget.h"

#include "MosaicStatFilterChnbl.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

#include <algorithm>

CzMosaicStatFilterWidget::CzMosaicStatFilterWidget(CzMosaicStatFilterChnbl* element)
    : m_element(element), m_filter(new QComboBox), m_interpolation(new QCheckBox) {
    setWindowTitle(tr("Mosaic Filter"));
    m_filter->setObjectName(QStringLiteral("cboFilter"));
    m_interpolation->setObjectName(QStringLiteral("chkInterpolation"));
    auto* const layout = new QVBoxLayout(this);
    auto* const form = new QFormLayout;
    form->addRow(tr("Filter"), m_filter);
    layout->addLayout(form);
    auto* const line = new QHBoxLayout;
    line->addWidget(new QLabel(tr("Interpolation")));
    line->addWidget(m_interpolation);
    layout->addLayout(line);

    for (int filter = 0; filter < CzMosaicStatFilterChnbl::statFilterCount; ++filter)
        m_filter->addItem(CzMosaicStatFilterChnbl::filterName(filter), filter);
    m_filter->setCurrentIndex(std::max(m_filter->findData(m_element->statFilter()), 0));
    m_interpolation->setChecked(m_element->interpolation());
    enableInterpolation();

    connect(m_filter, SIGNAL(currentIndexChanged(int)), this, SLOT(onStatCurrentIndexChanged(int)));
    connect(m_interpolation, SIGNAL(clicked()), this, SLOT(onInterpolationStateClicked()));
}

void CzMosaicStatFilterWidget::onStatCurrentIndexChanged(int iIndex) {
    m_element->setStatFilter(m_filter->itemData(iIndex).toInt());
    enableInterpolation();
}

void CzMosaicStatFilterWidget::onInterpolationStateClicked() {
    m_element->setInterpolation(m_interpolation->isChecked());
}

void CzMosaicStatFilterWidget::enableInterpolation() {
    m_interpolation->setEnabled(m_element->statFilter() != CzMosaicStatFilterChnbl::Normalize);
}
