// Image resizer: creation codes, every layout against a per-pixel model of the bilinear walk,
// slices against whole pictures, and the NEON rows against the reference rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "checkasm.h"
#include "csc/resizer.h"
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

int model_shift(int ratio)
{
    return ratio <= 2 ? 0 : ratio <= 4 ? 1 : ratio <= 8 ? 2 : ratio <= 16 ? 3 : 4;
}

struct Axis {
    int step, shift;
};
Axis model_axis(int src, int dst)
{
    const int shift = model_shift(src / dst);
    return {(((src - 1) >> shift) << 18) / dst, shift};
}

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

// Writes the model's picture into `out`. A tap past the last row or column only occurs for a
// one-sample axis, where its weight is 0: it is read at the last sample instead.
void model(const LayoutInfo &l, Plane &src, int src_w, int src_h, Plane &out, int dst_w,
           int dst_h)
{
    const Axis ax = model_axis(src_w, dst_w), ay = model_axis(src_h, dst_h);
    for (int r = 0; r < dst_h; ++r) {
        const int y = r * ay.step, v = (y >> 15) & 7;
        const int top = (y >> 18) << ay.shift;
        const int bottom = std::min(((y >> 18) + 1) << ay.shift, src_h - 1);
        for (int i = 0; i < dst_w; ++i) {
            const int x = i * ax.step, h = (x >> 15) & 7;
            const int left = (x >> 18) << ax.shift;
            const int right = std::min(((x >> 18) + 1) << ax.shift, src_w - 1);
            auto at = [&](int row, int col) {
                return channels(l, src.row(row) + col * l.in_bytes);
            };
            const auto tl = at(top, left), tr = at(top, right), bl = at(bottom, left),
                       br = at(bottom, right);
            std::vector<int> f(tl.size());
            for (size_t c = 0; c < f.size(); ++c)
                f[c] = ((8 - h) * (8 - v) * tl[c] + h * (8 - v) * tr[c] + (8 - h) * v * bl[c] +
                        h * v * br[c]) >> 6;
            store(l, f, out.row(r) + i * l.out_bytes);
        }
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
    return {l.code,    mode,  src_w, src_h, src.stride() / l.in_bytes, slice_rows, dst_w,
            dst_h,     dst.stride() / l.out_bytes, dst.origin()};
}

struct Sizes {
    int src_w, src_h, dst_w, dst_h;
};
// Down by 2 and 3 (shift 1), 9 (shift 3) and 40 (shift 4), up, equal, one-sample sources.
constexpr Sizes kSizes[] = {{37, 23, 17, 11}, {64, 48, 21, 15}, {100, 74, 11, 8}, {300, 41, 7, 1},
                            {13, 9, 40, 29},  {24, 24, 24, 24}, {1, 1, 5, 3},    {1, 7, 3, 2}};

}  // namespace

TEST(irsz, CreationReportsCodes)
{
    uint8_t out[64];
    ozmu_irsz_param p{29, 10, 8, 8, 8, 8, 4, 4, 4, out};
    int err = 77;
    void *h = ozmu_irsz_create(&p, &err);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(err, 0);
    ozmu_irsz_delete(h);
    ozmu_irsz_delete(nullptr);

    for (int mode : {12, 9, 0}) {
        p.mode = mode;
        EXPECT_EQ(ozmu_irsz_create(&p, &err), nullptr);
        EXPECT_EQ(err, -2) << mode;
    }
    p.layout = 22;  // the mode is checked first
    EXPECT_EQ(ozmu_irsz_create(&p, &err), nullptr);
    EXPECT_EQ(err, -2);
    p.mode = 11;
    for (int layout : {22, 24, 26, 27, 28, 19, 30, 0}) {
        p.layout = layout;
        err = 77;
        EXPECT_EQ(ozmu_irsz_create(&p, &err), nullptr);
        EXPECT_EQ(err, -4) << layout;
        EXPECT_EQ(ozmu_irsz_create(&p, nullptr), nullptr);
    }
    // -3 (allocation failure) cannot be forced from here.
}

TEST(irsz, WeightTableAndWalk)
{
    for (int h = 0; h < 8; ++h)
        for (int v = 0; v < 8; ++v) {
            const uint8_t *e = ozmu_irsz_tbl_rsz_weight + 32 * h + 4 * v;
            EXPECT_EQ(e[0], (8 - h) * (8 - v));
            EXPECT_EQ(e[1], h * (8 - v));
            EXPECT_EQ(e[2], (8 - h) * v);
            EXPECT_EQ(e[3], h * v);
        }
    uint8_t out[4096];
    ozmu_irsz_param p{20, 10, 640, 480, 640, 16, 640, 160, 640, out};
    Handle equal(p);
    EXPECT_EQ(equal.record().xstep, (639 << 18) / 640);  // just below one sample
    EXPECT_EQ(equal.record().xshift, 0);
    EXPECT_EQ(equal.record().yshift, 1);  // ratio 3: samples two apart
    EXPECT_EQ(equal.record().ystep, ((479 >> 1) << 18) / 160);
}

