#pragma once

#include "contracts/Core/Types.h"

namespace Tarsel {

/// What a compressed stream carries. The numbers are this system's own.
enum MediaType : int {
    MEDIA_TYPE_NONE = 0,
    MEDIA_TYPE_VIDEO = 1,
    MEDIA_TYPE_AUDIO = 2,
    MEDIA_TYPE_SUBTITLE = 3,
    MEDIA_TYPE_DATA = 4,
};

/// A pixel format. The numbers are FFmpeg's `AVPixelFormat`; any of them may occur, the named ones are those that code
/// here speaks of.
enum PixFmt : int {
    PIX_FMT_NONE = -1,
    PIX_FMT_YUV420P = 0,
    PIX_FMT_RGB24 = 2,
    PIX_FMT_NV12 = 23,
    PIX_FMT_ARGB = 25,
    PIX_FMT_RGBA = 26,
    PIX_FMT_ABGR = 27,
    PIX_FMT_BGRA = 28,
    PIX_FMT_YUVA420P = 33,
};

namespace Conf {

/// A sample format. The numbers are FFmpeg's `AVSampleFormat`.
enum SampleFormats : int {
    SAMPLE_FORMAT_NONE = -1,
    SAMPLE_FORMAT_U8 = 0,
    SAMPLE_FORMAT_S16 = 1,
    SAMPLE_FORMAT_S32 = 2,
    SAMPLE_FORMAT_FLT = 3,
    SAMPLE_FORMAT_DBL = 4,
    SAMPLE_FORMAT_U8P = 5,
    SAMPLE_FORMAT_S16P = 6,
    SAMPLE_FORMAT_S32P = 7,
    SAMPLE_FORMAT_FLTP = 8,
    SAMPLE_FORMAT_DBLP = 9,
    SAMPLE_FORMAT_S64 = 10,
    SAMPLE_FORMAT_S64P = 11,
};

/// A set of loudspeaker positions, one bit each, as FFmpeg's channel masks have it. 0 is unset.
using ChannelLayout = uint64;

inline constexpr ChannelLayout CHANNEL_LAYOUT_NONE = 0;
inline constexpr ChannelLayout CHANNEL_LAYOUT_MONO = 0x4;
inline constexpr ChannelLayout CHANNEL_LAYOUT_STEREO = 0x3;

}  // namespace Conf
}  // namespace Tarsel
