// Loop structure of the vector fill and copy routines, shared by every instruction set. An
// instruction set supplies V with 16-byte register primitives:
//   Reg; splat8(int); splat16(int);
//   copy64 / copy32 / copy16 / copy8 (dst, src)   unaligned, exactly that many bytes
//   fill64 / fill32 / fill16 / fill8 (dst, Reg)
//   prefetch(const void *)                        a hint, never faults
// and optionally: fill_stream(dst, Reg, bytes) and copy_stream(dst, src, bytes) replacing the
// step loops (the same steps, scheduled by hand), or, for runs of at least kBulkBytes,
// fill_bulk(dst, byte value, bytes), fill16_bulk(dst, 16-bit value, bytes) and
// copy_bulk(dst, src, bytes). All write exactly `bytes`.
// Every routine touches exactly the bytes the reference touches: tails are made of exact
// power-of-two pieces, never of a wider access clipped afterwards.
#pragma once
#include <cstddef>
#include <cstdint>

#include "core/mem.h"

namespace ozmu::simd {

template <class V>
struct MemKernels {
    using Reg = typename V::Reg;

    template <int N>
    static void copy_exact(uint8_t *d, const uint8_t *s)
    {
        if constexpr (N >= 64) {
            V::copy64(d, s);
            copy_exact<N - 64>(d + 64, s + 64);
        } else if constexpr (N >= 32) {
            V::copy32(d, s);
            copy_exact<N - 32>(d + 32, s + 32);
        } else if constexpr (N >= 16) {
            V::copy16(d, s);
            copy_exact<N - 16>(d + 16, s + 16);
        } else if constexpr (N >= 8) {
            V::copy8(d, s);
            copy_exact<N - 8>(d + 8, s + 8);
        } else if constexpr (N >= 4) {
            __builtin_memcpy(d, s, 4);  // a single unaligned word move, never a call
            copy_exact<N - 4>(d + 4, s + 4);
        } else if constexpr (N >= 2) {
            __builtin_memcpy(d, s, 2);
            copy_exact<N - 2>(d + 2, s + 2);
        } else if constexpr (N == 1) {
            *d = *s;
        }
    }

    // Copies n bytes, 0 <= n < 128.
    static void copy_tail(uint8_t *d, const uint8_t *s, int64_t n)
    {
        if (n & 64) {
            V::copy64(d, s);
            d += 64;
            s += 64;
        }
        if (n & 32) {
            V::copy32(d, s);
            d += 32;
            s += 32;
        }
        if (n & 16) {
            V::copy16(d, s);
            d += 16;
            s += 16;
        }
        if (n & 8) {
            V::copy8(d, s);
            d += 8;
            s += 8;
        }
        if (n & 4) {
            __builtin_memcpy(d, s, 4);
            d += 4;
            s += 4;
        }
        if (n & 2) {
            __builtin_memcpy(d, s, 2);
            d += 2;
            s += 2;
        }
        if (n & 1)
            *d = *s;
    }

    // Fills n bytes, 0 <= n < 64, starting at an offset where the pattern's phase is 0 (the
    // 16-bit pattern only ever reaches here at even offsets with even counts).
    static void fill_tail(uint8_t *p, Reg v, uint64_t pattern, int64_t n)
    {
        if (n & 32) {
            V::fill32(p, v);
            p += 32;
        }
        if (n & 16) {
            V::fill16(p, v);
            p += 16;
        }
        if (n & 8) {
            V::fill8(p, v);
            p += 8;
        }
        if (n & 4) {
            __builtin_memcpy(p, &pattern, 4);
            p += 4;
        }
        if (n & 2) {
            __builtin_memcpy(p, &pattern, 2);
            p += 2;
        }
        if (n & 1)
            *p = static_cast<uint8_t>(pattern);
    }

    static uint64_t byte_pattern(int value)
    {
        return 0x0101010101010101ull * static_cast<uint8_t>(value);
    }

    // Fills `bytes` (a positive multiple of 32) in 64-byte steps and a last 32-byte one.
    static void fill_loop(uint8_t *p, Reg v, int64_t bytes)
    {
        if constexpr (requires { V::fill_stream(p, v, bytes); }) {
            V::fill_stream(p, v, bytes);
            return;
        }
        if (bytes & 64) {
            V::fill64(p, v);
            p += 64;
        }
        for (int64_t pairs = bytes >> 7; pairs > 0; --pairs, p += 128) {
            V::fill64(p, v);
            V::fill64(p + 64, v);
        }
        if (bytes & 32)
            V::fill32(p, v);
    }

