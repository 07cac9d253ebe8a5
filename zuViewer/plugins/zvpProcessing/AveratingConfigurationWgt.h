// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class CzImageAveragingCnbl;

/// How many images to average, whether to subtract the average, and which lines to average.
class CzAveratingConfigurationWgt : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzAveratingConfigurationWgt(CzImageAveragingCnbl* element);

private slots:
    void onSpinValueChanged(int count);
    void onChkSubtractClicked(bool bChecked);
    void onRbLineAvgClicked(bool);

private:
    CzImageAveragingCnbl* m_element;
};
