// Fill and copy routines on 1080p planes against glibc's memset/memcpy doing the same bytes.
// Each iteration times the routine and the glibc equivalent back to back, so both see the same
// machine load; the counter vs_glibc is glibc's time over ours (1.0 = as fast, above = faster).
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ozmu.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kWideStride = 2048;

// 64-byte aligned like image buffer rows, with room for the routines' over-writes.
struct Buffer {
    explicit Buffer(size_t n) : bytes(n + 4096, 0x5A)
    {
        const auto at = reinterpret_cast<uintptr_t>(bytes.data());
        data = bytes.data() + ((64 - at % 64) % 64);
    }
    std::vector<uint8_t> bytes;
    uint8_t *data;
};

template <class Ours, class Glibc>
void compare(benchmark::State &state, size_t bytes, Ours ours, Glibc glibc)
{
    using Clock = std::chrono::steady_clock;
    ours();
    glibc();
    double ours_s = 0, glibc_s = 0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        ours();
        benchmark::ClobberMemory();
        const auto t1 = Clock::now();
        glibc();
        benchmark::ClobberMemory();
        const auto t2 = Clock::now();
        const double ours_iter = std::chrono::duration<double>(t1 - t0).count();
        ours_s += ours_iter;
        glibc_s += std::chrono::duration<double>(t2 - t1).count();
        state.SetIterationTime(ours_iter);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.counters["vs_glibc"] = glibc_s / ours_s;
}

void BM_mset_x64a(benchmark::State &state)
{
    const int64_t n = int64_t{kWidth} * kHeight;
    Buffer dst(n);
    compare(
        state, n, [&] { ozmu_mset_x64a(dst.data, 0x80, n); },
        [&] { std::memset(dst.data, 0x80, n); });
}

// Sizes are whole steps of every fill, so glibc writes exactly the same bytes.
template <void (*Fill)(uint8_t *, int)>
void BM_fill(benchmark::State &state)
{
    const int n = kWidth * kHeight;
    Buffer dst(n);
    compare(
        state, n, [&] { Fill(dst.data, n); }, [&] { std::memset(dst.data, 0x80, n); });
}
void set_x128(uint8_t *d, int n) { ozmu_mset_x128(d, 0x80, n); }
void set_x64(uint8_t *d, int n) { ozmu_mset_x64(d, 0x80, n); }
void set_x32(uint8_t *d, int n) { ozmu_mset_x32(d, 0x80, n); }
void set_x32ax4(uint8_t *d, int n) { ozmu_mset_x32ax4(d, 0x80, n); }
void clr_x64(uint8_t *d, int n) { ozmu_mclr_x64(d, n); }

void BM_mset16(benchmark::State &state)
{
    const int n = kWidth * kHeight;
    Buffer dst(2 * size_t{n});
    compare(
        state, 2 * size_t{n}, [&] { ozmu_mset16(dst.data, 0x8080, n); },
        [&] { std::memset(dst.data, 0x80, 2 * size_t{n}); });
}

// Picture copy of width x height samples between planes of the given stride (in samples).
template <int SampleBytes>
void BM_mcpy_pic(benchmark::State &state)
{
    const int stride = static_cast<int>(state.range(0));
    const size_t row_bytes = size_t{kWidth} * SampleBytes;
    const size_t stride_bytes = size_t(stride) * SampleBytes;
    Buffer src(stride_bytes * kHeight), dst(stride_bytes * kHeight);
    auto ours = [&] {
        if constexpr (SampleBytes == 1)
            ozmu_mcpy_pic(dst.data, src.data, stride, stride, kWidth, kHeight);
        else
            ozmu_mcpy_pic_16(dst.data, src.data, stride, stride, kWidth, kHeight);
    };
    auto glibc = [&] {
        if (stride == kWidth) {
            std::memcpy(dst.data, src.data, row_bytes * kHeight);
            return;
        }
        for (int y = 0; y < kHeight; ++y)
            std::memcpy(dst.data + stride_bytes * y, src.data + stride_bytes * y, row_bytes);
    };
    compare(state, row_bytes * kHeight, ours, glibc);
}

// The plane copied as columns of width x 1080 blocks.
template <int SampleBytes>
void BM_mcpy_blk(benchmark::State &state)
{
    const int width = static_cast<int>(state.range(0));
    const size_t stride_bytes = size_t{kWidth} * SampleBytes;
    const size_t block_row = size_t(width) * SampleBytes;
    Buffer src(stride_bytes * kHeight), dst(stride_bytes * kHeight);
    auto ours = [&] {
        for (int x = 0; x < kWidth; x += width) {
            if constexpr (SampleBytes == 1)
                ozmu_mcpy_blk(dst.data + x, src.data + x, kWidth, kWidth, width, kHeight);
            else
                ozmu_mcpy_blk_16(dst.data + 2 * x, src.data + 2 * x, kWidth, kWidth, width,
                                 kHeight);
        }
    };
    auto glibc = [&] {
        for (int x = 0; x < kWidth; x += width)
            for (int y = 0; y < kHeight; ++y)
                std::memcpy(dst.data + stride_bytes * y + x * SampleBytes,
                            src.data + stride_bytes * y + x * SampleBytes, block_row);
    };
    compare(state, stride_bytes * kHeight, ours, glibc);
}

}  // namespace

BENCHMARK(BM_mset_x64a)->UseManualTime();
BENCHMARK(BM_fill<set_x128>)->Name("BM_mset_x128")->UseManualTime();
BENCHMARK(BM_fill<set_x64>)->Name("BM_mset_x64")->UseManualTime();
BENCHMARK(BM_fill<set_x32>)->Name("BM_mset_x32")->UseManualTime();
BENCHMARK(BM_fill<set_x32ax4>)->Name("BM_mset_x32ax4")->UseManualTime();
BENCHMARK(BM_fill<clr_x64>)->Name("BM_mclr_x64")->UseManualTime();
BENCHMARK(BM_mset16)->UseManualTime();
BENCHMARK(BM_mcpy_pic<1>)->Name("BM_mcpy_pic")->Arg(kWidth)->Arg(kWideStride)->UseManualTime();
BENCHMARK(BM_mcpy_pic<2>)->Name("BM_mcpy_pic_16")->Arg(kWidth)->Arg(kWideStride)->UseManualTime();
BENCHMARK(BM_mcpy_blk<1>)->Name("BM_mcpy_blk")->Arg(16)->Arg(48)->UseManualTime();
BENCHMARK(BM_mcpy_blk<2>)->Name("BM_mcpy_blk_16")->Arg(16)->Arg(48)->UseManualTime();
