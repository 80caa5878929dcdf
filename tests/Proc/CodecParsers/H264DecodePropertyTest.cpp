#include <gtest/gtest.h>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "contracts/Core/Exception.h"
#include "tests/support/Draw.h"
#include "tests/support/H264Builder.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using TestSupport::Draw;

H264HRD DrawHRD(Draw& draw) {
    H264HRD hrd;
    hrd.cpb_cnt_minus1 = draw.Below(4);
    hrd.bit_rate_scale = draw.Bits(4);
    hrd.cpb_size_scale = draw.Bits(4);
    for (u32 i = 0; i <= hrd.cpb_cnt_minus1; ++i) {
        hrd.bit_rate_value_minus1.push_back(draw.UE());
        hrd.cpb_size_value_minus1.push_back(draw.UE());
        hrd.cbr_flag.push_back(draw.Flag());
    }
    hrd.initial_cpb_removal_delay_length_minus1 = draw.Bits(5);
    hrd.cpb_removal_delay_length_minus1 = draw.Bits(5);
    hrd.dpb_output_delay_length_minus1 = draw.Bits(5);
    hrd.time_offset_length = draw.Bits(5);
    return hrd;
}

H264VUI DrawVUI(Draw& draw) {
    H264VUI vui;
    if ((vui.aspect_ratio_info_present_flag = draw.Flag())) {
        vui.aspect_ratio_idc = draw.Flag() ? 255 : draw.Bits(4);
        if (vui.aspect_ratio_idc == 255) {
            vui.sar_width = static_cast<u16>(draw.Below(0x10000));
            vui.sar_height = static_cast<u16>(draw.Below(0x10000));
        }
    }
    if ((vui.overscan_info_present_flag = draw.Flag())) vui.overscan_appropriate_flag = draw.Flag();
    if ((vui.video_signal_type_present_flag = draw.Flag())) {
        vui.video_format = draw.Bits(3);
        vui.video_full_range_flag = draw.Flag();
        if ((vui.colour_description_present_flag = draw.Flag()))
            for (u8& value : vui.colour) value = draw.Bits(8);
    }
    if ((vui.chroma_loc_info_present_flag = draw.Flag())) {
        vui.chroma_sample_loc_type_top_field = draw.UE();
        vui.chroma_sample_loc_type_bottom_field = draw.UE();
    }
    if ((vui.timing_info_present_flag = draw.Flag())) {
        vui.num_units_in_tick = draw.Flag() ? draw.UE() : 0;
        vui.time_scale = draw.UE();
        vui.fixed_frame_rate_flag = draw.Flag();
    }
    if ((vui.nal_hrd_parameters_present_flag = draw.Flag())) vui.nal_hrd = DrawHRD(draw);
    if ((vui.vcl_hrd_parameters_present_flag = draw.Flag())) vui.vcl_hrd = DrawHRD(draw);
    if (vui.nal_hrd_parameters_present_flag || vui.vcl_hrd_parameters_present_flag)
        vui.low_delay_hrd_flag = draw.Flag();
    vui.pic_struct_present_flag = draw.Flag();
    if ((vui.bitstream_restriction_flag = draw.Flag())) {
        vui.motion_vectors_over_pic_boundaries_flag = draw.Flag();
        vui.max_bytes_per_pic_denom = draw.UE();
        vui.max_bits_per_mb_denom = draw.UE();
        vui.log2_max_mv_length_horizontal = draw.UE();
        vui.log2_max_mv_length_vertical = draw.UE();
        vui.max_num_reorder_frames = draw.UE();
        vui.max_dec_frame_buffering = draw.UE();
    }
    return vui;
}

