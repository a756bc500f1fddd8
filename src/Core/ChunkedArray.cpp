// The blocks of large chunked arrays: huge pages where the system has them.

#include "ChunkedArray_p.h"

#include <atomic>
#include <cstdint>
#include <new>

#if ZRNCORE_MAPS_HUGE_PAGE_BLOCKS
#include <sys/mman.h>
#endif

namespace Morvane {
namespace Zrn {

namespace {

// Blocks are few (one per 2 MiB of a large array), so a shared counter
// costs nothing that shows.
std::atomic<long long> g_mappedBlockBytes{0};

} // namespace

void* allocateHugePageBlock()
{
#if ZRNCORE_MAPS_HUGE_PAGE_BLOCKS
    // Twice the size is mapped so that an aligned block lies inside it; the
    // rest goes back to the system at once.
    const size_t span = 2 * kHugePageBytes;
    void* mapped = ::mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::bad_alloc();
    char* const start = static_cast<char*>(mapped);
    const size_t past = reinterpret_cast<std::uintptr_t>(start) & (kHugePageBytes - 1);
    const size_t lead = past == 0 ? 0 : kHugePageBytes - past;
    char* const block = start + lead;
    if (lead > 0)
        ::munmap(start, lead);
    if (span - lead > kHugePageBytes)
        ::munmap(block + kHugePageBytes, span - lead - kHugePageBytes);
#if defined(MADV_HUGEPAGE)
    // Refused where the system has no transparent huge pages: the block is
    // then made of ordinary pages, as any other memory.
    (void)::madvise(block, kHugePageBytes, MADV_HUGEPAGE);
#endif
    g_mappedBlockBytes.fetch_add(static_cast<long long>(kHugePageBytes), std::memory_order_relaxed);
    return block;
#else
    return ::operator new(kHugePageBytes, std::align_val_t(kHugePageBytes));
#endif
}

void freeHugePageBlock(void* block) noexcept
{
    if (!block)
        return;
#if ZRNCORE_MAPS_HUGE_PAGE_BLOCKS
    ::munmap(block, kHugePageBytes);
    g_mappedBlockBytes.fetch_sub(static_cast<long long>(kHugePageBytes), std::memory_order_relaxed);
#else
    ::operator delete(block, std::align_val_t(kHugePageBytes));
#endif
}

namespace Internal {

long long hugePageBlockBytes()
{
    return g_mappedBlockBytes.load(std::memory_order_relaxed);
}

} // namespace Internal

} // namespace Zrn
} // namespace Morvane
