// NEON resampling rows of the frame conversion: the two-row vertical blends and the two-tap
// horizontal filter, byte for byte the portable kernels' definition.
//
// Two-row blend, weights 2^14 - w and w over samples a, b below 2^s:
//   ((2^14 - w) a + w b + 2^(s-1)) >> s = (a << (14 - s)) + sqrdmulh(w, (b - a) << (15 - s))
// since a 2^14 is a multiple of 2^s, and sqrdmulh's (2 x y + 2^15) >> 16 is the same rounded
// quotient; w is at most 2^14 and |b - a| << (15 - s) below 2^15, so everything stays in 16-bit
// lanes. Two-tap horizontal, the same way: with b the heavier tap and o the other, of weight w_o,
//   (w_b b + w_o o + 2^13) >> 14 = b + ((w_o (o - b) + 2^13) >> 14) = b + sqrdmulh(2 w_o, o - b)
// (2 w_o at most 2^14, the lighter weight); each group of eight outputs takes its b and o from
// its 16-sample window with two table look-ups (the map's octets).
//
// Rows under one step and outputs after the last whole group go to the portable kernels; the
// last step of a blend overlaps the one before it rather than running past the end.
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

namespace ozmu::neon {
namespace {

using frame::PairMap;

constexpr int kStep = 16;

void vertical2(const int16_t *a, const int16_t *b, int weight_b, int shift, int n, int16_t *out)
{
    if (n < kStep) {
        ref::vertical2(a, b, weight_b, shift, n, out);
        return;
    }
    const int16x8_t up_a = vdupq_n_s16(static_cast<int16_t>(frame::kQ - shift));
    const int16x8_t up_d = vdupq_n_s16(static_cast<int16_t>(15 - shift));
    const int16x8_t w = vdupq_n_s16(static_cast<int16_t>(weight_b));
    const auto blend = [&](int16x8_t va, int16x8_t vb) {
        return vaddq_s16(vshlq_s16(va, up_a), vqrdmulhq_s16(vshlq_s16(vsubq_s16(vb, va), up_d), w));
    };
    const auto step = [&](int x) {
        const int16x8x2_t va = vld1q_s16_x2(a + x), vb = vld1q_s16_x2(b + x);
        const int16x8x2_t blended = {{blend(va.val[0], vb.val[0]), blend(va.val[1], vb.val[1])}};
        vst1q_s16_x2(out + x, blended);
    };
    int x = 0;
    for (; x + kStep <= n; x += kStep)
        step(x);
    if (x < n)
        step(n - kStep);
}

void vertical2_u8(const uint8_t *a, const uint8_t *b, int weight_b, int n, int16_t *out)
{
    if (n < kStep) {
        ref::vertical2_u8(a, b, weight_b, n, out);
        return;
    }
    const int16x8_t w = vdupq_n_s16(static_cast<int16_t>(weight_b));
    const auto step = [&](int x) {
        const uint8x16_t va = vld1q_u8(a + x), vb = vld1q_u8(b + x);
        // b - a wraps in 16 bits to the signed difference; then << 7.
        const int16x8_t d0 =
            vshlq_n_s16(vreinterpretq_s16_u16(vsubl_u8(vget_low_u8(vb), vget_low_u8(va))), 7);
        const int16x8_t d1 = vshlq_n_s16(vreinterpretq_s16_u16(vsubl_high_u8(vb, va)), 7);
        const int16x8_t a0 = vreinterpretq_s16_u16(vshll_n_u8(vget_low_u8(va), frame::kWorkShift8));
        const int16x8_t a1 = vreinterpretq_s16_u16(vshll_high_n_u8(va, frame::kWorkShift8));
        const int16x8x2_t blended = {
            {vaddq_s16(a0, vqrdmulhq_s16(d0, w)), vaddq_s16(a1, vqrdmulhq_s16(d1, w))}};
        vst1q_s16_x2(out + x, blended);
    };
    int x = 0;
    for (; x + kStep <= n; x += kStep)
        step(x);
    if (x < n)
        step(n - kStep);
}

// The general vertical filter (three taps and more): 32-bit multiply-accumulates, then a rounding
// shift and the truncating narrow of the reference's cast.
void vertical_accumulate(int32_t *acc, const int16_t *row, int weight, int n, int first)
{
    const int16x8_t w = vdupq_n_s16(static_cast<int16_t>(weight));
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        const int16x8_t r = vld1q_s16(row + x);
        int32x4_t lo = vmull_s16(vget_low_s16(r), vget_low_s16(w)), hi = vmull_high_s16(r, w);
        if (first == 0) {
            lo = vaddq_s32(lo, vld1q_s32(acc + x));
            hi = vaddq_s32(hi, vld1q_s32(acc + x + 4));
        }
        vst1q_s32(acc + x, lo);
        vst1q_s32(acc + x + 4, hi);
    }
    if (x < n)
        ref::vertical_accumulate(acc + x, row + x, weight, n - x, first);
}

void vertical_round(const int32_t *acc, int shift, int n, int16_t *out)
{
    const int32x4_t down = vdupq_n_s32(-shift);
    int x = 0;
    for (; x + 8 <= n; x += 8)
        vst1q_s16(out + x, vmovn_high_s32(vmovn_s32(vrshlq_s32(vld1q_s32(acc + x), down)),
                                          vrshlq_s32(vld1q_s32(acc + x + 4), down)));
    if (x < n)
        ref::vertical_round(acc + x, shift, n - x, out + x);
}

// Sixteen outputs a step: pairwise byte sums of both rows, rounded by 2 while narrowing.
void box2_u8(const uint8_t *a, const uint8_t *b, int n, uint8_t *out)
{
    if (n < kStep) {
        ref::box2_u8(a, b, n, out);
        return;
    }
    const auto step = [&](int i) {
        const uint8x16x2_t va = vld1q_u8_x2(a + 2 * i), vb = vld1q_u8_x2(b + 2 * i);
        const uint16x8_t lo = vpadalq_u8(vpaddlq_u8(va.val[0]), vb.val[0]);
        const uint16x8_t hi = vpadalq_u8(vpaddlq_u8(va.val[1]), vb.val[1]);
        vst1q_u8(out + i, vrshrn_high_n_u16(vrshrn_n_u16(lo, 2), hi, 2));
    };
    int i = 0;
    for (; i + kStep <= n; i += kStep)
        step(i);
    if (i < n)
        step(n - kStep);
}

// Eight outputs of the group whose window starts at in + window: base and other taps from the
// 16-sample window, then base + sqrdmulh(coef, other - base) (the coefficient is at most 2^14, the
// difference within the working scale's +-16368).
inline uint8x16x2_t samples16(const int16_t *p)
{
    return vld1q_u8_x2(reinterpret_cast<const uint8_t *>(p));
}

// 16 bytes on the working scale (<< 6), as the bytes of 16 int16 samples.
inline uint8x16x2_t samples16(const uint8_t *p)
{
    const uint8x16_t bytes = vld1q_u8(p);
    return {vreinterpretq_u8_u16(vshll_n_u8(vget_low_u8(bytes), frame::kWorkShift8)),
            vreinterpretq_u8_u16(vshll_high_n_u8(bytes, frame::kWorkShift8))};
}

template <class T>
inline int16x8_t octet(const T *in, int32_t window, const uint8_t *shuffle, const int16_t *coef)
{
    const uint8x16x2_t table = samples16(in + window);
    const uint8x16x2_t ctrl = vld1q_u8_x2(shuffle);
    const int16x8_t base = vreinterpretq_s16_u8(vqtbl2q_u8(table, ctrl.val[0]));
    const int16x8_t other = vreinterpretq_s16_u8(vqtbl2q_u8(table, ctrl.val[1]));
    return vaddq_s16(base, vqrdmulhq_s16(vsubq_s16(other, base), vld1q_s16(coef)));
}

template <class T>
void horizontal2_of(const T *in, const PairMap &m, int16_t *out)
{
    const int32_t *window = m.window8;
    const uint8_t *shuffle = m.shuffle8;
    const int16_t *coef = m.coef;
    const int whole = m.octet_outputs;
    int i = 0;
    if (whole >= 8) {
        for (; i < whole; i += 8)
            vst1q_s16(out + i, octet(in, window[i / 8], shuffle + 4 * i, coef + i));
    }
    if (i < m.outputs) {
        PairMap rest = m;
        rest.outputs = m.outputs - i;
        rest.vector_outputs = 0;
        rest.index += i;
        rest.weight += 2 * i;
        rest.octet_outputs = 0;
        rest.window += i / 4;
        rest.shuffle += 4 * i;
        rest.window8 += i / 8;
        rest.shuffle8 += 4 * i;
        rest.coef += i;
        if constexpr (sizeof(T) == 1)
            ref::horizontal2_u8(in, rest, out + i);
        else
            ref::horizontal2(in, rest, out + i);
    }
}

void horizontal2(const int16_t *in, const PairMap &m, int16_t *out) { horizontal2_of(in, m, out); }

void horizontal2_u8(const uint8_t *in, const PairMap &m, int16_t *out)
{
    horizontal2_of(in, m, out);
}

// Four taps an output, four outputs: each output's four samples and weights multiplied in one
// register, then two rounds of pairwise sums.
inline int32x4_t quad_sums(const int16_t *in, const frame::QuadMap &m, int i)
{
    const int32x4_t w01 = vreinterpretq_s32_s16(vld1q_s16(m.pair01 + 2 * i));
    const int32x4_t w23 = vreinterpretq_s32_s16(vld1q_s16(m.pair23 + 2 * i));
    const int16x8_t wa = vreinterpretq_s16_s32(vzip1q_s32(w01, w23));  // outputs i, i + 1
    const int16x8_t wb = vreinterpretq_s16_s32(vzip2q_s32(w01, w23));  // outputs i + 2, i + 3
    const int16x8_t sa = vcombine_s16(vld1_s16(in + m.index[i]), vld1_s16(in + m.index[i + 1]));
    const int16x8_t sb = vcombine_s16(vld1_s16(in + m.index[i + 2]), vld1_s16(in + m.index[i + 3]));
    const int32x4_t p0 = vmull_s16(vget_low_s16(sa), vget_low_s16(wa)), p1 = vmull_high_s16(sa, wa);
    const int32x4_t p2 = vmull_s16(vget_low_s16(sb), vget_low_s16(wb)), p3 = vmull_high_s16(sb, wb);
    return vpaddq_s32(vpaddq_s32(p0, p1), vpaddq_s32(p2, p3));
}

void horizontal4(const int16_t *in, const frame::QuadMap &map, int16_t *out)
{
    const frame::QuadMap m = map;
    int i = 0;
    for (; i + 8 <= m.outputs; i += 8)
        vst1q_s16(out + i, vrshrn_high_n_s32(vrshrn_n_s32(quad_sums(in, m, i), frame::kQ),
                                             quad_sums(in, m, i + 4), frame::kQ));
    if (i < m.outputs)
        ref::horizontal4(in, frame::quad_map_from(m, i), out + i);
}

}  // namespace

void install_frame_resample(frame::Table &t)
{
    t.vertical2 = vertical2;
    t.vertical2_u8 = vertical2_u8;
    t.horizontal2 = horizontal2;
    t.horizontal2_u8 = horizontal2_u8;
    t.horizontal4 = horizontal4;
    t.box2_u8 = box2_u8;
    t.vertical_accumulate = vertical_accumulate;
    t.vertical_round = vertical_round;
}

}  // namespace ozmu::neon
