// SPDX-License-Identifier: GPL-3.0-or-later
#include "FramePlayer.h"

#include "Chain.h"
#include "FrameSource.h"
#include "FrameSupply.h"
#include "ModelTestSupport.h"

#include <QElapsedTimer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <mutex>
#include <vector>

using testing::ElementsAre;

namespace {

constexpr double asFastAsPossible = std::numeric_limits<double>::infinity();

/// Frames whose samples are their place, behind a number of hundreds.
class ScriptedSupply : public CzFrameSupply {
public:
    explicit ScriptedSupply(std::optional<int> count, int hundreds = 0)
        : m_count(count), m_hundreds(hundreds) {}

    std::function<bool(int)> fails = [](int) { return false; };
    std::function<bool(int)> still = [](int) { return false; };
    std::function<int(int)> width = [](int) { return 8; };
    std::function<void()> beforeFrame = [] {};
    bool live = false;

    std::optional<int> count() const override { return m_count; }
    bool isLive() const override { return live; }
    std::unique_ptr<CzImageData> frame(int index, QString* error) override {
        beforeFrame();
        if (!fails(index))
            return makeFrame(0, 100 * m_hundreds + index % 100, width(index));
        *error = QStringLiteral("no frame %1").arg(index);
        return nullptr;
    }
    QString name(int index) const override { return QString::number(index); }
    bool isStill(int index) const override { return still(index); }

private:
    std::optional<int> m_count;
    int m_hundreds;
};

class FramePlayerTest : public testing::Test {
protected:
    FramePlayerTest() {
        m_chain.setFrameObserver([this](const SzFrameReport& report) {
            const std::lock_guard lock(m_mutex);
            if (const auto* const picture = qobject_cast<const CzImageData*>(report.output)) {
                m_values.push_back(valueOf(*picture));
                m_numbers.push_back(report.frameNo);
            }
        });
        QObject::connect(&m_player, &CzFramePlayer::failed,
                         [this](const QString& message) { m_failures.append(message); });
        m_player.setRate(asFastAsPossible);
    }
    ~FramePlayerTest() override {
        m_gate.open();
        m_chain.requestStop();
    }

    std::shared_ptr<ScriptedSupply> load(std::optional<int> count, int hundreds = 0) {
        auto supply = std::make_shared<ScriptedSupply>(count, hundreds);
        m_player.setSupply(supply);
        return supply;
    }
    void blockTheChain() {
        auto element = std::make_unique<ScriptedElement>();
        m_gate.guard(*element);
        ASSERT_TRUE(m_chain.append(element.release()));
        ASSERT_TRUE(m_chain.start());
    }

    std::vector<int> values() const {
        const std::lock_guard lock(m_mutex);
        return m_values;
    }
    std::vector<int> numbers() const {
        const std::lock_guard lock(m_mutex);
        return m_numbers;
    }
    bool hasCome(std::size_t frames) {
        return waitFor([&] { return values().size() >= frames; });
    }
    bool pauses() {
        return waitFor([this] { return !m_player.isPlaying(); });
    }

    mutable std::mutex m_mutex;
    std::vector<int> m_values;
    std::vector<int> m_numbers;
    QStringList m_failures;
    Gate m_gate;
    CzChain m_chain;
    CzFramePlayer m_player{m_chain.source()};
};

} // namespace

TEST_F(FramePlayerTest, PlaysAllFramesInOrderAndPausesAtTheEnd) {
    ASSERT_TRUE(m_chain.start());
    QSignalSpy playing(&m_player, &CzFramePlayer::playingChanged);
    load(4);
    m_player.setLooped(false);
    EXPECT_EQ(-1, m_player.position());
    m_player.setRate(0.0001);
    m_player.play();
    EXPECT_TRUE(m_player.isPlaying());
    EXPECT_EQ(1, playing.size());
    m_player.setRate(asFastAsPossible);
    ASSERT_TRUE(pauses());
    ASSERT_TRUE(hasCome(4));
    EXPECT_EQ(3, m_player.position());
    ASSERT_TRUE(waitFor([&] { return playing.size() == 2; }));
    EXPECT_TRUE(playing.at(0).at(0).toBool());
    EXPECT_FALSE(playing.at(1).at(0).toBool());

    m_player.play(); // once more from the start
    ASSERT_TRUE(hasCome(8));
    ASSERT_TRUE(pauses());
    EXPECT_THAT(values(), ElementsAre(0, 1, 2, 3, 0, 1, 2, 3));
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
}

