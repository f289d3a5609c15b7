#include "access_units.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <string>

#include "ozmu.h"

namespace ozmu_tool {
namespace {

// A reader over a NAL unit's payload that drops emulation-prevention bytes as it goes.
struct PayloadReader {
    ozmu_bsr bs;
    PayloadReader(const uint8_t *payload, size_t size)
    {
        const int n = static_cast<int>(std::min<size_t>(size, INT_MAX));
        // The reader only reads through its buffer pointers.
        ozmu_bsr_init(&bs, const_cast<uint8_t *>(payload), n, ozmu_bsr_refill_rbsp);
    }
    // -1 at the end of the data.
    long ue()
    {
        const uint32_t v = ozmu_bsr_read_ue(&bs);
        return v == 0xFFFFFFFEu ? -1 : static_cast<long>(v);
    }
    long bits(int n)
    {
        const uint32_t v = ozmu_bsr_read(&bs, n);
        return v == 0xFFFFFFFFu ? -1 : static_cast<long>(v);
    }
};

// B outranks P outranks I: a picture with any inter-predicted slice is not intra.
char merge_type(char held, char seen)
{
    auto rank = [](char t) { return t == 'B' ? 3 : t == 'P' ? 2 : t == 'I' ? 1 : 0; };
    return rank(seen) > rank(held) ? seen : held;
}

// Collects units: `start` opens a new one at a NAL unit's start code.
class Units {
public:
    explicit Units(size_t stream_size) : stream_size_(stream_size) {}
    void start(size_t offset)
    {
        if (!units_.empty())
            units_.back().size = offset - units_.back().offset;
        AccessUnit unit;
        unit.offset = units_.empty() ? 0 : offset;  // leading bytes go with the first unit
        units_.push_back(unit);
        has_picture_ = false;
    }
    AccessUnit &current() { return units_.back(); }
    bool empty() const { return units_.empty(); }
    bool has_picture() const { return has_picture_; }
    void mark_picture() { has_picture_ = true; }
    std::vector<AccessUnit> finish(int media_type, const uint8_t *data)
    {
        if (!units_.empty())
            units_.back().size = stream_size_ - units_.back().offset;
        for (AccessUnit &u : units_) {
            const int n = static_cast<int>(std::min<size_t>(u.size, INT_MAX));
            u.library_key = ozmu_is_vkeyfrm(media_type, data + u.offset, n) == 1;
        }
        return std::move(units_);
    }

private:
    size_t stream_size_;
    std::vector<AccessUnit> units_;
    bool has_picture_ = false;
};

// --- H.264 ---------------------------------------------------------------------------------

// An SEI NAL unit holding a recovery point (payload type 6): how open-GOP and intra-refresh
// encoders mark the pictures a decoder may start from.
bool h264_sei_has_recovery_point(const uint8_t *payload, size_t size)
{
    std::vector<uint8_t> rbsp(size);
    rbsp.resize(ozmu_nal_to_rbsp(payload, size, rbsp.data()));
    size_t at = 0;
    // Messages until the RBSP trailing bits (a lone 0x80 in the last byte).
    while (at < rbsp.size() && !(at + 1 == rbsp.size() && rbsp[at] == 0x80)) {
        size_t type = 0, length = 0;
        while (at < rbsp.size() && rbsp[at] == 0xFF)
            type += 255, ++at;
        if (at >= rbsp.size())
            return false;
        type += rbsp[at++];
        while (at < rbsp.size() && rbsp[at] == 0xFF)
            length += 255, ++at;
        if (at >= rbsp.size())
            return false;
        length += rbsp[at++];
        if (type == 6)
            return true;
        if (length > rbsp.size() - at)
            return false;
        at += length;
    }
    return false;
}

std::vector<AccessUnit> split_h264(const uint8_t *data, size_t size)
{
    Units units(size);
    size_t pos = 0;
    ozmu_nal_unit nal;
    while (ozmu_annexb_next_nal(data, size, &pos, &nal) == 1) {
        if (nal.size == 0) {
            if (units.empty())
                units.start(nal.offset);
            continue;
        }
        const int type = nal.data[0] & 0x1F;
        const bool slice_with_header = type == 1 || type == 2 || type == 5;
        const bool vcl = type >= 1 && type <= 5;
        long first_mb = -1, slice_type = -1;
        if (slice_with_header) {
            PayloadReader r(nal.data + 1, nal.size - 1);
            first_mb = r.ue();
            slice_type = r.ue();
        }
        // After a picture's last slice, a delimiter, SEI, parameter set, prefix or the first
        // slice of the next picture opens the next unit.
        const bool opens = type == 6 || type == 7 || type == 8 || type == 9 ||
                           (type >= 14 && type <= 18) || (slice_with_header && first_mb == 0);
        if (units.empty() || (opens && units.has_picture()))
            units.start(nal.offset);
        AccessUnit &unit = units.current();
        if (vcl)
            units.mark_picture();
        if (slice_type >= 0) {
            static constexpr char kTypes[5] = {'P', 'B', 'I', 'P', 'I'};  // P B I SP SI
            unit.picture_type = merge_type(unit.picture_type, kTypes[slice_type % 5]);
        }
        if (type == 5 || (type == 6 && h264_sei_has_recovery_point(nal.data + 1, nal.size - 1)))
            unit.random_access = true;
    }
    return units.finish(OZMU_MT_H264, data);
}

// --- HEVC ----------------------------------------------------------------------------------

std::vector<AccessUnit> split_hevc(const uint8_t *data, size_t size)
{
    Units units(size);
    // num_extra_slice_header_bits of each picture parameter set seen (0 until one is).
    std::array<int, 64> extra_bits{};
    size_t pos = 0;
    ozmu_nal_unit nal;
    while (ozmu_annexb_next_nal(data, size, &pos, &nal) == 1) {
        if (nal.size < 2) {
            if (units.empty())
                units.start(nal.offset);
            continue;
        }
        const int type = (nal.data[0] >> 1) & 0x3F;
        const int layer = ((nal.data[0] & 1) << 5) | (nal.data[1] >> 3);
        const bool vcl = type < 32;
        const bool irap = type >= 16 && type <= 23;
        bool first_segment = false;
        long slice_type = -1;
        if (vcl) {
            PayloadReader r(nal.data + 2, nal.size - 2);
            first_segment = r.bits(1) == 1;
            if (first_segment) {
                if (irap)
                    r.bits(1);  // no_output_of_prior_pics_flag
                const long pps = r.ue();
                if (pps >= 0 && pps < 64) {
                    for (int i = 0; i < extra_bits[size_t(pps)]; ++i)
                        r.bits(1);
                    slice_type = r.ue();
                }
            }
        } else if (type == 34) {
            PayloadReader r(nal.data + 2, nal.size - 2);
            const long pps = r.ue();
            r.ue();     // pps_seq_parameter_set_id
            r.bits(2);  // dependent_slice_segments_enabled_flag, output_flag_present_flag
            const long extra = r.bits(3);
            if (pps >= 0 && pps < 64 && extra >= 0)
                extra_bits[size_t(pps)] = static_cast<int>(extra);
        }
        // After a picture, a delimiter, parameter set, prefix SEI, a reserved prefix type or
        // the first slice segment of the next picture (base layer only) opens the next unit.
        const bool opens =
            layer == 0 && ((type >= 32 && type <= 35) || type == 39 || (type >= 41 && type <= 44) ||
                           (type >= 48 && type <= 55) || (vcl && first_segment));
        if (units.empty() || (opens && units.has_picture()))
            units.start(nal.offset);
        AccessUnit &unit = units.current();
        if (vcl)
            units.mark_picture();
        if (slice_type >= 0 && slice_type <= 2 && unit.picture_type == '?') {
            static constexpr char kTypes[3] = {'B', 'P', 'I'};
            unit.picture_type = kTypes[slice_type];
        }
        if (irap)
            unit.random_access = true;
    }
    return units.finish(OZMU_MT_HEVC, data);
}

// --- MPEG-4 Part 2 -------------------------------------------------------------------------

constexpr uint8_t kVop = 0xB6;

// Start codes that head a VOP: visual object sequence, visual object, video object, video
// object layer, group of VOPs and user data. Anything else after a VOP stays with it.
bool mpeg4_header(uint8_t code)
{
    return code <= 0x2F || code == 0xB0 || code == 0xB2 || code == 0xB3 || code == 0xB5;
}

std::vector<AccessUnit> split_mpeg4(const uint8_t *data, size_t size)
{
    Units units(size);
    size_t pos = 0;
    ozmu_nal_unit code;
    while (ozmu_annexb_next_nal(data, size, &pos, &code) == 1) {
        const bool vop = code.size >= 1 && code.data[0] == kVop;
        const bool header = code.size >= 1 && mpeg4_header(code.data[0]);
        if (units.empty() || ((vop || header) && units.has_picture()))
            units.start(code.offset);
        if (!vop)
            continue;
        units.mark_picture();
        AccessUnit &unit = units.current();
        if (code.size >= 2) {
            static constexpr char kTypes[4] = {'I', 'P', 'B', 'S'};
            unit.picture_type = kTypes[code.data[1] >> 6];
            unit.random_access = unit.picture_type == 'I';
        }
    }
    return units.finish(OZMU_MT_MPEG4, data);
}

}  // namespace

const char *codec_name(Codec codec)
{
    switch (codec) {
    case Codec::kH264: return "h264";
    case Codec::kHevc: return "hevc";
    case Codec::kMpeg4: return "mpeg4";
    }
    return "?";
}

bool codec_from_name(std::string_view name, Codec *codec)
{
    for (Codec c : {Codec::kH264, Codec::kHevc, Codec::kMpeg4})
        if (name == codec_name(c)) {
            *codec = c;
            return true;
        }
    return false;
}

bool codec_from_extension(std::string_view path, Codec *codec)
{
    const size_t dot = path.rfind('.');
    if (dot == std::string_view::npos || path.find('/', dot) != std::string_view::npos)
        return false;
    std::string ext(path.substr(dot + 1));
    for (char &c : ext)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const struct {
        const char *ext;
        Codec codec;
    } kKnown[] = {{"h264", Codec::kH264}, {"264", Codec::kH264},  {"avc", Codec::kH264},
                  {"hevc", Codec::kHevc}, {"h265", Codec::kHevc}, {"265", Codec::kHevc},
                  {"m4v", Codec::kMpeg4}, {"cmp", Codec::kMpeg4}};
    for (const auto &k : kKnown)
        if (ext == k.ext) {
            *codec = k.codec;
            return true;
        }
    return false;
}

bool sniff_codec(const uint8_t *data, size_t size, Codec *codec)
{
    // An elementary stream opens with a start code (zero bytes may come first). Each candidate
    // then survives while every header seen is valid for it, and needs a picture. H.264 and HEVC
    // headers have the forbidden bit clear, which the MPEG-4 VOP start code (B6) sets.
    bool h264 = true, hevc = true, mpeg4 = true;
    bool h264_slice = false, hevc_slice = false, vop = false;
    int seen = 0;
    size_t pos = 0;
    ozmu_nal_unit nal;
    while (seen < 64 && ozmu_annexb_next_nal(data, size, &pos, &nal) == 1) {
        if (seen == 0 && std::any_of(data, data + nal.offset, [](uint8_t b) { return b != 0; }))
            return false;
        ++seen;
        if (nal.size == 0)
            continue;
        const uint8_t b0 = nal.data[0];
        vop = vop || b0 == kVop;
        mpeg4 = mpeg4 && (mpeg4_header(b0) || b0 == kVop || b0 == 0xB1);
        // nal_ref_idc is non-zero on IDR slices and parameter sets, zero on SEI, delimiters and
        // end and filler units.
        const int h264_type = b0 & 0x1F;
        const bool referenced = (b0 & 0x60) != 0;
        h264 = h264 && !(b0 & 0x80) && h264_type != 0 && h264_type < 24 &&
               !(!referenced && (h264_type == 5 || h264_type == 7 || h264_type == 8)) &&
               !(referenced && h264_type >= 9 && h264_type <= 12);
        h264_slice = h264_slice || h264_type == 1 || h264_type == 5;
        const int hevc_type = b0 >> 1;
        hevc = hevc && nal.size >= 2 && !(b0 & 0x80) && !(b0 & 1) && (nal.data[1] >> 3) == 0 &&
               (nal.data[1] & 7) != 0 && (hevc_type <= 40 || (hevc_type >= 48 && hevc_type < 56));
        hevc_slice = hevc_slice || hevc_type < 32;
    }
    h264 = h264 && h264_slice;
    hevc = hevc && hevc_slice;
    if (mpeg4 && vop)
        *codec = Codec::kMpeg4;
    else if (h264 != hevc)
        *codec = h264 ? Codec::kH264 : Codec::kHevc;
    else
        return false;
    return true;
}

std::vector<AccessUnit> split_access_units(Codec codec, const uint8_t *data, size_t size)
{
    switch (codec) {
    case Codec::kH264: return split_h264(data, size);
    case Codec::kHevc: return split_hevc(data, size);
    case Codec::kMpeg4: return split_mpeg4(data, size);
    }
    return {};
}

}  // namespace ozmu_tool
