// NEON versions of the frame conversion's row reads and stores, RGB to Y and 4:2:0 chroma, the
// fused packed RGB to I420 / NV12 row pair and the fused P010 fast-chroma row, byte for byte the
// portable kernels.
//
// Y = (yr R + yg G + yb B + bias) >> 15 with Q15 coefficients stays in 16-bit lanes: each
// coefficient c = 128 h + l (0 <= l < 128) gives H = sum h X (at most 256 * 255) and L = sum l X
// (under 2^16 for every matrix: the l sum to at most 238), and since the bias is a multiple of
// 128, Y = (H + (L >> 7) + bias / 128) >> 8 exactly (the dropped L mod 128 never carries past a
// multiple of 2^15). umull / umlal of bytes, one usra and one addhn: the high byte is Y.
//
// Chroma sums of a 2 x 2 group (at most 4 * 255, times 2) are 16-bit; the matrix runs as 32-bit
// sums of 16 x 16-bit products, narrowed with the exact split of the shift used by the 4:2:0 to
// RGB rows: the high halves (floor(s / 2^16)), then a saturating rounding shift by the rest.
// Centred siting halves the weights and the shift (2 (a + b) against 2^18 is a + b against 2^17).
#include <arm_neon.h>

#include <cstddef>
#include <cstring>

#include "csc/frame.h"

