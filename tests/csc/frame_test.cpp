// Frame conversion (ozmu_convert): every conversion against a double-precision model of the same
// chroma mode, the checks that refuse a call before anything is written, row bands, strides,
// scaling, and every tier's table against the reference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "checkasm.h"
#include "csc/frame.h"
#include "ozmu.h"

namespace {

using ozmu::test::Rng;

// Planes with canary bytes before, between and after the rows; the stride may be padded or
// negative.
class TestFrame {
public:
    static constexpr uint8_t kCanary = 0x5A;
    static constexpr int kMargin = 48;

    TestFrame(int format, int width, int height, int extra = 8, bool negative = false)
    {
        f_ = {};
        f_.format = format;
        f_.width = width;
        f_.height = height;
        size_t min_stride[4];
        EXPECT_EQ(ozmu_frame_layout(format, width, height, &planes_, min_stride, rows_), OZMU_OK);
        for (int p = 0; p < planes_; ++p) {
            width_bytes_[p] = min_stride[p];
            const ptrdiff_t stride = static_cast<ptrdiff_t>(min_stride[p]) + extra;
            storage_[p].assign(static_cast<size_t>(stride) * rows_[p] + 2 * kMargin, kCanary);
            uint8_t *first = storage_[p].data() + kMargin;
            f_.plane[p] = negative ? first + stride * (rows_[p] - 1) : first;
            f_.stride[p] = negative ? -stride : stride;
        }
    }

    ozmu_frame &frame() { return f_; }
    int planes() const { return planes_; }
    int rows(int p) const { return rows_[p]; }
    size_t row_bytes(int p) const { return width_bytes_[p]; }
    uint8_t *row(int p, int y) { return f_.plane[p] + f_.stride[p] * y; }
    std::vector<uint8_t> bytes() const
    {
        std::vector<uint8_t> all;
        for (int p = 0; p < planes_; ++p)
            all.insert(all.end(), storage_[p].begin(), storage_[p].end());
        return all;
    }
    void fill(Rng &rng)
    {
        for (int p = 0; p < planes_; ++p)
            for (int y = 0; y < rows_[p]; ++y)
                rng.fill(row(p, y), width_bytes_[p]);
    }
    bool margins_intact()
    {
        for (int p = 0; p < planes_; ++p) {
            std::vector<uint8_t> copy = storage_[p];
            for (int y = 0; y < rows_[p]; ++y)
                std::memset(copy.data() + (row(p, y) - storage_[p].data()), kCanary,
                            width_bytes_[p]);
            if (std::any_of(copy.begin(), copy.end(), [](uint8_t b) { return b != kCanary; }))
                return false;
        }
        return true;
    }

private:
    ozmu_frame f_;
    int planes_ = 0, rows_[4] = {};
    size_t width_bytes_[4] = {};
    std::vector<uint8_t> storage_[4];
};

ozmu_convert_opts options(int matrix = 0, int src_range = 0, int dst_range = 0, int chroma = 0,
                          int siting = 0)
{
    ozmu_convert_opts o;
    ozmu_convert_opts_init(&o);
    o.matrix = matrix;
    o.src_range = src_range;
    o.dst_range = dst_range;
    o.chroma = chroma;
    o.siting = siting;
    return o;
}

// ---- The double-precision model ----------------------------------------------------------------

struct Matrix {
    double kr, kb;
};
constexpr Matrix kMatrices[] = {{0.299, 0.114}, {0.2126, 0.0722}, {0.2627, 0.0593}};

struct Triple {
    double a, b, c;
};

bool ten_bit(int f) { return f == OZMU_PIX_I010 || f == OZMU_PIX_P010; }

// A YUV source sample in 8-bit code units (10-bit samples / 4).
double sample(TestFrame &t, int plane, int x, int y, int pair = 0)
{
    const int f = t.frame().format;
    const bool interleaved = f == OZMU_PIX_NV12 || f == OZMU_PIX_NV21 || f == OZMU_PIX_P010;
    const int index = plane > 0 && interleaved ? 2 * x + pair : x;
    const uint8_t *r = t.row(plane, y);
    if (!ten_bit(f))
        return r[index];
    const int word = r[2 * index] | (r[2 * index + 1] << 8);
    return (f == OZMU_PIX_P010 ? word >> 6 : word & 1023) / 4.0;
}

// Chroma sample k (0: U, 1: V) at chroma coordinates.
double chroma_sample(TestFrame &t, int k, int cx, int cy)
{
    switch (t.frame().format) {
    case OZMU_PIX_YV12: return sample(t, 2 - k, cx, cy);
    case OZMU_PIX_NV12:
    case OZMU_PIX_P010: return sample(t, 1, cx, cy, k);
    case OZMU_PIX_NV21: return sample(t, 1, cx, cy, 1 - k);
    default: return sample(t, 1 + k, cx, cy);
    }
}

void subsampling(int f, int &sx, int &sy)
{
    sx = f == OZMU_PIX_I444 ? 1 : 2;
    sy = f == OZMU_PIX_I444 || f == OZMU_PIX_I422 ? 1 : 2;
}

// Y, U, V of source pixel (x, y), chroma as the mode and siting define it.
Triple model_yuv(TestFrame &t, int x, int y, const ozmu_convert_opts &o)
{
    const int f = t.frame().format, w = t.frame().width, h = t.frame().height;
    const double luma = sample(t, 0, x, y);
    if (f == OZMU_PIX_GRAY8)
        return {luma, 128, 128};
    int sx, sy;
    subsampling(f, sx, sy);
    const int cw = (w + sx - 1) / sx, ch = (h + sy - 1) / sy;
    double uv[2];
    for (int k = 0; k < 2; ++k) {
        if (o.chroma == OZMU_CHROMA_FAST) {
            uv[k] = chroma_sample(t, k, x / sx, y / sy);
            continue;
        }
        const double cx = sx == 1 ? x : o.siting == OZMU_SITING_LEFT ? x / 2.0 : (x - 0.5) / 2;
        const double cy = sy == 1 ? y : (y - 0.5) / 2;
        const int x0 = static_cast<int>(std::floor(cx)), y0 = static_cast<int>(std::floor(cy));
        const double fx = cx - x0, fy = cy - y0;
        const auto at = [&](int i, int j) {
            return chroma_sample(t, k, std::clamp(i, 0, cw - 1), std::clamp(j, 0, ch - 1));
        };
        uv[k] = (1 - fy) * ((1 - fx) * at(x0, y0) + fx * at(x0 + 1, y0)) +
                fy * ((1 - fx) * at(x0, y0 + 1) + fx * at(x0 + 1, y0 + 1));
    }
    return {luma, uv[0], uv[1]};
}

Triple model_rgb(Triple yuv, int matrix, int full)
{
    const Matrix m = kMatrices[matrix];
    const double kg = 1 - m.kr - m.kb;
    const double ey = full ? yuv.a / 255 : (yuv.a - 16) / 219;
    const double cb = (yuv.b - 128) / (full ? 255 : 224), cr = (yuv.c - 128) / (full ? 255 : 224);
    return {255 * (ey + 2 * (1 - m.kr) * cr),
            255 * (ey - 2 * m.kb * (1 - m.kb) / kg * cb - 2 * m.kr * (1 - m.kr) / kg * cr),
            255 * (ey + 2 * (1 - m.kb) * cb)};
}

int round_clamp(double v) { return std::clamp(static_cast<int>(std::floor(v + 0.5)), 0, 255); }

struct ErrorStats {
    int max = 0;
    double sum = 0;
    long count = 0;
    void add(int got, int want)
    {
        const int e = std::abs(got - want);
        max = std::max(max, e);
        sum += e;
        ++count;
    }
};

struct PackedFormat {
    int format, bytes, r, g, b, a;
};
constexpr PackedFormat kPacked[] = {
    {OZMU_PIX_RGBA, 4, 0, 1, 2, 3},   {OZMU_PIX_BGRA, 4, 2, 1, 0, 3},
    {OZMU_PIX_ARGB, 4, 1, 2, 3, 0},   {OZMU_PIX_RGB24, 3, 0, 1, 2, -1},
    {OZMU_PIX_BGR24, 3, 2, 1, 0, -1},
};

// Checks every pixel of an unscaled YUV to RGB conversion against the model; 5-6-5 against the
// model's top bits.
void check_yuv_to_rgb(TestFrame &src, TestFrame &dst, const ozmu_convert_opts &o, ErrorStats &st)
{
    const int df = dst.frame().format;
    for (int y = 0; y < dst.frame().height; ++y)
        for (int x = 0; x < dst.frame().width; ++x) {
            const Triple want = model_rgb(model_yuv(src, x, y, o), o.matrix, o.src_range);
            const int w[3] = {round_clamp(want.a), round_clamp(want.b), round_clamp(want.c)};
            const uint8_t *px = dst.row(0, y);
            if (df == OZMU_PIX_RGB565) {
                const int word = px[2 * x] | (px[2 * x + 1] << 8);
                const int got[3] = {word >> 11, (word >> 5) & 63, word & 31};
                const int shift[3] = {3, 2, 3};
                for (int c = 0; c < 3; ++c)
                    ASSERT_LE(std::abs(got[c] - (w[c] >> shift[c])), 1) << x << "," << y;
                continue;
            }
            const PackedFormat &pf =
                *std::find_if(std::begin(kPacked), std::end(kPacked),
                              [&](const PackedFormat &p) { return p.format == df; });
            px += pf.bytes * x;
            const int got[3] = {px[pf.r], px[pf.g], px[pf.b]};
            for (int c = 0; c < 3; ++c) {
                st.add(got[c], w[c]);
                ASSERT_LE(std::abs(got[c] - w[c]), 1)
                    << "pixel " << x << "," << y << " channel " << c << " model " << want.a << " "
                    << want.b << " " << want.c;
            }
            if (pf.a >= 0) {
                ASSERT_EQ(px[pf.a], 255);
            }
        }
}

constexpr int kYuvSources[] = {OZMU_PIX_I420,  OZMU_PIX_YV12, OZMU_PIX_NV12,
                               OZMU_PIX_NV21,  OZMU_PIX_I422, OZMU_PIX_I444,
                               OZMU_PIX_GRAY8, OZMU_PIX_I010, OZMU_PIX_P010};

// ---- YUV to RGB --------------------------------------------------------------------------------

TEST(Frame, YuvToRgbWithinOneOfTheModelInEveryMode)
{
    Rng rng(1);
    for (int sf : kYuvSources)
        for (int matrix = 0; matrix < 3; ++matrix)
            for (int range = 0; range < 2; ++range)
                for (int mode = 0; mode < 4; ++mode) {
                    SCOPED_TRACE(testing::Message() << "source " << sf << " matrix " << matrix
                                                    << " range " << range << " mode " << mode);
                    // Odd sizes: the last chroma column and row cover one luma column and row.
                    TestFrame src(sf, 13, 7), dst(OZMU_PIX_RGBA, 13, 7);
                    src.fill(rng);
                    const auto o = options(matrix, range, 0, mode & 1, mode >> 1);
                    ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), &o), OZMU_OK);
                    ErrorStats st;
                    check_yuv_to_rgb(src, dst, o, st);
                    ASSERT_TRUE(dst.margins_intact());
                }
}

