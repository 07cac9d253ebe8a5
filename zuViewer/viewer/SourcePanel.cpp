// SPDX-License-Identifier: GPL-3.0-or-later
#include "SourcePanel.h"

#include "SensorPanel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QFutureWatcher>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSaveFile>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>
#include <QtConcurrentRun>

#include <limits>
#include <utility>

namespace {

constexpr double usualRate = 25.0;
constexpr double largestRate = 10000.0;
constexpr double largestNoise = 20.0; // times the camera's own

/// Calls a function on another thread, and then another one with its result on this, unless the context is
/// gone.
template <class Function, class Then>
void runAside(QObject* context, Function function, Then then) {
    using Result = decltype(function());
    auto* const watcher = new QFutureWatcher<Result>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, context, [watcher, then] {
        watcher->deleteLater();
        then(watcher->result());
    });
    watcher->setFuture(QtConcurrent::run(function));
}

/// What the sensor panel shows of a description: all but what is true of a single picture.
SzSidecar ofSensor(const SzSidecar& description) {
    SzSidecar shown;
    shown.bitDepth = description.bitDepth;
    shown.colorFilterArray = description.colorFilterArray;
    shown.sensorColorFilterArray = description.sensorColorFilterArray;
    shown.hsi = description.hsi;
    shown.mosaicName = description.mosaicName;
    return shown;
}

} // namespace

/// What came of looking into files.
struct CzSourcePanel::Opened {
    std::shared_ptr<CzFileSupply> files; ///< null, and error says why
    QString error;
    QStringList warnings;
};

/// What is to be written beside pictures.
struct CzSourcePanel::Descriptions {
    struct File {
        QString path;
        QByteArray text;
    };
    QVector<File> files; ///< that say something new
    int existing = 0;    ///< so many of them are there already
    QStringList source;  ///< what was open
    SzSidecarChange change;
    QString error; ///< why it cannot be done; else empty
};

