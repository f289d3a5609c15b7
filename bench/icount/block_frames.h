// The 1080p frames of block positions the block-metric instruction counts run over: every w x h
// block of a 1920x1080 frame (stride 1920) against the block two rows down and three columns
// right. Two 8-bit and two 16-bit (10-bit content) frames, with a few spare rows below for the
// shifted operand.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ozmu::icount {

constexpr int kW = 1920, kH = 1080, kStride = kW;
constexpr ptrdiff_t kShift = 2 * kStride + 3;

struct BlockFrames {
    static constexpr size_t kSize = size_t{kStride} * (kH + 4);
    std::vector<uint8_t> u8[2] = {std::vector<uint8_t>(kSize), std::vector<uint8_t>(kSize)};
    std::vector<int16_t> s16[2] = {std::vector<int16_t>(kSize), std::vector<int16_t>(kSize)};

    BlockFrames()
    {
        uint32_t state = 12345;
        for (int f = 0; f < 2; ++f)
            for (size_t i = 0; i < kSize; ++i) {
                state = state * 1103515245u + 12345u;
                u8[f][i] = static_cast<uint8_t>(state >> 24);
                s16[f][i] = static_cast<int16_t>((state >> 8) & 0x3FF);
            }
    }
};

}  // namespace ozmu::icount
