#include "core/bits.h"

#include "ozmu.h"

static_assert(ozmu::nibble_leading_zeros(1) == 31 && ozmu::nibble_leading_zeros(0x80000000u) == 0 &&
              ozmu::nibble_leading_zeros(0x00010000u) == 15 && ozmu::nibble_leading_zeros(0) == 32);
static_assert(ozmu::kExpGolombLengths[1] == 1 && ozmu::kExpGolombLengths[3] == 3 &&
              ozmu::kExpGolombLengths[128] == 15 && ozmu::kExpGolombLengths[255] == 15);

extern "C" {

int ozmu_bsr_clz_in_code(uint32_t code) { return ozmu::leading_zeros(code); }

int ozmu_floor_log2(uint32_t x) { return 31 - ozmu::leading_zeros(x); }

int ozmu_ceil_log2(uint32_t x)
{
    const int zeros = ozmu::leading_zeros(x);
    const int floor_log2 = 31 - zeros;
    // For x == 0 the shift is by 31 (-1 mod 32), the test fails and 32 - 32 gives 0.
    if ((1u << (static_cast<unsigned>(floor_log2) & 31u)) == x)
        return floor_log2;
    return 32 - zeros;
}

}  // extern "C"
