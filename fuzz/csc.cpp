// Conversion selector over random format pairs and sizes: the result must be the cell the table
// rules give (a scaled kernel exactly when a size differs, -211 otherwise), and the kernel is then
// run on exact-size heap planes holding just the bytes its rules read and write (vector kernels
// step every source plane by the first stride and write whole pixels from one slot; 16-bit and
// 5-6-5 planes in 16-bit units; rgba5658 alpha 3 bytes apart), so ASan catches any overreach.
// Destination bytes past each row's span stay untouched, the ARGB byte yuv444_to_argb8888 skips
// stays untouched, and each unscaled vector kernel matches its portable sibling.
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

#define K(name) ozmu_csc_##name
const int kRgbRows[] = {600, 700, 13, 43, 62, 603},
          kRgbCols[] = {400, 500, 200, 430, 650, 502, 501, 401, 600, -1, 603};
const int kYuvRows[] = {600, 700, 13, 43, 200, 603, 400, 500}, kYuvCols[] = {13, 43, 62};
const ozmu_fn_csc kRgb[12][11] = {
    {K(r8g8b8_to_rgb888), K(r8g8b8_to_rgba8888), K(r8g8b8_to_rgb565), 0, K(x8y8z8_to_xyz565a8),
     K(r8g8b8_to_argb8888), K(r8g8b8_to_bgra8888)},
    {0, K(r8g8b8a8_to_rgba8888), 0, K(r8g8b8a8_to_rgba8888), K(x8y8z8a8_to_xyz565a8),
     K(r8g8b8a8_to_argb8888), K(r8g8b8a8_to_bgra8888)},
    {K(yuv444_to_rgb888), K(yuv444_to_rgba8888), K(yuv444_to_rgb565), 0, K(yuv444_to_rgb565a8),
     K(yuv444_to_argb8888), K(yuv444_to_bgra8888), 0, K(yuv444_to_r8g8b8)},
    {0, K(yuv444a8_to_rgba8888), 0, K(yuv444a8_to_rgba5658), K(yuv444a8_to_rgb565a8),
     K(yuv444a8_to_argb8888), K(yuv444a8_to_bgra8888)},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, K(p410_to_r10g10b10)},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, K(r10g10b10_to_p410)},
    {K(rsz_r8g8b8_to_rgb888), K(rsz_r8g8b8_to_rgba8888)},
    {0, K(rsz_r8g8b8a8_to_rgba8888)},
    {K(rsz_yuv444_to_rgb888), K(rsz_yuv444_to_rgba8888), K(rsz_yuv444_to_rgb565)},
    {0, K(rsz_yuv444a8_to_rgba8888), 0, 0, K(rsz_yuv444a8_to_rgb565a8)}};
const ozmu_fn_csc kYuv[8][3] = {
    {K(r8g8b8_to_yuv444)},   {0, K(r8g8b8a8_to_yuv444a8)},
    {K(yuv444x_to_yuv444x)}, {K(yuv444x_to_yuv444x), K(yuv444x_to_yuv444x)},
    {K(rgb565_to_yuv444)},   {0, 0, K(r10g10b10_to_p410)},
    {K(rgb888_to_yuv444)},   {0, K(rgba8888_to_yuv444a8)}};
// Vector kernels (3- or 4-byte pixels from one slot) and the portable sibling of the unscaled ones.
struct Vector {
    ozmu_fn_csc fn, sibling;
    int px;
};
const Vector kVector[] = {{K(r8g8b8_to_rgb888), K(r8g8b8_to_bgra8888), 3},
                          {K(r8g8b8_to_rgba8888), K(r8g8b8_to_bgra8888), 4},
                          {K(r8g8b8a8_to_rgba8888), K(r8g8b8a8_to_bgra8888), 4},
                          {K(yuv444_to_rgb888), K(yuv444_to_bgra8888), 3},
                          {K(yuv444_to_rgba8888), K(yuv444_to_bgra8888), 4},
                          {K(yuv444a8_to_rgba8888), K(yuv444a8_to_bgra8888), 4},
                          {K(rsz_r8g8b8_to_rgb888), nullptr, 3},
                          {K(rsz_r8g8b8_to_rgba8888), nullptr, 4},
                          {K(rsz_r8g8b8a8_to_rgba8888), nullptr, 4},
                          {K(rsz_yuv444_to_rgb888), nullptr, 3},
                          {K(rsz_yuv444_to_rgba8888), nullptr, 4},
                          {K(rsz_yuv444a8_to_rgba8888), nullptr, 4}};

