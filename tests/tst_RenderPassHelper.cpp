// The helper base: ports, values, user counts, error code, frame timing.

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>

#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Morvane::Zrn;

namespace {

// Opens the protected fields for inspection.
class OpenHelper : public RenderPassHelper
{
public:
    using RenderPassHelper::defaultValues;
    using RenderPassHelper::inputs;
    using RenderPassHelper::outputs;
    using RenderPassHelper::outputUsers;
};

} // namespace

TEST(RenderPassHelper, StartsEmpty)
{
    OpenHelper h;
    EXPECT_EQ(h.numInputs(), 0);
    EXPECT_EQ(h.numOutputs(), 0);
    EXPECT_EQ(h.errorCode(), 0u);
    EXPECT_EQ(h.frameCount(), 0);
    EXPECT_EQ(h.frameTimeSum(), 0.0);
    EXPECT_FALSE(h.frameTimer().isValid());
    for (int i = 0; i < FrameStatistics::kHistorySize; ++i)
        EXPECT_EQ(h.frameTimes()[i], 0.0);
    EXPECT_TRUE(h.isFinished());
}

TEST(RenderPassHelper, AddInputReturnsIndicesInOrder)
{
    OpenHelper h;
    EXPECT_EQ(h.addInput(QStringLiteral("a"), 1), 0);
    EXPECT_EQ(h.addInput(QStringLiteral("b"), 2), 1);
    EXPECT_EQ(h.addInput(QStringLiteral("c"), 3), 2);
    EXPECT_EQ(h.numInputs(), 3);
    EXPECT_EQ(h.inputName(1), QStringLiteral("b"));
    EXPECT_EQ(h.defaultValue(2), QVariant(3));
    EXPECT_EQ(h.defaultValues.size(), 3);
}

TEST(RenderPassHelper, NewInputValueIsInvalidNotItsDefault)
{
    OpenHelper h;
    h.addInput(QStringLiteral("a"), 5);
    EXPECT_FALSE(h.inputs.at(0).value.isValid());
    EXPECT_EQ(h.defaultValue(0), QVariant(5));
}

TEST(RenderPassHelper, AddOutputStartsInvalidWithNoUsers)
{
    OpenHelper h;
    EXPECT_EQ(h.addOutput(QStringLiteral("x")), 0);
    EXPECT_EQ(h.addOutput(QStringLiteral("y")), 1);
    EXPECT_EQ(h.numOutputs(), 2);
    EXPECT_EQ(h.outputName(1), QStringLiteral("y"));
    EXPECT_FALSE(h.output(0).isValid());
    EXPECT_EQ(h.numOutputUsers(0), 0);
    EXPECT_EQ(h.outputUsers.size(), 2);
}

TEST(RenderPassHelper, FindReturnsFirstExactMatchOrMinusOne)
{
    OpenHelper h;
    h.addInput(QStringLiteral("color"), QVariant());
    h.addInput(QStringLiteral("depth"), QVariant());
    h.addInput(QStringLiteral("depth"), QVariant());
    h.addOutput(QStringLiteral("out"));
    h.addOutput(QStringLiteral("out"));

    EXPECT_EQ(h.findInput(QStringLiteral("depth")), 1);
    EXPECT_EQ(h.findInput(QStringLiteral("Depth")), -1);
    EXPECT_EQ(h.findInput(QStringLiteral("normal")), -1);
    EXPECT_EQ(h.findOutput(QStringLiteral("out")), 0);
    EXPECT_EQ(h.findOutput(QStringLiteral("OUT")), -1);
    EXPECT_EQ(h.findOutput(QStringLiteral("none")), -1);
}

TEST(RenderPassHelper, SetInputAndOutputValues)
{
    OpenHelper h;
    h.addInput(QStringLiteral("a"), 1);
    h.addOutput(QStringLiteral("x"));
    h.setInput(0, QStringLiteral("fed"));
    EXPECT_EQ(h.inputs.at(0).value, QVariant(QStringLiteral("fed")));
    h.outputs[0].value = 9;
    EXPECT_EQ(h.output(0), QVariant(9));
}

