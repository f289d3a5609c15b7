// x86-64 SSSE3 (with SSE4.1) Hadamard and SATD.
//
// The 2-D 4x4 Hadamard is four butterfly stages (two over the row index, two over the column
// index) that commute, so any of them may come last. The last one is replaced by pairwise maxima:
// |x + y| + |x - y| = 2 max(|x|, |y|), so a tile's halved sum is exactly the sum of its eight
// maxima. 8-bit residuals (at most 8 * 255 before the last stage) stay in 16-bit lanes; 16-bit
// ones, wrapped to 16 bits as the difference kernels store them, are transformed in 32-bit lanes.
#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "metric/metric.h"

namespace ozmu::ssse3 {
namespace {

#include "metric/simd/metric_x86.inc"

// ---- 32-bit lanes: one tile, row i in x_i ----

uint32_t hadamard_rows32(__m128i x0, __m128i x1, __m128i x2, __m128i x3)
{
    const __m128i s0 = _mm_add_epi32(x0, x1), s1 = _mm_add_epi32(x2, x3);
    const __m128i d0 = _mm_sub_epi32(x0, x1), d1 = _mm_sub_epi32(x2, x3);
    const __m128i t0 = _mm_add_epi32(s0, s1), t1 = _mm_sub_epi32(s0, s1);
    const __m128i t2 = _mm_add_epi32(d0, d1), t3 = _mm_sub_epi32(d0, d1);
    // Columns into registers.
    const __m128i u0 = _mm_unpacklo_epi32(t0, t1), u1 = _mm_unpackhi_epi32(t0, t1);
    const __m128i u2 = _mm_unpacklo_epi32(t2, t3), u3 = _mm_unpackhi_epi32(t2, t3);
    const __m128i c0 = _mm_unpacklo_epi64(u0, u2), c1 = _mm_unpackhi_epi64(u0, u2);
    const __m128i c2 = _mm_unpacklo_epi64(u1, u3), c3 = _mm_unpackhi_epi64(u1, u3);
    const __m128i e0 = _mm_add_epi32(c0, c1), e1 = _mm_sub_epi32(c0, c1);
    const __m128i e2 = _mm_add_epi32(c2, c3), e3 = _mm_sub_epi32(c2, c3);
    const __m128i m = _mm_add_epi32(_mm_max_epi32(_mm_abs_epi32(e0), _mm_abs_epi32(e2)),
                                    _mm_max_epi32(_mm_abs_epi32(e1), _mm_abs_epi32(e3)));
    return sum32(m);
}

// Four 16-bit values of a row (residuals wrapped to 16 bits) sign-extended.
__m128i row32(__m128i r16) { return _mm_cvtepi16_epi32(r16); }

__m128i residual16(const int16_t *a, const int16_t *b)
{
    return _mm_sub_epi16(load64(a), load64(b));
}
__m128i residual16(const int16_t *a, const uint8_t *b)
{
    return _mm_sub_epi16(load64(a), _mm_cvtepu8_epi16(load32(b)));
}

template <class B>
uint32_t satd_tile16(const int16_t *a, const B *b, ptrdiff_t sa, ptrdiff_t sb)
{
    return hadamard_rows32(row32(residual16(a, b)), row32(residual16(a + sa, b + sb)),
                           row32(residual16(a + 2 * sa, b + 2 * sb)),
                           row32(residual16(a + 3 * sa, b + 3 * sb)));
}

// ---- 16-bit lanes: 8-bit residuals, one or two tiles side by side ----

// a - b of 8 bytes (or 4 with the rest zero) as 16-bit lanes.
__m128i residual8(__m128i a, __m128i b)
{
    return _mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), _mm_set1_epi16(static_cast<int16_t>(0xff01)));
}

// Sum of maxima of adjacent lane pairs, as 32-bit lanes (each lane at most 8160 here).
__m128i pair_maxima(__m128i v)
{
    v = _mm_abs_epi16(v);
    return _mm_max_epi16(v, _mm_srli_epi32(v, 16));  // even lanes; odd lanes ignored below
}

// Halved Hadamard sums of the tiles in rows r0..r3 (four lanes per tile), as 32-bit lanes.
__m128i hadamard_tiles16(__m128i r0, __m128i r1, __m128i r2, __m128i r3)
{
    const __m128i s0 = _mm_add_epi16(r0, r1), s1 = _mm_add_epi16(r2, r3);
    const __m128i d0 = _mm_sub_epi16(r0, r1), d1 = _mm_sub_epi16(r2, r3);
    const __m128i t0 = _mm_add_epi16(s0, s1), t1 = _mm_sub_epi16(s0, s1);
    const __m128i t2 = _mm_add_epi16(d0, d1), t3 = _mm_sub_epi16(d0, d1);
    // Column bit 0 by pairwise sums and differences; bit 1 pairs are then adjacent.
    const __m128i m = _mm_add_epi16(
        _mm_add_epi16(pair_maxima(_mm_hadd_epi16(t0, t1)), pair_maxima(_mm_hsub_epi16(t0, t1))),
        _mm_add_epi16(pair_maxima(_mm_hadd_epi16(t2, t3)), pair_maxima(_mm_hsub_epi16(t2, t3))));
    return _mm_madd_epi16(m, _mm_set1_epi32(1));
}

