// Callers see these records' layouts: pin every field offset on LP64 targets.
#include <cstddef>

#include "ozmu.h"

#if defined(__LP64__)
#define OZMU_AT(record, field, offset) static_assert(offsetof(record, field) == (offset), #field)

OZMU_AT(ozmu_imgb, refcnt, 0);
OZMU_AT(ozmu_imgb, addref, 8);
OZMU_AT(ozmu_imgb, getref, 16);
OZMU_AT(ozmu_imgb, release, 24);
OZMU_AT(ozmu_imgb, width, 32);
OZMU_AT(ozmu_imgb, height, 36);
OZMU_AT(ozmu_imgb, x, 40);
OZMU_AT(ozmu_imgb, y, 44);
OZMU_AT(ozmu_imgb, cs, 48);
OZMU_AT(ozmu_imgb, stride, 52);
OZMU_AT(ozmu_imgb, rows, 68);
OZMU_AT(ozmu_imgb, plane, 88);
OZMU_AT(ozmu_imgb, plane_aux, 120);
OZMU_AT(ozmu_imgb, reserved, 152);
OZMU_AT(ozmu_imgb, aligned_width, 184);
OZMU_AT(ozmu_imgb, aligned_height, 188);
OZMU_AT(ozmu_imgb, frame_alloc, 192);
OZMU_AT(ozmu_imgb, frame_free, 200);
OZMU_AT(ozmu_imgb, frame_base, 208);
OZMU_AT(ozmu_imgb, frame_aux, 240);
OZMU_AT(ozmu_imgb, frame_size, 272);
static_assert(sizeof(ozmu_imgb) == 280);

OZMU_AT(ozmu_audb, refcnt, 0);
OZMU_AT(ozmu_audb, num, 32);
OZMU_AT(ozmu_audb, size, 64);
OZMU_AT(ozmu_audb, buf, 96);
OZMU_AT(ozmu_audb, buf_aux, 160);
OZMU_AT(ozmu_audb, channels, 224);
OZMU_AT(ozmu_audb, bits, 228);
OZMU_AT(ozmu_audb, rate, 232);
OZMU_AT(ozmu_audb, interleaved, 236);
OZMU_AT(ozmu_audb, layout, 240);
OZMU_AT(ozmu_audb, buf_alloc, 248);
OZMU_AT(ozmu_audb, buf_free, 256);
static_assert(sizeof(ozmu_audb) == 264);

OZMU_AT(ozmu_bitb, refcnt, 0);
OZMU_AT(ozmu_bitb, buf, 32);
OZMU_AT(ozmu_bitb, buf_aux, 40);
OZMU_AT(ozmu_bitb, bsize, 48);
OZMU_AT(ozmu_bitb, reserved, 52);
OZMU_AT(ozmu_bitb, buf_alloc, 88);
OZMU_AT(ozmu_bitb, buf_free, 96);
static_assert(sizeof(ozmu_bitb) == 104);

OZMU_AT(ozmu_mfal, refcnt, 0);
OZMU_AT(ozmu_mfal, user, 32);
static_assert(sizeof(ozmu_mfal) == 256);

OZMU_AT(ozmu_vdata, tag, 0);
OZMU_AT(ozmu_vdata, size, 4);
OZMU_AT(ozmu_vdata, data, 8);
static_assert(sizeof(ozmu_vdata) == 16);

// Reader and writer share one layout.
#define OZMU_BITSTREAM_AT(record)                                                                  \
    OZMU_AT(record, code, 0);                                                                      \
    OZMU_AT(record, leftbits, 4);                                                                  \
    OZMU_AT(record, cur, 8);                                                                       \
    OZMU_AT(record, end, 16);                                                                      \
    OZMU_AT(record, beg, 24);                                                                      \
    OZMU_AT(record, size, 32);                                                                     \
    OZMU_AT(record, flush_fn, 40);                                                                 \
    static_assert(sizeof(record) == 48)
OZMU_BITSTREAM_AT(ozmu_bsr);
OZMU_BITSTREAM_AT(ozmu_bsw);

#undef OZMU_AT
#endif