TEST(Frame, EveryRgbDestinationLayout)
{
    Rng rng(2);
    for (int df : {OZMU_PIX_RGBA, OZMU_PIX_BGRA, OZMU_PIX_ARGB, OZMU_PIX_RGB24, OZMU_PIX_BGR24,
                   OZMU_PIX_RGB565}) {
        TestFrame src(OZMU_PIX_NV12, 10, 6), dst(df, 10, 6, 3, true);
        src.fill(rng);
        const auto o = options(1, 0);
        ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), &o), OZMU_OK);
        ErrorStats st;
        check_yuv_to_rgb(src, dst, o, st);
        EXPECT_TRUE(dst.margins_intact()) << df;
    }
}

// The matrix step alone, on every 8-bit (Y, U, V) (a sample of Y under emulation).
TEST(Frame, MatrixStepWithinOneForEveryInput)
{
#if defined(__aarch64__) || defined(__SANITIZE_ADDRESS__)
    constexpr int kYStep = 17;
#else
    constexpr int kYStep = 1;
#endif
    std::vector<int16_t> y(65536), u(65536), v(65536);
    std::vector<uint8_t> out(4 * 65536);
    for (int i = 0; i < 65536; ++i) {
        u[i] = static_cast<int16_t>((i & 255) << 6);
        v[i] = static_cast<int16_t>((i >> 8) << 6);
    }
    for (int matrix = 0; matrix < 3; ++matrix)
        for (int full = 0; full < 2; ++full) {
            const auto m = ozmu::frame::yuv_to_rgb_coefficients(matrix, full);
            int worst = 0;
            for (int luma = 0; luma < 256; luma += kYStep) {
                std::fill(y.begin(), y.end(), static_cast<int16_t>(luma << 6));
                ozmu::ref::yuv_to_rgba(y.data(), u.data(), v.data(), m, 65536, out.data());
                for (int i = 0; i < 65536; ++i) {
                    const Triple want =
                        model_rgb({double(luma), double(i & 255), double(i >> 8)}, matrix, full);
                    worst = std::max({worst, std::abs(out[4 * i] - round_clamp(want.a)),
                                      std::abs(out[4 * i + 1] - round_clamp(want.b)),
                                      std::abs(out[4 * i + 2] - round_clamp(want.c))});
                }
            }
            EXPECT_LE(worst, 1) << "matrix " << matrix << " full " << full;
        }
}

// Measured accuracy of I420 to RGBA per matrix, range and mode (the figures in the docs).
TEST(Frame, AccuracyFigures)
{
    Rng rng(3);
    for (int matrix = 0; matrix < 3; ++matrix)
        for (int range = 0; range < 2; ++range)
            for (int mode = 0; mode < 4; ++mode) {
                TestFrame src(OZMU_PIX_I420, 64, 32), dst(OZMU_PIX_RGBA, 64, 32);
                src.fill(rng);
                const auto o = options(matrix, range, 0, mode & 1, mode >> 1);
                ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), &o), OZMU_OK);
                ErrorStats st;
                check_yuv_to_rgb(src, dst, o, st);
                std::printf("I420->RGBA matrix %d range %d chroma %d siting %d: max %d mean %.4f\n",
                            matrix, range, mode & 1, mode >> 1, st.max, st.sum / st.count);
            }
}

// ---- RGB to YUV, RGB to RGB, YUV to YUV --------------------------------------------------------

