// Bit writer into small buffers. The first byte picks the mode: bit 0 drains through a callback of
// ours written to the contract (the top (39 - leftbits) >> 3 bytes of code at cur; with bit 2 it
// checks the request and hands it to the default drain), bit 1 writes only values the writer and
// reader code exactly and reads them back; the second byte is the record's size, 0..63. The
// block behind the record is exact: the size plus the 3 bytes past the last one that write1's
// 4-byte drain may reach (it drains whenever cur has not passed end), so the sanitizer sees any
// write beyond. After every operation the result, code, leftbits, cur and every byte of the block
// must match the bit-string model of the documented behaviour. The drain is never asked for more
// than 4 bytes, and only write1 (also as write_te with range 1) and deinit may reach past the
// buffer's spare last byte. The length functions must agree with the codes written.
//
// In the round-trip mode the writes stop before the bits would pass the spare byte, the final
// sink must succeed, and the reader must give every value back from exactly the bytes produced,
// the zero padding of the last byte and then the end of the data.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "../tests/bitstream/bit_model.h"
#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;
using ozmu::fuzz::Input;

using ozmu::test::BitWriterModel;

constexpr int kSpare = 3;  // write1's drain reaches end + 3

// The record first: the drain finds the rest from it.
struct DrainingWriter {
    ozmu_bsw bs;
    uint8_t *block;
    int size;
    bool past_end_ok = false;  // the operation under way may write past the last byte
    bool delegate = false;     // after the checks, let the default drain write
};

int checked_drain(ozmu_bsw *bs)
{
    auto *w = reinterpret_cast<DrainingWriter *>(bs);
    const int n = (39 - bs->leftbits) >> 3;
    check(n >= 0 && n <= 4);
    const ptrdiff_t at = bs->cur - w->block;
    // write, the Exp-Golomb writers and sink never use the last byte; write1 may pass it.
    check(at >= 0 && at + n <= (w->past_end_ok ? w->size + kSpare : w->size - 1));
    if (w->delegate) {
        const int result = ozmu_bsw_flush(bs);
        check(result == 0 && bs->cur - w->block == at + n);
        return result;
    }
    for (int i = 0; i < n; ++i, bs->code <<= 8)
        *bs->cur++ = static_cast<uint8_t>(bs->code >> 24);
    return 0;
}

enum Kind { Write, Write1, Ue, Se, Te, Sink, Deinit };

struct Step {
    Kind kind;
    uint32_t value;
    int a;  // bit count, range
};

uint32_t apply(ozmu_bsw *bs, const Step &s)
{
    switch (s.kind) {
    case Write: return static_cast<uint32_t>(ozmu_bsw_write(bs, s.value, s.a));
    case Write1: return static_cast<uint32_t>(ozmu_bsw_write1(bs, static_cast<int>(s.value)));
    case Ue: return ozmu_bsw_write_ue(bs, s.value), 0u;
    case Se: return ozmu_bsw_write_se(bs, static_cast<int>(s.value)), 0u;
    case Te: return ozmu_bsw_write_te(bs, s.value, s.a), 0u;
    case Sink: return static_cast<uint32_t>(ozmu_bsw_sink(bs));
    default: return static_cast<uint32_t>(ozmu_bsw_deinit(bs));
    }
}

uint32_t apply(BitWriterModel &m, const Step &s)
{
    switch (s.kind) {
    case Write: return static_cast<uint32_t>(m.write(s.value, s.a));
    case Write1: return static_cast<uint32_t>(m.write1(static_cast<int>(s.value)));
    case Ue: return m.write_ue(s.value), 0u;
    case Se: return m.write_se(static_cast<int32_t>(s.value)), 0u;
    case Te: return m.write_te(s.value, s.a), 0u;
    case Sink: return static_cast<uint32_t>(m.sink());
    default: return static_cast<uint32_t>(m.deinit());
    }
}

// The code number an Exp-Golomb step writes, -1 for none.
int64_t code_number(const Step &s)
{
    if (s.kind == Ue || (s.kind == Te && s.a >= 2))
        return s.value;
    if (s.kind == Se)
        return ozmu::test::se_code_number(static_cast<int32_t>(s.value));
    return -1;
}

int ue_bits(uint32_t code_number)  // 2 floor(log2(k + 1)) + 1, counted bit by bit
{
    int n = 0;
    while ((uint64_t{code_number} + 1) >> (n + 1))
        ++n;
    return 2 * n + 1;
}

Step step_from(Input &in)
{
    const uint8_t op = in.byte(), x = in.byte();
    const uint32_t v = in.u32();
    switch (op % 8) {
    case 0:
    case 1: return {Write, v, 1 + x % 32};
    case 2: return {Write1, x & 1u, 0};  // write1 takes bit 0 only
    case 3: return {Ue, x & 1 ? v : v % 131072, 0};
    case 4:
        return {Se, x & 1 ? v : static_cast<uint32_t>(static_cast<int32_t>(v % 131073) - 65536), 0};
    case 5: return {Te, x & 8 ? v : v % 300, x % 6 - 1};
    case 6: return {Sink, 0, 0};
    default: return {Deinit, 0, 0};
    }
}

