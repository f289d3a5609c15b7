// Custom refill and drain callbacks: a reader fed from data scattered over separately allocated
// pieces must behave exactly like the default reader over the joined data, and a writer that
// streams its drains into a growing vector must produce the bytes a default writer produces in
// one large buffer.
#include <memory>

#include "bit_ops.h"

namespace {

using namespace ozmu::test;

// The record with the pieces behind it; the refill finds them from the record pointer. cur/end
// describe the piece being read; when it runs out both move to the next non-empty piece at once,
// so that cur <= end still means "a byte is left" and peek's look at the unloaded byte at cur
// sees the right one. After the last piece cur stays one past its end.
struct PieceReader {
    ozmu_bsr bs;
    std::vector<std::unique_ptr<uint8_t[]>> pieces;  // exact blocks: ASan sees over-reads
    std::vector<int> sizes;
    size_t piece = 0;
    int loaded = 0;  // bytes handed to the reader so far

    void skip_spent_pieces()
    {
        while (bs.cur > bs.end && piece + 1 < pieces.size()) {
            ++piece;
            bs.cur = pieces[piece].get();
            bs.end = bs.cur + sizes[piece] - 1;
        }
    }
};

// Loads min(bytes, 4) bytes across piece boundaries, as the default refill does from joined data.
int piece_refill(ozmu_bsr *bs, int bytes)
{
    auto *r = reinterpret_cast<PieceReader *>(bs);
    int n = 0;
    for (bs->code = 0; n < bytes && n < 4 && bs->cur <= bs->end; ++n, r->skip_spent_pieces())
        bs->code |= uint32_t{*bs->cur++} << (24 - 8 * n);
    r->loaded += n;
    bs->leftbits = 8 * n;
    return n > 0 ? 0 : -1;
}

TEST(BitCallbacks, ScatteredRefillReadsLikeTheDefault)
{
    Rng rng(0xC1);
    for (int round = 0; round < 3000; ++round) {
        const int size = rng.range(0, 160);
        std::unique_ptr<uint8_t[]> joined(new uint8_t[size]);
        fill_stream_bytes(rng, joined.get(), size);
        PieceReader pr{};
        for (int at = 0; at < size || pr.pieces.empty(); at += pr.sizes.back()) {
            pr.sizes.push_back(std::min(rng.range(0, 9), size - at));
            pr.pieces.emplace_back(new uint8_t[pr.sizes.back()]);
            std::copy_n(joined.get() + at, pr.sizes.back(), pr.pieces.back().get());
        }
        ozmu_bsr ref;
        ozmu_bsr_init(&ref, joined.get(), size, nullptr);
        ozmu_bsr_init(&pr.bs, pr.pieces[0].get(), pr.sizes[0], piece_refill);
        pr.skip_spent_pieces();
        for (int step = 0; step < 120; ++step) {
            const ReaderOp op = random_reader_op(rng, false);
            const uint32_t want = op(&ref), got = op(&pr.bs);
            ASSERT_EQ(std::make_tuple(got, pr.bs.code, pr.bs.leftbits, ptrdiff_t{pr.loaded}),
                      std::make_tuple(want, ref.code, ref.leftbits, ref.cur - ref.beg))
                << "(result, code, leftbits, loaded) at step " << step << ", " << op.name()
                << ", data " << hex_bytes(joined.get(), size) << "; seed 0x" << std::hex
                << test_seed();
        }
    }
}

// The drain appends the top (39 - leftbits) >> 3 bytes of code and leaves cur at beg: the
// record's buffer is only what the space tests look at, so the stream can grow without limit.
struct StreamWriter {
    ozmu_bsw bs;
    std::vector<uint8_t> out;
};

int stream_drain(ozmu_bsw *bs)
{
    auto *w = reinterpret_cast<StreamWriter *>(bs);
    for (int i = 0; i < std::min((39 - bs->leftbits) >> 3, 4); ++i)
        w->out.push_back(static_cast<uint8_t>(bs->code >> (24 - 8 * i)));
    return 0;
}

TEST(BitCallbacks, StreamingDrainWritesLikeTheDefault)
{
    Rng rng(0xC2);
    for (int round = 0; round < 20; ++round) {
        const int count = rng.range(1, 4000);
        uint8_t token[8] = {};
        StreamWriter sw{};
        ozmu_bsw_init(&sw.bs, token, sizeof token, stream_drain);
        std::vector<uint8_t> big(count * 5 + 8);  // never short of space
        ozmu_bsw ref;
        ozmu_bsw_init(&ref, big.data(), static_cast<int>(big.size()), nullptr);
        for (int i = 0; i < count; ++i) {
            const WriterOp op = random_writer_op(rng, false);  // deinit leaves code to the drain
            const uint32_t got = op(&sw.bs), want = op(&ref);
            ASSERT_EQ(std::make_tuple(got, sw.bs.code, sw.bs.leftbits),
                      std::make_tuple(want, ref.code, ref.leftbits))
                << "(result, code, leftbits) at " << i << ", " << op.name();
        }
        ASSERT_EQ(ozmu_bsw_sink(&sw.bs), 0);
        ASSERT_EQ(ozmu_bsw_sink(&ref), 0);
        ASSERT_EQ(sw.out.size(), static_cast<size_t>(ref.cur - ref.beg));
        EXPECT_TRUE(same_bytes(big.data(), sw.out.data(), sw.out.size()));
        EXPECT_TRUE(std::all_of(token, token + 8, [](uint8_t b) { return b == 0; }));
        EXPECT_EQ(sw.bs.cur, token);
    }
}

// A callback written to the contract, counting what it is asked for. The reader's and writer's
// records come first in the structs, as for the callbacks above.
struct CountingReader {
    ozmu_bsr bs;
    int most_asked = 0;
};

int counting_refill(ozmu_bsr *bs, int bytes)
{
    auto *r = reinterpret_cast<CountingReader *>(bs);
    r->most_asked = std::max(r->most_asked, bytes);
    return ozmu_bsr_flush(bs, bytes);
}

struct CountingWriter {
    ozmu_bsw bs;
    int most_asked = 0;
};

int counting_drain(ozmu_bsw *bs)  // writes all it is asked for: the record's buffer is exact
{
    auto *w = reinterpret_cast<CountingWriter *>(bs);
    const int n = (39 - bs->leftbits) >> 3;
    w->most_asked = std::max(w->most_asked, n);
    for (int i = 0; i < n; ++i, bs->code <<= 8)
        *bs->cur++ = static_cast<uint8_t>(bs->code >> 24);
    return 0;
}

// Past the end of the data leftbits is negative and peek's top-up would come to 5 bytes; an
// overfull writer cache (leftbits -1) would make the drain's count 5. Both callbacks are asked
// for 4, and everything stays as with the default callbacks.
TEST(BitCallbacks, NeverAskedForMoreThanFourBytes)
{
    std::unique_ptr<uint8_t[]> in(new uint8_t[2]{0xAB, 0xCD});
    CountingReader cr{};
    ozmu_bsr ref;
    ozmu_bsr_init(&cr.bs, in.get(), 2, counting_refill);
    ozmu_bsr_init(&ref, in.get(), 2, nullptr);
    for (ozmu_bsr *bs : {&cr.bs, &ref})
        ozmu_bsr_skip(bs, 24);
    EXPECT_EQ(ozmu_bsr_peek(&cr.bs, 8), ozmu_bsr_peek(&ref, 8));
    EXPECT_EQ(std::make_tuple(cr.bs.code, cr.bs.leftbits, cr.bs.cur, cr.most_asked),
              std::make_tuple(ref.code, ref.leftbits, ref.cur, 4));

    std::unique_ptr<uint8_t[]> out(new uint8_t[8]), ref_out(new uint8_t[8]);
    CountingWriter cw{};
    ozmu_bsw ref_w;
    ozmu_bsw_init(&cw.bs, out.get(), 8, counting_drain);
    ozmu_bsw_init(&ref_w, ref_out.get(), 8, nullptr);
    for (ozmu_bsw *bs : {&cw.bs, &ref_w}) {
        ozmu_bsw_write(bs, 0, 31);
        ozmu_bsw_write_ue(bs, 65535);  // 33 bits: the new word is full, no room to drain it
        EXPECT_EQ(bs->leftbits, 0);
        EXPECT_EQ(ozmu_bsw_write1(bs, 1), 0);  // leftbits -1, then a drain at cur = 4
    }
    EXPECT_EQ(std::make_tuple(cw.bs.code, cw.bs.leftbits, cw.bs.cur - out.get(), cw.most_asked),
              std::make_tuple(ref_w.code, ref_w.leftbits, ref_w.cur - ref_out.get(), 4));
    EXPECT_TRUE(same_bytes(ref_out.get(), out.get(), 8));
}

}  // namespace
