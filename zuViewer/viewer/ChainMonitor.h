// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Chain.h"

#include <QElapsedTimer>
#include <QString>
#include <QVector>

#include <cstdint>
#include <mutex>

/// What a chain does, in figures that a person can read.
struct SzChainFigures {
    double framesPerSecond = 0.0; ///< that the worker ended with, over about the last second
    double latencyMs = 0.0;       ///< from entering the source to the end of the chain, of the last frame
    QVector<SzElementReport> elements; ///< of the last frame: time and message
};

/// Collects what the chain's worker reports and tells it to the GUI thread.
class CzChainMonitor {
public:
    CzChainMonitor();

    /// A frame has come to its end. Worker.
    void offer(const SzFrameReport& report);

    /// GUI thread; frames per second are counted from one call to the next.
    SzChainFigures figures();

    /// Forgets the last frame: the chain has been composed anew.
    void clear();

private:
    std::mutex m_mutex;
    SzChainFigures m_last;
    std::uint64_t m_frames = 0;

    // The GUI thread's.
    QElapsedTimer m_sinceRate;
    std::uint64_t m_framesAtRate = 0;
    double m_rate = 0.0;
};
