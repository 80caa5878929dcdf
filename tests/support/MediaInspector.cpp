#include "tests/support/MediaInspector.h"

#include <cmath>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "tests/support/LibAv.h"

extern "C" {
#include <libavutil/display.h>
}

namespace Tarsel::Test {
namespace {

[[noreturn]] void Fail(std::string const& what, std::string const& path, int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    TARSEL_THROW(std::runtime_error, what + " " + path + ": " + text);
}

int64 ToTime(int64 ticks, AVRational base) {
    return ticks == AV_NOPTS_VALUE ? NO_VALUE : av_rescale_q(ticks, base, AVRational{1, 1000000});
}

std::map<std::string, std::string> ToMap(AVDictionary const* dictionary) {
    std::map<std::string, std::string> result;
    AVDictionaryEntry const* entry = nullptr;
    while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr)
        result[entry->key] = entry->value;
    return result;
}

StreamKind KindOf(AVStream const& stream) {
    switch (stream.codecpar->codec_type) {
        case AVMEDIA_TYPE_VIDEO:
            return (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 ? StreamKind::Cover : StreamKind::Video;
        case AVMEDIA_TYPE_AUDIO:
            return StreamKind::Audio;
        case AVMEDIA_TYPE_SUBTITLE:
            return StreamKind::Subtitle;
        case AVMEDIA_TYPE_ATTACHMENT:
            return StreamKind::Attachment;
        default:
            return StreamKind::Other;
    }
}

int RotationOf(AVStream const& stream) {
    auto const* matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
    if (matrix == nullptr) return 0;
    double const turn = -av_display_rotation_get(reinterpret_cast<int32_t const*>(matrix));
    return static_cast<int>(std::lround(turn + 360)) % 360;
}

StreamInspection Describe(AVStream const& stream) {
    StreamInspection result;
    auto const& parameters = *stream.codecpar;
    result.index = stream.index;
    result.kind = KindOf(stream);
    result.codec = avcodec_get_name(parameters.codec_id);
    char const* profile = avcodec_profile_name(parameters.codec_id, parameters.profile);
    result.profile = profile != nullptr ? profile : "";
    result.width = parameters.width;
    result.height = parameters.height;
    result.sampleRate = parameters.sample_rate;
    result.tick = {stream.time_base.num, stream.time_base.den};
    result.rotation = RotationOf(stream);
    result.extradata.assign(parameters.extradata, parameters.extradata + parameters.extradata_size);
    result.metadata = ToMap(stream.metadata);
    return result;
}

Av::Input Open(std::string const& path) {
    AVFormatContext* context = nullptr;
    int code = avformat_open_input(&context, path.c_str(), nullptr, nullptr);
    if (code < 0) Fail("can't open", path, code);
    Av::Input input(context);
    code = avformat_find_stream_info(context, nullptr);
    if (code < 0) Fail("can't look into", path, code);
    return input;
}

PacketInfo ToPacket(AVPacket const& packet, AVRational base) {
    PacketInfo result;
    result.time = ToTime(packet.pts, base);
    result.decodingTime = ToTime(packet.dts, base);
    result.duration = av_rescale_q(packet.duration, base, AVRational{1, 1000000});
    result.ticks = packet.pts == AV_NOPTS_VALUE ? NO_VALUE : packet.pts;
    result.decodingTicks = packet.dts == AV_NOPTS_VALUE ? NO_VALUE : packet.dts;
    result.durationTicks = packet.duration;
    result.key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    result.data.assign(packet.data, packet.data + packet.size);
    return result;
}

}  // namespace

StreamInspection const* FileInspection::First(StreamKind kind) const {
    for (auto const& stream : streams)
        if (stream.kind == kind) return &stream;
    return nullptr;
}

FileInspection InspectFile(std::string const& path) {
    auto const input = Open(path);
    FileInspection result;
    result.path = path;
    result.container = input->iformat->name;
    result.duration = input->duration == AV_NOPTS_VALUE ? 0 : input->duration;
    result.metadata = ToMap(input->metadata);
    for (unsigned i = 0; i < input->nb_streams; i++) result.streams.push_back(Describe(*input->streams[i]));
    for (unsigned i = 0; i < input->nb_chapters; i++) {
        auto const& chapter = *input->chapters[i];
        auto const tags = ToMap(chapter.metadata);
        result.chapters.push_back({ToTime(chapter.start, chapter.time_base), ToTime(chapter.end, chapter.time_base),
                                   tags.contains("title") ? tags.at("title") : ""});
    }
    Av::Packet const packet(av_packet_alloc());
    int code = 0;
    while ((code = av_read_frame(input.get(), packet.get())) >= 0) {
        auto const index = static_cast<std::size_t>(packet->stream_index);
        if (index < result.streams.size())
            result.streams[index].packets.push_back(ToPacket(*packet, input->streams[index]->time_base));
        av_packet_unref(packet.get());
    }
    if (code != AVERROR_EOF) Fail("can't read", path, code);
    return result;
}

}  // namespace Tarsel::Test