TEST(Frame, RgbToYuvWithinOneOfTheModel)
{
    Rng rng(4);
    ErrorStats stats[3][2][2];  // matrix, range, luma / chroma
    for (const PackedFormat &pf : kPacked)
        for (int df : {OZMU_PIX_I420, OZMU_PIX_NV12})
            for (int matrix = 0; matrix < 3; ++matrix)
                for (int range = 0; range < 2; ++range)
                    for (int siting = 0; siting < 2; ++siting) {
                        SCOPED_TRACE(testing::Message()
                                     << pf.format << "->" << df << " matrix " << matrix << " range "
                                     << range << " siting " << siting);
                        const int w = 33, h = 17;
                        TestFrame src(pf.format, w, h), dst(df, w, h);
                        src.fill(rng);
                        const auto o = options(matrix, 0, range, 0, siting);
                        ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), &o), OZMU_OK);
                        ASSERT_TRUE(dst.margins_intact());
                        const Matrix m = kMatrices[matrix];
                        const double ys = range ? 255 : 219, cs = range ? 255 : 224;
                        const auto yuv = [&](int x, int y) {
                            const uint8_t *p = src.row(0, std::clamp(y, 0, h - 1)) +
                                               pf.bytes * std::clamp(x, 0, w - 1);
                            const double r = p[pf.r], g = p[pf.g], b = p[pf.b];
                            const double ey = m.kr * r + (1 - m.kr - m.kb) * g + m.kb * b;
                            return Triple{(range ? 0 : 16) + ys / 255 * ey,
                                          128 + cs / 255 * (b - ey) / (2 * (1 - m.kb)),
                                          128 + cs / 255 * (r - ey) / (2 * (1 - m.kr))};
                        };
                        for (int y = 0; y < h; ++y)
                            for (int x = 0; x < w; ++x)
                                stats[matrix][range][0].add(dst.row(0, y)[x],
                                                            round_clamp(yuv(x, y).a));
                        for (int cy = 0; cy < (h + 1) / 2; ++cy)
                            for (int cx = 0; cx < (w + 1) / 2; ++cx) {
                                double su = 0, sv = 0;
                                const int cols[3] = {2 * cx - 1, 2 * cx, 2 * cx + 1};
                                const double wl[3] = {1, 2, 1}, wc[3] = {0, 2, 2};
                                for (int r = 0; r < 2; ++r)
                                    for (int c = 0; c < 3; ++c) {
                                        const double wt = siting ? wc[c] : wl[c];
                                        su += wt * yuv(cols[c], 2 * cy + r).b;
                                        sv += wt * yuv(cols[c], 2 * cy + r).c;
                                    }
                                const uint8_t *u = df == OZMU_PIX_NV12 ? dst.row(1, cy) + 2 * cx
                                                                       : dst.row(1, cy) + cx;
                                const uint8_t *v =
                                    df == OZMU_PIX_NV12 ? u + 1 : dst.row(2, cy) + cx;
                                stats[matrix][range][1].add(*u, round_clamp(su / 8));
                                stats[matrix][range][1].add(*v, round_clamp(sv / 8));
                            }
                    }
    for (int matrix = 0; matrix < 3; ++matrix)
        for (int range = 0; range < 2; ++range) {
            const ErrorStats &l = stats[matrix][range][0], &c = stats[matrix][range][1];
            std::printf(
                "RGB->YUV matrix %d range %d: Y max %d mean %.4f, chroma max %d mean %.4f\n",
                matrix, range, l.max, l.sum / l.count, c.max, c.sum / c.count);
            EXPECT_LE(l.max, 1);
            EXPECT_LE(c.max, 1);
        }
}

TEST(Frame, RgbToRgbReordersExactly)
{
    Rng rng(5);
    for (const PackedFormat &sp : kPacked)
        for (const PackedFormat &dp : kPacked) {
            TestFrame src(sp.format, 9, 3), dst(dp.format, 9, 3);
            src.fill(rng);
            ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), nullptr), OZMU_OK);
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < 9; ++x) {
                    const uint8_t *s = src.row(0, y) + sp.bytes * x,
                                  *d = dst.row(0, y) + dp.bytes * x;
                    ASSERT_EQ(d[dp.r], s[sp.r]);
                    ASSERT_EQ(d[dp.g], s[sp.g]);
                    ASSERT_EQ(d[dp.b], s[sp.b]);
                    if (dp.a >= 0) {
                        ASSERT_EQ(d[dp.a], sp.a >= 0 ? s[sp.a] : 255);
                    }
                }
            EXPECT_TRUE(dst.margins_intact());
        }
    TestFrame src(OZMU_PIX_RGBA, 5, 2), dst(OZMU_PIX_RGB565, 5, 2);
    src.fill(rng);
    ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), nullptr), OZMU_OK);
    const uint8_t *s = src.row(0, 1) + 4 * 3, *d = dst.row(0, 1) + 2 * 3;
    EXPECT_EQ(d[0] | (d[1] << 8), ((s[0] >> 3) << 11) | ((s[1] >> 2) << 5) | (s[2] >> 3));
}

TEST(Frame, YuvToYuvLayoutAndDepth)
{
    Rng rng(6);
    for (int sf : {OZMU_PIX_I420, OZMU_PIX_NV21, OZMU_PIX_I010, OZMU_PIX_P010, OZMU_PIX_GRAY8})
        for (int df : {OZMU_PIX_I420, OZMU_PIX_NV12}) {
            SCOPED_TRACE(testing::Message() << sf << "->" << df);
            TestFrame src(sf, 7, 5), dst(df, 7, 5);
            src.fill(rng);  // 10-bit words get random bits outside their 10
            ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), nullptr), OZMU_OK);
            ASSERT_TRUE(dst.margins_intact());
            // Exact: 10-bit samples round half up to 8 bits.
            const auto want = [](double v) { return std::min(255, int(std::floor(v + 0.5))); };
            for (int y = 0; y < 5; ++y)
                for (int x = 0; x < 7; ++x)
                    ASSERT_EQ(dst.row(0, y)[x], want(sample(src, 0, x, y)));
            for (int cy = 0; cy < 3; ++cy)
                for (int cx = 0; cx < 4; ++cx)
                    for (int k = 0; k < 2; ++k) {
                        const uint8_t got = df == OZMU_PIX_NV12 ? dst.row(1, cy)[2 * cx + k]
                                                                : dst.row(1 + k, cy)[cx];
                        const int expected =
                            sf == OZMU_PIX_GRAY8 ? 128 : want(chroma_sample(src, k, cx, cy));
                        ASSERT_EQ(got, expected) << cx << "," << cy << " " << k;
                    }
        }
    // Matrix and range stay: a range change between two YUV formats is refused.
    TestFrame src(OZMU_PIX_I420, 4, 4), dst(OZMU_PIX_NV12, 4, 4);
    const auto o = options(0, 0, 1);
    EXPECT_EQ(ozmu_convert(&src.frame(), &dst.frame(), &o), OZMU_FRAME_ERR_OPTION);
}

// ---- Scaling -----------------------------------------------------------------------------------

// One axis of the model: weights of each input for output i (bilinear, centre-aligned, or area).
std::vector<double> model_weights(int in, int out, int i)
{
    std::vector<double> w(static_cast<size_t>(in), 0.0);
    if (in >= 2 * out) {
        const double lo = double(i) * in / out, hi = double(i + 1) * in / out;
        for (int j = 0; j < in; ++j)
            w[j] = std::max(0.0, std::min(hi, j + 1.0) - std::max(lo, double(j))) * out / in;
    } else {
        const double s = (i + 0.5) * in / out - 0.5;
        const int j = static_cast<int>(std::floor(s));
        const double f = s - j;
        w[std::clamp(j, 0, in - 1)] += 1 - f;
        w[std::clamp(j + 1, 0, in - 1)] += f;
    }
    return w;
}

TEST(Frame, ScalingBilinearAndAreaAgainstTheModel)
{
    Rng rng(7);
    const int sizes[][4] = {{7, 5, 19, 11},   {19, 12, 12, 7}, {40, 24, 13, 11},
                            {40, 24, 20, 12}, {33, 9, 8, 17},  {5, 64, 3, 3}};
    for (const auto &s : sizes) {
        SCOPED_TRACE(testing::Message() << s[0] << "x" << s[1] << " -> " << s[2] << "x" << s[3]);
        TestFrame src(OZMU_PIX_GRAY8, s[0], s[1]), dst(OZMU_PIX_I420, s[2], s[3]);
        src.fill(rng);
        ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), nullptr), OZMU_OK);
        ASSERT_TRUE(dst.margins_intact());
        for (int y = 0; y < s[3]; ++y) {
            const auto wy = model_weights(s[1], s[3], y);
            for (int x = 0; x < s[2]; ++x) {
                const auto wx = model_weights(s[0], s[2], x);
                double v = 0;
                for (int j = 0; j < s[1]; ++j)
                    if (wy[j] != 0)
                        for (int i = 0; i < s[0]; ++i)
                            v += wy[j] * wx[i] * src.row(0, j)[i];
                ASSERT_LE(std::abs(dst.row(0, y)[x] - round_clamp(v)), 1) << x << "," << y;
            }
        }
    }
    // Scaled colour: a flat picture stays flat, whatever the path.
    TestFrame src(OZMU_PIX_I420, 37, 21), dst(OZMU_PIX_RGBA, 16, 9);
    for (int p = 0; p < 3; ++p)
        for (int y = 0; y < src.rows(p); ++y)
            std::memset(src.row(p, y), p == 0 ? 120 : p == 1 ? 90 : 170, src.row_bytes(p));
    ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), nullptr), OZMU_OK);
    const Triple want = model_rgb({120, 90, 170}, 0, 0);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 16; ++x)
            ASSERT_LE(std::abs(dst.row(0, y)[4 * x] - round_clamp(want.a)), 1);
}

