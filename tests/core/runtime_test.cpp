// Aligned allocation, atomics, wait/wake, bit helpers and system helpers.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "checkasm.h"
#include "core/system.h"
#include "ozmu.h"

namespace {

TEST(AlignedAlloc, BlocksAreAlignedWritableAndRecordTheirRawPointer)
{
    for (uint32_t size : {0u, 1u, 31u, 32u, 33u, 4096u, 1u << 20}) {
        auto *p = static_cast<uint8_t *>(ozmu_malloc_align32(size));
        ASSERT_NE(p, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u);
        auto *raw = static_cast<uint8_t **>(static_cast<void *>(p))[-1];
        EXPECT_GE(p - raw, 8);  // the slot before the block lies inside the allocation
        EXPECT_LE(p - raw, 39);
        std::memset(p, 0x5A, size);
        ozmu_mfree_align32(p);
    }
    ozmu_mfree_align32(nullptr);
}

TEST(AlignedAlloc, SizeIsFormedIn32BitsAndSignExtended)
{
    // The 32-bit sum is negative here: the request is enormous and refused.
    for (uint32_t size : {0x7FFFFFE0u, 0x80000000u, 0xFFFFFFDFu})
        EXPECT_EQ(ozmu_malloc_align32(size), nullptr) << std::hex << size;
    // Here it wraps to a small request (0xFFFFFFF0 asks for 24 bytes).
    for (uint32_t size : {0xFFFFFFE0u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        void *p = ozmu_malloc_align32(size);
        ASSERT_NE(p, nullptr) << std::hex << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 32, 0u);
        ozmu_mfree_align32(p);
    }
}

TEST(AlignedAlloc, FastNamesAreTheSameEntryPoints)
{
    EXPECT_EQ(reinterpret_cast<void *>(&ozmu_malloc_fast_align32),
              reinterpret_cast<void *>(&ozmu_malloc_align32));
    EXPECT_EQ(reinterpret_cast<void *>(&ozmu_mfree_fast_align32),
              reinterpret_cast<void *>(&ozmu_mfree_align32));
    void *p = ozmu_malloc_fast_align32(64);
    ozmu_mfree_align32(p);  // either name frees the other's block
}

TEST(Atomics, ReturnTheNewValueWithoutClamping)
{
    int word = 1;
    EXPECT_EQ(ozmu_atomic_dec(&word), 0);
    EXPECT_EQ(ozmu_atomic_dec(&word), -1);
    EXPECT_EQ(ozmu_atomic_inc(&word), 0);
    word = 0x7FFFFFFF;
    EXPECT_EQ(ozmu_atomic_inc(&word), static_cast<int>(0x80000000u));
}

TEST(Atomics, ConcurrentIncrementsAndDecrementsBalance)
{
    int word = 0;
    constexpr int kThreads = 4, kSteps = 20000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&word, t] {
            for (int i = 0; i < kSteps; ++i)
                (t & 1) ? ozmu_atomic_dec(&word) : (ozmu_atomic_inc(&word), ozmu_atomic_inc(&word));
        });
    for (auto &th : threads)
        th.join();
    EXPECT_EQ(word, kThreads / 2 * kSteps);
}

TEST(WaitWake, WaiterSeesTheValueWokenWith)
{
    int word = 0;
    std::atomic<int> result{99};
    std::thread waiter([&] { result = ozmu_sync_wait(&word, 3); });
    ozmu_sync_wake(&word, 1);  // not the awaited value: the waiter keeps waiting
    usleep(2000);
    EXPECT_EQ(result.load(), 99);
    EXPECT_EQ(ozmu_sync_wake(&word, 3), 0);
    waiter.join();
    EXPECT_EQ(result.load(), 0);
    EXPECT_EQ(word, 3);
    EXPECT_EQ(ozmu_sync_wake(&word, 3), 0);  // already there: still wakes, still 0
}

TEST(WaitWake, AbandonValueReleasesEveryWaiter)
{
    int word = 0;
    std::atomic<int> released{0}, abandoned{0};
    std::vector<std::thread> waiters;
    for (int value : {5, 6, 7, -1})
        waiters.emplace_back([&, value] {
            if (ozmu_sync_wait(&word, value) == -1)
                ++abandoned;
            ++released;
        });
    usleep(2000);
    ozmu_sync_wake(&word, -1);
    for (auto &th : waiters)
        th.join();
    EXPECT_EQ(released.load(), 4);
    EXPECT_EQ(abandoned.load(), 4);  // waiting for -1 itself also reports the abandon value
}

TEST(WaitWake, ReturnsAtOnceWhenTheValueIsAlreadyThere)
{
    int word = 8;
    EXPECT_EQ(ozmu_sync_wait(&word, 8), 0);
    word = -1;
    EXPECT_EQ(ozmu_sync_wait(&word, -1), -1);
}

TEST(WaitWake, PingPongHandsEveryValueOver)
{
    int word = 0;
    constexpr int kRounds = 200;
    std::thread partner([&] {
        for (int i = 1; i <= kRounds; i += 2) {
            ozmu_sync_wait(&word, i);
            ozmu_sync_wake(&word, i + 1);
        }
    });
    for (int i = 0; i < kRounds; i += 2) {
        ozmu_sync_wake(&word, i + 1);
        ASSERT_EQ(ozmu_sync_wait(&word, i + 2), 0);
    }
    partner.join();
    EXPECT_EQ(word, kRounds);
}

