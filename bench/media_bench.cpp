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
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "media/keyframe.h"
#include "ozmu.h"

namespace {

constexpr size_t kStreamBytes = size_t{8} << 20;

struct Stream {
    std::vector<uint8_t> bytes;  // access units back to back, one readable byte after the last
    std::vector<std::pair<size_t, int>> units;  // offset, size
};

// Every H.264 packet listed in packets.tsv, in order, repeated up to kStreamBytes.
const Stream &h264_stream()
{
    static const Stream stream = [] {
        const auto dir = std::filesystem::path(__FILE__).parent_path() / "../tests/data/media";
        std::vector<std::vector<uint8_t>> packets;
        std::ifstream table(dir / "packets.tsv");
        std::string line, file, fourcc, last_file;
        std::vector<uint8_t> contents;
        size_t at = 0;
        std::getline(table, line);
        while (std::getline(table, line)) {
            std::istringstream cells(line);
            size_t size = 0;
            cells >> file >> fourcc >> size;
            if (file != last_file) {
                std::ifstream in(dir / file, std::ios::binary);
                contents.assign(std::istreambuf_iterator<char>(in), {});
                last_file = file;
                at = 0;
            }
            if (ozmu_fcc2mt_vid(OZMU_FOURCC(fourcc[0], fourcc[1], fourcc[2], fourcc[3])) ==
                    OZMU_MT_H264 && at + size <= contents.size())
                packets.emplace_back(contents.begin() + long(at), contents.begin() + long(at + size));
            at += size;
        }
        Stream s;
        while (!packets.empty() && s.bytes.size() < kStreamBytes)
            for (const auto &p : packets) {
                s.units.emplace_back(s.bytes.size(), int(p.size()));
                s.bytes.insert(s.bytes.end(), p.begin(), p.end());
            }
        s.bytes.push_back(0);
        return s;
    }();
    return stream;
}

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
    compare(state, s.bytes.size() - 1, s.units.size(), [&] { return run(ozmu_is_vkeyfrm); },
            [&] { return run(ozmu::ref::is_vkeyfrm); });
}

void BM_keyframe_h264_no_slices(benchmark::State &state)
{
    const Stream &s = h264_stream();
    if (s.units.empty()) {
        state.SkipWithError("tests/data/media not found");
        return;
    }
    std::vector<uint8_t> bytes = s.bytes;
    for (size_t i = 0; i + 3 < bytes.size(); ++i)
        if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1 &&
            ((bytes[i + 3] & 0x1F) == 1 || (bytes[i + 3] & 0x1F) == 5))
            bytes[i + 3] = (bytes[i + 3] & 0xE0) | 12;  // filler data
    const int size = int(bytes.size() - 1);
    compare(state, size_t(size), 1, [&] { return ozmu_is_vkeyfrm(OZMU_MT_H264, bytes.data(), size); },
            [&] { return ozmu::ref::is_vkeyfrm(OZMU_MT_H264, bytes.data(), size); });
}

}  // namespace

BENCHMARK(BM_keyframe_h264_per_au)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_keyframe_h264_no_slices)->UseManualTime()->Unit(benchmark::kMicrosecond);
