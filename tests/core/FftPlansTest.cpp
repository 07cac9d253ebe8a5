// SPDX-License-Identifier: GPL-3.0-or-later
#include "FftPlans.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

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
    const FftPlan plan = fftPlan(EzFftKind::RealLine, 360);
    ASSERT_TRUE(plan);
    EXPECT_EQ(fftPlan(EzFftKind::RealLine, 360), plan);
    EXPECT_NE(fftPlan(EzFftKind::ComplexLine, 360), plan);
    EXPECT_NE(fftPlan(EzFftKind::RealColumns, 360), plan);
    EXPECT_NE(fftPlan(EzFftKind::RealLine, 361), plan);
}

TEST_F(FftPlans, lengthsThatNoPictureHasAreRefused) {
    EXPECT_FALSE(fftPlan(EzFftKind::RealLine, 0));
    EXPECT_FALSE(fftPlan(EzFftKind::ComplexLine, -1));
    EXPECT_FALSE(fftPlan(EzFftKind::RealColumns, longestFft + 1));
}

TEST_F(FftPlans, thatAreInUseOutliveAnyNumberOfOthers) {
    constexpr int length = 12;
    const FftPlan plan = fftPlan(EzFftKind::RealLine, length);
    for (int other = 400; other < 470; ++other)
        ASSERT_TRUE(fftPlan(EzFftKind::RealLine, other));
    EXPECT_GT(plan.use_count(), 0);

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

TEST_F(FftPlans, whatWasMeasuredOnceIsKeptInTheUsersCacheFolder) {
    constexpr int length = 132;
    EXPECT_FALSE(isKnown(length, QByteArray()));
    ASSERT_TRUE(fftPlan(EzFftKind::RealLine, length));
    EXPECT_TRUE(fftWisdomFile().startsWith(folder.path()));
    EXPECT_TRUE(isKnown(length, wisdom()));
}

TEST_F(FftPlans, whatOtherProcessesFoundOutMeanwhileIsKeptToo) {
    ASSERT_TRUE(fftPlan(EzFftKind::RealLine, 135));
    fftwf_forget_wisdom(); // as if somebody else had written the file
    ASSERT_TRUE(fftPlan(EzFftKind::RealLine, 136));
    EXPECT_TRUE(isKnown(135, wisdom()));
    EXPECT_TRUE(isKnown(136, wisdom()));
}

TEST_F(FftPlans, fileOfNonsenseIsReplaced) {
    ASSERT_TRUE(fftPlan(EzFftKind::RealLine, 140));
    QFile file(fftWisdomFile());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("(fftw-3 wisdom ((((\0 of nobody", 30);
    file.close();
    ASSERT_TRUE(fftPlan(EzFftKind::RealLine, 144));
    EXPECT_TRUE(isKnown(144, wisdom()));
}

TEST_F(FftPlans, folderThatCannotBeWrittenCostsNothingButTime) {
    qputenv("XDG_CACHE_HOME", "/proc/nowhere");
    EXPECT_TRUE(fftPlan(EzFftKind::RealLine, 150));
    EXPECT_FALSE(QFileInfo::exists(fftWisdomFile()));
}

TEST_F(FftPlans, measuringEndsSoonEvenWhereItWouldTakeMuchLonger) {
    // A prime number: without its limit the planner takes a quarter of a minute.
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(fftPlan(EzFftKind::RealColumns, 524287));
    EXPECT_LT(timer.elapsed(), 5000);
}

} // namespace
