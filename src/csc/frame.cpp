// Frame conversion: argument checks, resampling maps and the per-row driver over the family
// table. Nothing here touches a pixel except through the table's kernels.
#include "csc/frame.h"

#include <cstdlib>
#include <cstring>

#include "ozmu.h"

namespace ozmu::frame {
namespace {

constexpr Table kReferenceTable = {
#define OZMU_FRAME_ENTRY(name) &ref::name,
    OZMU_FRAME_ENTRIES
#undef OZMU_FRAME_ENTRY
};

}  // namespace

Table table_for(unsigned tiers)
{
    // Each tier's installer, lowest first.
    static constexpr TierInstaller<Table> kInstallers[] = {
#if OZMU_HAVE_X86_TIERS
        {cpu::kSsse3, ssse3::install_frame},
        {cpu::kSsse3, ssse3::install_frame_resample},
        {cpu::kSsse3, ssse3::install_frame_io},
        {cpu::kAvx2, avx2::install_frame},
        {cpu::kAvx2, avx2::install_frame_resample},
        {cpu::kAvx2, avx2::install_frame_io},
        {cpu::kAvx512, avx512::install_frame},
        {cpu::kAvx512, avx512::install_frame_resample},
        {cpu::kAvx512, avx512::install_frame_io},
#endif
#if OZMU_HAVE_NEON
        {cpu::kNeon, neon::install_frame},
        {cpu::kNeon, neon::install_frame_resample},
        {cpu::kNeon, neon::install_frame_io},
#endif
        {0, nullptr}
    };
    return build_table(kReferenceTable, tiers, kInstallers);
}

const Table &table() { return ActiveTable<Table, table_for>::get(); }

// To RGB: luma in Q14, chroma in Q13; to YUV: Q15; rounded half up from the matrices' definitions;
// the to-YUV chroma rows sum to exactly 0 so grey stays neutral, and Y's row sums to 219/255
// (limited) or 1 (full) of 2^15.
YuvToRgb yuv_to_rgb_coefficients(int matrix, int full_range)
{
    static constexpr YuvToRgb kTable[3][2] = {
        {{1024, 19077, 13075, 3209, 6660, 16525}, {0, 16384, 11485, 2819, 5850, 14516}},
        {{1024, 19077, 14686, 1747, 4366, 17305}, {0, 16384, 12901, 1535, 3835, 15201}},
        {{1024, 19077, 13752, 1535, 5328, 17545}, {0, 16384, 12080, 1348, 4681, 15412}},
    };
    return kTable[matrix][full_range != 0];
}

RgbToYuv rgb_to_yuv_coefficients(int matrix, int full_range)
{
    static constexpr RgbToYuv kTable[3][2] = {
        {{16, 8414, 16520, 3208, -4857, -9535, 14392, 14392, -12051, -2341},
         {0, 9798, 19234, 3736, -5529, -10855, 16384, 16384, -13720, -2664}},
        {{16, 5983, 20127, 2032, -3298, -11094, 14392, 14392, -13072, -1320},
         {0, 6966, 23436, 2366, -3754, -12630, 16384, 16384, -14882, -1502}},
        {{16, 7393, 19080, 1669, -4019, -10373, 14392, 14392, -13234, -1158},
         {0, 8608, 22217, 1943, -4575, -11809, 16384, 16384, -15066, -1318}},
    };
    return kTable[matrix][full_range != 0];
}

namespace {

enum class Reader { U8, U16Low10, U16High10, PairsU8, PairsU16High10, Packed };

struct FormatInfo {
    bool yuv;
    int planes;
    int sub_x, sub_y;     // chroma subsampling (1 or 2); 0 for no chroma
    int sample_bytes;     // per sample of a YUV plane
    bool interleaved;     // chroma in one plane of pairs
    bool swap_uv;         // V before U
    PackedLayout packed;  // RGB formats
    bool destination;
};

bool format_info(int format, FormatInfo &f)
{
    const PackedLayout none{0, 0, 0, 0, -1};
    switch (format) {
    case OZMU_PIX_I420: f = {true, 3, 2, 2, 1, false, false, none, true}; return true;
    case OZMU_PIX_YV12: f = {true, 3, 2, 2, 1, false, true, none, false}; return true;
    case OZMU_PIX_NV12: f = {true, 2, 2, 2, 1, true, false, none, true}; return true;
    case OZMU_PIX_NV21: f = {true, 2, 2, 2, 1, true, true, none, false}; return true;
    case OZMU_PIX_I422: f = {true, 3, 2, 1, 1, false, false, none, false}; return true;
    case OZMU_PIX_I444: f = {true, 3, 1, 1, 1, false, false, none, false}; return true;
    case OZMU_PIX_GRAY8: f = {true, 1, 0, 0, 1, false, false, none, false}; return true;
    case OZMU_PIX_I010: f = {true, 3, 2, 2, 2, false, false, none, false}; return true;
    case OZMU_PIX_P010: f = {true, 2, 2, 2, 2, true, false, none, false}; return true;
    case OZMU_PIX_RGBA: f = {false, 1, 0, 0, 0, false, false, {4, 0, 1, 2, 3}, true}; return true;
    case OZMU_PIX_BGRA: f = {false, 1, 0, 0, 0, false, false, {4, 2, 1, 0, 3}, true}; return true;
    case OZMU_PIX_ARGB: f = {false, 1, 0, 0, 0, false, false, {4, 1, 2, 3, 0}, true}; return true;
    case OZMU_PIX_RGB24: f = {false, 1, 0, 0, 0, false, false, {3, 0, 1, 2, -1}, true}; return true;
    case OZMU_PIX_BGR24: f = {false, 1, 0, 0, 0, false, false, {3, 2, 1, 0, -1}, true}; return true;
    case OZMU_PIX_RGB565:
        f = {false, 1, 0, 0, 0, false, false, {2, 0, 0, 0, -1}, true};
        return true;
    default: return false;
    }
}

bool is_source(int format) { return format != OZMU_PIX_RGB565; }

struct Geometry {
    int planes;
    size_t min_stride[4];
    int width[4], rows[4];  // samples (pairs for interleaved chroma) and rows per plane
};

Geometry geometry(const FormatInfo &f, int width, int height)
{
    Geometry g{};
    g.planes = f.planes;
    if (!f.yuv) {
        g.width[0] = width;
        g.rows[0] = height;
        g.min_stride[0] = static_cast<size_t>(width) * static_cast<size_t>(f.packed.bytes);
        return g;
    }
    g.width[0] = width;
    g.rows[0] = height;
    g.min_stride[0] = static_cast<size_t>(width) * static_cast<size_t>(f.sample_bytes);
    const int cw = f.sub_x == 2 ? (width + 1) / 2 : width;
    const int ch = f.sub_y == 2 ? (height + 1) / 2 : height;
    for (int p = 1; p < f.planes; ++p) {
        g.width[p] = cw;
        g.rows[p] = ch;
        g.min_stride[p] = static_cast<size_t>(cw) * static_cast<size_t>(f.sample_bytes) *
                          (f.interleaved ? 2u : 1u);
    }
    return g;
}

bool valid_size(int width, int height)
{
    return width >= 1 && height >= 1 && width <= kMaxSize && height <= kMaxSize;
}

uint64_t magnitude(ptrdiff_t stride)
{
    return stride < 0 ? 0 - static_cast<uint64_t>(stride) : static_cast<uint64_t>(stride);
}

int check_frame(const ozmu_frame *fr, FormatInfo &f, Geometry &g)
{
    if (!format_info(fr->format, f))
        return OZMU_FRAME_ERR_FORMAT;
    if (!valid_size(fr->width, fr->height))
        return OZMU_FRAME_ERR_SIZE;
    g = geometry(f, fr->width, fr->height);
    for (int p = 0; p < g.planes; ++p)
        if (fr->plane[p] == nullptr)
            return OZMU_FRAME_ERR_NULL;
    for (int p = 0; p < g.planes; ++p)
        if (magnitude(fr->stride[p]) < g.min_stride[p])
            return OZMU_FRAME_ERR_STRIDE;
    return OZMU_OK;
}

// ---- Resampling maps ---------------------------------------------------------------------------

enum class Filter { Bilinear, Nearest, Box };

// One axis: `inputs` samples of a plane whose luma has `luma_inputs`, a sample k of it sited at
// luma position factor * k + half_offset / 2, resampled to `outputs` luma-resolution positions
// (or, plane-wise, to `outputs` samples of the same plane with factor 1).
struct AxisSpec {
    int inputs, outputs, luma_inputs, factor, half_offset;
    Filter filter;
};

int64_t floor_div(int64_t a, int64_t b) { return a >= 0 ? a / b : -((-a + b - 1) / b); }

int clamp_index(int64_t i, int n) { return static_cast<int>(i < 0 ? 0 : i >= n ? n - 1 : i); }

size_t max_taps(const AxisSpec &s)
{
    return static_cast<size_t>(s.inputs) + 3u * static_cast<size_t>(s.outputs);
}

// Fills begin/offset/weight (sized by the caller: outputs, outputs + 1, max_taps).
void build_axis(const AxisSpec &s, int32_t *begin, int32_t *offset, int16_t *weight)
{
    constexpr int64_t kOne = int64_t{1} << kQ;
    int32_t taps = 0;
    for (int i = 0; i < s.outputs; ++i) {
        offset[i] = taps;
        if (s.filter == Filter::Box) {
            // Area coverage: input j spans [p(j), p(j + 1)) in units where each output is kOne.
            const auto p = [&](int64_t j) { return j * s.outputs * kOne / s.inputs; };
            const int64_t lo = i * kOne, hi = lo + kOne;
            int64_t j = int64_t{i} * s.inputs / s.outputs;
            while (p(j + 1) <= lo)
                ++j;
            begin[i] = static_cast<int32_t>(j);
            for (; j < s.inputs && p(j) < hi; ++j) {
                const int64_t a = p(j) > lo ? p(j) : lo, b = p(j + 1) < hi ? p(j + 1) : hi;
                weight[taps++] = static_cast<int16_t>(b - a);
            }
        } else if (s.filter == Filter::Nearest) {
            const int64_t luma = (2 * int64_t{i} + 1) * s.luma_inputs / (2 * int64_t{s.outputs});
            begin[i] = clamp_index(clamp_index(luma, s.luma_inputs) / s.factor, s.inputs);
            weight[taps++] = static_cast<int16_t>(kOne);
        } else {
            // Centre-aligned: output i at input luma (i + 1/2) * in / out - 1/2, then to the
            // plane's own sample grid.
            const int64_t num = (2 * int64_t{i} + 1) * s.luma_inputs - int64_t{s.outputs} -
                                int64_t{s.half_offset} * s.outputs;
            const int64_t pos = floor_div(num * kOne, 2 * int64_t{s.factor} * s.outputs);
            const int64_t whole = floor_div(pos, kOne), frac = pos - whole * kOne;
            const int i0 = clamp_index(whole, s.inputs), i1 = clamp_index(whole + 1, s.inputs);
            begin[i] = i0;
            if (frac == 0 || i0 == i1) {
                weight[taps++] = static_cast<int16_t>(kOne);
            } else {
                weight[taps++] = static_cast<int16_t>(kOne - frac);
                weight[taps++] = static_cast<int16_t>(frac);
            }
        }
    }
    offset[s.outputs] = taps;
}

bool is_identity(const AxisSpec &s, const int32_t *begin, const int32_t *offset)
{
    if (s.inputs != s.outputs)
        return false;
    for (int i = 0; i < s.outputs; ++i)
        if (begin[i] != i || offset[i + 1] - offset[i] != 1)
            return false;
    return true;
}

AxisSpec plane_axis(int inputs, int outputs)
{
    return {inputs, outputs, inputs, 1, 0, inputs >= 2 * outputs ? Filter::Box : Filter::Bilinear};
}

// Chroma of a subsampled plane brought to luma resolution.
AxisSpec chroma_axis(int inputs, int luma_inputs, int outputs, int factor, bool centred, bool fast)
{
    AxisSpec s{inputs,          outputs, luma_inputs, factor, factor == 2 && centred ? 1 : 0,
               Filter::Bilinear};
    if (inputs >= 2 * outputs)
        s.filter = Filter::Box;
    else if (fast && factor == 2)
        s.filter = Filter::Nearest;
    return s;
}

// ---- Working memory ----------------------------------------------------------------------------

class Arena {
public:
    explicit Arena(uint8_t *base) : base_(base) {}
    template <class T>
    T *take(size_t count)
    {
        used_ = (used_ + 63) & ~size_t{63};
        T *p = base_ != nullptr ? reinterpret_cast<T *>(base_ + used_) : nullptr;
        used_ += count * sizeof(T);
        return p;
    }
    size_t used() const { return used_; }

private:
    uint8_t *base_;
    size_t used_ = 0;
};

struct Map {
    AxisMap axis{};
    PairMap pairs{};
    QuadMap quads{};
    bool identity = false;
    bool two_tap = false;   // pairs holds the same map for horizontal2
    bool four_tap = false;  // quads does, for horizontal4
};

}  // namespace

bool build_quad_map(const AxisMap &m, int inputs, int32_t *index, int16_t *pair01, int16_t *pair23,
                    QuadMap &quads)
{
    if (inputs < 4)
        return false;
    const int padded = (m.outputs + 15) & ~15;
    for (int i = 0; i < padded; ++i) {
        const int o = i < m.outputs ? i : m.outputs - 1;
        const int32_t t = m.offset[o], taps = m.offset[o + 1] - t;
        if (taps > 4)
            return false;
        // Four inputs from the first tap, or the row's last four when it ends sooner.
        const int32_t start = m.begin[o] + 4 <= inputs ? m.begin[o] : inputs - 4;
        int16_t w[4] = {0, 0, 0, 0};
        for (int32_t k = 0; k < taps; ++k)
            w[m.begin[o] - start + k] = m.weight[t + k];
        index[i] = start;
        pair01[2 * i] = w[0], pair01[2 * i + 1] = w[1];
        pair23[2 * i] = w[2], pair23[2 * i + 1] = w[3];
    }
    quads = {m.outputs, inputs, index, pair01, pair23};
    return true;
}

bool build_pair_map(const AxisMap &m, int inputs, const PairMapArrays &a, PairMap &pairs)
{
    if (inputs < 2)
        return false;
    const int padded = (m.outputs + 15) & ~15;
    for (int i = 0; i < padded; ++i) {
        const int o = i < m.outputs ? i : m.outputs - 1;
        const int32_t t = m.offset[o], taps = m.offset[o + 1] - t;
        if (taps > 2)
            return false;
        a.index[i] = m.begin[o];
        a.weight[2 * i] = m.weight[t];
        a.weight[2 * i + 1] = taps == 2 ? m.weight[t + 1] : 0;
        if (taps == 1 && m.begin[o] + 1 >= inputs) {  // the last input: weight its left neighbour 0
            a.index[i] = m.begin[o] - 1;
            a.weight[2 * i] = 0;
            a.weight[2 * i + 1] = m.weight[t];
        }
    }
    // Groups of `size` outputs whose taps must lie within `span` inputs from their window; near
    // the row's end the window ends on its last input instead (every tap is below inputs).
    const auto groups = [&](int size, int span, int32_t *window, const auto &offsets) {
        for (int g = 0; g < padded / size; ++g) {
            const int32_t *idx = a.index + size * g;
            int32_t lo = idx[0], hi = idx[0];
            for (int k = 1; k < size; ++k)
                lo = idx[k] < lo ? idx[k] : lo, hi = idx[k] > hi ? idx[k] : hi;
            if (hi + 1 - lo > span - 1)
                return false;
            window[g] = lo + span <= inputs || inputs < span ? lo : inputs - span;
            for (int k = 0; k < size; ++k)
                offsets(size * g + k, 2 * (idx[k] - window[g]));
        }
        return true;
    };
    if (!groups(4, 8, a.window, [&](int i, int at) {
            for (int b = 0; b < 4; ++b)
                a.shuffle[4 * i + b] = static_cast<uint8_t>(at + b);
        }))
        return false;
    const bool octets = groups(8, 16, a.window8, [&](int i, int at) {
        const bool second = a.weight[2 * i + 1] > a.weight[2 * i];  // the heavier tap is the base
        uint8_t *base = a.shuffle8 + 32 * (i / 8) + 2 * (i % 8), *other = base + 16;
        base[0] = static_cast<uint8_t>(at + (second ? 2 : 0));
        base[1] = static_cast<uint8_t>(base[0] + 1);
        other[0] = static_cast<uint8_t>(at + (second ? 0 : 2));
        other[1] = static_cast<uint8_t>(other[0] + 1);
        a.coef[i] = static_cast<int16_t>(2 * a.weight[2 * i + (second ? 0 : 1)]);
    });
    pairs = {m.outputs,
             inputs,
             inputs >= 8 ? m.outputs & ~3 : 0,
             octets && inputs >= 16 ? m.outputs & ~7 : 0,
             a.index,
             a.weight,
             a.window,
             a.shuffle,
             a.window8,
             a.shuffle8,
             a.coef};
    return true;
}

namespace {

// horizontal: the map also gets the forms of the horizontal kernels (PairMap, QuadMap).
Map make_map(Arena &arena, const AxisSpec &s, bool horizontal)
{
    auto *begin = arena.take<int32_t>(static_cast<size_t>(s.outputs));
    auto *offset = arena.take<int32_t>(static_cast<size_t>(s.outputs) + 1);
    auto *weight = arena.take<int16_t>(max_taps(s));
    const size_t padded =
        horizontal ? (static_cast<size_t>(s.outputs) + 15) & ~size_t{15} : size_t{0};
    PairMapArrays arrays;
    arrays.index = arena.take<int32_t>(padded);
    arrays.weight = arena.take<int16_t>(2 * padded);
    arrays.window = arena.take<int32_t>(padded / 4);
    arrays.shuffle = arena.take<uint8_t>(4 * padded);
    arrays.window8 = arena.take<int32_t>(padded / 8);
    arrays.shuffle8 = arena.take<uint8_t>(4 * padded);
    arrays.coef = arena.take<int16_t>(padded);
    auto *quad_index = arena.take<int32_t>(padded);
    auto *pair01 = arena.take<int16_t>(2 * padded);
    auto *pair23 = arena.take<int16_t>(2 * padded);
    Map m;
    m.axis = {s.outputs, begin, offset, weight};
    if (begin != nullptr) {
        build_axis(s, begin, offset, weight);
        m.identity = is_identity(s, begin, offset);
        m.two_tap = horizontal && !m.identity && build_pair_map(m.axis, s.inputs, arrays, m.pairs);
        m.four_tap = horizontal && !m.identity && !m.two_tap &&
                     build_quad_map(m.axis, s.inputs, quad_index, pair01, pair23, m.quads);
    }
    return m;
}

// A set of source channels read together (one plane) and resampled alike.
struct Group {
    const uint8_t *base = nullptr;
    ptrdiff_t stride = 0;
    int width = 0;  // samples per row
    int channels = 0;
    int depth = 8;
    Reader reader = Reader::U8;
    PackedLayout packed{};
    Map x, y;
};

struct Rows {
    int16_t *read[4];
    int16_t *read_b[4];  // the second row of a two-tap vertical filter
    int32_t *acc[4];
    int16_t *vertical[4];
};

const uint8_t *row_at(const uint8_t *base, ptrdiff_t stride, int y)
{
    return base + static_cast<int64_t>(y) * static_cast<int64_t>(stride);
}

uint8_t *row_at(uint8_t *base, ptrdiff_t stride, int y)
{
    return base + static_cast<int64_t>(y) * static_cast<int64_t>(stride);
}

// Output row `y` of a group, each channel at the x map's output width; out[c] receives either
// the given buffer or, for an identity x map, the vertical result itself.
void produce(const Table &t, const Group &g, const Rows &rows, int y, int16_t *const buffers[],
             const int16_t *out[])
{
    const AxisMap &ym = g.y.axis;
    const int first = ym.begin[y], taps = ym.offset[y + 1] - ym.offset[y];
    const auto read = [&](const uint8_t *src, int16_t *const to[4]) {
        switch (g.reader) {
        case Reader::U8: t.read_u8(src, g.width, to[0]); break;
        case Reader::U16Low10: t.read_u16_low10(src, g.width, to[0]); break;
        case Reader::U16High10: t.read_u16_high10(src, g.width, to[0]); break;
        case Reader::PairsU8: t.read_pairs_u8(src, g.width, to[0], to[1]); break;
        case Reader::PairsU16High10: t.read_pairs_u16_high10(src, g.width, to[0], to[1]); break;
        case Reader::Packed:
            t.read_packed(src, g.width, g.packed, to[0], to[1], to[2], to[3]);
            break;
        }
    };
    if (taps == 1 && g.reader == Reader::U8 && g.x.two_tap && t.horizontal2_u8 != nullptr) {
        // One 8-bit row at 2^14: its working-scale samples go straight into the filter.
        t.horizontal2_u8(row_at(g.base, g.stride, first), g.x.pairs, buffers[0]);
        out[0] = buffers[0];
        return;
    }
    if (taps <= 2 && t.vertical2 != nullptr && t.vertical2_u8 != nullptr) {
        // Weights summing to 2^14 over one or two rows: the two-row kernels give the same bytes
        // without the 32-bit accumulator.
        const uint8_t *a = row_at(g.base, g.stride, first);
        const uint8_t *b = taps == 2 ? row_at(g.base, g.stride, first + 1) : a;
        const int weight_b = taps == 2 ? ym.weight[ym.offset[y] + 1] : 0;
        if (g.reader == Reader::U8) {
            t.vertical2_u8(a, b, weight_b, g.width, rows.vertical[0]);
        } else {
            read(a, rows.read);
            if (taps == 2)
                read(b, rows.read_b);
            for (int c = 0; c < g.channels; ++c)
                t.vertical2(rows.read[c], taps == 2 ? rows.read_b[c] : rows.read[c], weight_b,
                            g.depth, g.width, rows.vertical[c]);
        }
    } else {
        for (int32_t k = ym.offset[y]; k < ym.offset[y + 1]; ++k) {
            read(row_at(g.base, g.stride, first + (k - ym.offset[y])), rows.read);
            for (int c = 0; c < g.channels; ++c)
                t.vertical_accumulate(rows.acc[c], rows.read[c], ym.weight[k], g.width,
                                      k == ym.offset[y] ? 1 : 0);
        }
        for (int c = 0; c < g.channels; ++c)
            t.vertical_round(rows.acc[c], g.depth, g.width, rows.vertical[c]);
    }
    for (int c = 0; c < g.channels; ++c) {
        if (g.x.identity) {
            out[c] = rows.vertical[c];
        } else if (g.x.two_tap && t.horizontal2 != nullptr) {
            t.horizontal2(rows.vertical[c], g.x.pairs, buffers[c]);
            out[c] = buffers[c];
        } else if (g.x.four_tap && t.horizontal4 != nullptr) {
            t.horizontal4(rows.vertical[c], g.x.quads, buffers[c]);
            out[c] = buffers[c];
        } else {
            t.horizontal(rows.vertical[c], g.x.axis, buffers[c]);
            out[c] = buffers[c];
        }
    }
}

struct Job {
    const ozmu_frame *src, *dst;
    FormatInfo sf, df;
    Geometry sg, dg;
    ozmu_convert_opts opts;
};

// Everything one call needs, laid out in one allocation (sized by a first pass with no base).
struct Plan {
    Group luma, chroma[2];  // chroma[1] unused for interleaved chroma
    int chroma_groups = 0;
    Rows rows{};
    int16_t *out[8]{};
    int16_t *neutral = nullptr;
    // The chroma row last produced into out[1], out[2]: an enlarged chroma plane (nearest rows
    // in the fast mode) hands the same taps to several rows in turn.
    mutable int chroma_row = -1;
    mutable const int16_t *chroma_got[2]{};
};

// Output rows a and b of a map read the same inputs with the same weights.
bool same_taps(const AxisMap &m, int a, int b)
{
    const int32_t taps = m.offset[a + 1] - m.offset[a];
    if (m.begin[a] != m.begin[b] || m.offset[b + 1] - m.offset[b] != taps)
        return false;
    for (int32_t k = 0; k < taps; ++k)
        if (m.weight[m.offset[a] + k] != m.weight[m.offset[b] + k])
            return false;
    return true;
}

void plan_groups(const Job &j, Arena &arena, Plan &plan)
{
    const ozmu_frame &s = *j.src;
    const int dw = j.dst->width, dh = j.dst->height;
    const bool dst_yuv = j.df.yuv;
    const int dcw = (dw + 1) / 2, dch = (dh + 1) / 2;
    const int max_width = s.width;
    for (int c = 0; c < 4; ++c) {
        plan.rows.read[c] = arena.take<int16_t>(static_cast<size_t>(max_width));
        plan.rows.read_b[c] = arena.take<int16_t>(static_cast<size_t>(max_width));
        plan.rows.acc[c] = arena.take<int32_t>(static_cast<size_t>(max_width));
        plan.rows.vertical[c] = arena.take<int16_t>(static_cast<size_t>(max_width));
    }
    for (auto &o : plan.out)
        o = arena.take<int16_t>(static_cast<size_t>(dw));

    Group &l = plan.luma;
    l.base = s.plane[0];
    l.stride = s.stride[0];
    l.width = s.width;
    if (!j.sf.yuv) {
        l.channels = 4;
        l.reader = Reader::Packed;
        l.packed = j.sf.packed;
    } else {
        l.channels = 1;
        l.depth = j.sf.sample_bytes == 2 ? 10 : 8;
        l.reader = j.sf.sample_bytes == 1      ? Reader::U8
                   : s.format == OZMU_PIX_P010 ? Reader::U16High10
                                               : Reader::U16Low10;
    }
    l.x = make_map(arena, plane_axis(s.width, dw), true);
    l.y = make_map(arena, plane_axis(s.height, dh), false);

    if (!j.sf.yuv)
        return;
    if (j.sf.sub_x == 0) {  // grey: neutral chroma
        plan.neutral = arena.take<int16_t>(static_cast<size_t>(dw > dcw ? dw : dcw));
        if (plan.neutral != nullptr)
            for (int x = 0; x < dw; ++x)
                plan.neutral[x] = 128 << kWorkShift8;
        return;
    }
    const int cw = j.sg.width[1], ch = j.sg.rows[1];
    const bool centred = j.opts.siting == OZMU_SITING_CENTER;
    const bool fast = j.opts.chroma == OZMU_CHROMA_FAST;
    const AxisSpec xs =
        dst_yuv ? plane_axis(cw, dcw) : chroma_axis(cw, s.width, dw, j.sf.sub_x, centred, fast);
    // Vertically, 4:2:0 chroma sits midway between its two rows whatever the siting.
    const AxisSpec ys =
        dst_yuv ? plane_axis(ch, dch) : chroma_axis(ch, s.height, dh, j.sf.sub_y, true, fast);
    plan.chroma_groups = j.sf.interleaved ? 1 : 2;
    for (int k = 0; k < plan.chroma_groups; ++k) {
        Group &g = plan.chroma[k];
        g.base = s.plane[1 + k];
        g.stride = s.stride[1 + k];
        g.width = cw;
        g.depth = l.depth;
        g.channels = j.sf.interleaved ? 2 : 1;
        g.reader = j.sf.interleaved
                       ? (j.sf.sample_bytes == 2 ? Reader::PairsU16High10 : Reader::PairsU8)
                       : l.reader;
        // Both planar chroma groups share one geometry.
        g.x = k == 0 ? make_map(arena, xs, true) : plan.chroma[0].x;
        g.y = k == 0 ? make_map(arena, ys, false) : plan.chroma[0].y;
    }
}

// U and V rows (row `y` of the chroma groups' output space), in that order.
void produce_chroma(const Table &t, const Job &j, const Plan &plan, int y, const int16_t *uv[2])
{
    if (plan.neutral != nullptr) {
        uv[0] = uv[1] = plan.neutral;
        return;
    }
    const int16_t *got[2];
    const bool keep = !plan.chroma[0].x.identity;  // results then stay in out[1], out[2]
    if (keep && plan.chroma_row >= 0 && same_taps(plan.chroma[0].y.axis, plan.chroma_row, y)) {
        got[0] = plan.chroma_got[0];
        got[1] = plan.chroma_got[1];
    } else if (plan.chroma_groups == 1) {
        produce(t, plan.chroma[0], plan.rows, y, &plan.out[1], got);
    } else {
        produce(t, plan.chroma[0], plan.rows, y, &plan.out[1], &got[0]);
        // The second group's vertical rows may be reused: keep the first's result in out[1].
        if (got[0] != plan.out[1]) {
            std::memcpy(plan.out[1], got[0],
                        sizeof(int16_t) * static_cast<size_t>(plan.chroma[0].x.axis.outputs));
            got[0] = plan.out[1];
        }
        produce(t, plan.chroma[1], plan.rows, y, &plan.out[2], &got[1]);
    }
    if (keep) {
        plan.chroma_row = y;
        plan.chroma_got[0] = got[0];
        plan.chroma_got[1] = got[1];
    }
    uv[0] = got[j.sf.swap_uv ? 1 : 0];
    uv[1] = got[j.sf.swap_uv ? 0 : 1];
}

using PackedFn = void (*)(const int16_t *, const int16_t *, const int16_t *, const YuvToRgb &, int,
                          uint8_t *);
using PackFn = void (*)(const int16_t *, const int16_t *, const int16_t *, const int16_t *, int,
                        uint8_t *);
using FusedFn = void (*)(const uint8_t *, const Chroma420Rows &, const YuvToRgb &, int, uint8_t *);

struct PackedEntries {
    PackedFn yuv_to;
    PackFn pack;
    FusedFn yuv420_to;
};

PackedEntries packed_entries(const Table &t, int format)
{
    switch (format) {
    case OZMU_PIX_RGBA: return {t.yuv_to_rgba, t.pack_rgba, t.yuv420_to_rgba};
    case OZMU_PIX_BGRA: return {t.yuv_to_bgra, t.pack_bgra, t.yuv420_to_bgra};
    case OZMU_PIX_ARGB: return {t.yuv_to_argb, t.pack_argb, t.yuv420_to_argb};
    case OZMU_PIX_RGB24: return {t.yuv_to_rgb24, t.pack_rgb24, t.yuv420_to_rgb24};
    case OZMU_PIX_BGR24: return {t.yuv_to_bgr24, t.pack_bgr24, t.yuv420_to_bgr24};
    default: return {t.yuv_to_rgb565, t.pack_rgb565, t.yuv420_to_rgb565};
    }
}

// Unscaled 8-bit 4:2:0 to packed RGB in one kernel a row (the same bytes as the staged path).
bool fusable(const Job &j)
{
    return j.sf.yuv && j.sf.sub_x == 2 && j.sf.sub_y == 2 && j.sf.sample_bytes == 1 &&
           j.src->width == j.dst->width && j.src->height == j.dst->height;
}

void run_fused(FusedFn fused, const Job &j, int row_begin, int row_end)
{
    const ozmu_frame &s = *j.src, &d = *j.dst;
    const YuvToRgb m = yuv_to_rgb_coefficients(j.opts.matrix, j.opts.src_range);
    const bool fast = j.opts.chroma == OZMU_CHROMA_FAST;
    const int chroma_rows = j.sg.rows[1];
    Chroma420Rows c{};
    c.step = j.sf.interleaved ? 2 : 1;
    c.width = j.sg.width[1];
    c.horizontal = fast ? 0 : j.opts.siting == OZMU_SITING_LEFT ? 1 : 2;
    const int u_plane = j.sf.interleaved ? 1 : j.sf.swap_uv ? 2 : 1;
    const int v_plane = j.sf.interleaved ? 1 : j.sf.swap_uv ? 1 : 2;
    const int u_offset = j.sf.interleaved && j.sf.swap_uv ? 1 : 0;
    const int v_offset = j.sf.interleaved ? 1 - u_offset : 0;
    for (int y = row_begin; y < row_end; ++y) {
        // Chroma row k sits midway between luma rows 2k and 2k + 1.
        const int k = y >> 1;
        int r[2] = {k, k};
        if (fast)
            c.w[0] = 4, c.w[1] = 0;
        else if ((y & 1) == 0)
            r[0] = k > 0 ? k - 1 : 0, c.w[0] = 1, c.w[1] = 3;
        else
            r[1] = k + 1 < chroma_rows ? k + 1 : k, c.w[0] = 3, c.w[1] = 1;
        for (int i = 0; i < 2; ++i) {
            c.u[i] = row_at(s.plane[u_plane], s.stride[u_plane], r[i]) + u_offset;
            c.v[i] = row_at(s.plane[v_plane], s.stride[v_plane], r[i]) + v_offset;
        }
        fused(row_at(s.plane[0], s.stride[0], y), c, m, d.width,
              row_at(d.plane[0], d.stride[0], y));
    }
}

// Unscaled packed RGB to I420 / NV12 two rows at a time (the same bytes as the staged path).
bool fusable_to_yuv420(const Job &j)
{
    return !j.sf.yuv && j.df.yuv && j.src->width == j.dst->width && j.src->height == j.dst->height;
}

void run_packed_to_yuv420(const Table &t, const Job &j, int row_begin, int row_end)
{
    const ozmu_frame &s = *j.src, &d = *j.dst;
    const RgbToYuv m = rgb_to_yuv_coefficients(j.opts.matrix, j.opts.dst_range);
    const bool nv12 = d.format == OZMU_PIX_NV12;
    const int left_siting = j.opts.siting == OZMU_SITING_LEFT ? 1 : 0;
    for (int y = row_begin; y < row_end; y += 2) {  // row_begin is even
        const int below = y + 1 < d.height ? y + 1 : y;
        uint8_t *u = row_at(d.plane[1], d.stride[1], y / 2);
        uint8_t *v = nv12 ? u + 1 : row_at(d.plane[2], d.stride[2], y / 2);
        t.packed_to_yuv420(
            row_at(s.plane[0], s.stride[0], y), row_at(s.plane[0], s.stride[0], below), j.sf.packed,
            m, left_siting, d.width, row_at(d.plane[0], d.stride[0], y),
            y + 1 < row_end ? row_at(d.plane[0], d.stride[0], y + 1) : nullptr, u, v, nv12 ? 2 : 1);
    }
}

// 8-bit planar 4:2:0 to I420 halved exactly on every plane: each output the rounded mean of its
// 2 x 2 inputs, which is what the area maps (8192, 8192 on both axes) give.
bool halvable(const Job &j)
{
    const int dw = j.dst->width, dh = j.dst->height;
    return j.sf.yuv && j.sf.sub_x == 2 && j.sf.sub_y == 2 && j.sf.sample_bytes == 1 &&
           !j.sf.interleaved && j.dst->format == OZMU_PIX_I420 && j.src->width == 2 * dw &&
           j.src->height == 2 * dh && (dw & 1) == 0 && (dh & 1) == 0;
}

void run_halved(const Table &t, const Job &j, int row_begin, int row_end)
{
    const ozmu_frame &s = *j.src, &d = *j.dst;
    for (int y = row_begin; y < row_end; ++y) {
        t.box2_u8(row_at(s.plane[0], s.stride[0], 2 * y),
                  row_at(s.plane[0], s.stride[0], 2 * y + 1), d.width,
                  row_at(d.plane[0], d.stride[0], y));
        if ((y & 1) != 0)
            continue;
        for (int p = 1; p < 3; ++p) {
            const int sp = j.sf.swap_uv ? 3 - p : p;
            t.box2_u8(row_at(s.plane[sp], s.stride[sp], y),
                      row_at(s.plane[sp], s.stride[sp], y + 1), d.width / 2,
                      row_at(d.plane[p], d.stride[p], y / 2));
        }
    }
}

// Unscaled P010 to 3- or 4-byte RGB in the fast chroma mode, one kernel a row (the staged bytes).
bool fusable_p010(const Job &j)
{
    return j.src->format == OZMU_PIX_P010 && !j.df.yuv && j.df.packed.bytes >= 3 &&
           j.opts.chroma == OZMU_CHROMA_FAST && j.src->width == j.dst->width &&
           j.src->height == j.dst->height;
}

void run_p010_fast(const Table &t, const Job &j, int row_begin, int row_end)
{
    const ozmu_frame &s = *j.src, &d = *j.dst;
    const YuvToRgb m = yuv_to_rgb_coefficients(j.opts.matrix, j.opts.src_range);
    for (int y = row_begin; y < row_end; ++y)
        t.p010_fast_to_packed(row_at(s.plane[0], s.stride[0], y),
                              row_at(s.plane[1], s.stride[1], y / 2), m, j.df.packed, d.width,
                              row_at(d.plane[0], d.stride[0], y));
}

void run(const Table &t, const Job &j, const Plan &plan, int row_begin, int row_end)
{
    const ozmu_frame &d = *j.dst;
    const int dw = d.width, dh = d.height;
    if (!j.df.yuv) {
        const PackedEntries e = packed_entries(t, d.format);
        const YuvToRgb m = yuv_to_rgb_coefficients(j.opts.matrix, j.opts.src_range);
        for (int y = row_begin; y < row_end; ++y) {
            uint8_t *out = row_at(d.plane[0], d.stride[0], y);
            const int16_t *c[4];
            produce(t, plan.luma, plan.rows, y, plan.out, c);
            if (j.sf.yuv) {
                const int16_t *yrow = c[0];
                if (yrow != plan.out[0]) {  // keep luma apart from the chroma groups' rows
                    std::memcpy(plan.out[0], yrow, sizeof(int16_t) * static_cast<size_t>(dw));
                    yrow = plan.out[0];
                }
                const int16_t *uv[2];
                produce_chroma(t, j, plan, y, uv);
                e.yuv_to(yrow, uv[0], uv[1], m, dw, out);
            } else {
                e.pack(c[0], c[1], c[2], c[3], dw, out);
            }
        }
        return;
    }

    const bool nv12 = d.format == OZMU_PIX_NV12;
    const auto chroma_out = [&](int row, uint8_t *&u, uint8_t *&v) {
        u = row_at(d.plane[1], d.stride[1], row);
        v = nv12 ? u + 1 : row_at(d.plane[2], d.stride[2], row);
    };
    const ptrdiff_t step = nv12 ? 2 : 1;
    const int dcw = (dw + 1) / 2;
    if (!j.sf.yuv) {
        const RgbToYuv m = rgb_to_yuv_coefficients(j.opts.matrix, j.opts.dst_range);
        for (int y = row_begin; y < row_end; ++y) {
            const int16_t *top[4];
            produce(t, plan.luma, plan.rows, y, plan.out, top);
            t.rgb_to_y(top[0], top[1], top[2], m, dw, row_at(d.plane[0], d.stride[0], y));
            if ((y & 1) != 0)
                continue;
            // The pair's second row: identity maps hand out the vertical rows, which the next
            // produce() overwrites, so keep the first row's channels in out[0..2].
            const int16_t *first[3];
            for (int c = 0; c < 3; ++c) {
                if (top[c] != plan.out[c])
                    std::memcpy(plan.out[c], top[c], sizeof(int16_t) * static_cast<size_t>(dw));
                first[c] = plan.out[c];
            }
            const int16_t *bottom[4];
            produce(t, plan.luma, plan.rows, y + 1 < dh ? y + 1 : y, plan.out + 4, bottom);
            uint8_t *u, *v;
            chroma_out(y / 2, u, v);
            t.rgb_to_uv(first, bottom, m, j.opts.siting == OZMU_SITING_LEFT ? 1 : 0, dw, u, v,
                        step);
        }
        return;
    }

    for (int y = row_begin; y < row_end; ++y) {
        const int16_t *c[1];
        produce(t, plan.luma, plan.rows, y, plan.out, c);
        t.store_u8(c[0], dw, row_at(d.plane[0], d.stride[0], y), 1);
        if ((y & 1) != 0)
            continue;
        const int16_t *uv[2];
        produce_chroma(t, j, plan, y / 2, uv);
        uint8_t *u, *v;
        chroma_out(y / 2, u, v);
        t.store_u8(uv[0], dcw, u, step);
        t.store_u8(uv[1], dcw, v, step);
    }
}

bool valid_options(const ozmu_convert_opts &o)
{
    const auto in = [](int v, int hi) { return v >= 0 && v <= hi; };
    return in(o.matrix, 2) && in(o.src_range, 1) && in(o.dst_range, 1) && in(o.chroma, 1) &&
           in(o.siting, 1);
}

constexpr struct {
    int code;
    const char *text;
} kMessages[] = {
    {OZMU_OK, "success"},
    {OZMU_ERR_FAIL, "operation failed"},
    {OZMU_ERR_FAIL_SUFFIX, "bitstream refill failed inside a code"},
    {OZMU_ERR_MALLOC, "out of memory"},
    {OZMU_ERR_INVALID_ARG, "invalid argument"},
    {OZMU_ERR_ALLOC_FRAME, "frame allocation failed"},
    {OZMU_ERR_ALLOC_BUF, "buffer allocation failed"},
    {OZMU_ERR_UNSUPPORTED_CS, "unsupported colour format"},
    {OZMU_FRAME_ERR_NULL, "null frame or plane pointer"},
    {OZMU_FRAME_ERR_FORMAT, "unknown pixel format"},
    {OZMU_FRAME_ERR_SIZE, "frame size outside 1..16384"},
    {OZMU_FRAME_ERR_STRIDE, "stride smaller than a row"},
    {OZMU_FRAME_ERR_UNSUPPORTED, "unsupported conversion"},
    {OZMU_FRAME_ERR_OPTION, "invalid conversion option"},
    {OZMU_FRAME_ERR_ROWS, "invalid row range"},
};

}  // namespace
}  // namespace ozmu::frame

