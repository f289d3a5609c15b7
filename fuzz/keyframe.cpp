// Key-frame test on arbitrary frames under every media type: the exported scanner must agree with
// the one-offset-at-a-time definition and read only what the header allows (the frame, plus one
// byte for H.263 and the first byte for the WMV types), which the exact-size copies below let
// the sanitizer check. The FourCC look-ups run on the first bytes as a bonus.
#include <cstdint>
#include <cstring>
#include <memory>

#include "media/keyframe.h"
#include "ozmu.h"

namespace {

bool reads_past_end(int mt)
{
    return mt == OZMU_MT_H263 || mt == OZMU_MT_H263_ALT || mt == OZMU_MT_WMV1 ||
           mt == OZMU_MT_WMV2 || mt == OZMU_MT_DIV3;
}

void check_fourcc(int code)
{
    const int v = ozmu_fcc2mt_vid(code), a = ozmu_fcc2mt_aud(code), s = ozmu_fcc2mt_sub(code);
    const int d = ozmu_fcc2mt_drm(code), any = ozmu_fcc2mt(code);
    if (v < 100 || v > 299 || a < 300 || a > 499 || s < 3000 || s > 3199 ||
        (d != 1100 && d != 1299))
        __builtin_trap();
    const int expected = v != 299 ? v : a != 499 ? a : s != 3199 ? s : 0;
    if (any != expected || (d == 1100 && v != OZMU_MT_MPEG4))
        __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > (1u << 20))
        return 0;
    const int n = static_cast<int>(size);
    // The frame alone, and the frame followed by one byte, each in a block of exactly that size.
    std::unique_ptr<uint8_t[]> exact(new uint8_t[size]);
    std::unique_ptr<uint8_t[]> padded(new uint8_t[size + 1]);
    if (size) {
        std::memcpy(exact.get(), data, size);
        std::memcpy(padded.get(), data, size);
    }
    padded[size] = size ? data[0] : 0;

    for (int mt = 95; mt <= 130; ++mt) {
        const uint8_t *frame = reads_past_end(mt) ? padded.get() : exact.get();
        const int key = ozmu_is_vkeyfrm(mt, frame, n);
        if ((key != 0 && key != 1) || key != ozmu::ref::is_vkeyfrm(mt, padded.get(), n))
            __builtin_trap();
    }
    for (int mt : {0, -1, 299, 306, 1100, 3006})
        if (ozmu_is_vkeyfrm(mt, exact.get(), n) != 0)
            __builtin_trap();

    for (size_t i = 0; i + 4 <= size && i < 16; ++i) {
        uint32_t code;
        std::memcpy(&code, data + i, 4);
        check_fourcc(static_cast<int>(code));
    }
    return 0;
}
