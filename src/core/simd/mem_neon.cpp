// NEON fill and copy: four-register 64-byte steps (ld1/st1 of four q registers).
#include <arm_neon.h>

#include "core/mem.h"
#include "core/simd/mem_kernels.h"

namespace ozmu::neon {
namespace {

struct Neon {
    using Reg = uint8x16_t;

    static Reg splat8(int value) { return vdupq_n_u8(static_cast<uint8_t>(value)); }
    static Reg splat16(int value)
    {
        return vreinterpretq_u8_u16(vdupq_n_u16(static_cast<uint16_t>(value)));
    }

    static void copy64(uint8_t *d, const uint8_t *s) { vst1q_u8_x4(d, vld1q_u8_x4(s)); }
    static void copy32(uint8_t *d, const uint8_t *s) { vst1q_u8_x2(d, vld1q_u8_x2(s)); }
    static void copy16(uint8_t *d, const uint8_t *s) { vst1q_u8(d, vld1q_u8(s)); }
    static void copy8(uint8_t *d, const uint8_t *s) { vst1_u8(d, vld1_u8(s)); }

    // The register groups are built first: with clang the store intrinsics are macros, and a
    // braced initializer's commas would split their arguments.
    static void fill64(uint8_t *p, Reg v)
    {
        const uint8x16x4_t group = {{v, v, v, v}};
        vst1q_u8_x4(p, group);
    }
    static void fill32(uint8_t *p, Reg v)
    {
        const uint8x16x2_t group = {{v, v}};
        vst1q_u8_x2(p, group);
    }
    static void fill16(uint8_t *p, Reg v) { vst1q_u8(p, v); }
    static void fill8(uint8_t *p, Reg v) { vst1_u8(p, vget_low_u8(v)); }

    static void prefetch(const void *p) { __builtin_prefetch(p); }

    // The long loops are scheduled by hand: the compiler re-copies the fill value into the four
    // store registers on every step and splits the post-increments into separate adds.

    // bytes: a positive multiple of 32. Two 64-byte steps per turn, then a 64 and a 32.
    static void fill_stream(uint8_t *p, Reg v, int64_t bytes)
    {
        int64_t pairs = bytes >> 7;
        asm volatile("mov v16.16b, %[v].16b\n\t"
                     "mov v17.16b, %[v].16b\n\t"
                     "mov v18.16b, %[v].16b\n\t"
                     "mov v19.16b, %[v].16b\n\t"
                     "cbz %[pairs], 2f\n"
                     "1:\n\t"
                     "st1 {v16.16b-v19.16b}, [%[p]], #64\n\t"
                     "st1 {v16.16b-v19.16b}, [%[p]], #64\n\t"
                     "subs %[pairs], %[pairs], #1\n\t"
                     "b.ne 1b\n"
                     "2:\n\t"
                     "tbz %[bytes], #6, 3f\n\t"
                     "st1 {v16.16b-v19.16b}, [%[p]], #64\n"
                     "3:\n\t"
                     "tbz %[bytes], #5, 4f\n\t"
                     "st1 {v16.16b-v17.16b}, [%[p]], #32\n"
                     "4:"
                     : [p] "+r"(p), [pairs] "+r"(pairs)
                     : [v] "w"(v), [bytes] "r"(bytes)
                     : "v16", "v17", "v18", "v19", "cc", "memory");
    }

    // bytes: a positive multiple of 64. Every 64-byte step prefetches the source ahead.
    static void copy_stream(uint8_t *d, const uint8_t *s, int64_t bytes)
    {
        int64_t pairs = bytes >> 7;
        asm volatile("tbz %[bytes], #6, 1f\n\t"
                     "prfm pldl1keep, [%[s], %[ahead]]\n\t"
                     "ld1 {v16.16b-v19.16b}, [%[s]], #64\n\t"
                     "st1 {v16.16b-v19.16b}, [%[d]], #64\n"
                     "1:\n\t"
                     "cbz %[pairs], 3f\n"
                     "2:\n\t"
                     "prfm pldl1keep, [%[s], %[ahead]]\n\t"
                     "ld1 {v16.16b-v19.16b}, [%[s]], #64\n\t"
                     "prfm pldl1keep, [%[s], %[ahead]]\n\t"
                     "ld1 {v20.16b-v23.16b}, [%[s]], #64\n\t"
                     "st1 {v16.16b-v19.16b}, [%[d]], #64\n\t"
                     "subs %[pairs], %[pairs], #1\n\t"
                     "st1 {v20.16b-v23.16b}, [%[d]], #64\n\t"
                     "b.ne 2b\n"
                     "3:"
                     : [d] "+r"(d), [s] "+r"(s), [pairs] "+r"(pairs)
                     : [bytes] "r"(bytes), [ahead] "i"(mem::kPrefetchDistance)
                     : "v16", "v17", "v18", "v19", "v20", "v21", "v22", "v23", "cc", "memory");
    }
};

using K = simd::MemKernels<Neon>;

}  // namespace

OZMU_DEFINE_MEM_KERNELS(K)

}  // namespace ozmu::neon
