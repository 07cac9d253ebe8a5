// SPDX-License-Identifier: GPL-3.0-or-later
#include "MemoryPool.h"

#include "support/Pictures.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

SzPicBufInfo smallFormat() {
    return pictureFormat(33, 17, 1, EzImageDataType::UInt8);
}

SzPicBufInfo largeFormat() {
    return pictureFormat(1000, 500, 1, EzImageDataType::UInt16); // a million bytes
}

bool take(const std::shared_ptr<CzMemoryPool>& pool, SzPicBuf& buffer, const SzPicBufInfo& format) {
    return CzPicBufAPI::AllocPicBufFromPool(pool->handle(), nullptr, buffer, format, false);
}

TEST(MemoryPool, HandsOutItsBuffersAndThenCountsWhoAsksInVain) {
    const auto pool = CzMemoryPool::create(3, 1000);
    EXPECT_EQ(pool->size(), 3);
    EXPECT_EQ(pool->freeBuffers(), 3);

    std::vector<SzPicBuf> buffers(3);
    for (SzPicBuf& buffer : buffers)
        ASSERT_TRUE(take(pool, buffer, smallFormat()));
    EXPECT_EQ(pool->freeBuffers(), 0);
    EXPECT_EQ(pool->exhaustions(), 0U);
    EXPECT_NE(buffers[0].data, buffers[1].data);
    EXPECT_NE(buffers[1].data, buffers[2].data);
    EXPECT_NE(buffers[0].data, buffers[2].data);

    SzPicBuf none;
    EXPECT_FALSE(take(pool, none, smallFormat()));
    EXPECT_FALSE(take(pool, none, smallFormat()));
    EXPECT_EQ(none.data, nullptr);
    EXPECT_EQ(static_cast<const SzPicBufInfo&>(none), smallFormat());
    EXPECT_EQ(pool->exhaustions(), 2U);

    CzPicBufAPI::FreePicBuf(buffers[1], false);
    EXPECT_EQ(pool->freeBuffers(), 1);
    EXPECT_TRUE(take(pool, none, smallFormat()));
    CzPicBufAPI::FreePicBuf(none, false);
    CzPicBufAPI::FreePicBuf(buffers[0], false);
    CzPicBufAPI::FreePicBuf(buffers[2], false);
    EXPECT_EQ(pool->freeBuffers(), 3);
}

TEST(MemoryPool, WithoutBuffersAlwaysRefuses) {
    for (const int buffers : {0, -1}) {
        const auto pool = CzMemoryPool::create(buffers, 1000);
        EXPECT_EQ(pool->size(), 0);
        EXPECT_EQ(pool->freeBuffers(), 0);
        SzPicBuf buffer;
        EXPECT_FALSE(take(pool, buffer, smallFormat()));
        EXPECT_EQ(pool->exhaustions(), 1U);
    }
}

TEST(MemoryPool, NoPoolRefuses) {
    SzPicBuf buffer;
    EXPECT_FALSE(CzPicBufAPI::AllocPicBufFromPool(nullptr, nullptr, buffer, smallFormat(), false));
    EXPECT_EQ(buffer.data, nullptr);
}

TEST(MemoryPool, AnImpossibleFormatCostsNoBufferAndIsNoExhaustion) {
    const auto pool = CzMemoryPool::create(1, 1000);
    SzPicBuf buffer;
    SzPicBufInfo format = smallFormat();
    format.height = 0;
    EXPECT_FALSE(take(pool, buffer, format));
    EXPECT_EQ(pool->freeBuffers(), 1);
    EXPECT_EQ(pool->exhaustions(), 0U);
}

TEST(MemoryPool, FreshMemoryIsZeroAndRecycledMemoryIsAsItWasLeft) {
    const auto pool = CzMemoryPool::create(1, 1000);
    SzPicBuf buffer;
    ASSERT_TRUE(take(pool, buffer, smallFormat()));
    const HeapPicture zero(smallFormat());
    EXPECT_TRUE(samePixels(buffer, *zero));

    fillPattern(buffer);
    CzPicBufAPI::FreePicBuf(buffer, false);
    ASSERT_TRUE(take(pool, buffer, smallFormat()));
    EXPECT_TRUE(samePixels(buffer, *patternPicture(smallFormat())));
    CzPicBufAPI::FreePicBuf(buffer, false);
}

