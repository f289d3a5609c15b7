// Splitting elementary streams into access units (pictures) for `ozmu keyframes`: Annex-B H.264
// and HEVC by the standards' access-unit rules, MPEG-4 Part 2 at its VOP start codes. Each unit
// carries both key-frame answers. Kept apart from the command so that it can be fuzzed.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace ozmu_tool {

enum class Codec { kH264, kHevc, kMpeg4 };

// "h264", "hevc", "mpeg4".
const char *codec_name(Codec codec);
bool codec_from_name(std::string_view name, Codec *codec);
// .h264/.264/.avc, .hevc/.h265/.265, .m4v/.cmp (any case).
bool codec_from_extension(std::string_view path, Codec *codec);
// Guesses from the NAL unit headers (or MPEG-4 start codes) of the first start codes; false when
// the data is none of the three or cannot be told apart.
bool sniff_codec(const uint8_t *data, size_t size, Codec *codec);

struct AccessUnit {
    size_t offset = 0;  // units tile the stream: the first starts at 0, each runs to the next
    size_t size = 0;
    char picture_type = '?';     // I, P, B (S for an MPEG-4 sprite VOP), '?' when unknown
    bool library_key = false;    // ozmu_is_vkeyfrm over the unit
    bool random_access = false;  // IDR / IRAP / recovery-point SEI / I-VOP anywhere in the unit
};

// Empty when the data holds no start code.
std::vector<AccessUnit> split_access_units(Codec codec, const uint8_t *data, size_t size);

}  // namespace ozmu_tool
