// Media buffers: plane geometry and border expansion of every colour format against models built
// from the format table with plain ceiling division; image, audio and bit buffers, mfal and vdata
// with a payload allocator that marks fresh blocks, can refuse its n-th call and checks that each
// block comes back exactly once with its own aux value.
#include <algorithm>
#include <climits>
#include <atomic>
#include <deque>
#include <map>
#include <thread>
#include <utility>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"

namespace {

using namespace ozmu::test;
using V = std::vector<int64_t>;
int64_t addr(const void *p) { return int64_t(uintptr_t(p)); }
bool zeroed(const void *p, size_t n) { return same_bytes(std::vector<uint8_t>(n).data(), p, n); }

// Planes 1 and 2 are ceil(W / wdiv) x ceil(H / hdiv), plane 3 is W x H.
struct Format {
    int cs, planes, wdiv, hdiv, bytes;
};
const Format kPlanar[] = {
    {OZMU_CS_YUV400, 1, 1, 1, 1},   {OZMU_CS_YUV420, 3, 2, 2, 1},   {OZMU_CS_YUV422, 3, 2, 1, 1},
    {OZMU_CS_YUV444, 3, 1, 1, 1},   {OZMU_CS_YUV440, 3, 1, 2, 1},   {OZMU_CS_YUV400_16, 1, 1, 1, 2},
    {OZMU_CS_YUV411, 3, 4, 1, 1},   {OZMU_CS_YUV420A8, 4, 2, 2, 1}, {OZMU_CS_YUV422A8, 4, 2, 1, 1},
    {OZMU_CS_YUV444A8, 4, 1, 1, 1}, {OZMU_CS_YUV440A8, 4, 1, 2, 1}, {OZMU_CS_P010, 3, 2, 2, 2},
    {OZMU_CS_P210, 3, 2, 1, 2},     {OZMU_CS_P410, 3, 1, 1, 2},     {OZMU_CS_P010X, 3, 2, 2, 2},
    {OZMU_CS_P210X, 3, 2, 1, 2}};

// Packed identifiers: one plane, bytes per pixel from the hundred alone. Unknown: no planes.
Format model(int cs)
{
    for (const Format &f : kPlanar)
        if (f.cs == cs)
            return f;
    if (cs >= 100 && cs <= 599)
        return {cs, 1, 1, 1, cs < 300 ? 2 : cs / 100 == 4 ? 3 : 4};
    return {cs, 0, 1, 1, 1};
}
int sub(int size, int div, int i) { return i == 1 || i == 2 ? (size + div - 1) / div : size; }
int ceil_to(int v, int a) { return (v + a - 1) / a * a; }

constexpr int kUnset = 0x7EADBEEF;  // outputs past the plane count must keep it

struct Info {  // get_info's outputs, pre-filled so that writes past the planes show
    int w[4], h[4], aw[4], ah[4], padx[4], pady[4], planes = kUnset, code;
    uint32_t elem[4];
    ozmu_imgb rec;
    const uint32_t *pad;
    Info(int cs, int width, int height, const uint32_t *align, const uint32_t *pad_) : pad(pad_)
    {
        for (int *a : {w, h, aw, ah, padx, pady, reinterpret_cast<int *>(elem)})
            std::fill_n(a, 4, kUnset);
        std::memset(&rec, 0x6B, sizeof rec);
        code = ozmu_imgb_get_info(cs, width, height, align, pad, w, h, aw, ah, padx, pady, &planes,
                                  elem, &rec);
    }
};

void expect_geometry(const Format &f, int width, int height, const uint32_t *align,
                     const uint32_t *pad)
{
    const Info out(f.cs, width, height, align, pad);
    ASSERT_EQ(out.code, OZMU_OK) << f.cs;
    ozmu_imgb rec;  // all the model does not set must be cleared
    std::memset(&rec, 0, sizeof rec);
    rec.width = width, rec.height = height, rec.cs = f.cs;
    V got{out.planes}, want{f.planes};
    for (int i = 0; i < 4; ++i) {
        got.insert(got.end(), {out.w[i], out.h[i], out.aw[i], out.ah[i], int(out.elem[i]),
                               out.padx[i], out.pady[i]});
        const int w = sub(width, f.wdiv, i), h = sub(height, f.hdiv, i);
        const int aw = align && i < f.planes ? ceil_to(w, int(align[i] >> 16)) : w;
        const int ah = align && i < f.planes ? ceil_to(h, int(align[i] & 0xFFFF)) : h;
        const int ph = pad && i < f.planes ? int(pad[i] >> 16) : 0;
        const int pv = pad && i < f.planes ? int(pad[i] & 0xFFFF) : 0;
        want.insert(want.end(), {w, h, aw, ah, f.bytes << 16 | 1, ph * f.bytes, pv});
        std::fill(want.end() - (i < f.planes ? pad ? 0 : 2 : 7), want.end(), kUnset);
        if (i < f.planes)  // a border on each side
            rec.stride[i] = (aw + 2 * ph) * f.bytes, rec.rows[i] = ah + 2 * pv;
        rec.frame_size += uint32_t(rec.stride[i] * rec.rows[i]);
    }
    rec.aligned_width = want[3], rec.aligned_height = want[4];
    EXPECT_EQ(got, want) << "cs " << f.cs << " " << width << "x" << height;
    EXPECT_TRUE(same_bytes(&rec, &out.rec, sizeof rec)) << "cs " << f.cs;
}

TEST(Geometry, EveryIdentifierMatchesTheFormatTable)
{
    Rng rng(21);
    for (int cs = -2; cs <= 800; ++cs) {
        const Format f = model(cs);
        // Refused after the record is cleared and the picture size stored. get_dimension knows
        // no packed format but 400, as one plane with the sizes left alone.
        const Info o(cs, 32, 16, nullptr, nullptr);
        int dw[4] = {10, -1, -1, -1}, dh[4] = {7, -1, -1, -1}, n = kUnset;
        uint32_t e[4] = {7, 7, 7, 7};
        const V dim{ozmu_imgb_get_dimension(cs, dw, dh, &n, e), n, e[0], e[1], dw[1], dh[1]};
        const V refused{o.code, o.w[0], o.h[0], o.planes, o.w[1], o.rec.cs, o.rec.stride[0]};
        EXPECT_TRUE(f.planes || refused == V({-211, 32, 16, kUnset, kUnset, cs, 0})) << cs;
        const V known{0, 1, 0x30001, 7, -1, -1}, unknown{-211, kUnset, 7, 7, -1, -1};
        EXPECT_TRUE((cs < 100 && f.planes) || dim == (cs == 400 ? known : unknown)) << cs;
        for (int r = 0; f.planes && r < (cs < 100 ? 40 : 2); ++r) {
            std::vector<uint32_t> align(f.planes), pad(f.planes);  // ASan sees reads past them
            for (int i = 0; i < f.planes; ++i)
                align[i] = OZMU_HV(1u << rng.range(0, 7), 1u << rng.range(0, 7)),
                pad[i] = OZMU_HV(rng.range(0, 80), rng.range(0, 40));
            const int w = rng.range(1, 300), h = rng.range(1, 200);
            for (int k = 0; k < 4; ++k)
                expect_geometry(f, w, h, k & 1 ? &align[0] : nullptr, k & 2 ? &pad[0] : nullptr);
        }
    }
}

// The border of a w x h picture of b-byte samples, ph samples either side and pv rows above and
// below, in a harness plane. Square borders: each padded sample becomes the nearest picture
// sample. Unequal ones replay the documented steps, whose left fill starts pv samples out but
// runs ph samples.
void expand_model(Plane &m, int w, int h, int b, int ph, int pv)
{
    const auto at = [&](int x, int y) { return m.row(y + pv) + (x + ph) * b; };
    const auto copy = [&](int x, int y, int fx, int fy) { std::memcpy(at(x, y), at(fx, fy), b); };
    for (int y = -pv; ph == pv && y < h + pv; ++y)
        for (int x = -ph; x < w + ph; ++x)
            copy(x, y, std::clamp(x, 0, w - 1), std::clamp(y, 0, h - 1));
    for (int y = 0; ph != pv && y < 2 * h; ++y)
        for (int k = 0; k < ph; ++k)
            y < h ? copy(k - pv, y, 0, y) : copy(w + k, y - h, w - 1, y - h);
    for (int k = 1; ph != pv && k <= pv; ++k) {
        std::memcpy(at(-ph, -k), at(-ph, 0), size_t(m.stride()));
        std::memcpy(at(-ph, h - 1 + k), at(-ph, h - 1), size_t(m.stride()));
    }
}

// Each plane sits in its own harness plane, whose canary margins show any write outside it.
TEST(Expand, PlanarFormatsFillEachBorderFromItsEdgesOthersAreRefusedUntouched)
{
    Rng rng(1);
    const uint32_t borders[][4] = {
        {OZMU_HV(8, 8), OZMU_HV(8, 8), OZMU_HV(8, 8), OZMU_HV(8, 8)},
        {OZMU_HV(1, 1), OZMU_HV(2, 2), OZMU_HV(3, 3), OZMU_HV(5, 5)},
        {0, OZMU_HV(16, 16), 0, OZMU_HV(1, 1)},  // an empty border writes nothing, 16-bit too
        {OZMU_HV(4, 2), OZMU_HV(2, 4), OZMU_HV(5, 0), OZMU_HV(3, 5)}};
    for (int cs = 0; cs <= 700; cs += cs < 100 ? 1 : 50) {
        const Format f = cs < 100 ? model(cs) : Format{cs, 0, 1, 1, 4};
        for (const auto &[aw, ah] : {std::pair{16, 16}, {1, 1}, {7, 5}, {13, 3}, {33, 18}})
            for (const uint32_t *pad : borders)
                for (Pattern pattern : {Pattern::Random, Pattern::Max}) {
                    ozmu_imgb img{};
                    img.cs = cs, img.aligned_width = aw, img.aligned_height = ah;
                    std::deque<Plane> got, want;
                    for (int i = 0; i < std::max(f.planes, 1); ++i) {
                        const int w = sub(aw, f.wdiv, i), h = sub(ah, f.hdiv, i), b = f.bytes;
                        const int ph = int(pad[i] >> 16), pv = int(pad[i] & 0xFFFF);
                        got.emplace_back(w + 2 * ph, h + 2 * pv, b).fill(rng, pattern, 0, 0x3FF);
                        want.emplace_back(w + 2 * ph, h + 2 * pv, b).copy_from(got[i]);
                        if (f.planes)
                            expand_model(want[i], w, h, b, ph, pv);
                        img.plane[i] = got[i].row(pv) + ph * b, img.stride[i] = got[i].stride();
                    }
                    ASSERT_EQ(ozmu_imgb_expand(&img, pad), f.planes ? 0 : OZMU_ERR_UNSUPPORTED_CS);
                    for (size_t i = 0; i < got.size(); ++i)
                        ASSERT_TRUE(same_planes(want[i], got[i]))
                            << "cs " << cs << " plane " << i << " " << aw << "x" << ah;
                }
    }
}

// Image strides are even, so only a direct call shows that the 16-bit fill steps by the stride
// rounded up to even bytes.
TEST(Expand, SixteenBitRowStepIsTheStrideRoundedUpToEven)
{
    for (int stride : {19, 20, -19}) {
        const int step = ((stride + 1) & ~1) / 2;  // in samples
        std::vector<uint16_t> mem(80, 0xA5A5), want;
        for (int y = 0; y < 3; ++y)
            (&mem[40])[y * step] = uint16_t(0x3F0 + y);
        want = mem;
        for (int y = 0; y < 3; ++y)
            std::fill_n(&want[41] + y * step, 5, uint16_t(0x3F0 + y));
        ozmu_imgb_expand_ver_16(&mem[40], &mem[41], 3, stride, 5);
        EXPECT_TRUE(same_bytes(want.data(), mem.data(), mem.size() * 2)) << stride;
    }
}

constexpr uint8_t kMarker = 0xCD;

struct Pool {  // touched by one thread at a time
    std::map<void *, uint64_t> live;
    int calls = 0, frees = 0, bad_frees = 0, fail_at = -1, last_size = -1;
} pool;

void *pool_alloc(int size, uint64_t *aux)
{
    pool.last_size = size;
    *aux = 0xA000000000000000ull + (uint64_t(pool.calls) << 32);
    if (pool.calls++ == pool.fail_at)
        return nullptr;
    void *p = std::memset(std::malloc(size_t(size) + 1), kMarker, size_t(size));
    return pool.live[p] = *aux, p;
}

void pool_free(void *base, uint64_t aux)
{
    ++pool.frees;
    const auto it = pool.live.find(base);
    if (it == pool.live.end() || it->second != aux)
        return void(++pool.bad_frees);  // not ours: must not be freed
    std::free(base);
    pool.live.erase(it);
}

struct Counted : ::testing::Test {
    void TearDown() override
    {
        EXPECT_EQ(V({pool.bad_frees, int64_t(pool.live.size())}), V({0, 0}));  // bad frees, leaks
        for (auto &[p, aux] : pool.live)
            std::free(p);
        pool = Pool{};
    }
};

// Counts through the header, -105 for null; holders on four threads churn the count and exactly
// one final release reaches 0 and frees the payload.
template <class T>
void expect_counting(T *obj, int payload_blocks)
{
    ASSERT_NE(obj, nullptr);
    const int frees = pool.frees;
    EXPECT_EQ(V({obj->refcnt, obj->getref(obj), obj->addref(obj), obj->getref(obj),
                 obj->addref(obj), obj->addref(obj), obj->addref(nullptr), obj->getref(nullptr),
                 obj->release(nullptr), pool.frees - frees}),
              V({1, 1, 2, 2, 3, 4, -105, -105, -105, 0}));
    const auto release = obj->release;
    std::atomic<int> zeros{0}, bad{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int r = 0; r < 3000; ++r)
                bad += obj->addref(obj) < 2 || obj->release(obj) < 1;
            zeros += release(obj) == 0;
        });
    for (std::thread &th : threads)
        th.join();
    EXPECT_EQ(V({bad, zeros, pool.frees - frees}), V({0, 1, payload_blocks}));
}

