// Colour conversion, scaled conversion and the RGBA resizer on 1080p pictures, against the scalar
// reference of each kernel and, where installed, libyuv and swscale doing the same job.
// As in mem_bench, each iteration times ours and every other implementation back to back, so all
// see the same machine load. Items are destination pixels; vs_<peer> is the peer's time over
// ours (above 1 = ours faster); maxdiff_<peer> is the largest channel difference between the
// peer's pixels and ours, measured once before timing (0 for the reference: it must match; 1
// for the unscaled conversion's peers; tens for the scaled ones, whose samples sit elsewhere:
// ours start on the first source sample and end on the last, theirs are centred).
//
// Peers, set up for the same job as ours:
//   conversion    libyuv J444ToABGR (full-range BT.601, bytes R, G, B, A);
//                 swscale yuv444p -> rgba, full-range BT.601 in, full chroma per pixel
//   scaled        libyuv J444ToABGR to a 1080p scratch picture, then ARGBScale bilinear (its
//                 two-pass route); swscale yuv444p 1080p -> rgba 720p, bilinear, one pass
//   resizer       libyuv ARGBScale bilinear; swscale rgba -> rgba bilinear
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "csc/resizer.h"
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
    double ours_s = 0;
    std::vector<double> peer_s(peers.size());
    for (auto _ : state) {
        auto t0 = Clock::now();
        ours();
        benchmark::ClobberMemory();
        auto t1 = Clock::now();
        const double ours_iter = std::chrono::duration<double>(t1 - t0).count();
        ours_s += ours_iter;
        for (size_t i = 0; i < peers.size(); ++i) {
            t0 = Clock::now();
            peers[i].run();
            benchmark::ClobberMemory();
            t1 = Clock::now();
            peer_s[i] += std::chrono::duration<double>(t1 - t0).count();
        }
        state.SetIterationTime(ours_iter);
    }
    state.SetItemsProcessed(state.iterations() * pixels);
    for (size_t i = 0; i < peers.size(); ++i)
        state.counters["vs_" + peers[i].name] = peer_s[i] / ours_s;
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

void BM_yuv444_to_rgba8888(benchmark::State &state)
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
        state, int64_t{kSrcW} * kSrcH,
        [&] { run_csc(ozmu_csc_yuv444_to_rgba8888, src, kSrcW, kSrcH, ours); }, ours, peers);
}

void BM_rsz_yuv444_to_rgba8888(benchmark::State &state)
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
#endif
#ifdef OZMU_BENCH_HAVE_SWSCALE
    Rgba sws_out(kDstW, kDstH);
    Sws sws(kSrcW, kSrcH, AV_PIX_FMT_YUV444P, kDstW, kDstH, AV_PIX_FMT_RGBA,
            SWS_BILINEAR | SWS_FULL_CHR_H_INT);
    peers.push_back(swscale_yuv444_peer(sws, src, sws_out));
#endif
    compare(
        state, int64_t{kDstW} * kDstH,
        [&] { run_csc(ozmu_csc_rsz_yuv444_to_rgba8888, src, kSrcW, kSrcH, ours); }, ours, peers);
}

// Whole-picture RGBA resizer (layout 29, mode 10) from 1080p to dst's size, writing into dst.
void *create_rgba_resizer(Rgba &dst)
{
    ozmu_irsz_param param{};
    param.layout = 29;
    param.mode = 10;
    param.src_w = kSrcW;
    param.src_h = kSrcH;
    param.src_pitch = kSrcW;
    param.dst_w = dst.w;
    param.dst_h = dst.h;
    param.dst_pitch = dst.w;
    param.dst = dst.buf.data;
    int err = 0;
    return ozmu_irsz_create(&param, &err);
}

void BM_irsz_rgba8888(benchmark::State &state)
{
    static const Rgba src(kSrcW, kSrcH);
    static const bool filled = (fill_plane(src.buf.data, 4 * kSrcW, kSrcH, src.stride(), 3), true);
    benchmark::DoNotOptimize(filled);
    Rgba ours(kDstW, kDstH), ref(kDstW, kDstH);
    // Two handles of the same geometry: the second one's destination receives the reference's
    // rows, which are called on it directly.
    void *handle = create_rgba_resizer(ours);
    void *ref_handle = create_rgba_resizer(ref);
    if (!handle || !ref_handle) {
        state.SkipWithError("ozmu_irsz_create failed");
        ozmu_irsz_delete(handle);
        ozmu_irsz_delete(ref_handle);
        return;
    }
    std::vector<Peer> peers;
    peers.push_back({"ref",
                     [&] {
                         ozmu::ref::irsz8b8b8b8b_full(
                             *static_cast<const ozmu::irsz::Handle *>(ref_handle), src.buf.data);
                     },
                     &ref});
#ifdef OZMU_BENCH_HAVE_LIBYUV
    Rgba yuv(kDstW, kDstH);
    peers.push_back({"libyuv",
                     [&] {
                         libyuv::ARGBScale(src.buf.data, src.stride(), kSrcW, kSrcH, yuv.buf.data,
                                           yuv.stride(), kDstW, kDstH, libyuv::kFilterBilinear);
                     },
                     &yuv});
#endif
#ifdef OZMU_BENCH_HAVE_SWSCALE
    Rgba sws_out(kDstW, kDstH);
    Sws sws(kSrcW, kSrcH, AV_PIX_FMT_RGBA, kDstW, kDstH, AV_PIX_FMT_RGBA, SWS_BILINEAR);
    peers.push_back({"swscale",
                     [&] {
                         const uint8_t *in[1] = {src.buf.data};
                         const int in_stride[1] = {src.stride()};
                         uint8_t *out[1] = {sws_out.buf.data};
                         const int out_stride[1] = {sws_out.stride()};
                         sws_scale(sws.ctx, in, in_stride, 0, kSrcH, out, out_stride);
                     },
                     &sws_out});
#endif
    compare(
        state, int64_t{kDstW} * kDstH, [&] { ozmu_irsz(handle, src.buf.data, 0, kSrcH); }, ours,
        peers);
    ozmu_irsz_delete(handle);
    ozmu_irsz_delete(ref_handle);
}

}  // namespace

BENCHMARK(BM_yuv444_to_rgba8888)->UseManualTime();
BENCHMARK(BM_rsz_yuv444_to_rgba8888)->UseManualTime();
BENCHMARK(BM_irsz_rgba8888)->UseManualTime();
