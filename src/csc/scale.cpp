// Conversion with bilinear scaling: the step rule, the exported weight table, the per-pixel
// reference of the vectorised kernels, the two portable 5-6-5 members and the exported entry
// points.
#include "csc/scale.h"

#include <cstddef>
#include <cstring>

#include "ozmu.h"

namespace ozmu::csc::scaling {

bool make_walk(int src_w, int src_h, int dst_w, int dst_h, Walk *walk)
{
    if (src_w < 1 || src_h < 1 || dst_w < 1 || dst_h < 1)
        return false;
    walk->x = axis_step(src_w, dst_w);
    walk->y = axis_step(src_h, dst_h);
    walk->col_reach = src_w == 1 ? 0 : 1 << walk->x.shift;
    walk->row_reach = src_h == 1 ? 0 : 1 << walk->y.shift;
    return true;
}

}  // namespace ozmu::csc::scaling

namespace {

using namespace ozmu::csc;
using scaling::Walk;

// Filters every destination pixel of `Planes` planes and hands the results to
// emit(row, column, samples). Rows are addressed from each plane's origin, so no pointer is ever
// formed outside the picture.
template <int Planes, class Emit>
void sample_pixels(uint8_t *const planes[], const ptrdiff_t strides[], const Walk &walk, int dst_w,
                   int dst_h, Emit emit)
{
    int y = 0;
    for (int row = 0; row < dst_h; ++row, y += walk.y.step) {
        const int top = (y >> 18) << walk.y.shift;
        const uint8_t *phase_row = &kBilinearWeights[static_cast<size_t>(4 * ((y >> 15) & 7))];
        const uint8_t *tops[Planes];
        const uint8_t *bottoms[Planes];
        for (int p = 0; p < Planes; ++p) {
            tops[p] = planes[p] + strides[p] * top;
            bottoms[p] = planes[p] + strides[p] * (top + walk.row_reach);
        }
        int x = 0;
        for (int i = 0; i < dst_w; ++i, x += walk.x.step) {
            const int left = (x >> 18) << walk.x.shift;
            const int right = left + walk.col_reach;
            const uint8_t *w = phase_row + 32 * ((x >> 15) & 7);
            int samples[Planes];
            for (int p = 0; p < Planes; ++p)
                samples[p] = (w[0] * tops[p][left] + w[1] * tops[p][right] +
                              w[2] * bottoms[p][left] + w[3] * bottoms[p][right]) >>
                             6;
            emit(row, i, samples);
        }
    }
}

// The vectorised members' contract: one stride for every source plane, whole pixels from the
// slot dst_cs selects, rows dst_stride[0] apart.
template <int Planes, int Bytes, bool Yuv>
void scale_interleaved(OZMU_CSC_PARAMS)
{
    Walk walk;
    if (!scaling::make_walk(src_w, src_h, dst_w, dst_h, &walk))
        return;
    const scaling::Target target = scaling::target(dst_cs);
    const ptrdiff_t strides[4] = {src_stride[0], src_stride[0], src_stride[0], src_stride[0]};
    // Byte positions of the first colour, the middle one, the last one and alpha.
    const int lead = Bytes == 4 && target.alpha_first ? 1 : 0;
    const int first = lead + (target.b_first ? 2 : 0);
    const int last = lead + (target.b_first ? 0 : 2);
    const int alpha = target.alpha_first ? 0 : 3;
    uint8_t *const origin = dst[target.slot];
    const ptrdiff_t row_bytes = dst_stride[0];
    sample_pixels<Planes>(src, strides, walk, dst_w, dst_h, [&](int row, int i, const int *s) {
        uint8_t *out = origin + row_bytes * row + ptrdiff_t{Bytes} * i;
        if constexpr (Yuv) {
            const Rgb8 c = yuv_to_rgb(s[0], s[1], s[2]);
            out[first] = c.r;
            out[lead + 1] = c.g;
            out[last] = c.b;
        } else {
            out[first] = static_cast<uint8_t>(s[0]);
            out[lead + 1] = static_cast<uint8_t>(s[1]);
            out[last] = static_cast<uint8_t>(s[2]);
        }
        if constexpr (Bytes == 4)
            out[alpha] = Planes == 4 ? static_cast<uint8_t>(s[3]) : 255;
    });
}

// The portable members: a 5-6-5 plane through dst[0] (and an alpha plane through dst[1]), every
// plane with its own stride.
template <int Planes>
void scale_565(OZMU_CSC_PARAMS)
{
    Walk walk;
    if (!scaling::make_walk(src_w, src_h, dst_w, dst_h, &walk))
        return;
    ptrdiff_t strides[Planes];
    for (int p = 0; p < Planes; ++p)
        strides[p] = src_stride[p];
    const ptrdiff_t word_row_bytes = ptrdiff_t{dst_stride[0] >> 1} * 2;
    sample_pixels<Planes>(src, strides, walk, dst_w, dst_h, [&](int row, int i, const int *s) {
        const Rgb8 c = yuv_to_rgb(s[0], s[1], s[2]);
        const uint16_t word = pack_565(c.r, c.g, c.b);
        std::memcpy(dst[0] + word_row_bytes * row + 2 * ptrdiff_t{i}, &word, 2);
        if constexpr (Planes == 4)
            dst[1][ptrdiff_t{dst_stride[1]} * row + i] = static_cast<uint8_t>(s[3]);
    });
}

}  // namespace

