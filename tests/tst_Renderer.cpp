// Building and querying a renderer: parameters, outputs, passes, groups,
// enabled flags, target, setup/teardown order and ownership.

#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <QtCore/QMetaType>

#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

using namespace Morvane::Zrn;
using ZrnTest::RecordingPass;

namespace {

struct Colour
{
    int r = 0;
};

} // namespace

Q_DECLARE_METATYPE(Colour)

TEST(RendererComposition, StartsWithRootOnlyAndNoTarget)
{
    Renderer renderer;
    EXPECT_EQ(renderer.getGraph().numNodesGlobal(), 1);
    EXPECT_EQ(renderer.numParameters(), 0);
    EXPECT_EQ(renderer.numOutputs(), 0);
    EXPECT_EQ(renderer.numRenderPasses(), 0);
    EXPECT_EQ(renderer.target(), Graph::kInvalidNodeRef);
    EXPECT_EQ(renderer.getNumPasses(), 0);
    EXPECT_EQ(renderer.frameCount(), 0);
    EXPECT_EQ(renderer.frameTimeSum(), 0.0);
    EXPECT_FALSE(renderer.frameTimer().isValid());
}

TEST(RendererComposition, AddParameterTwiceReturnsZeroThenOne)
{
    Renderer renderer;
    EXPECT_EQ(renderer.addParameter(QStringLiteral("gain"), 5), 0);
    EXPECT_EQ(renderer.addParameter(QStringLiteral("name"), QStringLiteral("x")), 1);
    EXPECT_EQ(renderer.numParameters(), 2);

    const Graph& g = renderer.getGraph();
    EXPECT_EQ(g.numInputs(Graph::kRootNodeRef), 2);
    EXPECT_EQ(g.inputName(Graph::kRootNodeRef, 1), QStringLiteral("name"));
    EXPECT_EQ(g.inputGroup(Graph::kRootNodeRef, 0), Graph::kInvalidGroupRef);
    EXPECT_EQ(renderer.parameterValue(0), QVariant(5));
    EXPECT_EQ(renderer.parameterValue(1), QVariant(QStringLiteral("x")));
}

TEST(RendererComposition, FindParameterByName)
{
    Renderer renderer;
    renderer.addParameter(QStringLiteral("a"), 1);
    renderer.addParameter(QStringLiteral("b"), 2);
    renderer.addParameter(QStringLiteral("b"), 3);
    EXPECT_EQ(renderer.findParameter(QStringLiteral("b")), 1);
    EXPECT_EQ(renderer.findParameter(QStringLiteral("B")), -1);
    EXPECT_EQ(renderer.findParameter(QStringLiteral("none")), -1);
}

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

TEST(RendererComposition, ParameterTypeFollowsItsValue)
{
    Renderer renderer;
    renderer.addParameter(QStringLiteral("i"), 5);
    renderer.addParameter(QStringLiteral("s"), QStringLiteral("x"));
    renderer.addParameter(QStringLiteral("none"), QVariant());
    renderer.addParameter(QStringLiteral("user"), QVariant::fromValue(Colour{3}));
    EXPECT_EQ(renderer.parameterType(0), QVariant::Int);
    EXPECT_EQ(renderer.parameterType(1), QVariant::String);
    EXPECT_EQ(renderer.parameterType(2), QVariant::Invalid);
    EXPECT_EQ(renderer.parameterType(3), QVariant::UserType);

    renderer.setParameter(0, 2.5);
    EXPECT_EQ(renderer.parameterType(0), QVariant::Double);
    EXPECT_EQ(renderer.parameterValue(0), QVariant(2.5));
}

