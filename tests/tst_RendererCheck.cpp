// Renderer::checkSetup(): one renderer built to show each finding, and a
// sound renderer that shows none.

#include "RenderTestPasses.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>
#include <ZrnCore/RendererCheck.h>

#include <gtest/gtest.h>

#include <QtCore/QStringList>

using Morvane::Zrn::Graph;
using Morvane::Zrn::Renderer;
using Morvane::Zrn::SetupFinding;
using Morvane::Zrn::SetupIssue;
using ZrnTest::RecordingPass;

namespace {

// Each finding as "<issue> <node> <path>: <message>", for whole comparisons.
QStringList lines(const QVector<SetupFinding>& findings)
{
    QStringList out;
    for (const SetupFinding& f : findings) {
        out << QStringLiteral("%1 %2 %3: %4")
                   .arg(QLatin1String(Morvane::Zrn::setupIssueName(f.issue)), QString::number(f.node), f.path,
                        f.message);
    }
    return out;
}

// A sound renderer: parameter "gain" down into b, a -> b, b up to output
// "image", b the target. Every pass input is fed.
//   root: param gain, output image
//   +-- a(1)  0 in, 1 out
//   +-- b(2)  2 in (in0 <- a.out0, in1 <- gain), 1 out -> image
struct Sound
{
    QStringList log;
    Renderer r;
    int gain = r.addParameter(QStringLiteral("gain"), 2);
    int image = r.addOutput(QStringLiteral("image"));
    int a = r.addPass(QStringLiteral("a"), new RecordingPass(QStringLiteral("a"), &log, 0, 1), Graph::kRootNodeRef);
    int b = r.addPass(QStringLiteral("b"), new RecordingPass(QStringLiteral("b"), &log, 2, 1), Graph::kRootNodeRef);
    Sound()
    {
        Graph& g = r.getGraph();
        g.addEdge(a, 0, b, 0);
        g.addDownEdge(gain, b, 1);
        g.addUpEdge(image, b, 0);
        r.setTarget(b);
    }
};

} // namespace

TEST(RendererCheck, SoundRendererHasNoFindings)
{
    Sound f;
    EXPECT_EQ(lines(f.r.checkSetup()), QStringList());
    // The check runs nothing.
    EXPECT_EQ(f.log, QStringList());
    EXPECT_TRUE(f.r.render(nullptr));
    EXPECT_EQ(f.r.getNumPasses(), 2);
}

TEST(RendererCheck, NoTarget)
{
    Renderer r;
    EXPECT_EQ(lines(r.checkSetup()),
              QStringList{QStringLiteral("NoTarget -1 : No target is set: render() runs no pass.")});
    Sound f;
    f.r.setTarget(Graph::kInvalidNodeRef);
    EXPECT_EQ(lines(f.r.checkSetup()),
              QStringList{QStringLiteral("NoTarget -1 : No target is set while renderer outputs are fed: render() "
                                         "runs no pass and returns false.")});
    EXPECT_FALSE(f.r.render(nullptr));
}

TEST(RendererCheck, InvalidTarget)
{
    Sound f;
    f.r.setTarget(17);
    EXPECT_EQ(lines(f.r.checkSetup()),
              QStringList{QStringLiteral(
                  "InvalidTarget 17 : The target 17 is not a valid node: render() runs no pass and returns false.")});
    f.r.getGraph().removeNode(f.b);
    f.r.setTarget(f.b);
    EXPECT_EQ(lines(f.r.checkSetup()).value(0),
              QStringLiteral(
                  "InvalidTarget 2 : The target 2 is not a valid node: render() runs no pass and returns false."));
}

TEST(RendererCheck, RootAsTarget)
{
    Sound f;
    f.r.setTarget(Graph::kRootNodeRef);
    EXPECT_EQ(lines(f.r.checkSetup()),
              (QStringList{QStringLiteral("RootTarget 0 : The target is the root, which has no passes upstream: "
                                          "render() runs none for it."),
                           QStringLiteral("ProducerOutsideUpstream 2 b: Renderer output 'image' (0) is produced by "
                                          "'b', which is not upstream of the target (the root): the pass does not "
                                          "run, the output is read as it stands, and the target runs once more each "
                                          "frame.")}));
}

