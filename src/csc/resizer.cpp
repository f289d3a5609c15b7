// Image resizer: handle creation, the per-layout rows, whole pictures and slices.
#include "csc/resizer.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "csc/csc.h"
#if OZMU_HAVE_X86_TIERS
#include <emmintrin.h>
#endif
#include "ozmu.h"

// Callers fill the parameter record themselves.
#if defined(__LP64__)
#define OZMU_AT(record, field, offset) static_assert(offsetof(record, field) == (offset), #field)
OZMU_AT(ozmu_irsz_param, layout, 0);
OZMU_AT(ozmu_irsz_param, mode, 4);
OZMU_AT(ozmu_irsz_param, src_w, 8);
OZMU_AT(ozmu_irsz_param, src_h, 12);
OZMU_AT(ozmu_irsz_param, src_pitch, 16);
OZMU_AT(ozmu_irsz_param, slice_rows, 20);
OZMU_AT(ozmu_irsz_param, dst_w, 24);
OZMU_AT(ozmu_irsz_param, dst_h, 28);
OZMU_AT(ozmu_irsz_param, dst_pitch, 32);
OZMU_AT(ozmu_irsz_param, dst, 40);
static_assert(sizeof(ozmu_irsz_param) == 48);
#undef OZMU_AT
#endif

#define OZMU_W1(i) ozmu::csc::kBilinearWeights[i]
#define OZMU_W4(i) OZMU_W1(i), OZMU_W1(i + 1), OZMU_W1(i + 2), OZMU_W1(i + 3)
#define OZMU_W16(i) OZMU_W4(i), OZMU_W4(i + 4), OZMU_W4(i + 8), OZMU_W4(i + 12)
#define OZMU_W64(i) OZMU_W16(i), OZMU_W16(i + 16), OZMU_W16(i + 32), OZMU_W16(i + 48)
extern "C" const uint8_t ozmu_irsz_tbl_rsz_weight[256] = {OZMU_W64(0), OZMU_W64(64), OZMU_W64(128),
                                                          OZMU_W64(192)};
#undef OZMU_W64
#undef OZMU_W16
#undef OZMU_W4
#undef OZMU_W1

