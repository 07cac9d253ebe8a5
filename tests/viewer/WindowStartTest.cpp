// SPDX-License-Identifier: GPL-3.0-or-later
// The program itself.
#include "ViewerFixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

namespace {

class WindowStart : public ViewerTest {
protected:
    /// Runs the program; its standard output.
    QString run(const QStringList& arguments, int expectedCode, const QString& program = {}) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral("config")));
        environment.insert(QStringLiteral("ZUVIEWER_PLUGIN_PATH"), QStringLiteral(ZU_BUILT_PLUGIN_FOLDER));
        for (const QString& key : m_environment.keys())
            environment.insert(key, m_environment.value(key));
        process.setProcessEnvironment(environment);
        process.start(program.isEmpty() ? QStringLiteral(ZU_VIEWER_PROGRAM) : program, arguments);
        EXPECT_TRUE(process.waitForFinished(120000));
        m_error = QString::fromUtf8(process.readAllStandardError());
        EXPECT_EQ(process.exitCode(), expectedCode) << m_error.toStdString();
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    QProcessEnvironment m_environment;
    QString m_error; ///< what the program said last on standard error
};

TEST_F(WindowStart, TellsItsVersionAndItsArguments) {
    EXPECT_TRUE(run({QStringLiteral("--version")}, 0).contains(QStringLiteral("zuviewer 1.0.0")));
    const QString help = run({QStringLiteral("--help")}, 0);
    EXPECT_TRUE(help.contains(QStringLiteral("--screenshots")));
    EXPECT_TRUE(help.contains(QStringLiteral("files")));
}

TEST_F(WindowStart, GoesOnATour) {
    QFile tour(path(QStringLiteral("tour.json")));
    ASSERT_TRUE(tour.open(QIODevice::WriteOnly));
    tour.write(QStringLiteral(R"([{ "name": "one", "scene": "bayer", "chain": "%1", "frames": 2 }])")
                   .arg(QStringLiteral(ZU_EXAMPLES_FOLDER "/rotate.zuchain"))
                   .toUtf8());
    tour.close();
    const QString folder = path(QStringLiteral("shots"));
    run({QStringLiteral("--tour"), tour.fileName(), QStringLiteral("--screenshots"), folder}, 0);
    EXPECT_TRUE(QFile::exists(folder + QStringLiteral("/one.png")));
    EXPECT_FALSE(m_error.contains(QStringLiteral("plug-in"))) << m_error.toStdString();
    m_environment.insert(QStringLiteral("ZUVIEWER_PLUGIN_PATH"), path(QStringLiteral("nowhere")));
    run({QStringLiteral("--tour"), tour.fileName(), QStringLiteral("--screenshots"), folder}, 0);
    EXPECT_TRUE(m_error.contains(QStringLiteral("no such plug-in folder"))) << m_error.toStdString();
    run({QStringLiteral("--tour"), path(QStringLiteral("none")), QStringLiteral("--screenshots"), folder}, 1);
    for (const char* const alone : {"--tour", "--screenshots"}) {
        run({QLatin1String(alone), tour.fileName()}, 1);
        EXPECT_TRUE(m_error.contains(QStringLiteral("need each other"))) << m_error.toStdString();
    }
}

TEST_F(WindowStart, SpeaksTheLanguageThatLiesBesideIt) {
    // A copy of the program that nobody else translates.
    const QString program = path(QStringLiteral("zuviewer"));
    ASSERT_TRUE(QFile::copy(QStringLiteral(ZU_VIEWER_PROGRAM), program));
    ASSERT_TRUE(QFile::copy(QStringLiteral(ZU_TEST_TRANSLATION), path(QStringLiteral("zuviewer_eo.qm"))));
    m_environment.insert(QStringLiteral("LD_LIBRARY_PATH"), QStringLiteral(ZU_BUILT_LIBRARY_FOLDER));
    m_environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("eo"));
    EXPECT_TRUE(run({QStringLiteral("--help")}, 0, program).contains(QStringLiteral("Bildoj, dosierujoj")));
    m_environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    EXPECT_FALSE(run({QStringLiteral("--help")}, 0, program).contains(QStringLiteral("Bildoj, dosierujoj")));
}

} // namespace
