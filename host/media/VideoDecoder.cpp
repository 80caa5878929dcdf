#include "host/media/VideoDecoder.h"

#include <glog/logging.h>

#include <algorithm>
#include <limits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Host {

namespace {

/// For a stream of which nothing is known.
constexpr int64 FALLBACK_FRAME_RATE = 25;

iptr<Conf::IFormatCodecVideo> VideoFormatOf(iptr<Proc::IStreamRaw> const& source) {
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    iptr<Conf::IFormatCodec const> const format = source->GetFormatCodec();
    if (!format) TARSEL_THROW(Proc::CodecFactoryException, "Source format codec must be present");
    return MakeVideoFormat(*format);
}

void FillFrameRate(Conf::IFormatCodecVideo& format, NativeParameters const* native) {
    if (format.GetFrameRate().numerator() > 0) return;
    AVRational rate{static_cast<int>(FALLBACK_FRAME_RATE), 1};
    if (native && native->averageFrameRate.num > 0 && native->averageFrameRate.den > 0)
        rate = native->averageFrameRate;
    else if (native && native->realFrameRate.num > 0 && native->realFrameRate.den > 0)
        rate = native->realFrameRate;
    format.SetFrameRate(Ratio(rate.num, rate.den));
}

}  // namespace

iptr<Conf::IFormatCodecVideo> MakeVideoFormat(Conf::IFormatCodec const& source) {
    NativeParameters const* const native = FindNativeParameters(source);
    iptr<Conf::IFormatCodecVideo> format(dynamic_cast<Conf::IFormatCodecVideo*>(source.CloneBase().get()));
    if (!format) {
        if (!native || !native->parameters || native->parameters->codec_type != AVMEDIA_TYPE_VIDEO)
            TARSEL_THROW(Proc::CodecFactoryException, "The stream of codec '" + source.GetCodecID() + "' isn't video");
        format = Conf::IFormatCodecVideo::Create();
        format->SetCodecID(source.GetCodecID());
        format->SetExtradata(source.GetExtradata());
        format->SetProperty(source.GetProperty());
        format->SetMetadata(source.GetMetadata());
        format->SetNativeParameters(source.GetNativeParameters());
        format->SetOriginalDuration(source.GetOriginalDuration());
    }
    if (native && native->parameters && (format->GetWidth() <= 0 || format->GetHeight() <= 0)) {
        AVCodecParameters const& parameters = *native->parameters;
        format->InitByPixelAspect(static_cast<unsigned>(std::max(parameters.width, 0)),
                                  static_cast<unsigned>(std::max(parameters.height, 0)),
                                  static_cast<unsigned>(std::max(parameters.sample_aspect_ratio.num, 0)),
                                  static_cast<unsigned>(std::max(parameters.sample_aspect_ratio.den, 0)));
    }
    FillFrameRate(*format, native);
    return format;
}

iptr<VideoDecoder> VideoDecoder::Create(iptr<Proc::IStreamRaw> const& source, std::string const& implName,
                                        DecoderOptions const& options) {
    return iptr<VideoDecoder>(new VideoDecoder(source, VideoFormatOf(source), implName, options));
}

VideoDecoder::VideoDecoder(iptr<Proc::IStreamRaw> const& source, iptr<Conf::IFormatCodecVideo> videoFormat,
                           std::string const& implName, DecoderOptions const& options)
    : CodecStream(source), core(*videoFormat, AVMEDIA_TYPE_VIDEO, implName, options) {
    AVPixelFormat const pixelFormat = core.Probe()->pix_fmt;
    if (videoFormat->GetPixelFormat() == PIX_FMT_NONE && pixelFormat != AV_PIX_FMT_NONE)
        videoFormat->SetPixelFormat(static_cast<PixFmt>(static_cast<int>(pixelFormat)));
    Ratio const rate = videoFormat->GetFrameRate();
    frameDuration = std::max<int64>(AvRescale(SECOND, rate.denominator(), rate.numerator()), 1);
    format = std::move(videoFormat);
}

DecoderReport VideoDecoder::GetReport() const {
    return core.GetReport();
}

void VideoDecoder::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "VideoDecoder", FRAME_TYPE_DECODER, this);
}

int64 VideoDecoder::TimeOf(AVFrame const& frame) const {
    int64 const time = frame.best_effort_timestamp;
    if (HasValue(time) && (!held || time > heldTime)) return time;
    if (!held) return HasValue(target) ? target : 0;
    // Without a time, or out of order: the picture follows the one in front of it.
    VLOG(21) << "Picture with time " << time << " follows one at " << heldTime;
    return AddTime(heldTime, held->pkt_duration > 0 ? held->pkt_duration : frameDuration);
}

iptr<Proc::IDataVideo> VideoDecoder::Give(int64 end) {
    int64 const time = heldTime;
    AVFrame* const frame = held.release();
    // Stills tell dots per inch, 72 by 72 for square. Aspects are compared number by number, so in lowest terms.
    AVRational& aspect = frame->sample_aspect_ratio;
    av_reduce(&aspect.num, &aspect.den, aspect.num, aspect.den, std::numeric_limits<int>::max());
    return Proc::DataVideoFF::Wrap(frame, time, SubTime(end, time));
}

iptr<Proc::IDataVideo> VideoDecoder::ReadNext() {
    while (!ended || held) {
        FramePtr frame = ended ? nullptr : core.Receive(*source);
        if (!frame && !ended) {
            ended = true;
            WarnOfMissingFrames();
        }
        if (!held) {
            if (!frame) break;
            heldTime = TimeOf(*frame);
            held = std::move(frame);
            continue;
        }
        int64 const nextTime =
            frame ? TimeOf(*frame) : AddTime(heldTime, held->pkt_duration > 0 ? held->pkt_duration : frameDuration);
        bool const wanted = !HasValue(target) || nextTime > target;
        iptr<Proc::IDataVideo> item = wanted ? Give(nextTime) : nullptr;
        held = std::move(frame);
        heldTime = nextTime;
        if (item) return item;
    }
    return nullptr;
}

void VideoDecoder::WarnOfMissingFrames() {
    if (core.GetFramesOfRun() >= core.GetPacketsOfRun()) return;
    LOG(WARNING) << "Decoder " << core.GetName() << " gave " << core.GetFramesOfRun() << " pictures of "
                 << core.GetPacketsOfRun() << " packets";
}

void VideoDecoder::CloseCodec() {
    core.Close();
}

void VideoDecoder::Restart(int64 position) {
    core.Flush(position);
    held = nullptr;
    heldTime = NO_VALUE;
    target = position;
    ended = false;
}

}  // namespace Tarsel::Host
