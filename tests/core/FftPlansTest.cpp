// SPDX-License-Identifier: GPL-3.0-or-later
#include "FftPlans.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace {

constexpr double plenty = 60.0; // seconds
constexpr double nearlyNothing = 1e-9;

/// A plan that there is enough time for.
FftPlan planOf(EzFftKind kind, int length, double seconds = plenty) {
    return fftPlan(kind, length, seconds);
}

/// A planner that knows nothing, of a user who has a new cache folder.
class FftPlans : public testing::Test {
protected:
    FftPlans() {
        qputenv("XDG_CACHE_HOME", QFile::encodeName(folder.path()));
        fftwf_forget_wisdom();
    }
    ~FftPlans() override { qputenv("XDG_CACHE_HOME", previous); }

    static QByteArray wisdom() {
        QFile file(fftWisdomFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /// Whether FFTW, which knows nothing but what this text says, can plan a line without measuring.
    static bool isKnown(int length, const QByteArray& text) {
        const FftMemory input = allocateFftMemory(2 * sizeof(float) * std::size_t(length));
        const FftMemory output = allocateFftMemory(sizeof(fftwf_complex) * std::size_t(length + 1));
        fftwf_forget_wisdom();
        if (!text.isEmpty() && fftwf_import_wisdom_from_string(text.constData()) == 0)
            return false;
        const FftPlan plan(fftwf_plan_dft_r2c_1d(length, static_cast<float*>(input.get()),
                                                 static_cast<fftwf_complex*>(output.get()),
                                                 FFTW_MEASURE | FFTW_WISDOM_ONLY),
                           &fftwf_destroy_plan);
        return plan != nullptr;
    }

    QTemporaryDir folder;
    QByteArray previous = qgetenv("XDG_CACHE_HOME");
};

TEST_F(FftPlans, areTheSameForTheSameLengthAndKind) {
    const FftPlan plan = planOf(EzFftKind::RealLine, 360);
    ASSERT_TRUE(plan);
    EXPECT_EQ(planOf(EzFftKind::RealLine, 360), plan);
    EXPECT_NE(planOf(EzFftKind::ComplexLine, 360), plan);
    EXPECT_NE(planOf(EzFftKind::EightLines, 360), planOf(EzFftKind::ComplexLine, 360));
    EXPECT_NE(planOf(EzFftKind::RealLine, 361), plan);
}

TEST_F(FftPlans, lengthsThatNoPictureHasAreRefused) {
    EXPECT_FALSE(planOf(EzFftKind::RealLine, 0));
    EXPECT_FALSE(planOf(EzFftKind::ComplexLine, -1));
    EXPECT_FALSE(planOf(EzFftKind::RealLine, longestFft + 1));
}

TEST_F(FftPlans, thatAreInUseOutliveAnyNumberOfOthers) {
    constexpr int length = 12;
    const FftPlan plan = planOf(EzFftKind::RealLine, length);
    for (int other = 400; other < 470; ++other)
        ASSERT_TRUE(planOf(EzFftKind::RealLine, other, 0.0));
    EXPECT_EQ(planOf(EzFftKind::RealLine, length), plan); // not made again

    const FftMemory input = allocateFftMemory(length * sizeof(float));
    const FftMemory output = allocateFftMemory((length / 2 + 1) * sizeof(fftwf_complex));
    auto* const samples = static_cast<float*>(input.get());
    auto* const spectrum = static_cast<fftwf_complex*>(output.get());
    for (int i = 0; i < length; ++i)
        samples[i] = i == 0 ? 5.0F : 0.0F;
    fftwf_execute_dft_r2c(plan.get(), samples, spectrum);
    for (int i = 0; i <= length / 2; ++i)
        EXPECT_FLOAT_EQ(spectrum[i][0], 5.0F);
}

TEST_F(FftPlans, thatNobodyUsesAreForgottenAfterManyOthers) {
    const std::weak_ptr<std::remove_pointer_t<fftwf_plan>> plan = planOf(EzFftKind::RealLine, 14);
    EXPECT_FALSE(plan.expired());
    for (int other = 500; other < 570; ++other)
        ASSERT_TRUE(planOf(EzFftKind::RealLine, other, 0.0));
    EXPECT_TRUE(plan.expired());
}

TEST_F(FftPlans, whatWasMeasuredOnceIsKeptInTheUsersCacheFolder) {
    constexpr int length = 132;
    EXPECT_FALSE(isKnown(length, QByteArray()));
    ASSERT_TRUE(planOf(EzFftKind::RealLine, length));
    EXPECT_TRUE(fftWisdomFile().startsWith(folder.path()));
    EXPECT_TRUE(isKnown(length, wisdom()));
}

TEST_F(FftPlans, whatOtherProcessesFoundOutMeanwhileIsKeptToo) {
    ASSERT_TRUE(planOf(EzFftKind::RealLine, 135));
    fftwf_forget_wisdom(); // as if somebody else had written the file
    ASSERT_TRUE(planOf(EzFftKind::RealLine, 136));
    EXPECT_TRUE(isKnown(135, wisdom()));
    EXPECT_TRUE(isKnown(136, wisdom()));
}

TEST_F(FftPlans, fileOfNonsenseIsReplaced) {
    ASSERT_TRUE(planOf(EzFftKind::RealLine, 140));
    QFile file(fftWisdomFile());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("(fftw-3 wisdom ((((\0 of nobody", 30);
    file.close();
    ASSERT_TRUE(planOf(EzFftKind::RealLine, 144));
    EXPECT_TRUE(isKnown(144, wisdom()));
}

TEST_F(FftPlans, folderThatCannotBeWrittenCostsNothingButTime) {
    qputenv("XDG_CACHE_HOME", "/proc/nowhere");
    EXPECT_TRUE(planOf(EzFftKind::RealLine, 150));
    EXPECT_FALSE(QFileInfo::exists(fftWisdomFile()));
}

// ---- When the time runs out ----

TEST_F(FftPlans, thatWereMadeInAHurryAreNotTakenForTheBest) {
    constexpr int length = 2048;
    const FftPlan guessed = planOf(EzFftKind::ComplexLine, length, nearlyNothing);
    ASSERT_TRUE(guessed);
    EXPECT_TRUE(wisdom().isEmpty());

    const FftPlan measured = planOf(EzFftKind::ComplexLine, length);
    ASSERT_TRUE(measured);
    EXPECT_NE(measured, guessed);
    EXPECT_FALSE(wisdom().isEmpty());
    EXPECT_FALSE(wisdom().contains("TIMEOUT"));
    EXPECT_EQ(planOf(EzFftKind::ComplexLine, length), measured);
    EXPECT_EQ(guessed.use_count(), 2); // whoever has it may go on; it is the planner that destroys it
}

TEST_F(FftPlans, areMeasuredThreeTimesInVainAndNoMore) {
    constexpr int length = 2304;
    for (int attempt = 0; attempt < 3; ++attempt) {
        double seconds = nearlyNothing;
        EXPECT_TRUE(fftPlan(EzFftKind::ComplexLine, length, seconds));
        EXPECT_LT(seconds, 0.0) << attempt;
    }
    double seconds = plenty;
    EXPECT_TRUE(fftPlan(EzFftKind::ComplexLine, length, seconds));
    EXPECT_EQ(seconds, plenty);
    EXPECT_TRUE(wisdom().isEmpty());
}

TEST_F(FftPlans, withoutAnyTimeLeftAreGuessedAndThatIsNoAttempt) {
    constexpr int length = 2400;
    for (int start = 0; start < 5; ++start) {
        double seconds = 0.0;
        EXPECT_TRUE(fftPlan(EzFftKind::ComplexLine, length, seconds));
        EXPECT_EQ(seconds, 0.0);
    }
    double seconds = plenty;
    EXPECT_TRUE(fftPlan(EzFftKind::ComplexLine, length, seconds));
    EXPECT_LT(seconds, plenty);
    EXPECT_GT(seconds, 0.0);
    EXPECT_FALSE(wisdom().isEmpty());
}

TEST_F(FftPlans, thatAreKnownTakeNoTime) {
    ASSERT_TRUE(planOf(EzFftKind::RealLine, 2500));
    double seconds = plenty;
    EXPECT_TRUE(fftPlan(EzFftKind::RealLine, 2500, seconds));
    EXPECT_EQ(seconds, plenty);
}

TEST_F(FftPlans, timeLimitIsThePlannersOwnAndNobodyElsesAfterwards) {
    ASSERT_TRUE(planOf(EzFftKind::ComplexLine, 2592, nearlyNothing));
    constexpr int length = 2700;
    const FftMemory input = allocateFftMemory(2 * sizeof(fftwf_complex) * length);
    const FftMemory output = allocateFftMemory(2 * sizeof(fftwf_complex) * length);
    const auto planned = [&](unsigned flags) {
        return FftPlan(fftwf_plan_dft_1d(length, static_cast<fftwf_complex*>(input.get()),
                                         static_cast<fftwf_complex*>(output.get()), FFTW_FORWARD, flags),
                       &fftwf_destroy_plan);
    };
    EXPECT_TRUE(planned(FFTW_MEASURE));
    EXPECT_TRUE(planned(FFTW_MEASURE | FFTW_WISDOM_ONLY));
}

TEST_F(FftPlans, whatAnEarlierVersionKeptOfPlansInAHurryIsDropped) {
    ASSERT_TRUE(planOf(EzFftKind::RealLine, 160));
    QByteArray text = wisdom();
    const int end = text.lastIndexOf(')');
    text.insert(end, "  (TIMEOUT 0 #x1040 #x11bdd #x1c0 #xee3be6a2 #x2205e009 #x4d8f619e #x0178a264)\n");
    QFile file(fftWisdomFile());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(text);
    file.close();
    ASSERT_TRUE(isKnown(160, text)); // FFTW itself reads it

    fftwf_forget_wisdom();
    ASSERT_TRUE(planOf(EzFftKind::RealLine, 162));
    EXPECT_FALSE(wisdom().contains("TIMEOUT"));
    EXPECT_TRUE(isKnown(160, wisdom()));
    EXPECT_TRUE(isKnown(162, wisdom()));
}

} // namespace
