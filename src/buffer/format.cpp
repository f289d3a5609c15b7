// Plane geometry of the colour formats: plane count and sizes, strides, row counts and the frame
// size, with optional per-plane alignment and a border of padding on every side.
#include <cstring>

#include "buffer/imgb_internal.h"
#include "ozmu.h"

namespace {

using namespace ozmu;

// Sizes come from callers unchecked; hostile ones must wrap like 32-bit registers, not be UB.
int wrap_add(int a, int b)
{
    return static_cast<int>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
int wrap_mul(int a, int b)
{
    return static_cast<int>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Rounds up to a power of two; an alignment of 0 gives 0.
int align_up(int v, uint32_t a)
{
    return static_cast<int>((static_cast<uint32_t>(v) + a - 1u) & (0u - a));
}

enum class Sub : uint8_t { Full, Half, Quarter };

// Rounded-up subsampling with arithmetic shifts: negative sizes stay negative.
int subsample(int v, Sub sub)
{
    switch (sub) {
    case Sub::Half: return wrap_add(v, 1) >> 1;
    case Sub::Quarter: return wrap_add(v, 3) >> 2;
    default: return v;
    }
}

struct PlanarFormat {
    int cs;
    int planes;    // the fourth plane, when present, is a full-size alpha plane
    Sub chroma_w;  // planes 1 and 2
    Sub chroma_h;
    int bytes;  // per sample, every plane
};

constexpr PlanarFormat kPlanarFormats[] = {
    {OZMU_CS_YUV400, 1, Sub::Full, Sub::Full, 1},
    {OZMU_CS_YUV420, 3, Sub::Half, Sub::Half, 1},
    {OZMU_CS_YUV422, 3, Sub::Half, Sub::Full, 1},
    {OZMU_CS_YUV444, 3, Sub::Full, Sub::Full, 1},
    {OZMU_CS_YUV440, 3, Sub::Full, Sub::Half, 1},
    {OZMU_CS_YUV400_16, 1, Sub::Full, Sub::Full, 2},
    {OZMU_CS_YUV411, 3, Sub::Quarter, Sub::Full, 1},
    {OZMU_CS_YUV420A8, 4, Sub::Half, Sub::Half, 1},
    {OZMU_CS_YUV422A8, 4, Sub::Half, Sub::Full, 1},
    {OZMU_CS_YUV444A8, 4, Sub::Full, Sub::Full, 1},
    {OZMU_CS_YUV440A8, 4, Sub::Full, Sub::Half, 1},
    {OZMU_CS_P010, 3, Sub::Half, Sub::Half, 2},
    {OZMU_CS_P210, 3, Sub::Half, Sub::Full, 2},
    {OZMU_CS_P410, 3, Sub::Full, Sub::Full, 2},
    {OZMU_CS_P010X, 3, Sub::Half, Sub::Half, 2},
    {OZMU_CS_P210X, 3, Sub::Half, Sub::Full, 2},
};

const PlanarFormat *find_planar(int cs)
{
    for (const PlanarFormat &f : kPlanarFormats)
        if (f.cs == cs)
            return &f;
    return nullptr;
}

constexpr uint32_t element(int bytes) { return (static_cast<uint32_t>(bytes) << 16) | 1u; }

}  // namespace

extern "C" {

int ozmu_imgb_get_dimension(int cs, int w[4], int h[4], int *planes, uint32_t elem[4])
{
    const PlanarFormat *f = find_planar(cs);
    if (!f) {
        // 3-byte packed pixels are known here too, as one plane left at the picture size.
        if (cs != OZMU_CS_RGB888)
            return OZMU_ERR_UNSUPPORTED_CS;
        *planes = 1;
        elem[0] = element(3);
        return OZMU_OK;
    }
    for (int i = 1; i < f->planes; ++i) {
        const bool alpha = i == 3;
        w[i] = alpha ? w[0] : subsample(w[0], f->chroma_w);
        h[i] = alpha ? h[0] : subsample(h[0], f->chroma_h);
    }
    for (int i = 0; i < f->planes; ++i)
        elem[i] = element(f->bytes);
    *planes = f->planes;
    return OZMU_OK;
}

int ozmu_imgb_get_info(int cs, int width, int height, const uint32_t *align, const uint32_t *pad,
                       int w[4], int h[4], int aw[4], int ah[4], int padx_bytes[4],
                       int pady_rows[4], int *planes, uint32_t elem[4], ozmu_imgb *rec)
{
    std::memset(rec, 0, sizeof *rec);
    rec->width = width;
    rec->height = height;
    rec->cs = cs;
    w[0] = width;
    h[0] = height;

    int count = 0;
    if (is_packed_cs(cs)) {
        aw[0] = align ? align_up(width, hv_horizontal(align[0])) : width;
        ah[0] = align ? align_up(height, hv_vertical(align[0])) : height;
        const int bytes = packed_bytes_per_pixel(cs);
        rec->stride[0] = wrap_mul(aw[0], bytes);
        rec->rows[0] = ah[0];
        elem[0] = element(bytes);
        count = 1;
    } else if (is_planar_cs(cs)) {
        const int code = ozmu_imgb_get_dimension(cs, w, h, &count, elem);
        if (code != OZMU_OK)
            return code;
        for (int i = 0; i < count; ++i) {
            aw[i] = align ? align_up(w[i], hv_horizontal(align[i])) : w[i];
            ah[i] = align ? align_up(h[i], hv_vertical(align[i])) : h[i];
            rec->stride[i] = wrap_mul(elem_bytes(elem[i]), aw[i]);
            rec->rows[i] = wrap_mul(elem_lines(elem[i]), ah[i]);
        }
    } else {
        return OZMU_ERR_UNSUPPORTED_CS;
    }
    rec->aligned_width = aw[0];
    rec->aligned_height = ah[0];

    if (pad) {
        for (int i = 0; i < count; ++i) {
            padx_bytes[i] = elem_bytes(elem[i]) * static_cast<int>(hv_horizontal(pad[i]));
            pady_rows[i] = elem_lines(elem[i]) * static_cast<int>(hv_vertical(pad[i]));
            // A border on both sides.
            rec->stride[i] = wrap_add(rec->stride[i], wrap_mul(2, padx_bytes[i]));
            rec->rows[i] = wrap_add(rec->rows[i], wrap_mul(2, pady_rows[i]));
        }
    }

    uint32_t total = 0;
    for (int i = 0; i < count; ++i)
        total += static_cast<uint32_t>(rec->stride[i]) * static_cast<uint32_t>(rec->rows[i]);
    rec->frame_size = total;
    *planes = count;
    return OZMU_OK;
}

}  // extern "C"
