// The block metrics as their definitions read, sample by sample, written apart from the library:
// SAD and SSD with the shift-by-15 |d|, residuals wrapped to 16 bits, the Hadamard costs as
// matrix products, SATD over whole 4x4 tiles. Plus input blocks placed against guard pages.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "checkasm.h"
#include "metric/metric.h"

namespace ozmu::metric_test {

using test::PageGuardedBuffer;
using test::Pattern;
using test::Rng;

// Satd8*: the 8x8 transform, both operands widened as their type says, both 16-bit operands
// read unsigned (U16), or a signed first against an unsigned 16-bit second (SU16).
enum class Metric { Sad, Ssd, Satd, Satd8, Satd8U16, Satd8SU16 };

// 8-bit samples zero-extend, 16-bit samples sign-extend unless read as unsigned.
inline int32_t value(uint8_t v, bool = false) { return v; }
inline int32_t value(int16_t v, bool as_unsigned = false)
{
    return as_unsigned ? int32_t{static_cast<uint16_t>(v)} : int32_t{v};
}

// |d| with the sign taken as d >> 15: exact up to 32767; 40001 gives 39999, 65535 gives 65533.
inline uint32_t abs15(int32_t d)
{
    const int32_t m = d >> 15;
    return static_cast<uint32_t>((d ^ m) - m);
}

inline int16_t wrap16(int32_t v) { return static_cast<int16_t>(static_cast<uint16_t>(v)); }
inline int ceil4(int n) { return (n + 3) & ~3; }

template <class A, class B>
int sad_ssd(bool square, int w, int h, const A *a, const B *b, ptrdiff_t sa, ptrdiff_t sb)
{
    uint32_t sum = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint32_t t = abs15(value(a[y * sa + x]) - value(b[y * sb + x]));
            sum += square ? t * t : t;
        }
    return static_cast<int>(sum);
}

// Sum of |coefficients| of H r H^T with H the N-point Sylvester Hadamard matrix; any ordering of
// H's rows gives the same magnitudes, so this stands for every butterfly order.
template <int N>
int64_t hadamard_abs_sum(const int64_t (&r)[N][N])
{
    const auto h = [](int u, int k) {
        return std::popcount(static_cast<unsigned>(u & k)) & 1 ? -1 : 1;
    };
    int64_t t[N][N] = {}, sum = 0;
    for (int u = 0; u < N; ++u)
        for (int c = 0; c < N; ++c)
            for (int k = 0; k < N; ++k)
                t[u][c] += h(u, k) * r[k][c];
    for (int u = 0; u < N; ++u)
        for (int v = 0; v < N; ++v) {
            int64_t coef = 0;
            for (int c = 0; c < N; ++c)
                coef += t[u][c] * h(v, c);
            sum += coef < 0 ? -coef : coef;
        }
    return sum;
}

inline int hadamard4x4(const int16_t *residual)
{
    int64_t r[4][4];
    for (int i = 0; i < 16; ++i)
        r[i / 4][i % 4] = residual[i];
    return static_cast<int>(hadamard_abs_sum(r) >> 1);
}

// Whole 4x4 tiles from (0, 0) while x < w and y < h; residuals wrap to 16 bits first.
template <class A, class B>
int satd(int w, int h, const A *a, const B *b, ptrdiff_t sa, ptrdiff_t sb)
{
    uint32_t sum = 0;
    for (int y0 = 0; y0 < h; y0 += 4)
        for (int x0 = 0; x0 < w; x0 += 4) {
            int16_t r[16];
            for (int i = 0; i < 16; ++i) {
                const ptrdiff_t y = y0 + i / 4, x = x0 + i % 4;
                r[i] = wrap16(value(a[y * sa + x]) - value(b[y * sb + x]));
            }
            sum += static_cast<uint32_t>(hadamard4x4(r));
        }
    return static_cast<int>(sum);
}

template <class A, class B>
int satd8x8(const A *a, const B *b, ptrdiff_t sa, ptrdiff_t sb, bool unsigned_a, bool unsigned_b)
{
    int64_t r[8][8];
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            r[y][x] = value(a[y * sa + x], unsigned_a) - value(b[y * sb + x], unsigned_b);
    return static_cast<int>((hadamard_abs_sum(r) + 2) >> 2);
}

template <class A, class B>
int cost(Metric metric, int w, int h, const A *a, const B *b, int sa, int sb)
{
    switch (metric) {
    case Metric::Sad: return sad_ssd(false, w, h, a, b, sa, sb);
    case Metric::Ssd: return sad_ssd(true, w, h, a, b, sa, sb);
    case Metric::Satd: return satd(w, h, a, b, sa, sb);
    case Metric::Satd8: return satd8x8(a, b, sa, sb, false, false);
    case Metric::Satd8U16: return satd8x8(a, b, sa, sb, true, true);
    case Metric::Satd8SU16: return satd8x8(a, b, sa, sb, false, true);
    }
    return -1;
}