TEST(irsz, GreenOf565FromBytesRepeatsTopBits)
{
    const LayoutInfo l = kLayouts[2];
    for (const auto &[f1, green] : {std::pair{0xFC, 0b111111}, std::pair{0x9F, 0b100100}}) {
        Plane src = picture(4, 4, 3, 0, false), dst = picture(3, 3, 2, 0, false);
        for (int r = 0; r < 4; ++r)
            for (int i = 0; i < 4; ++i) {
                uint8_t *px = src.row(r) + 3 * i;
                px[0] = 0x00, px[1] = static_cast<uint8_t>(f1), px[2] = 0x00;
            }
        Handle h(params(l, 10, 4, 4, src, 0, 3, 3, dst));
        ozmu_irsz(h.p, src.origin(), 0, 0);
        const int word = dst.row(1)[2] | dst.row(1)[3] << 8;
        EXPECT_EQ(word, green << 5) << std::hex << f1;
    }
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
                    << "layout " << l.code << " " << s.src_w << "x" << s.src_h << " -> "
                    << s.dst_w << "x" << s.dst_h << " variant " << variant;
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
                const ozmu_irsz_param p{l.code, mode,  s.src_w,  s.src_h, s.src_w,
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
                Handle h(params(l, 11, s.src_w, s.src_h, src, slice_rows, s.dst_w, s.dst_h,
                                sliced));
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

#if OZMU_HAVE_NEON
// One output row of layouts 20 and 29, NEON against the reference: every output width up to
// 33 plus long ones, sources that end inside each vector step, every phase, extreme samples,
// source rows flush against an inaccessible page and canaries on both sides of the output.
TEST(irsz, NeonRowsMatchReference)
{
    Rng rng(3);
    struct Rows {
        int bytes;
        ozmu::irsz::LineFn ref, neon;
    };
    const Rows kinds[] = {{1, ozmu::ref::irsz8b_line, ozmu::neon::irsz8b_line},
                          {4, ozmu::ref::irsz8b8b8b8b_line, ozmu::neon::irsz8b8b8b8b_line}};
    constexpr int kGuard = 32;
    for (const Rows &k : kinds)
        for (int dst_w : ozmu::test::tail_widths(16)) {
            // Shifts 0 to 4; at 200x the taps are too far apart for the 1-byte rows' table.
            const int sources[] = {dst_w,      2 * dst_w - 1, 3 * dst_w + 1,   5 * dst_w,
                                   10 * dst_w + 3, 40 * dst_w, 200 * dst_w, (dst_w + 1) / 2,
                                   1,          dst_w + 17};
            for (int src_w : sources) {
                if (src_w > 8192)
                    continue;
                uint8_t out[8] = {};
                const ozmu_irsz_param p{k.bytes == 1 ? 20 : 29, 10, src_w, 2, src_w, 0, dst_w, 2,
                                        dst_w, out};
                Handle h(p);
                const size_t row_bytes = static_cast<size_t>(src_w) * k.bytes;
                ozmu::test::PageGuardedBuffer top(row_bytes), bottom(row_bytes);
                for (Pattern pattern : ozmu::test::kAllPatterns) {
                    ozmu::test::fill_pattern(rng, pattern, top.data(), row_bytes, 1, 0, 255);
                    ozmu::test::fill_pattern(rng, pattern, bottom.data(), row_bytes, 1, 0, 255);
                    for (int v = 0; v < 8; ++v) {
                        std::vector<uint8_t> expected(size_t(dst_w) * k.bytes + 2 * kGuard, 0x5A);
                        std::vector<uint8_t> actual = expected;
                        k.ref(h.record(), top.data(), bottom.data(), v, expected.data() + kGuard);
                        k.neon(h.record(), top.data(), bottom.data(), v, actual.data() + kGuard);
                        ASSERT_TRUE(ozmu::test::same_bytes(expected.data(), actual.data(),
                                                           expected.size()))
                            << k.bytes << "-byte pixels, " << src_w << " -> " << dst_w << ", v "
                            << v;
                    }
                }
            }
        }
}
#endif
