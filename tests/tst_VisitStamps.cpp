// The visited marks that the graph's traversals share: a new call unmarks
// every node without clearing, and a wrapped epoch clears the old stamps.

#include "../src/Core/Visited_p.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

using Morvane::Zrn::VisitStamps;

TEST(VisitStamps, ANewCallUnmarksEveryNode)
{
    VisitStamps v;
    v.begin(3);
    EXPECT_EQ(v.size(), 3u);
    v.mark(0);
    v.mark(2);
    EXPECT_TRUE(v.marked(0));
    EXPECT_FALSE(v.marked(1));
    EXPECT_TRUE(v.marked(2));
    v.begin(2); // fewer slots than before: the storage keeps its size
    EXPECT_EQ(v.size(), 3u);
    EXPECT_FALSE(v.marked(0));
    EXPECT_FALSE(v.marked(2));
    EXPECT_TRUE(v.covers(2));
    EXPECT_FALSE(v.covers(3));
    EXPECT_FALSE(v.covers(-1));
    v.begin(5);
    EXPECT_EQ(v.size(), 5u);
    EXPECT_FALSE(v.marked(4));
}

// Without the clearing, the stamp 1 left from the first call would read as
// marked again once the epoch wrapped round to 1.
TEST(VisitStamps, AWrappedEpochClearsTheOldStamps)
{
    VisitStamps v;
    v.begin(3);
    EXPECT_EQ(v.epoch, 1u);
    v.mark(1);
    v.epoch = std::numeric_limits<std::uint32_t>::max() - 1;
    v.begin(3);
    EXPECT_EQ(v.epoch, std::numeric_limits<std::uint32_t>::max());
    v.mark(2);
    v.begin(3);
    EXPECT_EQ(v.epoch, 1u);
    EXPECT_FALSE(v.marked(0));
    EXPECT_FALSE(v.marked(1));
    EXPECT_FALSE(v.marked(2));
    EXPECT_EQ(v.stamps, (std::vector<std::uint32_t>{0, 0, 0}));
    v.mark(0);
    EXPECT_TRUE(v.marked(0));
}
