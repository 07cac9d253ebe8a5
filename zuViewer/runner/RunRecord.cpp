// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunRecord.h"

#include "Inputs.h"
#include "Progress.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>

#include <cmath>
#include <filesystem>
#include <system_error>

namespace {

/// A time with three decimals: what lies below is noise and makes long lines.
double rounded(double time) {
    return std::round(time * 1e3) / 1e3;
}

} // namespace

CzRunRecord::CzRunRecord(const QString& folder, EzPictureFormat format, const QStringList& elementIds,
                         CzProgress& progress)
    : m_folder(folder), m_format(format), m_progress(progress) {
    m_clock.start();
    for (const QString& id : elementIds)
        m_elements.append({id, 0.0, QString()});
}

bool CzRunRecord::open() {
    if (m_folder.isEmpty())
        return true;
    QString error;
    std::error_code code;
    std::filesystem::create_directories(QFile::encodeName(m_folder).constData(), code);
    if (code)
        fail(QStringLiteral("The output folder '%1' cannot be made: %2.")
                 .arg(m_folder, QString::fromStdString(code.message())));
    else if (!m_manifest.open(QDir(m_folder).filePath(QStringLiteral("manifest.jsonl")), &error))
        fail(error);
    return !m_failed;
}

void CzRunRecord::begin(const SzInputFrame& frame, std::uint64_t expectedFrames) {
    for (const QString& sentence : frame.picture ? frame.warnings : QStringList(frame.error)) {
        if (m_saidOfInputs.contains(sentence))
            continue;
        m_saidOfInputs.insert(sentence);
        m_progress.say(sentence);
    }
    const Pending pending{frame.file, frame.page, frame.frameNo};
    {
        const QMutexLocker lock(&m_mutex);
        m_expectedFrames = expectedFrames;
        if (frame.picture)
            m_pending.push_back(pending);
    }
    if (!frame.picture) {
        addFailed(pending, {});
        showProgress();
    }
}

void CzRunRecord::finish(const SzFrameReport& report) {
    if (!report.further)
        m_reported = takePending();
    const Pending& frame = m_reported;
    addReports(frame, report);

    const QString name = QStringLiteral("%1.%2")
                             .arg(m_counts.written + 1, 5, 10, QLatin1Char('0'))
                             .arg(m_format == EzPictureFormat::Png ? "png" : "tif");
    if (report.status == EzFrameStatus::Consumed) {
        ++m_counts.consumed;
        addLine(frame, "consumed", QString(), report.elements);
    } else if (report.status == EzFrameStatus::Delivered && m_folder.isEmpty()) {
        ++m_counts.delivered;
    } else if (report.status == EzFrameStatus::Delivered && writeOutput(name, *report.output)) {
        ++m_counts.written;
        addLine(frame, "written", name, report.elements);
    } else {
        addFailed(frame, report.elements);
    }
    showProgress();
}

void CzRunRecord::close() {
    while (!m_pending.empty()) {
        const Pending frame = takePending();
        fail(QStringLiteral("%1: the chain stopped before this frame.").arg(frame.place()));
        addFailed(frame, {});
    }
    m_progress.clear();
    if (m_writeErrors > 1)
        fail(QStringLiteral("Of %1 more pictures none could be written.").arg(m_writeErrors - 1));
    m_seconds = rounded(double(m_clock.nsecsElapsed()) * 1e-9);
    addLine({{"summary", QJsonObject{{"frames", qint64(m_counts.frames())},
                                     {"written", qint64(m_counts.written)},
                                     {"consumed", qint64(m_counts.consumed)},
                                     {"failed", qint64(m_counts.failed)},
                                     {"seconds", m_seconds}}}});
}

double CzRunRecord::meanMilliseconds(int element) const {
    return m_reports == 0 ? 0.0 : rounded(m_elements.at(element).milliseconds / double(m_reports));
}

QString CzRunRecord::Pending::place() const {
    return QStringLiteral("%1, page %2").arg(file, QString::number(page));
}

CzRunRecord::Pending CzRunRecord::takePending() {
    const QMutexLocker lock(&m_mutex);
    const Pending frame = m_pending.front();
    m_pending.pop_front();
    return frame;
}

void CzRunRecord::addReports(const Pending& frame, const SzFrameReport& report) {
    ++m_reports;
    bool explained = report.status != EzFrameStatus::Failed || m_unexplainedFailure;
    for (int i = 0; i < m_elements.size() && i < report.elements.size(); ++i) {
        const SzElementReport& reported = report.elements.at(i);
        Element& element = m_elements[i];
        element.milliseconds += reported.milliseconds;
        explained = explained || !reported.errorMessage.isEmpty();
        if (element.firstError.isEmpty() && !reported.errorMessage.isEmpty()) {
            element.firstError = reported.errorMessage;
            fail(QStringLiteral("%1: element %2 (%3): %4")
                     .arg(frame.place(), QString::number(i), element.uniqueId, element.firstError));
        }
    }
    if (!explained) {
        m_unexplainedFailure = true;
        fail(QStringLiteral("%1: the chain had no buffer free for the result.").arg(frame.place()));
    }
}

bool CzRunRecord::writeOutput(const QString& name, const IzChainData& output) {
    QString error;
    if (writePicture(QDir(m_folder).filePath(name), m_format, output, &error))
        return true;
    // A full disk fails for every frame that follows: one sentence tells as much as a thousand.
    if (m_writeErrors++ == 0)
        fail(error);
    return false;
}

void CzRunRecord::addFailed(const Pending& frame, const QVector<SzElementReport>& elements) {
    ++m_counts.failed;
    m_failed = true;
    addLine(frame, "failed", QString(), elements);
}

void CzRunRecord::addLine(const Pending& frame, const char* status, const QString& output,
                          const QVector<SzElementReport>& elements) {
    QJsonArray elementList;
    for (int i = 0; i < m_elements.size() && i < elements.size(); ++i)
        elementList.append(QJsonObject{{"uniqueId", m_elements.at(i).uniqueId},
                                       {"ms", rounded(elements.at(i).milliseconds)},
                                       {"error", elements.at(i).errorMessage}});
    addLine({{"input", frame.file},
             {"page", frame.page},
             {"frameNo", frame.frameNo},
             {"output", output.isEmpty() ? QJsonValue() : QJsonValue(output)},
             {"status", status},
             {"elements", elementList}});
}

void CzRunRecord::addLine(const QJsonObject& line) {
    QString error;
    if (!m_folder.isEmpty() && !m_manifest.append(line, &error) && !error.isEmpty())
        fail(error);
}

void CzRunRecord::showProgress() {
    std::uint64_t expectedFrames = 0;
    {
        const QMutexLocker lock(&m_mutex);
        expectedFrames = m_expectedFrames;
    }
    m_progress.show(m_counts.frames(), expectedFrames);
}

void CzRunRecord::fail(const QString& sentence) {
    m_failed = true;
    m_progress.say(sentence);
}
