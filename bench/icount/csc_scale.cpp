// Instructions per destination pixel of the scaling conversions, 1920x1080 4:4:4 (or planar RGB)
// to 1280x720, NEON against the portable reference. Prints a legend; arm-icount prints
// "tag count" at each mark.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "csc/scale.h"
#include "icount.h"
#include "ozmu.h"

namespace {

constexpr int kSrcW = 1920, kSrcH = 1080, kDstW = 1280, kDstH = 720;

struct Kernel {
    const char *name;
    ozmu_fn_csc neon, reference;
    int dst_cs, bytes;
};

const Kernel kKernels[] = {
    {"rsz_yuv444_to_rgba8888", ozmu::neon::rsz_yuv444_to_rgba8888,
     ozmu::ref::rsz_yuv444_to_rgba8888, OZMU_CS_RGBA8888, 4},
    {"rsz_yuv444a8_to_rgba8888", ozmu::neon::rsz_yuv444a8_to_rgba8888,
     ozmu::ref::rsz_yuv444a8_to_rgba8888, OZMU_CS_RGBA8888, 4},
    {"rsz_yuv444_to_rgb888", ozmu::neon::rsz_yuv444_to_rgb888, ozmu::ref::rsz_yuv444_to_rgb888,
     OZMU_CS_RGB888, 3},
    {"rsz_r8g8b8_to_rgb888", ozmu::neon::rsz_r8g8b8_to_rgb888, ozmu::ref::rsz_r8g8b8_to_rgb888,
     OZMU_CS_RGB888, 3},
    {"rsz_r8g8b8_to_rgba8888", ozmu::neon::rsz_r8g8b8_to_rgba8888,
     ozmu::ref::rsz_r8g8b8_to_rgba8888, OZMU_CS_RGBA8888, 4},
    {"rsz_r8g8b8a8_to_rgba8888", ozmu::neon::rsz_r8g8b8a8_to_rgba8888,
     ozmu::ref::rsz_r8g8b8a8_to_rgba8888, OZMU_CS_RGBA8888, 4},
};

}  // namespace

int main()
{
    std::vector<uint8_t> planes[4];
    uint32_t seed = 1;
    for (auto &plane : planes) {
        plane.resize(size_t{kSrcW} * kSrcH);
        for (auto &b : plane)
            b = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
    }
    std::vector<uint8_t> out(size_t{kDstW} * kDstH * 4);
    uint8_t *src[4] = {planes[0].data(), planes[1].data(), planes[2].data(), planes[3].data()};
    int src_stride[4] = {kSrcW, kSrcW, kSrcW, kSrcW};
    uint8_t *dst[4] = {out.data(), out.data(), out.data(), out.data()};

    long tag = 10;
    for (const Kernel &k : kKernels) {
        int dst_stride[4] = {kDstW * k.bytes, 0, 0, 0};
        for (int use_reference = 0; use_reference < 2; ++use_reference, tag += 2) {
            const ozmu_fn_csc fn = use_reference ? k.reference : k.neon;
            fn(src, kSrcW, kSrcH, src_stride, 0, dst, kDstW, kDstH, dst_stride, k.dst_cs);
            icount_mark(tag);
            fn(src, kSrcW, kSrcH, src_stride, 0, dst, kDstW, kDstH, dst_stride, k.dst_cs);
            icount_mark(tag + 1);
            std::printf("tags %ld..%ld: %s %s, per destination pixel = (count(%ld) - count(%ld)) "
                        "/ %d\n",
                        tag, tag + 1, use_reference ? "reference" : "neon", k.name, tag + 1, tag,
                        kDstW * kDstH);
        }
    }
    return 0;
}
