// Resampling row kernels of the frame conversion, AVX-512 (BW): the two-row vertical blends and
// the two-tap horizontal filter, 32 samples a step (frame_resample_x86.inc has the method).
// Compiled with this tier's flags; every helper stays inside ozmu::avx512.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

// GCC 12 reports the intrinsics' own _mm512_undefined_epi32 () as maybe uninitialised.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace ozmu::avx512 {
namespace {

struct V {
    using reg = __m512i;
    static constexpr int kLanes = 32;
    static reg load(const int16_t *p) { return _mm512_loadu_si512(p); }
    static reg load_u8(const uint8_t *p)
    {
        return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)));
    }
    static void store(int16_t *p, reg v) { _mm512_storeu_si512(p, v); }
    static reg add(reg a, reg b) { return _mm512_add_epi16(a, b); }
    static reg sub(reg a, reg b) { return _mm512_sub_epi16(a, b); }
    static reg mulhrs(reg a, reg b) { return _mm512_mulhrs_epi16(a, b); }
    static reg sll(reg a, __m128i count) { return _mm512_sll_epi16(a, count); }
    static reg set1(int v) { return _mm512_set1_epi16(static_cast<int16_t>(v)); }

    static __m128i load128(const void *p)
    {
        return _mm_loadu_si128(static_cast<const __m128i *>(p));
    }
    // The working-scale windows of four groups, one a lane: int16 samples, or bytes << 6.
    static reg windows(const int16_t *in, const int32_t *w)
    {
        reg window = _mm512_castsi128_si512(load128(in + w[0]));
        window = _mm512_inserti32x4(window, load128(in + w[1]), 1);
        window = _mm512_inserti32x4(window, load128(in + w[2]), 2);
        return _mm512_inserti32x4(window, load128(in + w[3]), 3);
    }
    static reg windows(const uint8_t *in, const int32_t *w)
    {
        const auto bytes8 = [&](int k) {
            return _mm_loadl_epi64(
                static_cast<const __m128i *>(static_cast<const void *>(in + w[k])));
        };
        const __m256i bytes = _mm256_set_m128i(_mm_unpacklo_epi64(bytes8(2), bytes8(3)),
                                               _mm_unpacklo_epi64(bytes8(0), bytes8(1)));
        return _mm512_slli_epi16(_mm512_cvtepu8_epi16(bytes), frame::kWorkShift8);
    }
    // Groups of outputs i, i + 4, i + 8, i + 12 (one a lane): 32-bit sums.
    template <class T>
    static reg groups(const T *in, const frame::PairMap &m, int i)
    {
        const reg window = windows(in, m.window + i / 4);
        const reg taps = _mm512_shuffle_epi8(window, _mm512_loadu_si512(m.shuffle + 4 * i));
        const reg sums = _mm512_madd_epi16(taps, load(m.weight + 2 * i));
        return _mm512_srai_epi32(_mm512_add_epi32(sums, _mm512_set1_epi32(1 << (frame::kQ - 1))),
                                 frame::kQ);
    }
    template <class T>
    static reg pairs(const T *in, const frame::PairMap &m, int i)
    {
        // The pack interleaves the lanes' groups 0 4 1 5 2 6 3 7; the permute puts them back.
        const reg packed = _mm512_packs_epi32(groups(in, m, i), groups(in, m, i + 16));
        return _mm512_permutexvar_epi64(_mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0), packed);
    }

    // 64 outputs from 128 bytes of each row.
    static void box2(const uint8_t *a, const uint8_t *b, uint8_t *out)
    {
        const reg ones = _mm512_set1_epi8(1), two = _mm512_set1_epi16(2);
        const auto sums = [&](int k) {
            const reg s = _mm512_add_epi16(_mm512_maddubs_epi16(_mm512_loadu_si512(a + k), ones),
                                           _mm512_maddubs_epi16(_mm512_loadu_si512(b + k), ones));
            return _mm512_srli_epi16(_mm512_add_epi16(s, two), 2);
        };
        _mm512_storeu_si512(out, _mm512_permutexvar_epi64(_mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0),
                                                          _mm512_packus_epi16(sums(0), sums(64))));
    }

    static void products(const int16_t *p, reg w, reg &lo, reg &hi)
    {
        lo = _mm512_madd_epi16(
            _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p))), w);
        hi = _mm512_madd_epi16(
            _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 16))),
            w);
    }
    static reg load32(const int32_t *p) { return _mm512_loadu_si512(p); }
    static void store32(int32_t *p, reg v) { _mm512_storeu_si512(p, v); }
    static reg add32(reg a, reg b) { return _mm512_add_epi32(a, b); }
    static reg sra32(reg a, __m128i count) { return _mm512_sra_epi32(a, count); }
    static reg set1_32(int v) { return _mm512_set1_epi32(v); }
    static reg narrow(reg lo, reg hi)
    {
        return _mm512_permutexvar_epi64(_mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0),
                                        _mm512_packs_epi32(lo, hi));
    }
};

// clang-format off
#include "csc/simd/frame_resample_x86.inc"
// clang-format on

// Four taps an output: two gathers of (in[index + k], in[index + k + 1]) pairs, k = 0, 2, each
// multiply-added with its weight pairs.
inline __m512i quad_sums(const int16_t *in, const frame::QuadMap &m, int i)
{
    const __m512i idx = _mm512_loadu_si512(m.index + i);
    const __m512i g01 = _mm512_i32gather_epi32(idx, in, 2);
    const __m512i g23 = _mm512_i32gather_epi32(idx, in + 2, 2);
    const __m512i sums = _mm512_add_epi32(_mm512_madd_epi16(g01, V::load(m.pair01 + 2 * i)),
                                          _mm512_madd_epi16(g23, V::load(m.pair23 + 2 * i)));
    return _mm512_srai_epi32(_mm512_add_epi32(sums, _mm512_set1_epi32(1 << (frame::kQ - 1))),
                             frame::kQ);
}

void horizontal4(const int16_t *in, const frame::QuadMap &map, int16_t *out)
{
    const frame::QuadMap m = map;
    int i = 0;
    for (; i + 32 <= m.outputs; i += 32)
        V::store(out + i, _mm512_permutexvar_epi64(
                              _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0),
                              _mm512_packs_epi32(quad_sums(in, m, i), quad_sums(in, m, i + 16))));
    if (i < m.outputs)
        ref::horizontal4(in, frame::quad_map_from(m, i), out + i);
}

}  // namespace

void install_frame_resample(frame::Table &t)
{
    t.vertical2 = vertical2;
    t.vertical2_u8 = vertical2_u8;
    t.horizontal2 = horizontal2;
    t.horizontal2_u8 = horizontal2_u8;
    t.horizontal4 = horizontal4;
    t.box2_u8 = box2_u8;
    t.vertical_accumulate = vertical_accumulate;
    t.vertical_round = vertical_round;
}

}  // namespace ozmu::avx512