int index_of(const int *list, int n, int value)
{
    const int at = int(std::find(list, list + n, value) - list);
    return at < n ? at : -1;
}

// One plane: rows x span bytes, rows stride bytes apart, in an exact block filled with fill.
struct Plane {
    std::unique_ptr<uint8_t[]> mem;
    int rows = 0, stride = 0, span = 0;
    uint8_t *make(int r, int s, int sp, uint32_t &seed, bool random)
    {
        rows = r, stride = s, span = sp;
        const size_t n = size_t(r - 1) * size_t(s) + size_t(sp);
        mem.reset(new uint8_t[n]);
        for (size_t i = 0; i < n; ++i)
            mem[i] = random ? uint8_t((seed = seed * 1664525u + 1013904223u) >> 24) : 0xC3;
        return mem.get();
    }
    bool gaps_untouched() const
    {
        for (int r = 0; r + 1 < rows; ++r)
            for (int i = span; i < stride; ++i)
                if (mem[size_t(r) * size_t(stride) + size_t(i)] != 0xC3)
                    return false;
        return true;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const int kFormats[] = {600, 700, 13,  43,  62, 603, 200, 400, 500, 430,
                                   650, 502, 501, 401, 11, 100, 800, 199, 9,   503};
    Input in{data, size};
    const int src_cs = kFormats[in.byte() % 20], dst_cs = kFormats[in.byte() % 20];
    const int sw = in.pick(1, 40), sh = in.pick(1, 24);
    const bool scaled = in.byte() & 1;
    const int dw = scaled ? in.pick(1, 40) : sw, dh = scaled ? in.pick(1, 24) : sh;
    const bool differ = dw != sw || dh != sh;
    const bool to_rgb = dst_cs >= 200 && dst_cs <= 799, to_yuv = dst_cs >= 10 && dst_cs <= 99;
    const int row = index_of(to_rgb ? kRgbRows : kYuvRows, to_rgb ? 6 : 8, src_cs);
    const int col = index_of(to_rgb ? kRgbCols : kYuvCols, to_rgb ? 11 : 3, dst_cs);
    ozmu_fn_csc expect = nullptr;
    if ((to_rgb || to_yuv) && row >= 0 && col >= 0)
        expect = to_rgb ? kRgb[row + 6 * differ][col] : differ ? nullptr : kYuv[row][col];
    int err = 1;
    const bool with_err = in.byte() & 1;
    const ozmu_fn_csc fn =
        ozmu_imgp_get_fn_csc(sw, sh, src_cs, dw, dh, dst_cs, with_err ? &err : nullptr);
    check(fn == expect && err == (with_err && !fn ? OZMU_ERR_UNSUPPORTED_CS : 1));
    if (!fn)
        return 0;

    const Vector *vec = nullptr;
    for (const Vector &v : kVector)
        vec = v.fn == fn ? &v : vec;
    uint32_t seed = in.byte() * 2654435761u + 1;
    // Sources: planes of 1 or 2 bytes a sample, or one interleaved plane read through per-byte
    // slots.
    const int sb = src_cs == 62 || src_cs == 603 || src_cs == 200 ? 2 : 1;
    const int splanes = src_cs == 700 || src_cs == 43                      ? 4
                        : src_cs == 200 || (src_cs >= 400 && src_cs < 600) ? 1
                                                                           : 3;
    const int spx = src_cs == 400 ? 3 : src_cs == 500 ? 4 : sb;
    Plane src[4], dst[4];
    uint8_t *sp[4] = {}, *dp[4] = {};
    int sstride[4], dstride[4];
    for (int k = 0; k < splanes; ++k) {
        sstride[k] = vec && k ? sstride[0] : (sw * spx + in.pick(0, 6)) & -sb;
        sp[k] = src[k].make(sh, sstride[k], sw * spx, seed, true);
    }
    if (vec)  // the vector kernels read only the first stride
        for (int k = 1; k < 4; ++k)
            sstride[k] = sstride[0] + 13;
    if (spx > 2)
        for (int k = 1; k < spx; ++k)
            sp[k] = sp[0] + k, sstride[k] = sstride[0];
    if (src_cs == 43 && dst_cs == 43 && (in.byte() & 1))
        sp[3] = nullptr;  // the copy kernel then leaves the alpha plane alone

    // Destinations, by what the kernel writes.
    const int ow = differ ? dw : sw, oh = differ ? dh : sh;
    const int dpx = vec ? vec->px : dst_cs == 501 || dst_cs == 502 ? 4 : 0;
    int dplanes = 0,
        db = dst_cs == 62 || dst_cs == 603 || dst_cs == 200 || dst_cs == 650 || dst_cs == 430 ? 2
                                                                                              : 1;
    if (dpx) {
        dplanes = 1, db = dpx;
    } else {
        dplanes = dst_cs == 43 ? 4 : dst_cs == 200 ? 1 : dst_cs == 650 || dst_cs == 430 ? 2 : 3;
    }
    for (int k = 0; k < dplanes; ++k) {
        const int b = k ? (dst_cs == 62 || dst_cs == 603 ? 2 : 1) : db;
        const int span = dst_cs == 430 && k == 1 ? 3 * (ow - 1) + 1 : ow * b;
        dstride[k] = (std::max(span, dst_cs == 430 && k == 1 ? 3 * ow : 0) + in.pick(0, 6)) &
                     (b == 2 ? -2 : -1);
        dstride[k] = std::max(dstride[k], span);
        dp[k] = dst[k].make(oh, dstride[k], span, seed, false);
    }
    if (dpx)
        for (int k = 1; k < 4; ++k)
            dp[k] = vec ? dp[0] : dp[0] + k, dstride[k] = dstride[0];
    fn(sp, sw, sh, sstride, src_cs, dp, dw, dh, dstride, dst_cs);
    for (int k = 0; k < dplanes; ++k)
        check(dst[k].gaps_untouched());
    if (dst_cs == 43 && !sp[3])  // no source alpha: the destination's stays as it was
        check(std::all_of(dp[3], dp[3] + size_t(oh - 1) * dstride[3] + size_t(ow),
                          [](uint8_t v) { return v == 0xC3; }));
    if (fn == K(yuv444_to_argb8888))
        for (int r = 0; r < oh; ++r)
            for (int i = 0; i < ow; ++i)
                check(dp[0][r * dstride[0] + 4 * i] == 0xC3 &&
                      dp[0][r * dstride[0] + 4 * i + 3] == 255);

    if (vec && vec->sibling) {
        // The portable sibling writes R, G, B, A in that order through permuted byte slots.
        std::vector<uint8_t> ref(size_t(ow) * size_t(oh) * 4);
        uint8_t *slots[4] = {ref.data() + 2, ref.data() + 1, ref.data(), ref.data() + 3};
        int rstride[4] = {4 * ow, 4 * ow, 4 * ow, 4 * ow},
            s4[4] = {sstride[0], sstride[0], sstride[0], sstride[0]};
        vec->sibling(sp, sw, sh, s4, src_cs, slots, dw, dh, rstride, dst_cs);
        const bool bgra = dst_cs == 430;
        for (int r = 0; r < oh; ++r)
            for (int i = 0; i < ow; ++i)
                for (int c = 0; c < vec->px; ++c)
                    check(dp[0][r * dstride[0] + vec->px * i + c] ==
                          ref[size_t(r * ow + i) * 4 + size_t(bgra && c < 3 ? 2 - c : c)]);
    }
    return 0;
}