namespace ozmu::neon {
namespace {

using frame::PackedLayout;
using frame::RgbToYuv;

constexpr int kStep = 16;

inline uint8_t clamp_byte(int32_t v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// ---- Y --------------------------------------------------------------------------------------

struct LumaCoefficients {
    uint8x16_t hr, hg, hb, lr, lg, lb;
    uint16x8_t bias;  // bias / 128
};

// False when a coefficient set does not fit the split (never for the library's own matrices).
bool split_luma(const RgbToYuv &m, LumaCoefficients &k)
{
    const int c[3] = {m.yr, m.yg, m.yb};
    const int32_t bias = (m.y_offset << 15) + (1 << 14);
    int low_sum = 0, sum = 0;
    for (int v : c) {
        if (v < 0 || (v >> 7) > 255)
            return false;
        low_sum += v & 127;
        sum += v;
    }
    if (low_sum * 255 > 65535 || bias < 0 || (bias & 127) != 0 ||
        static_cast<int64_t>(sum) * 255 + bias >= (int64_t{1} << 23))
        return false;
    k = {vdupq_n_u8(static_cast<uint8_t>(c[0] >> 7)),  vdupq_n_u8(static_cast<uint8_t>(c[1] >> 7)),
         vdupq_n_u8(static_cast<uint8_t>(c[2] >> 7)),  vdupq_n_u8(static_cast<uint8_t>(c[0] & 127)),
         vdupq_n_u8(static_cast<uint8_t>(c[1] & 127)), vdupq_n_u8(static_cast<uint8_t>(c[2] & 127)),
         vdupq_n_u16(static_cast<uint16_t>(bias >> 7))};
    return true;
}

inline uint8x16_t luma16(uint8x16_t r, uint8x16_t g, uint8x16_t b, const LumaCoefficients &k)
{
    uint16x8_t h0 = vmull_u8(vget_low_u8(r), vget_low_u8(k.hr));
    uint16x8_t l0 = vmull_u8(vget_low_u8(r), vget_low_u8(k.lr));
    uint16x8_t h1 = vmull_high_u8(r, k.hr);
    uint16x8_t l1 = vmull_high_u8(r, k.lr);
    h0 = vmlal_u8(h0, vget_low_u8(g), vget_low_u8(k.hg));
    l0 = vmlal_u8(l0, vget_low_u8(g), vget_low_u8(k.lg));
    h1 = vmlal_high_u8(h1, g, k.hg);
    l1 = vmlal_high_u8(l1, g, k.lg);
    h0 = vmlal_u8(h0, vget_low_u8(b), vget_low_u8(k.hb));
    l0 = vmlal_u8(l0, vget_low_u8(b), vget_low_u8(k.lb));
    h1 = vmlal_high_u8(h1, b, k.hb);
    l1 = vmlal_high_u8(l1, b, k.lb);
    h0 = vsraq_n_u16(h0, l0, 7);
    h1 = vsraq_n_u16(h1, l1, 7);
    return vaddhn_high_u16(vaddhn_u16(h0, k.bias), h1, k.bias);
}

// ---- Chroma ---------------------------------------------------------------------------------

// ur ug ub vr vg vb in lanes 0 .. 5.
inline int16x8_t chroma_coefficients(const RgbToYuv &m)
{
    const int16_t c[8] = {m.ur, m.ug, m.ub, m.vr, m.vg, m.vb, 0, 0};
    return vld1q_s16(c);
}

// U and V of 8 groups from their channel sums (weight 8 when Left, else 4).
template <bool Left>
inline void chroma8(uint16x8_t sr, uint16x8_t sg, uint16x8_t sb, int16x8_t k, uint8x8_t &u,
                    uint8x8_t &v)
{
    constexpr int kShift = Left ? 2 : 1;  // 18 or 17, less the 16 of the high halves
    const int16x8_t r = vreinterpretq_s16_u16(sr), g = vreinterpretq_s16_u16(sg),
                    b = vreinterpretq_s16_u16(sb);
    const int16x8_t mid = vdupq_n_s16(128 << kShift);
    int32x4_t u0 = vmull_laneq_s16(vget_low_s16(r), k, 0);
    int32x4_t u1 = vmull_high_laneq_s16(r, k, 0);
    int32x4_t v0 = vmull_laneq_s16(vget_low_s16(r), k, 3);
    int32x4_t v1 = vmull_high_laneq_s16(r, k, 3);
    u0 = vmlal_laneq_s16(u0, vget_low_s16(g), k, 1);
    u1 = vmlal_high_laneq_s16(u1, g, k, 1);
    v0 = vmlal_laneq_s16(v0, vget_low_s16(g), k, 4);
    v1 = vmlal_high_laneq_s16(v1, g, k, 4);
    u0 = vmlal_laneq_s16(u0, vget_low_s16(b), k, 2);
    u1 = vmlal_high_laneq_s16(u1, b, k, 2);
    v0 = vmlal_laneq_s16(v0, vget_low_s16(b), k, 5);
    v1 = vmlal_high_laneq_s16(v1, b, k, 5);
    const int16x8_t uh = vuzp2q_s16(vreinterpretq_s16_s32(u0), vreinterpretq_s16_s32(u1));
    const int16x8_t vh = vuzp2q_s16(vreinterpretq_s16_s32(v0), vreinterpretq_s16_s32(v1));
    u = vqrshrun_n_s16(vaddq_s16(uh, mid), kShift);
    v = vqrshrun_n_s16(vaddq_s16(vh, mid), kShift);
}

// Adds one row's share of the channel sums of 8 groups: columns 2k, 2k + 1, and for left siting
// 2k - 1, 2k as well (from the previous step's pixels), so the weights are 1, 2, 1.
template <bool Left, bool First>
inline uint16x8_t add_row(uint16x8_t sum, uint8x16_t row, uint8x16_t &prev)
{
    uint16x8_t s = First ? vpaddlq_u8(row) : vpadalq_u8(sum, row);
    if constexpr (Left) {
        s = vpadalq_u8(s, vextq_u8(prev, row, 15));
        prev = row;
    }
    return s;
}

// ---- Packed RGB rows ------------------------------------------------------------------------

template <int Bytes>
struct Pixels16 {
    uint8x16_t c[4];
};

template <int Bytes>
inline Pixels16<Bytes> load16(const uint8_t *p)
{
    Pixels16<Bytes> out;
    if constexpr (Bytes == 4) {
        const uint8x16x4_t v = vld4q_u8(p);
        for (int i = 0; i < 4; ++i)
            out.c[i] = v.val[i];
    } else {
        const uint8x16x3_t v = vld3q_u8(p);
        for (int i = 0; i < 3; ++i)
            out.c[i] = v.val[i];
        out.c[3] = vdupq_n_u8(255);
    }
    return out;
}

// Pixels [x, n) and the groups from x / 2 (x even) of the row pair, as the reference does them.
void rgb420_tail(const uint8_t *row0, const uint8_t *row1, const PackedLayout &layout,
                 const RgbToYuv &m, int left_siting, int n, int x, uint8_t *y0, uint8_t *y1,
                 uint8_t *u, uint8_t *v, ptrdiff_t step)
{
    if (x >= n)
        return;
    if (x == 0) {
        ref::packed_to_yuv420(row0, row1, layout, m, left_siting, n, y0, y1, u, v, step);
        return;
    }
    // From two pixels earlier, so that the left siting's column 2k - 1 is the real one; the
    // window's first group and pixels are dropped.
    constexpr int kMax = 2 * kStep + 2;
    uint8_t ybuf[2][kMax], ubuf[kMax / 2 + 1], vbuf[kMax / 2 + 1];
    const int start = x - 2, count = n - start;
    if (count > kMax) {  // not reached: the vector loop leaves under one step
        ref::packed_to_yuv420(row0, row1, layout, m, left_siting, n, y0, y1, u, v, step);
        return;
    }
    const ptrdiff_t offset = static_cast<ptrdiff_t>(start) * layout.bytes;
    ref::packed_to_yuv420(row0 + offset, row1 + offset, layout, m, left_siting, count, ybuf[0],
                          y1 != nullptr ? ybuf[1] : nullptr, ubuf, vbuf, 1);
    std::memcpy(y0 + x, ybuf[0] + 2, static_cast<size_t>(n - x));
    if (y1 != nullptr)
        std::memcpy(y1 + x, ybuf[1] + 2, static_cast<size_t>(n - x));
    const int groups = (count + 1) / 2;
    for (int k = 1; k < groups; ++k) {
        const ptrdiff_t at = static_cast<ptrdiff_t>(x / 2 + k - 1) * step;
        u[at] = ubuf[k];
        v[at] = vbuf[k];
    }
}

template <int Bytes, int R, int G, int B, bool Left, bool Pairs>
[[gnu::noinline]] void rgb420_row(const uint8_t *p, const uint8_t *q,
                                  const LumaCoefficients &coefficients, int16x8_t uvk, int steps,
                                  uint8_t *y0, uint8_t *y1, uint8_t *u, uint8_t *v)
{
    const LumaCoefficients yk = coefficients;  // in registers: the stores could alias the caller's
    const int at[3] = {R, G, B};
    uint8x16_t prev_p[3], prev_q[3];
    if (steps <= 0)
        return;
    if constexpr (Left) {
        const Pixels16<Bytes> a = load16<Bytes>(p), b = load16<Bytes>(q);
        for (int c = 0; c < 3; ++c) {  // column -1 is column 0
            prev_p[c] = vdupq_laneq_u8(a.c[at[c]], 0);
            prev_q[c] = vdupq_laneq_u8(b.c[at[c]], 0);
        }
    }
    for (int i = 0; i < steps; ++i) {
        // One row at a time, its pixels folded into the group sums at once (fewer live registers).
        uint16x8_t sums[3] = {};
        const Pixels16<Bytes> a = load16<Bytes>(p);
        p += kStep * Bytes;
        for (int c = 0; c < 3; ++c)
            sums[c] = add_row<Left, true>(sums[c], a.c[at[c]], prev_p[c]);
        vst1q_u8(y0, luma16(a.c[R], a.c[G], a.c[B], yk));
        y0 += kStep;
        const Pixels16<Bytes> b = load16<Bytes>(q);
        q += kStep * Bytes;
        for (int c = 0; c < 3; ++c)
            sums[c] = add_row<Left, false>(sums[c], b.c[at[c]], prev_q[c]);
        if (y1 != nullptr) {
            vst1q_u8(y1, luma16(b.c[R], b.c[G], b.c[B], yk));
            y1 += kStep;
        }
        uint8x8_t uu, vv;
        chroma8<Left>(sums[0], sums[1], sums[2], uvk, uu, vv);
        if constexpr (Pairs) {
            vst2_u8(u, (uint8x8x2_t{{uu, vv}}));
            u += kStep;
        } else {
            vst1_u8(u, uu);
            vst1_u8(v, vv);
            u += kStep / 2;
            v += kStep / 2;
        }
    }
}

template <int Bytes, int R, int G, int B>
void rgb420(const uint8_t *row0, const uint8_t *row1, const PackedLayout &layout, const RgbToYuv &m,
            int left_siting, int n, uint8_t *y0, uint8_t *y1, uint8_t *u, uint8_t *v,
            ptrdiff_t step)
{
    LumaCoefficients yk;
    const bool pairs = step == 2 && v == u + 1;
    if (!split_luma(m, yk) || (step != 1 && !pairs)) {
        ref::packed_to_yuv420(row0, row1, layout, m, left_siting, n, y0, y1, u, v, step);
        return;
    }
    const int steps = n / kStep;
    const int16x8_t uvk = chroma_coefficients(m);
    using Row = void (*)(const uint8_t *, const uint8_t *, const LumaCoefficients &, int16x8_t, int,
                         uint8_t *, uint8_t *, uint8_t *, uint8_t *);
    const Row row = left_siting != 0 ? (pairs ? rgb420_row<Bytes, R, G, B, true, true>
                                              : rgb420_row<Bytes, R, G, B, true, false>)
                                     : (pairs ? rgb420_row<Bytes, R, G, B, false, true>
                                              : rgb420_row<Bytes, R, G, B, false, false>);
    row(row0, row1, yk, uvk, steps, y0, y1, u, v);
    rgb420_tail(row0, row1, layout, m, left_siting, n, steps * kStep, y0, y1, u, v, step);
}

// ---- Rows of the staged path ----------------------------------------------------------------

inline int16x8_t widen(uint8x8_t v) { return vreinterpretq_s16_u16(vmovl_u8(v)); }

void read_u8(const uint8_t *src, int n, int16_t *out)
{
    int x = 0;
    for (; x + kStep <= n; x += kStep) {
        const uint8x16_t v = vld1q_u8(src + x);
        vst1q_s16(out + x, widen(vget_low_u8(v)));
        vst1q_s16(out + x + 8, vreinterpretq_s16_u16(vmovl_high_u8(v)));
    }
    for (; x < n; ++x)
        out[x] = src[x];
}

// Little-endian words: AArch64 Linux and Android are little-endian.
void read_u16_low10(const uint8_t *src, int n, int16_t *out)
{
    const uint16x8_t mask = vdupq_n_u16(0x3FF);
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        const uint16x8_t w = vreinterpretq_u16_u8(vld1q_u8(src + 2 * x));
        vst1q_s16(out + x, vreinterpretq_s16_u16(vandq_u16(w, mask)));
    }
    for (; x < n; ++x)
        out[x] = static_cast<int16_t>((src[2 * x] | (src[2 * x + 1] << 8)) & 0x3FF);
}

void read_u16_high10(const uint8_t *src, int n, int16_t *out)
{
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        const uint16x8_t w = vreinterpretq_u16_u8(vld1q_u8(src + 2 * x));
        vst1q_s16(out + x, vreinterpretq_s16_u16(vshrq_n_u16(w, 6)));
    }
    for (; x < n; ++x)
        out[x] = static_cast<int16_t>((src[2 * x] | (src[2 * x + 1] << 8)) >> 6);
}

void read_pairs_u8(const uint8_t *src, int n, int16_t *first, int16_t *second)
{
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        const uint8x8x2_t v = vld2_u8(src + 2 * x);
        vst1q_s16(first + x, widen(v.val[0]));
        vst1q_s16(second + x, widen(v.val[1]));
    }
    for (; x < n; ++x) {
        first[x] = src[2 * x];
        second[x] = src[2 * x + 1];
    }
}

