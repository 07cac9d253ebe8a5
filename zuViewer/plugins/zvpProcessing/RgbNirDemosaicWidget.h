// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class CzRgbNirDemosaicCnbl;

/// Two radio buttons with which the user picks the colour or the near-infrared picture.
class CzRgbNirDemosaicWidget : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzRgbNirDemosaicWidget(CzRgbNirDemosaicCnbl* element);

private slots:
    void on_rbChannelClicked();

private:
    CzRgbNirDemosaicCnbl* m_element;
};
