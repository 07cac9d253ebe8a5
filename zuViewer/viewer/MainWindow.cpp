// SPDX-License-Identifier: GPL-3.0-or-later
#include "MainWindow.h"

#include "ChainPanel.h"
#include "Chainable.h"
#include "ConfigurationPanel.h"
#include "DisplayPanel.h"
#include "FrameSource.h"
#include "HistogramPlot.h"
#include "ImageData.h"
#include "PictureWidget.h"
#include "PixelSpectrumPlot.h"
#include "ProblemBar.h"
#include "Remembered.h"
#include "SensorPanel.h"
#include "SourcePanel.h"
#include "StatusPanel.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QScreen>
#include <QScrollArea>
#include <QStatusBar>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int refreshPeriodMs = 200;
constexpr int repeatDelayMs = 60; // an element's widget may still be at it
constexpr int warningsAtOnce = 5;
constexpr double hangsAtCloseMs = 5000.0;
constexpr qint64 writesAtMostMs = 30000;

const QString chainSuffix = QStringLiteral("zuchain");

bool isChainFile(const QString& path) {
    return QFileInfo(path).suffix().compare(chainSuffix, Qt::CaseInsensitive) == 0;
}

QStringList localFiles(const QMimeData& data) {
    QStringList paths;
    for (const QUrl& url : data.urls())
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    return paths;
}

int screenPeriodMs() {
    return std::max(1, static_cast<int>(1000.0 / QGuiApplication::primaryScreen()->refreshRate()));
}

/// A folder may have as many of them as files.
QString firstOf(const QStringList& warnings) {
    QStringList shown = warnings.mid(0, warningsAtOnce);
    if (const int more = warnings.size() - shown.size(); more > 0)
        shown.append(CzMainWindow::tr("… and %n more", nullptr, more));
    return shown.join(QLatin1Char('\n'));
}

/// A text for a menu in which an ampersand is one, and no key.
QString withoutKeys(QString text) {
    return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

} // namespace

CzMainWindow::CzMainWindow(QWidget* parent) : QMainWindow(parent) {
    setAcceptDrops(true);
    m_problem = new CzProblemBar;
    m_displayPanel = new CzDisplayPanel;
    m_picture = new CzPictureWidget;
    auto* const centre = new QWidget;
    auto* const layout = new QVBoxLayout(centre);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_problem);
    layout->addWidget(m_displayPanel);
    layout->addWidget(m_picture, 1);
    setCentralWidget(centre);
    m_status = new CzStatusPanel;
    statusBar()->addPermanentWidget(m_status, 1); // all of it: messages are the panel's

    makeDocks();
    makeMenus();
    connectChain();
    connectParts();
    watchSelected();
    refresh();
}

CzMainWindow::~CzMainWindow() {
    m_session.chain().requestStop();       // while the source is being closed
    m_configurationPanel->showElement(-1); // its widget would outlive the element
    // The parts go after all this: what becomes of them is of no interest any more.
    for (const QObject* const part : findChildren<QObject*>())
        part->disconnect(this);
}

QDockWidget* CzMainWindow::addDock(Qt::DockWidgetArea area, const QString& name, const QString& title,
                                   QWidget* widget) {
    auto* const dock = new QDockWidget(title);
    dock->setObjectName(name);
    dock->setWidget(widget);
    addDockWidget(area, dock);
    return dock;
}

