// SPDX-License-Identifier: GPL-3.0-or-later
#include "MainWindow.h"

#include "ChainPanel.h"
#include "Chainable.h"
#include "DisplayPanel.h"
#include "ElidedLabel.h"
#include "FrameSource.h"
#include "HistogramPlot.h"
#include "PicBufAPI.h"
#include "PictureFile.h"
#include "PictureWidget.h"
#include "PixelSpectrumPlot.h"
#include "PluginLoader.h"
#include "ProblemBar.h"
#include "RTTI.h"
#include "Remembered.h"
#include "SourcePanel.h"
#include "Tour.h"
#include "ViewerFixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QDockWidget>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMap>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QToolButton>
#include <QToolTip>

#include <malloc.h>

#include <algorithm>
#include <array>
#include <random>

#ifdef __SANITIZE_ADDRESS__
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // gcc has no header for it
#endif

namespace {

const QString rotate = QStringLiteral("org.zuviewer.czRotateImageCnbl");
const QString extract = QStringLiteral("org.zuviewer.CzExtractChannelCnbl");

/// A result whose copies hold up whoever writes them.
class HeldPicture : public CzImageData {
public:
    explicit HeldPicture(Gate& gate) : m_gate(gate) {
        HeapPicture pixels(pictureFormat(8, 4, 1, EzImageDataType::UInt8));
        setPicBuf(pixels.release());
    }
    using CzImageData::clone;
    CzImageData* clone(QObject*) const override {
        auto* const copy = new HeldPicture(m_gate);
        copy->m_holds = true;
        return copy;
    }
    using CzImageData::picBuf;
    const SzPicBuf& picBuf() const override {
        if (m_holds)
            m_gate.pass();
        return CzImageData::picBuf();
    }

private:
    Gate& m_gate;
    bool m_holds = false;
};

/// An element whose caption has an ampersand.
class AmpersandElement : public ScriptedElement {
public:
    QString caption() override { return QStringLiteral("Black & White"); }
};

/// An element whose caption is long.
class ElementOfManyWords : public ScriptedElement {
public:
    QString caption() override {
        return QStringLiteral("Mosaic Average (interpolation) of the left half of a sensor");
    }
};

class MainWindow : public ViewerTest {
protected:
    static void SetUpTestSuite() {
        s_loader = new CzPluginLoader;
        ASSERT_TRUE(s_loader->loadFolder(QStringLiteral(ZU_BUILT_PLUGIN_FOLDER)));
    }
    static void TearDownTestSuite() { delete s_loader; }

    MainWindow() { makeWindow(); }
    ~MainWindow() override { gate.open(); }

    void makeWindow() {
        window = std::make_unique<CzMainWindow>();
        childOf<QSpinBox>(*window, "width").setValue(64);
        childOf<QSpinBox>(*window, "height").setValue(48);
        window->resize(1000, 700);
        showOnScreen(*window);
    }

    CzChainSession& session() { return window->session(); }
    CzPictureWidget& picture() { return window->pictureWidget(); }
    QAction& action(const char* name) {
        auto* const found = window->findChild<QAction*>(QLatin1String(name));
        if (!found)
            std::abort();
        return *found;
    }
    QString text(const char* label) { return childOf<QLabel>(*window, label).text(); }
    QString problem() { return window->findChild<CzProblemBar*>()->problem(); }
    /// Whether the spectrum's tab is in front: the others are kept beside the window.
    bool showsSpectrum() {
        return window->rect().contains(childOf<QDockWidget>(*window, "spectrum").geometry().center());
    }
    bool isRunning() { return session().state() == CzChainSession::EzState::Running; }
    bool isStopped() { return session().state() == CzChainSession::EzState::Stopped; }
    bool shows(std::uint32_t width, std::uint32_t height) {
        return picture().picture() && picture().picture()->picBuf().width == width &&
               picture().picture()->picBuf().height == height;
    }

    /// Adds an element behind the others and selects it.
    void addAndSelect(const QString& element) {
        const int place = session().elements().size();
        session().insert(place, element);
        ASSERT_TRUE(waitFor([&] { return session().elements().size() == place + 1; }));
        window->chainPanel().selectElement(place);
    }

    /// Opens files and waits for what comes of it.
    void open(const QStringList& paths) {
        window->openPaths(paths);
        EXPECT_TRUE(waitFor([&] { return !window->sourcePanel().isOpening(); }));
    }

    void playScene(const QString& scene) {
        window->openScene(scene);
        ASSERT_TRUE(waitFor([&] { return shows(64, 48); }));
    }

    /// Plays a scene through an element that holds the first frame, and all that follow, until the gate is
    /// opened.
    void letAFrameHang() {
        auto element = std::make_unique<AdjustableElement>();
        gate.guard(*element);
        hanging = element.get();
        session().insert(0, std::move(element));
        window->openScene(QStringLiteral("mono"));
        gate.awaitArrival();
    }
    bool hangs() { return session().chain().workerState().element >= 0; }

    /// A chain file of one element.
    QString writeChain(const QString& name, const QString& element = rotate) {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QStringLiteral("<chain version=\"1\"><chainable uniqueId=\"%1\"/></chain>")
                       .arg(element)
                       .toUtf8());
        return path(name);
    }
    QString writeScene(const QString& name, const QString& scene) {
        QString error;
        EXPECT_TRUE(writePicture(path(name), EzPictureFormat::Tiff, *renderScene(scene, {64, 48}), &error));
        return path(name);
    }

    /// Types a path into the next file dialog.
    void answerFileDialog(const QString& answer) {
        whenDialogOpens(QString(), [answer](QDialog& dialog) {
            auto& line = childOf<QLineEdit>(dialog, "fileNameEdit");
            line.setText(answer);
            QTest::keyClick(&line, Qt::Key_Return);
        });
    }

    /// An element whose results hold up whoever writes them.
    static std::unique_ptr<ScriptedElement> elementOfHeldPictures(Gate& disk) {
        auto element = std::make_unique<ScriptedElement>();
        element->process = [&disk](ScriptedElement&, IzChainData* input) -> IzChainData* {
            delete input;
            return new HeldPicture(disk);
        };
        return element;
    }

    /// Plays a picture and changes what is said of it. Returns the path of its description.
    QString describePicture(bool isDescribed) {
        const QString scene = writeScene(QStringLiteral("scene.tif"), QStringLiteral("mono"));
        if (!isDescribed)
            QFile::remove(sidecarPath(scene));
        open({scene});
        childOf<QSpinBox>(*window, "bitDepth").setValue(13);
        EXPECT_TRUE(waitFor([&] { return !window->sourcePanel().isOpening(); }));
        return sidecarPath(scene);
    }
    static std::uint32_t bitDepthOf(const QString& description) {
        SzSidecar sidecar;
        return readSidecar(description, sidecar, nullptr, nullptr) ? sidecar.bitDepth.value_or(0) : 0;
    }

    void startRecording(const QString& folder) {
        QDir().mkpath(folder);
        answerFileDialog(folder);
        action("record").trigger();
        ASSERT_TRUE(action("record").isChecked());
    }

    /// Whether all of a label's text is to be seen.
    testing::AssertionResult isSeen(const char* name) {
        auto& label = childOf<CzElidedLabel>(*window, name);
        if (label.isVisible() && !label.visibleRegion().isEmpty() && !label.text().isEmpty() &&
            !label.isElided() && label.width() >= label.fontMetrics().horizontalAdvance(label.text()))
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << name << " is " << label.width() << " wide, wants " << label.sizeHint().width()
               << " and says " << label.text().toStdString();
    }

    /// Drops files onto the picture.
    bool drop(const QList<QUrl>& urls) {
        QMimeData data;
        data.setUrls(urls);
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        enter.ignore();
        QApplication::sendEvent(&picture(), &enter);
        if (!enter.isAccepted())
            return false;
        QDropEvent dropped(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&picture(), &dropped);
        return true;
    }

    Gate gate; // outlives the worker that waits at it
    AdjustableElement* hanging = nullptr;
    std::unique_ptr<CzMainWindow> window;

private:
    static CzPluginLoader* s_loader;
};

CzPluginLoader* MainWindow::s_loader = nullptr;

// ---- Opening ----

TEST_F(MainWindow, BeginsEmpty) {
    EXPECT_TRUE(window->windowTitle().startsWith(QStringLiteral("New chain")));
    EXPECT_FALSE(window->isWindowModified());
    EXPECT_EQ(text("stateText"), QStringLiteral("stopped"));
    EXPECT_FALSE(picture().picture());
    EXPECT_FALSE(action("undo").isEnabled());
}

TEST_F(MainWindow, BeginsNoLargerThanTheScreen) {
    const CzMainWindow fresh;
    const QSize largest = fresh.screen()->availableSize().expandedTo(fresh.minimumSizeHint());
    EXPECT_LE(fresh.width(), largest.width());
    EXPECT_LE(fresh.height(), largest.height());
}

