// NEON rows of the image resizer, layouts 20 (1 byte) and 29 (4 bytes). Each output row blends
// its two source rows into a 16-bit row, (8 - v) * top + v * bottom (at most 2040), then blends
// horizontal neighbours, (8 - h) * left + h * right (at most 16320, so 16-bit lanes suffice),
// and shifts by 6: the same integers as the four-tap sum. The taps and phases of every output
// were computed at creation (irsz::Plan).
#include <arm_neon.h>

#include <cstring>

#include "csc/resizer.h"

namespace ozmu::neon {
namespace {

using irsz::Handle;
using irsz::Plan;

// (8 - v) * top + v * bottom for 16 bytes at once, widened to 16 bits.
struct RowBlend {
    uint8x16_t wt, wb;
    explicit RowBlend(int v)
        : wt(vdupq_n_u8(static_cast<uint8_t>(8 - v))), wb(vdupq_n_u8(static_cast<uint8_t>(v)))
    {
    }
    void operator()(uint8x16_t t, uint8x16_t b, uint16_t *out) const
    {
        vst1q_u16(out, vmlal_u8(vmull_u8(vget_low_u8(t), vget_low_u8(wt)), vget_low_u8(b),
                                vget_low_u8(wb)));
        vst1q_u16(out + 8, vmlal_high_u8(vmull_high_u8(t, wt), b, wb));
    }
};

// Contiguous rows of `bytes` bytes.
void blend_rows(const uint8_t *top, const uint8_t *bottom, int v, uint16_t *out, int bytes)
{
    if (bytes < 16) {
        for (int i = 0; i < bytes; ++i)
            out[i] = static_cast<uint16_t>((8 - v) * top[i] + v * bottom[i]);
        return;
    }
    const RowBlend blend16(v);
    const uint8_t *t = top, *b = bottom;
    uint16_t *o = out;
    for (int blocks = bytes >> 6; blocks > 0; --blocks) {
        blend16(vld1q_u8(t), vld1q_u8(b), o);
        blend16(vld1q_u8(t + 16), vld1q_u8(b + 16), o + 16);
        blend16(vld1q_u8(t + 32), vld1q_u8(b + 32), o + 32);
        blend16(vld1q_u8(t + 48), vld1q_u8(b + 48), o + 48);
        t += 64, b += 64, o += 64;
    }
    for (int rest = (bytes >> 4) & 3; rest > 0; --rest) {
        blend16(vld1q_u8(t), vld1q_u8(b), o);
        t += 16, b += 16, o += 16;
    }
    if (bytes & 15) {  // the last 16 bytes again, overlapping
        const int at = bytes - 16;
        blend16(vld1q_u8(top + at), vld1q_u8(bottom + at), out + at);
    }
}

// Every 2^kShift-th byte of 16 << kShift bytes.
template <int kShift>
uint8x16_t every_byte(const uint8_t *p)
{
    if constexpr (kShift == 1)
        return vld2q_u8(p).val[0];
    else if constexpr (kShift == 2)
        return vld4q_u8(p).val[0];
    else
        return vuzp1q_u8(every_byte<kShift - 1>(p),
                         every_byte<kShift - 1>(p + (16 << (kShift - 1))));
}

// Every 2^kShift-th 4-byte pixel of 4 << kShift pixels.
template <int kShift>
uint32x4_t every_pixel(const uint8_t *p)
{
    const auto *q = reinterpret_cast<const uint32_t *>(p);
    if constexpr (kShift == 1)
        return vld2q_u32(q).val[0];
    else if constexpr (kShift == 2)
        return vld4q_u32(q).val[0];
    else
        return vuzp1q_u32(every_pixel<kShift - 1>(p),
                          every_pixel<kShift - 1>(p + (16 << (kShift - 1))));
}

// Every 2^kShift-th pixel: de-interleaving loads while they stay inside the row, then one pixel
// at a time.
template <int kShift, int kBytes>
void blend_every(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v)
{
    constexpr int kColumns = 16 / kBytes;  // per vector
    constexpr int kSpan = (kColumns << kShift) * kBytes;
    auto gather = [](const uint8_t *p) {
        if constexpr (kBytes == 1)
            return every_byte<kShift>(p);
        else
            return vreinterpretq_u8_u32(every_pixel<kShift>(p));
    };
    const RowBlend blend16(v);
    const int columns = h.plan->columns;
    uint16_t *o = h.plan->blend;
    const uint8_t *t = top, *b = bottom;
    int j = 0;
    for (; (int64_t{j + kColumns} << kShift) <= h.src_w; j += kColumns) {
        blend16(gather(t), gather(b), o);
        t += kSpan, b += kSpan, o += 16;
    }
    for (; j < columns; ++j) {
        const ptrdiff_t at = (ptrdiff_t{j} << kShift) * kBytes;
        for (int c = 0; c < kBytes; ++c)
            h.plan->blend[j * kBytes + c] =
                static_cast<uint16_t>((8 - v) * top[at + c] + v * bottom[at + c]);
    }
}

template <int kBytes>
void blend(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v)
{
    switch (h.xshift) {
    case 0: blend_rows(top, bottom, v, h.plan->blend, h.plan->columns * kBytes); break;
    case 1: blend_every<1, kBytes>(h, top, bottom, v); break;
    case 2: blend_every<2, kBytes>(h, top, bottom, v); break;
    case 3: blend_every<3, kBytes>(h, top, bottom, v); break;
    default: blend_every<4, kBytes>(h, top, bottom, v); break;
    }
}

uint16x8_t as_u16(uint64x2_t x) { return vreinterpretq_u16_u64(x); }
uint64x2_t as_u64(uint16x8_t x) { return vreinterpretq_u64_u16(x); }

}  // namespace

void irsz8b8b8b8b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                       uint8_t *dst)
{
    if (!h.plan)
        return;
    blend<4>(h, top, bottom, v);
    // Locals: stores through dst could otherwise alias the plan's fields.
    const auto *row = reinterpret_cast<const uint8_t *>(h.plan->blend);
    const uint32_t *offset = h.plan->offset;
    const uint16_t *weights = h.plan->weights;
    // Left and right tap of output i are adjacent in the blended row: one 16-byte load.
    auto taps = [&](int i) {
        const uint16x8_t lr = vld1q_u16(reinterpret_cast<const uint16_t *>(row + offset[i]));
        return vmulq_u16(lr, vld1q_u16(weights + 8 * i));
    };
    // Lane sums stay below 2^16, so one 64-bit pairwise add sums the halves of two outputs.
    auto two = [&](int i) { return as_u16(vpaddq_u64(as_u64(taps(i)), as_u64(taps(i + 1)))); };
    auto four = [&](int i) { return vshrn_high_n_u16(vshrn_n_u16(two(i), 6), two(i + 2), 6); };
    const int n = h.dst_w;
    if (n >= 4) {
        uint8_t *out = dst;
        for (int left = n >> 2; left > 0; --left) {
            vst1q_u8(out, four(0));
            offset += 4;
            weights += 32;
            out += 16;
        }
        if (n & 3) {  // the last four again, overlapping
            const int back = 4 - (n & 3);
            offset -= back;
            weights -= 8 * back;
            vst1q_u8(out - 4 * back, four(0));
        }
        return;
    }
    for (int i = 0; i < n; ++i) {
        const uint16x8_t t = taps(i);
        const uint8x8_t out = vshrn_n_u16(as_u16(vpaddq_u64(as_u64(t), as_u64(t))), 6);
        const uint32_t pixel = vget_lane_u32(vreinterpret_u32_u8(out), 0);
        std::memcpy(dst + 4 * i, &pixel, 4);
    }
}

