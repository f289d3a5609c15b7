// Annex-B byte streams: start-code search and emulation-prevention removal, both as a copy and
// as a bit-reader refill that works on the NAL unit in place.
#include <cstdint>
#include <cstring>

#include "bitstream/cache.h"
#include "ozmu.h"

namespace ozmu::media {
namespace {

// Index of the first 00 00 01 at or after `from`, or `size` when there is none. A third byte
// above 1 rules out a start code at any of the three positions it could belong to.
size_t find_start_code(const uint8_t *buf, size_t from, size_t size)
{
    size_t i = from;
    while (size - i > 2) {
        const uint8_t third = buf[i + 2];
        if (third > 1) {
            i += 3;
        } else if (third == 1) {
            if (buf[i] == 0 && buf[i + 1] == 0)
                return i;
            i += 3;
        } else {
            ++i;
        }
    }
    return size;
}

}  // namespace
}  // namespace ozmu::media

using ozmu::media::find_start_code;

extern "C" int ozmu_annexb_next_nal(const uint8_t *buf, size_t size, size_t *pos,
                                    ozmu_nal_unit *nal)
{
    if (pos == nullptr || nal == nullptr || (buf == nullptr && size != 0) || *pos > size)
        return OZMU_ERR_INVALID_ARG;
    const size_t from = *pos;
    if (size - from < 3)
        return 0;
    const size_t code = find_start_code(buf, from, size);
    if (code == size)
        return 0;
    const size_t payload = code + 3;
    const size_t next = find_start_code(buf, payload, size);
    size_t stop = next;
    while (stop > payload && buf[stop - 1] == 0)  // trailing_zero_8bits and the next zero_byte
        --stop;
    const bool zero_byte = code > from && buf[code - 1] == 0;
    nal->offset = zero_byte ? code - 1 : code;
    nal->start_code_size = zero_byte ? 4 : 3;
    nal->data = buf + payload;
    nal->size = stop - payload;
    *pos = stop;
    return 1;
}

extern "C" size_t ozmu_nal_to_rbsp(const uint8_t *src, size_t size, uint8_t *dst)
{
    // Counted rather than looked back at, so that dst == src works: written bytes never run
    // ahead of read ones.
    size_t written = 0;
    int zeros = 0;
    size_t i = 0;
    while (i < size) {
        // Eight bytes without a 03 go across whole (through a register, as dst may be src).
        if (size - i >= 8) {
            uint64_t word;
            std::memcpy(&word, src + i, 8);
            const uint64_t x = word ^ 0x0303030303030303ull;
            if (((x - 0x0101010101010101ull) & ~x & 0x8080808080808080ull) == 0) {
                std::memcpy(dst + written, &word, 8);
                zeros = src[i + 7] ? 0 : src[i + 6] ? 1 : 2;
                i += 8;
                written += 8;
                continue;
            }
        }
        const uint8_t byte = src[i++];
        if (zeros >= 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        dst[written++] = byte;
    }
    return written;
}

extern "C" int ozmu_bsr_refill_rbsp(ozmu_bsr *bs, int bytes)
{
    const intptr_t left = ozmu::bitstream::bytes_through(bs->cur, bs->end);
    const uint8_t *p = bs->cur;
    if (bytes > 4)
        bytes = 4;
    // Common case: four bytes without a 03 among them hold no emulation-prevention byte.
    if (bytes == 4 && left >= 4) {
        const uint32_t word =
            uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
        const uint32_t x = word ^ 0x03030303u;
        if (((x - 0x01010101u) & ~x & 0x80808080u) == 0) {
            const bool skip_next = left > 4 && (word & 0xFFFFu) == 0 && p[4] == 3;
            bs->code = word;
            bs->leftbits = 32;
            bs->cur += skip_next ? 5 : 4;
            return 0;
        }
    }
    // The zero run before cur, from the bytes already consumed. A dropped 03 ends a run, so two
    // zeros just behind cur mean the run is at least two long whatever came before them.
    const uintptr_t behind = reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(bs->beg);
    int zeros = 0;
    if (left > 0 && behind >= 1 && p[-1] == 0)
        zeros = behind >= 2 && p[-2] == 0 ? 2 : 1;
    uint32_t code = 0;
    int loaded = 0;
    intptr_t i = 0;
    for (; i < left && loaded < bytes; ++i) {
        const uint8_t byte = p[i];
        if (zeros >= 2 && byte == 3) {
            zeros = 0;
            continue;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        code |= uint32_t{byte} << (24 - 8 * loaded);
        ++loaded;
    }
    // Leave cur on a data byte: peek may take bits from *cur without loading it.
    if (zeros >= 2 && i < left && p[i] == 3)
        ++i;
    if (loaded == 0) {
        bs->code = 0;
        bs->leftbits = 0;
        return -1;
    }
    bs->code = code;
    bs->leftbits = 8 * loaded;
    bs->cur += i;
    return 0;
}
