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
// final image and its statistics. At the end the demo prints timings and
// writes the last image (PPM), the pass graph (Graphviz text) and, when
// Graphviz's `dot` is on PATH, a drawing of the graph (SVG).

#include "Passes.h"

#include <ZrnCore/ZrnCore.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QPair>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>
#include <QtCore/QStringList>

#include <algorithm>
#include <cstdio>
#include <limits>

using Morvane::Zrn::FrameStatistics;
using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderPassHelper;
using Morvane::Zrn::Renderer;

namespace {

enum ExitCode { ExitOk = 0, ExitFailed = 1, ExitUsage = 2 };

constexpr int kMaxFrames = 100000;
constexpr int kMaxBlurRadius = 100;

const char kUsage[] =
    "Usage: zrn-demo [--frames N] [--size WxH] [--blur R] [--out DIR]\n"
    "\n"
    "Renders N frames of a small image pipeline with libZrnCore, prints the\n"
    "renderer's and each pass's timings, and writes into DIR the last frame\n"
    "(image.ppm), the pass graph as Graphviz text (graph.dot) and, when\n"
    "Graphviz's dot is on PATH, its drawing (graph.svg).\n"
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

// The nodes and indices of the composed renderer that the frame loop needs.
struct Pipeline
{
    int frameParameter = -1;
    int imageOutput = -1;
    int meanLumaOutput = -1;
    int histogramOutput = -1;
    int exposure = Graph::kInvalidNodeRef;
    QVector<QPair<QString, int>> passes; // display name, node; in run order
};

// Builds the pass graph of the sketch at the top of this file. Returns an
// empty string, or the list of connections that could not be made.
QString compose(Renderer& renderer, const Options& options, Pipeline* pipeline)
{
    using namespace ZrnDemo;
    Graph& graph = renderer.getGraph();
    const int root = Graph::kRootNodeRef;
    // The Graphviz text names the root where a top-level pass feeds a
    // renderer output; give it a readable name.
    graph.setNodeName(root, QStringLiteral("renderer"));

    renderer.addParameter(QStringLiteral("width"), options.width);
    renderer.addParameter(QStringLiteral("height"), options.height);
    pipeline->frameParameter = renderer.addParameter(QStringLiteral("frame"), 0);
    renderer.addParameter(QStringLiteral("frames"), options.frames);
    renderer.addParameter(QStringLiteral("blurRadius"), options.blurRadius);
    pipeline->imageOutput = renderer.addOutput(QStringLiteral("image"));
    pipeline->meanLumaOutput = renderer.addOutput(QStringLiteral("meanLuma"));
    pipeline->histogramOutput = renderer.addOutput(QStringLiteral("histogram"));

    const int generate = renderer.addPass(QStringLiteral("generate"), new GeneratePass, root);
    const int post = renderer.addGroup(QStringLiteral("post"), 0, 0, root);
    graph.addInput(post, QStringLiteral("image"), Graph::kInvalidGroupRef);
    graph.addInput(post, QStringLiteral("blurRadius"), Graph::kInvalidGroupRef);
    graph.addOutput(post, QStringLiteral("image"), Graph::kInvalidGroupRef);
    const int exposure = renderer.addPass(QStringLiteral("exposure"), new ExposurePass, post);
    const int blur = renderer.addPass(QStringLiteral("blur"), new BlurPass, post);
    const int tonemap = renderer.addPass(QStringLiteral("tonemap"), new ToneMapPass, post);
    const int histogram = renderer.addPass(QStringLiteral("histogram"), new HistogramPass, root);

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
    graph.connectDownByName(generate);
    for (const char* name : {"width", "height", "frame", "frames"})
        check(inputFed(generate, name), QStringLiteral("renderer.%1 -> generate.%1").arg(QLatin1String(name)));

    // The image into the group, and the blur radius from the renderer's
    // parameter down through the group's input to the blur pass.
    check(graph.addEdgeByName(generate, QStringLiteral("image"), post, QStringLiteral("image"))
              != Graph::kInvalidEdgeRef,
          QStringLiteral("generate.image -> post.image"));
    check(graph.addDownEdgeByName(QStringLiteral("blurRadius"), post, QStringLiteral("blurRadius"))
              != Graph::kInvalidEdgeRef,
          QStringLiteral("renderer.blurRadius -> post.blurRadius"));
    graph.connectDownByName(blur); // image and blurRadius
    check(inputFed(blur, "image"), QStringLiteral("post.image -> blur.image"));
    check(inputFed(blur, "blurRadius"), QStringLiteral("post.blurRadius -> blur.blurRadius"));
    graph.connectDownByName(exposure); // image; key stays at its default
    check(inputFed(exposure, "image"), QStringLiteral("post.image -> exposure.image"));

    // Inside the group, then out of it through its output.
    graph.connectByName(blur, tonemap);
    check(inputFed(tonemap, "image"), QStringLiteral("blur.image -> tonemap.image"));
    graph.connectByName(exposure, tonemap);
    check(inputFed(tonemap, "exposure"), QStringLiteral("exposure.exposure -> tonemap.exposure"));
    check(graph.addUpEdgeByName(QStringLiteral("image"), tonemap, QStringLiteral("image")) != Graph::kInvalidEdgeRef,
          QStringLiteral("tonemap.image -> post.image"));

    // The group's image to the histogram pass, whose outputs are the
    // renderer's outputs.
    graph.connectByName(post, histogram);
    check(inputFed(histogram, "image"), QStringLiteral("post.image -> histogram.image"));
    graph.connectUpByName(histogram);
    for (const char* name : {"image", "meanLuma", "histogram"})
        check(outputFed(root, name), QStringLiteral("histogram.%1 -> renderer.%1").arg(QLatin1String(name)));

    renderer.setTarget(histogram);
    pipeline->exposure = exposure;
    pipeline->passes = {{QStringLiteral("generate"), generate},
                        {QStringLiteral("post/exposure"), exposure},
                        {QStringLiteral("post/blur"), blur},
                        {QStringLiteral("post/tonemap"), tonemap},
                        {QStringLiteral("histogram"), histogram}};
    return missing.join(QStringLiteral(", "));
}

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
    const QString missing = compose(renderer, options, &pipeline);
    if (!missing.isEmpty()) {
        std::fprintf(stderr, "zrn-demo: could not connect %s\n", missing.toLocal8Bit().constData());
        return ExitFailed;
    }
    // Anything suspicious in the composition goes to stderr; a sound
    // pipeline, like this one, prints nothing here. The exposure key is left
    // at its default on purpose, so that finding is expected.
    for (const Morvane::Zrn::SetupFinding& finding : renderer.checkSetup()) {
        if (finding.issue == Morvane::Zrn::SetupIssue::UnfedInput && finding.node == pipeline.exposure
            && finding.port == 1) {
            continue;
        }
        std::fprintf(stderr, "zrn-demo: setup: %s: %s\n", finding.path.toLocal8Bit().constData(),
                     finding.message.toLocal8Bit().constData());
    }

