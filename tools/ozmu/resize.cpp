// ozmu resize IN.png OUT.png WxH [--slice-rows N]: the image resizer on an RGB or RGBA picture,
// whole or fed in slices of N source rows as a decoder would produce them.
//
// The resizer's walk spans src - 1 samples over dst outputs, so a size it keeps is still
// resampled slightly. The tool copies the picture when WxH equals its size; when only one
// dimension is kept, that axis is resampled like any other (rows or columns blend with their
// neighbours by up to 1/8 at the far edge), as the library does.
#include <cstring>
#include <string>
#include <vector>

#include "ozmu.h"
#include "png_io.h"
#include "tool.h"

namespace ozmu_tool {
namespace {

constexpr const char *kName = "resize";
constexpr int kWholePicture = 10;
constexpr int kSlices = 11;
constexpr int kLayoutRgb = 21;   // 3 bytes a pixel
constexpr int kLayoutRgba = 29;  // 4 bytes a pixel
constexpr int kMaxWalk = 8192;   // source samples an axis's 14.18 walk can span

// The resizer reads every 2^shift-th sample when reducing by an integer ratio of 3 or more.
int walk_shift(int src, int dst)
{
    const int ratio = src / dst;
    return ratio <= 2 ? 0 : ratio <= 4 ? 1 : ratio <= 8 ? 2 : ratio <= 16 ? 3 : 4;
}

bool walk_fits(int src, int dst) { return ((src - 1) >> walk_shift(src, dst)) < kMaxWalk; }

bool parse_slice_rows(const std::string &text, int *rows)
{
    if (text.empty() || text.size() > 5)
        return false;
    int value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + (c - '0');
    }
    if (value < 1 || value > 16384 || (value & (value - 1)) != 0)
        return false;
    *rows = value;
    return true;
}

}  // namespace

int resize(int argc, char **argv, const Io &io)
{
    Args args(argc, argv);
    std::string slice_text;
    const bool sliced = args.take("slice-rows", &slice_text);
    if (args.missing_value())
        return usage_error(io, kName, "--slice-rows needs a value");
    if (!args.unknown_option().empty())
        return usage_error(io, kName, "unknown option " + args.unknown_option());
    if (args.positional().size() != 3)
        return usage_error(io, kName, "expected IN.png OUT.png WxH");
    const std::string &in_path = args.positional()[0];
    const std::string &out_path = args.positional()[1];
    int dst_w = 0, dst_h = 0;
    if (!parse_size(args.positional()[2], &dst_w, &dst_h))
        return usage_error(io, kName,
                           "bad size '" + args.positional()[2] + "' (expected WxH, 1 to 16384)");
    int slice_rows = 0;
    if (sliced && !parse_slice_rows(slice_text, &slice_rows))
        return usage_error(io, kName,
                           "--slice-rows must be a power of two from 1 to 16384 (the resizer "
                           "takes slices of 2^k source rows), not '" +
                               slice_text + "'");
    if (!png_available())
        return fail(io, in_path, kPngUnavailable);

    std::vector<uint8_t> file;
    std::string error;
    if (!read_file(io, in_path, &file, &error))
        return fail(io, in_path, error);
    PngPicture picture;
    if (!png_decode(file.data(), file.size(), PngChannels::kNative, &picture, &error))
        return fail(io, in_path, error);
    file = {};
    const int src_w = picture.width, src_h = picture.height, bytes = picture.channels;
    const bool same_size = src_w == dst_w && src_h == dst_h;
    if (!same_size && (!walk_fits(src_w, dst_w) || !walk_fits(src_h, dst_h)))
        return fail(io, in_path,
                    std::to_string(src_w) + "x" + std::to_string(src_h) + " to " +
                        std::to_string(dst_w) + "x" + std::to_string(dst_h) +
                        " is beyond the resizer: its fixed-point walk spans at most 8192 "
                        "source samples per axis (after skipping for large reductions)");

    Output output(io, out_path);
    if (same_size) {
        if (!png_encode(picture.pixels.data(), src_w, src_h, ptrdiff_t{src_w} * bytes, bytes,
                        &output.bytes(), &error))
            return fail(io, out_path, error);
    } else {
        std::vector<uint8_t> resized(size_t{static_cast<unsigned>(dst_w)} *
                                     static_cast<unsigned>(dst_h) * static_cast<unsigned>(bytes));
        ozmu_irsz_param param{};
        param.layout = bytes == 4 ? kLayoutRgba : kLayoutRgb;
        param.mode = sliced ? kSlices : kWholePicture;
        param.src_w = src_w;
        param.src_h = src_h;
        param.src_pitch = src_w;
        param.slice_rows = slice_rows;
        param.dst_w = dst_w;
        param.dst_h = dst_h;
        param.dst_pitch = dst_w;
        param.dst = resized.data();
        int err = 0;
        void *resizer = ozmu_irsz_create(&param, &err);
        if (!resizer)
            return fail(io, in_path, "out of memory (resizer error " + std::to_string(err) + ")");
        const uint8_t *src = picture.pixels.data();
        const size_t row_bytes = size_t{static_cast<unsigned>(src_w)} * bytes;
        if (!sliced) {
            ozmu_irsz(resizer, src, 0, 0);
        } else {
            // Every slice holds slice_rows rows; those of the last one past the picture are never
            // read.
            for (int y0 = 0; y0 < src_h; y0 += slice_rows)
                ozmu_irsz(resizer, src + static_cast<size_t>(y0) * row_bytes, y0, slice_rows);
        }
        ozmu_irsz_delete(resizer);
        if (!png_encode(resized.data(), dst_w, dst_h, ptrdiff_t{dst_w} * bytes, bytes,
                        &output.bytes(), &error))
            return fail(io, out_path, error);
    }
    if (!output.commit(&error))
        return fail(io, out_path, error);
    return kExitOk;
}

}  // namespace ozmu_tool
