// Random operation sequences on readers and writers over exactly sized heap blocks, including
// empty ones; nothing is checked but that no operation reads or writes outside its memory or
// runs into undefined behaviour (meant for the ASan+UBSan build). Every state the operations can
// reach is allowed, including the ones the model tests steer around.
#include <memory>

#include "bit_ops.h"

namespace {

using namespace ozmu::test;

TEST(BitFuzz, ReaderStaysInsideItsBuffer)
{
    Rng rng(0xF1);
    for (int round = 0; round < 40000; ++round) {
        const int size = random_stream_size(rng);
        std::unique_ptr<uint8_t[]> buf(new uint8_t[static_cast<size_t>(size)]);
        fill_stream_bytes(rng, buf.get(), size);
        ozmu_bsr bs;
        ozmu_bsr_init(&bs, buf.get(), size, nullptr);
        for (int step = 0, tail = 0; step < 300 && tail<10; ++step, tail += bs.cur> bs.end)
            apply(&bs, random_reader_op(rng));
    }
}

// write1 (and write_te with range 1) drain 4 bytes whenever cur has not passed end, so the
// writer may touch 3 bytes past end: the block has them and nothing more. deinit drains without
// a space test and is only called when the drain fits.
TEST(BitFuzz, WriterStaysInsideItsBuffer)
{
    Rng rng(0xF2);
    for (int round = 0; round < 40000; ++round) {
        const int size = random_stream_size(rng);
        const int reach = size + 3;
        std::unique_ptr<uint8_t[]> buf(new uint8_t[static_cast<size_t>(reach)]);
        ozmu_bsw bs;
        ozmu_bsw_init(&bs, buf.get(), size, nullptr);
        for (int step = 0, tail = 0; step < 300 && tail<10; ++step, tail += bs.cur + 4> bs.end) {
            const bool deinit_ok = bs.cur - bs.beg + ((39 - bs.leftbits) >> 3) <= reach;
            apply(&bs, random_writer_op(rng, deinit_ok));
        }
    }
}

}  // namespace
