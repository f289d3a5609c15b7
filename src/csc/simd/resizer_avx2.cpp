// AVX2 rows of the image resizer, layouts 20 (1 byte) and 29 (4 bytes). Each output byte blends
// its left and right tap in both source rows, (8 - h) * left + h * right (at most 2040, one
// multiply-add of byte pairs), then the two rows, (8 - v) * top + v * bottom (at most 16320, so
// 16-bit lanes suffice), and shifts by 6: the same integers as the four-tap sum.
//
// Where the plan's 16-byte windows hold every tap (steps up to about two source pixels), one
// byte shuffle per 128-bit lane gathers the taps of 8 output bytes. Larger steps and rows shorter
// than a step run the SSSE3 rows (their per-pixel path).
#include <immintrin.h>

#include "csc/resizer.h"

namespace ozmu::avx2 {
namespace {

using irsz::Handle;
using irsz::Plan;

__m256i load_lanes(const uint8_t *row, const uint32_t *base)
{
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i *>(row + base[0]));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i *>(row + base[1]));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

// Rows of kLaneStep output bytes, the last one ending at the row's end.
void window_row(const Plan &p, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst,
                int out_bytes)
{
    const __m256i wt = _mm256_set1_epi16(static_cast<int16_t>(8 - v));
    const __m256i wb = _mm256_set1_epi16(static_cast<int16_t>(v));
    const uint32_t *base = p.lanes.base;
    const uint8_t *index = p.lanes.index;
    const uint8_t *weights = p.lanes.weights;
    // Two records: 16 output bytes as words.
    auto half = [&](int r) {
        const __m256i ix = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(index + 16 * r));
        const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(weights + 16 * r));
        const __m256i t =
            _mm256_maddubs_epi16(_mm256_shuffle_epi8(load_lanes(top, base + r), ix), w);
        const __m256i b =
            _mm256_maddubs_epi16(_mm256_shuffle_epi8(load_lanes(bottom, base + r), ix), w);
        return _mm256_srli_epi16(
            _mm256_add_epi16(_mm256_mullo_epi16(t, wt), _mm256_mullo_epi16(b, wb)), 6);
    };
    const int steps = p.lanes.records / 4;
    const int last_start = out_bytes - irsz::kLaneStep;
    for (int s = 0; s < steps; ++s) {
        const int start = s + 1 < steps ? s * irsz::kLaneStep : last_start;
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + start),
                            _mm256_packus_epi16(half(4 * s), half(4 * s + 2)));
    }
}

bool window_fits(const Plan &p) { return p.lanes.fit; }

void pixel_fallback(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    ssse3::irsz8b8b8b8b_line(h, top, bottom, v, dst);
}

void byte_fallback(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    ssse3::irsz8b_line(h, top, bottom, v, dst);
}

}  // namespace

#include "csc/simd/resizer_x86.inc"

}  // namespace ozmu::avx2
