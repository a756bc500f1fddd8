// The process-wide allocation hooks behind AllocationCounter.h.

#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

// Plain loads and stores rather than read-modify-write operations: the
// benchmarks are single-threaded, and a locked add in every malloc would
// show in the allocation-heavy timings.
std::atomic<long long> g_allocations{0};
std::atomic<long long> g_liveBytes{0};
std::atomic<bool> g_countingBytes{false};

inline void countAllocation()
{
    g_allocations.store(g_allocations.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

inline void addBytes(long long bytes)
{
    g_liveBytes.store(g_liveBytes.load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
}

} // namespace

#if defined(__GLIBC__)
namespace {
inline void* counted(void* p)
{
    if (p && g_countingBytes.load(std::memory_order_relaxed))
        addBytes(static_cast<long long>(malloc_usable_size(p)));
    return p;
}
} // namespace

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* ptr, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* ptr);

void* malloc(size_t size)
{
    countAllocation();
    return counted(__libc_malloc(size));
}
void* calloc(size_t count, size_t size)
{
    countAllocation();
    return counted(__libc_calloc(count, size));
}
void* realloc(void* ptr, size_t size)
{
    countAllocation();
    const bool bytes = g_countingBytes.load(std::memory_order_relaxed);
    const long long before = (bytes && ptr) ? static_cast<long long>(malloc_usable_size(ptr)) : 0;
    void* p = __libc_realloc(ptr, size);
    if (bytes) {
        if (p)
            addBytes(static_cast<long long>(malloc_usable_size(p)) - before);
        else if (size == 0)
            addBytes(-before); // realloc(ptr, 0) freed the block
    }
    return p;
}
void* memalign(size_t alignment, size_t size)
{
    countAllocation();
    return counted(__libc_memalign(alignment, size));
}
void* aligned_alloc(size_t alignment, size_t size)
{
    countAllocation();
    return counted(__libc_memalign(alignment, size));
}
int posix_memalign(void** out, size_t alignment, size_t size)
{
    countAllocation();
    void* p = counted(__libc_memalign(alignment, size));
    if (!p)
        return 12; // ENOMEM
    *out = p;
    return 0;
}
void free(void* ptr)
{
    if (ptr && g_countingBytes.load(std::memory_order_relaxed))
        addBytes(-static_cast<long long>(malloc_usable_size(ptr)));
    __libc_free(ptr);
}
} // extern "C"
#define ZRN_BENCH_COUNTS_MALLOC 1
#endif

namespace {

void* countedNew(size_t size)
{
#if !defined(ZRN_BENCH_COUNTS_MALLOC)
    countAllocation(); // malloc counts it otherwise
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

namespace ZrnBench {

long long allocationCount()
{
    return g_allocations.load(std::memory_order_relaxed);
}

bool canCountBytes()
{
#if defined(ZRN_BENCH_COUNTS_MALLOC)
    return true;
#else
    return false;
#endif
}

void setCountingBytes(bool on)
{
    g_countingBytes.store(on, std::memory_order_relaxed);
}

long long liveBytes()
{
    return g_liveBytes.load(std::memory_order_relaxed);
}

} // namespace ZrnBench
