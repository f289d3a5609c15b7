// Image resizer: creation codes, every layout against a per-pixel model of the bilinear walk,
// slices against whole pictures, and every tier's rows against the reference rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <vector>

#include "checkasm.h"
#include "csc/resizer.h"
#include "csc_test_util.h"
#include "ozmu.h"

namespace {

using ozmu::test::Pattern;
using ozmu::test::Plane;
using ozmu::test::Rng;

struct LayoutInfo {
    int code, in_bytes, out_bytes;
};
constexpr LayoutInfo kLayouts[] = {{20, 1, 1}, {21, 3, 3}, {23, 3, 2}, {25, 2, 2}, {29, 4, 4}};

// --- Model, from the definitions: shift table, 14.18 walk, product weights. -------------------

using ozmu::csc_test::Axis;
const auto model_axis = ozmu::csc_test::bilinear_axis;

// Channels of one source pixel: bytes, or the three 5-6-5 fields.
std::vector<int> channels(const LayoutInfo &l, const uint8_t *p)
{
    if (l.code == 25) {
        const int word = p[0] | p[1] << 8;
        return {word >> 11, (word >> 5) & 63, word & 31};
    }
    return std::vector<int>(p, p + l.in_bytes);
}

void store(const LayoutInfo &l, const std::vector<int> &f, uint8_t *out)
{
    if (l.code == 23) {  // green: the top three bits of f1, twice
        out[0] = static_cast<uint8_t>((f[1] & 0xE0) | (f[2] >> 3));
        out[1] = static_cast<uint8_t>((f[0] & 0xF8) | (f[1] >> 5));
    } else if (l.code == 25) {
        const int word = f[0] << 11 | f[1] << 5 | f[2];
        out[0] = static_cast<uint8_t>(word);
        out[1] = static_cast<uint8_t>(word >> 8);
    } else {
        for (size_t c = 0; c < f.size(); ++c)
            out[c] = static_cast<uint8_t>(f[c]);
    }
}

// Writes the model's picture into `out`.
void model(const LayoutInfo &l, Plane &src, int src_w, int src_h, Plane &out, int dst_w, int dst_h)
{
    const Axis ax = model_axis(src_w, dst_w), ay = model_axis(src_h, dst_h);
    for (int r = 0; r < dst_h; ++r)
        for (int i = 0; i < dst_w; ++i) {
            std::vector<int> f(l.code == 25 ? 3 : l.in_bytes);
            for (size_t c = 0; c < f.size(); ++c)
                f[c] = ozmu::csc_test::bilinear_sample(ax, ay, i, r, [&](int row, int col) {
                    EXPECT_TRUE(row < src_h && col < src_w) << "sample " << col << "," << row;
                    return channels(l, src.row(row) + col * l.in_bytes)[c];
                });
            store(l, f, out.row(r) + i * l.out_bytes);
        }
}

// Planes are built in bytes with a 48-byte margin, so every stride is a whole number of pixels.
Plane picture(int w, int h, int bytes, int extra_pixels, bool negative)
{
    return Plane(w * bytes, h, 1, extra_pixels * bytes, negative, 48);
}

struct Handle {
    void *p;
    explicit Handle(const ozmu_irsz_param &param) : p(ozmu_irsz_create(&param, nullptr)) {}
    ~Handle() { ozmu_irsz_delete(p); }
    const ozmu::irsz::Handle &record() const { return *static_cast<ozmu::irsz::Handle *>(p); }
};

ozmu_irsz_param params(const LayoutInfo &l, int mode, int src_w, int src_h, Plane &src,
                       int slice_rows, int dst_w, int dst_h, Plane &dst)
{
    return {l.code,
            mode,
            src_w,
            src_h,
            src.stride() / l.in_bytes,
            slice_rows,
            dst_w,
            dst_h,
            dst.stride() / l.out_bytes,
            dst.origin()};
}

struct Sizes {
    int src_w, src_h, dst_w, dst_h;
};
// Down by 2 and 3 (shift 1), 9 (shift 3) and 40 (shift 4), up, equal, one-sample sources.
constexpr Sizes kSizes[] = {{37, 23, 17, 11}, {64, 48, 21, 15}, {100, 74, 11, 8}, {300, 41, 7, 1},
                            {13, 9, 40, 29},  {24, 24, 24, 24}, {1, 1, 5, 3},     {1, 7, 3, 2}};

}  // namespace

