// Sequence parameter sets of real x264 / x265 output (tests/data/bitstream, made by
// make_streams.sh). Each SPS is parsed with the reader up to the VUI flag, its picture size,
// profile and level are checked against what ffprobe reported, and every syntax element is then
// written back with the writer, which must reproduce the RBSP byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "ozmu.h"

namespace {

const std::string kDataDir = OZMU_TEST_DATA_DIR "/bitstream/";

struct StreamRow {
    std::string file, codec, profile;
    int64_t level, coded_width, coded_height, width, height;
    std::string pix_fmt;
};

void PrintTo(const StreamRow &row, std::ostream *os) { *os << row.file; }

std::vector<StreamRow> load_table()
{
    std::vector<StreamRow> rows;
    std::ifstream in(kDataDir + "streams.tsv");
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::vector<std::string> f;
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, '\t');)
            f.push_back(cell);
        if (f.size() != 9) {  // kept, so that the test reports it
            rows.push_back({line, "malformed row", "", -1, -1, -1, -1, -1, ""});
            continue;
        }
        rows.push_back({f[0], f[1], f[2], std::stoll(f[3]), std::stoll(f[4]), std::stoll(f[5]),
                        std::stoll(f[6]), std::stoll(f[7]), f[8]});
    }
    return rows;
}

std::vector<uint8_t> load_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Annex-B NAL units of one type, header included, start codes and trailing zero bytes removed.
std::vector<std::vector<uint8_t>> nal_units(const std::vector<uint8_t> &s, bool hevc, int type)
{
    std::vector<size_t> starts;
    for (size_t i = 0; i + 3 <= s.size(); ++i)
        if (s[i] == 0 && s[i + 1] == 0 && s[i + 2] == 1) {
            starts.push_back(i + 3);
            i += 2;
        }
    std::vector<std::vector<uint8_t>> units;
    for (size_t k = 0; k < starts.size(); ++k) {
        const size_t begin = starts[k];
        size_t end = k + 1 < starts.size() ? starts[k + 1] - 3 : s.size();
        while (end > begin && s[end - 1] == 0)
            --end;
        if (end > begin && (hevc ? (s[begin] >> 1) & 63 : s[begin] & 31) == type)
            units.emplace_back(s.begin() + begin, s.begin() + end);
    }
    return units;
}

// The reader returns emulation-prevention bytes as they stand, so they go first.
std::vector<uint8_t> unescape(const uint8_t *p, const uint8_t *end)
{
    std::vector<uint8_t> out;
    int zeros = 0;
    for (; p < end; ++p) {
        if (zeros >= 2 && *p == 3) {
            zeros = 0;
            continue;
        }
        zeros = *p == 0 ? zeros + 1 : 0;
        out.push_back(*p);
    }
    return out;
}

enum class Coding { Bits, Ue, Se };

struct Element {
    uint32_t value;
    Coding coding;
    int bits;  // as consumed by the reader
};

// Reads syntax elements and keeps each with its coding, so the writer can replay them.
class SyntaxReader {
public:
    explicit SyntaxReader(std::vector<uint8_t> &rbsp)
    {
        ozmu_bsr_init(&bs_, rbsp.data(), static_cast<int>(rbsp.size()), nullptr);
    }
    uint32_t u(int n)
    {
        return take(Coding::Bits,
                    [&] { return n == 1 ? ozmu_bsr_read1(&bs_) : ozmu_bsr_read(&bs_, n); });
    }
    uint32_t ue() { return take(Coding::Ue, [&] { return ozmu_bsr_read_ue(&bs_); }); }
    int32_t se()
    {
        return static_cast<int32_t>(
            take(Coding::Se, [&] { return static_cast<uint32_t>(ozmu_bsr_read_se(&bs_)); }));
    }
    // Bits nothing depends on (reserved and constraint flags): looked at, then skipped.
    void reserved(int n)
    {
        for (; n > 0; n -= 24) {
            const int k = std::min(n, 24);
            take(Coding::Bits, [&] {
                const uint32_t v = ozmu_bsr_peek(&bs_, k);
                ozmu_bsr_skip(&bs_, k);
                return v;
            });
        }
    }
    int position() const { return static_cast<int>(bs_.cur - bs_.beg) * 8 - bs_.leftbits; }
    ozmu_bsr &raw() { return bs_; }
    const std::vector<Element> &elements() const { return elements_; }

private:
    template <class Read>
    uint32_t take(Coding coding, Read read)
    {
        const int start = position();
        const uint32_t v = read();
        elements_.push_back({v, coding, position() - start});
        return v;
    }

