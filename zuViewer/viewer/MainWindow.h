// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ChainMonitor.h"
#include "ChainSession.h"
#include "FramePlayer.h"
#include "LinkTap.h"
#include "PictureRecorder.h"

#include <QMainWindow>
#include <QStringList>
#include <QTimer>

class CzChainPanel;
class CzConfigurationPanel;
class CzDisplayPanel;
class CzHistogramPlot;
class CzPictureWidget;
class CzSensorPanel;
class CzSourcePanel;
class CzSpectrumPlot;
class QDockWidget;
class QLabel;
class QMenu;

/// The window: source and chain on the left, the picture in the middle, the selected element's configuration
/// on the right, histogram and spectrum below. Its layout, and the chain, come back at the next start.
///
/// What it shows comes through a tap on the chain, at the pace of the screen. It never waits for the chain.
class CzMainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit CzMainWindow(QWidget* parent = nullptr);
    ~CzMainWindow() override;

    /// Chains (*.zuchain), pictures and folders, in one go.
    void openPaths(const QStringList& paths);
    void openScene(const QString& scene);
    /// What was there when the window was closed. withChain: the chain, too.
    void restore(bool withChain);

    CzChainSession& session() { return m_session; }
    CzFramePlayer& player() { return m_player; }
    CzChainPanel& chainPanel() { return *m_chainPanel; }
    CzConfigurationPanel& configurationPanel() { return *m_configurationPanel; }
    CzDisplayPanel& displayPanel() { return *m_displayPanel; }
    CzPictureWidget& pictureWidget() { return *m_picture; }
    CzSourcePanel& sourcePanel() { return *m_sourcePanel; }
    CzSpectrumPlot& spectrumPlot() { return *m_spectrum; }

    /// Outputs of the shown links that the screen had no time for.
    std::uint64_t skippedPictures() const { return m_tap.skipped(); }

    /// Shows a message that stays until it is clicked away or another one comes.
    void showProblem(const QString& text);

    /// Writes layout and chain to the settings.
    void saveState();

    /// Closes without asking what should become of changes.
    void closeWithoutAsking();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QDockWidget* addDock(Qt::DockWidgetArea area, const QString& name, const QString& title, QWidget* widget);
    void makeMenus();
    void makeStatusBar();
    void connectParts();

    // At the pace of the screen, and of people.
    void showNewest();
    void refresh();
    void refreshTitle();

    void watchSelected();
    void repeatIfPaused();
    void describeCursor();
    void showSpectrum();

    // Files.
    bool mayDiscardChain();
    void openPicturesDialog();
    void openFolderDialog();
    void openChainDialog();
    void openChain(const QString& path);
    bool saveChain();
    bool saveChainAs();
    void savePicture();
    void toggleRecording();
    void copyView();
    void rememberChain(const QString& path);
    void fillRecentChains();

    CzLinkTap m_tap;
    CzChainMonitor m_monitor;
    CzPictureRecorder m_recorder;
    CzChainSession m_session; // its worker uses those above
    CzFramePlayer m_player{m_session.chain().source()};

    CzSensorPanel* m_sensorPanel;
    CzSourcePanel* m_sourcePanel;
    CzChainPanel* m_chainPanel;
    CzConfigurationPanel* m_configurationPanel;
    CzDisplayPanel* m_displayPanel;
    CzPictureWidget* m_picture;
    CzHistogramPlot* m_histogram;
    CzSpectrumPlot* m_spectrum;
    QLabel* m_problem;
    QMenu* m_recentChains = nullptr;
    QAction* m_run = nullptr;
    QAction* m_record = nullptr;
    QAction* m_undo = nullptr;
    QAction* m_redo = nullptr;

    QLabel* m_pixelText;
    QLabel* m_scaleText;
    QLabel* m_rateText;
    QLabel* m_lossText;
    QLabel* m_poolText;
    QLabel* m_stateText;

    QTimer m_screenTimer;
    QTimer m_refreshTimer;
    QTimer m_repeatTimer;
    CzLinkTap::Picture m_shown;
    CzLinkTap::Picture m_shownBefore;
    QPoint m_cursor{-1, -1};
    bool m_cursorBefore = false;
    QPoint m_spectrumPixel{-1, -1};
    bool m_askBeforeClosing = true;
    bool m_closing = false;
};
