// Bit-count helpers shared by the log2 functions and the bitstream reader and writer.
#pragma once
#include <array>
#include <bit>
#include <cstdint>

namespace ozmu {

// Leading zero bits of a 4-bit nibble.
inline constexpr uint8_t kNibbleLeadingZeros[16] = {4, 3, 2, 2, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0};

// The defining count: walks the nibbles from the top, summing table entries up to the first
// non-zero nibble; a zero word counts 32.
constexpr int nibble_leading_zeros(uint32_t code)
{
    if (code == 0)
        return 32;
    int zeros = 0;
    for (int shift = 28;; shift -= 4) {
        const uint32_t nibble = (code >> shift) & 0xFu;
        zeros += kNibbleLeadingZeros[nibble];
        if (nibble)
            return zeros;
    }
}

// Same count, one instruction where the processor has it.
constexpr int leading_zeros(uint32_t code) { return std::countl_zero(code); }

// Length in bits of the order-0 Exp-Golomb code whose value plus one is i: 1 for i = 0 and 1,
// then 2 * floor(log2 i) + 1.
inline constexpr std::array<uint8_t, 256> kExpGolombLengths = [] {
    std::array<uint8_t, 256> lengths{};
    lengths[0] = 1;
    for (int i = 1; i < 256; ++i)
        lengths[i] =
            static_cast<uint8_t>(2 * (31 - nibble_leading_zeros(static_cast<uint32_t>(i))) + 1);
    return lengths;
}();

}  // namespace ozmu