// A null free callback leaves the payload to the caller; one passed without an allocator is
// ignored for the defaults (for the bit buffer plain malloc with aux 0).
TEST_F(Counted, EveryObjectCountsAcrossThreadsAndFreesOnce)
{
    int err = 1;
    ozmu_bitb *b = ozmu_bitb_create(100, 77, 0, nullptr, pool_free, &err);
    ozmu_mfal *m = ozmu_mfal_create(0x1234, nullptr);
    ASSERT_TRUE(b && m);
    EXPECT_EQ(V({err, b->bsize, int64_t(b->buf_aux)}), V({0, 77, 0}));
    EXPECT_TRUE(zeroed(b->reserved, sizeof b->reserved) && zeroed(m->user, sizeof m->user));
    std::memset(b->buf, 0x5A, 100);  // the whole buffer is there
    expect_counting(b, 0);
    expect_counting(m, 0);
    expect_counting(ozmu_imgb_create(32, 32, OZMU_CS_YUV420, 0, nullptr, nullptr, pool_alloc,
                                     pool_free, nullptr),
                    1);
    expect_counting(ozmu_audb_create(16, 3, 16, 0, 0, 0, pool_alloc, pool_free, nullptr), 3);
    expect_counting(ozmu_bitb_create(64, 5, 0, pool_alloc, pool_free, nullptr), 1);
    expect_counting(ozmu_audb_create(16, 2, 16, 0, 0, 0, pool_alloc, nullptr, nullptr), 0);
    expect_counting(ozmu_bitb_create(64, 5, 0, pool_alloc, nullptr, nullptr), 0);
    EXPECT_EQ(pool.live.size(), 3u);  // kept for their owner
    for (const auto &[p, aux] : std::map(pool.live))
        pool_free(p, aux);
}

