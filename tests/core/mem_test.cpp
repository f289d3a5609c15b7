// Fill and copy routines: the exact writes callers depend on, then the vector versions against
// the reference on every tail and shape, byte for byte, with canary margins and guard pages.
#include <algorithm>
#include <cstring>
#include <vector>

#include "checkasm.h"
#include "core/mem.h"
#include "ozmu.h"

namespace {

using namespace ozmu::test;

// `rows` spans of `len` bytes at dst + r * dst_step, each copied from src + r * src_step, or,
// when fill >= 0, holding the little-endian repeat of the 16-bit fill; nothing else written.
struct Exact {
    const char *what;
    void (*run)(uint8_t *d, const uint8_t *s);
    int fill, rows, len, dst_step, src_step;
};

#define RUN(call) [](uint8_t *d, const uint8_t *s) { (void)d, (void)s, call; }
const Exact kExact[] = {
    {"x64a masks", RUN(ozmu_mset_x64a(d, 0x1AB, 70)), 0xABAB, 1, 70, 0, 0},
    {"x128 rounds up", RUN(ozmu_mset_x128(d, 0x3C, 130)), 0x3C3C, 1, 2 * 128, 0, 0},
    {"x64 drops the rest", RUN(ozmu_mset_x64(d, 0x11, 255)), 0x1111, 1, 128, 0, 0},
    {"x32 drops the rest", RUN(ozmu_mset_x32(d, 0x122, 95)), 0x2222, 1, 2 * 32, 0, 0},
    {"x32ax4 40", RUN(ozmu_mset_x32ax4(d, 0x5A, 40)), 0x5A5A, 1, 40, 0, 0},
    {"x32ax4 5 writes 32", RUN(ozmu_mset_x32ax4(d, 0x5A, 5)), 0x5A5A, 1, 32, 0, 0},
    {"mclr 192", RUN(ozmu_mclr_x64(d, 192)), 0, 1, 192, 0, 0},
    {"mset16 3", RUN(ozmu_mset16(d, 0x51234, 3)), 0x1234, 1, 2 * 3, 0, 0},
    {"mset16 27", RUN(ozmu_mset16(d, 0x51234, 27)), 0x1234, 1, 2 * (16 + 8 + 3), 0, 0},
    {"mset16 0 writes 3", RUN(ozmu_mset16(d, 0x51234, 0)), 0x1234, 1, 2 * 3, 0, 0},
    {"pic rows 64 + 36", RUN(ozmu_mcpy_pic(d, s, 128, 128, 100, 3)), -1, 3, 100, 128, 128},
    {"pic 300-byte run", RUN(ozmu_mcpy_pic(d, s, 100, 100, 100, 3)), -1, 1, 300, 0, 0},
    // The 16-bit remainder moves twice over, save a row's exact 16 samples.
    {"pic_16 rows", RUN(ozmu_mcpy_pic_16(d, s, 64, 64, 40, 3)), -1, 3, 64 + 2 * 16, 128, 128},
    {"pic_16 rows of 48", RUN(ozmu_mcpy_pic_16(d, s, 64, 64, 48, 2)), -1, 2, 64 + 32, 128, 128},
    {"pic_16 run", RUN(ozmu_mcpy_pic_16(d, s, 40, 40, 40, 2)), -1, 1, 128 + 2 * 32, 0, 0},
    {"blk 6", RUN(ozmu_mcpy_blk(d, s, 100, 130, 6, 2)), -1, 2, 6, 100, 130},
    {"blk 10 moves 64", RUN(ozmu_mcpy_blk(d, s, 100, 130, 10, 2)), -1, 2, 64, 100, 130},
    // The 64-sample loop puts each row 24 samples right of the one before.
    {"blk_16 64", RUN(ozmu_mcpy_blk_16(d, s, 100, 130, 64, 4)), -1, 4, 128, 200 + 48, 260 + 48},
    {"blk_16 10", RUN(ozmu_mcpy_blk_16(d, s, 100, 130, 10, 2)), -1, 2, 128, 200 + 48, 260 + 48},
};

TEST(MemExact, WritesTheDocumentedBytes)
{
    std::vector<uint8_t> src(2048);
    for (size_t i = 0; i < src.size(); ++i)
        src[i] = static_cast<uint8_t>(i * 7 + 1);  // a misplaced copy shows at once
    for (const Exact &c : kExact) {
        SCOPED_TRACE(c.what);
        constexpr int kLead = 64;  // canaries before the destination
        std::vector<uint8_t> expected(2048, Plane::kCanary), actual = expected;
        for (int r = 0; r < c.rows; ++r)
            for (int i = 0; i < c.len; ++i)
                expected[kLead + c.dst_step * r + i] = static_cast<uint8_t>(
                    c.fill < 0 ? src[c.src_step * r + i] : c.fill >> 8 * (i & 1));
        c.run(actual.data() + kLead, src.data());
        EXPECT_TRUE(same_bytes(expected.data(), actual.data(), expected.size()));
    }
}

#if OZMU_HAVE_NEON
namespace vec = ozmu::neon;
#elif OZMU_HAVE_SSE2
namespace vec = ozmu::sse2;
#endif
#if OZMU_HAVE_NEON || OZMU_HAVE_SSE2

// Runs both versions into canary buffers of `size` bytes and compares them; then finds the
// reference's extent (each written byte differs from a zero or a 0xFF background) and runs `vec`
// with destination (and a copy of `source`) flush against an inaccessible page after that extent,
// then before it: one access too far faults.
template <class Ref, class Vec>
::testing::AssertionResult guarded_agree(size_t size, const uint8_t *source, Ref ref, Vec vec)
{
    std::vector<uint8_t> expected(size, Plane::kCanary), actual = expected;
    ref(expected.data(), source);
    vec(actual.data(), source);
    if (auto same = same_bytes(expected.data(), actual.data(), size); !same)
        return same;
    size_t extent = 0;
    for (const uint8_t background : {0x00, 0xFF}) {
        std::vector<uint8_t> buf(size, background);
        ref(buf.data(), source);
        for (size_t i = extent; i < size; ++i)
            extent = buf[i] != background ? i + 1 : extent;
    }
    expected.resize(extent);  // the reference writes nothing past it
    for (auto flush : {PageGuardedBuffer::Flush::End, PageGuardedBuffer::Flush::Start}) {
        PageGuardedBuffer dst(extent, flush), src(extent, flush);
        if (source)
            std::memcpy(src.data(), source, extent);
        std::memset(dst.data(), Plane::kCanary, extent);
        vec(dst.data(), src.data());
        if (auto same = same_bytes(expected.data(), dst.data(), extent); !same)
            return same;
    }
    return ::testing::AssertionSuccess();
}

// One signature for all fills (the 64-bit counts and mclr's missing value adapted).
#define FILL(f, ...)                                                                               \
    {                                                                                              \
#f, [](void *d, int v, int n) { (void)v, ozmu::ref::f(__VA_ARGS__); },                        \
     [](void *d, int v, int n) { (void)v, vec::f(__VA_ARGS__); }    \
    }
const struct {
    const char *name;
    decltype(&ozmu::ref::mset16) ref, vec;
} kFills[] = {FILL(mset_x128, d, v, n), FILL(mset_x64, d, v, n),    FILL(mset_x64a, d, v, n),
              FILL(mset_x32, d, v, n),  FILL(mset_x32ax4, d, v, n), FILL(mclr_x64, d, n),
              FILL(mset16, d, v, n)};

TEST(MemVector, FillsMatchReferenceOnEveryLength)
{
    Rng rng(1);
    std::vector<int> lengths = tail_widths(64, {255, 1000, 4099, 65536 + 77});
    lengths.insert(lengths.begin(), {-5, 0});
    for (const auto &k : kFills)
        for (int n : lengths) {
            const int values[] = {0, 0xFF, 0x1AB, -1, 0x8000, static_cast<int>(rng.u32())};
            const int v = values[rng.range(0, 5)];
            SCOPED_TRACE(::testing::Message() << k.name << " n=" << n << " value=" << v);
            ASSERT_TRUE(guarded_agree(
                2 * static_cast<size_t>(std::max(n, 0)) + 256, nullptr,
                [&](uint8_t *d, const uint8_t *) { k.ref(d, v, n); },
                [&](uint8_t *d, const uint8_t *) { k.vec(d, v, n); }));
        }
}

using CopyFn = void (*)(void *, const void *, int, int, int, int);
#define COPY(f, unit, block)                                                                       \
    {                                                                                              \
#f, ozmu::ref::f, vec::f, unit, block                                                      \
    }
// unit: bytes per sample.
const struct {
    const char *name;
    CopyFn ref, vec;
    int unit;
    bool block;
} kCopies[] = {COPY(mcpy_pic, 1, false), COPY(mcpy_pic_16, 2, false), COPY(mcpy_blk, 1, true),
               COPY(mcpy_blk_16, 2, true)};
// Extra destination and source stride in samples: odd, wide, and negative strides.
const struct {
    int dst_extra, src_extra;
    bool negative;
} kGeometries[] = {{1, 0, false}, {2, 900, false}, {6, 30, true}};

TEST(MemVector, CopiesMatchReferenceOnEveryShape)
{
    Rng rng(2);
    const std::vector<int> block_widths = {2, 4, 6, 8, 12, 16, 24, 32, 48, 1, 3, 10, 64, 65, 100};
    for (const auto &k : kCopies)
        for (int width : k.block ? block_widths : tail_widths(64, {200, 1920})) {
            const int rows = !k.block ? 1 : width == 16 || width == 24 || width == 32 ? 4 : 2;
            for (int height = rows; height <= (k.block ? 64 : 7); height += rows) {
                SCOPED_TRACE(::testing::Message() << k.name << " " << width << "x" << height);
                // Whole planes, margins holding the over-writes and the 16-bit block drift;
                // the source's margins random, so a byte read from outside the area shows.
                const int margin = k.block ? height * 48 + 192 : 128;
                for (const auto &g : kGeometries) {
                    Plane src(width, height, k.unit, g.src_extra * k.unit, g.negative, margin);
                    rng.fill(src.bytes().data(), src.bytes().size());
                    Plane expected(width, height, k.unit, g.dst_extra * k.unit, g.negative, margin);
                    Plane actual(width, height, k.unit, g.dst_extra * k.unit, g.negative, margin);
                    const int ds = expected.stride() / k.unit, ss = src.stride() / k.unit;
                    k.ref(expected.origin(), src.origin(), ds, ss, width, height);
                    k.vec(actual.origin(), src.origin(), ds, ss, width, height);
                    ASSERT_TRUE(same_planes(expected, actual));
                }
                // Guarded: contiguous (width = both strides) and odd strides.
                for (int stride : {width, width + 3}) {
                    std::vector<uint8_t> source((height + 4) * (stride * k.unit + 48) + 512);
                    rng.fill(source.data(), source.size());
                    const auto with = [&](CopyFn f) {
                        return [&, f](uint8_t *d, const uint8_t *s) {
                            f(d, s, stride, stride, width, height);
                        };
                    };
                    ASSERT_TRUE(
                        guarded_agree(source.size(), source.data(), with(k.ref), with(k.vec)));
                }
            }
        }
}

#endif  // OZMU_HAVE_NEON || OZMU_HAVE_SSE2

}  // namespace
