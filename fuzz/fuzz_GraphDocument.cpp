// Fuzzes the graph document reader: the input bytes are read as a graph
// document into a graph that already holds a small graph.
//
// A refused document must come with a message and leave that graph exactly
// as it was. An accepted one must write a document that reads back into a
// graph writing the very same document (read, write, read, write gives one
// fixed point), and its hierarchy picture must be drawn without trouble.
//
// Built as a libFuzzer target with clang (ZRNCORE_BUILD_FUZZERS=ON); the
// seed corpus is fuzz/corpus/GraphDocument, with fuzz/GraphDocument.dict:
//   mkdir work && ./build-fuzz/fuzz/fuzz_GraphDocument -dict=fuzz/GraphDocument.dict work fuzz/corpus/GraphDocument
// tests/tst_GraphDocumentFuzzReplay.cpp replays the corpus and variations of
// it in every test run, defining ZRN_FUZZ_FAIL to turn a broken check into a
// test failure.

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphDocument.h>
#include <ZrnCore/GraphPicture.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#define ZRN_FUZZ_NAME "graph document fuzz"
#include "FuzzInput.h"

namespace ZrnGraphDocumentFuzz {

using Morvane::Zrn::Graph;

// The graph that a refused document must leave alone: two nodes, one
// nested, with an edge of each kind.
void fill(Graph& graph)
{
    graph.addInput(Graph::kRootNodeRef, QStringLiteral("p"), -1);
    graph.addOutput(Graph::kRootNodeRef, QStringLiteral("o"), -1);
    const int a = graph.addNode(QStringLiteral("a"), 1, 1, Graph::kRootNodeRef);
    const int b = graph.addNode(QStringLiteral("b"), 0, 1, a);
    graph.addDownEdge(0, a, 0);
    graph.addUpEdge(0, b, 0);
    graph.addUpEdge(0, a, 0);
}

} // namespace ZrnGraphDocumentFuzz

// Qt 5's JSON parser leaks a few of its own allocations on some malformed
// input (inside QJsonDocument::fromJson, whose frames the fast unwinder
// cannot see). With Qt 5, leak checking therefore passes over allocations
// made inside the Qt library itself; objects the library allocates directly
// are still checked. With Qt 6 every leak is reported.
extern "C" const char* __lsan_default_suppressions()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    return "leak:libQt5Core.so\n";
#else
    return "";
#endif
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace ZrnGraphDocumentFuzz;
    if (size > std::size_t(Morvane::Zrn::kMaxGraphDocumentSize) + 1)
        return 0;
    const QByteArray input(reinterpret_cast<const char*>(data), int(size));

    Graph graph;
    fill(graph);
    const QByteArray before = Morvane::Zrn::writeGraphDocument(graph);
    QString error;
    if (!Morvane::Zrn::readGraphDocument(input, graph, &error)) {
        ZRN_FUZZ_CHECK(!error.isEmpty());
        ZRN_FUZZ_CHECK(!error.contains(QLatin1Char('\n')) && !error.contains(QLatin1Char('\r')));
        ZRN_FUZZ_CHECK(Morvane::Zrn::writeGraphDocument(graph) == before);
        return 0;
    }
    ZRN_FUZZ_CHECK(error.isEmpty());

    const QByteArray written = Morvane::Zrn::writeGraphDocument(graph);
    Graph again;
    ZRN_FUZZ_CHECK(Morvane::Zrn::readGraphDocument(written, again, &error));
    ZRN_FUZZ_CHECK(Morvane::Zrn::writeGraphDocument(again) == written);
    ZRN_FUZZ_CHECK(again.numNodesGlobal() == graph.numNodesGlobal());
    ZRN_FUZZ_CHECK(again.numEdgesGlobal() == graph.numEdgesGlobal());

    const QString picture = Morvane::Zrn::graphPicture(again);
    ZRN_FUZZ_CHECK(picture.startsWith(QLatin1String("digraph \"zrn\" {\n")));
    ZRN_FUZZ_CHECK(picture.endsWith(QLatin1String("}\n")));
    return 0;
}
