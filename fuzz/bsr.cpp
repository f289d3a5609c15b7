// Bit reader over arbitrary bytes. The first byte picks the mode: bit 0 strips emulation-prevention
// bytes (00 00 03 -> 00 00) through a refill callback of ours, bit 1 parses an SPS-like header
// and then ue/se/u(n) codes to the end of the data instead of running the operations the input
// spells. Either way the same steps go to:
//   - the library reader with the default refill, over the payload (what the stripping leaves);
//   - a reader whose callback only checks its request and calls the default refill;
//   - with stripping, a reader over the raw bytes whose callback removes the prevention bytes;
//   - the bit-string model of the documented behaviour over the payload.
// Every result, code, leftbits and count of payload bytes loaded must agree after every step, and
// no callback may be asked for more than 4 bytes. The parse also checks each fixed-length read and
// each Exp-Golomb code of up to 31 bits against the payload bits themselves. Every buffer is an
// exact heap block, so the sanitizer sees any read beyond it.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "../tests/bitstream/bit_model.h"
#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;
using ozmu::fuzz::Input;

using ozmu::test::BitReaderModel;

// The payload: every 03 that follows two zero payload bytes is dropped, and the zero run starts
// again after it.
std::vector<uint8_t> strip_prevention(const std::vector<uint8_t> &raw)
{
    std::vector<uint8_t> out;
    for (size_t i = 0, zeros = 0; i < raw.size(); ++i) {
        if (zeros >= 2 && raw[i] == 3) {
            zeros = 0;
            continue;
        }
        out.push_back(raw[i]);
        zeros = raw[i] == 0 ? zeros + 1 : 0;
    }
    return out;
}

// Checks the request, then loads as the default refill does.
int checked_refill(ozmu_bsr *bs, int bytes)
{
    check(bytes >= 1 && bytes <= 4);
    return ozmu_bsr_flush(bs, bytes);
}

// The record, then what its callback keeps. The callback loads payload bytes from the raw data
// and leaves cur on the next payload byte (past a prevention byte that follows), so that
// cur <= end means "payload left" and peek's look at *cur sees the right byte.
struct StrippingReader {
    ozmu_bsr bs;
    const uint8_t *raw;
    size_t size, pos = 0;
    int zeros = 0;      // payload zeros delivered in a row
    int delivered = 0;  // payload bytes loaded

    void skip_prevention()
    {
        if (zeros >= 2 && pos < size && raw[pos] == 3) {
            ++pos;
            zeros = 0;
        }
        bs.cur = const_cast<uint8_t *>(raw) + pos;
    }
};

int stripping_refill(ozmu_bsr *bs, int bytes)
{
    check(bytes >= 1 && bytes <= 4);
    auto *r = reinterpret_cast<StrippingReader *>(bs);
    check(bs->cur == r->raw + r->pos);
    uint32_t code = 0;
    int n = 0;
    for (; n < bytes && r->pos < r->size; ++n) {
        const uint8_t b = r->raw[r->pos++];
        code |= uint32_t{b} << (24 - 8 * n);
        r->zeros = b == 0 ? r->zeros + 1 : 0;
        r->skip_prevention();
    }
    bs->code = code;
    bs->leftbits = 8 * n;
    r->delivered += n;
    return n > 0 ? 0 : -1;
}

enum Kind { Read, Read1, Skip, Peek, SkipPeek, SkipAlign8, ReadAlign8, Ue, Se, Te, Un, Tu, Flush };

struct Step {
    Kind kind;
    int a = 0, b = 0;
};

uint32_t apply(ozmu_bsr *bs, const Step &s, bool default_refill)
{
    switch (s.kind) {
    case Read: return ozmu_bsr_read(bs, s.a);
    case Read1: return ozmu_bsr_read1(bs);
    case Skip: return ozmu_bsr_skip(bs, s.a), 0u;
    case Peek: return ozmu_bsr_peek(bs, s.a);
    case SkipPeek: return ozmu_bsr_skip_peek(bs, s.a, s.b);
    case SkipAlign8: return ozmu_bsr_skip_align8(bs), 0u;
    case ReadAlign8: {
        int n = -1;
        const uint32_t v = ozmu_bsr_read_align8(bs, s.b ? &n : nullptr);
        return v | static_cast<uint32_t>(n) << 8;
    }
    case Ue: return ozmu_bsr_read_ue(bs);
    case Se: return static_cast<uint32_t>(ozmu_bsr_read_se(bs));
    case Te: return ozmu_bsr_read_te(bs, s.a);
    case Un: return ozmu_bsr_read_un(bs);
    case Tu: return ozmu_bsr_read_tu(bs, s.a);
    default:  // the default refill takes any count and loads at most 4; callbacks get 1..4
        return static_cast<uint32_t>(default_refill ? ozmu_bsr_flush(bs, s.a)
                                                    : bs->flush_fn(bs, std::min(s.a, 4)));
    }
}

