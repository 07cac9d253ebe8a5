// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tour.h"

#include "ChainPanel.h"
#include "DisplayPanel.h"
#include "MainWindow.h"
#include "PictureWidget.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPixmap>
#include <QScreen>
#include <QThread>
#include <QWindow>

#include <cstdio>
#include <functional>

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

void choose(CzMainWindow& window, const char* combo, const QJsonValue& place) {
    if (auto* const list = window.displayPanel().findChild<QComboBox*>(QLatin1String(combo)))
        list->setCurrentIndex(place.toInt(0));
}

bool goTo(CzMainWindow& window, const QJsonObject& stop, const QDir& tourFolder) {
    window.showProblem(QString());
    const auto framesBefore = window.session().chain().counters().framesIn;
    if (stop.contains(QLatin1String("chain")))
        window.session().load(tourFolder.filePath(stop.value(QLatin1String("chain")).toString()));
    QStringList pictures;
    for (const QJsonValue& picture : stop.value(QLatin1String("pictures")).toArray())
        pictures.append(tourFolder.filePath(picture.toString()));
    if (!pictures.isEmpty())
        window.openPaths(pictures);
    if (stop.contains(QLatin1String("scene")))
        window.openScene(stop.value(QLatin1String("scene")).toString());
    const auto frames = static_cast<quint64>(stop.value(QLatin1String("frames")).toInt(0));
    const bool arrived = waitFor(
        [&] { return window.session().chain().counters().framesIn >= framesBefore + frames; }, patienceMs);
    if (stop.contains(QLatin1String("select")))
        window.chainPanel().selectElement(stop.value(QLatin1String("select")).toInt());
    choose(window, "mode", stop.value(QLatin1String("mode")));
    choose(window, "range", stop.value(QLatin1String("range")));
    const bool shown =
        frames == 0 || waitFor([&] { return window.pictureWidget().picture() != nullptr; }, patienceMs);
    waitFor([] { return false; }, settleMs); // the bands of the picture are offered
    choose(window, "band", stop.value(QLatin1String("band")));
    if (const QJsonArray click = stop.value(QLatin1String("click")).toArray(); click.size() == 2)
        emit window.pictureWidget().pixelClicked(click.at(0).toInt(), click.at(1).toInt(), false);
    waitFor([] { return false; }, settleMs);
    return arrived && shown;
}

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
        if (!goTo(window, stop, QFileInfo(tour).dir())) {
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
