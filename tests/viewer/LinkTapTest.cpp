// SPDX-License-Identifier: GPL-3.0-or-later
#include "LinkTap.h"

#include "FFTImageData.h"
#include "ModelTestSupport.h"
#include "PicBufAPI.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>

namespace {

constexpr bool last = true;
constexpr bool notLast = false;

class LinkTapTest : public testing::Test {
protected:
    /// Offers a picture that says its number.
    void offer(int link, int number, bool isLast) { m_tap.offer(link, *makeFrame(number, number), isLast); }

    /// The same as all that a frame gives.
    void give(int link, int number, bool isLast) {
        offer(link, number, isLast);
        m_tap.endFrame();
    }

    /// The number of the picture that is to be taken; -1 when there is none.
    int taken(int link) {
        const CzLinkTap::Picture picture = m_tap.take(link, link).second;
        if (!picture)
            return -1;
        EXPECT_EQ(picture->frameNo(), valueOf(*picture));
        return picture->frameNo();
    }

    /// The same of links 0 and 1.
    std::pair<int, int> takenPair() {
        const auto [first, second] = m_tap.take(0, 1);
        return {first ? first->frameNo() : -1, second ? second->frameNo() : -1};
    }

    CzLinkTap m_tap;
};

} // namespace

TEST_F(LinkTapTest, OnlyWatchedLinksAreKept) {
    give(0, 1, last);
    m_tap.watch({1});
    EXPECT_EQ(-1, taken(1));
    give(0, 2, last);
    give(1, 3, last);
    EXPECT_EQ(-1, taken(0));
    EXPECT_EQ(3, taken(1));
    EXPECT_EQ(3, taken(1)) << "also when it was taken before";
    EXPECT_EQ(0U, m_tap.skipped());
}

TEST_F(LinkTapTest, APictureThatWasNotTakenIsReplacedOnlyByTheLastOne) {
    m_tap.watch({0});
    give(0, 1, notLast);
    give(0, 2, notLast);
    give(0, 3, notLast);
    EXPECT_EQ(2U, m_tap.skipped());
    EXPECT_EQ(1, taken(0));
    give(0, 4, notLast);
    give(0, 5, notLast);
    give(0, 6, last);
    EXPECT_EQ(4U, m_tap.skipped()) << "4 and 5";
    EXPECT_EQ(6, taken(0));
    give(0, 7, last);
    give(0, 8, last);
    EXPECT_EQ(5U, m_tap.skipped());
    EXPECT_EQ(8, taken(0));
}

TEST_F(LinkTapTest, PicturesOfTwoLinksAreOfTheSameFrame) {
    m_tap.watch({0, 1});
    offer(0, 1, notLast);
    offer(1, 1, notLast);
    EXPECT_EQ(std::make_pair(-1, -1), takenPair()) << "the frame may not be through";
    m_tap.endFrame();
    offer(0, 2, last);
    EXPECT_EQ(std::make_pair(1, 1), takenPair());
    offer(1, 2, last);
    EXPECT_EQ(std::make_pair(1, 1), takenPair());
    m_tap.endFrame();
    EXPECT_EQ(std::make_pair(2, 2), takenPair());
    EXPECT_EQ(0U, m_tap.skipped());
}

TEST_F(LinkTapTest, AFrameIsCopiedFromAllLinksOrFromNone) {
    m_tap.watch({0, 1});
    offer(0, 1, notLast);
    offer(1, 1, notLast);
    m_tap.endFrame();
    offer(0, 2, notLast); // nobody has taken the first one yet
    EXPECT_EQ(std::make_pair(1, 1), takenPair());
    offer(1, 2, last);
    m_tap.endFrame();
    EXPECT_EQ(std::make_pair(1, 1), takenPair());
    EXPECT_EQ(2U, m_tap.skipped());
}

TEST_F(LinkTapTest, APictureWithoutACounterpartIsHandedOverWhenItsFrameEnds) {
    m_tap.watch({0, 1});
    offer(0, 1, notLast); // the element keeps it
    m_tap.endFrame();
    EXPECT_EQ(std::make_pair(1, -1), takenPair());
}

TEST_F(LinkTapTest, GoesOnWatchingALinkAmongOthers) {
    m_tap.watch({0, 1});
    offer(0, 2, notLast);
    offer(1, 2, notLast);
    m_tap.endFrame();
    m_tap.watch({1, 2});
    EXPECT_EQ(-1, taken(0));
    EXPECT_EQ(2, taken(1)) << "is still watched";
    EXPECT_EQ(-1, taken(2));
}

// The frames that wait may all be kept by the element before the link: no picture may come any more.
TEST_F(LinkTapTest, TheNewestPictureOfALinkThatGivesFewIsNotMissed) {
    m_tap.watch({1});
    for (int frame = 1; frame <= 9; ++frame) {
        offer(0, frame, frame == 9);
        if (frame % 3 == 2)
            offer(1, frame, notLast);
        m_tap.endFrame();
    }
    EXPECT_EQ(8, taken(1));
    EXPECT_EQ(2U, m_tap.skipped()) << "2 and 5";
}

