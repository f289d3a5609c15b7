// Kernel-checking harness: runs a vector kernel and its reference on identical inputs and
// compares every byte they leave behind, including guard bytes around each destination.
//
//   Rng              deterministic generator (seed from OZMU_TEST_SEED, printed on failure)
//   PageGuardedBuffer bytes placed flush against an inaccessible page: one byte too far faults
//   Plane            a 2-D sample area with canary margins on all sides; positive or negative
//                    stride; compare two planes whole to prove nothing else was written
//   fill_pattern     random, minimum, maximum, alternating extremes (lane-overflow patterns)
//   same_bytes       gtest assertion naming the first differing byte
//   tail_widths      1 .. 2 * vector width + 1, then a few long widths
//   versions         every version of a family-table entry that the CPU can run: one per tier
//                    whose installer changed it (tiers the CPU lacks are reported by the
//                    cpu.tier tests as skipped)
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "core/dispatch.h"

namespace ozmu::test {

inline uint64_t test_seed()
{
    static const uint64_t seed = [] {
        const char *env = std::getenv("OZMU_TEST_SEED");
        return env ? std::strtoull(env, nullptr, 0) : 0x5eed0f0a2c0ffeeULL;
    }();
    return seed;
}

// splitmix64: small, fast, and good enough to fuzz kernels.
class Rng {
public:
    explicit Rng(uint64_t stream = 0) : state_(test_seed() ^ (stream * 0x9E3779B97F4A7C15ULL)) {}
    uint64_t next()
    {
        uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    uint32_t u32() { return static_cast<uint32_t>(next() >> 32); }
    // Uniform in [lo, hi].
    int range(int lo, int hi)
    {
        return lo + static_cast<int>(next() % static_cast<uint64_t>(int64_t(hi) - lo + 1));
    }
    bool coin() { return next() & 1; }
    void fill(void *dst, size_t n)
    {
        auto *p = static_cast<uint8_t *>(dst);
        for (size_t i = 0; i < n; ++i)
            p[i] = static_cast<uint8_t>(next() >> 56);
    }

private:
    uint64_t state_;
};

// Sample patterns that drive sums and differences to their limits.
enum class Pattern { Random, Min, Max, MinMax, MaxMin, RandomExtremes };
inline const Pattern kAllPatterns[] = {Pattern::Random, Pattern::Min,    Pattern::Max,
                                       Pattern::MinMax, Pattern::MaxMin, Pattern::RandomExtremes};

// Fills count samples of sample_bytes (1, 2 or 4) with values in [lo, hi].
inline void fill_pattern(Rng &rng, Pattern pattern, void *dst, size_t count, int sample_bytes,
                         int64_t lo, int64_t hi)
{
    for (size_t i = 0; i < count; ++i) {
        int64_t v;
        switch (pattern) {
        case Pattern::Min: v = lo; break;
        case Pattern::Max: v = hi; break;
        case Pattern::MinMax: v = (i & 1) ? hi : lo; break;
        case Pattern::MaxMin: v = (i & 1) ? lo : hi; break;
        case Pattern::RandomExtremes: v = rng.coin() ? hi : lo; break;
        default: v = lo + static_cast<int64_t>(rng.next() % static_cast<uint64_t>(hi - lo + 1));
        }
        auto *p = static_cast<uint8_t *>(dst) + i * sample_bytes;
        if (sample_bytes == 1)
            *p = static_cast<uint8_t>(v);
        else if (sample_bytes == 2) {
            const auto s = static_cast<uint16_t>(v);
            std::memcpy(p, &s, 2);
        } else {
            const auto s = static_cast<uint32_t>(v);
            std::memcpy(p, &s, 4);
        }
    }
}

// Compares n bytes; on mismatch reports the first differing offset and both values.
inline ::testing::AssertionResult same_bytes(const void *expected, const void *actual, size_t n)
{
    const auto *e = static_cast<const uint8_t *>(expected);
    const auto *a = static_cast<const uint8_t *>(actual);
    for (size_t i = 0; i < n; ++i) {
        if (e[i] != a[i]) {
            char msg[160];
            std::snprintf(msg, sizeof msg,
                          "first difference at byte %zu of %zu: expected 0x%02x, got 0x%02x "
                          "(seed 0x%llx)",
                          i, n, e[i], a[i], static_cast<unsigned long long>(test_seed()));
            return ::testing::AssertionFailure() << msg;
        }
    }
    return ::testing::AssertionSuccess();
}

// Widths every tail of a kernel that steps by vector_width samples: 1 .. 2 * vector_width + 1,
// then the given long widths.
inline std::vector<int> tail_widths(int vector_width,
                                    std::initializer_list<int> extra = {64, 100, 1920})
{
    std::vector<int> widths;
    for (int w = 1; w <= 2 * vector_width + 1; ++w)
        widths.push_back(w);
    for (int w : extra)
        if (w > 2 * vector_width + 1)
            widths.push_back(w);
    return widths;
}

// Bytes mapped between two inaccessible pages. The usable window [data(), data() + size()) is
// placed flush against the trailing page (Flush::End, default) or the leading one (Flush::Start),
// so the first access one byte beyond it faults at once.
class PageGuardedBuffer {
public:
    enum class Flush { End, Start };