    ozmu_bsr bs_{};
    std::vector<Element> elements_;
};

struct Derived {
    std::string profile, pix_fmt;
    int64_t level = -1, coded_width = -1, coded_height = -1, width = -1, height = -1;
};

std::string pix_fmt_of(uint32_t chroma_format_idc, uint32_t bit_depth)
{
    static const char *const layouts[] = {"gray", "yuv420p", "yuv422p", "yuv444p"};
    std::string s = layouts[chroma_format_idc];
    return bit_depth > 8 ? s + std::to_string(bit_depth) + "le" : s;
}

void crop(Derived &d, uint32_t chroma_array_type, int64_t field_factor, const uint32_t win[4])
{
    const int64_t unit_x = chroma_array_type == 1 || chroma_array_type == 2 ? 2 : 1;
    const int64_t unit_y = (chroma_array_type == 1 ? 2 : 1) * field_factor;
    d.width = d.coded_width - unit_x * (int64_t(win[0]) + win[1]);
    d.height = d.coded_height - unit_y * (int64_t(win[2]) + win[3]);
}

std::string avc_profile_name(uint32_t idc, uint32_t constraint_flags)
{
    const bool set1 = constraint_flags & 0x10, set3 = constraint_flags & 0x04;
    switch (idc) {
    case 66: return set1 ? "Constrained Baseline" : "Baseline";
    case 77: return "Main";
    case 88: return "Extended";
    case 100: return "High";
    case 110: return set3 ? "High 10 Intra" : "High 10";
    case 122: return set3 ? "High 4:2:2 Intra" : "High 4:2:2";
    case 244: return set3 ? "High 4:4:4 Intra" : "High 4:4:4 Predictive";
    case 44: return "CAVLC 4:4:4";
    }
    return "profile_idc " + std::to_string(idc);
}

void avc_scaling_list(SyntaxReader &r, int size)
{
    int64_t last = 8, next = 8;
    for (int j = 0; j < size; ++j) {
        if (next != 0)
            next = (last + r.se() + 256) % 256;  // delta_scale
        last = next == 0 ? last : next;
    }
}

void parse_avc_sps(SyntaxReader &r, Derived &d)
{
    const uint32_t profile_idc = r.u(8);
    uint32_t constraint_flags = 0;
    for (int i = 0; i < 6; ++i)
        constraint_flags = constraint_flags << 1 | r.u(1);
    r.reserved(2);
    d.level = r.u(8);
    ASSERT_LE(r.ue(), 31u);  // seq_parameter_set_id
    uint32_t chroma_format_idc = 1, separate_planes = 0, bit_depth = 8;
    static constexpr uint32_t kHighProfiles[] = {100, 110, 122, 244, 44,  83, 86,
                                                 118, 128, 138, 139, 134, 135};
    if (std::find(std::begin(kHighProfiles), std::end(kHighProfiles), profile_idc) !=
        std::end(kHighProfiles)) {
        chroma_format_idc = r.ue();
        ASSERT_LE(chroma_format_idc, 3u);
        if (chroma_format_idc == 3)
            separate_planes = r.u(1);
        bit_depth = 8 + r.ue();
        r.ue();    // bit_depth_chroma_minus8
        r.u(1);    // qpprime_y_zero_transform_bypass_flag
        if (r.u(1)) {  // seq_scaling_matrix_present_flag
            for (int i = 0; i < (chroma_format_idc != 3 ? 8 : 12); ++i)
                if (r.u(1))  // seq_scaling_list_present_flag[i]
                    avc_scaling_list(r, i < 6 ? 16 : 64);
        }
    }
    r.ue();  // log2_max_frame_num_minus4
    const uint32_t poc_type = r.ue();
    if (poc_type == 0) {
        r.ue();  // log2_max_pic_order_cnt_lsb_minus4
    } else if (poc_type == 1) {
        r.u(1);  // delta_pic_order_always_zero_flag
        r.se();  // offset_for_non_ref_pic
        r.se();  // offset_for_top_to_bottom_field
        const uint32_t cycle = r.ue();
        ASSERT_LE(cycle, 255u);
        for (uint32_t i = 0; i < cycle; ++i)
            r.se();  // offset_for_ref_frame[i]
    }
    r.ue();  // max_num_ref_frames
    r.u(1);  // gaps_in_frame_num_value_allowed_flag
    const int64_t width_in_mbs = int64_t(r.ue()) + 1;
    const int64_t height_in_map_units = int64_t(r.ue()) + 1;
    const uint32_t frame_mbs_only = r.u(1);
    if (!frame_mbs_only)
        r.u(1);  // mb_adaptive_frame_field_flag
    r.u(1);      // direct_8x8_inference_flag
    uint32_t win[4] = {};
    if (r.u(1))  // frame_cropping_flag: left, right, top, bottom
        for (uint32_t &w : win)
            w = r.ue();
    r.u(1);  // vui_parameters_present_flag

    d.profile = avc_profile_name(profile_idc, constraint_flags);
    d.coded_width = width_in_mbs * 16;
    d.coded_height = height_in_map_units * 16 * (2 - frame_mbs_only);
    crop(d, separate_planes ? 0 : chroma_format_idc, 2 - frame_mbs_only, win);
    // The H.264 decoder delivers monochrome pictures as 4:2:0.
    d.pix_fmt = pix_fmt_of(chroma_format_idc == 0 ? 1 : chroma_format_idc, bit_depth);
}

