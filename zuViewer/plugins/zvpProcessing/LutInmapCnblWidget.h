// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class CzLutInmapCnbl;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QSpinBox;

/// The range of the stretch or how to find it, its gamma, and the palette for RGB. It shows the element's
/// settings as they were when it was made.
class CzLutInmapCnblWidget : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzLutInmapCnblWidget(CzLutInmapCnbl* element);

private slots:
    void enableControls();
    void sendToChainable();

private:
    void fillPalettes();

    // All controls are children of the widget.
    CzLutInmapCnbl* m_element;
    QCheckBox* m_autoMinMax;
    QCheckBox* m_mapToRgb;
    QComboBox* m_pseudoColor;
    QLabel* m_minLabel;
    QLabel* m_maxLabel;
    QLabel* m_pseudoColorLabel;
    QLabel* m_toleranceLabel;
    QLabel* m_perMilleLabel;
    QSpinBox* m_min;
    QSpinBox* m_max;
    QDoubleSpinBox* m_gamma;
    QDoubleSpinBox* m_tolerance;
};
