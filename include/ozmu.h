/*
 * libozmu: multimedia support library (C API).
 *
 * One header, valid C99 and C++, one section per family. Every exported routine carries the
 * `ozmu_` prefix (one exception: bilinear_rsz_step_size). Failing operations return a negative
 * OZMU_ code; creators return a handle or null and write the code through an optional last
 * `int *err`, never through a null one. Kernels trust their arguments and check nothing.
 */
#ifndef OZMU_H
#define OZMU_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__) || defined(__clang__)
#define OZMU_API __attribute__((visibility("default")))
#else
#define OZMU_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ============================================================================================
 * Return codes
 * ========================================================================================== */
#define OZMU_OK 0
#define OZMU_ERR_FAIL (-1)          /* low-level failure: callbacks, sysfs read, abandon value */
#define OZMU_ERR_FAIL_SUFFIX (-2)   /* bit reader: refill failed inside an Exp-Golomb suffix */
#define OZMU_ERR_MALLOC (-102)      /* memory could not be obtained, or what is held is too small */
#define OZMU_ERR_INVALID_ARG (-105) /* null object, missing callback, empty data */
#define OZMU_ERR_ALLOC_FRAME (-203) /* frame or sample payload allocation returned null */
#define OZMU_ERR_ALLOC_BUF (-204)   /* bitstream buffer allocation returned null */
#define OZMU_ERR_UNSUPPORTED_CS (-211) /* colour format unknown or not handled by the operation */

/* ============================================================================================
 * Public record and type names (layouts follow in each family's section)
 * ========================================================================================== */
typedef struct ozmu_imgb ozmu_imgb;
typedef struct ozmu_audb ozmu_audb;
typedef struct ozmu_bitb ozmu_bitb;
typedef struct ozmu_mfal ozmu_mfal;
typedef struct ozmu_vdata ozmu_vdata;
typedef struct ozmu_bsr ozmu_bsr;
typedef struct ozmu_bsw ozmu_bsw;
typedef struct ozmu_irsz_param ozmu_irsz_param;
typedef struct ozmu_list ozmu_list;
typedef struct ozmu_rbuf ozmu_rbuf;
typedef struct ozmu_rlist ozmu_rlist;
typedef struct ozmu_md5_ctx ozmu_md5_ctx;

/* Conversion kernel: src planes, src_w, src_h, src_stride, src_cs, dst planes, dst_w, dst_h,
 * dst_stride, dst_cs. Strides are in bytes. */
typedef void (*ozmu_fn_csc)(uint8_t *src[4], int src_w, int src_h, int src_stride[4], int src_cs,
                            uint8_t *dst[4], int dst_w, int dst_h, int dst_stride[4], int dst_cs);

/* Payload allocation callbacks shared by image, audio and bit buffers. `alloc` may report a
 * second 64-bit address of the memory in *aux; `free` receives it back. */
typedef void *(*ozmu_fn_alloc)(int size, uint64_t *aux);
typedef void (*ozmu_fn_free)(void *base, uint64_t aux);

/* ============================================================================================
 * Core: aligned allocation, atomics, wait/wake, bit helpers
 * ========================================================================================== */

/* 32-byte aligned block of at least `size` bytes, or null. The size is added to in 32-bit
 * arithmetic: sizes from 0x7FFFFFE0 to 0xFFFFFFDF fail; larger ones wrap to a block of only
 * (size + 32) mod 2^32 bytes.
 * Free only with ozmu_mfree_align32. The _fast_ names are the same entry points. */
OZMU_API void *ozmu_malloc_align32(uint32_t size);
OZMU_API void *ozmu_malloc_fast_align32(uint32_t size);
OZMU_API void ozmu_mfree_align32(void *ptr); /* null is ignored */
OZMU_API void ozmu_mfree_fast_align32(void *ptr);

/* Acquire/release atomic increment and decrement; return the new value (no clamping). */
OZMU_API int ozmu_atomic_inc(int *p);
OZMU_API int ozmu_atomic_dec(int *p);

/* Blocks until *p == value (returns 0) or *p == -1 (returns -1; checked first). No time-out. */
OZMU_API int ozmu_sync_wait(int *p, int value);
/* Stores value into *p unless it is already there, then wakes every waiter. Returns 0. */
OZMU_API int ozmu_sync_wake(int *p, int value);

/* Leading zero bits of a 32-bit word, 0..32. */
OZMU_API int ozmu_bsr_clz_in_code(uint32_t code);
/* ceil(log2 x); 0 gives 0. */
OZMU_API int ozmu_ceil_log2(uint32_t x);
/* floor(log2 x); 0 gives -1. */
OZMU_API int ozmu_floor_log2(uint32_t x);

/* ============================================================================================
 * Core: fill and copy
 *
 * Fast routines with fixed size shapes; nothing is checked and a size outside a routine's
 * shape makes it write elsewhere than asked. Pointers need no alignment. Sizes in bytes unless
 * named otherwise; strides in the unit of the width.
 * ========================================================================================== */

/* ceil(n / 128) * 128 bytes, at least 128. */
OZMU_API void ozmu_mset_x128(void *dst, int value, int n);
/* (n >> 7) * 128 bytes; n >= 128; the remainder below 128 is not written. */
OZMU_API void ozmu_mset_x64(void *dst, int value, int64_t n);
/* Exactly n bytes, n >= 1. */
OZMU_API void ozmu_mset_x64a(void *dst, int value, int64_t n);
/* (n >> 5) * 32 bytes; n >= 32. */
OZMU_API void ozmu_mset_x32(void *dst, int value, int n);
/* Exactly n bytes, n >= 32 (the first 32 are written whatever n is). */
OZMU_API void ozmu_mset_x32ax4(void *dst, int value, int n);
/* Zeroes n bytes; n a positive multiple of 64. */
OZMU_API void ozmu_mclr_x64(void *dst, int n);
/* Exactly n 16-bit samples, n >= 1 (n = 0 still writes 3). */
OZMU_API void ozmu_mset16(void *dst, int value, int n);
/* width x height bytes; width >= 64 (width * height >= 64 when width equals both strides). */
OZMU_API void ozmu_mcpy_pic(void *dst, const void *src, int dst_stride, int src_stride, int width,
                            int height);
/* width x height 16-bit samples, width >= 32. The samples past the last whole 32-sample step,
 * r = width % 32 per row (r = width * height % 32 when width equals both strides, the picture
 * then being one run), are copied twice over: 2r samples, running r samples past the row or run
 * in both planes. A row remainder of exactly 16 samples is copied as is. */
OZMU_API void ozmu_mcpy_pic_16(void *dst, const void *src, int dst_stride, int src_stride,
                               int width, int height);
/* Block of width 2, 4, 6, 8, 12, 16, 24, 32 or 48 bytes (any other width copies 64 bytes a row);
 * height a multiple of 4 for widths 16, 24 and 32, of 2 otherwise. */
OZMU_API void ozmu_mcpy_blk(void *dst, const void *src, int dst_stride, int src_stride, int width,
                            int height);
/* The same in 16-bit samples (strides in samples). Any other width copies 64 samples a row and
 * row y starts 24 * y samples right of y * stride, in both planes. */
OZMU_API void ozmu_mcpy_blk_16(void *dst, const void *src, int dst_stride, int src_stride,
                               int width, int height);

/* ============================================================================================
 * Core: system helpers
 * ========================================================================================== */

/* Release of this header, kept equal to the project's version (a test compares them). Use these
 * for version checks: ozmu_version() below is a build stamp, not a version number. */
#define OZMU_VERSION_MAJOR 1
#define OZMU_VERSION_MINOR 0
#define OZMU_VERSION_PATCH 0
/* One comparable number, e.g. #if OZMU_VERSION >= OZMU_VERSION_NUMBER(1, 1, 0). */
#define OZMU_VERSION_NUMBER(major, minor, patch) ((major)*10000 + (minor)*100 + (patch))
#define OZMU_VERSION OZMU_VERSION_NUMBER(OZMU_VERSION_MAJOR, OZMU_VERSION_MINOR, OZMU_VERSION_PATCH)

/* Build stamp "Mmm dd yyyy hh:mm:ss\n" in a static 64-byte buffer. */
OZMU_API const char *ozmu_version(void);
/* Writes "/tmp/" (6 bytes with the terminator) and returns 5. */
OZMU_API int ozmu_get_temp_path(char *buf);
/* Hardware address of wlan<index> from sysfs into addr[0..5]; addr[6] and addr[7] are 0x2F on
 * success. Returns 0, or -1 with all 8 bytes cleared. */
OZMU_API int ozmu_get_mac_addr(int index, uint8_t addr[8]);

/* ============================================================================================
 * Core: processor tiers
 *
 * On x86-64 the vectorised routines come in tiers; each exported routine runs the best version
 * the processor has, chosen once (at the first call that needs a choice) and never changed
 * afterwards. Every tier gives the same results bit for bit. AArch64 always runs its NEON code.
 * The environment variable OZMU_CPU_DISABLE (tier names separated by commas, e.g. "avx512" or
 * "avx2,avx512") removes tiers when the choice is made; removing a tier removes those above it.
 * ========================================================================================== */
#define OZMU_CPU_SSE2 (1u << 0)   /* x86-64 baseline */
#define OZMU_CPU_SSSE3 (1u << 1)  /* SSSE3 and SSE4.1 */
#define OZMU_CPU_AVX2 (1u << 2)   /* AVX2 and BMI2 */
#define OZMU_CPU_AVX512 (1u << 3) /* AVX-512 F, BW, DQ, VL and VBMI */
#define OZMU_CPU_NEON (1u << 8)   /* AArch64 Advanced SIMD */

/* Tiers in use (OZMU_CPU_* bits); when detected is not null it receives the tiers the processor
 * and operating system support. The first call fixes the choice. */
OZMU_API unsigned ozmu_cpu_flags(unsigned *detected);
/* Keeps only the tiers in allowed (applications that cannot set environment variables). Call it
 * before any other routine of the library; returns OZMU_OK, or OZMU_ERR_FAIL once the choice is
 * fixed (nothing changes then). The baseline tier is never removed. */
OZMU_API int ozmu_cpu_set_flags_mask(unsigned allowed);

/* ============================================================================================
 * Media buffers: colour formats and plane geometry
 * ========================================================================================== */

/* Planar formats, 10..99 */
#define OZMU_CS_YUV400 10
#define OZMU_CS_YUV420 11
#define OZMU_CS_YUV422 12
#define OZMU_CS_YUV444 13
#define OZMU_CS_YUV440 18
#define OZMU_CS_YUV400_16 20
#define OZMU_CS_YUV411 22
#define OZMU_CS_YUV420A8 41
#define OZMU_CS_YUV422A8 42
#define OZMU_CS_YUV444A8 43
#define OZMU_CS_YUV440A8 44
#define OZMU_CS_P010 60
#define OZMU_CS_P210 61
#define OZMU_CS_P410 62
#define OZMU_CS_P010X 63
#define OZMU_CS_P210X 64
/* Packed formats, 100..599: bytes per pixel from the hundred (1xx, 2xx: 2; 3xx, 5xx: 4; 4xx: 3) */
#define OZMU_CS_RGB565 200
#define OZMU_CS_RGB888 400
#define OZMU_CS_RGB888X 401
#define OZMU_CS_RGBA5658 430
#define OZMU_CS_RGBA8888 500
#define OZMU_CS_BGRA8888 501
#define OZMU_CS_ARGB8888 502
/* Known only to the converters */
#define OZMU_CS_R8G8B8 600
#define OZMU_CS_R10G10B10 603
#define OZMU_CS_RGB565A8 650
#define OZMU_CS_R8G8B8A8 700

/* Alignment and padding words: one per plane, high 16 bits horizontal (samples), low 16 bits
 * vertical (rows). Alignments are powers of two. */
#define OZMU_HV(h, v) ((((uint32_t)(h)) << 16) | ((uint32_t)(v)&0xFFFFu))

/* Plane counts and sizes. On entry w[0], h[0] hold the picture size; fills the further planes'
 * sizes, *planes and elem[] (high half bytes per sample, low half 1). Planar formats and 400. */
OZMU_API int ozmu_imgb_get_dimension(int cs, int w[4], int h[4], int *planes, uint32_t elem[4]);

/* Whole geometry: clears *rec and fills its size, format, strides, row counts, aligned size of
 * plane 0 and frame_size. align and pad are optional; without pad, padx_bytes and pady_rows are
 * not written. Returns 0 or OZMU_ERR_UNSUPPORTED_CS. */
OZMU_API int ozmu_imgb_get_info(int cs, int width, int height, const uint32_t *align,
                                const uint32_t *pad, int w[4], int h[4], int aw[4], int ah[4],
                                int padx_bytes[4], int pady_rows[4], int *planes, uint32_t elem[4],
                                ozmu_imgb *rec);

