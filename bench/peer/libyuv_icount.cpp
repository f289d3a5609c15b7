// Instructions per pixel of Debian's arm64 libyuv on the works the frame conversion is measured
// on, for the side-by-side in docs/performance.md. Built and run by scripts/icount-libyuv.sh,
// never by the build or CI.
#include <libyuv.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "icount_mark.h"

namespace {

constexpr int kW = 1920, kH = 1080, kDw = 1280, kDh = 720;

struct Plane {
    std::vector<uint8_t> bytes;
    explicit Plane(size_t n) : bytes(n)
    {
        uint32_t s = 12345;
        for (uint8_t &b : bytes) {
            s = s * 1103515245u + 12345u;
            b = static_cast<uint8_t>(s >> 16);
        }
    }
    uint8_t *data() { return bytes.data(); }
};

long g_tag = 1;

template <typename Work>
void measure(const char *name, double pixels, Work work)
{
    work();  // warm up
    const long start = g_tag++, end = g_tag++;
    icount_mark(start);
    work();
    icount_mark(end);
    std::printf("region %s %ld %ld %.0f\n", name, start, end, pixels);
}

}  // namespace

int main()
{
    using namespace libyuv;
    Plane y(kW * kH), u(kW * kH / 4), v(kW * kH / 4), uv(kW * kH / 2);
    Plane rgba(kW * kH * 4), rgba_small(kDw * kDh * 4);
    Plane sy(kDw * kDh), su(kDw * kDh / 4), sv(kDw * kDh / 4);
    std::vector<uint16_t> p010y(kW * kH, 0x4000), p010uv(kW * kH / 2, 0x8000);

    // ABGR = bytes R, G, B, A: the ARGB routines with U and V (and the matrix) swapped.
    measure("I420ToABGR_bt709", kW * kH, [&] {
        I420ToARGBMatrix(y.data(), kW, v.data(), kW / 2, u.data(), kW / 2, rgba.data(), kW * 4,
                         &kYvuH709Constants, kW, kH);
    });
    measure("NV12ToABGR_bt709", kW * kH, [&] {
        NV21ToARGBMatrix(y.data(), kW, uv.data(), kW, rgba.data(), kW * 4, &kYvuH709Constants, kW,
                         kH);
    });
    measure("P010ToABGR_bt709", kW * kH, [&] {
        P010ToARGBMatrix(p010y.data(), kW, p010uv.data(), kW, rgba.data(), kW * 4,
                         &kYvuH709Constants, kW, kH);
    });
    measure("ABGRToI420", kW * kH, [&] {
        ABGRToI420(rgba.data(), kW * 4, y.data(), kW, u.data(), kW / 2, v.data(), kW / 2, kW, kH);
    });
    measure("I420Scale_bilinear_720p", kDw * kDh, [&] {
        I420Scale(y.data(), kW, u.data(), kW / 2, v.data(), kW / 2, kW, kH, sy.data(), kDw,
                  su.data(), kDw / 2, sv.data(), kDw / 2, kDw, kDh, kFilterBilinear);
    });
    measure("twopass_I420Scale_then_I420ToABGR_720p", kDw * kDh, [&] {
        I420Scale(y.data(), kW, u.data(), kW / 2, v.data(), kW / 2, kW, kH, sy.data(), kDw,
                  su.data(), kDw / 2, sv.data(), kDw / 2, kDw, kDh, kFilterBilinear);
        I420ToARGBMatrix(sy.data(), kDw, sv.data(), kDw / 2, su.data(), kDw / 2,
                         rgba_small.data(), kDw * 4, &kYvuH709Constants, kDw, kDh);
    });
    measure("twopass_I420ToABGR_then_ARGBScale_720p", kDw * kDh, [&] {
        I420ToARGBMatrix(y.data(), kW, v.data(), kW / 2, u.data(), kW / 2, rgba.data(), kW * 4,
                         &kYvuH709Constants, kW, kH);
        ARGBScale(rgba.data(), kW * 4, kW, kH, rgba_small.data(), kDw * 4, kDw, kDh,
                  kFilterBilinear);
    });
    return 0;
}
