// Replays the graph fuzzer's entry point (fuzz/fuzz_Graph.cpp) on seeded
// pseudo-random inputs, so that every test run exercises it with the
// ordinary compiler, without libFuzzer. A broken invariant becomes a test
// failure naming the seed and the input bytes, which can be handed to the
// fuzzer as a file to reproduce it.

#include <gtest/gtest.h>

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
#include "../fuzz/fuzz_Graph.cpp"

namespace {

std::string hex(const std::vector<std::uint8_t>& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::uint8_t b : bytes) {
        text += digits[b >> 4];
        text += digits[b & 15];
    }
    return text;
}

// Runs one input; returns false (after recording a failure) when it broke.
bool replay(const std::vector<std::uint8_t>& bytes, const std::string& label)
{
    try {
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    } catch (const FuzzFailure& failure) {
        ADD_FAILURE() << label << ": " << failure.what() << "\n  input (" << bytes.size()
                      << " bytes, hex): " << hex(bytes);
        return false;
    }
    return true;
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

TEST(GraphFuzzReplay, SeededRandomInputsKeepTheInvariants)
{
    constexpr int kInputs = 3000;
    int failures = 0;
    for (int seed = 0; seed < kInputs && failures < 5; ++seed) {
        std::mt19937 rng(std::uint32_t(seed) * 2654435761u + 1u);
        std::vector<std::uint8_t> bytes(rng() % 600);
        // Half the inputs favour the operations that build the graph (the
        // low opcodes), so that deeper graphs with many edges are reached.
        const bool building = seed % 2 == 1;
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = std::uint8_t(building && rng() % 4 == 0 ? rng() % 14 : rng());
        if (!replay(bytes, "seed " + std::to_string(seed)))
            ++failures;
    }
    EXPECT_EQ(failures, 0);
}

} // namespace