TEST_F(MainWindow, OpensAChainAndPicturesInOneGo) {
    open({writeScene(QStringLiteral("scene.tif"), QStringLiteral("bayer")),
          writeChain(QStringLiteral("turn.zuchain"))});
    EXPECT_EQ(session().elements().size(), 1);
    EXPECT_TRUE(window->windowTitle().startsWith(QStringLiteral("turn.zuchain")));
    EXPECT_TRUE(waitFor([&] { return shows(64, 48); })); // the source is selected
    window->chainPanel().selectElement(0);
    EXPECT_TRUE(waitFor([&] { return shows(48, 64); }));
    EXPECT_TRUE(problem().isEmpty());
}

TEST_F(MainWindow, OpensWhatIsDroppedAnywhere) {
    ASSERT_TRUE(drop({QUrl::fromLocalFile(writeScene(QStringLiteral("scene.tif"), QStringLiteral("mono"))),
                      QUrl::fromLocalFile(writeChain(QStringLiteral("turn.ZUCHAIN")))}));
    EXPECT_TRUE(waitFor([&] { return session().elements().size() == 1 && shows(64, 48); }));
    QDir().mkpath(path(QStringLiteral("folder")));
    writeScene(QStringLiteral("folder/in.tif"), QStringLiteral("mono"));
    ASSERT_TRUE(drop({QUrl::fromLocalFile(path(QStringLiteral("folder")))}));
    EXPECT_TRUE(waitFor([&] { return window->sourcePanel().caption() == QStringLiteral("folder"); }));
}

TEST_F(MainWindow, TakesNoDropsFromElsewhere) {
    EXPECT_FALSE(drop({QUrl(QStringLiteral("https://zuviewer.example/picture.tif"))}));
    EXPECT_FALSE(drop({}));
}

TEST_F(MainWindow, OpensPicturesAndFoldersThroughDialogs) {
    const QString scene = writeScene(QStringLiteral("scene.tif"), QStringLiteral("mono"));
    answerFileDialog(scene);
    action("openPictures").trigger();
    EXPECT_EQ(window->sourcePanel().paths(), QStringList(scene));
    const QString folder = path(QStringLiteral("folder"));
    ASSERT_TRUE(QDir().mkpath(folder));
    writeScene(QStringLiteral("folder/0.tif"), QStringLiteral("mono"));
    answerFileDialog(folder);
    action("openFolder").trigger();
    EXPECT_EQ(window->sourcePanel().paths(), QStringList(folder));
    EXPECT_TRUE(waitFor([&] { return window->sourcePanel().caption() == QStringLiteral("folder"); }));
    const QString chain = writeChain(QStringLiteral("a.zuchain"));
    answerFileDialog(chain);
    action("openChain").trigger();
    EXPECT_TRUE(waitFor([&] { return session().path() == chain; }));
}

TEST_F(MainWindow, TellsWhatCannotBeOpenedUntilItIsClosed) {
    open({path(QStringLiteral("missing.tif"))});
    EXPECT_TRUE(problem().contains(QStringLiteral("missing.tif")));
    EXPECT_TRUE(window->findChild<CzProblemBar*>()->isVisible());
    QTest::mouseClick(&childOf<QToolButton>(*window, "closeProblem"), Qt::LeftButton);
    EXPECT_FALSE(window->findChild<CzProblemBar*>()->isVisible());
    EXPECT_TRUE(problem().isEmpty());
    open({path(QStringLiteral("missing.zuchain"))});
    EXPECT_TRUE(problem().contains(QStringLiteral("missing.zuchain")));
    open({writeChain(QStringLiteral("a.zuchain"))}); // better now
    EXPECT_TRUE(problem().isEmpty());
}

TEST_F(MainWindow, ShowsMissingElementsAndSaysWhyTheyDoNotRun) {
    open({writeChain(QStringLiteral("a.zuchain"), QStringLiteral("org.example.Gone"))});
    EXPECT_TRUE(problem().contains(QStringLiteral("org.example.Gone")));
    EXPECT_EQ(session().elements().size(), 1);
    window->openScene(QStringLiteral("mono"));
    EXPECT_TRUE(waitFor([&] { return isStopped() && !action("run").isChecked(); }));
    EXPECT_FALSE(problem().isEmpty());
}

// ---- Unsaved changes ----

TEST_F(MainWindow, ClosesWithoutAQuestionWhenAllIsSaved) {
    open({writeChain(QStringLiteral("a.zuchain"))});
    EXPECT_TRUE(window->close());
    EXPECT_FALSE(window->isVisible());
}

TEST_F(MainWindow, StaysOpenWhenClosingIsCancelled) {
    session().insert(0, rotate);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Cancel);
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(session().elements().size(), 1);
}

TEST_F(MainWindow, SavesOnClosingWhenAskedTo) {
    const QString chain = writeChain(QStringLiteral("a.zuchain"));
    open({chain});
    session().insert(1, extract);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Save);
    EXPECT_TRUE(window->close());
    QFile file(chain);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains(extract.toUtf8()));
}

TEST_F(MainWindow, AsksForANameToSaveUnderAndAddsTheSuffix) {
    session().insert(0, rotate);
    whenDialogOpens(QStringLiteral("unsaved"), [this](QDialog& box) {
        answerFileDialog(path(QStringLiteral("named")));
        QTest::mouseClick(static_cast<QMessageBox&>(box).button(QMessageBox::Save), Qt::LeftButton);
    });
    EXPECT_TRUE(window->close());
    EXPECT_TRUE(QFile::exists(path(QStringLiteral("named.zuchain"))));
}

TEST_F(MainWindow, StaysOpenWhenNoNameIsGiven) {
    session().insert(0, rotate);
    whenDialogOpens(QStringLiteral("unsaved"), [](QDialog& box) {
        whenDialogOpens(QString(), [](QDialog& files) { files.reject(); });
        QTest::mouseClick(static_cast<QMessageBox&>(box).button(QMessageBox::Save), Qt::LeftButton);
    });
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(session().isModified());
}

TEST_F(MainWindow, StaysOpenWhenSavingFails) {
    const QString chain = writeChain(QStringLiteral("a.zuchain"));
    open({chain});
    session().insert(1, extract);
    QFile::remove(chain);
    QDir().mkpath(chain); // a folder is in the way
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Save);
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(problem().contains(QStringLiteral("a.zuchain")));
}

TEST_F(MainWindow, AsksBeforeAnotherChainTakesThePlaceOfAChangedOne) {
    session().insert(0, rotate);
    EXPECT_TRUE(waitFor([&] { return window->isWindowModified(); }));
    const QString other = writeChain(QStringLiteral("other.zuchain"), extract);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Cancel);
    open({other});
    EXPECT_TRUE(session().path().isEmpty());
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Cancel);
    action("newChain").trigger();
    EXPECT_EQ(session().elements().size(), 1);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    open({other});
    EXPECT_EQ(session().path(), other);
    action("newChain").trigger();
    EXPECT_TRUE(session().elements().isEmpty());
}

// ---- Recent chains, layout and the last chain ----

TEST_F(MainWindow, OffersRecentChainsTheLastOneFirst) {
    auto& menu = childOf<QMenu>(*window, "recentChains");
    const auto offered = [&menu] {
        emit menu.aboutToShow();
        QStringList names;
        for (const QAction* const entry : menu.actions())
            names.append(QFileInfo(entry->text()).fileName());
        return names;
    };
    EXPECT_FALSE(menu.actions().value(0) && menu.actions().first()->isEnabled());
    for (int i = 0; i < 10; ++i)
        open({writeChain(QStringLiteral("%1 && co.zuchain").arg(i))});
    open({path(QStringLiteral("5 && co.zuchain"))});
    open({path(QStringLiteral("missing.zuchain"))}); // was no chain
    const QStringList names = offered();
    ASSERT_EQ(names.size(), 8);
    EXPECT_EQ(names.at(0), QStringLiteral("5 &&&& co.zuchain")); // an ampersand is no key
    EXPECT_EQ(names.at(1), QStringLiteral("9 &&&& co.zuchain"));
    EXPECT_EQ(names.filter(QStringLiteral("5 ")).size(), 1);
    menu.actions().at(1)->trigger();
    EXPECT_EQ(session().path(), path(QStringLiteral("9 && co.zuchain")));
}

TEST_F(MainWindow, TheLayoutComesBack) {
    childOf<QDockWidget>(*window, "histogram").close();
    childOf<QDockWidget>(*window, "chain").setFloating(true);
    window->resize(1100, 740);
    EXPECT_TRUE(window->close());
    makeWindow();
    EXPECT_FALSE(childOf<QDockWidget>(*window, "histogram").isHidden());
    window->restoreLayout();
    EXPECT_TRUE(childOf<QDockWidget>(*window, "histogram").isHidden());
    EXPECT_TRUE(childOf<QDockWidget>(*window, "chain").isFloating());
    EXPECT_EQ(window->size(), QSize(1100, 740));
}

TEST_F(MainWindow, ChainAndPicturesComeBack) {
    const QString chain = writeChain(QStringLiteral("a.zuchain"));
    open({chain, writeScene(QStringLiteral("scene.tif"), QStringLiteral("mono"))});
    EXPECT_TRUE(waitFor([&] { return shows(64, 48); }));
    window->close();
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    makeWindow();
    window->begin({}, false);
    EXPECT_EQ(session().path(), chain);
    EXPECT_EQ(session().elements().size(), 1);
    EXPECT_EQ(window->sourcePanel().paths(), QStringList(path(QStringLiteral("scene.tif"))));
    EXPECT_TRUE(waitFor([&] { return shows(64, 48); }));
}

