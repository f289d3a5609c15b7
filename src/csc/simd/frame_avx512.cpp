// Frame conversion row kernels, AVX-512 (BW): the fused 4:2:0 to RGBA / BGRA / ARGB rows, 32
// pixels a step with the matrix in 512-bit registers (frame_x86.inc has the method, the chroma
// and the row loop); in the fast chroma mode the chroma terms are computed once per pixel pair.
// Compiled with this tier's flags; every helper stays inside ozmu::avx512.

// GCC 12 takes the undefined-vector placeholders inside its own AVX-512 intrinsics for
// uninitialised values once they are inlined into the sanitizer builds' lambdas.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

// GCC 12 reports the intrinsics' own _mm512_undefined_epi32 () as maybe uninitialised.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace ozmu::avx512 {
namespace {

constexpr int kPixels = 32;
constexpr int kShift = frame::kRgbShift;  // (yy + chroma terms) >> 19, yy holding the 1 << 18

struct Consts {
    __m512i y_offset, y_coef, r_coef, g_coef, b_coef;
    __m512i y_even, y_odd, round;  // fast mode: cy times even or odd pixels, then 1 << 18
};

// A 32-bit lane holding the 16-bit pair (lo, hi), for multiply-adds.
inline __m512i pair(int lo, int hi)
{
    return _mm512_set1_epi32(
        static_cast<int32_t>((static_cast<uint32_t>(hi) << 16) | static_cast<uint16_t>(lo)));
}

inline Consts make_consts(const frame::YuvToRgb &m, const frame::Chroma420Rows &)
{
    return {_mm512_set1_epi16(m.y_offset),
            pair(m.cy, 1 << 14),
            pair(0, m.crv),
            pair(-m.cgu, -m.cgv),
            pair(m.cbu, 0),
            pair(m.cy, 0),
            pair(0, m.cy),
            _mm512_set1_epi32(1 << 18)};
}

inline __m512i join(const __m128i *q)
{
    return _mm512_inserti64x4(_mm512_castsi256_si512(_mm256_set_m128i(q[1], q[0])),
                              _mm256_set_m128i(q[3], q[2]), 1);
}

// 32 pixels from their (U', V') pairs: in 128-bit lane l, uv0 for pixels 8l .. 8l + 3, uv1 for
// 8l + 4 .. 8l + 7.
template <int C0, int C1, int C2, int C3>
inline void pixels_pairs(const uint8_t *y, __m512i uv0, __m512i uv1, const Consts &k, uint8_t *dst)
{
    const __m512i luma = _mm512_sub_epi16(
        _mm512_slli_epi16(
            _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(y))), 6),
        k.y_offset);
    const __m512i sixteen = _mm512_set1_epi16(16);
    // Each 128-bit lane l: pixels 8l .. 8l + 3 in *0, 8l + 4 .. 8l + 7 in *1.
    const __m512i y0 = _mm512_madd_epi16(_mm512_unpacklo_epi16(luma, sixteen), k.y_coef);
    const __m512i y1 = _mm512_madd_epi16(_mm512_unpackhi_epi16(luma, sixteen), k.y_coef);
    const auto channel = [&](__m512i coef) {
        return _mm512_packs_epi32(
            _mm512_srai_epi32(_mm512_add_epi32(y0, _mm512_madd_epi16(uv0, coef)), kShift),
            _mm512_srai_epi32(_mm512_add_epi32(y1, _mm512_madd_epi16(uv1, coef)), kShift));
    };
    const __m512i ch[4] = {channel(k.r_coef), channel(k.g_coef), channel(k.b_coef),
                           _mm512_set1_epi16(255)};
    const __m512i p02 = _mm512_packus_epi16(ch[C0], ch[C2]);
    const __m512i p13 = _mm512_packus_epi16(ch[C1], ch[C3]);
    const __m512i b01 = _mm512_unpacklo_epi8(p02, p13), b23 = _mm512_unpackhi_epi8(p02, p13);
    const __m512i q0 = _mm512_unpacklo_epi16(b01, b23), q1 = _mm512_unpackhi_epi16(b01, b23);
    // q0 lane l: pixels 8l .. 8l + 3, q1 lane l: 8l + 4 .. 8l + 7 (8 is q1's first qword).
    const __m512i first = _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0);
    const __m512i second = _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4);
    _mm512_storeu_si512(dst, _mm512_permutex2var_epi64(q0, first, q1));
    _mm512_storeu_si512(dst + 64, _mm512_permutex2var_epi64(q0, second, q1));
}