void hevc_profile_tier_level(SyntaxReader &r, uint32_t max_sub_layers_minus1,
                             uint32_t &profile_idc, int64_t &level)
{
    r.u(2);  // general_profile_space
    r.u(1);  // general_tier_flag
    profile_idc = r.u(5);
    r.u(32);  // general_profile_compatibility_flag[32]
    for (int i = 0; i < 4; ++i)
        r.u(1);  // progressive, interlaced, non-packed, frame-only constraint
    r.reserved(43);
    r.reserved(1);
    level = r.u(8);
    bool profile_present[8] = {}, level_present[8] = {};
    for (uint32_t i = 0; i < max_sub_layers_minus1; ++i) {
        profile_present[i] = r.u(1);
        level_present[i] = r.u(1);
    }
    if (max_sub_layers_minus1 > 0)
        for (uint32_t i = max_sub_layers_minus1; i < 8; ++i)
            r.reserved(2);
    for (uint32_t i = 0; i < max_sub_layers_minus1; ++i) {
        if (profile_present[i]) {
            r.u(8);   // space, tier, profile
            r.u(32);  // compatibility flags
            r.reserved(48);
        }
        if (level_present[i])
            r.u(8);
    }
}

void hevc_scaling_list_data(SyntaxReader &r)
{
    for (int size_id = 0; size_id < 4; ++size_id)
        for (int matrix_id = 0; matrix_id < 6; matrix_id += size_id == 3 ? 3 : 1) {
            if (!r.u(1)) {  // scaling_list_pred_mode_flag
                r.ue();     // scaling_list_pred_matrix_id_delta
                continue;
            }
            if (size_id > 1)
                r.se();  // scaling_list_dc_coef_minus8
            for (int i = 0; i < std::min(64, 1 << (4 + 2 * size_id)); ++i)
                r.se();  // scaling_list_delta_coef
        }
}

// In the SPS an inter-predicted set always refers to the set before it.
void hevc_st_ref_pic_set(SyntaxReader &r, uint32_t idx, std::vector<uint32_t> &num_delta_pocs)
{
    uint32_t count = 0;
    if (idx != 0 && r.u(1)) {  // inter_ref_pic_set_prediction_flag
        r.u(1);                // delta_rps_sign
        r.ue();                // abs_delta_rps_minus1
        for (uint32_t j = 0; j <= num_delta_pocs[idx - 1]; ++j)
            if (r.u(1) || r.u(1))  // used_by_curr_pic_flag, else use_delta_flag
                ++count;
    } else {
        const uint32_t negative = r.ue(), positive = r.ue();
        ASSERT_LE(uint64_t(negative) + positive, 32u);
        for (uint32_t j = 0; j < negative + positive; ++j) {
            r.ue();  // delta_poc_s0/s1_minus1
            r.u(1);  // used_by_curr_pic_s0/s1_flag
        }
        count = negative + positive;
    }
    num_delta_pocs.push_back(count);
}

