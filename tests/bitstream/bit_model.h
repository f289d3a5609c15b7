// Bit-level models of the bitstream reader and writer. Every bit is a character ('1' or '0', most
// significant first) and no shift arithmetic is shared with the library: the cache word is 32
// characters, the first being bit 31 of `code`. In the reader the first `leftbits` are the valid
// bits, in the writer the first 32 - `leftbits` are the written ones; what follows is whatever a
// wrapped shift count left behind (normally zeros), and leftbits may fall below zero.
//
// The kept quirks are modelled as such: shift counts wrap modulo 32, the unary codes' valid-bit
// test wraps at 32 valid bits, peek looks at the unloaded byte at cur, the writer's space tests
// compare against the inclusive end, a 32-bit write into an empty cache leaves the value in the
// cache, write_ue caps its prefix at 16 zeros. A refill or drain moves at most the word's 4 bytes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace ozmu::test {

using Bits = std::string;

inline Bits bits_of(uint64_t v, int n)
{
    Bits b;
    for (int i = n - 1; i >= 0; --i)
        b += (v >> i & 1) ? '1' : '0';
    return b;
}

// The low 32 bits of the number the bits spell.
inline uint32_t value_of(const Bits &b)
{
    uint32_t v = 0;
    for (char c : b)
        v = v << 1 | (c == '1');
    return v;
}

// A signed Exp-Golomb value's code number: v > 0 as 2v - 1, v <= 0 as -2v, kept to 32 bits.
inline uint32_t se_code_number(int32_t v)
{
    return static_cast<uint32_t>(v > 0 ? 2 * int64_t{v} - 1 : -2 * int64_t{v});
}

struct Word {
    Bits b = Bits(32, '0');

    uint32_t code() const { return value_of(b); }
    int leading(char c) const { return int(std::min(b.find_first_not_of(c), b.size())); }
    // `code >> (32 - n)` and `code <<= n`, the counts taken modulo 32.
    uint32_t first(int n) const { return value_of(b.substr(0, 32 - ((32 - n) & 31))); }
    void shift(int n) { b = b.substr(n & 31) + Bits(n & 31, '0'); }
    // This word with `bits` ORed in from position `at`; whatever passes bit 0 is lost.
    Word with(const Bits &bits, int at) const
    {
        Word w = *this;
        for (size_t i = 0; i < bits.size() && at + i < 32; ++i)
            w.b[at + i] |= bits[i];  // '0' | '1' is '1'
        return w;
    }
};

struct BitReaderModel {
    std::vector<uint8_t> data;
    int cur = 0;  // bytes loaded so far
    Word w{};
    int left = 0;

    int flush(int bytes)
    {
        const int n = std::min({static_cast<int>(data.size()) - cur, bytes, 4});
        w = Word();
        left = 8 * std::max(n, 0);
        for (int k = 0; k < n; ++k)
            w = w.with(bits_of(data[cur++], 8), 8 * k);
        return n > 0 ? 0 : -1;
    }
    uint32_t read(int size)
    {
        uint32_t v;
        return take(size, v) ? v : 0xFFFFFFFFu;
    }
    void skip(int size) { read(size); }
    uint32_t skip_peek(int skip, int size)
    {
        uint32_t v;
        return take(skip, v) ? peek(size) : 0;
    }
    uint32_t read1()
    {
        if (left == 0 && flush(4) != 0)
            return 0xFFFFFFFFu;
        const uint32_t bit = w.b[0] == '1';
        shift_out(1);
        return bit;
    }
    // Tops up with whole bytes behind the held bits; bits still missing are the top of the
    // unloaded byte at cur (none once more than 8 are missing: the shift count wraps).
    uint32_t peek(int size)
    {
        if (left < size && left <= 24) {
            const Word held = w;
            const int held_bits = left;
            flush((32 - left) >> 3);  // a failure adds no bits
            w = held.with(w.b, held_bits & 31);
            left += held_bits;
        }
        const int drop = (left - size + 8) & 31;
        if (size - left >= 1 && cur < static_cast<int>(data.size()) && drop < 8)
            return w.first(size) | value_of(bits_of(data[cur], 8).substr(0, 8 - drop));
        return w.first(size);
    }
    void skip_align8() { shift_out(left & 7); }
    // The count is appended as bits 8 and up (-1 when not asked for).
    uint32_t read_align8(bool want_count)
    {
        const int n = left & 7;
        const uint32_t v = n > 0 ? w.first(n) : 0;
        shift_out(n);
        return v | static_cast<uint32_t>(want_count ? n : -1) << 8;
    }
    uint32_t read_ue()
    {
        int carried = 0;  // prefix zeros of a cache word that held nothing else
        if (w.leading('0') == 32) {
            carried = left;
            flush(4);
        }
        const int lz = w.leading('0');
        if (lz + carried == 0) {
            shift_out(1);
            return 0;
        }
        // Counted from the top of the current word; past 32 bits the value is meaningless.
        uint32_t v;
        return take(2 * lz + 1 + carried, v) ? v - 1 : 0xFFFFFFFEu;
    }
    uint32_t read_se()
    {
        const uint32_t k = read_ue();  // signed 32-bit arithmetic, wrapping
        return static_cast<uint32_t>(k & 1 ? static_cast<int32_t>(k + 1) >> 1
                                           : -(static_cast<int32_t>(k) >> 1));
    }
    uint32_t read_te(int range)
    {
        if (range == 1)
            return 1u - read1();  // a failed refill reads as -1: 2
        return range >= 2 ? read_ue() : 0;
    }
    uint32_t read_un() { return unary(1 << 30, true); }
    uint32_t read_tu(int max) { return unary(max, false); }

