// Fuzzes the renderer's compiled frames against its walking frames: the
// input bytes build the same random pass graph in two renderers, one that
// walks the graph in every frame and one that replays its recorded
// schedule, then render frames with edits between some of them. Every call
// that a pass receives (getters included, in order, with the values
// delivered and the user counts), every render() result, getNumPasses() and
// every renderer output must be the same for both.
//
// The graphs have groups, down and up edges, parameters, renderer outputs,
// disabled passes, passes that fail with a random code or finish only after
// a few polls, passes that throw from one of their calls once, and targets
// with and without needed nodes outside their upstream. The edits are those
// that do and do not change the schedule: setEnabled, setTarget,
// setParameter, new edges, passes, groups, parameters and outputs, removed
// edges, renamed nodes, new defaults. Half the inputs render with the frame
// report and a trace on, whose runs must be the same both ways too; a frame
// that a pass's exception ends must leave neither holding any of it.
//
// Built as a libFuzzer target with clang (ZRNCORE_BUILD_FUZZERS=ON), and
// replayed by tests/tst_RendererSchedule.cpp on seeded inputs and on the
// corpus in fuzz/corpus/fuzz_RendererSchedule, which defines ZRN_FUZZ_FAIL to
// turn a difference into a test failure.

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/FrameTrace.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>

#include "../src/Core/RendererHooks_p.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#define ZRN_FUZZ_NAME "renderer schedule fuzz"
#include "FuzzInput.h"

namespace ZrnRendererScheduleFuzz {

using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderCallbacks;
using Morvane::Zrn::RenderPassHelper;
using Morvane::Zrn::Renderer;

// Bounds that keep one input quick: a frame runs every reached pass, and a
// pass that finishes late sleeps 100 microseconds per unfinished poll.
constexpr int kMaxNodes = 28;
constexpr int kMaxOperations = 160;
constexpr int kMaxFrames = 14;

/// Totals over the inputs run so far, for the replaying test to show that
/// the inputs reach frames worth comparing.
struct Totals
{
    long long frames = 0;         // frames compared
    long long replayedFrames = 0; // of which the compiled renderer replayed
    long long replayedRuns = 0;   // passes run in replayed frames
    long long failedFrames = 0;   // frames where render() returned false
    long long latePolls = 0;      // isFinished() calls that answered false
    long long thrownFrames = 0;   // frames that a pass's exception ended
};
inline Totals& totals()
{
    static Totals t;
    return t;
}

class Bytes : public ZrnFuzz::FuzzInput
{
public:
    using FuzzInput::FuzzInput;

    // An index below `count` (0 when `count` is 0).
    int below(int count) { return FuzzInput::below(count, 0); }
};

QString show(const QVariant& v)
{
    return v.isValid() ? v.toString() : QStringLiteral("invalid");
}

// Writes every call it receives into a log, getters included.
// What a pass throws, from the call named by LoggingPass::throwIn.
struct PassThrew
{
};

class LoggingPass : public RenderPassHelper
{
public:
    // The calls a pass can be told to throw from, once.
    enum ThrowIn {
        Nowhere,
        InBeginFrame,
        InStart,
        InIsFinished,
        InEndFrame,
        InSetInput,
        InOutput,
        InErrorCode,
        NumThrowIns
    };

    LoggingPass(int id, QStringList* log, int numInputs, int numOutputs)
        : m_id(id)
        , m_log(log)
    {
        for (int i = 0; i < numInputs; ++i)
            addInput(QStringLiteral("in%1").arg(i), QVariant(id * 100 + i));
        for (int j = 0; j < numOutputs; ++j)
            addOutput(QStringLiteral("out%1").arg(j));
    }

    unsigned failWith = 0;         // error code start() sets
    int unfinishedPolls = 0;       // isFinished() answers false this often per run
    mutable int throwIn = Nowhere; // the next such call throws, after its note

