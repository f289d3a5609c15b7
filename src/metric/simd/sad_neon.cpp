// NEON SAD and SSD kernels.
//
// 8-bit SAD accumulates absolute differences in 16-bit lanes (uabal) and reduces them once.
//
// 16-bit SAD stays in 16-bit lanes as well. With d = a - b (17 bits), the halving difference
// h = (a - b) >> 1 is exact in 16 bits and gives the sign mask m = d >> 15 = h >> 14 (-2 .. 1).
// d ^ m always lies in 0 .. 65535, so it equals ((a - b) ^ m) taken modulo 2^16, and each term
// (d ^ m) - m is summed as those 16-bit values widened pairwise minus m widened pairwise: six
// instructions per eight samples instead of ten in 32-bit lanes. Mixed SAD starts from the exact
// |d| of sabd instead (see Abs15BiSum). 16-bit SSD squares the same terms (see Abs15SquareSum).
// Nothing branches on the data.
//
// Rows are loaded with post-indexed ld1 (inline asm, for g++ and clang alike): one instruction
// loads a register and steps to the next row, where compiled intrinsics add a pointer update per
// row. No routine reads outside its block.
#include <arm_neon.h>

#include <cstddef>
#include <type_traits>

#include "metric/metric.h"

namespace ozmu::neon {
namespace {

using metric::abs15;

// ---------------------------------------------------------------------------------------------
// Loads.

template <int N>
using Bytes = uint8_t[N];

// The bytes an asm statement reads, as its "m" operand.
template <int N>
const Bytes<N> &bytes_at(const uint8_t *p)
{
    return *reinterpret_cast<const Bytes<N> *>(p);
}

// One register from each block, both pointers stepped, in one asm statement: g++ keeps the two
// pointers in place only when they meet in one statement (with two it shuffles them through
// spare registers). The name gives what is loaded from each block: q 16 bytes, d 8, s 4 (ld1r
// repeats them over the register); "=w" loads write the whole register, "+w" (_laneN) one lane.
#define OZMU_LOAD2(name, insn_a, bytes_a, insn_b, bytes_b, access)                                 \
    template <class VA, class VB>                                                                  \
    void name(VA &va, VB &vb, const uint8_t *&a, const uint8_t *&b, ptrdiff_t step_a,              \
              ptrdiff_t step_b)                                                                    \
    {                                                                                              \
        asm(insn_a ", [%2], %4\n\t" insn_b ", [%3], %5"                                            \
            : access(va), access(vb), "+r"(a), "+r"(b)                                             \
            : "r"(step_a), "r"(step_b), "m"(bytes_at<bytes_a>(a)), "m"(bytes_at<bytes_b>(b)));     \
    }
OZMU_LOAD2(load2_q, "ld1 {%0.16b}", 16, "ld1 {%1.16b}", 16, "=w")
OZMU_LOAD2(load2_qd, "ld1 {%0.16b}", 16, "ld1 {%1.8b}", 8, "=w")
OZMU_LOAD2(load2_d, "ld1 {%0.8b}", 8, "ld1 {%1.8b}", 8, "=w")
OZMU_LOAD2(load2_d_lane1, "ld1 {%0.d}[1]", 8, "ld1 {%1.d}[1]", 8, "+w")
OZMU_LOAD2(load2_ds, "ld1 {%0.8b}", 8, "ld1r {%1.4s}", 4, "=w")
OZMU_LOAD2(load2_ds_lane1, "ld1 {%0.d}[1]", 8, "ld1 {%1.s}[1]", 4, "+w")
OZMU_LOAD2(load2_s, "ld1r {%0.4s}", 4, "ld1r {%1.4s}", 4, "=w")
OZMU_LOAD2(load2_s_lane1, "ld1 {%0.s}[1]", 4, "ld1 {%1.s}[1]", 4, "+w")
OZMU_LOAD2(load2_s_lane2, "ld1 {%0.s}[2]", 4, "ld1 {%1.s}[2]", 4, "+w")
OZMU_LOAD2(load2_s_lane3, "ld1 {%0.s}[3]", 4, "ld1 {%1.s}[3]", 4, "+w")
#undef OZMU_LOAD2

// Rows rows (2 or 4) of 4 bytes from each block, one row per 32-bit lane.
template <int Rows>
void load2_rows4(uint8x16_t &va, uint8x16_t &vb, const uint8_t *&a, const uint8_t *&b,
                 ptrdiff_t step_a, ptrdiff_t step_b)
{
    load2_s(va, vb, a, b, step_a, step_b);
    load2_s_lane1(va, vb, a, b, step_a, step_b);
    if constexpr (Rows == 4) {
        load2_s_lane2(va, vb, a, b, step_a, step_b);
        load2_s_lane3(va, vb, a, b, step_a, step_b);
    }
}

int16x8_t widen(uint8x8_t v) { return vreinterpretq_s16_u16(vmovl_u8(v)); }
int16x8_t as_s16(uint8x16_t v) { return vreinterpretq_s16_u8(v); }

const uint8_t *as_bytes(const uint8_t *p) { return p; }
const uint8_t *as_bytes(const int16_t *p) { return reinterpret_cast<const uint8_t *>(p); }

// Loops over rows: the outer loop turns H / RowsPerTurn times, the inner one is unrolled. The
// state lives in plain locals (no lambdas): a local whose address is taken could be read by the
// loads' memory operands, and the compiler would keep it in memory.
#define OZMU_TURN_LOOP _Pragma("GCC unroll 1")
#define OZMU_UNROLLED _Pragma("GCC unroll 64")

// ---------------------------------------------------------------------------------------------
// Sums.

// The differences both sums take: a - b modulo 2^16 and (a - b) >> 1.
struct Diffs {
    int16x8_t d, h;
};
struct Diffs4 {
    int16x4_t d, h;
};

Diffs diffs(int16x8_t a, int16x8_t b) { return {vsubq_s16(a, b), vhsubq_s16(a, b)}; }
Diffs4 diffs(int16x4_t a, int16x4_t b) { return {vsub_s16(a, b), vhsub_s16(a, b)}; }

// Sum of |a - b| by the shift-by-15 rule over 16-bit lanes (see the top of the file), from the
// differences d = a - b modulo 2^16 and the halving differences h = (a - b) >> 1.
class Abs15Sum {
public:
    Abs15Sum() : xored_(vdupq_n_u32(0)), masks_(vdupq_n_s32(0)) {}
    // Starts with a first vector of terms, sparing the zeroing of the sums.
    explicit Abs15Sum(Diffs v)
    {
        const int16x8_t m = vshrq_n_s16(v.h, 14);
        xored_ = vpaddlq_u16(vreinterpretq_u16_s16(veorq_s16(v.d, m)));
        masks_ = vpaddlq_s16(m);
    }

