#ifndef ZRNCORE_RENDERER_H
#define ZRNCORE_RENDERER_H

#include <ZrnCore/zrncore_export.h>
#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/RendererCheck.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <memory>

namespace Morvane {
namespace Zrn {

class FrameReport;
class FrameTrace;
class Graph;
namespace Internal {
struct RendererAccess;
}

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
/// itself. It must not be changed while render() runs. Adding, removing or
/// renaming ports of pass nodes, or removing pass nodes, through getGraph()
/// is not supported; the renderer skips a port that exists on one side only
/// rather than index past it.
class ZRNCORE_EXPORT Renderer
{
public:
    /// Creates a renderer whose graph holds only the root node, with no
    /// target, an invalid frame timer and zeroed statistics.
    Renderer();
    /// Destroys every pass, in pass-index order, through its virtual
    /// destructor; a pass added twice is destroyed at its first index only.
    virtual ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    // The order of these virtual operations is part of the interface.

    /// Calls setup(cb) on every pass in pass-index order, enabled or not.
    virtual void setup(RenderCallbacks* cb);
    /// Renders one frame and returns true when every pass that ran reported
    /// error code 0.
    ///
    /// Calls beginFrame(), then finds the needed nodes: the target, then the
    /// producer of each renderer output in output order, each listed once.
    /// When that list is not empty, a marking walk and then a running walk
    /// start from the target, once for the first needed node and once more
    /// for each later one the earlier walks did not reach. The running walk
    /// goes depth first, inputs in index order, and runs each enabled pass
    /// after its upstream; disabled passes and groups are passed through, so
    /// their upstream still runs. A needed node not upstream of the target
    /// therefore runs the target's pass once more in that frame and never
    /// runs itself: feed renderer outputs from passes upstream of the target.
    ///
    /// Running a pass: each input gets the renderer parameter it is wired
    /// to, else the output of the enabled pass that produces it, else the
    /// pass's own default; each output is told its number of users (edges
    /// into nodes the marking walk reached; a group the walk steps over is
    /// not reached); then setErrorCode(0), beginFrame(), start(), isFinished()
    /// polled every 100 microseconds until true, endFrame(). A non-zero
    /// errorCode() stops the frame at once.
    ///
    /// Then each renderer output is copied from the pass that produces it,
    /// whether that pass ran or is enabled; an output fed by nothing, or by
    /// a node without a pass, keeps its value. endFrame() comes last, also
    /// after a failure.
    ///
    /// When no target is set and no renderer output is fed, nothing is
    /// needed: no pass runs and render() returns true. When the target is
    /// not a valid node (unset while outputs are fed, removed, or out of
    /// range), no walk starts and no pass runs; the outputs are still
    /// collected, and render() returns false.
    ///
    /// What the walks decide (which passes run in what order, where each
    /// input comes from, the user counts, the producers of the renderer
    /// outputs) is recorded and reused by the following frames until the
    /// graph, the target or the lists of passes, parameters or outputs
    /// change; parameter values, pass outputs, enabled flags, polling and
    /// error codes are read afresh in every frame, so the calls are the same
    /// as if every frame walked. In steady state (nothing of that changed
    /// since the last frame) a frame allocates nothing beyond what copying
    /// the QVariant values needs.
    ///
    /// An exception thrown by a pass ends the frame where it is thrown and
    /// goes on to the caller: no other pass call is made in the frame (the
    /// throwing pass gets no endFrame()), the frame is not counted in
    /// frameStatistics(), the renderer outputs keep what they
    /// held (or part of this frame's values when the copy threw), the frame
    /// report is left empty (FrameReport::isValid() false) and the trace
    /// leaves the frame out. The next render() starts afresh.
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
    // keeps it as a deprecated enum. Code that includes this header must not
    // see the warning, so it is silenced around these declarations; inside
    // the library it is silenced in QtCompat_p.h alone.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    /// Returns the type of parameter `i` (QVariant::UserType for a user type,
    /// QVariant::Invalid for an invalid value). Returns QVariant::Invalid when
    /// there is no parameter `i` (a debug build stops on a Q_ASSERT).
    QVariant::Type parameterType(int i) const;
    /// Returns a copy of the value of parameter `i`, or an invalid QVariant
    /// when there is no parameter `i` (a debug build stops on a Q_ASSERT).
    QVariant parameterValue(int i) const;
    /// Returns the number of renderer outputs.
    int numOutputs() const;
    /// Returns the index of the first renderer output named `name`, or -1.
    int findOutput(const QString& name) const;
    /// Returns the type of renderer output `i`, or QVariant::Invalid when
    /// there is no output `i` (a debug build stops on a Q_ASSERT).
    QVariant::Type outputType(int i) const;
    QT_WARNING_POP
    /// Returns a copy of renderer output `i` as the last frame left it
    /// (invalid before the first frame), or an invalid QVariant when there is
    /// no output `i` (a debug build stops on a Q_ASSERT).
    QVariant output(int i) const;
    /// Returns the first child of the root named `name`, or kInvalidNodeRef.
    /// Only the top level is searched.
    int findPass(const QString& name) const;
    /// Returns the pass or group at `path`, names separated by '/' from the
    /// top level down ("post/blur": the node "blur" inside the top-level
    /// node "post"), or kInvalidNodeRef when a step finds no node. Each step
    /// takes the first child of that name in creation order, as findPass()
    /// does, and does not try later ones of the same name when a deeper step
    /// fails. An empty path, a path with an empty step, or one that reaches
    /// a node removed through getGraph() finds nothing; a node whose name
    /// holds '/' cannot be reached this way.
    int findPassByPath(const QString& path) const;
    /// Returns the path of `node` as findPassByPath() reads it: the names
    /// from the top level down to `node`, joined by '/'; empty for the root
    /// and for a node that is not valid. Where parent fields go round in a
    /// loop, which only purge() of the graph can leave, the path holds as
    /// many names as the graph has node slots.
    QString passPath(int node) const;
    /// Lists what is wrong or suspicious in the renderer's composition, each
    /// finding with its node's path and a sentence; empty when all is well.
    /// Changes nothing; of the passes it calls only numInputs(), to know how
    /// many inputs a frame delivers. In this order: the target (none,
    /// invalid, the root, a group); then each renderer output in index order
    /// (produced by no pass, or by a pass that is not upstream of the
    /// target, which makes the target run once more each frame); then each
    /// node in reference order: a pass object added before under another
    /// node, a group with unnamed ports, a disabled pass that feeds other
    /// passes, and each pass input that gets its default every frame.
    QVector<SetupFinding> checkSetup() const;
    /// Returns the frame statistics of the pass of `node` when that pass is
    /// a RenderPassHelper; otherwise (a pass of another kind, a group, the
    /// root, an invalid node) a record of no frames, whose count(), sum()
    /// and mean() are 0.
    const FrameStatistics& passFrameStatistics(int node) const;
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
    /// Returns how long the last frame took in wall-clock milliseconds (0
    /// before the first). The frame times above are in the library's own
    /// frame-time units, about twice the milliseconds (see FrameStatistics).
    double lastFrameMilliseconds() const { return m_frameStats.lastMilliseconds(); }
    /// Return the frame timer, invalid while no frame is being timed.
    ///@{
    const QElapsedTimer& frameTimer() const { return m_frameStats.timer(); }
    QElapsedTimer& frameTimer() { return m_frameStats.timer(); }
    ///@}