using namespace ozmu::frame;

extern "C" {

OZMU_API void ozmu_convert_opts_init(ozmu_convert_opts *opts)
{
    if (opts == nullptr)
        return;
    *opts = {OZMU_MATRIX_BT601,
             OZMU_RANGE_LIMITED,
             OZMU_RANGE_LIMITED,
             OZMU_CHROMA_ACCURATE,
             OZMU_SITING_LEFT,
             0,
             0};
}

OZMU_API int ozmu_convert_supported(int src_format, int dst_format)
{
    FormatInfo s, d;
    return format_info(src_format, s) && is_source(src_format) && format_info(dst_format, d) &&
                   d.destination
               ? 1
               : 0;
}

OZMU_API int ozmu_frame_layout(int format, int width, int height, int *planes, size_t min_stride[4],
                               int rows[4])
{
    FormatInfo f;
    if (!format_info(format, f))
        return OZMU_FRAME_ERR_FORMAT;
    if (!valid_size(width, height))
        return OZMU_FRAME_ERR_SIZE;
    const Geometry g = geometry(f, width, height);
    if (planes != nullptr)
        *planes = g.planes;
    for (int p = 0; p < 4; ++p) {
        if (min_stride != nullptr)
            min_stride[p] = p < g.planes ? g.min_stride[p] : 0;
        if (rows != nullptr)
            rows[p] = p < g.planes ? g.rows[p] : 0;
    }
    return OZMU_OK;
}

OZMU_API int ozmu_frame_from_imgb(const ozmu_imgb *img, ozmu_frame *frame)
{
    if (img == nullptr || frame == nullptr)
        return OZMU_FRAME_ERR_NULL;
    int format;
    switch (img->cs) {
    case OZMU_CS_YUV400: format = OZMU_PIX_GRAY8; break;
    case OZMU_CS_YUV420: format = OZMU_PIX_I420; break;
    case OZMU_CS_YUV422: format = OZMU_PIX_I422; break;
    case OZMU_CS_YUV444: format = OZMU_PIX_I444; break;
    case OZMU_CS_P010: format = OZMU_PIX_I010; break;
    case OZMU_CS_RGB565: format = OZMU_PIX_RGB565; break;
    case OZMU_CS_RGB888: format = OZMU_PIX_RGB24; break;
    case OZMU_CS_RGBA8888: format = OZMU_PIX_RGBA; break;
    case OZMU_CS_BGRA8888: format = OZMU_PIX_BGRA; break;
    case OZMU_CS_ARGB8888: format = OZMU_PIX_ARGB; break;
    default: return OZMU_FRAME_ERR_FORMAT;
    }
    ozmu_frame f{};
    f.format = format;
    f.width = img->width;
    f.height = img->height;
    FormatInfo info;
    format_info(format, info);
    for (int p = 0; p < info.planes; ++p) {
        f.plane[p] = static_cast<uint8_t *>(img->plane[p]);
        f.stride[p] = img->stride[p];
    }
    *frame = f;
    return OZMU_OK;
}

OZMU_API const char *ozmu_strerror(int code)
{
    for (const auto &m : kMessages)
        if (m.code == code)
            return m.text;
    return "unknown error";
}

OZMU_API int ozmu_convert(const ozmu_frame *src, const ozmu_frame *dst,
                          const ozmu_convert_opts *opts)
{
    return convert(table(), src, dst, opts);
}

}  // extern "C"

