// zrn-demo: a small CPU image pipeline run by libZrnCore's Renderer.
//
//   renderer parameters (inputs of the root node)
//     width  height  frame  frames                      blurRadius
//       |      |       |      |                             |
//       +------+---+---+------+ down edges                  | down edge
//                  v                                        v
//            +----------+  image   +-- post (group) ----------------------------+
//            | generate |--------->| image                blurRadius            |
//            +----------+          |   | down   \ down       | down             |
//                                  |   v         v           v                  |
//                                  | exposure   blur* <------+                  |
//                                  |   | exposure | image                       |
//                                  |   v          v                             |
//                                  | tonemap <----+                             |
//                                  |   | image, up edge                         |
//                                  |   v                                        |
//                                  | image                                      |
//                                  +---|----------------------------------------+
//                                      v
//                                 +-----------+  image, meanLuma, histogram
//                                 | histogram |------------------------------> renderer outputs
//                                 +-----------+  up edges                      (outputs of the root)
//                                    target
//
//   * blur works on a worker thread that it keeps between frames.
//   The exposure pass is switched off for the middle third of the run, so
//   tonemap gets its own default exposure (1.0) there.
//
// Each frame renders the image, measures it, and the renderer collects the
// final image and its statistics. The renderer keeps a report of each frame
// and records a trace of the run. At the end the demo prints timings and the
// report of the last frame, and writes into its output folder the last image
// (PNG), the graph as a JSON document, the graph's top level and its whole
// hierarchy as Graphviz text, the last frame's report (text, and drawn on the
// hierarchy), and the trace (Chrome trace events); when Graphviz's `dot` is
// on PATH, it draws each Graphviz file as SVG too.
//
// main() is the host's life of a renderer in named steps: compose the
// renderer (add the passes, wire the graph), check the setup, render the
// frames, print what was measured, write the files.

#include "Outputs.h"
#include "Passes.h"

#include <ZrnCore/ZrnCore.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFileInfo>
#include <QtCore/QPair>
#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <algorithm>
#include <cstdio>
#include <limits>

using Morvane::Zrn::FrameReport;
using Morvane::Zrn::FrameStatistics;
using Morvane::Zrn::Graph;
using Morvane::Zrn::Renderer;
using Morvane::Zrn::SetupFinding;
using Morvane::Zrn::SetupIssue;

namespace {

enum ExitCode { ExitOk = 0, ExitFailed = 1, ExitUsage = 2 };

constexpr int kMaxFrames = 100000;
constexpr int kMaxBlurRadius = 100;
// The trace holds at most this many frames, the first of the run: enough to
// see every third of a default run, small enough for a trace viewer.
constexpr int kMaxTracedFrames = 1000;

const char kUsage[] =
    "Usage: zrn-demo [--frames N] [--size WxH] [--blur R] [--out DIR]\n"
    "\n"
    "Renders N frames of a small image pipeline with libZrnCore, prints the\n"
    "renderer's and each pass's timings and the report of the last frame, and\n"
    "writes into DIR:\n"
    "  image.png          the last frame's image\n"
    "  graph.json         the renderer's graph as a JSON graph document\n"
    "  graph.dot          the graph's top level as Graphviz text\n"
    "  hierarchy.dot      the whole hierarchy, with ports, as Graphviz text\n"
    "  frame-report.txt   the report of the last frame\n"
    "  frame-report.dot   the last frame drawn on the hierarchy, Graphviz text\n"
    "  trace.json         a timeline of the first 1000 frames at most, as Chrome\n"
    "                     trace events (open it in ui.perfetto.dev or chrome://tracing)\n"
    "and, when Graphviz's dot is on PATH, graph.svg, hierarchy.svg and\n"
    "frame-report.svg, its drawings of the three .dot files.\n"
    "\n"
    "  --frames N   frames to render, 1..100000 (default 300)\n"
    "  --size WxH   image size, each side 1..4096 (default 320x240)\n"
    "  --blur R     box blur radius in pixels, 0..100 (default 4)\n"
    "  --out DIR    output folder, created when missing (default zrn-demo-output)\n"
    "  --help       show this text\n"
    "\n"
    "Exit status: 0 on success, 1 when a frame or a file fails, 2 on bad arguments.\n";

struct Options
{
    int frames = 300;
    int width = 320;
    int height = 240;
    int blurRadius = 4;
    QString outDir = QStringLiteral("zrn-demo-output");
};

void print(const QString& text)
{
    std::fputs(text.toLocal8Bit().constData(), stdout);
}

int usageError(const QString& message)
{
    std::fprintf(stderr, "zrn-demo: %s\n\n%s", message.toLocal8Bit().constData(), kUsage);
    return ExitUsage;
}

// Reads a whole-number option value in [low, high]; false for anything else.
bool parseInt(const QString& text, int low, int high, int* out)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    if (!ok || value < low || value > high)
        return false;
    *out = value;
    return true;
}

