#ifndef ZRNCORE_GRAPHDOCUMENT_H
#define ZRNCORE_GRAPHDOCUMENT_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Morvane {
namespace Zrn {

class Graph;

/// The format name that every graph document holds in its "format" field.
constexpr const char* kGraphDocumentFormat = "zrn-graph";
/// The version of the graph documents written, and the only one read.
constexpr int kGraphDocumentVersion = 1;
/// The largest document readGraphDocument() reads, in bytes (32 MiB).
constexpr int kMaxGraphDocumentSize = 32 * 1024 * 1024;

/// Returns `graph` as an indented JSON document (UTF-8):
///
///     {
///         "edges": [ { "kind": "regular", "src": { "node": 1, "port": 0 },
///                      "dst": { "node": 2, "port": 0 } }, ... ],
///         "format": "zrn-graph",
///         "nodes": [ { "name": "blur", "value": -1, "parent": 0,
///                      "children": [ 3 ],
///                      "inputs": [ { "name": "in", "group": 0 } ],
///                      "outputs": [ ... ],
///                      "inputGroups": [ "pixels" ], "outputGroups": [] }, ... ],
///         "version": 1
///     }
///
/// Node i of "nodes" is the node with reference i; node 0 is the root
/// (parent -1). "children" lists a node's children in order. A port's
/// "group" is stored as the graph holds it, even when it names no group.
/// Edge i of "edges" is the edge with reference i; "kind" is "regular"
/// (an output to a sibling's input), "down" (a parent's input to a child's
/// input) or "up" (a child's output to its parent's output), and "src" and
/// "dst" name the two ports by node and index on the side the kind implies.
///
/// A graph built with the graph's operations and never purged, with no
/// removed slots, is written as it stands: reading the document back gives
/// the same references and the same answer to every query. Otherwise the
/// document holds the graph compacted: removed nodes and edges are dropped
/// and the rest renumbered in their order, as purge(nodeMap, edgeMap) would,
/// except that children and parents come out right: each node's parent is
/// its parent's new reference and its children are its live children in
/// order. Parts that no longer hang together are dropped too: a node whose
/// parent field names no earlier live node (purge() leaves parent fields
/// stale), with its subtree, and an edge that no longer joins the two ports
/// it names (erasing a connected port with removeInput() or removeOutput()
/// leaves such edges), or whose ends match no kind. A graph whose root was
/// removed is written with no nodes.
ZRNCORE_EXPORT QByteArray writeGraphDocument(const Graph& graph);

/// Reads a graph document into `graph` and returns true, or returns false,
/// leaves `graph` exactly as it was and, when `error` is not null, sets it
/// to one line naming the place in the document and what is wrong there,
/// for example "edges[12].dst: node 40 does not exist".
///
/// The graph is rebuilt in a fresh graph with the graph's own operations
/// (addNode(), addInput(), addEdge(), addDownEdge(), addUpEdge(), ...),
/// so every rule of those holds: an input or a parent output is fed once,
/// an output feeds either siblings or its parent, addEdge() refuses a
/// cycle. On success that graph replaces the content of `graph`, whose
/// references all change. Every field is required and no other field is
/// allowed; numbers must be whole and fit an int; a node's parent must come
/// before it; "children" must list exactly the nodes that name the node as
/// parent, in order; an edge's kind must match its ends. A document of no
/// nodes gives a graph whose root is removed. Documents larger than
/// kMaxGraphDocumentSize are refused unread.
ZRNCORE_EXPORT bool readGraphDocument(const QByteArray& document, Graph& graph, QString* error = nullptr);

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_GRAPHDOCUMENT_H
