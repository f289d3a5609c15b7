// SAD, SSD, Hadamard and SATD: every exported member, reference and tier version against the
// model, on blocks flush against guard pages (only sad4x4 may read 4 bytes past its rows), with
// signed and odd strides, random, extreme and 10-bit samples; the fixed kernels at their size,
// the generic functions on every tail width and on odd, zero and negative sizes.
#include <functional>

#include "metric_model.h"
#include "ozmu.h"

namespace {

using namespace ozmu::metric_test;

template <class A, class B>
using Cost = int (*)(const A *, const B *, int, int);
template <class A, class B>
using GenericCost = int (*)(int, int, const A *, const B *, int, int);
template <class A, class B>
using Call = std::function<int(const A *, const B *, int, int)>;

template <class A, class B>
struct Fixed {
    const char *name;
    Metric metric;
    int w, h, slack;
    Cost<A, B> exported, reference;
    Cost<A, B> ozmu::metric::Table::*entry;
};

// Rows of the tables; the slack is what a kernel may read past each row (sad4x4 only). Second
// exported names are checked as exported entry points alone.
#define SAD8(w, h, vec)                                                                            \
    {"sad" #w "x" #h,                                                                              \
     Metric::Sad,                                                                                  \
     w,                                                                                            \
     h,                                                                                            \
     (w) == 4 && (h) == 4 ? 4 : 0,                                                                 \
     ozmu_sad##w##x##h,                                                                            \
     ozmu::ref::sad##w##x##h,                                                                      \
     vec(sad##w##x##h)},
#define SAD16(w, h, vec)                                                                           \
    {"sad" #w "x" #h "_16",        Metric::Sad,           w, h, 0, ozmu_sad##w##x##h##_16,         \
     ozmu::ref::sad##w##x##h##_16, vec(sad##w##x##h##_16)},
#define SAD8_REF(w, h) SAD8(w, h, NO_ENTRY)
#define SAD8_VEC(w, h) SAD8(w, h, ENTRY)
#define SAD16_REF(w, h) SAD16(w, h, NO_ENTRY)
#define SAD16_VEC(w, h) SAD16(w, h, ENTRY)
#define SAD_BI_16(w, h)                                                                            \
    {"sad" #w "x" #h "_bi_16", Metric::Sad, w, h, 0, ozmu_sad##w##x##h##_bi_16, nullptr, nullptr},
#define SAD_BI(w, h)                                                                               \
    {"sad" #w "x" #h "_bi",                                                                        \
     Metric::Sad,                                                                                  \
     w,                                                                                            \
     h,                                                                                            \
     0,                                                                                            \
     ozmu_sad##w##x##h##_bi,                                                                       \
     ozmu::ref::sad##w##x##h##_bi,                                                                 \
     ENTRY(sad##w##x##h##_bi)},
#define MEMBER(name, metric, size)                                                                 \
    {                                                                                              \
#name, metric, size, size, 0, ozmu_##name, ozmu::ref::name, ENTRY(name)                    \
    }

const Fixed<uint8_t, uint8_t> kFixed8[] = {
    OZMU_METRIC_NARROW_SIZES(SAD8_REF) OZMU_METRIC_SMALL_SIZES(SAD8_VEC)
        OZMU_METRIC_BI_SIZES(SAD8_VEC) MEMBER(satd4x4, Metric::Satd, 4),
    MEMBER(satd8x8, Metric::Satd8, 8)};
const Fixed<int16_t, int16_t> kFixed16[] = {
    OZMU_METRIC_NARROW_SIZES(SAD16_REF) OZMU_METRIC_SMALL_SIZES(SAD16_VEC)
        OZMU_METRIC_BI_SIZES(SAD16_VEC) OZMU_METRIC_BI_SIZES(SAD_BI_16)
            MEMBER(satd4x4_16, Metric::Satd, 4),
    {"satd4x4_bi_16", Metric::Satd, 4, 4, 0, ozmu_satd4x4_bi_16, nullptr, nullptr},
    MEMBER(satd8x8_16, Metric::Satd8U16, 8),
    MEMBER(satd8x8_bi_16, Metric::Satd8SU16, 8)};
const Fixed<int16_t, uint8_t> kFixedBi[] = {OZMU_METRIC_BI_SIZES(SAD_BI)
                                                MEMBER(satd4x4_bi, Metric::Satd, 4),
                                            MEMBER(satd8x8_bi, Metric::Satd8, 8)};

template <class A, class B>
struct Generic {
    const char *name;
    Metric metric;
    GenericCost<A, B> exported, reference;
    GenericCost<A, B> ozmu::metric::Table::*entry;
};
const Generic<uint8_t, uint8_t> kGeneric8[] = {
    {"sad", Metric::Sad, ozmu_sad, ozmu::ref::sad, ENTRY(sad)},
    {"ssd", Metric::Ssd, ozmu_ssd, ozmu::ref::ssd, ENTRY(ssd)},
    {"satd", Metric::Satd, ozmu_satd, ozmu::ref::satd, ENTRY(satd)}};
const Generic<int16_t, int16_t> kGeneric16[] = {
    {"sad_16", Metric::Sad, ozmu_sad_16, ozmu::ref::sad_16, ENTRY(sad_16)},
    {"ssd_16", Metric::Ssd, ozmu_ssd_16, ozmu::ref::ssd_16, ENTRY(ssd_16)},
    {"satd_16", Metric::Satd, ozmu_satd_16, ozmu::ref::satd_16, ENTRY(satd_16)}};

// One trial: guarded inputs (SATD given its whole tiles), the model's value, every version's.
template <class A, class B>
void check(Rng &rng, int trial, Metric metric, int w, int h, int slack,
           const std::vector<std::pair<std::string, Call<A, B>>> &calls)
{
    const bool tiles = metric == Metric::Satd;
    Operands<A, B> in(rng, trial, w, tiles ? ceil4(w) : w, tiles ? ceil4(h) : h, slack);
    const int expected = cost(metric, w, h, in.a.origin(), in.b.origin(), in.stride_a, in.stride_b);
    for (const auto &[version, call] : calls)
        EXPECT_EQ(expected, call(in.a.origin(), in.b.origin(), in.stride_a, in.stride_b))
            << version << ", trial " << trial << ", strides " << in.stride_a << " " << in.stride_b
            << ", seed 0x" << std::hex << ozmu::test::test_seed();
}

template <class A, class B, size_t N>
void check_fixed(const Fixed<A, B> (&table)[N], uint64_t stream)
{
    Rng rng(stream);
    for (const auto &k : table) {
        SCOPED_TRACE(k.name);
        const auto calls = versions<Call<A, B>>(k.exported, k.reference, k.entry,
                                                [](Cost<A, B> f) { return Call<A, B>(f); });
        for (int trial = 0; trial < 12; ++trial)
            check(rng, trial, k.metric, k.w, k.h, k.slack, calls);
    }
}

TEST(MetricCost, EightBitKernels) { check_fixed(kFixed8, 1); }
TEST(MetricCost, SixteenBitKernels) { check_fixed(kFixed16, 2); }
TEST(MetricCost, MixedKernels) { check_fixed(kFixedBi, 3); }

template <class A, class B, size_t N>
void check_generic(const Generic<A, B> (&table)[N], uint64_t stream)
{
    Rng rng(stream);
    for (const auto &g : table)
        for (const auto &[w, h] : generic_sizes(rng)) {
            SCOPED_TRACE(::testing::Message() << g.name << " " << w << "x" << h);
            const auto bind = [w = w, h = h](GenericCost<A, B> f) {
                return Call<A, B>(
                    [=](const A *a, const B *b, int sa, int sb) { return f(w, h, a, b, sa, sb); });
            };
            const auto calls = versions<Call<A, B>>(g.exported, g.reference, g.entry, bind);
            for (int trial : {rng.range(0, 11), rng.range(0, 11)})
                check(rng, trial, g.metric, w, h, 0, calls);
        }
}

TEST(MetricCost, EightBitGeneric) { check_generic(kGeneric8, 4); }
TEST(MetricCost, SixteenBitGeneric) { check_generic(kGeneric16, 5); }

TEST(MetricCost, Hadamard)
{
    using Hadamard = int (*)(const int16_t *);
    const auto calls = versions<Hadamard>(ozmu_hadamard4x4, ozmu::ref::hadamard4x4,
                                          ENTRY(hadamard4x4), [](Hadamard f) { return f; });
    Rng rng(6);
    for (int trial = 0; trial < 96; ++trial) {
        PageGuardedBuffer coef(32, trial & 1 ? PageGuardedBuffer::Flush::Start
                                             : PageGuardedBuffer::Flush::End);
        const Values &v = kValues[trial % std::size(kValues)];
        ozmu::test::fill_pattern(rng, trial & 2 ? v.a : v.b, coef.data(), 16, 2,
                                 v.narrow ? -1023 : -32768, v.narrow ? 1023 : 32767);
        const auto *c = reinterpret_cast<const int16_t *>(coef.data());
        for (const auto &[version, call] : calls)
            EXPECT_EQ(hadamard4x4(c), call(c)) << version << ", trial " << trial;
    }
}

}  // namespace
