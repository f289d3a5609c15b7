// PNG pictures in memory, through libpng: 8-bit RGB or RGBA in and out. Without libpng the
// functions still exist and fail with kPngUnavailable.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ozmu_tool {

inline constexpr const char *kPngUnavailable = "PNG support was not built (libpng not found)";

// True when the tool was built with libpng.
bool png_available();

// A decoded picture: rows packed top-down, `channels` bytes a pixel (3: R, G, B; 4: R, G, B, A).
struct PngPicture {
    int width = 0, height = 0;
    int channels = 0;
    std::vector<uint8_t> pixels;
};

// What png_decode delivers.
enum class PngChannels {
    kNative,  // RGBA when the file has alpha (an alpha channel or a tRNS chunk), else RGB
    kRgb,     // alpha, if any, is dropped (not composited)
    kRgba,    // opaque files get alpha 255
};

// Decodes a whole PNG file held in memory. Grey, palette and low-bit-depth files are expanded,
// 16-bit samples reduced to 8 bits (rounded), interlaced files de-interlaced; the samples are
// taken as stored (gamma and colour chunks are ignored). Pictures larger than 16384 in either
// dimension are refused. false with *error set ("not a PNG file", "truncated PNG data", ...).
bool png_decode(const uint8_t *data, size_t size, PngChannels channels, PngPicture *picture,
                std::string *error);

// Appends a PNG of width x height pixels of `channels` (3 or 4) bytes, rows `stride` bytes
// apart (negative: bottom-up), to *out. false with *error set, *out unchanged, on failure.
bool png_encode(const uint8_t *pixels, int width, int height, ptrdiff_t stride, int channels,
                std::vector<uint8_t> *out, std::string *error);

}  // namespace ozmu_tool
