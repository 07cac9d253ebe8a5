// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>
#include <QString>

class QJsonObject;

/// A file of JSON lines that grows while a run goes on. Whatever happens, it holds whole lines only: a line
/// that does not fit on the disk is taken back.
class CzManifest {
public:
    /// Begins the file anew. False, with one sentence that names it in error, when that cannot be done.
    bool open(const QString& path, QString* error);

    /// Adds a line. After a failure, told like that of open(), the file stays as it is and every further line
    /// is refused in silence: a manifest with a gap would tell a wrong story.
    bool append(const QJsonObject& line, QString* error);

private:
    QFile m_file;
    bool m_failed = false;
};
