// SPDX-License-Identifier: GPL-3.0-or-later
#include "Progress.h"

#include <gtest/gtest.h>

TEST(ProgressText, ShowsBarRateAndRemainingTime) {
    // 50 of 200 frames in 20 s: 2.5 a second, 150 to go in 60 s.
    EXPECT_EQ(progressText(50, 200, 20.0).toStdString(),
              "[#######.......................] 50/200 frames, 2.5 frames/s, 1:00 left");
}

TEST(ProgressText, PadsSeconds) {
    EXPECT_EQ(progressText(10, 20, 5.0).toStdString(),
              "[###############...............] 10/20 frames, 2.0 frames/s, 0:05 left");
}

TEST(ProgressText, PromisesNothingBeforeTheFirstFrame) {
    EXPECT_EQ(progressText(0, 0, 0.0).toStdString(), "[..............................] 0/1 frames");
}

TEST(ProgressText, MoreFramesThanExpectedStayInTheBar) {
    EXPECT_EQ(progressText(7, 5, 1.0).toStdString(),
              "[##############################] 7/7 frames, 7.0 frames/s, 0:00 left");
}