// Scaled YUV to RGB (bilinear in both axes): luma centre-aligned, chroma at its sited position.
TEST(Frame, ScaledYuvToRgbFollowsTheSitedModel)
{
    Rng rng(10);
    for (int sf : {OZMU_PIX_I420, OZMU_PIX_NV12, OZMU_PIX_I422, OZMU_PIX_P010})
        for (int siting = 0; siting < 2; ++siting) {
            SCOPED_TRACE(testing::Message() << sf << " siting " << siting);
            const int sw = 23, sh = 13, dw = 31, dh = 8;
            TestFrame src(sf, sw, sh), dst(OZMU_PIX_BGRA, dw, dh);
            src.fill(rng);
            const auto o = options(1, 0, 0, 0, siting);
            ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), &o), OZMU_OK);
            int sx, sy;
            subsampling(sf, sx, sy);
            const int cw = (sw + sx - 1) / sx, ch = (sh + sy - 1) / sy;
            // Position of output i on a plane sampled every `factor` luma samples from `offset`.
            const auto lerp = [](double pos, int n, auto &&at) {
                const int i = static_cast<int>(std::floor(pos));
                const double f = pos - i;
                return (1 - f) * at(std::clamp(i, 0, n - 1)) + f * at(std::clamp(i + 1, 0, n - 1));
            };
            for (int y = 0; y < dh; ++y)
                for (int x = 0; x < dw; ++x) {
                    const double lx = (x + 0.5) * sw / dw - 0.5, ly = (y + 0.5) * sh / dh - 0.5;
                    const double luma = lerp(ly, sh, [&](int j) {
                        return lerp(lx, sw, [&](int i) { return sample(src, 0, i, j); });
                    });
                    const double cx = sx == 1 ? lx : (lx - (siting ? 0.5 : 0)) / 2;
                    const double cy = sy == 1 ? ly : (ly - 0.5) / 2;
                    double uv[2];
                    for (int k = 0; k < 2; ++k)
                        uv[k] = lerp(cy, ch, [&](int j) {
                            return lerp(cx, cw, [&](int i) { return chroma_sample(src, k, i, j); });
                        });
                    const Triple want = model_rgb({luma, uv[0], uv[1]}, 1, 0);
                    const uint8_t *px = dst.row(0, y) + 4 * x;
                    ASSERT_LE(std::abs(px[2] - round_clamp(want.a)), 1) << x << "," << y;
                    ASSERT_LE(std::abs(px[1] - round_clamp(want.b)), 1) << x << "," << y;
                    ASSERT_LE(std::abs(px[0] - round_clamp(want.c)), 1) << x << "," << y;
                }
        }
}

// ---- Bands, strides, tiers ---------------------------------------------------------------------

struct Case {
    int src, dst, sw, sh, dw, dh;
};
constexpr Case kCases[] = {
    {OZMU_PIX_I420, OZMU_PIX_RGBA, 17, 9, 17, 9},   {OZMU_PIX_P010, OZMU_PIX_BGRA, 8, 6, 8, 6},
    {OZMU_PIX_NV12, OZMU_PIX_RGB24, 21, 11, 9, 17}, {OZMU_PIX_BGRA, OZMU_PIX_I420, 13, 9, 13, 9},
    {OZMU_PIX_RGBA, OZMU_PIX_NV12, 30, 20, 11, 7},  {OZMU_PIX_I010, OZMU_PIX_I420, 16, 16, 7, 5},
    {OZMU_PIX_I444, OZMU_PIX_RGB565, 5, 3, 5, 3},   {OZMU_PIX_YV12, OZMU_PIX_I420, 40, 20, 20, 10},
};

std::vector<uint8_t> convert_with(const ozmu::frame::Table &t, const Case &c, bool negative,
                                  int row_begin = 0, int row_end = 0, int mode = 0)
{
    Rng rng(8);
    TestFrame src(c.src, c.sw, c.sh, 5, negative), dst(c.dst, c.dw, c.dh, 7, negative);
    src.fill(rng);
    auto o = options(1, 0, 0, mode & 1, mode >> 1);
    o.row_begin = row_begin;
    o.row_end = row_end;
    EXPECT_EQ(ozmu::frame::convert(t, &src.frame(), &dst.frame(), &o), OZMU_OK);
    EXPECT_TRUE(dst.margins_intact());
    // Rows in top-down order, whatever the stride's sign.
    std::vector<uint8_t> rows;
    for (int p = 0; p < dst.planes(); ++p)
        for (int y = 0; y < dst.rows(p); ++y)
            rows.insert(rows.end(), dst.row(p, y), dst.row(p, y) + dst.row_bytes(p));
    return rows;
}

TEST(Frame, BandsAndBottomUpStridesGiveTheWholeFrameBytes)
{
    const auto &ref = ozmu::frame::table_for(0);
    for (const Case &c : kCases)
        for (int mode = 0; mode < 4; ++mode) {
            SCOPED_TRACE(testing::Message() << c.src << "->" << c.dst << " mode " << mode);
            const auto whole = convert_with(ref, c, false, 0, 0, mode);
            EXPECT_EQ(convert_with(ref, c, true, 0, 0, mode), whole);
            // Bands fill in the canary-initialised rows; together they must match whole rows.
            Rng rng(8);
            TestFrame src(c.src, c.sw, c.sh, 5), dst(c.dst, c.dw, c.dh, 7);
            src.fill(rng);
            const int cut[] = {0, std::min(2, c.dh), std::min(4, c.dh), c.dh - 1 - ((c.dh - 1) & 1),
                               c.dh};
            for (int b = 0; b + 1 < 5; ++b) {
                if (cut[b] >= cut[b + 1])
                    continue;
                auto o = options(1, 0, 0, mode & 1, mode >> 1);
                o.row_begin = cut[b];
                o.row_end = cut[b + 1];
                ASSERT_EQ(ozmu_convert(&src.frame(), &dst.frame(), &o), OZMU_OK);
            }
            std::vector<uint8_t> banded;
            for (int p = 0; p < dst.planes(); ++p)
                for (int y = 0; y < dst.rows(p); ++y)
                    banded.insert(banded.end(), dst.row(p, y), dst.row(p, y) + dst.row_bytes(p));
            EXPECT_EQ(banded, whole);
        }
}

// The fused 4:2:0 row kernels give the staged path's bytes (the driver takes the staged path
// when a table has no fused entry).
TEST(Frame, FusedRowsEqualTheStagedDefinition)
{
    const auto fused = ozmu::frame::table_for(0);
    auto staged = fused;
#define OZMU_FRAME_CLEAR(fmt) staged.yuv420_to_##fmt = nullptr;
    OZMU_FRAME_PACKED_LIST(OZMU_FRAME_CLEAR)
#undef OZMU_FRAME_CLEAR
    const int sizes[][2] = {{1, 1}, {2, 2}, {13, 9}, {16, 6}, {3, 7}};
    for (int sf : {OZMU_PIX_I420, OZMU_PIX_YV12, OZMU_PIX_NV12, OZMU_PIX_NV21})
        for (const PackedFormat &pf : kPacked)
            for (const auto &sz : sizes)
                for (int mode = 0; mode < 4; ++mode) {
                    const Case c{sf, pf.format, sz[0], sz[1], sz[0], sz[1]};
                    EXPECT_EQ(convert_with(fused, c, mode & 1, 0, 0, mode),
                              convert_with(staged, c, mode & 1, 0, 0, mode))
                        << sf << "->" << pf.format << " " << sz[0] << "x" << sz[1] << " mode "
                        << mode;
                }
    const Case c565{OZMU_PIX_NV21, OZMU_PIX_RGB565, 11, 5, 11, 5};
    EXPECT_EQ(convert_with(fused, c565, false, 0, 0, 2),
              convert_with(staged, c565, false, 0, 0, 2));
    // P010 in the fast chroma mode, one row at a time.
    staged.p010_fast_to_packed = nullptr;
    for (const PackedFormat &pf : kPacked)
        for (const auto &sz : sizes) {
            const Case c{OZMU_PIX_P010, pf.format, sz[0], sz[1], sz[0], sz[1]};
            EXPECT_EQ(convert_with(fused, c, true, 0, 0, 1), convert_with(staged, c, true, 0, 0, 1))
                << "P010->" << pf.format << " " << sz[0] << "x" << sz[1];
        }
    // Packed RGB to 4:2:0, two rows at a time; bands ending on an odd row write one Y row.
    staged.packed_to_yuv420 = nullptr;
    for (const PackedFormat &pf : kPacked)
        for (int df : {OZMU_PIX_I420, OZMU_PIX_NV12})
            for (const auto &sz : sizes)
                for (int mode = 0; mode < 4; mode += 2) {
                    const Case c{pf.format, df, sz[0], sz[1], sz[0], sz[1]};
                    const int end = sz[1] > 2 ? 3 : 0;
                    EXPECT_EQ(convert_with(fused, c, mode == 2, 0, end, mode),
                              convert_with(staged, c, mode == 2, 0, end, mode))
                        << pf.format << "->" << df << " " << sz[0] << "x" << sz[1];
                }
}

