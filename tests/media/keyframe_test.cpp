// Key-frame test: the rules on hand-made frames, the scan minimums and the documented reads
// (frames placed flush against an inaccessible page), and the word-at-a-time scanner against the
// one-offset-at-a-time definition on random frames rich in start-code fragments.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

#include "checkasm.h"
#include "media/keyframe.h"
#include "ozmu.h"

namespace {

using ozmu::test::PageGuardedBuffer;
using ozmu::test::Rng;
using Bytes = std::vector<uint8_t>;

// Bytes the function may read past the frame (see the header).
int padding(int mt) { return mt == OZMU_MT_H263 || mt == OZMU_MT_H263_ALT ? 1 : 0; }
bool reads_first_byte(int mt)
{
    return mt == OZMU_MT_WMV1 || mt == OZMU_MT_WMV2 || mt == OZMU_MT_DIV3;
}

// The frame flush against an inaccessible page, followed by exactly the bytes the type may read
// (`pad` gives their values): any other read faults.
int guarded_keyfrm(int mt, const Bytes &frame, const Bytes &pad = {})
{
    Bytes bytes = frame;
    const size_t readable = std::max(frame.size() + padding(mt),
                                     reads_first_byte(mt) ? size_t{1} : size_t{0});
    for (size_t i = frame.size(); i < readable; ++i)
        bytes.push_back(i - frame.size() < pad.size() ? pad[i - frame.size()] : 0);
    PageGuardedBuffer buf(readable);
    std::copy(bytes.begin(), bytes.end(), buf.data());
    return ozmu_is_vkeyfrm(mt, buf.data(), int(frame.size()));
}

struct Case {
    const char *what;
    int mt;
    Bytes frame;
    int key;
};

void check(const std::vector<Case> &cases)
{
    for (const Case &c : cases) {
        EXPECT_EQ(guarded_keyfrm(c.mt, c.frame), c.key) << c.what;
        EXPECT_EQ(ozmu::ref::is_vkeyfrm(c.mt, c.frame.data(), int(c.frame.size())), c.key)
            << c.what << " (definition)";
    }
}

TEST(KeyFrame, H264)
{
    check({
        {"SPS, PPS skipped, IDR found", 104,
         {0, 0, 0, 1, 0x67, 0x42, 0, 0, 1, 0x68, 0xCE, 0, 0, 1, 0x65, 0x88}, 1},
        {"non-IDR slice", 104, {0, 0, 1, 0x41}, 0},
        {"3 bytes", 104, {0, 0, 1}, 0},
        {"nal_ref_idc ignored", 104, {0, 0, 1, 0x05}, 1},
        {"nal_ref_idc ignored, forbidden bit too", 104, {0, 0, 1, 0xE5}, 1},
        {"delimiter, SEI, then non-IDR", 104, {0, 0, 1, 0x09, 0xF0, 0, 0, 1, 0x06, 5, 0, 0, 1, 1}, 0},
        {"partitions and extensions are not slices here", 104,
         {0, 0, 1, 0x22, 0, 0, 1, 0x23, 0, 0, 1, 0x24, 0, 0, 1, 0x34, 0, 0, 1, 0x25}, 1},
        {"first slice decides", 104, {0, 0, 1, 0x21, 0, 0, 1, 0x25}, 0},
        {"no start code", 104, {0x65, 0x65, 0x65, 0x65, 0x65}, 0},
        {"00 00 02 is no start code", 104, {0, 0, 2, 0x65, 0, 0, 1, 0x41}, 0},
        {"start code at the last offset", 104, {0xFF, 0xFF, 0, 0, 1, 0x65}, 1},
        {"start code one byte too late", 104, {0xFF, 0xFF, 0xFF, 0, 0, 1}, 0},
        {"long run of zeros before the start code", 104, {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0x65}, 1},
    });
}

TEST(KeyFrame, Hevc)
{
    check({
        {"IDR_W_RADL", 120, {0, 0, 1, 0x26, 0x01}, 1},
        {"IDR_N_LP", 120, {0, 0, 0, 1, 0x28, 0x01}, 1},
        {"CRA", 120, {0, 0, 1, 0x2A, 0x01}, 0},
        {"BLA", 120, {0, 0, 1, 0x20, 0x01}, 0},
        {"parameter set first decides", 120, {0, 0, 1, 0x40, 0x01, 0, 0, 1, 0x26, 0x01}, 0},
        {"delimiter first decides", 120, {0, 0, 1, 0x46, 0x01, 0x10, 0, 0, 1, 0x26, 0x01}, 0},
        {"layer id and forbidden bit ignored", 120, {0, 0, 1, 0xA7, 0xFF}, 1},
        {"junk before the first start code", 120, {0x12, 0, 0, 2, 0, 0, 1, 0x26}, 1},
        {"3 bytes", 120, {0, 0, 1}, 0},
    });
}

TEST(KeyFrame, Mpeg4)
{
    check({
        {"I-VOP", 102, {0, 0, 1, 0xB6, 0x10}, 1},
        {"P-VOP", 102, {0, 0, 1, 0xB6, 0x50}, 0},
        {"I-VOP boundary", 102, {0, 0, 1, 0xB6, 0x3F}, 1},
        {"B-VOP", 102, {0, 0, 1, 0xB6, 0x90}, 0},
        {"4 bytes", 102, {0, 0, 1, 0xB6}, 0},
        {"headers, then I-VOP", 102,
         {0, 0, 1, 0xB0, 0xF5, 0, 0, 1, 0xB5, 0x09, 0, 0, 1, 0x00, 0, 0, 1, 0x20, 0x08, 0, 0, 1,
          0xB3, 0x00, 0, 0, 1, 0xB6, 0x00},
         1},
        {"short header, source format 2, INTRA", 102, {0, 0, 0x80, 0x02, 0x08}, 1},
        {"short header, INTER", 102, {0, 0, 0x80, 0x02, 0x0A}, 0},
        {"short header, bad fixed bits", 102, {0, 0, 0x80, 0x03, 0x08}, 0},
        {"short header, bad fixed bits end the scan", 102,
         {0, 0, 0x81, 0x01, 0x08, 0, 0, 1, 0xB6, 0x00}, 0},
        {"short header, temporal reference bits ignored", 102, {0, 0, 0x83, 0xFE, 0xE9}, 1},
        {"extended PTYPE passed over, VOP decides", 102,
         {0, 0, 0x80, 0x02, 0x1C, 0x80, 0, 0, 1, 0xB6, 0x00}, 1},
        {"extended PTYPE passed over, nothing after", 102, {0, 0, 0x80, 0x02, 0x1C, 0, 0}, 0},
    });
}

TEST(KeyFrame, H263)
{
    for (int mt : {OZMU_MT_H263, OZMU_MT_H263_ALT}) {
        SCOPED_TRACE(mt);
        check({
            {"UFEP 0, I", mt, {0, 0, 0x80, 0x02, 0x1C, 0x00, 0x00}, 1},
            {"UFEP 0, P", mt, {0, 0, 0x80, 0x02, 0x1C, 0x10, 0x00}, 0},
            {"UFEP 0, other bits", mt, {0, 0, 0x80, 0x02, 0x1C, 0x0F, 0x00}, 1},
            {"UFEP 1, I", mt, {0, 0, 0x80, 0x02, 0x1C, 0xA8, 0x21, 0x00, 0x55}, 1},
            {"UFEP 1, P", mt, {0, 0, 0x80, 0x02, 0x1C, 0xA8, 0x21, 0x04, 0x55}, 0},
            {"UFEP 2 reads like UFEP 0", mt, {0, 0, 0x80, 0x02, 0x1D, 0x00, 0x00}, 1},
            {"UFEP 3", mt, {0, 0, 0x80, 0x02, 0x1D, 0x80, 0x00, 0x04}, 1},
            {"baseline INTRA", mt, {0, 0, 0x80, 0x02, 0x08, 0, 0}, 1},
            {"baseline INTER", mt, {0, 0, 0x80, 0x02, 0x0A, 0, 0}, 0},
            {"bad fixed bits", mt, {0, 0, 0x80, 0x01, 0x08, 0, 0}, 0},
            {"first start code decides", mt,
             {0, 0, 0x80, 0x02, 0x0A, 0, 0, 0, 0x80, 0x02, 0x08, 0, 0}, 0},
            {"6 bytes", mt, {0, 0, 0x80, 0x02, 0x08, 0}, 0},
            {"VOP start code is not H.263", mt, {0, 0, 1, 0xB6, 0, 0, 0}, 0},
        });
    }
}

TEST(KeyFrame, FirstByteTypes)
{
    for (int mt : {OZMU_MT_WMV1, OZMU_MT_DIV3}) {
        EXPECT_EQ(guarded_keyfrm(mt, {0x3F}), 1);
        EXPECT_EQ(guarded_keyfrm(mt, {0x40}), 0);
        EXPECT_EQ(guarded_keyfrm(mt, {0x00, 0xFF}), 1);
    }
    EXPECT_EQ(guarded_keyfrm(OZMU_MT_WMV2, {0x7F}), 1);
    EXPECT_EQ(guarded_keyfrm(OZMU_MT_WMV2, {0x80}), 0);
    // The first byte is read even for an empty or negative size.
    const uint8_t intra = 0x00, inter = 0xC0;
    for (int size : {0, -1, INT_MIN}) {
        for (int mt : {OZMU_MT_WMV1, OZMU_MT_WMV2, OZMU_MT_DIV3}) {
            EXPECT_EQ(ozmu_is_vkeyfrm(mt, &intra, size), 1);
            EXPECT_EQ(ozmu_is_vkeyfrm(mt, &inter, size), 0);
        }
    }
}

// HuffYUV frames are all key frames; the types without a rule never are, whatever the data.
TEST(KeyFrame, FixedAnswers)
{
    const Bytes frames[] = {{}, {0}, {0, 0, 1, 0x65, 0x00}, {0, 0, 1, 0xB6, 0x00, 0x00, 0x00}};
    const int never[] = {0,   100, 101, 107, 108, 109, 112, 113, 114, 115, 116, 117, 118, 119,
                         121, 123, 299, 300, 306, 499, 1100, 3006, -104, 104 + 256, 0x7FFFFFFF};
    for (const Bytes &frame : frames) {
        EXPECT_EQ(guarded_keyfrm(OZMU_MT_HFYU, frame), 1);
        for (int mt : never)
            EXPECT_EQ(guarded_keyfrm(mt, frame), 0) << mt;
    }
}

// A frame shorter than its type's minimum is not read at all: the pointer sits on the guard
// page's edge. From the minimum on, the deciding start code is found at the last offset.
TEST(KeyFrame, ScanMinimums)
{
    struct Scan {
        int mt, minimum;
        Bytes key;  // a key-frame pattern of exactly `minimum` bytes
    };
    const Scan scans[] = {{OZMU_MT_H264, 4, {0, 0, 1, 0x65}},
                          {OZMU_MT_HEVC, 4, {0, 0, 1, 0x26}},
                          {OZMU_MT_MPEG4, 5, {0, 0, 1, 0xB6, 0x00}},
                          {OZMU_MT_MPEG4, 5, {0, 0, 0x80, 0x02, 0x08}},
                          {OZMU_MT_H263, 7, {0, 0, 0x80, 0x02, 0x08, 0x00, 0x00}},
                          {OZMU_MT_H263_ALT, 7, {0, 0, 0x80, 0x02, 0x1C, 0x00, 0x00}}};
    PageGuardedBuffer nothing(0);
    for (const Scan &s : scans) {
        SCOPED_TRACE(s.mt);
        for (int size : {INT_MIN, -1, 0, 1, 2, s.minimum - 1})
            EXPECT_EQ(ozmu_is_vkeyfrm(s.mt, nothing.data(), size), 0) << size;
        for (int lead = 0; lead < 40; ++lead) {
            Bytes frame(size_t(lead), 0xFF);
            frame.insert(frame.end(), s.key.begin(), s.key.end());
            EXPECT_EQ(guarded_keyfrm(s.mt, frame), 1) << lead;
            frame.pop_back();  // the pattern now ends past the frame
            EXPECT_EQ(guarded_keyfrm(s.mt, frame), 0) << lead;
        }
    }
}

// The one read past the frame: an extended PTYPE with its optional part, its start code 7 bytes
// from the end, takes the picture type from data[size].
TEST(KeyFrame, H263ReadsOneBytePastTheFrame)
{
    const Bytes frame = {0, 0, 0x80, 0x02, 0x1C, 0x80, 0x00};
    for (int mt : {OZMU_MT_H263, OZMU_MT_H263_ALT}) {
        EXPECT_EQ(guarded_keyfrm(mt, frame, {0x00}), 1);
        EXPECT_EQ(guarded_keyfrm(mt, frame, {0x04}), 0);
        EXPECT_EQ(guarded_keyfrm(mt, frame, {0xE3}), 1);
    }
}

// Random frames built from the bytes the rules look at, so that start codes, near misses and
// their overlaps are frequent; every size from 0 and every type.
Bytes random_frame(Rng &rng, int size)
{
    static const uint8_t kAlphabet[] = {0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x02, 0x80, 0x81, 0x83,
                                        0xB6, 0x65, 0x41, 0x26, 0x28, 0x1C, 0x1D, 0x08, 0x0A, 0xFF};
    Bytes f(static_cast<size_t>(size));
    const int zero_rate = rng.range(0, 3);  // from random bytes to zero-heavy frames
    for (uint8_t &b : f) {
        const int roll = rng.range(0, 7);
        b = roll < zero_rate         ? 0
            : roll < zero_rate + 3   ? kAlphabet[rng.range(0, int(sizeof kAlphabet) - 1)]
                                     : uint8_t(rng.u32());
    }
    return f;
}

TEST(KeyFrame, ScannerMatchesDefinition)
{
    const int types[] = {OZMU_MT_MPEG4, OZMU_MT_H263, OZMU_MT_H263_ALT, OZMU_MT_H264,
                         OZMU_MT_HEVC,  OZMU_MT_WMV1, OZMU_MT_WMV2,     OZMU_MT_DIV3,
                         OZMU_MT_HFYU,  OZMU_MT_WMV3, OZMU_MT_VP8,      OZMU_MT_AAC};
    Rng rng(0x6E1);
    std::vector<int> sizes;
    for (int s = 0; s <= 72; ++s)
        sizes.push_back(s);
    for (int s : {100, 255, 1000, 4099})
        sizes.push_back(s);
    int keys = 0, checked = 0;
    for (int size : sizes) {
        // The frame flush against the guard page, and the frame with one byte after it.
        PageGuardedBuffer exact(static_cast<size_t>(size)), padded(static_cast<size_t>(size) + 1);
        const int rounds = size <= 72 ? 200 : 40;
        for (int r = 0; r < rounds; ++r) {
            const Bytes frame = random_frame(rng, size);
            std::copy(frame.begin(), frame.end(), exact.data());
            std::copy(frame.begin(), frame.end(), padded.data());
            padded.data()[size] = uint8_t(rng.u32());
            for (int mt : types) {
                const bool pad = padding(mt) || (reads_first_byte(mt) && size == 0);
                const int expected = ozmu::ref::is_vkeyfrm(mt, padded.data(), size);
                ASSERT_EQ(ozmu_is_vkeyfrm(mt, pad ? padded.data() : exact.data(), size), expected)
                    << "mt " << mt << ", size " << size << ", seed " << ozmu::test::test_seed();
                keys += expected;
                ++checked;
            }
        }
    }
    // The frames exercise both answers.
    EXPECT_GT(keys, checked / 10);
    EXPECT_LT(keys, checked * 9 / 10);
}

TEST(KeyFrame, NextZeroPair)
{
    Rng rng(0x2E40);
    for (int size = 2; size <= 40; ++size) {
        for (int r = 0; r < 20; ++r) {
            Bytes d(static_cast<size_t>(size));
            for (uint8_t &b : d)
                b = rng.range(0, 2) ? 0 : uint8_t(rng.u32());
            PageGuardedBuffer buf(static_cast<size_t>(size));
            std::copy(d.begin(), d.end(), buf.data());
            for (int last = -1; last + 1 < size; ++last) {
                for (int from = 0; from <= last + 1; ++from) {
                    int expected = -1;
                    for (int p = from; p <= last && expected < 0; ++p)
                        if (d[p] == 0 && d[p + 1] == 0)
                            expected = p;
                    ASSERT_EQ(ozmu::media::next_zero_pair(buf.data(), from, last, size), expected)
                        << "size " << size << " from " << from << " last " << last;
                }
            }
        }
    }
}

}  // namespace
