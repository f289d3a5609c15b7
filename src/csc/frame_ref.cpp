// Portable row kernels of the frame conversion: the exact integer definition every vector
// version must reproduce bit for bit.
#include "csc/frame.h"

namespace ozmu::ref {

using frame::AxisMap;
using frame::clamp_u8;
using frame::PackedLayout;
using frame::RgbToYuv;
using frame::YuvToRgb;

namespace {

// Little-endian 16-bit word whatever the host's byte order.
inline int word_at(const uint8_t *p) { return p[0] | (p[1] << 8); }

// Working scale (64 per code) to an 8-bit code, rounding half up.
inline uint8_t to_u8(int16_t v) { return clamp_u8((v + 32) >> frame::kWorkShift8); }

struct Rgb8 {
    uint8_t r, g, b;
};

inline Rgb8 yuv_pixel(int16_t y, int16_t u, int16_t v, const YuvToRgb &m)
{
    using frame::mul_round15;
    constexpr int kMid = 128 << frame::kWorkShift8;
    // Luma in Q14, chroma doubled (still within 16 bits) against Q13: every term lands in
    // 1/32 of an 8-bit code.
    const int yy = mul_round15(y - m.y_offset, m.cy) + (1 << (frame::kRgbShift - 1));
    const int uu = 2 * (u - kMid), vv = 2 * (v - kMid);
    return {clamp_u8((yy + mul_round15(vv, m.crv)) >> frame::kRgbShift),
            clamp_u8((yy - mul_round15(uu, m.cgu) - mul_round15(vv, m.cgv)) >> frame::kRgbShift),
            clamp_u8((yy + mul_round15(uu, m.cbu)) >> frame::kRgbShift)};
}

constexpr PackedLayout kRgba{4, 0, 1, 2, 3}, kBgra{4, 2, 1, 0, 3}, kArgb{4, 1, 2, 3, 0},
    kRgb24{3, 0, 1, 2, -1}, kBgr24{3, 2, 1, 0, -1};

template <const PackedLayout &L>
void yuv_to_packed(const int16_t *y, const int16_t *u, const int16_t *v, const YuvToRgb &m, int n,
                   uint8_t *dst)
{
    for (int x = 0; x < n; ++x, dst += L.bytes) {
        const Rgb8 c = yuv_pixel(y[x], u[x], v[x], m);
        dst[L.r] = c.r;
        dst[L.g] = c.g;
        dst[L.b] = c.b;
        if constexpr (L.a >= 0)
            dst[L.a] = 255;
    }
}

template <const PackedLayout &L>
void pack(const int16_t *r, const int16_t *g, const int16_t *b, const int16_t *a, int n,
          uint8_t *dst)
{
    for (int x = 0; x < n; ++x, dst += L.bytes) {
        dst[L.r] = to_u8(r[x]);
        dst[L.g] = to_u8(g[x]);
        dst[L.b] = to_u8(b[x]);
        if constexpr (L.a >= 0)
            dst[L.a] = to_u8(a[x]);
    }
}

// Chroma of luma column x on the working scale: quarter weights in both directions (sum 16),
// times 4 (64 per code over 16).
inline void chroma420(const frame::Chroma420Rows &c, int x, int16_t &u, int16_t &v)
{
    const int k = x >> 1, last = c.width - 1, next = k < last ? k + 1 : last;
    int k0 = k, k1 = k, w0 = 4, w1 = 0;
    if (c.horizontal == 1 && (x & 1) != 0) {
        k1 = next, w0 = 2, w1 = 2;
    } else if (c.horizontal == 2) {
        if ((x & 1) != 0)
            k1 = next, w0 = 3, w1 = 1;
        else
            k0 = k > 0 ? k - 1 : 0, w0 = 1, w1 = 3;
    }
    const ptrdiff_t i0 = static_cast<ptrdiff_t>(k0) * c.step,
                    i1 = static_cast<ptrdiff_t>(k1) * c.step;
    int su = 0, sv = 0;
    for (int r = 0; r < 2; ++r) {
        su += c.w[r] * (w0 * c.u[r][i0] + w1 * c.u[r][i1]);
        sv += c.w[r] * (w0 * c.v[r][i0] + w1 * c.v[r][i1]);
    }
    u = static_cast<int16_t>(su * 4);
    v = static_cast<int16_t>(sv * 4);
}

template <const PackedLayout &L>
void yuv420_to_packed(const uint8_t *y, const frame::Chroma420Rows &c, const YuvToRgb &m, int n,
                      uint8_t *dst)
{
    for (int x = 0; x < n; ++x, dst += L.bytes) {
        int16_t u, v;
        chroma420(c, x, u, v);
        const Rgb8 px = yuv_pixel(static_cast<int16_t>(y[x] << frame::kWorkShift8), u, v, m);
        dst[L.r] = px.r;
        dst[L.g] = px.g;
        dst[L.b] = px.b;
        if constexpr (L.a >= 0)
            dst[L.a] = 255;
    }
}

// 5-6-5 takes the top bits of each 8-bit channel.
inline void store_565(uint8_t *dst, uint8_t r, uint8_t g, uint8_t b)
{
    const unsigned w = ((r >> 3u) << 11u) | ((g >> 2u) << 5u) | (b >> 3u);
    dst[0] = static_cast<uint8_t>(w & 0xFF);
    dst[1] = static_cast<uint8_t>(w >> 8u);
}

}  // namespace

void read_u8(const uint8_t *src, int n, int16_t *out)
{
    for (int x = 0; x < n; ++x)
        out[x] = src[x];
}

// I010: the bits above the tenth are ignored.
void read_u16_low10(const uint8_t *src, int n, int16_t *out)
{
    for (int x = 0; x < n; ++x)
        out[x] = static_cast<int16_t>(word_at(src + 2 * x) & 0x3FF);
}

// P010: the six low bits are ignored.
void read_u16_high10(const uint8_t *src, int n, int16_t *out)
{
    for (int x = 0; x < n; ++x)
        out[x] = static_cast<int16_t>(word_at(src + 2 * x) >> 6);
}

void read_pairs_u8(const uint8_t *src, int n, int16_t *first, int16_t *second)
{
    for (int x = 0; x < n; ++x) {
        first[x] = src[2 * x];
        second[x] = src[2 * x + 1];
    }
}

void read_pairs_u16_high10(const uint8_t *src, int n, int16_t *first, int16_t *second)
{
    for (int x = 0; x < n; ++x) {
        first[x] = static_cast<int16_t>(word_at(src + 4 * x) >> 6);
        second[x] = static_cast<int16_t>(word_at(src + 4 * x + 2) >> 6);
    }
}

// Without an alpha byte, alpha reads as 255.
void read_packed(const uint8_t *src, int n, const PackedLayout &layout, int16_t *r, int16_t *g,
                 int16_t *b, int16_t *a)
{
    for (int x = 0; x < n; ++x, src += layout.bytes) {
        r[x] = src[layout.r];
        g[x] = src[layout.g];
        b[x] = src[layout.b];
        a[x] = layout.a >= 0 ? src[layout.a] : 255;
    }
}

void vertical_accumulate(int32_t *acc, const int16_t *row, int weight, int n, int first)
{
    if (first != 0) {
        for (int x = 0; x < n; ++x)
            acc[x] = weight * row[x];
    } else {
        for (int x = 0; x < n; ++x)
            acc[x] += weight * row[x];
    }
}

void vertical_round(const int32_t *acc, int shift, int n, int16_t *out)
{
    const int32_t half = 1 << (shift - 1);
    for (int x = 0; x < n; ++x)
        out[x] = static_cast<int16_t>((acc[x] + half) >> shift);
}

void horizontal(const int16_t *in, const AxisMap &map, int16_t *out)
{
    for (int i = 0; i < map.outputs; ++i) {
        const int16_t *src = in + map.begin[i];
        int32_t sum = 1 << (frame::kQ - 1);
        for (int32_t t = map.offset[i], k = 0; t < map.offset[i + 1]; ++t, ++k)
            sum += map.weight[t] * src[k];
        out[i] = static_cast<int16_t>(sum >> frame::kQ);
    }
}

// vertical_accumulate over rows a and b, weighted 2^14 - weight_b and weight_b, then
// vertical_round by `shift`.
void vertical2(const int16_t *a, const int16_t *b, int weight_b, int shift, int n, int16_t *out)
{
    const int32_t weight_a = (1 << frame::kQ) - weight_b, half = 1 << (shift - 1);
    for (int x = 0; x < n; ++x)
        out[x] = static_cast<int16_t>((weight_a * a[x] + weight_b * b[x] + half) >> shift);
}

// read_u8 of both rows, then vertical2 with shift 8.
void vertical2_u8(const uint8_t *a, const uint8_t *b, int weight_b, int n, int16_t *out)
{
    const int32_t weight_a = (1 << frame::kQ) - weight_b;
    for (int x = 0; x < n; ++x)
        out[x] = static_cast<int16_t>((weight_a * a[x] + weight_b * b[x] + 128) >> 8);
}

// horizontal over a map of at most two taps an output.
void horizontal2(const int16_t *in, const frame::PairMap &map, int16_t *out)
{
    for (int i = 0; i < map.outputs; ++i) {
        const int16_t *src = in + map.index[i];
        const int32_t sum = map.weight[2 * i] * src[0] + map.weight[2 * i + 1] * src[1];
        out[i] = static_cast<int16_t>((sum + (1 << (frame::kQ - 1))) >> frame::kQ);
    }
}

// horizontal over a map of at most four taps an output.
void horizontal4(const int16_t *in, const frame::QuadMap &map, int16_t *out)
{
    for (int i = 0; i < map.outputs; ++i) {
        const int16_t *src = in + map.index[i];
        const int32_t sum = map.pair01[2 * i] * src[0] + map.pair01[2 * i + 1] * src[1] +
                            map.pair23[2 * i] * src[2] + map.pair23[2 * i + 1] * src[3];
        out[i] = static_cast<int16_t>((sum + (1 << (frame::kQ - 1))) >> frame::kQ);
    }
}

// horizontal2 over an 8-bit row on the working scale (in[x] << 6: one vertical tap of 2^14).
void horizontal2_u8(const uint8_t *in, const frame::PairMap &map, int16_t *out)
{
    for (int i = 0; i < map.outputs; ++i) {
        const uint8_t *src = in + map.index[i];
        const int32_t sum = (map.weight[2 * i] * src[0] + map.weight[2 * i + 1] * src[1])
                            << frame::kWorkShift8;
        out[i] = static_cast<int16_t>((sum + (1 << (frame::kQ - 1))) >> frame::kQ);
    }
}

// An exact 2:1 area reduction of two 8-bit rows to 8 bits: the staged path's bytes there, since
// both maps weigh 8192, 8192 (vertical 32 (a + b), horizontal 16 s, store (s + 2) >> 2).
void box2_u8(const uint8_t *a, const uint8_t *b, int n, uint8_t *out)
{
    for (int i = 0; i < n; ++i)
        out[i] = static_cast<uint8_t>((a[2 * i] + a[2 * i + 1] + b[2 * i] + b[2 * i + 1] + 2) >> 2);
}

void store_u8(const int16_t *in, int n, uint8_t *out, ptrdiff_t step)
{
    for (int x = 0; x < n; ++x, out += step)
        *out = to_u8(in[x]);
}

void rgb_to_y(const int16_t *r, const int16_t *g, const int16_t *b, const RgbToYuv &m, int n,
              uint8_t *y)
{
    const int32_t bias = (m.y_offset << 15) + (1 << 14);
    for (int x = 0; x < n; ++x)
        y[x] =
            clamp_u8((m.yr * to_u8(r[x]) + m.yg * to_u8(g[x]) + m.yb * to_u8(b[x]) + bias) >> 15);
}

// Chroma of 2 x 2 groups from two full-resolution rows: columns 2k, 2k+1 weighted 2, 2 (centred)
// or columns 2k-1, 2k, 2k+1 weighted 1, 2, 1 (left siting), both rows alike, so every group
// sums to weight 8; columns outside the row clamp to its ends.
void rgb_to_uv(const int16_t *const rgb0[3], const int16_t *const rgb1[3], const RgbToYuv &m,
               int left_siting, int n, uint8_t *u, uint8_t *v, ptrdiff_t step)
{
    const int32_t bias = (128 << 18) + (1 << 17);
    const int chroma = (n + 1) / 2;
    for (int k = 0; k < chroma; ++k, u += step, v += step) {
        const int x0 = 2 * k, x1 = 2 * k + 1 < n ? 2 * k + 1 : n - 1,
                  xl = 2 * k > 0 ? 2 * k - 1 : 0;
        int32_t sum[3];
        for (int c = 0; c < 3; ++c) {
            const int16_t *p = rgb0[c], *q = rgb1[c];
            if (left_siting != 0)
                sum[c] = to_u8(p[xl]) + to_u8(q[xl]) + 2 * (to_u8(p[x0]) + to_u8(q[x0])) +
                         to_u8(p[x1]) + to_u8(q[x1]);
            else
                sum[c] = 2 * (to_u8(p[x0]) + to_u8(q[x0]) + to_u8(p[x1]) + to_u8(q[x1]));
        }
        *u = clamp_u8((m.ur * sum[0] + m.ug * sum[1] + m.ub * sum[2] + bias) >> 18);
        *v = clamp_u8((m.vr * sum[0] + m.vg * sum[1] + m.vb * sum[2] + bias) >> 18);
    }
}

// Unscaled packed RGB to 4:2:0, two source rows at a time: the staged path's rgb_to_y and
// rgb_to_uv on the bytes themselves (an identity map carries a byte b to 64 b, which rounds back
// to b). y1 may be null: row1 then only feeds the chroma (the last row of an odd height, or of a
// band that ends on an odd row).
void packed_to_yuv420(const uint8_t *row0, const uint8_t *row1, const PackedLayout &layout,
                      const RgbToYuv &m, int left_siting, int n, uint8_t *y0, uint8_t *y1,
                      uint8_t *u, uint8_t *v, ptrdiff_t step)
{
    const int bytes = layout.bytes, at[3] = {layout.r, layout.g, layout.b};
    const int32_t y_bias = (m.y_offset << 15) + (1 << 14);
    for (int r = 0; r < 2; ++r) {
        const uint8_t *src = r == 0 ? row0 : row1;
        uint8_t *y = r == 0 ? y0 : y1;
        for (int x = 0; y != nullptr && x < n; ++x, src += bytes)
            y[x] = clamp_u8((m.yr * src[at[0]] + m.yg * src[at[1]] + m.yb * src[at[2]] + y_bias) >>
                            15);
    }
    const int32_t bias = (128 << 18) + (1 << 17);
    const int chroma = (n + 1) / 2;
    for (int k = 0; k < chroma; ++k, u += step, v += step) {
        const ptrdiff_t x0 = 2 * k, x1 = 2 * k + 1 < n ? 2 * k + 1 : n - 1,
                        xl = 2 * k > 0 ? 2 * k - 1 : 0;
        int32_t sum[3];
        for (int c = 0; c < 3; ++c) {
            const auto s = [&](ptrdiff_t x) {
                return row0[x * bytes + at[c]] + row1[x * bytes + at[c]];
            };
            sum[c] = left_siting != 0 ? s(xl) + 2 * s(x0) + s(x1) : 2 * (s(x0) + s(x1));
        }
        *u = clamp_u8((m.ur * sum[0] + m.ug * sum[1] + m.ub * sum[2] + bias) >> 18);
        *v = clamp_u8((m.vr * sum[0] + m.vg * sum[1] + m.vb * sum[2] + bias) >> 18);
    }
}

// Unscaled P010 to packed RGB, fast chroma: pixel x takes chroma pair x / 2 of its row; samples
// on the working scale are 16 times the 10-bit codes, as the staged path has them.
void p010_fast_to_packed(const uint8_t *y, const uint8_t *uv, const YuvToRgb &m,
                         const PackedLayout &layout, int n, uint8_t *dst)
{
    const auto work = [](const uint8_t *p) { return static_cast<int16_t>((word_at(p) >> 6) << 4); };
    for (int x = 0; x < n; ++x, dst += layout.bytes) {
        const uint8_t *c = uv + 4 * static_cast<ptrdiff_t>(x >> 1);
        const Rgb8 px = yuv_pixel(work(y + 2 * static_cast<ptrdiff_t>(x)), work(c), work(c + 2), m);
        dst[layout.r] = px.r;
        dst[layout.g] = px.g;
        dst[layout.b] = px.b;
        if (layout.a >= 0)
            dst[layout.a] = 255;
    }
}

#define OZMU_FRAME_DEFINE_PACKED(fmt, layout)                                                      \
    void yuv_to_##fmt(const int16_t *y, const int16_t *u, const int16_t *v, const YuvToRgb &m,     \
                      int n, uint8_t *dst)                                                         \
    {                                                                                              \
        yuv_to_packed<layout>(y, u, v, m, n, dst);                                                 \
    }                                                                                              \
    void pack_##fmt(const int16_t *r, const int16_t *g, const int16_t *b, const int16_t *a, int n, \
                    uint8_t *dst)                                                                  \
    {                                                                                              \
        pack<layout>(r, g, b, a, n, dst);                                                          \
    }                                                                                              \
    void yuv420_to_##fmt(const uint8_t *y, const frame::Chroma420Rows &c, const YuvToRgb &m,       \
                         int n, uint8_t *dst)                                                      \
    {                                                                                              \
        yuv420_to_packed<layout>(y, c, m, n, dst);                                                 \
    }