void read_pairs_u16_high10(const uint8_t *src, int n, int16_t *first, int16_t *second)
{
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        const uint16x8x2_t v = vld2q_u16(reinterpret_cast<const uint16_t *>(src + 4 * x));
        vst1q_s16(first + x, vreinterpretq_s16_u16(vshrq_n_u16(v.val[0], 6)));
        vst1q_s16(second + x, vreinterpretq_s16_u16(vshrq_n_u16(v.val[1], 6)));
    }
    for (; x < n; ++x) {
        first[x] = static_cast<int16_t>((src[4 * x] | (src[4 * x + 1] << 8)) >> 6);
        second[x] = static_cast<int16_t>((src[4 * x + 2] | (src[4 * x + 3] << 8)) >> 6);
    }
}

template <int Bytes, int R, int G, int B, int A>
void read_packed_as(const uint8_t *src, int n, const PackedLayout &, int16_t *r, int16_t *g,
                    int16_t *b, int16_t *a)
{
    int x = 0;
    for (; x + kStep <= n; x += kStep) {
        const Pixels16<Bytes> px = load16<Bytes>(src + static_cast<ptrdiff_t>(x) * Bytes);
        int16_t *const out[4] = {r, g, b, a};
        const int at[4] = {R, G, B, Bytes == 4 ? A : 3};
        for (int c = 0; c < 4; ++c) {
            vst1q_s16(out[c] + x, widen(vget_low_u8(px.c[at[c]])));
            vst1q_s16(out[c] + x + 8, vreinterpretq_s16_u16(vmovl_high_u8(px.c[at[c]])));
        }
    }
    for (const uint8_t *s = src + static_cast<ptrdiff_t>(x) * Bytes; x < n; ++x, s += Bytes) {
        r[x] = s[R];
        g[x] = s[G];
        b[x] = s[B];
        a[x] = Bytes == 4 ? s[A] : 255;
    }
}