    void beginFrame(RenderCallbacks* cb) override
    {
        note(QStringLiteral("beginFrame"));
        maybeThrow(InBeginFrame);
        m_polls = 0;
        RenderPassHelper::beginFrame(cb);
    }
    void start(RenderCallbacks*) override
    {
        note(QStringLiteral("start"));
        maybeThrow(InStart);
        ++m_runs;
        for (int j = 0; j < outputs.size(); ++j)
            outputs[j].value = m_id * 10000 + m_runs * 10 + j;
        RenderPassHelper::setErrorCode(failWith);
    }
    bool isFinished() const override
    {
        note(QStringLiteral("isFinished"));
        maybeThrow(InIsFinished);
        return ++m_polls > unfinishedPolls;
    }
    void endFrame(RenderCallbacks* cb) override
    {
        note(QStringLiteral("endFrame"));
        RenderPassHelper::endFrame(cb);
        maybeThrow(InEndFrame);
    }
    int numInputs() const override
    {
        note(QStringLiteral("numInputs"));
        return RenderPassHelper::numInputs();
    }
    int numOutputs() const override
    {
        note(QStringLiteral("numOutputs"));
        return RenderPassHelper::numOutputs();
    }
    void setInput(int input, const QVariant& value) override
    {
        note(QStringLiteral("setInput(%1, %2)").arg(input).arg(show(value)));
        maybeThrow(InSetInput);
        RenderPassHelper::setInput(input, value);
    }
    QVariant defaultValue(int input) const override
    {
        note(QStringLiteral("defaultValue(%1)").arg(input));
        return RenderPassHelper::defaultValue(input);
    }
    QVariant output(int output) const override
    {
        note(QStringLiteral("output(%1)").arg(output));
        maybeThrow(InOutput);
        return RenderPassHelper::output(output);
    }
    void setNumOutputUsers(int output, int users) override
    {
        note(QStringLiteral("setNumOutputUsers(%1, %2)").arg(output).arg(users));
        RenderPassHelper::setNumOutputUsers(output, users);
    }
    void resetNumOutputUsers() override
    {
        note(QStringLiteral("resetNumOutputUsers"));
        RenderPassHelper::resetNumOutputUsers();
    }
    void setErrorCode(unsigned code) override
    {
        note(QStringLiteral("setErrorCode(%1)").arg(code));
        RenderPassHelper::setErrorCode(code);
    }
    unsigned errorCode() const override
    {
        note(QStringLiteral("errorCode"));
        maybeThrow(InErrorCode);
        return RenderPassHelper::errorCode();
    }

    int polls() const { return m_polls; }

private:
    void note(const QString& call) const { m_log->append(QStringLiteral("P%1.").arg(m_id) + call); }
    void maybeThrow(int call) const
    {
        if (throwIn != call)
            return;
        throwIn = Nowhere;
        m_log->append(QStringLiteral("P%1 throws").arg(m_id));
        throw PassThrew();
    }

    int m_id;
    QStringList* m_log;
    int m_runs = 0;
    mutable int m_polls = 0;
};

// One renderer and its log; `walking` chooses the literal frames.
struct Side
{
    explicit Side(bool walking) { Morvane::Zrn::Internal::setLiteralFrames(renderer, walking); }
    QStringList log;
    Renderer renderer;
    std::vector<LoggingPass*> passes; // by pass index
};

// Builds and renders the same graph on both sides, comparing after each frame.
class Run
{
public:
    explicit Run(Bytes& in)
        : m_in(in)
    {
    }

