// Instructions per call and per pixel of the Hadamard and SATD kernels over a 1080p frame of
// block positions: every w x h block of a 1920x1080 frame (stride 1920) against the block two
// rows down and three columns right, NEON against the scalar reference. The same loop calling an
// empty kernel of the same signature is counted too: subtracting it leaves the kernel's own
// instructions (the call and return included in the loop's share). The Hadamard cost takes the
// frame of 16-bit samples as consecutive 16-value blocks.
// Prints a legend; arm-icount prints "tag count" at each mark.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "block_frames.h"
#include "icount.h"
#include "metric/metric.h"
#include "ozmu.h"

#if defined(__clang__)
#define OZMU_SAME_BODY __attribute__((noinline))
#else
#define OZMU_SAME_BODY __attribute__((noipa))
#endif

namespace {

using namespace ozmu::icount;
using Frames = BlockFrames;

using Transform = int (*)(const int16_t *);
template <class A, class B>
using Fixed = int (*)(const A *, const B *, int, int);
template <class T>
using Generic = int (*)(int, int, const T *, const T *, int, int);

// Kernels that do nothing but return (whatever w0 holds): the loop's own cost.
template <class T>
T unset()
{
    T r;
    asm volatile("" : "=r"(r));
    return r;
}
OZMU_SAME_BODY int empty(const int16_t *) { return unset<int>(); }
template <class A, class B>
OZMU_SAME_BODY int empty(const A *, const B *, int, int)
{
    return unset<int>();
}
template <class T>
OZMU_SAME_BODY int empty(int, int, const T *, const T *, int, int)
{
    return unset<int>();
}

// Each loop calls the kernel at every block position and returns a checksum of the results.
// One body per signature (no clone per kernel), so the empty kernel's count is the loop's.
OZMU_SAME_BODY uint32_t over_frame(Transform kernel, int w, int h, const int16_t *a,
                                   const int16_t *)
{
    uint32_t checksum = 0;
    const int16_t *end = a + ptrdiff_t{kW / w * w} * (kH / h * h);
    for (; a != end; a += 16)
        checksum += static_cast<uint32_t>(kernel(a));
    return checksum;
}

template <class A, class B>
OZMU_SAME_BODY uint32_t over_frame(Fixed<A, B> kernel, int w, int h, const A *a, const B *b)
{
    uint32_t checksum = 0;
    for (int y = 0; y + h <= kH; y += h) {
        const A *row_a = a + ptrdiff_t{y} * kStride;
        const B *row_b = b + ptrdiff_t{y} * kStride + kShift;
        for (ptrdiff_t x = 0; x != kW / w * w; x += w)
            checksum += static_cast<uint32_t>(kernel(row_a + x, row_b + x, kStride, kStride));
    }
    return checksum;
}

template <class T>
OZMU_SAME_BODY uint32_t over_frame(Generic<T> kernel, int w, int h, const T *a, const T *b)
{
    uint32_t checksum = 0;
    for (int y = 0; y + h <= kH; y += h) {
        const T *row_a = a + ptrdiff_t{y} * kStride;
        const T *row_b = b + ptrdiff_t{y} * kStride + kShift;
        for (ptrdiff_t x = 0; x != kW / w * w; x += w)
            checksum += static_cast<uint32_t>(kernel(w, h, row_a + x, row_b + x, kStride, kStride));
    }
    return checksum;
}

long next_tag = 10;

// Counts NEON, reference and the empty kernel over the frame (tags t .. t + 5: a start and an
// end each) and prints the legend.
template <class Kernel, class A, class B>
void measure(const char *name, Kernel neon, Kernel ref, int w, int h, const A *a, const B *b)
{
    uint32_t sums[3];
    const long tag = next_tag;
    next_tag += 10;
    const Kernel kernels[3] = {neon, ref, empty};
    for (int i = 0; i < 3; ++i) {
        over_frame(kernels[i], w, h, a, b);  // warm the code and the pages
        icount_mark(tag + 2 * i);
        sums[i] = over_frame(kernels[i], w, h, a, b);
        icount_mark(tag + 2 * i + 1);
    }
    const int calls = kW / w * (kH / h);
    std::printf("tags %ld neon, %ld ref, %ld loop: %-14s %dx%d %d calls %d pixels%s\n", tag,
                tag + 2, tag + 4, name, w, h, calls, calls * w * h,
                sums[0] == sums[1] ? "" : "  RESULTS DIFFER");
}

}  // namespace

int main()
{
    static const Frames f;
    const uint8_t *u8 = f.u8[0].data(), *u8b = f.u8[1].data();
    const int16_t *s16 = f.s16[0].data(), *s16b = f.s16[1].data();

    std::printf("Per call = (count(t + 1) - count(t) - (count(loop + 1) - count(loop))) / calls,\n"
                "per pixel = the same / pixels.\n");
    namespace neon = ozmu::neon;
    namespace ref = ozmu::ref;
    measure("hadamard4x4", neon::hadamard4x4, ref::hadamard4x4, 4, 4, s16, s16b);
    measure("satd4x4", neon::satd4x4, ref::satd4x4, 4, 4, u8, u8b);
    measure("satd4x4_bi", neon::satd4x4_bi, ref::satd4x4_bi, 4, 4, s16, u8b);
    measure("satd4x4_16", neon::satd4x4_16, ref::satd4x4_16, 4, 4, s16, s16b);
    measure("satd8x8", neon::satd8x8, ref::satd8x8, 8, 8, u8, u8b);
    measure("satd8x8_16", neon::satd8x8_16, ref::satd8x8_16, 8, 8, s16, s16b);
    measure("satd8x8_bi", neon::satd8x8_bi, ref::satd8x8_bi, 8, 8, s16, u8b);
    measure("satd8x8_bi_16", neon::satd8x8_bi_16, ref::satd8x8_bi_16, 8, 8, s16, s16b);
    for (int size : {16, 64}) {
        measure("satd", neon::satd, ref::satd, size, size, u8, u8b);
        measure("satd_16", neon::satd_16, ref::satd_16, size, size, s16, s16b);
    }
    return 0;
}
