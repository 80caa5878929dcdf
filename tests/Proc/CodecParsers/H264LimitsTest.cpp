#include <gtest/gtest.h>

#include "Proc/CodecParsers/H264Records.h"
#include "contracts/Conf/CodecIds.h"
#include "tests/support/H264Builder.h"

namespace Tarsel::Proc::CodecParsers {
namespace {

using TestSupport::MakePPS;
using TestSupport::MakeSPS;

struct LevelCase {
    u32 level, macroblocks, frame, dpb, bitrate;
};

TEST(H264Levels, EveryRowOfTheTable) {
    LevelCase const cases[] = {
        {9, 1485, 99, 396, 128},
        {10, 1485, 99, 396, 64},
        {11, 3000, 396, 900, 192},
        {12, 6000, 396, 2376, 384},
        {20, 11880, 396, 2376, 2000},
        {21, 19800, 792, 4752, 4000},
        {22, 20250, 1620, 8100, 4000},
        {30, 40500, 1620, 8100, 10000},
        {31, 108000, 3600, 18000, 14000},
        {32, 216000, 5120, 20480, 20000},
        {40, 245760, 8192, 32768, 20000},
        {41, 245760, 8192, 32768, 50000},
        {42, 522240, 8704, 34816, 50000},
        {50, 589824, 22080, 110400, 135000},
        {51, 983040, 36864, 184320, 240000},
        {52, 2073600, 36864, 184320, 240000},
        {60, 4177920, 139264, 696320, 240000},
        {61, 8355840, 139264, 696320, 480000},
        {62, 16711680, 139264, 696320, 800000},
    };
    for (LevelCase const& c : cases)
        EXPECT_EQ(GetH264LevelLimits(c.level), (H264LevelLimits{c.macroblocks, c.frame, c.dpb, c.bitrate})) << c.level;
}

TEST(H264Levels, Level13Has11800MacroblocksASecond) {
    EXPECT_EQ(GetH264LevelLimits(13), (H264LevelLimits{11800, 396, 2376, 768}));
}

TEST(H264Levels, UnknownLevelsAreFourZeros) {
    for (u32 const level : {0U, 8U, 14U, 23U, 43U, 63U, 255U}) EXPECT_EQ(GetH264LevelLimits(level), H264LevelLimits());
}

TEST(H264Levels, Level1bIsBaselineOrMain11WithConstraint3) {
    for (u8 const profile : {66, 77, 88, 100}) {
        for (u8 const level : {10, 11, 12}) {
            for (u8 const constraint : {0, 1}) {
                H264SPS sps;
                sps.profile_idc = profile;
                sps.level_idc = level;
                sps.constraint_set3_flag = constraint;
                bool const is1b = (profile == 66 || profile == 77) && level == 11 && constraint == 1;
                EXPECT_EQ(sps.GetEffectiveLevel(), is1b ? 9U : u32{level});
            }
        }
    }
}

TEST(H264Levels, AccessorsReadTheRowOfTheEffectiveLevel) {
    H264SPS sps;
    sps.profile_idc = 66;
    sps.level_idc = 11;
    sps.constraint_set3_flag = 1;
    EXPECT_EQ(sps.GetLevelLimits(), (H264LevelLimits{1485, 99, 396, 128}));
    EXPECT_EQ(sps.GetMaxMacroblocksPerSecond(), 1485U);
    EXPECT_EQ(sps.GetMaxFrameSize(), 99U);
    EXPECT_EQ(sps.GetMaxDpbSize(), 396U);
}

TEST(H264Levels, BitrateIsScaledByProfile) {
    H264SPS sps;
    sps.profile_idc = 100;
    sps.level_idc = 31;
    EXPECT_EQ(sps.GetMaxBitrate(Conf::TAG_X264_PROFILE_BASELINE), 14000U);
    EXPECT_EQ(sps.GetMaxBitrate(Conf::TAG_X264_PROFILE_MAIN), 14000U);
    EXPECT_EQ(sps.GetMaxBitrate(Conf::TAG_X264_PROFILE_EXTENDED), 14000U);
    EXPECT_EQ(sps.GetMaxBitrate(Conf::TAG_X264_PROFILE_HIGH), 17500U);
    EXPECT_EQ(sps.GetMaxBitrate(Conf::TAG_X264_PROFILE_HIGH10), 42000U);
    EXPECT_EQ(sps.GetMaxBitrate(Conf::TAG_X264_PROFILE_HIGH422), 56000U);
    EXPECT_EQ(sps.GetMaxBitrate(Conf::TAG_X264_PROFILE_HIGH444), 56000U);
    EXPECT_EQ(sps.GetMaxBitrate("simple"), 0U);
    EXPECT_EQ(sps.GetMaxBitrate(""), 0U);
}

TEST(H264PictureSizes, ProgressiveFramesCountMacroblocksOf16) {
    H264SPS sps = MakeSPS();
    sps.frame_cropping_flag = 0;
    EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{640, 368}));
    sps.frame_mbs_only_flag = 0;
    EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{640, 736}));
}