namespace ozmu::irsz {
namespace {

constexpr int kWhole = OZMU_IRSZ_MODE_WHOLE;
constexpr int kSlices = OZMU_IRSZ_MODE_SLICES;
constexpr int kErrNoMemory = OZMU_IRSZ_ERR_NO_MEMORY;
constexpr int kErrMode = OZMU_IRSZ_ERR_MODE;
constexpr int kErrLayout = OZMU_IRSZ_ERR_LAYOUT;

int32_t shifted(int32_t value, int shift)
{
    return static_cast<int32_t>(static_cast<uint32_t>(value) << shift);
}

// Calls emit(output, left, right, h) for every output pixel of a row. The right tap is clamped
// to the row, which matters only for a one-pixel source, whose phase is always 0.
template <class Emit>
inline void walk_row(const Handle &h, Emit emit)
{
    const int32_t last = h.src_w - 1;
    uint32_t x = 0;
    for (int i = 0; i < h.dst_w; ++i) {
        const int32_t column = static_cast<int32_t>(x) >> 18;
        const int32_t right = shifted(column + 1, h.xshift);
        emit(i, shifted(column, h.xshift), right < last ? right : last,
             static_cast<int>(x >> 15) & 7);
        x += static_cast<uint32_t>(h.xstep);
    }
}

// One sample from its four neighbours and a table entry's weights.
inline int filter(const uint8_t *w, int tl, int tr, int bl, int br)
{
    return (w[0] * tl + w[1] * tr + w[2] * bl + w[3] * br) >> 6;
}

inline const uint8_t *weights_at(int h, int v)
{
    return ozmu::csc::kBilinearWeights.data() + 32 * h + 4 * v;
}

template <int kBytes>
void byte_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v, uint8_t *dst)
{
    walk_row(h, [&](int i, int32_t left, int32_t right, int phase) {
        const uint8_t *w = weights_at(phase, v);
        const ptrdiff_t l = ptrdiff_t{left} * kBytes, r = ptrdiff_t{right} * kBytes;
        for (int c = 0; c < kBytes; ++c)
            dst[ptrdiff_t{i} * kBytes + c] = static_cast<uint8_t>(
                filter(w, top[l + c], top[r + c], bottom[l + c], bottom[r + c]));
    });
}

uint16_t load16(const uint8_t *p)
{
    uint16_t value;
    std::memcpy(&value, p, 2);
    return value;
}

// Mode 11: writes every output row whose two source rows have arrived. A row whose lower
// source row is still to come waits with its upper row copied into linebuf.
template <LineFn line, Units units, int kInBytes>
void feed_slice(Handle &h, const uint8_t *src, int y0, int rows)
{
    if (rows < 1 || y0 < 0)
        return;
    if (y0 == 0) {  // a new picture
        h.y = 0;
        h.out_row = 0;
        h.pending = 0;
        h.pending_offset = 0;
        h.linebuf_is_top = 0;
    }
    const ptrdiff_t src_stride = ptrdiff_t{h.line_size} * units.src;
    const ptrdiff_t dst_stride = ptrdiff_t{h.dst_stride} * units.dst;
    const int64_t end = int64_t{y0} + rows;
    const int32_t last = h.src_h - 1;
    while (h.out_row < h.dst_h) {
        const auto y = static_cast<uint32_t>(h.y);
        const int32_t top = row_of(y, h.yshift);
        const int32_t lower = top + (int32_t{1} << h.yshift);
        const int32_t bottom = lower < last ? lower : last;
        const uint8_t *upper;
        if (h.linebuf_is_top)
            upper = h.linebuf;
        else if (top < y0 || top >= end)  // not arrived yet (or slices out of order)
            return;
        else
            upper = src + (top - y0) * src_stride;
        if (bottom >= end) {
            // The lower row comes with a later slice: keep the upper one.
            if (!h.linebuf_is_top) {
                std::memcpy(h.linebuf, upper, static_cast<size_t>(h.src_w) * kInBytes);
                h.linebuf_is_top = 1;
            }
            h.pending = 1;
            h.pending_offset = static_cast<int32_t>((bottom - end) * src_stride);
            return;
        }
        if (bottom < y0)  // slices out of order: the lower row is gone
            return;
        line(h, upper, src + (bottom - y0) * src_stride, static_cast<int>(y >> 15) & 7,
             h.dst + h.out_row * dst_stride);
        h.pending = 0;
        ++h.out_row;
        h.y = static_cast<int32_t>(y + static_cast<uint32_t>(h.ystep));
        if (h.linebuf_is_top && row_of(static_cast<uint32_t>(h.y), h.yshift) != top)
            h.linebuf_is_top = 0;
    }
}

template <LineFn line, void (*full)(const Handle &, const uint8_t *), Units units, int kInBytes>
int resize(Handle *h, const void *src, int y0, int rows)
{
    if (h->src_w < 1 || h->src_h < 1)
        return 0;
    const auto *s = static_cast<const uint8_t *>(src);
    if (h->mode == kWhole)
        full(*h, s);
    else
        feed_slice<line, units, kInBytes>(*h, s, y0, rows);
    return 0;
}

struct Layout {
    int code;
    Resizer resize;
    int in_bytes;    // bytes per source pixel
    int src_factor;  // pitch multiplier of the source row distance
    int dst_factor;
    bool vector;  // needs a Plan
};

constexpr Layout kLayouts[] = {
    {OZMU_IRSZ_LAYOUT_8B, irsz8b, 1, 1, 1, true},
    {OZMU_IRSZ_LAYOUT_8B8B8B, irsz8b8b8b, 3, 3, 3, false},
    {OZMU_IRSZ_LAYOUT_8B8B8B_5B6B5B, irsz8b8b8b_5b6b5b, 3, 3, 2, false},
    {OZMU_IRSZ_LAYOUT_5B6B5B, irsz5b6b5b, 2, 1, 1, false},
    {OZMU_IRSZ_LAYOUT_8B8B8B8B, irsz8b8b8b8b, 4, 4, 4, true},
};

constexpr size_t align16(size_t n) { return (n + 15) & ~size_t{15}; }

#if OZMU_HAVE_X86_TIERS
// Records of the window rows for rows of out_bytes bytes: none when a row is shorter than a step.
struct WindowSizes {
    WindowSizes(int out_bytes, int step, int record)
        : records(out_bytes >= step ? (out_bytes + step - 1) / step * (step / record) : 0),
          record_bytes(record)
    {
    }
    size_t bytes() const
    {
        const auto n = static_cast<size_t>(records);
        return align16(n * sizeof(uint32_t)) + 2 * align16(n * 2 * size_t(record_bytes));
    }
    Plan::Windows place(uint8_t *at) const
    {
        const auto n = static_cast<size_t>(records);
        Plan::Windows w{};
        w.records = records;
        w.base = reinterpret_cast<uint32_t *>(at);
        w.index = at + align16(n * sizeof(uint32_t));
        w.weights = w.index + align16(n * 2 * size_t(record_bytes));
        return w;
    }
    int records, record_bytes;
};

// Steps of `step` output bytes, the last one ending at the row's end; within a step, records of
// `record` bytes. The 32-byte steps hold their records in the order 0, 16, 8, 24, so that a pack
// of two 256-bit halves puts the bytes in place. A window starts at its first tap, or earlier
// where that would run past the row.
void fill_windows(Plan::Windows &w, const uint32_t *taps, const uint8_t *phases, int pixel_bytes,
                  int out_bytes, int row_bytes, int step, int record, int window)
{
    w.fit = w.records > 0;
    const int per_step = step / record;
    for (int r = 0; r < w.records; ++r) {
        const int s = r / per_step, k = r % per_step;
        const int order = per_step == 4 ? (k >> 1 | (k & 1) << 1) : k;
        const int start = std::min(s * step, out_bytes - step) + order * record;
        auto tap = [&](int j, int side) {
            return static_cast<int64_t>(taps[2 * (j / pixel_bytes) + side]) + j % pixel_bytes;
        };
        int64_t low = tap(start, 0), high = low;
        for (int j = start; j < start + record; ++j) {
            low = std::min({low, tap(j, 0), tap(j, 1)});
            high = std::max({high, tap(j, 0), tap(j, 1)});
        }
        const int64_t base = std::min<int64_t>(low, row_bytes - window);
        if (base < 0 || high - base >= window) {
            w.fit = false;
            return;
        }
        w.base[r] = static_cast<uint32_t>(base);
        uint8_t *index = w.index + ptrdiff_t{2} * record * r;
        uint8_t *weights = w.weights + ptrdiff_t{2} * record * r;
        for (int j = 0; j < record; ++j) {
            const int phase = phases[(start + j) / pixel_bytes];
            index[2 * j] = static_cast<uint8_t>(tap(start + j, 0) - base);
            index[2 * j + 1] = static_cast<uint8_t>(tap(start + j, 1) - base);
            weights[2 * j] = static_cast<uint8_t>(8 - phase);
            weights[2 * j + 1] = static_cast<uint8_t>(phase);
        }
    }
}
#endif

// The horizontal walk and blended row of the vector rows, in one block. Taps are clamped to the
// blended row so that a walk outside the 14.18 range cannot reach past it.
Plan *build_plan(const Handle &h, int pixel_bytes)
{
    const int columns = ((h.src_w - 1) >> h.xshift) + 1;
    const auto outputs = static_cast<size_t>(h.dst_w);
    const bool bytes = pixel_bytes == 1;
    const size_t groups = bytes ? (outputs + 7) / 8 : 0;
    const size_t entries = bytes ? groups : outputs;
    // Blended row: one zero column past the last (the right tap of a one-pixel source) and, for
    // layout 20, a 32-column table window starting at any column.
    const size_t blend_lanes =
        (static_cast<size_t>(columns) + 1 + (bytes ? 32 : 0)) * static_cast<size_t>(pixel_bytes);
    const size_t at_offset = align16(sizeof(Plan));
    const size_t at_weights = at_offset + align16(entries * sizeof(uint32_t));
    const size_t at_index = at_weights + align16(entries * (bytes ? 16 : 8) * sizeof(uint16_t));
    const size_t at_blend = at_index + align16(groups * 32);
    size_t total = at_blend + align16(blend_lanes * sizeof(uint16_t));
#if OZMU_HAVE_X86_TIERS
    const int out_bytes = h.dst_w * pixel_bytes;
    const WindowSizes lane_sizes(out_bytes, kLaneStep, kLaneRecord);
    const WindowSizes zmm_sizes(out_bytes, kZmmStep, kZmmRecord);
    const size_t at_lanes = total;
    const size_t at_zmm = at_lanes + lane_sizes.bytes();
    const size_t at_taps = at_zmm + zmm_sizes.bytes();
    const size_t at_phase = at_taps + align16(outputs * 2 * sizeof(uint32_t));
    // Room for the first halving of a row (compact_rows halves once per shift step).
    const size_t compact_stride = align16(static_cast<size_t>(h.src_w / 2 + 1) * pixel_bytes);
    const size_t at_compact = at_phase + align16(outputs);
    total = at_compact + (h.xshift > 0 ? 2 * compact_stride : 0);
#endif
    auto *block = static_cast<uint8_t *>(std::calloc(1, total));
    if (!block)
        return nullptr;
    auto *plan = reinterpret_cast<Plan *>(block);
    plan->columns = columns;
    plan->groups = static_cast<int>(groups);
    plan->offset = reinterpret_cast<uint32_t *>(block + at_offset);
    plan->weights = reinterpret_cast<uint16_t *>(block + at_weights);
    plan->index = block + at_index;
    plan->blend = reinterpret_cast<uint16_t *>(block + at_blend);
#if OZMU_HAVE_X86_TIERS
    plan->taps = reinterpret_cast<uint32_t *>(block + at_taps);
    plan->phase = block + at_phase;
    const int32_t last = h.src_w - 1;
    for (int i = 0; i < h.dst_w; ++i) {
        const uint32_t x = static_cast<uint32_t>(i) * static_cast<uint32_t>(h.xstep);
        const int32_t column = std::clamp(static_cast<int32_t>(x) >> 18, 0, columns - 1);
        const int32_t right = std::min(shifted(column + 1, h.xshift), last);
        plan->taps[2 * i] = static_cast<uint32_t>(shifted(column, h.xshift) * pixel_bytes);
        plan->taps[2 * i + 1] = static_cast<uint32_t>(right * pixel_bytes);
        plan->phase[i] = static_cast<uint8_t>((x >> 15) & 7);
    }
    plan->compact = block + at_compact;
    plan->compact_stride = static_cast<int>(compact_stride);
    // With a shift the windows index the compacted rows: tap column c there is pixel c << xshift.
    // A right tap clamped off that grid (never for valid steps) leaves them to the per-pixel path.
    std::vector<uint32_t> compact_taps;
    const uint32_t *window_taps = plan->taps;
    int row_bytes = h.src_w * pixel_bytes;
    bool on_grid = true;
    if (h.xshift > 0) {
        compact_taps.resize(outputs * 2);
        for (size_t t = 0; t < compact_taps.size(); ++t) {
            const uint32_t pixel = plan->taps[t] / static_cast<uint32_t>(pixel_bytes);
            on_grid = on_grid && (pixel >> h.xshift << h.xshift) == pixel;
            compact_taps[t] = (pixel >> h.xshift) * static_cast<uint32_t>(pixel_bytes);
        }
        window_taps = compact_taps.data();
        row_bytes = columns * pixel_bytes;
    }
    plan->lanes = lane_sizes.place(block + at_lanes);
    fill_windows(plan->lanes, window_taps, plan->phase, pixel_bytes, out_bytes, row_bytes,
                 kLaneStep, kLaneRecord, kLaneWindow);
    plan->zmm = zmm_sizes.place(block + at_zmm);
    fill_windows(plan->zmm, window_taps, plan->phase, pixel_bytes, out_bytes, row_bytes, kZmmStep,
                 kZmmRecord, kZmmWindow);
    plan->lanes.fit = plan->lanes.fit && on_grid;
    plan->zmm.fit = plan->zmm.fit && on_grid;
#endif

    auto tap = [&](int i, int32_t &column, int &phase) {
        const uint32_t x = static_cast<uint32_t>(i) * static_cast<uint32_t>(h.xstep);
        column = std::clamp(static_cast<int32_t>(x) >> 18, 0, columns - 1);
        phase = static_cast<int>(x >> 15) & 7;
    };
    if (!bytes) {
        for (int i = 0; i < h.dst_w; ++i) {
            int32_t column;
            int phase;
            tap(i, column, phase);
            plan->offset[i] = static_cast<uint32_t>(column) * 8;
            for (int c = 0; c < 4; ++c) {
                plan->weights[8 * i + c] = static_cast<uint16_t>(8 - phase);
                plan->weights[8 * i + 4 + c] = static_cast<uint16_t>(phase);
            }
        }
        return plan;
    }
    plan->grouped = true;
    for (size_t g = 0; g < groups; ++g) {
        // The last group ends at the row's end, overlapping its predecessor.
        const int start = h.dst_w >= 8 && g + 1 == groups ? h.dst_w - 8 : static_cast<int>(8 * g);
        int32_t first;
        int phase;
        tap(start, first, phase);
        plan->offset[g] = static_cast<uint32_t>(first) * 2;
        for (int k = 0; k < 8; ++k) {
            int32_t column;
            tap(std::min(start + k, h.dst_w - 1), column, phase);
            const int32_t left = 2 * (column - first);
            if (left + 3 > 63)
                plan->grouped = false;
            uint8_t *index = plan->index + 32 * g;
            index[2 * k] = static_cast<uint8_t>(left);
            index[2 * k + 1] = static_cast<uint8_t>(left + 1);
            index[16 + 2 * k] = static_cast<uint8_t>(left + 2);
            index[16 + 2 * k + 1] = static_cast<uint8_t>(left + 3);
            plan->weights[16 * g + k] = static_cast<uint16_t>(8 - phase);
            plan->weights[16 * g + 8 + k] = static_cast<uint16_t>(phase);
        }
    }
    return plan;
}

void *fail(int *err, int code)
{
    if (err)
        *err = code;
    return nullptr;
}

// The named per-layout entry points check what ozmu_irsz trusts.
template <int kLayout, Resizer resizer>
int checked_resize(void *handle, const void *src, int y0, int rows)
{
    auto *h = static_cast<Handle *>(handle);
    if (!h || h->layout != kLayout)
        return OZMU_ERR_INVALID_ARG;
    return resizer(h, src, y0, rows);
}

}  // namespace