    void go()
    {
        build();
        for (int op = 0; op < kMaxOperations && !m_in.empty() && m_frames < kMaxFrames; ++op)
            step();
        // A few frames at the end, so that every input renders.
        for (int f = 0; f < 3 && m_frames < kMaxFrames + 3; ++f)
            frame();
    }

private:
    // A wired start: parameters, renderer outputs, a group or two, and
    // passes whose inputs mostly take an output of an earlier sibling or a
    // parameter; the last pass is the target, the renderer outputs take
    // outputs of random top-level passes.
    void build()
    {
        // Inputs of odd length record; reading no byte for it keeps the
        // meaning of the bytes of inputs saved before it was added.
        if (m_in.size() % 2 == 1) {
            both([](Side& s) {
                s.renderer.setFrameReportEnabled(true);
                s.renderer.startFrameTrace(kMaxFrames + 4);
            });
        }
        const int numParameters = m_in.below(3);
        for (int i = 0; i < numParameters; ++i)
            both([i](Side& s) { s.renderer.addParameter(QStringLiteral("p"), 1000 + i); });
        const int numOutputs = m_in.below(3);
        for (int i = 0; i < numOutputs; ++i)
            both([](Side& s) { s.renderer.addOutput(QStringLiteral("o")); });
        const int numGroups = m_in.below(3);
        for (int i = 0; i < numGroups; ++i)
            addGroup();
        const int numPasses = 2 + m_in.below(14);
        for (int i = 0; i < numPasses; ++i) {
            addPass();
            const int node = m_passNodes.back();
            const int parent = graph().parentNode(node);
            for (int input = 0; input < graph().numInputs(node); ++input) {
                const unsigned how = m_in.next() % 8;
                if (how < 5) {
                    // The sibling added just before, or any sibling.
                    const int siblings = graph().numNodes(parent);
                    const int src =
                        graph().getNode(how < 3 && siblings > 1 ? siblings - 2 : m_in.below(siblings), parent);
                    if (src != node && graph().numOutputs(src) > 0) {
                        const int output = m_in.below(graph().numOutputs(src));
                        if (bothEqual([&](Side& s) { return s.renderer.getGraph().addEdge(src, output, node, input); },
                                      "addEdge answered differently")
                            != Graph::kInvalidEdgeRef)
                            m_wired.push_back(src);
                    }
                } else if (how < 7 && graph().numInputs(parent) > 0) {
                    const int parentInput = m_in.below(graph().numInputs(parent));
                    bothEqual([&](Side& s) { return s.renderer.getGraph().addDownEdge(parentInput, node, input); },
                              "addDownEdge answered differently");
                }
            }
        }
        m_buildTarget = m_passNodes.back();
        both([this](Side& s) { s.renderer.setTarget(m_buildTarget); });
        for (int i = 0; i < numOutputs; ++i)
            addUpEdge();
        frame();
    }

    Graph& graph() { return m_walking.renderer.getGraph(); }
    int numNodes() { return graph().numNodesGlobal(); }

    // A node that may hold children: the root or a group (or a pass; the
    // renderer nests passes under any node).
    int anyNode() { return m_in.below(numNodes()); }
    int nonRootNode() { return numNodes() > 1 ? 1 + m_in.below(numNodes() - 1) : Graph::kInvalidNodeRef; }

    template <typename F>
    void both(F f)
    {
        f(m_walking);
        f(m_compiled);
    }
    template <typename F>
    int bothEqual(F f, const char* what)
    {
        const int a = f(m_walking);
        const int b = f(m_compiled);
        if (a != b)
            ZRN_FUZZ_FAIL(what);
        return a;
    }

