// Scaling conversions (exported, portable reference and NEON) against a per-pixel model of the
// sampling and colour formulas: canary margins, odd and negative strides, decoy dst[] slots,
// sources flush against inaccessible pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "checkasm.h"
#include "csc/scale.h"
#include "csc_test_util.h"
#include "ozmu.h"

namespace {

using namespace ozmu::test;

// ---- The model -------------------------------------------------------------------------------

const auto model_axis = ozmu::csc_test::bilinear_axis;

struct Geometry {
    int src_w, src_h, dst_w, dst_h;
};

struct Source {
    uint8_t *plane[4] = {};
    int stride[4] = {};
};

int model_sample(const Source &s, const Geometry &g, int p, int i, int j)
{
    return ozmu::csc_test::bilinear_sample(
        model_axis(g.src_w, g.dst_w), model_axis(g.src_h, g.dst_h), i, j, [&](int r, int c) {
            EXPECT_TRUE(r < g.src_h && c < g.src_w) << "sample " << c << "," << r << " outside";
            return s.plane[p][s.stride[p] * r + c];
        });
}

// ---- The kernels -------------------------------------------------------------------------------

using Entry = void (*ozmu::csc::ScaleTable::*)(OZMU_CSC_PARAMS);

struct Member {
    const char *name;
    ozmu_fn_csc exported;
    ozmu_fn_csc reference;  // null for the portable members
    ozmu_fn_csc neon;
    Entry entry;
    int planes, bytes;  // bytes per pixel, 2 for the 5-6-5 members
    bool yuv;
    bool vector() const { return reference != nullptr; }
};

#if OZMU_HAVE_NEON
#define OZMU_SCALE_NEON(name) ozmu::neon::name
#else
#define OZMU_SCALE_NEON(name) nullptr
#endif
#define OZMU_SCALE_VECTOR(name, planes, bytes, yuv)                                                \
    Member                                                                                         \
    {                                                                                              \
#name, ozmu_csc_##name, ozmu::ref::name, OZMU_SCALE_NEON(name),                            \
            &ozmu::csc::ScaleTable::name, planes, bytes, yuv                                       \
    }

const Member kMembers[] = {
    OZMU_SCALE_VECTOR(rsz_r8g8b8_to_rgb888, 3, 3, false),
    OZMU_SCALE_VECTOR(rsz_r8g8b8_to_rgba8888, 3, 4, false),
    OZMU_SCALE_VECTOR(rsz_r8g8b8a8_to_rgba8888, 4, 4, false),
    OZMU_SCALE_VECTOR(rsz_yuv444_to_rgb888, 3, 3, true),
    OZMU_SCALE_VECTOR(rsz_yuv444_to_rgba8888, 3, 4, true),
    OZMU_SCALE_VECTOR(rsz_yuv444a8_to_rgba8888, 4, 4, true),
    {"rsz_yuv444_to_rgb565", ozmu_csc_rsz_yuv444_to_rgb565, nullptr, nullptr, nullptr, 3, 2, true},
    {"rsz_yuv444a8_to_rgb565a8", ozmu_csc_rsz_yuv444a8_to_rgb565a8, nullptr, nullptr, nullptr, 4, 2,
     true},
};

// The tier names as static strings (the harness gives std::string).
const char *cpu_tier_label(const std::string &tier)
{
    for (unsigned t : arch_tiers())
        if (tier == ozmu::cpu::tier_name(t))
            return ozmu::cpu::tier_name(t);
    return "?";
}

// The exported member, the reference and every vector version this CPU runs.
std::vector<std::pair<const char *, ozmu_fn_csc>> implementations(const Member &m)
{
    std::vector<std::pair<const char *, ozmu_fn_csc>> fns{{"exported", m.exported}};
    if (m.reference)
        fns.emplace_back("ref", m.reference);
    if (m.neon)
        fns.emplace_back("neon", m.neon);
    if (m.entry)
        for (const auto &v : versions(&ozmu::csc::scale_table_for, m.entry))
            fns.emplace_back(cpu_tier_label(v.tier), v.fn);
    return fns;
}

// Where a vector member writes a pixel for a dst_cs: start slot and byte order. The portable
// members (2 bytes) have one layout, dst_cs unread.
struct Layout {
    int bytes, dst_cs, slot;
    const char *order;
};
const Layout kLayouts[] = {{4, 500, 0, "RGBA"},       {4, 501, 2, "BGRA"}, {4, 502, 3, "ARGB"},
                           {4, 503, 3, "ABGR"},       {4, 510, 3, "ARGB"}, {4, 499, 0, "BGRA"},
                           {4, 430, 0, "RGBA"},       {3, 400, 0, "RGB"},  {3, 401, 0, "BGR"},
                           {3, 501, 2, "BGR"},        {3, 502, 3, "RGB"},  {3, 503, 3, "BGR"},
                           {2, OZMU_CS_RGB565, 0, ""}};

// Expected pixel bytes of one destination row (m.bytes each), and for the 5-6-5 members the
// alpha bytes.
void model_row(const Member &m, const Layout &layout, const Source &s, const Geometry &g, int j,
               uint8_t *pixels, uint8_t *alpha)
{
    for (int i = 0; i < g.dst_w; ++i) {
        int f[4];
        for (int p = 0; p < m.planes; ++p)
            f[p] = model_sample(s, g, p, i, j);
        const auto rgb =
            m.yuv ? ozmu::csc_test::yuv_to_rgb(f[0], f[1], f[2]) : std::array{f[0], f[1], f[2]};
        const int a = m.planes == 4 ? f[3] : 255;
        uint8_t *px = pixels + m.bytes * i;
        if (m.bytes == 2) {
            const int word = ozmu::csc_test::pack_565(rgb[0], rgb[1], rgb[2]);
            px[0] = static_cast<uint8_t>(word);
            px[1] = static_cast<uint8_t>(word >> 8);
            if (alpha)
                alpha[i] = static_cast<uint8_t>(a);
            continue;
        }
        ozmu::csc_test::put_ordered(layout.order, rgb, a, px);
    }
}

// ---- Pictures ----------------------------------------------------------------------------------

// Source planes flush against an inaccessible page (after their last byte or before their first),
// rows `stride` apart and upward in memory when negative: any read outside the picture faults.
// One stride for every plane (as the vector members read them) or one per plane.
struct Picture : Source {
    std::vector<std::unique_ptr<PageGuardedBuffer>> buffers;

