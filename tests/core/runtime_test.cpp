// Aligned allocation, atomics, wait/wake, bit helpers and system helpers.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "checkasm.h"
#include "core/bits.h"
#include "core/system.h"
#include "ozmu.h"

namespace {

TEST(AlignedAlloc, BlocksAreAlignedAndSizesAreFormedIn32Bits)
{
    // 0xFFFFFFE0 and up wrap to small blocks; blocks from either name free with either.
    for (uint32_t size : {0u, 1u, 33u, 4096u, 0xFFFFFFE0u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        auto *p = static_cast<uint8_t *>(ozmu_malloc_fast_align32(size));
        ASSERT_NE(p, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u);
        auto *raw = static_cast<uint8_t **>(static_cast<void *>(p))[-1];
        EXPECT_TRUE(p - raw >= 8 && p - raw <= 39);  // header slot inside the allocation
        std::memset(p, 0x5A, size < 4096 ? size : (size + 32u) % 32u);
        ozmu_mfree_align32(p);
    }
    // A negative 32-bit sum is an enormous request, refused.
    for (uint32_t size : {0x7FFFFFE0u, 0x80000000u, 0xFFFFFFDFu})
        EXPECT_EQ(ozmu_malloc_align32(size), nullptr) << std::hex << size;
    ozmu_mfree_fast_align32(nullptr);  // one address for both names: abi.exported_symbols
}

TEST(Atomics, ConcurrentCountsBalanceAndNothingClamps)
{
    int word = 1;
    EXPECT_EQ(ozmu_atomic_dec(&word), 0);
    EXPECT_EQ(ozmu_atomic_dec(&word), -1);
    constexpr int kThreads = 4, kSteps = 20000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&word, t] {
            for (int i = 0; i < kSteps; ++i)
                (t & 1) ? ozmu_atomic_dec(&word) : (ozmu_atomic_inc(&word), ozmu_atomic_inc(&word));
        });
    for (auto &th : threads)
        th.join();
    EXPECT_EQ(word, kThreads / 2 * kSteps - 1);
}

TEST(WaitWake, WaiterIgnoresOtherValuesAndSeesItsOwn)
{
    int word = 8;
    EXPECT_EQ(ozmu_sync_wait(&word, 8), 0);  // already there
    std::atomic<int> result{99};
    std::thread waiter([&] { result = ozmu_sync_wait(&word, 3); });
    ozmu_sync_wake(&word, 1);
    usleep(2000);
    EXPECT_EQ(result.load(), 99);
    EXPECT_EQ(ozmu_sync_wake(&word, 3), 0);
    waiter.join();
    EXPECT_EQ(result.load(), 0);
    EXPECT_EQ(ozmu_sync_wake(&word, 3), 0);  // already there: still wakes, still 0

    // Ping-pong: every value handed over is seen.
    std::thread partner([&] {
        for (int i = 5; i < 200; i += 2) {
            ozmu_sync_wait(&word, i);
            ozmu_sync_wake(&word, i + 1);
        }
    });
    for (int i = 4; i < 200; i += 2) {
        ozmu_sync_wake(&word, i + 1);
        ASSERT_EQ(ozmu_sync_wait(&word, i + 2), 0);
    }
    partner.join();
}

TEST(WaitWake, AbandonValueReleasesEveryWaiter)
{
    int word = 0;
    std::atomic<int> abandoned{0};
    std::vector<std::thread> waiters;
    for (int value : {5, 6, -1})  // waiting for -1 itself also reports the abandon value
        waiters.emplace_back([&, value] { abandoned += ozmu_sync_wait(&word, value) == -1; });
    usleep(2000);
    ozmu_sync_wake(&word, -1);
    for (auto &th : waiters)
        th.join();
    EXPECT_EQ(abandoned.load(), 3);
}

TEST(BitHelpers, LeadingZerosAndLogarithms)
{
    EXPECT_EQ(ozmu_bsr_clz_in_code(0), 32);
    for (int bit = 0; bit < 32; ++bit) {
        const uint32_t top = 1u << bit;
        EXPECT_EQ(ozmu_bsr_clz_in_code(top | (top - 1)), 31 - bit);
        // The fast count must agree with the nibble-table walk whatever lies below the top bit.
        for (uint32_t low : {0u, 1u, 0x11111111u, 0x7FFFFFFFu})
            EXPECT_EQ(ozmu::leading_zeros(top | (low & (top - 1))),
                      ozmu::nibble_leading_zeros(top | (low & (top - 1))));
        EXPECT_EQ(ozmu_floor_log2(top + (top >> 1)), bit);
        EXPECT_EQ(ozmu_ceil_log2(top), bit);
        if (bit > 0) {
            EXPECT_EQ(ozmu_ceil_log2(top + 1), bit + 1);
        }
    }
    EXPECT_EQ(ozmu_floor_log2(0), -1);
    EXPECT_EQ(ozmu_ceil_log2(0), 0);
    EXPECT_EQ(ozmu_ceil_log2(3), 2);
    EXPECT_EQ(ozmu_ceil_log2(0xFFFFFFFFu), 32);
}

TEST(SystemHelpers, TempPathAndVersion)
{
    char buf[8] = "xxxxxxx";
    EXPECT_EQ(ozmu_get_temp_path(buf), 5);
    EXPECT_STREQ(buf, "/tmp/");
    EXPECT_EQ(buf[6], 'x');
    const std::string version = ozmu_version();  // "Mmm dd yyyy hh:mm:ss\n"
    ASSERT_EQ(version.size(), 21u) << version;
    EXPECT_EQ(version.substr(11, 1) + version.substr(14, 1) + version.substr(17, 1) + version[20],
              " ::\n");
}

TEST(SystemHelpers, MacAddressFromSysfsText)
{
    char dir[] = "/tmp/ozmu-mac-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string format = std::string(dir) + "/wlan%d";
    const char *contents[] = {"02:00:00:00:00:00\n", "a4:5E:60:0f:1:ff\n", "02:00:00\n"};
    for (int i = 0; i < 3; ++i) {
        std::FILE *f = std::fopen((std::string(dir) + "/wlan" + std::to_string(i)).c_str(), "w");
        std::fputs(contents[i], f);
        std::fclose(f);
    }
    // The last two bytes are the path's first and fifth characters: "/tmp/".
    const uint8_t expect[2][8] = {{0x02, 0, 0, 0, 0, 0, 0x2F, 0x2F},
                                  {0xA4, 0x5E, 0x60, 0x0F, 0x01, 0xFF, 0x2F, 0x2F}};
    const uint8_t zero[8] = {};
    uint8_t addr[8];
    for (int i = 0; i < 4; ++i) {
        std::memset(addr, 0xEE, 8);
        const bool good = i < 2;  // then too few fields, then no file
        EXPECT_EQ(ozmu::core::read_mac_addr(format.c_str(), i, addr), good ? 0 : -1);
        EXPECT_TRUE(ozmu::test::same_bytes(good ? expect[i] : zero, addr, 8)) << i;
        std::remove((std::string(dir) + "/wlan" + std::to_string(i)).c_str());
    }
    rmdir(dir);
    std::memset(addr, 0xEE, 8);
    EXPECT_EQ(ozmu_get_mac_addr(987654, addr), -1);
    EXPECT_TRUE(ozmu::test::same_bytes(zero, addr, 8));
}

}  // namespace
