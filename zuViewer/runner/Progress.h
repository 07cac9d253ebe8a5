// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QElapsedTimer>
#include <QMutex>
#include <QString>

#include <cstdint>

/// A bar on standard error with frame rate and remaining time, where that is a terminal; elsewhere nothing.
/// Any thread.
class CzProgress {
public:
    CzProgress();
    ~CzProgress();

    /// Shows that many frames of an expected total as done.
    void show(std::uint64_t done, std::uint64_t expected);

    /// Says a sentence without mixing it with the bar.
    void say(const QString& sentence);

    /// Takes the bar away.
    void clear();

private:
    void clearLine();

    QMutex m_mutex;
    const bool m_onTerminal;
    bool m_shown = false;
    QElapsedTimer m_sinceStart;
    QElapsedTimer m_sinceShown;
};

/// The bar as text, without the movements of the cursor.
QString progressText(std::uint64_t done, std::uint64_t expected, double seconds);
