// Processor tiers: detected once, narrowed once by the caller's mask and OZMU_CPU_DISABLE, then
// fixed. These two values and the family tables built from them are the library's only run-time
// state; every one is written once (function-local statics, which the compiler guards).
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "core/dispatch.h"
#include "ozmu.h"

#if OZMU_HAVE_X86_TIERS
#include <cpuid.h>
#endif

namespace ozmu::cpu {
namespace {

#if OZMU_HAVE_X86_TIERS
#if defined(OZMU_X86_BASELINE_SSSE3)
constexpr unsigned kBaseline = kSse2 | kSsse3;
#else
constexpr unsigned kBaseline = kSse2;
#endif

uint64_t read_xcr0()
{
    uint32_t lo, hi;
    __asm__("xgetbv" : "=a"(lo), "=d"(hi) : "c"(0));
    return (uint64_t{hi} << 32) | lo;
}

constexpr bool bit(unsigned reg, int n) { return ((reg >> n) & 1u) != 0; }

unsigned detect()
{
    unsigned tiers = kBaseline;
    unsigned a, b, c, d;
    if (!__get_cpuid(1, &a, &b, &c, &d))
        return tiers;
    if (!(bit(c, 9) && bit(c, 19)))  // SSSE3, SSE4.1
        return tiers;
    tiers |= kSsse3;
    const bool osxsave = bit(c, 27), avx = bit(c, 28);
    if (!osxsave || !avx)
        return tiers;
    const uint64_t xcr0 = read_xcr0();
    if ((xcr0 & 0x6) != 0x6)  // XMM and YMM state
        return tiers;
    if (!__get_cpuid_count(7, 0, &a, &b, &c, &d))
        return tiers;
    if (!(bit(b, 5) && bit(b, 3) && bit(b, 8)))  // AVX2, BMI1, BMI2
        return tiers;
    tiers |= kAvx2;
    const bool zmm_state = (xcr0 & 0xE6) == 0xE6;  // opmask, ZMM0-15 upper halves, ZMM16-31
    const bool ice_lake_set = bit(b, 16) && bit(b, 17) && bit(b, 30) && bit(b, 31) &&
                              bit(c, 1);  // F, DQ, BW, VL, VBMI
    if (zmm_state && ice_lake_set)
        tiers |= kAvx512;
    return tiers;
}
#elif OZMU_HAVE_NEON
constexpr unsigned kBaseline = kNeon;
unsigned detect() { return kNeon; }
#else
constexpr unsigned kBaseline = 0;
unsigned detect() { return 0; }
#endif

std::atomic<unsigned> g_allowed{~0u};
std::atomic<bool> g_fixed{false};

// Tiers named in a comma-separated list; unknown names are ignored.
unsigned parse_names(const char *list)
{
    unsigned named = 0;
    while (list != nullptr && *list != '\0') {
        const char *comma = std::strchr(list, ',');
        const size_t len = comma ? static_cast<size_t>(comma - list) : std::strlen(list);
        for (unsigned t : {kSse2, kSsse3, kAvx2, kAvx512, kNeon}) {
            const char *name = tier_name(t);
            if (std::strlen(name) == len && std::strncmp(name, list, len) == 0)
                named |= t;
        }
        list = comma ? comma + 1 : nullptr;
    }
    return named;
}

// A tier runs only with every tier below it; the baseline is never removed.
unsigned close_downward(unsigned tiers)
{
    tiers |= kBaseline;
    unsigned kept = tiers & ~(kSse2 | kSsse3 | kAvx2 | kAvx512);
    for (unsigned t : kX86Tiers) {
        if ((tiers & t) == 0)
            break;
        kept |= t;
    }
    return kept;
}

}  // namespace

const char *tier_name(unsigned tier)
{
    switch (tier) {
    case kSse2: return "sse2";
    case kSsse3: return "ssse3";
    case kAvx2: return "avx2";
    case kAvx512: return "avx512";
    case kNeon: return "neon";
    default: return "?";
    }
}

unsigned detected()
{
    static const unsigned tiers = detect();
    return tiers;
}

unsigned active()
{
    static const unsigned tiers = [] {
        g_fixed.store(true, std::memory_order_release);
        const unsigned removed = parse_names(std::getenv("OZMU_CPU_DISABLE"));
        return close_downward(detected() & g_allowed.load(std::memory_order_acquire) & ~removed);
    }();
    return tiers;
}

}  // namespace ozmu::cpu

extern "C" {

unsigned ozmu_cpu_flags(unsigned *detected)
{
    if (detected != nullptr)
        *detected = ozmu::cpu::detected();
    return ozmu::cpu::active();
}

int ozmu_cpu_set_flags_mask(unsigned allowed)
{
    if (ozmu::cpu::g_fixed.load(std::memory_order_acquire))
        return OZMU_ERR_FAIL;
    ozmu::cpu::g_allowed.store(allowed, std::memory_order_release);
    return OZMU_OK;
}

}  // extern "C"