// Row by row, sample by sample: an output overlapping an input sees the values stored before.
template <class A, class B>
void diff(int w, int h, const A *a, const B *b, int sa, int sb, int so, int16_t *out)
{
    for (ptrdiff_t y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            out[y * so + x] = wrap16(value(a[y * sa + x]) - value(b[y * sb + x]));
}

// cols x rows samples at a signed stride, the lowest row flush against the leading guard page or
// the highest row's end (plus `slack` samples) against the trailing one: any read outside faults.
// Samples between rows are filled too.
template <class T>
class GuardedBlock {
public:
    GuardedBlock(int cols, int rows, int stride, int slack, PageGuardedBuffer::Flush flush)
        : memory_(cols < 1 || rows < 1
                      ? 0
                      : sizeof(T) *
                            (static_cast<size_t>(std::abs(stride)) * (rows - 1) + cols + slack),
                  flush)
    {
        T *base = reinterpret_cast<T *>(memory_.data());
        origin_ = memory_.size() && stride < 0 ? base - static_cast<ptrdiff_t>(stride) * (rows - 1)
                                               : base;
    }
    // Over the whole range of T, or 10-bit values for 16-bit samples.
    void fill(Rng &rng, Pattern pattern, bool narrow)
    {
        const bool bytes = sizeof(T) == 1;
        test::fill_pattern(rng, pattern, memory_.data(), memory_.size() / sizeof(T), sizeof(T),
                           bytes || narrow ? 0 : -32768,
                           bytes    ? 255
                           : narrow ? 1023
                                    : 32767);
    }
    T *origin() { return origin_; }

private:
    PageGuardedBuffer memory_;
    T *origin_;
};

// Operand patterns per trial: random, the extremes against each other (the largest differences
// and lane sums), alternating and random extremes, then typical 10-bit samples.
struct Values {
    Pattern a, b;
    bool narrow;
};
inline const Values kValues[] = {{Pattern::Random, Pattern::Random, false},
                                 {Pattern::Max, Pattern::Min, false},
                                 {Pattern::Min, Pattern::Max, false},
                                 {Pattern::MinMax, Pattern::MaxMin, false},
                                 {Pattern::RandomExtremes, Pattern::RandomExtremes, false},
                                 {Pattern::Random, Pattern::Random, true}};

// Both inputs of one trial, cols x rows readable (plus slack after each row): stride signs from
// bits 0 and 1 of the trial number, the guarded side from bit 2, values from kValues.
template <class A, class B>
struct Operands {
    static int stride(Rng &rng, int w, bool negative)
    {
        return (std::max(w, 1) + rng.range(0, 9)) * (negative ? -1 : 1);
    }
    static PageGuardedBuffer::Flush side(int trial)
    {
        return trial & 4 ? PageGuardedBuffer::Flush::Start : PageGuardedBuffer::Flush::End;
    }
    Operands(Rng &rng, int trial, int w, int cols, int rows, int slack)
        : stride_a(stride(rng, w, trial & 1)), stride_b(stride(rng, w, trial & 2)),
          a(cols, rows, stride_a, slack, side(trial)), b(cols, rows, stride_b, slack, side(trial))
    {
        const Values &v = kValues[trial % std::size(kValues)];
        a.fill(rng, v.a, v.narrow);
        b.fill(rng, v.b, v.narrow);
    }

    int stride_a, stride_b;
    GuardedBlock<A> a;
    GuardedBlock<B> b;
};

// Sizes for the generic functions: every tail of 16- and 32-sample steps, long rows, zero and
// negative widths, each at a non-positive, a one- and two-row and an odd height.
inline std::vector<std::pair<int, int>> generic_sizes(Rng &rng)
{
    std::vector<int> widths = test::tail_widths(32, {100, 1000});
    widths.insert(widths.begin(), {-5, 0});
    std::vector<std::pair<int, int>> sizes;
    for (int w : widths)
        for (int h : {w & 1 ? 0 : -3, 1, 2, 3 + 2 * rng.range(0, 3)})
            sizes.emplace_back(w, h);
    return sizes;
}

// Every version of one member, each bound to a common call signature: the exported entry point,
// the reference, then every vector version of the table entry this CPU runs (one per tier that
// installs its own, NEON on AArch64). Second exported names have neither; the 2-wide shapes have
// no table entry.
template <class Call, class F, class Bind>
std::vector<std::pair<std::string, Call>> versions(F exported, F reference, F metric::Table::*entry,
                                                   Bind bind)
{
    std::vector<std::pair<std::string, Call>> calls{{"exported", bind(exported)}};
    if (reference)
        calls.emplace_back("reference", bind(reference));
    if (entry)
        for (const auto &v : test::versions(&metric::table_for, entry))
            calls.emplace_back(v.tier, bind(v.fn));
    return calls;
}

// ENTRY(f) names a kernel's table entry, NO_ENTRY(f) stands where there is none.
#define ENTRY(f) &ozmu::metric::Table::f
#define NO_ENTRY(f) nullptr

}  // namespace ozmu::metric_test
