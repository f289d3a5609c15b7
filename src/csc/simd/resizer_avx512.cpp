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

template <irsz::LineFn line>
void whole_picture(const Handle &h, const uint8_t *src)
{
    const ptrdiff_t stride = h.line_size;
    const ptrdiff_t dst_stride = h.dst_stride;
    const int32_t last = h.src_h - 1;
    uint8_t *out = h.dst;
    uint32_t y = 0;
    for (int row = 0; row < h.dst_h; ++row) {
        const auto top =
            static_cast<int32_t>(static_cast<uint32_t>(static_cast<int32_t>(y) >> 18) << h.yshift);
        const int32_t lower = top + (int32_t{1} << h.yshift);
        const int32_t bottom = lower < last ? lower : last;
        line(h, src + top * stride, src + bottom * stride, static_cast<int>(y >> 15) & 7, out);
        out += dst_stride;
        y += static_cast<uint32_t>(h.ystep);
    }
}

}  // namespace

void irsz8b8b8b8b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                       uint8_t *dst)
{
    if (h.plan && h.plan->zmm.fit) {
        if (h.xshift > 0)
            irsz::compact_rows(h, top, bottom);
        window_row(*h.plan, top, bottom, v, dst, 4 * h.dst_w);
    } else {
        avx2::irsz8b8b8b8b_line(h, top, bottom, v, dst);
    }
}

void irsz8b8b8b8b_full(const Handle &h, const uint8_t *src)
{
    whole_picture<irsz8b8b8b8b_line>(h, src);
}

void irsz8b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    if (h.plan && h.plan->zmm.fit) {
        if (h.xshift > 0)
            irsz::compact_rows(h, top, bottom);
        window_row(*h.plan, top, bottom, v, dst, h.dst_w);
    } else {
        avx2::irsz8b_line(h, top, bottom, v, dst);
    }
}

void irsz8b_full(const Handle &h, const uint8_t *src) { whole_picture<irsz8b_line>(h, src); }

void install_irsz(irsz::Table &table)
{
    table.irsz8b_line = irsz8b_line;
    table.irsz8b_full = irsz8b_full;
    table.irsz8b8b8b8b_line = irsz8b8b8b8b_line;
    table.irsz8b8b8b8b_full = irsz8b8b8b8b_full;
}

}  // namespace ozmu::avx512
