// Counts the heap allocations of the whole process, and optionally the bytes
// live on the heap, for the benchmark programs that link AllocationCounter.cpp.
//
// operator new/delete are replaced, and on glibc malloc, calloc, realloc,
// free and the aligned allocators are too, because Qt's containers allocate
// with malloc rather than operator new. The benchmarks run on one thread.

#ifndef ZRNCORE_BENCH_ALLOCATIONCOUNTER_H
#define ZRNCORE_BENCH_ALLOCATIONCOUNTER_H

namespace ZrnBench {

// Allocations made since the program started (malloc, calloc, realloc and
// every operator new; frees are not counted).
long long allocationCount();

// True when live bytes can be counted (glibc); otherwise liveBytes() stays 0.
bool canCountBytes();

// Starts or stops counting bytes. While counting, liveBytes() goes up by the
// usable size of every block allocated and down by that of every block freed
// or shrunk, so the difference of two readings is what the code between them
// left on the heap, allocator rounding included.
void setCountingBytes(bool on);
long long liveBytes();

} // namespace ZrnBench

#endif // ZRNCORE_BENCH_ALLOCATIONCOUNTER_H
