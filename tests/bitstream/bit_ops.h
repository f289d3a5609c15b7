// Random operations for the bitstream reader and writer, each written once against the models'
// interface and applied alike to a model of bit_model.h and to a library record behind the same
// interface; and random stream contents that reach the corner cases often: long zero runs (long
// Exp-Golomb prefixes), long one runs (unary codes), the end of the data.
#pragma once

#include <climits>
#include <functional>
#include <string>

#include "bit_model.h"
#include "checkasm.h"
#include "ozmu.h"

namespace ozmu::test {

struct LibReader {
    ozmu_bsr *bs;

    int flush(int bytes) { return ozmu_bsr_flush(bs, bytes); }
    uint32_t read(int size) { return ozmu_bsr_read(bs, size); }
    void skip(int size) { ozmu_bsr_skip(bs, size); }
    uint32_t skip_peek(int skip, int size) { return ozmu_bsr_skip_peek(bs, skip, size); }
    uint32_t read1() { return ozmu_bsr_read1(bs); }
    uint32_t peek(int size) { return ozmu_bsr_peek(bs, size); }
    void skip_align8() { ozmu_bsr_skip_align8(bs); }
    uint32_t read_align8(bool want_count)
    {
        int n = -1;
        return ozmu_bsr_read_align8(bs, want_count ? &n : nullptr) | static_cast<uint32_t>(n) << 8;
    }
    uint32_t read_ue() { return ozmu_bsr_read_ue(bs); }
    uint32_t read_se() { return static_cast<uint32_t>(ozmu_bsr_read_se(bs)); }
    uint32_t read_te(int range) { return ozmu_bsr_read_te(bs, range); }
    uint32_t read_un() { return ozmu_bsr_read_un(bs); }
    uint32_t read_tu(int max) { return ozmu_bsr_read_tu(bs, max); }
};

struct LibWriter {
    ozmu_bsw *bs;

    int deinit() { return ozmu_bsw_deinit(bs); }
    int write(uint32_t value, int len) { return ozmu_bsw_write(bs, value, len); }
    int write1(int bit) { return ozmu_bsw_write1(bs, bit); }
    void write_ue(uint32_t value) { ozmu_bsw_write_ue(bs, value); }
    void write_se(int32_t value) { ozmu_bsw_write_se(bs, value); }
    void write_te(uint32_t value, int range) { ozmu_bsw_write_te(bs, value, range); }
    int sink() { return ozmu_bsw_sink(bs); }
};

// One operation, written once against the models' interface and applied to a model or, through
// the adapter, to a library record. Its result is 0 for the void functions.
template <class Model, class Lib>
struct Op {
    const char *function;
    std::vector<int64_t> args;  // for failure messages
    std::function<uint32_t(Lib &)> lib;
    std::function<uint32_t(Model &)> model;
    bool long_code = false;  // a 33-bit Exp-Golomb code (16 prefix zeros)

