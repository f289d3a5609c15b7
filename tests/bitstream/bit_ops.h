// Random operations for the bitstream reader and writer, applied alike to a library record and
// to the models of bit_model.h, and random stream contents that reach the corner cases often:
// long zero runs (long Exp-Golomb prefixes), long one runs (unary codes), the end of the data.
#pragma once

#include <climits>
#include <cstdio>
#include <string>

#include "bit_model.h"
#include "checkasm.h"
#include "ozmu.h"

namespace ozmu::test {

inline void fill_stream_bytes(Rng &rng, uint8_t *p, int n)
{
    static const uint8_t kSpecial[] = {0x00, 0xFF, 0x01, 0x80, 0x7F, 0xFE, 0x0F, 0xF0};
    const int mode = rng.range(0, 4);
    for (int i = 0; i < n;) {
        int run = mode == 4 ? rng.range(1, 12) : 1;  // mode 4: runs of one kind of byte
        const int kind = mode == 4 ? rng.range(0, 2) : mode;
        for (; run > 0 && i < n; --run, ++i) {
            const int roll = rng.range(0, 99);
            if (kind == 1)
                p[i] = roll < 85 ? 0x00 : static_cast<uint8_t>(rng.u32());
            else if (kind == 2)
                p[i] = roll < 85 ? 0xFF : static_cast<uint8_t>(rng.u32());
            else if (kind == 3)
                p[i] = roll < 70 ? kSpecial[roll & 7] : static_cast<uint8_t>(rng.u32());
            else
                p[i] = static_cast<uint8_t>(rng.u32());
        }
    }
}

inline int random_stream_size(Rng &rng)
{
    return rng.coin() ? rng.range(0, 9) : rng.range(0, 64);
}

// 1..32 with the boundary sizes drawn more often.
inline int random_bit_count(Rng &rng)
{
    static const int kEdges[] = {1, 2, 7, 8, 9, 16, 24, 25, 31, 32};
    return rng.range(0, 9) < 3 ? kEdges[rng.range(0, 9)] : rng.range(1, 32);
}

inline std::string hex_bytes(const uint8_t *p, size_t n)
{
    std::string s;
    char b[4];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(b, sizeof b, "%02x ", p[i]);
        s += b;
    }
    return s;
}

struct ReaderOp {
    enum Kind {
        Read,
        Read1,
        Skip,
        Peek,
        SkipPeek,
        SkipAlign8,
        ReadAlign8,
        Ue,
        Se,
        Te,
        Un,
        Tu,
        Flush
    };
    Kind kind;
    int a = 0, b = 0;

    std::string name() const
    {
        static const char *const kNames[] = {
            "read",    "read1",   "skip",    "peek",    "skip_peek", "skip_align8", "read_align8",
            "read_ue", "read_se", "read_te", "read_un", "read_tu",   "flush"};
        std::string s = kNames[kind];
        switch (kind) {
        case Read:
        case Skip:
        case Peek:
        case Te:
        case Tu:
        case Flush: return s + "(" + std::to_string(a) + ")";
        case SkipPeek: return s + "(" + std::to_string(a) + "," + std::to_string(b) + ")";
        case ReadAlign8: return s + (b ? "(&n)" : "(null)");
        default: return s;
        }
    }
};