#if OZMU_HAVE_X86_TIERS
namespace {

// Every second pixel: out[j] = in[2j] for j < n (in may equal out: each load precedes the stores
// it feeds, and pixel j is written no later than pixel 2j is read).
void halve4(const uint8_t *in, uint8_t *out, int n)
{
    int j = 0;
    for (; j + 4 <= n && 2 * j + 8 <= 2 * n - 1; j += 4) {
        const __m128 a =
            _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 8 * j)));
        const __m128 b =
            _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 8 * j + 16)));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 4 * j),
                         _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))));
    }
    for (; j < n; ++j)
        std::memmove(out + 4 * j, in + 8 * j, 4);
}

void halve1(const uint8_t *in, uint8_t *out, int n)
{
    const __m128i low = _mm_set1_epi16(0xFF);
    int j = 0;
    for (; j + 16 <= n && 2 * j + 32 <= 2 * n - 1; j += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 2 * j));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(in + 2 * j + 16));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + j),
                         _mm_packus_epi16(_mm_and_si128(a, low), _mm_and_si128(b, low)));
    }
    for (; j < n; ++j)
        out[j] = in[2 * j];
}

}  // namespace

void compact_rows(const Handle &h, const uint8_t *&top, const uint8_t *&bottom)
{
    const int bytes = h.layout == 29 ? 4 : 1;
    uint8_t *const out[2] = {h.plan->compact, h.plan->compact + h.plan->compact_stride};
    const uint8_t *const in[2] = {top, bottom};
    for (int r = 0; r < 2; ++r) {
        // One halving per shift step, in place after the first: n pixels become (n + 1) / 2.
        const uint8_t *from = in[r];
        int n = h.src_w;
        for (int s = 0; s < h.xshift; ++s) {
            n = (n + 1) / 2;
            if (bytes == 4)
                halve4(from, out[r], n);
            else
                halve1(from, out[r], n);
            from = out[r];
        }
    }
    top = out[0];
    bottom = out[1];
}
#endif

