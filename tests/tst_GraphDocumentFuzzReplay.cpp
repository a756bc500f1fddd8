// Replays the graph document fuzzer's entry point (fuzz/fuzz_GraphDocument.cpp)
// on its seed corpus and on seeded variations of it, so that every test run
// exercises it with the ordinary compiler, without libFuzzer. A broken check
// becomes a test failure naming the input.

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphDocument.h>

#include "TestSupport.h"

#include <QtCore/QDir>
#include <QtCore/QStringList>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#ifndef ZRN_GRAPH_DOCUMENT_CORPUS
#error "ZRN_GRAPH_DOCUMENT_CORPUS must name fuzz/corpus/GraphDocument"
#endif

// TestSupport.h turns a broken check into a thrown ZrnTest::FuzzFailure.
#include "../fuzz/fuzz_GraphDocument.cpp"

namespace {

using Morvane::Zrn::Graph;

QDir corpus()
{
    return QDir(QStringLiteral(ZRN_GRAPH_DOCUMENT_CORPUS));
}

QByteArray contents(const QString& name)
{
    const std::vector<std::uint8_t> bytes = ZrnTest::readCorpusFile(corpus().path(), name);
    return QByteArray(reinterpret_cast<const char*>(bytes.data()), int(bytes.size()));
}

// Runs one input; returns false (after recording a failure) when it broke.
bool replay(const QByteArray& bytes, const std::string& label)
{
    return ZrnTest::replayFuzzInput(&LLVMFuzzerTestOneInput, std::vector<std::uint8_t>(bytes.begin(), bytes.end()),
                                    label);
}

const QStringList kCorpus = {
    QStringLiteral("invalid-children-order.json"), QStringLiteral("invalid-cycle.json"),
    QStringLiteral("invalid-edge-kind.json"),      QStringLiteral("invalid-occupied-input.json"),
    QStringLiteral("invalid-truncated.json"),      QStringLiteral("valid-chain.json"),
    QStringLiteral("valid-nested.json"),           QStringLiteral("valid-no-nodes.json"),
    QStringLiteral("valid-root-only.json"),
};

TEST(GraphDocumentFuzzReplay, TheSeedCorpusReadsAsItsNamesSay)
{
    EXPECT_EQ(corpus().entryList(QDir::Files, QDir::Name), kCorpus);
    const QStringList refusals = {
        QStringLiteral("nodes[0].children[0]: must be node 1, not 2; children are listed in the order of their nodes"),
        QStringLiteral("edges[3]: an edge from node 2 to node 1 would close a cycle"),
        QStringLiteral("edges[1].kind: nodes 2 and 3 are not siblings, so the edge cannot be \"regular\""),
        QStringLiteral("edges[5].dst: input 0 of node 2 is already fed by edges[0]"),
        QStringLiteral("document: not JSON: a string is not closed"),
    };
    const int numNodes[] = {4, 5, 1, 1};
    for (int i = 0; i < kCorpus.size(); ++i) {
        SCOPED_TRACE(kCorpus.at(i).toStdString());
        Graph graph;
        QString error;
        const bool read = Morvane::Zrn::readGraphDocument(contents(kCorpus.at(i)), graph, &error);
        if (i < refusals.size()) {
            EXPECT_FALSE(read);
            EXPECT_EQ(error, refusals.at(i));
        } else {
            EXPECT_TRUE(read) << error.toStdString();
            EXPECT_EQ(graph.numNodesGlobal(), numNodes[i - refusals.size()]);
        }
    }
}

TEST(GraphDocumentFuzzReplay, TheSeedCorpusKeepsTheChecks)
{
    for (const QString& name : kCorpus)
        EXPECT_TRUE(replay(contents(name), name.toStdString()));
    EXPECT_TRUE(replay(QByteArray(), "empty input"));
    EXPECT_TRUE(replay(QByteArray(4096, '\xff'), "all 0xff"));
}

// Variations of a seed: bytes changed, cut out, repeated, or a number or a
// token put in, a few at a time.
QByteArray vary(QByteArray bytes, std::mt19937& rng)
{
    static const char* const tokens[] = {"-1",          "0",          "1",     "2",          "40",     "\"\"",
                                         "null",        "[]",         "{}",    ",",          "\"up\"", "\"down\"",
                                         "\"regular\"", "2147483648", "1e300", "\"\\u0000\""};
    const int changes = 1 + int(rng() % 4);
    for (int c = 0; c < changes && !bytes.isEmpty(); ++c) {
        const int at = int(rng() % unsigned(bytes.size()));
        const int length = 1 + int(rng() % 16);
        switch (rng() % 5) {
        case 0: bytes[at] = char(rng()); break;
        case 1: bytes.remove(at, length); break;
        case 2: bytes.insert(at, bytes.mid(at, length)); break;
        case 3: bytes.insert(at, tokens[rng() % (sizeof tokens / sizeof *tokens)]); break;
        default:
            // A digit replaced by another keeps the document well-formed
            // and moves a reference.
            for (int i = at; i < bytes.size(); ++i) {
                if (bytes[i] >= '0' && bytes[i] <= '9') {
                    bytes[i] = char('0' + rng() % 10);
                    break;
                }
            }
            break;
        }
    }
    return bytes;
}

constexpr int kVariationsPerSeed = 400;

TEST(GraphDocumentFuzzReplay, VariationsOfTheCorpusKeepTheChecks)
{
    int accepted = 0;
    int refused = 0;
    for (const QString& name : kCorpus) {
        const QByteArray seed = contents(name);
        std::mt19937 rng(std::uint32_t(qHash(name)));
        for (int v = 0; v < kVariationsPerSeed; ++v) {
            const QByteArray input = vary(seed, rng);
            if (!replay(input, name.toStdString() + " variation " + std::to_string(v)))
                return;
            Graph graph;
            if (Morvane::Zrn::readGraphDocument(input, graph))
                ++accepted;
            else
                ++refused;
        }
    }
    // Both ways out of the reader are taken, many times each.
    EXPECT_EQ(accepted + refused, kCorpus.size() * kVariationsPerSeed);
    EXPECT_GE(accepted, 100);
    EXPECT_GE(refused, 1000);
}

} // namespace
