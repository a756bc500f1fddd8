// RendererController: frames on demand and on a timer, and the signals for
// finished frames and failed passes, observed with QSignalSpy. Runs under a
// QCoreApplication (its own main below) for the timer and queued signals.

#include "RenderTestPasses.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>
#include <ZrnCore/RendererController.h>

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QSemaphore>
#include <QtCore/QThread>
#include <QtTest/QSignalSpy>

#include <stdexcept>

using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderCallbacks;
using Morvane::Zrn::Renderer;
using Morvane::Zrn::RendererController;
using ZrnTest::RecordingPass;

namespace {

// a -> b (target), both RecordingPasses.
struct Chain
{
    QStringList log;
    Renderer r;
    RecordingPass* passA = new RecordingPass(QStringLiteral("a"), &log, 0, 1);
    RecordingPass* passB = new RecordingPass(QStringLiteral("b"), &log, 1, 0);
    int a = r.addPass(QStringLiteral("a"), passA, Graph::kRootNodeRef);
    int b = r.addPass(QStringLiteral("b"), passB, Graph::kRootNodeRef);
    Chain()
    {
        r.getGraph().addEdge(a, 0, b, 0);
        r.setTarget(b);
    }
};

} // namespace

TEST(RendererController, RenderFrameEmitsFrameFinished)
{
    Chain f;
    RendererController c(&f.r);
    QSignalSpy finished(&c, &RendererController::frameFinished);
    QSignalSpy failed(&c, &RendererController::passFailed);
    EXPECT_EQ(c.renderer(), &f.r);
    EXPECT_FALSE(c.isRunning());

    EXPECT_TRUE(c.renderFrame());
    ASSERT_EQ(finished.count(), 1);
    EXPECT_EQ(failed.count(), 0);
    const QList<QVariant> args = finished.takeFirst();
    EXPECT_EQ(args.at(0).toBool(), true);
    EXPECT_EQ(args.at(1).toInt(), 2);
    EXPECT_EQ(args.at(2).toDouble(), f.r.frameTimes()[0]);
    EXPECT_EQ(args.at(3).toDouble(), f.r.lastFrameMilliseconds());
    EXPECT_EQ(c.framesRendered(), 1);
    EXPECT_EQ(ZrnTest::started(f.log), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
}

TEST(RendererController, FailedPassIsNamedBeforeTheFrameEnds)
{
    Chain f;
    f.passA->failWith = 3;
    RendererController c(&f.r);
    QStringList order;
    QObject::connect(&c, &RendererController::passFailed,
                     [&](int node, unsigned int code) { order << QStringLiteral("failed %1 %2").arg(node).arg(code); });
    QObject::connect(&c, &RendererController::frameFinished, [&](bool ok, int passes, double, double) {
        order << QStringLiteral("finished %1 %2").arg(ok).arg(passes);
    });
    EXPECT_FALSE(c.renderFrame());
    EXPECT_EQ(order, (QStringList{QStringLiteral("failed 1 3"), QStringLiteral("finished 0 1")}));

    // The same pass failing again is found again, and a later pass failing
    // while the earlier one keeps an old code is named, not the earlier one.
    order.clear();
    EXPECT_FALSE(c.renderFrame());
    EXPECT_EQ(order, (QStringList{QStringLiteral("failed 1 3"), QStringLiteral("finished 0 1")}));
    order.clear();
    f.passA->failWith = 0;
    f.passB->failWith = 5;
    EXPECT_FALSE(c.renderFrame());
    EXPECT_EQ(order, (QStringList{QStringLiteral("failed 2 5"), QStringLiteral("finished 0 2")}));
}

TEST(RendererController, CallbacksAreHandedToThePasses)
{
    Chain f;
    RendererController c(&f.r);
    auto* cb = reinterpret_cast<RenderCallbacks*>(&f);
    c.setCallbacks(cb);
    EXPECT_EQ(c.callbacks(), cb);
    EXPECT_TRUE(c.renderFrame());
    ASSERT_EQ(f.passA->callbacks.size(), 3); // beginFrame, start, endFrame
    for (RenderCallbacks* seen : f.passA->callbacks)
        EXPECT_EQ(seen, cb);
}

TEST(RendererController, TimerRendersUntilStopped)
{
    Chain f;
    RendererController c(&f.r);
    QSignalSpy finished(&c, &RendererController::frameFinished);
    c.start(1);
    EXPECT_TRUE(c.isRunning());
    EXPECT_EQ(c.interval(), 1);
    QElapsedTimer wait;
    wait.start();
    while (finished.count() < 3 && wait.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    c.stop();
    EXPECT_FALSE(c.isRunning());
    const int frames = finished.count();
    EXPECT_GE(frames, 3);
    QCoreApplication::processEvents();
    EXPECT_EQ(finished.count(), frames);
    EXPECT_EQ(c.framesRendered(), frames);
    EXPECT_EQ(f.r.frameCount(), frames);
    c.start(-5);
    EXPECT_EQ(c.interval(), 0);
    c.stop();
}

namespace {

// A recording pass whose start() throws once told to.
class ThrowingPass : public RecordingPass
{
public:
    using RecordingPass::RecordingPass;
    bool throwInStart = false;
    void start(RenderCallbacks* cb) override
    {
        RecordingPass::start(cb);
        if (throwInStart)
            throw std::runtime_error("pass b threw");
    }
};

} // namespace

TEST(RendererController, PassThatThrowsStopsTheTimerAndIsSignalled)
{
    QStringList log;
    Renderer r;
    auto* passA = new RecordingPass(QStringLiteral("a"), &log, 0, 1);
    auto* passB = new ThrowingPass(QStringLiteral("b"), &log, 1, 0);
    const int a = r.addPass(QStringLiteral("a"), passA, Graph::kRootNodeRef);
    const int b = r.addPass(QStringLiteral("b"), passB, Graph::kRootNodeRef);
    ASSERT_EQ(r.getGraph().addEdge(a, 0, b, 0), 0);
    r.setTarget(b);
    RendererController c(&r);
    QSignalSpy finished(&c, &RendererController::frameFinished);
    QSignalSpy threw(&c, &RendererController::frameThrew);

    // Called directly, the exception goes on to the caller.
    passB->throwInStart = true;
    EXPECT_THROW(c.renderFrame(), std::runtime_error);
    EXPECT_EQ(finished.count(), 0);
    EXPECT_EQ(threw.count(), 0);
    EXPECT_EQ(c.framesRendered(), 0);

    // Started by the timer, the frame that throws stops it.
    passB->throwInStart = false;
    c.start(1);
    QElapsedTimer wait;
    wait.start();
    while (finished.count() < 2 && wait.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    ASSERT_GE(finished.count(), 2);
    passB->throwInStart = true;
    while (threw.count() < 1 && wait.elapsed() < 20000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    ASSERT_EQ(threw.count(), 1);
    EXPECT_EQ(threw.takeFirst().at(0).toString(), QStringLiteral("pass b threw"));
    EXPECT_FALSE(c.isRunning());
    const int frames = finished.count();
    EXPECT_EQ(c.framesRendered(), frames);
    EXPECT_EQ(r.frameCount(), frames);
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    EXPECT_EQ(finished.count(), frames);
    EXPECT_EQ(threw.count(), 0);
}

TEST(RendererController, RendersOnAWorkerThreadAndSignalsAcross)
{
    Chain f;
    QThread worker;
    auto* c = new RendererController(&f.r);
    c->moveToThread(&worker);
    QObject::connect(&worker, &QThread::finished, c, &QObject::deleteLater);
    QThread* renderedOn = nullptr;
    QSemaphore rendered;
    QObject::connect(
        c, &RendererController::frameFinished, c,
        [&] {
            renderedOn = QThread::currentThread();
            rendered.release();
        },
        Qt::DirectConnection);
    // The spy records on the worker thread; it is read only after the
    // worker has stopped. Waiting on the spy itself would miss a signal
    // emitted before the wait began.
    QSignalSpy finished(c, &RendererController::frameFinished);
    worker.start();
    QMetaObject::invokeMethod(c, "renderFrame", Qt::QueuedConnection);
    EXPECT_TRUE(rendered.tryAcquire(1, 10000));
    worker.quit();
    worker.wait();
    EXPECT_EQ(renderedOn, &worker);
    ASSERT_EQ(finished.count(), 1);
    EXPECT_EQ(finished.at(0).at(1).toInt(), 2);
}

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