    void step()
    {
        const unsigned op = m_in.next() % 24;
        switch (op) {
        case 0:
        case 1:
        case 2: addPass(); break;
        case 20:
        case 21:
        case 22: addEdge(); break;
        case 3: addGroup(); break;
        case 4:
        case 5:
        case 6:
        case 7: addEdge(); break;
        case 8:
        case 9: addDownEdge(); break;
        case 10: addUpEdge(); break;
        case 11: {
            // Mostly a pass, sometimes any node, the root, -1 or one past the last.
            int node = m_in.below(numNodes() + 1) - (m_in.next() % 8 == 0 ? 1 : 0);
            const unsigned how = m_in.next() % 4;
            if (how == 1 && !m_passNodes.empty())
                node = m_passNodes[size_t(m_in.below(int(m_passNodes.size())))];
            else if (how > 1)
                node = m_buildTarget; // the deepest upstream
            both([node](Side& s) { s.renderer.setTarget(node); });
            break;
        }
        case 12: {
            const int node = nonRootNode();
            const bool on = m_in.next() % 4 != 0;
            both([node, on](Side& s) { s.renderer.setEnabled(node, on); });
            break;
        }
        case 13:
            if (m_walking.renderer.numParameters() > 0) {
                const int i = m_in.below(m_walking.renderer.numParameters());
                const int value = int(m_in.next());
                both([i, value](Side& s) { s.renderer.setParameter(i, value); });
            } else {
                both([](Side& s) { s.renderer.addParameter(QStringLiteral("p"), 0); });
            }
            break;
        case 14: {
            const int value = int(m_in.next());
            both([value](Side& s) { s.renderer.addParameter(QStringLiteral("p"), value); });
            break;
        }
        case 15: both([](Side& s) { s.renderer.addOutput(QStringLiteral("o")); }); break;
        case 16: {
            const unsigned what = m_in.next();
            const int edge = m_in.below(graph().numEdgesGlobal() + 1);
            const int node = nonRootNode();
            if (what % 3 == 0 || node == Graph::kInvalidNodeRef)
                both([edge](Side& s) { s.renderer.getGraph().removeEdge(edge); });
            else
                both([node](Side& s) { s.renderer.getGraph().setNodeName(node, QStringLiteral("renamed")); });
            break;
        }
        case 17: {
            // A pass's behaviour changes: what it fails with, how late it finishes.
            if (m_walking.passes.empty())
                break;
            const int p = m_in.below(int(m_walking.passes.size()));
            const unsigned code = m_in.next() % 4 == 0 ? m_in.next() % 5 : 0;
            const int polls = m_in.next() % 8 == 0 ? 1 + m_in.below(2) : 0;
            both([p, code, polls](Side& s) {
                s.passes[size_t(p)]->failWith = code;
                s.passes[size_t(p)]->unfinishedPolls = polls;
            });
            break;
        }
        case 19: {
            // A pass throws from one of its calls, once, in this frame or a
            // later one; then a frame.
            if (!m_walking.passes.empty()) {
                const int p = m_in.below(int(m_walking.passes.size()));
                const int call = 1 + m_in.below(LoggingPass::NumThrowIns - 1);
                both([p, call](Side& s) { s.passes[size_t(p)]->throwIn = call; });
            }
            frame();
            break;
        }
        case 18: {
            if (m_walking.passes.empty())
                break;
            const int p = m_in.below(int(m_walking.passes.size()));
            const int value = int(m_in.next());
            both([p, value](Side& s) {
                LoggingPass* pass = s.passes[size_t(p)];
                if (pass->RenderPassHelper::numInputs() > 0)
                    pass->RenderPassHelper::setDefaultValue(0, value);
            });
            break;
        }
        default: {
            // One to three frames in a row: the later ones replay unless
            // an edit came between.
            const int frames = 1 + m_in.below(3);
            for (int f = 0; f < frames; ++f)
                frame();
            break;
        }
        }
    }

    void addPass()
    {
        if (numNodes() >= kMaxNodes)
            return;
        // Mostly at the top level, so that most passes have siblings to wire.
        const int parent = m_in.next() % 8 < 6 ? Graph::kRootNodeRef : anyNode();
        const int numInputs = 1 + m_in.below(3) - (m_in.next() % 6 == 0 ? 1 : 0);
        const int numOutputs = m_in.below(3);
        const unsigned code = m_in.next() % 12 == 0 ? 1 + m_in.next() % 7 : 0;
        const int polls = m_in.next() % 10 == 0 ? 1 + m_in.below(2) : 0;
        const int id = int(m_walking.passes.size());
        const int node = bothEqual(
            [&](Side& s) {
                auto* pass = new LoggingPass(id, &s.log, numInputs, numOutputs);
                pass->failWith = code;
                pass->unfinishedPolls = polls;
                s.passes.push_back(pass);
                return s.renderer.addPass(QStringLiteral("P%1").arg(id), pass, parent);
            },
            "addPass gave different nodes");
        m_passNodes.push_back(node);
        if (m_walking.renderer.target() == Graph::kInvalidNodeRef)
            both([node](Side& s) { s.renderer.setTarget(node); });
    }