TEST(irsz, CreationReportsCodes)
{
    uint8_t out[64];
    int err = 77;
    ozmu_irsz_param p{29, 10, 8, 8, 8, 8, 4, 4, 4, out};
    void *h = ozmu_irsz_create(&p, &err);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(err, 0);
    ozmu_irsz_delete(h);
    ozmu_irsz_delete(nullptr);
    // Bad modes give -2, checked before the layout (22 is bad too); bad layouts give -4.
    // -3 (allocation failure) cannot be forced from here.
    const int kRefusals[][3] = {{29, 12, -2}, {29, 9, -2},  {29, 0, -2},  {22, 0, -2},
                                {22, 11, -4}, {24, 11, -4}, {26, 11, -4}, {27, 11, -4},
                                {28, 11, -4}, {19, 11, -4}, {30, 11, -4}, {0, 11, -4}};
    for (const auto &[layout, mode, code] : kRefusals) {
        p.layout = layout, p.mode = mode, err = 77;
        EXPECT_EQ(ozmu_irsz_create(&p, &err), nullptr) << layout << " " << mode;
        EXPECT_EQ(err, code) << layout << " " << mode;
        EXPECT_EQ(ozmu_irsz_create(&p, nullptr), nullptr);
    }
}

TEST(irsz, WeightTableAndWalk)
{
    ozmu::csc_test::expect_bilinear_weights(ozmu_irsz_tbl_rsz_weight);
    uint8_t out[4096];
    ozmu_irsz_param p{20, 10, 640, 480, 640, 16, 640, 160, 640, out};
    Handle equal(p);
    EXPECT_EQ(equal.record().xstep, (639 << 18) / 640);  // just below one sample
    EXPECT_EQ(equal.record().xshift, 0);
    EXPECT_EQ(equal.record().yshift, 1);  // ratio 3: samples two apart
    EXPECT_EQ(equal.record().ystep, ((479 >> 1) << 18) / 160);
}

TEST(irsz, WholePictureMatchesModel)
{
    Rng rng(1);
    for (const LayoutInfo &l : kLayouts)
        for (const Sizes &s : kSizes)
            for (int variant = 0; variant < 4; ++variant) {
                const bool negative = variant & 1;
                const int extra = variant & 2 ? 3 : 0;  // odd pitches
                const Pattern pattern = ozmu::test::kAllPatterns[variant + (s.src_w & 1)];
                Plane src = picture(s.src_w, s.src_h, l.in_bytes, extra, negative);
                src.fill(rng, pattern, 0, 255);
                Plane dst = picture(s.dst_w, s.dst_h, l.out_bytes, extra, !negative);
                Plane expected = picture(s.dst_w, s.dst_h, l.out_bytes, extra, !negative);
                expected.copy_from(dst);
                model(l, src, s.src_w, s.src_h, expected, s.dst_w, s.dst_h);
                Handle h(params(l, 10, s.src_w, s.src_h, src, 0, s.dst_w, s.dst_h, dst));
                ASSERT_NE(h.p, nullptr);
                EXPECT_EQ(ozmu_irsz(h.p, src.origin(), 123, 456), 0);
                ASSERT_TRUE(ozmu::test::same_planes(expected, dst))
                    << "layout " << l.code << " " << s.src_w << "x" << s.src_h << " -> " << s.dst_w
                    << "x" << s.dst_h << " variant " << variant;
            }
}

// The named resizers give ozmu_irsz's bytes on their own layout and refuse any other handle.
TEST(irsz, NamedResizersMatchDispatchAndCheckLayout)
{
    using Named = int (*)(void *, const void *, int, int);
    const Named named[] = {ozmu_irsz8b, ozmu_irsz8b8b8b, ozmu_irsz8b8b8b_5b6b5b, ozmu_irsz5b6b5b,
                           ozmu_irsz8b8b8b8b};
    static_assert(std::size(named) == std::size(kLayouts));
    Rng rng(5);
    for (size_t i = 0; i < std::size(kLayouts); ++i) {
        const LayoutInfo &l = kLayouts[i], &other = kLayouts[(i + 1) % std::size(kLayouts)];
        Plane src = picture(37, 23, l.in_bytes, 1, true);
        src.fill(rng, Pattern::Random, 0, 255);
        Plane expected = picture(17, 30, l.out_bytes, 0, false);
        Plane actual = picture(17, 30, l.out_bytes, 0, false);
        Handle dispatched(params(l, 10, 37, 23, src, 0, 17, 30, expected));
        Handle direct(params(l, 10, 37, 23, src, 0, 17, 30, actual));
        EXPECT_EQ(ozmu_irsz(dispatched.p, src.origin(), 0, 0), 0);
        EXPECT_EQ(named[i](direct.p, src.origin(), 0, 0), 0) << "layout " << l.code;
        EXPECT_TRUE(ozmu::test::same_planes(expected, actual)) << "layout " << l.code;

        Plane untouched = picture(17, 30, other.out_bytes, 0, false);
        Handle wrong(params(other, 10, 37, 23, src, 0, 17, 30, untouched));
        EXPECT_EQ(named[i](wrong.p, src.origin(), 0, 0), OZMU_ERR_INVALID_ARG) << l.code;
        EXPECT_EQ(named[i](nullptr, src.origin(), 0, 0), OZMU_ERR_INVALID_ARG) << l.code;
        EXPECT_TRUE(std::all_of(untouched.bytes().begin(), untouched.bytes().end(),
                                [](uint8_t b) { return b == Plane::kCanary; }))
            << "layout " << l.code;
    }
}

