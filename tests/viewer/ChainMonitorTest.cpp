// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainMonitor.h"

#include "ModelTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

SzFrameReport report(int frameNo, const IzChainData* output = nullptr) {
    SzFrameReport report;
    report.frameNo = frameNo;
    report.output = output;
    report.elements = {{0.5, QString()}, {double(frameNo), QStringLiteral("oh")}};
    return report;
}

} // namespace

TEST(ChainMonitorTest, TellsTheLastFrame) {
    CzChainMonitor monitor;
    monitor.offer(report(1));
    monitor.offer(report(2));
    const SzChainFigures figures = monitor.figures();
    ASSERT_EQ(2, figures.elements.size());
    EXPECT_EQ(2.0, figures.elements.at(1).milliseconds);
    EXPECT_EQ(QStringLiteral("oh"), figures.elements.at(1).errorMessage);
    monitor.clear();
    EXPECT_TRUE(monitor.figures().elements.isEmpty());
}

TEST(ChainMonitorTest, LatencyIsCountedFromTheTimeStampOn) {
    using namespace std::chrono;
    CzChainMonitor monitor;
    const std::unique_ptr<CzImageData> picture = makeFrame(1);
    picture->picBuf().timeStampNs =
        nanoseconds(steady_clock::now().time_since_epoch() - milliseconds(1500)).count();
    monitor.offer(report(1, picture.get()));
    EXPECT_GE(monitor.figures().latencyMs, 1500.0);
    EXPECT_LT(monitor.figures().latencyMs, 60000.0);
}

TEST(ChainMonitorTest, CountsFramesNotOutputs) {
    CzChainMonitor monitor;
    SzFrameReport further = report(1);
    further.further = true;
    for (int i = 0; i < 1000; ++i) {
        monitor.offer(report(i));
        monitor.offer(further);
    }
    ASSERT_TRUE(waitFor([&] { return monitor.figures().framesPerSecond > 0.0; }));
    EXPECT_LE(monitor.figures().framesPerSecond, 1000.0) << "over at least one second";
    ASSERT_TRUE(waitFor([&] { return monitor.figures().framesPerSecond == 0.0; })) << "none came since";
}
