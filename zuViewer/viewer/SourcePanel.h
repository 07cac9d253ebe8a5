// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FramePlayer.h"
#include "FrameSupply.h"
#include "Remembered.h"

#include <QStringList>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class CzSensorPanel;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QSlider;
class QSpinBox;
class QToolButton;

/// Chooses where the frames come from, and plays them: picture files and folders, or a synthetic camera.
class CzSourcePanel : public QWidget {
    Q_OBJECT
public:
    /// Player and sensor panel, which describes the files that play, must outlive the panel.
    CzSourcePanel(CzFramePlayer& player, CzSensorPanel& sensor, QWidget* parent = nullptr);

    /// Plays files and folders, when they have been looked into: on another thread, as a large folder or a
    /// slow disk takes its time. What cannot be read is told by failed(), and the source stays.
    void openPaths(const QStringList& paths);
    bool isOpening() const { return m_opening != 0; }
    /// Plays a synthetic camera with the settings of the panel.
    void openScene(const QString& scene);

    /// What plays and how, to be remembered.
    SzRememberedSource source() const;
    /// Rate, loop and the synthetic camera as they were. Before anything plays.
    void restoreSettings(const SzRememberedSource& source);

    /// What plays, for the chain's first row.
    QString caption() const { return m_caption; }
    /// Paths of the pictures that play, or will when they are open; empty for a synthetic camera.
    const QStringList& paths() const { return m_openingPaths.isEmpty() ? m_paths : m_openingPaths; }
    QString scene() const { return m_scene; }

    /// Writes what the sensor panel's user has changed into the description beside each file of the source,
    /// and leaves all else in it alone; files without one get all that the panel shows. Asks once before
    /// descriptions that exist are changed. The files are read and written on another thread; sidecarsSaved()
    /// or failed() tells what came of it.
    void saveSidecars();
    /// Until it is told what came of that, or the user did not want it.
    bool isSaving() const { return m_isSaving; }

signals:
    /// Another source is there, and its first frame is not yet on its way.
    void sourceChanged();
    void openRequested();
    /// files: how many have been written; those for which there was nothing new to say are none of them.
    void sidecarsSaved(int files);
    void failed(const QString& message);
    void warned(const QStringList& warnings);

private:
    struct Opened;
    /// Only what was asked for last is opened.
    void open(const QStringList& paths, const std::optional<SzSidecarChange>& change,
              std::function<void(const Opened&)> whenOpen);
    void endOpening();
    /// Plays the source as the panels describe it now.
    void reopen();
    SzSidecarChange change() const;
    struct Descriptions;
    void askToWrite(const Descriptions& descriptions);
    void write(const Descriptions& descriptions);
    void failSaving(const QString& error);
    void endSaving();
    void showPosition(int index);
    void showPlaying(bool playing);
    /// Whether things move in front of the synthetic camera, and whether there is a choice.
    void showMotion();
    void goToPosition(int index);
    SzSceneSettings cameraSettings() const;
    void play(std::shared_ptr<CzFrameSupply> supply, const QString& caption);

    CzFramePlayer& m_player;
    CzSensorPanel* m_sensor;
    QStringList m_paths;
    QString m_scene;
    QString m_caption;
    std::shared_ptr<CzFileSupply> m_files;
    SzSidecar m_described; ///< what the first file's description says, without the user's changes
    bool m_isSaving = false;
    bool m_savesAgain = false; ///< was asked for meanwhile
    int m_requests = 0;
    int m_opening = 0;          ///< the request that waits for files to be looked into; 0: none
    QStringList m_openingPaths; ///< of another source
    bool m_wantsMotion = false; ///< where the scene leaves the choice
    bool m_isStale = false;     ///< what plays does not know yet all that the panels say

    QComboBox* m_scenes;
    QSpinBox* m_width;
    QSpinBox* m_height;
    QDoubleSpinBox* m_noise;
    QCheckBox* m_moves;
    QLabel* m_name;
    QSlider* m_position;
    QToolButton* m_playButton;
    QDoubleSpinBox* m_rate;
    QCheckBox* m_loop;
};
