// Instructions per call and per pixel of the vector SAD, SSD and difference kernels over a 1080p
// frame of block positions: every w x h block of a 1920x1080 frame (stride 1920) against the
// block two rows down and three columns right (differences written to a third frame at the
// first block's place), NEON against the scalar reference.
//
// Each kernel's loop is also run with an empty kernel of the same signature (a bare return, not
// inlined), so that (kernel - empty) / calls is the kernel's own count: the loop, the call and
// the return are left out. Prints a legend; arm-icount prints "tag count" at each mark.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>
#include <vector>

#include "block_frames.h"
#include "icount.h"
#include "metric/metric.h"

namespace {

using namespace ozmu::icount;

// The operands, and the difference frames the NEON and the reference write.
struct Frames : BlockFrames {
    std::vector<int16_t> out[2] = {std::vector<int16_t>(kSize), std::vector<int16_t>(kSize)};
};

// The four kernel shapes, and an empty kernel of each.
template <class A, class B>
using Sad = int (*)(const A *, const B *, int, int);
template <class T>
using GenericSad = int (*)(int, int, const T *, const T *, int, int);
template <class A, class B>
using Diff = void (*)(const A *, const B *, int, int, int, int16_t *);
template <class T>
using GenericDiff = void (*)(int, int, const T *, const T *, int, int, int, int16_t *);

template <class R, class... Args>
__attribute__((noinline)) R empty_kernel(Args...)
{
    asm volatile("");
    if constexpr (!std::is_void_v<R>)
        return 0;
}
template <class R, class... Args>
constexpr auto empty_like(R (*)(Args...))
{
    return &empty_kernel<R, Args...>;
}

// One call at block position (x, y); returns the SAD or 0.
template <class A, class B>
uint32_t call(Sad<A, B> k, int, int, const A *a, const B *b, int16_t *)
{
    return static_cast<uint32_t>(k(a, b, kStride, kStride));
}
template <class T>
uint32_t call(GenericSad<T> k, int w, int h, const T *a, const T *b, int16_t *)
{
    return static_cast<uint32_t>(k(w, h, a, b, kStride, kStride));
}
template <class A, class B>
uint32_t call(Diff<A, B> k, int, int, const A *a, const B *b, int16_t *out)
{
    k(a, b, kStride, kStride, kStride, out);
    return 0;
}
template <class T>
uint32_t call(GenericDiff<T> k, int w, int h, const T *a, const T *b, int16_t *out)
{
    k(w, h, a, b, kStride, kStride, kStride, out);
    return 0;
}

// Calls the kernel at every w x h block position; returns a checksum of the results.
template <class Kernel, class A, class B>
__attribute__((noinline)) uint32_t over_frame(Kernel kernel, int w, int h, const A *a, const B *b,
                                              int16_t *out)
{
    uint32_t checksum = 0;
    for (int y = 0; y + h <= kH; y += h) {
        const ptrdiff_t row = ptrdiff_t{y} * kStride;
        for (ptrdiff_t x = 0; x != kW / w * w; x += w)
            checksum += call(kernel, w, h, a + row + x, b + row + kShift + x, out + row + x);
    }
    return checksum;
}

long next_tag = 10;

// Counts NEON, reference and the empty kernel over the frame (tags t, t + 1; t + 2, t + 3;
// t + 4, t + 5) and prints the legend line.
template <class Kernel, class A, class B>
void measure(const char *name, Kernel neon, Kernel ref, int w, int h, const A *a, const B *b,
             Frames &f)
{
    const Kernel kernels[3] = {neon, ref, empty_like(neon)};
    uint32_t sums[3];
    const long tag = next_tag;
    next_tag += 10;
    for (int i = 0; i < 3; ++i) {
        volatile Kernel chosen = kernels[i];  // no constant propagation of the kernel
        int16_t *out = f.out[i == 0 ? 0 : 1].data();
        over_frame(chosen, w, h, a, b, out);  // warm the code and the pages
        icount_mark(tag + 2 * i);
        sums[i] = over_frame(chosen, w, h, a, b, out);
        icount_mark(tag + 2 * i + 1);
        if (i == 1)
            sums[1] += std::memcmp(f.out[0].data(), f.out[1].data(), f.out[0].size() * 2) != 0;
    }
    const int calls = kW / w * (kH / h);
    std::printf("tags %ld..%ld neon, %ld..%ld ref, %ld..%ld empty: %-13s %dx%d, %d calls, "
                "%d pixels%s\n",
                tag, tag + 1, tag + 2, tag + 3, tag + 4, tag + 5, name, w, h, calls, calls * w * h,
                sums[0] == sums[1] ? "" : "  RESULTS DIFFER");
}

}  // namespace

