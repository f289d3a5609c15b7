// Colour conversion and scaled conversion on 1080p pictures, against the scalar
// reference of each kernel and, where installed, libyuv and swscale doing the same job.
// As in mem_bench, each iteration times ours and every other implementation back to back, so all
// see the same machine load. Items are destination pixels; vs_<peer> is the peer's total time over
// ours and best_<peer> its best single run over our best (above 1 = ours faster); maxdiff_<peer> is
// the largest channel difference between the peer's pixels and ours, measured once before timing (0
// for the reference: it must match; 1 for the unscaled conversion's peers; tens for the scaled
// ones, whose samples sit elsewhere: ours start on the first source sample and end on the last,
// theirs are centred).
//
// Peers, set up for the same job as ours:
//   conversion    libyuv J444ToABGR (full-range BT.601, bytes R, G, B, A);
//                 swscale yuv444p -> rgba, full-range BT.601 in, full chroma per pixel
//   scaled        libyuv's two two-pass routes: J444ToABGR to a 1080p scratch picture, then
//                 ARGBScale bilinear ("libyuv"); I444Scale bilinear to 720p planes, then
//                 J444ToABGR ("libyuv_planes"); *_libyuv_fastest takes the faster route.
//                 swscale yuv444p 1080p -> rgba 720p, bilinear, one pass
//
// The colour benchmarks run once through the exported function and once per x86-64 tier this CPU
// has (.../ssse3, .../avx2, .../avx512: the version the family table holds with that tier and every
// tier below it), so one run prints every tier's figures; OZMU_CPU_DISABLE changes only the
// exported run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "csc/scale.h"
#include "csc/to_rgb_vector.h"
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

// 64-byte aligned rows with room past the end, like image buffer planes.
struct Buffer {
    explicit Buffer(size_t n, uint8_t fill = 0) : bytes(n + 4096, fill)
    {
        const auto at = reinterpret_cast<uintptr_t>(bytes.data());
        data = bytes.data() + ((64 - at % 64) % 64);
    }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;
    std::vector<uint8_t> bytes;
    uint8_t *data;
};

// A picture-like plane: smooth ramps plus a little noise, so that neither the clip nor the
// filters see only extremes.
void fill_plane(uint8_t *plane, int w, int h, int stride, int phase)
{
    uint32_t seed = 0x9E3779B9u * uint32_t(phase + 1);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            seed = seed * 1664525u + 1013904223u;
            const int ramp = ((x + phase * 311) * 255 / w + (y * 255 / h)) / 2;
            const int noise = int(seed >> 28) - 8;
            plane[size_t(y) * stride + x] = uint8_t(std::clamp(ramp + noise, 0, 255));
        }
}

struct Yuv444 {
    Yuv444() : y(size_t(kSrcW) * kSrcH), u(size_t(kSrcW) * kSrcH), v(size_t(kSrcW) * kSrcH)
    {
        fill_plane(y.data, kSrcW, kSrcH, kSrcW, 0);
        fill_plane(u.data, kSrcW, kSrcH, kSrcW, 1);
        fill_plane(v.data, kSrcW, kSrcH, kSrcW, 2);
    }
    Buffer y, u, v;
};

struct Rgba {
    Rgba(int width, int height) : w(width), h(height), buf(size_t(width) * height * 4) {}
    int stride() const { return 4 * w; }
    int w, h;
    Buffer buf;
};

// Calls a conversion kernel the way a host does: plane pointers and strides in arrays.
void run_csc(ozmu_fn_csc fn, const Yuv444 &src, int src_w, int src_h, Rgba &dst)
{
    uint8_t *planes[4] = {src.y.data, src.u.data, src.v.data, nullptr};
    int src_stride[4] = {src_w, src_w, src_w, 0};
    uint8_t *out[4] = {dst.buf.data, dst.buf.data, dst.buf.data, dst.buf.data};
    int dst_stride[4] = {dst.stride(), dst.stride(), dst.stride(), dst.stride()};
    fn(planes, src_w, src_h, src_stride, OZMU_CS_YUV444, out, dst.w, dst.h, dst_stride,
       OZMU_CS_RGBA8888);
}

int max_diff(const Rgba &a, const Rgba &b)
{
    int worst = 0;
    for (size_t i = 0; i < size_t(a.w) * a.h * 4; ++i)
        worst = std::max(worst, std::abs(a.buf.data[i] - b.buf.data[i]));
    return worst;
}

struct Peer {
    std::string name;
    std::function<void()> run;
    const Rgba *output;  // compared with ours once, before timing
};

