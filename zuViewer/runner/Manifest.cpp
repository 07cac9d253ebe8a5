// SPDX-License-Identifier: GPL-3.0-or-later
#include "Manifest.h"

#include <QJsonDocument>
#include <QJsonObject>

bool CzManifest::open(const QString& path, QString* error) {
    m_file.setFileName(path);
    // Unbuffered: a line reaches the file in one piece and at once.
    m_failed = !m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
    if (m_failed)
        *error = QStringLiteral("The manifest '%1' cannot be written: %2.").arg(path, m_file.errorString());
    return !m_failed;
}

bool CzManifest::append(const QJsonObject& line, QString* error) {
    if (m_failed)
        return false;
    const qint64 end = m_file.pos();
    const QByteArray text = QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
    if (m_file.write(text) == text.size())
        return true;
    m_failed = true;
    *error = QStringLiteral("The manifest '%1' ends too early, the disk took no more: %2.")
                 .arg(m_file.fileName(), m_file.errorString());
    m_file.resize(end);
    return false;
}
