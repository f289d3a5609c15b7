// Portable conversions to planar YUV (8-bit from planar, interleaved and 5-6-5 RGB; 10-bit
// 4:4:4 to and from 10-bit planar RGB), the 10-bit 4:2:0 reduction and the 4:4:4 copy.
// Every plane uses its own stride; 16-bit planes advance by stride >> 1 samples.
#include <algorithm>
#include <cstring>

#include "csc/csc.h"
#include "csc/portable.h"
#include "ozmu.h"

namespace {

using namespace ozmu::csc;

struct Yuv {
    int y, u, v;
};

// Full-range BT.601 in 8.8 fixed point. Y cannot exceed 255; U and V reach 256 for pure blue
// and pure red and are held at 255.
constexpr Yuv rgb_to_yuv(int r, int g, int b)
{
    return {(77 * r + 150 * g + 29 * b + 128) >> 8,
            std::min(((-43 * r - 85 * g + 128 * b + 128) >> 8) + 128, 255),
            std::min(((128 * r - 107 * g - 21 * b + 128) >> 8) + 128, 255)};
}

struct YuvPlanes {
    Bytes<> y, u, v;

    YuvPlanes(uint8_t *const dst[4], const int stride[4])
        : y(bytes_at(dst[0], stride[0])), u(bytes_at(dst[1], stride[1])),
          v(bytes_at(dst[2], stride[2]))
    {
    }
    void seek_row(int row) { y.seek_row(row), u.seek_row(row), v.seek_row(row); }
    void put(int x, Yuv p) const { y.put(x, p.y), u.put(x, p.u), v.put(x, p.v); }
};

template <typename Source>
void to_yuv444(Source source, int w, int h, uint8_t *const dst[4], const int dst_stride[4])
{
    YuvPlanes out(dst, dst_stride);
    for_each_pixel(
        w, h,
        [&](int x) {
            const Rgb8 c = source.at(x);
            out.put(x, rgb_to_yuv(c.r, c.g, c.b));
        },
        source, out);
}

// As to_yuv444, with the alpha byte of plane 3 copied to destination plane 3.
template <int PixelBytes>
void to_yuv444a8(uint8_t *const src[4], const int src_stride[4], int w, int h,
                 uint8_t *const dst[4], const int dst_stride[4])
{
    RgbSource<PixelBytes> source(src, src_stride);
    auto alpha_in = bytes_at<PixelBytes>(src[3], src_stride[3]);
    YuvPlanes out(dst, dst_stride);
    auto alpha_out = bytes_at(dst[3], dst_stride[3]);
    for_each_pixel(
        w, h,
        [&](int x) {
            const Rgb8 c = source.at(x);
            out.put(x, rgb_to_yuv(c.r, c.g, c.b));
            alpha_out.put(x, alpha_in.get(x));
        },
        source, alpha_in, out, alpha_out);
}

constexpr int limit_10bit(int value) { return std::min(value, 1023); }

// Byte planes copied row by row.
void copy_plane(const uint8_t *src, int src_stride, uint8_t *dst, int dst_stride, int w, int h)
{
    if (w < 1)
        return;
    for (int y = 0; y < h; ++y)
        std::memcpy(dst + ptrdiff_t{dst_stride} * y, src + ptrdiff_t{src_stride} * y,
                    static_cast<size_t>(w));
}

// 16-bit samples to bytes by a right shift of 2, the low 8 bits kept.
void reduce_plane(uint8_t *src, int src_stride, uint8_t *dst, int dst_stride, int w, int h)
{
    auto in = words_at(src, src_stride);
    auto out = bytes_at(dst, dst_stride);
    for_each_pixel(
        w, h, [&](int x) { out.put(x, (in.get(x) >> 2) & 0xFF); }, in, out);
}

}  // namespace

