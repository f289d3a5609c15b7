// Portable conversion kernels against per-pixel references written here from the formulas. Each
// slot (dst[k], src[k]) has its own canaried buffer and stride (wide, sometimes negative, odd for
// 16-bit planes), so a write through the wrong slot, stride or spacing, or past a row, shows.
#include <algorithm>
#include <array>
#include <cctype>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "checkasm.h"
#include "csc_test_util.h"
#include "ozmu.h"

namespace {

using namespace ozmu::test;

// ---- The formulas, per pixel ---------------------------------------------------------------

using ozmu::csc_test::pack_565;
using Rgb = std::array<int, 3>;

Rgb yuv_to_rgb(const int *s) { return ozmu::csc_test::yuv_to_rgb(s[0], s[1], s[2]); }
int pack_565(const Rgb &c) { return pack_565(c[0], c[1], c[2]); }

void rgb_to_yuv(int r, int g, int b, int *d)
{
    d[0] = (77 * r + 150 * g + 29 * b + 128) >> 8;
    d[1] = std::min(((-43 * r - 85 * g + 128 * b + 128) >> 8) + 128, 255);
    d[2] = std::min(((128 * r - 107 * g - 21 * b + 128) >> 8) + 128, 255);
}

void set(int *d, std::initializer_list<int> values) { std::copy(values.begin(), values.end(), d); }

// ---- Slots and pictures --------------------------------------------------------------------

struct Slot {
    int sample_bytes;  // 0: the pointer is null
    int pixel_bytes;
    int max_value;  // sources draw samples from 0 .. max_value
};
constexpr Slot kNone{0, 0, 0};
constexpr Slot kB8{1, 1, 255};     // byte plane
constexpr Slot kT8{1, 3, 255};     // one byte of a 3-byte pixel
constexpr Slot kQ8{1, 4, 255};     // one byte of a 4-byte pixel
constexpr Slot kW16{2, 2, 65535};  // 16-bit plane
constexpr Slot kW10{2, 2, 1023};   // 10-bit samples in a 16-bit plane

// One slot's w x h samples in a harness Plane, addressed as the kernels address it: a 16-bit
// plane steps stride >> 1 samples. Its stride is odd only when positive, so that the truncated
// rows stay inside.
struct SlotBuffer {
    Slot slot;
    int w, h;
    Plane plane;

    SlotBuffer(Slot s, int width, int height, Rng &rng, bool up)
        : slot(s), w(width), h(height),
          plane(std::max(0, (w - 1) * s.pixel_bytes + s.sample_bytes), h, 1,
                rng.range(0, 9) & (up && s.sample_bytes == 2 ? ~1 : ~0), up, 16)
    {
    }
    size_t at(int x, int y)
    {
        const int stride = plane.stride();
        const int row = slot.sample_bytes == 2 ? (stride >> 1) * 2 : stride;
        return static_cast<size_t>(plane.origin() - plane.bytes().data()) +
               static_cast<size_t>(ptrdiff_t{row} * y + slot.pixel_bytes * x);
    }
    int get(const std::vector<uint8_t> &b, size_t i) const
    {
        return slot.sample_bytes == 2 ? b[i] | b[i + 1] << 8 : b[i];
    }
    void put(std::vector<uint8_t> &b, size_t i, int value) const
    {
        b[i] = static_cast<uint8_t>(value);
        if (slot.sample_bytes == 2)
            b[i + 1] = static_cast<uint8_t>(value >> 8);
    }
};

// One buffer per slot; with half_chroma, slots 1 and up are (w >> 1) x (h >> 1).
struct Picture {
    std::deque<SlotBuffer> slots;
    uint8_t *ptr[4] = {};
    int stride[4] = {};

