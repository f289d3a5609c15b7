// Frame conversion row reads and stores, the fused packed RGB to I420 / NV12 row pair and the
// fused P010 fast-chroma row with SSSE3 / SSE4.1, 128-bit registers (frame_io_x86.inc has the
// method). Compiled with this tier's flags; every helper stays inside ozmu::ssse3.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

namespace ozmu::ssse3 {
namespace {

// clang-format off
#include "csc/simd/frame_io_x86.inc"
// clang-format on

}  // namespace

void install_frame_io(frame::Table &t)
{
    t.read_u8 = read_u8<Io128>;
    t.read_u16_low10 = read_u16_low10<Io128>;
    t.read_u16_high10 = read_u16_high10<Io128>;
    t.read_pairs_u8 = read_pairs_u8<Io128>;
    t.read_pairs_u16_high10 = read_pairs_u16_high10<Io128>;
    t.store_u8 = store_u8<Io128>;
    t.read_packed = read_packed<Io128>;
    t.rgb_to_y = rgb_to_y<Io128>;
    t.rgb_to_uv = rgb_to_uv<Io128>;
    t.packed_to_yuv420 = packed_to_yuv420<Io128>;
    t.p010_fast_to_packed = p010_fast_to_packed<Io128>;
}

}  // namespace ozmu::ssse3