// flush_ok: a direct call of ozmu_bsr_flush may be drawn.
inline ReaderOp random_reader_op(Rng &rng, bool flush_ok = true)
{
    for (;;) {
        const int roll = rng.range(0, 99);
        ReaderOp op{ReaderOp::Read};
        if (roll < 20)
            op = {ReaderOp::Read, random_bit_count(rng)};
        else if (roll < 28)
            op = {ReaderOp::Read1};
        else if (roll < 34)
            op = {ReaderOp::Skip, random_bit_count(rng)};
        else if (roll < 42)
            op = {ReaderOp::Peek, random_bit_count(rng)};
        else if (roll < 47)
            op = {ReaderOp::SkipPeek, random_bit_count(rng), random_bit_count(rng)};
        else if (roll < 50)
            op = {ReaderOp::SkipAlign8};
        else if (roll < 54)
            op = {ReaderOp::ReadAlign8, 0, rng.range(0, 3) != 0};
        else if (roll < 68)
            op = {ReaderOp::Ue};
        else if (roll < 74)
            op = {ReaderOp::Se};
        else if (roll < 79)
            op = {ReaderOp::Te, rng.range(-1, 4)};
        else if (roll < 88)
            op = {ReaderOp::Un};
        else if (roll < 98)
            op = {ReaderOp::Tu, rng.range(0, 35)};
        else
            op = {ReaderOp::Flush, rng.range(1, 4)};
        if (flush_ok || op.kind != ReaderOp::Flush)
            return op;
    }
}

struct Outcome {
    uint32_t value = 0;
    int nbits = -7;  // read_align8's count; -7 when not asked for
};

inline Outcome apply(ozmu_bsr *bs, const ReaderOp &op)
{
    Outcome r;
    switch (op.kind) {
    case ReaderOp::Read: r.value = ozmu_bsr_read(bs, op.a); break;
    case ReaderOp::Read1: r.value = ozmu_bsr_read1(bs); break;
    case ReaderOp::Skip: ozmu_bsr_skip(bs, op.a); break;
    case ReaderOp::Peek: r.value = ozmu_bsr_peek(bs, op.a); break;
    case ReaderOp::SkipPeek: r.value = ozmu_bsr_skip_peek(bs, op.a, op.b); break;
    case ReaderOp::SkipAlign8: ozmu_bsr_skip_align8(bs); break;
    case ReaderOp::ReadAlign8: r.value = ozmu_bsr_read_align8(bs, op.b ? &r.nbits : nullptr); break;
    case ReaderOp::Ue: r.value = ozmu_bsr_read_ue(bs); break;
    case ReaderOp::Se: r.value = static_cast<uint32_t>(ozmu_bsr_read_se(bs)); break;
    case ReaderOp::Te: r.value = ozmu_bsr_read_te(bs, op.a); break;
    case ReaderOp::Un: r.value = ozmu_bsr_read_un(bs); break;
    case ReaderOp::Tu: r.value = ozmu_bsr_read_tu(bs, op.a); break;
    case ReaderOp::Flush: r.value = static_cast<uint32_t>(ozmu_bsr_flush(bs, op.a)); break;
    }
    return r;
}

inline Outcome apply(BitReaderModel &m, const ReaderOp &op)
{
    Outcome r;
    ModelResult v;
    switch (op.kind) {
    case ReaderOp::Read: v = m.read(op.a); break;
    case ReaderOp::Read1: v = m.read1(); break;
    case ReaderOp::Skip: m.skip(op.a); break;
    case ReaderOp::Peek: v = m.peek(op.a); break;
    case ReaderOp::SkipPeek: v = m.skip_peek(op.a, op.b); break;
    case ReaderOp::SkipAlign8: m.skip_align8(); break;
    case ReaderOp::ReadAlign8: {
        int n = 0;
        v = m.read_align8(&n);
        if (op.b)
            r.nbits = n;
        break;
    }
    case ReaderOp::Ue: v = m.read_ue(); break;
    case ReaderOp::Se: v = m.read_se(); break;
    case ReaderOp::Te: v = m.read_te(op.a); break;
    case ReaderOp::Un: v = m.read_un(); break;
    case ReaderOp::Tu: v = m.read_tu(op.a); break;
    case ReaderOp::Flush: v.value = static_cast<uint32_t>(m.flush(op.a)); break;
    }
    r.value = v.value;
    return r;
}

struct WriterOp {
    enum Kind { Write, Write1, Ue, Se, Te, Sink, Deinit };
    Kind kind;
    uint32_t value = 0;
    int a = 0;

