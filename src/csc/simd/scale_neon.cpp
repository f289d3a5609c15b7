// NEON scaling conversions, byte-identical to the per-pixel reference.
//
// The bilinear sum factors exactly into a vertical and a horizontal pass:
//   (8-h)((8-v)TL + v BL) + h((8-v)TR + v BR)  <=  64 * 255,
// so every partial sum fits a 16-bit lane. The destination is cut into strips of up to 256
// columns; for each strip the sample column and phase of every pixel are worked out once. Then,
// per destination row, each plane is filtered vertically into 16-bit sums over the sample columns
// the strip reads (every 2^shift-th source column, gathered 16 at a time), and horizontally
// 8 destination pixels at a time, their left and right sums picked out of up to 32 consecutive
// sums by table lookup.
#include <arm_neon.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "csc/scale.h"

namespace ozmu::neon {
namespace {

using csc::scaling::Walk;

constexpr int kStripPixels = 256;
constexpr int kStripGroups = kStripPixels / 8;
constexpr int kMaxGroupColumns = 32;  // four table registers of 16-bit sums
// Sums a strip may need: with at most 32 columns per group the step is below 30/7 columns, so a
// strip spans at most 1095 of them; the last group's lookup reads up to 32 beyond its first.
constexpr int kColumnCapacity = 1152;

// What one group of 8 destination pixels looks up, laid out for one pointer walk.
struct Group {
    uint8_t index[16];  // bytes of each lane's left sum, from the group's first sum
    uint16_t phase[8];  // h of each lane
    int64_t offset;     // bytes from the strip's first sum to the group's first sum
    int64_t pad;
};
static_assert(sizeof(Group) == 48);

struct Strip {
    int pixels;   // destination columns, 1..kStripPixels
    int column0;  // first sample column, in neighbour distances
    int columns;  // sample columns filtered per row
    alignas(16) Group groups[kStripGroups];
};

// Lanes past the strip's last pixel repeat it, so every lookup stays inside the strip's sums.
void plan_strip(Strip &s, const Walk &walk, int first, int pixels, int sample_columns)
{
    const auto position = [&](int i) { return static_cast<int>(int64_t{i} * walk.x.step); };
    const int last = first + pixels - 1;
    s.pixels = pixels;
    s.column0 = position(first) >> 18;
    s.columns = std::min((position(last) >> 18) + 2, sample_columns) - s.column0;
    for (int g = 0; g < (pixels + 7) / 8; ++g) {
        Group &group = s.groups[g];
        const int base = position(first + 8 * g) >> 18;
        group.offset = 2 * int64_t{base - s.column0};
        group.pad = 0;
        for (int j = 0; j < 8; ++j) {
            const int x = position(std::min(first + 8 * g + j, last));
            const int d = (x >> 18) - base;
            group.index[2 * j] = static_cast<uint8_t>(2 * d);
            group.index[2 * j + 1] = static_cast<uint8_t>(2 * d + 1);
            group.phase[j] = static_cast<uint16_t>((x >> 15) & 7);
        }
    }
}

// p[0], p[1 << Shift], ..., p[15 << Shift]; reads the 16 << Shift bytes from p.
template <int Shift>
inline uint8x16_t gather16(const uint8_t *p)
{
    if constexpr (Shift == 0) {
        return vld1q_u8(p);
    } else if constexpr (Shift == 1) {
        return vld2q_u8(p).val[0];
    } else if constexpr (Shift == 2) {
        return vld4q_u8(p).val[0];
    } else if constexpr (Shift == 3) {
        return vuzp1q_u8(vld4q_u8(p).val[0], vld4q_u8(p + 64).val[0]);
    } else {
        const uint8x16_t a = vuzp1q_u8(vld4q_u8(p).val[0], vld4q_u8(p + 64).val[0]);
        const uint8x16_t b = vuzp1q_u8(vld4q_u8(p + 128).val[0], vld4q_u8(p + 192).val[0]);
        return vuzp1q_u8(a, b);
    }
}

using VerticalFn = void (*)(uint16_t *sums, const uint8_t *top, const uint8_t *bottom, int column0,
                            int columns, int block_limit, int v);

// sums[j] = (8 - v) * top[c] + v * bottom[c] for sample column c = column0 + j. A 16-column
// block reads whole 2^Shift groups of source bytes, so blocks run only below block_limit
// (src_w >> Shift); the last block is moved back to end there, and a sample column beyond it
// (at most the picture's last) is filtered alone.
template <int Shift>
void filter_vertical(uint16_t *sums, const uint8_t *top, const uint8_t *bottom, int column0,
                     int columns, int block_limit, int v)
{
    const uint8x16_t wt = vdupq_n_u8(static_cast<uint8_t>(8 - v));
    const uint8x16_t wb = vdupq_n_u8(static_cast<uint8_t>(v));
    const auto block = [&](uint16_t *out, const uint8_t *t, const uint8_t *b) {
        const uint8x16_t a = gather16<Shift>(t);
        const uint8x16_t c = gather16<Shift>(b);
        vst1q_u16(out, vmlal_u8(vmull_u8(vget_low_u8(a), vget_low_u8(wt)), vget_low_u8(c),
                                vget_low_u8(wb)));
        vst1q_u16(out + 8, vmlal_high_u8(vmull_high_u8(a, wt), c, wb));
    };
    const ptrdiff_t start = ptrdiff_t{column0} << Shift;
    const int block_end = std::min(columns, block_limit - column0);
    int j = 0;
    if (block_end >= 16) {
        const uint8_t *t = top + start;
        const uint8_t *b = bottom + start;
        uint16_t *out = sums;
        const int blocks = block_end >> 4;
        for (int n = blocks >> 1; n > 0; --n) {
            block(out, t, b);
            block(out + 16, t + (16 << Shift), b + (16 << Shift));
            out += 32;
            t += 32 << Shift;
            b += 32 << Shift;
        }
        if (blocks & 1)
            block(out, t, b);
        j = block_end;
        if (block_end & 15) {
            const ptrdiff_t at = ptrdiff_t{block_end - 16} << Shift;
            block(sums + block_end - 16, top + start + at, bottom + start + at);
        }
    }
    for (; j < columns; ++j) {
        const ptrdiff_t at = ptrdiff_t{column0 + j} << Shift;
        sums[j] = static_cast<uint16_t>((8 - v) * top[at] + v * bottom[at]);
    }
}

constexpr VerticalFn kVertical[5] = {filter_vertical<0>, filter_vertical<1>, filter_vertical<2>,
                                     filter_vertical<3>, filter_vertical<4>};

// (8 - h) * left + h * right for 8 pixels whose sums lie in the 8 * Tables sums at `bytes`.
template <int Tables>
inline uint16x8_t filter_horizontal(const uint8_t *bytes, uint8x16_t left, uint8x16_t right,
                                    uint16x8_t wl, uint16x8_t wr)
{
    uint8x16_t l, r;
    if constexpr (Tables == 2) {
        const uint8x16x2_t t = vld1q_u8_x2(bytes);
        l = vqtbl2q_u8(t, left);
        r = vqtbl2q_u8(t, right);
    } else {
        const uint8x16x4_t t = vld1q_u8_x4(bytes);
        l = vqtbl4q_u8(t, left);
        r = vqtbl4q_u8(t, right);
    }
    return vmlaq_u16(vmulq_u16(vreinterpretq_u16_u8(l), wl), vreinterpretq_u16_u8(r), wr);
}

struct Colours {
    uint8x8_t c0, c1, c2;
};

// Filtered sums (x64) to the three output channels. For YUV the planes arrive as (Y, s, t) with
// s the chroma of the first channel, and coef = (k0, k2, a, b):
//   c0 = Y + s + ((k0 s + 128) >> 8)       (359 = 256 + 103 on V, 454 = 256 + 198 on U)
//   c2 = Y + t + ((k2 t + 128) >> 8)
//   c1 = Y - ((a s + b t + 128) >> 8)      (88 on U, 183 on V; the sum halved without loss)
// which equals the 8.8 formula for every input, within 16-bit lanes.
template <bool Yuv>
inline Colours colours(const uint16x8_t *f, int16x8_t coef)
{
    if constexpr (!Yuv) {
        return {vshrn_n_u16(f[0], 6), vshrn_n_u16(f[1], 6), vshrn_n_u16(f[2], 6)};
    } else {
        const int16x8_t bias = vdupq_n_s16(128);
        const int16x8_t y = vreinterpretq_s16_u16(vshrq_n_u16(f[0], 6));
        const int16x8_t s = vsubq_s16(vreinterpretq_s16_u16(vshrq_n_u16(f[1], 6)), bias);
        const int16x8_t t = vsubq_s16(vreinterpretq_s16_u16(vshrq_n_u16(f[2], 6)), bias);
        const int16x8_t c0 = vrsraq_n_s16(vaddq_s16(y, s), vmulq_laneq_s16(s, coef, 0), 8);
        const int16x8_t c2 = vrsraq_n_s16(vaddq_s16(y, t), vmulq_laneq_s16(t, coef, 1), 8);
        const int16x8_t g =
            vhaddq_s16(vmlaq_laneq_s16(bias, s, coef, 2), vmulq_laneq_s16(t, coef, 3));
        const int16x8_t c1 = vsubq_s16(y, vshrq_n_s16(g, 7));
        return {vqmovun_s16(c0), vqmovun_s16(c1), vqmovun_s16(c2)};
    }
}

template <int Bytes, bool AlphaFirst>
inline void store8(uint8_t *out, const Colours &c, uint8x8_t alpha)
{
    if constexpr (Bytes == 3) {
        const uint8x8x3_t px = {{c.c0, c.c1, c.c2}};
        vst3_u8(out, px);
    } else if constexpr (AlphaFirst) {
        const uint8x8x4_t px = {{alpha, c.c0, c.c1, c.c2}};
        vst4_u8(out, px);
    } else {
        const uint8x8x4_t px = {{c.c0, c.c1, c.c2, alpha}};
        vst4_u8(out, px);
    }
}

struct Job {
    Walk walk;
    const uint8_t *planes[4];  // in output channel order (Y, s, t for YUV), alpha last
    ptrdiff_t src_stride;
    int src_w, dst_w, dst_h;
    uint8_t *origin;
    ptrdiff_t dst_stride;
    int16x8_t coef;
};

template <int Planes, int Bytes, bool Yuv, int Tables, bool AlphaFirst>
void run(const Job &job)
{
    alignas(16) uint16_t sums[Planes][kColumnCapacity] = {};  // lookups may read past the sums
    Strip strip;
    const Walk &walk = job.walk;
    const VerticalFn vertical = kVertical[walk.x.shift];
    const int sample_columns = ((job.src_w - 1) >> walk.x.shift) + 1;
    const int block_limit = job.src_w >> walk.x.shift;
    const uint8x16_t next = vdupq_n_u8(2);
    const uint16x8_t eight = vdupq_n_u16(8);
    const auto pixels8 = [&](const Group &group) {
        const uint8x16_t left = vld1q_u8(group.index);
        const uint8x16_t right = vaddq_u8(left, next);
        const uint16x8_t wr = vld1q_u16(group.phase);
        const uint16x8_t wl = vsubq_u16(eight, wr);
        uint16x8_t f[Planes];
        for (int p = 0; p < Planes; ++p)
            f[p] = filter_horizontal<Tables>(
                reinterpret_cast<const uint8_t *>(sums[p]) + group.offset, left, right, wl, wr);
        const uint8x8_t alpha = Planes == 4 ? vshrn_n_u16(f[Planes - 1], 6) : vdup_n_u8(255);
        return std::pair{colours<Yuv>(f, job.coef), alpha};
    };
    for (int first = 0; first < job.dst_w; first += kStripPixels) {
        plan_strip(strip, walk, first, std::min(kStripPixels, job.dst_w - first), sample_columns);
        const int full = strip.pixels / 8, rest = strip.pixels % 8;
        int y = 0;
        for (int row = 0; row < job.dst_h; ++row, y += walk.y.step) {
            const int top = (y >> 18) << walk.y.shift;
            const int v = (y >> 15) & 7;
            for (int p = 0; p < Planes; ++p)
                vertical(sums[p], job.planes[p] + job.src_stride * top,
                         job.planes[p] + job.src_stride * (top + walk.row_reach), strip.column0,
                         strip.columns, block_limit, v);
            uint8_t *out = job.origin + job.dst_stride * row + ptrdiff_t{Bytes} * first;
            const Group *group = strip.groups;
            for (int g = 0; g < full; ++g, ++group, out += 8 * Bytes) {
                const auto [c, alpha] = pixels8(*group);
                store8<Bytes, AlphaFirst>(out, c, alpha);
            }
            if (rest) {
                // Staged, so nothing past the row's last pixel is written.
                alignas(16) uint8_t staged[32];
                const auto [c, alpha] = pixels8(*group);
                store8<Bytes, AlphaFirst>(staged, c, alpha);
                std::memcpy(out, staged, static_cast<size_t>(Bytes * rest));
            }
        }
    }
}

template <int Planes, int Bytes, bool Yuv>
void scale(OZMU_CSC_PARAMS, void (*reference)(OZMU_CSC_PARAMS))
{
    Job job;
    if (!csc::scaling::make_walk(src_w, src_h, dst_w, dst_h, &job.walk))
        return;
    // Reductions of more than about 64:1 (or sizes beyond the 14.18 range) spread a group of 8
    // pixels over more sums than four table registers hold: those go pixel by pixel.
    const Walk &walk = job.walk;
    const int64_t group_columns = ((int64_t{7} * walk.x.step) >> 18) + 3;
    const int64_t strip_columns = ((int64_t{kStripPixels - 1} * walk.x.step) >> 18) + 3;
    if (walk.x.step < 0 || walk.y.step < 0 || group_columns > kMaxGroupColumns ||
        strip_columns + kMaxGroupColumns > kColumnCapacity) {
        reference(OZMU_CSC_ARGS);
        return;
    }
    const csc::scaling::Target target = csc::scaling::target(dst_cs);
    if constexpr (Yuv) {
        job.planes[0] = src[0];
        job.planes[1] = target.b_first ? src[1] : src[2];
        job.planes[2] = target.b_first ? src[2] : src[1];
        alignas(16) static constexpr int16_t kCoef[2][8] = {{103, 198, 183, 88},
                                                            {198, 103, 88, 183}};
        job.coef = vld1q_s16(kCoef[target.b_first]);
    } else {
        job.planes[0] = target.b_first ? src[2] : src[0];
        job.planes[1] = src[1];
        job.planes[2] = target.b_first ? src[0] : src[2];
        job.coef = vdupq_n_s16(0);
    }
    job.planes[3] = Planes == 4 ? src[3] : nullptr;
    job.src_stride = src_stride[0];
    job.src_w = src_w;
    job.dst_w = dst_w;
    job.dst_h = dst_h;
    job.origin = dst[target.slot];
    job.dst_stride = dst_stride[0];

    const bool two_tables = group_columns <= 16;
    if (Bytes == 4 && target.alpha_first)
        two_tables ? run<Planes, Bytes, Yuv, 2, true>(job) : run<Planes, Bytes, Yuv, 4, true>(job);
    else
        two_tables ? run<Planes, Bytes, Yuv, 2, false>(job)
                   : run<Planes, Bytes, Yuv, 4, false>(job);
}

}  // namespace

void rsz_r8g8b8_to_rgb888(OZMU_CSC_PARAMS)
{
    scale<3, 3, false>(OZMU_CSC_ARGS, ref::rsz_r8g8b8_to_rgb888);
}
void rsz_r8g8b8_to_rgba8888(OZMU_CSC_PARAMS)
{
    scale<3, 4, false>(OZMU_CSC_ARGS, ref::rsz_r8g8b8_to_rgba8888);
}
void rsz_r8g8b8a8_to_rgba8888(OZMU_CSC_PARAMS)
{
    scale<4, 4, false>(OZMU_CSC_ARGS, ref::rsz_r8g8b8a8_to_rgba8888);
}
void rsz_yuv444_to_rgb888(OZMU_CSC_PARAMS)
{
    scale<3, 3, true>(OZMU_CSC_ARGS, ref::rsz_yuv444_to_rgb888);
}
void rsz_yuv444_to_rgba8888(OZMU_CSC_PARAMS)
{
    scale<3, 4, true>(OZMU_CSC_ARGS, ref::rsz_yuv444_to_rgba8888);
}
void rsz_yuv444a8_to_rgba8888(OZMU_CSC_PARAMS)
{
    scale<4, 4, true>(OZMU_CSC_ARGS, ref::rsz_yuv444a8_to_rgba8888);
}

}  // namespace ozmu::neon