// Working scale to bytes: (v + 32) >> 6, clamped (sqrshrun).
inline uint8x16_t to_u8_16(const int16_t *p)
{
    return vqrshrun_high_n_s16(vqrshrun_n_s16(vld1q_s16(p), 6), vld1q_s16(p + 8), 6);
}

inline uint8_t to_u8(int16_t v) { return clamp_byte((v + 32) >> 6); }

void store_u8(const int16_t *in, int n, uint8_t *out, ptrdiff_t step)
{
    if (step != 1) {
        ref::store_u8(in, n, out, step);
        return;
    }
    int x = 0;
    for (; x + kStep <= n; x += kStep)
        vst1q_u8(out + x, to_u8_16(in + x));
    for (; x < n; ++x)
        out[x] = to_u8(in[x]);
}

void rgb_to_y(const int16_t *r, const int16_t *g, const int16_t *b, const RgbToYuv &m, int n,
              uint8_t *y)
{
    LumaCoefficients k;
    if (!split_luma(m, k)) {
        ref::rgb_to_y(r, g, b, m, n, y);
        return;
    }
    int x = 0;
    for (; x + kStep <= n; x += kStep)
        vst1q_u8(y + x, luma16(to_u8_16(r + x), to_u8_16(g + x), to_u8_16(b + x), k));
    const int32_t bias = (m.y_offset << 15) + (1 << 14);
    for (; x < n; ++x)
        y[x] =
            clamp_byte((m.yr * to_u8(r[x]) + m.yg * to_u8(g[x]) + m.yb * to_u8(b[x]) + bias) >> 15);
}

