// Internal pieces of the image buffer: format classes and the record's own operations, which
// callers reach only through the pointers stored in ozmu_imgb.
#pragma once

#include <cstdint>

#include "ozmu.h"

namespace ozmu {

// Planar formats keep one sample kind per plane; packed ones interleave a pixel in plane 0.
constexpr bool is_planar_cs(int cs) { return cs >= 10 && cs <= 99; }
constexpr bool is_packed_cs(int cs) { return cs >= 100 && cs <= 599; }

// Bytes per pixel of a packed format, fixed by its hundred alone (named or not).
constexpr int packed_bytes_per_pixel(int cs)
{
    switch (cs / 100) {
    case 1:
    case 2: return 2;
    case 4: return 3;
    default: return 4;  // 3xx and 5xx
    }
}

// Halves of an element descriptor and of an alignment or padding word.
constexpr int elem_bytes(uint32_t elem) { return static_cast<int>(elem >> 16); }
constexpr int elem_lines(uint32_t elem) { return static_cast<int>(elem & 0xFFFFu); }
constexpr uint32_t hv_horizontal(uint32_t word) { return word >> 16; }
constexpr uint32_t hv_vertical(uint32_t word) { return word & 0xFFFFu; }

// The image's counted-object operations.
int imgb_addref(ozmu_imgb *img);
int imgb_getref(ozmu_imgb *img);
int imgb_release(ozmu_imgb *img);

// Default frame allocator pair: the 32-byte aligned allocator, aux always 0 (and ignored).
void *imgb_alloc_frm(int size, uint64_t *aux);
void imgb_free_frm(void *base, uint64_t aux);

}  // namespace ozmu
