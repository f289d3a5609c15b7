// Instructions per byte of the picture copy and the fill on a 1080p plane, vector against the
// portable reference. Prints a legend; arm-icount prints "tag count" at each mark.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "core/mem.h"
#include "icount.h"
#include "ozmu.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kWideStride = 2048;

uint8_t *aligned64(std::vector<uint8_t> &v)
{
    const auto at = reinterpret_cast<uintptr_t>(v.data());
    return v.data() + (64 - at % 64) % 64;
}

template <class Run>
void measure(long tag, const char *what, Run run)
{
    run();  // warm the code and the pages
    icount_mark(tag);
    run();
    icount_mark(tag + 1);
    std::printf("tags %ld..%ld: %s, per byte = (count(%ld) - count(%ld)) / %d\n", tag, tag + 1,
                what, tag + 1, tag, kWidth * kHeight);
}

}  // namespace

int main()
{
    std::vector<uint8_t> src_bytes(size_t{kWideStride} * kHeight + 4096, 0x11);
    std::vector<uint8_t> dst_bytes(size_t{kWideStride} * kHeight + 4096);
    uint8_t *src = aligned64(src_bytes), *dst = aligned64(dst_bytes);
    const int64_t n = int64_t{kWidth} * kHeight;

    measure(10, "ozmu_mcpy_pic 1920x1080, stride 1920",
            [&] { ozmu_mcpy_pic(dst, src, kWidth, kWidth, kWidth, kHeight); });
    measure(12, "ozmu_mcpy_pic 1920x1080, stride 2048",
            [&] { ozmu_mcpy_pic(dst, src, kWideStride, kWideStride, kWidth, kHeight); });
    measure(14, "ozmu_mset_x64a 1920*1080 bytes", [&] { ozmu_mset_x64a(dst, 0x80, n); });
    measure(20, "reference mcpy_pic 1920x1080, stride 1920",
            [&] { ozmu::ref::mcpy_pic(dst, src, kWidth, kWidth, kWidth, kHeight); });
    measure(22, "reference mcpy_pic 1920x1080, stride 2048",
            [&] { ozmu::ref::mcpy_pic(dst, src, kWideStride, kWideStride, kWidth, kHeight); });
    measure(24, "reference mset_x64a 1920*1080 bytes", [&] { ozmu::ref::mset_x64a(dst, 0x80, n); });
    return 0;
}
