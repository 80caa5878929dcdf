// Owners of FFmpeg's objects, for tests that look at files by its libraries alone: what checks the host shares no code
// with it.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace Tarsel::Test::Av {

struct Close {
    void operator()(AVFormatContext* object) const { avformat_close_input(&object); }
    void operator()(AVCodecContext* object) const { avcodec_free_context(&object); }
    void operator()(AVPacket* object) const { av_packet_free(&object); }
    void operator()(AVFrame* object) const { av_frame_free(&object); }
};
using Input = std::unique_ptr<AVFormatContext, Close>;
using Codec = std::unique_ptr<AVCodecContext, Close>;
using Packet = std::unique_ptr<AVPacket, Close>;
using Frame = std::unique_ptr<AVFrame, Close>;

}  // namespace Tarsel::Test::Av
