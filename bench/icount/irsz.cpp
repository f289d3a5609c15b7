// Instructions per destination pixel of the image resizer: 1920x1080 to 1280x720 (neighbours
// one pixel apart) and to 640x360 (ratio 3: every second pixel), whole pictures and 16-row
// slices, vector rows against the portable reference. Prints a legend; arm-icount prints
// "tag count" at each mark.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "csc/resizer.h"
#include "icount.h"
#include "ozmu.h"

namespace {

constexpr int kSrcW = 1920, kSrcH = 1080;

template <class Run>
void measure(long tag, const char *what, int pixels, Run run)
{
    run();  // warm the code and the pages
    icount_mark(tag);
    run();
    icount_mark(tag + 1);
    std::printf("tags %ld..%ld: %s, per destination pixel = (count(%ld) - count(%ld)) / %d\n", tag,
                tag + 1, what, tag + 1, tag, pixels);
}

}  // namespace

int main()
{
    std::vector<uint8_t> src(size_t{kSrcW} * kSrcH * 4);
    uint32_t state = 12345;
    for (auto &b : src)
        b = static_cast<uint8_t>((state = state * 1103515245u + 12345u) >> 24);

    struct Case {
        int layout, bytes, dst_w, dst_h;
        long tag;
    };
    for (const Case &c : {Case{29, 4, 1280, 720, 10}, Case{20, 1, 1280, 720, 20},
                          Case{29, 4, 640, 360, 30}, Case{20, 1, 640, 360, 40}}) {
        std::vector<uint8_t> dst(size_t{1280} * 720 * 4);
        const int pixels = c.dst_w * c.dst_h;
        ozmu_irsz_param param{c.layout, 10,      kSrcW,   kSrcH,   kSrcW,
                              16,       c.dst_w, c.dst_h, c.dst_w, dst.data()};
        void *whole = ozmu_irsz_create(&param, nullptr);
        param.mode = 11;
        void *sliced = ozmu_irsz_create(&param, nullptr);
        const auto &h = *static_cast<const ozmu::irsz::Handle *>(whole);
        char what[96];
        std::snprintf(what, sizeof what, "ozmu_irsz layout %d to %dx%d, whole picture", c.layout,
                      c.dst_w, c.dst_h);
        measure(c.tag, what, pixels, [&] { ozmu_irsz(whole, src.data(), 0, 0); });
        std::snprintf(what, sizeof what, "reference layout %d to %dx%d, whole picture", c.layout,
                      c.dst_w, c.dst_h);
        measure(c.tag + 2, what, pixels, [&] {
            if (c.layout == 29)
                ozmu::ref::irsz8b8b8b8b_full(h, src.data());
            else
                ozmu::ref::irsz8b_full(h, src.data());
        });
        std::snprintf(what, sizeof what, "ozmu_irsz layout %d to %dx%d, 16-row slices", c.layout,
                      c.dst_w, c.dst_h);
        measure(c.tag + 4, what, pixels, [&] {
            for (int y0 = 0; y0 < kSrcH; y0 += 16)
                ozmu_irsz(sliced, src.data() + size_t{kSrcW} * c.bytes * y0, y0, 16);
        });
        ozmu_irsz_delete(whole);
        ozmu_irsz_delete(sliced);
    }
    return 0;
}
