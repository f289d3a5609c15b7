// Frame conversion (ozmu_convert) of a 1080p 4:2:0 picture to RGBA, BT.709 limited range, fast
// chroma mode, against libyuv doing the same job in the same process (I420ToABGR and NV12ToABGR
// with libyuv's BT.709 constants). Each iteration times ours, then the peer, back to back; items
// are pixels; vs_libyuv is the peer's total time over ours and best_libyuv its best run over our
// best (above 1 = ours faster); maxdiff_libyuv the largest channel difference, measured once.
// Runs once through the exported function and once per x86-64 tier this CPU has (.../ssse3,
// .../avx2: the family table with that tier and every tier below it; .../sse2 is the reference).
// Also, the same way: RGBA to I420 (BT.601 limited, centred siting, the 2 x 2 average libyuv's
// ABGRToI420 takes) and P010 to BGRA (BT.709 limited; libyuv P010ToARGBMatrix in the fast mode,
// P010ToARGBMatrixFilter with bilinear chroma in the accurate one).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "csc/frame.h"
#include "ozmu.h"

#ifdef OZMU_BENCH_HAVE_LIBYUV
#include <libyuv.h>
#endif

namespace {

constexpr int kW = 1920, kH = 1080;

struct Picture {
    explicit Picture(int format) : rgba(size_t(kW) * kH * 4), y(size_t(kW) * kH)
    {
        const size_t chroma = size_t(kW / 2) * (kH / 2);
        u.resize(format == OZMU_PIX_NV12 ? 2 * chroma : chroma);
        v.resize(chroma);
        uint32_t seed = 12345;
        const auto fill = [&](std::vector<uint8_t> &plane, int w, int phase) {
            for (size_t i = 0; i < plane.size(); ++i) {
                seed = seed * 1664525u + 1013904223u;
                const int x = int(i % size_t(w)), row = int(i / size_t(w));
                const int ramp = ((x + phase * 311) * 255 / w + row * 255 / kH) / 2;
                plane[i] = uint8_t(std::clamp(ramp + int(seed >> 28) - 8, 0, 255));
            }
        };
        fill(y, kW, 0);
        fill(u, format == OZMU_PIX_NV12 ? kW : kW / 2, 1);
        fill(v, kW / 2, 2);
        src = {};
        src.format = format;
        src.width = kW;
        src.height = kH;
        src.plane[0] = y.data();
        src.stride[0] = kW;
        src.plane[1] = u.data();
        src.stride[1] = format == OZMU_PIX_NV12 ? kW : kW / 2;
        if (format != OZMU_PIX_NV12) {
            src.plane[2] = v.data();
            src.stride[2] = kW / 2;
        }
        dst = {};
        dst.format = OZMU_PIX_RGBA;
        dst.width = kW;
        dst.height = kH;
        dst.plane[0] = rgba.data();
        dst.stride[0] = 4 * kW;
        ozmu_convert_opts_init(&opts);
        opts.matrix = OZMU_MATRIX_BT709;
        opts.src_range = OZMU_RANGE_LIMITED;
        opts.chroma = OZMU_CHROMA_FAST;
    }
    std::vector<uint8_t> rgba, y, u, v;
    ozmu_frame src, dst;
    ozmu_convert_opts opts;
};

// One conversion through `table`, or through the exported ozmu_convert when it is null.
void convert_or_abort(const ozmu::frame::Table *table, const ozmu_frame &src, const ozmu_frame &dst,
                      const ozmu_convert_opts &opts)
{
    const int rc = table != nullptr ? ozmu::frame::convert(*table, &src, &dst, &opts)
                                    : ozmu_convert(&src, &dst, &opts);
    if (rc != OZMU_OK)
        std::abort();
}

// Timed rounds: ours, then the peer (if any), back to back; ratios as in the header comment.
template <class Ours, class Peer>
void time_rounds(benchmark::State &state, Ours ours, Peer peer, bool have_peer)
{
    using Clock = std::chrono::steady_clock;
    double ours_s = 0, ours_best = 1e30, peer_s = 0, peer_best = 1e30;
    for (auto _ : state) {
        auto t0 = Clock::now();
        ours();
        benchmark::ClobberMemory();
        auto t1 = Clock::now();
        const double ours_iter = std::chrono::duration<double>(t1 - t0).count();
        ours_s += ours_iter;
        ours_best = std::min(ours_best, ours_iter);
        if (have_peer) {
            t0 = Clock::now();
            peer();
            benchmark::ClobberMemory();
            t1 = Clock::now();
            const double peer_iter = std::chrono::duration<double>(t1 - t0).count();
            peer_s += peer_iter;
            peer_best = std::min(peer_best, peer_iter);
        }
        state.SetIterationTime(ours_iter);
    }
    state.SetItemsProcessed(state.iterations() * int64_t{kW} * kH);
    if (peer_s > 0) {
        state.counters["vs_libyuv"] = peer_s / ours_s;
        state.counters["best_libyuv"] = peer_best / ours_best;
    }
}

int max_difference(const std::vector<uint8_t> &a, const std::vector<uint8_t> &b)
{
    int worst = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i)
        worst = std::max(worst, std::abs(a[i] - b[i]));
    return worst;
}

