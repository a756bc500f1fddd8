// The frame-time rule shared by passes and the renderer.

#include <ZrnCore/FrameStatistics.h>

#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <QtCore/QThread>

#include <cmath>
#include <vector>

using Morvane::Zrn::FrameStatistics;

namespace {

// Times `frames` frames, each a little longer than the one before, and
// returns what end() recorded for each.
std::vector<double> recordFrames(FrameStatistics& stats, int frames)
{
    std::vector<double> recorded;
    for (int n = 0; n < frames; ++n) {
        stats.begin();
        ZrnTest::spinPast(stats.timer(), recorded.empty() ? 0.0 : recorded.back());
        recorded.push_back(stats.end());
    }
    return recorded;
}

} // namespace

TEST(FrameStatistics, StartsEmptyWithInvalidTimer)
{
    FrameStatistics stats;
    EXPECT_EQ(stats.count(), 0);
    EXPECT_EQ(stats.sum(), 0.0);
    EXPECT_EQ(stats.mean(), 0.0);
    EXPECT_FALSE(stats.timer().isValid());
    for (int i = 0; i < FrameStatistics::kHistorySize; ++i)
        EXPECT_EQ(stats.times()[i], 0.0) << "slot " << i;
}

TEST(FrameStatistics, BeginStartsTimerAndEndInvalidatesIt)
{
    FrameStatistics stats;
    stats.begin();
    EXPECT_TRUE(stats.timer().isValid());
    stats.end();
    EXPECT_FALSE(stats.timer().isValid());
    EXPECT_EQ(stats.count(), 1);
}

TEST(FrameStatistics, FirstFrameFillsSlotZeroAndSum)
{
    FrameStatistics stats;
    stats.begin();
    const double t = stats.end();
    EXPECT_EQ(stats.times()[0], t);
    EXPECT_EQ(stats.sum(), t);
    EXPECT_EQ(stats.times()[1], 0.0);
    EXPECT_GE(t, 0.0);
}

TEST(FrameStatistics, FrameTimeIsMicrosecondsPlusWholeMillisecondsOfOneInterval)
{
    // A frame of at least 3 ms: the microsecond term gives >= 3 and the
    // whole milliseconds add >= 3 more; the time is a whole number of
    // microseconds because the nanoseconds are divided as integers first.
    FrameStatistics stats;
    stats.begin();
    QThread::msleep(3);
    const double t = stats.end();
    EXPECT_GE(t, 6.0);
    EXPECT_NEAR(t * 1000.0, std::round(t * 1000.0), 1e-6);
}

TEST(FrameStatistics, HundredAndFirstFrameOverwritesSlotZero)
{
    FrameStatistics stats;
    const std::vector<double> t = recordFrames(stats, 101);

    EXPECT_EQ(stats.count(), 101);
    EXPECT_EQ(stats.times()[0], t[100]);
    for (int slot = 1; slot < FrameStatistics::kHistorySize; ++slot)
        EXPECT_EQ(stats.times()[slot], t[size_t(slot)]) << "slot " << slot;

    // The sum covers frames 2 to 101 ...
    double frames2to101 = 0.0;
    for (size_t n = 1; n <= 100; ++n)
        frames2to101 += t[n];
    EXPECT_NEAR(stats.sum(), frames2to101, 1e-9 * (1.0 + frames2to101));

    // ... and is kept by taking the old slot value away before adding the
    // new one, frame after frame.
    ZrnTest::expectHistory(stats, t);
}

TEST(FrameStatistics, MeanCoversAtMostTheLastHundredFrames)
{
    FrameStatistics few;
    const std::vector<double> t = recordFrames(few, 3);
    EXPECT_EQ(few.mean(), few.sum() / 3.0);
    EXPECT_EQ(few.sum(), (t[0] + t[1]) + t[2]);

    FrameStatistics many;
    ZrnTest::expectHistory(many, recordFrames(many, 150));
    EXPECT_EQ(many.mean(), many.sum() / 100.0);
}

TEST(FrameStatistics, EndWithoutBeginStillRecordsAFrame)
{
    FrameStatistics stats;
    const double t = stats.end();
    EXPECT_EQ(stats.count(), 1);
    EXPECT_EQ(stats.times()[0], t);
    EXPECT_EQ(stats.sum(), t);
    EXPECT_FALSE(stats.timer().isValid());
}
