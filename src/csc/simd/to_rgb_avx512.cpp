// x86-64 conversions to interleaved RGB, AVX-512BW (and VBMI for the 3-byte stores): 64 pixels a
// step, then 16 (to_rgb_x86.inc has the method and the arithmetic). Compiled with this tier's
// flags; every helper stays inside ozmu::avx512.
#include <immintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "csc/to_rgb_vector.h"

// GCC 12 reports the intrinsics' own _mm512_undefined_epi32 () as maybe uninitialised.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace ozmu::avx512 {
namespace {
// clang-format off
#include "csc/simd/x86_vec.inc"
#include "csc/simd/to_rgb_x86.inc"
// clang-format on
}  // namespace

OZMU_CSC_X86_TO_RGB_MEMBERS(V512)

}  // namespace ozmu::avx512
