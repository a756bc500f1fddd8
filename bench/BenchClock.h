// The clock of the benchmarks that time parts of an iteration themselves.
//
// The machines these run on are shared, often with more runnable processes
// than cores, so wall-clock time counts whatever else ran. Those benchmarks
// read the CPU time of the calling thread instead: what the code under test
// cost, waits for a core excluded (its cache misses, caused by others or
// not, included).

#ifndef ZRNCORE_BENCH_BENCHCLOCK_H
#define ZRNCORE_BENCH_BENCHCLOCK_H

#include <chrono>
#include <ctime>

#if defined(__linux__)
#include <sys/resource.h>
#endif

namespace ZrnBench {

// Seconds of CPU time the calling thread has used; on systems without a
// thread clock, seconds of a steady wall clock.
inline double threadSeconds()
{
#if defined(CLOCK_THREAD_CPUTIME_ID)
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
#else
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
#endif
}

// Minor page faults of the calling thread so far (first touches of memory
// fresh from the system), or 0 where the system does not say. Building a
// large graph in memory the allocator just took from the system costs one
// per 4 KiB page; a small one reuses memory the allocator already holds.
inline long long threadPageFaults()
{
#if defined(__linux__)
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_minflt;
#else
    return 0;
#endif
}

} // namespace ZrnBench

#endif // ZRNCORE_BENCH_BENCHCLOCK_H
