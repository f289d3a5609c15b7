// Block metrics: SAD, residual differences, SSD, Hadamard and SATD.
//
// Every routine exists as a portable reference in ozmu::ref, written straight from the per-sample
// definition, and as vector versions giving the same result bit for bit: on AArch64 in ozmu::neon
// (called directly), on x86-64 per tier in ozmu::sse2, ozmu::ssse3 and ozmu::avx2, chosen at run
// time through metric::table(). The 2-wide shapes have no vector version: every host runs the
// reference for them.
//
// Sample kinds: u8 (8-bit unsigned), s16 (16-bit signed) and bi (16-bit signed first operand,
// 8-bit unsigned second). Strides count samples of their own block.
#pragma once
#include <cstddef>
#include <cstdint>

#include "core/dispatch.h"

// Shapes as X(width, height). Every SAD and difference size from 4 wide up has a vector version.
#define OZMU_METRIC_NARROW_SIZES(X) X(2, 2) X(2, 4)
#define OZMU_METRIC_SMALL_SIZES(X) X(4, 2) X(4, 4)
// clang-format off
#define OZMU_METRIC_BI_SIZES(X)                                                                    \
    X(4, 8) X(8, 4) X(8, 8) X(8, 16) X(16, 8) X(16, 16) X(16, 32) X(32, 16) X(32, 32) X(32, 64)    \
    X(64, 32) X(64, 64)
// clang-format on
// Difference shapes that exist for 16-bit samples only.
#define OZMU_METRIC_DIFF16_NARROW_SIZES(X) X(2, 8)
#define OZMU_METRIC_DIFF16_ONLY_SIZES(X) X(4, 16) X(8, 32) X(16, 64)

#define OZMU_METRIC_DECLARE_SAD_U8(w, h)                                                           \
    int sad##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
#define OZMU_METRIC_DECLARE_SAD(w, h)                                                              \
    OZMU_METRIC_DECLARE_SAD_U8(w, h)                                                               \
    int sad##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
#define OZMU_METRIC_DECLARE_SAD_BI(w, h)                                                           \
    int sad##w##x##h##_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
#define OZMU_METRIC_DECLARE_DIFF16(w, h)                                                           \
    void diff##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,        \
                            int stride_out, int16_t *out);
#define OZMU_METRIC_DECLARE_DIFF(w, h)                                                             \
    void diff##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,             \
                       int stride_out, int16_t *out);                                              \
    OZMU_METRIC_DECLARE_DIFF16(w, h)

// Everything with a vector version.
#define OZMU_METRIC_DECLARE_VECTOR_KERNELS                                                         \
    OZMU_METRIC_SMALL_SIZES(OZMU_METRIC_DECLARE_SAD)                                               \
    OZMU_METRIC_BI_SIZES(OZMU_METRIC_DECLARE_SAD)                                                  \
    OZMU_METRIC_BI_SIZES(OZMU_METRIC_DECLARE_SAD_BI)                                               \
    OZMU_METRIC_SMALL_SIZES(OZMU_METRIC_DECLARE_DIFF)                                              \
    OZMU_METRIC_BI_SIZES(OZMU_METRIC_DECLARE_DIFF)                                                 \
    OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_METRIC_DECLARE_DIFF16)                                      \
    int sad(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);         \
    int sad_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b);      \
    void diff(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,        \
              int stride_out, int16_t *out);                                                       \
    void diff_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b,     \
                 int stride_out, int16_t *out);                                                    \
    void diff4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b,                \
                    int stride_out, int16_t *out);                                                 \
    int ssd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);         \
    int ssd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b);      \
    int hadamard4x4(const int16_t *coef);                                                          \
    int satd4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);                   \
    int satd4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);                \
    int satd4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);                \
    int satd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);        \
    int satd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b);     \
    int satd8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);                   \
    int satd8x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);                \
    int satd8x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);                \
    int satd8x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);

