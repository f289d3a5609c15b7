/* The first frame of an 8-bit 4:2:0 Y4M file to an RGBA PNG, through the frame conversion API.
 *   y4m_to_png IN.y4m OUT.png [bt601|bt709|bt2020]
 * The header decides the chroma siting (C420jpeg, or no C tag: centred; C420mpeg2, C420paldv and
 * C420: left) and the range (XCOLORRANGE=FULL or LIMITED, limited when absent). Y4M names no
 * matrix, so it is BT.601 unless given. A minimal header parse: enough for files from ffmpeg. */
#include <png.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ozmu.h"

struct picture {
    int width, height, range, siting;
    char chroma[32];
    uint8_t *yuv; /* I420 planes back to back, as a Y4M frame stores them */
};

/* Reads the header and the first frame; null, or what is wrong. */
static const char *read_first_frame(FILE *in, struct picture *pic)
{
    char header[1024], frame_header[256], *token;
    size_t luma, frame_size;

    if (!fgets(header, sizeof header, in) || strncmp(header, "YUV4MPEG2 ", 10) != 0 ||
        !strchr(header, '\n'))
        return "not a Y4M file";
    strcpy(pic->chroma, "420jpeg");
    pic->range = OZMU_RANGE_LIMITED;
    for (token = strtok(header + 10, " \n"); token; token = strtok(NULL, " \n")) {
        if (token[0] == 'W')
            pic->width = atoi(token + 1);
        else if (token[0] == 'H')
            pic->height = atoi(token + 1);
        else if (token[0] == 'C' && strlen(token + 1) < sizeof pic->chroma)
            strcpy(pic->chroma, token + 1);
        else if (strcmp(token, "XCOLORRANGE=FULL") == 0)
            pic->range = OZMU_RANGE_FULL;
    }
    if (strcmp(pic->chroma, "420jpeg") == 0)
        pic->siting = OZMU_SITING_CENTER;
    else if (strcmp(pic->chroma, "420mpeg2") == 0 || strcmp(pic->chroma, "420paldv") == 0 ||
             strcmp(pic->chroma, "420") == 0)
        pic->siting = OZMU_SITING_LEFT;
    else
        return "not 8-bit 4:2:0 (this example reads C420jpeg, C420mpeg2 and C420)";
    if (pic->width < 1 || pic->height < 1 || pic->width > 16384 || pic->height > 16384)
        return "bad or missing W/H in the header";

    luma = (size_t)pic->width * pic->height;
    frame_size = luma + 2 * (size_t)((pic->width + 1) / 2) * ((pic->height + 1) / 2);
    pic->yuv = malloc(frame_size);
    if (!pic->yuv)
        return "out of memory";
    if (!fgets(frame_header, sizeof frame_header, in) || strncmp(frame_header, "FRAME", 5) != 0 ||
        fread(pic->yuv, 1, frame_size, in) != frame_size)
        return "no complete first frame";
    return NULL;
}

/* Converts to RGBA and writes the PNG; null, or what went wrong. */
static const char *write_png(const struct picture *pic, int matrix, const char *path)
{
    static png_image image; /* its message outlives the call */
    const size_t luma = (size_t)pic->width * pic->height;
    const int chroma_w = (pic->width + 1) / 2, chroma_h = (pic->height + 1) / 2;
    uint8_t *rgba = malloc(luma * 4);
    ozmu_frame src, dst;
    ozmu_convert_opts opts;
    int rc;

    if (!rgba)
        return "out of memory";
    memset(&src, 0, sizeof src);
    src.format = OZMU_PIX_I420;
    src.width = pic->width;
    src.height = pic->height;
    src.plane[0] = pic->yuv;
    src.plane[1] = pic->yuv + luma;
    src.plane[2] = pic->yuv + luma + (size_t)chroma_w * chroma_h;
    src.stride[0] = pic->width;
    src.stride[1] = src.stride[2] = chroma_w;
    memset(&dst, 0, sizeof dst);
    dst.format = OZMU_PIX_RGBA;
    dst.width = pic->width;
    dst.height = pic->height;
    dst.plane[0] = rgba;
    dst.stride[0] = (ptrdiff_t)pic->width * 4;

    ozmu_convert_opts_init(&opts); /* accurate chroma: interpolated at its sited position */
    opts.matrix = matrix;
    opts.src_range = pic->range;
    opts.siting = pic->siting;
    rc = ozmu_convert(&src, &dst, &opts);
    if (rc != OZMU_OK) {
        free(rgba);
        return ozmu_strerror(rc);
    }

    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = (png_uint_32)pic->width;
    image.height = (png_uint_32)pic->height;
    image.format = PNG_FORMAT_RGBA;
    rc = png_image_write_to_file(&image, path, 0, rgba, pic->width * 4, NULL);
    free(rgba);
    return rc ? NULL : image.message;
}

int main(int argc, char **argv)
{
    struct picture pic;
    int matrix = OZMU_MATRIX_BT601;
    const char *error;
    FILE *in;

    if (argc < 3 || argc > 4) {
        fprintf(stderr, "usage: y4m_to_png IN.y4m OUT.png [bt601|bt709|bt2020]\n");
        return 2;
    }
    if (argc == 4) {
        if (strcmp(argv[3], "bt709") == 0)
            matrix = OZMU_MATRIX_BT709;
        else if (strcmp(argv[3], "bt2020") == 0)
            matrix = OZMU_MATRIX_BT2020;
        else if (strcmp(argv[3], "bt601") != 0) {
            fprintf(stderr, "y4m_to_png: unknown matrix %s (bt601, bt709 or bt2020)\n", argv[3]);
            return 2;
        }
    }
    memset(&pic, 0, sizeof pic);
    in = fopen(argv[1], "rb");
    if (!in) {
        fprintf(stderr, "y4m_to_png: %s: cannot open\n", argv[1]);
        return 1;
    }
    error = read_first_frame(in, &pic);
    fclose(in);
    if (error) {
        fprintf(stderr, "y4m_to_png: %s: %s\n", argv[1], error);
        free(pic.yuv);
        return 1;
    }
    error = write_png(&pic, matrix, argv[2]);
    free(pic.yuv);
    if (error) {
        fprintf(stderr, "y4m_to_png: %s: %s\n", argv[2], error);
        return 1;
    }
    printf("%s: %dx%d C%s, %s chroma, %s range, %s -> %s\n", argv[1], pic.width, pic.height,
           pic.chroma, pic.siting == OZMU_SITING_CENTER ? "centred" : "left-sited",
           pic.range == OZMU_RANGE_FULL ? "full" : "limited",
           matrix == OZMU_MATRIX_BT709    ? "BT.709"
           : matrix == OZMU_MATRIX_BT2020 ? "BT.2020"
                                          : "BT.601",
           argv[2]);
    return 0;
}
