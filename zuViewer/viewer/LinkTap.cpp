// SPDX-License-Identifier: GPL-3.0-or-later
#include "LinkTap.h"

#include "FFTImageData.h"
#include "MemoryPool.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

// For two links: the newest picture, the one that is on the screen, and one in the making. Spectra have two
// parts.
constexpr int poolBuffers = 12;

} // namespace

CzLinkTap::CzLinkTap() : m_pool(CzMemoryPool::create(poolBuffers, 0)) {}

CzLinkTap::~CzLinkTap() = default;

CzLinkTap::Slot* CzLinkTap::slotOf(int link) {
    const auto found =
        std::find_if(m_slots.begin(), m_slots.end(), [link](const Slot& slot) { return slot.link == link; });
    return found == m_slots.end() ? nullptr : &*found;
}

void CzLinkTap::watch(const QVector<int>& links) {
    QVector<Slot> watched;
    const std::lock_guard lock(m_mutex);
    for (const int link : links) {
        const Slot* const present = slotOf(link);
        watched.append(present ? *present : Slot{link, true, {}, {}, 0});
    }
    m_slots.swap(watched);
}

void CzLinkTap::offer(int link, const IzChainData& output, bool isLast) {
    const auto* const image = qobject_cast<const CzImageData*>(&output);
    {
        const std::lock_guard lock(m_mutex);
        m_frames += link == 0 ? 1 : 0;
        m_isInFrame = true;
        Slot* const slot = slotOf(link);
        if (!slot || !image)
            return;
        if (!m_isFrameWanted)
            m_isFrameWanted = isLast || std::all_of(m_slots.begin(), m_slots.end(),
                                                    [](const Slot& watched) { return watched.taken; });
        const bool isRare = m_frames - std::exchange(slot->frame, m_frames) > 1;
        if (!*m_isFrameWanted && !isRare) {
            ++m_skipped;
            return;
        }
    }
    CzImageData* copy = image->clone(m_pool->handle(), nullptr);
    if (!copy) // the GUI thread holds more pictures than usual
        copy = image->clone(nullptr);
    Picture picture(copy);
    const std::lock_guard lock(m_mutex);
    Slot* const slot = slotOf(link); // may be watched no more
    if (!slot)
        return;
    if (!picture || m_isFrameForgotten) {
        ++m_skipped;
        return;
    }
    slot->coming.swap(picture);
    if (m_slots.size() == 1)
        handOver(*slot);
}

void CzLinkTap::endFrame() {
    const std::lock_guard lock(m_mutex);
    m_isFrameWanted.reset();
    m_isInFrame = m_isFrameForgotten = false;
    for (Slot& slot : m_slots)
        if (slot.coming)
            handOver(slot);
}

void CzLinkTap::handOver(Slot& slot) {
    m_skipped += slot.taken ? 0 : 1;
    slot.newest = std::move(slot.coming);
    slot.taken = false;
}

std::pair<CzLinkTap::Picture, CzLinkTap::Picture> CzLinkTap::take(int before, int link) {
    const std::lock_guard lock(m_mutex);
    Picture first = take(before);
    return {std::move(first), take(link)};
}

CzLinkTap::Picture CzLinkTap::take(int link) {
    Slot* const slot = slotOf(link);
    if (!slot)
        return nullptr;
    slot->taken = true;
    return slot->newest;
}

void CzLinkTap::clear() {
    std::vector<Picture> forgotten; // freed after the lock is gone
    const std::lock_guard lock(m_mutex);
    m_isFrameForgotten = m_isInFrame;
    for (Slot& slot : m_slots) {
        slot.taken = true;
        forgotten.push_back(std::move(slot.newest));
        forgotten.push_back(std::move(slot.coming));
    }
}

std::uint64_t CzLinkTap::skipped() const {
    const std::lock_guard lock(m_mutex);
    return m_skipped;
}
