// NEON rows of the frame conversion's matrix step, byte for byte the portable kernels'
// definition: the fused unscaled 8-bit 4:2:0 to RGBA, BGRA and ARGB rows, and the staged path's
// working-scale rows to packed RGB.
//
// 16 pixels a step, 8 chroma samples of each plane. Everything stays in 16-bit lanes: chroma is
// built doubled and centred on 0, each product of the definition is one sqrdmulh by lane, and
// sqrshrun #5 rounds and saturates. In the fast mode the chroma terms are computed once per
// sample and then spread to their two pixels.
//
// A step reads chroma samples k0 .. k0 + 7, and k0 + 8 when interpolating horizontally and the row
// has it; the loop stops before any of them would pass what the reference reads. The rest of the
// row (under 16 pixels) goes to the reference kernel.
#include <arm_neon.h>

#include <cstddef>
#include <cstring>

#include "csc/frame.h"

namespace ozmu::neon {
namespace {

using frame::Chroma420Rows;
using frame::YuvToRgb;

using Fused = void (*)(const uint8_t *, const Chroma420Rows &, const YuvToRgb &, int, uint8_t *);

constexpr int kStep = 16;
constexpr int kBytes = 4;

enum Layout { kRgba, kBgra, kArgb, kRgb24, kBgr24 };
// How the chroma samples lie: two planes, or pairs with U or V first.
enum Source { kPlanar, kPairsUv, kPairsVu };
// Chroma: the group's sample (fast: rows weighted 4, 0), or interpolated for left or centred
// siting.
enum Mode { kFast, kLeft, kCentred };

// Samples k .. k + 7 of each plane from the pointers to sample 0 of the step (planar: a U, b V;
// pairs: a the pair's first byte).
template <Source S>
inline void load_uv(const uint8_t *a, const uint8_t *b, ptrdiff_t k, uint8x8_t &u, uint8x8_t &v)
{
    if constexpr (S == kPlanar) {
        u = vld1_u8(a + k);
        v = vld1_u8(b + k);
    } else {
        const uint8x8x2_t p = vld2_u8(a + 2 * k);
        u = p.val[S == kPairsUv ? 0 : 1];
        v = p.val[S == kPairsUv ? 1 : 0];
    }
}

// Both chroma rows weighted vertically (a0, b0 row 0, a1, b1 row 1), on top of `bias`: a share of
// minus the doubled mid level such that the horizontal step's sums come out centred on 0.
// Computed modulo 2^16; the final sums fit int16.
template <Source S>
inline void vertical(const uint8_t *a0, const uint8_t *b0, const uint8_t *a1, const uint8_t *b1,
                     ptrdiff_t k, uint8x8_t w0, uint8x8_t w1, uint16x8_t bias, uint16x8_t &u,
                     uint16x8_t &v)
{
    uint8x8_t u0, v0, u1, v1;
    load_uv<S>(a0, b0, k, u0, v0);
    load_uv<S>(a1, b1, k, u1, v1);
    u = vmlal_u8(vmlal_u8(bias, u0, w0), u1, w1);
    v = vmlal_u8(vmlal_u8(bias, v0, w0), v1, w1);
}

// Even and odd pixels' doubled, centred chroma to 16 pixels in order.
inline void spread(uint16x8_t even, uint16x8_t odd, int16x8_t out[2])
{
    const int16x8_t e = vreinterpretq_s16_u16(even), o = vreinterpretq_s16_u16(odd);
    out[0] = vzip1q_s16(e, o);
    out[1] = vzip2q_s16(e, o);
}

// The chroma terms of R, G (to subtract) and B; k: cy, crv, cgu, cgv, cbu in lanes 0 .. 4.
struct ChromaTerms {
    int16x8_t r, g, b;
};
inline ChromaTerms chroma_terms(int16x8_t u, int16x8_t v, int16x8_t k)
{
    return {vqrdmulhq_laneq_s16(v, k, 1),
            vaddq_s16(vqrdmulhq_laneq_s16(u, k, 2), vqrdmulhq_laneq_s16(v, k, 3)),
            vqrdmulhq_laneq_s16(u, k, 4)};
}

inline uint8x16_t to_u8(int16x8_t lo, int16x8_t hi)
{
    return vqrshrun_high_n_s16(vqrshrun_n_s16(lo, frame::kRgbShift), hi, frame::kRgbShift);
}

template <Layout L>
inline void store(uint8_t *dst, uint8x16_t r, uint8x16_t g, uint8x16_t b)
{
    const uint8x16_t a = vdupq_n_u8(255);
    if constexpr (L == kRgb24 || L == kBgr24) {
        const uint8x16x3_t o = L == kRgb24 ? uint8x16x3_t{{r, g, b}} : uint8x16x3_t{{b, g, r}};
        vst3q_u8(dst, o);
        return;
    }
    uint8x16x4_t o;
    if constexpr (L == kRgba)
        o = {{r, g, b, a}};
    else if constexpr (L == kBgra)
        o = {{b, g, r, a}};
    else
        o = {{a, r, g, b}};
    vst4q_u8(dst, o);
}

// Pixels x0 .. n - 1 (x0 even) through the reference: from x0 - 2 with the chroma shifted by one
// sample less than x0's, so the centred siting's left neighbour is the real one, into a buffer.
template <Fused Ref>
void tail(const uint8_t *y, const Chroma420Rows &c, const YuvToRgb &m, int n, int x0, uint8_t *dst)
{
    if (x0 >= n)
        return;
    if (x0 == 0) {
        Ref(y, c, m, n, dst);
        return;
    }
    constexpr int kMaxTail = 2 * kStep + 2;
    uint8_t buffer[kMaxTail * kBytes];
    const int k = x0 / 2 - 1;
    const ptrdiff_t offset = static_cast<ptrdiff_t>(k) * c.step;
    Chroma420Rows t = c;
    for (int r = 0; r < 2; ++r) {
        t.u[r] = c.u[r] + offset;
        t.v[r] = c.v[r] + offset;
    }
    t.width = c.width - k;
    const int count = n - x0 + 2;
    if (count > kMaxTail) {  // not reached: the loop leaves at most one step
        Ref(y, c, m, n, dst);
        return;
    }
    Ref(y + x0 - 2, t, m, count, buffer);
    std::memcpy(dst + static_cast<ptrdiff_t>(x0) * kBytes, buffer + 2 * kBytes,
                static_cast<size_t>(n - x0) * kBytes);
}

// One symbol per variant (one call a row), so each inner loop can be measured on its own.
template <Layout L, Source S, Mode M, Fused Ref>
[[gnu::noinline]] void row(const uint8_t *y, const Chroma420Rows &c, const uint8_t *const a_rows[2],
                           const uint8_t *const b_rows[2], const YuvToRgb &m, int n, uint8_t *dst)
{
    // Walking copies of the chroma pointers (the stores could otherwise alias the caller's).
    constexpr ptrdiff_t kAdvance = S == kPlanar ? 8 : 16;
    const uint8_t *a0 = a_rows[0], *a1 = a_rows[1], *b0 = b_rows[0], *b1 = b_rows[1];
    const int width = c.width;
    const int16_t coefficients[8] = {m.cy, m.crv, m.cgu, m.cgv, m.cbu, 0, 0, 0};
    const int16x8_t k = vld1q_s16(coefficients);
    const int16x8_t y_offset = vdupq_n_s16(m.y_offset);
    // Row weights (quarters) scaled so that the horizontal step lands on the doubled working
    // scale with no shift: left siting 16 (2 c), 16 (c + c'), centred 8 (c' + 3 c); at most
    // 32640.
    constexpr int kScale = M == kLeft ? 16 : 8;
    // Left siting sums two vertical results, centred four (c' + 3 c).
    const uint16x8_t bias = vdupq_n_u16(
        static_cast<uint16_t>(-(2 * (128 << frame::kWorkShift8)) / (M == kLeft ? 2 : 4) & 0xFFFF));
    const uint8x8_t w0 = vdup_n_u8(static_cast<uint8_t>(c.w[0] * kScale));
    const uint8x8_t w1 = vdup_n_u8(static_cast<uint8_t>(c.w[1] * kScale));
    // Last step start: pixels x0 .. x0 + 15 within the row, chroma k0 .. k0 + 7 within it as well.
    // Interpolation needs k0 + 8: the next step's first sample (its vertical sums are computed
    // one step ahead when that step lies within the row), k0 + 8 alone when only it exists, or
    // k0 + 7 again at the row's end.
    const int chroma_end = width - 8;
    const int last = n - kStep < 2 * chroma_end ? n - kStep : 2 * chroma_end;
    uint16x8_t cur_u = vdupq_n_u16(0), cur_v = cur_u, prev_u = cur_u, prev_v = cur_u;
    if constexpr (M != kFast) {
        if (last >= 0) {
            vertical<S>(a0, b0, a1, b1, 0, w0, w1, bias, cur_u, cur_v);
            prev_u = vdupq_laneq_u16(cur_u, 0);
            prev_v = vdupq_laneq_u16(cur_v, 0);
        }
    }
    int x = 0;
    const auto step = [&] {
        ChromaTerms t[2];
        if constexpr (M == kFast) {
            uint8x8_t u8, v8;
            load_uv<S>(a0, b0, 0, u8, v8);
            const int16x8_t mid = vdupq_n_s16(2 * (128 << frame::kWorkShift8));
            const ChromaTerms group =
                chroma_terms(vsubq_s16(vreinterpretq_s16_u16(vshll_n_u8(u8, 7)), mid),
                             vsubq_s16(vreinterpretq_s16_u16(vshll_n_u8(v8, 7)), mid), k);
            t[0] = {vzip1q_s16(group.r, group.r), vzip1q_s16(group.g, group.g),
                    vzip1q_s16(group.b, group.b)};
            t[1] = {vzip2q_s16(group.r, group.r), vzip2q_s16(group.g, group.g),
                    vzip2q_s16(group.b, group.b)};
        } else {
            int16x8_t u[2], v[2];
            const uint16x8_t cu = cur_u, cv = cur_v;
            uint16x8_t nu, nv;
            const int k0 = x / 2;
            if (k0 + 16 <= width) {
                vertical<S>(a0, b0, a1, b1, 8, w0, w1, bias, cur_u, cur_v);
                nu = vextq_u16(cu, cur_u, 1);
                nv = vextq_u16(cv, cur_v, 1);
            } else if (k0 + 8 < width) {
                vertical<S>(a0, b0, a1, b1, 1, w0, w1, bias, nu, nv);
            } else {
                nu = vextq_u16(cu, vdupq_laneq_u16(cu, 7), 1);
                nv = vextq_u16(cv, vdupq_laneq_u16(cv, 7), 1);
            }
            if constexpr (M == kLeft) {
                spread(vaddq_u16(cu, cu), vaddq_u16(cu, nu), u);
                spread(vaddq_u16(cv, cv), vaddq_u16(cv, nv), v);
            } else {
                const uint16x8_t pu = vextq_u16(prev_u, cu, 7), pv = vextq_u16(prev_v, cv, 7);
                prev_u = cu;
                prev_v = cv;
                spread(vmlaq_n_u16(pu, cu, 3), vmlaq_n_u16(nu, cu, 3), u);
                spread(vmlaq_n_u16(pv, cv, 3), vmlaq_n_u16(nv, cv, 3), v);
            }
            t[0] = chroma_terms(u[0], v[0], k);
            t[1] = chroma_terms(u[1], v[1], k);
        }
        a0 += kAdvance, a1 += kAdvance, b0 += kAdvance, b1 += kAdvance;
        const uint8x16_t y8 = vld1q_u8(y + x);
        const int16x8_t y0 = vqrdmulhq_laneq_s16(
            vsubq_s16(vreinterpretq_s16_u16(vshll_n_u8(vget_low_u8(y8), 6)), y_offset), k, 0);
        const int16x8_t y1 = vqrdmulhq_laneq_s16(
            vsubq_s16(vreinterpretq_s16_u16(vshll_high_n_u8(y8, 6)), y_offset), k, 0);
        store<L>(dst, to_u8(vaddq_s16(y0, t[0].r), vaddq_s16(y1, t[1].r)),
                 to_u8(vsubq_s16(y0, t[0].g), vsubq_s16(y1, t[1].g)),
                 to_u8(vaddq_s16(y0, t[0].b), vaddq_s16(y1, t[1].b)));
    };
    // Two steps an iteration where the chroma is interpolated: the per-step bookkeeping is a
    // larger share there. The fast mode's loop is kept whole (unrolled, its stores' register
    // moves cost the small cores more than they save).
    if constexpr (M == kFast) {
        for (; x <= last; x += kStep, dst += kStep * kBytes)
            step();
    } else {
#if defined(__clang__)
#pragma unroll 2
#else
#pragma GCC unroll 2
#endif
        for (; x <= last; x += kStep, dst += kStep * kBytes)
            step();
    }
    tail<Ref>(y, c, m, n, x, dst - static_cast<ptrdiff_t>(x) * kBytes);
}

template <Layout L, Source S, Fused Ref>
void row_mode(const uint8_t *y, const Chroma420Rows &c, const uint8_t *const a[2],
              const uint8_t *const b[2], const YuvToRgb &m, int n, uint8_t *dst)
{
    switch (c.horizontal) {
    case 0: row<L, S, kFast, Ref>(y, c, a, b, m, n, dst); break;
    case 1: row<L, S, kLeft, Ref>(y, c, a, b, m, n, dst); break;
    default: row<L, S, kCentred, Ref>(y, c, a, b, m, n, dst); break;
    }
}

template <Layout L, Fused Ref>
void yuv420_to(const uint8_t *y, const Chroma420Rows &c, const YuvToRgb &m, int n, uint8_t *dst)
{
    // Rows as the driver gives them (fast: rows 4, 0; accurate: quarters summing to 4); anything
    // else is left to the reference.
    const bool weights = c.horizontal == 0 ? c.w[0] == 4 && c.w[1] == 0
                                           : c.w[0] >= 0 && c.w[1] >= 0 && c.w[0] + c.w[1] == 4;
    if (!weights || c.width != (n + 1) / 2 || c.horizontal < 0 || c.horizontal > 2) {
        Ref(y, c, m, n, dst);
        return;
    }
    if (c.step == 1) {
        row_mode<L, kPlanar, Ref>(y, c, c.u, c.v, m, n, dst);
        return;
    }
    // Pairs: loaded from the pair's first byte, whichever plane it holds.
    if (c.step == 2) {
        if (c.v[0] == c.u[0] + 1 && c.v[1] == c.u[1] + 1) {
            row_mode<L, kPairsUv, Ref>(y, c, c.u, c.u, m, n, dst);
            return;
        }
        if (c.u[0] == c.v[0] + 1 && c.u[1] == c.v[1] + 1) {
            row_mode<L, kPairsVu, Ref>(y, c, c.v, c.v, m, n, dst);
            return;
        }
    }
    Ref(y, c, m, n, dst);
}

using Staged = void (*)(const int16_t *, const int16_t *, const int16_t *, const YuvToRgb &, int,
                        uint8_t *);

// The staged path's matrix step: working-scale Y, U, V (0 .. 16368) to packed RGB, 16 pixels a
// step, the rest through the reference.
template <Layout L, Staged Ref>
void yuv_to(const int16_t *y, const int16_t *u, const int16_t *v, const YuvToRgb &m, int n,
            uint8_t *dst)
{
    constexpr int kOut = L == kRgb24 || L == kBgr24 ? 3 : 4;
    const int16_t coefficients[8] = {m.cy, m.crv, m.cgu, m.cgv, m.cbu, 0, 0, 0};
    const int16x8_t k = vld1q_s16(coefficients);
    const int16x8_t y_offset = vdupq_n_s16(m.y_offset);
    const int16x8_t mid = vdupq_n_s16(2 * (128 << frame::kWorkShift8));
    int x = 0;
    for (; x + kStep <= n; x += kStep) {
        int16x8_t r[2], g[2], b[2];
        for (int h = 0; h < 2; ++h) {
            const int i = x + 8 * h;
            const int16x8_t luma = vqrdmulhq_laneq_s16(vsubq_s16(vld1q_s16(y + i), y_offset), k, 0);
            const ChromaTerms t = chroma_terms(vsubq_s16(vshlq_n_s16(vld1q_s16(u + i), 1), mid),
                                               vsubq_s16(vshlq_n_s16(vld1q_s16(v + i), 1), mid), k);
            r[h] = vaddq_s16(luma, t.r);
            g[h] = vsubq_s16(luma, t.g);
            b[h] = vaddq_s16(luma, t.b);
        }
        store<L>(dst + static_cast<ptrdiff_t>(x) * kOut, to_u8(r[0], r[1]), to_u8(g[0], g[1]),
                 to_u8(b[0], b[1]));
    }
    if (x < n)
        Ref(y + x, u + x, v + x, m, n - x, dst + static_cast<ptrdiff_t>(x) * kOut);
}

}  // namespace

void install_frame(frame::Table &t)
{
    t.yuv_to_rgba = yuv_to<kRgba, ref::yuv_to_rgba>;
    t.yuv_to_bgra = yuv_to<kBgra, ref::yuv_to_bgra>;
    t.yuv_to_argb = yuv_to<kArgb, ref::yuv_to_argb>;
    t.yuv_to_rgb24 = yuv_to<kRgb24, ref::yuv_to_rgb24>;
    t.yuv_to_bgr24 = yuv_to<kBgr24, ref::yuv_to_bgr24>;
    t.yuv420_to_rgba = yuv420_to<kRgba, ref::yuv420_to_rgba>;
    t.yuv420_to_bgra = yuv420_to<kBgra, ref::yuv420_to_bgra>;
    t.yuv420_to_argb = yuv420_to<kArgb, ref::yuv420_to_argb>;
}

}  // namespace ozmu::neon
