// The zrn-graph tool, run as a program: its exit codes, what it prints and
// what it writes.

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphDocument.h>
#include <ZrnCore/GraphPicture.h>

#include "GraphvizCheck.h"
#include "TestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#ifndef ZRN_GRAPH_TOOL
#error "ZRN_GRAPH_TOOL must name the zrn-graph program"
#endif

namespace {

using Morvane::Zrn::Graph;

struct ToolRun
{
    int exitCode = -1;
    QString out;
    QString err;
};

ToolRun run(const QStringList& arguments,
            const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(ZRN_GRAPH_TOOL), arguments);
    ToolRun result;
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit) {
        ADD_FAILURE() << "zrn-graph did not finish";
        return result;
    }
    result.exitCode = process.exitCode();
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

const char* const kUsage =
    "usage: zrn-graph check FILE\n"
    "       zrn-graph dot FILE\n"
    "       zrn-graph svg FILE OUT\n"
    "       zrn-graph --help\n";

// Files for the tool: a valid document of a small graph and a broken one.
class ZrnGraphTool : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        graph.setNodeName(Graph::kRootNodeRef, QStringLiteral("scene"));
        graph.addOutput(Graph::kRootNodeRef, QStringLiteral("image"), -1);
        const int a = graph.addNode(QStringLiteral("a"), 0, 1, Graph::kRootNodeRef);
        const int b = graph.addNode(QStringLiteral("b"), 1, 1, Graph::kRootNodeRef);
        const int c = graph.addNode(QStringLiteral("c"), 1, 1, b);
        graph.addEdge(a, 0, b, 0);
        graph.addDownEdge(0, c, 0);
        graph.addUpEdge(0, c, 0);
        graph.addUpEdge(0, b, 0);
        valid = write(QStringLiteral("valid.json"), Morvane::Zrn::writeGraphDocument(graph));
        QByteArray broken = Morvane::Zrn::writeGraphDocument(graph);
        broken.replace("\"node\": 3", "\"node\": 40");
        invalid = write(QStringLiteral("invalid.json"), broken);
    }

    QString write(const QString& name, const QByteArray& bytes)
    {
        const QString path = dir.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }

    QTemporaryDir dir;
    Graph graph;
    QString valid;
    QString invalid;
};

TEST_F(ZrnGraphTool, CheckSummarisesAValidDocument)
{
    const ToolRun r = run({QStringLiteral("check"), valid});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out,
              valid
                  + QStringLiteral(": valid graph document, 4 nodes (2 with children), "
                                   "4 edges (1 regular, 1 down, 2 up)\n"));
    EXPECT_EQ(r.err, QString());
}

TEST_F(ZrnGraphTool, CheckSaysWhatIsWrongAndWhere)
{
    const ToolRun r = run({QStringLiteral("check"), invalid});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, QString());
    EXPECT_EQ(r.err, invalid + QStringLiteral(": edges[1].dst: node 40 does not exist\n"));
}

TEST_F(ZrnGraphTool, CheckOfAMissingFileFails)
{
    const QString missing = dir.filePath(QStringLiteral("missing.json"));
    const ToolRun r = run({QStringLiteral("check"), missing});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err,
              QStringLiteral("zrn-graph: cannot read ") + missing + QStringLiteral(": No such file or directory\n"));
}

TEST_F(ZrnGraphTool, CheckOfGarbageFails)
{
    const QString garbage = write(QStringLiteral("garbage.json"),
                                  QByteArray("\x7f"
                                             "ELF\x01\x02",
                                             6));
    const ToolRun r = run({QStringLiteral("check"), garbage});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, garbage + QStringLiteral(": document: not JSON: a value is not valid\n"));
}

TEST_F(ZrnGraphTool, DotPrintsTheHierarchyPicture)
{
    const ToolRun r = run({QStringLiteral("dot"), valid});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, Morvane::Zrn::graphPicture(graph));
    EXPECT_EQ(r.err, QString());
    EXPECT_DOT_ACCEPTS(r.out);
}

TEST_F(ZrnGraphTool, DotOfAnInvalidDocumentFails)
{
    const ToolRun r = run({QStringLiteral("dot"), invalid});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, QString());
    EXPECT_EQ(r.err, invalid + QStringLiteral(": edges[1].dst: node 40 does not exist\n"));
}

