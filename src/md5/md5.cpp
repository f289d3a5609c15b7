// MD5 over bytes and 16-bit samples: the buffered update, the padding, and a compression
// function scheduled for a short dependency chain (see the step macros).
#include <bit>
#include <cstddef>
#include <cstring>

#include "ozmu.h"

// Callers embed the context: pin its layout.
static_assert(offsetof(ozmu_md5_ctx, state) == 0);
static_assert(offsetof(ozmu_md5_ctx, buffer) == 16);
static_assert(offsetof(ozmu_md5_ctx, count) == 80);
static_assert(sizeof(ozmu_md5_ctx) == 88);

namespace ozmu::md5 {
namespace {

constexpr bool kLittleEndian = std::endian::native == std::endian::little;

inline uint32_t load_le32(const uint8_t *p)
{
    uint32_t v;
    std::memcpy(&v, p, 4);
    if constexpr (!kLittleEndian)
        v = (v >> 24) | ((v >> 8) & 0xFF00u) | ((v << 8) & 0xFF0000u) | (v << 24);
    return v;
}

inline void store_le32(uint8_t *p, uint32_t v)
{
    const uint8_t bytes[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
    std::memcpy(p, bytes, 4);
}

// The per-step additive constants, floor(abs(sin(i + 1)) * 2^32).
constexpr uint32_t kSine[64] = {
    0xd76aa478u, 0xe8c7b756u, 0x242070dbu, 0xc1bdceeeu, 0xf57c0fafu, 0x4787c62au, 0xa8304613u,
    0xfd469501u, 0x698098d8u, 0x8b44f7afu, 0xffff5bb1u, 0x895cd7beu, 0x6b901122u, 0xfd987193u,
    0xa679438eu, 0x49b40821u, 0xf61e2562u, 0xc040b340u, 0x265e5a51u, 0xe9b6c7aau, 0xd62f105du,
    0x02441453u, 0xd8a1e681u, 0xe7d3fbc8u, 0x21e1cde6u, 0xc33707d6u, 0xf4d50d87u, 0x455a14edu,
    0xa9e3e905u, 0xfcefa3f8u, 0x676f02d9u, 0x8d2a4c8au, 0xfffa3942u, 0x8771f681u, 0x6d9d6122u,
    0xfde5380cu, 0xa4beea44u, 0x4bdecfa9u, 0xf6bb4b60u, 0xbebfbc70u, 0x289b7ec6u, 0xeaa127fau,
    0xd4ef3085u, 0x04881d05u, 0xd9d4d039u, 0xe6db99e5u, 0x1fa27cf8u, 0xc4ac5665u, 0xf4292244u,
    0x432aff97u, 0xab9423a7u, 0xfc93a039u, 0x655b59c3u, 0x8f0ccc92u, 0xffeff47du, 0x85845dd1u,
    0x6fa87e4fu, 0xfe2ce6e0u, 0xa3014314u, 0x4e0811a1u, 0xf7537e82u, 0xbd3af235u, 0x2ad7d2bbu,
    0xeb86d391u,
};

// One step is a = b + rotl(a + f(b, c, d) + x + k, s). Only b arrives late (it is the previous
// step's result), so everything that does not depend on b is summed first and the chain through
// b is kept to the fewest operations: F = d ^ (b & (c ^ d)); G as the sum of its two disjoint
// terms, c & ~d added early; H and I with c ^ d and ~d formed before b is ready.
#define OZMU_MD5_F(a, b, c, d, x, k, s)                                                            \
    a += (x) + (k);                                                                                \
    a += (d) ^ ((b) & ((c) ^ (d)));                                                                \
    a = std::rotl(a, s) + (b)
#define OZMU_MD5_G(a, b, c, d, x, k, s)                                                            \
    a += (x) + (k);                                                                                \
    a += (c) & ~(d);                                                                               \
    a += (b) & (d);                                                                                \
    a = std::rotl(a, s) + (b)
#define OZMU_MD5_H(a, b, c, d, x, k, s)                                                            \
    a += (x) + (k);                                                                                \
    a += ((c) ^ (d)) ^ (b);                                                                        \
    a = std::rotl(a, s) + (b)
#define OZMU_MD5_I(a, b, c, d, x, k, s)                                                            \
    a += (x) + (k);                                                                                \
    a += (c) ^ ((b) | ~(d));                                                                       \
    a = std::rotl(a, s) + (b)

void compress_blocks(uint32_t state[4], const uint8_t *data, size_t blocks)
{
    uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    for (; blocks; --blocks, data += 64) {
        const uint32_t *k = kSine;
#if defined(__aarch64__) && defined(__GNUC__)
        // Loaded in pairs, the constants cost half an instruction each instead of the two
        // that build an immediate.
        asm("" : "+r"(k));
#endif
        uint32_t x[16];
        for (int i = 0; i < 16; ++i)
            x[i] = load_le32(data + 4 * i);
        const uint32_t a0 = a, b0 = b, c0 = c, d0 = d;

        OZMU_MD5_F(a, b, c, d, x[0], k[0], 7);
        OZMU_MD5_F(d, a, b, c, x[1], k[1], 12);
        OZMU_MD5_F(c, d, a, b, x[2], k[2], 17);
        OZMU_MD5_F(b, c, d, a, x[3], k[3], 22);
        OZMU_MD5_F(a, b, c, d, x[4], k[4], 7);
        OZMU_MD5_F(d, a, b, c, x[5], k[5], 12);
        OZMU_MD5_F(c, d, a, b, x[6], k[6], 17);
        OZMU_MD5_F(b, c, d, a, x[7], k[7], 22);
        OZMU_MD5_F(a, b, c, d, x[8], k[8], 7);
        OZMU_MD5_F(d, a, b, c, x[9], k[9], 12);
        OZMU_MD5_F(c, d, a, b, x[10], k[10], 17);
        OZMU_MD5_F(b, c, d, a, x[11], k[11], 22);
        OZMU_MD5_F(a, b, c, d, x[12], k[12], 7);
        OZMU_MD5_F(d, a, b, c, x[13], k[13], 12);
        OZMU_MD5_F(c, d, a, b, x[14], k[14], 17);
        OZMU_MD5_F(b, c, d, a, x[15], k[15], 22);

        OZMU_MD5_G(a, b, c, d, x[1], k[16], 5);
        OZMU_MD5_G(d, a, b, c, x[6], k[17], 9);
        OZMU_MD5_G(c, d, a, b, x[11], k[18], 14);
        OZMU_MD5_G(b, c, d, a, x[0], k[19], 20);
        OZMU_MD5_G(a, b, c, d, x[5], k[20], 5);
        OZMU_MD5_G(d, a, b, c, x[10], k[21], 9);
        OZMU_MD5_G(c, d, a, b, x[15], k[22], 14);
        OZMU_MD5_G(b, c, d, a, x[4], k[23], 20);
        OZMU_MD5_G(a, b, c, d, x[9], k[24], 5);
        OZMU_MD5_G(d, a, b, c, x[14], k[25], 9);
        OZMU_MD5_G(c, d, a, b, x[3], k[26], 14);
        OZMU_MD5_G(b, c, d, a, x[8], k[27], 20);
        OZMU_MD5_G(a, b, c, d, x[13], k[28], 5);
        OZMU_MD5_G(d, a, b, c, x[2], k[29], 9);
        OZMU_MD5_G(c, d, a, b, x[7], k[30], 14);
        OZMU_MD5_G(b, c, d, a, x[12], k[31], 20);

        OZMU_MD5_H(a, b, c, d, x[5], k[32], 4);
        OZMU_MD5_H(d, a, b, c, x[8], k[33], 11);
        OZMU_MD5_H(c, d, a, b, x[11], k[34], 16);
        OZMU_MD5_H(b, c, d, a, x[14], k[35], 23);
        OZMU_MD5_H(a, b, c, d, x[1], k[36], 4);
        OZMU_MD5_H(d, a, b, c, x[4], k[37], 11);
        OZMU_MD5_H(c, d, a, b, x[7], k[38], 16);
        OZMU_MD5_H(b, c, d, a, x[10], k[39], 23);
        OZMU_MD5_H(a, b, c, d, x[13], k[40], 4);
        OZMU_MD5_H(d, a, b, c, x[0], k[41], 11);
        OZMU_MD5_H(c, d, a, b, x[3], k[42], 16);
        OZMU_MD5_H(b, c, d, a, x[6], k[43], 23);
        OZMU_MD5_H(a, b, c, d, x[9], k[44], 4);
        OZMU_MD5_H(d, a, b, c, x[12], k[45], 11);
        OZMU_MD5_H(c, d, a, b, x[15], k[46], 16);
        OZMU_MD5_H(b, c, d, a, x[2], k[47], 23);

        OZMU_MD5_I(a, b, c, d, x[0], k[48], 6);
        OZMU_MD5_I(d, a, b, c, x[7], k[49], 10);
        OZMU_MD5_I(c, d, a, b, x[14], k[50], 15);
        OZMU_MD5_I(b, c, d, a, x[5], k[51], 21);
        OZMU_MD5_I(a, b, c, d, x[12], k[52], 6);
        OZMU_MD5_I(d, a, b, c, x[3], k[53], 10);
        OZMU_MD5_I(c, d, a, b, x[10], k[54], 15);
        OZMU_MD5_I(b, c, d, a, x[1], k[55], 21);
        OZMU_MD5_I(a, b, c, d, x[8], k[56], 6);
        OZMU_MD5_I(d, a, b, c, x[15], k[57], 10);
        OZMU_MD5_I(c, d, a, b, x[6], k[58], 15);
        OZMU_MD5_I(b, c, d, a, x[13], k[59], 21);
        OZMU_MD5_I(a, b, c, d, x[4], k[60], 6);
        OZMU_MD5_I(d, a, b, c, x[11], k[61], 10);
        OZMU_MD5_I(c, d, a, b, x[2], k[62], 15);
        OZMU_MD5_I(b, c, d, a, x[9], k[63], 21);

        a += a0, b += b0, c += c0, d += d0;
    }
    state[0] = a, state[1] = b, state[2] = c, state[3] = d;
}

#undef OZMU_MD5_F
#undef OZMU_MD5_G
#undef OZMU_MD5_H
#undef OZMU_MD5_I

// The buffered update over len bytes, which the bit count records as len * 8 (a 64-bit count in
// two words; len >> 29 carries the bits that do not fit the low word's addition).
void update_bytes(ozmu_md5_ctx *ctx, const uint8_t *data, uint32_t len)
{
    const uint32_t index = (ctx->count[0] >> 3) & 63;
    const uint32_t bits = len << 3;
    ctx->count[0] += bits;
    if (ctx->count[0] < bits)
        ++ctx->count[1];
    ctx->count[1] += len >> 29;

    const uint32_t room = 64 - index;
    if (len < room) {
        if (len)
            std::memcpy(ctx->buffer + index, data, len);
        return;
    }
    std::memcpy(ctx->buffer + index, data, room);
    compress_blocks(ctx->state, ctx->buffer, 1);
    data += room;
    len -= room;
    compress_blocks(ctx->state, data, len / 64);
    data += len & ~63u;
    len &= 63;
    if (len)
        std::memcpy(ctx->buffer, data, len);
}

}  // namespace
}  // namespace ozmu::md5

using namespace ozmu::md5;

extern "C" {

ozmu_md5_ctx *ozmu_md5_init(ozmu_md5_ctx *ctx)
{
    ctx->count[0] = 0;
    ctx->state[0] = 0x67452301u;
    ctx->state[1] = 0xefcdab89u;
    ctx->state[2] = 0x98badcfeu;
    ctx->state[3] = 0x10325476u;
    return ctx;
}

void ozmu_md5_update(ozmu_md5_ctx *ctx, const uint8_t *data, unsigned len)
{
    update_bytes(ctx, data, len);
}

void ozmu_md5_update_16(ozmu_md5_ctx *ctx, const uint16_t *samples, unsigned n)
{
    if constexpr (kLittleEndian) {
        // The samples' own bytes are already in order. Pieces of 2^30 samples keep the byte
        // count within 32 bits.
        constexpr unsigned kPiece = 1u << 30;
        for (; n > kPiece; n -= kPiece, samples += kPiece)
            update_bytes(ctx, reinterpret_cast<const uint8_t *>(samples), 2 * kPiece);
        update_bytes(ctx, reinterpret_cast<const uint8_t *>(samples), 2 * n);
    } else {
        uint8_t scratch[512];
        do {
            const unsigned piece = n < 256 ? n : 256;
            for (unsigned i = 0; i < piece; ++i)
                scratch[2 * i] = uint8_t(samples[i]), scratch[2 * i + 1] = uint8_t(samples[i] >> 8);
            update_bytes(ctx, scratch, 2 * piece);
            samples += piece;
            n -= piece;
        } while (n);
    }
}

void ozmu_md5_finish(ozmu_md5_ctx *ctx, uint8_t digest[16])
{
    uint32_t index = (ctx->count[0] >> 3) & 63;
    ctx->buffer[index++] = 0x80;
    if (index > 56) {
        std::memset(ctx->buffer + index, 0, 64 - index);
        compress_blocks(ctx->state, ctx->buffer, 1);
        index = 0;
    }
    std::memset(ctx->buffer + index, 0, 56 - index);
    store_le32(ctx->buffer + 56, ctx->count[0]);
    store_le32(ctx->buffer + 60, ctx->count[1]);
    compress_blocks(ctx->state, ctx->buffer, 1);
    for (int i = 0; i < 4; ++i)
        store_le32(digest + 4 * i, ctx->state[i]);
    std::memset(ctx, 0, sizeof *ctx);
}

void ozmu_md5_trans(uint32_t state[4], const uint32_t block[16])
{
    if constexpr (kLittleEndian) {
        compress_blocks(state, reinterpret_cast<const uint8_t *>(block), 1);
    } else {
        uint8_t bytes[64];
        for (int i = 0; i < 16; ++i)
            store_le32(bytes + 4 * i, block[i]);
        compress_blocks(state, bytes, 1);
    }
}

}  // extern "C"