TEST(RenderPassHelper, SetDefaultValueLeavesCurrentValue)
{
    OpenHelper h;
    h.addInput(QStringLiteral("a"), 1);
    h.setInput(0, 7); // differs from both defaults
    h.setDefaultValue(0, 2);
    EXPECT_EQ(h.defaultValue(0), QVariant(2));
    EXPECT_EQ(h.inputs.at(0).value, QVariant(7));
}

TEST(RenderPassHelper, NewDefaultArrivesWithTheNextDelivery)
{
    QStringList log;
    Renderer renderer;
    auto* pass = new ZrnTest::RecordingPass(QStringLiteral("P"), &log, 1, 0);
    renderer.setTarget(renderer.addPass(QStringLiteral("P"), pass, Graph::kRootNodeRef));

    ASSERT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(pass->inputValue(0), QVariant(QStringLiteral("P.default0")));
    pass->setDefaultValue(0, QStringLiteral("new"));
    EXPECT_EQ(pass->inputValue(0), QVariant(QStringLiteral("P.default0")));
    ASSERT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(pass->inputValue(0), QVariant(QStringLiteral("new")));
}

TEST(RenderPassHelper, SetNumOutputUsersStoresAnyCount)
{
    OpenHelper h;
    h.addOutput(QStringLiteral("x"));
    h.addOutput(QStringLiteral("y"));
    h.setNumOutputUsers(0, 5);
    h.setNumOutputUsers(1, -2);
    EXPECT_EQ(h.numOutputUsers(0), 5);
    EXPECT_EQ(h.numOutputUsers(1), -2);
}

TEST(RenderPassHelper, ResetNumOutputUsersZeroesAndKeepsLength)
{
    OpenHelper h;
    h.addOutput(QStringLiteral("x"));
    h.addOutput(QStringLiteral("y"));
    h.addOutput(QStringLiteral("z"));
    h.setNumOutputUsers(0, 4);
    h.setNumOutputUsers(2, 1);
    h.resetNumOutputUsers();
    EXPECT_EQ(h.outputUsers, QVector<int>({0, 0, 0}));
}

TEST(RenderPassHelper, ErrorCodeIsStored)
{
    OpenHelper h;
    h.setErrorCode(3);
    EXPECT_EQ(h.errorCode(), 3u);
    h.setErrorCode(0);
    EXPECT_EQ(h.errorCode(), 0u);
}

TEST(RenderPassHelper, SetupStartTeardownChangeNothing)
{
    OpenHelper h;
    h.addInput(QStringLiteral("a"), 1);
    h.addOutput(QStringLiteral("x"));
    h.setInput(0, 7);
    h.outputs[0].value = 8;
    h.setErrorCode(2);
    h.setup(nullptr);
    h.start(nullptr);
    h.teardown(nullptr);
    EXPECT_EQ(h.inputs.at(0).value, QVariant(7));
    EXPECT_EQ(h.output(0), QVariant(8));
    EXPECT_EQ(h.errorCode(), 2u);
    EXPECT_EQ(h.frameCount(), 0);
}

TEST(RenderPassHelper, BeginFrameStartsTimerAndEndFrameRecords)
{
    OpenHelper h;
    h.beginFrame(nullptr);
    EXPECT_TRUE(h.frameTimer().isValid());
    h.endFrame(nullptr);
    EXPECT_FALSE(h.frameTimer().isValid());
    EXPECT_EQ(h.frameCount(), 1);
    EXPECT_EQ(h.frameTimeSum(), h.frameTimes()[0]);
    EXPECT_EQ(h.frameStatistics().count(), 1);
}

