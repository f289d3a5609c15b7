// NEON conversions to interleaved RGB: 8 pixels a step from Y, U, V, 16 from planar R, G, B,
// then the 4-pixel and single-pixel tails, with interleaving stores (st3/st4).
//
// The YUV arithmetic runs in 16-bit lanes, from 8x8-bit widening multiplies. Each weight is
// split into 256 plus a remainder small enough for the product to fit, and the centring of U
// and V is folded into per-channel constants; the clip is the saturating narrow. For every
// (Y, U, V) this gives the bytes of the 32-bit definition (a test checks all 2^24):
//   R = Y + V - 179 + ((103 V) >> 8)                  [359 v + 128 = 359 V - 179 * 256]
//   B = Y + U - 227 + ((198 U + 128) >> 8)            [454 u + 128 = 454 U - 227 * 256 + 128]
//   G = Y - V + ((34815 + 73 V - 88 U) >> 8)          [88 u + 183 v + 128 = 88 U + 183 V
//                                                      - 135 * 256, 183 = 256 - 73, and
//                                                      -floor(t / 256) = floor((255 - t) / 256)]
// The last sum stays within 12375..53430, so it is exact in unsigned 16-bit lanes.
#include <arm_neon.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "csc/to_rgb_vector.h"

namespace ozmu::neon {
namespace {

using namespace ozmu::csc;

template <PixelOrder Order>
using OrderTag = std::integral_constant<PixelOrder, Order>;

// Calls body(OrderTag<order>) for the one listed order equal to `order`; nothing otherwise.
template <PixelOrder... Orders, class Body>
void dispatch(PixelOrder order, Body body)
{
    (void)((order == Orders ? (body(OrderTag<Orders>{}), true) : false) || ...);
}

template <PixelOrder Order>
constexpr int kPixelBytes = channel_offsets(Order).bytes;

// The channels in memory order. The groups are built before the store: with clang the store
// intrinsics are macros, and a braced initializer's commas would split their arguments.
template <PixelOrder Order, class V, class Group4>
Group4 arrange4(V r, V g, V b, V a)
{
    if constexpr (Order == PixelOrder::Rgba)
        return {{r, g, b, a}};
    else if constexpr (Order == PixelOrder::Bgra)
        return {{b, g, r, a}};
    else if constexpr (Order == PixelOrder::Argb)
        return {{a, r, g, b}};
    else
        return {{a, b, g, r}};
}

template <PixelOrder Order, class V, class Group3>
Group3 arrange3(V r, V g, V b)
{
    if constexpr (Order == PixelOrder::Rgb)
        return {{r, g, b}};
    else
        return {{b, g, r}};
}

template <PixelOrder Order>
void store8(uint8_t *out, uint8x8_t r, uint8x8_t g, uint8x8_t b, uint8x8_t a)
{
    if constexpr (kPixelBytes<Order> == 4) {
        const uint8x8x4_t group = arrange4<Order, uint8x8_t, uint8x8x4_t>(r, g, b, a);
        vst4_u8(out, group);
    } else {
        const uint8x8x3_t group = arrange3<Order, uint8x8_t, uint8x8x3_t>(r, g, b);
        vst3_u8(out, group);
    }
}

template <PixelOrder Order>
void store16(uint8_t *out, uint8x16_t r, uint8x16_t g, uint8x16_t b, uint8x16_t a)
{
    if constexpr (kPixelBytes<Order> == 4) {
        const uint8x16x4_t group = arrange4<Order, uint8x16_t, uint8x16x4_t>(r, g, b, a);
        vst4q_u8(out, group);
    } else {
        const uint8x16x3_t group = arrange3<Order, uint8x16_t, uint8x16x3_t>(r, g, b);
        vst3q_u8(out, group);
    }
}

// Stores the first n (1..4) pixels of the lanes, one pixel per lane store.
template <PixelOrder Order>
void store_lanes(uint8_t *out, uint8x8_t r, uint8x8_t g, uint8x8_t b, uint8x8_t a, int n)
{
    constexpr int kBytes = kPixelBytes<Order>;
    if constexpr (kBytes == 4) {
        const uint8x8x4_t group = arrange4<Order, uint8x8_t, uint8x8x4_t>(r, g, b, a);
        vst4_lane_u8(out, group, 0);
        if (n > 1)
            vst4_lane_u8(out + kBytes, group, 1);
        if (n > 2)
            vst4_lane_u8(out + 2 * kBytes, group, 2);
        if (n > 3)
            vst4_lane_u8(out + 3 * kBytes, group, 3);
    } else {
        const uint8x8x3_t group = arrange3<Order, uint8x8_t, uint8x8x3_t>(r, g, b);
        vst3_lane_u8(out, group, 0);
        if (n > 1)
            vst3_lane_u8(out + kBytes, group, 1);
        if (n > 2)
            vst3_lane_u8(out + 2 * kBytes, group, 2);
        if (n > 3)
            vst3_lane_u8(out + 3 * kBytes, group, 3);
    }
}

// Four samples into the low lanes.
uint8x8_t load4(const uint8_t *p)
{
    uint32_t word;
    std::memcpy(&word, p, sizeof word);
    return vreinterpret_u8_u32(vdup_n_u32(word));
}

// One to three samples into the low lanes, one lane load each.
uint8x8_t load_lanes(const uint8_t *p, int n)
{
    uint8x8_t v = vld1_lane_u8(p, vdup_n_u8(0), 0);
    if (n > 1)
        v = vld1_lane_u8(p + 1, v, 1);
    if (n > 2)
        v = vld1_lane_u8(p + 2, v, 2);
    return v;
}

// ---- Y, U, V -------------------------------------------------------------------------------

struct YuvWeights {
    uint8x8_t r_from_v = vdup_n_u8(103);
    uint8x8_t b_from_u = vdup_n_u8(198);
    uint8x8_t g_from_v = vdup_n_u8(73);
    uint8x8_t g_from_u = vdup_n_u8(88);
    int16x8_t r_bias = vdupq_n_s16(-179);
    int16x8_t b_bias = vdupq_n_s16(-227);
    uint16x8_t g_bias = vdupq_n_u16(34815);
};

struct Rgb8x8 {
    uint8x8_t r, g, b;
};

inline Rgb8x8 convert8(uint8x8_t y, uint8x8_t u, uint8x8_t v, const YuvWeights &w)
{
    const uint16x8_t r_sum = vsraq_n_u16(vaddl_u8(y, v), vmull_u8(v, w.r_from_v), 8);
    const uint16x8_t b_sum = vrsraq_n_u16(vaddl_u8(y, u), vmull_u8(u, w.b_from_u), 8);
    const uint16x8_t g_term = vmlsl_u8(vmlal_u8(w.g_bias, v, w.g_from_v), u, w.g_from_u);
    const uint16x8_t g_sum = vsraq_n_u16(vsubl_u8(y, v), g_term, 8);
    return {vqmovun_s16(vaddq_s16(vreinterpretq_s16_u16(r_sum), w.r_bias)),
            vqmovun_s16(vreinterpretq_s16_u16(g_sum)),
            vqmovun_s16(vaddq_s16(vreinterpretq_s16_u16(b_sum), w.b_bias))};
}

// Source rows of `Planes` planes that share one stride.
template <int Planes>
struct Rows {
    const uint8_t *p[Planes];