TEST(BitHelpers, LeadingZerosMatchEveryBitPosition)
{
    EXPECT_EQ(ozmu_bsr_clz_in_code(0), 32);
    for (int bit = 0; bit < 32; ++bit) {
        const uint32_t top = 1u << bit;
        EXPECT_EQ(ozmu_bsr_clz_in_code(top), 31 - bit);
        EXPECT_EQ(ozmu_bsr_clz_in_code(top | (top - 1)), 31 - bit);  // lower bits never count
    }
}

TEST(BitHelpers, Logarithms)
{
    struct Case { uint32_t x; int floor_log2, ceil_log2; };
    const Case cases[] = {{0, -1, 0},          {1, 0, 0},           {2, 1, 1},
                          {3, 1, 2},           {4, 2, 2},           {5, 2, 3},
                          {0x80000000u, 31, 31}, {0x80000001u, 31, 32}, {0xFFFFFFFFu, 31, 32}};
    for (const Case &c : cases) {
        EXPECT_EQ(ozmu_floor_log2(c.x), c.floor_log2) << c.x;
        EXPECT_EQ(ozmu_ceil_log2(c.x), c.ceil_log2) << c.x;
    }
    ozmu::test::Rng rng(11);
    for (int i = 0; i < 2000; ++i) {
        const uint32_t x = rng.u32() >> rng.range(0, 31);
        if (!x)
            continue;
        const int f = ozmu_floor_log2(x);
        EXPECT_TRUE((uint64_t{1} << f) <= x && x < (uint64_t{2} << f)) << x;
        const int c = ozmu_ceil_log2(x);
        EXPECT_TRUE((uint64_t{1} << c) >= x && (c == 0 || (uint64_t{1} << (c - 1)) < x)) << x;
    }
}

TEST(SystemHelpers, TempPathAndVersion)
{
    char buf[8];
    std::memset(buf, 'x', sizeof buf);
    EXPECT_EQ(ozmu_get_temp_path(buf), 5);
    EXPECT_STREQ(buf, "/tmp/");
    EXPECT_EQ(buf[6], 'x');

    const std::string version = ozmu_version();
    // "Mmm dd yyyy hh:mm:ss\n": an 11-character date, a blank, an 8-character time.
    ASSERT_EQ(version.size(), 21u) << version;
    EXPECT_EQ(version[11], ' ');
    EXPECT_EQ(version[14], ':');
    EXPECT_EQ(version[17], ':');
    EXPECT_EQ(version.back(), '\n');
    EXPECT_EQ(ozmu_version(), ozmu_version());  // one static buffer
}

class MacAddress : public ::testing::Test {
protected:
    void SetUp() override
    {
        char dir[] = "/tmp/ozmu-mac-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        dir_ = dir;
        format_ = dir_ + "/wlan%d";
    }
    void TearDown() override
    {
        for (int i = 0; i < 4; ++i)
            std::remove((dir_ + "/wlan" + std::to_string(i)).c_str());
        rmdir(dir_.c_str());
    }
    void write(int index, const char *text)
    {
        std::FILE *f = std::fopen((dir_ + "/wlan" + std::to_string(index)).c_str(), "w");
        std::fputs(text, f);
        std::fclose(f);
    }
    std::string dir_, format_;
};

TEST_F(MacAddress, ReadsSixFieldsAndTwoBytesOfThePath)
{
    write(0, "02:00:00:00:00:00\n");
    write(1, "a4:5E:60:0f:1:ff\n");
    uint8_t addr[8];
    ASSERT_EQ(ozmu::core::read_mac_addr(format_.c_str(), 0, addr), 0);
    const uint8_t expect0[8] = {0x02, 0, 0, 0, 0, 0, 0x2F, 0x2F};  // path "/tmp/..."
    EXPECT_TRUE(ozmu::test::same_bytes(expect0, addr, 8));
    ASSERT_EQ(ozmu::core::read_mac_addr(format_.c_str(), 1, addr), 0);
    const uint8_t expect1[8] = {0xA4, 0x5E, 0x60, 0x0F, 0x01, 0xFF, 0x2F, 0x2F};
    EXPECT_TRUE(ozmu::test::same_bytes(expect1, addr, 8));
}

TEST_F(MacAddress, FailuresClearAllEightBytes)
{
    write(2, "02:00:00\n");
    uint8_t addr[8];
    const uint8_t zero[8] = {};
    std::memset(addr, 0xEE, 8);
    EXPECT_EQ(ozmu::core::read_mac_addr(format_.c_str(), 2, addr), -1);  // too few fields
    EXPECT_TRUE(ozmu::test::same_bytes(zero, addr, 8));
    std::memset(addr, 0xEE, 8);
    EXPECT_EQ(ozmu::core::read_mac_addr(format_.c_str(), 3, addr), -1);  // no such file
    EXPECT_TRUE(ozmu::test::same_bytes(zero, addr, 8));
    std::memset(addr, 0xEE, 8);
    EXPECT_EQ(ozmu_get_mac_addr(987654, addr), -1);  // no such interface
    EXPECT_TRUE(ozmu::test::same_bytes(zero, addr, 8));
}

}  // namespace
