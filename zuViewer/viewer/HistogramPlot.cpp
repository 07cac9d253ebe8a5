// SPDX-License-Identifier: GPL-3.0-or-later
#include "HistogramPlot.h"

#include "FFTImageData.h"
#include "PicBufMeas.h"
#include "PictureSampling.h"

#include <QtConcurrentRun>
#include <qcustomplot.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>

namespace {

/// Between two measurements: enough for an eye, and the chain needs the processor.
constexpr int pauseMs = 150;

/// Columns that bins are put together into: more than a plot has pixels to tell apart.
constexpr std::uint32_t columns = 512;

/// Of the plot, in pixels, for each tick label.
constexpr int labelWidth = 80;
constexpr int labelHeight = 40;

/// 1, 10, 10², 10³ …
QString powerOfTen(int power) {
    static const QString raised = QStringLiteral("⁰¹²³⁴⁵⁶⁷⁸⁹");
    const QString exponent =
        power < 10 ? QString(raised.at(power)) : raised.at(power / 10) + QString(raised.at(power % 10));
    return power < 2 ? QString::number(power == 0 ? 1 : 10) : QStringLiteral("10%1").arg(exponent);
}

/// Floats, or the parts of a spectrum.
class FloatSamples {
public:
    explicit FloatSamples(const CzImageData& image) : m_picture(image.picBuf()) {
        const auto* const spectrum = qobject_cast<const CzFFTImageData*>(&image);
        if (spectrum && spectrum->picBufIm().data)
            m_imaginary = &spectrum->picBufIm();
    }

    bool isSpectrum() const { return m_picture.dataType == EzImageDataType::SpectrumFloat32; }