TEST(MemoryPool, ABufferTooSmallIsMadeAnew) {
    const auto pool = CzMemoryPool::create(1, 1000);
    SzPicBuf buffer;
    ASSERT_TRUE(take(pool, buffer, smallFormat()));
    fillPattern(buffer);
    CzPicBufAPI::FreePicBuf(buffer, false);

    ASSERT_TRUE(take(pool, buffer, largeFormat()));
    EXPECT_TRUE(samePixels(buffer, *HeapPicture(largeFormat()))) << "fresh memory is zero";
    fillPattern(buffer);
    EXPECT_TRUE(samePixels(buffer, *patternPicture(largeFormat())));
    EXPECT_EQ(pool->size(), 1);
    CzPicBufAPI::FreePicBuf(buffer, false);
}

TEST(MemoryPool, PrefersTheBufferThatFitsWhicheverCameBackLast) {
    for (const bool largeLast : {false, true}) {
        const auto pool = CzMemoryPool::create(2, 1000);
        SzPicBuf large;
        SzPicBuf small;
        ASSERT_TRUE(take(pool, large, largeFormat()));
        ASSERT_TRUE(take(pool, small, smallFormat()));
        fillPattern(large);
        const std::uint8_t* const largeData = large.data;
        CzPicBufAPI::FreePicBuf(largeLast ? small : large, false);
        CzPicBufAPI::FreePicBuf(largeLast ? large : small, false);

        ASSERT_TRUE(take(pool, large, largeFormat()));
        EXPECT_EQ(large.data, largeData);
        EXPECT_TRUE(samePixels(large, *patternPicture(largeFormat())));
        CzPicBufAPI::FreePicBuf(large, false);
    }
}

TEST(MemoryPool, BuffersOfTheExpectedSizeAreMadeOnce) {
    SzPicBuf buffer;
    buffer.setPicFormat(largeFormat());
    const auto pool = CzMemoryPool::create(1, buffer.dataSize());
    ASSERT_TRUE(take(pool, buffer, smallFormat()));
    const std::uint8_t* const data = buffer.data;
    CzPicBufAPI::FreePicBuf(buffer, false);
    ASSERT_TRUE(take(pool, buffer, largeFormat()));
    EXPECT_EQ(buffer.data, data);
    CzPicBufAPI::FreePicBuf(buffer, false);
}

TEST(MemoryPool, FreeingTwiceGivesBackOnce) {
    const auto pool = CzMemoryPool::create(2, 1000);
    SzPicBuf first;
    SzPicBuf second;
    ASSERT_TRUE(take(pool, first, smallFormat()));
    ASSERT_TRUE(take(pool, second, smallFormat()));
    EXPECT_TRUE(CzPicBufAPI::FreePicBuf(first, false));
    EXPECT_TRUE(CzPicBufAPI::FreePicBuf(first, true));
    EXPECT_EQ(pool->freeBuffers(), 1);
    CzPicBufAPI::FreePicBuf(second, false);
}

TEST(MemoryPool, AllocatingAgainGivesTheOldPixelsBackFirst) {
    const auto pool = CzMemoryPool::create(1, 1000);
    SzPicBuf buffer;
    ASSERT_TRUE(take(pool, buffer, smallFormat()));
    ASSERT_TRUE(take(pool, buffer, largeFormat()));
    EXPECT_EQ(pool->freeBuffers(), 0);
    ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(buffer, smallFormat(), false));
    EXPECT_EQ(pool->freeBuffers(), 1);
    EXPECT_FALSE(CzPicBufAPI::isFromPool(buffer, pool->handle()));
    CzPicBufAPI::FreePicBuf(buffer, true);
}