    void add(Diffs v)
    {
        const int16x8_t m = vshrq_n_s16(v.h, 14);
        xored_ = vpadalq_u16(xored_, vreinterpretq_u16_s16(veorq_s16(v.d, m)));
        masks_ = vpadalq_s16(masks_, m);
    }
    void add(Diffs4 v)
    {
        const int16x4_t m = vshr_n_s16(v.h, 14);
        xored_ = vaddw_u16(xored_, vreinterpret_u16_s16(veor_s16(v.d, m)));
        masks_ = vaddw_s16(masks_, m);
    }
    uint32_t total() const { return vaddvq_u32(vsubq_u32(xored_, vreinterpretq_u32_s32(masks_))); }

private:
    uint32x4_t xored_;
    int32x4_t masks_;
};

// Sum of the shift-by-15 terms of mixed operands from u = |a - b| (sabd: exact, for d = a - b
// lies in -33023 .. 32767). There m = d >> 15 is 0, -1 or -2, and the term is |d| except for odd
// d below -32768, where it is |d| + 2: exactly the lanes with bits 15 and 0 of u both set. The
// term (at most 33024) is formed in the lane and widened pairwise: three instructions per eight
// samples besides the sabd.
class Abs15BiSum {
public:
    Abs15BiSum() : sum_(vdupq_n_u32(0)) {}
    explicit Abs15BiSum(uint16x8_t u) : sum_(vpaddlq_u16(term(u))) {}
    void add(uint16x8_t u) { sum_ = vpadalq_u16(sum_, term(u)); }
    uint32_t total() const { return vaddvq_u32(sum_); }

private:
    static uint16x8_t term(uint16x8_t u)
    {
        const uint16x8_t odd_and_large = vandq_u16(vshlq_n_u16(u, 15), u);  // 0x8000 or 0
        return vsraq_n_u16(u, odd_and_large, 14);
    }
    uint32x4_t sum_;
};

// Sum of squares of the same terms, modulo 2^32. t = (d ^ m) - m taken modulo 2^16 is the term
// itself except for d = -65535 (a = -32768, b = 32767), whose term 65537 becomes 1: the square is
// 2^17 short there, and those lanes are exactly the ones with h = -32768, counted apart.
class Abs15SquareSum {
public:
    void add(Diffs v)
    {
        const int16x8_t m = vshrq_n_s16(v.h, 14);
        const uint16x8_t t = vreinterpretq_u16_s16(vsubq_s16(veorq_s16(v.d, m), m));
        squares_ = vmlal_u16(squares_, vget_low_u16(t), vget_low_u16(t));
        squares_ = vmlal_high_u16(squares_, t, t);
        const uint16x8_t wraps = vceqq_s16(v.h, vdupq_n_s16(-32768));
        wrapped_ = vpadalq_s16(wrapped_, vreinterpretq_s16_u16(wraps));
    }
    void add(Diffs4 v)
    {
        const int16x4_t m = vshr_n_s16(v.h, 14);
        const uint16x4_t t = vreinterpret_u16_s16(vsub_s16(veor_s16(v.d, m), m));
        squares_ = vmlal_u16(squares_, t, t);
        wrapped_ = vaddw_s16(wrapped_, vreinterpret_s16_u16(vceq_s16(v.h, vdup_n_s16(-32768))));
    }
    // wrapped_ holds minus the count of those lanes.
    uint32_t total() const
    {
        return vaddvq_u32(squares_) - (static_cast<uint32_t>(vaddvq_s32(wrapped_)) << 17);
    }

private:
    uint32x4_t squares_ = vdupq_n_u32(0);
    int32x4_t wrapped_ = vdupq_n_s32(0);
};

// 16 samples of each 16-bit block, loaded two registers an instruction, as the differences of
// both halves. ld1 register lists are consecutive registers, so the list is fixed (v16 ..) and
// the first differences are formed in the same asm statement, straight into registers of the
// compiler's choosing.
inline void load_diffs16(Diffs &lo, Diffs &hi, const uint8_t *&a, const uint8_t *&b,
                         ptrdiff_t step_a, ptrdiff_t step_b)
{
    asm("ld1 {v16.8h, v17.8h}, [%[a]], %[step_a]\n\t"
        "ld1 {v18.8h, v19.8h}, [%[b]], %[step_b]\n\t"
        "sub %[d0].8h, v16.8h, v18.8h\n\t"
        "shsub %[h0].8h, v16.8h, v18.8h\n\t"
        "sub %[d1].8h, v17.8h, v19.8h\n\t"
        "shsub %[h1].8h, v17.8h, v19.8h"
        :
        [d0] "=w"(lo.d), [h0] "=w"(lo.h), [d1] "=w"(hi.d), [h1] "=w"(hi.h), [a] "+r"(a), [b] "+r"(b)
        : [step_a] "r"(step_a), [step_b] "r"(step_b), "m"(bytes_at<32>(a)), "m"(bytes_at<32>(b))
        : "v16", "v17", "v18", "v19");
}

// 16 samples of a 16-bit and of an 8-bit block as |a - b| (exact in 16 bits), both halves.
inline void load_abs16_bi(uint16x8_t &lo, uint16x8_t &hi, const uint8_t *&a, const uint8_t *&b,
                          ptrdiff_t step_a, ptrdiff_t step_b)
{
    asm("ld1 {v16.8h, v17.8h}, [%[a]], %[step_a]\n\t"
        "ld1 {v19.16b}, [%[b]], %[step_b]\n\t"
        "uxtl v18.8h, v19.8b\n\t"
        "uxtl2 v19.8h, v19.16b\n\t"
        "sabd %[lo].8h, v16.8h, v18.8h\n\t"
        "sabd %[hi].8h, v17.8h, v19.8h"
        : [lo] "=w"(lo), [hi] "=w"(hi), [a] "+r"(a), [b] "+r"(b)
        : [step_a] "r"(step_a), [step_b] "r"(step_b), "m"(bytes_at<32>(a)), "m"(bytes_at<16>(b))
        : "v16", "v17", "v18", "v19");
}

// ---------------------------------------------------------------------------------------------
// Fixed-size 8-bit SAD.

// sum + |a - b| for 16 bytes, two bytes a lane.
uint16x8_t add_abs_diffs(uint16x8_t sum, uint8x16_t a, uint8x16_t b)
{
    return vabal_high_u8(vabal_u8(sum, vget_low_u8(a), vget_low_u8(b)), a, b);
}

template <int W, int H>
int sad_u8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    uint8x16_t va, vb;
    if constexpr (W == 4 && H == 2) {
        // The second rows by register offset, which sign-extends the stride itself: no stride
        // arithmetic at all. ldr s clears the upper lanes, so they add nothing.
        uint8x8_t a0, b0, a1, b1;
        asm("ldr %s[a0], [%[a]]\n\t"
            "ldr %s[b0], [%[b]]\n\t"
            "ldr %s[a1], [%[a], %w[sa], sxtw]\n\t"
            "ldr %s[b1], [%[b], %w[sb], sxtw]"
            : [a0] "=w"(a0), [b0] "=w"(b0), [a1] "=w"(a1), [b1] "=w"(b1)
            : [a] "r"(a), [b] "r"(b), [sa] "r"(stride_a), [sb] "r"(stride_b)
            : "memory");
        return vaddvq_u16(vabal_u8(vabdl_u8(a0, b0), a1, b1));
    } else if constexpr (W == 4 && H == 4) {
        load2_rows4<H>(va, vb, a, b, sa, sb);
        return vaddlvq_u8(vabdq_u8(va, vb));
    } else if constexpr (W == 4) {
        static_assert(H == 8);
        load2_rows4<4>(va, vb, a, b, sa, sb);
        const uint16x8_t sum = vpaddlq_u8(vabdq_u8(va, vb));
        load2_rows4<4>(va, vb, a, b, sa, sb);
        return static_cast<int>(vaddlvq_u16(vpadalq_u8(sum, vabdq_u8(va, vb))));
    } else if constexpr (W == 8) {
        uint8x8_t ra, rb;
        load2_d(ra, rb, a, b, sa, sb);
        uint16x8_t sum = vabdl_u8(ra, rb);
        OZMU_UNROLLED
        for (int y = 1; y < H; ++y) {
            load2_d(ra, rb, a, b, sa, sb);
            sum = vabal_u8(sum, ra, rb);
        }
        return static_cast<int>(vaddlvq_u16(sum));
    } else {
        // 16-bit sums take at most 256 terms of 255 a lane: 64x64 needs two (for the even and
        // the odd registers of a row). Two plain locals, not an array: see OZMU_TURN_LOOP.
        constexpr int kRegs = W / 16, kRowsPerTurn = H < 256 / W ? H : 256 / W;
        constexpr bool kTwoSums = W * H / 8 > 256;
        const ptrdiff_t next_a = sa - (W - 16), next_b = sb - (W - 16), column = 16;
        uint16x8_t even = vdupq_n_u16(0), odd = even;
        OZMU_TURN_LOOP
        for (int turn = 0; turn < H / kRowsPerTurn; ++turn) {
            OZMU_UNROLLED
            for (int y = 0; y < kRowsPerTurn; ++y) {
                OZMU_UNROLLED
                for (int i = 0; i < kRegs; ++i) {
                    const bool last = i == kRegs - 1;
                    load2_q(va, vb, a, b, last ? next_a : column, last ? next_b : column);
                    if (kTwoSums && (i & 1))
                        odd = add_abs_diffs(odd, va, vb);
                    else
                        even = add_abs_diffs(even, va, vb);
                }
            }
        }
        if constexpr (kTwoSums)
            return static_cast<int>(vaddvq_u32(vpadalq_u16(vpaddlq_u16(even), odd)));
        else
            return static_cast<int>(vaddlvq_u16(even));
    }
}

// ---------------------------------------------------------------------------------------------
// Fixed-size 16-bit and mixed SAD: the first block 16-bit, the second 16-bit (B = int16_t) or
// 8-bit (B = uint8_t, zero-extended).

// One register from rows of W = 4 (two rows) or W = 8 samples: the differences of two 16-bit
// blocks, or |a - b| of a 16-bit and an 8-bit block.
template <int W, bool Bi>
auto load_narrow(const uint8_t *&a, const uint8_t *&b, ptrdiff_t step_a, ptrdiff_t step_b)
{
    uint8x16_t va, vb;
    uint8x8_t rb;
    const auto abs_diff = [](uint8x16_t x, uint8x8_t y) {
        return vreinterpretq_u16_s16(vabdq_s16(as_s16(x), widen(y)));
    };
    if constexpr (W == 4 && Bi) {
        load2_ds(va, vb, a, b, step_a, step_b);
        load2_ds_lane1(va, vb, a, b, step_a, step_b);
        return abs_diff(va, vget_low_u8(vb));
    } else if constexpr (W == 4) {
        load2_d(va, vb, a, b, step_a, step_b);
        load2_d_lane1(va, vb, a, b, step_a, step_b);
        return diffs(as_s16(va), as_s16(vb));
    } else if constexpr (Bi) {
        load2_qd(va, rb, a, b, step_a, step_b);
        return abs_diff(va, rb);
    } else {
        load2_q(va, vb, a, b, step_a, step_b);
        return diffs(as_s16(va), as_s16(vb));
    }
}

template <int W, int H, class B>
int sad_s16(const int16_t *block_a, const B *block_b, int stride_a, int stride_b)
{
    constexpr bool kBi = sizeof(B) == 1;
    const uint8_t *a = as_bytes(block_a), *b = as_bytes(block_b);
    const ptrdiff_t sa = ptrdiff_t{stride_a} * 2, sb = ptrdiff_t{stride_b} * ptrdiff_t{sizeof(B)};
    if constexpr (W <= 8) {
        constexpr int kRows = W == 4 ? 2 : 1;
        std::conditional_t<kBi, Abs15BiSum, Abs15Sum> sum(load_narrow<W, kBi>(a, b, sa, sb));
        OZMU_UNROLLED
        for (int y = kRows; y < H; y += kRows)
            sum.add(load_narrow<W, kBi>(a, b, sa, sb));
        return static_cast<int>(sum.total());
    } else {
        // 16 samples a step.
        constexpr int kSteps = W / 16, kRowsPerTurn = 128 / W < H ? 128 / W : H;
        const ptrdiff_t column_a = 32, column_b = kBi ? 16 : 32;
        const ptrdiff_t next_a = sa - (2 * W - column_a);
        const ptrdiff_t next_b = sb - (W * ptrdiff_t{sizeof(B)} - column_b);
        using Sum = std::conditional_t<kBi, Abs15BiSum, Abs15Sum>;
        using Terms = std::conditional_t<kBi, uint16x8_t, Diffs>;
        Sum sum;
        OZMU_TURN_LOOP
        for (int turn = 0; turn < H / kRowsPerTurn; ++turn) {
            OZMU_UNROLLED
            for (int y = 0; y < kRowsPerTurn; ++y) {
                OZMU_UNROLLED
                for (int i = 0; i < kSteps; ++i) {
                    const ptrdiff_t step_a = i == kSteps - 1 ? next_a : column_a;
                    const ptrdiff_t step_b = i == kSteps - 1 ? next_b : column_b;
                    Terms lo, hi;
                    if constexpr (kBi)
                        load_abs16_bi(lo, hi, a, b, step_a, step_b);
                    else
                        load_diffs16(lo, hi, a, b, step_a, step_b);
                    sum.add(lo);
                    sum.add(hi);
                }
            }
        }
        return static_cast<int>(sum.total());
    }
}

// ---------------------------------------------------------------------------------------------
// Generic sizes. Bands of up to 64 rows; in each band, strips of 16, 8 and 4 columns run down
// the rows with the same post-indexed loads as the fixed sizes, then the last w % 4 columns
// sample by sample.

// 8-bit SAD: the 16-bit sums take at most two terms a lane a row and are widened after each strip.
class SadU8 {
public:
    static uint32_t term(uint32_t t) { return t; }
    void add(uint8x16_t a, uint8x16_t b) { strip_ = add_abs_diffs(strip_, a, b); }
    void add(uint8x8_t a, uint8x8_t b) { strip_ = vabal_u8(strip_, a, b); }
    void add_low4(uint8x8_t a, uint8x8_t b)
    {
        total_ = vaddw_u16(total_, vget_low_u16(vabdl_u8(a, b)));
    }
    void end_strip()
    {
        total_ = vpadalq_u16(total_, strip_);
        strip_ = vdupq_n_u16(0);
    }
    uint32_t total() const { return vaddvq_u32(total_); }

private:
    uint16x8_t strip_ = vdupq_n_u16(0);
    uint32x4_t total_ = vdupq_n_u32(0);
};

// 8-bit SSD: squares of byte differences fit 16 bits and are widened pairwise at once.
class SsdU8 {
public:
    static uint32_t term(uint32_t t) { return t * t; }
    void add(uint8x16_t a, uint8x16_t b)
    {
        const uint8x16_t d = vabdq_u8(a, b);
        total_ = vpadalq_u16(total_, vmull_u8(vget_low_u8(d), vget_low_u8(d)));
        total_ = vpadalq_u16(total_, vmull_high_u8(d, d));
    }
    void add(uint8x8_t a, uint8x8_t b)
    {
        const uint8x8_t d = vabd_u8(a, b);
        total_ = vpadalq_u16(total_, vmull_u8(d, d));
    }
    void add_low4(uint8x8_t a, uint8x8_t b)
    {
        const uint8x8_t d = vabd_u8(a, b);
        total_ = vaddw_u16(total_, vget_low_u16(vmull_u8(d, d)));
    }
    void end_strip() {}
    uint32_t total() const { return vaddvq_u32(total_); }

private:
    uint32x4_t total_ = vdupq_n_u32(0);
};

// The 16-bit sums as generic sums.
template <class Sum, bool Squares>
class Generic16 : public Sum {
public:
    static uint32_t term(uint32_t t) { return Squares ? t * t : t; }
    void end_strip() {}
};

// Columns strip, strip + Columns of the band, rows >= 1.
template <int Columns, class Sum, class T>
void add_strip(Sum &sum, const uint8_t *a, const uint8_t *b, ptrdiff_t step_a, ptrdiff_t step_b,
               int rows)
{
    uint8x16_t va, vb;
    uint8x8_t ra, rb;
    _Pragma("GCC unroll 2") for (int y = rows; y > 0; --y)
    {
        if constexpr (sizeof(T) == 1 && Columns == 16) {
            load2_q(va, vb, a, b, step_a, step_b);
            sum.add(va, vb);
        } else if constexpr (sizeof(T) == 1 && Columns == 8) {
            load2_d(ra, rb, a, b, step_a, step_b);
            sum.add(ra, rb);
        } else if constexpr (sizeof(T) == 1) {
            load2_s(va, vb, a, b, step_a, step_b);
            sum.add_low4(vget_low_u8(va), vget_low_u8(vb));
        } else if constexpr (Columns == 16) {
            Diffs lo, hi;
            load_diffs16(lo, hi, a, b, step_a, step_b);
            sum.add(lo);
            sum.add(hi);
        } else if constexpr (Columns == 8) {
            load2_q(va, vb, a, b, step_a, step_b);
            sum.add(diffs(as_s16(va), as_s16(vb)));
        } else {
            load2_d(ra, rb, a, b, step_a, step_b);
            sum.add(diffs(vreinterpret_s16_u8(ra), vreinterpret_s16_u8(rb)));
        }
    }
    sum.end_strip();
}

template <class Sum, class T>
int generic(int w, int h, const T *a, const T *b, int stride_a, int stride_b)
{
    constexpr int kBand = 64;
    const ptrdiff_t step_a = ptrdiff_t{stride_a} * ptrdiff_t{sizeof(T)};
    const ptrdiff_t step_b = ptrdiff_t{stride_b} * ptrdiff_t{sizeof(T)};
    const int wide = w & ~15, last = w & 3;  // w >= 1 below
    Sum sum;
    uint32_t tail = 0;
    int rows = 0;
    for (int y = 0; y < h && w > 0; y += rows) {
        rows = h - y < kBand ? h - y : kBand;
        const T *row_a = a + ptrdiff_t{y} * stride_a, *row_b = b + ptrdiff_t{y} * stride_b;
        const T *const a_wide = row_a + wide;
        for (; row_a != a_wide; row_a += 16, row_b += 16)
            add_strip<16, Sum, T>(sum, as_bytes(row_a), as_bytes(row_b), step_a, step_b, rows);
        if (w & 8) {
            add_strip<8, Sum, T>(sum, as_bytes(row_a), as_bytes(row_b), step_a, step_b, rows);
            row_a += 8;
            row_b += 8;
        }
        if (w & 4) {
            add_strip<4, Sum, T>(sum, as_bytes(row_a), as_bytes(row_b), step_a, step_b, rows);
            row_a += 4;
            row_b += 4;
        }
        // The last w % 4 columns, row by row: a column count the compiler sees to be below 4,
        // so it does not vectorise the loop.
        for (int r = 0; last && r < rows; ++r, row_a += stride_a, row_b += stride_b)
            for (int i = 0; i < last; ++i)
                tail += Sum::term(abs15(int32_t{row_a[i]} - int32_t{row_b[i]}));
    }
    return static_cast<int>(sum.total() + tail);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Entry points.

#define OZMU_NEON_SAD(w, h)                                                                        \
    int sad##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)               \
    {                                                                                              \
        return sad_u8<w, h>(a, b, stride_a, stride_b);                                             \
    }                                                                                              \
    int sad##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)          \
    {                                                                                              \
        return sad_s16<w, h>(a, b, stride_a, stride_b);                                            \
    }
#define OZMU_NEON_SAD_BI(w, h)                                                                     \
    int sad##w##x##h##_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)          \
    {                                                                                              \
        return sad_s16<w, h>(a, b, stride_a, stride_b);                                            \
    }
OZMU_METRIC_SMALL_SIZES(OZMU_NEON_SAD)
OZMU_METRIC_BI_SIZES(OZMU_NEON_SAD)
OZMU_METRIC_BI_SIZES(OZMU_NEON_SAD_BI)

int sad(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return generic<SadU8>(w, h, a, b, stride_a, stride_b);
}

int sad_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return generic<Generic16<Abs15Sum, false>>(w, h, a, b, stride_a, stride_b);
}

int ssd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return generic<SsdU8>(w, h, a, b, stride_a, stride_b);
}

int ssd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return generic<Generic16<Abs15SquareSum, true>>(w, h, a, b, stride_a, stride_b);
}

}  // namespace ozmu::neon
