// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"
#include "Scenes.h"
#include "Sidecar.h"

#include <QCoreApplication>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class CzImageData;

/// Makes the frames of a source. frame() is called by one thread at a time, all others by any.
class CzFrameSupply {
public:
    virtual ~CzFrameSupply() = default;

    /// How many frames there are; empty when they never end.
    virtual std::optional<int> count() const = 0;

    /// Whether frames that nobody has time for are to be dropped, as a camera's are that has a rate.
    virtual bool isLive() const = 0;

    /// The frame at a place (0 ... count − 1), with frame number 0; the caller numbers it. Null, with one
    /// sentence in error, when there is none.
    virtual std::unique_ptr<CzImageData> frame(int index, QString* error) = 0;

    /// What the frame at a place is called: a file name and page, or the scene's name.
    virtual QString name(int index) const = 0;

    /// Whether the frame at a place is a still picture and keeps frame number 0.
    virtual bool isStill(int index) const = 0;
};

/// Pictures out of files: all pages of all files in order, each described by its sidecar.
class CzFileSupply : public CzFrameSupply {
    Q_DECLARE_TR_FUNCTIONS(CzFileSupply)
public:
    /// Files and folders (of which all pictures are taken, in natural order). Null, with a sentence in error,
    /// when there is no picture among them or one that is named cannot be read. What cannot be read in a
    /// folder is passed over, which goes to warnings, as do oddities of sidecars. change: made in what every
    /// sidecar says. Looks into every file, some 30 µs each where they lie on a disk of the machine's own,
    /// and reads the first picture. Any thread.
    static std::unique_ptr<CzFileSupply> open(const QStringList& paths,
                                              const std::optional<SzSidecarChange>& change, QString* error,
                                              QStringList* warnings);
    ~CzFileSupply() override;

    std::optional<int> count() const override;
    bool isLive() const override { return false; }
    std::unique_ptr<CzImageData> frame(int index, QString* error) override;
    QString name(int index) const override;
    bool isStill(int index) const override;

    /// The file that holds a frame, and what is known about it beside its pixels.
    QString file(int index) const;
    const SzSidecar& sidecar(int index) const;
    /// All files, each once.
    QStringList files() const;

    /// Of the first picture; none when it could not be read.
    const std::optional<SzPicBufInfo>& format() const;

private:
    CzFileSupply();
    struct Private;
    std::unique_ptr<Private> d;
};

/// A synthetic camera: a rendered scene whose noise differs from frame to frame, and in which things may
/// move. A few frames are rendered, when they are first asked for, and come round again.
class CzSceneSupply : public CzFrameSupply {
    Q_DECLARE_TR_FUNCTIONS(CzSceneSupply)
public:
    CzSceneSupply(const QString& scene, const SzSceneSettings& settings);
    ~CzSceneSupply() override;

    std::optional<int> count() const override { return std::nullopt; }
    bool isLive() const override { return true; }
    std::unique_ptr<CzImageData> frame(int index, QString* error) override;
    QString name(int index) const override;
    bool isStill(int) const override { return false; }

private:
    struct Private;
    std::unique_ptr<Private> d;
};
