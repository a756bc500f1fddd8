// Size sweeps shared by the benchmark programs.
//
// ctest runs every benchmark program once as a smoke test with
// ZRNCORE_BENCH_SMOKE=1 in its environment; the sweeps then keep only their
// first (smallest) size, so that the smoke runs stay fast while every
// benchmark still builds and runs.

#ifndef ZRNCORE_BENCH_BENCHSIZES_H
#define ZRNCORE_BENCH_BENCHSIZES_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace ZrnBench {

// True in the smoke runs of ctest.
inline bool isSmokeRun()
{
    const char* value = std::getenv("ZRNCORE_BENCH_SMOKE");
    return value && std::strcmp(value, "0") != 0 && *value != '\0';
}

// Adds one run per size to `b`; only the first size in a smoke run.
inline void addSizes(benchmark::internal::Benchmark* b, std::initializer_list<int64_t> sizes)
{
    for (int64_t size : sizes) {
        b->Arg(size);
        if (isSmokeRun())
            break;
    }
}

} // namespace ZrnBench

#endif // ZRNCORE_BENCH_BENCHSIZES_H
