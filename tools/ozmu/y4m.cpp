#include "y4m.h"

#include <cstring>

namespace ozmu_tool {

namespace {

constexpr std::string_view kMagic = "YUV4MPEG2";
constexpr std::string_view kFrameMagic = "FRAME";

// A decimal number from 0 to INT32_MAX, nothing else.
bool parse_number(std::string_view text, int *value)
{
    if (text.empty() || text.size() > 10)
        return false;
    int64_t v = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        v = v * 10 + (c - '0');
    }
    if (v > INT32_MAX)
        return false;
    *value = static_cast<int>(v);
    return true;
}

bool parse_ratio(std::string_view text, int *num, int *den)
{
    const size_t colon = text.find(':');
    return colon != std::string_view::npos && parse_number(text.substr(0, colon), num) &&
           parse_number(text.substr(colon + 1), den);
}

struct Layout {
    std::string_view tag;
    int format, bit_depth, siting;
};

constexpr Layout kLayouts[] = {
    {"420jpeg", OZMU_PIX_I420, 8, OZMU_SITING_CENTER},
    {"420mpeg2", OZMU_PIX_I420, 8, OZMU_SITING_LEFT},
    {"420paldv", OZMU_PIX_I420, 8, OZMU_SITING_LEFT},
    {"420", OZMU_PIX_I420, 8, OZMU_SITING_LEFT},
    {"422", OZMU_PIX_I422, 8, OZMU_SITING_LEFT},
    {"444", OZMU_PIX_I444, 8, OZMU_SITING_LEFT},
    {"mono", OZMU_PIX_GRAY8, 8, OZMU_SITING_LEFT},
    {"420p10", OZMU_PIX_I010, 10, OZMU_SITING_LEFT},
};

// Splits a parameter list at spaces, calling take(word) for each word; stops at a false.
template <typename Take>
bool for_each_word(std::string_view line, Take take)
{
    while (!line.empty()) {
        const size_t space = line.find(' ');
        const std::string_view word = line.substr(0, space);
        if (!word.empty() && !take(word))
            return false;
        if (space == std::string_view::npos)
            break;
        line.remove_prefix(space + 1);
    }
    return true;
}

bool parse_header(std::string_view line, Y4mInfo *info, std::string *error)
{
    bool have_width = false, have_height = false;
    std::string_view chroma = "420jpeg";
    auto take = [&](std::string_view word) {
        const char key = word[0];
        const std::string_view value = word.substr(1);
        switch (key) {
        case 'W':
            have_width = parse_number(value, &info->width);
            if (!have_width)
                *error = "bad width W" + std::string(value);
            return have_width;
        case 'H':
            have_height = parse_number(value, &info->height);
            if (!have_height)
                *error = "bad height H" + std::string(value);
            return have_height;
        case 'F':
            if (!parse_ratio(value, &info->fps_num, &info->fps_den)) {
                *error = "bad frame rate F" + std::string(value);
                return false;
            }
            if (info->fps_num == 0 || info->fps_den == 0)
                info->fps_num = info->fps_den = 0;  // unknown, as when absent
            return true;
        case 'A':
            if (!parse_ratio(value, &info->sar_num, &info->sar_den)) {
                *error = "bad aspect ratio A" + std::string(value);
                return false;
            }
            return true;
        case 'I':
            if (value.size() != 1 || std::strchr("ptbm?", value[0]) == nullptr) {
                *error = "bad interlacing I" + std::string(value);
                return false;
            }
            info->interlace = value[0];
            return true;
        case 'C': chroma = value; return true;
        case 'X':
            if (value == "COLORRANGE=LIMITED")
                info->range = OZMU_RANGE_LIMITED;
            else if (value == "COLORRANGE=FULL")
                info->range = OZMU_RANGE_FULL;
            return true;       // other extensions carry nothing we use
        default: return true;  // unknown parameters are ignored, as the format asks
        }
    };
    if (!for_each_word(line, take))
        return false;
    if (!have_width || !have_height) {
        *error =
            have_width ? "no height (H) in the stream header" : "no width (W) in the stream header";
        return false;
    }
    if (info->width < 1 || info->width > 16384 || info->height < 1 || info->height > 16384) {
        *error = "picture size " + std::to_string(info->width) + "x" +
                 std::to_string(info->height) + " out of range (1 to 16384)";
        return false;
    }
    for (const Layout &l : kLayouts) {
        if (l.tag == chroma) {
            info->format = l.format;
            info->bit_depth = l.bit_depth;
            info->siting = l.siting;
            info->chroma = std::string(chroma);
            return true;
        }
    }
    *error = "unsupported chroma layout C" + std::string(chroma) +
             " (supported: 420jpeg, 420mpeg2, 420paldv, 420, 422, 444, mono, 420p10)";
    return false;
}

}  // namespace

