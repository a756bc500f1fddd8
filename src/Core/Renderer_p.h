#ifndef ZRNCORE_RENDERER_P_H
#define ZRNCORE_RENDERER_P_H

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <vector>

namespace Morvane {
namespace Zrn {

// The renderer's state. Invariants: `passes` and `enabledFlags` have equal
// length; `parameters` has one entry per root input and `outputs` one per
// root output (both lists grow together with the root's ports); a node's
// value is -1 or a pass index.
struct Renderer::Impl
{
    QVector<QVariant> parameters; // by parameter index (root input)
    QVector<QVariant> outputs;    // by output index (root output), as the last frame left them
    QVector<RenderPass*> passes;  // by pass index; owned
    Graph graph;                  // the pass graph
    QVector<bool> enabledFlags;   // by pass index; true when added
    int target = Graph::kInvalidNodeRef;
    QVector<bool> visited; // by node: marks of this (or the last) frame's marking walk
    int numPassesRun = 0;  // passes run in the current or last frame

    // Scratch of render(), kept between frames so that a frame in steady
    // state allocates nothing: the needed nodes (target first, then the
    // producers of the renderer outputs, no duplicates) and the running
    // walk's own visited vector.
    QVector<int> needed;
    QVector<bool> seen;
    // The output that produces each renderer output, found once per frame by
    // collectNeeded() and read again by collectOutputs(); node -1 when
    // nothing inside feeds it. The graph does not change during a frame.
    struct Producer
    {
        int node;
        int output;
    };
    QVector<Producer> producers;
    // The walk's own stack: a node and the next of its inputs to follow.
    struct WalkEntry
    {
        int node;
        int numInputs;
        int nextInput;
    };
    std::vector<WalkEntry> walkStack;

    // True when `v` (a node value) is a pass index.
    bool isPassIndex(int v) const { return v >= 0 && v < passes.size(); }
    // The pass index of `node`, or -1 when `node` is not a valid pass node.
    int passIndexOf(int node) const;

    // Collects the needed nodes of this frame into `needed`, and the
    // producer of each renderer output into `producers`.
    void collectNeeded();
    // Copies each renderer output from the pass that produces it, as
    // collectNeeded() found it this frame.
    void collectOutputs();

    // Depth first from `node`: marks it in `visited`, walks each unvisited
    // producer of its inputs in input order, then, for WalkType::Render,
    // runs the node's pass if it has an enabled one. Returns false as soon
    // as a pass fails. `node` must be valid and `visited` sized to
    // numNodesGlobal(). Iterative (on `walkStack`), so the graph's depth is
    // not limited by the call stack.
    bool walk(int node, RenderCallbacks* cb, QVector<bool>& visited, WalkType type);
    // Runs the pass of `node`, an enabled pass node: delivers its inputs,
    // sets its output user counts from `visited`, and waits for it to
    // finish. Returns whether its error code is 0.
    bool render(int node, RenderCallbacks* cb);

private:
    void deliverInput(RenderPass* pass, int node, int input);
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERER_P_H