uint32_t apply(BitReaderModel &m, const Step &s)
{
    switch (s.kind) {
    case Read: return m.read(s.a);
    case Read1: return m.read1();
    case Skip: return m.skip(s.a), 0u;
    case Peek: return m.peek(s.a);
    case SkipPeek: return m.skip_peek(s.a, s.b);
    case SkipAlign8: return m.skip_align8(), 0u;
    case ReadAlign8: return m.read_align8(s.b != 0);
    case Ue: return m.read_ue();
    case Se: return m.read_se();
    case Te: return m.read_te(s.a);
    case Un: return m.read_un();
    case Tu: return m.read_tu(s.a);
    default: return static_cast<uint32_t>(m.flush(s.a));
    }
}

// The readers of the header comment, stepped together.
struct Readers {
    std::unique_ptr<uint8_t[]> payload_block, raw_block;
    int payload_size;
    ozmu_bsr plain;
    ozmu_bsr checked;
    StrippingReader stripping{};
    bool strip;
    BitReaderModel model;
    bool exact = true;  // no code beyond the documented exact range read yet

    Readers(const std::vector<uint8_t> &raw, bool strip_prevention_bytes)
        : strip(strip_prevention_bytes)
    {
        const std::vector<uint8_t> payload = strip ? strip_prevention(raw) : raw;
        payload_size = static_cast<int>(payload.size());
        payload_block.reset(new uint8_t[payload.size()]);
        std::copy(payload.begin(), payload.end(), payload_block.get());
        ozmu_bsr_init(&plain, payload_block.get(), payload_size, nullptr);
        ozmu_bsr_init(&checked, payload_block.get(), payload_size, checked_refill);
        model.data = payload;
        if (strip) {
            raw_block.reset(new uint8_t[raw.size()]);
            std::copy(raw.begin(), raw.end(), raw_block.get());
            stripping.raw = raw_block.get();
            stripping.size = raw.size();
            ozmu_bsr_init(&stripping.bs, raw_block.get(), static_cast<int>(raw.size()),
                          stripping_refill);
        }
    }

    static int loaded(const ozmu_bsr &bs) { return static_cast<int>(bs.cur - bs.beg); }
    // Bits consumed so far by the model; meaningful while the cache keeps to its rules.
    int64_t position() const { return 8 * int64_t{model.cur} - model.left; }

    uint32_t step(const Step &s)
    {
        const uint32_t want = apply(model, s);
        check(apply(&plain, s, true) == want);
        check(plain.code == model.w.code() && plain.leftbits == model.left &&
              loaded(plain) == model.cur);
        check(apply(&checked, s, false) == want);
        check(checked.code == plain.code && checked.leftbits == plain.leftbits &&
              checked.cur == plain.cur);
        if (strip) {
            check(apply(&stripping.bs, s, false) == want);
            check(stripping.bs.code == plain.code && stripping.bs.leftbits == plain.leftbits &&
                  stripping.delivered == model.cur);
            check(stripping.bs.cur == stripping.raw + stripping.pos);
        }
        return want;
    }
};

Step op_from(Input &in)
{
    const Kind kind = static_cast<Kind>(in.byte() % 13);
    const uint8_t x = in.byte();
    Step s{kind, 1 + x % 32, 1 + (x >> 3) % 32};
    if (kind == SkipPeek)
        s.b = 1 + in.byte() % 32;
    else if (kind == ReadAlign8)
        s.b = x & 1;
    else if (kind == Te)
        s.a = x % 6 - 1;  // -1 .. 4
    else if (kind == Tu)
        s.a = x % 33;
    else if (kind == Flush)
        s.a = 1 + x % 8;
    return s;
}

// The payload bits from `at` on, as the number they spell, or -1 past the data.
int64_t payload_bits(const Readers &r, int64_t at, int n)
{
    if (at < 0 || at + n > 8 * int64_t{r.payload_size})
        return -1;
    uint64_t v = 0;
    for (int i = 0; i < n; ++i, ++at)
        v = v << 1 | (r.payload_block[at >> 3] >> (7 - (at & 7)) & 1);
    return static_cast<int64_t>(v);
}

