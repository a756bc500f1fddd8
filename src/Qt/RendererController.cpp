// The QObject front end of a Renderer: frames on demand or on a timer, and
// signals for each finished frame and each failed pass.

#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>
#include <ZrnCore/RendererController.h>

#include <QtCore/QTimer>
#include <QtCore/QVector>

#include <exception>

namespace Morvane {
namespace Zrn {

struct RendererController::Impl
{
    Renderer* renderer = nullptr;
    RenderCallbacks* callbacks = nullptr;
    QTimer* timer = nullptr; // a child of the controller: it follows moveToThread()
    int interval = 0;
    int frames = 0;
    // Set by the timer for the next renderFrame(): its render() is caught,
    // and `threw` and `what` say whether and what it threw.
    bool catching = false;
    bool threw = false;
    QString what;
};

RendererController::RendererController(Renderer* renderer, QObject* parent)
    : QObject(parent)
    , d(new Impl)
{
    d->renderer = renderer;
    d->timer = new QTimer(this);
    // A pass's exception must not reach the event loop: the render() of a
    // frame the timer started is caught, and one that throws stops the
    // timer and is signalled.
    connect(d->timer, &QTimer::timeout, this, [this] {
        d->catching = true;
        d->threw = false;
        renderFrame();
        if (!d->threw)
            return;
        d->threw = false;
        d->timer->stop();
        Q_EMIT frameThrew(d->what);
    });
}

RendererController::~RendererController()
{
    delete d;
}

Renderer* RendererController::renderer() const
{
    return d->renderer;
}

RenderCallbacks* RendererController::callbacks() const
{
    return d->callbacks;
}

bool RendererController::isRunning() const
{
    return d->timer->isActive();
}

int RendererController::interval() const
{
    return d->interval;
}

int RendererController::framesRendered() const
{
    return d->frames;
}

void RendererController::setCallbacks(RenderCallbacks* cb)
{
    d->callbacks = cb;
}

bool RendererController::renderFrame()
{
    Renderer* r = d->renderer;
    // Only the render() of the frame the timer started is caught, not one
    // that a receiver of this frame's signals starts.
    const bool catching = d->catching;
    d->catching = false;
    if (!r)
        return false;
    const Graph& g = r->getGraph();

    // Before the frame: each pass node's error code and, for helpers, frame
    // count, to tell afterwards which pass ran and failed in this frame.
    struct Before
    {
        int node;
        unsigned int code;
        int count;
    };
    QVector<Before> before;
    for (int node = 0; node < g.numNodesGlobal(); ++node) {
        if (RenderPass* pass = g.isValidNode(node) ? r->renderPass(node) : nullptr)
            before.append(Before{node, pass->errorCode(), r->passFrameStatistics(node).count()});
    }

    bool ok = false;
    if (!catching) {
        ok = r->render(d->callbacks);
    } else {
        try {
            ok = r->render(d->callbacks);
        } catch (const std::exception& e) {
            d->threw = true;
            d->what = QString::fromLocal8Bit(e.what());
        } catch (...) {
            d->threw = true;
            d->what = QStringLiteral("unknown exception");
        }
        if (d->threw)
            return false; // no signal, not counted
    }
    ++d->frames;

    if (!ok) {
        int failed = -1;
        int fallback = -1;
        for (const Before& b : before) {
            const unsigned int code = r->renderPass(b.node)->errorCode();
            if (code == 0)
                continue;
            if (b.code == 0 || r->passFrameStatistics(b.node).count() != b.count) {
                failed = b.node;
                break;
            }
            if (fallback < 0)
                fallback = b.node;
        }
        if (failed < 0)
            failed = fallback;
        if (failed >= 0)
            Q_EMIT passFailed(failed, r->renderPass(failed)->errorCode());
    }
    const FrameStatistics& stats = r->frameStatistics();
    const double frameTime =
        stats.count() > 0 ? stats.times()[(stats.count() - 1) % FrameStatistics::kHistorySize] : 0.0;
    Q_EMIT frameFinished(ok, r->getNumPasses(), frameTime, r->lastFrameMilliseconds());
    return ok;
}

void RendererController::start(int intervalMs)
{
    d->interval = intervalMs < 0 ? 0 : intervalMs;
    d->timer->start(d->interval);
}

void RendererController::stop()
{
    d->timer->stop();
}

} // namespace Zrn
} // namespace Morvane
