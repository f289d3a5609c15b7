// MSB-first bit reader through a 32-bit cache word. The valid bits are the top `leftbits` bits
// of `code` and everything below them is 0, which lets every decoder look at the whole word.
#include <algorithm>
#include <cstring>

#include "bitstream/cache.h"
#include "core/bits.h"
#include "ozmu.h"

namespace ozmu::bitstream {
namespace {

constexpr uint32_t kReadFailed = 0xFFFFFFFFu;
constexpr uint32_t kUeFailed = 0xFFFFFFFEu;

// Never more than the cache holds, even if a caller's negative leftbits asks for more.
constexpr int kCacheBytes = 4;

int load_bytes(ozmu_bsr *bs, int bytes)
{
    const intptr_t available = bytes_through(bs->cur, bs->end);
    // The count of bytes left is formed in 32 bits.
    int n = static_cast<int32_t>(static_cast<uint32_t>(available));
    if (n > bytes)
        n = bytes;
    if (n <= 0) {
        bs->code = 0;
        bs->leftbits = 0;
        return -1;
    }
    if (n > kCacheBytes)
        n = kCacheBytes;
    uint32_t code;
    if (n == kCacheBytes) {
        uint8_t raw[4];
        std::memcpy(raw, bs->cur, 4);
        code =
            (uint32_t{raw[0]} << 24) | (uint32_t{raw[1]} << 16) | (uint32_t{raw[2]} << 8) | raw[3];
    } else {
        code = 0;
        for (int k = 0; k < n; ++k)
            code |= uint32_t{bs->cur[k]} << (24 - 8 * k);
    }
    bs->code = code;
    bs->leftbits = 8 * n;
    bs->cur += n;
    return 0;
}

// The default refill is called directly; a caller's callback through the record.
inline int refill(ozmu_bsr *bs, int bytes = kCacheBytes)
{
    if (bs->flush_fn == &ozmu_bsr_flush)
        return load_bytes(bs, bytes);
    return bs->flush_fn(bs, bytes);
}

// Consumes `count` bits where a count of exactly 32 empties the cache.
inline void drop_bits(ozmu_bsr *bs, int count)
{
    if (count == 32) {
        bs->code = 0;
        bs->leftbits = 0;
    } else {
        bs->code = shl(bs->code, count);
        bs->leftbits -= count;
    }
}

// Consumes `count` bits with the plain modulo-32 shift (the unary decoders' rule).
inline void shift_out(ozmu_bsr *bs, int count)
{
    bs->code = shl(bs->code, count);
    bs->leftbits -= count;
}

// Out of line, so that the callers' common path saves no registers.
[[gnu::noinline]] int refill_cold(ozmu_bsr *bs) { return refill(bs); }

// Valid bits plus the first invalid one (always 1 once inverted): a 0 among the valid bits
// makes this non-zero. A full cache wraps the count to 31 and tests only its first bit.
inline bool zero_in_cache(const ozmu_bsr *bs)
{
    return bs->leftbits > 0 && shr(~bs->code, 31 - bs->leftbits) != 0;
}

// The cache is short of the bits asked for: the old bits form the high part of the value.
[[gnu::noinline]] uint32_t read_across_refill(ozmu_bsr *bs, int size)
{
    const uint32_t old = bs->code;  // old bits in place, zeros below
    const int held = bs->leftbits;
    if (refill(bs) != 0)
        return kReadFailed;
    const uint32_t high = shr(old, 32 - size);
    size -= held;
    const uint32_t value = shr(bs->code, 32 - size);
    drop_bits(bs, size);
    return value | high;
}

// A code word that needs a refill, either for its prefix (the cache word is all zeros) or for
// its suffix.
[[gnu::noinline]] uint32_t read_ue_across_refill(ozmu_bsr *bs)
{
    // A leading 1 is value 0 whatever leftbits says; an empty cache is 0, so it cannot misfire.
    if (bs->code & 0x80000000u) {
        bs->code <<= 1;
        bs->leftbits -= 1;
        return 0;
    }
    int carried = 0;  // prefix zeros taken from a cache word that held nothing else
    if (bs->code == 0) {
        carried = bs->leftbits;
        refill(bs);  // a failure shows below as a zero word and an empty cache
    }
    const int lz = ozmu::leading_zeros(bs->code);
    const int zeros = lz + carried;
    if (zeros == 0) {
        bs->code <<= 1;
        bs->leftbits -= 1;
        return 0;
    }
    int need = lz + 1 + zeros;
    uint32_t high = 0;
    if (need > bs->leftbits) {
        const uint32_t old = bs->code;
        const int held = bs->leftbits;
        if (refill(bs) != 0)
            return kUeFailed;
        high = shr(old, 32 - need);
        need -= held;
    }
    const uint32_t value = shr(bs->code, 32 - need);
    drop_bits(bs, need);
    return (value | high) - 1u;
}

}  // namespace
}  // namespace ozmu::bitstream

using namespace ozmu::bitstream;