/* ============================================================================================
 * Media buffers: image buffer
 * ========================================================================================== */

/* Every counted object (image, audio and bit buffers, mfal) starts with these four members.
 * addref/getref/release return the count (after the operation) or OZMU_ERR_INVALID_ARG for a
 * null object; the release that reaches 0 frees the payload and the record. */
#define OZMU_COUNTED_HEADER(type)                                                                  \
    int refcnt;                                                                                    \
    int (*addref)(type * obj);                                                                     \
    int (*getref)(type * obj);                                                                     \
    int (*release)(type * obj)

struct ozmu_imgb {
    OZMU_COUNTED_HEADER(ozmu_imgb);
    int width, height;     /* picture size as created */
    int x, y;              /* picture origin, set by the caller (image digest only) */
    int cs;                /* colour format */
    int stride[4];         /* bytes from row to row, padding included */
    int rows[4];           /* rows per plane, aligned height plus both vertical borders */
    void *plane[4];        /* first visible sample of each plane */
    uint64_t plane_aux[4]; /* second address of each plane (see ozmu_imgb_create) */
    int32_t reserved[8];   /* zeroed at creation, otherwise untouched */
    int aligned_width, aligned_height; /* plane 0, without padding */
    ozmu_fn_alloc frame_alloc;
    ozmu_fn_free frame_free;
    void *frame_base[4];   /* start of each plane's memory (top-left corner of its border) */
    uint64_t frame_aux[4]; /* auxiliary value of each plane's start */
    uint32_t frame_size;   /* total bytes of the frame */
};

/* Option bits: OZMU_IMGB_OPT_CLEAR_ALIGN zeroes the columns and rows between the visible and the
 * aligned size, OZMU_IMGB_OPT_CLEAR_PAD the padding border of every plane. */
#define OZMU_IMGB_OPT_CLEAR_ALIGN 1
#define OZMU_IMGB_OPT_CLEAR_PAD 2

/* Creates an image of one allocation, planes in order, each with its alignment and a border of
 * pad[i] on every side. frame_alloc/frame_free are optional as a pair (default: the aligned
 * allocator with aux 0). frame_aux[i] and plane_aux[i] advance from the allocator's aux by the
 * plane sizes even when it is 0 (later planes then hold their byte offset in the frame); the
 * border offset is added to plane_aux[i] only when the advanced value is non-zero.
 * Errors: -105 (alloc without free), -102, -211, -203. */
OZMU_API ozmu_imgb *ozmu_imgb_create(int width, int height, int cs, int opt, const uint32_t *align,
                                     const uint32_t *pad, ozmu_fn_alloc frame_alloc,
                                     ozmu_fn_free frame_free, int *err);

/* Applies OZMU_IMGB_OPT_* bits to an image whose planes are set, using the per-plane outputs of
 * ozmu_imgb_get_info. A null pad means no border: OZMU_IMGB_OPT_CLEAR_PAD then clears nothing. A
 * packed image's rows below the picture are cleared for aw bytes only. Bit 1 with a format
 * outside 10..599 returns -211 before anything is cleared; otherwise 0. */
OZMU_API int ozmu_imgb_option(ozmu_imgb *img, unsigned char opt, int planes, const int *w,
                              const int *h, const int *aw, const int *ah, const uint32_t *pad,
                              const uint32_t *elem);

/* Re-describes the existing frame for a new shape if it fits (frame_size and callbacks kept).
 * Returns 0, -102 (too large) or -211; on failure the image is unchanged. */
OZMU_API int ozmu_imgb_rebirth(ozmu_imgb *img, int width, int height, int cs, int opt,
                               const uint32_t *align, const uint32_t *pad);

/* ============================================================================================
 * Media buffers: border expansion
 * ========================================================================================== */

/* Fills each plane's border by edge replication; pad[i] as at creation. 8-bit formats 10, 11,
 * 12, 13, 18, 22, 41..44 and 16-bit formats 20, 60..64; anything else returns -211.
 * Keep pad's horizontal border equal to the creation one (a smaller vertical one is safe): the
 * rows above and below are copied as whole strides starting that many samples left of the
 * picture, so a narrower one runs past the plane's end. Each left border starts pad's vertical
 * border (not its horizontal one) left of the row, and all left borders are filled before the
 * right ones: with unequal borders, a left fill reaches into the row above. */
OZMU_API int ozmu_imgb_expand(ozmu_imgb *img, const uint32_t *pad);
/* Copies len bytes from src count times back to back from dst. */
OZMU_API void ozmu_imgb_expand_hor(const void *src, void *dst, int len, int count);
/* For each of rows rows (stride bytes apart), sets count bytes at dst to the byte at src.
 * count < 1 writes nothing (here and in the 16-bit form). */
OZMU_API void ozmu_imgb_expand_ver(const uint8_t *src, uint8_t *dst, int rows, int stride,
                                   int count);
/* The same with 16-bit samples; the row step is stride rounded up to even bytes. */
OZMU_API void ozmu_imgb_expand_ver_16(const uint16_t *src, uint16_t *dst, int rows, int stride,
                                      int count);

/* ============================================================================================
 * Media buffers: audio buffer, bit buffer, mfal, vdata
 * ========================================================================================== */

struct ozmu_audb {
    OZMU_COUNTED_HEADER(ozmu_audb);
    int num[8];  /* samples per buffer */
    int size[8]; /* bytes per buffer */
    void *buf[8];
    uint64_t buf_aux[8];
    int channels;
    int bits;        /* bits per sample */
    int32_t rate;    /* caller's value, not read */
    int interleaved; /* 1: all channels in buf[0] */
    int layout;      /* 1..99: interleaved */
    ozmu_fn_alloc buf_alloc;
    ozmu_fn_free buf_free;
};

struct ozmu_bitb {
    OZMU_COUNTED_HEADER(ozmu_bitb);
    void *buf;
    uint64_t buf_aux;
    int bsize;           /* second creation argument */
    int32_t reserved[9]; /* cleared at creation */
    ozmu_fn_alloc buf_alloc;
    ozmu_fn_free buf_free;
};

struct ozmu_mfal {
    OZMU_COUNTED_HEADER(ozmu_mfal);
    uint64_t user[28]; /* zeroed area for the caller */
};

struct ozmu_vdata {
    uint32_t tag;
    int size;
    void *data; /* owned copy: size bytes and two zero bytes */
};

/* Audio buffer: layout outside 1..99 gives one buffer per channel (at most 8) of
 * ((bits + 7) >> 3) * samples bytes; inside, one interleaved buffer for all channels. Sizes are
 * worked out in 32-bit unsigned arithmetic and wrap (bits + 7 included). The reserved argument
 * is ignored. With a caller's buf_alloc, buf_free is taken as given; a null
 * one leaves the buffers to the caller. Errors: -102, -203. */
OZMU_API ozmu_audb *ozmu_audb_create(int samples, int channels, int bits, int rate, int layout,
                                     uint64_t reserved, ozmu_fn_alloc buf_alloc,
                                     ozmu_fn_free buf_free, int *err);
/* Bit buffer of alloc_size bytes (default: plain malloc). With a caller's buf_alloc, buf_free is
 * taken as given, even null (the buffer is then not freed). Errors: -102, -204. */
OZMU_API ozmu_bitb *ozmu_bitb_create(int alloc_size, int bsize, uint64_t reserved,
                                     ozmu_fn_alloc buf_alloc, ozmu_fn_free buf_free, int *err);
/* Bare counted record with a zeroed caller area. Errors: -102. */
OZMU_API ozmu_mfal *ozmu_mfal_create(uint64_t reserved, int *err);

/* Copies src's blob into dst (dst's old data is not freed). -105 for a null record or blob or
 * src->size < 1; -102. */
OZMU_API int ozmu_vdata_cpy(ozmu_vdata *dst, const ozmu_vdata *src);
/* Owns a copy of size bytes of data plus two zero bytes (v's old data is not freed). -105 if v
 * or data is null or size < 1; -102 (v->data is then null). */
OZMU_API int ozmu_vdata_set(ozmu_vdata *v, const void *data, int size, int tag);
/* Frees the copy and clears the record; null is ignored. */
OZMU_API void ozmu_vdata_free(ozmu_vdata *v);

/* ============================================================================================
 * Bitstream reader
 * ========================================================================================== */

/* Refill callback: loads up to `bytes` bytes at bs->cur into the top of bs->code, zeros below,
 * replaces bs->leftbits with the number of bits loaded and advances bs->cur; the calling
 * operation merges the bits it still held. Returns 0, or non-zero when nothing could be loaded
 * (then code and leftbits must be 0). `bytes` is 1..4 in every call, also when a read past the
 * end of the data has left leftbits negative (peek then asks for 4, the most the default refill
 * loads). */
typedef int (*ozmu_bsr_flush_fn)(ozmu_bsr *bs, int bytes);

/* MSB-first reader over caller memory; the caller allocates the record. The next unread bit is
 * bit 31 of `code`, the valid bits are its top `leftbits` bits and every bit below them is 0.
 * Emulation-prevention bytes are returned as they stand. */
struct ozmu_bsr {
    uint32_t code;
    int32_t leftbits;
    uint8_t *cur; /* next byte to load */
    uint8_t *end; /* last byte of the buffer, inclusive */
    uint8_t *beg;
    int32_t size;
    ozmu_bsr_flush_fn flush_fn;
};

/* Empty cache over buf[0, size); a null flush_fn selects ozmu_bsr_flush. Loads nothing. */
OZMU_API void ozmu_bsr_init(ozmu_bsr *bs, uint8_t *buf, int size, ozmu_bsr_flush_fn flush_fn);
/* Default refill of min(bytes, 4, bytes left) bytes from [cur, end]: 0, or -1 with code and
 * leftbits 0 when no byte is left. */
OZMU_API int ozmu_bsr_flush(ozmu_bsr *bs, int bytes);

/* The reads below take size 1..32 and check no argument. Shift counts on the cache are taken
 * modulo 32; a 32-bit read or skip clears the cache. After a failed refill code and leftbits
 * are 0 and every later read fails the same way. */

/* Next size bits, right-aligned; 0xFFFFFFFF when a needed refill fails (may collide with data). */
OZMU_API uint32_t ozmu_bsr_read(ozmu_bsr *bs, int size);
/* Next bit; 0xFFFFFFFF when the refill fails. */
OZMU_API uint32_t ozmu_bsr_read1(ozmu_bsr *bs);
/* Drops size bits; stops silently at the end of data. */
OZMU_API void ozmu_bsr_skip(ozmu_bsr *bs, int size);
/* Next size bits without consuming them. Tops the cache up with whole bytes; bits still missing
 * come from the unloaded byte at cur when there is one, otherwise they read as 0. */
OZMU_API uint32_t ozmu_bsr_peek(ozmu_bsr *bs, int size);
/* Skips `skip` bits, then peeks `size`; 0 when the skip's refill fails. */
OZMU_API uint32_t ozmu_bsr_skip_peek(ozmu_bsr *bs, int skip, int size);
/* Drops the rest of the current byte. */
OZMU_API void ozmu_bsr_skip_align8(ozmu_bsr *bs);
/* The bits up to the next byte boundary (0 at a boundary); their count goes to *nbits when
 * nbits is not null. */
OZMU_API uint32_t ozmu_bsr_read_align8(ozmu_bsr *bs, int *nbits);
/* Unsigned Exp-Golomb code number; 0xFFFFFFFE at end of data. Exact for codes of up to 31 bits
 * (values up to 65534) wherever they lie; longer codes give a meaningless value, no error. */
OZMU_API uint32_t ozmu_bsr_read_ue(ozmu_bsr *bs);
/* Signed Exp-Golomb: 0, 1, -1, 2, -2 ...; end of data (ue 0xFFFFFFFE) gives 1. */
OZMU_API int32_t ozmu_bsr_read_se(ozmu_bsr *bs);
/* Truncated Exp-Golomb: range >= 2 is ue; range 1 is the inverted bit (2 when the refill
 * fails); range <= 0 returns 0 and reads nothing. */
OZMU_API uint32_t ozmu_bsr_read_te(ozmu_bsr *bs, int range);
/* Count of 1 bits up to a terminating 0, which is consumed. A full 32-bit cache starting with 1
 * is counted as 32 ones and discarded; ones that run to the end of a partly filled cache stop
 * the count there and leave leftbits at -1. Refill failures are ignored. */
OZMU_API uint32_t ozmu_bsr_read_un(ozmu_bsr *bs);
/* Truncated unary, at most max: a count reaching max through a 0 consumes the 0, one cut at max
 * consumes max bits; a full 32-bit cache starting with 1 yields max without being examined. */
