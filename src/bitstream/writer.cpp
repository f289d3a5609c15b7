// MSB-first bit writer through a 32-bit cache word, drained a whole word at a time. The space
// tests compare against the buffer's inclusive last byte.
#include <bit>

#include "bitstream/cache.h"
#include "core/bits.h"
#include "ozmu.h"

namespace ozmu::bitstream {
namespace {

// The cache has 4 bytes; a caller's negative leftbits must not make the drain write a fifth.
constexpr int kCacheBytes = 4;

// Cache bytes holding at least one written bit.
inline int pending_bytes(int leftbits) { return (39 - leftbits) >> 3; }

void store_bytes(ozmu_bsw *bs)
{
    int n = pending_bytes(bs->leftbits);
    if (n > kCacheBytes)
        n = kCacheBytes;
    uint32_t code = bs->code;
    for (int k = 0; k < n; ++k) {
        *bs->cur++ = static_cast<uint8_t>(code >> 24);
        code <<= 8;
    }
    bs->code = code;
}

// A caller's drain works its count out from leftbits, which write1 takes below 0 once the cache
// is overfull: that would ask for 5 bytes or more. The callback sees leftbits 0 instead, a whole
// word of 4 bytes, exactly what the default drain writes from either state. Unless the callback
// set leftbits itself, the record gets its own value back (deinit resets nothing).
inline int drain(ozmu_bsw *bs)
{
    if (bs->flush_fn == &ozmu_bsw_flush) {
        store_bytes(bs);
        return 0;
    }
    const int left = bs->leftbits;
    if (left >= 0)
        return bs->flush_fn(bs);
    bs->leftbits = 0;
    const int result = bs->flush_fn(bs);
    if (bs->leftbits == 0)
        bs->leftbits = left;
    return result;
}

// Room for a whole-word drain: cur + 4 <= end.
inline bool room_for_word(const ozmu_bsw *bs)
{
    return bytes_through(bs->cur, bs->end) > kCacheBytes;
}

// The bits fill the cache: drain it and start the next word with what is left of them.
[[gnu::noinline]] int put_bits_draining(ozmu_bsw *bs, uint32_t aligned, int len)
{
    const int free_bits = bs->leftbits;
    if (!room_for_word(bs))
        return -1;  // the ORed bits stay, leftbits unchanged
    bs->leftbits = 0;
    drain(bs);
    bs->code = shl(aligned, free_bits);
    bs->leftbits = free_bits + 32 - len;
    return 0;
}

inline int put_bits(ozmu_bsw *bs, uint32_t value, int len)
{
    const uint32_t aligned = shl(value, 32 - len);  // bits above len fall away
    const int free_bits = bs->leftbits;
    bs->code |= shr(aligned, 32 - free_bits);
    if (free_bits > len) [[likely]] {
        bs->leftbits = free_bits - len;
        return 0;
    }
    return put_bits_draining(bs, aligned, len);
}

// The one 33-bit code (a prefix of 16 zeros) written as a single write would be: the same
// space test, and nothing more changes when it fails.
void put_33_bits(ozmu_bsw *bs, uint64_t value)
{
    const int free_bits = bs->leftbits;
    if (free_bits >= 1 && free_bits <= 32)
        bs->code |= static_cast<uint32_t>(value >> (33 - free_bits));
    if (!room_for_word(bs))
        return;
    bs->leftbits = 0;
    drain(bs);
    // What is left (1..32 bits for a sane cache) goes to the top of the new word.
    const int rest = free_bits >= 1 && free_bits <= 32 ? 33 - free_bits : 32;
    bs->code = static_cast<uint32_t>((value << (64 - rest)) >> 32);
    bs->leftbits = 32 - rest;
    // With one free bit the rest fills the new word: drain it at once, as any full word.
    if (rest == 32 && room_for_word(bs)) {
        drain(bs);
        bs->code = 0;
        bs->leftbits = 32;
    }
}

inline void put_ue(ozmu_bsw *bs, uint32_t value)
{
    const uint32_t u = value + 1u;
    // Up to 31 bits: n zeros, then u itself, whose top set bit is bit n.
    if (value < 65535u) [[likely]] {
        put_bits(bs, u, 2 * (31 - std::countl_zero(u)) + 1);
        return;
    }
    // Position of the highest set bit of u, capped at 16.
    int n = u > 1u ? 31 - std::countl_zero(u) : 0;
    if (n > 16)
        n = 16;
    const uint32_t codeword = (u & ((1u << n) - 1u)) | (1u << n);
    if (n < 16)
        put_bits(bs, codeword, 2 * n + 1);
    else
        put_33_bits(bs, codeword);
}

inline int put_bit(ozmu_bsw *bs, int bit)
{
    bs->leftbits -= 1;
    bs->code |= shl(static_cast<uint32_t>(bit) & 1u, bs->leftbits);
    if (bs->leftbits > 0)
        return 0;
    if (bytes_through(bs->cur, bs->end) <= 0)
        return -1;  // looser than put_bits: any byte left allows a 4-byte drain
    drain(bs);
    bs->code = 0;
    bs->leftbits = 32;
    return 0;
}

inline uint32_t se_code_number(int value)
{
    const uint32_t v = static_cast<uint32_t>(value);
    return value <= 0 ? 0u - 2u * v : 2u * v - 1u;
}

// Exact for every index the 256-entry table covers and beyond it; value + 1 wraps for
// 0xFFFFFFFF.
inline int ue_length(uint32_t value)
{
    if (value < 255u)
        return ozmu::kExpGolombLengths[value + 1u];
    const uint32_t high = (value + 1u) >> 8;
    if (high < 256u)
        return ozmu::kExpGolombLengths[high] + 16;
    return 2 * (31 - ozmu::leading_zeros(high)) + 1 + 16;
}

}  // namespace
}  // namespace ozmu::bitstream

using namespace ozmu::bitstream;

extern "C" {

void ozmu_bsw_init(ozmu_bsw *bs, uint8_t *buf, int size, ozmu_bsw_flush_fn flush_fn)
{
    start_record(bs, buf, size, 32, flush_fn, &ozmu_bsw_flush);
}

int ozmu_bsw_flush(ozmu_bsw *bs)
{
    store_bytes(bs);
    return 0;
}

int ozmu_bsw_deinit(ozmu_bsw *bs) { return drain(bs); }

int ozmu_bsw_write(ozmu_bsw *bs, uint32_t value, int len) { return put_bits(bs, value, len); }

int ozmu_bsw_write1(ozmu_bsw *bs, int bit) { return put_bit(bs, bit); }

void ozmu_bsw_write_ue(ozmu_bsw *bs, uint32_t value) { put_ue(bs, value); }

void ozmu_bsw_write_se(ozmu_bsw *bs, int value) { put_ue(bs, se_code_number(value)); }

void ozmu_bsw_write_te(ozmu_bsw *bs, uint32_t value, int range)
{
    if (range == 1)
        put_bit(bs, static_cast<int>((1u - value) & 1u));
    else if (range >= 2)
        put_ue(bs, value);
}

int ozmu_bsw_sink(ozmu_bsw *bs)
{
    if (bytes_through(bs->cur, bs->end) <= pending_bytes(bs->leftbits))
        return -1;  // the last pending byte may not be `end` itself
    drain(bs);
    bs->code = 0;
    bs->leftbits = 32;
    return 0;
}

int ozmu_bsw_size_ue(uint32_t value) { return ue_length(value); }

int ozmu_bsw_size_se(int value) { return ue_length(se_code_number(value)); }

}  // extern "C"
