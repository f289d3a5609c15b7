// Key-frame test. Every scanned type starts its pattern with two zero bytes, so the scans only
// visit offsets where such a pair begins; next_zero_pair finds them sixteen bytes a step, which
// makes runs of slice or SEI payload (no zero pairs, thanks to emulation prevention) cheap.
#include <bit>
#include <cstring>

#include "media/keyframe.h"
#include "ozmu.h"

namespace ozmu::media {
namespace {

constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full;
constexpr uint64_t kHigh = 0x8080808080808080ull;
constexpr uint64_t kTopByte = 0xFF00000000000000ull;

// 0x80 in every byte of w that is zero, 0 in the others. Exact: (b & 0x7F) + 0x7F never
// carries out of its byte, unlike the usual (w - 0x01..) & ~w test.
inline uint64_t zero_bytes(uint64_t w) { return ~(((w & kLow7) + kLow7) | w) & kHigh; }

// Non-zero exactly when some byte of w is zero (cheaper; which flags are set is not exact).
inline uint64_t has_zero_byte(uint64_t w) { return (w - kOnes) & ~w & kHigh; }

// The first pair of a load may lie past `last`; then none lies in range.
inline int found(int q, int last) { return q <= last ? q : -1; }

inline uint64_t load64(const uint8_t *p)
{
    uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
}

// After a candidate at p: when byte p + 2 is not zero, no pair can begin at p + 1 or p + 2.
inline int after(const uint8_t *d, int p) { return p + (d[p + 2] ? 3 : 1); }

// The picture-type rules shared by H.263 and the MPEG-4 short header, from the byte of the
// picture start code that holds the fixed PTYPE bits (h[0]) on: 1 INTRA, 0 not, or -1 for the
// extended PTYPE (source format 7).
inline int short_header_intra(const uint8_t *h)
{
    if ((h[0] & 3) != 2)
        return 0;
    if ((h[1] & 0x1C) < 0x1C)
        return (h[1] & 2) == 0;
    return -1;
}

int mpeg4(const uint8_t *d, int size)
{
    if (size < 5)
        return 0;
    const int last = size - 5;
    for (int p = 0; (p = next_zero_pair(d, p, last, size)) >= 0; p = after(d, p)) {
        const uint8_t b = d[p + 2];
        if ((b & 0xFC) == 0x80) {
            // An extended picture type is not read here: keep looking.
            if (const int intra = short_header_intra(d + p + 3); intra >= 0)
                return intra;
        } else if (b == 0x01 && d[p + 3] == 0xB6) {
            return d[p + 4] < 0x40;  // vop_coding_type 0: I-VOP
        }
    }
    return 0;
}

int h263(const uint8_t *d, int size)
{
    if (size < 7)
        return 0;
    const int last = size - 7;
    for (int p = 0; (p = next_zero_pair(d, p, last, size)) >= 0; p = after(d, p)) {
        if ((d[p + 2] & 0xFC) != 0x80)
            continue;
        const uint8_t *h = d + p;
        if (const int intra = short_header_intra(h + 3); intra >= 0)
            return intra;
        const int ufep = (h[4] & 3) << 1 | h[5] >> 7;
        if (ufep != 1)
            return (h[5] & 0x70) == 0;  // picture type code right after UFEP
        // The 18 optional-part bits come first. With the start code 7 bytes from the end this
        // reads data[size]: the one byte of documented over-read.
        return (h[7] & 0x1C) == 0;
    }
    return 0;
}

// The first 00 00 01 start code at p or later with its NAL header byte in the frame, or -1.
int next_start_code(const uint8_t *d, int p, int size)
{
    if (size < 4)
        return -1;
    for (; (p = next_zero_pair(d, p, size - 4, size)) >= 0; p = after(d, p))
        if (d[p + 2] == 1)
            return p;
    return -1;
}

int h264(const uint8_t *d, int size)
{
    for (int p = 0; (p = next_start_code(d, p, size)) >= 0; p = after(d, p)) {
        const int type = d[p + 3] & 0x1F;
        if (type == 1)
            return 0;
        if (type == 5)
            return 1;
    }
    return 0;
}

int hevc(const uint8_t *d, int size)
{
    const int p = next_start_code(d, 0, size);
    if (p < 0)
        return 0;
    const int type = (d[p + 3] >> 1) & 0x3F;
    return type == 19 || type == 20;  // IDR_W_RADL, IDR_N_LP
}

}  // namespace

int next_zero_pair(const uint8_t *d, int from, int last, int size)
{
    int p = from;
    if constexpr (std::endian::native == std::endian::little) {
        // Sixteen bytes a step. Byte k of `a` (of `b`) is zero exactly when a pair begins at
        // p + k (at p + 8 + k): OR-ing each byte with its successor leaves zero only where both
        // are. The last byte has no successor in the load, so the next step starts at p + 15.
        for (const int last_load = size - 16 < last ? size - 16 : last; p <= last_load; p += 15) {
            const uint64_t w0 = load64(d + p), w1 = load64(d + p + 8);
            const uint64_t a = w0 | w0 >> 8 | w1 << 56;
            const uint64_t b = w1 | w1 >> 8 | kTopByte;
            if (has_zero_byte(a) | has_zero_byte(b)) {
                if (const uint64_t z = zero_bytes(a))
                    return found(p + (std::countr_zero(z) >> 3), last);
                return found(p + 8 + (std::countr_zero(zero_bytes(b)) >> 3), last);
            }
        }
        // Eight bytes a step for what is left, pairs beginning at p .. p + 6.
        for (const int last_load = size - 8 < last ? size - 8 : last; p <= last_load; p += 7) {
            const uint64_t z = zero_bytes(load64(d + p));
            if (const uint64_t pairs = z & (z >> 8))
                return found(p + (std::countr_zero(pairs) >> 3), last);
        }
    }
    for (; p <= last; ++p)
        if (d[p] == 0 && d[p + 1] == 0)
            return p;
    return -1;
}

int is_vkeyfrm(int mt, const uint8_t *data, int size)
{
    switch (mt) {
    case OZMU_MT_H264: return h264(data, size);
    case OZMU_MT_HEVC: return hevc(data, size);
    case OZMU_MT_MPEG4: return mpeg4(data, size);
    case OZMU_MT_H263:
    case OZMU_MT_H263_ALT: return h263(data, size);
    // The first byte is read whatever the size: these callers always pass a payload.
    case OZMU_MT_WMV1:
    case OZMU_MT_DIV3: return data[0] < 0x40;
    case OZMU_MT_WMV2: return (data[0] & 0x80) == 0;
    case OZMU_MT_HFYU: return 1;
    default: return 0;
    }
}

}  // namespace ozmu::media

extern "C" int ozmu_is_vkeyfrm(int mt, const uint8_t *data, int size)
{
    return ozmu::media::is_vkeyfrm(mt, data, size);
}