// Lists with explicit values, none of them 0, in the record and as deltas.
template <class Lists>
void DrawLists(Draw& draw, Lists& lists, std::size_t count, std::vector<TestSupport::CodedScalingList>& coded) {
    for (std::size_t i = 0; i < count; ++i) {
        i32 last = 8;
        TestSupport::CodedScalingList list;
        list.present = true;
        for (u32& value : lists[i]) {
            value = 1 + draw.Below(255);
            i32 delta = static_cast<i32>(value) - last;
            if (delta > 127) delta -= 256;
            if (delta < -128) delta += 256;
            list.deltas.push_back(delta);
            last = static_cast<i32>(value);
        }
        coded.push_back(list);
    }
}

H264SPS DrawSPS(Draw& draw, std::vector<TestSupport::CodedScalingList>& lists) {
    static constexpr u8 PROFILES[] = {66, 77, 88, 100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 144};
    H264SPS sps = TestSupport::MakeSPS(draw.UE());
    u32 const profile = draw.Below(14);
    sps.profile_idc = PROFILES[profile];
    sps.constraint_set0_flag = draw.Flag();
    sps.constraint_set1_flag = draw.Flag();
    sps.constraint_set2_flag = draw.Flag();
    sps.constraint_set3_flag = draw.Flag();
    sps.level_idc = draw.Bits(8);
    if (profile >= 3) {
        sps.chroma_format_idc = draw.Bits(2);
        if (sps.chroma_format_idc == 3) sps.separate_colour_plane_flag = draw.Flag();
        sps.bit_depth_luma_minus8 = draw.Bits(8);
        sps.bit_depth_chroma_minus8 = draw.Bits(8);
        sps.qpprime_y_zero_transform_bypass_flag = draw.Flag();
        if ((sps.seq_scaling_matrix_present_flag = draw.Flag())) {
            sps.ScalingList8x8 = {};
            DrawLists(draw, sps.ScalingList4x4, 6, lists);
            DrawLists(draw, sps.ScalingList8x8, sps.chroma_format_idc == 3 ? 6 : 2, lists);
        }
    }
    sps.log2_max_frame_num_minus4 = draw.UE();
    sps.pic_order_cnt_type = draw.Below(4);
    sps.log2_max_pic_order_cnt_lsb_minus4 = sps.pic_order_cnt_type == 0 ? draw.UE() : 0;
    if (sps.pic_order_cnt_type == 1) {
        sps.delta_pic_order_always_zero_flag = draw.Flag();
        sps.offset_for_non_ref_pic = draw.SE();
        sps.offset_for_top_to_bottom_field = draw.SE();
        sps.num_ref_frames_in_pic_order_cnt_cycle = draw.Below(256);
        for (u32 i = 0; i < sps.num_ref_frames_in_pic_order_cnt_cycle; ++i)
            sps.offset_for_ref_frame.push_back(draw.SE());
    }
    sps.max_num_ref_frames = draw.UE();
    sps.gaps_in_frame_num_value_allowed_flag = draw.Flag();
    sps.pic_width_in_mbs_minus1 = draw.UE();
    sps.pic_height_in_map_units_minus1 = draw.UE();
    sps.frame_mbs_only_flag = draw.Flag();
    if (!sps.frame_mbs_only_flag) sps.mb_adaptive_frame_field_flag = draw.Flag();
    sps.direct_8x8_inference_flag = draw.Flag();
    sps.frame_crop_bottom_offset = 0;
    if ((sps.frame_cropping_flag = draw.Flag())) {
        sps.frame_crop_left_offset = draw.UE();
        sps.frame_crop_right_offset = draw.UE();
        sps.frame_crop_top_offset = draw.UE();
        sps.frame_crop_bottom_offset = draw.UE();
    }
    if ((sps.vui_parameters_present_flag = draw.Flag())) sps.vui = DrawVUI(draw);
    return sps;
}

