#ifndef ZRNCORE_RENDERER_H
#define ZRNCORE_RENDERER_H

#include <ZrnCore/zrncore_export.h>
#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/RenderPass.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Morvane {
namespace Zrn {

class Graph;

/// A render-pass scheduler. It keeps its passes as nodes of a Graph of its
/// own: renderer parameters are inputs of the root node, renderer outputs are
/// outputs of the root node, each pass is a node whose ports mirror the
/// pass's and whose value is the pass's index, and groups are plain nodes
/// (value -1) that nest passes and route values with down and up edges.
/// Wire the nodes with the edge operations of getGraph().
///
/// Each render() is one frame: the enabled passes upstream of the target run
/// one at a time, upstream first, their inputs fed from parameters, from the
/// outputs of enabled upstream passes or from their own defaults; then the
/// renderer outputs are copied from the passes that produce them.
///
/// The renderer owns the passes given to addPass() and destroys them with
/// itself. It must not be changed while render() runs.
class ZRNCORE_EXPORT Renderer
{
public:
    /// Creates a renderer whose graph holds only the root node, with no
    /// target, an invalid frame timer and zeroed statistics.
    Renderer();
    /// Destroys every pass, in pass-index order, through its virtual destructor.
    virtual ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    // The order of these virtual operations is part of the interface.

    /// Calls setup(cb) on every pass in pass-index order, enabled or not.
    virtual void setup(RenderCallbacks* cb);
    /// Renders one frame and returns true when every pass that ran reported
    /// error code 0. The first pass to fail stops the frame; the renderer
    /// outputs are copied from their producers in any case.
    /// When renderer outputs are fed by passes but no valid target is set,
    /// no walk starts, no pass runs, and render() returns false.
    virtual bool render(RenderCallbacks* cb);
    /// Calls teardown(cb) on every pass in pass-index order, enabled or not.
    virtual void teardown(RenderCallbacks* cb);
    /// Starts the renderer's frame timer; render() calls it first.
    virtual void beginFrame(RenderCallbacks* cb);
    /// Records the frame time (see FrameStatistics); render() calls it last.
    virtual void endFrame(RenderCallbacks* cb);

    // ------------------------------------------------------------ queries
    /// Returns the renderer's graph, for wiring and inspection.
    ///@{
    Graph& getGraph();
    const Graph& getGraph() const;
    ///@}
    /// Returns the number of parameters.
    int numParameters() const;
    /// Returns the index of the first parameter named `name`, or -1.
    int findParameter(const QString& name) const;
    // QVariant::Type is the type these queries have always returned; Qt 6
    // keeps it as a deprecated enum, so the warning is silenced here only.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    /// Returns the type of parameter `i`, which must exist (QVariant::UserType
    /// for a user type, QVariant::Invalid for an invalid value).
    QVariant::Type parameterType(int i) const;
    /// Returns a copy of the value of parameter `i`, which must exist.
    QVariant parameterValue(int i) const;
    /// Returns the number of renderer outputs.
    int numOutputs() const;
    /// Returns the index of the first renderer output named `name`, or -1.
    int findOutput(const QString& name) const;
    /// Returns the type of renderer output `i`, which must exist.
    QVariant::Type outputType(int i) const;
    QT_WARNING_POP
    /// Returns a copy of renderer output `i` as the last frame left it
    /// (invalid before the first frame). `i` must exist.
    QVariant output(int i) const;
    /// Returns the first child of the root named `name`, or kInvalidNodeRef.
    /// Only the top level is searched.
    int findPass(const QString& name) const;
    /// Returns the pass of `node`, or null when `node` is not a valid pass
    /// node (the root, a group, an invalid reference).
    RenderPass* renderPass(int node) const;
    /// Returns the number of passes added.
    int numRenderPasses() const;
    /// Returns whether the pass of `node` is enabled; false when `node` is
    /// not a pass node.
    bool enabled(int node) const;
    /// Returns the target node (kInvalidNodeRef when none is set).
    int target() const;
    /// Returns how many passes the current or last frame ran (0 before the
    /// first frame), not how many were added.
    int getNumPasses() const;

    /// Return the renderer's frame statistics, recorded by beginFrame() and
    /// endFrame() (see FrameStatistics for the rule): the whole record, the
    /// number of frames recorded, the sum of the frame times in the history
    /// (ms), and the history ring of FrameStatistics::kHistorySize times.
    ///@{
    const FrameStatistics& frameStatistics() const { return m_frameStats; }
    int frameCount() const { return m_frameStats.count(); }
    double frameTimeSum() const { return m_frameStats.sum(); }
    const double* frameTimes() const { return m_frameStats.times(); }
    ///@}
    /// Returns the mean frame time over the last min(frameCount(), 100) frames.
    double meanFrameTime() const { return m_frameStats.mean(); }
    /// Return the frame timer, invalid while no frame is being timed.
    ///@{
    const QElapsedTimer& frameTimer() const { return m_frameStats.timer(); }
    QElapsedTimer& frameTimer() { return m_frameStats.timer(); }
    ///@}

    // ------------------------------------------------------------ composition
    /// Adds an input named `name`, in no group, to the root node and records
    /// `value` as the parameter's value; returns its index (0, 1, ...).
    int addParameter(const QString& name, const QVariant& value);
    /// Adds an output named `name`, in no group, to the root node, with an
    /// invalid value; returns its index.
    int addOutput(const QString& name);
    /// Takes ownership of `pass` and adds it, enabled, as a node named `name`
    /// under `parent` with one input and one output per pass port, named
    /// after them; returns the node. Returns kInvalidNodeRef and takes
    /// nothing when `pass` is null or `parent` is not a valid node. A pass
    /// must be added once only.
    int addPass(const QString& name, RenderPass* pass, int parent);
    /// Adds a plain node (no pass) under `parent`, as Graph::addNode(), and
    /// returns it. `parent` must be a valid node.
    int addGroup(const QString& name, int numInputs, int numOutputs, int parent);
    /// Sets the value of parameter `i`, which must exist; used from the next frame.
    void setParameter(int i, const QVariant& value);
    /// Enables or disables the pass of `node`; ignored when `node` is not a
    /// pass node. A disabled pass does not run, but its upstream still does.
    void setEnabled(int node, bool on);
    /// Sets the node whose upstream each frame renders.
    void setTarget(int node);

private:
    struct Impl;
    Impl* d;
    FrameStatistics m_frameStats;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERER_H
