// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QObject>
#include <QString>
#include <QVector>

#include <cstdint>
#include <functional>
#include <memory>

class CzChainable;
class CzFrameSource;
class IzChainData;

/// What became of a frame.
enum class EzFrameStatus : std::uint32_t {
    Delivered, ///< it, or what the elements made of it, came out at the end
    Consumed,  ///< an element kept it (an average in the making, a format that it drops)
    Failed,    ///< an element threw, or the memory for its result was missing
};

/// One element's part in a frame.
struct SzElementReport {
    double milliseconds = 0.0;
    QString errorMessage; ///< as it stands after the frame; empty when there is none
};

/// The fate of one frame, told to the chain's observer. Valid during the call.
struct SzFrameReport {
    int frameNo = 0;
    bool further = false; ///< the frame was reported before: an element made more than one output of it
    EzFrameStatus status = EzFrameStatus::Delivered;
    const IzChainData* output = nullptr; ///< what came out; null unless delivered; owned by the chain
    QVector<SzElementReport> elements;   ///< in chain order
};

/// Counters since the chain was made. After a stop always
/// framesIn = framesOut + framesConsumed + framesDropped + framesFailed.
struct SzChainCounters {
    std::uint64_t framesIn = 0; ///< taken from the source, or dropped there
    std::uint64_t framesOut = 0;
    std::uint64_t framesConsumed = 0;
    std::uint64_t framesDropped = 0; ///< live frames that nobody had time for
    std::uint64_t framesFailed = 0;
    std::uint64_t poolExhaustions = 0; ///< how often an element was refused a buffer
};

/// What the worker is at.
struct SzWorkerState {
    int element = -1;          ///< place of the element at work; -1: none is
    int frameNo = 0;           ///< the frame that it works on; 0 while elements are set up
    double milliseconds = 0.0; ///< for so long
    int poolBuffers = 0;       ///< of the memory pool; 0 while there is none
    int freePoolBuffers = 0;
};

/// A running chain: a source, elements in a line, one worker thread.
///
/// Compose, start and stop it on one thread (in an application the GUI thread). Counters may be read from
/// any.
class ZUCORE_EXPORT CzChain : public QObject {
    Q_OBJECT
public:
    explicit CzChain(QObject* parent = nullptr);
    /// Stops, then deletes the elements.
    ~CzChain() override;

    /// True when the chain is not running. Any thread.
    bool stopped() const;

    /// Finishes the frame at hand, frees the elements' resources and ends the worker. Returns at once when
    /// the chain is not running. Never waits for the calling thread's event loop. Called on the worker itself
    /// it only asks for the stop.
    void stop();

    /// Asks for the stop and returns at once: stopped() tells when the worker has ended. Any thread.
    void requestStop();

    /// Clears the elements' error messages, makes the memory pool and starts the worker. True when the chain
    /// runs afterwards; false, with errorMessage() saying why, when an element cannot run. Returns at once
    /// when it runs already.
    bool start();

    /// Why the last start() failed; empty when it did not.
    QString errorMessage() const;

    // Composition. Nothing changes while the chain runs: insert(), append() and take() fail, what is set is
    // ignored.

    /// Puts an element at a place (0 ... count) of the line and takes ownership. False, and the element stays
    /// the caller's, when a neighbour does not fit.
    bool insert(int index, CzChainable* element);
    bool append(CzChainable* element);
    /// Takes the element at a place out of the line; it now belongs to the caller. Null when there is none,
    /// or when its neighbours do not fit each other.
    CzChainable* take(int index);
    const QVector<CzChainable*>& elements() const;

    /// Where the frames come in. Owned by the chain.
    CzFrameSource& source() const;

    /// Buffers in the memory pool beyond those that the elements recommend; 16 unless set. While stopped.
    void setPoolSize(int buffers);

    /// Called on the worker after every frame. It must not wait for the thread that stops the chain. What it
    /// throws goes to the log. While stopped.
    void setFrameObserver(std::function<void(const SzFrameReport&)> observer);

    /// Called on the worker with every output: link 0 is what comes from the source, link n what comes from
    /// the nth element. The data are the chain's and valid during the call; else as above.
    void setLinkObserver(std::function<void(int link, const IzChainData& output)> observer);

    /// Waits until every frame that the source held is through; false when that takes longer than the timeout
    /// (in milliseconds, negative: for ever) or the chain stops first.
    bool waitUntilIdle(int timeoutMs = -1) const;

    SzChainCounters counters() const;

    /// What the worker is at, also when an element does not come back. On the thread that composes the chain.
    SzWorkerState workerState() const;

private:
    friend class CzChainable;
    friend class CzFrameSource;
    struct Private;
    std::unique_ptr<Private> d;
};