template <bool Left>
void rgb_to_uv_rows(const int16_t *const rgb0[3], const int16_t *const rgb1[3], const RgbToYuv &m,
                    int n, uint8_t *u, uint8_t *v, ptrdiff_t step)
{
    if (n <= 0)
        return;
    const int16x8_t k = chroma_coefficients(m);
    const bool pairs = step == 2 && v == u + 1;
    uint8x16_t prev_p[3], prev_q[3];
    for (int c = 0; c < 3; ++c) {  // column -1 is column 0
        prev_p[c] = vdupq_n_u8(to_u8(rgb0[c][0]));
        prev_q[c] = vdupq_n_u8(to_u8(rgb1[c][0]));
    }
    int x = 0;
    for (; x + kStep <= n; x += kStep) {
        uint16x8_t sums[3] = {};
        for (int c = 0; c < 3; ++c) {
            sums[c] = add_row<Left, true>(sums[c], to_u8_16(rgb0[c] + x), prev_p[c]);
            sums[c] = add_row<Left, false>(sums[c], to_u8_16(rgb1[c] + x), prev_q[c]);
        }
        uint8x8_t uu, vv;
        chroma8<Left>(sums[0], sums[1], sums[2], k, uu, vv);
        const ptrdiff_t at = static_cast<ptrdiff_t>(x / 2) * step;
        if (pairs) {
            vst2_u8(u + at, (uint8x8x2_t{{uu, vv}}));
        } else if (step == 1) {
            vst1_u8(u + at, uu);
            vst1_u8(v + at, vv);
        } else {
            uint8_t bu[8], bv[8];
            vst1_u8(bu, uu);
            vst1_u8(bv, vv);
            for (int i = 0; i < 8; ++i) {
                u[at + i * step] = bu[i];
                v[at + i * step] = bv[i];
            }
        }
    }
    // The last groups, as the reference does them.
    const int32_t bias = (128 << 18) + (1 << 17);
    const int coef[2][3] = {{m.ur, m.ug, m.ub}, {m.vr, m.vg, m.vb}};
    for (int k0 = x / 2; k0 < (n + 1) / 2; ++k0) {
        const int x0 = 2 * k0, x1 = 2 * k0 + 1 < n ? 2 * k0 + 1 : n - 1,
                  xl = 2 * k0 > 0 ? 2 * k0 - 1 : 0;
        int32_t sum[3];
        for (int c = 0; c < 3; ++c) {
            const auto s = [&](int i) { return to_u8(rgb0[c][i]) + to_u8(rgb1[c][i]); };
            sum[c] = Left ? s(xl) + 2 * s(x0) + s(x1) : 2 * (s(x0) + s(x1));
        }
        uint8_t *const out[2] = {u, v};
        for (int i = 0; i < 2; ++i)
            out[i][static_cast<ptrdiff_t>(k0) * step] = clamp_byte(
                (coef[i][0] * sum[0] + coef[i][1] * sum[1] + coef[i][2] * sum[2] + bias) >> 18);
    }
}