TEST_F(FramePlayerTest, TheFirstFrameFollowsTheLastWhenLooped) {
    ASSERT_TRUE(m_chain.start());
    load(3);
    m_player.setLooped(true);
    m_player.play();
    ASSERT_TRUE(hasCome(7));
    m_player.pause();
    EXPECT_FALSE(m_player.isPlaying());
    const std::vector<int> seen = values();
    for (std::size_t i = 0; i < seen.size(); ++i)
        ASSERT_EQ(static_cast<int>(i % 3), seen[i]);
}

TEST_F(FramePlayerTest, NothingPlaysWithoutASupply) {
    m_player.play();
    EXPECT_FALSE(m_player.isPlaying());
    m_player.step();
    m_player.seek(3);
    m_player.repeat();
    m_player.setSupply(nullptr);
    load(0);
    m_player.setLooped(true);
    m_player.step();
    m_player.play();
    EXPECT_TRUE(pauses());
    EXPECT_EQ(-1, m_player.position());
}

TEST_F(FramePlayerTest, FramesComeAtTheChosenRate) {
    ASSERT_TRUE(m_chain.start());
    load(6);
    m_player.setLooped(false);
    m_player.setRate(100.0);
    QElapsedTimer time;
    time.start();
    m_player.play();
    ASSERT_TRUE(hasCome(6));
    EXPECT_GE(time.elapsed(), 50) << "five periods";
    EXPECT_EQ(100.0, m_player.rate());
}

TEST_F(FramePlayerTest, AnotherRateCountsAtOnce) {
    ASSERT_TRUE(m_chain.start());
    load(3);
    m_player.setRate(0.0001);
    m_player.play();
    ASSERT_TRUE(hasCome(1));
    m_player.setRate(asFastAsPossible);
    EXPECT_TRUE(hasCome(10));
}

