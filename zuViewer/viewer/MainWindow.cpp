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
#include "SensorPanel.h"
#include "SourcePanel.h"
#include "SpectrumPlot.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QScrollArea>
#include <QSettings>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

#include <cstdlib>

namespace {

constexpr int screenPeriodMs = 16;
constexpr int refreshPeriodMs = 200;
constexpr int repeatDelayMs = 60; // an element's widget may still be at it
constexpr int recentChains = 8;
constexpr double stuckMs = 2000.0;
constexpr double stuckAtCloseMs = 5000.0;

const QString geometryKey = QStringLiteral("window/geometry");
const QString layoutKey = QStringLiteral("window/layout");
const QString recentKey = QStringLiteral("chains/recent");
const QString chainTextKey = QStringLiteral("chains/lastText");
const QString chainPathKey = QStringLiteral("chains/lastPath");
const QString sourcePathsKey = QStringLiteral("source/paths");
const QString sourceSceneKey = QStringLiteral("source/scene");

bool isChainFile(const QString& path) {
    return path.endsWith(QLatin1String(".zuchain"), Qt::CaseInsensitive);
}

} // namespace

CzMainWindow::CzMainWindow(QWidget* parent) : QMainWindow(parent) {
    setAcceptDrops(true);
    m_picture = new CzPictureWidget;
    m_displayPanel = new CzDisplayPanel;
    m_problem = new QLabel;
    m_problem->setObjectName(QStringLiteral("problem"));
    m_problem->setWordWrap(true);
    m_problem->setTextFormat(Qt::PlainText);
    m_problem->setContentsMargins(8, 6, 8, 6);
    m_problem->setStyleSheet(QStringLiteral("background: #ffe0b0; color: #402000"));
    m_problem->setToolTip(tr("Click to close"));
    m_problem->installEventFilter(this);
    m_problem->hide();
    auto* const centre = new QWidget;
    auto* const layout = new QVBoxLayout(centre);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_problem);
    layout->addWidget(m_displayPanel);
    layout->addWidget(m_picture, 1);
    setCentralWidget(centre);

    m_sensorPanel = new CzSensorPanel;
    m_sourcePanel = new CzSourcePanel(m_player, *m_sensorPanel);
    m_chainPanel = new CzChainPanel(m_session);
    m_configurationPanel = new CzConfigurationPanel(m_session);
    m_histogram = new CzHistogramPlot;
    m_spectrum = new CzSpectrumPlot;
    auto* const sensorArea = new QScrollArea;
    sensorArea->setFrameShape(QFrame::NoFrame);
    sensorArea->setWidgetResizable(true);
    sensorArea->setWidget(m_sensorPanel);
    QDockWidget* const source =
        addDock(Qt::LeftDockWidgetArea, QStringLiteral("source"), tr("Source"), m_sourcePanel);
    QDockWidget* const sensor =
        addDock(Qt::LeftDockWidgetArea, QStringLiteral("sensor"), tr("Sensor"), sensorArea);
    QDockWidget* const chain =
        addDock(Qt::LeftDockWidgetArea, QStringLiteral("chain"), tr("Chain"), m_chainPanel);
    tabifyDockWidget(source, sensor);
    source->raise();
    QDockWidget* const configuration = addDock(Qt::RightDockWidgetArea, QStringLiteral("configuration"),
                                               tr("Configuration"), m_configurationPanel);
    QDockWidget* const histogram =
        addDock(Qt::RightDockWidgetArea, QStringLiteral("histogram"), tr("Histogram"), m_histogram);
    QDockWidget* const spectrum =
        addDock(Qt::RightDockWidgetArea, QStringLiteral("spectrum"), tr("Spectrum of a Pixel"), m_spectrum);
    tabifyDockWidget(histogram, spectrum);
    histogram->raise();

    makeMenus();
    makeStatusBar();
    connectParts();
    resize(1360, 850);
    resizeDocks({source, configuration}, {330, 330}, Qt::Horizontal);
    resizeDocks({source, chain}, {260, 500}, Qt::Vertical);
    resizeDocks({configuration, histogram}, {480, 280}, Qt::Vertical);
    watchSelected();
    refresh();
}