CzSourcePanel::CzSourcePanel(CzFramePlayer& player, CzSensorPanel& sensor, QWidget* parent)
    : QWidget(parent), m_player(player), m_sensor(&sensor), m_caption(tr("No source")) {
    auto* const open = new QPushButton(tr("&Open Pictures…"));
    open->setObjectName(QStringLiteral("open"));
    connect(open, &QPushButton::clicked, this, &CzSourcePanel::openRequested);

    m_scenes = new QComboBox;
    m_scenes->setObjectName(QStringLiteral("scenes"));
    m_scenes->addItem(tr("Synthetic camera…"), QString());
    for (const QString& scene : sceneNames())
        m_scenes->addItem(sceneTitle(scene), scene);
    m_width = new QSpinBox;
    m_width->setObjectName(QStringLiteral("width"));
    m_height = new QSpinBox;
    m_height->setObjectName(QStringLiteral("height"));
    for (QSpinBox* const spin : {m_width, m_height}) {
        spin->setRange(1, 8192);
        spin->setKeyboardTracking(false);
    }
    m_width->setAccessibleName(tr("Width"));
    m_height->setAccessibleName(tr("Height"));
    m_width->setValue(static_cast<int>(SzSceneSettings().width));
    m_height->setValue(static_cast<int>(SzSceneSettings().height));
    auto* const sceneLine = new QHBoxLayout;
    sceneLine->addWidget(m_scenes, 1);
    sceneLine->addWidget(m_width);
    sceneLine->addWidget(new QLabel(QStringLiteral("×")));
    sceneLine->addWidget(m_height);

    m_noise = new QDoubleSpinBox;
    m_noise->setObjectName(QStringLiteral("noise"));
    m_noise->setRange(0.0, largestNoise);
    m_noise->setDecimals(1);
    m_noise->setSingleStep(0.5);
    m_noise->setPrefix(QStringLiteral("× "));
    m_noise->setValue(static_cast<double>(SzSceneSettings().noise));
    m_noise->setKeyboardTracking(false);
    m_noise->setToolTip(tr("Times the noise of the synthetic camera"));
    m_moves = new QCheckBox(tr("Mo&tion"));
    m_moves->setObjectName(QStringLiteral("moves"));
    m_moves->setToolTip(tr("Things move in front of the synthetic camera"));
    auto* const liveLine = new QHBoxLayout;
    auto* const noiseLabel = new QLabel(tr("Noise"));
    noiseLabel->setBuddy(m_noise);
    liveLine->addWidget(noiseLabel);
    liveLine->addWidget(m_noise, 1);
    liveLine->addWidget(m_moves);

    m_name = new QLabel;
    m_name->setObjectName(QStringLiteral("name"));
    m_name->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_name->setMinimumWidth(1); // long file names do not widen the window
    m_position = new QSlider(Qt::Horizontal);
    m_position->setObjectName(QStringLiteral("position"));
    m_playButton = new QToolButton;
    m_playButton->setObjectName(QStringLiteral("play"));
    auto* const back = new QToolButton;
    back->setObjectName(QStringLiteral("back"));
    back->setIcon(style()->standardIcon(QStyle::SP_MediaSkipBackward));
    back->setToolTip(tr("One frame back"));
    auto* const forward = new QToolButton;
    forward->setObjectName(QStringLiteral("forward"));
    forward->setIcon(style()->standardIcon(QStyle::SP_MediaSkipForward));
    forward->setToolTip(tr("One frame on"));
    auto* const transport = new QHBoxLayout;
    transport->addWidget(back);
    transport->addWidget(m_playButton);
    transport->addWidget(forward);
    transport->addWidget(m_position, 1);

    m_rate = new QDoubleSpinBox;
    m_rate->setObjectName(QStringLiteral("rate"));
    m_rate->setAccessibleName(tr("Frame rate"));
    m_rate->setRange(0.0, largestRate);
    m_rate->setDecimals(1);
    m_rate->setValue(usualRate);
    m_rate->setSuffix(tr(" frames/s"));
    m_rate->setSpecialValueText(tr("as fast as possible"));
    m_loop = new QCheckBox(tr("&Loop"));
    m_loop->setObjectName(QStringLiteral("loop"));
    m_loop->setChecked(true);
    auto* const rateLine = new QHBoxLayout;
    rateLine->addWidget(m_rate, 1);
    rateLine->addWidget(m_loop);

    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(open);
    layout->addLayout(sceneLine);
    layout->addLayout(liveLine);
    layout->addWidget(m_name);
    layout->addLayout(transport);
    layout->addLayout(rateLine);
    layout->addStretch();

    connect(m_scenes, QOverload<int>::of(&QComboBox::activated), this, [this] {
        if (const QString scene = m_scenes->currentData().toString(); !scene.isEmpty())
            openScene(scene);
    });
    const auto changeScene = [this] {
        if (!m_scene.isEmpty())
            reopen();
    };
    for (QSpinBox* const spin : {m_width, m_height})
        connect(spin, QOverload<int>::of(&QSpinBox::valueChanged), this, changeScene);
    connect(m_noise, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, changeScene);
    connect(m_moves, &QCheckBox::clicked, this, [this, changeScene](bool moves) {
        m_wantsMotion = moves;
        changeScene();
    });
    connect(back, &QToolButton::clicked, this, [this] { m_player.step(-1); });
    connect(forward, &QToolButton::clicked, this, [this] { m_player.step(1); });
    connect(m_playButton, &QToolButton::clicked, this,
            [this] { m_player.isPlaying() ? m_player.pause() : m_player.play(); });
    connect(m_position, &QSlider::valueChanged, this, &CzSourcePanel::goToPosition);
    connect(m_rate, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, [this](double rate) {
        m_player.setRate(rate > 0.0 ? rate : std::numeric_limits<double>::infinity());
    });
    connect(m_loop, &QCheckBox::toggled, this, [this](bool looped) { m_player.setLooped(looped); });
    connect(&player, &CzFramePlayer::positionChanged, this, &CzSourcePanel::showPosition);
    connect(&player, &CzFramePlayer::playingChanged, this, &CzSourcePanel::showPlaying);
    connect(&player, &CzFramePlayer::failed, this, &CzSourcePanel::failed);
    connect(m_sensor, &CzSensorPanel::changed, this, [this] {
        if (m_files)
            reopen();
    });
    connect(m_sensor, &CzSensorPanel::saveRequested, this, &CzSourcePanel::saveSidecars);
    player.setRate(usualRate);
    showPlaying(player.isPlaying());
    m_sensor->setEnabled(false);
}