    print(QStringLiteral("zrn-demo: %1 frames of %2x%3, box blur radius %4, output in %5\n\n")
              .arg(options.frames)
              .arg(options.width)
              .arg(options.height)
              .arg(options.blurRadius)
              .arg(QDir::toNativeSeparators(options.outDir)));

    // This host needs no context object: the passes are given a null one.
    renderer.setup(nullptr);

    Third thirds[3];
    double runTimeSum = 0.0;
    double worstTime = -1.0;
    int worstFrame = -1;
    QElapsedTimer wall;
    wall.start();
    for (int frame = 0; frame < options.frames; ++frame) {
        const int t = int(qint64(frame) * 3 / options.frames);
        Third& third = thirds[t];
        third.exposureOn = t != 1;
        renderer.setEnabled(pipeline.exposure, third.exposureOn);
        renderer.setParameter(pipeline.frameParameter, frame);

        if (!renderer.render(nullptr)) {
            QString culprit = QStringLiteral("a pass");
            for (const auto& pass : pipeline.passes) {
                const unsigned int code = renderer.renderPass(pass.second)->errorCode();
                if (code != 0) {
                    culprit = QStringLiteral("pass %1 (error code %2)").arg(pass.first).arg(code);
                    break;
                }
            }
            renderer.teardown(nullptr);
            std::fprintf(stderr, "zrn-demo: frame %d failed in %s\n", frame + 1, culprit.toLocal8Bit().constData());
            return ExitFailed;
        }

        // The frame time the renderer just recorded: the newest ring slot.
        const double time = renderer.frameTimes()[(renderer.frameCount() - 1) % FrameStatistics::kHistorySize];
        runTimeSum += time;
        if (time > worstTime) {
            worstTime = time;
            worstFrame = frame;
        }
        if (third.firstFrame < 0)
            third.firstFrame = frame;
        third.lastFrame = frame;
        third.minPasses = std::min(third.minPasses, renderer.getNumPasses());
        third.maxPasses = std::max(third.maxPasses, renderer.getNumPasses());
        third.lumaSum += renderer.output(pipeline.meanLumaOutput).toDouble();
    }
    const qint64 wallNs = wall.nsecsElapsed();
    renderer.teardown(nullptr);

