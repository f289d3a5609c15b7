// Frame conversion (ozmu_convert): the row kernels and the family table the driver calls them
// through.
//
// Every conversion runs one destination row at a time through the same stages:
//   1. read:    a source row into int16 samples at their native depth (8 or 10 bits), split into
//               channels (NV12's UV pairs, packed RGB's bytes);
//   2. vertical: the source rows a destination row needs, weighted in Q14 and summed in 32 bits,
//               then one rounding shift to the working scale (below);
//   3. horizontal: the same in x through a precomputed AxisMap (skipped when it is the identity);
//   4. output:  the matrix and packing (YUV to RGB, RGB to Y and to 4:2:0 chroma) or a rounding
//               store (YUV to YUV, RGB to RGB).
// Working scale: every intermediate sample is an int16 holding 64 units per 8-bit code (16 per
// 10-bit code), 0 .. 16368, so the 4:2:0 chroma interpolation of unscaled conversions (weights in
// quarters) stays exact and 16x16->32 multiply-adds cover every product.
//
// Unscaled 8-bit 4:2:0 to packed RGB skips the stages: one fused kernel a row (yuv420_to_*), equal
// to them byte for byte. So does unscaled packed RGB to 4:2:0, two rows at a time
// (packed_to_yuv420: two source rows to their two Y rows and one chroma row), and unscaled P010 to
// 3- or 4-byte RGB in the fast chroma mode (p010_fast_to_packed: a luma row and its chroma row).
//
// Specialised stages of scaled conversions, each equal to the general ones byte for byte: rows
// with one or two vertical taps blend straight to the working scale (vertical2, vertical2_u8),
// maps of at most two taps an output run through a precomputed PairMap (horizontal2, and
// horizontal2_u8 for one 8-bit row of one vertical tap), and exact 2:1 reductions of 8-bit 4:2:0
// to I420 are one kernel a row (box2_u8).
//
// ozmu::ref holds the portable kernels; vector tiers install their own versions of any entry
// through frame::table_for(), and the driver never names a version.
#pragma once
#include <cstddef>
#include <cstdint>

#include "core/dispatch.h"
#include "ozmu.h"

