// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageMetadata.h"
#include "ImageProvider.h"

#include <memory>

class CzImageData;

/// The head of a chain: frames are pushed in here, by any thread, and wait until the chain's worker has time.
class ZUCORE_EXPORT CzFrameSource : public CzImageProvider {
    Q_OBJECT
public:
    /// What happens to a frame when no room is left.
    enum class EzOverflow {
        Wait,       ///< files: push() waits, no frame is lost
        DropOldest, ///< cameras: the oldest waiting frame is dropped and counted
    };

    CzFrameSource();
    ~CzFrameSource() override;

    /// How many frames may wait, at least 1 (4 unless set), and what happens beyond that. Any thread.
    void setQueue(EzOverflow overflow, int capacity);

    /// Announces the format of the frames to come, so that the elements know it before the first one. Every
    /// frame announces its own when the worker takes it, and elements that were told another one are set up
    /// again. Any thread.
    void setFormat(const SzPicBufInfo& format, const CzImageMetadata& metadata);

    /// Hands a frame to the chain, stamping its time if it has none. True when it was taken. With
    /// EzOverflow::Wait it waits for room, also over a stop and restart of the chain, until close(); false,
    /// and the frame is deleted, when the source is closed or the frame null. Any thread but the chain's
    /// worker.
    bool push(std::unique_ptr<CzImageData> frame);

    /// Ends the frames: wakes and refuses everyone who waits in push(), and returns when they are gone.
    /// open() takes frames again. Any thread.
    void close();
    void open();

    /// Drops the frames that wait, and counts them as dropped. Any thread.
    void clear();

    /// Frames that wait now. Any thread.
    int waitingFrames() const;

    bool currentOutputImageInfo(SzPicBufInfo& format, CzImageMetadata* metadata) override;
    bool currentInputImageInfo(SzPicBufInfo& format, CzImageMetadata* metadata) override;

    QString caption() override;
    bool acceptsPredecessor(QObject* candidate) override;
    int maxPredecessors() override;
    CzChainable* duplicate() override;
    QWidget* createConfigWidget() override;
    bool isConfigurable() override;
    IzChainData* processData(IzChainData* input) override;
    bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                         const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) override;

private:
    friend class CzChain;
    struct Private;
    std::unique_ptr<Private> d;
};
