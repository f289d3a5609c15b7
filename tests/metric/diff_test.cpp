// Difference kernels: every exported member, reference and tier version against the model, on
// guarded inputs (only diff4x4 may read 4 bytes past its rows) into outputs whose rows sit among
// canaries at a wider, possibly negative stride; the generic functions on every tail width, on
// non-positive sizes and with the output overlapping the inputs.
#include <algorithm>
#include <functional>

#include "metric_model.h"
#include "ozmu.h"

namespace {

using namespace ozmu::metric_test;
using ozmu::test::Plane;
using ozmu::test::same_bytes;
using ozmu::test::same_planes;

template <class A, class B>
using DiffFn = void (*)(const A *, const B *, int, int, int, int16_t *);
template <class A, class B>
using GenericDiffFn = void (*)(int, int, const A *, const B *, int, int, int, int16_t *);
template <class A, class B>
using Call = std::function<void(const A *, const B *, int, int, int, int16_t *)>;

template <class A, class B>
struct Fixed {
    const char *name;
    int w, h, slack;
    DiffFn<A, B> exported, reference;
    DiffFn<A, B> ozmu::metric::Table::*entry;
};

// The slack is what a kernel may read past each input row (diff4x4 only).
#define DIFF8(w, h, vec)                                                                           \
    {"diff" #w "x" #h,                                                                             \
     w,                                                                                            \
     h,                                                                                            \
     (w) == 4 && (h) == 4 ? 4 : 0,                                                                 \
     ozmu_diff##w##x##h,                                                                           \
     ozmu::ref::diff##w##x##h,                                                                     \
     vec(diff##w##x##h)},
#define DIFF16(w, h, vec)                                                                          \
    {"diff" #w "x" #h "_16", w, h, 0, ozmu_diff##w##x##h##_16, ozmu::ref::diff##w##x##h##_16,      \
     vec(diff##w##x##h##_16)},
#define DIFF8_REF(w, h) DIFF8(w, h, NO_ENTRY)
#define DIFF8_VEC(w, h) DIFF8(w, h, ENTRY)
#define DIFF16_REF(w, h) DIFF16(w, h, NO_ENTRY)
#define DIFF16_VEC(w, h) DIFF16(w, h, ENTRY)

const Fixed<uint8_t, uint8_t> kFixed8[] = {OZMU_METRIC_NARROW_SIZES(
    DIFF8_REF) OZMU_METRIC_SMALL_SIZES(DIFF8_VEC) OZMU_METRIC_BI_SIZES(DIFF8_VEC)};
const Fixed<int16_t, int16_t> kFixed16[] = {
    OZMU_METRIC_NARROW_SIZES(DIFF16_REF) OZMU_METRIC_DIFF16_NARROW_SIZES(DIFF16_REF)
        OZMU_METRIC_SMALL_SIZES(DIFF16_VEC) OZMU_METRIC_BI_SIZES(DIFF16_VEC)
            OZMU_METRIC_DIFF16_ONLY_SIZES(DIFF16_VEC){"diff4x4_bi_16", 4, 4, 0, ozmu_diff4x4_bi_16,
                                                      nullptr, nullptr}};
const Fixed<int16_t, uint8_t> kFixedBi[] = {
    {"diff4x4_bi", 4, 4, 0, ozmu_diff4x4_bi, ozmu::ref::diff4x4_bi, ENTRY(diff4x4_bi)}};

int16_t *samples(Plane &plane) { return reinterpret_cast<int16_t *>(plane.origin()); }

// One trial: guarded inputs, an output plane of canaries at a stride wider than the block (upward
// or downward), written by the model and by every version; the planes must match byte for byte.
template <class A, class B>
void check(Rng &rng, int trial, int w, int h, int slack,
           const std::vector<std::pair<std::string, Call<A, B>>> &calls)
{
    Operands<A, B> in(rng, trial, w, w, h, slack);
    const int extra = 2 * rng.range(0, 7);
    const bool upward = rng.coin();
    const auto output = [&] { return Plane(std::max(w, 0), std::max(h, 0), 2, extra, upward); };
    Plane expected = output();
    const int stride_out = expected.stride() / 2;
    diff(w, h, in.a.origin(), in.b.origin(), in.stride_a, in.stride_b, stride_out,
         samples(expected));
    for (const auto &[version, call] : calls) {
        Plane actual = output();
        call(in.a.origin(), in.b.origin(), in.stride_a, in.stride_b, stride_out, samples(actual));
        EXPECT_TRUE(same_planes(expected, actual))
            << version << ", trial " << trial << ", strides " << in.stride_a << " " << in.stride_b
            << " " << stride_out;
    }
}

template <class A, class B, size_t N>
void check_fixed(const Fixed<A, B> (&table)[N], uint64_t stream)
{
    Rng rng(stream);
    for (const auto &k : table) {
        SCOPED_TRACE(k.name);
        const auto calls = versions<Call<A, B>>(k.exported, k.reference, k.entry,
                                                [](DiffFn<A, B> f) { return Call<A, B>(f); });
        for (int trial = 0; trial < 12; ++trial)
            check(rng, trial, k.w, k.h, k.slack, calls);
    }
}

TEST(MetricDiff, EightBitKernels) { check_fixed(kFixed8, 11); }
TEST(MetricDiff, SixteenBitKernels) { check_fixed(kFixed16, 12); }
TEST(MetricDiff, MixedKernel) { check_fixed(kFixedBi, 13); }

template <class A, class B>
void check_generic(const char *name, GenericDiffFn<A, B> exported, GenericDiffFn<A, B> reference,
                   GenericDiffFn<A, B> ozmu::metric::Table::*entry, uint64_t stream)
{
    Rng rng(stream);
    for (const auto &[w, h] : generic_sizes(rng)) {
        SCOPED_TRACE(::testing::Message() << name << " " << w << "x" << h);
        const auto bind = [w = w, h = h](GenericDiffFn<A, B> f) {
            return Call<A, B>([=](const A *a, const B *b, int sa, int sb, int so, int16_t *o) {
                f(w, h, a, b, sa, sb, so, o);
            });
        };
        const auto calls = versions<Call<A, B>>(exported, reference, entry, bind);
        for (int trial : {rng.range(0, 11), rng.range(0, 11)})
            check(rng, trial, w, h, 0, calls);
    }
}

TEST(MetricDiff, EightBitGeneric)
{
    check_generic<uint8_t, uint8_t>("diff", ozmu_diff, ozmu::ref::diff, ENTRY(diff), 14);
}
TEST(MetricDiff, SixteenBitGeneric)
{
    check_generic<int16_t, int16_t>("diff_16", ozmu_diff_16, ozmu::ref::diff_16, ENTRY(diff_16),
                                    15);
}

// The output placed among the inputs at random offsets and strides (zero and negative too), so
// its rows overlap theirs wholly, partly or not at all: the result is what storing sample by
// sample in row order leaves in the shared memory.
template <class A, class B>
void check_overlap(GenericDiffFn<A, B> exported, GenericDiffFn<A, B> reference,
                   GenericDiffFn<A, B> ozmu::metric::Table::*entry, uint64_t stream)
{
    Rng rng(stream);
    const auto calls = versions<GenericDiffFn<A, B>>(exported, reference, entry,
                                                     [](GenericDiffFn<A, B> f) { return f; });
    for (int trial = 0; trial < 300; ++trial) {
        const int w = rng.range(1, 80), h = rng.range(1, 5), reach = 2 * w + 8;
        constexpr ptrdiff_t kMiddle = 4096;  // bytes; every access stays within 2 KiB of it
        std::vector<int16_t> memory(kMiddle);
        rng.fill(memory.data(), 2 * memory.size());
        const ptrdiff_t at_a = kMiddle + ptrdiff_t{sizeof(A)} * rng.range(-reach, reach);
        const ptrdiff_t at_b = kMiddle + ptrdiff_t{sizeof(B)} * rng.range(-reach, reach);
        const ptrdiff_t at_out = kMiddle + 2 * rng.range(-reach, reach);
        const int sa = rng.range(-reach, reach), sb = rng.range(-reach, reach);
        const int so = rng.range(-reach, reach);
        const auto run = [&](GenericDiffFn<A, B> f) {
            std::vector<int16_t> copy = memory;
            auto *bytes = reinterpret_cast<uint8_t *>(copy.data());
            f(w, h, reinterpret_cast<const A *>(bytes + at_a),
              reinterpret_cast<const B *>(bytes + at_b), sa, sb, so,
              reinterpret_cast<int16_t *>(bytes + at_out));
            return copy;
        };
        const std::vector<int16_t> expected = run(diff<A, B>);
        for (const auto &[version, f] : calls)
            EXPECT_TRUE(same_bytes(expected.data(), run(f).data(), 2 * expected.size()))
                << version << " " << w << "x" << h << ", offsets " << at_a << " " << at_b << " "
                << at_out << ", strides " << sa << " " << sb << " " << so;
        if (::testing::Test::HasFailure())
            return;  // one failing layout says enough
    }
}

TEST(MetricDiff, GenericOverlappingOutput)
{
    check_overlap<uint8_t, uint8_t>(ozmu_diff, ozmu::ref::diff, ENTRY(diff), 16);
    check_overlap<int16_t, int16_t>(ozmu_diff_16, ozmu::ref::diff_16, ENTRY(diff_16), 17);
}

}  // namespace
