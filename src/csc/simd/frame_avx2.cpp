// Frame conversion row kernels, AVX2: the fused 4:2:0 to RGBA / BGRA / ARGB rows, 16 pixels a
// step with the matrix in 256-bit registers (frame_x86.inc has the method, the chroma and the
// row loop); in the fast chroma mode the chroma terms are computed once per pixel pair. Compiled
// with this tier's flags; every helper stays inside ozmu::avx2.
#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

namespace ozmu::avx2 {
namespace {

constexpr int kPixels = 16;
constexpr int kShift = frame::kRgbShift;  // (yy + chroma terms) >> 19, yy holding the 1 << 18

struct Consts {
    __m256i y_offset, y_coef, r_coef, g_coef, b_coef;
    __m256i y_even, y_odd, round;  // fast mode: cy times even or odd pixels, then 1 << 18
};

// A 32-bit lane holding the 16-bit pair (lo, hi), for multiply-adds.
inline __m256i pair(int lo, int hi)
{
    return _mm256_set1_epi32(
        static_cast<int32_t>((static_cast<uint32_t>(hi) << 16) | static_cast<uint16_t>(lo)));
}

inline Consts make_consts(const frame::YuvToRgb &m, const frame::Chroma420Rows &)
{
    return {_mm256_set1_epi16(m.y_offset),
            pair(m.cy, 1 << 14),
            pair(0, m.crv),
            pair(-m.cgu, -m.cgv),
            pair(m.cbu, 0),
            pair(m.cy, 0),
            pair(0, m.cy),
            _mm256_set1_epi32(1 << 18)};
}

// 16 pixels from their (U', V') pairs: uv0 for pixels 0-3 | 8-11, uv1 for 4-7 | 12-15.
template <int C0, int C1, int C2, int C3>
inline void pixels_pairs(const uint8_t *y, __m256i uv0, __m256i uv1, const Consts &k, uint8_t *dst)
{
    const __m256i luma = _mm256_sub_epi16(
        _mm256_slli_epi16(
            _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(y))), 6),
        k.y_offset);
    const __m256i sixteen = _mm256_set1_epi16(16);
    // Lanes: pixels 0-3 | 8-11 in *0, 4-7 | 12-15 in *1; the packs put them back in order.
    const __m256i y0 = _mm256_madd_epi16(_mm256_unpacklo_epi16(luma, sixteen), k.y_coef);
    const __m256i y1 = _mm256_madd_epi16(_mm256_unpackhi_epi16(luma, sixteen), k.y_coef);
    const auto channel = [&](__m256i coef) {
        return _mm256_packs_epi32(
            _mm256_srai_epi32(_mm256_add_epi32(y0, _mm256_madd_epi16(uv0, coef)), kShift),
            _mm256_srai_epi32(_mm256_add_epi32(y1, _mm256_madd_epi16(uv1, coef)), kShift));
    };
    const __m256i ch[4] = {channel(k.r_coef), channel(k.g_coef), channel(k.b_coef),
                           _mm256_set1_epi16(255)};
    const __m256i p02 = _mm256_packus_epi16(ch[C0], ch[C2]);
    const __m256i p13 = _mm256_packus_epi16(ch[C1], ch[C3]);
    const __m256i b01 = _mm256_unpacklo_epi8(p02, p13), b23 = _mm256_unpackhi_epi8(p02, p13);
    const __m256i q0 = _mm256_unpacklo_epi16(b01, b23), q1 = _mm256_unpackhi_epi16(b01, b23);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst), _mm256_permute2x128_si256(q0, q1, 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + 32),
                        _mm256_permute2x128_si256(q0, q1, 0x31));
}

template <int C0, int C1, int C2, int C3>
inline void pixels(const uint8_t *y, const __m128i *u_in, const __m128i *v_in, const Consts &k,
                   uint8_t *dst)
{
    const __m256i u = _mm256_set_m128i(u_in[1], u_in[0]), v = _mm256_set_m128i(v_in[1], v_in[0]);
    pixels_pairs<C0, C1, C2, C3>(y, _mm256_unpacklo_epi16(u, v), _mm256_unpackhi_epi16(u, v), k,
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
    __m128i pairs;  // bytes u0 v0 u1 v1 .. u7 v7
    if constexpr (Step == 1) {
        pairs = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(u + k0)),
                                  _mm_loadl_epi64(reinterpret_cast<const __m128i *>(v + k0)));
    } else {
        const __m128i lu = _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + 2 * k0));
        const __m128i lv = _mm_loadu_si128(reinterpret_cast<const __m128i *>(v + 2 * k0));
        pairs = _mm_or_si128(_mm_and_si128(lu, _mm_set1_epi16(0xFF)), _mm_slli_epi16(lv, 8));
    }
    // Lanes: chroma samples 0-3 | 4-7, pixels 0-7 | 8-15.
    const __m256i uv = _mm256_sub_epi16(_mm256_slli_epi16(_mm256_cvtepu8_epi16(pairs), 6),
                                        _mm256_set1_epi16(kMid));
    const __m256i luma = _mm256_sub_epi16(
        _mm256_slli_epi16(
            _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(y))), 6),
        k.y_offset);
    const __m256i even = _mm256_add_epi32(_mm256_madd_epi16(luma, k.y_even), k.round);
    const __m256i odd = _mm256_add_epi32(_mm256_madd_epi16(luma, k.y_odd), k.round);
    // 16-bit results in the order of pixels 0 2 4 6 1 3 5 7 of each lane.
    const auto channel = [&](__m256i coef) {
        const __m256i c = _mm256_madd_epi16(uv, coef);
        return _mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(even, c), kShift),
                                  _mm256_srai_epi32(_mm256_add_epi32(odd, c), kShift));
    };
    const __m256i ch[4] = {channel(k.r_coef), channel(k.g_coef), channel(k.b_coef),
                           _mm256_set1_epi16(255)};
    const __m256i p02 = _mm256_packus_epi16(ch[C0], ch[C2]);
    const __m256i p13 = _mm256_packus_epi16(ch[C1], ch[C3]);
    const __m256i b01 = _mm256_unpacklo_epi8(p02, p13), b23 = _mm256_unpackhi_epi8(p02, p13);
    const __m256i q0 = _mm256_unpacklo_epi16(b01, b23);  // pixels 0 2 4 6 | 8 10 12 14
    const __m256i q1 = _mm256_unpackhi_epi16(b01, b23);  // pixels 1 3 5 7 | 9 11 13 15
    const __m256i r0 = _mm256_unpacklo_epi32(q0, q1), r1 = _mm256_unpackhi_epi32(q0, q1);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst), _mm256_permute2x128_si256(r0, r1, 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + 32),
                        _mm256_permute2x128_si256(r0, r1, 0x31));
}

}  // namespace

void install_frame(frame::Table &t)
{
    t.yuv420_to_rgba = yuv420_to_packed<0, 1, 2, 3>;
    t.yuv420_to_bgra = yuv420_to_packed<2, 1, 0, 3>;
    t.yuv420_to_argb = yuv420_to_packed<3, 0, 1, 2>;
}

}  // namespace ozmu::avx2