TEST(RendererComposition, AddOutputStartsInvalid)
{
    Renderer renderer;
    EXPECT_EQ(renderer.addOutput(QStringLiteral("image")), 0);
    EXPECT_EQ(renderer.addOutput(QStringLiteral("depth")), 1);
    EXPECT_EQ(renderer.numOutputs(), 2);
    EXPECT_EQ(renderer.getGraph().numOutputs(Graph::kRootNodeRef), 2);
    EXPECT_EQ(renderer.getGraph().outputName(Graph::kRootNodeRef, 1), QStringLiteral("depth"));
    EXPECT_FALSE(renderer.output(0).isValid());
    EXPECT_EQ(renderer.outputType(0), QVariant::Invalid);
    EXPECT_EQ(renderer.findOutput(QStringLiteral("depth")), 1);
    EXPECT_EQ(renderer.findOutput(QStringLiteral("none")), -1);
}

QT_WARNING_POP

TEST(RendererComposition, AddPassMirrorsPortsAndStoresPassIndex)
{
    Renderer renderer;
    QStringList log;
    auto* first = new RecordingPass(QStringLiteral("first"), &log, 2, 1);
    auto* second = new RecordingPass(QStringLiteral("second"), &log, 1, 3);
    const int group = renderer.addGroup(QStringLiteral("group"), 1, 1, Graph::kRootNodeRef);
    const int a = renderer.addPass(QStringLiteral("A"), first, Graph::kRootNodeRef);
    const int b = renderer.addPass(QStringLiteral("B"), second, group);

    const Graph& g = renderer.getGraph();
    EXPECT_EQ(group, 1);
    EXPECT_EQ(a, 2);
    EXPECT_EQ(b, 3);
    EXPECT_EQ(g.nodeValue(group), -1);
    EXPECT_EQ(g.nodeValue(a), 0);
    EXPECT_EQ(g.nodeValue(b), 1);
    EXPECT_EQ(g.parentNode(b), group);
    EXPECT_EQ(g.nodeName(b), QStringLiteral("B"));
    EXPECT_EQ(g.numInputs(a), 2);
    EXPECT_EQ(g.numOutputs(a), 1);
    EXPECT_EQ(g.inputName(a, 1), QStringLiteral("in1"));
    EXPECT_EQ(g.numOutputs(b), 3);
    EXPECT_EQ(g.outputName(b, 2), QStringLiteral("out2"));
    EXPECT_EQ(renderer.numRenderPasses(), 2);
    EXPECT_EQ(renderer.renderPass(a), first);
    EXPECT_EQ(renderer.renderPass(b), second);
    EXPECT_TRUE(renderer.enabled(a));
    EXPECT_TRUE(renderer.enabled(b));
}

TEST(RendererComposition, AddPassRefusesNullPassOrInvalidParent)
{
    Renderer renderer;
    EXPECT_EQ(renderer.addPass(QStringLiteral("none"), nullptr, Graph::kRootNodeRef), Graph::kInvalidNodeRef);

    QStringList destroyed;
    auto pass = std::make_unique<RecordingPass>(QStringLiteral("P"), nullptr, 1, 1);
    pass->destroyed = &destroyed;
    EXPECT_EQ(renderer.addPass(QStringLiteral("P"), pass.get(), 42), Graph::kInvalidNodeRef);
    EXPECT_EQ(renderer.addPass(QStringLiteral("P"), pass.get(), Graph::kInvalidNodeRef), Graph::kInvalidNodeRef);

    EXPECT_EQ(renderer.numRenderPasses(), 0);
    EXPECT_EQ(renderer.getGraph().numNodesGlobal(), 1);
    pass.reset(); // still ours: destroyed exactly once, here
    EXPECT_EQ(destroyed, QStringList(QStringLiteral("P")));
}

// A pass whose port counts add up past INT_MAX: its node cannot be made.
class PassOfTooManyPorts : public RecordingPass
{
public:
    PassOfTooManyPorts(QStringList* log)
        : RecordingPass(QStringLiteral("huge"), log, 1, 0)
    {
    }
    int numOutputs() const override { return std::numeric_limits<int>::max(); }
};