TEST_F(FramePlayerTest, StepsForthAndBackAndAround) {
    ASSERT_TRUE(m_chain.start());
    load(3);
    QSignalSpy positions(&m_player, &CzFramePlayer::positionChanged);
    std::size_t frames = 0;
    const auto step = [&](int by) {
        m_player.step(by);
        EXPECT_TRUE(hasCome(++frames));
        EXPECT_TRUE(waitFor([&] { return m_player.position() == values().back(); }));
        return values().back();
    };
    EXPECT_EQ(2, step(-1)) << "the last is before the first";
    EXPECT_EQ(0, step(1));
    EXPECT_EQ(1, step(1));
    EXPECT_EQ(0, step(-1));
    EXPECT_EQ(2, step(5));
    EXPECT_EQ(0, step(-2));
    EXPECT_FALSE(m_player.isPlaying());
    EXPECT_TRUE(waitFor([&] { return !positions.isEmpty() && positions.last().at(0).toInt() == 0; }));
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(FramePlayerTest, AStepPauses) {
    ASSERT_TRUE(m_chain.start());
    load(50);
    m_player.setRate(0.0001);
    m_player.play();
    ASSERT_TRUE(hasCome(1));
    m_player.step();
    EXPECT_FALSE(m_player.isPlaying());
    ASSERT_TRUE(hasCome(2));
    EXPECT_THAT(values(), ElementsAre(0, 1));
}

TEST_F(FramePlayerTest, PlayingGoesOnBehindTheFrameThatWasSought) {
    ASSERT_TRUE(m_chain.start());
    load(50);
    m_player.setLooped(false);
    m_player.seek(47);
    ASSERT_TRUE(hasCome(1));
    m_player.play();
    ASSERT_TRUE(pauses());
    ASSERT_TRUE(hasCome(3));
    EXPECT_THAT(values(), ElementsAre(47, 48, 49));
}

TEST_F(FramePlayerTest, AFrameIsRepeatedUnderAnotherNumber) {
    ASSERT_TRUE(m_chain.start());
    load(5);
    m_player.repeat();
    m_player.seek(2);
    ASSERT_TRUE(hasCome(1));
    m_player.repeat();
    ASSERT_TRUE(hasCome(2));
    EXPECT_THAT(values(), ElementsAre(2, 2));
    EXPECT_THAT(numbers(), ElementsAre(1, 2));
    EXPECT_EQ(2, m_player.position());
}

TEST_F(FramePlayerTest, AnEndlessSupplyHasNoFrameBeforeTheFirst) {
    ASSERT_TRUE(m_chain.start());
    load(std::nullopt);
    m_player.step(-1);
    ASSERT_TRUE(hasCome(1));
    m_player.seek(std::numeric_limits<int>::max());
    ASSERT_TRUE(hasCome(2));
    m_player.play();
    ASSERT_TRUE(hasCome(4));
    const std::vector<int> seen = values();
    EXPECT_THAT(std::vector<int>(seen.begin(), seen.begin() + 4),
                ElementsAre(0, std::numeric_limits<int>::max() % 100, 0, 1));
}

TEST_F(FramePlayerTest, StillPicturesKeepNumberZero) {
    ASSERT_TRUE(m_chain.start());
    const auto supply = std::make_shared<ScriptedSupply>(4);
    supply->still = [](int index) { return index % 2 == 0; };
    m_player.setSupply(supply);
    m_player.setLooped(false);
    m_player.play();
    ASSERT_TRUE(hasCome(4));
    EXPECT_THAT(numbers(), ElementsAre(0, 1, 0, 2));
}

TEST_F(FramePlayerTest, NumbersGoOnWithAnotherSupply) {
    ASSERT_TRUE(m_chain.start());
    load(9);
    m_player.seek(5);
    ASSERT_TRUE(hasCome(1));
    load(2, 1);
    EXPECT_EQ(-1, m_player.position());
    m_player.step();
    ASSERT_TRUE(hasCome(2));
    EXPECT_THAT(values(), ElementsAre(5, 100));
    EXPECT_THAT(numbers(), ElementsAre(1, 2));
}

TEST_F(FramePlayerTest, AFrameThatCannotBeMadeIsToldAndTheNextFollows) {
    ASSERT_TRUE(m_chain.start());
    const auto supply = std::make_shared<ScriptedSupply>(4);
    supply->fails = [](int index) { return index == 1; };
    m_player.setSupply(supply);
    m_player.setLooped(false);
    m_player.play();
    ASSERT_TRUE(hasCome(3));
    EXPECT_THAT(values(), ElementsAre(0, 2, 3));
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3));
    EXPECT_TRUE(waitFor([this] { return !m_failures.isEmpty(); }));
    EXPECT_THAT(m_failures, ElementsAre(QStringLiteral("no frame 1")));
}

TEST_F(FramePlayerTest, PausesWhenNoFrameAtAllCanBeMade) {
    ASSERT_TRUE(m_chain.start());
    const auto supply = std::make_shared<ScriptedSupply>(3);
    std::atomic<int> tried{0};
    supply->fails = [&](int) { return ++tried > 0; };
    m_player.setSupply(supply);
    m_player.setLooped(true);
    m_player.play();
    ASSERT_TRUE(pauses());
    EXPECT_TRUE(waitFor([this] { return !m_failures.isEmpty(); }));
    EXPECT_EQ(3, tried.load());
    m_player.play(); // another try
    ASSERT_TRUE(pauses());
    EXPECT_EQ(6, tried.load());
}

// ---- Waiting and dropping ----