    // ------------------------------------------------------------ frame report and trace
    /// Turns the frame report on or off; it is off when the renderer is made.
    /// While it is on, each render() records into frameReport() which passes
    /// the frame needed, ran, skipped and failed, and the times of the frame
    /// and of each run, in wall-clock milliseconds and in frame-time units
    /// (about twice the milliseconds, see FrameStatistics). Recording calls
    /// no pass and changes nothing the passes see.
    void setFrameReportEnabled(bool on);
    /// Returns whether the frame report is on.
    bool isFrameReportEnabled() const;
    /// Returns the report of the last frame rendered while the report was
    /// on; an empty report (FrameReport::isValid() false) before that. The
    /// next such frame overwrites it: copy it to keep it.
    const FrameReport& frameReport() const;
    /// Records the next `numFrames` frames into frameTrace(), replacing the
    /// trace recorded before; storage for them is reserved here. With
    /// `numFrames` <= 0, stops a trace in progress and keeps what it has.
    /// Throws std::bad_alloc when the storage cannot be reserved, leaving
    /// the trace and a trace in progress as they were.
    void startFrameTrace(int numFrames);
    /// Returns how many frames the trace in progress will still record (0
    /// when none is in progress).
    int frameTraceFramesLeft() const;
    /// Returns the trace recorded by startFrameTrace(), complete or in
    /// progress (empty before any).
    const FrameTrace& frameTrace() const;

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
    /// added a second time gets a second index and a second node like any
    /// other; both run it, and it is still destroyed only once. An exception
    /// from the pass's port counts or names, or std::bad_alloc when the node
    /// cannot be made (a pass of more than INT_MAX ports, or no memory),
    /// leaves the renderer as it was and takes nothing. A std::bad_alloc
    /// while the new node's ports are named takes nothing either and leaves
    /// that node removed.
    int addPass(const QString& name, RenderPass* pass, int parent);
    /// Adds a plain node (no pass, value -1) under `parent`, as
    /// Graph::addNode(), and returns it. Returns kInvalidNodeRef and adds
    /// nothing when `parent` is not a valid node.
    int addGroup(const QString& name, int numInputs, int numOutputs, int parent);
    /// Adds a group as addGroup() above, with one input per entry of
    /// `inputNames` and one output per entry of `outputNames`, named after
    /// them in order, so that it can be wired by name at once
    /// (Graph::connectByName(), connectDownByName(), connectUpByName()).
    /// Returns the new node, or kInvalidNodeRef and adds nothing when
    /// `parent` is not a valid node.
    int addGroup(const QString& name, const QStringList& inputNames, const QStringList& outputNames, int parent);
    /// Sets the value of parameter `i`, used from the next frame. Does
    /// nothing when there is no parameter `i` (a debug build stops on a
    /// Q_ASSERT).
    void setParameter(int i, const QVariant& value);
    /// Enables or disables the pass of `node`; ignored when `node` is not a
    /// pass node. A disabled pass does not run, but its upstream still does.
    void setEnabled(int node, bool on);
    /// Sets the node whose upstream each frame renders. Not checked here:
    /// render() refuses a target that is not a valid node.
    void setTarget(int node);

private:
    struct ZRNCORE_NO_EXPORT Impl; // the library's own, never exported
    std::unique_ptr<Impl> d;
    friend struct Internal::RendererAccess; // the library's private test hooks
    FrameStatistics m_frameStats;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERER_H
