// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

class CzFrameSource;
class CzFrameSupply;

/// Plays the frames of a supply into a chain's source, on a thread of its own, at a chosen rate. Frames are
/// numbered from 1 on, over all supplies, except still pictures. GUI thread; no call waits for a picture to
/// be read or taken, but the end of the player waits for the one that is being read.
class CzFramePlayer : public QObject {
    Q_OBJECT
public:
    /// The source must outlive the player.
    explicit CzFramePlayer(CzFrameSource& source, QObject* parent = nullptr);
    ~CzFramePlayer() override;

    /// Plays another supply from its first frame on; null: none. Frames of the one before that wait in front
    /// of the chain are dropped.
    void setSupply(std::shared_ptr<CzFrameSupply> supply);
    /// The same with the frames of the present supply, made in another way: the frame at hand comes once
    /// more, or the first one, and playing goes on behind it in its time.
    void replaceSupply(std::shared_ptr<CzFrameSupply> supply);
    std::shared_ptr<CzFrameSupply> supply() const;

    /// Frames per second, more than 0; infinite: as fast as the chain takes them.
    void setRate(double framesPerSecond);
    double rate() const;
    /// Whether the first frame follows the last.
    void setLooped(bool looped);

    void play();
    void pause();
    bool isPlaying() const;

    /// Pauses and sends one frame: the next, or the one before (-1). The last is before the first.
    void step(int frames = 1);
    /// Sends any frame out of turn; playing goes on behind it.
    void seek(int index);
    /// Sends the frame at hand once more.
    void repeat();

    /// The frame that was sent last; -1 before the first.
    int position() const;

signals:
    /// Another frame was sent. Of many in a short time only the last one is told.
    void positionChanged(int index);
    /// Playing, paused, or at the end, where it pauses. What is over before it could be told is not told.
    void playingChanged(bool playing);
    /// A frame could not be made; playing goes on with the next, unless none at all can be made.
    void failed(const QString& message);

private:
    void exchangeSupply(std::shared_ptr<CzFrameSupply> supply, bool goesOn);
    void tell();

    struct Private;
    std::unique_ptr<Private> d;
    QTimer m_tellTimer;
};