struct CropCase {
    u8 chromaFormat, separatePlanes, frameOnly;
    int64 unitX, unitY;
};

TEST(H264PictureSizes, CropUnitsFollowChromaFormatAndFields) {
    CropCase const cases[] = {
        {0, 0, 1, 1, 1}, {1, 0, 1, 2, 2}, {2, 0, 1, 2, 1}, {3, 0, 1, 1, 1}, {3, 1, 1, 1, 1},
        {1, 1, 1, 1, 1}, {0, 0, 0, 1, 2}, {1, 0, 0, 2, 4}, {2, 0, 0, 2, 2}, {3, 0, 0, 1, 2},
    };
    for (CropCase const& c : cases) {
        H264SPS sps = MakeSPS();
        sps.chroma_format_idc = c.chromaFormat;
        sps.separate_colour_plane_flag = c.separatePlanes;
        sps.frame_mbs_only_flag = c.frameOnly;
        sps.frame_crop_left_offset = 1;
        sps.frame_crop_right_offset = 2;
        sps.frame_crop_top_offset = 3;
        sps.frame_crop_bottom_offset = 4;
        int64 const height = c.frameOnly ? 368 : 736;
        EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{640 - 3 * c.unitX, height - 7 * c.unitY}))
            << int(c.chromaFormat) << int(c.separatePlanes) << int(c.frameOnly);
    }
}

TEST(H264PictureSizes, CroppingThatLeavesNothingIsIgnored) {
    H264SPS sps = MakeSPS();
    sps.frame_crop_right_offset = 319;
    EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{2, 360}));
    sps.frame_crop_right_offset = 320;
    EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{640, 368}));
    sps.frame_crop_right_offset = 0;
    sps.frame_crop_top_offset = 0xFFFFFFFF;
    EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{640, 368}));
}

TEST(H264PictureSizes, LargestFieldsDoNotOverflow) {
    H264SPS sps = MakeSPS();
    sps.frame_cropping_flag = 0;
    sps.pic_width_in_mbs_minus1 = sps.pic_height_in_map_units_minus1 = 0xFFFFFFFF;
    sps.frame_mbs_only_flag = 0;
    EXPECT_EQ(sps.GetPictureSize(), (H264PictureSize{int64{1} << 36, int64{1} << 37}));
}

TEST(H264Reorder, PictureOrderTypeTwoHasNone) {
    H264SPS sps = MakeSPS();
    sps.pic_order_cnt_type = 2;
    EXPECT_EQ(sps.GetMaxReorderFrames(), 0U);
}

TEST(H264Reorder, IsWhatTheDecodedPictureBufferHolds) {
    H264SPS sps = MakeSPS();  // 8100 / (40 x 23)
    EXPECT_EQ(sps.GetMaxReorderFrames(), 8U);
    sps.pic_width_in_mbs_minus1 = sps.pic_height_in_map_units_minus1 = 9;
    EXPECT_EQ(sps.GetMaxReorderFrames(), 16U);
}

TEST(H264Reorder, BitstreamRestrictionLowersIt) {
    H264SPS sps = MakeSPS();
    sps.vui_parameters_present_flag = 1;
    sps.vui.bitstream_restriction_flag = 1;
    sps.vui.max_num_reorder_frames = 2;
    EXPECT_EQ(sps.GetMaxReorderFrames(), 2U);
    sps.vui.max_num_reorder_frames = 15;
    EXPECT_EQ(sps.GetMaxReorderFrames(), 8U);
    sps.vui_parameters_present_flag = 0;
    sps.vui.max_num_reorder_frames = 2;
    EXPECT_EQ(sps.GetMaxReorderFrames(), 8U);
}

