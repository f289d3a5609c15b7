// Bitstream reader and writer on 1 Mi codes against a plain bit-at-a-time reader and writer doing
// the same work. As in mem_bench, each iteration times ours and the bit-at-a-time version back to
// back; items are codes, and vs_bitwise is the bit-at-a-time time over ours (above 1 = faster).
// Every stream is checked once before timing: both readers must decode the values that were
// written, and both writers must produce the same bytes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "ozmu.h"

namespace {

constexpr size_t kCodes = size_t{1} << 20;
// Room past the last code: the library writer never drains into the buffer's last byte.
constexpr size_t kSlack = 64;

enum Workload : int {
    kUeSmall,      // ue, prefix length geometric (half the values 0), as in header/residual syntax
    kUeUniform16,  // ue, uniform over 0..65534 (codes of up to 31 bits, mostly 29 or more)
    kFixedMixed,   // fixed-length, widths uniform over 1..16
    kFixed8,       // fixed-length, 8 bits
    kWorkloads
};

bool is_ue(int workload) { return workload == kUeSmall || workload == kUeUniform16; }

// The straightforward reader: one bit per step from a byte pointer and a bit index.
struct BitwiseReader {
    const uint8_t *data;
    size_t pos;
    size_t nbits;

    uint32_t bit()
    {
        if (pos >= nbits)
            return 0;
        const uint32_t b = (data[pos >> 3] >> (7 - (pos & 7))) & 1;
        ++pos;
        return b;
    }
    uint32_t read(int len)
    {
        uint32_t v = 0;
        for (int i = 0; i < len; ++i)
            v = (v << 1) | bit();
        return v;
    }
    uint32_t read_ue()
    {
        int zeros = 0;
        while (bit() == 0)
            if (++zeros == 32)
                return 0xFFFFFFFEu;
        uint32_t v = 1;
        for (int i = 0; i < zeros; ++i)
            v = (v << 1) | bit();
        return v - 1;
    }
};

// The straightforward writer: one bit per step into a byte accumulator.
struct BitwiseWriter {
    uint8_t *cur;
    uint8_t *end;  // one past the last byte
    uint32_t acc = 0;
    int nacc = 0;

