// YUV4MPEG2 (.y4m) streams: a reader that indexes the frames of a file held in memory (no copy;
// each frame is an ozmu_frame view into that memory) and a writer of the same format.
//
// Layouts understood ("C" parameter): 420jpeg, 420mpeg2, 420paldv, 420 (8-bit 4:2:0), 422, 444,
// mono and 420p10 (10 bits in little-endian 16-bit words). A stream without C is 420jpeg. Any
// other layout is refused.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ozmu.h"

namespace ozmu_tool {

inline constexpr int kY4mRangeUnknown = -1;

// What a stream header says. The reader fills every field; the writer reads all but bit_depth,
// chroma and header (siting only for I420).
struct Y4mInfo {
    int width = 0, height = 0;
    int format = OZMU_PIX_I420;      // I420, I422, I444, GRAY8 or I010
    int bit_depth = 8;               // 8, or 10 for I010
    int siting = OZMU_SITING_LEFT;   // of 4:2:0 chroma: 420jpeg is centred, the others left
    int range = kY4mRangeUnknown;    // OZMU_RANGE_* from XCOLORRANGE, else kY4mRangeUnknown
    int fps_num = 0, fps_den = 0;    // F; 0:0 when absent or when either term is 0
    int sar_num = 0, sar_den = 0;    // A as written (not reduced); 0:0 when absent
    char interlace = '?';            // I: p, t, b, m, or '?' when absent
    std::string chroma = "420jpeg";  // the C parameter as written (without the "C")
    std::string header;              // the header line as written, without its newline
};

// A whole stream, indexed. Frames point into the memory given to y4m_parse, which must outlive
// the Y4mFile.
struct Y4mFile {
    Y4mInfo info;
    size_t frame_size = 0;           // bytes of picture data per frame
    std::vector<size_t> frame_data;  // offset of each frame's picture data
    const uint8_t *base = nullptr;

    size_t frame_count() const { return frame_data.size(); }
    // A read-only view of frame i: planes packed with their minimum strides (the frame API's
    // ozmu_frame_layout), the 16-bit samples of I010 little-endian. Do not write through it.
    ozmu_frame frame(size_t i) const;
};

// Parses the header and every frame header and checks that each frame is complete. false with
// *error set (e.g. "unsupported chroma layout C411", "frame 3 is truncated") on any fault; an
// empty stream (header only) is valid.
bool y4m_parse(const uint8_t *data, size_t size, Y4mFile *file, std::string *error);

// The "C" tag of a format ("420jpeg" for centred I420, "420mpeg2" for left-sited, "422", "444",
// "mono", "420p10"); empty for a format Y4M cannot hold.
std::string y4m_chroma_tag(int format, int siting);

// Appends a stream header ("YUV4MPEG2 W H F I A C [XCOLORRANGE]\n"). F defaults to 25:1 and A
// to 0:0 when unset; I to p. false (nothing appended) for a format y4m_chroma_tag refuses.
bool y4m_write_header(const Y4mInfo &info, std::vector<uint8_t> *out);

// Appends "FRAME\n" and the frame's planes, rows packed (negative strides are fine). The frame
// must have the format and size of the header written before it.
void y4m_write_frame(const ozmu_frame &frame, std::vector<uint8_t> *out);

}  // namespace ozmu_tool
