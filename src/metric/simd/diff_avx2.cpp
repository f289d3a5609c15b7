// x86-64 AVX2 residual differences: operands widened to 16-bit lanes, subtracted with wrap-around
// and stored a whole row at a time. The fixed kernels read and write exactly their block (no
// over-read). The generic 8-bit function takes the vector path for a row (8 samples wide or more)
// only when the output row shares no byte with either input row; otherwise it stores sample by
// sample in order, as the definition reads. (The generic 16-bit one measured no faster than the
// reference's own vectorised loop and is left to it.)
#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "metric/metric.h"

namespace ozmu::avx2 {
namespace {

#include "metric/simd/metric_x86.inc"

// 16 samples widened to 16 bits.
__m256i wide16(const uint8_t *p) { return _mm256_cvtepu8_epi16(load128(p)); }
__m256i wide16(const int16_t *p) { return load256(p); }
// 8 samples.
__m128i wide8(const uint8_t *p) { return _mm_cvtepu8_epi16(load64(p)); }
__m128i wide8(const int16_t *p) { return load128(p); }
// 4 samples (in the low half).
__m128i wide4(const uint8_t *p) { return _mm_cvtepu8_epi16(load32(p)); }
__m128i wide4(const int16_t *p) { return load64(p); }

template <int W, int H, class A, class B>
void diff_block(const A *a, const B *b, int stride_a, int stride_b, int stride_out, int16_t *out)
{
    for (int y = 0; y < H; ++y, a += stride_a, b += stride_b, out += stride_out) {
        if constexpr (W == 4)
            store64(out, _mm_sub_epi16(wide4(a), wide4(b)));
        else if constexpr (W == 8)
            store128(out, _mm_sub_epi16(wide8(a), wide8(b)));
        else
            for (int x = 0; x < W; x += 16)
                store256(out + x, _mm256_sub_epi16(wide16(a + x), wide16(b + x)));
    }
}

template <class A, class B>
void diff_any(int w, int h, const A *a, const B *b, int stride_a, int stride_b, int stride_out,
              int16_t *out)
{
    if (w < 1)
        return;
    const auto disjoint = [w](const void *p, size_t size, const int16_t *o) {
        const uintptr_t lo = reinterpret_cast<uintptr_t>(p), o_lo = reinterpret_cast<uintptr_t>(o);
        const size_t n = static_cast<size_t>(w);
        return lo + n * size <= o_lo || o_lo + n * 2 <= lo;
    };
    const auto row16 = [](const A *pa, const B *pb, int16_t *po) {
        store256(po, _mm256_sub_epi16(wide16(pa), wide16(pb)));
    };
    const auto row8 = [](const A *pa, const B *pb, int16_t *po) {
        store128(po, _mm_sub_epi16(wide8(pa), wide8(pb)));
    };
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b, out += stride_out) {
        if (w >= 8 && disjoint(a, sizeof(A), out) && disjoint(b, sizeof(B), out)) {
            // The last step overlaps the one before it: it rewrites the same values.
            if (w >= 16) {
                int x = 0;
                for (; x + 16 <= w; x += 16)
                    row16(a + x, b + x, out + x);
                if (x < w)
                    row16(a + w - 16, b + w - 16, out + w - 16);
            } else {
                row8(a, b, out);
                row8(a + w - 8, b + w - 8, out + w - 8);
            }
            continue;
        }
        for (int x = 0; x < w; ++x)
            out[x] = static_cast<int16_t>(static_cast<uint16_t>(int32_t{a[x]} - int32_t{b[x]}));
    }
}

void diff_u8(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
             int stride_out, int16_t *out)
{
    diff_any(w, h, a, b, stride_a, stride_b, stride_out, out);
}

}  // namespace

void install_metric_diff(metric::Table &table)
{
#define OZMU_AVX2_DIFF16(w, h) table.diff##w##x##h##_16 = diff_block<w, h, int16_t, int16_t>;
#define OZMU_AVX2_DIFF(w, h)                                                                       \
    table.diff##w##x##h = diff_block<w, h, uint8_t, uint8_t>;                                      \
    OZMU_AVX2_DIFF16(w, h)
    OZMU_METRIC_SMALL_SIZES(OZMU_AVX2_DIFF)
    OZMU_METRIC_BI_SIZES(OZMU_AVX2_DIFF)
    OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_AVX2_DIFF16)
#undef OZMU_AVX2_DIFF
#undef OZMU_AVX2_DIFF16
    table.diff4x4_bi = diff_block<4, 4, int16_t, uint8_t>;
    table.diff = diff_u8;
}

}  // namespace ozmu::avx2
