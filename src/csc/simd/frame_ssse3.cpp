// Frame conversion row kernels, SSSE3 / SSE4.1: the fused 4:2:0 to RGBA / BGRA / ARGB rows, 16
// pixels a step in two halves of 8 (frame_x86.inc has the method, the chroma and the row loop);
// in the fast chroma mode the chroma terms are computed once per pixel pair.
// Compiled with this tier's flags; every helper stays inside ozmu::ssse3.
#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

namespace ozmu::ssse3 {
namespace {

constexpr int kPixels = 16;
constexpr int kShift = frame::kRgbShift;  // (yy + chroma terms) >> 19, yy holding the 1 << 18

struct Consts {
    __m128i y_offset, y_coef, r_coef, g_coef, b_coef;
    __m128i y_even, y_odd, round;  // fast mode: cy times even or odd pixels, then 1 << 18
};

// A 32-bit lane holding the 16-bit pair (lo, hi), for multiply-adds.
inline __m128i pair(int lo, int hi)
{
    return _mm_set1_epi32(
        static_cast<int32_t>((static_cast<uint32_t>(hi) << 16) | static_cast<uint16_t>(lo)));
}

inline Consts make_consts(const frame::YuvToRgb &m, const frame::Chroma420Rows &)
{
    return {_mm_set1_epi16(m.y_offset),
            pair(m.cy, 1 << 14),
            pair(0, m.crv),
            pair(-m.cgu, -m.cgv),
            pair(m.cbu, 0),
            pair(m.cy, 0),
            pair(0, m.cy),
            _mm_set1_epi32(1 << 18)};
}

// R, G, B of 8 pixels as 16-bit values (not yet clamped), from their (U', V') pairs: uv0 for
// pixels 0-3, uv1 for 4-7.
inline void rgb8(__m128i luma, __m128i uv0, __m128i uv1, const Consts &k, __m128i out[3])
{
    const __m128i sixteen = _mm_set1_epi16(16);
    const __m128i y0 = _mm_madd_epi16(_mm_unpacklo_epi16(luma, sixteen), k.y_coef);
    const __m128i y1 = _mm_madd_epi16(_mm_unpackhi_epi16(luma, sixteen), k.y_coef);
    const __m128i coef[3] = {k.r_coef, k.g_coef, k.b_coef};
    for (int i = 0; i < 3; ++i)
        out[i] = _mm_packs_epi32(
            _mm_srai_epi32(_mm_add_epi32(y0, _mm_madd_epi16(uv0, coef[i])), kShift),
            _mm_srai_epi32(_mm_add_epi32(y1, _mm_madd_epi16(uv1, coef[i])), kShift));
}

// 16 pixels from their (U', V') pairs, 4 pixels a register.
template <int C0, int C1, int C2, int C3>
inline void pixels_pairs(const uint8_t *y, const __m128i *uv, const Consts &k, uint8_t *dst)
{
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(y));
    const __m128i luma_lo = _mm_sub_epi16(_mm_slli_epi16(_mm_cvtepu8_epi16(bytes), 6), k.y_offset);
    const __m128i luma_hi =
        _mm_sub_epi16(_mm_slli_epi16(_mm_unpackhi_epi8(bytes, _mm_setzero_si128()), 6), k.y_offset);
    __m128i lo[3], hi[3];
    rgb8(luma_lo, uv[0], uv[1], k, lo);
    rgb8(luma_hi, uv[2], uv[3], k, hi);
    const __m128i ch[4] = {_mm_packus_epi16(lo[0], hi[0]), _mm_packus_epi16(lo[1], hi[1]),
                           _mm_packus_epi16(lo[2], hi[2]), _mm_set1_epi8(-1)};
    const __m128i a = _mm_unpacklo_epi8(ch[C0], ch[C1]), b = _mm_unpackhi_epi8(ch[C0], ch[C1]);
    const __m128i c = _mm_unpacklo_epi8(ch[C2], ch[C3]), d = _mm_unpackhi_epi8(ch[C2], ch[C3]);
    auto *out = reinterpret_cast<__m128i *>(dst);
    _mm_storeu_si128(out, _mm_unpacklo_epi16(a, c));
    _mm_storeu_si128(out + 1, _mm_unpackhi_epi16(a, c));
    _mm_storeu_si128(out + 2, _mm_unpacklo_epi16(b, d));
    _mm_storeu_si128(out + 3, _mm_unpackhi_epi16(b, d));
}

template <int C0, int C1, int C2, int C3>
inline void pixels(const uint8_t *y, const __m128i *u, const __m128i *v, const Consts &k,
                   uint8_t *dst)
{
    const __m128i uv[4] = {_mm_unpacklo_epi16(u[0], v[0]), _mm_unpackhi_epi16(u[0], v[0]),
                           _mm_unpacklo_epi16(u[1], v[1]), _mm_unpackhi_epi16(u[1], v[1])};
    pixels_pairs<C0, C1, C2, C3>(y, uv, k, dst);
}

// Declared by frame_x86.inc: fast mode with row weights 4, 0, chroma of row 0 only.
template <int C0, int C1, int C2, int C3, int Step>
void pixels_fast(const uint8_t *y, const uint8_t *u, const uint8_t *v, ptrdiff_t k0,
                 const Consts &k, uint8_t *dst);

// clang-format off
#include "csc/simd/frame_x86.inc"
// clang-format on

// Pixels 2j and 2j + 1 share chroma sample j: its three chroma terms are one multiply-add each,
// added to the luma terms of the even pixels and of the odd ones, which sit in the same 32-bit
// lanes (multiply-adds of the luma words with (cy, 0) and (0, cy)). R, G, B of 8 pixels in the
// order 0 2 4 6 1 3 5 7.
inline void rgb8_fast(__m128i luma, __m128i uv, const Consts &k, __m128i out[3])
{
    const __m128i even = _mm_add_epi32(_mm_madd_epi16(luma, k.y_even), k.round);
    const __m128i odd = _mm_add_epi32(_mm_madd_epi16(luma, k.y_odd), k.round);
    const __m128i coef[3] = {k.r_coef, k.g_coef, k.b_coef};
    for (int i = 0; i < 3; ++i) {
        const __m128i c = _mm_madd_epi16(uv, coef[i]);
        out[i] = _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(even, c), kShift),
                                 _mm_srai_epi32(_mm_add_epi32(odd, c), kShift));
    }
}

