// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT2DWidget.h"

#include "FFT2DCnbl.h"

#include <QListWidget>
#include <QVBoxLayout>

CzFFT2DWidget::CzFFT2DWidget(CzFFT2DCnbl* element) : m_element(element) {
    setWindowTitle(tr("FFT 2D"));
    auto* const list = new QListWidget;
    list->setObjectName(QStringLiteral("lstChannel"));
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(list);

    SzPicBufInfo format; // stays without channels while the input is not known
    CzImageMetadata metadata;
    m_element->currentInputImageInfo(format, &metadata);
    m_channelNames = selectableChannels(format, metadata);
    fillChannelList(*list, m_channelNames, selectedChannel(m_element->channel(), format, metadata));

    connect(list, SIGNAL(currentRowChanged(int)), this, SLOT(on_lstChannelClicked(int)));
    list->scrollToItem(list->currentItem());
}

void CzFFT2DWidget::on_lstChannelClicked(int row) {
    const auto* const list = qobject_cast<QListWidget*>(sender());
    const QListWidgetItem* const item = list ? list->item(row) : nullptr;
    if (item)
        m_element->setChannel(item->data(Qt::UserRole).toInt());
}