void irsz8b8b8b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                     uint8_t *dst)
{
    byte_line<3>(h, top, bottom, v, dst);
}

void irsz8b8b8b_5b6b5b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                            uint8_t *dst)
{
    walk_row(h, [&](int i, int32_t left, int32_t right, int phase) {
        const uint8_t *w = weights_at(phase, v);
        const uint8_t *tl = top + ptrdiff_t{left} * 3, *tr = top + ptrdiff_t{right} * 3;
        const uint8_t *bl = bottom + ptrdiff_t{left} * 3, *br = bottom + ptrdiff_t{right} * 3;
        int f[3];
        for (int c = 0; c < 3; ++c)
            f[c] = filter(w, tl[c], tr[c], bl[c], br[c]);
        // Green repeats the top three bits of f1: the packing hosts expect.
        uint8_t *out = dst + ptrdiff_t{i} * 2;
        out[0] = static_cast<uint8_t>((f[1] & 0xE0) | (f[2] >> 3));
        out[1] = static_cast<uint8_t>((f[0] & 0xF8) | (f[1] >> 5));
    });
}

void irsz5b6b5b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                     uint8_t *dst)
{
    walk_row(h, [&](int i, int32_t left, int32_t right, int phase) {
        const uint8_t *w = weights_at(phase, v);
        const uint16_t tl = load16(top + ptrdiff_t{left} * 2);
        const uint16_t tr = load16(top + ptrdiff_t{right} * 2);
        const uint16_t bl = load16(bottom + ptrdiff_t{left} * 2);
        const uint16_t br = load16(bottom + ptrdiff_t{right} * 2);
        auto field = [&](int shift, int mask) {
            return filter(w, (tl >> shift) & mask, (tr >> shift) & mask, (bl >> shift) & mask,
                          (br >> shift) & mask);
        };
        const auto word =
            static_cast<uint16_t>(field(11, 31) << 11 | field(5, 63) << 5 | field(0, 31));
        std::memcpy(dst + ptrdiff_t{i} * 2, &word, 2);
    });
}

