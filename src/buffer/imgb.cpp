// The image buffer: one frame allocation holding up to four planes, reference-counted, with
// optional clearing of its alignment margins and borders, and re-describable in place.
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "buffer/counted.h"
#include "buffer/imgb_internal.h"
#include "ozmu.h"

namespace ozmu {

int imgb_addref(ozmu_imgb *img) { return counted_addref(img); }

int imgb_getref(ozmu_imgb *img) { return counted_getref(img); }

int imgb_release(ozmu_imgb *img)
{
    return counted_release(img, [](ozmu_imgb *dying) {
        if (dying->frame_base[0])
            dying->frame_free(dying->frame_base[0], dying->frame_aux[0]);
    });
}

void *imgb_alloc_frm(int size, uint64_t *aux)
{
    if (aux)
        *aux = 0;
    return ozmu_malloc_align32(static_cast<uint32_t>(size));
}

void imgb_free_frm(void *base, uint64_t /*aux*/) { ozmu_mfree_align32(base); }

}  // namespace ozmu

namespace {

using namespace ozmu;

// Per-plane outputs of ozmu_imgb_get_info.
struct Geometry {
    int w[4], h[4], aw[4], ah[4], padx_bytes[4], pady_rows[4];
    int planes;
    uint32_t elem[4];
};

int compute_geometry(ozmu_imgb *rec, int width, int height, int cs, const uint32_t *align,
                     const uint32_t *pad, Geometry &g)
{
    return ozmu_imgb_get_info(cs, width, height, align, pad, g.w, g.h, g.aw, g.ah, g.padx_bytes,
                              g.pady_rows, &g.planes, g.elem, rec);
}

// Places the planes one after another from `base`, each starting past its top and left border.
// The aux value advances by the same plane sizes even when it starts at 0, so that later planes
// carry their byte offset in the frame; only the border offset is skipped while it is still 0.
// Addresses are formed as integers: with hostile sizes the frame size has wrapped and they need
// not lie inside the allocation.
void layout_planes(ozmu_imgb *rec, const Geometry &g, const uint32_t *pad, void *base, uint64_t aux)
{
    uint64_t p = reinterpret_cast<uintptr_t>(base);
    uint64_t x = aux;
    for (int i = 0; i < g.planes; ++i) {
        rec->frame_base[i] = reinterpret_cast<void *>(static_cast<uintptr_t>(p));
        rec->frame_aux[i] = x;
        rec->plane[i] = rec->frame_base[i];
        rec->plane_aux[i] = x;
        if (pad) {
            const uint64_t offset = static_cast<uint64_t>(
                int64_t{g.padx_bytes[i]} + int64_t{hv_vertical(pad[i])} * rec->stride[i]);
            rec->plane[i] = reinterpret_cast<void *>(static_cast<uintptr_t>(p + offset));
            if (x != 0)
                rec->plane_aux[i] = x + offset;
        }
        const uint64_t plane_bytes =
            uint64_t{static_cast<uint32_t>(rec->stride[i]) * static_cast<uint32_t>(rec->rows[i])};
        p += plane_bytes;
        x += plane_bytes;
    }
}

uint8_t *row_at(void *origin, int stride, int64_t row, int64_t byte = 0)
{
    return static_cast<uint8_t *>(origin) + (row * stride + byte);
}

void clear_bytes(uint8_t *dst, int64_t n)
{
    if (n > 0)
        std::memset(dst, 0, static_cast<size_t>(n));
}

// Zeroes the columns right of the picture on its rows, then `below_bytes` at the start of each
// row between the picture and the aligned height.
void clear_align_margin(void *plane, int stride, int w, int h, int aw, int ah, int bytes,
                        int64_t below_bytes)
{
    if (aw > w && h > 0)
        for (int y = 0; y < h; ++y)
            clear_bytes(row_at(plane, stride, y, int64_t{w} * bytes), (int64_t{aw} - w) * bytes);
    if (ah > h)
        for (int y = h; y < ah; ++y)
            clear_bytes(row_at(plane, stride, y), below_bytes);
}

}  // namespace

