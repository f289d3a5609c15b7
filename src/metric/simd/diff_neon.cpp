// NEON difference kernels.
//
// One asm statement loads a row (or two rows of a 4-wide block) of both blocks with post-indexed
// ld1, subtracts (usubl for 8-bit samples: exact; sub for 16-bit ones: the wrap the definition
// asks for) and stores the row with a post-indexed st1: one instruction per register list, the
// pointer steps included. Nothing outside the block is read or written.
//
// Every row is read before it is written and rows go top to bottom, so a fixed kernel whose
// output is one of its 16-bit inputs (same place, same stride) works in place. The generic
// functions give the reference's result for any overlap at all (see diff_generic).
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "metric/metric.h"

namespace ozmu::neon {
namespace {

#define OZMU_TURN_LOOP _Pragma("GCC unroll 1")
#define OZMU_UNROLLED _Pragma("GCC unroll 64")

// Byte steps from row to row (for the 64-wide rows, less the 64 bytes the first half steps).
struct Steps {
    ptrdiff_t a, b, out;
};

enum class Kind { U8, S16, Bi };  // second block: 8-bit, 16-bit, 8-bit under a 16-bit first

template <Kind K>
using FirstT = std::conditional_t<K == Kind::U8, uint8_t, int16_t>;
template <Kind K>
using SecondT = std::conditional_t<K == Kind::S16, int16_t, uint8_t>;

#define OZMU_ROW_OPERANDS                                                                          \
    : [a] "+r"(a), [b] "+r"(b), [o] "+r"(o)                                                        \
    : [sa] "r"(s.a), [sb] "r"(s.b), [so] "r"(s.out)

// Two rows of 4 samples.
template <Kind K>
void diff_rows4x2(const uint8_t *&a, const uint8_t *&b, uint8_t *&o, Steps s)
{
    if constexpr (K == Kind::U8) {
        asm volatile("ld1r {v16.2s}, [%[a]], %[sa]\n\t"
                     "ld1r {v17.2s}, [%[b]], %[sb]\n\t"
                     "ld1 {v16.s}[1], [%[a]], %[sa]\n\t"
                     "ld1 {v17.s}[1], [%[b]], %[sb]\n\t"
                     "usubl v16.8h, v16.8b, v17.8b\n\t"
                     "st1 {v16.d}[0], [%[o]], %[so]\n\t"
                     "st1 {v16.d}[1], [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else if constexpr (K == Kind::S16) {
        asm volatile("ld1 {v16.4h}, [%[a]], %[sa]\n\t"
                     "ld1 {v17.4h}, [%[b]], %[sb]\n\t"
                     "ld1 {v16.d}[1], [%[a]], %[sa]\n\t"
                     "ld1 {v17.d}[1], [%[b]], %[sb]\n\t"
                     "sub v16.8h, v16.8h, v17.8h\n\t"
                     "st1 {v16.d}[0], [%[o]], %[so]\n\t"
                     "st1 {v16.d}[1], [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else {
        asm volatile("ld1 {v16.4h}, [%[a]], %[sa]\n\t"
                     "ld1r {v17.2s}, [%[b]], %[sb]\n\t"
                     "ld1 {v16.d}[1], [%[a]], %[sa]\n\t"
                     "ld1 {v17.s}[1], [%[b]], %[sb]\n\t"
                     "usubw v16.8h, v16.8h, v17.8b\n\t"
                     "st1 {v16.d}[0], [%[o]], %[so]\n\t"
                     "st1 {v16.d}[1], [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    }
}

// One row of W samples, W < 8: a lane or half a register.
template <int W, Kind K>
void diff_row_narrow(const uint8_t *&a, const uint8_t *&b, uint8_t *&o, Steps s)
{
    static_assert(K != Kind::Bi);
    if constexpr (W == 4 && K == Kind::U8) {
        asm volatile("ld1 {v16.s}[0], [%[a]], %[sa]\n\t"
                     "ld1 {v17.s}[0], [%[b]], %[sb]\n\t"
                     "usubl v16.8h, v16.8b, v17.8b\n\t"
                     "st1 {v16.4h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else if constexpr (W == 4) {
        asm volatile("ld1 {v16.4h}, [%[a]], %[sa]\n\t"
                     "ld1 {v17.4h}, [%[b]], %[sb]\n\t"
                     "sub v16.4h, v16.4h, v17.4h\n\t"
                     "st1 {v16.4h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else if constexpr (W == 2 && K == Kind::U8) {
        asm volatile("ld1 {v16.h}[0], [%[a]], %[sa]\n\t"
                     "ld1 {v17.h}[0], [%[b]], %[sb]\n\t"
                     "usubl v16.8h, v16.8b, v17.8b\n\t"
                     "st1 {v16.s}[0], [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else if constexpr (W == 2) {
        asm volatile("ld1 {v16.s}[0], [%[a]], %[sa]\n\t"
                     "ld1 {v17.s}[0], [%[b]], %[sb]\n\t"
                     "sub v16.4h, v16.4h, v17.4h\n\t"
                     "st1 {v16.s}[0], [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else if constexpr (K == Kind::U8) {
        static_assert(W == 1);
        asm volatile("ld1 {v16.b}[0], [%[a]], %[sa]\n\t"
                     "ld1 {v17.b}[0], [%[b]], %[sb]\n\t"
                     "usubl v16.8h, v16.8b, v17.8b\n\t"
                     "st1 {v16.h}[0], [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else {
        static_assert(W == 1);
        asm volatile("ld1 {v16.h}[0], [%[a]], %[sa]\n\t"
                     "ld1 {v17.h}[0], [%[b]], %[sb]\n\t"
                     "sub v16.4h, v16.4h, v17.4h\n\t"
                     "st1 {v16.h}[0], [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    }
}

// One row of W samples, W >= 8 (the 64-wide rows step 64 bytes of each block by immediate
// first: Steps holds the rest).
template <int W, Kind K>
void diff_row(const uint8_t *&a, const uint8_t *&b, uint8_t *&o, Steps s)
{
    static_assert(K != Kind::Bi);
    if constexpr (W == 8 && K == Kind::U8) {
        asm volatile("ld1 {v16.8b}, [%[a]], %[sa]\n\t"
                     "ld1 {v17.8b}, [%[b]], %[sb]\n\t"
                     "usubl v16.8h, v16.8b, v17.8b\n\t"
                     "st1 {v16.8h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else if constexpr (W == 8) {
        asm volatile("ld1 {v16.8h}, [%[a]], %[sa]\n\t"
                     "ld1 {v17.8h}, [%[b]], %[sb]\n\t"
                     "sub v16.8h, v16.8h, v17.8h\n\t"
                     "st1 {v16.8h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "memory");
    } else if constexpr (W == 16 && K == Kind::U8) {
        asm volatile("ld1 {v16.16b}, [%[a]], %[sa]\n\t"
                     "ld1 {v17.16b}, [%[b]], %[sb]\n\t"
                     "usubl v18.8h, v16.8b, v17.8b\n\t"
                     "usubl2 v19.8h, v16.16b, v17.16b\n\t"
                     "st1 {v18.8h, v19.8h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "v18", "v19", "memory");
    } else if constexpr (W == 16) {
        asm volatile("ld1 {v16.8h, v17.8h}, [%[a]], %[sa]\n\t"
                     "ld1 {v18.8h, v19.8h}, [%[b]], %[sb]\n\t"
                     "sub v16.8h, v16.8h, v18.8h\n\t"
                     "sub v17.8h, v17.8h, v19.8h\n\t"
                     "st1 {v16.8h, v17.8h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "v18", "v19", "memory");
    } else if constexpr (W == 32 && K == Kind::U8) {
        asm volatile("ld1 {v16.16b, v17.16b}, [%[a]], %[sa]\n\t"
                     "ld1 {v18.16b, v19.16b}, [%[b]], %[sb]\n\t"
                     "usubl v20.8h, v16.8b, v18.8b\n\t"
                     "usubl2 v21.8h, v16.16b, v18.16b\n\t"
                     "usubl v22.8h, v17.8b, v19.8b\n\t"
                     "usubl2 v23.8h, v17.16b, v19.16b\n\t"
                     "st1 {v20.8h, v21.8h, v22.8h, v23.8h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "v18", "v19", "v20", "v21", "v22", "v23", "memory");
    } else if constexpr (W == 32) {
        asm volatile("ld1 {v16.8h, v17.8h, v18.8h, v19.8h}, [%[a]], %[sa]\n\t"
                     "ld1 {v20.8h, v21.8h, v22.8h, v23.8h}, [%[b]], %[sb]\n\t"
                     "sub v16.8h, v16.8h, v20.8h\n\t"
                     "sub v17.8h, v17.8h, v21.8h\n\t"
                     "sub v18.8h, v18.8h, v22.8h\n\t"
                     "sub v19.8h, v19.8h, v23.8h\n\t"
                     "st1 {v16.8h, v17.8h, v18.8h, v19.8h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "v18", "v19", "v20", "v21", "v22", "v23", "memory");
    } else if constexpr (W == 64 && K == Kind::U8) {
        asm volatile("ld1 {v16.16b, v17.16b, v18.16b, v19.16b}, [%[a]], %[sa]\n\t"
                     "ld1 {v20.16b, v21.16b, v22.16b, v23.16b}, [%[b]], %[sb]\n\t"
                     "usubl v24.8h, v16.8b, v20.8b\n\t"
                     "usubl2 v25.8h, v16.16b, v20.16b\n\t"
                     "usubl v26.8h, v17.8b, v21.8b\n\t"
                     "usubl2 v27.8h, v17.16b, v21.16b\n\t"
                     "usubl v28.8h, v18.8b, v22.8b\n\t"
                     "usubl2 v29.8h, v18.16b, v22.16b\n\t"
                     "usubl v30.8h, v19.8b, v23.8b\n\t"
                     "usubl2 v31.8h, v19.16b, v23.16b\n\t"
                     "st1 {v24.8h, v25.8h, v26.8h, v27.8h}, [%[o]], #64\n\t"
                     "st1 {v28.8h, v29.8h, v30.8h, v31.8h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "v18", "v19", "v20", "v21", "v22", "v23", "v24", "v25", "v26",
                       "v27", "v28", "v29", "v30", "v31", "memory");
    } else {
        static_assert(W == 64 && K == Kind::S16);
        asm volatile("ld1 {v16.8h, v17.8h, v18.8h, v19.8h}, [%[a]], #64\n\t"
                     "ld1 {v20.8h, v21.8h, v22.8h, v23.8h}, [%[a]], %[sa]\n\t"
                     "ld1 {v24.8h, v25.8h, v26.8h, v27.8h}, [%[b]], #64\n\t"
                     "ld1 {v28.8h, v29.8h, v30.8h, v31.8h}, [%[b]], %[sb]\n\t"
                     "sub v16.8h, v16.8h, v24.8h\n\t"
                     "sub v17.8h, v17.8h, v25.8h\n\t"
                     "sub v18.8h, v18.8h, v26.8h\n\t"
                     "sub v19.8h, v19.8h, v27.8h\n\t"
                     "sub v20.8h, v20.8h, v28.8h\n\t"
                     "sub v21.8h, v21.8h, v29.8h\n\t"
                     "sub v22.8h, v22.8h, v30.8h\n\t"
                     "sub v23.8h, v23.8h, v31.8h\n\t"
                     "st1 {v16.8h, v17.8h, v18.8h, v19.8h}, [%[o]], #64\n\t"
                     "st1 {v20.8h, v21.8h, v22.8h, v23.8h}, [%[o]], %[so]" OZMU_ROW_OPERANDS
                     : "v16", "v17", "v18", "v19", "v20", "v21", "v22", "v23", "v24", "v25", "v26",
                       "v27", "v28", "v29", "v30", "v31", "memory");
    }
}

template <int W, int H, Kind K>
void diff_fixed(const FirstT<K> *block_a, const SecondT<K> *block_b, int stride_a, int stride_b,
                int stride_out, int16_t *out)
{
    constexpr ptrdiff_t kSizeA = sizeof(FirstT<K>), kSizeB = sizeof(SecondT<K>);
    // The 64-wide rows step their first 64 bytes by immediate: the rest of the row step is left.
    constexpr ptrdiff_t kHalfA = W == 64 && K == Kind::S16 ? 64 : 0;
    constexpr ptrdiff_t kHalfB = W == 64 && K == Kind::S16 ? 64 : 0, kHalfOut = W == 64 ? 64 : 0;
    const Steps steps{ptrdiff_t{stride_a} * kSizeA - kHalfA, ptrdiff_t{stride_b} * kSizeB - kHalfB,
                      ptrdiff_t{stride_out} * 2 - kHalfOut};
    const uint8_t *a = reinterpret_cast<const uint8_t *>(block_a);
    const uint8_t *b = reinterpret_cast<const uint8_t *>(block_b);
    uint8_t *o = reinterpret_cast<uint8_t *>(out);

    // Loop turns of about 60 instructions; narrow blocks are unrolled whole.
    constexpr int kSteps = W == 4 ? H / 2 : H;
    constexpr int kPerTurnMax = W >= 64 ? 4 : W == 32 ? 8 : 16;
    constexpr int kPerTurn = W <= 8 || kSteps < kPerTurnMax ? kSteps : kPerTurnMax;
    static_assert(kSteps % kPerTurn == 0);
    OZMU_TURN_LOOP
    for (int turn = 0; turn < kSteps / kPerTurn; ++turn) {
        OZMU_UNROLLED
        for (int i = 0; i < kPerTurn; ++i) {
            if constexpr (W == 4)
                diff_rows4x2<K>(a, b, o, steps);
            else
                diff_row<W, K>(a, b, o, steps);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Generic sizes. An output apart from both inputs (and from itself) is written in strips of 32, 16,
// 8, 4, 2 and 1 columns down the rows; otherwise row by row, in chunks of the same widths left to
// right where that gives the reference's result and sample by sample where it does not.

template <int W, Kind K>
void diff_any_row(const uint8_t *&a, const uint8_t *&b, uint8_t *&o, Steps s)
{
    if constexpr (W >= 8)
        diff_row<W, K>(a, b, o, s);
    else
        diff_row_narrow<W, K>(a, b, o, s);
}

template <int W, Kind K>
void diff_strip(const uint8_t *a, const uint8_t *b, uint8_t *o, Steps s, int h)
{
    for (int y = h >> 1; y > 0; --y) {
        diff_any_row<W, K>(a, b, o, s);
        diff_any_row<W, K>(a, b, o, s);
    }
    if (h & 1)
        diff_any_row<W, K>(a, b, o, s);
}

// Steps past one chunk of W samples.
template <int W, Kind K>
constexpr Steps kChunk{W * ptrdiff_t{sizeof(FirstT<K>)}, W *ptrdiff_t{sizeof(SecondT<K>)}, 2 * W};

template <int W, Kind K>
void diff_chunk(const uint8_t *&a, const uint8_t *&b, uint8_t *&o)
{
    diff_any_row<W, K>(a, b, o, kChunk<W, K>);
}

// Chunks go left to right and each is loaded before it is stored.
template <Kind K>
void row_chunks(int w, const uint8_t *a, const uint8_t *b, uint8_t *o)
{
    for (int n = w >> 5; n > 0; --n)
        diff_chunk<32, K>(a, b, o);
    if (w & 16)
        diff_chunk<16, K>(a, b, o);
    if (w & 8)
        diff_chunk<8, K>(a, b, o);
    if (w & 4)
        diff_chunk<4, K>(a, b, o);
    if (w & 2)
        diff_chunk<2, K>(a, b, o);
    if (w & 1)
        diff_chunk<1, K>(a, b, o);
}

// The reference's order: every sample read after the stores of the samples before it.
template <class T>
void row_samples(int w, const T *a, const T *b, int16_t *out)
{
    for (int x = 0; x < w; ++x)
        out[x] = static_cast<int16_t>(static_cast<uint16_t>(int32_t{a[x]} - int32_t{b[x]}));
}

uintptr_t address(const void *p) { return reinterpret_cast<uintptr_t>(p); }

// Whether the chunks give the reference's result for this row of one input: true when no store
// reaches an input sample that is still to be read. That holds when the output row starts after
// the input row, or early enough that the store of sample x ends at or before input sample x + 1
// (the 16-bit output starting at or before a 16-bit input, the 8-bit input starting w bytes or
// more after the output).
template <class T>
bool chunks_exact(const int16_t *out, const T *in, int w)
{
    const uintptr_t o = address(out), i = address(in), n = static_cast<uintptr_t>(w);
    return o >= i + n * sizeof(T) || o + n * (2 - sizeof(T)) <= i;
}

// The lowest and one past the highest byte of a block.
template <class T>
void extent(const T *p, int w, int h, int stride, uintptr_t &lo, uintptr_t &hi)
{
    const uintptr_t first = address(p);
    const uintptr_t last =
        first + static_cast<uintptr_t>(ptrdiff_t{h - 1} * stride * ptrdiff_t{sizeof(T)});
    lo = first < last ? first : last;
    hi = (first < last ? last : first) + static_cast<uintptr_t>(w) * sizeof(T);
}

template <class T>
bool apart(uintptr_t out_lo, uintptr_t out_hi, const T *p, int w, int h, int stride)
{
    uintptr_t lo, hi;
    extent(p, w, h, stride, lo, hi);
    return out_hi <= lo || hi <= out_lo;
}

// Outputs that overlap an input or themselves, row by row: kept out of line, so that the common
// case needs no stack frame.
template <Kind K, class T>
__attribute__((noinline)) void diff_rows(int w, int h, const T *a, const T *b, int stride_a,
                                         int stride_b, int stride_out, int16_t *out)
{
    for (int y = 0;;) {
        if (chunks_exact(out, a, w) && chunks_exact(out, b, w))
            row_chunks<K>(w, reinterpret_cast<const uint8_t *>(a),
                          reinterpret_cast<const uint8_t *>(b), reinterpret_cast<uint8_t *>(out));
        else
            row_samples(w, a, b, out);
        if (++y == h)
            break;
        a += stride_a;
        b += stride_b;
        out += stride_out;
    }
}

template <Kind K, class T>
void diff_generic(int w, int h, const T *a, const T *b, int stride_a, int stride_b, int stride_out,
                  int16_t *out)
{
    if (w < 1 || h < 1)
        return;
    uintptr_t out_lo, out_hi;
    extent(out, w, h, stride_out, out_lo, out_hi);
    // Strips also need output rows that do not overlap one another.
    const bool rows_apart = h == 1 || stride_out >= w || stride_out <= -w;
    if (!rows_apart || !apart(out_lo, out_hi, a, w, h, stride_a) ||
        !apart(out_lo, out_hi, b, w, h, stride_b)) {
        diff_rows<K>(w, h, a, b, stride_a, stride_b, stride_out, out);
        return;
    }
    const uint8_t *pa = reinterpret_cast<const uint8_t *>(a);
    const uint8_t *pb = reinterpret_cast<const uint8_t *>(b);
    uint8_t *po = reinterpret_cast<uint8_t *>(out);
    const Steps rows{ptrdiff_t{stride_a} * ptrdiff_t{sizeof(T)},
                     ptrdiff_t{stride_b} * ptrdiff_t{sizeof(T)}, ptrdiff_t{stride_out} * 2};
    constexpr Steps k32 = kChunk<32, K>;
    for (int n = w >> 5; n > 0; --n, pa += k32.a, pb += k32.b, po += k32.out)
        diff_strip<32, K>(pa, pb, po, rows, h);
    // Each narrower strip starts where the wider ones end.
    const auto strip = [&](auto width) {
        constexpr int kW = decltype(width)::value;
        if (w & kW) {
            diff_strip<kW, K>(pa, pb, po, rows, h);
            pa += kChunk<kW, K>.a;
            pb += kChunk<kW, K>.b;
            po += kChunk<kW, K>.out;
        }
    };
    strip(std::integral_constant<int, 16>{});
    strip(std::integral_constant<int, 8>{});
    strip(std::integral_constant<int, 4>{});
    strip(std::integral_constant<int, 2>{});
    strip(std::integral_constant<int, 1>{});
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Entry points.

#define OZMU_NEON_DIFF16(w, h)                                                                     \
    void diff##w##x##h##_16(const int16_t *a, const int16_t *b, int stride_a, int stride_b,        \
                            int stride_out, int16_t *out)                                          \
    {                                                                                              \
        diff_fixed<w, h, Kind::S16>(a, b, stride_a, stride_b, stride_out, out);                    \
    }
#define OZMU_NEON_DIFF(w, h)                                                                       \
    void diff##w##x##h(const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,             \
                       int stride_out, int16_t *out)                                               \
    {                                                                                              \
        diff_fixed<w, h, Kind::U8>(a, b, stride_a, stride_b, stride_out, out);                     \
    }                                                                                              \
    OZMU_NEON_DIFF16(w, h)
OZMU_METRIC_SMALL_SIZES(OZMU_NEON_DIFF)
OZMU_METRIC_BI_SIZES(OZMU_NEON_DIFF)
OZMU_METRIC_DIFF16_ONLY_SIZES(OZMU_NEON_DIFF16)

void diff4x4_bi(const int16_t *a, const uint8_t *b, int stride_a, int stride_b, int stride_out,
                int16_t *out)
{
    diff_fixed<4, 4, Kind::Bi>(a, b, stride_a, stride_b, stride_out, out);
}

void diff(int w, int h, const uint8_t *a, const uint8_t *b, int stride_a, int stride_b,
          int stride_out, int16_t *out)
{
    diff_generic<Kind::U8>(w, h, a, b, stride_a, stride_b, stride_out, out);
}

void diff_16(int w, int h, const int16_t *a, const int16_t *b, int stride_a, int stride_b,
             int stride_out, int16_t *out)
{
    diff_generic<Kind::S16>(w, h, a, b, stride_a, stride_b, stride_out, out);
}

}  // namespace ozmu::neon
