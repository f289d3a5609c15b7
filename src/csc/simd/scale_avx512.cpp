// x86-64 scaling conversions, AVX-512BW with VBMI: groups of 32 pixels gathered by vpermb
// (scale_x86.inc has the method). Compiled with this tier's flags; every helper stays inside
// ozmu::avx512.
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

// GCC 12 reports the intrinsics' own _mm512_undefined_epi32 () as maybe uninitialised.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace ozmu::avx512 {
namespace {
// clang-format off
#include "csc/simd/x86_vec.inc"
#include "csc/simd/to_rgb_x86.inc"
#include "csc/simd/scale_x86.inc"
// clang-format on
}  // namespace

OZMU_CSC_X86_SCALE_MEMBERS(V512)

}  // namespace ozmu::avx512