TEST(H264Reorder, IntraProfilesHaveNoneUnlessTheStreamTells) {
    for (u8 const profile : {44, 86, 100, 110, 122, 244}) {
        H264SPS sps = MakeSPS();
        sps.profile_idc = profile;
        sps.constraint_set3_flag = 1;
        EXPECT_EQ(sps.GetMaxReorderFrames(), 0U) << int(profile);
        sps.vui_parameters_present_flag = sps.vui.bitstream_restriction_flag = 1;
        sps.vui.max_num_reorder_frames = 3;
        EXPECT_EQ(sps.GetMaxReorderFrames(), 3U) << int(profile);
    }
    H264SPS main = MakeSPS();
    main.profile_idc = 77;
    main.constraint_set3_flag = 1;
    EXPECT_EQ(main.GetMaxReorderFrames(), 8U);
}

TEST(H264Reorder, UnknownLevelGivesZero) {
    H264SPS sps = MakeSPS();
    sps.level_idc = 99;
    EXPECT_EQ(sps.GetMaxReorderFrames(), 0U);
}

TEST(H264Reorder, SizesThatWrapDivideByNothing) {
    H264SPS sps = MakeSPS();
    sps.pic_width_in_mbs_minus1 = sps.pic_height_in_map_units_minus1 = 0xFFFFFFFF;
    EXPECT_EQ(sps.GetMaxReorderFrames(), 0U);
}

TEST(H264SameFormat, ComparesTheFieldsThatAJoinNeeds) {
    using Change = void (*)(H264SPS&);
    Change const different[] = {
        [](H264SPS& s) { s.profile_idc = 77; },
        [](H264SPS& s) { s.seq_parameter_set_id = 1; },
        [](H264SPS& s) { s.pic_width_in_mbs_minus1 = 1; },
        [](H264SPS& s) { s.pic_height_in_map_units_minus1 = 1; },
        [](H264SPS& s) { s.frame_mbs_only_flag = 0; },
        [](H264SPS& s) { s.direct_8x8_inference_flag = 0; },
        [](H264SPS& s) { s.frame_cropping_flag = 0; },
        [](H264SPS& s) { s.frame_crop_left_offset = 1; },
        [](H264SPS& s) { s.frame_crop_right_offset = 1; },
        [](H264SPS& s) { s.frame_crop_top_offset = 1; },
        [](H264SPS& s) { s.frame_crop_bottom_offset = 1; },
    };
    H264SPS const sps = MakeSPS();
    EXPECT_TRUE(sps.SameFormat(sps));
    for (Change const change : different) {
        H264SPS other = MakeSPS();
        change(other);
        EXPECT_FALSE(sps.SameFormat(other));
    }
    H264SPS other = MakeSPS();
    other.level_idc = 51;
    other.max_num_ref_frames = 1;
    other.chroma_format_idc = 3;
    other.vui_parameters_present_flag = 1;
    EXPECT_TRUE(sps.SameFormat(other));
}

TEST(H264SameFormat, PpsComparesIdsAndEntropyCoding) {
    H264PPS const pps = MakePPS();
    H264PPS other = pps;
    other.pic_init_qp_minus26 = 5;
    other.weighted_pred_flag = 0;
    EXPECT_TRUE(pps.SameFormat(other));
    other.entropy_coding_mode_flag = 0;
    EXPECT_FALSE(pps.SameFormat(other));
    EXPECT_FALSE(pps.SameFormat(MakePPS(1)));
    EXPECT_FALSE(pps.SameFormat(MakePPS(0, 1)));
}

TEST(H264SliceText, NamesOfUnitsAndSlices) {
    EXPECT_EQ(H264SliceInfo().GetText(), "nalu: U, slice: U");
    char const* const units[] = {"U",   "Non-IDR", "Part. A", "Part. B", "Part. C", "IDR",
                                 "SEI", "SPS",     "PPS",     "AUD",     "X"};
    for (u32 i = 0; i < 11; ++i)
        EXPECT_EQ((H264SliceInfo{i, 0}).GetText(), std::string("nalu: ") + units[i] + ", slice: P");
    char const* const slices[] = {"U", "P", "B", "I", "SP", "SI", "X"};
    for (i32 i = 0; i < 7; ++i)
        EXPECT_EQ((H264SliceInfo{5, i - 1}).GetText(), std::string("nalu: IDR, slice: ") + slices[i]);
    EXPECT_EQ((H264SliceInfo{0xFFFFFFFF, 0x7FFFFFFF}).GetText(), "nalu: X, slice: X");
    EXPECT_EQ((H264SliceInfo{5, -2}).GetText(), "nalu: IDR, slice: X");
}

}  // namespace
}  // namespace Tarsel::Proc::CodecParsers
