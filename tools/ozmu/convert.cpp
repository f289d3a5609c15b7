// ozmu convert IN OUT: one frame (--frame N, default 0) or all of them (--frames) from Y4M, PNG
// or raw YUV to PNG or Y4M, through the frame conversion API (accurate chroma).
//
// Input: Y4M and PNG are told by their content; raw YUV by --format F --size WxH (the input's
// size). Output: by OUT's extension (.png, .y4m) or --to png|y4m ("-" is standard output).
// The output size is --size WxH for Y4M and PNG input, --scale WxH for any input (raw input
// included); the frame is resampled in the same pass.
// Colour: --matrix and --range describe the YUV side, whichever it is: for YUV input they
// override the default BT.601 and the Y4M header's XCOLORRANGE (limited when absent); for PNG to
// Y4M they choose the output (limited BT.601 by default, and XCOLORRANGE is written). The 4:2:0
// chroma siting comes from the Y4M header (C420jpeg centred, C420mpeg2, C420 and C420paldv left;
// raw YUV left) unless --siting left|center says otherwise. Y4M output is 8-bit 4:2:0.
// --frames writes every frame: one Y4M stream, or one PNG a frame named from OUT, either with a
// printf-style "%d" / "%04d" in OUT, or with "-0000", "-0001", ... before OUT's extension; the
// numbers are the frame indices (from 0, as --frame counts). Nothing is written unless every
// frame converted.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "ozmu.h"
#include "png_io.h"
#include "tool.h"
#include "y4m.h"

namespace ozmu_tool {
namespace {

constexpr const char *kName = "convert";

struct Named {
    const char *name;
    int value;
};

constexpr Named kRawFormats[] = {
    {"i420", OZMU_PIX_I420},  {"nv12", OZMU_PIX_NV12}, {"nv21", OZMU_PIX_NV21},
    {"yv12", OZMU_PIX_YV12},  {"i422", OZMU_PIX_I422}, {"i444", OZMU_PIX_I444},
    {"gray", OZMU_PIX_GRAY8}, {"i010", OZMU_PIX_I010}, {"p010", OZMU_PIX_P010},
};
constexpr Named kMatrices[] = {
    {"bt601", OZMU_MATRIX_BT601}, {"bt709", OZMU_MATRIX_BT709}, {"bt2020", OZMU_MATRIX_BT2020}};
constexpr Named kRanges[] = {{"limited", OZMU_RANGE_LIMITED}, {"full", OZMU_RANGE_FULL}};
constexpr Named kSitings[] = {{"left", OZMU_SITING_LEFT}, {"center", OZMU_SITING_CENTER}};

template <size_t N>
bool lookup(const Named (&table)[N], const std::string &name, int *value)
{
    for (const Named &entry : table) {
        if (name == entry.name) {
            *value = entry.value;
            return true;
        }
    }
    return false;
}

bool is_rgb(int format) { return format >= OZMU_PIX_RGBA; }

bool is_420(int format)
{
    return format == OZMU_PIX_I420 || format == OZMU_PIX_YV12 || format == OZMU_PIX_NV12 ||
           format == OZMU_PIX_NV21 || format == OZMU_PIX_I010 || format == OZMU_PIX_P010;
}

bool ends_with(std::string s, std::string_view suffix)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    });
    return s.size() >= suffix.size() &&
           s.compare(s.size() - suffix.size(), suffix.size(), suffix.data(), suffix.size()) == 0;
}

// A frame of format at width x height with its planes packed one after the other.
struct Packed {
    ozmu_frame frame{};  // planes null until placed
    size_t offset[4] = {};
    int planes = 0;
    size_t size = 0;  // 0: no such layout

    Packed() = default;
    Packed(int format, int width, int height)
    {
        size_t stride[4] = {};
        int rows[4] = {};
        if (ozmu_frame_layout(format, width, height, &planes, stride, rows) != OZMU_OK)
            return;
        frame.format = format;
        frame.width = width;
        frame.height = height;
        for (int p = 0; p < planes; ++p) {
            frame.stride[p] = static_cast<ptrdiff_t>(stride[p]);
            offset[p] = size;
            size += stride[p] * static_cast<size_t>(rows[p]);
        }
    }
    ozmu_frame at(uint8_t *base) const
    {
        ozmu_frame placed = frame;
        for (int p = 0; p < planes; ++p)
            placed.plane[p] = base + offset[p];
        return placed;
    }
};

