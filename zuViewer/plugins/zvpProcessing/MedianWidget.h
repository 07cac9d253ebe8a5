// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class CzMedianCnbl;
class QLabel;
class QSpinBox;

/// The box in which the user sets the size of the square.
class CzMedianWidget : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzMedianWidget(CzMedianCnbl* element);

private slots:
    void onSpinRadiusValueChanged(int value);

private:
    /// Shows the size that counts: the odd one below an even number.
    void updateLabel();

    CzMedianCnbl* m_element;
    QSpinBox* m_spinRadius;
    QLabel* m_label;
};
