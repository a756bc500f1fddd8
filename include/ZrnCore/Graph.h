#ifndef ZRNCORE_GRAPH_H
#define ZRNCORE_GRAPH_H

#include <ZrnCore/zrncore_export.h>
#include <ZrnCore/EdgeCheck.h>

#include <QtCore/QString>
#include <QtCore/QVector>

#include <memory>

namespace Morvane {
namespace Zrn {

/// A hierarchical node graph.
///
/// Nodes nest under one root (kRootNodeRef). Each node has a name, an
/// integer value free for the client, ordered inputs and outputs (ports),
/// and named input and output groups. Edges join ports:
///  - a regular edge runs from an output to an input of a sibling;
///  - a down edge runs from a parent's input to a child's input;
///  - an up edge runs from a child's output to its parent's output.
/// The kind of an edge is never stored; it follows from the parents of the
/// two nodes each time it is asked for.
///
/// References are plain ints: a node or edge reference is a global index
/// into the graph's storage, a port or group is named by a node reference and
/// a per-node index. Removal only marks nodes and edges, so references stay
/// stable until purge() renumbers them.
///
/// Checking: only the isValid...() operations check their arguments. The
/// other accessors take valid references as a precondition and trip a
/// Q_ASSERT in debug builds. In release builds they never touch memory
/// outside the graph's storage: a node, edge, port, group or position that
/// lies outside it gets a neutral answer (0 for a count, -1 for a reference,
/// index, group or value, an empty name, false), and a setter, creating or
/// removing operation given one changes nothing (a creating one returns -1).
/// A node or edge that was removed but not yet purged is inside the storage:
/// its records are read and written as they stand. The creating operations
/// addEdge(), addDownEdge() and addUpEdge() are guarded in every build: they
/// refuse (return kInvalidEdgeRef, change nothing) when given a reference
/// that does not name a live node or an existing port, -1 included.
///
/// Threads: no locks. Mutators need exclusive access; the const operations
/// may run side by side on a graph that no thread changes.
///
/// Memory: a graph keeps its node records, and apart from them its edge
/// records, in chunks that never move. Once the node records take 2 MiB,
/// the node records past that size go into blocks of 2 MiB; so do the edge
/// records past 4 MiB. The last block of each holds up to 2 MiB of room not
/// used yet. On Linux each block is mapped on its own and the system is
/// asked to back it with a huge page (madvise(MADV_HUGEPAGE)): fresh memory
/// costs a page fault per page, and a block then takes one fault instead of
/// 512, which makes a large graph quicker to build wherever page faults are
/// dear. The request follows the system's transparent huge page setting; a
/// process that wants none of it turns it off with
/// prctl(PR_SET_THP_DISABLE) or the system's setting, and the blocks are
/// then made of ordinary pages.
///
/// Out of memory: nothing in Graph throws but std::bad_alloc, when memory
/// runs out or when a node would have more than INT_MAX ports in all.
/// addNode(), addInput(), addOutput(), addEdge(), addDownEdge() and
/// addUpEdge() then leave the graph as it was. The order of producers that spares addEdge() most of its
/// searches is rebuilt at its next use when one of its updates cannot get
/// memory; the edit itself stands, and edges are refused as before.
class ZRNCORE_EXPORT Graph
{
public:
    static constexpr int kInvalidNodeRef = -1;  ///< no node
    static constexpr int kInvalidEdgeRef = -1;  ///< no edge
    static constexpr int kInvalidGroupRef = -1; ///< no group
    static constexpr int kRootNodeRef = 0;      ///< the root node

    /// Creates a graph holding only the root node (reference 0, empty name,
    /// value -1, no ports, groups or children).
    Graph();
    /// Destroys the graph and releases all of its storage.
    ~Graph();
    /// Graphs are not copyable: a graph owns records that refer to one
    /// another by index. Save and read a document to duplicate one.
    Graph(const Graph&) = delete;
    Graph& operator=(const Graph&) = delete;