// A 4:2:0 source of odd height to a packed destination through the fused rows: random samples
// (pattern 0, BT.709 limited), only 0 and 255 (1, BT.2020 limited: the largest coefficients) or a
// mix of both (2, BT.601 full range), so every clamp is reached; strides negative by width.
std::vector<uint8_t> fused_with(const ozmu::frame::Table &t, int sf, int df, int w, int mode,
                                int pattern)
{
    Rng rng(20 + pattern);
    TestFrame src(sf, w, 5, 3, (w & 1) != 0), dst(df, w, 5, 5, (w & 2) != 0);
    src.fill(rng);
    for (int p = 0; pattern != 0 && p < src.planes(); ++p)
        for (int y = 0; y < src.rows(p); ++y)
            for (size_t x = 0; x < src.row_bytes(p); ++x) {
                const int r = rng.range(0, pattern);
                src.row(p, y)[x] = r == 0 ? 0 : r == 1 ? 255 : src.row(p, y)[x];
            }
    const auto o = options((pattern + 1) % 3, pattern == 2, pattern == 2, mode & 1, mode >> 1);
    EXPECT_EQ(ozmu::frame::convert(t, &src.frame(), &dst.frame(), &o), OZMU_OK);
    EXPECT_TRUE(dst.margins_intact());
    std::vector<uint8_t> rows;
    for (int y = 0; y < dst.rows(0); ++y)
        rows.insert(rows.end(), dst.row(0, y), dst.row(0, y) + dst.row_bytes(0));
    return rows;
}

// Each tier's table gives the reference's bytes through the whole driver, every width 1 .. 33
// (vector bodies and tails), the cases above and the fused rows below; a tier that changes nothing
// is skipped.
TEST(Frame, EveryTierMatchesTheReference)
{
    const auto ref = ozmu::frame::table_for(0);
    unsigned tiers = 0;
    int compared = 0;
    for (unsigned tier : ozmu::test::arch_tiers()) {
        if ((ozmu::cpu::detected() & tier) == 0)
            break;
        tiers |= tier;
        const auto t = ozmu::frame::table_for(tiers);
        if (std::memcmp(&t, &ref, sizeof t) == 0)
            continue;
        ++compared;
        for (const Case &c : kCases)
            for (int mode = 0; mode < 4; ++mode)
                EXPECT_EQ(convert_with(t, c, false, 0, 0, mode),
                          convert_with(ref, c, false, 0, 0, mode))
                    << ozmu::cpu::tier_name(tier);
        for (int w = 1; w <= 33; ++w)
            for (const Case &c : kCases) {
                const Case wide{c.src, c.dst, w, 3, c.sw == c.dw ? w : (w + 1) / 2, 3};
                EXPECT_EQ(convert_with(t, wide, true), convert_with(ref, wide, true))
                    << ozmu::cpu::tier_name(tier) << " width " << w;
            }
        // The fused 4:2:0 rows: every layout, chroma mode and siting, each width up to two
        // 32-pixel steps and one more, and a 1080p line.
        for (int sf : {OZMU_PIX_I420, OZMU_PIX_YV12, OZMU_PIX_NV12, OZMU_PIX_NV21})
            for (int df : {OZMU_PIX_RGBA, OZMU_PIX_BGRA, OZMU_PIX_ARGB})
                for (int w = 1; w <= 66; ++w)
                    for (int mode = 0; mode < 4; ++mode)
                        for (int pattern = 0; pattern < 3; ++pattern) {
                            if (w <= 65 && pattern != (w + mode) % 3)
                                continue;
                            const int width = w <= 65 ? w : 1920;
                            EXPECT_EQ(fused_with(t, sf, df, width, mode, pattern),
                                      fused_with(ref, sf, df, width, mode, pattern))
                                << ozmu::cpu::tier_name(tier) << " " << sf << "->" << df
                                << " width " << width << " mode " << mode << " pattern " << pattern;
                        }
    }
    if (compared == 0)
        GTEST_SKIP() << "no tier on this CPU has frame kernels of its own";
}

// ---- Row kernels, one version at a time ---------------------------------------------------------

// Bytes of a source row flush against an inaccessible page (a read past the row faults).
struct GuardedRow {
    ozmu::test::PageGuardedBuffer buffer;
    GuardedRow(Rng &rng, ozmu::test::Pattern pattern, size_t count, int sample_bytes, int64_t lo,
               int64_t hi)
        : buffer(count * static_cast<size_t>(sample_bytes))
    {
        ozmu::test::fill_pattern(rng, pattern, buffer.data(), count, sample_bytes, lo, hi);
    }
    const uint8_t *bytes() { return buffer.data(); }
    const int16_t *words() { return reinterpret_cast<const int16_t *>(buffer.data()); }
};

// Destination rows of `count` samples followed by guard samples; all of it is compared.
template <class T>
struct Outputs {
    static constexpr int kGuard = 24;
    std::vector<std::vector<T>> rows;
    Outputs(int n, size_t count) : rows(n, std::vector<T>(count + kGuard, T(0x5A))) {}
    T *operator[](int i) { return rows[i].data(); }
    std::vector<uint8_t> bytes() const
    {
        std::vector<uint8_t> all;
        for (const auto &r : rows) {
            const auto *b = reinterpret_cast<const uint8_t *>(r.data());
            all.insert(all.end(), b, b + r.size() * sizeof(T));
        }
        return all;
    }
};

// Every version of one table entry against the reference on the same inputs: every width up to
// two of the widest steps and one more, then a 1080p line, each sample pattern (random, minima,
// maxima, alternating and random extremes). run(fn, width, pattern, rng) returns every byte the
// call may have touched, guards included.
template <class Fn, class Run>
void check_rows(const char *name, Fn ozmu::frame::Table::*entry, Run run)
{
    const Fn reference = ozmu::frame::table_for(0).*entry;
    for (const auto &version : ozmu::test::versions(&ozmu::frame::table_for, entry))
        for (int w : ozmu::test::tail_widths(66, {1920}))
            for (ozmu::test::Pattern pattern : ozmu::test::kAllPatterns) {
                const uint64_t stream = static_cast<uint64_t>(w) * 8 + static_cast<int>(pattern);
                Rng a(stream), b(stream);
                ASSERT_EQ(run(reference, w, pattern, a), run(version.fn, w, pattern, b))
                    << name << " " << version.tier << " width " << w << " pattern "
                    << static_cast<int>(pattern);
            }
}

