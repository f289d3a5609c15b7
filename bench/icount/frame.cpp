// Instructions per pixel of ozmu_convert on a 1920x1080 picture, 4:2:0 to packed RGB in BT.709
// limited range: the active (NEON) table against the portable reference table. Prints a legend;
// arm-icount prints "tag count" at each mark.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "csc/frame.h"
#include "frame_icount.h"
#include "ozmu.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;

struct Work {
    const char *name;
    int src, dst, chroma, siting;
};

const Work kWorks[] = {
    {"I420 to RGBA, fast", OZMU_PIX_I420, OZMU_PIX_RGBA, OZMU_CHROMA_FAST, OZMU_SITING_LEFT},
    {"NV12 to RGBA, fast", OZMU_PIX_NV12, OZMU_PIX_RGBA, OZMU_CHROMA_FAST, OZMU_SITING_LEFT},
    {"I420 to BGRA, fast", OZMU_PIX_I420, OZMU_PIX_BGRA, OZMU_CHROMA_FAST, OZMU_SITING_LEFT},
    {"I420 to RGBA, accurate left", OZMU_PIX_I420, OZMU_PIX_RGBA, OZMU_CHROMA_ACCURATE,
     OZMU_SITING_LEFT},
    {"I420 to RGBA, accurate centred", OZMU_PIX_I420, OZMU_PIX_RGBA, OZMU_CHROMA_ACCURATE,
     OZMU_SITING_CENTER},
    {"NV12 to RGBA, accurate left", OZMU_PIX_NV12, OZMU_PIX_RGBA, OZMU_CHROMA_ACCURATE,
     OZMU_SITING_LEFT},
};

}  // namespace

int main()
{
    const size_t luma = size_t{kWidth} * kHeight, chroma = luma / 4;
    std::vector<uint8_t> planes(luma + 2 * chroma), out(4 * luma);
    uint32_t seed = 12345;
    for (uint8_t &b : planes)
        b = static_cast<uint8_t>((seed = seed * 1103515245u + 12345u) >> 24);

    long tag = 10;
    for (const Work &w : kWorks) {
        ozmu_frame src{};
        src.format = w.src;
        src.width = kWidth;
        src.height = kHeight;
        src.plane[0] = planes.data();
        src.plane[1] = planes.data() + luma;
        src.plane[2] = planes.data() + luma + chroma;
        src.stride[0] = kWidth;
        src.stride[1] = w.src == OZMU_PIX_NV12 ? kWidth : kWidth / 2;
        src.stride[2] = kWidth / 2;
        ozmu_frame dst{};
        dst.format = w.dst;
        dst.width = kWidth;
        dst.height = kHeight;
        dst.plane[0] = out.data();
        dst.stride[0] = 4 * kWidth;
        ozmu_convert_opts opts;
        ozmu_convert_opts_init(&opts);
        opts.matrix = OZMU_MATRIX_BT709;
        opts.chroma = w.chroma;
        opts.siting = w.siting;
        if (!count_convert(src, dst, opts, w.name, luma, tag))
            return 1;
    }
    return 0;
}
