// The six vectorised conversions to interleaved RGB: the portable reference (ozmu::ref), the NEON
// version (ozmu::neon, called directly on AArch64) and the x86-64 versions (ozmu::ssse3,
// ozmu::avx2, ozmu::avx512, reached through the family table built once from the tiers in use).
// Both follow the same addressing contract, which differs from the portable members': a whole pixel
// is written from one start address, taken from the dst[] slot that dst_cs selects, rows step by
// dst_stride[0], and every source plane (alpha included) steps by src_stride[0].
#pragma once
#include <cstdint>

#include "core/dispatch.h"
#include "csc/csc.h"

// The members, once: X(name) for each.
#define OZMU_CSC_VECTOR_LIST(X)                                                                    \
    X(r8g8b8_to_rgb888)                                                                            \
    X(r8g8b8_to_rgba8888)                                                                          \
    X(r8g8b8a8_to_rgba8888)                                                                        \
    X(yuv444_to_rgb888)                                                                            \
    X(yuv444_to_rgba8888)                                                                          \
    X(yuv444a8_to_rgba8888)

#define OZMU_CSC_DECLARE_ONE(name) void name(OZMU_CSC_PARAMS);
#define OZMU_DECLARE_CSC_VECTOR_KERNELS OZMU_CSC_VECTOR_LIST(OZMU_CSC_DECLARE_ONE)

namespace ozmu {

namespace ref {
OZMU_DECLARE_CSC_VECTOR_KERNELS
}
#if OZMU_HAVE_NEON
namespace neon {
OZMU_DECLARE_CSC_VECTOR_KERNELS
}
#endif
#if OZMU_HAVE_X86_TIERS
namespace ssse3 {
OZMU_DECLARE_CSC_VECTOR_KERNELS
}
namespace avx2 {
OZMU_DECLARE_CSC_VECTOR_KERNELS
}
namespace avx512 {
OZMU_DECLARE_CSC_VECTOR_KERNELS
}
#endif

namespace csc {

// The family table: one entry per member.
#define OZMU_CSC_TABLE_ENTRY(name) void (*name)(OZMU_CSC_PARAMS);
struct VectorTable {
    OZMU_CSC_VECTOR_LIST(OZMU_CSC_TABLE_ENTRY)
};

// The table for a set of tiers (0: the reference), and the one the exported functions use.
VectorTable vector_table_for(unsigned tiers);
const VectorTable &vector_table();

}  // namespace csc

namespace csc {

// Byte order of one written pixel. None: the kernel writes nothing for that dst_cs.
enum class PixelOrder : uint8_t { Rgb, Bgr, Rgba, Bgra, Argb, Abgr, None };

// Where a vector kernel writes: the dst[] slot holding the first pixel's address, and the order.
struct PixelTarget {
    int slot;
    PixelOrder order;
};

// Offset of each channel inside a pixel of `bytes` bytes (alpha unused for 3-byte pixels).
struct ChannelOffsets {
    int r, g, b, a, bytes;
};

OZMU_SHARED_INLINE constexpr ChannelOffsets channel_offsets(PixelOrder order)
{
    switch (order) {
    case PixelOrder::Rgb: return {0, 1, 2, 0, 3};
    case PixelOrder::Bgr: return {2, 1, 0, 0, 3};
    case PixelOrder::Rgba: return {0, 1, 2, 3, 4};
    case PixelOrder::Bgra: return {2, 1, 0, 3, 4};
    case PixelOrder::Argb: return {1, 2, 3, 0, 4};
    case PixelOrder::Abgr: return {3, 2, 1, 0, 4};
    case PixelOrder::None: break;
    }
    return {0, 0, 0, 0, 0};
}

// The mode dst_cs - 500 is compared rather than computed, so no dst_cs can overflow it.

// yuv444 to 3-byte pixels: 401 swaps to B, G, R from dst[2].
OZMU_SHARED_INLINE constexpr PixelTarget yuv_rgb888_target(int dst_cs)
{
    return dst_cs == OZMU_CS_RGB888X ? PixelTarget{2, PixelOrder::Bgr}
                                     : PixelTarget{0, PixelOrder::Rgb};
}

// yuv444(a8) to 4-byte pixels: mode 1 post-alpha swapped from dst[2]; 2 and 4+ alpha first
// from dst[3]; 3 alpha first swapped from dst[3]; everything else (negative modes) as mode 0.
OZMU_SHARED_INLINE constexpr PixelTarget yuv_rgba_target(int dst_cs)
{
    if (dst_cs == 501)
        return {2, PixelOrder::Bgra};
    if (dst_cs == 503)
        return {3, PixelOrder::Abgr};
    if (dst_cs >= 502)
        return {3, PixelOrder::Argb};
    return {0, PixelOrder::Rgba};
}

// r8g8b8 to 3-byte pixels: only 400 keeps R, G, B order; any other value is B, G, R from dst[2].
OZMU_SHARED_INLINE constexpr PixelTarget planar_rgb888_target(int dst_cs)
{
    return dst_cs == OZMU_CS_RGB888 ? PixelTarget{0, PixelOrder::Rgb}
                                    : PixelTarget{2, PixelOrder::Bgr};
}

// r8g8b8(a8) to 4-byte pixels: mode 0 R, G, B, A from dst[0]; any other mode below 2 B, G, R, A
// from dst[2]; 2 A, R, G, B and 3+ A, B, G, R from dst[3]. With an alpha plane the alpha-first
// modes have no usable destination (their start address would come from the int src_cs), so
// they write nothing.
OZMU_SHARED_INLINE constexpr PixelTarget planar_rgba_target(int dst_cs, bool alpha_plane)
{
    if (dst_cs == 500)
        return {0, PixelOrder::Rgba};
    if (dst_cs < 502)
        return {2, PixelOrder::Bgra};
    if (alpha_plane)
        return {0, PixelOrder::None};
    return dst_cs == 502 ? PixelTarget{3, PixelOrder::Argb} : PixelTarget{3, PixelOrder::Abgr};
}

// Pixels a YUV row converts: a width of 0 still takes the 1-3 pixel tail with three pixels.
// Negative widths convert nothing.
OZMU_SHARED_INLINE constexpr int yuv_row_pixels(int src_w)
{
    return src_w == 0 ? 3 : src_w < 0 ? 0 : src_w;
}

}  // namespace csc
}  // namespace ozmu