void CzSourcePanel::open(const QStringList& paths, const std::optional<SzSidecarChange>& change,
                         std::function<void(const Opened&)> whenOpen) {
    const int request = ++m_requests;
    m_opening = request;
    m_openingPaths.clear();
    runAside(
        this,
        [paths, change] {
            Opened opened;
            opened.files = CzFileSupply::open(paths, change, &opened.error, &opened.warnings);
            return opened;
        },
        [this, request, whenOpen](const Opened& opened) {
            if (request != m_opening)
                return; // something else has been asked for meanwhile
            const bool wasOtherSource = !m_openingPaths.isEmpty();
            endOpening();
            if (opened.files) {
                m_isStale = false;
                whenOpen(opened);
                return;
            }
            emit failed(opened.error);
            if (wasOtherSource && m_isStale)
                reopen();
        });
}

void CzSourcePanel::endOpening() {
    m_opening = 0;
    m_openingPaths.clear();
    m_name->clear();
    m_sensor->setEnabled(m_files != nullptr);
    showPosition(m_player.position());
}

void CzSourcePanel::openPaths(const QStringList& paths) {
    open(paths, std::nullopt, [this, paths](const Opened& opened) {
        m_paths = paths;
        m_scene.clear();
        showMotion();
        m_files = opened.files;
        m_described = m_files->sidecar(0);
        m_sensor->setSidecar(m_described);
        m_sensor->setPictureFormat(m_files->format());
        m_sensor->setEnabled(true);
        m_scenes->setCurrentIndex(0);
        const QString first = QFileInfo(QDir::cleanPath(paths.first())).fileName();
        play(m_files, paths.size() == 1 ? first : tr("%1 and %n more", nullptr, paths.size() - 1).arg(first));
        if (!opened.warnings.isEmpty())
            emit warned(opened.warnings);
    });
    m_openingPaths = paths;
    m_name->setText(tr("Opening…"));
    m_sensor->setEnabled(false); // it describes the source before
}

SzSceneSettings CzSourcePanel::cameraSettings() const {
    SzSceneSettings settings;
    settings.width = static_cast<std::uint32_t>(m_width->value());
    settings.height = static_cast<std::uint32_t>(m_height->value());
    settings.noise = static_cast<float>(m_noise->value());
    settings.moves = m_wantsMotion;
    return settings;
}

SzRememberedSource CzSourcePanel::source() const {
    return {paths(), m_scene, cameraSettings(), m_rate->value(), m_loop->isChecked()};
}

void CzSourcePanel::restoreSettings(const SzRememberedSource& source) {
    m_width->setValue(static_cast<int>(source.camera.width));
    m_height->setValue(static_cast<int>(source.camera.height));
    m_noise->setValue(static_cast<double>(source.camera.noise));
    m_wantsMotion = source.camera.moves;
    showMotion();
    m_rate->setValue(source.rate);
    m_loop->setChecked(source.looped);
}

void CzSourcePanel::openScene(const QString& scene) {
    endOpening();
    m_isStale = false;
    m_paths.clear();
    m_files.reset();
    m_scene = scene;
    showMotion();
    m_sensor->setEnabled(false);
    m_scenes->setCurrentIndex(std::max(0, m_scenes->findData(scene)));
    const auto camera = std::make_shared<CzSceneSupply>(m_scene, cameraSettings());
    play(camera, camera->name(0));
}

void CzSourcePanel::showMotion() {
    const bool always = sceneMoves(m_scene, {});
    m_moves->setEnabled(!always);
    m_moves->setChecked(always || m_wantsMotion);
}

SzSidecarChange CzSourcePanel::change() const {
    return {m_described, m_sensor->sidecar()};
}

void CzSourcePanel::reopen() {
    m_isStale = true;
    if (!m_openingPaths.isEmpty())
        return; // another source goes first
    if (!m_scene.isEmpty()) {
        m_isStale = false;
        return m_player.replaceSupply(std::make_shared<CzSceneSupply>(m_scene, cameraSettings()));
    }
    // Its warnings are the sensor panel's, which shows them where they can be mended.
    open(m_paths, change(), [this](const Opened& opened) {
        m_files = opened.files;
        m_player.replaceSupply(m_files);
    });
}

