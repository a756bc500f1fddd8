// Replays the renderer fuzzer's entry point (fuzz/fuzz_Renderer.cpp) on its
// seed corpus (fuzz/corpus/fuzz_Renderer) and on seeded pseudo-random
// inputs, so that every test run exercises it with the ordinary compiler,
// without libFuzzer. A broken rule becomes a test failure naming the input,
// which can be handed to the fuzzer as a file to reproduce it.

#include "TestSupport.h"
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

// TestSupport.h turns a broken check into a thrown ZrnTest::FuzzFailure.
#include "../fuzz/fuzz_Renderer.cpp"

namespace {

// Runs one input; returns false (after recording a failure) when it broke.
bool replay(const std::vector<std::uint8_t>& bytes, const std::string& label)
{
    if (ZrnTest::replayFuzzInput(&LLVMFuzzerTestOneInput, bytes, label))
        return true;
    ZrnRendererFuzz::callLog().clear();
    return false;
}

TEST(RendererFuzzReplay, FixedInputsKeepTheRules)
{
    EXPECT_TRUE(replay({}, "empty input"));
    EXPECT_TRUE(replay(std::vector<std::uint8_t>(256, 0x00), "all zero"));
    EXPECT_TRUE(replay(std::vector<std::uint8_t>(256, 0xFF), "all 0xff"));
    std::vector<std::uint8_t> counting(512);
    for (std::size_t i = 0; i < counting.size(); ++i)
        counting[i] = std::uint8_t(i * 7 + i / 3);
    EXPECT_TRUE(replay(counting, "counting"));
}

TEST(RendererFuzzReplay, SeedCorpusKeepsTheRules)
{
    const std::vector<ZrnTest::CorpusFile> files = ZrnTest::readCorpus(QStringLiteral(ZRNCORE_RENDERER_FUZZ_CORPUS));
    // The corpus holds the inputs that found something, and a spread of
    // graphs; an empty folder would make this test pass on nothing.
    ASSERT_GE(files.size(), 10u) << "corpus " << ZRNCORE_RENDERER_FUZZ_CORPUS;
    for (const ZrnTest::CorpusFile& file : files)
        EXPECT_TRUE(replay(file.bytes, file.name.toStdString()));
}

// The input of one seed. Odd seeds favour the operations that wire the
// graph and render (low and high opcodes), so that deeper graphs are drawn.
std::vector<std::uint8_t> seededInput(int seed)
{
    std::mt19937 rng(std::uint32_t(seed) * 2654435761u + 7u);
    std::vector<std::uint8_t> bytes(100 + rng() % 400);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = std::uint8_t(rng());
    return bytes;
}

constexpr int kSeededInputs = 1500;

TEST(RendererFuzzReplay, SeededRandomInputsKeepTheRules)
{
    int failures = 0;
    for (int seed = 0; seed < kSeededInputs && failures < 5; ++seed) {
        if (!replay(seededInput(seed), "seed " + std::to_string(seed)))
            ++failures;
    }
    EXPECT_EQ(failures, 0);
}

TEST(RendererFuzzReplay, SeededInputsReachEveryKindOfFrame)
{
    ZrnRendererFuzz::reach() = ZrnRendererFuzz::Reach();
    for (int seed = 0; seed < kSeededInputs; ++seed)
        replay(seededInput(seed), "seed " + std::to_string(seed));
    const ZrnRendererFuzz::Reach reach = ZrnRendererFuzz::reach();

    // Floors well under what the inputs reach at this writing, so that the
    // replay above is known to check frames of every kind.
    EXPECT_GE(reach.frames, kSeededInputs);
    EXPECT_GE(reach.runs, 3 * kSeededInputs);
    EXPECT_GE(reach.failedFrames, kSeededInputs / 10);
    EXPECT_GE(reach.unfinishedPolls, kSeededInputs / 10);
    EXPECT_GE(reach.disabledSkips, kSeededInputs / 10);
    EXPECT_GE(reach.targetReruns, kSeededInputs / 20);
    EXPECT_GE(reach.nestedRuns, kSeededInputs / 2);
    EXPECT_GE(reach.parameterInputs, kSeededInputs / 10);
    EXPECT_GE(reach.upstreamInputs, kSeededInputs / 2);
    EXPECT_GE(reach.copiedOutputs, kSeededInputs / 10);
    EXPECT_GE(reach.invalidTargets, kSeededInputs / 20);
}

} // namespace