extern "C" {

void ozmu_bsr_init(ozmu_bsr *bs, uint8_t *buf, int size, ozmu_bsr_flush_fn flush_fn)
{
    start_record(bs, buf, size, 0, flush_fn, &ozmu_bsr_flush);
}

int ozmu_bsr_flush(ozmu_bsr *bs, int bytes) { return load_bytes(bs, bytes); }

void ozmu_bsr_skip(ozmu_bsr *bs, int size)
{
    if (bs->leftbits < size) {
        const int held = bs->leftbits;
        if (refill_cold(bs) != 0)
            return;
        size -= held;
    }
    drop_bits(bs, size);
}

uint32_t ozmu_bsr_peek(ozmu_bsr *bs, int size)
{
    int held = bs->leftbits;
    if (held < size) {
        // A negative leftbits (after a read or skip past the data) would ask for 5 bytes; the
        // default refill loads at most 4 anyway, and no callback is asked for more.
        const int bytes = std::min((32 - held) >> 3, kCacheBytes);
        if (bytes > 0) {
            const uint32_t old = bs->code;
            refill(bs, bytes);  // a failure adds no bits
            bs->code = old | shr(bs->code, held);
            bs->leftbits += held;
            held = bs->leftbits;
        }
    }
    uint32_t value = shr(bs->code, 32 - size);
    // Bits the whole-byte top-up could not bring in come from the next, unloaded byte.
    if (size - held >= 1 && bytes_through(bs->cur, bs->end) > 0)
        value |= shr(*bs->cur, held - size + 8);
    return value;
}

uint32_t ozmu_bsr_skip_peek(ozmu_bsr *bs, int skip, int size)
{
    if (bs->leftbits < skip) {
        const int held = bs->leftbits;
        if (refill_cold(bs) != 0)
            return 0;
        skip -= held;
    }
    drop_bits(bs, skip);
    return ozmu_bsr_peek(bs, size);
}

uint32_t ozmu_bsr_read(ozmu_bsr *bs, int size)
{
    if (bs->leftbits >= size) [[likely]] {
        const uint32_t value = shr(bs->code, 32 - size);
        drop_bits(bs, size);
        return value;
    }
    return read_across_refill(bs, size);
}

uint32_t ozmu_bsr_read1(ozmu_bsr *bs)
{
    if (bs->leftbits == 0 && refill_cold(bs) != 0)
        return kReadFailed;
    const uint32_t bit = bs->code >> 31;
    bs->code <<= 1;
    bs->leftbits -= 1;
    return bit;
}

void ozmu_bsr_skip_align8(ozmu_bsr *bs)
{
    bs->code = shl(bs->code, bs->leftbits & 7);
    bs->leftbits &= ~7;
}

uint32_t ozmu_bsr_read_align8(ozmu_bsr *bs, int *nbits)
{
    const int n = bs->leftbits & 7;
    uint32_t value = 0;
    if (n > 0) {
        value = bs->code >> (32 - n);
        bs->code <<= n;
        bs->leftbits &= ~7;
    }
    if (nbits)
        *nbits = n;
    return value;
}

uint32_t ozmu_bsr_read_ue(ozmu_bsr *bs)
{
    // The whole code word in the cache, value 0 included: one path without data-dependent
    // branches. The length is odd, never the 32 that would empty the cache.
    const uint32_t code = bs->code;
    if (code != 0) [[likely]] {
        const int need = 2 * ozmu::leading_zeros(code) + 1;
        if (need <= bs->leftbits) [[likely]] {
            bs->code = shl(code, need);
            bs->leftbits -= need;
            return shr(code, 32 - need) - 1u;
        }
    }
    return read_ue_across_refill(bs);
}

int32_t ozmu_bsr_read_se(ozmu_bsr *bs)
{
    const uint32_t k = ozmu_bsr_read_ue(bs);
    // Signed 32-bit arithmetic, wrapping: the end-of-data code 0xFFFFFFFE (-2) gives 1.
    if (k & 1u)
        return static_cast<int32_t>(k + 1u) >> 1;
    return -(static_cast<int32_t>(k) >> 1);
}

uint32_t ozmu_bsr_read_te(ozmu_bsr *bs, int range)
{
    if (range >= 2)
        return ozmu_bsr_read_ue(bs);
    if (range == 1)
        return 1u - ozmu_bsr_read1(bs);  // a failed refill reads as -1, giving 2
    return 0;
}

uint32_t ozmu_bsr_read_un(ozmu_bsr *bs)
{
    int carried = 0;
    if (!zero_in_cache(bs)) {
        carried = bs->leftbits;
        refill(bs);
        if (~bs->code == 0) {
            bs->code <<= 1;
            bs->leftbits -= 33;
            return static_cast<uint32_t>(32 + carried);
        }
    }
    const int ones = ozmu::leading_zeros(~bs->code);
    shift_out(bs, ones + 1);
    return static_cast<uint32_t>(ones + carried);
}

uint32_t ozmu_bsr_read_tu(ozmu_bsr *bs, int max)
{
    int carried = 0;
    if (!zero_in_cache(bs)) {
        if (bs->leftbits >= max) {
            shift_out(bs, max);  // taken as max ones without looking
            return static_cast<uint32_t>(max);
        }
        carried = bs->leftbits;
        refill(bs);
    }
    const int ones = ozmu::leading_zeros(~bs->code);
    const int total = ones + carried;
    if (total > max) {
        shift_out(bs, max);
        return static_cast<uint32_t>(max);
    }
    shift_out(bs, ones + 1);
    return static_cast<uint32_t>(total);
}

}  // extern "C"
