// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMap>
#include <QString>
#include <QWidget>

class CzFFT2DCnbl;

/// The list of channels from which the user picks the one to transform.
class CzFFT2DWidget : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzFFT2DWidget(CzFFT2DCnbl* element);

private slots:
    void on_lstChannelClicked(int row);

private:
    CzFFT2DCnbl* m_element;
    QMap<int, QString> m_channelNames; // by channel
};