TEST_F(ZrnGraphTool, SvgWritesThePicture)
{
    if (!ZrnTest::haveDot())
        GTEST_SKIP() << "Graphviz's dot is not installed; scripts/test.sh installs it";
    const QString out = dir.filePath(QStringLiteral("graph.svg"));
    const ToolRun r = run({QStringLiteral("svg"), valid, out});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, QStringLiteral("wrote ") + out + QLatin1Char('\n'));
    EXPECT_EQ(r.err, QString());
    QFile file(out);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray svg = file.readAll();
    EXPECT_TRUE(svg.contains("<svg"));
    EXPECT_TRUE(svg.contains("scene"));
}

TEST_F(ZrnGraphTool, SvgSaysClearlyWhenDotIsMissing)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"), dir.path()); // holds no dot
    const QString out = dir.filePath(QStringLiteral("graph.svg"));
    const ToolRun r = run({QStringLiteral("svg"), valid, out}, environment);
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_EQ(r.out, QString());
    EXPECT_EQ(r.err,
              QStringLiteral("zrn-graph: Graphviz's dot program is not installed (no 'dot' on the PATH); "
                             "install Graphviz, or print the picture with 'zrn-graph dot ")
                  + valid + QStringLiteral("' and draw it elsewhere\n"));
    EXPECT_FALSE(QFile::exists(out));
}

TEST_F(ZrnGraphTool, SvgOfAnInvalidDocumentWritesNothing)
{
    const QString out = dir.filePath(QStringLiteral("graph.svg"));
    const ToolRun r = run({QStringLiteral("svg"), invalid, out});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, invalid + QStringLiteral(": edges[1].dst: node 40 does not exist\n"));
    EXPECT_FALSE(QFile::exists(out));
}

TEST(ZrnGraphToolArguments, HelpPrintsHelpAndUsage)
{
    for (const char* flag : {"--help", "-h"}) {
        const ToolRun r = run({QString::fromLatin1(flag)});
        EXPECT_EQ(r.exitCode, 0) << flag;
        EXPECT_TRUE(r.out.startsWith(QStringLiteral("zrn-graph reads a graph document"))) << flag;
        EXPECT_TRUE(r.out.contains(QStringLiteral("3 Graphviz's dot is not installed.\n"))) << flag;
        EXPECT_TRUE(r.out.endsWith(QString::fromLatin1(kUsage))) << flag;
        EXPECT_EQ(r.err, QString()) << flag;
    }
}

struct BadArguments
{
    const char* label;
    QStringList arguments;
    const char* problem;
};

std::ostream& operator<<(std::ostream& os, const BadArguments& row)
{
    return os << row.label;
}

class ZrnGraphToolBadArguments : public testing::TestWithParam<BadArguments>
{
};

TEST_P(ZrnGraphToolBadArguments, GiveUsageAndExitCode2)
{
    const ToolRun r = run(GetParam().arguments);
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.out, QString());
    EXPECT_EQ(r.err,
              QStringLiteral("zrn-graph: ") + QString::fromUtf8(GetParam().problem) + QLatin1Char('\n')
                  + QString::fromLatin1(kUsage));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ZrnGraphToolBadArguments,
    testing::Values(
        BadArguments{"none", {}, "no command given"},
        BadArguments{"unknown_command", {QStringLiteral("draw"), QStringLiteral("x")}, "unknown command 'draw'"},
        BadArguments{"check_without_file", {QStringLiteral("check")}, "'check' takes 1 argument, not 0"},
        BadArguments{"check_two_files",
                     {QStringLiteral("check"), QStringLiteral("a"), QStringLiteral("b")},
                     "'check' takes 1 argument, not 2"},
        BadArguments{"dot_without_file", {QStringLiteral("dot")}, "'dot' takes 1 argument, not 0"},
        BadArguments{"svg_without_out", {QStringLiteral("svg"), QStringLiteral("a")}, "'svg' takes 2 arguments, not 1"},
        BadArguments{"help_with_argument",
                     {QStringLiteral("--help"), QStringLiteral("check")},
                     "--help takes no arguments"}),
    [](const testing::TestParamInfo<BadArguments>& info) { return std::string(info.param.label); });

} // namespace
