// SPDX-License-Identifier: GPL-3.0-or-later
// zuviewer: build a chain of processing elements, and watch what each does to pictures.
#include "CoreVersion.h"
#include "LastRun.h"
#include "MainWindow.h"
#include "PluginLoader.h"
#include "Tour.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QLibraryInfo>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTranslator>

#include <cstdlib>

namespace {

QString versionText() {
    int major = 0;
    int minor = 0;
    int build = 0;
    zuCoreVersion(major, minor, build);
    return QStringLiteral("%1.%2.%3").arg(major).arg(minor).arg(build);
}

void say(const QStringList& sentences) {
    QTextStream error(stderr);
    for (const QString& sentence : sentences)
        error << "zuviewer: " << sentence << '\n';
}

} // namespace

int main(int argc, char** argv) {
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("zuViewer Project"));
    QApplication::setApplicationName(QStringLiteral("zuviewer"));
    QApplication::setApplicationVersion(versionText());

    QTranslator qtTexts;
    if (qtTexts.load(QLocale(), QStringLiteral("qtbase"), QStringLiteral("_"),
                     QLibraryInfo::location(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&qtTexts);
    QTranslator texts;
    if (texts.load(QLocale(), QStringLiteral("zuviewer"), QStringLiteral("_"),
                   QCoreApplication::applicationDirPath()))
        QApplication::installTranslator(&texts);

    QCommandLineParser line;
    line.setApplicationDescription(
        QCoreApplication::translate("main", "Shows what chains of processing elements do to pictures. "
                                            "ZUVIEWER_PLUGIN_PATH names the folders with plug-ins, in place "
                                            "of the installed ones."));
    line.addPositionalArgument(QStringLiteral("files"),
                               QCoreApplication::translate("main", "Pictures, folders of pictures, a chain."),
                               QStringLiteral("[files...]"));
    const QCommandLineOption screenshots(
        QStringLiteral("screenshots"),
        QCoreApplication::translate("main",
                                    "Goes through <tour> by itself and leaves a picture of each stop in "
                                    "this folder."),
        QStringLiteral("folder"));
    const QCommandLineOption tour(QStringLiteral("tour"),
                                  QCoreApplication::translate("main", "The stops of --screenshots, as JSON."),
                                  QStringLiteral("tour"));
    line.addOptions({screenshots, tour});
    line.addHelpOption();
    line.addVersionOption();
    line.process(application);
    if (line.isSet(screenshots) != line.isSet(tour)) {
        say({QCoreApplication::translate("main", "--screenshots and --tour need each other.")});
        return EXIT_FAILURE;
    }

    CzPluginLoader plugins;
    plugins.loadUsualFolders();
    const QStringList& refused = plugins.errors();

    const QTemporaryDir tourSettings; // what a tour does is nobody's last chain
    if (line.isSet(tour)) {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, tourSettings.path());
    }
    CzMainWindow window;
    if (line.isSet(tour)) {
        say(refused);
        window.show();
        return goOnTour(window, line.value(tour), line.value(screenshots)) ? EXIT_SUCCESS : EXIT_FAILURE;
    }

    const CzLastRun lastRun;
    // The worker of a chain that hangs cannot be ended, and the run counts as unclean.
    QObject::connect(&window, &CzMainWindow::abandoned, [] { std::_Exit(EXIT_FAILURE); });
    window.restoreLayout();
    window.show();
    window.begin(line.positionalArguments(), lastRun.wasUnclean());
    if (!refused.isEmpty())
        window.showProblem(refused.join(QLatin1Char('\n')));
    return QApplication::exec();
}