void irsz8b8b8b_full(const Handle &h, const uint8_t *src)
{
    whole_picture<irsz8b8b8b_line, Units{1, 1}>(h, src);
}
void irsz8b8b8b_5b6b5b_full(const Handle &h, const uint8_t *src)
{
    whole_picture<irsz8b8b8b_5b6b5b_line, Units{1, 1}>(h, src);
}
void irsz5b6b5b_full(const Handle &h, const uint8_t *src)
{
    whole_picture<irsz5b6b5b_line, Units{2, 2}>(h, src);
}

namespace {

constexpr Table kReferenceTable = {&ref::irsz8b_line, &ref::irsz8b_full, &ref::irsz8b8b8b8b_line,
                                   &ref::irsz8b8b8b8b_full};

#if OZMU_HAVE_X86_TIERS
void table_irsz8b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                       uint8_t *dst)
{
    table().irsz8b_line(h, top, bottom, v, dst);
}
void table_irsz8b_full(const Handle &h, const uint8_t *src) { table().irsz8b_full(h, src); }
void table_irsz8b8b8b8b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                             uint8_t *dst)
{
    table().irsz8b8b8b8b_line(h, top, bottom, v, dst);
}
void table_irsz8b8b8b8b_full(const Handle &h, const uint8_t *src)
{
    table().irsz8b8b8b8b_full(h, src);
}
#define OZMU_IRSZ_ROW(name) table_##name
#else
#define OZMU_IRSZ_ROW(name) OZMU_NATIVE::name
#endif

}  // namespace

