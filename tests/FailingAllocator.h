// An operator new that a test can make fail, for the tests of what the
// library leaves behind when it runs out of memory. Include this header in
// one source file of a test binary only: it replaces the plain operator new
// and operator delete of that binary, and so of the library it links, for
// every allocation through them (Qt's containers allocate with malloc and
// are not affected).
//
// A test arms one failure at a time, on its own thread: the next allocation
// after `failAfter` more, or the next one of `failSize` bytes. Under
// valgrind, whose memcheck puts its own operator new in place of this one,
// nothing can be made to fail and the tests skip themselves
// (SKIP_UNLESS_ALLOCATIONS_CAN_FAIL).
#ifndef ZRNCORE_TESTS_FAILINGALLOCATOR_H
#define ZRNCORE_TESTS_FAILINGALLOCATOR_H

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <QtCore/QLoggingCategory>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace ZrnTest {

// How the next allocations on this thread fail: after `failAfter` more
// allocations (-1: none fails), or the first one of `failSize` bytes (0:
// none). Each arming fails one allocation, and is then cleared: a test
// checks that it was used with failureUsed().
inline thread_local long failAfter = -1;
inline thread_local std::size_t failSize = 0;

inline bool failsNow(std::size_t size)
{
    if (failSize != 0 && size == failSize) {
        failSize = 0;
        return true;
    }
    if (failAfter == 0) {
        failAfter = -1;
        return true;
    }
    if (failAfter > 0)
        --failAfter;
    return false;
}

// Whether the failure armed last has happened (and nothing is armed).
inline bool failureUsed()
{
    return failAfter == -1 && failSize == 0;
}

// Whether allocations of the library can be made to fail: a third child of
// a node is listed on the heap, and that allocation is the first that
// addNode() makes. The debug lines of the graph are turned off first, as
// they would make allocations of their own.
inline bool canFailAllocations()
{
    QLoggingCategory::setFilterRules(QStringLiteral("zrn.graph.debug=false"));
    Morvane::Zrn::Graph g;
    const int parent = g.addNode(QStringLiteral("p"), 0, 0, Morvane::Zrn::Graph::kRootNodeRef);
    g.addNode(QStringLiteral("a"), 0, 0, parent);
    g.addNode(QStringLiteral("b"), 0, 0, parent);
    failAfter = 0;
    bool failed = false;
    try {
        g.addNode(QStringLiteral("c"), 0, 0, parent);
    } catch (const std::bad_alloc&) {
        failed = true;
    }
    failAfter = -1;
    return failed;
}

} // namespace ZrnTest

#define SKIP_UNLESS_ALLOCATIONS_CAN_FAIL()                                                  \
    do {                                                                                    \
        if (!ZrnTest::canFailAllocations())                                                 \
            GTEST_SKIP() << "the library's allocations cannot be made to fail (valgrind?)"; \
    } while (false)

void* operator new(std::size_t size)
{
    if (ZrnTest::failsNow(size))
        throw std::bad_alloc();
    void* p = std::malloc(size == 0 ? 1 : size);
    if (!p)
        throw std::bad_alloc();
    return p;
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

#endif // ZRNCORE_TESTS_FAILINGALLOCATOR_H