OZMU_API uint32_t ozmu_bsr_read_tu(ozmu_bsr *bs, int max);
/* Trap, kept deliberately: when the 0 that ends a unary code is the last bit of a freshly loaded
 * cache word (31 ones, then the 0), read_un and read_tu (with max at least the count) consume
 * those 32 bits by a shift of 32 taken modulo 32, i.e. none: the word stays in code with
 * leftbits 0, and the next read takes its top bits as bits still held. On FF FF FF FE 00 00,
 * read_un or read_tu(bs, 32) returns 31, and three read(bs, 8) then give 0xFF (not 00), 00 and
 * 0xFFFFFFFF (end of data). Where such a code can occur, set code to 0 when the call leaves
 * leftbits 0. */

/* ============================================================================================
 * Bitstream writer
 * ========================================================================================== */

/* Drain callback: writes the top (39 - leftbits) >> 3 bytes of bs->code at bs->cur, in order,
 * and advances cur. The writer resets or recomputes code and leftbits itself afterwards. That
 * count is never more than 4: where write1 has overfilled the cache (leftbits below 0) the
 * callback sees leftbits 0, a whole word of 4 bytes, which is what the default drain writes
 * (deinit gives the record its leftbits back unless the callback set it). */
typedef int (*ozmu_bsw_flush_fn)(ozmu_bsw *bs);

/* MSB-first writer into caller memory; the caller allocates the record. Bits are placed from
 * bit 31 of `code` down; `leftbits` counts the free bits, 32 (empty) to 0. Emulation-prevention
 * bytes are not inserted. The bytes produced are [beg, cur). */
struct ozmu_bsw {
    uint32_t code;
    int32_t leftbits;
    uint8_t *cur; /* next byte to write */
    uint8_t *end; /* last byte of the buffer, inclusive */
    uint8_t *beg;
    int32_t size;
    ozmu_bsw_flush_fn flush_fn;
};

/* Empty cache over buf[0, size); a null flush_fn selects ozmu_bsw_flush. */
OZMU_API void ozmu_bsw_init(ozmu_bsw *bs, uint8_t *buf, int size, ozmu_bsw_flush_fn flush_fn);
/* Default drain; checks no space and returns 0. */
OZMU_API int ozmu_bsw_flush(ozmu_bsw *bs);
/* Drains the cache through flush_fn without a space check or reset; returns its result. */
OZMU_API int ozmu_bsw_deinit(ozmu_bsw *bs);

/* Space rules, against the inclusive `end`: a 4-byte drain by write and the Exp-Golomb writers
 * needs cur + 4 <= end, so the last byte is never used by them; write1 drains whenever
 * cur <= end; sink needs cur + n <= end. Size buffers with a spare byte. */

/* Appends the low len (1..32) bits of value. -1 when the cache is full and there is no space:
 * the bits stay ORed into the cache, leftbits unchanged. 32 bits into an empty cache are drained
 * at once but also stay in the cache, under the next bits; write at most 31 bits into an empty
 * cache. */
OZMU_API int ozmu_bsw_write(ozmu_bsw *bs, uint32_t value, int len);
/* Appends one bit; -1 when the cache is full and cur has passed end. */
OZMU_API int ozmu_bsw_write1(ozmu_bsw *bs, int bit);
/* Unsigned Exp-Golomb; exact up to 131070, larger values are cut to 17 significant bits. A
 * failed space test is silent and leaves the stream corrupt. */
OZMU_API void ozmu_bsw_write_ue(ozmu_bsw *bs, uint32_t value);
/* Signed Exp-Golomb (v > 0 as 2v - 1, v <= 0 as -2v), with the ue writer's limits. */
OZMU_API void ozmu_bsw_write_se(ozmu_bsw *bs, int value);
/* Truncated Exp-Golomb: range 1 writes the bit (1 - value) & 1, range >= 2 is ue, range <= 0
 * writes nothing. Silent on a full buffer. */
OZMU_API void ozmu_bsw_write_te(ozmu_bsw *bs, uint32_t value, int range);
/* Drains the cache, the last byte zero-padded, and empties it; -1 when the pending bytes would
 * reach end (nothing written). */
OZMU_API int ozmu_bsw_sink(ozmu_bsw *bs);
/* Length in bits of the ue code of value; exact except for 0xFFFFFFFF (17), whose value + 1
 * wraps. The writer itself is exact up to 131070, the reader up to 65534. */
OZMU_API int ozmu_bsw_size_ue(uint32_t value);
/* Length in bits of the se code of value. */
OZMU_API int ozmu_bsw_size_se(int value);

/* ============================================================================================
 * Colour conversion: tables and selector
 * ========================================================================================== */

/* Conversion kernels by source and destination format, row-major; a null cell has no kernel.
 * to_rgb: 12 rows of 11. Rows (source): OZMU_CS_R8G8B8 0, R8G8B8A8 1, YUV444 2, YUV444A8 3,
 * P410 4, R10G10B10 5; rows 6-11 repeat that order with the scaling kernels (ozmu_csc_rsz_*)
 * for differing sizes. Columns (destination): RGB888 0, RGBA8888 1, RGB565 2, RGBA5658 3,
 * RGB565A8 4, ARGB8888 5, BGRA8888 6, RGB888X 7 (always null), R8G8B8 8, 9 (no format, always
 * null), R10G10B10 10. Two cells are kept as callers know them: R8G8B8A8 to RGBA5658 holds
 * ozmu_csc_r8g8b8a8_to_rgba8888 and R10G10B10 to R10G10B10 holds ozmu_csc_r10g10b10_to_p410.
 * to_yuvplanar: 16 rows of 3. Rows (source): R8G8B8 0, R8G8B8A8 1, YUV444 2, YUV444A8 3,
 * RGB565 4, R10G10B10 5, RGB888 6, RGBA8888 7; rows 8-15 (differing sizes) are all null.
 * Columns (destination): YUV444 0, YUV444A8 1, P410 2. */
OZMU_API extern const ozmu_fn_csc ozmu_tbl_fn_csc_to_rgb[132];
OZMU_API extern const ozmu_fn_csc ozmu_tbl_fn_csc_to_yuvplanar[48];

/* The kernel converting src_cs at src_w x src_h to dst_cs at dst_w x dst_h: a dst_cs of 200 to
 * 799 is looked up in ozmu_tbl_fn_csc_to_rgb, 10 to 99 in ozmu_tbl_fn_csc_to_yuvplanar; sizes
 * that differ at all (larger or smaller) select the second half. Null for an unlisted format or
 * a null cell, with OZMU_ERR_UNSUPPORTED_CS written through err when err is not null; err is
 * not written on success. Pure: any thread. */
OZMU_API ozmu_fn_csc ozmu_imgp_get_fn_csc(int src_w, int src_h, int src_cs, int dst_w, int dst_h,
                                          int dst_cs, int *err);

/* ============================================================================================
 * Colour conversion: kernels
 * ========================================================================================== */

/* Portable members: per-pixel loops that read src_w and src_h only, do nothing when src_h < 1
 * and skip every row when src_w < 1. Source plane k is stepped by src_stride[k]. Interleaved
 * layouts are addressed one byte per slot: dst[k] (or src[k]) is byte k of the first pixel in
 * the order of the layout's name, its rows dst_stride[k] apart; point slot k at base + k for an
 * ordinary interleaved picture. 16-bit planes advance by stride >> 1 samples (an odd byte
 * stride is truncated). YUV is full-range BT.601 in 8.8 fixed point (10.10 for 10-bit), 8-bit U
 * and V offset by 128; 5-6-5 packing truncates: (R & 0xF8) << 8 | (G & 0xFC) << 3 | B >> 3. */

/* Y, U, V planes to R, G, B planes dst[0..2]. */
OZMU_API void ozmu_csc_yuv444_to_r8g8b8(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                        int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                        int dst_stride[4], int dst_cs);
/* Y, U, V to 5-6-5 words in dst[0]. */
OZMU_API void ozmu_csc_yuv444_to_rgb565(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                        int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                        int dst_stride[4], int dst_cs);
/* Y, U, V to 5-6-5 words in dst[0] and an alpha plane of 255 in dst[1]. */
OZMU_API void ozmu_csc_yuv444_to_rgb565a8(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);
/* Y, U, V to R in dst[1], G in dst[2] and 255 in dst[3] (the B byte); B is not computed and
 * dst[0] (the A byte) is neither read nor written. Kept for existing callers: for correct
 * ARGB use ozmu_csc_yuv444a8_to_argb8888. */
