// Groups with named ports, passes and groups found by path, per-pass frame
// statistics read through the renderer, and the wall-clock frame reading.

#include "RenderTestPasses.h"

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>

#include <gtest/gtest.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QStringList>

using Morvane::Zrn::FrameStatistics;
using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderCallbacks;
using Morvane::Zrn::Renderer;
using ZrnTest::RecordingPass;

namespace {

// A pass that is not a RenderPassHelper: one input "in", one output "out".
class PlainPass : public Morvane::Zrn::RenderPass
{
public:
    void setup(RenderCallbacks*) override { }
    void beginFrame(RenderCallbacks*) override { }
    void start(RenderCallbacks*) override { }
    void endFrame(RenderCallbacks*) override { }
    void teardown(RenderCallbacks*) override { }
    int numInputs() const override { return 1; }
    int numOutputs() const override { return 1; }
    QString inputName(int) const override { return QStringLiteral("in"); }
    QString outputName(int) const override { return QStringLiteral("out"); }
    void setInput(int, const QVariant&) override { }
    QVariant defaultValue(int) const override { return QVariant(); }
    void setDefaultValue(int, const QVariant&) override { }
    QVariant output(int) const override { return QVariant(); }
    void setNumOutputUsers(int, int) override { }
    void resetNumOutputUsers() override { }
    unsigned int errorCode() const override { return 0; }
    void setErrorCode(unsigned int) override { }
};

//   root
//   +-- post(1)            group
//   |   +-- inner(2)       group
//   |   |   +-- blur(3)    pass
//   |   +-- blur(4)        pass, first "blur" of post
//   |   +-- blur(5)        pass, second "blur" of post
//   +-- post(6)            group, second "post": holds "tone"
//   |   +-- tone(7)        pass
//   +-- blur(8)            pass at the top level
struct Nested
{
    QStringList log;
    Renderer r;
    int post = r.addGroup(QStringLiteral("post"), 0, 0, Graph::kRootNodeRef);
    int inner = r.addGroup(QStringLiteral("inner"), 0, 0, post);
    int innerBlur = r.addPass(QStringLiteral("blur"), new RecordingPass(QStringLiteral("ib"), &log, 0, 0), inner);
    int blur1 = r.addPass(QStringLiteral("blur"), new RecordingPass(QStringLiteral("b1"), &log, 0, 0), post);
    int blur2 = r.addPass(QStringLiteral("blur"), new RecordingPass(QStringLiteral("b2"), &log, 0, 0), post);
    int post2 = r.addGroup(QStringLiteral("post"), 0, 0, Graph::kRootNodeRef);
    int tone = r.addPass(QStringLiteral("tone"), new RecordingPass(QStringLiteral("t"), &log, 0, 0), post2);
    int topBlur =
        r.addPass(QStringLiteral("blur"), new RecordingPass(QStringLiteral("tb"), &log, 0, 0), Graph::kRootNodeRef);
};

} // namespace

// ---------------------------------------------------------------- groups with named ports

TEST(RendererGroups, NamedPortsAreCreatedInOrder)
{
    Renderer r;
    const int g = r.addGroup(QStringLiteral("post"), QStringList{QStringLiteral("colour"), QStringLiteral("depth")},
                             QStringList{QStringLiteral("image")}, Graph::kRootNodeRef);
    const Graph& graph = r.getGraph();
    EXPECT_EQ(g, 1);
    EXPECT_EQ(graph.nodeName(g), QStringLiteral("post"));
    EXPECT_EQ(graph.nodeValue(g), -1);
    EXPECT_EQ(r.renderPass(g), nullptr);
    ASSERT_EQ(graph.numInputs(g), 2);
    ASSERT_EQ(graph.numOutputs(g), 1);
    EXPECT_EQ(graph.inputName(g, 0), QStringLiteral("colour"));
    EXPECT_EQ(graph.inputName(g, 1), QStringLiteral("depth"));
    EXPECT_EQ(graph.outputName(g, 0), QStringLiteral("image"));
    EXPECT_EQ(graph.inputGroup(g, 0), -1);
    EXPECT_EQ(graph.numInputGroups(g), 0);
}

TEST(RendererGroups, NamedGroupIsWiredByNameAndRenders)
{
    //   parameter "colour" -> post.colour -down-> grade.in0 ... grade.out0 -up-> post.image -> output "image"
    QStringList log;
    Renderer r;
    r.addParameter(QStringLiteral("colour"), QStringLiteral("red"));
    r.addOutput(QStringLiteral("image"));
    const int post = r.addGroup(QStringLiteral("post"), QStringList{QStringLiteral("colour")},
                                QStringList{QStringLiteral("image")}, Graph::kRootNodeRef);
    auto* pass = new RecordingPass(QStringLiteral("grade"), &log, 1, 1);
    const int grade = r.addPass(QStringLiteral("grade"), pass, post);
    Graph& g = r.getGraph();
    g.setInputName(grade, 0, QStringLiteral("colour"));
    g.setOutputName(grade, 0, QStringLiteral("image"));
    g.connectDownByName(post);
    g.connectDownByName(grade);
    // The group's output goes up first: connectUpByName() passes over a
    // child output that is already fed from inside.
    g.connectUpByName(post);
    g.connectUpByName(grade);
    EXPECT_EQ(g.numEdgesGlobal(), 4);
    r.setTarget(grade);
    EXPECT_TRUE(r.render(nullptr));
    EXPECT_EQ(pass->inputValue(0), QVariant(QStringLiteral("red")));
    EXPECT_EQ(r.output(0), QVariant(QStringLiteral("grade.0@1")));
}

