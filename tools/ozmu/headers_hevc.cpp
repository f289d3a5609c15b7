// HEVC video, sequence and picture parameter sets, field by field in the order of the syntax
// tables, through the VUI and the range extensions; the multilayer, 3D and screen-content
// extensions end the listing with a note.
#include "rbsp_fields.h"

namespace ozmu_tool {
namespace {

void nal_header(RbspFields &r)
{
    r.u("forbidden_zero_bit", 1);
    r.u("nal_unit_type", 6);
    r.u("nuh_layer_id", 6);
    r.u("nuh_temporal_id_plus1", 3);
}

// The profile part of profile_tier_level for the general layer (index < 0) or a sub-layer.
void profile(RbspFields &r, const std::string &prefix, int index)
{
    const auto name = [&](const char *element) {
        const std::string full = prefix + element;
        return index < 0 ? full : indexed(full, index);
    };
    const auto name_j = [&](const char *element, int j) {
        const std::string full = prefix + element;
        return index < 0 ? indexed(full, j) : indexed(full, index, j);
    };
    r.u(name("_profile_space"), 2);
    r.u(name("_tier_flag"), 1);
    const uint32_t profile_idc = r.u(name("_profile_idc"), 5);
    bool compatible[32] = {};
    for (int j = 0; j < 32; ++j)
        compatible[j] = r.flag(name_j("_profile_compatibility_flag", j));
    const auto is = [&](std::initializer_list<uint32_t> profiles) {
        for (uint32_t p : profiles)
            if (profile_idc == p || compatible[p])
                return true;
        return false;
    };
    r.u(name("_progressive_source_flag"), 1);
    r.u(name("_interlaced_source_flag"), 1);
    r.u(name("_non_packed_constraint_flag"), 1);
    r.u(name("_frame_only_constraint_flag"), 1);
    if (is({4, 5, 6, 7, 8, 9, 10, 11})) {
        for (const char *element :
             {"_max_12bit_constraint_flag", "_max_10bit_constraint_flag",
              "_max_8bit_constraint_flag", "_max_422chroma_constraint_flag",
              "_max_420chroma_constraint_flag", "_max_monochrome_constraint_flag",
              "_intra_constraint_flag", "_one_picture_only_constraint_flag",
              "_lower_bit_rate_constraint_flag"})
            r.u(name(element), 1);
        if (is({5, 9, 10, 11})) {
            r.u(name("_max_14bit_constraint_flag"), 1);
            r.u_wide(name("_reserved_zero_33bits"), 33);
        } else {
            r.u_wide(name("_reserved_zero_34bits"), 34);
        }
    } else if (is({2})) {
        r.u(name("_reserved_zero_7bits"), 7);
        r.u(name("_one_picture_only_constraint_flag"), 1);
        r.u_wide(name("_reserved_zero_35bits"), 35);
    } else {
        r.u_wide(name("_reserved_zero_43bits"), 43);
    }
    if (is({1, 2, 3, 4, 5, 9, 11}))
        r.u(name("_inbld_flag"), 1);
    else
        r.u(name("_reserved_zero_bit"), 1);
}

void profile_tier_level(RbspFields &r, uint32_t max_sub_layers_minus1)
{
    profile(r, "general", -1);
    r.u("general_level_idc", 8);
    const int sub_layers = static_cast<int>(max_sub_layers_minus1);
    bool profile_present[8] = {}, level_present[8] = {};
    for (int i = 0; i < sub_layers; ++i) {
        profile_present[i] = r.flag(indexed("sub_layer_profile_present_flag", i));
        level_present[i] = r.flag(indexed("sub_layer_level_present_flag", i));
    }
    if (sub_layers > 0)
        for (int i = sub_layers; i < 8; ++i)
            r.u(indexed("reserved_zero_2bits", i), 2);
    for (int i = 0; i < sub_layers && r.ok(); ++i) {
        if (profile_present[i])
            profile(r, "sub_layer", i);
        if (level_present[i])
            r.u(indexed("sub_layer_level_idc", i), 8);
    }
}

// The dec_pic_buffering / num_reorder / latency triple of the VPS and SPS.
void sub_layer_ordering(RbspFields &r, const std::string &prefix, uint32_t max_sub_layers_minus1)
{
    const bool each = r.flag(prefix + "_sub_layer_ordering_info_present_flag");
    for (uint32_t i = each ? 0 : max_sub_layers_minus1; i <= max_sub_layers_minus1 && r.ok(); ++i) {
        const int n = static_cast<int>(i);
        r.ue(indexed(prefix + "_max_dec_pic_buffering_minus1", n), 15);
        r.ue(indexed(prefix + "_max_num_reorder_pics", n), 15);
        r.ue(indexed(prefix + "_max_latency_increase_plus1", n));
    }
}

void sub_layer_hrd_parameters(RbspFields &r, uint32_t cpb_cnt_minus1, bool sub_pic_params)
{
    for (uint32_t i = 0; i <= cpb_cnt_minus1 && r.ok(); ++i) {
        const int n = static_cast<int>(i);
        r.ue(indexed("bit_rate_value_minus1", n));
        r.ue(indexed("cpb_size_value_minus1", n));
        if (sub_pic_params) {
            r.ue(indexed("cpb_size_du_value_minus1", n));
            r.ue(indexed("bit_rate_du_value_minus1", n));
        }
        r.u(indexed("cbr_flag", n), 1);
    }
}

void hrd_parameters(RbspFields &r, bool common_info, uint32_t max_sub_layers_minus1)
{
    bool nal_hrd = false, vcl_hrd = false, sub_pic_params = false;
    if (common_info) {
        nal_hrd = r.flag("nal_hrd_parameters_present_flag");
        vcl_hrd = r.flag("vcl_hrd_parameters_present_flag");
        if (nal_hrd || vcl_hrd) {
            sub_pic_params = r.flag("sub_pic_hrd_params_present_flag");
            if (sub_pic_params) {
                r.u("tick_divisor_minus2", 8);
                r.u("du_cpb_removal_delay_increment_length_minus1", 5);
                r.u("sub_pic_cpb_params_in_pic_timing_sei_flag", 1);
                r.u("dpb_output_delay_du_length_minus1", 5);
            }
            r.u("bit_rate_scale", 4);
            r.u("cpb_size_scale", 4);
            if (sub_pic_params)
                r.u("cpb_size_du_scale", 4);
            r.u("initial_cpb_removal_delay_length_minus1", 5);
            r.u("au_cpb_removal_delay_length_minus1", 5);
            r.u("dpb_output_delay_length_minus1", 5);
        }
    }
    for (uint32_t i = 0; i <= max_sub_layers_minus1 && r.ok(); ++i) {
        const int n = static_cast<int>(i);
        bool fixed_within_cvs = true;
        if (!r.flag(indexed("fixed_pic_rate_general_flag", n)))
            fixed_within_cvs = r.flag(indexed("fixed_pic_rate_within_cvs_flag", n));
        bool low_delay = false;
        if (fixed_within_cvs)
            r.ue(indexed("elemental_duration_in_tc_minus1", n), 2047);
        else
            low_delay = r.flag(indexed("low_delay_hrd_flag", n));
        uint32_t cpb_cnt_minus1 = 0;
        if (!low_delay)
            cpb_cnt_minus1 = r.ue(indexed("cpb_cnt_minus1", n), 31);
        if (nal_hrd)
            sub_layer_hrd_parameters(r, cpb_cnt_minus1, sub_pic_params);
        if (vcl_hrd)
            sub_layer_hrd_parameters(r, cpb_cnt_minus1, sub_pic_params);
    }
}

void scaling_list_data(RbspFields &r)
{
    for (int size_id = 0; size_id < 4; ++size_id) {
        for (int matrix_id = 0; matrix_id < 6 && r.ok(); matrix_id += size_id == 3 ? 3 : 1) {
            if (!r.flag(indexed("scaling_list_pred_mode_flag", size_id, matrix_id))) {
                const int reachable = size_id == 3 ? matrix_id / 3 : matrix_id;
                r.ue(indexed("scaling_list_pred_matrix_id_delta", size_id, matrix_id),
                     static_cast<uint32_t>(reachable));
                continue;
            }
            const int coefficients = size_id == 0 ? 16 : 64;
            if (size_id > 1)
                r.se(indexed("scaling_list_dc_coef_minus8", size_id - 2, matrix_id), -7, 247);
            for (int i = 0; i < coefficients && r.ok(); ++i)
                r.se(indexed("scaling_list_delta_coef", size_id, matrix_id, i), -128, 127);
        }
    }
}

// st_ref_pic_set(idx) as the SPS holds it; returns NumDeltaPocs[idx].
uint32_t st_ref_pic_set(RbspFields &r, int idx, const uint32_t *num_delta_pocs)
{
    r.note("st_ref_pic_set(" + std::to_string(idx) + ")");
    if (idx != 0 && r.flag("inter_ref_pic_set_prediction_flag")) {
        // In the SPS the reference is always the previous set.
        r.u("delta_rps_sign", 1);
        r.ue("abs_delta_rps_minus1", 32767);
        uint32_t count = 0;
        for (uint32_t j = 0; j <= num_delta_pocs[idx - 1] && r.ok(); ++j) {
            const int n = static_cast<int>(j);
            bool use_delta = r.flag(indexed("used_by_curr_pic_flag", n));
            if (!use_delta)
                use_delta = r.flag(indexed("use_delta_flag", n));
            count += use_delta ? 1 : 0;
        }
        return count;
    }
    const uint32_t negative = r.ue("num_negative_pics", 16);
    const uint32_t positive = r.ue("num_positive_pics", 16 - negative);
    for (uint32_t i = 0; i < negative && r.ok(); ++i) {
        r.ue(indexed("delta_poc_s0_minus1", static_cast<int>(i)), 32767);
        r.u(indexed("used_by_curr_pic_s0_flag", static_cast<int>(i)), 1);
    }
    for (uint32_t i = 0; i < positive && r.ok(); ++i) {
        r.ue(indexed("delta_poc_s1_minus1", static_cast<int>(i)), 32767);
        r.u(indexed("used_by_curr_pic_s1_flag", static_cast<int>(i)), 1);
    }
    return negative + positive;
}

void vui_parameters(RbspFields &r, uint32_t max_sub_layers_minus1)
{
    vui_picture_fields(r, "matrix_coeffs");
    r.u("neutral_chroma_indication_flag", 1);
    r.u("field_seq_flag", 1);
    r.u("frame_field_info_present_flag", 1);
    if (r.flag("default_display_window_flag")) {
        r.ue("def_disp_win_left_offset");
        r.ue("def_disp_win_right_offset");
        r.ue("def_disp_win_top_offset");
        r.ue("def_disp_win_bottom_offset");
    }
    if (r.flag("vui_timing_info_present_flag")) {
        r.u("vui_num_units_in_tick", 32);
        r.u("vui_time_scale", 32);
        if (r.flag("vui_poc_proportional_to_timing_flag"))
            r.ue("vui_num_ticks_poc_diff_one_minus1");
        if (r.flag("vui_hrd_parameters_present_flag"))
            hrd_parameters(r, true, max_sub_layers_minus1);
    }
    if (r.flag("bitstream_restriction_flag")) {
        r.u("tiles_fixed_structure_flag", 1);
        r.u("motion_vectors_over_pic_boundaries_flag", 1);
        r.u("restricted_ref_pic_lists_flag", 1);
        r.ue("min_spatial_segmentation_idc", 4095);
        r.ue("max_bytes_per_pic_denom", 16);
        r.ue("max_bits_per_min_cu_denom", 16);
        r.ue("log2_max_mv_length_horizontal", 15);
        r.ue("log2_max_mv_length_vertical", 15);
    }
}

// The four extension flags and extension_4bits after "<prefix>_extension_present_flag"; true
// when only the range extension (read by the caller) is signalled.
bool extension_flags(RbspFields &r, const std::string &prefix, bool *range)
{
    *range = r.flag(prefix + "_range_extension_flag");
    const bool multilayer = r.flag(prefix + "_multilayer_extension_flag");
    const bool three_d = r.flag(prefix + "_3d_extension_flag");
    const bool scc = r.flag(prefix + "_scc_extension_flag");
    const bool more = r.u(prefix + "_extension_4bits", 4) != 0;
    return !multilayer && !three_d && !scc && !more;
}

}  // namespace

void parse_hevc_vps(RbspFields &r)
{
    nal_header(r);
    r.u("vps_video_parameter_set_id", 4);
    r.u("vps_base_layer_internal_flag", 1);
    r.u("vps_base_layer_available_flag", 1);
    r.u("vps_max_layers_minus1", 6);
    const uint32_t max_sub_layers_minus1 = r.u("vps_max_sub_layers_minus1", 3);
    r.u("vps_temporal_id_nesting_flag", 1);
    r.u("vps_reserved_0xffff_16bits", 16);
    profile_tier_level(r, max_sub_layers_minus1);
    sub_layer_ordering(r, "vps", max_sub_layers_minus1);
    const uint32_t max_layer_id = r.u("vps_max_layer_id", 6);
    const uint32_t layer_sets_minus1 = r.ue("vps_num_layer_sets_minus1", 1023);
    for (uint32_t i = 1; i <= layer_sets_minus1 && r.ok(); ++i)
        for (uint32_t j = 0; j <= max_layer_id && r.ok(); ++j)
            r.u(indexed("layer_id_included_flag", static_cast<int>(i), static_cast<int>(j)), 1);
    if (r.flag("vps_timing_info_present_flag")) {
        r.u("vps_num_units_in_tick", 32);
        r.u("vps_time_scale", 32);
        if (r.flag("vps_poc_proportional_to_timing_flag"))
            r.ue("vps_num_ticks_poc_diff_one_minus1");
        const uint32_t hrds = r.ue("vps_num_hrd_parameters", layer_sets_minus1 + 1);
        for (uint32_t i = 0; i < hrds && r.ok(); ++i) {
            const int n = static_cast<int>(i);
            r.ue(indexed("hrd_layer_set_idx", n), layer_sets_minus1);
            const bool common_info = i == 0 || r.flag(indexed("cprms_present_flag", n));
            hrd_parameters(r, common_info, max_sub_layers_minus1);
        }
    }
    if (r.flag("vps_extension_flag"))
        r.stop("vps_extension( ) not read");
}

void parse_hevc_sps(RbspFields &r, std::map<unsigned, SequenceInfo> *sequences)
{
    nal_header(r);
    r.u("sps_video_parameter_set_id", 4);
    const uint32_t max_sub_layers_minus1 = r.u("sps_max_sub_layers_minus1", 3);
    if (max_sub_layers_minus1 > 6)
        r.stop("sps_max_sub_layers_minus1 above 6, not read further");
    r.u("sps_temporal_id_nesting_flag", 1);
    profile_tier_level(r, max_sub_layers_minus1);
    const uint32_t id = r.ue("sps_seq_parameter_set_id", 15);
    SequenceInfo info;
    info.chroma_format_idc = static_cast<int>(r.ue("chroma_format_idc", 3));
    if (info.chroma_format_idc == 3)
        info.separate_colour_plane = r.flag("separate_colour_plane_flag");
    info.coded_width = static_cast<int>(r.ue("pic_width_in_luma_samples", 16888));
    info.coded_height = static_cast<int>(r.ue("pic_height_in_luma_samples", 16888));
    if (r.flag("conformance_window_flag")) {
        // Offsets count in chroma samples.
        const int unit_x = info.chroma_format_idc == 1 || info.chroma_format_idc == 2 ? 2 : 1;
        const int unit_y = info.chroma_format_idc == 1 ? 2 : 1;
        info.crop_left = unit_x * static_cast<int>(r.ue("conf_win_left_offset", 8444));
        info.crop_right = unit_x * static_cast<int>(r.ue("conf_win_right_offset", 8444));
        info.crop_top = unit_y * static_cast<int>(r.ue("conf_win_top_offset", 8444));
        info.crop_bottom = unit_y * static_cast<int>(r.ue("conf_win_bottom_offset", 8444));
    }
    info.bit_depth_luma = 8 + static_cast<int>(r.ue("bit_depth_luma_minus8", 8));
    info.bit_depth_chroma = 8 + static_cast<int>(r.ue("bit_depth_chroma_minus8", 8));
    const bool sizes_read = r.ok();
    const int poc_lsb_bits = 4 + static_cast<int>(r.ue("log2_max_pic_order_cnt_lsb_minus4", 12));
    sub_layer_ordering(r, "sps", max_sub_layers_minus1);
    r.ue("log2_min_luma_coding_block_size_minus3", 3);
    r.ue("log2_diff_max_min_luma_coding_block_size", 3);
    r.ue("log2_min_luma_transform_block_size_minus2", 3);
    r.ue("log2_diff_max_min_luma_transform_block_size", 3);
    r.ue("max_transform_hierarchy_depth_inter", 4);
    r.ue("max_transform_hierarchy_depth_intra", 4);
    if (r.flag("scaling_list_enabled_flag") && r.flag("sps_scaling_list_data_present_flag"))
        scaling_list_data(r);
    r.u("amp_enabled_flag", 1);
    r.u("sample_adaptive_offset_enabled_flag", 1);
    if (r.flag("pcm_enabled_flag")) {
        r.u("pcm_sample_bit_depth_luma_minus1", 4);
        r.u("pcm_sample_bit_depth_chroma_minus1", 4);
        r.ue("log2_min_pcm_luma_coding_block_size_minus3", 2);
        r.ue("log2_diff_max_min_pcm_luma_coding_block_size", 2);
        r.u("pcm_loop_filter_disabled_flag", 1);
    }
    const uint32_t sets = r.ue("num_short_term_ref_pic_sets", 64);
    uint32_t num_delta_pocs[64] = {};
    for (uint32_t i = 0; i < sets && r.ok(); ++i)
        num_delta_pocs[i] = st_ref_pic_set(r, static_cast<int>(i), num_delta_pocs);
    if (r.flag("long_term_ref_pics_present_flag")) {
        const uint32_t count = r.ue("num_long_term_ref_pics_sps", 32);
        for (uint32_t i = 0; i < count && r.ok(); ++i) {
            r.u(indexed("lt_ref_pic_poc_lsb_sps", static_cast<int>(i)), poc_lsb_bits);
            r.u(indexed("used_by_curr_pic_lt_sps_flag", static_cast<int>(i)), 1);
        }
    }
    r.u("sps_temporal_mvp_enabled_flag", 1);
    r.u("strong_intra_smoothing_enabled_flag", 1);
    if (r.flag("vui_parameters_present_flag"))
        vui_parameters(r, max_sub_layers_minus1);
    bool range = false;
    if (r.flag("sps_extension_present_flag")) {
        const bool only_range = extension_flags(r, "sps", &range);
        if (range) {
            for (const char *element :
                 {"transform_skip_rotation_enabled_flag", "transform_skip_context_enabled_flag",
                  "implicit_rdpcm_enabled_flag", "explicit_rdpcm_enabled_flag",
                  "extended_precision_processing_flag", "intra_smoothing_disabled_flag",
                  "high_precision_offsets_enabled_flag", "persistent_rice_adaptation_enabled_flag",
                  "cabac_bypass_alignment_enabled_flag"})
                r.u(element, 1);
        }
        if (!only_range)
            r.stop("sps_multilayer_extension( ) and later extensions not read");
    }
    if (!sizes_read)
        return;
    print_summary(info, r.output());
    (*sequences)[id] = info;
}

void parse_hevc_pps(RbspFields &r)
{
    nal_header(r);
    r.ue("pps_pic_parameter_set_id", 63);
    r.ue("pps_seq_parameter_set_id", 15);
    r.u("dependent_slice_segments_enabled_flag", 1);
    r.u("output_flag_present_flag", 1);
    r.u("num_extra_slice_header_bits", 3);
    r.u("sign_data_hiding_enabled_flag", 1);
    r.u("cabac_init_present_flag", 1);
    r.ue("num_ref_idx_l0_default_active_minus1", 14);
    r.ue("num_ref_idx_l1_default_active_minus1", 14);
    r.se("init_qp_minus26", -(26 + 48), 25);
    r.u("constrained_intra_pred_flag", 1);
    const bool transform_skip = r.flag("transform_skip_enabled_flag");
    if (r.flag("cu_qp_delta_enabled_flag"))
        r.ue("diff_cu_qp_delta_depth", 3);
    r.se("pps_cb_qp_offset", -12, 12);
    r.se("pps_cr_qp_offset", -12, 12);
    r.u("pps_slice_chroma_qp_offsets_present_flag", 1);
    r.u("weighted_pred_flag", 1);
    r.u("weighted_bipred_flag", 1);
    r.u("transquant_bypass_enabled_flag", 1);
    const bool tiles = r.flag("tiles_enabled_flag");
    r.u("entropy_coding_sync_enabled_flag", 1);
    if (tiles) {
        const uint32_t columns_minus1 = r.ue("num_tile_columns_minus1", 255);
        const uint32_t rows_minus1 = r.ue("num_tile_rows_minus1", 255);
        if (!r.flag("uniform_spacing_flag")) {
            for (uint32_t i = 0; i < columns_minus1 && r.ok(); ++i)
                r.ue(indexed("column_width_minus1", static_cast<int>(i)));
            for (uint32_t i = 0; i < rows_minus1 && r.ok(); ++i)
                r.ue(indexed("row_height_minus1", static_cast<int>(i)));
        }
        r.u("loop_filter_across_tiles_enabled_flag", 1);
    }
    r.u("pps_loop_filter_across_slices_enabled_flag", 1);
    if (r.flag("deblocking_filter_control_present_flag")) {
        r.u("deblocking_filter_override_enabled_flag", 1);
        if (!r.flag("pps_deblocking_filter_disabled_flag")) {
            r.se("pps_beta_offset_div2", -6, 6);
            r.se("pps_tc_offset_div2", -6, 6);
        }
    }
    if (r.flag("pps_scaling_list_data_present_flag"))
        scaling_list_data(r);
    r.u("lists_modification_present_flag", 1);
    r.ue("log2_parallel_merge_level_minus2", 4);
    r.u("slice_segment_header_extension_present_flag", 1);
    if (r.flag("pps_extension_present_flag")) {
        bool range = false;
        const bool only_range = extension_flags(r, "pps", &range);
        if (range) {
            if (transform_skip)
                r.ue("log2_max_transform_skip_block_size_minus2", 3);
            r.u("cross_component_prediction_enabled_flag", 1);
            if (r.flag("chroma_qp_offset_list_enabled_flag")) {
                r.ue("diff_cu_chroma_qp_offset_depth", 3);
                const uint32_t len_minus1 = r.ue("chroma_qp_offset_list_len_minus1", 5);
                for (uint32_t i = 0; i <= len_minus1 && r.ok(); ++i) {
                    r.se(indexed("cb_qp_offset_list", static_cast<int>(i)), -12, 12);
                    r.se(indexed("cr_qp_offset_list", static_cast<int>(i)), -12, 12);
                }
            }
            r.ue("log2_sao_offset_scale_luma", 6);
            r.ue("log2_sao_offset_scale_chroma", 6);
        }
        if (!only_range)
            r.stop("pps_multilayer_extension( ) and later extensions not read");
    }
}

}  // namespace ozmu_tool