extern "C" {

int ozmu_imgb_option(ozmu_imgb *img, unsigned char opt, int planes, const int *w, const int *h,
                     const int *aw, const int *ah, const uint32_t *pad, const uint32_t *elem)
{
    if (opt & OZMU_IMGB_OPT_CLEAR_ALIGN) {
        if (is_planar_cs(img->cs)) {
            for (int i = 0; i < planes; ++i) {
                const int bytes = elem_bytes(elem[i]);
                clear_align_margin(img->plane[i], img->stride[i], w[i], h[i], aw[i], ah[i], bytes,
                                   int64_t{aw[i]} * bytes);
            }
        } else if (is_packed_cs(img->cs)) {
            // Rows below a packed picture are cleared for aw bytes, not aw pixels: callers rely
            // on the rest of those rows being left as it was.
            clear_align_margin(img->plane[0], img->stride[0], img->width, img->height, aw[0], ah[0],
                               elem_bytes(elem[0]), aw[0]);
        } else {
            return OZMU_ERR_UNSUPPORTED_CS;
        }
    }
    // Without padding words there is no border: a creator asked for OZMU_IMGB_OPT_CLEAR_PAD on an
    // unpadded image must not fault.
    if ((opt & OZMU_IMGB_OPT_CLEAR_PAD) && pad) {
        for (int i = 0; i < planes; ++i) {
            if (pad[i] == 0)
                continue;
            const int64_t ph = hv_horizontal(pad[i]);
            const int64_t pv = hv_vertical(pad[i]);
            const int64_t bytes = elem_bytes(elem[i]);
            void *base = img->frame_base[i];
            const int stride = img->stride[i];
            for (int64_t y = 0; y < pv; ++y)
                clear_bytes(row_at(base, stride, y), stride);
            for (int64_t y = ah[i] + pv; y < ah[i] + 2 * pv; ++y)
                clear_bytes(row_at(base, stride, y), stride);
            for (int64_t y = pv; y < pv + ah[i]; ++y)
                clear_bytes(row_at(base, stride, y), ph * bytes);
            for (int64_t y = pv; y < pv + ah[i]; ++y)
                clear_bytes(row_at(base, stride, y, (aw[i] + ph) * bytes), ph * bytes);
        }
    }
    return OZMU_OK;
}

ozmu_imgb *ozmu_imgb_create(int width, int height, int cs, int opt, const uint32_t *align,
                            const uint32_t *pad, ozmu_fn_alloc frame_alloc, ozmu_fn_free frame_free,
                            int *err)
{
    if (!frame_alloc) {
        frame_alloc = imgb_alloc_frm;  // a frame_free passed alone is ignored
        frame_free = imgb_free_frm;
    } else if (!frame_free) {
        store_err(err, OZMU_ERR_INVALID_ARG);
        return nullptr;
    }

    auto *img = new_zeroed_record<ozmu_imgb>();
    if (!img) {
        store_err(err, OZMU_ERR_MALLOC);
        return nullptr;
    }

    Geometry g;
    int code = compute_geometry(img, width, height, cs, align, pad, g);
    if (code != OZMU_OK) {
        std::free(img);
        store_err(err, code);
        return nullptr;
    }

    uint64_t aux = 0;
    void *frame = frame_alloc(static_cast<int>(img->frame_size), &aux);
    if (!frame) {
        std::free(img);
        store_err(err, OZMU_ERR_ALLOC_FRAME);
        return nullptr;
    }
    layout_planes(img, g, pad, frame, aux);

    if (opt != 0) {
        code = ozmu_imgb_option(img, static_cast<unsigned char>(opt), g.planes, g.w, g.h, g.aw,
                                g.ah, pad, g.elem);
        if (code != OZMU_OK) {
            frame_free(frame, aux);
            std::free(img);
            store_err(err, code);
            return nullptr;
        }
    }

    img->frame_alloc = frame_alloc;
    img->frame_free = frame_free;
    counted_start(img, imgb_addref, imgb_getref, imgb_release);
    store_err(err, OZMU_OK);
    return img;
}

int ozmu_imgb_rebirth(ozmu_imgb *img, int width, int height, int cs, int opt, const uint32_t *align,
                      const uint32_t *pad)
{
    // Hold the image for the duration of the call.
    const bool held = img->addref != nullptr;
    if (held)
        img->addref(img);
    auto finish = [&](int code) {
        if (held && img->release)
            img->release(img);
        return code;
    };

    ozmu_imgb next;
    Geometry g;
    int code = compute_geometry(&next, width, height, cs, align, pad, g);
    if (code != OZMU_OK)
        return finish(code);
    // The frame keeps its full size, so a later rebirth may grow back up to it.
    if (next.frame_size > img->frame_size)
        return finish(OZMU_ERR_MALLOC);

    layout_planes(&next, g, pad, img->frame_base[0], img->frame_aux[0]);
    if (opt != 0) {
        code = ozmu_imgb_option(&next, static_cast<unsigned char>(opt), g.planes, g.w, g.h, g.aw,
                                g.ah, pad, g.elem);
        if (code != OZMU_OK)
            return finish(code);
    }

    img->width = next.width;
    img->height = next.height;
    img->x = 0;
    img->y = 0;
    img->cs = next.cs;
    img->aligned_width = next.aligned_width;
    img->aligned_height = next.aligned_height;
    for (int i = 0; i < 4; ++i) {
        img->stride[i] = next.stride[i];
        img->rows[i] = next.rows[i];
        img->plane[i] = next.plane[i];
        img->plane_aux[i] = next.plane_aux[i];
        img->frame_base[i] = next.frame_base[i];
        img->frame_aux[i] = next.frame_aux[i];
    }
    return finish(OZMU_OK);
}

}  // extern "C"