// Planes follow each other from frame_base[0], each starting past its top and left border. The
// aux value advances with them even from 0, but takes the border offset only once non-zero.
void expect_layout(const ozmu_imgb *img, const Info &g)
{
    const int64_t base = addr(img->frame_base[0]), aux = int64_t(img->frame_aux[0]);
    V got{img->width,          img->height, img->cs, img->aligned_width,
          img->aligned_height, img->x,      img->y,  zeroed(img->reserved, sizeof img->reserved)};
    V want{g.rec.width, g.rec.height, g.rec.cs, g.aw[0], g.ah[0], 0, 0, 1};
    for (int64_t i = 0, at = 0; i < 4; at += int64_t(g.rec.stride[i]) * g.rec.rows[i], ++i) {
        got.insert(got.end(),
                   {addr(img->frame_base[i]), int64_t(img->frame_aux[i]), addr(img->plane[i]),
                    int64_t(img->plane_aux[i]), img->stride[i], img->rows[i]});
        const int64_t on = i < g.planes, x = aux + at;
        const int64_t border = g.pad && on ? g.padx[i] + (g.pad[i] & 0xFFFF) * g.rec.stride[i] : 0;
        want.insert(want.end(), {on * (base + at), on * x, on * (base + at + border),
                                 x && on ? x + border : 0, g.rec.stride[i], g.rec.rows[i]});
    }
    EXPECT_EQ(got, want);
}

