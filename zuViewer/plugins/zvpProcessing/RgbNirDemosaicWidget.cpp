// SPDX-License-Identifier: GPL-3.0-or-later
#include "RgbNirDemosaicWidget.h"

#include "RgbNirDemosaicCnbl.h"

#include <QLabel>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {

// What the slot tells the buttons apart by: the same in every language.
const QLatin1String rgbText("RGB");
const QLatin1String nirText("NIR");

} // namespace

CzRgbNirDemosaicWidget::CzRgbNirDemosaicWidget(CzRgbNirDemosaicCnbl* element) : m_element(element) {
    setWindowTitle(tr("RGB-NIR Demosaic"));
    auto* const rgb = new QRadioButton(rgbText);
    rgb->setObjectName(QStringLiteral("rbRgb"));
    auto* const nir = new QRadioButton(nirText);
    nir->setObjectName(QStringLiteral("rbNir"));
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(rgb);
    layout->addWidget(nir);
    layout->addWidget(new QLabel(tr("Expects input images in RAW format")));

    QRadioButton* const current = m_element->channel() == CzRgbNirDemosaicCnbl::nirChannel ? nir : rgb;
    current->setChecked(true);
    connect(rgb, SIGNAL(clicked(bool)), this, SLOT(on_rbChannelClicked()));
    connect(nir, SIGNAL(clicked(bool)), this, SLOT(on_rbChannelClicked()));
}

void CzRgbNirDemosaicWidget::on_rbChannelClicked() {
    const auto* const button = qobject_cast<QRadioButton*>(sender());
    if (button)
        m_element->setChannel(button->text() == nirText ? CzRgbNirDemosaicCnbl::nirChannel
                                                        : CzRgbNirDemosaicCnbl::rgbChannel,
                              true);
}
