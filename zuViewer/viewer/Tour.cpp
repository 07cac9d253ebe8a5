// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tour.h"

#include "ChainPanel.h"
#include "DisplayPanel.h"
#include "MainWindow.h"
#include "PictureWidget.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPixmap>
#include <QThread>

#include <cstdio>
#include <functional>
#include <memory>

namespace {

constexpr int patienceMs = 20000;
constexpr int settleMs = 600; // until times, captions and plots have followed

void say(const QString& text) {
    std::fprintf(stderr, "zuviewer: %s\n", qUtf8Printable(text));
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    QElapsedTimer time;
    time.start();
    while (!condition()) {
        if (time.hasExpired(timeoutMs))
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

void waitFor(int milliseconds) {
    waitFor([] { return false; }, milliseconds);
}

/// Returns when the session has made the changes that were asked for.
bool waitForChanges(CzMainWindow& window) {
    const auto done = std::make_shared<bool>(false);
    window.session().whenStopped([done] { *done = true; });
    return waitFor([&] { return *done; }, patienceMs);
}

/// One stop, with what it asks of the window.
class Stop {
public:
    Stop(CzMainWindow& window, const QJsonObject& json, const QDir& folder)
        : m_window(window), m_json(json), m_folder(folder) {}

    /// False when no picture comes.
    bool goThere() {
        m_window.showProblem(QString());
        const bool arrived = open() && waitForFrames();
        if (has("select"))
            m_window.chainPanel().selectElement(value("select").toInt());
        if (auto* const dock = m_window.findChild<QDockWidget*>(value("dock").toString());
            dock && has("dock"))
            dock->raise();
        choose("mode");
        choose("range");
        waitFor(settleMs); // the bands of the picture are offered
        choose("band");
        if (auto* const box = m_window.displayPanel().findChild<QCheckBox*>(QStringLiteral("saturated")))
            box->setChecked(value("saturated").toBool());
        if (const QJsonArray click = value("click").toArray(); click.size() == 2)
            emit m_window.pictureWidget().pixelClicked(click.at(0).toInt(), click.at(1).toInt(), false);
        waitFor(settleMs);
        return arrived;
    }

private:
    QJsonValue value(const char* key) const { return m_json.value(QLatin1String(key)); }
    bool has(const char* key) const { return m_json.contains(QLatin1String(key)); }

    bool open() {
        if (has("chain"))
            m_window.session().load(m_folder.filePath(value("chain").toString()));
        if (has("chainText"))
            m_window.session().loadText(value("chainText").toString().toUtf8(), QString());
        QStringList pictures;
        for (const QJsonValue& picture : value("pictures").toArray())
            pictures.append(m_folder.filePath(picture.toString()));
        if (!pictures.isEmpty())
            m_window.openPaths(pictures);
        if (has("scene"))
            m_window.openScene(value("scene").toString());
        return waitForChanges(m_window);
    }

    bool waitForFrames() {
        const auto counters = [this] { return m_window.session().chain().counters(); };
        const std::uint64_t frames = counters().framesIn + static_cast<unsigned>(value("frames").toInt(0));
        return waitFor([&] { return counters().framesIn >= frames; }, patienceMs);
    }

    /// A place in one of the display panel's lists, which has the key's name.
    void choose(const char* key) {
        if (auto* const list = m_window.displayPanel().findChild<QComboBox*>(QLatin1String(key)))
            list->setCurrentIndex(value(key).toInt(0));
    }

    CzMainWindow& m_window;
    QJsonObject m_json;
    QDir m_folder;
};

} // namespace

bool goOnTour(CzMainWindow& window, const QString& tour, const QString& folder) {
    QFile file(tour);
    if (!file.open(QIODevice::ReadOnly)) {
        say(QStringLiteral("%1: %2").arg(tour, file.errorString()));
        return false;
    }
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isArray() || !QDir().mkpath(folder)) {
        say(QStringLiteral("%1 is no tour, or %2 cannot be made.").arg(tour, folder));
        return false;
    }
    bool complete = true;
    for (const QJsonValue& value : document.array()) {
        const QJsonObject stop = value.toObject();
        const QString name = stop.value(QLatin1String("name")).toString();
        if (!Stop(window, stop, QFileInfo(tour).dir()).goThere()) {
            say(QStringLiteral("No picture came at the stop '%1'.").arg(name));
            complete = false;
        }
        const QString path = QDir(folder).filePath(name + QStringLiteral(".png"));
        if (!window.grab().save(path)) {
            say(QStringLiteral("%1 cannot be written.").arg(path));
            complete = false;
        }
    }
    window.session().setRunning(false);
    waitFor([&] { return window.session().state() == CzChainSession::EzState::Stopped; }, patienceMs);
    return complete;
}
