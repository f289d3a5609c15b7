/* Splits an Annex-B H.264 or HEVC stream into access units and tells which are key frames.
 *   keyframe_scan [--h264 | --hevc] FILE      (the codec is guessed from .hevc/.h265/.265 else)
 * NAL units come from ozmu_annexb_next_nal; they are grouped into access units by the usual
 * rules (a delimiter, parameter set or SEI after a picture's slices, or the first slice of a new
 * picture, starts the next one), and each unit goes to ozmu_is_vkeyfrm as a demultiplexer would
 * hand it over. That function calls only IDR pictures key: H.264 recovery points and HEVC CRA or
 * BLA pictures are not. For HEVC it looks at the first NAL unit alone, so a unit that opens with
 * a parameter set or delimiter would read as not key: it is given the unit from its first slice. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ozmu.h"

struct codec {
    int media_type;
    int (*nal_type)(const ozmu_nal_unit *nal);
    int (*is_slice)(int type);
    int (*opens_unit)(int type); /* a non-slice NAL unit that starts an access unit */
    int header_size;
};

static int h264_type(const ozmu_nal_unit *nal) { return nal->data[0] & 0x1F; }
static int h264_slice(int type) { return type >= 1 && type <= 5; }
static int h264_opens(int type) { return (type >= 6 && type <= 9) || (type >= 14 && type <= 18); }
static int hevc_type(const ozmu_nal_unit *nal) { return (nal->data[0] >> 1) & 0x3F; }
static int hevc_slice(int type) { return type <= 31; }
static int hevc_opens(int type)
{
    return (type >= 32 && type <= 35) || type == 39 || (type >= 41 && type <= 44) ||
           (type >= 48 && type <= 55);
}

static const struct codec kH264 = {OZMU_MT_H264, h264_type, h264_slice, h264_opens, 1};
static const struct codec kHevc = {OZMU_MT_HEVC, hevc_type, hevc_slice, hevc_opens, 2};

/* The first slice of a picture: first_mb_in_slice == 0 (H.264, an ue(v) whose first bit is 1)
 * or first_slice_segment_in_pic_flag (HEVC), both the first bit after the NAL unit header. */
static int first_slice(const struct codec *c, const ozmu_nal_unit *nal)
{
    return nal->size > (size_t)c->header_size && (nal->data[c->header_size] & 0x80) != 0;
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

static int ends_with(const char *s, const char *suffix)
{
    const size_t n = strlen(s), k = strlen(suffix);
    return n >= k && strcmp(s + n - k, suffix) == 0;
}

struct unit {
    size_t begin, end;  /* bytes of the access unit, start codes included */
    size_t first_slice; /* offset of its first slice's start code; 0 with no slice yet */
    int has_slice;
    char types[128]; /* its NAL unit types, for the listing */
};

static int report(const struct codec *c, const unsigned char *data, const struct unit *u, int index)
{
    const size_t from = c->media_type == OZMU_MT_HEVC && u->has_slice ? u->first_slice : u->begin;
    const int key = ozmu_is_vkeyfrm(c->media_type, data + from, (int)(u->end - from));
    if (index == 0)
        printf("%5s %8s %7s  %-3s  %s\n", "unit", "offset", "size", "", "NAL unit types");
    printf("%5d %8zu %7zu  %-3s  %s\n", index, u->begin, u->end - u->begin, key ? "key" : "",
           u->types);
    return key;
}

int main(int argc, char **argv)
{
    const struct codec *codec;
    const char *path = argv[argc - 1];
    unsigned char *data;
    size_t size = 0, pos = 0;
    ozmu_nal_unit nal;
    struct unit u;
    int nal_units = 0, units = 0, keys = 0, type, open = 0;

    if (argc == 3 && strcmp(argv[1], "--hevc") == 0)
        codec = &kHevc;
    else if (argc == 3 && strcmp(argv[1], "--h264") == 0)
        codec = &kH264;
    else if (argc == 2)
        codec = ends_with(path, ".hevc") || ends_with(path, ".h265") || ends_with(path, ".265")
                    ? &kHevc
                    : &kH264;
    else {
        fprintf(stderr, "usage: keyframe_scan [--h264 | --hevc] FILE\n");
        return 2;
    }
    data = read_file(path, &size);
    if (!data) {
        fprintf(stderr, "keyframe_scan: %s: cannot read\n", path);
        return 1;
    }

    memset(&u, 0, sizeof u);
    while (ozmu_annexb_next_nal(data, size, &pos, &nal) > 0) {
        char text[8];
        if (nal.size == 0)
            continue;
        ++nal_units;
        type = codec->nal_type(&nal);
        if (open && u.has_slice &&
            (codec->opens_unit(type) || (codec->is_slice(type) && first_slice(codec, &nal)))) {
            keys += report(codec, data, &u, units++);
            open = 0;
        }
        if (!open) {
            memset(&u, 0, sizeof u);
            u.begin = nal.offset;
            open = 1;
        }
        if (codec->is_slice(type) && !u.has_slice) {
            u.has_slice = 1;
            u.first_slice = nal.offset;
        }
        u.end = (size_t)(nal.data - data) + nal.size;
        sprintf(text, "%d ", type);
        if (strlen(u.types) + strlen(text) < sizeof u.types - 4)
            strcat(u.types, text);
        else if (!strstr(u.types, "..."))
            strcat(u.types, "...");
    }
    if (open) /* the last unit, or parameter sets alone */
        keys += report(codec, data, &u, units++);
    if (nal_units == 0) {
        fprintf(stderr, "keyframe_scan: %s: no NAL unit found (not an Annex-B stream?)\n", path);
        free(data);
        return 1;
    }
    printf("%s (%s): %d access units, %d key\n", path, codec == &kHevc ? "HEVC" : "H.264", units,
           keys);
    free(data);
    return 0;
}