    void addGroup()
    {
        if (numNodes() >= kMaxNodes)
            return;
        const int parent = anyNode();
        const int numInputs = m_in.below(3);
        const int numOutputs = m_in.below(3);
        bothEqual([&](Side& s) { return s.renderer.addGroup(QStringLiteral("G"), numInputs, numOutputs, parent); },
                  "addGroup gave different nodes");
    }

    // Two siblings: an output of one into an input of the other. A few
    // tries to find a pair with ports, so that most graphs are wired.
    void addEdge()
    {
        for (int attempt = 0; attempt < 4; ++attempt) {
            // Half the time into the target or a node already wired towards
            // it, so that the target's upstream grows.
            int dst = nonRootNode();
            if (m_in.next() % 2 == 0) {
                const int target = m_walking.renderer.target();
                dst =
                    m_wired.empty() || m_in.next() % 3 == 0 ? target : m_wired[size_t(m_in.below(int(m_wired.size())))];
                if (!graph().isValidNode(dst) || dst == Graph::kRootNodeRef)
                    continue;
            }
            if (dst == Graph::kInvalidNodeRef)
                return;
            if (graph().numInputs(dst) == 0)
                continue;
            const int parent = graph().parentNode(dst);
            const int src = graph().getNode(m_in.below(graph().numNodes(parent)), parent);
            if (src == dst || graph().numOutputs(src) == 0)
                continue;
            const int output = m_in.below(graph().numOutputs(src));
            const int input = m_in.below(graph().numInputs(dst));
            if (bothEqual([&](Side& s) { return s.renderer.getGraph().addEdge(src, output, dst, input); },
                          "addEdge answered differently")
                != Graph::kInvalidEdgeRef)
                m_wired.push_back(src);
            return;
        }
    }

    // A parent's input (a parameter, for a top-level node) into a child's input.
    void addDownEdge()
    {
        const int child = nonRootNode();
        if (child == Graph::kInvalidNodeRef || graph().numInputs(child) == 0)
            return;
        const int parent = graph().parentNode(child);
        if (graph().numInputs(parent) == 0)
            return;
        const int parentInput = m_in.below(graph().numInputs(parent));
        const int input = m_in.below(graph().numInputs(child));
        bothEqual([&](Side& s) { return s.renderer.getGraph().addDownEdge(parentInput, child, input); },
                  "addDownEdge answered differently");
    }

    // A child's output into its parent's output (a renderer output, for a
    // top-level node).
    void addUpEdge()
    {
        // Half the time from a node wired towards the target.
        int child = nonRootNode();
        if (!m_wired.empty() && m_in.next() % 2 == 0)
            child = m_wired[size_t(m_in.below(int(m_wired.size())))];
        if (child == Graph::kInvalidNodeRef || graph().numOutputs(child) == 0)
            return;
        const int parent = graph().parentNode(child);
        if (graph().numOutputs(parent) == 0)
            return;
        const int parentOutput = m_in.below(graph().numOutputs(parent));
        const int output = m_in.below(graph().numOutputs(child));
        bothEqual([&](Side& s) { return s.renderer.getGraph().addUpEdge(parentOutput, child, output); },
                  "addUpEdge answered differently");
    }

