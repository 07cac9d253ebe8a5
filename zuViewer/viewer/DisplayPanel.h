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

    /// Offers what there is for these pictures, of which one may be null: their bands and colours (also when
    /// only the one before has some), the numbers of their range. Where they differ the one after counts.
    /// What was chosen stays chosen as far as the pictures have it. Both null: nothing changes.
    void setPictures(const CzLinkTap::Picture& after, const CzLinkTap::Picture& before = {});

    /// To the band before (-1) or behind (1).
    void stepBand(int bands);

signals:
    void changed();

private:
    void offerBands(const QStringList& names);
    /// A manual range begins as the one that is shown.
    void beginManualRange();
    /// The limits step by 1, those of floats by at most a hundredth of their range.
    void adaptSteps();
    void tell();

    CzLinkTap::Picture m_picture; // the one after, where there is one
    bool m_isFloat = false;
    SzDisplaySettings::EzRange m_toldRange = SzDisplaySettings::EzRange::Full;
    QComboBox* m_mode;
    QComboBox* m_range;
    QDoubleSpinBox* m_black;
    QDoubleSpinBox* m_white;
    QCheckBox* m_demosaic;
    QComboBox* m_band;
    QStringList m_bandNames;
    QCheckBox* m_saturated;
};
