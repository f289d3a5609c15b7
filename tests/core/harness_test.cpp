// The kernel harness must itself catch what it exists to catch.
#include "checkasm.h"

namespace {

using ozmu::test::PageGuardedBuffer;
using ozmu::test::Plane;

void touch(volatile uint8_t *p) { *p = static_cast<uint8_t>(*p + 1); }

TEST(HarnessDeathTest, GuardPagesFaultOneByteBeyondTheWindow)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    PageGuardedBuffer end_flush(100);
    touch(end_flush.data());
    touch(end_flush.data() + 99);
    EXPECT_DEATH(touch(end_flush.data() + 100), "");

    PageGuardedBuffer start_flush(100, PageGuardedBuffer::Flush::Start);
    touch(start_flush.data());
    EXPECT_DEATH(touch(start_flush.data() - 1), "");
}

TEST(Harness, PlaneMarginsCatchStrayWritesForEitherStrideSign)
{
    for (bool negative : {false, true}) {
        Plane plane(7, 3, 2, 5, negative);
        ozmu::test::Rng rng(1);
        plane.fill(rng, ozmu::test::Pattern::Max, 0, 0xFFFF);
        EXPECT_TRUE(plane.margins_untouched());
        EXPECT_EQ(plane.row(1) - plane.row(0), plane.stride());
        EXPECT_EQ(negative, plane.stride() < 0);
        plane.row(2)[7 * 2] = 0;  // first byte right of the last row
        EXPECT_FALSE(plane.margins_untouched());
    }
}

TEST(Harness, SameBytesNamesTheFirstDifference)
{
    const uint8_t a[4] = {1, 2, 3, 4}, b[4] = {1, 2, 9, 4};
    EXPECT_TRUE(ozmu::test::same_bytes(a, a, 4));
    const auto result = ozmu::test::same_bytes(a, b, 4);
    EXPECT_FALSE(result);
    EXPECT_NE(std::string(result.message()).find("byte 2"), std::string::npos);
}

}  // namespace