OZMU_API void ozmu_csc_yuv444_to_argb8888(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);
/* Y, U, V to B, G, R, 255 through dst[0..3]. */
OZMU_API void ozmu_csc_yuv444_to_bgra8888(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);
/* Y, U, V, A to A, R, G, B through dst[0..3]. */
OZMU_API void ozmu_csc_yuv444a8_to_argb8888(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* Y, U, V, A to B, G, R, A through dst[0..3]. */
OZMU_API void ozmu_csc_yuv444a8_to_bgra8888(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* Y, U, V, A to 5-6-5 words in dst[0] and the alpha plane in dst[1]. */
OZMU_API void ozmu_csc_yuv444a8_to_rgb565a8(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* Y, U, V, A to 5-6-5 words 2 bytes apart in dst[0] and alpha bytes 3 bytes apart in dst[1]
 * (rows dst_stride[1] apart). */
OZMU_API void ozmu_csc_yuv444a8_to_rgba5658(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* R, G, B planes to 5-6-5 words in dst[0]. */
OZMU_API void ozmu_csc_r8g8b8_to_rgb565(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                        int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                        int dst_stride[4], int dst_cs);
/* Planes 0, 1, 2 to the 5, 6, 5 fields (top to bottom) of words in dst[0], whatever colours
 * they hold; an alpha plane of 255 in dst[1]. */
OZMU_API void ozmu_csc_x8y8z8_to_xyz565a8(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);
/* As ozmu_csc_x8y8z8_to_xyz565a8 with the alpha plane copied from src[3]. */
OZMU_API void ozmu_csc_x8y8z8a8_to_xyz565a8(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* R, G, B planes to 255, R, G, B through dst[0..3]. */
OZMU_API void ozmu_csc_r8g8b8_to_argb8888(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);
/* R, G, B planes to B, G, R, 255 through dst[0..3]. */
OZMU_API void ozmu_csc_r8g8b8_to_bgra8888(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);
/* R, G, B, A planes to A, R, G, B through dst[0..3]. */
OZMU_API void ozmu_csc_r8g8b8a8_to_argb8888(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* R, G, B, A planes to B, G, R, A through dst[0..3]. */
OZMU_API void ozmu_csc_r8g8b8a8_to_bgra8888(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* Reads src[0] and src[3] only: every 5-6-5 field comes from the plane-0 byte c,
 * (c >> 3) << 11 | (c >> 2) << 5 | c >> 3, so the result is grey (kept for existing callers);
 * alpha copied. Words 2 bytes apart in dst[0], alpha 3 bytes apart in dst[1]. In no table. */
OZMU_API void ozmu_csc_r8g8b8a8_to_rgba5658(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);

/* Portable members to YUV and between YUV layouts (same addressing rules). RGB to YUV:
 * Y = (77R + 150G + 29B + 128) >> 8; U and V limited to 255 (pure blue gives U = 256). */
/* R, G, B planes to Y, U, V planes dst[0..2]. */
OZMU_API void ozmu_csc_r8g8b8_to_yuv444(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                        int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                        int dst_stride[4], int dst_cs);
/* Interleaved R, G, B read through src[0..2] (3 bytes a pixel) to Y, U, V planes. */
OZMU_API void ozmu_csc_rgb888_to_yuv444(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                        int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                        int dst_stride[4], int dst_cs);
/* Interleaved R, G, B, A read through src[0..3] (4 bytes a pixel) to Y, U, V, A planes; A is
 * copied. */
OZMU_API void ozmu_csc_rgba8888_to_yuv444a8(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* R, G, B, A planes to Y, U, V, A planes; A is copied. */
OZMU_API void ozmu_csc_r8g8b8a8_to_yuv444a8(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* 5-6-5 words in src[0] (rows src_stride[0] >> 1 words apart) to Y, U, V planes. Fields are
 * widened by shifting only: 0xFFFF reads as (248, 252, 248). */
OZMU_API void ozmu_csc_rgb565_to_yuv444(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                        int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                        int dst_stride[4], int dst_cs);
/* 10-bit Y, U, V (16-bit samples, U and V offset by 512) to 10-bit R, G, B planes, each held to
 * 0..1023. */
OZMU_API void ozmu_csc_p410_to_r10g10b10(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                         int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                         int dst_stride[4], int dst_cs);
/* 10-bit R, G, B planes to 10-bit Y, U, V. U and V are limited before the 512 offset is added,
 * so saturated blue or red gives 1024. */
OZMU_API void ozmu_csc_r10g10b10_to_p410(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                         int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                         int dst_stride[4], int dst_cs);
/* Three 16-bit planes to three byte planes, each sample shifted right by 2 (low 8 bits kept):
 * src_w x src_h luma, (src_w >> 1) x (src_h >> 1) of planes 1 and 2. In no table. */
OZMU_API void ozmu_csc_p010_to_yuv420(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                      int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                      int dst_stride[4], int dst_cs);
/* Copies src_w bytes of src_h rows of planes 0, 1, 2, and of plane 3 only when src[3] is not
 * null and dst_cs is OZMU_CS_YUV444A8; a destination plane 3 is otherwise untouched. */
OZMU_API void ozmu_csc_yuv444x_to_yuv444x(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);

/* Vector members (NEON on AArch64): convert src_w x src_h pixels to interleaved pixels written
 * whole from ONE start address, dst[slot], the slot chosen by dst_cs as listed; rows are
 * dst_stride[0] apart and every source plane, alpha included, steps by src_stride[0] (the
 * other strides are not read). Nothing is written when src_h < 1 or src_w < 0. YUV colour is
 * that of the portable members; alpha is 255 unless copied from src[3]. */

/* R, G, B planes src[0..2] to 3-byte pixels: dst_cs 400 writes R, G, B from dst[0]; any other
 * value B, G, R from dst[2]. A width of 0 writes nothing. */
OZMU_API void ozmu_csc_r8g8b8_to_rgb888(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                        int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                        int dst_stride[4], int dst_cs);
/* R, G, B planes to 4-byte pixels with alpha 255; by dst_cs: 500 R, G, B, A from dst[0]; any
 * other value below 502 (including 430 and all below 500) B, G, R, A from dst[2]; 502 A, R,
 * G, B from dst[3]; 503 and above A, B, G, R from dst[3]. A width of 0 writes nothing. */
OZMU_API void ozmu_csc_r8g8b8_to_rgba8888(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);
/* As ozmu_csc_r8g8b8_to_rgba8888 with alpha copied from src[3], except that dst_cs 502 and
 * above (the alpha-first orders, which have no usable start address for this kernel) write
 * nothing. The table routes OZMU_CS_RGBA5658 requests here: 430 writes B, G, R, A from
 * dst[2]. */
OZMU_API void ozmu_csc_r8g8b8a8_to_rgba8888(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
/* Y, U, V planes src[0..2] to 3-byte pixels: dst_cs 401 (OZMU_CS_RGB888X) writes B, G, R from
 * dst[2]; any other value R, G, B from dst[0]. A width of 0 converts the first three pixels
 * of every row. */
OZMU_API void ozmu_csc_yuv444_to_rgb888(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                        int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                        int dst_stride[4], int dst_cs);
/* Y, U, V planes to 4-byte pixels with alpha 255; by dst_cs: 501 B, G, R, A from dst[2]; 502
 * and 504 up A, R, G, B from dst[3]; 503 A, B, G, R from dst[3]; any other value (500 and
 * all below) R, G, B, A from dst[0]. A width of 0 converts the first three pixels of every
 * row. */
OZMU_API void ozmu_csc_yuv444_to_rgba8888(uint8_t *src[4], int src_w, int src_h, int src_stride[4],
                                          int src_cs, uint8_t *dst[4], int dst_w, int dst_h,
                                          int dst_stride[4], int dst_cs);
/* As ozmu_csc_yuv444_to_rgba8888 with alpha copied from src[3]. */
OZMU_API void ozmu_csc_yuv444a8_to_rgba8888(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);

/* ============================================================================================
 * Colour conversion: bilinear scaling
 * ========================================================================================== */

/* Steps for scaling src_w x src_h to dst_w x dst_h, written packed as (step << 3) | shift. The
 * shift comes from the integer ratio src / dst (0-2: 0, 3-4: 1, 5-8: 2, 9-16: 3, above: 4; a
 * zero dst gives ratio 0) and makes the filter read every 2^shift-th sample; the step, 14.18
 * fixed point, is (((src - 1) >> shift) << 18) / dst (0 for a zero dst), so the last sample's
 * neighbour still lies inside the picture. Positions fit sources of up to 8192 samples. */
OZMU_API void bilinear_rsz_step_size(int src_w, int src_h, int dst_w, int dst_h, int *xstep,
                                     int *ystep);
/* Bilinear weights: entry (h, v) for horizontal and vertical phase 0..7 at byte 32h + 4v holds
 * ((8-h)(8-v), h(8-v), (8-h)v, hv) for the top-left, top-right, bottom-left and bottom-right
 * samples (sum 64). */
OZMU_API extern const uint8_t ozmu_tbl_bilinear_rszw[256];

/* Scaling conversions (ozmu_fn_csc): write exactly dst_w x dst_h pixels. Destination pixel (i, j)
 * sits at x = i * xstep, y = j * ystep; it filters the samples at columns (x >> 18) << xshift and
 * one neighbour distance 2^xshift further, rows likewise, with the weights of phase
 * ((x >> 15) & 7, (y >> 15) & 7): (sum of w * sample) >> 6, truncated, per source plane. YUV is
 * then converted as by the unscaled kernels (U and V centred after filtering) and clipped; R, G,
 * B planes are packed as filtered. A one-column (one-row) source reads no neighbour beyond it
 * (that neighbour's weight is 0). Any size below 1 writes nothing. src_cs is not read.
 *
 * The first six (vectorised) write whole pixels from one slot and step every source plane by
 * src_stride[0] and destination rows by dst_stride[0]. With mode = dst_cs - 500: dst_cs 501
 * starts at dst[2], any dst_cs above 501 at dst[3] with alpha first, any other at dst[0]; an odd
 * mode writes B first. So for 4-byte pixels: 500 R,G,B,A; 501 B,G,R,A; 502 A,R,G,B;
 * 503 A,B,G,R (then alternating); below 500 an odd dst_cs gives B,G,R,A from dst[0]. 3-byte
 * pixels take the same slot and order and have no alpha: 400 R,G,B from dst[0]; 401 B,G,R also
 * from dst[0]. Alpha is 255, or the filtered alpha plane src[3] for the a8 sources. */
OZMU_API void ozmu_csc_rsz_r8g8b8_to_rgb888(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
OZMU_API void ozmu_csc_rsz_r8g8b8_to_rgba8888(uint8_t *src[4], int src_w, int src_h,
                                              int src_stride[4], int src_cs, uint8_t *dst[4],
                                              int dst_w, int dst_h, int dst_stride[4], int dst_cs);
OZMU_API void ozmu_csc_rsz_r8g8b8a8_to_rgba8888(uint8_t *src[4], int src_w, int src_h,
                                                int src_stride[4], int src_cs, uint8_t *dst[4],
                                                int dst_w, int dst_h, int dst_stride[4],
                                                int dst_cs);
OZMU_API void ozmu_csc_rsz_yuv444_to_rgb888(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
OZMU_API void ozmu_csc_rsz_yuv444_to_rgba8888(uint8_t *src[4], int src_w, int src_h,
                                              int src_stride[4], int src_cs, uint8_t *dst[4],
                                              int dst_w, int dst_h, int dst_stride[4], int dst_cs);
OZMU_API void ozmu_csc_rsz_yuv444a8_to_rgba8888(uint8_t *src[4], int src_w, int src_h,
                                                int src_stride[4], int src_cs, uint8_t *dst[4],
                                                int dst_w, int dst_h, int dst_stride[4],
                                                int dst_cs);
/* Portable members: every source plane with its own src_stride[k]; 5-6-5 words (R in the top
 * five bits, truncated) at dst[0], rows dst_stride[0] >> 1 words apart; rgb565a8 also writes the
 * filtered alpha plane src[3] to the byte plane dst[1], rows dst_stride[1] apart. dst_cs is not
 * read. */
OZMU_API void ozmu_csc_rsz_yuv444_to_rgb565(uint8_t *src[4], int src_w, int src_h,
                                            int src_stride[4], int src_cs, uint8_t *dst[4],
                                            int dst_w, int dst_h, int dst_stride[4], int dst_cs);
OZMU_API void ozmu_csc_rsz_yuv444a8_to_rgb565a8(uint8_t *src[4], int src_w, int src_h,
                                                int src_stride[4], int src_cs, uint8_t *dst[4],
                                                int dst_w, int dst_h, int dst_stride[4],
                                                int dst_cs);

/* ============================================================================================
 * Image resizer
 * ========================================================================================== */

/* Bilinear scaler of one interleaved picture, 3-bit phases. Layout codes (input -> output, per
 * pixel; pitches are multiplied by the stride factor to give the row distance):
 *   20  1 byte -> 1 byte, bytes             21  3 bytes -> 3 bytes, bytes
 *   23  3 bytes -> 16-bit 5-6-5, 3 / 2      25  16-bit 5-6-5 -> 5-6-5, both in 16-bit units
 *   29  4 bytes -> 4 bytes, bytes
 * Every byte (or 5-6-5 field) is filtered on its own: (w0 TL + w1 TR + w2 BL + w3 BR) >> 6 with
 * the weights of ozmu_irsz_tbl_rsz_weight. Walk: shift s = 0, 1, 2, 3, 4 for an integer ratio
 * source / destination of 0-2, 3-4, 5-8, 9-16, 17 and more (neighbours 2^s samples apart), step
 * (((src - 1) >> s) << 18) / dst in 14.18 fixed point, so equal sizes still resample slightly.
 * The 14.18 range limits each axis to 8192 samples after the shift. A one-sample axis reads no
 * neighbour past its sample (that weight is 0).
 * Layout 23 keeps its packing: the high byte is (f0 & 0xF8) | f1 >> 5 and the low byte
 * (f1 & 0xE0) | f2 >> 3, so green holds the top three bits of f1 twice; the word is stored
 * little-endian whatever the host. */
#define OZMU_IRSZ_LAYOUT_8B 20            /* 1 byte a pixel (grey, one plane) */
#define OZMU_IRSZ_LAYOUT_8B8B8B 21        /* 3 bytes a pixel */
#define OZMU_IRSZ_LAYOUT_8B8B8B_5B6B5B 23 /* 3 bytes a pixel in, 16-bit 5-6-5 out */
#define OZMU_IRSZ_LAYOUT_5B6B5B 25        /* 16-bit 5-6-5 */
#define OZMU_IRSZ_LAYOUT_8B8B8B8B 29      /* 4 bytes a pixel */
#define OZMU_IRSZ_MODE_WHOLE 10           /* one call per whole picture */
#define OZMU_IRSZ_MODE_SLICES 11          /* one call per slice of slice_rows source rows */
/* The creator's own codes (not the OZMU_ERR_* values). */
#define OZMU_IRSZ_ERR_MODE (-2)      /* mode is neither OZMU_IRSZ_MODE_WHOLE nor _SLICES */
#define OZMU_IRSZ_ERR_NO_MEMORY (-3) /* the handle or its buffers could not be allocated */
#define OZMU_IRSZ_ERR_LAYOUT (-4)    /* layout is none of the OZMU_IRSZ_LAYOUT_* codes */

struct ozmu_irsz_param {
    int32_t layout; /* OZMU_IRSZ_LAYOUT_*: 20, 21, 23, 25 or 29 */
    int32_t mode;   /* OZMU_IRSZ_MODE_WHOLE (10) or OZMU_IRSZ_MODE_SLICES (11) */
    int32_t src_w;
    int32_t src_h;
    int32_t src_pitch;  /* row length in pixels; negative: rows run upward */
    int32_t slice_rows; /* mode 11: rows per slice, a power of two */
    int32_t dst_w;
    int32_t dst_h;
    int32_t dst_pitch; /* row length in pixels; negative: rows run upward */
    void *dst;         /* written by every resize call */
};

/* 256 bytes: for horizontal phase h and vertical phase v (0..7), byte 32h + 4v holds the
 * top-left, top-right, bottom-left and bottom-right weights (8-h)(8-v), h(8-v), (8-h)v, hv. */
OZMU_API extern const uint8_t ozmu_irsz_tbl_rsz_weight[256];

/* Handle for one pair of sizes and one layout, or null with *err = OZMU_IRSZ_ERR_NO_MEMORY (-3),
 * OZMU_IRSZ_ERR_MODE (-2) or OZMU_IRSZ_ERR_LAYOUT (-4); 0 on success. err may be null. Sizes
 * below 1 give a handle whose resize calls write nothing. */
OZMU_API void *ozmu_irsz_create(const ozmu_irsz_param *param, int *err);
/* Resizes into param->dst; returns 0. Mode 10: src is the whole picture, y0 and rows ignored.
 * Mode 11: src is the first row of the slice holding source rows y0 .. y0 + rows - 1 (y0 a
 * multiple of rows); each call writes, in order, every output row whose two source rows have
 * arrived, keeping the upper row of a row split across slices in the handle. Slices go in order;
 * y0 = 0 starts a new picture. Once all are fed, the output equals mode 10's. Source rows at or
 * beyond src_h in the last slice are never read. */
OZMU_API int ozmu_irsz(void *handle, const void *src, int y0, int rows);
/* The per-layout resizers ozmu_irsz dispatches to, for callers that name the layout: each does
 * exactly what ozmu_irsz does on a handle created with its OZMU_IRSZ_LAYOUT_* code and returns 0.
 * Unlike ozmu_irsz they check the handle: a null handle, or one created for another layout,
 * returns OZMU_ERR_INVALID_ARG and writes nothing. */
OZMU_API int ozmu_irsz8b(void *handle, const void *src, int y0, int rows);
OZMU_API int ozmu_irsz8b8b8b(void *handle, const void *src, int y0, int rows);
OZMU_API int ozmu_irsz8b8b8b_5b6b5b(void *handle, const void *src, int y0, int rows);
OZMU_API int ozmu_irsz5b6b5b(void *handle, const void *src, int y0, int rows);
OZMU_API int ozmu_irsz8b8b8b8b(void *handle, const void *src, int y0, int rows);
/* Frees the handle and its buffers; null is ignored. */
OZMU_API void ozmu_irsz_delete(void *handle);

/* ============================================================================================
 * Block metrics: SAD
 * ========================================================================================== */

/* Sum of absolute differences of two blocks, for motion search and mode decision. Blocks are
 * addressed by their top-left sample and a signed row stride counted in that block's own samples
 * (bytes for 8-bit blocks, 16-bit units for 16-bit blocks). The result is the 32-bit sum of |d|,
 * d = first - second, with no scaling.
 *
 * 16-bit samples are signed. Every member takes |d| as (d ^ m) - m with m = d >> 15 (not >> 31):
 * exact while |d| <= 32767, which holds for samples of up to 15 significant bits of one sign; a
 * larger difference gives another value (d = 40001 counts 39999, 32767 - (-32768) counts 65533),
 * and every member agrees on it. No member saturates or overflows, even at 64x64.
 *
 * Kinds: plain (both 8-bit unsigned), _16 (both 16-bit signed), _bi (first 16-bit signed with a
 * stride in 16-bit units, second 8-bit unsigned with a stride in bytes) and _bi_16, a second name
 * of the _16 routine of that size. Sizes are width x height. There is deliberately no _bi member
 * below 4x8 and no generic _bi function; a size without a kernel is served by the generic
 * functions only (nothing dispatches between them).
 *
 * ozmu_sad4x4 may read 4 bytes beyond the right edge of every row of both blocks: give it 8
 * readable bytes a row. */

/* Generic: a height below 1 returns 0 without reading; a width below 1 adds 0 for every row. */
OZMU_API int ozmu_sad(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a,
                         int stride_b);
/* Fixed sizes, 8-bit. */
OZMU_API int ozmu_sad2x2(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad2x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad4x2(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad4x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x16(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x16(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x32(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x16(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x32(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x64(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad64x32(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad64x64(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
/* Fixed sizes, 16-bit. */
OZMU_API int ozmu_sad2x2_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad2x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad4x2_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad4x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x16_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x16_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x32_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x16_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x32_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x64_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad64x32_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad64x64_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
/* Fixed sizes, 16-bit first block, 8-bit second block. */
OZMU_API int ozmu_sad4x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x16_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x16_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x32_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x16_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x32_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x64_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad64x32_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad64x64_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
/* Second names of the _16 kernels (same address). */
OZMU_API int ozmu_sad4x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x4_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad8x16_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x16_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad16x32_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x16_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x32_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad32x64_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad64x32_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_sad64x64_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);

/* ============================================================================================
 * Block metrics: differences
 * ========================================================================================== */

/* Residual of two blocks, first - second, into 16-bit values: each output is the low 16 bits of
 * the 32-bit difference (8-bit inputs give -255..255; 16-bit inputs wrap, so -32768 - 1 stores
 * 32767). Input strides count the block's own samples; the output stride counts 16-bit values.
 * Only w x h values are written: the rest of each output row is left as it was. Generic functions
 * write nothing for a width or height below 1. An output overlapping an input is computed as if
 * sample by sample in row order.
 *
 * Fixed kernels take (a, b, stride_a, stride_b, stride_out, out): the output comes last. The 1:4
 * shapes 2x8, 4x16, 8x32 and 16x64 exist for 16-bit samples only, the mixed kind (16-bit first,
 * 8-bit second) only at 4x4; ozmu_diff4x4_bi_16 is a second name of ozmu_diff4x4_16.
 *
 * ozmu_diff4x4 may read 4 bytes beyond the right edge of every row of both inputs. */
OZMU_API void ozmu_diff(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a,
                        int stride_b, int stride_out, int16_t *out);
OZMU_API void ozmu_diff_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a,
                           int stride_b, int stride_out, int16_t *out);
/* Fixed sizes, 8-bit. */
OZMU_API void ozmu_diff2x2(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                           int stride_out, int16_t *out);
OZMU_API void ozmu_diff2x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                           int stride_out, int16_t *out);
OZMU_API void ozmu_diff4x2(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                           int stride_out, int16_t *out);
OZMU_API void ozmu_diff4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                           int stride_out, int16_t *out);
OZMU_API void ozmu_diff4x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                           int stride_out, int16_t *out);
OZMU_API void ozmu_diff8x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                           int stride_out, int16_t *out);
OZMU_API void ozmu_diff8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                           int stride_out, int16_t *out);
OZMU_API void ozmu_diff8x16(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                            int stride_out, int16_t *out);
OZMU_API void ozmu_diff16x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                            int stride_out, int16_t *out);
OZMU_API void ozmu_diff16x16(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                             int stride_out, int16_t *out);
OZMU_API void ozmu_diff16x32(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                             int stride_out, int16_t *out);
OZMU_API void ozmu_diff32x16(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                             int stride_out, int16_t *out);
OZMU_API void ozmu_diff32x32(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                             int stride_out, int16_t *out);
OZMU_API void ozmu_diff32x64(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                             int stride_out, int16_t *out);
OZMU_API void ozmu_diff64x32(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                             int stride_out, int16_t *out);
OZMU_API void ozmu_diff64x64(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
                             int stride_out, int16_t *out);
/* Fixed sizes, 16-bit. */
OZMU_API void ozmu_diff2x2_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff2x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff4x2_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff4x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff8x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff8x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff8x16_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                               int stride_out, int16_t *out);
OZMU_API void ozmu_diff16x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                               int stride_out, int16_t *out);
OZMU_API void ozmu_diff16x16_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                int stride_out, int16_t *out);
OZMU_API void ozmu_diff16x32_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                int stride_out, int16_t *out);
OZMU_API void ozmu_diff32x16_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                int stride_out, int16_t *out);
OZMU_API void ozmu_diff32x32_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                int stride_out, int16_t *out);
OZMU_API void ozmu_diff32x64_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                int stride_out, int16_t *out);
OZMU_API void ozmu_diff64x32_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                int stride_out, int16_t *out);
OZMU_API void ozmu_diff64x64_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                int stride_out, int16_t *out);
OZMU_API void ozmu_diff2x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff4x16_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                               int stride_out, int16_t *out);
OZMU_API void ozmu_diff8x32_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                               int stride_out, int16_t *out);
OZMU_API void ozmu_diff16x64_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                int stride_out, int16_t *out);
/* Mixed 4x4: 16-bit first block (stride in 16-bit units), 8-bit second block (bytes). */
OZMU_API void ozmu_diff4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b,
                              int stride_out, int16_t *out);
OZMU_API void ozmu_diff4x4_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,
                                 int stride_out, int16_t *out);

