// Values written with the writer and read back with the reader, and the documented examples of
// both, each checked against values worked out by hand.
#include <memory>

#include "bit_ops.h"

namespace {

using namespace ozmu::test;

struct Item {
    enum Kind { Fixed, Bit, Ue, Se, Te } kind;
    uint32_t value;
    int a;  // bit count or range
};

TEST(BitRoundTrip, WrittenValuesReadBack)
{
    Rng rng(0x77);
    for (int round = 0; round < 300; ++round) {
        const int count = rng.range(1, 200);
        std::vector<uint8_t> buf(static_cast<size_t>(count) * 5 + 8);
        ozmu_bsw w;
        ozmu_bsw_init(&w, buf.data(), static_cast<int>(buf.size()), nullptr);
        std::vector<Item> items;
        for (int i = 0; i < count; ++i) {
            Item it{Item::Kind(rng.range(0, 4)), rng.u32(), random_bit_count(rng)};
            switch (it.kind) {
            case Item::Fixed:
                if (it.a == 32 && w.leftbits == 32)  // would also stay in the cache
                    it.a = 31;
                it.value &= 0xFFFFFFFFu >> (32 - it.a);
                ASSERT_EQ(ozmu_bsw_write(&w, it.value, it.a), 0);
                break;
            case Item::Bit:
                it.value &= 1;
                ASSERT_EQ(ozmu_bsw_write1(&w, static_cast<int>(it.value)), 0);
                break;
            case Item::Ue:
                it.value = static_cast<uint32_t>(rng.range(0, 65534));
                ozmu_bsw_write_ue(&w, it.value);
                break;
            case Item::Se:
                it.value = static_cast<uint32_t>(rng.range(-32767, 32767));
                ozmu_bsw_write_se(&w, static_cast<int32_t>(it.value));
                break;
            case Item::Te:
                it.a = rng.range(-1, 4);
                it.value = it.a == 1   ? it.value & 1
                           : it.a <= 0 ? 0
                                       : static_cast<uint32_t>(rng.range(0, 300));
                ozmu_bsw_write_te(&w, it.value, it.a);
                break;
            }
            items.push_back(it);
        }
        ASSERT_EQ(ozmu_bsw_sink(&w), 0);

        ozmu_bsr r;
        ozmu_bsr_init(&r, buf.data(), static_cast<int>(w.cur - w.beg), nullptr);
        for (size_t i = 0; i < items.size(); ++i) {
            const Item &it = items[i];
            uint32_t got = 0;
            switch (it.kind) {
            case Item::Fixed: got = ozmu_bsr_read(&r, it.a); break;
            case Item::Bit: got = ozmu_bsr_read1(&r); break;
            case Item::Ue: got = ozmu_bsr_read_ue(&r); break;
            case Item::Se: got = static_cast<uint32_t>(ozmu_bsr_read_se(&r)); break;
            case Item::Te: got = ozmu_bsr_read_te(&r, it.a); break;
            }
            ASSERT_EQ(got, it.value) << "item " << i << " of " << items.size() << " kind "
                                     << it.kind << " a " << it.a << ", seed 0x" << std::hex
                                     << test_seed();
        }
        ozmu_bsr_skip_align8(&r);  // the zero padding of the last byte
        EXPECT_EQ(ozmu_bsr_read1(&r), 0xFFFFFFFFu);
    }
}

struct Reader {
    explicit Reader(std::vector<uint8_t> bytes) : data(std::move(bytes))
    {
        ozmu_bsr_init(&bs, data.data(), static_cast<int>(data.size()), nullptr);
    }
    std::vector<uint8_t> data;
    ozmu_bsr bs;
};

TEST(BitReaderExamples, DocumentedValues)
{
    {
        Reader r({0x00, 0x00, 0x01, 0xB6});
        EXPECT_EQ(r.bs.code, 0u);
        EXPECT_EQ(r.bs.leftbits, 0);
        EXPECT_EQ(r.bs.end, r.data.data() + 3);
        EXPECT_EQ(r.bs.flush_fn, &ozmu_bsr_flush);
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 24), 0x000001u);
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 8), 0xB6u);
    }
    {  // a read spanning two cache words returns the bits joined in order
        Reader r({0xA5, 0x5A, 0xC3, 0x3C, 0x96, 0x69});
        const uint64_t all = 0xA55AC33C9669ull << 16;
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 5), uint32_t(all >> 59));
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 30), uint32_t(all >> 29) & 0x3FFFFFFFu);
    }
    {  // 1 010 011 00100
        Reader ue({0xA6, 0x40}), se({0xA6, 0x40});
        for (uint32_t k = 0; k < 4; ++k)
            EXPECT_EQ(ozmu_bsr_read_ue(&ue.bs), k);
        for (int32_t v : {0, 1, -1, 2})
            EXPECT_EQ(ozmu_bsr_read_se(&se.bs), v);
    }
    {  // end of data, after which every read fails the same way
        Reader r({0x5C});
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 8), 0x5Cu);
        EXPECT_EQ(ozmu_bsr_read1(&r.bs), 0xFFFFFFFFu);
        EXPECT_EQ(ozmu_bsr_read_ue(&r.bs), 0xFFFFFFFEu);
        EXPECT_EQ(ozmu_bsr_read_se(&r.bs), 1);
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 3), 0xFFFFFFFFu);
        EXPECT_EQ(ozmu_bsr_skip_peek(&r.bs, 1, 4), 0u);
        EXPECT_EQ(ozmu_bsr_peek(&r.bs, 4), 0u);
        EXPECT_EQ(r.bs.code, 0u);
        EXPECT_EQ(r.bs.leftbits, 0);
    }
    {  // peek(12) on 4 cached bits with 1 byte left: loads it, consumes nothing
        Reader r({0x12, 0x34, 0x56, 0x78, 0x9A});
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 28), 0x1234567u);
        EXPECT_EQ(r.bs.leftbits, 4);
        EXPECT_EQ(ozmu_bsr_peek(&r.bs, 12), 0x89Au);
        EXPECT_EQ(r.bs.cur, r.bs.end + 1);
        EXPECT_EQ(r.bs.leftbits, 12);
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 12), 0x89Au);
    }
    {  // peek past the cache takes the missing bits from the unloaded byte at cur
        Reader r({0x12, 0x34, 0x56, 0x78, 0x9A});
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 4), 0x1u);
        EXPECT_EQ(ozmu_bsr_peek(&r.bs, 32), 0x23456789u);
        EXPECT_EQ(r.bs.leftbits, 28);
    }
    {
        Reader r({0xB7, 0xFF});
        int n = -1;
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 3), 5u);
        EXPECT_EQ(ozmu_bsr_read_align8(&r.bs, &n), 0x17u);
        EXPECT_EQ(n, 5);
        EXPECT_EQ(ozmu_bsr_read_align8(&r.bs, &n), 0u);
        EXPECT_EQ(n, 0);
        EXPECT_EQ(ozmu_bsr_read(&r.bs, 1), 1u);
        ozmu_bsr_skip_align8(&r.bs);
        EXPECT_EQ(r.bs.leftbits, 0);
    }
    {  // te: range 1 is the inverted bit, 2 once the data has ended; range 0 reads nothing
        Reader r({0x80});
        EXPECT_EQ(ozmu_bsr_read_te(&r.bs, 1), 0u);
        EXPECT_EQ(ozmu_bsr_read_te(&r.bs, 0), 0u);
        EXPECT_EQ(r.bs.leftbits, 7);
        EXPECT_EQ(ozmu_bsr_read_te(&r.bs, 1), 1u);
        ozmu_bsr_skip(&r.bs, 6);
        EXPECT_EQ(ozmu_bsr_read_te(&r.bs, 1), 2u);
    }
    // tu over 1110 and 1111 in a partly filled cache, and over 1110 in a full one
    for (auto [byte, peek_first, consumed] :
         {std::tuple{0x0E, false, 4}, {0x0F, false, 3}, {0xE0, true, 3}}) {
        Reader r({static_cast<uint8_t>(byte), 0x00, 0x00, 0x00});
        if (peek_first)
            ozmu_bsr_peek(&r.bs, 1);
        else
            ozmu_bsr_read(&r.bs, 4);
        const int before = r.bs.leftbits;
        EXPECT_EQ(ozmu_bsr_read_tu(&r.bs, 3), 3u) << byte;
        EXPECT_EQ(before - r.bs.leftbits, consumed) << byte;
    }
    {  // un: ones to the end of a partly filled cache stop there, leftbits -1
        Reader r({0xFF});
        EXPECT_EQ(ozmu_bsr_read_un(&r.bs), 8u);
        EXPECT_EQ(r.bs.leftbits, -1);
    }
    {  // un: a full cache starting with 1 counts as 32 ones
        Reader r({0x80, 0x00, 0x00, 0x00, 0x7F});
        ozmu_bsr_peek(&r.bs, 1);
        EXPECT_EQ(ozmu_bsr_read_un(&r.bs), 32u);
        EXPECT_EQ(r.bs.leftbits, 7);
    }
}

