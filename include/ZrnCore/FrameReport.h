#ifndef ZRNCORE_FRAMEREPORT_H
#define ZRNCORE_FRAMEREPORT_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtCore/QtGlobal>

namespace Morvane {
namespace Zrn {

class Graph;

/// What a Renderer did in one frame: which pass nodes the frame needed, which
/// passes ran and in what order (the target once more for each needed node
/// that is not upstream of it), which were skipped as disabled, which one
/// failed and with what error code, and how long each run and the whole frame
/// took.
///
/// Times come in two units. Milliseconds are wall-clock time. Frame-time
/// units are the library's own frame time (see FrameStatistics): the sum of
/// the elapsed microseconds / 1000 and the elapsed whole milliseconds, so
/// about twice the milliseconds, by design.
///
/// A renderer fills its report while Renderer::setFrameReportEnabled() is on
/// (see Renderer::frameReport()); the storage is reused from frame to frame,
/// so a frame in steady state allocates nothing for it. Copying a report
/// keeps that frame's record.
class ZRNCORE_EXPORT FrameReport
{
public:
    /// What became of a pass in the reported frame.
    enum class PassState {
        NotNeeded, ///< the frame's walks did not reach it: not upstream of the target
        Disabled,  ///< reached, and skipped because it is disabled
        Ran,       ///< ran, and its last run reported error code 0
        Failed,    ///< ran, and its last run reported a non-zero error code, which stopped the frame
        NotRun,    ///< reached and enabled, but the frame stopped at a failure before its turn
        Unreached, ///< feeds a renderer output but is not upstream of the target: the walks never
                   ///< reach it, it does not run, its output is read as it stands, and the target
                   ///< runs once more instead
    };

    /// One run of a pass. Clock readings are nanoseconds on the renderer's
    /// recording clock, which starts when reporting or tracing is first
    /// turned on.
    struct PassRun
    {
        int node = -1;              ///< the pass node that ran
        int pass = -1;              ///< its pass index
        unsigned int errorCode = 0; ///< what errorCode() returned after the run
        int polls = 0;              ///< isFinished() calls: 1 when it finished at once
        qint64 beginNsecs = 0;      ///< just before the pass's beginFrame()
        qint64 waitBeginNsecs = -1; ///< at the first isFinished() that returned false; -1 if none did
        qint64 waitEndNsecs = -1;   ///< when isFinished() returned true after waiting; -1 if it did not wait
        qint64 endNsecs = 0;        ///< just after the pass's endFrame()

        /// Returns the run's wall-clock time in milliseconds.
        double milliseconds() const;
        /// Returns the run's time in frame-time units, by the rule of
        /// FrameStatistics applied to the same clock readings (about twice
        /// milliseconds()).
        double frameTime() const;
        /// Returns how long the renderer waited for an asynchronous pass to
        /// finish, in wall-clock milliseconds; 0 when it finished at once.
        double waitMilliseconds() const;
    };

    /// Creates an empty report: isValid() is false.
    FrameReport();
    ~FrameReport();
    /// Copy the record of one frame.
    ///@{
    FrameReport(const FrameReport& other);
    FrameReport& operator=(const FrameReport& other);
    ///@}

    /// Returns whether a frame has been reported.
    bool isValid() const;
    /// Returns the frame's index: the renderer's frameCount() when the frame
    /// began (0 for its first frame), or -1 for an empty report.
    int frameIndex() const;
    /// Returns what render() returned for the frame.
    bool succeeded() const;
    /// Returns the frame's target node (kInvalidNodeRef when none was set).
    int target() const;

    /// Returns the number of pass runs in the frame.
    int numRuns() const;
    /// Returns run `i` (0 to numRuns() - 1) in the order the passes ran.
    const PassRun& run(int i) const;

    /// Returns the number of passes the renderer had during the frame.
    int numPasses() const;
    /// Returns what became of pass `pass` (0 to numPasses() - 1) in the frame.
    PassState passState(int pass) const;
    /// Returns the node of pass `pass` (0 to numPasses() - 1), or
    /// kInvalidNodeRef when the pass has no live node.
    int passNode(int pass) const;
    /// Returns the nodes of the passes in `state`, in pass-index order.
    QVector<int> passNodes(PassState state) const;
    /// Returns the number of times pass `pass` ran in the frame.
    int numRunsOf(int pass) const;

    /// Returns the node of the pass whose failure stopped the frame, or
    /// kInvalidNodeRef when no pass failed.
    int failedNode() const;
    /// Returns the error code of the failed pass, or 0 when none failed.
    unsigned int errorCode() const;

    /// Returns the frame's wall-clock time in milliseconds, from just before
    /// the renderer's beginFrame() to just after its endFrame().
    double milliseconds() const;
    /// Returns the frame time the renderer's frame statistics recorded for
    /// this frame, in frame-time units (about twice milliseconds()); 0 when
    /// endFrame() recorded none (a derived renderer may time frames itself).
    double frameTime() const;
    /// Return the clock readings at the frame's beginning and end, in
    /// nanoseconds (see PassRun).
    ///@{
    qint64 beginNsecs() const;
    qint64 endNsecs() const;
    ///@}

    /// Returns the report as text for a host's log: a summary line, the
    /// frame's times, each run in order with its times, and each pass's
    /// state. Nodes are named by their path from the root in `graph` (names
    /// joined by '/'), which should be the renderer's graph as the frame saw
    /// it. Every line ends with '\n'; an empty report gives "no frame
    /// reported\n".
    QString text(const Graph& graph) const;

    /// Returns a Graphviz picture of `graph` (see graphPicture()) with the
    /// frame drawn on it: passes that ran filled green, the failed one red
    /// with its error code, disabled ones grey and dashed, passes that did
    /// not run after the failure orange, producers the walks did not reach
    /// yellow, passes not needed greyed out; the target is framed by a thick
    /// box.
    /// Each pass shows its state and its wall-clock time (the sum over its
    /// runs, with their number when it ran more than once). `graph` should
    /// be the renderer's graph as the frame saw it.
    QString picture(const Graph& graph) const;

    /// Returns the words text() uses for `state`: "not needed", "disabled",
    /// "ran", "failed", "not run" or "not reached".
    static QString stateName(PassState state);

private:
    friend class FrameRecorder;
    struct ZRNCORE_NO_EXPORT Impl; // the library's own, never exported
    Impl* d;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_FRAMEREPORT_H