namespace ozmu::frame {

inline constexpr int kWorkShift8 = 6;  // working scale = 8-bit code << 6
inline constexpr int kRgbShift = 5;    // YUV to RGB terms are in 1/32 of an 8-bit code
inline constexpr int kQ = 14;          // filter weights sum to 1 << kQ
inline constexpr int kMaxSize = 16384;

// Taps of one resampling axis: output i reads count(i) consecutive inputs from begin[i] with
// weights weight[offset[i] .. offset[i + 1]), which sum to 1 << kQ.
struct AxisMap {
    int outputs;
    const int32_t *begin;
    const int32_t *offset;  // outputs + 1 entries
    const int16_t *weight;
};

// An axis whose every output reads at most two neighbouring inputs (bilinear, nearest, an exact
// 2:1 area), precomputed for the two-tap kernels: output i is
// (weight[2i] * in[index[i]] + weight[2i + 1] * in[index[i] + 1] + 2^13) >> 14, with
// index[i] + 1 < inputs (a one-tap output weights a neighbour 0). For vector gathers, outputs
// come in groups of four: group g's taps lie within the 8 inputs from window[g], and shuffle[16 g
// ..] are the byte offsets of its four (in[index], in[index + 1]) pairs in those 16 bytes. The
// first `vector_outputs` outputs (the whole groups; none when inputs < 8) have windows inside the
// row. For blends in 16-bit lanes, the same in groups of eight (`octet_outputs`, none when
// inputs < 16): 16 inputs from window8[g]; shuffle8[32 g ..] holds the byte offsets of each
// output's base tap (its heavier one), then of its other tap; output i is
// base + ((coef[i] (other - base) + 2^14) >> 15), coef[i] twice the other tap's weight (at most
// 2^14 - 1 as it is the lighter one). Arrays are padded to a multiple of 16 outputs.
struct PairMap {
    int outputs, inputs, vector_outputs, octet_outputs;
    const int32_t *index;
    const int16_t *weight;
    const int32_t *window;
    const uint8_t *shuffle;
    const int32_t *window8;
    const uint8_t *shuffle8;
    const int16_t *coef;
};

// Writable arrays for a PairMap of `outputs` outputs, padded as it says.
struct PairMapArrays {
    int32_t *index, *window, *window8;
    int16_t *weight, *coef;
    uint8_t *shuffle, *shuffle8;
};

// An axis whose every output reads at most four neighbouring inputs (area reductions below 3:1 and
// at exactly 3:1): output i is (sum over k < 4 of w_k in[index[i] + k] + 2^13) >> 14, with
// (w0, w1) = pair01[2i ..], (w2, w3) = pair23[2i ..] and index[i] + 3 < inputs (unused taps
// weigh 0). Arrays are padded to a multiple of 16 outputs.
struct QuadMap {
    int outputs, inputs;
    const int32_t *index;
    const int16_t *pair01, *pair23;
};

// The outputs of a map from `first` on, for the reference to finish what a vector loop left.
OZMU_SHARED_INLINE QuadMap quad_map_from(const QuadMap &m, int first)
{
    return {m.outputs - first, m.inputs, m.index + first, m.pair01 + 2 * first,
            m.pair23 + 2 * first};
}

// Byte positions of the channels of a packed RGB pixel; alpha < 0: none.
struct PackedLayout {
    int bytes, r, g, b, a;
};

// YUV (working scale) to 8-bit RGB, every product a rounded 16 x 16 -> high-16 multiply
// (mul_round15, one instruction on NEON and SSSE3) so that vector code stays in 16-bit lanes:
//   Y' = mul_round15(Y - y_offset, cy)            cy in Q14
//   R  = (Y' + mul_round15(2 (V - mid), crv) + 16) >> 5, clamped; mid = 128 << 6
//   G  = (Y' - mul_round15(2 (U - mid), cgu) - mul_round15(2 (V - mid), cgv) + 16) >> 5
//   B  = (Y' + mul_round15(2 (U - mid), cbu) + 16) >> 5
// chroma coefficients in Q13 (the doubled chroma keeps BT.2020's 2.14 within 16 bits). Each term
// is within 1/64 of a code of its exact value and every sum fits 16 bits.
struct YuvToRgb {
    int16_t y_offset;
    int16_t cy, crv, cgu, cgv, cbu;
};

// (a b + 2^14) >> 15: NEON's sqrdmulh and SSSE3's pmulhrsw (no operand here is ever -32768
// twice, where they saturate).
OZMU_SHARED_INLINE constexpr int mul_round15(int a, int b) { return (a * b + (1 << 14)) >> 15; }

// 8-bit RGB to 8-bit YUV, coefficients in Q15: Y = (yr R + yg G + yb B + (y_offset << 15) + 2^14)
// >> 15; chroma from sums of weight 8 with one shift of 18.
struct RgbToYuv {
    int16_t y_offset;
    int16_t yr, yg, yb, ur, ug, ub, vr, vg, vb;
};

// The rows of an unscaled 8-bit 4:2:0 source a destination row needs, for the fused kernels:
// chroma rows u[0], u[1] (and v) weighted w[0], w[1] in quarters (4, 0 fast; 1, 3 or 3, 1
// accurate), samples `step` bytes apart, `width` per row. horizontal: 0 the group's sample
// (fast), 1 left-sited, 2 centred, in quarters as well. The result equals the staged path's
// exactly: unscaled 4:2:0 interpolation is exact on the working scale.
struct Chroma420Rows {
    const uint8_t *u[2], *v[2];
    int w[2];
    int step, width, horizontal;
};

// clang-format off
#define OZMU_FRAME_PACKED_LIST(X) X(rgba) X(bgra) X(argb) X(rgb24) X(bgr24) X(rgb565)
// clang-format on

#define OZMU_FRAME_DECLARE_PACKED(fmt)                                                             \
    void yuv_to_##fmt(const int16_t *y, const int16_t *u, const int16_t *v,                        \
                      const frame::YuvToRgb &m, int n, uint8_t *dst);                              \
    void pack_##fmt(const int16_t *r, const int16_t *g, const int16_t *b, const int16_t *a, int n, \
                    uint8_t *dst);                                                                 \
    void yuv420_to_##fmt(const uint8_t *y, const frame::Chroma420Rows &c,                          \
                         const frame::YuvToRgb &m, int n, uint8_t *dst);