// The whole frame after clearing with `opt`, from the marker everywhere. Rows below a packed
// picture are cleared for aw bytes only, not aw pixels.
::testing::AssertionResult frame_matches(const ozmu_imgb *img, const Info &g, int opt)
{
    std::vector<uint8_t> frame(img->frame_size, kMarker);
    for (int i = 0, start = 0; i < g.planes; start += g.rec.stride[i] * g.rec.rows[i], ++i) {
        const int b = int(g.elem[i] >> 16), s = g.rec.stride[i];
        const int ph = g.pad ? int(g.pad[i] >> 16) : 0, pv = g.pad ? int(g.pad[i] & 0xFFFF) : 0;
        const int below = g.rec.cs >= 100 ? g.aw[i] : g.aw[i] * b;
        for (int r = 0; r < g.rec.rows[i]; ++r)
            for (int c = 0; c < s; ++c) {
                const int y = r - pv, x = c - ph * b;  // from the first visible sample
                const bool border = y < 0 || y >= g.ah[i] || x < 0 || x >= g.aw[i] * b;
                const bool right = y >= 0 && y < g.h[i] && x >= g.w[i] * b && x < g.aw[i] * b;
                const bool under = y >= g.h[i] && y < g.ah[i] && x >= 0 && x < below;
                if (((opt & 2) && g.pad && g.pad[i] && border) || ((opt & 1) && (right || under)))
                    frame[size_t(start + r * s + c)] = 0;
            }
    }
    return same_bytes(frame.data(), img->frame_base[0], frame.size());
}

