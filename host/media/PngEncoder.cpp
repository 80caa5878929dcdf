#include "host/media/PngEncoder.h"

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

namespace {

bool HasAlpha(Proc::IDataVideo const& picture) {
    auto const* const description = Conf::PixFmtDescription::Find(picture.GetPixelFormat());
    return description && description->HasAlpha();
}

}  // namespace

PngEncoder::PngEncoder() : packet(av_packet_alloc()) {}

PngEncoder::~PngEncoder() = default;

std::string_view PngEncoder::Encode(Proc::IDataVideo const& picture) {
    AVPixelFormat const format = HasAlpha(picture) ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
    FramePtr const frame = converter.Convert(picture, picture.GetWidth(), picture.GetHeight(), format);
    Open(*frame, picture.GetFrameInfo());
    av_packet_unref(packet.get());
    int code = avcodec_send_frame(context.get(), frame.get());
    if (code >= 0) code = avcodec_receive_packet(context.get(), packet.get());
    if (code < 0) TARSEL_THROW(Proc::EncoderException, "can't be encoded: " + ErrorText(code));
    return {reinterpret_cast<char const*>(packet->data), static_cast<std::size_t>(packet->size)};
}

void PngEncoder::Open(AVFrame const& frame, Conf::FrameInfo const& info) {
    if (!packet) TARSEL_THROW(Proc::EncoderException, "no memory for a packet");
    AVRational const aspect{info.pixelAspectNum, info.pixelAspectDen};
    if (context && context->width == frame.width && context->height == frame.height &&
        context->pix_fmt == frame.format && av_cmp_q(context->sample_aspect_ratio, aspect) == 0)
        return;
    AVCodec const* const codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    context.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!context) TARSEL_THROW(Proc::EncoderException, "there is no encoder for PNG");
    context->width = frame.width;
    context->height = frame.height;
    context->pix_fmt = static_cast<AVPixelFormat>(frame.format);
    context->sample_aspect_ratio = aspect;
    context->time_base = {1, 1};
    context->thread_count = 1;
    int const code = avcodec_open2(context.get(), codec, nullptr);
    if (code >= 0) return;
    context.reset();
    TARSEL_THROW(Proc::EncoderException, "can't be encoded: " + ErrorText(code));
}

}  // namespace Tarsel::Host