#define OZMU_FRAME_DECLARE_KERNELS                                                                 \
    void read_u8(const uint8_t *src, int n, int16_t *out);                                         \
    void read_u16_low10(const uint8_t *src, int n, int16_t *out);                                  \
    void read_u16_high10(const uint8_t *src, int n, int16_t *out);                                 \
    void read_pairs_u8(const uint8_t *src, int n, int16_t *first, int16_t *second);                \
    void read_pairs_u16_high10(const uint8_t *src, int n, int16_t *first, int16_t *second);        \
    void read_packed(const uint8_t *src, int n, const frame::PackedLayout &layout, int16_t *r,     \
                     int16_t *g, int16_t *b, int16_t *a);                                          \
    void vertical_accumulate(int32_t *acc, const int16_t *row, int weight, int n, int first);      \
    void vertical_round(const int32_t *acc, int shift, int n, int16_t *out);                       \
    void horizontal(const int16_t *in, const frame::AxisMap &map, int16_t *out);                   \
    void vertical2(const int16_t *a, const int16_t *b, int weight_b, int shift, int n,             \
                   int16_t *out);                                                                  \
    void vertical2_u8(const uint8_t *a, const uint8_t *b, int weight_b, int n, int16_t *out);      \
    void horizontal2(const int16_t *in, const frame::PairMap &map, int16_t *out);                  \
    void box2_u8(const uint8_t *a, const uint8_t *b, int n, uint8_t *out);                         \
    void horizontal2_u8(const uint8_t *in, const frame::PairMap &map, int16_t *out);               \
    void horizontal4(const int16_t *in, const frame::QuadMap &map, int16_t *out);                  \
    void store_u8(const int16_t *in, int n, uint8_t *out, ptrdiff_t step);                         \
    void rgb_to_y(const int16_t *r, const int16_t *g, const int16_t *b, const frame::RgbToYuv &m,  \
                  int n, uint8_t *y);                                                              \
    void rgb_to_uv(const int16_t *const rgb0[3], const int16_t *const rgb1[3],                     \
                   const frame::RgbToYuv &m, int left_siting, int n, uint8_t *u, uint8_t *v,       \
                   ptrdiff_t step);                                                                \
    void packed_to_yuv420(const uint8_t *row0, const uint8_t *row1,                                \
                          const frame::PackedLayout &layout, const frame::RgbToYuv &m,             \
                          int left_siting, int n, uint8_t *y0, uint8_t *y1, uint8_t *u,            \
                          uint8_t *v, ptrdiff_t step);                                             \
    void p010_fast_to_packed(const uint8_t *y, const uint8_t *uv, const frame::YuvToRgb &m,        \
                             const frame::PackedLayout &layout, int n, uint8_t *dst);              \
    OZMU_FRAME_PACKED_LIST(OZMU_FRAME_DECLARE_PACKED)

}  // namespace ozmu::frame

namespace ozmu::ref {
OZMU_FRAME_DECLARE_KERNELS
}

