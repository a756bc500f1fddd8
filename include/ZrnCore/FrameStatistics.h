#ifndef ZRNCORE_FRAMESTATISTICS_H
#define ZRNCORE_FRAMESTATISTICS_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QElapsedTimer>

namespace Morvane {
namespace Zrn {

/// Frame timing shared by RenderPassHelper and Renderer: a timer started by
/// begin() and, at end(), a frame time recorded in a ring of the last
/// kHistorySize frames with a running sum and a frame counter.
///
/// The recorded frame time is, in milliseconds,
///     t = (timer.nsecsElapsed() / 1000) / 1000.0 + timer.elapsed()
/// with the first division an integer one. Both terms measure the same
/// interval, so t is about twice the elapsed milliseconds: that sum is the
/// defined frame time and is kept as it stands.
class ZRNCORE_EXPORT FrameStatistics
{
public:
    static constexpr int kHistorySize = 100; ///< number of frame times the history ring holds

    /// Starts with an invalid timer, no frames and a zeroed history.
    FrameStatistics();

    /// Returns the number of frames recorded so far.
    int count() const { return m_count; }
    /// Returns the sum of the frame times held in the history, in ms.
    double sum() const { return m_sum; }
    /// Returns the history ring: kHistorySize frame times in ms, frame n
    /// (counting from 0) in slot n % kHistorySize, 0 where none was recorded.
    const double* times() const { return m_times; }
    /// Returns the mean of the last min(count(), kHistorySize) frame times,
    /// or 0 before the first frame.
    double mean() const;
    /// Returns the wall-clock time of the last recorded frame in
    /// milliseconds (nsecsElapsed() / 1e6), or 0 before the first. Unlike
    /// the frame times above it is the elapsed time itself, not about twice it.
    double lastMilliseconds() const { return m_lastMilliseconds; }
    /// Returns the frame timer, invalid while no frame is being timed.
    ///@{
    const QElapsedTimer& timer() const { return m_timer; }
    QElapsedTimer& timer() { return m_timer; }
    ///@}

    /// Starts the frame timer.
    void begin();
    /// Reads the timer, invalidates it and records the frame time (see the
    /// class comment) in slot count() % kHistorySize: the sum first loses the
    /// old slot value, then gains the new one. Returns the recorded time.
    /// Without a preceding begin() the invalid timer's readings are recorded
    /// as they are. After INT_MAX frames count() goes on from
    /// kHistorySize + the next slot, so the ring and mean() stay right.
    double end();

private:
    QElapsedTimer m_timer;
    int m_count = 0;
    double m_sum = 0.0;
    double m_times[kHistorySize];
    double m_lastMilliseconds = 0.0;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_FRAMESTATISTICS_H
