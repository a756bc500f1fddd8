// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_RENDERER_P_H
#define ZRNCORE_RENDERER_P_H

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>

#include "FrameRecorder_p.h"

#include <QtCore/QThread>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <memory>
#include <vector>

namespace Morvane {
namespace Zrn {

// The renderer's state. Invariants: `passes` and `enabledFlags` have equal
// length; `parameters` has one entry per root input and `outputs` one per
// root output (both lists grow together with the root's ports); a node's
// value is -1 or a pass index.
struct Renderer::Impl
{
    QVector<QVariant> parameters; // by parameter index (root input)
    QVector<QVariant> outputs;    // by output index (root output), as the last frame left them
    QVector<RenderPass*> passes;  // by pass index; owned
    Graph graph;                  // the pass graph
    QVector<bool> enabledFlags;   // by pass index; true when added
    int target = Graph::kInvalidNodeRef;
    QVector<bool> visited; // by node: marks of this (or the last) frame's marking walk
    int numPassesRun = 0;  // passes run in the current or last frame

    // Scratch of render(), kept between frames so that a frame in steady
    // state allocates nothing: the needed nodes (target first, then the
    // producers of the renderer outputs, no duplicates) and the running
    // walk's own visited vector.
    QVector<int> needed;
    QVector<bool> seen;
    // The output that produces each renderer output, found once per frame by
    // collectNeeded() and read again by collectOutputs(); node -1 when
    // nothing inside feeds it. The graph does not change during a frame.
    struct Producer
    {
        int node;
        int output;
    };
    QVector<Producer> producers;
    // The walk's own stack: a node and the next of its inputs to follow.
    struct WalkEntry
    {
        int node;
        int numInputs;
        int nextInput;
    };
    std::vector<WalkEntry> walkStack;

    // The frame report and trace (FrameRecorder_p.h), made when the host
    // first turns either on. `recorder` points to it while it records and is
    // null otherwise, so a frame that records nothing only tests it. The
    // recorder reads `visited` after the frame: it must hold the marks of
    // the frame's marking walk whenever the target is a valid node.
    std::unique_ptr<FrameRecorder> recording;
    FrameRecorder* recorder = nullptr;

    // What a frame's walks decide, recorded by compileSchedule() and
    // replayed by replaySchedule() while nothing that decides it changes:
    // the graph (its revision), the target, and the lists of passes,
    // parameters and outputs (addPass(), addGroup(), addParameter() and
    // addOutput() clear `current`). Enabled flags decide nothing here: the
    // walks go through disabled passes alike, so every pass node they reach
    // is recorded, and its flag is read when the schedule is replayed, as
    // the walking frame reads it.
    struct Schedule
    {
        // Where one input's value comes from: `pass` >= 0 is the pass index
        // of the producer and `index` its output; kFromParameter names
        // parameter `index`; kFromDefault the pass's own default. `producer`
        // is the producing pass itself, null unless `pass` >= 0 (passes are
        // only ever added, and adding one clears `current`).
        static constexpr int kFromDefault = -1;
        static constexpr int kFromParameter = -2;
        struct Source
        {
            int pass;
            int index;
            RenderPass* producer = nullptr;
        };
        // An output with needed consumers and their number (edges into
        // nodes the marking walk reached); outputs without are left out.
        struct Users
        {
            int output;
            int count;
        };
        // One pass node the running walks reach, in their order (the
        // target once more for each later walk). Its sources are
        // sources[firstSource ..], one per input of its graph node; its
        // users are users[firstUsers ..], in output order.
        struct Run
        {
            RenderPass* renderPass; // passes[pass]
            int node;
            int pass;
            int firstSource;
            int numSources;
            int firstUsers;
            int numUsers;
        };
        enum class Outcome {
            NothingNeeded, // no walk, success
            NoTarget,      // something needed but no valid target: failure
            Walks,         // the runs below
        };

        bool current = false;
        bool literal = false; // the hook: every frame walks
        quint64 revision = 0;
        int target = Graph::kInvalidNodeRef;
        Outcome outcome = Outcome::NothingNeeded;
        std::vector<Run> runs;
        std::vector<Source> sources;
        std::vector<Users> users;
        // The pass index and output that produce each renderer output, -1
        // when no pass does.
        std::vector<Source> outputSources;
        quint64 compilations = 0; // for tests: how often it was compiled
    };
    Schedule schedule;

    // True when `v` (a node value) is a pass index.
    bool isPassIndex(int v) const { return v >= 0 && v < passes.size(); }
    // The pass index of `node`, or -1 when `node` is not a valid pass node.
    int passIndexOf(int node) const;

    // Collects the needed nodes of this frame into `needed`, and the
    // producer of each renderer output into `producers`.
    void collectNeeded();
    // Copies each renderer output from the pass that produces it, as
    // collectNeeded() found it this frame.
    void collectOutputs();

