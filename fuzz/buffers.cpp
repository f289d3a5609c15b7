// Image, audio and bit buffers created from random parameter records through an exact-size
// counting allocator: every block handed out is tracked with its aux value, every free must name a
// live block with that aux, a creation refused for its arguments never calls the allocator, and
// nothing stays allocated after the last release. Image layouts, option clearing (new blocks are
// filled with 0xAA, so each byte must be 0 where a rule clears it and 0xAA elsewhere) and rebirth
// are compared with the layout rules.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <vector>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;
using ozmu::fuzz::Input;

constexpr int kMaxBlock = 1 << 20;
struct Block {
    int size;
    uint64_t aux;
};
std::map<void *, Block> live;
int calls, fail_at, last_size;
uint64_t aux_base;

void *counting_alloc(int size, uint64_t *aux)
{
    const int call = calls++;
    last_size = size;
    if (call == fail_at || size < 0 || size > kMaxBlock)
        return nullptr;
    auto *block = new uint8_t[static_cast<size_t>(size)];
    std::memset(block, 0xAA, static_cast<size_t>(size));
    *aux = aux_base ? aux_base + static_cast<uint64_t>(call) * 0x100000 : 0;
    live[block] = {size, *aux};
    return block;
}

void counting_free(void *base, uint64_t aux)
{
    const auto it = live.find(base);
    check(it != live.end() && it->second.aux == aux);
    delete[] static_cast<uint8_t *>(base);
    live.erase(it);
}

void drop_leftovers()
{
    for (auto &[base, block] : live)
        delete[] static_cast<uint8_t *>(base);
    live.clear();
}

struct Geometry {
    ozmu_imgb rec;
    int w[4] = {}, h[4] = {}, aw[4] = {}, ah[4] = {}, padx[4] = {}, pady[4] = {}, planes = 0, rc;
    uint32_t elem[4] = {};
    Geometry(int width, int height, int cs, const uint32_t *align, const uint32_t *pad)
    {
        rc = ozmu_imgb_get_info(cs, width, height, align, pad, w, h, aw, ah, padx, pady, &planes,
                                elem, &rec);
    }
};

// Plane pointers and aux values as laid out from (base, aux); then every byte of the frame is 0
// where option bits 1 and 2 clear it and 0xAA elsewhere.
void check_frame(const ozmu_imgb *img, const Geometry &g, const uint32_t *pad, int opt,
                 uint8_t *base, uint64_t aux)
{
    std::vector<uint8_t> expect(g.rec.frame_size, 0xAA);
    size_t at = 0;
    for (int i = 0; i < 4; ++i) {
        const bool used = i < g.planes;
        const int s = g.rec.stride[i], b = static_cast<int>(g.elem[i] >> 16);
        const int ph = pad ? static_cast<int>(pad[i] >> 16) : 0, pv = pad ? pad[i] & 0xFFFF : 0;
        const size_t off = used ? static_cast<size_t>(g.padx[i]) * !!pad + size_t(pv) * s : 0;
        const uint64_t x = aux + at;
        check(img->stride[i] == s && img->rows[i] == g.rec.rows[i]);
        check(img->frame_base[i] == (used ? base + at : nullptr));
        check(img->frame_aux[i] == (used ? x : 0) &&
              img->plane[i] == (used ? base + at + off : nullptr));
        check(img->plane_aux[i] == (used && x ? x + off : 0));
        if (!used)
            continue;
        auto zero = [&](int row, int col, int n) {
            std::fill_n(expect.begin() + long(at + off) + long(row) * s + col, n, 0);
        };
        if ((opt & 1) && g.aw[i] > g.w[i] && g.h[i] >= 1)
            for (int r = 0; r < g.h[i]; ++r)
                zero(r, g.w[i] * b, (g.aw[i] - g.w[i]) * b);
        if (opt & 1)  // a packed image's bottom margin: aw bytes only
            for (int r = g.h[i]; r < g.ah[i]; ++r)
                zero(r, 0, g.aw[i] * (img->cs < 100 ? b : 1));
        if ((opt & 2) && pad && pad[i]) {
            std::fill_n(expect.begin() + long(at), size_t(pv) * s, 0);
            std::fill_n(expect.begin() + long(at + size_t(g.ah[i] + pv) * s), size_t(pv) * s, 0);
            for (int r = 0; r < g.ah[i]; ++r) {
                zero(r, -ph * b, ph * b);
                zero(r, g.aw[i] * b, ph * b);
            }
        }
        at += size_t(s) * g.rec.rows[i];
    }
    check(at == g.rec.frame_size && std::equal(expect.begin(), expect.end(), base));
}