void parse_hevc_sps(SyntaxReader &r, Derived &d)
{
    r.u(4);  // sps_video_parameter_set_id
    const uint32_t max_sub_layers_minus1 = r.u(3);
    r.u(1);  // sps_temporal_id_nesting_flag
    uint32_t profile_idc = 0;
    hevc_profile_tier_level(r, max_sub_layers_minus1, profile_idc, d.level);
    ASSERT_LE(r.ue(), 15u);  // sps_seq_parameter_set_id
    const uint32_t chroma_format_idc = r.ue();
    ASSERT_LE(chroma_format_idc, 3u);
    const uint32_t separate_planes = chroma_format_idc == 3 ? r.u(1) : 0;
    d.coded_width = r.ue();
    d.coded_height = r.ue();
    uint32_t win[4] = {};
    if (r.u(1))  // conformance_window_flag: left, right, top, bottom
        for (uint32_t &w : win)
            w = r.ue();
    const uint32_t bit_depth = 8 + r.ue();
    r.ue();  // bit_depth_chroma_minus8
    const uint32_t log2_max_poc_lsb = r.ue() + 4;
    ASSERT_LE(log2_max_poc_lsb, 16u);
    const bool ordering_for_all = r.u(1);
    for (uint32_t i = ordering_for_all ? 0 : max_sub_layers_minus1; i <= max_sub_layers_minus1;
         ++i)
        for (int k = 0; k < 3; ++k)
            r.ue();  // max_dec_pic_buffering_minus1, max_num_reorder_pics, max_latency_increase_plus1
    for (int i = 0; i < 6; ++i)
        r.ue();  // four log2 coding / transform block sizes, two transform hierarchy depths
    if (r.u(1) && r.u(1))  // scaling_list_enabled_flag, sps_scaling_list_data_present_flag
        hevc_scaling_list_data(r);
    r.u(1);      // amp_enabled_flag
    r.u(1);      // sample_adaptive_offset_enabled_flag
    if (r.u(1)) {  // pcm_enabled_flag
        r.u(4);    // pcm_sample_bit_depth_luma_minus1
        r.u(4);    // pcm_sample_bit_depth_chroma_minus1
        r.ue();    // log2_min_pcm_luma_coding_block_size_minus3
        r.ue();    // log2_diff_max_min_pcm_luma_coding_block_size
        r.u(1);    // pcm_loop_filter_disabled_flag
    }
    const uint32_t num_rps = r.ue();
    ASSERT_LE(num_rps, 64u);
    std::vector<uint32_t> num_delta_pocs;
    for (uint32_t i = 0; i < num_rps; ++i)
        ASSERT_NO_FATAL_FAILURE(hevc_st_ref_pic_set(r, i, num_delta_pocs));
    if (r.u(1)) {  // long_term_ref_pics_present_flag
        const uint32_t num_lt = r.ue();
        ASSERT_LE(num_lt, 32u);
        for (uint32_t i = 0; i < num_lt; ++i) {
            r.u(static_cast<int>(log2_max_poc_lsb));  // lt_ref_pic_poc_lsb_sps
            r.u(1);                                   // used_by_curr_pic_lt_sps_flag
        }
    }
    r.u(1);  // sps_temporal_mvp_enabled_flag
    r.u(1);  // strong_intra_smoothing_enabled_flag
    r.u(1);  // vui_parameters_present_flag

    static const char *const kProfiles[] = {"", "Main", "Main 10", "Main Still Picture", "Rext"};
    d.profile =
        profile_idc < 5 ? kProfiles[profile_idc] : "profile_idc " + std::to_string(profile_idc);
    const uint32_t chroma_array_type = separate_planes ? 0 : chroma_format_idc;
    crop(d, chroma_array_type, 1, win);
    d.pix_fmt = pix_fmt_of(chroma_array_type, bit_depth);
}