TEST(RendererCheck, GroupAsTarget)
{
    QStringList log;
    Renderer r;
    const int post =
        r.addGroup(QStringLiteral("post"), QStringList(), QStringList{QStringLiteral("image")}, Graph::kRootNodeRef);
    const int tone = r.addPass(QStringLiteral("tone"), new RecordingPass(QStringLiteral("t"), &log, 0, 1), post);
    r.getGraph().addUpEdge(0, tone, 0);
    r.setTarget(post);
    EXPECT_EQ(lines(r.checkSetup()),
              QStringList{QStringLiteral("GroupTarget 1 post: The target 'post' is a group: the passes inside it run "
                                         "only where they feed its inputs; make the pass that finishes the frame the "
                                         "target.")});
    EXPECT_TRUE(r.render(nullptr));
    EXPECT_EQ(r.getNumPasses(), 0);
}

TEST(RendererCheck, OutputWithoutProducer)
{
    Sound f;
    const int spare = f.r.addOutput(QStringLiteral("spare"));
    const int group =
        f.r.addGroup(QStringLiteral("g"), QStringList(), QStringList{QStringLiteral("x")}, Graph::kRootNodeRef);
    const int hollow = f.r.addOutput(QStringLiteral("hollow"));
    f.r.getGraph().addUpEdge(hollow, group, 0);
    EXPECT_EQ(spare, 1);
    const QVector<SetupFinding> findings = f.r.checkSetup();
    ASSERT_EQ(findings.size(), 2);
    EXPECT_EQ(findings[0].port, 1);
    EXPECT_EQ(findings[1].port, 2);
    EXPECT_EQ(lines(f.r.checkSetup()),
              (QStringList{QStringLiteral("OutputWithoutProducer 0 : Renderer output 'spare' (1) is fed by no pass: "
                                          "it keeps its value."),
                           QStringLiteral("OutputWithoutProducer 3 g: Renderer output 'hollow' (2) comes from the "
                                          "group 'g', whose output no pass produces: it keeps its value.")}));
}

TEST(RendererCheck, ProducerOutsideTheTargetsUpstreamMakesTheTargetRunTwice)
{
    Sound f;
    const int side = f.r.addOutput(QStringLiteral("side"));
    const int c =
        f.r.addPass(QStringLiteral("c"), new RecordingPass(QStringLiteral("c"), &f.log, 0, 1), Graph::kRootNodeRef);
    f.r.getGraph().addUpEdge(side, c, 0);
    EXPECT_EQ(lines(f.r.checkSetup()),
              QStringList{QStringLiteral("ProducerOutsideUpstream 3 c: Renderer output 'side' (1) is produced by 'c', "
                                         "which is not upstream of the target 'b': the pass does not run, the output "
                                         "is read as it stands, and the target runs once more each frame.")});
    ASSERT_TRUE(f.r.render(nullptr));
    EXPECT_EQ(ZrnTest::started(f.log), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("b")}));
}

TEST(RendererCheck, UnfedInputGetsItsDefault)
{
    Sound f;
    f.r.getGraph().disconnectInput(f.b, 1);
    const int post =
        f.r.addGroup(QStringLiteral("post"), QStringList(), QStringList{QStringLiteral("x")}, Graph::kRootNodeRef);
    const int d =
        f.r.addPass(QStringLiteral("d"), new RecordingPass(QStringLiteral("d"), &f.log, 1, 0), Graph::kRootNodeRef);
    f.r.getGraph().addEdge(post, 0, d, 0);
    const QVector<SetupFinding> findings = f.r.checkSetup();
    ASSERT_EQ(findings.size(), 2);
    EXPECT_EQ(findings[0].port, 1);
    EXPECT_EQ(findings[1].port, 0);
    EXPECT_EQ(lines(findings),
              (QStringList{QStringLiteral("UnfedInput 2 b: Input 'in1' (1) of 'b' is fed by nothing: it gets its "
                                          "default value every frame."),
                           QStringLiteral("UnfedInput 4 d: Input 'in0' (0) of 'd' comes from the group 'post', whose "
                                          "output no pass produces: it gets its default value every frame.")}));
}

TEST(RendererCheck, DisabledPassWithConsumers)
{
    Sound f;
    f.r.setEnabled(f.a, false);
    EXPECT_EQ(lines(f.r.checkSetup()),
              QStringList{QStringLiteral("DisabledPassWithConsumers 1 a: The pass 'a' is disabled: 'b' will get "
                                         "default values for what it feeds them.")});
    // A disabled pass that feeds nobody is not worth a word.
    f.r.setEnabled(f.a, true);
    f.r.setEnabled(f.b, false);
    EXPECT_EQ(lines(f.r.checkSetup()), QStringList());
}

