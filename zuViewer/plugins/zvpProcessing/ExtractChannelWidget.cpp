// SPDX-License-Identifier: GPL-3.0-or-later
#include "ExtractChannelWidget.h"

#include "ExtractChannelCnbl.h"

#include <QListWidget>
#include <QVBoxLayout>

CzExtractChannelWidget::CzExtractChannelWidget(CzExtractChannelCnbl* element) : m_element(element) {
    setWindowTitle(tr("Extract Channel"));
    auto* const list = new QListWidget;
    list->setObjectName(QStringLiteral("lstChannel"));
    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(list);

    int selectedId = 0;
    const SzChannelCatalogue channels = m_element->currentChannels(selectedId);
    for (int i = 0; i < channels.ids.size(); ++i) {
        auto* const item = new QListWidgetItem(channels.names.at(i), list);
        item->setData(Qt::UserRole, channels.ids.at(i));
        if (channels.ids.at(i) == selectedId)
            list->setCurrentItem(item);
    }
    if (!list->currentItem())
        list->setCurrentRow(0);

    connect(list, SIGNAL(currentRowChanged(int)), this, SLOT(on_lstChannelClicked(int)));
    list->scrollToItem(list->currentItem());
}

void CzExtractChannelWidget::on_lstChannelClicked(int row) {
    const auto* const list = qobject_cast<QListWidget*>(sender());
    const QListWidgetItem* const item = list ? list->item(row) : nullptr;
    if (item)
        m_element->setChannel(static_cast<std::uint32_t>(item->data(Qt::UserRole).toInt()), item->text());
}