bool y4m_parse(const uint8_t *data, size_t size, Y4mFile *file, std::string *error)
{
    *file = Y4mFile{};
    file->base = data;
    const std::string_view all(reinterpret_cast<const char *>(data), size);
    if (all.substr(0, kMagic.size()) != kMagic ||
        (size > kMagic.size() && all[kMagic.size()] != ' ' && all[kMagic.size()] != '\n')) {
        *error = "not a YUV4MPEG2 stream";
        return false;
    }
    const size_t header_end = all.find('\n');
    if (header_end == std::string_view::npos) {
        *error = "stream header not terminated";
        return false;
    }
    file->info.header = std::string(all.substr(0, header_end));
    if (!parse_header(all.substr(kMagic.size(), header_end - kMagic.size()), &file->info, error))
        return false;

    int planes = 0;
    size_t min_stride[4];
    int rows[4];
    if (ozmu_frame_layout(file->info.format, file->info.width, file->info.height, &planes,
                          min_stride, rows) != OZMU_OK) {
        *error = "picture size out of range";
        return false;
    }
    for (int i = 0; i < planes; ++i)
        file->frame_size += min_stride[i] * size_t(rows[i]);

    size_t at = header_end + 1;
    while (at < size) {
        const size_t number = file->frame_data.size() + 1;
        const size_t line_end = all.find('\n', at);
        const std::string_view line = all.substr(
            at, line_end == std::string_view::npos ? std::string_view::npos : line_end - at);
        if (line.substr(0, kFrameMagic.size()) != kFrameMagic ||
            (line.size() > kFrameMagic.size() && line[kFrameMagic.size()] != ' ')) {
            *error = "frame " + std::to_string(number) + ": no FRAME header at byte " +
                     std::to_string(at);
            return false;
        }
        if (line_end == std::string_view::npos || size - (line_end + 1) < file->frame_size) {
            const size_t have = line_end == std::string_view::npos ? 0 : size - (line_end + 1);
            *error = "frame " + std::to_string(number) + " is truncated (" + std::to_string(have) +
                     " of " + std::to_string(file->frame_size) + " bytes)";
            return false;
        }
        file->frame_data.push_back(line_end + 1);
        at = line_end + 1 + file->frame_size;
    }
    return true;
}

ozmu_frame Y4mFile::frame(size_t i) const
{
    ozmu_frame f{};
    f.format = info.format;
    f.width = info.width;
    f.height = info.height;
    int planes = 0;
    size_t min_stride[4] = {};
    int rows[4] = {};
    ozmu_frame_layout(info.format, info.width, info.height, &planes, min_stride, rows);
    // The frame API takes writable plane pointers; this view is only ever read.
    uint8_t *p = const_cast<uint8_t *>(base) + frame_data[i];
    for (int k = 0; k < planes; ++k) {
        f.plane[k] = p;
        f.stride[k] = static_cast<ptrdiff_t>(min_stride[k]);
        p += min_stride[k] * size_t(rows[k]);
    }
    return f;
}

std::string y4m_chroma_tag(int format, int siting)
{
    switch (format) {
    case OZMU_PIX_I420: return siting == OZMU_SITING_CENTER ? "420jpeg" : "420mpeg2";
    case OZMU_PIX_I422: return "422";
    case OZMU_PIX_I444: return "444";
    case OZMU_PIX_GRAY8: return "mono";
    case OZMU_PIX_I010: return "420p10";
    default: return {};
    }
}

bool y4m_write_header(const Y4mInfo &info, std::vector<uint8_t> *out)
{
    const std::string tag = y4m_chroma_tag(info.format, info.siting);
    if (tag.empty())
        return false;
    const bool has_rate = info.fps_num > 0 && info.fps_den > 0;
    std::string h = "YUV4MPEG2 W" + std::to_string(info.width) + " H" +
                    std::to_string(info.height) + " F" +
                    std::to_string(has_rate ? info.fps_num : 25) + ":" +
                    std::to_string(has_rate ? info.fps_den : 1) + " I" +
                    (info.interlace == '?' ? 'p' : info.interlace) + " A" +
                    std::to_string(info.sar_num) + ":" + std::to_string(info.sar_den) + " C" + tag;
    if (tag != "mono") {  // the extension other readers use to tell the subsampling apart
        std::string upper = tag;
        for (char &c : upper)
            c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
        h += " XYSCSS=" + upper;
    }
    if (info.range == OZMU_RANGE_LIMITED)
        h += " XCOLORRANGE=LIMITED";
    else if (info.range == OZMU_RANGE_FULL)
        h += " XCOLORRANGE=FULL";
    h += '\n';
    out->insert(out->end(), h.begin(), h.end());
    return true;
}

void y4m_write_frame(const ozmu_frame &frame, std::vector<uint8_t> *out)
{
    out->insert(out->end(), kFrameMagic.begin(), kFrameMagic.end());
    out->push_back('\n');
    int planes = 0;
    size_t min_stride[4] = {};
    int rows[4] = {};
    ozmu_frame_layout(frame.format, frame.width, frame.height, &planes, min_stride, rows);
    for (int k = 0; k < planes; ++k) {
        for (int r = 0; r < rows[k]; ++r) {
            const uint8_t *row = frame.plane[k] + r * frame.stride[k];
            out->insert(out->end(), row, row + min_stride[k]);
        }
    }
}

}  // namespace ozmu_tool
