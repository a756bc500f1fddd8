#ifndef ZRNCORE_FRAMETRACE_H
#define ZRNCORE_FRAMETRACE_H

#include <ZrnCore/zrncore_export.h>
#include <ZrnCore/FrameReport.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

namespace Morvane {
namespace Zrn {

class Graph;

/// A timeline of a span of frames: each frame's beginning and end and each
/// pass run inside it, taken from the same clock readings as the frame report
/// (nothing is timed twice). A Renderer records one when the host asks with
/// Renderer::startFrameTrace(); writeJson() turns it into Chrome trace event
/// JSON, which Perfetto (ui.perfetto.dev) and chrome://tracing open.
///
/// Storage for the frames asked for is reserved when recording starts, so
/// recording appends one run per pass run and one frame per frame.
class ZRNCORE_EXPORT FrameTrace
{
public:
    /// One traced frame. Clock readings are nanoseconds on the renderer's
    /// recording clock (see FrameReport::PassRun).
    struct Frame
    {
        int frameIndex = -1;    ///< as FrameReport::frameIndex()
        bool succeeded = false; ///< what render() returned
        double frameTime = 0.0; ///< as FrameReport::frameTime(), in frame-time units
        qint64 beginNsecs = 0;  ///< just before the renderer's beginFrame()
        qint64 endNsecs = 0;    ///< just after the renderer's endFrame()
        int firstRun = 0;       ///< index of the frame's first run in run()
        int numRuns = 0;        ///< number of runs in the frame
    };

    /// Creates an empty trace.
    FrameTrace();
    ~FrameTrace();
    /// Copy a whole trace.
    ///@{
    FrameTrace(const FrameTrace& other);
    FrameTrace& operator=(const FrameTrace& other);
    ///@}

    /// Returns the number of frames recorded.
    int numFrames() const;
    /// Returns frame `i` (0 to numFrames() - 1), in the order they were rendered.
    const Frame& frame(int i) const;
    /// Returns the number of pass runs recorded, over all frames.
    int numRuns() const;
    /// Returns run `i` (0 to numRuns() - 1); the runs of a frame are
    /// consecutive, in the order the passes ran.
    const FrameReport::PassRun& run(int i) const;

    /// Returns the trace as Chrome trace event JSON ("traceEvents" plus
    /// "displayTimeUnit"), times in microseconds from the first frame's
    /// beginning. Track (tid) 0, "frames", holds one complete event per
    /// frame; track 1 + p holds pass p's runs, one complete event each, named
    /// after the pass node's path in `graph` (which should be the renderer's
    /// graph as it was traced). A failed run carries its error code in its
    /// arguments and an instant event "error code N" at its end; a run that
    /// waited for an asynchronous pass holds a nested "waiting" event from
    /// its first unfinished poll to its last poll.
    QByteArray toJson(const Graph& graph) const;
    /// Writes toJson(graph) to the file `fileName`; returns false when the
    /// file cannot be written.
    bool writeJson(const QString& fileName, const Graph& graph) const;

private:
    friend class FrameRecorder;
    struct ZRNCORE_NO_EXPORT Impl; // the library's own, never exported
    Impl* d;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_FRAMETRACE_H
