// SPDX-License-Identifier: GPL-3.0-or-later
#include "PixelSpectrumPlot.h"

#include <qcustomplot.h>

#include <algorithm>

namespace {

QString hint() {
    return CzPixelSpectrumPlot::tr("Click a pixel of a hyperspectral mosaic.");
}

} // namespace

CzPixelSpectrumPlot::CzPixelSpectrumPlot(QWidget* parent) : CzPlotPanel(parent) {
    plot().addGraph();
    plot().graph()->setScatterStyle(QCPScatterStyle(QCPScatterStyle::ssDisc, 5));
    plot().graph()->setPen(palette().color(QPalette::Highlight));
    draw(hint());
}

void CzPixelSpectrumPlot::setSpectrum(const QVector<SzSpectrumPoint>& spectrum, const QString& title) {
    if (spectrum.isEmpty() && m_spectrum.isEmpty())
        return; // as most frames
    m_spectrum = spectrum;
    draw(spectrum.isEmpty() ? hint() : title);
}

void CzPixelSpectrumPlot::draw(const QString& title) {
    const bool hasWavelengths = std::all_of(m_spectrum.begin(), m_spectrum.end(),
                                            [](const auto& point) { return point.wavelength > 0.0; });
    QVector<double> places;
    QVector<double> values;
    auto names = QSharedPointer<QCPAxisTickerText>::create();
    for (int i = 0; i < m_spectrum.size(); ++i) {
        places.append(hasWavelengths ? m_spectrum.at(i).wavelength : i);
        values.append(m_spectrum.at(i).value);
        names->addTick(i, m_spectrum.at(i).band);
    }
    plot().graph()->setData(places, values);
    QCPAxis& x = *plot().xAxis;
    QCPAxis& y = *plot().yAxis;
    x.setTicker(hasWavelengths ? QSharedPointer<QCPAxisTicker>::create() : names);
    x.setTickLabelRotation(hasWavelengths ? 0.0 : 60.0);
    x.setLabel(hasWavelengths && !m_spectrum.isEmpty() ? tr("%1 – wavelength in nm").arg(title) : title);
    const bool hasSamples = !m_spectrum.isEmpty();
    for (QCPAxis* const axis : {&x, &y}) {
        axis->setTicks(hasSamples);
        axis->setTickLabels(hasSamples);
    }
    if (hasSamples) {
        plot().rescaleAxes();
        x.scaleRange(1.05, x.range().center());
        y.setRange(std::min(0.0, y.range().lower), 1.05 * std::max(1.0, y.range().upper));
    }
    plot().replot(QCustomPlot::rpQueuedReplot);
}