    // ------------------------------------------------------------ storage
    /// Returns the number of node slots, removed nodes included.
    int numNodesGlobal() const;
    /// Returns `i` itself, without a range test: node references are slots.
    int getNodeGlobal(int i) const;
    /// Returns the number of edge slots, removed edges included.
    int numEdgesGlobal() const;
    /// Returns `i` itself, without a range test: edge references are slots.
    int getEdgeGlobal(int i) const;
    /// Returns the graph's revision: a number that a new graph starts at 0
    /// and that grows by at least one with every call of a mutating
    /// operation that changes the graph (nodes, names, values, ports, groups,
    /// edges, removal, purge(); the by-name, bulk and disconnecting
    /// operations through the edges they create or remove). A call that
    /// changes nothing because it refuses or ignores its arguments (a refused
    /// edge, removeEdge() of an invalid edge, a removal of something that is
    /// not valid, a disconnection of a port without edges) leaves it as it
    /// was. Equal revisions of one graph mean an unchanged graph; const
    /// operations never change it. Costs one read.
    quint64 revision() const;

    // ------------------------------------------------------------ nodes
    /// Returns the number of children of `parent`, a valid node.
    int numNodes(int parent) const;
    /// Returns the child at position `index` of `parent`. Both must be valid.
    int getNode(int index, int parent) const;
    /// Returns the first child of `parent` named `name` (exact,
    /// case-sensitive), or kInvalidNodeRef when none is. `parent` must be valid.
    int findNode(const QString& name, int parent) const;
    /// Returns the position of `node` among its parent's children, or -1 for
    /// the root, for a node no longer listed, and for a node whose parent slot
    /// a purge() has left outside the storage. `node` must be a valid reference.
    int indexOfNode(int node) const;
    /// Returns the parent of `node` (-1 for the root). `node` must be valid.
    int parentNode(int node) const;
    /// Returns true when `ancestor` is a proper ancestor of `node`; a node does
    /// not contain itself, and contains(-1, node) is false. `node` must be valid.
    /// Where purge() has left stale parent fields, the climb stops (false) at
    /// a parent outside the storage or when it comes round in a circle.
    bool contains(int ancestor, int node) const;
    /// Returns a copy of the name of `node`, a valid node.
    QString nodeName(int node) const;
    /// Returns the value of `node` (-1 unless set). `node` must be valid.
    int nodeValue(int node) const;
    /// Returns true when `node` is in range and not removed. Safe for any int.
    bool isValidNode(int node) const;

    /// Creates a node under `parent` with `numInputs` and `numOutputs`
    /// unnamed ports (a count of 0 or less makes none) and returns its
    /// reference, the current numNodesGlobal(). `parent` must be valid.
    /// Throws std::bad_alloc, leaving the graph as it was, when the ports
    /// cannot be allocated or would number more than INT_MAX.
    int addNode(const QString& name, int numInputs, int numOutputs, int parent);
    /// Replaces the name of `node`, a valid node.
    void setNodeName(int node, const QString& name);
    /// Replaces the value of `node`, a valid node.
    void setNodeValue(int node, int value);

    // ------------------------------------------------------------ ports and groups
    /// Return the number of inputs, outputs, input groups or output groups of
    /// `node`, a valid node.
    ///@{
    int numInputs(int node) const;
    int numOutputs(int node) const;
    int numInputGroups(int node) const;
    int numOutputGroups(int node) const;
    ///@}
    /// Return the index of the first input (output) of `node` named `name`,
    /// or -1 when none is. `node` must be valid.
    ///@{
    int findInput(int node, const QString& name) const;
    int findOutput(int node, const QString& name) const;
    ///@}
    /// Return the reference of the first input (output) group of `node`
    /// named `name`, or kInvalidGroupRef. `node` must be valid.
    ///@{
    int findInputGroup(int node, const QString& name) const;
    int findOutputGroup(int node, const QString& name) const;
    ///@}
    /// Return a copy of a port's name. The port must exist.
    ///@{
    QString inputName(int node, int input) const;
    QString outputName(int node, int output) const;
    ///@}
    /// Return the group a port belongs to, -1 for none. The value is stored
    /// as given and may name a group that does not exist. The port must exist.
    ///@{
    int inputGroup(int node, int input) const;
    int outputGroup(int node, int output) const;
    ///@}
    /// Return a copy of a group's name. The group must exist.
    ///@{
    QString inputGroupName(int node, int group) const;
    QString outputGroupName(int node, int group) const;
    ///@}
    /// Return true when `node` is valid and the index is in range. Safe for any ints.
    ///@{
    bool isValidInput(int node, int input) const;
    bool isValidOutput(int node, int output) const;
    bool isValidInputGroup(int node, int group) const;
    bool isValidOutputGroup(int node, int group) const;
    ///@}

