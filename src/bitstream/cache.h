// Shift and pointer helpers shared by the bit reader and writer.
#pragma once
#include <cstdint>

namespace ozmu::bitstream {

// Shift counts on the cache word are taken modulo 32: a shift by 32 is a shift by 0.
constexpr uint32_t shl(uint32_t word, int count)
{
    return word << (static_cast<unsigned>(count) & 31u);
}
constexpr uint32_t shr(uint32_t word, int count)
{
    return word >> (static_cast<unsigned>(count) & 31u);
}

// Bytes from `from` up to and including `last`, as plain integers: a drained or empty buffer
// (from past last) gives 0 or less, and a null buffer of size 0 stays well-defined.
inline intptr_t bytes_through(const uint8_t *from, const uint8_t *last)
{
    return static_cast<intptr_t>(reinterpret_cast<uintptr_t>(last) -
                                 reinterpret_cast<uintptr_t>(from)) +
           1;
}

// buf + size - 1 without forming an out-of-range pointer expression.
inline uint8_t *last_byte(uint8_t *buf, int size)
{
    return reinterpret_cast<uint8_t *>(reinterpret_cast<uintptr_t>(buf) +
                                       static_cast<uintptr_t>(static_cast<intptr_t>(size) - 1));
}

// Both records: the whole buffer ahead, an empty cache (`empty_leftbits` valid or free bits),
// the library's own callback unless the caller gives one.
template <class Record, class Callback>
void start_record(Record *bs, uint8_t *buf, int size, int empty_leftbits, Callback given,
                  Callback fallback)
{
    bs->size = size;
    bs->cur = buf;
    bs->beg = buf;
    bs->end = last_byte(buf, size);
    bs->code = 0;
    bs->leftbits = empty_leftbits;
    bs->flush_fn = given ? given : fallback;
}

}  // namespace ozmu::bitstream