    explicit PageGuardedBuffer(size_t size, Flush flush = Flush::End) : size_(size)
    {
        page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t body = (size + page_ - 1) / page_ * page_;
        mapped_ = body + 2 * page_;
        void *m =
            mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m == MAP_FAILED)
            std::abort();
        base_ = static_cast<uint8_t *>(m);
        mprotect(base_, page_, PROT_NONE);
        mprotect(base_ + page_ + body, page_, PROT_NONE);
        data_ = flush == Flush::End ? base_ + page_ + body - size : base_ + page_;
    }
    ~PageGuardedBuffer() { munmap(base_, mapped_); }
    PageGuardedBuffer(const PageGuardedBuffer &) = delete;
    PageGuardedBuffer &operator=(const PageGuardedBuffer &) = delete;

    uint8_t *data() { return data_; }
    size_t size() const { return size_; }

private:
    uint8_t *base_ = nullptr;
    uint8_t *data_ = nullptr;
    size_t size_ = 0;
    size_t mapped_ = 0;
    size_t page_ = 0;
};

// A width x height area of sample_bytes samples with `margin` canary bytes around it on every
// side (left and right of each row, above and below the area). The stride may exceed the row
// or be negative (rows then run upward in memory from origin()). Two planes built with the same
// geometry and written by a kernel and its reference must be identical in every byte, margins
// included; unchanged() proves a kernel left the margins alone.
class Plane {
public:
    static constexpr uint8_t kCanary = 0xA5;

    Plane(int width, int height, int sample_bytes = 1, int extra_stride = 0, bool negative = false,
          int margin = 64)
        : width_(width), height_(height), bytes_(sample_bytes)
    {
        const int row_bytes = width * sample_bytes;
        stride_ = row_bytes + margin + extra_stride;
        const size_t total = static_cast<size_t>(stride_) * (height > 0 ? height : 0) +
                             2 * static_cast<size_t>(margin);
        storage_.assign(total + margin, kCanary);
        first_row_ = storage_.data() + margin;
        if (negative) {
            origin_ = first_row_ + static_cast<size_t>(stride_) * (height > 0 ? height - 1 : 0);
            stride_ = -stride_;
        } else {
            origin_ = first_row_;
        }
    }

    uint8_t *origin() { return origin_; }
    uint8_t *row(int y) { return origin_ + static_cast<ptrdiff_t>(stride_) * y; }
    int stride() const { return stride_; }
    int width() const { return width_; }
    int height() const { return height_; }
    std::vector<uint8_t> &bytes() { return storage_; }

    // Fills the sample area (not the margins) with a pattern.
    void fill(Rng &rng, Pattern pattern, int64_t lo, int64_t hi)
    {
        for (int y = 0; y < height_; ++y)
            fill_pattern(rng, pattern, row(y), static_cast<size_t>(width_), bytes_, lo, hi);
    }
    // Copies sample area and margins from another plane of the same geometry.
    void copy_from(const Plane &other) { storage_ = other.storage_; }

    // True when every byte outside the sample area still holds the canary.
    ::testing::AssertionResult margins_untouched() const
    {
        std::vector<uint8_t> mask(storage_.size(), 1);
        const ptrdiff_t base = first_row_ - storage_.data();
        const ptrdiff_t step = stride_ < 0 ? -stride_ : stride_;
        for (int y = 0; y < height_; ++y)
            std::memset(mask.data() + base + step * y, 0, static_cast<size_t>(width_) * bytes_);
        for (size_t i = 0; i < storage_.size(); ++i)
            if (mask[i] && storage_[i] != kCanary)
                return ::testing::AssertionFailure()
                       << "byte " << i << " outside the area was written (seed 0x" << std::hex
                       << test_seed() << ")";
        return ::testing::AssertionSuccess();
    }

private:
    int width_, height_, bytes_;
    int stride_ = 0;
    std::vector<uint8_t> storage_;
    uint8_t *first_row_ = nullptr;
    uint8_t *origin_ = nullptr;
};

// Two planes that must end byte-identical: same geometry and contents before the call.
inline ::testing::AssertionResult same_planes(Plane &expected, Plane &actual)
{
    if (expected.bytes().size() != actual.bytes().size())
        return ::testing::AssertionFailure() << "planes differ in geometry";
    return same_bytes(expected.bytes().data(), actual.bytes().data(), expected.bytes().size());
}

// The tiers of this architecture, lowest first.
inline std::vector<unsigned> arch_tiers()
{
#if OZMU_HAVE_NEON
    return {cpu::kNeon};
#elif OZMU_HAVE_X86_TIERS
    return {std::begin(cpu::kX86Tiers), std::end(cpu::kX86Tiers)};
#else
    return {};
#endif
}

template <class Fn>
struct Version {
    std::string tier;  // "sse2", "avx2", ...
    Fn fn;
};

// Every version of one entry of a family table that this CPU can run, lowest tier first: the
// table is built for each tier present (with every tier below it) and a tier contributes a
// version when it changed the entry. table_for(0) is the reference table.
template <class Table, class Fn>
std::vector<Version<Fn>> versions(Table (*table_for)(unsigned), Fn Table::*entry)
{
    std::vector<Version<Fn>> out;
    Fn previous = table_for(0).*entry;
    unsigned tiers = 0;
    for (unsigned tier : arch_tiers()) {
        if ((cpu::detected() & tier) == 0)
            break;
        tiers |= tier;
        const Fn fn = table_for(tiers).*entry;
        if (fn != previous)
            out.push_back({cpu::tier_name(tier), fn});
        previous = fn;
    }
    return out;
}

}  // namespace ozmu::test