    Picture(Rng &rng, Pattern pattern, const Geometry &g, bool shared_stride, bool negative,
            PageGuardedBuffer::Flush flush)
    {
        const int shared = g.src_w + rng.range(0, 9);
        for (int p = 0; p < 4; ++p) {
            const int step = shared_stride ? shared : g.src_w + rng.range(0, 9);
            buffers.push_back(
                std::make_unique<PageGuardedBuffer>(size_t(step) * (g.src_h - 1) + g.src_w, flush));
            uint8_t *lowest = buffers.back()->data();
            for (int r = 0; r < g.src_h; ++r)
                fill_pattern(rng, pattern, lowest + size_t(step) * r, size_t(g.src_w), 1, 0, 255);
            plane[p] = negative ? lowest + size_t(step) * (g.src_h - 1) : lowest;
            stride[p] = negative ? -step : step;
        }
    }
};

// Runs every implementation of a member with each of its layouts and compares the destination
// planes whole (margins included) with the model. Unselected dst[] slots point at a decoy that
// must stay untouched; strides a kernel must not read are junk.
void check(const Member &m, const Picture &pic, const Geometry &g, Rng &rng, bool negative)
{
    const Source &s = pic;
    uint8_t *src[4];
    int src_stride[4];
    for (int p = 0; p < 4; ++p) {
        src[p] = p < m.planes ? pic.plane[p] : nullptr;
        src_stride[p] = m.vector() && p > 0 ? -7 * p : pic.stride[p];
    }
    const int extra = rng.range(0, 5), alpha_extra = rng.range(0, 5);
    const int sample_bytes = m.bytes == 2 ? 2 : 1,
              samples = m.bytes == 2 ? g.dst_w : g.dst_w * m.bytes;
    for (const Layout &layout : kLayouts) {
        if (layout.bytes != m.bytes)
            continue;
        Plane expected(samples, g.dst_h, sample_bytes, extra, negative);
        Plane expected_alpha(g.dst_w, g.dst_h, 1, alpha_extra, negative);
        // A 16-bit plane advances by whole words: an odd byte stride is rounded down.
        const ptrdiff_t row_bytes =
            m.bytes == 2 ? ptrdiff_t{expected.stride() >> 1} * 2 : expected.stride();
        std::vector<uint8_t> pixels(static_cast<size_t>(g.dst_w) * m.bytes), alpha(g.dst_w);
        const bool writes_alpha = m.bytes == 2 && m.planes == 4;
        for (int j = 0; j < g.dst_h; ++j) {
            model_row(m, layout, s, g, j, pixels.data(), alpha.data());
            std::memcpy(expected.origin() + row_bytes * j, pixels.data(), pixels.size());
            if (writes_alpha)
                std::memcpy(expected_alpha.row(j), alpha.data(), alpha.size());
        }
        for (auto [impl, fn] : implementations(m)) {
            Plane result(samples, g.dst_h, sample_bytes, extra, negative);
            Plane result_alpha(g.dst_w, g.dst_h, 1, alpha_extra, negative);
            std::vector<uint8_t> decoy(64, 0x5A);
            uint8_t *dst[4] = {decoy.data(), decoy.data(), decoy.data(), decoy.data()};
            int dst_stride[4] = {result.stride(), 11, -13, 17};
            dst[layout.slot] = result.origin();
            if (writes_alpha) {
                dst[1] = result_alpha.origin();
                dst_stride[1] = result_alpha.stride();
            }
            fn(src, g.src_w, g.src_h, src_stride, 0, dst, g.dst_w, g.dst_h, dst_stride,
               layout.dst_cs);
            SCOPED_TRACE(::testing::Message()
                         << m.name << " " << impl << " dst_cs " << layout.dst_cs << ", " << g.src_w
                         << "x" << g.src_h << " -> " << g.dst_w << "x" << g.dst_h
                         << (negative ? " upward" : ""));
            ASSERT_TRUE(same_planes(expected, result));
            ASSERT_TRUE(same_planes(expected_alpha, result_alpha));
            ASSERT_TRUE(ozmu::csc_test::all_equal(decoy, 0x5A)) << "unselected dst[] slot written";
        }
    }
}

// ---- Tests
// ---------------------------------------------------------------------------------------

TEST(CscScale, StepSizesAndWeights)
{
    int xstep = -1, ystep = -1;
    bilinear_rsz_step_size(640, 2, 320, 4, &xstep, &ystep);
    EXPECT_EQ(xstep, 523468 << 3);         // ratio 2: shift 0
    EXPECT_EQ(ystep, (1 << 18) / 4 << 3);  // enlargement 2 -> 4: phases 0, 2, 4, 6
    bilinear_rsz_step_size(1920, 0, 320, 0, &xstep, &ystep);
    EXPECT_EQ(xstep, 392396 << 3 | 2);  // ratio 6: neighbours 4 apart
    EXPECT_EQ(ystep, 0);                // a zero divisor gives step 0, shift 0

    ozmu::csc_test::expect_bilinear_weights(ozmu_tbl_bilinear_rszw);
}

// Destination widths 1-40 (every tail of the 8-pixel groups), 64 and 1920; reductions 1:1 to
// 20:1 on both axes (every shift), enlargements, the vector code's two lookup widths, its
// per-pixel path for reductions beyond 64:1, and one-sample sources. Patterns cycle through the
// extremes; strides are odd or negative, sources guarded at either end, in turn.
TEST(CscScale, MatchesPerPixelModel)
{
    Rng rng(0x5ca1e);
    std::vector<Geometry> cases;
    for (int w = 1; w <= 40; ++w) {
        cases.push_back({rng.range(1, 3 * w + 8), rng.range(1, 9), w, rng.range(1, 4)});
        cases.push_back({rng.range(1, w), rng.range(1, 4), w, rng.range(1, 6)});
    }
    // Sources at least as wide as the widest gather window (64 bytes), so the vector groups run
    // with every tail: destination widths 1-70 and around the 256-pixel strips.
    for (int w : {1,  2,  3,  5,  7,  8,  9,  15, 16,  17,  23,  31, 32,
                  33, 47, 63, 64, 65, 70, 96, 97, 255, 256, 257, 300})
        cases.push_back({64 + w + w / 2 + rng.range(0, 7), rng.range(1, 9), w, rng.range(1, 4)});
    for (int w = 1; w <= 70; ++w)
        cases.push_back({std::max(64, w + rng.range(0, w)), rng.range(1, 4), w, rng.range(1, 3)});
    for (int r = 1; r <= 20; ++r)
        cases.push_back({13 * r + rng.range(0, r - 1), 5 * r + rng.range(0, r - 1), 13, 5});
    cases.insert(cases.end(), {{1920, 4, 64, 2},
                               {1280, 3, 1920, 2},
                               {2880, 3, 1920, 2},
                               {3839, 2, 1920, 1},
                               {1920, 3, 20, 2},
                               {1, 1, 17, 3},
                               {2, 2, 4, 4},
                               {64, 64, 64, 64}});
    for (size_t n = 0; n < cases.size(); ++n) {
        const Geometry &g = cases[n];
        const Pattern pattern = kAllPatterns[n % std::size(kAllPatterns)];
        const bool negative = n % 3 == 1;
        const auto flush = n % 2 ? PageGuardedBuffer::Flush::Start : PageGuardedBuffer::Flush::End;
        const Picture shared(rng, pattern, g, true, negative, flush);
        const Picture separate(rng, pattern, g, false, !negative, flush);
        for (const Member &m : kMembers) {
            check(m, m.vector() ? shared : separate, g, rng, m.vector() ? negative : !negative);
            if (HasFatalFailure())
                return;
        }
    }
}

// The vector code's colour arithmetic differs from the 8.8 formula (NEON: split weights and a
// halved sum; x86-64: split multipliers); it must agree for every (Y, U, V), in every version. A
// 257x257 source scaled to 256x256 samples every pixel at phase 0, so pixel (i, j) converts
// (Y, U, V) = (i, j, k) exactly. Both channel orders run the same arithmetic and differ only in
// the store, so one order proves both.
TEST(CscScale, ColourArithmeticForEveryInput)
{
    constexpr int kSide = 257;
    std::vector<uint8_t> planes[3];
    for (auto &p : planes)
        p.resize(size_t{kSide} * kSide);
    for (int r = 0; r < kSide; ++r)
        for (int c = 0; c < kSide; ++c) {
            planes[0][size_t(r) * kSide + c] = static_cast<uint8_t>(c);
            planes[1][size_t(r) * kSide + c] = static_cast<uint8_t>(r);
        }
    std::vector<uint8_t> out(size_t{256} * 256 * 4), expected(out.size());
    uint8_t *src[4] = {planes[0].data(), planes[1].data(), planes[2].data(), nullptr};
    int src_stride[4] = {kSide, kSide, kSide, kSide};
    uint8_t *dst[4] = {out.data(), nullptr, nullptr, nullptr};
    int dst_stride[4] = {256 * 4, 0, 0, 0};
    for (int k = 0; k < 256; ++k) {
        std::fill(planes[2].begin(), planes[2].end(), static_cast<uint8_t>(k));
        for (int j = 0; j < 256; ++j)
            for (int i = 0; i < 256; ++i) {
                const auto rgb = ozmu::csc_test::yuv_to_rgb(i, j, k);
                uint8_t *px = &expected[(size_t(j) * 256 + i) * 4];
                std::copy(rgb.begin(), rgb.end(), px);
                px[3] = 255;
            }
        for (auto [impl, fn] : implementations(kMembers[4])) {
            fn(src, kSide, kSide, src_stride, OZMU_CS_YUV444, dst, 256, 256, dst_stride,
               OZMU_CS_RGBA8888);
            ASSERT_TRUE(same_bytes(expected.data(), out.data(), out.size()))
                << impl << " V = " << k;
        }
    }
}

// No size below 1 reads or writes anything: null planes, a decoy destination.
TEST(CscScale, SizesBelowOneDoNothing)
{
    const Geometry cases[] = {{0, 4, 4, 4}, {4, 0, 4, 4},  {4, 4, 0, 4},
                              {4, 4, 4, 0}, {-5, 4, 4, 4}, {4, 4, 4, -1}};
    for (const Member &m : kMembers)
        for (const Geometry &g : cases)
            for (auto [impl, fn] : implementations(m)) {
                std::vector<uint8_t> decoy(256, 0x5A);
                uint8_t *src[4] = {};
                uint8_t *dst[4] = {decoy.data(), decoy.data(), decoy.data(), decoy.data()};
                int strides[4] = {16, 16, 16, 16};
                fn(src, g.src_w, g.src_h, strides, 0, dst, g.dst_w, g.dst_h, strides, 500);
                EXPECT_TRUE(ozmu::csc_test::all_equal(decoy, 0x5A)) << m.name << " " << impl;
            }
}

}  // namespace
