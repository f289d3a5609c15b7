// The image resizer's handle and its per-layout rows. A resizer is chosen at creation; it runs
// the layout's `_full` helper for a whole picture or feeds slices to its `_line` helper, which
// filters one output row from an upper and a lower source row.
//
// Layouts 20 (1 byte) and 29 (4 bytes) are vectorised: the portable reference (ozmu::ref)
// evaluates the four-tap sum per pixel; NEON blends the two source rows into a 16-bit row first
// and then blends neighbours along it; the x86-64 rows blend neighbours first and then the two
// rows. All give the same integers because the weights factor: (8-h)(8-v), h(8-v), (8-h)v, hv.
// AArch64 calls the NEON rows directly; x86-64 calls the best tier's through irsz::table().
#pragma once
#include <cstddef>
#include <cstdint>

#include "core/dispatch.h"

namespace ozmu::irsz {

struct Handle;
using Resizer = int (*)(Handle *h, const void *src, int y0, int rows);

// Precomputed horizontal walk of the vector rows and their blended-row buffer, built at creation
// so that no resize call allocates or divides.
struct Plan {
    int columns;        // blended-row columns: one per 2^xshift-th source pixel
    int groups;         // layout 20: groups of 8 outputs, the last one ending at dst_w
    bool grouped;       // layout 20: each group's taps lie within 32 columns of its first tap
    uint32_t *offset;   // byte offset of the left tap in the blended row: per output (29) or
                        // per group (20)
    uint16_t *weights;  // 29: per output (8-h) x4, h x4; 20: per group (8-h) x8, h x8
    uint8_t *index;     // 20: per group 16 table indices of the left taps, 16 of the right ones
    uint16_t *blend;    // the two source rows blended vertically, 16 bits a byte; zero padded
#if OZMU_HAVE_X86_TIERS
    // x86-64 rows filter straight from the source rows. Each record gathers the taps of a run of
    // output bytes from one window of source bytes with a byte shuffle; (8 - h, h) byte pairs
    // then blend each tap pair in one multiply-add.
    struct Windows {
        int records;
        bool fit;          // every record's taps lie inside its window (else the per-pixel path)
        uint32_t *base;    // per record: byte offset of its window in the source row
        uint8_t *index;    // per record: (left, right) tap positions in the window per output byte
        uint8_t *weights;  // per record: (8 - h, h) per output byte
    };
    Windows lanes;   // 16-byte windows of 8 output bytes; steps of 32 bytes ordered 0, 16, 8, 24
    Windows zmm;     // 64-byte windows of 32 output bytes; steps of 64 bytes
    uint32_t *taps;  // per output: byte offsets of its left and right source pixel
    uint8_t *phase;  // per output: h
    // Shifts above 0: the windows index rows of every 2^xshift-th pixel, made here by
    // compact_rows (top row, then bottom row, compact_stride bytes apart).
    uint8_t *compact;
    int compact_stride;
#endif
};

#if OZMU_HAVE_X86_TIERS
// Copies every 2^xshift-th pixel of both rows into the plan and points the rows there.
void compact_rows(const Handle &h, const uint8_t *&top, const uint8_t *&bottom);
#endif

// Output bytes per step of the x86-64 window rows, and their windows.
inline constexpr int kLaneStep = 32, kLaneRecord = 8, kLaneWindow = 16;
inline constexpr int kZmmStep = 64, kZmmRecord = 32, kZmmWindow = 64;

// Private record; the fields up to `dst` keep the order every resizer expects.
struct Handle {
    int32_t layout;
    int32_t mode;
    int32_t xstep;  // 14.18 source columns per output pixel (of the shifted grid)
    int32_t ystep;
    int32_t y;          // mode 11: vertical position of the next output row
    int32_t xnext;      // horizontal neighbour distance, 1 << xshift
    int32_t line_size;  // source row distance in stride units (pixels for layout 25)
    int32_t dst_w;
    int32_t dst_h;
    int32_t dst_stride;  // in stride units (16-bit words for layout 25)
    int32_t xshift;
    int32_t yshift;
    int32_t src_step;        // line_size << yshift: upper to lower tap
    int32_t pending_offset;  // mode 11: byte offset of the awaited lower row in the next slice
    int32_t pending;         // mode 11: the upper row waits in linebuf for its lower row
    int32_t slice_size;      // slice_rows * line_size
    int32_t out_row;         // mode 11: next output row
    int32_t upscale;         // destination wider or taller than the source
    int32_t linebuf_is_top;  // mode 11: the current upper row is the copy in linebuf
    Resizer resize;
    uint8_t *linebuf;  // mode 11: one source row
    uint8_t *dst;
    // Beyond the shared fields.
    int32_t src_w;
    int32_t src_h;
    Plan *plan;  // layouts 20 and 29
};

// One output row from the upper and lower source rows at vertical phase v (0..7).
using LineFn = void (*)(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                        uint8_t *dst);

// Bytes per source row unit and per destination row unit (layout 25 counts 16-bit words).
struct Units {
    int src;
    int dst;
};

inline int32_t row_of(uint32_t position, int shift)
{
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<int32_t>(position) >> 18)
                                << shift);
}