// Parses the command line into `options`. Returns -1 to go on, or the exit
// code to leave with (after printing the help or a usage error).
int parseArguments(const QStringList& arguments, Options* options)
{
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption frames(QStringLiteral("frames"), QString(), QStringLiteral("N"));
    const QCommandLineOption size(QStringLiteral("size"), QString(), QStringLiteral("WxH"));
    const QCommandLineOption blur(QStringLiteral("blur"), QString(), QStringLiteral("R"));
    const QCommandLineOption out(QStringLiteral("out"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption help(QStringList{QStringLiteral("help"), QStringLiteral("h")});
    parser.addOptions({frames, size, blur, out, help});

    if (!parser.parse(arguments))
        return usageError(parser.errorText());
    if (parser.isSet(help)) {
        std::fputs(kUsage, stdout);
        return ExitOk;
    }
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));

    // The last occurrence of an option wins, so a script may put defaults first.
    if (parser.isSet(frames) && !parseInt(parser.values(frames).last(), 1, kMaxFrames, &options->frames))
        return usageError(QStringLiteral("--frames wants a whole number from 1 to %1, not '%2'")
                              .arg(kMaxFrames)
                              .arg(parser.values(frames).last()));
    if (parser.isSet(size)) {
        const QString text = parser.values(size).last();
        const QRegularExpressionMatch match = QRegularExpression(QStringLiteral("^\\s*(\\d+)x(\\d+)\\s*$")).match(text);
        if (!match.hasMatch() || !parseInt(match.captured(1), 1, ZrnDemo::kMaxImageSide, &options->width)
            || !parseInt(match.captured(2), 1, ZrnDemo::kMaxImageSide, &options->height))
            return usageError(QStringLiteral("--size wants WxH with each side from 1 to %1, not '%2'")
                                  .arg(ZrnDemo::kMaxImageSide)
                                  .arg(text));
    }
    if (parser.isSet(blur) && !parseInt(parser.values(blur).last(), 0, kMaxBlurRadius, &options->blurRadius))
        return usageError(QStringLiteral("--blur wants a whole number from 0 to %1, not '%2'")
                              .arg(kMaxBlurRadius)
                              .arg(parser.values(blur).last()));
    if (parser.isSet(out)) {
        options->outDir = parser.values(out).last();
        if (options->outDir.isEmpty())
            return usageError(QStringLiteral("--out wants a folder name"));
    }

    const QFileInfo outInfo(options->outDir);
    if (!QDir().mkpath(options->outDir) || !outInfo.isDir() || !outInfo.isWritable())
        return usageError(QStringLiteral("cannot write into the output folder '%1'").arg(options->outDir));
    return -1;
}

// ------------------------------------------------------------ composing

// The nodes and indices of the composed renderer that the later steps need.
struct Pipeline
{
    int frameParameter = -1;
    int imageOutput = -1;
    int meanLumaOutput = -1;
    int histogramOutput = -1;
    int generate = Graph::kInvalidNodeRef;
    int post = Graph::kInvalidNodeRef;
    int exposure = Graph::kInvalidNodeRef;
    int blur = Graph::kInvalidNodeRef;
    int tonemap = Graph::kInvalidNodeRef;
    int histogram = Graph::kInvalidNodeRef;
    QVector<int> passes; // the pass nodes, in the order they were added
};