TEST_F(MainWindow, TheSyntheticCameraComesBack) {
    playScene(QStringLiteral("bayer"));
    childOf<QSpinBox>(*window, "width").setValue(80);
    childOf<QDoubleSpinBox>(*window, "noise").setValue(2.5);
    childOf<QCheckBox>(*window, "moves").click();
    childOf<QDoubleSpinBox>(*window, "rate").setValue(200.0);
    childOf<QCheckBox>(*window, "loop").click();
    window->close();
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    makeWindow();
    window->begin({}, false);
    EXPECT_EQ(window->sourcePanel().scene(), QStringLiteral("bayer"));
    EXPECT_TRUE(waitFor([&] { return shows(80, 48); }));
    EXPECT_EQ(childOf<QDoubleSpinBox>(*window, "noise").value(), 2.5);
    EXPECT_TRUE(childOf<QCheckBox>(*window, "moves").isChecked());
    EXPECT_EQ(window->player().rate(), 200.0);
    EXPECT_FALSE(childOf<QCheckBox>(*window, "loop").isChecked());
}

TEST_F(MainWindow, TheSyntheticCameraIsAsItWasAlsoWhenFilesPlayFirst) {
    childOf<QDoubleSpinBox>(*window, "noise").setValue(2.5);
    playScene(QStringLiteral("bayer"));
    window->close();
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    makeWindow();
    window->begin({writeScene(QStringLiteral("a.tif"), QStringLiteral("mono"))}, false);
    EXPECT_EQ(childOf<QDoubleSpinBox>(*window, "noise").value(), 2.5);
    EXPECT_TRUE(waitFor([&] { return window->sourcePanel().caption() == QStringLiteral("a.tif"); }));
}

TEST_F(MainWindow, IsThereForItsUserUnlessItIsBeingClosed) {
    window->setEnabled(false);
    EXPECT_TRUE(waitFor([&] { return window->isEnabled(); }));
}

TEST_F(MainWindow, CountsWhatIsLostOfEachSourceAnew) {
    session().insert(0, QStringLiteral("org.zuviewer.CzImageAveragingCnbl"));
    window->openScene(QStringLiteral("mono"));
    EXPECT_TRUE(waitFor([&] { return text("lossText").contains(QStringLiteral("kept")); }));
    session().clear();
    ASSERT_TRUE(waitFor([&] { return session().elements().isEmpty(); })); // no frame can be kept any more
    const QString still = writeScene(QStringLiteral("still.tif"), QStringLiteral("mono"));
    open({still});
    EXPECT_TRUE(waitFor([&] { return !text("lossText").contains(QStringLiteral("kept")); }));
}

TEST_F(MainWindow, DiscardedChangesDoNotComeBack) {
    const QString chain = writeChain(QStringLiteral("a.zuchain"));
    open({chain});
    session().insert(1, extract);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    EXPECT_TRUE(window->close());
    makeWindow();
    window->begin({}, false);
    EXPECT_EQ(session().elements().size(), 1);
    EXPECT_FALSE(session().isModified());

    action("newChain").trigger();
    session().insert(0, extract);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    EXPECT_TRUE(window->close());
    makeWindow();
    window->begin({}, false);
    EXPECT_TRUE(session().elements().isEmpty());
}

TEST_F(MainWindow, AnUnsavedChainComesBackAfterACrash) {
    session().insert(0, rotate);
    playScene(QStringLiteral("mono"));
    makeWindow(); // the other one has never been closed
    window->begin({}, false);
    EXPECT_EQ(session().elements().size(), 1);
    EXPECT_EQ(window->sourcePanel().scene(), QStringLiteral("mono"));
}

TEST_F(MainWindow, UnsavedChangesOfAFileComeBackAfterACrash) {
    open({writeChain(QStringLiteral("a.zuchain"))});
    session().insert(1, extract);
    playScene(QStringLiteral("bayer"));
    makeWindow(); // the other one has never been closed
    window->begin({}, false);
    EXPECT_EQ(session().elements().size(), 2);
    EXPECT_EQ(session().path(), path(QStringLiteral("a.zuchain")));
    EXPECT_TRUE(session().isModified());
}

TEST_F(MainWindow, SettingsOfElementsComeBackAfterACrash) {
    const ElementClasses classes;
    session().insert(0, ElementClasses::adjustable);
    window->chainPanel().selectElement(0);
    playScene(QStringLiteral("mono"));
    QTest::keyClick(&childOf<QSpinBox>(*window, "level"), Qt::Key_Up);
    EXPECT_TRUE(waitFor([] { return rememberedWork().chain.text.contains("level=\"1\""); }));
    session().clear();
    EXPECT_TRUE(waitFor([&] { return session().elements().isEmpty(); }));
}

TEST_F(MainWindow, AChainThatWasEditedElsewhereIsReadFromItsFile) {
    const QString chain = writeChain(QStringLiteral("a.zuchain"));
    open({chain});
    playScene(QStringLiteral("mono"));
    window->close();
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    writeChain(QStringLiteral("a.zuchain"), extract);
    makeWindow();
    window->begin({}, false);
    ASSERT_EQ(session().elements().size(), 1);
    EXPECT_EQ(CzRTTI::uniqueId(*session().elements().first()->metaObject()), extract);
    EXPECT_FALSE(session().isModified());
}

TEST_F(MainWindow, AnUnsavedChainThatIsNotWantedAfterACrashCanBeHadLater) {
    open({writeChain(QStringLiteral("a.zuchain"))});
    session().insert(1, extract);
    playScene(QStringLiteral("mono"));
    makeWindow(); // the other one has never been closed
    answerDialog(QStringLiteral("unclean"), QMessageBox::No);
    window->begin({}, true);
    EXPECT_TRUE(session().elements().isEmpty());
    playScene(QStringLiteral("bayer")); // another chain is remembered now
    auto& menu = childOf<QMenu>(*window, "recentChains");
    emit menu.aboutToShow();
    EXPECT_TRUE(menu.actions().first()->text().contains(QStringLiteral("Unsaved")));
    menu.actions().first()->trigger();
    EXPECT_TRUE(waitFor([&] { return session().elements().size() == 2; }));
    EXPECT_EQ(session().path(), path(QStringLiteral("a.zuchain")));
    EXPECT_TRUE(session().isModified());
    emit menu.aboutToShow();
    EXPECT_FALSE(menu.actions().first()->text().contains(QStringLiteral("Unsaved"))) << "is there again";
}

TEST_F(MainWindow, ChangesComeBackAfterTheyWereDiscardedForAChainThatCannotBeRead) {
    session().insert(0, rotate);
    playScene(QStringLiteral("mono"));
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    open({path(QStringLiteral("missing.zuchain"))});
    window->openScene(QStringLiteral("bayer")); // remembered with the chain, which is still there
    makeWindow();
    window->begin({}, false);
    EXPECT_EQ(session().elements().size(), 1);
    EXPECT_EQ(window->sourcePanel().scene(), QStringLiteral("bayer"));
}

TEST_F(MainWindow, AnUnsavedChainOfACrashIsNotLostToFilesOfTheNextStart) {
    const QString scene = writeScene(QStringLiteral("scene.tif"), QStringLiteral("mono"));
    session().insert(0, rotate);
    playScene(QStringLiteral("mono"));
    makeWindow(); // the other one has never been closed
    window->begin({scene}, true);
    EXPECT_TRUE(waitFor([&] { return shows(64, 48); }));
    auto& menu = childOf<QMenu>(*window, "recentChains");
    emit menu.aboutToShow();
    menu.actions().first()->trigger();
    EXPECT_TRUE(waitFor([&] { return session().elements().size() == 1; }));
}

TEST_F(MainWindow, AsksWhetherTheLastChainIsWantedAfterACrash) {
    session().insert(0, rotate);
    playScene(QStringLiteral("mono"));
    makeWindow(); // the other one has never been closed
    answerDialog(QStringLiteral("unclean"), QMessageBox::Yes);
    window->begin({}, true);
    EXPECT_EQ(session().elements().size(), 1);
}

// ---- What is shown ----

TEST_F(MainWindow, ShowsTheSelectedLinkAndBothSidesOfAnElement) {
    session().insert(0, rotate);
    playScene(QStringLiteral("bayer"));
    window->chainPanel().selectElement(0);
    EXPECT_TRUE(waitFor([&] { return shows(48, 64); }));
    auto& mode = childOf<QComboBox>(*window, "mode");
    mode.setCurrentIndex(1);
    EXPECT_EQ(picture().mode(), CzPictureWidget::EzMode::SideBySide);
    // The picture before arrives: the left half is painted.
    const auto leftIsPainted = [&] {
        const QImage image = picture().image();
        return image.pixel(image.width() / 4, image.height() / 2) != image.pixel(1, 1);
    };
    EXPECT_TRUE(waitFor(leftIsPainted));
}

