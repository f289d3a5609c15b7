// Custom refill and drain callbacks: a reader fed from data scattered over separately allocated
// pieces must behave exactly like the default reader over the joined data, and a writer that
// streams its drains into a growing vector must produce the bytes a default writer produces in
// one large buffer, whatever the length of the stream.
#include <memory>

#include "bit_ops.h"

namespace {

using namespace ozmu::test;

// The reader record with the pieces behind it; the refill finds them from the record pointer.
// `cur`/`end` always describe the piece being read: cur is the next byte to load and end the
// piece's last byte. When a piece runs out the refill moves both to the next non-empty piece at
// once, so cur <= end still means "a byte is left" and peek's look at the unloaded byte at cur
// sees the right one; after the last piece cur stays one past its end. beg and size keep the
// first piece's values and are not used.
struct PieceReader {
    ozmu_bsr bs;
    std::vector<std::unique_ptr<uint8_t[]>> *pieces;
    std::vector<int> *sizes;
    size_t piece;
    int loaded;  // bytes handed to the reader so far

    void skip_spent_pieces()
    {
        while (bs.cur > bs.end && piece + 1 < pieces->size()) {
            ++piece;
            bs.cur = (*pieces)[piece].get();
            bs.end = bs.cur + (*sizes)[piece] - 1;
        }
    }
};

// Loads min(bytes, 4) bytes across piece boundaries, as the default refill would from the
// joined data.
int piece_refill(ozmu_bsr *bs, int bytes)
{
    auto *r = reinterpret_cast<PieceReader *>(bs);
    uint32_t code = 0;
    int n = 0;
    for (; n < bytes && n < 4 && bs->cur <= bs->end; ++n) {
        code |= uint32_t(*bs->cur++) << (24 - 8 * n);
        r->skip_spent_pieces();
    }
    r->loaded += n;
    bs->code = code;
    bs->leftbits = 8 * n;
    return n > 0 ? 0 : -1;
}

TEST(BitCallbacks, ScatteredRefillReadsLikeTheDefault)
{
    Rng rng(0xC1);
    for (int round = 0; round < 3000; ++round) {
        std::vector<uint8_t> data(static_cast<size_t>(rng.range(0, 160)));
        fill_stream_bytes(rng, data.data(), static_cast<int>(data.size()));
        std::vector<std::unique_ptr<uint8_t[]>> pieces;
        std::vector<int> sizes;
        for (size_t at = 0; at < data.size() || pieces.empty();) {
            const int n = std::min(rng.range(0, 9), static_cast<int>(data.size() - at));
            pieces.emplace_back(new uint8_t[static_cast<size_t>(n)]);
            std::copy(data.begin() + static_cast<ptrdiff_t>(at),
                      data.begin() + static_cast<ptrdiff_t>(at) + n, pieces.back().get());
            sizes.push_back(n);
            at += static_cast<size_t>(n);
        }
        std::unique_ptr<uint8_t[]> joined(new uint8_t[data.size()]);
        std::copy(data.begin(), data.end(), joined.get());
        ozmu_bsr ref;
        ozmu_bsr_init(&ref, joined.get(), static_cast<int>(data.size()), nullptr);
        PieceReader pr{{}, &pieces, &sizes, 0, 0};
        ozmu_bsr_init(&pr.bs, pieces[0].get(), sizes[0], piece_refill);
        pr.skip_spent_pieces();

        std::string trace;
        for (int step = 0; step < 120; ++step) {
            const ReaderOp op = random_reader_op(rng, false);
            const Outcome want = apply(&ref, op);
            const Outcome got = apply(&pr.bs, op);
            trace += op.name() + " ";
            ASSERT_TRUE(got.value == want.value && got.nbits == want.nbits &&
                        pr.bs.code == ref.code && pr.bs.leftbits == ref.leftbits &&
                        pr.loaded == ref.cur - ref.beg)
                << "step " << step << ": " << op.name() << " value " << got.value << " vs "
                << want.value << ", leftbits " << pr.bs.leftbits << " vs " << ref.leftbits
                << "\n  data: " << hex_bytes(data.data(), data.size()) << "\n  ops: " << trace
                << "\n  seed 0x" << std::hex << test_seed();
        }
    }
}

// The writer record with the stream behind it. The drain appends the top (39 - leftbits) >> 3
// bytes of code and leaves cur at beg: the record's buffer is only what the space tests look
// at (they pass while beg + 4 <= end), so the stream can grow without limit.
struct StreamWriter {
    ozmu_bsw bs;
    std::vector<uint8_t> *out;
};

int stream_drain(ozmu_bsw *bs)
{
    auto *w = reinterpret_cast<StreamWriter *>(bs);
    const int n = std::min((39 - bs->leftbits) >> 3, 4);
    for (int i = 0; i < n; ++i)
        w->out->push_back(static_cast<uint8_t>(bs->code >> (24 - 8 * i)));
    return 0;
}

TEST(BitCallbacks, StreamingDrainWritesLikeTheDefault)
{
    Rng rng(0xC2);
    for (int round = 0; round < 20; ++round) {
        const int count = rng.range(1, 4000);
        std::vector<uint8_t> out;
        uint8_t token[8];
        std::memset(token, 0x5A, sizeof token);
        StreamWriter sw{{}, &out};
        ozmu_bsw_init(&sw.bs, token, sizeof token, stream_drain);
        std::vector<uint8_t> big(static_cast<size_t>(count) * 5 + 8);
        ozmu_bsw ref;
        ozmu_bsw_init(&ref, big.data(), static_cast<int>(big.size()), nullptr);
        for (int i = 0; i < count; ++i) {
            const WriterOp op = random_writer_op(rng, false);
            ASSERT_EQ(apply(&sw.bs, op), apply(&ref, op)) << i << ": " << op.name();
            ASSERT_EQ(sw.bs.code, ref.code) << i << ": " << op.name();
            ASSERT_EQ(sw.bs.leftbits, ref.leftbits) << i << ": " << op.name();
        }
        ASSERT_EQ(ozmu_bsw_sink(&sw.bs), 0);
        ASSERT_EQ(ozmu_bsw_sink(&ref), 0);
        ASSERT_EQ(out.size(), static_cast<size_t>(ref.cur - ref.beg));
        EXPECT_TRUE(same_bytes(big.data(), out.data(), out.size()));
        EXPECT_EQ(sw.bs.cur, token);
        const uint8_t untouched[8] = {0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A};
        EXPECT_TRUE(same_bytes(untouched, token, sizeof token));
    }
}

}  // namespace
