// NEON Hadamard and SATD kernels.
//
// The transforms are separable and exact, so their butterfly stages run in whatever order suits
// the register layout: a stage between registers costs an add and a subtract per register pair,
// a stage between lanes of one register needs its operands gathered first. Two identities keep
// the in-register stages cheap:
// - the last stage is never computed: |x + y| + |x - y| = 2 max(|x|, |y|), so the sum of the
//   absolute coefficients is twice the sum of the pairwise maxima (umaxp when x and y are
//   neighbouring lanes), and that sum already is the halved 4x4 cost;
// - the stage before it, between neighbouring lanes, needs only absolute values: addp gives the
//   sums (then abs), sabd of the even and odd lanes (uzp1, uzp2) the absolute differences, and
//   umaxp finishes on the lanes those leave side by side.
//
// Lane widths: 8-bit residuals (9 bits) stay in 16-bit lanes through the whole 4x4 and 8x8
// transform (at most 16 x 255 and 64 x 255). 16-bit residuals, full 16-bit values at 4x4 and up
// to 18 bits at 8x8, are transformed in 32-bit lanes.
//
// Rows are loaded with post-indexed ld1 (inline asm, for g++ and clang alike): one instruction a
// row and block; the generic SATD loads the rows of several tiles at a column offset from
// per-row pointers. No routine reads outside its block (or its tiles) or branches on the data.
#include <arm_neon.h>

#include <cstddef>

#include "metric/metric.h"

