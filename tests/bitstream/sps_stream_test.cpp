// Sequence parameter sets of real x264 / x265 output (tests/data/bitstream, made by
// make_streams.sh). Each SPS is parsed with the reader up to the VUI flag, its picture size,
// profile and level are checked against what ffprobe reported, and every syntax element is then
// written back with the writer, which must reproduce the RBSP byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "ozmu.h"

namespace {

const std::string kDataDir = OZMU_TEST_DATA_DIR "/bitstream/";

struct StreamRow {
    std::string file, codec, profile;
    int64_t level = -1, coded_width = -1, coded_height = -1, width = -1, height = -1;
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
        std::replace(line.begin(), line.end(), '\t', '\n');  // profile names hold spaces
        std::istringstream cells(line);
        StreamRow &r = rows.emplace_back();
        std::getline(std::getline(std::getline(cells, r.file), r.codec), r.profile);
        cells >> r.level >> r.coded_width >> r.coded_height >> r.width >> r.height >> r.pix_fmt;
        if (!cells)
            r.codec = "malformed row";  // kept, so that the test reports it
    }
    return rows;
}

// The RBSPs of the Annex-B NAL units of one type: start code, header, trailing zero bytes and
// emulation-prevention bytes (which the reader returns as they stand) removed.
std::vector<std::vector<uint8_t>> rbsps(const std::vector<uint8_t> &s, bool hevc, int type)
{
    std::vector<size_t> starts;  // first byte after each start code
    for (size_t i = 2; i < s.size(); ++i)
        if (s[i - 2] == 0 && s[i - 1] == 0 && s[i] == 1)
            starts.push_back(++i);
    std::vector<std::vector<uint8_t>> units;
    for (size_t k = 0; k < starts.size(); ++k) {
        size_t at = starts[k], end = k + 1 < starts.size() ? starts[k + 1] - 3 : s.size();
        while (end > at && s[end - 1] == 0)
            --end;
        if (end <= at || (hevc ? (s[at] >> 1) & 63 : s[at] & 31) != type)
            continue;
        std::vector<uint8_t> &rbsp = units.emplace_back();
        at += hevc ? 2 : 1;
        for (int zeros = 0; at < end; zeros = s[at] == 0 ? zeros + 1 : 0, ++at)
            if (zeros < 2 || s[at] != 3)
                rbsp.push_back(s[at]);
    }
    return units;
}

enum Coding { U, R, UE, SE };  // fixed-length, reserved (peeked, then skipped), Exp-Golomb

struct Element {
    Coding coding;
    int bits;  // as consumed by the reader
    uint32_t value;
};

// Reads syntax elements and records each, so that the writer can replay them.
struct SyntaxReader {
    explicit SyntaxReader(std::vector<uint8_t> &rbsp)
    {
        ozmu_bsr_init(&bs, rbsp.data(), static_cast<int>(rbsp.size()), nullptr);
    }
    int position() const { return static_cast<int>(bs.cur - bs.beg) * 8 - bs.leftbits; }
    uint32_t u(int n) { return take(U, n); }
    uint32_t ue() { return take(UE, 0); }
    int32_t se() { return static_cast<int32_t>(take(SE, 0)); }
    // Elements nothing here depends on, by coding: "u<n>", "r<n>", "ue", "se".
    void skip(const std::string &syntax)
    {
        std::istringstream in(syntax);
        for (std::string e; in >> e;)
            take(e == "ue" ? UE : e == "se" ? SE : e[0] == 'r' ? R : U, std::atoi(e.c_str() + 1));
    }
    uint32_t take(Coding coding, int n)
    {
        const int at = position();
        uint32_t v = 0;
        switch (coding) {
        case U: v = n == 1 ? ozmu_bsr_read1(&bs) : ozmu_bsr_read(&bs, n); break;
        case R: v = ozmu_bsr_peek(&bs, n), ozmu_bsr_skip(&bs, n); break;
        case UE: v = ozmu_bsr_read_ue(&bs); break;
        case SE: v = static_cast<uint32_t>(ozmu_bsr_read_se(&bs)); break;
        }
        elements.push_back({coding, position() - at, v});
        return v;
    }

