// The six vectorised conversions to interleaved RGB: the exported kernel against a per-pixel
// model (start slot by dst_cs, rows by dst_stride[0], every source plane by src_stride[0]), and
// every vector version this CPU runs (each x86-64 tier's, or NEON) against the reference, byte
// for byte, margins and guard pages; the YUV members over all 2^24 (Y, U, V) in every version.
#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "checkasm.h"
#include "csc/to_rgb_vector.h"
#include "csc_test_util.h"
#include "ozmu.h"

namespace {

using namespace ozmu::test;

using ozmu::csc_test::yuv_to_rgb;

// Where a dst_cs sends the pixels: slot and byte order ("" writes nothing).
struct Target {
    int dst_cs, slot;
    std::string order;
};

using Entry = void (*ozmu::csc::VectorTable::*)(OZMU_CSC_PARAMS);

struct Member {
    const char *name;
    ozmu_fn_csc exported, reference, neon;
    Entry entry;
    bool yuv, alpha;
    int bytes, step;
    std::vector<Target> targets;
};

#if OZMU_HAVE_NEON
#define NEON(name) ozmu::neon::name
#else
#define NEON(name) nullptr
#endif
#define KERNELS(name)                                                                              \
#name, ozmu_csc_##name, ozmu::ref::name, NEON(name), &ozmu::csc::VectorTable::name

// Every vector version of a member this CPU runs: one per x86-64 tier that has its own, or NEON.
std::vector<Version<ozmu_fn_csc>> vector_versions(const Member &m)
{
    std::vector<Version<ozmu_fn_csc>> out;
    for (const auto &v : versions(&ozmu::csc::vector_table_for, m.entry))
        out.push_back({v.tier, v.fn});
    if (m.neon)
        out.push_back({"neon", m.neon});
    return out;
}

const std::vector<Member> kMembers = {
    {KERNELS(r8g8b8_to_rgb888),
     false,
     false,
     3,
     16,
     {{400, 0, "RGB"}, {401, 2, "BGR"}, {500, 2, "BGR"}, {INT_MIN, 2, "BGR"}}},
    {KERNELS(r8g8b8_to_rgba8888),
     false,
     false,
     4,
     16,
     {{500, 0, "RGBA"},
      {501, 2, "BGRA"},
      {430, 2, "BGRA"},
      {-1, 2, "BGRA"},
      {502, 3, "ARGB"},
      {503, 3, "ABGR"},
      {INT_MAX, 3, "ABGR"}}},
    {KERNELS(r8g8b8a8_to_rgba8888),
     false,
     true,
     4,
     16,
     {{500, 0, "RGBA"},
      {501, 2, "BGRA"},
      {430, 2, "BGRA"},
      {INT_MIN, 2, "BGRA"},
      {502, 3, ""},
      {503, 3, ""},
      {9000, 3, ""}}},
    {KERNELS(yuv444_to_rgb888),
     true,
     false,
     3,
     8,
     {{400, 0, "RGB"}, {401, 2, "BGR"}, {500, 0, "RGB"}}},
    {KERNELS(yuv444_to_rgba8888),
     true,
     false,
     4,
     8,
     {{500, 0, "RGBA"},
      {501, 2, "BGRA"},
      {502, 3, "ARGB"},
      {503, 3, "ABGR"},
      {504, 3, "ARGB"},
      {INT_MAX, 3, "ARGB"},
      {499, 0, "RGBA"},
      {INT_MIN, 0, "RGBA"}}},
    {KERNELS(yuv444a8_to_rgba8888),
     true,
     true,
     4,
     8,
     {{500, 0, "RGBA"},
      {501, 2, "BGRA"},
      {502, 3, "ARGB"},
      {503, 3, "ABGR"},
      {505, 3, "ARGB"},
      {-500, 0, "RGBA"}}},
};

// Source planes sharing one geometry (plane 3 only with alpha), the destination, and a decoy
// that every unselected dst[] slot points at: it must stay all canaries.
struct Scene {
    const int row_bytes, height, extra;
    const bool negative;
    std::vector<Plane> src;
    Plane dst, decoy;

    Scene(const Member &m, int pixels, int rows, int extra_stride, bool upward, Rng &rng, int seq)
        : row_bytes(pixels * m.bytes), height(rows), extra(extra_stride), negative(upward),
          dst(row_bytes, height, 1, extra, negative), decoy(row_bytes, height, 1, extra, negative)
    {
        src.reserve(4);
        for (int k = 0; k < (m.alpha ? 4 : 3); ++k) {
            src.emplace_back(pixels, height, 1, extra + 3, negative);
            src.back().fill(rng, kAllPatterns[(seq + k) % 6], 0, 255);
        }
    }