TEST_F(MainWindow, OffersTheBandsOfThePictureBeside) {
    auto element = std::make_unique<ScriptedElement>();
    element->process = [](ScriptedElement&, IzChainData* input) -> IzChainData* {
        delete input;
        return blackPicture(pictureFormat(8, 4, 1, EzImageDataType::UInt8)).release();
    };
    session().insert(0, std::move(element));
    playScene(QStringLiteral("hsi4x4"));
    auto& band = childOf<QComboBox>(*window, "band");
    EXPECT_TRUE(waitFor([&] { return band.isVisible(); }));
    band.setCurrentIndex(3);
    window->chainPanel().selectElement(0);
    EXPECT_TRUE(waitFor([&] { return shows(8, 4) && !band.isVisible(); }));
    childOf<QComboBox>(*window, "mode").setCurrentIndex(1);
    EXPECT_TRUE(waitFor([&] { return band.isVisible(); }));
    EXPECT_EQ(band.count(), 1 + 16);
    action("nextBand").trigger();
    EXPECT_EQ(picture().display().band, 3);
    childOf<QComboBox>(*window, "mode").setCurrentIndex(0);
    EXPECT_TRUE(waitFor([&] { return !band.isVisible(); }));
}

TEST_F(MainWindow, ShowsChangesOfAPausedSource) {
    playScene(QStringLiteral("bayer"));
    window->player().pause();
    addAndSelect(rotate);
    EXPECT_TRUE(waitFor([&] { return shows(48, 64); }));
    addAndSelect(extract);
    EXPECT_TRUE(waitFor([&] { return shows(24, 32); }));
    window->chainPanel().selectElement(-1);
    EXPECT_TRUE(waitFor([&] { return shows(64, 48); }));
    EXPECT_FALSE(window->player().isPlaying());
}

TEST_F(MainWindow, TellsThePixelUnderTheCursor) {
    playScene(QStringLiteral("bayer"));
    window->player().pause();
    QMouseEvent move(QEvent::MouseMove, picture().rect().center(), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(&picture(), &move);
    const CzImageData& shown = *picture().picture();
    EXPECT_TRUE(text("pixelText") == describePixel(shown, 32, 23) ||
                text("pixelText") == describePixel(shown, 32, 24))
        << text("pixelText").toStdString();
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&picture(), &leave);
    EXPECT_EQ(text("pixelText"), QString());
}

TEST_F(MainWindow, AllChannelsOfThePixelUnderTheCursorCanBeRead) {
    constexpr std::uint32_t channels = 16;
    auto element = std::make_unique<ScriptedElement>();
    element->process = [](ScriptedElement&, IzChainData* input) -> IzChainData* {
        delete input;
        auto cube = blackPicture(pictureFormat(8, 4, channels, EzImageDataType::UInt16));
        fillSamples(cube->picBuf(), [](std::uint32_t x, std::uint32_t y, std::uint32_t channel) {
            return 10000.0 + 1000 * x + 100 * y + channel;
        });
        return cube.release();
    };
    session().insert(0, std::move(element));
    window->openScene(QStringLiteral("mono"));
    window->chainPanel().selectElement(0);
    ASSERT_TRUE(waitFor([&] { return shows(8, 4); }));
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    const auto pointAt = [&](double x, double y) {
        const QPointF fromMiddle = QPointF(x + 0.5 - 4, y + 0.5 - 2) * picture().scale();
        QCursor::setPos(picture().mapToGlobal(picture().rect().center() + fromMiddle.toPoint()));
    };
    const auto tipTells = [&](int x, int y) {
        QStringList samples;
        for (std::uint32_t channel = 0; channel < channels; ++channel)
            samples.append(QString::number(10000 + 1000 * x + 100 * y + static_cast<int>(channel)));
        return QToolTip::isVisible() && QToolTip::text().contains(samples.join(QStringLiteral(", ")));
    };
    pointAt(2, 1);
    EXPECT_TRUE(waitFor([&] { return tipTells(2, 1); })) << QToolTip::text().toStdString();
    EXPECT_TRUE(childOf<CzElidedLabel>(*window, "pixelText").isElided());
    pointAt(6, 3);
    EXPECT_TRUE(waitFor([&] { return tipTells(6, 3); })) << QToolTip::text().toStdString();
    const int narrow = picture().width();
    window->resize(4000, 700); // has room for them
    ASSERT_TRUE(waitFor([&] { return picture().width() > narrow; }));
    pointAt(6, 3);
    EXPECT_TRUE(waitFor([&] {
        return isSeen("pixelText") && picture().toolTip().isEmpty() && !QToolTip::isVisible();
    })) << isSeen("pixelText").message();
    QCursor::setPos(QGuiApplication::primaryScreen()->geometry().bottomRight()); // for those that follow
}

TEST_F(MainWindow, AClickOnAMosaicShowsTheSpectrum) {
    playScene(QStringLiteral("hsi5x5"));
    EXPECT_FALSE(showsSpectrum());
    QTest::mouseClick(&picture(), Qt::LeftButton, Qt::NoModifier, picture().rect().center());
    EXPECT_TRUE(waitFor([&] { return showsSpectrum(); }));
    EXPECT_EQ(window->spectrumPlot().spectrum().size(), 25);
    // Before and after have spectra of their own.
    addAndSelect(rotate);
    childOf<QComboBox>(*window, "mode").setCurrentIndex(1);
    EXPECT_TRUE(waitFor([&] { return shows(48, 64); }));
    QTest::mouseClick(&picture(), Qt::LeftButton, Qt::NoModifier,
                      QPoint(picture().width() / 4, picture().height() / 2));
    EXPECT_TRUE(waitFor([&] { return window->spectrumPlot().spectrum().size() == 25; }));
    window->openScene(QStringLiteral("mono"));
    EXPECT_TRUE(waitFor([&] { return window->spectrumPlot().spectrum().isEmpty(); }));
}

TEST_F(MainWindow, AClickOnAnotherPictureKeepsTheHistogramInFront) {
    playScene(QStringLiteral("mono"));
    QTest::mouseClick(&picture(), Qt::LeftButton, Qt::NoModifier, picture().rect().center());
    EXPECT_FALSE(showsSpectrum());
    EXPECT_TRUE(waitFor([&] { return !window->histogramPlot().histogram().channels.isEmpty(); }));
}

TEST_F(MainWindow, KeysPlayPauseAndStepThroughBands) {
    playScene(QStringLiteral("hsi4x4"));
    window->activateWindow();
    picture().setFocus();
    QTest::keyClick(window.get(), Qt::Key_F6);
    EXPECT_FALSE(window->player().isPlaying());
    QTest::keyClick(window.get(), Qt::Key_F6);
    EXPECT_TRUE(window->player().isPlaying());
    QTest::keyClick(window.get(), Qt::Key_F8);
    EXPECT_FALSE(window->player().isPlaying());
    QTest::keyClick(window.get(), Qt::Key_PageDown, Qt::ControlModifier);
    EXPECT_EQ(picture().display().band, 0);
    QTest::keyClick(window.get(), Qt::Key_PageUp, Qt::ControlModifier);
    EXPECT_EQ(picture().display().band, -1);
}

TEST_F(MainWindow, TellsHowTheChainIsDoing) {
    playScene(QStringLiteral("mono"));
    EXPECT_TRUE(waitFor([&] {
        return text("rateText") != QStringLiteral("0.0 frames/s, 0.0 ms") &&
               !text("rateText").startsWith(QLatin1String("0.0 "));
    }));
    EXPECT_TRUE(waitFor([&] { return text("poolText").startsWith(QStringLiteral("pool ")); }));
    EXPECT_TRUE(text("lossText").contains(QStringLiteral("failed")));
    window->player().pause();
    EXPECT_TRUE(waitFor([&] { return text("stateText") == QStringLiteral("waiting for frames"); }));
    QTest::keyClick(&picture(), Qt::Key_1);
    EXPECT_EQ(text("scaleText"), QStringLiteral("100 %"));
    action("run").trigger();
    EXPECT_TRUE(waitFor([&] { return text("stateText") == QStringLiteral("stopped"); }));
    EXPECT_FALSE(action("run").isChecked());
    EXPECT_TRUE(text("rateText").startsWith(QStringLiteral("0.0 frames/s")));
}

TEST_F(MainWindow, TellsWhatHangsWithoutAFrame) {
    auto element = std::make_unique<AdjustableElement>();
    element->onSetupStart = [this] { gate.pass(); };
    session().insert(0, std::move(element));
    window->openScene(QStringLiteral("mono"));
    gate.awaitArrival();
    EXPECT_TRUE(waitFor([&] { return text("stateText").startsWith(QStringLiteral("hangs in Level")); }));
}

TEST_F(MainWindow, WhatHangsIsSeenInFull) {
    auto element = std::make_unique<ElementOfManyWords>();
    gate.guard(*element);
    session().insert(0, std::move(element));
    window->openScene(QStringLiteral("mono"));
    gate.awaitArrival();
    EXPECT_TRUE(waitFor([&] { return text("stateText").contains(QStringLiteral("hangs in Mosaic")); }));
    for (const int width : {1400, 1100, 1300}) {
        window->resize(width, 860);
        EXPECT_TRUE(waitFor([&] { return isSeen("stateText"); })) << isSeen("stateText").message();
        EXPECT_EQ(window->width(), width);
    }
}