void fuzz_image(Input &in)
{
    static const int kFormats[] = {10,  11,  12,  13, 18, 20,  22,  41,  42,  43,  44,
                                   60,  61,  62,  63, 64, 150, 200, 350, 400, 401, 430,
                                   500, 502, 599, 9,  45, 99,  600, 650, 700, -1};
    uint32_t align[2][4], pad[2][4];
    const uint32_t *al[2], *pd[2];
    int width[2], height[2], cs[2], opt[2];
    for (int k = 0; k < 2; ++k) {
        width[k] = in.pick(0, 40), height[k] = in.pick(0, 40);
        cs[k] = kFormats[in.byte() % std::size(kFormats)];
        opt[k] = in.pick(0, 3);
        for (int i = 0; i < 4; ++i) {
            align[k][i] = OZMU_HV(1u << in.pick(0, 5), 1u << in.pick(0, 5));
            pad[k][i] = OZMU_HV(in.pick(0, 9), in.pick(0, 9));
        }
        al[k] = in.byte() & 1 ? align[k] : nullptr;
        pd[k] = in.byte() & 1 ? pad[k] : nullptr;
    }
    const int mode = in.pick(0, 7);  // 0: allocator without free, 1: the allocation fails
    fail_at = mode == 1 ? 0 : -1;
    const Geometry g(width[0], height[0], cs[0], al[0], pd[0]);
    int err = 1;
    ozmu_imgb *img = ozmu_imgb_create(width[0], height[0], cs[0], opt[0], al[0], pd[0],
                                      counting_alloc, mode ? counting_free : nullptr, &err);
    if (mode == 0 || g.rc) {
        check(!img && calls == 0 && err == (mode ? g.rc : OZMU_ERR_INVALID_ARG));
        return;
    }
    if (!img) {
        check(err == OZMU_ERR_ALLOC_FRAME && calls == 1 && live.empty());
        return;
    }
    check(err == 0 && live.size() == 1 && img->refcnt == 1 && img->frame_size == g.rec.frame_size);
    check(img->width == width[0] && img->height == height[0] && img->cs == cs[0]);
    check(live.begin()->second.size == int(g.rec.frame_size));
    auto *base = static_cast<uint8_t *>(img->frame_base[0]);
    const uint64_t aux = img->frame_aux[0];
    check(live.begin()->first == base && live.begin()->second.aux == aux);
    check_frame(img, g, pd[0], opt[0], base, aux);

    // Option again on the same planes, and bit 1 refused for a format the buffers do not know.
    std::memset(base, 0xAA, img->frame_size);
    ozmu_imgb foreign = *img;
    foreign.cs = 600;
    check(ozmu_imgb_option(&foreign, 1 | opt[1], g.planes, g.w, g.h, g.aw, g.ah, pd[0], g.elem) ==
          OZMU_ERR_UNSUPPORTED_CS);
    check(ozmu_imgb_option(img, opt[1], g.planes, g.w, g.h, g.aw, g.ah, pd[0], g.elem) == 0);
    check_frame(img, g, pd[0], opt[1], base, aux);

    // Rebirth: refused shapes leave the record as it was; accepted ones re-lay the same frame.
    std::memset(base, 0xAA, img->frame_size);
    const ozmu_imgb before = *img;
    const Geometry g2(width[1], height[1], cs[1], al[1], pd[1]);
    const int rc = ozmu_imgb_rebirth(img, width[1], height[1], cs[1], opt[1], al[1], pd[1]);
    check(calls == 1 && img->refcnt == 1);
    if (g2.rc || g2.rec.frame_size > before.frame_size) {
        check(rc == (g2.rc ? g2.rc : OZMU_ERR_MALLOC) && !std::memcmp(&before, img, sizeof before));
    } else {
        check(rc == 0 && img->frame_size == before.frame_size && img->cs == cs[1]);
        check(img->width == width[1] && img->height == height[1] && img->x == 0 && img->y == 0);
        check(std::all_of(base + g2.rec.frame_size, base + before.frame_size,
                          [](uint8_t v) { return v == 0xAA; }));
        check_frame(img, g2, pd[1], opt[1], base, aux);
    }
    check(img->addref(img) == 2 && img->getref(img) == 2 && img->addref(nullptr) < 0);
    check(img->release(img) == 1 && live.size() == 1 && img->release(img) == 0 && live.empty());
}

