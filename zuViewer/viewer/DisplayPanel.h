// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "LinkTap.h"
#include "PictureRenderer.h"
#include "PictureWidget.h"

#include <QStringList>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;

/// How the picture view shows pictures: display range, mosaics, bands, saturated samples, before and after.
class CzDisplayPanel : public QWidget {
    Q_OBJECT
public:
    explicit CzDisplayPanel(QWidget* parent = nullptr);

    SzDisplaySettings settings() const;
    CzPictureWidget::EzMode mode() const;

    /// Offers what there is for this picture: its bands, its range.
    void setPicture(const CzLinkTap::Picture& picture);

    /// To the band before or behind.
    void stepBand(int bands);

signals:
    void changed();

private:
    QComboBox* m_mode;
    QComboBox* m_range;
    QDoubleSpinBox* m_black;
    QDoubleSpinBox* m_white;
    QCheckBox* m_demosaic;
    QComboBox* m_band;
    QCheckBox* m_saturated;
    QStringList m_bandNames;
};