void compare(benchmark::State &state, int64_t pixels, const std::function<void()> &ours,
             const Rgba &ours_output, const std::vector<Peer> &peers)
{
    using Clock = std::chrono::steady_clock;
    ours();
    for (const Peer &peer : peers) {
        peer.run();
        state.counters["maxdiff_" + peer.name] = max_diff(ours_output, *peer.output);
    }
    double ours_s = 0, ours_best = 1e30;
    std::vector<double> peer_s(peers.size()), peer_best(peers.size(), 1e30);
    for (auto _ : state) {
        auto t0 = Clock::now();
        ours();
        benchmark::ClobberMemory();
        auto t1 = Clock::now();
        const double ours_iter = std::chrono::duration<double>(t1 - t0).count();
        ours_s += ours_iter;
        ours_best = std::min(ours_best, ours_iter);
        for (size_t i = 0; i < peers.size(); ++i) {
            t0 = Clock::now();
            peers[i].run();
            benchmark::ClobberMemory();
            t1 = Clock::now();
            const double peer_iter = std::chrono::duration<double>(t1 - t0).count();
            peer_s[i] += peer_iter;
            peer_best[i] = std::min(peer_best[i], peer_iter);
        }
        state.SetIterationTime(ours_iter);
    }
    // vs_<peer>: total time over ours; best_<peer>: best-of-N time over our best-of-N.
    state.SetItemsProcessed(state.iterations() * pixels);
    double libyuv_total = 0, libyuv_best = 0;
    for (size_t i = 0; i < peers.size(); ++i) {
        state.counters["vs_" + peers[i].name] = peer_s[i] / ours_s;
        state.counters["best_" + peers[i].name] = peer_best[i] / ours_best;
        if (peers[i].name.rfind("libyuv", 0) == 0) {
            libyuv_total = libyuv_total == 0 ? peer_s[i] : std::min(libyuv_total, peer_s[i]);
            libyuv_best = libyuv_best == 0 ? peer_best[i] : std::min(libyuv_best, peer_best[i]);
        }
    }
    if (libyuv_total > 0) {
        state.counters["vs_libyuv_fastest"] = libyuv_total / ours_s;
        state.counters["best_libyuv_fastest"] = libyuv_best / ours_best;
    }
}

#ifdef OZMU_BENCH_HAVE_SWSCALE
// Full-range BT.601 in and out; one context per benchmark, freed at the end.
struct Sws {
    Sws(int sw, int sh, AVPixelFormat sf, int dw, int dh, AVPixelFormat df, int flags)
        : ctx(sws_getContext(sw, sh, sf, dw, dh, df, flags, nullptr, nullptr, nullptr))
    {
        const int *bt601 = sws_getCoefficients(SWS_CS_ITU601);
        sws_setColorspaceDetails(ctx, bt601, 1, bt601, 1, 0, 1 << 16, 1 << 16);
    }
    ~Sws() { sws_freeContext(ctx); }
    Sws(const Sws &) = delete;
    Sws &operator=(const Sws &) = delete;
    SwsContext *ctx;
};

// swscale converting the whole 4:4:4 source into `out` (whose size the context was made for).
Peer swscale_yuv444_peer(const Sws &sws, const Yuv444 &src, Rgba &out)
{
    return {"swscale",
            [&sws, &src, &out] {
                const uint8_t *planes[3] = {src.y.data, src.u.data, src.v.data};
                const int strides[3] = {kSrcW, kSrcW, kSrcW};
                uint8_t *dst[1] = {out.buf.data};
                const int dst_stride[1] = {out.stride()};
                sws_scale(sws.ctx, planes, strides, 0, kSrcH, dst, dst_stride);
            },
            &out};
}
#endif

void BM_yuv444_to_rgba8888(benchmark::State &state, ozmu_fn_csc fn)
{
    static const Yuv444 src;
    Rgba ours(kSrcW, kSrcH), ref(kSrcW, kSrcH);
    std::vector<Peer> peers;
    peers.push_back(
        {"ref", [&] { run_csc(ozmu::ref::yuv444_to_rgba8888, src, kSrcW, kSrcH, ref); }, &ref});
#ifdef OZMU_BENCH_HAVE_LIBYUV
    Rgba yuv(kSrcW, kSrcH);
    peers.push_back({"libyuv",
                     [&] {
                         libyuv::J444ToABGR(src.y.data, kSrcW, src.u.data, kSrcW, src.v.data, kSrcW,
                                            yuv.buf.data, yuv.stride(), kSrcW, kSrcH);
                     },
                     &yuv});
#endif
#ifdef OZMU_BENCH_HAVE_SWSCALE
    Rgba sws_out(kSrcW, kSrcH);
    Sws sws(kSrcW, kSrcH, AV_PIX_FMT_YUV444P, kSrcW, kSrcH, AV_PIX_FMT_RGBA,
            SWS_BILINEAR | SWS_FULL_CHR_H_INT);
    peers.push_back(swscale_yuv444_peer(sws, src, sws_out));
#endif
    compare(
        state, int64_t{kSrcW} * kSrcH, [&] { run_csc(fn, src, kSrcW, kSrcH, ours); }, ours, peers);
}