    Rows(uint8_t *const src[4], ptrdiff_t offset)
    {
        for (int k = 0; k < Planes; ++k)
            p[k] = src[k] + offset;
    }
    void advance(int n)
    {
        for (auto &plane : p)
            plane += n;
    }
};

// The 8-pixel loop, `steps` >= 1 times, scheduled by hand: the compiler re-copies the store
// group into fresh registers on every step. The group is v16..v19 (v16..v18 for 3-byte pixels);
// R, G, B name the member each channel lands in, ALPHA_ONCE / ALPHA_EACH fill the fourth.
#define OZMU_YUV8_LOOP(R, G, B, ALPHA_ONCE, ALPHA_EACH, STORE)                                     \
    asm volatile(                                                                                  \
        ALPHA_ONCE "1:\n\t"                                                                        \
                   "ld1 {v0.8b}, [%[y]], #8\n\t"                                                   \
                   "ld1 {v1.8b}, [%[u]], #8\n\t"                                                   \
                   "ld1 {v2.8b}, [%[v]], #8\n\t" ALPHA_EACH                                        \
                   "umull v3.8h, v2.8b, %[r_from_v].8b\n\t"                                        \
                   "uaddl v4.8h, v0.8b, v2.8b\n\t"                                                 \
                   "umull v5.8h, v1.8b, %[b_from_u].8b\n\t"                                        \
                   "uaddl v6.8h, v0.8b, v1.8b\n\t"                                                 \
                   "mov v7.16b, %[g_bias].16b\n\t"                                                 \
                   "umlal v7.8h, v2.8b, %[g_from_v].8b\n\t"                                        \
                   "usubl v0.8h, v0.8b, v2.8b\n\t"                                                 \
                   "umlsl v7.8h, v1.8b, %[g_from_u].8b\n\t"                                        \
                   "usra v4.8h, v3.8h, #8\n\t"                                                     \
                   "ursra v6.8h, v5.8h, #8\n\t"                                                    \
                   "usra v0.8h, v7.8h, #8\n\t"                                                     \
                   "add v4.8h, v4.8h, %[r_bias].8h\n\t"                                            \
                   "add v6.8h, v6.8h, %[b_bias].8h\n\t"                                            \
                   "sqxtun " R ".8b, v4.8h\n\t"                                                    \
                   "sqxtun " G ".8b, v0.8h\n\t"                                                    \
                   "sqxtun " B ".8b, v6.8h\n\t"                                                    \
                   "subs %[steps], %[steps], #1\n\t" STORE "\n\t"                                  \
                   "b.ne 1b"                                                                       \
        : [y] "+r"(y), [u] "+r"(u), [v] "+r"(v), [a] "+r"(a), [out] "+r"(out), [steps] "+r"(steps) \
        : [r_from_v] "w"(w.r_from_v), [b_from_u] "w"(w.b_from_u), [g_from_v] "w"(w.g_from_v),      \
          [g_from_u] "w"(w.g_from_u), [r_bias] "w"(w.r_bias), [b_bias] "w"(w.b_bias),              \
          [g_bias] "w"(w.g_bias)                                                                   \
        : "v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7", "v16", "v17", "v18", "v19", "cc",        \
          "memory")

#define OZMU_ST4 "st4 {v16.8b, v17.8b, v18.8b, v19.8b}, [%[out]], #32"
#define OZMU_ST3 "st3 {v16.8b, v17.8b, v18.8b}, [%[out]], #24"
#define OZMU_OPAQUE(A) "movi " A ".8b, #255\n\t"
#define OZMU_ALPHA(A) "ld1 {" A ".8b}, [%[a]], #8\n\t"

// Advances every pointer past the 8 * steps pixels it converts.
template <PixelOrder Order, bool Alpha>
void yuv_steps(const uint8_t *&y, const uint8_t *&u, const uint8_t *&v, const uint8_t *&a,
               uint8_t *&out, int64_t steps, const YuvWeights &w)
{
    if constexpr (Order == PixelOrder::Rgb)
        OZMU_YUV8_LOOP("v16", "v17", "v18", "", "", OZMU_ST3);
    else if constexpr (Order == PixelOrder::Bgr)
        OZMU_YUV8_LOOP("v18", "v17", "v16", "", "", OZMU_ST3);
    else if constexpr (Order == PixelOrder::Rgba && Alpha)
        OZMU_YUV8_LOOP("v16", "v17", "v18", "", OZMU_ALPHA("v19"), OZMU_ST4);
    else if constexpr (Order == PixelOrder::Rgba)
        OZMU_YUV8_LOOP("v16", "v17", "v18", OZMU_OPAQUE("v19"), "", OZMU_ST4);
    else if constexpr (Order == PixelOrder::Bgra && Alpha)
        OZMU_YUV8_LOOP("v18", "v17", "v16", "", OZMU_ALPHA("v19"), OZMU_ST4);
    else if constexpr (Order == PixelOrder::Bgra)
        OZMU_YUV8_LOOP("v18", "v17", "v16", OZMU_OPAQUE("v19"), "", OZMU_ST4);
    else if constexpr (Order == PixelOrder::Argb && Alpha)
        OZMU_YUV8_LOOP("v17", "v18", "v19", "", OZMU_ALPHA("v16"), OZMU_ST4);
    else if constexpr (Order == PixelOrder::Argb)
        OZMU_YUV8_LOOP("v17", "v18", "v19", OZMU_OPAQUE("v16"), "", OZMU_ST4);
    else if constexpr (Order == PixelOrder::Abgr && Alpha)
        OZMU_YUV8_LOOP("v19", "v18", "v17", "", OZMU_ALPHA("v16"), OZMU_ST4);
    else
        OZMU_YUV8_LOOP("v19", "v18", "v17", OZMU_OPAQUE("v16"), "", OZMU_ST4);
}

template <PixelOrder Order, bool Alpha>
void yuv_rows(uint8_t *const src[4], int src_stride, int width, int height, uint8_t *dst,
              int dst_stride)
{
    constexpr int kBytes = kPixelBytes<Order>;
    const YuvWeights w;
    const uint8x8_t opaque = vdup_n_u8(255);
    for (int row = 0; row < height; ++row) {
        const ptrdiff_t offset = ptrdiff_t{src_stride} * row;
        const uint8_t *y = src[0] + offset, *u = src[1] + offset, *v = src[2] + offset;
        const uint8_t *a = Alpha ? src[3] + offset : nullptr;
        uint8_t *out = dst + ptrdiff_t{dst_stride} * row;
        if (width >= 8)
            yuv_steps<Order, Alpha>(y, u, v, a, out, width >> 3, w);
        int left = width & 7;
        if (left >= 4) {
            const Rgb8x8 c = convert8(load4(y), load4(u), load4(v), w);
            store_lanes<Order>(out, c.r, c.g, c.b, Alpha ? load4(a) : opaque, 4);
            y += 4, u += 4, v += 4, a = Alpha ? a + 4 : a;
            out += 4 * kBytes;
            left -= 4;
        }
        if (left > 0) {
            const Rgb8x8 c =
                convert8(load_lanes(y, left), load_lanes(u, left), load_lanes(v, left), w);
            store_lanes<Order>(out, c.r, c.g, c.b, Alpha ? load_lanes(a, left) : opaque, left);
        }
    }
}

template <bool Alpha, PixelOrder... Orders>
void convert_yuv(uint8_t *const src[4], int src_w, int src_h, int src_stride, uint8_t *const dst[4],
                 int dst_stride, PixelTarget target)
{
    const int width = yuv_row_pixels(src_w);
    if (src_h < 1 || width < 1)
        return;
    dispatch<Orders...>(target.order, [&](auto order) {
        yuv_rows<decltype(order)::value, Alpha>(src, src_stride, width, src_h, dst[target.slot],
                                                dst_stride);
    });
}

// ---- planar R, G, B ------------------------------------------------------------------------

// Tail after the 16-pixel steps: 3-byte pixels take an 8- and a 4-pixel step where they fit;
// 4-byte pixels take an 8-pixel step only when exactly 8 remain. Single pixels finish both.
template <PixelOrder Order, bool Alpha>
void planar_rows(uint8_t *const src[4], int src_stride, int width, int height, uint8_t *dst,
                 int dst_stride)
{
    constexpr int kBytes = kPixelBytes<Order>;
    constexpr ChannelOffsets kAt = channel_offsets(Order);
    const uint8x16_t opaque = vdupq_n_u8(255);
    for (int row = 0; row < height; ++row) {
        Rows<Alpha ? 4 : 3> in(src, ptrdiff_t{src_stride} * row);
        uint8_t *out = dst + ptrdiff_t{dst_stride} * row;
        const uint8_t *const steps_end = in.p[0] + (width & ~15);
        while (in.p[0] != steps_end) {
            uint8x16_t a = opaque;
            if constexpr (Alpha)
                a = vld1q_u8(in.p[3]);
            store16<Order>(out, vld1q_u8(in.p[0]), vld1q_u8(in.p[1]), vld1q_u8(in.p[2]), a);
            in.advance(16);
            out += 16 * kBytes;
        }
        int left = width & 15;
        if (kBytes == 3 ? left >= 8 : left == 8) {
            uint8x8_t a = vget_low_u8(opaque);
            if constexpr (Alpha)
                a = vld1_u8(in.p[3]);
            store8<Order>(out, vld1_u8(in.p[0]), vld1_u8(in.p[1]), vld1_u8(in.p[2]), a);
            in.advance(8);
            out += 8 * kBytes;
            left -= 8;
        }
        if (kBytes == 3 && left >= 4) {
            store_lanes<Order>(out, load4(in.p[0]), load4(in.p[1]), load4(in.p[2]),
                               vget_low_u8(opaque), 4);
            in.advance(4);
            out += 4 * kBytes;
            left -= 4;
        }
        for (int x = 0; x < left; ++x, out += kBytes) {
            out[kAt.r] = in.p[0][x];
            out[kAt.g] = in.p[1][x];
            out[kAt.b] = in.p[2][x];
            if constexpr (Alpha)
                out[kAt.a] = in.p[3][x];
            else if constexpr (kBytes == 4)
                out[kAt.a] = 255;
        }
    }
}

template <bool Alpha, PixelOrder... Orders>
void convert_planar(uint8_t *const src[4], int src_w, int src_h, int src_stride,
                    uint8_t *const dst[4], int dst_stride, PixelTarget target)
{
    if (src_h < 1 || src_w < 1)
        return;
    dispatch<Orders...>(target.order, [&](auto order) {
        planar_rows<decltype(order)::value, Alpha>(src, src_stride, src_w, src_h, dst[target.slot],
                                                   dst_stride);
    });
}

using enum PixelOrder;

}  // namespace

void r8g8b8_to_rgb888(OZMU_CSC_PARAMS)
{
    convert_planar<false, Rgb, Bgr>(src, src_w, src_h, src_stride[0], dst, dst_stride[0],
                                    planar_rgb888_target(dst_cs));
}

void r8g8b8_to_rgba8888(OZMU_CSC_PARAMS)
{
    convert_planar<false, Rgba, Bgra, Argb, Abgr>(src, src_w, src_h, src_stride[0], dst,
                                                  dst_stride[0], planar_rgba_target(dst_cs, false));
}

void r8g8b8a8_to_rgba8888(OZMU_CSC_PARAMS)
{
    convert_planar<true, Rgba, Bgra>(src, src_w, src_h, src_stride[0], dst, dst_stride[0],
                                     planar_rgba_target(dst_cs, true));
}

void yuv444_to_rgb888(OZMU_CSC_PARAMS)
{
    convert_yuv<false, Rgb, Bgr>(src, src_w, src_h, src_stride[0], dst, dst_stride[0],
                                 yuv_rgb888_target(dst_cs));
}

void yuv444_to_rgba8888(OZMU_CSC_PARAMS)
{
    convert_yuv<false, Rgba, Bgra, Argb, Abgr>(src, src_w, src_h, src_stride[0], dst, dst_stride[0],
                                               yuv_rgba_target(dst_cs));
}

void yuv444a8_to_rgba8888(OZMU_CSC_PARAMS)
{
    convert_yuv<true, Rgba, Bgra, Argb, Abgr>(src, src_w, src_h, src_stride[0], dst, dst_stride[0],
                                              yuv_rgba_target(dst_cs));
}

}  // namespace ozmu::neon
