// The exported conversion tables, cell by cell, and the selector over every listed pair of
// formats at equal and differing sizes, with every kind of refusal.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "ozmu.h"

namespace {

struct Cell {
    int row, column;
    ozmu_fn_csc fn;
};

#define K(name) ozmu_csc_##name
const Cell kRgbCells[] = {
    {0, 0, K(r8g8b8_to_rgb888)},
    {0, 1, K(r8g8b8_to_rgba8888)},
    {0, 2, K(r8g8b8_to_rgb565)},
    {0, 4, K(x8y8z8_to_xyz565a8)},
    {0, 5, K(r8g8b8_to_argb8888)},
    {0, 6, K(r8g8b8_to_bgra8888)},
    {1, 1, K(r8g8b8a8_to_rgba8888)},
    {1, 3, K(r8g8b8a8_to_rgba8888)},  // rgba5658 requests get the rgba8888 kernel
    {1, 4, K(x8y8z8a8_to_xyz565a8)},
    {1, 5, K(r8g8b8a8_to_argb8888)},
    {1, 6, K(r8g8b8a8_to_bgra8888)},
    {2, 0, K(yuv444_to_rgb888)},
    {2, 1, K(yuv444_to_rgba8888)},
    {2, 2, K(yuv444_to_rgb565)},
    {2, 4, K(yuv444_to_rgb565a8)},
    {2, 5, K(yuv444_to_argb8888)},
    {2, 6, K(yuv444_to_bgra8888)},
    {2, 8, K(yuv444_to_r8g8b8)},
    {3, 1, K(yuv444a8_to_rgba8888)},
    {3, 3, K(yuv444a8_to_rgba5658)},
    {3, 4, K(yuv444a8_to_rgb565a8)},
    {3, 5, K(yuv444a8_to_argb8888)},
    {3, 6, K(yuv444a8_to_bgra8888)},
    {4, 10, K(p410_to_r10g10b10)},
    {5, 10, K(r10g10b10_to_p410)},  // r10g10b10 to r10g10b10 converts to p410
    {6, 0, K(rsz_r8g8b8_to_rgb888)},
    {6, 1, K(rsz_r8g8b8_to_rgba8888)},
    {7, 1, K(rsz_r8g8b8a8_to_rgba8888)},
    {8, 0, K(rsz_yuv444_to_rgb888)},
    {8, 1, K(rsz_yuv444_to_rgba8888)},
    {8, 2, K(rsz_yuv444_to_rgb565)},
    {9, 1, K(rsz_yuv444a8_to_rgba8888)},
    {9, 4, K(rsz_yuv444a8_to_rgb565a8)},
};
const Cell kYuvCells[] = {
    {0, 0, K(r8g8b8_to_yuv444)},   {1, 1, K(r8g8b8a8_to_yuv444a8)}, {2, 0, K(yuv444x_to_yuv444x)},
    {3, 0, K(yuv444x_to_yuv444x)}, {3, 1, K(yuv444x_to_yuv444x)},   {4, 0, K(rgb565_to_yuv444)},
    {5, 2, K(r10g10b10_to_p410)},  {6, 0, K(rgb888_to_yuv444)},     {7, 1, K(rgba8888_to_yuv444a8)},
};
#undef K

// Index of each listed format in a row or column order; -1 for the unnamed column 9.
const int kRgbRows[] = {OZMU_CS_R8G8B8,   OZMU_CS_R8G8B8A8, OZMU_CS_YUV444,
                        OZMU_CS_YUV444A8, OZMU_CS_P410,     OZMU_CS_R10G10B10};
const int kRgbColumns[] = {
    OZMU_CS_RGB888,   OZMU_CS_RGBA8888, OZMU_CS_RGB565,  OZMU_CS_RGBA5658, OZMU_CS_RGB565A8,
    OZMU_CS_ARGB8888, OZMU_CS_BGRA8888, OZMU_CS_RGB888X, OZMU_CS_R8G8B8,   -1,
    OZMU_CS_R10G10B10};
const int kYuvRows[] = {OZMU_CS_R8G8B8, OZMU_CS_R8G8B8A8,  OZMU_CS_YUV444, OZMU_CS_YUV444A8,
                        OZMU_CS_RGB565, OZMU_CS_R10G10B10, OZMU_CS_RGB888, OZMU_CS_RGBA8888};
const int kYuvColumns[] = {OZMU_CS_YUV444, OZMU_CS_YUV444A8, OZMU_CS_P410};

template <size_t N>
int index_of(const int (&order)[N], int cs)
{
    const auto it = std::find(order, order + N, cs);
    return it == order + N ? -1 : static_cast<int>(it - order);
}

template <size_t N>
std::vector<ozmu_fn_csc> expected_table(const Cell (&cells)[N], int rows, int columns)
{
    std::vector<ozmu_fn_csc> table(static_cast<size_t>(rows * columns), nullptr);
    for (const Cell &c : cells)
        table[static_cast<size_t>(c.row * columns + c.column)] = c.fn;
    return table;
}

TEST(CscTable, EveryCellHoldsItsKernelOrNull)
{
    static_assert(sizeof ozmu_tbl_fn_csc_to_rgb / sizeof *ozmu_tbl_fn_csc_to_rgb == 132);
    static_assert(sizeof ozmu_tbl_fn_csc_to_yuvplanar / sizeof *ozmu_tbl_fn_csc_to_yuvplanar == 48);
    const auto rgb = expected_table(kRgbCells, 12, 11);
    for (int i = 0; i < 132; ++i)
        EXPECT_EQ(ozmu_tbl_fn_csc_to_rgb[i], rgb[i])
            << "to_rgb row " << i / 11 << " column " << i % 11;
    const auto yuv = expected_table(kYuvCells, 16, 3);
    for (int i = 0; i < 48; ++i)
        EXPECT_EQ(ozmu_tbl_fn_csc_to_yuvplanar[i], yuv[i])
            << "to_yuvplanar row " << i / 3 << " column " << i % 3;
}

// What the selector must return, found from the cell lists rather than the library's tables.
ozmu_fn_csc expected_kernel(int src_cs, int dst_cs, bool scaled)
{
    const Cell *begin = nullptr, *end = nullptr;
    int row = -1, column = -1, half = 0;
    if (dst_cs >= 200 && dst_cs <= 799) {
        begin = std::begin(kRgbCells), end = std::end(kRgbCells);
        row = index_of(kRgbRows, src_cs), column = index_of(kRgbColumns, dst_cs), half = 6;
    } else if (dst_cs >= 10 && dst_cs <= 99) {
        begin = std::begin(kYuvCells), end = std::end(kYuvCells);
        row = index_of(kYuvRows, src_cs), column = index_of(kYuvColumns, dst_cs), half = 8;
    }
    if (row < 0 || column < 0)
        return nullptr;
    row += scaled ? half : 0;
    const auto it =
        std::find_if(begin, end, [&](const Cell &c) { return c.row == row && c.column == column; });
    return it == end ? nullptr : it->fn;
}

TEST(CscSelector, EveryPairAtEqualAndDifferingSizes)
{
    // Every listed format, and neighbours and out-of-range values that are not.
    const int kFormats[] = {OZMU_CS_R8G8B8,
                            OZMU_CS_R8G8B8A8,
                            OZMU_CS_YUV444,
                            OZMU_CS_YUV444A8,
                            OZMU_CS_P410,
                            OZMU_CS_R10G10B10,
                            OZMU_CS_RGB565,
                            OZMU_CS_RGB888,
                            OZMU_CS_RGBA8888,
                            OZMU_CS_RGB888X,
                            OZMU_CS_RGBA5658,
                            OZMU_CS_RGB565A8,
                            OZMU_CS_ARGB8888,
                            OZMU_CS_BGRA8888,
                            OZMU_CS_YUV420,
                            OZMU_CS_P010,
                            503,
                            -1,
                            0,
                            9,
                            10,
                            99,
                            100,
                            150,
                            199,
                            201,
                            799,
                            800,
                            1000};
    // src w, h, dst w, h: two equal, then larger, smaller and mixed destinations.
    const int kSizes[][4] = {{64, 48, 64, 48},     {1, 1, 1, 1}, {64, 48, 65, 48}, {64, 48, 64, 47},
                             {640, 480, 320, 240}, {2, 2, 4, 4}, {64, 48, 48, 64}};
    int found = 0;
    for (int src_cs : kFormats)
        for (int dst_cs : kFormats)
            for (const auto &s : kSizes) {
                const ozmu_fn_csc expected =
                    expected_kernel(src_cs, dst_cs, s[0] != s[2] || s[1] != s[3]);
                SCOPED_TRACE(::testing::Message() << src_cs << " -> " << dst_cs << ", " << s[0]
                                                  << "x" << s[1] << " -> " << s[2] << "x" << s[3]);
                int err = 12345;
                EXPECT_EQ(ozmu_imgp_get_fn_csc(s[0], s[1], src_cs, s[2], s[3], dst_cs, &err),
                          expected);
                EXPECT_EQ(err, expected ? 12345 : OZMU_ERR_UNSUPPORTED_CS);  // untouched on success
                EXPECT_EQ(ozmu_imgp_get_fn_csc(s[0], s[1], src_cs, s[2], s[3], dst_cs, nullptr),
                          expected);
                found += expected != nullptr;
            }
    // 25 + 9 unscaled cells at 2 equal sizes, 8 scaled cells at 5 differing ones.
    EXPECT_EQ(found, (25 + 9) * 2 + 8 * 5);
}

}  // namespace
