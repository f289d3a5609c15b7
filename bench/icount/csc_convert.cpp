// Instructions per pixel of the vector conversions to RGB on a 1920x1080 picture, the exported
// (NEON) kernel against the portable reference. Prints a legend; arm-icount prints "tag count"
// at each mark.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "csc/to_rgb_vector.h"
#include "icount.h"
#include "ozmu.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

using Kernel = void (*)(uint8_t *[4], int, int, int[4], int, uint8_t *[4], int, int, int[4], int);

struct Member {
    const char *name;
    Kernel vector, reference;
    int dst_cs, dst_bytes;
};

const Member kMembers[] = {
    {"r8g8b8_to_rgb888", ozmu_csc_r8g8b8_to_rgb888, ozmu::ref::r8g8b8_to_rgb888, 400, 3},
    {"r8g8b8_to_rgba8888", ozmu_csc_r8g8b8_to_rgba8888, ozmu::ref::r8g8b8_to_rgba8888, 500, 4},
    {"r8g8b8a8_to_rgba8888", ozmu_csc_r8g8b8a8_to_rgba8888, ozmu::ref::r8g8b8a8_to_rgba8888, 500,
     4},
    {"yuv444_to_rgb888", ozmu_csc_yuv444_to_rgb888, ozmu::ref::yuv444_to_rgb888, 400, 3},
    {"yuv444_to_rgba8888", ozmu_csc_yuv444_to_rgba8888, ozmu::ref::yuv444_to_rgba8888, 500, 4},
    {"yuv444a8_to_rgba8888", ozmu_csc_yuv444a8_to_rgba8888, ozmu::ref::yuv444a8_to_rgba8888, 500,
     4},
};

}  // namespace

int main()
{
    const size_t plane = size_t{kWidth} * kHeight;
    std::vector<uint8_t> planes(4 * plane), out(4 * plane);
    uint32_t seed = 12345;
    for (uint8_t &b : planes)
        b = static_cast<uint8_t>((seed = seed * 1103515245u + 12345u) >> 24);
    uint8_t *src[4] = {&planes[0], &planes[plane], &planes[2 * plane], &planes[3 * plane]};

    long tag = 10;
    for (const Member &m : kMembers) {
        int src_stride[4] = {kWidth, kWidth, kWidth, kWidth};
        int dst_stride[4] = {kWidth * m.dst_bytes, 0, 0, 0};
        uint8_t *dst[4] = {out.data(), nullptr, nullptr, nullptr};
        for (Kernel k : {m.vector, m.reference}) {
            const auto run = [&] {
                k(src, kWidth, kHeight, src_stride, 0, dst, kWidth, kHeight, dst_stride, m.dst_cs);
            };
            run();  // warm the code and the pages
            icount_mark(tag);
            run();
            icount_mark(tag + 1);
            std::printf("tags %ld..%ld: %s %s, per pixel = (count(%ld) - count(%ld)) / %zu\n", tag,
                        tag + 1, k == m.vector ? "ozmu_csc" : "reference", m.name, tag + 1, tag,
                        plane);
            tag += 2;
        }
    }
    return 0;
}
