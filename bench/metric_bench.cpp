// Block metrics over a 1080p frame of block positions, as a motion search calls them: every block
// of the frame against the block displaced by a small motion vector. Each iteration runs the
// exported kernel (or one tier's version of it) over the whole frame, then its scalar reference
// (and, for the 8x8 and 16x16 SAD, FFmpeg's av_pixelutils SAD where libavutil is installed), back
// to back so that all see the same machine load. Items are calls; ns_call is ours per call;
// vs_<peer> is the peer's time over ours (above 1 = ours faster). The results are checked equal
// once before timing.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "metric/metric.h"
#include "ozmu.h"

#ifdef OZMU_BENCH_HAVE_AVUTIL
extern "C" {
#include <libavutil/pixelutils.h>
}
#endif

namespace {

constexpr int kW = 1920, kH = 1080, kMargin = 96;
constexpr int kStride = kW + 2 * kMargin;
constexpr int kMotionX = 3, kMotionY = -2;

// Two 8-bit and two 16-bit (10-bit content) frames with margins, and a residual frame.
struct Frames {
    Frames()
        : a8(size_t(kStride) * (kH + 2 * kMargin)), b8(a8.size()), a16(a8.size()), b16(a8.size()),
          out(a8.size())
    {
        uint32_t seed = 0x2545F491u;
        for (size_t i = 0; i < a8.size(); ++i) {
            const int x = int(i % kStride), y = int(i / kStride);
            seed = seed * 1664525u + 1013904223u;
            const int ramp = (x * 3 + y * 2) & 255, noise = int(seed >> 28) - 8;
            a8[i] = uint8_t(ramp);
            b8[i] = uint8_t(ramp + noise);
            a16[i] = int16_t(4 * ramp + noise);
            b16[i] = int16_t(4 * ramp - noise);
        }
    }
    size_t origin() const { return size_t(kMargin) * kStride + kMargin; }
    std::vector<uint8_t> a8, b8;
    std::vector<int16_t> a16, b16, out;
};

Frames &frames()
{
    static Frames f;
    return f;
}

// Calls one kernel at sample offset `at` of the first operand (the second is displaced by the
// motion vector), whatever its kind; difference kernels return one written value. Generic
// functions get the block size as their first arguments.
template <class F>
int call(F fn, int w, int h, Frames &f, size_t at)
{
    const size_t moved = at + ptrdiff_t{kMotionY} * kStride + kMotionX;
    if constexpr (std::is_invocable_v<F, int, int, const uint8_t *, const uint8_t *, int, int>)
        return fn(w, h, &f.a8[at], &f.b8[moved], kStride, kStride);
    else if constexpr (std::is_invocable_v<F, int, int, const int16_t *, const int16_t *, int, int>)
        return fn(w, h, &f.a16[at], &f.b16[moved], kStride, kStride);
    else if constexpr (std::is_invocable_v<F, int, int, const uint8_t *, const uint8_t *, int, int,
                                           int, int16_t *>) {
        fn(w, h, &f.a8[at], &f.b8[moved], kStride, kStride, kStride, &f.out[at]);
        return f.out[at];
    } else if constexpr (std::is_invocable_v<F, int, int, const int16_t *, const int16_t *, int,
                                             int, int, int16_t *>) {
        fn(w, h, &f.a16[at], &f.b16[moved], kStride, kStride, kStride, &f.out[at]);
        return f.out[at];
    } else if constexpr (std::is_invocable_v<F, const int16_t *>)
        return fn(&f.a16[at]);
    else if constexpr (std::is_invocable_v<F, const uint8_t *, const uint8_t *, int, int>)
        return fn(&f.a8[at], &f.b8[moved], kStride, kStride);
    else if constexpr (std::is_invocable_v<F, const int16_t *, const int16_t *, int, int>)
        return fn(&f.a16[at], &f.b16[moved], kStride, kStride);
    else if constexpr (std::is_invocable_v<F, const int16_t *, const uint8_t *, int, int>)
        return fn(&f.a16[at], &f.b8[moved], kStride, kStride);
    else if constexpr (std::is_invocable_v<F, const uint8_t *, const uint8_t *, int, int, int,
                                           int16_t *>) {
        fn(&f.a8[at], &f.b8[moved], kStride, kStride, kStride, &f.out[at]);
        return f.out[at];
    } else if constexpr (std::is_invocable_v<F, const int16_t *, const uint8_t *, int, int, int,
                                             int16_t *>) {
        fn(&f.a16[at], &f.b8[moved], kStride, kStride, kStride, &f.out[at]);
        return f.out[at];
    } else {
        fn(&f.a16[at], &f.b16[moved], kStride, kStride, kStride, &f.out[at]);
        return f.out[at];
    }
}

// Every w x h block position of the frame; returns a checksum of the results.
template <class F>
uint32_t over_frame(F fn, int w, int h)
{
    Frames &f = frames();
    uint32_t sum = 0;
    for (int y = 0; y + h <= kH; y += h)
        for (int x = 0; x + w <= kW; x += w)
            sum += uint32_t(call(fn, w, h, f, f.origin() + size_t(y) * kStride + x));
    return sum;
}

struct Peer {
    std::string name;
    std::function<uint32_t()> run;
};

void compare(benchmark::State &state, int w, int h, const std::function<uint32_t()> &ours,
             const std::vector<Peer> &peers)
{
    using Clock = std::chrono::steady_clock;
    const uint32_t expected = ours();
    for (const Peer &peer : peers)
        if (peer.name == "ref" && peer.run() != expected)
            state.SkipWithError("kernel and reference disagree");
    double ours_s = 0;
    std::vector<double> peer_s(peers.size());
    for (auto _ : state) {
        auto t0 = Clock::now();
        benchmark::DoNotOptimize(ours());
        auto t1 = Clock::now();
        const double ours_iter = std::chrono::duration<double>(t1 - t0).count();
        ours_s += ours_iter;
        for (size_t i = 0; i < peers.size(); ++i) {
            t0 = Clock::now();
            benchmark::DoNotOptimize(peers[i].run());
            peer_s[i] += std::chrono::duration<double>(Clock::now() - t0).count();
        }
        state.SetIterationTime(ours_iter);
    }
    const int64_t calls = int64_t(kW / w) * (kH / h);
    state.SetItemsProcessed(state.iterations() * calls);
    state.counters["ns_call"] = ours_s * 1e9 / double(state.iterations() * calls);
    for (size_t i = 0; i < peers.size(); ++i)
        state.counters["vs_" + peers[i].name] = peer_s[i] / ours_s;
}

#ifdef OZMU_BENCH_HAVE_AVUTIL
// av_pixelutils' unaligned SAD of 2^bits square blocks over the same positions.
Peer avutil_sad_peer(int bits)
{
    const av_pixelutils_sad_fn sad = av_pixelutils_get_sad_fn(bits, bits, 0, nullptr);
    const int n = 1 << bits;
    return {"avutil", [sad, n] {
                Frames &f = frames();
                uint32_t sum = 0;
                for (int y = 0; y + n <= kH; y += n)
                    for (int x = 0; x + n <= kW; x += n) {
                        const size_t at = f.origin() + size_t(y) * kStride + x;
                        const size_t moved = at + ptrdiff_t{kMotionY} * kStride + kMotionX;
                        sum += uint32_t(sad(&f.a8[at], kStride, &f.b8[moved], kStride));
                    }
                return sum;
            }};
}
#endif

using SadU8 = int (*)(const uint8_t *, const uint8_t *, int, int);

// One row per kernel: the exported function against the reference (and av_pixelutils for the
// 8x8 and 16x16 SAD); on x86-64 one more row per tier that has its own version ("name/avx2"),
// that version called directly.
template <class F>
void register_kernel(const std::string &name, F exported, F reference,
                     F ozmu::metric::Table::*entry, int w, int h)
{
    std::vector<std::pair<std::string, F>> rows{{name, exported}};
#if OZMU_HAVE_X86_TIERS
    F previous = ozmu::metric::table_for(0).*entry;
    unsigned tiers = 0;
    for (unsigned tier : ozmu::cpu::kX86Tiers) {
        if ((ozmu::cpu::detected() & tier) == 0)
            break;
        tiers |= tier;
        const F fn = ozmu::metric::table_for(tiers).*entry;
        if (fn != previous)
            rows.emplace_back(name + "/" + ozmu::cpu::tier_name(tier), fn);
        previous = fn;
    }
#else
    (void)entry;
#endif
    for (const auto &[row, fn] : rows)
        benchmark::RegisterBenchmark(row.c_str(), [fn = fn, reference, w,
                                                   h](benchmark::State &state) {
            std::vector<Peer> peers{{"ref", [=] { return over_frame(reference, w, h); }}};
#ifdef OZMU_BENCH_HAVE_AVUTIL
            if constexpr (std::is_same_v<F, SadU8>)
                if (reference == &ozmu::ref::sad8x8 || reference == &ozmu::ref::sad16x16)
                    peers.push_back(avutil_sad_peer(w == 8 ? 3 : 4));
#endif
            compare(
                state, w, h, [=] { return over_frame(fn, w, h); }, peers);
        })->UseManualTime();
}

// The 2-wide shapes run the reference everywhere: the exported function alone.
template <class F>
void register_reference(const char *name, F exported, F reference, int w, int h)
{
    benchmark::RegisterBenchmark(name, [=](benchmark::State &state) {
        compare(state, w, h, [=] { return over_frame(exported, w, h); },
                {{"ref", [=] { return over_frame(reference, w, h); }}});
    })->UseManualTime();
}

#define OZMU_BENCH_KERNEL(name, w, h)                                                              \
    register_kernel(#name, &ozmu_##name, &ozmu::ref::name, &ozmu::metric::Table::name, w, h);
#define OZMU_BENCH_REF(name, w, h) register_reference(#name, &ozmu_##name, &ozmu::ref::name, w, h);
#define OZMU_BENCH_SAD_REF(w, h)                                                                   \
    OZMU_BENCH_REF(sad##w##x##h, w, h) OZMU_BENCH_REF(sad##w##x##h##_16, w, h)
#define OZMU_BENCH_DIFF_REF(w, h)                                                                  \
    OZMU_BENCH_REF(diff##w##x##h, w, h) OZMU_BENCH_REF(diff##w##x##h##_16, w, h)
#define OZMU_BENCH_DIFF16_REF(w, h) OZMU_BENCH_REF(diff##w##x##h##_16, w, h)
#define OZMU_BENCH_SAD(w, h)                                                                       \
    OZMU_BENCH_KERNEL(sad##w##x##h, w, h) OZMU_BENCH_KERNEL(sad##w##x##h##_16, w, h)
#define OZMU_BENCH_SAD_BI(w, h) OZMU_BENCH_KERNEL(sad##w##x##h##_bi, w, h)
#define OZMU_BENCH_DIFF(w, h)                                                                      \
    OZMU_BENCH_KERNEL(diff##w##x##h, w, h) OZMU_BENCH_KERNEL(diff##w##x##h##_16, w, h)
#define OZMU_BENCH_DIFF16(w, h) OZMU_BENCH_KERNEL(diff##w##x##h##_16, w, h)

// Every fixed-size kernel in the header's order, then the Hadamard cost (over 16 values at each
// 4x4 position) and the generic functions at typical block sizes.
const bool registered = [] {
    OZMU_METRIC_NARROW_SIZES(OZMU_BENCH_SAD_REF)
    OZMU_METRIC_SMALL_SIZES(OZMU_BENCH_SAD)
    OZMU_METRIC_BI_SIZES(OZMU_BENCH_SAD)
    OZMU_METRIC_BI_SIZES(OZMU_BENCH_SAD_BI)
    OZMU_METRIC_NARROW_SIZES(OZMU_BENCH_DIFF_REF)
    OZMU_METRIC_SMALL_SIZES(OZMU_BENCH_DIFF)
    OZMU_METRIC_BI_SIZES(OZMU_BENCH_DIFF)
    OZMU_METRIC_DIFF16_NARROW_SIZES(OZMU_BENCH_DIFF16_REF)
    OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_BENCH_DIFF16)
    OZMU_BENCH_KERNEL(diff4x4_bi, 4, 4)
    OZMU_BENCH_KERNEL(hadamard4x4, 4, 4)
    OZMU_BENCH_KERNEL(satd4x4, 4, 4)
    OZMU_BENCH_KERNEL(satd4x4_bi, 4, 4)
    OZMU_BENCH_KERNEL(satd4x4_16, 4, 4)
    OZMU_BENCH_KERNEL(satd8x8, 8, 8)
    OZMU_BENCH_KERNEL(satd8x8_16, 8, 8)
    OZMU_BENCH_KERNEL(satd8x8_bi, 8, 8)
    OZMU_BENCH_KERNEL(satd8x8_bi_16, 8, 8)
    for (int n : {8, 16, 64}) {
        std::string size = std::to_string(n);
        size.append("x").append(std::to_string(n));
#define OZMU_BENCH_GENERIC_AT(name)                                                                \
    register_kernel(std::string(#name "/").append(size), &ozmu_##name, &ozmu::ref::name,           \
                    &ozmu::metric::Table::name, n, n);
        OZMU_BENCH_GENERIC_AT(sad)
        OZMU_BENCH_GENERIC_AT(sad_16)
        OZMU_BENCH_GENERIC_AT(diff)
        OZMU_BENCH_GENERIC_AT(diff_16)
        OZMU_BENCH_GENERIC_AT(ssd)
        OZMU_BENCH_GENERIC_AT(ssd_16)
        OZMU_BENCH_GENERIC_AT(satd)
        OZMU_BENCH_GENERIC_AT(satd_16)
#undef OZMU_BENCH_GENERIC_AT
    }
    return true;
}();

}  // namespace
