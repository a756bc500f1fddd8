// Frames per second of the renderer on chains of trivial passes, and the
// heap allocations one frame makes, against a frame that needs no pass.
//
//   baseline:  P0 -> P1 -> ... -> Pn-1      no target, nothing needed
//   chain:     P0 -> P1 -> ... -> Pn-1 (target) -> renderer output
//
// Every allocation of the process is counted: operator new/delete are
// replaced here, and on glibc malloc, calloc and realloc are too, because
// Qt's containers allocate with malloc rather than operator new.

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QVector>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long long> g_allocations{0};
} // namespace

#if defined(__GLIBC__)
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* ptr, size_t size);
void __libc_free(void* ptr);

void* malloc(size_t size)
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size)
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(count, size);
}
void* realloc(void* ptr, size_t size)
{
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(ptr, size);
}
void free(void* ptr)
{
    __libc_free(ptr);
}
} // extern "C"
#define ZRN_BENCH_COUNTS_MALLOC 1
#endif

namespace {

void* countedNew(size_t size)
{
#if !defined(ZRN_BENCH_COUNTS_MALLOC)
    g_allocations.fetch_add(1, std::memory_order_relaxed); // malloc counts it otherwise
#endif
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}

} // namespace

void* operator new(size_t size)
{
    return countedNew(size);
}
void* operator new[](size_t size)
{
    return countedNew(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept
{
    try {
        return countedNew(size);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept
{
    try {
        return countedNew(size);
    } catch (...) {
        return nullptr;
    }
}
void operator delete(void* p) noexcept
{
    std::free(p);
}
void operator delete[](void* p) noexcept
{
    std::free(p);
}
void operator delete(void* p, size_t) noexcept
{
    std::free(p);
}
void operator delete[](void* p, size_t) noexcept
{
    std::free(p);
}

namespace {

using namespace Morvane::Zrn;

// Adds one to its integer input.
class Increment : public RenderPassHelper
{
public:
    Increment()
    {
        addInput(QStringLiteral("in"), 0);
        addOutput(QStringLiteral("out"));
    }
    void start(RenderCallbacks*) override { outputs[0].value = inputs[0].value.toInt() + 1; }
};

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

    const long long before = g_allocations.load();
    for (auto _ : state)
        benchmark::DoNotOptimize(renderer.render(nullptr));
    const long long allocations = g_allocations.load() - before;

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
    const long long before = g_allocations.load();
    for (auto _ : state) {
        QVector<int> v(8);
        benchmark::DoNotOptimize(v.data());
    }
    const long long allocations = g_allocations.load() - before;
    state.counters["allocs/frame"] = benchmark::Counter(double(allocations), benchmark::Counter::kAvgIterations);
}

} // namespace

BENCHMARK(BM_AllocationCounterCheck);
BENCHMARK(BM_FrameNothingNeeded)->RangeMultiplier(4)->Range(4, 256);
BENCHMARK(BM_FrameChain)->RangeMultiplier(4)->Range(4, 256);
