// Fill and copy routines: the portable reference (ozmu::ref) and the vector versions
// (ozmu::neon on AArch64, ozmu::sse2 on x86-64). Every version makes exactly the same writes and
// touches no byte the reference does not, over-writes included: callers depend on them.
#pragma once
#include <cstdint>

#include "core/dispatch.h"

#define OZMU_DECLARE_MEM_KERNELS                                                                   \
    void mset_x128(void *dst, int value, int n);                                                   \
    void mset_x64(void *dst, int value, int64_t n);                                                \
    void mset_x64a(void *dst, int value, int64_t n);                                               \
    void mset_x32(void *dst, int value, int n);                                                    \
    void mset_x32ax4(void *dst, int value, int n);                                                 \
    void mclr_x64(void *dst, int n);                                                               \
    void mset16(void *dst, int value, int n);                                                      \
    void mcpy_pic(void *dst, const void *src, int dst_stride, int src_stride, int width,           \
                  int height);                                                                     \
    void mcpy_pic_16(void *dst, const void *src, int dst_stride, int src_stride, int width,        \
                     int height);                                                                  \
    void mcpy_blk(void *dst, const void *src, int dst_stride, int src_stride, int width,           \
                  int height);                                                                     \
    void mcpy_blk_16(void *dst, const void *src, int dst_stride, int src_stride, int width,        \
                     int height);

namespace ozmu {

namespace ref {
OZMU_DECLARE_MEM_KERNELS
}
#if OZMU_HAVE_NEON
namespace neon {
OZMU_DECLARE_MEM_KERNELS
}
#endif
#if OZMU_HAVE_SSE2
namespace sse2 {
OZMU_DECLARE_MEM_KERNELS
}
#endif

namespace mem {

// Row geometry of the block copies: bytes moved per row and rows per loop step, by width.
struct BlockShape {
    int row_samples;
    int rows_per_step;
    bool wide;  // the 64-sample loop taken by every width outside the table
};

constexpr BlockShape block_shape(int width)
{
    switch (width) {
    case 2:
    case 4:
    case 6:
    case 8:
    case 12:
    case 48: return {width, 2, false};
    case 16:
    case 24:
    case 32: return {width, 4, false};
    default: return {64, 2, true};
    }
}

// The 64-sample loop of the 16-bit block copy advances each row by the stride plus this many
// bytes, so every row lands 24 samples right of where the stride alone would put it.
inline constexpr int kBlock16WideRowDrift = 48;

// Bytes a fill of whole `step`-byte chunks writes for a count of n: one chunk up front, then
// another while the count stays above zero (so at least one chunk, whatever n is).
constexpr int64_t whole_chunks_at_least_one(int64_t n, int step)
{
    return n <= step ? step : (n + step - 1) / step * step;
}

// The picture copies prefetch this far ahead of the source.
inline constexpr int kPrefetchDistance = 192;

}  // namespace mem
}  // namespace ozmu
