// Frame conversion row reads and stores, the fused packed RGB to I420 / NV12 row pair and the
// fused P010 fast-chroma row with AVX-512 (BW), 512-bit registers (frame_io_x86.inc has the
// method). Compiled with this tier's flags; every helper stays inside ozmu::avx512. GCC 12 takes
// the undefined-vector placeholders inside its own AVX-512 intrinsics for uninitialised values.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

namespace ozmu::avx512 {
namespace {

// clang-format off
#include "csc/simd/frame_io_x86.inc"
// clang-format on

}  // namespace

void install_frame_io(frame::Table &t)
{
    t.read_u8 = read_u8<Io512>;
    t.read_u16_low10 = read_u16_low10<Io512>;
    t.read_u16_high10 = read_u16_high10<Io512>;
    t.read_pairs_u8 = read_pairs_u8<Io512>;
    t.read_pairs_u16_high10 = read_pairs_u16_high10<Io512>;
    t.store_u8 = store_u8<Io512>;
    t.read_packed = read_packed<Io512>;
    t.rgb_to_y = rgb_to_y<Io512>;
    t.rgb_to_uv = rgb_to_uv<Io512>;
    t.packed_to_yuv420 = packed_to_yuv420<Io512>;
    t.p010_fast_to_packed = p010_fast_to_packed<Io512>;
}

}  // namespace ozmu::avx512