TEST(BitWriterExamples, DocumentedValues)
{
    {  // 1 010 011 00100; sink needs cur + 2 <= end, so 3 bytes but not 2
        uint8_t buf[3] = {0xEE, 0xEE, 0xEE};
        for (int size : {3, 2}) {
            ozmu_bsw w;
            ozmu_bsw_init(&w, buf, size, nullptr);
            EXPECT_EQ(w.leftbits, 32);
            EXPECT_EQ(w.flush_fn, &ozmu_bsw_flush);
            EXPECT_EQ(ozmu_bsw_write(&w, 1, 1), 0);
            for (uint32_t v : {1u, 2u, 3u})
                ozmu_bsw_write_ue(&w, v);
            EXPECT_EQ(ozmu_bsw_sink(&w), size == 3 ? 0 : -1);
            EXPECT_EQ(w.cur - w.beg, size == 3 ? 2 : 0);
        }
        EXPECT_EQ(buf[0], 0xA6);
        EXPECT_EQ(buf[1], 0x40);
        EXPECT_EQ(buf[2], 0xEE);
    }
    {
        uint8_t buf[8];
        ozmu_bsw w;
        ozmu_bsw_init(&w, buf, 8, nullptr);
        ozmu_bsw_write_se(&w, -1);
        EXPECT_EQ(w.code, 0x60000000u);  // 011
        ozmu_bsw_write_se(&w, 1);
        EXPECT_EQ(w.code, 0x68000000u);  // 011 010
        ozmu_bsw_write_te(&w, 5, 0);
        EXPECT_EQ(w.leftbits, 26);
        ozmu_bsw_write_te(&w, 0, 1);
        EXPECT_EQ(w.code, 0x6A000000u);
        EXPECT_EQ(w.leftbits, 25);
    }
    {  // 32 bits into an empty cache: drained at once, and still in the cache under the next bits
        uint8_t buf[8] = {};
        ozmu_bsw w;
        ozmu_bsw_init(&w, buf, 8, nullptr);
        EXPECT_EQ(ozmu_bsw_write(&w, 0x12345678, 32), 0);
        EXPECT_EQ(w.cur - w.beg, 4);
        EXPECT_EQ(w.leftbits, 32);
        EXPECT_EQ(w.code, 0x12345678u);
        EXPECT_EQ(ozmu_bsw_write(&w, 1, 1), 0);
        EXPECT_EQ(w.code, 0x92345678u);
        const uint8_t want[] = {0x12, 0x34, 0x56, 0x78};
        EXPECT_TRUE(same_bytes(want, buf, 4));
    }
    {  // 4 bytes: write cannot drain (cur + 4 > end), write1 can
        uint8_t buf[4] = {};
        ozmu_bsw w;
        ozmu_bsw_init(&w, buf, 4, nullptr);
        EXPECT_EQ(ozmu_bsw_write(&w, 0x7FFFFFFF, 31), 0);
        EXPECT_EQ(ozmu_bsw_write(&w, 1, 1), -1);
        EXPECT_EQ(w.code, 0xFFFFFFFFu);  // the bits stay ORed in
        EXPECT_EQ(w.leftbits, 1);
        EXPECT_EQ(w.cur, w.beg);
        EXPECT_EQ(ozmu_bsw_write1(&w, 1), 0);
        EXPECT_EQ(w.cur - w.beg, 4);
        EXPECT_EQ(w.leftbits, 32);
        EXPECT_EQ(buf[0] & buf[1] & buf[2] & buf[3], 0xFF);
        for (int i = 0; i < 31; ++i)
            EXPECT_EQ(ozmu_bsw_write1(&w, 0), 0);
        EXPECT_EQ(ozmu_bsw_write1(&w, 0), -1);  // cur has passed end
        EXPECT_EQ(w.leftbits, 0);
    }
    {  // the prefix stops at 16 zeros: 131070 is exact, 131071 is written as 65535
        uint8_t a[16], b[16];
        ozmu_bsw wa, wb;
        ozmu_bsw_init(&wa, a, 16, nullptr);
        ozmu_bsw_init(&wb, b, 16, nullptr);
        ozmu_bsw_write(&wa, 0, 3);
        ozmu_bsw_write(&wb, 0, 3);
        ozmu_bsw_write_ue(&wa, 131070);
        ozmu_bsw_write_ue(&wb, 131071);
        ozmu_bsw_write_ue(&wb, 65535);
        ASSERT_EQ(ozmu_bsw_sink(&wa), 0);
        ASSERT_EQ(ozmu_bsw_sink(&wb), 0);
        const uint8_t want_a[] = {0x00, 0x00, 0x1F, 0xFF, 0xF0};  // 000, 16 zeros, 17 ones
        ASSERT_EQ(wa.cur - wa.beg, 5);
        EXPECT_TRUE(same_bytes(want_a, a, 5));
        ASSERT_EQ(wb.cur - wb.beg, 9);
        // The reader is exact up to 31-bit codes: 33-bit ones give a meaningless value but
        // take their 33 bits, so the stream stays in step.
        ozmu_bsr r;
        ozmu_bsr_init(&r, b, 9, nullptr);
        ozmu_bsr_read(&r, 3);
        ozmu_bsr_read_ue(&r);
        EXPECT_EQ(r.leftbits, 32 - 3 - 33 + 32);
    }
}

TEST(BitWriterExamples, CodeLengths)
{
    EXPECT_EQ(ozmu_bsw_size_ue(0), 1);
    EXPECT_EQ(ozmu_bsw_size_ue(1), 3);
    EXPECT_EQ(ozmu_bsw_size_ue(254), 15);
    EXPECT_EQ(ozmu_bsw_size_ue(255), 17);
    EXPECT_EQ(ozmu_bsw_size_ue(65534), 31);
    EXPECT_EQ(ozmu_bsw_size_se(0), 1);
    EXPECT_EQ(ozmu_bsw_size_se(-1), 3);
    // Over the whole defined range: the length of the code the writer model produces.
    for (uint32_t v = 0; v <= 65534; ++v)
        ASSERT_EQ(ozmu_bsw_size_ue(v), static_cast<int>(BitWriterModel::ue_bits(v).size())) << v;
    for (int32_t v = -32767; v <= 32767; ++v)
        ASSERT_EQ(ozmu_bsw_size_se(v),
                  static_cast<int>(BitWriterModel::ue_bits(se_code_number(v)).size()))
            << v;
}

}  // namespace
