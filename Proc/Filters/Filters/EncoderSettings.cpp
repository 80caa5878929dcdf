#include "Proc/Filters/Filters/EncoderSettings.h"

#include <glog/logging.h>

#include <array>
#include <boost/exception/diagnostic_information.hpp>
#include <cstddef>
#include <limits>
#include <string>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/MPEG2CodecParser.h"
#include "Proc/CodecParsers/MPEG4CodecParser.h"
#include "contracts/Conf/CodecIds.h"
#include "contracts/Core/BitIO.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

using Conf::IFormatCodecVideo;

/// The bytes of a global header, none for null.
struct HeaderBytes {
    explicit HeaderBytes(Conf::IFormatCodec const& format) : blob(format.GetExtradata()) {
        if (!blob) return;
        data = blob->GetData();
        size = blob->GetSize();
    }

    iptr<IBlob> blob;
    u8 const* data = nullptr;
    std::size_t size = 0;
};

void RaiseBitrate(Core::Property& properties, int64 factor) {
    if (!properties.ChildExists(Conf::TAG_BITRATE)) return;
    int64 raised = 0;
    if (__builtin_mul_overflow(properties[Conf::TAG_BITRATE].GetInt64(), factor, &raised))
        raised = std::numeric_limits<int64>::max();
    properties.SetChild(Conf::TAG_BITRATE, raised);
}

std::string ProfileTag(CodecParsers::H264SPS const& sps) {
    switch (sps.profile_idc) {
        case 66:
            return Conf::TAG_X264_PROFILE_BASELINE;
        case 77:
            return Conf::TAG_X264_PROFILE_MAIN;
        case 88:
            return Conf::TAG_X264_PROFILE_EXTENDED;
        case 100:
            return Conf::TAG_X264_PROFILE_HIGH;
        default:
            break;
    }
    if (sps.constraint_set0_flag) return Conf::TAG_X264_PROFILE_BASELINE;
    if (sps.constraint_set1_flag) return Conf::TAG_X264_PROFILE_MAIN;
    if (sps.constraint_set2_flag) return Conf::TAG_X264_PROFILE_EXTENDED;
    return Conf::TAG_X264_PROFILE_MAIN;
}

void SetH264(HeaderBytes const& header, Core::Property& properties, u32 spsId) {
    auto const sps = CodecParsers::DecodeH264SPS(header.data, header.size);
    auto const pps = CodecParsers::DecodeH264PPS(header.data, header.size);
    std::string options = "x264opts;sps-id=" + std::to_string(spsId);
    if (sps.max_num_ref_frames != 0) options += ":ref=" + std::to_string(sps.max_num_ref_frames);
    options += ":qp=" + std::to_string(int64{pps.pic_init_qp_minus26} + 26);
    // Three above the stream's own: the encoder takes its psychovisual share off again.
    options += ":chroma-qp-offset=" + std::to_string(int64{pps.chroma_qp_index_offset} + 3);
    if (!pps.entropy_coding_mode_flag) options += ":no-cabac";
    options += std::string(":weightp=") + (pps.weighted_pred_flag ? "2" : "0");
    Core::Property child;
    child.SetChild(Conf::TAG_PROFILE, ProfileTag(sps));
    child.SetChild(Conf::TAG_FF_SPECIAL_OPTS, options);
    child.SetChild(Conf::TAG_H264_ENTROPY_MODE,
                   pps.entropy_coding_mode_flag ? Conf::TAG_H264_ENTROPY_CABAC : Conf::TAG_H264_ENTROPY_CAVLC);
    properties.SetChild(Conf::TAG_CODEC_OPTIONS_ENCODE, child);
}

