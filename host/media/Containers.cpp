#include "host/media/Containers.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <string_view>

#include "contracts/Core/Exception.h"

extern "C" {
#include <libavcodec/codec_desc.h>
}

namespace Tarsel::Host {

namespace {

struct Extension {
    std::string_view extension;
    char const* muxer;
};

constexpr std::array<Extension, 28> EXTENSIONS{{
    {"mp4", "mp4"},      {"m4v", "mp4"},   {"m4a", "ipod"},     {"mov", "mov"},     {"mkv", "matroska"},
    {"mka", "matroska"}, {"webm", "webm"}, {"ts", "mpegts"},    {"m2ts", "mpegts"}, {"mts", "mpegts"},
    {"avi", "avi"},      {"wmv", "asf"},   {"asf", "asf"},      {"wma", "asf"},     {"ogg", "ogg"},
    {"ogv", "ogv"},      {"oga", "oga"},   {"flv", "flv"},      {"3gp", "3gp"},     {"h264", "h264"},
    {"264", "h264"},     {"hevc", "hevc"}, {"h265", "hevc"},    {"wav", "wav"},     {"mp3", "mp3"},
    {"aac", "adts"},     {"flac", "flac"}, {"mks", "matroska"},
}};
constexpr std::array<std::string_view, 6> PROGRAM_STREAMS{"mpg", "mpeg", "vob", "m2p", "ps", "evo"};

bool Named(AVOutputFormat const& container, std::string_view name) {
    return name == container.name;
}

template <std::size_t N>
bool OneOf(AVCodecID codec, std::array<AVCodecID, N> const& list) {
    return std::find(list.begin(), list.end(), codec) != list.end();
}

/// Codecs that the writer has no proper word for, though it would write them as private data that nobody reads back.
bool TransportStreamKnows(AVCodecID codec) {
    static constexpr std::array<AVCodecID, 24> KNOWN{
        AV_CODEC_ID_MPEG1VIDEO,   AV_CODEC_ID_MPEG2VIDEO,   AV_CODEC_ID_MPEG4,
        AV_CODEC_ID_H264,         AV_CODEC_ID_HEVC,         AV_CODEC_ID_CAVS,
        AV_CODEC_ID_DIRAC,        AV_CODEC_ID_VC1,          AV_CODEC_ID_MP1,
        AV_CODEC_ID_MP2,          AV_CODEC_ID_MP3,          AV_CODEC_ID_AAC,
        AV_CODEC_ID_AAC_LATM,     AV_CODEC_ID_AC3,          AV_CODEC_ID_EAC3,
        AV_CODEC_ID_DTS,          AV_CODEC_ID_TRUEHD,       AV_CODEC_ID_OPUS,
        AV_CODEC_ID_DVB_SUBTITLE, AV_CODEC_ID_DVB_TELETEXT, AV_CODEC_ID_HDMV_PGS_SUBTITLE,
        AV_CODEC_ID_SMPTE_KLV,    AV_CODEC_ID_TIMED_ID3,    AV_CODEC_ID_S302M};
    return OneOf(codec, KNOWN);
}

bool AviKnows(StreamKind kind, AVCodecID codec) {
    // Pictures that are shown out of order would need times that the container has not.
    if (kind == StreamKind::Video) return codec != AV_CODEC_ID_HEVC && codec != AV_CODEC_ID_AV1;
    return kind == StreamKind::Audio;
}

/// What these writers list among their codecs, and refuse once they write.
bool RefusedByWriter(AVOutputFormat const& container, AVCodecID codec) {
    static constexpr std::array<AVCodecID, 2> NOT_IN_FLV{AV_CODEC_ID_MPEG4, AV_CODEC_ID_H263};
    static constexpr std::array<AVCodecID, 5> ONLY_IN_MP4{AV_CODEC_ID_OPUS, AV_CODEC_ID_VP9, AV_CODEC_ID_AV1,
                                                          AV_CODEC_ID_FLAC, AV_CODEC_ID_TRUEHD};
    if (Named(container, "flv")) return OneOf(codec, NOT_IN_FLV);
    return IsMov(container) && !Named(container, "mp4") && OneOf(codec, ONLY_IN_MP4);
}

bool HoldsAttachedPictures(AVOutputFormat const& container) {
    // MOV and 3GP have another place for metadata, in which the writer puts no pictures.
    bool const mp4 = Named(container, "mp4") || Named(container, "ipod");
    return mp4 || IsMatroska(container) || Named(container, "mp3") || Named(container, "flac");
}

}  // namespace

bool IsTransportStream(AVOutputFormat const& container) {
    return Named(container, "mpegts");
}
bool IsMatroska(AVOutputFormat const& container) {
    return Named(container, "matroska");
}
bool IsWebM(AVOutputFormat const& container) {
    return Named(container, "webm");
}
bool IsAvi(AVOutputFormat const& container) {
    return Named(container, "avi");
}
bool IsMov(AVOutputFormat const& container) {
    return Named(container, "mp4") || Named(container, "mov") || Named(container, "ipod") || Named(container, "3gp");
}
bool WantsAnnexB(AVOutputFormat const& container) {
    return IsTransportStream(container) || Named(container, "h264") || Named(container, "hevc");
}

bool HoldsOneOfAKind(AVOutputFormat const& container) {
    static constexpr std::array<std::string_view, 7> SINGLE{"h264", "hevc", "adts", "flac", "mp3", "wav", "flv"};
    return std::any_of(SINGLE.begin(), SINGLE.end(), [&](std::string_view name) { return Named(container, name); });
}

AVOutputFormat const* FindContainer(std::string const& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    if (extension.empty()) TARSEL_THROW(Core::IOException, path + ": the name has no extension to tell the container");
    extension.erase(0, 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (std::find(PROGRAM_STREAMS.begin(), PROGRAM_STREAMS.end(), extension) != PROGRAM_STREAMS.end())
        TARSEL_THROW(Core::IOException, path + ": PS is read, not written: use .ts or .mkv");
    auto const found = std::find_if(EXTENSIONS.begin(), EXTENSIONS.end(),
                                    [&](Extension const& entry) { return entry.extension == extension; });
    if (found == EXTENSIONS.end())
        TARSEL_THROW(Core::IOException, path + ": there is no container for the extension \"." + extension + "\"");
    AVOutputFormat const* const container = av_guess_format(found->muxer, nullptr, nullptr);
    if (!container)
        TARSEL_THROW(Core::IOException, path + ": this libavformat can't write \"" + std::string(found->muxer) + "\"");
    return container;
}

AVOutputFormat const* FindContainerNamed(std::string const& name) {
    auto const found =
        std::find_if(EXTENSIONS.begin(), EXTENSIONS.end(), [&](Extension const& entry) { return entry.muxer == name; });
    AVOutputFormat const* const container =
        found == EXTENSIONS.end() ? nullptr : av_guess_format(found->muxer, nullptr, nullptr);
    if (!container) TARSEL_THROW(Core::IOException, "there is no container \"" + name + "\"");
    return container;
}

std::string WhyNotCarried(AVOutputFormat const& container, StreamKind kind, AVCodecID codec) {
    char const* const name = avcodec_get_name(codec);
    std::string const refusal = std::string(container.name) + " can't carry " + name;
    switch (kind) {
        case StreamKind::Unknown:
            return std::string(container.name) + " can't carry a stream of unknown kind";
        case StreamKind::Attachment:
            return IsMatroska(container) ? "" : std::string(container.name) + " can't carry attachments";
        case StreamKind::AttachedPicture:
            if (!HoldsAttachedPictures(container)) return std::string(container.name) + " can't carry cover pictures";
            if (IsMov(container) && codec != AV_CODEC_ID_MJPEG && codec != AV_CODEC_ID_PNG && codec != AV_CODEC_ID_BMP)
                return refusal + " as a cover picture";
            return "";
        default:
            break;
    }
    if (codec == AV_CODEC_ID_NONE) return std::string(container.name) + " can't carry an unknown codec";
    if (kind == StreamKind::Data && !IsTransportStream(container)) return refusal;
    if (IsTransportStream(container)) return TransportStreamKnows(codec) ? "" : refusal;
    if (IsAvi(container) && !AviKnows(kind, codec)) return refusal;
    if (RefusedByWriter(container, codec)) return refusal;
    int const known = avformat_query_codec(&container, codec, FF_COMPLIANCE_NORMAL);
    if (known == 1) return "";
    if (known == 0) return refusal;
    // The writer has no list; its default codec is what it is for.
    AVCodecID const own = kind == StreamKind::Video   ? container.video_codec
                          : kind == StreamKind::Audio ? container.audio_codec
                                                      : container.subtitle_codec;
    if (own == codec) return "";
    bool const oggLike = Named(container, "ogg") || Named(container, "ogv") || Named(container, "oga");
    static constexpr std::array<AVCodecID, 6> OGG{AV_CODEC_ID_THEORA, AV_CODEC_ID_VORBIS, AV_CODEC_ID_FLAC,
                                                  AV_CODEC_ID_OPUS,   AV_CODEC_ID_SPEEX,  AV_CODEC_ID_VP8};
    return oggLike && OneOf(codec, OGG) ? "" : refusal;
}

}  // namespace Tarsel::Host
