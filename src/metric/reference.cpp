// Portable references of the block metrics, sample by sample as the definitions read. They run
// wherever no vector version exists and are what the vector versions are tested against.
#include <cstddef>

#include "metric/metric.h"

namespace ozmu::ref {
namespace {

using metric::abs15;

// Operands widen to 32 bits: 8-bit samples zero-extend, 16-bit samples sign-extend.
constexpr int32_t widen(uint8_t v) { return v; }
constexpr int32_t widen(int16_t v) { return v; }

template <class A, class B>
int sad_block(int w, int h, const A *a, const B *b, int stride_a, int stride_b)
{
    uint32_t sum = 0;
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b)
        for (int x = 0; x < w; ++x)
            sum += abs15(widen(a[x]) - widen(b[x]));
    return static_cast<int>(sum);
}

template <class A, class B>
int ssd_block(int w, int h, const A *a, const B *b, int stride_a, int stride_b)
{
    uint32_t sum = 0;
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b)
        for (int x = 0; x < w; ++x) {
            const uint32_t t = abs15(widen(a[x]) - widen(b[x]));
            sum += t * t;  // wraps modulo 2^32 for large 16-bit differences
        }
    return static_cast<int>(sum);
}

// Stores the low 16 bits of each difference, one sample at a time (an output that overlaps an
// input sees the earlier stores, as the definition reads).
template <class A, class B>
void diff_block(int w, int h, const A *a, const B *b, int stride_a, int stride_b, int stride_out,
                int16_t *out)
{
    for (int y = 0; y < h; ++y, a += stride_a, b += stride_b, out += stride_out)
        for (int x = 0; x < w; ++x)
            out[x] = static_cast<int16_t>(static_cast<uint16_t>(widen(a[x]) - widen(b[x])));
}

// SATD of a block in 4x4 tiles; the last tile of a row or column reaches past a size that is not
// a multiple of 4. Tile(a, b, stride_a, stride_b) is the 4x4 SATD of one tile.
template <class A, class B, class Tile>
int satd_tiles(int w, int h, const A *a, const B *b, int stride_a, int stride_b, Tile tile)
{
    uint32_t sum = 0;
    for (int y = 0; y < h; y += 4) {
        for (int x = 0; x < w; x += 4)
            sum += static_cast<uint32_t>(tile(a + x, b + x, stride_a, stride_b));
        a += 4 * static_cast<std::ptrdiff_t>(stride_a);
        b += 4 * static_cast<std::ptrdiff_t>(stride_b);
    }
    return static_cast<int>(sum);
}

template <class A, class B>
int satd4x4_block(const A *a, const B *b, int stride_a, int stride_b)
{
    int16_t residual[16];
    diff_block(4, 4, a, b, stride_a, stride_b, 4, residual);
    return hadamard4x4(residual);
}

// 8-point Hadamard butterflies over v[0], v[step], ..., v[7 * step].
void hadamard8(int32_t *v, int step)
{
    for (int half = 4; half >= 1; half >>= 1)
        for (int i = 0; i < 8; ++i)
            if ((i & half) == 0) {
                const int32_t p = v[i * step], q = v[(i + half) * step];
                v[i * step] = p + q;
                v[(i + half) * step] = p - q;
            }
}

template <class ReadA, class ReadB, class A, class B>
int satd8x8_block(const A *a, const B *b, int stride_a, int stride_b, ReadA read_a, ReadB read_b)
{
    int32_t r[64];
    for (int y = 0; y < 8; ++y, a += stride_a, b += stride_b)
        for (int x = 0; x < 8; ++x)
            r[8 * y + x] = read_a(a[x]) - read_b(b[x]);
    // Every row first, then every column: a column read before all rows are done mixes stages.
    for (int i = 0; i < 8; ++i)
        hadamard8(r + 8 * i, 1);
    for (int i = 0; i < 8; ++i)
        hadamard8(r + i, 8);
    uint32_t sum = 0;
    for (int32_t c : r)
        sum += static_cast<uint32_t>(c < 0 ? -c : c);
    return static_cast<int>((sum + 2) >> 2);
}

constexpr auto kSigned = [](auto v) { return widen(v); };
constexpr auto kUnsigned16 = [](int16_t v) { return int32_t{static_cast<uint16_t>(v)}; };

}  // namespace

