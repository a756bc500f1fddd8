// zrn-graph: checks graph documents and draws them.
//
//   zrn-graph check FILE      is FILE a valid graph document? (exit 0 or 1)
//   zrn-graph dot FILE        its hierarchy picture as Graphviz DOT text
//   zrn-graph svg FILE OUT    the same picture drawn by Graphviz's dot into OUT
//
// Exit codes: 0 done, 1 the file cannot be read or is not a valid graph
// document (or dot failed), 2 bad arguments, 3 Graphviz's dot is not installed.

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphDocument.h>
#include <ZrnCore/GraphPicture.h>

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <cstdio>

namespace {

using Morvane::Zrn::Graph;

enum Exit { kDone = 0, kInvalid = 1, kUsage = 2, kNoDot = 3 };

const char* const kUsageText =
    "usage: zrn-graph check FILE\n"
    "       zrn-graph dot FILE\n"
    "       zrn-graph svg FILE OUT\n"
    "       zrn-graph --help\n";

const char* const kHelpText =
    "zrn-graph reads a graph document (JSON, as writeGraphDocument() writes it).\n"
    "\n"
    "  check FILE      checks FILE: prints a one-line summary of the graph, or\n"
    "                  what is wrong and where in the document\n"
    "  dot FILE        prints the picture of the whole hierarchy as Graphviz DOT\n"
    "  svg FILE OUT    draws that picture into OUT as SVG with Graphviz's dot\n"
    "  --help, -h      prints this help\n"
    "\n"
    "Exit codes: 0 done; 1 FILE cannot be read or is not a valid graph document,\n"
    "or dot failed; 2 bad arguments; 3 Graphviz's dot is not installed.\n";

void print(std::FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
}

int usage(const QString& problem)
{
    print(stderr, QStringLiteral("zrn-graph: ") + problem + QLatin1Char('\n'));
    std::fputs(kUsageText, stderr);
    return kUsage;
}

// Reads FILE into `graph`; on failure prints why and returns false.
bool load(const QString& path, Graph& graph)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        print(stderr,
              QStringLiteral("zrn-graph: cannot read ") + path + QStringLiteral(": ") + file.errorString()
                  + QLatin1Char('\n'));
        return false;
    }
    // One byte over the limit is enough for the reader to refuse the file.
    const QByteArray document = file.read(qint64(Morvane::Zrn::kMaxGraphDocumentSize) + 1);
    QString error;
    if (!Morvane::Zrn::readGraphDocument(document, graph, &error)) {
        print(stderr, path + QStringLiteral(": ") + error + QLatin1Char('\n'));
        return false;
    }
    return true;
}

QString plural(int count, const char* one, const char* many)
{
    return QString::number(count) + QLatin1Char(' ') + QLatin1String(count == 1 ? one : many);
}

// "5 nodes (2 with children), 6 edges (2 regular, 2 down, 2 up)"
QString summary(const Graph& graph)
{
    int nodes = 0;
    int composite = 0;
    for (int n = 0; n < graph.numNodesGlobal(); ++n) {
        if (!graph.isValidNode(n))
            continue;
        ++nodes;
        if (graph.numNodes(n) > 0)
            ++composite;
    }
    int regular = 0;
    int down = 0;
    int up = 0;
    for (int e = 0; e < graph.numEdgesGlobal(); ++e) {
        regular += graph.isRegularEdge(e) ? 1 : 0;
        down += graph.isDownEdge(e) ? 1 : 0;
        up += graph.isUpEdge(e) ? 1 : 0;
    }
    return plural(nodes, "node", "nodes") + QStringLiteral(" (") + QString::number(composite)
        + QStringLiteral(" with children), ") + plural(regular + down + up, "edge", "edges") + QStringLiteral(" (")
        + QString::number(regular) + QStringLiteral(" regular, ") + QString::number(down) + QStringLiteral(" down, ")
        + QString::number(up) + QStringLiteral(" up)");
}

int check(const QString& path)
{
    Graph graph;
    if (!load(path, graph))
        return kInvalid;
    print(stdout, path + QStringLiteral(": valid graph document, ") + summary(graph) + QLatin1Char('\n'));
    return kDone;
}

int dot(const QString& path)
{
    Graph graph;
    if (!load(path, graph))
        return kInvalid;
    print(stdout, Morvane::Zrn::graphPicture(graph));
    return kDone;
}

int svg(const QString& path, const QString& out)
{
    Graph graph;
    if (!load(path, graph))
        return kInvalid;
    const QString program = QStandardPaths::findExecutable(QStringLiteral("dot"));
    if (program.isEmpty()) {
        print(stderr,
              QStringLiteral("zrn-graph: Graphviz's dot program is not installed (no 'dot' on the PATH); "
                             "install Graphviz, or print the picture with 'zrn-graph dot ")
                  + path + QStringLiteral("' and draw it elsewhere\n"));
        return kNoDot;
    }
    QProcess process;
    process.start(program, {QStringLiteral("-Tsvg"), QStringLiteral("-o"), out});
    if (!process.waitForStarted()) {
        print(stderr, QStringLiteral("zrn-graph: cannot run ") + program + QLatin1Char('\n'));
        return kInvalid;
    }
    process.write(Morvane::Zrn::graphPicture(graph).toUtf8());
    process.closeWriteChannel();
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        print(stderr,
              QStringLiteral("zrn-graph: dot could not write ") + out + QStringLiteral(": ")
                  + QString::fromLocal8Bit(process.readAllStandardError()).trimmed() + QLatin1Char('\n'));
        return kInvalid;
    }
    print(stdout, QStringLiteral("wrote ") + out + QLatin1Char('\n'));
    return kDone;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = QCoreApplication::arguments();
    args.removeFirst();

    if (args.isEmpty())
        return usage(QStringLiteral("no command given"));
    const QString command = args.takeFirst();
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        if (!args.isEmpty())
            return usage(QStringLiteral("--help takes no arguments"));
        std::fputs(kHelpText, stdout);
        std::fputs(kUsageText, stdout);
        return kDone;
    }
    const int wanted = command == QLatin1String("check") || command == QLatin1String("dot") ? 1
        : command == QLatin1String("svg")                                                   ? 2
                                                                                            : -1;
    if (wanted < 0)
        return usage(QStringLiteral("unknown command '") + command + QLatin1Char('\''));
    if (args.size() != wanted)
        return usage(QLatin1Char('\'') + command + QStringLiteral("' takes ") + QString::number(wanted)
                     + (wanted == 1 ? QStringLiteral(" argument, not ") : QStringLiteral(" arguments, not "))
                     + QString::number(args.size()));
    if (command == QLatin1String("check"))
        return check(args.at(0));
    if (command == QLatin1String("dot"))
        return dot(args.at(0));
    return svg(args.at(0), args.at(1));
}
