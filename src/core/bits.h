// Leading-zero counting shared by the log2 helpers and the bit reader's Exp-Golomb decoding.
#pragma once
#include <cstdint>

namespace ozmu {

// Leading zero bits of a 4-bit nibble.
inline constexpr uint8_t kNibbleLeadingZeros[16] = {4, 3, 2, 2, 1, 1, 1, 1,
                                                   0, 0, 0, 0, 0, 0, 0, 0};

// Walks the nibbles from the top, summing table entries up to the first non-zero nibble.
constexpr int leading_zeros(uint32_t code)
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

}  // namespace ozmu
