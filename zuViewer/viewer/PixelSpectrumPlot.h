// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PixelDescription.h"
#include "PlotPanel.h"

/// What the bands of a hyperspectral mosaic measured at one pixel, over their wavelengths, or over their
/// places in the list where a sensor does not tell any.
class CzPixelSpectrumPlot : public CzPlotPanel {
    Q_OBJECT
public:
    explicit CzPixelSpectrumPlot(QWidget* parent = nullptr);

    /// An empty spectrum: tells where one can be had.
    void setSpectrum(const QVector<SzSpectrumPoint>& spectrum, const QString& title);
    const QVector<SzSpectrumPoint>& spectrum() const { return m_spectrum; }

private:
    void draw(const QString& title);

    QVector<SzSpectrumPoint> m_spectrum;
};
