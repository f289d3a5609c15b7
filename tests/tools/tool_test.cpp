// The ozmu tool, run in-process: each row gives the arguments, the exit status, and what standard
// output, standard error and any written file must hold. "{data}" stands for tests/data and
// "{tmp}" for a fresh folder of the test's own. Expected outputs recorded from FFmpeg sit beside
// the media they describe (tests/data/*/make_*.sh made both).
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "access_units.h"
#include "ozmu.h"
#include "png_io.h"
#include "tool.h"
#include "y4m.h"

namespace {

namespace fs = std::filesystem;

struct Case {
    const char *name;
    std::vector<std::string> args;  // after "ozmu"
    int exit_status;
    const char *stdout_file = nullptr;      // stdout equals this file ({data}/...)
    const char *stdout_contains = nullptr;  // or holds this text
    const char *stderr_contains = nullptr;
    const char *written = nullptr;         // a file the command must have written ({tmp}/...)
    const char *written_equals = nullptr;  // and the file it must equal
    const char *not_written = nullptr;     // a file a refused command must not have created
};

// clang-format off
const Case kCases[] = {
    {"help", {"help"}, 0, nullptr, "ozmu keyframes"},
    {"unknown_command", {"frobnicate"}, 2, nullptr, nullptr, "unknown command"},
    {"no_command", {}, 2, nullptr, nullptr, "usage"},
    // keyframes
    {"keyframes_open_gop", {"keyframes", "{data}/media/keyframes_h264_opengop.264"}, 0, nullptr, "differ at: 10 20"},
    {"keyframes_sniffed_hevc", {"keyframes", "{data}/media/hevc_inband.bin"}, 0, nullptr, "codec: hevc"},
    {"keyframes_codec_option", {"keyframes", "--codec", "mpeg4", "{data}/media/mpeg4.bin"}, 0, nullptr, "random-access points: 4"},
    {"keyframes_json", {"keyframes", "{data}/media/keyframes_mpeg4.m4v", "--json"}, 0, nullptr, "\"summary\": {\"units\": 20, \"key\": 3, \"rap\": 3, \"differ\": []}"},
    {"keyframes_missing_file", {"keyframes", "{tmp}/none.h264"}, 1, nullptr, nullptr, "none.h264: No such file"},
    {"keyframes_not_a_stream", {"keyframes", "{data}/media/wmv1.bin"}, 1, nullptr, nullptr, "wmv1.bin: not an Annex-B"},
    {"keyframes_no_start_code", {"keyframes", "--codec=h264", "{data}/media/keyframes_h264_slices.h264.ffprobe.csv"}, 1, nullptr, nullptr, "no start code"},
    {"keyframes_bad_codec", {"keyframes", "--codec", "vp9", "x.ivf"}, 2, nullptr, nullptr, "unknown codec 'vp9'"},
    {"keyframes_no_file", {"keyframes", "--json"}, 2, nullptr, nullptr, "expects one FILE"},
    // headers (field values against FFmpeg's: the Headers test below)
    {"headers_missing_file", {"headers", "{tmp}/none.h264"}, 1, nullptr, nullptr, "none.h264: No such file"},
    {"headers_not_annexb", {"headers", "{data}/bitstream/streams.tsv"}, 1, nullptr, nullptr, "streams.tsv: not an Annex-B stream"},
    {"headers_no_parameter_sets", {"headers", "{data}/media/mpeg4.bin"}, 1, nullptr, nullptr, "mpeg4.bin: no H.264 parameter sets"},
    {"headers_truncated_sps", {"headers", "{data}/bitstream/bad_truncated_sps.h264"}, 1, nullptr, "  # pic_width_in_mbs_minus1: the data ends", "bad_truncated_sps.h264: damaged parameter set at offset 0"},
    {"headers_no_file", {"headers"}, 2, nullptr, nullptr, "expects one FILE"},
    // md5
    {"md5_420jpeg", {"md5", "{data}/y4m/ref_420jpeg.y4m"}, 0, "{data}/y4m/ref_420jpeg.framemd5"},
    {"md5_odd_size", {"md5", "{data}/y4m/odd_420jpeg_65x49.y4m"}, 0, "{data}/y4m/odd_420jpeg_65x49.framemd5"},
    {"md5_420mpeg2_sar", {"md5", "{data}/y4m/mpeg2_full.y4m"}, 0, "{data}/y4m/mpeg2_full.framemd5"},
    {"md5_420_no_sar", {"md5", "{data}/y4m/plain_420.y4m"}, 0, "{data}/y4m/plain_420.framemd5"},
    {"md5_422", {"md5", "{data}/y4m/c422.y4m"}, 0, "{data}/y4m/c422.framemd5"},
    {"md5_444", {"md5", "{data}/y4m/c444.y4m"}, 0, "{data}/y4m/c444.framemd5"},
    {"md5_mono", {"md5", "{data}/y4m/mono.y4m"}, 0, "{data}/y4m/mono.framemd5"},
    {"md5_420p10", {"md5", "{data}/y4m/p10.y4m"}, 0, "{data}/y4m/p10.framemd5"},
    // 4:2:0 geometry on a 4:4:4 frame: 66 bytes of 50 luma rows, 33 bytes of 25 rows per chroma plane
    {"md5_plain_444", {"md5", "{data}/y4m/c444.y4m", "--plain"}, 0, nullptr, "1, a002a35aa8da661e3dcb052f9fe4dcd4\n"},
    {"md5_missing_file", {"md5", "{data}/y4m/no_such.y4m"}, 1, nullptr, nullptr, "no_such.y4m: No such file"},
    {"md5_truncated", {"md5", "{data}/y4m/bad_truncated.y4m"}, 1, nullptr, nullptr, "frame 2 is truncated"},
    {"md5_c411", {"md5", "{data}/y4m/bad_c411.y4m"}, 1, nullptr, nullptr, "unsupported chroma layout C411"},
    {"md5_two_files", {"md5", "{data}/y4m/c444.y4m", "{data}/y4m/c422.y4m"}, 2, nullptr, nullptr, "one input file"},
    // compare (the PSNR figures against FFmpeg's: the Compare test below)
    {"compare_sad_satd", {"compare", "{data}/y4m/ref_420jpeg.y4m", "{data}/y4m/dist_420.y4m"}, 0, nullptr, "  all   20.9371   23.4505   25.3749  21.7984    14.9910  1273.8984\n"},
    {"compare_identical", {"compare", "{data}/y4m/c444.y4m", "{data}/y4m/c444.y4m"}, 0, nullptr, "PSNR y:inf u:inf v:inf average:inf min:inf max:inf\n"},
    {"compare_json", {"compare", "{data}/y4m/mono.y4m", "{data}/y4m/dist_mono.y4m", "--json"}, 0, nullptr, "\"psnr_min\": 19.364654, \"psnr_max\": 19.367677}"},
    {"compare_frame_count", {"compare", "{data}/y4m/ref_420jpeg.y4m", "{data}/y4m/plain_420.y4m"}, 0, nullptr, "PSNR y:inf", "has 5 frames and"},
    {"compare_size_mismatch", {"compare", "{data}/y4m/ref_420jpeg.y4m", "{data}/y4m/odd_420jpeg_65x49.y4m"}, 1, nullptr, nullptr, "odd_420jpeg_65x49.y4m: size or layout mismatch (66x50 C420jpeg against 65x49 C420jpeg)"},
    // convert
    {"convert_png_to_y4m", {"convert", "{data}/png/card_41x29.png", "{tmp}/card.y4m"}, 0, nullptr,
     nullptr, nullptr, "{tmp}/card.y4m", "{data}/png/card_41x29.y4m"},
    {"convert_y4m_frames_to_y4m", {"convert", "{data}/y4m/ref_420jpeg.y4m", "-", "--frames",
     "--to", "y4m"}, 0, "{data}/y4m/ref_420jpeg.y4m"},
    {"convert_missing_file", {"convert", "{tmp}/none.y4m", "{tmp}/out.y4m"}, 1, nullptr, nullptr,
     "none.y4m: No such file", nullptr, nullptr, "{tmp}/out.y4m"},
    {"convert_unsupported_layout", {"convert", "{data}/y4m/bad_c411.y4m", "{tmp}/out.y4m"}, 1,
     nullptr, nullptr, "bad_c411.y4m: unsupported chroma layout C411", nullptr, nullptr,
     "{tmp}/out.y4m"},
    {"convert_raw_size_mismatch", {"convert", "{data}/frame/testsrc2.i420", "{tmp}/out.y4m",
     "--format", "i420", "--size", "64x40"}, 1, nullptr, nullptr,
     "testsrc2.i420: size 4608 bytes is not a multiple of the frame size 3840", nullptr, nullptr,
     "{tmp}/out.y4m"},
    {"convert_bad_size", {"convert", "{data}/y4m/ref_420jpeg.y4m", "{tmp}/out.y4m", "--size",
     "0x48"}, 2, nullptr, nullptr, "bad --size '0x48'", nullptr, nullptr, "{tmp}/out.y4m"},
    {"convert_frame_out_of_range", {"convert", "{data}/y4m/ref_420jpeg.y4m", "{tmp}/out.y4m",
     "--frame", "5"}, 1, nullptr, nullptr,
     "ref_420jpeg.y4m: frame 5 is out of range (the file has 5 frames)", nullptr, nullptr,
     "{tmp}/out.y4m"},
    // resize
    {"resize_slice_rows_not_power_of_two", {"resize", "{data}/png/card_41x29.png",
     "{tmp}/out.png", "20x15", "--slice-rows", "12"}, 2, nullptr, nullptr, "power of two",
     nullptr, nullptr, "{tmp}/out.png"},
    {"resize_not_png", {"resize", "{data}/y4m/bad_c411.y4m", "{tmp}/out.png", "20x15"}, 1,
     nullptr, nullptr, "bad_c411.y4m: not a PNG file", nullptr, nullptr, "{tmp}/out.png"},
};
// clang-format on

std::string slurp(FILE *f)
{
    std::string s;
    std::rewind(f);
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        s.append(buf, n);
    return s;
}

std::string slurp(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string expand(std::string s, const std::string &tmp)
{
    for (auto [key, value] :
         {std::pair<std::string, std::string>{"{data}", OZMU_TEST_DATA_DIR}, {"{tmp}", tmp}}) {
        for (size_t at; (at = s.find(key)) != std::string::npos;)
            s.replace(at, key.size(), value);
    }
    return s;
}

class Tool : public testing::TestWithParam<Case> {};

TEST_P(Tool, Runs)
{
    const Case &c = GetParam();
    for (const std::string &a : c.args) {
        if (!ozmu_tool::png_available() && a.size() > 4 && a.compare(a.size() - 4, 4, ".png") == 0)
            GTEST_SKIP() << "the tool was built without libpng";
    }
    const fs::path tmp =
        fs::temp_directory_path() / ("ozmu_tool_" + std::to_string(getpid()) + "_" + c.name);
    fs::remove_all(tmp);
    fs::create_directories(tmp);

    std::vector<std::string> words{"ozmu"};
    for (const std::string &a : c.args)
        words.push_back(expand(a, tmp.string()));
    std::vector<char *> argv;
    for (std::string &w : words)
        argv.push_back(w.data());
    argv.push_back(nullptr);

    ozmu_tool::Io io;
    io.in = std::tmpfile();
    io.out = std::tmpfile();
    io.err = std::tmpfile();
    ASSERT_TRUE(io.in && io.out && io.err);
    const int status = ozmu_tool::run(static_cast<int>(words.size()), argv.data(), io);
    const std::string out = slurp(io.out), err = slurp(io.err);
    std::fclose(io.in);
    std::fclose(io.out);
    std::fclose(io.err);

    EXPECT_EQ(status, c.exit_status) << "stderr: " << err;
    if (c.stdout_file) {
        EXPECT_EQ(out, slurp(expand(c.stdout_file, tmp.string())));
    }
    if (c.stdout_contains) {
        EXPECT_NE(out.find(c.stdout_contains), std::string::npos) << out;
    }
    if (c.stderr_contains) {
        EXPECT_NE(err.find(c.stderr_contains), std::string::npos) << err;
    }
    if (c.written) {
        const std::string path = expand(c.written, tmp.string());
        ASSERT_TRUE(fs::exists(path)) << path;
        if (c.written_equals) {
            EXPECT_EQ(slurp(path), slurp(expand(c.written_equals, tmp.string())));
        }
    }
    if (c.not_written) {
        EXPECT_FALSE(fs::exists(expand(c.not_written, tmp.string())));
    }
    if (!HasFailure())
        fs::remove_all(tmp);
}

INSTANTIATE_TEST_SUITE_P(Ozmu, Tool, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case> &param) {
                             return param.param.name;
                         });

// The "key:value" words of a line: "PSNR y:20.93 u:23.45 ..." or "n:1 mse_avg:387.01 psnr_y:21.05".
std::map<std::string, double> key_values(const std::string &line)
{
    std::map<std::string, double> kv;
    std::istringstream words(line);
    for (std::string w; words >> w;) {
        if (const size_t colon = w.find(':'); colon != std::string::npos)
            kv[w.substr(0, colon)] = std::strtod(w.c_str() + colon + 1, nullptr);
    }
    return kv;
}

// ozmu compare's per-frame table and summary line against the psnr filter's stats file and
// summary, recorded by tests/data/y4m/make_y4m.sh, one pair per layout.
TEST(ToolCompare, PsnrWithinHundredthOfFfmpeg)
{
    const std::string dir = std::string(OZMU_TEST_DATA_DIR) + "/y4m/";
    const char *const pairs[][3] = {{"ref_420jpeg", "dist_420", "ref_dist_420"},
                                    {"c422", "dist_422", "c422_dist"},
                                    {"c444", "dist_444", "c444_dist"},
                                    {"mono", "dist_mono", "mono_dist"},
                                    {"p10", "dist_p10", "p10_dist"}};
    for (const auto &pair : pairs) {
        SCOPED_TRACE(pair[2]);
        std::string words[] = {"ozmu", "compare", dir + pair[0] + ".y4m", dir + pair[1] + ".y4m"};
        char *argv[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(),
                        nullptr};
        ozmu_tool::Io io;
        io.out = std::tmpfile();
        io.err = std::tmpfile();
        ASSERT_TRUE(io.out && io.err);
        const int status = ozmu_tool::run(4, argv, io);
        std::istringstream out(slurp(io.out));
        std::fclose(io.out);
        std::fclose(io.err);
        ASSERT_EQ(status, 0);

        std::string line;
        std::getline(out, line);  // what was compared
        std::getline(out, line);  // the column names
        std::vector<std::string> columns;
        std::istringstream names(line);
        for (std::string w; names >> w;)
            columns.push_back(w);
        std::ifstream stats(dir + pair[2] + ".psnr.txt");
        int frames = 0;
        for (std::string theirs; std::getline(stats, theirs); ++frames) {
            ASSERT_TRUE(std::getline(out, line));
            std::map<std::string, double> mine;
            std::istringstream cells(line);
            for (const std::string &column : columns) {
                std::string cell;
                cells >> cell;
                mine[column] = std::strtod(cell.c_str(), nullptr);
            }
            for (const auto &[key, value] : key_values(theirs)) {
                if (key.rfind("psnr_", 0) != 0)
                    continue;
                const std::string column = key == "psnr_avg" ? "psnr_all" : key;
                ASSERT_TRUE(mine.count(column)) << column;
                EXPECT_NEAR(mine[column], value, 0.01) << "frame " << frames << " " << key;
            }
        }
        EXPECT_GT(frames, 0);
        ASSERT_TRUE(std::getline(out, line));
        EXPECT_EQ(line.rfind("  all", 0), 0u) << line;
        ASSERT_TRUE(std::getline(out, line));
        std::ifstream summary_file(dir + pair[2] + ".psnr_summary.txt");
        std::string summary;
        std::getline(summary_file, summary);
        const auto theirs = key_values(summary), mine = key_values(line);
        EXPECT_EQ(mine.size(), theirs.size()) << line;
        for (const auto &[key, value] : theirs) {
            ASSERT_TRUE(mine.count(key)) << key;
            EXPECT_NEAR(mine.at(key), value, 0.01) << key;
        }
    }
}

// Every stream with a recorded ffprobe answer (<stream>.ffprobe.csv: size,pos,flags): the units
// must be ffprobe's packets and the random-access column its key flags, unit for unit. ffprobe's
// parser cuts HEVC at 00 00 01, so there a packet before a 4-byte start code keeps its zero byte.
// The key column must be ozmu_is_vkeyfrm over the unit, and "differ at" list where they differ.
TEST(Keyframes, AgreeWithFfprobe)
{
    int streams = 0;
    for (const char *folder : {"media", "bitstream"}) {
        for (const auto &entry : fs::directory_iterator(fs::path(OZMU_TEST_DATA_DIR) / folder)) {
            const std::string csv = entry.path().string();
            const std::string suffix = ".ffprobe.csv";
            if (csv.size() <= suffix.size() ||
                csv.compare(csv.size() - suffix.size(), suffix.size(), suffix))
                continue;
            const std::string stream = csv.substr(0, csv.size() - suffix.size());
            SCOPED_TRACE(stream);
            ++streams;
            const std::string bytes = slurp(stream);

            std::string words[] = {"ozmu", "keyframes", stream};
            char *argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
            ozmu_tool::Io io;
            io.out = std::tmpfile();
            io.err = std::tmpfile();
            ASSERT_TRUE(io.out && io.err);
            ASSERT_EQ(ozmu_tool::run(3, argv, io), 0) << slurp(io.err);
            std::istringstream out(slurp(io.out));
            std::fclose(io.out);
            std::fclose(io.err);

            struct Unit {
                size_t offset, size;
                bool key, rap;
            };
            std::vector<Unit> units;
            std::string line, codec, differ, expected_differ = "differ at:";
            while (std::getline(out, line)) {
                std::istringstream row(line);
                Unit u;
                size_t index;
                char type;
                if (line.rfind("codec: ", 0) == 0)
                    codec = line.substr(7);
                else if (line.rfind("differ at:", 0) == 0)
                    differ = line;
                else if (row >> index >> u.offset >> u.size >> type >> u.key >> u.rap) {
                    ASSERT_EQ(index, units.size());
                    units.push_back(u);
                }
            }
            const int mt = codec == "h264"   ? OZMU_MT_H264
                           : codec == "hevc" ? OZMU_MT_HEVC
                                             : OZMU_MT_MPEG4;

            std::vector<size_t> pos;  // where ffprobe's packets start, by our units
            for (size_t i = 0; i < units.size(); ++i) {
                const Unit &u = units[i];
                const bool four_byte_code =
                    u.offset + 3 <= bytes.size() && bytes[u.offset + 2] == 0;
                pos.push_back(u.offset + (mt == OZMU_MT_HEVC && i > 0 && four_byte_code));
                const auto *data = reinterpret_cast<const uint8_t *>(bytes.data()) + u.offset;
                EXPECT_EQ(u.key, ozmu_is_vkeyfrm(mt, data, int(u.size)) == 1) << "unit " << i;
                if (u.key != u.rap)
                    expected_differ.append(" ").append(std::to_string(i));
            }
            pos.push_back(bytes.size());
            if (expected_differ == "differ at:")
                expected_differ += " none";
            EXPECT_EQ(differ, expected_differ);

            std::istringstream table(slurp(csv));
            std::getline(table, line);
            EXPECT_EQ(line, "size,pos,flags");
            size_t i = 0;
            for (; std::getline(table, line); ++i) {
                size_t size = 0, at = 0;
                char flags[8] = {};
                ASSERT_EQ(std::sscanf(line.c_str(), "%zu,%zu,%7s", &size, &at, flags), 3) << line;
                ASSERT_LT(i, units.size()) << "more packets than units";
                EXPECT_EQ(at, pos[i]) << "unit " << i;
                EXPECT_EQ(size, pos[i + 1] - pos[i]) << "unit " << i;
                EXPECT_EQ(units[i].rap, flags[0] == 'K') << "unit " << i;
            }
            EXPECT_EQ(i, units.size()) << "fewer packets than units";
        }
    }
    EXPECT_GE(streams, 30);
}

// convert and resize: PNG outputs compared by their pixels (the bytes of a PNG depend on zlib).
class ToolPixels : public testing::Test {
protected:
    void SetUp() override
    {
        if (!ozmu_tool::png_available())
            GTEST_SKIP() << "the tool was built without libpng";
        tmp_ = fs::temp_directory_path() / ("ozmu_pixels_" + std::to_string(getpid()));
        fs::create_directories(tmp_);
    }
    void TearDown() override { fs::remove_all(tmp_); }