H264PPS DrawPPS(Draw& draw) {
    H264PPS pps;
    pps.pic_parameter_set_id = draw.UE();
    pps.seq_parameter_set_id = draw.UE();
    pps.entropy_coding_mode_flag = draw.Flag();
    pps.bottom_field_pic_order_in_frame_present_flag = draw.Flag();
    pps.num_slice_groups_minus1 = draw.Flag() ? 0 : draw.Below(8);
    u32 const groups = pps.num_slice_groups_minus1 + 1;
    if (groups > 1) {
        pps.slice_group_map_type = draw.Below(7);
        if (pps.slice_group_map_type == 0)
            for (u32 i = 0; i < groups; ++i) pps.run_length_minus1.push_back(draw.UE());
        if (pps.slice_group_map_type == 2) {
            for (u32 i = 0; i < groups; ++i) {
                pps.top_left.push_back(draw.UE());
                pps.bottom_right.push_back(draw.UE());
            }
        }
        if (pps.slice_group_map_type >= 3 && pps.slice_group_map_type <= 5) {
            pps.slice_group_change_direction_flag = draw.Flag();
            pps.slice_group_change_rate_minus1 = draw.UE();
        }
        if (pps.slice_group_map_type == 6) {
            pps.pic_size_in_map_units_minus1 = draw.Below(400);
            for (u32 i = 0; i <= pps.pic_size_in_map_units_minus1; ++i)
                pps.slice_group_id.push_back(draw.Below(groups));
        }
    }
    pps.num_ref_idx_l0_default_active_minus1 = draw.UE();
    pps.num_ref_idx_l1_default_active_minus1 = draw.UE();
    pps.weighted_pred_flag = draw.Flag();
    pps.weighted_bipred_idc = draw.Bits(2);
    pps.pic_init_qp_minus26 = draw.SE();
    pps.pic_init_qs_minus26 = draw.SE();
    pps.chroma_qp_index_offset = draw.SE();
    pps.deblocking_filter_control_present_flag = draw.Flag();
    pps.constrained_intra_pred_flag = draw.Flag();
    pps.redundant_pic_cnt_present_flag = draw.Flag();
    return pps;
}

TEST(H264Property, DrawnSpsReadsBack) {
    for (u32 seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        std::vector<TestSupport::CodedScalingList> lists;
        H264SPS const sps = DrawSPS(draw, lists);
        Bytes const extradata = TestSupport::JoinAnnexB({TestSupport::BuildSPS(sps, lists)});
        ASSERT_TRUE(DecodeH264SPS(extradata.data(), extradata.size()) == sps);
        // No drawn field may trap the derived values.
        sps.GetPictureSize();
        ASSERT_LE(sps.GetMaxReorderFrames(), 16U);
    }
}

TEST(H264Property, DrawnPpsReadsBack) {
    for (u32 seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        H264PPS const pps = DrawPPS(draw);
        Bytes const extradata = TestSupport::JoinAnnexB({TestSupport::BuildPPS(pps)});
        ASSERT_TRUE(DecodeH264PPS(extradata.data(), extradata.size()) == pps);
    }
}

TEST(H264Property, FlippedBitsParseOrThrow) {
    std::size_t parsed = 0;
    std::size_t refused = 0;
    for (u32 seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        std::vector<TestSupport::CodedScalingList> lists;
        H264SPS const sps = DrawSPS(draw, lists);
        Bytes extradata =
            TestSupport::JoinAnnexB({TestSupport::BuildSPS(sps, lists), TestSupport::BuildPPS(DrawPPS(draw))});
        for (int i = 0; i < 3; ++i)
            extradata[draw.Below(static_cast<u32>(extradata.size()))] ^= static_cast<u8>(1U << draw.Below(8));
        try {
            DecodeH264SPS(extradata.data(), extradata.size()).GetMaxReorderFrames();
            DecodeH264PPS(extradata.data(), extradata.size());
            ++parsed;
        } catch (Exception const&) {
            ++refused;
        }
    }
    // Both outcomes come up, or the flips would test nothing.
    EXPECT_GT(parsed, 100U);
    EXPECT_GT(refused, 100U);
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