TEST_F(MainWindow, TellsThatThereIsNothingToWriteBesideThePictures) {
    const QString scene = writeScene(QStringLiteral("scene.tif"), QStringLiteral("mono"));
    const QString description = sidecarPath(scene);
    QFile::remove(description);
    open({scene});
    window->sourcePanel().saveSidecars();
    EXPECT_TRUE(
        waitFor([&] { return text("messageText").contains(QStringLiteral("nothing new to write")); }));
    EXPECT_FALSE(QFile::exists(description));
}

TEST_F(MainWindow, SaysWhyThereIsNoPicture) {
    EXPECT_TRUE(picture().placeholder().contains(QStringLiteral("Open or drop pictures")));
    auto element = std::make_unique<AdjustableElement>();
    AdjustableElement* const refusing = element.get();
    refusing->initResult = false;
    session().insert(0, std::move(element));
    window->openScene(QStringLiteral("mono"));
    EXPECT_TRUE(waitFor([&] { return picture().placeholder().contains(QStringLiteral("message above")); }));
    window->showProblem(QString());
    EXPECT_TRUE(waitFor([&] { return picture().placeholder().contains(QStringLiteral("Choose Run")); }));
    refusing->initResult = true;
    refusing->process = [](ScriptedElement&, IzChainData*) { return nullptr; };
    window->chainPanel().selectElement(0);
    action("run").trigger();
    EXPECT_TRUE(waitFor([&] { return picture().placeholder().contains(QStringLiteral("come here yet")); }));
}

TEST_F(MainWindow, CountsPicturesThatTheScreenHadNoTimeFor) {
    playScene(QStringLiteral("mono"));
    window->player().setRate(1000);
    const auto before = session().chain().counters().framesOut;
    const auto skippedBefore = window->skippedPictures();
    while (session().chain().counters().framesOut < before + 30) // this thread is busy
        QTest::qSleep(1);
    EXPECT_GT(window->skippedPictures(), skippedBefore);
}

TEST_F(MainWindow, UndoesAndRedoesFromTheMenu) {
    session().insert(0, rotate);
    EXPECT_TRUE(waitFor([&] { return action("undo").isEnabled(); }));
    EXPECT_TRUE(action("undo").text().contains(QStringLiteral("Rotate")));
    action("undo").trigger();
    EXPECT_TRUE(session().elements().isEmpty());
    EXPECT_TRUE(waitFor([&] { return action("redo").isEnabled() && !action("undo").isEnabled(); }));
    action("redo").trigger();
    EXPECT_EQ(session().elements().size(), 1);
}

// ---- Pictures to files and to the clipboard ----

TEST_F(MainWindow, SavesTheShownPictureAsItIs) {
    session().insert(0, rotate);
    playScene(QStringLiteral("bayer"));
    window->player().pause();
    window->chainPanel().selectElement(0);
    ASSERT_TRUE(waitFor([&] { return shows(48, 64); }));
    const CzLinkTap::Picture shown = picture().picture();
    answerFileDialog(path(QStringLiteral("saved"))); // becomes a TIFF
    action("savePicture").trigger();
    const QString saved = path(QStringLiteral("saved.tif"));
    ASSERT_TRUE(waitFor([&] { return QFile::exists(saved) && QFile::exists(sidecarPath(saved)); }));
    QString error;
    SzSidecar sidecar;
    ASSERT_TRUE(readSidecar(sidecarPath(saved), sidecar, &error, nullptr));
    const auto reader = CzPictureReader::open(saved, &error);
    ASSERT_TRUE(reader) << error.toStdString();
    const auto read = reader->read(0, sidecar, &error);
    ASSERT_TRUE(read) << error.toStdString();
    EXPECT_EQ(read->picBuf().bitDepth, 12U);
    EXPECT_EQ(read->picBuf().colorFilterArray, shown->picBuf().colorFilterArray);
    EXPECT_TRUE(samePixels(read->picBuf(), shown->picBuf()));
    EXPECT_TRUE(waitFor([&] { return text("messageText").contains(QStringLiteral("saved.tif")); }));
}

TEST_F(MainWindow, SavesNoPictureUnderANameOfAnotherFormat) {
    playScene(QStringLiteral("mono"));
    answerFileDialog(path(QStringLiteral("a.jpg")));
    action("savePicture").trigger();
    EXPECT_TRUE(problem().contains(QStringLiteral("a.jpg")));
    EXPECT_TRUE(problem().contains(QStringLiteral("*.tif")));
    EXPECT_FALSE(QFile::exists(path(QStringLiteral("a.jpg"))));
}

TEST_F(MainWindow, SaysThatThereIsNoPictureToSave) {
    action("savePicture").trigger();
    EXPECT_FALSE(problem().isEmpty());
}

TEST_F(MainWindow, TellsWhenAPictureCannotBeSaved) {
    SzPicBufInfo format = pictureFormat(4, 4, 1, EzImageDataType::Float32);
    QString error;
    ASSERT_TRUE(writePicture(path(QStringLiteral("float.tif")), EzPictureFormat::Tiff,
                             *picturePattern(format), &error));
    open({path(QStringLiteral("float.tif"))});
    ASSERT_TRUE(waitFor([&] { return shows(4, 4); }));
    answerFileDialog(path(QStringLiteral("float.png"))); // cannot hold it
    action("savePicture").trigger();
    EXPECT_TRUE(waitFor([&] { return problem().contains(QStringLiteral("float.png")); }));
}

TEST_F(MainWindow, RecordsTheResultsUntilItIsToldToStop) {
    playScene(QStringLiteral("mono"));
    const QString folder = path(QStringLiteral("recorded"));
    QDir().mkpath(folder);
    whenDialogOpens(QString(), [folder](QDialog& dialog) {
        auto& line = childOf<QLineEdit>(dialog, "fileNameEdit");
        line.setText(folder);
        QTest::keyClick(&line, Qt::Key_Return);
    });
    action("record").trigger();
    EXPECT_TRUE(action("record").isChecked());
    EXPECT_TRUE(waitFor([&] { return QFile::exists(folder + QStringLiteral("/00003.tif")); }));
    EXPECT_TRUE(waitFor([&] { return text("messageText").startsWith(QStringLiteral("Recording: ")); }));
    window->resize(1400, 860); // as it begins
    EXPECT_TRUE(waitFor([&] { return isSeen("messageText"); })) << isSeen("messageText").message();
    action("record").trigger();
    EXPECT_FALSE(action("record").isChecked());
    EXPECT_TRUE(waitFor([&] { return text("messageText").startsWith(QStringLiteral("Recorded: ")); }));
    EXPECT_TRUE(text("messageText").endsWith(QStringLiteral("none lost")));
}

TEST_F(MainWindow, TellsThatItStillWritesWhatWasRecorded) {
    session().insert(0, elementOfHeldPictures(gate));
    startRecording(path(QStringLiteral("recorded")));
    window->openScene(QStringLiteral("mono"));
    gate.awaitArrival();
    EXPECT_TRUE(waitFor([&] { return text("messageText").startsWith(QStringLiteral("Recording: ")); }));
    action("record").trigger();
    EXPECT_FALSE(action("record").isChecked());
    EXPECT_TRUE(waitFor([&] { return text("messageText").startsWith(QStringLiteral("Writing")); }));
    gate.open();
    EXPECT_TRUE(waitFor([&] { return text("messageText").startsWith(QStringLiteral("Recorded: ")); }));
}

TEST_F(MainWindow, TellsARecordingThatIsNotComplete) {
    playScene(QStringLiteral("mono"));
    const QString folder = path(QStringLiteral("recorded"));
    startRecording(folder);
    EXPECT_TRUE(waitFor([&] { return QFile::exists(folder + QStringLiteral("/00001.tif")); }));
    ASSERT_TRUE(waitFor([&] { return QDir(folder).removeRecursively(); }));
    EXPECT_TRUE(waitFor([&] { return !problem().isEmpty(); }));
    EXPECT_TRUE(problem().startsWith(QStringLiteral("The recording is not complete")))
        << problem().toStdString();
    EXPECT_TRUE(problem().contains(QStringLiteral(".tif"))) << "and why";
    EXPECT_TRUE(waitFor([&] { return !action("record").isChecked(); }));
}

// ---- The status bar ----

TEST_F(MainWindow, MessagesAreSeenAndWhatDoesNotFitIsInTheToolTip) {
    QString name(200, QLatin1Char('n'));
    playScene(QStringLiteral("mono"));
    answerFileDialog(path(QStringLiteral("s.tif")));
    action("savePicture").trigger();
    auto& message = childOf<CzElidedLabel>(*window, "messageText");
    ASSERT_TRUE(waitFor([&] { return message.text().endsWith(QStringLiteral("s.tif")); }));
    EXPECT_TRUE(waitFor([&] { return message.isVisible() && message.width() > 100; }));
    window->resize(2000, 700);
    EXPECT_TRUE(waitFor([&] { return isSeen("messageText"); })) << isSeen("messageText").message();
    EXPECT_FALSE(message.toolTip().contains(message.text()));

    answerFileDialog(path(name + QStringLiteral(".tif")));
    action("savePicture").trigger();
    const int narrowest = window->minimumSizeHint().width();
    window->resize(1000, 700);
    EXPECT_TRUE(waitFor([&] { return message.text().contains(name) && message.isElided(); }));
    EXPECT_TRUE(message.toolTip().contains(name));
    EXPECT_EQ(window->minimumSizeHint().width(), narrowest) << "the window does not grow for it";
}

