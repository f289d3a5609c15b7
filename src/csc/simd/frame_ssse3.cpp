// Frame conversion row kernels, SSSE3 / SSE4.1: the fused 4:2:0 to RGBA / BGRA / ARGB rows, 16 pixels
// a step (frame_x86.inc has the method, the chroma and the row loop). Compiled with this tier's
// flags; every helper stays inside ozmu::ssse3.
#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

namespace ozmu::ssse3 {
namespace {

// clang-format off
#include "csc/simd/x86_vec.inc"
// clang-format on
using V = V128;
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

}  // namespace ozmu::ssse3
