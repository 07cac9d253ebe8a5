// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HistoData.h"
#include "LinkTap.h"
#include "PlotPanel.h"

#include <QFutureWatcher>
#include <QTimer>

/// Histogram of a picture, counted in the background some times a second: of many pictures the newest.
class CzHistogramPlot : public CzPlotPanel {
    Q_OBJECT
public:
    explicit CzHistogramPlot(QWidget* parent = nullptr);
    ~CzHistogramPlot() override;

    /// Null: nothing to show. Returns at once.
    void setPicture(const CzLinkTap::Picture& picture);

    /// Of the picture that is shown; without channels while there is none.
    const CzHistoData& histogram() const { return m_histogram; }

signals:
    /// Another histogram is shown.
    void changed();

private:
    void measureNext();
    void draw();

    CzLinkTap::Picture m_picture; ///< the newest
    bool m_isMeasured = true;
    QTimer m_pause; ///< after a measurement
    QFutureWatcher<CzHistoData> m_watcher;
    CzHistoData m_histogram;
};
