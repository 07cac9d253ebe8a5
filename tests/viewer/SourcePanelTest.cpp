// SPDX-License-Identifier: GPL-3.0-or-later
#include "SourcePanel.h"

#include "Chain.h"
#include "FramePlayer.h"
#include "FrameSource.h"
#include "PictureFile.h"
#include "SensorPanel.h"
#include "ViewerFixture.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFile>
#include <QJsonDocument>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QTest>
#include <QToolButton>
#include <QTranslator>

#include <cmath>
#include <mutex>

namespace {

/// A source whose frames go through an empty chain, as in the window.
class SourcePanel : public ViewerTest {
protected:
    SourcePanel() {
        chain.setFrameObserver([this](const SzFrameReport& report) {
            const std::lock_guard lock(m_mutex);
            if (const auto* const image = qobject_cast<const CzImageData*>(report.output)) {
                m_format = image->picBuf();
                m_metadata = image->imageMetadata();
                m_value = sampleAt(image->picBuf(), 0, 0);
                const SzPicBuf& picture = image->picBuf();
                m_latest.append(
                    qHashBits(picture.data, static_cast<std::size_t>(picture.linePitch) * picture.height));
                if (m_latest.size() > 20)
                    m_latest.removeFirst();
            }
        });
        chain.start();
        panel.resize(330, 260);
        showOnScreen(panel);
    }
    ~SourcePanel() override { player.setSupply(nullptr); }

    /// Writes a picture of one value, without a sidecar.
    QString writePicture(const QString& fileName, double value) {
        auto picture = blackPicture(pictureFormat(8, 6, 1, EzImageDataType::UInt16));
        fillSamples(picture->picBuf(), [value](auto, auto, auto) { return value; });
        QString error;
        EXPECT_TRUE(::writePicture(path(fileName), EzPictureFormat::Tiff, *picture, &error))
            << error.toStdString();
        QFile::remove(sidecarPath(path(fileName)));
        return path(fileName);
    }
    static void writeText(const QString& path, const QByteArray& text) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    static QJsonDocument jsonOf(const QString& path) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return QJsonDocument::fromJson(file.readAll());
    }
    QStringList writePictures(int count) {
        QStringList paths;
        for (int i = 0; i < count; ++i)
            paths.append(writePicture(QStringLiteral("%1.tif").arg(i), i));
        return paths;
    }

    /// Of the last frame that came out of the chain.
    SzPicBufInfo format() {
        const std::lock_guard lock(m_mutex);
        return m_format;
    }
    CzImageMetadata metadata() {
        const std::lock_guard lock(m_mutex);
        return m_metadata;
    }
    double value() {
        const std::lock_guard lock(m_mutex);
        return m_value;
    }

    /// Whether the last 20 frames were not all the same. No, when there have not been so many.
    bool latestDiffer() {
        const std::lock_guard lock(m_mutex);
        return m_latest.size() == 20 && m_latest.count(m_latest.first()) < 20;
    }

    /// Opens files and waits for what comes of it.
    void open(const QStringList& paths) {
        panel.openPaths(paths);
        EXPECT_TRUE(waitFor([&] { return !panel.isOpening(); }));
    }

    void click(const char* button) {
        QTest::mouseClick(&childOf<QToolButton>(panel, button), Qt::LeftButton);
    }
    void pause() {
        if (player.isPlaying())
            click("play");
    }

private:
    std::mutex m_mutex;
    SzPicBufInfo m_format;
    CzImageMetadata m_metadata;
    double m_value = -1.0;
    QVector<uint> m_latest; ///< hashes of frames

protected:
    CzChain chain;
    CzFramePlayer player{chain.source()};
    CzSensorPanel sensor;
    CzSourcePanel panel{player, sensor};
    QSlider& position = childOf<QSlider>(panel, "position");
    QLabel& name = childOf<QLabel>(panel, "name");
};