    void run(ozmu_fn_csc kernel, int src_w, int src_h, const Target &t)
    {
        uint8_t *planes[4] = {};
        for (size_t k = 0; k < src.size(); ++k)
            planes[k] = src[k].origin();
        uint8_t *out[4] = {decoy.origin(), decoy.origin(), decoy.origin(), decoy.origin()};
        out[t.slot] = dst.origin();
        int src_stride[4] = {src[0].stride(), 1, -77777, 0};  // only the first counts
        int dst_stride[4] = {dst.stride(), 5, -33333, 1};
        kernel(planes, src_w, src_h, src_stride, 999, out, -1, -1, dst_stride, t.dst_cs);
    }

    // The destination a correct kernel leaves after converting `pixels` x `rows`.
    Plane expected(const Member &m, const Target &t, int pixels, int rows)
    {
        Plane e(row_bytes, height, 1, extra, negative);
        e.copy_from(dst);
        for (int y = 0; y < rows && !t.order.empty(); ++y)
            for (int x = 0; x < pixels; ++x) {
                const std::array c{int(src[0].row(y)[x]), int(src[1].row(y)[x]),
                                   int(src[2].row(y)[x])};
                ozmu::csc_test::put_ordered(
                    t.order.c_str(), m.yuv ? yuv_to_rgb(c[0], c[1], c[2]) : c,
                    m.alpha ? src[3].row(y)[x] : 255, e.row(y) + x * m.bytes);
            }
        return e;
    }
};

struct Geometry {
    int extra;
    bool negative;
};
const Geometry kGeometries[] = {{0, false}, {5, false}, {1, true}};

// The exported kernel against the formula, then every vector version against the reference on
// the same scene, byte for byte including margins and the decoy.
TEST(CscVector, MatchesFormulaAndReferenceEverySlotWidthAndStride)
{
    Rng rng(41);
    int seq = 0;
    for (const Member &m : kMembers)
        for (const Target &t : m.targets)
            for (int w : tail_widths(OZMU_HAVE_X86_TIERS ? 64 : m.step, {40, 64, 1920}))
                for (const Geometry &g : kGeometries) {
                    const int h = w == 1920 ? 2 : 1 + seq % 4;
                    SCOPED_TRACE(::testing::Message()
                                 << m.name << " dst_cs " << t.dst_cs << " " << w << "x" << h << " +"
                                 << g.extra << (g.negative ? " up" : ""));
                    Scene s(m, w, h, g.extra, g.negative, rng, seq++);
                    Plane want = s.expected(m, t, w, h);
                    s.run(m.exported, w, h, t);
                    ASSERT_TRUE(same_planes(want, s.dst));
                    ASSERT_TRUE(s.decoy.margins_untouched());
                    auto &out = s.dst.bytes();
                    std::fill(out.begin(), out.end(), Plane::kCanary);
                    s.run(m.reference, w, h, t);
                    const std::vector<uint8_t> dst = out, decoy = s.decoy.bytes();
                    for (const auto &[tier, fn] : vector_versions(m)) {
                        SCOPED_TRACE(tier);
                        std::fill(out.begin(), out.end(), Plane::kCanary);
                        s.run(fn, w, h, t);
                        ASSERT_TRUE(same_bytes(dst.data(), out.data(), dst.size()));
                        ASSERT_TRUE(same_bytes(decoy.data(), s.decoy.bytes().data(), decoy.size()));
                    }
                }
}

// A width of 0 still converts three pixels a row in the YUV members (none in the planar RGB
// ones); no rows, or a negative width, write nothing.
TEST(CscVector, DegenerateSizes)
{
    Rng rng(42);
    for (const Member &m : kMembers) {
        const Target &t = m.targets[1];
        SCOPED_TRACE(m.name);
        Scene s(m, 3, 2, 4, false, rng, 1);
        Plane want = s.expected(m, t, m.yuv ? 3 : 0, 2);
        s.run(m.exported, 0, 2, t);
        EXPECT_TRUE(same_planes(want, s.dst));
        for (const auto &[w, h] : {std::pair{3, 0}, {3, -1}, {-1, 2}, {INT_MIN, 2}}) {
            Scene idle(m, 3, 2, 0, false, rng, 2);
            idle.run(m.exported, w, h, t);
            EXPECT_TRUE(idle.dst.margins_untouched() && idle.decoy.margins_untouched());
        }
    }
}

// Every (Y, U, V), through the vector steps (width 256) and through the tails (width 7), in each
// YUV member: the exported one and every vector version. The alpha plane carries Y ^ V.
TEST(CscVector, YuvArithmeticExhaustive)
{
    for (const int width : {256, 7}) {
        const int rows = 65536 / width + 1, count = width * rows;
        std::vector<uint8_t> planes(4 * size_t(count)), out(4 * size_t(count));
        std::vector<std::array<uint8_t, 4>> want(static_cast<size_t>(count));
        uint8_t *src[4] = {&planes[0], &planes[size_t(count)], &planes[2 * size_t(count)],
                           &planes[3 * size_t(count)]};
        for (int base = 0; base < (1 << 24); base += count) {
            for (int i = 0; i < count; ++i) {
                for (int k = 0; k < 3; ++k)
                    src[k][i] = uint8_t((base + i) >> (16 - 8 * k));
                src[3][i] = uint8_t(src[0][i] ^ src[2][i]);
                const auto rgb = yuv_to_rgb(src[0][i], src[1][i], src[2][i]);
                want[size_t(i)] = {uint8_t(rgb[0]), uint8_t(rgb[1]), uint8_t(rgb[2]), src[3][i]};
            }
            const int valid = std::min(count, (1 << 24) - base);
            for (const Member &m : kMembers) {
                if (!m.yuv)
                    continue;
                auto impls = vector_versions(m);
                impls.insert(impls.begin(), {"exported", m.exported});
                for (const auto &[tier, fn] : impls) {
                    uint8_t *dst[4] = {out.data()};
                    int src_stride[4] = {width}, dst_stride[4] = {m.bytes * width};
                    fn(src, width, rows, src_stride, 0, dst, 0, 0, dst_stride,
                       m.bytes == 3 ? 400 : 500);
                    for (int i = 0; i < valid; ++i) {
                        const uint8_t *p = &out[size_t(m.bytes) * i];
                        const auto &e = want[size_t(i)];
                        const int alpha = m.alpha ? e[3] : 255;
                        if (p[0] != e[0] || p[1] != e[1] || p[2] != e[2] ||
                            (m.bytes == 4 && p[3] != alpha))
                            FAIL() << m.name << " " << tier << " width " << width << " YUV 0x"
                                   << std::hex << base + i;
                    }
                }
            }
        }
    }
}

// Tight pictures flush against an inaccessible page on either side: one byte read or written
// beyond the rows faults. Every vector version, every tail width.
TEST(CscVector, VectorStaysInsideTightPictures)
{
    Rng rng(44);
    for (const Member &m : kMembers)
        for (int w : tail_widths(64, {100, 130})) {
            const int h = 3;
            const Target &t = m.targets[0];
            SCOPED_TRACE(::testing::Message() << m.name << " width " << w);
            Scene model(m, w, h, 0, false, rng, w);
            model.run(m.reference, w, h, t);
            for (const auto &[tier, fn] : vector_versions(m))
                for (auto flush :
                     {PageGuardedBuffer::Flush::End, PageGuardedBuffer::Flush::Start}) {
                    SCOPED_TRACE(tier);
                    std::vector<std::unique_ptr<PageGuardedBuffer>> src;
                    uint8_t *planes[4] = {};
                    for (size_t k = 0; k < model.src.size(); ++k) {
                        src.push_back(std::make_unique<PageGuardedBuffer>(size_t(w) * h, flush));
                        planes[k] = src.back()->data();
                        for (int y = 0; y < h; ++y)
                            std::memcpy(planes[k] + w * y, model.src[k].row(y), w);
                    }
                    PageGuardedBuffer dst(size_t(w) * h * m.bytes, flush);
                    uint8_t *out[4] = {dst.data(), dst.data(), dst.data(), dst.data()};
                    int src_stride[4] = {w}, dst_stride[4] = {w * m.bytes};
                    fn(planes, w, h, src_stride, 0, out, 0, 0, dst_stride, t.dst_cs);
                    for (int y = 0; y < h; ++y)
                        ASSERT_TRUE(same_bytes(model.dst.row(y), dst.data() + w * m.bytes * y,
                                               size_t(w) * m.bytes));
                }
        }
}

}  // namespace