// table == nullptr: the exported ozmu_convert.
void BM_frame_to_rgba(benchmark::State &state, int format, const ozmu::frame::Table *table)
{
    Picture p(format);
    const auto ours = [&] { convert_or_abort(table, p.src, p.dst, p.opts); };
    bool have_peer = false;
    std::vector<uint8_t> theirs(p.rgba.size());
    const auto peer = [&] {
#ifdef OZMU_BENCH_HAVE_LIBYUV
        using namespace libyuv;
        if (format == OZMU_PIX_NV12)
            NV12ToABGRMatrix(p.y.data(), kW, p.u.data(), kW, theirs.data(), 4 * kW,
                             &kYuvH709Constants, kW, kH);
        else  // I420ToABGR with BT.709: the ARGB routine with U and V swapped, as libyuv does
            I420ToARGBMatrix(p.y.data(), kW, p.v.data(), kW / 2, p.u.data(), kW / 2, theirs.data(),
                             4 * kW, &kYvuH709Constants, kW, kH);
#endif
    };
#ifdef OZMU_BENCH_HAVE_LIBYUV
    have_peer = true;
    ours();
    peer();
    state.counters["maxdiff_libyuv"] = max_difference(p.rgba, theirs);
#endif
    time_rounds(state, ours, peer, have_peer);
}

uint32_t next_random(uint32_t &seed) { return seed = seed * 1664525u + 1013904223u; }

void BM_frame_rgba_to_i420(benchmark::State &state, const ozmu::frame::Table *table)
{
    std::vector<uint8_t> rgba(size_t(kW) * kH * 4), planes(size_t(kW) * kH * 3 / 2);
    uint32_t seed = 777;
    for (size_t i = 0; i < rgba.size(); ++i) {  // gradients with noise, like camera frames
        const int x = int(i / 4 % kW), y = int(i / 4 / kW), c = int(i % 4);
        rgba[i] = uint8_t(
            std::clamp((x * (c + 1) / 8 + y / 4) % 256 + int(next_random(seed) >> 29), 0, 255));
    }
    ozmu_frame src{}, dst{};
    src.format = OZMU_PIX_RGBA;
    src.width = dst.width = kW;
    src.height = dst.height = kH;
    src.plane[0] = rgba.data();
    src.stride[0] = 4 * kW;
    dst.format = OZMU_PIX_I420;
    dst.plane[0] = planes.data();
    dst.plane[1] = planes.data() + size_t(kW) * kH;
    dst.plane[2] = dst.plane[1] + size_t(kW / 2) * (kH / 2);
    dst.stride[0] = kW;
    dst.stride[1] = dst.stride[2] = kW / 2;
    ozmu_convert_opts opts;
    ozmu_convert_opts_init(&opts);
    opts.siting = OZMU_SITING_CENTER;
    const auto ours = [&] { convert_or_abort(table, src, dst, opts); };
    bool have_peer = false;
    std::vector<uint8_t> theirs(planes.size());
    const auto peer = [&] {
#ifdef OZMU_BENCH_HAVE_LIBYUV
        uint8_t *y = theirs.data(), *u = y + size_t(kW) * kH, *v = u + size_t(kW / 2) * (kH / 2);
        libyuv::ABGRToI420(rgba.data(), 4 * kW, y, kW, u, kW / 2, v, kW / 2, kW, kH);
#endif
    };
#ifdef OZMU_BENCH_HAVE_LIBYUV
    have_peer = true;
    ours();
    peer();
    state.counters["maxdiff_libyuv"] = max_difference(planes, theirs);
#endif
    time_rounds(state, ours, peer, have_peer);
}

