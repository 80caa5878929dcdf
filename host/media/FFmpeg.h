#pragma once

#include <memory>
#include <string>

#include "contracts/Conf/MediaTypes.h"
#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}

namespace Tarsel::Host {

/// Also gives back a reader's own source of bytes (see `ReadFromMemory`).
struct FreeInput {
    TARSEL_HOST_EXPORT void operator()(AVFormatContext* context) const;
};
struct FreeCodecContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeParameters {
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreeDictionary {
    void operator()(AVDictionary* dictionary) const { av_dict_free(&dictionary); }
};

using InputPtr = std::unique_ptr<AVFormatContext, FreeInput>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, FreeCodecContext>;
using ParametersPtr = std::unique_ptr<AVCodecParameters, FreeParameters>;
using PacketPtr = std::unique_ptr<AVPacket, FreePacket>;
using FramePtr = std::unique_ptr<AVFrame, FreeFrame>;

/// The library's text for an error code.
std::string ErrorText(int code);

inline constexpr AVRational MICROSECONDS{1, 1000000};
/// The unit of times in Matroska and WebM, as our files have it: RFC 9559, 5.1.2.9, TimestampScale 1,000,000 ns.
inline constexpr AVRational MATROSKA_TICK{1, 1000};

/// FFmpeg's time in microseconds; its no-value time is ours.
int64 ToMicroseconds(int64 time, AVRational timeBase);
/// Microseconds in ticks of `timeBase`, rounded to the nearest; no value stays no value.
int64 FromMicroseconds(int64 time, AVRational timeBase);

/// For a reader that isn't sought by time: libavformat lists the places of a raw format's packets for such seeks, and
/// searches its list, 43690 places long, for each packet that it reads.
void KeepPlacesShort(AVFormatContext& reader);

MediaType ToMediaType(AVMediaType type);

}  // namespace Tarsel::Host