void SetMPEG4(HeaderBytes const& header, Core::Property& properties) {
    // By profile number.
    static constexpr std::array<char const*, 16> profiles = {
        Conf::TAG_MPEG4_PROFILE_SIMPLE,
        Conf::TAG_MPEG4_PROFILE_SIMPLE_SCALABLE,
        Conf::TAG_MPEG4_PROFILE_CORE,
        Conf::TAG_MPEG4_PROFILE_MAIN,
        Conf::TAG_MPEG4_PROFILE_N_BIT,
        Conf::TAG_MPEG4_PROFILE_SCALABLE_TEXTURE,
        Conf::TAG_MPEG4_PROFILE_SIMPLE_FACE_ANIMATION,
        Conf::TAG_MPEG4_PROFILE_BASIC_ANIMATED_TEXTURE,
        Conf::TAG_MPEG4_PROFILE_HYBRID,
        Conf::TAG_MPEG4_PROFILE_ADVANCED_REAL_TIME,
        Conf::TAG_MPEG4_PROFILE_CORE_SCALABLE,
        Conf::TAG_MPEG4_PROFILE_ADVANCED_CODING,
        Conf::TAG_MPEG4_PROFILE_ADVANCED_CORE,
        Conf::TAG_MPEG4_PROFILE_ADVANCED_SCALABLE_TEXTURE,
        Conf::TAG_MPEG4_PROFILE_SIMPLE_STUDIO,
        Conf::TAG_MPEG4_PROFILE_ADVANCED_SIMPLE,
    };
    CodecParsers::MPEG4Config config;
    CodecParsers::DecodeMPEG4Config(header.data, header.size, config);
    Core::Property child;
    child.SetChild(Conf::TAG_PROFILE,
                   config.profile < profiles.size() ? profiles[config.profile] : Conf::TAG_MPEG4_PROFILE_SIMPLE);
    child.SetChild(Conf::TAG_PROFILE_LEVEL, int{config.level});
    properties.SetChild(Conf::TAG_CODEC_OPTIONS_ENCODE, child);
}

void SetMPEG2(HeaderBytes const& header, Core::Property& properties) {
    // By profile number; the numbers that are missing are reserved.
    static constexpr std::array<char const*, 6> profiles = {
        nullptr,
        Conf::TAG_MPEG2_PROFILE_HIGH,
        Conf::TAG_MPEG2_PROFILE_SS,
        Conf::TAG_MPEG2_PROFILE_SNR_SCALABLE,
        Conf::TAG_MPEG2_PROFILE_MAIN,
        Conf::TAG_MPEG2_PROFILE_SIMPLE,
    };
    CodecParsers::MPEG2Config config;
    CodecParsers::DecodeMPEG2Config(header.data, header.size, config);
    auto const& extension = config.sequence_extension;
    constexpr u8 chroma422 = 2;
    char const* profile = nullptr;
    if (extension.chroma_format == chroma422)
        profile = Conf::TAG_MPEG2_PROFILE_422;
    else if (extension.profile < profiles.size())
        profile = profiles[extension.profile];
    if (!profile) return;
    Core::Property child;
    child.SetChild(Conf::TAG_PROFILE, profile);
    properties.SetChild(Conf::TAG_CODEC_OPTIONS_ENCODE, child);
}

void SetWMV2(HeaderBytes const& header, Core::Property& properties) {
    Core::DataBitInput in(Core::DataInputMemory::Create(header.data, header.size));
    Ratio const rate(static_cast<int64>(in.ReadBits(5)), 1);
    // A header without a rate leaves that of the stream's format.
    if (rate.numerator() > 0) properties.SetChild(Conf::TAG_FPS, rate);
}

}  // namespace

void BuildEncoderSettings(Conf::IFormatCodec const& format, Core::Property& properties, u32 spsId, bool hasDelay) {
    std::string const& codec = format.GetCodecID();
    RaiseBitrate(properties, hasDelay || codec == IFormatCodecVideo::CODEC_ID_MPEG1VIDEO ? 3 : 2);
    HeaderBytes const header(format);
    bool const isH264 = codec == IFormatCodecVideo::CODEC_ID_H264;
    try {
        if (isH264)
            SetH264(header, properties, spsId);
        else if (codec == IFormatCodecVideo::CODEC_ID_MPEG4)
            SetMPEG4(header, properties);
        else if (codec == IFormatCodecVideo::CODEC_ID_MPEG2VIDEO)
            SetMPEG2(header, properties);
        else if (codec == IFormatCodecVideo::CODEC_ID_WMV2)
            SetWMV2(header, properties);
    } catch (Exception const& failure) {
        // One text for all that isn't H.264.
        VLOG(21) << "Cought exception while decoding " << (isH264 ? "h264" : "MPEG-4")
                 << " header: " << boost::diagnostic_information(failure);
    }
}

}  // namespace Tarsel::Proc
