// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistogramPlot.h"

#include "ImageData.h"
#include "PicBufMeas.h"

#include <QtConcurrentRun>
#include <qcustomplot.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace {

/// Between two measurements: enough for an eye, and the chain needs the processor.
constexpr int pauseMs = 150;

/// Columns that bins are put together into: more than a plot has pixels to tell apart.
constexpr std::uint32_t columns = 512;

CzHistoData measure(const CzLinkTap::Picture& picture) {
    CzHistoData histogram;
    CzPicBufMeas::measureHistogram(histogram, picture->picBuf(), QRect(), CzHistoData::EzHistoDataFlag::Bins);
    return histogram;
}

/// Red, green, blue; any other number of channels goes through the colours of a wheel. All can be told from
/// light and dark grounds.
QColor colourOf(int channel, int channels) {
    if (channels == 1)
        return QColor(128, 128, 128);
    if (channels == 3)
        return std::array{QColor(224, 48, 48), QColor(32, 160, 32),
                          QColor(64, 112, 240)}[static_cast<std::size_t>(channel)];
    return QColor::fromHsv(channel * 360 / channels, 200, 190);
}

} // namespace

CzHistogramPlot::CzHistogramPlot(QWidget* parent) : CzPlotPanel(parent) {
    plot().xAxis->setLabel(tr("sample"));
    plot().yAxis->setScaleType(QCPAxis::stLogarithmic);
    plot().yAxis->setTicker(QSharedPointer<QCPAxisTickerLog>::create());
    plot().yAxis->setNumberFormat(QStringLiteral("eb"));
    plot().yAxis->setNumberPrecision(0);
    m_pause.setSingleShot(true);
    m_pause.setInterval(pauseMs);
    connect(&m_pause, &QTimer::timeout, this, &CzHistogramPlot::measureNext);
    connect(&m_watcher, &QFutureWatcher<CzHistoData>::finished, this, [this] {
        m_histogram = m_picture ? m_watcher.result() : CzHistoData();
        draw();
        m_pause.start();
    });
    draw();
}

CzHistogramPlot::~CzHistogramPlot() {
    m_watcher.waitForFinished();
}

void CzHistogramPlot::setPicture(const CzLinkTap::Picture& picture) {
    if (picture == m_picture)
        return;
    m_picture = picture;
    m_isMeasured = !picture;
    if (!picture) {
        m_histogram = CzHistoData();
        draw();
    } else if (!m_watcher.isRunning() && !m_pause.isActive()) {
        measureNext();
    }
}

void CzHistogramPlot::measureNext() {
    if (m_isMeasured)
        return;
    m_isMeasured = true;
    m_watcher.setFuture(QtConcurrent::run(measure, m_picture));
}

void CzHistogramPlot::draw() {
    plot().clearGraphs();
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
        QCPGraph* const graph = plot().addGraph();
        graph->setLineStyle(QCPGraph::lsStepLeft);
        graph->setPen(QPen(colourOf(c, channels)));
        graph->setData(samples, counts, true);
    }
    const double end = std::ldexp(std::max(1U, m_histogram.binCount), static_cast<int>(m_histogram.binShift));
    for (QCPAxis* const axis : {plot().xAxis, plot().yAxis}) {
        axis->setTicks(channels > 0);
        axis->setTickLabels(channels > 0);
    }
    plot().xAxis->setRange(0.0, end);
    plot().yAxis->setRange(0.5, largest * 1.5);
    plot().replot(QCustomPlot::rpQueuedReplot);
    emit changed();
}
