// SPDX-License-Identifier: GPL-3.0-or-later
#include "PlotPanel.h"

#include <QEvent>
#include <QVBoxLayout>
#include <qcustomplot.h>

CzPlotPanel::CzPlotPanel(QWidget* parent) : QWidget(parent), m_plot(new QCustomPlot) {
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_plot);
    m_plot->setMinimumSize(120, 80);
    takeColours();
}

void CzPlotPanel::takeColours() {
    const QPalette& colours = palette();
    const QColor text = colours.color(QPalette::Text);
    QColor grid = text;
    grid.setAlphaF(0.25);
    m_plot->setBackground(colours.brush(QPalette::Base));
    for (QCPAxis* const axis : {m_plot->xAxis, m_plot->yAxis}) {
        axis->setBasePen(text);
        axis->setTickPen(text);
        axis->setSubTickPen(text);
        axis->setLabelColor(text);
        axis->setTickLabelColor(text);
        axis->grid()->setPen(QPen(grid, 0, Qt::DotLine));
    }
    m_plot->replot(QCustomPlot::rpQueuedReplot);
}

void CzPlotPanel::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        takeColours();
    QWidget::changeEvent(event);
}
