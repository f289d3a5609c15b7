// x86-64 scaling conversions, AVX2: groups of 16 pixels, 8 per 128-bit lane (scale_x86.inc has the
// method). Compiled with this tier's flags; every helper stays inside ozmu::avx2.
#include <immintrin.h>

#include <algorithm>
#include <climits>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "csc/scale.h"
#include "csc/to_rgb_vector.h"

namespace ozmu::avx2 {
namespace {
// clang-format off
#include "csc/simd/x86_vec.inc"
#include "csc/simd/to_rgb_x86.inc"
#include "csc/simd/scale_x86.inc"
// clang-format on
}  // namespace

OZMU_CSC_X86_SCALE_MEMBERS(V256)

}  // namespace ozmu::avx2