namespace ozmu {

namespace ref {
OZMU_METRIC_DECLARE_VECTOR_KERNELS
OZMU_METRIC_NARROW_SIZES(OZMU_METRIC_DECLARE_SAD)
OZMU_METRIC_NARROW_SIZES(OZMU_METRIC_DECLARE_DIFF)
OZMU_METRIC_DIFF16_NARROW_SIZES(OZMU_METRIC_DECLARE_DIFF16)
}  // namespace ref

#if OZMU_HAVE_NEON
namespace neon {
OZMU_METRIC_DECLARE_VECTOR_KERNELS
}
#endif

#if OZMU_HAVE_SSE2
// x86-64 baseline: the 8-bit SAD kernels, called directly where no higher tier beats them.
namespace sse2 {
OZMU_METRIC_SMALL_SIZES(OZMU_METRIC_DECLARE_SAD_U8)
OZMU_METRIC_BI_SIZES(OZMU_METRIC_DECLARE_SAD_U8)
int sad(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
}  // namespace sse2
#endif

namespace metric {

// Every kernel with a vector version, named once: expand OZMU_METRIC_ENTRIES with
// OZMU_METRIC_ENTRY(name) defined to generate one item per kernel (table members, reference
// entries, benchmark rows).
#define OZMU_METRIC_SAD_ENTRY(w, h)                                                                \
    OZMU_METRIC_ENTRY(sad##w##x##h) OZMU_METRIC_ENTRY(sad##w##x##h##_16)
#define OZMU_METRIC_SAD_BI_ENTRY(w, h) OZMU_METRIC_ENTRY(sad##w##x##h##_bi)
#define OZMU_METRIC_DIFF16_ENTRY(w, h) OZMU_METRIC_ENTRY(diff##w##x##h##_16)
#define OZMU_METRIC_DIFF_ENTRY(w, h) OZMU_METRIC_ENTRY(diff##w##x##h) OZMU_METRIC_DIFF16_ENTRY(w, h)
// clang-format off
#define OZMU_METRIC_ENTRIES                                                                        \
    OZMU_METRIC_SMALL_SIZES(OZMU_METRIC_SAD_ENTRY)                                                 \
    OZMU_METRIC_BI_SIZES(OZMU_METRIC_SAD_ENTRY)                                                    \
    OZMU_METRIC_BI_SIZES(OZMU_METRIC_SAD_BI_ENTRY)                                                 \
    OZMU_METRIC_SMALL_SIZES(OZMU_METRIC_DIFF_ENTRY)                                                \
    OZMU_METRIC_BI_SIZES(OZMU_METRIC_DIFF_ENTRY)                                                   \
    OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_METRIC_DIFF16_ENTRY)                                        \
    OZMU_METRIC_ENTRY(sad) OZMU_METRIC_ENTRY(sad_16)                                               \
    OZMU_METRIC_ENTRY(diff) OZMU_METRIC_ENTRY(diff_16) OZMU_METRIC_ENTRY(diff4x4_bi)               \
    OZMU_METRIC_ENTRY(ssd) OZMU_METRIC_ENTRY(ssd_16)                                               \
    OZMU_METRIC_ENTRY(hadamard4x4)                                                                 \
    OZMU_METRIC_ENTRY(satd4x4) OZMU_METRIC_ENTRY(satd4x4_bi) OZMU_METRIC_ENTRY(satd4x4_16)         \
    OZMU_METRIC_ENTRY(satd) OZMU_METRIC_ENTRY(satd_16)                                             \
    OZMU_METRIC_ENTRY(satd8x8) OZMU_METRIC_ENTRY(satd8x8_16) OZMU_METRIC_ENTRY(satd8x8_bi)         \
    OZMU_METRIC_ENTRY(satd8x8_bi_16)
// clang-format on

// One function pointer per kernel, filled with the reference, then by each tier's installer.
struct Table {
#define OZMU_METRIC_ENTRY(name) decltype(&ref::name) name;
    OZMU_METRIC_ENTRIES
#undef OZMU_METRIC_ENTRY
};

// The table for a set of tiers (0: the reference); table() is the one for cpu::active(), built
// once.
Table table_for(unsigned tiers);
const Table &table();

}  // namespace metric

#if OZMU_HAVE_X86_TIERS
namespace sse2 {
void install_metric(metric::Table &table);
}
namespace ssse3 {
void install_metric(metric::Table &table);
// Taken by the AVX2 version for blocks narrower than its 16-sample step.
int satd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
}  // namespace ssse3
namespace avx2 {
void install_metric(metric::Table &table);
// The parts of it, one per source file.
void install_metric_diff(metric::Table &table);
void install_metric_satd(metric::Table &table);
}  // namespace avx2
#endif
#if OZMU_HAVE_NEON
namespace neon {
void install_metric(metric::Table &table);  // for the tests: exported functions call neon directly
}
#endif

namespace metric {

// |d| as every member takes it: the sign mask is d >> 15, not d >> 31, so a 16-bit difference
// beyond +-32767 gives (d ^ m) - m with m in {-2, 1}. Exact for 8-bit operands. Unsigned
// arithmetic keeps -65535 .. 65535 free of overflow.
constexpr uint32_t abs15(int32_t d)
{
    const int32_t m = d >> 15;
    return static_cast<uint32_t>(d ^ m) - static_cast<uint32_t>(m);
}

}  // namespace metric
}  // namespace ozmu
