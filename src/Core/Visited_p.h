// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_VISITED_P_H
#define ZRNCORE_VISITED_P_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Morvane {
namespace Zrn {

// Visited marks over node slots: the one way the library's traversals
// (precedes(), node removal, the walkers; the renderer can adopt it) remember
// which nodes they have reached. A node counts as marked when its stamp equals
// the current epoch, so starting a new traversal costs what it visits, not
// the size of the graph, and nothing has to be cleared between calls. A
// traversal that may run often keeps one per thread (thread_local), so const
// queries stay safe side by side; a walker owns its own.
struct VisitStamps
{
    std::vector<std::uint32_t> stamps;
    std::uint32_t epoch = 0;

    // Starts a new call over `numNodes` slots: every node is unmarked.
    void begin(size_t numNodes)
    {
        if (stamps.size() < numNodes)
            stamps.resize(numNodes, 0);
        if (++epoch == 0) { // wrapped: old stamps could match again
            std::fill(stamps.begin(), stamps.end(), 0);
            epoch = 1;
        }
    }
    // The number of slots covered; `n` passed to marked() and mark() must be
    // below it.
    size_t size() const { return stamps.size(); }
    bool covers(int n) const { return n >= 0 && size_t(n) < stamps.size(); }
    bool marked(int n) const { return stamps[size_t(n)] == epoch; }
    void mark(int n) { stamps[size_t(n)] = epoch; }
    // Unmarks `n` within the running call (no epoch is 0).
    void unmark(int n) { stamps[size_t(n)] = 0; }
};

// The instance of `T` that belongs to the calling thread, one per `Tag`: the
// scratch storage of a traversal. Every caller that names the same `T` and
// `Tag` gets the same instance, so two traversals that may nest need tags
// of their own. Reached through a call that is never inlined, once per
// call of the function that asks: in a shared library an access to a
// thread_local may go through the runtime's address lookup, and GCC repeats
// that lookup inside a loop rather than keep the address in a register.
template <typename T, typename Tag = T>
#if defined(__GNUC__) || defined(__clang__)
__attribute__((noinline))
#endif
T&
perThread()
{
    thread_local T instance;
    return instance;
}

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_VISITED_P_H
