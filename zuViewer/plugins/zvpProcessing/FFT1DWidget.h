// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMap>
#include <QString>
#include <QWidget>

class CzFFT1DCnbl;
class QDoubleSpinBox;

/// The channel to analyse, the direction, and how the plot looks. Each change restarts a running chain.
class CzFFT1DWidget : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzFFT1DWidget(CzFFT1DCnbl* element);

private slots:
    void on_lstChannelClicked(int row);
    void on_cbCurrentIndexChanged(int index);
    void on_chkIncludeDcStateChanged(int state);
    void on_chkLogarithmicYStateChanged(int state);
    void on_chkShowGridXStateChanged(int state);
    void on_chkShowGridYStateChanged(int state);
    void on_chkAutoScaleYStateChanged(int state);
    void on_spinMinYValueChanged(double value);
    void on_spinMaxYValueChanged(double value);

private:
    /// Stores what the user changed in the control that sent the signal; does nothing when none did.
    template <class Control, class Store>
    void change(Store&& store);
    void enableRange();

    CzFFT1DCnbl* m_element;
    QMap<int, QString> m_channelNames; // by channel
    QDoubleSpinBox* m_minY;
    QDoubleSpinBox* m_maxY;
};
