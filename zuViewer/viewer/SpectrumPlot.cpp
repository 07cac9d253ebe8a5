// SPDX-License-Identifier: GPL-3.0-or-later
#include "SpectrumPlot.h"

#include <QVBoxLayout>
#include <qcustomplot.h>

#include <algorithm>

CzSpectrumPlot::CzSpectrumPlot(QWidget* parent) : QWidget(parent), m_plot(new QCustomPlot) {
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_plot);
    m_plot->setMinimumSize(120, 80);
    m_plot->addGraph();
    m_plot->graph()->setScatterStyle(QCPScatterStyle(QCPScatterStyle::ssDisc, 5));
    setSpectrum({}, tr("Click a pixel of a hyperspectral mosaic."));
}

void CzSpectrumPlot::setSpectrum(const QVector<SzSpectrumPoint>& spectrum, const QString& title) {
    m_spectrum = spectrum;
    const bool hasWavelengths = std::all_of(spectrum.begin(), spectrum.end(),
                                            [](const auto& point) { return point.wavelength > 0.0; });
    QVector<double> places;
    QVector<double> values;
    auto names = QSharedPointer<QCPAxisTickerText>::create();
    for (int i = 0; i < spectrum.size(); ++i) {
        places.append(hasWavelengths ? spectrum.at(i).wavelength : i);
        values.append(spectrum.at(i).value);
        names->addTick(i, spectrum.at(i).band);
    }
    m_plot->graph()->setData(places, values);
    m_plot->xAxis->setTicker(hasWavelengths ? QSharedPointer<QCPAxisTicker>::create() : names);
    m_plot->xAxis->setLabel(hasWavelengths ? title + tr(" – wavelength in nm") : title);
    m_plot->rescaleAxes();
    m_plot->yAxis->setRangeLower(std::min(0.0, m_plot->yAxis->range().lower));
    m_plot->replot(QCustomPlot::rpQueuedReplot);
}
