// Recording a renderer's frames for the frame report and the trace.

#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include "FrameRecorder_p.h"
#include "Renderer_p.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

namespace Morvane {
namespace Zrn {

// ================================================================ FrameRecorder

FrameRecorder::FrameRecorder()
{
    m_clock.start();
}

void FrameRecorder::enableReport(int runsPerFrame)
{
    FrameReport::Impl& r = *report.d;
    r.runs.reserve(size_t(std::max(runsPerFrame, 0)));
    reportOn = true;
}

void FrameRecorder::startTrace(int numFrames, int runsPerFrame)
{
    if (numFrames <= 0) {
        traceFramesLeft = 0; // what was recorded stays
        return;
    }
    // The new storage is reserved before the trace recorded so far is let
    // go, so that a trace too large for the memory leaves it as it was.
    const size_t numRuns = size_t(numFrames) * size_t(std::max(runsPerFrame, 0));
    std::vector<FrameTrace::Frame> frames;
    std::vector<FrameReport::PassRun> runs;
    if (numRuns > runs.max_size())
        throw std::bad_alloc();
    frames.reserve(size_t(numFrames));
    runs.reserve(numRuns);
    FrameTrace::Impl& t = *trace.d;
    t.frames.swap(frames);
    t.runs.swap(runs);
    traceFramesLeft = numFrames;
}

void FrameRecorder::frameBegins(int frameIndex)
{
    m_countBefore = frameIndex;
    if (reportOn)
        report.d->runs.clear(); // keeps the capacity
    m_traceFirstRun = int(trace.d->runs.size());
    m_frameBegin = now();
}

void FrameRecorder::passEnds(int node, int pass, unsigned int errorCode, int polls)
{
    m_run.endNsecs = now();
    m_run.node = node;
    m_run.pass = pass;
    m_run.errorCode = errorCode;
    m_run.polls = polls;
    if (reportOn)
        report.d->runs.push_back(m_run);
    if (traceFramesLeft > 0)
        trace.d->runs.push_back(m_run);
    m_run.waitBeginNsecs = -1;
    m_run.waitEndNsecs = -1;
}

void FrameRecorder::frameAbandoned()
{
    if (reportOn) {
        FrameReport::Impl& r = *report.d;
        r.frameIndex = -1;
        r.succeeded = false;
        r.target = -1;
        r.frameTime = 0.0;
        r.beginNsecs = 0;
        r.endNsecs = 0;
        r.failedNode = -1;
        r.errorCode = 0;
        r.runs.clear();
        r.states.clear();
        r.nodes.clear();
    }
    trace.d->runs.resize(size_t(m_traceFirstRun));
    m_run.waitBeginNsecs = -1;
    m_run.waitEndNsecs = -1;
}

bool FrameRecorder::frameEnds(const Graph& graph, const QVector<bool>& visited, const QVector<bool>& enabledFlags,
                              int target, bool ok, const FrameStatistics& stats)
{
    const qint64 frameEnd = now();
    // The frame time endFrame() recorded, if it recorded one.
    const double frameTime = stats.count() != m_countBefore
        ? stats.times()[(stats.count() + FrameStatistics::kHistorySize - 1) % FrameStatistics::kHistorySize]
        : 0.0;

    if (reportOn) {
        FrameReport::Impl& r = *report.d;
        r.frameIndex = m_countBefore;
        r.succeeded = ok;
        r.target = target;
        r.frameTime = frameTime;
        r.beginNsecs = m_frameBegin;
        r.endNsecs = frameEnd;

        // Needed passes are those the marking walk reached; it ran this frame
        // exactly when the target is a valid node.
        const int numPasses = enabledFlags.size();
        r.states.assign(size_t(numPasses), FrameReport::PassState::NotNeeded);
        r.nodes.assign(size_t(numPasses), Graph::kInvalidNodeRef);
        const int numNodes = graph.numNodesGlobal();
        const bool walked = graph.isValidNode(target) && visited.size() == numNodes;
        for (int node = 0; node < numNodes; ++node) {
            if (!graph.isValidNode(node))
                continue;
            const int v = graph.nodeValue(node);
            if (v < 0 || v >= numPasses || r.nodes[size_t(v)] != Graph::kInvalidNodeRef)
                continue;
            r.nodes[size_t(v)] = node;
            if (walked && visited.at(node)) {
                r.states[size_t(v)] =
                    enabledFlags.at(v) ? FrameReport::PassState::NotRun : FrameReport::PassState::Disabled;
            }
        }
        // A pass that feeds a renderer output is needed too, but the walks
        // only reach it when it is upstream of the target.
        const int numRendererOutputs = graph.numOutputs(Graph::kRootNodeRef);
        for (int i = 0; i < numRendererOutputs; ++i) {
            int node = Graph::kRootNodeRef;
            int index = i;
            if (!graph.walkDown(node, index) || (walked && visited.at(node)))
                continue;
            const int v = graph.nodeValue(node);
            if (v >= 0 && v < numPasses)
                r.states[size_t(v)] = FrameReport::PassState::Unreached;
        }
        r.failedNode = Graph::kInvalidNodeRef;
        r.errorCode = 0;
        for (const FrameReport::PassRun& run : r.runs) {
            if (run.pass >= 0 && run.pass < numPasses)
                r.states[size_t(run.pass)] =
                    run.errorCode == 0 ? FrameReport::PassState::Ran : FrameReport::PassState::Failed;
            if (run.errorCode != 0) {
                r.failedNode = run.node;
                r.errorCode = run.errorCode;
            }
        }
    }

    if (traceFramesLeft > 0) {
        FrameTrace::Frame frame;
        frame.frameIndex = m_countBefore;
        frame.succeeded = ok;
        frame.frameTime = frameTime;
        frame.beginNsecs = m_frameBegin;
        frame.endNsecs = frameEnd;
        frame.firstRun = m_traceFirstRun;
        frame.numRuns = int(trace.d->runs.size()) - m_traceFirstRun;
        trace.d->frames.push_back(frame);
        --traceFramesLeft;
    }
    return isOn();
}

const FrameReport& FrameRecorder::emptyReport()
{
    static const FrameReport empty;
    return empty;
}

const FrameTrace& FrameRecorder::emptyTrace()
{
    static const FrameTrace empty;
    return empty;
}

// ================================================================ Renderer

namespace {

// The most runs a frame can have: each pass once, and the target once more
// for each renderer output.
int maxRunsPerFrame(const Renderer& renderer)
{
    return renderer.numRenderPasses() + renderer.numOutputs();
}

} // namespace

void Renderer::setFrameReportEnabled(bool on)
{
    if (on) {
        if (!d->recording)
            d->recording = std::make_unique<FrameRecorder>();
        d->recording->enableReport(maxRunsPerFrame(*this));
    } else if (d->recording) {
        d->recording->reportOn = false;
    }
    d->recorder = d->recording && d->recording->isOn() ? d->recording.get() : nullptr;
}

bool Renderer::isFrameReportEnabled() const
{
    return d->recording && d->recording->reportOn;
}

const FrameReport& Renderer::frameReport() const
{
    return d->recording ? d->recording->report : FrameRecorder::emptyReport();
}

void Renderer::startFrameTrace(int numFrames)
{
    if (!d->recording) {
        if (numFrames <= 0)
            return;
        d->recording = std::make_unique<FrameRecorder>();
    }
    d->recording->startTrace(numFrames, maxRunsPerFrame(*this));
    d->recorder = d->recording->isOn() ? d->recording.get() : nullptr;
}

int Renderer::frameTraceFramesLeft() const
{
    return d->recording ? d->recording->traceFramesLeft : 0;
}

const FrameTrace& Renderer::frameTrace() const
{
    return d->recording ? d->recording->trace : FrameRecorder::emptyTrace();
}

} // namespace Zrn
} // namespace Morvane
