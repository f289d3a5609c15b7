// Portable reference of the vectorised conversions to interleaved RGB, and their exported entry
// points. Pixel by pixel, but addressed exactly as the vector code addresses memory: one start
// slot, rows dst_stride[0] apart, every source plane src_stride[0] apart.
#include "csc/to_rgb_vector.h"

#include <cstddef>

#include "ozmu.h"

namespace ozmu::ref {
namespace {

using namespace ozmu::csc;

struct Rgba8 {
    uint8_t r, g, b, a;
};

// Writes width x height pixels; fetch(rows, x) gives pixel x from the first `planes` source
// planes, each pointed at the current row.
template <int Planes, class Fetch>
void write_pixels(uint8_t *const src[4], int src_stride, int width, int height,
                  uint8_t *const dst[4], int dst_stride, PixelTarget target, Fetch fetch)
{
    if (height < 1 || width < 1 || target.order == PixelOrder::None)
        return;
    const ChannelOffsets at = channel_offsets(target.order);
    for (int y = 0; y < height; ++y) {
        const uint8_t *rows[Planes];
        for (int k = 0; k < Planes; ++k)
            rows[k] = src[k] + ptrdiff_t{src_stride} * y;
        uint8_t *out = dst[target.slot] + ptrdiff_t{dst_stride} * y;
        for (int x = 0; x < width; ++x, out += at.bytes) {
            const Rgba8 p = fetch(rows, x);
            out[at.r] = p.r;
            out[at.g] = p.g;
            out[at.b] = p.b;
            if (at.bytes == 4)
                out[at.a] = p.a;
        }
    }
}

Rgba8 yuv_pixel(const uint8_t *const rows[], int x, uint8_t alpha)
{
    const Rgb8 c = yuv_to_rgb(rows[0][x], rows[1][x], rows[2][x]);
    return {c.r, c.g, c.b, alpha};
}

constexpr auto kYuvOpaque = [](const uint8_t *const rows[], int x) {
    return yuv_pixel(rows, x, 255);
};
constexpr auto kYuvAlpha = [](const uint8_t *const rows[], int x) {
    return yuv_pixel(rows, x, rows[3][x]);
};
constexpr auto kRgbOpaque = [](const uint8_t *const rows[], int x) {
    return Rgba8{rows[0][x], rows[1][x], rows[2][x], 255};
};
constexpr auto kRgbAlpha = [](const uint8_t *const rows[], int x) {
    return Rgba8{rows[0][x], rows[1][x], rows[2][x], rows[3][x]};
};

}  // namespace

void r8g8b8_to_rgb888(OZMU_CSC_PARAMS)
{
    write_pixels<3>(src, src_stride[0], src_w, src_h, dst, dst_stride[0],
                    planar_rgb888_target(dst_cs), kRgbOpaque);
}

void r8g8b8_to_rgba8888(OZMU_CSC_PARAMS)
{
    write_pixels<3>(src, src_stride[0], src_w, src_h, dst, dst_stride[0],
                    planar_rgba_target(dst_cs, false), kRgbOpaque);
}

void r8g8b8a8_to_rgba8888(OZMU_CSC_PARAMS)
{
    write_pixels<4>(src, src_stride[0], src_w, src_h, dst, dst_stride[0],
                    planar_rgba_target(dst_cs, true), kRgbAlpha);
}

void yuv444_to_rgb888(OZMU_CSC_PARAMS)
{
    write_pixels<3>(src, src_stride[0], yuv_row_pixels(src_w), src_h, dst, dst_stride[0],
                    yuv_rgb888_target(dst_cs), kYuvOpaque);
}

void yuv444_to_rgba8888(OZMU_CSC_PARAMS)
{
    write_pixels<3>(src, src_stride[0], yuv_row_pixels(src_w), src_h, dst, dst_stride[0],
                    yuv_rgba_target(dst_cs), kYuvOpaque);
}

void yuv444a8_to_rgba8888(OZMU_CSC_PARAMS)
{
    write_pixels<4>(src, src_stride[0], yuv_row_pixels(src_w), src_h, dst, dst_stride[0],
                    yuv_rgba_target(dst_cs), kYuvAlpha);
}

}  // namespace ozmu::ref

extern "C" {

#define OZMU_CSC_VECTOR_EXPORT(name)                                                               \
    void ozmu_csc_##name(OZMU_CSC_PARAMS) { ozmu::OZMU_NATIVE::name(OZMU_CSC_ARGS); }

OZMU_CSC_VECTOR_EXPORT(r8g8b8_to_rgb888)
OZMU_CSC_VECTOR_EXPORT(r8g8b8_to_rgba8888)
OZMU_CSC_VECTOR_EXPORT(r8g8b8a8_to_rgba8888)
OZMU_CSC_VECTOR_EXPORT(yuv444_to_rgb888)
OZMU_CSC_VECTOR_EXPORT(yuv444_to_rgba8888)
OZMU_CSC_VECTOR_EXPORT(yuv444a8_to_rgba8888)

}  // extern "C"
