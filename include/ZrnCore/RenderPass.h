#ifndef ZRNCORE_RENDERPASS_H
#define ZRNCORE_RENDERPASS_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Morvane {
namespace Zrn {

/// The host's own context object. The library declares it and never defines,
/// dereferences or stores it: Renderer hands the pointer it is given, null
/// included, unchanged to the pass operations that take one.
///
/// A host that wants a context defines the class itself, once in the
/// program and in this namespace, e.g.
/// `class Morvane::Zrn::RenderCallbacks { public: QAtomicInt framesStarted; };`
/// (see examples/worker-thread/main.cpp); a host that needs none passes null.
class RenderCallbacks;

/// What one recursive walk of the renderer does at each node.
enum class WalkType {
    Mark = 0,  ///< visit and mark the node and its unvisited upstream; run nothing
    Render = 1 ///< the same, then run the node's pass if it has an enabled one
};

/// The abstract unit of work that a Renderer schedules. Derive from it
/// (usually through RenderPassHelper) and hand instances to
/// Renderer::addPass(), which takes ownership.
///
/// Per frame, a pass that runs sees, in order: setInput() for each input,
/// resetNumOutputUsers(), setNumOutputUsers() for each output with needed
/// consumers, setErrorCode(0), beginFrame(), start(), isFinished() until it
/// returns true, endFrame(), errorCode(). All calls come from the thread that
/// calls Renderer::render(); a pass working on threads of its own must make
/// isFinished() and errorCode() safe to call meanwhile.
class ZRNCORE_EXPORT RenderPass
{
public:
    RenderPass() = default;
    /// Passes are destroyed by their Renderer through this destructor.
    virtual ~RenderPass();
    RenderPass(const RenderPass&) = delete;
    RenderPass& operator=(const RenderPass&) = delete;

    // The order of these virtual operations is part of the interface.

    /// Called once by Renderer::setup(), whether the pass is enabled or not.
    virtual void setup(RenderCallbacks* cb) = 0;
    /// Called before start() in each frame the pass runs.
    virtual void beginFrame(RenderCallbacks* cb) = 0;
    /// Launches the frame's work; may return before the work is done.
    virtual void start(RenderCallbacks* cb) = 0;
    /// Called after isFinished() has returned true.
    virtual void endFrame(RenderCallbacks* cb) = 0;
    /// Returns whether the work launched by start() is done. The renderer
    /// polls it every 100 microseconds. The default returns true, which
    /// suits a pass whose start() completes the work.
    virtual bool isFinished() const;
    /// Called once by Renderer::teardown(), whether the pass is enabled or not.
    virtual void teardown(RenderCallbacks* cb) = 0;
    /// Return the number of ports and their names. Read once by
    /// Renderer::addPass(); they must not change afterwards.
    ///@{
    virtual int numInputs() const = 0;
    virtual int numOutputs() const = 0;
    virtual QString inputName(int input) const = 0;
    virtual QString outputName(int output) const = 0;
    ///@}
    /// Delivers the value of input `input` before the pass runs.
    virtual void setInput(int input, const QVariant& value) = 0;
    /// Returns the value delivered to `input` when nothing upstream supplies one.
    virtual QVariant defaultValue(int input) const = 0;
    /// Replaces the default value of `input`.
    virtual void setDefaultValue(int input, const QVariant& value) = 0;
    /// Returns the value of output `output` after the pass has run.
    virtual QVariant output(int output) const = 0;
    /// Tells how many needed nodes consume output `output` in this frame.
    virtual void setNumOutputUsers(int output, int users) = 0;
    /// Sets every output's user count to 0.
    virtual void resetNumOutputUsers() = 0;
    /// Returns 0 for success; anything else fails the frame.
    virtual unsigned int errorCode() const = 0;
    /// Sets the error code; the renderer sets 0 before each run.
    virtual void setErrorCode(unsigned int code) = 0;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_RENDERPASS_H
