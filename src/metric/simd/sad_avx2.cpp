// x86-64 AVX2 SAD and SSD.
//
// 8-bit SAD: psadbw, VEX-encoded so that one operand's load folds into it; 32-byte rows and wider
// in ymm registers. 16-bit and mixed SAD work in 16-bit lanes. With d = a - b and m = d >> 15
// (-2 .. 1): the unsigned rounding average of a ^ 0x8000 and b ^ 0x7fff is (d >> 1) + 32768
// exactly, so q = avg >> 14 = m + 2; x = (d ^ m) & 0xffff always fits 16 bits unsigned, and the
// term is x - m. Each step adds x - 32768 (the low 16 bits of d xor (q + 0x7ffe), read signed) to
// 32-bit lanes with pmaddwd and q to 16-bit lanes; the constants come back at the end. All sums
// are modulo 2^32, as the reference's.
// SSD: 8-bit squares with pmaddwd; 16-bit ones in 32-bit lanes, squared with pmulld (wrapping).
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "metric/metric.h"

namespace ozmu::avx2 {
namespace {

#include "metric/simd/metric_x86.inc"

uint32_t sum64(__m128i v)
{
    return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_add_epi64(v, _mm_srli_si128(v, 8))));
}
uint32_t sum64(__m256i v)
{
    return sum64(_mm_add_epi64(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}

// |d| as the reference takes it, for the scalar tails.
uint32_t abs15(int32_t d)
{
    const int32_t m = d >> 15;
    return static_cast<uint32_t>(d ^ m) - static_cast<uint32_t>(m);
}

// ---- 8-bit SAD ----

template <int W, int H>
int sad_u8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    if constexpr (W == 16) {
        __m128i s0 = _mm_setzero_si128(), s1 = _mm_setzero_si128();
        for (int y = 0; y < H; y += 2, a += 2 * sa, b += 2 * sb) {
            s0 = _mm_add_epi64(s0, _mm_sad_epu8(load128(a), load128(b)));
            s1 = _mm_add_epi64(s1, _mm_sad_epu8(load128(a + sa), load128(b + sb)));
        }
        return static_cast<int>(sum64(_mm_add_epi64(s0, s1)));
    } else {
        __m256i s0 = _mm256_setzero_si256(), s1 = _mm256_setzero_si256();
        for (int y = 0; y < H; ++y, a += sa, b += sb)
            for (int x = 0; x < W; x += 64) {
                s0 = _mm256_add_epi64(s0, _mm256_sad_epu8(load256(a + x), load256(b + x)));
                if constexpr (W == 64)
                    s1 = _mm256_add_epi64(
                        s1, _mm256_sad_epu8(load256(a + x + 32), load256(b + x + 32)));
            }
        return static_cast<int>(sum64(_mm256_add_epi64(s0, s1)));
    }
}

int sad_u8_any(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    if (w < 32)  // no ymm step: the SSE2 version spends less on its sums
        return sse2::sad(w, h, a, b, stride_a, stride_b);
    __m256i wide = _mm256_setzero_si256();
    __m128i narrow = _mm_setzero_si128();
    uint32_t tail = 0;
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b) {
        int x = 0;
        for (; x + 32 <= w; x += 32)
            wide = _mm256_add_epi64(wide, _mm256_sad_epu8(load256(a + x), load256(b + x)));
        if (x + 16 <= w) {
            narrow = _mm_add_epi64(narrow, _mm_sad_epu8(load128(a + x), load128(b + x)));
            x += 16;
        }
        if (x + 8 <= w) {
            narrow = _mm_add_epi64(narrow, _mm_sad_epu8(load64(a + x), load64(b + x)));
            x += 8;
        }
        for (; x < w; ++x)
            tail += static_cast<uint32_t>(a[x] > b[x] ? a[x] - b[x] : b[x] - a[x]);
    }
    return static_cast<int>(sum64(wide) + sum64(narrow) + tail);
}

// ---- 16-bit and mixed SAD ----

// 16-bit samples as they are; 8-bit ones zero-extended.
__m256i widen16(const int16_t *p) { return load256(p); }
__m256i widen16(const uint8_t *p) { return _mm256_cvtepu8_epi16(load128(p)); }
// Two rows of 8 samples.
__m256i widen8x2(const int16_t *p, ptrdiff_t s)
{
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load128(p)), load128(p + s), 1);
}
__m256i widen8x2(const uint8_t *p, ptrdiff_t s)
{
    return _mm256_cvtepu8_epi16(_mm_unpacklo_epi64(load64(p), load64(p + s)));
}
// Sums x - 32768 (32-bit lanes) and q (16-bit lanes) as the header comment explains; the total
// is terms() + 32770 per sample.
struct Sad16Lanes {
    __m256i x = _mm256_setzero_si256(), q = _mm256_setzero_si256();

