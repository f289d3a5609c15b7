// x86-64 8-bit SAD: psadbw sums 8 absolute byte differences per 64-bit half in one instruction.
// Rows narrower than 16 bytes are paired into one register; no routine reads past its rows.
#include <emmintrin.h>

#include <cstddef>
#include <cstring>

#include "metric/metric.h"

namespace ozmu::sse2 {
namespace {

__m128i load16(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
__m128i load8(const uint8_t *p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)); }
__m128i load4(const uint8_t *p)
{
    int32_t v;
    std::memcpy(&v, p, 4);
    return _mm_cvtsi32_si128(v);
}

int total(__m128i sums) { return _mm_cvtsi128_si32(_mm_add_epi64(sums, _mm_srli_si128(sums, 8))); }

template <int W, int H>
int sad_block(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    const ptrdiff_t sa = stride_a, sb = stride_b;
    __m128i sums = _mm_setzero_si128();
    if constexpr (W == 4) {
        for (int y = 0; y < H; y += 2, a += 2 * sa, b += 2 * sb) {
            const __m128i ra = _mm_unpacklo_epi32(load4(a), load4(a + sa));
            const __m128i rb = _mm_unpacklo_epi32(load4(b), load4(b + sb));
            sums = _mm_add_epi64(sums, _mm_sad_epu8(ra, rb));
        }
    } else if constexpr (W == 8) {
        for (int y = 0; y < H; y += 2, a += 2 * sa, b += 2 * sb) {
            const __m128i ra = _mm_unpacklo_epi64(load8(a), load8(a + sa));
            const __m128i rb = _mm_unpacklo_epi64(load8(b), load8(b + sb));
            sums = _mm_add_epi64(sums, _mm_sad_epu8(ra, rb));
        }
    } else {
        for (int y = 0; y < H; ++y, a += sa, b += sb)
            for (int x = 0; x < W; x += 16)
                sums = _mm_add_epi64(sums, _mm_sad_epu8(load16(a + x), load16(b + x)));
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
            sums = _mm_add_epi64(sums, _mm_sad_epu8(load16(a + x), load16(b + x)));
        if (x + 8 <= w) {
            sums = _mm_add_epi64(sums, _mm_sad_epu8(load8(a + x), load8(b + x)));
            x += 8;
        }
        for (; x < w; ++x)
            tail += static_cast<uint32_t>(a[x] > b[x] ? a[x] - b[x] : b[x] - a[x]);
    }
    return static_cast<int>(static_cast<uint32_t>(total(sums)) + tail);
}

}  // namespace ozmu::sse2
