/* Finds the first H.264 sequence parameter set in an Annex-B file and prints its profile, level
 * and picture size (cropping applied).
 *   parse_sps FILE.h264
 * The bit reader runs over the NAL unit in place with ozmu_bsr_refill_rbsp as its refill, which
 * drops the emulation-prevention bytes (the 03 of each 00 00 03) as it loads: no copy. */
#include <stdio.h>
#include <stdlib.h>

#include "ozmu.h"

#define NAL_SPS 7

static int fail(const char *path, const char *what)
{
    fprintf(stderr, "parse_sps: %s: %s\n", path, what);
    return 1;
}

static unsigned char *read_file(const char *path, size_t *size)
{
    FILE *f = fopen(path, "rb");
    unsigned char *data = NULL;
    long n;
    if (!f)
        return NULL;
    if (fseek(f, 0, SEEK_END) == 0 && (n = ftell(f)) >= 0 && fseek(f, 0, SEEK_SET) == 0 &&
        (data = malloc((size_t)n + 1)) != NULL && fread(data, 1, (size_t)n, f) == (size_t)n)
        *size = (size_t)n;
    else {
        free(data);
        data = NULL;
    }
    fclose(f);
    return data;
}

/* Skips a scaling_list(): only the delta_scale values are coded. */
static void skip_scaling_list(ozmu_bsr *bs, int count)
{
    int last = 8, next = 8, j;
    for (j = 0; j < count; ++j) {
        if (next != 0) {
            next = ((last + ozmu_bsr_read_se(bs)) % 256 + 256) % 256;
            last = next == 0 ? last : next;
        }
    }
}

