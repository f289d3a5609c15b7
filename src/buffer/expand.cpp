// Border expansion: fills each plane's padding by repeating its edge samples, first sideways
// row by row, then whole padded rows upwards and downwards (so the corners follow).
#include <cstdint>
#include <cstring>

#include "ozmu.h"

namespace {

struct ExpandLayout {
    int planes;
    int sample_bytes;
    int chroma_shift_x;  // chroma width is (w + (1 << shift) - 1) >> shift
    int chroma_shift_y;
};

// Formats the expansion knows; false for everything else, packed formats included.
bool expand_layout(int cs, ExpandLayout *out)
{
    switch (cs) {
    case OZMU_CS_YUV400: *out = {1, 1, 0, 0}; return true;
    case OZMU_CS_YUV420: *out = {3, 1, 1, 1}; return true;
    case OZMU_CS_YUV422: *out = {3, 1, 1, 0}; return true;
    case OZMU_CS_YUV444: *out = {3, 1, 0, 0}; return true;
    case OZMU_CS_YUV440: *out = {3, 1, 0, 1}; return true;
    case OZMU_CS_YUV411: *out = {3, 1, 2, 0}; return true;
    case OZMU_CS_YUV420A8: *out = {4, 1, 1, 1}; return true;
    case OZMU_CS_YUV422A8: *out = {4, 1, 1, 0}; return true;
    case OZMU_CS_YUV444A8: *out = {4, 1, 0, 0}; return true;
    case OZMU_CS_YUV440A8: *out = {4, 1, 0, 1}; return true;
    case OZMU_CS_YUV400_16: *out = {1, 2, 0, 0}; return true;
    case OZMU_CS_P010:
    case OZMU_CS_P010X: *out = {3, 2, 1, 1}; return true;
    case OZMU_CS_P210:
    case OZMU_CS_P210X: *out = {3, 2, 1, 0}; return true;
    case OZMU_CS_P410: *out = {3, 2, 0, 0}; return true;
    default: return false;
    }
}

int subsampled(int size, int shift) { return (size + (1 << shift) - 1) >> shift; }

}  // namespace

extern "C" {

void ozmu_imgb_expand_hor(const void *src, void *dst, int len, int count)
{
    if (len <= 0)
        return;
    auto *out = static_cast<uint8_t *>(dst);
    for (int i = 0; i < count; ++i, out += len)
        std::memcpy(out, src, static_cast<size_t>(len));
}

void ozmu_imgb_expand_ver(const uint8_t *src, uint8_t *dst, int rows, int stride, int count)
{
    if (count <= 0)
        return;
    for (int y = 0; y < rows; ++y, src += stride, dst += stride)
        std::memset(dst, *src, static_cast<size_t>(count));
}

void ozmu_imgb_expand_ver_16(const uint16_t *src, uint16_t *dst, int rows, int stride, int count)
{
    // ozmu_mset16 writes three samples when asked for none: an empty border stays untouched.
    if (count <= 0)
        return;
    const ptrdiff_t step = (stride + 1) & ~1;
    auto *in = reinterpret_cast<const uint8_t *>(src);
    auto *out = reinterpret_cast<uint8_t *>(dst);
    for (int y = 0; y < rows; ++y, in += step, out += step) {
        uint16_t value;
        std::memcpy(&value, in, sizeof value);
        ozmu_mset16(out, value, count);
    }
}

int ozmu_imgb_expand(ozmu_imgb *img, const uint32_t *pad)
{
    ExpandLayout layout;
    if (!expand_layout(img->cs, &layout))
        return OZMU_ERR_UNSUPPORTED_CS;

    const int b = layout.sample_bytes;
    for (int i = 0; i < layout.planes; ++i) {
        const bool chroma = i == 1 || i == 2;
        const int w =
            chroma ? subsampled(img->aligned_width, layout.chroma_shift_x) : img->aligned_width;
        const int h =
            chroma ? subsampled(img->aligned_height, layout.chroma_shift_y) : img->aligned_height;
        const int s = img->stride[i];
        const int ph = static_cast<int>(pad[i] >> 16);
        const int pv = static_cast<int>(pad[i] & 0xFFFFu);
        auto *a = static_cast<uint8_t *>(img->plane[i]);

        // The left border starts pv samples out although it is ph samples long: callers pad
        // squarely, and the pairing is kept for the ones that do not.
        uint8_t *left = a - static_cast<ptrdiff_t>(pv) * b;
        const uint8_t *last = a + static_cast<ptrdiff_t>(w - 1) * b;
        if (b == 1) {
            ozmu_imgb_expand_ver(a, left, h, s, ph);
            ozmu_imgb_expand_ver(last, a + w, h, s, ph);
        } else {
            ozmu_imgb_expand_ver_16(reinterpret_cast<const uint16_t *>(a),
                                    reinterpret_cast<uint16_t *>(left), h, s, ph);
            ozmu_imgb_expand_ver_16(reinterpret_cast<const uint16_t *>(last),
                                    reinterpret_cast<uint16_t *>(a + static_cast<ptrdiff_t>(w) * b),
                                    h, s, ph);
        }

        if (pv) {
            // Whole padded rows, so the corners take the corner samples.
            uint8_t *first_row = a - static_cast<ptrdiff_t>(ph) * b;
            uint8_t *last_row = first_row + static_cast<ptrdiff_t>(h - 1) * s;
            ozmu_imgb_expand_hor(first_row, first_row - static_cast<ptrdiff_t>(pv) * s, s, pv);
            ozmu_imgb_expand_hor(last_row, last_row + s, s, pv);
        }
    }
    return OZMU_OK;
}

}  // extern "C"