extern "C" {

void ozmu_csc_r8g8b8_to_yuv444(OZMU_CSC_PARAMS)
{
    to_yuv444(RgbSource<>(src, src_stride), src_w, src_h, dst, dst_stride);
}

void ozmu_csc_rgb888_to_yuv444(OZMU_CSC_PARAMS)
{
    to_yuv444(RgbSource<3>(src, src_stride), src_w, src_h, dst, dst_stride);
}

void ozmu_csc_rgba8888_to_yuv444a8(OZMU_CSC_PARAMS)
{
    to_yuv444a8<4>(src, src_stride, src_w, src_h, dst, dst_stride);
}

void ozmu_csc_r8g8b8a8_to_yuv444a8(OZMU_CSC_PARAMS)
{
    to_yuv444a8<1>(src, src_stride, src_w, src_h, dst, dst_stride);
}

// Fields are widened by shifting alone; U and V then stay below 253 and need no limit.
void ozmu_csc_rgb565_to_yuv444(OZMU_CSC_PARAMS)
{
    auto in = words_at(src[0], src_stride[0]);
    YuvPlanes out(dst, dst_stride);
    for_each_pixel(
        src_w, src_h,
        [&](int x) {
            const int p = in.get(x);
            out.put(x, rgb_to_yuv((p >> 8) & 0xF8, (p >> 3) & 0xFC, (p & 31) << 3));
        },
        in, out);
}

// The 8-bit weights times four, 10 fractional bits.
void ozmu_csc_p410_to_r10g10b10(OZMU_CSC_PARAMS)
{
    auto y = words_at(src[0], src_stride[0]);
    auto u = words_at(src[1], src_stride[1]);
    auto v = words_at(src[2], src_stride[2]);
    auto r = words_at(dst[0], dst_stride[0]);
    auto g = words_at(dst[1], dst_stride[1]);
    auto b = words_at(dst[2], dst_stride[2]);
    const auto store = [](const Words &plane, int x, int value) {
        plane.put(x, std::max(limit_10bit(value), 0));
    };
    for_each_pixel(
        src_w, src_h,
        [&](int x) {
            const int luma = y.get(x), cu = u.get(x) - 512, cv = v.get(x) - 512;
            store(r, x, luma + ((1436 * cv + 512) >> 10));
            store(g, x, luma - ((352 * cu + 732 * cv + 512) >> 10));
            store(b, x, luma + ((1816 * cu + 512) >> 10));
        },
        y, u, v, r, g, b);
}

// The chroma limit applies before the offset: saturated blue or red gives U or V = 1024.
void ozmu_csc_r10g10b10_to_p410(OZMU_CSC_PARAMS)
{
    auto r = words_at(src[0], src_stride[0]);
    auto g = words_at(src[1], src_stride[1]);
    auto b = words_at(src[2], src_stride[2]);
    auto y = words_at(dst[0], dst_stride[0]);
    auto u = words_at(dst[1], dst_stride[1]);
    auto v = words_at(dst[2], dst_stride[2]);
    const auto chroma = [](int value) { return std::max(limit_10bit(value) + 512, 0); };
    for_each_pixel(
        src_w, src_h,
        [&](int x) {
            const int cr = r.get(x), cg = g.get(x), cb = b.get(x);
            y.put(x, limit_10bit((308 * cr + 600 * cg + 116 * cb + 512) >> 10));
            u.put(x, chroma((-172 * cr - 340 * cg + 512 * cb + 512) >> 10));
            v.put(x, chroma((512 * cr - 428 * cg - 84 * cb + 512) >> 10));
        },
        r, g, b, y, u, v);
}

void ozmu_csc_p010_to_yuv420(OZMU_CSC_PARAMS)
{
    if (src_h < 1)
        return;
    reduce_plane(src[0], src_stride[0], dst[0], dst_stride[0], src_w, src_h);
    for (int k = 1; k < 3; ++k)
        reduce_plane(src[k], src_stride[k], dst[k], dst_stride[k], src_w >> 1, src_h >> 1);
}

// Plane 3 follows only into a destination that has one.
void ozmu_csc_yuv444x_to_yuv444x(OZMU_CSC_PARAMS)
{
    if (src_h < 1)
        return;
    const int planes = src[3] != nullptr && dst_cs == OZMU_CS_YUV444A8 ? 4 : 3;
    for (int k = 0; k < planes; ++k)
        copy_plane(src[k], src_stride[k], dst[k], dst_stride[k], src_w, src_h);
}

}  // extern "C"