/* Reads the SPS in `nal` and prints it; 0, or 1 with a message when it is damaged. */
static int print_sps(const char *path, const ozmu_nal_unit *nal)
{
    ozmu_bsr bs;
    unsigned profile_idc, constraints, level_idc, chroma_format_idc = 1, separate_planes = 0;
    unsigned bit_depth_luma = 8, bit_depth_chroma = 8, poc_type, width_mbs, height_units;
    unsigned frame_mbs_only, crop[4] = {0, 0, 0, 0}, crop_unit_x, crop_unit_y, i, n;
    unsigned coded_w, coded_h;

    /* The reader never writes its buffer; the cast only meets its signature. */
    ozmu_bsr_init(&bs, (uint8_t *)nal->data, (int)nal->size, ozmu_bsr_refill_rbsp);
    ozmu_bsr_skip(&bs, 8); /* NAL unit header */
    profile_idc = ozmu_bsr_read(&bs, 8);
    constraints = ozmu_bsr_read(&bs, 8);
    level_idc = ozmu_bsr_read(&bs, 8);
    ozmu_bsr_read_ue(&bs); /* seq_parameter_set_id */
    switch (profile_idc) {
    case 100:
    case 110:
    case 122:
    case 244:
    case 44:
    case 83:
    case 86:
    case 118:
    case 128:
    case 138:
    case 139:
    case 134:
    case 135:
        chroma_format_idc = ozmu_bsr_read_ue(&bs);
        if (chroma_format_idc == 3)
            separate_planes = ozmu_bsr_read1(&bs);
        bit_depth_luma = 8 + ozmu_bsr_read_ue(&bs);
        bit_depth_chroma = 8 + ozmu_bsr_read_ue(&bs);
        ozmu_bsr_read1(&bs);            /* qpprime_y_zero_transform_bypass_flag */
        if (ozmu_bsr_read1(&bs) == 1) { /* seq_scaling_matrix_present_flag */
            n = chroma_format_idc != 3 ? 8 : 12;
            for (i = 0; i < n; ++i)
                if (ozmu_bsr_read1(&bs) == 1)
                    skip_scaling_list(&bs, i < 6 ? 16 : 64);
        }
        break;
    default: break;
    }
    ozmu_bsr_read_ue(&bs); /* log2_max_frame_num_minus4 */
    poc_type = ozmu_bsr_read_ue(&bs);
    if (poc_type == 0) {
        ozmu_bsr_read_ue(&bs); /* log2_max_pic_order_cnt_lsb_minus4 */
    } else if (poc_type == 1) {
        ozmu_bsr_read1(&bs);   /* delta_pic_order_always_zero_flag */
        ozmu_bsr_read_se(&bs); /* offset_for_non_ref_pic */
        ozmu_bsr_read_se(&bs); /* offset_for_top_to_bottom_field */
        n = ozmu_bsr_read_ue(&bs);
        for (i = 0; i < n && i < 256; ++i)
            ozmu_bsr_read_se(&bs); /* offset_for_ref_frame[i] */
    }
    ozmu_bsr_read_ue(&bs); /* max_num_ref_frames */
    ozmu_bsr_read1(&bs);   /* gaps_in_frame_num_value_allowed_flag */
    width_mbs = ozmu_bsr_read_ue(&bs) + 1;
    height_units = ozmu_bsr_read_ue(&bs) + 1;
    frame_mbs_only = ozmu_bsr_read1(&bs);
    if (frame_mbs_only == 0)
        ozmu_bsr_read1(&bs);      /* mb_adaptive_frame_field_flag */
    ozmu_bsr_read1(&bs);          /* direct_8x8_inference_flag */
    if (ozmu_bsr_read1(&bs) == 1) /* frame_cropping_flag */
        for (i = 0; i < 4; ++i)
            crop[i] = ozmu_bsr_read_ue(&bs); /* left, right, top, bottom */
    if (frame_mbs_only > 1 || chroma_format_idc > 3 || width_mbs > 1024 || height_units > 1024)
        return fail(path, "truncated or damaged sequence parameter set");
    coded_w = width_mbs * 16;
    coded_h = height_units * 16 * (2 - frame_mbs_only);

    /* Cropping counts chroma samples (and field pairs when frames may be coded as fields). */
    if (chroma_format_idc == 0 || separate_planes) {
        crop_unit_x = 1;
        crop_unit_y = 2 - frame_mbs_only;
    } else {
        crop_unit_x = chroma_format_idc == 3 ? 1 : 2;
        crop_unit_y = (chroma_format_idc == 1 ? 2 : 1) * (2 - frame_mbs_only);
    }
    for (i = 0; i < 4; ++i)
        if (crop[i] >= coded_w + coded_h) /* garbage, or read_ue past the end */
            return fail(path, "truncated or damaged sequence parameter set");
    if (crop_unit_x * (crop[0] + crop[1]) >= coded_w ||
        crop_unit_y * (crop[2] + crop[3]) >= coded_h)
        return fail(path, "cropping larger than the picture");
    printf("profile_idc %u (constraint flags 0x%02X), level_idc %u\n", profile_idc, constraints,
           level_idc);
    printf("chroma_format_idc %u, bit depth %u (luma) %u (chroma)\n", chroma_format_idc,
           bit_depth_luma, bit_depth_chroma);
    printf("coded %ux%u (%u macroblocks wide, %u map units high, frame_mbs_only_flag %u)\n",
           coded_w, coded_h, width_mbs, height_units, frame_mbs_only);
    printf("cropping left %u right %u top %u bottom %u\n", crop[0], crop[1], crop[2], crop[3]);
    printf("size %ux%u\n", coded_w - crop_unit_x * (crop[0] + crop[1]),
           coded_h - crop_unit_y * (crop[2] + crop[3]));
    return 0;
}

int main(int argc, char **argv)
{
    unsigned char *data;
    size_t size = 0, pos = 0;
    ozmu_nal_unit nal;
    int found = 0, status;

    if (argc != 2) {
        fprintf(stderr, "usage: parse_sps FILE.h264\n");
        return 2;
    }
    data = read_file(argv[1], &size);
    if (!data)
        return fail(argv[1], "cannot read");
    while (!found && ozmu_annexb_next_nal(data, size, &pos, &nal) > 0)
        found = nal.size > 4 && (nal.data[0] & 0x1F) == NAL_SPS;
    status = found ? print_sps(argv[1], &nal)
                   : fail(argv[1], "no sequence parameter set (not an Annex-B H.264 stream?)");
    free(data);
    return status;
}