    // ------------------------------------------------------------ the table
    const int frames = renderer.frameCount();
    const int recent = std::min(frames, FrameStatistics::kHistorySize);
    print(QStringLiteral("Renderer\n"));
    row(QStringLiteral("frames rendered"), QString::number(frames));
    QStringList perThird;
    for (const Third& third : thirds) {
        if (third.frames() > 0)
            perThird << QStringLiteral("%1 in frame%2 %3")
                            .arg(passesText(third), third.frames() == 1 ? QString() : QStringLiteral("s"),
                                 third.span());
    }
    row(QStringLiteral("passes run per frame"), perThird.join(QStringLiteral(", ")));
    row(QStringLiteral("frame time, library units (*)"), QString());
    row(QStringLiteral("  mean over all %1 frames").arg(frames), number(runTimeSum / frames));
    row(QStringLiteral("  mean over last %1 (meanFrameTime)").arg(recent), number(renderer.meanFrameTime()));
    row(QStringLiteral("  worst (frame %1)").arg(worstFrame + 1), number(worstTime));
    row(QStringLiteral("wall clock, ms"),
        QStringLiteral("%1 in total, %2 per frame").arg(number(wallNs / 1e6, 1), number(wallNs / 1e6 / frames)));
    print(
        QStringLiteral("  (*) each frame is recorded as (ns / 1000) / 1000.0 + ms of one timer,\n"
                       "      about twice its wall-clock milliseconds.\n\n"));

    print(QStringLiteral("Passes          frames run   mean frame time, library units (last <= 100 runs)\n"));
    for (const auto& pass : pipeline.passes) {
        const auto* helper = dynamic_cast<const RenderPassHelper*>(renderer.renderPass(pass.second));
        if (!helper)
            continue;
        print(QStringLiteral("  %1 %2   %3%4\n")
                  .arg(pass.first, -14)
                  .arg(helper->frameCount(), 9)
                  .arg(number(helper->meanFrameTime()), 8)
                  .arg(pass.first == QLatin1String("post/blur") ? QStringLiteral("   (worker thread)") : QString()));
    }

    print(QStringLiteral("\nImage by third   frames   exposure pass          mean luma (0-255)\n"));
    for (const Third& third : thirds) {
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

    // ------------------------------------------------------------ the files
    int status = ExitOk;
    const QDir outDir(options.outDir);
    const QString imagePath = outDir.filePath(QStringLiteral("image.ppm"));
    const QString dotPath = outDir.filePath(QStringLiteral("graph.dot"));
    const QString svgPath = outDir.filePath(QStringLiteral("graph.svg"));
    print(QStringLiteral("Files\n"));

    const auto image = renderer.output(pipeline.imageOutput).value<ZrnDemo::RgbImage>();
    if (ZrnDemo::writePpm(image, imagePath)) {
        print(QStringLiteral("  wrote %1 (last frame, binary PPM, %2x%3)\n")
                  .arg(QDir::toNativeSeparators(imagePath))
                  .arg(image.width)
                  .arg(image.height));
    } else {
        std::fprintf(stderr, "zrn-demo: could not write %s\n", imagePath.toLocal8Bit().constData());
        status = ExitFailed;
    }

    const QByteArray dotText = Morvane::Zrn::graphvizText(&renderer.getGraph()).toUtf8();
    QFile dotFile(dotPath);
    if (dotFile.open(QIODevice::WriteOnly | QIODevice::Truncate) && dotFile.write(dotText) == dotText.size()
        && dotFile.flush()) {
        dotFile.close();
        print(QStringLiteral("  wrote %1 (pass graph, top level, Graphviz text)\n")
                  .arg(QDir::toNativeSeparators(dotPath)));
        const QString dot = QStandardPaths::findExecutable(QStringLiteral("dot"));
        if (dot.isEmpty()) {
            print(QStringLiteral("  skipped graph.svg: Graphviz's dot is not on PATH\n"));
        } else {
            QProcess process;
            process.start(dot, {QStringLiteral("-Tsvg"), dotPath, QStringLiteral("-o"), svgPath});
            if (process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit
                && process.exitCode() == 0) {
                print(QStringLiteral("  wrote %1 (drawing of graph.dot by %2)\n")
                          .arg(QDir::toNativeSeparators(svgPath), dot));
            } else {
                print(QStringLiteral("  skipped graph.svg: %1 failed: %2\n")
                          .arg(dot, QString::fromLocal8Bit(process.readAllStandardError()).trimmed()));
            }
        }
    } else {
        std::fprintf(stderr, "zrn-demo: could not write %s\n", dotPath.toLocal8Bit().constData());
        status = ExitFailed;
    }
    return status;
}