// A fixed-length read inside the data returns the payload bits there and moves on by n.
uint32_t read_bits(Readers &r, int n)
{
    const int64_t at = r.position(), want = payload_bits(r, at, n);
    const uint32_t v = r.step({Read, n});
    if (want >= 0 && r.exact)
        check(v == static_cast<uint32_t>(want) && r.position() == at + n);
    return v;
}

// A code of up to 31 bits that lies inside the data is decoded exactly and consumed whole.
uint32_t read_ue(Readers &r, bool signed_code = false)
{
    const int64_t at = r.position();
    int zeros = 0;
    while (zeros < 16 && payload_bits(r, at + zeros, 1) == 0)
        ++zeros;
    const int64_t code = zeros < 16 ? payload_bits(r, at, 2 * zeros + 1) : -1;
    const uint32_t v = r.step({signed_code ? Se : Ue});
    if (zeros == 16)
        r.exact = false;  // 33 bits or more: a meaningless value, and the position with it
    if (code >= 0 && r.exact) {
        const uint32_t k = static_cast<uint32_t>(code) - 1;
        const int32_t se = k & 1 ? static_cast<int32_t>((k + 1) / 2) : -static_cast<int32_t>(k / 2);
        check(v == (signed_code ? static_cast<uint32_t>(se) : k));
        check(r.position() == at + 2 * zeros + 1);
    }
    return v;
}

int32_t read_se(Readers &r) { return static_cast<int32_t>(read_ue(r, true)); }

bool at_end(const Readers &r) { return r.model.cur == r.payload_size && r.model.left <= 0; }

// profile, constraints, level and id; the high profiles' chroma, depths and scaling lists; frame
// numbering, picture order, references, size, cropping; then codes to the end of the data.
void parse_sps(Readers &r)
{
    const uint32_t profile = read_bits(r, 8);
    read_bits(r, 8);
    read_bits(r, 8);
    read_ue(r);
    if (profile == 100 || profile == 110 || profile == 122 || profile == 244 || profile == 44) {
        if (read_ue(r) == 3)
            read_bits(r, 1);
        read_ue(r);
        read_ue(r);
        read_bits(r, 1);
        if (read_bits(r, 1) == 1)
            for (int list = 0; list < 8 && !at_end(r); ++list)
                if (read_bits(r, 1) == 1)
                    for (int j = 0, next = 8; j < (list < 6 ? 16 : 64) && next != 0; ++j)
                        next = (next + read_se(r)) & 255;
    }
    read_ue(r);
    const uint32_t poc_type = read_ue(r);
    if (poc_type == 0) {
        read_ue(r);
    } else if (poc_type == 1) {
        read_bits(r, 1);
        read_se(r);
        read_se(r);
        for (uint32_t n = std::min(read_ue(r), 255u); n > 0 && !at_end(r); --n)
            read_se(r);
    }
    read_ue(r);
    read_bits(r, 1);
    read_ue(r);
    read_ue(r);
    if (read_bits(r, 1) == 0)
        read_bits(r, 1);
    read_bits(r, 1);
    if (read_bits(r, 1) == 1)
        for (int i = 0; i < 4; ++i)
            read_ue(r);
    // Every code consumes at least one bit until the end, where the end-of-data values appear.
    const int64_t limit = 8 * int64_t{r.payload_size} + 8;
    for (int64_t i = 0; !at_end(r); ++i) {
        check(i < limit);
        switch (i % 4) {
        case 0: read_ue(r); break;
        case 1: read_se(r); break;
        case 2: read_bits(r, 1 + static_cast<int>(i % 32)); break;
        default: read_bits(r, 1);
        }
    }
    check(r.step({Read, 8}) == 0xFFFFFFFFu && r.step({Read1}) == 0xFFFFFFFFu);
    check(r.step({Ue}) == 0xFFFFFFFEu && r.step({Se}) == 1u);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > 4096)
        return 0;
    Input in{data, size};
    const uint8_t mode = in.byte();
    const bool strip = mode & 1, sps = mode & 2;
    // The operations' data: all that follows for the parse, else as many bytes as the next says.
    const size_t rest = size - in.pos;
    const size_t n = sps ? rest : std::min<size_t>(in.byte(), rest - std::min<size_t>(rest, 1));
    std::vector<uint8_t> raw(data + in.pos, data + in.pos + n);
    in.pos += n;
    Readers r(raw, strip);
    if (sps) {
        parse_sps(r);
        return 0;
    }
    for (int steps = 0; !in.done() && steps < 2000; ++steps)
        r.step(op_from(in));
    return 0;
}
