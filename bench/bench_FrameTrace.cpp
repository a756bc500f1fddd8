// What recording a renderer's frames costs: the same chain of passes rendered
// with recording off, with the frame report on, and with a trace recording.
//
// frames/Chain/N builds a chain of N passes three times, one renderer for
// each way, and times batches of frames of the three in turn, so that the
// figures and their ratios come from the same stretch of the run. Counters:
//   off_ns, report_ns, trace_ns   nanoseconds per pass run
//   report_x, trace_x             the same divided by off_ns
//   *_allocs                      heap allocations per frame
// The trace restarts every batch (startFrameTrace() reuses its storage), so
// recording runs for as long as the benchmark does.
//
// Every allocation of the process is counted (AllocationCounter.h).

#include "AllocationCounter.h"
#include "BenchClock.h"
#include "BenchSizes.h"
#include "Increment.h"

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/FrameTrace.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>

namespace {

using namespace Morvane::Zrn;

using ZrnBench::Increment;

// A chain of `n` passes, the last one the target.
std::unique_ptr<Renderer> chain(int n)
{
    auto renderer = std::make_unique<Renderer>();
    int previous = Graph::kInvalidNodeRef;
    for (int i = 0; i < n; ++i) {
        const int node = renderer->addPass(QStringLiteral("p%1").arg(i), new Increment, Graph::kRootNodeRef);
        if (previous != Graph::kInvalidNodeRef)
            renderer->getGraph().addEdge(previous, 0, node, 0);
        previous = node;
    }
    renderer->setTarget(previous);
    return renderer;
}

constexpr int kBatch = 64; // frames per timed batch, and per trace

struct Way
{
    std::unique_ptr<Renderer> renderer;
    bool trace = false;
    double seconds = 0.0;
    long long allocations = 0;

    void batch()
    {
        if (trace)
            renderer->startFrameTrace(kBatch);
        const long long allocationsBefore = ZrnBench::allocationCount();
        const double before = ZrnBench::threadSeconds();
        for (int f = 0; f < kBatch; ++f) {
            if (!renderer->render(nullptr))
                std::abort();
        }
        seconds += ZrnBench::threadSeconds() - before;
        allocations += ZrnBench::allocationCount() - allocationsBefore;
    }
};

void BM_RecordingChain(benchmark::State& state)
{
    const int n = int(state.range(0));
    Way off{chain(n)};
    Way report{chain(n)};
    report.renderer->setFrameReportEnabled(true);
    Way trace{chain(n)};
    trace.trace = true;
    // Warm up: the first frames record the schedule and grow the storage.
    off.batch();
    report.batch();
    trace.batch();
    off = Way{std::move(off.renderer)};
    report = Way{std::move(report.renderer)};
    trace = Way{std::move(trace.renderer), true};

    long long frames = 0;
    for (auto _ : state) {
        off.batch();
        report.batch();
        trace.batch();
        frames += kBatch;
    }
    if (trace.renderer->frameTrace().numRuns() != kBatch * n || report.renderer->frameReport().numRuns() != n)
        state.SkipWithError("recording missed runs");

    const double runs = double(frames) * n;
    const double offNs = off.seconds * 1e9 / runs;
    state.counters["off_ns"] = offNs;
    state.counters["report_ns"] = report.seconds * 1e9 / runs;
    state.counters["trace_ns"] = trace.seconds * 1e9 / runs;
    state.counters["report_x"] = report.seconds / off.seconds;
    state.counters["trace_x"] = trace.seconds / off.seconds;
    state.counters["off_allocs"] = double(off.allocations) / double(frames);
    state.counters["report_allocs"] = double(report.allocations) / double(frames);
    state.counters["trace_allocs"] = double(trace.allocations) / double(frames);
}
BENCHMARK(BM_RecordingChain)->Name("frames/Chain")->Apply([](benchmark::internal::Benchmark* b) {
    ZrnBench::addSizes(b, {10, 100, 1000});
});

} // namespace
