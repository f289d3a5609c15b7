// FourCC and WAVE-tag look-ups: one switch per category. Codes are spelled in file order and
// turned into the little-endian integer callers pass, so every case label reads as the code a
// container stores.
#include <cstdint>

#include "ozmu.h"

namespace ozmu::media {
namespace {

consteval uint32_t fcc(const char (&code)[5])
{
    return uint32_t(uint8_t(code[0])) | uint32_t(uint8_t(code[1])) << 8 |
           uint32_t(uint8_t(code[2])) << 16 | uint32_t(uint8_t(code[3])) << 24;
}
static_assert(fcc("avc1") == 0x31637661u && fcc("aac ") == 0x20636161u);
// clang-format off

int video(uint32_t code)
{
    switch (code) {
    case fcc("MP4V"): case fcc("mp4v"): case fcc("XVID"): case fcc("xvid"): case fcc("DIVX"):
    case fcc("divx"): case fcc("DX50"): case fcc("dx50"): case fcc("FMP4"): case fcc("M4S2"):
    case fcc("m4s2"):
    // DIV4 files are decoded as MPEG-4 Part 2 by the players this table serves, not as DIV3.
    case fcc("DIV4"): case fcc("div4"):
        return OZMU_MT_MPEG4;
    case fcc("H263"): case fcc("h263"): case fcc("d263"): case fcc("s263"):
        return OZMU_MT_H263;
    case fcc("H264"): case fcc("h264"): case fcc("x264"): case fcc("AVC1"): case fcc("avc1"):
    case fcc("avcC"):
        return OZMU_MT_H264;
    case fcc("WMV1"): case fcc("wmv1"): return OZMU_MT_WMV1;
    case fcc("WMV2"): case fcc("wmv2"): return OZMU_MT_WMV2;
    case fcc("WMV3"): case fcc("wmv3"): return OZMU_MT_WMV3;
    case fcc("DIV3"): case fcc("div3"): return OZMU_MT_DIV3;
    case fcc("RV10"): return OZMU_MT_RV10;
    case fcc("RV20"): return OZMU_MT_RV20;
    case fcc("RV30"): return OZMU_MT_RV30;
    case fcc("RV40"): return OZMU_MT_RV40;
    case fcc("MP43"): case fcc("mp43"): return OZMU_MT_MP43;
    case fcc("WVC1"): case fcc("wvc1"): return OZMU_MT_VC1;
    case fcc("VP80"): return OZMU_MT_VP8;
    case fcc("HVC1"): case fcc("hvc1"): case fcc("hvcC"): case fcc("H265"): case fcc("h265"):
    case fcc("x265"):
        return OZMU_MT_HEVC;
    case fcc("HFYU"): return OZMU_MT_HFYU;
    default: return OZMU_MT_VIDEO_UNKNOWN;
    }
}

int audio(uint32_t code)
{
    switch (code) {
    // WAVE format tags
    case 0x0001: return OZMU_MT_PCM;
    case 0x0006: return OZMU_MT_ALAW;
    case 0x0007: return OZMU_MT_MULAW;
    case 0x0050: return OZMU_MT_MPEG_AUDIO;
    case 0x0055: return OZMU_MT_MP3;
    case 0x00FF: return OZMU_MT_AAC;
    case 0x2000: return OZMU_MT_AC3;
    case 0x2001: return OZMU_MT_DTS;
    case 0x0160: case 0x0161: return OZMU_MT_WMA;
    case 0x0162: return OZMU_MT_WMA_PRO;
    case 0x0163: return OZMU_MT_WMA_LOSSLESS;
    // FourCCs
    case fcc("aac "): case fcc("mp4a"): return OZMU_MT_AAC;
    case fcc("samr"): return OZMU_MT_AMR_NB;
    case fcc("sawb"): return OZMU_MT_AMR_WB;
    case fcc("sqcp"): case fcc("dqcp"): return OZMU_MT_QCELP;
    case fcc("evrc"): return OZMU_MT_EVRC;
    case fcc("sipr"): return OZMU_MT_SIPR;
    case fcc("cook"): return OZMU_MT_COOK;
    default: return OZMU_MT_AUDIO_UNKNOWN;
    }
}

// The SRT, ASS and SSA codes are this library's own integers; spelled in file order they read
// "SSRT", "SASS" and "SSSA", and callers depend on exactly these values.
int subtitle(uint32_t code)
{
    switch (code) {
    case fcc("SSRT"): return OZMU_MT_SUB_SRT;
    case fcc("TX3G"): case fcc("tx3g"): case fcc("SBTL"): case fcc("sbtl"):
        return OZMU_MT_SUB_TX3G;
    case fcc("SASS"): return OZMU_MT_SUB_ASS;
    case fcc("SSSA"): return OZMU_MT_SUB_SSA;
    default: return OZMU_MT_SUB_UNKNOWN;
    }
}

int drm(uint32_t code)
{
    return code == fcc("DIVX") || code == fcc("divx") ? OZMU_MT_DRM_DIVX : OZMU_MT_DRM_UNKNOWN;
}
// clang-format on

}  // namespace
}  // namespace ozmu::media

using namespace ozmu::media;

extern "C" {

int ozmu_fcc2mt_vid(int code) { return video(uint32_t(code)); }
int ozmu_fcc2mt_aud(int code) { return audio(uint32_t(code)); }
int ozmu_fcc2mt_sub(int code) { return subtitle(uint32_t(code)); }
int ozmu_fcc2mt_drm(int code) { return drm(uint32_t(code)); }

int ozmu_fcc2mt(int code)
{
    const uint32_t c = uint32_t(code);
    if (const int v = video(c); v != OZMU_MT_VIDEO_UNKNOWN)
        return v;
    if (const int a = audio(c); a != OZMU_MT_AUDIO_UNKNOWN)
        return a;
    if (const int s = subtitle(c); s != OZMU_MT_SUB_UNKNOWN)
        return s;
    return OZMU_MT_UNKNOWN;
}

}  // extern "C"