TEST(RendererGroups, InvalidParentAddsNothing)
{
    Renderer r;
    EXPECT_EQ(r.addGroup(QStringLiteral("g"), QStringList{QStringLiteral("a")}, QStringList(), 7), -1);
    EXPECT_EQ(r.addGroup(QStringLiteral("g"), QStringList(), QStringList(), -1), -1);
    EXPECT_EQ(r.getGraph().numNodesGlobal(), 1);
    EXPECT_EQ(r.getGraph().numInputs(Graph::kRootNodeRef), 0);
}

TEST(RendererGroups, NoNamesGiveAGroupWithoutPorts)
{
    Renderer r;
    const int g = r.addGroup(QStringLiteral("g"), QStringList(), QStringList(), Graph::kRootNodeRef);
    EXPECT_EQ(g, 1);
    EXPECT_EQ(r.getGraph().numInputs(g), 0);
    EXPECT_EQ(r.getGraph().numOutputs(g), 0);
}

// ---------------------------------------------------------------- paths

TEST(RendererPaths, NestedPathsFindPassesAndGroups)
{
    Nested f;
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("post")), f.post);
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("post/inner")), f.inner);
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("post/inner/blur")), f.innerBlur);
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("blur")), f.topBlur);
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("blur")), f.r.findPass(QStringLiteral("blur")));
}

TEST(RendererPaths, DuplicateNamesTakeTheFirstInCreationOrder)
{
    Nested f;
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("post/blur")), f.blur1);
    // The first "post" has no "tone", and the search does not go on to the
    // second "post", which has.
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("post/tone")), Graph::kInvalidNodeRef);
    EXPECT_EQ(f.r.passPath(f.tone), QStringLiteral("post/tone"));
}

TEST(RendererPaths, MalformedOrUnknownPathsFindNothing)
{
    Nested f;
    for (const char* path : {"", "/", "post/", "/post", "post//blur", "nothing", "post/inner/blur/deeper", "Post"})
        EXPECT_EQ(f.r.findPassByPath(QString::fromLatin1(path)), Graph::kInvalidNodeRef) << path;
}

TEST(RendererPaths, PathOfANodeIsItsNamesFromTheTop)
{
    Nested f;
    EXPECT_EQ(f.r.passPath(f.innerBlur), QStringLiteral("post/inner/blur"));
    EXPECT_EQ(f.r.passPath(f.blur2), QStringLiteral("post/blur"));
    EXPECT_EQ(f.r.passPath(f.topBlur), QStringLiteral("blur"));
    EXPECT_EQ(f.r.passPath(Graph::kRootNodeRef), QString());
    EXPECT_EQ(f.r.passPath(-1), QString());
    EXPECT_EQ(f.r.passPath(99), QString());
}

TEST(RendererPaths, RemovedNodesAreNotFound)
{
    Nested f;
    f.r.getGraph().removeNode(f.inner);
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("post/inner")), Graph::kInvalidNodeRef);
    EXPECT_EQ(f.r.findPassByPath(QStringLiteral("post/inner/blur")), Graph::kInvalidNodeRef);
    EXPECT_EQ(f.r.passPath(f.innerBlur), QString());
}

