// The key-frame rules as they read, one offset at a time: the definition the exported scanner is
// tested against.
#include "media/keyframe.h"
#include "ozmu.h"

namespace ozmu::ref {
namespace {

int mpeg4(const uint8_t *d, int size)
{
    for (int i = 0; size - i >= 5; ++i) {
        if (d[i] != 0 || d[i + 1] != 0)
            continue;
        if ((d[i + 2] & 0xFC) == 0x80) {  // short-header picture start code
            if ((d[i + 3] & 3) != 2)
                return 0;
            if ((d[i + 4] & 0x1C) < 0x1C)
                return (d[i + 4] & 2) == 0;
        } else if (d[i + 2] == 0x01 && d[i + 3] == 0xB6) {  // VOP start code
            return d[i + 4] < 0x40;
        }
    }
    return 0;
}

int h263(const uint8_t *d, int size)
{
    for (int i = 0; size - i >= 7; ++i) {
        if (d[i] != 0 || d[i + 1] != 0 || (d[i + 2] & 0xFC) != 0x80)
            continue;
        if ((d[i + 3] & 3) != 2)
            return 0;
        const int p = d[i + 4];
        if ((p & 0x1C) < 0x1C)
            return (p & 2) == 0;
        const int ufep = (p & 3) << 1 | d[i + 5] >> 7;
        if (ufep != 1)
            return (d[i + 5] & 0x70) == 0;
        return (d[i + 7] & 0x1C) == 0;  // may be data[size]
    }
    return 0;
}

int h264(const uint8_t *d, int size)
{
    for (int i = 0; size - i >= 4; ++i) {
        if (d[i] != 0 || d[i + 1] != 0 || d[i + 2] != 1)
            continue;
        const int type = d[i + 3] & 0x1F;
        if (type == 1)
            return 0;
        if (type == 5)
            return 1;
    }
    return 0;
}

int hevc(const uint8_t *d, int size)
{
    for (int i = 0; size - i >= 4; ++i) {
        if (d[i] != 0 || d[i + 1] != 0 || d[i + 2] != 1)
            continue;
        const int type = (d[i + 3] >> 1) & 0x3F;
        return type == 19 || type == 20;
    }
    return 0;
}

}  // namespace

int is_vkeyfrm(int mt, const uint8_t *data, int size)
{
    if (mt == OZMU_MT_MPEG4)
        return mpeg4(data, size);
    if ((mt | 8) == 111)
        return h263(data, size);
    switch (mt) {
    case OZMU_MT_H264: return h264(data, size);
    case OZMU_MT_HEVC: return hevc(data, size);
    case OZMU_MT_WMV1:
    case OZMU_MT_DIV3: return data[0] < 0x40;
    case OZMU_MT_WMV2: return (data[0] & 0x80) == 0;
    case OZMU_MT_HFYU: return 1;
    default: return 0;
    }
}

}  // namespace ozmu::ref
