// Annex-B helpers: NAL unit boundaries on hand-made streams, emulation-prevention removal, and
// the in-place refill against a cleaned copy read with the default refill, on random NAL units
// dense in zero runs and 03 bytes, placed flush against an inaccessible page.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"

namespace {

using Bytes = std::vector<uint8_t>;
using ozmu::test::PageGuardedBuffer;
using ozmu::test::Rng;

struct Found {
    size_t offset;
    int start_code_size;
    size_t data_offset;
    size_t size;
    bool operator==(const Found &) const = default;
};

std::vector<Found> split(const Bytes &stream)
{
    PageGuardedBuffer buf(stream.size());
    std::copy(stream.begin(), stream.end(), buf.data());
    std::vector<Found> out;
    size_t pos = 0;
    ozmu_nal_unit nal;
    while (ozmu_annexb_next_nal(buf.data(), stream.size(), &pos, &nal) == 1)
        out.push_back({nal.offset, nal.start_code_size, size_t(nal.data - buf.data()), nal.size});
    EXPECT_EQ(pos, out.empty() ? 0 : out.back().data_offset + out.back().size);
    return out;
}

TEST(AnnexB, NextNal)
{
    const struct {
        const char *what;
        Bytes stream;
        std::vector<Found> nals;
    } cases[] = {
        {"empty buffer", {}, {}},
        {"no start code", {0, 0, 2, 0, 0}, {}},
        {"3- and 4-byte start codes",
         {0, 0, 0, 1, 0x67, 0x42, 0, 0, 1, 0x68, 0xCE},
         {{0, 4, 4, 2}, {6, 3, 9, 2}}},
        {"trailing zeros belong to no unit; the last one before 00 00 01 is a zero_byte",
         {0, 0, 1, 0x65, 0x88, 0, 0, 0, 0, 0, 1, 0x41, 0, 0},
         {{0, 3, 3, 2}, {7, 4, 11, 1}}},
        {"leading bytes skipped", {9, 9, 0, 0, 1, 0x09, 0xF0}, {{2, 3, 5, 2}}},
        {"start code at the very end", {0, 0, 1, 0x09, 0, 0, 1}, {{0, 3, 3, 1}, {4, 3, 7, 0}}},
        {"back to back", {0, 0, 1, 0, 0, 1, 0x06}, {{0, 3, 3, 0}, {3, 3, 6, 1}}},
        {"00 00 00 00 is no start code", {0, 0, 0, 0}, {}},
        {"a NAL unit of zeros is empty", {0, 0, 1, 0, 0}, {{0, 3, 3, 0}}},
        {"emulation prevention is no boundary",
         {0, 0, 1, 0x06, 0, 0, 3, 1, 0, 0, 3},
         {{0, 3, 3, 8}}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(split(c.stream), c.nals) << c.what;
}

TEST(AnnexB, NextNalArguments)
{
    const uint8_t buf[] = {0, 0, 1, 0x65};
    size_t pos = 0;
    ozmu_nal_unit nal;
    EXPECT_EQ(ozmu_annexb_next_nal(buf, 4, nullptr, &nal), OZMU_ERR_INVALID_ARG);
    EXPECT_EQ(ozmu_annexb_next_nal(buf, 4, &pos, nullptr), OZMU_ERR_INVALID_ARG);
    EXPECT_EQ(ozmu_annexb_next_nal(nullptr, 4, &pos, &nal), OZMU_ERR_INVALID_ARG);
    EXPECT_EQ(ozmu_annexb_next_nal(nullptr, 0, &pos, &nal), 0);
    pos = 5;
    EXPECT_EQ(ozmu_annexb_next_nal(buf, 4, &pos, &nal), OZMU_ERR_INVALID_ARG);
    // A zero byte before *pos is not taken into the start code.
    const uint8_t four[] = {0, 0, 0, 1, 0x65};
    pos = 1;
    ASSERT_EQ(ozmu_annexb_next_nal(four, 5, &pos, &nal), 1);
    EXPECT_EQ(nal.offset, 1u);
    EXPECT_EQ(nal.start_code_size, 3);
}

TEST(AnnexB, ToRbsp)
{
    const struct {
        Bytes in, out;
    } cases[] = {
        {{}, {}},
        {{0x65, 0, 0, 3, 1, 0x80}, {0x65, 0, 0, 1, 0x80}},
        {{0x65, 0, 0, 3}, {0x65, 0, 0}},                             // at the end
        {{0x65, 0, 0, 3, 3}, {0x65, 0, 0, 3}},                       // the second 03 is data
        {{0, 0, 3, 0, 0, 3, 0}, {0, 0, 0, 0, 0}},                    // a dropped 03 ends the run
        {{0, 3, 0, 3, 0, 0, 0, 3, 2}, {0, 3, 0, 3, 0, 0, 0, 2}},     // runs longer than two
        {{0x41, 0x9A, 0, 3, 0, 0, 2}, {0x41, 0x9A, 0, 3, 0, 0, 2}},  // nothing to drop
        {{1, 2, 4, 5, 6, 7, 0, 0, 3, 1, 0, 0, 3},
         {1, 2, 4, 5, 6, 7, 0, 0, 1, 0, 0}},  // across words
    };
    for (const auto &c : cases) {
        Bytes out(c.in.size() + 1, 0xEE);
        EXPECT_EQ(ozmu_nal_to_rbsp(c.in.data(), c.in.size(), out.data()), c.out.size());
        EXPECT_TRUE(std::equal(c.out.begin(), c.out.end(), out.begin()));
        EXPECT_EQ(out[c.out.size()], 0xEE) << "wrote past the payload";
        Bytes in_place = c.in;
        in_place.resize(in_place.size() + 1);
        ASSERT_EQ(ozmu_nal_to_rbsp(in_place.data(), c.in.size(), in_place.data()), c.out.size());
        EXPECT_TRUE(std::equal(c.out.begin(), c.out.end(), in_place.begin()));
    }
}

// Random payload built from the bytes that matter: zeros, 03, small values and the rest.
Bytes random_nal(Rng &rng)
{
    Bytes nal(size_t(rng.range(0, 48)));
    for (auto &b : nal) {
        const int pick = rng.range(0, 9);
        b = pick < 4 ? 0 : pick < 7 ? 3 : pick < 8 ? uint8_t(rng.range(1, 2)) : uint8_t(rng.u32());
    }
    return nal;
}

TEST(AnnexB, RefillMatchesCleanedCopy)
{
    Rng rng(15);
    for (int trial = 0; trial < 4000; ++trial) {
        const Bytes nal = random_nal(rng);
        PageGuardedBuffer raw(nal.size());
        std::copy(nal.begin(), nal.end(), raw.data());
        Bytes cleaned(nal.size());
        cleaned.resize(ozmu_nal_to_rbsp(nal.data(), nal.size(), cleaned.data()));
        PageGuardedBuffer clean(cleaned.size());
        std::copy(cleaned.begin(), cleaned.end(), clean.data());

        ozmu_bsr a, b;
        ozmu_bsr_init(&a, raw.data(), int(nal.size()), ozmu_bsr_refill_rbsp);
        ozmu_bsr_init(&b, clean.data(), int(cleaned.size()), nullptr);
        for (int step = 0; step < 40; ++step) {
            const int op = rng.range(0, 4);
            const int n = rng.range(1, 32);
            uint32_t va = 0, vb = 0;
            switch (op) {
            case 0: va = ozmu_bsr_read(&a, n), vb = ozmu_bsr_read(&b, n); break;
            case 1: va = ozmu_bsr_peek(&a, n), vb = ozmu_bsr_peek(&b, n); break;
            case 2: va = ozmu_bsr_read_ue(&a), vb = ozmu_bsr_read_ue(&b); break;
            case 3: ozmu_bsr_skip(&a, n), ozmu_bsr_skip(&b, n); break;
            default: va = ozmu_bsr_read1(&a), vb = ozmu_bsr_read1(&b); break;
            }
            ASSERT_EQ(va, vb) << "trial " << trial << " step " << step << " op " << op;
            ASSERT_EQ(a.code, b.code) << "trial " << trial << " step " << step;
            ASSERT_EQ(a.leftbits, b.leftbits) << "trial " << trial << " step " << step;
        }
    }
}

TEST(AnnexB, RefillHonoursTheByteCount)
{
    // 00 00 03 01: a refill of 3 loads three data bytes and steps over the 03 it met.
    uint8_t nal[] = {0x25, 0, 0, 3, 1, 0, 0, 3, 0};
    ozmu_bsr bs;
    ozmu_bsr_init(&bs, nal, sizeof nal, ozmu_bsr_refill_rbsp);
    ASSERT_EQ(ozmu_bsr_refill_rbsp(&bs, 3), 0);
    EXPECT_EQ(bs.code, 0x25000000u);
    EXPECT_EQ(bs.leftbits, 24);
    EXPECT_EQ(bs.cur, nal + 4);  // the 03 after the loaded 00 00 is passed
    ASSERT_EQ(ozmu_bsr_refill_rbsp(&bs, 4), 0);
    EXPECT_EQ(bs.code, 0x01000000u);
    EXPECT_EQ(bs.leftbits, 32);
    EXPECT_EQ(bs.cur, nal + 9);
    EXPECT_EQ(ozmu_bsr_refill_rbsp(&bs, 4), -1);
    EXPECT_EQ(bs.code, 0u);
    EXPECT_EQ(bs.leftbits, 0);
}

}  // namespace