TEST(Frame, RowKernelsOfEveryTierMatchTheReference)
{
    using ozmu::frame::Table;
    using ozmu::test::Pattern;
    constexpr int16_t kWorkMax = 255 << 6;
    // Working-scale rows: random values around the legal range, or int16's extremes.
    const auto work_row = [](Rng &rng, Pattern p, int n) {
        const bool random = p == Pattern::Random;
        return GuardedRow(rng, p, static_cast<size_t>(n), 2, random ? -600 : -32768,
                          random ? kWorkMax + 600 : 32767);
    };
    check_rows("read_u8", &Table::read_u8, [](auto fn, int n, Pattern p, Rng &rng) {
        GuardedRow src(rng, p, size_t(n), 1, 0, 255);
        Outputs<int16_t> out(1, size_t(n));
        fn(src.bytes(), n, out[0]);
        return out.bytes();
    });
    for (auto entry : {&Table::read_u16_low10, &Table::read_u16_high10})
        check_rows("read_u16", entry, [](auto fn, int n, Pattern p, Rng &rng) {
            GuardedRow src(rng, p, size_t(n), 2, 0, 65535);
            Outputs<int16_t> out(1, size_t(n));
            fn(src.bytes(), n, out[0]);
            return out.bytes();
        });
    for (auto entry : {&Table::read_pairs_u8, &Table::read_pairs_u16_high10})
        check_rows("read_pairs", entry, [entry](auto fn, int n, Pattern p, Rng &rng) {
            const bool wide = entry == &Table::read_pairs_u16_high10;
            GuardedRow src(rng, p, size_t(2 * n), wide ? 2 : 1, 0, wide ? 65535 : 255);
            Outputs<int16_t> out(2, size_t(n));
            fn(src.bytes(), n, out[0], out[1]);
            return out.bytes();
        });
    for (const PackedFormat &pf : kPacked) {
        if (pf.format == OZMU_PIX_RGB565)
            continue;
        const ozmu::frame::PackedLayout layout{pf.bytes, pf.r, pf.g, pf.b, pf.a};
        check_rows("read_packed", &Table::read_packed,
                   [layout](auto fn, int n, Pattern p, Rng &rng) {
                       GuardedRow src(rng, p, size_t(n) * layout.bytes, 1, 0, 255);
                       Outputs<int16_t> out(4, size_t(n));
                       fn(src.bytes(), n, layout, out[0], out[1], out[2], out[3]);
                       return out.bytes();
                   });
        check_rows("p010_fast_to_packed", &Table::p010_fast_to_packed,
                   [layout](auto fn, int n, Pattern p, Rng &rng) {
                       GuardedRow y(rng, p, size_t(n), 2, 0, 65535),
                           uv(rng, p, size_t(n + 1) / 2 * 2, 2, 0, 65535);
                       const auto m =
                           ozmu::frame::yuv_to_rgb_coefficients(rng.range(0, 2), rng.range(0, 1));
                       Outputs<uint8_t> out(1, size_t(n) * layout.bytes);
                       fn(y.bytes(), uv.bytes(), m, layout, n, out[0]);
                       return out.bytes();
                   });
        // Two source rows to Y, Y (or none) and chroma, planar or pairs, each matrix, range and
        // siting.
        check_rows("packed_to_yuv420", &Table::packed_to_yuv420,
                   [layout](auto fn, int n, Pattern p, Rng &rng) {
                       GuardedRow row0(rng, p, size_t(n) * layout.bytes, 1, 0, 255),
                           row1(rng, p, size_t(n) * layout.bytes, 1, 0, 255);
                       const int matrix = rng.range(0, 2), full = rng.range(0, 1);
                       const int left = rng.range(0, 1), pairs = rng.range(0, 1);
                       const auto m = ozmu::frame::rgb_to_yuv_coefficients(matrix, full);
                       Outputs<uint8_t> out(4, size_t(n));
                       uint8_t *v = pairs ? out[2] + 1 : out[3];
                       fn(row0.bytes(), row1.bytes(), layout, m, left, n, out[0],
                          rng.coin() ? out[1] : nullptr, out[2], v, pairs ? 2 : 1);
                       return out.bytes();
                   });
    }
    check_rows("store_u8", &Table::store_u8, [&](auto fn, int n, Pattern p, Rng &rng) {
        GuardedRow in = work_row(rng, p, n);
        const int step = rng.range(1, 2);
        Outputs<uint8_t> out(1, size_t(2 * n));
        fn(in.words(), n, out[0], step);
        return out.bytes();
    });
    check_rows("rgb_to_y", &Table::rgb_to_y, [&](auto fn, int n, Pattern p, Rng &rng) {
        GuardedRow r = work_row(rng, p, n), g = work_row(rng, p, n), b = work_row(rng, p, n);
        const auto m = ozmu::frame::rgb_to_yuv_coefficients(rng.range(0, 2), rng.range(0, 1));
        Outputs<uint8_t> out(1, size_t(n));
        fn(r.words(), g.words(), b.words(), m, n, out[0]);
        return out.bytes();
    });
    check_rows("rgb_to_uv", &Table::rgb_to_uv, [&](auto fn, int n, Pattern p, Rng &rng) {
        GuardedRow r0 = work_row(rng, p, n), g0 = work_row(rng, p, n), b0 = work_row(rng, p, n);
        GuardedRow r1 = work_row(rng, p, n), g1 = work_row(rng, p, n), b1 = work_row(rng, p, n);
        const int16_t *const top[3] = {r0.words(), g0.words(), b0.words()};
        const int16_t *const bottom[3] = {r1.words(), g1.words(), b1.words()};
        const auto m = ozmu::frame::rgb_to_yuv_coefficients(rng.range(0, 2), rng.range(0, 1));
        const int left = rng.range(0, 1), pairs = rng.range(0, 1);
        Outputs<uint8_t> out(2, size_t(n + 1));
        fn(top, bottom, m, left, n, out[0], pairs ? out[0] + 1 : out[1], pairs ? 2 : 1);
        return out.bytes();
    });
}

// An axis of `out` outputs over `in` inputs as the driver builds them: kind 0 bilinear
// (centre-aligned, edges clamped to one tap), 1 nearest, 2 area (2:1 exactly gives two taps).
struct TestAxis {
    std::vector<int32_t> begin, offset, index, window, window8;
    std::vector<int16_t> weight, pairs, coef;
    std::vector<uint8_t> shuffle, shuffle8;
    ozmu::frame::PairMap map{};
    bool two_tap = false;

    TestAxis(int in, int out, int kind)
    {
        const size_t padded = (size_t(out) + 15) & ~size_t{15};
        index.resize(padded), window.resize(padded / 4), pairs.resize(2 * padded);
        shuffle.resize(4 * padded), window8.resize(padded / 8), shuffle8.resize(4 * padded);
        coef.resize(padded);
        for (int i = 0; i < out; ++i) {
            offset.push_back(int32_t(weight.size()));
            if (kind == 2) {
                const int per = in / out;
                begin.push_back(i * per);
                for (int k = 0; k < per; ++k)
                    weight.push_back(int16_t(16384 / per));
                continue;
            }
            const int64_t num = (2 * int64_t{i} + 1) * in - out;
            const int64_t pos =
                kind == 1 ? (num + out) / (2 * out) * 16384 : num * 16384 / (2 * out);
            const int whole = int(pos >> 14), frac = int(pos & 16383);
            const int i0 = std::clamp(whole, 0, in - 1), i1 = std::clamp(whole + 1, 0, in - 1);
            begin.push_back(i0);
            if (frac == 0 || i0 == i1) {
                weight.push_back(16384);
            } else {
                weight.push_back(int16_t(16384 - frac));
                weight.push_back(int16_t(frac));
            }
        }
        offset.push_back(int32_t(weight.size()));
        const ozmu::frame::AxisMap axis{out, begin.data(), offset.data(), weight.data()};
        const ozmu::frame::PairMapArrays arrays{index.data(),   window.data(), window8.data(),
                                                pairs.data(),   coef.data(),   shuffle.data(),
                                                shuffle8.data()};
        two_tap = ozmu::frame::build_pair_map(axis, in, arrays, map);
    }
};

