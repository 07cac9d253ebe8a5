// SPDX-License-Identifier: GPL-3.0-or-later
#include "Console.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <cstdio>
#include <cstring>

void say(const QString& sentence) {
    // One call, so that sentences of two threads do not mix.
    const char* const end = sentence.endsWith(QLatin1Char('.')) ? "\n" : ".\n";
    const QByteArray line = "zurun: " + sentence.toLocal8Bit() + end;
    std::fwrite(line.constData(), 1, std::size_t(line.size()), stderr);
}

EzExitCode printResult(const QByteArray& text) {
    const bool written =
        std::fwrite(text.constData(), 1, std::size_t(text.size()), stdout) == std::size_t(text.size());
    if (written && std::fflush(stdout) == 0)
        return EzExitCode::Success;
    say(QStringLiteral("The result could not be written to standard output: %1.")
            .arg(QString::fromLocal8Bit(std::strerror(errno))));
    return EzExitCode::Failed;
}

EzExitCode printResult(const QString& text) {
    return printResult(text.toLocal8Bit());
}

EzExitCode printResult(const QJsonObject& object) {
    return printResult(QJsonDocument(object).toJson());
}
