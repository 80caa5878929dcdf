#include "host/digest/PacketStamps.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/digest/FrameHashText.h"

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace Tarsel::Host {

namespace {

/// Failed reads in a row after which a damaged file counts as ended.
constexpr int MAX_BAD_READS = 16;

[[noreturn]] void FailForMemory(MediaFile const& file) {
    TARSEL_THROW(Core::IOException, file.GetPath() + ": out of memory");
}

StreamStamps Describe(MediaFile const& file, AVStream const& stream) {
    StreamStamps stamps;
    stamps.parameters.reset(avcodec_parameters_alloc());
    if (!stamps.parameters || avcodec_parameters_copy(stamps.parameters.get(), stream.codecpar) < 0)
        FailForMemory(file);
    // A count of channels alone stands for the usual layout.
    AVChannelLayout& layout = stamps.parameters->ch_layout;
    if (layout.order == AV_CHANNEL_ORDER_UNSPEC) av_channel_layout_default(&layout, layout.nb_channels);
    stamps.timeBase = stream.time_base;
    stamps.sampleAspect =
        stream.sample_aspect_ratio.num != 0 ? stream.sample_aspect_ratio : stream.codecpar->sample_aspect_ratio;
    return stamps;
}

/// Decoding times where the container has none. The ffmpeg tool goes on by the lengths of the packets, and begins as
/// far ahead of the first presentation time as pictures may be reordered: so that its lines can be met, so does this.
class DecodingClock {
  public:
    void Stamp(AVStream const& stream, AVPacket& packet) {
        AVCodecParameters const& parameters = *stream.codecpar;
        if (!HasValue(next)) {
            bool const paced = stream.avg_frame_rate.num != 0;
            double const ahead = paced ? parameters.video_delay * 1e6 / av_q2d(stream.avg_frame_rate) : 0;
            next = static_cast<int64>(-ahead);
            if (packet.pts != AV_NOPTS_VALUE) next = AddTime(next, ToMicroseconds(packet.pts, stream.time_base));
        }
        if (packet.dts == AV_NOPTS_VALUE)
            packet.dts = FromMicroseconds(next, stream.time_base);
        else
            next = ToMicroseconds(packet.dts, stream.time_base);
        next = AddTime(next, ToMicroseconds(packet.duration, stream.time_base));
    }

  private:
    int64 next = NO_VALUE;  // microseconds
};

/// The length of a packet for which the container has none: one picture, or the samples that the codec's packets hold.
/// Muxers of libavformat fill it in by the same rule.
int64 UsualLength(AVStream const& stream, AVPacket const& packet) {
    AVCodecParameters& parameters = *stream.codecpar;
    AVRational length{0, 1};
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
        AVRational const rate = stream.r_frame_rate.num > 0 ? stream.r_frame_rate : stream.avg_frame_rate;
        if (rate.num > 0) length = av_inv_q(rate);
    } else if (parameters.codec_type == AVMEDIA_TYPE_AUDIO && parameters.sample_rate > 0) {
        length = {std::max(av_get_audio_frame_duration2(&parameters, packet.size), 0), parameters.sample_rate};
    }
    return av_rescale_q(1, length, stream.time_base);
}

void AddSideDataOfStream(MediaFile const& file, AVStream const& stream, AVPacket& packet) {
    for (int i = 0; i < stream.nb_side_data; ++i) {
        AVPacketSideData const& piece = stream.side_data[i];
        // How players are to turn the pictures stays with the stream.
        if (piece.type == AV_PKT_DATA_DISPLAYMATRIX || av_packet_get_side_data(&packet, piece.type, nullptr)) continue;
        u8* const copy = av_packet_new_side_data(&packet, piece.type, piece.size);
        if (!copy) FailForMemory(file);
        std::memcpy(copy, piece.data, piece.size);
    }
}

}  // namespace

std::vector<StreamStamps> ReadStamps(MediaFile const& file) {
    InputPtr const reader = OpenInput(file.GetPath(), false, nullptr);
    KeepPlacesShort(*reader);
    std::vector<StreamStamps> streams;
    std::vector<DecodingClock> clocks(reader->nb_streams);
    for (unsigned i = 0; i < reader->nb_streams; ++i) streams.push_back(Describe(file, *reader->streams[i]));
    PacketPtr const packet(av_packet_alloc());
    if (!packet) FailForMemory(file);
    for (int badReads = 0; badReads < MAX_BAD_READS;) {
        int const code = av_read_frame(reader.get(), packet.get());
        if (code == AVERROR(EAGAIN)) continue;
        if (code == AVERROR_INVALIDDATA) {
            ++badReads;
            continue;
        }
        if (code < 0) break;
        badReads = 0;
        auto const number = static_cast<std::size_t>(packet->stream_index);
        if (number < streams.size()) {
            std::vector<PacketStamp>& packets = streams[number].packets;
            if (packets.empty()) AddSideDataOfStream(file, *reader->streams[number], *packet);
            clocks[number].Stamp(*reader->streams[number], *packet);
            if (packet->duration == 0) packet->duration = UsualLength(*reader->streams[number], *packet);
            packets.push_back({packet->pts, packet->dts, packet->duration,
                               static_cast<std::size_t>(std::max(packet->size, 0)), SideDataText(*packet)});
        }
        av_packet_unref(packet.get());
    }
    return streams;
}

}  // namespace Tarsel::Host