// Adds the renderer's parameters and outputs, and the passes and the group
// of the sketch at the top of this file, still unwired.
void addPasses(Renderer& renderer, const Options& options, Pipeline* pipeline)
{
    using namespace ZrnDemo;
    const int root = Graph::kRootNodeRef;
    // The Graphviz text names the root where a top-level pass feeds a
    // renderer output; give it a readable name.
    renderer.getGraph().setNodeName(root, QStringLiteral("renderer"));

    renderer.addParameter(QStringLiteral("width"), options.width);
    renderer.addParameter(QStringLiteral("height"), options.height);
    pipeline->frameParameter = renderer.addParameter(QStringLiteral("frame"), 0);
    renderer.addParameter(QStringLiteral("frames"), options.frames);
    renderer.addParameter(QStringLiteral("blurRadius"), options.blurRadius);
    pipeline->imageOutput = renderer.addOutput(QStringLiteral("image"));
    pipeline->meanLumaOutput = renderer.addOutput(QStringLiteral("meanLuma"));
    pipeline->histogramOutput = renderer.addOutput(QStringLiteral("histogram"));

    pipeline->generate = renderer.addPass(QStringLiteral("generate"), new GeneratePass, root);
    // The group's ports are named, so that it is wired by name like a pass.
    pipeline->post = renderer.addGroup(QStringLiteral("post"), {QStringLiteral("image"), QStringLiteral("blurRadius")},
                                       {QStringLiteral("image")}, root);
    pipeline->exposure = renderer.addPass(QStringLiteral("exposure"), new ExposurePass, pipeline->post);
    pipeline->blur = renderer.addPass(QStringLiteral("blur"), new BlurPass, pipeline->post);
    pipeline->tonemap = renderer.addPass(QStringLiteral("tonemap"), new ToneMapPass, pipeline->post);
    pipeline->histogram = renderer.addPass(QStringLiteral("histogram"), new HistogramPass, root);
    pipeline->passes = {pipeline->generate, pipeline->exposure, pipeline->blur, pipeline->tonemap, pipeline->histogram};
}

// Wires the nodes that addPasses() made, as the sketch shows, and makes the
// histogram pass the target. Returns an empty string, or the list of
// connections that could not be made.
QString wireGraph(Renderer& renderer, const Pipeline& p)
{
    Graph& graph = renderer.getGraph();
    const int root = Graph::kRootNodeRef;
    QStringList missing;
    auto check = [&](bool made, const QString& what) {
        if (!made)
            missing << what;
    };
    auto inputFed = [&](int node, const char* name) {
        const int input = graph.findInput(node, QString::fromLatin1(name));
        return input >= 0 && graph.inputSource(node, input) != Graph::kInvalidEdgeRef;
    };
    auto outputFed = [&](int node, const char* name) {
        const int output = graph.findOutput(node, QString::fromLatin1(name));
        return output >= 0 && graph.outputSource(node, output) != Graph::kInvalidEdgeRef;
    };

    // Parameters down into generate: width, height, frame and frames.
    graph.connectDownByName(p.generate);
    for (const char* name : {"width", "height", "frame", "frames"})
        check(inputFed(p.generate, name), QStringLiteral("renderer.%1 -> generate.%1").arg(QLatin1String(name)));

    // The image into the group, and the blur radius from the renderer's
    // parameter down through the group's input to the blur pass.
    check(graph.addEdgeByName(p.generate, QStringLiteral("image"), p.post, QStringLiteral("image"))
              != Graph::kInvalidEdgeRef,
          QStringLiteral("generate.image -> post.image"));
    check(graph.addDownEdgeByName(QStringLiteral("blurRadius"), p.post, QStringLiteral("blurRadius"))
              != Graph::kInvalidEdgeRef,
          QStringLiteral("renderer.blurRadius -> post.blurRadius"));
    graph.connectDownByName(p.blur); // image and blurRadius
    check(inputFed(p.blur, "image"), QStringLiteral("post.image -> blur.image"));
    check(inputFed(p.blur, "blurRadius"), QStringLiteral("post.blurRadius -> blur.blurRadius"));
    graph.connectDownByName(p.exposure); // image; key stays at its default
    check(inputFed(p.exposure, "image"), QStringLiteral("post.image -> exposure.image"));

    // Inside the group, then out of it through its output.
    graph.connectByName(p.blur, p.tonemap);
    check(inputFed(p.tonemap, "image"), QStringLiteral("blur.image -> tonemap.image"));
    graph.connectByName(p.exposure, p.tonemap);
    check(inputFed(p.tonemap, "exposure"), QStringLiteral("exposure.exposure -> tonemap.exposure"));
    check(graph.addUpEdgeByName(QStringLiteral("image"), p.tonemap, QStringLiteral("image")) != Graph::kInvalidEdgeRef,
          QStringLiteral("tonemap.image -> post.image"));

    // The group's image to the histogram pass, whose outputs are the
    // renderer's outputs.
    graph.connectByName(p.post, p.histogram);
    check(inputFed(p.histogram, "image"), QStringLiteral("post.image -> histogram.image"));
    graph.connectUpByName(p.histogram);
    for (const char* name : {"image", "meanLuma", "histogram"})
        check(outputFed(root, name), QStringLiteral("histogram.%1 -> renderer.%1").arg(QLatin1String(name)));

    renderer.setTarget(p.histogram);
    return missing.join(QStringLiteral(", "));
}

