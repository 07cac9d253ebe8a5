// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QVector>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

class CzImageData;
class CzMemoryPool;
class IzChainData;

/// Hands the newest pictures of the links that are looked at from the chain's worker to the GUI thread. Link
/// 0 is what comes from the source, link n what the nth element makes.
///
/// The worker copies a frame's pictures when those before were taken, or when no other frame waits behind it;
/// else it only counts them: looking on does not slow a chain down that has no time to lose, and the last
/// picture is not missed. Of a link that does not give a picture for every frame (behind an average, say)
/// each is copied: the frames that wait may come to nothing.
///
/// Pictures of two links are handed over together, at the end of their frame: one can be held against the
/// other.
class CzLinkTap {
public:
    using Picture = std::shared_ptr<const CzImageData>; ///< may be a CzFFTImageData

    CzLinkTap();
    ~CzLinkTap();

    /// Looks at these links from now on; pictures of other links are forgotten. GUI thread.
    void watch(const QVector<int>& links);

    /// A link has an output. isLast: no other frame waits. Copies the picture, into memory that is used again
    /// and again. Never waits for the GUI thread. Worker.
    void offer(int link, const IzChainData& output, bool isLast);
    /// All that a frame gives has been offered. Worker.
    void endFrame();

    /// The newest pictures of two links, also when they were taken before; null while there is none. They may
    /// be the same link. GUI thread.
    std::pair<Picture, Picture> take(int before, int link);

    /// Forgets all pictures, those of the frame at hand included, of a source that was replaced, say. GUI
    /// thread.
    void clear();

    /// How many outputs of watched links could never be taken. Any thread.
    std::uint64_t skipped() const;

private:
    struct Slot {
        int link = 0;
        bool taken = true;
        Picture newest;
        Picture coming;          ///< of the frame at hand
        std::uint64_t frame = 0; ///< that the last output was made of, counted as m_frames is
    };
    Slot* slotOf(int link);
    void handOver(Slot& slot);
    Picture take(int link);

    mutable std::mutex m_mutex; // held for moments only, never while a picture is copied
    QVector<Slot> m_slots;
    std::uint64_t m_frames = 0;          ///< that have come from the source
    std::optional<bool> m_isFrameWanted; ///< decided once for all links of the frame at hand
    bool m_isInFrame = false;
    bool m_isFrameForgotten = false;
    std::uint64_t m_skipped = 0;
    std::shared_ptr<CzMemoryPool> m_pool; // the worker's
};