    /// Calls take with each sample of a channel that is a number.
    template <class Take>
    void each(std::uint32_t channel, Take&& take) const {
        const CzChannelView<float> samples(m_picture, channel);
        const CzChannelView<float> imaginary(m_imaginary ? *m_imaginary : m_picture, channel);
        for (int y = 0; y < shownPixels(m_picture.height); ++y)
            for (int x = 0; x < shownPixels(m_picture.width); ++x) {
                auto value = static_cast<double>(samples.at(x, y));
                if (isSpectrum())
                    value = std::log1p(
                        std::hypot(value, m_imaginary ? static_cast<double>(imaginary.at(x, y)) : 0.0));
                if (std::isfinite(value))
                    take(value);
            }
    }

private:
    const SzPicBuf& m_picture;
    const SzPicBuf* m_imaginary = nullptr;
};

SzPlottedHistogram measureFloats(const CzImageData& image) {
    const SzPicBuf& picture = image.picBuf();
    SzPlottedHistogram histogram;
    const FloatSamples samples(image);
    const bool isColour = hasColourSamples(picture) && !samples.isSpectrum();
    const std::uint32_t channels = samples.isSpectrum() ? 1 : isColour ? 3 : picture.channels;
    double smallest = std::numeric_limits<double>::infinity();
    double largest = -smallest;
    for (std::uint32_t c = 0; c < channels; ++c)
        samples.each(c, [&](double value) {
            smallest = std::min(smallest, value);
            largest = std::max(largest, value);
        });
    if (smallest > largest) {
        histogram.samples = CzHistogramPlot::tr("no sample is a number");
        return histogram;
    }
    histogram.samples =
        samples.isSpectrum() ? CzHistogramPlot::tr("log(1 + magnitude)") : CzHistogramPlot::tr("sample");
    if (smallest == largest) { // in the middle of a range that can be drawn
        const double margin = std::max(0.5, std::abs(smallest) / 2);
        smallest -= margin;
        largest += margin;
    }
    histogram.first = smallest;
    histogram.binWidth = (largest - smallest) / columns;
    histogram.counts.binCount = columns;
    for (std::uint32_t c = 0; c < channels; ++c) {
        CzHistoData::SzChannel channel;
        channel.bins.resize(columns);
        samples.each(isColour ? 2 - c : c, [&](double value) {
            const double bin = (value - smallest) / histogram.binWidth;
            ++channel.bins[std::min(static_cast<int>(bin), static_cast<int>(columns) - 1)];
        });
        histogram.counts.channels.append(channel);
    }
    return histogram;
}

SzPlottedHistogram measure(const CzLinkTap::Picture& picture) {
    const SzPicBuf& pixels = picture->picBuf();
    const bool isFloat =
        pixels.dataType == EzImageDataType::Float32 || pixels.dataType == EzImageDataType::SpectrumFloat32;
    if (isFloat && pixels.data)
        return measureFloats(*picture);
    SzPlottedHistogram histogram;
    CzPicBufMeas::measureHistogram(histogram.counts, pixels, QRect(), CzHistoData::EzHistoDataFlag::Bins);
    histogram.binWidth = std::ldexp(1.0, static_cast<int>(histogram.counts.binShift));
    histogram.samples = histogram.counts.channels.isEmpty()
                            ? CzHistogramPlot::tr("samples of this type are not counted")
                            : CzHistogramPlot::tr("sample");
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
    plot().yAxis->setScaleType(QCPAxis::stLogarithmic);
    plot().xAxis->ticker()->setTickStepStrategy(QCPAxisTicker::tssMeetTickCount);
    m_pause.setSingleShot(true);
    m_pause.setInterval(pauseMs);
    connect(&m_pause, &QTimer::timeout, this, &CzHistogramPlot::measureNext);
    connect(&m_watcher, &QFutureWatcherBase::finished, this, [this] {
        m_histogram = m_picture ? m_watcher.result() : SzPlottedHistogram();
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
        m_histogram = SzPlottedHistogram();
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

void CzHistogramPlot::resizeEvent(QResizeEvent* event) {
    CzPlotPanel::resizeEvent(event);
    updateTicks();
}

void CzHistogramPlot::updateTicks() {
    plot().xAxis->ticker()->setTickCount(std::max(1, width() / labelWidth - 1));
    const double decades = std::log10(plot().yAxis->range().upper);
    const int step = 1 + static_cast<int>(decades * labelHeight / std::max(1, height()));
    auto powers = QSharedPointer<QCPAxisTickerText>::create();
    for (int power = 0; power <= decades; power += step)
        powers->addTick(std::pow(10.0, power), powerOfTen(power));
    plot().yAxis->setTicker(powers);
}

void CzHistogramPlot::draw() {
    plot().clearGraphs();
    const CzHistoData& counted = m_histogram.counts;
    const int channels = counted.channels.size();
    const std::uint32_t together = std::max(1U, counted.binCount / columns);
    const auto beginOf = [this](std::uint32_t bin) { return m_histogram.first + bin * m_histogram.binWidth; };
    double largest = 10.0;
    for (int c = 0; c < channels; ++c) {
        const QVector<std::uint32_t>& bins = counted.channels.at(c).bins;
        QVector<double> samples;
        QVector<double> counts;
        for (int first = 0; first < bins.size(); first += static_cast<int>(together)) {
            const int end = std::min(bins.size(), first + static_cast<int>(together));
            samples.append(beginOf(static_cast<std::uint32_t>(first)));
            counts.append(std::accumulate(bins.begin() + first, bins.begin() + end, 0.0));
            largest = std::max(largest, counts.last());
        }
        QCPGraph* const graph = plot().addGraph();
        graph->setLineStyle(QCPGraph::lsStepLeft);
        graph->setPen(QPen(colourOf(c, channels)));
        graph->setData(samples, counts, true);
    }
    for (QCPAxis* const axis : {plot().xAxis, plot().yAxis}) {
        axis->setTicks(channels > 0);
        axis->setTickLabels(channels > 0);
    }
    plot().xAxis->setLabel(m_histogram.samples);
    plot().xAxis->setRange(m_histogram.first, beginOf(std::max(1U, counted.binCount)));
    plot().yAxis->setRange(0.5, largest * 1.5);
    updateTicks();
    plot().replot(QCustomPlot::rpQueuedReplot);
    emit changed();
}