// The two-row blends and the two-tap horizontal filter of every tier against the reference (the
// blends on legal samples: 0 .. 2^shift - 1 for the rows, weights 0 .. 2^14), and the driver's
// scaled paths with and without them.
TEST(Frame, ResamplingKernelsOfEveryTierMatchTheReference)
{
    using ozmu::frame::Table;
    using ozmu::test::Pattern;
    const auto weight = [](Rng &rng) {
        const int special[] = {0, 1, 8192, 16383, 16384};
        const int pick = rng.range(0, 6);
        return pick < 5 ? special[pick] : rng.range(0, 16384);
    };
    check_rows("vertical2", &Table::vertical2, [&](auto fn, int n, Pattern p, Rng &rng) {
        const int shift = rng.coin() ? 8 : 10, top = (1 << shift) - 1;
        GuardedRow a(rng, p, size_t(n), 2, 0, top),
            b(rng, rng.coin() ? p : Pattern::Random, size_t(n), 2, 0, top);
        Outputs<int16_t> out(1, size_t(n));
        fn(a.words(), b.words(), weight(rng), shift, n, out[0]);
        return out.bytes();
    });
    check_rows("vertical2_u8", &Table::vertical2_u8, [&](auto fn, int n, Pattern p, Rng &rng) {
        GuardedRow a(rng, p, size_t(n), 1, 0, 255),
            b(rng, rng.coin() ? p : Pattern::MaxMin, size_t(n), 1, 0, 255);
        Outputs<int16_t> out(1, size_t(n));
        fn(a.bytes(), b.bytes(), weight(rng), n, out[0]);
        return out.bytes();
    });
    // n outputs from a row reduced by up to 2, enlarged, or halved exactly.
    check_rows("horizontal2", &Table::horizontal2, [&](auto fn, int n, Pattern p, Rng &rng) {
        const int kind = rng.range(0, 3);
        const int in = kind == 3   ? 2 * n
                       : kind == 2 ? std::max(1, n * rng.range(26, 39) / 40)
                                   : rng.range(n / 2 + 1, 2 * n - 1 + (n == 1));
        const TestAxis axis(in, n, kind == 3 ? 2 : kind == 1 ? 1 : 0);
        GuardedRow src(rng, p, size_t(in), 2, 0, 255 << 6);
        Outputs<int16_t> out(1, size_t(n));
        if (axis.two_tap)
            fn(src.words(), axis.map, out[0]);
        return out.bytes();
    });
    // Area maps of 2 to 4 inputs an output, and bilinear ones (two taps in four).
    check_rows("horizontal4", &Table::horizontal4, [&](auto fn, int n, Pattern p, Rng &rng) {
        const bool area = rng.coin();
        const int in = area ? n * rng.range(2, 4) : rng.range(n / 2 + 1, 2 * n - 1 + (n == 1));
        const TestAxis axis(in, n, area ? 2 : 0);
        std::vector<int32_t> index(axis.index.size());
        std::vector<int16_t> pair01(2 * index.size()), pair23(2 * index.size());
        ozmu::frame::QuadMap map{};
        GuardedRow src(rng, p, size_t(in), 2, 0, 255 << 6);
        Outputs<int16_t> out(1, size_t(n));
        const ozmu::frame::AxisMap axis_map{n, axis.begin.data(), axis.offset.data(),
                                            axis.weight.data()};
        if (ozmu::frame::build_quad_map(axis_map, in, index.data(), pair01.data(), pair23.data(),
                                        map))
            fn(src.words(), map, out[0]);
        return out.bytes();
    });
    check_rows("horizontal2_u8", &Table::horizontal2_u8, [&](auto fn, int n, Pattern p, Rng &rng) {
        const int kind = rng.range(0, 2);
        const int in = kind == 2 ? 2 * n : rng.range(n / 2 + 1, 2 * n - 1 + (n == 1));
        const TestAxis axis(in, n, kind);
        GuardedRow src(rng, p, size_t(in), 1, 0, 255);
        Outputs<int16_t> out(1, size_t(n));
        if (axis.two_tap)
            fn(src.bytes(), axis.map, out[0]);
        return out.bytes();
    });

    // The general vertical filter: a first row, then more, on legal samples; sums as three taps
    // of up to 2^14 over them leave them, then every rounding shift in use.
    check_rows("vertical_accumulate", &Table::vertical_accumulate,
               [&](auto fn, int n, Pattern p, Rng &rng) {
                   GuardedRow row(rng, p, size_t(n), 2, 0, 1023);
                   Outputs<int32_t> acc(1, size_t(n));
                   for (int i = 0; i < n; ++i)
                       acc[0][i] = rng.range(0, 1 << 24);
                   fn(acc[0], row.words(), weight(rng), n, rng.range(0, 1));
                   return acc.bytes();
               });
    check_rows("vertical_round", &Table::vertical_round, [&](auto fn, int n, Pattern p, Rng &rng) {
        const int shift = rng.coin() ? 8 : 10;
        GuardedRow acc(rng, p, size_t(n), 4, 0, (int64_t{1} << (14 + shift)) - 1);
        Outputs<int16_t> out(1, size_t(n));
        fn(reinterpret_cast<const int32_t *>(acc.bytes()), shift, n, out[0]);
        return out.bytes();
    });
    check_rows("box2_u8", &Table::box2_u8, [&](auto fn, int n, Pattern p, Rng &rng) {
        GuardedRow a(rng, p, size_t(2 * n), 1, 0, 255), b(rng, p, size_t(2 * n), 1, 0, 255);
        Outputs<uint8_t> out(1, size_t(n));
        fn(a.bytes(), b.bytes(), n, out[0]);
        return out.bytes();
    });

    // Scaled conversions through tables without the two-tap entries take the general path: the
    // same bytes.
    const auto full = ozmu::frame::table_for(0);
    auto general = full;
    general.vertical2 = nullptr;
    general.vertical2_u8 = nullptr;
    general.horizontal2 = nullptr;
    general.box2_u8 = nullptr;
    general.horizontal2_u8 = nullptr;
    general.horizontal4 = nullptr;
    general.vertical_accumulate = ozmu::ref::vertical_accumulate;
    general.vertical_round = ozmu::ref::vertical_round;
    const Case scaled[] = {
        {OZMU_PIX_I420, OZMU_PIX_RGBA, 61, 35, 40, 23},
        {OZMU_PIX_I420, OZMU_PIX_I420, 64, 36, 32, 18},
        {OZMU_PIX_NV12, OZMU_PIX_BGRA, 29, 17, 45, 30},
        {OZMU_PIX_P010, OZMU_PIX_NV12, 50, 30, 37, 21},
        {OZMU_PIX_RGBA, OZMU_PIX_RGB24, 33, 20, 23, 15},
        {OZMU_PIX_I010, OZMU_PIX_ARGB, 19, 9, 7, 5},
        {OZMU_PIX_YV12, OZMU_PIX_I420, 132, 68, 66, 34},
        {OZMU_PIX_I420, OZMU_PIX_I420, 99, 45, 33, 15},
    };
    for (const Case &c : scaled)
        for (int mode = 0; mode < 4; ++mode)
            EXPECT_EQ(convert_with(full, c, mode & 1, 0, 0, mode),
                      convert_with(general, c, mode & 1, 0, 0, mode))
                << c.src << "->" << c.dst << " mode " << mode;
}

// The largest working-scale sample (1023 << 4).
constexpr int kWorkScaleMax = 16368;

// The staged matrix step of every tier: working-scale rows over the whole legal range (the
// filters never leave it), every matrix and range.
TEST(Frame, MatrixRowsOfEveryTierMatchTheReference)
{
    using ozmu::frame::Table;
    using ozmu::test::Pattern;
    for (auto entry : {&Table::yuv_to_rgba, &Table::yuv_to_bgra, &Table::yuv_to_argb,
                       &Table::yuv_to_rgb24, &Table::yuv_to_bgr24})
        check_rows("yuv_to", entry, [](auto fn, int n, Pattern p, Rng &rng) {
            GuardedRow y(rng, p, size_t(n), 2, 0, kWorkScaleMax),
                u(rng, p, size_t(n), 2, 0, kWorkScaleMax),
                v(rng, p, size_t(n), 2, 0, kWorkScaleMax);
            const auto m = ozmu::frame::yuv_to_rgb_coefficients(rng.range(0, 2), rng.range(0, 1));
            Outputs<uint8_t> out(1, size_t(4 * n));
            fn(y.words(), u.words(), v.words(), m, n, out[0]);
            return out.bytes();
        });
}

