// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>

#include <memory>

class IzChainData;

/// Writes pictures to files on a thread of its own: one, or the results of a running chain as a sequence of
/// files 00001.tif, 00002.tif, … with their sidecars, behind those that the folder holds already.
class CzPictureRecorder : public QObject {
    Q_OBJECT
public:
    explicit CzPictureRecorder(QObject* parent = nullptr);
    /// Writes what waits, then ends.
    ~CzPictureRecorder() override;

    /// Writes one picture, as TIFF or, for a name that ends so, PNG. GUI thread; returns at once.
    void save(std::shared_ptr<const IzChainData> picture, const QString& path);

    /// From now on results are written into a folder, which is made. False, and told by failed(), when it
    /// cannot be. Ends by itself when a picture cannot be written. GUI thread.
    bool start(const QString& folder);
    /// What waits is still written.
    void stop();
    bool isRecording() const;

    /// A result of the chain. Copies it when results are recorded. When too many wait for the disk it drops
    /// and counts it. The chain's worker; never waits.
    void offer(const IzChainData& result);

    /// Pictures of the sequence that have been written, and lost, since start().
    int recorded() const;
    int dropped() const;

signals:
    /// By save(). From the recorder's thread, as is the next.
    void saved(const QString& path);
    /// A picture that could not be written, or a folder; told once for a sequence.
    void failed(const QString& message);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