void rgb_to_uv(const int16_t *const rgb0[3], const int16_t *const rgb1[3], const RgbToYuv &m,
               int left_siting, int n, uint8_t *u, uint8_t *v, ptrdiff_t step)
{
    (left_siting != 0 ? rgb_to_uv_rows<true> : rgb_to_uv_rows<false>)(rgb0, rgb1, m, n, u, v, step);
}

// ---- P010 to packed RGB, fast chroma --------------------------------------------------------

// The 16-bit matrix of frame.h (sqrdmulh is mul_round15, sqshrun #5 the shift and the clamp) on
// 16 pixels and the 8 chroma pairs they share: each pair's three chroma terms once, then zipped to
// both of its pixels.
template <int Bytes, int R, int G, int B>
[[gnu::noinline]] void p010_row(const uint8_t *y, const uint8_t *uv, const frame::YuvToRgb &m,
                                int steps, uint8_t *dst)
{
    const int16x8_t y_offset = vdupq_n_s16(m.y_offset);
    const int16x8_t half = vdupq_n_s16(1 << (frame::kRgbShift - 1));
    const int16x8_t mid2 = vdupq_n_s16(2 * (128 << frame::kWorkShift8));
    for (int i = 0; i < steps; ++i, y += 32, uv += 32, dst += kStep * Bytes) {
        // 2 (c - mid) on the working scale: ((w >> 6) << 5) - 2 mid.
        const uint16x8x2_t c = vld2q_u16(reinterpret_cast<const uint16_t *>(uv));
        const int16x8_t uu =
            vsubq_s16(vreinterpretq_s16_u16(vshlq_n_u16(vshrq_n_u16(c.val[0], 6), 5)), mid2);
        const int16x8_t vv =
            vsubq_s16(vreinterpretq_s16_u16(vshlq_n_u16(vshrq_n_u16(c.val[1], 6), 5)), mid2);
        const int16x8_t rc = vqrdmulhq_n_s16(vv, m.crv);
        const int16x8_t gc = vaddq_s16(vqrdmulhq_n_s16(uu, m.cgu), vqrdmulhq_n_s16(vv, m.cgv));
        const int16x8_t bc = vqrdmulhq_n_s16(uu, m.cbu);
        uint8x8_t out[3][2];
        for (int h = 0; h < 2; ++h) {
            const uint16x8_t w = vld1q_u16(reinterpret_cast<const uint16_t *>(y) + 8 * h);
            const int16x8_t luma = vreinterpretq_s16_u16(vshlq_n_u16(vshrq_n_u16(w, 6), 4));
            const int16x8_t yy = vaddq_s16(vqrdmulhq_n_s16(vsubq_s16(luma, y_offset), m.cy), half);
            const int16x8_t r = h == 0 ? vzip1q_s16(rc, rc) : vzip2q_s16(rc, rc);
            const int16x8_t g = h == 0 ? vzip1q_s16(gc, gc) : vzip2q_s16(gc, gc);
            const int16x8_t b = h == 0 ? vzip1q_s16(bc, bc) : vzip2q_s16(bc, bc);
            out[0][h] = vqshrun_n_s16(vaddq_s16(yy, r), 5);
            out[1][h] = vqshrun_n_s16(vsubq_s16(yy, g), 5);
            out[2][h] = vqshrun_n_s16(vaddq_s16(yy, b), 5);
        }
        const uint8x16_t rr = vcombine_u8(out[0][0], out[0][1]);
        const uint8x16_t gg = vcombine_u8(out[1][0], out[1][1]);
        const uint8x16_t bb = vcombine_u8(out[2][0], out[2][1]);
        if constexpr (Bytes == 4) {
            uint8x16x4_t o;
            o.val[R] = rr;
            o.val[G] = gg;
            o.val[B] = bb;
            o.val[6 - R - G - B] = vdupq_n_u8(255);
            vst4q_u8(dst, o);
        } else {
            uint8x16x3_t o;
            o.val[R] = rr;
            o.val[G] = gg;
            o.val[B] = bb;
            vst3q_u8(dst, o);
        }
    }
}