TEST(RendererComposition, PassWhoseNodeCannotBeMadeThrowsAndIsNotTaken)
{
    QStringList destroyed;
    QStringList log;
    auto huge = std::make_unique<PassOfTooManyPorts>(&log);
    huge->destroyed = &destroyed;
    {
        Renderer renderer;
        auto* pass = new RecordingPass(QStringLiteral("P"), &log, 0, 1);
        pass->destroyed = &destroyed;
        ASSERT_EQ(renderer.addPass(QStringLiteral("P"), pass, Graph::kRootNodeRef), 1);
        const quint64 revision = renderer.getGraph().revision();

        EXPECT_THROW(renderer.addPass(QStringLiteral("huge"), huge.get(), Graph::kRootNodeRef), std::bad_alloc);
        EXPECT_EQ(renderer.numRenderPasses(), 1);
        EXPECT_EQ(renderer.getGraph().numNodesGlobal(), 2);
        EXPECT_EQ(renderer.getGraph().revision(), revision);

        // The next pass takes the next index and node; setup() reaches the
        // passes taken and nothing else.
        auto* next = new RecordingPass(QStringLiteral("Q"), &log, 1, 0);
        next->destroyed = &destroyed;
        const int q = renderer.addPass(QStringLiteral("Q"), next, Graph::kRootNodeRef);
        EXPECT_EQ(q, 2);
        EXPECT_EQ(renderer.getGraph().nodeValue(q), 1);
        EXPECT_EQ(renderer.renderPass(q), next);
        renderer.setup(nullptr);
        EXPECT_EQ(log, QStringList({QStringLiteral("P.setup()"), QStringLiteral("Q.setup()")}));
    }
    EXPECT_EQ(destroyed, QStringList({QStringLiteral("P"), QStringLiteral("Q")}));
    huge.reset(); // still ours
    EXPECT_EQ(destroyed, QStringList({QStringLiteral("P"), QStringLiteral("Q"), QStringLiteral("huge")}));
}

// A pass whose second output name cannot be given.
class PassWhoseNameThrows : public RecordingPass
{
public:
    PassWhoseNameThrows(QStringList* log)
        : RecordingPass(QStringLiteral("bad"), log, 1, 2)
    {
    }
    QString outputName(int output) const override
    {
        if (output == 1)
            throw std::runtime_error("no name");
        return RecordingPass::outputName(output);
    }
};

TEST(RendererComposition, PassWhoseNamesThrowIsNotTaken)
{
    QStringList destroyed;
    QStringList log;
    auto bad = std::make_unique<PassWhoseNameThrows>(&log);
    bad->destroyed = &destroyed;
    {
        Renderer renderer;
        const quint64 revision = renderer.getGraph().revision();
        EXPECT_THROW(renderer.addPass(QStringLiteral("bad"), bad.get(), Graph::kRootNodeRef), std::runtime_error);
        EXPECT_EQ(renderer.numRenderPasses(), 0);
        EXPECT_EQ(renderer.getGraph().numNodesGlobal(), 1);
        EXPECT_EQ(renderer.getGraph().revision(), revision);
        EXPECT_EQ(renderer.findPass(QStringLiteral("bad")), Graph::kInvalidNodeRef);
    }
    EXPECT_TRUE(destroyed.isEmpty());
    bad.reset(); // still ours
    EXPECT_EQ(destroyed, QStringList(QStringLiteral("bad")));
}

// A pass that counts its inputs as -1: it gets none, and its outputs keep
// their names.
class PassOfNegativeInputs : public RecordingPass
{
public:
    PassOfNegativeInputs()
        : RecordingPass(QStringLiteral("neg"), nullptr, 0, 2)
    {
    }
    int numInputs() const override { return -1; }
};