namespace ozmu::neon {
namespace {

// ---------------------------------------------------------------------------------------------
// Loads: one row a statement, the pointer stepped to the next row. The "m" operand is the row
// the statement reads.

#define OZMU_INLINE [[gnu::always_inline]] inline
#define OZMU_UNROLLED _Pragma("GCC unroll 8")

template <int N>
using Bytes = uint8_t[N];

template <int N>
const Bytes<N> &bytes_at(const uint8_t *p)
{
    return *reinterpret_cast<const Bytes<N> *>(p);
}

// insn loads N bytes into the whole register ("=w") or into one lane of it ("+w").
#define OZMU_LOAD_ROW(name, insn, n, access)                                                       \
    template <class V>                                                                             \
    OZMU_INLINE void name(V &v, const uint8_t *&p, ptrdiff_t step)                                 \
    {                                                                                              \
        asm(insn ", [%1], %2" : access(v), "+r"(p) : "r"(step), "m"(bytes_at<n>(p)));              \
    }
OZMU_LOAD_ROW(load_s_all, "ld1r {%0.4s}", 4, "=w")
OZMU_LOAD_ROW(load_s_lane1, "ld1 {%0.s}[1]", 4, "+w")
OZMU_LOAD_ROW(load_s_lane2, "ld1 {%0.s}[2]", 4, "+w")
OZMU_LOAD_ROW(load_s_lane3, "ld1 {%0.s}[3]", 4, "+w")
OZMU_LOAD_ROW(load_d, "ld1 {%0.8b}", 8, "=w")
OZMU_LOAD_ROW(load_d_lane1, "ld1 {%0.d}[1]", 8, "+w")
#undef OZMU_LOAD_ROW

const uint8_t *as_bytes(const uint8_t *p) { return p; }
const uint8_t *as_bytes(const int16_t *p) { return reinterpret_cast<const uint8_t *>(p); }

// Four rows of four bytes, a row a 32-bit lane.
OZMU_INLINE uint8x16_t load_4x4(const uint8_t *p, ptrdiff_t step)
{
    uint8x16_t v;
    load_s_all(v, p, step);
    load_s_lane1(v, p, step);
    load_s_lane2(v, p, step);
    load_s_lane3(v, p, step);
    return v;
}

// Four rows of four 16-bit samples, two rows a register.
OZMU_INLINE void load_4x4(uint8x16_t &rows01, uint8x16_t &rows23, const int16_t *start,
                          ptrdiff_t step)
{
    const uint8_t *p = as_bytes(start);
    load_d(rows01, p, step);
    load_d_lane1(rows01, p, step);
    load_d(rows23, p, step);
    load_d_lane1(rows23, p, step);
}

// A row of each block in one statement, both pointers stepped (with two statements g++ moves
// the pointers between registers). q loads 16 bytes, d 8.
#define OZMU_LOAD_ROWS(name, insn_a, n_a, insn_b, n_b)                                             \
    template <class VA, class VB>                                                                  \
    OZMU_INLINE void name(VA &va, VB &vb, const uint8_t *&a, const uint8_t *&b, ptrdiff_t step_a,  \
                          ptrdiff_t step_b)                                                        \
    {                                                                                              \
        asm(insn_a ", [%2], %4\n\t" insn_b ", [%3], %5"                                            \
            : "=w"(va), "=w"(vb), "+r"(a), "+r"(b)                                                 \
            : "r"(step_a), "r"(step_b), "m"(bytes_at<n_a>(a)), "m"(bytes_at<n_b>(b)));             \
    }
OZMU_LOAD_ROWS(load_rows_dd, "ld1 {%0.8b}", 8, "ld1 {%1.8b}", 8)
OZMU_LOAD_ROWS(load_rows_qd, "ld1 {%0.16b}", 16, "ld1 {%1.8b}", 8)
OZMU_LOAD_ROWS(load_rows_qq, "ld1 {%0.16b}", 16, "ld1 {%1.16b}", 16)
#undef OZMU_LOAD_ROWS

// Byte steps between rows.
ptrdiff_t step_u8(int stride) { return stride; }
ptrdiff_t step_s16(int stride) { return ptrdiff_t{stride} * 2; }

// ---------------------------------------------------------------------------------------------
// Lane shuffles and butterflies.

int16x8_t s16(uint16x8_t v) { return vreinterpretq_s16_u16(v); }
uint16x8_t u16(uint8x16_t v) { return vreinterpretq_u16_u8(v); }

OZMU_INLINE int16x8_t trn1_64(int16x8_t x, int16x8_t y)
{
    return vreinterpretq_s16_s64(vtrn1q_s64(vreinterpretq_s64_s16(x), vreinterpretq_s64_s16(y)));
}
OZMU_INLINE int16x8_t trn2_64(int16x8_t x, int16x8_t y)
{
    return vreinterpretq_s16_s64(vtrn2q_s64(vreinterpretq_s64_s16(x), vreinterpretq_s64_s16(y)));
}

// x + y into x, x - y into y.
template <class V>
OZMU_INLINE void butterfly(V &x, V &y)
{
    const V sum = x + y;
    y = x - y;
    x = sum;
}

// The last two stages over the lanes of x and y, as the maxima that sum to half the absolute
// coefficients: c +- (c + 1) (addp for the sums, sabd of the even and odd lanes for the absolute
// differences), then the maxima of the neighbours that addp and uzp leave, c and c + 2.
OZMU_INLINE uint16x8_t last_stages(int16x8_t x, int16x8_t y)
{
    const uint16x8_t sums = vreinterpretq_u16_s16(vabsq_s16(vpaddq_s16(x, y)));
    const uint16x8_t diffs = vreinterpretq_u16_s16(vabdq_s16(vuzp1q_s16(x, y), vuzp2q_s16(x, y)));
    return vpmaxq_u16(sums, diffs);
}
OZMU_INLINE uint32x4_t last_stages(int32x4_t x, int32x4_t y)
{
    const uint32x4_t sums = vreinterpretq_u32_s32(vabsq_s32(vpaddq_s32(x, y)));
    const uint32x4_t diffs = vreinterpretq_u32_s32(vabdq_s32(vuzp1q_s32(x, y), vuzp2q_s32(x, y)));
    return vpmaxq_u32(sums, diffs);
}

// ---------------------------------------------------------------------------------------------
// 4x4.

// The maxima of one 4x4 tile of 8-bit samples (their sum is the halved cost). Row 3 of each
// block is loaded into the other block's register, so the residual's second half holds r2 and
// -r3: the first row stage then leaves r0 + r2 beside r1 - r3 and r0 - r2 beside r1 + r3, and
// one swap of halves lines up the partners of the second stage, where a transpose takes two.
OZMU_INLINE uint16x8_t maxima4x4_narrow(const uint8_t *a, const uint8_t *b, ptrdiff_t step_a,
                                        ptrdiff_t step_b)
{
    uint8x16_t va, vb;
    load_s_all(va, a, step_a);
    load_s_all(vb, b, step_b);
    load_s_lane1(va, a, step_a);
    load_s_lane1(vb, b, step_b);
    load_s_lane2(va, a, step_a);
    load_s_lane2(vb, b, step_b);
    load_s_lane3(vb, a, step_a);
    load_s_lane3(va, b, step_b);
    int16x8_t x = s16(vsubl_u8(vget_low_u8(va), vget_low_u8(vb)));  // r0, r1
    int16x8_t y = s16(vsubl_high_u8(va, vb));                       // r2, -r3
    butterfly(x, y);
    y = vextq_s16(y, y, 4);
    butterfly(x, y);
    // Columns.
    return last_stages(x, y);
}

// The maxima of two side-by-side 4x4 tiles of 8-bit samples, residual row i in r[i] (columns
// 0-3 the first tile, 4-7 the second): every row stage is between whole registers.
OZMU_INLINE uint16x8_t maxima4x8_narrow(int16x8_t (&r)[4])
{
    butterfly(r[0], r[2]);
    butterfly(r[1], r[3]);
    butterfly(r[0], r[1]);
    butterfly(r[2], r[3]);
    // A lane sums two maxima of at most 16 x 255.
    return vaddq_u16(last_stages(r[0], r[1]), last_stages(r[2], r[3]));
}

// The maxima of a 4x4 tile of any 16-bit residual values (their sum is the halved cost), from
// its first row stage widened to 32 bits: r0 + r2, r1 + r3, r0 - r2, r1 - r3.
OZMU_INLINE uint32x4_t maxima4x4_wide(int32x4_t s0, int32x4_t s1, int32x4_t d0, int32x4_t d1)
{
    butterfly(s0, s1);
    butterfly(d0, d1);
    // Columns.
    return vaddq_u32(last_stages(s0, s1), last_stages(d0, d1));
}

// Rows 0, 1 and 2, 3 of one tile a register.
OZMU_INLINE uint32x4_t maxima4x4_wide(int16x8_t rows01, int16x8_t rows23)
{
    return maxima4x4_wide(
        vaddl_s16(vget_low_s16(rows01), vget_low_s16(rows23)), vaddl_high_s16(rows01, rows23),
        vsubl_s16(vget_low_s16(rows01), vget_low_s16(rows23)), vsubl_high_s16(rows01, rows23));
}

// Two side-by-side tiles, residual row i in r[i] (columns 0-3 the first tile, 4-7 the second).
OZMU_INLINE uint32x4_t maxima4x8_wide(const int16x8_t (&r)[4])
{
    const uint32x4_t first = maxima4x4_wide(vaddl_s16(vget_low_s16(r[0]), vget_low_s16(r[2])),
                                            vaddl_s16(vget_low_s16(r[1]), vget_low_s16(r[3])),
                                            vsubl_s16(vget_low_s16(r[0]), vget_low_s16(r[2])),
                                            vsubl_s16(vget_low_s16(r[1]), vget_low_s16(r[3])));
    const uint32x4_t second =
        maxima4x4_wide(vaddl_high_s16(r[0], r[2]), vaddl_high_s16(r[1], r[3]),
                       vsubl_high_s16(r[0], r[2]), vsubl_high_s16(r[1], r[3]));
    return vaddq_u32(first, second);
}

OZMU_INLINE int cost4x4_wide(int16x8_t rows01, int16x8_t rows23)
{
    return static_cast<int>(vaddvq_u32(maxima4x4_wide(rows01, rows23)));
}

// ---------------------------------------------------------------------------------------------
// 8x8.

// The 8x8 cost (2 s + 2) >> 2 from the sum s of the maxima, half the absolute coefficients:
// (s + 1) >> 1, taken as s - (s >> 1).
OZMU_INLINE int quarter_rounded(uint32_t s) { return static_cast<int>(s - (s >> 1)); }

// The three row stages of an 8x8 transform, a row a register.
template <class V>
OZMU_INLINE void rows8(V (&r)[8])
{
    butterfly(r[0], r[4]);
    butterfly(r[1], r[5]);
    butterfly(r[2], r[6]);
    butterfly(r[3], r[7]);
    butterfly(r[0], r[2]);
    butterfly(r[1], r[3]);
    butterfly(r[4], r[6]);
    butterfly(r[5], r[7]);
    butterfly(r[0], r[1]);
    butterfly(r[2], r[3]);
    butterfly(r[4], r[5]);
    butterfly(r[6], r[7]);
}

// Quartered and rounded 8x8 cost of an 8-bit residual, a row a register.
OZMU_INLINE int cost8x8_narrow(int16x8_t (&r)[8])
{
    rows8(r);
    // Columns: c +- (c + 4) between the halves of two rows, then the last two stages.
    uint16x8_t m[4];
    OZMU_UNROLLED
    for (int i = 0; i < 4; ++i) {
        int16x8_t x = trn1_64(r[2 * i], r[2 * i + 1]), y = trn2_64(r[2 * i], r[2 * i + 1]);
        butterfly(x, y);
        m[i] = last_stages(x, y);
    }
    // A lane sums four maxima of at most 64 x 255: no carry out of 16 bits.
    const uint16x8_t total = vaddq_u16(vaddq_u16(m[0], m[1]), vaddq_u16(m[2], m[3]));
    return quarter_rounded(vaddlvq_u16(total));
}

// Quartered and rounded 8x8 cost of a residual of up to 18 bits after its first column stage,
// row i as c + (c + 4) in lo[i] and c - (c + 4) in hi[i] for the columns c = 0-3. Every residual
// may carry the same Excess, taken off here.
template <int32_t Excess = 0>
OZMU_INLINE int cost8x8_wide(int32x4_t (&lo)[8], int32x4_t (&hi)[8])
{
    // Rows, then the last two stages, one half after the other.
    rows8(lo);
    // The excess cancels in every difference: only lo[0], the sum over all rows of c + (c + 4),
    // holds it, 16 times in each lane.
    if constexpr (Excess != 0)
        lo[0] = vsubq_s32(lo[0], vdupq_n_s32(16 * Excess));
    uint32x4_t m[4];
    OZMU_UNROLLED
    for (int i = 0; i < 4; ++i)
        m[i] = last_stages(lo[2 * i], lo[2 * i + 1]);
    rows8(hi);
    OZMU_UNROLLED
    for (int i = 0; i < 4; ++i)
        m[i] = vaddq_u32(m[i], last_stages(hi[2 * i], hi[2 * i + 1]));
    m[0] = vaddq_u32(vaddq_u32(m[0], m[1]), vaddq_u32(m[2], m[3]));
    return quarter_rounded(vaddvq_u32(m[0]));
}

// The residual of 8x8 blocks of 16-bit samples in 32-bit lanes after the first column stage (see
// cost8x8_wide). B is the second block's sample type; Unsigned says how 16-bit samples are read.
template <bool UnsignedA, bool UnsignedB, class B>
OZMU_INLINE void residual8x8_wide(int32x4_t (&lo)[8], int32x4_t (&hi)[8], const int16_t *block_a,
                                  const B *block_b, int stride_a, int stride_b)
{
    const uint8_t *a = as_bytes(block_a), *b = as_bytes(block_b);
    const ptrdiff_t step_a = step_s16(stride_a);
    const ptrdiff_t step_b = sizeof(B) == 1 ? step_u8(stride_b) : step_s16(stride_b);
    OZMU_UNROLLED
    for (int i = 0; i < 8; ++i) {
        uint8x16_t va;
        if constexpr (sizeof(B) == 1) {
            // Signed 16-bit minus unsigned 8-bit.
            uint8x8_t vb;
            load_rows_qd(va, vb, a, b, step_a, step_b);
            const int16x8_t sa = vreinterpretq_s16_u8(va), sb = s16(vmovl_u8(vb));
            lo[i] = vsubl_s16(vget_low_s16(sa), vget_low_s16(sb));
            hi[i] = vsubl_high_s16(sa, sb);
        } else {
            static_assert(UnsignedB);
            // A signed a, its sign bit flipped, is a + 32768 read unsigned: the cost takes the
            // 32768 off again.
            uint8x16_t vb;
            load_rows_qq(va, vb, a, b, step_a, step_b);
            const uint16x8_t ua = UnsignedA ? u16(va) : veorq_u16(u16(va), vdupq_n_u16(0x8000));
            const uint16x8_t ub = u16(vb);
            lo[i] = vreinterpretq_s32_u32(vsubl_u16(vget_low_u16(ua), vget_low_u16(ub)));
            hi[i] = vreinterpretq_s32_u32(vsubl_high_u16(ua, ub));
        }
        // The first column stage, c +- (c + 4), at once: it frees registers sooner.
        butterfly(lo[i], hi[i]);
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Entry points.

int hadamard4x4(const int16_t *coef) { return cost4x4_wide(vld1q_s16(coef), vld1q_s16(coef + 8)); }

int satd4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return vaddvq_u16(maxima4x4_narrow(a, b, step_u8(stride_a), step_u8(stride_b)));
}

int satd4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    uint8x16_t a01, a23;
    load_4x4(a01, a23, a, step_s16(stride_a));
    const uint8x16_t vb = load_4x4(b, step_u8(stride_b));
    // The residual wraps to 16 bits, as the difference kernels store it.
    return cost4x4_wide(s16(vsubw_u8(u16(a01), vget_low_u8(vb))), s16(vsubw_high_u8(u16(a23), vb)));
}

int satd4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    uint8x16_t a01, a23, b01, b23;
    load_4x4(a01, a23, a, step_s16(stride_a));
    load_4x4(b01, b23, b, step_s16(stride_b));
    return cost4x4_wide(s16(vsubq_u16(u16(a01), u16(b01))), s16(vsubq_u16(u16(a23), u16(b23))));
}

// The generic SATD takes four or two side-by-side tiles a step wherever the last of them is part
// of the tiling (it starts left of w), so a step reads exactly what the single tiles would.
// Summing maxima instead of halved tile costs changes nothing: every coefficient of a tile has
// the parity of the sum of its residuals, so each tile's sum of 16 absolute values is even and
// its half exact.
int satd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t step_a = step_u8(stride_a), step_b = step_u8(stride_b);
    uint32x4_t sum = vdupq_n_u32(0);
    for (int y = 0; y < h; y += 4, a += 4 * step_a, b += 4 * step_b) {
        int x = 0;
        for (; x + 12 < w; x += 16) {
            int16x8_t lo[4], hi[4];
            OZMU_UNROLLED
            for (int i = 0; i < 4; ++i) {
                const uint8x16_t va = vld1q_u8(a + i * step_a + x);
                const uint8x16_t vb = vld1q_u8(b + i * step_b + x);
                lo[i] = s16(vsubl_u8(vget_low_u8(va), vget_low_u8(vb)));
                hi[i] = s16(vsubl_high_u8(va, vb));
            }
            // A lane sums four maxima of at most 16 x 255.
            sum = vpadalq_u16(sum, vaddq_u16(maxima4x8_narrow(lo), maxima4x8_narrow(hi)));
        }
        for (; x + 4 < w; x += 8) {
            int16x8_t r[4];
            OZMU_UNROLLED
            for (int i = 0; i < 4; ++i)
                r[i] = s16(vsubl_u8(vld1_u8(a + i * step_a + x), vld1_u8(b + i * step_b + x)));
            sum = vpadalq_u16(sum, maxima4x8_narrow(r));
        }
        if (x < w)
            sum = vpadalq_u16(sum, maxima4x4_narrow(a + x, b + x, step_a, step_b));
    }
    return static_cast<int>(vaddvq_u32(sum));
}

