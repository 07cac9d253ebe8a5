// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ChainMonitor.h"

#include <QTimer>
#include <QWidget>

class CzChainSession;
class CzElidedLabel;
class QHBoxLayout;

/// What the window's status bar tells: the pixel under the cursor, what has just been done, the scale, and
/// how the chain is doing.
class CzStatusPanel : public QWidget {
    Q_OBJECT
public:
    explicit CzStatusPanel(QWidget* parent = nullptr);

    void showPixel(const QString& description);
    /// All that was said of the pixel, where there is no room for it; else empty.
    QString pixelTip() const;
    /// For some seconds.
    void showMessage(const QString& message);
    /// While there is no other message; empty: nothing.
    void setLastingMessage(const QString& message);
    /// Screen pixels per picture pixel.
    void showScale(double scale);
    /// From here on: another source plays. notShown: pictures that the screen had no time for.
    void startCounting(const CzChainSession& session, std::uint64_t notShown);
    void showChain(const CzChainSession& session, const SzChainFigures& figures, std::uint64_t notShown);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void giveRoomToState();
    CzElidedLabel* addLabel(const char* name, const QString& toolTip);

    QHBoxLayout* m_layout;
    CzElidedLabel* m_pixel;
    CzElidedLabel* m_message;
    CzElidedLabel* m_scale;
    CzElidedLabel* m_rate;
    CzElidedLabel* m_losses;
    CzElidedLabel* m_pool;
    CzElidedLabel* m_state;
    struct SzCounts {
        SzChainCounters counters;
        std::uint64_t notShown = 0;
    };
    SzCounts m_start; ///< when the source was opened
    QTimer m_messageTimer;
    QString m_lastingMessage;
};