    /// Append an input (output) named `name` in group `group` to `node` and
    /// return its index. `group` is stored unchecked; -1 means no group.
    /// `node` must be valid.
    ///@{
    int addInput(int node, const QString& name, int group);
    int addOutput(int node, const QString& name, int group);
    ///@}
    /// Append an input (output) group named `name` to `node` and return its
    /// reference. No port changes group. `node` must be valid.
    ///@{
    int addInputGroup(int node, const QString& name);
    int addOutputGroup(int node, const QString& name);
    ///@}
    /// Rename a port or a group. The port or group must exist.
    ///@{
    void setInputName(int node, int input, const QString& name);
    void setOutputName(int node, int output, const QString& name);
    void setInputGroupName(int node, int group, const QString& name);
    void setOutputGroupName(int node, int group, const QString& name);
    ///@}

    // ------------------------------------------------------------ edges
    /// Return the stored fields of `edge`, which must be in range; a removed
    /// edge still answers with what it held.
    ///@{
    int edgeSourceNode(int edge) const;
    int edgeSourceIndex(int edge) const;
    int edgeDestNode(int edge) const;
    int edgeDestIndex(int edge) const;
    ///@}
    /// Returns true when `edge` is in range and not removed. Safe for any int.
    bool isValidEdge(int edge) const;
    /// Return true when `edge` is valid and, by the parents of its two
    /// nodes, a regular (sibling), down or up edge. Safe for any int.
    ///@{
    bool isRegularEdge(int edge) const;
    bool isDownEdge(int edge) const;
    bool isUpEdge(int edge) const;
    ///@}
    /// Return the edge feeding a port, -1 when none does. The port must exist.
    ///@{
    int inputSource(int node, int input) const;
    int outputSource(int node, int output) const;
    ///@}
    /// Return the number of edges leaving a port. The port must exist.
    ///@{
    int numInputDestinations(int node, int input) const;
    int numOutputDestinations(int node, int output) const;
    ///@}
    /// Return the edge at position `index` of a port's destinations, oldest
    /// first. The port and the position must exist.
    ///@{
    int inputDestination(int node, int input, int index) const;
    int outputDestination(int node, int output, int index) const;
    ///@}
    /// Return true when the port is valid and 0 <= index < its number of
    /// destinations. Safe for any ints; the edge held there is not checked.
    ///@{
    bool isValidInputDestination(int node, int input, int index) const;
    bool isValidOutputDestination(int node, int output, int index) const;
    ///@}
    /// Returns true when `a` is `b` or lies upstream of `b`, searching
    /// breadth-first along regular edges; with `throughHierarchy` the search
    /// also climbs down edges and descends up edges and queues the innermost
    /// producing node of each value (an enclosing node whose output is
    /// produced inside it is never itself compared with `a`). `b` must be
    /// valid; in a release build a `b` outside the storage has no inputs, so
    /// the answer is whether `a` equals it.
    bool precedes(int a, int b, bool throughHierarchy) const;

