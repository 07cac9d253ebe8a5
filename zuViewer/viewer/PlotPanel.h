// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QCustomPlot;

/// A plot in the colours of the application, whatever its theme.
class CzPlotPanel : public QWidget {
    Q_OBJECT
public:
    explicit CzPlotPanel(QWidget* parent = nullptr);

protected:
    QCustomPlot& plot() { return *m_plot; }
    void changeEvent(QEvent* event) override;

private:
    void takeColours();

    QCustomPlot* m_plot;
};
