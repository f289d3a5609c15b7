// How far each library's I420 to RGBA lies from the exact formula, on the 1080p picture of
// frame_bench.cpp, BT.709 limited range: the double-precision model of the chroma mode in
// question (fast: each pixel takes its 2 x 2 group's chroma; accurate: bilinear at the left
// siting, co-sited with even columns and midway between rows), rounded to nearest. Counters:
// max_err, mean_err and share_over_1 (the share of samples off by more than 1) over every channel
// of every pixel; for the peers, vs_<peer> is the peer's best time over ours in the same run
// (above 1 = ours faster).
//   ours/fast, ours/accurate          ozmu_convert
//   libyuv/fast                       I420ToABGR's BT.709 path (6-bit coefficients, fast chroma)
//   swscale/accurate                  sws_scale with accurate_rnd, full_chroma_int and the
//                                     chroma position set to the left siting
//   swscale/default                   sws_scale with SWS_BILINEAR alone, the matrix set
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <vector>

#include "ozmu.h"

#ifdef OZMU_BENCH_HAVE_LIBYUV
#include <libyuv.h>
#endif
#ifdef OZMU_BENCH_HAVE_SWSCALE
extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}
#endif

namespace {

constexpr int kW = 1920, kH = 1080;

struct Source {
    std::vector<uint8_t> y, u, v;
    Source() : y(size_t(kW) * kH), u(size_t(kW / 2) * (kH / 2)), v(u.size())
    {
        uint32_t seed = 12345;
        const auto fill = [&](std::vector<uint8_t> &plane, int w, int h, int phase) {
            for (size_t i = 0; i < plane.size(); ++i) {
                seed = seed * 1664525u + 1013904223u;
                const int x = int(i % size_t(w)), row = int(i / size_t(w));
                const int ramp = ((x + phase * 311) * 255 / w + row * 255 / h) / 2;
                plane[i] = uint8_t(std::clamp(ramp + int(seed >> 28) - 8, 0, 255));
            }
        };
        fill(y, kW, kH, 0);
        fill(u, kW / 2, kH / 2, 1);
        fill(v, kW / 2, kH / 2, 2);
    }
};

const Source &source()
{
    static const Source s;
    return s;
}

// The exact RGBA of the model, rounded to nearest and clamped.
std::vector<uint8_t> model(bool accurate)
{
    const Source &s = source();
    constexpr double kr = 0.2126, kb = 0.0722, kg = 1 - kr - kb;
    const int cw = kW / 2, ch = kH / 2;
    const auto at = [&](const std::vector<uint8_t> &p, int x, int y) {
        return double(p[size_t(std::clamp(y, 0, ch - 1)) * cw + std::clamp(x, 0, cw - 1)]);
    };
    const auto chroma = [&](const std::vector<uint8_t> &p, int x, int y) {
        if (!accurate)
            return at(p, x / 2, y / 2);
        const int j = y / 2, k = x / 2, near = y % 2 == 0 ? j - 1 : j + 1;
        const auto column = [&](int row) {
            return x % 2 == 0 ? at(p, k, row) : (at(p, k, row) + at(p, k + 1, row)) / 2;
        };
        return 0.75 * column(j) + 0.25 * column(near);
    };
    std::vector<uint8_t> out(size_t(kW) * kH * 4);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            const double l = (s.y[size_t(y) * kW + x] - 16) * 255.0 / 219;
            const double pb = (chroma(s.u, x, y) - 128) * 255.0 / 224;
            const double pr = (chroma(s.v, x, y) - 128) * 255.0 / 224;
            const double rgb[3] = {l + 2 * (1 - kr) * pr,
                                   l - 2 * (1 - kb) * kb / kg * pb - 2 * (1 - kr) * kr / kg * pr,
                                   l + 2 * (1 - kb) * pb};
            uint8_t *p = &out[(size_t(y) * kW + x) * 4];
            for (int c = 0; c < 3; ++c)
                p[c] = uint8_t(std::clamp(std::lround(rgb[c]), 0L, 255L));
            p[3] = 255;
        }
    return out;
}

void report(benchmark::State &state, const std::vector<uint8_t> &got, bool accurate)
{
    static const std::vector<uint8_t> exact[2] = {model(false), model(true)};
    const std::vector<uint8_t> &want = exact[accurate];
    int worst = 0;
    double sum = 0, off_by_more = 0;
    for (size_t i = 0; i < got.size(); ++i) {
        if (i % 4 == 3)
            continue;
        const int d = std::abs(got[i] - want[i]);
        worst = std::max(worst, d);
        sum += d;
        off_by_more += d > 1;
    }
    state.counters["max_err"] = worst;
    state.counters["mean_err"] = sum / (double(kW) * kH * 3);
    state.counters["share_over_1"] = off_by_more / (double(kW) * kH * 3);
}

