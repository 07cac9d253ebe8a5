// SPDX-License-Identifier: GPL-3.0-or-later
#include "LastRun.h"

#include "ViewerFixture.h"

#include <memory>

namespace {

using LastRun = ViewerTest;

TEST_F(LastRun, IsCleanTheFirstTimeAndAfterAProperEnd) {
    { EXPECT_FALSE(CzLastRun().wasUnclean()); }
    EXPECT_FALSE(CzLastRun().wasUnclean());
}

TEST_F(LastRun, IsUncleanWhenItDidNotEnd) {
    const auto crashed = std::make_unique<CzLastRun>();
    {
        const CzLastRun next;
        EXPECT_TRUE(next.wasUnclean());
    }
    EXPECT_FALSE(CzLastRun().wasUnclean());
}

} // namespace