template <bool kTwoTiles>
__m128i satd_tiles8(const uint8_t *a, const uint8_t *b, ptrdiff_t sa, ptrdiff_t sb)
{
    const auto load = [](const uint8_t *p) { return kTwoTiles ? load64(p) : load32(p); };
    __m128i r[4];
    for (int i = 0; i < 4; ++i)
        r[i] = residual8(load(a + i * sa), load(b + i * sb));
    return hadamard_tiles16(r[0], r[1], r[2], r[3]);
}

// ---- members ----

int hadamard4x4(const int16_t *coef)
{
    return static_cast<int>(hadamard_rows32(row32(load64(coef)), row32(load64(coef + 4)),
                                            row32(load64(coef + 8)), row32(load64(coef + 12))));
}

// Rows 0 and 1 share a register, rows 2 and 3 the other; the vertical stage over row bit 1 comes
// first, the one over row bit 0 last (as maxima).
int satd4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    const __m128i r01 = residual8(_mm_unpacklo_epi32(load32(a), load32(a + sa)),
                                  _mm_unpacklo_epi32(load32(b), load32(b + sb)));
    const __m128i r23 = residual8(_mm_unpacklo_epi32(load32(a + 2 * sa), load32(a + 3 * sa)),
                                  _mm_unpacklo_epi32(load32(b + 2 * sb), load32(b + 3 * sb)));
    const __m128i s = _mm_add_epi16(r01, r23), d = _mm_sub_epi16(r01, r23);
    const __m128i p = _mm_hadd_epi16(s, d), q = _mm_hsub_epi16(s, d);
    const __m128i m =
        _mm_add_epi16(pair_maxima(_mm_hadd_epi16(p, q)), pair_maxima(_mm_hsub_epi16(p, q)));
    return static_cast<int>(sum32(_mm_madd_epi16(m, _mm_set1_epi32(1))));
}

int satd4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return static_cast<int>(satd_tile16(a, b, stride_a, stride_b));
}

int satd4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return static_cast<int>(satd_tile16(a, b, stride_a, stride_b));
}

// 8x8, 8-bit: one row per register. Row bits 0 and 1 across registers, the three column stages by
// pairwise sums and differences within rows 0-3 and, identically, within rows 4-7, so that row
// bit 2 pairs sit at the same lane of corresponding registers: it comes last, as maxima.
int satd8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    __m128i r[8];
    for (int i = 0; i < 8; ++i)
        r[i] = residual8(load64(a + i * sa), load64(b + i * sb));
    for (int g = 0; g < 8; g += 4) {
        const __m128i s0 = _mm_add_epi16(r[g], r[g + 1]), s1 = _mm_add_epi16(r[g + 2], r[g + 3]);
        const __m128i d0 = _mm_sub_epi16(r[g], r[g + 1]), d1 = _mm_sub_epi16(r[g + 2], r[g + 3]);
        __m128i t[4] = {_mm_add_epi16(s0, s1), _mm_sub_epi16(s0, s1), _mm_add_epi16(d0, d1),
                        _mm_sub_epi16(d0, d1)};
        for (int stage = 0; stage < 3; ++stage) {
            const __m128i p0 = _mm_hadd_epi16(t[0], t[1]), q0 = _mm_hsub_epi16(t[0], t[1]);
            const __m128i p1 = _mm_hadd_epi16(t[2], t[3]), q1 = _mm_hsub_epi16(t[2], t[3]);
            t[0] = p0, t[1] = q0, t[2] = p1, t[3] = q1;
        }
        for (int k = 0; k < 4; ++k)
            r[g + k] = _mm_abs_epi16(t[k]);
    }
    // Lanes at most 4 * 32 * 255: still 16-bit.
    const __m128i m =
        _mm_add_epi16(_mm_add_epi16(_mm_max_epi16(r[0], r[4]), _mm_max_epi16(r[1], r[5])),
                      _mm_add_epi16(_mm_max_epi16(r[2], r[6]), _mm_max_epi16(r[3], r[7])));
    return static_cast<int>((sum32(_mm_madd_epi16(m, _mm_set1_epi16(1))) + 1) >> 1);
}

int satd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    uint32_t sum = 0;
    for (int y = 0; y < h; y += 4, a += 4 * sa, b += 4 * sb)
        for (int x = 0; x < w; x += 4)
            sum += satd_tile16(a + x, b + x, sa, sb);
    return static_cast<int>(sum);
}

}  // namespace

int satd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    __m128i sums = _mm_setzero_si128();
    for (int y = 0; y < h; y += 4, a += 4 * sa, b += 4 * sb) {
        int x = 0;
        for (; x + 4 < w; x += 8)
            sums = _mm_add_epi32(sums, satd_tiles8<true>(a + x, b + x, sa, sb));
        if (x < w)
            sums = _mm_add_epi32(sums, satd_tiles8<false>(a + x, b + x, sa, sb));
    }
    return static_cast<int>(sum32(sums));
}

void install_metric(metric::Table &table)
{
    table.hadamard4x4 = hadamard4x4;
    table.satd4x4 = satd4x4;
    table.satd4x4_bi = satd4x4_bi;
    table.satd4x4_16 = satd4x4_16;
    table.satd = satd;
    table.satd_16 = satd_16;
    table.satd8x8 = satd8x8;
}

}  // namespace ozmu::ssse3