// Random shapes with and without alignment and padding, under each option: created (opt 0
// through the default allocator: 32-byte aligned frame, aux 0), then by rebirth of a larger
// image, which refuses anything larger and goes back as it was.
TEST_F(Counted, ImageLayoutOptionsAndRebirth)
{
    Rng rng(7);
    for (int cs : {OZMU_CS_YUV420, OZMU_CS_YUV444A8, OZMU_CS_P010, OZMU_CS_YUV400_16,
                   OZMU_CS_RGBA8888, OZMU_CS_RGB888, OZMU_CS_RGB565})
        for (int variant = 0; variant < 64; ++variant) {
            const int opt = variant & 3, w = rng.range(1, 40), h = rng.range(1, 24);
            uint32_t align[4], pad[4];
            for (int i = 0; i < 4; ++i)
                align[i] = OZMU_HV(1 << rng.range(0, 4), 1 << rng.range(0, 3)),
                pad[i] = rng.range(0, 3) ? OZMU_HV(rng.range(0, 6), rng.range(0, 4)) : 0;
            const uint32_t *a = variant & 4 ? align : nullptr, *p = variant & 8 ? pad : nullptr;
            SCOPED_TRACE(::testing::Message() << cs << " " << w << "x" << h << " " << variant);
            const Info g(cs, w, h, a, p);
            int err = 1;  // a free callback without an allocator is ignored
            ozmu_imgb *img =
                ozmu_imgb_create(w, h, cs, opt, a, p, opt ? pool_alloc : nullptr, pool_free, &err);
            ASSERT_NE(img, nullptr);
            expect_layout(img, g);
            // The frame asked for is frame_size bytes; the default one is 32-byte aligned.
            int64_t off = opt ? pool.last_size - img->frame_size : addr(img->frame_base[0]) % 32;
            EXPECT_EQ(V({err, img->frame_size, off}), V({0, g.rec.frame_size, 0}));
            EXPECT_TRUE(!opt || frame_matches(img, g, opt));  // the default frame is not marked
            EXPECT_EQ(img->release(img), 0);

            img = ozmu_imgb_create(w + 9, h + 5, cs, 0, a, p, pool_alloc, pool_free, nullptr);
            ASSERT_NE(img, nullptr);
            const ozmu_imgb original = *img;
            img->x = 3, img->y = 4;
            ASSERT_EQ(ozmu_imgb_rebirth(img, w, h, cs, opt, a, p), OZMU_OK);
            expect_layout(img, g);
            // Bit 1 refuses an unknown format before clearing anything; bit 2 does not look.
            img->cs = OZMU_CS_RGB565A8;
            const int refused = ozmu_imgb_option(img, 3, g.planes, g.w, g.h, g.aw, g.ah, p, g.elem);
            const int cleared = ozmu_imgb_option(img, 2, g.planes, g.w, g.h, g.aw, g.ah, p, g.elem);
            EXPECT_TRUE(frame_matches(img, g, opt | 2));  // past the new layout too
            img->cs = cs;
            const ozmu_imgb reborn = *img;
            EXPECT_EQ(V({refused, cleared, ozmu_imgb_rebirth(img, 2 * w + 40, h + 5, cs, 0, a, p),
                         ozmu_imgb_rebirth(img, 8, 8, OZMU_CS_RGB565A8, 0, nullptr, nullptr),
                         ozmu_imgb_rebirth(img, 8, 8, 45, 0, nullptr, nullptr),
                         std::memcmp(img, &reborn, sizeof reborn),
                         ozmu_imgb_rebirth(img, w + 9, h + 5, cs, 0, a, p),
                         std::memcmp(img, &original, sizeof original), img->release(img)}),
                      V({-211, 0, -102, -211, -211, 0, 0, 0, 0}));
        }
}