// purge() keeps parent fields as they were: here c, now node 2, still names
// slot 3, past the end of the storage. Its path stops where the parents stop
// being live nodes, in the renderer and in the frame report alike, and
// stops as well once a node made in that slot closes a loop of parents.
TEST(RendererPaths, PathStopsAtAParentThatAStalePurgeLeftBeyondTheStorage)
{
    QStringList log;
    Renderer r;
    const int x = r.addPass(QStringLiteral("x"), new RecordingPass(QStringLiteral("x"), &log, 0, 0), 0);
    const int y = r.addPass(QStringLiteral("y"), new RecordingPass(QStringLiteral("y"), &log, 0, 0), 0);
    const int g = r.addGroup(QStringLiteral("g"), 0, 0, Graph::kRootNodeRef);
    const int c = r.addPass(QStringLiteral("c"), new RecordingPass(QStringLiteral("c"), &log, 0, 0), g);
    EXPECT_EQ(r.passPath(c), QStringLiteral("g/c"));
    r.getGraph().removeNode(x);
    r.getGraph().removeNode(y);
    r.getGraph().purge();
    ASSERT_EQ(r.getGraph().numNodesGlobal(), 3);
    ASSERT_EQ(r.getGraph().parentNode(2), 3);
    EXPECT_EQ(r.passPath(1), QStringLiteral("g"));
    EXPECT_EQ(r.passPath(2), QStringLiteral("c"));
    r.setTarget(2);
    r.setFrameReportEnabled(true);
    EXPECT_TRUE(r.render(nullptr));
    EXPECT_EQ(log,
              QStringList({QStringLiteral("c.resetNumOutputUsers()"), QStringLiteral("c.setErrorCode(0)"),
                           QStringLiteral("c.beginFrame()"), QStringLiteral("c.start()"),
                           QStringLiteral("c.isFinished()"), QStringLiteral("c.endFrame()"),
                           QStringLiteral("c.errorCode()")}));
    EXPECT_TRUE(r.frameReport().text(r.getGraph()).startsWith(QStringLiteral("frame 0: succeeded, 1 run, target c\n")));

    // A node made in that slot, under c, closes a loop of parents: a path
    // then holds as many names as there are node slots, here four.
    ASSERT_EQ(r.getGraph().addNode(QStringLiteral("n"), 0, 0, 2), 3);
    ASSERT_EQ(r.getGraph().parentNode(3), 2);
    EXPECT_EQ(r.passPath(2), QStringLiteral("n/c/n/c"));
    EXPECT_EQ(r.passPath(3), QStringLiteral("c/n/c/n"));
    EXPECT_TRUE(
        r.frameReport().text(r.getGraph()).startsWith(QStringLiteral("frame 0: succeeded, 1 run, target n/c/n/c\n")));
}

// ---------------------------------------------------------------- statistics

TEST(RendererPassStatistics, HelperPassesAnswerWithTheirOwnRecord)
{
    QStringList log;
    Renderer r;
    auto* pass = new RecordingPass(QStringLiteral("a"), &log, 0, 0);
    const int a = r.addPass(QStringLiteral("a"), pass, Graph::kRootNodeRef);
    r.setTarget(a);
    ASSERT_TRUE(r.render(nullptr));
    ASSERT_TRUE(r.render(nullptr));
    const FrameStatistics& stats = r.passFrameStatistics(a);
    EXPECT_EQ(&stats, &pass->frameStatistics());
    EXPECT_EQ(stats.count(), 2);
    EXPECT_EQ(stats.sum(), pass->frameTimeSum());
}

TEST(RendererPassStatistics, OtherNodesAnswerWithNoFrames)
{
    Renderer r;
    const int plain = r.addPass(QStringLiteral("plain"), new PlainPass, Graph::kRootNodeRef);
    const int group = r.addGroup(QStringLiteral("g"), 0, 0, Graph::kRootNodeRef);
    r.setTarget(plain);
    ASSERT_TRUE(r.render(nullptr));
    for (int node : {plain, group, int(Graph::kRootNodeRef), -1, 42}) {
        const FrameStatistics& stats = r.passFrameStatistics(node);
        EXPECT_EQ(stats.count(), 0) << node;
        EXPECT_EQ(stats.sum(), 0.0) << node;
        EXPECT_EQ(stats.mean(), 0.0) << node;
        EXPECT_EQ(stats.lastMilliseconds(), 0.0) << node;
    }
}

// ---------------------------------------------------------------- wall clock

TEST(RendererWallClock, IsZeroBeforeTheFirstFrame)
{
    Renderer r;
    EXPECT_EQ(r.lastFrameMilliseconds(), 0.0);
    EXPECT_EQ(FrameStatistics().lastMilliseconds(), 0.0);
}

TEST(RendererWallClock, FrameTimeIsAboutTwiceTheWallClockMilliseconds)
{
    FrameStatistics stats;
    stats.begin();
    QElapsedTimer spin;
    spin.start();
    while (spin.nsecsElapsed() < 3000000) {
    }
    const double t = stats.end();
    const double ms = stats.lastMilliseconds();
    EXPECT_GE(ms, 3.0);
    EXPECT_LT(ms, 1000.0);
    // t = whole microseconds in ms + whole milliseconds, read just after.
    EXPECT_GE(t, 2.0 * ms - 1.001);
    EXPECT_LE(t, 2.0 * ms + 20.0); // room for a preemption between the two readings
}

TEST(RendererWallClock, RendererReadsItsOwnLastFrame)
{
    QStringList log;
    Renderer r;
    const int a =
        r.addPass(QStringLiteral("a"), new RecordingPass(QStringLiteral("a"), &log, 0, 0), Graph::kRootNodeRef);
    r.setTarget(a);
    ASSERT_TRUE(r.render(nullptr));
    EXPECT_EQ(r.lastFrameMilliseconds(), r.frameStatistics().lastMilliseconds());
    EXPECT_GT(r.lastFrameMilliseconds(), 0.0);
    EXPECT_LE(r.frameTimes()[0], 2.0 * r.lastFrameMilliseconds() + 20.0);
    EXPECT_GE(r.frameTimes()[0], 2.0 * r.lastFrameMilliseconds() - 1.001);
}
