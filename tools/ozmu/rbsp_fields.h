// Reading and printing the syntax elements of one parameter-set NAL unit, for `ozmu headers`.
//
// Every read prints "  <name> <value>". The first fault (the payload ends, a value out of its
// range) prints a note, and every later read returns 0 and prints nothing, so the parsers go on
// without checks of their own and simply produce no more lines.
#pragma once
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "ozmu.h"

namespace ozmu_tool {

class RbspFields {
public:
    // nal: the NAL unit from its header on, emulation-prevention bytes still in place (they are
    // dropped as the reader refills). payload_bits: the bits before rbsp_stop_one_bit.
    RbspFields(uint8_t *nal, size_t size, uint64_t payload_bits, std::string *out);

    uint32_t u(std::string_view name, int bits);       // 1..32 bits
    uint64_t u_wide(std::string_view name, int bits);  // 1..64 bits
    bool flag(std::string_view name) { return u(name, 1) != 0; }
    uint32_t ue(std::string_view name, uint32_t max = 0xFFFFFFFEu);
    int32_t se(std::string_view name, int32_t min, int32_t max);

    // more_rbsp_data(): syntax elements remain before rbsp_stop_one_bit.
    bool more_data() const { return ok_ && position_ < payload_bits_; }
    bool ok() const { return ok_; }
    // A fault ended the parse (not a stop()).
    bool faulty() const { return faulty_; }
    // Ends the parse with a note, as for syntax this tool does not read.
    void stop(std::string_view why);
    void note(std::string_view text);
    std::string *output() { return out_; }

private:
    ozmu_bsr bs_{};
    uint64_t position_ = 0;  // RBSP bits consumed
    uint64_t payload_bits_;
    std::string *out_;
    bool ok_ = true;
    bool faulty_ = false;
    const char *trouble_ = nullptr;  // what went wrong in the raw reads below

    uint32_t bits(int count);  // 0..32, unprinted
    // Code number, unprinted; with as_signed, read as se(v) and the value stored there too.
    uint64_t exp_golomb(int32_t *as_signed);
    // After a raw read: false (and the fault printed) when it failed or overran the payload.
    bool check(std::string_view name);
    void print(std::string_view name, const std::string &value);
    void fault(std::string_view name, std::string_view what);
};

// The VUI's opening fields, the same in H.264 and HEVC (aspect ratio, overscan, video signal type
// and colour description, chroma location); the two standards name matrix_coefficients apart.
void vui_picture_fields(RbspFields &r, const char *matrix_coefficients_name);

// "name[i]", "name[i][j]", "name[i][j][k]"
std::string indexed(std::string_view name, int i);
std::string indexed(std::string_view name, int i, int j);
std::string indexed(std::string_view name, int i, int j, int k);

// What a sequence parameter set says about the picture, for the summary line and for the picture
// parameter sets that refer to it.
struct SequenceInfo {
    int chroma_format_idc = 1;
    bool separate_colour_plane = false;
    int bit_depth_luma = 8, bit_depth_chroma = 8;
    int coded_width = 0, coded_height = 0;
    int crop_left = 0, crop_right = 0, crop_top = 0, crop_bottom = 0;  // in luma samples
};

// "  # picture 642x362, coded 656x368, 4:2:0, 8-bit luma, 8-bit chroma"
void print_summary(const SequenceInfo &info, std::string *out);

// The parameter sets of each standard, printed from the NAL unit header on. The maps carry the
// sequence parameter sets seen so far, by id, for the picture parameter sets.
void parse_h264_sps(RbspFields &r, std::map<unsigned, SequenceInfo> *sequences);
void parse_h264_pps(RbspFields &r, const std::map<unsigned, SequenceInfo> &sequences);
void parse_hevc_vps(RbspFields &r);
void parse_hevc_sps(RbspFields &r, std::map<unsigned, SequenceInfo> *sequences);
void parse_hevc_pps(RbspFields &r);

}  // namespace ozmu_tool
