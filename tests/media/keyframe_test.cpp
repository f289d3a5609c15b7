// Key-frame test: the rules on hand-made frames, the scan minimums and the documented reads
// (frames placed flush against an inaccessible page), and the word-at-a-time scanner against the
// one-offset-at-a-time definition on random frames rich in start-code fragments.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <utility>
#include <vector>

#include "checkasm.h"
#include "media/keyframe.h"
#include "ozmu.h"

namespace {

using ozmu::test::PageGuardedBuffer;
using Bytes = std::vector<uint8_t>;

// Bytes the function may read past the frame (see the header).
bool reads_one_past(int mt) { return mt == OZMU_MT_H263 || mt == OZMU_MT_H263_ALT; }
bool reads_first_byte(int mt) { return mt == 105 || mt == 106 || mt == 110; }  // WMV1, WMV2, DIV3

// The frame flush against an inaccessible page, followed by exactly the byte the type may read
// (of value `pad`): any other read faults.
int guarded_keyfrm(int mt, const Bytes &frame, uint8_t pad = 0)
{
    const bool extra = reads_one_past(mt) || (reads_first_byte(mt) && frame.empty());
    PageGuardedBuffer buf(frame.size() + extra);
    std::copy(frame.begin(), frame.end(), buf.data());
    if (extra)
        buf.data()[frame.size()] = pad;
    return ozmu_is_vkeyfrm(mt, buf.data(), int(frame.size()));
}

struct Case {
    const char *what;
    int mt;
    Bytes frame;
    int key;
};

TEST(KeyFrame, Rules)
{
    const Case cases[] = {
        {"H.264: SPS, PPS skipped, IDR found",
         104,
         {0, 0, 0, 1, 0x67, 0x42, 0, 0, 1, 0x68, 0xCE, 0, 0, 1, 0x65, 0x88},
         1},
        {"H.264: non-IDR slice", 104, {0, 0, 1, 0x41}, 0},
        {"H.264: nal_ref_idc and forbidden bit ignored", 104, {0, 0, 1, 0xE5}, 1},
        {"H.264: partitions and extensions are not slices",
         104,
         {0, 0, 1, 0x22, 0, 0, 1, 0x23, 0, 0, 1, 0x24, 0, 0, 1, 0x34, 0, 0, 1, 0x25},
         1},
        {"H.264: first slice decides", 104, {0, 0, 1, 0x06, 0, 0, 1, 0x21, 0, 0, 1, 0x25}, 0},
        {"HEVC: IDR_W_RADL", 120, {0, 0, 1, 0x26, 0x01}, 1},
        {"HEVC: IDR_N_LP", 120, {0, 0, 0, 1, 0x28, 0x01}, 1},
        {"HEVC: CRA", 120, {0, 0, 1, 0x2A, 0x01}, 0},
        {"HEVC: parameter set first decides", 120, {0, 0, 1, 0x40, 0x01, 0, 0, 1, 0x26, 0x01}, 0},
        {"HEVC: layer id and forbidden bit ignored", 120, {0, 0, 1, 0xA7, 0xFF}, 1},
        {"MPEG-4: I-VOP", 102, {0, 0, 1, 0xB6, 0x3F}, 1},
        {"MPEG-4: P-VOP", 102, {0, 0, 1, 0xB6, 0x40}, 0},
        {"MPEG-4: short header INTRA", 102, {0, 0, 0x83, 0xFE, 0xE9}, 1},
        {"MPEG-4: short header INTER", 102, {0, 0, 0x80, 0x02, 0x0A}, 0},
        {"MPEG-4: bad fixed bits end the scan", 102, {0, 0, 0x81, 1, 8, 0, 0, 1, 0xB6, 0}, 0},
        {"MPEG-4: extended PTYPE skipped", 102, {0, 0, 0x80, 2, 0x1C, 0x80, 0, 0, 1, 0xB6, 0}, 1},
        {"WMV1", OZMU_MT_WMV1, {0x3F}, 1},
        {"WMV1", OZMU_MT_WMV1, {0x40, 0}, 0},
        {"DIV3", OZMU_MT_DIV3, {0x3F}, 1},
        {"DIV3", OZMU_MT_DIV3, {0x40}, 0},
        {"WMV2", OZMU_MT_WMV2, {0x7F}, 1},
        {"WMV2", OZMU_MT_WMV2, {0x80}, 0},
    };
    const Case h263[] = {
        {"UFEP 0, I", 0, {0, 0, 0x80, 0x02, 0x1C, 0x00, 0x00}, 1},
        {"UFEP 0, P", 0, {0, 0, 0x80, 0x02, 0x1C, 0x10, 0x00}, 0},
        {"UFEP 1, I", 0, {0, 0, 0x80, 0x02, 0x1C, 0xA8, 0x21, 0x00, 0x55}, 1},
        {"UFEP 1, P", 0, {0, 0, 0x80, 0x02, 0x1C, 0xA8, 0x21, 0x04, 0x55}, 0},
        {"UFEP 2 reads like UFEP 0", 0, {0, 0, 0x80, 0x02, 0x1D, 0x00, 0x00}, 1},
        {"baseline INTRA", 0, {0, 0, 0x80, 0x02, 0x08, 0, 0}, 1},
        {"baseline INTER", 0, {0, 0, 0x80, 0x02, 0x0A, 0, 0}, 0},
        {"bad fixed bits", 0, {0, 0, 0x80, 0x03, 0x08, 0, 0}, 0},
        {"first start code decides", 0, {0, 0, 0x80, 2, 0x0A, 0, 0, 0, 0x80, 2, 0x08, 0, 0}, 0},
    };
    for (const Case &c : cases)
        EXPECT_EQ(guarded_keyfrm(c.mt, c.frame), c.key) << c.what;
    for (const Case &c : h263)
        for (int mt : {OZMU_MT_H263, OZMU_MT_H263_ALT})
            EXPECT_EQ(guarded_keyfrm(mt, c.frame), c.key) << c.what << ", mt " << mt;
}

// The documented reads outside the frame: the first byte of the first-byte types whatever the
// size, and for H.263 the picture type of an extended PTYPE whose start code is 7 bytes from the
// end, taken from data[size].
TEST(KeyFrame, ReadsOutsideTheFrame)
{
    const uint8_t intra = 0x00, inter = 0xC0;
    for (int size : {0, -1, INT_MIN})
        for (int mt : {OZMU_MT_WMV1, OZMU_MT_WMV2, OZMU_MT_DIV3})
            EXPECT_EQ(ozmu_is_vkeyfrm(mt, &intra, size) - ozmu_is_vkeyfrm(mt, &inter, size), 1);
    const Bytes frame = {0, 0, 0x80, 0x02, 0x1C, 0x80, 0x00};
    for (int mt : {OZMU_MT_H263, OZMU_MT_H263_ALT}) {
        EXPECT_EQ(guarded_keyfrm(mt, frame, 0xE3), 1);
        EXPECT_EQ(guarded_keyfrm(mt, frame, 0x04), 0);
    }
}

// HuffYUV frames are all key frames; the types without a rule never are, whatever the data.
TEST(KeyFrame, FixedAnswers)
{
    for (const Bytes &frame : {Bytes{}, Bytes{0, 0, 1, 0x65, 0}, Bytes{0, 0, 1, 0xB6, 0, 0, 0}})
        for (int mt : {122, 0, 107, 108, 109, 113, 117, 118, 119, 121, 299, 306, 1100, 104 + 256})
            EXPECT_EQ(guarded_keyfrm(mt, frame), mt == OZMU_MT_HFYU) << mt;
}

// A frame shorter than its type's minimum is not read at all: the pointer sits on the guard
// page's edge. From the minimum on, the deciding start code is found at the last offset.
TEST(KeyFrame, ScanMinimums)
{
    // A key-frame pattern exactly as long as the type's minimum.
    const std::pair<int, Bytes> scans[] = {
        {OZMU_MT_H264, {0, 0, 1, 0x65}},          {OZMU_MT_HEVC, {0, 0, 1, 0x26}},
        {OZMU_MT_MPEG4, {0, 0, 1, 0xB6, 0}},      {OZMU_MT_MPEG4, {0, 0, 0x80, 2, 8}},
        {OZMU_MT_H263, {0, 0, 0x80, 2, 8, 0, 0}}, {OZMU_MT_H263_ALT, {0, 0, 0x80, 2, 0x1C, 0, 0}}};
    PageGuardedBuffer nothing(0);
    for (const auto &[mt, key] : scans) {
        SCOPED_TRACE(mt);
        for (int size : {INT_MIN, -1, 0, int(key.size()) - 1})
            EXPECT_EQ(ozmu_is_vkeyfrm(mt, nothing.data(), size), 0) << size;
        for (int lead = 0; lead < 40; ++lead) {
            Bytes frame(size_t(lead), 0xFF);
            frame.insert(frame.end(), key.begin(), key.end());
            EXPECT_EQ(guarded_keyfrm(mt, frame), 1) << lead;
            frame.pop_back();  // the pattern now ends past the frame
            EXPECT_EQ(guarded_keyfrm(mt, frame), 0) << lead;
        }
    }
}

// Random frames built from the bytes the rules look at, so that start codes, near misses and
// their overlaps are frequent; every size up to 72 and some longer ones, under every video type.
TEST(KeyFrame, ScannerMatchesDefinition)
{
    static const uint8_t kAlphabet[] = {0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x02, 0x80, 0x81, 0x83,
                                        0xB6, 0x65, 0x41, 0x26, 0x28, 0x1C, 0x1D, 0x08, 0x0A, 0xFF};
    ozmu::test::Rng rng(0x6E1);
    int keys = 0, checked = 0;
    for (int size = 0; size < 5000; size = size < 72 ? size + 1 : size * 4 + 3) {
        // The frame flush against the guard page, and the frame with one byte after it.
        PageGuardedBuffer exact(static_cast<size_t>(size)), padded(static_cast<size_t>(size) + 1);
        for (int r = 0; r < (size <= 72 ? 200 : 40); ++r) {
            const int zero_rate = rng.range(0, 3);  // from random bytes to zero-heavy frames
            for (int i = 0; i <= size; ++i) {
                const int roll = rng.range(0, 7);
                padded.data()[i] = roll < zero_rate       ? 0
                                   : roll < zero_rate + 3 ? kAlphabet[rng.range(0, 19)]
                                                          : uint8_t(rng.u32());
            }
            std::copy(padded.data(), padded.data() + size, exact.data());
            for (int mt = 100; mt <= 123; ++mt) {
                const bool pad = reads_one_past(mt) || (reads_first_byte(mt) && size == 0);
                const int expected = ozmu::ref::is_vkeyfrm(mt, padded.data(), size);
                ASSERT_EQ(ozmu_is_vkeyfrm(mt, pad ? padded.data() : exact.data(), size), expected)
                    << "mt " << mt << ", size " << size << ", seed " << ozmu::test::test_seed();
                keys += expected;
                ++checked;
            }
        }
    }
    // The frames exercise both answers (about half of the types never answer 1).
    EXPECT_GT(keys, checked / 20);
    EXPECT_LT(keys, checked / 2);
}

}  // namespace
