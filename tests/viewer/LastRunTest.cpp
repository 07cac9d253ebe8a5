// SPDX-License-Identifier: GPL-3.0-or-later
#include "LastRun.h"

#include "ViewerFixture.h"

#include <cstdlib>
#include <memory>

namespace {

using LastRun = ViewerTest;

/// In a process of its own, which then leaves at once.
void crash(const std::function<void()>& before = [] {}) {
    EXPECT_EXIT(
        {
            new CzLastRun; // its end never comes
            before();
            std::_Exit(EXIT_SUCCESS);
        },
        testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST_F(LastRun, IsCleanTheFirstTimeAndAfterAProperEnd) {
    { EXPECT_FALSE(CzLastRun().wasUnclean()); }
    EXPECT_FALSE(CzLastRun().wasUnclean());
}

TEST_F(LastRun, IsUncleanWhenItDidNotEnd) {
    crash();
    { EXPECT_TRUE(CzLastRun().wasUnclean()); }
    EXPECT_FALSE(CzLastRun().wasUnclean());
}

TEST_F(LastRun, IsNotOverWhileItsProgramRuns) {
    const CzLastRun first;
    EXPECT_FALSE(CzLastRun().wasUnclean());
    EXPECT_FALSE(CzLastRun().wasUnclean());
}

TEST_F(LastRun, IsUncleanWhateverBecameOfProgramsBesideIt) {
    crash([] { CzLastRun(); });
    EXPECT_TRUE(CzLastRun().wasUnclean());
}

} // namespace
