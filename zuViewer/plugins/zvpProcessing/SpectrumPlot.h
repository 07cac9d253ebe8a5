// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPen>
#include <QVector>

#include <memory>

class QCustomPlot;
struct SzPicBuf;

/// The plot of an amplitude spectrum over its frequencies, drawn into pictures. It is a widget that is never
/// shown: made and deleted on the GUI thread, used by one thread at a time, whichever it is.
class SpectrumPlot {
public:
    SpectrumPlot();
    ~SpectrumPlot();
    SpectrumPlot(const SpectrumPlot&) = delete;
    SpectrumPlot& operator=(const SpectrumPlot&) = delete;

    bool isLogarithmicY() const;
    void setLogarithmicY(bool logarithmic);
    bool isGridXShown() const;
    void setGridXShown(bool shown);
    bool isGridYShown() const;
    void setGridYShown(bool shown);

    /// Scales fonts, pens, ticks and margins to pictures of this size.
    void prepare(int width, int height);

    /// Covers the whole picture, four channels of 8 bits, with the amplitudes over x, of which there are as
    /// many. lower and upper are the range of the amplitude axis; one that no axis can have becomes 0 to 1.
    /// False, and nothing drawn, for pictures with more pixels or bytes per line, or more lines, than an int
    /// can count.
    bool draw(SzPicBuf& picture, const QVector<double>& x, const QVector<double>& amplitudes, double lower,
              double upper);

    QCustomPlot& plot() { return *m_plot; }

private:
    std::unique_ptr<QCustomPlot> m_plot;
    QPen m_zeroLinePen; // of linear amplitudes
    QPen m_gridPen;
};