TEST_F(MainWindow, FramesThatElementsKeepAndBuffersThatAreRefusedAreTold) {
    auto element = std::make_unique<ScriptedElement>();
    std::vector<SzPicBuf> buffers; // the worker's
    element->process = [&, frames = 0](ScriptedElement& self, IzChainData* input) mutable -> IzChainData* {
        const SzPicBufInfo& format = static_cast<CzImageData*>(input)->picBuf();
        ++frames;
        for (SzPicBuf buffer;
             frames == 1 && CzPicBufAPI::AllocPicBufFromPool(self.pool(), &self, buffer, format, false);
             buffer = SzPicBuf())
            buffers.push_back(buffer);
        delete input;
        return nullptr;
    };
    element->onSetupStop = [&] {
        for (SzPicBuf& buffer : buffers)
            CzPicBufAPI::FreePicBuf(buffer, true);
        buffers.clear();
    };
    EXPECT_FALSE(text("lossText").contains(QStringLiteral("kept")));
    session().insert(0, std::move(element));
    window->openScene(QStringLiteral("mono"));
    EXPECT_TRUE(waitFor([&] { return text("lossText").contains(QStringLiteral(" kept")); }));
    EXPECT_TRUE(waitFor([&] { return text("poolText").contains(QStringLiteral(" refused")); }));
    EXPECT_TRUE(childOf<QLabel>(*window, "poolText").toolTip().contains(QStringLiteral("refused")));
    session().setRunning(false);
    EXPECT_TRUE(waitFor([&] { return isStopped(); }));
}

// ---- Keys ----

/// A key, and the texts that have it.
using Mnemonics = QMap<QString, QStringList>;

void addMnemonic(Mnemonics& keys, const QString& text) {
    if (const QKeySequence key = QKeySequence::mnemonic(text); !key.isEmpty())
        keys[key.toString()].append(text);
}

testing::AssertionResult haveKeysOfTheirOwn(const Mnemonics& keys) {
    for (const QStringList& texts : keys)
        if (texts.size() > 1)
            return testing::AssertionFailure() << texts.join(QLatin1String(", ")).toStdString();
    return testing::AssertionSuccess();
}

/// Keys by which fields, lists and buttons are used.
QList<QKeySequence> keysOfWidgets() {
    QList<QKeySequence> keys{QKeySequence(Qt::ALT | Qt::Key_Up), QKeySequence(Qt::ALT | Qt::Key_Down),
                             QKeySequence(Qt::Key_F2), QKeySequence(Qt::Key_F4)};
    for (const Qt::Key key :
         {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape, Qt::Key_Tab, Qt::Key_Backtab,
          Qt::Key_Backspace, Qt::Key_Delete, Qt::Key_Insert, Qt::Key_Up, Qt::Key_Down, Qt::Key_Left,
          Qt::Key_Right, Qt::Key_Home, Qt::Key_End, Qt::Key_PageUp, Qt::Key_PageDown})
        keys << QKeySequence(key) << QKeySequence(Qt::SHIFT | key);
    for (const Qt::Key key : {Qt::Key_Up, Qt::Key_Down, Qt::Key_Left, Qt::Key_Right, Qt::Key_Home,
                              Qt::Key_End, Qt::Key_Space, Qt::Key_Tab, Qt::Key_Backspace, Qt::Key_Delete})
        keys << QKeySequence(Qt::CTRL | key) << QKeySequence(Qt::CTRL | Qt::SHIFT | key);
    for (const auto key : {QKeySequence::SelectAll, QKeySequence::Cut, QKeySequence::Paste})
        keys << key;
    return keys;
}

TEST_F(MainWindow, WidgetsKeepTheirKeys) {
    int keysOfWindow = 0;
    for (const QAction* const action : window->findChildren<QAction*>()) {
        if (action->shortcutContext() != Qt::WindowShortcut)
            continue;
        for (const QKeySequence& key : action->shortcuts()) {
            ++keysOfWindow;
            EXPECT_FALSE(keysOfWidgets().contains(key))
                << key.toString().toStdString() << ": " << action->text().toStdString();
        }
    }
    EXPECT_GT(keysOfWindow, 10);
}

TEST_F(MainWindow, AltAndDownOpensAList) {
    session().insert(0, rotate);
    session().insert(1, extract);
    window->chainPanel().selectElement(0);
    const QVector<CzChainable*> elements = session().elements();
    auto& list = childOf<QComboBox>(*window, "range");
    list.setFocus();
    QTest::keyClick(&list, Qt::Key_Down, Qt::AltModifier);
    ASSERT_TRUE(waitFor([] { return QApplication::activePopupWidget() != nullptr; }));
    QApplication::activePopupWidget()->close();
    EXPECT_EQ(session().elements(), elements);
}

TEST_F(MainWindow, NoTwoThingsHaveTheSameKey) {
    Mnemonics inWindow;
    for (const QAction* const menu : window->menuBar()->actions())
        addMnemonic(inWindow, menu->text());
    for (const QMenu* const menu : window->findChildren<QMenu*>()) {
        Mnemonics inMenu;
        for (const QAction* const entry : menu->actions())
            addMnemonic(inMenu, entry->text());
        EXPECT_TRUE(haveKeysOfTheirOwn(inMenu)) << menu->title().toStdString();
    }
    for (const QAbstractButton* const button : window->findChildren<QAbstractButton*>())
        addMnemonic(inWindow, button->text());
    for (const QLabel* const label : window->findChildren<QLabel*>())
        if (label->buddy())
            addMnemonic(inWindow, label->text());
    for (const QGroupBox* const group : window->findChildren<QGroupBox*>())
        addMnemonic(inWindow, group->title());
    EXPECT_GT(inWindow.size(), 10);
    EXPECT_TRUE(haveKeysOfTheirOwn(inWindow));
}

TEST_F(MainWindow, AnAmpersandOfACaptionIsNoKey) {
    session().insert(0, std::make_unique<AmpersandElement>());
    EXPECT_TRUE(waitFor([&] { return action("undo").text() == QStringLiteral("&Undo Add Black && White"); }))
        << action("undo").text().toStdString();
}

TEST_F(MainWindow, DoesNotRecordWithoutAFolder) {
    whenDialogOpens(QString(), [](QDialog& dialog) { dialog.reject(); });
    action("record").trigger();
    EXPECT_FALSE(action("record").isChecked());
}

TEST_F(MainWindow, CopiesTheViewToTheClipboard) {
    playScene(QStringLiteral("mono"));
    window->player().pause();
    QTest::qWait(0);
    action("copyView").trigger();
    const QImage copied = QApplication::clipboard()->image();
    EXPECT_EQ(copied.size(), picture().size());
    EXPECT_EQ(copied.convertToFormat(QImage::Format_RGB32),
              picture().image().convertToFormat(QImage::Format_RGB32));
}

// ---- Frames that hang ----

TEST_F(MainWindow, NeverWaitsForTheWorker) {
    const QString chain = writeChain(QStringLiteral("a.zuchain"), extract);
    const QString scene = writeScene(QStringLiteral("scene.tif"), QStringLiteral("mono"));
    letAFrameHang();

    // All that a person can ask for, while a frame hangs. Each must be back at once.
    const std::vector<std::function<void()>> requests{
        [&] { window->chainPanel().selectElement(0); },
        [&] { QTest::keyClick(&childOf<QSpinBox>(*window, "level"), Qt::Key_Up); },
        [&] { QTest::keyClick(&childOf<QComboBox>(*window, "mood"), Qt::Key_Down); },
        [&] { childOf<QComboBox>(*window, "mode").setCurrentIndex(2); },
        [&] { childOf<QComboBox>(*window, "mode").setCurrentIndex(0); },
        [&] { window->chainPanel().add(rotate); },
        [&] { session().setBypassed(0, true); },
        [&] { action("run").trigger(); },
        [&] { action("run").trigger(); },
        [&] { action("undo").trigger(); },
        [&] { window->player().step(1); },
        [&] { window->player().repeat(); },
        [&] { window->openScene(QStringLiteral("bayer")); },
        [&] { window->openPaths({scene}); },
        [&] { window->player().seek(0); },
        [&] { action("copyView").trigger(); },
        [&] { session().setBypassed(0, false); },
        [&] { session().load(chain); },
    };
    for (std::size_t i = 0; i < requests.size(); ++i) {
        QElapsedTimer time;
        time.start();
        requests[i]();
        QCoreApplication::processEvents();
        EXPECT_LT(time.elapsed(), 5000) << "request " << i; // the frame would hang for ever
        EXPECT_TRUE(hangs()) << "request " << i;
    }
    EXPECT_TRUE(waitFor([&] { return text("stateText").contains(QStringLiteral("hangs in Level")); }));
    EXPECT_TRUE(hangs());
    gate.open();
    EXPECT_TRUE(waitFor([&] { return isRunning() && session().path() == chain && shows(64, 48); }));
}