// A one-row or one-column source: the zero-weight neighbour past it is never read.
TEST(irsz, OneSampleAxisStaysInsidePicture)
{
    for (const LayoutInfo &l : kLayouts)
        for (const Sizes &s : {Sizes{1, 1, 5, 3}, Sizes{9, 1, 4, 6}, Sizes{1, 9, 3, 4}}) {
            const size_t bytes = static_cast<size_t>(s.src_w) * s.src_h * l.in_bytes;
            ozmu::test::PageGuardedBuffer src(bytes);
            std::memset(src.data(), 0x3C, bytes);
            std::vector<uint8_t> dst(static_cast<size_t>(s.dst_w) * s.dst_h * l.out_bytes);
            for (int mode : {10, 11}) {
                const ozmu_irsz_param p{l.code, mode,    s.src_w, s.src_h, s.src_w,
                                        16,     s.dst_w, s.dst_h, s.dst_w, dst.data()};
                Handle h(p);
                ozmu_irsz(h.p, src.data(), 0, 16);
            }
        }
}

// Each slice comes in its own buffer of exactly slice_rows rows (ASan sees reads past it), the
// rows past the picture filled with noise. A row split across slices is defined only when its
// lower source row comes with the next slice; with 8-row slices and a vertical shift of 4 (the
// 300x41 -> 7x1 case) it comes two slices on, which is otherwise undefined: this resizer keeps
// the row waiting until it arrives, and the case checks that.
TEST(irsz, SlicesMatchWholePicture)
{
    Rng rng(2);
    const Sizes cases[] = {{37, 70, 17, 31}, {64, 96, 21, 31}, {90, 100, 11, 9}, {300, 41, 7, 1},
                           {13, 19, 40, 57}, {24, 40, 24, 40}, {5, 1, 5, 3},     {20, 33, 30, 34}};
    for (const LayoutInfo &l : kLayouts)
        for (const Sizes &s : cases)
            for (int slice_rows : {8, 16, 32}) {
                Plane src = picture(s.src_w, s.src_h, l.in_bytes, 1, false);
                Plane whole = picture(s.dst_w, s.dst_h, l.out_bytes, 0, slice_rows == 16);
                Plane sliced = picture(s.dst_w, s.dst_h, l.out_bytes, 0, slice_rows == 16);
                Handle w(params(l, 10, s.src_w, s.src_h, src, slice_rows, s.dst_w, s.dst_h, whole));
                Handle h(
                    params(l, 11, s.src_w, s.src_h, src, slice_rows, s.dst_w, s.dst_h, sliced));
                ASSERT_NE(h.p, nullptr);
                const size_t stride = static_cast<size_t>(src.stride());
                for (int picture_no = 0; picture_no < 2; ++picture_no) {  // y0 = 0 restarts
                    src.fill(rng, ozmu::test::kAllPatterns[picture_no * 5], 0, 255);
                    ozmu_irsz(w.p, src.origin(), 0, 0);
                    for (int y0 = 0; y0 < s.src_h; y0 += slice_rows) {
                        std::vector<uint8_t> slice(stride * slice_rows);
                        rng.fill(slice.data(), slice.size());
                        const int rows = std::min(slice_rows, s.src_h - y0);
                        std::memcpy(slice.data(), src.row(y0), stride * rows);
                        EXPECT_EQ(ozmu_irsz(h.p, slice.data(), y0, slice_rows), 0);
                    }
                    ASSERT_TRUE(ozmu::test::same_planes(whole, sliced))
                        << "layout " << l.code << " " << s.src_w << "x" << s.src_h << " -> "
                        << s.dst_w << "x" << s.dst_h << " slices of " << slice_rows;
                }
            }
}

