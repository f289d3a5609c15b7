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
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ozmu.h"
#include "png_io.h"
#include "tool.h"

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

}  // namespace