    std::string tmp(const char *name) const { return (tmp_ / name).string(); }

    // The tool's exit status, its messages discarded.
    static int run(std::vector<std::string> words)
    {
        words.insert(words.begin(), "ozmu");
        std::vector<char *> argv;
        for (std::string &w : words)
            argv.push_back(w.data());
        argv.push_back(nullptr);
        ozmu_tool::Io io;
        io.in = io.out = io.err = std::tmpfile();
        const int status = ozmu_tool::run(static_cast<int>(words.size()), argv.data(), io);
        std::fclose(io.out);
        return status;
    }

    static std::vector<uint8_t> pixels(const std::string &png_path, ozmu_tool::PngChannels want)
    {
        const std::string file = slurp(png_path);
        ozmu_tool::PngPicture picture;
        std::string error;
        EXPECT_TRUE(ozmu_tool::png_decode(reinterpret_cast<const uint8_t *>(file.data()),
                                          file.size(), want, &picture, &error))
            << png_path << ": " << error;
        return picture.pixels;
    }

    static std::vector<uint8_t> bytes(const std::string &path)
    {
        const std::string s = slurp(path);
        return {s.begin(), s.end()};
    }

    static int largest_difference(const std::vector<uint8_t> &a, const std::vector<uint8_t> &b)
    {
        EXPECT_EQ(a.size(), b.size());
        int largest = a.size() == b.size() ? 0 : 256;
        for (size_t i = 0; i < a.size() && i < b.size(); ++i)
            largest = std::max(largest, std::abs(a[i] - b[i]));
        return largest;
    }

private:
    fs::path tmp_;
};

const std::string kData = OZMU_TEST_DATA_DIR;

TEST_F(ToolPixels, PngDecodingMatchesFfmpeg)
{
    using ozmu_tool::PngChannels;
    for (const char *name : {"card_41x29", "card_rgba_24x18", "card_pal8_24x18"})
        EXPECT_EQ(pixels(kData + "/png/" + name + ".png", PngChannels::kRgba),
                  bytes(kData + "/png/" + name + ".rgba"))
            << name;
    // 16-bit samples: FFmpeg and libpng may round the reduction differently.
    EXPECT_LE(largest_difference(pixels(kData + "/png/card_gray16_24x18.png", PngChannels::kRgba),
                                 bytes(kData + "/png/card_gray16_24x18.rgba")),
              1);
    // Dropping alpha keeps the colour samples as stored.
    const std::vector<uint8_t> rgba = bytes(kData + "/png/card_rgba_24x18.rgba");
    std::vector<uint8_t> rgb;
    for (size_t i = 0; i < rgba.size(); ++i)
        if (i % 4 != 3)
            rgb.push_back(rgba[i]);
    EXPECT_EQ(pixels(kData + "/png/card_rgba_24x18.png", PngChannels::kRgb), rgb);
}

// The header's siting (C420jpeg: centred) and XCOLORRANGE=FULL must be honoured: swscale's RGB of
// the same frame, told both explicitly, is within 1 only when they are (the other siting or range
// misses by 19 or more).
TEST_F(ToolPixels, Y4mFrameToPngMatchesSwscale)
{
    ASSERT_EQ(run({"convert", kData + "/y4m/ref_420jpeg.y4m", tmp("jpeg.png"), "--frame", "2"}), 0);
    EXPECT_LE(largest_difference(pixels(tmp("jpeg.png"), ozmu_tool::PngChannels::kRgb),
                                 bytes(kData + "/png/ref_420jpeg.f2.rgb24")),
              1);
    ASSERT_EQ(run({"convert", kData + "/y4m/mpeg2_full.y4m", tmp("full.png"), "--frame", "1"}), 0);
    EXPECT_LE(largest_difference(pixels(tmp("full.png"), ozmu_tool::PngChannels::kRgb),
                                 bytes(kData + "/png/mpeg2_full.f1.rgb24")),
              1);
}

TEST_F(ToolPixels, RawNv12ScaledToPngMatchesTheFrameApi)
{
    const std::string raw = kData + "/frame/testsrc2.nv12";
    ASSERT_EQ(run({"convert", raw, tmp("small.png"), "--format", "nv12", "--size", "64x48",
                   "--scale", "40x30", "--matrix", "bt709"}),
              0);
    std::vector<uint8_t> yuv = bytes(raw);
    ASSERT_EQ(yuv.size(), 64u * 48 * 3 / 2);
    ozmu_frame src{OZMU_PIX_NV12, 64, 48, {yuv.data(), yuv.data() + 64 * 48}, {64, 64}};
    std::vector<uint8_t> want(40 * 30 * 3);
    ozmu_frame dst{OZMU_PIX_RGB24, 40, 30, {want.data()}, {40 * 3}};
    ozmu_convert_opts opts;
    ozmu_convert_opts_init(&opts);
    opts.matrix = OZMU_MATRIX_BT709;
    ASSERT_EQ(ozmu_convert(&src, &dst, &opts), OZMU_OK);
    EXPECT_EQ(pixels(tmp("small.png"), ozmu_tool::PngChannels::kNative), want);
}

// Slices of every size give the whole-picture bytes, which are the resizer's own on the decoded
// picture; RGBA goes through the 4-byte layout with its alpha.
TEST_F(ToolPixels, ResizeSlicesMatchWholePicture)
{
    constexpr auto kNative = ozmu_tool::PngChannels::kNative;
    struct Picture {
        const char *name;
        int w, h;
    };
    for (const auto &[name, w, h] : {Picture{"card_41x29", 41, 29}, {"card_rgba_24x18", 24, 18}}) {
        const std::string in = kData + "/png/" + name + ".png";
        const std::vector<uint8_t> source = pixels(in, kNative);
        const int bytes_per_pixel = static_cast<int>(source.size() / (size_t(w) * h));
        for (const auto &[dw, dh] : {std::pair{20, 15}, {13, 9}, {5, 3}, {60, 50}}) {
            SCOPED_TRACE(std::string(name) + " to " + std::to_string(dw) + "x" +
                         std::to_string(dh));
            const std::string size = std::to_string(dw) + "x" + std::to_string(dh);
            ASSERT_EQ(run({"resize", in, tmp("whole.png"), size}), 0);
            const std::vector<uint8_t> whole = pixels(tmp("whole.png"), kNative);
            std::vector<uint8_t> want(size_t(dw) * dh * bytes_per_pixel);
            ozmu_irsz_param param{
                bytes_per_pixel == 4 ? 29 : 21, 10, w, h, w, 0, dw, dh, dw, want.data()};
            void *resizer = ozmu_irsz_create(&param, nullptr);
            ASSERT_NE(resizer, nullptr);
            ozmu_irsz(resizer, source.data(), 0, 0);
            ozmu_irsz_delete(resizer);
            EXPECT_EQ(whole, want);
            for (const char *rows : {"1", "2", "8", "64"}) {
                ASSERT_EQ(run({"resize", in, tmp("sliced.png"), size, "--slice-rows", rows}), 0);
                EXPECT_EQ(pixels(tmp("sliced.png"), kNative), whole) << rows << "-row slices";
            }
        }
        ASSERT_EQ(run({"resize", in, tmp("same.png"), std::to_string(w) + "x" + std::to_string(h)}),
                  0);
        EXPECT_EQ(pixels(tmp("same.png"), kNative), source) << "a kept size is a copy";
    }
}

// One block of `ozmu headers` output or of a trace_headers record: the unit's heading, its fields
// in order and (tool only) the picture summary line.
struct HeaderBlock {
    std::string heading;
    std::vector<std::pair<std::string, std::string>> fields;
    std::string summary;
};

// Tool output: headings at the margin, "  name value" fields, "  # ..." notes. A trace record:
// "# heading" lines, then "name value" lines.
std::vector<HeaderBlock> header_blocks(const std::string &text, bool record)
{
    std::vector<HeaderBlock> blocks;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty())
            continue;
        const bool heading = record ? line.rfind("# ", 0) == 0 : line[0] != ' ';
        if (heading) {
            blocks.push_back({line.substr(record ? 2 : 0), {}, {}});
        } else if (blocks.empty()) {
            ADD_FAILURE() << "a field before any heading: " << line;
        } else if (line.rfind("  # ", 0) == 0) {
            if (line.rfind("  # picture ", 0) == 0)
                blocks.back().summary = line;
        } else {
            std::istringstream words(line);
            std::string name, value;
            words >> name >> value;
            blocks.back().fields.emplace_back(name, value);
        }
    }
    return blocks;
}