void BM_rsz_yuv444_to_rgba8888(benchmark::State &state, ozmu_fn_csc fn)
{
    static const Yuv444 src;
    Rgba ours(kDstW, kDstH), ref(kDstW, kDstH);
    std::vector<Peer> peers;
    peers.push_back(
        {"ref", [&] { run_csc(ozmu::ref::rsz_yuv444_to_rgba8888, src, kSrcW, kSrcH, ref); }, &ref});
#ifdef OZMU_BENCH_HAVE_LIBYUV
    Rgba full(kSrcW, kSrcH), yuv(kDstW, kDstH);
    peers.push_back({"libyuv",
                     [&] {
                         libyuv::J444ToABGR(src.y.data, kSrcW, src.u.data, kSrcW, src.v.data, kSrcW,
                                            full.buf.data, full.stride(), kSrcW, kSrcH);
                         libyuv::ARGBScale(full.buf.data, full.stride(), kSrcW, kSrcH, yuv.buf.data,
                                           yuv.stride(), kDstW, kDstH, libyuv::kFilterBilinear);
                     },
                     &yuv});
    Buffer py(size_t(kDstW) * kDstH), pu(size_t(kDstW) * kDstH), pv(size_t(kDstW) * kDstH);
    Rgba planes_out(kDstW, kDstH);
    peers.push_back({"libyuv_planes",
                     [&] {
                         libyuv::I444Scale(src.y.data, kSrcW, src.u.data, kSrcW, src.v.data, kSrcW,
                                           kSrcW, kSrcH, py.data, kDstW, pu.data, kDstW, pv.data,
                                           kDstW, kDstW, kDstH, libyuv::kFilterBilinear);
                         libyuv::J444ToABGR(py.data, kDstW, pu.data, kDstW, pv.data, kDstW,
                                            planes_out.buf.data, planes_out.stride(), kDstW, kDstH);
                     },
                     &planes_out});
#endif
#ifdef OZMU_BENCH_HAVE_SWSCALE
    Rgba sws_out(kDstW, kDstH);
    Sws sws(kSrcW, kSrcH, AV_PIX_FMT_YUV444P, kDstW, kDstH, AV_PIX_FMT_RGBA,
            SWS_BILINEAR | SWS_FULL_CHR_H_INT);
    peers.push_back(swscale_yuv444_peer(sws, src, sws_out));
#endif
    compare(
        state, int64_t{kDstW} * kDstH, [&] { run_csc(fn, src, kSrcW, kSrcH, ours); }, ours, peers);
}

}  // namespace

// The exported function, then each tier's own version.
const bool kCscRegistered = [] {
    benchmark::RegisterBenchmark("BM_yuv444_to_rgba8888", BM_yuv444_to_rgba8888,
                                 ozmu_csc_yuv444_to_rgba8888)
        ->UseManualTime();
    benchmark::RegisterBenchmark("BM_rsz_yuv444_to_rgba8888", BM_rsz_yuv444_to_rgba8888,
                                 ozmu_csc_rsz_yuv444_to_rgba8888)
        ->UseManualTime();
#if OZMU_HAVE_X86_TIERS
    unsigned tiers = 0;
    for (unsigned tier : ozmu::cpu::kX86Tiers) {
        if ((ozmu::cpu::detected() & tier) == 0)
            break;
        tiers |= tier;
        if (tier == ozmu::cpu::kSse2)
            continue;  // the reference: the "ref" peer
        const std::string suffix = std::string("/") + ozmu::cpu::tier_name(tier);
        benchmark::RegisterBenchmark(("BM_yuv444_to_rgba8888" + suffix).c_str(),
                                     BM_yuv444_to_rgba8888,
                                     ozmu::csc::vector_table_for(tiers).yuv444_to_rgba8888)
            ->UseManualTime();
        benchmark::RegisterBenchmark(("BM_rsz_yuv444_to_rgba8888" + suffix).c_str(),
                                     BM_rsz_yuv444_to_rgba8888,
                                     ozmu::csc::scale_table_for(tiers).rsz_yuv444_to_rgba8888)
            ->UseManualTime();
    }
#endif
    return true;
}();
