// x86-64 conversions to interleaved RGB, SSSE3: 16 pixels a step (to_rgb_x86.inc has the method and
// the arithmetic). Compiled with this tier's flags; every helper stays inside ozmu::ssse3.
#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "csc/to_rgb_vector.h"

namespace ozmu::ssse3 {
namespace {
// clang-format off
#include "csc/simd/x86_vec.inc"
#include "csc/simd/to_rgb_x86.inc"
// clang-format on
}  // namespace

OZMU_CSC_X86_TO_RGB_MEMBERS(V128)

}  // namespace ozmu::ssse3