/* ============================================================================================
 * Block metrics: SSD, Hadamard, SATD
 * ========================================================================================== */

/* Sum of squared differences over w x h (height below 1: 0). Each term is the square of |d| taken
 * as the SAD functions take it (shift by 15), added with wrap-around modulo 2^32: exact for 8-bit
 * samples; for 16-bit samples exact while |d| <= 32767 and while the sum fits (one 64x64 block of
 * differences of 1024 already reaches 2^32). */
OZMU_API int ozmu_ssd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_ssd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a,
                         int stride_b);

/* 4x4 Hadamard cost of 16 residual values given row by row (no stride): the unnormalised
 * transform of columns then rows in 32-bit integers, the sum of the 16 absolute coefficients,
 * halved and truncated. A single 1 anywhere costs 8; sixteen 1s also cost 8. */
OZMU_API int ozmu_hadamard4x4(const int16_t *coef);

/* 4x4 SATD: ozmu_hadamard4x4 of the residual the matching ozmu_diff4x4 kernel writes, so 16-bit
 * residuals are truncated to 16 bits first. ozmu_satd4x4_bi_16 is a second name of
 * ozmu_satd4x4_16. */
OZMU_API int ozmu_satd4x4(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_satd4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_satd4x4_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_satd4x4_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);

/* SATD of a w x h block as the sum of 4x4 SATDs over tiles at x, y = 0, 4, 8, ... below w and h
 * (height below 1: 0). Sizes that are not multiples of 4 are not clipped: the last tile of a row
 * or column covers a whole 4x4 area and reads up to 3 samples or rows past the block. Only 4x4
 * tiles are used, so an 8x8 block costs four 4x4 SATDs, not ozmu_satd8x8. */
OZMU_API int ozmu_satd(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a,
                       int stride_b);
OZMU_API int ozmu_satd_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a,
                          int stride_b);

/* 8x8 SATD: the 8x8 residual in 32-bit integers (no truncation), the unnormalised 8-point
 * Hadamard transform of rows then columns, the sum of the 64 absolute coefficients, quartered
 * with rounding: (sum + 2) >> 2. (The 4x4 cost is halved and truncated instead.) The members
 * differ only in how each operand is widened: _16 reads both 16-bit blocks as unsigned, _bi reads
 * a signed 16-bit first block against an 8-bit second, _bi_16 a signed first block against an
 * unsigned 16-bit second. */
OZMU_API int ozmu_satd8x8(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_satd8x8_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_satd8x8_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b);
OZMU_API int ozmu_satd8x8_bi_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b);

/* ============================================================================================
 * Containers: linked list
 * ========================================================================================== */

/* Doubly linked list of fixed-size elements, each copied by value into its own heap node, with
 * one cursor for walking. Element operations return the element's data: a pointer to its copy
 * inside the node, valid until the element is removed and as aligned as a malloc block is
 * (16 bytes on LP64). An element's id is an opaque handle, stable while the element is in the
 * list. Null is the only failure signal; only ozmu_list_delete accepts a null list. One thread
 * at a time. */

/* Called with an element's data once it is unlinked and before its node is freed (the count
 * still includes it), on every way out: removals, ozmu_list_rem_all and ozmu_list_delete. It
 * must not change the list. */
typedef void (*ozmu_list_release_fn)(void *data);

/* Empty list of elem_size-byte elements (0 allowed), no cursor; release may be null. Null when
 * an allocation fails (nothing is kept) or elem_size < 0. */
OZMU_API ozmu_list *ozmu_list_create(int elem_size, ozmu_list_release_fn release);
/* Removes every element as ozmu_list_rem_all does and frees the list; null is ignored. */
OZMU_API void ozmu_list_delete(ozmu_list *list);
/* Removes every element, first to last, each through the release callback; clears the cursor. */
OZMU_API void ozmu_list_rem_all(ozmu_list *list);

/* Append / prepend a copy of the elem_size bytes at data; the copy's data pointer, or null when
 * the node cannot be allocated (the list is then unchanged). */
OZMU_API void *ozmu_list_add(ozmu_list *list, const void *data);
OZMU_API void *ozmu_list_add_first(ozmu_list *list, const void *data);
/* Not a positional insert: a negative index inserts at the front and index == count appends
 * (index 0 on an empty list too); an index from 0 to count - 1, or above count, is refused with
 * null. */
OZMU_API void *ozmu_list_insert_at(ozmu_list *list, const void *data, int index);

/* Data of the element at position index (0 is the first), walked from the nearer end; null for
 * index >= count. A negative index is not refused: it gives the first element, and on an empty
 * list a pointer that belongs to no element. */
OZMU_API void *ozmu_list_get_at(const ozmu_list *list, int index);
/* Id of the element at position index; null for index < 0 or index >= count. */
OZMU_API void *ozmu_list_get_id(const ozmu_list *list, int index);
/* Data of the element with that id (a walk from the first element); null for an id that is not
 * in the list. */
