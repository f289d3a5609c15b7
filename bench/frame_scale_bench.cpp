// Scaled frame conversion (ozmu_convert with a destination size of its own) against libyuv doing
// the same job in the same process:
//   - I420 1920x1080 to RGBA 1280x720 in one pass, BT.709 limited, fast and accurate chroma,
//     against libyuv's two two-pass routes: I420Scale (bilinear) then I420ToABGR at 720p
//     (vs_scale_first), and I420ToABGR at 1080p then ARGBScale (bilinear) (vs_convert_first);
//     vs_libyuv is the faster route's time over ours;
//   - I420 1080p to I420 1280x720 (bilinear), 960x540 and 640x360 (area) against I420Scale with
//     kFilterBilinear (vs_libyuv).
// Each iteration times ours, then each peer route, back to back; items are destination pixels;
// above 1 = ours faster. Runs once through the exported function and once per x86-64 tier this
// CPU has (.../ssse3, .../avx2: the family table with that tier and every tier below it).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "csc/frame.h"
#include "ozmu.h"

#ifdef OZMU_BENCH_HAVE_LIBYUV
#include <libyuv.h>
#endif

namespace {

constexpr int kW = 1920, kH = 1080;

struct I420 {
    I420(int w, int h)
        : width(w), height(h), y(size_t(w) * h), u(size_t((w + 1) / 2) * ((h + 1) / 2)), v(u.size())
    {
    }
    ozmu_frame frame()
    {
        ozmu_frame f{};
        f.format = OZMU_PIX_I420;
        f.width = width;
        f.height = height;
        f.plane[0] = y.data();
        f.plane[1] = u.data();
        f.plane[2] = v.data();
        f.stride[0] = width;
        f.stride[1] = f.stride[2] = (width + 1) / 2;
        return f;
    }
    int width, height;
    std::vector<uint8_t> y, u, v;
};

// A ramp with noise on every plane, as bench/frame_bench.cpp fills its pictures.
I420 source()
{
    I420 p(kW, kH);
    uint32_t seed = 12345;
    const auto fill = [&](std::vector<uint8_t> &plane, int w, int h, int phase) {
        for (size_t i = 0; i < plane.size(); ++i) {
            seed = seed * 1664525u + 1013904223u;
            const int x = int(i % size_t(w)), row = int(i / size_t(w));
            const int ramp = ((x + phase * 311) * 255 / w + row * 255 / h) / 2;
            plane[i] = uint8_t(std::clamp(ramp + int(seed >> 28) - 8, 0, 255));
        }
    };
    fill(p.y, kW, kH, 0);
    fill(p.u, kW / 2, kH / 2, 1);
    fill(p.v, kW / 2, kH / 2, 2);
    return p;
}

using Clock = std::chrono::steady_clock;

double seconds(const auto &work)
{
    const auto t0 = Clock::now();
    work();
    benchmark::ClobberMemory();
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

struct Times {
    double sum = 0, best = 1e30;
    void add(double s)
    {
        sum += s;
        best = std::min(best, s);
    }
};

// Times ours and up to two peer routes in interleaved rounds; the counters name each route.
void run_rounds(benchmark::State &state, const auto &ours, const auto *peers,
                const char *const *names, int peer_count, int64_t pixels)
{
    Times mine, theirs[2];
    for (auto _ : state) {
        const double s = seconds(ours);
        mine.add(s);
        for (int i = 0; i < peer_count; ++i)
            theirs[i].add(seconds(peers[i]));
        state.SetIterationTime(s);
    }
    state.SetItemsProcessed(state.iterations() * pixels);
    if (peer_count == 0)
        return;
    double faster = 1e30, faster_best = 1e30;
    for (int i = 0; i < peer_count; ++i) {
        if (peer_count > 1)
            state.counters[names[i]] = theirs[i].sum / mine.sum;
        faster = std::min(faster, theirs[i].sum);
        faster_best = std::min(faster_best, theirs[i].best);
    }
    state.counters["vs_libyuv"] = faster / mine.sum;
    state.counters["best_libyuv"] = faster_best / mine.best;
}

// table == nullptr: the exported ozmu_convert.
void BM_scale_to_rgba(benchmark::State &state, int chroma, const ozmu::frame::Table *table)
{
    constexpr int dw = 1280, dh = 720;
    I420 src = source();
    std::vector<uint8_t> rgba(size_t(dw) * dh * 4);
    ozmu_frame s = src.frame(), d{};
    d.format = OZMU_PIX_RGBA;
    d.width = dw;
    d.height = dh;
    d.plane[0] = rgba.data();
    d.stride[0] = 4 * dw;
    ozmu_convert_opts opts;
    ozmu_convert_opts_init(&opts);
    opts.matrix = OZMU_MATRIX_BT709;
    opts.chroma = chroma;
    const auto ours = [&] {
        const int rc = table != nullptr ? ozmu::frame::convert(*table, &s, &d, &opts)
                                        : ozmu_convert(&s, &d, &opts);
        if (rc != OZMU_OK)
            std::abort();
    };
#ifdef OZMU_BENCH_HAVE_LIBYUV
    using namespace libyuv;
    I420 small(dw, dh);
    std::vector<uint8_t> big(size_t(kW) * kH * 4), theirs(rgba.size());
    // I420ToABGR with BT.709: the ARGB routine with U and V swapped, as libyuv does.
    const auto scale_first = [&] {
        I420Scale(src.y.data(), kW, src.u.data(), kW / 2, src.v.data(), kW / 2, kW, kH,
                  small.y.data(), dw, small.u.data(), dw / 2, small.v.data(), dw / 2, dw, dh,
                  kFilterBilinear);
        I420ToARGBMatrix(small.y.data(), dw, small.v.data(), dw / 2, small.u.data(), dw / 2,
                         theirs.data(), 4 * dw, &kYvuH709Constants, dw, dh);
    };
    const auto convert_first = [&] {
        I420ToARGBMatrix(src.y.data(), kW, src.v.data(), kW / 2, src.u.data(), kW / 2, big.data(),
                         4 * kW, &kYvuH709Constants, kW, kH);
        ARGBScale(big.data(), 4 * kW, kW, kH, theirs.data(), 4 * dw, dw, dh, kFilterBilinear);
    };
    const std::function<void()> peers[2] = {scale_first, convert_first};
    const char *const names[2] = {"vs_scale_first", "vs_convert_first"};
    ours();
    scale_first();
    int worst = 0;
    for (size_t i = 0; i < theirs.size(); ++i)
        worst = std::max(worst, std::abs(theirs[i] - rgba[i]));
    state.counters["maxdiff_libyuv"] = worst;
    run_rounds(state, ours, peers, names, 2, int64_t{dw} * dh);
#else
    run_rounds(state, ours, static_cast<const std::function<void()> *>(nullptr), nullptr, 0,
               int64_t{dw} * dh);
#endif
}

void BM_scale_i420(benchmark::State &state, int dw, int dh, const ozmu::frame::Table *table)
{
    I420 src = source(), dst(dw, dh);
    ozmu_frame s = src.frame(), d = dst.frame();
    const auto ours = [&] {
        const int rc = table != nullptr ? ozmu::frame::convert(*table, &s, &d, nullptr)
                                        : ozmu_convert(&s, &d, nullptr);
        if (rc != OZMU_OK)
            std::abort();
    };
#ifdef OZMU_BENCH_HAVE_LIBYUV
    I420 theirs(dw, dh);
    const std::function<void()> peers[1] = {[&] {
        libyuv::I420Scale(src.y.data(), kW, src.u.data(), kW / 2, src.v.data(), kW / 2, kW, kH,
                          theirs.y.data(), dw, theirs.u.data(), (dw + 1) / 2, theirs.v.data(),
                          (dw + 1) / 2, dw, dh, libyuv::kFilterBilinear);
    }};
    run_rounds(state, ours, peers, nullptr, 1, int64_t{dw} * dh);
#else
    run_rounds(state, ours, static_cast<const std::function<void()> *>(nullptr), nullptr, 0,
               int64_t{dw} * dh);
#endif
}

// Registers one benchmark through the exported function and one per x86-64 tier present.
void register_tiers(const std::string &name, const auto &add)
{
    add(name, nullptr);
#if OZMU_HAVE_X86_TIERS
    static std::deque<ozmu::frame::Table> tables;  // one per tier and work, kept for the run
    unsigned tiers = 0;
    for (unsigned tier : ozmu::cpu::kX86Tiers) {
        if ((ozmu::cpu::detected() & tier) == 0)
            break;
        tiers |= tier;
        tables.push_back(ozmu::frame::table_for(tiers));
        add(name + "/" + ozmu::cpu::tier_name(tier), &tables.back());
    }
#endif
}

const bool kFrameScaleRegistered = [] {
    for (int chroma : {OZMU_CHROMA_FAST, OZMU_CHROMA_ACCURATE})
        register_tiers(chroma == OZMU_CHROMA_FAST ? "BM_frame_scale_i420_to_rgba720_fast"
                                                  : "BM_frame_scale_i420_to_rgba720_accurate",
                       [chroma](const std::string &n, const ozmu::frame::Table *t) {
                           benchmark::RegisterBenchmark(n.c_str(), BM_scale_to_rgba, chroma, t)
                               ->UseManualTime();
                       });
    const int sizes[][2] = {{1280, 720}, {960, 540}, {640, 360}};
    for (const auto &sz : sizes)
        register_tiers("BM_frame_scale_i420_to_i420_" + std::to_string(sz[0]) + "x" +
                           std::to_string(sz[1]),
                       [sz](const std::string &n, const ozmu::frame::Table *t) {
                           benchmark::RegisterBenchmark(n.c_str(), BM_scale_i420, sz[0], sz[1], t)
                               ->UseManualTime();
                       });
    return true;
}();

}  // namespace
