// Exported block metrics: each forwards to this host's version (see metric.h); the 2-wide shapes
// always run the reference. Alias names share the address of the routine they repeat.
#include "metric/metric.h"

#include "ozmu.h"

namespace native = ozmu::OZMU_NATIVE;
#if OZMU_HAVE_SSE2
namespace native_sad_u8 = ozmu::sse2;
#else
namespace native_sad_u8 = native;
#endif

extern "C" {

#define OZMU_EXPORT_SAD(impl, impl_u8, w, h)                                                       \
    int ozmu_sad##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)          \
    {                                                                                              \
        return impl_u8::sad##w##x##h(a, b, stride_a, stride_b);                                    \
    }                                                                                              \
    int ozmu_sad##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)     \
    {                                                                                              \
        return impl::sad##w##x##h##_16(a, b, stride_a, stride_b);                                  \
    }
#define OZMU_EXPORT_SAD_BI(w, h)                                                                   \
    int ozmu_sad##w##x##h##_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)     \
    {                                                                                              \
        return native::sad##w##x##h##_bi(a, b, stride_a, stride_b);                                \
    }                                                                                              \
    int ozmu_sad##w##x##h##_bi_16(const int16_t *, const int16_t *, int, int)                      \
        OZMU_ALIAS(ozmu_sad##w##x##h##_16);
#define OZMU_EXPORT_DIFF16(impl, w, h)                                                             \
    void ozmu_diff##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,   \
                                 int stride_out, int16_t *out)                                     \
    {                                                                                              \
        impl::diff##w##x##h##_16(a, b, stride_a, stride_b, stride_out, out);                       \
    }
#define OZMU_EXPORT_DIFF(impl, w, h)                                                               \
    void ozmu_diff##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,        \
                            int stride_out, int16_t *out)                                          \
    {                                                                                              \
        impl::diff##w##x##h(a, b, stride_a, stride_b, stride_out, out);                            \
    }                                                                                              \
    OZMU_EXPORT_DIFF16(impl, w, h)

#define OZMU_EXPORT_SAD_REF(w, h) OZMU_EXPORT_SAD(ozmu::ref, ozmu::ref, w, h)
#define OZMU_EXPORT_SAD_NATIVE(w, h) OZMU_EXPORT_SAD(native, native_sad_u8, w, h)
#define OZMU_EXPORT_DIFF_REF(w, h) OZMU_EXPORT_DIFF(ozmu::ref, w, h)
#define OZMU_EXPORT_DIFF_NATIVE(w, h) OZMU_EXPORT_DIFF(native, w, h)
#define OZMU_EXPORT_DIFF16_REF(w, h) OZMU_EXPORT_DIFF16(ozmu::ref, w, h)
#define OZMU_EXPORT_DIFF16_NATIVE(w, h) OZMU_EXPORT_DIFF16(native, w, h)

OZMU_METRIC_NARROW_SIZES(OZMU_EXPORT_SAD_REF)
OZMU_METRIC_SMALL_SIZES(OZMU_EXPORT_SAD_NATIVE)
OZMU_METRIC_BI_SIZES(OZMU_EXPORT_SAD_NATIVE)
OZMU_METRIC_BI_SIZES(OZMU_EXPORT_SAD_BI)
OZMU_METRIC_NARROW_SIZES(OZMU_EXPORT_DIFF_REF)
OZMU_METRIC_SMALL_SIZES(OZMU_EXPORT_DIFF_NATIVE)
OZMU_METRIC_BI_SIZES(OZMU_EXPORT_DIFF_NATIVE)
OZMU_METRIC_DIFF16_NARROW_SIZES(OZMU_EXPORT_DIFF16_REF)
OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_EXPORT_DIFF16_NATIVE)

int ozmu_sad(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return native_sad_u8::sad(w, h, a, b, stride_a, stride_b);
}

int ozmu_sad_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return native::sad_16(w, h, a, b, stride_a, stride_b);
}

void ozmu_diff(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
               int stride_out, int16_t *out)
{
    native::diff(w, h, a, b, stride_a, stride_b, stride_out, out);
}

void ozmu_diff_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                  int stride_out, int16_t *out)
{
    native::diff_16(w, h, a, b, stride_a, stride_b, stride_out, out);
}

void ozmu_diff4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b, int stride_out,
                     int16_t *out)
{
    native::diff4x4_bi(a, b, stride_a, stride_b, stride_out, out);
}

void ozmu_diff4x4_bi_16(const int16_t *, const int16_t *, int, int, int, int16_t *)
    OZMU_ALIAS(ozmu_diff4x4_16);

int ozmu_ssd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return native::ssd(w, h, a, b, stride_a, stride_b);
}

int ozmu_ssd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return native::ssd_16(w, h, a, b, stride_a, stride_b);
}

int ozmu_hadamard4x4(const int16_t *coef) { return native::hadamard4x4(coef); }

int ozmu_satd4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return native::satd4x4(a, b, stride_a, stride_b);
}

int ozmu_satd4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return native::satd4x4_bi(a, b, stride_a, stride_b);
}

int ozmu_satd4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return native::satd4x4_16(a, b, stride_a, stride_b);
}

int ozmu_satd4x4_bi_16(const int16_t *, const int16_t *, int, int) OZMU_ALIAS(ozmu_satd4x4_16);

int ozmu_satd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return native::satd(w, h, a, b, stride_a, stride_b);
}

int ozmu_satd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return native::satd_16(w, h, a, b, stride_a, stride_b);
}

int ozmu_satd8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return native::satd8x8(a, b, stride_a, stride_b);
}

int ozmu_satd8x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return native::satd8x8_16(a, b, stride_a, stride_b);
}

int ozmu_satd8x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return native::satd8x8_bi(a, b, stride_a, stride_b);
}

int ozmu_satd8x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return native::satd8x8_bi_16(a, b, stride_a, stride_b);
}

}  // extern "C"