template <int Bytes, int R, int G, int B>
void p010_fast(const uint8_t *y, const uint8_t *uv, const frame::YuvToRgb &m,
               const PackedLayout &layout, int n, uint8_t *dst)
{
    const int steps = n / kStep, done = steps * kStep;
    p010_row<Bytes, R, G, B>(y, uv, m, steps, dst);
    if (done < n)  // pairs stay aligned: done is even
        ref::p010_fast_to_packed(y + 2 * done, uv + 2 * done, m, layout, n - done,
                                 dst + static_cast<ptrdiff_t>(done) * Bytes);
}

// ---- Layout dispatch ------------------------------------------------------------------------

using ReadPacked = decltype(&ref::read_packed);
using PackedToYuv420 = decltype(&ref::packed_to_yuv420);

// The five layouts of the formats (RGBA, BGRA, ARGB, RGB24, BGR24).
#define OZMU_FRAME_IO_LAYOUTS(X)                                                                   \
    X(4, 0, 1, 2, 3) X(4, 2, 1, 0, 3) X(4, 1, 2, 3, 0) X(3, 0, 1, 2, -1) X(3, 2, 1, 0, -1)

#define OZMU_FRAME_IO_MATCH(nb, nr, ng, nbl, na)                                                   \
    if (l.bytes == (nb) && l.r == (nr) && l.g == (ng) && l.b == (nbl) && l.a == (na))

