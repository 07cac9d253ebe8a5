// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DWidget.h"

#include "FFT1DCnbl.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QVBoxLayout>

#include <algorithm>

CzFFT1DWidget::CzFFT1DWidget(CzFFT1DCnbl* element) : m_element(element) {
    setWindowTitle(tr("FFT 1D"));
    auto* const layout = new QVBoxLayout(this);
    auto* const list = new QListWidget;
    list->setObjectName(QStringLiteral("lstChannel"));
    layout->addWidget(list);

    SzPicBufInfo format; // stays without channels while the input is not known
    CzImageMetadata metadata;
    m_element->currentInputImageInfo(format, &metadata);
    m_channelNames = selectableChannels(format, metadata);
    fillChannelList(*list, m_channelNames, selectedChannel(m_element->channel(), format, metadata));
    connect(list, SIGNAL(currentRowChanged(int)), this, SLOT(on_lstChannelClicked(int)));
    list->scrollToItem(list->currentItem());

    auto* const grid = new QGridLayout;
    layout->addLayout(grid);
    auto* const type = new QComboBox;
    type->setObjectName(QStringLiteral("cbType"));
    type->addItem(tr("Mean of rows"), 0);
    type->addItem(tr("Mean of cols"), 1);
    type->setCurrentIndex(std::max(type->findData(m_element->transtype()), 0));
    grid->addWidget(new QLabel(tr("Type")), 0, 0);
    grid->addWidget(type, 0, 1, 1, 3);
    connect(type, SIGNAL(currentIndexChanged(int)), this, SLOT(on_cbCurrentIndexChanged(int)));

    const auto addCheckBox = [&](const QString& name, const QString& label, int row, int column, bool checked,
                                 const char* slot) {
        auto* const box = new QCheckBox;
        box->setObjectName(name);
        box->setChecked(checked);
        grid->addWidget(new QLabel(label), row, column);
        grid->addWidget(box, row, column + 1);
        connect(box, SIGNAL(stateChanged(int)), this, slot);
    };
    addCheckBox(QStringLiteral("chkIncludeDc"), tr("Include DC"), 1, 0, m_element->includeDC(),
                SLOT(on_chkIncludeDcStateChanged(int)));
    addCheckBox(QStringLiteral("chkShowGridX"), tr("Show grid X"), 1, 2, m_element->gridX(),
                SLOT(on_chkShowGridXStateChanged(int)));
    addCheckBox(QStringLiteral("chkLogarithmicY"), tr("Logarithmic Y"), 2, 0, m_element->logarithmicY(),
                SLOT(on_chkLogarithmicYStateChanged(int)));
    addCheckBox(QStringLiteral("chkShowGridY"), tr("Show grid Y"), 2, 2, m_element->gridY(),
                SLOT(on_chkShowGridYStateChanged(int)));
    addCheckBox(QStringLiteral("chkAutoScaleY"), tr("Autoscale Y"), 3, 0, m_element->autoScaleY(),
                SLOT(on_chkAutoScaleYStateChanged(int)));

    const auto addSpinBox = [&](const QString& name, const QString& label, int row, double value,
                                const char* slot) {
        auto* const box = new QDoubleSpinBox;
        box->setObjectName(name);
        box->setRange(-1000000.0, 10000000.0);
        box->setDecimals(1);
        box->setValue(value);
        grid->addWidget(new QLabel(label), row, 2);
        grid->addWidget(box, row, 3);
        connect(box, SIGNAL(valueChanged(double)), this, slot);
        return box;
    };
    m_minY = addSpinBox(QStringLiteral("spinMinY"), tr("Min Y"), 3, m_element->minY(),
                        SLOT(on_spinMinYValueChanged(double)));
    m_maxY = addSpinBox(QStringLiteral("spinMaxY"), tr("Max Y"), 4, m_element->maxY(),
                        SLOT(on_spinMaxYValueChanged(double)));
    adjustSize();
    enableRange();
}

template <class Control, class Store>
void CzFFT1DWidget::change(Store&& store) {
    const auto* const control = qobject_cast<Control*>(sender());
    if (control)
        changeStopped(*m_element, [&] { store(*control); });
}

/// The range can be set where the plot does not choose it.
void CzFFT1DWidget::enableRange() {
    const bool fixed = !m_element->autoScaleY();
    m_minY->setEnabled(fixed);
    m_maxY->setEnabled(fixed);
}

void CzFFT1DWidget::on_lstChannelClicked(int row) {
    const auto* const list = qobject_cast<QListWidget*>(sender());
    const QListWidgetItem* const item = list ? list->item(row) : nullptr;
    if (item)
        changeStopped(*m_element, [&] { m_element->setChannel(item->data(Qt::UserRole).toInt()); });
}

void CzFFT1DWidget::on_cbCurrentIndexChanged(int index) {
    if (index >= 0)
        change<QComboBox>(
            [&](const QComboBox& box) { m_element->setTranstype(box.itemData(index).toInt()); });
}

void CzFFT1DWidget::on_chkIncludeDcStateChanged(int) {
    change<QCheckBox>([this](const QCheckBox& box) { m_element->setIncludeDC(box.isChecked()); });
}

void CzFFT1DWidget::on_chkLogarithmicYStateChanged(int) {
    change<QCheckBox>([this](const QCheckBox& box) { m_element->setLogarithmicY(box.isChecked()); });
}

void CzFFT1DWidget::on_chkShowGridXStateChanged(int) {
    change<QCheckBox>([this](const QCheckBox& box) { m_element->setGridX(box.isChecked()); });
}

void CzFFT1DWidget::on_chkShowGridYStateChanged(int) {
    change<QCheckBox>([this](const QCheckBox& box) { m_element->setGridY(box.isChecked()); });
}

void CzFFT1DWidget::on_chkAutoScaleYStateChanged(int) {
    change<QCheckBox>([this](const QCheckBox& box) {
        m_element->setAutoScaleY(box.isChecked());
        enableRange();
    });
}

void CzFFT1DWidget::on_spinMinYValueChanged(double) {
    change<QDoubleSpinBox>([this](const QDoubleSpinBox& box) { m_element->setMinY(box.value()); });
}

void CzFFT1DWidget::on_spinMaxYValueChanged(double) {
    change<QDoubleSpinBox>([this](const QDoubleSpinBox& box) { m_element->setMaxY(box.value()); });
}
