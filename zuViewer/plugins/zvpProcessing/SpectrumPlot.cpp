// SPDX-License-Identifier: GPL-3.0-or-later
#include "SpectrumPlot.h"

#include "FFT1DCnbl.h"
#include "PicBuf.h"
#include "SpectrumTicks.h"

#include <QApplication>
#include <QImage>
#include <QLocale>
#include <QPalette>
#include <qcustomplot.h>

#include <algorithm>
#include <limits>

namespace {

/// Qt draws nothing beyond 32767 pixels: larger pictures are drawn in parts.
constexpr int tileSize = 16384;

void setPens(QCPAxis& axis, const QPen& pen) {
    axis.setBasePen(pen);
    axis.setTickPen(pen);
    axis.setSubTickPen(pen);
}

void setFonts(QCPAxis& axis, const QFont& font) {
    axis.setLabelFont(font);
    axis.setTickLabelFont(font);
}

void setUp(QCPAxis& axis, const QString& label, const QPen& pen, const QFont& font) {
    axis.setVisible(true);
    axis.setTicks(true);
    axis.setTickLabels(true);
    setPens(axis, pen);
    axis.setLabelColor(pen.color());
    axis.setTickLabelColor(pen.color());
    axis.setLabel(label);
    setFonts(axis, font);
}

QSharedPointer<QCPAxisTicker> textTicker(const QVector<double>& positions, const QVector<QString>& labels) {
    const QSharedPointer<QCPAxisTickerText> ticker(new QCPAxisTickerText);
    ticker->setTicks(positions, labels);
    return ticker;
}

QSharedPointer<QCPAxisTicker> frequencyTicker() {
    QVector<double> positions;
    QVector<QString> labels;
    for (double position = 0.0; position <= 0.5; position += 0.1) {
        positions.append(position);
        labels.append(QLocale().toString(position, 'g', 6));
    }
    return textTicker(positions, labels);
}

/// The ticks stand at the periods themselves, beyond the axis, which counts frequencies: none of them is
/// seen, and that is how the axis is meant to look.
QSharedPointer<QCPAxisTicker> periodTicker() {
    return textTicker({std::numeric_limits<double>::max(), 10.0, 5.0, 10.0 / 3.0, 2.5, 2.0},
                      {QStringLiteral("\u221E"), QStringLiteral("10"), QStringLiteral("5"),
                       QString::number(10.0 / 3.0, 'f', 2), QStringLiteral("2.5"), QStringLiteral("2")});
}

} // namespace

SpectrumPlot::SpectrumPlot() : m_plot(std::make_unique<QCustomPlot>()) {
    // Its constructor queues a replot, which could meet the worker's.
    QCoreApplication::removePostedEvents(m_plot.get(), QEvent::MetaCall);
    m_plot->hide();
    m_plot->setPlottingHint(QCP::phFastPolylines, true);
    m_plot->addGraph();

    const QPalette palette = QApplication::palette();
    QPen pen = m_plot->graph()->pen();
    pen.setColor(palette.color(QPalette::WindowText));
    m_plot->graph()->setPen(pen);
    QColor background = palette.color(QPalette::Base);
    background.setAlpha(255); // or the picture would show through
    m_plot->setBackground(QBrush(background, Qt::SolidPattern));

    QFont font = m_plot->xAxis->labelFont();
    font.setPointSizeF(font.pointSizeF() + 1.0);
    setUp(*m_plot->xAxis, CzFFT1DCnbl::tr("periods/pixel"), pen, font);
    setUp(*m_plot->xAxis2, CzFFT1DCnbl::tr("pixels/period"), pen, font);
    setUp(*m_plot->yAxis, CzFFT1DCnbl::tr("amplitude"), pen, font);
    m_plot->yAxis2->setVisible(true); // a line that closes the frame
    m_plot->yAxis2->setTickLabels(false);
    m_plot->yAxis2->setTicks(false);
    m_plot->yAxis2->setSubTicks(false);
    m_plot->yAxis2->setBasePen(pen);

    m_gridPen = m_plot->yAxis->grid()->pen();
    m_gridPen.setStyle(Qt::DotLine);
    m_plot->xAxis->grid()->setPen(m_gridPen);
    m_plot->yAxis->grid()->setPen(m_gridPen);
    m_zeroLinePen = m_plot->yAxis->grid()->zeroLinePen();
    setLogarithmicY(false);
}

