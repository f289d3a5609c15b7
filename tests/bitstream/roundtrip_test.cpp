// Values written with the writer and read back with the reader, and the documented values of
// both: fixed points that the model comparison relies on the models to get right.
#include <tuple>

#include "bit_ops.h"

namespace {

using namespace ozmu::test;

TEST(BitRoundTrip, WrittenValuesReadBack)
{
    enum { Bits, Bit, Ue, Se, Te };
    struct Item {
        int kind;
        uint32_t value;
        int a;  // bit count or range
    };
    Rng rng(0x77);
    for (int round = 0; round < 300; ++round) {
        const int count = rng.range(1, 200);
        std::vector<uint8_t> buf(count * 5 + 8);
        ozmu_bsw w;
        ozmu_bsw_init(&w, buf.data(), static_cast<int>(buf.size()), nullptr);
        std::vector<Item> items;
        for (int i = 0; i < count; ++i) {
            Item it{rng.range(Bits, Te), rng.u32(), random_bit_count(rng)};
            switch (it.kind) {
            case Bits:
                it.a -= it.a == 32 && w.leftbits == 32;  // 32 bits would stay in an empty cache
                it.value &= 0xFFFFFFFFu >> (32 - it.a);
                ASSERT_EQ(ozmu_bsw_write(&w, it.value, it.a), 0);
                break;
            case Bit:
                it.value &= 1;
                ASSERT_EQ(ozmu_bsw_write1(&w, static_cast<int>(it.value)), 0);
                break;
            case Ue: ozmu_bsw_write_ue(&w, it.value %= 65535); break;  // codes of up to 31 bits
            case Se:
                it.value = static_cast<uint32_t>(rng.range(-32767, 32767));
                ozmu_bsw_write_se(&w, static_cast<int32_t>(it.value));
                break;
            case Te:
                it.a = rng.range(-1, 4);
                it.value = it.a == 1 ? it.value & 1 : it.a <= 0 ? 0 : it.value % 300;
                ozmu_bsw_write_te(&w, it.value, it.a);
            }
            items.push_back(it);
        }
        ASSERT_EQ(ozmu_bsw_sink(&w), 0);

        ozmu_bsr r;
        ozmu_bsr_init(&r, buf.data(), static_cast<int>(w.cur - w.beg), nullptr);
        for (size_t i = 0; i < items.size(); ++i) {
            const Item &it = items[i];
            const uint32_t got = it.kind == Bits  ? ozmu_bsr_read(&r, it.a)
                                 : it.kind == Bit ? ozmu_bsr_read1(&r)
                                 : it.kind == Ue  ? ozmu_bsr_read_ue(&r)
                                 : it.kind == Se  ? static_cast<uint32_t>(ozmu_bsr_read_se(&r))
                                                  : ozmu_bsr_read_te(&r, it.a);
            ASSERT_EQ(got, it.value)
                << "item " << i << " of " << items.size() << ": kind " << it.kind << ", " << it.a
                << "; seed 0x" << std::hex << test_seed();
        }
        ozmu_bsr_skip_align8(&r);  // the zero padding of the last byte
        EXPECT_EQ(ozmu_bsr_read1(&r), 0xFFFFFFFFu);
    }
}

TEST(BitExamples, ReaderDocumentedValues)
{
    std::vector<uint8_t> data;
    ozmu_bsr bs;
    LibReader r{&bs};
    const auto start = [&](std::vector<uint8_t> bytes) {
        data = std::move(bytes);
        ozmu_bsr_init(&bs, data.data(), static_cast<int>(data.size()), nullptr);
    };
    // A call's result and leftbits after it; read_align8's count is the result's bits 8 and up.
    const auto after = [&](uint32_t result) { return std::pair{result, bs.leftbits}; };

    start({0x00, 0x00, 0x01, 0xB6});
    EXPECT_EQ(after(r.read(24)), std::pair(0x000001u, 8));
    EXPECT_EQ(after(r.read(8)), std::pair(0xB6u, 0));
    start({0xA5, 0x5A, 0xC3, 0x3C, 0x96, 0x69});  // read(30) spans two cache words
    EXPECT_EQ(after(r.read(5)), std::pair(0x14u, 27));
    EXPECT_EQ(after(r.read(30)), std::pair(0x2AD619E4u, 13));
    start({0xA6, 0x40});  // 1 010 011 00100
    for (auto [value, left] : {std::pair{0u, 15}, {1u, 12}, {2u, 9}, {3u, 4}})
        EXPECT_EQ(after(r.read_ue()), std::pair(value, left));
    start({0xA6, 0x40});
    for (int32_t value : {0, 1, -1, 2})
        EXPECT_EQ(ozmu_bsr_read_se(&bs), value);
    start({0x5C});  // after the end every read fails the same way
    EXPECT_EQ(after(r.read(8)), std::pair(0x5Cu, 0));
    EXPECT_EQ(after(r.read1()), std::pair(0xFFFFFFFFu, 0));
    EXPECT_EQ(after(r.read_ue()), std::pair(0xFFFFFFFEu, 0));
    EXPECT_EQ(after(r.read_se()), std::pair(1u, 0));
    EXPECT_EQ(after(r.read_te(1)), std::pair(2u, 0));
    EXPECT_EQ(after(r.skip_peek(1, 4)), std::pair(0u, 0));
    start({0x12, 0x34, 0x56, 0x78, 0x9A});  // peek(12) on 4 cached bits loads the 1 byte left
    EXPECT_EQ(after(r.read(28)), std::pair(0x1234567u, 4));
    EXPECT_EQ(after(r.peek(12)), std::pair(0x89Au, 12));
    start({0x12, 0x34, 0x56, 0x78, 0x9A});  // bits past the cache come from the unloaded byte
    EXPECT_EQ(after(r.read(4)), std::pair(0x1u, 28));
    EXPECT_EQ(after(r.peek(32)), std::pair(0x23456789u, 28));
    start({0xB7, 0x80});
    EXPECT_EQ(after(r.read(3)), std::pair(5u, 13));
    EXPECT_EQ(after(r.read_align8(true)), std::pair(0x17u | 5 << 8, 8));
    EXPECT_EQ(after(r.read_align8(true)), std::pair(0u, 8));
    EXPECT_EQ(after(r.read_te(1)), std::pair(0u, 7));  // the inverted bit
    EXPECT_EQ(after(r.read_te(0)), std::pair(0u, 7));  // reads nothing
    EXPECT_EQ(after(r.read_te(1)), std::pair(1u, 6));
    // tu(3) over 1110 and 1111 in a partly filled cache, and over 1110 in a full one
    for (auto [byte, full, left] :
         {std::tuple{0x0E, false, 24}, {0x0F, false, 25}, {0xE0, true, 29}}) {
        start({static_cast<uint8_t>(byte), 0x00, 0x00, 0x00});
        full ? r.peek(1) : r.read(4);
        EXPECT_EQ(after(r.read_tu(3)), std::pair(3u, left)) << byte;
    }
    start({0xFF});  // un: ones up to the end of a partly filled cache stop there
    EXPECT_EQ(after(r.read_un()), std::pair(8u, -1));
    start({0x80, 0x00, 0x00, 0x00, 0x7F});  // un: a full cache led by a 1 counts as 32 ones
    r.peek(1);
    EXPECT_EQ(after(r.read_un()), std::pair(32u, 7));
}

// Kept: 31 ones and their 0 fill the refilled word exactly, and consuming those 32 bits shifts by
// 32 modulo 32, i.e. not at all. The word stays in the cache with leftbits 0, so the next read
// takes its top bits as held ones and the first data byte after the code is lost.
TEST(BitExamples, UnaryCodeEndingOnTheWordBoundaryLeavesItsWord)
{
    for (const bool truncated : {false, true}) {
        std::vector<uint8_t> data = {0xFF, 0xFF, 0xFF, 0xFE, 0x00, 0x00};
        ozmu_bsr bs;
        ozmu_bsr_init(&bs, data.data(), static_cast<int>(data.size()), nullptr);
        EXPECT_EQ(truncated ? ozmu_bsr_read_tu(&bs, 32) : ozmu_bsr_read_un(&bs), 31u);
        EXPECT_EQ(std::make_tuple(bs.code, bs.leftbits), std::make_tuple(0xFFFFFFFEu, 0));
        const uint32_t rest[] = {ozmu_bsr_read(&bs, 8), ozmu_bsr_read(&bs, 8),
                                 ozmu_bsr_read(&bs, 8)};
        EXPECT_EQ(std::vector<uint32_t>(rest, rest + 3),
                  std::vector<uint32_t>({0xFFu, 0x00u, 0xFFFFFFFFu}))
            << (truncated ? "tu" : "un");
    }
}

// cur, leftbits, code
auto state(const ozmu_bsw &w) { return std::make_tuple(w.cur - w.beg, w.leftbits, w.code); }

TEST(BitExamples, WriterDocumentedValues)
{
    uint8_t buf[16] = {0xEE, 0xEE, 0xEE};
    ozmu_bsw w;
    for (int size : {2, 3}) {  // 1 010 011 00100; sink needs cur + 2 <= end
        ozmu_bsw_init(&w, buf, size, nullptr);
        ozmu_bsw_write1(&w, 1);
        for (uint32_t v : {1u, 2u, 3u})
            ozmu_bsw_write_ue(&w, v);
        EXPECT_EQ(ozmu_bsw_sink(&w), size == 3 ? 0 : -1);
    }
    const uint8_t want[] = {0xA6, 0x40, 0xEE};
    EXPECT_EQ(w.cur - w.beg, 2);
    EXPECT_TRUE(same_bytes(want, buf, 3));

    ozmu_bsw_init(&w, buf, 16, nullptr);
    ozmu_bsw_write_se(&w, -1);    // 011
    ozmu_bsw_write_se(&w, 1);     // 010
    ozmu_bsw_write_te(&w, 5, 0);  // nothing
    ozmu_bsw_write_te(&w, 0, 1);  // 1
    EXPECT_EQ(state(w), std::make_tuple(ptrdiff_t{0}, 25, 0x6A000000u));

    // 32 bits into an empty cache: drained at once, and still in the cache under the next bits
    ozmu_bsw_init(&w, buf, 8, nullptr);
    EXPECT_EQ(ozmu_bsw_write(&w, 0x12345678, 32), 0);
    EXPECT_EQ(state(w), std::make_tuple(ptrdiff_t{4}, 32, 0x12345678u));
    ozmu_bsw_write(&w, 1, 1);
    EXPECT_EQ(w.code, 0x92345678u);

    ozmu_bsw_init(&w, buf, 4, nullptr);  // 4 bytes: write cannot drain (cur + 4 > end), write1 can
    EXPECT_EQ(ozmu_bsw_write(&w, 0x7FFFFFFF, 31), 0);
    EXPECT_EQ(ozmu_bsw_write(&w, 1, 1), -1);
    EXPECT_EQ(state(w), std::make_tuple(ptrdiff_t{0}, 1, 0xFFFFFFFFu));
    EXPECT_EQ(ozmu_bsw_write1(&w, 1), 0);
    EXPECT_EQ(state(w), std::make_tuple(ptrdiff_t{4}, 32, 0u));

    // The prefix stops at 16 zeros: 131070 is exact, 131071 is written as 65535.
    ozmu_bsw_init(&w, buf, 16, nullptr);
    ozmu_bsw_write(&w, 0, 3);
    ozmu_bsw_write_ue(&w, 131070);
    ozmu_bsw_write_ue(&w, 131071);
    ASSERT_EQ(ozmu_bsw_sink(&w), 0);
    const uint8_t capped[] = {0x00, 0x00, 0x1F, 0xFF, 0xF0, 0x00, 0x08, 0x00, 0x00};
    EXPECT_EQ(w.cur - w.beg, 9);
    EXPECT_TRUE(same_bytes(capped, buf, 9));

    for (auto [v, bits] : {std::pair{0u, 1}, {1u, 3}, {254u, 15}, {255u, 17}, {65534u, 31}})
        EXPECT_EQ(ozmu_bsw_size_ue(v), bits) << v;
    EXPECT_EQ(ozmu_bsw_size_se(0), 1);
    EXPECT_EQ(ozmu_bsw_size_se(-1), 3);
    for (uint32_t v = 0; v <= 65534; ++v)  // the whole defined range
        ASSERT_EQ(ozmu_bsw_size_ue(v), static_cast<int>(BitWriterModel::ue_bits(v).size())) << v;
    for (int32_t v = -32767; v <= 32767; ++v)
        ASSERT_EQ(ozmu_bsw_size_se(v), ozmu_bsw_size_ue(se_code_number(v))) << v;
}

}  // namespace
