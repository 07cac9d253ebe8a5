// SPDX-License-Identifier: GPL-3.0-or-later
#include "FrameSupply.h"

#include "ImageData.h"
#include "PictureFile.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

struct File {
    QString path;
    SzSidecar sidecar;
    int firstFrame = 0;
};

// Frames of a scene that come round again: enough for noise that does not look like a pattern and for the way
// that things go, fewer of a sensor so large that they would fill the memory.
constexpr int mostStillFrames = 16;
constexpr int mostMovingFrames = 48;
constexpr int fewestSceneFrames = 2;
constexpr std::uint64_t sceneMemory = 256 * 1024 * 1024;
constexpr std::uint64_t sceneSampleBytes = 2;

int sceneFrames(bool moves, const SzSceneSettings& settings) {
    const std::uint64_t frameBytes = sceneSampleBytes * settings.width * settings.height;
    const std::uint64_t frames = sceneMemory / std::max<std::uint64_t>(frameBytes, 1);
    return static_cast<int>(
        std::clamp<std::uint64_t>(frames, fewestSceneFrames, moves ? mostMovingFrames : mostStillFrames));
}

/// Which of the frames is to be seen at a place in an endless sequence. What moves goes there and back, as it
/// would jump otherwise when the frames come round.
int sceneFrame(int index, int frames, bool moves) {
    if (!moves)
        return index % frames;
    const int last = frames - 1;
    const int way = index % (2 * last);
    return way <= last ? way : 2 * last - way;
}

} // namespace

// ---- Files ----

struct CzFileSupply::Private {
    std::vector<File> files; // with at least one frame each
    int frames = 0;
    std::optional<SzPicBufInfo> format; // of the first
    // The file that was read last.
    const File* opened = nullptr;
    std::unique_ptr<CzPictureReader> reader;

    /// False, with the reason in error, when the file or its sidecar cannot be read.
    bool add(const QString& path, const std::optional<SzSidecarChange>& change, QString* error,
             QStringList* warnings) {
        File file{path, SzSidecar(), frames};
        const QString sidecar = sidecarPath(path);
        const bool isDescribed =
            change ? readSidecar(sidecar, *change, file.sidecar, error, warnings)
                   : !QFileInfo::exists(sidecar) || readSidecar(sidecar, file.sidecar, error, warnings);
        const auto picture = isDescribed ? CzPictureReader::open(path, error) : nullptr;
        if (!picture)
            return false;
        frames += picture->pageCount();
        if (picture->pageCount() > 0)
            files.push_back(file);
        return true;
    }

    void close() {
        opened = nullptr;
        reader.reset();
    }

    const File& fileOf(int index) const {
        const auto behind =
            std::upper_bound(files.begin(), files.end(), index,
                             [](int frame, const File& file) { return frame < file.firstFrame; });
        return *std::prev(behind);
    }
};

CzFileSupply::CzFileSupply() : d(std::make_unique<Private>()) {}

CzFileSupply::~CzFileSupply() = default;

std::unique_ptr<CzFileSupply> CzFileSupply::open(const QStringList& paths,
                                                 const std::optional<SzSidecarChange>& change, QString* error,
                                                 QStringList* warnings) {
    std::unique_ptr<CzFileSupply> supply(new CzFileSupply);
    QStringList unreadable;
    for (const QString& path : paths) {
        if (!QFileInfo(path).isDir()) {
            if (!supply->d->add(path, change, error, warnings))
                return nullptr;
            continue;
        }
        QString reason;
        const QStringList found = pictureFilesIn(path, &reason);
        if (!reason.isEmpty() || found.isEmpty()) {
            *error = reason.isEmpty()
                         ? tr("There are no pictures in '%1'.").arg(QDir::toNativeSeparators(path))
                         : reason;
            return nullptr;
        }
        for (const QString& file : found)
            if (!supply->d->add(file, change, &reason, warnings))
                unreadable += reason;
    }
    if (supply->d->frames == 0) {
        *error = unreadable.isEmpty() ? tr("There are no pictures.") : unreadable.first();
        return nullptr;
    }
    for (const QString& reason : qAsConst(unreadable))
        *warnings += tr("%1 (passed over)").arg(reason);
    QString reason; // is told when the picture plays
    if (const std::unique_ptr<CzImageData> first = supply->frame(0, &reason)) {
        supply->d->format = first->picBuf();
        for (const QString& warning : regionWarnings(supply->sidecar(0).hsi, first->picBuf()))
            *warnings += QStringLiteral("%1: %2").arg(supply->file(0), warning);
    }
    supply->d->close(); // it may take a while until it plays
    return supply;
}

std::optional<int> CzFileSupply::count() const {
    return d->frames;
}

std::unique_ptr<CzImageData> CzFileSupply::frame(int index, QString* error) {
    const File& file = d->fileOf(index);
    if (d->opened != &file) {
        d->close();
        d->reader = CzPictureReader::open(file.path, error);
        if (!d->reader)
            return nullptr;
        d->opened = &file;
    }
    return d->reader->read(index - file.firstFrame, file.sidecar, error);
}

QString CzFileSupply::name(int index) const {
    const File& file = d->fileOf(index);
    const int behind = &file == &d->files.back() ? d->frames : (&file + 1)->firstFrame;
    const QString fileName = QFileInfo(file.path).fileName();
    return behind - file.firstFrame == 1 ? fileName
                                         : tr("%1, page %2").arg(fileName).arg(index - file.firstFrame + 1);
}

bool CzFileSupply::isStill(int index) const {
    return sidecar(index).still;
}

QString CzFileSupply::file(int index) const {
    return d->fileOf(index).path;
}

const SzSidecar& CzFileSupply::sidecar(int index) const {
    return d->fileOf(index).sidecar;
}

QStringList CzFileSupply::files() const {
    QStringList paths;
    for (const File& file : d->files)
        paths.append(file.path);
    paths.removeDuplicates();
    return paths;
}

const std::optional<SzPicBufInfo>& CzFileSupply::format() const {
    return d->format;
}

// ---- Scenes ----

struct CzSceneSupply::Private {
    QString scene;
    SzSceneSettings settings;
    bool moves = false;
    std::vector<std::unique_ptr<CzImageData>> frames; ///< null until they are asked for
};

CzSceneSupply::CzSceneSupply(const QString& scene, const SzSceneSettings& settings)
    : d(std::make_unique<Private>()) {
    d->scene = scene;
    d->settings = settings;
    d->moves = sceneMoves(scene, settings);
    d->frames.resize(static_cast<std::size_t>(sceneFrames(d->moves, settings)));
}

CzSceneSupply::~CzSceneSupply() = default;

std::unique_ptr<CzImageData> CzSceneSupply::frame(int index, QString* error) {
    const int place = sceneFrame(index, static_cast<int>(d->frames.size()), d->moves);
    auto& kept = d->frames[static_cast<std::size_t>(place)];
    if (!kept) {
        SzSceneSettings settings = d->settings;
        settings.frame = static_cast<std::uint32_t>(place) + 1;
        kept = renderScene(d->scene, settings);
    }
    std::unique_ptr<CzImageData> frame(kept ? kept->clone(nullptr) : nullptr);
    if (frame)
        frame->picBuf().frameNo = 0;
    else
        *error = tr("The scene '%1' cannot be rendered.").arg(d->scene);
    return frame;
}

QString CzSceneSupply::name(int) const {
    return tr("Camera: %1").arg(sceneTitle(d->scene));
}
