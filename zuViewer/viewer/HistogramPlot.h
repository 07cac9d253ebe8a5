// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HistoData.h"
#include "LinkTap.h"
#include "PlotPanel.h"

#include <QFutureWatcher>
#include <QTimer>

/// A histogram and what its bins stand for.
struct SzPlottedHistogram {
    CzHistoData counts;    ///< without channels while there is none
    double first = 0.0;    ///< sample at the beginning of the first bin
    double binWidth = 1.0; ///< in samples
    QString samples;       ///< what they are
};

/// Histogram of a picture, counted in the background some times a second: of many pictures the newest. Floats
/// are counted between the smallest and the largest one, spectra as the logarithm of their magnitude.
class CzHistogramPlot : public CzPlotPanel {
    Q_OBJECT
public:
    explicit CzHistogramPlot(QWidget* parent = nullptr);
    ~CzHistogramPlot() override;

    /// Null: nothing to show. Returns at once.
    void setPicture(const CzLinkTap::Picture& picture);

    /// Of the picture that is shown; without channels while there is none.
    const CzHistoData& histogram() const { return m_histogram.counts; }
    const SzPlottedHistogram& plotted() const { return m_histogram; }

signals:
    /// Another histogram is shown.
    void changed();

private:
    void resizeEvent(QResizeEvent* event) override;
    void measureNext();
    void draw();
    /// As many ticks as there is room for.
    void updateTicks();

    CzLinkTap::Picture m_picture; ///< the newest
    bool m_isMeasured = true;
    QTimer m_pause; ///< after a measurement
    QFutureWatcher<SzPlottedHistogram> m_watcher;
    SzPlottedHistogram m_histogram;
};
