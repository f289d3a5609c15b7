// 4:4:4 to RGBA against FFmpeg's swscale (full-range BT.601, exact rounding) on the pictures in
// tests/data/csc (make_pictures.sh there). Agreement within one code value pins matrix, range and
// channel order at once: BT.709 weights, limited-range gain or swapped channels miss by tens.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "ozmu.h"

namespace {

// Per channel: the 8.8 chroma weights are within 0.0015 of BT.601's, so the unrounded value is
// within 0.19 of exact; both sides round (swscale within 0.51), so integers differ by at most 1.
// Over all 2^24 inputs swscale differs by 1 on 0.6 % of R and ~4 % of G and B, never more.
constexpr int kTolerance = 1;
// Mean per channel: 0.09 on these pictures; truncating the chroma term gives 0.3 to 0.6.
constexpr double kMeanTolerance = 0.2;

struct Picture {
    std::string name;
    int width = 0;
    int height = 0;
    std::vector<uint8_t> yuv;   // Y, U, V planes, rows packed
    std::vector<uint8_t> rgba;  // swscale's output, rows packed
};

std::string data_path(const std::string &file)
{
    return std::string(OZMU_TEST_DATA_DIR) + "/csc/" + file;
}

std::vector<uint8_t> read_file(const std::string &file)
{
    std::ifstream in(data_path(file), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// pictures.tsv: a header line, then name, width, height, source; '#' lines are notes.
std::vector<Picture> load_pictures()
{
    std::vector<Picture> pictures;
    std::ifstream table(data_path("pictures.tsv"));
    std::string line;
    std::getline(table, line);
    while (std::getline(table, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        Picture p;
        std::istringstream fields(line);
        std::getline(fields, p.name, '\t');
        fields >> p.width >> p.height;
        p.yuv = read_file(p.name + ".yuv"), p.rgba = read_file(p.name + ".rgba");
        pictures.push_back(std::move(p));
    }
    return pictures;
}

// Byte position of R, G, B and A inside a 4-byte pixel, by dst_cs.
struct Order {
    int dst_cs;
    std::array<int, 4> at;  // at[0] = offset of R, ... at[3] = offset of A
};
constexpr Order kOrders[] = {
    {OZMU_CS_RGBA8888, {0, 1, 2, 3}},
    {OZMU_CS_BGRA8888, {2, 1, 0, 3}},
    {OZMU_CS_ARGB8888, {1, 2, 3, 0}},
    {503, {3, 2, 1, 0}},  // A, B, G, R
};

// Converts p into rows of dst_stride bytes; every dst slot holds the same start, so whichever
// slot the kernel takes for dst_cs, pixels start at the first byte. Source planes lie
// src_stride apart per row (the kernel steps all three by src_stride[0]).
std::vector<uint8_t> convert(ozmu_fn_csc fn, const Picture &p, int dst_cs, int src_stride,
                             int dst_stride)
{
    const size_t plane = size_t(src_stride) * p.height;
    std::vector<uint8_t> src(3 * plane, 0x55);
    for (int k = 0; k < 3; ++k)
        for (int y = 0; y < p.height; ++y)
            std::copy_n(&p.yuv[(size_t(k) * p.height + y) * p.width], p.width,
                        &src[k * plane + size_t(y) * src_stride]);
    std::vector<uint8_t> out(size_t(dst_stride) * p.height, 0xA5);
    uint8_t *src_planes[4] = {&src[0], &src[plane], &src[2 * plane], nullptr};
    uint8_t *dst_slots[4] = {out.data(), out.data(), out.data(), out.data()};
    int src_strides[4] = {src_stride, src_stride, src_stride, 0}, dst_strides[4];
    std::fill_n(dst_strides, 4, dst_stride);
    fn(src_planes, p.width, p.height, src_strides, OZMU_CS_YUV444, dst_slots, p.width, p.height,
       dst_strides, dst_cs);
    return out;
}

// Every channel within kTolerance of swscale, small mean error per channel, alpha 255.
void expect_close_to_swscale(const Picture &p, const std::vector<uint8_t> &out, const Order &order,
                             int dst_stride)
{
    std::array<long, 3> abs_sum{};
    int worst = 0, reported = 0, alpha_wrong = 0;
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x) {
            const uint8_t *want = &p.rgba[(size_t(y) * p.width + x) * 4];
            const uint8_t *got = &out[size_t(y) * dst_stride + size_t(x) * 4];
            for (int c = 0; c < 3; ++c) {
                const int diff = std::abs(got[order.at[c]] - want[c]);
                abs_sum[c] += diff;
                worst = std::max(worst, diff);
                if (diff > kTolerance && reported++ < 5)
                    ADD_FAILURE() << "pixel (" << x << ", " << y << ") channel "
                                  << "RGB"[c] << ": " << int(got[order.at[c]]) << ", swscale "
                                  << int(want[c]);
            }
            alpha_wrong += got[order.at[3]] != 255;
        }
    EXPECT_LE(worst, kTolerance);
    EXPECT_EQ(alpha_wrong, 0);
    for (int c = 0; c < 3; ++c)
        EXPECT_LE(abs_sum[c] / (double(p.width) * p.height), kMeanTolerance) << "RGB"[c];
}

// Through the host's route (ask the selector, call what it returns), every channel order the
// kernel offers, rows wider than the picture on both sides.
TEST(CrossCheck, Yuv444ToRgbaMatchesSwscale)
{
    const std::vector<Picture> pictures = load_pictures();
    ASSERT_GE(pictures.size(), 4u) << data_path("pictures.tsv");
    for (const Picture &p : pictures) {
        const size_t pixels = size_t(p.width) * p.height;
        ASSERT_GT(pixels, 0u) << p.name;
        ASSERT_EQ(p.yuv.size(), 3 * pixels) << p.name;
        ASSERT_EQ(p.rgba.size(), 4 * pixels) << p.name;
        int err = 1;
        const ozmu_fn_csc fn = ozmu_imgp_get_fn_csc(p.width, p.height, OZMU_CS_YUV444, p.width,
                                                    p.height, OZMU_CS_RGBA8888, &err);
        ASSERT_TRUE(fn == &ozmu_csc_yuv444_to_rgba8888) << "error " << err;
        EXPECT_EQ(err, 1) << "success must leave err alone";
        const int src_stride = p.width + 13, dst_stride = 4 * p.width + 20;
        for (const Order &order : kOrders) {
            SCOPED_TRACE(p.name + ", dst_cs " + std::to_string(order.dst_cs));
            const auto out = convert(fn, p, order.dst_cs, src_stride, dst_stride);
            expect_close_to_swscale(p, out, order, dst_stride);
            for (int y = 0; y < p.height; ++y)
                for (int x = 4 * p.width; x < dst_stride; ++x)
                    ASSERT_EQ(out[size_t(y) * dst_stride + x], 0xA5)
                        << "row " << y << " padding byte " << x - 4 * p.width;
        }
    }
}

}  // namespace