void read_packed(const uint8_t *src, int n, const PackedLayout &l, int16_t *r, int16_t *g,
                 int16_t *b, int16_t *a)
{
#define OZMU_FRAME_IO_READ(bytes, rr, gg, bb, aa)                                                  \
    OZMU_FRAME_IO_MATCH(bytes, rr, gg, bb, aa)                                                     \
    return read_packed_as<bytes, rr, gg, bb, aa>(src, n, l, r, g, b, a);
    OZMU_FRAME_IO_LAYOUTS(OZMU_FRAME_IO_READ)
#undef OZMU_FRAME_IO_READ
    ref::read_packed(src, n, l, r, g, b, a);
}

void packed_to_yuv420(const uint8_t *row0, const uint8_t *row1, const PackedLayout &l,
                      const RgbToYuv &m, int left_siting, int n, uint8_t *y0, uint8_t *y1,
                      uint8_t *u, uint8_t *v, ptrdiff_t step)
{
#define OZMU_FRAME_IO_RGB420(bytes, rr, gg, bb, aa)                                                \
    OZMU_FRAME_IO_MATCH(bytes, rr, gg, bb, aa)                                                     \
    return rgb420<bytes, rr, gg, bb>(row0, row1, l, m, left_siting, n, y0, y1, u, v, step);
    OZMU_FRAME_IO_LAYOUTS(OZMU_FRAME_IO_RGB420)
#undef OZMU_FRAME_IO_RGB420
    ref::packed_to_yuv420(row0, row1, l, m, left_siting, n, y0, y1, u, v, step);
}

void p010_fast_to_packed(const uint8_t *y, const uint8_t *uv, const frame::YuvToRgb &m,
                         const PackedLayout &l, int n, uint8_t *dst)
{
#define OZMU_FRAME_IO_P010(bytes, rr, gg, bb, aa)                                                  \
    OZMU_FRAME_IO_MATCH(bytes, rr, gg, bb, aa)                                                     \
    return p010_fast<bytes, rr, gg, bb>(y, uv, m, l, n, dst);
    OZMU_FRAME_IO_LAYOUTS(OZMU_FRAME_IO_P010)
#undef OZMU_FRAME_IO_P010
    ref::p010_fast_to_packed(y, uv, m, l, n, dst);
}

#undef OZMU_FRAME_IO_MATCH
#undef OZMU_FRAME_IO_LAYOUTS

}  // namespace

void install_frame_io(frame::Table &t)
{
    t.read_u8 = read_u8;
    t.read_u16_low10 = read_u16_low10;
    t.read_u16_high10 = read_u16_high10;
    t.read_pairs_u8 = read_pairs_u8;
    t.read_pairs_u16_high10 = read_pairs_u16_high10;
    t.read_packed = read_packed;
    t.store_u8 = store_u8;
    t.rgb_to_y = rgb_to_y;
    t.rgb_to_uv = rgb_to_uv;
    t.packed_to_yuv420 = packed_to_yuv420;
    t.p010_fast_to_packed = p010_fast_to_packed;
}

}  // namespace ozmu::neon