template <int C0, int C1, int C2, int C3, int Step>
void pixels_fast(const uint8_t *y, const uint8_t *u, const uint8_t *v, ptrdiff_t k0,
                 const Consts &k, uint8_t *dst)
{
    __m128i pairs;  // bytes u0 v0 u1 v1 .. u7 v7
    if constexpr (Step == 1) {
        pairs = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(u + k0)),
                                  _mm_loadl_epi64(reinterpret_cast<const __m128i *>(v + k0)));
    } else {
        const __m128i lu = _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + 2 * k0));
        const __m128i lv = _mm_loadu_si128(reinterpret_cast<const __m128i *>(v + 2 * k0));
        pairs = _mm_or_si128(_mm_and_si128(lu, _mm_set1_epi16(0xFF)), _mm_slli_epi16(lv, 8));
    }
    const __m128i zero = _mm_setzero_si128(), mid = _mm_set1_epi16(kMid);
    const __m128i uv_lo = _mm_sub_epi16(_mm_slli_epi16(_mm_cvtepu8_epi16(pairs), 6), mid);
    const __m128i uv_hi = _mm_sub_epi16(_mm_slli_epi16(_mm_unpackhi_epi8(pairs, zero), 6), mid);
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(y));
    const __m128i luma_lo = _mm_sub_epi16(_mm_slli_epi16(_mm_cvtepu8_epi16(bytes), 6), k.y_offset);
    const __m128i luma_hi =
        _mm_sub_epi16(_mm_slli_epi16(_mm_unpackhi_epi8(bytes, zero), 6), k.y_offset);
    __m128i lo[3], hi[3];
    rgb8_fast(luma_lo, uv_lo, k, lo);
    rgb8_fast(luma_hi, uv_hi, k, hi);
    // Bytes of pixels 0 2 4 6 1 3 5 7 8 10 12 14 9 11 13 15.
    const __m128i ch[4] = {_mm_packus_epi16(lo[0], hi[0]), _mm_packus_epi16(lo[1], hi[1]),
                           _mm_packus_epi16(lo[2], hi[2]), _mm_set1_epi8(-1)};
    const __m128i a = _mm_unpacklo_epi8(ch[C0], ch[C1]), b = _mm_unpackhi_epi8(ch[C0], ch[C1]);
    const __m128i c = _mm_unpacklo_epi8(ch[C2], ch[C3]), d = _mm_unpackhi_epi8(ch[C2], ch[C3]);
    const __m128i p0 = _mm_unpacklo_epi16(a, c), p1 = _mm_unpackhi_epi16(a, c);  // 0 2 4 6, 1 3 5 7
    const __m128i p2 = _mm_unpacklo_epi16(b, d), p3 = _mm_unpackhi_epi16(b, d);
    auto *out = reinterpret_cast<__m128i *>(dst);
    _mm_storeu_si128(out, _mm_unpacklo_epi32(p0, p1));
    _mm_storeu_si128(out + 1, _mm_unpackhi_epi32(p0, p1));
    _mm_storeu_si128(out + 2, _mm_unpacklo_epi32(p2, p3));
    _mm_storeu_si128(out + 3, _mm_unpackhi_epi32(p2, p3));
}

}  // namespace

void install_frame(frame::Table &t)
{
    t.yuv420_to_rgba = yuv420_to_packed<0, 1, 2, 3>;
    t.yuv420_to_bgra = yuv420_to_packed<2, 1, 0, 3>;
    t.yuv420_to_argb = yuv420_to_packed<3, 0, 1, 2>;
}

}  // namespace ozmu::ssse3
