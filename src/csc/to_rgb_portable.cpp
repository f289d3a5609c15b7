// Portable conversions to RGB layouts: per-pixel loops over planar R, G, B (optionally A) or
// full-size Y, U, V (optionally A) sources. Interleaved destinations are written one byte per
// slot, dst[k] being byte k of the first pixel in the order of the layout's name, each slot
// with its own row distance; every source plane uses its own stride.
#include "csc/csc.h"
#include "csc/portable.h"
#include "ozmu.h"

namespace {

using namespace ozmu::csc;

template <typename Source>
void to_planar_rgb(Source source, int w, int h, uint8_t *const dst[4], const int dst_stride[4])
{
    auto r = bytes_at(dst[0], dst_stride[0]);
    auto g = bytes_at(dst[1], dst_stride[1]);
    auto b = bytes_at(dst[2], dst_stride[2]);
    for_each_pixel(
        w, h,
        [&](int x) {
            const Rgb8 c = source.at(x);
            r.put(x, c.r), g.put(x, c.g), b.put(x, c.b);
        },
        source, r, g, b);
}

template <typename Source>
void to_565(Source source, int w, int h, uint8_t *const dst[4], const int dst_stride[4])
{
    auto words = words_at(dst[0], dst_stride[0]);
    for_each_pixel(
        w, h,
        [&](int x) {
            const Rgb8 c = source.at(x);
            words.put(x, pack_565(c.r, c.g, c.b));
        },
        source, words);
}

// 5-6-5 words in dst[0] and alpha bytes in dst[1], AlphaStep bytes apart: 1 for a plane of
// its own (rgb565a8), 3 for rgba5658.
template <int AlphaStep, typename Source, typename Alpha>
void to_565_alpha(Source source, Alpha alpha, int w, int h, uint8_t *const dst[4],
                  const int dst_stride[4])
{
    auto words = words_at(dst[0], dst_stride[0]);
    auto a = bytes_at<AlphaStep>(dst[1], dst_stride[1]);
    for_each_pixel(
        w, h,
        [&](int x) {
            const Rgb8 c = source.at(x);
            words.put(x, pack_565(c.r, c.g, c.b));
            a.put(x, alpha.get(x));
        },
        source, alpha, words, a);
}

template <typename Source, typename Alpha>
void to_argb(Source source, Alpha alpha, int w, int h, uint8_t *const dst[4],
             const int dst_stride[4])
{
    auto a = bytes_at<4>(dst[0], dst_stride[0]);
    auto r = bytes_at<4>(dst[1], dst_stride[1]);
    auto g = bytes_at<4>(dst[2], dst_stride[2]);
    auto b = bytes_at<4>(dst[3], dst_stride[3]);
    for_each_pixel(
        w, h,
        [&](int x) {
            const Rgb8 c = source.at(x);
            a.put(x, alpha.get(x)), r.put(x, c.r), g.put(x, c.g), b.put(x, c.b);
        },
        source, alpha, a, r, g, b);
}

template <typename Source, typename Alpha>
void to_bgra(Source source, Alpha alpha, int w, int h, uint8_t *const dst[4],
             const int dst_stride[4])
{
    auto b = bytes_at<4>(dst[0], dst_stride[0]);
    auto g = bytes_at<4>(dst[1], dst_stride[1]);
    auto r = bytes_at<4>(dst[2], dst_stride[2]);
    auto a = bytes_at<4>(dst[3], dst_stride[3]);
    for_each_pixel(
        w, h,
        [&](int x) {
            const Rgb8 c = source.at(x);
            b.put(x, c.b), g.put(x, c.g), r.put(x, c.r), a.put(x, alpha.get(x));
        },
        source, alpha, b, g, r, a);
}

// Plane 3 of a four-plane source.
Bytes<> alpha_plane(uint8_t *const src[4], const int src_stride[4])
{
    return bytes_at(src[3], src_stride[3]);
}

}  // namespace