namespace ozmu::ref {

void rsz_r8g8b8_to_rgb888(OZMU_CSC_PARAMS) { scale_interleaved<3, 3, false>(OZMU_CSC_ARGS); }
void rsz_r8g8b8_to_rgba8888(OZMU_CSC_PARAMS) { scale_interleaved<3, 4, false>(OZMU_CSC_ARGS); }
void rsz_r8g8b8a8_to_rgba8888(OZMU_CSC_PARAMS) { scale_interleaved<4, 4, false>(OZMU_CSC_ARGS); }
void rsz_yuv444_to_rgb888(OZMU_CSC_PARAMS) { scale_interleaved<3, 3, true>(OZMU_CSC_ARGS); }
void rsz_yuv444_to_rgba8888(OZMU_CSC_PARAMS) { scale_interleaved<3, 4, true>(OZMU_CSC_ARGS); }
void rsz_yuv444a8_to_rgba8888(OZMU_CSC_PARAMS) { scale_interleaved<4, 4, true>(OZMU_CSC_ARGS); }

}  // namespace ozmu::ref

namespace ozmu::csc {

#define OZMU_CSC_SCALE_REF_ENTRY(name) ref::name,

ScaleTable scale_table_for(unsigned tiers)
{
    static constexpr ScaleTable kReference = {OZMU_CSC_SCALE_LIST(OZMU_CSC_SCALE_REF_ENTRY)};
#if OZMU_HAVE_X86_TIERS
#define OZMU_CSC_SCALE_INSTALLER(isa)                                                              \
    [](ScaleTable &t) {                                                                            \
        t.rsz_r8g8b8_to_rgb888 = isa::rsz_r8g8b8_to_rgb888;                                        \
        t.rsz_r8g8b8_to_rgba8888 = isa::rsz_r8g8b8_to_rgba8888;                                    \
        t.rsz_r8g8b8a8_to_rgba8888 = isa::rsz_r8g8b8a8_to_rgba8888;                                \
        t.rsz_yuv444_to_rgb888 = isa::rsz_yuv444_to_rgb888;                                        \
        t.rsz_yuv444_to_rgba8888 = isa::rsz_yuv444_to_rgba8888;                                    \
        t.rsz_yuv444a8_to_rgba8888 = isa::rsz_yuv444a8_to_rgba8888;                                \
    }
    static constexpr TierInstaller<ScaleTable> kInstallers[] = {
        {cpu::kSsse3, OZMU_CSC_SCALE_INSTALLER(ssse3)},
        {cpu::kAvx2, OZMU_CSC_SCALE_INSTALLER(avx2)},
        {cpu::kAvx512, OZMU_CSC_SCALE_INSTALLER(avx512)},
    };
#undef OZMU_CSC_SCALE_INSTALLER
    return build_table(kReference, tiers, kInstallers);
#else
    (void)tiers;
    return kReference;
#endif
}

const ScaleTable &scale_table() { return ActiveTable<ScaleTable, scale_table_for>::get(); }

}  // namespace ozmu::csc

// The exported table is spelled out from the shared weights, byte by byte.
#define OZMU_WEIGHTS4(i)                                                                           \
    kBilinearWeights[(i)], kBilinearWeights[(i) + 1], kBilinearWeights[(i) + 2],                   \
        kBilinearWeights[(i) + 3]
#define OZMU_WEIGHTS16(i)                                                                          \
    OZMU_WEIGHTS4(i), OZMU_WEIGHTS4((i) + 4), OZMU_WEIGHTS4((i) + 8), OZMU_WEIGHTS4((i) + 12)
#define OZMU_WEIGHTS64(i)                                                                          \
    OZMU_WEIGHTS16(i), OZMU_WEIGHTS16((i) + 16), OZMU_WEIGHTS16((i) + 32), OZMU_WEIGHTS16((i) + 48)

extern "C" {

const uint8_t ozmu_tbl_bilinear_rszw[256] = {OZMU_WEIGHTS64(0), OZMU_WEIGHTS64(64),
                                             OZMU_WEIGHTS64(128), OZMU_WEIGHTS64(192)};

void bilinear_rsz_step_size(int src_w, int src_h, int dst_w, int dst_h, int *xstep, int *ystep)
{
    const AxisStep x = axis_step(src_w, dst_w);
    const AxisStep y = axis_step(src_h, dst_h);
    *xstep = static_cast<int>(static_cast<uint32_t>(x.step) << 3 | static_cast<uint32_t>(x.shift));
    *ystep = static_cast<int>(static_cast<uint32_t>(y.step) << 3 | static_cast<uint32_t>(y.shift));
}

#if OZMU_HAVE_X86_TIERS
#define OZMU_CSC_SCALE_EXPORT(name)                                                                \
    void ozmu_csc_##name(OZMU_CSC_PARAMS) { ozmu::csc::scale_table().name(OZMU_CSC_ARGS); }
#else
#define OZMU_CSC_SCALE_EXPORT(name)                                                                \
    void ozmu_csc_##name(OZMU_CSC_PARAMS) { ozmu::OZMU_NATIVE::name(OZMU_CSC_ARGS); }
#endif

OZMU_CSC_SCALE_LIST(OZMU_CSC_SCALE_EXPORT)

void ozmu_csc_rsz_yuv444_to_rgb565(OZMU_CSC_PARAMS) { scale_565<3>(OZMU_CSC_ARGS); }
void ozmu_csc_rsz_yuv444a8_to_rgb565a8(OZMU_CSC_PARAMS) { scale_565<4>(OZMU_CSC_ARGS); }

}  // extern "C"
