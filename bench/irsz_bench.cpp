// The image resizer from 1080p to 720p, RGBA (layout 29) and one-byte planes (layout 20), once per
// version: every tier in use (x86-64) or the NEON rows. Rounds run ours and a peer in pairs, back
// to back, so both see the same machine load and caches; each one's time is its best run (the
// slow peers, swscale and the reference, run in every 16th round only).
// Items are destination pixels; vs_<peer> is the peer's best time over ours (above 1 = ours
// faster); maxdiff_<peer> is the largest sample difference between the peer's output and ours,
// measured once before timing (0 for the reference: it must match; the peers' samples sit
// elsewhere: ours start on the first source sample and end on the last, theirs are centred).
//
// Peers, set up for the same job:
//   RGBA      libyuv ARGBScale bilinear; swscale rgba -> rgba bilinear
//   one byte  libyuv ScalePlane bilinear; swscale gray -> gray bilinear
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "core/dispatch.h"
#include "csc/resizer.h"
#include "ozmu.h"

#ifdef OZMU_BENCH_HAVE_LIBYUV
#include <libyuv.h>
#endif
#ifdef OZMU_BENCH_HAVE_SWSCALE
extern "C" {
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}
#endif

namespace {

constexpr int kSrcW = 1920, kSrcH = 1080;
constexpr int kDstW = 1280, kDstH = 720;

// A picture of w x h pixels of `bytes` bytes, 64-byte aligned with room past the end.
struct Picture {
    Picture(int width, int height, int pixel_bytes)
        : w(width), h(height), bytes(pixel_bytes),
          storage(size_t(width) * height * pixel_bytes + 4096)
    {
        const auto at = reinterpret_cast<uintptr_t>(storage.data());
        data = storage.data() + ((64 - at % 64) % 64);
    }
    int stride() const { return w * bytes; }
    size_t size() const { return size_t(stride()) * h; }
    int w, h, bytes;
    std::vector<uint8_t> storage;
    uint8_t *data;
};

// Smooth ramps plus a little noise, so that the filters see neither only extremes nor flat areas.
void fill(Picture &p)
{
    uint32_t seed = 0x9E3779B9u;
    const int row = p.stride();
    for (int y = 0; y < p.h; ++y)
        for (int x = 0; x < row; ++x) {
            seed = seed * 1664525u + 1013904223u;
            const int ramp = (x * 255 / row + y * 255 / p.h) / 2;
            p.data[size_t(y) * row + x] = uint8_t(std::clamp(ramp + int(seed >> 28) - 8, 0, 255));
        }
}

struct Run {
    std::string name;
    std::function<void()> run;
    const Picture *output;
    bool slow = false;  // timed every 16th round only
};

int max_diff(const Picture &a, const Picture &b)
{
    int worst = 0;
    for (size_t i = 0; i < a.size(); ++i)
        worst = std::max(worst, std::abs(a.data[i] - b.data[i]));
    return worst;
}

// Each round runs ours and then each peer, in pairs: a peer and the run of ours just before it
// see the same caches (a slow peer evicts the source picture for whoever runs next).
void compare(benchmark::State &state, const Run &ours, const std::vector<Run> &peers)
{
    using Clock = std::chrono::steady_clock;
    auto time = [](const Run &r) {
        const auto t0 = Clock::now();
        r.run();
        benchmark::ClobberMemory();
        return std::chrono::duration<double>(Clock::now() - t0).count();
    };
    ours.run();
    for (const Run &peer : peers) {
        peer.run();
        state.counters["maxdiff_" + peer.name] = max_diff(*ours.output, *peer.output);
    }
    double best = 1e9;
    std::vector<double> ours_best(peers.size(), 1e9), peer_best(peers.size(), 1e9);
    int64_t rounds = 0;
    for (auto _ : state) {
        double round = 1e9;
        for (size_t i = 0; i < peers.size(); ++i) {
            if (peers[i].slow && rounds % 16 != 0)
                continue;
            const double t = time(ours);
            round = std::min(round, t);
            ours_best[i] = std::min(ours_best[i], t);
            peer_best[i] = std::min(peer_best[i], time(peers[i]));
        }
        if (peers.empty())
            round = time(ours);
        best = std::min(best, round);
        state.SetIterationTime(round);
        ++rounds;
    }
    state.SetItemsProcessed(state.iterations() * int64_t{ours.output->w} * ours.output->h);
    state.counters["best_us"] = best * 1e6;
    for (size_t i = 0; i < peers.size(); ++i)
        state.counters["vs_" + peers[i].name] = peer_best[i] / ours_best[i];
}

using Full = void (*)(const ozmu::irsz::Handle &, const uint8_t *);

// A whole-picture handle writing into dst; its rows are called directly.
struct Resizer {
    Resizer(int layout, const Picture &src, Picture &dst)
    {
        ozmu_irsz_param param{layout, 10, src.w, src.h, src.w, 0, dst.w, dst.h, dst.w, dst.data};
        int err = 0;
        p = ozmu_irsz_create(&param, &err);
    }
    ~Resizer() { ozmu_irsz_delete(p); }
    Resizer(const Resizer &) = delete;
    Resizer &operator=(const Resizer &) = delete;
    const ozmu::irsz::Handle &record() const { return *static_cast<ozmu::irsz::Handle *>(p); }
    void *p;
};

#ifdef OZMU_BENCH_HAVE_SWSCALE
struct Sws {
    Sws(const Picture &src, Picture &dst, AVPixelFormat format)
        : ctx(sws_getContext(src.w, src.h, format, dst.w, dst.h, format, SWS_BILINEAR, nullptr,
                             nullptr, nullptr)),
          in(src), out(dst)
    {
    }
    ~Sws() { sws_freeContext(ctx); }
    Sws(const Sws &) = delete;
    Sws &operator=(const Sws &) = delete;
    void operator()() const
    {
        const uint8_t *planes[1] = {in.data};
        const int in_stride[1] = {in.stride()};
        uint8_t *dst[1] = {out.data};
        const int out_stride[1] = {out.stride()};
        sws_scale(ctx, planes, in_stride, 0, in.h, dst, out_stride);
    }
    SwsContext *ctx;
    const Picture &in;
    Picture &out;
};
#endif

void BM_irsz(benchmark::State &state, int layout, Full ours_full, Full ref_full)
{
    const int bytes = layout == 29 ? 4 : 1;
    static Picture src_rgba(kSrcW, kSrcH, 4), src_gray(kSrcW, kSrcH, 1);
    static const bool filled = (fill(src_rgba), fill(src_gray), true);
    benchmark::DoNotOptimize(filled);
    const Picture &src = bytes == 4 ? src_rgba : src_gray;
    Picture ours(kDstW, kDstH, bytes), ref(kDstW, kDstH, bytes);
    Resizer ours_handle(layout, src, ours), ref_handle(layout, src, ref);
    if (!ours_handle.p || !ref_handle.p) {
        state.SkipWithError("ozmu_irsz_create failed");
        return;
    }
    std::vector<Run> peers;
#ifdef OZMU_BENCH_HAVE_SWSCALE
    Picture sws_out(kDstW, kDstH, bytes);
    Sws sws(src, sws_out, bytes == 4 ? AV_PIX_FMT_RGBA : AV_PIX_FMT_GRAY8);
    peers.push_back({"swscale", [&] { sws(); }, &sws_out, true});
#endif
    peers.push_back({"ref", [&] { ref_full(ref_handle.record(), src.data); }, &ref, true});
#ifdef OZMU_BENCH_HAVE_LIBYUV
    Picture yuv(kDstW, kDstH, bytes);
    if (bytes == 4)
        peers.push_back({"libyuv",
                         [&] {
                             libyuv::ARGBScale(src.data, src.stride(), kSrcW, kSrcH, yuv.data,
                                               yuv.stride(), kDstW, kDstH, libyuv::kFilterBilinear);
                         },
                         &yuv});
    else
        peers.push_back({"libyuv",
                         [&] {
                             libyuv::ScalePlane(src.data, src.stride(), kSrcW, kSrcH, yuv.data,
                                                yuv.stride(), kDstW, kDstH,
                                                libyuv::kFilterBilinear);
                         },
                         &yuv});
#endif
    compare(state, {"ours", [&] { ours_full(ours_handle.record(), src.data); }, &ours}, peers);
}

// One benchmark per version of each vector row: a tier contributes one when its installer changed
// the entry (tiers in use only, so OZMU_CPU_DISABLE narrows the list).
[[maybe_unused]] const bool registered = [] {
    using ozmu::irsz::Table;
    struct Kind {
        const char *name;
        int layout;
        Full Table::*entry;
    };
    const Kind kinds[] = {{"BM_irsz_rgba8888", 29, &Table::irsz8b8b8b8b_full},
                          {"BM_irsz_8b", 20, &Table::irsz8b_full}};
#if OZMU_HAVE_NEON
    const unsigned tiers[] = {ozmu::cpu::kNeon};
#else
    const auto &tiers = ozmu::cpu::kX86Tiers;
#endif
    for (const Kind &k : kinds) {
        const Full ref = ozmu::irsz::table_for(0).*k.entry;
        Full previous = ref;
        unsigned in_use = 0;
        for (unsigned tier : tiers) {
            if ((ozmu::cpu::active() & tier) == 0)
                break;
            in_use |= tier;
            const Full full = ozmu::irsz::table_for(in_use).*k.entry;
            if (full != previous)
                benchmark::RegisterBenchmark(
                    (std::string(k.name) + "/" + ozmu::cpu::tier_name(tier)).c_str(),
                    [=](benchmark::State &state) { BM_irsz(state, k.layout, full, ref); })
                    ->UseManualTime()
                    ->MinTime(0.2);
            previous = full;
        }
    }
    return true;
}();

}  // namespace
