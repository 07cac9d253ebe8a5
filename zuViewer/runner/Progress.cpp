// SPDX-License-Identifier: GPL-3.0-or-later
#include "Progress.h"

#include "Console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

CzProgress::CzProgress() : m_onTerminal(isatty(STDERR_FILENO) == 1) {
    m_sinceStart.start();
}

CzProgress::~CzProgress() {
    clear();
}

void CzProgress::show(std::uint64_t done, std::uint64_t expected) {
    constexpr int millisecondsBetweenUpdates = 100;
    const QMutexLocker lock(&m_mutex);
    if (!m_onTerminal || (m_shown && m_sinceShown.elapsed() < millisecondsBetweenUpdates))
        return;
    m_sinceShown.start();
    clearLine();
    const QByteArray text =
        progressText(done, expected, double(m_sinceStart.nsecsElapsed()) * 1e-9).toLocal8Bit();
    std::fputs(text.constData(), stderr);
    m_shown = true;
}

void CzProgress::say(const QString& sentence) {
    const QMutexLocker lock(&m_mutex);
    clearLine();
    ::say(sentence);
}

void CzProgress::clear() {
    const QMutexLocker lock(&m_mutex);
    clearLine();
}

void CzProgress::clearLine() {
    if (m_shown)
        std::fputs("\r\033[K", stderr);
    m_shown = false;
}

QString progressText(std::uint64_t done, std::uint64_t expected, double seconds) {
    constexpr int barLength = 30;
    expected = std::max<std::uint64_t>({expected, done, 1});
    const int filled = int(double(done) / double(expected) * barLength);
    QString text = QStringLiteral("[%1%2] %3/%4 frames")
                       .arg(QString(filled, QLatin1Char('#')), QString(barLength - filled, QLatin1Char('.')),
                            QString::number(done), QString::number(expected));
    if (done > 0 && seconds > 0) {
        const double framesPerSecond = double(done) / seconds;
        const auto secondsLeft = std::uint64_t(double(expected - done) / framesPerSecond + 0.5);
        text += QStringLiteral(", %1 frames/s, %2:%3 left")
                    .arg(QString::number(framesPerSecond, 'f', 1), QString::number(secondsLeft / 60))
                    .arg(secondsLeft % 60, 2, 10, QLatin1Char('0'));
    }
    return text;
}
