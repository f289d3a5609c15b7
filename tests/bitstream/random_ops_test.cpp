// Random operation sequences on the reader and writer. First against their bit-level models:
// long sequences over random and biased buffers of 0..64 bytes, with the result, the record's
// code, leftbits and cur (and for the writer every byte it can reach) compared after every step.
// Each sequence ends a few steps after the end of the data is reached, so it is reached often but
// not dwelt on; the odd states (leftbits below -8 or above 32, peeks whose top-up would pass 4
// bytes) come up hundreds of times per run.
#include <memory>
#include <tuple>

#include "bit_ops.h"

namespace {

using namespace ozmu::test;

template <class Op>
std::string trace(const std::vector<Op> &ops)
{
    std::string s;
    for (const Op &op : ops)
        s += op.name() + " ";
    return s;
}

// result, code, leftbits, cur
template <class Record>
auto state(uint32_t result, const Record &bs)
{
    return std::make_tuple(result, bs.code, bs.leftbits, bs.cur - bs.beg);
}
template <class Model>
auto model_state(uint32_t result, const Model &m)
{
    return std::make_tuple(result, m.w.code(), m.left, ptrdiff_t{m.cur});
}

TEST(BitModel, ReaderMatchesAtEveryStep)
{
    Rng rng(0xB5);
    for (int round = 0; round < 30000; ++round) {
        const int size = random_stream_size(rng);
        std::unique_ptr<uint8_t[]> buf(new uint8_t[size]);  // exact: ASan sees over-reads
        fill_stream_bytes(rng, buf.get(), size);
        ozmu_bsr bs;
        ozmu_bsr_init(&bs, buf.get(), size, nullptr);
        BitReaderModel model{std::vector<uint8_t>(buf.get(), buf.get() + size)};
        std::vector<ReaderOp> ops;
        for (int tail = 0; ops.size() < 300 && tail < 10; tail += model.cur == size) {
            const ReaderOp &op = ops.emplace_back(random_reader_op(rng));
            const uint32_t got = op(&bs), want = op(model);
            ASSERT_EQ(state(got, bs), model_state(want, model))
                << "(result, code, leftbits, cur), buffer " << hex_bytes(buf.get(), size)
                << "\n  ops: " << trace(ops) << "\n  seed 0x" << std::hex << test_seed();
        }
    }
}

// The memory is the buffer plus 3 bytes of random content: write1 drains 4 bytes whenever cur has
// not passed end, so up to 3 bytes past end are the writer's; further is an overrun (and an ASan
// fault: the block is exact). Where a 33-bit code goes in a cache that is already full (after
// write1 found no space, or after a 33-bit code written with one free bit) is not defined.
TEST(BitModel, WriterMatchesAtEveryStep)
{
    Rng rng(0x3A);
    for (int round = 0; round < 30000; ++round) {
        const int size = random_stream_size(rng), reach = size + 3;
        std::unique_ptr<uint8_t[]> buf(new uint8_t[reach]);
        rng.fill(buf.get(), reach);
        ozmu_bsw bs;
        ozmu_bsw_init(&bs, buf.get(), size, nullptr);
        BitWriterModel model{std::vector<uint8_t>(buf.get(), buf.get() + reach), size - 1};
        std::vector<WriterOp> ops;
        // Until a few steps past the point where write can no longer drain.
        for (int tail = 0; ops.size() < 300 && tail<10; tail += model.cur + 4> model.end) {
            const bool deinit_ok = model.cur + model.pending_bytes() <= reach;
            WriterOp op = random_writer_op(rng, deinit_ok);
            while (op.long_code && model.left <= 0)
                op = random_writer_op(rng, deinit_ok);
            const uint32_t got = ops.emplace_back(op)(&bs), want = op(model);
            ASSERT_EQ(state(got, bs), model_state(want, model))
                << "(result, code, leftbits, cur), buffer of " << size << "\n  ops: " << trace(ops)
                << "\n  seed 0x" << std::hex << test_seed();
            ASSERT_TRUE(same_bytes(model.memory.data(), buf.get(), reach)) << trace(ops);
        }
    }
}

// Then with every state allowed, the ones the model test steers around included, over exactly
// sized heap blocks: nothing is checked but that no operation touches memory outside its block or
// runs into undefined behaviour (meant for the ASan+UBSan build). write1 (and write_te with range
// 1) drain 4 bytes whenever cur has not passed end, so the writer's block has 3 bytes past end and
// nothing more; deinit, which drains without a space test, is only called when the drain fits.
TEST(BitFuzz, ReaderAndWriterStayInsideTheirBuffers)
{
    Rng rng(0xF1);
    for (int round = 0; round < 40000; ++round) {
        const int size = random_stream_size(rng);
        std::unique_ptr<uint8_t[]> in(new uint8_t[size]), out(new uint8_t[size + 3]);
        fill_stream_bytes(rng, in.get(), size);
        ozmu_bsr r;
        ozmu_bsw w;
        ozmu_bsr_init(&r, in.get(), size, nullptr);
        ozmu_bsw_init(&w, out.get(), size, nullptr);
        for (int step = 0, tail = 0; step < 300 && tail<10; ++step, tail += r.cur> r.end)
            random_reader_op(rng)(&r);
        for (int step = 0, tail = 0; step < 300 && tail<10; ++step, tail += w.cur + 4> w.end)
            random_writer_op(rng, w.cur - w.beg + ((39 - w.leftbits) >> 3) <= size + 3)(&w);
    }
}

}  // namespace
