// SPDX-License-Identifier: GPL-3.0-or-later
#include "RotateConfigurationWidget.h"

#include "RotateImageCnbl.h"
#include "ui_RotateConfigurationWidget.h"

CzRotateConfigurationWidget::CzRotateConfigurationWidget(CzRotateImageCnbl* element, QWidget* parent)
    : QWidget(parent), m_ui(std::make_unique<Ui::CzRotateConfigurationWidget>()), m_element(element) {
    m_ui->setupUi(this);
    QRadioButton* const current = m_element->clockwise() ? m_ui->clockButton : m_ui->counterClockButton;
    current->setChecked(true);
}

CzRotateConfigurationWidget::~CzRotateConfigurationWidget() = default;

void CzRotateConfigurationWidget::on_clockButton_clicked(bool checked) {
    m_element->setDirection(checked, true);
}

void CzRotateConfigurationWidget::on_counterClockButton_clicked(bool checked) {
    m_element->setDirection(!checked, true);
}
