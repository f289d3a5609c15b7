// FourCC and WAVE-tag look-ups against the published tables: every code, every code one bit away
// (which covers each single change of case), every WAVE tag and random codes.
#include <gtest/gtest.h>

#include <map>
#include <string_view>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"

namespace {

struct Row {
    int mt;
    std::string_view codes;  // FourCCs in file order, each followed by '|'
    std::vector<uint32_t> tags = {};
};

struct Category {
    int (*lookup)(int);
    int unknown;
    std::vector<Row> rows;
};

// Kept cells: DIV4 is MPEG-4, not DIV3; RV, VP80 and HFYU are upper case only; the subtitle codes
// are the library's own integers ("SSRT", not "SRT "); DIVX is video to ozmu_fcc2mt.
const Category kCategories[] = {
    {ozmu_fcc2mt_vid,
     OZMU_MT_VIDEO_UNKNOWN,
     {{102, "MP4V|mp4v|XVID|xvid|DIVX|divx|DX50|dx50|FMP4|DIV4|div4|M4S2|m4s2|"},
      {103, "H263|h263|d263|s263|"},
      {104, "H264|h264|x264|AVC1|avc1|avcC|"},
      {105, "WMV1|wmv1|"},
      {106, "WMV2|wmv2|"},
      {107, "WMV3|wmv3|"},
      {110, "DIV3|div3|"},
      {113, "RV10|"},
      {114, "RV20|"},
      {115, "RV30|"},
      {116, "RV40|"},
      {117, "MP43|mp43|"},
      {118, "WVC1|wvc1|"},
      {119, "VP80|"},
      {122, "HFYU|"},
      {120, "HVC1|hvc1|hvcC|H265|h265|x265|"}}},
    {ozmu_fcc2mt_aud,
     OZMU_MT_AUDIO_UNKNOWN,
     {{300, "", {0x0001}},
      {301, "", {0x0006}},
      {302, "", {0x0007}},
      {304, "", {0x0050}},
      {305, "", {0x0055}},
      {306, "aac |mp4a|", {0x00FF}},
      {307, "", {0x2000}},
      {308, "", {0x2001}},
      {309, "samr|"},
      {310, "sawb|"},
      {311, "sqcp|dqcp|"},
      {312, "", {0x0160, 0x0161}},
      {313, "", {0x0162}},
      {314, "", {0x0163}},
      {321, "evrc|"},
      {331, "sipr|"},
      {332, "cook|"}}},
    {ozmu_fcc2mt_sub,
     OZMU_MT_SUB_UNKNOWN,
     {{3000, "SSRT|"}, {3006, "TX3G|tx3g|SBTL|sbtl|"}, {3007, "SASS|"}, {3008, "SSSA|"}}},
    {ozmu_fcc2mt_drm, OZMU_MT_DRM_UNKNOWN, {{1100, "DIVX|divx|"}}}};

constexpr uint32_t fourcc(std::string_view s)
{
    return uint32_t(uint8_t(s[0])) | uint32_t(uint8_t(s[1])) << 8 | uint32_t(uint8_t(s[2])) << 16 |
           uint32_t(uint8_t(s[3])) << 24;
}
static_assert(fourcc("avc1") == 0x31637661 && fourcc("aac ") == 0x20636161 &&
              fourcc("SSRT") == 0x54525353 && fourcc("SSSA") == 0x41535353);

TEST(FourCC, TablesExactly)
{
    std::vector<std::map<uint32_t, int>> tables;
    std::vector<uint32_t> probes = {0, 0x80000000u, 0xFFFFFFFFu, 0x20202020u};
    for (const Category &c : kCategories) {
        auto &table = tables.emplace_back();
        for (const Row &row : c.rows) {
            for (size_t i = 0; i + 5 <= row.codes.size(); i += 5)
                table[fourcc(row.codes.substr(i, 4))] = row.mt;
            for (uint32_t tag : row.tags)
                table[tag] = row.mt;
        }
        for (const auto &[code, mt] : table)
            for (int bit = -1; bit < 32; ++bit)
                probes.push_back(bit < 0 ? code : code ^ (1u << bit));
    }
    for (uint32_t tag = 0; tag < 0x10000; ++tag)
        probes.push_back(tag);
    ozmu::test::Rng rng(0x4CC);
    for (int i = 0; i < 20000; ++i)
        probes.push_back(rng.u32());

    for (uint32_t v : probes) {
        int any = OZMU_MT_UNKNOWN;  // video, then audio, then subtitles; never DRM
        for (int k = 0; k < 4; ++k) {
            const Category &c = kCategories[k];
            const auto row = tables[k].find(v);
            const int expected = row == tables[k].end() ? c.unknown : row->second;
            ASSERT_EQ(c.lookup(int(v)), expected) << k << ": 0x" << std::hex << v;
            if (k < 3 && any == OZMU_MT_UNKNOWN && expected != c.unknown)
                any = expected;
        }
        ASSERT_EQ(ozmu_fcc2mt(int(v)), any) << "0x" << std::hex << v;
    }
}

}  // namespace