TEST(RendererCheck, PassAddedTwice)
{
    QStringList log;
    Renderer r;
    auto* pass = new RecordingPass(QStringLiteral("p"), &log, 0, 0);
    const int first = r.addPass(QStringLiteral("first"), pass, Graph::kRootNodeRef);
    const int group = r.addGroup(QStringLiteral("g"), QStringList(), QStringList(), Graph::kRootNodeRef);
    const int second = r.addPass(QStringLiteral("second"), pass, group);
    r.setTarget(first);
    EXPECT_EQ(second, 3);
    EXPECT_EQ(lines(r.checkSetup()),
              QStringList{QStringLiteral("PassAddedTwice 3 g/second: The pass of 'g/second' was already added as "
                                         "'first': the one object runs for both nodes and their values overwrite "
                                         "each other.")});
}

TEST(RendererCheck, GroupWithUnnamedPorts)
{
    Sound f;
    const int post = f.r.addGroup(QStringLiteral("post"), 2, 1, Graph::kRootNodeRef);
    const int named = f.r.addGroup(QStringLiteral("named"), QStringList{QStringLiteral("in")},
                                   QStringList{QStringLiteral("out")}, post);
    f.r.getGraph().addInput(post, QStringLiteral("named"), -1);
    EXPECT_EQ(named, 4);
    EXPECT_EQ(lines(f.r.checkSetup()),
              QStringList{QStringLiteral("UnnamedGroupPorts 3 post: The group 'post' has unnamed inputs 0, 1 and "
                                         "outputs 0: they cannot be wired by name; give the names to addGroup().")});
}

TEST(RendererCheck, IssueNamesAreTheEnumerators)
{
    EXPECT_STREQ(Morvane::Zrn::setupIssueName(SetupIssue::NoTarget), "NoTarget");
    EXPECT_STREQ(Morvane::Zrn::setupIssueName(SetupIssue::UnnamedGroupPorts), "UnnamedGroupPorts");
    EXPECT_STREQ(Morvane::Zrn::setupIssueName(static_cast<SetupIssue>(42)), "");
}

TEST(RendererCheck, GroupsWithUnnamedPortsOnOneSideOnly)
{
    Sound f;
    const int in = f.r.addGroup(QStringLiteral("in"), 1, 0, Graph::kRootNodeRef);
    const int out =
        f.r.addGroup(QStringLiteral("out"), QStringList{QStringLiteral("x")}, QStringList(), Graph::kRootNodeRef);
    f.r.getGraph().addOutput(out, QStringLiteral("y"), -1);
    f.r.getGraph().addOutput(out, QString(), -1);
    EXPECT_EQ(in, 3);
    EXPECT_EQ(lines(f.r.checkSetup()),
              (QStringList{QStringLiteral("UnnamedGroupPorts 3 in: The group 'in' has unnamed inputs 0: they cannot "
                                          "be wired by name; give the names to addGroup()."),
                           QStringLiteral("UnnamedGroupPorts 4 out: The group 'out' has unnamed outputs 1: they "
                                          "cannot be wired by name; give the names to addGroup().")}));
}

// A consumer fed twice by one disabled producer is named once.
TEST(RendererCheck, ConsumerFedTwiceByOneDisabledPassIsNamedOnce)
{
    QStringList log;
    Renderer r;
    const int a = r.addPass(QStringLiteral("a"), new RecordingPass(QStringLiteral("a"), &log, 0, 2), 0);
    const int b = r.addPass(QStringLiteral("b"), new RecordingPass(QStringLiteral("b"), &log, 2, 0), 0);
    Graph& g = r.getGraph();
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    ASSERT_EQ(g.addEdge(a, 1, b, 1), 1);
    r.setTarget(b);
    r.setEnabled(a, false);
    EXPECT_EQ(lines(r.checkSetup()),
              QStringList{QStringLiteral("DisabledPassWithConsumers 1 a: The pass 'a' is disabled: 'b' will get "
                                         "default values for what it feeds them.")});
}

TEST(RendererCheck, IssueNameOfANegativeValueIsEmpty)
{
    EXPECT_STREQ(Morvane::Zrn::setupIssueName(static_cast<SetupIssue>(-1)), "");
    EXPECT_STREQ(Morvane::Zrn::setupIssueName(SetupIssue::PassAddedTwice), "PassAddedTwice");
}