OZMU_FRAME_DEFINE_PACKED(rgba, kRgba)
OZMU_FRAME_DEFINE_PACKED(bgra, kBgra)
OZMU_FRAME_DEFINE_PACKED(argb, kArgb)
OZMU_FRAME_DEFINE_PACKED(rgb24, kRgb24)
OZMU_FRAME_DEFINE_PACKED(bgr24, kBgr24)
#undef OZMU_FRAME_DEFINE_PACKED

void yuv_to_rgb565(const int16_t *y, const int16_t *u, const int16_t *v, const YuvToRgb &m, int n,
                   uint8_t *dst)
{
    for (int x = 0; x < n; ++x, dst += 2) {
        const Rgb8 c = yuv_pixel(y[x], u[x], v[x], m);
        store_565(dst, c.r, c.g, c.b);
    }
}

void yuv420_to_rgb565(const uint8_t *y, const frame::Chroma420Rows &c, const YuvToRgb &m, int n,
                      uint8_t *dst)
{
    for (int x = 0; x < n; ++x, dst += 2) {
        int16_t u, v;
        chroma420(c, x, u, v);
        const Rgb8 px = yuv_pixel(static_cast<int16_t>(y[x] << frame::kWorkShift8), u, v, m);
        store_565(dst, px.r, px.g, px.b);
    }
}

void pack_rgb565(const int16_t *r, const int16_t *g, const int16_t *b, const int16_t *, int n,
                 uint8_t *dst)
{
    for (int x = 0; x < n; ++x, dst += 2)
        store_565(dst, to_u8(r[x]), to_u8(g[x]), to_u8(b[x]));
}

}  // namespace ozmu::ref