    void bit(uint32_t b)
    {
        acc = (acc << 1) | b;
        if (++nacc == 8) {
            if (cur < end)
                *cur++ = static_cast<uint8_t>(acc);
            acc = 0;
            nacc = 0;
        }
    }
    void write(uint32_t value, int len)
    {
        for (int i = len - 1; i >= 0; --i)
            bit((value >> i) & 1);
    }
    void write_ue(uint32_t value)
    {
        const uint32_t u = value + 1;
        int n = 0;
        while ((u >> (n + 1)) != 0)
            ++n;
        for (int i = 0; i < n; ++i)
            bit(0);
        write(u, n + 1);
    }
    void sink()
    {
        if (nacc > 0 && cur < end)
            *cur++ = static_cast<uint8_t>(acc << (8 - nacc));
        acc = 0;
        nacc = 0;
    }
};

int ue_bits(uint32_t value)
{
    int n = 0;
    while (((value + 1) >> (n + 1)) != 0)
        ++n;
    return 2 * n + 1;
}

struct Stream {
    std::vector<uint32_t> values;
    std::vector<uint8_t> widths;  // fixed-length workloads only
    std::vector<uint8_t> bytes;   // written by the library writer
    size_t capacity = 0;          // what a writer needs for the codes
};

[[noreturn]] void fail(const char *what, int workload, size_t at)
{
    std::fprintf(stderr, "bitstream_bench: %s (workload %d, code %zu)\n", what, workload, at);
    std::abort();
}

void write_ours(const Stream &s, bool ue, ozmu_bsw *bs)
{
    if (ue) {
        for (const uint32_t v : s.values)
            ozmu_bsw_write_ue(bs, v);
    } else {
        for (size_t i = 0; i < s.values.size(); ++i)
            ozmu_bsw_write(bs, s.values[i], s.widths[i]);
    }
}

void write_bitwise(const Stream &s, bool ue, BitwiseWriter *bw)
{
    if (ue) {
        for (const uint32_t v : s.values)
            bw->write_ue(v);
    } else {
        for (size_t i = 0; i < s.values.size(); ++i)
            bw->write(s.values[i], s.widths[i]);
    }
}

Stream make_stream(int workload)
{
    std::mt19937_64 rng(0x6F7A6D75u + static_cast<unsigned>(workload));
    Stream s;
    s.values.resize(kCodes);
    const bool ue = is_ue(workload);
    if (!ue)
        s.widths.resize(kCodes);
    size_t bits = 0;
    for (size_t i = 0; i < kCodes; ++i) {
        uint32_t v = 0;
        switch (workload) {
        case kUeSmall: {
            // Prefix length k with probability 2^-(k+1), capped at 15: what random bits decode to.
            int k = 0;
            while (k < 15 && (rng() & 1))
                ++k;
            v = (1u << k) - 1 + static_cast<uint32_t>(rng() & ((1u << k) - 1));
            break;
        }
        case kUeUniform16: v = static_cast<uint32_t>(rng() % 65535); break;
        case kFixedMixed:
            s.widths[i] = static_cast<uint8_t>(1 + rng() % 16);
            v = static_cast<uint32_t>(rng()) & ((1u << s.widths[i]) - 1);
            break;
        default:
            s.widths[i] = 8;
            v = static_cast<uint32_t>(rng() & 0xFF);
            break;
        }
        s.values[i] = v;
        bits += ue ? ue_bits(v) : s.widths[i];
    }
    s.capacity = (bits + 7) / 8 + kSlack;

    s.bytes.assign(s.capacity, 0);
    ozmu_bsw bsw;
    ozmu_bsw_init(&bsw, s.bytes.data(), static_cast<int>(s.capacity), nullptr);
    write_ours(s, ue, &bsw);
    if (ozmu_bsw_sink(&bsw) != 0)
        fail("writer ran out of space", workload, kCodes);
    s.bytes.resize(static_cast<size_t>(bsw.cur - bsw.beg));
    if (s.bytes.size() != (bits + 7) / 8)
        fail("writer produced the wrong byte count", workload, kCodes);

    std::vector<uint8_t> plain(s.capacity, 0);
    BitwiseWriter bw{plain.data(), plain.data() + plain.size()};
    write_bitwise(s, ue, &bw);
    bw.sink();
    if (static_cast<size_t>(bw.cur - plain.data()) != s.bytes.size() ||
        std::memcmp(plain.data(), s.bytes.data(), s.bytes.size()) != 0)
        fail("the two writers disagree", workload, kCodes);

    ozmu_bsr bsr;
    ozmu_bsr_init(&bsr, s.bytes.data(), static_cast<int>(s.bytes.size()), nullptr);
    BitwiseReader br{s.bytes.data(), 0, s.bytes.size() * 8};
    for (size_t i = 0; i < kCodes; ++i) {
        const uint32_t ours = ue ? ozmu_bsr_read_ue(&bsr) : ozmu_bsr_read(&bsr, s.widths[i]);
        const uint32_t plain_value = ue ? br.read_ue() : br.read(s.widths[i]);
        if (ours != s.values[i])
            fail("ozmu reader decoded a wrong value", workload, i);
        if (plain_value != s.values[i])
            fail("bit-at-a-time reader decoded a wrong value", workload, i);
    }
    return s;
}

Stream &stream(int workload)
{
    static Stream streams[kWorkloads] = {make_stream(kUeSmall), make_stream(kUeUniform16),
                                         make_stream(kFixedMixed), make_stream(kFixed8)};
    return streams[workload];
}

template <class Ours, class Bitwise>
void compare(benchmark::State &state, Ours ours, Bitwise bitwise)
{
    using Clock = std::chrono::steady_clock;
    ours();
    bitwise();
    double ours_s = 0, bitwise_s = 0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        ours();
        benchmark::ClobberMemory();
        const auto t1 = Clock::now();
        bitwise();
        benchmark::ClobberMemory();
        const auto t2 = Clock::now();
        const double ours_iter = std::chrono::duration<double>(t1 - t0).count();
        ours_s += ours_iter;
        bitwise_s += std::chrono::duration<double>(t2 - t1).count();
        state.SetIterationTime(ours_iter);
    }
    const double codes = static_cast<double>(state.iterations()) * kCodes;
    state.SetItemsProcessed(static_cast<int64_t>(codes));
    state.counters["vs_bitwise"] = bitwise_s / ours_s;
    state.counters["bitwise_codes/s"] = codes / bitwise_s;
}