void fuzz_audio_bits(Input &in, bool audio)
{
    const int samples = in.pick(0, 255) * 16 - 8, channels = in.pick(-1, 8);
    // Depths up to INT_MAX and past it (negative): sizes wrap in 32-bit unsigned arithmetic.
    const int bits = in.byte() & 1 ? in.pick(-9, 40) : static_cast<int>(0x7FFFFFF0u + in.byte());
    static const int kLayouts[] = {0, 1, 2, 99, 100, -1, 7, 1000};
    const int layout = kLayouts[in.byte() % 8];
    int mode = in.pick(0, 3);
    fail_at = in.pick(-1, 8);
    const bool interleaved = layout >= 1 && layout <= 99;
    const int slots = interleaved ? 1 : std::clamp(channels, 0, 8);
    const uint32_t per_channel =
        ((static_cast<uint32_t>(bits) + 7u) >> 3) * static_cast<uint32_t>(samples);
    const int bytes = int(interleaved ? per_channel * uint32_t(channels) : per_channel);
    if (mode == 0 && audio && (bytes < 0 || bytes > kMaxBlock))
        mode = 2;  // the default allocator is not asked for what it cannot give
    ozmu_fn_alloc alloc = mode ? counting_alloc : nullptr;
    ozmu_fn_free free_fn = mode == 1 ? nullptr : counting_free;
    int err = 1;
    if (!audio) {
        const int size = samples, bsize = int(uint32_t(channels) * 1000u + uint32_t(bits));
        ozmu_bitb *b = ozmu_bitb_create(size, bsize, 0, alloc, free_fn, &err);
        if (!b) {
            check(err == OZMU_ERR_ALLOC_BUF && live.empty() &&
                  (mode ? size < 0 || fail_at == 0 : size < 0));
            return;
        }
        check(err == 0 && b->refcnt == 1 && b->bsize == bsize && live.size() == (mode ? 1u : 0u));
        check(!mode ||
              (live.count(b->buf) && live[b->buf].size == size && live[b->buf].aux == b->buf_aux));
        std::memset(b->buf, 1, static_cast<size_t>(size));
        check(b->release(b) == 0 && live.size() == (mode == 1 ? 1u : 0u));
        return;
    }
    ozmu_audb *a =
        ozmu_audb_create(samples, channels, bits, 48000, layout, 0, alloc, free_fn, &err);
    if (!a) {
        check(err == OZMU_ERR_ALLOC_FRAME && live.size() == (mode == 1 ? size_t(calls - 1) : 0u));
        check(!mode ||
              (calls <= slots && (calls - 1 == fail_at || last_size < 0 || last_size > kMaxBlock)));
        return;
    }
    check(err == 0 && a->refcnt == 1 && a->interleaved == int(interleaved) && a->layout == layout);
    check(a->channels == channels && a->bits == bits && a->rate == 48000);
    check(!mode || (calls == slots && live.size() == size_t(slots)));
    for (int i = 0; i < 8; ++i) {
        if (i >= slots) {
            check(!a->buf[i] && !a->size[i]);
            continue;
        }
        check(a->buf[i] && a->num[i] == samples && a->size[i] == bytes);
        check(!mode || (live.count(a->buf[i]) && live[a->buf[i]].size == bytes &&
                        live[a->buf[i]].aux == a->buf_aux[i]));
        std::memset(a->buf[i], 1, static_cast<size_t>(bytes));
    }
    check(a->addref(a) == 2 && a->release(a) == 1 && a->release(a) == 0);
    check(live.size() == (mode == 1 ? size_t(slots) : 0u));  // no free callback: still ours
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in{data, size};
    const int kind = in.byte() % 3;
    calls = 0;
    aux_base = in.byte() & 1 ? 0 : 0x7000000000ull;
    if (kind == 0)
        fuzz_image(in);
    else
        fuzz_audio_bits(in, kind == 1);
    check(live.empty() || kind);
    drop_leftovers();  // blocks a creation without a free callback left to the caller
    return 0;
}