TEST(RendererComposition, PassOfNegativeInputCountGetsNoInputsAndNamedOutputs)
{
    Renderer renderer;
    const int node = renderer.addPass(QStringLiteral("neg"), new PassOfNegativeInputs, Graph::kRootNodeRef);
    ASSERT_EQ(node, 1);
    EXPECT_EQ(renderer.getGraph().numInputs(node), 0);
    ASSERT_EQ(renderer.getGraph().numOutputs(node), 2);
    EXPECT_EQ(renderer.getGraph().outputName(node, 0), QStringLiteral("out0"));
    EXPECT_EQ(renderer.getGraph().outputName(node, 1), QStringLiteral("out1"));
}

TEST(RendererComposition, AddGroupIsAPlainNode)
{
    Renderer renderer;
    const int group = renderer.addGroup(QStringLiteral("G"), 2, 3, Graph::kRootNodeRef);
    const int inner = renderer.addGroup(QStringLiteral("H"), 0, 0, group);
    const Graph& g = renderer.getGraph();
    EXPECT_EQ(g.numInputs(group), 2);
    EXPECT_EQ(g.numOutputs(group), 3);
    EXPECT_EQ(g.nodeValue(group), -1);
    EXPECT_EQ(g.parentNode(inner), group);
    EXPECT_EQ(renderer.numRenderPasses(), 0);
    EXPECT_EQ(renderer.addGroup(QStringLiteral("X"), 1, 1, 99), Graph::kInvalidNodeRef);
    EXPECT_EQ(g.numNodesGlobal(), 3);
}

TEST(RendererComposition, RenderPassOfRootGroupOrInvalidNodeIsNull)
{
    Renderer renderer;
    const int group = renderer.addGroup(QStringLiteral("G"), 0, 0, Graph::kRootNodeRef);
    EXPECT_EQ(renderer.renderPass(Graph::kRootNodeRef), nullptr);
    EXPECT_EQ(renderer.renderPass(group), nullptr);
    EXPECT_EQ(renderer.renderPass(Graph::kInvalidNodeRef), nullptr);
    EXPECT_EQ(renderer.renderPass(1000), nullptr);
}

TEST(RendererComposition, NodeValueOutsidePassRangeIsNotAPass)
{
    Renderer renderer;
    const int group = renderer.addGroup(QStringLiteral("G"), 0, 0, Graph::kRootNodeRef);
    renderer.getGraph().setNodeValue(group, 5); // no pass 5
    EXPECT_EQ(renderer.renderPass(group), nullptr);
    EXPECT_FALSE(renderer.enabled(group));
    renderer.setEnabled(group, true); // ignored
    EXPECT_FALSE(renderer.enabled(group));
}

TEST(RendererComposition, FindPassSearchesTheTopLevel)
{
    Renderer renderer;
    const int group = renderer.addGroup(QStringLiteral("G"), 0, 0, Graph::kRootNodeRef);
    const int top = renderer.addPass(QStringLiteral("top"), new RecordingPass(QStringLiteral("top"), nullptr, 0, 0),
                                     Graph::kRootNodeRef);
    renderer.addPass(QStringLiteral("nested"), new RecordingPass(QStringLiteral("nested"), nullptr, 0, 0), group);
    EXPECT_EQ(renderer.findPass(QStringLiteral("top")), top);
    EXPECT_EQ(renderer.findPass(QStringLiteral("G")), group);
    EXPECT_EQ(renderer.findPass(QStringLiteral("nested")), Graph::kInvalidNodeRef);
    EXPECT_EQ(renderer.findPass(QStringLiteral("unknown")), Graph::kInvalidNodeRef);
}