// The input's frames as frame API views into the file's bytes.
struct Source {
    enum class Kind { kY4m, kPng, kRaw } kind = Kind::kRaw;
    std::vector<uint8_t> bytes;
    Y4mFile y4m;
    PngPicture png;
    Packed raw;
    size_t count = 0;

    ozmu_frame frame(size_t i)
    {
        switch (kind) {
        case Kind::kY4m: return y4m.frame(i);
        case Kind::kPng: {
            ozmu_frame f{};
            f.format = png.channels == 4 ? OZMU_PIX_RGBA : OZMU_PIX_RGB24;
            f.width = png.width;
            f.height = png.height;
            f.plane[0] = png.pixels.data();
            f.stride[0] = ptrdiff_t{png.width} * png.channels;
            return f;
        }
        case Kind::kRaw: break;
        }
        return raw.at(bytes.data() + i * raw.size);
    }
};

// OUT with the frame's number: "%d" / "%0Nd" replaced, or "-NNNN" before the extension.
std::string numbered(const std::string &pattern, size_t index)
{
    const size_t percent = pattern.find('%');
    char number[32];
    if (percent != std::string::npos) {
        // valid_pattern() admitted only "%d" or "%0Nd" here.
        const size_t d = pattern.find('d', percent);
        const std::string conversion = pattern.substr(percent, d - percent + 1);
        std::snprintf(number, sizeof number, conversion.c_str(), static_cast<int>(index));
        return pattern.substr(0, percent) + number + pattern.substr(d + 1);
    }
    std::snprintf(number, sizeof number, "-%04zu", index);
    const size_t slash = pattern.rfind('/');
    const size_t dot = pattern.rfind('.');
    const bool has_extension =
        dot != std::string::npos && dot > 0 && (slash == std::string::npos || dot > slash + 1);
    return has_extension ? pattern.substr(0, dot) + number + pattern.substr(dot) : pattern + number;
}

// At most one "%d" or "%0Nd" (N 1 to 9) and no other '%'.
bool valid_pattern(const std::string &pattern)
{
    const size_t percent = pattern.find('%');
    if (percent == std::string::npos)
        return true;
    size_t i = percent + 1;
    if (i + 1 < pattern.size() && pattern[i] == '0' && pattern[i + 1] >= '1' &&
        pattern[i + 1] <= '9')
        i += 2;
    return i < pattern.size() && pattern[i] == 'd' && pattern.find('%', i) == std::string::npos;
}

struct Options {
    std::string in_path, out_path;
    bool to_png = false;
    bool all_frames = false;
    long frame_index = 0;
    int raw_format = 0, raw_w = 0, raw_h = 0;  // raw_format 0: not raw
    int out_w = 0, out_h = 0;                  // 0: the input's size
    int matrix = OZMU_MATRIX_BT601;
    int range = -1, siting = -1;  // -1: not given
};

