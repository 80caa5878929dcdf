#pragma once

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/DataSubtitleFF.h"
#include "contracts/Proc/DataVideoFF.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
}

namespace Tarsel::Test {

/// A small picture whose bytes all are `shade`, so that pictures can be told apart.
inline iptr<Proc::IDataVideo> MakeVideo(int64 time, int64 duration, u8 shade = 0, PixFmt format = PIX_FMT_YUV420P,
                                        int width = 16, int height = 16) {
    auto frame = Proc::DataVideoFF::Create(format, {width, height, 1, 1}, nullptr);
    for (int i = 0; i < Proc::GetPlanesCount(*frame); ++i) {
        auto const plane = frame->GetPlane(static_cast<unsigned>(i));
        for (int row = 0; row < plane.GetRows(); ++row)
            std::memset(plane.GetOffsetPtr(0, static_cast<unsigned>(row)), shade,
                        static_cast<std::size_t>(plane.GetRowBytes()));
    }
    frame->SetTime(time);
    frame->SetDuration(duration);
    return frame;
}

/// Samples of any type in a packed block, channel by channel.
template <class Sample>
Sample* SamplesOf(Proc::IDataAudio& block, int plane = 0) {
    return reinterpret_cast<Sample*>(block.GetAVFrame()->extended_data[plane]);
}

/// A silent block; its duration follows from the sample count.
inline iptr<Proc::IDataAudio> MakeAudio(int64 time, int samples, int rate = 48000,
                                        Conf::SampleFormats format = Conf::SAMPLE_FORMAT_S16,
                                        Conf::ChannelLayout layout = Conf::CHANNEL_LAYOUT_STEREO) {
    auto block = Proc::DataAudioFF::CreateBySampleCount({format, rate, layout}, samples);
    block->Silence();
    block->SetTime(time);
    return block;
}

/// A packet with a payload of its own. Its source position is its presentation time.
inline iptr<Proc::IDataPacket> MakePacket(int64 time, int64 decodingTime, int64 duration, bool key,
                                          std::vector<u8> const& payload = {1, 2, 3},
                                          MediaType type = MEDIA_TYPE_VIDEO) {
    AVPacket* packet = av_packet_alloc();
    if (!packet || av_new_packet(packet, static_cast<int>(payload.size())) < 0) {
        av_packet_free(&packet);
        TARSEL_THROW(std::runtime_error, "no memory for a packet");
    }
    if (!payload.empty()) std::memcpy(packet->data, payload.data(), payload.size());
    if (key) packet->flags |= AV_PKT_FLAG_KEY;
    auto result = Proc::DataPacketFF::Create(packet, type, time, decodingTime, duration);
    result->SetSourcePosition(time);
    return result;
}

/// A subtitle event with one text rectangle.
inline iptr<Proc::IDataSubtitle> MakeSubtitle(int64 time, int64 duration, std::string const& text = "text") {
    AVSubtitle event{};
    event.num_rects = 1;
    event.rects = static_cast<AVSubtitleRect**>(av_calloc(1, sizeof(AVSubtitleRect*)));
    event.rects[0] = static_cast<AVSubtitleRect*>(av_mallocz(sizeof(AVSubtitleRect)));
    event.rects[0]->type = SUBTITLE_TEXT;
    event.rects[0]->text = av_strdup(text.c_str());
    return Proc::DataSubtitleFF::Create(&event, time, duration);
}

/// `count` pictures of `duration` microseconds each, one behind the other from time 0.
inline std::vector<iptr<Proc::IDataVideo>> MakeVideos(int count, int64 duration) {
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (int i = 0; i < count; ++i) frames.push_back(MakeVideo(i * duration, duration, static_cast<u8>(i)));
    return frames;
}

}  // namespace Tarsel::Test