// Prints on stderr what the renderer's own check finds wrong or suspicious
// in the composition; a sound pipeline, like this one, prints nothing. The
// exposure key is left at its default on purpose, so that finding is
// expected and passed over.
void reportSetupFindings(const Renderer& renderer, const Pipeline& pipeline)
{
    const int exposureKey = renderer.getGraph().findInput(pipeline.exposure, QStringLiteral("key"));
    for (const SetupFinding& finding : renderer.checkSetup()) {
        if (finding.issue == SetupIssue::UnfedInput && finding.node == pipeline.exposure
            && finding.port == exposureKey) {
            continue;
        }
        std::fprintf(stderr, "zrn-demo: setup: %s: %s\n", finding.path.toLocal8Bit().constData(),
                     finding.message.toLocal8Bit().constData());
    }
}

// ------------------------------------------------------------ rendering

// What the frame loop saw in one third of the run.
struct Third
{
    int firstFrame = -1;
    int lastFrame = -1;
    int minPasses = std::numeric_limits<int>::max();
    int maxPasses = 0;
    double lumaSum = 0.0;
    bool exposureOn = true;

    int frames() const { return firstFrame < 0 ? 0 : lastFrame - firstFrame + 1; }
    // The frames counted from 1: "4-6", or "4" for one frame.
    QString span() const
    {
        return frames() == 1 ? QString::number(firstFrame + 1)
                             : QStringLiteral("%1-%2").arg(firstFrame + 1).arg(lastFrame + 1);
    }
};

// What the whole run measured. Frame times are in the library's frame-time
// units, about twice the wall-clock milliseconds kept beside them.
struct RunSummary
{
    Third thirds[3];
    double frameTimeSum = 0.0;
    double worstFrameTime = -1.0;
    int worstFrameTimeFrame = -1;
    double millisecondsSum = 0.0;
    double worstMilliseconds = -1.0;
    int worstMillisecondsFrame = -1;
    qint64 loopNanoseconds = 0;
    QVector<double> passMilliseconds; // by node: wall-clock ms summed over the pass's runs
};

// Adds the frame just rendered to `summary`, read from the renderer's report
// of it and its frame statistics.
void addFrame(const Renderer& renderer, const Pipeline& pipeline, int frame, Third& third, RunSummary* summary)
{
    const FrameReport& report = renderer.frameReport();
    const double frameTime = report.frameTime();
    const double milliseconds = renderer.lastFrameMilliseconds();
    summary->frameTimeSum += frameTime;
    summary->millisecondsSum += milliseconds;
    if (frameTime > summary->worstFrameTime) {
        summary->worstFrameTime = frameTime;
        summary->worstFrameTimeFrame = frame;
    }
    if (milliseconds > summary->worstMilliseconds) {
        summary->worstMilliseconds = milliseconds;
        summary->worstMillisecondsFrame = frame;
    }
    for (int i = 0; i < report.numRuns(); ++i) {
        const FrameReport::PassRun& run = report.run(i);
        summary->passMilliseconds[run.node] += run.milliseconds();
    }

    if (third.firstFrame < 0)
        third.firstFrame = frame;
    third.lastFrame = frame;
    third.minPasses = std::min(third.minPasses, renderer.getNumPasses());
    third.maxPasses = std::max(third.maxPasses, renderer.getNumPasses());
    third.lumaSum += renderer.output(pipeline.meanLumaOutput).toDouble();
}

// Says on stderr which pass failed the frame, with the frame's report.
void reportFailedFrame(const Renderer& renderer, int frame)
{
    const FrameReport& report = renderer.frameReport();
    const QString culprit = report.failedNode() == Graph::kInvalidNodeRef
        ? QStringLiteral("a pass")
        : QStringLiteral("pass %1 (error code %2)").arg(renderer.passPath(report.failedNode())).arg(report.errorCode());
    std::fprintf(stderr, "zrn-demo: frame %d failed in %s\n%s", frame + 1, culprit.toLocal8Bit().constData(),
                 report.text(renderer.getGraph()).toLocal8Bit().constData());
}