TEST_F(SourcePanel, PlaysFilesAndNamesThem) {
    QSignalSpy changed(&panel, &CzSourcePanel::sourceChanged);
    open(writePictures(3));
    EXPECT_EQ(changed.size(), 1);
    EXPECT_EQ(panel.caption(), QStringLiteral("0.tif and 2 more"));
    EXPECT_EQ(panel.paths().size(), 3);
    EXPECT_TRUE(player.isPlaying());
    EXPECT_EQ(position.maximum(), 2);
    EXPECT_TRUE(waitFor([&] { return name.text() == QStringLiteral("2.tif (3 of 3)"); }));
    EXPECT_TRUE(waitFor([&] { return name.text() == QStringLiteral("0.tif (1 of 3)"); })); // looped
}

TEST_F(SourcePanel, FieldsHaveNamesForThoseWhoCannotSeeThem) {
    const auto nameOf = [this](const char* field) {
        return QAccessible::queryAccessibleInterface(&childOf<QAbstractSpinBox>(panel, field))
            ->text(QAccessible::Name);
    };
    EXPECT_EQ(nameOf("width"), QStringLiteral("Width"));
    EXPECT_EQ(nameOf("height"), QStringLiteral("Height"));
    EXPECT_EQ(nameOf("noise"), QStringLiteral("Noise"));
    EXPECT_EQ(nameOf("rate"), QStringLiteral("Frame rate"));
}

TEST_F(SourcePanel, NamesAFolderByItsName) {
    writePictures(2);
    open({path(QString())});
    EXPECT_EQ(panel.caption(), QDir(path(QString())).dirName());
    EXPECT_EQ(position.maximum(), 1);
}

TEST_F(SourcePanel, TellsWhatCannotBeReadAndKeepsTheSource) {
    open(writePictures(2));
    QSignalSpy failed(&panel, &CzSourcePanel::failed);
    QSignalSpy changed(&panel, &CzSourcePanel::sourceChanged);
    open({path(QStringLiteral("nothing.tif"))});
    ASSERT_EQ(failed.size(), 1);
    EXPECT_TRUE(failed.first().first().toString().contains(QStringLiteral("nothing.tif")));
    EXPECT_TRUE(changed.isEmpty());
    EXPECT_EQ(panel.paths().size(), 2);
}

TEST_F(SourcePanel, DoesNotWaitForASlowDisk) {
    open(writePictures(2));
    pause();
    QSignalSpy failed(&panel, &CzSourcePanel::failed);
    {
        const SlowDisk slow;
        panel.openPaths({path(QStringLiteral("missing.tif"))});
        EXPECT_TRUE(panel.isOpening());
        EXPECT_EQ(name.text(), QStringLiteral("Opening…"));
        EXPECT_FALSE(sensor.isEnabled());
        EXPECT_EQ(panel.paths(), QStringList(path(QStringLiteral("missing.tif")))); // to come back to
        click("forward");
        ASSERT_TRUE(waitFor([&] { return player.position() >= 0; })); // the source before goes on
        EXPECT_EQ(name.text(), QStringLiteral("Opening…"));
    }
    EXPECT_TRUE(waitFor([&] { return !panel.isOpening(); }));
    EXPECT_EQ(failed.size(), 1);
    EXPECT_TRUE(sensor.isEnabled());
    EXPECT_EQ(panel.paths().size(), 2);
    EXPECT_TRUE(name.text().endsWith(QStringLiteral("of 2)")));
}