CzMainWindow::~CzMainWindow() {
    m_session.chain().requestStop(); // while the source is being closed
}

QDockWidget* CzMainWindow::addDock(Qt::DockWidgetArea area, const QString& name, const QString& title,
                                   QWidget* widget) {
    auto* const dock = new QDockWidget(title);
    dock->setObjectName(name);
    dock->setWidget(widget);
    addDockWidget(area, dock);
    return dock;
}

void CzMainWindow::makeMenus() {
    const auto add = [this](QMenu* menu, const QString& name, const QString& text, const QKeySequence& key,
                            auto slot) {
        QAction* const action = menu->addAction(text, this, slot, key);
        action->setObjectName(name);
        return action;
    };
    QMenu* const file = menuBar()->addMenu(tr("&File"));
    add(file, QStringLiteral("openPictures"), tr("&Open Pictures…"), QKeySequence::Open,
        &CzMainWindow::openPicturesDialog);
    add(file, QStringLiteral("openFolder"), tr("Open &Folder…"), {}, &CzMainWindow::openFolderDialog);
    add(file, QStringLiteral("savePicture"), tr("Save &Picture…"), {}, &CzMainWindow::savePicture);
    m_record =
        add(file, QStringLiteral("record"), tr("&Record Results…"), {}, &CzMainWindow::toggleRecording);
    m_record->setCheckable(true);
    add(file, QStringLiteral("copyView"), tr("&Copy View"), QKeySequence::Copy, &CzMainWindow::copyView);
    file->addSeparator();
    add(file, QStringLiteral("newChain"), tr("&New Chain"), QKeySequence::New, [this] {
        if (mayDiscardChain())
            m_session.clear();
    });
    add(file, QStringLiteral("openChain"), tr("Open C&hain…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O),
        &CzMainWindow::openChainDialog);
    m_recentChains = file->addMenu(tr("R&ecent Chains"));
    connect(m_recentChains, &QMenu::aboutToShow, this, &CzMainWindow::fillRecentChains);
    add(file, QStringLiteral("saveChain"), tr("&Save Chain"), QKeySequence::Save, &CzMainWindow::saveChain);
    add(file, QStringLiteral("saveChainAs"), tr("Save Chain &As…"), QKeySequence::SaveAs,
        &CzMainWindow::saveChainAs);
    file->addSeparator();
    add(file, QStringLiteral("quit"), tr("&Quit"), QKeySequence::Quit, &CzMainWindow::close);

    QMenu* const edit = menuBar()->addMenu(tr("&Edit"));
    m_undo = add(edit, QStringLiteral("undo"), tr("&Undo"), QKeySequence::Undo, [this] { m_session.undo(); });
    m_redo = add(edit, QStringLiteral("redo"), tr("&Redo"), QKeySequence::Redo, [this] { m_session.redo(); });
    edit->addSeparator();
    edit->addActions(m_chainPanel->editActions().toList());

    QMenu* const run = menuBar()->addMenu(tr("&Run"));
    m_run = add(run, QStringLiteral("run"), tr("&Run"), QKeySequence(Qt::Key_F5),
                [this](bool on) { m_session.setRunning(on); });
    m_run->setCheckable(true);
    add(run, QStringLiteral("play"), tr("&Play or Pause"), QKeySequence(Qt::Key_Space),
        [this] { m_player.isPlaying() ? m_player.pause() : m_player.play(); });
    add(run, QStringLiteral("stepForward"), tr("One Frame &On"), QKeySequence(Qt::Key_Period),
        [this] { m_player.step(1); });
    add(run, QStringLiteral("stepBack"), tr("One Frame &Back"), QKeySequence(Qt::Key_Comma),
        [this] { m_player.step(-1); });

    QMenu* const view = menuBar()->addMenu(tr("&View"));
    add(view, QStringLiteral("fit"), tr("&Fit"), QKeySequence(Qt::CTRL | Qt::Key_0),
        [this] { m_picture->fit(); });
    add(view, QStringLiteral("pixels"), tr("&Pixel by Pixel"), QKeySequence(Qt::CTRL | Qt::Key_1),
        [this] { m_picture->showPixelByPixel(); });
    add(view, QStringLiteral("nextBand"), tr("&Next Band"), QKeySequence(Qt::Key_PageDown),
        [this] { m_displayPanel->stepBand(1); });
    add(view, QStringLiteral("previousBand"), tr("&Previous Band"), QKeySequence(Qt::Key_PageUp),
        [this] { m_displayPanel->stepBand(-1); });
    view->addSeparator();
    for (QDockWidget* const dock : findChildren<QDockWidget*>())
        view->addAction(dock->toggleViewAction());

    QMenu* const help = menuBar()->addMenu(tr("&Help"));
    add(help, QStringLiteral("about"), tr("&About zuViewer"), {}, [this] {
        QMessageBox::about(this, tr("About zuViewer"),
                           tr("zuViewer %1\nBuild a chain of processing elements, and watch what each "
                              "does to the pictures of a camera.")
                               .arg(QCoreApplication::applicationVersion()));
    });
}

void CzMainWindow::makeStatusBar() {
    const auto add = [this](const char* name, int stretch) {
        auto* const label = new QLabel;
        label->setObjectName(QLatin1String(name));
        label->setContentsMargins(6, 0, 6, 0);
        statusBar()->addPermanentWidget(label, stretch);
        return label;
    };
    m_pixelText = add("pixelText", 1);
    m_scaleText = add("scaleText", 0);
    m_rateText = add("rateText", 0);
    m_lossText = add("lossText", 0);
    m_poolText = add("poolText", 0);
    m_stateText = add("stateText", 0);
}

void CzMainWindow::connectParts() {
    // On the worker; the members that they use outlive it.
    CzChain& chain = m_session.chain();
    chain.setLinkObserver([this, &chain](int link, const IzChainData& output) {
        m_tap.offer(link, output, chain.source().waitingFrames() == 0);
    });
    chain.setFrameObserver([this](const SzFrameReport& report) {
        m_monitor.offer(report);
        if (report.output)
            m_recorder.offer(*report.output);
    });

    connect(m_sourcePanel, &CzSourcePanel::openRequested, this, &CzMainWindow::openPicturesDialog);
    connect(m_sourcePanel, &CzSourcePanel::failed, this, &CzMainWindow::showProblem);
    connect(m_sourcePanel, &CzSourcePanel::warned, this,
            [this](const QStringList& warnings) { showProblem(warnings.join(QLatin1Char('\n'))); });
    connect(m_sourcePanel, &CzSourcePanel::sourceChanged, this, [this] {
        m_chainPanel->setSourceCaption(m_sourcePanel->caption());
        m_tap.clear();
        m_session.setRunning(true);
    });
    connect(m_sourcePanel, &CzSourcePanel::saveSensorRequested, this, [this] {
        // What is known of the picture at hand, as the chain gets it.
        m_tap.watch({0});
        const CzLinkTap::Picture picture = m_tap.take(0);
        watchSelected();
        if (picture && m_sourcePanel->saveSidecars(*picture))
            statusBar()->showMessage(tr("The description was written beside the pictures."), 5000);
        else
            repeatIfPaused();
    });
    connect(&m_session, &CzChainSession::failed, this, &CzMainWindow::showProblem);
    connect(&m_session, &CzChainSession::warned, this,
            [this](const QStringList& warnings) { showProblem(warnings.join(QLatin1Char('\n'))); });
    connect(&m_session, &CzChainSession::chainChanged, this, [this] {
        m_tap.clear();
        m_monitor.clear();
        watchSelected();
    });
    connect(&m_session, &CzChainSession::started, this, &CzMainWindow::repeatIfPaused);
    connect(&m_session, &CzChainSession::stateChanged, this, [this] {
        refresh();
        if (m_closing)
            close();
    });
    connect(m_chainPanel, &CzChainPanel::selectionChanged, this, [this](int element) {
        m_configurationPanel->showElement(element);
        watchSelected();
        repeatIfPaused();
    });
    connect(m_configurationPanel, &CzConfigurationPanel::touched, this, &CzMainWindow::repeatIfPaused);
    connect(m_displayPanel, &CzDisplayPanel::changed, this, [this] {
        m_picture->setDisplay(m_displayPanel->settings());
        if (m_picture->mode() != m_displayPanel->mode()) {
            m_picture->setMode(m_displayPanel->mode());
            watchSelected();
            repeatIfPaused();
        }
    });
    connect(m_picture, &CzPictureWidget::cursorMoved, this, [this](int x, int y, bool before) {
        m_cursor = {x, y};
        m_cursorBefore = before;
        describeCursor();
    });
    connect(m_picture, &CzPictureWidget::pixelClicked, this, [this](int x, int y) {
        m_spectrumPixel = {x, y};
        showSpectrum();
    });
    connect(m_picture, &CzPictureWidget::scaleChanged, this, [this](double scale) {
        m_scaleText->setText(tr("%1 %").arg(QLocale().toString(100.0 * scale, 'g', 3)));
    });
    connect(&m_recorder, &CzPictureRecorder::failed, this, &CzMainWindow::showProblem);
    connect(&m_recorder, &CzPictureRecorder::saved, this, [this](const QString& path) {
        statusBar()->showMessage(tr("Saved %1").arg(QDir::toNativeSeparators(path)), 5000);
    });

    connect(&m_screenTimer, &QTimer::timeout, this, &CzMainWindow::showNewest);
    m_screenTimer.start(screenPeriodMs);
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
    const CzLinkTap::Picture picture = m_tap.take(link);
    const CzLinkTap::Picture before = link > 0 ? m_tap.take(link - 1) : picture;
    if (picture == m_shown && before == m_shownBefore)
        return;
    m_shown = picture;
    m_shownBefore = before;
    m_displayPanel->setPicture(picture);
    m_picture->setPictures(picture, before);
    if (m_histogram->isVisible())
        m_histogram->setPicture(picture);
    showSpectrum();
    describeCursor();
}

void CzMainWindow::describeCursor() {
    const CzLinkTap::Picture& picture = m_cursorBefore ? m_shownBefore : m_shown;
    m_pixelText->setText(picture ? describePixel(*picture, m_cursor.x(), m_cursor.y()) : QString());
}

void CzMainWindow::showSpectrum() {
    if (!m_shown || m_spectrumPixel.x() < 0)
        return;
    const QVector<SzSpectrumPoint> spectrum = spectrumAt(*m_shown, m_spectrumPixel.x(), m_spectrumPixel.y());
    if (!spectrum.isEmpty())
        m_spectrum->setSpectrum(spectrum, tr("x %1, y %2").arg(m_spectrumPixel.x()).arg(m_spectrumPixel.y()));
}

void CzMainWindow::refresh() {
    const SzChainFigures figures = m_monitor.figures();
    const SzChainCounters counters = m_session.chain().counters();
    const SzWorkerState worker = m_session.chain().workerState();
    m_chainPanel->refresh(figures);
    m_configurationPanel->refresh();

    const QLocale locale;
    m_rateText->setText(tr("%1 frames/s, %2 ms")
                            .arg(locale.toString(figures.framesPerSecond, 'f', 1),
                                 locale.toString(figures.latencyMs, 'f', 1)));
    m_rateText->setToolTip(tr("Frames that the chain ended with per second, and the time that the last one "
                              "took from the source to the end"));
    m_lossText->setText(tr("%1 dropped, %2 failed, %3 not shown")
                            .arg(locale.toString(static_cast<qulonglong>(counters.framesDropped)),
                                 locale.toString(static_cast<qulonglong>(counters.framesFailed)),
                                 locale.toString(static_cast<qulonglong>(m_tap.skipped()))));
    m_poolText->setText(
        worker.poolBuffers == 0
            ? QString()
            : tr("pool %1 of %2").arg(worker.poolBuffers - worker.freePoolBuffers).arg(worker.poolBuffers));
    QString state;
    switch (m_session.state()) {
    case CzChainSession::EzState::Stopped:
        state = tr("stopped");
        break;
    case CzChainSession::EzState::Running:
        state = worker.element < 0 ? tr("waiting for frames") : tr("running");
        break;
    case CzChainSession::EzState::Stopping:
        state = tr("stopping");
        break;
    }
    if (m_session.isStuck(stuckMs))
        state = tr("frame %1 hangs in %2 for %3 s")
                    .arg(worker.frameNo)
                    .arg(m_session.elements().at(worker.element)->caption(),
                         locale.toString(worker.milliseconds / 1000.0, 'f', 0));
    m_stateText->setText(state);
    m_run->setChecked(m_session.isWanted());
    m_record->setChecked(m_recorder.isRecording());
    if (m_recorder.isRecording())
        statusBar()->showMessage(
            tr("Recording: %1 written, %2 lost").arg(m_recorder.recorded()).arg(m_recorder.dropped()), 1000);
    m_undo->setEnabled(m_session.undoStack().canUndo());
    m_redo->setEnabled(m_session.undoStack().canRedo());
    m_undo->setText(tr("&Undo %1").arg(m_session.undoStack().undoText()));
    m_redo->setText(tr("&Redo %1").arg(m_session.undoStack().redoText()));
    refreshTitle();
}

void CzMainWindow::refreshTitle() {
    const QString path = m_session.path();
    setWindowFilePath(path);
    setWindowTitle(tr("%1[*] – zuViewer").arg(path.isEmpty() ? tr("New chain") : QFileInfo(path).fileName()));
    setWindowModified(m_session.isModified());
}

void CzMainWindow::showProblem(const QString& text) {
    m_problem->setText(text);
    m_problem->setVisible(!text.isEmpty());
}

// ---- Files ----

void CzMainWindow::openPaths(const QStringList& paths) {
    QStringList pictures;
    for (const QString& path : paths) {
        if (isChainFile(path))
            openChain(path);
        else
            pictures.append(path);
    }
    if (!pictures.isEmpty()) {
        showProblem(QString());
        m_sourcePanel->openPaths(pictures);
    }
}

void CzMainWindow::openScene(const QString& scene) {
    m_sourcePanel->openScene(scene);
}

void CzMainWindow::openPicturesDialog() {
    openPaths(QFileDialog::getOpenFileNames(
        this, tr("Open Pictures"), QString(),
        tr("Pictures (*.tif *.tiff *.png *.pgm *.ppm *.pnm *.jpg *.jpeg);;All files (*)")));
}

void CzMainWindow::openFolderDialog() {
    if (const QString folder = QFileDialog::getExistingDirectory(this, tr("Open Folder")); !folder.isEmpty())
        openPaths({folder});
}

bool CzMainWindow::mayDiscardChain() {
    if (!m_askBeforeClosing || !m_session.isModified())
        return true;
    QMessageBox box(QMessageBox::Question, tr("Unsaved Chain"), tr("Save the changes of the chain?"),
                    QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, this);
    box.setObjectName(QStringLiteral("unsaved"));
    switch (box.exec()) {
    case QMessageBox::Save:
        return saveChain();
    case QMessageBox::Discard:
        return true;
    default:
        return false;
    }
}

void CzMainWindow::openChainDialog() {
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Open Chain"), m_session.path(), tr("Chains (*.zuchain)"));
    if (!path.isEmpty())
        openChain(path);
}

void CzMainWindow::openChain(const QString& path) {
    if (!mayDiscardChain())
        return;
    showProblem(QString());
    m_session.load(path);
    rememberChain(path);
}

bool CzMainWindow::saveChain() {
    const QString path = m_session.path();
    return path.isEmpty() ? saveChainAs() : m_session.save(path);
}

bool CzMainWindow::saveChainAs() {
    QString path =
        QFileDialog::getSaveFileName(this, tr("Save Chain"), m_session.path(), tr("Chains (*.zuchain)"));
    if (path.isEmpty())
        return false;
    if (!isChainFile(path))
        path += QLatin1String(".zuchain");
    if (!m_session.save(path))
        return false;
    rememberChain(path);
    return true;
}

void CzMainWindow::savePicture() {
    const CzLinkTap::Picture picture = m_shown; // as it is now
    if (!picture)
        return showProblem(tr("There is no picture to save."));
    QString path =
        QFileDialog::getSaveFileName(this, tr("Save Picture"), QString(), tr("TIFF (*.tif);;PNG (*.png)"));
    if (path.isEmpty())
        return;
    if (QFileInfo(path).suffix().isEmpty())
        path += QLatin1String(".tif");
    m_recorder.save(picture, path);
}

void CzMainWindow::toggleRecording() {
    if (m_recorder.isRecording())
        return m_recorder.stop();
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Record Results Into"));
    if (!folder.isEmpty())
        m_recorder.start(folder);
    m_record->setChecked(m_recorder.isRecording());
}

void CzMainWindow::copyView() {
    QApplication::clipboard()->setImage(m_picture->image());
}

void CzMainWindow::rememberChain(const QString& path) {
    QSettings settings;
    QStringList recent = settings.value(recentKey).toStringList();
    const QString absolute = QFileInfo(path).absoluteFilePath();
    recent.removeAll(absolute);
    recent.prepend(absolute);
    settings.setValue(recentKey, QStringList(recent.mid(0, recentChains)));
}

void CzMainWindow::fillRecentChains() {
    m_recentChains->clear();
    for (const QString& path : QSettings().value(recentKey).toStringList())
        m_recentChains->addAction(QDir::toNativeSeparators(path), this, [this, path] { openChain(path); });
    m_recentChains->setEnabled(true);
}

// ---- Start and end ----

void CzMainWindow::restore(bool withChain) {
    const QSettings settings;
    restoreGeometry(settings.value(geometryKey).toByteArray());
    restoreState(settings.value(layoutKey).toByteArray());
    if (!withChain)
        return;
    const QByteArray text = settings.value(chainTextKey).toByteArray();
    if (!text.isEmpty())
        m_session.loadText(text, settings.value(chainPathKey).toString());
    const QStringList paths = settings.value(sourcePathsKey).toStringList();
    const QString scene = settings.value(sourceSceneKey).toString();
    if (!paths.isEmpty())
        m_sourcePanel->openPaths(paths);
    else if (!scene.isEmpty())
        m_sourcePanel->openScene(scene);
}

void CzMainWindow::saveState() {
    QSettings settings;
    settings.setValue(geometryKey, saveGeometry());
    settings.setValue(layoutKey, QMainWindow::saveState());
    settings.setValue(chainTextKey, m_session.text());
    settings.setValue(chainPathKey, m_session.path());
    settings.setValue(sourcePathsKey, m_sourcePanel->paths());
    settings.setValue(sourceSceneKey, m_sourcePanel->scene());
}

void CzMainWindow::closeWithoutAsking() {
    m_askBeforeClosing = false;
    close();
}

void CzMainWindow::closeEvent(QCloseEvent* event) {
    if (!m_closing && !mayDiscardChain())
        return event->ignore();
    if (!m_closing)
        saveState();
    m_closing = true;
    m_player.pause();
    m_session.setRunning(false);
    if (m_session.state() == CzChainSession::EzState::Stopped)
        return event->accept();

    // Closed by stateChanged() when the frame at hand is through.
    event->ignore();
    QTimer::singleShot(static_cast<int>(stuckAtCloseMs), this, [this] {
        if (!m_session.isStuck(stuckAtCloseMs) || !isVisible())
            return;
        const int element = m_session.chain().workerState().element;
        const QString caption = m_session.elements().at(element)->caption();
        if (QMessageBox::question(
                this, tr("A Frame Hangs"),
                tr("%1 does not come back from its frame. Quit without waiting for it?").arg(caption)) ==
            QMessageBox::Yes)
            std::_Exit(EXIT_FAILURE); // the worker cannot be ended; everything was saved
    });
}

// ---- Drag and drop, keys ----

void CzMainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void CzMainWindow::dropEvent(QDropEvent* event) {
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    event->acceptProposedAction();
    openPaths(paths);
}

bool CzMainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_problem && event->type() == QEvent::MouseButtonRelease)
        m_problem->hide();
    return QMainWindow::eventFilter(watched, event);
}
