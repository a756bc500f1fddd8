// Replays the renderer fuzzer's entry point (fuzz/fuzz_Renderer.cpp) on its
// seed corpus (fuzz/corpus/fuzz_Renderer) and on seeded pseudo-random
// inputs, so that every test run exercises it with the ordinary compiler,
// without libFuzzer. A broken rule becomes a test failure naming the input,
// which can be handed to the fuzzer as a file to reproduce it.

#include "TestSupport.h"
#include <gtest/gtest.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cstdint>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct FuzzFailure : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

} // namespace

#define ZRN_FUZZ_FAIL(what) throw FuzzFailure(std::string(__FILE__) + ":" + std::to_string(__LINE__) + ": " + (what))
#include "../fuzz/fuzz_Renderer.cpp"

namespace {

// Runs one input; returns false (after recording a failure) when it broke.
bool replay(const std::vector<std::uint8_t>& bytes, const std::string& label)
{
    try {
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    } catch (const FuzzFailure& failure) {
        ZrnRendererFuzz::callLog().clear();
        ADD_FAILURE() << label << ": " << failure.what() << "\n  input (" << bytes.size()
                      << " bytes, hex): " << ZrnTest::hex(bytes);
        return false;
    }
    return true;
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
    const QDir corpus(QStringLiteral(ZRNCORE_RENDERER_FUZZ_CORPUS));
    const QFileInfoList files = corpus.entryInfoList(QDir::Files, QDir::Name);
    // The corpus holds the inputs that found something, and a spread of
    // graphs; an empty folder would make this test pass on nothing.
    ASSERT_GE(files.size(), 10) << "corpus " << ZRNCORE_RENDERER_FUZZ_CORPUS;
    for (const QFileInfo& info : files) {
        QFile file(info.filePath());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << info.filePath().toStdString();
        const QByteArray data = file.readAll();
        const std::vector<std::uint8_t> bytes(data.begin(), data.end());
        EXPECT_TRUE(replay(bytes, info.fileName().toStdString()));
    }
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