int ozmu::frame::convert(const Table &table, const ozmu_frame *src, const ozmu_frame *dst,
                         const ozmu_convert_opts *opts)
{
    if (src == nullptr || dst == nullptr)
        return OZMU_FRAME_ERR_NULL;
    Job j{};
    j.src = src;
    j.dst = dst;
    ozmu_convert_opts_init(&j.opts);
    if (opts != nullptr)
        j.opts = *opts;
    if (!format_info(src->format, j.sf) || !format_info(dst->format, j.df))
        return OZMU_FRAME_ERR_FORMAT;
    if (!is_source(src->format) || !j.df.destination)
        return OZMU_FRAME_ERR_UNSUPPORTED;
    int rc = check_frame(src, j.sf, j.sg);
    if (rc == OZMU_OK)
        rc = check_frame(dst, j.df, j.dg);
    if (rc != OZMU_OK)
        return rc;
    if (!valid_options(j.opts) || (j.sf.yuv && j.df.yuv && j.opts.src_range != j.opts.dst_range))
        return OZMU_FRAME_ERR_OPTION;
    int row_begin = j.opts.row_begin, row_end = j.opts.row_end;
    if (row_begin == 0 && row_end == 0)
        row_end = dst->height;
    if (row_begin < 0 || row_begin >= row_end || row_end > dst->height ||
        (j.df.yuv && (row_begin & 1) != 0))
        return OZMU_FRAME_ERR_ROWS;

    if (!j.df.yuv && fusable(j)) {
        const PackedEntries e = packed_entries(table, dst->format);
        if (e.yuv420_to != nullptr) {
            run_fused(e.yuv420_to, j, row_begin, row_end);
            return OZMU_OK;
        }
    }
    if (fusable_p010(j) && table.p010_fast_to_packed != nullptr) {
        run_p010_fast(table, j, row_begin, row_end);
        return OZMU_OK;
    }
    if (fusable_to_yuv420(j) && table.packed_to_yuv420 != nullptr) {
        run_packed_to_yuv420(table, j, row_begin, row_end);
        return OZMU_OK;
    }
    if (halvable(j) && table.box2_u8 != nullptr) {
        run_halved(table, j, row_begin, row_end);
        return OZMU_OK;
    }
    Plan sizing;
    Arena measure(nullptr);
    plan_groups(j, measure, sizing);
    auto *memory = static_cast<uint8_t *>(std::malloc(measure.used() + 64));
    if (memory == nullptr)
        return OZMU_ERR_MALLOC;
    Plan plan;
    Arena arena(memory);
    plan_groups(j, arena, plan);
    run(table, j, plan, row_begin, row_end);
    std::free(memory);
    return OZMU_OK;
}
