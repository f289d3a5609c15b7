// Key-frame scan on a long H.264 stream: the committed x264 access units (tests/data/media)
// repeated to about 8 MB, against the one-offset-at-a-time definition. Each iteration times the
// exported function and the definition back to back on the same data; vs_reference is the
// definition's time over ours (above 1 = faster). Two workloads:
//   per_au     ozmu_is_vkeyfrm on every access unit, as a demultiplexer calls it: the scan stops
//              at the first slice, so mostly delimiters, parameter sets and SEI are crossed;
//   no_slices  the whole stream as one buffer with every slice NAL unit retyped as filler data,
//              so the scan crosses every byte of slice payload: the start-code search alone.
#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "media/keyframe.h"
#include "media_streams.h"
#include "ozmu.h"

namespace {

using ozmu::bench::h264_stream;
using ozmu::bench::Stream;

template <class Ours, class Reference>
void compare(benchmark::State &state, size_t bytes, size_t items, Ours ours, Reference reference)
{
    using Clock = std::chrono::steady_clock;
    if (ours() != reference()) {
        state.SkipWithError("the scanner and the definition disagree");
        return;
    }
    double ours_s = 0, reference_s = 0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        benchmark::DoNotOptimize(ours());
        const auto t1 = Clock::now();
        benchmark::DoNotOptimize(reference());
        const auto t2 = Clock::now();
        const double ours_iter = std::chrono::duration<double>(t1 - t0).count();
        ours_s += ours_iter;
        reference_s += std::chrono::duration<double>(t2 - t1).count();
        state.SetIterationTime(ours_iter);
    }
    state.SetBytesProcessed(int64_t(state.iterations() * bytes));
    state.SetItemsProcessed(int64_t(state.iterations() * items));
    state.counters["vs_reference"] = reference_s / ours_s;
}

void BM_keyframe_h264_per_au(benchmark::State &state)
{
    const Stream &s = h264_stream();
    if (s.units.empty()) {
        state.SkipWithError("tests/data/media not found");
        return;
    }
    auto run = [&](auto detect) {
        int keys = 0;
        for (const auto &[offset, size] : s.units)
            keys += detect(OZMU_MT_H264, s.bytes.data() + offset, size);
        return keys;
    };
    compare(
        state, s.bytes.size() - 1, s.units.size(), [&] { return run(ozmu_is_vkeyfrm); },
        [&] { return run(ozmu::ref::is_vkeyfrm); });
}

void BM_keyframe_h264_no_slices(benchmark::State &state)
{
    const Stream &s = h264_stream();
    if (s.units.empty()) {
        state.SkipWithError("tests/data/media not found");
        return;
    }
    const std::vector<uint8_t> bytes = ozmu::bench::without_slices(s);
    const int size = int(bytes.size() - 1);
    compare(
        state, size_t(size), 1, [&] { return ozmu_is_vkeyfrm(OZMU_MT_H264, bytes.data(), size); },
        [&] { return ozmu::ref::is_vkeyfrm(OZMU_MT_H264, bytes.data(), size); });
}

}  // namespace

BENCHMARK(BM_keyframe_h264_per_au)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_keyframe_h264_no_slices)->UseManualTime()->Unit(benchmark::kMicrosecond);