TEST_F(MainWindow, ClosesAsSoonAsTheFrameAtHandIsThrough) {
    letAFrameHang();
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    window->close();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(hangs());
    gate.open();
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    EXPECT_TRUE(isStopped());
}

TEST_F(MainWindow, ClosesWhileFilesAreBeingOpened) {
    const QString scene = writeScene(QStringLiteral("scene.tif"), QStringLiteral("mono"));
    letAFrameHang();
    ASSERT_TRUE(session().save(path(QStringLiteral("a.zuchain")))); // or it would ask meanwhile
    window->openPaths({scene});
    window->close();
    EXPECT_TRUE(waitFor([&] { return !window->sourcePanel().isOpening(); }));
    EXPECT_TRUE(window->isVisible());
    gate.open();
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    EXPECT_TRUE(isStopped());
}

TEST_F(MainWindow, AsksForChangesThatWaitedForTheFrameAtHand) {
    letAFrameHang();
    ASSERT_TRUE(session().save(path(QStringLiteral("a.zuchain"))));
    window->chainPanel().selectElement(0);
    QTest::keyClick(&childOf<QSpinBox>(*window, "level"), Qt::Key_Up);
    session().insert(1, rotate);
    EXPECT_FALSE(session().isModified());
    window->close();
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Cancel);
    gate.open();
    EXPECT_TRUE(waitFor([&] { return isStopped() && window->isEnabled(); }));
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(session().elements().size(), 2);
    EXPECT_EQ(hanging->level, 1);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Save);
    EXPECT_TRUE(window->close());
    EXPECT_FALSE(session().isModified());
}

TEST_F(MainWindow, AConfigurationThatFloatsCanBeUsedWhenClosingWasCancelled) {
    childOf<QDockWidget>(*window, "configuration").setFloating(true);
    letAFrameHang();
    ASSERT_TRUE(session().save(path(QStringLiteral("a.zuchain"))));
    window->chainPanel().selectElement(0);
    QTest::keyClick(&childOf<QSpinBox>(*window, "level"), Qt::Key_Up);
    window->close();
    EXPECT_EQ(hanging->level, 0);
    EXPECT_FALSE(childOf<QSpinBox>(*window, "level").isEnabled());
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Cancel);
    gate.open();
    EXPECT_TRUE(waitFor([&] { return isStopped() && window->isEnabled(); }));
    EXPECT_EQ(hanging->level, 1);
    EXPECT_TRUE(childOf<QSpinBox>(*window, "level").isEnabled());
}

TEST_F(MainWindow, StaysWhenWhatWasRecordedCannotBeWritten) {
    Gate disk;
    session().insert(0, elementOfHeldPictures(disk));
    const QString folder = path(QStringLiteral("recorded"));
    startRecording(folder);
    window->openScene(QStringLiteral("mono"));
    disk.awaitArrival();
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    window->close();
    EXPECT_TRUE(waitFor([&] { return isStopped(); }));
    EXPECT_TRUE(window->isVisible()) << "while it writes";
    EXPECT_TRUE(waitFor([&] { return text("messageText").startsWith(QStringLiteral("Writing")); }));
    EXPECT_TRUE(QDir(folder).removeRecursively());
    disk.open();
    EXPECT_TRUE(waitFor([&] { return window->isEnabled(); }));
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(problem().contains(QStringLiteral("not complete"))) << problem().toStdString();
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    EXPECT_TRUE(window->close());
}

TEST_F(MainWindow, ClosesWhenDescriptionsAreWritten) {
    const QString description = describePicture(false);
    {
        const SlowDisk slow;
        window->sourcePanel().saveSidecars();
        window->close();
        EXPECT_TRUE(waitFor([&] { return isStopped(); }));
        EXPECT_FALSE(window->close());
        EXPECT_TRUE(window->isVisible());
    }
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    EXPECT_EQ(bitDepthOf(description), 13U);
}

TEST_F(MainWindow, StaysWhenADescriptionCannotBeWritten) {
    const QString description = describePicture(false);
    ASSERT_TRUE(QDir().mkpath(description)); // a folder is in the way
    {
        const SlowDisk slow;
        window->sourcePanel().saveSidecars();
        window->close();
        EXPECT_TRUE(waitFor([&] { return isStopped(); }));
    }
    EXPECT_TRUE(waitFor([&] { return window->isEnabled(); }));
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(problem().contains(QStringLiteral("scene.tif.json"))) << problem().toStdString();
    EXPECT_TRUE(window->close());
}

TEST_F(MainWindow, AsksWhetherToChangeDescriptionsAlsoWhileItIsBeingClosed) {
    const QString description = describePicture(true);
    {
        const SlowDisk slow; // it does not know yet that it has to ask
        window->sourcePanel().saveSidecars();
        window->close();
        EXPECT_TRUE(window->isVisible());
    }
    answerDialog(QStringLiteral("changeDescriptions"), QMessageBox::Yes);
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    EXPECT_EQ(bitDepthOf(description), 13U);
}

TEST_F(MainWindow, AQuestionIsAnsweredBeforeTheWindowCloses) {
    const QString description = describePicture(true);
    window->sourcePanel().saveSidecars();
    QMessageBox* question = nullptr;
    ASSERT_TRUE(waitFor([&] {
        question = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        return question != nullptr;
    }));
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(window->isEnabled());
    QTest::mouseClick(question->button(QMessageBox::No), Qt::LeftButton);
    EXPECT_TRUE(waitFor([] { return !QApplication::activeModalWidget(); }));
    EXPECT_TRUE(window->isVisible());
    window->close();
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    EXPECT_NE(bitDepthOf(description), 13U);
}

TEST_F(MainWindow, OffersToQuitWithoutWaitingForAFrameThatHangs) {
    letAFrameHang();
    QSignalSpy abandoned(window.get(), &CzMainWindow::abandoned);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    window->close();
    QString question;
    whenDialogOpens(QStringLiteral("hangs"), [&](QDialog& box) {
        question = static_cast<QMessageBox&>(box).text();
        QTest::mouseClick(static_cast<QMessageBox&>(box).button(QMessageBox::Yes), Qt::LeftButton);
    });
    EXPECT_TRUE(waitFor([&] { return abandoned.size() == 1; }));
    EXPECT_TRUE(question.contains(QStringLiteral("Level")));
    EXPECT_TRUE(hangs());
}

TEST_F(MainWindow, AsksAgainWhoeverClosesTheWindowAgain) {
    letAFrameHang();
    QSignalSpy abandoned(window.get(), &CzMainWindow::abandoned);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    window->close();
    answerDialog(QStringLiteral("hangs"), QMessageBox::No);
    ASSERT_TRUE(waitFor([&] { return problem().contains(QStringLiteral("close the window once more")); }));
    EXPECT_TRUE(abandoned.isEmpty());
    window->close();
    EXPECT_TRUE(window->isVisible());
    answerDialog(QStringLiteral("hangs"), QMessageBox::Yes);
    EXPECT_TRUE(waitFor([&] { return abandoned.size() == 1; }));
}

TEST_F(MainWindow, SettingsOfAnElementThatHangsAreMadeWhenItIsThrough) {
    letAFrameHang();
    window->chainPanel().selectElement(0);
    QTest::keyClick(&childOf<QSpinBox>(*window, "level"), Qt::Key_Up);
    QTest::mouseClick(&childOf<QPushButton>(*window, "ask"), Qt::RightButton);
    QCoreApplication::processEvents();
    EXPECT_TRUE(hangs());
    EXPECT_EQ(hanging->level, 0);
    gate.open();
    EXPECT_TRUE(waitFor([&] { return hanging->level == 1 && isRunning() && shows(64, 48); }));
    EXPECT_EQ(hanging->waits, 0);
}

TEST_F(MainWindow, WritesWhatWasRecordedBeforeItLeavesAFrameThatHangs) {
    Gate disk;
    auto element = std::make_unique<ScriptedElement>();
    element->process = [this, &disk, frames = 0](ScriptedElement&,
                                                 IzChainData* input) mutable -> IzChainData* {
        if (++frames > 1) {
            gate.pass();
            return input;
        }
        delete input;
        return new HeldPicture(disk);
    };
    session().insert(0, std::move(element));
    const QString folder = path(QStringLiteral("recorded"));
    startRecording(folder);
    window->openScene(QStringLiteral("mono"));
    gate.awaitArrival();
    disk.awaitArrival();
    QSignalSpy abandoned(window.get(), &CzMainWindow::abandoned);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    window->close();
    bool answered = false;
    whenDialogOpens(QStringLiteral("hangs"), [&](QDialog& box) {
        QTest::mouseClick(static_cast<QMessageBox&>(box).button(QMessageBox::Yes), Qt::LeftButton);
        answered = true;
    });
    ASSERT_TRUE(waitFor([&] { return answered; }));
    const QString before = text("stateText"); // with the seconds for which the frame hangs
    ASSERT_TRUE(waitFor([&] { return text("stateText") != before; }));
    EXPECT_TRUE(abandoned.isEmpty());
    disk.open();
    EXPECT_TRUE(waitFor([&] { return abandoned.size() == 1; }));
    EXPECT_TRUE(QFile::exists(folder + QStringLiteral("/00001.tif")));
    EXPECT_TRUE(hangs());
}

