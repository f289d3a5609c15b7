// Exported block metrics: each forwards to this host's best version (see metric.h); the 2-wide
// shapes always run the reference. Alias names share the address of the routine they repeat.
#include "metric/metric.h"


#include "ozmu.h"

namespace ozmu::metric {
namespace {

constexpr Table kReferenceTable = {
#define OZMU_METRIC_ENTRY(name) &ref::name,
    OZMU_METRIC_ENTRIES
#undef OZMU_METRIC_ENTRY
};

}  // namespace

Table table_for(unsigned tiers)
{
#if OZMU_HAVE_X86_TIERS
    static constexpr TierInstaller<Table> kInstallers[] = {
        {cpu::kSse2, sse2::install_metric},
        {cpu::kSsse3, ssse3::install_metric},
        {cpu::kAvx2, avx2::install_metric},
    };
#elif OZMU_HAVE_NEON
    static constexpr TierInstaller<Table> kInstallers[] = {{cpu::kNeon, neon::install_metric}};
#else
    static constexpr TierInstaller<Table> kInstallers[] = {{0, nullptr}};
#endif
    return build_table(kReferenceTable, tiers, kInstallers);
}

const Table &table() { return ActiveTable<Table, table_for>::get(); }

}  // namespace ozmu::metric

#if OZMU_HAVE_NEON
namespace ozmu::neon {

void install_metric(metric::Table &table)
{
#define OZMU_METRIC_ENTRY(name) table.name = &neon::name;
    OZMU_METRIC_ENTRIES
#undef OZMU_METRIC_ENTRY
}

}  // namespace ozmu::neon
#endif

// CALL(f): the version exported functions run. AArch64 calls NEON directly; x86-64 goes through
// the table; SAD8(w, f) on x86-64 calls the SSE2 kernel directly where w < 16 (no higher tier
// beats psadbw on rows that narrow).
#if OZMU_HAVE_NEON
#define CALL(f) ozmu::neon::f
#define SAD8(w, f) ozmu::neon::f
#elif OZMU_HAVE_X86_TIERS
#define CALL(f) ozmu::metric::table().f
#define SAD8(w, f) OZMU_METRIC_SAD8_##w(f)
#define OZMU_METRIC_SAD8_4(f) ozmu::sse2::f
#define OZMU_METRIC_SAD8_8(f) ozmu::sse2::f
#define OZMU_METRIC_SAD8_16(f) ozmu::metric::table().f
#define OZMU_METRIC_SAD8_32(f) ozmu::metric::table().f
#define OZMU_METRIC_SAD8_64(f) ozmu::metric::table().f
#else
#define CALL(f) ozmu::ref::f
#define SAD8(w, f) ozmu::ref::f
#endif

