#ifndef ZRNCORE_RENDERERCONTROLLER_H
#define ZRNCORE_RENDERERCONTROLLER_H

#include <ZrnCore/zrncoreqt_export.h>

#include <QtCore/QObject>

namespace Morvane {
namespace Zrn {

class RenderCallbacks;
class Renderer;

/// A QObject front end for a Renderer, in the library ZrnCore::Object
/// (target ZrnCoreQt) so that the core library stays free of QObject.
///
/// It renders frames on demand (renderFrame()) or on a QTimer (start()),
/// and after each frame emits frameFinished() and, when a pass failed,
/// passFailed() first. It does not own the renderer and never calls setup()
/// or teardown(): the host does, around the frames.
///
/// Threads: a renderer, its passes and its graph are used by one thread at
/// a time, and nothing may change them (passes, enabled flags, parameters,
/// target, graph) while a frame renders. Give the renderer to one thread:
/// create the controller there, or moveToThread() it to a worker QThread,
/// and change parameters from that thread only, for example through
/// QMetaObject::invokeMethod() with a queued call; then every frame runs on
/// that thread, the timer included. The signals reach receivers in other
/// threads as queued calls. examples/worker-thread/main.cpp does this.
class ZRNCOREQT_EXPORT RendererController : public QObject
{
    Q_OBJECT
public:
    /// Makes a controller for `renderer`, which must outlive it, with no
    /// callbacks object (null is handed to the renderer) and no timer running.
    explicit RendererController(Renderer* renderer, QObject* parent = nullptr);
    ~RendererController() override;
    RendererController(const RendererController&) = delete;
    RendererController& operator=(const RendererController&) = delete;

    /// Returns the renderer given to the constructor.
    Renderer* renderer() const;
    /// Returns the callbacks object handed to each render(); null at first.
    RenderCallbacks* callbacks() const;
    /// Returns whether the timer is running.
    bool isRunning() const;
    /// Returns the timer's interval in milliseconds (0 before start()).
    int interval() const;
    /// Returns how many frames this controller has rendered.
    int framesRendered() const;

    /// Sets the callbacks object that each render() passes to the passes;
    /// the host keeps owning it.
    void setCallbacks(RenderCallbacks* cb);

public Q_SLOTS:
    /// Renders one frame on the calling thread, emits passFailed() when a
    /// pass failed, then frameFinished(); returns what render() returned.
    /// An exception from a pass goes on to the caller, with no signal and
    /// the frame not counted (see Renderer::render()).
    bool renderFrame();
    /// Renders a frame every `intervalMs` milliseconds (0: whenever the
    /// thread's event loop is idle) until stop(); a negative interval is
    /// taken as 0. The timer belongs to the controller's thread. An
    /// exception from the renderer's render() (that is, from a pass) in a
    /// frame the timer started does not reach the event loop: the timer
    /// stops and frameThrew() is emitted instead of passFailed() and
    /// frameFinished(). Receivers of the signals must not throw.
    void start(int intervalMs);
    /// Stops the timer; a frame in progress finishes first.
    void stop();

Q_SIGNALS:
    /// A frame ended: whether every pass that ran succeeded, how many passes
    /// ran (Renderer::getNumPasses()), the frame time in the library's
    /// frame-time units (about twice the milliseconds, see FrameStatistics)
    /// and the frame's wall-clock time in milliseconds.
    void frameFinished(bool success, int passesRun, double frameTime, double milliseconds);
    /// The pass of `node` failed this frame with `errorCode`; emitted before
    /// frameFinished(). The failed pass is the one that ran this frame and
    /// ended with a non-zero error code (for a pass that is not a
    /// RenderPassHelper and failed the frame before too, the one whose code
    /// is non-zero).
    void passFailed(int node, unsigned int errorCode);
    /// A pass threw an exception in a frame that the timer started; the
    /// timer has stopped. `what` is the exception's what() for a
    /// std::exception, "unknown exception" otherwise.
    void frameThrew(const QString& what);

private:
    struct ZRNCOREQT_NO_EXPORT Impl; // the library's own, never exported
    Impl* d;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERERCONTROLLER_H
