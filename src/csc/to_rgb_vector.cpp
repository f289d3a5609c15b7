// Portable reference of the vectorised conversions to interleaved RGB, the family table, and the
// exported entry points (the table on x86-64, NEON directly on AArch64). Pixel by pixel, but
// addressed exactly as the vector code addresses memory: one start slot, rows dst_stride[0] apart,
// every source plane src_stride[0] apart.
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

namespace ozmu::csc {

#define OZMU_CSC_REF_ENTRY(name) ref::name,

VectorTable vector_table_for(unsigned tiers)
{
    static constexpr VectorTable kReference = {OZMU_CSC_VECTOR_LIST(OZMU_CSC_REF_ENTRY)};
#if OZMU_HAVE_X86_TIERS
#define OZMU_CSC_INSTALLER(isa)                                                                    \
    [](VectorTable &t) {                                                                           \
        t.r8g8b8_to_rgb888 = isa::r8g8b8_to_rgb888;                                                \
        t.r8g8b8_to_rgba8888 = isa::r8g8b8_to_rgba8888;                                            \
        t.r8g8b8a8_to_rgba8888 = isa::r8g8b8a8_to_rgba8888;                                        \
        t.yuv444_to_rgb888 = isa::yuv444_to_rgb888;                                                \
        t.yuv444_to_rgba8888 = isa::yuv444_to_rgba8888;                                            \
        t.yuv444a8_to_rgba8888 = isa::yuv444a8_to_rgba8888;                                        \
    }
    static constexpr TierInstaller<VectorTable> kInstallers[] = {
        {cpu::kSsse3, OZMU_CSC_INSTALLER(ssse3)},
        {cpu::kAvx2, OZMU_CSC_INSTALLER(avx2)},
        {cpu::kAvx512, OZMU_CSC_INSTALLER(avx512)},
    };
#undef OZMU_CSC_INSTALLER
    return build_table(kReference, tiers, kInstallers);
#else
    (void)tiers;
    return kReference;
#endif
}

const VectorTable &vector_table() { return ActiveTable<VectorTable, vector_table_for>::get(); }

}  // namespace ozmu::csc

extern "C" {

#if OZMU_HAVE_X86_TIERS
#define OZMU_CSC_VECTOR_EXPORT(name)                                                               \
    void ozmu_csc_##name(OZMU_CSC_PARAMS) { ozmu::csc::vector_table().name(OZMU_CSC_ARGS); }
#else
#define OZMU_CSC_VECTOR_EXPORT(name)                                                               \
    void ozmu_csc_##name(OZMU_CSC_PARAMS) { ozmu::OZMU_NATIVE::name(OZMU_CSC_ARGS); }
#endif

OZMU_CSC_VECTOR_LIST(OZMU_CSC_VECTOR_EXPORT)

}  // extern "C"
