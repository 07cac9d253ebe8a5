// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class CzExtractChannelCnbl;

/// The list of channels from which the user picks the one to extract.
class CzExtractChannelWidget : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzExtractChannelWidget(CzExtractChannelCnbl* element);

private slots:
    void on_lstChannelClicked(int row);

private:
    CzExtractChannelCnbl* m_element;
};