// Whole picture: every output row from its two source rows. The lower row is clamped to the
// picture, which matters only for a one-row source, whose phase is always 0.
template <LineFn line, Units units>
void whole_picture(const Handle &h, const uint8_t *src)
{
    const ptrdiff_t src_stride = ptrdiff_t{h.line_size} * units.src;
    const ptrdiff_t dst_stride = ptrdiff_t{h.dst_stride} * units.dst;
    const int32_t last = h.src_h - 1;
    uint8_t *out = h.dst;
    uint32_t y = 0;
    for (int row = 0; row < h.dst_h; ++row) {
        const int32_t top = row_of(y, h.yshift);
        const int32_t lower = top + (int32_t{1} << h.yshift);
        const int32_t bottom = lower < last ? lower : last;
        line(h, src + top * src_stride, src + bottom * src_stride, static_cast<int>(y >> 15) & 7,
             out);
        out += dst_stride;
        y += static_cast<uint32_t>(h.ystep);
    }
}

// Portable-only layouts.
void irsz8b8b8b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                     uint8_t *dst);
void irsz8b8b8b_5b6b5b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                            uint8_t *dst);
void irsz5b6b5b_line(const Handle &h, const uint8_t *top, const uint8_t *bottom, int v,
                     uint8_t *dst);
void irsz8b8b8b_full(const Handle &h, const uint8_t *src);
void irsz8b8b8b_5b6b5b_full(const Handle &h, const uint8_t *src);
void irsz5b6b5b_full(const Handle &h, const uint8_t *src);

// The resizers stored in the handle, one per layout.
int irsz8b(Handle *h, const void *src, int y0, int rows);
int irsz8b8b8b(Handle *h, const void *src, int y0, int rows);
int irsz8b8b8b_5b6b5b(Handle *h, const void *src, int y0, int rows);
int irsz5b6b5b(Handle *h, const void *src, int y0, int rows);
int irsz8b8b8b8b(Handle *h, const void *src, int y0, int rows);

}  // namespace ozmu::irsz

#define OZMU_DECLARE_IRSZ_VECTOR_ROWS                                                              \
    void irsz8b_line(const irsz::Handle &h, const uint8_t *top, const uint8_t *bottom, int v,      \
                     uint8_t *dst);                                                                \
    void irsz8b_full(const irsz::Handle &h, const uint8_t *src);                                   \
    void irsz8b8b8b8b_line(const irsz::Handle &h, const uint8_t *top, const uint8_t *bottom,       \
                           int v, uint8_t *dst);                                                   \
    void irsz8b8b8b8b_full(const irsz::Handle &h, const uint8_t *src);

namespace ozmu {
namespace ref {
OZMU_DECLARE_IRSZ_VECTOR_ROWS
}

namespace irsz {
// One entry per vector row, filled with the reference, then by each tier's installer.
struct Table {
    decltype(&ref::irsz8b_line) irsz8b_line;
    decltype(&ref::irsz8b_full) irsz8b_full;
    decltype(&ref::irsz8b8b8b8b_line) irsz8b8b8b8b_line;
    decltype(&ref::irsz8b8b8b8b_full) irsz8b8b8b8b_full;
};
// The table for a set of tiers (0: the reference); table() is the one for cpu::active(), built
// once.
Table table_for(unsigned tiers);
const Table &table();
}  // namespace irsz

#if OZMU_HAVE_X86_TIERS
namespace ssse3 {
OZMU_DECLARE_IRSZ_VECTOR_ROWS
void install_irsz(irsz::Table &table);
}  // namespace ssse3
namespace avx2 {
OZMU_DECLARE_IRSZ_VECTOR_ROWS
void install_irsz(irsz::Table &table);
}  // namespace avx2
namespace avx512 {
OZMU_DECLARE_IRSZ_VECTOR_ROWS
void install_irsz(irsz::Table &table);
}  // namespace avx512
#endif
#if OZMU_HAVE_NEON
namespace neon {
OZMU_DECLARE_IRSZ_VECTOR_ROWS
void install_irsz(irsz::Table &table);  // for the tests: the resizers call neon directly
}  // namespace neon
#endif
}  // namespace ozmu
