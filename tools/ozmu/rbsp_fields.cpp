#include "rbsp_fields.h"

#include <bit>

namespace ozmu_tool {
namespace {

constexpr uint32_t kReadFailed = 0xFFFFFFFFu;  // what read and read1 return at the end

}  // namespace

RbspFields::RbspFields(uint8_t *nal, size_t size, uint64_t payload_bits, std::string *out)
    : payload_bits_(payload_bits), out_(out)
{
    ozmu_bsr_init(&bs_, nal, static_cast<int>(size), ozmu_bsr_refill_rbsp);
}

uint32_t RbspFields::bits(int count)
{
    // The reader's failure value is all ones, which a 32-bit field can hold: two halves keep
    // every read below 32 bits, where it cannot.
    uint32_t value = 0;
    for (int part : {count - 16, count > 16 ? 16 : count}) {
        if (part <= 0 || trouble_)
            continue;
        const uint32_t got = ozmu_bsr_read(&bs_, part);
        if (got == kReadFailed) {
            trouble_ = "the data ends";
            return 0;
        }
        value = (value << part) | got;
    }
    position_ += static_cast<uint64_t>(count);
    return value;
}

uint64_t RbspFields::exp_golomb(int32_t *as_signed)
{
    // The reader decodes codes of up to 31 bits exactly, and a peek at 16 bits shows the
    // prefix, hence the length, before anything is read: a code that would run past the payload
    // is refused here (the reader would fill in bits from the stop bit on, or report the end as
    // an se value of 1). Longer codes (bit rates, buffer sizes) are counted out below.
    const uint32_t ahead = ozmu_bsr_peek(&bs_, 16);
    if (ahead != 0) {
        const int length = 2 * (std::countl_zero(ahead) - 16) + 1;
        if (position_ + static_cast<uint64_t>(length) > payload_bits_) {
            trouble_ = "the data ends";
            return 0;
        }
        uint64_t k;
        if (as_signed) {
            *as_signed = ozmu_bsr_read_se(&bs_);
            const int64_t v = *as_signed;
            k = v > 0 ? static_cast<uint64_t>(2 * v - 1) : static_cast<uint64_t>(-2 * v);
        } else {
            k = ozmu_bsr_read_ue(&bs_);
        }
        position_ += static_cast<uint64_t>(length);
        return k;
    }
    int zeros = 0;
    for (;;) {
        const uint32_t bit = ozmu_bsr_read1(&bs_);
        if (bit == kReadFailed) {
            trouble_ = "the data ends";
            return 0;
        }
        ++position_;
        if (bit)
            break;
        if (++zeros == 32) {
            trouble_ = "Exp-Golomb code longer than 32 bits";
            return 0;
        }
    }
    const uint64_t k = (uint64_t{1} << zeros) - 1 + bits(zeros);
    if (as_signed) {
        const int64_t v =
            (k & 1) ? static_cast<int64_t>((k + 1) / 2) : -static_cast<int64_t>(k / 2);
        *as_signed = static_cast<int32_t>(v);  // k < 2^32: |v| <= 2^31
    }
    return k;
}

bool RbspFields::check(std::string_view name)
{
    if (!ok_)
        return false;
    if (!trouble_ && position_ > payload_bits_)
        trouble_ = "the data ends";
    if (trouble_) {
        fault(name, trouble_);
        return false;
    }
    return true;
}

uint32_t RbspFields::u(std::string_view name, int count)
{
    if (!ok_)
        return 0;
    const uint32_t value = bits(count);
    if (!check(name))
        return 0;
    print(name, std::to_string(value));
    return value;
}

uint64_t RbspFields::u_wide(std::string_view name, int count)
{
    if (!ok_)
        return 0;
    uint64_t value = 0;
    for (int left = count; left > 0; left -= 32) {
        const int part = left > 32 ? 32 : left;
        value = (value << part) | bits(part);
    }
    if (!check(name))
        return 0;
    print(name, std::to_string(value));
    return value;
}

uint32_t RbspFields::ue(std::string_view name, uint32_t max)
{
    if (!ok_)
        return 0;
    const uint64_t value = exp_golomb(nullptr);
    if (!check(name))
        return 0;
    if (value > max) {
        fault(name, "value " + std::to_string(value) + " out of range");
        return 0;
    }
    print(name, std::to_string(value));
    return static_cast<uint32_t>(value);
}

int32_t RbspFields::se(std::string_view name, int32_t min, int32_t max)
{
    if (!ok_)
        return 0;
    int32_t value = 0;
    exp_golomb(&value);
    if (!check(name))
        return 0;
    if (value < min || value > max) {
        fault(name, "value " + std::to_string(value) + " out of range");
        return 0;
    }
    print(name, std::to_string(value));
    return value;
}

void RbspFields::print(std::string_view name, const std::string &value)
{
    out_->append("  ").append(name).append(" ").append(value).append("\n");
}

void RbspFields::fault(std::string_view name, std::string_view what)
{
    if (!ok_)
        return;
    ok_ = false;
    faulty_ = true;
    out_->append("  # ").append(name).append(": ").append(what).append(", not read further\n");
}

void RbspFields::stop(std::string_view why)
{
    if (!ok_)
        return;
    ok_ = false;
    out_->append("  # ").append(why).append("\n");
}

void RbspFields::note(std::string_view text) { out_->append("  # ").append(text).append("\n"); }

std::string indexed(std::string_view name, int i)
{
    return std::string(name) + "[" + std::to_string(i) + "]";
}

std::string indexed(std::string_view name, int i, int j)
{
    return indexed(name, i) + "[" + std::to_string(j) + "]";
}

std::string indexed(std::string_view name, int i, int j, int k)
{
    return indexed(name, i, j) + "[" + std::to_string(k) + "]";
}

void print_summary(const SequenceInfo &info, std::string *out)
{
    static const char *const kChroma[] = {"4:0:0", "4:2:0", "4:2:2", "4:4:4"};
    const int width = info.coded_width - info.crop_left - info.crop_right;
    const int height = info.coded_height - info.crop_top - info.crop_bottom;
    std::string line = "  # picture " + std::to_string(width) + "x" + std::to_string(height) +
                       ", coded " + std::to_string(info.coded_width) + "x" +
                       std::to_string(info.coded_height) + ", " +
                       kChroma[info.chroma_format_idc & 3];
    if (info.separate_colour_plane)
        line += " (three colour planes)";
    line += ", " + std::to_string(info.bit_depth_luma) + "-bit luma";
    if (info.chroma_format_idc != 0)
        line += ", " + std::to_string(info.bit_depth_chroma) + "-bit chroma";
    out->append(line).append("\n");
}

void vui_picture_fields(RbspFields &r, const char *matrix_coefficients_name)
{
    if (r.flag("aspect_ratio_info_present_flag")) {
        if (r.u("aspect_ratio_idc", 8) == 255) {  // Extended_SAR / EXTENDED_SAR
            r.u("sar_width", 16);
            r.u("sar_height", 16);
        }
    }
    if (r.flag("overscan_info_present_flag"))
        r.u("overscan_appropriate_flag", 1);
    if (r.flag("video_signal_type_present_flag")) {
        r.u("video_format", 3);
        r.u("video_full_range_flag", 1);
        if (r.flag("colour_description_present_flag")) {
            r.u("colour_primaries", 8);
            r.u("transfer_characteristics", 8);
            r.u(matrix_coefficients_name, 8);
        }
    }
    if (r.flag("chroma_loc_info_present_flag")) {
        r.ue("chroma_sample_loc_type_top_field", 5);
        r.ue("chroma_sample_loc_type_bottom_field", 5);
    }
}

}  // namespace ozmu_tool