TEST(RendererComposition, EnabledFlagsOnlyForPassNodes)
{
    Renderer renderer;
    const int group = renderer.addGroup(QStringLiteral("G"), 0, 0, Graph::kRootNodeRef);
    const int a = renderer.addPass(QStringLiteral("A"), new RecordingPass(QStringLiteral("A"), nullptr, 0, 0),
                                   Graph::kRootNodeRef);
    const int b = renderer.addPass(QStringLiteral("B"), new RecordingPass(QStringLiteral("B"), nullptr, 0, 0),
                                   Graph::kRootNodeRef);
    renderer.setEnabled(a, false);
    EXPECT_FALSE(renderer.enabled(a));
    EXPECT_TRUE(renderer.enabled(b));
    renderer.setEnabled(a, true);
    EXPECT_TRUE(renderer.enabled(a));

    renderer.setEnabled(group, false); // ignored, nothing else changes
    renderer.setEnabled(Graph::kRootNodeRef, false);
    renderer.setEnabled(Graph::kInvalidNodeRef, false);
    renderer.setEnabled(77, false);
    EXPECT_FALSE(renderer.enabled(group));
    EXPECT_FALSE(renderer.enabled(Graph::kRootNodeRef));
    EXPECT_FALSE(renderer.enabled(Graph::kInvalidNodeRef));
    EXPECT_TRUE(renderer.enabled(a));
    EXPECT_TRUE(renderer.enabled(b));
}

TEST(RendererComposition, SetTargetIsReadBack)
{
    Renderer renderer;
    const int a = renderer.addPass(QStringLiteral("A"), new RecordingPass(QStringLiteral("A"), nullptr, 0, 0),
                                   Graph::kRootNodeRef);
    renderer.setTarget(a);
    EXPECT_EQ(renderer.target(), a);
    renderer.setTarget(Graph::kInvalidNodeRef);
    EXPECT_EQ(renderer.target(), Graph::kInvalidNodeRef);
}

TEST(RendererComposition, GetNumPassesIsZeroBeforeTheFirstFrame)
{
    Renderer renderer;
    renderer.setTarget(renderer.addPass(QStringLiteral("A"), new RecordingPass(QStringLiteral("A"), nullptr, 0, 0),
                                        Graph::kRootNodeRef));
    EXPECT_EQ(renderer.numRenderPasses(), 1);
    EXPECT_EQ(renderer.getNumPasses(), 0);
}

TEST(RendererComposition, SetupAndTeardownVisitEveryPassInPassIndexOrder)
{
    QStringList log;
    Renderer renderer;
    const int group = renderer.addGroup(QStringLiteral("G"), 0, 0, Graph::kRootNodeRef);
    renderer.addPass(QStringLiteral("p0"), new RecordingPass(QStringLiteral("p0"), &log, 0, 0), group);
    const int p1 = renderer.addPass(QStringLiteral("p1"), new RecordingPass(QStringLiteral("p1"), &log, 0, 0),
                                    Graph::kRootNodeRef);
    renderer.addPass(QStringLiteral("p2"), new RecordingPass(QStringLiteral("p2"), &log, 0, 0), group);
    renderer.setEnabled(p1, false); // disabled passes are set up and torn down too

    renderer.setup(nullptr);
    EXPECT_EQ(log,
              QStringList({QStringLiteral("p0.setup()"), QStringLiteral("p1.setup()"), QStringLiteral("p2.setup()")}));
    log.clear();
    renderer.teardown(nullptr);
    EXPECT_EQ(log,
              QStringList(
                  {QStringLiteral("p0.teardown()"), QStringLiteral("p1.teardown()"), QStringLiteral("p2.teardown()")}));
}

TEST(RendererComposition, DestroysPassesInPassIndexOrder)
{
    QStringList destroyed;
    {
        Renderer renderer;
        const int group = renderer.addGroup(QStringLiteral("G"), 0, 0, Graph::kRootNodeRef);
        auto add = [&](const QString& name, int parent) {
            auto* pass = new RecordingPass(name, nullptr, 0, 0);
            pass->destroyed = &destroyed;
            return renderer.addPass(name, pass, parent);
        };
        add(QStringLiteral("p0"), group);
        const int p1 = add(QStringLiteral("p1"), Graph::kRootNodeRef);
        add(QStringLiteral("p2"), group);
        renderer.setEnabled(p1, false); // destroyed all the same
        EXPECT_TRUE(destroyed.isEmpty());
    }
    EXPECT_EQ(destroyed, QStringList({QStringLiteral("p0"), QStringLiteral("p1"), QStringLiteral("p2")}));
}