// Parses the command line; returns kExitOk or a usage error's status.
int parse_options(int argc, char **argv, const Io &io, Options *o)
{
    Args args(argc, argv);
    std::string size, scale, format, matrix, range, siting, frame, to;
    const bool has_size = args.take("size", &size);
    const bool has_scale = args.take("scale", &scale);
    const bool has_format = args.take("format", &format);
    const bool has_matrix = args.take("matrix", &matrix);
    const bool has_range = args.take("range", &range);
    const bool has_siting = args.take("siting", &siting);
    const bool has_frame = args.take("frame", &frame);
    const bool has_to = args.take("to", &to);
    o->all_frames = args.take_flag("frames");
    if (args.missing_value())
        return usage_error(io, kName, "an option is missing its value");
    if (!args.unknown_option().empty())
        return usage_error(io, kName, "unknown option " + args.unknown_option());
    if (args.positional().size() != 2)
        return usage_error(io, kName, "expected IN and OUT");
    o->in_path = args.positional()[0];
    o->out_path = args.positional()[1];

    if (has_format) {
        if (!lookup(kRawFormats, format, &o->raw_format))
            return usage_error(io, kName,
                               "unknown --format '" + format +
                                   "' (i420, nv12, nv21, yv12, i422, i444, gray, i010, p010)");
        if (!has_size)
            return usage_error(io, kName, "raw input needs --size WxH with --format");
    }
    if (has_size &&
        !parse_size(size, has_format ? &o->raw_w : &o->out_w, has_format ? &o->raw_h : &o->out_h))
        return usage_error(io, kName, "bad --size '" + size + "' (expected WxH, 1 to 16384)");
    if (has_scale) {
        if (has_size && !has_format)
            return usage_error(io, kName, "give the output size once (--size or --scale)");
        if (!parse_size(scale, &o->out_w, &o->out_h))
            return usage_error(io, kName, "bad --scale '" + scale + "' (expected WxH, 1 to 16384)");
    }
    if (has_matrix && !lookup(kMatrices, matrix, &o->matrix))
        return usage_error(io, kName, "unknown --matrix '" + matrix + "' (bt601, bt709, bt2020)");
    if (has_range && !lookup(kRanges, range, &o->range))
        return usage_error(io, kName, "unknown --range '" + range + "' (limited, full)");
    if (has_siting && !lookup(kSitings, siting, &o->siting))
        return usage_error(io, kName, "unknown --siting '" + siting + "' (left, center)");
    if (has_frame) {
        if (o->all_frames)
            return usage_error(io, kName, "--frame and --frames exclude each other");
        char *end = nullptr;
        o->frame_index = std::strtol(frame.c_str(), &end, 10);
        if (frame.empty() || *end || o->frame_index < 0 || frame[0] == '-' || frame[0] == '+')
            return usage_error(io, kName, "bad --frame '" + frame + "' (a frame index from 0)");
    }
    if (has_to) {
        if (to != "png" && to != "y4m")
            return usage_error(io, kName, "unknown --to '" + to + "' (png, y4m)");
        o->to_png = to == "png";
    } else if (ends_with(o->out_path, ".png")) {
        o->to_png = true;
    } else if (!ends_with(o->out_path, ".y4m")) {
        return usage_error(io, kName,
                           "cannot tell the output format from '" + o->out_path +
                               "' (name it .png or .y4m, or give --to png|y4m)");
    }
    if (o->all_frames && o->to_png) {
        if (o->out_path == "-")
            return usage_error(io, kName, "--frames to PNG needs a file name to number");
        if (!valid_pattern(o->out_path))
            return usage_error(io, kName,
                               "OUT may hold one %d or %0Nd for the frame number, nothing else "
                               "with '%'");
    }
    return kExitOk;
}

// Reads and indexes IN; returns kExitOk or a bad-input status (the message printed).
int open_source(const Io &io, const Options &o, Source *source)
{
    std::string error;
    if (!read_file(io, o.in_path, &source->bytes, &error))
        return fail(io, o.in_path, error);
    const std::vector<uint8_t> &b = source->bytes;
    if (o.raw_format) {
        source->kind = Source::Kind::kRaw;
        source->raw = Packed(o.raw_format, o.raw_w, o.raw_h);
        const size_t frame_size = source->raw.size;
        if (b.empty())
            return fail(io, o.in_path, "empty file");
        if (frame_size == 0 || b.size() % frame_size != 0) {
            std::string format;
            for (const Named &f : kRawFormats)
                if (f.value == o.raw_format)
                    format = f.name;
            return fail(io, o.in_path,
                        "size " + std::to_string(b.size()) +
                            " bytes is not a multiple of the frame size " +
                            std::to_string(frame_size) + " (" + std::to_string(o.raw_w) + "x" +
                            std::to_string(o.raw_h) + " " + format + ")");
        }
        source->count = b.size() / frame_size;
        return kExitOk;
    }
    static constexpr uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (b.size() >= 9 && std::memcmp(b.data(), "YUV4MPEG2", 9) == 0) {
        source->kind = Source::Kind::kY4m;
        if (!y4m_parse(b.data(), b.size(), &source->y4m, &error))
            return fail(io, o.in_path, error);
        source->count = source->y4m.frame_count();
        return kExitOk;
    }
    if (b.size() >= 8 && std::memcmp(b.data(), kPngSignature, 8) == 0) {
        source->kind = Source::Kind::kPng;
        if (!png_decode(b.data(), b.size(), PngChannels::kNative, &source->png, &error))
            return fail(io, o.in_path, error);
        source->bytes = {};
        source->count = 1;
        return kExitOk;
    }
    return fail(io, o.in_path, "not a Y4M or PNG file (raw YUV needs --format and --size)");
}

}  // namespace