void CzMainWindow::makeDocks() {
    m_sensorPanel = new CzSensorPanel;
    m_sourcePanel = new CzSourcePanel(m_player, *m_sensorPanel);
    m_chainPanel = new CzChainPanel(m_session);
    m_configurationPanel = new CzConfigurationPanel(m_session);
    m_histogram = new CzHistogramPlot;
    m_spectrum = new CzPixelSpectrumPlot;
    auto* const sensorArea = new QScrollArea;
    sensorArea->setFrameShape(QFrame::NoFrame);
    sensorArea->setWidgetResizable(true);
    sensorArea->setWidget(m_sensorPanel);

    constexpr auto left = Qt::LeftDockWidgetArea;
    constexpr auto right = Qt::RightDockWidgetArea;
    QDockWidget* const source = addDock(left, QStringLiteral("source"), tr("Source"), m_sourcePanel);
    QDockWidget* const sensor = addDock(left, QStringLiteral("sensor"), tr("Sensor"), sensorArea);
    QDockWidget* const chain = addDock(left, QStringLiteral("chain"), tr("Chain"), m_chainPanel);
    tabifyDockWidget(source, sensor);
    source->raise();
    QDockWidget* const configuration =
        addDock(right, QStringLiteral("configuration"), tr("Configuration"), m_configurationPanel);
    QDockWidget* const histogram = addDock(right, QStringLiteral("histogram"), tr("Histogram"), m_histogram);
    m_spectrumDock = addDock(right, QStringLiteral("spectrum"), tr("Spectrum of a Pixel"), m_spectrum);
    tabifyDockWidget(histogram, m_spectrumDock);
    histogram->raise();
    // Behind another tab a widget still counts as visible.
    connect(histogram, &QDockWidget::visibilityChanged, this, [this](bool isSeen) {
        m_histogramIsSeen = isSeen;
        showHistogram();
    });
    connect(m_spectrumDock, &QDockWidget::visibilityChanged, this, [this](bool isSeen) {
        m_spectrumIsSeen = isSeen;
        showSpectrum();
    });

    resize(QSize(1400, 860).boundedTo(screen()->availableSize()));
    resizeDocks({source, configuration}, {330, 360}, Qt::Horizontal);
    resizeDocks({source, chain}, {260, 500}, Qt::Vertical);
    resizeDocks({configuration, histogram}, {480, 280}, Qt::Vertical);
}

