// SPDX-License-Identifier: GPL-3.0-or-later
#include "AveratingConfigurationWgt.h"

#include "ElementSupport.h"
#include "ImageAveragingCnbl.h"
#include "ImageAveragingKernels.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <limits>

CzAveratingConfigurationWgt::CzAveratingConfigurationWgt(CzImageAveragingCnbl* element) : m_element(element) {
    setWindowTitle(tr("Image Averaging"));
    auto* const layout = new QGridLayout(this);
    layout->addWidget(new QLabel(tr("Number of images to average:")), 0, 0);

    auto* const count = new QSpinBox;
    count->setObjectName(QStringLiteral("spinAverageCount"));
    count->setRange(1, std::numeric_limits<int>::max());
    count->setValue(m_element->averageCount());
    layout->addWidget(count, 0, 1);

    auto* const subtract = new QCheckBox(tr("Subtract image from average"));
    subtract->setObjectName(QStringLiteral("chkSubtract"));
    subtract->setChecked(m_element->subtractFromAverage());
    layout->addWidget(subtract, 1, 0, 1, 2);

    auto* const lines = new QGroupBox(tr("Line Averaging"));
    lines->setObjectName(QStringLiteral("grpLineAveraging"));
    auto* const linesLayout = new QVBoxLayout(lines);
    const int mode = m_element->lineAveraging();
    const auto addButton = [&](const QString& name, const QString& text, bool checked) {
        auto* const button = new QRadioButton(text);
        button->setObjectName(name);
        button->setChecked(checked);
        linesLayout->addWidget(button);
        connect(button, SIGNAL(clicked(bool)), this, SLOT(onRbLineAvgClicked(bool)));
    };
    addButton(QStringLiteral("rbNone"), tr("None"), mode != RowMeans && mode != ColumnMeans);
    addButton(QStringLiteral("rbRows"), tr("Rows"), mode == RowMeans);
    addButton(QStringLiteral("rbCols"), tr("Columns"), mode == ColumnMeans);
    layout->addWidget(lines, 2, 0, 1, 2);

    connect(count, SIGNAL(valueChanged(int)), this, SLOT(onSpinValueChanged(int)));
    connect(subtract, SIGNAL(clicked(bool)), this, SLOT(onChkSubtractClicked(bool)));
}

void CzAveratingConfigurationWgt::onSpinValueChanged(int count) {
    m_element->setAverageCount(count);
}

void CzAveratingConfigurationWgt::onChkSubtractClicked(bool bChecked) {
    changeStopped(*m_element, [&] { m_element->setSubtractFromAverage(bChecked); });
}

void CzAveratingConfigurationWgt::onRbLineAvgClicked(bool) {
    const QString name = sender() ? sender()->objectName() : QString();
    if (name == QLatin1String("rbNone"))
        m_element->setLineAveraging(LinesAsTheyAre);
    else if (name == QLatin1String("rbRows"))
        m_element->setLineAveraging(RowMeans);
    else if (name == QLatin1String("rbCols"))
        m_element->setLineAveraging(ColumnMeans);
}