TEST(RenderPassHelper, HundredAndOneFramesKeepTheLastHundred)
{
    OpenHelper h;
    std::vector<double> t;
    for (int n = 0; n < 101; ++n) {
        h.beginFrame(nullptr);
        ZrnTest::spinPast(h.frameTimer(), t.empty() ? 0.0 : t.back()); // each frame longer than the last
        h.endFrame(nullptr);
        t.push_back(h.frameTimes()[n % 100]); // what this frame recorded
    }
    EXPECT_EQ(h.frameCount(), 101);
    EXPECT_EQ(h.frameTimes()[0], t[100]);
    EXPECT_EQ(h.frameTimes()[1], t[1]);
    double frames2to101 = 0.0;
    for (size_t n = 1; n <= 100; ++n)
        frames2to101 += t[n];
    EXPECT_NEAR(h.frameTimeSum(), frames2to101, 1e-9 * (1.0 + frames2to101));
    EXPECT_EQ(h.meanFrameTime(), h.frameTimeSum() / 100.0);
    // Every slot, and the sum exactly as subtract-then-add keeps it.
    ZrnTest::expectHistory(h.frameStatistics(), t);
}

TEST(RenderPassHelper, EndFrameWithoutBeginFrameStillCounts)
{
    OpenHelper h;
    h.endFrame(nullptr);
    EXPECT_EQ(h.frameCount(), 1);
    EXPECT_EQ(h.frameTimeSum(), h.frameTimes()[0]);
}

// ---------------------------------------------------------------- indices out of range
//
// A release build answers an index outside the lists with a neutral value and
// leaves everything as it was; a debug build stops on a Q_ASSERT instead.

#ifdef QT_NO_DEBUG
TEST(RenderPassHelper, IndicesOutOfRangeGetNeutralAnswers)
{
    OpenHelper h;
    h.addInput(QStringLiteral("in"), 7);
    h.addOutput(QStringLiteral("out"));
    h.setInput(0, 1);
    h.outputs[0].value = 2;
    h.setNumOutputUsers(0, 3);

    for (int bad : {-1, 1, 99}) {
        EXPECT_EQ(h.inputName(bad), QString()) << bad;
        EXPECT_EQ(h.outputName(bad), QString()) << bad;
        EXPECT_FALSE(h.defaultValue(bad).isValid()) << bad;
        EXPECT_FALSE(h.output(bad).isValid()) << bad;
        EXPECT_EQ(h.numOutputUsers(bad), -1) << bad;
        h.setInput(bad, 10);
        h.setDefaultValue(bad, 11);
        h.setNumOutputUsers(bad, 12);
    }

    ASSERT_EQ(h.inputs.size(), 1);
    ASSERT_EQ(h.defaultValues.size(), 1);
    ASSERT_EQ(h.outputs.size(), 1);
    ASSERT_EQ(h.outputUsers.size(), 1);
    EXPECT_EQ(h.inputs[0].value, QVariant(1));
    EXPECT_EQ(h.defaultValues[0], QVariant(7));
    EXPECT_EQ(h.outputs[0].value, QVariant(2));
    EXPECT_EQ(h.outputUsers[0], 3);
}
#else
TEST(RenderPassHelperDeathTest, IndicesOutOfRangeAssertInDebugBuilds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    OpenHelper h;
    h.addInput(QStringLiteral("in"), 7);
    h.addOutput(QStringLiteral("out"));
    EXPECT_DEATH(h.inputName(1), "input out of range");
    EXPECT_DEATH(h.outputName(-1), "output out of range");
    EXPECT_DEATH(h.setInput(99, 1), "input out of range");
    EXPECT_DEATH(h.defaultValue(1), "input out of range");
    EXPECT_DEATH(h.setDefaultValue(-1, 1), "input out of range");
    EXPECT_DEATH(h.output(1), "output out of range");
    EXPECT_DEATH(h.numOutputUsers(1), "output out of range");
    EXPECT_DEATH(h.setNumOutputUsers(9, 1), "output out of range");
}
#endif
