#include "host/media/PlainSamples.h"

#include <bit>
#include <cstdint>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IData.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

namespace Tarsel::Host {

namespace {

/// What the memory of a packet is aligned to wherever it hasn't been cut off at its front.
constexpr std::uintptr_t ALIGNMENT = 16;

/// Whether the codec is the sample format, byte by byte.
bool IsPlain(AVCodecID codec, AVSampleFormat format) {
    constexpr bool LITTLE = std::endian::native == std::endian::little;
    switch (format) {
        case AV_SAMPLE_FMT_U8:
            return codec == AV_CODEC_ID_PCM_U8;
        case AV_SAMPLE_FMT_S16:
            return codec == (LITTLE ? AV_CODEC_ID_PCM_S16LE : AV_CODEC_ID_PCM_S16BE);
        case AV_SAMPLE_FMT_S32:
            return codec == (LITTLE ? AV_CODEC_ID_PCM_S32LE : AV_CODEC_ID_PCM_S32BE);
        case AV_SAMPLE_FMT_S64:
            return codec == (LITTLE ? AV_CODEC_ID_PCM_S64LE : AV_CODEC_ID_PCM_S64BE);
        case AV_SAMPLE_FMT_FLT:
            return codec == (LITTLE ? AV_CODEC_ID_PCM_F32LE : AV_CODEC_ID_PCM_F32BE);
        case AV_SAMPLE_FMT_DBL:
            return codec == (LITTLE ? AV_CODEC_ID_PCM_F64LE : AV_CODEC_ID_PCM_F64BE);
        default:
            return false;
    }
}

}  // namespace

FramePtr PlainFrame(AVCodecContext const& context, AVPacket const& packet) {
    if (!IsPlain(context.codec_id, context.sample_fmt) || context.sample_rate <= 0) return nullptr;
    if (!packet.buf || packet.side_data_elems != 0 || (packet.flags & ~AV_PKT_FLAG_KEY) != 0) return nullptr;
    int const step = av_get_bytes_per_sample(context.sample_fmt) * context.ch_layout.nb_channels;
    if (step <= 0 || packet.size < step || packet.size % step != 0) return nullptr;
    if (reinterpret_cast<std::uintptr_t>(packet.data) % ALIGNMENT != 0) return nullptr;

    FramePtr frame(av_frame_alloc());
    if (frame) frame->buf[0] = av_buffer_ref(packet.buf);
    if (!frame || !frame->buf[0] || av_channel_layout_copy(&frame->ch_layout, &context.ch_layout) < 0)
        TARSEL_THROW(Proc::ProcException, "Can't allocate a frame");
    frame->data[0] = packet.data;
    frame->extended_data = frame->data;
    frame->linesize[0] = packet.size;
    frame->format = context.sample_fmt;
    frame->sample_rate = context.sample_rate;
    frame->nb_samples = packet.size / step;
    frame->pts = packet.pts;
    frame->pkt_dts = packet.dts;
    frame->best_effort_timestamp = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    return frame;
}

}  // namespace Tarsel::Host
