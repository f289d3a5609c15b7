// The bit reader against its bit-level model: long random operation sequences over random and
// biased buffers, with the result and the record's code, leftbits and cur compared after every
// step. Each sequence ends a few steps after the last byte has been loaded, so that the end of
// the data is reached often but not dwelt on.
#include <memory>

#include "bit_ops.h"

namespace {

using namespace ozmu::test;

TEST(BitReaderModel, EveryStepMatchesTheModel)
{
    Rng rng(0xB5);
    for (int round = 0; round < 30000; ++round) {
        const int size = random_stream_size(rng);
        std::unique_ptr<uint8_t[]> buf(
            new uint8_t[static_cast<size_t>(size)]);  // exact: ASan sees over-reads
        fill_stream_bytes(rng, buf.get(), size);
        ozmu_bsr bs;
        ozmu_bsr_init(&bs, buf.get(), size, nullptr);
        BitReaderModel model(std::vector<uint8_t>(buf.get(), buf.get() + size));

        std::string trace;
        // Until a few steps past the point where every byte has been loaded.
        for (int step = 0, tail = 0; step < 300 && tail < 10; ++step, tail += model.cur() == size) {
            const ReaderOp op = random_reader_op(rng);
            const Outcome got = apply(&bs, op);
            const Outcome want = apply(model, op);
            trace += op.name();
            trace.append("=").append(std::to_string(want.value));
            trace += ' ';
            const bool same = got.value == want.value &&
                              got.nbits == want.nbits && bs.code == model.code() &&
                              bs.leftbits == model.leftbits() && bs.cur - bs.beg == model.cur();
            if (!same) {
                ADD_FAILURE() << "round " << round << " step " << step << ": " << op.name()
                              << "\n  expected value " << want.value
                              << " nbits " << want.nbits
                              << " code 0x" << std::hex << model.code() << std::dec << " leftbits "
                              << model.leftbits() << " cur " << model.cur() << "\n  got      value "
                              << got.value << " nbits " << got.nbits << " code 0x" << std::hex
                              << bs.code << std::dec << " leftbits " << bs.leftbits << " cur "
                              << (bs.cur - bs.beg) << "\n  buffer (" << size
                              << "): " << hex_bytes(buf.get(), static_cast<size_t>(size))
                              << "\n  ops: " << trace << "\n  seed 0x" << std::hex << test_seed();
                return;
            }
        }
    }
}

// States random sequences reach only now and then, walked into on purpose: leftbits at -1
// after a unary run to the cache end, pushed further down by read1 (which refills only at 0),
// a peek that asks for more than 4 bytes, and read_ue lifting leftbits above 32 with a negative
// carried count, after which a 33-bit code is consumed without a refill.
TEST(BitReaderModel, DirectedOddStates)
{
    using Op = ReaderOp;
    const std::vector<uint8_t> data = {0x00, 0x00, 0x00, 0x0F, 0x80, 0x00, 0x00, 0x40, 0x12,
                                       0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0, 0xFF};
    // read(28) leaves the four ones of 0x0F; read_un runs past them to leftbits -1.
    auto below_zero = [](int read1s, std::initializer_list<ReaderOp> then) {
        std::vector<ReaderOp> ops = {{Op::Read, 28}, {Op::Un}};
        ops.insert(ops.end(), static_cast<size_t>(read1s), ReaderOp{Op::Read1});
        ops.insert(ops.end(), then);
        return ops;
    };
    const std::vector<std::vector<ReaderOp>> sequences = {
        below_zero(0, {{Op::Read, 8}, {Op::Read, 32}}),
        below_zero(0, {{Op::Peek, 32}, {Op::Ue}, {Op::Read, 32}}),
        below_zero(7, {{Op::Peek, 20}, {Op::Read, 32}, {Op::Read, 32}}),
        below_zero(23, {{Op::Ue}, {Op::Ue}, {Op::Ue}, {Op::Tu, 35}, {Op::Un}}),
    };
    for (size_t n = 0; n < sequences.size(); ++n) {
        std::vector<uint8_t> buf = data;
        ozmu_bsr bs;
        ozmu_bsr_init(&bs, buf.data(), static_cast<int>(buf.size()), nullptr);
        BitReaderModel model(data);
        for (const ReaderOp &op : sequences[n]) {
            const Outcome got = apply(&bs, op);
            const Outcome want = apply(model, op);
            EXPECT_EQ(got.value, want.value) << "sequence " << n << ": " << op.name();
            EXPECT_EQ(bs.code, model.code()) << "sequence " << n << ": " << op.name();
            EXPECT_EQ(bs.leftbits, model.leftbits()) << "sequence " << n << ": " << op.name();
            EXPECT_EQ(bs.cur - bs.beg, model.cur()) << "sequence " << n << ": " << op.name();
        }
    }
}

}  // namespace
