#include "png_io.h"

#if OZMU_TOOL_HAVE_PNG
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#endif

namespace ozmu_tool {

#if OZMU_TOOL_HAVE_PNG

namespace {

constexpr png_uint_32 kMaxSide = 16384;

// libpng's source and error state: a plain record, since libpng leaves its calls by longjmp.
struct Reader {
    const uint8_t *data;
    size_t size;
    size_t at;
    char message[160];
};

void read_bytes(png_structp png, png_bytep out, size_t count)
{
    auto *reader = static_cast<Reader *>(png_get_io_ptr(png));
    if (count > reader->size - reader->at)
        png_error(png, "truncated PNG data");
    std::memcpy(out, reader->data + reader->at, count);
    reader->at += count;
}

void on_error(png_structp png, png_const_charp message)
{
    auto *reader = static_cast<Reader *>(png_get_error_ptr(png));
    std::snprintf(reader->message, sizeof reader->message, "%s", message);
    png_longjmp(png, 1);
}

void on_warning(png_structp, png_const_charp) {}

// The decoding proper. Objects with destructors stay out of this frame (a longjmp skips them);
// the vectors belong to the caller.
bool decode(png_structp png, png_infop info, Reader *reader, PngChannels want, PngPicture *picture,
            std::vector<png_bytep> *rows)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_set_read_fn(png, reader, read_bytes);
    png_read_info(png, info);
    png_uint_32 width = 0, height = 0;
    int depth = 0, color = 0;
    png_get_IHDR(png, info, &width, &height, &depth, &color, nullptr, nullptr, nullptr);
    if (width > kMaxSide || height > kMaxSide) {
        std::snprintf(reader->message, sizeof reader->message,
                      "picture %ux%u is larger than 16384x16384", static_cast<unsigned>(width),
                      static_cast<unsigned>(height));
        return false;
    }
    const bool has_alpha =
        (color & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    const int channels = want == PngChannels::kRgb    ? 3
                         : want == PngChannels::kRgba ? 4
                         : has_alpha                  ? 4
                                                      : 3;
    png_set_expand(png);  // palette to RGB, grey below 8 bits to 8, tRNS to alpha
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    if (channels == 3)
        png_set_strip_alpha(png);
    else
        png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);  // acts only where alpha is missing
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    const size_t row_bytes = size_t{width} * static_cast<size_t>(channels);
    if (png_get_rowbytes(png, info) != row_bytes) {
        std::snprintf(reader->message, sizeof reader->message, "unexpected PNG sample layout");
        return false;
    }
    picture->width = static_cast<int>(width);
    picture->height = static_cast<int>(height);
    picture->channels = channels;
    picture->pixels.resize(row_bytes * height);
    rows->resize(height);
    for (png_uint_32 y = 0; y < height; ++y)
        (*rows)[y] = picture->pixels.data() + y * row_bytes;
    png_read_image(png, rows->data());
    png_read_end(png, nullptr);
    return true;
}

}  // namespace

bool png_available() { return true; }

bool png_decode(const uint8_t *data, size_t size, PngChannels channels, PngPicture *picture,
                std::string *error)
{
    if (size < 8 || png_sig_cmp(data, 0, 8) != 0) {
        *error = "not a PNG file";
        return false;
    }
    Reader reader{data, size, 0, {}};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, on_error, on_warning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    struct Guard {
        png_structp *png;
        png_infop *info;
        ~Guard() { png_destroy_read_struct(png, info, nullptr); }
    } guard{&png, &info};
    if (!info) {
        *error = "out of memory";
        return false;
    }
    PngPicture decoded;
    std::vector<png_bytep> rows;
    if (!decode(png, info, &reader, channels, &decoded, &rows)) {
        *error = reader.message;
        return false;
    }
    *picture = std::move(decoded);
    return true;
}

bool png_encode(const uint8_t *pixels, int width, int height, ptrdiff_t stride, int channels,
                std::vector<uint8_t> *out, std::string *error)
{
    if ((channels != 3 && channels != 4) || width < 1 || height < 1 ||
        static_cast<uint32_t>(width) > kMaxSide || static_cast<uint32_t>(height) > kMaxSide ||
        (stride < 0 ? -stride : stride) < ptrdiff_t{width} * channels) {
        *error = "bad picture for PNG output";
        return false;
    }
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = channels == 4 ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
    // libpng's negative stride starts at the bottom row, the lowest address.
    const uint8_t *first = stride < 0 ? pixels + ptrdiff_t{height - 1} * stride : pixels;
    std::vector<uint8_t> encoded(PNG_IMAGE_PNG_SIZE_MAX(image));
    png_alloc_size_t size = encoded.size();
    const int ok = png_image_write_to_memory(&image, encoded.data(), &size, 0, first,
                                             static_cast<png_int_32>(stride), nullptr);
    if (!ok) {
        *error = std::string("PNG encoding failed: ") + image.message;
        png_image_free(&image);
        return false;
    }
    png_image_free(&image);
    out->insert(out->end(), encoded.begin(), encoded.begin() + static_cast<ptrdiff_t>(size));
    return true;
}

#else  // no libpng

bool png_available() { return false; }

bool png_decode(const uint8_t *, size_t, PngChannels, PngPicture *, std::string *error)
{
    *error = kPngUnavailable;
    return false;
}

bool png_encode(const uint8_t *, int, int, ptrdiff_t, int, std::vector<uint8_t> *,
                std::string *error)
{
    *error = kPngUnavailable;
    return false;
}

#endif

}  // namespace ozmu_tool
