// The conversion tables hosts may index themselves, and the selector over them. Each table has
// a second half of the same shape, taken when source and destination sizes differ.
#include "ozmu.h"

namespace {

constexpr int kRgbColumns = 11;
constexpr int kRgbHalfRows = 6;
constexpr int kYuvColumns = 3;
constexpr int kYuvHalfRows = 8;

int rgb_row(int cs)
{
    switch (cs) {
    case OZMU_CS_R8G8B8: return 0;
    case OZMU_CS_R8G8B8A8: return 1;
    case OZMU_CS_YUV444: return 2;
    case OZMU_CS_YUV444A8: return 3;
    case OZMU_CS_P410: return 4;
    case OZMU_CS_R10G10B10: return 5;
    default: return -1;
    }
}

// Column 9 has no identifier; column 7 (RGB888X) is null in every row.
int rgb_column(int cs)
{
    switch (cs) {
    case OZMU_CS_RGB888: return 0;
    case OZMU_CS_RGBA8888: return 1;
    case OZMU_CS_RGB565: return 2;
    case OZMU_CS_RGBA5658: return 3;
    case OZMU_CS_RGB565A8: return 4;
    case OZMU_CS_ARGB8888: return 5;
    case OZMU_CS_BGRA8888: return 6;
    case OZMU_CS_RGB888X: return 7;
    case OZMU_CS_R8G8B8: return 8;
    case OZMU_CS_R10G10B10: return 10;
    default: return -1;
    }
}

int yuv_row(int cs)
{
    switch (cs) {
    case OZMU_CS_R8G8B8: return 0;
    case OZMU_CS_R8G8B8A8: return 1;
    case OZMU_CS_YUV444: return 2;
    case OZMU_CS_YUV444A8: return 3;
    case OZMU_CS_RGB565: return 4;
    case OZMU_CS_R10G10B10: return 5;
    case OZMU_CS_RGB888: return 6;
    case OZMU_CS_RGBA8888: return 7;
    default: return -1;
    }
}

int yuv_column(int cs)
{
    switch (cs) {
    case OZMU_CS_YUV444: return 0;
    case OZMU_CS_YUV444A8: return 1;
    case OZMU_CS_P410: return 2;
    default: return -1;
    }
}

ozmu_fn_csc cell(const ozmu_fn_csc *table, int columns, int half_rows, int row, int column,
                 bool scaled)
{
    if (row < 0 || column < 0)
        return nullptr;
    return table[(row + (scaled ? half_rows : 0)) * columns + column];
}

}  // namespace

extern "C" {

#define K(name) ozmu_csc_##name

// Two cells hold what callers have always found there: r8g8b8a8 to rgba5658 is the rgba8888
// kernel, and r10g10b10 to r10g10b10 is the conversion to p410.
// clang-format off
const ozmu_fn_csc ozmu_tbl_fn_csc_to_rgb[2 * kRgbHalfRows * kRgbColumns] = {
    // rgb888, rgba8888, rgb565, rgba5658, rgb565a8, argb8888, bgra8888, rgb888x, r8g8b8, -,
    // r10g10b10
    K(r8g8b8_to_rgb888), K(r8g8b8_to_rgba8888), K(r8g8b8_to_rgb565), nullptr,
    K(x8y8z8_to_xyz565a8), K(r8g8b8_to_argb8888), K(r8g8b8_to_bgra8888), nullptr, nullptr,
    nullptr, nullptr,
    // r8g8b8a8
    nullptr, K(r8g8b8a8_to_rgba8888), nullptr, K(r8g8b8a8_to_rgba8888),
    K(x8y8z8a8_to_xyz565a8), K(r8g8b8a8_to_argb8888), K(r8g8b8a8_to_bgra8888), nullptr, nullptr,
    nullptr, nullptr,
    // yuv444
    K(yuv444_to_rgb888), K(yuv444_to_rgba8888), K(yuv444_to_rgb565), nullptr,
    K(yuv444_to_rgb565a8), K(yuv444_to_argb8888), K(yuv444_to_bgra8888), nullptr,
    K(yuv444_to_r8g8b8), nullptr, nullptr,
    // yuv444a8
    nullptr, K(yuv444a8_to_rgba8888), nullptr, K(yuv444a8_to_rgba5658), K(yuv444a8_to_rgb565a8),
    K(yuv444a8_to_argb8888), K(yuv444a8_to_bgra8888), nullptr, nullptr, nullptr, nullptr,
    // p410
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    K(p410_to_r10g10b10),
    // r10g10b10
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    K(r10g10b10_to_p410),

    // Differing sizes: r8g8b8
    K(rsz_r8g8b8_to_rgb888), K(rsz_r8g8b8_to_rgba8888), nullptr, nullptr, nullptr, nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr,
    // r8g8b8a8
    nullptr, K(rsz_r8g8b8a8_to_rgba8888), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    nullptr, nullptr, nullptr,
    // yuv444
    K(rsz_yuv444_to_rgb888), K(rsz_yuv444_to_rgba8888), K(rsz_yuv444_to_rgb565), nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    // yuv444a8
    nullptr, K(rsz_yuv444a8_to_rgba8888), nullptr, nullptr, K(rsz_yuv444a8_to_rgb565a8), nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr,
    // p410, r10g10b10: none
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    nullptr,
};

// No scaling kernel produces YUV: the second half is all null.
const ozmu_fn_csc ozmu_tbl_fn_csc_to_yuvplanar[2 * kYuvHalfRows * kYuvColumns] = {
    // yuv444, yuv444a8, p410
    K(r8g8b8_to_yuv444), nullptr, nullptr,                     // r8g8b8
    nullptr, K(r8g8b8a8_to_yuv444a8), nullptr,                 // r8g8b8a8
    K(yuv444x_to_yuv444x), nullptr, nullptr,                   // yuv444
    K(yuv444x_to_yuv444x), K(yuv444x_to_yuv444x), nullptr,     // yuv444a8
    K(rgb565_to_yuv444), nullptr, nullptr,                     // rgb565
    nullptr, nullptr, K(r10g10b10_to_p410),                    // r10g10b10
    K(rgb888_to_yuv444), nullptr, nullptr,                     // rgb888
    nullptr, K(rgba8888_to_yuv444a8), nullptr,                 // rgba8888
};
// clang-format on

#undef K

ozmu_fn_csc ozmu_imgp_get_fn_csc(int src_w, int src_h, int src_cs, int dst_w, int dst_h, int dst_cs,
                                 int *err)
{
    const bool scaled = src_w != dst_w || src_h != dst_h;
    ozmu_fn_csc fn = nullptr;
    if (dst_cs >= 200 && dst_cs <= 799)
        fn = cell(ozmu_tbl_fn_csc_to_rgb, kRgbColumns, kRgbHalfRows, rgb_row(src_cs),
                  rgb_column(dst_cs), scaled);
    else if (dst_cs >= 10 && dst_cs <= 99)
        fn = cell(ozmu_tbl_fn_csc_to_yuvplanar, kYuvColumns, kYuvHalfRows, yuv_row(src_cs),
                  yuv_column(dst_cs), scaled);
    if (fn == nullptr && err != nullptr)
        *err = OZMU_ERR_UNSUPPORTED_CS;
    return fn;
}

}  // extern "C"
