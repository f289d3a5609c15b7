// Frame conversion over random frame descriptions: formats (valid or not), sizes, strides of
// either sign and of any slack (too small included), options and row bands. Every plane is its
// own exact-size heap block, so ASan catches any access outside it; the call must either refuse
// and leave the destination untouched, or succeed having written only the bytes of its rows
// (the slack between rows and the rows outside the band keep their fill).
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "ozmu.h"

namespace {

void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

struct Input {
    const uint8_t *data;
    size_t size, pos = 0;
    uint8_t byte() { return pos < size ? data[pos++] : 0; }
    int pick(int lo, int hi) { return lo + byte() % (hi - lo + 1); }
};

// clang-format off
const int kFormats[] = {OZMU_PIX_I420, OZMU_PIX_YV12, OZMU_PIX_NV12, OZMU_PIX_NV21, OZMU_PIX_I422,
                        OZMU_PIX_I444, OZMU_PIX_GRAY8, OZMU_PIX_I010, OZMU_PIX_P010, OZMU_PIX_RGBA,
                        OZMU_PIX_BGRA, OZMU_PIX_ARGB, OZMU_PIX_RGB24, OZMU_PIX_BGR24,
                        OZMU_PIX_RGB565, 0, 10, 38};  // the last three are not formats
// clang-format on

struct Planes {
    ozmu_frame frame{};
    std::vector<std::unique_ptr<uint8_t[]>> blocks;
    std::vector<size_t> sizes;

    void make(Input &in, bool source)
    {
        frame.format =
            kFormats[in.pick(0, static_cast<int>(sizeof kFormats / sizeof kFormats[0]) - 1)];
        const int big = in.pick(0, 15);
        frame.width = big == 0 ? in.pick(-1, 0) : big == 1 ? 16385 : in.pick(1, 40);
        frame.height = in.pick(1, 24);
        int planes = 0, rows[4];
        size_t min_stride[4];
        if (ozmu_frame_layout(frame.format, frame.width, frame.height, &planes, min_stride, rows) !=
            OZMU_OK) {
            planes = 0;
            static uint8_t dummy[1];
            for (auto &p : frame.plane)
                p = dummy;
        }
        uint32_t fill = in.byte() * 0x9E3779B9u + 1;
        for (int p = 0; p < planes; ++p) {
            const int slack = in.pick(0, 7) - (in.pick(0, 15) == 0 ? 8 : 0);
            const bool negative = in.byte() & 1;
            const ptrdiff_t magnitude =
                std::max<ptrdiff_t>(0, static_cast<ptrdiff_t>(min_stride[p]) + slack);
            const size_t step = static_cast<size_t>(magnitude > 0 ? magnitude : 1);
            const size_t bytes = step * static_cast<size_t>(rows[p] - 1) + min_stride[p];
            blocks.emplace_back(new uint8_t[bytes]);
            sizes.push_back(bytes);
            uint8_t *block = blocks.back().get();
            for (size_t i = 0; i < bytes; ++i)
                block[i] = source
                               ? static_cast<uint8_t>((fill = fill * 1664525u + 1013904223u) >> 24)
                               : static_cast<uint8_t>(i * 7 + 1);
            const bool usable = magnitude >= static_cast<ptrdiff_t>(min_stride[p]);
            frame.plane[p] = negative && usable ? block + step * (rows[p] - 1) : block;
            frame.stride[p] = negative ? -magnitude : magnitude;
            if (in.pick(0, 31) == 0)
                frame.plane[p] = nullptr;
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input in{data, size};
    Planes src, dst;
    src.make(in, true);
    dst.make(in, false);
    ozmu_convert_opts opts;
    ozmu_convert_opts_init(&opts);
    opts.matrix = in.pick(-1, 3);
    if (in.byte() & 1) {
        opts.src_range = in.pick(0, 1);
        opts.dst_range = in.pick(0, 1);
        opts.chroma = in.pick(0, 1);
        opts.siting = in.pick(0, 2);
    }
    if (in.byte() & 1) {
        opts.row_begin = in.pick(-1, dst.frame.height);
        opts.row_end = in.pick(0, dst.frame.height + 1);
    }
    std::vector<std::vector<uint8_t>> before;
    for (size_t p = 0; p < dst.blocks.size(); ++p)
        before.emplace_back(dst.blocks[p].get(), dst.blocks[p].get() + dst.sizes[p]);

    const int rc = ozmu_convert(&src.frame, &dst.frame, &opts);
    check(ozmu_strerror(rc) != nullptr);
    if (rc != OZMU_OK) {
        for (size_t p = 0; p < dst.blocks.size(); ++p)
            check(std::memcmp(before[p].data(), dst.blocks[p].get(), dst.sizes[p]) == 0);
        return 0;
    }
    // Success: only the row spans of the band (and, for 4:2:0, its chroma rows) changed.
    int planes = 0, rows[4];
    size_t min_stride[4];
    check(ozmu_frame_layout(dst.frame.format, dst.frame.width, dst.frame.height, &planes,
                            min_stride, rows) == OZMU_OK);
    const int begin = opts.row_begin,
              end = opts.row_end == 0 && begin == 0 ? dst.frame.height : opts.row_end;
    for (int p = 0; p < planes; ++p) {
        std::vector<uint8_t> expected = before[p];
        const uint8_t *block = dst.blocks[p].get();
        for (int y = 0; y < rows[p]; ++y) {
            const bool written = p == 0 ? y >= begin && y < end : 2 * y >= begin && 2 * y < end;
            if (!written)
                continue;
            const uint8_t *row = dst.frame.plane[p] + dst.frame.stride[p] * y;
            const size_t offset = static_cast<size_t>(row - block);
            std::memcpy(expected.data() + offset, row, min_stride[p]);
        }
        check(std::memcmp(expected.data(), block, dst.sizes[p]) == 0);
    }
    return 0;
}
