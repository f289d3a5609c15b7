// ozmu headers FILE: the parameter sets of an H.264 or HEVC Annex-B stream, one block per NAL
// unit, every syntax element under its name in the standard.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "ozmu.h"
#include "rbsp_fields.h"
#include "tool.h"

namespace ozmu_tool {
namespace {

enum class Codec { h264, hevc };

// Real parameter sets are well under a kilobyte; this only keeps sizes within the reader's int.
constexpr size_t kLargestParameterSet = size_t{1} << 20;

bool plausible_h264(const ozmu_nal_unit &nal)
{
    // Types by what nal_ref_idc must be: IDR slices and parameter sets are referenced; SEI,
    // delimiters, end markers and filler are not; other slices and extensions may be either.
    constexpr uint32_t kAny =
        1u << 1 | 1u << 2 | 1u << 3 | 1u << 4 | 1u << 14 | 1u << 15 | 1u << 20;
    constexpr uint32_t kReferenced = 1u << 5 | 1u << 7 | 1u << 8;
    constexpr uint32_t kUnreferenced = 1u << 6 | 1u << 9 | 1u << 10 | 1u << 11 | 1u << 12;
    const uint8_t header = nal.data[0];
    if (header & 0x80)
        return false;
    const uint32_t type = 1u << (header & 0x1F);
    return (type & kAny) || (type & (header & 0x60 ? kReferenced : kUnreferenced));
}

bool plausible_hevc(const ozmu_nal_unit &nal)
{
    if (nal.size < 2 || (nal.data[0] & 0x80) || (nal.data[1] & 7) == 0)
        return false;
    const int type = nal.data[0] >> 1 & 0x3F;
    const int layer = (nal.data[0] & 1) << 5 | nal.data[1] >> 3;
    return layer == 0 && (type <= 9 || (type >= 16 && type <= 21) || (type >= 32 && type <= 40));
}

bool ends_with(const std::string &text, const char *suffix)
{
    const std::string s = suffix;
    return text.size() >= s.size() && text.compare(text.size() - s.size(), s.size(), s) == 0;
}

// The NAL unit headers of the two standards overlap, so the stream is read both ways and the
// one that makes sense of more units wins; the file name breaks a tie.
Codec guess_codec(const std::vector<ozmu_nal_unit> &nals, const std::string &path)
{
    long h264 = 0, hevc = 0;
    for (const ozmu_nal_unit &nal : nals) {
        h264 += plausible_h264(nal);
        hevc += plausible_hevc(nal);
    }
    if (h264 != hevc)
        return hevc > h264 ? Codec::hevc : Codec::h264;
    for (const char *suffix : {".hevc", ".h265", ".265", ".HEVC", ".H265"})
        if (ends_with(path, suffix))
            return Codec::hevc;
    return Codec::h264;
}

// The parameter set a NAL unit carries, or null.
const char *parameter_set_name(Codec codec, const ozmu_nal_unit &nal)
{
    if (codec == Codec::h264) {
        switch (nal.data[0] & 0x1F) {
        case 7: return "H.264 sequence parameter set";
        case 8: return "H.264 picture parameter set";
        default: return nullptr;
        }
    }
    if (nal.size < 2)
        return nullptr;
    switch (nal.data[0] >> 1 & 0x3F) {
    case 32: return "HEVC video parameter set";
    case 33: return "HEVC sequence parameter set";
    case 34: return "HEVC picture parameter set";
    default: return nullptr;
    }
}

// Bits of the RBSP before rbsp_stop_one_bit (0 when there is no stop bit).
uint64_t payload_bits(const ozmu_nal_unit &nal, std::vector<uint8_t> *scratch)
{
    scratch->resize(nal.size);
    size_t size = ozmu_nal_to_rbsp(nal.data, nal.size, scratch->data());
    while (size > 0 && (*scratch)[size - 1] == 0)
        --size;
    if (size == 0)
        return 0;
    const int below_stop_bit = std::countr_zero((*scratch)[size - 1]);
    return 8 * uint64_t{size} - static_cast<uint64_t>(below_stop_bit) - 1;
}

}  // namespace

int headers(int argc, char **argv, const Io &io)
{
    Args args(argc, argv);
    if (const std::string option = args.unknown_option(); !option.empty())
        return usage_error(io, "headers", "unknown option " + option);
    if (args.positional().size() != 1)
        return usage_error(io, "headers", "expects one FILE");
    const std::string &path = args.positional()[0];

    std::vector<uint8_t> stream;
    std::string error;
    if (!read_file(io, path, &stream, &error))
        return fail(io, path, error);

    std::vector<ozmu_nal_unit> nals;
    size_t pos = 0;
    ozmu_nal_unit nal;
    while (ozmu_annexb_next_nal(stream.data(), stream.size(), &pos, &nal) > 0)
        if (nal.size > 0)
            nals.push_back(nal);
    if (nals.empty())
        return fail(io, path, "not an Annex-B stream (no start code)");
    const Codec codec = guess_codec(nals, path);

    std::string out;
    std::vector<uint8_t> scratch;
    std::map<unsigned, SequenceInfo> sequences;
    long listed = 0;
    size_t first_damaged = SIZE_MAX;
    for (const ozmu_nal_unit &unit : nals) {
        const char *name = parameter_set_name(codec, unit);
        if (!name)
            continue;
        if (listed++ > 0)
            out += "\n";
        out += std::string(name) + " at offset " + std::to_string(unit.offset) + " (" +
               std::to_string(unit.size) + " bytes)\n";
        if (unit.size > kLargestParameterSet) {
            out += "  # too large to be a parameter set, not read\n";
            first_damaged = std::min(first_damaged, unit.offset);
            continue;
        }
        if (codec == Codec::hevc && ((unit.data[0] & 1) | unit.data[1] >> 3) != 0) {
            out += "  # a parameter set of a layer above the base layer, not read\n";
            continue;
        }
        // The reader refills from the stream in place, dropping emulation-prevention bytes.
        uint8_t *data = stream.data() + (unit.data - stream.data());
        RbspFields fields(data, unit.size, payload_bits(unit, &scratch), &out);
        const int type = codec == Codec::h264 ? data[0] & 0x1F : data[0] >> 1 & 0x3F;
        switch (type) {
        case 7: parse_h264_sps(fields, &sequences); break;
        case 8: parse_h264_pps(fields, sequences); break;
        case 32: parse_hevc_vps(fields); break;
        case 33: parse_hevc_sps(fields, &sequences); break;
        case 34: parse_hevc_pps(fields); break;
        default: break;
        }
        if (fields.faulty())
            first_damaged = std::min(first_damaged, unit.offset);
    }
    if (listed == 0)
        return fail(io, path,
                    codec == Codec::h264 ? "no H.264 parameter sets (SPS, PPS) in the stream"
                                         : "no HEVC parameter sets (VPS, SPS, PPS) in the stream");
    std::fwrite(out.data(), 1, out.size(), io.out);
    std::fflush(io.out);
    if (first_damaged != SIZE_MAX)
        return fail(io, path,
                    "damaged parameter set at offset " + std::to_string(first_damaged) +
                        " (listed up to the fault)");
    return kExitOk;
}

}  // namespace ozmu_tool
