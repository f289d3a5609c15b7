// Image resizer with random parameters: creation codes for bad modes and layouts; in mode 10 the
// picture must equal a per-pixel model of the bilinear rule of each layout (bytes, the 5-6-5
// fields, the 24-bit to 5-6-5 packing), and in mode 11, fed power-of-two slices in order (twice,
// y0 = 0 starting each picture again), the output must equal mode 10's. Sources, slices and
// destinations are exact-size heap blocks (the last slice holds only the rows below src_h), and
// the bytes between destination rows must stay untouched.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;
using ozmu::fuzz::Input;

struct Layout {
    int code, in_px, out_px, src_factor, dst_factor;
};
constexpr Layout kLayouts[] = {
    {20, 1, 1, 1, 1}, {21, 3, 3, 3, 3}, {23, 3, 2, 3, 2}, {25, 2, 2, 2, 2}, {29, 4, 4, 4, 4}};

int shift_of(int src, int dst)
{
    const int r = dst ? src / dst : 0;
    return r <= 2 ? 0 : r <= 4 ? 1 : r <= 8 ? 2 : r <= 16 ? 3 : 4;
}

// The whole picture by the per-pixel rule; neighbours past a one-sample axis get weight 0.
std::vector<uint8_t> model(const Layout &l, const ozmu_irsz_param &p, const uint8_t *src)
{
    const int sx = shift_of(p.src_w, p.dst_w), sy = shift_of(p.src_h, p.dst_h);
    const int xstep = (((p.src_w - 1) >> sx) << 18) / p.dst_w;
    const int ystep = (((p.src_h - 1) >> sy) << 18) / p.dst_h;
    const long sstride = long(p.src_pitch) * l.src_factor,
               dstride = long(p.dst_pitch) * l.dst_factor;
    std::vector<uint8_t> out(size_t(p.dst_h - 1) * size_t(dstride) + size_t(p.dst_w * l.out_px));
    for (int j = 0; j < p.dst_h; ++j) {
        const int y = j * ystep, v = (y >> 15) & 7;
        const int r0 = (y >> 18) << sy, r1 = std::min(r0 + (1 << sy), p.src_h - 1);
        for (int i = 0; i < p.dst_w; ++i) {
            const int x = i * xstep, h = (x >> 15) & 7;
            const int c0 = (x >> 18) << sx, c1 = std::min(((x >> 18) + 1) << sx, p.src_w - 1);
            const int w[4] = {(8 - h) * (8 - v), h * (8 - v), (8 - h) * v, h * v};
            const uint8_t *at[4] = {
                src + r0 * sstride + c0 * l.in_px, src + r0 * sstride + c1 * l.in_px,
                src + r1 * sstride + c0 * l.in_px, src + r1 * sstride + c1 * l.in_px};
            auto filter = [&](auto sample) {
                int sum = 0;
                for (int k = 0; k < 4; ++k)
                    sum += w[k] * sample(at[k]);
                return sum >> 6;
            };
            uint8_t *o = out.data() + j * dstride + i * l.out_px;
            if (l.code == 25) {
                auto field = [&](int shift, int mask) {
                    return filter([&](const uint8_t *s) {
                        uint16_t px;
                        std::memcpy(&px, s, 2);
                        return (px >> shift) & mask;
                    });
                };
                const uint16_t px =
                    uint16_t(field(11, 31) << 11 | field(5, 63) << 5 | field(0, 31));
                std::memcpy(o, &px, 2);
            } else if (l.code == 23) {
                int f[3];
                for (int k = 0; k < 3; ++k)
                    f[k] = filter([&](const uint8_t *s) { return s[k]; });
                o[0] = uint8_t((f[1] & 0xE0) | f[2] >> 3);
                o[1] = uint8_t((f[0] & 0xF8) | f[1] >> 5);
            } else {
                for (int k = 0; k < l.in_px; ++k)
                    o[k] = uint8_t(filter([&](const uint8_t *s) { return s[k]; }));
            }
        }
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in{data, size};
    ozmu_irsz_param p{};
    const int code = in.pick(0, 9);
    p.layout = code < 5 ? kLayouts[code].code : 22 + code;  // 27..31: 29 valid, others not
    p.mode = in.byte() % 8 ? 10 : in.pick(0, 12);
    int err = 1;
    const bool bad_mode = p.mode != 10 && p.mode != 11;
    if (bad_mode || (code >= 5 && p.layout != 29)) {
        check(!ozmu_irsz_create(&p, &err) && err == (bad_mode ? -2 : -4));
        return 0;
    }
    const Layout &l = code < 5 ? kLayouts[code] : kLayouts[4];
    p.src_w = in.pick(1, 48), p.src_h = in.pick(1, 40), p.dst_w = in.pick(1, 48),
    p.dst_h = in.pick(1, 40);
    p.src_pitch = p.src_w + in.pick(0, 5), p.dst_pitch = p.dst_w + in.pick(0, 5);
    p.slice_rows = 1 << in.pick(0, 5);
    const size_t sstride = size_t(p.src_pitch) * l.src_factor,
                 dstride = size_t(p.dst_pitch) * l.dst_factor;
    const size_t src_size = size_t(p.src_h - 1) * sstride + size_t(p.src_w * l.in_px);
    const size_t dst_size = size_t(p.dst_h - 1) * dstride + size_t(p.dst_w * l.out_px);
    std::unique_ptr<uint8_t[]> src(new uint8_t[src_size]), whole(new uint8_t[dst_size]),
        sliced(new uint8_t[dst_size]);
    uint32_t seed = in.byte() + 1u;
    for (size_t i = 0; i < src_size; ++i)
        src[i] = static_cast<uint8_t>((seed = seed * 1664525u + 1013904223u) >> 24);
    std::memset(whole.get(), 0xC3, dst_size);
    std::memset(sliced.get(), 0xC3, dst_size);

    p.mode = 10;
    p.dst = whole.get();
    void *h = ozmu_irsz_create(&p, &err);
    check(h && err == 0);
    check(ozmu_irsz(h, src.get(), 0, 0) == 0);
    ozmu_irsz_delete(h);
    const std::vector<uint8_t> expect = model(l, p, src.get());
    for (size_t i = 0; i < dst_size; ++i)
        check(i % dstride < size_t(p.dst_w * l.out_px) ? whole[i] == expect[i] : whole[i] == 0xC3);

    p.mode = 11;
    p.dst = sliced.get();
    h = ozmu_irsz_create(&p, &err);
    check(h && err == 0);
    for (int picture = 0; picture < 2; ++picture) {
        for (int y0 = 0; y0 < p.src_h; y0 += p.slice_rows) {
            const int rows = std::min(p.slice_rows, p.src_h - y0);
            const size_t n = size_t(rows - 1) * sstride + size_t(p.src_w * l.in_px);
            std::unique_ptr<uint8_t[]> slice(new uint8_t[n]);
            std::memcpy(slice.get(), src.get() + size_t(y0) * sstride, n);
            check(ozmu_irsz(h, slice.get(), y0, p.slice_rows) == 0);
        }
        check(!std::memcmp(whole.get(), sliced.get(), dst_size));
        std::memset(sliced.get(), 0xC3, dst_size);
    }
    ozmu_irsz_delete(h);
    return 0;
}
