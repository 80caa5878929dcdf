#pragma once

// Names of codecs and of the keys and values of codec properties. Codec names are those of FFmpeg's codec descriptors,
// so that a host built on it needs no table of its own.

namespace Tarsel::Conf {

// Keys of a format's or an encoder's property.
inline constexpr char TAG_BITRATE[] = "BitRate";                          // bits a second, integer
inline constexpr char TAG_FPS[] = "FrameRate";                            // frames a second, ratio
inline constexpr char TAG_CODEC_OPTIONS_ENCODE[] = "CodecOptionsEncode";  // child with the three below
inline constexpr char TAG_PROFILE[] = "Profile";
inline constexpr char TAG_PROFILE_LEVEL[] = "ProfileLevel";
inline constexpr char TAG_FF_SPECIAL_OPTS[] = "SpecialOptions";  // "option;value"
inline constexpr char TAG_H264_ENTROPY_MODE[] = "EntropyMode";

inline constexpr char TAG_H264_ENTROPY_CABAC[] = "cabac";
inline constexpr char TAG_H264_ENTROPY_CAVLC[] = "cavlc";

inline constexpr char TAG_X264_PROFILE_BASELINE[] = "baseline";
inline constexpr char TAG_X264_PROFILE_MAIN[] = "main";
inline constexpr char TAG_X264_PROFILE_EXTENDED[] = "extended";
inline constexpr char TAG_X264_PROFILE_HIGH[] = "high";
inline constexpr char TAG_X264_PROFILE_HIGH10[] = "high10";
inline constexpr char TAG_X264_PROFILE_HIGH422[] = "high422";
inline constexpr char TAG_X264_PROFILE_HIGH444[] = "high444";

inline constexpr char TAG_MPEG4_PROFILE_SIMPLE[] = "simple";
inline constexpr char TAG_MPEG4_PROFILE_SIMPLE_SCALABLE[] = "simple_scalable";
inline constexpr char TAG_MPEG4_PROFILE_CORE[] = "core";
inline constexpr char TAG_MPEG4_PROFILE_MAIN[] = "main";
inline constexpr char TAG_MPEG4_PROFILE_N_BIT[] = "n_bit";
inline constexpr char TAG_MPEG4_PROFILE_SCALABLE_TEXTURE[] = "scalable_texture";
inline constexpr char TAG_MPEG4_PROFILE_SIMPLE_FACE_ANIMATION[] = "simple_face_animation";
inline constexpr char TAG_MPEG4_PROFILE_BASIC_ANIMATED_TEXTURE[] = "basic_animated_texture";
inline constexpr char TAG_MPEG4_PROFILE_HYBRID[] = "hybrid";
inline constexpr char TAG_MPEG4_PROFILE_ADVANCED_REAL_TIME[] = "advanced_real_time";
inline constexpr char TAG_MPEG4_PROFILE_CORE_SCALABLE[] = "core_scalable";
inline constexpr char TAG_MPEG4_PROFILE_ADVANCED_CODING[] = "advanced_coding";
inline constexpr char TAG_MPEG4_PROFILE_ADVANCED_CORE[] = "advanced_core";
inline constexpr char TAG_MPEG4_PROFILE_ADVANCED_SCALABLE_TEXTURE[] = "advanced_scalable_texture";
inline constexpr char TAG_MPEG4_PROFILE_SIMPLE_STUDIO[] = "simple_studio";
inline constexpr char TAG_MPEG4_PROFILE_ADVANCED_SIMPLE[] = "advanced_simple";

inline constexpr char TAG_MPEG2_PROFILE_422[] = "422";
inline constexpr char TAG_MPEG2_PROFILE_HIGH[] = "high";
inline constexpr char TAG_MPEG2_PROFILE_SS[] = "ss";
inline constexpr char TAG_MPEG2_PROFILE_SNR_SCALABLE[] = "snr_scalable";
inline constexpr char TAG_MPEG2_PROFILE_MAIN[] = "main";
inline constexpr char TAG_MPEG2_PROFILE_SIMPLE[] = "simple";

}  // namespace Tarsel::Conf
