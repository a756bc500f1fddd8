#ifndef ZRNCORE_TESTS_GRAPHSNAPSHOT_H
#define ZRNCORE_TESTS_GRAPHSNAPSHOT_H

// Shared by the graph tests: everything the edge operations may change, read
// through the public API, so that a refused call or a query can be shown to
// have changed nothing.

#include <ZrnCore/Graph.h>

#include <vector>

namespace ZrnTest {

inline std::vector<int> snapshot(const Morvane::Zrn::Graph& g)
{
    std::vector<int> s;
    s.push_back(g.numNodesGlobal());
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        s.push_back(g.isValidNode(n) ? 1 : 0);
        if (!g.isValidNode(n))
            continue;
        s.push_back(g.numInputs(n));
        for (int i = 0; i < g.numInputs(n); ++i) {
            s.push_back(g.inputSource(n, i));
            s.push_back(g.numInputDestinations(n, i));
            for (int k = 0; k < g.numInputDestinations(n, i); ++k)
                s.push_back(g.inputDestination(n, i, k));
        }
        s.push_back(g.numOutputs(n));
        for (int o = 0; o < g.numOutputs(n); ++o) {
            s.push_back(g.outputSource(n, o));
            s.push_back(g.numOutputDestinations(n, o));
            for (int k = 0; k < g.numOutputDestinations(n, o); ++k)
                s.push_back(g.outputDestination(n, o, k));
        }
    }
    s.push_back(g.numEdgesGlobal());
    for (int e = 0; e < g.numEdgesGlobal(); ++e) {
        s.push_back(g.isValidEdge(e) ? 1 : 0);
        s.push_back(g.edgeSourceNode(e));
        s.push_back(g.edgeSourceIndex(e));
        s.push_back(g.edgeDestNode(e));
        s.push_back(g.edgeDestIndex(e));
    }
    return s;
}

} // namespace ZrnTest

#endif // ZRNCORE_TESTS_GRAPHSNAPSHOT_H