extern "C" {

#define OZMU_EXPORT_SAD_WITH(impl, impl_u8, w, h)                                                  \
    int ozmu_sad##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)          \
    {                                                                                              \
        return impl_u8(sad##w##x##h)(a, b, stride_a, stride_b);                                    \
    }                                                                                              \
    int ozmu_sad##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)     \
    {                                                                                              \
        return impl(sad##w##x##h##_16)(a, b, stride_a, stride_b);                                  \
    }
#define OZMU_EXPORT_SAD_BI(w, h)                                                                   \
    int ozmu_sad##w##x##h##_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)     \
    {                                                                                              \
        return CALL(sad##w##x##h##_bi)(a, b, stride_a, stride_b);                                  \
    }                                                                                              \
    int ozmu_sad##w##x##h##_bi_16(const int16_t *, const int16_t *, int, int)                      \
        OZMU_ALIAS(ozmu_sad##w##x##h##_16);
#define OZMU_EXPORT_DIFF16(impl, w, h)                                                             \
    void ozmu_diff##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,   \
                                 int stride_out, int16_t *out)                                     \
    {                                                                                              \
        impl(diff##w##x##h##_16)(a, b, stride_a, stride_b, stride_out, out);                       \
    }
#define OZMU_EXPORT_DIFF(impl, w, h)                                                               \
    void ozmu_diff##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,        \
                            int stride_out, int16_t *out)                                          \
    {                                                                                              \
        impl(diff##w##x##h)(a, b, stride_a, stride_b, stride_out, out);                            \
    }                                                                                              \
    OZMU_EXPORT_DIFF16(impl, w, h)

#define REF(f) ozmu::ref::f
#define OZMU_EXPORT_SAD_REF(w, h) OZMU_EXPORT_SAD_WITH(REF, REF, w, h)
#define OZMU_EXPORT_SAD(w, h)                                                                      \
    int ozmu_sad##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)          \
    {                                                                                              \
        return SAD8(w, sad##w##x##h)(a, b, stride_a, stride_b);                                    \
    }                                                                                              \
    int ozmu_sad##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)     \
    {                                                                                              \
        return CALL(sad##w##x##h##_16)(a, b, stride_a, stride_b);                                  \
    }
#define OZMU_EXPORT_DIFF_REF(w, h) OZMU_EXPORT_DIFF(REF, w, h)
#define OZMU_EXPORT_DIFF_VECTOR(w, h) OZMU_EXPORT_DIFF(CALL, w, h)
#define OZMU_EXPORT_DIFF16_REF(w, h) OZMU_EXPORT_DIFF16(REF, w, h)
#define OZMU_EXPORT_DIFF16_VECTOR(w, h) OZMU_EXPORT_DIFF16(CALL, w, h)

OZMU_METRIC_NARROW_SIZES(OZMU_EXPORT_SAD_REF)
OZMU_METRIC_SMALL_SIZES(OZMU_EXPORT_SAD)
OZMU_METRIC_BI_SIZES(OZMU_EXPORT_SAD)
OZMU_METRIC_BI_SIZES(OZMU_EXPORT_SAD_BI)
OZMU_METRIC_NARROW_SIZES(OZMU_EXPORT_DIFF_REF)
OZMU_METRIC_SMALL_SIZES(OZMU_EXPORT_DIFF_VECTOR)
OZMU_METRIC_BI_SIZES(OZMU_EXPORT_DIFF_VECTOR)
OZMU_METRIC_DIFF16_NARROW_SIZES(OZMU_EXPORT_DIFF16_REF)
OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_EXPORT_DIFF16_VECTOR)

int ozmu_sad(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return CALL(sad)(w, h, a, b, stride_a, stride_b);
}

int ozmu_sad_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return CALL(sad_16)(w, h, a, b, stride_a, stride_b);
}

void ozmu_diff(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
               int stride_out, int16_t *out)
{
    CALL(diff)(w, h, a, b, stride_a, stride_b, stride_out, out);
}

void ozmu_diff_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                  int stride_out, int16_t *out)
{
    CALL(diff_16)(w, h, a, b, stride_a, stride_b, stride_out, out);
}

void ozmu_diff4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b, int stride_out,
                     int16_t *out)
{
    CALL(diff4x4_bi)(a, b, stride_a, stride_b, stride_out, out);
}

void ozmu_diff4x4_bi_16(const int16_t *, const int16_t *, int, int, int, int16_t *)
    OZMU_ALIAS(ozmu_diff4x4_16);

int ozmu_ssd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return CALL(ssd)(w, h, a, b, stride_a, stride_b);
}

int ozmu_ssd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return CALL(ssd_16)(w, h, a, b, stride_a, stride_b);
}

int ozmu_hadamard4x4(const int16_t *coef) { return CALL(hadamard4x4)(coef); }

int ozmu_satd4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return CALL(satd4x4)(a, b, stride_a, stride_b);
}

int ozmu_satd4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return CALL(satd4x4_bi)(a, b, stride_a, stride_b);
}

int ozmu_satd4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return CALL(satd4x4_16)(a, b, stride_a, stride_b);
}

int ozmu_satd4x4_bi_16(const int16_t *, const int16_t *, int, int) OZMU_ALIAS(ozmu_satd4x4_16);

int ozmu_satd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return CALL(satd)(w, h, a, b, stride_a, stride_b);
}

int ozmu_satd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return CALL(satd_16)(w, h, a, b, stride_a, stride_b);
}

int ozmu_satd8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return CALL(satd8x8)(a, b, stride_a, stride_b);
}

int ozmu_satd8x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return CALL(satd8x8_16)(a, b, stride_a, stride_b);
}

int ozmu_satd8x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b)
{
    return CALL(satd8x8_bi)(a, b, stride_a, stride_b);
}

int ozmu_satd8x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b)
{
    return CALL(satd8x8_bi_16)(a, b, stride_a, stride_b);
}

}  // extern "C"
