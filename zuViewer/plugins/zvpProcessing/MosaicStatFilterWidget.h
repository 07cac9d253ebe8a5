// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class CzMosaicStatFilterChnbl;
class QCheckBox;
class QComboBox;

/// The list of filters from which the user picks one, and a check box for interpolation.
class CzMosaicStatFilterWidget : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzMosaicStatFilterWidget(CzMosaicStatFilterChnbl* element);

private slots:
    void onStatCurrentIndexChanged(int iIndex);
    void onInterpolationStateClicked();

private:
    void enableInterpolation();

    CzMosaicStatFilterChnbl* m_element;
    QComboBox* m_filter;
    QCheckBox* m_interpolation;
};