SpectrumPlot::~SpectrumPlot() = default;

bool SpectrumPlot::isLogarithmicY() const {
    return m_plot->yAxis->scaleType() == QCPAxis::stLogarithmic;
}

void SpectrumPlot::setLogarithmicY(bool logarithmic) {
    m_plot->yAxis->setScaleType(logarithmic ? QCPAxis::stLogarithmic : QCPAxis::stLinear);
    m_plot->yAxis->grid()->setZeroLinePen(logarithmic ? m_gridPen : m_zeroLinePen);
    m_plot->yAxis->setSubTicks(!logarithmic);
}

bool SpectrumPlot::isGridXShown() const {
    return m_plot->xAxis->grid()->visible();
}

void SpectrumPlot::setGridXShown(bool shown) {
    m_plot->xAxis->grid()->setVisible(shown);
}

bool SpectrumPlot::isGridYShown() const {
    return m_plot->yAxis->grid()->visible();
}

void SpectrumPlot::setGridYShown(bool shown) {
    m_plot->yAxis->grid()->setVisible(shown);
}

void SpectrumPlot::prepare(int width, int height) {
    m_plot->xAxis->setTicker(frequencyTicker());
    m_plot->xAxis->setRange(0.0, 0.5);
    m_plot->xAxis2->setTicker(periodTicker());
    m_plot->xAxis2->setRange(0.0, 0.5);

    QFont font = m_plot->xAxis->labelFont();
    font.setPointSizeF(std::max(height / 50.0, 15.0));
    QPen pen = m_plot->xAxis->basePen();
    pen.setWidthF(std::max(width / 1000.0, 1.0));
    for (QCPAxis* const axis : {m_plot->xAxis, m_plot->xAxis2, m_plot->yAxis, m_plot->yAxis2}) {
        setFonts(*axis, font);
        setPens(*axis, pen);
        axis->setTickLength(std::max(width / 150, 1), 0);
    }
    for (QCPAxis* const axis : {m_plot->xAxis, m_plot->yAxis})
        axis->setSubTickLength(std::max(width / 400, 1), 0);
    m_gridPen.setWidthF(pen.widthF());
    m_plot->xAxis->grid()->setPen(m_gridPen);
    m_plot->yAxis->grid()->setPen(m_gridPen);

    m_plot->axisRect()->setMargins(QMargins(width / 8, 0, 0, 0));
    m_plot->axisRect()->setAutoMargins(QCP::msRight | QCP::msTop | QCP::msBottom);
}

bool SpectrumPlot::draw(SzPicBuf& picture, const QVector<double>& x, const QVector<double>& amplitudes,
                        double lower, double upper) {
    constexpr std::uint32_t most = std::numeric_limits<int>::max();
    if (picture.linePitch > most || picture.width > most || picture.height > most)
        return false;
    m_plot->graph()->setData(x, amplitudes, true);
    // The axis would keep the range of an earlier picture.
    m_plot->yAxis->setRange(QCPRange::validRange(lower, upper) ? QCPRange(lower, upper) : QCPRange(0.0, 1.0));
    const SzTicks ticks = amplitudeTicks(lower, upper, isLogarithmicY());
    m_plot->yAxis->setTicker(ticks.positions.size() < 2 ? QSharedPointer<QCPAxisTicker>(new QCPAxisTicker)
                                                        : textTicker(ticks.positions, ticks.labels));
    m_plot->replot(QCustomPlot::rpRefreshHint);

    const int width = static_cast<int>(picture.width);
    const int height = static_cast<int>(picture.height);
    const int pitch = static_cast<int>(picture.linePitch);
    for (int top = 0; top < height; top += std::min(tileSize, height - top))
        for (int left = 0; left < width; left += std::min(tileSize, width - left)) {
            // Everything is opaque, so that the bytes are those of plain ARGB, which is much slower to draw
            // lines into.
            QImage tile(picture.data + std::size_t(top) * picture.linePitch + std::size_t(left) * 4,
                        std::min(tileSize, width - left), std::min(tileSize, height - top), pitch,
                        QImage::Format_ARGB32_Premultiplied);
            QCPPainter painter(&tile);
            painter.translate(-left, -top);
            m_plot->toPainter(&painter, width, height);
            painter.end();
        }
    return true;
}
