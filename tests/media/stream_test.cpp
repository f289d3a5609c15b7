// Key frames of real encoder output (tests/data/media, made by make_streams.sh): every packet of
// x264, x265, MPEG-4 Part 2, H.263(+), WMV1, WMV2, MS-MPEG4 v3 and HuffYUV streams against the key
// flag FFmpeg's encoder gave it, the type taken from the stream's FourCC. The answers differ only
// where the detector's rules say so, and each such packet is named and counted below.
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
    std::string fourcc;
    std::vector<uint8_t> file;
    size_t cut = 0;  // bytes of `file` handed out as packets
    std::vector<Packet> packets;
};

// packets.tsv: one line per packet (file, FourCC, size, key flag), each file cut in that order.
const std::map<std::string, Stream> &streams()
{
    static const std::map<std::string, Stream> loaded = [] {
        std::map<std::string, Stream> streams;
        std::ifstream table(kDataDir + "packets.tsv");
        std::string line, file, fourcc;
        std::getline(table, line);  // header
        while (std::getline(table, line)) {
            std::istringstream cells(line);
            size_t size = 0;
            int key = -1;
            cells >> file >> fourcc >> size >> key;
            EXPECT_TRUE(cells && fourcc.size() == 4 && (key == 0 || key == 1)) << line;
            Stream &s = streams[file];
            if (s.fourcc.empty()) {
                std::ifstream in(kDataDir + file, std::ios::binary);
                s.file.assign(std::istreambuf_iterator<char>(in), {});
                s.fourcc = fourcc;
            }
            if (s.cut + size > s.file.size()) {
                ADD_FAILURE() << file << " is shorter than packets.tsv says";
                break;
            }
            const auto begin = s.file.begin() + long(s.cut);
            s.packets.push_back({{begin, begin + long(size)}, key == 1});
            s.cut += size;
        }
        for (const auto &[name, s] : streams)
            EXPECT_EQ(s.cut, s.file.size()) << name << ": bytes not covered by packets.tsv";
        return streams;
    }();
    return loaded;
}

// The detector on a packet given exactly the reads it documents: one byte past the end.
int detect(int mt, const std::vector<uint8_t> &bytes)
{
    ozmu::test::PageGuardedBuffer buf(bytes.size() + 1);
    std::copy(bytes.begin(), bytes.end(), buf.data());
    buf.data()[bytes.size()] = 0;
    return ozmu_is_vkeyfrm(mt, buf.data(), int(bytes.size()));
}

// Why the detector must disagree with FFmpeg on this packet, or null where it must agree.
const char *predicted_difference(int mt, const Packet &p)
{
    if (!p.key || (mt != OZMU_MT_H264 && mt != OZMU_MT_HEVC))
        return nullptr;
    const bool hevc = mt == OZMU_MT_HEVC;
    const std::vector<uint8_t> &b = p.bytes;
    for (size_t i = 0; i + 3 < b.size(); ++i) {
        if (b[i] != 0 || b[i + 1] != 0 || b[i + 2] != 1)
            continue;
        const int type = hevc ? (b[i + 3] >> 1) & 0x3F : b[i + 3] & 0x1F;
        if (hevc)  // in-band parameter sets, or a CRA picture, come first
            return type == 19 || type == 20 ? nullptr : "first NAL unit is not an IDR picture";
        if (type == 1 || type == 5)  // open-GOP recovery points carry non-IDR I slices
            return type == 1 ? "key frame without an IDR slice" : nullptr;
    }
    return hevc ? "no NAL unit" : nullptr;
}

struct Expectation {
    const char *file;
    int mt;           // what the stream's FourCC must map to
    int differences;  // packets predicted to disagree with FFmpeg
    int key_frames;   // FFmpeg's count, so that each stream exercises what it is here for
};

const Expectation kExpected[] = {
    {"h264_default.bin", OZMU_MT_H264, 0, 1}, {"h264_gop8.bin", OZMU_MT_H264, 0, 3},
    {"h264_aud.bin", OZMU_MT_H264, 0, 3},     {"h264_opengop.bin", OZMU_MT_H264, 2, 3},
    {"hevc_inband.bin", OZMU_MT_HEVC, 3, 3},  {"hevc_idr.bin", OZMU_MT_HEVC, 0, 3},
    {"hevc_cra.bin", OZMU_MT_HEVC, 2, 3},     {"mpeg4.bin", OZMU_MT_MPEG4, 0, 4},
    {"h263.bin", OZMU_MT_H263, 0, 3},         {"h263p.bin", OZMU_MT_H263, 0, 3},
    {"wmv1.bin", OZMU_MT_WMV1, 0, 3},         {"wmv2.bin", OZMU_MT_WMV2, 0, 3},
    {"msmpeg4v3.bin", OZMU_MT_DIV3, 0, 3},    {"huffyuv.bin", OZMU_MT_HFYU, 0, 3},
};

void compare_stream(const std::string &file, int mt, int expected_differences)
{
    const Stream &s = streams().at(file);
    int differences = 0;
    for (size_t i = 0; i < s.packets.size(); ++i) {
        const Packet &p = s.packets[i];
        const char *reason = predicted_difference(mt, p);
        EXPECT_EQ(detect(mt, p.bytes), reason ? !p.key : p.key)
            << file << " packet " << i << " (" << p.bytes.size() << " bytes)"
            << (reason ? std::string(", predicted: ") + reason : std::string());
        differences += reason != nullptr;
    }
    EXPECT_EQ(differences, expected_differences) << file;
}

TEST(KeyFrameStreams, AgreeWithTheEncoders)
{
    ASSERT_EQ(streams().size(), std::size(kExpected));
    for (const Expectation &e : kExpected) {
        SCOPED_TRACE(e.file);
        ASSERT_TRUE(streams().count(e.file));
        const Stream &s = streams().at(e.file);
        const std::string &f = s.fourcc;
        ASSERT_EQ(ozmu_fcc2mt_vid(OZMU_FOURCC(f[0], f[1], f[2], f[3])), e.mt) << f;
        EXPECT_EQ(std::count_if(s.packets.begin(), s.packets.end(), [](auto &p) { return p.key; }),
                  e.key_frames);
        compare_stream(e.file, e.mt, e.differences);
    }
    // Baseline H.263 is MPEG-4's short-header form, and the second H.263 identifier is H.263.
    compare_stream("h263.bin", OZMU_MT_MPEG4, 0);
    compare_stream("h263.bin", OZMU_MT_H263_ALT, 0);
    compare_stream("h263p.bin", OZMU_MT_H263_ALT, 0);
}

}  // namespace