    ozmu_bsr bs;
    std::vector<Element> elements;
};

// Cropped size from the chroma array type; pixel format from the sample layout delivered.
void finish(StreamRow &d, uint32_t chroma_array_type, uint32_t layout, uint32_t bit_depth,
            int64_t field_factor, const uint32_t win[4])
{
    static const char *const kLayouts[] = {"gray", "yuv420p", "yuv422p", "yuv444p"};
    d.pix_fmt = kLayouts[layout] + (bit_depth > 8 ? std::to_string(bit_depth) + "le" : "");
    const int64_t unit_x = chroma_array_type == 1 || chroma_array_type == 2 ? 2 : 1;
    const int64_t unit_y = (chroma_array_type == 1 ? 2 : 1) * field_factor;
    d.width = d.coded_width - unit_x * (int64_t{win[0]} + win[1]);
    d.height = d.coded_height - unit_y * (int64_t{win[2]} + win[3]);
}

// The profiles of the sample streams, plain and with the constraint flag that marks a variant:
// constraint_set1 for Constrained Baseline, constraint_set3 for the intra profiles.
const std::map<uint32_t, std::pair<const char *, const char *>> kAvcProfiles = {
    {66, {"Baseline", "Constrained Baseline"}},
    {77, {"Main", "Main"}},
    {100, {"High", "High"}},
    {110, {"High 10", "High 10 Intra"}},
    {122, {"High 4:2:2", "High 4:2:2 Intra"}},
    {244, {"High 4:4:4 Predictive", "High 4:4:4 Intra"}}};