    /// Creates a regular edge from output `srcOutput` of `srcNode` to input
    /// `dstInput` of `dstNode` and returns its reference. Returns
    /// kInvalidEdgeRef and changes nothing when, in this order: either port
    /// does not exist; the two nodes are not siblings; the input already has
    /// a source; the output already feeds its parent through an up edge; or
    /// the edge would close a cycle (precedes(dstNode, srcNode, true), which
    /// also refuses a node feeding itself).
    int addEdge(int srcNode, int srcOutput, int dstNode, int dstInput);
    /// The four arguments of one addEdge() call, for addEdges(). A default
    /// one names no node, and addEdges() refuses it.
    struct EdgeEnds
    {
        int srcNode = kInvalidNodeRef; ///< the node whose output feeds the edge
        int srcOutput = -1;            ///< that output
        int dstNode = kInvalidNodeRef; ///< the node whose input the edge feeds
        int dstInput = -1;             ///< that input
    };
    /// addEdge() of each of `edges`, in their order, and the result of each
    /// call in that order: the new edge's reference or kInvalidEdgeRef. The
    /// graph ends as the same calls one by one would leave it, refusals and
    /// their log lines included. While it makes one edge it has the
    /// processor fetch the records of the edges a few places on, so that a
    /// long list of edges between nodes far apart in a large graph waits for
    /// memory less than the single calls do.
    QVector<int> addEdges(const QVector<EdgeEnds>& edges);
    /// Creates a down edge from input `parentInput` of parentNode(childNode)
    /// to input `childInput` of `childNode` and returns it. Returns
    /// kInvalidEdgeRef and changes nothing when `childNode` is not a live
    /// non-root node, either input does not exist, or the child input
    /// already has a source. No cycle test is made.
    int addDownEdge(int parentInput, int childNode, int childInput);
    /// Creates an up edge from output `childOutput` of `childNode` to output
    /// `parentOutput` of parentNode(childNode) and returns it. Returns
    /// kInvalidEdgeRef and changes nothing when `childNode` is not a live
    /// non-root node, either output does not exist, the parent output already
    /// has a source, or the child output already feeds siblings. No cycle test.
    int addUpEdge(int parentOutput, int childNode, int childOutput);
    /// Tells, without changing anything, whether addEdge(), addDownEdge() or
    /// addUpEdge() with the same arguments would create the edge and, if not,
    /// why: the first refusal in the order the operation tests them, with a
    /// sentence naming the nodes and ports. Always agrees with the operation.
    /// Safe for any ints.
    ///@{
    EdgeCheck checkEdge(int srcNode, int srcOutput, int dstNode, int dstInput) const;
    EdgeCheck checkDownEdge(int parentInput, int childNode, int childInput) const;
    EdgeCheck checkUpEdge(int parentOutput, int childNode, int childOutput) const;
    ///@}
    /// Removes `edge` from both its ports and marks its slot removed; the slot
    /// and its fields stay until purge(). An invalid or removed edge is ignored.
    void removeEdge(int edge);
    /// Removes the source edge of an input and every down edge leaving it.
    /// The input must exist.
    void disconnectInput(int node, int input);
    /// Disconnects every input of `node` whose group equals `group` (-1 selects
    /// the inputs in no group). `node` must be valid.
    void disconnectInputGroup(int node, int group);

    // ------------------------------------------------------------ connection by name
    // Names match exactly; the first of a name wins. An invalid node is a
    // failed lookup, never a crash. A report is one qCritical line such as
    // "[Graph.cpp:681] [ !! ] Assertion '<check>' failed: <message>", after
    // which the operation carries on. Refusals of addEdge(), addDownEdge()
    // and addUpEdge() hold and are never reported on that channel. Apart
    // from those reports, refused edits and ports or groups left without a
    // partner write one debug line each on the logging category
    // "zrn.graph", off by default.

