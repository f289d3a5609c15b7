// x86-64 AVX2 SATD: the generic functions several 4x4 tiles a step, and the 8x8 members.
//
// As in the SSSE3 file, butterfly stages commute and the last one is replaced by pairwise maxima
// (|x + y| + |x - y| = 2 max(|x|, |y|), the sums always even). 8-bit residuals stay in 16-bit
// lanes (an 8x8 coefficient before the last stage is at most 32 * 255); 16-bit ones in 32-bit.
// The 8x8 cost is (sum + 2) >> 2 = (maxima + 1) >> 1.
#include <immintrin.h>

#include <cstddef>
#include <cstring>

#include "metric/metric.h"

namespace ozmu::avx2 {
namespace {

#include "metric/simd/metric_x86.inc"

// Lane operations for both register widths, so one transform serves 128 and 256 bits.
__m128i add16(__m128i x, __m128i y) { return _mm_add_epi16(x, y); }
__m256i add16(__m256i x, __m256i y) { return _mm256_add_epi16(x, y); }
__m128i sub16(__m128i x, __m128i y) { return _mm_sub_epi16(x, y); }
__m256i sub16(__m256i x, __m256i y) { return _mm256_sub_epi16(x, y); }
__m128i hadd16(__m128i x, __m128i y) { return _mm_hadd_epi16(x, y); }
__m256i hadd16(__m256i x, __m256i y) { return _mm256_hadd_epi16(x, y); }
__m128i hsub16(__m128i x, __m128i y) { return _mm_hsub_epi16(x, y); }
__m256i hsub16(__m256i x, __m256i y) { return _mm256_hsub_epi16(x, y); }
__m128i pair_maxima(__m128i v)
{
    v = _mm_abs_epi16(v);
    return _mm_max_epi16(v, _mm_srli_epi32(v, 16));
}
__m256i pair_maxima(__m256i v)
{
    v = _mm256_abs_epi16(v);
    return _mm256_max_epi16(v, _mm256_srli_epi32(v, 16));
}
// Even 16-bit lanes summed in pairs into 32-bit lanes.
__m128i even_lanes(__m128i v) { return _mm_madd_epi16(v, _mm_set1_epi32(1)); }
__m256i even_lanes(__m256i v) { return _mm256_madd_epi16(v, _mm256_set1_epi32(1)); }

__m128i add32(__m128i x, __m128i y) { return _mm_add_epi32(x, y); }
__m256i add32(__m256i x, __m256i y) { return _mm256_add_epi32(x, y); }
__m128i sub32(__m128i x, __m128i y) { return _mm_sub_epi32(x, y); }
__m256i sub32(__m256i x, __m256i y) { return _mm256_sub_epi32(x, y); }
__m128i max_abs32(__m128i x, __m128i y)
{
    return _mm_max_epi32(_mm_abs_epi32(x), _mm_abs_epi32(y));
}
__m256i max_abs32(__m256i x, __m256i y)
{
    return _mm256_max_epi32(_mm256_abs_epi32(x), _mm256_abs_epi32(y));
}
template <class V>
V unpacklo32(V x, V y)
{
    if constexpr (sizeof(V) == 16)
        return _mm_unpacklo_epi32(x, y);
    else
        return _mm256_unpacklo_epi32(x, y);
}
template <class V>
V unpackhi32(V x, V y)
{
    if constexpr (sizeof(V) == 16)
        return _mm_unpackhi_epi32(x, y);
    else
        return _mm256_unpackhi_epi32(x, y);
}
template <class V>
V unpacklo64(V x, V y)
{
    if constexpr (sizeof(V) == 16)
        return _mm_unpacklo_epi64(x, y);
    else
        return _mm256_unpacklo_epi64(x, y);
}
template <class V>
V unpackhi64(V x, V y)
{
    if constexpr (sizeof(V) == 16)
        return _mm_unpackhi_epi64(x, y);
    else
        return _mm256_unpackhi_epi64(x, y);
}

// ---- 4x4 tiles ----

// 8-bit residual tiles side by side in rows r0..r3 (four 16-bit lanes per tile): halved Hadamard
// sums as 32-bit lanes.
template <class V>
V hadamard_tiles16(V r0, V r1, V r2, V r3)
{
    const V s0 = add16(r0, r1), s1 = add16(r2, r3), d0 = sub16(r0, r1), d1 = sub16(r2, r3);
    const V t0 = add16(s0, s1), t1 = sub16(s0, s1), t2 = add16(d0, d1), t3 = sub16(d0, d1);
    const V m = add16(add16(pair_maxima(hadd16(t0, t1)), pair_maxima(hsub16(t0, t1))),
                      add16(pair_maxima(hadd16(t2, t3)), pair_maxima(hsub16(t2, t3))));
    return even_lanes(m);
}

// 16-bit residual tiles in 32-bit lanes (one tile per 128 bits), rows x0..x3.
template <class V>
V hadamard_tiles32(V x0, V x1, V x2, V x3)
{
    const V s0 = add32(x0, x1), s1 = add32(x2, x3), d0 = sub32(x0, x1), d1 = sub32(x2, x3);
    const V t0 = add32(s0, s1), t1 = sub32(s0, s1), t2 = add32(d0, d1), t3 = sub32(d0, d1);
    const V u0 = unpacklo32(t0, t1), u1 = unpackhi32(t0, t1);
    const V u2 = unpacklo32(t2, t3), u3 = unpackhi32(t2, t3);
    const V c0 = unpacklo64(u0, u2), c1 = unpackhi64(u0, u2);
    const V c2 = unpacklo64(u1, u3), c3 = unpackhi64(u1, u3);
    return add32(max_abs32(add32(c0, c1), add32(c2, c3)), max_abs32(sub32(c0, c1), sub32(c2, c3)));
}

__m256i residual8x16(const uint8_t *a, const uint8_t *b)
{
    return _mm256_sub_epi16(_mm256_cvtepu8_epi16(load128(a)), _mm256_cvtepu8_epi16(load128(b)));
}
__m128i residual8x8(__m128i a, __m128i b)
{
    return _mm_sub_epi16(_mm_cvtepu8_epi16(a), _mm_cvtepu8_epi16(b));
}

int satd_any(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    if (w <= 12)  // no 16-sample step: the SSSE3 version's two-tile steps do better
        return ssse3::satd(w, h, a, b, stride_a, stride_b);
    const ptrdiff_t sa = stride_a, sb = stride_b;
    __m256i wide = _mm256_setzero_si256();
    __m128i narrow = _mm_setzero_si128();
    for (int y = 0; y < h; y += 4, a += 4 * sa, b += 4 * sb) {
        int x = 0;
        for (; x + 12 < w; x += 16)
            wide = _mm256_add_epi32(wide,
                                    hadamard_tiles16(residual8x16(a + x, b + x),
                                                     residual8x16(a + x + sa, b + x + sb),
                                                     residual8x16(a + x + 2 * sa, b + x + 2 * sb),
                                                     residual8x16(a + x + 3 * sa, b + x + 3 * sb)));
        for (; x < w; x += 8) {
            // Two tiles, or the last one alone with zero residuals beside it.
            const bool two = x + 4 < w;
            __m128i r[4];
            for (int i = 0; i < 4; ++i) {
                const uint8_t *pa = a + x + i * sa, *pb = b + x + i * sb;
                r[i] =
                    two ? residual8x8(load64(pa), load64(pb)) : residual8x8(load32(pa), load32(pb));
            }
            narrow = _mm_add_epi32(narrow, hadamard_tiles16(r[0], r[1], r[2], r[3]));
        }
    }
    return static_cast<int>(sum32(wide) + sum32(narrow));
}

// Two tiles' row of 16-bit residuals (wrapped to 16 bits), sign-extended to 32-bit lanes.
__m256i residual16x8(const int16_t *a, const int16_t *b)
{
    return _mm256_cvtepi16_epi32(_mm_sub_epi16(load128(a), load128(b)));
}
__m128i residual16x4(const int16_t *a, const int16_t *b)
{
    return _mm_cvtepi16_epi32(_mm_sub_epi16(load64(a), load64(b)));
}

int satd16_any(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    __m256i wide = _mm256_setzero_si256();
    __m128i narrow = _mm_setzero_si128();
    for (int y = 0; y < h; y += 4, a += 4 * sa, b += 4 * sb) {
        int x = 0;
        for (; x + 4 < w; x += 8)
            wide = _mm256_add_epi32(wide,
                                    hadamard_tiles32(residual16x8(a + x, b + x),
                                                     residual16x8(a + x + sa, b + x + sb),
                                                     residual16x8(a + x + 2 * sa, b + x + 2 * sb),
                                                     residual16x8(a + x + 3 * sa, b + x + 3 * sb)));
        if (x < w)
            narrow = _mm_add_epi32(narrow,
                                   hadamard_tiles32(residual16x4(a + x, b + x),
                                                    residual16x4(a + x + sa, b + x + sb),
                                                    residual16x4(a + x + 2 * sa, b + x + 2 * sb),
                                                    residual16x4(a + x + 3 * sa, b + x + 3 * sb)));
    }
    return static_cast<int>(sum32(wide) + sum32(narrow));
}

// ---- 8x8 ----

// 8-bit: rows i and i + 4 share a register (low and high half). Row bits 0 and 1 across
// registers, the three column stages by pairwise sums and differences inside each half, row bit
// 2 last as maxima of the two halves.
int satd8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    __m256i r[4];
    for (int i = 0; i < 4; ++i) {
        const __m128i pa = _mm_unpacklo_epi64(load64(a + i * sa), load64(a + (i + 4) * sa));
        const __m128i pb = _mm_unpacklo_epi64(load64(b + i * sb), load64(b + (i + 4) * sb));
        r[i] = _mm256_sub_epi16(_mm256_cvtepu8_epi16(pa), _mm256_cvtepu8_epi16(pb));
    }
    const __m256i s0 = add16(r[0], r[1]), s1 = add16(r[2], r[3]);
    const __m256i d0 = sub16(r[0], r[1]), d1 = sub16(r[2], r[3]);
    __m256i t[4] = {add16(s0, s1), sub16(s0, s1), add16(d0, d1), sub16(d0, d1)};
    for (int stage = 0; stage < 3; ++stage) {
        const __m256i p0 = hadd16(t[0], t[1]), q0 = hsub16(t[0], t[1]);
        const __m256i p1 = hadd16(t[2], t[3]), q1 = hsub16(t[2], t[3]);
        t[0] = p0, t[1] = q0, t[2] = p1, t[3] = q1;
    }
    __m128i m = _mm_setzero_si128();
    for (const __m256i &v : t) {
        const __m256i abs = _mm256_abs_epi16(v);
        m = _mm_add_epi16(
            m, _mm_max_epi16(_mm256_castsi256_si128(abs), _mm256_extracti128_si256(abs, 1)));
    }
    // Lanes at most 4 * 32 * 255: still 16-bit.
    const uint32_t maxima = sum32(_mm_madd_epi16(m, _mm_set1_epi16(1)));
    return static_cast<int>((maxima + 1) >> 1);
}

// 16-bit operands in 32-bit lanes, one row per register; each operand widened as its member
// reads it.
enum class Read { Signed, Unsigned, Bytes };

template <Read kRead, class T>
__m256i widen_row(const T *p)
{
    if constexpr (kRead == Read::Bytes)
        return _mm256_cvtepu8_epi32(load64(p));
    else if constexpr (kRead == Read::Unsigned)
        return _mm256_cvtepu16_epi32(load128(p));
    else
        return _mm256_cvtepi16_epi32(load128(p));
}

// Row stages across registers, an in-half transpose (register k then holds column k in its low
// half and column k + 4 in its high half, rows 0-3 of one group of four registers and rows 4-7 of
// the other), column bits 0 and 1 across registers, column bit 2 last as maxima of the halves.
template <Read kReadA, Read kReadB, class A, class B>
int satd8x8_wide(const A *a, const B *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    __m256i r[8];
    for (int i = 0; i < 8; ++i)
        r[i] = _mm256_sub_epi32(widen_row<kReadA>(a + i * sa), widen_row<kReadB>(b + i * sb));
    for (int half = 1; half < 8; half <<= 1)
        for (int i = 0; i < 8; ++i)
            if ((i & half) == 0) {
                const __m256i p = r[i], q = r[i + half];
                r[i] = add32(p, q);
                r[i + half] = sub32(p, q);
            }
    __m128i m = _mm_setzero_si128();
    for (int g = 0; g < 8; g += 4) {
        const __m256i u0 = unpacklo32(r[g], r[g + 1]), u1 = unpackhi32(r[g], r[g + 1]);
        const __m256i u2 = unpacklo32(r[g + 2], r[g + 3]), u3 = unpackhi32(r[g + 2], r[g + 3]);
        const __m256i c0 = unpacklo64(u0, u2), c1 = unpackhi64(u0, u2);
        const __m256i c2 = unpacklo64(u1, u3), c3 = unpackhi64(u1, u3);
        const __m256i s0 = add32(c0, c1), s1 = add32(c2, c3);
        const __m256i d0 = sub32(c0, c1), d1 = sub32(c2, c3);
        const __m256i e[4] = {add32(s0, s1), sub32(s0, s1), add32(d0, d1), sub32(d0, d1)};
        for (const __m256i &v : e) {
            const __m256i abs = _mm256_abs_epi32(v);
            m = _mm_add_epi32(
                m, _mm_max_epi32(_mm256_castsi256_si128(abs), _mm256_extracti128_si256(abs, 1)));
        }
    }
    return static_cast<int>((sum32(m) + 1) >> 1);
}

}  // namespace

void install_metric_satd(metric::Table &table)
{
    table.satd = satd_any;
    table.satd_16 = satd16_any;
    table.satd8x8 = satd8x8;
    table.satd8x8_16 = satd8x8_wide<Read::Unsigned, Read::Unsigned, int16_t, int16_t>;
    table.satd8x8_bi = satd8x8_wide<Read::Signed, Read::Bytes, int16_t, uint8_t>;
    table.satd8x8_bi_16 = satd8x8_wide<Read::Signed, Read::Unsigned, int16_t, int16_t>;
}

}  // namespace ozmu::avx2