    void frame()
    {
        ++m_frames;
        const quint64 compilationsBefore = Morvane::Zrn::Internal::scheduleCompilations(m_compiled.renderer);
        both([](Side& s) {
            s.log.clear();
            bool threw = false;
            try {
                const bool ok = s.renderer.render(nullptr);
                s.log.append(QStringLiteral("render() = %1, passes %2").arg(ok).arg(s.renderer.getNumPasses()));
            } catch (const PassThrew&) {
                threw = true;
                s.log.append(QStringLiteral("render() threw, passes %1").arg(s.renderer.getNumPasses()));
            }
            for (int i = 0; i < s.renderer.numOutputs(); ++i)
                s.log.append(QStringLiteral("output(%1) = %2").arg(i).arg(show(s.renderer.output(i))));
            logRecording(s, threw);
        });
        compare();

        Totals& t = totals();
        ++t.frames;
        if (Morvane::Zrn::Internal::scheduleCompilations(m_compiled.renderer) == compilationsBefore) {
            ++t.replayedFrames;
            t.replayedRuns += m_compiled.renderer.getNumPasses();
        }
        for (const QString& line : qAsConst(m_compiled.log)) {
            if (line.startsWith(QStringLiteral("render() = 0")))
                ++t.failedFrames;
            else if (line.startsWith(QStringLiteral("render() threw")))
                ++t.thrownFrames;
        }
        for (const QString& line : qAsConst(m_compiled.log)) {
            if (line.endsWith(QStringLiteral(".isFinished")))
                ++t.latePolls;
            else if (line.endsWith(QStringLiteral(".start")))
                --t.latePolls; // each run's last poll answers true
        }
    }

    // What the frame report and the trace hold, clock readings left out;
    // a frame that threw must have left the report empty and the trace
    // without its runs.
    static void logRecording(Side& s, bool threw)
    {
        const Renderer& r = s.renderer;
        if (r.isFrameReportEnabled()) {
            const Morvane::Zrn::FrameReport& report = r.frameReport();
            QString line = QStringLiteral("report %1 frame %2:").arg(report.isValid()).arg(report.frameIndex());
            for (int i = 0; i < report.numRuns(); ++i)
                line += QStringLiteral(" %1/%2").arg(report.run(i).node).arg(report.run(i).errorCode);
            s.log.append(line);
            if (threw && (report.isValid() || report.numRuns() != 0))
                ZRN_FUZZ_FAIL("the report holds part of a frame that threw");
        }
        const Morvane::Zrn::FrameTrace& trace = r.frameTrace();
        int runs = 0;
        for (int f = 0; f < trace.numFrames(); ++f) {
            if (trace.frame(f).firstRun != runs)
                ZRN_FUZZ_FAIL("a traced frame does not start after the one before");
            runs += trace.frame(f).numRuns;
        }
        if (runs != trace.numRuns())
            ZRN_FUZZ_FAIL("the trace holds runs of no frame");
        s.log.append(QStringLiteral("trace %1 frames, %2 runs").arg(trace.numFrames()).arg(trace.numRuns()));
    }

    void compare()
    {
        const QStringList& a = m_walking.log;
        const QStringList& b = m_compiled.log;
        if (a == b)
            return;
        int i = 0;
        while (i < a.size() && i < b.size() && a.at(i) == b.at(i))
            ++i;
        const std::string what = "frame " + std::to_string(m_frames) + ", line " + std::to_string(i) + ": walking '"
            + (i < a.size() ? a.at(i).toStdString() : std::string("(end)")) + "', compiled '"
            + (i < b.size() ? b.at(i).toStdString() : std::string("(end)")) + "'";
        ZRN_FUZZ_FAIL(what.c_str());
    }

    Bytes& m_in;
    Side m_walking{true};
    Side m_compiled{false};
    std::vector<int> m_passNodes;
    std::vector<int> m_wired; // sources of the regular edges made so far
    int m_buildTarget = Graph::kInvalidNodeRef;
    int m_frames = 0;
};

inline int run(const std::uint8_t* data, std::size_t size)
{
    Bytes in(data, size);
    Run(in).go();
    return 0;
}

} // namespace ZrnRendererScheduleFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    return ZrnRendererScheduleFuzz::run(data, size);
}