template <int C0, int C1, int C2, int C3>
inline void pixels(const uint8_t *y, const __m128i *u_in, const __m128i *v_in, const Consts &k,
                   uint8_t *dst)
{
    const __m512i u = join(u_in), v = join(v_in);
    pixels_pairs<C0, C1, C2, C3>(y, _mm512_unpacklo_epi16(u, v), _mm512_unpackhi_epi16(u, v), k,
                                 dst);
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
// lanes (multiply-adds of the luma words with (cy, 0) and (0, cy)); no pairs are widened.
template <int C0, int C1, int C2, int C3, int Step>
void pixels_fast(const uint8_t *y, const uint8_t *u, const uint8_t *v, ptrdiff_t k0,
                 const Consts &k, uint8_t *dst)
{
    __m256i pairs;  // bytes u0 v0 u1 v1 .. u15 v15
    if constexpr (Step == 1) {
        const __m128i lu = _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + k0));
        const __m128i lv = _mm_loadu_si128(reinterpret_cast<const __m128i *>(v + k0));
        pairs = _mm256_set_m128i(_mm_unpackhi_epi8(lu, lv), _mm_unpacklo_epi8(lu, lv));
    } else {
        const __m256i lu = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(u + 2 * k0));
        const __m256i lv = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(v + 2 * k0));
        pairs = _mm256_or_si256(_mm256_and_si256(lu, _mm256_set1_epi16(0xFF)),
                                _mm256_slli_epi16(lv, 8));
    }
    // 128-bit lane l: chroma samples 4l .. 4l + 3, pixels 8l .. 8l + 7.
    const __m512i uv = _mm512_sub_epi16(_mm512_slli_epi16(_mm512_cvtepu8_epi16(pairs), 6),
                                        _mm512_set1_epi16(kMid));
    const __m512i luma = _mm512_sub_epi16(
        _mm512_slli_epi16(
            _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(y))), 6),
        k.y_offset);
    const __m512i even = _mm512_add_epi32(_mm512_madd_epi16(luma, k.y_even), k.round);
    const __m512i odd = _mm512_add_epi32(_mm512_madd_epi16(luma, k.y_odd), k.round);
    // 16-bit results in the order of pixels 0 2 4 6 1 3 5 7 of each lane (plus 8l).
    const auto channel = [&](__m512i coef) {
        const __m512i c = _mm512_madd_epi16(uv, coef);
        return _mm512_packs_epi32(_mm512_srai_epi32(_mm512_add_epi32(even, c), kShift),
                                  _mm512_srai_epi32(_mm512_add_epi32(odd, c), kShift));
    };
    const __m512i ch[4] = {channel(k.r_coef), channel(k.g_coef), channel(k.b_coef),
                           _mm512_set1_epi16(255)};
    const __m512i p02 = _mm512_packus_epi16(ch[C0], ch[C2]);
    const __m512i p13 = _mm512_packus_epi16(ch[C1], ch[C3]);
    const __m512i b01 = _mm512_unpacklo_epi8(p02, p13), b23 = _mm512_unpackhi_epi8(p02, p13);
    const __m512i q0 = _mm512_unpacklo_epi16(b01, b23);  // pixels 0 2 4 6 of each lane
    const __m512i q1 = _mm512_unpackhi_epi16(b01, b23);  // pixels 1 3 5 7
    const __m512i r0 = _mm512_unpacklo_epi32(q0, q1), r1 = _mm512_unpackhi_epi32(q0, q1);
    // r0 lane l: pixels 8l .. 8l + 3, r1 lane l: 8l + 4 .. 8l + 7 (8 is r1's first qword).
    const __m512i first = _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0);
    const __m512i second = _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4);
    _mm512_storeu_si512(dst, _mm512_permutex2var_epi64(r0, first, r1));
    _mm512_storeu_si512(dst + 64, _mm512_permutex2var_epi64(r0, second, r1));
}

}  // namespace

void install_frame(frame::Table &t)
{
    t.yuv420_to_rgba = yuv420_to_packed<0, 1, 2, 3>;
    t.yuv420_to_bgra = yuv420_to_packed<2, 1, 0, 3>;
    t.yuv420_to_argb = yuv420_to_packed<3, 0, 1, 2>;
}

}  // namespace ozmu::avx512
