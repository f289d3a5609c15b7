// MD5 throughput on 1 MiB and 64 KiB messages, and the digest of a 1080p 4:2:0 picture, against
// OpenSSL's EVP MD5 and libavutil's av_md5 where they are installed. Each iteration times ours
// and every peer back to back on the same bytes, so all see the same machine load; a counter
// vs_<peer> is the peer's time over ours (1.0 = as fast, above = faster). Every peer's digest is
// checked against ours once.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ozmu.h"

#if OZMU_BENCH_HAVE_OPENSSL
#include <openssl/evp.h>
#endif
#if OZMU_BENCH_HAVE_AVUTIL
extern "C" {
#include <libavutil/md5.h>
}
#endif

namespace {

using Digest = std::function<void(const uint8_t *data, size_t size, uint8_t digest[16])>;

void ours(const uint8_t *data, size_t size, uint8_t digest[16])
{
    ozmu_md5_ctx ctx{};
    ozmu_md5_update(ozmu_md5_init(&ctx), data, unsigned(size));
    ozmu_md5_finish(&ctx, digest);
}

std::vector<std::pair<std::string, Digest>> peers()
{
    std::vector<std::pair<std::string, Digest>> list;
#if OZMU_BENCH_HAVE_OPENSSL
    list.emplace_back("openssl", [](const uint8_t *data, size_t size, uint8_t digest[16]) {
        static EVP_MD *const md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
        static EVP_MD_CTX *const ctx = EVP_MD_CTX_new();
        EVP_DigestInit_ex(ctx, md5, nullptr);
        EVP_DigestUpdate(ctx, data, size);
        EVP_DigestFinal_ex(ctx, digest, nullptr);
    });
#endif
#if OZMU_BENCH_HAVE_AVUTIL
    list.emplace_back("avutil", [](const uint8_t *data, size_t size, uint8_t digest[16]) {
        av_md5_sum(digest, data, size);
    });
#endif
    return list;
}

void BM_md5(benchmark::State &state)
{
    const size_t size = size_t(state.range(0));
    std::vector<uint8_t> message(size);
    uint32_t seed = 0x12345678u;
    for (uint8_t &b : message)
        b = uint8_t((seed = seed * 1664525u + 1013904223u) >> 24);

    auto list = peers();
    uint8_t expected[16], digest[16];
    ours(message.data(), size, expected);
    for (auto &[name, peer] : list) {
        peer(message.data(), size, digest);
        if (std::memcmp(digest, expected, 16) != 0) {
            state.SkipWithError((name + " gives another digest").c_str());
            return;
        }
    }

    using Clock = std::chrono::steady_clock;
    double ours_s = 0;
    std::vector<double> peer_s(list.size());
    for (auto _ : state) {
        auto t0 = Clock::now();
        ours(message.data(), size, digest);
        benchmark::DoNotOptimize(digest);
        const double ours_iter = std::chrono::duration<double>(Clock::now() - t0).count();
        ours_s += ours_iter;
        for (size_t k = 0; k < list.size(); ++k) {
            t0 = Clock::now();
            list[k].second(message.data(), size, digest);
            benchmark::DoNotOptimize(digest);
            peer_s[k] += std::chrono::duration<double>(Clock::now() - t0).count();
        }
        state.SetIterationTime(ours_iter);
    }
    state.SetBytesProcessed(int64_t(state.iterations() * size));
    for (size_t k = 0; k < list.size(); ++k)
        state.counters["vs_" + list[k].first] = peer_s[k] / ours_s;
}

// A decoder's 1080p 4:2:0 picture with 32-sample borders, hashed row by row.
void BM_md5_imgb(benchmark::State &state)
{
    const uint32_t pad[3] = {OZMU_HV(32, 32), OZMU_HV(16, 16), OZMU_HV(16, 16)};
    int err = 0;
    ozmu_imgb *img =
        ozmu_imgb_create(1920, 1080, OZMU_CS_YUV420, 0, nullptr, pad, nullptr, nullptr, &err);
    if (!img) {
        state.SkipWithError("ozmu_imgb_create failed");
        return;
    }
    std::memset(img->frame_base[0], 0x6D, img->frame_size);
    uint8_t digest[16];
    for (auto _ : state) {
        ozmu_md5_imgb(img, digest);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * (1920 * 1080 + 2 * 960 * 540));
    img->release(img);
}

}  // namespace

BENCHMARK(BM_md5)->Arg(1 << 20)->Arg(64 << 10)->UseManualTime();
BENCHMARK(BM_md5_imgb);
