#ifndef ZRNCORE_FUZZ_FUZZGRAPHSNAPSHOT_H
#define ZRNCORE_FUZZ_FUZZGRAPHSNAPSHOT_H

// The part of a graph snapshot that the graph fuzz targets share: a node's
// ports, each with its source and its destinations, so that a target can
// check that a refused edit left the edges exactly as they were.

#include <ZrnCore/Graph.h>

#include <vector>

namespace ZrnFuzz {

// Appends, for node `n` of `g`, the number of inputs, then each input's
// source and destinations closed by -2, then the same for the outputs.
inline void appendPorts(std::vector<int>& s, const Morvane::Zrn::Graph& g, int n)
{
    s.push_back(g.numInputs(n));
    for (int i = 0; i < g.numInputs(n); ++i) {
        s.push_back(g.inputSource(n, i));
        for (int k = 0; k < g.numInputDestinations(n, i); ++k)
            s.push_back(g.inputDestination(n, i, k));
        s.push_back(-2);
    }
    s.push_back(g.numOutputs(n));
    for (int o = 0; o < g.numOutputs(n); ++o) {
        s.push_back(g.outputSource(n, o));
        for (int k = 0; k < g.numOutputDestinations(n, o); ++k)
            s.push_back(g.outputDestination(n, o, k));
        s.push_back(-2);
    }
}

} // namespace ZrnFuzz

#endif // ZRNCORE_FUZZ_FUZZGRAPHSNAPSHOT_H