    Picture(const std::vector<Slot> &layout, int w, int h, Rng &rng, bool half_chroma = false)
    {
        for (size_t k = 0; k < layout.size(); ++k) {
            const int shift = half_chroma && k > 0;
            SlotBuffer &b = slots.emplace_back(layout[k].sample_bytes ? layout[k] : kB8, w >> shift,
                                               h >> shift, rng, rng.range(0, 3) == 0);
            if (layout[k].sample_bytes)
                ptr[k] = b.plane.origin(), stride[k] = b.plane.stride();
        }
    }
    std::vector<std::vector<uint8_t>> snapshot()
    {
        std::vector<std::vector<uint8_t>> bytes;
        for (SlotBuffer &b : slots)
            bytes.push_back(b.plane.bytes());
        return bytes;
    }
    void fill(Rng &rng, Pattern pattern)
    {
        for (SlotBuffer &b : slots) {
            std::vector<int32_t> row(static_cast<size_t>(std::max(b.w, 0)));
            for (int y = 0; b.slot.sample_bytes && y < b.h; ++y) {
                fill_pattern(rng, pattern, row.data(), row.size(), 4, 0, b.slot.max_value);
                for (int x = 0; x < b.w; ++x)
                    b.put(b.plane.bytes(), b.at(x, y), row[static_cast<size_t>(x)]);
            }
        }
    }
};

// ---- The kernels ---------------------------------------------------------------------------

using PixelFn = void (*)(const int *s, int *d);  // d[k] < 0: slot k is not written

struct Case {
    const char *name;
    ozmu_fn_csc fn;
    std::vector<Slot> in, out;
    PixelFn pixel;
    int dst_cs = 0;
    bool half_chroma = false;  // 4:2:0: slots 1 and up are half size each way
};

#define PIXEL [](const int *s, int *d) -> void
const std::vector<Slot> kPlanes3{kB8, kB8, kB8}, kPlanes4{kB8, kB8, kB8, kB8},
    kQuad{kQ8, kQ8, kQ8, kQ8}, k565a8{kW16, kB8}, k5658{kW16, kT8};

const Case kCases[] = {
    // To RGB.
    {"yuv444_to_r8g8b8", ozmu_csc_yuv444_to_r8g8b8, kPlanes3, kPlanes3,
     PIXEL{const Rgb c = yuv_to_rgb(s);
set(d, {c[0], c[1], c[2]});
}  // namespace
}
, {"yuv444_to_rgb565", ozmu_csc_yuv444_to_rgb565, kPlanes3, {kW16},
   PIXEL{d[0] = pack_565(yuv_to_rgb(s));
}
}
, {"yuv444_to_rgb565a8", ozmu_csc_yuv444_to_rgb565a8, kPlanes3, k565a8,
   PIXEL{set(d, {pack_565(yuv_to_rgb(s)), 255});
}
}
, {"yuv444_to_argb8888", ozmu_csc_yuv444_to_argb8888, kPlanes3, kQuad,
   PIXEL{const Rgb c = yuv_to_rgb(s);
set(d, {-1, c[0], c[1], 255});
}
}
, {"yuv444_to_bgra8888", ozmu_csc_yuv444_to_bgra8888, kPlanes3, kQuad,
   PIXEL{const Rgb c = yuv_to_rgb(s);
set(d, {c[2], c[1], c[0], 255});
}
}
, {"yuv444a8_to_argb8888", ozmu_csc_yuv444a8_to_argb8888, kPlanes4, kQuad,
   PIXEL{const Rgb c = yuv_to_rgb(s);
set(d, {s[3], c[0], c[1], c[2]});
}
}
, {"yuv444a8_to_bgra8888", ozmu_csc_yuv444a8_to_bgra8888, kPlanes4, kQuad,
   PIXEL{const Rgb c = yuv_to_rgb(s);
set(d, {c[2], c[1], c[0], s[3]});
}
}
, {"yuv444a8_to_rgb565a8", ozmu_csc_yuv444a8_to_rgb565a8, kPlanes4, k565a8,
   PIXEL{set(d, {pack_565(yuv_to_rgb(s)), s[3]});
}
}
, {"yuv444a8_to_rgba5658", ozmu_csc_yuv444a8_to_rgba5658, kPlanes4, k5658,
   PIXEL{set(d, {pack_565(yuv_to_rgb(s)), s[3]});
}
}
, {"r8g8b8_to_rgb565", ozmu_csc_r8g8b8_to_rgb565, kPlanes3, {kW16},
   PIXEL{d[0] = pack_565(s[0], s[1], s[2]);
}
}
, {"x8y8z8_to_xyz565a8", ozmu_csc_x8y8z8_to_xyz565a8, kPlanes3, k565a8,
   PIXEL{set(d, {pack_565(s[0], s[1], s[2]), 255});
}
}
, {"x8y8z8a8_to_xyz565a8", ozmu_csc_x8y8z8a8_to_xyz565a8, kPlanes4, k565a8,
   PIXEL{set(d, {pack_565(s[0], s[1], s[2]), s[3]});
}
}
, {"r8g8b8_to_argb8888", ozmu_csc_r8g8b8_to_argb8888, kPlanes3, kQuad,
   PIXEL{set(d, {255, s[0], s[1], s[2]});
}
}
, {"r8g8b8_to_bgra8888", ozmu_csc_r8g8b8_to_bgra8888, kPlanes3, kQuad,
   PIXEL{set(d, {s[2], s[1], s[0], 255});
}
}
, {"r8g8b8a8_to_argb8888", ozmu_csc_r8g8b8a8_to_argb8888, kPlanes4, kQuad,
   PIXEL{set(d, {s[3], s[0], s[1], s[2]});
}
}
, {"r8g8b8a8_to_bgra8888", ozmu_csc_r8g8b8a8_to_bgra8888, kPlanes4, kQuad,
   PIXEL{set(d, {s[2], s[1], s[0], s[3]});
}
}
,
    // Grey from plane 0; planes 1 and 2 are passed as null.
    {"r8g8b8a8_to_rgba5658", ozmu_csc_r8g8b8a8_to_rgba5658, {kB8, kNone, kNone, kB8}, k5658,
     PIXEL{set(d, {pack_565(s[0], s[0], s[0]), s[3]});
}
}
,
    // To YUV and between YUV layouts.
    {"r8g8b8_to_yuv444", ozmu_csc_r8g8b8_to_yuv444, kPlanes3, kPlanes3,
     PIXEL{rgb_to_yuv(s[0], s[1], s[2], d);
}
}
, {"rgb888_to_yuv444", ozmu_csc_rgb888_to_yuv444, {kT8, kT8, kT8}, kPlanes3,
   PIXEL{rgb_to_yuv(s[0], s[1], s[2], d);
}
}
, {"rgba8888_to_yuv444a8", ozmu_csc_rgba8888_to_yuv444a8, kQuad, kPlanes4,
   PIXEL{rgb_to_yuv(s[0], s[1], s[2], d), d[3] = s[3];
}
}
, {"r8g8b8a8_to_yuv444a8", ozmu_csc_r8g8b8a8_to_yuv444a8, kPlanes4, kPlanes4,
   PIXEL{rgb_to_yuv(s[0], s[1], s[2], d), d[3] = s[3];
}
}
, {"rgb565_to_yuv444", ozmu_csc_rgb565_to_yuv444, {kW16}, kPlanes3,
   PIXEL{rgb_to_yuv(s[0] >> 11 << 3, (s[0] >> 5 & 63) << 2, (s[0] & 31) << 3, d);
}
}
, {"p410_to_r10g10b10", ozmu_csc_p410_to_r10g10b10, {kW10, kW10, kW10}, {kW16, kW16, kW16},
   PIXEL{const int u = s[1] - 512, v = s[2] - 512;
set(d, {std::clamp(s[0] + ((1436 * v + 512) >> 10), 0, 1023),
        std::clamp(s[0] - ((352 * u + 732 * v + 512) >> 10), 0, 1023),
        std::clamp(s[0] + ((1816 * u + 512) >> 10), 0, 1023)});
}
}
, {"r10g10b10_to_p410", ozmu_csc_r10g10b10_to_p410, {kW10, kW10, kW10}, {kW16, kW16, kW16},
   PIXEL{const int r = s[0], g = s[1], b = s[2];
set(d, {std::min((308 * r + 600 * g + 116 * b + 512) >> 10, 1023),
        std::max(std::min((-172 * r - 340 * g + 512 * b + 512) >> 10, 1023) + 512, 0),
        std::max(std::min((512 * r - 428 * g - 84 * b + 512) >> 10, 1023) + 512, 0)});
}
}
, {"yuv444x_to_yuv444x to yuv444a8", ozmu_csc_yuv444x_to_yuv444x, kPlanes4, kPlanes4,
   PIXEL{set(d, {s[0], s[1], s[2], s[3]});
}
, OZMU_CS_YUV444A8
}
, {"yuv444x_to_yuv444x to yuv444", ozmu_csc_yuv444x_to_yuv444x, kPlanes4, kPlanes4,
   PIXEL{set(d, {s[0], s[1], s[2], -1});
}
, OZMU_CS_YUV444
}
, {"yuv444x_to_yuv444x without source alpha", ozmu_csc_yuv444x_to_yuv444x, {kB8, kB8, kB8, kNone},
   kPlanes4, PIXEL{set(d, {s[0], s[1], s[2], -1});
}
, OZMU_CS_YUV444A8
}
, {"p010_to_yuv420", ozmu_csc_p010_to_yuv420, {kW16, kW16, kW16}, kPlanes3,
   PIXEL{set(d, {s[0] >> 2 & 255, s[1] >> 2 & 255, s[2] >> 2 & 255});
}
, 0, true
}
,
}
;
#undef PIXEL

void PrintTo(const Case &c, std::ostream *os) { *os << c.name; }

const Case &find_case(const std::string &name)
{
    const auto it = std::find_if(std::begin(kCases), std::end(kCases),
                                 [&](const Case &c) { return name == c.name; });
    EXPECT_NE(it, std::end(kCases)) << name;
    return *it;
}

// Runs the kernel with junk in the arguments the portable kernels must not read (src_cs,
// dst_w, dst_h) and compares every destination and source buffer whole, canaries included.
void check(const Case &c, Picture &in, Picture &out, int w, int h,
           const std::vector<std::vector<uint8_t>> &expected)
{
    const auto source = in.snapshot();
    c.fn(in.ptr, w, h, in.stride, -1, out.ptr, w + 17, h + 29, out.stride, c.dst_cs);
    for (size_t k = 0; k < out.slots.size(); ++k)
        ASSERT_TRUE(
            same_bytes(expected[k].data(), out.slots[k].plane.bytes().data(), expected[k].size()))
            << "destination slot " << k;
    for (size_t k = 0; k < in.slots.size(); ++k)
        ASSERT_TRUE(
            same_bytes(source[k].data(), in.slots[k].plane.bytes().data(), source[k].size()))
            << "source slot " << k;
}

// The reference's bytes: each slot is read and written only inside its own size.
std::vector<std::vector<uint8_t>> expected_output(const Case &c, Picture &in, Picture &out)
{
    auto expected = out.snapshot();
    for (int y = 0; y < in.slots[0].h; ++y)
        for (int x = 0; x < in.slots[0].w; ++x) {
            int s[4] = {}, d[4] = {-1, -1, -1, -1};
            for (size_t k = 0; k < c.in.size(); ++k)
                if (SlotBuffer &b = in.slots[k]; c.in[k].sample_bytes && x < b.w && y < b.h)
                    s[k] = b.get(b.plane.bytes(), b.at(x, y));
            c.pixel(s, d);
            for (size_t k = 0; k < c.out.size(); ++k)
                if (SlotBuffer &b = out.slots[k]; d[k] >= 0 && x < b.w && y < b.h)
                    b.put(expected[k], b.at(x, y), d[k]);
        }
    return expected;
}

class PortableKernel : public ::testing::TestWithParam<Case> {};

// Every tail width at a few heights, then non-positive sizes, which must change nothing.
TEST_P(PortableKernel, MatchesTheFormulaAndWritesNothingElse)
{
    const Case &c = GetParam();
    Rng rng(std::hash<std::string>{}(c.name));
    size_t run = 0;
    for (int w : tail_widths(20, {64, 1920}))
        for (int h : {1, 2, 5}) {
            SCOPED_TRACE(::testing::Message() << w << "x" << h);
            Picture in(c.in, w, h, rng, c.half_chroma), out(c.out, w, h, rng, c.half_chroma);
            in.fill(rng, kAllPatterns[run++ % std::size(kAllPatterns)]);
            ASSERT_NO_FATAL_FAILURE(check(c, in, out, w, h, expected_output(c, in, out)));
        }
    for (auto [w, h] : {std::pair{0, 3}, {-5, 3}, {4, 0}, {4, -1}, {0, 0}}) {
        SCOPED_TRACE(::testing::Message() << w << "x" << h);
        Picture in(c.in, 4, 3, rng, c.half_chroma), out(c.out, 4, 3, rng, c.half_chroma);
        in.fill(rng, Pattern::Random);
        ASSERT_NO_FATAL_FAILURE(check(c, in, out, w, h, out.snapshot()));
    }
}

INSTANTIATE_TEST_SUITE_P(Csc, PortableKernel, ::testing::ValuesIn(kCases), [](const auto &param) {
    std::string name = param.param.name;
    std::replace_if(
        name.begin(), name.end(), [](char ch) { return !std::isalnum(ch); }, '_');
    return name;
});

// One pixel through a kernel; out -1: the slot keeps its canary.
struct Example {
    const char *kernel;
    std::vector<int> in, out;
};

const Example kExamples[] = {
    {"yuv444_to_bgra8888", {128, 128, 128}, {128, 128, 128, 255}},  // grey stays grey
    {"yuv444_to_bgra8888", {255, 128, 255}, {255, 164, 255, 255}},  // R clipped from 433
    {"yuv444_to_bgra8888", {0, 0, 0}, {0, 135, 0, 255}},
    {"yuv444_to_argb8888", {0, 0, 0}, {-1, 0, 135, 255}},  // A untouched, 255 in the B byte
    {"r8g8b8_to_rgb565", {255, 255, 255}, {0xFFFF}},
    {"r8g8b8_to_rgb565", {7, 3, 7}, {0x0000}},                // truncated, not rounded
    {"r8g8b8a8_to_rgba5658", {200, 0, 0, 77}, {0xCE59, 77}},  // grey of plane 0
    {"r8g8b8_to_yuv444", {0, 0, 255}, {29, 255, 107}},        // U held at 255 from 256
    {"r8g8b8_to_yuv444", {255, 255, 255}, {255, 128, 128}},
    {"r8g8b8_to_yuv444", {0, 0, 0}, {0, 128, 128}},
    {"rgb565_to_yuv444", {0xFFFF}, {250, 127, 126}},  // read as (248, 252, 248)
    {"p410_to_r10g10b10", {512, 512, 512}, {512, 512, 512}},
    {"p410_to_r10g10b10", {0, 0, 0}, {0, 542, 0}},
    {"p410_to_r10g10b10", {1023, 512, 1023}, {1023, 658, 1023}},
    {"r10g10b10_to_p410", {0, 0, 1023}, {116, 1024, 428}},  // limited before the offset
    {"r10g10b10_to_p410", {1023, 0, 0}, {308, 340, 1024}},
    {"p010_to_yuv420", {1023, 0, 0}, {255, -1, -1}},  // a 1 x 1 picture has no chroma
    {"p010_to_yuv420", {512, 0, 0}, {128, -1, -1}},
};

TEST(PortableExamples, OnePixelGivesTheWorkedValues)
{
    Rng rng(3);
    for (const Example &e : kExamples) {
        const Case &c = find_case(e.kernel);
        SCOPED_TRACE(::testing::Message() << e.kernel << " of " << ::testing::PrintToString(e.in));
        Picture in(c.in, 1, 1, rng, c.half_chroma), out(c.out, 1, 1, rng, c.half_chroma);
        for (size_t k = 0; k < e.in.size(); ++k)
            if (SlotBuffer &b = in.slots[k]; c.in[k].sample_bytes && b.w > 0 && b.h > 0)
                b.put(b.plane.bytes(), b.at(0, 0), e.in[k]);
        auto expected = out.snapshot();
        for (size_t k = 0; k < e.out.size(); ++k)
            if (SlotBuffer &b = out.slots[k]; e.out[k] >= 0)
                b.put(expected[k], b.at(0, 0), e.out[k]);
        check(c, in, out, 1, 1, expected);
    }
}

}  // namespace
