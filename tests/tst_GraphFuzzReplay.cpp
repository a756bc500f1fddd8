// Replays the graph fuzzer's entry point (fuzz/fuzz_Graph.cpp) on seeded
// pseudo-random inputs, so that every test run exercises it with the
// ordinary compiler, without libFuzzer. A broken invariant becomes a test
// failure naming the seed and the input bytes, which can be handed to the
// fuzzer as a file to reproduce it.

#include "TestSupport.h"
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

// TestSupport.h turns a broken check into a thrown ZrnTest::FuzzFailure.
#include "../fuzz/fuzz_Graph.cpp"

namespace {

using Morvane::Zrn::Graph;

// Runs one input; returns false (after recording a failure) when it broke.
bool replay(const std::vector<std::uint8_t>& bytes, const std::string& label)
{
    return ZrnTest::replayFuzzInput(&LLVMFuzzerTestOneInput, bytes, label);
}

TEST(GraphFuzzReplay, FixedInputsKeepTheInvariants)
{
    EXPECT_TRUE(replay({}, "empty input"));
    EXPECT_TRUE(replay(std::vector<std::uint8_t>(512, 0x00), "all zero"));
    EXPECT_TRUE(replay(std::vector<std::uint8_t>(512, 0xFF), "all 0xff"));
    std::vector<std::uint8_t> counting(1024);
    for (std::size_t i = 0; i < counting.size(); ++i)
        counting[i] = std::uint8_t(i * 7 + i / 3);
    EXPECT_TRUE(replay(counting, "counting"));
}

// The input of one seed. Odd seeds favour the operations that build the
// graph (the low opcodes), so that deeper graphs with many edges are reached.
std::vector<std::uint8_t> seededInput(int seed)
{
    std::mt19937 rng(std::uint32_t(seed) * 2654435761u + 1u);
    std::vector<std::uint8_t> bytes(rng() % 600);
    const bool building = seed % 2 == 1;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = std::uint8_t(building && rng() % 4 == 0 ? rng() % 14 : rng());
    return bytes;
}

constexpr int kSeededInputs = 3000;

TEST(GraphFuzzReplay, SeededRandomInputsKeepTheInvariants)
{
    int failures = 0;
    for (int seed = 0; seed < kSeededInputs && failures < 5; ++seed) {
        if (!replay(seededInput(seed), "seed " + std::to_string(seed)))
            ++failures;
    }
    EXPECT_EQ(failures, 0);
}

// What the seeded inputs reached, counted after every operation: the replay
// above only shows something if the inputs build graphs worth checking.
struct Reach
{
    int inputsWithNesting = 0;     // a live node below a top-level node
    int inputsWithDownEdge = 0;    // a live down edge
    int inputsWithUpEdge = 0;      // a live up edge
    int inputsWithRemovedEdge = 0; // an edge slot marked removed
    int mostLiveEdges = 0;
};

// What one input's graph showed at some point.
struct Seen
{
    bool nesting = false;
    bool downEdge = false;
    bool upEdge = false;
    bool removedEdge = false;
};

void measure(const Graph& g, Seen& seen, int& mostLiveEdges)
{
    int live = 0;
    for (int e = 0; e < g.numEdgesGlobal(); ++e) {
        if (!g.isValidEdge(e)) {
            seen.removedEdge = true;
            continue;
        }
        ++live;
        seen.downEdge = seen.downEdge || g.isDownEdge(e);
        seen.upEdge = seen.upEdge || g.isUpEdge(e);
    }
    if (live > mostLiveEdges)
        mostLiveEdges = live;
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        if (g.isValidNode(n) && g.parentNode(n) > Graph::kRootNodeRef)
            seen.nesting = true;
    }
}

TEST(GraphFuzzReplay, SeededInputsReachNestedGraphsWithEveryEdgeKindAndRemovals)
{
    const QtMessageHandler previous = qInstallMessageHandler(ZrnGraphFuzz::quietMessages);
    Reach reach;
    for (int seed = 0; seed < kSeededInputs; ++seed) {
        const std::vector<std::uint8_t> bytes = seededInput(seed);
        ZrnGraphFuzz::Bytes in(bytes.data(), bytes.size());
        Graph g;
        Seen seen;
        try {
            while (!in.empty()) {
                ZrnGraphFuzz::step(g, in);
                measure(g, seen, reach.mostLiveEdges);
            }
        } catch (const ZrnTest::FuzzFailure&) {
            // Reported by the replay test; only the reach is counted here.
        }
        reach.inputsWithNesting += seen.nesting ? 1 : 0;
        reach.inputsWithDownEdge += seen.downEdge ? 1 : 0;
        reach.inputsWithUpEdge += seen.upEdge ? 1 : 0;
        reach.inputsWithRemovedEdge += seen.removedEdge ? 1 : 0;
    }
    qInstallMessageHandler(previous);

    // At this writing about 2600, 2000, 1950 and 1900 of the 3000 inputs, and
    // 19 live edges at most; a third of the inputs is the floor.
    constexpr int kFloor = kSeededInputs / 3;
    EXPECT_GE(reach.inputsWithNesting, kFloor);
    EXPECT_GE(reach.inputsWithDownEdge, kFloor);
    EXPECT_GE(reach.inputsWithUpEdge, kFloor);
    EXPECT_GE(reach.inputsWithRemovedEdge, kFloor);
    EXPECT_GE(reach.mostLiveEdges, 10);
}

} // namespace
