// H.264 sequence and picture parameter sets, field by field in the order of the syntax tables.
#include "rbsp_fields.h"

namespace ozmu_tool {
namespace {

void nal_header(RbspFields &r)
{
    r.u("forbidden_zero_bit", 1);
    r.u("nal_ref_idc", 2);
    r.u("nal_unit_type", 5);
}

// Profiles whose SPS carries chroma format, bit depths and scaling matrices.
bool has_chroma_info(uint32_t profile_idc)
{
    for (uint32_t profile : {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135})
        if (profile_idc == profile)
            return true;
    return false;
}

// delta_scale up to the entry that makes the next scale 0 (the rest then repeat the last one).
void scaling_list(RbspFields &r, int size)
{
    int next_scale = 8;
    for (int j = 0; j < size && next_scale != 0 && r.ok(); ++j) {
        const int32_t delta = r.se(indexed("delta_scale", j), -128, 127);
        next_scale = (next_scale + delta + 256) % 256;
    }
}

void hrd_parameters(RbspFields &r)
{
    const uint32_t cpb_cnt_minus1 = r.ue("cpb_cnt_minus1", 31);
    r.u("bit_rate_scale", 4);
    r.u("cpb_size_scale", 4);
    for (uint32_t i = 0; i <= cpb_cnt_minus1 && r.ok(); ++i) {
        const int n = static_cast<int>(i);
        r.ue(indexed("bit_rate_value_minus1", n));
        r.ue(indexed("cpb_size_value_minus1", n));
        r.u(indexed("cbr_flag", n), 1);
    }
    r.u("initial_cpb_removal_delay_length_minus1", 5);
    r.u("cpb_removal_delay_length_minus1", 5);
    r.u("dpb_output_delay_length_minus1", 5);
    r.u("time_offset_length", 5);
}

void vui_parameters(RbspFields &r)
{
    vui_picture_fields(r, "matrix_coefficients");
    if (r.flag("timing_info_present_flag")) {
        r.u("num_units_in_tick", 32);
        r.u("time_scale", 32);
        r.u("fixed_frame_rate_flag", 1);
    }
    const bool nal_hrd = r.flag("nal_hrd_parameters_present_flag");
    if (nal_hrd)
        hrd_parameters(r);
    const bool vcl_hrd = r.flag("vcl_hrd_parameters_present_flag");
    if (vcl_hrd)
        hrd_parameters(r);
    if (nal_hrd || vcl_hrd)
        r.u("low_delay_hrd_flag", 1);
    r.u("pic_struct_present_flag", 1);
    if (r.flag("bitstream_restriction_flag")) {
        r.u("motion_vectors_over_pic_boundaries_flag", 1);
        r.ue("max_bytes_per_pic_denom", 16);
        r.ue("max_bits_per_mb_denom", 16);
        r.ue("log2_max_mv_length_horizontal", 15);
        r.ue("log2_max_mv_length_vertical", 15);
        r.ue("max_num_reorder_frames");
        r.ue("max_dec_frame_buffering");
    }
}

}  // namespace

void parse_h264_sps(RbspFields &r, std::map<unsigned, SequenceInfo> *sequences)
{
    nal_header(r);
    const uint32_t profile_idc = r.u("profile_idc", 8);
    for (int i = 0; i < 6; ++i)
        r.u("constraint_set" + std::to_string(i) + "_flag", 1);
    r.u("reserved_zero_2bits", 2);
    r.u("level_idc", 8);
    const uint32_t id = r.ue("seq_parameter_set_id", 31);

    SequenceInfo info;
    if (has_chroma_info(profile_idc)) {
        info.chroma_format_idc = static_cast<int>(r.ue("chroma_format_idc", 3));
        if (info.chroma_format_idc == 3)
            info.separate_colour_plane = r.flag("separate_colour_plane_flag");
        info.bit_depth_luma = 8 + static_cast<int>(r.ue("bit_depth_luma_minus8", 6));
        info.bit_depth_chroma = 8 + static_cast<int>(r.ue("bit_depth_chroma_minus8", 6));
        r.u("qpprime_y_zero_transform_bypass_flag", 1);
        if (r.flag("seq_scaling_matrix_present_flag")) {
            const int lists = info.chroma_format_idc != 3 ? 8 : 12;
            for (int i = 0; i < lists && r.ok(); ++i)
                if (r.flag(indexed("seq_scaling_list_present_flag", i)))
                    scaling_list(r, i < 6 ? 16 : 64);
        }
    }
    r.ue("log2_max_frame_num_minus4", 12);
    const uint32_t poc_type = r.ue("pic_order_cnt_type", 2);
    if (poc_type == 0) {
        r.ue("log2_max_pic_order_cnt_lsb_minus4", 12);
    } else if (poc_type == 1) {
        r.u("delta_pic_order_always_zero_flag", 1);
        r.se("offset_for_non_ref_pic", INT32_MIN + 1, INT32_MAX);
        r.se("offset_for_top_to_bottom_field", INT32_MIN + 1, INT32_MAX);
        const uint32_t cycle = r.ue("num_ref_frames_in_pic_order_cnt_cycle", 255);
        for (uint32_t i = 0; i < cycle && r.ok(); ++i)
            r.se(indexed("offset_for_ref_frame", static_cast<int>(i)), INT32_MIN + 1, INT32_MAX);
    }
    r.ue("max_num_ref_frames");
    r.u("gaps_in_frame_num_allowed_flag", 1);
    const uint32_t width_in_mbs = r.ue("pic_width_in_mbs_minus1", 1023) + 1;
    const uint32_t height_in_map_units = r.ue("pic_height_in_map_units_minus1", 1023) + 1;
    const bool frame_mbs_only = r.flag("frame_mbs_only_flag");
    if (!frame_mbs_only)
        r.u("mb_adaptive_frame_field_flag", 1);
    r.u("direct_8x8_inference_flag", 1);
    uint32_t crop[4] = {};
    if (r.flag("frame_cropping_flag")) {
        crop[0] = r.ue("frame_crop_left_offset", 8192);
        crop[1] = r.ue("frame_crop_right_offset", 8192);
        crop[2] = r.ue("frame_crop_top_offset", 8192);
        crop[3] = r.ue("frame_crop_bottom_offset", 8192);
    }
    const bool sizes_read = r.ok();
    if (r.flag("vui_parameters_present_flag"))
        vui_parameters(r);
    if (!sizes_read)
        return;

    // Cropping counts in chroma samples (luma for monochrome or separate planes), and in field
    // rows when the frame is coded as two fields.
    const int field_factor = frame_mbs_only ? 1 : 2;
    const bool chroma_array = info.chroma_format_idc != 0 && !info.separate_colour_plane;
    const int unit_x = chroma_array && info.chroma_format_idc < 3 ? 2 : 1;
    const int unit_y = (chroma_array && info.chroma_format_idc == 1 ? 2 : 1) * field_factor;
    info.coded_width = static_cast<int>(width_in_mbs) * 16;
    info.coded_height = static_cast<int>(height_in_map_units) * 16 * field_factor;
    info.crop_left = unit_x * static_cast<int>(crop[0]);
    info.crop_right = unit_x * static_cast<int>(crop[1]);
    info.crop_top = unit_y * static_cast<int>(crop[2]);
    info.crop_bottom = unit_y * static_cast<int>(crop[3]);
    print_summary(info, r.output());
    (*sequences)[id] = info;
}

void parse_h264_pps(RbspFields &r, const std::map<unsigned, SequenceInfo> &sequences)
{
    nal_header(r);
    r.ue("pic_parameter_set_id", 255);
    const uint32_t sps_id = r.ue("seq_parameter_set_id", 31);
    r.u("entropy_coding_mode_flag", 1);
    r.u("bottom_field_pic_order_in_frame_present_flag", 1);
    const uint32_t slice_groups_minus1 = r.ue("num_slice_groups_minus1", 7);
    if (slice_groups_minus1 > 0) {
        const uint32_t map_type = r.ue("slice_group_map_type", 6);
        if (map_type == 0) {
            for (uint32_t i = 0; i <= slice_groups_minus1 && r.ok(); ++i)
                r.ue(indexed("run_length_minus1", static_cast<int>(i)));
        } else if (map_type == 2) {
            for (uint32_t i = 0; i < slice_groups_minus1 && r.ok(); ++i) {
                r.ue(indexed("top_left", static_cast<int>(i)));
                r.ue(indexed("bottom_right", static_cast<int>(i)));
            }
        } else if (map_type >= 3 && map_type <= 5) {
            r.u("slice_group_change_direction_flag", 1);
            r.ue("slice_group_change_rate_minus1");
        } else if (map_type == 6) {
            // Ceil(Log2(num_slice_groups_minus1 + 1)) bits per map unit.
            const int id_bits = slice_groups_minus1 >= 4 ? 3 : slice_groups_minus1 >= 2 ? 2 : 1;
            const uint32_t units = r.ue("pic_size_in_map_units_minus1", 139263) + 1;
            for (uint32_t i = 0; i < units && r.ok(); ++i)
                r.u(indexed("slice_group_id", static_cast<int>(i)), id_bits);
        }
    }
    r.ue("num_ref_idx_l0_default_active_minus1", 31);
    r.ue("num_ref_idx_l1_default_active_minus1", 31);
    r.u("weighted_pred_flag", 1);
    r.u("weighted_bipred_idc", 2);
    r.se("pic_init_qp_minus26", -62, 25);
    r.se("pic_init_qs_minus26", -26, 25);
    r.se("chroma_qp_index_offset", -12, 12);
    r.u("deblocking_filter_control_present_flag", 1);
    r.u("constrained_intra_pred_flag", 1);
    r.u("redundant_pic_cnt_present_flag", 1);
    if (!r.more_data())
        return;
    const bool transform_8x8 = r.flag("transform_8x8_mode_flag");
    if (r.flag("pic_scaling_matrix_present_flag")) {
        // The count of 8x8 lists follows the chroma format of the SPS referred to.
        const auto sps = sequences.find(sps_id);
        if (sps == sequences.end() && transform_8x8) {
            r.stop("scaling lists not read: sequence parameter set " + std::to_string(sps_id) +
                   " not seen");
            return;
        }
        const int lists_8x8 = !transform_8x8 ? 0 : sps->second.chroma_format_idc != 3 ? 2 : 6;
        for (int i = 0; i < 6 + lists_8x8 && r.ok(); ++i)
            if (r.flag(indexed("pic_scaling_list_present_flag", i)))
                scaling_list(r, i < 6 ? 16 : 64);
    }
    r.se("second_chroma_qp_index_offset", -12, 12);
}

}  // namespace ozmu_tool
