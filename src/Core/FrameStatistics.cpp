// The frame-time rule shared by RenderPassHelper and Renderer.

#include <ZrnCore/FrameStatistics.h>

#include <algorithm>
#include <iterator>
#include <limits>

namespace Morvane {
namespace Zrn {

FrameStatistics::FrameStatistics()
{
    m_timer.invalidate();
    std::fill(std::begin(m_times), std::end(m_times), 0.0);
}

double FrameStatistics::mean() const
{
    if (m_count <= 0)
        return 0.0;
    return m_sum / double(std::min(m_count, kHistorySize));
}

void FrameStatistics::begin()
{
    m_timer.start();
}

double FrameStatistics::end()
{
    // Read nanoseconds first, then milliseconds; an invalid timer's readings
    // go in as they are.
    const qint64 ns = m_timer.nsecsElapsed();
    const qint64 ms = m_timer.elapsed();
    m_timer.invalidate();
    m_lastMilliseconds = double(ns) / 1e6; // the elapsed time itself, for hosts

    // Both terms measure the same interval, so t is about twice the elapsed
    // milliseconds. That sum is the frame time hosts have always been given,
    // kept as it is; the integer division comes first.
    const double t = double(ns / 1000) / 1000.0 + double(ms);

    const int slot = m_count % kHistorySize;
    m_sum = (m_sum - m_times[slot]) + t; // subtract first, then add
    m_times[slot] = t;

    if (m_count < std::numeric_limits<int>::max()) {
        ++m_count;
    } else {
        // After INT_MAX frames the counter restarts one history length in,
        // on the slot that comes next, so the ring and mean() stay right.
        m_count = kHistorySize + (slot + 1) % kHistorySize;
    }
    return t;
}

} // namespace Zrn
} // namespace Morvane