OZMU_API void *ozmu_list_get_atid(const ozmu_list *list, const void *id);
/* Data of the first / last element; null when the list is empty. */
OZMU_API void *ozmu_list_get_first(const ozmu_list *list);
OZMU_API void *ozmu_list_get_last(const ozmu_list *list);
/* Number of elements. */
OZMU_API int ozmu_list_get_cnt(const ozmu_list *list);

/* Removals return nothing. A cursor on the removed element moves to the next element, or is
 * cleared when the removed one was the last. */
/* Removes the element at position index if 0 <= index < count; otherwise nothing. */
OZMU_API void ozmu_list_rem_at(ozmu_list *list, int index);
/* Removes the element with that id without looking for it: the id must be one of this list's
 * elements (null is ignored). */
OZMU_API void ozmu_list_rem_atid(ozmu_list *list, void *id);
/* Removes the first / last element, if any. */
OZMU_API void ozmu_list_rem_first(ozmu_list *list);
OZMU_API void ozmu_list_rem_last(ozmu_list *list);

/* Cursor: the current element, or none. get_cur and the moves return the (new) current
 * element's data, or null when there is none. There is no wrap-around: moving off either end,
 * or moving next / prev with no current element, clears the cursor, and only move_first and
 * move_last start a new walk. On an empty list every move clears it. */
OZMU_API void *ozmu_list_get_cur(const ozmu_list *list);
OZMU_API void *ozmu_list_move_first(ozmu_list *list);
OZMU_API void *ozmu_list_move_last(ozmu_list *list);
OZMU_API void *ozmu_list_move_next(ozmu_list *list);
OZMU_API void *ozmu_list_move_prev(ozmu_list *list);
/* Removes the current element, the cursor moving to the next (cleared after the last one);
 * nothing without a cursor. */
OZMU_API void ozmu_list_rem_cur(ozmu_list *list);
/* Removes the element before the cursor, or the last element when there is no cursor; nothing
 * when the cursor is on the first element. The cursor stays. */
OZMU_API void ozmu_list_rem_prev(ozmu_list *list);
/* Removes the element after the cursor; nothing without a cursor or when it is on the last
 * element. The cursor stays. */
OZMU_API void ozmu_list_rem_next(ozmu_list *list);

/* ============================================================================================
 * Containers: ring buffer
 * ========================================================================================== */

/* Byte ring buffer for streamed data (text from a socket taken out line by line, say): copying
 * put and get, zero-copy access to the contiguous free and filled regions, a line extractor.
 * The write index ("head") is where the next byte goes, the read index ("tail") where the next
 * one is read. One byte of the size bytes of storage stays free, so it holds size - 1 bytes;
 * but a put that reaches the end of storage while the read index is 0 may fill all size bytes,
 * and the write index then stays at size until something is read. Once all of that is read
 * both indices sit at size, and a put or commit of 0 bytes there moves the write index to 0:
 * the buffer then holds nothing yet is not empty (fill total -1) until the next get or
 * skip_tail. Every number below is exact, asymmetries included. Lengths are counts: a negative
 * one moves nothing and returns 0. One thread at a time. */

/* Empty buffer over size bytes of zeroed storage; null when an allocation fails (nothing is
 * kept) or size is below 1 or above 0x7FFFFFFD. */
OZMU_API ozmu_rbuf *ozmu_rbuf_create(int size);
/* Frees storage and record; null is ignored. */
OZMU_API void ozmu_rbuf_delete(ozmu_rbuf *rb);
/* Drops all content: read index := write index. */
OZMU_API void ozmu_rbuf_empty(ozmu_rbuf *rb);
/* size - 1. */
OZMU_API int ozmu_rbuf_get_tot_len(const ozmu_rbuf *rb);
/* 1 or 0. Empty: read index == write index. Full: write index == (read index + size - 1) %
 * size. A buffer of size 1 is both. */
OZMU_API int ozmu_rbuf_is_empty(const ozmu_rbuf *rb);
OZMU_API int ozmu_rbuf_is_full(const ozmu_rbuf *rb);
/* Totals, deliberately not complements of each other. Free: read - write - 1 when the read
 * index is above the write index, else size - write + read + 1, two more than the true free
 * space (size + 1 when empty). Fill: write - read when the write index is not below the read
 * index, else size + write - read - 1, one less than the true fill. For exact values use the
 * contiguous lengths. */
OZMU_API int ozmu_rbuf_get_free_len(const ozmu_rbuf *rb);
OZMU_API int ozmu_rbuf_get_fill_len(const ozmu_rbuf *rb);
/* Free bytes from the write index on without a wrap: read - write - 1 when the read index is
 * above, else size - write, one less when the read index is 0 (so -1 while the write index is
 * at size). */
OZMU_API int ozmu_rbuf_get_freec_len(const ozmu_rbuf *rb);
/* Filled bytes from the read index on without a wrap: (write < read ? size : write) - read. */
OZMU_API int ozmu_rbuf_get_fillc_len(const ozmu_rbuf *rb);
/* The writable region at the write index and its length as ozmu_rbuf_get_freec_len, or null
 * and 0 when full; returns 0. Commit what was written there with ozmu_rbuf_skip_head. */
OZMU_API int ozmu_rbuf_get_head(ozmu_rbuf *rb, uint8_t **ptr, int *len);
/* The readable region at the read index and its length as ozmu_rbuf_get_fillc_len, or null and
 * 0 when empty; returns 0. Consume it with ozmu_rbuf_skip_tail. */
OZMU_API int ozmu_rbuf_get_tail(ozmu_rbuf *rb, uint8_t **ptr, int *len);
/* Commits up to n bytes written in place (0 when full) and returns how many; a commit running
 * to the end of storage continues at its start. Commit no more than ozmu_rbuf_get_head
 * offered: with the read index at 0, a commit reaching the end of storage is reported as
 * min(size - write - 1, n) (-1 with the write index at size) but not made. */
OZMU_API int ozmu_rbuf_skip_head(ozmu_rbuf *rb, int n);
/* Consumes up to n bytes, across the wrap; returns how many (0 when empty). */
OZMU_API int ozmu_rbuf_skip_tail(ozmu_rbuf *rb, int n);
/* Copies all n bytes in, or none: returns n or 0. A refused put that had to wrap may already
 * have written its first part into the free space, uncommitted. */
OZMU_API int ozmu_rbuf_put(ozmu_rbuf *rb, const void *src, int n);
/* Copies out up to n bytes, across the wrap, and consumes them; returns how many. */
OZMU_API int ozmu_rbuf_get(ozmu_rbuf *rb, void *dst, int n);
/* Takes the oldest line, if complete (it ends at a line feed), into dst as text ending in CR, LF
 * and a zero byte, and returns its length with the CR LF, without the zero. Returns 0 and
 * consumes nothing when no line feed is found in reach or a zero byte comes first (on wrapped
 * data a zero before the end of storage only ends the scan of that part; the line may then
 * still be completed after the wrap, the dst bytes between left unwritten).
 * - A LF without a CR before it (or an empty line) gets one inserted; the read index still
 *   advances by the returned length, so one byte more than the line held is consumed: the first
 *   byte of the next line is lost, and when there was none the buffer is left holding size - 1
 *   stale bytes (ozmu_rbuf_empty drops them). An index passing the end of storage wraps.
 * - cap bounds the scan to cap - 1 bytes, except on wrapped data, where the part up to the end
 *   of storage is scanned and copied whatever cap is. dst must hold max(cap, size) + 2 bytes.
 * - A CR at the end of storage and a LF at its start: returns (size - read index) + 2 with the
 *   LF at dst[len - 2], dst[len - 1] not written and the zero at dst[len]; the read index goes
 *   to 1. */
OZMU_API int ozmu_rbuf_get_one_line(ozmu_rbuf *rb, char *dst, int cap);

/* ============================================================================================
 * Containers: slot list
 * ========================================================================================== */

/* First-in first-out queue of equally sized buffers from a pool allocated at creation: a
 * producer takes the next free buffer and fills it in place, a consumer looks at the oldest
 * taken buffer and gives it back. Nothing is allocated, freed or copied afterwards. A buffer
 * given back is the last free one to be taken again; a take walks past the buffers already
 * taken. One thread at a time: the caller serialises producer and consumer. */

/* Pool of capacity buffers of buf_size bytes (0 allowed), all free; null when an allocation
 * fails (nothing is kept) or buf_size < 0. A capacity below 2 still gets one buffer and is kept
 * as given: capacity 1 lends its one buffer, 0 or less never lends any. Buffers are not cleared
 * and are as aligned as a malloc block is (16 bytes on LP64). */
OZMU_API ozmu_rlist *ozmu_rlist_create(int buf_size, int capacity);
/* Frees every buffer, taken or not, and the pool; null is ignored. */
OZMU_API void ozmu_rlist_delete(ozmu_rlist *pool);
/* Buffers taken and not given back. */
OZMU_API int ozmu_rlist_get_used_cnt(const ozmu_rlist *pool);
/* capacity - used (negative for a capacity below 0). */
OZMU_API int ozmu_rlist_get_free_cnt(const ozmu_rlist *pool);
/* Takes the next free buffer; null when capacity buffers are taken. */
OZMU_API void *ozmu_rlist_get_buf(ozmu_rlist *pool);
/* The oldest taken buffer, still taken; null when none is. */
OZMU_API void *ozmu_rlist_get_data(const ozmu_rlist *pool);
/* Gives the oldest taken buffer back; nothing when none is taken. */
OZMU_API void ozmu_rlist_rem_data(ozmu_rlist *pool);
/* Gives every taken buffer back, oldest first. */
OZMU_API void ozmu_rlist_rem_all(ozmu_rlist *pool);

/* ============================================================================================
 * Text: string scanning and tokenising
 * ========================================================================================== */

/* Scanners for NUL-terminated text (protocol lines, configuration). Nothing is allocated, copied
 * or modified: results point into `str`. Each function measures the string first, so every limit
 * is relative to its NUL; lengths are 32-bit (strings shorter than 2 GiB). White space is exactly
 * tab, LF, CR and space (vertical tab and form feed are not); a line end is LF or CR. Only
 * ozmu_str_move_to_validw accepts a null `str`. */

/* First non-white byte of str; null for a null, empty or all-white string. */
OZMU_API const char *ozmu_str_move_to_validw(const char *str);
/* Last byte of the first word (after leading white space), or null. The string's last byte is
 * never examined, so a word that reaches the end, or is followed only by one white byte ending
 * the string, has no end: "ab cd" gives the b; "abc", "abc " and " a " give null. A one-byte
 * string gives itself whatever the byte (" " too), as does a one-byte word ending the string
 * ("  a" gives the a). Null for an empty or all-white string. */
OZMU_API const char *ozmu_str_move_to_eow(const char *str);
/* First non-white byte among all but the last byte of str, or null (always for strings shorter
 * than 2): "ab" gives str, " a" null. */
OZMU_API const char *ozmu_str_move_to_nextw(const char *str);
/* Last byte of the first line end: the LF of a CRLF pair, else the LF or CR itself; the next line
 * starts one byte after it. The last byte is never examined, and a line end closing the string
 * (no next line) gives null: "ab\r\ncd" gives the LF, "ab\rcd" the CR, "abc\n" and "ab\r\n" null.
 */
OZMU_API const char *ozmu_str_move_to_nextl(const char *str);
/* Cuts the first field of str at the first `tok`, CR or LF: *len = its length, *next = the byte
 * after that separator, or null when the separator ends the string. Without a separator the whole
 * string is the field (*len = strlen(str), *next null). Returns 0, or -1 for an empty string
 * (*len 0). A NUL tok cuts at line ends only. next may be null, len may not. */
OZMU_API int ozmu_str_parse_by_ctok(const char *str, char tok, int *len, const char **next);
/* As ozmu_str_parse_by_ctok with a separator string, tested before the line end at each offset:
 * *next is the byte after the whole separator, or null when nothing follows. A CR or LF ends the
 * field too, with *next one byte after it (the CR of a CRLF pair, *next at its LF). Returns 0;
 * -1 for an empty str, and when neither the separator nor a line end occurs (then *len is 0, not
 * the length). An empty tok matches at once: *len 0, *next = str. next may be null. */
OZMU_API int ozmu_str_parse_by_stok(const char *str, const char *tok, int *len, const char **next);
/* Cuts one line: *len = the bytes before its LF or CRLF, *next = the start of the next line, or
 * null when the line end closes the string. Returns 0; -1 for an empty string, when the first
 * line end is a CR not followed by LF (*len 0) and for text without a line end (*len = its
 * length, *next null). len and next are both required. */
OZMU_API int ozmu_str_parse_one_line(const char *str, int *len, const char **next);
/* Placeholder of the interface: returns 0. */
OZMU_API int ozmu_str_get_one_az09(void);