    // The same for a byte value; an instruction set may take long runs its own way (V::fill_bulk).
    static void fill_run(uint8_t *p, Reg v, int value, int64_t bytes)
    {
        if constexpr (requires { V::fill_bulk(p, value, bytes); }) {
            if (bytes >= V::kBulkBytes) {
                V::fill_bulk(p, value, bytes);
                return;
            }
        }
        fill_loop(p, v, bytes);
    }

    // Copies `bytes` (a positive multiple of 64) in 64-byte steps, prefetching the source ahead.
    static void copy_run(uint8_t *d, const uint8_t *s, int64_t bytes)
    {
        if constexpr (requires { V::copy_stream(d, s, bytes); }) {
            V::copy_stream(d, s, bytes);
            return;
        }
        if constexpr (requires { V::copy_bulk(d, s, bytes); }) {
            if (bytes >= V::kBulkBytes) {
                V::copy_bulk(d, s, bytes);
                return;
            }
        }
        const auto step = [&] {
            V::prefetch(reinterpret_cast<const void *>(reinterpret_cast<uintptr_t>(s) +
                                                       mem::kPrefetchDistance));
            V::copy64(d, s);
            d += 64;
            s += 64;
        };
        if (bytes & 64)
            step();
        for (int64_t pairs = bytes >> 7; pairs > 0; --pairs) {
            step();
            step();
        }
    }

    // 64-byte steps over a run of n bytes, the first one unconditional, the rest while at least
    // 64 bytes remain. Returns the bytes left over (negative when the run was under 64).
    static int64_t copy_steps(uint8_t *&d, const uint8_t *&s, int64_t n)
    {
        const int64_t stepped = n < 64 ? 64 : n - n % 64;
        copy_run(d, s, stepped);
        d += stepped;
        s += stepped;
        return n - stepped;
    }

    static void mset_x128(void *dst, int value, int n)
    {
        fill_run(static_cast<uint8_t *>(dst), V::splat8(value), value,
                 mem::whole_chunks_at_least_one(n, 128));
    }

    static void mset_x64(void *dst, int value, int64_t n)
    {
        if (n >= 128)
            fill_run(static_cast<uint8_t *>(dst), V::splat8(value), value, (n >> 7) * 128);
    }

    static void mset_x64a(void *dst, int value, int64_t n)
    {
        const Reg v = V::splat8(value & 0xFF);
        auto *p = static_cast<uint8_t *>(dst);
        if (n >= 64) {
            fill_run(p, v, value, n - n % 64);
            p += n - n % 64;
            n %= 64;
        }
        if (n > 0)
            fill_tail(p, v, byte_pattern(value), n);
    }

    static void mset_x32(void *dst, int value, int n)
    {
        if (n >= 32)
            fill_run(static_cast<uint8_t *>(dst), V::splat8(value), value, int64_t{n >> 5} * 32);
    }

    static void mset_x32ax4(void *dst, int value, int n)
    {
        const Reg v = V::splat8(value);
        auto *p = static_cast<uint8_t *>(dst);
        // The first 32-byte chunk is stored before the count is looked at.
        const int64_t chunks = n < 32 ? 32 : n - n % 32;
        fill_run(p, v, value, chunks);
        if (n > chunks)
            fill_tail(p + chunks, v, byte_pattern(value), n - chunks);
    }

    static void mclr_x64(void *dst, int n)
    {
        fill_run(static_cast<uint8_t *>(dst), V::splat8(0), 0,
                 mem::whole_chunks_at_least_one(n, 64));
    }

    static void mset16(void *dst, int value, int n)
    {
        const Reg v = V::splat16(value);
        const uint64_t pattern = 0x0001000100010001ull * static_cast<uint16_t>(value);
        auto *p = static_cast<uint8_t *>(dst);
        if (n <= 0) {  // the single-sample tail stores before it counts: three samples
            fill_tail(p, v, pattern, 6);
            return;
        }
        const int64_t bytes = 2 * int64_t{n};
        const int64_t chunks = bytes - bytes % 32;
        if constexpr (requires { V::fill16_bulk(p, value, chunks); }) {
            if (chunks >= V::kBulkBytes) {
                V::fill16_bulk(p, value, chunks);
                fill_tail(p + chunks, v, pattern, bytes - chunks);
                return;
            }
        }
        if (chunks)
            fill_loop(p, v, chunks);
        fill_tail(p + chunks, v, pattern, bytes - chunks);
    }

