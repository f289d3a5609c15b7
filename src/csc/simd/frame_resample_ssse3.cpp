// Resampling row kernels of the frame conversion, SSSE3 / SSE4.1: the two-row vertical blends and
// the two-tap horizontal filter, 8 samples a step (frame_resample_x86.inc has the method).
// Compiled with this tier's flags; every helper stays inside ozmu::ssse3.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

namespace ozmu::ssse3 {
namespace {

struct V {
    using reg = __m128i;
    static constexpr int kLanes = 8;
    static reg load(const int16_t *p) { return _mm_loadu_si128(reinterpret_cast<const reg *>(p)); }
    static reg load_u8(const uint8_t *p)
    {
        return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const reg *>(p)));
    }
    static void store(int16_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<reg *>(p), v); }
    static reg add(reg a, reg b) { return _mm_add_epi16(a, b); }
    static reg sub(reg a, reg b) { return _mm_sub_epi16(a, b); }
    static reg mulhrs(reg a, reg b) { return _mm_mulhrs_epi16(a, b); }
    static reg sll(reg a, __m128i count) { return _mm_sll_epi16(a, count); }
    static reg set1(int v) { return _mm_set1_epi16(static_cast<int16_t>(v)); }

    // The 8 working-scale samples from p: int16 ones, or bytes << 6.
    static reg window(const int16_t *p) { return load(p); }
    static reg window(const uint8_t *p) { return _mm_slli_epi16(load_u8(p), frame::kWorkShift8); }
    // Four outputs of group g from output i = 4 g: 32-bit sums.
    template <class T>
    static reg group(const T *in, const frame::PairMap &m, int i)
    {
        const reg window = V::window(in + m.window[i / 4]);
        const reg taps = _mm_shuffle_epi8(
            window, _mm_loadu_si128(reinterpret_cast<const reg *>(m.shuffle + 4 * i)));
        const reg sums = _mm_madd_epi16(taps, load(m.weight + 2 * i));
        return _mm_srai_epi32(_mm_add_epi32(sums, _mm_set1_epi32(1 << (frame::kQ - 1))), frame::kQ);
    }
    template <class T>
    static reg pairs(const T *in, const frame::PairMap &m, int i)
    {
        return _mm_packs_epi32(group(in, m, i), group(in, m, i + 4));
    }

    // 16 outputs from 32 bytes of each row.
    static void box2(const uint8_t *a, const uint8_t *b, uint8_t *out)
    {
        const reg ones = _mm_set1_epi8(1), two = _mm_set1_epi16(2);
        const auto sums = [&](int k) {
            const reg s = _mm_add_epi16(
                _mm_maddubs_epi16(_mm_loadu_si128(reinterpret_cast<const reg *>(a + k)), ones),
                _mm_maddubs_epi16(_mm_loadu_si128(reinterpret_cast<const reg *>(b + k)), ones));
            return _mm_srli_epi16(_mm_add_epi16(s, two), 2);
        };
        _mm_storeu_si128(reinterpret_cast<reg *>(out), _mm_packus_epi16(sums(0), sums(16)));
    }

    static void products(const int16_t *p, reg w, reg &lo, reg &hi)
    {
        lo = _mm_madd_epi16(_mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const reg *>(p))),
                            w);
        hi = _mm_madd_epi16(
            _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const reg *>(p + 4))), w);
    }
    static reg load32(const int32_t *p)
    {
        return _mm_loadu_si128(reinterpret_cast<const reg *>(p));
    }
    static void store32(int32_t *p, reg v) { _mm_storeu_si128(reinterpret_cast<reg *>(p), v); }
    static reg add32(reg a, reg b) { return _mm_add_epi32(a, b); }
    static reg sra32(reg a, __m128i count) { return _mm_sra_epi32(a, count); }
    static reg set1_32(int v) { return _mm_set1_epi32(v); }
    static reg narrow(reg lo, reg hi) { return _mm_packs_epi32(lo, hi); }
};

// clang-format off
#include "csc/simd/frame_resample_x86.inc"
// clang-format on

}  // namespace

void install_frame_resample(frame::Table &t)
{
    t.vertical2 = vertical2;
    t.vertical2_u8 = vertical2_u8;
    t.horizontal2 = horizontal2;
    t.horizontal2_u8 = horizontal2_u8;
    t.box2_u8 = box2_u8;
    t.vertical_accumulate = vertical_accumulate;
    t.vertical_round = vertical_round;
}

}  // namespace ozmu::ssse3