// What a round trip can take: exact codes, no 32 bits into an empty cache, no deinit.
bool exact_step(Step &s, const BitWriterModel &m)
{
    if (s.kind == Deinit)
        return false;
    if (s.kind == Write) {
        if (s.a == 32 && m.left == 32)
            s.a = 31;
        s.value &= 0xFFFFFFFFu >> (32 - s.a);
    }
    if (s.kind == Te && s.a == 1)
        s.value &= 1;
    if (s.kind == Se)  // -2v and 2v - 1 wrap in 32 bits: INT_MIN codes as 0
        return static_cast<int32_t>(s.value) >= -65535 && static_cast<int32_t>(s.value) <= 65535;
    const int64_t k = code_number(s);
    return k < 0 || k <= 131070;
}

// Bits the step adds; sink pads to the byte.
int step_bits(const Step &s, int64_t total)
{
    switch (s.kind) {
    case Write: return s.a;
    case Write1: return 1;
    case Sink: return static_cast<int>((8 - total % 8) % 8);
    case Te:
        if (s.a <= 0)
            return 0;
        if (s.a == 1)
            return 1;
        [[fallthrough]];
    default: return ue_bits(static_cast<uint32_t>(code_number(s)));
    }
}

void read_back(const std::vector<Step> &steps, const uint8_t *bytes, int n)
{
    std::unique_ptr<uint8_t[]> copy(new uint8_t[n]);  // exactly what was produced
    std::copy(bytes, bytes + n, copy.get());
    ozmu_bsr r;
    ozmu_bsr_init(&r, copy.get(), n, nullptr);
    for (const Step &s : steps) {
        const int64_t k = code_number(s);
        if (k > 65534) {  // past the reader's exact range: the 33-bit code as bits
            check(ozmu_bsr_read(&r, 16) == 0 && ozmu_bsr_read(&r, 17) == k + 1);
            continue;
        }
        switch (s.kind) {
        case Write: check(ozmu_bsr_read(&r, s.a) == s.value); break;
        case Write1: check(ozmu_bsr_read1(&r) == s.value); break;
        case Ue: check(ozmu_bsr_read_ue(&r) == s.value); break;
        case Se: check(ozmu_bsr_read_se(&r) == static_cast<int32_t>(s.value)); break;
        case Te: check(ozmu_bsr_read_te(&r, s.a) == (s.a <= 0 ? 0 : s.value)); break;
        default: {  // sink: zero padding to the byte
            int pad = -1;
            check(ozmu_bsr_read_align8(&r, &pad) == 0 && pad >= 0 && pad < 8);
        }
        }
    }
    int pad = -1;
    check(ozmu_bsr_read_align8(&r, &pad) == 0 && pad >= 0 && pad < 8);
    check(r.leftbits == 0 && r.cur == r.beg + n && ozmu_bsr_read1(&r) == 0xFFFFFFFFu);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > 4096)
        return 0;
    Input in{data, size};
    const uint8_t mode = in.byte();
    const int buf_size = in.byte() % 64, reach = buf_size + kSpare;
    const bool custom = mode & 1, round_trip = (mode & 2) && buf_size >= 1;  // sink needs a byte
    std::unique_ptr<uint8_t[]> block(new uint8_t[reach]);
    std::fill(block.get(), block.get() + reach, uint8_t{0xEE});
    DrainingWriter w{{}, block.get(), buf_size};
    w.delegate = mode & 4;
    ozmu_bsw_init(&w.bs, block.get(), buf_size, custom ? checked_drain : nullptr);
    BitWriterModel model{std::vector<uint8_t>(block.get(), block.get() + reach), buf_size - 1};

    std::vector<Step> written;
    int64_t total = 0;  // bits written in the round trip
    for (int steps = 0; !in.done() && steps < 1000; ++steps) {
        Step s = step_from(in);
        // Where a 33-bit code goes in a full cache is not defined; deinit drains without a test.
        if (code_number(s) >= 65535 && model.left <= 0)
            continue;
        if (s.kind == Deinit && model.cur + model.pending_bytes() > reach)
            continue;
        if (round_trip) {
            if (!exact_step(s, model))
                continue;
            // Up to the spare byte: every drain then has its room and the final sink fits.
            const int bits = step_bits(s, total);
            if (total + bits > 8 * int64_t{buf_size - 1})
                break;
            total += bits;
            written.push_back(s);
        }
        // The length functions: exact but for 0xFFFFFFFF, whose value + 1 wraps.
        if (const int64_t k = code_number(s); k >= 0 && k != 0xFFFFFFFF)
            check(ozmu_bsw_size_ue(static_cast<uint32_t>(k)) == ue_bits(static_cast<uint32_t>(k)));
        if (s.kind == Se)
            check(ozmu_bsw_size_se(static_cast<int>(s.value)) ==
                  ozmu_bsw_size_ue(static_cast<uint32_t>(code_number(s))));
        w.past_end_ok = s.kind == Write1 || (s.kind == Te && s.a == 1) || s.kind == Deinit;
        const uint32_t got = apply(&w.bs, s), want = apply(model, s);
        check(got == want && w.bs.code == model.w.code() && w.bs.leftbits == model.left &&
              w.bs.cur - w.bs.beg == model.cur);
        check(std::equal(block.get(), block.get() + reach, model.memory.begin()));
    }
    if (round_trip) {
        w.past_end_ok = false;
        check(ozmu_bsw_sink(&w.bs) == 0 && model.sink() == 0);
        const int produced = static_cast<int>(w.bs.cur - w.bs.beg);
        check(produced == (total + 7) / 8 && produced == model.cur);
        check(std::equal(block.get(), block.get() + reach, model.memory.begin()));
        read_back(written, block.get(), produced);
    }
    return 0;
}
