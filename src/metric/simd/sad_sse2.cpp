// x86-64 SSE2 SAD. 8-bit: psadbw sums 8 absolute byte differences per 64-bit half in one
// instruction. Rows narrower than 16 bytes are paired into one register; no routine reads past its
// rows.
#include <emmintrin.h>

#include <cstddef>
#include <cstring>

#include "metric/metric.h"

namespace ozmu::sse2 {
namespace {

#include "metric/simd/metric_x86.inc"

int total(__m128i sums) { return _mm_cvtsi128_si32(_mm_add_epi64(sums, _mm_srli_si128(sums, 8))); }

template <int W, int H>
int sad_block(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    __m128i sums = _mm_setzero_si128();
    if constexpr (W == 4) {
        for (int y = 0; y < H; y += 2, a += 2 * sa, b += 2 * sb) {
            const __m128i ra = _mm_unpacklo_epi32(load32(a), load32(a + sa));
            const __m128i rb = _mm_unpacklo_epi32(load32(b), load32(b + sb));
            sums = _mm_add_epi64(sums, _mm_sad_epu8(ra, rb));
        }
    } else if constexpr (W == 8) {
        for (int y = 0; y < H; y += 2, a += 2 * sa, b += 2 * sb) {
            const __m128i ra = _mm_unpacklo_epi64(load64(a), load64(a + sa));
            const __m128i rb = _mm_unpacklo_epi64(load64(b), load64(b + sb));
            sums = _mm_add_epi64(sums, _mm_sad_epu8(ra, rb));
        }
    } else {
        for (int y = 0; y < H; ++y, a += sa, b += sb)
            for (int x = 0; x < W; x += 16)
                sums = _mm_add_epi64(sums, _mm_sad_epu8(load128(a + x), load128(b + x)));
    }
    return total(sums);
}

}  // namespace

#define OZMU_SSE2_SAD(w, h)                                                                        \
    int sad##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)               \
    {                                                                                              \
        return sad_block<w, h>(a, b, stride_a, stride_b);                                          \
    }
OZMU_METRIC_SMALL_SIZES(OZMU_SSE2_SAD)
OZMU_METRIC_BI_SIZES(OZMU_SSE2_SAD)

int sad(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    __m128i sums = _mm_setzero_si128();
    uint32_t tail = 0;
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b) {
        int x = 0;
        for (; x + 16 <= w; x += 16)
            sums = _mm_add_epi64(sums, _mm_sad_epu8(load128(a + x), load128(b + x)));
        if (x + 8 <= w) {
            sums = _mm_add_epi64(sums, _mm_sad_epu8(load64(a + x), load64(b + x)));
            x += 8;
        }
        for (; x < w; ++x)
            tail += static_cast<uint32_t>(a[x] > b[x] ? a[x] - b[x] : b[x] - a[x]);
    }
    return static_cast<int>(static_cast<uint32_t>(total(sums)) + tail);
}

namespace {

// 16-bit and mixed SAD in 16-bit lanes: with d = a - b and m = d >> 15, the rounding average of
// a ^ 0x8000 and b ^ 0x7fff is (d >> 1) + 32768 exactly, so q = avg >> 14 = m + 2, and
// x = (d ^ m) & 0xffff fits 16 bits unsigned; the term is x - m. pmaddwd adds x - 32768 (the low
// 16 bits of d xor (q + 0x7ffe), read signed) to 32-bit lanes, q goes to 16-bit lanes, and the
// constants come back at the end (all modulo 2^32, as the reference's sum).
struct Sad16Lanes {
    __m128i x = _mm_setzero_si128(), q = _mm_setzero_si128();

    void add(__m128i a, __m128i b)
    {
        const __m128i avg = _mm_avg_epu16(_mm_xor_si128(a, _mm_set1_epi16(-0x8000)),
                                          _mm_xor_si128(b, _mm_set1_epi16(0x7fff)));
        const __m128i qs = _mm_srli_epi16(avg, 14);
        const __m128i xs =
            _mm_xor_si128(_mm_sub_epi16(a, b), _mm_add_epi16(qs, _mm_set1_epi16(0x7ffe)));
        x = _mm_add_epi32(x, _mm_madd_epi16(xs, _mm_set1_epi16(1)));
        q = _mm_add_epi16(q, qs);
    }
    uint32_t total(uint32_t samples) const
    {
        __m128i v = _mm_sub_epi32(x, _mm_madd_epi16(q, _mm_set1_epi16(1)));
        v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2)));
        v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 3, 0, 1)));
        return static_cast<uint32_t>(_mm_cvtsi128_si32(v)) + samples * 32770u;
    }
};

