// What every fuzz target shares: a failed check traps (libFuzzer and the replay both report it
// with a stack), and the input is consumed as a stream of bytes that reads as zeros past its end.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ozmu::fuzz {

inline void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

struct Input {
    const uint8_t *data;
    size_t size, pos = 0;
    bool done() const { return pos >= size; }
    uint8_t byte() { return pos < size ? data[pos++] : 0; }
    // lo .. hi, from one byte (so ranges wider than 256 values are covered sparsely).
    int pick(int lo, int hi) { return lo + byte() % (hi - lo + 1); }
    uint32_t u32()
    {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i)
            v = v << 8 | byte();
        return v;
    }
    // Up to n bytes of what follows (fewer at the end of the input).
    std::vector<uint8_t> bytes(int n)
    {
        const size_t k = std::min(static_cast<size_t>(std::max(n, 0)), size - std::min(pos, size));
        std::vector<uint8_t> out(data + pos, data + pos + k);
        pos += k;
        return out;
    }
};

}  // namespace ozmu::fuzz
