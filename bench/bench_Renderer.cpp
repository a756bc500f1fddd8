// Frames of the renderer against the floor, and the heap allocations a frame
// makes.
//
// frames/Chain, /Layered, /NestedChain and /NestedLayered sweep the pass
// graphs of PassGraph.h (chains and layered graphs, flat and nested two
// levels deep in groups) at N = 10, 100, 1,000 and 10,000 passes. Each
// benchmark builds the same graph three times: for the floor (every call a
// frame makes on its passes, precomputed, see Floor), for render() as it
// runs by default (replaying its recorded schedule), and for render() with
// literal frames (walking the graph in every frame). It checks that one
// frame of each makes the same calls with the same values, then times
// batches of frames of the three in turn, so that the figures and their
// ratios come from the same stretch of the run. Counters, per pass run:
//   floor_ns, render_ns, literal_ns   nanoseconds per pass
//   render_x, literal_x               the same divided by floor_ns
//   *_allocs                          heap allocations per frame
//   render_compiles                   schedule recordings per frame
// frames/ToggleChain and /ToggleLayered do the same while one pass outside
// the target's upstream has its enabled flag flipped before every frame of
// render().
//
// The older sweeps: BM_FrameChain (a chain of RenderPassHelper passes) and
// BM_FrameNothingNeeded (a frame that needs no pass), with allocations per
// frame; BM_AllocationCounterCheck must read 1 alloc/frame.
//
// Every allocation of the process is counted (AllocationCounter.h).

#include "AllocationCounter.h"
#include "BenchClock.h"
#include "BenchSizes.h"
#include "Increment.h"
#include "PassGraph.h"
#include "RenderFloor.h"
#if ZRNCORE_BENCH_HOOKS
#include "RendererHooks_p.h"
#endif

#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QVector>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>

namespace {

using namespace Morvane::Zrn;

using ZrnBench::Increment;

// A chain of `length` passes; with `needed`, the last one is the target and
// feeds the renderer output.
void buildChain(Renderer& renderer, int length, bool needed)
{
    const int out = renderer.addOutput(QStringLiteral("result"));
    int previous = Graph::kInvalidNodeRef;
    for (int i = 0; i < length; ++i) {
        const int node = renderer.addPass(QStringLiteral("p%1").arg(i), new Increment, Graph::kRootNodeRef);
        if (previous != Graph::kInvalidNodeRef)
            renderer.getGraph().addEdge(previous, 0, node, 0);
        previous = node;
    }
    if (needed) {
        renderer.getGraph().addUpEdge(out, previous, 0);
        renderer.setTarget(previous);
    }
}

void runFrames(benchmark::State& state, bool needed)
{
    const int length = int(state.range(0));
    Renderer renderer;
    buildChain(renderer, length, needed);
    renderer.setup(nullptr);
    renderer.render(nullptr); // the first frame sizes the reused vectors
    if (needed && renderer.output(0).toInt() != length)
        state.SkipWithError("wrong result");

    const long long before = ZrnBench::allocationCount();
    for (auto _ : state)
        benchmark::DoNotOptimize(renderer.render(nullptr));
    const long long allocations = ZrnBench::allocationCount() - before;

    state.counters["frames/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["allocs/frame"] = benchmark::Counter(double(allocations), benchmark::Counter::kAvgIterations);
    state.counters["passes/frame"] = renderer.getNumPasses();
    renderer.teardown(nullptr);
}

void BM_FrameNothingNeeded(benchmark::State& state)
{
    runFrames(state, false);
}

void BM_FrameChain(benchmark::State& state)
{
    runFrames(state, true);
}

// Shows that the counter sees Qt's allocations: one QVector buffer per
// iteration must read as 1 alloc/frame.
void BM_AllocationCounterCheck(benchmark::State& state)
{
    const long long before = ZrnBench::allocationCount();
    for (auto _ : state) {
        QVector<int> v(8);
        benchmark::DoNotOptimize(v.data());
    }
    const long long allocations = ZrnBench::allocationCount() - before;
    state.counters["allocs/frame"] = benchmark::Counter(double(allocations), benchmark::Counter::kAvgIterations);
}

} // namespace

BENCHMARK(BM_AllocationCounterCheck);
BENCHMARK(BM_FrameNothingNeeded)->RangeMultiplier(4)->Range(4, 256);
BENCHMARK(BM_FrameChain)->RangeMultiplier(4)->Range(4, 256);

namespace {

using ZrnBench::CallLog;
using ZrnBench::Floor;
using ZrnBench::PassGraph;
using ZrnBench::PassGraphPlan;
using ZrnBench::Shape;

// The ways a frame is made, timed in turn.
// render() makes its frames from a recorded schedule by default; the
// literal frame walks the graph in every frame.
enum Mode { FloorFrame, RenderFrame, LiteralFrame, NumModes };
const char* const kModeNames[NumModes] = {"floor", "render", "literal"};

// The renderer's internal hooks are exported only from builds with tests;
// without them there is no literal frame to compare with.
#if ZRNCORE_BENCH_HOOKS
constexpr int kModesRun = NumModes;
void setLiteralFrames(Renderer& renderer, bool on)
{
    Morvane::Zrn::Internal::setLiteralFrames(renderer, on);
}
double scheduleCompilations(const Renderer& renderer)
{
    return double(Morvane::Zrn::Internal::scheduleCompilations(renderer));
}
#else
constexpr int kModesRun = LiteralFrame;
void setLiteralFrames(Renderer&, bool) { }
double scheduleCompilations(const Renderer&)
{
    return 0.0;
}
#endif

struct FrameRig
{
    PassGraph floorGraph;
    PassGraph graphs[NumModes]; // graphs[FloorFrame] stays empty
    std::unique_ptr<Floor> floor;
    bool toggle = false;
    bool extraOff[NumModes] = {};