__m128i widen8(const int16_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
__m128i widen8(const uint8_t *p) { return _mm_unpacklo_epi8(load64(p), _mm_setzero_si128()); }
__m128i widen4x2(const int16_t *p, ptrdiff_t s)
{
    return _mm_unpacklo_epi64(load64(reinterpret_cast<const uint8_t *>(p)),
                              load64(reinterpret_cast<const uint8_t *>(p + s)));
}
__m128i widen4x2(const uint8_t *p, ptrdiff_t s)
{
    return _mm_unpacklo_epi8(_mm_unpacklo_epi32(load32(p), load32(p + s)), _mm_setzero_si128());
}

template <int W, int H, class B>
int sad16_block(const int16_t *a, const B *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    Sad16Lanes lanes;  // at most 3 * 64 * 64 / 8 in a q lane
    if constexpr (W == 4) {
        for (int y = 0; y < H; y += 2, a += 2 * sa, b += 2 * sb)
            lanes.add(widen4x2(a, sa), widen4x2(b, sb));
    } else {
        for (int y = 0; y < H; ++y, a += sa, b += sb)
            for (int x = 0; x < W; x += 8)
                lanes.add(widen8(a + x), widen8(b + x));
    }
    return static_cast<int>(lanes.total(W * H));
}

// 8-bit SSD: differences widened to 16 bits, squared and summed in pairs by pmaddwd.
int ssd_u8(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const __m128i zero = _mm_setzero_si128();
    __m128i sums = _mm_setzero_si128();
    uint32_t tail = 0;
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b) {
        int x = 0;
        for (; x + 16 <= w; x += 16) {
            const __m128i va = load128(a + x), vb = load128(b + x);
            const __m128i lo =
                _mm_sub_epi16(_mm_unpacklo_epi8(va, zero), _mm_unpacklo_epi8(vb, zero));
            const __m128i hi =
                _mm_sub_epi16(_mm_unpackhi_epi8(va, zero), _mm_unpackhi_epi8(vb, zero));
            sums =
                _mm_add_epi32(sums, _mm_add_epi32(_mm_madd_epi16(lo, lo), _mm_madd_epi16(hi, hi)));
        }
        if (x + 8 <= w) {
            const __m128i d = _mm_sub_epi16(widen8(a + x), widen8(b + x));
            sums = _mm_add_epi32(sums, _mm_madd_epi16(d, d));
            x += 8;
        }
        for (; x < w; ++x) {
            const int32_t d = int32_t{a[x]} - int32_t{b[x]};
            tail += static_cast<uint32_t>(d * d);
        }
    }
    sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(1, 0, 3, 2)));
    sums = _mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(2, 3, 0, 1)));
    return static_cast<int>(static_cast<uint32_t>(_mm_cvtsi128_si32(sums)) + tail);
}

}  // namespace

}  // namespace ozmu::sse2

namespace ozmu::sse2 {

void install_metric(metric::Table &table)
{
#define OZMU_SSE2_INSTALL_SAD16(w, h)                                                              \
    table.sad##w##x##h##_16 = sad16_block<w, h, int16_t>;                                          \
    table.sad##w##x##h##_bi = sad16_block<w, h, uint8_t>;
    OZMU_METRIC_BI_SIZES(OZMU_SSE2_INSTALL_SAD16)
#undef OZMU_SSE2_INSTALL_SAD16
    table.sad4x4_16 = sad16_block<4, 4, int16_t>;
    table.sad4x2_16 = sad16_block<4, 2, int16_t>;
    table.ssd = ssd_u8;
#define OZMU_SSE2_INSTALL_SAD(w, h) table.sad##w##x##h = sad##w##x##h;
    OZMU_METRIC_SMALL_SIZES(OZMU_SSE2_INSTALL_SAD)
    OZMU_METRIC_BI_SIZES(OZMU_SSE2_INSTALL_SAD)
#undef OZMU_SSE2_INSTALL_SAD
    table.sad = sad;
}

}  // namespace ozmu::sse2
