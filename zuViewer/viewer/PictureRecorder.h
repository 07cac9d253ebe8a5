// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>

class IzChainData;

/// Writes pictures to files on a thread of its own: one, or the results of a running chain as a sequence of
/// files 00001.tif, 00002.tif, … with their sidecars, behind those that the folder holds already. No file is
/// replaced that the user does not know of, whoever else writes into the folder meanwhile.
class CzPictureRecorder : public QObject {
    Q_OBJECT
public:
    /// What results that wait for the disk take at most, in bytes. Two may always wait.
    static constexpr std::uint64_t usualMemory = 512 * 1024 * 1024;

    explicit CzPictureRecorder(std::uint64_t memory = usualMemory, QObject* parent = nullptr);
    /// Writes what waits, then ends.
    ~CzPictureRecorder() override;

    /// Writes one picture, as TIFF or PNG: the name ends so. Any other name is refused and told by failed().
    /// A file that is there now is replaced; one that comes until the picture is written is not, and failed()
    /// tells. GUI thread; returns at once.
    void save(std::shared_ptr<const IzChainData> picture, const QString& path);

    /// From now on results are written into a folder, which is made. False, and told by failed(), when it
    /// cannot be. Ends by itself when a picture cannot be written. GUI thread.
    bool start(const QString& folder);
    /// What waits is still written.
    void stop();
    bool isRecording() const;
    /// Whether there is something that waits to be written, or is being written.
    bool isWriting() const;

    /// A result of the chain. Copies it when results are recorded. When too many wait for the disk it drops
    /// and counts it. The chain's worker; never waits.
    void offer(const IzChainData& result);

    /// Pictures of the sequence that have been written, and lost, since start().
    int recorded() const;
    int dropped() const;

signals:
    /// By save(). From the recorder's thread, as are the next ones.
    void saved(const QString& path);
    /// A picture or a folder that could not be written.
    void failed(const QString& message);
    /// A sequence is at its end, and all that waited is written. error: why it ended by itself; else empty.
    void recordingEnded(int recorded, int lost, const QString& error);

private:
    struct Private;
    std::unique_ptr<Private> d;
};