    // read, skip and the end of read_ue: the held bits above the refilled ones; exactly 32 bits
    // empty the cache, other counts shift modulo 32. False when the refill fails.
    bool take(int size, uint32_t &v)
    {
        uint32_t hi = 0;
        if (left < size) {
            hi = w.first(size);
            const int held = left;
            if (flush(4) != 0)
                return false;
            size -= held;
        }
        v = w.first(size) | hi;
        shift_out(size);
        if (size == 32) {
            w = Word();
            left = 0;
        }
        return true;
    }
    // read_un has no maximum and a 33-bit path for a refilled word of ones.
    uint32_t unary(int max, bool un)
    {
        int carried = 0;  // counted as ones, whatever they are
        // `~code >> (31 - leftbits)` is zero: no 0 among the valid bits nor in the bit after
        // them. At 32 valid bits the count wraps to 31 and only the first bit is seen.
        if (left <= 0 || w.b.substr(0, 32 - ((31 - left) & 31)).find('0') == Bits::npos) {
            if (!un && left >= max)
                return shift_out(max), max;  // taken as max ones without looking
            carried = left;
            flush(4);
            if (un && w.leading('1') == 32)
                return shift_out(33), 32 + carried;
        }
        const int ones = w.leading('1');
        if (ones + carried > max)
            return shift_out(max), max;
        return shift_out(ones + 1), ones + carried;
    }
    void shift_out(int n)
    {
        w.shift(n);
        left -= n;
    }
};

struct BitWriterModel {
    std::vector<uint8_t> memory;  // all the writer may reach: the buffer and any slack after it
    int end;                      // the record's end, as an index
    int cur = 0;
    Word w{};
    int left = 32;
    // Bytes holding at least one written bit, at most the word's 4.
    int pending_bytes() const { return std::min((39 - left) >> 3, 4); }

    int flush()
    {
        for (int i = pending_bytes(); i > 0; --i, w.shift(8))
            memory.at(cur++) = static_cast<uint8_t>(w.first(8));
        return 0;
    }
    int write(uint32_t value, int len) { return put(bits_of(value, len), false); }
    int write1(int bit)
    {
        if (bit & 1)
            w.b[31 - ((left - 1) & 31)] = '1';
        if (--left > 0)
            return 0;
        return cur > end ? -1 : drain_all();
    }
    // n zeros, a 1, the low n bits of value + 1; n stops at 16.
    static Bits ue_bits(uint32_t value)
    {
        const uint32_t u = value + 1;
        int n = 0;
        while (n < 16 && (u >> (n + 1)) != 0)
            ++n;
        return Bits(n, '0') + "1" + bits_of(u, n);
    }
    void write_ue(uint32_t value) { put(ue_bits(value), true); }
    void write_se(int32_t value) { write_ue(se_code_number(value)); }
    void write_te(uint32_t value, int range)
    {
        if (range == 1)
            write1(static_cast<int>((1u - value) & 1u));
        else if (range >= 2)
            write_ue(value);
    }
    int sink() { return cur + pending_bytes() > end ? -1 : drain_all(); }
    int deinit() { return flush(); }

    int drain_all()
    {
        flush();
        w = Word();
        left = 32;
        return 0;
    }
    // Up to 33 bits. A full cache needs 4 bytes before `end` to drain, or only the OR happens.
    // The bits that did not fit start the new word; for a plain write (`exact` false) the count
    // of those that did fit wraps at 32, so a 32-bit value into an empty cache stays whole. A
    // 33-bit code can fill the new word as well, which is then drained at once too.
    int put(const Bits &b, bool exact)
    {
        const int len = static_cast<int>(b.size()), fitted = left;
        w = w.with(b, (32 - left) & 31);
        if (left > len)
            return left -= len, 0;
        if (cur + 4 > end)
            return -1;
        left = 0;
        flush();
        w = Word().with(b.substr(std::clamp(exact ? fitted : fitted & 31, 0, len)), 0);
        left = fitted + 32 - len;
        if (exact && left == 0 && cur + 4 <= end)
            drain_all();
        return 0;
    }
};

}  // namespace ozmu::test