// Sets the renderer up, renders the frames with the frame report on and a
// trace recording the first kMaxTracedFrames of them, and tears it down. The
// exposure pass is off in the middle third of the run. Returns false, after
// saying which pass failed, when a frame fails.
bool renderFrames(Renderer& renderer, const Pipeline& pipeline, const Options& options, RunSummary* summary)
{
    summary->passMilliseconds.fill(0.0, renderer.getGraph().numNodesGlobal());
    renderer.setFrameReportEnabled(true);
    renderer.startFrameTrace(std::min(options.frames, kMaxTracedFrames));
    // This host needs no context object: the passes are given a null one.
    renderer.setup(nullptr);

    QElapsedTimer loop;
    loop.start();
    for (int frame = 0; frame < options.frames; ++frame) {
        const int t = int(qint64(frame) * 3 / options.frames);
        Third& third = summary->thirds[t];
        third.exposureOn = t != 1;
        renderer.setEnabled(pipeline.exposure, third.exposureOn);
        renderer.setParameter(pipeline.frameParameter, frame);

        if (!renderer.render(nullptr)) {
            renderer.teardown(nullptr);
            reportFailedFrame(renderer, frame);
            return false;
        }
        addFrame(renderer, pipeline, frame, third, summary);
    }
    summary->loopNanoseconds = loop.nsecsElapsed();
    renderer.teardown(nullptr);
    return true;
}

// ------------------------------------------------------------ printing

QString passesText(const Third& third)
{
    return third.minPasses == third.maxPasses ? QString::number(third.minPasses)
                                              : QStringLiteral("%1-%2").arg(third.minPasses).arg(third.maxPasses);
}

QString number(double value, int decimals = 3)
{
    return QString::number(value, 'f', decimals);
}

// One line of the renderer table: the label in a column of its own.
void row(const QString& label, const QString& value)
{
    print(value.isEmpty() ? QStringLiteral("  %1\n").arg(label)
                          : QStringLiteral("  %1 %2\n").arg(label, -36).arg(value));
}

// The renderer's frames: passes run, frame times in both units, the loop.
void printRendererTable(const Renderer& renderer, const RunSummary& summary)
{
    const int frames = renderer.frameCount();
    const int recent = std::min(frames, FrameStatistics::kHistorySize);
    print(QStringLiteral("Renderer\n"));
    row(QStringLiteral("frames rendered"), QString::number(frames));
    QStringList perThird;
    for (const Third& third : summary.thirds) {
        if (third.frames() > 0)
            perThird << QStringLiteral("%1 in frame%2 %3")
                            .arg(passesText(third), third.frames() == 1 ? QString() : QStringLiteral("s"),
                                 third.span());
    }
    row(QStringLiteral("passes run per frame"), perThird.join(QStringLiteral(", ")));
    row(QStringLiteral("frame time, library units (*)"), QString());
    row(QStringLiteral("  mean over all %1 frames").arg(frames), number(summary.frameTimeSum / frames));
    row(QStringLiteral("  mean over last %1 (meanFrameTime)").arg(recent), number(renderer.meanFrameTime()));
    row(QStringLiteral("  worst (frame %1)").arg(summary.worstFrameTimeFrame + 1), number(summary.worstFrameTime));
    row(QStringLiteral("frame time, wall-clock ms"), QString());
    row(QStringLiteral("  mean over all %1 frames").arg(frames), number(summary.millisecondsSum / frames));
    row(QStringLiteral("  worst (frame %1)").arg(summary.worstMillisecondsFrame + 1),
        number(summary.worstMilliseconds));
    row(QStringLiteral("  last (lastFrameMilliseconds)"), number(renderer.lastFrameMilliseconds()));
    const double loopMs = double(summary.loopNanoseconds) / 1e6;
    row(QStringLiteral("whole loop, wall-clock ms"),
        QStringLiteral("%1 in total, %2 per frame").arg(number(loopMs, 1), number(loopMs / frames)));
    print(
        QStringLiteral("  (*) each frame is recorded as (ns / 1000) / 1000.0 + ms of one timer,\n"
                       "      about twice its wall-clock milliseconds (below 1 ms, about the same).\n\n"));
}