    std::string name() const
    {
        const std::string v = std::to_string(value);
        switch (kind) {
        case Write: return "write(" + v + "," + std::to_string(a) + ")";
        case Write1: return "write1(" + std::to_string(a) + ")";
        case Ue: return "write_ue(" + v + ")";
        case Se: return "write_se(" + std::to_string(static_cast<int32_t>(value)) + ")";
        case Te: return "write_te(" + v + "," + std::to_string(a) + ")";
        case Sink: return "sink";
        default: return "deinit";
        }
    }
};

// Exp-Golomb arguments: small, the writer's exact range, its 33-bit codes, anything.
inline uint32_t random_ue_value(Rng &rng)
{
    const int roll = rng.range(0, 99);
    if (roll < 40)
        return static_cast<uint32_t>(rng.range(0, 40));
    if (roll < 70)
        return static_cast<uint32_t>(rng.range(0, 131070));
    if (roll < 85)
        return static_cast<uint32_t>(rng.range(65535, 131072));
    return rng.u32();
}

inline int32_t random_se_value(Rng &rng)
{
    const int roll = rng.range(0, 99);
    if (roll < 45)
        return rng.range(-20, 20);
    if (roll < 80)
        return rng.range(-65535, 65535);
    if (roll < 90)
        return rng.coin() ? INT_MIN : INT_MAX;
    return static_cast<int32_t>(rng.u32());
}

// deinit_ok: a drain without space test would stay inside the memory the test owns.
inline WriterOp random_writer_op(Rng &rng, bool deinit_ok = true)
{
    for (;;) {
        const int roll = rng.range(0, 99);
        WriterOp op{WriterOp::Sink};
        if (roll < 27) {
            const int r = rng.range(0, 3);
            const uint32_t v = r == 0 ? 0u : r == 1 ? 0xFFFFFFFFu : rng.u32();
            op = {WriterOp::Write, v, random_bit_count(rng)};
        } else if (roll < 47) {
            static const int kBits[] = {0, 1, 1, 0, 2, 3, -1};
            op = {WriterOp::Write1, 0, kBits[rng.range(0, 6)]};
        } else if (roll < 63) {
            op = {WriterOp::Ue, random_ue_value(rng)};
        } else if (roll < 75) {
            op = {WriterOp::Se, static_cast<uint32_t>(random_se_value(rng))};
        } else if (roll < 88) {
            const int range = rng.range(-1, 4);
            op = {WriterOp::Te,
                  range == 1 ? static_cast<uint32_t>(rng.range(0, 3)) : random_ue_value(rng),
                  range};
        } else if (roll < 96) {
            op = {WriterOp::Sink};
        } else {
            op = {WriterOp::Deinit};
        }
        if (op.kind == WriterOp::Deinit && !deinit_ok)
            continue;
        return op;
    }
}

// Returns the function's int result, 0 for the void ones.
inline int apply(ozmu_bsw *bs, const WriterOp &op)
{
    switch (op.kind) {
    case WriterOp::Write: return ozmu_bsw_write(bs, op.value, op.a);
    case WriterOp::Write1: return ozmu_bsw_write1(bs, op.a);
    case WriterOp::Ue: ozmu_bsw_write_ue(bs, op.value); return 0;
    case WriterOp::Se: ozmu_bsw_write_se(bs, static_cast<int32_t>(op.value)); return 0;
    case WriterOp::Te: ozmu_bsw_write_te(bs, op.value, op.a); return 0;
    case WriterOp::Sink: return ozmu_bsw_sink(bs);
    default: return ozmu_bsw_deinit(bs);
    }
}

inline int apply(BitWriterModel &m, const WriterOp &op)
{
    switch (op.kind) {
    case WriterOp::Write: return m.write(op.value, op.a);
    case WriterOp::Write1: return m.write1(op.a);
    case WriterOp::Ue: m.write_ue(op.value); return 0;
    case WriterOp::Se: m.write_se(static_cast<int32_t>(op.value)); return 0;
    case WriterOp::Te: m.write_te(op.value, op.a); return 0;
    case WriterOp::Sink: return m.sink();
    default: return m.deinit();
    }
}

}  // namespace ozmu::test