// Sums every value read from the stream by our reader and by the bit-at-a-time one.
template <class OurRead, class BitwiseRead>
void compare_reads(benchmark::State &state, int workload, OurRead our_read,
                   BitwiseRead bitwise_read)
{
    Stream &s = stream(workload);
    compare(
        state,
        [&] {
            ozmu_bsr bs;
            ozmu_bsr_init(&bs, s.bytes.data(), static_cast<int>(s.bytes.size()), nullptr);
            uint32_t sum = 0;
            for (size_t i = 0; i < kCodes; ++i)
                sum += our_read(&bs, s, i);
            benchmark::DoNotOptimize(sum);
        },
        [&] {
            BitwiseReader br{s.bytes.data(), 0, s.bytes.size() * 8};
            uint32_t sum = 0;
            for (size_t i = 0; i < kCodes; ++i)
                sum += bitwise_read(br, s, i);
            benchmark::DoNotOptimize(sum);
        });
}

void BM_bsr_read_ue(benchmark::State &state, int workload)
{
    compare_reads(
        state, workload, [](ozmu_bsr *bs, const Stream &, size_t) { return ozmu_bsr_read_ue(bs); },
        [](BitwiseReader &br, const Stream &, size_t) { return br.read_ue(); });
}

void BM_bsr_read_mixed(benchmark::State &state)
{
    compare_reads(
        state, kFixedMixed,
        [](ozmu_bsr *bs, const Stream &s, size_t i) { return ozmu_bsr_read(bs, s.widths[i]); },
        [](BitwiseReader &br, const Stream &s, size_t i) { return br.read(s.widths[i]); });
}

void BM_bsr_read_8(benchmark::State &state)
{
    compare_reads(
        state, kFixed8, [](ozmu_bsr *bs, const Stream &, size_t) { return ozmu_bsr_read(bs, 8); },
        [](BitwiseReader &br, const Stream &, size_t) { return br.read(8); });
}

void BM_bsw_write(benchmark::State &state, int workload)
{
    const Stream &s = stream(workload);
    const bool ue = is_ue(workload);
    std::vector<uint8_t> ours_buf(s.capacity), bitwise_buf(s.capacity);
    compare(
        state,
        [&] {
            ozmu_bsw bs;
            ozmu_bsw_init(&bs, ours_buf.data(), static_cast<int>(ours_buf.size()), nullptr);
            write_ours(s, ue, &bs);
            ozmu_bsw_sink(&bs);
        },
        [&] {
            BitwiseWriter bw{bitwise_buf.data(), bitwise_buf.data() + bitwise_buf.size()};
            write_bitwise(s, ue, &bw);
            bw.sink();
        });
    if (std::memcmp(ours_buf.data(), s.bytes.data(), s.bytes.size()) != 0 ||
        std::memcmp(bitwise_buf.data(), s.bytes.data(), s.bytes.size()) != 0)
        fail("a timed writer produced different bytes", workload, kCodes);
}

}  // namespace

BENCHMARK_CAPTURE(BM_bsr_read_ue, small, kUeSmall)->UseManualTime();
BENCHMARK_CAPTURE(BM_bsr_read_ue, uniform16, kUeUniform16)->UseManualTime();
BENCHMARK(BM_bsr_read_mixed)->Name("BM_bsr_read/mixed1_16")->UseManualTime();
BENCHMARK(BM_bsr_read_8)->Name("BM_bsr_read/8")->UseManualTime();
BENCHMARK_CAPTURE(BM_bsw_write, ue_small, kUeSmall)->Name("BM_bsw_write_ue/small")->UseManualTime();
BENCHMARK_CAPTURE(BM_bsw_write, ue_uniform16, kUeUniform16)
    ->Name("BM_bsw_write_ue/uniform16")
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_bsw_write, mixed, kFixedMixed)
    ->Name("BM_bsw_write/mixed1_16")
    ->UseManualTime();
BENCHMARK_CAPTURE(BM_bsw_write, 8, kFixed8)->Name("BM_bsw_write/8")->UseManualTime();
