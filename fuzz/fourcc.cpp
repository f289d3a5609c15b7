// FourCC and WAVE-tag look-ups on arbitrary codes, on every known code and on near misses of
// them (one byte changed, case flipped, a tag moved by one): each category answer must equal the
// table model below (so it lies in its category's range, its unknown value included), the DRM
// look-up knows only "DIVX" and "divx", and the all-category answer must be the first hit of
// video, audio and subtitles, or 0.
#include <cstdint>
#include <cstring>
#include <iterator>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;

struct Entry {
    const char *code;  // four characters, or null for a WAVE tag
    int tag, mt;
};
const Entry kVideo[] = {
    {"MP4V", 0, 102}, {"mp4v", 0, 102}, {"XVID", 0, 102}, {"xvid", 0, 102}, {"DIVX", 0, 102},
    {"divx", 0, 102}, {"DX50", 0, 102}, {"dx50", 0, 102}, {"FMP4", 0, 102}, {"DIV4", 0, 102},
    {"div4", 0, 102}, {"M4S2", 0, 102}, {"m4s2", 0, 102}, {"H263", 0, 103}, {"h263", 0, 103},
    {"d263", 0, 103}, {"s263", 0, 103}, {"H264", 0, 104}, {"h264", 0, 104}, {"x264", 0, 104},
    {"AVC1", 0, 104}, {"avc1", 0, 104}, {"avcC", 0, 104}, {"WMV1", 0, 105}, {"wmv1", 0, 105},
    {"WMV2", 0, 106}, {"wmv2", 0, 106}, {"WMV3", 0, 107}, {"wmv3", 0, 107}, {"DIV3", 0, 110},
    {"div3", 0, 110}, {"RV10", 0, 113}, {"RV20", 0, 114}, {"RV30", 0, 115}, {"RV40", 0, 116},
    {"MP43", 0, 117}, {"mp43", 0, 117}, {"WVC1", 0, 118}, {"wvc1", 0, 118}, {"VP80", 0, 119},
    {"HVC1", 0, 120}, {"hvc1", 0, 120}, {"hvcC", 0, 120}, {"H265", 0, 120}, {"h265", 0, 120},
    {"x265", 0, 120}, {"HFYU", 0, 122}};
const Entry kAudio[] = {{nullptr, 1, 300},      {nullptr, 6, 301},    {nullptr, 7, 302},
                        {nullptr, 0x50, 304},   {nullptr, 0x55, 305}, {nullptr, 0xFF, 306},
                        {"aac ", 0, 306},       {"mp4a", 0, 306},     {nullptr, 0x2000, 307},
                        {nullptr, 0x2001, 308}, {"samr", 0, 309},     {"sawb", 0, 310},
                        {"sqcp", 0, 311},       {"dqcp", 0, 311},     {nullptr, 352, 312},
                        {nullptr, 353, 312},    {nullptr, 354, 313},  {nullptr, 355, 314},
                        {"evrc", 0, 321},       {"sipr", 0, 331},     {"cook", 0, 332}};
const Entry kSub[] = {{"SSRT", 0, 3000}, {"TX3G", 0, 3006}, {"tx3g", 0, 3006}, {"SBTL", 0, 3006},
                      {"sbtl", 0, 3006}, {"SASS", 0, 3007}, {"SSSA", 0, 3008}};

int code_of(const Entry &e)
{
    if (!e.code)
        return e.tag;
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = v << 8 | static_cast<uint8_t>(e.code[i]);  // first character least significant
    return static_cast<int>(v);
}

template <size_t N>
int look_up(const Entry (&table)[N], int code, int unknown)
{
    for (const Entry &e : table)
        if (code_of(e) == code)
            return e.mt;
    return unknown;
}

void check_code(int code)
{
    const int v = ozmu_fcc2mt_vid(code), a = ozmu_fcc2mt_aud(code), s = ozmu_fcc2mt_sub(code);
    check(v == look_up(kVideo, code, 299) && a == look_up(kAudio, code, 499) &&
          s == look_up(kSub, code, 3199));
    const bool divx =
        code == OZMU_FOURCC('D', 'I', 'V', 'X') || code == OZMU_FOURCC('d', 'i', 'v', 'x');
    check(ozmu_fcc2mt_drm(code) == (divx ? 1100 : 1299));
    check(ozmu_fcc2mt(code) == (v != 299 ? v : a != 499 ? a : s != 3199 ? s : 0));
}

const Entry &known(uint8_t pick)
{
    const size_t nv = std::size(kVideo), na = std::size(kAudio), n = nv + na + std::size(kSub);
    const size_t i = pick % n;
    return i < nv ? kVideo[i] : i < nv + na ? kAudio[i - nv] : kSub[i - nv - na];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    for (size_t i = 0; i + 4 <= size && i < 256; i += 4) {  // 64 codes are plenty
        int32_t raw;
        std::memcpy(&raw, data + i, 4);
        check_code(raw);
        // A known code, then the same with byte (b >> 2) & 3 changed by the input's first byte.
        const int code = code_of(known(data[i + 1]));
        check_code(code);
        const int shift = 8 * ((data[i + 2] >> 2) & 3);
        const uint32_t delta = data[i + 2] & 1 ? 0x20u : static_cast<uint32_t>(data[i + 3]);
        check_code(static_cast<int>(static_cast<uint32_t>(code) ^ (delta << shift)));
        check_code(code + static_cast<int8_t>(data[i + 3]));
    }
    return 0;
}
