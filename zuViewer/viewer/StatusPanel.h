// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ChainMonitor.h"

#include <QWidget>

class CzChainSession;
class QHBoxLayout;
class QLabel;

/// What the window's status bar tells: the pixel under the cursor, the scale, and how the chain is doing.
class CzStatusPanel : public QWidget {
    Q_OBJECT
public:
    explicit CzStatusPanel(QWidget* parent = nullptr);

    void showPixel(const QString& description);
    /// Screen pixels per picture pixel.
    void showScale(double scale);
    /// notShown: pictures that the screen had no time for.
    void showChain(const CzChainSession& session, const SzChainFigures& figures, std::uint64_t notShown);

private:
    QLabel* addLabel(const char* name, const QString& toolTip);

    QHBoxLayout* m_layout;
    QLabel* m_pixel;
    QLabel* m_scale;
    QLabel* m_rate;
    QLabel* m_losses;
    QLabel* m_pool;
    QLabel* m_state;
};

/// From when on a frame counts as hanging, in milliseconds.
constexpr double hangsAfterMs = 2000.0;