int main()
{
    static Frames f;
    const uint8_t *u8 = f.u8[0].data(), *u8b = f.u8[1].data();
    const int16_t *s16 = f.s16[0].data(), *s16b = f.s16[1].data();

    std::printf("Own instructions per call = ((count(t + 1) - count(t)) - (count(t + 5) - "
                "count(t + 4))) / calls, NEON; tags t + 2, t + 3 for the reference.\n");
#define OZMU_ICOUNT(name, fn, w, h, a, b)                                                          \
    measure(name, ozmu::neon::fn, ozmu::ref::fn, w, h, a, b, f);
#define OZMU_ICOUNT_SAD(w, h) OZMU_ICOUNT("sad" #w "x" #h, sad##w##x##h, w, h, u8, u8b)
#define OZMU_ICOUNT_SAD16(w, h)                                                                    \
    OZMU_ICOUNT("sad" #w "x" #h "_16", sad##w##x##h##_16, w, h, s16, s16b)
#define OZMU_ICOUNT_SAD_BI(w, h)                                                                   \
    OZMU_ICOUNT("sad" #w "x" #h "_bi", sad##w##x##h##_bi, w, h, s16, u8b)
#define OZMU_ICOUNT_DIFF(w, h) OZMU_ICOUNT("diff" #w "x" #h, diff##w##x##h, w, h, u8, u8b)
#define OZMU_ICOUNT_DIFF16(w, h)                                                                   \
    OZMU_ICOUNT("diff" #w "x" #h "_16", diff##w##x##h##_16, w, h, s16, s16b)
    OZMU_METRIC_SMALL_SIZES(OZMU_ICOUNT_SAD)
    OZMU_METRIC_BI_SIZES(OZMU_ICOUNT_SAD)
    OZMU_METRIC_SMALL_SIZES(OZMU_ICOUNT_SAD16)
    OZMU_METRIC_BI_SIZES(OZMU_ICOUNT_SAD16)
    OZMU_METRIC_BI_SIZES(OZMU_ICOUNT_SAD_BI)
    OZMU_METRIC_SMALL_SIZES(OZMU_ICOUNT_DIFF)
    OZMU_METRIC_BI_SIZES(OZMU_ICOUNT_DIFF)
    OZMU_METRIC_SMALL_SIZES(OZMU_ICOUNT_DIFF16)
    OZMU_METRIC_BI_SIZES(OZMU_ICOUNT_DIFF16)
    OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_ICOUNT_DIFF16)
    OZMU_ICOUNT("diff4x4_bi", diff4x4_bi, 4, 4, s16, u8b)
    for (int size : {8, 16, 64}) {
        OZMU_ICOUNT("sad", sad, size, size, u8, u8b)
        OZMU_ICOUNT("sad_16", sad_16, size, size, s16, s16b)
        OZMU_ICOUNT("ssd", ssd, size, size, u8, u8b)
        OZMU_ICOUNT("ssd_16", ssd_16, size, size, s16, s16b)
        OZMU_ICOUNT("diff", diff, size, size, u8, u8b)
        OZMU_ICOUNT("diff_16", diff_16, size, size, s16, s16b)
    }
    return 0;
}