    // Picture copy of B-byte samples: 64-byte steps, then the tail. The 16-bit tail loop counts
    // bytes but moves a sample per count, so a tail of r bytes moves 2r, except a row's exact
    // 32-byte case, which is one 32-byte copy.
    template <int B>
    static void mcpy_pic(void *dst, const void *src, int dst_stride, int src_stride, int width,
                         int height)
    {
        auto *d = static_cast<uint8_t *>(dst);
        const auto *s = static_cast<const uint8_t *>(src);
        if (height <= 0)
            return;
        if (width == dst_stride && width == src_stride) {
            const int64_t left = copy_steps(d, s, B * int64_t{width} * height);
            if (left > 0)
                copy_tail(d, s, B * left);
            return;
        }
        for (int y = 0; y < height; ++y) {
            uint8_t *row_d = d + B * ptrdiff_t{dst_stride} * y;
            const uint8_t *row_s = s + B * ptrdiff_t{src_stride} * y;
            const int64_t left = copy_steps(row_d, row_s, B * int64_t{width});
            if (B == 2 && left == 32)
                V::copy32(row_d, row_s);
            else if (left > 0)
                copy_tail(row_d, row_s, B * left);
        }
    }

    template <int RowBytes, int Rows>
    static void block_loop(uint8_t *d, const uint8_t *s, ptrdiff_t dst_step, ptrdiff_t src_step,
                           int height)
    {
        for (int y = 0; y < height; y += Rows) {
            for (int r = 0; r < Rows; ++r)
                copy_exact<RowBytes>(d + dst_step * r, s + src_step * r);
            d += dst_step * Rows;
            s += src_step * Rows;
        }
    }

    // Block copy of SampleBytes-byte samples; the 16-bit wide loop drifts right row by row.
    template <int SampleBytes>
    static void mcpy_blk(void *dst, const void *src, int dst_stride, int src_stride, int width,
                         int height)
    {
        auto *d = static_cast<uint8_t *>(dst);
        const auto *s = static_cast<const uint8_t *>(src);
        const ptrdiff_t ds = ptrdiff_t{dst_stride} * SampleBytes;
        const ptrdiff_t ss = ptrdiff_t{src_stride} * SampleBytes;
        constexpr int B = SampleBytes;
        switch (width) {
        case 2: return block_loop<2 * B, 2>(d, s, ds, ss, height);
        case 4: return block_loop<4 * B, 2>(d, s, ds, ss, height);
        case 6: return block_loop<6 * B, 2>(d, s, ds, ss, height);
        case 8: return block_loop<8 * B, 2>(d, s, ds, ss, height);
        case 12: return block_loop<12 * B, 2>(d, s, ds, ss, height);
        case 16: return block_loop<16 * B, 4>(d, s, ds, ss, height);
        case 24: return block_loop<24 * B, 4>(d, s, ds, ss, height);
        case 32: return block_loop<32 * B, 4>(d, s, ds, ss, height);
        case 48: return block_loop<48 * B, 2>(d, s, ds, ss, height);
        default: {
            constexpr ptrdiff_t drift = B == 2 ? mem::kBlock16WideRowDrift : 0;
            return block_loop<64 * B, 2>(d, s, ds + drift, ss + drift, height);
        }
        }
    }
};

}  // namespace ozmu::simd

// Defines a namespace's entry points (declared in core/mem.h) over MemKernels<V>.
#define OZMU_DEFINE_MEM_KERNELS(K)                                                                 \
    void mset_x128(void *dst, int value, int n) { K::mset_x128(dst, value, n); }                   \
    void mset_x64(void *dst, int value, int64_t n) { K::mset_x64(dst, value, n); }                 \
    void mset_x64a(void *dst, int value, int64_t n) { K::mset_x64a(dst, value, n); }               \
    void mset_x32(void *dst, int value, int n) { K::mset_x32(dst, value, n); }                     \
    void mset_x32ax4(void *dst, int value, int n) { K::mset_x32ax4(dst, value, n); }               \
    void mclr_x64(void *dst, int n) { K::mclr_x64(dst, n); }                                       \
    void mset16(void *dst, int value, int n) { K::mset16(dst, value, n); }                         \
    void mcpy_pic(void *dst, const void *src, int ds, int ss, int width, int height)               \
    {                                                                                              \
        K::template mcpy_pic<1>(dst, src, ds, ss, width, height);                                  \
    }                                                                                              \
    void mcpy_pic_16(void *dst, const void *src, int ds, int ss, int width, int height)            \
    {                                                                                              \
        K::template mcpy_pic<2>(dst, src, ds, ss, width, height);                                  \
    }                                                                                              \
    void mcpy_blk(void *dst, const void *src, int ds, int ss, int width, int height)               \
    {                                                                                              \
        K::template mcpy_blk<1>(dst, src, ds, ss, width, height);                                  \
    }                                                                                              \
    void mcpy_blk_16(void *dst, const void *src, int ds, int ss, int width, int height)            \
    {                                                                                              \
        K::template mcpy_blk<2>(dst, src, ds, ss, width, height);                                  \
    }