TEST_F(SourcePanel, OpensOnlyWhatWasAskedForLast) {
    QSignalSpy failed(&panel, &CzSourcePanel::failed);
    QSignalSpy changed(&panel, &CzSourcePanel::sourceChanged);
    {
        const SlowDisk slow;
        panel.openPaths({path(QStringLiteral("missing.tif"))});
        panel.openPaths(writePictures(2));
        EXPECT_EQ(panel.paths().size(), 2);
    }
    EXPECT_TRUE(waitFor([&] { return !panel.isOpening(); }));
    EXPECT_EQ(panel.caption(), QStringLiteral("0.tif and 1 more"));
    EXPECT_EQ(position.maximum(), 1);
    {
        const SlowDisk slow;
        panel.openPaths({path(QStringLiteral("0.tif"))});
        panel.openScene(QStringLiteral("mono"));
        EXPECT_FALSE(panel.isOpening());
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(panel.scene(), QStringLiteral("mono"));
    EXPECT_TRUE(panel.paths().isEmpty());
    EXPECT_EQ(changed.size(), 2);
    EXPECT_TRUE(failed.isEmpty());
}

TEST_F(SourcePanel, OpensAlsoWhileTheSensorIsBeingTyped) {
    auto& bitDepth = childOf<QSpinBox>(sensor, "bitDepth");
    showOnScreen(sensor);
    const auto type = [&](Qt::Key digit) {
        sensor.activateWindow();
        bitDepth.setFocus();
        ASSERT_TRUE(waitFor([&] { return bitDepth.hasFocus(); }));
        bitDepth.selectAll();
        QTest::keyClick(&bitDepth, digit);
    };
    const QStringList paths = writePictures(2);
    open({paths.at(0)});
    type(Qt::Key_9);
    open({paths.at(1)});
    EXPECT_EQ(panel.caption(), QStringLiteral("1.tif"));
    EXPECT_TRUE(waitFor([&] { return value() == 1 && format().bitDepth == 16; }));
    EXPECT_FALSE(sensor.sidecar().bitDepth);

    // Nothing comes of the other source: what was typed counts.
    QSignalSpy failed(&panel, &CzSourcePanel::failed);
    type(Qt::Key_9);
    open({path(QStringLiteral("missing.tif"))});
    EXPECT_EQ(failed.size(), 1);
    EXPECT_TRUE(waitFor([&] { return format().bitDepth == 9; }));
    EXPECT_EQ(value(), 1);
}

TEST_F(SourcePanel, OpensAlsoWhileTheSizeOfASceneIsBeingTyped) {
    auto& width = childOf<QSpinBox>(panel, "width");
    childOf<QSpinBox>(panel, "height").setValue(48);
    panel.openScene(QStringLiteral("mono"));
    const auto openWhileTyping = [&](const QStringList& paths, const char* size) {
        const SlowDisk slow;
        width.setFocus();
        width.selectAll();
        QTest::keyClicks(&width, QString::fromLatin1(size));
        panel.openPaths(paths);
        QTest::keyClick(&width, Qt::Key_Return);
        EXPECT_TRUE(panel.isOpening());
    };
    // Nothing comes of the files: what was typed counts.
    QSignalSpy failed(&panel, &CzSourcePanel::failed);
    openWhileTyping({path(QStringLiteral("missing.tif"))}, "96");
    EXPECT_TRUE(waitFor([&] { return format().width == 96; }));
    EXPECT_EQ(failed.size(), 1);
    EXPECT_EQ(panel.scene(), QStringLiteral("mono"));

    openWhileTyping({writePicture(QStringLiteral("7.tif"), 7)}, "64");
    EXPECT_TRUE(waitFor([&] { return value() == 7; }));
    EXPECT_FALSE(panel.isOpening());
    EXPECT_TRUE(panel.scene().isEmpty());
}

TEST_F(SourcePanel, PausesStepsAndSeeks) {
    open(writePictures(5));
    pause();
    EXPECT_FALSE(player.isPlaying());
    player.seek(0);
    ASSERT_TRUE(waitFor([&] { return player.position() == 0 && value() == 0; }));
    click("forward");
    EXPECT_TRUE(waitFor([&] { return value() == 1; }));
    click("back");
    EXPECT_TRUE(waitFor([&] { return value() == 0; }));
    // The slider with the keyboard.
    position.setFocus();
    QTest::keyClick(&position, Qt::Key_End);
    EXPECT_TRUE(waitFor([&] { return value() == 4; }));
    EXPECT_TRUE(waitFor([&] { return name.text() == QStringLiteral("4.tif (5 of 5)"); }));
    click("play");
    EXPECT_TRUE(player.isPlaying());
}

TEST_F(SourcePanel, MovingTheSliderPauses) {
    open(writePictures(5));
    position.setFocus();
    QTest::keyClick(&position, Qt::Key_End);
    EXPECT_FALSE(player.isPlaying());
    EXPECT_TRUE(waitFor([&] { return value() == 4; }));
}

TEST_F(SourcePanel, PlaysAtTheChosenRate) {
    auto& rate = childOf<QDoubleSpinBox>(panel, "rate");
    EXPECT_EQ(player.rate(), rate.value());
    rate.setFocus();
    rate.selectAll();
    QTest::keyClicks(&rate, QStringLiteral("5"));
    QTest::keyClick(&rate, Qt::Key_Return);
    EXPECT_EQ(player.rate(), 5.0);
    rate.selectAll();
    QTest::keyClicks(&rate, QStringLiteral("0"));
    QTest::keyClick(&rate, Qt::Key_Return);
    EXPECT_TRUE(std::isinf(player.rate()));
}

TEST_F(SourcePanel, EndsAtTheLastFrameWhenItIsNotLooped) {
    auto& loop = childOf<QCheckBox>(panel, "loop");
    QTest::mouseClick(&loop, Qt::LeftButton, Qt::NoModifier, QPoint(8, loop.height() / 2));
    open(writePictures(3));
    EXPECT_TRUE(waitFor([&] { return !player.isPlaying() && value() == 2; }));
}

TEST_F(SourcePanel, PlaysScenesOfTheChosenSize) {
    childOf<QSpinBox>(panel, "width").setValue(64);
    childOf<QSpinBox>(panel, "height").setValue(48);
    auto& scenes = childOf<QComboBox>(panel, "scenes");
    scenes.setFocus();
    QTest::keyClicks(&scenes, QStringLiteral("bayer"));
    EXPECT_EQ(panel.scene(), QStringLiteral("bayer"));
    EXPECT_EQ(panel.caption(), QStringLiteral("Camera: bayer"));
    EXPECT_TRUE(panel.paths().isEmpty());
    EXPECT_FALSE(sensor.isEnabled()); // it describes itself
    EXPECT_TRUE(waitFor([&] { return format().width == 64 && format().height == 48; }));
    EXPECT_EQ(format().colorFilterArray, EzColorFilterArray::BayerRGGB);
    childOf<QSpinBox>(panel, "width").setValue(80);
    EXPECT_TRUE(waitFor([&] { return format().width == 80; }));
}

TEST_F(SourcePanel, ChoosesTheNoiseOfTheSyntheticCameraAndWhetherThingsMove) {
    player.setRate(200.0);
    childOf<QSpinBox>(panel, "width").setValue(64);
    childOf<QSpinBox>(panel, "height").setValue(64);
    const auto setNoise = [&](const QString& factor) {
        auto& noise = childOf<QDoubleSpinBox>(panel, "noise");
        noise.setFocus();
        noise.selectAll();
        QTest::keyClicks(&noise, factor);
        QTest::keyClick(&noise, Qt::Key_Return);
    };
    const auto clickMotion = [&] {
        auto& moves = childOf<QCheckBox>(panel, "moves");
        QTest::mouseClick(&moves, Qt::LeftButton, Qt::NoModifier, QPoint(8, moves.height() / 2));
    };
    setNoise(QStringLiteral("0"));
    clickMotion();
    EXPECT_TRUE(panel.scene().isEmpty()); // they wait for a scene
    panel.openScene(QStringLiteral("bayer"));
    EXPECT_TRUE(waitFor([&] { return latestDiffer(); }));
    clickMotion();
    EXPECT_TRUE(waitFor([&] { return !latestDiffer(); }));
    setNoise(QStringLiteral("2"));
    EXPECT_TRUE(waitFor([&] { return latestDiffer(); }));
    EXPECT_EQ(panel.scene(), QStringLiteral("bayer"));

    // A camera that is paused stays so, and shows what has changed.
    pause();
    QSignalSpy changed(&panel, &CzSourcePanel::sourceChanged);
    childOf<QSpinBox>(panel, "width").setValue(80);
    EXPECT_TRUE(waitFor([&] { return format().width == 80; }));
    EXPECT_FALSE(player.isPlaying());
    EXPECT_TRUE(changed.isEmpty()); // it is the same source
}

TEST_F(SourcePanel, TellsThatAnotherSourceBeginsBeforeItsFirstFrame) {
    const QStringList paths = writePictures(2);
    open({paths.at(0)});
    ASSERT_TRUE(waitFor([&] { return value() == 0; }));
    QObject::connect(&panel, &CzSourcePanel::sourceChanged, [&] {
        QTest::qWait(20);
        EXPECT_EQ(value(), 0);
        EXPECT_EQ(player.position(), -1);
    });
    open({paths.at(1)});
    EXPECT_TRUE(waitFor([&] { return value() == 1; }));
    EXPECT_TRUE(player.isPlaying());
}

TEST_F(SourcePanel, TellsThatThingsMoveWhereTheyAlwaysDo) {
    const auto& moves = childOf<QCheckBox>(panel, "moves");
    panel.openScene(QStringLiteral("sequence"));
    EXPECT_TRUE(moves.isChecked());
    EXPECT_FALSE(moves.isEnabled());
    panel.openScene(QStringLiteral("mono"));
    EXPECT_FALSE(moves.isChecked());
    EXPECT_TRUE(moves.isEnabled());
    panel.openScene(QStringLiteral("sequence"));
    open(writePictures(1));
    EXPECT_FALSE(moves.isChecked());
    EXPECT_TRUE(moves.isEnabled());
}

TEST_F(SourcePanel, ShowsAtOnceWhatTheSensorPanelSays) {
    open(writePictures(3));
    EXPECT_TRUE(sensor.isEnabled());
    pause();
    player.seek(1);
    ASSERT_TRUE(waitFor([&] { return value() == 1; }));
    EXPECT_EQ(format().bitDepth, 16U);
    childOf<QSpinBox>(sensor, "bitDepth").setValue(12);
    EXPECT_TRUE(waitFor([&] { return format().bitDepth == 12; }));
    EXPECT_EQ(value(), 1); // the same frame
    EXPECT_FALSE(player.isPlaying());
    auto& filters = childOf<QComboBox>(sensor, "colorFilterArray");
    filters.setCurrentIndex(filters.findData(int(EzColorFilterArray::Hyperspectral)));
    childOf<QSpinBox>(sensor, "cellWidth").setValue(2);
    childOf<QSpinBox>(sensor, "cellHeight").setValue(2);
    EXPECT_TRUE(waitFor([&] { return metadata().hsiCameraParams.totalBandCountInAllZones() == 4; }));
    EXPECT_EQ(format().colorFilterArray, EzColorFilterArray::Hyperspectral);
}

TEST_F(SourcePanel, GoesOnFromTheSameFrameWhenTheSensorChangesWhilePlaying) {
    childOf<QDoubleSpinBox>(panel, "rate").setValue(1.0);
    open(writePictures(100));
    player.seek(50);
    ASSERT_TRUE(waitFor([&] { return player.position() >= 50; }));
    childOf<QSpinBox>(sensor, "bitDepth").setValue(12);
    EXPECT_TRUE(player.isPlaying());
    EXPECT_TRUE(waitFor([&] { return format().bitDepth == 12; }));
    EXPECT_GE(value(), 50);
}

TEST_F(SourcePanel, SavesTheDescriptionBesideThePicturesAndReadsItBack) {
    const QStringList paths = writePictures(2);
    open(paths);
    auto& filters = childOf<QComboBox>(sensor, "colorFilterArray");
    filters.setCurrentIndex(filters.findData(int(EzColorFilterArray::Hyperspectral)));
    childOf<QSpinBox>(sensor, "cellWidth").setValue(3);
    childOf<QSpinBox>(sensor, "bitDepth").setValue(11);
    ASSERT_TRUE(waitFor([&] { return !panel.isOpening(); }));
    const SzSidecar described = sensor.sidecar();
    QSignalSpy saved(&panel, &CzSourcePanel::sidecarsSaved);
    QTest::mouseClick(&childOf<QPushButton>(sensor, "save"), Qt::LeftButton);
    ASSERT_TRUE(waitFor([&] { return saved.size() == 1; }));
    EXPECT_EQ(saved.first().first().toInt(), 2);

    for (const QString& picture : paths) {
        SzSidecar read;
        QString error;
        ASSERT_TRUE(readSidecar(sidecarPath(picture), read, &error, nullptr)) << error.toStdString();
        EXPECT_EQ(read.bitDepth, described.bitDepth);
        EXPECT_EQ(read.hsi, described.hsi);
    }
    sensor.setSidecar(SzSidecar());
    open({paths.last()});
    EXPECT_EQ(sensor.sidecar().bitDepth, 11U);
    EXPECT_EQ(sensor.sidecar().hsi, described.hsi);
    EXPECT_TRUE(waitFor([&] { return format().bitDepth == 11; }));
}

TEST_F(SourcePanel, SavingWithoutAChangeLeavesEachFileItsOwnDescription) {
    const QStringList paths = writePictures(2);
    for (int i = 0; i < 2; ++i) {
        SzSidecar sidecar;
        sidecar.bitDepth = 10 + static_cast<std::uint32_t>(i);
        QFile file(sidecarPath(paths.at(i)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(sidecarText(sidecar));
    }
    open(paths);
    QSignalSpy saved(&panel, &CzSourcePanel::sidecarsSaved);
    panel.saveSidecars();
    ASSERT_TRUE(waitFor([&] { return saved.size() == 1; }));
    EXPECT_EQ(saved.first().first().toInt(), 0);
    for (int i = 0; i < 2; ++i) {
        SzSidecar read;
        QString error;
        ASSERT_TRUE(readSidecar(sidecarPath(paths.at(i)), read, &error, nullptr));
        EXPECT_EQ(read.bitDepth, 10U + static_cast<std::uint32_t>(i));
    }
}

TEST_F(SourcePanel, PicturesWithoutADescriptionGetTheOneThatIsShownAndPlayWithIt) {
    const QStringList paths = writePictures(2);
    writeText(sidecarPath(paths.at(0)), R"({ "bitDepth": 12, "colorFilterArray": 7, "still": true,
        "hsi": { "zones": [ { "cell": [2, 1], "bands": [ { "name": "a" }, { "name": "b" } ] } ] } })");
    open(paths);
    pause();
    player.seek(1);
    ASSERT_TRUE(waitFor([&] { return value() == 1; }));
    EXPECT_EQ(format().bitDepth, 16U);
    QSignalSpy saved(&panel, &CzSourcePanel::sidecarsSaved);
    panel.saveSidecars(); // without a change
    ASSERT_TRUE(waitFor([&] { return saved.size() == 1; }));
    EXPECT_EQ(saved.first().first().toInt(), 1);
    SzSidecar first;
    SzSidecar second;
    ASSERT_TRUE(readSidecar(sidecarPath(paths.at(0)), first, nullptr, nullptr));
    ASSERT_TRUE(readSidecar(sidecarPath(paths.at(1)), second, nullptr, nullptr));
    EXPECT_EQ(second.bitDepth, 12U);
    EXPECT_EQ(second.colorFilterArray, EzColorFilterArray::Hyperspectral);
    EXPECT_EQ(second.hsi, first.hsi);
    EXPECT_FALSE(second.still); // is said of one picture alone
    EXPECT_TRUE(waitFor([&] { return value() == 1 && format().bitDepth == 12; }));
    EXPECT_EQ(metadata().hsiCameraParams, first.hsi);
}

TEST_F(SourcePanel, WritesNoDescriptionThatSaysNothing) {
    const QStringList paths = writePictures(1);
    open(paths);
    QSignalSpy saved(&panel, &CzSourcePanel::sidecarsSaved);
    panel.saveSidecars();
    ASSERT_TRUE(waitFor([&] { return saved.size() == 1; }));
    EXPECT_EQ(saved.first().first().toInt(), 0);
    EXPECT_FALSE(QFile::exists(sidecarPath(paths.first())));
}

TEST_F(SourcePanel, AChangeLeavesAllElseInEachDescriptionAlone) {
    const QStringList paths = writePictures(3);
    writeText(sidecarPath(paths.at(0)), R"({ "bitDepth": 12, "still": true, "frameNo": 7 })");
    writeText(sidecarPath(paths.at(1)),
              R"({ "bitDepth": 14, "mosaicName": "mine", "exposure": { "ms": 3 } })");
    open(paths);
    auto& filters = childOf<QComboBox>(sensor, "colorFilterArray");
    filters.setCurrentIndex(filters.findData(int(EzColorFilterArray::BayerGRBG)));
    ASSERT_TRUE(waitFor([&] { return !panel.isOpening(); }));
    // What plays, too.
    pause();
    player.seek(1);
    EXPECT_TRUE(waitFor([&] { return value() == 1 && format().bitDepth == 14; }));
    EXPECT_EQ(format().colorFilterArray, EzColorFilterArray::BayerGRBG);

    QSignalSpy saved(&panel, &CzSourcePanel::sidecarsSaved);
    answerDialog(QStringLiteral("changeDescriptions"), QMessageBox::Yes);
    panel.saveSidecars();
    ASSERT_TRUE(waitFor([&] { return saved.size() == 1; }));
    EXPECT_EQ(saved.first().first().toInt(), 3);
    const auto expect = [&](int picture, const char* json) {
        EXPECT_EQ(jsonOf(sidecarPath(paths.at(picture))), QJsonDocument::fromJson(json)) << picture;
    };
    expect(0, R"({ "bitDepth": 12, "still": true, "frameNo": 7, "colorFilterArray": 2 })");
    expect(1, R"({ "bitDepth": 14, "mosaicName": "mine", "exposure": { "ms": 3 }, "colorFilterArray": 2 })");
    expect(2, R"({ "bitDepth": 12, "colorFilterArray": 2 })"); // had none: gets what the panel shows

    // Changed back: the files follow again.
    filters.setCurrentIndex(0);
    answerDialog(QStringLiteral("changeDescriptions"), QMessageBox::Yes);
    panel.saveSidecars();
    ASSERT_TRUE(waitFor([&] { return saved.size() == 2; }));
    expect(0, R"({ "bitDepth": 12, "still": true, "frameNo": 7 })");
}

TEST_F(SourcePanel, AsksBeforeItChangesDescriptionsThatExist) {
    const QStringList paths = writePictures(2);
    writeText(sidecarPath(paths.at(1)), R"({ "bitDepth": 14 })");
    open(paths);
    childOf<QSpinBox>(sensor, "bitDepth").setValue(11);
    QSignalSpy saved(&panel, &CzSourcePanel::sidecarsSaved);
    bool answered = false;
    whenDialogOpens(QStringLiteral("changeDescriptions"), [&](QDialog& box) {
        EXPECT_TRUE(static_cast<QMessageBox&>(box).text().contains(QStringLiteral("already: 1.")));
        QTest::mouseClick(static_cast<QMessageBox&>(box).button(QMessageBox::No), Qt::LeftButton);
        answered = true;
    });
    panel.saveSidecars();
    ASSERT_TRUE(waitFor([&] { return answered; }));
    EXPECT_FALSE(QFile::exists(sidecarPath(paths.at(0))));
    EXPECT_EQ(jsonOf(sidecarPath(paths.at(1))), QJsonDocument::fromJson(R"({ "bitDepth": 14 })"));
    answerDialog(QStringLiteral("changeDescriptions"), QMessageBox::Yes);
    panel.saveSidecars(); // can be asked for again
    ASSERT_TRUE(waitFor([&] { return saved.size() == 1; }));
    EXPECT_EQ(jsonOf(sidecarPath(paths.at(1))), QJsonDocument::fromJson(R"({ "bitDepth": 11 })"));
}

TEST_F(SourcePanel, SavesWhatThePanelSaysAlsoBeforeItPlays) {
    const QStringList paths = writePictures(1);
    open(paths);
    QSignalSpy saved(&panel, &CzSourcePanel::sidecarsSaved);
    {
        const SlowDisk slow; // the files have not been opened anew yet
        childOf<QSpinBox>(sensor, "bitDepth").setValue(10);
        QTest::mouseClick(&childOf<QPushButton>(sensor, "save"), Qt::LeftButton);
        childOf<QSpinBox>(sensor, "bitDepth").setValue(9);
        QTest::mouseClick(&childOf<QPushButton>(sensor, "save"), Qt::LeftButton); // while it is at it
        EXPECT_TRUE(saved.isEmpty());
        answerDialog(QStringLiteral("changeDescriptions"), QMessageBox::Yes);
    }
    ASSERT_TRUE(waitFor([&] { return saved.size() == 2; }));
    EXPECT_EQ(jsonOf(sidecarPath(paths.first())), QJsonDocument::fromJson(R"({ "bitDepth": 9 })"));
}

TEST_F(SourcePanel, ThePanelKnowsThePicturesThatItDescribes) {
    open(writePictures(1)); // of 16 bits
    childOf<QSpinBox>(sensor, "bitDepth").setValue(20);
    EXPECT_TRUE(childOf<QLabel>(sensor, "warnings").text().contains(QStringLiteral("16 bits")));
}

TEST_F(SourcePanel, SpeaksOfFilesAndScenesInTheUsersLanguage) {
    QTranslator language;
    ASSERT_TRUE(language.load(QStringLiteral(ZU_TEST_TRANSLATION)));
    writeText(path(QStringLiteral("empty.tif")), "");
    QSignalSpy failed(&panel, &CzSourcePanel::failed);
    QApplication::installTranslator(&language);
    open({path(QStringLiteral("empty.tif"))});
    panel.openScene(QStringLiteral("stripes"));
    QApplication::removeTranslator(&language);
    ASSERT_EQ(failed.size(), 1);
    EXPECT_TRUE(failed.first().first().toString().endsWith(QStringLiteral("la dosiero estas malplena")));
    EXPECT_EQ(panel.caption(), QStringLiteral("Camera: strioj"));
    EXPECT_EQ(panel.scene(), QStringLiteral("stripes"));
}

TEST_F(SourcePanel, TellsWhenADescriptionCannotBeWritten) {
    const QStringList paths = writePictures(1);
    open(paths);
    ASSERT_TRUE(QDir().mkpath(sidecarPath(paths.first()))); // a folder is in the way
    QSignalSpy failed(&panel, &CzSourcePanel::failed);
    QSignalSpy saved(&panel, &CzSourcePanel::sidecarsSaved);
    panel.saveSidecars();
    ASSERT_TRUE(waitFor([&] { return failed.size() == 1; }));
    EXPECT_TRUE(failed.first().first().toString().contains(QStringLiteral("0.tif.json")));
    EXPECT_TRUE(saved.isEmpty());
}

TEST_F(SourcePanel, WarnsOfDescriptionsOfNoSensor) {
    const QString picture = writePicture(QStringLiteral("odd.tif"), 1);
    QFile file(sidecarPath(picture));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({ "colorFilterArray": 7, "hsi": { "zones": [ { "cell": [0, 0] } ] } })");
    file.close();
    QSignalSpy warned(&panel, &CzSourcePanel::warned);
    open({picture});
    ASSERT_EQ(warned.size(), 1);
    EXPECT_EQ(panel.paths().size(), 1);
}

} // namespace
