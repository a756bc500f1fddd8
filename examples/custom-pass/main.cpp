// Writing render passes and running them with a Renderer. The pass graph:
//
//   renderer parameter "gain" ---------down---------+
//                                                   v
//   +----------+ value        value +---------------------+ out        renderer
//   |  ramp    |------------------->|  scale (the target) |----up----> output
//   +----------+                    +---------------------+            "image"
//
// "ramp" counts frames; "scale" multiplies its input by the gain. Prints what
// happens and exits non-zero if anything differs from what the comments say.

#include <ZrnCore/ZrnCore.h>

namespace Zrn = Morvane::Zrn;

namespace {

int g_failures = 0;

void expect(bool ok, const char* what)
{
    qInfo("%s  %s", ok ? "ok  " : "FAIL", what);
    if (!ok)
        ++g_failures;
}

// A pass with no input and one output: 1, 2, 3, ... one per frame it runs.
class RampPass : public Zrn::RenderPassHelper
{
public:
    RampPass() { addOutput(QStringLiteral("value")); }

    void start(Zrn::RenderCallbacks*) override { outputs[0].value = ++m_frame; }

private:
    int m_frame = 0;
};

// A pass with two inputs (each with a default used when nothing feeds it)
// and one output. A gain of 0 is refused with error code 7, which stops
// the frame.
class ScalePass : public Zrn::RenderPassHelper
{
public:
    ScalePass()
    {
        addInput(QStringLiteral("value"), QVariant(-1));
        addInput(QStringLiteral("gain"), QVariant(1));
        addOutput(QStringLiteral("out"));
    }

    void start(Zrn::RenderCallbacks*) override
    {
        const int gain = inputs[1].value.toInt();
        if (gain == 0) {
            setErrorCode(7);
            return;
        }
        outputs[0].value = inputs[0].value.toInt() * gain;
    }
};

} // namespace

int main()
{
    // --- Composition -------------------------------------------------------
    Zrn::Renderer renderer;
    const int gain = renderer.addParameter(QStringLiteral("gain"), 10);
    const int image = renderer.addOutput(QStringLiteral("image"));
    const int root = Zrn::Graph::kRootNodeRef;
    const int ramp = renderer.addPass(QStringLiteral("ramp"), new RampPass, root); // the renderer owns it
    const int scale = renderer.addPass(QStringLiteral("scale"), new ScalePass, root);

    // Passes are nodes of the renderer's graph, with the passes' port names:
    // wire them by name. Parameters are inputs of the root and renderer
    // outputs are outputs of the root, reached by down and up edges.
    Zrn::Graph& graph = renderer.getGraph();
    graph.addEdgeByName(ramp, QStringLiteral("value"), scale, QStringLiteral("value"));
    graph.addDownEdgeByName(QStringLiteral("gain"), scale, QStringLiteral("gain"));
    graph.addUpEdgeByName(QStringLiteral("image"), scale, QStringLiteral("out"));
    renderer.setTarget(scale);

    // --- Frames ------------------------------------------------------------
    renderer.setup(nullptr); // the callbacks pointer is the host's own; null is fine here

    // Upstream first: ramp, then scale. 1 * 10.
    bool ok = renderer.render(nullptr);
    expect(ok && renderer.getNumPasses() == 2, "frame 1 ran both passes");
    expect(renderer.output(image).toInt() == 10, "image is 1 * gain 10");

    // Parameters change between frames. 2 * 3.
    renderer.setParameter(gain, 3);
    renderer.render(nullptr);
    expect(renderer.output(image).toInt() == 6, "image is 2 * gain 3");

    // A disabled pass does not run; what it fed gets the input's default
    // (-1 for scale's "value"). -1 * 3.
    renderer.setEnabled(ramp, false);
    renderer.render(nullptr);
    expect(renderer.getNumPasses() == 1 && renderer.output(image).toInt() == -3, "ramp disabled: image is -1 * 3");
    renderer.setEnabled(ramp, true);

    // A pass fails by a non-zero error code: render() returns false.
    renderer.setParameter(gain, 0);
    ok = renderer.render(nullptr);
    expect(!ok && renderer.renderPass(scale)->errorCode() == 7, "gain 0 fails the frame with error code 7");

    renderer.teardown(nullptr);

    // Each frame was timed (the recorded time is about twice the elapsed
    // milliseconds, see FrameStatistics).
    expect(renderer.frameCount() == 4, "four frames were timed");
    qInfo("mean frame time: %.3f ms", renderer.meanFrameTime());

    qInfo("custom-pass: %s", g_failures == 0 ? "all checks passed" : "some checks FAILED");
    return g_failures == 0 ? 0 : 1;
}
