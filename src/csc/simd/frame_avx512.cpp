// Frame conversion row kernels, AVX-512 (BW): the fused 4:2:0 to RGBA / BGRA / ARGB rows, 64 pixels
// a step (frame_x86.inc has the method, the chroma and the row loop). Compiled with this tier's
// flags; every helper stays inside ozmu::avx512.

// GCC 12 takes the undefined-vector placeholders inside its own AVX-512 intrinsics for
// uninitialised values once they are inlined into the sanitizer builds' lambdas.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

// GCC 12 reports the intrinsics' own _mm512_undefined_epi32 () as maybe uninitialised.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace ozmu::avx512 {
namespace {

// clang-format off
#include "csc/simd/x86_vec.inc"
// clang-format on
using V = V512;
// clang-format off
#include "csc/simd/frame_x86.inc"
// clang-format on

}  // namespace

void install_frame(frame::Table &t)
{
    t.yuv420_to_rgba = yuv420_to_packed<0, 1, 2, 3>;
    t.yuv420_to_bgra = yuv420_to_packed<2, 1, 0, 3>;
    t.yuv420_to_argb = yuv420_to_packed<3, 0, 1, 2>;
    t.yuv_to_rgba = yuv_to_packed<0, 1, 2, 3>;
    t.yuv_to_bgra = yuv_to_packed<2, 1, 0, 3>;
    t.yuv_to_argb = yuv_to_packed<3, 0, 1, 2>;
}

}  // namespace ozmu::avx512
