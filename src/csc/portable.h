// The per-pixel walk of the portable conversion kernels. Every channel keeps its own row distance
// and pixel spacing, so planar, interleaved (one address per byte of the pixel) and 16-bit
// layouts all go through one loop, and a channel a kernel does not use is never even addressed
// (hosts may leave those pointers null).
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "csc/csc.h"

namespace ozmu::csc {

// Samples of type T, PixelBytes apart, rows row_bytes apart.
template <typename T, int PixelBytes = sizeof(T)>
class Channel {
public:
    Channel(uint8_t *origin, ptrdiff_t row_bytes) : origin_(origin), row_bytes_(row_bytes) {}

    // Rows are addressed from the origin, so no pointer ever steps past the last row.
    void seek_row(int y) { row_ = origin_ + row_bytes_ * y; }

    int get(int x) const
    {
        T sample;
        std::memcpy(&sample, row_ + ptrdiff_t{PixelBytes} * x, sizeof sample);
        return sample;
    }
    void put(int x, int value) const
    {
        const auto sample = static_cast<T>(value);
        std::memcpy(row_ + ptrdiff_t{PixelBytes} * x, &sample, sizeof sample);
    }

private:
    uint8_t *origin_;
    ptrdiff_t row_bytes_;
    uint8_t *row_ = nullptr;
};

// An 8-bit plane, or one byte of an interleaved pixel of PixelBytes bytes.
template <int PixelBytes = 1>
using Bytes = Channel<uint8_t, PixelBytes>;
// A plane of 16-bit samples.
using Words = Channel<uint16_t>;

template <int PixelBytes = 1>
Bytes<PixelBytes> bytes_at(uint8_t *origin, int stride)
{
    return {origin, stride};
}

// A 16-bit plane advances by stride >> 1 samples: an odd byte stride is truncated.
inline Words words_at(uint8_t *origin, int stride) { return {origin, ptrdiff_t{stride >> 1} * 2}; }

// Runs pixel(x) for every pixel of a width x height picture after pointing every channel at
// the row. Nothing happens for a height below 1; a width below 1 skips every row's pixels.
template <typename PixelFn, typename... Channels>
void for_each_pixel(int width, int height, PixelFn &&pixel, Channels &...channels)
{
    for (int y = 0; y < height; ++y) {
        (channels.seek_row(y), ...);
        for (int x = 0; x < width; ++x)
            pixel(x);
    }
}

// The three colour bytes of an R, G, B source: planar (PixelBytes 1) or through one address
// per byte of an interleaved pixel.
template <int PixelBytes = 1>
struct RgbSource {
    Bytes<PixelBytes> r, g, b;

    RgbSource(uint8_t *const src[4], const int stride[4])
        : r(bytes_at<PixelBytes>(src[0], stride[0])), g(bytes_at<PixelBytes>(src[1], stride[1])),
          b(bytes_at<PixelBytes>(src[2], stride[2]))
    {
    }
    void seek_row(int y) { r.seek_row(y), g.seek_row(y), b.seek_row(y); }
    Rgb8 at(int x) const
    {
        return {static_cast<uint8_t>(r.get(x)), static_cast<uint8_t>(g.get(x)),
                static_cast<uint8_t>(b.get(x))};
    }
};

// Full-size Y, U, V planes converted to R, G, B on the fly.
struct YuvSource {
    Bytes<> y, u, v;

    YuvSource(uint8_t *const src[4], const int stride[4])
        : y(bytes_at(src[0], stride[0])), u(bytes_at(src[1], stride[1])),
          v(bytes_at(src[2], stride[2]))
    {
    }
    void seek_row(int row) { y.seek_row(row), u.seek_row(row), v.seek_row(row); }
    Rgb8 at(int x) const { return yuv_to_rgb(y.get(x), u.get(x), v.get(x)); }
};

// Alpha of a source without an alpha plane.
struct Opaque {
    void seek_row(int) {}
    int get(int) const { return 255; }
};

}  // namespace ozmu::csc
