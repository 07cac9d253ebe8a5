// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ChainMonitor.h"
#include "ChainSession.h"
#include "FramePlayer.h"
#include "LinkTap.h"
#include "PictureRecorder.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QStringList>
#include <QTimer>

class CzChainPanel;
class CzConfigurationPanel;
class CzDisplayPanel;
class CzHistogramPlot;
class CzPictureWidget;
class CzProblemBar;
class CzSensorPanel;
class CzSourcePanel;
class CzPixelSpectrumPlot;
class CzStatusPanel;
class QDockWidget;
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

    /// The places and sizes that the window and its parts had when it was closed.
    void restoreLayout();
    /// Opens these. Without any, the chain and the source that were there last: saved chains as they are in
    /// their files, unsaved ones as they were when they were last run. When the last run ended in the middle
    /// the user is asked first; a chain that was not saved and is not wanted now is offered among the recent
    /// chains.
    void begin(const QStringList& paths, bool lastRunWasUnclean);

    CzChainSession& session() { return m_session; }
    CzFramePlayer& player() { return m_player; }
    CzChainPanel& chainPanel() { return *m_chainPanel; }
    CzDisplayPanel& displayPanel() { return *m_displayPanel; }
    CzPictureWidget& pictureWidget() { return *m_picture; }
    CzSourcePanel& sourcePanel() { return *m_sourcePanel; }
    CzPixelSpectrumPlot& spectrumPlot() { return *m_spectrum; }
    CzHistogramPlot& histogramPlot() { return *m_histogram; }

    /// Outputs of the shown links that the screen had no time for.
    std::uint64_t skippedPictures() const { return m_tap.skipped(); }

    /// Shows a message that stays until it is closed or another one comes; empty: closes it.
    void showProblem(const QString& text);

signals:
    /// The window was closed, a frame hangs, and the user does not want to wait for it. The worker cannot be
    /// ended: nothing but leaving the process at once is left. Everything is saved, also what was recorded,
    /// unless the disk did not come to an end with it for half a minute.
    void abandoned();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QDockWidget* addDock(Qt::DockWidgetArea area, const QString& name, const QString& title, QWidget* widget);
    void makeDocks();
    void makeMenus();
    void makeFileMenu();
    void connectChain();
    void connectParts();

    // At the pace of the screen, and of people.
    void showNewest();
    void refresh();
    void refreshTitle();
    QString recordingText() const;
    QString placeholder() const;

    void showLoss(const QString& text);
    void watchSelected();
    void repeatIfPaused();
    void describeCursor();
    void showHistogram();
    void showSpectrum();

    // Files.
    bool mayDiscardChain();
    QString askForFile(const QString& title, const QStringList& filters, const QString& suffix);
    void openPicturesDialog();
    void openFolderDialog();
    void openChainDialog();
    void openChain(const QString& path);
    bool saveChain();
    bool saveChainAs();
    void savePicture();
    void toggleRecording();
    void tellRecording(int recorded, int lost, const QString& error);
    void copyView();
    void rememberPath();
    void fillRecentChains();
    void openChainSetAside();
    void restoreChain();
    bool asksToRestoreChain();
    void rememberChain();
    bool isBusy() const;
    bool isWriting() const;
    void stayOpen();
    void offerToAbandon();
    void abandonWhenWritten();

    CzLinkTap m_tap;
    CzChainMonitor m_monitor;
    CzPictureRecorder m_recorder;
    CzChainSession m_session; // its worker uses those above
    CzFramePlayer m_player{m_session.chain().source()};

    CzProblemBar* m_problem;
    CzDisplayPanel* m_displayPanel;
    CzPictureWidget* m_picture;
    CzSensorPanel* m_sensorPanel;
    CzSourcePanel* m_sourcePanel;
    CzChainPanel* m_chainPanel;
    CzConfigurationPanel* m_configurationPanel;
    CzHistogramPlot* m_histogram;
    CzPixelSpectrumPlot* m_spectrum;
    QDockWidget* m_spectrumDock = nullptr;
    CzStatusPanel* m_status;
    QMenu* m_recentChains = nullptr;
    QAction* m_run = nullptr;
    QAction* m_record = nullptr;
    QAction* m_undo = nullptr;
    QAction* m_redo = nullptr;

    QTimer m_screenTimer;
    QTimer m_refreshTimer;
    QTimer m_repeatTimer;
    CzLinkTap::Picture m_shown;
    CzLinkTap::Picture m_shownBefore;
    /// A pixel of one of these.
    struct SzPixel {
        QPoint place{-1, -1};
        bool before = false;
    };
    SzPixel m_cursor;
    SzPixel m_clicked;
    bool m_histogramIsSeen = false;
    bool m_spectrumIsSeen = false;
    bool m_discarded = false; ///< the user was asked last and does not want the chain's changes
    bool m_touched = false;   ///< settings may have changed that are not remembered yet
    bool m_closing = false;
    bool m_abandonOffered = false;
    QElapsedTimer m_sinceAbandoned; ///< runs when the user does not want to wait for a frame that hangs
};