void parse_avc_sps(SyntaxReader &r, StreamRow &d)
{
    const uint32_t profile_idc = r.u(8), constraint_flags = r.u(6);
    r.skip("r2");
    d.level = r.u(8);
    r.ue();
    uint32_t chroma_format_idc = 1, separate_planes = 0, bit_depth = 8;
    static const uint32_t kHigh[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    if (std::count(std::begin(kHigh), std::end(kHigh), profile_idc)) {
        chroma_format_idc = r.ue();
        ASSERT_LE(chroma_format_idc, 3u);
        separate_planes = chroma_format_idc == 3 ? r.u(1) : 0;
        bit_depth = 8 + r.ue();
        r.skip("ue u1");
        const int lists = r.u(1) ? chroma_format_idc != 3 ? 8 : 12 : 0;  // scaling matrices
        for (int i = 0; i < lists; ++i) {
            const int size = r.u(1) ? i < 6 ? 16 : 64 : 0;
            for (int j = 0, last = 8; j < size && last != 0; ++j)
                last = (last + r.se() + 256) % 256;  // a 0 ends the list
        }
    }
    r.ue();
    const uint32_t poc_type = r.ue();
    if (poc_type == 0)
        r.ue();
    if (poc_type == 1) {
        r.skip("u1 se se");
        const uint32_t cycle = r.ue();
        ASSERT_LE(cycle, 255u);
        for (uint32_t i = 0; i < cycle; ++i)
            r.se();
    }
    r.skip("ue u1");
    d.coded_width = (r.ue() + int64_t{1}) * 16;
    d.coded_height = (r.ue() + int64_t{1}) * 16;
    const uint32_t frame_mbs_only = r.u(1);
    d.coded_height *= 2 - frame_mbs_only;
    r.skip(frame_mbs_only ? "u1" : "u1 u1");
    uint32_t win[4] = {};
    if (r.u(1))  // frame cropping: left, right, top, bottom
        for (uint32_t &w : win)
            w = r.ue();
    r.u(1);  // VUI present
    const auto profile = kAvcProfiles.find(profile_idc);
    if (profile != kAvcProfiles.end())
        d.profile = constraint_flags & (profile_idc == 66 ? 0x10 : 0x04) ? profile->second.second
                                                                         : profile->second.first;
    // The decoder delivers monochrome pictures as 4:2:0.
    finish(d, separate_planes ? 0 : chroma_format_idc, std::max(chroma_format_idc, 1u), bit_depth,
           2 - frame_mbs_only, win);
}

void parse_hevc_sps(SyntaxReader &r, StreamRow &d)
{
    r.skip("u4");
    const uint32_t sub_layers = r.u(3);
    r.skip("u1 u3");
    const uint32_t profile_idc = r.u(5);
    r.skip("u16 u16 r24 r24");
    d.level = r.u(8);
    std::vector<uint32_t> present(sub_layers);  // profile and level of each sub-layer
    for (uint32_t &p : present)
        p = r.u(2);
    if (sub_layers > 0)
        r.skip("r" + std::to_string(2 * (8 - sub_layers)));
    for (uint32_t p : present)
        r.skip(std::string(p & 2 ? "u8 u16 u16 r24 r24 " : "") + (p & 1 ? "u8" : ""));
    r.ue();
    const uint32_t chroma_format_idc = r.ue();
    ASSERT_LE(chroma_format_idc, 3u);
    const uint32_t chroma_array_type = chroma_format_idc == 3 && r.u(1) ? 0 : chroma_format_idc;
    d.coded_width = r.ue();
    d.coded_height = r.ue();
    uint32_t win[4] = {};
    if (r.u(1))  // conformance window: left, right, top, bottom
        for (uint32_t &w : win)
            w = r.ue();
    const uint32_t bit_depth = 8 + r.ue();
    r.ue();
    const uint32_t log2_max_poc_lsb = r.ue() + 4;
    ASSERT_LE(log2_max_poc_lsb, 16u);
    for (uint32_t i = r.u(1) ? 0 : sub_layers; i <= sub_layers; ++i)
        r.skip("ue ue ue");       // picture buffering of all sub-layers or only the top one
    r.skip("ue ue ue ue ue ue");  // coding and transform block sizes
    if (r.u(1) && r.u(1))         // scaling lists enabled and sent
        for (int size_id = 0; size_id < 4; ++size_id)
            for (int matrix = 0; matrix < 6; matrix += size_id == 3 ? 3 : 1) {
                if (!r.u(1)) {  // predicted from another matrix
                    r.ue();
                    continue;
                }
                for (int i = std::min(64, 1 << (4 + 2 * size_id)) + (size_id > 1); i > 0; --i)
                    r.se();  // the DC coefficient from 16x16 up, then the deltas
            }
    r.skip("u1 u1");
    if (r.u(1))  // PCM
        r.skip("u4 u4 ue ue u1");
    const uint32_t num_sets = r.ue();  // short-term reference picture sets
    ASSERT_LE(num_sets, 64u);
    // An inter-predicted set in the SPS always refers to the set before it.
    for (uint32_t i = 0, previous = 0, count = 0; i < num_sets; ++i, previous = count) {
        if (i != 0 && r.u(1)) {
            r.skip("u1 ue");
            for (uint32_t j = count = 0; j <= previous; ++j)
                count += r.u(1) || r.u(1);  // used by the current picture, else kept as delta
            continue;
        }
        count = r.ue() + r.ue();  // negative and positive pictures
        ASSERT_LE(count, 32u);
        for (uint32_t j = 0; j < count; ++j)
            r.skip("ue u1");
    }
    if (r.u(1)) {  // long-term reference pictures
        const uint32_t num_lt = r.ue();
        ASSERT_LE(num_lt, 32u);
        for (uint32_t i = 0; i < num_lt; ++i)
            r.skip("u" + std::to_string(log2_max_poc_lsb) + " u1");
    }
    r.skip("u1 u1 u1");  // temporal MVP, strong intra smoothing, VUI present
    static const char *const kProfiles[] = {"", "Main", "Main 10", "Main Still Picture", "Rext"};
    d.profile = profile_idc < 5 ? kProfiles[profile_idc] : "";
    finish(d, chroma_array_type, chroma_array_type, bit_depth, 1, win);
}

// Replays the elements with the writer into a buffer with guard bytes past the expected end,
// checking the writer's code lengths against what the reader consumed.
std::vector<uint8_t> rewrite(const std::vector<Element> &elements, size_t expected_size)
{
    constexpr uint8_t kGuard = 0xA5;
    // The writer never drains into the last byte of its buffer.
    std::vector<uint8_t> buf(expected_size + 8, kGuard);
    ozmu_bsw bw;
    ozmu_bsw_init(&bw, buf.data(), static_cast<int>(buf.size()), nullptr);
    for (const auto &[coding, bits, value] : elements) {
        const int32_t signed_value = static_cast<int32_t>(value);
        if (coding == UE) {
            EXPECT_EQ(ozmu_bsw_size_ue(value), bits) << value;
            ozmu_bsw_write_ue(&bw, value);
        } else if (coding == SE) {
            EXPECT_EQ(ozmu_bsw_size_se(signed_value), bits) << signed_value;
            ozmu_bsw_write_se(&bw, signed_value);
        } else if (bits == 1)
            EXPECT_EQ(ozmu_bsw_write1(&bw, static_cast<int>(value)), 0);
        else
            EXPECT_EQ(ozmu_bsw_write(&bw, value, bits), 0);  // never 32 bits, which would stay
    }
    EXPECT_EQ(ozmu_bsw_sink(&bw), 0);
    const size_t produced = std::min(static_cast<size_t>(bw.cur - bw.beg), buf.size());
    EXPECT_TRUE(
        std::all_of(buf.begin() + produced, buf.end(), [](uint8_t b) { return b == kGuard; }));
    buf.resize(produced);
    return buf;
}

class SpsStream : public ::testing::TestWithParam<StreamRow> {};

TEST_P(SpsStream, ParsesLikeFfprobeAndRewritesIdentically)
{
    const StreamRow &row = GetParam();
    const bool hevc = row.codec == "hevc";
    ASSERT_TRUE(hevc || row.codec == "h264") << row.codec;
    std::ifstream in(kDataDir + row.file, std::ios::binary);
    const std::vector<uint8_t> stream{std::istreambuf_iterator<char>(in), {}};
    const auto units = rbsps(stream, hevc, hevc ? 33 : 7);
    ASSERT_FALSE(units.empty()) << row.file;

    // ffprobe names full-range 4:2:0 "yuvj420p"; the range lives in the VUI, not parsed here.
    StreamRow want = row;
    if (want.pix_fmt.rfind("yuvj", 0) == 0)
        want.pix_fmt.erase(3, 1);
    for (std::vector<uint8_t> rbsp : units) {
        SyntaxReader r(rbsp);
        StreamRow got;
        if (hevc)
            ASSERT_NO_FATAL_FAILURE(parse_hevc_sps(r, got));
        else
            ASSERT_NO_FATAL_FAILURE(parse_avc_sps(r, got));
        EXPECT_EQ(std::tie(got.profile, got.level, got.pix_fmt),
                  std::tie(want.profile, want.level, want.pix_fmt));
        EXPECT_EQ(std::tie(got.coded_width, got.coded_height, got.width, got.height),
                  std::tie(want.coded_width, want.coded_height, want.width, want.height));

        // The VUI and the trailing bits are carried over as plain bits.
        const int total_bits = static_cast<int>(rbsp.size()) * 8;
        ASSERT_LE(r.position(), total_bits);
        while (r.position() < total_bits)
            r.u(std::min(total_bits - r.position(), 24));
        EXPECT_EQ(r.position(), total_bits);
        EXPECT_EQ(ozmu_bsr_read1(&r.bs), 0xFFFFFFFFu);
        EXPECT_EQ(ozmu_bsr_read_ue(&r.bs), 0xFFFFFFFEu);

        EXPECT_EQ(rewrite(r.elements, rbsp.size()), rbsp);
    }
}

std::string test_name(const ::testing::TestParamInfo<StreamRow> &info)
{
    std::string name = info.param.file;
    for (char &c : name)
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Encoded, SpsStream, ::testing::ValuesIn(load_table()), test_name);

}  // namespace