// Each pass: how often it ran and its mean time in both units.
void printPassTable(const Renderer& renderer, const Pipeline& pipeline, const RunSummary& summary)
{
    print(
        QStringLiteral("Passes          frames run   mean frame time (*)   mean wall-clock ms\n"
                       "                             last <= 100 runs      all runs\n"));
    for (int node : pipeline.passes) {
        const FrameStatistics& statistics = renderer.passFrameStatistics(node);
        const double meanMs = statistics.count() > 0 ? summary.passMilliseconds[node] / statistics.count() : 0.0;
        print(QStringLiteral("  %1 %2   %3   %4%5\n")
                  .arg(renderer.passPath(node), -14)
                  .arg(statistics.count(), 9)
                  .arg(number(statistics.mean()), 8)
                  .arg(number(meanMs), 20)
                  .arg(node == pipeline.blur ? QStringLiteral("   (worker thread)") : QString()));
    }
    print(
        QStringLiteral("  (*) library units, recorded by each pass as the renderer records its frames:\n"
                       "      about twice the wall-clock milliseconds (below 1 ms, about the same).\n\n"));
}

// The image by third of the run, and the last frame's measurements.
void printImageTable(const Renderer& renderer, const Pipeline& pipeline, const RunSummary& summary)
{
    print(QStringLiteral("Image by third   frames   exposure pass          mean luma (0-255)\n"));
    for (const Third& third : summary.thirds) {
        if (third.frames() == 0)
            continue;
        print(QStringLiteral("  %1 %2   %3 %4\n")
                  .arg(third.span(), -14)
                  .arg(third.frames(), 6)
                  .arg(third.exposureOn ? QStringLiteral("on") : QStringLiteral("off (default 1.0)"), -22)
                  .arg(number(third.lumaSum / third.frames(), 1), 8));
    }
    QStringList bins;
    for (int count : renderer.output(pipeline.histogramOutput).value<QVector<int>>())
        bins << QString::number(count);
    print(QStringLiteral("  last frame: mean luma %1, histogram (16 bins) %2\n\n")
              .arg(number(renderer.output(pipeline.meanLumaOutput).toDouble(), 1))
              .arg(bins.join(QLatin1Char(' '))));
}

// The renderer's report of the last frame, as it gives it, indented.
void printLastFrame(const Renderer& renderer)
{
    print(QStringLiteral("Last frame (frame %1; the report counts frames from 0)\n")
              .arg(renderer.frameReport().frameIndex() + 1));
    const QString text = renderer.frameReport().text(renderer.getGraph());
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        print(QStringLiteral("  %1\n").arg(line));
    print(QStringLiteral("\n"));
}

// ------------------------------------------------------------ the files

// Writes one file into the output folder and says so, or says on stderr that
// it could not. Returns whether it was written.
bool writeOutput(const QDir& dir, const QString& name, const QByteArray& bytes, const QString& what)
{
    const QString path = dir.filePath(name);
    if (!ZrnDemo::writeFile(path, bytes)) {
        std::fprintf(stderr, "zrn-demo: could not write %s\n", path.toLocal8Bit().constData());
        return false;
    }
    print(QStringLiteral("  wrote %1 (%2)\n").arg(QDir::toNativeSeparators(path), what));
    return true;
}

// Draws `base`.dot of the output folder into `base`.svg when Graphviz's dot
// is there, and says what became of it. A missing or failing dot is not an
// error of the demo. Returns false when dot is not on PATH.
bool drawOutput(const QDir& dir, const QString& base)
{
    const QString dotName = base + QStringLiteral(".dot");
    const QString svgName = base + QStringLiteral(".svg");
    const QString svgPath = dir.filePath(svgName);
    QString detail;
    switch (ZrnDemo::drawSvg(dir.filePath(dotName), svgPath, &detail)) {
    case ZrnDemo::DrawResult::Drawn:
        print(QStringLiteral("  wrote %1 (drawing of %2 by %3)\n")
                  .arg(QDir::toNativeSeparators(svgPath), dotName, detail));
        break;
    case ZrnDemo::DrawResult::NoDot:
        print(QStringLiteral("  skipped %1: Graphviz's dot is not on PATH\n").arg(svgName));
        return false;
    case ZrnDemo::DrawResult::Failed:
        print(QStringLiteral("  skipped %1: dot failed: %2\n").arg(svgName, detail));
        break;
    }
    return true;
}

