#include <algorithm>
#include <array>
#include <iterator>

#include "Proc/CodecParsers/H264Records.h"
#include "contracts/Conf/CodecIds.h"

namespace Tarsel::Proc::CodecParsers {

namespace {

constexpr u32 LEVEL_1B = 9;

struct LevelRow {
    u32 level;
    H264LevelLimits limits;
};

constexpr LevelRow LEVELS[] = {
    {LEVEL_1B, {1485, 99, 396, 128}},
    {10, {1485, 99, 396, 64}},
    {11, {3000, 396, 900, 192}},
    {12, {6000, 396, 2376, 384}},
    {13, {11800, 396, 2376, 768}},  // meant: 11800 macroblocks a second, not 11880
    {20, {11880, 396, 2376, 2000}},
    {21, {19800, 792, 4752, 4000}},
    {22, {20250, 1620, 8100, 4000}},
    {30, {40500, 1620, 8100, 10000}},
    {31, {108000, 3600, 18000, 14000}},
    {32, {216000, 5120, 20480, 20000}},
    {40, {245760, 8192, 32768, 20000}},
    {41, {245760, 8192, 32768, 50000}},
    {42, {522240, 8704, 34816, 50000}},
    {50, {589824, 22080, 110400, 135000}},
    {51, {983040, 36864, 184320, 240000}},
    {52, {2073600, 36864, 184320, 240000}},
    {60, {4177920, 139264, 696320, 240000}},
    {61, {8355840, 139264, 696320, 480000}},
    {62, {16711680, 139264, 696320, 800000}},
};

template <std::size_t N>
char const* NameAt(char const* const (&names)[N], int64 index) {
    return index >= 0 && index < int64{N} ? names[index] : "X";
}

}  // namespace

H264LevelLimits GetH264LevelLimits(u32 level) {
    auto const row = std::find_if(std::begin(LEVELS), std::end(LEVELS),
                                  [level](LevelRow const& candidate) { return candidate.level == level; });
    return row == std::end(LEVELS) ? H264LevelLimits() : row->limits;
}

u32 H264SPS::GetEffectiveLevel() const {
    bool const baselineOrMain = profile_idc == 66 || profile_idc == 77;
    return baselineOrMain && level_idc == 11 && constraint_set3_flag != 0 ? LEVEL_1B : level_idc;
}

u32 H264SPS::GetMaxBitrate(std::string const& x264Profile) const {
    u32 const base = GetLevelLimits().maxBitrate;
    if (x264Profile == Conf::TAG_X264_PROFILE_BASELINE || x264Profile == Conf::TAG_X264_PROFILE_MAIN ||
        x264Profile == Conf::TAG_X264_PROFILE_EXTENDED)
        return base;
    if (x264Profile == Conf::TAG_X264_PROFILE_HIGH) return base * 5 / 4;
    if (x264Profile == Conf::TAG_X264_PROFILE_HIGH10) return base * 3;
    if (x264Profile == Conf::TAG_X264_PROFILE_HIGH422 || x264Profile == Conf::TAG_X264_PROFILE_HIGH444) return base * 4;
    return 0;
}

H264PictureSize H264SPS::GetPictureSize() const {
    // 64 bits: no value of the fields overflows.
    H264PictureSize const full = {(int64{pic_width_in_mbs_minus1} + 1) * 16,
                                  (int64{pic_height_in_map_units_minus1} + 1) * (frame_mbs_only_flag ? 16 : 32)};
    if (frame_cropping_flag == 0) return full;
    bool const subsampled = separate_colour_plane_flag == 0;
    int64 const unitX = subsampled && (chroma_format_idc == 1 || chroma_format_idc == 2) ? 2 : 1;
    int64 const unitY = (subsampled && chroma_format_idc == 1 ? 2 : 1) * (frame_mbs_only_flag ? 1 : 2);
    H264PictureSize const cropped = {full.width - (int64{frame_crop_left_offset} + frame_crop_right_offset) * unitX,
                                     full.height - (int64{frame_crop_top_offset} + frame_crop_bottom_offset) * unitY};
    return cropped.width > 0 && cropped.height > 0 ? cropped : full;
}

u32 H264SPS::GetMaxReorderFrames() const {
    if (pic_order_cnt_type == 2) return 0;
    // Divided twice: the product of the two may pass 64 bits.
    u64 const pictures =
        u64(GetMaxDpbSize()) / (u64(pic_width_in_mbs_minus1) + 1) / (u64(pic_height_in_map_units_minus1) + 1);
    u32 const limit = static_cast<u32>(std::min<u64>(16, pictures));
    if (vui_parameters_present_flag && vui.bitstream_restriction_flag)
        return std::min(limit, vui.max_num_reorder_frames);
    constexpr u8 INTRA_PROFILES[] = {44, 86, 100, 110, 122, 244};
    if (constraint_set3_flag &&
        std::find(std::begin(INTRA_PROFILES), std::end(INTRA_PROFILES), profile_idc) != std::end(INTRA_PROFILES))
        return 0;
    return limit;
}

bool H264SPS::SameFormat(H264SPS const& other) const {
    return profile_idc == other.profile_idc && seq_parameter_set_id == other.seq_parameter_set_id &&
           pic_width_in_mbs_minus1 == other.pic_width_in_mbs_minus1 &&
           pic_height_in_map_units_minus1 == other.pic_height_in_map_units_minus1 &&
           frame_mbs_only_flag == other.frame_mbs_only_flag &&
           direct_8x8_inference_flag == other.direct_8x8_inference_flag &&
           frame_cropping_flag == other.frame_cropping_flag && frame_crop_left_offset == other.frame_crop_left_offset &&
           frame_crop_right_offset == other.frame_crop_right_offset &&
           frame_crop_top_offset == other.frame_crop_top_offset &&
           frame_crop_bottom_offset == other.frame_crop_bottom_offset;
}

bool H264PPS::SameFormat(H264PPS const& other) const {
    return pic_parameter_set_id == other.pic_parameter_set_id && seq_parameter_set_id == other.seq_parameter_set_id &&
           entropy_coding_mode_flag == other.entropy_coding_mode_flag;
}

std::string H264SliceInfo::GetText() const {
    static constexpr char const* NALU_NAMES[] = {"U",   "Non-IDR", "Part. A", "Part. B", "Part. C",
                                                 "IDR", "SEI",     "SPS",     "PPS",     "AUD"};
    static constexpr char const* SLICE_NAMES[] = {"U", "P", "B", "I", "SP", "SI"};
    return std::string("nalu: ") + NameAt(NALU_NAMES, nal_unit_type) +
           ", slice: " + NameAt(SLICE_NAMES, int64{slice_type} + 1);
}

}  // namespace Tarsel::Proc::CodecParsers
