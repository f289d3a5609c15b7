// SSSE3 rows of the image resizer, layouts 20 (1 byte) and 29 (4 bytes), with the arithmetic of
// the AVX2 rows (see there): a byte shuffle gathers the taps of 8 output bytes from a 16-byte
// window of the plan; larger steps and rows shorter than a step go one pixel at a time.
#include <immintrin.h>

#include <cstring>

#include "csc/resizer.h"

namespace ozmu::ssse3 {
namespace {

using irsz::Handle;
using irsz::Plan;

// Rows of kLaneStep output bytes, the last one ending at the row's end.
void window_row(const Plan &p, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst,
                int out_bytes)
{
    const __m128i wt = _mm_set1_epi16(static_cast<int16_t>(8 - v));
    const __m128i wb = _mm_set1_epi16(static_cast<int16_t>(v));
    const uint32_t *base = p.lanes.base;
    const uint8_t *index = p.lanes.index;
    const uint8_t *weights = p.lanes.weights;
    // One record: 8 output bytes as words.
    auto record = [&](int r) {
        const __m128i ix = _mm_loadu_si128(reinterpret_cast<const __m128i *>(index + 16 * r));
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i *>(weights + 16 * r));
        const __m128i t = _mm_maddubs_epi16(
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(top + base[r])), ix),
            w);
        const __m128i b = _mm_maddubs_epi16(
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(bottom + base[r])),
                             ix),
            w);
        return _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(t, wt), _mm_mullo_epi16(b, wb)), 6);
    };
    const int steps = p.lanes.records / 4;
    const int last_start = out_bytes - irsz::kLaneStep;
    for (int s = 0; s < steps; ++s) {
        const int start = s + 1 < steps ? s * irsz::kLaneStep : last_start;
        const int r = 4 * s;  // records of bytes 0, 16, 8 and 24 of the step
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + start),
                         _mm_packus_epi16(record(r), record(r + 2)));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + start + 16),
                         _mm_packus_epi16(record(r + 1), record(r + 3)));
    }
}

__m128i load4(const uint8_t *p)
{
    int32_t value;
    std::memcpy(&value, p, 4);
    return _mm_cvtsi32_si128(value);
}

// One 4-byte pixel per step, from the plan's taps.
void pixel_row(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    const Plan &p = *h.plan;
    const __m128i wt = _mm_set1_epi16(static_cast<int16_t>(8 - v));
    const __m128i wb = _mm_set1_epi16(static_cast<int16_t>(v));
    for (int i = 0; i < h.dst_w; ++i) {
        const uint32_t left = p.taps[2 * i], right = p.taps[2 * i + 1];
        const int phase = p.phase[i];
        const __m128i w = _mm_set1_epi16(static_cast<int16_t>(phase << 8 | (8 - phase)));
        const __m128i t =
            _mm_maddubs_epi16(_mm_unpacklo_epi8(load4(top + left), load4(top + right)), w);
        const __m128i b =
            _mm_maddubs_epi16(_mm_unpacklo_epi8(load4(bottom + left), load4(bottom + right)), w);
        const __m128i sum =
            _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(t, wt), _mm_mullo_epi16(b, wb)), 6);
        const int32_t pixel = _mm_cvtsi128_si32(_mm_packus_epi16(sum, sum));
        std::memcpy(dst + 4 * i, &pixel, 4);
    }
}

// One byte per step, from the plan's taps.
void byte_row(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    const Plan &p = *h.plan;
    for (int i = 0; i < h.dst_w; ++i) {
        const uint32_t left = p.taps[2 * i], right = p.taps[2 * i + 1];
        const int phase = p.phase[i];
        const int t = (8 - phase) * top[left] + phase * top[right];
        const int b = (8 - phase) * bottom[left] + phase * bottom[right];
        dst[i] = static_cast<uint8_t>(((8 - v) * t + v * b) >> 6);
    }
}

bool window_fits(const Plan &p) { return p.lanes.fit; }

void pixel_fallback(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    if (h.plan)
        pixel_row(h, top, bottom, v, dst);
}

void byte_fallback(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    if (h.plan)
        byte_row(h, top, bottom, v, dst);
}

}  // namespace

#include "csc/simd/resizer_x86.inc"

}  // namespace ozmu::ssse3