/* ============================================================================================
 * Text: URI parsing and escaping
 * ========================================================================================== */

/* Splits "scheme://host[:port][/path]" at the start of a request line or header block into four
 * NUL-terminated copies (the port as text). No buffer size is taken: strlen(uri) + 1 bytes for
 * each output are always enough (1 for a null uri). All four are emptied and *rest set to null
 * first; rest may be null. The rules, in order:
 *  - leading white space (tab, LF, CR, space) is skipped; the scheme runs to "://", or to a line
 *    end that comes first, and the authority is the text after it, which must not be empty;
 *  - if the authority has a ':' or line end with at least one byte after it, the host runs to the
 *    first of them (even past a '/': "h/a:b" gives host "h/a", port "b") and the port from there
 *    to the next '/', CR or LF; it must not be empty. A line end is taken like the colon, so a
 *    portless URI followed by more lines fails ("rtsp://h/a\r\nX": empty port) or takes the next
 *    line as its port ("rtsp://h/a\nX": host "h/a", port "X"): cut the URI's line alone first;
 *  - otherwise the host runs to the first '/', CR or LF ("host:" keeps its colon), and an
 *    authority starting with '/' ("file:///x") is all path, line ends and all;
 *  - the path is the rest of the line after the separator, with a '/' put in front unless it
 *    starts with one ("h/a/b" gives "/a/b", "h//a" gives "/a"); a lone CR in it leaves it empty.
 *    *rest points at the next line (see ozmu_str_parse_one_line), or is null.
 * Returns 0, or -1 for a null or blank uri, no "://" and no line end, nothing after the "://"
 * (or line end), or an empty port ("h:/x"). On -1 the outputs already filled keep their text
 * (the scheme; the host when the port is empty).
 * "rtsp://cam:554/live/ch1\r\nCSeq: 1" gives "rtsp", "cam", "554", "/live/ch1", rest "CSeq: 1". */
OZMU_API int ozmu_str_parse_uri(const char *uri, char *scheme, char *host, char *port, char *path,
                                const char **rest);
/* Escapes text for a URI: copies src to dst with each space replaced by "%20"; every other byte,
 * reserved or not, is copied as it is. dst needs 3 * strlen(src) + 1 bytes. Returns the length
 * written, without the NUL. */
OZMU_API int ozmu_str_conv_a2uri(const char *src, char *dst);
/* Unescapes: a '%' and the two bytes after it become one byte, 16 * d1 + d2, where a decimal
 * digit counts its value and any other byte 0. Only decimal digits decode: "%41" gives 'A' but
 * "%2F" a space and "%ff" a NUL byte inside the output (counted in the length); '+' stays '+'.
 * Other bytes are copied. dst needs strlen(src) + 1 bytes. Returns the length written, without
 * the final NUL. Both bytes after a '%' are read even at the end of the text: a '%' as the last
 * byte reads the NUL and the byte after it, which must be readable (a digit there is decoded). */
OZMU_API int ozmu_str_conv_uri2a(const char *src, char *dst);

/* ============================================================================================
 * Media identification: FourCC to media type
 *
 * A FourCC is the integer of its four bytes as they lie in a file, read little-endian: the first
 * character is the least significant byte ("avc1" is 0x31637661). Comparisons are exact: case
 * matters and a blank is a character ("aac " is 0x20636161). Audio values below 0x10000 are
 * WAVE format tags. Every look-up is a pure function of its argument; none fails.
 * ========================================================================================== */

/* The integer of the FourCC c0 c1 c2 c3, e.g. OZMU_FOURCC('a', 'v', 'c', '1'). */
#define OZMU_FOURCC(c0, c1, c2, c3)                                                                \
    ((int32_t)((uint32_t)(uint8_t)(c0) | (uint32_t)(uint8_t)(c1) << 8 |                            \
               (uint32_t)(uint8_t)(c2) << 16 | (uint32_t)(uint8_t)(c3) << 24))

/* Media-type identifiers: video 100..299, audio 300..499, DRM schemes 1100..1299, subtitles
 * 3000..3199. The last value of each range is that category's "unknown"; values not listed are
 * unassigned. */
#define OZMU_MT_UNKNOWN 0 /* no table knows the code (ozmu_fcc2mt only) */
#define OZMU_MT_MPEG4 102 /* MPEG-4 Part 2 visual, also in its short-header (H.263) form */
#define OZMU_MT_H263 103
#define OZMU_MT_H264 104
#define OZMU_MT_WMV1 105
#define OZMU_MT_WMV2 106
#define OZMU_MT_WMV3 107
#define OZMU_MT_VIDEO_108 108 /* reserved: no FourCC maps to it */
#define OZMU_MT_VIDEO_109 109 /* reserved: no FourCC maps to it */
#define OZMU_MT_DIV3 110      /* MS-MPEG4 v3 as "DIV3" */
#define OZMU_MT_H263_ALT 111  /* second H.263 identifier: no FourCC maps to it */
#define OZMU_MT_RV10 113
#define OZMU_MT_RV20 114
#define OZMU_MT_RV30 115
#define OZMU_MT_RV40 116
#define OZMU_MT_MP43 117 /* MS-MPEG4 v3 as "MP43" (no key-frame test: see ozmu_is_vkeyfrm) */
#define OZMU_MT_VC1 118
#define OZMU_MT_VP8 119
#define OZMU_MT_HEVC 120
#define OZMU_MT_HFYU 122 /* lossless, every frame a key frame */
#define OZMU_MT_VIDEO_UNKNOWN 299
#define OZMU_MT_PCM 300
#define OZMU_MT_ALAW 301
#define OZMU_MT_MULAW 302
#define OZMU_MT_MPEG_AUDIO 304 /* MPEG audio layers 1 and 2 */
#define OZMU_MT_MP3 305
#define OZMU_MT_AAC 306
#define OZMU_MT_AC3 307
#define OZMU_MT_DTS 308
#define OZMU_MT_AMR_NB 309
#define OZMU_MT_AMR_WB 310
#define OZMU_MT_QCELP 311
#define OZMU_MT_WMA 312          /* WAVE tags 0x0160, 0x0161 */
#define OZMU_MT_WMA_PRO 313      /* WAVE tag 0x0162 */
#define OZMU_MT_WMA_LOSSLESS 314 /* WAVE tag 0x0163 */
#define OZMU_MT_EVRC 321
#define OZMU_MT_SIPR 331
#define OZMU_MT_COOK 332
#define OZMU_MT_AUDIO_UNKNOWN 499
#define OZMU_MT_DRM_DIVX 1100
#define OZMU_MT_DRM_UNKNOWN 1299
#define OZMU_MT_SUB_SRT 3000
#define OZMU_MT_SUB_TX3G 3006 /* 3GPP timed text */
#define OZMU_MT_SUB_ASS 3007
#define OZMU_MT_SUB_SSA 3008
#define OZMU_MT_SUB_UNKNOWN 3199

/* Video FourCC to its identifier, or OZMU_MT_VIDEO_UNKNOWN. Known codes:
 *   MPEG4  "MP4V" "mp4v" "XVID" "xvid" "DIVX" "divx" "DX50" "dx50" "FMP4" "DIV4" "div4" "M4S2"
 *          "m4s2" (note "DIV4"/"div4": MPEG-4, not DIV3)
 *   H263   "H263" "h263" "d263" "s263"
 *   H264   "H264" "h264" "x264" "AVC1" "avc1" "avcC"
 *   HEVC   "HVC1" "hvc1" "hvcC" "H265" "h265" "x265"
 *   WMV1/2/3 "WMV1".."WMV3" and lower case; DIV3 "DIV3" "div3"; MP43 "MP43" "mp43";
 *   VC1    "WVC1" "wvc1"
 *   upper case only: RV10..RV40 "RV10" "RV20" "RV30" "RV40", VP8 "VP80", HFYU "HFYU" */
OZMU_API int ozmu_fcc2mt_vid(int fcc);
/* Audio FourCC or WAVE tag to its identifier, or OZMU_MT_AUDIO_UNKNOWN. Tags: 1 PCM, 6 A-law,
 * 7 mu-law, 0x50 MPEG audio, 0x55 MP3, 0xFF AAC, 0x2000 AC-3, 0x2001 DTS, 0x160 and 0x161 WMA,
 * 0x162 WMA Pro, 0x163 WMA Lossless. FourCCs: "aac " "mp4a" AAC, "samr" AMR-NB, "sawb" AMR-WB,
 * "sqcp" "dqcp" QCELP, "evrc", "sipr", "cook". */
OZMU_API int ozmu_fcc2mt_aud(int fcc);
/* Subtitle code to its identifier, or OZMU_MT_SUB_UNKNOWN. The codes are the library's own
 * integers, whose file-order spelling is not the usual one: SRT 0x54525353 ("SSRT"), ASS
 * 0x53534153 ("SASS"), SSA 0x41535353 ("SSSA"); 3GPP text "TX3G" "tx3g" "SBTL" "sbtl". */
OZMU_API int ozmu_fcc2mt_sub(int fcc);
/* "DIVX" or "divx" give OZMU_MT_DRM_DIVX, anything else OZMU_MT_DRM_UNKNOWN. */
OZMU_API int ozmu_fcc2mt_drm(int fcc);
/* The video, audio or subtitle identifier of a code (no code is in two of these tables), or
 * OZMU_MT_UNKNOWN. The DRM table is not consulted: "DIVX" gives OZMU_MT_MPEG4. */
OZMU_API int ozmu_fcc2mt(int fcc);

/* ============================================================================================
 * Media identification: key frames
 * ========================================================================================== */

/* 1 when `data`, one coded frame (access unit) of `size` bytes of media type `mt`, is a key
 * frame, else 0. Only a few header bits are looked at; nothing is decoded, kept or written.
 * Unknown types, frames shorter than the type's minimum and frames without the start code
 * sought give 0; a null `data` is not checked.
 *
 * Start-code scans try each offset i from 0 while size - i is at least the type's minimum; a
 * shorter frame is not read at all.
 *   OZMU_MT_H264 (min 4): Annex B byte stream (start codes, not MP4 length prefixes). The first
 *     00 00 01 followed by a slice NAL unit decides: IDR (type 5) is key, non-IDR (type 1) is
 *     not; all other NAL units (delimiters, parameter sets, SEI, partitions) are passed over. An
 *     open-GOP recovery point (I slices in a non-IDR picture) is therefore not key.
 *   OZMU_MT_HEVC (min 4): Annex B. Only the first NAL unit decides: key when it is IDR_W_RADL or
 *     IDR_N_LP. A frame that starts with a delimiter, parameter set or SEI gives 0, and so do
 *     CRA and BLA pictures.
 *   OZMU_MT_MPEG4 (min 5): the first VOP start code (00 00 01 B6) decides: I-VOP is key. A
 *     short-header picture start code met first decides as for H.263 (INTRA is key; the fixed
 *     PTYPE bits wrong gives 0), except that one with the extended picture type is passed over.
 *   OZMU_MT_H263, OZMU_MT_H263_ALT (min 7): the first picture start code decides: INTRA, or with
 *     the extended picture type (PLUSPTYPE) an I-picture, is key; wrong fixed PTYPE bits give 0.
 *   OZMU_MT_WMV1, OZMU_MT_DIV3: key when data[0] < 0x40 (picture type bits 00).
 *   OZMU_MT_WMV2: key when bit 7 of data[0] is clear.
 *   OZMU_MT_HFYU: always 1.
 *   Everything else, including OZMU_MT_WMV3, OZMU_MT_MP43, VC-1, VP8, the RV types, 108, 109
 *   and every audio or subtitle type: always 0.
 *
 * Reads: data[0 .. size-1] and, beyond them,
 *   - OZMU_MT_H263 and OZMU_MT_H263_ALT: data[size] (the picture type of an extended PTYPE
 *     with its optional part sits at offset 7 from a start code found 7 bytes before the end);
 *   - OZMU_MT_WMV1, OZMU_MT_WMV2, OZMU_MT_DIV3: data[0] whatever `size` is, 0 and negative
 *     included.
 * One readable byte past every frame (the usual input padding of demultiplexers) covers both. */
OZMU_API int ozmu_is_vkeyfrm(int mt, const uint8_t *data, int size);

/* ============================================================================================
 * Annex-B byte streams
 *
 * H.264 and HEVC elementary streams: NAL units behind 00 00 01 start codes (00 00 00 01 with a
 * zero_byte), each NAL unit carrying emulation-prevention bytes (the 03 of every 00 00 03) that
 * must go before its payload is parsed with the bit reader.
 * ========================================================================================== */

