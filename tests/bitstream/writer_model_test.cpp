// The bit writer against its bit-level model: long random operation sequences into buffers of
// 0..64 bytes, with the result, the record's code, leftbits and cur and every byte of memory
// compared after every step. The memory is the buffer plus 3 bytes, all of it seeded with random
// bytes: write1 drains 4 bytes whenever cur has not passed end, so up to 3 bytes past end are
// the writer's; anything further would be an overrun (and an ASan fault: the block is exact).
#include <memory>

#include "bit_ops.h"

namespace {

using namespace ozmu::test;

constexpr int kSlack = 3;

// Where the bits of a 33-bit code (16 prefix zeros) go in a cache that is already full (after
// write1 found no space, or after a 33-bit code written with one free bit) is not defined: the
// placement rule is one of 32-bit words.
bool writes_33_bits(const WriterOp &op)
{
    uint32_t number = op.value;
    if (op.kind == WriterOp::Se)
        number = se_code_number(static_cast<int32_t>(op.value));
    else if (op.kind != WriterOp::Ue && !(op.kind == WriterOp::Te && op.a >= 2))
        return false;
    return BitWriterModel::ue_bits(number).size() == 33;
}

TEST(BitWriterModel, EveryStepMatchesTheModel)
{
    Rng rng(0x3A);
    for (int round = 0; round < 30000; ++round) {
        const int size = random_stream_size(rng);
        const size_t reach = static_cast<size_t>(size + kSlack);
        std::unique_ptr<uint8_t[]> buf(new uint8_t[reach]);
        rng.fill(buf.get(), reach);
        ozmu_bsw bs;
        ozmu_bsw_init(&bs, buf.get(), size, nullptr);
        BitWriterModel model(std::vector<uint8_t>(buf.get(), buf.get() + reach), size);

        std::string trace;
        // Until a few steps past the point where write can no longer drain.
        for (int step = 0, tail = 0;
             step < 300 && tail<10; ++step, tail += model.cur() + 4> size - 1) {
            const bool deinit_ok = model.cur() + model.pending_bytes() <= static_cast<int>(reach);
            WriterOp op = random_writer_op(rng, deinit_ok);
            while (model.leftbits() <= 0 && writes_33_bits(op))
                op = random_writer_op(rng, deinit_ok);
            const int got = apply(&bs, op);
            const int want = apply(model, op);
            trace += op.name() + " ";
            const bool same = got == want && bs.code == model.code() &&
                              bs.leftbits == model.leftbits() && bs.cur - bs.beg == model.cur() &&
                              std::equal(buf.get(), buf.get() + reach, model.memory().begin());
            if (!same) {
                ADD_FAILURE() << "round " << round << " step " << step << ": " << op.name()
                              << " (buffer " << size << " bytes)\n  expected result " << want
                              << " code 0x" << std::hex << model.code() << std::dec << " leftbits "
                              << model.leftbits() << " cur " << model.cur() << "\n    "
                              << hex_bytes(model.memory().data(), reach) << "\n  got      result "
                              << got << " code 0x" << std::hex << bs.code << std::dec
                              << " leftbits " << bs.leftbits << " cur " << (bs.cur - bs.beg)
                              << "\n    " << hex_bytes(buf.get(), reach) << "\n  ops: " << trace
                              << "\n  seed 0x" << std::hex << test_seed();
                return;
            }
        }
    }
}

}  // namespace