// The tool prints the standard's names; FFmpeg's differ in three places.
std::string trace_name(const std::string &name)
{
    const size_t bracket = std::min(name.find('['), name.size());
    std::string base = name.substr(0, bracket), index = name.substr(bracket);
    if (base == "scaling_list_delta_coef")
        base = "scaling_list_delta_coeff";
    else if (base == "matrix_coeffs")  // HEVC's name; FFmpeg uses H.264's for both
        base = "matrix_coefficients";
    else if (base == "reserved_zero_2bits")  // FFmpeg drops the sub-layer index
        index.clear();
    return base + index;
}

// What the tool has no reason to print: the RBSP trailing bits, and the second part of the
// reserved bits of profile_tier_level, which FFmpeg reads in two pieces (the tool in one).
bool tool_may_skip(const std::string &trace_field)
{
    return trace_field == "rbsp_stop_one_bit" || trace_field == "rbsp_alignment_zero_bit" ||
           trace_field.find("_reserved_zero_") != std::string::npos;
}

// ozmu headers against FFmpeg's trace_headers, recorded beside each stream by
// tests/data/bitstream/record_headers.sh: the same parameter sets in the same order; within
// each, every field the tool prints found in the trace in the same order with the same value,
// and no traced field left out but the ones above. The summary's sizes must be ffprobe's
// (streams.tsv), where it has the stream.
TEST(Headers, AgreeWithTraceHeaders)
{
    const fs::path dir = fs::path(OZMU_TEST_DATA_DIR) / "bitstream";
    std::map<std::string, std::string> sizes;  // stream -> "picture WxH, coded WxH"
    std::ifstream table(dir / "streams.tsv");
    std::string row;
    std::getline(table, row);
    while (std::getline(table, row)) {
        std::vector<std::string> cells;
        std::istringstream split(row);
        for (std::string cell; std::getline(split, cell, '\t');)
            cells.push_back(cell);
        ASSERT_GE(cells.size(), 8u) << row;
        sizes[cells[0]] = "  # picture " + cells[6] + "x" + cells[7] + ", coded " + cells[4] + "x" +
                          cells[5] + ",";
    }

    int streams = 0;
    for (const auto &entry : fs::directory_iterator(dir)) {
        const std::string record = entry.path().string();
        const std::string suffix = ".headers.txt";
        if (record.size() <= suffix.size() ||
            record.compare(record.size() - suffix.size(), suffix.size(), suffix))
            continue;
        const std::string stream = record.substr(0, record.size() - suffix.size());
        SCOPED_TRACE(stream);
        ++streams;

        std::string words[] = {"ozmu", "headers", stream};
        char *argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
        ozmu_tool::Io io;
        io.out = std::tmpfile();
        io.err = std::tmpfile();
        ASSERT_TRUE(io.out && io.err);
        const int status = ozmu_tool::run(3, argv, io);
        const std::string out = slurp(io.out), err = slurp(io.err);
        std::fclose(io.out);
        std::fclose(io.err);
        ASSERT_EQ(status, 0) << err;

        const std::vector<HeaderBlock> mine = header_blocks(out, false);
        const std::vector<HeaderBlock> theirs = header_blocks(slurp(record), true);
        ASSERT_EQ(mine.size(), theirs.size());
        for (size_t b = 0; b < mine.size(); ++b) {
            const HeaderBlock &m = mine[b], &t = theirs[b];
            SCOPED_TRACE(m.heading);
            std::string kind = t.heading;  // "Sequence Parameter Set"
            std::transform(kind.begin(), kind.end(), kind.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            EXPECT_NE(m.heading.find(kind), std::string::npos) << t.heading;
            size_t next = 0;
            for (const auto &[name, value] : m.fields) {
                const std::string wanted = trace_name(name);
                size_t at = next;
                while (at < t.fields.size() && t.fields[at].first != wanted)
                    ++at;
                ASSERT_LT(at, t.fields.size())
                    << name << " is not traced (after field " << next << ")";
                for (size_t skipped = next; skipped < at; ++skipped)
                    EXPECT_TRUE(tool_may_skip(t.fields[skipped].first))
                        << "missing " << t.fields[skipped].first << " before " << name;
                EXPECT_EQ(value, t.fields[at].second) << name;
                next = at + 1;
            }
            for (; next < t.fields.size(); ++next)
                EXPECT_TRUE(tool_may_skip(t.fields[next].first))
                    << "missing " << t.fields[next].first << " at the end";
            const auto size = sizes.find(fs::path(stream).filename().string());
            if (t.heading == "Sequence Parameter Set" && size != sizes.end()) {
                EXPECT_EQ(m.summary.rfind(size->second, 0), 0u) << m.summary;
            }
        }
    }
    EXPECT_GE(streams, 25);
}

// --- The pieces under the commands ---------------------------------------------------------

using Words = std::vector<std::string>;

// Args over the words that follow a command's name.
ozmu_tool::Args make_args(Words words)
{
    words.insert(words.begin(), "command");
    std::vector<char *> argv;
    for (std::string &w : words)
        argv.push_back(w.data());
    argv.push_back(nullptr);
    return ozmu_tool::Args(static_cast<int>(words.size()), argv.data());
}

TEST(ToolArgs, OptionFormsInAnyOrder)
{
    ozmu_tool::Args args = make_args(
        {"--json", "in.y4m", "--size", "64x48", "-", "--format=nv12", "out.png", "--to", "-"});
    std::string to, size, format, frame;
    EXPECT_TRUE(args.take("to", &to));  // taken out of order, its value a lone "-"
    EXPECT_TRUE(args.take("size", &size));
    EXPECT_TRUE(args.take("format", &format));
    EXPECT_EQ(to + " " + size + " " + format, "- 64x48 nv12");
    EXPECT_TRUE(args.take_flag("json"));
    EXPECT_FALSE(args.take("frame", &frame));
    EXPECT_EQ(args.positional(), (Words{"in.y4m", "-", "out.png"}));
    EXPECT_EQ(args.unknown_option(), "");
    EXPECT_FALSE(args.missing_value());

    ozmu_tool::Args missing = make_args({"in.y4m", "--frame"});
    EXPECT_FALSE(missing.take("frame", &frame));
    EXPECT_TRUE(missing.missing_value());
    EXPECT_EQ(missing.positional(), Words{"in.y4m"});
}

TEST(ToolArgs, NamesMatchWholeAndLeftoversAreReported)
{
    // "--sizes" is not "--size", nor is "--size=..." the option "siz" or the flag "size".
    ozmu_tool::Args args = make_args({"--sizes", "1x1", "--size=2x2", "a", "--json=yes", "b"});
    std::string value;
    EXPECT_FALSE(args.take("siz", &value));
    EXPECT_FALSE(args.take_flag("size"));
    EXPECT_TRUE(args.take("size", &value));
    EXPECT_EQ(value, "2x2");
    EXPECT_FALSE(args.take_flag("json"));
    EXPECT_EQ(args.unknown_option(), "--sizes");  // the first one nobody took
    EXPECT_EQ(make_args({"-", "--bogus", "x"}).unknown_option(), "--bogus");
}

TEST(ToolParseSize, AcceptedAndRefusedForms)
{
    for (const auto &[text, want] : {std::pair{"1x1", "1 1"},
                                     {"640x480", "640 480"},
                                     {"16384x16384", "16384 16384"},
                                     {"16384x2", "16384 2"}}) {
        int width = 0, height = 0;
        EXPECT_TRUE(ozmu_tool::parse_size(text, &width, &height)) << text;
        EXPECT_EQ(std::to_string(width) + " " + std::to_string(height), want);
    }
    // The last three would wrap to 10 in 32 or 64 bits.
    // clang-format off
    const char *const refused[] = {"", "x", "10", "0x10", "10x0", "16385x10", "10x16385", "x10",
        "10x", " 10x10", "10x10 ", "10x10x", "10x10x10", "+10x10", "-10x10", "10X10", "10*10",
        "1e3x10", "10.5x10", "4294967306x10", "10x4294967306", "18446744073709551626x10"};
    // clang-format on
    for (const char *bad : refused) {
        int width = 0, height = 0;
        EXPECT_FALSE(ozmu_tool::parse_size(bad, &width, &height)) << '"' << bad << '"';
    }
}

TEST(ToolOutput, WrittenWholeOnCommitOrNotAtAll)
{
    const fs::path dir = fs::temp_directory_path() / ("ozmu_output_" + std::to_string(getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir / "taken");  // a folder where a file should go: rename fails
    auto listing = [&] {
        Words names;
        for (const auto &entry : fs::directory_iterator(dir))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    };
    ozmu_tool::Io io;
    io.out = std::tmpfile();
    ASSERT_TRUE(io.out);
    const std::string path = (dir / "out.bin").string();
    std::string error;
    {
        ozmu_tool::Output never(io, path);
        never.bytes() = {1, 2, 3};
    }
    EXPECT_EQ(listing(), Words{"taken"});

    for (const fs::path &bad : {dir / "taken", dir / "no_such_folder" / "out.bin"}) {
        ozmu_tool::Output output(io, bad.string());
        output.bytes().assign(1000, 7);
        EXPECT_FALSE(output.commit(&error)) << bad;
        EXPECT_NE(error, "");
        EXPECT_EQ(listing(), Words{"taken"}) << bad;  // no partial file left
        EXPECT_TRUE(fs::is_empty(dir / "taken"));
    }

    std::ofstream(path) << "an older and longer content";
    ozmu_tool::Output output(io, path);
    output.bytes() = {'n', 'e', 'w', 0, '\n'};
    ASSERT_TRUE(output.commit(&error)) << error;
    EXPECT_EQ(slurp(path), std::string("new\0\n", 5));
    EXPECT_EQ(listing(), (Words{"out.bin", "taken"}));

    ozmu_tool::Output dash(io, "-");
    dash.bytes() = {'Y', 0, 'Z'};
    ASSERT_TRUE(dash.commit(&error)) << error;
    EXPECT_EQ(slurp(io.out), std::string("Y\0Z", 3));
    EXPECT_FALSE(fs::exists("-"));
    std::fclose(io.out);
    fs::remove_all(dir);
}

// The bytes of a string as the Y4M reader takes them (the string must outlive the file).
bool parse_y4m(const std::string &text, ozmu_tool::Y4mFile *file, std::string *error)
{
    return ozmu_tool::y4m_parse(reinterpret_cast<const uint8_t *>(text.data()), text.size(), file,
                                error);
}

// A stream header's fields on one line, to compare them all at once.
std::string describe(const ozmu_tool::Y4mInfo &i)
{
    char text[200];
    std::snprintf(text, sizeof text, "%dx%d pix%d %d-bit siting%d F%d:%d A%d:%d I%c range%d C%s",
                  i.width, i.height, i.format, i.bit_depth, i.siting, i.fps_num, i.fps_den,
                  i.sar_num, i.sar_den, i.interlace, i.range, i.chroma.c_str());
    return text;
}

// pix1 I420, pix5 I422, pix6 I444, pix7 GRAY8, pix8 I010; siting1 centred; range-1 unknown.
TEST(ToolY4m, HeadersThatParse)
{
    struct Row {
        const char *header;  // after "YUV4MPEG2"
        size_t frame_size;
        const char *fields;
    };
    // clang-format off
    const Row rows[] = {
        {" W6 H4", 36, "6x4 pix1 8-bit siting1 F0:0 A0:0 I? range-1 C420jpeg"},
        {" W6 H4 C420jpeg", 36, "6x4 pix1 8-bit siting1 F0:0 A0:0 I? range-1 C420jpeg"},
        {" W6 H4 C420mpeg2", 36, "6x4 pix1 8-bit siting0 F0:0 A0:0 I? range-1 C420mpeg2"},
        {" W6 H4 C420paldv", 36, "6x4 pix1 8-bit siting0 F0:0 A0:0 I? range-1 C420paldv"},
        {" W5 H3 C420", 15 + 2 * 6, "5x3 pix1 8-bit siting0 F0:0 A0:0 I? range-1 C420"},
        {" W5 H3 C422", 15 + 2 * 9, "5x3 pix5 8-bit siting0 F0:0 A0:0 I? range-1 C422"},
        {" W5 H3 C444", 45, "5x3 pix6 8-bit siting0 F0:0 A0:0 I? range-1 C444"},
        {" W5 H3 Cmono", 15, "5x3 pix7 8-bit siting0 F0:0 A0:0 I? range-1 Cmono"},
        {" W5 H3 C420p10", 2 * (15 + 2 * 6), "5x3 pix8 10-bit siting0 F0:0 A0:0 I? range-1 C420p10"},
        {" W6 H4 F30000:1001 Ib A128:117 XCOLORRANGE=FULL", 36, "6x4 pix1 8-bit siting1 F30000:1001 A128:117 Ib range1 C420jpeg"},
        {" W6 H4 F0:1 A2:4 It XCOLORRANGE=LIMITED XYSCSS=420JPEG Zfuture", 36, "6x4 pix1 8-bit siting1 F0:0 A2:4 It range0 C420jpeg"},
        {"  H4  W6 F25:0 Im XCOLORRANGE=OTHER C444 ", 72, "6x4 pix6 8-bit siting0 F0:0 A0:0 Im range-1 C444"},
    };
    // clang-format on
    for (const Row &row : rows) {
        SCOPED_TRACE(row.header);
        const std::string header = std::string("YUV4MPEG2") + row.header;
        const std::string first = "FRAME Ip XSOMETHING=1\n", second = "FRAME\n";
        const std::string text = header + "\n" + first + std::string(row.frame_size, 'a') + second +
                                 std::string(row.frame_size, 'b');
        ozmu_tool::Y4mFile file;
        std::string error;
        ASSERT_TRUE(parse_y4m(text, &file, &error)) << error;
        EXPECT_EQ(describe(file.info), row.fields);
        EXPECT_EQ(file.info.header, header);
        EXPECT_EQ(file.frame_size, row.frame_size);
        const size_t data = header.size() + 1 + first.size();
        EXPECT_EQ(file.frame_data,
                  (std::vector<size_t>{data, data + row.frame_size + second.size()}));
        EXPECT_EQ(file.frame(1).plane[0], file.base + file.frame_data[1]);
    }
    ozmu_tool::Y4mFile empty;
    std::string error;
    EXPECT_TRUE(parse_y4m("YUV4MPEG2 W2 H2\n", &empty, &error)) << error;
    EXPECT_EQ(empty.frame_count(), 0u);
}

TEST(ToolY4m, StreamsThatAreRefused)
{
    const std::string head = "YUV4MPEG2 W2 H2 C444\n", frame = "FRAME\n" + std::string(12, 'p');
    struct Row {
        std::string text;
        const char *error;
    };
    const Row rows[] = {
        {"YUV4MPEG2 H2\n", "no width (W)"},
        {"YUV4MPEG2 W2\n", "no height (H)"},
        {"YUV4MPEG2 W0 H2\n", "out of range"},
        {"YUV4MPEG2 W2 H16385\n", "out of range"},
        {"YUV4MPEG2 W2147483648 H2\n", "bad width"},
        {"YUV4MPEG2 W99999999999 H2\n", "bad width"},
        {"YUV4MPEG2 W-2 H2\n", "bad width"},
        {"YUV4MPEG2 W2 H\n", "bad height"},
        {"YUV4MPEG2 W2 H2 F30\n", "bad frame rate"},
        {"YUV4MPEG2 W2 H2 F:1\n", "bad frame rate"},
        {"YUV4MPEG2 W2 H2 A1:\n", "bad aspect ratio"},
        {"YUV4MPEG2 W2 H2 Ipp\n", "bad interlacing"},
        {"YUV4MPEG2 W2 H2 C420p12\n", "unsupported chroma layout C420p12"},
        {"YUV4MPEG2 W2 H2 C420JPEG\n", "unsupported chroma layout"},
        {"YUV4MPEG3 W2 H2\n", "not a YUV4MPEG2 stream"},
        {"YUV4MPEG2W2 H2\n", "not a YUV4MPEG2 stream"},
        {"YUV4MPEG2 W2 H2 C444", "not terminated"},
        {head + "FRAMX\n" + std::string(12, 'p'), "frame 1: no FRAME header"},
        {head + frame + "FRAMES\n" + std::string(12, 'p'), "frame 2: no FRAME header"},
        {head + frame + "FRAME\n" + std::string(11, 'p'), "frame 2 is truncated (11 of 12 bytes)"},
        {head + frame + "FRAME", "frame 2 is truncated (0 of 12 bytes)"},
        {head + frame + "p", "frame 2: no FRAME header"},  // a byte after the last frame
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text.substr(0, 40));
        ozmu_tool::Y4mFile file;
        std::string error;
        EXPECT_FALSE(parse_y4m(row.text, &file, &error));
        EXPECT_NE(error.find(row.error), std::string::npos) << error;
    }
}

// Frames written from planes with padded, bottom-up rows read back as the same samples, and
// every header field the writer takes comes back.
TEST(ToolY4m, WrittenStreamsParseBack)
{
    using ozmu_tool::Y4mInfo;
    constexpr int kLeft = OZMU_SITING_LEFT, kFull = OZMU_RANGE_FULL, kLimited = OZMU_RANGE_LIMITED;
    struct Row {
        Y4mInfo written;     // bit depth, chroma and header are the writer's to choose
        const char *fields;  // what the reader must find
    };
    // clang-format off
    const Row rows[] = {
        {{7, 5, OZMU_PIX_I420, 0, OZMU_SITING_CENTER, kFull, 30000, 1001, 16, 11, 'p', "", ""}, "7x5 pix1 8-bit siting1 F30000:1001 A16:11 Ip range1 C420jpeg"},
        {{7, 5, OZMU_PIX_I420, 0, kLeft, kLimited, 0, 0, 0, 0, '?', "", ""}, "7x5 pix1 8-bit siting0 F25:1 A0:0 Ip range0 C420mpeg2"},
        {{7, 5, OZMU_PIX_I422, 0, kLeft, ozmu_tool::kY4mRangeUnknown, 24, 1, 1, 1, 't', "", ""}, "7x5 pix5 8-bit siting0 F24:1 A1:1 It range-1 C422"},
        {{7, 5, OZMU_PIX_I444, 0, kLeft, kFull, 50, 1, 0, 0, 'b', "", ""}, "7x5 pix6 8-bit siting0 F50:1 A0:0 Ib range1 C444"},
        {{7, 5, OZMU_PIX_GRAY8, 0, kLeft, kLimited, 1, 2, 4, 3, 'm', "", ""}, "7x5 pix7 8-bit siting0 F1:2 A4:3 Im range0 Cmono"},
        {{7, 5, OZMU_PIX_I010, 0, kLeft, kLimited, 60, 1, 0, 0, 'p', "", ""}, "7x5 pix8 10-bit siting0 F60:1 A0:0 Ip range0 C420p10"},
    };
    // clang-format on
    std::mt19937 random(7);
    for (const Row &row : rows) {
        SCOPED_TRACE(row.fields);
        std::vector<uint8_t> stream;
        ASSERT_TRUE(ozmu_tool::y4m_write_header(row.written, &stream));
        const int format = row.written.format;
        int planes = 0, rows_of[4];
        size_t min_stride[4];
        ASSERT_EQ(ozmu_frame_layout(format, 7, 5, &planes, min_stride, rows_of), OZMU_OK);
        // Two frames from padded planes stored bottom-up.
        std::vector<uint8_t> samples[2][4];
        ozmu_frame frames[2];
        for (size_t i = 0; i < 2; ++i) {
            frames[i] = ozmu_frame{format, 7, 5, {}, {}};
            for (int k = 0; k < planes; ++k) {
                const ptrdiff_t stride = ptrdiff_t(min_stride[k]) + 5;
                samples[i][k].resize(size_t(stride) * size_t(rows_of[k]));
                for (uint8_t &b : samples[i][k])
                    b = static_cast<uint8_t>(random());
                frames[i].plane[k] = samples[i][k].data() + stride * (rows_of[k] - 1);
                frames[i].stride[k] = -stride;
            }
            ozmu_tool::y4m_write_frame(frames[i], &stream);
        }

        ozmu_tool::Y4mFile file;
        std::string error;
        ASSERT_TRUE(ozmu_tool::y4m_parse(stream.data(), stream.size(), &file, &error)) << error;
        EXPECT_EQ(describe(file.info), row.fields);
        ASSERT_EQ(file.frame_count(), 2u);
        for (size_t i = 0; i < 2; ++i) {
            const ozmu_frame read = file.frame(i);
            EXPECT_EQ(read.format, format);
            for (int k = 0; k < planes; ++k)
                for (int r = 0; r < rows_of[k]; ++r)
                    ASSERT_EQ(0, std::memcmp(read.plane[k] + r * read.stride[k],
                                             frames[i].plane[k] + r * frames[i].stride[k],
                                             min_stride[k]))
                        << "frame " << i << " plane " << k << " row " << r;
        }
    }
    Y4mInfo nv12;
    nv12.format = OZMU_PIX_NV12;
    std::vector<uint8_t> untouched{42};
    EXPECT_FALSE(ozmu_tool::y4m_write_header(nv12, &untouched));
    EXPECT_EQ(untouched, std::vector<uint8_t>{42});
}

// An elementary stream built unit by unit: add() puts a start code (four bytes when asked)
// before the bytes and returns where the start code begins.
struct Stream {
    std::vector<uint8_t> bytes;
    size_t add(std::initializer_list<uint8_t> unit, bool four_byte_code = false)
    {
        const size_t at = bytes.size();
        if (four_byte_code)
            bytes.push_back(0);
        bytes.insert(bytes.end(), {0, 0, 1});
        bytes.insert(bytes.end(), unit);
        return at;
    }
};

struct WantUnit {
    size_t offset;
    char picture_type;
    bool library_key, random_access;
};

void expect_units(ozmu_tool::Codec codec, const std::vector<uint8_t> &bytes,
                  const std::vector<WantUnit> &want)
{
    const auto units = ozmu_tool::split_access_units(codec, bytes.data(), bytes.size());
    ASSERT_EQ(units.size(), want.size());
    for (size_t i = 0; i < units.size(); ++i) {
        SCOPED_TRACE("unit " + std::to_string(i));
        const size_t end = i + 1 < want.size() ? want[i + 1].offset : bytes.size();
        EXPECT_EQ(units[i].offset, want[i].offset);
        EXPECT_EQ(units[i].size, end - want[i].offset);
        EXPECT_EQ(units[i].picture_type, want[i].picture_type);
        EXPECT_EQ(units[i].library_key, want[i].library_key);
        EXPECT_EQ(units[i].random_access, want[i].random_access);
    }
}

// Slice headers below: first_mb_in_slice ue, slice_type ue (5 P, 6 B, 7 I), then stop bits.
TEST(ToolAccessUnits, H264)
{
    Stream s;
    s.bytes = {0x00};           // bytes before the first start code belong to the first unit
    s.add({0x09, 0x10}, true);  // delimiter
    s.add({0x67, 0x42, 0x00, 0x1E, 0xAB}, true);       // SPS
    s.add({0x68, 0xCE, 0x38, 0x80});                   // PPS
    s.add({0x65, 0x88, 0x80});                         // IDR slice, MB 0, I
    s.add({0x65, 0x42, 0x20});                         // IDR slice, MB 1: the same picture
    s.add({0x0C, 0xFF, 0x80});                         // filler stays
    const size_t p = s.add({0x41, 0x9A, 0x80}, true);  // MB 0, P: the next picture
    s.add({0x01, 0x47, 0x80});                         // MB 1, B
    s.add({0x21, 0x62, 0x20});                         // MB 2, I: still B (B outranks)
    s.bytes.insert(s.bytes.end(), {0, 0});             // trailing zeros stay behind
    // Recovery point SEI (payload type 6) after a type-5 message, then a non-IDR I slice.
    const size_t recovery = s.add({0x06, 0x05, 0x02, 0xAA, 0xBB, 0x06, 0x01, 0x84, 0x80}, true);
    s.add({0x21, 0x88, 0x80});
    s.add({0x0A});                                             // end of sequence stays
    const size_t sei = s.add({0x06, 0x05, 0x01, 0x06, 0x80});  // no recovery point in it
    s.add({0x41, 0x9A, 0x80});
    const size_t pps = s.add({0x68, 0xCE, 0x38, 0x80});  // a parameter set opens a unit
    s.add({0x65, 0x88, 0x80});
    s.bytes.insert(s.bytes.end(), {0, 0, 0});
    expect_units(ozmu_tool::Codec::kH264, s.bytes,
                 {{0, 'I', true, true},
                  {p, 'B', false, false},
                  {recovery, 'I', false, true},
                  {sei, 'P', false, false},
                  {pps, 'I', true, true}});
}

// Slice segment headers: first_slice_segment_in_pic_flag, no_output_of_prior_pics_flag (IRAP),
// PPS id ue, the PPS's two extra bits, slice_type ue (0 B, 1 P, 2 I).
TEST(ToolAccessUnits, Hevc)
{
    Stream s;
    s.add({0x40, 0x01, 0x0C, 0x01}, true);                 // VPS
    s.add({0x42, 0x01, 0x01, 0x60});                       // SPS
    s.add({0x44, 0x01, 0xC5, 0x80});                       // PPS 0: num_extra_slice_header_bits 2
    s.add({0x26, 0x01, 0xBB, 0x80});                       // IDR_W_RADL, first segment, I
    s.add({0x26, 0x01, 0x40, 0x80});                       // a later segment of the same picture
    s.add({0x50, 0x01, 0x05, 0x80});                       // suffix SEI stays
    const size_t trail = s.add({0x02, 0x01, 0xF5}, true);  // TRAIL_R, first segment, P
    s.add({0x02, 0x09, 0xF5});  // first segment of layer 1: the same access unit
    const size_t aud = s.add({0x46, 0x01, 0x50}, true);
    s.add({0x4E, 0x01, 0x05, 0x01, 0x00, 0x80});         // prefix SEI
    s.add({0x2A, 0x01, 0xBB, 0x80});                     // CRA, I
    const size_t trail_n = s.add({0x00, 0x01, 0xFC});    // TRAIL_N, B
    const size_t idr = s.add({0x28, 0x01, 0xBB, 0x80});  // IDR_N_LP with no parameter sets
    // The library looks at the first NAL unit only: a unit opening with a VPS is not key.
    expect_units(ozmu_tool::Codec::kHevc, s.bytes,
                 {{0, 'I', false, true},
                  {trail, 'P', false, false},
                  {aud, 'I', false, true},
                  {trail_n, 'B', false, false},
                  {idr, 'I', true, true}});
}

TEST(ToolAccessUnits, Mpeg4)
{
    Stream s;
    s.add({0xB0, 0x01}, true);  // visual object sequence
    s.add({0xB5, 0x09});        // visual object
    s.add({0x20, 0x08, 0x84});  // video object layer
    s.add({0xB6, 0x10, 0x55});  // I-VOP
    const size_t p = s.add({0xB6, 0x50, 0x55});
    const size_t gov = s.add({0xB3, 0x00, 0x10});
    s.add({0xB2, 0x41, 0x42});  // user data
    s.add({0xB6, 0x10, 0x66});
    const size_t b = s.add({0xB6, 0x90, 0x11});
    s.add({0xB1});  // end of sequence stays with the last VOP
    const size_t sprite = s.add({0xB6, 0xD0});
    expect_units(ozmu_tool::Codec::kMpeg4, s.bytes,
                 {{0, 'I', true, true},
                  {p, 'P', false, false},
                  {gov, 'I', true, true},
                  {b, 'B', false, false},
                  {sprite, 'S', false, false}});
}

TEST(ToolPng, BottomUpPicturesRoundTripAndDamageIsRefused)
{
    if (!ozmu_tool::png_available())
        GTEST_SKIP() << "the tool was built without libpng";
    ozmu_tool::PngPicture picture;
    std::string error;
    auto decode = [&](const uint8_t *data, size_t size) {
        return ozmu_tool::png_decode(data, size, ozmu_tool::PngChannels::kNative, &picture, &error);
    };
    std::mt19937 random(11);
    for (const int channels : {3, 4}) {
        SCOPED_TRACE(channels);
        const int width = 5, height = 3;
        const ptrdiff_t stride = width * channels + 2;
        std::vector<uint8_t> memory(size_t(stride) * height);
        for (uint8_t &b : memory)
            b = static_cast<uint8_t>(random());
        const uint8_t *top = memory.data() + stride * (height - 1);
        std::vector<uint8_t> file{0x5A};  // encoding appends
        ASSERT_TRUE(ozmu_tool::png_encode(top, width, height, -stride, channels, &file, &error))
            << error;
        ASSERT_EQ(file[0], 0x5A);
        ASSERT_TRUE(decode(file.data() + 1, file.size() - 1)) << error;
        EXPECT_EQ(std::to_string(picture.width) + "x" + std::to_string(picture.height) + "x" +
                      std::to_string(picture.channels),
                  "5x3x" + std::to_string(channels));
        std::vector<uint8_t> want;
        for (int y = 0; y < height; ++y)
            want.insert(want.end(), top - y * stride, top - y * stride + width * channels);
        EXPECT_EQ(picture.pixels, want);

        for (size_t cut = 1; cut < file.size() - 1; ++cut)  // ASan watches the reads
            EXPECT_FALSE(decode(file.data() + 1, cut)) << cut;
        EXPECT_FALSE(decode(file.data() + 1, file.size() / 2));
        EXPECT_NE(error.find("truncated"), std::string::npos) << error;

        std::vector<uint8_t> unchanged{1};  // rows overlapping: refused, nothing appended
        EXPECT_FALSE(ozmu_tool::png_encode(top, width, height, width * channels - 1, channels,
                                           &unchanged, &error));
        EXPECT_EQ(unchanged, std::vector<uint8_t>{1});
    }
    const std::string y4m = "YUV4MPEG2 W2 H2\n";
    EXPECT_FALSE(decode(reinterpret_cast<const uint8_t *>(y4m.data()), y4m.size()));
    EXPECT_EQ(error, "not a PNG file");
}

}  // namespace