void irsz8b8b8b8b_full(const Handle &h, const uint8_t *src)
{
    irsz::whole_picture<irsz8b8b8b8b_line, irsz::Units{1, 1}>(h, src);
}

void irsz8b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    if (!h.plan)
        return;
    blend<1>(h, top, bottom, v);
    const Plan &p = *h.plan;
    const auto *row = reinterpret_cast<const uint8_t *>(p.blend);
    const int n = h.dst_w;
    if (!p.grouped) {  // taps too far apart for a table window: one output at a time
        const int last = p.columns - 1;
        uint32_t x = 0;
        for (int i = 0; i < n; ++i) {
            int column = static_cast<int32_t>(x) >> 18;
            column = column < 0 ? 0 : column > last ? last : column;
            const int phase = static_cast<int>(x >> 15) & 7;
            dst[i] = static_cast<uint8_t>(
                ((8 - phase) * p.blend[column] + phase * p.blend[column + 1]) >> 6);
            x += static_cast<uint32_t>(h.xstep);
        }
        return;
    }
    // Eight outputs from a 32-column window: table look-ups gather both taps' 16-bit lanes.
    const uint32_t *offset = p.offset;
    const uint8_t *index = p.index;
    const uint16_t *weights = p.weights;
    auto group = [&](int g) {
        const uint8x16x4_t window = vld1q_u8_x4(row + offset[g]);
        const uint8_t *ix = index + 32 * g;
        const uint16_t *w = weights + 16 * g;
        const uint16x8_t left = vreinterpretq_u16_u8(vqtbl4q_u8(window, vld1q_u8(ix)));
        const uint16x8_t right = vreinterpretq_u16_u8(vqtbl4q_u8(window, vld1q_u8(ix + 16)));
        return vshrn_n_u16(vmlaq_u16(vmulq_u16(left, vld1q_u16(w)), right, vld1q_u16(w + 8)), 6);
    };
    if (n < 8) {
        uint8_t out[8];
        vst1_u8(out, group(0));
        std::memcpy(dst, out, static_cast<size_t>(n));
        return;
    }
    // The last group ends at the row's end, overlapping its predecessor.
    const int last = p.groups - 1;
    uint8_t *out = dst;
    for (int pairs = last >> 1; pairs > 0; --pairs) {
        vst1q_u8(out, vcombine_u8(group(0), group(1)));
        offset += 2;
        index += 64;
        weights += 32;
        out += 16;
    }
    if (last & 1) {
        vst1_u8(out, group(0));
        ++offset;
        index += 32;
        weights += 16;
    }
    vst1_u8(dst + n - 8, group(0));
}

void irsz8b_full(const Handle &h, const uint8_t *src)
{
    irsz::whole_picture<irsz8b_line, irsz::Units{1, 1}>(h, src);
}

}  // namespace ozmu::neon