    void add(__m256i a, __m256i b)
    {
        const __m256i avg = _mm256_avg_epu16(_mm256_xor_si256(a, _mm256_set1_epi16(-0x8000)),
                                             _mm256_xor_si256(b, _mm256_set1_epi16(0x7fff)));
        const __m256i qs = _mm256_srli_epi16(avg, 14);
        const __m256i xs = _mm256_xor_si256(_mm256_sub_epi16(a, b),
                                            _mm256_add_epi16(qs, _mm256_set1_epi16(0x7ffe)));
        x = _mm256_add_epi32(x, _mm256_madd_epi16(xs, _mm256_set1_epi16(1)));
        q = _mm256_add_epi16(q, qs);
    }
    void add(__m128i a, __m128i b)
    {
        const __m128i avg = _mm_avg_epu16(_mm_xor_si128(a, _mm_set1_epi16(-0x8000)),
                                          _mm_xor_si128(b, _mm_set1_epi16(0x7fff)));
        const __m128i qs = _mm_srli_epi16(avg, 14);
        const __m128i xs =
            _mm_xor_si128(_mm_sub_epi16(a, b), _mm_add_epi16(qs, _mm_set1_epi16(0x7ffe)));
        x = _mm256_add_epi32(x, _mm256_zextsi128_si256(_mm_madd_epi16(xs, _mm_set1_epi16(1))));
        q = _mm256_add_epi16(q, _mm256_zextsi128_si256(qs));
    }
    // Moves q into the 32-bit lanes (before a 16-bit lane could overflow).
    void flush()
    {
        x = _mm256_sub_epi32(x, _mm256_madd_epi16(q, _mm256_set1_epi16(1)));
        q = _mm256_setzero_si256();
    }
    uint32_t total(uint32_t samples)
    {
        flush();
        return sum32(x) + samples * 32770u;
    }
};

template <int W, int H, class B>
int sad16_block(const int16_t *a, const B *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    Sad16Lanes lanes;  // at most 3 * 64 * 64 / 16 in a q lane
    if constexpr (W == 8) {
        for (int y = 0; y < H; y += 2, a += 2 * sa, b += 2 * sb)
            lanes.add(widen8x2(a, sa), widen8x2(b, sb));
    } else {
        for (int y = 0; y < H; ++y, a += sa, b += sb)
            for (int x = 0; x < W; x += 16)
                lanes.add(widen16(a + x), widen16(b + x));
    }
    return static_cast<int>(lanes.total(W * H));
}

int sad16_any(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    Sad16Lanes lanes;
    uint32_t samples = 0, tail = 0;
    int steps = 0;  // since the last flush: 8192 keeps every q lane below 2^15
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b) {
        int x = 0;
        for (; x + 16 <= w; x += 16) {
            lanes.add(widen16(a + x), widen16(b + x));
            if (++steps == 8192) {
                lanes.flush();
                steps = 0;
            }
        }
        if (x + 8 <= w) {
            lanes.add(load128(a + x), load128(b + x));
            x += 8;
            if (++steps == 8192) {
                lanes.flush();
                steps = 0;
            }
        }
        samples += static_cast<uint32_t>(x);
        for (; x < w; ++x)
            tail += abs15(int32_t{a[x]} - int32_t{b[x]});
    }
    return static_cast<int>(lanes.total(samples) + tail);
}

// ---- SSD ----

int ssd_u8_any(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    __m256i sums = _mm256_setzero_si256();
    uint32_t tail = 0;
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b) {
        int x = 0;
        for (; x + 16 <= w; x += 16) {
            const __m256i d = _mm256_sub_epi16(widen16(a + x), widen16(b + x));
            sums = _mm256_add_epi32(sums, _mm256_madd_epi16(d, d));
        }
        if (x + 8 <= w) {
            const __m128i d =
                _mm_sub_epi16(_mm_cvtepu8_epi16(load64(a + x)), _mm_cvtepu8_epi16(load64(b + x)));
            sums = _mm256_add_epi32(sums, _mm256_zextsi128_si256(_mm_madd_epi16(d, d)));
            x += 8;
        }
        for (; x < w; ++x) {
            const int32_t d = int32_t{a[x]} - int32_t{b[x]};
            tail += static_cast<uint32_t>(d * d);
        }
    }
    return static_cast<int>(sum32(sums) + tail);
}