int satd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t rows_a = stride_a, rows_b = stride_b;
    uint32x4_t sum = vdupq_n_u32(0);
    for (int y = 0; y < h; y += 4, a += 4 * rows_a, b += 4 * rows_b) {
        int x = 0;
        for (; x + 4 < w; x += 8) {
            int16x8_t r[4];
            OZMU_UNROLLED
            for (int i = 0; i < 4; ++i)
                r[i] = vsubq_s16(vld1q_s16(a + i * rows_a + x), vld1q_s16(b + i * rows_b + x));
            sum = vaddq_u32(sum, maxima4x8_wide(r));
        }
        if (x < w) {
            uint8x16_t a01, a23, b01, b23;
            load_4x4(a01, a23, a + x, step_s16(stride_a));
            load_4x4(b01, b23, b + x, step_s16(stride_b));
            sum = vaddq_u32(sum, maxima4x4_wide(s16(vsubq_u16(u16(a01), u16(b01))),
                                                s16(vsubq_u16(u16(a23), u16(b23)))));
        }
    }
    return static_cast<int>(vaddvq_u32(sum));
}

int satd8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t step_a = step_u8(stride_a), step_b = step_u8(stride_b);
    int16x8_t r[8];
    OZMU_UNROLLED
    for (int i = 0; i < 8; ++i) {
        uint8x8_t va, vb;
        load_rows_dd(va, vb, a, b, step_a, step_b);
        r[i] = s16(vsubl_u8(va, vb));
    }
    return cost8x8_narrow(r);
}

int satd8x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    int32x4_t lo[8], hi[8];
    residual8x8_wide<true, true>(lo, hi, a, b, stride_a, stride_b);
    return cost8x8_wide(lo, hi);
}

int satd8x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    int32x4_t lo[8], hi[8];
    residual8x8_wide<false, false>(lo, hi, a, b, stride_a, stride_b);
    return cost8x8_wide(lo, hi);
}

int satd8x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    int32x4_t lo[8], hi[8];
    residual8x8_wide<false, true>(lo, hi, a, b, stride_a, stride_b);
    return cost8x8_wide<32768>(lo, hi);
}

}  // namespace ozmu::neon
