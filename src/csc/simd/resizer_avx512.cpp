// AVX-512 rows of the image resizer, layouts 20 (1 byte) and 29 (4 bytes): the arithmetic of the
// AVX2 rows, with one byte permute (VBMI) gathering the taps of 32 output bytes from a 64-byte
// window. Rows shorter than a step and steps too large for the window run the AVX2 rows.
#include <immintrin.h>

#include "csc/resizer.h"

namespace ozmu::avx512 {
namespace {

using irsz::Handle;
using irsz::Plan;

// The unmasked forms trip GCC 12's uninitialised-value warning; a full mask is the same vpermb.
__m512i gather(__m512i index, __m512i window)
{
    return _mm512_maskz_permutexvar_epi8(~__mmask64{0}, index, window);
}

// Rows of kZmmStep output bytes, the last one ending at the row's end.
void window_row(const Plan &p, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst,
                int out_bytes)
{
    const __m512i wt = _mm512_set1_epi16(static_cast<int16_t>(8 - v));
    const __m512i wb = _mm512_set1_epi16(static_cast<int16_t>(v));
    // The pack interleaves the two halves' 128-bit lanes; this puts them back in order.
    const __m512i lane_order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
    const uint32_t *base = p.zmm.base;
    const uint8_t *index = p.zmm.index;
    const uint8_t *weights = p.zmm.weights;
    // One record: 32 output bytes as words.
    auto half = [&](int r) {
        const __m512i ix = _mm512_loadu_si512(index + 64 * r);
        const __m512i w = _mm512_loadu_si512(weights + 64 * r);
        const __m512i t = _mm512_maddubs_epi16(gather(ix, _mm512_loadu_si512(top + base[r])), w);
        const __m512i b = _mm512_maddubs_epi16(gather(ix, _mm512_loadu_si512(bottom + base[r])), w);
        return _mm512_srli_epi16(
            _mm512_add_epi16(_mm512_mullo_epi16(t, wt), _mm512_mullo_epi16(b, wb)), 6);
    };
    const int steps = p.zmm.records / 2;
    const int last_start = out_bytes - irsz::kZmmStep;
    for (int s = 0; s < steps; ++s) {
        const int start = s + 1 < steps ? s * irsz::kZmmStep : last_start;
        const __m512i packed = _mm512_packus_epi16(half(2 * s), half(2 * s + 1));
        _mm512_storeu_si512(dst + start, _mm512_maskz_permutexvar_epi64(0xFF, lane_order, packed));
    }
}

bool window_fits(const Plan &p) { return p.zmm.fit; }

void pixel_fallback(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    avx2::irsz8b8b8b8b_line(h, top, bottom, v, dst);
}

void byte_fallback(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    avx2::irsz8b_line(h, top, bottom, v, dst);
}

}  // namespace

#include "csc/simd/resizer_x86.inc"

}  // namespace ozmu::avx512
