#include "host/media/VideoEncoder.h"

#include <algorithm>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "host/media/AnnexBSei.h"
#include "host/media/DecoderCore.h"

namespace Tarsel::Host {

iptr<VideoEncoder> VideoEncoder::Create(iptr<Proc::IStreamVideo> const& source, Core::Property const& properties,
                                        VideoEncoderOptions const& options, Resource const& resource) {
    return iptr<VideoEncoder>(new VideoEncoder(source, properties, options, resource));
}

VideoEncoder::VideoEncoder(iptr<Proc::IStreamVideo> const& pictures, Core::Property const& properties,
                           VideoEncoderOptions const& options, Resource const& resource)
    : CodecStream(pictures), properties(properties), options(options), resource(resource) {
    sourceFormat = source->GetFormatCodec();
    if (!sourceFormat) TARSEL_THROW(Proc::EncoderException, "Source format codec must be present");
    context = OpenVideoEncoder(*sourceFormat, properties, options, watch);
    format = MakeFormat();
}

iptr<Conf::IFormatCodecVideo const> VideoEncoder::MakeFormat() const {
    iptr<Conf::IFormatCodecVideo> const result = sourceFormat->Clone();
    if (!options.codecId.empty()) result->SetCodecID(options.codecId);
    result->SetPixelFormat(static_cast<PixFmt>(static_cast<int>(context->pix_fmt)));
    iptr<NativeParameters> const native(new NativeParameters);
    if (NativeParameters const* const known = FindNativeParameters(*sourceFormat)) {
        native->timeBase = known->timeBase;
        native->averageFrameRate = known->averageFrameRate;
        native->realFrameRate = known->realFrameRate;
        Conf::FrameInfo const& frame = result->GetFrameInfo();
        native->sampleAspect = IsRecoding() || known->IsAspectOf(frame)
                                   ? known->sampleAspect
                                   : AVRational{frame.pixelAspectNum, frame.pixelAspectDen};
        native->disposition = known->disposition;
        native->sideData = known->sideData;
    }
    // A filter may have changed the rate: then the container's words for it are of another stream.
    Ratio const rate = result->GetFrameRate();
    AVRational const own{static_cast<int>(rate.numerator()), static_cast<int>(rate.denominator())};
    if (!IsRecoding() && own.num > 0 && av_cmp_q(own, native->averageFrameRate) != 0) {
        native->averageFrameRate = context->framerate;
        native->realFrameRate = context->framerate;
        native->timeBase = context->time_base;
    }
    if (options.ticksOfRate) native->timeBase = context->time_base;
    if (int const code = avcodec_parameters_from_context(native->parameters.get(), context.get()); code < 0) Fail(code);
    iptr<IBlob> extradata;
    if (context->extradata_size > 0)
        extradata = Proc::BlobFF::Create(context->extradata, static_cast<std::size_t>(context->extradata_size));
    result->SetExtradata(extradata);
    result->SetNativeParameters(native);
    return result;
}

void VideoEncoder::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "VideoEncoder", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
}

void VideoEncoder::Fail(int code) const {
    std::string const detail = watch.GetLastText();
    TARSEL_THROW(Proc::EncoderException, std::string("Encoder ") + context->codec->name + " failed: " +
                                             ErrorText(code) + (detail.empty() ? "" : " (" + detail + ")"));
}

iptr<Proc::IDataPacket> VideoEncoder::ReadNext() {
    for (;;) {
        PacketPtr packet(av_packet_alloc());
        if (!packet) Fail(AVERROR(ENOMEM));
        int const code = avcodec_receive_packet(context.get(), packet.get());
        if (code == 0) return Wrap(std::move(packet));
        if (code == AVERROR_EOF) return nullptr;
        if (code != AVERROR(EAGAIN)) Fail(code);
        Feed();
    }
}

void VideoEncoder::Feed() {
    iptr<Proc::IDataVideo> const picture = draining ? nullptr : source->Read();
    FramePtr frame;
    if (picture) {
        frame = converter.Convert(*picture, {.width = context->width,
                                             .height = context->height,
                                             .format = context->pix_fmt,
                                             .matrix = context->colorspace,
                                             .range = context->color_range});
        frame->pts = picturesIn;
        frame->quality = context->global_quality;  // a constant quantiser is read from each picture
        if (IsRecoding()) frame->pict_type = picturesIn == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_P;
        slots[picturesIn++] = {picture->GetTime(), picture->GetDuration()};
    }
    draining = !picture;
    int const code = avcodec_send_frame(context.get(), frame.get());
    if (code < 0 && !(draining && code == AVERROR_EOF)) Fail(code);
}

iptr<Proc::IDataPacket> VideoEncoder::Wrap(PacketPtr packet) {
    int64 const number = HasValue(packet->pts) ? packet->pts : packetsOut;
    auto const slot = slots.find(number);
    if (slot == slots.end())
        TARSEL_THROW(Proc::EncoderException, std::string("Encoder ") + context->codec->name +
                                                 " gave a packet for picture " + std::to_string(number) + " of " +
                                                 std::to_string(picturesIn));
    auto const [time, duration] = slot->second;
    int64 const decodingSlot = HasValue(packet->dts) ? packet->dts : packetsOut;
    int64 const decodingTime = IsRecoding() ? time : DecodingTime(decodingSlot, time);
    ++packetsOut;
    // Nothing in front of the decoding time is asked for again, by picture or by packet.
    slots.erase(slots.begin(), slots.lower_bound(std::min(decodingSlot, number)));
    if (IsRecoding() && context->codec_id == AV_CODEC_ID_H264) RemoveUserDataSei(*packet);
    packet->pts = time;
    packet->dts = decodingTime;
    packet->duration = HasValue(duration) ? duration : 0;
    iptr<Proc::IDataPacket> const item =
        Proc::DataPacketFF::Create(packet.release(), MEDIA_TYPE_VIDEO, time, decodingTime, duration);
    item->SetFormatCodec(format);
    return item;
}

int64 VideoEncoder::DecodingTime(int64 slot, int64 time) {
    if (auto const known = slots.find(slot); known != slots.end()) return std::min(known->second.time, time);
    // Before the first picture: as far ahead as the encoder's delay.
    int64 const frameDuration = av_rescale_q(1, context->time_base, MICROSECONDS);
    return AddTime(slots.empty() ? time : slots.begin()->second.time, (slot - slots.begin()->first) * frameDuration);
}

void VideoEncoder::Restart(int64) {
    if (picturesIn > 0 || draining) {
        // Not every encoder can be emptied; a new one starts with a key picture in any case.
        context = OpenVideoEncoder(*sourceFormat, properties, options, watch);
    }
    slots.clear();
    picturesIn = 0;
    packetsOut = 0;
    draining = false;
}

}  // namespace Tarsel::Host