int convert(int argc, char **argv, const Io &io)
{
    Options o;
    if (const int status = parse_options(argc, argv, io, &o); status != kExitOk)
        return status;
    if (o.to_png && !png_available())
        return fail(io, o.out_path, kPngUnavailable);
    Source source;
    if (const int status = open_source(io, o, &source); status != kExitOk)
        return status;
    if (source.count == 0)
        return fail(io, o.in_path, "no frames");
    if (!o.all_frames && static_cast<size_t>(o.frame_index) >= source.count)
        return fail(io, o.in_path,
                    "frame " + std::to_string(o.frame_index) + " is out of range (the file has " +
                        std::to_string(source.count) +
                        (source.count == 1 ? " frame)" : " frames)"));

    const ozmu_frame first = source.frame(0);
    const bool from_rgb = is_rgb(first.format);
    const int out_w = o.out_w ? o.out_w : first.width;
    const int out_h = o.out_h ? o.out_h : first.height;
    // The YUV side's range and siting: options, else the Y4M header, else limited and left.
    const bool y4m_range =
        source.kind == Source::Kind::kY4m && source.y4m.info.range != kY4mRangeUnknown;
    const int range = o.range >= 0 ? o.range
                      : y4m_range  ? source.y4m.info.range
                                   : OZMU_RANGE_LIMITED;
    const int siting = o.siting >= 0 ? o.siting
                       : source.kind == Source::Kind::kY4m && is_420(first.format)
                           ? source.y4m.info.siting
                           : OZMU_SITING_LEFT;

    ozmu_convert_opts opts;
    ozmu_convert_opts_init(&opts);
    opts.matrix = o.matrix;
    opts.src_range = range;
    opts.dst_range = range;
    opts.siting = siting;

    const int out_format = !o.to_png                       ? OZMU_PIX_I420
                           : first.format == OZMU_PIX_RGBA ? OZMU_PIX_RGBA
                                                           : OZMU_PIX_RGB24;
    const Packed out_layout(out_format, out_w, out_h);
    std::vector<uint8_t> converted(out_layout.size);
    const ozmu_frame dst = out_layout.at(converted.data());

    Y4mInfo info;
    info.width = out_w;
    info.height = out_h;
    info.format = OZMU_PIX_I420;
    // 4:4:4 chroma is averaged in pairs of columns, centred between them; 4:2:2 chroma only in
    // pairs of rows, which keeps its columns' siting, as 4:2:0 chroma keeps its own.
    info.siting = first.format == OZMU_PIX_I444 ? OZMU_SITING_CENTER : siting;
    info.range = from_rgb || o.range >= 0 || y4m_range ? range : kY4mRangeUnknown;
    if (source.kind == Source::Kind::kY4m) {
        const Y4mInfo &in = source.y4m.info;
        info.fps_num = in.fps_num;
        info.fps_den = in.fps_den;
        info.interlace = in.interlace;
        if (out_w == in.width && out_h == in.height) {
            info.sar_num = in.sar_num;
            info.sar_den = in.sar_den;
        }
    }

    const size_t begin = o.all_frames ? 0 : static_cast<size_t>(o.frame_index);
    const size_t end = o.all_frames ? source.count : begin + 1;
    std::vector<Output> outputs;
    outputs.reserve(o.to_png ? end - begin : 1);
    if (!o.to_png) {
        outputs.emplace_back(io, o.out_path);
        y4m_write_header(info, &outputs.back().bytes());
    }
    std::string error;
    for (size_t i = begin; i < end; ++i) {
        const ozmu_frame src = source.frame(i);
        const int rc = ozmu_convert(&src, &dst, &opts);
        if (rc != OZMU_OK)
            return fail(io, o.in_path, "frame " + std::to_string(i) + ": " + ozmu_strerror(rc));
        if (o.to_png) {
            outputs.emplace_back(io, o.all_frames ? numbered(o.out_path, i) : o.out_path);
            if (!png_encode(dst.plane[0], out_w, out_h, dst.stride[0],
                            out_format == OZMU_PIX_RGBA ? 4 : 3, &outputs.back().bytes(), &error))
                return fail(io, o.out_path, error);
        } else {
            y4m_write_frame(dst, &outputs.back().bytes());
        }
        if (o.all_frames)
            progress(io, "convert: frame", static_cast<long>(i + 1), static_cast<long>(end));
    }
    if (o.all_frames)
        progress_done(io);
    for (Output &output : outputs) {
        if (!output.commit(&error))
            return fail(io, o.out_path, error);
    }
    return kExitOk;
}

}  // namespace ozmu_tool