/* One NAL unit of a byte stream, as ozmu_annexb_next_nal finds it. */
typedef struct ozmu_nal_unit {
    size_t offset;       /* byte offset of the start code in the buffer */
    int start_code_size; /* 3, or 4 when a zero byte precedes 00 00 01 */
    const uint8_t *data; /* the NAL unit from its header onward */
    size_t size;         /* up to the next start code or the end, trailing zero bytes excluded */
} ozmu_nal_unit;

/* Finds the first start code at or after buf[*pos]. On success fills *nal, moves *pos to the end
 * of that NAL unit (its trailing zero bytes not included) and returns 1, so that repeated calls
 * walk the stream; returns 0 when no start code remains. A zero byte before 00 00 01 counts as
 * part of the start code only when it lies at or after *pos. nal->size is 0 for a start code at
 * the very end or one followed directly by another (data[0] is then not to be read). Bytes
 * before the first start code are skipped. Returns OZMU_ERR_INVALID_ARG for a null pos or nal,
 * a null buf with a non-zero size, or *pos > size. Example:
 *     size_t pos = 0; ozmu_nal_unit nal;
 *     while (ozmu_annexb_next_nal(buf, size, &pos, &nal) > 0)
 *         if (nal.size > 0) handle(nal.data[0] & 0x1F, nal.data, nal.size);  (H.264 type) */
OZMU_API int ozmu_annexb_next_nal(const uint8_t *buf, size_t size, size_t *pos,
                                  ozmu_nal_unit *nal);

/* Copies the size bytes of a NAL unit at src to dst (room for size bytes) without its
 * emulation-prevention bytes: every 03 that follows two zero bytes of the payload is dropped
 * (also at the end, and 00 00 03 03 keeps its second 03). Returns the bytes written. dst may be
 * src (in-place); other overlaps are not allowed. */
OZMU_API size_t ozmu_nal_to_rbsp(const uint8_t *src, size_t size, uint8_t *dst);

/* A refill callback for ozmu_bsr_init that reads a NAL unit in place, dropping its emulation-
 * prevention bytes: initialise the reader over the NAL unit (header included or not) and the
 * reads see what they would see over ozmu_nal_to_rbsp's copy with the default refill. The zero
 * run is taken from the bytes behind bs->cur (not before bs->beg), so the reader's buffer must
 * start on a payload byte boundary where no zero run is pending, such as the NAL unit header.
 * Honours the refill contract: at most `bytes` (and 4) bytes loaded, nothing read past bs->end;
 * bs->cur is left past an emulation-prevention byte that follows the bytes loaded, so peek's
 * look-ahead byte is a data byte. Returns 0, or -1 with code and leftbits 0. */
OZMU_API int ozmu_bsr_refill_rbsp(ozmu_bsr *bs, int bytes);

/* ============================================================================================
 * MD5
 * ========================================================================================== */

/* MD5 (RFC 1321) context. Callers may keep it anywhere (88 bytes, no pointers); a context must be
 * all zeros before its first ozmu_md5_init, which ozmu_md5_finish leaves it. */
struct ozmu_md5_ctx {
    uint32_t state[4];  /* chaining values */
    uint8_t buffer[64]; /* the incomplete block */
    uint32_t count[2];  /* message length in bits, low word first */
};

/* Loads the initial chaining values and clears count[0]; count[1] and buffer are left as they
 * are (zero in a fresh or finished context). Returns ctx. */
OZMU_API ozmu_md5_ctx *ozmu_md5_init(ozmu_md5_ctx *ctx);
/* Hashes len bytes. Any split of a message over calls gives the same digest. */
OZMU_API void ozmu_md5_update(ozmu_md5_ctx *ctx, const uint8_t *data, unsigned len);
/* Hashes n 16-bit samples (any n) as 2n bytes, each sample low byte first, whatever the host's
 * byte order: the same digest as ozmu_md5_update over the little-endian bytes. */
OZMU_API void ozmu_md5_update_16(ozmu_md5_ctx *ctx, const uint16_t *samples, unsigned n);
/* Pads, writes the 16-byte digest and clears the whole context (ready for ozmu_md5_init). */
OZMU_API void ozmu_md5_finish(ozmu_md5_ctx *ctx, uint8_t digest[16]);
/* The compression function on one 64-byte block given as 16 words (message byte 4k + j is byte
 * j, least significant first, of block[k]); updates state in place. */
OZMU_API void ozmu_md5_trans(uint32_t state[4], const uint32_t block[16]);

/* Digest of an image's picture, row by row, with a fresh context: luma rows y .. height - 1, each
 * width - x bytes from column 0 (x shortens the rows, it does not move their start); then,
 * unless the format is OZMU_CS_YUV400, planes 1 and 2 with rows y / 2 .. ceil(height / 2) - 1 of
 * (width + 1 - x) / 2 bytes (0 <= x <= width and 0 <= y <= height are expected). Every planar
 * format is hashed with this 8-bit 4:2:0 geometry whatever its chroma size or sample width:
 * 16-bit formats give only the first bytes of each row, an alpha plane never enters, null plane
 * pointers (OZMU_CS_YUV400_16's chroma) are skipped, and the chroma rows of OZMU_CS_YUV411 run
 * on into the next rows, so that a one-row OZMU_CS_YUV411 picture reads up to
 * (width + 1) / 2 - ceil(width / 4) bytes past its last plane. Returns 0, or
 * OZMU_ERR_UNSUPPORTED_CS for identifiers outside 10..99 (digest untouched). */
OZMU_API int ozmu_md5_imgb(const ozmu_imgb *img, uint8_t digest[16]);

/* ============================================================================================
 * Frame conversion
 *
 * One checked entry point converting a whole frame (or a band of its rows) between decoder,
 * camera and display layouts, with the colour matrix, ranges, chroma siting and a change of size
 * in the same pass. Independent of the OZMU_CS_* tables above: its own pixel formats, options
 * and error codes. The integer definition, its precision and measured accuracy are described in
 * docs/frame-conversion.md; every build and processor gives the same bytes.
 * ========================================================================================== */

/* Pixel formats of the frame API (not the OZMU_CS_* identifiers). Chroma planes of 4:2:0 formats
 * are (width + 1) / 2 x (height + 1) / 2, of 4:2:2 (width + 1) / 2 x height. 16-bit samples are
 * little-endian words. Sources: every format below except RGB565. Destinations: RGBA, BGRA,
 * ARGB, RGB24, BGR24, RGB565, I420 and NV12. */
#define OZMU_PIX_I420 1  /* Y, U, V planes */
#define OZMU_PIX_YV12 2  /* Y, V, U planes (plane[1] is V) */
#define OZMU_PIX_NV12 3  /* Y, interleaved UV */
#define OZMU_PIX_NV21 4  /* Y, interleaved VU */
#define OZMU_PIX_I422 5  /* Y, U, V planes, chroma full height */
#define OZMU_PIX_I444 6  /* Y, U, V planes of full size */
#define OZMU_PIX_GRAY8 7 /* 4:0:0, one plane (chroma taken as neutral) */
/* I010: three 4:2:0 planes, 10 bits right-aligned in 16-bit words; the six upper bits of a word
 * are ignored (the sample is masked to 10 bits). P010: Y and interleaved UV, 10 bits left-aligned
 * in 16-bit words; the six lower bits are ignored. */
#define OZMU_PIX_I010 8
#define OZMU_PIX_P010 9
#define OZMU_PIX_RGBA 32   /* bytes R, G, B, A in memory order */
#define OZMU_PIX_BGRA 33   /* bytes B, G, R, A */
#define OZMU_PIX_ARGB 34   /* bytes A, R, G, B */
#define OZMU_PIX_RGB24 35  /* bytes R, G, B */
#define OZMU_PIX_BGR24 36  /* bytes B, G, R */
#define OZMU_PIX_RGB565 37 /* 16-bit little-endian words, R in the top 5 bits (output only) */

/* A frame: caller memory described, never owned. Planes past the format's count are ignored. */
typedef struct ozmu_frame {
    int format, width, height;
    uint8_t *plane[4];
    ptrdiff_t stride[4]; /* bytes from one row to the next; negative: bottom-up */
} ozmu_frame;

#define OZMU_MATRIX_BT601 0
#define OZMU_MATRIX_BT709 1
#define OZMU_MATRIX_BT2020 2   /* non-constant luminance; the matrix only */
#define OZMU_RANGE_LIMITED 0   /* Y 16..235, chroma 16..240 (x4 for 10 bits) */
#define OZMU_RANGE_FULL 1      /* 0..255 (0..1023) */
#define OZMU_CHROMA_ACCURATE 0 /* default: chroma interpolated bilinearly at its sited position */
#define OZMU_CHROMA_FAST 1     /* each pixel takes the chroma sample of its 2x2 (or 2x1) group */
/* Left (MPEG-2/H.264, the default): co-sited with even luma columns, midway between rows. */
#define OZMU_SITING_LEFT 0
#define OZMU_SITING_CENTER 1 /* JPEG: centred in its 2x2 group */

/* Options of ozmu_convert. src_range applies to a YUV source, dst_range to a YUV destination; RGB
 * is always full range. A YUV to YUV conversion keeps matrix and range: src_range must equal
 * dst_range. chroma applies to YUV sources with subsampled chroma; siting to subsampled chroma on
 * either side. */
typedef struct ozmu_convert_opts {
    int matrix, src_range, dst_range, chroma, siting;
    int row_begin, row_end; /* destination rows [row_begin, row_end); 0, 0 = the whole frame */
} ozmu_convert_opts;

/* Error codes of the frame API (a block of its own). */
#define OZMU_FRAME_ERR_NULL (-400)   /* null frame, or a null plane the format needs */
#define OZMU_FRAME_ERR_FORMAT (-401) /* unknown pixel format (or an OZMU_CS_* without one) */
#define OZMU_FRAME_ERR_SIZE (-402)   /* width or height below 1 or above 16384 */
#define OZMU_FRAME_ERR_STRIDE (-403) /* |stride| below the plane's minimum row size */
/* RGB565 as a source, or a destination format that is not one (YV12, NV21, I422, I444, GRAY8,
 * I010, P010). */
#define OZMU_FRAME_ERR_UNSUPPORTED (-404)
#define OZMU_FRAME_ERR_OPTION (-405) /* an option out of range, or a YUV to YUV range change */
/* Row band empty, outside the destination, or starting on an odd row of a 4:2:0 destination. */
#define OZMU_FRAME_ERR_ROWS (-406)

/* Fills opts with the defaults: BT.601, limited YUV on both sides, accurate chroma, left siting,
 * the whole frame. */
OZMU_API void ozmu_convert_opts_init(ozmu_convert_opts *opts);

/* Converts src into dst, resampling when the sizes differ (bilinear; an area filter on an axis
 * reduced 2x or more). opts may be null (the defaults). Only destination rows
 * [row_begin, row_end) are written (for 4:2:0 destinations also the chroma rows of the even rows
 * among them); a band gives the same bytes as the same rows of a whole-frame call, so bands may
 * run on different threads. Everything is checked before anything is written: a refused call
 * writes nothing. Source and destination must not overlap. Returns OZMU_OK, an
 * OZMU_FRAME_ERR_* code, or OZMU_ERR_MALLOC (one working buffer is allocated per call,
 * except for unscaled 8-bit 4:2:0 to packed RGB). */
OZMU_API int ozmu_convert(const ozmu_frame *src, const ozmu_frame *dst,
                          const ozmu_convert_opts *opts);

/* 1 when src_format can be converted to dst_format, else 0. */
OZMU_API int ozmu_convert_supported(int src_format, int dst_format);

/* Geometry of a format at a size: the plane count, each plane's minimum stride in bytes and its
 * row count (entries past the plane count set to 0). Any output may be null. Returns OZMU_OK,
 * OZMU_FRAME_ERR_FORMAT or OZMU_FRAME_ERR_SIZE. */
OZMU_API int ozmu_frame_layout(int format, int width, int height, int *planes, size_t min_stride[4],
                               int rows[4]);

/* Describes an image buffer as a frame, without copying: OZMU_CS_YUV400, YUV420, YUV422, YUV444,
 * P010 (three right-aligned 16-bit planes: OZMU_PIX_I010), RGB565, RGB888 (OZMU_PIX_RGB24),
 * RGBA8888, BGRA8888 and ARGB8888. Other identifiers give OZMU_FRAME_ERR_FORMAT; null arguments
 * OZMU_FRAME_ERR_NULL. frame is written only on success. */
OZMU_API int ozmu_frame_from_imgb(const ozmu_imgb *img, ozmu_frame *frame);

/* A short English text for every OZMU_FRAME_ERR_* code and the shared OZMU_ERR_* codes
 * ("unknown error" otherwise); never null. */
OZMU_API const char *ozmu_strerror(int code);

#ifdef __cplusplus
}
#endif

#endif /* OZMU_H */
