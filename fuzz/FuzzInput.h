#ifndef ZRNCORE_FUZZ_FUZZINPUT_H
#define ZRNCORE_FUZZ_FUZZINPUT_H

// What every fuzz target shares: the cursor over its input bytes, and how a
// broken check is reported.
//
// A target defines ZRN_FUZZ_NAME (e.g. "graph fuzz") before it includes this
// header. Under libFuzzer a broken ZRN_FUZZ_CHECK prints
// "<name>: broken at <file>:<line>: <check>" and aborts; a test that replays
// the target defines ZRN_FUZZ_FAIL beforehand (tests/TestSupport.h) to make
// it a test failure instead.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#ifndef ZRN_FUZZ_FAIL
#define ZRN_FUZZ_FAIL(what) \
    (std::fprintf(stderr, "%s: broken at %s:%d: %s\n", ZRN_FUZZ_NAME, __FILE__, __LINE__, what), std::abort())
#endif
#define ZRN_FUZZ_CHECK(condition)      \
    do {                               \
        if (!(condition))              \
            ZRN_FUZZ_FAIL(#condition); \
    } while (false)

namespace ZrnFuzz {

// The input bytes, read front to back. Past the end every byte reads as 0,
// so a target draws as many choices as it likes and stops when empty().
class FuzzInput
{
public:
    FuzzInput(const std::uint8_t* data, std::size_t size)
        : m_data(data)
        , m_size(size)
    {
    }

    bool empty() const { return m_pos >= m_size; }
    // The number of bytes of the whole input.
    std::size_t size() const { return m_size; }
    unsigned next() { return m_pos < m_size ? m_data[m_pos++] : 0u; }
    // An index below `count` drawn from the next byte, or `none`, without
    // reading a byte, when `count` is not positive.
    int below(int count, int none) { return count > 0 ? int(next() % unsigned(count)) : none; }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_pos = 0;
};

} // namespace ZrnFuzz

#endif // ZRNCORE_FUZZ_FUZZINPUT_H
