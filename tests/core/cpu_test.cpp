// Processor tiers: which ones this CPU runs (a missing one is reported as skipped, so its kernels
// are visibly unchecked), and how the caller's mask and OZMU_CPU_DISABLE narrow the choice. The
// choice is fixed at first use, so each narrowing runs in a fresh copy of this program.
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"

namespace {

using ozmu::cpu::tier_name;

class Tier : public ::testing::TestWithParam<unsigned> {};

TEST_P(Tier, PresentOnThisCpu)
{
    const unsigned tier = GetParam();
    if ((ozmu::cpu::detected() & tier) == 0)
        GTEST_SKIP() << "this CPU lacks " << tier_name(tier) << ": its kernels were not checked";
    unsigned detected = 0;
    const unsigned in_use = ozmu_cpu_flags(&detected);
    EXPECT_EQ(detected, ozmu::cpu::detected());
    if (std::getenv("OZMU_CPU_DISABLE") == nullptr) {
        EXPECT_NE(in_use & tier, 0u) << tier_name(tier) << " detected but not in use";
    }
}

std::string name_of(const ::testing::TestParamInfo<unsigned> &info)
{
    return tier_name(info.param);
}

INSTANTIATE_TEST_SUITE_P(cpu, Tier, ::testing::ValuesIn(ozmu::test::arch_tiers()), name_of);

#if OZMU_HAVE_X86_TIERS
// A fresh process re-executes this program, which an emulated cross build cannot do: x86-64 only,
// where there is a choice to make.

// Runs `body` in a new process that has called nothing in the library yet.
template <class Body>
void in_fresh_process(Body body)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            body();
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
}

// Threads racing to make the first choice, and a mask racing with them, all see one answer.
TEST(CpuChoice, ConcurrentFirstUseSeesOneChoice)
{
    in_fresh_process([] {
        std::atomic<bool> go{false};
        std::vector<unsigned> seen(4);
        std::vector<std::thread> threads;
        for (size_t i = 0; i < seen.size(); ++i)
            threads.emplace_back([&, i] {
                while (!go.load())
                    std::this_thread::yield();
                if (i == 0)
                    ozmu_cpu_set_flags_mask(~0u);
                uint8_t a[16 * 16] = {}, b[16 * 16] = {};
                ozmu_sad16x16(a, b, 16, 16);
                seen[i] = ozmu_cpu_flags(nullptr);
            });
        go.store(true);
        for (auto &t : threads)
            t.join();
        for (unsigned flags : seen)
            if (flags != seen[0])
                std::exit(1);
    });
}

constexpr unsigned kAboveBaseline = OZMU_CPU_AVX2 | OZMU_CPU_AVX512;

TEST(CpuChoice, DisablingATierDisablesEveryTierAbove)
{
    in_fresh_process([] {
        setenv("OZMU_CPU_DISABLE", "foo,avx2", 1);
        if ((ozmu_cpu_flags(nullptr) & (OZMU_CPU_AVX2 | OZMU_CPU_AVX512)) != 0)
            std::exit(1);
    });
    in_fresh_process([] {
        setenv("OZMU_CPU_DISABLE", "avx512", 1);
        unsigned detected = 0;
        const unsigned in_use = ozmu_cpu_flags(&detected);
        if (in_use != (detected & ~OZMU_CPU_AVX512))
            std::exit(1);
    });
}

TEST(CpuChoice, MaskAppliesBeforeFirstUseOnlyAndKeepsTheBaseline)
{
    in_fresh_process([] {
        unsetenv("OZMU_CPU_DISABLE");
        if (ozmu_cpu_set_flags_mask(OZMU_CPU_AVX512) != OZMU_OK)
            std::exit(1);
        if ((ozmu_cpu_flags(nullptr) & (OZMU_CPU_SSE2 | OZMU_CPU_AVX512)) != OZMU_CPU_SSE2)
            std::exit(2);  // sse2 kept; avx512 gone with the avx2 below it
        if (ozmu_cpu_set_flags_mask(~0u) != OZMU_ERR_FAIL)
            std::exit(3);
    });
    in_fresh_process([] {
        unsetenv("OZMU_CPU_DISABLE");
        const unsigned before = ozmu_cpu_flags(nullptr);
        if (ozmu_cpu_set_flags_mask(0) != OZMU_ERR_FAIL || ozmu_cpu_flags(nullptr) != before)
            std::exit(1);
        if ((before & kAboveBaseline) != (ozmu::cpu::detected() & kAboveBaseline))
            std::exit(2);
    });
}
#endif

}  // namespace
