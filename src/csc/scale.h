// Conversion with bilinear scaling: the six vectorised kernels' portable reference (ozmu::ref),
// NEON version (ozmu::neon, called directly) and x86-64 versions (ozmu::ssse3, avx2, avx512,
// through the family table), and the sampling geometry both share with
// the two portable members.
//
// Addressing of the vectorised members: a whole pixel is written from the dst[] slot that dst_cs
// selects, rows step by dst_stride[0], every source plane (alpha included) by src_stride[0].
#pragma once
#include <cstdint>

#include "core/dispatch.h"
#include "csc/csc.h"

// The members, once: X(name) for each.
#define OZMU_CSC_SCALE_LIST(X)                                                                     \
    X(rsz_r8g8b8_to_rgb888)                                                                        \
    X(rsz_r8g8b8_to_rgba8888)                                                                      \
    X(rsz_r8g8b8a8_to_rgba8888)                                                                    \
    X(rsz_yuv444_to_rgb888)                                                                        \
    X(rsz_yuv444_to_rgba8888)                                                                      \
    X(rsz_yuv444a8_to_rgba8888)

#define OZMU_CSC_SCALE_DECLARE_ONE(name) void name(OZMU_CSC_PARAMS);
#define OZMU_DECLARE_CSC_SCALE_KERNELS OZMU_CSC_SCALE_LIST(OZMU_CSC_SCALE_DECLARE_ONE)

namespace ozmu {

namespace ref {
OZMU_DECLARE_CSC_SCALE_KERNELS
}
#if OZMU_HAVE_NEON
namespace neon {
OZMU_DECLARE_CSC_SCALE_KERNELS
}
#endif
#if OZMU_HAVE_X86_TIERS
namespace ssse3 {
OZMU_DECLARE_CSC_SCALE_KERNELS
}
namespace avx2 {
OZMU_DECLARE_CSC_SCALE_KERNELS
}
namespace avx512 {
OZMU_DECLARE_CSC_SCALE_KERNELS
}
#endif

namespace csc {

// The family table: one entry per member.
#define OZMU_CSC_SCALE_TABLE_ENTRY(name) void (*name)(OZMU_CSC_PARAMS);
struct ScaleTable {
    OZMU_CSC_SCALE_LIST(OZMU_CSC_SCALE_TABLE_ENTRY)
};

// The table for a set of tiers (0: the reference), and the one the exported functions use.
ScaleTable scale_table_for(unsigned tiers);
const ScaleTable &scale_table();

}  // namespace csc

namespace csc::scaling {

// Where destination pixels sample the source. Position p (14.18) reads samples p >> 18 and the
// next one, both scaled by << shift, with phase (p >> 15) & 7.
struct Walk {
    AxisStep x, y;
    int col_reach;  // columns from left to right sample: 1 << x.shift
    int row_reach;  // rows from top to bottom sample: 1 << y.shift
};

// False when a size is below 1: the kernels then write nothing. A one-column (one-row) source
// walks with step 0 and phase 0, so its right (bottom) neighbour has weight 0; it is taken from
// the same column (row) instead of one past the picture.
bool make_walk(int src_w, int src_h, int dst_w, int dst_h, Walk *walk);

// Pixel layout of the vectorised members, from mode = dst_cs - 500 (compared, never computed,
// so no dst_cs overflows): 501 starts at dst[2], above 501 at dst[3] with alpha first, anything
// else at dst[0]; an odd mode puts B first. Three-byte pixels follow the same slot and order
// rule and have no alpha byte.
struct Target {
    int slot;
    bool b_first;
    bool alpha_first;
};

OZMU_SHARED_INLINE constexpr Target target(int dst_cs)
{
    const bool odd = (static_cast<unsigned>(dst_cs) & 1u) != 0;  // 500 is even
    return {dst_cs == 501 ? 2 : dst_cs > 501 ? 3 : 0, odd, dst_cs > 501};
}

}  // namespace csc::scaling
}  // namespace ozmu