#define OZMU_REF_SAD(w, h)                                                                         \
    int sad##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)               \
    {                                                                                              \
        return sad_block(w, h, a, b, stride_a, stride_b);                                          \
    }                                                                                              \
    int sad##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)          \
    {                                                                                              \
        return sad_block(w, h, a, b, stride_a, stride_b);                                          \
    }
#define OZMU_REF_SAD_BI(w, h)                                                                      \
    int sad##w##x##h##_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)          \
    {                                                                                              \
        return sad_block(w, h, a, b, stride_a, stride_b);                                          \
    }
#define OZMU_REF_DIFF16(w, h)                                                                      \
    void diff##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,        \
                            int stride_out, int16_t *out)                                          \
    {                                                                                              \
        diff_block(w, h, a, b, stride_a, stride_b, stride_out, out);                               \
    }
#define OZMU_REF_DIFF(w, h)                                                                        \
    void diff##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,             \
                       int stride_out, int16_t *out)                                               \
    {                                                                                              \
        diff_block(w, h, a, b, stride_a, stride_b, stride_out, out);                               \
    }                                                                                              \
    OZMU_REF_DIFF16(w, h)

OZMU_METRIC_NARROW_SIZES(OZMU_REF_SAD)
OZMU_METRIC_SMALL_SIZES(OZMU_REF_SAD)
OZMU_METRIC_BI_SIZES(OZMU_REF_SAD)
OZMU_METRIC_BI_SIZES(OZMU_REF_SAD_BI)
OZMU_METRIC_NARROW_SIZES(OZMU_REF_DIFF)
OZMU_METRIC_SMALL_SIZES(OZMU_REF_DIFF)
OZMU_METRIC_BI_SIZES(OZMU_REF_DIFF)
OZMU_METRIC_DIFF16_NARROW_SIZES(OZMU_REF_DIFF16)
OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_REF_DIFF16)

int sad(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return sad_block(w, h, a, b, stride_a, stride_b);
}

int sad_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return sad_block(w, h, a, b, stride_a, stride_b);
}

void diff(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
          int stride_out, int16_t *out)
{
    diff_block(w, h, a, b, stride_a, stride_b, stride_out, out);
}

void diff_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b,
             int stride_out, int16_t *out)
{
    diff_block(w, h, a, b, stride_a, stride_b, stride_out, out);
}

void diff4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b, int stride_out,
                int16_t *out)
{
    diff_block(4, 4, a, b, stride_a, stride_b, stride_out, out);
}

int ssd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return ssd_block(w, h, a, b, stride_a, stride_b);
}

int ssd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return ssd_block(w, h, a, b, stride_a, stride_b);
}

int hadamard4x4(const int16_t *coef)
{
    int32_t m[16];
    for (int i = 0; i < 16; ++i)
        m[i] = coef[i];
    // Columns, then rows: a + b, e + f, a - b, e - f with a, b the outer and inner sums.
    for (int pass = 0; pass < 2; ++pass) {
        const int along = pass == 0 ? 4 : 1, across = pass == 0 ? 1 : 4;
        for (int i = 0; i < 4; ++i) {
            int32_t *v = m + i * across;
            const int32_t a = v[0] + v[3 * along], b = v[along] + v[2 * along];
            const int32_t e = v[0] - v[3 * along], f = v[along] - v[2 * along];
            v[0] = a + b;
            v[along] = e + f;
            v[2 * along] = a - b;
            v[3 * along] = e - f;
        }
    }
    uint32_t sum = 0;
    for (int32_t c : m)
        sum += static_cast<uint32_t>(c < 0 ? -c : c);
    return static_cast<int>(sum) >> 1;
}

int satd4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return satd4x4_block(a, b, stride_a, stride_b);
}

int satd4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return satd4x4_block(a, b, stride_a, stride_b);
}

int satd4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return satd4x4_block(a, b, stride_a, stride_b);
}

int satd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return satd_tiles(w, h, a, b, stride_a, stride_b, satd4x4);
}

int satd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return satd_tiles(w, h, a, b, stride_a, stride_b, satd4x4_16);
}

int satd8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return satd8x8_block(a, b, stride_a, stride_b, kSigned, kSigned);
}

int satd8x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return satd8x8_block(a, b, stride_a, stride_b, kUnsigned16, kUnsigned16);
}

int satd8x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return satd8x8_block(a, b, stride_a, stride_b, kSigned, kSigned);
}

int satd8x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return satd8x8_block(a, b, stride_a, stride_b, kSigned, kUnsigned16);
}

}  // namespace ozmu::ref