    /// Looks up output `srcOutputName` of `srcNode` (reporting line 681,
    /// "Source output '<name>' is not valid", when it is not found), then input
    /// `dstInputName` of `dstNode` (line 682, "Dest input '<name>' is not
    /// valid"), and returns addEdge() of what it found. A failed lookup gives
    /// -1, so the edge is refused and the graph is unchanged.
    int addEdgeByName(int srcNode, const QString& srcOutputName, int dstNode, const QString& dstInputName);
    /// Checks, in this order and reporting each failure: that `childNode` is
    /// valid (line 717); that it has an input `childInputName` (718); that its
    /// parent has an input `parentInputName` (719). Every report's message is
    /// "Parent '<parentInputName>' Child '<childInputName>'": port names, not
    /// node names. Returns addDownEdge() of what it found. An invalid child
    /// fails all three checks; the root fails the last one (no parent).
    int addDownEdgeByName(const QString& parentInputName, int childNode, const QString& childInputName);
    /// Looks up output `parentOutputName` of the parent of `childNode` and
    /// output `childOutputName` of `childNode` and returns addUpEdge() of
    /// them. Unlike the two above it writes no report; a failed lookup (or an
    /// invalid or root `childNode`) makes the edge refused.
    int addUpEdgeByName(const QString& parentOutputName, int childNode, const QString& childOutputName);
    /// For each input of `dstNode` that has no source, in index order, makes
    /// one addEdge() attempt from the first output of `srcNode` of the same
    /// name that has no destinations or whose first is a regular edge (an
    /// output feeding its parent is passed over). Refused edges are simply
    /// not made. Does nothing when either node is invalid.
    void connectByName(int srcNode, int dstNode);
    /// As connectByName(), limited to outputs of `srcNode` in output group
    /// `srcGroup` and inputs of `dstNode` in input group `dstGroup`. -1 is
    /// compared like any group and so selects the ports in no group.
    void connectGroups(int srcNode, int srcGroup, int dstNode, int dstGroup);
    /// Looks up output group `srcGroupName` of `srcNode` and input group
    /// `dstGroupName` of `dstNode` and calls connectGroups(). An unknown name
    /// gives -1, which selects the ungrouped ports on that side; no report is
    /// written. Does nothing when either node is invalid.
    void connectNamedGroups(int srcNode, const QString& srcGroupName, int dstNode, const QString& dstGroupName);
    /// For each input of `childNode` that has no source, makes one
    /// addDownEdge() attempt from the first same-named input of the parent
    /// that has no destinations or whose first destination is a down edge.
    /// Does nothing for the root or an invalid node.
    void connectDownByName(int childNode);
    /// For each output of `childNode` that has no source itself (is not
    /// produced inside the child), makes one addUpEdge() attempt into the
    /// first same-named output of the parent that has no destinations or
    /// whose first destination is an up edge. These filters test other ports
    /// than addUpEdge() does (it refuses a parent output that already has a
    /// source, or a child output that feeds siblings), and the search for a
    /// child output ends after its first attempt even when that is refused:
    /// a later free parent output of the same name is not tried. Does nothing
    /// for the root or an invalid node.
    void connectUpByName(int childNode);

