// FourCC and WAVE-tag look-ups against the published tables: every code, its integer spelling,
// every code one bit away, every WAVE tag, and the cells that look wrong but are kept.
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"

namespace {

struct Code {
    const char *chars;  // in file order
    uint32_t value;     // the integer as published
    int mt;
};

// Each table as published, code by code.
const std::vector<Code> kVideo = {
    {"MP4V", 0x5634504D, 102}, {"mp4v", 0x7634706D, 102}, {"XVID", 0x44495658, 102},
    {"xvid", 0x64697678, 102}, {"DIVX", 0x58564944, 102}, {"divx", 0x78766964, 102},
    {"DX50", 0x30355844, 102}, {"dx50", 0x30357864, 102}, {"FMP4", 0x34504D46, 102},
    {"DIV4", 0x34564944, 102}, {"div4", 0x34766964, 102}, {"M4S2", 0x3253344D, 102},
    {"m4s2", 0x3273346D, 102}, {"H263", 0x33363248, 103}, {"h263", 0x33363268, 103},
    {"d263", 0x33363264, 103}, {"s263", 0x33363273, 103}, {"H264", 0x34363248, 104},
    {"h264", 0x34363268, 104}, {"x264", 0x34363278, 104}, {"AVC1", 0x31435641, 104},
    {"avc1", 0x31637661, 104}, {"avcC", 0x43637661, 104}, {"WMV1", 0x31564D57, 105},
    {"wmv1", 0x31766D77, 105}, {"WMV2", 0x32564D57, 106}, {"wmv2", 0x32766D77, 106},
    {"WMV3", 0x33564D57, 107}, {"wmv3", 0x33766D77, 107}, {"DIV3", 0x33564944, 110},
    {"div3", 0x33766964, 110}, {"RV10", 0x30315652, 113}, {"RV20", 0x30325652, 114},
    {"RV30", 0x30335652, 115}, {"RV40", 0x30345652, 116}, {"MP43", 0x3334504D, 117},
    {"mp43", 0x3334706D, 117}, {"WVC1", 0x31435657, 118}, {"wvc1", 0x31637677, 118},
    {"VP80", 0x30385056, 119}, {"HVC1", 0x31435648, 120}, {"hvc1", 0x31637668, 120},
    {"hvcC", 0x43637668, 120}, {"H265", 0x35363248, 120}, {"h265", 0x35363268, 120},
    {"x265", 0x35363278, 120}, {"HFYU", 0x55594648, 122}};
const std::vector<Code> kAudio = {
    {nullptr, 0x0001, 300}, {nullptr, 0x0006, 301}, {nullptr, 0x0007, 302},
    {nullptr, 0x0050, 304}, {nullptr, 0x0055, 305}, {nullptr, 0x00FF, 306},
    {"aac ", 0x20636161, 306}, {"mp4a", 0x6134706D, 306}, {nullptr, 0x2000, 307},
    {nullptr, 0x2001, 308}, {"samr", 0x726D6173, 309}, {"sawb", 0x62776173, 310},
    {"sqcp", 0x70637173, 311}, {"dqcp", 0x70637164, 311}, {nullptr, 0x0160, 312},
    {nullptr, 0x0161, 312}, {nullptr, 0x0162, 313}, {nullptr, 0x0163, 314},
    {"evrc", 0x63727665, 321}, {"sipr", 0x72706973, 331}, {"cook", 0x6B6F6F63, 332}};
const std::vector<Code> kSubtitle = {{"SSRT", 0x54525353, 3000}, {"TX3G", 0x47335854, 3006},
                                     {"tx3g", 0x67337874, 3006}, {"SBTL", 0x4C544253, 3006},
                                     {"sbtl", 0x6C746273, 3006}, {"SASS", 0x53534153, 3007},
                                     {"SSSA", 0x41535353, 3008}};
const std::vector<Code> kDrm = {{"DIVX", 0x58564944, 1100}, {"divx", 0x78766964, 1100}};

struct Category {
    const char *name;
    int (*lookup)(int);
    const std::vector<Code> &codes;
    int unknown;
};
const Category kCategories[] = {{"video", ozmu_fcc2mt_vid, kVideo, OZMU_MT_VIDEO_UNKNOWN},
                                {"audio", ozmu_fcc2mt_aud, kAudio, OZMU_MT_AUDIO_UNKNOWN},
                                {"subtitle", ozmu_fcc2mt_sub, kSubtitle, OZMU_MT_SUB_UNKNOWN},
                                {"drm", ozmu_fcc2mt_drm, kDrm, OZMU_MT_DRM_UNKNOWN}};

int fourcc(const char *s) { return OZMU_FOURCC(s[0], s[1], s[2], s[3]); }

std::map<uint32_t, int> table_of(const Category &c)
{
    std::map<uint32_t, int> m;
    for (const Code &code : c.codes)
        m[code.value] = code.mt;
    return m;
}

// What ozmu_fcc2mt must answer: video, audio or subtitle row, else 0.
int expected_any(uint32_t v)
{
    static const std::map<uint32_t, int> tables[] = {
        table_of(kCategories[0]), table_of(kCategories[1]), table_of(kCategories[2])};
    for (const auto &table : tables)
        if (const auto row = table.find(v); row != table.end())
            return row->second;
    return OZMU_MT_UNKNOWN;
}

TEST(FourCC, EveryPublishedCodeMapsToItsRow)
{
    for (const Category &c : kCategories) {
        SCOPED_TRACE(c.name);
        for (const Code &code : c.codes) {
            if (code.chars) {
                SCOPED_TRACE(code.chars);
                EXPECT_EQ(uint32_t(fourcc(code.chars)), code.value) << "byte order";
            }
            EXPECT_EQ(c.lookup(int(code.value)), code.mt);
            // The DRM codes are video codes to the general look-up.
            EXPECT_EQ(ozmu_fcc2mt(int(code.value)), &c.codes == &kDrm ? OZMU_MT_MPEG4 : code.mt);
        }
    }
    // The categories share no code, so the general look-up's order never matters.
    std::map<uint32_t, int> seen;
    for (int k = 0; k < 3; ++k)
        for (const Code &code : kCategories[k].codes)
            EXPECT_EQ(seen[code.value]++, 0) << std::hex << code.value;
}

// Every code one bit away from a listed one (which covers every single case change) is unknown
// unless it is itself listed; so are random codes and every other WAVE tag.
TEST(FourCC, CodesOutsideTheTablesAreUnknown)
{
    std::vector<uint32_t> probes;
    for (const Category &c : kCategories)
        for (const Code &code : c.codes)
            for (int bit = 0; bit < 32; ++bit)
                probes.push_back(code.value ^ (1u << bit));
    ozmu::test::Rng rng(0x4CC);
    for (int i = 0; i < 20000; ++i)
        probes.push_back(rng.u32());
    for (uint32_t tag = 0; tag < 0x10000; ++tag)
        probes.push_back(tag);
    for (const uint32_t v : {0u, 0x80000000u, 0xFFFFFFFFu, 0x20202020u})
        probes.push_back(v);

    for (const Category &c : kCategories) {
        const auto table = table_of(c);
        for (uint32_t v : probes) {
            const auto row = table.find(v);
            ASSERT_EQ(c.lookup(int(v)), row == table.end() ? c.unknown : row->second)
                << c.name << " 0x" << std::hex << v;
        }
    }
    for (uint32_t v : probes)
        ASSERT_EQ(ozmu_fcc2mt(int(v)), expected_any(v)) << "0x" << std::hex << v;
}

TEST(FourCC, KeptCells)
{
    // DIV4 is MPEG-4 Part 2, not DIV3's own type.
    EXPECT_EQ(ozmu_fcc2mt_vid(fourcc("DIV4")), OZMU_MT_MPEG4);
    EXPECT_EQ(ozmu_fcc2mt_vid(fourcc("div4")), OZMU_MT_MPEG4);
    EXPECT_EQ(ozmu_fcc2mt_vid(fourcc("DIV3")), OZMU_MT_DIV3);
    // DIVX: a video code to the general look-up, a DRM scheme to its own.
    EXPECT_EQ(ozmu_fcc2mt(fourcc("DIVX")), OZMU_MT_MPEG4);
    EXPECT_EQ(ozmu_fcc2mt_drm(fourcc("DIVX")), OZMU_MT_DRM_DIVX);
    EXPECT_EQ(ozmu_fcc2mt_drm(fourcc("XVID")), OZMU_MT_DRM_UNKNOWN);
    // Upper case only.
    for (const char *code : {"rv10", "rv20", "rv30", "rv40", "vp80", "hfyu", "Avc1"})
        EXPECT_EQ(ozmu_fcc2mt_vid(fourcc(code)), OZMU_MT_VIDEO_UNKNOWN) << code;
    // Only the four listed spellings are H.263; "x265" is HEVC but "x263" nothing.
    EXPECT_EQ(ozmu_fcc2mt_vid(fourcc("x263")), OZMU_MT_VIDEO_UNKNOWN);
    EXPECT_EQ(ozmu_fcc2mt_vid(fourcc("x265")), OZMU_MT_HEVC);
    // Subtitles answer to the library's own integers, not to the usual spellings.
    for (const char *code : {"SRT ", "srt ", "ASS ", "SSA ", "TRSS", "text"})
        EXPECT_EQ(ozmu_fcc2mt_sub(fourcc(code)), OZMU_MT_SUB_UNKNOWN) << code;
    EXPECT_EQ(ozmu_fcc2mt_sub(0x54525353), OZMU_MT_SUB_SRT);
    EXPECT_EQ(ozmu_fcc2mt(0x41535353), OZMU_MT_SUB_SSA);
    // WAVE tags are plain numbers: 0x55 is MP3, its neighbour nothing anywhere.
    EXPECT_EQ(ozmu_fcc2mt_aud(0x55), OZMU_MT_MP3);
    EXPECT_EQ(ozmu_fcc2mt_aud(0x56), OZMU_MT_AUDIO_UNKNOWN);
    EXPECT_EQ(ozmu_fcc2mt(0x56), OZMU_MT_UNKNOWN);
    EXPECT_EQ(ozmu_fcc2mt(0xFF), OZMU_MT_AAC);
    EXPECT_EQ(ozmu_fcc2mt(fourcc("aac ")), OZMU_MT_AAC);
    EXPECT_EQ(ozmu_fcc2mt(fourcc("tx3g")), OZMU_MT_SUB_TX3G);
}

}  // namespace
