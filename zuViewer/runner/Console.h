// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ExitCode.h"

#include <QByteArray>
#include <QString>

class QJsonObject;

/// Says one sentence to the user, on standard error, and gives it a full stop if it has none. Any thread.
void say(const QString& sentence);

/// Puts a result on standard output: a text as it stands, an object as indented JSON. Failed, and a sentence,
/// when it could not be written to the end.
EzExitCode printResult(const QByteArray& text);
EzExitCode printResult(const QString& text);
EzExitCode printResult(const QJsonObject& object);