TEST_F(FramePlayerTest, FilesWaitForTheChainAndNoFrameIsLost) {
    blockTheChain();
    load(9);
    m_player.setLooped(false);
    m_player.play();
    m_gate.awaitArrival();
    ASSERT_TRUE(waitFor([this] { return m_player.position() == 2; }));
    EXPECT_TRUE(m_player.isPlaying());
    EXPECT_EQ(2, m_chain.source().waitingFrames()) << "one is at work, and the next has no room";
    m_gate.open();
    ASSERT_TRUE(hasCome(9));
    EXPECT_THAT(values(), ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(0U, m_chain.counters().framesDropped);
}

TEST_F(FramePlayerTest, ALiveSupplyDropsTheOldestAndEachIsCounted) {
    blockTheChain();
    const auto supply = std::make_shared<ScriptedSupply>(std::nullopt);
    supply->live = true;
    m_player.setRate(2000.0);
    m_player.setSupply(supply);
    m_player.play();
    m_gate.awaitArrival();
    const std::uint64_t before = m_chain.counters().framesDropped;
    ASSERT_TRUE(waitFor([&] { return m_chain.counters().framesDropped >= before + 20; }));
    m_player.pause();
    m_gate.open();
    ASSERT_TRUE(hasCome(3));
    EXPECT_TRUE(waitFor([this] { return m_player.position() % 100 == values().back(); }))
        << "the newest is kept";
    ASSERT_TRUE(m_chain.waitUntilIdle());
    const SzChainCounters counters = m_chain.counters();
    EXPECT_EQ(static_cast<std::uint64_t>(numbers().back()), counters.framesIn);
    EXPECT_EQ(counters.framesIn, counters.framesOut + counters.framesDropped);
}

TEST_F(FramePlayerTest, ALiveSupplyThatIsAsFastAsTheChainLosesNothing) {
    blockTheChain();
    std::atomic<int> made{0};
    const auto supply = std::make_shared<ScriptedSupply>(std::nullopt);
    supply->live = true;
    supply->beforeFrame = [&] { ++made; };
    m_player.setSupply(supply);
    m_player.play();
    m_gate.awaitArrival();
    ASSERT_TRUE(waitFor([&] { return made == 4; })); // one hangs, two wait, one waits for room
    QTest::qWait(50);
    EXPECT_EQ(made, 4);
    m_player.setRate(2000.0); // now it is a camera that does not wait
    EXPECT_TRUE(waitFor([&] { return m_chain.counters().framesDropped > 10; }));
    m_player.setRate(asFastAsPossible);
    m_gate.open();
    const std::uint64_t dropped = m_chain.counters().framesDropped;
    const std::size_t come = values().size();
    EXPECT_TRUE(hasCome(come + 100));
    EXPECT_LE(m_chain.counters().framesDropped, dropped + 1); // was on its way
}

TEST_F(FramePlayerTest, AnotherSupplyPlaysAtOnceHoweverSlowTheOneBeforeIs) {
    ASSERT_TRUE(m_chain.start());
    load(3);
    m_player.setRate(0.0001);
    m_player.play();
    ASSERT_TRUE(hasCome(1));
    load(3, 1);
    ASSERT_TRUE(hasCome(2));
    EXPECT_EQ(values().back(), 100);
}

TEST_F(FramePlayerTest, ASupplyThatIsMadeInAnotherWayGoesOnInItsPlaceAndTime) {
    ASSERT_TRUE(m_chain.start());
    load(9);
    m_player.setRate(0.0001);
    m_player.play();
    ASSERT_TRUE(hasCome(1));
    m_player.seek(2);
    ASSERT_TRUE(hasCome(2));
    m_player.replaceSupply(std::make_shared<ScriptedSupply>(9, 1));
    ASSERT_TRUE(hasCome(3));
    QTest::qWait(50);
    EXPECT_THAT(values(), ElementsAre(0, 2, 102));
    EXPECT_TRUE(m_player.isPlaying());
    m_player.replaceSupply(std::make_shared<ScriptedSupply>(2, 2)); // fewer than there were
    ASSERT_TRUE(hasCome(4));
    EXPECT_EQ(values().back(), 200);
}

TEST_F(FramePlayerTest, TheFrameAtHandIsKnownAlsoWhileItIsBeingMade) {
    ASSERT_TRUE(m_chain.start());
    load(9);
    m_player.seek(5);
    ASSERT_TRUE(hasCome(1));
    QSemaphore begun;
    QSemaphore mayEnd;
    const auto slow = std::make_shared<ScriptedSupply>(9, 1);
    slow->beforeFrame = [&] {
        begun.release();
        mayEnd.acquire();
    };
    m_player.replaceSupply(slow);
    begun.acquire();
    m_player.replaceSupply(std::make_shared<ScriptedSupply>(9, 1));
    m_player.replaceSupply(std::make_shared<ScriptedSupply>(9, 2)); // while the first is still being made
    mayEnd.release();
    ASSERT_TRUE(hasCome(2));
    EXPECT_THAT(values(), ElementsAre(5, 205));
}

TEST_F(FramePlayerTest, NoCallWaitsForAFrameToBeTaken) {
    blockTheChain();
    load(9);
    m_player.play();
    m_gate.awaitArrival();
    ASSERT_TRUE(waitFor([this] { return m_player.position() == 2; })); // waits for room with the next one
    m_player.setRate(5.0);
    m_player.setLooped(false);
    m_player.pause();
    m_player.step();
    m_player.step();
    m_player.seek(8);
    m_player.repeat();
    EXPECT_EQ(2, m_player.position());
    m_player.step(-1);
    m_gate.open();
    ASSERT_TRUE(hasCome(5));
    EXPECT_THAT(values(), ElementsAre(0, 1, 2, 3, 7)) << "of frames out of turn the last one counts";
}

TEST_F(FramePlayerTest, StepsCountFromTheFrameThatWaits) {
    blockTheChain();
    load(9);
    m_player.play();
    m_gate.awaitArrival();
    ASSERT_TRUE(waitFor([this] { return m_player.position() == 2; }));
    m_player.step();
    m_player.step();
    m_gate.open();
    ASSERT_TRUE(hasCome(5));
    EXPECT_THAT(values(), ElementsAre(0, 1, 2, 3, 5));
}

TEST_F(FramePlayerTest, NoCallWaitsForAFrameToBeMade) {
    ASSERT_TRUE(m_chain.start());
    const auto slow = std::make_shared<ScriptedSupply>(9);
    slow->beforeFrame = [this] { m_gate.pass(); };
    m_player.setSupply(slow);
    m_player.play();
    m_gate.awaitArrival();
    m_player.pause();
    m_player.seek(3);
    m_player.step();
    m_player.play();
    EXPECT_EQ(-1, m_player.position());
    load(2, 1);
    m_player.setLooped(false);
    m_gate.open();
    ASSERT_TRUE(hasCome(2));
    ASSERT_TRUE(pauses());
    EXPECT_THAT(values(), ElementsAre(100, 101)) << "nobody wants the slow frame any more";
}

TEST_F(FramePlayerTest, AnotherSupplyTakesThePlaceOfOneThatWaitsForRoom) {
    blockTheChain();
    load(9);
    m_player.setLooped(false);
    m_player.play();
    m_gate.awaitArrival();
    ASSERT_TRUE(waitFor([this] { return m_player.position() == 2; }));
    load(4, 1);
    load(3, 2);
    EXPECT_TRUE(m_player.isPlaying());
    m_gate.open();
    ASSERT_TRUE(hasCome(4));
    ASSERT_TRUE(pauses());
    EXPECT_THAT(values(), ElementsAre(0, 200, 201, 202)) << "the new one is complete, and comes at once";
    const SzChainCounters counters = m_chain.counters();
    EXPECT_GE(counters.framesDropped, 2U) << "that waited";
    EXPECT_LE(counters.framesDropped, 4U) << "when the second supply was quick enough to fill the queue, too";
    EXPECT_EQ(counters.framesIn, counters.framesOut + counters.framesDropped);
}

TEST_F(FramePlayerTest, NoFrameOfANewSupplyIsLostHoweverOftenItIsReplaced) {
    ASSERT_TRUE(m_chain.start());
    m_player.setLooped(false);
    m_player.play();
    for (int round = 0; round < 200; ++round) {
        load(5, round % 2);
        m_player.play();
        if (round % 3 == 0)
            QTest::qWait(0);
    }
    ASSERT_TRUE(pauses());
    ASSERT_TRUE(m_chain.waitUntilIdle());
    // Each supply that came to play began with its first frame, and left none out.
    const std::vector<int> seen = values();
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const bool begins = seen[i] % 100 == 0;
        ASSERT_TRUE(begins || (i > 0 && seen[i] == seen[i - 1] + 1)) << "frame " << i;
    }
    ASSERT_GE(seen.size(), 5U);
    EXPECT_EQ(104, seen.back());
}