// ---- Refusals and helpers ----------------------------------------------------------------------

TEST(Frame, RefusedCallsReturnTheirCodeAndWriteNothing)
{
    Rng rng(9);
    TestFrame src(OZMU_PIX_I420, 8, 6), dst(OZMU_PIX_NV12, 8, 6);
    src.fill(rng);
    const auto before = dst.bytes();
    const auto expect = [&](int code, ozmu_frame s, ozmu_frame d, ozmu_convert_opts o) {
        EXPECT_EQ(ozmu_convert(&s, &d, &o), code);
        EXPECT_EQ(dst.bytes(), before) << code;
    };
    const ozmu_frame s0 = src.frame(), d0 = dst.frame();
    const ozmu_convert_opts o0 = options();
    EXPECT_EQ(ozmu_convert(nullptr, &d0, &o0), OZMU_FRAME_ERR_NULL);
    EXPECT_EQ(ozmu_convert(&s0, nullptr, &o0), OZMU_FRAME_ERR_NULL);
    ozmu_frame s = s0, d = d0;
    ozmu_convert_opts o = o0;
    s.plane[2] = nullptr, expect(OZMU_FRAME_ERR_NULL, s, d0, o0), s = s0;
    d.plane[1] = nullptr, expect(OZMU_FRAME_ERR_NULL, s0, d, o0), d = d0;
    s.format = 0, expect(OZMU_FRAME_ERR_FORMAT, s, d0, o0), s = s0;
    d.format = 99, expect(OZMU_FRAME_ERR_FORMAT, s0, d, o0), d = d0;
    d.format = OZMU_PIX_I422, expect(OZMU_FRAME_ERR_UNSUPPORTED, s0, d, o0), d = d0;
    s.format = OZMU_PIX_RGB565, expect(OZMU_FRAME_ERR_UNSUPPORTED, s, d0, o0), s = s0;
    s.width = 0, expect(OZMU_FRAME_ERR_SIZE, s, d0, o0), s = s0;
    d.height = 16385, expect(OZMU_FRAME_ERR_SIZE, s0, d, o0), d = d0;
    d.width = -4, expect(OZMU_FRAME_ERR_SIZE, s0, d, o0), d = d0;
    s.stride[1] = 3, expect(OZMU_FRAME_ERR_STRIDE, s, d0, o0), s = s0;   // chroma row is 4
    d.stride[1] = -7, expect(OZMU_FRAME_ERR_STRIDE, s0, d, o0), d = d0;  // UV row is 8
    d.width = 17, expect(OZMU_FRAME_ERR_STRIDE, s0, d, o0), d = d0;      // a wider frame
    for (int *field : {&o.matrix, &o.src_range, &o.dst_range, &o.chroma, &o.siting}) {
        *field = field == &o.matrix ? 3 : 2;
        expect(OZMU_FRAME_ERR_OPTION, s0, d0, o);
        *field = -1;
        expect(OZMU_FRAME_ERR_OPTION, s0, d0, o);
        o = o0;
    }
    const int bands[][2] = {{1, 4}, {4, 4}, {0, 7}, {-2, 2}, {5, 0}};
    for (const auto &b : bands) {
        o.row_begin = b[0], o.row_end = b[1];
        expect(OZMU_FRAME_ERR_ROWS, s0, d0, o);
    }
    // An odd first row is fine for a packed destination.
    TestFrame rgb(OZMU_PIX_RGBA, 8, 6);
    o.row_begin = 1, o.row_end = 4;
    EXPECT_EQ(ozmu_convert(&s0, &rgb.frame(), &o), OZMU_OK);
    EXPECT_EQ(rgb.row(0, 0)[0], TestFrame::kCanary);
    EXPECT_NE(rgb.row(0, 1)[3], TestFrame::kCanary);
}

TEST(Frame, LayoutSupportedImageViewAndMessages)
{
    int planes;
    size_t stride[4];
    int rows[4];
    ASSERT_EQ(ozmu_frame_layout(OZMU_PIX_P010, 5, 3, &planes, stride, rows), OZMU_OK);
    EXPECT_EQ(planes, 2);
    EXPECT_EQ(stride[0], 10u);
    EXPECT_EQ(stride[1], 12u);
    EXPECT_EQ(rows[1], 2);
    EXPECT_EQ(stride[2], 0u);
    ASSERT_EQ(ozmu_frame_layout(OZMU_PIX_I422, 5, 3, &planes, stride, rows), OZMU_OK);
    EXPECT_EQ(stride[2], 3u);
    EXPECT_EQ(rows[2], 3);
    ASSERT_EQ(ozmu_frame_layout(OZMU_PIX_RGB24, 16384, 1, nullptr, stride, nullptr), OZMU_OK);
    EXPECT_EQ(stride[0], 49152u);
    EXPECT_EQ(ozmu_frame_layout(8, 0, 1, nullptr, nullptr, nullptr), OZMU_FRAME_ERR_SIZE);
    EXPECT_EQ(ozmu_frame_layout(10, 1, 1, nullptr, nullptr, nullptr), OZMU_FRAME_ERR_FORMAT);

    EXPECT_EQ(ozmu_convert_supported(OZMU_PIX_P010, OZMU_PIX_NV12), 1);
    EXPECT_EQ(ozmu_convert_supported(OZMU_PIX_BGR24, OZMU_PIX_RGB565), 1);
    EXPECT_EQ(ozmu_convert_supported(OZMU_PIX_I420, OZMU_PIX_I444), 0);
    EXPECT_EQ(ozmu_convert_supported(OZMU_PIX_RGB565, OZMU_PIX_RGBA), 0);
    EXPECT_EQ(ozmu_convert_supported(0, OZMU_PIX_RGBA), 0);

    int err = 0;
    const uint32_t pad[3] = {(16u << 16) | 8, (8u << 16) | 4, (8u << 16) | 4};
    ozmu_imgb *img =
        ozmu_imgb_create(6, 4, OZMU_CS_YUV420, 0, nullptr, pad, nullptr, nullptr, &err);
    ASSERT_NE(img, nullptr);
    ozmu_frame f;
    ASSERT_EQ(ozmu_frame_from_imgb(img, &f), OZMU_OK);
    EXPECT_EQ(f.format, OZMU_PIX_I420);
    EXPECT_EQ(f.stride[0], 6 + 32);
    EXPECT_EQ(static_cast<void *>(f.plane[1]), img->plane[1]);
    TestFrame dst(OZMU_PIX_RGBA, 6, 4);
    EXPECT_EQ(ozmu_convert(&f, &dst.frame(), nullptr), OZMU_OK);
    img->cs = OZMU_CS_YUV411;
    EXPECT_EQ(ozmu_frame_from_imgb(img, &f), OZMU_FRAME_ERR_FORMAT);
    EXPECT_EQ(ozmu_frame_from_imgb(nullptr, &f), OZMU_FRAME_ERR_NULL);
    img->release(img);

    std::vector<std::string> texts;
    for (int code :
         {OZMU_OK, OZMU_ERR_FAIL, OZMU_ERR_FAIL_SUFFIX, OZMU_ERR_MALLOC, OZMU_ERR_INVALID_ARG,
          OZMU_ERR_ALLOC_FRAME, OZMU_ERR_ALLOC_BUF, OZMU_ERR_UNSUPPORTED_CS, OZMU_FRAME_ERR_NULL,
          OZMU_FRAME_ERR_FORMAT, OZMU_FRAME_ERR_SIZE, OZMU_FRAME_ERR_STRIDE,
          OZMU_FRAME_ERR_UNSUPPORTED, OZMU_FRAME_ERR_OPTION, OZMU_FRAME_ERR_ROWS}) {
        ASSERT_NE(ozmu_strerror(code), nullptr);
        texts.emplace_back(ozmu_strerror(code));
        EXPECT_NE(texts.back(), "unknown error") << code;
    }
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(std::unique(texts.begin(), texts.end()), texts.end());
    EXPECT_STREQ(ozmu_strerror(-399), "unknown error");
}

}  // namespace
