// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Sidecar.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QPlainTextEdit;
class QSpinBox;

/// What picture files do not say of the sensor that took them: bit depth, colour filter array and, for
/// mosaics, the filter cell with its bands. Of a sensor with several zones the first one can be edited.
class CzSensorPanel : public QWidget {
    Q_OBJECT
public:
    explicit CzSensorPanel(QWidget* parent = nullptr);

    void setSidecar(const SzSidecar& sidecar);
    /// What was set, with the user's changes.
    SzSidecar sidecar() const;

signals:
    /// The user changed something.
    void changed();
    void saveRequested();

private:
    QSpinBox* addSpin(class QFormLayout* form, const QString& label, const QString& name, int minimum,
                      int maximum);
    void enableMosaic();

    SzSidecar m_given;
    QSpinBox* m_bitDepth;
    QComboBox* m_colorFilterArray;
    QGroupBox* m_mosaic;
    QSpinBox* m_cellWidth;
    QSpinBox* m_cellHeight;
    QSpinBox* m_blockWidth;
    QSpinBox* m_blockHeight;
    QSpinBox* m_left;
    QSpinBox* m_top;
    QSpinBox* m_right;
    QSpinBox* m_bottom;
    QCheckBox* m_rgbNir;
    QPlainTextEdit* m_bands;
    bool m_setting = false;
};