// |d| with the shift-by-15 sign, squared, modulo 2^32, eight samples in 32-bit lanes.
__m256i square15(__m256i a, __m256i b)
{
    const __m256i d = _mm256_sub_epi32(a, b);
    const __m256i m = _mm256_srai_epi32(d, 15);
    const __m256i t = _mm256_sub_epi32(_mm256_xor_si256(d, m), m);
    return _mm256_mullo_epi32(t, t);
}

int ssd16_wide(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    __m256i s0 = _mm256_setzero_si256(), s1 = _mm256_setzero_si256();
    uint32_t tail = 0;
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b) {
        int x = 0;
        for (; x + 16 <= w; x += 16) {
            s0 = _mm256_add_epi32(s0, square15(_mm256_cvtepi16_epi32(load128(a + x)),
                                               _mm256_cvtepi16_epi32(load128(b + x))));
            s1 = _mm256_add_epi32(s1, square15(_mm256_cvtepi16_epi32(load128(a + x + 8)),
                                               _mm256_cvtepi16_epi32(load128(b + x + 8))));
        }
        if (x + 8 <= w) {
            s0 = _mm256_add_epi32(s0, square15(_mm256_cvtepi16_epi32(load128(a + x)),
                                               _mm256_cvtepi16_epi32(load128(b + x))));
            x += 8;
        }
        for (; x < w; ++x) {
            const uint32_t t = abs15(int32_t{a[x]} - int32_t{b[x]});
            tail += t * t;
        }
    }
    return static_cast<int>(sum32(_mm256_add_epi32(s0, s1)) + tail);
}

// While no difference leaves the 16-bit range (the saturating and the wrapping difference agree),
// |d| is the 16-bit difference itself and pmaddwd squares it; otherwise the block is redone in
// 32-bit lanes.
int ssd16_any(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    __m256i sums = _mm256_setzero_si256(), beyond = _mm256_setzero_si256();
    uint32_t tail = 0;
    const int16_t *pa = a, *pb = b;
    for (int y = 0; y < h; ++y, pa += stride_a, pb += stride_b) {
        int x = 0;
        for (; x + 16 <= w; x += 16) {
            const __m256i va = load256(pa + x), vb = load256(pb + x);
            const __m256i d = _mm256_sub_epi16(va, vb);
            beyond = _mm256_or_si256(beyond, _mm256_xor_si256(d, _mm256_subs_epi16(va, vb)));
            sums = _mm256_add_epi32(sums, _mm256_madd_epi16(d, d));
        }
        if (x + 8 <= w) {
            const __m128i va = load128(pa + x), vb = load128(pb + x);
            const __m128i d = _mm_sub_epi16(va, vb);
            beyond = _mm256_or_si256(
                beyond, _mm256_zextsi128_si256(_mm_xor_si128(d, _mm_subs_epi16(va, vb))));
            sums = _mm256_add_epi32(sums, _mm256_zextsi128_si256(_mm_madd_epi16(d, d)));
            x += 8;
        }
        for (; x < w; ++x) {
            const uint32_t t = abs15(int32_t{pa[x]} - int32_t{pb[x]});
            tail += t * t;
        }
    }
    if (!_mm256_testz_si256(beyond, beyond))
        return ssd16_wide(w, h, a, b, stride_a, stride_b);
    return static_cast<int>(sum32(sums) + tail);
}

}  // namespace

void install_metric(metric::Table &table)
{
// 4-wide 16-bit rows gain nothing from ymm registers: the SSE2 versions stay for them.
#define OZMU_AVX2_SAD16(w, h)                                                                      \
    if constexpr ((w) >= 8) {                                                                      \
        table.sad##w##x##h##_16 = sad16_block<w, h, int16_t>;                                      \
        table.sad##w##x##h##_bi = sad16_block<w, h, uint8_t>;                                      \
    }
#define OZMU_AVX2_SAD8(w, h)                                                                       \
    if constexpr ((w) >= 16)                                                                       \
        table.sad##w##x##h = sad_u8<w, h>;
    OZMU_METRIC_BI_SIZES(OZMU_AVX2_SAD8)
    OZMU_METRIC_BI_SIZES(OZMU_AVX2_SAD16)
#undef OZMU_AVX2_SAD8
#undef OZMU_AVX2_SAD16
    table.sad = sad_u8_any;
    table.sad_16 = sad16_any;
    table.ssd = ssd_u8_any;
    table.ssd_16 = ssd16_any;
    install_metric_diff(table);
    install_metric_satd(table);
}

}  // namespace ozmu::avx2
