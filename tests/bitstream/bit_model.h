// Bit-level models of the bitstream reader and writer. They keep every bit as a character of a
// string ('1' or '0', most significant first) and share no shift arithmetic with the library:
// the cache word is 32 characters, the first of which is bit 31 of `code`. In the reader its
// first `leftbits` characters are the valid bits; in the writer the first 32 - `leftbits` are the
// written ones. Whatever lies after them is what a wrapped shift count left behind (normally
// zeros), and leftbits may fall below zero; the record's `code` is derived from the string.
//
// The kept quirks are modelled as such: shift counts wrap modulo 32 (so a shift by 32 moves
// nothing), the valid-bit test of the unary codes wraps at 32 valid bits, peek looks at the
// unloaded byte at cur, the writer's space tests compare against the inclusive end, a 32-bit
// write into an empty cache leaves the value in the cache, write_ue caps its prefix at 16 zeros.
// read_ue follows the same wrapped shifts, so its codes are exact up to 31 bits. A refill or a drain moves
// at most the word's 4 bytes, even where leftbits below 0 would make the byte count larger.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ozmu::test {

using Bits = std::string;

inline Bits bits_of(uint64_t v, int n)
{
    Bits b(static_cast<size_t>(n), '0');
    for (int i = 0; i < n; ++i)
        if ((v >> (n - 1 - i)) & 1)
            b[static_cast<size_t>(i)] = '1';
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

// The code number a signed Exp-Golomb value is written as: v > 0 as 2v - 1, v <= 0 as -2v.
inline uint32_t se_code_number(int32_t v)
{
    const uint32_t u = static_cast<uint32_t>(v);
    return v <= 0 ? 0u - 2u * u : 2u * u - 1u;
}

// The 32-bit cache word.
struct Word {
    Bits b = Bits(32, '0');

    uint32_t code() const { return value_of(b); }
    bool all(char c) const { return b.find(c == '0' ? '1' : '0') == Bits::npos; }
    int leading(char c) const
    {
        const size_t i = b.find(c == '0' ? '1' : '0');
        return i == Bits::npos ? 32 : static_cast<int>(i);
    }
    // `code >> (32 - n)`: the first n bits, right-aligned. A count 32 - n outside 0..31 wraps
    // modulo 32 and leaves the first ((n - 1) & 31) + 1 bits instead.
    uint32_t first(int n) const { return value_of(b.substr(0, 32 - ((32 - n) & 31))); }
    // `code <<= n`, the count taken modulo 32.
    void shift(int n)
    {
        n &= 31;
        b = b.substr(static_cast<size_t>(n)) + Bits(static_cast<size_t>(n), '0');
    }
    // ORs bits in from position `at`; whatever passes bit 0 is lost.
    void overlay(const Bits &bits, int at)
    {
        for (size_t i = 0; i < bits.size() && at + i < 32; ++i)
            if (bits[i] == '1')
                b[at + i] = '1';
    }
    void clear() { b.assign(32, '0'); }
};

struct ModelResult {
    uint32_t value = 0;
};

class BitReaderModel {
public:
    explicit BitReaderModel(std::vector<uint8_t> data) : data_(std::move(data)) {}

    uint32_t code() const { return w_.code(); }
    int leftbits() const { return left_; }
    int cur() const { return cur_; }  // bytes loaded into the cache so far

    // Default refill: up to `bytes` whole bytes, big-endian from the top, zeros below. The word
    // holds 4 (peek asks for more when leftbits is below -7).
    int flush(int bytes)
    {
        const int n = std::min({static_cast<int>(data_.size()) - cur_, bytes, 4});
        w_.clear();
        if (n <= 0) {
            left_ = 0;
            return -1;
        }
        for (int k = 0; k < n; ++k)
            w_.overlay(bits_of(data_[static_cast<size_t>(cur_ + k)], 8), 8 * k);
        left_ = 8 * n;
        cur_ += n;
        return 0;
    }

    // False when the refill fails; the bits held before it count as skipped.
    bool skip(int size)
    {
        if (left_ < size) {
            const int held = left_;
            if (flush(4) != 0)
                return false;
            size -= held;
        }
        consume(size);
        return true;
    }

    ModelResult read(int size)
    {
        uint32_t hi = 0;
        if (left_ < size) {
            hi = w_.first(size);  // the held bits, already above the place of the new ones
            const int held = left_;
            if (flush(4) != 0)
                return {0xFFFFFFFFu};
            size -= held;
        }
        const uint32_t v = w_.first(size);
        consume(size);
        return {v | hi};
    }

    ModelResult read1()
    {
        if (left_ == 0 && flush(4) != 0)
            return {0xFFFFFFFFu};
        const uint32_t bit = w_.b[0] == '1';
        shift_out(1);
        return {bit};
    }

    // Tops the cache up with whole bytes behind the held bits; bits still missing are the top of
    // the unloaded byte at cur.
    ModelResult peek(int size)
    {
        if (left_ < size) {
            const int bytes = (32 - left_) >> 3;
            if (bytes > 0) {
                const Word held = w_;
                const int held_bits = left_;
                flush(bytes);  // a failure adds no bits
                const Bits fresh = w_.b;
                w_ = held;
                w_.overlay(fresh, held_bits & 31);
                left_ += held_bits;
            }
        }
        uint32_t v = w_.first(size);
        if (size - left_ >= 1 && cur_ < static_cast<int>(data_.size())) {
            // `*cur >> (leftbits - size + 8)`: the top size - leftbits bits of the byte; when more
            // than 8 are missing the count wraps and the byte contributes nothing.
            const int drop = (left_ - size + 8) & 31;
            if (drop < 8)
                v |= value_of(bits_of(data_[static_cast<size_t>(cur_)], 8)
                                  .substr(0, static_cast<size_t>(8 - drop)));
        }
        return {v};
    }

    ModelResult skip_peek(int skip_bits, int size)
    {
        if (!skip(skip_bits))
            return {0};
        return peek(size);
    }

    void skip_align8() { shift_out(left_ & 7); }

    ModelResult read_align8(int *nbits)
    {
        const int n = left_ & 7;
        const uint32_t v = n > 0 ? w_.first(n) : 0;
        shift_out(n);
        *nbits = n;
        return {v};
    }

    ModelResult read_ue()
    {
        if (w_.b[0] == '1') {
            shift_out(1);
            return {0};
        }
        const bool zero_word = w_.all('0');
        int carried = 0;
        if (zero_word) {
            carried = left_;  // prefix zeros; they continue in the next word
            flush(4);
        }
        const int lz = w_.leading('0');  // 32 when the (new) word is zero too
        const int zeros = lz + carried;
        if (zeros == 0) {
            shift_out(1);
            return {0};
        }
        int need = lz + 1 + zeros;  // code length counted from the top of the current word
        uint32_t hi = 0;
        if (need > left_) {
            const Word held = w_;
            const int held_bits = left_;
            if (flush(4) != 0)
                return {0xFFFFFFFEu};
            // The held bits, above the place of the new ones; past 32 bits the shift wraps
            // and the value is meaningless (codes of up to 31 bits are exact).
            hi = held.first(need);
            need -= held_bits;
        }
        const uint32_t v = w_.first(need);
        consume(need);
        return {(v | hi) - 1};
    }

    ModelResult read_se()
    {
        ModelResult k = read_ue();
        const int32_t s = static_cast<int32_t>(k.value);
        k.value = static_cast<uint32_t>((k.value & 1) ? static_cast<int32_t>(k.value + 1) >> 1
                                                      : -(s >> 1));
        return k;
    }

    ModelResult read_te(int range)
    {
        if (range >= 2)
            return read_ue();
        if (range == 1)
            return {1u - read1().value};  // a failed refill reads as -1: 2
        return {0};
    }

    ModelResult read_un()
    {
        int carried = 0;
        if (!zero_in_view()) {
            carried = left_;  // counted as ones, whatever they are
            flush(4);
            if (w_.all('1')) {
                shift_out(33);
                return {static_cast<uint32_t>(32 + carried)};
            }
        }
        const int ones = w_.leading('1');
        shift_out(ones + 1);
        return {static_cast<uint32_t>(ones + carried)};
    }

    ModelResult read_tu(int max)
    {
        int carried = 0;
        if (!zero_in_view()) {
            if (left_ >= max) {
                shift_out(max);
                return {static_cast<uint32_t>(max)};
            }
            carried = left_;
            flush(4);
        }
        const int ones = w_.leading('1');
        const int total = ones + carried;
        if (total > max) {
            shift_out(max);
            return {static_cast<uint32_t>(max)};
        }
        shift_out(ones + 1);
        return {static_cast<uint32_t>(total)};
    }

private:
    // skip and read: exactly 32 bits empty the cache, other counts shift modulo 32.
    void consume(int n)
    {
        if (n == 32) {
            w_.clear();
            left_ = 0;
        } else {
            shift_out(n);
        }
    }
    void shift_out(int n)
    {
        w_.shift(n);
        left_ -= n;
    }
    // `~code >> (31 - leftbits)` is non-zero: a 0 among the valid bits or the bit after them.
    // At 32 valid bits the count wraps to 31 and only the first bit is seen.
    bool zero_in_view() const
    {
        if (left_ <= 0)
            return false;
        const int seen = 32 - ((31 - left_) & 31);
        return w_.b.substr(0, static_cast<size_t>(seen)).find('0') != Bits::npos;
    }
    bool clean() const
    {
        return left_ >= 0 && left_ <= 32 &&
               w_.b.find('1', static_cast<size_t>(left_)) == Bits::npos;
    }

    std::vector<uint8_t> data_;
    int cur_ = 0;
    Word w_;
    int left_ = 0;
};

class BitWriterModel {
public:
    // `memory` is everything the writer could reach (the buffer plus any slack after it);
    // `size` is the size the record is given.
    BitWriterModel(std::vector<uint8_t> memory, int size) : mem_(std::move(memory)), size_(size) {}

    uint32_t code() const { return w_.code(); }
    int leftbits() const { return left_; }
    int cur() const { return cur_; }
    const std::vector<uint8_t> &memory() const { return mem_; }
    // Bytes a drain would write now: those holding at least one written bit. The word has 4;
    // the count (39 - leftbits) / 8 only exceeds that once leftbits is below 0.
    int pending_bytes() const { return std::min((39 - left_) >> 3, 4); }

    // Default drain, from the top; no space test.
    int flush()
    {
        for (int i = pending_bytes(); i > 0; --i) {
            mem_.at(static_cast<size_t>(cur_++)) =
                static_cast<uint8_t>(value_of(w_.b.substr(0, 8)));
            w_.shift(8);
        }
        return 0;
    }
    int deinit() { return flush(); }

    int write(uint32_t value, int len) { return put(bits_of(value, len), false); }

    int write1(int bit)
    {
        --left_;
        if (bit & 1)
            w_.b[static_cast<size_t>(31 - (left_ & 31))] = '1';
        if (left_ > 0)
            return 0;
        if (cur_ > end())
            return -1;
        flush();
        w_.clear();
        left_ = 32;
        return 0;
    }

    // n zeros, a 1, the low n bits of value + 1; n stops at 16.
    static Bits ue_bits(uint32_t value)
    {
        const uint32_t u = value + 1;
        int n = 0;
        while (n < 16 && (u >> (n + 1)) != 0)
            ++n;
        return Bits(static_cast<size_t>(n), '0') + "1" + bits_of(u, n);
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

    int sink()
    {
        if (cur_ + pending_bytes() > end())
            return -1;
        flush();
        w_.clear();
        left_ = 32;
        return 0;
    }

private:
    int end() const { return size_ - 1; }

    // Appends up to 33 bits. A full cache needs 4 bytes before `end` to drain, or nothing but
    // the OR happens. The bits that did not fit start the new word; with `exact` false (plain
    // write, 32-bit value) the count of bits that did fit wraps at 32, so a 32-bit value into an
    // empty cache stays there whole.
    int put(const Bits &b, bool exact)
    {
        const int len = static_cast<int>(b.size());
        w_.overlay(b, (32 - left_) & 31);
        if (left_ > len) {
            left_ -= len;
            return 0;
        }
        if (cur_ + 4 > end())
            return -1;
        const int fitted = left_;
        left_ = 0;
        flush();
        w_.clear();
        w_.overlay(b.substr(static_cast<size_t>(std::clamp(exact ? fitted : fitted & 31, 0, len))),
                   0);
        left_ = fitted + 32 - len;
        // A 33-bit code can fill the new word as well; that word is drained at once too.
        if (exact && left_ == 0 && cur_ + 4 <= end()) {
            flush();
            w_.clear();
            left_ = 32;
        }
        return 0;
    }

    std::vector<uint8_t> mem_;
    int size_;
    int cur_ = 0;
    Word w_;
    int left_ = 32;
};

}  // namespace ozmu::test