TEST_F(MainWindow, WritesDescriptionsBeforeItLeavesAFrameThatHangs) {
    letAFrameHang();
    const QString description = describePicture(false);
    QSignalSpy abandoned(window.get(), &CzMainWindow::abandoned);
    {
        const SlowDisk slow;
        window->sourcePanel().saveSidecars();
        answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
        window->close();
        bool answered = false;
        whenDialogOpens(QStringLiteral("hangs"), [&](QDialog& box) {
            QTest::mouseClick(static_cast<QMessageBox&>(box).button(QMessageBox::Yes), Qt::LeftButton);
            answered = true;
        });
        ASSERT_TRUE(waitFor([&] { return answered; }));
        const QString before = text("stateText"); // with the seconds for which the frame hangs
        ASSERT_TRUE(waitFor([&] { return text("stateText") != before; }));
        EXPECT_TRUE(abandoned.isEmpty());
    }
    EXPECT_TRUE(waitFor([&] { return abandoned.size() == 1; }));
    EXPECT_EQ(bitDepthOf(description), 13U);
    EXPECT_TRUE(hangs());
}

TEST_F(MainWindow, ClosesWhenTheFrameComesBackWhileItAsks) {
    letAFrameHang();
    QSignalSpy abandoned(window.get(), &CzMainWindow::abandoned);
    answerDialog(QStringLiteral("unsaved"), QMessageBox::Discard);
    window->close();
    whenDialogOpens(QStringLiteral("hangs"), [&](QDialog&) { gate.open(); });
    EXPECT_TRUE(waitFor([&] { return !window->isVisible(); }));
    EXPECT_TRUE(abandoned.isEmpty());
}

// ---- Tours ----

TEST_F(MainWindow, GoesOnTourAndLeavesAPictureOfEachStop) {
    writeChain(QStringLiteral("turn.zuchain"));
    writeScene(QStringLiteral("scene.tif"), QStringLiteral("hsi4x4"));
    QFile tour(path(QStringLiteral("tour.json")));
    ASSERT_TRUE(tour.open(QIODevice::WriteOnly));
    tour.write(R"([{ "name": "empty" },
                   { "name": "turned", "scene": "bayer", "chain": "turn.zuchain", "select": 0, "mode": 1,
                     "frames": 3 },
                   { "name": "band", "pictures": ["scene.tif"], "select": -1, "band": 3, "range": 1,
                     "click": [5, 6], "frames": 2 }])");
    tour.close();
    EXPECT_TRUE(goOnTour(*window, tour.fileName(), path(QStringLiteral("shots"))));
    for (const char* const name : {"empty", "turned", "band"})
        EXPECT_FALSE(QImage(path(QStringLiteral("shots/%1.png").arg(QLatin1String(name)))).isNull()) << name;
    EXPECT_EQ(window->spectrumPlot().spectrum().size(), 16);
    EXPECT_EQ(picture().display().band, 2);
    EXPECT_TRUE(isStopped());
}

TEST_F(MainWindow, ATourThatDoesNotExistIsNone) {
    EXPECT_FALSE(goOnTour(*window, path(QStringLiteral("none.json")), path(QStringLiteral("shots"))));
}

// ---- Random clicks ----

/// The memory that this process has allocated and not freed, in bytes.
double allocatedMemory() {
#ifdef __SANITIZE_ADDRESS__
    return double(__sanitizer_get_current_allocated_bytes()); // without what the sanitizer itself keeps
#else
    const struct mallinfo2 info = mallinfo2();
    return double(info.uordblks) + double(info.hblkhd);
#endif
}

/// Clicks, keys and wheel turns all over the window, for ZU_SOAK_SECONDS (2 unless set) seconds. Dialogs that
/// ask where to write get an answer, others are closed. Runs of five minutes and more must not need ever more
/// memory; shorter ones are still filling caches.
TEST_F(MainWindow, StandsRandomClicks) {
    const int seconds =
        qEnvironmentVariableIsSet("ZU_SOAK_SECONDS") ? qEnvironmentVariableIntValue("ZU_SOAK_SECONDS") : 2;
    const unsigned seed = qEnvironmentVariableIsSet("ZU_SOAK_SEED")
                              ? unsigned(qEnvironmentVariableIntValue("ZU_SOAK_SEED"))
                              : std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    for (const char* const side : {"width", "height"}) // or what a camera repeats would hide what is lost
        childOf<QSpinBox>(*window, side).setMaximum(160);
    std::mt19937 random(seed);
    const auto below = [&](int end) { return int(random() % unsigned(end)); };

    const QString recorded = path(QStringLiteral("recorded"));
    QDir().mkpath(recorded);
    int saved = 0;
    QTimer dialogs;
    QObject::connect(&dialogs, &QTimer::timeout, [&] {
        if (QWidget* const popup = QApplication::activePopupWidget())
            popup->close();
        else if (auto* const files = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
                 files && (files->fileMode() == QFileDialog::Directory ||
                           files->acceptMode() == QFileDialog::AcceptSave)) {
            auto& line = childOf<QLineEdit>(*files, "fileNameEdit");
            const bool isFolder = files->fileMode() == QFileDialog::Directory;
            line.setText(isFolder ? recorded : path(QStringLiteral("%1.tif").arg(++saved)));
            QTest::keyClick(&line, Qt::Key_Return);
        } else if (auto* const dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
            dialog->reject();
    });
    dialogs.start(5);

    const QStringList scenes = sceneNames();
    const QList<const QMetaObject*> elements = CzRTTI::instance()->classes(QStringLiteral("CzChainable"));
    const QVector<int> keys{Qt::Key_Up,   Qt::Key_Down, Qt::Key_Left,   Qt::Key_Right,   Qt::Key_Space,
                            Qt::Key_Tab,  Qt::Key_F5,   Qt::Key_F6,     Qt::Key_F7,      Qt::Key_F8,
                            Qt::Key_Plus, Qt::Key_1,    Qt::Key_Delete, Qt::Key_PageDown};
    const QVector<const char*> actions{"undo",     "redo",     "duplicate", "remove",     "up",
                                       "down",     "switch",   "newChain",  "fit",        "play",
                                       "copyView", "nextBand", "record",    "savePicture"};
    QElapsedTimer time;
    time.start();
    int clicks = 0;
    // The memory in each third of the time: it goes up and down with what is shown and can be undone.
    std::array<double, 3> memory{};
    std::array<int, 3> looks{};
    while (!time.hasExpired(1000LL * seconds)) {
        const auto third = std::min<std::size_t>(std::size_t(3 * time.elapsed() / (1000LL * seconds)), 2);
        memory[third] += allocatedMemory();
        ++looks[third];
        if (action("record").isChecked())
            action("record").trigger(); // or the disk would fill
        const QPoint place(below(window->width()), below(window->height()));
        QWidget* const child = window->childAt(place);
        QWidget* const target = child ? child : window.get();
        const QPoint inTarget = target->mapFrom(window.get(), place);
        switch (below(8)) {
        case 0:
            QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : window.get(),
                            Qt::Key(keys.at(below(keys.size()))));
            break;
        case 1:
            action(actions.at(below(actions.size()))).trigger();
            break;
        case 2:
            if (session().elements().size() < 6)
                window->chainPanel().add(CzRTTI::uniqueId(*elements.at(below(elements.size()))));
            break;
        case 3: {
            QWheelEvent wheel(inTarget, target->mapToGlobal(inTarget), QPoint(),
                              QPoint(0, below(2) * 240 - 120), Qt::NoButton, Qt::NoModifier,
                              Qt::NoScrollPhase, false);
            QApplication::sendEvent(target, &wheel);
            break;
        }
        case 4:
            if (below(20) == 0)
                window->openScene(scenes.at(below(scenes.size())));
            else if (below(50) == 0)
                session().clear(); // with all that could be undone
            break;
        default:
            // Not the window's own controls, with which it could be closed or left for a file dialog.
            if (!target->inherits("QMenuBar"))
                QTest::mouseClick(target, Qt::LeftButton, Qt::NoModifier, inTarget);
        }
        ++clicks;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QCoreApplication::sendPostedEvents(nullptr,
                                           QEvent::DeferredDelete); // what the program's loop does itself
    }
    EXPECT_GT(clicks, 20);
    const double warm = memory[1] / looks[1];
    const double end = memory[2] / looks[2];
    RecordProperty("warmKiB", int(warm / 1024.0));
    RecordProperty("endKiB", int(end / 1024.0));
    if (seconds >= 300) {
        EXPECT_LT(end, 1.2 * warm) << "bytes of memory";
    }
    session().setRunning(false);
    EXPECT_TRUE(waitFor([&] { return isStopped(); }));
    const SzChainCounters counters = session().chain().counters();
    EXPECT_EQ(counters.framesIn,
              counters.framesOut + counters.framesConsumed + counters.framesDropped + counters.framesFailed);
}

} // namespace