TEST_F(FramePlayerTest, EndsWhileItWaitsForRoom) {
    CzFrameSource source;
    CzFramePlayer player(source);
    player.setRate(asFastAsPossible);
    player.setSupply(std::make_shared<ScriptedSupply>(9));
    player.play();
    EXPECT_TRUE(waitFor([&] { return player.position() == 1; }));
}

// ---- Formats ----

TEST_F(FramePlayerTest, AChainThatStandsStillKnowsWhatItWillGet) {
    const auto supply = std::make_shared<ScriptedSupply>(9);
    supply->width = [](int index) { return 10 + index; };
    m_player.setSupply(supply);
    m_player.play();
    SzPicBufInfo format;
    ASSERT_TRUE(waitFor([&] { return m_chain.source().currentOutputImageInfo(format, nullptr); }));
    EXPECT_EQ(10U, format.width);
    ASSERT_TRUE(waitFor([this] { return m_player.position() == 1; }));
    ASSERT_TRUE(m_chain.source().currentOutputImageInfo(format, nullptr));
    EXPECT_EQ(10U, format.width) << "of the first frame that waits";
}

TEST_F(FramePlayerTest, AChainThatStandsStillKnowsWhatItWillGetOfAnotherSupply) {
    m_player.setLooped(false);
    load(9);
    m_player.play();
    ASSERT_TRUE(waitFor([this] { return m_player.position() == 1; })); // two frames wait
    m_player.pause();
    const auto supply = std::make_shared<ScriptedSupply>(1, 1);
    supply->width = [](int) { return 20; };
    m_player.setSupply(supply);
    m_player.seek(0);
    ASSERT_TRUE(waitFor([this] { return m_player.position() == 0; }));
    SzPicBufInfo format;
    ASSERT_TRUE(m_chain.source().currentOutputImageInfo(format, nullptr));
    EXPECT_EQ(20U, format.width);
    ASSERT_TRUE(m_chain.start());
    ASSERT_TRUE(hasCome(1));
    EXPECT_THAT(values(), ElementsAre(100));
}

TEST_F(FramePlayerTest, ElementsAreSetUpForTheFrameThatTheyAreGiven) {
    auto element = std::make_unique<ScriptedElement>();
    ScriptedElement* const shown = element.get();
    std::uint32_t setUpWidth = 0; // the worker's
    std::atomic<int> misfits{0};
    element->onSetupStart = [&] {
        SzPicBufInfo format;
        setUpWidth = shown->currentInputImageInfo(format, nullptr) ? format.width : 0;
    };
    element->process = [&](ScriptedElement&, IzChainData* input) {
        misfits += qobject_cast<CzImageData*>(input)->picBuf().width == setUpWidth ? 0 : 1;
        return input;
    };
    ASSERT_TRUE(m_chain.append(element.release()));
    ASSERT_TRUE(m_chain.start());
    const auto supply = std::make_shared<ScriptedSupply>(std::nullopt);
    supply->width = [](int index) { return 8 + index % 3; };
    m_player.setSupply(supply);
    m_player.play();
    ASSERT_TRUE(hasCome(2000));
    m_chain.stop();
    EXPECT_EQ(0, misfits.load());
}
