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
    {OZMU_PIX_I444, OZMU_PIX_RGB565, 5, 3, 5, 3},
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
