// Instructions per pixel of ozmu_convert on a 1920x1080 picture for the encoder-side and 10-bit
// works: RGBA / BGRA to I420 and NV12 (BT.601 limited, centred and left siting) and P010 to RGBA
// (BT.709 limited, fast and accurate chroma), the active (NEON) table against the portable
// reference table. Prints a legend; arm-icount prints "tag count" at each mark.
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
    {"RGBA to I420, centred", OZMU_PIX_RGBA, OZMU_PIX_I420, OZMU_CHROMA_FAST, OZMU_SITING_CENTER},
    {"RGBA to I420, left", OZMU_PIX_RGBA, OZMU_PIX_I420, OZMU_CHROMA_FAST, OZMU_SITING_LEFT},
    {"BGRA to NV12, centred", OZMU_PIX_BGRA, OZMU_PIX_NV12, OZMU_CHROMA_FAST, OZMU_SITING_CENTER},
    {"P010 to RGBA, fast", OZMU_PIX_P010, OZMU_PIX_RGBA, OZMU_CHROMA_FAST, OZMU_SITING_LEFT},
    {"P010 to RGBA, accurate left", OZMU_PIX_P010, OZMU_PIX_RGBA, OZMU_CHROMA_ACCURATE,
     OZMU_SITING_LEFT},
};

}  // namespace

int main()
{
    const size_t pixels = size_t{kWidth} * kHeight;
    std::vector<uint8_t> in(4 * pixels), out(4 * pixels);
    uint32_t seed = 12345;
    for (uint8_t &b : in)
        b = static_cast<uint8_t>((seed = seed * 1103515245u + 12345u) >> 24);

    long tag = 10;
    for (const Work &w : kWorks) {
        ozmu_frame src{}, dst{};
        src.format = w.src;
        dst.format = w.dst;
        src.width = dst.width = kWidth;
        src.height = dst.height = kHeight;
        src.plane[0] = in.data();
        if (w.src == OZMU_PIX_P010) {  // Y words, then UV words
            src.stride[0] = src.stride[1] = 2 * kWidth;
            src.plane[1] = in.data() + 2 * pixels;
        } else {
            src.stride[0] = 4 * kWidth;
        }
        dst.plane[0] = out.data();
        if (w.dst == OZMU_PIX_RGBA) {
            dst.stride[0] = 4 * kWidth;
        } else {
            dst.stride[0] = kWidth;
            dst.plane[1] = out.data() + pixels;
            dst.stride[1] = w.dst == OZMU_PIX_NV12 ? kWidth : kWidth / 2;
            dst.plane[2] = out.data() + pixels + pixels / 4;
            dst.stride[2] = kWidth / 2;
        }
        ozmu_convert_opts opts;
        ozmu_convert_opts_init(&opts);
        opts.matrix = w.src == OZMU_PIX_P010 ? OZMU_MATRIX_BT709 : OZMU_MATRIX_BT601;
        opts.chroma = w.chroma;
        opts.siting = w.siting;
        if (!count_convert(src, dst, opts, w.name, pixels, tag))
            return 1;
    }
    return 0;
}
