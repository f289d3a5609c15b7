// Shared pieces of the colour conversion kernels, the scaling kernels and the image resizer: the
// kernel signature, the per-pixel arithmetic every implementation must reproduce bit for bit,
// the bilinear weights and the fixed-point step rule.
#pragma once
#include <array>
#include <cstdint>

#include "ozmu.h"

// Parameter list of every conversion kernel (ozmu_fn_csc) and its forwarding argument list.
#define OZMU_CSC_PARAMS                                                                            \
    uint8_t *src[4], int src_w, int src_h, int src_stride[4], int src_cs, uint8_t *dst[4],         \
        int dst_w, int dst_h, int dst_stride[4], int dst_cs
#define OZMU_CSC_ARGS src, src_w, src_h, src_stride, src_cs, dst, dst_w, dst_h, dst_stride, dst_cs

namespace ozmu::csc {

constexpr uint8_t clip_u8(int value)
{
    return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

struct Rgb8 {
    uint8_t r, g, b;
};

// Full-range BT.601 in 8.8 fixed point; shifts are arithmetic, rounding added before the shift.
constexpr Rgb8 yuv_to_rgb(int y, int u_sample, int v_sample)
{
    const int u = u_sample - 128;
    const int v = v_sample - 128;
    return {clip_u8(y + ((359 * v + 128) >> 8)), clip_u8(y - ((88 * u + 183 * v + 128) >> 8)),
            clip_u8(y + ((454 * u + 128) >> 8))};
}

// 5-6-5 by truncation: plane/channel 0 in the top five bits.
constexpr uint16_t pack_565(int c0, int c1, int c2)
{
    return static_cast<uint16_t>(((c0 & 0xF8) << 8) | ((c1 & 0xFC) << 3) | (c2 >> 3));
}

// Bilinear weights for horizontal phase h and vertical phase v (0..7) at byte 32h + 4v:
// top-left, top-right, bottom-left, bottom-right, summing to 64.
inline constexpr std::array<uint8_t, 256> kBilinearWeights = [] {
    std::array<uint8_t, 256> w{};
    for (int h = 0; h < 8; ++h)
        for (int v = 0; v < 8; ++v) {
            uint8_t *e = &w[static_cast<size_t>(32 * h + 4 * v)];
            e[0] = static_cast<uint8_t>((8 - h) * (8 - v));
            e[1] = static_cast<uint8_t>(h * (8 - v));
            e[2] = static_cast<uint8_t>((8 - h) * v);
            e[3] = static_cast<uint8_t>(h * v);
        }
    return w;
}();

// Sample distance shift for an integer reduction ratio: a shift s reads every 2^s-th sample.
constexpr int reduction_shift(int ratio)
{
    constexpr uint8_t kShift[32] = {0, 0, 0, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3,
                                    3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4};
    return kShift[ratio < 0 ? 0 : ratio > 31 ? 31 : ratio];
}

// One axis of the 14.18 fixed-point walk: the step spans up to the last source sample.
struct AxisStep {
    int step;   // source positions per destination sample, 18 fractional bits
    int shift;  // neighbour distance 1 << shift
};

constexpr AxisStep axis_step(int src_size, int dst_size)
{
    const int shift = reduction_shift(dst_size != 0 ? src_size / dst_size : 0);
    const int span = static_cast<int>(static_cast<uint32_t>((src_size - 1) >> shift) << 18);
    return {dst_size != 0 ? span / dst_size : 0, shift};
}

}  // namespace ozmu::csc
