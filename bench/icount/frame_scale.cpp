// Instructions per destination pixel of ozmu_convert scaling a 1920x1080 I420 picture: to RGBA
// 1280x720 in one pass (BT.709 limited, fast and accurate chroma) and to I420 1280x720 (bilinear),
// 960x540 and 640x360 (area); the active (NEON) table against the portable reference table.
// Prints a legend; arm-icount prints "tag count" at each mark.
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
    int dst, width, height, chroma;
};

const Work kWorks[] = {
    {"I420 to RGBA 1280x720, fast", OZMU_PIX_RGBA, 1280, 720, OZMU_CHROMA_FAST},
    {"I420 to RGBA 1280x720, accurate", OZMU_PIX_RGBA, 1280, 720, OZMU_CHROMA_ACCURATE},
    {"I420 to I420 1280x720 (bilinear)", OZMU_PIX_I420, 1280, 720, OZMU_CHROMA_ACCURATE},
    {"I420 to I420 960x540 (area 2:1)", OZMU_PIX_I420, 960, 540, OZMU_CHROMA_ACCURATE},
    {"I420 to I420 640x360 (area 3:1)", OZMU_PIX_I420, 640, 360, OZMU_CHROMA_ACCURATE},
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
        src.format = OZMU_PIX_I420;
        src.width = kWidth;
        src.height = kHeight;
        src.plane[0] = planes.data();
        src.plane[1] = planes.data() + luma;
        src.plane[2] = planes.data() + luma + chroma;
        src.stride[0] = kWidth;
        src.stride[1] = src.stride[2] = kWidth / 2;
        ozmu_frame dst{};
        dst.format = w.dst;
        dst.width = w.width;
        dst.height = w.height;
        dst.plane[0] = out.data();
        if (w.dst == OZMU_PIX_RGBA) {
            dst.stride[0] = 4 * w.width;
        } else {
            const size_t y = size_t(w.width) * w.height;
            dst.plane[1] = out.data() + y;
            dst.plane[2] = out.data() + y + y / 4;
            dst.stride[0] = w.width;
            dst.stride[1] = dst.stride[2] = w.width / 2;
        }
        ozmu_convert_opts opts;
        ozmu_convert_opts_init(&opts);
        opts.matrix = OZMU_MATRIX_BT709;
        opts.chroma = w.chroma;
        const size_t pixels = size_t(w.width) * w.height;
        if (!count_convert(src, dst, opts, w.name, pixels, tag))
            return 1;
    }
    return 0;
}
