#include <gtest/gtest.h>

#include <array>

#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Core/Exception.h"
#include "tests/support/Draw.h"
#include "tests/support/HEVCBuilder.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using TestSupport::Draw;
using TestSupport::HEVCForm;

HEVCProfileTierLevel DrawProfile(Draw& draw) {
    HEVCProfileTierLevel profile;
    profile.general_profile_space = draw.Bits(2);
    profile.general_tier_flag = draw.Flag();
    profile.general_profile_idc = draw.Bits(5);
    // Zeros often: that is where emulation prevention comes in.
    for (u8& flags : profile.general_profile_compatibility_flags) flags = draw.Flag() ? draw.Bits(8) : u8{0};
    for (u8& flags : profile.general_constraint_indicator_flags) flags = draw.Flag() ? draw.Bits(8) : u8{0};
    profile.general_level_idc = draw.Bits(8);
    return profile;
}

HEVCForm DrawForm(Draw& draw, unsigned maxSubLayersMinus1) {
    HEVCForm form;
    for (unsigned i = 0; i < maxSubLayersMinus1; ++i)
        form.subLayers.push_back({draw.Flag() != 0, draw.Flag() != 0, draw.Flag() ? u64{draw.UE()} << 13 : 0});
    form.writeEmptyWindow = draw.Flag() != 0;
    return form;
}

HEVCVPS DrawVPS(Draw& draw) {
    HEVCVPS vps;
    vps.vps_video_parameter_set_id = draw.Bits(4);
    vps.vps_max_sub_layers_minus1 = draw.Bits(3);
    vps.vps_temporal_id_nesting_flag = draw.Flag();
    vps.profile_tier_level = DrawProfile(draw);
    return vps;
}

HEVCSPS DrawSPS(Draw& draw) {
    HEVCSPS sps;
    sps.sps_video_parameter_set_id = draw.Bits(4);
    sps.sps_max_sub_layers_minus1 = draw.Bits(3);
    sps.sps_temporal_id_nesting_flag = draw.Flag();
    sps.profile_tier_level = DrawProfile(draw);
    sps.sps_seq_parameter_set_id = draw.Bits(draw.Flag() ? 4 : 8);
    sps.chroma_format_idc = draw.Bits(draw.Below(16) == 0 ? 8 : 2);
    if (sps.chroma_format_idc == 3) sps.separate_colour_plane_flag = draw.Flag();
    sps.pic_width_in_luma_samples = draw.UE();
    sps.pic_height_in_luma_samples = draw.UE();
    if (draw.Flag()) {
        sps.conf_win_left_offset = draw.UE();
        sps.conf_win_right_offset = draw.UE();
        sps.conf_win_top_offset = draw.UE();
        sps.conf_win_bottom_offset = draw.UE();
    }
    sps.bit_depth_luma_minus8 = draw.Bits(8);
    sps.bit_depth_chroma_minus8 = draw.Bits(8);
    return sps;
}

TEST(HEVCProperty, DrawnVpsReadsBack) {
    std::array<unsigned, 8> subLayers = {};
    for (u32 seed = 1; seed <= 4000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        HEVCVPS const vps = DrawVPS(draw);
        HEVCForm const form = DrawForm(draw, vps.vps_max_sub_layers_minus1);
        Bytes const extradata = TestSupport::JoinAnnexB({TestSupport::BuildHEVCVPS(vps, form)});
        ASSERT_TRUE(DecodeHEVCVPS(extradata.data(), extradata.size()) == vps);
        ++subLayers[vps.vps_max_sub_layers_minus1];
    }
    for (unsigned const count : subLayers) EXPECT_GT(count, 100U);
}

TEST(HEVCProperty, DrawnSpsReadsBack) {
    std::array<unsigned, 8> subLayers = {};
    std::array<unsigned, 4> chroma = {};
    for (u32 seed = 1; seed <= 8000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        HEVCSPS const sps = DrawSPS(draw);
        HEVCForm const form = DrawForm(draw, sps.sps_max_sub_layers_minus1);
        Bytes const extradata = TestSupport::JoinAnnexB({TestSupport::BuildHEVCSPS(sps, form)});
        ASSERT_TRUE(DecodeHEVCSPS(extradata.data(), extradata.size()) == sps);
        ++subLayers[sps.sps_max_sub_layers_minus1];
        if (sps.chroma_format_idc < chroma.size()) ++chroma[sps.chroma_format_idc];
    }
    for (unsigned const count : subLayers) EXPECT_GT(count, 100U);
    for (unsigned const count : chroma) EXPECT_GT(count, 100U);
}

TEST(HEVCProperty, DrawnSizesKeepTheirArithmetic) {
    for (u32 seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        HEVCSPS const sps = DrawSPS(draw);
        bool const halfWidth = sps.chroma_format_idc == 1 || sps.chroma_format_idc == 2;
        bool const halfHeight = sps.chroma_format_idc == 1;
        PictureSize const size = sps.GetPictureSize();
        ASSERT_EQ(size.width + (int64{sps.conf_win_left_offset} + sps.conf_win_right_offset) * (halfWidth ? 2 : 1),
                  int64{sps.pic_width_in_luma_samples});
        ASSERT_EQ(size.height + (int64{sps.conf_win_top_offset} + sps.conf_win_bottom_offset) * (halfHeight ? 2 : 1),
                  int64{sps.pic_height_in_luma_samples});
    }
}

TEST(HEVCProperty, FlippedBitsParseOrThrow) {
    std::size_t parsed = 0;
    std::size_t refused = 0;
    for (u32 seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Draw draw(seed);
        HEVCSPS const sps = DrawSPS(draw);
        HEVCVPS const vps = DrawVPS(draw);
        Bytes extradata =
            TestSupport::JoinAnnexB({TestSupport::BuildHEVCVPS(vps, DrawForm(draw, vps.vps_max_sub_layers_minus1)),
                                     TestSupport::BuildHEVCSPS(sps, DrawForm(draw, sps.sps_max_sub_layers_minus1))});
        for (int i = 0; i < 3; ++i)
            extradata[draw.Below(static_cast<u32>(extradata.size()))] ^= static_cast<u8>(1U << draw.Below(8));
        try {
            DecodeHEVCSPS(extradata.data(), extradata.size()).GetPictureSize();
            DecodeHEVCVPS(extradata.data(), extradata.size());
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