void CzSourcePanel::play(std::shared_ptr<CzFrameSupply> supply, const QString& caption) {
    m_caption = caption;
    const std::optional<int> count = supply->count();
    {
        const QSignalBlocker quiet(m_position);
        m_position->setRange(0, count.value_or(1) - 1);
        m_position->setEnabled(count.value_or(0) > 1);
    }
    m_player.pause(); // until everybody knows that another source begins
    m_player.setSupply(std::move(supply));
    emit sourceChanged();
    m_player.play();
}

void CzSourcePanel::showPosition(int index) {
    const std::shared_ptr<CzFrameSupply> supply = m_player.supply();
    const std::optional<int> count = supply ? supply->count() : std::nullopt;
    if (!supply || !m_openingPaths.isEmpty() || index < 0 || (count && index >= *count))
        return; // of a source that has been replaced, or is to be
    m_name->setText(count ? tr("%1 (%2 of %3)")
                                .arg(supply->name(index), QString::number(index + 1), QString::number(*count))
                          : supply->name(index));
    m_name->setToolTip(m_name->text());
    const QSignalBlocker quiet(m_position);
    if (!m_position->isSliderDown())
        m_position->setValue(index);
}

void CzSourcePanel::goToPosition(int index) {
    m_player.pause();
    m_player.seek(index);
}

void CzSourcePanel::showPlaying(bool playing) {
    m_playButton->setIcon(style()->standardIcon(playing ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay));
    m_playButton->setToolTip(playing ? tr("Pause") : tr("Play"));
}

// ---- Saving descriptions ----

void CzSourcePanel::saveSidecars() {
    if (!m_files)
        return;
    if (m_isSaving) {
        m_savesAgain = true;
        return;
    }
    m_isSaving = true;
    runAside(
        this,
        [pictures = m_files->files(), source = m_paths, wanted = change()] {
            Descriptions found;
            found.source = source;
            found.change = wanted;
            for (const QString& picture : pictures) {
                const QString path = sidecarPath(picture);
                const bool exists = QFileInfo::exists(path);
                QByteArray before;
                QByteArray text;
                if (!changeSidecarText(path, {}, before, &found.error) ||
                    !changeSidecarText(path, exists ? wanted : SzSidecarChange{{}, ofSensor(wanted.after)},
                                       text, &found.error))
                    break;
                if (text == before)
                    continue;
                found.files.append({path, text});
                found.existing += exists ? 1 : 0;
            }
            return found;
        },
        [this](const Descriptions& found) {
            if (!found.error.isEmpty())
                failSaving(found.error);
            else if (found.existing > 0)
                askToWrite(found);
            else
                write(found);
        });
}

void CzSourcePanel::askToWrite(const Descriptions& descriptions) {
    auto* const box = new QMessageBox(
        QMessageBox::Question, tr("Change Descriptions"),
        tr("Pictures that have a description file already: %1. Write the changes into these files? All else "
           "that they say stays.")
            .arg(descriptions.existing),
        QMessageBox::Yes | QMessageBox::No, this);
    box->setObjectName(QStringLiteral("changeDescriptions"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    connect(box, &QMessageBox::finished, this, [this, descriptions](int answer) {
        if (answer == QMessageBox::Yes)
            write(descriptions);
        else
            endSaving();
    });
    box->open();
}

void CzSourcePanel::write(const Descriptions& descriptions) {
    runAside(
        this,
        [descriptions] {
            for (const Descriptions::File& description : descriptions.files) {
                QSaveFile file(description.path);
                if (!file.open(QIODevice::WriteOnly) ||
                    file.write(description.text) != description.text.size() || !file.commit())
                    return QStringLiteral("%1: %2").arg(QDir::toNativeSeparators(description.path),
                                                        file.errorString());
            }
            return QString();
        },
        [this, descriptions](const QString& error) {
            if (!error.isEmpty())
                return failSaving(error);
            if (descriptions.source == m_paths) {
                m_described = descriptions.change.after; // the files say so now
                if (!descriptions.files.isEmpty())
                    reopen(); // those that had no description got more than the change
            }
            emit sidecarsSaved(descriptions.files.size());
            endSaving();
        });
}

void CzSourcePanel::failSaving(const QString& error) {
    emit failed(error);
    endSaving();
}

void CzSourcePanel::endSaving() {
    m_isSaving = false;
    if (std::exchange(m_savesAgain, false))
        saveSidecars();
}