namespace ozmu::frame {

// Every entry, once: OZMU_FRAME_ENTRY(name) per kernel.
#define OZMU_FRAME_PACKED_ENTRY(fmt)                                                               \
    OZMU_FRAME_ENTRY(yuv_to_##fmt) OZMU_FRAME_ENTRY(pack_##fmt) OZMU_FRAME_ENTRY(yuv420_to_##fmt)
#define OZMU_FRAME_ENTRIES                                                                         \
    OZMU_FRAME_ENTRY(read_u8)                                                                      \
    OZMU_FRAME_ENTRY(read_u16_low10)                                                               \
    OZMU_FRAME_ENTRY(read_u16_high10)                                                              \
    OZMU_FRAME_ENTRY(read_pairs_u8)                                                                \
    OZMU_FRAME_ENTRY(read_pairs_u16_high10)                                                        \
    OZMU_FRAME_ENTRY(read_packed)                                                                  \
    OZMU_FRAME_ENTRY(vertical_accumulate)                                                          \
    OZMU_FRAME_ENTRY(vertical_round)                                                               \
    OZMU_FRAME_ENTRY(horizontal)                                                                   \
    OZMU_FRAME_ENTRY(vertical2)                                                                    \
    OZMU_FRAME_ENTRY(vertical2_u8)                                                                 \
    OZMU_FRAME_ENTRY(horizontal2)                                                                  \
    OZMU_FRAME_ENTRY(box2_u8)                                                                      \
    OZMU_FRAME_ENTRY(horizontal2_u8)                                                               \
    OZMU_FRAME_ENTRY(horizontal4)                                                                  \
    OZMU_FRAME_ENTRY(store_u8)                                                                     \
    OZMU_FRAME_ENTRY(rgb_to_y)                                                                     \
    OZMU_FRAME_ENTRY(rgb_to_uv)                                                                    \
    OZMU_FRAME_ENTRY(packed_to_yuv420)                                                             \
    OZMU_FRAME_ENTRY(p010_fast_to_packed)                                                          \
    OZMU_FRAME_PACKED_LIST(OZMU_FRAME_PACKED_ENTRY)

struct Table {
#define OZMU_FRAME_ENTRY(name) decltype(&ref::name) name;
    OZMU_FRAME_ENTRIES
#undef OZMU_FRAME_ENTRY
};

// The table for a set of tiers (0: the reference); table() is the one for cpu::active().
Table table_for(unsigned tiers);
const Table &table();

// ozmu_convert through a given table (the tests run every tier's table through it).
int convert(const Table &table, const ozmu_frame *src, const ozmu_frame *dst,
            const ozmu_convert_opts *opts);

// The two-tap form of an axis map with `inputs` inputs into arrays sized for its outputs rounded
// up to 16, or false when an output has more than two taps or a group spans more than 8 inputs.
bool build_pair_map(const AxisMap &map, int inputs, const PairMapArrays &arrays, PairMap &pairs);

// The four-tap form of an axis map into arrays sized for its outputs rounded up to 16, or false
// when an output has more than four taps or the row fewer than four inputs.
bool build_quad_map(const AxisMap &map, int inputs, int32_t *index, int16_t *pair01,
                    int16_t *pair23, QuadMap &quads);

// Coefficients of one matrix and range, as the driver and the tests use them.
YuvToRgb yuv_to_rgb_coefficients(int matrix, int full_range);
RgbToYuv rgb_to_yuv_coefficients(int matrix, int full_range);

// Clamps to 0 .. 255 (vector versions saturate the same way).
OZMU_SHARED_INLINE constexpr uint8_t clamp_u8(int32_t v)
{
    return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

}  // namespace ozmu::frame

#if OZMU_HAVE_X86_TIERS
namespace ozmu::ssse3 {
void install_frame(frame::Table &);
void install_frame_resample(frame::Table &);
void install_frame_io(frame::Table &);  // row reads and stores, RGB to YUV, fused P010
}  // namespace ozmu::ssse3
namespace ozmu::avx2 {
void install_frame(frame::Table &);
void install_frame_resample(frame::Table &);
void install_frame_io(frame::Table &);  // row reads and stores, RGB to YUV, fused P010
}  // namespace ozmu::avx2
namespace ozmu::avx512 {
void install_frame(frame::Table &);
void install_frame_resample(frame::Table &);
void install_frame_io(frame::Table &);  // row reads and stores, RGB to YUV, fused P010
}  // namespace ozmu::avx512
#endif

#if OZMU_HAVE_NEON
namespace ozmu::neon {
void install_frame(frame::Table &);
void install_frame_resample(frame::Table &);
void install_frame_io(frame::Table &);  // row reads and stores, RGB to YUV, fused P010
}  // namespace ozmu::neon
#endif
