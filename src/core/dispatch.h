// Chooses which implementation of a vectorised kernel the exported C symbol runs.
//
// Every vector kernel has a portable reference in namespace ozmu::ref and, per instruction set,
// versions in ozmu::neon (AArch64), ozmu::sse2, ozmu::ssse3, ozmu::avx2 and ozmu::avx512
// (x86-64). The ISA versions live in src/<family>/simd/<name>_<isa>.cpp, compiled with that ISA's
// flags; everything such a file defines stays inside its own ISA namespace, so no inline helper
// compiled for a higher tier can be picked by the linker for baseline code.
//
// AArch64: the exported function calls ozmu::neon directly (no indirection); the frame
// conversion, which calls a kernel per row, goes through its table there too.
// x86-64: each family keeps a table of function pointers (a plain struct, one member per kernel),
// built once from the tiers in use: the reference entries first, then each tier's installer from
// the lowest up, each overwriting the entries it has a version of. Tests build the table for any
// tier set and compare every entry a tier changed with the reference.
#pragma once
#include <atomic>
#include <cstddef>

#if defined(__aarch64__) && defined(__ARM_NEON)
#define OZMU_HAVE_NEON 1
#define OZMU_NATIVE neon
#else
#define OZMU_HAVE_NEON 0
#define OZMU_NATIVE ref
#endif

#if defined(__x86_64__) && defined(__SSE2__)
#define OZMU_HAVE_SSE2 1
#define OZMU_HAVE_X86_TIERS 1
#else
#define OZMU_HAVE_SSE2 0
#define OZMU_HAVE_X86_TIERS 0
#endif

// Helpers of shared headers that ISA files call with run-time arguments: always inlined, so no
// out-of-line copy compiled for a higher tier exists for the linker to hand to baseline code.
#define OZMU_SHARED_INLINE [[gnu::always_inline]] inline

// Second exported name for the same entry point (one address, two symbols).
#define OZMU_ALIAS(target) __attribute__((alias(#target), visibility("default")))

namespace ozmu::cpu {

// Tier bits, the same values as the public OZMU_CPU_* constants. Each x86-64 tier implies the
// ones below it.
enum Tier : unsigned {
    kSse2 = 1u << 0,    // the x86-64 baseline
    kSsse3 = 1u << 1,   // SSSE3 and SSE4.1
    kAvx2 = 1u << 2,    // AVX2 and BMI2, YMM state enabled by the OS
    kAvx512 = 1u << 3,  // F, BW, DQ, VL and VBMI, ZMM and opmask state enabled by the OS
    kNeon = 1u << 8,    // AArch64 Advanced SIMD (always present there)
};

// Tiers the processor (and OS) support; detected once and cached.
unsigned detected();
// Tiers in use: detected(), minus what ozmu_cpu_set_flags_mask and OZMU_CPU_DISABLE removed, and
// minus every tier above a removed one. Fixed at the first call.
unsigned active();
// Tier names as OZMU_CPU_DISABLE spells them ("sse2", "ssse3", "avx2", "avx512", "neon").
const char *tier_name(unsigned tier);

// The x86-64 tiers, lowest first.
inline constexpr unsigned kX86Tiers[] = {kSse2, kSsse3, kAvx2, kAvx512};

}  // namespace ozmu::cpu

namespace ozmu {

// Builds a family table: `reference` first, then installers[i] for every tier in `tiers`, lowest
// tier first. Each installer writes the entries it has a version of.
template <class Table>
struct TierInstaller {
    unsigned tier;
    void (*install)(Table &);
};

template <class Table, size_t N>
Table build_table(const Table &reference, unsigned tiers,
                  const TierInstaller<Table> (&installers)[N])
{
    Table table = reference;
    for (const auto &step : installers)
        if ((tiers & step.tier) != 0 && step.install != nullptr)
            step.install(table);
    return table;
}

// A family's table built once, at first use, from the tiers in use. Each call costs one acquire
// load and test; the guarded first build stays out of line, so the exported functions that
// inline get() keep no frame of their own.
template <class Table, Table (*build)(unsigned)>
class ActiveTable {
public:
    static const Table &get()
    {
        const Table *t = published_.load(std::memory_order_acquire);
        return *(t != nullptr ? t : first());
    }

private:
    [[gnu::cold, gnu::noinline]] static const Table *first()
    {
        static const Table table = build(cpu::active());
        published_.store(&table, std::memory_order_release);
        return &table;
    }
    static inline std::atomic<const Table *> published_{nullptr};
};

}  // namespace ozmu
