// Rendering on a worker QThread with RendererController, and a host context
// handed to the passes as RenderCallbacks. The pipeline:
//
//   renderer parameter "gain" --down--> +-------+
//                                       | scale |--up--> renderer output "value"
//   +---------+  count                  |       |
//   | counter |------------------------>+-------+   (target)
//   +---------+
//
// The renderer is composed and set up on the main thread before the worker
// starts; from then on only the worker touches it: the controller renders
// there on its timer, and the parameter is changed there too, through a
// queued call. The main thread only listens to the controller's signals.
// Exits non-zero if the results differ from what the comments say.

#include <ZrnCore/RendererController.h>
#include <ZrnCore/ZrnCore.h>

#include <QtCore/QAtomicInt>
#include <QtCore/QCoreApplication>
#include <QtCore/QThread>

namespace Zrn = Morvane::Zrn;

// The host's own context object. The library only declares the class and
// hands the pointer through unchanged, so the host defines it, once, in the
// library's namespace (here from outside it, by its qualified name).
class Morvane::Zrn::RenderCallbacks
{
public:
    QAtomicInt framesStarted; // counted by the passes, read by the host
};

namespace {

// Outputs how many frames have started, read from the host context.
class CounterPass : public Zrn::RenderPassHelper
{
public:
    CounterPass() { addOutput(QStringLiteral("count")); }
    void start(Zrn::RenderCallbacks* cb) override { outputs[0].value = cb->framesStarted.fetchAndAddOrdered(1) + 1; }
};

// Multiplies its input "count" by its input "gain".
class ScalePass : public Zrn::RenderPassHelper
{
public:
    ScalePass()
    {
        addInput(QStringLiteral("count"), 0);
        addInput(QStringLiteral("gain"), 1);
        addOutput(QStringLiteral("value"));
    }
    void start(Zrn::RenderCallbacks*) override { outputs[0].value = inputs[0].value.toInt() * inputs[1].value.toInt(); }
};

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);

    Zrn::Renderer renderer;
    const int gain = renderer.addParameter(QStringLiteral("gain"), 2);
    const int value = renderer.addOutput(QStringLiteral("value"));
    const int root = Zrn::Graph::kRootNodeRef;
    const int counter = renderer.addPass(QStringLiteral("counter"), new CounterPass, root);
    const int scale = renderer.addPass(QStringLiteral("scale"), new ScalePass, root);
    Zrn::Graph& graph = renderer.getGraph();
    graph.connectByName(counter, scale);
    graph.connectDownByName(scale);
    graph.connectUpByName(scale);
    renderer.setTarget(scale);
    for (const Zrn::SetupFinding& finding : renderer.checkSetup())
        qWarning("setup: %s: %s", qPrintable(finding.path), qPrintable(finding.message));

    Zrn::RenderCallbacks context;
    renderer.setup(&context);

    // Hand the renderer to the worker: the controller lives there, so its
    // timer and every frame run there.
    QThread worker;
    auto* controller = new Zrn::RendererController(&renderer);
    controller->setCallbacks(&context);
    controller->moveToThread(&worker);
    QObject::connect(&worker, &QThread::finished, controller, &QObject::deleteLater);

    int frames = 0;
    int lastValueFrame = 0;
    bool allOk = true;
    bool renderedOnWorker = true;
    QObject::connect(
        controller, &Zrn::RendererController::frameFinished, controller,
        [&](bool, int, double, double) { renderedOnWorker &= QThread::currentThread() == &worker; },
        Qt::DirectConnection);
    // Queued to the main thread: runs here, after the frame.
    QObject::connect(controller, &Zrn::RendererController::frameFinished, &app,
                     [&](bool ok, int passesRun, double, double milliseconds) {
                         allOk &= ok && passesRun == 2;
                         ++frames;
                         if (frames == 5) {
                             // Parameters change on the renderer's thread, between frames.
                             QMetaObject::invokeMethod(controller, [&] { renderer.setParameter(gain, 10); });
                         }
                         if (frames == 20) {
                             QMetaObject::invokeMethod(controller, [&] {
                                 controller->stop();
                                 lastValueFrame = renderer.output(value).toInt();
                                 worker.quit();
                             });
                         }
                         Q_UNUSED(milliseconds);
                     });
    QObject::connect(&worker, &QThread::finished, &app, &QCoreApplication::quit);

    worker.start();
    QMetaObject::invokeMethod(controller, [controller] { controller->start(1); });
    app.exec();
    worker.wait();

    // The worker has stopped: the main thread may use the renderer again.
    renderer.teardown(&context);
    const int started = context.framesStarted.loadAcquire();
    qInfo("worker-thread: %d frames seen, %d started, last value %d", frames, started, lastValueFrame);
    const bool good = allOk && renderedOnWorker && frames >= 20 && started >= frames && lastValueFrame == started * 10
        && renderer.frameCount() == started;
    qInfo("worker-thread: %s", good ? "all checks passed" : "some checks FAILED");
    return good ? 0 : 1;
}