template <typename Work>
double seconds(Work work)
{
    const auto t0 = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

void ours(std::vector<uint8_t> &rgba, int chroma)
{
    const Source &s = source();
    ozmu_frame src{}, dst{};
    src.format = OZMU_PIX_I420, src.width = kW, src.height = kH;
    src.plane[0] = const_cast<uint8_t *>(s.y.data());  // read only
    src.plane[1] = const_cast<uint8_t *>(s.u.data());
    src.plane[2] = const_cast<uint8_t *>(s.v.data());
    src.stride[0] = kW, src.stride[1] = src.stride[2] = kW / 2;
    dst.format = OZMU_PIX_RGBA, dst.width = kW, dst.height = kH;
    dst.plane[0] = rgba.data(), dst.stride[0] = 4 * kW;
    ozmu_convert_opts o;
    ozmu_convert_opts_init(&o);
    o.matrix = OZMU_MATRIX_BT709;
    o.chroma = chroma;
    o.siting = OZMU_SITING_LEFT;
    ozmu_convert(&src, &dst, &o);
}

void BM_accuracy_ours(benchmark::State &state, int chroma)
{
    std::vector<uint8_t> rgba(size_t(kW) * kH * 4);
    for (auto _ : state)
        ours(rgba, chroma);
    report(state, rgba, chroma == OZMU_CHROMA_ACCURATE);
}

#ifdef OZMU_BENCH_HAVE_LIBYUV
void BM_accuracy_libyuv(benchmark::State &state)
{
    const Source &s = source();
    std::vector<uint8_t> rgba(size_t(kW) * kH * 4), mine(rgba.size());
    double theirs = 1e9, own = 1e9;
    for (auto _ : state) {
        theirs = std::min(theirs, seconds([&] {
                              libyuv::I420ToARGBMatrix(s.y.data(), kW, s.v.data(), kW / 2,
                                                       s.u.data(), kW / 2, rgba.data(), 4 * kW,
                                                       &libyuv::kYvuH709Constants, kW, kH);
                          }));
        own = std::min(own, seconds([&] { ours(mine, OZMU_CHROMA_FAST); }));
    }
    report(state, rgba, false);
    state.counters["vs_libyuv"] = theirs / own;
}
#endif

#ifdef OZMU_BENCH_HAVE_SWSCALE
void BM_accuracy_swscale(benchmark::State &state, bool accurate)
{
    const Source &s = source();
    SwsContext *ctx = sws_alloc_context();
    av_opt_set_int(ctx, "srcw", kW, 0);
    av_opt_set_int(ctx, "srch", kH, 0);
    av_opt_set_int(ctx, "src_format", AV_PIX_FMT_YUV420P, 0);
    av_opt_set_int(ctx, "dstw", kW, 0);
    av_opt_set_int(ctx, "dsth", kH, 0);
    av_opt_set_int(ctx, "dst_format", AV_PIX_FMT_RGBA, 0);
    av_opt_set_int(ctx, "sws_flags",
                   accurate ? SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_BITEXACT
                            : SWS_BILINEAR,
                   0);
    if (accurate) {
        av_opt_set_int(ctx, "src_h_chr_pos", 0, 0);
        av_opt_set_int(ctx, "src_v_chr_pos", 128, 0);
    }
    if (sws_init_context(ctx, nullptr, nullptr) < 0) {
        state.SkipWithError("swscale refused the context");
        sws_freeContext(ctx);
        return;
    }
    const int *bt709 = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(ctx, bt709, 0, bt709, 1, 0, 1 << 16, 1 << 16);
    std::vector<uint8_t> rgba(size_t(kW) * kH * 4), mine(rgba.size());
    const uint8_t *planes[3] = {s.y.data(), s.u.data(), s.v.data()};
    const int strides[3] = {kW, kW / 2, kW / 2};
    uint8_t *out[1] = {rgba.data()};
    const int out_stride[1] = {4 * kW};
    double theirs = 1e9, own = 1e9;
    for (auto _ : state) {
        theirs = std::min(
            theirs, seconds([&] { sws_scale(ctx, planes, strides, 0, kH, out, out_stride); }));
        own = std::min(own, seconds([&] { ours(mine, OZMU_CHROMA_ACCURATE); }));
    }
    sws_freeContext(ctx);
    report(state, rgba, true);
    state.counters["vs_swscale"] = theirs / own;
}
#endif

const bool kRegistered = [] {
    const auto once = [](benchmark::internal::Benchmark *b) {
        b->Iterations(10)->Unit(benchmark::kMillisecond);
    };
    once(benchmark::RegisterBenchmark("BM_accuracy/ours/fast", BM_accuracy_ours, OZMU_CHROMA_FAST));
    once(benchmark::RegisterBenchmark("BM_accuracy/ours/accurate", BM_accuracy_ours,
                                      OZMU_CHROMA_ACCURATE));
#ifdef OZMU_BENCH_HAVE_LIBYUV
    once(benchmark::RegisterBenchmark("BM_accuracy/libyuv/fast", BM_accuracy_libyuv));
#endif
#ifdef OZMU_BENCH_HAVE_SWSCALE
    once(benchmark::RegisterBenchmark("BM_accuracy/swscale/accurate", BM_accuracy_swscale, true));
    once(benchmark::RegisterBenchmark("BM_accuracy/swscale/default", BM_accuracy_swscale, false));
#endif
    return true;
}();

}  // namespace