    template <class F>
    Op(const char *f, std::initializer_list<int64_t> a, F op, bool long_ue = false)
        : function(f), args(a), lib(op), model(op), long_code(long_ue)
    {
    }
    uint32_t operator()(decltype(Lib::bs) record) const
    {
        Lib l{record};
        return lib(l);
    }
    uint32_t operator()(Model &m) const { return model(m); }
    std::string name() const
    {
        std::string s = std::string(function) + "(";
        for (const int64_t &a : args)
            s += std::to_string(a) + (&a == &args.back() ? "" : ",");
        return s + ")";
    }
};
using ReaderOp = Op<BitReaderModel, LibReader>;
using WriterOp = Op<BitWriterModel, LibWriter>;

inline void fill_stream_bytes(Rng &rng, uint8_t *p, int n)
{
    static const uint8_t kSpecial[] = {0x00, 0xFF, 0x01, 0x80, 0x7F, 0xFE, 0x0F, 0xF0};
    const int mode = rng.range(0, 4);  // 1: mostly 00, 2: mostly FF, 3: special, 4: runs of 0..2
    for (int i = 0; i < n;) {
        const int kind = mode == 4 ? rng.range(0, 2) : mode;
        for (int run = mode == 4 ? rng.range(1, 12) : 1; run > 0 && i < n; --run, ++i) {
            const int roll = rng.range(0, 99);
            const uint8_t any = static_cast<uint8_t>(rng.u32());
            p[i] = kind == 1   ? (roll < 85 ? 0x00 : any)
                   : kind == 2 ? (roll < 85 ? 0xFF : any)
                               : (kind == 3 && roll < 70 ? kSpecial[roll & 7] : any);
        }
    }
}

inline int random_stream_size(Rng &rng) { return rng.range(0, rng.coin() ? 9 : 64); }

// 1..32 with the boundary sizes drawn more often.
inline int random_bit_count(Rng &rng)
{
    static const int kEdges[] = {1, 2, 7, 8, 9, 16, 24, 25, 31, 32};
    return rng.range(0, 9) < 3 ? kEdges[rng.range(0, 9)] : rng.range(1, 32);
}

inline std::string hex_bytes(const uint8_t *p, size_t n)
{
    std::string s;
    for (size_t i = 0; i < n; ++i)
        s.append({"0123456789abcdef"[p[i] >> 4], "0123456789abcdef"[p[i] & 15], ' '});
    return s;
}

// An index drawn with the given cumulative weights out of 100.
template <size_t N>
int draw(Rng &rng, const int (&cumulative)[N])
{
    int k = 0;
    for (const int roll = rng.range(0, 99); roll >= cumulative[k];)
        ++k;
    return k;
}

// flush_ok: a direct call of ozmu_bsr_flush may be drawn.
inline ReaderOp random_reader_op(Rng &rng, bool flush_ok = true)
{
    static const int kWeights[] = {20, 28, 34, 42, 47, 50, 54, 68, 74, 79, 88, 98, 100};
    const int a = random_bit_count(rng), b = random_bit_count(rng), te = rng.range(-1, 4),
              tu = rng.range(0, 35), bytes = rng.range(1, 4);
    const bool want_count = rng.range(0, 3) != 0;
    const int kind = draw(rng, kWeights);
    switch (kind == 12 && !flush_ok ? 1 : kind) {
    case 0: return {"read", {a}, [=](auto &r) { return r.read(a); }};
    case 1: return {"read1", {}, [](auto &r) { return r.read1(); }};
    case 2: return {"skip", {a}, [=](auto &r) { return r.skip(a), 0u; }};
    case 3: return {"peek", {a}, [=](auto &r) { return r.peek(a); }};
    case 4: return {"skip_peek", {a, b}, [=](auto &r) { return r.skip_peek(a, b); }};
    case 5: return {"skip_align8", {}, [](auto &r) { return r.skip_align8(), 0u; }};
    case 6:
        return {"read_align8", {want_count}, [=](auto &r) { return r.read_align8(want_count); }};
    case 7: return {"read_ue", {}, [](auto &r) { return r.read_ue(); }};
    case 8: return {"read_se", {}, [](auto &r) { return r.read_se(); }};
    case 9: return {"read_te", {te}, [=](auto &r) { return r.read_te(te); }};
    case 10: return {"read_un", {}, [](auto &r) { return r.read_un(); }};
    case 11: return {"read_tu", {tu}, [=](auto &r) { return r.read_tu(tu); }};
    default: return {"flush", {bytes}, [=](auto &r) { return uint32_t(r.flush(bytes)); }};
    }
}

// Exp-Golomb arguments: small, the writer's exact range, its 33-bit codes, anything.
inline uint32_t random_ue_value(Rng &rng)
{
    const int roll = rng.range(0, 99);
    return roll < 40   ? rng.range(0, 40)
           : roll < 70 ? rng.range(0, 131070)
           : roll < 85 ? rng.range(65535, 131072)
                       : rng.u32();
}

inline int32_t random_se_value(Rng &rng)
{
    const int roll = rng.range(0, 99);
    return roll < 45   ? rng.range(-20, 20)
           : roll < 80 ? rng.range(-65535, 65535)
           : roll < 90 ? (rng.coin() ? INT_MIN : INT_MAX)
                       : static_cast<int32_t>(rng.u32());
}

inline bool is_long_ue(uint32_t value) { return BitWriterModel::ue_bits(value).size() == 33; }

// deinit_ok: a drain without space test would stay inside the memory the test owns.
inline WriterOp random_writer_op(Rng &rng, bool deinit_ok = true)
{
    static const int kWeights[] = {27, 47, 63, 75, 88, 96, 100};
    static const int kBits[] = {0, 1, 1, 0, 2, 3, -1};  // write1 takes bit 0 only
    const int r = rng.range(0, 3), len = random_bit_count(rng), bit = kBits[rng.range(0, 6)],
              range = rng.range(-1, 4);
    const uint32_t bits = r == 0 ? 0u : r == 1 ? 0xFFFFFFFFu : rng.u32(), ue = random_ue_value(rng);
    const uint32_t te = range == 1 ? static_cast<uint32_t>(r) : ue;
    const int32_t se = random_se_value(rng);
    const int kind = draw(rng, kWeights);
    switch (kind == 6 && !deinit_ok ? 5 : kind) {
    case 0: return {"write", {bits, len}, [=](auto &w) { return uint32_t(w.write(bits, len)); }};
    case 1: return {"write1", {bit}, [=](auto &w) { return uint32_t(w.write1(bit)); }};
    case 2: return {"write_ue", {ue}, [=](auto &w) { return w.write_ue(ue), 0u; }, is_long_ue(ue)};
    case 3:
        return {"write_se",
                {se},
                [=](auto &w) { return w.write_se(se), 0u; },
                is_long_ue(se_code_number(se))};
    case 4:
        return {"write_te",
                {te, range},
                [=](auto &w) { return w.write_te(te, range), 0u; },
                range >= 2 && is_long_ue(te)};
    case 5: return {"sink", {}, [](auto &w) { return uint32_t(w.sink()); }};
    default: return {"deinit", {}, [](auto &w) { return uint32_t(w.deinit()); }};
    }
}

}  // namespace ozmu::test
