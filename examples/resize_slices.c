/* Resizes an RGBA picture with the image resizer fed in slices of rows, as a decoder hands them
 * out, and checks the result against a whole-picture resize.
 *   resize_slices [DST_WxH [SLICE_ROWS [SRC.rgba SRC_WxH]]]
 * Without a source file it makes a synthetic 1280x720 picture; the default is 854x480 in slices
 * of 16 rows. SLICE_ROWS must be a power of two. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ozmu.h"

static int parse_size(const char *text, int *w, int *h)
{
    return sscanf(text, "%dx%d", w, h) == 2 && *w > 0 && *h > 0 && *w <= 8192 && *h <= 8192;
}

static void *resizer(int mode, int src_w, int src_h, int slice_rows, int dst_w, int dst_h,
                     uint8_t *dst)
{
    ozmu_irsz_param p;
    int err = 0;
    void *handle;
    memset(&p, 0, sizeof p);
    p.layout = OZMU_IRSZ_LAYOUT_8B8B8B8B;
    p.mode = mode;
    p.src_w = src_w;
    p.src_h = src_h;
    p.src_pitch = src_w; /* pixels; the resizer multiplies by 4 for this layout */
    p.slice_rows = slice_rows;
    p.dst_w = dst_w;
    p.dst_h = dst_h;
    p.dst_pitch = dst_w;
    p.dst = dst;
    handle = ozmu_irsz_create(&p, &err);
    if (!handle)
        fprintf(stderr, "resize_slices: ozmu_irsz_create failed (%d)\n", err);
    return handle;
}

/* The picture: a raw RGBA file, or a synthetic one when path is null. Null on failure. */
static uint8_t *load_source(const char *path, int w, int h)
{
    const size_t row = (size_t)w * 4;
    uint8_t *src = malloc(row * h);
    FILE *f;
    int x, y;
    if (!src) {
        fprintf(stderr, "resize_slices: out of memory\n");
        return NULL;
    }
    if (!path) {
        for (y = 0; y < h; ++y)
            for (x = 0; x < w; ++x) {
                uint8_t *p = src + y * row + x * 4;
                p[0] = (uint8_t)(x * 255 / w);
                p[1] = (uint8_t)(y * 255 / h);
                p[2] = (uint8_t)(((x / 32) ^ (y / 32)) & 1 ? 230 : 25);
                p[3] = 255;
            }
        return src;
    }
    f = fopen(path, "rb");
    if (!f || fread(src, row, h, f) != (size_t)h) {
        fprintf(stderr, "resize_slices: %s: cannot read %dx%d RGBA\n", path, w, h);
        free(src);
        src = NULL;
    }
    if (f)
        fclose(f);
    return src;
}

/* Resizes src whole and in slices; 0 when both give the same bytes. */
static int resize_both(const uint8_t *src, int src_w, int src_h, int dst_w, int dst_h,
                       int slice_rows)
{
    const size_t src_row = (size_t)src_w * 4, dst_size = (size_t)dst_w * dst_h * 4;
    uint8_t *slice = malloc(src_row * slice_rows), *whole = malloc(dst_size);
    uint8_t *sliced = malloc(dst_size);
    void *whole_rsz = NULL, *slice_rsz = NULL;
    int y0, status = 1;

    if (!slice || !whole || !sliced) {
        fprintf(stderr, "resize_slices: out of memory\n");
        goto done;
    }
    /* Reference: the whole picture in one call. */
    whole_rsz = resizer(OZMU_IRSZ_MODE_WHOLE, src_w, src_h, 0, dst_w, dst_h, whole);
    if (!whole_rsz)
        goto done;
    ozmu_irsz(whole_rsz, src, 0, 0);

    /* Slices: each one arrives in the same small buffer, overwriting the previous one, as from a
     * decoder; the resizer keeps the row it still needs from a slice in its own line buffer. The
     * last slice may be short: rows past the picture's end are never read, but `rows` stays
     * slice_rows. */
    memset(sliced, 0xA5, dst_size);
    slice_rsz = resizer(OZMU_IRSZ_MODE_SLICES, src_w, src_h, slice_rows, dst_w, dst_h, sliced);
    if (!slice_rsz)
        goto done;
    for (y0 = 0; y0 < src_h; y0 += slice_rows) {
        const int rows = src_h - y0 < slice_rows ? src_h - y0 : slice_rows;
        memcpy(slice, src + y0 * src_row, rows * src_row);
        ozmu_irsz(slice_rsz, slice, y0, slice_rows);
    }

    status = memcmp(whole, sliced, dst_size) != 0;
    printf("%dx%d -> %dx%d in %d slices of %d rows: %s the whole-picture resize\n", src_w, src_h,
           dst_w, dst_h, (src_h + slice_rows - 1) / slice_rows, slice_rows,
           status ? "DIFFERS from" : "identical to");
done:
    ozmu_irsz_delete(whole_rsz);
    ozmu_irsz_delete(slice_rsz);
    free(slice);
    free(whole);
    free(sliced);
    return status;
}

int main(int argc, char **argv)
{
    int src_w = 1280, src_h = 720, dst_w = 854, dst_h = 480, slice_rows = 16, status;
    uint8_t *src;

    if ((argc > 1 && !parse_size(argv[1], &dst_w, &dst_h)) ||
        (argc > 2 && (slice_rows = atoi(argv[2])) < 1) || (slice_rows & (slice_rows - 1)) != 0 ||
        argc == 4 || argc > 5 || (argc == 5 && !parse_size(argv[4], &src_w, &src_h))) {
        fprintf(stderr, "usage: resize_slices [DST_WxH [SLICE_ROWS (a power of two) "
                        "[SRC.rgba SRC_WxH]]]\n");
        return 2;
    }
    src = load_source(argc == 5 ? argv[3] : NULL, src_w, src_h);
    if (!src)
        return 1;
    status = resize_both(src, src_w, src_h, dst_w, dst_h, slice_rows);
    free(src);
    return status;
}