void CzMainWindow::makeFileMenu() {
    QMenu* const menu = menuBar()->addMenu(tr("&File"));
    const auto add = [&](const char* name, const QString& text, const QKeySequence& key, auto slot) {
        QAction* const action = menu->addAction(text, this, slot, key);
        action->setObjectName(QLatin1String(name));
        return action;
    };
    add("openPictures", tr("&Open Pictures…"), QKeySequence::Open, &CzMainWindow::openPicturesDialog);
    add("openFolder", tr("Open &Folder…"), {}, &CzMainWindow::openFolderDialog);
    add("savePicture", tr("Save &Picture…"), {}, &CzMainWindow::savePicture);
    m_record = add("record", tr("&Record Results…"), {}, &CzMainWindow::toggleRecording);
    m_record->setCheckable(true);
    add("copyView", tr("&Copy View"), QKeySequence::Copy, &CzMainWindow::copyView);
    menu->addSeparator();
    add("newChain", tr("&New Chain"), QKeySequence::New, [this] {
        if (mayDiscardChain())
            m_session.clear();
    });
    add("openChain", tr("Open C&hain…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O),
        &CzMainWindow::openChainDialog);
    m_recentChains = menu->addMenu(tr("R&ecent Chains"));
    m_recentChains->setObjectName(QStringLiteral("recentChains"));
    connect(m_recentChains, &QMenu::aboutToShow, this, &CzMainWindow::fillRecentChains);
    add("saveChain", tr("&Save Chain"), QKeySequence::Save, &CzMainWindow::saveChain);
    add("saveChainAs", tr("Save Chain &As…"), QKeySequence::SaveAs, &CzMainWindow::saveChainAs);
    menu->addSeparator();
    add("quit", tr("&Quit"), QKeySequence::Quit, &CzMainWindow::close);
}

void CzMainWindow::makeMenus() {
    makeFileMenu();
    const auto add = [this](QMenu* menu, const char* name, const QString& text, const QKeySequence& key,
                            auto slot) {
        QAction* const action = menu->addAction(text, this, slot, key);
        action->setObjectName(QLatin1String(name));
        return action;
    };
    QMenu* const edit = menuBar()->addMenu(tr("&Edit"));
    m_undo = add(edit, "undo", tr("&Undo"), QKeySequence::Undo, [this] { m_session.undo(); });
    m_redo = add(edit, "redo", tr("&Redo"), QKeySequence::Redo, [this] { m_session.redo(); });
    edit->addSeparator();
    edit->addActions(m_chainPanel->editActions().toList());

    // No keys that buttons, lists and texts need themselves.
    QMenu* const run = menuBar()->addMenu(tr("&Run"));
    m_run =
        add(run, "run", tr("&Run"), QKeySequence(Qt::Key_F5), [this](bool on) { m_session.setRunning(on); });
    m_run->setCheckable(true);
    add(run, "play", tr("&Play or Pause"), QKeySequence(Qt::Key_F6),
        [this] { m_player.isPlaying() ? m_player.pause() : m_player.play(); });
    add(run, "stepBack", tr("One Frame &Back"), QKeySequence(Qt::Key_F7), [this] { m_player.step(-1); });
    add(run, "stepForward", tr("One Frame &On"), QKeySequence(Qt::Key_F8), [this] { m_player.step(1); });

    QMenu* const view = menuBar()->addMenu(tr("&View"));
    add(view, "fit", tr("&Fit"), QKeySequence(Qt::CTRL | Qt::Key_0), [this] { m_picture->fit(); });
    add(view, "pixels", tr("&Pixel by Pixel"), QKeySequence(Qt::CTRL | Qt::Key_1),
        [this] { m_picture->showPixelByPixel(); });
    add(view, "nextBand", tr("&Next Band"), QKeySequence(Qt::CTRL | Qt::Key_PageDown),
        [this] { m_displayPanel->stepBand(1); });
    add(view, "previousBand", tr("P&revious Band"), QKeySequence(Qt::CTRL | Qt::Key_PageUp),
        [this] { m_displayPanel->stepBand(-1); });
    view->addSeparator();
    for (QDockWidget* const dock : findChildren<QDockWidget*>())
        view->addAction(dock->toggleViewAction());

    QMenu* const help = menuBar()->addMenu(tr("&Help"));
    add(help, "about", tr("&About zuViewer"), {}, [this] {
        QMessageBox::about(this, tr("About zuViewer"),
                           tr("zuViewer %1\nBuild a chain of processing elements, and watch what each "
                              "does to the pictures of a camera.")
                               .arg(QCoreApplication::applicationVersion()));
    });
}

void CzMainWindow::connectChain() {
    // On the worker; the members that they use outlive it.
    CzChain& chain = m_session.chain();
    chain.setLinkObserver([this, &chain](int link, const IzChainData& output) {
        m_tap.offer(link, output, chain.source().waitingFrames() == 0);
    });
    chain.setFrameObserver([this](const SzFrameReport& report) {
        m_tap.endFrame();
        m_monitor.offer(report);
        if (report.output)
            m_recorder.offer(*report.output);
    });

    connect(&m_session, &CzChainSession::failed, this, &CzMainWindow::showProblem);
    connect(&m_session, &CzChainSession::warned, this,
            [this](const QStringList& warnings) { showProblem(warnings.join(QLatin1Char('\n'))); });
    connect(&m_session, &CzChainSession::chainChanged, this, [this] {
        m_tap.clear();
        m_monitor.clear();
        watchSelected();
    });
    connect(&m_session, &CzChainSession::pathChanged, this, &CzMainWindow::rememberPath);
    connect(&m_session, &CzChainSession::started, this, [this] {
        rememberChain(); // for the case that it brings everything down
        repeatIfPaused();
    });
    connect(&m_session, &CzChainSession::stateChanged, this, &CzMainWindow::refresh);
}

void CzMainWindow::connectParts() {
    connect(m_sourcePanel, &CzSourcePanel::openRequested, this, &CzMainWindow::openPicturesDialog);
    connect(m_sourcePanel, &CzSourcePanel::failed, this, [this](const QString& message) {
        m_sourcePanel->isSaving() ? showLoss(message) : showProblem(message);
    });
    connect(m_sourcePanel, &CzSourcePanel::warned, this,
            [this](const QStringList& warnings) { showProblem(firstOf(warnings)); });
    connect(m_sourcePanel, &CzSourcePanel::sidecarsSaved, this, [this](int files) {
        m_status->showMessage(files > 0 ? tr("The description was written beside the pictures.")
                                        : tr("There was nothing new to write beside the pictures."));
    });
    connect(m_sourcePanel, &CzSourcePanel::sourceChanged, this, [this] {
        m_chainPanel->setSourceCaption(m_sourcePanel->caption());
        m_tap.clear();
        m_status->startCounting(m_session, m_tap.skipped());
        if (!m_closing)
            m_session.setRunning(true);
        rememberChain();
    });
    connect(m_chainPanel, &CzChainPanel::selectionChanged, this, [this](int element) {
        m_configurationPanel->showElement(element);
        watchSelected();
        repeatIfPaused();
    });
    connect(m_configurationPanel, &CzConfigurationPanel::touched, this, [this] {
        m_touched = true;
        repeatIfPaused();
    });
    connect(m_displayPanel, &CzDisplayPanel::changed, this, [this] {
        m_picture->setDisplay(m_displayPanel->settings());
        if (m_picture->mode() != m_displayPanel->mode()) {
            m_picture->setMode(m_displayPanel->mode());
            watchSelected();
            repeatIfPaused();
        }
    });
    connect(m_picture, &CzPictureWidget::cursorMoved, this, [this](int x, int y, bool before) {
        m_cursor = {QPoint(x, y), before};
        describeCursor();
    });
    connect(m_picture, &CzPictureWidget::pixelClicked, this, [this](int x, int y, bool before) {
        m_clicked = {QPoint(x, y), before};
        const CzLinkTap::Picture& picture = before ? m_shownBefore : m_shown;
        if (picture && !spectrumAt(*picture, x, y).isEmpty()) {
            m_spectrumDock->show();
            m_spectrumDock->raise();
        }
        showSpectrum();
    });
    connect(m_picture, &CzPictureWidget::scaleChanged, m_status, &CzStatusPanel::showScale);
    connect(&m_recorder, &CzPictureRecorder::failed, this, &CzMainWindow::showLoss);
    connect(&m_recorder, &CzPictureRecorder::saved, this, [this](const QString& path) {
        m_status->showMessage(tr("Saved %1").arg(QDir::toNativeSeparators(path)));
    });
    connect(&m_recorder, &CzPictureRecorder::recordingEnded, this, &CzMainWindow::tellRecording);

    connect(&m_screenTimer, &QTimer::timeout, this, &CzMainWindow::showNewest);
    m_screenTimer.start(screenPeriodMs());
    connect(&m_refreshTimer, &QTimer::timeout, this, &CzMainWindow::refresh);
    m_refreshTimer.start(refreshPeriodMs);
    m_repeatTimer.setSingleShot(true);
    m_repeatTimer.setInterval(repeatDelayMs);
    connect(&m_repeatTimer, &QTimer::timeout, this, [this] {
        if (!m_player.isPlaying())
            m_player.repeat();
    });
}

// ---- What is shown ----

void CzMainWindow::watchSelected() {
    const int link = m_chainPanel->selectedElement() + 1;
    const bool both = m_displayPanel->mode() != CzPictureWidget::EzMode::Single;
    m_tap.watch(both && link > 0 ? QVector<int>{link - 1, link} : QVector<int>{link});
}

/// A paused source sends its frame once more, so that what changed can be seen.
void CzMainWindow::repeatIfPaused() {
    m_repeatTimer.start();
}

void CzMainWindow::showNewest() {
    if (isMinimized())
        return;
    const int link = m_chainPanel->selectedElement() + 1;
    auto [before, picture] = m_tap.take(std::max(link - 1, 0), link);
    if (picture == m_shown && before == m_shownBefore)
        return;
    m_shown = picture;
    m_shownBefore = before;
    m_displayPanel->setPictures(picture, before);
    m_picture->setPictures(picture, before);
    showHistogram();
    showSpectrum();
    describeCursor();
}

void CzMainWindow::describeCursor() {
    const CzLinkTap::Picture& picture = m_cursor.before ? m_shownBefore : m_shown;
    m_status->showPixel(picture ? describePixel(*picture, m_cursor.place.x(), m_cursor.place.y())
                                : QString());
    m_picture->setToolTip(m_status->pixelTip()); // the cursor cannot go to the one of the status bar
}

void CzMainWindow::showHistogram() {
    if (m_histogramIsSeen)
        m_histogram->setPicture(m_shown);
}

void CzMainWindow::showSpectrum() {
    const CzLinkTap::Picture& picture = m_clicked.before ? m_shownBefore : m_shown;
    if (!picture || !m_spectrumIsSeen)
        return;
    const QPoint place = m_clicked.place;
    m_spectrum->setSpectrum(spectrumAt(*picture, place.x(), place.y()),
                            tr("x %1, y %2").arg(place.x()).arg(place.y()));
}

void CzMainWindow::refresh() {
    const SzChainFigures figures = m_monitor.figures();
    m_chainPanel->refresh(figures);
    m_configurationPanel->refresh();
    m_status->showChain(m_session, figures, m_tap.skipped());
    m_run->setChecked(m_session.isWanted());
    m_record->setChecked(m_recorder.isRecording());
    m_status->setLastingMessage(recordingText());
    m_undo->setEnabled(m_session.undoStack().canUndo());
    m_redo->setEnabled(m_session.undoStack().canRedo());
    m_undo->setText(tr("&Undo %1").arg(withoutKeys(m_session.undoStack().undoText())).trimmed());
    m_redo->setText(tr("&Redo %1").arg(withoutKeys(m_session.undoStack().redoText())).trimmed());
    m_picture->setPlaceholder(placeholder());
    refreshTitle();
    if (!m_closing)
        setEnabled(true); // also when an element's dialog was open as closing came to nothing
    if (m_closing && !isBusy())
        close();
    else if (m_closing)
        offerToAbandon();
    else if (m_touched)
        rememberChain();
    if (m_sinceAbandoned.isValid())
        abandonWhenWritten();
}

QString CzMainWindow::recordingText() const {
    if (m_recorder.isRecording())
        return tr("Recording: %1 written, %2 lost").arg(m_recorder.recorded()).arg(m_recorder.dropped());
    return isWriting() ? tr("Writing files…") : QString();
}

QString CzMainWindow::placeholder() const {
    if (!m_player.supply())
        return tr("No picture yet.\nOpen or drop pictures, or choose a synthetic camera.");
    if (m_session.isWanted())
        return tr("No picture has come here yet.");
    return m_problem->problem().isEmpty() ? tr("The chain stands still.\nChoose Run to start it.")
                                          : tr("The chain stands still.\nThe message above says why.");
}

void CzMainWindow::refreshTitle() {
    const QString path = m_session.path();
    setWindowFilePath(path);
    setWindowTitle(tr("%1[*] – zuViewer").arg(path.isEmpty() ? tr("New chain") : QFileInfo(path).fileName()));
    setWindowModified(m_session.isModified());
}

void CzMainWindow::showProblem(const QString& text) {
    m_problem->showProblem(text);
}

/// What could not be written. A window that is being closed stays, so that somebody reads it.
void CzMainWindow::showLoss(const QString& text) {
    showProblem(text);
    if (m_closing)
        stayOpen();
}

// ---- Files ----

void CzMainWindow::openPaths(const QStringList& paths) {
    showProblem(QString());
    QStringList pictures;
    for (const QString& path : paths) {
        if (isChainFile(path))
            openChain(path);
        else
            pictures.append(path);
    }
    if (!pictures.isEmpty())
        m_sourcePanel->openPaths(pictures);
}

void CzMainWindow::openScene(const QString& scene) {
    m_sourcePanel->openScene(scene);
}

void CzMainWindow::openPicturesDialog() {
    const QStringList paths = QFileDialog::getOpenFileNames(
        this, tr("Open Pictures"), QString(),
        tr("Pictures (*.tif *.tiff *.png *.pgm *.ppm *.pnm *.jpg *.jpeg);;All files (*)"));
    if (!paths.isEmpty())
        openPaths(paths);
}

void CzMainWindow::openFolderDialog() {
    if (const QString folder = QFileDialog::getExistingDirectory(this, tr("Open Folder")); !folder.isEmpty())
        openPaths({folder});
}

bool CzMainWindow::mayDiscardChain() {
    m_discarded = false;
    if (!m_session.isModified())
        return true;
    QMessageBox box(QMessageBox::Question, tr("Unsaved Chain"), tr("Save the changes of the chain?"),
                    QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
    box.setObjectName(QStringLiteral("unsaved"));
    const int answer = box.exec();
    m_discarded = answer == QMessageBox::Discard;
    return answer == QMessageBox::Save ? saveChain() : m_discarded;
}

void CzMainWindow::openChainDialog() {
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Open Chain"), m_session.path(), tr("Chains (*.zuchain)"));
    if (!path.isEmpty())
        openPaths({path});
}

void CzMainWindow::openChain(const QString& path) {
    if (mayDiscardChain())
        m_session.load(path);
}

/// A name for a file to be written, with the suffix; empty when the user does not want to.
QString CzMainWindow::askForFile(const QString& title, const QStringList& filters, const QString& suffix) {
    QFileDialog dialog(this, title, QFileInfo(m_session.path()).path());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilters(filters);
    dialog.setDefaultSuffix(suffix); // asks before it replaces a file of the complete name
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

bool CzMainWindow::saveChain() {
    const QString path = m_session.path();
    return path.isEmpty() ? saveChainAs() : m_session.save(path);
}

bool CzMainWindow::saveChainAs() {
    const QString path = askForFile(tr("Save Chain"), {tr("Chains (*.zuchain)")}, chainSuffix);
    return !path.isEmpty() && m_session.save(path);
}

void CzMainWindow::savePicture() {
    const CzLinkTap::Picture picture = m_shown; // as it is now
    if (!picture)
        return showProblem(tr("There is no picture to save."));
    const QString path =
        askForFile(tr("Save Picture"), {tr("Pictures (*.tif *.png)")}, QStringLiteral("tif"));
    if (!path.isEmpty())
        m_recorder.save(picture, path);
}

void CzMainWindow::toggleRecording() {
    if (m_recorder.isRecording()) {
        m_recorder.stop();
    } else if (const QString folder = QFileDialog::getExistingDirectory(this, tr("Record Results Into"));
               !folder.isEmpty()) {
        m_recorder.start(folder);
    }
    m_record->setChecked(m_recorder.isRecording());
}

void CzMainWindow::tellRecording(int recorded, int lost, const QString& error) {
    if (lost == 0)
        return m_status->showMessage(tr("Recorded: %1 written, none lost").arg(recorded));
    const QString counts =
        tr("The recording is not complete. Pictures written: %1, lost: %2.").arg(recorded).arg(lost);
    showLoss(error.isEmpty() ? tr("%1 They came faster than the disk takes them.").arg(counts)
                             : tr("%1 It ended because of this: %2").arg(counts, error));
}

void CzMainWindow::copyView() {
    QApplication::clipboard()->setImage(m_picture->image());
}

void CzMainWindow::rememberPath() {
    refreshTitle();
    if (!m_session.path().isEmpty())
        rememberChainFile(m_session.path());
}

void CzMainWindow::fillRecentChains() {
    m_recentChains->clear();
    if (!chainSetAside().text.isEmpty()) {
        m_recentChains->addAction(tr("Unsaved Chain of an Earlier Run"), this,
                                  &CzMainWindow::openChainSetAside);
        m_recentChains->addSeparator();
    }
    for (const QString& path : rememberedChainFiles()) {
        m_recentChains->addAction(withoutKeys(QDir::toNativeSeparators(path)), this,
                                  [this, path] { openPaths({path}); });
    }
    if (m_recentChains->isEmpty())
        m_recentChains->addAction(tr("None yet"))->setEnabled(false);
}

void CzMainWindow::openChainSetAside() {
    if (!mayDiscardChain())
        return;
    const SzRememberedChain chain = chainSetAside();
    if (m_session.loadText(chain.text, chain.path))
        forgetChainSetAside();
}

// ---- Start and end ----

void CzMainWindow::restoreLayout() {
    restoreRememberedLayout(*this);
}

void CzMainWindow::begin(const QStringList& paths, bool lastRunWasUnclean) {
    m_sourcePanel->restoreSettings(rememberedWork().source);
    if (!paths.isEmpty()) {
        if (lastRunWasUnclean)
            setRememberedChainAside();
        openPaths(paths);
    } else if (!lastRunWasUnclean || asksToRestoreChain()) {
        restoreChain();
    } else {
        setRememberedChainAside();
    }
}

void CzMainWindow::restoreChain() {
    const SzRememberedWork work = rememberedWork();
    if (!work.chain.text.isEmpty())
        m_session.loadText(work.chain.text, work.chain.path);
    else if (!work.chain.path.isEmpty())
        m_session.load(work.chain.path);
    if (!work.source.paths.isEmpty())
        m_sourcePanel->openPaths(work.source.paths);
    else if (sceneNames().contains(work.source.scene))
        m_sourcePanel->openScene(work.source.scene);
}

bool CzMainWindow::asksToRestoreChain() {
    QMessageBox box(QMessageBox::Question, tr("zuViewer Ended Unexpectedly"),
                    tr("Last time the program did not come to its proper end. Start with the last chain and "
                       "source all the same?"),
                    QMessageBox::Yes | QMessageBox::No, this);
    box.setObjectName(QStringLiteral("unclean"));
    return box.exec() == QMessageBox::Yes;
}

void CzMainWindow::rememberChain() {
    // The file is read when it says it all: it may have been edited elsewhere by then.
    const bool isInFile = !m_session.isModified() || (m_closing && m_discarded);
    rememberWork({{m_session.path(), isInFile ? QByteArray() : m_session.text()}, m_sourcePanel->source()});
    m_touched = false;
}

void CzMainWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    if (!m_closing) {
        if (QApplication::activeModalWidget() || !mayDiscardChain())
            return; // a question that is open is answered first: in a closing window nobody could
        m_closing = true;
        setEnabled(false);
        rememberLayout(*this);
        rememberChain();
        m_player.pause();
        m_recorder.stop();
        m_session.setRunning(false);
    }
    m_abandonOffered = false; // who closes it once more is asked once more
    if (isBusy())
        return; // closed when the frame at hand is through and all is written
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
    if (!m_closing)
        return; // not all was written
    // What waited for the frame has changed the chain since the user was asked.
    if (!m_discarded && !mayDiscardChain())
        return stayOpen();
    rememberChain();
    event->accept();
}

/// Whether a window that is being closed still has something to do.
bool CzMainWindow::isBusy() const {
    return m_session.state() != CzChainSession::EzState::Stopped || isWriting();
}

/// Whether pictures or descriptions are not written yet, or the user is asked whether they shall be.
bool CzMainWindow::isWriting() const {
    return m_recorder.isWriting() || m_sourcePanel->isSaving();
}

void CzMainWindow::stayOpen() {
    m_closing = false;
    setEnabled(true);
}

void CzMainWindow::offerToAbandon() {
    const SzWorkerState worker = m_session.chain().workerState();
    if (m_abandonOffered || worker.element < 0 || worker.milliseconds < hangsAtCloseMs)
        return;
    m_abandonOffered = true;
    const QString caption = m_session.elements().at(worker.element)->caption();
    auto* const box =
        new QMessageBox(QMessageBox::Question, tr("A Frame Hangs"),
                        tr("%1 does not come back from its frame. Quit without waiting for it?").arg(caption),
                        QMessageBox::Yes | QMessageBox::No, this);
    box->setObjectName(QStringLiteral("hangs"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::finished, this, [this, caption](int answer) {
        if (answer == QMessageBox::Yes)
            m_sinceAbandoned.start();
        else
            showProblem(tr("The window closes when %1 is through with its frame. To quit without waiting "
                           "for it, close the window once more.")
                            .arg(caption));
    });
    box->open(); // the window goes on looking whether the frame comes back
}

void CzMainWindow::abandonWhenWritten() {
    const bool isWritten = !isWriting() || m_sinceAbandoned.hasExpired(writesAtMostMs);
    if (!isWritten || m_session.state() == CzChainSession::EzState::Stopped)
        return; // or it came back
    m_sinceAbandoned.invalidate();
    emit abandoned();
}

// ---- Drag and drop ----

void CzMainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (!localFiles(*event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void CzMainWindow::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    // Behind the drop: a question would hold up the program that the files come from.
    QTimer::singleShot(0, this, [this, paths = localFiles(*event->mimeData())] { openPaths(paths); });
}