// Replays the elements with the writer into a buffer with guard bytes past the expected end.
std::vector<uint8_t> rewrite(const std::vector<Element> &elements, size_t expected_size)
{
    constexpr size_t kSpare = 8;  // the writer never drains into the last byte of its buffer
    constexpr uint8_t kGuard = 0xA5;
    std::vector<uint8_t> buf(expected_size + kSpare, kGuard);
    ozmu_bsw bw;
    ozmu_bsw_init(&bw, buf.data(), static_cast<int>(buf.size()), nullptr);
    for (const Element &e : elements) {
        switch (e.coding) {
        case Coding::Ue: ozmu_bsw_write_ue(&bw, e.value); break;
        case Coding::Se: ozmu_bsw_write_se(&bw, static_cast<int32_t>(e.value)); break;
        case Coding::Bits:
            if (e.bits == 1) {
                EXPECT_EQ(ozmu_bsw_write1(&bw, static_cast<int>(e.value)), 0);
            } else {
                // 32 bits at once would stay behind in an empty cache; split wide fields.
                int len = e.bits;
                if (len > 24) {
                    EXPECT_EQ(ozmu_bsw_write(&bw, e.value >> 16, len - 16), 0);
                    len = 16;
                }
                EXPECT_EQ(ozmu_bsw_write(&bw, e.value, len), 0);
            }
            break;
        }
    }
    EXPECT_EQ(ozmu_bsw_sink(&bw), 0);
    const size_t produced = static_cast<size_t>(bw.cur - bw.beg);
    EXPECT_TRUE(std::all_of(buf.begin() + std::min(produced, buf.size()), buf.end(),
                            [](uint8_t b) { return b == kGuard; }));
    buf.resize(std::min(produced, buf.size()));
    return buf;
}

class SpsStream : public ::testing::TestWithParam<StreamRow> {};

TEST_P(SpsStream, ParsesLikeFfprobeAndRewritesIdentically)
{
    const StreamRow &row = GetParam();
    const bool hevc = row.codec == "hevc";
    ASSERT_TRUE(hevc || row.codec == "h264") << row.codec;
    const std::vector<uint8_t> stream = load_file(kDataDir + row.file);
    ASSERT_FALSE(stream.empty()) << row.file;
    const auto sps_units = nal_units(stream, hevc, hevc ? 33 : 7);
    ASSERT_FALSE(sps_units.empty());

    // ffprobe names full-range 4:2:0 "yuvj420p"; the range lives in the VUI, not parsed here.
    std::string expected_pix_fmt = row.pix_fmt;
    if (expected_pix_fmt.rfind("yuvj", 0) == 0)
        expected_pix_fmt.erase(3, 1);

    for (const auto &nal : sps_units) {
        std::vector<uint8_t> rbsp = unescape(nal.data() + (hevc ? 2 : 1), nal.data() + nal.size());
        SyntaxReader r(rbsp);
        Derived d;
        if (hevc) {
            ASSERT_NO_FATAL_FAILURE(parse_hevc_sps(r, d));
        } else {
            ASSERT_NO_FATAL_FAILURE(parse_avc_sps(r, d));
        }
        EXPECT_EQ(d.profile, row.profile);
        EXPECT_EQ(d.level, row.level);
        EXPECT_EQ(d.coded_width, row.coded_width);
        EXPECT_EQ(d.coded_height, row.coded_height);
        EXPECT_EQ(d.width, row.width);
        EXPECT_EQ(d.height, row.height);
        EXPECT_EQ(d.pix_fmt, expected_pix_fmt);

        // The VUI and the trailing bits are carried over as plain bits.
        const int total_bits = static_cast<int>(rbsp.size()) * 8;
        ASSERT_LE(r.position(), total_bits);
        for (int left = total_bits - r.position(); left > 0; left -= 24)
            r.u(std::min(left, 24));
        EXPECT_EQ(r.position(), total_bits);
        EXPECT_EQ(ozmu_bsr_read1(&r.raw()), 0xFFFFFFFFu);
        EXPECT_EQ(ozmu_bsr_read_ue(&r.raw()), 0xFFFFFFFEu);

        // The writer's length functions must agree with what the reader consumed.
        for (const Element &e : r.elements()) {
            const int bits = e.coding == Coding::Ue   ? ozmu_bsw_size_ue(e.value)
                             : e.coding == Coding::Se ? ozmu_bsw_size_se(static_cast<int32_t>(e.value))
                                                      : e.bits;
            EXPECT_EQ(e.bits, bits) << "value " << e.value;
        }
        EXPECT_EQ(rewrite(r.elements(), rbsp.size()), rbsp);
    }
}

std::string test_name(const ::testing::TestParamInfo<StreamRow> &info)
{
    std::string name = info.param.file;
    for (char &c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Encoded, SpsStream, ::testing::ValuesIn(load_table()), test_name);

}  // namespace