TEST(MemoryPool, KnowsItsOwnBuffers) {
    const auto pool = CzMemoryPool::create(1, 1000);
    const auto other = CzMemoryPool::create(1, 1000);
    SzPicBuf buffer;
    EXPECT_FALSE(CzPicBufAPI::isFromPool(buffer, pool->handle()));
    EXPECT_FALSE(CzPicBufAPI::isFromPool(buffer, nullptr));
    ASSERT_TRUE(take(pool, buffer, smallFormat()));
    EXPECT_TRUE(CzPicBufAPI::isFromPool(buffer, pool->handle()));
    EXPECT_FALSE(CzPicBufAPI::isFromPool(buffer, other->handle()));
    EXPECT_FALSE(CzPicBufAPI::isFromPool(buffer, nullptr));
    CzPicBufAPI::FreePicBuf(buffer, false);
    EXPECT_FALSE(CzPicBufAPI::isFromPool(buffer, pool->handle()));

    const HeapPicture heap(smallFormat());
    EXPECT_FALSE(CzPicBufAPI::isFromPool(*heap, nullptr));
    EXPECT_FALSE(CzPicBufAPI::isFromPool(*heap, pool->handle()));
}

TEST(MemoryPool, BuffersInFlightKeepItAlive) {
    auto pool = CzMemoryPool::create(2, 1000);
    const std::weak_ptr<CzMemoryPool> observer = pool;
    SzPicBuf first;
    SzPicBuf second;
    ASSERT_TRUE(take(pool, first, smallFormat()));
    ASSERT_TRUE(take(pool, second, smallFormat()));
    pool.reset();

    EXPECT_FALSE(observer.expired());
    fillPattern(first);
    EXPECT_TRUE(samePixels(first, *patternPicture(smallFormat())));
    CzPicBufAPI::FreePicBuf(first, false);
    EXPECT_FALSE(observer.expired());
    CzPicBufAPI::FreePicBuf(second, false);
    EXPECT_TRUE(observer.expired());
}

TEST(MemoryPool, ServesSeveralThreadsWithoutMixingBuffersUp) {
    constexpr int threadCount = 6;
    constexpr int rounds = 2000;
    const auto pool = CzMemoryPool::create(4, 1000);
    std::atomic<std::uint64_t> taken{0};
    std::atomic<std::uint64_t> refused{0};
    std::atomic<int> mixedUp{0};

    std::mutex mutex;
    SzPicBuf mailbox; // each thread leaves its buffer here and gives back the one it finds
    const auto work = [&](std::uint32_t seed) {
        const SzPicBufInfo format = seed % 2 == 0 ? pictureFormat(8, 4, 1, EzImageDataType::UInt16)
                                                  : pictureFormat(40, 1, 3, EzImageDataType::UInt8);
        for (int round = 0; round < rounds; ++round) {
            SzPicBuf buffer;
            if (take(pool, buffer, format)) {
                ++taken;
                fillPattern(buffer, seed);
                std::this_thread::yield();
                for (std::uint32_t x = 0; x < buffer.width; ++x)
                    if (sampleAt(buffer, x, 0) != patternSample(buffer, x, 0, 0, seed))
                        ++mixedUp;
            } else {
                ++refused;
            }
            const std::lock_guard<std::mutex> lock(mutex);
            std::swap(buffer, mailbox);
            CzPicBufAPI::FreePicBuf(buffer, false);
        }
    };
    std::vector<std::thread> threads;
    for (std::uint32_t seed = 0; seed < threadCount; ++seed)
        threads.emplace_back(work, seed);
    for (std::thread& thread : threads)
        thread.join();
    CzPicBufAPI::FreePicBuf(mailbox, false);

    EXPECT_EQ(mixedUp, 0);
    EXPECT_GT(taken, 0U);
    EXPECT_EQ(taken + refused, std::uint64_t{threadCount} * rounds);
    EXPECT_EQ(pool->exhaustions(), refused);
    EXPECT_EQ(pool->freeBuffers(), 4);
}

} // namespace