// Writes every file of the output folder and says where each went. Returns
// ExitFailed when one could not be written, ExitOk otherwise.
int writeOutputs(const Renderer& renderer, const Pipeline& pipeline, const Options& options)
{
    const QDir dir(options.outDir);
    const Graph& graph = renderer.getGraph();
    const FrameReport& report = renderer.frameReport();
    bool written = true;
    bool drawn = true; // false when dot was not there to draw the .svg files
    print(QStringLiteral("Files\n"));

    const QString imagePath = dir.filePath(QStringLiteral("image.png"));
    const auto image = renderer.output(pipeline.imageOutput).value<ZrnDemo::RgbImage>();
    QString error;
    if (ZrnDemo::writePng(image, imagePath, &error)) {
        print(QStringLiteral("  wrote %1 (last frame, PNG, %2x%3)\n")
                  .arg(QDir::toNativeSeparators(imagePath))
                  .arg(image.width)
                  .arg(image.height));
    } else {
        std::fprintf(stderr, "zrn-demo: could not write %s: %s\n", imagePath.toLocal8Bit().constData(),
                     error.toLocal8Bit().constData());
        written = false;
    }

    written &= writeOutput(dir, QStringLiteral("graph.json"), Morvane::Zrn::writeGraphDocument(graph),
                           QStringLiteral("the renderer's graph, JSON graph document"));
    if (writeOutput(dir, QStringLiteral("graph.dot"), Morvane::Zrn::graphvizText(&graph).toUtf8(),
                    QStringLiteral("pass graph, top level, Graphviz text")))
        drawn &= drawOutput(dir, QStringLiteral("graph"));
    else
        written = false;
    if (writeOutput(dir, QStringLiteral("hierarchy.dot"), Morvane::Zrn::graphPicture(graph).toUtf8(),
                    QStringLiteral("whole hierarchy with ports, Graphviz text")))
        drawn &= drawOutput(dir, QStringLiteral("hierarchy"));
    else
        written = false;
    written &= writeOutput(dir, QStringLiteral("frame-report.txt"), report.text(graph).toUtf8(),
                           QStringLiteral("report of the last frame"));
    if (writeOutput(dir, QStringLiteral("frame-report.dot"), report.picture(graph).toUtf8(),
                    QStringLiteral("last frame drawn on the hierarchy, Graphviz text")))
        drawn &= drawOutput(dir, QStringLiteral("frame-report"));
    else
        written = false;
    const Morvane::Zrn::FrameTrace& trace = renderer.frameTrace();
    written &= writeOutput(dir, QStringLiteral("trace.json"), trace.toJson(graph),
                           QStringLiteral("timeline of the first %1 frames, Chrome trace events: open it in "
                                          "ui.perfetto.dev or chrome://tracing")
                               .arg(trace.numFrames()));
    if (!drawn)
        print(QStringLiteral("  (the .svg drawings need Graphviz: install it, e.g. apt-get install graphviz)\n"));
    return written ? ExitOk : ExitFailed;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    Options options;
    const int parsed = parseArguments(app.arguments(), &options);
    if (parsed >= 0)
        return parsed;

    Renderer renderer;
    Pipeline pipeline;
    addPasses(renderer, options, &pipeline);
    const QString missing = wireGraph(renderer, pipeline);
    if (!missing.isEmpty()) {
        std::fprintf(stderr, "zrn-demo: could not connect %s\n", missing.toLocal8Bit().constData());
        return ExitFailed;
    }
    reportSetupFindings(renderer, pipeline);

    print(QStringLiteral("zrn-demo: %1 frames of %2x%3, box blur radius %4, output in %5\n\n")
              .arg(options.frames)
              .arg(options.width)
              .arg(options.height)
              .arg(options.blurRadius)
              .arg(QDir::toNativeSeparators(options.outDir)));
    RunSummary summary;
    if (!renderFrames(renderer, pipeline, options, &summary))
        return ExitFailed;

    printRendererTable(renderer, summary);
    printPassTable(renderer, pipeline, summary);
    printImageTable(renderer, pipeline, summary);
    printLastFrame(renderer);
    return writeOutputs(renderer, pipeline, options);
}