// One output row of layouts 20 and 29, every tier's version against the reference: every tail
// of the widest step (64 bytes), sources that end inside each vector step, steps on both sides
// of the largest a register window holds (two source pixels), every shift, every phase, extreme
// samples, source rows flush against an inaccessible page and canaries on both sides of the
// output.
TEST(irsz, RowsMatchReference)
{
    Rng rng(3);
    using ozmu::irsz::Table;
    struct Rows {
        int bytes;
        ozmu::irsz::LineFn ref;
        ozmu::irsz::LineFn Table::*entry;
    };
    const Rows kinds[] = {{1, ozmu::ref::irsz8b_line, &Table::irsz8b_line},
                          {4, ozmu::ref::irsz8b8b8b8b_line, &Table::irsz8b8b8b8b_line}};
    constexpr int kGuard = 32;
    for (const Rows &k : kinds) {
        const auto versions = ozmu::test::versions(&ozmu::irsz::table_for, k.entry);
        for (int dst_w : ozmu::test::tail_widths(64 / k.bytes)) {
            // Shifts 0 to 4; at 200x the taps are too far apart for the 1-byte rows' table.
            const int sources[] = {
                dst_w,           2 * dst_w - 1,  2 * dst_w + 1, 5 * dst_w / 2, 3 * dst_w + 1,
                5 * dst_w,       10 * dst_w + 3, 40 * dst_w,    200 * dst_w,   1,
                (dst_w + 1) / 2, dst_w + 17};
            for (int src_w : sources) {
                if (src_w > 8192 || src_w < 1)
                    continue;
                uint8_t out[8] = {};
                const ozmu_irsz_param p{
                    k.bytes == 1 ? 20 : 29, 10, src_w, 2, src_w, 0, dst_w, 2, dst_w, out};
                Handle h(p);
                const size_t row_bytes = static_cast<size_t>(src_w) * k.bytes;
                ozmu::test::PageGuardedBuffer top(row_bytes), bottom(row_bytes);
                for (Pattern pattern : ozmu::test::kAllPatterns) {
                    ozmu::test::fill_pattern(rng, pattern, top.data(), row_bytes, 1, 0, 255);
                    ozmu::test::fill_pattern(rng, pattern, bottom.data(), row_bytes, 1, 0, 255);
                    for (int v = 0; v < 8; ++v) {
                        std::vector<uint8_t> expected(size_t(dst_w) * k.bytes + 2 * kGuard, 0x5A);
                        k.ref(h.record(), top.data(), bottom.data(), v, expected.data() + kGuard);
                        for (const auto &version : versions) {
                            std::vector<uint8_t> actual(expected.size(), 0x5A);
                            version.fn(h.record(), top.data(), bottom.data(), v,
                                       actual.data() + kGuard);
                            ASSERT_TRUE(ozmu::test::same_bytes(expected.data(), actual.data(),
                                                               expected.size()))
                                << version.tier << ", " << k.bytes << "-byte pixels, " << src_w
                                << " -> " << dst_w << ", v " << v;
                        }
                    }
                }
            }
        }
    }
}

// Whole pictures of layouts 20 and 29 through every tier's version, against the reference: the
// benchmark's sizes, a ratio of 3 (rows compacted to every second pixel first), odd strides.
TEST(irsz, WholePictureVersionsMatchReference)
{
    Rng rng(4);
    using ozmu::irsz::Table;
    struct Full {
        const LayoutInfo &layout;
        void (*ref)(const ozmu::irsz::Handle &, const uint8_t *);
        void (*Table::*entry)(const ozmu::irsz::Handle &, const uint8_t *);
    };
    const Full kinds[] = {{kLayouts[0], ozmu::ref::irsz8b_full, &Table::irsz8b_full},
                          {kLayouts[4], ozmu::ref::irsz8b8b8b8b_full, &Table::irsz8b8b8b8b_full}};
    for (const Full &k : kinds) {
        const auto versions = ozmu::test::versions(&ozmu::irsz::table_for, k.entry);
        for (const Sizes &s : {Sizes{1920, 1080, 1280, 720}, Sizes{641, 37, 427, 29},
                               Sizes{97, 61, 13, 40}, Sizes{1283, 41, 401, 13}})
            for (const auto &version : versions) {
                const bool negative = s.src_w & 1;
                Plane src = picture(s.src_w, s.src_h, k.layout.in_bytes, 1, negative);
                src.fill(rng, Pattern::Random, 0, 255);
                Plane expected = picture(s.dst_w, s.dst_h, k.layout.out_bytes, 2, !negative);
                Plane actual = picture(s.dst_w, s.dst_h, k.layout.out_bytes, 2, !negative);
                Handle e(
                    params(k.layout, 10, s.src_w, s.src_h, src, 0, s.dst_w, s.dst_h, expected));
                Handle a(params(k.layout, 10, s.src_w, s.src_h, src, 0, s.dst_w, s.dst_h, actual));
                ASSERT_NE(a.p, nullptr);
                k.ref(e.record(), src.origin());
                version.fn(a.record(), src.origin());
                ASSERT_TRUE(ozmu::test::same_planes(expected, actual))
                    << version.tier << ", layout " << k.layout.code << " " << s.src_w << "x"
                    << s.src_h << " -> " << s.dst_w << "x" << s.dst_h;
            }
    }
}
