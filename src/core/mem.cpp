// Fill and copy routines: the portable reference, written as the bytes each routine leaves
// behind, and the exported entry points.
#include "core/mem.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "ozmu.h"

namespace ozmu::ref {
namespace {

void fill_bytes(uint8_t *dst, int value, int64_t n)
{
    for (int64_t i = 0; i < n; ++i)
        dst[i] = static_cast<uint8_t>(value);
}

void copy_bytes(uint8_t *dst, const uint8_t *src, int64_t n)
{
    for (int64_t i = 0; i < n; ++i)
        dst[i] = src[i];
}

// Bytes a picture run of n bytes moves in 64-byte steps: the first step is unconditional,
// later ones are taken while at least 64 bytes remain.
int64_t stepped_bytes(int64_t n) { return std::max<int64_t>(64, n / 64 * 64); }

// Bytes the 16-bit picture copy moves for a run of n bytes. Its tail loop counts bytes but moves
// a sample per count, so a tail of r bytes moves 2r; a row tail of exactly 32 bytes is taken as
// one 32-byte copy instead.
int64_t pic16_run_bytes(int64_t n, bool row)
{
    const int64_t stepped = stepped_bytes(n);
    const int64_t tail = n - stepped;
    if (tail <= 0)
        return stepped;
    return stepped + (row && tail == 32 ? 32 : 2 * tail);
}

// Block copy of sample_bytes-byte samples (strides in samples). A height that is not a whole
// number of steps finishes its last step; the 16-bit wide loop drifts right row by row.
void copy_blocks(void *dst, const void *src, int dst_stride, int src_stride, int width, int height,
                 int sample_bytes)
{
    auto *d = static_cast<uint8_t *>(dst);
    const auto *s = static_cast<const uint8_t *>(src);
    const mem::BlockShape shape = mem::block_shape(width);
    const ptrdiff_t drift = shape.wide && sample_bytes == 2 ? mem::kBlock16WideRowDrift : 0;
    const ptrdiff_t dst_step = ptrdiff_t{dst_stride} * sample_bytes + drift;
    const ptrdiff_t src_step = ptrdiff_t{src_stride} * sample_bytes + drift;
    for (int y = 0; y < height; y += shape.rows_per_step)
        for (int r = y; r < y + shape.rows_per_step; ++r)
            copy_bytes(d + dst_step * r, s + src_step * r, sample_bytes * shape.row_samples);
}

}  // namespace

void mset_x128(void *dst, int value, int n)
{
    fill_bytes(static_cast<uint8_t *>(dst), value, mem::whole_chunks_at_least_one(n, 128));
}

void mset_x64(void *dst, int value, int64_t n)
{
    fill_bytes(static_cast<uint8_t *>(dst), value, std::max<int64_t>(0, n >> 7) * 128);
}

void mset_x64a(void *dst, int value, int64_t n)
{
    fill_bytes(static_cast<uint8_t *>(dst), value & 0xFF, n);
}

void mset_x32(void *dst, int value, int n)
{
    fill_bytes(static_cast<uint8_t *>(dst), value, std::max(0, n >> 5) * int64_t{32});
}

void mset_x32ax4(void *dst, int value, int n)
{
    // The first 32-byte chunk is stored before the count is looked at.
    fill_bytes(static_cast<uint8_t *>(dst), value, std::max(n, 32));
}

void mclr_x64(void *dst, int n)
{
    fill_bytes(static_cast<uint8_t *>(dst), 0, mem::whole_chunks_at_least_one(n, 64));
}

void mset16(void *dst, int value, int n)
{
    // Each stage leaves as soon as the count reaches zero, but the single-sample tail stores
    // before it counts, so a count that starts at zero or below still stores three samples.
    const int samples = n >= 1 ? n : 3;
    const auto sample = static_cast<uint16_t>(value);
    auto *out = static_cast<uint8_t *>(dst);
    for (int i = 0; i < samples; ++i)
        std::memcpy(out + 2 * static_cast<ptrdiff_t>(i), &sample, 2);
}

void mcpy_pic(void *dst, const void *src, int dst_stride, int src_stride, int width, int height)
{
    auto *d = static_cast<uint8_t *>(dst);
    const auto *s = static_cast<const uint8_t *>(src);
    if (height <= 0)
        return;
    if (width == dst_stride && width == src_stride) {
        copy_bytes(d, s, std::max<int64_t>(64, int64_t{width} * height));
        return;
    }
    for (int y = 0; y < height; ++y)
        copy_bytes(d + ptrdiff_t{dst_stride} * y, s + ptrdiff_t{src_stride} * y,
                   std::max(64, width));
}

void mcpy_pic_16(void *dst, const void *src, int dst_stride, int src_stride, int width, int height)
{
    auto *d = static_cast<uint8_t *>(dst);
    const auto *s = static_cast<const uint8_t *>(src);
    if (height <= 0)
        return;
    if (width == dst_stride && width == src_stride) {
        copy_bytes(d, s, pic16_run_bytes(2 * int64_t{width} * height, false));
        return;
    }
    const int64_t row_bytes = pic16_run_bytes(2 * int64_t{width}, true);
    for (int y = 0; y < height; ++y)
        copy_bytes(d + 2 * ptrdiff_t{dst_stride} * y, s + 2 * ptrdiff_t{src_stride} * y, row_bytes);
}

void mcpy_blk(void *dst, const void *src, int dst_stride, int src_stride, int width, int height)
{
    copy_blocks(dst, src, dst_stride, src_stride, width, height, 1);
}

void mcpy_blk_16(void *dst, const void *src, int dst_stride, int src_stride, int width, int height)
{
    copy_blocks(dst, src, dst_stride, src_stride, width, height, 2);
}

}  // namespace ozmu::ref

namespace {
#if OZMU_HAVE_SSE2
namespace impl = ozmu::sse2;
#else
namespace impl = ozmu::OZMU_NATIVE;
#endif
}  // namespace

extern "C" {

void ozmu_mset_x128(void *dst, int value, int n) { impl::mset_x128(dst, value, n); }
void ozmu_mset_x64(void *dst, int value, int64_t n) { impl::mset_x64(dst, value, n); }
void ozmu_mset_x64a(void *dst, int value, int64_t n) { impl::mset_x64a(dst, value, n); }
void ozmu_mset_x32(void *dst, int value, int n) { impl::mset_x32(dst, value, n); }
void ozmu_mset_x32ax4(void *dst, int value, int n) { impl::mset_x32ax4(dst, value, n); }
void ozmu_mclr_x64(void *dst, int n) { impl::mclr_x64(dst, n); }
void ozmu_mset16(void *dst, int value, int n) { impl::mset16(dst, value, n); }

void ozmu_mcpy_pic(void *dst, const void *src, int dst_stride, int src_stride, int width,
                   int height)
{
    impl::mcpy_pic(dst, src, dst_stride, src_stride, width, height);
}

void ozmu_mcpy_pic_16(void *dst, const void *src, int dst_stride, int src_stride, int width,
                      int height)
{
    impl::mcpy_pic_16(dst, src, dst_stride, src_stride, width, height);
}

void ozmu_mcpy_blk(void *dst, const void *src, int dst_stride, int src_stride, int width,
                   int height)
{
    impl::mcpy_blk(dst, src, dst_stride, src_stride, width, height);
}

void ozmu_mcpy_blk_16(void *dst, const void *src, int dst_stride, int src_stride, int width,
                      int height)
{
    impl::mcpy_blk_16(dst, src, dst_stride, src_stride, width, height);
}

}  // extern "C"
