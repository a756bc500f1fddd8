// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_GRAPHTREE_P_H
#define ZRNCORE_GRAPHTREE_P_H

#include <ZrnCore/Graph.h>

#include <vector>

namespace Morvane {
namespace Zrn {

// The live part of a graph as one consistent tree, read through Graph's
// public interface: what the graph documents are written from and what the
// hierarchy picture draws.
//
// A node is kept when it is valid and its parent field leads, through kept
// nodes with ever smaller references, to a root: slot 0 with parent -1.
// Every graph built with the public operations keeps all of its live nodes;
// only the parent fields that purge() leaves stale can cut a node (and its
// subtree) off. Children are the kept nodes whose parent is the node, in
// reference order, which is the order in which they were added.
//
// An edge is kept when it is valid, both its ends are kept, its ends are
// siblings, parent and child, or child and parent (in that order of tests),
// and the ports it names still hold it: it is the source of its destination
// port and is listed among the destinations of its source port. Erasing a
// connected port (removeInput(), removeOutput()) is the only way to break
// that; such edges are left out.
//
// All references here are the graph's own; `nodeMap` and `edgeMap` give the
// references of the compacted graph that keeps exactly these nodes and edges
// in their order.
struct GraphTree
{
    enum Kind { Regular, Down, Up };

    std::vector<int> nodes;                 // kept node references, in order
    std::vector<int> nodeMap;               // per node slot: compacted reference, -1 when not kept
    std::vector<int> parents;               // per node slot: the parent when kept
    std::vector<std::vector<int>> children; // per node slot: kept children, in order
    std::vector<int> edges;                 // kept edge references, in order
    std::vector<int> edgeMap;               // per edge slot: compacted reference, -1 when not kept
    std::vector<Kind> kinds;                // per edge slot: the kind when kept

    explicit GraphTree(const Graph& graph);

    bool keptNode(int node) const { return node >= 0 && size_t(node) < nodeMap.size() && nodeMap[size_t(node)] >= 0; }
    // Kept nodes with at least one kept child.
    bool composite(int node) const { return !children[size_t(node)].empty(); }
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_GRAPHTREE_P_H
