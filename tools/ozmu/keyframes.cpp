// ozmu keyframes: access units of an elementary stream with both key-frame answers, the
// library's (ozmu_is_vkeyfrm) and the random-access points a player would seek to.
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "access_units.h"
#include "tool.h"

namespace ozmu_tool {
namespace {

constexpr const char *kCommand = "keyframes";

void json_string(FILE *f, const std::string &s)
{
    std::fputc('"', f);
    for (unsigned char c : s) {
        if (c == '"' || c == '\\')
            std::fprintf(f, "\\%c", c);
        else if (c < 0x20)
            std::fprintf(f, "\\u%04x", c);
        else
            std::fputc(c, f);
    }
    std::fputc('"', f);
}

void print_text(FILE *f, const std::string &file, Codec codec, const std::vector<AccessUnit> &units,
                const std::vector<size_t> &differ, size_t keys, size_t points)
{
    std::fprintf(f, "file: %s\ncodec: %s\n", file.c_str(), codec_name(codec));
    std::fprintf(f, "%6s %10s %8s %4s %4s %4s\n", "unit", "offset", "size", "type", "key", "rap");
    for (size_t i = 0; i < units.size(); ++i) {
        const AccessUnit &u = units[i];
        std::fprintf(f, "%6zu %10zu %8zu %4c %4d %4d\n", i, u.offset, u.size, u.picture_type,
                     u.library_key, u.random_access);
    }
    std::fprintf(f, "units: %zu\nkey (ozmu_is_vkeyfrm): %zu\nrandom-access points: %zu\n",
                 units.size(), keys, points);
    std::fprintf(f, "differ at:");
    if (differ.empty())
        std::fprintf(f, " none");
    for (size_t i : differ)
        std::fprintf(f, " %zu", i);
    std::fprintf(f, "\n");
}

void print_json(FILE *f, const std::string &file, Codec codec, const std::vector<AccessUnit> &units,
                const std::vector<size_t> &differ, size_t keys, size_t points)
{
    std::fprintf(f, "{\n  \"file\": ");
    json_string(f, file);
    std::fprintf(f, ",\n  \"codec\": \"%s\",\n  \"units\": [", codec_name(codec));
    for (size_t i = 0; i < units.size(); ++i) {
        const AccessUnit &u = units[i];
        std::fprintf(f, "%s\n    {\"index\": %zu, \"offset\": %zu, \"size\": %zu, \"type\": ",
                     i ? "," : "", i, u.offset, u.size);
        if (u.picture_type == '?')
            std::fprintf(f, "null");
        else
            std::fprintf(f, "\"%c\"", u.picture_type);
        std::fprintf(f, ", \"key\": %s, \"rap\": %s}", u.library_key ? "true" : "false",
                     u.random_access ? "true" : "false");
    }
    std::fprintf(f,
                 "\n  ],\n  \"summary\": {\"units\": %zu, \"key\": %zu, \"rap\": %zu, "
                 "\"differ\": [",
                 units.size(), keys, points);
    for (size_t i = 0; i < differ.size(); ++i)
        std::fprintf(f, "%s%zu", i ? ", " : "", differ[i]);
    std::fprintf(f, "]}\n}\n");
}

}  // namespace

int keyframes(int argc, char **argv, const Io &io)
{
    Args args(argc, argv);
    const bool json = args.take_flag("json");
    std::string codec_option;
    const bool codec_given = args.take("codec", &codec_option);
    if (args.missing_value())
        return usage_error(io, kCommand, "--codec needs a value (h264, hevc or mpeg4)");
    if (!args.unknown_option().empty())
        return usage_error(io, kCommand, "unknown option " + args.unknown_option());
    if (args.positional().size() != 1)
        return usage_error(io, kCommand, "expects one FILE");
    Codec codec = Codec::kH264;
    if (codec_given && !codec_from_name(codec_option, &codec))
        return usage_error(io, kCommand,
                           "unknown codec '" + codec_option + "' (h264, hevc or mpeg4)");
    const std::string &file = args.positional()[0];

    std::vector<uint8_t> data;
    std::string error;
    if (!read_file(io, file, &data, &error))
        return fail(io, file, error);
    if (!codec_given && !codec_from_extension(file, &codec) &&
        !sniff_codec(data.data(), data.size(), &codec))
        return fail(io, file,
                    "not an Annex-B H.264/HEVC or MPEG-4 Part 2 elementary stream "
                    "(--codec names the codec)");
    const std::vector<AccessUnit> units = split_access_units(codec, data.data(), data.size());
    if (units.empty())
        return fail(io, file,
                    std::string("no start code: not an ") + (codec == Codec::kMpeg4
                                                                 ? "MPEG-4 Part 2 elementary stream"
                                                                 : "Annex-B byte stream"));

    std::vector<size_t> differ;
    size_t keys = 0, points = 0;
    for (size_t i = 0; i < units.size(); ++i) {
        keys += units[i].library_key;
        points += units[i].random_access;
        if (units[i].library_key != units[i].random_access)
            differ.push_back(i);
    }
    const std::string shown = file == "-" ? "(standard input)" : file;
    if (json)
        print_json(io.out, shown, codec, units, differ, keys, points);
    else
        print_text(io.out, shown, codec, units, differ, keys, points);
    return kExitOk;
}

}  // namespace ozmu_tool
