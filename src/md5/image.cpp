// Image digest: the visible picture, row by row. The digest is defined with one geometry for
// every planar format (8-bit rows, 4:2:0 chroma, no alpha), whatever the format's own chroma
// size or sample width.
#include <cstddef>

#include "ozmu.h"

namespace ozmu::md5 {
namespace {

void hash_rows(ozmu_md5_ctx *ctx, const void *plane, int stride, int first, int end, int bytes)
{
    if (bytes <= 0 || !plane)  // a one-plane format's chroma pointers are null
        return;
    const auto *base = static_cast<const uint8_t *>(plane);
    for (int r = first; r < end; ++r)
        ozmu_md5_update(ctx, base + ptrdiff_t{r} * stride, unsigned(bytes));
}

}  // namespace
}  // namespace ozmu::md5

extern "C" int ozmu_md5_imgb(const ozmu_imgb *img, uint8_t digest[16])
{
    using ozmu::md5::hash_rows;
    if (img->cs < 10 || img->cs > 99)
        return OZMU_ERR_UNSUPPORTED_CS;
    ozmu_md5_ctx ctx{};
    ozmu_md5_init(&ctx);
    // x only shortens rows; y skips rows (and half as many chroma rows). Widened so that no
    // picture size overflows.
    const int64_t width = img->width, x = img->x;
    const int luma_bytes = int(width - x), chroma_bytes = int((width + 1 - x) >> 1);
    hash_rows(&ctx, img->plane[0], img->stride[0], img->y, img->height, luma_bytes);
    if (img->cs != OZMU_CS_YUV400) {
        const int chroma_end = int((int64_t{img->height} + 1) >> 1);
        for (int i = 1; i <= 2; ++i)
            hash_rows(&ctx, img->plane[i], img->stride[i], img->y >> 1, chroma_end, chroma_bytes);
    }
    ozmu_md5_finish(&ctx, digest);
    return OZMU_OK;
}