    // ------------------------------------------------------------ removal and purge
    /// Removes `node` and its subtree (see removeChildNode()), then erases the
    /// first occurrence of `node` from its parent's children; later siblings
    /// move down one position (a parent field that purge() left beyond the
    /// storage names no list, and none is edited). Removing the root leaves
    /// no valid node. Does nothing when isValidNode(node) is false.
    void removeNode(int node);
    /// Removes each node of `nodes` in turn, as removeNode() one call at a
    /// time would, and leaves the same graph with the same revision: an
    /// invalid node, or one removed earlier in the list or with an earlier
    /// node's subtree, is passed over. It erases the nodes from their
    /// parents' children lists in one pass per list instead of one erase
    /// per node, so removing many children of one parent costs time in
    /// proportion to the list once, not once per removal.
    void removeNodes(const QVector<int>& nodes);
    /// Removes `node` and its subtree, leaving `node` listed among its
    /// parent's children: removes every edge at the node's inputs, then its
    /// outputs (per port the source, then the destinations from the last
    /// down), does the same for each child in position order, empties the
    /// children list and marks the node removed. Ports and slots stay. Any
    /// depth is safe. Does nothing when isValidNode(node) is false. A node
    /// listed twice or under its own subtree (only purge() makes such lists)
    /// is removed once.
    void removeChildNode(int node);
    /// Erase a port; later ports move down one index. No edge is touched, so
    /// disconnect the port first: edges keep their old port indices. Does
    /// nothing when the port does not exist (isValidInput()/isValidOutput()).
    ///@{
    void removeInput(int node, int input);
    void removeOutput(int node, int output);
    ///@}
    /// Detach the ports of a group (their group becomes -1) and erase the
    /// group's name. Ports of later groups keep their old numbers, which now
    /// name the next group or none: reassign them if that matters. Does
    /// nothing when the group does not exist (isValidInputGroup()...).
    ///@{
    void removeInputGroup(int node, int group);
    void removeOutputGroup(int node, int group);
    ///@}
    /// Drops removed nodes and edges and renumbers the rest in order; port
    /// sources and destinations and edge ends are translated. Two things are
    /// kept as they are (docs/behaviour.md): every `children` list is
    /// rewritten so that position k holds the new reference of old slot k
    /// (-1 when there was no slot k), whatever child was stored there, and
    /// `parent` fields are left untouched. References held by the caller
    /// must be translated afterwards.
    void purge();
    /// As purge(), and hands out the maps it used: `nodeMap[old]` and
    /// `edgeMap[old]` give the new reference of each old slot, -1 for a
    /// dropped one. Either pointer may be null.
    void purge(QVector<int>* nodeMap, QVector<int>* edgeMap);
    /// Drops removed nodes and edges and renumbers the rest in order, keeping
    /// the hierarchy right, unlike purge(): every children list keeps its
    /// live children in their order under their new references and loses
    /// the removed ones (a node that removeChildNode() left listed included),
    /// and every `parent` field names the parent's new reference. Port
    /// sources and destinations and edge ends are translated as by purge();
    /// a graph with nothing removed keeps every reference and list as it was.
    /// References held by the caller must be translated afterwards. A field
    /// that names no live slot (only an earlier purge() leaves such fields,
    /// and an edge whose port was erased before its node was removed) becomes
    /// -1, or leaves its list.
    void compact();
    /// As compact(), and hands out the maps it used: `nodeMap[old]` and
    /// `edgeMap[old]` give the new reference of each old slot, -1 for a
    /// dropped one. Either pointer may be null.
    void compact(QVector<int>* nodeMap, QVector<int>* edgeMap);

    // ------------------------------------------------------------ walk primitives
    // Each takes a port by reference, moves it along the edges that feed it
    // and returns whether it moved; on false the arguments are unchanged
    // (except for walkToSourceNode). The port must exist; in a release build
    // a port outside the storage counts as unfed (false, no move). A port
    // that an edge still names after removeInput() or removeOutput() erased
    // it counts as unfed too, so the walk stops there. Down (up) edges that
    // go round in a loop, which only a parent field left stale by purge()
    // allows, are followed for as many steps as the graph has edges; the
    // walk stops at the port it reached then. Nothing allocates.

    /// From input `index` of `node`, steps once across a regular edge to the
    /// sibling output that feeds it.
    bool walkAcross(int& node, int& index) const;
    /// From input `index` of `node`, climbs down edges backwards to the input
    /// of the highest ancestor reached through an unbroken chain of them.
    bool walkUp(int& node, int& index) const;
    /// From output `index` of `node`, descends up edges backwards to the
    /// output of the deepest descendant that produces the value.
    bool walkDown(int& node, int& index) const;
    /// From input `index` of `node`: walkUp(), then walkAcross(), then
    /// walkDown(); returns true with the producing output, or false when no
    /// regular edge feeds the value. After false the arguments hold what
    /// walkUp() left, not the caller's values.
    bool walkToSourceNode(int& node, int& index) const;

private:
    struct ZRNCORE_NO_EXPORT Impl; // the library's own, called directly
    friend struct GraphStorage;    // the library's own read access to Impl
    std::unique_ptr<Impl> d;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_GRAPH_H