TEST_F(LinkTapTest, ClearingForgetsPicturesAndGoesOnWatching) {
    m_tap.watch({0, 1});
    offer(0, 1, last);
    offer(1, 1, last);
    m_tap.endFrame();
    EXPECT_EQ(1, taken(1));
    offer(0, 2, last);
    m_tap.clear();
    m_tap.endFrame();
    EXPECT_EQ(-1, taken(0));
    EXPECT_EQ(-1, taken(1));
    offer(0, 3, notLast);
    m_tap.endFrame();
    EXPECT_EQ(3, taken(0));
}

TEST_F(LinkTapTest, WhatTheFrameAtHandStillGivesIsForgottenToo) {
    m_tap.watch({0, 1});
    offer(0, 1, last);
    m_tap.clear();
    offer(1, 1, last);
    m_tap.endFrame();
    EXPECT_EQ(-1, taken(1));
    EXPECT_EQ(1U, m_tap.skipped());
    give(1, 2, last);
    EXPECT_EQ(2, taken(1));
}

TEST_F(LinkTapTest, PicturesAreTheOwnersOwnAndOutliveTheTap) {
    auto tap = std::make_unique<CzLinkTap>();
    tap->watch({0});
    std::vector<CzLinkTap::Picture> kept;
    for (int number = 0; number < 40; ++number) { // more than any pool of the tap's holds
        const std::unique_ptr<CzImageData> picture = makeFrame(number, number);
        tap->offer(0, *picture, notLast);
        tap->endFrame();
        *picture->picBuf().data = 99;
        kept.push_back(tap->take(0, 0).second);
    }
    tap.reset();
    for (int number = 0; number < 40; ++number)
        EXPECT_EQ(number, valueOf(*kept[static_cast<std::size_t>(number)]));
}

TEST_F(LinkTapTest, BothPartsOfASpectrumAreHandedOver) {
    CzFFTImageData spectrum;
    SzPicBufInfo format = makeFrame(0)->picBuf();
    format.dataType = EzImageDataType::SpectrumFloat32;
    format.linePitch = 0;
    for (const float value : {1.5F, 2.5F}) {
        SzPicBuf part;
        ASSERT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(part, format, false));
        *reinterpret_cast<float*>(part.data) = value;
        if (spectrum.picBuf().data)
            ASSERT_TRUE(spectrum.setPicBufIm(part));
        else
            spectrum.setPicBuf(part);
    }
    m_tap.watch({0});
    m_tap.offer(0, spectrum, last);
    const CzLinkTap::Picture picture = m_tap.take(0, 0).second;
    const auto* const copy = qobject_cast<const CzFFTImageData*>(picture.get());
    ASSERT_TRUE(copy);
    EXPECT_NE(spectrum.picBuf().data, copy->picBuf().data);
    EXPECT_EQ(1.5F, *reinterpret_cast<const float*>(copy->picBuf().data));
    EXPECT_EQ(2.5F, *reinterpret_cast<const float*>(copy->picBufIm().data));
}

namespace {

/// What is no picture.
class Verdict : public IzChainData {
public:
    int frameNo() const override { return 1; }
    IzChainData* clone(QObject*) const override { return new Verdict; }
    IzChainData* clone(void*, QObject*) const override { return new Verdict; }
    bool isFromMemoryPool(void*) const override { return false; }
};

} // namespace

TEST_F(LinkTapTest, WhatIsNoPictureIsPassedOver) {
    m_tap.watch({1});
    give(1, 1, last);
    m_tap.offer(1, Verdict(), last);
    m_tap.endFrame();
    EXPECT_EQ(1, taken(1));
    EXPECT_EQ(0U, m_tap.skipped());
}

TEST_F(LinkTapTest, TheGuiThreadMayWatchAndClearWhileTheWorkerOffers) {
    constexpr int frames = 20000;
    std::atomic<bool> done{false};
    m_tap.watch({0, 1});
    std::thread worker([&] {
        const std::unique_ptr<CzImageData> picture = makeFrame(0);
        for (int frame = 1; frame <= frames; ++frame) {
            picture->picBuf().frameNo = frame;
            m_tap.offer(0, *picture, false);
            m_tap.offer(1, *picture, false);
            m_tap.endFrame();
        }
        done = true;
    });
    int newest[2] = {0, 0};
    for (int turn = 0; !done; ++turn) {
        const auto [first, second] = m_tap.take(0, 1);
        int* newestOf = newest;
        for (const CzLinkTap::Picture& picture : {first, second}) {
            int& newestHere = *newestOf++;
            if (!picture)
                continue;
            EXPECT_GE(picture->frameNo(), newestHere) << "time does not run backwards";
            newestHere = picture->frameNo();
        }
        if (turn % 64 == 0)
            m_tap.clear();
        m_tap.watch(turn % 16 == 0 ? QVector<int>{1} : QVector<int>{0, 1});
    }
    worker.join();
    m_tap.watch({0});
    m_tap.offer(0, *makeFrame(frames + 1), true);
    const CzLinkTap::Picture picture = m_tap.take(0, 0).second;
    ASSERT_TRUE(picture);
    EXPECT_EQ(frames + 1, picture->frameNo());
}
