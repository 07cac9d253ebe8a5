// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HistoData.h"
#include "LinkTap.h"

#include <QFutureWatcher>
#include <QWidget>

class QCustomPlot;

/// Histogram of a picture, counted in the background: of many pictures the newest that there is time for.
class CzHistogramPlot : public QWidget {
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
    void show();

    QCustomPlot* m_plot;
    CzLinkTap::Picture m_next; ///< waits to be counted
    QFutureWatcher<CzHistoData> m_watcher;
    CzHistoData m_histogram;
};