    bool frame(int mode)
    {
        if (mode == FloorFrame)
            return floor->frame(nullptr);
        Renderer& r = *graphs[mode].renderer;
        if (toggle) {
            extraOff[mode] = !extraOff[mode];
            r.setEnabled(graphs[mode].extraNode, !extraOff[mode]);
        }
        return r.render(nullptr);
    }
};

// One logged frame of `mode`, with the renderer output it left.
std::string loggedFrame(FrameRig& rig, int mode, CallLog& log)
{
    const PassGraph& graph = mode == FloorFrame ? rig.floorGraph : rig.graphs[mode];
    log.clear();
    ZrnBench::setLog(graph, &log);
    const bool ok = rig.frame(mode);
    ZrnBench::setLog(graph, nullptr);
    const QVariant out = mode == FloorFrame ? rig.floor->output(0) : graph.renderer->output(0);
    const int run = mode == FloorFrame ? rig.floor->numPassesRun() : graph.renderer->getNumPasses();
    return std::string(ok ? "ok" : "failed") + ", result " + std::to_string(out.toInt()) + ", passes run "
        + std::to_string(run);
}

// Builds the graphs and checks that every mode makes the floor's calls.
// Returns an empty string, or what went wrong.
std::string prepare(FrameRig& rig, const PassGraphPlan& plan)
{
    rig.toggle = plan.extra;
    rig.floorGraph = ZrnBench::buildPassGraph(plan);
    if (!rig.floorGraph.ok)
        return "an edge of the pass graph was refused";
    rig.floor = std::make_unique<Floor>(*rig.floorGraph.renderer);
    if (rig.floor->numPassesRun() != rig.floorGraph.passCount)
        return "the floor does not run every pass upstream of the target";
    rig.floorGraph.renderer->setup(nullptr);
    for (int mode = RenderFrame; mode < kModesRun; ++mode) {
        rig.graphs[mode] = ZrnBench::buildPassGraph(plan);
        setLiteralFrames(*rig.graphs[mode].renderer, mode == LiteralFrame);
        rig.graphs[mode].renderer->setup(nullptr);
    }

    // Two frames each first: whatever a first frame sets up is in place.
    for (int mode = FloorFrame; mode < kModesRun; ++mode) {
        rig.frame(mode);
        rig.frame(mode);
    }
    CallLog floorLog;
    const std::string floorEnd = loggedFrame(rig, FloorFrame, floorLog);
    const std::string expectedEnd = "ok, result " + std::to_string(rig.floor->output(0).toInt()) + ", passes run "
        + std::to_string(rig.floorGraph.passCount);
    if (floorEnd != expectedEnd || floorLog.empty())
        return "the floor's frame ended as " + floorEnd;
    for (int mode = RenderFrame; mode < kModesRun; ++mode) {
        for (int frame = 0; frame < 2; ++frame) { // both states of a toggled flag
            CallLog log;
            const std::string end = loggedFrame(rig, mode, log);
            if (log != floorLog || end != floorEnd)
                return std::string(kModeNames[mode]) + " made other calls than the floor (" + end + ")";
        }
    }
    return std::string();
}

void frames(benchmark::State& state, Shape shape, bool nested, bool toggle)
{
    PassGraphPlan plan;
    plan.shape = shape;
    plan.nested = nested;
    plan.size = int(state.range(0));
    plan.extra = toggle;
    FrameRig rig;
    const std::string problem = prepare(rig, plan);
    if (!problem.empty()) {
        state.SkipWithError(problem.c_str());
        return;
    }

    const int passes = rig.floorGraph.passCount;
    const int batch = ZrnBench::isSmokeRun() ? 1 : std::max(1, 20000 / passes);
    double seconds[NumModes] = {};
    long long allocations[NumModes] = {};
    long long framesPerMode = 0;
    const double compilationsBefore = scheduleCompilations(*rig.graphs[RenderFrame].renderer);
    int rotation = 0;
    for (auto _ : state) {
        double renderSeconds = 0.0;
        for (int j = 0; j < kModesRun; ++j) {
            const int mode = (j + rotation) % kModesRun; // alternate who goes first
            const long long allocationsBefore = ZrnBench::allocationCount();
            const double start = ZrnBench::threadSeconds();
            for (int b = 0; b < batch; ++b)
                benchmark::DoNotOptimize(rig.frame(mode));
            const double elapsed = ZrnBench::threadSeconds() - start;
            allocations[mode] += ZrnBench::allocationCount() - allocationsBefore;
            seconds[mode] += elapsed;
            if (mode == RenderFrame)
                renderSeconds = elapsed;
        }
        ++rotation;
        framesPerMode += batch;
        state.SetIterationTime(renderSeconds);
    }

    const double passesRun = double(framesPerMode) * passes;
    for (int mode = FloorFrame; mode < kModesRun; ++mode) {
        const std::string name = kModeNames[mode];
        state.counters[name + "_ns"] = seconds[mode] * 1e9 / passesRun;
        state.counters[name + "_allocs"] = double(allocations[mode]) / double(framesPerMode);
    }
    state.counters["render_x"] = seconds[RenderFrame] / seconds[FloorFrame];
    if (kModesRun > LiteralFrame)
        state.counters["literal_x"] = seconds[LiteralFrame] / seconds[FloorFrame];
    const double compilations = scheduleCompilations(*rig.graphs[RenderFrame].renderer) - compilationsBefore;
    state.counters["render_compiles"] = compilations / double(framesPerMode);
    state.counters["passes"] = passes;
    state.counters["frames"] = double(framesPerMode);
    for (int mode = FloorFrame; mode < kModesRun; ++mode) {
        if (mode != FloorFrame)
            rig.graphs[mode].renderer->teardown(nullptr);
    }
    rig.floorGraph.renderer->teardown(nullptr);
}

void passSizes(benchmark::internal::Benchmark* b)
{
    ZrnBench::addSizes(b, {10, 100, 1000, 10000});
    b->UseManualTime();
}

} // namespace

BENCHMARK_CAPTURE(frames, Chain, Shape::Chain, false, false)->Apply(passSizes);
BENCHMARK_CAPTURE(frames, Layered, Shape::Layered, false, false)->Apply(passSizes);
BENCHMARK_CAPTURE(frames, NestedChain, Shape::Chain, true, false)->Apply(passSizes);
BENCHMARK_CAPTURE(frames, NestedLayered, Shape::Layered, true, false)->Apply(passSizes);
BENCHMARK_CAPTURE(frames, ToggleChain, Shape::Chain, false, true)->Apply(passSizes);
BENCHMARK_CAPTURE(frames, ToggleLayered, Shape::Layered, false, true)->Apply(passSizes);
