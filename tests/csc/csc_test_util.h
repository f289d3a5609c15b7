// Per-pixel references shared by the colour-conversion tests, written from the formulas rather
// than taken from the library.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace ozmu::csc_test {

// Full-range BT.601, 8.8 fixed point, arithmetic shifts, then clipped: {R, G, B}.
inline std::array<int, 3> yuv_to_rgb(int y, int u_sample, int v_sample)
{
    const int u = u_sample - 128, v = v_sample - 128;
    return {std::clamp(y + ((359 * v + 128) >> 8), 0, 255),
            std::clamp(y - ((88 * u + 183 * v + 128) >> 8), 0, 255),
            std::clamp(y + ((454 * u + 128) >> 8), 0, 255)};
}

inline int pack_565(int r, int g, int b) { return (r >> 3) << 11 | (g >> 2) << 5 | b >> 3; }

// One pixel's bytes in the given channel order ("RGBA", "BGR", ...; 'A' takes alpha).
inline void put_ordered(const char *order, const std::array<int, 3> &rgb, int alpha, uint8_t *px)
{
    for (int k = 0; order[k]; ++k)
        px[k] = static_cast<uint8_t>(order[k] == 'R'   ? rgb[0]
                                     : order[k] == 'G' ? rgb[1]
                                     : order[k] == 'B' ? rgb[2]
                                                       : alpha);
}

// The bilinear walk along one axis: 14.18 step between taps and the tap spacing shift.
struct Axis {
    int step, shift;
};
inline Axis bilinear_axis(int src, int dst)
{
    if (dst == 0)
        return {0, 0};
    const int ratio = src / dst;
    const int shift = ratio <= 2 ? 0 : ratio <= 4 ? 1 : ratio <= 8 ? 2 : ratio <= 16 ? 3 : 4;
    return {(((src - 1) >> shift) << 18) / dst, shift};
}

// One filtered sample at destination pixel (i, j), fetch(row, column) giving source samples.
// Zero-weight taps are not fetched: past a one-sample edge they lie outside the picture.
template <class Fetch>
int bilinear_sample(Axis ax, Axis ay, int i, int j, Fetch fetch)
{
    const int x = i * ax.step, y = j * ay.step, h = (x >> 15) & 7, v = (y >> 15) & 7;
    const int c0 = (x >> 18) << ax.shift, c1 = ((x >> 18) + 1) << ax.shift;
    const int r0 = (y >> 18) << ay.shift, r1 = ((y >> 18) + 1) << ay.shift;
    const int taps[4][3] = {
        {r0, c0, (8 - h) * (8 - v)}, {r0, c1, h * (8 - v)}, {r1, c0, (8 - h) * v}, {r1, c1, h * v}};
    int sum = 0;
    for (const auto &t : taps)
        if (t[2] != 0)
            sum += t[2] * fetch(t[0], t[1]);
    return sum >> 6;
}

// An 8x8-phase table of four product weights per entry (top-left, top-right, bottom-left,
// bottom-right), indexed 32 * h + 4 * v.
inline void expect_bilinear_weights(const uint8_t *table)
{
    for (int h = 0; h < 8; ++h)
        for (int v = 0; v < 8; ++v) {
            const uint8_t *e = table + 32 * h + 4 * v;
            EXPECT_EQ(e[0], (8 - h) * (8 - v)) << h << "," << v;
            EXPECT_EQ(e[1], h * (8 - v)) << h << "," << v;
            EXPECT_EQ(e[2], (8 - h) * v) << h << "," << v;
            EXPECT_EQ(e[3], h * v) << h << "," << v;
        }
}

inline bool all_equal(const std::vector<uint8_t> &bytes, uint8_t value)
{
    return std::all_of(bytes.begin(), bytes.end(), [=](uint8_t b) { return b == value; });
}

}  // namespace ozmu::csc_test