Table table_for(unsigned tiers)
{
#if OZMU_HAVE_X86_TIERS
    static constexpr TierInstaller<Table> kInstallers[] = {
        {cpu::kSsse3, ssse3::install_irsz},
        {cpu::kAvx2, avx2::install_irsz},
        {cpu::kAvx512, avx512::install_irsz},
    };
#elif OZMU_HAVE_NEON
    static constexpr TierInstaller<Table> kInstallers[] = {{cpu::kNeon, neon::install_irsz}};
#else
    static constexpr TierInstaller<Table> kInstallers[] = {{0, nullptr}};
#endif
    return build_table(kReferenceTable, tiers, kInstallers);
}

const Table &table() { return ActiveTable<Table, table_for>::get(); }

int irsz8b(Handle *h, const void *src, int y0, int rows)
{
    return resize<OZMU_IRSZ_ROW(irsz8b_line), OZMU_IRSZ_ROW(irsz8b_full), Units{1, 1}, 1>(h, src,
                                                                                          y0, rows);
}
int irsz8b8b8b(Handle *h, const void *src, int y0, int rows)
{
    return resize<irsz8b8b8b_line, irsz8b8b8b_full, Units{1, 1}, 3>(h, src, y0, rows);
}
int irsz8b8b8b_5b6b5b(Handle *h, const void *src, int y0, int rows)
{
    return resize<irsz8b8b8b_5b6b5b_line, irsz8b8b8b_5b6b5b_full, Units{1, 1}, 3>(h, src, y0, rows);
}
int irsz5b6b5b(Handle *h, const void *src, int y0, int rows)
{
    return resize<irsz5b6b5b_line, irsz5b6b5b_full, Units{2, 2}, 2>(h, src, y0, rows);
}
int irsz8b8b8b8b(Handle *h, const void *src, int y0, int rows)
{
    return resize<OZMU_IRSZ_ROW(irsz8b8b8b8b_line), OZMU_IRSZ_ROW(irsz8b8b8b8b_full), Units{1, 1},
                  4>(h, src, y0, rows);
}
#undef OZMU_IRSZ_ROW

}  // namespace ozmu::irsz

