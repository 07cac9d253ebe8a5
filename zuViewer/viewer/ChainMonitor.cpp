// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainMonitor.h"

#include "ImageData.h"

#include <chrono>

using namespace std::chrono;

namespace {

constexpr qint64 rateWindowMs = 1000;

/// Since the frame entered its chain; sources stamp it with this clock.
double ageMs(const SzPicBuf& picture) {
    const nanoseconds now = steady_clock::now().time_since_epoch();
    return duration<double, std::milli>(now - nanoseconds(picture.timeStampNs)).count();
}

} // namespace

CzChainMonitor::CzChainMonitor() {
    m_sinceRate.start();
}

void CzChainMonitor::offer(const SzFrameReport& report) {
    const auto* const image = qobject_cast<const CzImageData*>(report.output);
    const std::lock_guard lock(m_mutex);
    m_frames += report.further ? 0 : 1;
    m_last.elements = report.elements;
    if (image)
        m_last.latencyMs = ageMs(image->picBuf());
}

SzChainFigures CzChainMonitor::figures() {
    const std::lock_guard lock(m_mutex);
    if (const qint64 elapsed = m_sinceRate.elapsed(); elapsed >= rateWindowMs) {
        m_rate = 1000.0 * static_cast<double>(m_frames - m_framesAtRate) / static_cast<double>(elapsed);
        m_framesAtRate = m_frames;
        m_sinceRate.start();
    }
    SzChainFigures figures = m_last;
    figures.framesPerSecond = m_rate;
    return figures;
}

void CzChainMonitor::clear() {
    const std::lock_guard lock(m_mutex);
    m_last = SzChainFigures();
}
