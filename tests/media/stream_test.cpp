// Key frames of real encoder output (tests/data/media, made by make_streams.sh): every packet of
// x264, x265, MPEG-4 Part 2, H.263, H.263+, WMV1, WMV2, MS-MPEG4 v3 and HuffYUV streams against
// the key flag FFmpeg's encoder gave it. The type comes from the stream's FourCC, as a
// demultiplexer would find it. The answers differ only where the detector's rules say so, and
// each such packet is named and counted below.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"

namespace {

const std::string kDataDir = OZMU_TEST_DATA_DIR "/media/";

struct Packet {
    std::vector<uint8_t> bytes;
    bool key;  // FFmpeg's flag
};

struct Stream {
    std::string file, fourcc;
    std::vector<Packet> packets;
};

std::map<std::string, Stream> load_streams()
{
    std::map<std::string, Stream> streams;
    std::map<std::string, size_t> offsets;
    std::map<std::string, std::vector<uint8_t>> contents;
    std::ifstream table(kDataDir + "packets.tsv");
    std::string line;
    std::getline(table, line);  // header
    while (std::getline(table, line)) {
        std::istringstream cells(line);
        std::string file, fourcc;
        size_t size = 0;
        int key = -1;
        cells >> file >> fourcc >> size >> key;
        EXPECT_TRUE(cells && fourcc.size() == 4 && (key == 0 || key == 1)) << line;
        if (!contents.count(file)) {
            std::ifstream in(kDataDir + file, std::ios::binary);
            contents[file].assign(std::istreambuf_iterator<char>(in), {});
        }
        const std::vector<uint8_t> &all = contents[file];
        size_t &at = offsets[file];
        if (at + size > all.size()) {
            ADD_FAILURE() << file << " is shorter than packets.tsv says";
            break;
        }
        Stream &s = streams[file];
        s.file = file;
        s.fourcc = fourcc;
        s.packets.push_back({{all.begin() + long(at), all.begin() + long(at + size)}, key == 1});
        at += size;
    }
    for (const auto &[file, at] : offsets)
        EXPECT_EQ(at, contents[file].size()) << file << ": bytes not covered by packets.tsv";
    return streams;
}

const std::map<std::string, Stream> &streams()
{
    static const std::map<std::string, Stream> s = load_streams();
    return s;
}

// The detector on a packet given exactly the reads it documents: one byte past the end.
int detect(int mt, const std::vector<uint8_t> &bytes)
{
    ozmu::test::PageGuardedBuffer buf(bytes.size() + 1);
    std::copy(bytes.begin(), bytes.end(), buf.data());
    buf.data()[bytes.size()] = 0;
    return ozmu_is_vkeyfrm(mt, buf.data(), int(bytes.size()));
}

// NAL unit types of an Annex B access unit, in order.
std::vector<int> nal_types(const std::vector<uint8_t> &au, bool hevc)
{
    std::vector<int> types;
    for (size_t i = 0; i + 3 < au.size(); ++i)
        if (au[i] == 0 && au[i + 1] == 0 && au[i + 2] == 1)
            types.push_back(hevc ? (au[i + 3] >> 1) & 0x3F : au[i + 3] & 0x1F);
    return types;
}

// Why the detector must disagree with FFmpeg on this packet, or null where it must agree.
const char *predicted_difference(int mt, const Packet &p)
{
    if (mt == OZMU_MT_H264 && p.key) {
        // Open-GOP recovery points are key to x264 but carry non-IDR (type 1) I slices, and only
        // IDR slices count.
        for (int t : nal_types(p.bytes, false))
            if (t == 1 || t == 5)
                return t == 1 ? "key frame without an IDR slice" : nullptr;
    }
    if (mt == OZMU_MT_HEVC && p.key) {
        // Only the first NAL unit decides: parameter sets in band, or a CRA picture, hide the key
        // frame.
        const std::vector<int> t = nal_types(p.bytes, true);
        if (t.empty() || (t[0] != 19 && t[0] != 20))
            return "first NAL unit is not an IDR picture";
    }
    return nullptr;
}

struct Expectation {
    const char *file;
    int mt;             // what the stream's FourCC must map to
    int differences;    // packets predicted to disagree with FFmpeg
    int key_frames;     // FFmpeg's count, so that each stream exercises what it is here for
};

const Expectation kExpected[] = {
    {"h264_default.bin", OZMU_MT_H264, 0, 1},  {"h264_gop8.bin", OZMU_MT_H264, 0, 3},
    {"h264_aud.bin", OZMU_MT_H264, 0, 3},      {"h264_opengop.bin", OZMU_MT_H264, 2, 3},
    {"hevc_inband.bin", OZMU_MT_HEVC, 3, 3},   {"hevc_idr.bin", OZMU_MT_HEVC, 0, 3},
    {"hevc_cra.bin", OZMU_MT_HEVC, 2, 3},      {"mpeg4.bin", OZMU_MT_MPEG4, 0, 4},
    {"h263.bin", OZMU_MT_H263, 0, 3},          {"h263p.bin", OZMU_MT_H263, 0, 3},
    {"wmv1.bin", OZMU_MT_WMV1, 0, 3},          {"wmv2.bin", OZMU_MT_WMV2, 0, 3},
    {"msmpeg4v3.bin", OZMU_MT_DIV3, 0, 3},     {"huffyuv.bin", OZMU_MT_HFYU, 0, 3},
};

void compare_stream(const Stream &s, int mt, int expected_differences)
{
    int differences = 0;
    for (size_t i = 0; i < s.packets.size(); ++i) {
        const Packet &p = s.packets[i];
        const char *reason = predicted_difference(mt, p);
        const int expected = reason ? !p.key : p.key;
        EXPECT_EQ(detect(mt, p.bytes), expected)
            << s.file << " packet " << i << " (" << p.bytes.size() << " bytes)"
            << (reason ? std::string(", predicted: ") + reason : std::string());
        differences += reason != nullptr;
    }
    EXPECT_EQ(differences, expected_differences) << s.file;
}

TEST(KeyFrameStreams, AgreeWithTheEncoders)
{
    ASSERT_EQ(streams().size(), std::size(kExpected));
    for (const Expectation &e : kExpected) {
        SCOPED_TRACE(e.file);
        ASSERT_TRUE(streams().count(e.file));
        const Stream &s = streams().at(e.file);
        const std::string &f = s.fourcc;
        const int mt = ozmu_fcc2mt_vid(OZMU_FOURCC(f[0], f[1], f[2], f[3]));
        ASSERT_EQ(mt, e.mt) << f;
        int keys = 0;
        for (const Packet &p : s.packets)
            keys += p.key;
        EXPECT_EQ(keys, e.key_frames);
        compare_stream(s, mt, e.differences);
    }
}

// The same streams under the other identifiers that name their codec.
TEST(KeyFrameStreams, OtherIdentifiersOfTheSameCodec)
{
    // Baseline H.263 is MPEG-4's short-header form, and the second H.263 identifier is H.263.
    compare_stream(streams().at("h263.bin"), OZMU_MT_MPEG4, 0);
    compare_stream(streams().at("h263.bin"), OZMU_MT_H263_ALT, 0);
    compare_stream(streams().at("h263p.bin"), OZMU_MT_H263_ALT, 0);
    // "MP43" names the same MS-MPEG4 v3 frames as "DIV3", but its type has no key-frame rule:
    // every frame, key or not, gives 0.
    const Stream &msmpeg4 = streams().at("msmpeg4v3.bin");
    ASSERT_EQ(ozmu_fcc2mt_vid(OZMU_FOURCC('M', 'P', '4', '3')), OZMU_MT_MP43);
    for (const Packet &p : msmpeg4.packets)
        EXPECT_EQ(detect(OZMU_MT_MP43, p.bytes), 0);
}

}  // namespace