void BM_frame_p010_to_bgra(benchmark::State &state, int chroma, const ozmu::frame::Table *table)
{
    std::vector<uint16_t> y(size_t(kW) * kH), uv(size_t(kW) * kH / 2);
    std::vector<uint8_t> bgra(size_t(kW) * kH * 4);
    uint32_t seed = 4242;
    for (size_t i = 0; i < y.size(); ++i)  // 10-bit samples in the high bits
        y[i] = uint16_t(
            (std::clamp(int(i % kW) * 1023 / kW + int(next_random(seed) >> 28) - 8, 0, 1023)) << 6);
    for (size_t i = 0; i < uv.size(); ++i)
        uv[i] = uint16_t(
            (std::clamp(int(i % kW) * 800 / kW + 100 + int(next_random(seed) >> 28), 0, 1023))
            << 6);
    ozmu_frame src{}, dst{};
    src.format = OZMU_PIX_P010;
    src.width = dst.width = kW;
    src.height = dst.height = kH;
    src.plane[0] = reinterpret_cast<uint8_t *>(y.data());
    src.plane[1] = reinterpret_cast<uint8_t *>(uv.data());
    src.stride[0] = src.stride[1] = 2 * kW;
    dst.format = OZMU_PIX_BGRA;
    dst.plane[0] = bgra.data();
    dst.stride[0] = 4 * kW;
    ozmu_convert_opts opts;
    ozmu_convert_opts_init(&opts);
    opts.matrix = OZMU_MATRIX_BT709;
    opts.chroma = chroma;
    const auto ours = [&] { convert_or_abort(table, src, dst, opts); };
    bool have_peer = false;
    std::vector<uint8_t> theirs(bgra.size());
    const auto peer = [&] {
#ifdef OZMU_BENCH_HAVE_LIBYUV
        if (chroma == OZMU_CHROMA_FAST)
            libyuv::P010ToARGBMatrix(y.data(), kW, uv.data(), kW, theirs.data(), 4 * kW,
                                     &libyuv::kYuvH709Constants, kW, kH);
        else
            libyuv::P010ToARGBMatrixFilter(y.data(), kW, uv.data(), kW, theirs.data(), 4 * kW,
                                           &libyuv::kYuvH709Constants, kW, kH,
                                           libyuv::kFilterBilinear);
#endif
    };
#ifdef OZMU_BENCH_HAVE_LIBYUV
    have_peer = true;
    ours();
    peer();
    state.counters["maxdiff_libyuv"] = max_difference(bgra, theirs);
#endif
    time_rounds(state, ours, peer, have_peer);
}

// Registers a work through the exported function and once per x86-64 tier this CPU has.
template <class Register>
void register_with_tiers(const std::string &name, Register add)
{
    add(name, nullptr);
#if OZMU_HAVE_X86_TIERS
    unsigned tiers = 0;
    for (unsigned tier : ozmu::cpu::kX86Tiers) {
        if ((ozmu::cpu::detected() & tier) == 0)
            break;
        tiers |= tier;
        static std::vector<ozmu::frame::Table> tables;  // kept for the run
        tables.reserve(32);
        tables.push_back(ozmu::frame::table_for(tiers));
        add(name + "/" + ozmu::cpu::tier_name(tier), &tables.back());
    }
#endif
}

const bool kFrameIoRegistered = [] {
    register_with_tiers(
        "BM_frame_rgba_to_i420", [](const std::string &n, const ozmu::frame::Table *t) {
            benchmark::RegisterBenchmark(n.c_str(), BM_frame_rgba_to_i420, t)->UseManualTime();
        });
    for (int chroma : {OZMU_CHROMA_FAST, OZMU_CHROMA_ACCURATE}) {
        const std::string name = chroma == OZMU_CHROMA_FAST ? "BM_frame_p010_to_bgra_fast"
                                                            : "BM_frame_p010_to_bgra_accurate";
        register_with_tiers(name, [chroma](const std::string &n, const ozmu::frame::Table *t) {
            benchmark::RegisterBenchmark(n.c_str(), BM_frame_p010_to_bgra, chroma, t)
                ->UseManualTime();
        });
    }
    return true;
}();

const bool kFrameRegistered = [] {
    for (int format : {OZMU_PIX_I420, OZMU_PIX_NV12}) {
        const std::string name =
            format == OZMU_PIX_I420 ? "BM_frame_i420_to_rgba" : "BM_frame_nv12_to_rgba";
        benchmark::RegisterBenchmark(name.c_str(), BM_frame_to_rgba, format, nullptr)
            ->UseManualTime();
#if OZMU_HAVE_X86_TIERS
        unsigned tiers = 0;
        for (unsigned tier : ozmu::cpu::kX86Tiers) {
            if ((ozmu::cpu::detected() & tier) == 0)
                break;
            tiers |= tier;
            static std::vector<ozmu::frame::Table> tables;  // one per tier, kept for the run
            tables.reserve(8);
            tables.push_back(ozmu::frame::table_for(tiers));
            benchmark::RegisterBenchmark((name + "/" + ozmu::cpu::tier_name(tier)).c_str(),
                                         BM_frame_to_rgba, format, &tables.back())
                ->UseManualTime();
        }
#endif
    }
    return true;
}();

}  // namespace