extern "C" {

void ozmu_csc_yuv444_to_r8g8b8(OZMU_CSC_PARAMS)
{
    to_planar_rgb(YuvSource(src, src_stride), src_w, src_h, dst, dst_stride);
}

void ozmu_csc_yuv444_to_rgb565(OZMU_CSC_PARAMS)
{
    to_565(YuvSource(src, src_stride), src_w, src_h, dst, dst_stride);
}

void ozmu_csc_yuv444_to_rgb565a8(OZMU_CSC_PARAMS)
{
    to_565_alpha<1>(YuvSource(src, src_stride), Opaque{}, src_w, src_h, dst, dst_stride);
}

// Kept as callers know it: R and G in their slots, 255 in the B slot, the A slot untouched.
void ozmu_csc_yuv444_to_argb8888(OZMU_CSC_PARAMS)
{
    auto y = bytes_at(src[0], src_stride[0]);
    auto u = bytes_at(src[1], src_stride[1]);
    auto v = bytes_at(src[2], src_stride[2]);
    auto r = bytes_at<4>(dst[1], dst_stride[1]);
    auto g = bytes_at<4>(dst[2], dst_stride[2]);
    auto last = bytes_at<4>(dst[3], dst_stride[3]);
    for_each_pixel(
        src_w, src_h,
        [&](int x) {
            const Rgb8 c = yuv_to_rgb(y.get(x), u.get(x), v.get(x));
            r.put(x, c.r), g.put(x, c.g), last.put(x, 255);
        },
        y, u, v, r, g, last);
}

void ozmu_csc_yuv444_to_bgra8888(OZMU_CSC_PARAMS)
{
    to_bgra(YuvSource(src, src_stride), Opaque{}, src_w, src_h, dst, dst_stride);
}

void ozmu_csc_yuv444a8_to_argb8888(OZMU_CSC_PARAMS)
{
    to_argb(YuvSource(src, src_stride), alpha_plane(src, src_stride), src_w, src_h, dst,
            dst_stride);
}

void ozmu_csc_yuv444a8_to_bgra8888(OZMU_CSC_PARAMS)
{
    to_bgra(YuvSource(src, src_stride), alpha_plane(src, src_stride), src_w, src_h, dst,
            dst_stride);
}

void ozmu_csc_yuv444a8_to_rgb565a8(OZMU_CSC_PARAMS)
{
    to_565_alpha<1>(YuvSource(src, src_stride), alpha_plane(src, src_stride), src_w, src_h, dst,
                    dst_stride);
}

void ozmu_csc_yuv444a8_to_rgba5658(OZMU_CSC_PARAMS)
{
    to_565_alpha<3>(YuvSource(src, src_stride), alpha_plane(src, src_stride), src_w, src_h, dst,
                    dst_stride);
}

void ozmu_csc_r8g8b8_to_rgb565(OZMU_CSC_PARAMS)
{
    to_565(RgbSource<>(src, src_stride), src_w, src_h, dst, dst_stride);
}

void ozmu_csc_x8y8z8_to_xyz565a8(OZMU_CSC_PARAMS)
{
    to_565_alpha<1>(RgbSource<>(src, src_stride), Opaque{}, src_w, src_h, dst, dst_stride);
}

void ozmu_csc_x8y8z8a8_to_xyz565a8(OZMU_CSC_PARAMS)
{
    to_565_alpha<1>(RgbSource<>(src, src_stride), alpha_plane(src, src_stride), src_w, src_h, dst,
                    dst_stride);
}

void ozmu_csc_r8g8b8_to_argb8888(OZMU_CSC_PARAMS)
{
    to_argb(RgbSource<>(src, src_stride), Opaque{}, src_w, src_h, dst, dst_stride);
}

void ozmu_csc_r8g8b8_to_bgra8888(OZMU_CSC_PARAMS)
{
    to_bgra(RgbSource<>(src, src_stride), Opaque{}, src_w, src_h, dst, dst_stride);
}

void ozmu_csc_r8g8b8a8_to_argb8888(OZMU_CSC_PARAMS)
{
    to_argb(RgbSource<>(src, src_stride), alpha_plane(src, src_stride), src_w, src_h, dst,
            dst_stride);
}

void ozmu_csc_r8g8b8a8_to_bgra8888(OZMU_CSC_PARAMS)
{
    to_bgra(RgbSource<>(src, src_stride), alpha_plane(src, src_stride), src_w, src_h, dst,
            dst_stride);
}

// Kept as callers know it: all three fields come from plane 0, so the picture turns grey.
void ozmu_csc_r8g8b8a8_to_rgba5658(OZMU_CSC_PARAMS)
{
    auto c = bytes_at(src[0], src_stride[0]);
    auto a = alpha_plane(src, src_stride);
    auto words = words_at(dst[0], dst_stride[0]);
    auto alpha = bytes_at<3>(dst[1], dst_stride[1]);
    for_each_pixel(
        src_w, src_h,
        [&](int x) {
            const int grey = c.get(x);
            words.put(x, (grey >> 3) << 11 | (grey >> 2) << 5 | grey >> 3);
            alpha.put(x, a.get(x));
        },
        c, a, words, alpha);
}

}  // extern "C"