    // Depth first from `node`: marks it in `visited`, walks each unvisited
    // producer of its inputs in input order, then, for WalkType::Render,
    // runs the node's pass if it has an enabled one. Returns false as soon
    // as a pass fails. `node` must be valid and `visited` sized to
    // numNodesGlobal(). Iterative (on `walkStack`), so the graph's depth is
    // not limited by the call stack.
    bool walk(int node, RenderCallbacks* cb, QVector<bool>& visited, WalkType type);
    // The traversal of walk(): calls `done(node)` for each node in
    // post-order and stops, returning false, when it returns false.
    template <typename Done>
    bool traverse(int node, QVector<bool>& visited, Done done);
    // Runs the pass of `node`, an enabled pass node: delivers its inputs,
    // sets its output user counts from `visited`, and waits for it to
    // finish. Returns whether its error code is 0.
    bool render(int node, RenderCallbacks* cb);
    // The part of running a pass that both kinds of frame share, after
    // inputs and user counts: setErrorCode(0), beginFrame(), start(), the
    // isFinished() polls, endFrame(). Returns whether errorCode() is 0.
    // runPassAs<true>() also tells `recorder` (which must be set) about
    // each step, runPassAs<false>() tells nobody; runPass() picks one by
    // whether `recorder` is set when the pass starts.
    bool runPass(int node, RenderPass* pass, RenderCallbacks* cb)
    {
        return recorder ? runPassAs<true>(node, pass, cb) : runPassAs<false>(node, pass, cb);
    }
    template <bool Recording>
    bool runPassAs(int node, RenderPass* pass, RenderCallbacks* cb);

    // One frame by walking the graph, as Renderer::render() describes it,
    // between beginFrame() and endFrame(). Returns its result.
    bool renderWalking(RenderCallbacks* cb);
    // One frame from the schedule, compiling it first unless it is
    // current; the same calls in the same order as renderWalking().
    bool renderScheduled(RenderCallbacks* cb);
    bool scheduleIsCurrent() const;
    void compileSchedule();
    void compileRun(Schedule::Run& run);
    // Replays the recorded runs; false as soon as a pass fails.
    bool replayRuns(RenderCallbacks* cb);

    // Where input `input` of pass node `node` takes its value from, found
    // with the walk primitives; the producer's flag is not looked at.
    Schedule::Source resolveInput(int node, int input) const;
    // Delivers input `input` of `pass` from `source`, reading the value
    // (and a producer's enabled flag) as it stands now.
    void deliverInput(RenderPass* pass, int input, Schedule::Source source);
    // The number of edges from output `output` of `node` into nodes that
    // `visited` marks.
    int countUsers(int node, int output) const;
};

template <bool Recording>
bool Renderer::Impl::runPassAs(int node, RenderPass* pass, RenderCallbacks* cb)
{
    FrameRecorder* const rec = recorder;
    pass->setErrorCode(0);
    if constexpr (Recording)
        rec->passBegins();
    pass->beginFrame(cb);
    pass->start(cb);
    ++numPassesRun;
    // First poll right after start(); no time-out, a pass that never
    // finishes holds the frame.
    int polls = 1;
    while (!pass->isFinished()) {
        if constexpr (Recording) {
            if (polls == 1)
                rec->passWaits();
        }
        QThread::usleep(100);
        ++polls;
    }
    if constexpr (Recording) {
        if (polls > 1)
            rec->passFinished();
    }
    pass->endFrame(cb);
    const unsigned int code = pass->errorCode();
    if constexpr (Recording)
        rec->passEnds(node, graph.nodeValue(node), code, polls);
    return code == 0;
}

template <typename Done>
bool Renderer::Impl::traverse(int node, QVector<bool>& visited, Done done)
{
    // Depth first with a stack of our own rather than the call stack, so
    // that a chain as long as memory allows can be walked. Each entry is a
    // node and the next of its inputs to follow; a node is marked when it
    // is pushed, and leaves the stack (calling `done`) once all its inputs
    // are done: the order of a recursive post-order walk.
    walkStack.clear();
    visited[node] = true;
    walkStack.push_back(WalkEntry{node, graph.numInputs(node), 0});
    while (!walkStack.empty()) {
        WalkEntry& top = walkStack.back();
        bool descended = false;
        while (top.nextInput < top.numInputs) {
            int source = top.node;
            int index = top.nextInput++;
            if (graph.walkToSourceNode(source, index) && !visited.at(source)) {
                visited[source] = true;
                walkStack.push_back(WalkEntry{source, graph.numInputs(source), 0}); // `top` is stale from here
                descended = true;
                break;
            }
        }
        if (descended)
            continue;

        const int finished = top.node;
        walkStack.pop_back();
        if (!done(finished))
            return false;
    }
    return true;
}

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERER_P_H