// Failed creations free what they took and write their code only through a non-null err.
TEST_F(Counted, FailedCreationsLeakNothing)
{
    int word = 1;
    for (int *err : {static_cast<int *>(nullptr), &word}) {
        const auto arm = [&](int n) { return pool.calls = pool.frees = 0, pool.fail_at = n, err; };
        const auto expect_err = [&](void *made, int code) {
            EXPECT_EQ(V({addr(made), err ? std::exchange(*err, 1) : code}), V({0, code}));
        };
        // An allocation before these refusals would fail and report -203 instead.
        expect_err(ozmu_imgb_create(16, 16, OZMU_CS_YUV420, 0, nullptr, nullptr, pool_alloc,
                                    nullptr, arm(0)),
                   OZMU_ERR_INVALID_ARG);
        for (int cs : {45, 650, 0, -1})
            expect_err(
                ozmu_imgb_create(16, 16, cs, 3, nullptr, nullptr, pool_alloc, pool_free, arm(0)),
                OZMU_ERR_UNSUPPORTED_CS);
        expect_err(ozmu_imgb_create(16, 16, OZMU_CS_YUV420, 3, nullptr, nullptr, pool_alloc,
                                    pool_free, arm(0)),
                   OZMU_ERR_ALLOC_FRAME);
        for (int k = 0; k < 8; ++k) {  // audio frees exactly the channels allocated before
            expect_err(ozmu_audb_create(64, 8, 16, 0, 0, 0, pool_alloc, pool_free, arm(k)), -203);
            EXPECT_EQ(V({pool.calls, pool.frees}), V({k + 1, k}));
        }
        expect_err(ozmu_audb_create(64, 2, 16, 0, 5, 0, pool_alloc, pool_free, arm(0)), -203);
        expect_err(ozmu_audb_create(64, 2, 16, 0, 0, 0, pool_alloc, nullptr, arm(1)), -203);
        expect_err(ozmu_bitb_create(32, 5, 0, pool_alloc, pool_free, arm(0)), -204);
        expect_err(ozmu_bitb_create(-1, 0, 0, nullptr, nullptr, arm(-1)), OZMU_ERR_ALLOC_BUF);
        EXPECT_EQ(pool.live.size(), 1u);  // no free callback: its first buffer stays the caller's
        for (const auto &[p, aux] : std::map(pool.live))
            pool_free(p, aux);
    }
}