TEST(RendererComposition, PassAddedTwiceGetsTwoNodesAndIsDestroyedOnce)
{
    QStringList destroyed;
    QStringList log;
    {
        Renderer renderer;
        auto* pass = new RecordingPass(QStringLiteral("P"), &log, 0, 1);
        pass->destroyed = &destroyed;
        auto* other = new RecordingPass(QStringLiteral("Q"), &log, 0, 0);
        other->destroyed = &destroyed;
        const int first = renderer.addPass(QStringLiteral("first"), pass, Graph::kRootNodeRef);
        const int between = renderer.addPass(QStringLiteral("Q"), other, Graph::kRootNodeRef);
        const int second = renderer.addPass(QStringLiteral("second"), pass, Graph::kRootNodeRef);
        EXPECT_EQ(first, 1);
        EXPECT_EQ(between, 2);
        EXPECT_EQ(second, 3);
        EXPECT_EQ(renderer.getGraph().nodeValue(first), 0);
        EXPECT_EQ(renderer.getGraph().nodeValue(second), 2);
        EXPECT_EQ(renderer.numRenderPasses(), 3);
        EXPECT_EQ(renderer.renderPass(first), pass);
        EXPECT_EQ(renderer.renderPass(second), pass);

        // Both indices hold the pass: setup() reaches it at each of them.
        renderer.setup(nullptr);
        EXPECT_EQ(ZrnTest::callsOf(log, QStringLiteral("P")),
                  QStringList({QStringLiteral("P.setup()"), QStringLiteral("P.setup()")}));
    }
    EXPECT_EQ(destroyed, QStringList({QStringLiteral("P"), QStringLiteral("Q")}));
}

// ---------------------------------------------------------------- indices out of range
//
// A release build answers a parameter or output index out of range with a
// neutral value and ignores the setter; a debug build stops on a Q_ASSERT.

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED

#ifdef QT_NO_DEBUG
TEST(RendererComposition, IndicesOutOfRangeGetNeutralAnswers)
{
    Renderer renderer;
    renderer.addParameter(QStringLiteral("gain"), 5);
    renderer.addOutput(QStringLiteral("image"));

    for (int bad : {-1, 1, 3, 9}) {
        renderer.setParameter(bad, 42);
        EXPECT_FALSE(renderer.parameterValue(bad).isValid()) << bad;
        EXPECT_EQ(renderer.parameterType(bad), QVariant::Invalid) << bad;
        EXPECT_FALSE(renderer.output(bad).isValid()) << bad;
        EXPECT_EQ(renderer.outputType(bad), QVariant::Invalid) << bad;
    }
    EXPECT_EQ(renderer.numParameters(), 1);
    EXPECT_EQ(renderer.parameterValue(0), QVariant(5));
    EXPECT_EQ(renderer.parameterType(0), QVariant::Int);
    EXPECT_EQ(renderer.numOutputs(), 1);
    EXPECT_FALSE(renderer.output(0).isValid());
}
#else
TEST(RendererCompositionDeathTest, IndicesOutOfRangeAssertInDebugBuilds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Renderer renderer;
    renderer.addParameter(QStringLiteral("gain"), 5);
    renderer.addOutput(QStringLiteral("image"));
    EXPECT_DEATH(renderer.setParameter(3, 1), "parameter out of range");
    EXPECT_DEATH(renderer.parameterValue(-1), "parameter out of range");
    EXPECT_DEATH(renderer.parameterType(1), "parameter out of range");
    EXPECT_DEATH(renderer.output(9), "output out of range");
    EXPECT_DEATH(renderer.outputType(-1), "output out of range");
}
#endif

QT_WARNING_POP
