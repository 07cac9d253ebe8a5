// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistogramPlot.h"

#include "ImageData.h"
#include "PicBufMeas.h"

#include <QVBoxLayout>
#include <QtConcurrentRun>
#include <qcustomplot.h>

#include <algorithm>
#include <array>
#include <utility>

namespace {

/// Columns that bins are put together into: more than a plot has pixels to tell apart.
constexpr std::uint32_t columns = 1024;

CzHistoData measure(const CzLinkTap::Picture& picture) {
    CzHistoData histogram;
    CzPicBufMeas::measureHistogram(histogram, picture->picBuf(), QRect(), CzHistoData::EzHistoDataFlag::Bins);
    return histogram;
}

/// Red, green, blue; any other number of channels goes through the colours of a wheel.
QColor colourOf(int channel, int channels) {
    if (channels == 1)
        return QColor(96, 96, 96);
    if (channels == 3)
        return std::array{QColor(208, 32, 32), QColor(32, 144, 32),
                          QColor(32, 64, 208)}[std::size_t(channel)];
    return QColor::fromHsv(channel * 360 / channels, 200, 176);
}

} // namespace

CzHistogramPlot::CzHistogramPlot(QWidget* parent) : QWidget(parent), m_plot(new QCustomPlot) {
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_plot);
    m_plot->setMinimumSize(120, 80);
    m_plot->xAxis->setLabel(tr("sample"));
    m_plot->yAxis->setScaleType(QCPAxis::stLogarithmic);
    m_plot->yAxis->setTicker(QSharedPointer<QCPAxisTickerLog>::create());
    m_plot->yAxis->setNumberFormat(QStringLiteral("eb"));
    m_plot->yAxis->setNumberPrecision(0);
    connect(&m_watcher, &QFutureWatcher<CzHistoData>::finished, this, [this] {
        m_histogram = m_watcher.result();
        show();
        measureNext();
    });
}

CzHistogramPlot::~CzHistogramPlot() {
    m_watcher.waitForFinished();
}

void CzHistogramPlot::setPicture(const CzLinkTap::Picture& picture) {
    m_next = picture;
    if (m_watcher.isRunning())
        return;
    if (picture) {
        measureNext();
    } else {
        m_histogram = CzHistoData();
        show();
    }
}

void CzHistogramPlot::measureNext() {
    if (const CzLinkTap::Picture picture = std::exchange(m_next, nullptr); picture && picture->picBuf().data)
        m_watcher.setFuture(QtConcurrent::run(measure, picture));
}

void CzHistogramPlot::show() {
    m_plot->clearGraphs();
    const int channels = m_histogram.channels.size();
    const std::uint32_t together = std::max(1U, m_histogram.binCount / columns);
    double largest = 10.0;
    for (int c = 0; c < channels; ++c) {
        const QVector<std::uint32_t>& bins = m_histogram.channels.at(c).bins;
        QVector<double> samples;
        QVector<double> counts;
        for (int first = 0; first < bins.size(); first += static_cast<int>(together)) {
            const int end = std::min(bins.size(), first + static_cast<int>(together));
            samples.append(std::ldexp(first, static_cast<int>(m_histogram.binShift)));
            counts.append(std::accumulate(bins.begin() + first, bins.begin() + end, 0.0));
            largest = std::max(largest, counts.last());
        }
        QCPGraph* const graph = m_plot->addGraph();
        graph->setLineStyle(QCPGraph::lsStepLeft);
        graph->setPen(QPen(colourOf(c, channels)));
        graph->setData(samples, counts, true);
    }
    const double end = std::ldexp(std::max(1U, m_histogram.binCount), static_cast<int>(m_histogram.binShift));
    m_plot->xAxis->setRange(0.0, end);
    m_plot->yAxis->setRange(0.5, largest * 1.5);
    m_plot->replot(QCustomPlot::rpQueuedReplot);
    emit changed();
}