namespace {

// Pictures of 4-byte pixels of 6 MiB and more are written with non-temporal stores on rows whose
// start is aligned: a destination stride of 4 mod 64 bytes mixes aligned and unaligned rows.
TEST(CscVector, LargePicturesMatchReference)
{
    Rng rng(45);
    const int w = 1930, h = 820, src_stride = w + 3, dst_stride = 4 * w + 4;
    std::vector<uint8_t> planes(4 * size_t(src_stride) * h);
    rng.fill(planes.data(), planes.size());
    std::vector<uint8_t> want(size_t(dst_stride) * h + 64), got(want.size());
    for (const Member &m : kMembers) {
        if (m.bytes != 4)
            continue;
        uint8_t *src[4];
        for (int k = 0; k < 4; ++k)
            src[k] = &planes[size_t(k) * src_stride * h];
        int src_strides[4] = {src_stride}, dst_strides[4] = {dst_stride};
        uint8_t *base = want.data() + (64 - reinterpret_cast<uintptr_t>(want.data()) % 64);
        uint8_t *dst[4] = {base, base, base, base};
        std::fill(want.begin(), want.end(), 0x5A);
        m.reference(src, w, h, src_strides, 0, dst, 0, 0, dst_strides, m.targets[0].dst_cs);
        for (const auto &[tier, fn] : vector_versions(m)) {
            std::fill(got.begin(), got.end(), 0x5A);
            uint8_t *at = got.data() + (base - want.data());
            uint8_t *out[4] = {at, at, at, at};
            fn(src, w, h, src_strides, 0, out, 0, 0, dst_strides, m.targets[0].dst_cs);
            ASSERT_TRUE(same_bytes(want.data(), got.data(), want.size())) << m.name << " " << tier;
        }
    }
}

}  // namespace
