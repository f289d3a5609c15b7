// Resampling row kernels of the frame conversion, AVX2: the two-row vertical blends and the
// two-tap horizontal filter, 16 samples a step (frame_resample_x86.inc has the method).
// Compiled with this tier's flags; every helper stays inside ozmu::avx2.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "csc/frame.h"

namespace ozmu::avx2 {
namespace {

struct V {
    using reg = __m256i;
    static constexpr int kLanes = 16;
    static reg load(const int16_t *p)
    {
        return _mm256_loadu_si256(reinterpret_cast<const reg *>(p));
    }
    static reg load_u8(const uint8_t *p)
    {
        return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
    }
    static void store(int16_t *p, reg v) { _mm256_storeu_si256(reinterpret_cast<reg *>(p), v); }
    static reg add(reg a, reg b) { return _mm256_add_epi16(a, b); }
    static reg sub(reg a, reg b) { return _mm256_sub_epi16(a, b); }
    static reg mulhrs(reg a, reg b) { return _mm256_mulhrs_epi16(a, b); }
    static reg sll(reg a, __m128i count) { return _mm256_sll_epi16(a, count); }
    static reg set1(int v) { return _mm256_set1_epi16(static_cast<int16_t>(v)); }

    static __m128i load128(const void *p)
    {
        return _mm_loadu_si128(static_cast<const __m128i *>(p));
    }
    // The working-scale windows of two groups, one a lane: int16 samples, or bytes << 6.
    static reg windows(const int16_t *in, const int32_t *w)
    {
        return _mm256_set_m128i(load128(in + w[1]), load128(in + w[0]));
    }
    static reg windows(const uint8_t *in, const int32_t *w)
    {
        const __m128i bytes = _mm_unpacklo_epi64(
            _mm_loadl_epi64(static_cast<const __m128i *>(static_cast<const void *>(in + w[0]))),
            _mm_loadl_epi64(static_cast<const __m128i *>(static_cast<const void *>(in + w[1]))));
        return _mm256_slli_epi16(_mm256_cvtepu8_epi16(bytes), frame::kWorkShift8);
    }
    // Groups of outputs i and i + 4 (one a lane): 32-bit sums.
    template <class T>
    static reg groups(const T *in, const frame::PairMap &m, int i)
    {
        const reg window = windows(in, m.window + i / 4);
        const reg taps = _mm256_shuffle_epi8(
            window, _mm256_loadu_si256(reinterpret_cast<const reg *>(m.shuffle + 4 * i)));
        const reg sums = _mm256_madd_epi16(taps, load(m.weight + 2 * i));
        return _mm256_srai_epi32(_mm256_add_epi32(sums, _mm256_set1_epi32(1 << (frame::kQ - 1))),
                                 frame::kQ);
    }
    template <class T>
    static reg pairs(const T *in, const frame::PairMap &m, int i)
    {
        // The pack interleaves the lanes' groups 0 2 1 3; the permute puts them back.
        return _mm256_permute4x64_epi64(_mm256_packs_epi32(groups(in, m, i), groups(in, m, i + 8)),
                                        0xD8);
    }

    // 32 outputs from 64 bytes of each row.
    static void box2(const uint8_t *a, const uint8_t *b, uint8_t *out)
    {
        const reg ones = _mm256_set1_epi8(1), two = _mm256_set1_epi16(2);
        const auto sums = [&](int k) {
            const reg s = _mm256_add_epi16(
                _mm256_maddubs_epi16(_mm256_loadu_si256(reinterpret_cast<const reg *>(a + k)),
                                     ones),
                _mm256_maddubs_epi16(_mm256_loadu_si256(reinterpret_cast<const reg *>(b + k)),
                                     ones));
            return _mm256_srli_epi16(_mm256_add_epi16(s, two), 2);
        };
        _mm256_storeu_si256(reinterpret_cast<reg *>(out),
                            _mm256_permute4x64_epi64(_mm256_packus_epi16(sums(0), sums(32)), 0xD8));
    }

    static void products(const int16_t *p, reg w, reg &lo, reg &hi)
    {
        lo = _mm256_madd_epi16(_mm256_cvtepi16_epi32(load128(p)), w);
        hi = _mm256_madd_epi16(_mm256_cvtepi16_epi32(load128(p + 8)), w);
    }
    static reg load32(const int32_t *p)
    {
        return _mm256_loadu_si256(reinterpret_cast<const reg *>(p));
    }
    static void store32(int32_t *p, reg v) { _mm256_storeu_si256(reinterpret_cast<reg *>(p), v); }
    static reg add32(reg a, reg b) { return _mm256_add_epi32(a, b); }
    static reg sra32(reg a, __m128i count) { return _mm256_sra_epi32(a, count); }
    static reg set1_32(int v) { return _mm256_set1_epi32(v); }
    static reg narrow(reg lo, reg hi)
    {
        return _mm256_permute4x64_epi64(_mm256_packs_epi32(lo, hi), 0xD8);
    }
};

// clang-format off
#include "csc/simd/frame_resample_x86.inc"
// clang-format on

// Four taps an output: two gathers of (in[index + k], in[index + k + 1]) pairs, k = 0, 2, each
// multiply-added with its weight pairs.
inline __m256i quad_sums(const int16_t *in, const frame::QuadMap &m, int i)
{
    const __m256i idx = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(m.index + i));
    const __m256i g01 = _mm256_i32gather_epi32(reinterpret_cast<const int *>(in), idx, 2);
    const __m256i g23 = _mm256_i32gather_epi32(reinterpret_cast<const int *>(in + 2), idx, 2);
    const __m256i sums = _mm256_add_epi32(_mm256_madd_epi16(g01, V::load(m.pair01 + 2 * i)),
                                          _mm256_madd_epi16(g23, V::load(m.pair23 + 2 * i)));
    return _mm256_srai_epi32(_mm256_add_epi32(sums, _mm256_set1_epi32(1 << (frame::kQ - 1))),
                             frame::kQ);
}

void horizontal4(const int16_t *in, const frame::QuadMap &map, int16_t *out)
{
    const frame::QuadMap m = map;
    int i = 0;
    for (; i + 16 <= m.outputs; i += 16)
        V::store(out + i,
                 _mm256_permute4x64_epi64(
                     _mm256_packs_epi32(quad_sums(in, m, i), quad_sums(in, m, i + 8)), 0xD8));
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

}  // namespace ozmu::avx2