// A free callback passed alone is ignored for the default 32-byte aligned allocator with aux 0.
TEST_F(Counted, AudioBuffersPerChannelOrInterleaved)
{
    const int cases[][6] = {// samples, channels, bits, layout; then bytes and buffers
                            {1024, 2, 16, 0, 2048, 2}, {1024, 2, 16, 1, 4096, 1},
                            {100, 1, 12, 0, 200, 1},   {100, 3, 24, -1, 300, 3},
                            {100, 2, 32, 100, 400, 2}, {100, 3, 12, 99, 600, 1},
                            {100, 8, 1, 0, 100, 8}};
    for (const auto &[samples, channels, bits, layout, bytes, n] : cases) {
        ozmu_audb *a = ozmu_audb_create(samples, channels, bits, 44100, layout, 0, nullptr,
                                        pool_free, nullptr);
        ASSERT_NE(a, nullptr);
        V got{a->channels, a->bits, a->rate, a->layout, a->interleaved};
        V want{channels, bits, 44100, layout, n == 1 && channels > 1};
        for (int i = 0; i < 8; ++i) {
            got.insert(got.end(), {a->num[i], a->size[i], a->buf[i] != nullptr,
                                   addr(a->buf[i]) % 32, int64_t(a->buf_aux[i])});
            want.insert(want.end(), {i < n ? samples : 0, i < n ? bytes : 0, i < n, 0, 0});
            if (a->buf[i])
                std::memset(a->buf[i], 0x5A, size_t(bytes));  // the whole buffer is there
        }
        EXPECT_EQ(got, want) << samples << " " << channels << " " << bits << " " << layout;
        EXPECT_EQ(a->release(a), 0);
    }
    // Sizes wrap, bits + 7 included: (2^31 + 6) >> 3 = 2^28 bytes a sample, 16 samples 2^32 = 0.
    ozmu_audb *a = ozmu_audb_create(16, 2, INT_MAX, 48000, 0, 0, pool_alloc, pool_free, nullptr);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(V({a->size[0], a->size[1], pool.last_size, a->bits}), V({0, 0, 0, INT_MAX}));
    EXPECT_EQ(a->release(a), 0);
}

TEST(Vdata, OwnsACopyFollowedByTwoZeroBytes)
{
    char text[] = "twenty bytes of text";
    std::free(std::memset(std::malloc(22), 0xFF, 22));  // likely reused: the zeros must be written
    ozmu_vdata v{}, copy{}, other{}, dst{9, 1, nullptr};
    const ozmu_vdata empty{1, 0, text}, no_data{1, 3, nullptr};
    ASSERT_EQ(V({ozmu_vdata_set(&v, text, 20, 7), ozmu_vdata_cpy(&copy, &v)}), V({0, 0}));
    void *previous = copy.data;
    text[0] = 'x';  // each record holds its own copy; cpy leaves the previous one to the caller
    ASSERT_EQ(V({ozmu_vdata_set(&other, "ab", 2, -1), ozmu_vdata_cpy(&copy, &other)}), V({0, 0}));
    EXPECT_EQ(V({std::memcmp(v.data, "twenty bytes of text\0", 22), v.size, v.tag, copy.size,
                 copy.tag, std::memcmp(previous, v.data, 22), std::memcmp(copy.data, "ab\0", 4)}),
              V({0, 20, 7, 2, 0xFFFFFFFF, 0, 0}));
    std::free(previous);
    ozmu_vdata_free(&copy);
    EXPECT_EQ(V({copy.size, copy.tag, addr(copy.data)}), V(3, 0));
    EXPECT_EQ(V({ozmu_vdata_set(&dst, nullptr, 3, 1), ozmu_vdata_set(&dst, text, 0, 1),
                 ozmu_vdata_set(nullptr, text, 3, 1), ozmu_vdata_cpy(&dst, &empty),
                 ozmu_vdata_cpy(&dst, &no_data), ozmu_vdata_cpy(&dst, nullptr),
                 ozmu_vdata_cpy(nullptr, &v), dst.tag, dst.size, addr(dst.data)}),
              V({-105, -105, -105, -105, -105, -105, -105, 9, 1, 0}));  // records left alone
    for (ozmu_vdata *r : {&copy, &v, &other, static_cast<ozmu_vdata *>(nullptr)})
        ozmu_vdata_free(r);  // an emptied record and null too
}

}  // namespace
