// Worked values callers rely on, written out as numbers, and the second exported names.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "metric_model.h"
#include "ozmu.h"

namespace {

using namespace ozmu::metric_test;

TEST(MetricExamples, HadamardOfOnes)
{
    int16_t coef[16] = {};
    EXPECT_EQ(0, ozmu_hadamard4x4(coef));
    for (int i = 0; i < 16; ++i) {
        coef[i] = 1;
        EXPECT_EQ(8, ozmu_hadamard4x4(coef)) << "a single 1 at " << i;
        EXPECT_EQ(8, hadamard4x4(coef)) << "model, a single 1 at " << i;
        coef[i] = 0;
    }
    std::fill(coef, coef + 16, int16_t{1});
    EXPECT_EQ(8, ozmu_hadamard4x4(coef));  // only the DC coefficient, 16
}

// |d| with the sign taken as d >> 15, in every 16-bit SAD and SSD.
TEST(MetricExamples, ShiftBy15AbsoluteValue)
{
    const struct {
        int16_t a, b;
        int term;
    } kTerms[] = {{32767, -32768, 65533}, {-32768, 32767, 65537}, {20001, -20000, 39999},
                  {-20001, 20000, 40003}, {-1000, 23767, 24767},  {100, -32668, 32768}};
    for (const auto &t : kTerms) {
        SCOPED_TRACE(::testing::Message() << t.a << " - " << t.b);
        const int16_t a[4] = {t.a, 9, -9, 0}, b[4] = {t.b, 9, -9, 0};  // 2x2 at stride 2
        EXPECT_EQ(t.term, ozmu_sad2x2_16(a, b, 2, 2));
        EXPECT_EQ(t.term, ozmu_sad_16(2, 2, a, b, 2, 2));
        EXPECT_EQ(t.term, static_cast<int>(abs15(t.a - t.b)));
        EXPECT_EQ(static_cast<int>(static_cast<uint32_t>(t.term) * t.term),
                  ozmu_ssd_16(1, 1, a, b, 1, 1));
    }
    // Mixed operands: a negative 16-bit first block against 255 counts 255 - value.
    std::vector<int16_t> first(16 * 16, -1000);
    std::vector<uint8_t> second(16 * 16, 255);
    EXPECT_EQ(256 * 1255, ozmu_sad16x16_bi(first.data(), second.data(), 16, 16));
}

TEST(MetricExamples, ResidualsAndSquares)
{
    const std::vector<uint8_t> full(64 * 64, 255), zero(64 * 64, 0), b250(16, 250);
    const std::vector<int16_t> low(1, -32768), one(1, 1), minus5(16, -5);
    int16_t out[16];
    ozmu_diff(1, 1, zero.data(), full.data(), 1, 1, 1, out);
    ozmu_diff(1, 1, full.data(), zero.data(), 1, 1, 1, out + 1);
    ozmu_diff_16(1, 1, low.data(), one.data(), 1, 1, 1, out + 2);
    EXPECT_EQ(-255, out[0]);
    EXPECT_EQ(255, out[1]);
    EXPECT_EQ(32767, out[2]);  // wrapped to 16 bits
    ozmu_diff4x4_bi(minus5.data(), b250.data(), 4, 4, 4, out);
    EXPECT_EQ(std::vector<int16_t>(16, -255), std::vector<int16_t>(out, out + 16));
    EXPECT_EQ(266342400, ozmu_ssd(64, 64, full.data(), zero.data(), 64, 64));
    EXPECT_EQ(266342400, ozmu_ssd(64, 64, zero.data(), full.data(), 64, 64));
}

// The 4x4 cost is halved and truncated, the 8x8 cost quartered and rounded, and the generic SATD
// only ever sums whole 4x4 tiles.
TEST(MetricExamples, SatdScalingAndTiles)
{
    std::vector<uint8_t> six(64, 6), five(64, 5);
    std::vector<int16_t> six16(64, 6), five16(64, 5);
    EXPECT_EQ(16, ozmu_satd8x8(six.data(), five.data(), 8, 8));
    EXPECT_EQ(16, ozmu_satd8x8(five.data(), six.data(), 8, 8));
    EXPECT_EQ(16, ozmu_satd8x8_16(six16.data(), five16.data(), 8, 8));
    EXPECT_EQ(16, ozmu_satd8x8_bi(six16.data(), five.data(), 8, 8));
    EXPECT_EQ(16, ozmu_satd8x8_bi_16(five16.data(), six16.data(), 8, 8));
    EXPECT_EQ(32, ozmu_satd(8, 8, six.data(), five.data(), 8, 8));  // four tiles of 8
    EXPECT_EQ(32, ozmu_satd_16(8, 8, six16.data(), five16.data(), 8, 8));

    // One difference just outside a 6 x 5 block, inside the tiles that cover it.
    std::vector<uint8_t> a(8 * 8, 0), b(8 * 8, 0);
    a[7] = 1;  // row 0, column 7
    EXPECT_EQ(0, ozmu_satd(4, 4, a.data(), b.data(), 8, 8));
    EXPECT_EQ(8, ozmu_satd(6, 4, a.data(), b.data(), 8, 8));
    a[7] = 0, a[7 * 8] = 1;  // row 7, column 0
    EXPECT_EQ(0, ozmu_satd(4, 4, a.data(), b.data(), 8, 8));
    EXPECT_EQ(8, ozmu_satd(6, 5, a.data(), b.data(), 8, 8));

    Rng rng(21);
    for (int trial = 0; trial < 20; ++trial) {
        rng.fill(a.data(), a.size());
        rng.fill(b.data(), b.size());
        EXPECT_EQ(ozmu_satd4x4(a.data(), b.data(), 8, 8),
                  ozmu_satd(4, 4, a.data(), b.data(), 8, 8));
        int tiles = 0;
        for (int at : {0, 4, 32, 36})
            tiles += ozmu_satd4x4(a.data() + at, b.data() + at, 8, 8);
        EXPECT_EQ(tiles, ozmu_satd(8, 8, a.data(), b.data(), 8, 8));
    }
}

// Read through a volatile so that the compiler cannot assume two names are two addresses.
template <class F>
uintptr_t address(F f)
{
    volatile uintptr_t held = reinterpret_cast<uintptr_t>(f);
    return held;
}

TEST(MetricExamples, SecondNamesAreTheSameRoutine)
{
#define SAME_SAD(w, h)                                                                             \
    EXPECT_EQ(address(ozmu_sad##w##x##h##_16), address(ozmu_sad##w##x##h##_bi_16)) << #w "x" #h;
    OZMU_METRIC_BI_SIZES(SAME_SAD)
    EXPECT_EQ(address(ozmu_diff4x4_16), address(ozmu_diff4x4_bi_16));
    EXPECT_EQ(address(ozmu_satd4x4_16), address(ozmu_satd4x4_bi_16));
}

}  // namespace