#if OZMU_HAVE_NEON
namespace ozmu::neon {

void install_irsz(irsz::Table &table)
{
    table.irsz8b_line = irsz8b_line;
    table.irsz8b_full = irsz8b_full;
    table.irsz8b8b8b8b_line = irsz8b8b8b8b_line;
    table.irsz8b8b8b8b_full = irsz8b8b8b8b_full;
}

}  // namespace ozmu::neon
#endif

namespace ozmu::ref {

void irsz8b_line(const irsz::Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                 uint8_t *dst)
{
    irsz::byte_line<1>(h, top, bottom, v, dst);
}
void irsz8b_full(const irsz::Handle &h, const uint8_t *src)
{
    irsz::whole_picture<irsz8b_line, irsz::Units{1, 1}>(h, src);
}
void irsz8b8b8b8b_line(const irsz::Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                       uint8_t *dst)
{
    irsz::byte_line<4>(h, top, bottom, v, dst);
}
void irsz8b8b8b8b_full(const irsz::Handle &h, const uint8_t *src)
{
    irsz::whole_picture<irsz8b8b8b8b_line, irsz::Units{1, 1}>(h, src);
}

}  // namespace ozmu::ref

extern "C" {

void *ozmu_irsz_create(const ozmu_irsz_param *param, int *err)
{
    using namespace ozmu::irsz;
    auto *h = static_cast<Handle *>(std::malloc(sizeof(Handle)));
    if (!h)
        return fail(err, kErrNoMemory);
    if (param->mode != kWhole && param->mode != kSlices) {
        std::free(h);
        return fail(err, kErrMode);
    }
    std::memset(h, 0, sizeof *h);
    h->layout = param->layout;
    h->mode = param->mode;
    h->dst_w = param->dst_w;
    h->dst_h = param->dst_h;
    const Layout *layout = nullptr;
    for (const Layout &l : kLayouts)
        if (l.code == param->layout)
            layout = &l;
    if (!layout) {
        std::free(h);
        return fail(err, kErrLayout);
    }
    h->resize = layout->resize;
    h->line_size = static_cast<int32_t>(int64_t{param->src_pitch} * layout->src_factor);
    h->dst_stride = static_cast<int32_t>(int64_t{param->dst_pitch} * layout->dst_factor);
    const auto xs = ozmu::csc::axis_step(param->src_w, param->dst_w);
    const auto ys = ozmu::csc::axis_step(param->src_h, param->dst_h);
    h->xstep = xs.step;
    h->ystep = ys.step;
    h->xshift = xs.shift;
    h->yshift = ys.shift;
    h->xnext = 1 << xs.shift;
    h->src_step = static_cast<int32_t>(static_cast<uint32_t>(h->line_size) << ys.shift);
    h->slice_size = static_cast<int32_t>(int64_t{param->slice_rows} * h->line_size);
    h->upscale = param->dst_w > param->src_w || param->dst_h > param->src_h;
    h->dst = static_cast<uint8_t *>(param->dst);
    h->src_w = param->src_w;
    h->src_h = param->src_h;

    const bool sized = param->src_w >= 1 && param->src_h >= 1 && param->dst_w >= 1;
    if (layout->vector && sized) {
        h->plan = build_plan(*h, layout->in_bytes);
        if (!h->plan) {
            std::free(h);
            return fail(err, kErrNoMemory);
        }
    }
    if (param->mode == kSlices) {
        // One source row, however short the pitch.
        const int64_t pixels = std::max<int64_t>({param->src_pitch, param->src_w, 1});
        h->linebuf = static_cast<uint8_t *>(
            std::malloc(static_cast<size_t>(pixels) * static_cast<size_t>(layout->in_bytes)));
        if (!h->linebuf) {
            std::free(h->plan);
            std::free(h);
            return fail(err, kErrNoMemory);
        }
    }
    if (err)
        *err = 0;
    return h;
}

int ozmu_irsz(void *handle, const void *src, int y0, int rows)
{
    auto *h = static_cast<ozmu::irsz::Handle *>(handle);
    return h->resize(h, src, y0, rows);
}

int ozmu_irsz8b(void *handle, const void *src, int y0, int rows)
{
    using namespace ozmu::irsz;
    return checked_resize<OZMU_IRSZ_LAYOUT_8B, irsz8b>(handle, src, y0, rows);
}

int ozmu_irsz8b8b8b(void *handle, const void *src, int y0, int rows)
{
    using namespace ozmu::irsz;
    return checked_resize<OZMU_IRSZ_LAYOUT_8B8B8B, irsz8b8b8b>(handle, src, y0, rows);
}

int ozmu_irsz8b8b8b_5b6b5b(void *handle, const void *src, int y0, int rows)
{
    using namespace ozmu::irsz;
    return checked_resize<OZMU_IRSZ_LAYOUT_8B8B8B_5B6B5B, irsz8b8b8b_5b6b5b>(handle, src, y0, rows);
}

int ozmu_irsz5b6b5b(void *handle, const void *src, int y0, int rows)
{
    using namespace ozmu::irsz;
    return checked_resize<OZMU_IRSZ_LAYOUT_5B6B5B, irsz5b6b5b>(handle, src, y0, rows);
}

int ozmu_irsz8b8b8b8b(void *handle, const void *src, int y0, int rows)
{
    using namespace ozmu::irsz;
    return checked_resize<OZMU_IRSZ_LAYOUT_8B8B8B8B, irsz8b8b8b8b>(handle, src, y0, rows);
}

void ozmu_irsz_delete(void *handle)
{
    auto *h = static_cast<ozmu::irsz::Handle *>(handle);
    if (!h)
        return;
    std::free(h->linebuf);
    std::free(h->plan);
    std::free(h);
}

}  // extern "C"
